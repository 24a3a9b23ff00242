// SPDX-License-Identifier: GPL-3.0-or-later
//
// The commands for the X-ray generator and the temperature controllers.

#include "app/cli/Commands.h"

#include "app/cli/Interrupts.h"
#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "temperature/Controller.h"
#include "temperature/CooldownLog.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"

#include <algorithm>
#include <utility>

namespace {
using NumberText::General;

/// The words behind a device command's first one, and how a temperature is to be set.
struct Call
{
    QStringList values;
    bool current = false; ///< with the control parameters that the controller has
    bool wait = true;
    QStringList tables; ///< the controllers whose control parameters are meant, as the options say
};

/// One thing that a device command does, chosen by its first word.
struct Action
{
    const char* name;
    qsizetype values; ///< words behind it
    bool numbers;     ///< they must be numbers
    int (*run)(const Call& call);
    bool sets = false;    ///< takes the options of a new temperature
    bool offline = false; ///< asks no device
};

const QString ltcName = QStringLiteral("The ") + modLTC::controller().fullName;
const QString actionSeparator = QStringLiteral("|");

int answered(bool done, const QString& device)
{
    if (done)
        return cli::Done;
    const bool busFault = device == ltcName && !modLTC::LTCFaultText().isEmpty();
    cli::Terminal::note(device + (busFault ? QStringLiteral(" was not reached. ") + modLTC::LTCFaultText().trimmed()
                                           : QStringLiteral(" does not answer.")));
    return cli::Failed;
}

/// A setpoint that was not taken stands in a message bar, which is a line on the terminal.
bool wasTaken(SetpointCheck::Verdict verdict)
{
    return verdict == SetpointCheck::Verdict::Taken || verdict == SetpointCheck::Verdict::OnItsWay;
}

/// Waits for a steady temperature, when that is wanted, and tells what it came to.
template <typename Wait>
int settled(const Call& call, const QString& unit, Wait wait)
{
    if (!call.wait)
        return cli::Done;
    const cli::WaitProgress progress;
    QObject context; // a setpoint that is found not to be taken would be waited for without end
    QObject::connect(&SetpointCheck::notifier(), &SetpointCheck::Notifier::notTaken, &context, SteadyState::Interrupt);
    if (wait() != SteadyState::Settled)
        return cli::Failed;
    cli::Terminal::result(QStringLiteral("Steady: ") + General(SteadyState::last().mean()) + unit + QStringLiteral(", scatter ") +
                          General(SteadyState::last().scatter()) + unit);
    return cli::Done;
}

bool hasTable(const Temperature::Controller& controller)
{
    return controller.table.fileName != nullptr;
}

/// The controllers whose control parameters are meant by options: --ltc, --htc.
QStringList tablesNamed(const cli::Arguments& arguments)
{
    QStringList names;
    for (const Temperature::Controller& controller : std::as_const(Temperature::controllers()))
        if (hasTable(controller) && arguments.has(controller.name.toLower().toLatin1().constData()))
            names += controller.name;
    return names;
}

/// Finds the action, checks its words, starts up, checks that the device is in use, and runs it.
int runAction(const cli::Arguments& arguments, const QList<Action>& actions, const QString& device, bool (*inUse)())
{
    const QString name = arguments.text("action");
    Call call{{}, arguments.has("current"), !arguments.has("no-wait"), tablesNamed(arguments)};
    for (const char* operand : {"value", "second"})
        if (arguments.has(operand))
            call.values += arguments.text(operand);
    QStringList names;
    for (const Action& action : actions) {
        names += QString::fromLatin1(action.name);
        if (name != names.last())
            continue;
        bool right = call.values.size() == action.values;
        for (const QString& value : call.values)
            right = right && (!action.numbers || cli::wholeNumber(value).has_value());
        if (!action.sets && (call.current || !call.wait)) {
            cli::Terminal::note(device + QStringLiteral(" ") + name + QStringLiteral(": sets no temperature."));
            return cli::WrongUsage;
        }
        if (!right || call.tables.size() > 1) {
            cli::Terminal::note(device + QStringLiteral(" ") + name + QStringLiteral(": wrong values."));
            return cli::WrongUsage;
        }
        cli::Interrupts::install([](int) { flags().closing = true; });
        if (action.sets)
            cli::setsController();
        if (!action.offline) {
            modMain::LoadSettings();
        } else {
            for (const Temperature::Controller* controller : modMain::ControllersAsRead())
                if (hasTable(*controller))
                    controller->readSettings();
        }
        if (!action.offline && !inUse()) {
            cli::Terminal::note(device + QStringLiteral(" is not in use, or does not answer."));
            return cli::Failed;
        }
        const int status = action.run(call);
        return cli::Interrupts::count() > 0 ? cli::Aborted : status;
    }
    cli::Terminal::note(device + QStringLiteral(": one of ") + names.join(actionSeparator) + QStringLiteral(" is wanted."));
    return cli::WrongUsage;
}

float numberOf(const QString& text)
{
    return static_cast<float>(cli::wholeNumber(text).value_or(0));
}

// --- generator

int generatorStatus(const Call&)
{
    cli::Terminal::result(modGenerator::StatusSummary());
    if (modGenerator::answer() != modGenerator::Answer::None)
        return cli::Done;
    cli::Terminal::note(modGenerator::noAnswerText());
    return cli::Failed;
}

int generatorPower(const Call& call)
{
    if (!flags().generatorRemote) {
        cli::Terminal::note(QStringLiteral("The X-ray generator is not remote-controlled (Remote in scan.ini)."));
        return cli::Failed;
    }
    if (numberOf(call.values[0]) < 0 || numberOf(call.values[1]) < 0) {
        cli::Terminal::note(QStringLiteral("generator power: values below 0."));
        return cli::WrongUsage;
    }
    if (const QString why = GeneratorPower::refusal(); !why.isEmpty()) {
        cli::Terminal::note(why);
        return cli::Failed;
    }
    GeneratorPower::state().txtmA = call.values[0];
    GeneratorPower::state().txtkV = call.values[1];
    if (!GeneratorPower::Apply())
        return cli::Failed;
    const bool known = modGenerator::answer() != modGenerator::Answer::None;
    known ? cli::Terminal::result(GeneratorPower::state().txtMessage) : cli::Terminal::note(GeneratorPower::state().txtMessage);
    return known ? cli::Done : cli::Failed;
}

int generatorShutter(const Call& call)
{
    const bool open = call.values[0] == QLatin1String("open");
    if (!open && call.values[0] != QLatin1String("close")) {
        cli::Terminal::note(QStringLiteral("generator shutter: open or close is wanted."));
        return cli::WrongUsage;
    }
    if (!flags().shutterRemote || !flags().smcOnline) {
        cli::Terminal::note(QStringLiteral("The shutter is not remote-controlled, or the goniometer controller does not answer."));
        return cli::Failed;
    }
    if (!modGenerator::SwitchShutter(open)) {
        cli::Terminal::note(QStringLiteral("The shutter command could not be sent."));
        return cli::Failed;
    }
    cli::Terminal::result(open ? QStringLiteral("Shutter: open, sent (it gives no reply).")
                               : QStringLiteral("Shutter: closed, sent (it gives no reply)."));
    return cli::Done;
}

// --- low-temperature controller

constexpr double longestLog = 1e6; // s

int ltcTemperature(const Call&)
{
    const float temperature = modLTC::LTCReading();
    if (temperature == SteadyState::noNumber) {
        cli::Terminal::note(QStringLiteral("no reading"));
        return cli::Failed;
    }
    if (temperature > 0)
        cli::Terminal::result(General(temperature) + QStringLiteral(" K"));
    return answered(temperature > 0, ltcName);
}

int ltcSetpoint(const Call& call)
{
    const float setpoint = numberOf(call.values[0]);
    if (setpoint < modLTC::lowestSetpoint || setpoint > modLTC::highestSetpoint) {
        cli::Terminal::note(QStringLiteral("Setpoint out of range (8K ... 305K)!"));
        return cli::Failed;
    }
    const qint16 sent = call.current ? modLTC::LTCNewSetpoint(setpoint) : modLTC::LTCNewSetpointWithPID(setpoint, 0);
    const std::optional<double> read = sent == 0 ? modLTC::LTCAskSetpoint() : std::nullopt;
    if (!read)
        return answered(false, ltcName);
    cli::Terminal::result(QStringLiteral("Setpoint: ") + General(*read) + QStringLiteral(" K"));
    if (!wasTaken(SetpointCheck::Judge(QStringLiteral("LTC"), read)))
        return cli::Failed;
    return settled(call, QStringLiteral(" K"), [setpoint] { return modLTC::LTCWaitUntilThere(setpoint); });
}

int ltcStatus(const Call&)
{
    modLTC::Parameters now;
    float setpoint = -1;
    const bool done = modLTC::LTCGetStatus(now) == 0 && modLTC::LTCGetSetpoint(setpoint) == 0;
    if (done)
        cli::Terminal::result(modLTC::ControllerName() + QStringLiteral("\nSetpoint: ") +
                              (instrument().controllers.value(QStringLiteral("LTC")).setpoint.value
                                   ? General(setpoint) + QStringLiteral(" K")
                                   : QStringLiteral("no reading")) +
                              QStringLiteral("\nP: ") + General(now.p) + QStringLiteral("\nI: ") + General(now.i) +
                              QStringLiteral("\nD: ") + General(now.d) + QStringLiteral("\nHeater range: ") + General(qint32{now.range}) +
                              QStringLiteral("\nHeater power: ") + General(qint32{now.power}));
    return answered(done, ltcName);
}

/// The cooldown log for so many seconds, its lines on the terminal too.
int ltcLog(const Call& call)
{
    const double seconds = cli::wholeNumber(call.values[0]).value_or(0);
    if (!(seconds > 0 && seconds <= longestLog)) {
        cli::Terminal::note(QStringLiteral("ltc log: seconds are wanted, up to 1000000."));
        return cli::WrongUsage;
    }
    CooldownLog::Start();
    if (!CooldownLog::state().running)
        return cli::Failed;
    cli::Terminal::note(CooldownLog::state().path);
    qsizetype shown = 0;
    const QStringList& lines = CooldownLog::state().lines;
    bool over = false;
    modTools::Timer end("LogEnd");
    QObject::connect(&end, &modTools::Timer::tick, &end, [&over] { over = true; });
    end.setInterval(std::max(static_cast<int>(seconds * 1000), 1));
    end.setEnabled(true);
    while (!flags().closing && !over) {
        modTools::WaitUntil([&] { return over || shown < lines.size(); });
        while (shown < lines.size())
            cli::Terminal::result(lines[shown++]);
    }
    CooldownLog::Stop();
    return CooldownLog::state().error ? cli::Failed : cli::Done;
}

int ltcInit(const Call&)
{
    const bool done = modLTC::LTCInit() == 0;
    if (done)
        cli::Terminal::result(QStringLiteral("Initialised."));
    else
        modLTC::LTCReportInitialization();
    return answered(done, ltcName);
}

int ltcDefault(const Call&)
{
    QString said;
    modLTC::LTCDefault();
    if (!modLTC::LTCConfirmDefault(&said)) {
        cli::Terminal::note(said);
        return cli::Failed;
    }
    cli::Terminal::result(QStringLiteral("Default settings restored."));
    return cli::Done;
}

int ltcQuery(const Call& call)
{
    QString text = call.values[0];
    const bool done = modLTC::LTCQuery(text) == 0;
    if (done)
        cli::Terminal::result(text);
    return answered(done, ltcName);
}

// --- high-temperature controller

const QString htcName = QStringLiteral("The ") + modHTC::controller().fullName;

int htcTemperature(const Call&)
{
    const float temperature = modHTC::GetTemperature();
    if (temperature >= 0)
        cli::Terminal::result(General(temperature) + QStringLiteral(" °C"));
    if (temperature != SteadyState::noNumber)
        return answered(temperature >= 0, htcName);
    cli::Terminal::note(QStringLiteral("no reading"));
    return cli::Failed;
}

int htcSetpoint(const Call& call)
{
    const Configuration::HTC& limits = configuration().htc;
    const float setpoint = numberOf(call.values[0]);
    if (setpoint < static_cast<float>(limits.tMin) || setpoint > static_cast<float>(limits.tMax)) {
        cli::Terminal::note(QStringLiteral("The setpoint lies outside ") + General(limits.tMin) + QStringLiteral(" to ") +
                            General(limits.tMax) + QStringLiteral(" °C."));
        return cli::Failed;
    }
    const qint16 sent = call.current ? modHTC::NewSetpoint(double{setpoint}) : modHTC::NewSetpointWithPID(double{setpoint}, 0);
    if (sent != 0)
        return cli::Failed;
    const std::optional<double> read = modHTC::AskSetpoint();
    if (!read)
        return answered(false, htcName);
    cli::Terminal::result(QStringLiteral("Setpoint: ") + General(*read) + QStringLiteral(" °C"));
    if (!wasTaken(SetpointCheck::Judge(QStringLiteral("HTC"), read)))
        return cli::Failed;
    return settled(call, QStringLiteral(" °C"), [setpoint] { return modHTC::HTCWaitUntilThere(double{setpoint}); });
}

int htcHeater(const Call& call)
{
    const bool on = call.values[0] == QLatin1String("on");
    if (!on && call.values[0] != QLatin1String("off")) {
        cli::Terminal::note(QStringLiteral("htc heater: on or off is wanted."));
        return cli::WrongUsage;
    }
    return modHTC::SwitchHeaterOutput(on) == 0 && modHTC::ReadBack() ? cli::Done : cli::Failed;
}

int htcStatus(const Call&)
{
    modHTC::DataBlock now;
    if (modHTC::GetDataBlock(&now) != 0)
        return cli::Failed;
    cli::Terminal::result(QStringLiteral("Setpoint: ") + General(qint32{now.setpoint}) + QStringLiteral(" °C\nP: ") + General(now.p) +
                          QStringLiteral(" %\nI: ") + General(now.i) + QStringLiteral(" s\nD: ") + General(now.d) +
                          QStringLiteral(" s\nHeater output: ") + (now.heaterOutput ? QStringLiteral("on") : QStringLiteral("off")));
    return cli::Done;
}

// --- laser

int confirmed(bool done)
{
    if (!done)
        cli::Terminal::note(QStringLiteral("The laser controller does not confirm."));
    return done ? cli::Done : cli::Failed;
}

int laserBeam(const Call& call)
{
    const bool on = call.values[0] == QLatin1String("on");
    if (!on && call.values[0] != QLatin1String("off")) {
        cli::Terminal::note(QStringLiteral("laser beam: on or off is wanted."));
        return cli::WrongUsage;
    }
    return confirmed(modHTC_Laser::LaserBeam(on));
}

int laserSet(const Call& call)
{
    const Configuration::Laser& laser = configuration().laser;
    const float value = numberOf(call.values[0]);
    const double highest = laser.currentMode ? laser.maxCurrent : laser.tMax;
    const double lowest = laser.currentMode ? 0.0 : laser.tMin;
    if (double{value} < lowest || double{value} > highest) {
        cli::Terminal::note(QStringLiteral("The value lies outside ") + General(lowest) + QStringLiteral(" to ") + General(highest) +
                            QStringLiteral(" ") + modHTC_Laser::Unit() + QStringLiteral("."));
        return cli::Failed;
    }
    if (modHTC_Laser::LaserSetCurrent(value, modHTC_Laser::CurrentFor(value)) != 0)
        return confirmed(false);
    cli::Terminal::result(frontPanel().panel(3));
    if (SetpointCheck::Ask(QStringLiteral("Laser")) != SetpointCheck::Verdict::Taken)
        return confirmed(false);
    const cli::WaitProgress progress;
    return call.wait && modHTC::HTC_LaserWaitUntilThere(laser.stabilizationDelay) != 0 ? cli::Failed : cli::Done;
}

int laserStatus(const Call&)
{
    cli::Terminal::result(flags().laserOn ? QStringLiteral("Beam on") : QStringLiteral("Beam off"));
    return cli::Done;
}

// --- control parameters

/// The controller named, otherwise the first one in use that has a table, otherwise the last that has one; null when none has.
const Temperature::Controller* tableOwner(const Call& call)
{
    const Temperature::Controller* owner = nullptr;
    for (const Temperature::Controller& controller : std::as_const(Temperature::controllers())) {
        if (!hasTable(controller) || (!call.tables.isEmpty() && !call.tables.contains(controller.name)))
            continue;
        owner = &controller;
        if (controller.inUse())
            break;
    }
    return owner;
}

int pidShow(const Call& call)
{
    const Temperature::Controller* owner = tableOwner(call);
    if (owner == nullptr)
        return cli::Failed;
    QString found;
    const qint16 status = owner->table.look(numberOf(call.values[0]), &found);
    cli::Terminal::result(found);
    return status == 0 ? cli::Done : cli::Failed;
}

int pidSave(const Call& call)
{
    const Temperature::Controller* owner = tableOwner(call);
    if (owner == nullptr || !owner->inUse())
        return owner == nullptr ? cli::Failed : answered(false, QStringLiteral("The ") + owner->fullName);
    QString said;
    const bool saved = owner->table.save(&said);
    if (saved && !said.isEmpty())
        cli::Terminal::result(said);
    else if (!said.isEmpty())
        cli::Terminal::note(said);
    return saved ? cli::Done : cli::Failed;
}
} // namespace

