// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRunParts.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "goniometer/modSMC.h"

#include <QCryptographicHash>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace ProfileRun::Parts;
using Field = FrontPanel::Field;

namespace {
constexpr int stopTries = 10;

QByteArray profileMark(const QString& sample)
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(TProfile::state().lines.join(u'\n').toUtf8());
    hash.addData(sample.toUtf8());
    return hash.result().toHex();
}

/// What the run of this profile and sample that was broken off has written; empty: there is none.
QStringList stateLines()
{
    QStringList lines;
    const QString path = configuration().general.autoSave ? ProfileRun::StateFile() : QString();
    const QByteArray mark = profileMark(frontPanel().text(Field::txtFileName));
    if (path.isEmpty() || TProfile::ReadLines(path, &lines) != 0 || lines.value(0) != u"profile="_s + QString::fromLatin1(mark))
        return {};
    return lines;
}
} // namespace

namespace ProfileRun::Parts {
void writeState(qsizetype done)
{
    const QString path = ProfileRun::StateFile();
    if (path.isEmpty() || ProfileRun::state().rehearsal)
        return;
    QStringList lines{u"profile="_s + QString::fromLatin1(profileMark(ProfileRun::state().sample)), u"done="_s + QString::number(done)};
    QStringList skipped;
    for (qsizetype i = 0; i < std::min(done, ProfileRun::state().rows.size()); ++i)
        if (const auto phase = ProfileRun::state().rows[i].phase; phase != ProfileRun::Phase::Done && phase != ProfileRun::Phase::Earlier)
            skipped += QString::number(i + 1);
    if (!skipped.isEmpty())
        lines += u"skipped="_s + skipped.join(u',');
    if (TProfile::WriteLines(path, lines) != 0)
        remark(u"The progress could not be written to '"_s + path + u"'."_s);
}

std::optional<qsizetype> firstRow(const ProfileRun::Options& options)
{
    const qsizetype done = ProfileRun::BrokenOffAfter().value_or(0);
    if (done <= 0 || done > ProfileRun::state().rows.size())
        return 0;
    if (options.resume)
        return *options.resume ? done : 0;
    const QString text = u"The last run of this profile stopped after step "_s + NumberText::General(qint64{done}) + u". Continue there?"_s;
    QStringList skipped;
    for (const qsizetype one : ProfileRun::SkippedBefore())
        skipped += QString::number(one);
    const QString details = skipped.isEmpty() ? QString() : u"Skipped, and measured now: step "_s + skipped.join(u", "_s);
    switch (ask(title, text, Prompts::Buttons::YesNoCancel, Prompts::Icon::Question, 1, Prompts::Button::Yes, details)) {
    case Prompts::Button::Yes:
        return done;
    case Prompts::Button::No:
        return 0;
    default:
        return std::nullopt;
    }
}

bool stopController()
{
    modSMC::SMCSend(u"Q;"_s);
    for (int tries = 0; tries < stopTries && goesOn(); ++tries) {
        modTools::Delay(1, true);
        if (modSMC::SMCIsReady())
            return true;
    }
    return false;
}

bool stopLeftOver(const ProfileRun::Options& options)
{
    if (!modSMC::state().leftOver || !options.resume.value_or(false) || !ProfileRun::BrokenOffAfter() || !stopController())
        return false;
    modSMC::state().leftOver.reset();
    modTools::WriteLog(false, u"Temperature profile: the scan left over by the run before was stopped."_s);
    return true;
}
} // namespace ProfileRun::Parts

namespace ProfileRun {
QString StateFile()
{
    return TProfile::state().currentFile.isEmpty() ? QString() : TProfile::state().currentFile + u".state"_s;
}

std::optional<qsizetype> BrokenOffAfter()
{
    const QStringList lines = stateLines();
    if (lines.isEmpty())
        return std::nullopt;
    return lines.value(1).section(u'=', 1).toLongLong();
}

QList<qsizetype> SkippedBefore()
{
    QList<qsizetype> steps;
    const QString line = stateLines().value(2);
    if (line.startsWith(u"skipped="_s))
        for (const QString& step : line.section(u'=', 1).split(u','))
            steps += step.toLongLong();
    return steps;
}
} // namespace ProfileRun
