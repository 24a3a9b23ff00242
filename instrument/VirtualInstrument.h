// SPDX-License-Identifier: GPL-3.0-or-later
//
// The whole laboratory, served: devices, lines, scan.ini, trace.
#pragma once

#include "Options.h"
#include "ServedLine.h"

#include <QFile>

namespace lab {

/// Where the devices stand: their time, and where their lines end.
struct Surroundings
{
    Clock& clock;
    Alarms alarms;
    /// The far end of a device's line; null where there is none.
    std::function<std::unique_ptr<Channel>(const DeviceEntry&, const Options&)> channel;
};

/// Lines end in pseudo-terminals, or in TCP ports when the options say so.
std::unique_ptr<Channel> systemChannel(const DeviceEntry& entry, const Options& options);

class VirtualInstrument
{
public:
    VirtualInstrument(const Options& options, const Surroundings& surroundings);
    /// Opens everything. On failure returns false and says why.
    bool start(QString& why);
    /// A device that is played, by its name in deviceTable(); null when it is not.
    const Device* device(std::string_view name) const;
    /// Called with every line for the person who watches.
    std::function<void(const QString&)> announce;

private:
    struct Station
    {
        const DeviceEntry* entry;
        std::unique_ptr<Device> device;
        std::unique_ptr<ServedLine> line;
    };
    bool openTrace(QString& why);
    bool serve(const DeviceEntry& entry, QString& why);
    bool writeIni(QString& why) const;
    bool writeFiles(QString& why) const;

    Options options_;
    Surroundings surroundings_;
    Trace trace_;
    QFile traceFile_;
    Laboratory laboratory_;
    std::vector<Station> stations_;
};

} // namespace lab
