// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanParameters.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// A scan run: the counting program is loaded into the controller and started, the controller is polled once a second until it is idle, and
/// all counts are read in one transfer. A profile run measures with the same pieces.
namespace ScanRun {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    bool asking = false;                 ///< a start is being prepared or an abort is under way; another click is passed over
    bool readBackOnAbort = false;        ///< the counts of the running scan were read back by its abort
    std::optional<double> axis1Position; ///< where axis 1 was last sent or seen [deg], for the time of the positioning move
    bool progressRunning = false;        ///< between BeginProgress and EndProgress
    quint32 startedAt = 0;               ///< timeGetTime() at the start of the counting program [ms]
    double positioning = 0;              ///< expected time of the move to the start angle [s]
    double perPoint = 0;                 ///< expected time of a point: counter time and one stepping move [s]
    qint32 points = 0;                   ///< number of points of the running scan
};
State& state();

/// The click of mnuMeasStartAcquisition: starts a run and returns when it has ended, or, while one is active, asks whether to abort it. The
/// abort runs inside the waits of the start; they share nothing but Flags::acquisitionRunning.
void Start();

/// Reads the counts in the controller into scanData() and asks for the plot. Checks the scan parameters first, so the number of points can
/// differ from the run's when the range was shortened. Refused with "SMC not ready..." while the controller works. `counterTime` [s]: of a
/// profile step, not normalized. True when a scan is in memory; otherwise the arrays are zero and Flags::dataPresent is clear.
bool ReadBack(std::optional<double> counterTime = std::nullopt);

/// The lines of the counting program for these parameters, goniometer type (Flags::goniometerType) and speeds [controller units].
QStringList CountingProgram(const ScanParameters& parameters, int goniometerType, qint32 slewSpeed, qint32 scanSpeed);
/// The same with the type and the speeds in use.
QStringList CountingProgram(const ScanParameters& parameters);

/// Sends the lines one by one as long as `goOn` says so, asked before each. True when all were sent.
bool Upload(const QStringList& lines, const std::function<bool()>& goOn);

enum class PollResult {
    Idle,    ///< axis 1 is idle
    Silent,  ///< nothing came for the time given
    Closing, ///< the program ends
};

/// Polls axis 1 once a second until it is idle; a missing reply is not reported and counts as busy. Panel 1 shows a turning bar and "Data
/// acquisition in progress..."; `barAfter`: behind that text. `silenceLimit` [s]: longest time without any reply, 0 for no limit.
/// `goOn`: once it says no, a reply that is missing ends the polling (Silent): a run that was broken off does not wait for a controller
/// that is gone.
PollResult PollUntilIdle(double silenceLimit = 0, bool barAfter = false, const std::function<bool()>& goOn = {});

/// The measuring date of panel 2: "mmm dd. yyyy hh:mm" with English month names.
QString MeasuringDate(const QDateTime& moment);

/// How long a scan with these parameters and that counter time [s] takes, without the positioning move [s].
double ExpectedTime(const ScanParameters& parameters, double counterTime);

/// Starts the progress display of a scan: ProgressBar1 and panel 4, refreshed by ExposureTimer from then on. Call it when the counting
/// program has been started. The time of the positioning move is estimated from where axis 1 was last seen; unknown, it counts 0.
void BeginProgress(const ScanParameters& parameters);
/// One refresh: elapsed against expected time, at most 99 %, and "n of N points, h:mm:ss remaining", never 0:00:00.
void RefreshProgress();
/// The controller is idle: 100 %, all points.
void CompleteProgress();
/// Empties the progress display and stops ExposureTimer.
void EndProgress();
} // namespace ScanRun
