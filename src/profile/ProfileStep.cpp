// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRunParts.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;
using namespace ProfileRun::Parts;

namespace {
constexpr double resendAfter = 60;       // s of silence after which a controller may have been off: it gets the setpoint again
constexpr double noFurtherCooling = 300; // s without a reading nearer to the room's temperature: the furnace is as cold as it gets
constexpr int setpointTries = 3;
constexpr int readTries = 3; // for the temperature that names the file
constexpr int wayBackTries = 10;
constexpr int hurriedTries = 3;

/// Sets the setpoint of the active controller; 0 when it took it.
qint16 sendSetpoint(const ProfileRun::Row& step)
{
    return Temperature::active().set(step.setpoint, step.ramp);
}

/// Sends the setpoint; the operator says what is done when it is not taken.
void askForSetpoint()
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
        remark(u"The "_s + Temperature::active().fullName + u" did not take the setpoint."_s);
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
    return true; // broken off: nobody looks at it
}

/// What is found out while a temperature is waited for: the setpoint was not taken, its heater is off, the wait takes very long. The wait
/// is ended early when the setpoint is to be sent again.
class WaitWatch
{
public:
    WaitWatch()
    {
        const SteadyState::Notifier& waits = SteadyState::notifier();
        QObject::connect(&modCOM::TCComm(), &SerialChannel::returned, &m_context, SteadyState::Interrupt);
        QObject::connect(&waits, &SteadyState::Notifier::readingEnded, &m_context, [this] { lookAtTheClock(); });
        QObject::connect(&SetpointCheck::notifier(), &SetpointCheck::Notifier::notTaken, &m_context, [this] { refused(); });
        QObject::connect(&SetpointCheck::notifier(), &SetpointCheck::Notifier::told, &m_context, [this] { lookAtTheHeater(); });
    }

    /// Why the setpoint is to be sent again.
    QString reason()
    {
        return std::exchange(m_refused, false) ? u"The controller has not taken the setpoint; it is sent again."_s
                                               : u"The line to the temperature controller was lost; the setpoint is sent again."_s;
    }

private:
    void refused()
    {
        if (m_sentAgain == setpointTries && !std::exchange(m_givenUp, true))
            remark(u"The controller has not taken the setpoint; it was sent again three times. The wait goes on."_s);
        if (m_sentAgain == setpointTries)
            return;
        ++m_sentAgain;
        m_refused = true;
        SteadyState::Interrupt();
    }
    void lookAtTheHeater()
    {
        const Temperature::Controller& controller = Temperature::active();
        const Known<bool> output = instrument().controllers.value(controller.name).output;
        if (!controller.warnsWhenOff || !output.isConfirmed() || *output.value || row().setpoint <= Temperature::roomTemperature ||
            std::exchange(m_cold, true))
            return;
        remark(u"The heater output is off."_s);
    }
    void lookAtTheClock()
    {
        const auto longest = Temperature::active().longestWait;
        const double hours = longest != nullptr ? longest() : 0;
        if (hours <= 0 || (modTools::timeGetTime() - m_begun) / 3600000.0 < hours || std::exchange(m_long, true))
            return;
        const QString text = u"The wait for "_s + NumberText::General(row().setpoint) + u' ' + Temperature::active().scale().unit +
                             u" takes longer than "_s + NumberText::General(hours) + u" h; it goes on."_s;
        remark(text);
        emit ProfileRun::notifier().waitsLong(text);
    }

    QObject m_context;
    const quint32 m_begun = modTools::timeGetTime();
    int m_sentAgain = 0;
    bool m_refused = false;
    bool m_givenUp = false;
    bool m_cold = false;
    bool m_long = false;
};

/// The steady-state wait. A controller that comes back after a silence may have been switched off and gets its setpoint again; so does one
/// whose line comes back, because the setpoint may have gone into the line that was lost, and one that says that it has another setpoint.
/// Nothing when it was silent too long.
std::optional<qint16> steady()
{
    WaitWatch watch;
    double silence = 0;
    for (;;) {
        const quint32 begun = modTools::timeGetTime();
        const qint16 result = Temperature::active().wait(row().setpoint, resendAfter, 0);
        if (result == SteadyState::Interrupted && goesOn()) {
            remark(watch.reason());
            silence = 0;
            sendSetpoint(row());
            continue;
        }
        if (result != SteadyState::Silent)
            return result;
        const double waited = (modTools::timeGetTime() - begun) / 1000.0;
        // A wait that was much longer than its limit had readings before it fell silent.
        const bool fresh = silence <= 0 || waited > 2 * resendAfter;
        silence = fresh ? resendAfter : silence + waited;
        if (silence >= silenceLimit)
            return std::nullopt;
        if (fresh)
            remark(u"The temperature controller was silent for a minute; the setpoint is sent again."_s);
        frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
        const quint32 sent = modTools::timeGetTime();
        sendSetpoint(row());
        silence += (modTools::timeGetTime() - sent) / 1000.0;
    }
}

