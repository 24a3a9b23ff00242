// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>

/// The low-temperature controller asked for one thing at a time, for what is known of it (LTCKnown). Nothing is shown, whatever comes.
namespace LTCReadings {
/// Temperature, setpoint, heater range; each false when there was no answer.
QList<bool (*)()> all();
/// The last of them.
bool Range();
} // namespace LTCReadings
