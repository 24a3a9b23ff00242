// SPDX-License-Identifier: GPL-3.0-or-later
//
// The goniometer's controller (SMC): command interpreter, program memory, one or two axes, pulse counter with its
// count memory, shutter output and beeper.
//
// A CR or LF begins a new line and throws away what was not ended by ";". Queries and the commands CLR, CAn, CCNT, Q,
// REF, ROFSn:x, UPDATE, IO0, IO1, BEEPON, BEEPOFF and START:; are obeyed at once; moves, CNTt, NL, GSBn*k, LINn, RET and END
// are stored as the program. Anything else is passed over.
//
// In a program, moves of one line start together. A count and the end of a line wait for the axes.
#pragma once

#include "Device.h"

#include <array>
#include <vector>

namespace lab {

struct GoniometerOptions
{
    int axes = 2;
    std::array<double, 2> position{0.0, 0.0}; ///< degrees at the start
};

/// One stepper-driven axis. It turns at an even speed, without ramps.
class Axis
{
public:
    explicit Axis(double position = 0.0) : from_(position), to_(position) {}
    double position(Time time) const;
    double target() const { return to_; }
    Time arrival() const { return end_; }
    /// Turns to `target` degrees at `speed` degrees per second, stopping at the limit switch; returns false when it will.
    bool turn(Time time, double target, double speed);
    void stop(Time time);
    /// Shifts the scale without turning.
    void shift(double difference);
    /// Limit switches, degrees.
    static constexpr double lowest = -10.0;
    static constexpr double highest = 190.0;

private:
    double from_;
    double to_;
    Time start_{0};
    Time end_{0};
};

class GoniometerController final : public Device
{
public:
    GoniometerController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, const GoniometerOptions& options);

    /// Steps of the motors per degree: speeds are in steps per second.
    static constexpr double stepsPerDegree = 1000.0;
    /// Counts that fit into the count memory.
    static constexpr std::size_t countMemory = std::size_t(1) << 20U;

    /// Uploads and starts a scan from 20 to 32 degrees by 0.02 with 0.1 s, as a program that was left running would have.
    void beginOldRun();

    const std::vector<std::int64_t>& counts() const { return counts_; }
    double position(int axis) const { return axes_.at(static_cast<std::size_t>(axis - 1)).position(laboratory().now()); }
    bool busy() const;
    bool shutterOutput() const { return shutterOutput_; }
    bool beeper() const { return beeper_; }

protected:
    void takeByte(char byte) override;
    void advance() override;
    std::optional<Time> answerDue() const override;
    void powerCycle() override;

private:
    enum class Kind { move, count, newLine, call, label, back, end };
    struct Statement
    {
        Kind kind;
        std::size_t axis = 0;
        bool absolute = false;
        double value = 0.0; ///< degrees, or seconds of a count
        double speed = 0.0; ///< degrees per second
        long label = 0;
        long times = 0;
    };
    struct Call
    {
        std::size_t first;
        std::size_t returnTo;
        long left;
    };

    // commands
    void command(std::string_view text);
    bool query(std::string_view text);
    bool immediate(std::string_view text);
    bool store(std::string_view text);
    bool storeMove(std::string_view text);
    bool storeCall(std::string_view text);
    std::string axisStatus(std::size_t axis) const;
    std::string countList() const;
    bool setReferenceOffset(std::string_view text);
    void switchShutter(bool open);
    void searchReference();

    // program
    void startProgram();
    void stopProgram(Time time, std::string_view why);
    bool step(Time now);
    bool runStatement(const Statement& statement, Time now);
    void callLabel(const Statement& statement);
    void goBack();
    void beginMove(const Statement& statement);
    std::int64_t pulses(Time time);
    void bankPulses(Time time);
    void finishCount(Time time);
    void answerCounter(Time time);
    bool waitForAxes(Time now);
    void finishReferenceSearch(Time now);
    Time lastArrival() const;

    std::vector<Axis> axes_;
    std::string partial_;
    std::vector<Statement> program_;
    std::vector<Call> calls_;
    std::vector<std::int64_t> counts_;
    std::vector<double> newOffset_, storedOffset_, activeOffset_, scaleShift_;
    std::size_t countingAxis_;
    std::size_t place_ = 0; ///< the statement that is next
    Time programTime_{0};   ///< when the statement before it ended
    bool running_ = false;
    bool counting_ = false;
    bool outOfBreath_ = false; ///< the last round ended before it came to the present
    bool searching_ = false;
    Time countEnd_{0};
    Time countBegin_{0};
    std::int64_t counter_ = 0;
    std::int64_t banked_ = 0; ///< pulses of the running count before countBegin_
    int counterQueries_ = 0;  ///< ?C; that wait for the end of the count
    bool shutterOutput_ = false;
    bool beeper_ = true;
};

} // namespace lab
