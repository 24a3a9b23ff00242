// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Menu.h"

#include <algorithm>

namespace Menu {
const QList<Item>& items()
{
    using enum Entry;
    static const QList<Item> table = {
        {mnuFile, "mnuFile", u"&File", mnuFile, false},
        {mnuFileOpen, "mnuFileOpen", u"&Open...", mnuFile, false},
        {mnuFileSaveAs, "mnuFileSaveAs", u"&Save...", mnuFile, false},
        {mnuFileSetWorkDir, "mnuFileSetWorkDir", u"Set &Work Directory...", mnuFile, true},
        {mnuFileSettings, "mnuFileSettings", u"Set&tings...", mnuFile, false},
        {mnuFileExit, "mnuFileExit", u"E&xit", mnuFile, true},

        {mnuMeasurement, "mnuMeasurement", u"&Measurement", mnuMeasurement, false},
        {mnuMeasStartAcquisition, "mnuMeasStartAcquisition", startCaption, mnuMeasurement, false},
        {mnuMeasExecTempProfile, "mnuMeasExecTempProfile", u"Execute &Temperature Profile...", mnuMeasurement, true},

        {mnuHTC, "mnuHTC", u"&HTC", mnuHTC, false, &Flags::htcEnabled},
        {mnuHTCQueryTemperature, "mnuHTCQueryTemperature", u"Query current &Temperature", mnuHTC, false},
        {mnuHTCSetpoint, "mnuHTCSetpoint", u"New &Setpoint (use current PID's)", mnuHTC, true},
        {mnuHTCNewSetpointWithPID, "mnuHTCNewSetpointWithPID", u"Ne&w Setpoint (load PID's)", mnuHTC, false},
        {mnuHTCHeaterOutput, "mnuHTCHeaterOutput", u"Heater &Output (is OFF)", mnuHTC, true},
        {mnuHTCChangePID, "mnuHTCChangePID", u"&Change current PID's", mnuHTC, true},
        {mnuHTCSavePID, "mnuHTCSavePID", u"Save current &PID's", mnuHTC, false},
        {mnuHTCAutoOptimize, "mnuHTCAutoOptimize", u"&Auto Optimizing", mnuHTC, true},
        {mnuHTCDefault, "mnuHTCDefault", u"Restore &Default Parameter", mnuHTC, false},

        {mnuLTC, "mnuLTC", u"&LTC", mnuLTC, false, &Flags::ltcEnabled},
        {mnuLTCQuery, "mnuLTCQuery", u"Query...", mnuLTC, false},
        {mnuLTCLogCooldown, "mnuLTCLogCooldown", u"Log Cooldown", mnuLTC, false},
        {mnuLTCQueryTemperature, "mnuLTCQueryTemperature", u"Query current &Temperature", mnuLTC, false},
        {mnuLTCSetpoint, "mnuLTCSetpoint", u"&New Setpoint (use current RPID's)", mnuLTC, true},
        {mnuLTCNewSetpointWithPID, "mnuLTCNewSetpointWithPID", u"Ne&w Setpoint (load RPID's)", mnuLTC, false},
        {mnuLTCChangePID, "mnuLTCChangePID", u"&Change current RPID's", mnuLTC, true},
        {mnuLTCSavePID, "mnuLTCSavePID", u"Save current &RPID's", mnuLTC, false},
        {mnuLTCAutoTune, "mnuLTCAutoTune", u"Auto&tuning (is OFF)", mnuLTC, true},
        {mnuLTCDefault, "mnuLTCDefault", u"Restore &Default Settings", mnuLTC, false},

        {mnuLaser, "mnuLaser", u"La&ser", mnuLaser, false, &Flags::laserEnabled},
        {mnuLaserBeam, "mnuLaserBeam", u"Beam &ON", mnuLaser, false},
        {mnuLaserSetpoint, "mnuLaserSetpoint", u"New &Temperature Setpoint", mnuLaser, false},
        {mnuLaserTest, "mnuLaserTest", u"Test", mnuLaser, true},

        {mnuExtras, "mnuExtras", u"E&xtras", mnuExtras, false},
        {mnuExtrasSMC, "mnuExtrasSMC", u"&SMC", mnuExtras, false},
        {mnuExtrasSMCGetRAMData, "mnuExtrasSMCGetRAMData", u"&Get RAM Data", mnuExtrasSMC, false},
        {mnuExtrasGoniometerGoTo, "mnuExtrasGoniometerGoTo", u"&GoTo...", mnuExtrasSMC, true},
        {mnuExtrasSMCRef, "mnuExtrasSMCRef", u"Search &Reference Position", mnuExtrasSMC, false},
        {mnuExtrasSMCSetRefOffset, "mnuExtrasSMCSetRefOffset", u"Set Reference &Offset", mnuExtrasSMC, false},
        {mnuExtrasSMGetStatus, "mnuExtrasSMGetStatus", u"Get &Status...", mnuExtrasSMC, true},
        {mnuExtrasSMCStop, "mnuExtrasSMCStop", u"&STOP Motion", mnuExtrasSMC, true},
        {mnuExtrasGenerator, "mnuExtrasGenerator", u"X-Ray Generator", mnuExtras, false},
        {mnuExtrasGeneratorSwitchShutter, "mnuExtrasGeneratorSwitchShutter", u"OPEN &X-Ray Shutter", mnuExtrasGenerator, false},
        {mnuExtrasGeneratorSetPower, "mnuExtrasGeneratorSetPower", u"Set &Power...", mnuExtrasGenerator, true},
        {mnuExtrasGeneratorGetStatus, "mnuExtrasGeneratorGetStatus", u"Get &Status...", mnuExtrasGenerator, false},
        {mnuExtrasRatemeter, "mnuExtrasRatemeter", u"&Ratemeter", mnuExtras, true},

        {mnuHelp, "mnuHelp", u"&Help", mnuHelp, false},
        {mnuHelpHelp, "mnuHelpHelp", u"&Help...", mnuHelp, false},
        {mnuHelpAbout, "mnuHelpAbout", u"&About", mnuHelp, true},
    };
    return table;
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
