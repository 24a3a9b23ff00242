// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "GoniometerController.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>

namespace lab {

namespace {

constexpr std::size_t longestCommand = 255;
constexpr std::size_t deepestCall = 16;
constexpr std::size_t programMemory = 4096;
constexpr long mostRepetitions = 1'000'000;
constexpr double longestCount = 1e6; // seconds
constexpr double ordinarySpeed = 1500.0;
constexpr double referenceSpeed = 4.0; // degrees per second
constexpr int statementsPerRound = 2'000'000;

/// Reads `text` from left to right.
class Reader
{
public:
    explicit Reader(std::string_view text) : rest_(text) {}
    bool word(std::string_view expected)
    {
        if (!rest_.starts_with(expected))
            return false;
        rest_.remove_prefix(expected.size());
        return true;
    }
    bool number(double& value)
    {
        const std::size_t sign = rest_.starts_with('+') ? 1 : 0;
        const std::size_t digit = sign + (rest_.substr(sign).starts_with('-') && sign == 0 ? 1 : 0);
        if (digit >= rest_.size() || (rest_[digit] != '.' && (rest_[digit] < '0' || rest_[digit] > '9')))
            return false;
        return take(sign, value) && std::isfinite(value);
    }
    bool whole(long& value) { return !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9' && take(0, value); }
    bool atEnd() const { return rest_.empty(); }

private:
    template <typename Number>
    bool take(std::size_t from, Number& value)
    {
        const auto result = std::from_chars(rest_.data() + from, rest_.data() + rest_.size(), value);
        if (result.ec != std::errc())
            return false;
        rest_.remove_prefix(static_cast<std::size_t>(result.ptr - rest_.data()));
        return true;
    }
    std::string_view rest_;
};

std::string lineOf(std::string text)
{
    return std::move(text) + "\r\n";
}

} // namespace

double Axis::position(Time time) const
{
    if (time >= end_)
        return to_;
    if (time <= start_)
        return from_;
    return from_ + (to_ - from_) * (toSeconds(time - start_) / toSeconds(end_ - start_));
}

bool Axis::turn(Time time, double target, double speed)
{
    from_ = position(time);
    to_ = std::clamp(target, lowest, highest);
    start_ = time;
    end_ = time + fromSeconds(std::fabs(to_ - from_) / speed);
    return to_ == target;
}

void Axis::stop(Time time)
{
    if (time >= end_)
        return;
    to_ = from_ = position(time);
    start_ = end_ = time;
}

void Axis::shift(double difference)
{
    from_ += difference;
    to_ += difference;
}

GoniometerController::GoniometerController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace,
                                           const GoniometerOptions& options)
    : Device(laboratory, "SMC", std::move(faults), trace)
{
    const auto count = static_cast<std::size_t>(std::clamp(options.axes, 1, 2));
    for (std::size_t i = 0; i < count; ++i)
        axes_.emplace_back(options.position[i]);
    newOffset_.assign(count, 0.0);
    storedOffset_ = activeOffset_ = scaleShift_ = newOffset_;
    countingAxis_ = count - 1;
    laboratory.beforeChange([this] {
        advance();
        bankPulses(this->laboratory().now());
    });
}

// ---------------------------------------------------------------------------------------------------- commands

void GoniometerController::takeByte(char byte)
{
    if (byte == '\r' || byte == '\n') {
        if (!partial_.empty())
            remark("passed over, not ended by ;: " + partial_);
        partial_.clear();
    } else if (byte == ';') {
        const std::string text = std::exchange(partial_, {});
        command(text);
    } else if (byte != ' ' || !partial_.empty()) {
        partial_ += byte;
        if (partial_.size() > longestCommand) {
            remark("command too long");
            partial_.clear();
        }
    }
}

void GoniometerController::command(std::string_view text)
{
    while (text.ends_with(' '))
        text.remove_suffix(1);
    if (!commandReceived(text))
        return;
    if (!query(text) && !immediate(text) && !store(text))
        remark("passed over, unknown: " + std::string(text));
}

bool GoniometerController::query(std::string_view text)
{
    Reader reader(text);
    const Time now = laboratory().now();
    if (!reader.word("?"))
        return false;
    if (text == "?S") {
        std::string all;
        for (std::size_t i = 0; i < axes_.size(); ++i)
            all += (i == 0 ? "" : " ") + axisStatus(i);
        reply(now, lineOf(all));
    } else if (text == "?V") {
        reply(now, lineOf("SMC 441" + std::to_string(axes_.size()) + " V1.0 VIRTUAL"));
    } else if (text == "?CNT") {
        reply(now, countList());
    } else if (text == "?C") {
        ++counterQueries_;
        if (!running_)
            answerCounter(now);
    } else {
        long axis = 0;
        const bool status = reader.word("S");
        if ((!status && !reader.word("P")) || !reader.whole(axis) || !reader.atEnd())
            return false;
        const std::size_t index = static_cast<std::size_t>(axis) - 1;
        if (index >= axes_.size())
            return false;
        char position[32];
        std::snprintf(position, sizeof position, "P%ld:%.3f", axis, readBack(axes_[index].position(now)));
        reply(now, lineOf(status ? axisStatus(index) : std::string(position)));
    }
    return true;
}

std::string GoniometerController::axisStatus(std::size_t axis) const
{
    const bool idle = !running_ && axes_[axis].arrival() <= laboratory().now();
    return "S" + std::to_string(axis + 1) + (idle ? ":128" : ":0");
}

std::string GoniometerController::countList() const
{
    std::size_t count = counts_.size();
    if (faults().active(FaultKind::fewerCounts))
        count -= std::min<std::size_t>(count, 3);
    if (faults().active(FaultKind::noCounts))
        count = 0;
    const int copies = faults().active(FaultKind::moreCounts) ? 2 : 1;
    std::string list;
    for (int copy = 0; copy < copies; ++copy)
        for (std::size_t i = 0; i < count; ++i)
            list += std::to_string(counts_[i]) + "\r\n";
    return list + "CEND;\r\n";
}

bool GoniometerController::immediate(std::string_view text)
{
    const Time now = laboratory().now();
    if (text == "CLR") {
        if (running_)
            stopProgram(now, "program memory cleared");
        program_.clear();
        countingAxis_ = axes_.size() - 1;
    } else if (text == "CCNT") {
        counts_.clear();
    } else if (text == "Q") {
        stopProgram(now, "stopped");
        searching_ = false;
    } else if (text == "START:" || text == "START") {
        startProgram();
    } else if (text == "REF") {
        searchReference();
    } else if (text == "UPDATE") {
        storedOffset_ = newOffset_;
    } else if (text == "IO1" || text == "IO0") {
        switchShutter(text == "IO1");
    } else if (text == "BEEPON" || text == "BEEPOFF") {
        beeper_ = text == "BEEPON";
    } else {
        Reader reader(text);
        long axis = 0;
        if (!reader.word("CA"))
            return setReferenceOffset(text);
        if (!reader.whole(axis) || !reader.atEnd() || axis < 1 || static_cast<std::size_t>(axis) > axes_.size())
            return false;
        countingAxis_ = static_cast<std::size_t>(axis) - 1;
    }
    return true;
}

bool GoniometerController::setReferenceOffset(std::string_view text)
{
    Reader reader(text);
    long axis = 0;
    double value = 0.0;
    if (!reader.word("ROFS") || !reader.whole(axis) || !reader.word(":") || !reader.number(value) || !reader.atEnd())
        return false;
    if (axis < 1 || static_cast<std::size_t>(axis) > axes_.size())
        return false;
    newOffset_[static_cast<std::size_t>(axis) - 1] = value;
    return true;
}

void GoniometerController::switchShutter(bool open)
{
    shutterOutput_ = open;
    laboratory().changeBeam([open](Beam& beam) { beam.shutterOpen = open; });
}

void GoniometerController::searchReference()
{
    if (busy()) {
        remark("reference search passed over: busy");
        return;
    }
    for (std::size_t i = 0; i < axes_.size(); ++i)
        axes_[i].turn(laboratory().now(), scaleShift_[i], referenceSpeed);
    searching_ = true;
}

// The reference switch stands at the mechanical zero; the offset is what the scale shows there.
void GoniometerController::finishReferenceSearch(Time now)
{
    if (!searching_ || lastArrival() > now)
        return;
    for (std::size_t i = 0; i < axes_.size(); ++i) {
        axes_[i].shift(activeOffset_[i] - scaleShift_[i]);
        scaleShift_[i] = activeOffset_[i];
    }
    searching_ = false;
    remark("reference found");
}

bool GoniometerController::store(std::string_view text)
{
    if (program_.size() >= programMemory) {
        remark("program memory full");
        return false;
    }
    Reader reader(text);
    if (text == "NL")
        program_.push_back({.kind = Kind::newLine});
    else if (text == "RET")
        program_.push_back({.kind = Kind::back});
    else if (text == "END")
        program_.push_back({.kind = Kind::end});
    else if (reader.word("CNT")) {
        double seconds = 0.0;
        if (!reader.number(seconds) || !reader.atEnd() || seconds < 0.0 || seconds > longestCount)
            return false;
        program_.push_back({.kind = Kind::count, .value = seconds});
    } else if (reader.word("LIN")) {
        long label = 0;
        if (!reader.whole(label) || !reader.atEnd())
            return false;
        program_.push_back({.kind = Kind::label, .label = label});
    } else {
        return storeCall(text) || storeMove(text);
    }
    return true;
}

bool GoniometerController::storeCall(std::string_view text)
{
    Reader reader(text);
    long label = 0;
    long times = 1;
    if (!reader.word("GSB") || !reader.whole(label))
        return false;
    if (reader.word("*") && !reader.whole(times))
        return false;
    if (!reader.atEnd() || times > mostRepetitions)
        return false;
    program_.push_back({.kind = Kind::call, .label = label, .times = times});
    return true;
}

// "1:A10.5S500L4000B20" turns to a position, "1:0.02S1500" by a distance. The speed is L of the one and S of the other.
bool GoniometerController::storeMove(std::string_view text)
{
    Reader reader(text);
    long axis = 0;
    Statement move{.kind = Kind::move};
    if (!reader.whole(axis) || !reader.word(":") || axis < 1 || static_cast<std::size_t>(axis) > axes_.size())
        return false;
    move.absolute = reader.word("A");
    if (!reader.number(move.value))
        return false;
    double start = ordinarySpeed;
    double speed = ordinarySpeed;
    double ramp = 0.0;
    const bool hasStart = reader.word("S");
    if (hasStart && !reader.number(start))
        return false;
    if (reader.word("L")) {
        if (!reader.number(speed))
            return false;
    } else if (hasStart) {
        speed = start;
    }
    if (reader.word("B") && !reader.number(ramp))
        return false;
    if (!reader.atEnd() || speed <= 0.0)
        return false;
    move.axis = static_cast<std::size_t>(axis) - 1;
    move.speed = speed / stepsPerDegree;
    program_.push_back(move);
    return true;
}

void GoniometerController::beginOldRun()
{
    const std::string start = axes_.size() == 2 ? "2:A20S500L4000B20" : "1:A20S500L4000B20";
    std::vector<std::string> lines{"CLR",  "CA" + std::to_string(axes_.size()), "CCNT", start, "CNT0.1", "NL", "GSB10*600", "NL", "END",
                                   "LIN10"};
    if (axes_.size() == 2)
        lines.insert(lines.begin() + 3, "1:A10S500L2000B20");
    lines.insert(lines.end(), axes_.size() == 2 ? std::initializer_list<std::string>{"1:0.01S750", "2:0.02S1500"}
                                                : std::initializer_list<std::string>{"1:0.02S1500"});
    lines.insert(lines.end(), {"CNT0.1", "NL", "RET", "NL", "START:"});
    for (const std::string& line : lines)
        if (!immediate(line))
            store(line);
}

// ----------------------------------------------------------------------------------------------------- program

bool GoniometerController::busy() const
{
    return running_ || lastArrival() > laboratory().now();
}

Time GoniometerController::lastArrival() const
{
    Time last{0};
    for (const Axis& axis : axes_)
        last = std::max(last, axis.arrival());
    return last;
}

void GoniometerController::startProgram()
{
    if (running_) {
        remark("START passed over: the program runs");
        return;
    }
    running_ = true;
    counting_ = false;
    place_ = 0;
    counter_ = 0;
    calls_.clear();
    programTime_ = laboratory().now();
    remark("program started");
    advance();
}

void GoniometerController::stopProgram(Time time, std::string_view why)
{
    if (counting_) {
        counter_ = pulses(time);
    }
    if (running_)
        remark(time, why);
    running_ = counting_ = outOfBreath_ = false;
    for (Axis& axis : axes_)
        axis.stop(time);
    answerCounter(time);
}

void GoniometerController::advance()
{
    const Time now = laboratory().now();
    finishReferenceSearch(now);
    outOfBreath_ = false;
    for (int done = 0; running_; ++done) {
        if (done == statementsPerRound) {
            outOfBreath_ = true;
            return;
        }
        if (!step(now))
            return;
    }
}

// One statement, at the time when it is due and not when somebody looks. False when the program has to wait beyond `now`.
bool GoniometerController::step(Time now)
{
    if (counting_) {
        if (countEnd_ > now)
            return false;
        finishCount(countEnd_);
        return true;
    }
    if (place_ < program_.size())
        return runStatement(program_[place_], now);
    if (!waitForAxes(now))
        return false;
    stopProgram(programTime_, "program ended without END");
    return true;
}

bool GoniometerController::runStatement(const Statement& statement, Time now)
{
    const bool waits = statement.kind == Kind::count || statement.kind == Kind::newLine || statement.kind == Kind::end;
    if (waits && !waitForAxes(now))
        return false;
    if (statement.kind == Kind::move) {
        if (axes_[statement.axis].arrival() > now)
            return false;
        programTime_ = std::max(programTime_, axes_[statement.axis].arrival());
        beginMove(statement);
    }
    ++place_;
    switch (statement.kind) {
    case Kind::count:
        counting_ = true;
        countBegin_ = programTime_;
        banked_ = 0;
        countEnd_ = programTime_ + fromSeconds(statement.value);
        break;
    case Kind::call:
        callLabel(statement);
        break;
    case Kind::back:
        goBack();
        break;
    case Kind::end:
        stopProgram(programTime_, "program ended");
        break;
    case Kind::move:
    case Kind::newLine:
    case Kind::label:
        break;
    }
    return true;
}

bool GoniometerController::waitForAxes(Time now)
{
    if (lastArrival() > now)
        return false;
    programTime_ = std::max(programTime_, lastArrival());
    return true;
}

void GoniometerController::beginMove(const Statement& statement)
{
    Axis& axis = axes_[statement.axis];
    const double target = statement.absolute ? statement.value : axis.target() + statement.value;
    if (!axis.turn(programTime_, target, statement.speed))
        remark("axis " + std::to_string(statement.axis + 1) + " stops at the limit switch");
}

void GoniometerController::callLabel(const Statement& statement)
{
    if (statement.times == 0)
        return;
    const auto label = std::find_if(program_.begin(), program_.end(),
                                    [&](const Statement& one) { return one.kind == Kind::label && one.label == statement.label; });
    if (label == program_.end() || calls_.size() == deepestCall) {
        stopProgram(programTime_, label == program_.end() ? "program stopped: no such label" : "program stopped: calls too deep");
        return;
    }
    const auto first = static_cast<std::size_t>(label - program_.begin()) + 1;
    calls_.push_back({first, place_, statement.times - 1});
    place_ = first;
}

void GoniometerController::goBack()
{
    if (calls_.empty()) {
        stopProgram(programTime_, "program stopped: RET without a call");
        return;
    }
    Call& call = calls_.back();
    if (call.left > 0) {
        --call.left;
        place_ = call.first;
        return;
    }
    place_ = call.returnTo;
    calls_.pop_back();
}

// What the detector has seen since the count began.
std::int64_t GoniometerController::pulses(Time time)
{
    const double mechanical = axes_[countingAxis_].position(time) - scaleShift_[countingAxis_];
    const double expected = toSeconds(time - countBegin_) * laboratory().countRate(mechanical, countBegin_);
    return banked_ + laboratory().chance().poisson(expected);
}

// Keeps what the running count has seen so far, before beam or sample become different.
void GoniometerController::bankPulses(Time time)
{
    if (!counting_ || time <= countBegin_ || time >= countEnd_)
        return;
    banked_ = pulses(time);
    countBegin_ = time;
}

void GoniometerController::finishCount(Time time)
{
    counter_ = pulses(time);
    counting_ = false;
    programTime_ = time;
    if (counts_.size() < countMemory)
        counts_.push_back(counter_);
    else
        remark("count memory full");
    answerCounter(time);
}

void GoniometerController::answerCounter(Time time)
{
    for (; counterQueries_ > 0; --counterQueries_)
        reply(time, lineOf(std::to_string(counter_)));
}

std::optional<Time> GoniometerController::answerDue() const
{
    if (!running_ || counterQueries_ == 0)
        return std::nullopt;
    if (outOfBreath_)
        return laboratory().now();
    return counting_ ? countEnd_ : lastArrival();
}

void GoniometerController::powerCycle()
{
    counterQueries_ = 0;
    stopProgram(laboratory().now(), "program lost");
    program_.clear();
    counts_.clear();
    partial_.clear();
    counter_ = 0;
    countingAxis_ = axes_.size() - 1;
    searching_ = false;
    newOffset_ = activeOffset_ = storedOffset_;
    shutterOutput_ = false;
    beeper_ = true;
    laboratory().changeBeam([](Beam& beam) { beam.shutterOpen = false; });
}

} // namespace lab
