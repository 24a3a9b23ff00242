// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "XRayGenerator.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <utility>

namespace lab {

namespace {

constexpr std::size_t longestCommand = 255;

std::string replyLine(double value, int decimals)
{
    char text[32];
    std::snprintf(text, sizeof text, "*%010.*f\r", decimals, value);
    return text;
}

} // namespace

XRayGenerator::XRayGenerator(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace)
    : Device(laboratory, "Generator", std::move(faults), trace)
{
    laboratory.changeBeam([](Beam& beam) { beam.controlled = true; });
}

void XRayGenerator::takeByte(char byte)
{
    if (byte == '\r')
        command(std::exchange(partial_, {}));
    else if (byte != '\n' && partial_.size() < longestCommand)
        partial_ += byte;
}

void XRayGenerator::command(std::string_view text)
{
    if (text.empty())
        return;
    if (!commandReceived(text))
        return;
    if (!query(text) && !setting(text))
        remark("passed over: " + std::string(text));
}

bool XRayGenerator::query(std::string_view text)
{
    if (text == "CA")
        reply(laboratory().now(), replyLine(std::round(readBack(current()) * 1000.0), 0));
    else if (text == "VN")
        reply(laboratory().now(), replyLine(std::round(readBack(voltage()) * 1000.0), 0));
    else if (text == "SR:14")
        reply(laboratory().now(), replyLine(leastFlow, 1));
    else if (text == "SR:15")
        reply(laboratory().now(), replyLine(flow(), 1));
    else
        return false;
    return true;
}

bool XRayGenerator::setting(std::string_view text)
{
    const bool isCurrent = text.starts_with("SC:");
    if (!isCurrent && !text.starts_with("SV:"))
        return false;
    double value = 0.0;
    const auto result = std::from_chars(text.data() + 3, text.data() + text.size(), value, std::chars_format::fixed);
    if (result.ec != std::errc() || result.ptr != text.data() + text.size())
        return false;
    const Beam& beam = laboratory().beam();
    const double other = isCurrent ? beam.voltage.target() : beam.current.target();
    if (!(value >= 0.0 && value <= (isCurrent ? highestCurrent : highestVoltage) && value * other <= highestPower)) {
        remark("refused, beyond the generator's limits: " + std::string(text));
        return true;
    }
    const Time now = laboratory().now();
    laboratory().changeBeam([&](Beam& changed) {
        if (isCurrent)
            changed.current.moveTo(now, value, currentRate);
        else
            changed.voltage.moveTo(now, value, voltageRate);
    });
    return true;
}

// The pump's flow is never quite even.
double XRayGenerator::flow() const
{
    return 4.2 + 0.15 * std::sin(2.0 * std::numbers::pi * toSeconds(laboratory().now()) / 97.0);
}

// High voltage does not come back by itself.
void XRayGenerator::powerCycle()
{
    partial_.clear();
    laboratory().changeBeam([](Beam& beam) { beam.current = beam.voltage = 0.0; });
}

} // namespace lab
