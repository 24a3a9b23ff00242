// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/Controller.h"

#include "core/Flags.h"
#include "core/NumberText.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr double assumedRate = 5;      // K/min, for the estimate of a change without a ramp
constexpr double assumedSettling = 60; // s

/// Stands in while no controller is in use, so that profiles can be written all the same.
Temperature::Controller nobody()
{
    Temperature::Controller row = modLTC::controller();
    row.name = row.fullName = u"no temperature controller"_s;
    row.enabled = []() -> bool& {
        static bool never = false;
        never = false;
        return never;
    };
    row.menu.reset();
    row.table = {};
    row.scale = [] {
        Temperature::Scale scale = modLTC::controller().scale();
        scale.filePattern = u"xxxx"_s;
        return scale;
    };
    row.startsAt = Temperature::roomTemperature;
    row.readSettings = row.readLimits = nullptr;
    row.onSerialLine = row.initializeBus = row.isThere = nullptr;
    row.set = [](double, double) -> qint16 { return -1; };
    row.wayBack = [] { return Temperature::WayBack(); };
    return row;
}

/// A menu whose entries follow another flag would offer a controller that is not there.
bool menuFollows(const Temperature::Controller& controller)
{
    bool Flags::*device = Menu::item(*controller.menu).device;
    return device != nullptr && controller.enabled != nullptr && &(flags().*device) == &controller.enabled();
}
} // namespace

namespace Temperature {
QString Scale::smallestStepText() const
{
    return NumberText::Fixed(smallestStep, fileDecimals);
}

QString Scale::fileValue(double value) const
{
    return NumberText::Fixed(value, fileDecimals).rightJustified(fileDigits, u'0');
}

State::State() : controllers{modHTC::controller(), modHTC_Laser::controller(), modLTC::controller()} {}

State& state()
{
    static State theState;
    return theState;
}

QList<Controller>& controllers()
{
    return state().controllers;
}

const Controller& active()
{
    static const Controller none = nobody();
    for (const Controller& controller : std::as_const(controllers()))
        if (controller.inUse())
            return controller;
    return none;
}

bool anyInUse()
{
    const QList<Controller>& rows = controllers();
    return std::any_of(rows.begin(), rows.end(), [](const Controller& row) { return row.inUse(); });
}

Controller* named(const QString& name)
{
    for (Controller& controller : controllers())
        if (controller.name == name)
            return &controller;
    return nullptr;
}

QStringList lacking(const Controller& row)
{
    const Table& table = row.table;
    const bool anyTable = table.fileName != nullptr || table.load != nullptr || table.look != nullptr || table.save != nullptr;
    const bool wholeTable = table.fileName != nullptr && table.load != nullptr && table.look != nullptr && table.save != nullptr;
    const std::pair<const char*, bool> members[] = {{"name", !row.name.isEmpty()},
                                                    {"fullName", !row.fullName.isEmpty()},
                                                    {"outputName", !row.outputName.isEmpty()},
                                                    {"switchOff", row.switchOff != nullptr},
                                                    {"enabled", row.enabled != nullptr},
                                                    {"menu", !row.menu || menuFollows(row)},
                                                    {"readSettings", row.readSettings != nullptr},
                                                    {"table", wholeTable || !anyTable},
                                                    {"scale", row.scale != nullptr},
                                                    {"settlingTime", row.settlingTime != nullptr},
                                                    {"set", row.set != nullptr},
                                                    {"wait", row.wait != nullptr},
                                                    {"read", row.read != nullptr},
                                                    {"wayBack", row.wayBack != nullptr}};
    QStringList names;
    for (const auto& [name, given] : members)
        if (!given)
            names += QString::fromLatin1(name);
    return names;
}

double rampedSettlingTime(double from, double to, double ramp)
{
    return std::abs(to - from) / (ramp > 0 ? ramp : assumedRate) * 60 + assumedSettling;
}
} // namespace Temperature
