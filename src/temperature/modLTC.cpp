// SPDX-License-Identifier: GPL-3.0-or-later
// Longer than others: the commands of five models stand in one table with the procedures that use them.

#include "temperature/modLTC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "gpib/modGPIB.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/LTCKnown.h"
#include "temperature/SteadyState.h"
#include "temperature/modLTC_RPID.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
constexpr int family330 = modLTC::LakeShore330 | modLTC::LakeShore331As330;
constexpr int familyDrc = modLTC::DRC91CA | modLTC::DRC81C;

/// What a family of controllers is told. "%1" stands for the value; a line with "?" is answered. An empty list: the family has no such
/// command.
struct Commands
{
    QStringList init;
    QString temperature;
    QString readSetpoint;
    QString setSetpoint;
    QStringList setPid; ///< %1 P, %2 I, %3 D
    QString setRange;
    QStringList rampOff;
    QStringList rampOn;
    QString readTune;
    QString setTune;
    QStringList afterDefault; ///< sent after init by "Restore Default Settings"
};

const Commands& commands()
{
    static const QStringList units = {u"SCHN A;SCHN?"_s, u"SUNI K;SUNI?"_s, u"CCHN A;CCHN?"_s, u"CUNI K;CUNI?"_s};
    static const Commands of330 = {QStringList{u"*RST"_s} + units,
                                   u"SDAT?"_s,
                                   u"SETP?"_s,
                                   u"SETP %1"_s,
                                   {u"GAIN %1;GAIN?"_s, u"RSET %2;RSET?"_s, u"RATE %3;RATE?"_s},
                                   u"RANG %1;RANG?"_s,
                                   {u"RAMP 0"_s},
                                   {u"RAMP 1"_s, u"RAMPR %1"_s},
                                   u"TUNE?"_s,
                                   u"TUNE %1;TUNE?"_s,
                                   {u"RANG 0;RANG?"_s, u"TUNE 0;TUNE?"_s}};
    static const Commands of331As330 = [] {
        Commands table = of330;
        table.init = QStringList{u"*RST"_s, u"EMUL 1"_s} + units;
        return table;
    }();
    static const Commands of331 = {{u"*RST"_s},   u"KRDG?"_s,         u"SETP? 1"_s,       u"SETP 1, %1"_s, {u"PID 1, %1, %2, %3"_s},
                                   u"RANGE %1"_s, {u"RAMP 1,0,%1"_s}, {u"RAMP 1,1,%1"_s}, u"TUNEST?"_s,    {},
                                   {u"RANGE 0"_s}};
    static const Commands ofDrc = {{u"C"_s}, u"WS"_s, u"WP"_s, u"S%1"_s, {u"P%1"_s, u"I%2"_s, u"D%3"_s}, u"R%1"_s, {},
                                   {},       {},      {},      {u"R0"_s}};

    switch (configuration().ltc.modelCode) {
    case modLTC::LakeShore330:
        return of330;
    case modLTC::LakeShore331As330:
        return of331As330;
    case modLTC::LakeShore331:
        return of331;
    default:
        return ofDrc;
    }
}

bool isModel(int mask)
{
    return (configuration().ltc.modelCode & mask) != 0;
}

QString recordCommand()
{
    return isModel(modLTC::DRC91CA) ? u"W3"_s : u"W1"_s;
}

/// Sends a line and reads the reply when the line asks for one.
qint16 tell(QString line, QString* reply = nullptr)
{
    if (!flags().ltcEnabled)
        return -1;
    if (!line.contains(u'?'))
        return modLTC::LTCOutput(line);
    const qint16 status = modLTC::LTCQuery(line);
    if (status == 0 && reply != nullptr)
        *reply = line;
    return status;
}

qint16 tellAll(const QStringList& lines)
{
    qint16 status = 0;
    for (const QString& line : lines)
        if (tell(line) != 0)
            status = -1;
    return status;
}

/// Asks one question; the reply is empty when there was none.
qint16 ask(const QString& question, QString& reply)
{
    reply = question;
    if (flags().ltcEnabled && !question.isEmpty() && modLTC::LTCQuery(reply) == 0)
        return 0;
    reply.clear();
    return -1;
}

/// `told` is shown the reply.
qint16 askNumber(const QString& question, float& value, void (*told)(const QString& reply) = nullptr)
{
    QString reply;
    const qint16 status = ask(question, reply);
    value = status == 0 ? static_cast<float>(NumberText::LeadingNumber(reply)) : -1.0F;
    if (told != nullptr)
        told(reply);
    return status;
}

qint16 askInteger(const QString& question, qint16& value, void (*told)(const QString& reply) = nullptr)
{
    QString reply;
    const qint16 status = ask(question, reply);
    value = status == 0 ? NumberText::RoundToInteger(NumberText::LeadingNumber(reply)) : qint16{-1};
    if (told != nullptr)
        told(reply);
    return status;
}

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
    const qint16 status = ask(recordCommand(), reply);
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
    QString reply = isModel(familyDrc) ? recordCommand() : u"*IDN?"_s;
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

