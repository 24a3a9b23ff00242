// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "LaserController.h"

#include "CommandText.h"

#include <utility>

namespace lab {

namespace {

constexpr std::size_t longestLine = 255;
constexpr double heatCapacity = 0.08; // J/K, sample and capillary
constexpr double loss = heatCapacity / LaserController::timeConstant;

const ThermalBody heatedSample{[](double) { return heatCapacity; },
                               [](double temperature) { return loss * (temperature - roomTemperature); }, 0.2, 0.0};

} // namespace

LaserController::LaserController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace)
    : Device(laboratory, "Laser", std::move(faults), trace),
      sample_(heatedSample, roomTemperature, laboratory.now(), [this](double) { return beam_ ? current_ * kelvinPerAmpere * loss : 0.0; })
{
    laboratory.setSampleTemperature([this](Time time) { return sample_.sample(time); });
}

double LaserController::celsius()
{
    return sample_.sample(laboratory().now()) - 273.15;
}

void LaserController::takeByte(char byte)
{
    if (byte != '\r') {
        if (byte != '\n' && partial_.size() < longestLine)
            partial_ += byte;
        return;
    }
    const std::string line = std::exchange(partial_, {});
    if (trimmed(line).empty())
        return;
    if (commandReceived(trimmed(line)))
        reply(laboratory().now(), answerTo(trimmed(line)) + "\r\n");
}

std::string LaserController::answerTo(std::string_view text)
{
    std::vector<std::string_view> words = split(text, ' ');
    std::erase_if(words, [](std::string_view word) { return word.empty(); });
    if (faults().active(FaultKind::errorAnswer)) {
        remark("refused: " + std::string(text));
        return ":error";
    }
    if (words.size() == 3 && words[0] == ":w" && write(words[1], numberOf(words[2])))
        return ":ok";
    if (words.size() == 2 && words[0] == ":r" && words[1] == "12")
        return beam_ != readsBackWrong() ? ":1" : ":0";
    if (words.size() == 2 && words[0] == ":r" && words[1] == "30")
        return formatted(":%.4f", readBack(current_));
    remark("not understood, or beyond the limits: " + std::string(text));
    return ":error";
}

bool LaserController::write(std::string_view reg, double value)
{
    if (reg == "12" && (value == 0.0 || value == 1.0)) {
        beam_ = value == 1.0;
        return true;
    }
    if (reg == "30" && value >= 0.0 && value <= highestCurrent) {
        current_ = value;
        return true;
    }
    return false;
}

void LaserController::powerCycle()
{
    partial_.clear();
    beam_ = false;
    current_ = 0.0;
}

} // namespace lab
