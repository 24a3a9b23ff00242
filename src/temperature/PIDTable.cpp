// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/PIDTable.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;

namespace {
/// The letters of a line in their order, which are the kind's name too.
QString letters(PIDTable::Kind kind)
{
    return kind == PIDTable::Kind::RPID ? u"RPID"_s : u"PID"_s;
}

QString withoutEnd(const QByteArray& raw)
{
    QByteArray line = raw;
    while (line.endsWith('\n') || line.endsWith('\r'))
        line.chop(1);
    return QString::fromLatin1(line);
}

QString defaultsSentence(const PIDTable::Use& use)
{
    return u"\r\n\r\nDefault values '"_s + use.defaultLine + u"' will be used for the moment."_s;
}

qint16 useDefaults(const QString& message, const PIDTable::Use& use, PIDTable::Values* values)
{
    showMessage(u"Attention"_s, message);
    *values = PIDTable::Values{};
    PIDTable::ParseValues(use.defaultLine, use.kind, values);
    return -1;
}

bool within(const PIDTable::Values& values, const PIDTable::Use& use)
{
    const auto inside = [](float value, float highest) { return value >= 0 && value <= highest; };
    return (use.kind == PIDTable::Kind::PID || (values.r >= 0 && values.r <= use.limits.r)) && inside(values.p, use.limits.p) &&
           inside(values.i, use.limits.i) && inside(values.d, use.limits.d);
}

/// The first line that counts with a setpoint at or above the one asked for.
QString findLine(const QString& path, float setpoint, PIDTable::Kind kind)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    while (!file.atEnd()) {
        const QString line = withoutEnd(file.readLine());
        if (PIDTable::IsValidLine(line, kind) && PIDTable::SetpointOf(line) >= setpoint)
            return line;
    }
    return {};
}

QString errorText(const ProgramError& error, const QString& procedure)
{
    return u"Error # "_s + NumberText::General(qint32{error.number}) + u" caused by "_s + procedure + u"()\r\n"_s + error.description;
}

ProgramError failed(const QFileDevice& file)
{
    return ProgramError::ofFile(file.fileName(), file.error(), errno);
}

ProgramError writeLines(QFileDevice& file, const QByteArrayList& lines)
{
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return failed(file);
    for (const QByteArray& line : lines)
        if (file.write(line + "\r\n") < 0)
            return failed(file);
    return file.flush() ? ProgramError{} : failed(file);
}

ProgramError readLines(const QString& path, QByteArrayList* lines)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(file);
    while (!file.atEnd())
        *lines += withoutEnd(file.readLine()).toLatin1();
    return file.error() == QFileDevice::NoError ? ProgramError{} : failed(file);
}

/// The lines with the new one at its place.
QByteArrayList merged(const QByteArrayList& old, float setpoint, const QByteArray& line, PIDTable::Kind kind)
{
    QByteArrayList result;
    bool placed = false;
    for (const QByteArray& raw : old) {
        const QString text = QString::fromLatin1(raw);
        const bool counts = PIDTable::IsValidLine(text, kind);
        const float at = counts ? PIDTable::SetpointOf(text) : 0;
        if (counts && at >= setpoint && !placed) {
            result += line;
            placed = true;
        }
        if (!counts || at != setpoint)
            result += raw;
    }
    if (!placed)
        result += line;
    return result;
}
} // namespace

