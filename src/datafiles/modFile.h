// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanRecord.h"

#include <QString>

/// Scan data files: the menu procedures join the scan in memory with what the front panel shows, the writers of the formats
/// (ExportFormats.h) know its record alone, and a few questions about paths are answered. Files are never written in place: the whole file
/// is built, written beside the target and renamed, so that a failed write leaves an earlier file as it was.
///
/// While a file is written or read the busy flag is set, the pointer is the hourglass and panel 1 names the file.
namespace modFile {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    QString fileName; ///< name part of the file last chosen in an open or save dialog, without directory
};
State& state();

/// Writes a scan as a native file (NativeFile.h). `path`: in, the file wanted; out, the file written. `keepExisting`: an existing file is
/// kept, "(2)", "(3)" ... goes before the last four characters of the name until the name is free. Returns 0, otherwise the error number
/// after a box "Error # n caused by CreateZELKOFile()". The data-saved flag is left to the caller.
qint16 CreateZELKOFile(const ScanRecord& scan, QString& path, bool keepExisting);

/// Reads a native file into the fields, panel 2 and the scan in memory, and has it drawn. `interactive`: asks about unsaved data, shows the
/// open dialog (which settles the work directory); `path` is then not used. True when the file was read whole; the data-present and
/// data-saved flags are set then. A file that is not a scan file, or of a newer program, is refused with a box; so is one that cannot be
/// read ("Error # n was generated while reading file ..."). Both change nothing: fields, memory, flags, chart and work directory stay. A
/// file that ends before its last point is taken all the same, after that box, with the points that it has (ScanRecord::received) and zeros
/// behind them.
bool OpenScanFile(bool interactive, const QString& path = QString());

/// The entry "&Save...": shows the save dialog with all formats, makes the chosen directory the work directory (stored in scan.ini at once,
/// shown in txtWorkDir) and has the chosen format written, with the sample name and the comment that the fields show now. A successful
/// native save sets the data-saved flag; nothing else does.
void SaveAs();

/// Creates and deletes "@.tmp" in the directory (with or without trailing separator). -1 (true) when that worked, otherwise the error
/// number.
qint16 DirectoryWritable(const QString& directory);
/// Opens the file for reading and closes it: 0 when it opened, otherwise the error number. The test whether a file exists.
qint16 FileReadable(const QString& path);

struct PathParts
{
    QString directory; ///< up to and including the last separator
    QString name;      ///< what follows it
};
/// Splits at the last "\" (off Windows also "/"). A path without a separator gives two empty parts.
PathParts SplitPath(const QString& path);
/// The directory with the platform's separator at its end.
QString WithSeparator(const QString& directory);
} // namespace modFile
