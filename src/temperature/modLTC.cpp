// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modLTC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "gpib/modGPIB.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/LTCCommands.h"
#include "temperature/LTCKnown.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"
#include "temperature/modTC.h"

#include <cmath>

using namespace Qt::StringLiterals;
using namespace LTCCommands;

namespace {
qint16 status330(modLTC::Parameters& value)
{
    qint16 status = 0;
    status |= askNumber(u"GAIN?"_s, value.p);
    status |= askNumber(u"RSET?"_s, value.i);
    status |= askNumber(u"RATE?"_s, value.d);
    status |= askInteger(u"RANG?"_s, value.range, LTCKnown::Range);
    status |= askInteger(u"HEAT?"_s, value.power);
    return status;
}

qint16 status331(modLTC::Parameters& value)
{
    QString reply;
    qint16 status = ask(u"PID? 1"_s, reply);
    if (status == 0) {
        const QStringList fields = reply.split(u',');
        value.p = static_cast<float>(NumberText::LeadingNumber(fields.value(0)));
        value.i = static_cast<float>(NumberText::LeadingNumber(fields.value(1)));
        value.d = static_cast<float>(NumberText::LeadingNumber(fields.value(2)));
    }
    status |= askInteger(u"RANGE?"_s, value.range, LTCKnown::Range);
    status |= askInteger(u"HTR?"_s, value.power);
    return status;
}

qint16 statusDrc(modLTC::Parameters& value)
{
    const bool is91 = isModel(modLTC::DRC91CA);
    QString reply;
    const qint16 status = ask(record(), reply);
    const QStringList fields = reply.split(u',');
    const bool whole = fields.size() == (is91 ? 5 : 7);
    LTCKnown::Range(whole ? fields[is91 ? 3 : 6] : QString());
    if (status != 0)
        return -1;
    if (!whole) {
        showMessage(u"LTC"_s, (is91 ? u"Unexpected DRC91 Response: "_s : u"Unexpected DRC81 Response: "_s) + reply + u"\r\n"_s,
                    Prompts::Icon::Critical);
        return -1;
    }
    // The record gives D before I: intended.
    const int first = is91 ? 0 : 3;
    value.p = static_cast<float>(NumberText::LeadingNumber(fields[first]));
    value.d = static_cast<float>(NumberText::LeadingNumber(fields[first + 1]));
    value.i = static_cast<float>(NumberText::LeadingNumber(fields[first + 2]));
    value.range = NumberText::RoundToInteger(NumberText::LeadingNumber(fields[first + 3]));
    if (is91)
        value.power = NumberText::RoundToInteger(NumberText::LeadingNumber(fields[4]));
    return 0;
}

QString checkText()
{
    const Configuration::LTC& ltc = configuration().ltc;
    QStringList lines = {u"Low temperature controller does not respond..."_s, u"Please check the following:"_s};
    if (modLTC::OnBus()) {
        lines += {u"    - Controller powered ON?"_s, u"    - GPIB cable connection ok?"_s,
                  u"    - Controller GPIB device address is "_s + NumberText::General(ltc.gpibDeviceAddress) + u"?"_s};
    } else {
        lines += {u"    - Controller "_s + modLTC::ControllerName() + u" powered ON?"_s,
                  u"    - Controller connected to "_s + ltc.line.name() + u"?"_s,
                  u"    - "_s + ltc.line.name() + u" settings are "_s + ltc.line.settings + u"?"_s, u"    - Cable connection ok?"_s};
    }
    return lines.join(u"\r\n"_s);
}

bool isPresent()
{
    modTools::WriteLog(false, u"Checking presence of LTC..."_s);
    if (!modLTC::OnBus())
        modCOM::ClearTCCommRxBuffer();
    QString reply = isModel(familyDrc) ? record() : u"*IDN?"_s;
    if (modLTC::LTCQuery(reply) != 0)
        return false;
    // Looser than the number of fields that a status read demands: intended.
    const qint32 commas = modTools::CountCharacter(reply, u","_s);
    if (isModel(modLTC::DRC91CA))
        return commas == 2;
    if (isModel(modLTC::DRC81C))
        return commas == 2 || commas == 6;
    return true;
}

} // namespace

