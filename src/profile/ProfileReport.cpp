// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileReport.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "datafiles/modFile.h"
#include "profile/ProfileRun.h"
#include "temperature/Controller.h"

#include <QDateTime>
#include <QSaveFile>

using namespace Qt::StringLiterals;

namespace {
QDateTime startedAt;

QString moment(const QDateTime& when)
{
    return when.isValid() ? when.toString(u"yyyy-MM-dd hh:mm:ss"_s) : u"-"_s;
}

QString rowText(const ProfileRun::Row& row, const QString& unit)
{
    QString text = moment(row.finished) + u"  setpoint "_s + NumberText::General(row.setpoint) + u" "_s + unit;
    if (row.phase == ProfileRun::Phase::Done) {
        if (row.actual)
            text += u"  read "_s + NumberText::General(*row.actual) + u" "_s + unit;
        if (row.actual && Temperature::active().statistics)
            text += u"  mean "_s + NumberText::Fixed(row.mean, 3) + u"  scatter "_s + NumberText::Fixed(row.scatter, 3);
        text += u"  counter time "_s + NumberText::General(row.counterTime) + u" s  maximum "_s + NumberText::General(row.maximumCount) +
                u" counts  file "_s + row.file;
    } else {
        text += u"  "_s + ProfileRun::phaseText(row.phase);
    }
    text += u"\n"_s;
    for (const QString& remark : row.remarks)
        text += u"    "_s + remark + u"\n"_s;
    return text;
}
} // namespace

namespace ProfileReport {
void Begin()
{
    startedAt = modTools::currentDateTime();
    const QString name = ProfileRun::state().sample + u"_report_"_s + startedAt.toString(u"yyyyMMdd_hhmmss"_s) + u".txt"_s;
    ProfileRun::state().reportFile = modFile::WithSeparator(configuration().general.workDir) + name;
}

QString Text()
{
    const QString unit = Temperature::active().scale().unit;
    QString text = u"Temperature profile run"_s + (ProfileRun::state().rehearsal ? u" (rehearsal, no scan saved)"_s : QString()) + u"\n"_s;
    text += u"Sample: "_s + ProfileRun::state().sample + u"\n"_s;
    text += u"Profile: "_s + TProfile::state().currentFile + u"\n"_s;
    text += u"Started: "_s + moment(startedAt) + u"\n"_s;
    for (const QString& finding : ProfileRun::Check())
        text += u"Note: "_s + finding + u"\n"_s;
    text += u"\n"_s;
    for (const ProfileRun::Row& row : std::as_const(ProfileRun::state().rows))
        text += rowText(row, unit);
    for (const QString& remark : std::as_const(ProfileRun::state().remarks))
        text += remark + u"\n"_s;
    return text;
}

void Write()
{
    QSaveFile file(ProfileRun::state().reportFile);
    const QByteArray bytes = Text().replace(u'\n', u"\r\n"_s).toUtf8();
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size() || !file.commit())
        modTools::WriteLog(false, u"The report '"_s + ProfileRun::state().reportFile + u"' could not be written."_s);
}
} // namespace ProfileReport
