// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "goniometer/ScanRun.h"
#include "goniometer/ScanStop.h"
#include "goniometer/modSMC.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"

namespace ScanRun {
namespace {
constexpr int statusPanel = 1;
constexpr int startTries = 3;
constexpr double longestLineWait = 600; // s
constexpr double stopTime = 30;         // s
constexpr double stopInterval = 5;      // s
constexpr double pollInterval = 1;      // s

double secondsSince(quint32 moment)
{
    return (modTools::timeGetTime() - moment) / 1000.0;
}

bool goesOn(const Options& options)
{
    return !flags().closing && (!options.goOn || options.goOn());
}

QString polledReply()
{
    modSMC::SMCSend(QStringLiteral("?S1;"));
    return modSMC::SMCReceive(modSMC::silent);
}

qint16 polledStatus(const QString& reply)
{
    if (!flags().smcOnline)
        return modSMC::disabledStatus;
    return modSMC::HoldsStatus(reply) ? modSMC::StatusOf(reply) : qint16{0};
}

void showPolling(int spinner, bool barAfter)
{
    static const QString bars[] = {QStringLiteral("| "), QStringLiteral("/ "), QStringLiteral("- "), QStringLiteral("\\ ")};
    const QString text = QStringLiteral("Data acquisition in progress...");
    // Behind the text the first sign stands without its blank: intended.
    frontPanel().setPanel(statusPanel, barAfter ? text + (spinner == 0 ? QStringLiteral("|") : bars[spinner]) : bars[spinner] + text);
}

/// What tells, once the controller is idle, whether it has run the program that was sent.
class StartWatch
{
public:
    explicit StartWatch(const ScanParameters& scan)
        : m_shortest(configuration().general.onThisInstrument(scan.numberOfPoints * scan.counterTime))
    {
    }
    void polled(const QString& reply)
    {
        if (!modSMC::HoldsStatus(reply))
            m_silent = true;
        else if ((modSMC::StatusOf(reply) & modSMC::idleBit) == 0)
            m_seenBusy = true;
    }
    /// Idle: has this scan been measured?
    bool confirmed() const
    {
        // A scan that the operator has stopped is not begun again behind his back.
        const bool lost = modCOM::MCComm().losses() != m_losses;
        return m_seenBusy || state().stoppedByHand || !flags().smcOnline || (!lost && !m_silent && canBeOver());
    }

private:
    /// A controller that is idle before the scan can have been counted has measured something else, or nothing.
    bool canBeOver() const { return secondsSince(m_begun) + pollInterval >= m_shortest; }

