// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Devices.h"

namespace lab {

namespace {

std::unique_ptr<Device> makeGoniometer(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const DeviceOptions& options)
{
    return std::make_unique<GoniometerController>(laboratory, std::move(faults), trace, options.goniometer);
}

} // namespace

const std::vector<DeviceEntry>& deviceTable()
{
    static const std::vector<DeviceEntry> table{
        {"smc", "smc-line", "smc", 0, "9600,N,8,1", {9600, 10}, makeGoniometer},
    };
    return table;
}

} // namespace lab
