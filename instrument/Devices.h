// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of the devices that can be played.
#pragma once

#include "Device.h"
#include "GoniometerController.h"
#include "HighTemperatureController.h"
#include "LakeShoreController.h"
#include "LaserController.h"
#include "Pacer.h"
#include "XRayGenerator.h"

#include <memory>

namespace lab {

/// What the command line says about the devices.
struct DeviceOptions
{
    GoniometerOptions goniometer;
    bool generator = false;
    // the temperature devices share a line: one of them at most
    std::optional<LakeShoreModel> lowTemperature;
    std::optional<double> regulatesAt; ///< K: the cryostat begins there, and comes back to it after a reset
    bool highTemperature = false;
    bool laser = false;
};

/// A file of the scan program that a device comes with.
struct DeviceFile
{
    std::string name;
    std::string text;
};

/// A value of scan.ini that belongs to a device.
struct DeviceValue
{
    enum class Use {
        fresh,   ///< proposed in a new file
        always,  ///< has to be so whenever the device is played
        enables, ///< likewise; goes to 0 in a file where it stands when the device is not played
    };
    Use use;
    std::string section, key, value;
};

struct DeviceEntry
{
    std::string_view name;       ///< in front of "/" of a fault
    std::string_view linkName;   ///< name of the pseudo-terminal in the directory
    std::string_view iniSection; ///< section of scan.ini whose `SerialDevice` leads here
    int tcpOffset;               ///< added to the port of --tcp
    bool (*played)(const DeviceOptions&);
    LineSettings (*line)(const DeviceOptions&);
    std::vector<DeviceValue> (*values)(const DeviceOptions&); ///< besides `SerialDevice`
    /// The controller's table of control parameters, for a directory where it is missing.
    std::optional<DeviceFile> (*file)(const DeviceOptions&);
    std::unique_ptr<Device> (*make)(Laboratory&, std::vector<Fault>, const Trace&, const DeviceOptions&);
};

const std::vector<DeviceEntry>& deviceTable();

} // namespace lab
