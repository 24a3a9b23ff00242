// SPDX-License-Identifier: GPL-3.0-or-later
//
// The record of what went over the lines: one line of text for every command, answer and remark.
#pragma once

#include "Clock.h"

#include <functional>
#include <string>
#include <string_view>

namespace lab {

class Trace
{
public:
    using Sink = std::function<void(const std::string& line)>;
    /// Without a sink nothing is recorded.
    void setSink(Sink sink) { sink_ = std::move(sink); }
    void received(Time time, std::string_view device, std::string_view bytes) const { write(time, device, "<-", bytes); }
    void sent(Time time, std::string_view device, std::string_view bytes) const { write(time, device, "->", bytes); }
    void remark(Time time, std::string_view device, std::string_view text) const { write(time, device, "--", text); }

private:
    void write(Time time, std::string_view device, std::string_view direction, std::string_view bytes) const;
    Sink sink_;
};

/// `bytes` with everything unprintable written out: CR as <cr>, LF as <lf>, others as <hh>.
std::string visible(std::string_view bytes);

} // namespace lab
