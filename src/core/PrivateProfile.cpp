// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/PrivateProfile.h"

#include "core/CodePage.h"

#ifdef Q_OS_WIN
#include <QDir>
#include <windows.h>
#else
#include <QFile>
#include <QList>
#include <QSaveFile>
#include <QStringDecoder>

#include <algorithm>
#include <limits>
#include <optional>
#endif

namespace {
QString blanksTrimmed(const QString& text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && (text[from] == u' ' || text[from] == u'\t'))
        ++from;
    while (to > from && (text[to - 1] == u' ' || text[to - 1] == u'\t'))
        --to;
    return text.mid(from, to - from);
}

/// What a fixed buffer with a terminating zero makes of a text.
QString cutAndTrimmed(const QString& text)
{
    const qsizetype zero = text.indexOf(QChar(0));
    return blanksTrimmed(zero < 0 ? text : text.left(zero));
}

#ifdef Q_OS_WIN
QByteArray nativePath(const QString& path)
{
    return CodePage::toCodePage(QDir::toNativeSeparators(path));
}
#else
constexpr qint64 largestFile = 4 * 1024 * 1024;

/// One line of the file: its text without the line end, and the line end as it stands.
struct Line
{
    QString text;
    QString end;

    bool isSection() const { return blanksTrimmed(text).startsWith(u'['); }
    bool isBlank() const { return blanksTrimmed(text).isEmpty(); }
    QString sectionName() const
    {
        const QString trimmed = blanksTrimmed(text);
        const qsizetype close = trimmed.indexOf(u']');
        return blanksTrimmed(trimmed.mid(1, close < 0 ? -1 : close - 1));
    }
    /// Position of the "=" that ends the key; -1 when the line holds none.
    qsizetype equals() const { return blanksTrimmed(text).startsWith(u';') ? -1 : text.indexOf(u'='); }
    bool isKey(const QString& key) const
    {
        const qsizetype at = equals();
        return at >= 0 && blanksTrimmed(text.left(at)).compare(key, Qt::CaseInsensitive) == 0;
    }
    QString value() const
    {
        QString found = blanksTrimmed(text.mid(equals() + 1));
        const bool quoted = found.size() >= 2 && found.front() == found.back() && (found.front() == u'"' || found.front() == u'\'');
        return quoted ? found.mid(1, found.size() - 2) : found;
    }
};

struct File
{
    QList<Line> lines;
    bool byteOrderMark = false;
    bool utf8 = true;

    QString lineEnd() const { return lines.isEmpty() || lines.first().end.isEmpty() ? QStringLiteral("\r\n") : lines.first().end; }
};

QList<Line> split(const QString& text)
{
    QList<Line> lines;
    qsizetype from = 0;
    while (from < text.size()) {
        const qsizetype feed = text.indexOf(u'\n', from);
        const qsizetype next = feed < 0 ? text.size() : feed + 1;
        qsizetype end = feed < 0 ? text.size() : feed;
        if (feed > from && text[feed - 1] == u'\r')
            --end;
        lines.append({text.mid(from, end - from), text.mid(end, next - end)});
        from = next;
    }
    return lines;
}

/// Nothing when there is no such file, or when it cannot be read.
std::optional<File> load(const QString& path)
{
    QFile source(path);
    if (!source.open(QIODevice::ReadOnly))
        return std::nullopt;
    QByteArray bytes = source.read(largestFile + 1);
    if (source.error() != QFileDevice::NoError || bytes.size() > largestFile)
        return std::nullopt;
    File file;
    file.byteOrderMark = bytes.startsWith("\xEF\xBB\xBF");
    if (file.byteOrderMark)
        bytes.remove(0, 3);
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString text = decoder(bytes);
    file.utf8 = !decoder.hasError();
    if (!file.utf8)
        text = CodePage::fromWindows1252(bytes);
    file.lines = split(text);
    return file;
}

bool store(const File& file, const QString& path)
{
    QByteArray bytes = file.byteOrderMark ? QByteArray("\xEF\xBB\xBF") : QByteArray();
    for (const Line& line : file.lines)
        bytes += file.utf8 ? (line.text + line.end).toUtf8() : CodePage::toWindows1252(line.text + line.end);
    QSaveFile target(path);
    return target.open(QIODevice::WriteOnly) && target.write(bytes) == bytes.size() && target.commit();
}

