// SPDX-License-Identifier: GPL-3.0-or-later
//
// The scan.ini that leads to the virtual instrument.
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace lab {

struct IniValue
{
    QString section;
    QString key;
    QString value;
    bool onlyWhereItStands = false; ///< a key that isn't there is not added
};

/// `text` with the values set: a key that exists gets the new value in its place, one that doesn't goes to the end of its section.
/// Sections and keys are compared without regard to case; everything else stays as it is.
QByteArray withValues(const QByteArray& text, const std::vector<IniValue>& values);

/// Writes `DIR/scan.ini`. `always` is set in any case; `defaults` only when the file does not exist yet. Returns false and says why on
/// failure.
bool writeScanIni(const QString& directory, const std::vector<IniValue>& always, const std::vector<IniValue>& defaults, QString& why);

} // namespace lab
