// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Faults.h"

#include <algorithm>
#include <charconv>

namespace lab {

const std::vector<FaultEntry>& faultTable()
{
    static const std::vector<FaultEntry> table{
        {FaultKind::silent, "silent", FaultCourse::lasting, "answers nothing; commands are still obeyed"},
        {FaultKind::garbage, "garbage", FaultCourse::lasting, "every answer is unreadable, as with wrong line settings"},
        {FaultKind::cutReply, "cut-reply", FaultCourse::lasting, "every answer breaks off in the middle"},
        {FaultKind::lateReply, "late-reply", FaultCourse::lasting, "every answer comes 3 seconds late"},
        {FaultKind::powerCycle, "power-cycle", FaultCourse::once,
         "switched off and on: stops and forgets program, counts and unread commands"},
        {FaultKind::hangUp, "hang-up", FaultCourse::once, "the line closes for good, as when the adapter is pulled"},
        {FaultKind::hangUpAndReturn, "hang-up-and-return", FaultCourse::once,
         "the line closes and is there again after 3 seconds; the device goes on meanwhile"},
        {FaultKind::fewerCounts, "fewer-counts", FaultCourse::lasting, "the last 3 counts are missing from the answer to ?CNT;"},
        {FaultKind::moreCounts, "more-counts", FaultCourse::lasting, "the answer to ?CNT; holds the list of counts twice"},
        {FaultKind::noCounts, "no-counts", FaultCourse::lasting, "the answer to ?CNT; holds no count"},
        {FaultKind::idleAnswer, "idle-answer", FaultCourse::lasting, "the high-temperature controller answers that it is not active"},
        {FaultKind::wrongLoop, "wrong-loop", FaultCourse::lasting, "the high-temperature controller answers for another control loop"},
        {FaultKind::wrongChecksum, "wrong-checksum", FaultCourse::lasting, "the high-temperature controller answers with a wrong checksum"},
        {FaultKind::errorAnswer, "error-answer", FaultCourse::lasting, "the laser controller refuses everything with :error"},
        {FaultKind::off, "off", FaultCourse::onceUntil,
         "somebody switches it off, and LASTING seconds later on again, the heater as it was; without LASTING for good"},
        {FaultKind::ignore, "ignore", FaultCourse::lasting,
         "a command that begins with COMMAND (without it: every one) is not obeyed, nor answered", true},
        {FaultKind::lose, "lose", FaultCourse::lasting, "a command that begins with COMMAND is obeyed, and its answer lost", true},
        {FaultKind::wrongReadback, "wrong-readback", FaultCourse::lasting, "whoever asks for a value that was set is told another one"},
    };
    return table;
}

namespace {

// Cuts `text` at the first `mark`: returns what stands before, leaves what follows.
std::string_view cut(std::string_view& text, char mark)
{
    const std::size_t place = text.find(mark);
    const std::string_view before = text.substr(0, place);
    text = place == std::string_view::npos ? std::string_view() : text.substr(place + 1);
    return before;
}

bool readAmount(std::string_view text, double& amount, bool& inSeconds)
{
    inSeconds = text.ends_with('s');
    if (inSeconds)
        text.remove_suffix(1);
    const auto result = std::from_chars(text.data(), text.data() + text.size(), amount, std::chars_format::fixed);
    return result.ec == std::errc() && result.ptr == text.data() + text.size() && amount >= 0.0 && amount <= 1e9;
}

bool happensOnce(FaultKind kind)
{
    const auto& table = faultTable();
    return std::any_of(table.begin(), table.end(),
                       [kind](const FaultEntry& entry) { return entry.kind == kind && entry.course != FaultCourse::lasting; });
}

bool readLasting(std::string_view text, FaultCourse course, Fault& fault)
{
    bool inSeconds = false;
    if (course == FaultCourse::once || !readAmount(text, fault.lasting, inSeconds))
        return false;
    return inSeconds == (course == FaultCourse::onceUntil || fault.inSeconds);
}

} // namespace

namespace {

// Takes ":AMOUNT" off the end. False when there is none.
bool cutAmount(std::string_view& text, std::string_view& amount)
{
    const std::size_t place = text.rfind(':');
    double value = 0.0;
    bool inSeconds = false;
    if (place == std::string_view::npos || !readAmount(text.substr(place + 1), value, inSeconds))
        return false;
    amount = text.substr(place);
    text = text.substr(0, place);
    return true;
}

// Cuts the COMMAND out of ":COMMAND[:AFTER[:LASTING]]"; what is left begins with the colon, or is empty.
std::string cutCommand(std::string_view& text)
{
    std::string_view rest = text;
    std::string_view last;
    std::string_view before;
    if (cutAmount(rest, last))
        cutAmount(rest, before);
    text = text.substr(rest.size());
    return std::string(rest.substr(rest.empty() ? 0 : 1));
}

} // namespace

std::optional<Fault> parseFault(std::string_view text)
{
    Fault fault;
    const auto& table = faultTable();
    const std::size_t slash = text.find('/');
    if (slash < text.find(':'))
        fault.device = cut(text, '/');
    const std::string_view name = text.substr(0, text.find(':'));
    text.remove_prefix(name.size());
    const auto entry = std::find_if(table.begin(), table.end(), [name](const FaultEntry& one) { return one.name == name; });
    if (entry == table.end())
        return std::nullopt;
    fault.kind = entry->kind;
    if (entry->ofCommand)
        fault.command = cutCommand(text);
    if (text.empty())
        return fault;
    text.remove_prefix(1);
    const bool hasLasting = text.find(':') != std::string_view::npos;
    if (!readAmount(cut(text, ':'), fault.after, fault.inSeconds))
        return std::nullopt;
    if (hasLasting && !readLasting(text, entry->course, fault))
        return std::nullopt;
    return fault;
}

FaultPlan::FaultPlan(const Clock& clock, std::vector<Fault> faults) : clock_(clock), start_(clock.now()), faults_(std::move(faults)) {}

double FaultPlan::passed(const Fault& fault) const
{
    return fault.inSeconds ? toSeconds(clock_.now() - start_) / clock_.speed() : static_cast<double>(commands_);
}

bool FaultPlan::active(FaultKind kind, std::string_view command) const
{
    return std::any_of(faults_.begin(), faults_.end(), [&](const Fault& fault) {
        // the command being answered is already counted, so "after 25" means from the 26th on
        const double beyond = passed(fault) - fault.after;
        const bool begun = fault.inSeconds ? beyond >= 0.0 : beyond > 0.0;
        return fault.kind == kind && command.starts_with(fault.command) && begun && (fault.lasting == 0.0 || beyond <= fault.lasting);
    });
}

std::optional<Fault> FaultPlan::fires(FaultKind kind)
{
    const auto found = std::find_if(faults_.begin(), faults_.end(),
                                    [&](const Fault& fault) { return fault.kind == kind && passed(fault) >= fault.after; });
    if (found == faults_.end())
        return std::nullopt;
    const Fault fault = *found;
    faults_.erase(found);
    return fault;
}

std::optional<Time> FaultPlan::due() const
{
    std::optional<Time> earliest;
    for (const Fault& fault : faults_) {
        if (!happensOnce(fault.kind) || (!fault.inSeconds && fault.after > static_cast<double>(commands_)))
            continue;
        const Time when = fault.inSeconds ? start_ + clock_.onTheWall(fault.after) : clock_.now();
        earliest = earliest ? std::min(*earliest, when) : when;
    }
    return earliest;
}

} // namespace lab
