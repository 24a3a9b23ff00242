// SPDX-License-Identifier: GPL-3.0-or-later
//
// The commands for the X-ray generator and the temperature controllers.

#include "app/cli/Commands.h"

#include "app/cli/Interrupts.h"
#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/startup/modMain.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"

namespace {
using NumberText::General;

/// One thing that a device command does, chosen by its first word.
struct Action
{
    const char* name;
    qsizetype values; ///< words behind it
    bool numbers;     ///< they must be numbers
    int (*run)(const QStringList& values);
};

const QString actionSeparator = QStringLiteral("|");

int answered(bool done, const QString& device)
{
    if (done)
        return cli::Done;
    cli::Terminal::note(device + QStringLiteral(" does not answer."));
    return cli::Failed;
}

/// Finds the action, checks its words, starts up, checks that the device is in use, and runs it.
int runAction(const cli::Arguments& arguments, const QList<Action>& actions, const QString& device, bool (*inUse)())
{
    const QString name = arguments.text("action");
    QStringList values;
    for (const char* operand : {"value", "second"})
        if (arguments.has(operand))
            values += arguments.text(operand);
    QStringList names;
    for (const Action& action : actions) {
        names += QString::fromLatin1(action.name);
        if (name != names.last())
            continue;
        bool right = values.size() == action.values;
        for (const QString& value : values)
            right = right && (!action.numbers || cli::wholeNumber(value).has_value());
        if (!right) {
            cli::Terminal::note(device + QStringLiteral(" ") + name + QStringLiteral(": wrong values."));
            return cli::WrongUsage;
        }
        cli::Interrupts::install([](int) { flags().closing = true; });
        modMain::LoadSettings();
        if (!inUse()) {
            cli::Terminal::note(device + QStringLiteral(" is not in use, or does not answer."));
            return cli::Failed;
        }
        const int status = action.run(values);
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

int generatorStatus(const QStringList&)
{
    cli::Terminal::result(modGenerator::StatusSummary());
    return answered(!modGenerator::state().lines.value(0).isEmpty(), QStringLiteral("The generator"));
}

int generatorPower(const QStringList& values)
{
    GeneratorPower::state().txtmA = values[0];
    GeneratorPower::state().txtkV = values[1];
    if (!GeneratorPower::Apply())
        return cli::Failed;
    cli::Terminal::result(GeneratorPower::state().txtMessage);
    return cli::Done;
}

int generatorShutter(const QStringList& values)
{
    const bool open = values[0] == QLatin1String("open");
    if (!open && values[0] != QLatin1String("close")) {
        cli::Terminal::note(QStringLiteral("generator shutter: open or close is wanted."));
        return cli::WrongUsage;
    }
    if (!flags().shutterRemote || !flags().smcOnline) {
        cli::Terminal::note(QStringLiteral("The shutter is not remote-controlled, or the goniometer controller does not answer."));
        return cli::Failed;
    }
    flags().shutterOpen = !open;
    modGenerator::mnuExtrasGeneratorSwitchShutter();
    cli::Terminal::result(open ? QStringLiteral("Shutter opened.") : QStringLiteral("Shutter closed."));
    return cli::Done;
}

// --- low-temperature controller

const QString ltcName = QStringLiteral("The low-temperature controller");

int ltcTemperature(const QStringList&)
{
    float temperature = -1;
    const bool done = modLTC::LTCGetTemperature(temperature) == 0;
    if (done)
        cli::Terminal::result(General(temperature) + QStringLiteral(" K"));
    return answered(done, ltcName);
}

int ltcSetpoint(const QStringList& values)
{
    const float setpoint = numberOf(values[0]);
    if (setpoint < modLTC::lowestSetpoint || setpoint > modLTC::highestSetpoint) {
        cli::Terminal::note(QStringLiteral("Setpoint out of range (8K ... 305K)!"));
        return cli::Failed;
    }
    float read = -1;
    modLTC::LTCNewSetpoint(setpoint);
    const bool done = modLTC::LTCGetSetpoint(read) == 0;
    if (done)
        cli::Terminal::result(QStringLiteral("Setpoint: ") + General(read) + QStringLiteral(" K"));
    return answered(done, ltcName);
}

int ltcStatus(const QStringList&)
{
    modLTC::Parameters now;
    float setpoint = -1;
    const bool done = modLTC::LTCGetStatus(now) == 0 && modLTC::LTCGetSetpoint(setpoint) == 0;
    if (done)
        cli::Terminal::result(modLTC::ControllerName() + QStringLiteral("\nSetpoint: ") + General(setpoint) + QStringLiteral(" K\nP: ") +
                              General(now.p) + QStringLiteral("\nI: ") + General(now.i) + QStringLiteral("\nD: ") + General(now.d) +
                              QStringLiteral("\nHeater range: ") + General(qint32{now.range}) + QStringLiteral("\nHeater power: ") +
                              General(qint32{now.power}));
    return answered(done, ltcName);
}

int ltcQuery(const QStringList& values)
{
    QString text = values[0];
    const bool done = modLTC::LTCQuery(text) == 0;
    if (done)
        cli::Terminal::result(text);
    return answered(done, ltcName);
}

// --- high-temperature controller

const QString htcName = QStringLiteral("The high-temperature controller");

int htcTemperature(const QStringList&)
{
    const float temperature = modHTC::GetTemperature();
    if (temperature >= 0)
        cli::Terminal::result(General(temperature) + QStringLiteral(" °C"));
    return answered(temperature >= 0, htcName);
}

int htcSetpoint(const QStringList& values)
{
    const Configuration::HTC& limits = configuration().htc;
    const float setpoint = numberOf(values[0]);
    if (setpoint < static_cast<float>(limits.tMin) || setpoint > static_cast<float>(limits.tMax)) {
        cli::Terminal::note(QStringLiteral("The setpoint lies outside ") + General(limits.tMin) + QStringLiteral(" to ") +
                            General(limits.tMax) + QStringLiteral(" °C."));
        return cli::Failed;
    }
    return modHTC::NewSetpoint(double{setpoint}) == 0 ? cli::Done : cli::Failed;
}

int htcHeater(const QStringList& values)
{
    const bool on = values[0] == QLatin1String("on");
    if (!on && values[0] != QLatin1String("off")) {
        cli::Terminal::note(QStringLiteral("htc heater: on or off is wanted."));
        return cli::WrongUsage;
    }
    return modHTC::SwitchHeaterOutput(on) == 0 ? cli::Done : cli::Failed;
}

int htcStatus(const QStringList&)
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

const QString laserName = QStringLiteral("The laser controller");

int laserBeam(const QStringList& values)
{
    const bool on = values[0] == QLatin1String("on");
    if (!on && values[0] != QLatin1String("off")) {
        cli::Terminal::note(QStringLiteral("laser beam: on or off is wanted."));
        return cli::WrongUsage;
    }
    return answered(modHTC_Laser::LaserSwitchBeam(on) == 0, laserName);
}

int laserSet(const QStringList& values)
{
    const Configuration::Laser& laser = configuration().laser;
    const float value = numberOf(values[0]);
    const double highest = laser.currentMode ? laser.maxCurrent : laser.tMax;
    const double lowest = laser.currentMode ? 0.0 : laser.tMin;
    if (double{value} < lowest || double{value} > highest) {
        cli::Terminal::note(QStringLiteral("The value lies outside ") + General(lowest) + QStringLiteral(" to ") + General(highest) +
                            QStringLiteral(" ") + modHTC_Laser::Unit() + QStringLiteral("."));
        return cli::Failed;
    }
    return answered(modHTC_Laser::LaserSetCurrent(value, modHTC_Laser::CurrentFor(value)) == 0, laserName);
}

int laserStatus(const QStringList&)
{
    cli::Terminal::result(flags().laserOn ? QStringLiteral("Beam on") : QStringLiteral("Beam off"));
    return cli::Done;
}

// --- control parameters

int pidShow(const QStringList& values)
{
    PIDTable::Values found;
    const float setpoint = numberOf(values[0]);
    qint16 status = -1;
    if (flags().htcEnabled) {
        status = PIDTable::Look(modHTC::PIDFilePath(), setpoint, modHTC::PIDUse(), &found);
        cli::Terminal::result(PIDTable::ValuesText(found, PIDTable::Kind::PID));
    } else {
        status = modLTC::LTCOpenRPID(modLTC::RPIDFilePath(), setpoint, &found);
        cli::Terminal::result(PIDTable::ValuesText(found, PIDTable::Kind::RPID));
    }
    return status == 0 ? cli::Done : cli::Failed;
}

int pidSave(const QStringList&)
{
    modLTC::Parameters now;
    float setpoint = -1;
    if (!flags().ltcEnabled || modLTC::LTCGetStatus(now) != 0 || modLTC::LTCGetSetpoint(setpoint) != 0)
        return answered(false, ltcName);
    return modLTC::LTCSaveRPIDParameter(modLTC::RPIDFilePath(), setpoint, {now.range, now.p, now.i, now.d}) == 0 ? cli::Done : cli::Failed;
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
                      {"setpoint", 1, true, ltcSetpoint},
                      {"status", 0, false, ltcStatus},
                      {"query", 1, false, ltcQuery}},
                     QStringLiteral("ltc"), [] { return flags().ltcEnabled; });
}

int cli::htc(const Arguments& arguments)
{
    return runAction(arguments,
                     {{"temperature", 0, false, htcTemperature},
                      {"setpoint", 1, true, htcSetpoint},
                      {"heater", 1, false, htcHeater},
                      {"status", 0, false, htcStatus}},
                     QStringLiteral("htc"), [] { return flags().htcEnabled; });
}

int cli::laser(const Arguments& arguments)
{
    return runAction(arguments, {{"beam", 1, false, laserBeam}, {"set", 1, true, laserSet}, {"status", 0, false, laserStatus}},
                     QStringLiteral("laser"), [] { return flags().laserEnabled; });
}

int cli::pid(const Arguments& arguments)
{
    return runAction(arguments, {{"show", 1, true, pidShow}, {"save", 0, false, pidSave}}, QStringLiteral("pid"),
                     [] { return flags().htcEnabled || flags().ltcEnabled; });
}
