// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "ThermalModel.h"

#include "Powder.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace lab {

namespace {

constexpr std::size_t rememberedSteps = 72'000;
constexpr double lowestTemperature = 0.5;

} // namespace

ThermalModel::ThermalModel(const ThermalBody& body, double temperature, Time start, Heater heater)
    : body_(body),
      start_(start),
      heater_(std::move(heater)),
      sampleShare_(1.0 - std::exp(-stepSeconds / body.sampleSeconds)),
      past_{{temperature, temperature}}
{
}

void ThermalModel::advanceTo(Time time)
{
    for (const long wanted = stepAt(time); last_ < wanted; ++last_) {
        const Point now = past_.back();
        const double heat = heater_(now.stage) - body_.heatLoss(now.stage);
        const double stage = std::max(lowestTemperature, now.stage + heat * stepSeconds / body_.heatCapacity(now.stage));
        const double reached = stage + body_.sampleLeak * (roomTemperature - stage);
        past_.push_back({stage, now.sample + (reached - now.sample) * sampleShare_});
        if (past_.size() > rememberedSteps)
            past_.pop_front();
    }
}

const ThermalModel::Point& ThermalModel::at(Time time)
{
    advanceTo(time);
    const long oldest = last_ - static_cast<long>(past_.size()) + 1;
    return past_[static_cast<std::size_t>(std::max(stepAt(time), oldest) - oldest)];
}

} // namespace lab
