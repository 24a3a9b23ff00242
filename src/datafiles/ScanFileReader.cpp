// SPDX-License-Identifier: GPL-3.0-or-later

#include "datafiles/ScanFileReader.h"

#include "core/CodePage.h"
#include "core/NumberText.h"

#include <algorithm>
#include <cerrno>
#include <charconv>

namespace {
constexpr qsizetype pieceSize = 65536;
constexpr qsizetype longestLine = 1048576;
constexpr qsizetype longestValue = 64; ///< more characters than any number of 32 bits needs

bool isBlank(char character)
{
    return character == ' ' || character == '\t';
}
bool isLineEnd(char character)
{
    return character == '\r' || character == '\n';
}
} // namespace

ScanFileReader::ScanFileReader(const QString& path) : m_file(path)
{
    errno = 0;
    if (!m_file.open(QIODevice::ReadOnly | QIODevice::Unbuffered))
        throw ReadError{ProgramError::ofFile(path, m_file.error(), errno)};
}

/// Reads on behind what is not yet used; false at the end of the file.
bool ScanFileReader::fill()
{
    const qsizetype left = m_buffer.size() - m_at;
    QByteArray next(left + pieceSize, Qt::Uninitialized);
    std::copy_n(m_buffer.constData() + m_at, left, next.data());
    errno = 0;
    const qint64 got = m_file.read(next.data() + left, pieceSize);
    if (got < 0)
        throw ReadError{ProgramError::ofFile(m_file.fileName(), QFileDevice::ReadError, errno)};
    next.resize(left + static_cast<qsizetype>(got));
    m_buffer.swap(next);
    m_at = 0;
    return got > 0;
}

void ScanFileReader::takeLineEnd()
{
    const bool carriageReturn = m_buffer[m_at] == '\r';
    ++m_at;
    if (carriageReturn && !atEnd() && m_buffer[m_at] == '\n')
        ++m_at;
}

QString ScanFileReader::line()
{
    if (atEnd())
        throw ReadError{ProgramError::of(ProgramError::InputPastEnd)};
    QByteArray bytes;
    m_lineTooLong = false;
    while (!atEnd()) {
        const char* first = m_buffer.constData() + m_at;
        const char* last = m_buffer.constData() + m_buffer.size();
        const char* end = std::find_if(first, last, isLineEnd);
        const qsizetype kept = qMin<qsizetype>(end - first, longestLine - bytes.size());
        m_lineTooLong = m_lineTooLong || kept < end - first;
        bytes.append(first, kept);
        m_at += end - first;
        if (end != last) {
            takeLineEnd();
            break;
        }
    }
    return CodePage::fromCodePage(bytes);
}

double ScanFileReader::number()
{
    return NumberText::ReadNumber(line());
}

qint32 ScanFileReader::value()
{
    qint32 result = 0;
    return fastValue(result) ? result : slowValue();
}

/// A plain whole number that lies in the buffer with its separator; otherwise nothing is used.
bool ScanFileReader::fastValue(qint32& value)
{
    const char* at = m_buffer.constData() + m_at;
    const char* last = m_buffer.constData() + m_buffer.size();
    while (at != last && (isBlank(*at) || isLineEnd(*at)))
        ++at;
    const auto read = std::from_chars(at, last, value);
    if (read.ec != std::errc())
        return false;
    at = read.ptr;
    while (at != last && isBlank(*at))
        ++at;
    // A CR at the very end of the buffer is left to the next value, which passes over line ends anyway.
    if (at == last || (*at != ',' && !isLineEnd(*at)))
        return false;
    m_at = at + 1 - m_buffer.constData();
    return true;
}

qint32 ScanFileReader::slowValue()
{
    while (!atEnd() && (isBlank(m_buffer[m_at]) || isLineEnd(m_buffer[m_at])))
        ++m_at;
    if (atEnd())
        throw ReadError{ProgramError::of(ProgramError::InputPastEnd)};
    QByteArray text;
    for (; !atEnd() && m_buffer[m_at] != ',' && !isLineEnd(m_buffer[m_at]); ++m_at)
        if (text.size() < longestValue)
            text.append(m_buffer[m_at]);
    if (!atEnd())
        ++m_at;
    bool overflow = false;
    const qint32 result = NumberText::RoundToLong(NumberText::LeadingNumber(QString::fromLatin1(text)), &overflow);
    if (overflow)
        throw ReadError{ProgramError::of(ProgramError::Overflow)};
    return result;
}
