// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ProgramError.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// Control-parameter tables: text files with the extension `pid`, one line per temperature, sorted by ascending setpoint, each valid up to
/// and including its own. The low-temperature controller's lines hold range and P, I, D ("300=R3P300I50D0"), the high-temperature
/// controller's P, I, D ("900=P71I8D2").
namespace PIDTable {
enum class Kind { RPID, PID };

struct Values
{
    qint16 r = 0; ///< heater range; 0 in a PID table
    float p = 0;  ///< gain, or proportional band in %
    float i = 0;  ///< reset, or integral time in s
    float d = 0;  ///< rate, or derivative time in s
};

/// Highest accepted values; 0 is the lowest.
struct Limits
{
    qint16 r = 0;
    float p = 0;
    float i = 0;
    float d = 0;
};

/// What a table is used with.
struct Use
{
    Kind kind = Kind::RPID;
    QString defaultLine;    ///< "300=R3P300I50D0"
    Limits limits;          ///< of the file; the dialogs' may be narrower
    QStringList firstLines; ///< what a new table holds
};

/// True when the line has "=" and every letter of the kind; such lines count, others are skipped.
bool IsValidLine(const QString& line, Kind kind);
/// The line's setpoint, "," counting as decimal point.
float SetpointOf(const QString& line);
/// The values after "="; false when the letters are not in their order.
bool ParseValues(const QString& line, Kind kind, Values* values);
/// "R3P300I50D0" or "P71I8D2".
QString ValuesText(const Values& values, Kind kind);

/// The default line to use: the configured one, or, when its letters are not in their order, the built-in one; the log tells.
QString UsableLine(const QString& configured, const QString& builtIn, Kind kind);
/// The number typed into a field of the dialogs, "," counting as decimal point, with or without the unit; none when the text is something
/// else.
std::optional<double> FieldValue(const QString& text, const QString& unit = {});

/// The values for a setpoint: those of the first line whose setpoint is greater or equal. A table without such a line, a line with its
/// letters out of order, or values beyond the limits bring a message, and the default line's values. 0: from the file, -1: the defaults.
qint16 Look(const QString& path, float setpoint, const Use& use, Values* values);

/// Start-up: a missing or bad table of an enabled device is reported in a box, and the device is disabled. A missing one is written for the
/// next start; a second box tells when that failed.
void Load(const QString& path, const Use& use, const QString& title, const QString& device, bool& enabled);
/// The file dialog "Select PID file"; empty when it was cancelled.
QString AskForFile(const QString& proposed);
/// Insert with the scratch file in the work directory. 0, or -1 after a box "Save data" that names the procedure.
qint16 Save(const QString& path, float setpoint, const Values& values, Kind kind, const QString& procedure);

/// 0 when the file can be read and holds a line that counts, otherwise the error number.
int Test(const QString& path, Kind kind);
/// Writes the first lines of a new table. Number 0 on success.
ProgramError WriteDefault(const QString& path, const Use& use);
/// Puts a line into the table through the scratch file "@.TMP" in `scratchDirectory`: in place of one with an equal setpoint, otherwise
/// before the first line that counts with a greater setpoint, otherwise at the end. In a table that is not sorted the line goes where a
/// look-up finds it, and a line with the same setpoint further down goes. The old file stays whole when anything fails.
ProgramError Insert(const QString& path, const QString& scratchDirectory, float setpoint, const Values& values, Kind kind);
} // namespace PIDTable
