// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanRecord.h"

#include <QList>
#include <QString>

/// The formats in which a scan can be saved: one table for the save dialog, for the console program and for the writers.
namespace ExportFormats {
/// Writes a scan to `path`, replacing an existing file. Returns 0, otherwise the error number after a box that names it.
using Writer = qint16 (*)(const ScanRecord& scan, const QString& path);

struct Format
{
    const char* key;            ///< name on the command line: sdf rietica uxd ascii-y ascii-xy fort4 stoe pro
    const char16_t* filterText; ///< text in the save dialog
    const char* pattern;        ///< its file pattern
    const char* suffix;         ///< usual ending of the file name, with the point
    const char16_t* errorTitle; ///< title of the box after a failure
    Writer writer;
    QString (*fileName)(const QString& chosen); ///< the name used for a chosen one
};

/// All formats in the order of the save dialog; the first one (filter index 1) is the native format.
const QList<Format>& formats();
/// The format of a filter index (1..8); null beyond.
const Format* ofFilterIndex(int index);
/// The format of a key; null when unknown.
const Format* ofKey(const QString& key);
/// The save dialog's filter: "Text|pattern|Text|pattern|...".
QString filter();
} // namespace ExportFormats
