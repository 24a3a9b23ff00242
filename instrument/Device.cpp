// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Device.h"

#include <algorithm>
#include <utility>

namespace lab {

Device::Device(Laboratory& laboratory, std::string name, std::vector<Fault> faults, const Trace& trace)
    : laboratory_(laboratory), name_(std::move(name)), faults_(laboratory.clock(), std::move(faults)), trace_(trace)
{
}

void Device::receive(std::string_view bytes)
{
    wake();
    trace_.received(laboratory_.now(), name_, bytes);
    if (isOff()) {
        remark("off: not heard");
        return;
    }
    for (const char byte : bytes) {
        if (hangUp_ != HangUp::none || isOff())
            return;
        takeByte(byte);
        meetFaults();
    }
}

void Device::wake()
{
    advance();
    meetFaults();
}

std::optional<Time> Device::due() const
{
    const auto answer = answerDue();
    const auto fault = faults_.due();
    std::optional<Time> earliest;
    for (const std::optional<Time>& one : {answer, fault, onAgain_})
        if (one)
            earliest = earliest ? std::min(*earliest, *one) : *one;
    return earliest;
}

std::vector<Reply> Device::takeReplies()
{
    return std::exchange(replies_, {});
}

HangUp Device::takeHangUp()
{
    return std::exchange(hangUp_, HangUp::none);
}

bool Device::commandReceived(std::string_view text)
{
    faults_.commandReceived();
    losesAnswer_ = faults_.active(FaultKind::lose, text);
    const bool ignored = faults_.active(FaultKind::ignore, text);
    if (ignored)
        remark("ignored: " + std::string(text));
    return !ignored;
}

void Device::reply(Time time, std::string bytes)
{
    if (losesAnswer_) {
        remark("answer lost");
        return;
    }
    if (faults_.active(FaultKind::silent)) {
        remark("silent: no answer");
        return;
    }
    if (faults_.active(FaultKind::garbage))
        bytes = unreadable(bytes.size());
    if (faults_.active(FaultKind::cutReply))
        bytes.resize((bytes.size() + 1) / 2);
    if (faults_.active(FaultKind::lateReply))
        time += laboratory_.clock().onTheWall(lateReplySeconds);
    trace_.sent(time, name_, bytes);
    replies_.push_back({time, std::move(bytes)});
}

void Device::comeBackOn()
{
    if (!onAgain_ || *onAgain_ > laboratory_.now())
        return;
    onAgain_.reset();
    off_ = false;
    remark("switched on");
    switchOn();
}

void Device::meetFaults()
{
    comeBackOn();
    if (const auto fault = faults_.fires(FaultKind::off)) {
        remark("switched off");
        switchOff();
        off_ = true;
        if (fault->lasting > 0.0)
            onAgain_ = laboratory_.now() + laboratory_.clock().onTheWall(fault->lasting);
    }
    if (faults_.fires(FaultKind::powerCycle)) {
        remark("switched off and on");
        replies_.clear();
        powerCycle();
    }
    if (faults_.fires(FaultKind::hangUp))
        hangUp_ = HangUp::forGood;
    if (faults_.fires(FaultKind::hangUpAndReturn))
        hangUp_ = HangUp::returns;
    if (hangUp_ != HangUp::none)
        replies_.clear();
}

// Bytes of the upper half only: no digit, colon or line end can come out by chance.
std::string Device::unreadable(std::size_t length)
{
    std::string bytes(length, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(0x80U | (noise_.bits() & 0x7fU));
    return bytes;
}

} // namespace lab
