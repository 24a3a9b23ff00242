// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/NativeFile.h"

#include "core/CodePage.h"
#include "core/NumberBytes.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "datafiles/FileWriting.h"
#include "datafiles/NumberFields.h"
#include "datafiles/ScanFileReader.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace {
const QString beginMark = QStringLiteral("/*<beginc>");
const QString endMark = QStringLiteral("<endc>*/");
constexpr qint32 mostPoints = 1000000;
constexpr qint16 temperatureFollows = 7;

QString blanksTrimmed(const QString& text)
{
    qsizetype from = 0;
    qsizetype to = text.size();
    while (from < to && text[from] == u' ')
        ++from;
    while (to > from && text[to - 1] == u' ')
        --to;
    return text.mid(from, to - from);
}

QString fullPath(const QString& path)
{
    return QDir::isAbsolutePath(path) ? path : QDir::toNativeSeparators(QFileInfo(path).absoluteFilePath());
}

QString crLfBreaks(const QString& text)
{
    QString result = text;
    return result.replace(QStringLiteral("\r\n"), QStringLiteral("\n")).replace(u'\r', u'\n').replace(u'\n', QStringLiteral("\r\n"));
}

// --- reading

Prompts::Message correctionFileQuestion()
{
    Prompts::Message question;
    question.title = QStringLiteral("Open file");
    question.text = QStringLiteral("Generate correction file?");
    question.icon = Prompts::Icon::Question;
    question.buttons = Prompts::Buttons::OkCancel;
    question.defaultButton = 2;
    question.safe = question.unattended = Prompts::Button::Cancel;
    return question;
}

/// Major and minor as one number of single precision: 2.1 in a file equals 2.1 of the program.
float programVersion()
{
    const QStringList parts = QStringLiteral(SCAN_VERSION).split(u'.');
    constexpr double minorParts = 10;
    return static_cast<float>(parts.value(0).toInt() + parts.value(1).toInt() / minorParts);
}

QString readComment(ScanFileReader& reader)
{
    constexpr qsizetype longest = 4194304; // characters; a file without end mark is read to its end without keeping it
    const QString first = reader.line();
    const qsizetype marks = beginMark.size() + endMark.size();
    if (first.contains(endMark) && first.contains(beginMark))
        return first.mid(beginMark.size(), qMax<qsizetype>(0, first.size() - marks));
    QString comment = first.mid(beginMark.size());
    bool tooLong = reader.lineTooLong();
    for (bool ended = false; !ended;) {
        QString next = reader.line();
        tooLong = tooLong || reader.lineTooLong() || comment.size() + next.size() > longest;
        ended = next.contains(endMark);
        if (ended)
            next.chop(endMark.size());
        if (!tooLong)
            comment += u'\n' + next;
    }
    if (tooLong)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::Overflow)};
    return comment;
}

qint32 pointsOf(const ScanParameters& parameters)
{
    if (parameters.step == 0)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::DivisionByZero)};
    bool overflow = false;
    const qint32 points = NumberText::RoundToLong(std::abs(parameters.start - parameters.stop) / parameters.step + 1, &overflow);
    if (overflow || points < 1 || points > mostPoints)
        throw ScanFileReader::ReadError{ProgramError::of(ProgramError::Overflow)};
    return points;
}
} // namespace

