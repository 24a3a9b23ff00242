// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"

#include <QString>

/// The serial line shared by the temperature controllers: what all of them need to send a line and to collect a reply. The protocols stand
/// in modLTC, modHTC and modHTC_Laser.
namespace modTC {
/// The module's variables. `reset()` puts them back.
struct State
{
    QString receiveText;      ///< what has arrived on `TCComm` since it was last cleared
    bool timedOut = false;    ///< set by the tick of `tcTimeout`; every query clears it first
    bool startedOver = false; ///< the running time-out has been put off once: it came too late, or found a reply in the port
};
State& state();
void reset();

/// Joins the receive event of `TCComm` and the tick of `tcTimeout` to this module and sets the timer's interval (`RxTimeout` x 1000 ms).
/// Called once when the line is opened; a second call changes nothing.
void Connect();

/// Sends `line` as it stands, terminator included: waits `TxDelay`, drops stray input (shown in a box titled `device` with the
/// communication display on; an empty title: dropped silently), writes, empties the receive buffer, waits `TxDelay` again. The busy flag is
/// set meanwhile. Dropped silently when the program closes.
void Send(const QString& line, const QString& device);

/// Waits for the first character, then until the receive text has stopped growing for one poll (`RxDelay`, at least 20 ms and the time of
/// four characters) or the time-out flag is set. True when something was received in time; the text is left in state().receiveText. False
/// at once when the line is down or the program closes.
bool WaitForReply();

/// True when what is sent goes out: the line is open and the program does not close.
bool LineTakes();

/// How long one poll lasts [s].
float PollTime();

/// Shows what is being done, in panel 3.
void Show(const QString& text);

/// What can be set with a controller.
struct SettableRange
{
    double lowest;
    double highest;
    QString unit; ///< "K"
};
/// The box "New Setpoint", which proposes the present value; empty: nobody knows it. False when it was cancelled, or after a box that names
/// the range.
bool AskSetpoint(const QString& prompt, const QString& present, const SettableRange& range, double* setpoint);

/// A box about a controller that did not answer. Nothing is shown while the program closes: then it was not asked.
void ReportSilence(const QString& title, const QString& text, Prompts::Icon icon);
} // namespace modTC
