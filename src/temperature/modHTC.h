// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Operation.h"
#include "temperature/PIDTable.h"

#include <QMap>
#include <QString>

#include <memory>
#include <optional>

namespace Temperature {
struct Controller;
}

/// The high-temperature controller HTC 5218 on `TCComm`. It hands out parameter blocks of packed characters; a parameter is changed by
/// reading the data block, replacing its characters and writing the block back with a checksum. A block with a character below code 32, or
/// with a value that no packing gives, is never written back: the change is refused with "Invalid response!". Temperatures are whole
/// degrees Celsius. Status results are 0 for success, -1 otherwise.
namespace modHTC {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    QString controlParameterText; ///< "P71I8D2": the parameters last sent, by whichever entry
    QMap<int, quint16> written;   ///< values by Position that were written and not read back yet
};
State& state();

// --- packing: every character is printable, from code 32 upward

/// 16 bits in three characters: the upper 6, the next 6, the lowest 4 bits.
QString Pack(quint16 value);
/// The three-character value at a position (from 1) of a block; 0 where the block is shorter.
quint16 Unpack(const QString& block, int position);
/// The one-character value at a position (from 1).
quint16 UnpackCharacter(const QString& block, int position);
/// Sum of the character codes as four upper-case hexadecimal digits.
QString Checksum(const QString& block);

/// Positions of the three-character values in the data block (from 1).
enum Position : int {
    ActualValue = 1,
    Setpoint = 4,
    P = 7,
    I = 10,
    D = 13,
    HeaterOutput = 16,
    LowerLimit = 19,
    UpperLimit = 22,
    Ramp = 25,
    SelfOptimising = 28
};

struct DataBlock
{
    quint16 setpoint = 0; ///< [deg C]
    float p = 0;          ///< [%]
    float i = 0;          ///< [s]
    float d = 0;          ///< [s]
    bool heaterOutput = false;
    quint16 lowerLimit = 0; ///< [deg C]
    quint16 upperLimit = 0; ///< [deg C]
    quint16 ramp = 0;       ///< [K/min]
    quint16 selfOptimising = 0;
};

struct ValueBlock
{
    quint16 temperature = 0; ///< [deg C]
    quint16 output = 0;      ///< heater output [%]
    quint16 status = 0;
};

// --- channel

/// Sends command + CR LF. Always 0.
qint16 HTCOutput(const QString& command);
/// Asks for the block of kind "T" (data) or "F" (values): the payload of 92 characters, or "Not active!", or "Invalid response!".
QString HTCQuery(const QString& kind);
/// True for a payload, false for one of the two failure texts.
bool IsPayload(const QString& answer);

// --- operations

/// offset + factor x setpoint when the calibration is on, otherwise the setpoint itself [deg C].
double CalibratedSetpoint(double setpoint);
/// Why a setpoint [deg C] cannot be sent: its calibrated value lies outside 0 to `TMax`. Empty: it can.
QString SetpointRefusal(double setpoint);
/// [deg C]; parameters and ramp stay as they are. What cannot be sent is refused with a message.
qint16 NewSetpoint(double setpoint);
/// Sends the table's P, I, D for the setpoint, the ramp (whole K/min, another is refused; 0 or less: none), and the setpoint [deg C].
qint16 NewSetpointWithPID(double setpoint, double ramp);
/// Reads back what was written, parameters, ramp and heater output, which then stand in a message bar when they were not taken. What the
/// controller has as setpoint [deg C]; nothing: no answer, or a garbled one. Warns of a setpoint that nothing heats to.
std::optional<double> AskSetpoint();
/// The same without the setpoint: true when everything was taken.
bool ReadBack();
/// While the controller is disabled: P 77, I 88, D 99 and 123, 1, 111, 999, so that the dialogs can be tried without one.
qint16 GetDataBlock(DataBlock* block);
qint16 GetValueBlock(ValueBlock* block);
/// The actual temperature [deg C], -1 when it could not be read, SteadyState::noNumber when it came garbled; shows nothing on failure.
float GetTemperature();
qint16 SwitchHeaterOutput(bool on);
/// The output off, and the data block read again: true when that came, and `on` is what it says then. Shows and asks nothing.
bool SwitchOffQuietly(bool* on);
qint16 ToggleSelfOptimising(bool on);
qint16 SetPID(const PIDTable::Values& values);
/// Two tries, then a box "HTC check", unless the program closes. 0: a valid block came.
qint16 HTCCheckPresence();
/// The steady-state wait [deg C], for the calibrated setpoint, which is what the controller regulates to: 0 settled, 1 accepted, 2 aborted,
/// 3 nothing read for `silenceLimit` [s] (0: no limit), 4 no reading came nearer for `stallLimit` [s] (0: no limit).
qint16 HTCWaitUntilThere(double setpoint, double silenceLimit = 0, double stallLimit = 0);
/// Waits a fixed time [s], showing it in panel 3. 0, or 2 when aborted; 6 when it goes on by ticks, because it was chosen by hand while
/// something else waits below.
qint16 HTC_LaserWaitUntilThere(int seconds);
/// Such a wait goes on by ticks, and takes the entry's operation over.
bool stabilizesByTicks();
void carryStabilization(std::unique_ptr<Operation> operation);
void resetStabilization();
/// The module's variables and that wait as at the start.
void reset();

// --- menu entries

void mnuHTCQueryTemperature();
void mnuHTCSetpoint();
void mnuHTCNewSetpointWithPID();
void mnuHTCHeaterOutput();
void mnuHTCAutoOptimize();

/// Its row in the table of controllers.
Temperature::Controller controller();
} // namespace modHTC
