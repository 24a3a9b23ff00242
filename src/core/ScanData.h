// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ScanParameters.h"

#include <QObject>
#include <QString>
#include <QVector>

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

/// The one scan in memory. Points are numbered from 1; angle(i) = start + (i - 1) x step. The data set keeps its own copy of the
/// parameters it was measured with, and the file writers use only that.
class ScanData : public QObject
{
    Q_OBJECT

public:
    ScanParameters parameters;  ///< start, stop, step [deg 2-Theta], counter time [s], number of points
    qint32 minimum = 0;         ///< smallest count
    qint32 maximum = 0;         ///< largest count
    qint16 temperatureFlag = 0; ///< 7: a temperature follows in the file; no procedure of this program sets it
    double temperature = 0;     ///< sample temperature [K], written when the flag is 7

    /// Sizes both arrays to 1..points, all zero.
    void resize(qint32 points);
    qint32 size() const { return static_cast<qint32>(m_counts.size()); }
    double count(qint32 i) const { return m_counts[i - 1]; }
    double angle(qint32 i) const { return m_angles[i - 1]; }
    /// Stores point i (1..size); a point beyond the end is passed over.
    void setPoint(qint32 i, double angle, double count);
    const QVector<double>& counts() const { return m_counts; }
    const QVector<double>& angles() const { return m_angles; }
    /// Back to the empty set, without a redraw.
    void clear();

    /// Asks for the scan to be drawn over start..stop with an intensity range of 0 to maximum + 5 %, rounded to the nearest whole
    /// number with ties to even.
    void plot(double start, double stop, double step, qint32 maximumCount);

    /// round(maximum x 1.05), ties to even: the top of the intensity axis [counts].
    static qint32 yMaximumFor(qint32 maximumCount);

signals:
    void plotRequested(const PlotRequest& request);

private:
    QVector<double> m_counts;
    QVector<double> m_angles;
};

ScanData& scanData();
