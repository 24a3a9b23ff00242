// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modHTC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "serial/modCOM.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modTC.h"

#include <algorithm>
#include <memory>
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

/// One value to be written into the data block.
struct Change
{
    int position;
    quint16 value;
};

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

QString whole(double value)
{
    return NumberText::General(NumberText::RoundToLong(value));
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
void writeBlock(const QString& payload, const QList<Change>& changes)
{
    QString block = payload.left(writtenLength);
    block.replace(clearedFrom, 3, u"   "_s);
    for (const Change& change : changes)
        block.replace(change.position - 1, 3, modHTC::Pack(change.value));
    modHTC::HTCOutput(u"S001  T "_s + block + modHTC::Checksum(block) + u"Q"_s);
    if (!modTC::LineTakes())
        return;
    learnOwn([&changes](Instrument::Controller& own) {
        for (const Change& change : changes) {
            if (change.position == modHTC::Setpoint)
                own.setpoint.ask(change.value);
            else if (change.position == modHTC::HeaterOutput)
                own.output.ask(change.value != 0);
        }
    });
}

qint16 changeBlock(const QString& operation, const QList<Change>& changes)
{
    QString payload;
    if (readBlock(u"T"_s, operation, &payload) != 0)
        return -1;
    writeBlock(payload, changes);
    return 0;
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

void showHeaterCaption(bool on)
{
    frontPanel().setEntryCaption(Menu::Entry::mnuHTCHeaterOutput, on ? u"Heater &Output (is ON)"_s : u"Heater &Output (is OFF)"_s);
}

bool repeatsOneCharacter(const QString& text)
{
    return std::all_of(text.begin(), text.end(), [&text](QChar character) { return character == text.front(); });
}

bool askSetpoint(const QString& prompt, double* setpoint)
{
    modHTC::DataBlock block;
    if (modHTC::GetDataBlock(&block) != 0)
        return false;
    const Configuration::HTC& htc = configuration().htc;
    return modTC::AskSetpoint(prompt, whole(block.setpoint), {double(htc.tMin), double(htc.tMax), unit}, setpoint);
}
/// The time that a sample takes to follow the laser, counted by ticks so that nothing else is held up.
struct Stabilization
{
    Stabilization()
    {
        second.setInterval(1000);
        QObject::connect(&second, &modTools::Timer::tick, &second, [this] {
            --left;
            if (!over())
                show();
            else if (beside)
                end();
        });
    }

    void begin(int seconds)
    {
        left = seconds;
        beside = false;
        second.restart();
        if (!over())
            show();
    }
    bool over() const { return left <= 0 || flags().abort || flags().closing; }
    void show() const { modTC::Show(u"Temperature stabilization delay: "_s + NumberText::General(qint32{left}) + u" seconds..."_s); }
    qint16 end()
    {
        second.setEnabled(false);
        modTC::Show({});
        const bool aborted = flags().abort || flags().closing;
        if (std::exchange(beside, false))
            flags().abort = false;
        operation.reset();
        return aborted ? SteadyState::Aborted : SteadyState::Settled;
    }

    modTools::Timer second{"Stabilization"};
    int left = 0;
    bool beside = false;                  ///< goes on by ticks, and nobody waits for it
    std::unique_ptr<Operation> operation; ///< of one that does
};

Stabilization& stabilization()
{
    static Stabilization theWait;
    return theWait;
}
} // namespace

namespace modHTC {
State& state()
{
    static State theState;
    return theState;
}

QString Pack(quint16 value)
{
    // 6, 6 and 4 bits: the device's own uneven split.
    return QString(QChar(value / 1024 + 32)) + QChar(value % 1024 / 16 + 32) + QChar(value % 16 + 32);
}

quint16 Unpack(const QString& block, int position)
{
    if (position < 1 || block.size() < position + 2)
        return 0;
    const auto code = [&](int offset) { return block[position - 1 + offset].unicode() - 32; };
    return static_cast<quint16>(code(0) * 1024 + code(1) * 16 + code(2));
}

quint16 UnpackCharacter(const QString& block, int position)
{
    return position >= 1 && block.size() >= position ? static_cast<quint16>(block[position - 1].unicode() - 32) : quint16{0};
}

QString Checksum(const QString& block)
{
    quint16 sum = 0;
    for (const QChar character : block)
        sum = static_cast<quint16>(sum + character.unicode());
    return QString::number(sum, 16).toUpper().rightJustified(4, u'0');
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
    modTools::WriteLog(false, u"NewSetpoint("_s + NumberText::General(setpoint) + unit + u")"_s);
    modTC::Show(u"Setting new temperature set point:"_s + NumberText::Print(setpoint) + unit);
    QString payload;
    if (readBlock(u"T"_s, u"NewSetpoint"_s, &payload) != 0)
        return -1;
    const double calibrated = CalibratedSetpoint(setpoint);
    if (configuration().htc.calibration) {
        modTools::WriteLog(false, u"Setpoint:"_s + NumberText::Print(setpoint));
        modTools::WriteLog(false, u"Calibrated Setpoint:"_s + NumberText::Print(calibrated));
    }
    writeBlock(payload, {{Setpoint, packable(calibrated)}});
    return 0;
}

qint16 NewSetpointWithPID(double setpoint, double ramp)
{
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
    return IsPayload(payload) ? static_cast<float>(Unpack(payload, 1)) : -1.0F;
}

qint16 SwitchHeaterOutput(bool on)
{
    const QString payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload))
        return reportFailure(payload == notActive ? u"SwitchHeaterOutput - HTCQuery"_s : u"SwitchHeaterOutput - GetDataBlock"_s);
    showBlock(payload);
    writeBlock(payload, {{HeaterOutput, on ? quint16{1} : quint16{0}}});
    showHeaterCaption(on);
    return 0;
}

