// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/LTCCommands.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "temperature/modLTC.h"

using namespace Qt::StringLiterals;

namespace LTCCommands {
const int family330 = modLTC::LakeShore330 | modLTC::LakeShore331As330;
const int familyDrc = modLTC::DRC91CA | modLTC::DRC81C;

const Table& table()
{
    static const QStringList units = {u"SCHN A;SCHN?"_s, u"SUNI K;SUNI?"_s, u"CCHN A;CCHN?"_s, u"CUNI K;CUNI?"_s};
    static const Table of330 = {QStringList{u"*RST"_s} + units,
                                u"SDAT?"_s,
                                u"SETP?"_s,
                                u"SETP %1"_s,
                                {u"GAIN %1;GAIN?"_s, u"RSET %2;RSET?"_s, u"RATE %3;RATE?"_s},
                                u"RANG %1;RANG?"_s,
                                {u"RAMP 0"_s},
                                {u"RAMP 1"_s, u"RAMPR %1"_s},
                                u"TUNE?"_s,
                                u"TUNE %1;TUNE?"_s,
                                {u"RANG 0;RANG?"_s, u"TUNE 0;TUNE?"_s},
                                u"RAMPS?"_s,
                                0.1,
                                u"RANG?"_s};
    static const Table of331As330 = [] {
        Table commands = of330;
        commands.init = QStringList{u"*RST"_s, u"EMUL 1"_s} + units;
        return commands;
    }();
    static const Table of331 = {
        {u"*RST"_s},        u"KRDG?"_s,   u"SETP? 1"_s, u"SETP 1, %1"_s, {u"PID 1, %1, %2, %3"_s}, u"RANGE %1"_s, {u"RAMP 1,0,%1"_s},
        {u"RAMP 1,1,%1"_s}, u"TUNEST?"_s, {},           {u"RANGE 0"_s},  u"RAMPST? 1"_s,           0.01,          u"RANGE?"_s};
    static const Table ofDrc = {{u"C"_s},  u"WS"_s, u"WP"_s, u"S%1"_s, {u"P%1"_s, u"I%2"_s, u"D%3"_s}, u"R%1"_s, {}, {}, {}, {},
                                {u"R0"_s}, {},      0.1,     {}};

    switch (configuration().ltc.modelCode) {
    case modLTC::LakeShore330:
        return of330;
    case modLTC::LakeShore331As330:
        return of331As330;
    case modLTC::LakeShore331:
        return of331;
    default:
        return ofDrc;
    }
}

bool isModel(int mask)
{
    return (configuration().ltc.modelCode & mask) != 0;
}

QString record()
{
    return isModel(modLTC::DRC91CA) ? u"W3"_s : u"W1"_s;
}

qint16 tell(QString line, QString* reply)
{
    if (!flags().ltcEnabled)
        return -1;
    if (!line.contains(u'?'))
        return modLTC::LTCOutput(line);
    const qint16 status = modLTC::LTCQuery(line);
    if (status == 0 && reply != nullptr)
        *reply = line;
    return status;
}

qint16 tellAll(const QStringList& lines, QStringList* unanswered)
{
    qint16 status = 0;
    for (const QString& line : lines) {
        if (tell(line) == 0)
            continue;
        status = -1;
        if (unanswered != nullptr)
            *unanswered += line;
    }
    return status;
}

qint16 ask(const QString& question, QString& reply)
{
    reply = question;
    if (flags().ltcEnabled && !question.isEmpty() && modLTC::LTCQuery(reply) == 0)
        return 0;
    reply.clear();
    return -1;
}

qint16 askNumber(const QString& question, float& value, void (*told)(const QString& reply))
{
    QString reply;
    const qint16 status = ask(question, reply);
    value = status == 0 ? static_cast<float>(NumberText::LeadingNumber(reply)) : -1.0F;
    if (told != nullptr)
        told(reply);
    return status;
}

qint16 askInteger(const QString& question, qint16& value, void (*told)(const QString& reply))
{
    QString reply;
    const qint16 status = ask(question, reply);
    value = status == 0 ? NumberText::RoundToInteger(NumberText::LeadingNumber(reply)) : qint16{-1};
    if (told != nullptr)
        told(reply);
    return status;
}

} // namespace LTCCommands
