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

std::unique_ptr<Device> makeLowTemperature(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace,
                                           const DeviceOptions& options)
{
    return std::make_unique<LakeShoreController>(laboratory, std::move(faults), trace, *options.lowTemperature, options.regulatesAt);
}

const LakeShoreEntry& lowTemperatureEntry(const DeviceOptions& options)
{
    return lakeShoreEntry(options.lowTemperature.value_or(LakeShoreModel::ls331));
}

Values lowTemperatureValues(const DeviceOptions& options)
{
    const LakeShoreEntry& entry = lowTemperatureEntry(options);
    // the program waits before and after each command
    return {{Use::enables, "LTC", "LTC", "1"},
            {Use::always, "LTC", "Model", std::string(entry.iniModel)},
            {Use::always, "LTC", "Settings", std::string(entry.settings)},
            {Use::fresh, "LTC", "TxDelay", entry.secondsPerLine >= 0.5 ? "0.25" : "0.03"},
            {Use::fresh, "LTC", "RxDelay", "0.03"}};
}

// The setpoint up to which a line holds, heater range, P, I and D.
std::optional<DeviceFile> lowTemperatureFile(const DeviceOptions& options)
{
    switch (lowTemperatureEntry(options).model) {
    case LakeShoreModel::drc91:
        return DeviceFile{"drc91.pid", "4=R4P40I10D15\n15=R5P10I10D05\n28=R5P10I07D04\n35=R5P30I03D15\n55=R5P30I01D10\n75=R5P35I01D10\n"
                                       "300=R5P40I01D10\n"};
    case LakeShoreModel::drc81:
        return DeviceFile{"drc81.pid", "4=R3P40I10D15\n15=R4P10I10D05\n28=R4P10I07D04\n35=R4P30I03D15\n55=R4P30I01D10\n75=R4P35I01D10\n"
                                       "300=R4P40I01D10\n"};
    case LakeShoreModel::ls330:
        return DeviceFile{"ls330.pid", "25=R2P25I500D0\n300=R3P300I50D0\n"};
    case LakeShoreModel::ls331:
    case LakeShoreModel::ls331Emulating330:
        break;
    }
    return DeviceFile{"ls331.pid", "25=R2P25I500D0\n300=R3P300I50D0\n"};
}

std::unique_ptr<Device> makeHighTemperature(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const DeviceOptions&)
{
    return std::make_unique<HighTemperatureController>(laboratory, std::move(faults), trace);
}

Values highTemperatureValues(const DeviceOptions&)
{
    return {{Use::enables, "HTC", "HTC", "1"},
            {Use::always, "LTC", "Settings", "9600,n,8,1"},
            {Use::fresh, "LTC", "TxDelay", "0.03"},
            {Use::fresh, "LTC", "RxDelay", "0.03"}};
}

std::optional<DeviceFile> highTemperatureFile(const DeviceOptions&)
{
    return DeviceFile{"htc.pid", "900=P71I8D2\n"};
}

std::unique_ptr<Device> makeLaser(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const DeviceOptions&)
{
    return std::make_unique<LaserController>(laboratory, std::move(faults), trace);
}

Values laserValues(const DeviceOptions&)
{
    // current = offset + factor * temperature, as the played laser heats
    return {{Use::enables, "Laser", "Laser", "1"},
            {Use::always, "LTC", "Settings", "9600,n,8,1"},
            {Use::fresh, "LTC", "TxDelay", "0.03"},
            {Use::fresh, "LTC", "RxDelay", "0.03"},
            {Use::fresh, "Laser", "CurrentOffset", "-0.0497"},
            {Use::fresh, "Laser", "CurrentPerDegree", "0.002"}};
}

std::optional<DeviceFile> noFile(const DeviceOptions&)
{
    return std::nullopt;
}

} // namespace

const std::vector<DeviceEntry>& deviceTable()
{
    static const std::vector<DeviceEntry> table{
        {"smc", "smc-line", "smc", 0, [](const DeviceOptions&) { return true; }, [](const DeviceOptions&) { return ordinaryLine; },
         goniometerValues, noFile, makeGoniometer},
        {"generator", "generator-line", "Generator", 1, [](const DeviceOptions& options) { return options.generator; },
         [](const DeviceOptions&) { return ordinaryLine; }, generatorValues, noFile, makeGenerator},
        {"ltc", "ltc-line", "LTC", 2, [](const DeviceOptions& options) { return options.lowTemperature.has_value(); },
         [](const DeviceOptions& options) {
             return LineSettings{lowTemperatureEntry(options).baud, 10};
         },
         lowTemperatureValues, lowTemperatureFile, makeLowTemperature},
        {"htc", "htc-line", "LTC", 2, [](const DeviceOptions& options) { return options.highTemperature; },
         [](const DeviceOptions&) { return ordinaryLine; }, highTemperatureValues, highTemperatureFile, makeHighTemperature},
        {"laser", "laser-line", "LTC", 2, [](const DeviceOptions& options) { return options.laser; },
         [](const DeviceOptions&) { return ordinaryLine; }, laserValues, noFile, makeLaser},
    };
    return table;
}

} // namespace lab
