// SPDX-License-Identifier: GPL-3.0-or-later

// The entries of the menu LTC.

#include "core/Flags.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "temperature/LTCCommands.h"
#include "temperature/LTCKnown.h"
#include "temperature/SteadyState.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
/// Asks for a setpoint, starting from the current one. False when there is nothing to send.
bool askSetpoint(const QString& prompt, float* setpoint)
{
    if (modLTC::LTCGetSetpoint(*setpoint) != 0) {
        modTC::ReportSilence(u"LTC"_s, u"LTC does not respond!"_s + modLTC::LTCFaultText(), Prompts::Icon::Critical);
        return false;
    }
    double typed = 0;
    // What is no number reads as 0, which is no setpoint.
    const QString present = instrument().controllers.value(u"LTC"_s).setpoint.value ? NumberText::General(*setpoint) : QString();
    if (!modTC::AskSetpoint(prompt, present, {modLTC::lowestSetpoint, modLTC::highestSetpoint, u"K"_s}, &typed))
        return false;
    *setpoint = static_cast<float>(typed);
    return true;
}

} // namespace

namespace modLTC {
void mnuLTCSetpoint()
{
    float setpoint = -1;
    if (!askSetpoint(u"Enter new setpoint:"_s, &setpoint))
        return;
    LTCNewSetpoint(setpoint);
    LTCWaitUntilThere(setpoint);
}

void mnuLTCNewSetpointWithPID()
{
    float setpoint = -1;
    if (!askSetpoint(u"Enter new setpoint:"_s + u"\r\n"_s + u"(We will use PID's in '"_s + RPIDFileName() + u"')"_s, &setpoint))
        return;
    LTCNewSetpointWithPID(setpoint, 0);
    LTCWaitUntilThere(setpoint);
}

void mnuLTCAutoTune()
{
    qint16 tune = -1;
    if (LTCGetTuneStatus(tune) != 0) {
        modTC::ReportSilence(u"LTC"_s, u"LTC did not respond..."_s + LTCFaultText(), Prompts::Icon::Exclamation);
        return;
    }
    if (LTCSetTuneStatus(tune != 0 ? 0 : 1) != 0) {
        const QString text =
            LTCCommands::table().setTune.isEmpty() ? u"This controller cannot be switched to autotuning."_s : u"LTC did not respond..."_s;
        modTC::ReportSilence(u"LTC"_s, text + LTCFaultText(), Prompts::Icon::Exclamation);
        return;
    }
    if (tune == 0)
        showMessage(u"PLEASE NOTE"_s,
                    u"The Autotune function does not set or change the heater range."_s + u"\r\n"_s +
                        u"You have to adjust the heater settings manually."_s,
                    Prompts::Icon::Information);
    LTCShowTune(tune == 0);
}

void mnuLTCDefault()
{
    QString said;
    LTCDefault();
    if (!LTCConfirmDefault(&said))
        modTC::ReportSilence(u"LTC"_s, said, Prompts::Icon::Exclamation);
}

void mnuLTCQuery()
{
    QString text = prompts().input({u"LTC Query"_s, u"Enter query command:"_s, u"W1"_s});
    if (text.isEmpty())
        return;
    LTCKnown::ForgetOutputs();
    if (LTCQuery(text) == 0)
        showMessage(u"LTC"_s, text);
    else
        modTC::ReportSilence(u"LTC"_s, u"No response..."_s + LTCFaultText(), Prompts::Icon::None);
}

void mnuLTCQueryTemperature()
{
    if (flags().showCommunication) {
        QString diagnostic = u"XDA"_s;
        LTCQuery(diagnostic);
    }
    const float temperature = LTCReading();
    if (temperature > 0)
        showMessage(u"LTC"_s, u"Current temperature is:"_s + NumberText::Print(temperature) + u" K"_s);
    else if (temperature == SteadyState::noNumber)
        showMessage(u"LTC"_s, u"Current temperature is: no reading"_s, Prompts::Icon::Exclamation);
    else
        modTC::ReportSilence(u"LTC"_s, u"LTC does not respond!"_s + LTCFaultText(), Prompts::Icon::Critical);
}
} // namespace modLTC
