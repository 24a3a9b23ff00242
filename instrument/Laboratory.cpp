// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Laboratory.h"

#include <algorithm>
#include <cmath>

namespace lab {

double Ramp::at(Time time) const
{
    const double way = rate_ * std::max(0.0, toSeconds(time - start_));
    return from_ + std::clamp(to_ - from_, -way, way);
}

void Ramp::moveTo(Time now, double target, double rate)
{
    from_ = at(now);
    to_ = target;
    start_ = now;
    rate_ = rate;
}

Laboratory::Laboratory(const Clock& clock, const Sample& sample, std::uint64_t seed) : clock_(clock), sample_(sample), chance_(seed) {}

void Laboratory::changeBeam(const std::function<void(Beam&)>& change)
{
    for (const auto& catchUp : catchUps_)
        catchUp();
    change(beam_);
}

double Laboratory::countRate(double twoTheta, Time time)
{
    const double factor = beamFactor(time);
    if (factor <= 0.0)
        return darkRate;
    return darkRate + factor * patternAt(sampleTemperature(time)).rate(twoTheta);
}

// 1 at 40 kV and 30 mA; nothing below the excitation of the copper K shell.
double Laboratory::beamFactor(Time time) const
{
    constexpr double excitation = 8.98;
    if (!beam_.controlled)
        return 1.0;
    const double current = beam_.current.at(time);
    const double voltage = beam_.voltage.at(time);
    if (!beam_.shutterOpen || voltage <= excitation || current <= 0.0)
        return 0.0;
    return current / 30.0 * std::pow((voltage - excitation) / (40.0 - excitation), 1.63);
}

const Pattern& Laboratory::patternAt(double temperature)
{
    const double rounded = std::round(temperature * 2.0) / 2.0;
    if (!pattern_ || rounded != patternTemperature_) {
        pattern_ = std::make_unique<Pattern>(sample_, rounded);
        patternTemperature_ = rounded;
    }
    return *pattern_;
}

} // namespace lab
