// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Options.h"

#include <algorithm>
#include <cmath>

namespace lab {

namespace {

QString fromView(std::string_view text)
{
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

bool setPosition(Options& options, const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() > 2)
        return false;
    for (qsizetype i = 0; i < parts.size(); ++i) {
        bool ok = false;
        const double angle = parts[i].toDouble(&ok);
        if (!ok || angle < Axis::lowest || angle > Axis::highest)
            return false;
        options.devices.goniometer.position[static_cast<std::size_t>(i)] = angle;
    }
    return true;
}

bool setFault(Options& options, const QString& text)
{
    const std::string plain = text.toStdString();
    const auto fault = parseFault(plain);
    if (!fault)
        return false;
    const auto& devices = deviceTable();
    const bool known = fault->device.empty() ||
                       std::any_of(devices.begin(), devices.end(), [&](const DeviceEntry& entry) { return entry.name == fault->device; });
    if (known)
        options.faults.push_back(*fault);
    return known;
}

bool setLowTemperature(Options& options, const QString& text)
{
    const std::string plain = text.toStdString();
    for (const LakeShoreEntry& entry : lakeShoreTable())
        if (entry.option == plain)
            options.devices.lowTemperature = entry.model;
    return options.devices.lowTemperature && lakeShoreEntry(*options.devices.lowTemperature).option == plain;
}

struct OptionEntry
{
    const char* name;
    const char* argument; ///< empty: takes none
    const char* help;
    bool (*set)(Options&, const QString&);
};

const OptionEntry optionTable[] = {
    {"--dir", "DIR", "write DIR/scan.ini, which leads to the lines served, and put their links into DIR",
     [](Options& options, const QString& text) {
         options.directory = text;
         return !text.isEmpty();
     }},
    {"--tcp", "PORT", "serve TCP ports on this machine instead of pseudo-terminals: PORT and the next ones (0: any free ones)",
     [](Options& options, const QString& text) {
         bool ok = false;
         options.tcpPort = text.toInt(&ok);
         return ok && options.tcpPort >= 0 && options.tcpPort <= 65533;
     }},
    {"--axes", "1|2", "axes of the goniometer: 1 for Guinier, 2 for Theta-2-Theta (default 2)",
     [](Options& options, const QString& text) {
         options.devices.goniometer.axes = text.toInt();
         return text == QLatin1String("1") || text == QLatin1String("2");
     }},
    {"--generator", "", "play the X-ray generator: current, voltage and shutter decide what the detector sees",
     [](Options& options, const QString&) { return options.devices.generator = true; }},
    {"--ltc", "330|331|emu|drc91|drc81", "play a LakeShore controller with a cryostat: the model (emu: a 331 that emulates the 330)",
     setLowTemperature},
    {"--regulating", "KELVIN", "the low-temperature controller begins at this temperature, and regulates there after each reset",
     [](Options& options, const QString& text) {
         bool ok = false;
         options.devices.regulatesAt = text.toDouble(&ok);
         return ok && *options.devices.regulatesAt >= 0 && *options.devices.regulatesAt <= LakeShoreController::highestSetpoint;
     }},
    {"--htc", "", "play the high-temperature controller with a furnace",
     [](Options& options, const QString&) { return options.devices.highTemperature = true; }},
    {"--laser", "", "play the laser heater", [](Options& options, const QString&) { return options.devices.laser = true; }},
    {"--sample", "NAME", "the powder in the beam: quartz, silicon or lab6 (default quartz)",
     [](Options& options, const QString& text) {
         options.sample = text;
         return findSample(text.toStdString()) != nullptr;
     }},
    {"--speed", "FACTOR", "everything happens FACTOR times as fast, lines included (default 1)",
     [](Options& options, const QString& text) {
         bool ok = false;
         options.speed = text.toDouble(&ok);
         return ok && options.speed >= 0.01 && options.speed <= 1e5;
     }},
    {"--seed", "NUMBER", "start of the random numbers: the same seed gives the same counts (default 1)",
     [](Options& options, const QString& text) {
         bool ok = false;
         options.seed = text.toULongLong(&ok);
         return ok;
     }},
    {"--position", "A1[,A2]", "where the axes stand at the start, in degrees (default 0,0)", setPosition},
    {"--busy", "", "the controller still runs an old program, with counts in its memory",
     [](Options& options, const QString&) { return options.busy = true; }},
    {"--fault", "[DEVICE/]NAME[:COMMAND][:AFTER[:LASTING]]", "misbehave (see --list-faults); may be given several times", setFault},
    {"--trace", "FILE", "write down everything that goes over the lines",
     [](Options& options, const QString& text) {
         options.traceFile = text;
         return !text.isEmpty();
     }},
    {"--list-faults", "", "list the faults and end",
     [](Options& options, const QString&) {
         options.action = Options::Action::listFaults;
         return true;
     }},
    {"--help", "", "this text",
     [](Options& options, const QString&) {
         options.action = Options::Action::help;
         return true;
     }},
};

} // namespace

bool readOptions(const QStringList& arguments, Options& options, QString& why)
{
    for (qsizetype i = 0; i < arguments.size(); ++i) {
        QString name = arguments[i];
        QString value;
        const qsizetype equals = name.indexOf(QLatin1Char('='));
        const bool joined = name.startsWith(QLatin1String("--")) && equals > 0;
        if (joined) {
            value = name.mid(equals + 1);
            name.truncate(equals);
        }
        const auto* entry = std::find_if(std::begin(optionTable), std::end(optionTable),
                                         [&](const OptionEntry& one) { return name == QLatin1String(one.name); });
        const bool known = entry != std::end(optionTable);
        const bool takesValue = known && *entry->argument != '\0';
        if (!known || (joined && !takesValue)) {
            why = QStringLiteral("unknown option %1").arg(arguments[i]);
            return false;
        }
        if (takesValue && !joined) {
            if (++i == arguments.size()) {
                why = name + QStringLiteral(" needs ") + QLatin1String(entry->argument);
                return false;
            }
            value = arguments[i];
        }
        if (!entry->set(options, value)) {
            why = name + QStringLiteral(" does not take \"%1\"").arg(value);
            return false;
        }
    }
    const DeviceOptions& devices = options.devices;
    if (devices.lowTemperature.has_value() + devices.highTemperature + devices.laser > 1) {
        why = QStringLiteral("--ltc, --htc and --laser share one line: give one of them");
        return false;
    }
    return true;
}

QString helpText()
{
    QString text = QStringLiteral("Usage: virtual-instrument [options]\n\nPlays the devices of a powder diffractometer.\n\nOptions:\n");
    for (const OptionEntry& entry : optionTable) {
        const QString head = QStringLiteral("  %1 %2").arg(QLatin1String(entry.name), QLatin1String(entry.argument));
        text += head.trimmed().prepend(QStringLiteral("  ")) + QStringLiteral("\n      ") + QLatin1String(entry.help) + QLatin1Char('\n');
    }
    return text + QLatin1Char('\n') + faultList();
}

QString faultList()
{
    QString text = QStringLiteral("Faults:\n");
    for (const FaultEntry& entry : faultTable())
        text += QStringLiteral("  %1 %2\n")
                    .arg(fromView(entry.name) + (entry.ofCommand ? QStringLiteral("[:COMMAND]") : QString()), -20)
                    .arg(fromView(entry.description));
    text += QStringLiteral(
        "AFTER: from the command after that many commands, or after seconds when written with an s (:25, :3s); without it from the start.\n"
        "LASTING: for that many commands or seconds, in the unit of AFTER; without it for good. Seconds are those of a watch, whatever the "
        "speed.\n"
        "COMMAND: ends before the last one or two numbers; one that itself ends with a colon and a number needs both behind it "
        "(ignore:SC:30:0:0).\n");
    QStringList names;
    for (const DeviceEntry& entry : deviceTable())
        names += fromView(entry.name);
    return text + QStringLiteral("DEVICE: %1; without it every device.\n").arg(names.join(QStringLiteral(", ")));
}

} // namespace lab
