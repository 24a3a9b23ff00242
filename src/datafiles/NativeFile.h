// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"
#include "core/ScanRecord.h"

#include <QByteArray>
#include <QString>

#include <optional>

class ScanFileReader;

/// The native format (.sdf): a scan's record as bytes, and back. docs/FORMATS.md gives the layout.
namespace NativeFile {
/// The bytes of the file; `path` is written into it.
QByteArray Content(const ScanRecord& scan, const QString& path);

/// The box about a file that cannot be opened.
Prompts::Message Refusal(const QString& text, Prompts::Icon icon);
/// Reads the identification line. The box that refuses the file, or nothing when it is to be read.
std::optional<Prompts::Message> RefusedBy(ScanFileReader& reader, const QString& path);
/// Everything before the counts. A file that cannot hold a scan (no step, no points, more than 1,000,000) is a ReadError; so is its end.
ScanRecord ReadHead(ScanFileReader& reader);
/// Sizes the arrays and reads the counts; the window stays live. After a ReadError `scan` holds the counts so far.
void ReadCounts(ScanFileReader& reader, ScanRecord& scan);
} // namespace NativeFile
