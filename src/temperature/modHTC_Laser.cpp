// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modHTC_Laser.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "serial/modCOM.h"
#include "temperature/SetpointCheck.h"
#include "temperature/modHTC.h"
#include "temperature/modTC.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {
const QString beamNotice = u"beam Laser"_s;
constexpr double currentResolution = 0.001; // A, what the controller can set

bool isOk(const QString& reply)
{
    return reply == u"ok"_s;
}

void showBeam(bool on)
{
    flags().laserOn = on;
    frontPanel().setEntryCaption(Menu::Entry::mnuLaserBeam, on ? u"Switch Beam &OFF"_s : u"Switch Beam &ON"_s);
    frontPanel().setPicLaserOn(on);
}

template <typename Change>
void learnOwn(const Change& change)
{
    if (!flags().laserEnabled)
        return;
    learn([&change](Instrument& now) {
        Instrument::Controller& own = now.controllers[u"Laser"_s];
        own.unit = modHTC_Laser::Unit();
        change(own);
    });
}

/// Writes a register; true when the controller confirmed it. `what` is what the register holds.
template <typename T>
bool write(const QString& command, Known<T> Instrument::Controller::*what, T value)
{
    QString reply;
    modHTC_Laser::LaserOutput(command);
    if (modTC::LineTakes())
        learnOwn([&](Instrument::Controller& own) { (own.*what).ask(value); });
    const bool answered = modHTC_Laser::LaserGetResponse(reply) == 0;
    if (answered)
        learnOwn([&](Instrument::Controller& own) { isOk(reply) ? (own.*what).confirm(value) : (own.*what).forget(); });
    return answered && isOk(reply);
}

/// "0" or "1": the register of the beam. Anything else is no state.
std::optional<bool> beamOf(const QString& reply)
{
    if (reply == u"0" || reply == u"1")
        return reply == u"1";
    return std::nullopt;
}

/// What the controller says of the beam; nothing: no answer, or one that is no state.
void learnBeam(const std::optional<bool>& on)
{
    learnOwn([&on](Instrument::Controller& own) { on ? own.output.confirm(*on) : own.output.doubt(); });
    if (on)
        showBeam(*on);
}

/// True when something was answered.
bool askBeam(QString* reply)
{
    modHTC_Laser::LaserOutput(u":r 12"_s);
    return modHTC_Laser::LaserGetResponse(*reply) == 0;
}

void showCheckList()
{
    const Configuration::Line& line = configuration().ltc.line;
    const QStringList lines = {u"HT Laser controller does not respond..."_s,
                               QString(),
                               u"Please check the following:"_s,
                               u"    - HT Laser Controller powered ON?"_s,
                               u"    - Controller connected to "_s + line.name() + u"?"_s,
                               u"    - "_s + line.name() + u" settings are "_s + line.settings + u"?"_s,
                               u"    - Cable connection ok?"_s};
    showMessage(u"HT Laser Controller Check"_s, lines.join(u"\r\n"_s), Prompts::Icon::Exclamation);
}
} // namespace

