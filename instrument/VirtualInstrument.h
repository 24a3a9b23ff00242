// SPDX-License-Identifier: GPL-3.0-or-later
//
// The whole laboratory, served: devices, lines, scan.ini, trace.
#pragma once

#include "Options.h"
#include "ServedLine.h"

#include <QFile>

namespace lab {

class VirtualInstrument
{
public:
    explicit VirtualInstrument(const Options& options);
    /// Opens everything. On failure returns false and says why.
    bool start(QString& why);
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
    RunningClock clock_;
    Trace trace_;
    QFile traceFile_;
    Laboratory laboratory_;
    std::vector<Station> stations_;
};

} // namespace lab
