// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/ScanRun.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Notices.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/ScanStop.h"
#include "goniometer/modSMC.h"

#include <algorithm>
#include <cmath>

namespace ScanRun {
using Field = FrontPanel::Field;

namespace {
constexpr int filePanel = 1;
constexpr int datePanel = 2;
constexpr int readyTries = 3;
constexpr double longestLineWait = 600; // s
constexpr double shortLineWait = 10;    // s
constexpr quint32 stillBusy = 5000;     // ms
const QString startTitle = QStringLiteral("Start scan");
const QString runTitle = QStringLiteral("Data acquisition");
const QString notReady = QStringLiteral("SMC not ready...");
const QString lineBreak = QStringLiteral("\r\n");

QString general(double value)
{
    return modSMC::FormatSMCNumber(value);
}

bool confirmStart()
{
    const QString degrees = QString::fromUtf16(u"\u00b0 2-Theta");
    Prompts::Message message;
    message.title = startTitle;
    message.text =
        QStringList{
            QStringLiteral("Selected parameter set (") + QString::fromLatin1(goniometerTypeName()) + QStringLiteral("):"),
            QString(),
            QStringLiteral("Scan Start  : ") + frontPanel().text(Field::ScanStart) + degrees,
            QStringLiteral("Scan Stop   : ") + frontPanel().text(Field::ScanStop) + degrees,
            QStringLiteral("Scan Step   : ") + frontPanel().text(Field::ScanStep) + degrees,
            QStringLiteral("Counter Time: ") + frontPanel().text(Field::CounterTime) + QStringLiteral(" seconds"),
            QString(),
        }
            .join(QStringLiteral("\r\n"));
    message.buttons = Prompts::Buttons::OkCancel;
    message.goesOn = Prompts::Button::Ok;
    message.safe = message.unattended = Prompts::Button::Cancel;
    return prompts().message(message) == Prompts::Button::Ok;
}

bool confirm(const QString& text, Prompts::Icon icon)
{
    Prompts::Message message;
    message.title = runTitle;
    message.text = text;
    message.icon = icon;
    message.buttons = Prompts::Buttons::YesNo;
    message.goesOn = Prompts::Button::Yes;
    message.safe = message.unattended = Prompts::Button::No;
    return prompts().message(message) == Prompts::Button::Yes;
}

void enterRunningState(ScanRecord& scan)
{
    state().readBackOnAbort = false;
    Notices::take(QStringLiteral("scan"));
    frontPanel().focusFirst();
    Begin(scan);
}

void leaveRunningState()
{
    EndProgress();
    if (Operation* run = Operation::running(Operations::scan))
        run->cancel();
    modSMC::state().leftOver.reset();
    frontPanel().setPanel(filePanel, QStringLiteral("Ready"));
}

/// Points of zero take the place of the scan in memory, and none is present.
void forgetScan(ScanRecord scan, qint32 points)
{
    scan.resize(points);
    scanData().take(scan);
    flags().dataPresent = false;
    flags().dataSaved = false;
    frontPanel().refreshEntries();
}

void tellNotStarted()
{
    Notices::take(QStringLiteral("scan"));
    showMessage(startTitle,
                QStringLiteral("The start of the scan could not be confirmed, so nothing was read.") + lineBreak + lineBreak +
                    QStringLiteral("Please check the goniometer controller and its line, then start again. The counts in the controller, "
                                   "which 'Get RAM Data' reads, can be those of an earlier scan."),
                Prompts::Icon::Exclamation);
}

/// Nothing showed that the scan was started; before anything is measured again its counts are looked at.
void readInDoubt(const Operation& run)
{
    if (ReadBack(true))
        Notices::show(QStringLiteral("scan"),
                      QStringLiteral("The start of the last scan was not confirmed by the goniometer controller. The "
                                     "counts that it holds are as many as the scan has points and were taken for "
                                     "it."));
    else if (!run.isCancelled() && !flags().closing)
        tellNotStarted();
}

void measure(const Operation& run, const ScanRecord& scan)
{
    Options options;
    options.goOn = [&run] { return !run.isCancelled(); };
    bool started = false;
    options.started = [&started, &scan] {
        forgetScan(scan, 1);
        started = true;
    };
    const Result result = Measure(scan.parameters, options);
    if (result == Result::BrokenOff && !started && !state().readBackOnAbort)
        forgetScan(scan, 1);
    else if (result == Result::NotStarted)
        tellNotStarted();
    else if (result == Result::Counted)
        ReadBack();
    else if (result == Result::Doubtful)
        readInDoubt(run);
}

/// The scan to be measured; nothing when it may not be, or the operator does not want it.
std::optional<ScanRecord> askedFor()
{
    const Operation use(Operations::utility);
    if (!use.granted()) {
        showMessage(startTitle, notReady);
        return std::nullopt;
    }
    const ScanRecord scan = PanelScan();
    if (!Refusal().isEmpty()) {
        TellMissingAxis();
        frontPanel().setPanel(filePanel, QStringLiteral("No scan was started: the controller has one axis"));
        return std::nullopt;
    }
    if (!modSMC::SMCIsReady()) {
        if (!flags().closing)
            showMessage(startTitle, notReady);
        return std::nullopt;
    }
    if (std::abs(scan.parameters.start - scan.parameters.stop) < 0.001) {
        frontPanel().setPanel(filePanel, QStringLiteral("Nothing to measure: start and stop are the same"));
        return std::nullopt;
    }
    if (!confirmStart())
        return std::nullopt;
    return scan;
}

void startRun()
{
    state().asking = true;
    std::optional<ScanRecord> scan = askedFor();
    state().asking = false;
    if (!scan)
        return;
    const Operation run(Operations::scan);
    if (const auto before = Recovery::unsaved(); before && flags().dataPresent && !flags().dataSaved)
        frontPanel().setPanel(filePanel, QStringLiteral("The scan before was not saved; a copy lies in ") + before->path);
    enterRunningState(*scan);
    measure(run, *scan);
    state().stopping.reset();
    leaveRunningState();
}

/// After an abort that no start waits for.
void awaitStop()
{
    if (PollUntilIdle(0, false, [] { return false; }) == PollResult::Busy)
        tellStillBusy();
}

void abortRun()
{
    if (!confirm(QStringLiteral("Do you want to abort the current data acquisition now?"), Prompts::Icon::Critical))
        return;
    state().asking = true;
    StopController();
    End();
    if (confirm(QStringLiteral("Do you want read scan data anyway?"), Prompts::Icon::Question))
        state().readBackOnAbort = ReadBack();
    else if (modSMC::state().leftOver)
        awaitStop();
    state().asking = false;
    if (modSMC::state().leftOver)
        state().stopping.reset();
    leaveRunningState();
}

/// How long a line that is down is waited for before counts are read [s]. An abort waits for nothing, and by hand they can be read later.
double linePatience()
{
    if (state().stopping)
        return 0;
    return Operation::anyUnattended() ? longestLineWait : Operation::anyRun() ? shortLineWait : 0;
}

/// Whether the controller is idle, before its counts are read.
bool awaitReady(const Operation::Watch& watch)
{
    const bool run = Operation::anyRun();
    const auto goOn = [&watch] { return !watch.brokenOff(); };
    const quint32 since = modTools::timeGetTime();
    for (int tries = run ? readyTries : 1; tries > 0 && goOn();) {
        modSMC::AwaitLine(linePatience(), goOn);
        const std::optional<qint16> status = modSMC::AskStatus(tries == 1 ? modSMC::reportTimeout : modSMC::silent);
        if (status && (*status & modSMC::idleBit) != 0)
            return true;
        if (!status) {
            --tries;
            continue;
        }
        if (!run)
            return false;
        if (!state().stopping) {
            // It has just been idle: it may still tidy up behind its program.
            if (modTools::timeGetTime() - since >= stillBusy)
                return false;
        } else if (!keepStopping()) {
            tellStillBusy();
            return false;
        }
        modTools::Delay(1.0F, true);
    }
    return false;
}

qint32 smallest(const ScanRecord& scan)
{
    const auto least = std::min_element(scan.counts().cbegin(), scan.counts().cend());
    return least != scan.counts().cend() ? static_cast<qint32>(*least) : 0;
}

/// Whose counts are read by hand, only panel 2 tells.
void dateFromPanel(ScanRecord& scan)
{
    scan.measuringDate = frontPanel().panel(datePanel);
    if (scan.measuringDate == state().last.measuringDate) {
        scan.begin = state().last.begin;
        scan.end = state().last.end;
    } else {
        scan.begin = ScanRecord::ReadMeasuringDate(scan.measuringDate);
    }
}
/// The counts in the controller, as this scan.
void readAs(const ScanRecord& scan)
{
    const Operation use(Operations::utility);
    if (!use.granted())
        return;
    FrontPanel& panel = frontPanel();
    panel.setText(Field::ScanStart, general(scan.parameters.start));
    panel.setText(Field::ScanStop, general(scan.parameters.stop));
    panel.setText(Field::ScanStep, general(scan.parameters.step));
    panel.setText(Field::CounterTime, general(scan.parameters.counterTime));
    panel.setText(Field::txtFileName, scan.sample);
    panel.setText(Field::txtComment, scan.comment);
    panel.setPanel(datePanel, scan.measuringDate);
    ReadBack();
}
} // namespace

State& state()
{
    static State theState;
    return theState;
}

void Start()
{
    if (state().asking)
        return;
    if (Operation::isRunning(Operations::scan))
        abortRun();
    else
        startRun();
}

ScanRecord PanelScan(std::optional<double> counterTime)
{
    ScanRecord scan = ScanRecord::of(ScanParameterCheck::CheckScanParameters(counterTime));
    scan.sample = frontPanel().text(Field::txtFileName);
    scan.comment = frontPanel().text(Field::txtComment);
    dateFromPanel(scan);
    return scan;
}

void Begin(ScanRecord& scan)
{
    scan.beginAt(modTools::currentDateTime());
    state().last = scan;
    if (flags().smcOnline)
        Recovery::started(scan);
    frontPanel().setPanel(datePanel, scan.measuringDate);
}

void End()
{
    if (state().last.begin.isValid() && !state().last.end.isValid())
        state().last.end = modTools::currentDateTime();
}

QString Refusal()
{
    return modSMC::state().axesMissing
               ? QStringLiteral("The settings say Theta-2-Theta, but the goniometer controller has only one axis. No scan is started.")
               : QString();
}

void ReadBackByHand()
{
    const std::optional<ScanRecord> last = flags().smcOnline ? Recovery::lastStarted() : std::nullopt;
    Notices::take(QStringLiteral("last scan"));
    if (!ReadBack() || !last)
        return;
    const ScanParameters& wanted = last->parameters;
    const ScanParameters& taken = scanData().parameters;
    const auto same = [](double one, double other) { return std::abs(one - other) < 0.0005; };
    if (same(wanted.start, taken.start) && same(wanted.stop, taken.stop) && same(wanted.step, taken.step) &&
        same(wanted.counterTime, taken.counterTime))
        return;
    Notices::show({QStringLiteral("last scan"),
                   QStringLiteral("The controller's last scan was started as ") + general(wanted.start) + QStringLiteral(" to ") +
                       general(wanted.stop) + QStringLiteral(" in steps of ") + general(wanted.step) + QStringLiteral(" (") + last->sample +
                       u')',
                   {{QStringLiteral("Take these"), [scan = *last] { readAs(scan); }}}});
}

void TellMissingAxis()
{
    Notices::show(
        {QStringLiteral("axes"), Refusal(), {{QStringLiteral("Measure with axis 1 alone"), [] { modSMC::state().axesMissing = false; }}}});
}

bool ReadBack(bool onlyWhole)
{
    // An abort inside the box of the check has read the counts itself, or was told not to.
    const Operation::Watch watch;
    const ScanRecord scan = PanelScan();
    if (watch.brokenOff() || !ReadIntoMemory(scan, onlyWhole).taken())
        return false;
    scanData().plot(frontPanel().number(Field::ScanStart), frontPanel().number(Field::ScanStop), frontPanel().number(Field::ScanStep),
                    scanData().maximum);
    return true;
}

Reading ReadBack(const ScanRecord& scan, const std::function<void()>& begins, bool onlyWhole)
{
    using Outcome = Reading::Outcome;
    const Operation::Watch watch;
    const bool ready = awaitReady(watch);
    if (watch.brokenOff())
        return {Outcome::BrokenOff, -1, scan};
    if (!ready) {
        if (!(state().stopping && state().stopping->told))
            showMessage(QStringLiteral("Get RAM data"), notReady);
        return {Outcome::NotReady, -1, scan};
    }
    if (begins)
        begins();
    Reading reading{Outcome::Taken, -1, scan};
    reading.scan.resize(scan.parameters.numberOfPoints);
    const modSMC::Transfer transfer = modSMC::SMCReadScanData(reading.scan, linePatience(), onlyWhole);
    reading.received = transfer.received;
    reading.scan.simulated = !flags().smcOnline;
    if (watch.brokenOff())
        reading.outcome = Outcome::BrokenOff;
    else if (transfer.maximum < 0)
        reading.outcome = transfer.received > 0 ? Outcome::Refused : Outcome::Nothing;
    reading.scan.maximum = qMax(transfer.maximum, 0);
    reading.scan.minimum = smallest(reading.scan);
    return reading;
}

Reading ReadIntoMemory(const ScanRecord& scan, bool onlyWhole)
{
    using Outcome = Reading::Outcome;
    struct Memory
    {
        ScanRecord scan = scanData().record();
        bool present = flags().dataPresent;
        bool saved = flags().dataSaved;
    };
    std::optional<Memory> before;
    const auto begins = [&] {
        frontPanel().focusFirst();
        frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
        before.emplace();
        forgetScan(scan, scan.parameters.numberOfPoints);
    };
    const Reading reading = ReadBack(scan, begins, onlyWhole);
    if (!before)
        return reading;
    if (reading.outcome == Outcome::Nothing) {
        scanData().take(before->scan);
        flags().dataPresent = before->present;
        flags().dataSaved = before->saved;
    } else if (reading.outcome == Outcome::Refused) {
        modSMC::state().maximumCount = -1;
    } else if (reading.taken()) {
        modSMC::state().maximumCount = reading.scan.maximum;
        scanData().take(reading.scan);
        flags().dataPresent = true;
        if (!reading.scan.simulated)
            Recovery::keep(reading.scan);
        if (Operation* run = Operation::running(Operations::scan))
            run->release(Resource::ScanToSave);
    }
    frontPanel().refreshEntries();
    frontPanel().setPointer(FrontPanel::Pointer::Default);
    return reading;
}

QStringList CountingProgram(const ScanParameters& parameters, int goniometerType, qint32 slewSpeed, qint32 scanSpeed)
{
    const bool twoAxes = goniometerType == 1;
    const auto positioning = [](char16_t axis, double position, double speed) -> QString {
        return axis + QStringLiteral(":A") + general(position) + QStringLiteral("S500L") + general(speed) + QStringLiteral("B20;");
    };
    const auto stepping = [](char16_t axis, double distance, double speed) -> QString {
        return axis + QStringLiteral(":") + general(distance) + u'S' + general(speed) + u';';
    };
    const QString lineEnd = QStringLiteral("NL;");
    const QString count = QStringLiteral("CNT") + general(parameters.counterTime) + u';';

    QStringList lines{QStringLiteral("CLR;"), twoAxes ? QStringLiteral("CA2;") : QStringLiteral("CA1;"), QStringLiteral("CCNT;")};
    // Half the angle at half the speed: the sample arrives together with the detector.
    if (twoAxes)
        lines << positioning(u'1', parameters.start / 2, slewSpeed / 2.0) << positioning(u'2', parameters.start, slewSpeed);
    else
        lines << positioning(u'1', parameters.start, slewSpeed);
    lines << count << lineEnd;
    lines << QStringLiteral("GSB10*") + general(parameters.numberOfPoints - 1) + u';' << lineEnd;
    lines << QStringLiteral("END;") << QStringLiteral("LIN10;");
    if (twoAxes)
        lines << stepping(u'1', parameters.step / 2, scanSpeed / 2.0) << stepping(u'2', parameters.step, scanSpeed);
    else
        lines << stepping(u'1', parameters.step, scanSpeed);
    lines << count << lineEnd << QStringLiteral("RET;") << lineEnd << QStringLiteral("START:;");
    return lines;
}

QStringList CountingProgram(const ScanParameters& parameters)
{
    return CountingProgram(parameters, flags().goniometerType, configuration().general.slewSpeed, configuration().general.scanSpeed);
}
} // namespace ScanRun
