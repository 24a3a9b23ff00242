// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "temperature/PIDTable.h"

#include <QString>

/// The high-temperature controller's control parameters: their table, what the dialog accepts, saving and sending them.
namespace modHTC {
QString PIDFilePath();
PIDTable::Use PIDUse();
/// Start-up: as the low-temperature controller's table.
void LoadPIDFile();
/// What is wrong with a value typed into field 'P', 'I' or 'D' of the dialog; empty when it is right. The unit is stripped. A text that is
/// no number is out of range.
QString PIDFieldMessage(char field, const QString& text);
/// The field's value as the controller gets it, rounded to a whole number, with its unit.
QString PIDFieldText(char field, const QString& text);
/// "%" or "s".
QString PIDUnit(char field);

/// What the dialog of "Change current PID's" starts with; false after the message.
bool ReadPIDForDialog(PIDTable::Values* values, double* setpoint);
void SendPIDFromDialog(const PIDTable::Values& values);
/// "Save current PID's": puts those of the data block under its setpoint into a table of the operator's choice.
void mnuHTCSavePID();
/// "Restore Default Parameter": sends the values of the default line.
void mnuHTCDefault();
} // namespace modHTC
