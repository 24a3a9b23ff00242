// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ProgramError.h"
#include "core/ScanRecord.h"

#include <QByteArray>
#include <QString>

/// What every reader and writer of scan files shares.
namespace FileWriting {
/// For as long as it lives: busy flag set, hourglass, panel 1 shows `text`. At its end panel 1 shows `after`. Lets events run at both ends.
class Activity
{
public:
    explicit Activity(const QString& text, QString after = QString());
    ~Activity();
    Activity(const Activity&) = delete;
    Activity& operator=(const Activity&) = delete;

private:
    QString m_after;
};

/// Writes `content` to a new file beside `path`, flushes it to the disk and renames it to `path`. After an error neither a new nor a half
/// file is left and an earlier file is as it was. A device (not a folder, not a plain file) is written directly; a link is followed. A file
/// that the operator made read-only is not replaced.
ProgramError WriteWhole(const QString& path, const QByteArray& content);

/// Counts that nobody counted are said to be so in panel 1 when they are saved.
void TellSimulated(const ScanRecord& scan, const QString& path);

/// A scan as a file's bytes; an error ends the operation before anything is written.
using Content = ProgramError (*)(const ScanRecord& scan, QByteArray& content);

/// The common course of the export writers: activity, content, WriteWhole. On failure the box titled as the table says for `key` shows
/// "Error", "[number]",
/// "[description]" on three lines. Returns 0 or the error number.
qint16 WriteExport(const char* key, const ScanRecord& scan, const QString& path, Content content);

/// A text as one line of the file's code page: line breaks become blanks.
QByteArray OneLine(const QString& text);
} // namespace FileWriting
