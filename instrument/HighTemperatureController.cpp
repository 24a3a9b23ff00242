// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "HighTemperatureController.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <utility>

namespace lab {

namespace {

constexpr std::size_t longestLine = 255;
constexpr double celsiusZero = 273.15;
constexpr double measuringRange = 1600.0; // K, what the proportional band is a share of
constexpr double heatCapacity = 4.0;      // J/K
constexpr double surroundings = 295.15;   // K; a furnace whose setpoint goes back to 22 degrees gets there

// Through the supports, and by radiation.
double furnaceLoss(double temperature)
{
    constexpr double supports = 0.06;
    constexpr double radiation = 5.67e-8 * 2.6e-4;
    return supports * (temperature - surroundings) + radiation * (std::pow(temperature, 4.0) - std::pow(surroundings, 4.0));
}

const ThermalBody furnace{[](double) { return heatCapacity; }, furnaceLoss, 5.0, 0.005};

// Three characters, the first for the upper bits and the last for four: the device's own way of counting.
std::string packed(int value)
{
    value = std::clamp(value, 0, 32767);
    return {static_cast<char>(value / 1024 + 32), static_cast<char>(value % 1024 / 16 + 32), static_cast<char>(value % 16 + 32)};
}

int unpacked(std::string_view block, std::size_t position)
{
    const auto digit = [&](std::size_t index) { return static_cast<unsigned char>(block[position - 1 + index]) - 32; };
    return digit(0) * 1024 + digit(1) * 16 + digit(2);
}

char packedByte(double value)
{
    return static_cast<char>(std::lround(std::clamp(value, 0.0, 94.0)) + 32); // up to the last printable character
}

std::string checksum(std::string_view block)
{
    const unsigned sum =
        std::accumulate(block.begin(), block.end(), 0U, [](unsigned so, char c) { return so + static_cast<unsigned char>(c); });
    char text[16];
    std::snprintf(text, sizeof text, "%04X", sum & 0xFFFFU);
    return text;
}

} // namespace

HighTemperatureController::HighTemperatureController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace)
    : Device(laboratory, "HTC", std::move(faults), trace),
      furnace_(furnace, roomTemperature, laboratory.now(), [this](double temperature) { return heat(temperature); }),
      loop_(celsiusZero + 20.0)
{
    useParameters();
    laboratory.setSampleTemperature([this](Time time) {
        advance();
        return furnace_.sample(time);
    });
}

double HighTemperatureController::celsius()
{
    advance();
    return furnace_.stage(laboratory().now()) - celsiusZero;
}

double HighTemperatureController::sampleCelsius()
{
    advance();
    return furnace_.sample(laboratory().now()) - celsiusZero;
}

// ---------------------------------------------------------------------------------------------------- control

double HighTemperatureController::heat(double temperature)
{
    if (values_.heater != 0) {
        output_ = loop_.step(temperature, ThermalModel::stepSeconds);
    } else {
        loop_.idle(temperature, ThermalModel::stepSeconds);
        output_ = 0.0;
    }
    return heaterPower();
}

// P is the proportional band in percent of the measuring range, I and D are times.
void HighTemperatureController::useParameters()
{
    loop_.gain = 1.0 / (std::max(0.1, static_cast<double>(values_.p)) / 100.0 * measuringRange);
    loop_.integralSeconds = values_.i;
    loop_.derivativeSeconds = values_.d;
    loop_.ramp = values_.ramp / 60.0;
}

void HighTemperatureController::advance()
{
    const Time now = laboratory().now();
    if (values_.selfOptimizing != 0 && optimized_ <= now) {
        furnace_.advanceTo(optimized_);
        finishOptimizing();
    }
    furnace_.advanceTo(now);
}

// A closed loop of about five seconds.
void HighTemperatureController::finishOptimizing()
{
    const double gain = heatCapacity / (fullPower * 5.0);
    values_.p = static_cast<int>(std::lround(100.0 / (gain * measuringRange)));
    values_.i = 20;
    values_.d = 1;
    values_.selfOptimizing = 0;
    useParameters();
    remark(optimized_, "self-optimising finished");
}