namespace NativeFile {
QByteArray Content(const ScanRecord& scan, const QString& path)
{
    QByteArray content;
    const auto line = [&content](const QByteArray& text) { content.append(text).append(NumberFields::lineEnd); };
    const auto fixed = [&content](double value, int decimals) {
        NumberFields::Append(content, NumberBytes::Fixed(value, decimals));
        content.append(NumberFields::lineEnd);
    };

    line("scan " SCAN_VERSION);
    line("0");
    line("1");
    line(FileWriting::OneLine(scan.sample));
    line("n.n");
    line("");
    line(FileWriting::OneLine(scan.measuringDate));
    fixed(scan.parameters.counterTime, 1);
    line(FileWriting::OneLine(fullPath(path)));
    line(CodePage::toCodePage(beginMark + crLfBreaks(blanksTrimmed(scan.comment)) + endMark));
    fixed(scan.parameters.start, 3);
    fixed(scan.parameters.stop, 3);
    fixed(scan.parameters.step, 3);
    line("");
    content.append(QByteArray::number(scan.temperatureFlag));
    if (scan.temperatureFlag == temperatureFollows) {
        NumberFields::Append(content, NumberBytes::General(scan.temperature.value_or(0)));
        content.append(' ');
    }
    line("");
    line("");
    NumberFields::AppendCountLines(content, scan.counts());
    return content;
}

Prompts::Message Refusal(const QString& text, Prompts::Icon icon)
{
    Prompts::Message box;
    box.title = QStringLiteral("Open file error");
    box.text = text;
    box.icon = icon;
    return box;
}

std::optional<Prompts::Message> RefusedBy(ScanFileReader& reader, const QString& path)
{
    constexpr qsizetype nameLength = 4;
    const QString first = reader.line().trimmed();
    if (first.contains(QStringLiteral("angle error protocol"), Qt::CaseInsensitive))
        return correctionFileQuestion(); // its answer changes nothing: intended
    if (first.left(nameLength).toLower() != QStringLiteral("scan"))
        return Refusal(u'\'' + path + QStringLiteral("' is is not a Scan file"), Prompts::Icon::Exclamation);
    const auto fileVersion = static_cast<float>(NumberText::ReadNumber(first.mid(nameLength)));
    if (programVersion() < fileVersion)
        return Refusal(QStringLiteral("File version:") + NumberText::Print(fileVersion) +
                           QStringLiteral("\nProgram version: " SCAN_VERSION) +
                           QStringLiteral("\n\nCannot read data files generated by newer program versions!"),
                       Prompts::Icon::Critical);
    return std::nullopt;
}

ScanRecord ReadHead(ScanFileReader& reader)
{
    ScanRecord scan;
    const auto skip = [&reader](int lines) {
        for (int i = 0; i < lines; ++i)
            reader.line();
    };
    skip(2);
    scan.sample = reader.line();
    skip(2);
    scan.measuringDate = reader.line();
    scan.begin = ScanRecord::ReadMeasuringDate(scan.measuringDate);
    scan.parameters.counterTime = reader.number();
    skip(1);
    scan.comment = readComment(reader);
    scan.parameters.start = reader.number();
    scan.parameters.stop = reader.number();
    scan.parameters.step = reader.number();
    scan.parameters.numberOfPoints = pointsOf(scan.parameters);
    scan.segments = {scan.parameters};
    skip(3);
    return scan;
}

void ReadCounts(ScanFileReader& reader, ScanRecord& scan)
{
    constexpr qint32 pointsPerLook = 1000;
    constexpr quint32 longestSilence = 50; // ms
    const ScanParameters& parameters = scan.parameters;
    scan.resize(parameters.numberOfPoints);
    for (qint32 i = 1; i <= scan.size(); ++i)
        scan.setPoint(i, (i - 1) * parameters.step + parameters.start, 0);

    quint32 lastEvents = modTools::timeGetTime();
    for (qint32 i = 1; i <= parameters.numberOfPoints; ++i) {
        const qint32 value = reader.value();
        scan.minimum = i == 1 ? value : std::min(scan.minimum, value);
        scan.maximum = i == 1 ? value : std::max(scan.maximum, value);
        scan.setPoint(i, scan.angle(i), value);
        scan.received = i;
        // The window stays live during a long read: the clock is looked at every 1000 points, and events run when 50 ms have gone by.
        if (i % pointsPerLook == 0 && modTools::timeGetTime() - lastEvents >= longestSilence) {
            modTools::DoEvents();
            lastEvents = modTools::timeGetTime();
        }
    }
}
} // namespace NativeFile
