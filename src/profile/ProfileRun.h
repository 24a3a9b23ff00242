// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "profile/TProfile.h"
#include "temperature/Controller.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

/// The unattended run of a temperature profile: for every temperature the controller is set, a steady temperature awaited, one scan
/// measured and saved. Nothing that fails in the middle costs the scans already taken.
namespace ProfileRun {
enum class Phase { Pending, Paused, Setpoint, Settling, Dwelling, Acquiring, Saving, Earlier, Done, Skipped, Aborted };
/// "waiting", "setting setpoint", ...
QString phaseText(Phase phase);

/// One temperature of the run: the plan, and what came of it.
struct Row
{
    int line = 0;           ///< profile line (from 1) that it comes from
    double setpoint = 0;    ///< in the controller's unit
    double ramp = 0;        ///< K/min, 0: none
    double dwell = 0;       ///< s
    double counterTime = 0; ///< s per point
    QString plannedFile;    ///< name with the setpoint in it, with an index when the name without is taken
    bool exists = false;    ///< that name is taken, by a file in the work directory or by a scan of this run before it
    double estimate = 0;    ///< expected time [s]

    Phase phase = Phase::Pending;
    std::optional<double> actual; ///< temperature read after the wait; laser: from the current read, or that current itself in current mode
    double mean = 0;              ///< of the readings accepted by the wait, where that has statistics
    double scatter = 0;
    QString file; ///< name written; empty: none
    qint32 maximumCount = 0;
    QDateTime finished;   ///< or skipped, or broken off
    bool partial = false; ///< saved with fewer points than it should have
    bool silent = false;  ///< skipped because the temperature controller did not answer
    QStringList remarks;  ///< what went wrong and what was done about it
};

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QList<Row> rows;
    QString sample; ///< name and comment of all scans of the run: those that the fields had when it started
    QString comment;
    QStringList remarks;          ///< what the run says that belongs to none of its rows
    int current = -1;             ///< row being measured, -1: none
    bool asking = false;          ///< the questions of a start or of an abort stand; another click is passed over
    int silentSteps = 0;          ///< skipped one after the other because the temperature controller did not answer
    bool counting = false;        ///< the scan of the present row has been started: counts in the controller are its own
    bool abortAsked = false;      ///< broken off by its question, which offers to read the counts
    bool hurried = false;         ///< nothing is waited for at its end
    bool rehearsal = false;       ///< `AutoSave` = 0: no file is written
    QString reportFile;           ///< full path of the report
    Temperature::WayBack wayBack; ///< of the controller, as it was when the run began
    quint32 phaseStartedAt = 0;   ///< timeGetTime() when the current row entered its phase [ms]
};
State& state();

/// Tells whoever shows the run that the rows have changed.
class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
    /// The wait of the current row takes longer than `LongestWait`; it goes on.
    void waitsLong(const QString& text);
};
Notifier& notifier();

/// How a run is started.
struct Options
{
    std::function<bool()> editor; ///< lets the operator edit the profile; false stops. Empty: the profile is taken as it is.
    /// Answers the question about a run broken off; nothing: it is asked. True also stops a count that this run has left in the controller.
    std::optional<bool> resume;
};

/// The click of mnuMeasExecTempProfile: starts the run and returns when it has ended, or asks whether to abort the one that is active. True
/// when a run went through to its end without an abort. Its questions claim the goniometer controller (Operations::utility): nothing that
/// moves or measures starts inside them, and they are not asked while something does. After three steps in a row that were skipped because
/// the temperature controller did not answer the run pauses: it asks the controller once a minute and goes on when that answers. Steps that
/// were skipped keep the state file, and a continued run measures them. Afterwards the heaters are set back; one that does not take it is
/// asked ten times, then the report and panel 3 say so.
bool Execute(const Options& options = {});
/// Breaks it off and waits for nothing any more at its end; the heaters are set back all the same.
void Hurry();

// --- the plan

/// A profile with more scans is refused: at a minute each they would take three weeks.
inline constexpr qsizetype mostScans = 30000;
/// Where an outline stops counting.
inline constexpr qsizetype longestPlan = 1000000;

/// The measurements that the profile gives, with the scan parameters in use; at most one more than `mostScans`.
QList<Row> Plan();
/// Seconds for the rows from `from` on.
double TimeFor(const QList<Row>& rows, qsizetype from = 0);
/// What is wrong with the profile, each beginning with "line n: ": lines that cannot be measured, values that are no numbers or out of
/// range, keys given twice, too many scans. About the first hundred findings; empty when nothing is.
QStringList Check();

/// A plan's size and time without its rows, however many they are.
struct Outline
{
    qint64 scans = 0;
    double seconds = 0;
    QList<Row> rows; ///< setpoint, dwell, counter time and estimate only; where `marks` were too few, each stands for several rows
};
Outline outline(const QList<TProfile::Step>& steps, qsizetype marks = 1000);

/// Seconds left for one row of the run: the estimate of a row ahead, counting down for the current one (never below 1), 0 for one behind.
double TimeLeft(qsizetype row);
/// Seconds left for the scans of the run.
double TimeLeft();
/// "h:mm:ss"
QString TimeText(double seconds);
/// "3 scans, about 1:23:45"
QString TotalText(qint64 scans, double seconds);

/// "Quartz_0295.3.sdf": sample name, "_", the value in the active controller's format, ".sdf".
QString FileName(const QString& sample, double value);
/// What is said of a profile with more than `mostScans`.
QString TooManyText();
/// The question before the start.
QString SummaryText();
/// What unfolds in that question: total time and end, what is wrong with the profile, the scans and their files.
QString DetailsText(const QList<Row>& rows);

/// Scans that a run of this very profile and sample had done, or skipped, when it was broken off; nothing when there is none. A rehearsal
/// asks for none, and leaves what one has written alone.
std::optional<qsizetype> BrokenOffAfter();
/// Those of them that were skipped, counted from 1.
QList<qsizetype> SkippedBefore();

/// The state file's path; empty for a profile without a file.
QString StateFile();
} // namespace ProfileRun