/// The controller has told that it has not taken what it was sent.
bool saysOtherwise()
{
    const QString& name = Temperature::active().name;
    return SetpointCheck::isOpen(name) && SetpointCheck::Ask(name) == SetpointCheck::Verdict::NotTaken;
}

/// What the operator has pressed "&Take it" for.
QString acceptedText(const ProfileRun::Row& step)
{
    const QString unit = u' ' + Temperature::active().scale().unit;
    QString text = u"accepted by the operator at "_s + (step.actual ? NumberText::General(*step.actual) + unit : u"no reading"_s);
    if (Temperature::active().statistics)
        text += u", mean "_s + NumberText::Fixed(step.mean, 3) + unit + u", scatter "_s + NumberText::Fixed(step.scatter, 3) + unit;
    return text;
}

/// Sends something until the controller has taken it. False when it did not, or when the operator broke off before.
bool taken(const std::function<qint16()>& send)
{
    const quint32 start = modTools::timeGetTime();
    for (int tries = 1; !flags().closing; ++tries) {
        lineIsThere(modCOM::TCComm());
        const LineWatch watch(modCOM::TCComm());
        if (send() == 0 && !watch.lost() && !saysOtherwise())
            return true;
        if (ProfileRun::state().hurried) {
            flags().abort = false; // it may have broken off the reply
            if (tries >= hurriedTries)
                return false;
            continue;
        }
        if (tries == wayBackTries || tooLong(start) || !goesOn())
            return false;
        pause(deviceRetryDelay);
    }
    return false;
}

/// What the operator must know when the controller was left as the last step has set it; empty: it was set back.
QString failureOf(const Temperature::WayBack& wayBack)
{
    const Temperature::Controller& controller = Temperature::active();
    const QString left = u"The "_s + controller.fullName + u" was not set back: it keeps the setpoint of the last step!"_s;
    if (flags().closing) {
        const Known<bool> output = instrument().controllers.value(controller.name).output;
        if (!wayBack.send)
            return {};
        return output.isConfirmed() && !*output.value ? u"The program was closed; the "_s + controller.outputName + u" was switched off."_s
                                                      : u"The program was closed. "_s + left;
    }
    if (wayBack.send && !taken(wayBack.send))
        return left;
    if (!wayBack.awaited || ProfileRun::state().hurried)
        return {};
    const qint16 result = controller.wait(*wayBack.awaited, silenceLimit, noFurtherCooling);
    // Silence, too, brings no reading nearer.
    if (result == SteadyState::Silent || (result == SteadyState::Stalled && !controller.read()))
        return u"The "_s + controller.fullName + u" fell silent while it was cooling."_s;
    return {};
}
} // namespace

namespace ProfileRun::Parts {
bool setSetpoint()
{
    enter(ProfileRun::Phase::Setpoint);
    frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
    if (!Temperature::active().asks)
        return setpointArrives();
    askForSetpoint();
    return true;
}

bool settle()
{
    enter(ProfileRun::Phase::Settling);
    const std::optional<qint16> result = steady();
    std::optional<double> value;
    for (int tries = 0; tries < readTries && result && goesOn() && !value; ++tries)
        value = Temperature::active().read();
    ProfileRun::Row& step = row(); // nothing waits from here on
    step.actual = value;
    if (Temperature::active().statistics) {
        step.mean = NumberText::LeadingNumber(NumberText::General(SteadyState::last().mean()));
        step.scatter = NumberText::LeadingNumber(NumberText::General(SteadyState::last().scatter()));
    }
    if (result == SteadyState::Taken)
        remark(acceptedText(step));
    return result.has_value();
}

void awaitController()
{
    enter(ProfileRun::Phase::Paused);
    const QString since = modTools::currentDateTime().toString(u"hh:mm"_s);
    modTools::WriteLog(false, u"Temperature profile: paused, the temperature controller is silent"_s);
    while (goesOn() && !Temperature::active().read()) {
        frontPanel().setPanel(3, u"Paused: the temperature controller is silent since "_s + since + u"; it is asked once a minute"_s);
        pause(pausedInterval);
    }
    frontPanel().setPanel(3, {});
    if (goesOn())
        remark(u"The run was paused at "_s + since + u", because the temperature controller was silent, until "_s +
               modTools::currentDateTime().toString(u"hh:mm"_s) + u"."_s);
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
    const QString failure = failureOf(state().wayBack);
    if (failure.isEmpty())
        return;
    ProfileRun::state().remarks += failure;
    modTools::WriteLog(false, u"Temperature profile: "_s + failure);
    if (!flags().closing)
        frontPanel().setPanel(3, failure);
}
} // namespace ProfileRun::Parts
