// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the tests of whole profile runs share.
#pragma once

#include "support/DeskCli.h"

#include <QDir>
#include <QFile>
#include <QTest>

namespace profiles {
inline void store(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

inline QByteArray contentOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/// Short pauses for a goniometer that is so much faster than a real one.
inline void shortenPauses(const DeskLab& lab)
{
    lab.configure(QStringLiteral("smc"), QStringLiteral("TxDelay"), QStringLiteral("0.01"));
}

/// Scan parameters around the strongest line of quartz, waits that need few readings, short pauses.
inline void shortenScans(const DeskLab& lab)
{
    shortenPauses(lab);
    const QString general = QStringLiteral("General");
    const QString controllers = QStringLiteral("LTC"); // the line of all temperature controllers
    lab.configure(general, QStringLiteral("ScanStart"), QStringLiteral("25.6"));
    lab.configure(general, QStringLiteral("ScanStop"), QStringLiteral("27.4"));
    lab.configure(controllers, QStringLiteral("MinQueries"), QStringLiteral("3"));
    lab.configure(controllers, QStringLiteral("TxDelay"), QStringLiteral("0.01"));
    lab.configure(controllers, QStringLiteral("RxDelay"), QStringLiteral("0.02"));
}

inline QStringList scansIn(const QString& directory)
{
    return QDir(directory).entryList({QStringLiteral("*.sdf")}, QDir::Files, QDir::Name);
}

/// The report of the last run, its lines ended by LF.
inline QByteArray reportIn(const QString& directory)
{
    const QStringList reports = QDir(directory).entryList({QStringLiteral("*_report_*.txt")}, QDir::Files, QDir::Name);
    return reports.isEmpty() ? QByteArray() : contentOf(directory + u'/' + reports.constLast()).replace("\r\n", "\n");
}

/// The angle of the strongest peak that the console program finds in a scan; 0 when the file cannot be read.
inline double strongestPeak(DeskLab& lab, const QString& path)
{
    DeskCli cli(lab);
    if (cli.run({QStringLiteral("info"), path, QStringLiteral("--peaks"), QStringLiteral("1")}) != 0)
        return 0;
    const QList<QByteArray> lines = cli.out.trimmed().split('\n');
    return lines.constLast().simplified().split(' ').constFirst().toDouble();
}

/// The words of a run that nobody attends.
inline QStringList runWords(const QString& directory)
{
    return {QStringLiteral("profile"), QStringLiteral("run"),    directory + QStringLiteral("/p.gtp"),
            QStringLiteral("--name"),  QStringLiteral("Quartz"), QStringLiteral("--yes")};
}
} // namespace profiles
