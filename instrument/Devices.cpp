// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Devices.h"

namespace lab {

namespace {

using Use = DeviceValue::Use;
using Values = std::vector<DeviceValue>;

constexpr LineSettings ordinaryLine{9600, 10};

std::unique_ptr<Device> makeGoniometer(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const DeviceOptions& options)
{
    return std::make_unique<GoniometerController>(laboratory, std::move(faults), trace, options.goniometer);
}

Values goniometerValues(const DeviceOptions& options)
{
    return {{Use::fresh, "General", "GoniometerType", options.goniometer.axes == 2 ? "Theta-2-Theta" : "Guinier"},
            {Use::fresh, "smc", "Settings", "9600,N,8,1"}};
}

std::unique_ptr<Device> makeGenerator(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const DeviceOptions&)
{
    return std::make_unique<XRayGenerator>(laboratory, std::move(faults), trace);
}

Values generatorValues(const DeviceOptions&)
{
    return {{Use::enables, "Generator", "Remote", "1"},     {Use::enables, "Generator", "Shutter", "1"},
            {Use::always, "Generator", "Model", "Seifert"}, {Use::fresh, "Generator", "Settings", "9600,n,8,1"},
            {Use::fresh, "Generator", "TxDelay", "0.02"},   {Use::fresh, "Generator", "MaxCurrent", "40"},
            {Use::fresh, "Generator", "MaxVoltage", "45"},  {Use::fresh, "Generator", "GeneratorPowerSettlingTime", "10"}};
}

} // namespace

const std::vector<DeviceEntry>& deviceTable()
{
    static const std::vector<DeviceEntry> table{
        {"smc", "smc-line", "smc", 0, [](const DeviceOptions&) { return true; }, [](const DeviceOptions&) { return ordinaryLine; },
         goniometerValues, makeGoniometer},
        {"generator", "generator-line", "Generator", 1, [](const DeviceOptions& options) { return options.generator; },
         [](const DeviceOptions&) { return ordinaryLine; }, generatorValues, makeGenerator},
    };
    return table;
}

} // namespace lab
