// SPDX-License-Identifier: GPL-3.0-or-later

// The entries of the menu HTC.

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "temperature/modHTC.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
bool askSetpoint(const QString& prompt, double* setpoint)
{
    modHTC::DataBlock block;
    if (modHTC::GetDataBlock(&block) != 0)
        return false;
    const Configuration::HTC& htc = configuration().htc;
    return modTC::AskSetpoint(prompt, NumberText::General(qint32{block.setpoint}), {double(htc.tMin), double(htc.tMax), u"°C"_s}, setpoint);
}
} // namespace

namespace modHTC {
void mnuHTCQueryTemperature()
{
    ValueBlock block;
    if (GetValueBlock(&block) == 0)
        showMessage(u"HTC"_s, u"Current temperature is:"_s + NumberText::Print(qint32{block.temperature}) + u" °C"_s);
}

void mnuHTCSetpoint()
{
    double setpoint = 0;
    if (askSetpoint(u"Enter new setpoint:"_s, &setpoint) && NewSetpoint(setpoint) == 0)
        HTCWaitUntilThere(setpoint);
}

void mnuHTCNewSetpointWithPID()
{
    double setpoint = 0;
    const QString prompt = u"Enter new setpoint:"_s + u"\r\n"_s + u"(We will use PID's in '"_s + configuration().htc.pidFile + u"')"_s;
    if (askSetpoint(prompt, &setpoint) && NewSetpointWithPID(setpoint, 0) == 0)
        HTCWaitUntilThere(setpoint);
}

void mnuHTCHeaterOutput()
{
    DataBlock block;
    if (GetDataBlock(&block) == 0 && SwitchHeaterOutput(!block.heaterOutput) == 0)
        ReadBack();
}

void mnuHTCAutoOptimize()
{
    DataBlock block;
    if (GetDataBlock(&block) == 0 && ToggleSelfOptimising(block.selfOptimising == 0) == 0)
        ReadBack();
}
} // namespace modHTC
