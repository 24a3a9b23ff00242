// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanParameters.h"
#include "core/ScanRecord.h"

#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// A scan run: the counting program is loaded into the controller and started, the controller is polled once a second until it is idle, and
/// all counts are read in one transfer. Start and ReadBack alone turn the front panel into a scan; what they are made of takes and gives
/// values. A profile run measures with the same pieces.
namespace ScanRun {
/// A controller that an abort has told to stop.
struct Stopping
{
    std::optional<quint32> busySince; ///< timeGetTime() of its first busy answer after that [ms]
    quint32 lastSent = 0;             ///< timeGetTime() of the last "Q;" [ms]
    bool told = false;                ///< the operator knows that it does not stop
};

/// The module's variables. `state() = State{}` resets them.
struct State
{
    bool asking = false;                 ///< a start is being prepared or an abort is under way; another click is passed over
    bool readBackOnAbort = false;        ///< the counts of the running scan were read back by its abort
    bool stoppedByHand = false;          ///< "STOP Motion" was chosen since the counting program was sent
    std::optional<Stopping> stopping;    ///< an abort has sent "Q;" since the scan began
    std::optional<double> axis1Position; ///< where axis 1 was last sent or seen [deg], for the time of the positioning move
    ScanRecord last;                     ///< the scan that began last, without counts: those in the controller are its own, or older
    bool progressRunning = false;        ///< between BeginProgress and EndProgress
    quint32 startedAt = 0;               ///< timeGetTime() at the start of the counting program [ms]
    double positioning = 0;              ///< expected time of the move to the start angle [s]
    double perPoint = 0;                 ///< expected time of a point: counter time and one stepping move [s]
    qint32 points = 0;                   ///< number of points of the running scan
};
State& state();

/// Why no scan is measured; empty: nothing is in the way. The settings say Theta-2-Theta and the controller has one axis: what axis 1 alone
/// counts stands at other angles.
QString Refusal();
/// That, as a message bar with the button "Measure with axis 1 alone".
void TellMissingAxis();

/// The click of mnuMeasStartAcquisition: starts a run and returns when it has ended, or, while one is active, asks whether to abort it. The
/// abort runs inside the waits of the start; they share nothing but the operation. Nothing starts inside another operation that
/// uses the controller. A scan whose start could not be confirmed is said to be so in a box, and nothing is read: counts of an
/// earlier scan never pass for it.
void Start();

/// Reads the counts that are in the controller, as a scan of what the fields say (mnuExtrasSMCGetRAMData, and the end of every run), and
/// asks for the plot. The fields are checked first, so the number of points can differ from the run's when the range was shortened. True
/// when the scan is in memory; otherwise as ReadIntoMemory.
bool ReadBack(bool onlyWhole = false);

/// The same by hand (mnuExtrasSMCGetRAMData): when the fields say something else than the scan that was started last, a message bar offers
/// to read the counts as that scan.
void ReadBackByHand();

// --- from here on in values

/// The scan that the front panel shows: the parameters, corrected, sample name and comment; date and moments those of panel 2.
/// `counterTime` [s]: of a profile step, not normalized.
ScanRecord PanelScan(std::optional<double> counterTime = std::nullopt);
/// The scan begins now; panel 2 shows its date.
void Begin(ScanRecord& scan);
/// The scan that began last has ended now, by itself or by an abort; once it has, nothing changes.
void End();

/// What came of reading counts back.
struct Reading
{
    enum class Outcome {
        Taken,     ///< `scan` holds what was received
        Refused,   ///< the number of counts was wrong and the question about it answered No
        Nothing,   ///< the controller holds no counts, or gave none
        NotReady,  ///< it works, or does not answer
        BrokenOff, ///< by an abort, which has read the counts itself or was told not to, or by the end of the program
    };
    Outcome outcome = Outcome::NotReady;
    qint32 received = -1; ///< counts that came; -1: no transfer, or no answer
    ScanRecord scan;
    bool taken() const { return outcome == Outcome::Taken; }
};

/// Reads the counts of a scan with these parameters. Refused with "SMC not ready..." while the controller works; while a scan or a profile
/// runs, an unanswered query is repeated before that, a line that is down is waited for, and a controller that an abort has stopped gets
/// its time to stop; a scan that has just ended is asked for 5 s. `begins` is called before the transfer. `onlyWhole`: in doubt whether
/// the counts are this scan's, nothing but all its points is taken, and nothing is asked.
Reading ReadBack(const ScanRecord& scan, const std::function<void()>& begins = {}, bool onlyWhole = false);
/// The same; what was taken is the scan in memory then (Flags::dataPresent), not yet drawn. When nothing was received, the scan that was in
/// memory before stays; after a refused question its points are zero and Flags::dataPresent is clear.
Reading ReadIntoMemory(const ScanRecord& scan, bool onlyWhole = false);

/// The lines of the counting program for these parameters, goniometer type (Flags::goniometerType) and speeds [controller units].
QStringList CountingProgram(const ScanParameters& parameters, int goniometerType, qint32 slewSpeed, qint32 scanSpeed);
/// The same with the type and the speeds in use.
QStringList CountingProgram(const ScanParameters& parameters);

/// Sends the lines one by one as long as `goOn` says so, asked before each. True when it did to the end; whether the line was there
/// meanwhile, only Measure looks after.
bool Upload(const QStringList& lines, const std::function<bool()>& goOn);

enum class PollResult {
    Idle,    ///< axis 1 is idle
    Silent,  ///< nothing came for the time given
    Busy,    ///< it answers, but has not become idle in the time given, or not 30 s after an abort
    Closing, ///< the program ends
};

/// Polls axis 1 once a second until it is idle; a missing reply is not reported and counts as busy. Panel 1 shows a turning bar and "Data
/// acquisition in progress..."; `barAfter`: behind that text. `silenceLimit` [s]: longest time without any reply, 0 for no limit.
/// `goOn`: once it says no, the run was broken off: a reply that is missing ends the polling (Silent), and a controller that is still busy
/// gets "Q;" again every 5 s, for 30 s (Busy). `busyLimit` [s]: longest time until it is idle, 0 for no limit (Busy).
PollResult PollUntilIdle(double silenceLimit = 0, bool barAfter = false, const std::function<bool()>& goOn = {}, double busyLimit = 0);

/// How Measure does its work.
struct Options
{
    std::function<bool()> goOn;    ///< no: the run is broken off
    std::function<void()> started; ///< called each time the counting program has been sent
    bool barAfter = false;         ///< as for PollUntilIdle
    double silenceLimit = 0;       ///< as for PollUntilIdle [s]
    double busyLimit = 0;          ///< as for PollUntilIdle [s], from the start of the program; see LongestTime
    bool unattended = false;       ///< a controller that is still busy with something else is stopped before the scan
};

enum class Result {
    Counted,    ///< the controller has measured this scan and stands still: its counts can be read back
    Doubtful,   ///< the program was started, and nothing shows that it has run: counts in the right number are this scan's
    NotStarted, ///< the counting program could not be sent; what the controller holds may be an older scan
    Silent,     ///< nothing came for the time given
    Busy,       ///< the controller did not become idle in the time given; it was told to stop
    BrokenOff,  ///< by goOn or the end of the program
};

/// One scan, without the read-back: sends and starts the counting program, shows the progress and waits for the end.
///
/// The scan counts as started when a busy status came after the start, or when the controller is idle at the first poll and the line was
/// never lost or silent since the first line was sent (a very short scan). A line that is lost before "START:;" was written whole is waited
/// for, up to ten minutes, and the program is sent again, three times in all. Nothing else leads to that: it would erase finished counts. A
/// controller that is found idle in any other case may have measured this scan (Doubtful).
Result Measure(const ScanParameters& scan, const Options& options);

/// Bound for a scan that nobody watches [s]: twice the expected time and ten minutes.
double LongestTime(const ScanParameters& scan);

/// Tells the controller to stop because the operator breaks off: "Q;", in place of whatever is being asked. From then on a controller that
/// is still busy is told again, by the polling or by the read-back, for 30 s.
void StopController();

/// How long a scan with these parameters and that counter time [s] takes, without the positioning move [s]: on this instrument, which may
/// be a faster, virtual one, and on a real one.
double ExpectedTime(const ScanParameters& parameters, double counterTime);
double RealTime(const ScanParameters& parameters, double counterTime);

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
