// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QVector>

/// A simple search for the peaks of a diffractogram, good enough to tell at a glance whether a scan shows what it should.
///
/// The counts are smoothed over five points (quadratic, weights -3 12 17 12 -3). The background at a point is the lower quartile of the
/// smoothed counts within 1 degree around it. A peak is a point that is the highest within 0.15 degrees and stands above the background by
/// more than four standard deviations of the background's counts. Its angle is that of the vertex of the parabola through the smoothed
/// point and its neighbours, its height the largest count within one point of it.
namespace cli {
struct Peak
{
    double angle = 0;    ///< degrees 2-Theta
    double counts = 0;   ///< counts at the top
    double relative = 0; ///< height above the background in percent of the highest peak's
};

/// The `most` strongest peaks, strongest first. `angles` in degrees 2-Theta with an even step; as many as counts.
QList<Peak> findPeaks(const QVector<double>& angles, const QVector<double>& counts, qsizetype most);
} // namespace cli
