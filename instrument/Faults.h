// SPDX-License-Identifier: GPL-3.0-or-later
//
// How a device can be told to misbehave.
#pragma once

#include "Clock.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lab {

enum class FaultKind {
    silent,
    garbage,
    cutReply,
    lateReply,
    powerCycle,
    hangUp,
    hangUpAndReturn,
    fewerCounts,
    moreCounts,
    noCounts,
    idleAnswer,
    wrongLoop,
    wrongChecksum,
    errorAnswer,
    off,
    ignore,
    lose,
    wrongReadback
};

enum class FaultCourse {
    lasting,  ///< from AFTER on, for LASTING in the same unit
    once,     ///< happens at AFTER
    onceUntil ///< happens at AFTER, and is over LASTING seconds later
};

struct FaultEntry
{
    FaultKind kind;
    std::string_view name; ///< as typed after --fault
    FaultCourse course;
    std::string_view description; ///< for --list-faults
    bool ofCommand = false;       ///< written NAME:COMMAND: only commands that begin so are meant
};

/// Every fault there is.
const std::vector<FaultEntry>& faultTable();

/// A fault as ordered: from when, and how long.
struct Fault
{
    FaultKind kind = FaultKind::silent;
    std::string device{};   ///< the device it belongs to; empty: every device
    bool inSeconds = false; ///< `after` and `lasting` are seconds on the wall, otherwise commands
    double after = 0.0;
    double lasting = 0.0;  ///< in the unit of `after`, of an `onceUntil` fault in seconds; 0: for good
    std::string command{}; ///< what the commands that are meant begin with; empty: every command
};

/// Reads `[DEVICE/]NAME[:COMMAND][:AFTER[:LASTING]]`, both numbers commands, or seconds when written with an "s". Nothing when it can't be
/// read. Up to two numbers at the end are AFTER and LASTING; a COMMAND that itself ends with ":" and a number needs both behind it.
std::optional<Fault> parseFault(std::string_view text);

inline constexpr double lateReplySeconds = 3.0; ///< on the wall
inline constexpr double returnSeconds = 3.0;    ///< on the wall

/// The faults of one device, and how far it has come on the way to them.
class FaultPlan
{
public:
    FaultPlan(const Clock& clock, std::vector<Fault> faults);
    void commandReceived() { ++commands_; }
    long commandCount() const { return commands_; }
    /// A lasting fault is at work, for a command with this text if it is one of certain commands.
    bool active(FaultKind kind, std::string_view command = {}) const;
    /// The fault of the kind, one that happens once, that is to happen now; told only once for each.
    std::optional<Fault> fires(FaultKind kind);
    /// When the next fault that happens once and is set to a time comes.
    std::optional<Time> due() const;

private:
    double passed(const Fault& fault) const;
    const Clock& clock_;
    Time start_;
    long commands_ = 0;
    std::vector<Fault> faults_;
};

} // namespace lab