bool SwitchOffQuietly(bool* on)
{
    QString payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload))
        return false;
    writeBlock(payload, {{HeaterOutput, quint16{0}}});
    payload = HTCQuery(u"T"_s);
    if (!IsPayload(payload))
        return false;
    *on = unpacked(payload).heaterOutput;
    showHeaterCaption(*on);
    return true;
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
    wait.temperature = [] { return GetTemperature(); };
    return SteadyState::Run(wait);
}

qint16 HTC_LaserWaitUntilThere(int seconds)
{
    modTools::WriteLog(false, u"HTC_LaserWaitUntilThere("_s + NumberText::General(qint32{seconds}) + u")"_s);
    Stabilization& wait = stabilization();
    wait.begin(seconds);
    if (Operation::isRunning(Operations::temperature) && !Operation::nothingWaits(Operations::temperature)) {
        wait.beside = true;
        return SteadyState::GoesOn;
    }
    modTools::WaitUntil([&wait] { return wait.over(); });
    return wait.end();
}

void reset()
{
    modHTC::state() = State{};
    stabilization().second.setEnabled(false);
    stabilization().beside = false;
    stabilization().operation.reset();
}

bool stabilizesByTicks()
{
    return stabilization().beside;
}

void carryStabilization(std::unique_ptr<Operation> operation)
{
    if (stabilization().beside)
        stabilization().operation = std::move(operation);
}

void mnuHTCQueryTemperature()
{
    ValueBlock block;
    if (GetValueBlock(&block) == 0)
        showMessage(u"HTC"_s, u"Current temperature is:"_s + NumberText::Print(qint32{block.temperature}) + u" "_s + unit);
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
    if (GetDataBlock(&block) == 0)
        SwitchHeaterOutput(!block.heaterOutput);
}

void mnuHTCAutoOptimize()
{
    DataBlock block;
    if (GetDataBlock(&block) == 0)
        changeBlock(u"Auto Optimizing"_s, {{SelfOptimising, block.selfOptimising != 0 ? quint16{0} : quint16{1}}});
}
} // namespace modHTC