void HighTemperatureController::take(const Values& wanted)
{
    const Values old = values_;
    const Time now = laboratory().now();
    const auto within = [](int value, int highest, int otherwise) { return value >= 0 && value <= highest ? value : otherwise; };
    values_.p = within(wanted.p, 500, old.p);
    values_.i = within(wanted.i, 5000, old.i);
    values_.d = within(wanted.d, 5000, old.d);
    values_.ramp = within(wanted.ramp, 1000, old.ramp);
    values_.heater = wanted.heater != 0 ? 1 : 0;
    if (wanted.lowerLimit >= 0 && wanted.lowerLimit <= wanted.upperLimit && wanted.upperLimit <= static_cast<int>(measuringRange)) {
        values_.lowerLimit = wanted.lowerLimit;
        values_.upperLimit = wanted.upperLimit;
    }
    values_.setpoint = std::clamp(wanted.setpoint, values_.lowerLimit, values_.upperLimit);
    if (values_.setpoint != wanted.setpoint)
        remark("setpoint beyond the limits, taken as " + std::to_string(values_.setpoint));
    useParameters();
    const bool switchedOn = values_.heater != 0 && old.heater == 0;
    if (values_.setpoint != old.setpoint || switchedOn)
        loop_.setSetpoint(values_.setpoint + celsiusZero, old.heater != 0 ? loop_.setpoint() : furnace_.stage(now));
    values_.selfOptimizing = wanted.selfOptimizing != 0 ? 1 : 0;
    if (values_.selfOptimizing != 0 && old.selfOptimizing == 0)
        optimized_ = now + fromSeconds(optimizingSeconds);
}

void HighTemperatureController::powerCycle()
{
    partial_.clear();
    values_.heater = 0;
    values_.selfOptimizing = 0;
}

void HighTemperatureController::switchOff()
{
    heaterBefore_ = values_.heater;
    powerCycle();
}

void HighTemperatureController::switchOn()
{
    Values wanted = values_;
    wanted.heater = heaterBefore_;
    take(wanted);
}

// ------------------------------------------------------------------------------------------------------- lines

void HighTemperatureController::takeByte(char byte)
{
    if (byte != '\r' && byte != '\n') {
        if (partial_.size() < longestLine)
            partial_ += byte;
        return;
    }
    const std::string line = std::exchange(partial_, {});
    if (!line.empty())
        command(line);
}

void HighTemperatureController::command(std::string_view line)
{
    if (!commandReceived(line))
        return;
    if (line == "R001NT?" || line == "R001NF?")
        ask(line[5]);
    else if (line.starts_with("S001  T "))
        write(line.substr(8));
    else
        remark("passed over: " + std::string(line));
}

void HighTemperatureController::ask(char kind)
{
    const Time now = laboratory().now();
    if (faults().active(FaultKind::idleAnswer))
        return reply(now, std::string(16, '@'));
    if (faults().active(FaultKind::wrongLoop))
        return reply(now, "A002N" + std::string(1, kind) + "?\r\n");
    const std::string block = kind == 'T' ? dataBlock() : valueBlock();
    const std::string sum = faults().active(FaultKind::wrongChecksum) ? checksum(block + ' ') : checksum(block);
    reply(now, "A001N" + std::string(1, kind) + " HTC 5218  " + block + sum + "Q\r\n");
}

std::string HighTemperatureController::dataBlock()
{
    std::string block;
    const auto told = [this](int value) { return static_cast<int>(readBack(value)); };
    const int heater = readsBackWrong() ? 1 - values_.heater : values_.heater;
    for (const int value : {static_cast<int>(std::lround(celsius())), told(values_.setpoint), told(values_.p), told(values_.i),
                            told(values_.d), heater, values_.lowerLimit, values_.upperLimit, told(values_.ramp), values_.selfOptimizing})
        block += packed(value);
    block.resize(blockLength, ' ');
    return block;
}

std::string HighTemperatureController::valueBlock()
{
    std::string block = packed(static_cast<int>(std::lround(celsius())));
    block.resize(blockLength, ' ');
    block[60] = packedByte(output_ * 100.0);
    block[64] = packedByte(values_.selfOptimizing != 0 ? 2 : values_.heater);
    return block;
}

void HighTemperatureController::write(std::string_view line)
{
    const std::string_view block = line.substr(0, writtenLength);
    if (line.size() != writtenLength + 5 || line.back() != 'Q' || line.substr(writtenLength, 4) != checksum(block)) {
        remark("block refused: length or checksum is wrong");
        return;
    }
    const bool printable = std::all_of(block.begin(), block.end(), [](char c) { return static_cast<unsigned char>(c) >= 32; });
    if (!printable) {
        remark("block refused: characters below blank");
        return;
    }
    take({.setpoint = unpacked(block, 4),
          .p = unpacked(block, 7),
          .i = unpacked(block, 10),
          .d = unpacked(block, 13),
          .heater = unpacked(block, 16),
          .lowerLimit = unpacked(block, 19),
          .upperLimit = unpacked(block, 22),
          .ramp = unpacked(block, 25),
          .selfOptimizing = unpacked(block, 28)});
}

} // namespace lab
