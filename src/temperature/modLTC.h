// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QStringList>

#include <optional>

namespace Temperature {
struct Controller;
}

/// The low-temperature controller (LakeShore 330, 331, 331 in 330 emulation, DRC-91CA, DRC-81C) on the serial line `TCComm` or on the
/// instrument bus. Values that could not be read are -1. Status results are 0 for success and -1 for no answer.
namespace modLTC {
/// Model codes; bit values, so that groups can be tested with one mask.
enum Model : int { LakeShore330 = 1, LakeShore331 = 2, LakeShore331As330 = 4, DRC91CA = 16, DRC81C = 32 };

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QString controlParameterText; ///< "R3P300I50D0": the parameters last sent, by whichever entry; empty after the default settings
    QStringList unanswered;       ///< commands of the last initialization without a reply
};
State& state();

/// What the controller regulates with.
struct Parameters
{
    float p = -1;      ///< gain
    float i = -1;      ///< reset
    float d = -1;      ///< rate
    qint16 range = -1; ///< heater range
    qint16 power = -1; ///< heater power [%]; -1 with the DRC-81C, whose record has none
};

/// True when the controller hangs on the instrument bus (`GPIBDeviceAddress` not 0).
bool OnBus();
/// "LakeShore 330", "LakeShore 331", "LakeShore DRC-91CA" or "LakeShore DRC-81C".
QString ControllerName();

// --- channel

/// Sends one command line; CR LF is added. Always 0. Nothing is sent while the controller is disabled.
qint16 LTCOutput(const QString& command);
/// Collects one reply, without CR LF and outer blanks. 0: received, -1: none.
qint16 LTCGetResponse(QString& reply);
/// Sends the command and replaces it by the reply; -1 and an unchanged text on failure. With a DRC model an empty reply is a failure.
qint16 LTCQuery(QString& command);

/// The settable range [K]: fixed, whatever `TMin` and `TMax` say.
inline constexpr float lowestSetpoint = 8.0F;
inline constexpr float highestSetpoint = 305.0F;

// --- operations; panel 3 shows what is being read

qint16 LTCInit();
/// At the start: as much of LTCInit as Temperature::State::initialization says.
qint16 LTCPrepare();
/// The box "LTC check" that names the first command of the last initialization without a reply; none when all were answered.
void LTCReportInitialization();
/// [K]; a reply that is no number reads as 0.
qint16 LTCGetTemperature(float& temperature);
/// The same for a wait and for people: -1 when there was no answer, SteadyState::noNumber for one without a temperature in it (a sensor's
/// fault reads as 0 K or as text).
float LTCReading();
/// [K]
qint16 LTCGetSetpoint(float& setpoint);
qint16 LTCNewSetpoint(float setpoint);
/// The setpoint that the controller has [K]; nothing: no answer, or no number.
std::optional<double> LTCAskSetpoint();
/// The setpoint is on its way along a ramp. The DRC models have none.
bool LTCIsRamping();
/// A record with the wrong number of fields is shown once. While the controller is disabled: P 11, I 22, D 33, range 3, power 55, so that
/// the dialogs can be tried without one.
qint16 LTCGetStatus(Parameters& parameters);
qint16 LTCSetPID(float p, float i, float d);
qint16 LTCSetRange(qint16 range);
/// [K/min]; 0 or less switches ramping off. The DRC models have no ramp.
qint16 LTCSetRamp(float rate);
/// 0: autotuning off; -1: no answer, or a model without it.
qint16 LTCGetTuneStatus(qint16& state);
/// -1 with a model that cannot be switched by a command (331, DRC).
qint16 LTCSetTuneStatus(qint16 state);
/// What "Restore Default Settings" does.
qint16 LTCDefault();
/// Reads back what LTCDefault should have done, and the autotune caption after it. False, with a sentence in `said`, when the heater is not
/// off or nobody knows.
bool LTCConfirmDefault(QString* said);
void LTCShowTune(bool on);
/// The bus' own fault as a line to be put below a message about a controller that did not answer; empty: there is none, or no bus.
QString LTCFaultText();
/// Asks for the identity; a silent controller brings the "LTC check" box (Abort, Retry, Ignore). Sets the autotune caption. 0: present.
qint16 LTCCheckPresence();

/// Waits until the temperature is steady at `setpoint` [K]: 0 settled, 1 accepted by "&Take it", 2 aborted,
/// 3 nothing was read for `silenceLimit` [s] (0: no limit).
qint16 LTCWaitUntilThere(float setpoint, double silenceLimit = 0);

// --- menu entries

void mnuLTCAutoTune();
void mnuLTCDefault();
void mnuLTCQuery();
void mnuLTCQueryTemperature();
/// Asks for a setpoint, 8 to 305 K, sends it and waits for a steady temperature.
void mnuLTCSetpoint();
/// The same with the control parameters of the file.
void mnuLTCNewSetpointWithPID();

/// Its row in the table of controllers.
Temperature::Controller controller();
} // namespace modLTC
