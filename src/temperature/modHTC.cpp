// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modHTC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/SetpointCheck.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modTC.h"

#include <QMap>
#include <QStringList>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
const QString notActive = u"Not active!"_s;
const QString invalidResponse = u"Invalid response!"_s;
const QString unit = u"°C"_s;

constexpr qsizetype replyLength = 116;
constexpr qsizetype payloadFrom = 17; // position 18
constexpr qsizetype payloadLength = 92;
constexpr qsizetype writtenLength = 54;
constexpr qsizetype clearedFrom = 45; // positions 46 to 48 are written as blanks

/// What a message calls a value of the data block, the setpoint aside.
constexpr std::pair<int, const char16_t*> valueNames[] = {{modHTC::P, u"P"},       {modHTC::I, u"I"},
                                                          {modHTC::D, u"D"},       {modHTC::HeaterOutput, u"heater output"},
                                                          {modHTC::Ramp, u"ramp"}, {modHTC::SelfOptimising, u"self-optimising"}};
const QString parametersNotice = u"parameters HTC"_s;
const QString heaterNotice = u"heater HTC"_s;

template <typename Change>
void learnOwn(const Change& change)
{
    learn([&change](Instrument& now) {
        Instrument::Controller& own = now.controllers[u"HTC"_s];
        own.unit = unit;
        change(own);
    });
}

/// What a block of the kind "T" or "F" says; null: none came, or none that can be read.
void learnBlock(const QString& kind, const QString& payload)
{
    learnOwn([&](Instrument::Controller& own) {
        const bool data = kind == u"T"_s;
        if (payload.isNull()) {
            own.temperature.doubt();
            if (data)
                own.setpoint.doubt();
            if (data)
                own.output.doubt();
            return;
        }
        own.temperature.confirm(modHTC::Unpack(payload, modHTC::ActualValue));
        if (data)
            own.setpoint.confirm(modHTC::Unpack(payload, modHTC::Setpoint));
        if (data)
            own.output.confirm(modHTC::Unpack(payload, modHTC::HeaterOutput) != 0);
    });
}

quint16 packable(double value)
{
    return static_cast<quint16>(std::clamp(NumberText::RoundToLong(value), 0, 65535));
}

qint16 reportFailure(const QString& caption)
{
    modTC::ReportSilence(caption, u"Unable to query HTC."_s + u"\r\n"_s + u"Function aborted..."_s, Prompts::Icon::Exclamation);
    return -1;
}

/// Shows the block that an operation works with, and waits before its next line.
void showBlock(const QString& payload)
{
    modTC::Show(u"HTC 5218: "_s + payload);
    if (configuration().ltc.line.txDelay > 0)
        modTools::Delay(configuration().ltc.line.txDelay, true);
}

/// Reads a block for an operation; a failure is reported under the operation's name.
qint16 readBlock(const QString& kind, const QString& operation, QString* payload)
{
    *payload = modHTC::HTCQuery(kind);
    if (!modHTC::IsPayload(*payload))
        return reportFailure(operation + u" - HTCQuery"_s);
    showBlock(*payload);
    return 0;
}

/// Writes the data block back with the changes.
void writeBlock(const QString& payload, const QMap<int, quint16>& changes)
{
    QString block = payload.left(writtenLength);
    block.replace(clearedFrom, 3, u"   "_s);
    for (auto change = changes.cbegin(); change != changes.cend(); ++change) {
        block.replace(change.key() - 1, 3, modHTC::Pack(change.value()));
        modHTC::state().written[change.key()] = change.value();
    }
    modHTC::HTCOutput(u"S001  T "_s + block + modHTC::Checksum(block) + u"Q"_s);
    if (!modTC::LineTakes())
        return;
    learnOwn([&changes](Instrument::Controller& own) {
        if (changes.contains(modHTC::Setpoint))
            own.setpoint.ask(changes[modHTC::Setpoint]);
        if (changes.contains(modHTC::HeaterOutput))
            own.output.ask(changes[modHTC::HeaterOutput] != 0);
    });
}

/// Three characters that a packed value can have.
bool isPacked(const QString& payload, int position)
{
    const QStringView three = QStringView(payload).mid(position - 1, 3);
    return three == modHTC::Pack(modHTC::Unpack(payload, position));
}

/// A payload with a character below blank, or with a value that no packing gives, was garbled on the way: written back, it would change
/// what nobody wanted changed.
bool isReadable(const QString& payload)
{
    const bool printable = std::all_of(payload.begin(), payload.end(), [](QChar character) { return character.unicode() >= 32; });
    bool packed = isPacked(payload, modHTC::Setpoint);
    for (const auto& [position, name] : valueNames)
        packed = packed && isPacked(payload, position);
    return printable && packed;
}

