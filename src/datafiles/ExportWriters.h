// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanRecord.h"

#include <QString>

/// The seven foreign formats. Each writer writes a scan to `path`, replacing an existing file, and returns
/// 0. After a failure it shows "Error", "[number]", "[description]" in a box with the format's title, leaves an earlier file as it was and
/// returns the error number. docs/FORMATS.md gives the layouts.

/// Rietica (.dat): start, step, stop, name; counts + 1 in tens, the last ten filled up. Title "Rietica file creation".
qint16 CreateRieticaFile(const ScanRecord& scan, const QString& path);
/// Siemens UXD 3 (.uxd): keywords, then angle and count per line. Title "Siemens file creation".
qint16 CreateUXDFile(const ScanRecord& scan, const QString& path);
/// ASCII Y (.prn): the sample's name only; the format carries no points. Title "File creation".
qint16 CreateAsciiYFile(const ScanRecord& scan, const QString& path);
/// ASCII XY (.asc): an empty line, then angle and count per line. Title "File creation".
qint16 CreateAsciiXYFile(const ScanRecord& scan, const QString& path);
/// Wyriet FORT4: as Rietica with a point after each count. Title "File creation".
qint16 CreateFort4File(const ScanRecord& scan, const QString& path);
/// Stoe RAW 1.06 (.raw), binary, one range. Up to 65534 points and counts of 0 to 4294967295, otherwise error 6. Title "STOE file
/// creation".
qint16 CreateSTOEFile(const ScanRecord& scan, const QString& path);
/// PRO (.pro): start and step; counts + 1 in tens, nothing filled up. Title "PRO file creation".
qint16 CreateProFile(const ScanRecord& scan, const QString& path);
