// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "profile/TProfile.h"

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>

#include <functional>
#include <optional>

/// The unattended run of a temperature profile: for every temperature the controller is set, a steady temperature awaited, one scan
/// measured and saved. Nothing that fails in the middle costs the scans already taken.
namespace ProfileRun {
enum class Phase { Pending, Setpoint, Settling, Dwelling, Acquiring, Saving, Earlier, Done, Skipped, Aborted };
/// "waiting", "setting setpoint", ...
QString phaseText(Phase phase);

/// One temperature of the run: the plan, and what came of it.
struct Row
{
    int line = 0;           ///< profile line (from 1) that it comes from
    double setpoint = 0;    ///< K, deg C or A
    double ramp = 0;        ///< K/min, 0: none
    double dwell = 0;       ///< s
    double counterTime = 0; ///< s per point
    QString plannedFile;    ///< name with the setpoint in it
    bool exists = false;    ///< that name is taken: the file gets an index
    double estimate = 0;    ///< expected time [s]

    Phase phase = Phase::Pending;
    std::optional<double> actual; ///< temperature read after the wait
    double mean = 0;              ///< of the readings accepted by the wait
    double scatter = 0;
    QString file; ///< name written; empty: none
    qint32 maximumCount = 0;
    QDateTime finished;
    QStringList remarks; ///< what went wrong and what was done about it
};

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QList<Row> rows;
    int current = -1;             ///< row being measured, -1: none
    bool rehearsal = false;       ///< `AutoSave` = 0: no file is written
    QString reportFile;           ///< full path of the report
    float storedLaserCurrent = 0; ///< diode current before the run [A]
};
State& state();

/// Tells whoever shows the run that the rows have changed.
class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
};
Notifier& notifier();

/// How a run is started.
struct Options
{
    std::function<bool()> editor; ///< lets the operator edit the profile; false stops. Empty: the profile is taken as it is.
    std::optional<bool> resume;   ///< answers the question about a run broken off; nothing: it is asked
};

/// The click of mnuMeasExecTempProfile: starts the run and returns when it has ended, or asks whether to abort the one that is active. True
/// when a run went through to its end without an abort.
bool Execute(const Options& options = {});

/// The measurements that the profile gives, with the scan parameters in use.
QList<Row> Plan();
/// Seconds for the rows from `from` on.
double TimeFor(const QList<Row>& rows, qsizetype from = 0);
/// What is wrong with the profile: lines that cannot be measured, values out of range; empty when it can run.
QStringList Check();

/// "Quartz_0295.3.sdf": sample name, "_", the value in the active controller's format, ".sdf".
QString FileName(const QString& sample, double value);
/// The question before the start.
QString SummaryText();

/// The state file's path; empty for a profile without a file.
QString StateFile();
} // namespace ProfileRun