/// True after a message, when a payload must not be written back.
bool refused(const QString& payload, const QString& operation)
{
    if (isReadable(payload))
        return false;
    modTC::ReportSilence(operation, invalidResponse, Prompts::Icon::Exclamation);
    return true;
}

qint16 changeBlock(const QString& operation, const QMap<int, quint16>& changes)
{
    QString payload;
    if (readBlock(u"T"_s, operation, &payload) != 0 || refused(payload, operation))
        return -1;
    writeBlock(payload, changes);
    return 0;
}

QString stateText(int position, quint16 value)
{
    if (position == modHTC::HeaterOutput || position == modHTC::SelfOptimising)
        return value != 0 ? u"on"_s : u"off"_s;
    return NumberText::General(qint32{value});
}

/// Compares what was written since the last time, the setpoint aside, with the block that the controller has now.
bool compareWritten(const QString& payload)
{
    QStringList differences;
    for (const auto& [position, name] : valueNames) {
        const auto written = modHTC::state().written.constFind(position);
        const quint16 now = modHTC::Unpack(payload, position);
        if (written != modHTC::state().written.cend() && *written != now)
            differences +=
                QString::fromUtf16(name) + u' ' + stateText(position, *written) + u" (it says "_s + stateText(position, now) + u')';
    }
    modHTC::state().written.clear();
    if (differences.isEmpty())
        Notices::take(parametersNotice);
    else
        Notices::show(parametersNotice, u"The high-temperature controller has not taken "_s + differences.join(u", "_s) + u"."_s);
    return differences.isEmpty();
}

/// Warns of a setpoint that nothing heats to.
void warnOfHeater(const modHTC::DataBlock& block)
{
    if (block.heaterOutput || block.setpoint <= Temperature::roomTemperature)
        Notices::take(heaterNotice);
    else
        Notices::show(heaterNotice, u"The heater output is off. The setpoint of "_s + NumberText::General(qint32{block.setpoint}) + u' ' +
                                        unit + u" has no effect on the furnace until it is switched on."_s);
}

modHTC::DataBlock unpacked(const QString& payload)
{
    using namespace modHTC;
    DataBlock block;
    block.setpoint = Unpack(payload, Setpoint);
    block.p = Unpack(payload, P);
    block.i = Unpack(payload, I);
    block.d = Unpack(payload, D);
    block.heaterOutput = Unpack(payload, HeaterOutput) != 0;
    block.lowerLimit = Unpack(payload, LowerLimit);
    block.upperLimit = Unpack(payload, UpperLimit);
    block.ramp = Unpack(payload, Ramp);
    block.selfOptimising = Unpack(payload, SelfOptimising);
    return block;
}

/// What must not go out: the line takes values from 0 to `TMax`, whatever a calibration makes of the setpoint.
QString calibrationRefusal(double setpoint)
{
    const double calibrated = modHTC::CalibratedSetpoint(setpoint);
    const double highest = configuration().htc.tMax;
    if (std::isfinite(calibrated) && calibrated >= 0 && calibrated <= highest)
        return {};
    return u"The calibrated setpoint of "_s + NumberText::General(calibrated) + u' ' + unit + u" lies outside 0 "_s + unit + u" ... "_s +
           NumberText::General(highest) + u' ' + unit + u"!"_s;
}

/// True after a message, when nothing may be sent.
bool refusesToSend(const QString& why)
{
    if (!why.isEmpty())
        showMessage(u"New setpoint"_s, why, Prompts::Icon::Exclamation);
    return !why.isEmpty();
}

void showHeaterCaption(bool on)
{
    frontPanel().setEntryCaption(Menu::Entry::mnuHTCHeaterOutput, on ? u"Heater &Output (is ON)"_s : u"Heater &Output (is OFF)"_s);
}

bool repeatsOneCharacter(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [&text](QChar character) { return character == text.front(); });
}

} // namespace

namespace modHTC {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    state() = State{};
    resetStabilization();
}

qint16 HTCOutput(const QString& command)
{
    modTools::WriteLog(false, u"HTCOutput("_s + command + u"<cr><lf>)"_s);
    // What a write was acknowledged with is still there at the next line: no news for the operator.
    modTC::Send(command + u"\r\n"_s, {});
    return 0;
}

