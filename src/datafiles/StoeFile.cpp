// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/CodePage.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/ScanData.h"
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

/// The measuring date of panel 2; invalid when it does not read as one.
QDateTime measuringDate()
{
    const QString text = frontPanel().panel(2).simplified();
    for (const QLocale& locale : {QLocale::c(), QLocale()})
        for (const char16_t* form : {u"MMM dd. yyyy hh:mm", u"MMM d. yyyy h:mm"}) {
            QDateTime date = locale.toDateTime(text, QString::fromUtf16(form));
            if (date.isValid())
                return date;
        }
    return {};
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

void putFileHeader(QByteArray& content, qint32 points, float step, float start, float end)
{
    const auto fileBlocks = static_cast<quint16>(content.size() / blockSize);
    const auto dataBlocks = static_cast<quint16>(fileBlocks - firstDataBlock);
    constexpr qsizetype namesAt = 0x20;
    constexpr qsizetype namesEnd = 0x130;

    putText(content, 0x000, "RAW_1.06Powdat", textField);
    putText(content, 0x010, dateText(measuringDate()), textField);
    const QByteArray name = FileWriting::SampleName().left(namesEnd - namesAt - 2);
    putText(content, namesAt, name, name.size());
    const qsizetype commentAt = namesAt + name.size() + 1;
    const QString comment = frontPanel().text(FrontPanel::Field::txtComment).trimmed();
    putText(content, commentAt, CodePage::toCodePage(comment.section(u'\n', 0, 0).section(u'\r', 0, 0)), namesEnd - commentAt - 1);
    put(content, 0x156, step);
    put(content, 0x1D2, static_cast<quint16>(points + 1));
    put(content, 0x200, static_cast<quint16>(points + 1));
    put(content, 0x1D6, quint16(1));
    put(content, 0x1DA, dataBlocks);
    put(content, 0x1DC, fileBlocks);
    put(content, 0x1E0, static_cast<quint16>(firstDataBlock));
    put(content, 0x1F0, dataBlocks);
    put(content, 0x23C, start);
    put(content, 0x240, end);
}

void putRangeHeader(QByteArray& content, qint32 points, double start, double end, double step)
{
    const double counterTime = scanData().parameters.counterTime;
    const QDateTime began = measuringDate();
    const QDateTime ended = began.isValid() ? began.addMSecs(qRound64(points * counterTime * 1000)) : began;
    putText(content, rangeHeader, dateText(began), textField);
    putText(content, rangeHeader + 0x10, dateText(ended), textField);
    put(content, rangeHeader + 0x22, static_cast<quint16>(points));
    qsizetype at = rangeHeader + 0x2C;
    for (double angle : {start, end, step}) { // 2-Theta, Theta
        put(content, at, static_cast<float>(angle));
        put(content, at + 4, static_cast<float>(angle / 2));
        at += 8;
    }
    put(content, rangeHeader + 0x44, static_cast<float>(counterTime));
    putText(content, rangeHeader + 0x1F8, "RAWDAT", textField);
}

ProgramError stoeContent(QByteArray& content)
{
    const qint32 points = scanData().size();
    if (points > mostPoints)
        return ProgramError::of(ProgramError::Overflow);
    const qsizetype dataBlocks = (points * qsizetype(sizeof(quint32)) + blockSize - 1) / blockSize;
    content = QByteArray((firstDataBlock + dataBlocks) * blockSize, '\0');

    const ScanParameters& parameters = scanData().parameters;
    const double end = parameters.start + (points - 1) * parameters.step;
    putFileHeader(content, points, static_cast<float>(parameters.step), static_cast<float>(parameters.start), static_cast<float>(end));
    putRangeHeader(content, points, parameters.start, end, parameters.step);

    bool overflow = false;
    quint32 minimum = points > 0 ? std::numeric_limits<quint32>::max() : 0;
    quint32 maximum = 0;
    for (qint32 i = 1; i <= points; ++i) {
        const quint32 count = countOf(scanData().count(i), overflow);
        minimum = std::min(minimum, count);
        maximum = std::max(maximum, count);
        put(content, data + (i - 1) * qsizetype(sizeof count), count);
    }
    put(content, rangeHeader + 0x78, minimum);
    put(content, rangeHeader + 0x7C, maximum);
    return overflow ? ProgramError::of(ProgramError::Overflow) : ProgramError();
}
} // namespace

qint16 CreateSTOEFile(const QString& path)
{
    modTools::WriteLog(false, QStringLiteral("CreateSTOEFile()"));
    return FileWriting::WriteExport("stoe", path, stoeContent);
}
