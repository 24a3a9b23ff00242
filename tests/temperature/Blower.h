// SPDX-License-Identifier: GPL-3.0-or-later
//
// A fourth temperature controller: a hot-air blower that exists only in the tests. All that the program needs to use it stands here.
// "SP 120.5" sets [deg C], "RA 5" the ramp [K/min], both answered with "OK"; "T?" gives the temperature, "ID?" the name.
#pragma once

#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/modTools.h"
#include "temperature/Controller.h"
#include "temperature/SteadyState.h"
#include "temperature/modTC.h"

namespace Blower {
struct State
{
    bool enabled = false;
    double highest = 950; ///< [deg C]
};
inline State& state()
{
    static State theState;
    return theState;
}

inline QString query(const QString& command)
{
    modTC::Send(command + u'\r', QStringLiteral("Blower"));
    const QString reply = modTC::WaitForReply() ? modTC::state().receiveText.trimmed() : QString();
    modTC::state().receiveText.clear();
    return reply;
}

inline qint16 set(double value, double ramp)
{
    const bool taken = query(QStringLiteral("RA ") + NumberText::General(ramp)) == u"OK" &&
                       query(QStringLiteral("SP ") + NumberText::General(value)) == u"OK";
    return taken ? 0 : -1;
}

inline std::optional<double> read()
{
    const QString reply = query(QStringLiteral("T?"));
    return NumberText::StartsWithNumber(reply) ? std::optional(NumberText::LeadingNumber(reply)) : std::nullopt;
}

inline qint16 wait(double value, double silence, double stall)
{
    SteadyState::Wait wait;
    wait.setpoint = static_cast<float>(value);
    wait.unit = QStringLiteral("°C");
    wait.title = QStringLiteral("Blower");
    wait.activity = QStringLiteral("Blower: Waiting for steady state...");
    wait.temperature = [] { return static_cast<float>(read().value_or(-1)); };
    wait.silenceLimit = silence;
    wait.stallLimit = stall;
    return SteadyState::Run(wait);
}

inline Temperature::Scale scale()
{
    Temperature::Scale now;
    now.lowest = 25;
    now.highest = state().highest;
    now.smallestStep = 0.5;
    now.unit = QStringLiteral("°C");
    now.fileDigits = 5;
    now.fileDecimals = now.shownDecimals = 1;
    now.filePattern = QStringLiteral("xxx.x");
    now.fileMeaning = QStringLiteral("air temperature");
    return now;
}

inline Temperature::Controller controller()
{
    Temperature::Controller row;
    row.name = QStringLiteral("Blower");
    row.fullName = QStringLiteral("hot-air blower");
    row.outputName = QStringLiteral("blower");
    row.switchOff = [] {
        const bool off = query(QStringLiteral("SP 0")) == u"OK";
        return Temperature::Off{off, off ? QStringLiteral("off, confirmed") : QStringLiteral("no answer")};
    };
    row.enabled = []() -> bool& { return state().enabled; };
    row.readSettings = [] {
        const auto key = [](const char* name, qint32 otherwise) {
            return PrivateProfile::GetPrivateProfileInt(QStringLiteral("Blower"), QString::fromLatin1(name), otherwise,
                                                        modTools::state().iniPath);
        };
        state().enabled = key("Blower", 0) != 0;
        state().highest = key("TMax", 950);
    };
    row.isThere = [] {
        modTC::Connect();
        return query(QStringLiteral("ID?")) == u"BLOWER";
    };
    row.scale = scale;
    row.startsAt = 25;
    row.settlingTime = [](double from, double to, double) { return 10 + (to > from ? to - from : from - to); };
    row.set = set;
    row.wait = wait;
    row.read = read;
    row.wayBack = [] { return Temperature::WayBack{[] { return set(30, 0); }, 30}; };
    return row;
}
} // namespace Blower
