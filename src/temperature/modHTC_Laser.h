// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

#include <optional>

namespace Temperature {
struct Controller;
}

/// The laser heater controller on `TCComm`: registers are written with ":w n value" and read with ":r n"; a write is answered with "ok".
/// Status results are 0 for success, -1 otherwise.
namespace modHTC_Laser {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    float lastValue = 0;   ///< temperature [deg C] or current [A] last set
    float lastCurrent = 0; ///< diode current last set [A]
};
State& state();

/// "deg C" sign, or "A" in current mode.
QString Unit();
/// The diode current [A] for a temperature [deg C] (temperature mode: offset + factor x temperature) or a current [A], held between 0 and
/// `MaxCurrent`.
float CurrentFor(float value);

/// Sends command + CR. Always 0; nothing is sent while the controller is disabled.
qint16 LaserOutput(const QString& command);
/// One reply without colons and what cannot be printed. 0: received, -1: none.
qint16 LaserGetResponse(QString& reply);

/// Switches the beam; on success caption, warning picture and flag follow.
qint16 LaserSwitchBeam(bool on);
/// Asks whether the beam is on, once more after an answer that is no state; caption, warning picture and flag follow. Nothing: no answer,
/// or none that is a state.
std::optional<bool> LaserAskBeam();
/// Switches the beam and asks whether it is. True when it says so; otherwise a message bar tells what is known.
bool LaserBeam(bool on);
/// Sends a diode current [A]; `value` is the temperature or current that the texts name.
qint16 LaserSetCurrent(float value, float current);
/// Reads the diode current [A] from the controller; 0: read.
qint16 LaserGetCurrent(float& current);
/// The same as a value [A]; nothing: not read.
std::optional<double> LaserAskCurrent();
/// What a diode current [A] stands for: the temperature [deg C] that CurrentFor turns into it, or the current itself in current mode. A
/// `CurrentPerDegree` of 0 gives no temperature.
std::optional<double> ValueFor(float current);
/// Asks for the beam register up to `CheckRounds` times; a silent controller, or one whose answers are no state, brings the box "HT
/// Laser Controller Check" and is disabled. Neither happens when the program closes meanwhile. 0: found.
qint16 LaserCheckPresence();

// --- menu entries

void mnuLaserBeam();
void mnuLaserSetpoint();
void mnuLaserTest();

/// Its row in the table of controllers.
Temperature::Controller controller();
} // namespace modHTC_Laser
