// SPDX-License-Identifier: GPL-3.0-or-later
//
// A device as seen from its line: bytes go in, bytes come out. What it does in between is each device's own file.
#pragma once

#include "Faults.h"
#include "Laboratory.h"
#include "Trace.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

/// Something for the line, not before a certain time.
struct Reply
{
    Time time;
    std::string bytes;
};

enum class HangUp { none, forGood, returns };

class Device
{
public:
    Device(Laboratory& laboratory, std::string name, std::vector<Fault> faults, const Trace& trace);
    virtual ~Device() = default;
    Device(const Device&) = delete;
    Device& operator=(const Device&) = delete;

    /// The name in traces and on the "line" lines of the program: "SMC".
    const std::string& name() const { return name_; }
    /// Bytes that came over the line. They may hold part of a command, or several.
    void receive(std::string_view bytes);
    /// A client has come to a line that nobody had open.
    virtual void lineOpened() {}
    /// Lets everything happen that is due by now.
    void wake();
    /// When `wake` is needed again, if nothing is received before.
    std::optional<Time> due() const;
    /// What has been answered since the last call.
    std::vector<Reply> takeReplies();
    /// Whether the line is to close; told once.
    HangUp takeHangUp();
    const FaultPlan& faults() const { return faults_; }

protected:
    /// One byte from the line, with the device brought up to the present.
    virtual void takeByte(char byte) = 0;
    /// Brings the device up to the present.
    virtual void advance() = 0;
    /// When an answer will be ready that somebody waits for.
    virtual std::optional<Time> answerDue() const { return std::nullopt; }
    /// Switched off and on again, with nobody to set it up.
    virtual void powerCycle() = 0;
    /// Switched off for a while: nothing is heard or heated, and what memory does not hold is lost.
    virtual void switchOff() { powerCycle(); }
    /// Switched on again by somebody who puts the heater back as it was.
    virtual void switchOn() {}

    /// To be called for every command, before it is obeyed: faults are counted in commands. False: it is not to be obeyed.
    [[nodiscard]] bool commandReceived(std::string_view text);
    /// What is answered to the question for a value that was set.
    double readBack(double value) const { return readsBackWrong() ? value + wrongBy : value; }
    bool readsBackWrong() const { return faults_.active(FaultKind::wrongReadback); }
    static constexpr double wrongBy = 7.0;
    /// Answers with `bytes` at `time`, as far as the faults let it.
    void reply(Time time, std::string bytes);
    void remark(std::string_view text) const { remark(laboratory_.now(), text); }
    void remark(Time time, std::string_view text) const { trace_.remark(time, name_, text); }
    Laboratory& laboratory() const { return laboratory_; }

private:
    bool isOff() const { return off_; }
    void meetFaults();
    void comeBackOn();
    std::string unreadable(std::size_t length);

    Laboratory& laboratory_;
    std::string name_;
    FaultPlan faults_;
    const Trace& trace_;
    Chance noise_{1};
    std::vector<Reply> replies_;
    HangUp hangUp_ = HangUp::none;
    bool off_ = false;
    bool losesAnswer_ = false;    ///< of the command that was received last
    std::optional<Time> onAgain_; ///< when the one who switched it off switches it on
};

} // namespace lab