namespace modLTC {
QString LTCFaultText()
{
    const QString fault = OnBus() ? modGPIB::Fault() : QString();
    return fault.isEmpty() ? QString() : u"\r\n"_s + fault;
}

State& state()
{
    static State theState;
    return theState;
}

bool OnBus()
{
    return configuration().ltc.gpibDeviceAddress != 0;
}

QString ControllerName()
{
    switch (configuration().ltc.modelCode) {
    case LakeShore330:
        return u"LakeShore 330"_s;
    case DRC91CA:
        return u"LakeShore DRC-91CA"_s;
    case DRC81C:
        return u"LakeShore DRC-81C"_s;
    default:
        return u"LakeShore 331"_s;
    }
}

qint16 LTCOutput(const QString& command)
{
    const QString entry = u"LTCOutput("_s + command + u")"_s;
    modTools::WriteLog(false, entry);
    modTools::WriteSecondaryLog(entry);
    if (!flags().ltcEnabled)
        return 0;
    if (!OnBus()) {
        modTC::Send(command + u"\r\n"_s, u"LTC"_s);
        return 0;
    }
    const float txDelay = configuration().ltc.line.txDelay;
    if (txDelay > 0)
        modTools::Delay(txDelay, true);
    if (flags().closing)
        return 0;
    {
        const Exchange exchange(modCOM::TCComm()); // the bus stands for the line
        modGPIB::GPIBOutput(command);
    }
    if (txDelay > 0)
        modTools::Delay(txDelay, true);
    return 0;
}

qint16 LTCGetResponse(QString& reply)
{
    modTools::WriteLog(false, u"LTCGetResponse()"_s);
    modTools::WriteSecondaryLog(u"LTCGetResponse()"_s);
    reply.clear();
    qint16 status = 0;
    if (OnBus()) {
        const Exchange exchange(modCOM::TCComm());
        reply = modGPIB::GPIBGetResponse();
        status = reply.isEmpty() ? qint16{-1} : qint16{0};
    } else if (modTC::WaitForReply()) {
        reply = modTools::RemoveAll(modTC::state().receiveText, u"\r\n"_s).trimmed();
        if (flags().showCommunication)
            modTC::Show(u"LTC response: "_s + reply);
    } else {
        status = -1;
    }
    modTC::state().receiveText.clear();
    modTools::DoEvents();
    const QString result = u"LTCGetResponse()="_s + reply;
    modTools::WriteLog(false, result);
    modTools::WriteSecondaryLog(result);
    return status;
}

qint16 LTCQuery(QString& command)
{
    modTools::WriteLog(false, u"LTCQuery("_s + command + u")"_s);
    LTCOutput(command);
    // Nothing will come, and what lies there belongs to another question.
    if (OnBus() && !modGPIB::Fault().isEmpty())
        return -1;
    QString reply;
    if (isModel(family330 | LakeShore331)) {
        if (LTCGetResponse(reply) != 0)
            return -1;
    } else if (isModel(familyDrc)) {
        LTCGetResponse(reply);
        if (reply.isEmpty())
            return -1;
    }
    command = reply;
    return 0;
}

qint16 LTCInit()
{
    modTC::Show(u"Initializing LTC..."_s);
    LTCKnown::ForgetOutputs();
    state().unanswered.clear();
    return tellAll(table().init, &state().unanswered);
}

qint16 LTCPrepare()
{
    switch (Temperature::state().initialization) {
    case Temperature::Initialization::Whole:
        return LTCInit();
    case Temperature::Initialization::NoReset: {
        QStringList lines = table().init;
        lines.removeAll(u"*RST"_s);
        lines.removeAll(u"C"_s);
        state().unanswered.clear();
        return tellAll(lines, &state().unanswered);
    }
    case Temperature::Initialization::None:
        break;
    }
    return 0;
}

qint16 LTCGetTemperature(float& temperature)
{
    modTC::Show(u"Current temperature query..."_s);
    return askNumber(table().temperature, temperature, LTCKnown::Temperature);
}

float LTCReading()
{
    float temperature = -1;
    if (LTCGetTemperature(temperature) != 0)
        return -1;
    return temperature > 0 && std::isfinite(temperature) ? temperature : SteadyState::noNumber;
}

qint16 LTCGetSetpoint(float& setpoint)
{
    modTC::Show(u"Setpoint query..."_s);
    return askNumber(table().readSetpoint, setpoint, LTCKnown::Setpoint);
}

std::optional<double> LTCAskSetpoint()
{
    QString reply;
    ask(table().readSetpoint, reply);
    LTCKnown::Setpoint(reply);
    return NumberText::IsNumber(reply) ? std::optional(NumberText::LeadingNumber(reply)) : std::nullopt;
}

bool LTCIsRamping()
{
    qint16 ramping = 0;
    return !table().isRamping.isEmpty() && askInteger(table().isRamping, ramping) == 0 && ramping == 1;
}

qint16 LTCNewSetpoint(float setpoint)
{
    const qint16 status = tell(table().setSetpoint.arg(NumberText::General(setpoint)));
    LTCKnown::SentSetpoint(setpoint);
    if (flags().ltcEnabled)
        SetpointCheck::Sent({u"LTC"_s,
                             u"low-temperature controller"_s,
                             NumberText::Exact(setpoint),
                             {u"K"_s, LTCAskSetpoint, table().resolution, LTCIsRamping}});
    return status;
}

qint16 LTCGetStatus(Parameters& parameters)
{
    modTC::Show(u"Status query..."_s);
    qint16 status = 0;
    if (!flags().ltcEnabled) {
        parameters = {11, 22, 33, 3, 55};
    } else {
        parameters = Parameters{};
        status = isModel(familyDrc) ? statusDrc(parameters) : isModel(LakeShore331) ? status331(parameters) : status330(parameters);
    }
    modTools::WriteLog(false, u"LTCGetStatus(P:"_s + NumberText::General(parameters.p) + u"; I:"_s + NumberText::General(parameters.i) +
                                  u"; D:"_s + NumberText::General(parameters.d) + u"; Range:"_s +
                                  NumberText::General(qint32{parameters.range}) + u"; Power:"_s +
                                  NumberText::General(qint32{parameters.power}) + u")"_s);
    return status;
}

qint16 LTCSetPID(float p, float i, float d)
{
    QStringList lines = table().setPid;
    for (QString& line : lines) {
        line.replace(u"%1"_s, NumberText::General(p));
        line.replace(u"%2"_s, NumberText::General(i));
        line.replace(u"%3"_s, NumberText::General(d));
    }
    return tellAll(lines);
}

qint16 LTCSetRange(qint16 range)
{
    QString reply;
    const qint16 status = tell(table().setRange.arg(NumberText::General(qint32{range})), &reply);
    LTCKnown::SentRange(range, reply);
    return status;
}

qint16 LTCSetRamp(float rate)
{
    QStringList lines = rate <= 0 ? table().rampOff : table().rampOn;
    for (QString& line : lines)
        line.replace(u"%1"_s, NumberText::General(rate));
    return tellAll(lines);
}

qint16 LTCGetTuneStatus(qint16& state)
{
    return askInteger(table().readTune, state);
}

qint16 LTCSetTuneStatus(qint16 state)
{
    if (table().setTune.isEmpty())
        return -1;
    return tell(table().setTune.arg(NumberText::General(qint32{state})));
}

qint16 LTCCheckPresence()
{
    while (!isPresent()) {
        if (flags().closing)
            return -1;
        Prompts::Message box;
        box.title = u"LTC check"_s;
        box.text = checkText();
        box.buttons = Prompts::Buttons::AbortRetryIgnore;
        box.defaultButton = 2;
        box.goesOn = Prompts::Button::Ignore;
        box.safe = box.unattended = Prompts::Button::Ignore;
        if (prompts().message(box) != Prompts::Button::Retry)
            return -1;
    }
    if (isModel(family330)) {
        qint16 tune = -1;
        LTCGetTuneStatus(tune);
        LTCShowTune(tune > 0);
    }
    return 0;
}

void LTCReportInitialization()
{
    const QString& command = state().unanswered.value(0);
    if (!command.isEmpty())
        modTC::ReportSilence(u"LTC check"_s,
                             u"The initialization of the low-temperature controller failed:"_s + u"\r\n"_s + u"no reply to '"_s + command +
                                 u"'."_s + LTCFaultText(),
                             Prompts::Icon::Exclamation);
}

void LTCShowTune(bool on)
{
    frontPanel().setEntryCaption(Menu::Entry::mnuLTCAutoTune, on ? u"&Autotuning (is ON)"_s : u"&Autotuning (is OFF)"_s);
}

qint16 LTCWaitUntilThere(float setpoint, double silenceLimit)
{
    modTools::WriteLog(false, u"LTCWaitUntilThere("_s + NumberText::General(setpoint) + u")"_s);
    SteadyState::Wait wait;
    wait.setpoint = setpoint;
    wait.unit = u"K"_s;
    wait.title = u"LTC"_s;
    wait.heading = u"Control Parameter: "_s + state().controlParameterText;
    wait.silenceLimit = silenceLimit;
    wait.activity = u"LTC: Waiting for steady state..."_s;
    wait.controller = u"LTC"_s;
    wait.temperature = LTCReading;
    return SteadyState::Run(wait);
}

qint16 LTCDefault()
{
    qint16 status = LTCInit();
    status |= tellAll(table().afterDefault);
    LTCKnown::SentRange(0, {});
    state().controlParameterText.clear();
    return status;
}

bool LTCConfirmDefault(QString* said)
{
    Parameters now;
    const bool inRecord = table().readRange.isEmpty();
    const qint16 status = inRecord ? LTCGetStatus(now) : askInteger(table().readRange, now.range, LTCKnown::Range);
    // What is no number is no 0 either.
    const Known<bool> output = instrument().controllers.value(u"LTC"_s).output;
    const bool answered = status == 0 && now.range >= 0 && (inRecord || output.isConfirmed());
    if (isModel(family330)) {
        qint16 tune = -1;
        if (LTCGetTuneStatus(tune) == 0)
            LTCShowTune(tune > 0);
    }
    if (!answered)
        *said = u"The controller did not answer; its heater may still be on."_s + LTCFaultText();
    else if (now.range != 0)
        *said = u"The heater range is still "_s + NumberText::General(qint32{now.range}) + u"."_s;
    return answered && now.range == 0;
}

} // namespace modLTC