/// Index of the first section's heading; -1 when there is none.
qsizetype findSection(const File& file, const QString& section)
{
    for (qsizetype i = 0; i < file.lines.size(); ++i)
        if (file.lines[i].isSection() && file.lines[i].sectionName().compare(section, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

/// Index of the line after the section's last.
qsizetype sectionEnd(const File& file, qsizetype heading)
{
    qsizetype end = heading + 1;
    while (end < file.lines.size() && !file.lines[end].isSection())
        ++end;
    return end;
}

qsizetype findKey(const File& file, qsizetype heading, const QString& key)
{
    if (heading < 0)
        return -1;
    const qsizetype end = sectionEnd(file, heading);
    for (qsizetype i = heading + 1; i < end; ++i)
        if (file.lines[i].isKey(key))
            return i;
    return -1;
}

std::optional<QString> find(const QString& section, const QString& key, const QString& path)
{
    const std::optional<File> file = load(path);
    if (!file)
        return std::nullopt;
    const qsizetype line = findKey(*file, findSection(*file, section), key);
    if (line < 0)
        return std::nullopt;
    return file->lines[line].value();
}

void replaceValue(Line& line, const QString& text)
{
    qsizetype from = line.equals() + 1;
    while (from < line.text.size() && (line.text[from] == u' ' || line.text[from] == u'\t'))
        ++from;
    line.text = line.text.left(from) + text;
}

void insertLine(File& file, qsizetype at, const QString& text)
{
    const QString end = file.lineEnd();
    if (at > 0 && file.lines[at - 1].end.isEmpty())
        file.lines[at - 1].end = end;
    file.lines.insert(at, {text, end});
}
#endif
} // namespace

namespace PrivateProfile {
#ifdef Q_OS_WIN
QString GetPrivateProfileString(const QString& section, const QString& key, const QString& defaultText, const QString& path)
{
    QByteArray buffer(8192, '\0');
    GetPrivateProfileStringA(CodePage::toCodePage(section).constData(), CodePage::toCodePage(key).constData(),
                             CodePage::toCodePage(defaultText).constData(), buffer.data(), static_cast<DWORD>(buffer.size()),
                             nativePath(path).constData());
    return cutAndTrimmed(CodePage::fromCodePage(buffer));
}

qint32 GetPrivateProfileInt(const QString& section, const QString& key, qint32 defaultValue, const QString& path)
{
    return static_cast<qint32>(GetPrivateProfileIntA(CodePage::toCodePage(section).constData(), CodePage::toCodePage(key).constData(),
                                                     defaultValue, nativePath(path).constData()));
}

bool WritePrivateProfileString(const QString& section, const QString& key, const QString& text, const QString& path)
{
    return WritePrivateProfileStringA(CodePage::toCodePage(section).constData(), CodePage::toCodePage(key).constData(),
                                      CodePage::toCodePage(text).constData(), nativePath(path).constData()) != FALSE;
}
#else
QString GetPrivateProfileString(const QString& section, const QString& key, const QString& defaultText, const QString& path)
{
    return cutAndTrimmed(find(section, key, path).value_or(defaultText));
}

qint32 GetPrivateProfileInt(const QString& section, const QString& key, qint32 defaultValue, const QString& path)
{
    const std::optional<QString> found = find(section, key, path);
    if (!found)
        return defaultValue;
    const QString text = blanksTrimmed(*found);
    qsizetype at = text.startsWith(u'-') || text.startsWith(u'+') ? 1 : 0;
    const bool negative = text.startsWith(u'-');
    qint64 value = 0;
    for (; at < text.size() && text[at] >= u'0' && text[at] <= u'9' && value <= std::numeric_limits<qint32>::max(); ++at)
        value = 10 * value + (text[at].unicode() - u'0');
    value = negative ? -value : value;
    return static_cast<qint32>(std::clamp<qint64>(value, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()));
}

bool WritePrivateProfileString(const QString& section, const QString& key, const QString& text, const QString& path)
{
    std::optional<File> file = load(path);
    if (!file && QFile::exists(path))
        return false;
    if (!file)
        file.emplace();
    const QString line = QString(text).replace(u'\r', u' ').replace(u'\n', u' ');
    qsizetype heading = findSection(*file, section);
    if (heading < 0) {
        heading = file->lines.size();
        insertLine(*file, heading, u'[' + section + u']');
    }
    const qsizetype found = findKey(*file, heading, key);
    if (found >= 0) {
        replaceValue(file->lines[found], line);
    } else {
        qsizetype at = sectionEnd(*file, heading);
        while (at > heading + 1 && file->lines[at - 1].isBlank())
            --at;
        insertLine(*file, at, key + u'=' + line);
    }
    return store(*file, path);
}
#endif
} // namespace PrivateProfile