QString HTCQuery(const QString& kind)
{
    if (flags().showCommunication)
        modTC::Show(kind == u"T"_s ? u"HTC 5218: Data block query"_s : u"HTC 5218: Value block query"_s);
    modCOM::ClearTCCommRxBuffer();
    HTCOutput(u"R001N"_s + kind + u"?"_s);
    if (!modTC::WaitForReply() && !flags().closing)
        modTools::WriteLog(false, u"HTCQuery - Timeout occurred!"_s);
    const QString reply = modTC::state().receiveText;
    modTools::WriteLog(false, u"HTCQuery - Response: "_s + reply);
    modTC::state().receiveText.clear();
    const QString payload = reply.size() == replyLength && !repeatsOneCharacter(reply) ? reply.mid(payloadFrom, payloadLength) : QString();
    learnBlock(kind, payload);
    if (reply.isEmpty() || repeatsOneCharacter(reply))
        return notActive;
    return payload.isNull() ? invalidResponse : payload;
}

bool IsPayload(const QString& answer)
{
    return answer != notActive && answer != invalidResponse;
}

double CalibratedSetpoint(double setpoint)
{
    const Configuration::HTC& htc = configuration().htc;
    return htc.calibration ? htc.calibrationOffset + htc.calibrationFactor * setpoint : setpoint;
}

qint16 NewSetpoint(double setpoint)
{
    if (refusesToSend(calibrationRefusal(setpoint)))
        return -1;
    modTools::WriteLog(false, u"NewSetpoint("_s + NumberText::General(setpoint) + unit + u")"_s);
    modTC::Show(u"Setting new temperature set point:"_s + NumberText::Print(setpoint) + unit);
    QString payload;
    if (readBlock(u"T"_s, u"NewSetpoint"_s, &payload) != 0 || refused(payload, u"NewSetpoint"_s))
        return -1;
    const double calibrated = CalibratedSetpoint(setpoint);
    if (configuration().htc.calibration) {
        modTools::WriteLog(false, u"Setpoint:"_s + NumberText::Print(setpoint));
        modTools::WriteLog(false, u"Calibrated Setpoint:"_s + NumberText::Print(calibrated));
    }
    writeBlock(payload, {{Setpoint, packable(calibrated)}});
    SetpointCheck::Sent({u"HTC"_s, u"high-temperature controller"_s, static_cast<double>(packable(calibrated)), {unit, AskSetpoint, 1}});
    return 0;
}

QString SetpointRefusal(double setpoint)
{
    return calibrationRefusal(setpoint);
}

std::optional<double> AskSetpoint()
{
    const QString payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload) || !isReadable(payload))
        return std::nullopt;
    const DataBlock block = unpacked(payload);
    compareWritten(payload);
    showHeaterCaption(block.heaterOutput);
    warnOfHeater(block);
    return block.setpoint;
}

bool ReadBack()
{
    const QString payload = HTCQuery(u"T"_s);
    if (IsPayload(payload) && isReadable(payload)) {
        const DataBlock block = unpacked(payload);
        showHeaterCaption(block.heaterOutput);
        if (block.heaterOutput)
            Notices::take(heaterNotice);
        return compareWritten(payload);
    }
    if (!flags().closing)
        Notices::show(parametersNotice, u"The high-temperature controller does not say whether it has taken what was sent."_s);
    return false;
}

qint16 NewSetpointWithPID(double setpoint, double ramp)
{
    if (refusesToSend(calibrationRefusal(setpoint)))
        return -1;
    if (ramp > 0 && refusesToSend(ramp == std::floor(ramp) ? QString() : u"The ramp rate of the furnace is a whole number of K/min.!"_s))
        return -1;
    PIDTable::Values values;
    PIDTable::Look(PIDFilePath(), static_cast<float>(setpoint), PIDUse(), &values);
    modTC::Show(u"PID's for"_s + NumberText::Print(setpoint) + unit);
    // A ramp of 0 is written too: the block keeps what an earlier step has set.
    if (changeBlock(u"NewSetpoint"_s,
                    {{P, packable(values.p)}, {I, packable(values.i)}, {D, packable(values.d)}, {Ramp, packable(ramp)}}) != 0)
        return -1;
    state().controlParameterText = PIDTable::ValuesText(values, PIDTable::Kind::PID);
    return NewSetpoint(setpoint);
}

qint16 GetDataBlock(DataBlock* block)
{
    if (!flags().htcEnabled) {
        *block = DataBlock{};
        block->p = 77;
        block->i = 88;
        block->d = 99;
        block->lowerLimit = 123;
        block->upperLimit = 1;
        block->ramp = 111;
        block->selfOptimising = 999;
        return 0;
    }
    QString payload;
    if (readBlock(u"T"_s, u"GetDataBlock"_s, &payload) != 0)
        return -1;
    *block = unpacked(payload);
    return 0;
}

qint16 GetValueBlock(ValueBlock* block)
{
    QString payload;
    if (readBlock(u"F"_s, u"GetValueBlock"_s, &payload) != 0)
        return -1;
    *block = {Unpack(payload, 1), UnpackCharacter(payload, 61), UnpackCharacter(payload, 65)};
    return 0;
}

