// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/ResetAll.h"

#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "gpib/modGPIB.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "safety/AllOff.h"
#include "safety/StripReading.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "temperature/Controller.h"
#include "temperature/CooldownLog.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

void resetAll()
{
    AllOff::reset();
    StripReading::reset();
    CooldownLog::reset();
    modGenerator::reset();
    GeneratorPower::reset();
    SetpointCheck::reset();
    SteadyState::reset();
    modTC::reset();
    modCOM::reset();
    modGPIB::reset();
    modLTC::state() = {};
    modHTC::reset();
    modHTC_Laser::state() = {};
    TProfile::state() = {};
    ProfileRun::state() = {};
    modSMC::state() = {};
    ScanRun::state() = {};
    Ratemeter::state() = {};
    Temperature::state().initialization = Temperature::Initialization::Whole;
    resetProgram();
}