    double m_shortest; // s
    quint32 m_begun = modTools::timeGetTime();
    quint32 m_losses = modCOM::MCComm().losses();
    bool m_silent = false;
    bool m_seenBusy = false;
};

PollResult poll(const Options& options, StartWatch* start)
{
    const quint32 begun = modTools::timeGetTime();
    quint32 lastHeard = begun;
    for (int spinner = 0;; spinner = (spinner + 1) % 4) {
        modTools::Delay(1.0F, true);
        if (flags().closing)
            return PollResult::Closing;
        const QString reply = polledReply();
        const qint16 status = polledStatus(reply);
        showPolling(spinner, options.barAfter);
        if ((status & modSMC::idleBit) != 0)
            return PollResult::Idle;
        if (start != nullptr)
            start->polled(reply);
        const bool brokenOff = !goesOn(options);
        if (!reply.isEmpty())
            lastHeard = modTools::timeGetTime();
        else if (brokenOff || (options.silenceLimit > 0 && secondsSince(lastHeard) >= options.silenceLimit))
            return PollResult::Silent;
        if (brokenOff ? !keepStopping() : options.busyLimit > 0 && secondsSince(begun) >= options.busyLimit)
            return PollResult::Busy;
    }
}

/// A controller that still works on something older must not lend its counts to this scan: it is stopped. Nothing when it stands still.
std::optional<Result> standStill(const Options& options)
{
    for (quint32 lastHeard = modTools::timeGetTime(); goesOn(options); modTools::Delay(1.0F, true)) {
        const std::optional<qint16> status = modSMC::AskStatus(modSMC::silent);
        if (!goesOn(options))
            break;
        if (status && (*status & modSMC::idleBit) != 0) {
            state().stopping.reset();
            return std::nullopt;
        }
        if (status)
            lastHeard = modTools::timeGetTime();
        else if (options.silenceLimit > 0 && secondsSince(lastHeard) >= options.silenceLimit)
            return Result::Silent;
        if (status && !state().stopping)
            StopController();
        if (status && !keepStopping())
            return Result::Busy;
    }
    return Result::BrokenOff;
}

void note(const QString& text)
{
    modTools::WriteLog(true, text);
    frontPanel().setPanel(statusPanel, text);
    Notices::show(QStringLiteral("scan"), text + u'.');
}

bool lineIsThere(const Options& options)
{
    if (modCOM::MCComm().isDown())
        frontPanel().setPanel(statusPanel, QStringLiteral("Waiting for the line of the goniometer controller..."));
    return modSMC::AwaitLine(longestLineWait, [&options] { return goesOn(options); });
}

/// What a poll's end means for the scan.
Result outcome(PollResult polled, const StartWatch& watch, const Options& options)
{
    const bool runs = goesOn(options);
    if (polled == PollResult::Busy && runs)
        StopController();
    else if (polled == PollResult::Busy)
        tellStillBusy();
    if (!runs)
        return Result::BrokenOff;
    if (polled != PollResult::Idle)
        return polled == PollResult::Busy ? Result::Busy : Result::Silent;
    if (watch.confirmed())
        return Result::Counted;
    note(QStringLiteral("SMC: nothing shows that the scan was started, its counts are looked at"));
    return Result::Doubtful;
}

/// Sends and starts the program. False when the line was lost before the last line, which is then not sent, or the operator broke off.
bool sendProgram(const ScanParameters& scan, const Options& options)
{
    const quint32 losses = modCOM::MCComm().losses();
    for (const QString& line : CountingProgram(scan)) {
        const bool lost = flags().smcOnline && modCOM::MCComm().losses() != losses;
        if (lost || state().stoppedByHand || !goesOn(options) || !modSMC::SMCSend(line))
            return false;
    }
    return true;
}

/// Sends the program and waits for its end; nothing when it has to be sent again.
std::optional<Result> tryOnce(const ScanParameters& scan, const Options& options)
{
    StartWatch watch(scan);
    const bool sent = sendProgram(scan, options);
    if (!goesOn(options))
        return Result::BrokenOff;
    if (state().stoppedByHand)
        return Result::NotStarted;
    if (!sent)
        return std::nullopt;
    if (options.started)
        options.started();
    BeginProgress(scan);
    const PollResult polled = poll(options, &watch);
    return outcome(polled, watch, options);
}
} // namespace

void tellStillBusy()
{
    const bool told = state().stopping && state().stopping->told;
    if (state().stopping)
        state().stopping->told = true;
    if (!told && !flags().closing)
        showMessage(QStringLiteral("Data acquisition"),
                    QStringLiteral("The goniometer controller does not stop: it is still busy.\r\n\r\nPlease stop it at its front panel."),
                    Prompts::Icon::Critical);
}

bool keepStopping()
{
    Stopping& stopping = state().stopping ? *state().stopping : state().stopping.emplace();
    const quint32 now = modTools::timeGetTime();
    if (!stopping.busySince) {
        stopping.busySince = stopping.lastSent = now;
    } else if (secondsSince(*stopping.busySince) >= stopTime) {
        return false;
    } else if (secondsSince(stopping.lastSent) >= stopInterval) {
        stopping.lastSent = now;
        modTools::WriteLog(true, QStringLiteral("SMC: still busy after \"Q;\", sent again"));
        modSMC::SMCSend(QStringLiteral("Q;"));
    }
    return true;
}

void StopController()
{
    state().stopping.emplace();
    modSMC::AbandonQuery();
    modSMC::SMCSend(QStringLiteral("Q;"));
    state().axis1Position.reset();
}

bool Upload(const QStringList& lines, const std::function<bool()>& goOn)
{
    for (const QString& line : lines) {
        if (!goOn() || flags().closing)
            return false;
        modSMC::SMCSend(line);
    }
    return goOn() && !flags().closing;
}

PollResult PollUntilIdle(double silenceLimit, bool barAfter, const std::function<bool()>& goOn, double busyLimit)
{
    Options options;
    options.goOn = goOn;
    options.barAfter = barAfter;
    options.silenceLimit = silenceLimit;
    options.busyLimit = busyLimit;
    return poll(options, nullptr);
}

Result Measure(const ScanParameters& scan, const Options& options)
{
    state().stopping.reset();
    state().stoppedByHand = false;
    for (int tries = 1; tries <= startTries; ++tries) {
        if (!lineIsThere(options))
            return goesOn(options) ? Result::NotStarted : Result::BrokenOff;
        if (tries > 1)
            note(QStringLiteral("The counting program is sent again (") + NumberText::General(qint32{tries}) + QStringLiteral(" of ") +
                 NumberText::General(qint32{startTries}) + u')');
        std::optional<Result> result = options.unattended ? standStill(options) : std::nullopt;
        if (!result)
            result = tryOnce(scan, options);
        if (result == Result::Counted || result == Result::Doubtful) {
            End();
            CompleteProgress();
        }
        if (result)
            return *result;
        // The controller can stand anywhere between two angles.
        state().axis1Position.reset();
    }
    return Result::NotStarted;
}

double LongestTime(const ScanParameters& scan)
{
    return 2 * RealTime(scan, scan.counterTime) + 600;
}
} // namespace ScanRun
