// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of the devices that can be played.
#pragma once

#include "Device.h"
#include "GoniometerController.h"
#include "Pacer.h"

#include <memory>

namespace lab {

/// What the command line says about the devices.
struct DeviceOptions
{
    GoniometerOptions goniometer;
};

struct DeviceEntry
{
    std::string_view name;       ///< in front of "/" of a fault
    std::string_view linkName;   ///< name of the pseudo-terminal in the directory
    std::string_view iniSection; ///< section of scan.ini whose `SerialDevice` leads here
    int tcpOffset;               ///< added to the port of --tcp
    std::string_view settings;   ///< as in scan.ini
    LineSettings line;
    std::unique_ptr<Device> (*make)(Laboratory&, std::vector<Fault>, const Trace&, const DeviceOptions&);
};

const std::vector<DeviceEntry>& deviceTable();

} // namespace lab