float GetTemperature()
{
    const QString payload = HTCQuery(u"F"_s);
    if (!IsPayload(payload))
        return -1;
    return isPacked(payload, ActualValue) ? static_cast<float>(Unpack(payload, 1)) : SteadyState::noNumber;
}

qint16 SwitchHeaterOutput(bool on)
{
    const QString payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload))
        return reportFailure(payload == notActive ? u"SwitchHeaterOutput - HTCQuery"_s : u"SwitchHeaterOutput - GetDataBlock"_s);
    showBlock(payload);
    if (refused(payload, u"SwitchHeaterOutput"_s))
        return -1;
    // One wrong character can make any setpoint: no heater is switched on with one that nobody can have set.
    if (on && unpacked(payload).setpoint > configuration().htc.tMax) {
        modTC::ReportSilence(u"SwitchHeaterOutput"_s, invalidResponse, Prompts::Icon::Exclamation);
        return -1;
    }
    const bool taken = modTC::LineTakes();
    writeBlock(payload, {{HeaterOutput, on ? quint16{1} : quint16{0}}});
    if (!taken)
        return reportFailure(u"SwitchHeaterOutput - HTCQuery"_s);
    showHeaterCaption(on);
    return 0;
}

bool SwitchOffQuietly(bool* on)
{
    QString payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload) || !isReadable(payload))
        return false;
    writeBlock(payload, {{HeaterOutput, quint16{0}}});
    payload = HTCQuery(u"T"_s);
    // Blanks stand for 0; a block of nothing else says nothing about a heater.
    if (!IsPayload(payload) || !isReadable(payload) || payload.trimmed().isEmpty())
        return false;
    compareWritten(payload);
    *on = unpacked(payload).heaterOutput;
    showHeaterCaption(*on);
    return true;
}

qint16 ToggleSelfOptimising(bool on)
{
    return changeBlock(u"Auto Optimizing"_s, {{SelfOptimising, on ? quint16{1} : quint16{0}}});
}

qint16 SetPID(const PIDTable::Values& values)
{
    if (changeBlock(u"SetPID"_s, {{P, packable(values.p)}, {I, packable(values.i)}, {D, packable(values.d)}}) != 0)
        return -1;
    state().controlParameterText = PIDTable::ValuesText(values, PIDTable::Kind::PID);
    return 0;
}

qint16 HTCCheckPresence()
{
    modTools::WriteLog(false, u"Checking presence of HTC 5218..."_s);
    QString answer = HTCQuery(u"T"_s);
    if (answer == notActive && !flags().closing) {
        modTools::WriteLog(false, u"Checking presence of HTC 5218 (2nd time) ..."_s);
        answer = HTCQuery(u"T"_s);
    }
    if (IsPayload(answer)) {
        modTools::WriteLog(false, u"HTC 5218 active!"_s);
        showHeaterCaption(unpacked(answer).heaterOutput);
        return 0;
    }
    QStringList lines;
    if (answer == notActive)
        lines = {u"High Temperature Controller HTC 5218 does not respond..."_s, u"Please check the following:"_s,
                 u"    - HTC 5218 powered ON?"_s, u"    - HTC 5218 connected to "_s + configuration().ltc.line.name() + u"?"_s,
                 u"    - Cable connection ok?"_s};
    else
        lines = {u"HTC 5218 did not respond as expected..."_s, u"Please check, if the control loop number is set to '1'."_s,
                 u"If yes, switch the controller OFF for a short time before you continue."_s};
    modTC::ReportSilence(u"HTC check"_s, lines.join(u"\r\n"_s), Prompts::Icon::Exclamation);
    return -1;
}

qint16 HTCWaitUntilThere(double setpoint, double silenceLimit, double stallLimit)
{
    SteadyState::Wait wait;
    wait.setpoint = static_cast<float>(setpoint);
    wait.target = static_cast<float>(CalibratedSetpoint(setpoint));
    wait.unit = unit;
    wait.title = u"HTC"_s;
    wait.heading = u"Control Parameter: "_s + state().controlParameterText;
    wait.extraLine = u"Setpoint    (cal.) W:"_s + NumberText::Fixed(CalibratedSetpoint(setpoint), 2) + u" "_s + unit;
    wait.silenceLimit = silenceLimit;
    wait.stallLimit = stallLimit;
    wait.activity = u"HTC 5218: Waiting for steady state..."_s;
    wait.controller = u"HTC"_s;
    wait.temperature = [] { return GetTemperature(); };
    return SteadyState::Run(wait);
}

} // namespace modHTC
