// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileEdit.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "temperature/Controller.h"

#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr double highestRamp = 99.9; // K/min

/// A value is there: a lone point is none.
bool given(const QString& text)
{
    return NumberText::IsNumber(QString(text).replace(u',', u'.'));
}

bool commentGiven(const ProfileEdit::Boxes& boxes)
{
    return !boxes.comment.trimmed().isEmpty();
}

std::optional<double> numberOf(const QString& text)
{
    if (!given(text))
        return std::nullopt;
    return NumberText::ReadNumber(text);
}

QString rangeRefusal(double value)
{
    const Temperature::Scale scale = Temperature::active().scale();
    if (value >= scale.lowest && value <= scale.highest)
        return {};
    const QString kind = scale.currents ? u"The valid current range is"_s : u"The valid temperature range is"_s;
    return kind + NumberText::Print(scale.lowest) + u"..."_s + NumberText::Print(scale.highest) + u"!"_s;
}

QString stepRefusal(double value)
{
    const Temperature::Scale scale = Temperature::active().scale();
    if (value >= scale.smallestStep && value <= scale.largestStep())
        return {};
    const QString kind = scale.currents ? u"The valid step size is "_s : u"The valid temperature step size is "_s;
    return kind + scale.smallestStepText() + u"..."_s + NumberText::Print(scale.largestStep()) + u"!"_s;
}

/// A controller that takes whole ramp rates only is never given a rounded one.
QString wholeRampRefusal(double value)
{
    const double step = Temperature::active().scale().rampStep;
    if (step <= 0 || std::fmod(value, step) == 0)
        return {};
    return u"Please select a whole ramp rate: the "_s + Temperature::active().fullName + u" takes multiples of "_s +
           NumberText::General(step) + u" K/min. only!"_s;
}

QString rampRefusal(double value)
{
    if (!(value >= 0 && value <= highestRamp))
        return u"Please select a ramp rate between 0 K/min. and 99.9 K/min.!"_s;
    return wholeRampRefusal(value);
}

QString dwellRefusal(double value)
{
    if (value >= 0 && value <= ProfileEdit::longestDwell())
        return {};
    const bool minutes = configuration().general.timeUnitMinutes;
    return u"Max. dwell time is"_s + NumberText::Print(ProfileEdit::longestDwell()) + (minutes ? u" minutes..."_s : u" seconds..."_s);
}
QString stepRefusal(const TProfile::Step& step)
{
    const QString why = ProfileEdit::seriesRefusal(step);
    return why.isEmpty() ? wholeRampRefusal(step.ramp.value_or(0)) : why;
}
} // namespace

