// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QString>

/// What the strip of the main window says: what is known of the instrument at this moment, and how it is known. Nothing is asked for it.
namespace InstrumentCells {
struct Cell
{
    QString name;        ///< "shutter": object name in the window
    QString text;        ///< "shutter open"; a question mark for what is not known
    QString toolTip;     ///< when it was read, or why it is not known
    bool danger = false; ///< it can hurt, and it is on, or nobody knows since it was on

    bool operator==(const Cell&) const = default;
};

/// The cells from left to right. What is not in use has none.
QList<Cell> now();
} // namespace InstrumentCells
