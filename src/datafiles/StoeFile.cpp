// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/CodePage.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "datafiles/ExportWriters.h"
#include "datafiles/FileWriting.h"

#include <QDateTime>
#include <QLocale>
#include <QtEndian>

#include <algorithm>
#include <limits>

namespace {
constexpr qsizetype blockSize = 512;
constexpr qsizetype firstDataBlock = 5;
constexpr qint32 mostPoints = 65534; // the number of points + 1 has 16 bits
constexpr qsizetype textField = 16;
constexpr qsizetype rangeHeader = 0x800;
constexpr qsizetype data = firstDataBlock * blockSize;

template <typename T>
void put(QByteArray& content, qsizetype at, T value)
{
    qToLittleEndian(value, content.data() + at);
}

void putText(QByteArray& content, qsizetype at, const QByteArray& text, qsizetype most)
{
    content.replace(at, qMin(most, text.size()), text.left(most));
}

/// As the native file holds it, so that a scan gives the same file before and after it was saved there.
QDateTime toTheMinute(QDateTime moment)
{
    moment.setTime(QTime(moment.time().hour(), moment.time().minute()));
    return moment;
}

QByteArray dateText(const QDateTime& date)
{
    return date.isValid() ? QLocale::c().toString(date, QStringLiteral("dd-MMM-yy HH:mm")).toLatin1() : QByteArray();
}

/// The count as a whole number of 32 bits; sets `overflow` when it has no place there.
quint32 countOf(double count, bool& overflow)
{
    const double whole = NumberText::RoundToEven(count);
    if (!(whole >= 0 && whole <= std::numeric_limits<quint32>::max())) {
        overflow = true;
        return 0;
    }
    return static_cast<quint32>(whole);
}

void putFileHeader(QByteArray& content, const ScanRecord& scan, double end)
{
    const auto fileBlocks = static_cast<quint16>(content.size() / blockSize);
    const auto dataBlocks = static_cast<quint16>(fileBlocks - firstDataBlock);
    constexpr qsizetype namesAt = 0x20;
    constexpr qsizetype namesEnd = 0x130;

    putText(content, 0x000, "RAW_1.06Powdat", textField);
    putText(content, 0x010, dateText(scan.begin), textField);
    const QByteArray name = FileWriting::OneLine(scan.sample).left(namesEnd - namesAt - 2);
    putText(content, namesAt, name, name.size());
    const qsizetype commentAt = namesAt + name.size() + 1;
    const QString comment = scan.comment.trimmed();
    putText(content, commentAt, CodePage::toCodePage(comment.section(u'\n', 0, 0).section(u'\r', 0, 0)), namesEnd - commentAt - 1);
    put(content, 0x156, static_cast<float>(scan.parameters.step));
    put(content, 0x1D2, static_cast<quint16>(scan.size() + 1));
    put(content, 0x200, static_cast<quint16>(scan.size() + 1));
    put(content, 0x1D6, quint16(1));
    put(content, 0x1DA, dataBlocks);
    put(content, 0x1DC, fileBlocks);
    put(content, 0x1E0, static_cast<quint16>(firstDataBlock));
    put(content, 0x1F0, dataBlocks);
    put(content, 0x23C, static_cast<float>(scan.parameters.start));
    put(content, 0x240, static_cast<float>(end));
}

void putRangeHeader(QByteArray& content, const ScanRecord& scan, double end)
{
    const double counterTime = scan.parameters.counterTime;
    const QDateTime began = toTheMinute(scan.begin);
    const QDateTime ended = began.isValid() ? began.addMSecs(qRound64(scan.size() * counterTime * 1000)) : began;
    putText(content, rangeHeader, dateText(began), textField);
    putText(content, rangeHeader + 0x10, dateText(ended), textField);
    put(content, rangeHeader + 0x22, static_cast<quint16>(scan.size()));
    qsizetype at = rangeHeader + 0x2C;
    for (double angle : {scan.parameters.start, end, scan.parameters.step}) { // 2-Theta, Theta
        put(content, at, static_cast<float>(angle));
        put(content, at + 4, static_cast<float>(angle / 2));
        at += 8;
    }
    put(content, rangeHeader + 0x44, static_cast<float>(counterTime));
    putText(content, rangeHeader + 0x1F8, "RAWDAT", textField);
}

ProgramError stoeContent(const ScanRecord& scan, QByteArray& content)
{
    const qint32 points = scan.size();
    if (points > mostPoints)
        return ProgramError::of(ProgramError::Overflow);
    const qsizetype dataBlocks = (points * qsizetype(sizeof(quint32)) + blockSize - 1) / blockSize;
    content = QByteArray((firstDataBlock + dataBlocks) * blockSize, '\0');

    const double end = scan.parameters.start + (points - 1) * scan.parameters.step;
    putFileHeader(content, scan, end);
    putRangeHeader(content, scan, end);

    bool overflow = false;
    quint32 minimum = points > 0 ? std::numeric_limits<quint32>::max() : 0;
    quint32 maximum = 0;
    for (qint32 i = 1; i <= points; ++i) {
        const quint32 count = countOf(scan.count(i), overflow);
        minimum = std::min(minimum, count);
        maximum = std::max(maximum, count);
        put(content, data + (i - 1) * qsizetype(sizeof count), count);
    }
    put(content, rangeHeader + 0x78, minimum);
    put(content, rangeHeader + 0x7C, maximum);
    return overflow ? ProgramError::of(ProgramError::Overflow) : ProgramError();
}
} // namespace

qint16 CreateSTOEFile(const ScanRecord& scan, const QString& path)
{
    modTools::WriteLog(false, QStringLiteral("CreateSTOEFile()"));
    return FileWriting::WriteExport("stoe", scan, path, stoeContent);
}