namespace ProfileEdit {
QString TimeUnit()
{
    return configuration().general.timeUnitMinutes ? u"minute(s)"_s : u"second(s)"_s;
}

QString RangeText()
{
    const Temperature::Scale now = Temperature::active().scale();
    return u"Valid temperature range:"_s + NumberText::Print(now.lowest) + u"..."_s + NumberText::Print(now.highest) + u"."_s;
}

qint32 longestDwell()
{
    return configuration().general.timeUnitMinutes ? 533 : 32000;
}

Fault missing(const Boxes& boxes)
{
    const bool t1 = given(boxes.t1);
    const bool t2 = given(boxes.t2);
    const bool dt = given(boxes.dt);
    if (!t1 && !t2 && dt)
        return {u"Missing T-Start and T-Stop..."_s, Box::T1};
    if (!t1 && !t2 && commentGiven(boxes))
        return {};
    if (!t1)
        return {u"Missing T-Start..."_s, Box::T1};
    if (t2 && !dt)
        return {u"Missing T-Step..."_s, Box::dT};
    // An end of 0 would be taken for a single temperature by the run; so would a text for a step.
    if (!boxes.dt.trimmed().isEmpty() && (!t2 || NumberText::ReadNumber(boxes.t2) == 0))
        return {u"Missing T-Stop..."_s, Box::T2};
    return {};
}

QStringList lines(const Boxes& boxes)
{
    QStringList result;
    if (given(boxes.t1))
        result += TProfile::StepLine({numberOf(boxes.t1), numberOf(boxes.t2), numberOf(boxes.dt), numberOf(boxes.ramp),
                                      numberOf(boxes.dwell), numberOf(boxes.expoTime)});
    if (commentGiven(boxes))
        result += TProfile::CommentLine(boxes.comment.trimmed());
    return result;
}

QString changed(const QString& line, const Boxes& boxes)
{
    if (!TProfile::IsComment(line))
        return lines(boxes).value(0);
    QString comment = boxes.comment.trimmed();
    if (comment.endsWith(u';'))
        comment.chop(1);
    return TProfile::CommentLine(comment);
}

void load(const QString& line, Boxes* boxes)
{
    if (TProfile::IsComment(line)) {
        boxes->comment = TProfile::CommentText(line);
        return;
    }
    const auto field = [&line](const char16_t* key) { return TProfile::FieldText(line, QString::fromUtf16(key)); };
    *boxes = {field(u"T1"), field(u"T2"), field(u"DT"), field(u"R"), field(u"DW"), field(u"E"), boxes->comment};
}

QString refusal(Box box, const QString& typed)
{
    if (!given(typed))
        return {};
    const double value = NumberText::ReadNumber(typed);
    switch (box) {
    case Box::T1:
    case Box::T2:
        return rangeRefusal(value);
    case Box::dT:
        return stepRefusal(value);
    case Box::Ramp:
        return rampRefusal(value);
    case Box::Dwell:
        return dwellRefusal(value);
    case Box::ExpoTime:
    case Box::Comment:
        break;
    }
    return {};
}

Fault outOfRange(const Boxes& boxes)
{
    const std::pair<Box, const QString&> values[] = {{Box::T1, boxes.t1},     {Box::T2, boxes.t2},       {Box::dT, boxes.dt},
                                                     {Box::Ramp, boxes.ramp}, {Box::Dwell, boxes.dwell}, {Box::ExpoTime, boxes.expoTime}};
    for (const auto& [box, text] : values)
        if (const QString why = refusal(box, text); !why.isEmpty())
            return {why, box};
    const TProfile::Step step{numberOf(boxes.t1), numberOf(boxes.t2), numberOf(boxes.dt), {}, {}, {}};
    if (step.t1)
        if (const QString why = seriesRefusal(step); !why.isEmpty())
            return {why, Box::dT};
    return {};
}

QString seriesRefusal(const TProfile::Step& step)
{
    const Temperature::Scale scale = Temperature::active().scale();
    // A series rises or falls: only its ends can lie outside.
    for (const qsizetype index : {qsizetype(0), step.count() - 1}) {
        const double value = step.temperature(index);
        if (!(value >= scale.lowest && value <= scale.highest))
            return NumberText::General(value) + u' ' + scale.unit + u" lies outside"_s + NumberText::Print(scale.lowest) + u"..."_s +
                   NumberText::Print(scale.highest) + u'.';
        if (Temperature::active().refuses != nullptr)
            if (const QString why = Temperature::active().refuses(value); !why.isEmpty())
                return why;
    }
    return {};
}

QString profileRefusal()
{
    const QStringList& lines = TProfile::state().lines;
    for (qsizetype i = 0; i < lines.size(); ++i)
        if (const std::optional<TProfile::Step> step = TProfile::ParseStep(lines[i]))
            if (const QString why = stepRefusal(*step); !why.isEmpty())
                return u"line "_s + NumberText::General(qint64{i + 1}) + u": "_s + why;
    return {};
}

QChar acceptedKey(QChar key)
{
    if ((key >= u'0' && key <= u'9') || key == u'.')
        return key;
    return key == u',' ? QChar(u'.') : QChar();
}

QString caption()
{
    return u"Current profile: "_s + TProfile::state().currentFile + (TProfile::state().modified ? u" (modified)"_s : QString());
}
} // namespace ProfileEdit
