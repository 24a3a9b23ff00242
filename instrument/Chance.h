// SPDX-License-Identifier: GPL-3.0-or-later
//
// Random numbers that are the same on every system for the same seed.
#pragma once

#include <cstdint>

namespace lab {

class Chance
{
public:
    explicit Chance(std::uint64_t seed) : state_(seed) {}
    /// The next 64 random bits.
    std::uint64_t bits();
    /// Evenly distributed, 0 <= x < 1.
    double uniform();
    /// A count with the Poisson distribution of the given mean (0 for a mean of 0 or less).
    std::int64_t poisson(double mean);

private:
    std::uint64_t state_;
};

} // namespace lab
