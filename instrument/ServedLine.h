// SPDX-License-Identifier: GPL-3.0-or-later
//
// A device at its end of a line: carries bytes between the two, at the line's pace, and wakes the device when it is due.
#pragma once

#include "Alarm.h"
#include "Channel.h"
#include "Device.h"
#include "Pacer.h"

namespace lab {

class ServedLine
{
public:
    ServedLine(const Clock& clock, const Alarms& alarms, const Trace& trace, Device& device, std::unique_ptr<Channel> channel,
               const LineSettings& settings);
    bool open(QString& why);
    QString address() const { return channel_->address(); }
    /// Called when the line has closed for good or comes back, with a text for the person who watches.
    std::function<void(const QString&)> announce;

private:
    void work();
    void hangUp(HangUp how);
    void comeBack();
    void sleep();

    const Clock& clock_;
    const Trace& trace_;
    Device& device_;
    std::unique_ptr<Channel> channel_;
    Pacer pacer_;
    std::unique_ptr<Alarm> due_;
    std::unique_ptr<Alarm> back_;
    bool open_ = false;
};

} // namespace lab
