// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "temperature/Controller.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
Temperature::Scale scale()
{
    const Configuration::Laser& laser = configuration().laser;
    Temperature::Scale now;
    now.unit = modHTC_Laser::Unit();
    now.currents = laser.currentMode;
    if (laser.currentMode) {
        now.highest = laser.maxCurrent;
        now.smallestStep = 0.0001;
        now.fileDigits = 6;
        now.fileDecimals = now.shownDecimals = 4;
        now.filePattern = u"x.xxxx"_s;
        now.fileMeaning = u"laser diode current"_s;
    } else {
        now.lowest = laser.tMin;
        now.highest = laser.tMax;
        now.filePattern = u"xxxx"_s;
        now.fileMeaning = u"temperature"_s;
        now.shownDecimals = 1;
    }
    return now;
}

qint16 set(double value, double /*ramp*/)
{
    const auto single = static_cast<float>(value);
    return modHTC_Laser::LaserSetCurrent(single, modHTC_Laser::CurrentFor(single));
}

/// The current is read back before anything is waited for; one that was not taken needs no time to settle when it is sent again.
qint16 wait(double, double, double)
{
    bool interrupted = false;
    QObject context;
    QObject::connect(&SteadyState::notifier(), &SteadyState::Notifier::interrupted, &context, [&interrupted] { interrupted = true; });
    if (SetpointCheck::isOpen(u"Laser"_s))
        SetpointCheck::Ask(u"Laser"_s);
    return interrupted ? qint16{SteadyState::Interrupted} : modHTC::HTC_LaserWaitUntilThere(configuration().laser.stabilizationDelay);
}

std::optional<double> read()
{
    float current = 0;
    return modHTC_Laser::LaserGetCurrent(current) == 0 ? modHTC_Laser::ValueFor(current) : std::nullopt;
}

/// In current mode what was set before the run.
Temperature::WayBack wayBack()
{
    if (!configuration().laser.currentMode)
        return {[] { return set(Temperature::roomTemperature, 0); }, {}};
    return {[current = modHTC_Laser::state().lastCurrent] { return modHTC_Laser::LaserSetCurrent(current, current); }, {}};
}
Temperature::Off switchOff()
{
    const bool taken = modHTC_Laser::LaserSwitchBeam(false) == 0;
    const std::optional<bool> on = modHTC_Laser::LaserAskBeam();
    if (!on)
        return {false, taken ? u"switched off, not confirmed"_s : u"the controller did not answer; the beam may still be on"_s};
    return *on ? Temperature::Off{false, u"the beam is still on"_s} : Temperature::Off{true, u"beam off, confirmed"_s};
}
} // namespace

Temperature::Controller modHTC_Laser::controller()
{
    Temperature::Controller row;
    row.name = u"Laser"_s;
    row.fullName = u"laser controller"_s;
    row.outputName = u"laser beam"_s;
    row.outputEntry = Menu::Entry::mnuLaserBeam;
    row.outputHurts = true;
    row.switchOff = switchOff;
    row.enabled = []() -> bool& { return flags().laserEnabled; };
    row.menu = Menu::Entry::mnuLaser;
    row.readSettings = [] {
        configuration().readLaser();
        flags().laserEnabled = configuration().laser.enabled;
    };
    row.isThere = [] {
        modTC::Connect();
        return LaserCheckPresence() == 0;
    };
    row.scale = scale;
    row.startsAt = Temperature::roomTemperature;
    row.settlingTime = [](double, double, double) { return double(configuration().laser.stabilizationDelay); };
    row.set = set;
    row.asks = true;
    row.wait = wait;
    row.statistics = false;
    row.readings = {[] {
                        float current = 0;
                        return LaserGetCurrent(current) == 0;
                    },
                    [] { return LaserAskBeam().has_value(); }};
    row.read = read;
    row.wayBack = wayBack;
    return row;
}
