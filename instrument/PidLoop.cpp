// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "PidLoop.h"

#include <algorithm>

namespace lab {

void PidLoop::setSetpoint(double target, double from)
{
    target_ = target;
    working_ = ramp > 0.0 ? from : target;
}

// Moves the setpoint along its ramp and smooths the slope of the temperature.
void PidLoop::follow(double temperature, double seconds)
{
    const double way = ramp * seconds;
    working_ = ramp > 0.0 ? working_ + std::clamp(target_ - working_, -way, way) : target_;
    const double smoothing = std::max(0.5, derivativeSeconds / 4.0);
    if (started_)
        slope_ += ((temperature - last_) / seconds - slope_) * seconds / (smoothing + seconds);
    last_ = temperature;
    started_ = true;
}

double PidLoop::step(double temperature, double seconds)
{
    follow(temperature, seconds);
    const double error = working_ - temperature;
    const double sum = gain * (error - derivativeSeconds * slope_) + integral_;
    const double growth = integralSeconds > 0.0 ? gain * error * seconds / integralSeconds : 0.0;
    const bool stuck = (sum >= 1.0 && growth > 0.0) || (sum <= 0.0 && growth < 0.0);
    if (integralSeconds <= 0.0)
        integral_ = 0.0;
    else if (!stuck)
        integral_ = std::clamp(integral_ + growth, 0.0, 1.0);
    return std::clamp(sum, 0.0, 1.0);
}

void PidLoop::idle(double temperature, double seconds)
{
    follow(temperature, seconds);
    integral_ = 0.0;
}

} // namespace lab