namespace PIDTable {
bool IsValidLine(const QString& line, Kind kind)
{
    if (!line.contains(u'='))
        return false;
    const QString all = letters(kind);
    return std::all_of(all.begin(), all.end(), [&line](QChar letter) { return line.contains(letter); });
}

float SetpointOf(const QString& line)
{
    return static_cast<float>(NumberText::ReadNumber(line.section(u'=', 0, 0)));
}

bool ParseValues(const QString& line, Kind kind, Values* values)
{
    const QString text = line.mid(line.indexOf(u'=') + 1);
    const QString all = letters(kind);
    QList<qsizetype> at;
    for (const QChar letter : all) {
        at += text.indexOf(letter);
        if (at.last() < 0 || (at.size() > 1 && at.last() <= at[at.size() - 2]))
            return false;
    }
    const auto number = [&](qsizetype index) {
        const qsizetype from = at[index] + 1;
        const qsizetype to = index + 1 < at.size() ? at[index + 1] : text.size();
        return NumberText::ReadNumber(text.mid(from, to - from));
    };
    const qsizetype first = kind == Kind::RPID ? 1 : 0;
    values->r = kind == Kind::RPID ? NumberText::RoundToInteger(number(0)) : qint16{0};
    values->p = static_cast<float>(number(first));
    values->i = static_cast<float>(number(first + 1));
    values->d = static_cast<float>(number(first + 2));
    return true;
}

QString ValuesText(const Values& values, Kind kind)
{
    const QString pid =
        u"P"_s + NumberText::General(values.p) + u"I"_s + NumberText::General(values.i) + u"D"_s + NumberText::General(values.d);
    return kind == Kind::RPID ? u"R"_s + NumberText::General(qint32{values.r}) + pid : pid;
}

QString UsableLine(const QString& configured, const QString& builtIn, Kind kind)
{
    Values values;
    if (ParseValues(configured, kind, &values))
        return configured;
    modTools::WriteLog(false, u"The default line '"_s + configured + u"' cannot be used, '"_s + builtIn + u"' takes its place."_s);
    return builtIn;
}

std::optional<double> FieldValue(const QString& text, const QString& unit)
{
    QString number = text.trimmed();
    if (!unit.isEmpty() && number.endsWith(unit))
        number.chop(unit.size());
    bool isNumber = false;
    const double value = number.replace(u',', u'.').toDouble(&isNumber);
    return isNumber ? std::optional(value) : std::nullopt;
}

qint16 Look(const QString& path, float setpoint, const Use& use, Values* values)
{
    const QString line = findLine(path, setpoint, use.kind);
    if (line.isEmpty())
        return useDefaults(u"This file did not contain temperature control parameters for the desired setpoint."_s + defaultsSentence(use),
                           use, values);
    const QString kind = letters(use.kind);
    if (!ParseValues(line, use.kind, values))
        return useDefaults(u"Invalid "_s + kind + u"-Parameter line in file '"_s + path + u"'!"_s, use, values);
    if (!within(*values, use))
        return useDefaults(u"Invalid "_s + kind + u"-Parameter values found in '"_s + path + u"'!"_s + defaultsSentence(use), use, values);
    return 0;
}

int Test(const QString& path, Kind kind)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return failed(file).number;
    while (!file.atEnd())
        if (IsValidLine(withoutEnd(file.readLine()), kind))
            return 0;
    return ProgramError::InputPastEnd;
}

void Load(const QString& path, const Use& use, const QString& title, const QString& device, bool& enabled)
{
    const int error = Test(path, use.kind);
    if (error == 0 || !enabled)
        return;
    const QString text =
        u"Error"_s + u" while loading PID-parameter file '"_s + path + u"'."_s + u"\r\n"_s + device + u" functions will be disabled."_s;
    modTools::WriteLog(false, text);
    showMessage(title, text);
    enabled = false;
    if (error != ProgramError::FileNotFound)
        return;
    if (const ProgramError unwritten = WriteDefault(path, use))
        showMessage(title, errorText(unwritten, u"WriteDefault"_s), Prompts::Icon::Exclamation);
}

QString AskForFile(const QString& proposed)
{
    modTools::WriteLog(false, u"About to show dialog window..."_s);
    Prompts::FileDialog dialog;
    dialog.title = u"Select PID file"_s;
    dialog.filter = u"Temperature Control Parameter (*.pid)|*.pid"_s;
    dialog.directory = modTools::state().programDirectory;
    dialog.fileName = proposed;
    return prompts().saveFile(dialog).path;
}

qint16 Save(const QString& path, float setpoint, const Values& values, Kind kind, const QString& procedure)
{
    const ProgramError error = Insert(path, configuration().general.workDir, setpoint, values, kind);
    if (!error)
        return 0;
    showMessage(u"Save data"_s, errorText(error, procedure), Prompts::Icon::Exclamation);
    return -1;
}

ProgramError WriteDefault(const QString& path, const Use& use)
{
    QByteArrayList lines;
    for (const QString& line : use.firstLines)
        lines += line.toLatin1();
    QSaveFile file(path);
    if (const ProgramError error = writeLines(file, lines))
        return error;
    return file.commit() ? ProgramError{} : failed(file);
}

ProgramError Insert(const QString& path, const QString& scratchDirectory, float setpoint, const Values& values, Kind kind)
{
    QByteArrayList old;
    if (QFile::exists(path))
        if (const ProgramError error = readLines(path, &old))
            return error;
    const QByteArray line = (NumberText::General(setpoint) + u"="_s + ValuesText(values, kind)).toLatin1();

    QFile scratch(QDir(scratchDirectory).filePath(u"@.TMP"_s));
    if (const ProgramError error = writeLines(scratch, merged(old, setpoint, line, kind))) {
        scratch.remove();
        return error;
    }
    scratch.close();

    QByteArrayList lines;
    ProgramError error = readLines(scratch.fileName(), &lines);
    if (!error) {
        QSaveFile target(path);
        error = writeLines(target, lines);
        if (!error && !target.commit())
            error = failed(target);
    }
    scratch.remove();
    return error;
}
} // namespace PIDTable
