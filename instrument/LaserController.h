// SPDX-License-Identifier: GPL-3.0-or-later
//
// The controller of the laser heater, and the sample that the beam heats.
//
// A line ends with CR; line feeds are passed over. ":w REGISTER VALUE" writes a register and is answered ":ok", ":r REGISTER" answers ":"
// and the value; what can't be done is answered ":error". An answer ends with CR LF. Register 12 is the beam (1 on, 0 off), register 30 the
// current in ampere.
#pragma once

#include "Device.h"
#include "ThermalModel.h"

namespace lab {

class LaserController final : public Device
{
public:
    LaserController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace);

    static constexpr double highestCurrent = 3.0;    ///< A
    static constexpr double kelvinPerAmpere = 500.0; ///< above the room
    static constexpr double timeConstant = 8.0;      ///< seconds in which the sample gets there
    double celsius();

protected:
    void takeByte(char byte) override;
    void advance() override { sample_.advanceTo(laboratory().now()); }
    void powerCycle() override;

private:
    std::string answerTo(std::string_view text);
    bool write(std::string_view reg, double value);

    bool beam_ = false;
    double current_ = 0.0;
    std::string partial_;
    ThermalModel sample_;
};

} // namespace lab
