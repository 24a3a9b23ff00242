// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/ScanRecord.h"

#include <QLocale>

#include <algorithm>

ScanRecord ScanRecord::of(const ScanParameters& parameters)
{
    ScanRecord scan;
    scan.parameters = parameters;
    scan.segments = {parameters};
    return scan;
}

void ScanRecord::beginAt(const QDateTime& moment)
{
    begin = moment;
    end = {};
    measuringDate = MeasuringDate(moment);
}

void ScanRecord::resize(qint32 points)
{
    m_counts.fill(0.0, points);
    m_angles.fill(0.0, points);
    received = 0;
}

QString ScanRecord::markText() const
{
    QStringList marks;
    if (received < size())
        marks += QStringLiteral("partial: ") + QString::number(received) + QStringLiteral(" of ") + QString::number(size()) +
                 QStringLiteral(" points");
    if (simulated)
        marks += QStringLiteral("simulated counts");
    return marks.join(QStringLiteral(", "));
}

void ScanRecord::setPoint(qint32 i, double angle, double count)
{
    if (i < 1 || i > size())
        return;
    m_angles[i - 1] = angle;
    m_counts[i - 1] = count;
}

QString ScanRecord::MeasuringDate(const QDateTime& moment)
{
    return QLocale::c().toString(moment, QStringLiteral("MMM dd. yyyy hh:mm"));
}

QDateTime ScanRecord::ReadMeasuringDate(const QString& text)
{
    const QString simple = text.simplified();
    for (const QLocale& locale : {QLocale::c(), QLocale()})
        for (const char16_t* form : {u"MMM dd. yyyy hh:mm", u"MMM d. yyyy h:mm"}) {
            QDateTime date = locale.toDateTime(simple, QString::fromUtf16(form));
            if (date.isValid())
                return date;
        }
    return {};
}
