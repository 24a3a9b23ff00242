// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// Temperature profiles: the lines of the editor's list, what a line says, and the .gtp file, which holds just these lines.
namespace TProfile {
/// The one profile. `state() = State{}` resets it.
struct State
{
    QStringList lines;     ///< one per list entry, in order
    QString currentFile;   ///< full path last opened or saved; empty: a new profile
    bool modified = false; ///< edited since then
};
State& state();

/// What a step line says. Numbers are as typed; what is not given is empty.
struct Step
{
    std::optional<double> t1;       ///< start temperature [K or deg C], or current [A]
    std::optional<double> t2;       ///< end temperature
    std::optional<double> dt;       ///< step, sign without meaning
    std::optional<double> ramp;     ///< heating rate [K/min]
    std::optional<double> dwell;    ///< in the unit of the configuration (`TimeUnit`): seconds or minutes
    std::optional<double> exposure; ///< the same unit

    /// How many temperatures the step has, at most `limit`, and the one at `index` (from 0).
    qsizetype count(qsizetype limit = 1000000) const;
    double temperature(qsizetype index) const;
    /// The temperatures of the step in the order in which they are measured: T1 alone, or T1 + i x dT for round(|T1 - T2| / |dT|) + 1
    /// values (ties to even), downwards when T1 > T2. At most `limit` of them.
    QList<double> temperatures(qsizetype limit = 1000000) const;
};

/// True for lines that begin with "#", ";" or "'".
bool IsComment(const QString& line);
/// The comment's text: what follows the mark, without outer blanks. A ";" that ends the line belongs to it.
QString CommentText(const QString& line);
/// The value of a key ("t1", without the colon and without regard to case) up to the next ";"; empty when the key is missing. The first
/// occurrence counts.
QString FieldText(const QString& line, const QString& key);
/// The step that a line gives; nothing for comments and for lines without a number behind "t1:": nothing is measured at a temperature that
/// nobody wrote.
std::optional<Step> ParseStep(const QString& line);
/// "T1:300;T2:280;DT:10;R:2;DW:60;E:5;" with the fields that are given.
QString StepLine(const Step& step);
/// "#" + text + ";"
QString CommentLine(const QString& text);

/// Dwell and exposure values in seconds (`TimeUnit` minutes: x 60).
double Seconds(double value);

/// Reads a file's lines. Number 0 and *lines on success, otherwise the error number.
int ReadLines(const QString& path, QStringList* lines);
/// Writes lines, each ended by CR LF, beside the target and renames. Number 0 on success.
int WriteLines(const QString& path, const QStringList& lines);

/// What OpenTProfile and SaveTProfile return when no file was chosen; nothing has changed.
constexpr qint16 Cancelled = -1;
/// Asks for a file and reads it. 0: opened; `Cancelled`; otherwise the error number, which was shown, and the profile is as before.
qint16 OpenTProfile();
/// Reads the given file into the profile, with the same message on failure.
qint16 OpenTProfile(const QString& path);
/// Asks for a file and writes the profile. A name without ".gtp" gets it; when a file of that name is there, a box asks whether to replace
/// it. 0: saved; `Cancelled`; otherwise the error number, which was shown.
qint16 SaveTProfile();
} // namespace TProfile