/// Asks for a setpoint, starting from the current one. False when there is nothing to send.
bool askSetpoint(const QString& prompt, float* setpoint)
{
    if (modLTC::LTCGetSetpoint(*setpoint) != 0) {
        modTC::ReportSilence(u"LTC"_s, u"LTC does not respond!"_s, Prompts::Icon::Critical);
        return false;
    }
    double typed = 0;
    if (!modTC::AskSetpoint(prompt, NumberText::General(*setpoint), {modLTC::lowestSetpoint, modLTC::highestSetpoint, u"K"_s}, &typed))
        return false;
    *setpoint = static_cast<float>(typed);
    return true;
}

void showTuneCaption(bool on)
{
    frontPanel().setEntryCaption(Menu::Entry::mnuLTCAutoTune, on ? u"&Autotuning (is ON)"_s : u"&Autotuning (is OFF)"_s);
}
} // namespace

namespace modLTC {
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
    return tellAll(commands().init);
}

qint16 LTCPrepare()
{
    switch (Temperature::state().initialization) {
    case Temperature::Initialization::Whole:
        return LTCInit();
    case Temperature::Initialization::NoReset: {
        QStringList lines = commands().init;
        lines.removeAll(u"*RST"_s);
        lines.removeAll(u"C"_s);
        return tellAll(lines);
    }
    case Temperature::Initialization::None:
        break;
    }
    return 0;
}

qint16 LTCGetTemperature(float& temperature)
{
    modTC::Show(u"Current temperature query..."_s);
    return askNumber(commands().temperature, temperature, LTCKnown::Temperature);
}

float LTCReading()
{
    float temperature = -1;
    return LTCGetTemperature(temperature) == 0 && temperature > 0 ? temperature : -1.0F;
}

qint16 LTCGetSetpoint(float& setpoint)
{
    modTC::Show(u"Setpoint query..."_s);
    return askNumber(commands().readSetpoint, setpoint, LTCKnown::Setpoint);
}

qint16 LTCNewSetpoint(float setpoint)
{
    const qint16 status = tell(commands().setSetpoint.arg(NumberText::General(setpoint)));
    LTCKnown::SentSetpoint(setpoint);
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
    QStringList lines = commands().setPid;
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
    const qint16 status = tell(commands().setRange.arg(NumberText::General(qint32{range})), &reply);
    LTCKnown::SentRange(range, reply);
    return status;
}

qint16 LTCSetRamp(float rate)
{
    QStringList lines = rate <= 0 ? commands().rampOff : commands().rampOn;
    for (QString& line : lines)
        line.replace(u"%1"_s, NumberText::General(rate));
    return tellAll(lines);
}

qint16 LTCGetTuneStatus(qint16& state)
{
    return askInteger(commands().readTune, state);
}

qint16 LTCSetTuneStatus(qint16 state)
{
    if (commands().setTune.isEmpty())
        return -1;
    return tell(commands().setTune.arg(NumberText::General(qint32{state})));
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
        showTuneCaption(tune > 0);
    }
    return 0;
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
    wait.temperature = LTCReading;
    return SteadyState::Run(wait);
}

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
        modTC::ReportSilence(u"LTC"_s, u"LTC did not respond..."_s, Prompts::Icon::Exclamation);
        return;
    }
    if (LTCSetTuneStatus(tune != 0 ? 0 : 1) != 0) {
        const QString text =
            commands().setTune.isEmpty() ? u"This controller cannot be switched to autotuning."_s : u"LTC did not respond..."_s;
        modTC::ReportSilence(u"LTC"_s, text, Prompts::Icon::Exclamation);
        return;
    }
    if (tune == 0)
        showMessage(u"PLEASE NOTE"_s,
                    u"The Autotune function does not set or change the heater range."_s + u"\r\n"_s +
                        u"You have to adjust the heater settings manually."_s,
                    Prompts::Icon::Information);
    showTuneCaption(tune == 0);
}

qint16 LTCDefault()
{
    qint16 status = LTCInit();
    status |= tellAll(commands().afterDefault);
    LTCKnown::SentRange(0, {});
    state().controlParameterText.clear();
    return status;
}

void mnuLTCDefault()
{
    LTCDefault();
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
        modTC::ReportSilence(u"LTC"_s, u"No response..."_s, Prompts::Icon::None);
}

void mnuLTCQueryTemperature()
{
    if (flags().showCommunication) {
        QString diagnostic = u"XDA"_s;
        LTCQuery(diagnostic);
    }
    float temperature = -1;
    if (LTCGetTemperature(temperature) == 0)
        showMessage(u"LTC"_s, u"Current temperature is:"_s + NumberText::Print(temperature) + u" K"_s);
    else
        modTC::ReportSilence(u"LTC"_s, u"LTC does not respond!"_s, Prompts::Icon::Critical);
}
} // namespace modLTC
