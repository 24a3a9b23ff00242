// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/SetpointCheck.h"

#include "core/Flags.h"
#include "core/Notices.h"
#include "core/NumberText.h"

#include <QMap>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {
constexpr int questionsAtMost = 3;
constexpr double agreement = 0.9; // of the resolution; a whole one is another setpoint

struct Question
{
    SetpointCheck::Setpoint sent;
    bool open = true;
    int unanswered = 0;
};

QMap<QString, Question>& questions()
{
    static QMap<QString, Question> theQuestions;
    return theQuestions;
}

QString noticeOf(const QString& controller)
{
    return u"setpoint "_s + controller;
}

QString valueText(double value, const SetpointCheck::Setpoint& sent)
{
    return NumberText::General(value) + u' ' + sent.reader.unit;
}

/// Closes the question when it was asked often enough.
void unanswered(Question& question)
{
    if (++question.unanswered < questionsAtMost || flags().closing)
        return;
    question.open = false;
    const SetpointCheck::Setpoint& sent = question.sent;
    Notices::show(noticeOf(sent.controller), u"The "_s + sent.fullName + u" does not say whether it has taken the setpoint of "_s +
                                                 valueText(sent.value, sent) + u"."_s);
}

SetpointCheck::Verdict notTaken(const SetpointCheck::Setpoint& sent, double said)
{
    Notices::show(noticeOf(sent.controller), u"The "_s + sent.fullName + u" has not taken the setpoint of "_s +
                                                 valueText(sent.value, sent) + u": it says "_s + valueText(said, sent) + u"."_s);
    emit SetpointCheck::notifier().notTaken(sent.controller);
    return SetpointCheck::Verdict::NotTaken;
}
} // namespace

namespace SetpointCheck {
void Sent(const Setpoint& setpoint)
{
    questions()[setpoint.controller] = Question{setpoint};
}

void Forget(const QString& controller)
{
    questions().remove(controller);
    Notices::take(noticeOf(controller));
}

bool wasSent(const QString& controller)
{
    return questions().contains(controller);
}

bool isOpen(const QString& controller)
{
    return wasSent(controller) && questions()[controller].open;
}

Verdict Ask(const QString& controller)
{
    return wasSent(controller) ? Judge(controller, questions()[controller].sent.reader.ask()) : Verdict::Taken;
}

Verdict Judge(const QString& controller, const std::optional<double>& said)
{
    const auto found = questions().find(controller);
    if (found == questions().end())
        return Verdict::Taken;
    if (!said) {
        unanswered(*found);
        return Verdict::NoAnswer;
    }
    found->unanswered = 0;
    const Setpoint sent = found->sent; // the question for the ramp lets events run
    emit notifier().told(controller);
    if (std::abs(*said - sent.value) < agreement * sent.reader.resolution) {
        found->open = false;
        Notices::take(noticeOf(controller));
        return Verdict::Taken;
    }
    if (sent.reader.ramps != nullptr && sent.reader.ramps())
        return Verdict::OnItsWay;
    if (const auto now = questions().find(controller); now != questions().end())
        now->open = false;
    return notTaken(sent, *said);
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

void reset()
{
    questions().clear();
}
} // namespace SetpointCheck