namespace modHTC_Laser {
State& state()
{
    static State theState;
    return theState;
}

QString Unit()
{
    return configuration().laser.currentMode ? u"A"_s : u"°C"_s;
}

float CurrentFor(float value)
{
    const Configuration::Laser& laser = configuration().laser;
    const double current = laser.currentMode ? double{value} : laser.currentOffset + laser.currentPerDegree * double{value};
    return static_cast<float>(std::clamp(current, 0.0, std::max(laser.maxCurrent, 0.0)));
}

qint16 LaserOutput(const QString& command)
{
    const QString entry = u"LaserOutput("_s + command + u")"_s;
    modTools::WriteLog(false, entry);
    modTools::WriteSecondaryLog(entry);
    if (flags().laserEnabled)
        modTC::Send(command + u"\r"_s, u"Laser"_s);
    return 0;
}

qint16 LaserGetResponse(QString& reply)
{
    modTools::WriteLog(false, u"LaserGetResponse()"_s);
    reply.clear();
    qint16 status = -1;
    if (flags().laserEnabled && modTC::WaitForReply()) {
        reply = modTools::PrintableOnly(modTC::state().receiveText).remove(u':').trimmed();
        status = 0;
        if (flags().showCommunication)
            modTC::Show(u"HT Laser Controller response: "_s + reply);
        modTools::Delay(0.001F, true);
    }
    modTC::state().receiveText.clear();
    modTools::WriteLog(false, u"LaserGetResponse()="_s + reply);
    return status;
}

qint16 LaserSwitchBeam(bool on)
{
    modTC::Show(u"Switching laser "_s + (on && flags().laserEnabled ? u"ON..."_s : u"OFF..."_s));
    if (!write(u":w 12 "_s + NumberText::General(qint32{on ? 1 : 0}), &Instrument::Controller::output, on))
        return -1;
    showBeam(on);
    return 0;
}

std::optional<bool> LaserAskBeam()
{
    QString reply;
    bool answered = askBeam(&reply);
    std::optional<bool> on = answered ? beamOf(reply) : std::nullopt;
    if (answered && !on && !flags().closing) { // garbled once is no rule
        answered = askBeam(&reply);
        on = answered ? beamOf(reply) : std::nullopt;
    }
    learnBeam(on);
    return on;
}

bool LaserBeam(bool on)
{
    const bool confirmed = LaserSwitchBeam(on) == 0;
    const std::optional<bool> now = LaserAskBeam();
    if (now == on) {
        Notices::take(beamNotice);
        return true;
    }
    const QString wanted = on ? u"on"_s : u"off"_s;
    if (now)
        Notices::show(beamNotice, u"The laser beam was not switched "_s + wanted + u": the controller says that it is "_s +
                                      (*now ? u"on."_s : u"off."_s));
    else if (!flags().closing)
        Notices::show(beamNotice, u"The laser beam was to be switched "_s + wanted +
                                      (confirmed ? u"; the controller took it, but does not say whether it is."_s
                                                 : u", and the controller did not confirm: whether it is on is not known."_s));
    return false;
}

qint16 LaserSetCurrent(float value, float current)
{
    const QString currentText = NumberText::General(current);
    const QString valueText = NumberText::General(value) + Unit();
    const bool currentMode = configuration().laser.currentMode;
    modTC::Show(currentMode ? u"Setting laser current to "_s + valueText + u"."_s
                            : u"Setting temperature to "_s + valueText + u" ("_s + currentText + u"A)."_s);
    if (!write(u":w 30 "_s + currentText, &Instrument::Controller::setpoint, NumberText::Exact(value)))
        return -1;
    modTC::Show(currentMode ? u"Laser current set to "_s + valueText + u"."_s
                            : u"Temperature setpoint set to "_s + valueText + u" ("_s + currentText + u"A)."_s);
    state().lastValue = value;
    state().lastCurrent = current;
    SetpointCheck::Sent({u"Laser"_s, u"laser controller"_s, NumberText::Exact(current), {u"A"_s, LaserAskCurrent, currentResolution}});
    return 0;
}

qint16 LaserGetCurrent(float& current)
{
    QString reply;
    LaserOutput(u":r 30"_s);
    const bool told = LaserGetResponse(reply) == 0 && NumberText::IsNumber(reply);
    if (told)
        current = static_cast<float>(NumberText::LeadingNumber(reply));
    const std::optional<double> value = told ? ValueFor(current) : std::nullopt;
    learnOwn([&value](Instrument::Controller& own) { value ? own.setpoint.confirm(*value) : own.setpoint.doubt(); });
    return told ? 0 : -1;
}

std::optional<double> LaserAskCurrent()
{
    float current = 0;
    return LaserGetCurrent(current) == 0 ? std::optional(NumberText::Exact(current)) : std::nullopt;
}

std::optional<double> ValueFor(float current)
{
    const Configuration::Laser& laser = configuration().laser;
    const double exact = NumberText::LeadingNumber(NumberText::General(current));
    if (laser.currentMode)
        return exact;
    if (laser.currentPerDegree == 0)
        return std::nullopt;
    return modTools::RoundedToDigits((exact - laser.currentOffset) / laser.currentPerDegree, 1);
}

qint16 LaserCheckPresence()
{
    const qint32 rounds = std::max(configuration().laser.checkRounds, 1);
    for (qint32 round = 1; round <= rounds && !flags().closing; ++round) {
        modTC::Show(u"Checking presence of Laser controller (loop "_s + NumberText::General(round) + u" of "_s +
                    NumberText::General(rounds) + u")..."_s);
        modCOM::ClearTCCommRxBuffer();
        QString reply;
        const std::optional<bool> on = askBeam(&reply) ? beamOf(reply) : std::nullopt;
        if (on) {
            modTC::Show(u"HT Laser Controller found..."_s);
            learnBeam(on);
            return 0;
        }
    }
    if (flags().closing)
        return -1;
    learnBeam(std::nullopt);
    showCheckList();
    flags().laserEnabled = false;
    frontPanel().refreshEntries();
    return -1;
}

void mnuLaserBeam()
{
    LaserBeam(!flags().laserOn);
}

void mnuLaserSetpoint()
{
    const Configuration::Laser& laser = configuration().laser;
    const double lowest = laser.currentMode ? 0.0 : laser.tMin;
    const double highest = laser.currentMode ? laser.maxCurrent : laser.tMax;
    double value = 0;
    if (!modTC::AskSetpoint(u"Enter new setpoint:"_s, NumberText::General(state().lastValue), {lowest, highest, Unit()}, &value))
        return;
    const auto setpoint = static_cast<float>(value);
    if (LaserSetCurrent(setpoint, CurrentFor(setpoint)) != 0) {
        modTC::ReportSilence(u"Laser"_s, u"Laser does not respond!"_s, Prompts::Icon::Critical);
        return;
    }
    SetpointCheck::Ask(u"Laser"_s);
    modHTC::HTC_LaserWaitUntilThere(laser.stabilizationDelay);
}

void mnuLaserTest()
{
    if (LaserCheckPresence() == 0)
        showMessage(u"Laser"_s, u"HT Laser Controller found..."_s, Prompts::Icon::Information);
}
} // namespace modHTC_Laser
