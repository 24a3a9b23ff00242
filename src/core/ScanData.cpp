// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/ScanData.h"

#include "core/NumberText.h"

ScanParameters& scanParameters()
{
    static ScanParameters theParameters;
    return theParameters;
}

ScanData& scanData()
{
    static ScanData theData;
    return theData;
}

void ScanData::resize(qint32 points)
{
    m_counts.fill(0.0, points);
    m_angles.fill(0.0, points);
}

void ScanData::setPoint(qint32 i, double angle, double count)
{
    if (i < 1 || i > size())
        return;
    m_angles[i - 1] = angle;
    m_counts[i - 1] = count;
}

void ScanData::clear()
{
    parameters = ScanParameters{};
    minimum = 0;
    maximum = 0;
    temperatureFlag = 0;
    temperature = 0;
    m_counts.clear();
    m_angles.clear();
}

void ScanData::plot(double start, double stop, double step, qint32 maximumCount)
{
    emit plotRequested({QString(), start, stop, step, yMaximumFor(maximumCount), 0});
}

qint32 ScanData::yMaximumFor(qint32 maximumCount)
{
    return NumberText::RoundToLong(maximumCount * 1.05);
}
