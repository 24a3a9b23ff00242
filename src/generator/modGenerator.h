// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QStringList>

/// The X-ray generator on `GeneratorComm`: actual current and voltage, the status summary, and the shutter, which hangs on the goniometer
/// controller's output. Only the Seifert 3000/3003 (model code 1) answers queries; with any other model nothing is sent.
namespace modGenerator {
/// The module's variables. `reset()` puts them back.
struct State
{
    QStringList lines;      ///< reply lines of the running exchange, line 1 first, as received without their ends
    qsizetype nextLine = 1; ///< where the next complete line goes (from 1); lines beyond the last are dropped
    QString receiveText;    ///< the line being gathered
};
State& state();
void reset();

/// Number of reply lines of an exchange.
inline constexpr qsizetype replyLines = 4;

/// Joins the receive event of `GeneratorComm` to this module; from then on a message bar says when the tube is not ready (TubeNotice). A
/// second call changes nothing.
void Connect();

/// What came of the last exchange about the tube's power.
enum class Answer {
    Told,     ///< current and voltage were read
    None,     ///< no answer, or none that can be read
    NotAsked, ///< this model cannot be asked
};
Answer answer();
/// "The X-ray generator did not answer; its power is not known."
QString noAnswerText();
/// What is known after values were sent [mA, kV]: what the generator reports, also against what was asked for when they differ by more
/// than 1 mA or 1 kV; that it did not answer; or that the values were sent to a model that cannot be asked.
QString powerReport(qint16 sentMilliampere, qint16 sentKilovolt, qint16 actualMilliampere, qint16 actualKilovolt);

/// Actual tube current [mA] and voltage [kV], both 0 when the generator does not answer or is not a Seifert. Takes 1.5 s beside the sends.
void GeneratorGetActualValues(qint16* milliampere, qint16* kilovolt);
/// Asks for both without waiting: the answer is taken by a tick, 1.5 s later, into instrument(). Who talks with the generator meanwhile
/// waits until that. Nothing is sent with another model.
void ReadByTicks();
/// "Act. mA:" and so on, four lines as received; "Not supported..." with another model. Takes 2.5 s beside the sends.
QString StatusSummary();
/// "Get Status...": the summary in the text window "X-Ray Generator", before which nothing else can be done; panel 1 says "reading..."
/// until it appears.
void mnuExtrasGeneratorGetStatus();
/// Opens or closes the shutter; caption and warning picture follow what was sent. The shutter gives no reply: its real state is not known.
/// A command that the line did not take changes neither, and is reported ("X-Ray Shutter").
void mnuExtrasGeneratorSwitchShutter();
/// The same for one of the two: true when the command was sent (always in the simulation state).
bool SwitchShutter(bool open);

/// Sends current [mA] and voltage [kV], reads them back and sets or clears the idle-power flag.
void SendPower(qint16 milliampere, qint16 kilovolt, qint16* actualMilliampere, qint16* actualKilovolt);

/// With `ReducePowerOnIdle`: from now on idle power is set `ReducePowerOnIdleDelay` minutes after a scan or profile run has ended and
/// nothing runs. An open power window holds it up while somebody works in it: up to a minute after the last key or click.
void StartIdleWatch();
} // namespace modGenerator
