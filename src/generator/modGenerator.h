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

/// Joins the receive event of `GeneratorComm` to this module. A second call changes nothing.
void Connect();

/// Actual tube current [mA] and voltage [kV], both 0 when the generator does not answer or is not a Seifert. Takes 1.5 s beside the sends.
void GeneratorGetActualValues(qint16* milliampere, qint16* kilovolt);
/// "Act. mA:" and so on, four lines as received; "Not supported..." with another model. Takes 2.5 s beside the sends.
QString StatusSummary();
/// "Get Status...": the summary in the text window "X-Ray Generator".
void mnuExtrasGeneratorGetStatus();
/// Opens or closes the shutter; caption and warning picture follow. The shutter's real state is not known.
void mnuExtrasGeneratorSwitchShutter();

/// Sends current [mA] and voltage [kV], reads them back and sets or clears the idle-power flag.
void SendPower(qint16 milliampere, qint16 kilovolt, qint16* actualMilliampere, qint16* actualKilovolt);

/// With `ReducePowerOnIdle`: from now on idle power is set `ReducePowerOnIdleDelay` minutes after a scan or profile run has ended and
/// nothing runs.
void StartIdleWatch();
} // namespace modGenerator
