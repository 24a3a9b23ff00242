// SPDX-License-Identifier: GPL-3.0-or-later
//
// The X-ray generator (Seifert 3003): tube current and voltage, cooling water.
//
// A command ends with CR; line feeds are passed over. CA and VN are answered with the actual current in microampere and
// voltage in volt, SR:14 and SR:15 with the least and the actual flow of the cooling water in litres per minute: a lead
// character, ten places filled with zeros, CR. SC:n and SV:n set current (mA) and voltage (kV) and are not answered. A setting beyond
// what the generator can do changes nothing.
//
// The shutter hangs on the goniometer's controller. With a generator the detector sees a beam only through the open shutter.
#pragma once

#include "Device.h"

namespace lab {

class XRayGenerator final : public Device
{
public:
    XRayGenerator(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace);

    static constexpr double highestCurrent = 60.0; ///< mA
    static constexpr double highestVoltage = 60.0; ///< kV
    static constexpr double highestPower = 3000.0; ///< W, mA times kV
    static constexpr double currentRate = 5.0;     ///< mA per second
    static constexpr double voltageRate = 5.0;     ///< kV per second
    static constexpr double leastFlow = 3.5;       ///< litres per minute

    double current() const { return laboratory().beam().current.at(laboratory().now()); }
    double voltage() const { return laboratory().beam().voltage.at(laboratory().now()); }

protected:
    void takeByte(char byte) override;
    void advance() override {}
    void powerCycle() override;

private:
    void command(std::string_view text);
    bool query(std::string_view text);
    bool setting(std::string_view text);
    double flow() const;

    std::string partial_;
};

} // namespace lab
