// SPDX-License-Identifier: GPL-3.0-or-later
//
// The commands that look at the instrument or move it: status, goto, stop, off, ratemeter, reference.

#include "app/cli/Commands.h"
#include "app/cli/Interrupts.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Status.h"
#include "core/startup/modMain.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/ScanRun.h"
#include "goniometer/Utilities.h"
#include "goniometer/modSMC.h"
#include "safety/AllOff.h"
#include "serial/modCOM.h"

#include <QJsonDocument>

#include <algorithm>

#include <cmath>

namespace {
using NumberText::General;

constexpr double longestSilence = 10; // s
constexpr double longestStop = 30;    // s
constexpr double arrived = 0.01;      // deg

/// A move that was started is stopped by Ctrl-C.
void onInterrupt(int)
{
    if (flags().smcOnline && !flags().closing)
        GoniometerUtilities::Stop();
    flags().closing = true;
}

/// `longest` [s]: 0 for no limit.
int waitUntilIdle(double longest = 0)
{
    switch (ScanRun::PollUntilIdle(longestSilence, false, {}, longest)) {
    case ScanRun::PollResult::Idle:
        return cli::Done;
    case ScanRun::PollResult::Silent:
        cli::Terminal::note(u"The goniometer controller fell silent."_qs);
        return cli::Failed;
    case ScanRun::PollResult::Busy:
        cli::Terminal::note(u"The goniometer controller does not become idle."_qs);
        return cli::Failed;
    case ScanRun::PollResult::Closing:
        cli::Terminal::note(u"Stopped."_qs);
        return cli::Aborted;
    }
    return cli::Failed;
}

/// The position of the axis [deg].
double showPosition(qint16 axis)
{
    const double position = modSMC::SMCGetPosition(axis);
    cli::Terminal::result(u"Axis %1: %2 degrees"_qs.arg(QString::number(axis), General(position)));
    return position;
}

int failedOrAborted()
{
    return cli::Interrupts::count() > 0 ? cli::Aborted : cli::Failed;
}

/// The controller answers and is idle.
bool readyToMove()
{
    if (!cli::connectDevices())
        return false;
    if (!Operation::isRunning(Operations::scan) && modSMC::SMCIsReady())
        return true;
    cli::Terminal::note(u"SMC not ready..."_qs);
    return false;
}
} // namespace

namespace {
int statusAsJson(bool answers)
{
    if (answers)
        modSMC::SMCGetPosition(1);
    modMain::SetCaption();
    const QJsonDocument document(statusJson(instrument(), frontPanel(), Operation::names()));
    cli::Terminal::result(QString::fromUtf8(document.toJson(QJsonDocument::Indented)).trimmed());
    return answers ? cli::Done : failedOrAborted();
}
} // namespace

int cli::status(const Arguments& arguments)
{
    Interrupts::install(onInterrupt);
    const bool answers = connectDevices();
    if (arguments.has("json"))
        return statusAsJson(answers);
    Terminal::result(modMain::ShortCaption());
    if (!answers)
        return failedOrAborted();
    const Configuration::Line& line = configuration().smc;
    Terminal::result(u"Firmware: %1"_qs.arg(modSMC::SMCGetVersion()));
    Terminal::result(u"Line: %1, %2"_qs.arg(line.name(), line.settings));
    for (qint16 axis = 1; axis <= modSMC::state().numberOfAxes; ++axis) {
        const qint16 axisStatus = modSMC::SMCGetAxisStatus(axis);
        const QString busy = (axisStatus & modSMC::idleBit) != 0 ? u"idle"_qs : u"busy"_qs;
        Terminal::result(u"Axis %1: %2 degrees, status %3 (%4)"_qs.arg(QString::number(axis), General(modSMC::SMCGetPosition(axis)),
                                                                       QString::number(axisStatus), busy));
    }
    return flags().closing ? Aborted : Done;
}

int cli::goTo(const Arguments& arguments)
{
    Interrupts::install(onInterrupt);
    const double wanted = *arguments.number("angle");
    const double axis = *arguments.number("axis");
    if (!readyToMove())
        return failedOrAborted();
    if (axis > modSMC::state().numberOfAxes) {
        Terminal::note(u"The controller has no axis %1."_qs.arg(General(axis)));
        return Failed;
    }
    const Configuration::General& limits = configuration().general;
    if (wanted < limits.thetaMin || wanted > limits.thetaMax) {
        Terminal::note(u"%1 degrees lie outside %2 to %3."_qs.arg(General(wanted), General(limits.thetaMin), General(limits.thetaMax)));
        return Failed;
    }
    terminalPrompts().answers.insert(u"Select axis"_qs, General(axis));
    terminalPrompts().answers.insert(u"Target position"_qs, General(wanted));
    GoniometerUtilities::GoTo();
    const int result = waitUntilIdle();
    if (result != Done)
        return result;
    const double reached = showPosition(static_cast<qint16>(axis));
    if (std::abs(reached - wanted) <= arrived)
        return Done;
    Terminal::note(u"The axis was sent to %1 degrees and is not there."_qs.arg(General(wanted)));
    return Failed;
}

int cli::stop(const Arguments&)
{
    if (!connectDevices())
        return Failed;
    GoniometerUtilities::Stop();
    const int result = waitUntilIdle(longestStop);
    if (result == Done)
        Terminal::result(u"Stopped."_qs);
    return result;
}

int cli::off(const Arguments&)
{
    // A controller that was not heard at the start may hear all the same.
    if (!connectDevices() && modCOM::MCComm().isOpen())
        flags().smcOnline = true;
    const bool done = AllOff::Run();
    for (const AllOff::Item& item : AllOff::items()) {
        const QString line = item.what + u": "_qs + item.said;
        item.done ? Terminal::result(line) : Terminal::note(line);
    }
    return done ? Done : failedOrAborted();
}

namespace {
/// Ctrl-C is how the ratemeter without a number of readings ends.
void stopRatemeter(int)
{
    if (Operation::isRunning(Operations::ratemeter))
        Ratemeter::Stop();
    flags().closing = true;
}

QString rateText()
{
    const Ratemeter::State& meter = Ratemeter::state();
    return meter.text + u" counts per second"_qs + (meter.noAnswer ? u" (no answer)"_qs : QString());
}
} // namespace

int cli::ratemeter(const Arguments& arguments)
{
    Interrupts::install(stopRatemeter);
    if (!readyToMove())
        return failedOrAborted();
    if (const std::optional<double> wanted = arguments.number("time"))
        frontPanel().setText(FrontPanel::Field::CounterTime, modSMC::FormatSMCNumber(*wanted));
    const std::optional<double> readings = arguments.number("readings");
    int shown = 0;
    bool answered = true;
    const auto connection = QObject::connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, &Ratemeter::notifier(), [&] {
        if (Ratemeter::state().text.isEmpty())
            return;
        Terminal::result(rateText());
        answered = answered && !Ratemeter::state().noAnswer;
        if (++shown == readings)
            Ratemeter::Stop();
    });
    Ratemeter::Run();
    QObject::disconnect(connection);
    if (Interrupts::count() > 0)
        return Aborted;
    return answered ? Done : Failed;
}

int cli::reference(const Arguments&)
{
    Interrupts::install(onInterrupt);
    if (!readyToMove())
        return failedOrAborted();
    GoniometerUtilities::SearchReference();
    const int result = waitUntilIdle();
    for (qint16 axis = 1; result == Done && axis <= modSMC::state().numberOfAxes; ++axis)
        showPosition(axis);
    return result;
}
