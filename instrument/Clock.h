// SPDX-License-Identifier: GPL-3.0-or-later
//
// The laboratory's time: nanoseconds since the start, on a clock that may run faster than the one on the wall.
#pragma once

#include <chrono>

namespace lab {

using Time = std::chrono::nanoseconds;

/// `seconds` as a Time, rounded to the nanosecond.
Time fromSeconds(double seconds);
double toSeconds(Time time);

class Clock
{
public:
    virtual ~Clock() = default;
    /// Laboratory time since the start.
    virtual Time now() const = 0;
    /// Laboratory seconds per second on the wall.
    virtual double speed() const = 0;
    /// Lets `time` pass at once.
    virtual void skip(Time time) = 0;
    /// What lasts `seconds` on the wall, in laboratory time.
    Time onTheWall(double seconds) const { return fromSeconds(seconds * speed()); }
};

/// The steady clock of the machine, `speed` times as fast.
class RunningClock final : public Clock
{
public:
    explicit RunningClock(double speed);
    Time now() const override;
    double speed() const override { return speed_; }
    void skip(Time time) override { skipped_ += time; }

private:
    std::chrono::steady_clock::time_point start_;
    double speed_;
    Time skipped_{0};
};

/// A clock that stands still until it is told otherwise.
class ManualClock final : public Clock
{
public:
    Time now() const override { return now_; }
    double speed() const override { return speed_; }
    void skip(Time time) override { now_ += time; }
    void advance(double seconds) { skip(fromSeconds(seconds)); }
    void set(Time now) { now_ = now; }
    void setSpeed(double speed) { speed_ = speed; }

private:
    Time now_{0};
    double speed_ = 1.0;
};

} // namespace lab
