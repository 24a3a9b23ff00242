// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ProgramError.h"

#include <QByteArray>
#include <QFile>
#include <QString>

/// Reads lines and values of a text file in one pass, holding no more than a piece of it in memory. Lines end with CR LF, CR or LF. Members
/// that read throw a ReadError; modFile catches it.
class ScanFileReader
{
public:
    struct ReadError
    {
        ProgramError error;
    };

    explicit ScanFileReader(const QString& path);

    /// The next line without its end. Error 62 at the end of the file. Of a line beyond 1 MiB the first part is returned and lineTooLong()
    /// is true.
    QString line();
    bool lineTooLong() const { return m_lineTooLong; }
    /// The leading number of the next line, a decimal comma counting as a point; 0 without a number.
    double number();
    /// The next value as a whole number of 32 bits. Values are separated by line ends or commas; blank lines are passed over. The leading
    /// number of what stands between the separators counts, rounded with ties to even; a text without a number is 0. Error 6 when it has no
    /// place in 32 bits, error 62 at the end of the file.
    qint32 value();

private:
    bool fill();
    bool atEnd() { return m_at >= m_buffer.size() && !fill(); }
    void takeLineEnd();
    bool fastValue(qint32& value);
    qint32 slowValue();

    QFile m_file;
    QByteArray m_buffer;
    qsizetype m_at = 0;
    bool m_lineTooLong = false;
};
