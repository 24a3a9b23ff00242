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

void ScanData::plot(double start, double stop, double step, qint32 maximumCount)
{
    emit plotRequested({QString(), start, stop, step, yMaximumFor(maximumCount), 0});
}

qint32 ScanData::yMaximumFor(qint32 maximumCount)
{
    return NumberText::RoundToLong(maximumCount * 1.05);
}
