// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Menu.h"

#include <algorithm>

namespace Menu {
const QList<Item>& items()
{
    using enum Entry;
    // Never taken down: an operation that ends with the program still looks things up.
    static const auto* const table = new QList<Item>{
        {mnuFile, "mnuFile", u"&File", mnuFile, false},
        {mnuFileOpen, "mnuFileOpen", u"&Open...", mnuFile, false, Resource::ScanInMemory},
        {mnuFileSaveAs, "mnuFileSaveAs", u"&Save...", mnuFile, false, Resource::ScanToSave},
        {mnuFileSetWorkDir, "mnuFileSetWorkDir", u"Set &Work Directory...", mnuFile, true, Resource::Surroundings},
        {mnuFileSettings, "mnuFileSettings", u"Set&tings...", mnuFile, false, Resource::Surroundings},
        {mnuFileExit, "mnuFileExit", u"E&xit", mnuFile, true},

        {mnuMeasurement, "mnuMeasurement", u"&Measurement", mnuMeasurement, false},
        {mnuMeasStartAcquisition, "mnuMeasStartAcquisition", startCaption, mnuMeasurement, false, Resource::Goniometer},
        {mnuMeasExecTempProfile, "mnuMeasExecTempProfile", u"Execute &Temperature Profile...", mnuMeasurement, true,
         Resource::Goniometer | Resource::TemperatureLine},

        {mnuHTC, "mnuHTC", u"&HTC", mnuHTC, false, {}, &Flags::htcEnabled},
        {mnuHTCQueryTemperature, "mnuHTCQueryTemperature", u"Query current &Temperature", mnuHTC, false, Resource::TemperatureLine},
        {mnuHTCSetpoint, "mnuHTCSetpoint", u"New &Setpoint (use current PID's)", mnuHTC, true, Resource::TemperatureLine},
        {mnuHTCNewSetpointWithPID, "mnuHTCNewSetpointWithPID", u"Ne&w Setpoint (load PID's)", mnuHTC, false, Resource::TemperatureLine},
        {mnuHTCHeaterOutput, "mnuHTCHeaterOutput", u"Heater &Output (is OFF)", mnuHTC, true, Resource::TemperatureLine, nullptr, "HTC"},
        {mnuHTCChangePID, "mnuHTCChangePID", u"&Change current PID's", mnuHTC, true, Resource::TemperatureLine},
        {mnuHTCSavePID, "mnuHTCSavePID", u"Save current &PID's", mnuHTC, false, Resource::TemperatureLine},
        {mnuHTCAutoOptimize, "mnuHTCAutoOptimize", u"&Auto Optimizing", mnuHTC, true, Resource::TemperatureLine},
        {mnuHTCDefault, "mnuHTCDefault", u"Restore &Default Parameter", mnuHTC, false, Resource::TemperatureLine},

        {mnuLTC, "mnuLTC", u"&LTC", mnuLTC, false, {}, &Flags::ltcEnabled},
        {mnuLTCQuery, "mnuLTCQuery", u"Query...", mnuLTC, false, Resource::TemperatureLine},
        {mnuLTCLogCooldown, "mnuLTCLogCooldown", u"Log Cooldown", mnuLTC, false, Resource::Surroundings},
        {mnuLTCQueryTemperature, "mnuLTCQueryTemperature", u"Query current &Temperature", mnuLTC, false, Resource::TemperatureLine},
        {mnuLTCSetpoint, "mnuLTCSetpoint", u"&New Setpoint (use current RPID's)", mnuLTC, true, Resource::TemperatureLine},
        {mnuLTCNewSetpointWithPID, "mnuLTCNewSetpointWithPID", u"Ne&w Setpoint (load RPID's)", mnuLTC, false, Resource::TemperatureLine},
        {mnuLTCChangePID, "mnuLTCChangePID", u"&Change current RPID's", mnuLTC, true, Resource::TemperatureLine},
        {mnuLTCSavePID, "mnuLTCSavePID", u"Save current &RPID's", mnuLTC, false, Resource::TemperatureLine},
        {mnuLTCAutoTune, "mnuLTCAutoTune", u"Auto&tuning (is OFF)", mnuLTC, true, Resource::TemperatureLine},
        {mnuLTCDefault, "mnuLTCDefault", u"Restore &Default Settings", mnuLTC, false, Resource::TemperatureLine},

        {mnuLaser, "mnuLaser", u"La&ser", mnuLaser, false, {}, &Flags::laserEnabled},
        {mnuLaserBeam, "mnuLaserBeam", u"Beam &ON", mnuLaser, false, Resource::TemperatureLine, nullptr, "Laser"},
        {mnuLaserSetpoint, "mnuLaserSetpoint", u"New &Temperature Setpoint", mnuLaser, false, Resource::TemperatureLine},
        {mnuLaserTest, "mnuLaserTest", u"Test", mnuLaser, true, Resource::TemperatureLine},

        {mnuExtras, "mnuExtras", u"E&xtras", mnuExtras, false},
        {mnuExtrasSMC, "mnuExtrasSMC", u"&SMC", mnuExtras, false},
        {mnuExtrasSMCGetRAMData, "mnuExtrasSMCGetRAMData", u"&Get RAM Data", mnuExtrasSMC, false, Resource::Goniometer},
        {mnuExtrasGoniometerGoTo, "mnuExtrasGoniometerGoTo", u"&GoTo...", mnuExtrasSMC, true, Resource::Goniometer},
        {mnuExtrasSMCRef, "mnuExtrasSMCRef", u"Search &Reference Position", mnuExtrasSMC, false, Resource::Goniometer},
        {mnuExtrasSMCSetRefOffset, "mnuExtrasSMCSetRefOffset", u"Set Reference &Offset", mnuExtrasSMC, false, Resource::Goniometer},
        {mnuExtrasSMGetStatus, "mnuExtrasSMGetStatus", u"Get &Status...", mnuExtrasSMC, true},
        {mnuExtrasSMCStop, "mnuExtrasSMCStop", u"&STOP Motion", mnuExtrasSMC, true},
        {mnuExtrasGenerator, "mnuExtrasGenerator", u"X-Ray Generator", mnuExtras, false},
        {mnuExtrasGeneratorSwitchShutter, "mnuExtrasGeneratorSwitchShutter", u"OPEN &X-Ray Shutter", mnuExtrasGenerator, false},
        {mnuExtrasGeneratorSetPower, "mnuExtrasGeneratorSetPower", u"Set &Power...", mnuExtrasGenerator, true,
         Resource::GeneratorLine | Resource::TubePower},
        {mnuExtrasGeneratorGetStatus, "mnuExtrasGeneratorGetStatus", u"Get &Status...", mnuExtrasGenerator, false, Resource::GeneratorLine},
        {mnuExtrasRatemeter, "mnuExtrasRatemeter", u"&Ratemeter", mnuExtras, true, Resource::Goniometer},
        {mnuExtrasAllOff, "mnuExtrasAllOff", u"All &Off", mnuExtras, true},

        {mnuHelp, "mnuHelp", u"&Help", mnuHelp, false},
        {mnuHelpHelp, "mnuHelpHelp", u"&Help...", mnuHelp, false},
        {mnuHelpAbout, "mnuHelpAbout", u"&About", mnuHelp, true},
    };
    return *table;
}

const Item& item(Entry entry)
{
    const QList<Item>& table = items();
    return *std::find_if(table.begin(), table.end(), [entry](const Item& candidate) { return candidate.entry == entry; });
}

bool isMenu(Entry entry)
{
    const QList<Item>& table = items();
    return item(entry).parent == entry || std::any_of(table.begin(), table.end(), [entry](const Item& candidate) {
               return candidate.parent == entry && candidate.entry != entry;
           });
}
} // namespace Menu
