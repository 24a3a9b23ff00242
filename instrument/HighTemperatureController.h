// SPDX-License-Identifier: GPL-3.0-or-later
//
// The high-temperature controller (HTC 5218) with a furnace behind it. It hands out whole blocks of values and takes them back.
//
// A line ends with CR, LF or both. "R001NT?" asks for the data block, "R001NF?" for the value block. An answer has 116 characters, the line
// end included: 17 of a head, 92 of the block, four digits of its checksum, "Q", CR LF. "S001  T " + 54 characters + checksum + "Q" writes
// the begin of the data block and is not answered; with a wrong checksum nothing changes. The checksum is the sum of the character codes,
// four hexadecimal digits.
//
// Values are packed into characters from blank on: whole degrees Celsius, percent, seconds.
#pragma once

#include "Device.h"
#include "PidLoop.h"
#include "ThermalModel.h"

namespace lab {

class HighTemperatureController final : public Device
{
public:
    HighTemperatureController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace);

    static constexpr std::size_t answerLength = 116;
    static constexpr std::size_t headLength = 17;
    static constexpr std::size_t blockLength = 92;
    static constexpr std::size_t writtenLength = 54;
    static constexpr double fullPower = 300.0;       ///< W
    static constexpr double optimizingSeconds = 120; ///< until self-optimising has come to a result

    double celsius();
    double sampleCelsius();
    double heaterPower() const { return output_ * fullPower; } ///< W

protected:
    void takeByte(char byte) override;
    void advance() override;
    void powerCycle() override;
    void switchOff() override;
    void switchOn() override;

private:
    /// What stands in the data block, in the order of the block.
    struct Values
    {
        int setpoint = 20;
        int p = 71, i = 8, d = 2;
        int heater = 0;
        int lowerLimit = 20, upperLimit = 1500;
        int ramp = 0; ///< K per minute
        int selfOptimizing = 0;
    };
    void command(std::string_view line);
    void ask(char kind);
    void write(std::string_view line);
    std::string dataBlock();
    std::string valueBlock();
    void take(const Values& wanted);
    void finishOptimizing();
    void useParameters();
    double heat(double temperature);

    ThermalModel furnace_;
    PidLoop loop_;
    Values values_;
    int heaterBefore_ = 0; ///< when it was switched off
    std::string partial_;
    Time optimized_{0};
    double output_ = 0.0;
};

} // namespace lab
