// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the devices have in common: the time, the beam, the sample in it and how warm that is.
#pragma once

#include "Chance.h"
#include "Clock.h"
#include "Powder.h"

#include <functional>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

namespace lab {

/// A value that goes to where it is sent at an even rate.
class Ramp
{
public:
    Ramp(double value) : from_(value), to_(value) {}
    double at(Time time) const;
    double target() const { return to_; }
    /// From where it stands at `now` towards `target`, by `rate` per second.
    void moveTo(Time now, double target, double rate);

private:
    double from_;
    double to_;
    Time start_{0};
    double rate_ = 1.0;
};

/// The tube and its shutter. Until a device that controls them is played the beam is always on.
struct Beam
{
    Ramp current = 30.0;      ///< mA
    Ramp voltage = 40.0;      ///< kV
    bool shutterOpen = false; ///< the controller's shutter output
    bool controlled = false;  ///< a generator is played: tube and shutter decide whether there is a beam
};

class Laboratory
{
public:
    Laboratory(const Clock& clock, const Sample& sample, std::uint64_t seed);

    const Clock& clock() const { return clock_; }
    Time now() const { return clock_.now(); }
    const Sample& sample() const { return sample_; }
    Chance& chance() { return chance_; }

    const Beam& beam() const { return beam_; }
    /// Changes the beam. Devices that have not looked at the clock for a while are first brought up to the present.
    void changeBeam(const std::function<void(Beam&)>& change);
    /// `catchUp` is called before anything common changes.
    void beforeChange(std::function<void()> catchUp) { catchUps_.push_back(std::move(catchUp)); }

    /// Who knows how warm the sample is at a time, in kelvin; without one it has room temperature.
    void setSampleTemperature(std::function<double(Time)> temperature) { temperature_ = std::move(temperature); }
    double sampleTemperature(Time time) const { return temperature_ ? temperature_(time) : roomTemperature; }

    /// Expected counts per second in a detector at `twoTheta` degrees at `time`.
    double countRate(double twoTheta, Time time);

private:
    double beamFactor(Time time) const;
    const Pattern& patternAt(double temperature);

    const Clock& clock_;
    const Sample& sample_;
    Chance chance_;
    Beam beam_;
    std::function<double(Time)> temperature_;
    std::vector<std::function<void()>> catchUps_;
    std::unique_ptr<Pattern> pattern_;
    double patternTemperature_ = 0.0;
};

/// Counts per second of the detector without any beam.
inline constexpr double darkRate = 0.4;

} // namespace lab
