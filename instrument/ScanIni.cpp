// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "ScanIni.h"

#include <QDir>
#include <QFile>
#include <QSaveFile>

namespace lab {

namespace {

QByteArray lineEndOf(const QByteArray& text)
{
    if (text.isEmpty()) {
#ifdef Q_OS_WIN
        return "\r\n";
#else
        return "\n";
#endif
    }
    return text.contains("\r\n") ? "\r\n" : "\n";
}

// The name of the section that a line begins, or nothing.
QByteArray sectionName(const QByteArray& line)
{
    const QByteArray trimmed = line.trimmed();
    return trimmed.startsWith('[') && trimmed.contains(']') ? trimmed.mid(1, trimmed.indexOf(']') - 1).trimmed().toLower() : QByteArray();
}

QByteArray keyName(const QByteArray& line)
{
    const QByteArray trimmed = line.trimmed();
    const qsizetype equals = trimmed.indexOf('=');
    return equals <= 0 || trimmed.startsWith(';') ? QByteArray() : trimmed.left(equals).trimmed().toLower();
}

void setValue(QList<QByteArray>& lines, const IniValue& entry)
{
    const QByteArray section = entry.section.toUtf8().toLower();
    const QByteArray key = entry.key.toUtf8().toLower();
    const QByteArray line = entry.key.toUtf8() + '=' + entry.value.toUtf8();
    bool inside = false;
    qsizetype end = -1;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        const QByteArray begun = sectionName(lines[i]);
        if (!begun.isEmpty()) {
            if (inside)
                break;
            inside = begun == section;
        } else if (inside && keyName(lines[i]) == key) {
            lines[i] = line;
            return;
        }
        if (inside && !lines[i].trimmed().isEmpty())
            end = i + 1;
    }
    if (entry.onlyWhereItStands)
        return;
    if (end >= 0) {
        lines.insert(end, line);
        return;
    }
    if (!lines.isEmpty())
        lines.append(QByteArray());
    lines.append('[' + entry.section.toUtf8() + ']');
    lines.append(line);
}

} // namespace

QByteArray withValues(const QByteArray& text, const std::vector<IniValue>& values)
{
    const QByteArray lineEnd = lineEndOf(text);
    QList<QByteArray> lines;
    if (!text.isEmpty()) {
        lines = text.split('\n');
        if (lines.last().isEmpty())
            lines.removeLast();
        for (QByteArray& line : lines)
            if (line.endsWith('\r'))
                line.chop(1);
    }
    for (const IniValue& value : values)
        setValue(lines, value);
    return lines.join(lineEnd) + lineEnd;
}

bool writeScanIni(const QString& directory, const std::vector<IniValue>& always, const std::vector<IniValue>& defaults, QString& why)
{
    const QString path = QDir(directory).filePath(QStringLiteral("scan.ini"));
    QFile old(path);
    QByteArray text;
    const bool exists = old.exists();
    if (exists) {
        if (!old.open(QIODevice::ReadOnly)) {
            why = path + QStringLiteral(": ") + old.errorString();
            return false;
        }
        text = old.readAll();
        old.close();
    }
    std::vector<IniValue> values;
    if (!exists)
        values = defaults;
    values.insert(values.end(), always.begin(), always.end());
    QSaveFile file(path);
    const QByteArray changed = withValues(text, values);
    if (!file.open(QIODevice::WriteOnly) || file.write(changed) != changed.size() || !file.commit()) {
        why = path + QStringLiteral(": ") + file.errorString();
        return false;
    }
    return true;
}

} // namespace lab
