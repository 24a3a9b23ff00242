// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/ScanRun.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/modSMC.h"

#include <QLocale>

#include <algorithm>
#include <cmath>

namespace ScanRun {
using Field = FrontPanel::Field;

namespace {
constexpr int filePanel = 1;
constexpr int datePanel = 2;
const QString startTitle = QStringLiteral("Start scan");
const QString runTitle = QStringLiteral("Data acquisition");
const QString notReady = QStringLiteral("SMC not ready...");

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
    message.safe = Prompts::Button::Cancel;
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
    frontPanel().setPanel(datePanel, MeasuringDate(QDateTime::currentDateTime()));
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

void measure()
{
    const auto running = [] { return flags().acquisitionRunning; };
    const bool started = Upload(CountingProgram(scanParameters()), running);
    if (!state().readBackOnAbort)
        forgetScan(1);
    if (!started)
        return;
    BeginProgress(scanParameters());
    PollUntilIdle(0, false, running);
    if (!running() || flags().closing)
        return;
    CompleteProgress();
    ReadBack();
}

bool mayStart()
{
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
    measure();
    leaveRunningState();
}

void abortRun()
{
    if (!confirm(QStringLiteral("Do you want to abort the current data acquisition now?"), Prompts::Icon::Critical))
        return;
    state().asking = true;
    modSMC::AbandonQuery();
    modSMC::SMCSend(QStringLiteral("Q;"));
    state().axis1Position.reset();
    if (confirm(QStringLiteral("Do you want read scan data anyway?"), Prompts::Icon::Question))
        state().readBackOnAbort = ReadBack();
    state().asking = false;
    leaveRunningState();
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
    return reply.size() > 2 ? modSMC::StatusOf(reply) : qint16{0};
}

void showPolling(int spinner, bool barAfter)
{
    static const QString bars[] = {QStringLiteral("| "), QStringLiteral("/ "), QStringLiteral("- "), QStringLiteral("\\ ")};
    const QString text = QStringLiteral("Data acquisition in progress...");
    // Behind the text the first sign stands without its blank: intended.
    frontPanel().setPanel(filePanel, barAfter ? text + (spinner == 0 ? QStringLiteral("|") : bars[spinner]) : bars[spinner] + text);
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
    const bool runWasActive = flags().acquisitionRunning;
    // An abort inside the waits here has read the counts itself, or was told not to.
    const auto brokenOff = [runWasActive] { return flags().closing || (runWasActive && !flags().acquisitionRunning); };
    ScanParameterCheck::CheckScanParameters(counterTime);
    const bool ready = modSMC::SMCIsReady();
    if (brokenOff())
        return false;
    if (!ready) {
        showMessage(QStringLiteral("Get RAM data"), notReady);
        return false;
    }
    frontPanel().focusFirst();
    frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
    forgetScan(scanParameters().numberOfPoints);
    scanData().parameters = scanParameters();
    const qint32 maximum = modSMC::SMCReadScanData();
    if (!brokenOff()) {
        modSMC::state().maximumCount = maximum;
        scanData().maximum = qMax(maximum, 0);
        takeMinimum();
    }
    const bool complete = maximum >= 0 && !brokenOff();
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

bool Upload(const QStringList& lines, const std::function<bool()>& goOn)
{
    for (const QString& line : lines) {
        if (!goOn() || flags().closing)
            return false;
        modSMC::SMCSend(line);
    }
    return goOn() && !flags().closing;
}

PollResult PollUntilIdle(double silenceLimit, bool barAfter, const std::function<bool()>& goOn)
{
    quint32 lastHeard = modTools::timeGetTime();
    for (int spinner = 0;; spinner = (spinner + 1) % 4) {
        modTools::Delay(1.0F, true);
        if (flags().closing)
            return PollResult::Closing;
        const QString reply = polledReply();
        const qint16 status = polledStatus(reply);
        showPolling(spinner, barAfter);
        if ((status & modSMC::idleBit) != 0)
            return PollResult::Idle;
        if (!reply.isEmpty())
            lastHeard = modTools::timeGetTime();
        else if ((goOn && !goOn()) || (silenceLimit > 0 && modTools::timeGetTime() - lastHeard >= silenceLimit * 1000))
            return PollResult::Silent;
    }
}

QString MeasuringDate(const QDateTime& moment)
{
    return QLocale::c().toString(moment, QStringLiteral("MMM dd. yyyy hh:mm"));
}
} // namespace ScanRun
