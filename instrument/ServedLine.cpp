// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "ServedLine.h"

#include <algorithm>

namespace lab {

namespace {
constexpr double timerResolution = 0.001; // s
} // namespace

ServedLine::ServedLine(const Clock& clock, const Alarms& alarms, const Trace& trace, Device& device, std::unique_ptr<Channel> channel,
                       const LineSettings& settings)
    : clock_(clock),
      trace_(trace),
      device_(device),
      channel_(std::move(channel)),
      pacer_(settings),
      due_(alarms([this] { work(); })),
      back_(alarms([this] { comeBack(); }))
{
    channel_->received = [this](const QByteArray& bytes) {
        device_.receive({bytes.constData(), static_cast<std::size_t>(bytes.size())});
        work();
    };
    const auto client = [this](std::string_view remark) {
        pacer_.clear();
        trace_.remark(clock_.now(), device_.name(), remark);
    };
    channel_->opened = [this, client] {
        client("line opened");
        device_.lineOpened();
    };
    channel_->left = [client] { client("line left"); };
}

bool ServedLine::open(QString& why)
{
    open_ = channel_->open(why);
    if (open_)
        work();
    return open_;
}

void ServedLine::work()
{
    device_.wake();
    for (Reply& reply : device_.takeReplies())
        if (open_)
            pacer_.push(reply.time, std::move(reply.bytes));
    const HangUp how = device_.takeHangUp();
    if (how != HangUp::none)
        hangUp(how);
    // What is due before the timer can come round again goes at once: on an accelerated line that is the whole answer, which a busy machine
    // would otherwise tear apart.
    const std::string bytes = pacer_.pop(clock_.now() + clock_.onTheWall(timerResolution));
    if (!bytes.empty() && open_)
        channel_->write(QByteArray(bytes.data(), static_cast<qsizetype>(bytes.size())));
    sleep();
}

void ServedLine::hangUp(HangUp how)
{
    if (!open_)
        return;
    open_ = false;
    pacer_.clear();
    trace_.remark(clock_.now(), device_.name(), "line closed");
    if (announce)
        announce(QString::fromStdString(device_.name()) + QStringLiteral(" line closed"));
    channel_->hangUp();
    if (how == HangUp::returns)
        back_->set(clock_.now() + clock_.onTheWall(returnSeconds));
}

void ServedLine::comeBack()
{
    QString why;
    open_ = channel_->open(why);
    trace_.remark(clock_.now(), device_.name(), open_ ? "line is back" : "line does not come back");
    if (announce)
        announce(QString::fromStdString(device_.name()) +
                 (open_ ? QStringLiteral(" line: ") + channel_->address() : QStringLiteral(" line: ") + why));
    work();
}

void ServedLine::sleep()
{
    auto next = device_.due();
    if (const auto byte = pacer_.due())
        next = next ? std::min(*next, *byte) : byte;
    if (next)
        due_->set(*next);
    else
        due_->stop();
}

} // namespace lab
