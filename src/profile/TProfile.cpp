// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/TProfile.h"

#include "core/CodePage.h"
#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/ProgramError.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "datafiles/FileWriting.h"

#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {
constexpr qint64 largestFile = 16 * 1024 * 1024; // bytes; a profile of 10,000 steps has well below one

const QString title = u"Temperature profile"_s;
const QString filter = u"Temperature profile (*.gtp)|*.gtp"_s;

std::optional<double> field(const QString& line, const QString& key)
{
    const QString text = TProfile::FieldText(line, key);
    if (text.isEmpty())
        return std::nullopt;
    const QString plain = QString(text).replace(u',', u'.');
    return NumberText::IsNumber(plain) ? NumberText::LeadingNumber(plain) : 0;
}

QString keyed(const char16_t* key, const std::optional<double>& value)
{
    return value ? QString::fromUtf16(key) + u":"_s + NumberText::General(*value) + u";"_s : QString();
}

int failed(const QString& path, const QFileDevice& file)
{
    return ProgramError::ofFile(path, file.error(), errno).number;
}

/// The save dialog asked about the name typed, not about the one with the extension.
bool mayReplace(const QString& path)
{
    if (!QFileInfo::exists(path))
        return true;
    Prompts::Message question;
    question.title = title;
    question.text = u'\'' + path + u"' already exists.\nDo you want to replace it?"_s;
    question.icon = Prompts::Icon::Exclamation;
    question.buttons = Prompts::Buttons::YesNo;
    question.defaultButton = 2;
    question.goesOn = Prompts::Button::Yes;
    question.safe = question.unattended = Prompts::Button::No;
    return prompts().message(question) == Prompts::Button::Yes;
}
} // namespace

namespace TProfile {
State& state()
{
    static State theState;
    return theState;
}

qsizetype Step::count(qsizetype limit) const
{
    const double width = std::abs(dt.value_or(0));
    // An end of 0 and a step of 0 both mean a single temperature.
    if (t2.value_or(0) == 0 || width == 0)
        return std::min<qsizetype>(1, limit);
    const double count = NumberText::RoundToEven(std::abs(t1.value_or(0) - *t2) / width + 1);
    return count < static_cast<double>(limit) ? static_cast<qsizetype>(count) : limit;
}

double Step::temperature(qsizetype index) const
{
    const double from = t1.value_or(0);
    if (index == 0)
        return from;
    const double width = std::abs(dt.value_or(0));
    return modTools::RoundedToDigits(from + static_cast<double>(index) * (from > t2.value_or(0) ? -width : width), 6);
}

QList<double> Step::temperatures(qsizetype limit) const
{
    QList<double> result(count(limit));
    for (qsizetype i = 0; i < result.size(); ++i)
        result[i] = temperature(i);
    return result;
}

bool IsComment(const QString& line)
{
    return line.startsWith(u'#') || line.startsWith(u';') || line.startsWith(u'\'');
}

QString CommentText(const QString& line)
{
    return line.mid(1).trimmed();
}

QString FieldText(const QString& line, const QString& key)
{
    const QString wanted = key + u":"_s;
    const qsizetype at = line.indexOf(wanted, 0, Qt::CaseInsensitive);
    if (at < 0)
        return {};
    const qsizetype begin = at + wanted.size();
    const qsizetype end = line.indexOf(u';', begin);
    return line.mid(begin, end < 0 ? -1 : end - begin).trimmed();
}

std::optional<Step> ParseStep(const QString& line)
{
    if (IsComment(line) || !NumberText::IsNumber(FieldText(line, u"T1"_s)))
        return std::nullopt;
    return Step{field(line, u"T1"_s), field(line, u"T2"_s), field(line, u"DT"_s),
                field(line, u"R"_s),  field(line, u"DW"_s), field(line, u"E"_s)};
}

QString StepLine(const Step& step)
{
    return keyed(u"T1", step.t1) + keyed(u"T2", step.t2) + keyed(u"DT", step.dt) + keyed(u"R", step.ramp) + keyed(u"DW", step.dwell) +
           keyed(u"E", step.exposure);
}

QString CommentLine(const QString& text)
{
    return u"#"_s + text + u";"_s;
}

double Seconds(double value)
{
    return configuration().general.timeUnitMinutes ? value * 60 : value;
}

int ReadLines(const QString& path, QStringList* lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(path, file);
    if (file.size() > largestFile)
        return ProgramError::Overflow;
    const QByteArray bytes = file.readAll();
    if (file.error() != QFileDevice::NoError)
        return failed(path, file);
    QString text = CodePage::fromCodePage(bytes);
    text.replace(u"\r\n"_s, u"\n"_s).replace(u'\r', u'\n');
    if (text.endsWith(u'\n'))
        text.chop(1);
    else if (text.isEmpty()) {
        *lines = {};
        return 0;
    }
    *lines = text.split(u'\n');
    return 0;
}

int WriteLines(const QString& path, const QStringList& lines)
{
    QByteArray bytes;
    for (const QString& line : lines)
        bytes += CodePage::toCodePage(line) + "\r\n";
    return FileWriting::WriteWhole(path, bytes).number;
}

qint16 OpenTProfile()
{
    modTools::WriteLog(false, u"OpenTProfile()"_s);
    modTools::WriteLog(false, u"About to show dialog window..."_s);
    Prompts::FileDialog dialog;
    dialog.filter = filter;
    dialog.directory = configuration().general.workDir;
    const QString path = prompts().openFile(dialog).path;
    return path.isEmpty() ? Cancelled : OpenTProfile(path);
}

qint16 OpenTProfile(const QString& path)
{
    QStringList lines;
    const int error = ReadLines(path, &lines);
    if (error != 0) {
        showMessage(title, u"Error # "_s + NumberText::General(qint32{error}), Prompts::Icon::Exclamation);
        return static_cast<qint16>(error);
    }
    state() = State{lines, path, false};
    return 0;
}

qint16 SaveTProfile()
{
    modTools::WriteLog(false, u"SaveTProfile()"_s);
    Prompts::FileDialog dialog;
    dialog.filter = filter;
    dialog.directory = configuration().general.workDir;
    dialog.fileName = state().currentFile.section(u'/', -1).section(u'\\', -1);
    dialog.overwritePrompt = true;
    QString path = prompts().saveFile(dialog).path;
    if (path.isEmpty())
        return Cancelled;
    if (!path.endsWith(u".gtp"_s, Qt::CaseInsensitive)) {
        path += u".gtp"_s;
        if (!mayReplace(path))
            return Cancelled;
    }
    const int error = WriteLines(path, state().lines);
    if (error != 0) {
        showMessage(title,
                    u"Error # "_s + NumberText::General(qint32{error}) + u" caused by "_s + u"SaveTProfile() - "_s + path + u"\r\n"_s +
                        ProgramError::of(error).description,
                    Prompts::Icon::Exclamation);
        return static_cast<qint16>(error);
    }
    state().currentFile = path;
    state().modified = false;
    return 0;
}
} // namespace TProfile
