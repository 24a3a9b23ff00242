// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanRecord.h"

#include <QObject>
#include <QString>

/// What is drawn of a scan: the chart connects to ScanData::plotRequested.
struct PlotRequest
{
    QString title;       ///< empty: the chart keeps its header
    double start = 0;    ///< degrees 2-Theta, left end of the angle axis
    double stop = 0;     ///< degrees 2-Theta, right end
    double step = 0;     ///< degrees 2-Theta
    qint32 yMaximum = 0; ///< counts, top of the intensity axis
    qint32 yMinimum = 0; ///< counts
};

/// The one scan in memory: a record, and the signal that has it drawn. Sample name and comment belong to it until it is saved: those of its
/// record are of the moment at which it was measured or opened, those of the fields are written.
class ScanData : public QObject, public ScanRecord
{
    Q_OBJECT

public:
    const ScanRecord& record() const { return *this; }
    /// This scan takes the place of the one in memory, without a redraw.
    void take(const ScanRecord& scan) { static_cast<ScanRecord&>(*this) = scan; }
    /// Back to the empty set, without a redraw.
    void clear() { take({}); }

    /// Asks for the scan to be drawn over start..stop with an intensity range of 0 to maximum + 5 %, rounded to the nearest whole
    /// number with ties to even.
    void plot(double start, double stop, double step, qint32 maximumCount);
    /// The same with its own range and maximum.
    void plot() { plot(parameters.start, parameters.stop, parameters.step, maximum); }

    /// round(maximum x 1.05), ties to even: the top of the intensity axis [counts].
    static qint32 yMaximumFor(qint32 maximumCount);

signals:
    void plotRequested(const PlotRequest& request);
};

ScanData& scanData();
