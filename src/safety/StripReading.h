// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>

/// Keeps the values of the strip fresh, when the operator wants that: every `StripInterval` seconds the generator is asked for its power
/// and each temperature controller for temperature, setpoint and output (Controller::readings), as long as nobody holds their line and no
/// exchange is under way. The shutter gives no reply. With an interval of 0 nothing is asked at all.
///
/// One question at a time, with pauses: whoever waits below is held up by one exchange at most. What is not answered is unknown then, and
/// what is left of that controller is not asked in this round.
namespace StripReading {
/// From now on; the first time after one interval.
void Start();
void Stop();
/// A temperature controller is being asked: what lasts must not begin inside.
bool isReading();
/// Stop, for tests.
void reset();

class Notifier : public QObject
{
    Q_OBJECT

signals:
    void readingEnded();
};
Notifier& notifier();
} // namespace StripReading
