// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "LakeShoreController.h"

#include "CommandText.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>
#include <utility>

namespace lab {

namespace {

constexpr std::size_t longestLine = 255;
constexpr std::size_t longestQueue = 64;
constexpr double celsiusZero = 273.15;

// Copper stage: the heat capacity falls away with the temperature; fittings keep it from vanishing.
double stageHeatCapacity(double temperature)
{
    const double cube = temperature * temperature * temperature;
    return 0.8 + 30.0 * cube / (cube + 216'000.0);
}

// The refrigerator draws heat in proportion to its distance from 4 K; the room's radiation comes against it.
double refrigeration(double temperature)
{
    return 0.09 * (temperature - 4.0) - 0.12 * (1.0 - std::pow(temperature / roomTemperature, 4.0));
}

const ThermalBody cryostat{stageHeatCapacity, refrigeration, 12.0, 2e-4};

bool isDrc(LakeShoreModel model)
{
    return model == LakeShoreModel::drc91 || model == LakeShoreModel::drc81;
}

} // namespace

const std::vector<LakeShoreEntry>& lakeShoreTable()
{
    using Model = LakeShoreModel;
    static const std::vector<double> three{0.0, 0.5, 5.0, 50.0};
    static const std::vector<LakeShoreEntry> table{
        {Model::ls330, "330", "LakeShore 330", "ls330", "1200,o,7,1", 1200, 0.5, 0.008, three},
        {Model::ls331, "331", "LakeShore 331", "ls331", "9600,o,7,1", 9600, 0.05, 0.003, three},
        {Model::ls331Emulating330, "emu", "LakeShore 331 emulating the 330", "ls331emuls330", "9600,o,7,1", 9600, 0.05, 0.003, three},
        {Model::drc91, "drc91", "LakeShore DRC-91CA", "drc91", "9600,n,8,1", 9600, 0.5, 0.02, {0.0, 0.005, 0.05, 0.5, 5.0, 50.0}},
        {Model::drc81, "drc81", "LakeShore DRC-81C", "drc81", "9600,n,8,1", 9600, 0.5, 0.02, {0.0, 0.05, 0.5, 5.0, 50.0}},
    };
    return table;
}

const LakeShoreEntry& lakeShoreEntry(LakeShoreModel model)
{
    const auto& table = lakeShoreTable();
    return *std::find_if(table.begin(), table.end(), [model](const LakeShoreEntry& entry) { return entry.model == model; });
}

LakeShoreController::LakeShoreController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, LakeShoreModel model,
                                         std::optional<double> regulatesAt)
    : Device(laboratory, "LTC", std::move(faults), trace),
      entry_(lakeShoreEntry(model)),
      regulatesAt_(regulatesAt),
      cryostat_(cryostat, regulatesAt.value_or(roomTemperature), laboratory.now(),
                [this](double temperature) { return heat(temperature); }),
      loop_(regulatesAt.value_or(roomTemperature)),
      emulating_(model == LakeShoreModel::ls331Emulating330)
{
    useParameters();
    regulate();
    laboratory.setSampleTemperature([this](Time time) {
        advance();
        return cryostat_.sample(time);
    });
}

double LakeShoreController::stageTemperature()
{
    advance();
    return cryostat_.stage(laboratory().now());
}

double LakeShoreController::sampleTemperature()
{
    advance();
    return cryostat_.sample(laboratory().now());
}

// ---------------------------------------------------------------------------------------------------- control

double LakeShoreController::heat(double temperature)
{
    const double full = entry_.ranges[static_cast<std::size_t>(range_)];
    if (full > 0.0)
        output_ = loop_.step(temperature, ThermalModel::stepSeconds);
    else
        loop_.idle(temperature, ThermalModel::stepSeconds);
    if (full <= 0.0)
        output_ = 0.0;
    return power_ = output_ * full;
}

// Gain is percent of the full output per kelvin; reset is the reciprocal of the integral time (1000 s or, for the DRC models,
// 100 s divided by the value); rate is percent, 100 being a quarter of the integral time.
void LakeShoreController::useParameters()
{
    loop_.gain = p_ / 100.0;
    loop_.integralSeconds = i_ > 0.0 ? (isDrc(entry_.model) ? 100.0 : 1000.0) / i_ : 0.0;
    loop_.derivativeSeconds = d_ / 100.0 * loop_.integralSeconds / 4.0;
    loop_.ramp = rampOn_ ? rampRate_ / 60.0 : 0.0;
}

void LakeShoreController::newSetpoint(double kelvin)
{
    if (!(kelvin >= 0.0 && kelvin <= highestSetpoint)) {
        remark(obeying_, "setpoint refused");
        return;
    }
    loop_.setSetpoint(kelvin, range_ > 0 ? loop_.setpoint() : cryostat_.stage(obeying_));
    if (tune_ >= 1 && tune_ <= 3)
        tuneFor(kelvin);
}

// What autotuning comes to: a closed loop of about three seconds at the new setpoint.
void LakeShoreController::tuneFor(double kelvin)
{
    const double full = std::max(0.5, entry_.ranges[static_cast<std::size_t>(range_)]);
    p_ = std::clamp(std::round(100.0 * stageHeatCapacity(kelvin) / (3.0 * full)), 1.0, 999.0);
    if (tune_ >= 2)
        i_ = 40.0;
    if (tune_ == 3)
        d_ = 20.0;
    useParameters();
}

void LakeShoreController::setParameter(double& parameter, double value, double highest)
{
    if (value >= 0.0 && value <= highest)
        parameter = value;
    else
        remark(obeying_, "parameter refused");
    useParameters();
}

void LakeShoreController::setRange(double value)
{
    if (value >= 0.0 && value < static_cast<double>(entry_.ranges.size()) - 0.5)
        range_ = static_cast<int>(std::lround(value));
    else
        remark(obeying_, "heater range refused");
}

void LakeShoreController::reset()
{
    range_ = 0;
    tune_ = 0;
    rampOn_ = false;
    sampleChannel_ = controlChannel_ = 'A';
    sampleUnit_ = controlUnit_ = 'K';
    useParameters();
    regulate();
}

// With the settings that were stored.
void LakeShoreController::regulate()
{
    if (!regulatesAt_)
        return;
    range_ = static_cast<int>(entry_.ranges.size()) - 1;
    loop_.setSetpoint(*regulatesAt_, *regulatesAt_);
    tune_ = 3;
    tuneFor(*regulatesAt_);
    tune_ = 0;
}

void LakeShoreController::powerCycle()
{
    partial_.clear();
    lines_.clear();
    longRecord_ = false;
    reset();
}

void LakeShoreController::switchOff()
{
    rangeBefore_ = range_;
    powerCycle();
}

void LakeShoreController::switchOn()
{
    range_ = rangeBefore_;
}

// A reading scatters, but looking twice at the same moment shows the same value.
double LakeShoreController::reading(char channel)
{
    const double exact = channel == 'B' ? cryostat_.sample(obeying_) : cryostat_.stage(obeying_);
    Chance chance(static_cast<std::uint64_t>(cryostat_.stepAt(obeying_)) * 2U + (channel == 'B' ? 1U : 0U));
    const double radius = std::sqrt(-2.0 * std::log(1.0 - chance.uniform()));
    return exact + entry_.noise * radius * std::cos(2.0 * std::numbers::pi * chance.uniform());
}

double LakeShoreController::inUnit(double kelvin, char unit) const
{
    return unit == 'C' ? kelvin - celsiusZero : kelvin;
}

int LakeShoreController::toldRange() const
{
    return readsBackWrong() ? (range_ + 1) % static_cast<int>(entry_.ranges.size()) : range_;
}

// ------------------------------------------------------------------------------------------------------- lines

void LakeShoreController::takeByte(char byte)
{
    if (byte != '\r' && byte != '\n') {
        if (partial_.size() < longestLine)
            partial_ += byte;
        return;
    }
    const std::string line(trimmed(std::exchange(partial_, {})));
    if (line.empty())
        return;
    if (lines_.size() < longestQueue)
        lines_.emplace_back(laboratory().now(), line);
    else
        remark("lost, too many lines at once: " + line);
    advance();
}

void LakeShoreController::advance()
{
    const Time now = laboratory().now();
    while (!lines_.empty()) {
        const Time turn = std::max(free_, lines_.front().first);
        if (turn > now)
            break;
        cryostat_.advanceTo(turn);
        const std::string line = std::move(lines_.front().second);
        lines_.pop_front();
        obeying_ = turn;
        free_ = turn + fromSeconds(entry_.secondsPerLine);
        obeyLine(line);
    }
    cryostat_.advanceTo(now);
}

std::optional<Time> LakeShoreController::answerDue() const
{
    if (lines_.empty())
        return std::nullopt;
    return std::max(free_, lines_.front().first);
}

void LakeShoreController::obeyLine(std::string_view line)
{
    if (!commandReceived(line))
        return;
    if (isDrc(entry_.model))
        obeyLetters(line);
    else
        obeyChain(line);
}

void LakeShoreController::answerLine(std::string text)
{
    reply(obeying_, std::move(text) + "\r\n");
}

void LakeShoreController::answer(const char* format, double value)
{
    answerLine(formatted(format, value));
}

// ------------------------------------------------------------------------------------------------- 330 and 331

const std::vector<LakeShoreController::Command> LakeShoreController::commonCommands{
    {"*IDN?", &LakeShoreController::identify},
    {"*RST", &LakeShoreController::resetCommand},
};

const std::vector<LakeShoreController::Command> LakeShoreController::commands330{
    {"SDAT?", &LakeShoreController::askSample},        {"CDAT?", &LakeShoreController::askControl},
    {"SETP?", &LakeShoreController::askSetpoint},      {"GAIN?", &LakeShoreController::askGain},
    {"RSET?", &LakeShoreController::askReset},         {"RATE?", &LakeShoreController::askRate},
    {"RANG?", &LakeShoreController::askRange},         {"HEAT?", &LakeShoreController::askHeat},
    {"RAMP?", &LakeShoreController::askRamp},          {"RAMPR?", &LakeShoreController::askRampRate},
    {"RAMPS?", &LakeShoreController::askRampState},    {"TUNE?", &LakeShoreController::askTune},
    {"SCHN?", &LakeShoreController::askSampleChannel}, {"CCHN?", &LakeShoreController::askControlChannel},
    {"SUNI?", &LakeShoreController::askSampleUnit},    {"CUNI?", &LakeShoreController::askControlUnit},
    {"SETP", &LakeShoreController::setSetpoint},       {"GAIN", &LakeShoreController::setGain},
    {"RSET", &LakeShoreController::setReset},          {"RATE", &LakeShoreController::setRate},
    {"RANG", &LakeShoreController::setRangeOf330},     {"RAMP", &LakeShoreController::setRamp},
    {"RAMPR", &LakeShoreController::setRampRate},      {"TUNE", &LakeShoreController::setTune},
    {"SCHN", &LakeShoreController::setSampleChannel},  {"CCHN", &LakeShoreController::setControlChannel},
    {"SUNI", &LakeShoreController::setSampleUnit},     {"CUNI", &LakeShoreController::setControlUnit},
};

const std::vector<LakeShoreController::Command> LakeShoreController::commands331{
    {"KRDG?", &LakeShoreController::askKelvin},       {"CRDG?", &LakeShoreController::askCelsius},
    {"SETP?", &LakeShoreController::askLoopSetpoint}, {"PID?", &LakeShoreController::askPid},
    {"RANGE?", &LakeShoreController::askRange},       {"HTR?", &LakeShoreController::askHeater},
    {"RAMP?", &LakeShoreController::askLoopRamp},     {"RAMPST?", &LakeShoreController::askRampState},
    {"TUNEST?", &LakeShoreController::askTuning},     {"CMODE?", &LakeShoreController::askMode},
    {"SETP", &LakeShoreController::setLoopSetpoint},  {"PID", &LakeShoreController::setPid},
    {"RANGE", &LakeShoreController::setRangeOf330},   {"RAMP", &LakeShoreController::setLoopRamp},
    {"CMODE", &LakeShoreController::setMode},
};

void LakeShoreController::obeyChain(std::string_view line)
{
    for (const std::string_view part : split(line, ';'))
        if (!part.empty())
            obeyOne(part);
}

void LakeShoreController::obeyOne(std::string_view text)
{
    const std::size_t blank = text.find(' ');
    const std::string_view name = text.substr(0, blank);
    const std::string_view arguments = blank == std::string_view::npos ? std::string_view() : trimmed(text.substr(blank));
    const bool speaks330 = entry_.model == LakeShoreModel::ls330 || emulating_;
    static const std::vector<Command> emulation{{"EMUL", &LakeShoreController::emulate}, {"EMUL?", &LakeShoreController::askEmulation}};
    std::vector<const std::vector<Command>*> tables{&commonCommands, speaks330 ? &commands330 : &commands331};
    if (entry_.model != LakeShoreModel::ls330)
        tables.push_back(&emulation);
    for (const auto* table : tables)
        for (const Command& command : *table)
            if (command.name == name)
                return (this->*command.obey)(arguments);
    remark(obeying_, "passed over: " + std::string(text));
}

void LakeShoreController::identify(std::string_view)
{
    answerLine(entry_.model == LakeShoreModel::ls330 ? "LSCI,MODEL330,123456,020399" : "LSCI,MODEL331S,123456,020399");
}

void LakeShoreController::emulate(std::string_view arguments)
{
    emulating_ = numberOf(arguments) > 0.0;
}

void LakeShoreController::askEmulation(std::string_view)
{
    answer("%.0f", emulating_ ? 1 : 0);
}

void LakeShoreController::askSample(std::string_view)
{
    answer("%+07.2f", inUnit(reading(sampleChannel_), sampleUnit_));
}

void LakeShoreController::askControl(std::string_view)
{
    answer("%+07.2f", inUnit(reading('A'), controlUnit_));
}

void LakeShoreController::askSetpoint(std::string_view)
{
    answer("%+07.2f", inUnit(readBack(loop_.setpoint()), controlUnit_));
}

void LakeShoreController::setSetpoint(std::string_view arguments)
{
    newSetpoint(numberOf(arguments) + (controlUnit_ == 'C' ? celsiusZero : 0.0));
}

void LakeShoreController::setGain(std::string_view arguments)
{
    setParameter(p_, numberOf(arguments), 999.0);
}

void LakeShoreController::setReset(std::string_view arguments)
{
    setParameter(i_, numberOf(arguments), 999.0);
}

void LakeShoreController::setRate(std::string_view arguments)
{
    setParameter(d_, numberOf(arguments), 200.0);
}

void LakeShoreController::setRangeOf330(std::string_view arguments)
{
    setRange(numberOf(arguments));
}

void LakeShoreController::setRamp(std::string_view arguments)
{
    rampOn_ = numberOf(arguments) > 0.0;
    useParameters();
}

void LakeShoreController::setRampRate(std::string_view arguments)
{
    setParameter(rampRate_, numberOf(arguments), 100.0);
}

void LakeShoreController::setTune(std::string_view arguments)
{
    const double state = numberOf(arguments);
    if (state >= 0.0 && state <= 4.0)
        tune_ = static_cast<int>(std::lround(state));
}

namespace {

void choose(char& choice, std::string_view arguments, std::string_view possible)
{
    if (arguments.size() == 1 && possible.find(arguments.front()) != std::string_view::npos)
        choice = arguments.front();
}

} // namespace

void LakeShoreController::setSampleChannel(std::string_view arguments)
{
    choose(sampleChannel_, arguments, "AB");
}

// The heater sits on the stage: sensor B can be chosen and shown, the control stays with A.
void LakeShoreController::setControlChannel(std::string_view arguments)
{
    choose(controlChannel_, arguments, "AB");
}

void LakeShoreController::setSampleUnit(std::string_view arguments)
{
    choose(sampleUnit_, arguments, "KC");
}

void LakeShoreController::setControlUnit(std::string_view arguments)
{
    choose(controlUnit_, arguments, "KC");
}

void LakeShoreController::askKelvin(std::string_view arguments)
{
    answer("%+08.3f", reading(arguments == "B" ? 'B' : 'A'));
}

void LakeShoreController::askCelsius(std::string_view arguments)
{
    answer("%+08.3f", inUnit(reading(arguments == "B" ? 'B' : 'A'), 'C'));
}

void LakeShoreController::askLoopSetpoint(std::string_view)
{
    answer("%+08.3f", readBack(loop_.setpoint()));
}

void LakeShoreController::askPid(std::string_view)
{
    answerLine(formatted("%+07.1f", readBack(p_)) + ',' + formatted("%+07.1f", readBack(i_)) + ',' + formatted("%+07.1f", readBack(d_)));
}

void LakeShoreController::askLoopRamp(std::string_view)
{
    answerLine(std::string(rampOn_ != readsBackWrong() ? "1" : "0") + ',' + formatted("%05.1f", readBack(rampRate_)));
}

// Tuning lasts until the temperature has come to the setpoint.
void LakeShoreController::askTuning(std::string_view)
{
    const bool far = std::abs(cryostat_.stage(obeying_) - loop_.target()) > 0.5;
    answer("%.0f", tune_ >= 1 && tune_ <= 3 && far ? 1 : 0);
}

// 1 manual, 2 zone, 4 to 6 tuning of PID, PI and P.
void LakeShoreController::askMode(std::string_view)
{
    static constexpr std::array<int, 5> modes{1, 6, 5, 4, 2};
    answer("%.0f", modes[static_cast<std::size_t>(tune_)]);
}

void LakeShoreController::setMode(std::string_view arguments)
{
    static constexpr std::array<int, 7> states{0, 0, 4, 0, 3, 2, 1};
    const auto parts = split(arguments, ',');
    const double mode = parts.size() == 2 ? numberOf(parts[1]) : 0.0;
    if (mode >= 1.0 && mode <= 6.0)
        tune_ = states[static_cast<std::size_t>(mode)];
}

void LakeShoreController::setLoopSetpoint(std::string_view arguments)
{
    const auto parts = split(arguments, ',');
    if (parts.size() == 2 && parts[0] == "1")
        newSetpoint(numberOf(parts[1]));
}

void LakeShoreController::setPid(std::string_view arguments)
{
    const auto parts = split(arguments, ',');
    if (parts.size() != 4 || parts[0] != "1")
        return;
    setParameter(p_, numberOf(parts[1]), 1000.0);
    setParameter(i_, numberOf(parts[2]), 1000.0);
    setParameter(d_, numberOf(parts[3]), 200.0);
}

void LakeShoreController::setLoopRamp(std::string_view arguments)
{
    const auto parts = split(arguments, ',');
    if (parts.size() != 3 || parts[0] != "1")
        return;
    rampOn_ = parts[1] == "1";
    if (rampOn_)
        setParameter(rampRate_, numberOf(parts[2]), 100.0);
    useParameters();
}

// --------------------------------------------------------------------------------------------------- DRC models

void LakeShoreController::obeyLetters(std::string_view line)
{
    while (!line.empty()) {
        const char letter = line.front();
        if (letter == 'W' || letter == 'X') {
            const std::string_view query = line.substr(0, letter == 'W' ? 2 : 3);
            if (!obeyDrcQuery(query))
                remark(obeying_, "passed over: " + std::string(query));
            line.remove_prefix(query.size());
            continue;
        }
        line.remove_prefix(1);
        double value = 0.0;
        line.remove_prefix(leadingNumber(line, value));
        obeyLetter(letter, value);
    }
}

void LakeShoreController::obeyLetter(char letter, double value)
{
    constexpr double highestParameter = 99.9;
    switch (letter) {
    case 'C':
        longRecord_ = true;
        break;
    case 'S':
        newSetpoint(value);
        break;
    case 'P':
        setParameter(p_, value, highestParameter);
        break;
    case 'I':
        setParameter(i_, value, highestParameter);
        break;
    case 'D':
        setParameter(d_, value, highestParameter);
        break;
    case 'R':
        setRange(value);
        break;
    case ' ':
    case ',':
    case ';':
        break;
    default:
        remark(obeying_, std::string("passed over: ") + letter);
    }
}

bool LakeShoreController::obeyDrcQuery(std::string_view text)
{
    const bool is91 = entry_.model == LakeShoreModel::drc91;
    const auto parameters = [this] {
        return formatted("%04.1f", readBack(p_)) + ',' + formatted("%04.1f", readBack(d_)) + ',' + formatted("%04.1f", readBack(i_));
    };
    const auto readings = [this] {
        return formatted("%06.2f", reading('B')) + ',' + formatted("%06.2f", reading('A')) + ',' +
               formatted("%06.2f", readBack(loop_.setpoint()));
    };
    if (text == "WS")
        answer("%06.2fK", reading('A'));
    else if (text == "WP")
        answer("%06.2fK", readBack(loop_.setpoint()));
    else if (text == "W1")
        answerLine(is91 ? readings() : readings() + ',' + parameters() + ',' + std::to_string(toldRange()));
    else if (text == "W3" && is91)
        // until it has been cleared it keeps to the short record
        answerLine(longRecord_ ? parameters() + ',' + std::to_string(toldRange()) + ',' + formatted("%03.0f", output_ * 100.0)
                               : parameters());
    else if (text == "XDA")
        answer("%.4fV", 1.7 - 0.0041 * reading('A')); // the diode itself
    else
        return false;
    return true;
}

} // namespace lab
