// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/FrontPanel.h"
#include "core/ScanData.h"

#include <QDir>
#include <QFile>
#include <QHash>
#include <QStringList>

/// The scans of the golden files; tests/data/datafiles/make_golden.py has the same numbers.
namespace GoldenScans {
struct Scan
{
    double start;
    double step;
    double counterTime;
};

inline const QHash<qint32, Scan>& scans()
{
    static const QHash<qint32, Scan> all{{1, {10, 0.02, 0.25}},     {9, {10, 0.02, 1}},   {10, {0, 0.01, 5}},    {11, {-5.5, 0.125, 0.1}},
                                         {20, {10.005, 0.0105, 2}}, {23, {995, 0.5, 12}}, {32001, {4, 0.005, 5}}};
    return all;
}

inline double count(qint32 i)
{
    static const QList<qint32> first{0, 9999999, 10000000, 1, 12345, 999999, 123456789, 2147483647, 7, 100, 99999998};
    return i <= first.size() ? first[i - 1] : static_cast<qint32>((i - 1) * 7919LL % 100003);
}

/// Puts the scan with that many points into memory, its name and comment also into the fields. The fields of the next scan and panel 2 hold
/// other values, which no file may show.
inline void put(qint32 points)
{
    const Scan scan = scans().value(points);
    ScanData& data = scanData();
    data.take(ScanRecord::of({scan.start, scan.start + (points - 1) * scan.step, scan.step, scan.counterTime, points}));
    data.sample = QStringLiteral(u"Quartz\u00e4");
    data.comment = QStringLiteral("  first line\nsecond ");
    data.beginAt(QDateTime(QDate(2024, 3, 5), QTime(14, 7, 59)));
    data.resize(points);
    for (qint32 i = 1; i <= points; ++i)
        data.setPoint(i, scan.start + (i - 1) * scan.step, count(i));
    using Field = FrontPanel::Field;
    frontPanel().setText(Field::txtFileName, data.sample);
    frontPanel().setText(Field::txtComment, data.comment);
    frontPanel().setText(Field::ScanStart, QStringLiteral("77"));
    frontPanel().setText(Field::ScanStop, QStringLiteral("78"));
    frontPanel().setText(Field::ScanStep, QStringLiteral("0.3"));
    frontPanel().setText(Field::CounterTime, QStringLiteral("99"));
    frontPanel().setPanel(2, QStringLiteral("Jan 01. 2000 00:00"));
}

/// The operator types on: what the fields say now belongs to no file that is written from a record.
inline void typeOn()
{
    frontPanel().setText(FrontPanel::Field::txtFileName, QStringLiteral("Next"));
    frontPanel().setText(FrontPanel::Field::txtComment, QStringLiteral("of the next scan"));
}

inline QByteArray bytesOf(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be read");
}

inline void write(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

inline QByteArray golden(qint32 points, const QString& key)
{
    return bytesOf(QStringLiteral(SCAN_TEST_DATA "/datafiles/%1.%2").arg(points).arg(key));
}

inline QStringList filesIn(const QString& directory)
{
    return QDir(directory).entryList(QDir::Files | QDir::Hidden | QDir::System, QDir::Name);
}
} // namespace GoldenScans
