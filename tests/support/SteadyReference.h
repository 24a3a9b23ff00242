// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <cmath>
#include <vector>

/// When a temperature counts as reached, worked out from the formulas alone: nothing here comes from the program.
struct SteadyLimits
{
    int minQueries = 10;
    float large = 5;
    float small = 1;
    float verySmall = 0.25F;
};

struct SteadyReference
{
    int readings = -1; ///< needed until it is steady; -1: the series does not settle
    float mean = 0;
    float scatter = 100;
};

/// x to three decimals in single precision, ties to even.
inline float toThreeDecimals(float x)
{
    return std::nearbyint(x * 1000.0F) / 1000.0F;
}

inline SteadyReference steadyReference(const std::vector<float>& series, float setpoint, const SteadyLimits& limits = {})
{
    float sum = 0, mean = 0, q = 0, s = 100, n = 1;
    for (std::size_t k = 0; k <= series.size(); ++k) {
        const bool near = mean > setpoint - limits.small && mean < setpoint + limits.small;
        if (s <= limits.verySmall && near && n > static_cast<float>(limits.minQueries))
            return {static_cast<int>(k), mean, s};
        if (k == series.size())
            break;
        const float t = series[k];
        if (std::fabs(t - setpoint) <= limits.large) {
            sum += t;
            mean = sum / n;
            if (n >= 2) {
                const float difference = mean - t;
                q += difference * difference;
                s = std::sqrt(q / ((n - 1) * n));
            }
            n += 1;
        }
        mean = toThreeDecimals(mean);
        s = toThreeDecimals(s);
        q = toThreeDecimals(q);
    }
    return {-1, mean, s};
}
