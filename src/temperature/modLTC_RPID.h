// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "temperature/PIDTable.h"

#include <QString>

/// The low-temperature controller's control parameters: which table goes with which model, looking them up, sending them with a setpoint,
/// saving them.
namespace modLTC {
/// The table's file name: "ls330.pid", "ls331.pid", "drc81.pid" or "drc91.pid".
QString RPIDFileName();
/// The same in the program directory.
QString RPIDFilePath();
/// The table's use with the selected model: default line, limits of the file, first lines.
PIDTable::Use RPIDUse();
/// "0....3" and "0....999" or "0....99.0": the hints of the dialog's fields.
QString RPIDRangeHint();
QString RPIDValueHint();
/// What is wrong with a value typed into field 'R', 'P', 'I' or 'D' ("The valid R range is 0 ... 3!"); empty when it is right.
/// A text that is no number, or a fraction in R, is out of range. The DRC-81C's table may hold range 5, the dialog refuses it: intended.
QString RPIDFieldMessage(char field, const QString& text);

/// Start-up: reads the model's table. A missing or bad one of an enabled controller is reported ("LTC 330"), the default table is written
/// for the next start when the file is missing, and the controller is disabled.
void LoadRPIDFile();

/// 0: values from the file, -1: the model's default line (messages as PIDTable::Look).
qint16 LTCOpenRPID(const QString& path, float setpoint, PIDTable::Values* values);
/// Sends P, I, D, the ramp rate [K/min], the range and the setpoint [K], in this order.
qint16 LTCNewSetpointWithPID(float setpoint, float ramp);
/// Puts a line into the table; without a path the file dialog asks for one. Shows "Save data" when the path was given.
qint16 LTCSaveRPIDParameter(QString path, float setpoint, const PIDTable::Values& values);

/// "Change current RPID's": what the dialog starts with. False after "Unable to query LTC...".
bool ReadRPIDForDialog(PIDTable::Values* values, float* setpoint);
/// Sends the values accepted in the dialog; "Unable to query LTC..." when an echo fails to come. Nothing is sent while the controller is
/// disabled.
void SendRPIDFromDialog(const PIDTable::Values& values);
/// "Save current RPID's".
void mnuLTCSavePID();
} // namespace modLTC