int cli::generator(const Arguments& arguments)
{
    return runAction(arguments,
                     {{"status", 0, false, generatorStatus}, {"power", 2, true, generatorPower}, {"shutter", 1, false, generatorShutter}},
                     QStringLiteral("generator"), [] { return flags().generatorRemote || flags().shutterRemote; });
}

int cli::ltc(const Arguments& arguments)
{
    return runAction(arguments,
                     {{"temperature", 0, false, ltcTemperature},
                      {"setpoint", 1, true, ltcSetpoint, true},
                      {"status", 0, false, ltcStatus},
                      {"query", 1, false, ltcQuery},
                      {"log", 1, true, ltcLog},
                      {"init", 0, false, ltcInit},
                      {"default", 0, false, ltcDefault}},
                     QStringLiteral("ltc"), [] { return modLTC::controller().inUse(); });
}

int cli::htc(const Arguments& arguments)
{
    return runAction(arguments,
                     {{"temperature", 0, false, htcTemperature},
                      {"setpoint", 1, true, htcSetpoint, true},
                      {"heater", 1, false, htcHeater},
                      {"status", 0, false, htcStatus}},
                     QStringLiteral("htc"), [] { return modHTC::controller().inUse(); });
}

int cli::laser(const Arguments& arguments)
{
    return runAction(arguments, {{"beam", 1, false, laserBeam}, {"set", 1, true, laserSet, true}, {"status", 0, false, laserStatus}},
                     QStringLiteral("laser"), [] { return modHTC_Laser::controller().inUse(); });
}

int cli::pid(const Arguments& arguments)
{
    return runAction(arguments, {{"show", 1, true, pidShow, false, true}, {"save", 0, false, pidSave}}, QStringLiteral("pid"), [] {
        const QList<Temperature::Controller>& all = Temperature::controllers();
        return std::any_of(all.begin(), all.end(), [](const auto& one) { return hasTable(one) && one.inUse(); });
    });
}
