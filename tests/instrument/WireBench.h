// SPDX-License-Identifier: GPL-3.0-or-later
//
// What every bench has: a clock that is turned by hand, a laboratory, a record of the trace, and the program's end of one device's wire.
#pragma once

#include "Device.h"
#include "Laboratory.h"

#include <QByteArray>

struct WireBench
{
    explicit WireBench(quint64 seed) : laboratory(clock, *lab::findSample("quartz"), seed)
    {
        trace.setSink([this](const std::string& line) { record += QByteArray::fromStdString(line) + '\n'; });
    }

    virtual ~WireBench() = default;
    WireBench(const WireBench&) = delete;
    WireBench& operator=(const WireBench&) = delete;

    /// The device on the wire.
    virtual lab::Device& played() = 0;

    /// Sends bytes as they stand, and returns what is answered by now.
    QByteArray say(const QByteArray& bytes)
    {
        played().receive({bytes.constData(), static_cast<std::size_t>(bytes.size())});
        return heard();
    }
    /// Lets time pass, without anybody looking meanwhile, and returns what has been answered until then.
    QByteArray after(double seconds)
    {
        clock.advance(seconds);
        played().wake();
        return heard();
    }
    QByteArray heard()
    {
        for (const lab::Reply& reply : played().takeReplies())
            coming.push_back(reply);
        QByteArray text;
        std::erase_if(coming, [&](const lab::Reply& reply) {
            if (reply.time > clock.now())
                return false;
            text += QByteArray::fromStdString(reply.bytes);
            return true;
        });
        return text;
    }

    lab::ManualClock clock;
    lab::Trace trace;
    QByteArray record;
    lab::Laboratory laboratory;
    std::vector<lab::Reply> coming;
};
