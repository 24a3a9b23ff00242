// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/LTCKnown.h"

#include "core/Flags.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "gpib/modGPIB.h"
#include "temperature/SetpointCheck.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;
using Controller = Instrument::Controller;
using NumberText::IsNumber;
using NumberText::LeadingNumber;

namespace {
template <typename Change>
void learnOwn(const Change& change)
{
    if (!flags().ltcEnabled)
        return;
    learn([&change](Instrument& now) {
        Controller& own = now.controllers[u"LTC"_s];
        own.unit = u"K"_s;
        own.onBus = modLTC::OnBus();
        change(own);
    });
}

bool goesOut()
{
    return modLTC::OnBus() ? !flags().closing && modGPIB::Fault().isEmpty() : modTC::LineTakes();
}

void answer(Known<double> Controller::*what, const QString& reply, bool isReading)
{
    learnOwn([&](Controller& own) { isReading ? (own.*what).confirm(LeadingNumber(reply)) : (own.*what).doubt(); });
}
} // namespace

namespace LTCKnown {
void Temperature(const QString& reply)
{
    answer(&Controller::temperature, reply, IsNumber(reply) && LeadingNumber(reply) > 0);
}

void Setpoint(const QString& reply)
{
    answer(&Controller::setpoint, reply, IsNumber(reply));
}

void Range(const QString& reply)
{
    learnOwn([&reply](Controller& own) { IsNumber(reply) ? own.output.confirm(LeadingNumber(reply) > 0) : own.output.doubt(); });
}

void SentSetpoint(float setpoint)
{
    if (goesOut())
        learnOwn([setpoint](Controller& own) { own.setpoint.ask(NumberText::Exact(setpoint)); });
}

void SentRange(qint16 range, const QString& reply)
{
    learnOwn([&](Controller& own) {
        if (goesOut())
            own.output.ask(range > 0);
        if (IsNumber(reply))
            own.output.confirm(LeadingNumber(reply) > 0);
        else if (!reply.isEmpty())
            own.output.forget();
    });
}

void ForgetOutputs()
{
    learnOwn([](Controller& own) {
        own.output.forget();
        own.setpoint.forget();
    });
    SetpointCheck::Forget(u"LTC"_s);
}
} // namespace LTCKnown
