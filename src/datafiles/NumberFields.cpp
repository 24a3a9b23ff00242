// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/NumberFields.h"

#include <algorithm>
#include <array>

namespace {
/// Fills a field of `fieldWidth` characters at `field`.
void setRight(char* field, const NumberBytes::Text& text, qsizetype fieldWidth)
{
    const qsizetype kept = qMin(fieldWidth, text.size());
    std::fill_n(field, fieldWidth, ' ');
    std::copy_n(text.data() + text.size() - kept, kept, field + fieldWidth - kept);
}
} // namespace

namespace NumberFields {
void Append(QByteArray& content, const NumberBytes::Text& text)
{
    content.append(text.data(), text.size());
}

void AppendRight(QByteArray& content, const NumberBytes::Text& text, qsizetype fieldWidth)
{
    std::array<char, widest> field;
    setRight(field.data(), text, fieldWidth);
    content.append(field.data(), fieldWidth);
}

void AppendField8(QByteArray& content, double value)
{
    NumberBytes::Text text = NumberBytes::Fixed(value, 3);
    text.append(' ');
    AppendRight(content, text, width);
}

void AppendPrintNum(QByteArray& content, double value)
{
    Append(content, NumberBytes::Print(value));
}

void AppendCount8(QByteArray& content, double value)
{
    AppendRight(content, NumberBytes::Print(value), width);
}

void AppendHeader(QByteArray& content, const ScanParameters& parameters, bool withStop)
{
    AppendField8(content, parameters.start);
    AppendField8(content, parameters.step);
    if (withStop)
        AppendField8(content, parameters.stop);
}

void AppendRaisedCounts(QByteArray& content, const QVector<double>& counts, bool point)
{
    const qsizetype points = counts.size();
    const qsizetype breaks = (points + perLine - 1) / perLine * breakLength;
    const qsizetype from = content.size();
    content.reserve(from + points * width + breaks + perLine * width + breakLength);
    content.resize(from + points * width + breaks);
    char* at = content.data() + from;
    for (qsizetype i = 0; i < points; ++i) {
        if (i % perLine == 0)
            at = std::copy_n(lineEnd, breakLength, at);
        NumberBytes::Text text = NumberBytes::Print(counts[i] + 1);
        if (point)
            text.append(". ", 2);
        setRight(at, text, width);
        at += width;
    }
}

void AppendCountLines(QByteArray& content, const QVector<double>& counts)
{
    constexpr qsizetype longestLine = 32; // " -1.23456789012345E-308", a blank, the line break
    const qsizetype from = content.size();
    content.resize(from + counts.size() * longestLine);
    char* at = content.data() + from;
    for (const double count : counts) {
        NumberBytes::Text text = NumberBytes::Print(count);
        text.append(" \r\n", 3);
        at = std::copy_n(text.data(), qMin(text.size(), longestLine), at);
    }
    content.truncate(at - content.constData());
}

void AppendPadding(QByteArray& content, qint32 points)
{
    for (qint32 i = points % perLine; i < perLine; ++i)
        content.append(paddingField);
}
} // namespace NumberFields
