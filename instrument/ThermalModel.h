// SPDX-License-Identifier: GPL-3.0-or-later
//
// A heated stage with a sample on it. The heat is followed in steps at fixed times of the laboratory's clock, so what comes out does not
// depend on when somebody looks.
#pragma once

#include "Clock.h"

#include <deque>
#include <functional>

namespace lab {

/// The constants of stage and sample. Temperatures in kelvin.
struct ThermalBody
{
    double (*heatCapacity)(double temperature); ///< of the stage, J/K
    double (*heatLoss)(double temperature);     ///< what the stage loses, W
    double sampleSeconds;                       ///< time constant of the sample's way to the stage's temperature
    double sampleLeak;                          ///< share of the room's temperature in what the sample comes to
};

class ThermalModel
{
public:
    /// Heat in watt for one step, given the stage's temperature at its begin; called once for every step, in order.
    using Heater = std::function<double(double temperature)>;

    ThermalModel(const ThermalBody& body, double temperature, Time start, Heater heater);

    static constexpr Time step = std::chrono::milliseconds(50);
    static constexpr double stepSeconds = 0.05;

    /// Follows the heat up to `time`.
    void advanceTo(Time time);
    /// Temperatures in kelvin at `time`: at most an hour back, and followed up to there when that has not been done yet.
    double stage(Time time) { return at(time).stage; }
    double sample(Time time) { return at(time).sample; }
    /// The number of the last step before `time`.
    long stepAt(Time time) const { return static_cast<long>((time - start_) / step); }

private:
    struct Point
    {
        double stage;
        double sample;
    };
    const Point& at(Time time);

    ThermalBody body_;
    Time start_;
    Heater heater_;
    double sampleShare_;
    std::deque<Point> past_;
    long last_ = 0; ///< number of the last point in past_
};

} // namespace lab
