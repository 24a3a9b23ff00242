// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/NumberFields.h"

#include "core/ScanData.h"

#include <cstring>

namespace NumberFields {
void Append(QByteArray& content, const NumberBytes::Text& text)
{
    content.append(text.constData(), text.size());
}

void AppendRight(QByteArray& content, const NumberBytes::Text& text, qsizetype fieldWidth)
{
    constexpr char blanks[] = "                ";
    const qsizetype missing = fieldWidth - text.size();
    if (missing > 0)
        content.append(blanks, missing);
    const qsizetype kept = qMin(fieldWidth, text.size());
    content.append(text.constData() + text.size() - kept, kept);
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

void AppendHeader(QByteArray& content, bool withStop)
{
    const ScanParameters& parameters = scanData().parameters;
    AppendField8(content, parameters.start);
    AppendField8(content, parameters.step);
    if (withStop)
        AppendField8(content, parameters.stop);
}

void AppendRaisedCounts(QByteArray& content, bool point)
{
    const qint32 points = scanData().size();
    content.reserve(content.size() + points * width + (points / perLine + 3) * qsizetype(sizeof lineEnd) + perLine * width);
    for (qint32 i = 1; i <= points; ++i) {
        if (i % perLine == 1)
            content.append(lineEnd);
        NumberBytes::Text text = NumberBytes::Print(scanData().count(i) + 1);
        if (point)
            text.append(". ", 2);
        AppendRight(content, text, width);
    }
}

void AppendPadding(QByteArray& content)
{
    for (qint32 i = scanData().size() % perLine; i < perLine; ++i)
        content.append(paddingField);
}
} // namespace NumberFields
