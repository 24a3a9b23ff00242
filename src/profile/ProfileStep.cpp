// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRunParts.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "profile/ProfileEdit.h"
#include "serial/modCOM.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"

#include <cmath>

using namespace Qt::StringLiterals;
using namespace ProfileRun::Parts;
using ProfileEdit::Controller;

namespace {
constexpr double resendAfter = 60;       // s of silence after which a controller may have been off: it gets the setpoint again
constexpr double noFurtherCooling = 300; // s without a reading nearer to the room's temperature: the furnace is as cold as it gets
constexpr int setpointTries = 3;
constexpr int readTries = 3; // for the temperature that names the file
constexpr int wayBackTries = 10;
constexpr double roomTemperature = 22; // deg C, set at the end of a run

/// Sets the setpoint of the active controller; 0 when it took it.
qint16 sendSetpoint(const ProfileRun::Row& step)
{
    switch (ProfileEdit::activeController()) {
    case Controller::HTC:
        return modHTC::NewSetpointWithPID(step.setpoint, step.ramp);
    case Controller::Laser: {
        const auto value = static_cast<float>(step.setpoint);
        return modHTC_Laser::LaserSetCurrent(value, modHTC_Laser::CurrentFor(value));
    }
    case Controller::LTC:
        return modLTC::LTCNewSetpointWithPID(static_cast<float>(step.setpoint), static_cast<float>(step.ramp));
    case Controller::None:
        break;
    }
    return -1;
}

void setLaserSetpoint()
{
    for (int tries = 1; sendSetpoint(row()) != 0 && goesOn(); ++tries) {
        const Prompts::Button unattended = tries <= setpointTries ? Prompts::Button::Retry : Prompts::Button::Ignore;
        Prompts::Message message;
        message.title = u"New setpoint"_s;
        message.text = u"Unable to change setpoint!"_s;
        message.buttons = Prompts::Buttons::AbortRetryIgnore;
        message.icon = Prompts::Icon::Exclamation;
        message.goesOn = unattended;
        message.safe = unattended;
        message.unattended = unattended;
        const Prompts::Button answer = prompts().message(message);
        if (answer == Prompts::Button::Abort)
            flags().abort = true;
        if (answer == Prompts::Button::Retry)
            continue;
        remark(u"The laser controller did not take the setpoint."_s);
        return;
    }
}

/// Sends the setpoint until it has surely gone out; a wait for a temperature that nobody set would never end. False when that was not
/// possible for too long.
bool setpointArrives()
{
    const quint32 start = modTools::timeGetTime();
    for (bool first = true; goesOn(); first = false) {
        const LineWatch watch(modCOM::TCComm());
        if (sendSetpoint(row()) == 0 && !watch.lost())
            return true;
        if (tooLong(start))
            return false;
        if (first)
            remark(u"The controller did not confirm the setpoint; it is sent again."_s);
        pause(deviceRetryDelay);
    }
    return true;
}

qint16 waitUntilThere(double setpoint, double longestSilence)
{
    return ProfileEdit::activeController() == Controller::HTC ? modHTC::HTCWaitUntilThere(setpoint, longestSilence)
                                                              : modLTC::LTCWaitUntilThere(static_cast<float>(setpoint), longestSilence);
}

/// The steady-state wait. A controller that comes back after a silence may have been switched off and gets its setpoint again; so does one
/// whose line comes back, because the setpoint may have gone into the line that was lost. False when it was silent too long.
bool steady()
{
    QObject context;
    QObject::connect(&modCOM::TCComm(), &SerialChannel::returned, &context, SteadyState::Interrupt);
    double silence = 0;
    for (;;) {
        const quint32 begun = modTools::timeGetTime();
        const qint16 result = waitUntilThere(row().setpoint, resendAfter);
        if (result == SteadyState::Interrupted && goesOn()) {
            remark(u"The line to the temperature controller was lost; the setpoint is sent again."_s);
            silence = 0;
            sendSetpoint(row());
            continue;
        }
        if (result != SteadyState::Silent)
            return true;
        const double waited = (modTools::timeGetTime() - begun) / 1000.0;
        // A wait that was much longer than its limit had readings before it fell silent.
        const bool fresh = silence <= 0 || waited > 2 * resendAfter;
        silence = fresh ? resendAfter : silence + waited;
        if (silence >= silenceLimit)
            return false;
        if (fresh)
            remark(u"The temperature controller was silent for a minute; the setpoint is sent again."_s);
        frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
        const quint32 sent = modTools::timeGetTime();
        sendSetpoint(row());
        silence += (modTools::timeGetTime() - sent) / 1000.0;
    }
}

float readTemperature()
{
    float temperature = -1;
    if (goesOn() && ProfileEdit::activeController() == Controller::HTC)
        temperature = modHTC::GetTemperature();
    else if (goesOn())
        temperature = modLTC::LTCReading();
    return temperature;
}

/// Sends something until the controller has taken it. False when it did not, or when the operator broke off before.
bool taken(const std::function<qint16()>& send)
{
    const quint32 start = modTools::timeGetTime();
    for (int tries = 1; !flags().closing; ++tries) {
        lineIsThere(modCOM::TCComm());
        const LineWatch watch(modCOM::TCComm());
        if (send() == 0 && !watch.lost())
            return true;
        if (tries == wayBackTries || tooLong(start) || !goesOn())
            return false;
        pause(deviceRetryDelay);
    }
    return false;
}

/// What the operator must know when the controller was left as the last step has set it; empty: it was set back.
QString setFurnaceBack()
{
    if (!taken([] { return modHTC::NewSetpoint(roomTemperature); }))
        return u"The high-temperature controller was not set back: it keeps the setpoint of the last step!"_s;
    const qint16 result = modHTC::HTCWaitUntilThere(roomTemperature, silenceLimit, noFurtherCooling);
    // Silence, too, brings no reading nearer.
    if (result == SteadyState::Silent || (result == SteadyState::Stalled && modHTC::GetTemperature() < 0))
        return u"The high-temperature controller fell silent while it was cooling."_s;
    return {};
}

QString setLaserBack()
{
    const bool currents = configuration().laser.currentMode;
    const float value = currents ? ProfileRun::state().storedLaserCurrent : static_cast<float>(roomTemperature);
    if (!taken([=] { return modHTC_Laser::LaserSetCurrent(value, currents ? value : modHTC_Laser::CurrentFor(value)); }))
        return u"The laser controller was not set back: it keeps the setpoint of the last step!"_s;
    return {};
}

QString setLowTemperatureBack()
{
    if (configuration().ltc.resetAfterTempRun && !taken(modLTC::LTCDefault))
        return u"The low-temperature controller was not set back: it keeps the setpoint of the last step!"_s;
    return {};
}
} // namespace

