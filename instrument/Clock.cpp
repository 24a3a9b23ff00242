// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Clock.h"

#include <cmath>

namespace lab {

Time fromSeconds(double seconds)
{
    return Time(static_cast<Time::rep>(std::llround(seconds * 1e9)));
}

double toSeconds(Time time)
{
    return static_cast<double>(time.count()) * 1e-9;
}

RunningClock::RunningClock(double speed) : start_(std::chrono::steady_clock::now()), speed_(speed) {}

Time RunningClock::now() const
{
    const Time onTheWall = std::chrono::steady_clock::now() - start_;
    return skipped_ + Time(static_cast<Time::rep>(static_cast<double>(onTheWall.count()) * speed_));
}

} // namespace lab
