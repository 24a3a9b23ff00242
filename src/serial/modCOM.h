// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/modTools.h"
#include "serial/SerialChannel.h"

#include <QString>

/// The three lines of the instrument, their timers, and what is gathered from the goniometer controller. What the two other lines bring is
/// gathered by modGenerator and modTC. Everything runs on the event loop's thread: whoever waits for a reply lets events run, and the
/// handlers fill the reception records meanwhile.
///
/// When the device of an open line vanishes, the operator is told once in a box that names the line, the line is down until it can be
/// reopened (tried every 2 s), and panel 1 says when it is back. A reply that was under way is thrown away and whoever waited for it goes
/// on.
namespace modCOM {
SerialChannel& MCComm();        ///< goniometer controller (SMC)
SerialChannel& GeneratorComm(); ///< X-ray generator
SerialChannel& TCComm();        ///< temperature controllers

/// End of an SMC message: `RxDelay` of the SMC line; runs while characters arrive. An `RxDelay` of 0 never ends a message.
modTools::Timer& RxTimer();
/// No answer from the SMC: interval `MCRxTimeout`, 2 s when that is not above 0. Started by the first wait or reception, never disabled
/// after.
modTools::Timer& MCRxTimeout();
/// No answer from a temperature controller: interval `RxTimeout`. Started and stopped by whoever waits.
modTools::Timer& tcTimeout();
/// Whether a time-out that ticks now has come too late to be believed: by more than half its interval.
bool cameTooLate(const modTools::Timer& timeout);

/// What is gathered from MCComm.
///
/// Reception: characters that arrive set `waiting`, are appended to `receiveText`, start MCRxTimeout afresh and enable RxTimer. A tick of
/// RxTimer that finds the text as long as `lastReplyLength` ends the message (waiting cleared, RxTimer disabled); otherwise it stores the
/// length. A tick of MCRxTimeout with `messageSwitch` 0 while `waiting` shows "SMC does not respond..." (title "SMC") and clears `waiting`;
/// with any other switch it clears `waiting` silently; with switch 0 and nobody waiting, or while its own box is open, it does nothing.
/// Both ticks first take in what the port holds already; and a time-out that fires more than half its interval late, or so late that
/// RxTimer should have ended the message before it, starts over once: the process was stopped, or the machine slept or was busy.
struct SmcReception
{
    bool waiting = false; ///< somebody waits, or characters are arriving; cleared when the message is complete or timed out
    QString receiveText;  ///< characters since the last command was sent
    qint16 messageSwitch =
        0; ///< of the running wait: 0 reports a time-out, anything else is silent. A nested wait overwrites it: intended.
    bool startedOver = false;      ///< the running time-out came too late once already
    qsizetype lastReplyLength = 0; ///< length seen by the last RxTimer tick; not reset between replies: intended
};
SmcReception& smcReception();

/// The module's switches.
struct State
{
    bool lineSuppressed = false; ///< SerialOut writes nothing; off, and nothing in the program sets it
    bool diagnostic = false;     ///< line errors of MCComm are reported; off, and nothing in the program sets it
};
State& state();

/// Each opens its line with the port and settings of configuration(), sets its timers and returns whether the line is open. A failure is
/// shown and logged, and clears the device's flags: GeneratorComm: generatorRemote and shutterRemote ("Generator: Communication Error" with
/// the error number, "Generator: Serial Port Settings"); MCComm: smcOnline ("SMC: Communication Error", "SMC: Communication Port
/// Settings"); TCComm: htcEnabled, ltcEnabled, laserEnabled ("SMC: Communication Error" for this line too: intended; "TC: Communication
/// Port Settings").
bool OpenMCComm();
bool OpenGeneratorComm();
bool OpenTCComm();

/// Sends text on a line in one write, then waits the generator's `TxDelay` (window live) when it is above 0. Logs line name + ":
/// SerialOut(" + text + ")", CR as
/// "<cr>" and LF as "<lf>". Always 0; text for a line that is not open is dropped.
qint16 SerialOut(SerialChannel& line, const QString& text);
/// Throws away what waits in the line's input, logs it, and returns the number of characters.
qint16 ClearGeneratorCommRxBuffer();
qint16 ClearTCCommRxBuffer();

/// Closes the three lines and stops their timers.
void close();
/// close(), and lines, timers, SMC reception and switches back to the state of a program that has just started. Device sources are
/// forgotten; whoever listens to a line goes on listening.
void reset();
} // namespace modCOM
