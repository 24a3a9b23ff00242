// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the tests of whole profile runs share.
#pragma once

#include "real/Programs.h"

namespace programs {
inline void store(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

/// Scan parameters around the strongest line of quartz, waits that need few readings, short pauses; `more`: further lines of a section.
inline void shortenScans(const Instrument& instrument, const QByteArray& section = {}, const QByteArray& more = {})
{
    QByteArray text;
    for (QByteArray line : instrument.read(QStringLiteral("scan.ini")).split('\n')) {
        for (const char* fixed : {"ScanStart=25.6", "ScanStop=27.4", "TxDelay=0.01", "RxDelay=0.02"}) {
            const QByteArray key = QByteArray(fixed).split('=').constFirst() + '=';
            if (line.startsWith(key))
                line = fixed;
        }
        text += line + '\n';
        if (line == "[LTC]")
            text += "MinQueries=3\n";
        if (!section.isEmpty() && line == '[' + section + ']')
            text += more + '\n';
    }
    store(instrument.path(QStringLiteral("scan.ini")), text);
}

inline QStringList scansIn(const Instrument& instrument)
{
    return QDir(instrument.directory.path()).entryList({QStringLiteral("*.sdf")}, QDir::Files, QDir::Name);
}

/// The report of the last run, its lines ended by LF.
inline QByteArray reportIn(const Instrument& instrument)
{
    const QStringList reports = QDir(instrument.directory.path()).entryList({QStringLiteral("*_report_*.txt")}, QDir::Files, QDir::Name);
    return reports.isEmpty() ? QByteArray() : instrument.read(reports.constLast()).replace("\r\n", "\n");
}

/// The angle of the strongest peak that the console program finds in a scan; 0 when the file cannot be read.
inline double strongestPeak(const Instrument& instrument, const QString& name)
{
    ScanCli cli;
    if (cli.runOn(instrument, {QStringLiteral("info"), instrument.path(name), QStringLiteral("--peaks"), QStringLiteral("1")}) != 0)
        return 0;
    const QList<QByteArray> lines = cli.out.trimmed().split('\n');
    return lines.constLast().simplified().split(' ').constFirst().toDouble();
}

/// The words of a run that nobody attends.
inline QStringList runWords(const Instrument& instrument)
{
    return {QStringLiteral("profile"), QStringLiteral("run"),    instrument.path(QStringLiteral("p.gtp")),
            QStringLiteral("--name"),  QStringLiteral("Quartz"), QStringLiteral("--yes")};
}
} // namespace programs
