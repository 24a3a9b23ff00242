// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/SetpointCheck.h"

#include "core/Flags.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "temperature/Controller.h"

#include <QMap>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {
constexpr int questions = 3;
constexpr double agreement = 0.9; // of the resolution; a whole one is another setpoint

struct Setpoint
{
    double value;
    bool open = true;
    int unanswered = 0;
};

QMap<QString, Setpoint>& setpoints()
{
    static QMap<QString, Setpoint> theSetpoints;
    return theSetpoints;
}

QString noticeOf(const QString& controller)
{
    return u"setpoint "_s + controller;
}

QString valueText(double value, const QString& unit)
{
    return NumberText::General(value) + u' ' + unit;
}

/// Closes the question when it was asked often enough.
void unanswered(Setpoint& sent, const Temperature::Controller& row)
{
    if (++sent.unanswered < questions || flags().closing)
        return;
    sent.open = false;
    Notices::show(noticeOf(row.name), u"The "_s + row.fullName + u" does not say whether it has taken the setpoint of "_s +
                                          valueText(sent.value, row.setpoint.unit) + u"."_s);
}

SetpointCheck::Verdict notTaken(const Setpoint& sent, double said, const Temperature::Controller& row)
{
    Notices::show(noticeOf(row.name), u"The "_s + row.fullName + u" has not taken the setpoint of "_s +
                                          valueText(sent.value, row.setpoint.unit) + u": it says "_s + valueText(said, row.setpoint.unit) +
                                          u"."_s);
    emit SetpointCheck::notifier().notTaken(row.name);
    return SetpointCheck::Verdict::NotTaken;
}
} // namespace

namespace SetpointCheck {
void Sent(const QString& controller, double value)
{
    setpoints()[controller] = Setpoint{value};
}

void Forget(const QString& controller)
{
    setpoints().remove(controller);
    Notices::take(noticeOf(controller));
}

bool wasSent(const QString& controller)
{
    return setpoints().contains(controller);
}

bool isOpen(const QString& controller)
{
    return wasSent(controller) && setpoints()[controller].open;
}

Verdict Ask(const QString& controller)
{
    const Temperature::Controller* row = Temperature::named(controller);
    if (row == nullptr || row->setpoint.ask == nullptr || !wasSent(controller))
        return Verdict::Taken;
    return Judge(controller, row->setpoint.ask());
}

Verdict Judge(const QString& controller, const std::optional<double>& said)
{
    const Temperature::Controller* row = Temperature::named(controller);
    const auto found = setpoints().find(controller);
    if (row == nullptr || found == setpoints().end())
        return Verdict::Taken;
    if (!said) {
        unanswered(*found, *row);
        return Verdict::NoAnswer;
    }
    found->unanswered = 0;
    emit notifier().told(controller);
    if (std::abs(*said - found->value) < agreement * row->setpoint.resolution()) {
        found->open = false;
        Notices::take(noticeOf(controller));
        return Verdict::Taken;
    }
    const Setpoint sent = *found; // the question for the ramp lets events run
    if (row->setpoint.ramps != nullptr && row->setpoint.ramps())
        return Verdict::OnItsWay;
    if (const auto now = setpoints().find(controller); now != setpoints().end())
        now->open = false;
    return notTaken(sent, *said, *row);
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

void reset()
{
    setpoints().clear();
}
} // namespace SetpointCheck
