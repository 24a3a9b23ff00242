// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/PeakSearch.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double neighbourhood = 0.15; // degrees: one peak within
constexpr double backgroundReach = 1;  // degrees on either side
constexpr double significance = 4;     // standard deviations

QVector<double> smoothed(const QVector<double>& counts)
{
    QVector<double> smooth = counts;
    for (qsizetype i = 2; i + 2 < counts.size(); ++i)
        smooth[i] = (-3 * counts[i - 2] + 12 * counts[i - 1] + 17 * counts[i] + 12 * counts[i + 1] - 3 * counts[i + 2]) / 35;
    return smooth;
}

bool isHighest(const QVector<double>& smooth, qsizetype at, qsizetype reach)
{
    const qsizetype first = std::max<qsizetype>(at - reach, 0);
    const qsizetype last = std::min(at + reach, smooth.size() - 1);
    for (qsizetype i = first; i <= last; ++i) {
        if (smooth[i] > smooth[at] || (smooth[i] == smooth[at] && i < at)) // of equal ones the first
            return false;
    }
    return true;
}

double backgroundAt(const QVector<double>& smooth, qsizetype at, qsizetype reach)
{
    const qsizetype first = std::max<qsizetype>(at - reach, 0);
    const qsizetype last = std::min(at + reach, smooth.size() - 1);
    QVector<double> around = smooth.mid(first, last - first + 1);
    const auto quartile = around.begin() + around.size() / 4;
    std::nth_element(around.begin(), quartile, around.end());
    return std::max(*quartile, 0.0);
}

double vertex(const QVector<double>& smooth, qsizetype at, double step)
{
    const double left = smooth[at - 1];
    const double right = smooth[at + 1];
    const double curvature = left - 2 * smooth[at] + right;
    return curvature < 0 ? (left - right) / (2 * curvature) * step : 0;
}
} // namespace

QList<cli::Peak> cli::findPeaks(const QVector<double>& angles, const QVector<double>& counts, qsizetype most)
{
    QList<Peak> peaks;
    if (counts.size() < 3 || angles.size() != counts.size())
        return peaks;
    const double step = angles[1] - angles[0];
    if (!(step > 0))
        return peaks;
    const auto points = [step](double degrees) { return std::max<qsizetype>(static_cast<qsizetype>(std::lround(degrees / step)), 1); };
    const QVector<double> smooth = smoothed(counts);
    for (qsizetype i = 1; i + 1 < smooth.size(); ++i) {
        if (!isHighest(smooth, i, points(neighbourhood)))
            continue;
        const double background = backgroundAt(smooth, i, points(backgroundReach));
        const double height = smooth[i] - background;
        if (height > significance * std::sqrt(std::max(background, 1.0)))
            peaks.append({.angle = angles[i] + vertex(smooth, i, step),
                          .counts = std::max({counts[i - 1], counts[i], counts[i + 1]}),
                          .relative = height});
    }
    std::sort(peaks.begin(), peaks.end(), [](const Peak& a, const Peak& b) { return a.relative > b.relative; });
    const double highest = peaks.isEmpty() ? 1 : peaks.first().relative;
    for (Peak& peak : peaks)
        peak.relative *= 100 / highest;
    return peaks.mid(0, most);
}
