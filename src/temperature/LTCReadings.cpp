// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/LTCReadings.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "temperature/LTCKnown.h"
#include "temperature/modLTC.h"

#include <QString>
#include <QStringList>

using namespace Qt::StringLiterals;

namespace {
struct Questions
{
    int models; ///< as a mask
    const char16_t* temperature;
    const char16_t* setpoint;
    const char16_t* range;
    int fields;     ///< of the reply to `range`; with fewer or more it says nothing
    int rangeField; ///< where the range stands in it, from 0
};

const Questions& questions()
{
    static constexpr Questions table[] = {{modLTC::LakeShore331, u"KRDG?", u"SETP? 1", u"RANGE?", 1, 0},
                                          {modLTC::DRC91CA, u"WS", u"WP", u"W3", 5, 3},
                                          {modLTC::DRC81C, u"WS", u"WP", u"W1", 7, 6},
                                          {~0, u"SDAT?", u"SETP?", u"RANG?", 1, 0}};
    const Questions* row = table;
    while ((row->models & configuration().ltc.modelCode) == 0)
        ++row;
    return *row;
}

/// Empty: no answer.
QString answerTo(const char16_t* question)
{
    QString text = QString::fromUtf16(question);
    return flags().ltcEnabled && modLTC::LTCQuery(text) == 0 ? text : QString();
}

bool temperature()
{
    const QString reply = answerTo(questions().temperature);
    LTCKnown::Temperature(reply);
    return !reply.isEmpty();
}

bool setpoint()
{
    const QString reply = answerTo(questions().setpoint);
    LTCKnown::Setpoint(reply);
    return !reply.isEmpty();
}

} // namespace

QList<bool (*)()> LTCReadings::all()
{
    return {temperature, setpoint, Range};
}

bool LTCReadings::Range()
{
    const Questions& model = questions();
    const QString reply = answerTo(model.range);
    const QStringList fields = reply.split(u',');
    LTCKnown::Range(fields.size() == model.fields ? fields.at(model.rangeField) : QString());
    return !reply.isEmpty();
}