namespace ProfileRun::Parts {
bool setSetpoint()
{
    enter(ProfileRun::Phase::Setpoint);
    frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
    if (ProfileEdit::activeController() != Controller::Laser)
        return setpointArrives();
    setLaserSetpoint();
    return true;
}

bool settle()
{
    enter(ProfileRun::Phase::Settling);
    if (ProfileEdit::activeController() == Controller::Laser) {
        modHTC::HTC_LaserWaitUntilThere(configuration().laser.stabilizationDelay);
        for (int tries = 0; tries < readTries && goesOn() && !row().actual; ++tries)
            if (float current = 0; modHTC_Laser::LaserGetCurrent(current) == 0)
                row().actual = modHTC_Laser::ValueFor(current);
        return true;
    }
    const bool there = steady();
    float temperature = -1;
    for (int tries = 0; tries < readTries && there && goesOn() && temperature < 0; ++tries)
        temperature = readTemperature();
    ProfileRun::Row& step = row(); // nothing waits from here on
    if (temperature >= 0)
        step.actual = NumberText::LeadingNumber(NumberText::General(temperature));
    step.mean = NumberText::LeadingNumber(NumberText::General(SteadyState::last().mean()));
    step.scatter = NumberText::LeadingNumber(NumberText::General(SteadyState::last().scatter()));
    return there;
}

void dwell()
{
    enter(ProfileRun::Phase::Dwelling);
    const bool minutes = configuration().general.timeUnitMinutes;
    const double unit = minutes ? 60 : 1;
    const QString whole =
        NumberText::General(NumberText::RoundToLong(row().dwell / unit)) + (minutes ? u" minutes..."_s : u" seconds..."_s);
    const quint32 start = modTools::timeGetTime();
    const auto elapsed = [start] { return (modTools::timeGetTime() - start) / 1000.0; };
    while (goesOn() && elapsed() < row().dwell) {
        frontPanel().setPanel(3, u"Dwelling: "_s + NumberText::Fixed(std::floor(elapsed() / unit), 0) + u" of "_s + whole);
        modTools::Delay(static_cast<float>(std::min(1.0, row().dwell - elapsed())), true);
    }
    frontPanel().setPanel(3, {});
}

void setBack()
{
    QString failure;
    switch (ProfileEdit::activeController()) {
    case Controller::HTC:
        failure = setFurnaceBack();
        break;
    case Controller::Laser:
        failure = setLaserBack();
        break;
    case Controller::LTC:
        failure = setLowTemperatureBack();
        break;
    case Controller::None:
        break;
    }
    if (failure.isEmpty())
        return;
    ProfileRun::state().remarks += failure;
    modTools::WriteLog(false, u"Temperature profile: "_s + failure);
    if (!flags().closing)
        frontPanel().setPanel(3, failure);
}
} // namespace ProfileRun::Parts
