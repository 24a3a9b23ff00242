// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/ScanRun.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "goniometer/ControllerUse.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/ScanStop.h"
#include "goniometer/modSMC.h"

#include <QLocale>

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

void enterRunningState()
{
    state().readBackOnAbort = false;
    flags().acquisitionRunning = true;
    frontPanel().setEntryCaption(Menu::Entry::mnuMeasStartAcquisition, QString::fromUtf16(Menu::abortCaption));
    frontPanel().focusFirst();
    frontPanel().setPanel(datePanel, MeasuringDate(modTools::currentDateTime()));
    flags().saveLocked = true;
    frontPanel().refreshEntries();
}

void leaveRunningState()
{
    EndProgress();
    flags().acquisitionRunning = false;
    flags().saveLocked = false;
    frontPanel().setEntryCaption(Menu::Entry::mnuMeasStartAcquisition, QString::fromUtf16(Menu::startCaption));
    frontPanel().setPanel(filePanel, QStringLiteral("Ready"));
    frontPanel().refreshEntries();
}

void forgetScan(qint32 points)
{
    scanData().resize(points);
    flags().dataPresent = false;
    flags().dataSaved = false;
    frontPanel().refreshEntries();
}

void tellNotStarted()
{
    showMessage(startTitle,
                QStringLiteral("The start of the scan could not be confirmed, so nothing was read.") + lineBreak + lineBreak +
                    QStringLiteral("Please check the goniometer controller and its line, then start again. The counts in the controller, "
                                   "which 'Get RAM Data' reads, can be those of an earlier scan."),
                Prompts::Icon::Exclamation);
}

void measure()
{
    Options options;
    options.goOn = [] { return flags().acquisitionRunning; };
    bool started = false;
    options.started = [&started] {
        forgetScan(1);
        started = true;
    };
    const Result result = Measure(options);
    if (result == Result::BrokenOff && !started && !state().readBackOnAbort)
        forgetScan(1);
    else if (result == Result::NotStarted)
        tellNotStarted();
    else if (result == Result::Counted)
        ReadBack();
}

bool mayStart()
{
    const ControllerUse use;
    if (!use.granted()) {
        showMessage(startTitle, notReady);
        return false;
    }
    ScanParameterCheck::CheckScanParameters();
    if (!modSMC::SMCIsReady()) {
        if (!flags().closing)
            showMessage(startTitle, notReady);
        return false;
    }
    if (std::abs(scanParameters().start - scanParameters().stop) < 0.001)
        return false;
    return confirmStart();
}

void startRun()
{
    state().asking = true;
    const bool start = mayStart();
    state().asking = false;
    if (!start)
        return;
    enterRunningState();
    state().measuring = true;
    measure();
    state().measuring = false;
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
    if (confirm(QStringLiteral("Do you want read scan data anyway?"), Prompts::Icon::Question))
        state().readBackOnAbort = ReadBack();
    else if (!state().measuring)
        awaitStop();
    state().asking = false;
    if (!state().measuring)
        state().stopping.reset();
    leaveRunningState();
}

/// The scan in memory, kept for the case that nothing comes to take its place.
class Memory
{
public:
    void restore() const
    {
        ScanData& data = scanData();
        data.resize(static_cast<qint32>(m_counts.size()));
        for (qint32 i = 1; i <= data.size(); ++i)
            data.setPoint(i, m_angles[i - 1], m_counts[i - 1]);
        data.parameters = m_parameters;
        data.minimum = m_minimum;
        data.maximum = m_maximum;
        flags().dataPresent = m_present;
        flags().dataSaved = m_saved;
        frontPanel().refreshEntries();
    }

private:
    QVector<double> m_counts = scanData().counts();
    QVector<double> m_angles = scanData().angles();
    ScanParameters m_parameters = scanData().parameters;
    qint32 m_minimum = scanData().minimum;
    qint32 m_maximum = scanData().maximum;
    bool m_present = flags().dataPresent;
    bool m_saved = flags().dataSaved;
};

/// How long a line that is down is waited for before counts are read [s]. An abort waits for nothing, and by hand they can be read later.
double linePatience()
{
    if (state().stopping)
        return 0;
    return flags().profileRunning ? longestLineWait : flags().acquisitionRunning ? shortLineWait : 0;
}

/// Whether the controller is idle, before its counts are read.
bool awaitReady(const modSMC::AbortWatch& watch)
{
    const bool run = flags().acquisitionRunning || flags().profileRunning;
    const auto goOn = [&watch] { return !watch.brokenOff(); };
    for (int tries = run ? readyTries : 1; tries > 0 && goOn();) {
        modSMC::AwaitLine(linePatience(), goOn);
        const std::optional<qint16> status = modSMC::AskStatus(tries == 1 ? modSMC::reportTimeout : modSMC::silent);
        if (status && (*status & modSMC::idleBit) != 0)
            return true;
        if (!status) {
            --tries;
            continue;
        }
        if (!run || !state().stopping)
            return false;
        if (!keepStopping()) {
            tellStillBusy();
            return false;
        }
        modTools::Delay(1.0F, true);
    }
    return false;
}

void takeMinimum()
{
    const QVector<double>& counts = scanData().counts();
    const auto smallest = std::min_element(counts.cbegin(), counts.cend());
    scanData().minimum = smallest != counts.cend() ? static_cast<qint32>(*smallest) : 0;
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
    if (flags().acquisitionRunning)
        abortRun();
    else
        startRun();
}

bool ReadBack(std::optional<double> counterTime)
{
    // An abort inside the waits here has read the counts itself, or was told not to.
    const modSMC::AbortWatch watch;
    ScanParameterCheck::CheckScanParameters(counterTime);
    const bool ready = awaitReady(watch);
    if (watch.brokenOff())
        return false;
    if (!ready) {
        if (!(state().stopping && state().stopping->told))
            showMessage(QStringLiteral("Get RAM data"), notReady);
        return false;
    }
    frontPanel().focusFirst();
    frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
    const Memory before;
    forgetScan(scanParameters().numberOfPoints);
    scanData().parameters = scanParameters();
    const qint32 maximum = modSMC::SMCReadScanData(linePatience());
    const bool brokenOff = watch.brokenOff();
    // Nothing was received, and nothing takes the place of what was there.
    if (!brokenOff && maximum < 0 && modSMC::state().receivedPoints <= 0) {
        before.restore();
    } else if (!brokenOff) {
        modSMC::state().maximumCount = maximum;
        scanData().maximum = qMax(maximum, 0);
        takeMinimum();
    }
    const bool complete = maximum >= 0 && !brokenOff;
    if (complete) {
        scanData().plot(frontPanel().number(Field::ScanStart), frontPanel().number(Field::ScanStop), frontPanel().number(Field::ScanStep),
                        maximum);
        flags().dataPresent = true;
        flags().saveLocked = false;
        frontPanel().refreshEntries();
    }
    frontPanel().setPointer(FrontPanel::Pointer::Default);
    return complete;
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

QString MeasuringDate(const QDateTime& moment)
{
    return QLocale::c().toString(moment, QStringLiteral("MMM dd. yyyy hh:mm"));
}
} // namespace ScanRun
