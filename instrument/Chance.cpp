// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Chance.h"

#include <cmath>

namespace lab {

std::uint64_t Chance::bits()
{
    // splitmix64
    state_ += 0x9e3779b97f4a7c15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xbf58476d1ce4e5b9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94d049bb133111ebU;
    return mixed ^ (mixed >> 31U);
}

double Chance::uniform()
{
    return static_cast<double>(bits() >> 11U) * 0x1p-53;
}

namespace {

std::int64_t smallPoisson(Chance& chance, double mean)
{
    const double limit = std::exp(-mean);
    double product = chance.uniform();
    std::int64_t count = 0;
    while (product > limit) {
        product *= chance.uniform();
        ++count;
    }
    return count;
}

// Transformed rejection with a table mountain hat, for means from 10 upward.
std::int64_t largePoisson(Chance& chance, double mean)
{
    const double root = std::sqrt(mean);
    const double b = 0.931 + 2.53 * root;
    const double a = -0.059 + 0.02483 * b;
    const double inverseAlpha = 1.1239 + 1.1328 / (b - 3.4);
    const double surelyInside = 0.9277 - 3.6224 / (b - 2.0);
    for (;;) {
        const double u = chance.uniform() - 0.5;
        const double v = chance.uniform();
        const double us = 0.5 - std::fabs(u);
        const double k = std::floor((2.0 * a / us + b) * u + mean + 0.43);
        if (us >= 0.07 && v <= surelyInside)
            return static_cast<std::int64_t>(k);
        if (k < 0.0 || (us < 0.013 && v > us))
            continue;
        if (std::log(v * inverseAlpha / (a / (us * us) + b)) <= k * std::log(mean) - mean - std::lgamma(k + 1.0))
            return static_cast<std::int64_t>(k);
    }
}

} // namespace

std::int64_t Chance::poisson(double mean)
{
    if (!(mean > 0.0))
        return 0;
    return mean < 10.0 ? smallPoisson(*this, mean) : largePoisson(*this, mean);
}

} // namespace lab
