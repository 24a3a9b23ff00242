// SPDX-License-Identifier: GPL-3.0-or-later
//
// A controller on the bench: a clock that is turned by hand, a laboratory, and both ends of the wire.
#pragma once

#include "GoniometerController.h"

#include <QByteArray>
#include <QList>

struct Bench
{
    explicit Bench(lab::GoniometerOptions options = {}, std::vector<lab::Fault> faults = {}, quint64 seed = 1)
        : laboratory(clock, *lab::findSample("quartz"), seed), controller(laboratory, std::move(faults), trace, options)
    {
        trace.setSink([this](const std::string& line) { record += QByteArray::fromStdString(line) + '\n'; });
    }

    /// Sends bytes as they stand, and returns what is answered by now.
    QByteArray say(const QByteArray& bytes)
    {
        controller.receive({bytes.constData(), static_cast<std::size_t>(bytes.size())});
        return heard();
    }
    /// Sends a command as the program does: line break, command.
    QByteArray command(const QByteArray& text) { return say("\r\n" + text); }
    void upload(const QList<QByteArray>& lines)
    {
        for (const QByteArray& line : lines)
            command(line);
    }
    /// Lets time pass and returns what has been answered until then.
    QByteArray after(double seconds)
    {
        clock.advance(seconds);
        controller.wake();
        return heard();
    }
    QByteArray heard()
    {
        for (const lab::Reply& reply : controller.takeReplies())
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
    /// The counts in the controller's memory, as read over the line.
    QList<qlonglong> counts()
    {
        QList<QByteArray> lines = command("?CNT;").replace("\r\n", "\n").split('\n');
        QList<qlonglong> values;
        for (const QByteArray& line : lines) {
            if (line == "CEND;")
                break;
            values += line.toLongLong();
        }
        return values;
    }

    lab::ManualClock clock;
    lab::Trace trace;
    QByteArray record;
    lab::Laboratory laboratory;
    lab::GoniometerController controller;
    std::vector<lab::Reply> coming;
};

/// The counting program of a scan on one axis.
inline QList<QByteArray> oneAxisScan(double start, double step, int points, double seconds)
{
    const auto text = [](double value) { return QByteArray::number(value, 'g', 15); };
    return {"CLR;",
            "CA1;",
            "CCNT;",
            "1:A" + text(start) + "S500L4000B20;",
            "CNT" + text(seconds) + ";",
            "NL;",
            "GSB10*" + QByteArray::number(points - 1) + ";",
            "NL;",
            "END;",
            "LIN10;",
            "1:" + text(step) + "S1500;",
            "CNT" + text(seconds) + ";",
            "NL;",
            "RET;",
            "NL;",
            "START:;"};
}

/// The counting program of a scan on two axes, the first at half angle and half speed.
inline QList<QByteArray> twoAxesScan(double start, double step, int points, double seconds)
{
    const auto text = [](double value) { return QByteArray::number(value, 'g', 15); };
    return {"CLR;",
            "CA2;",
            "CCNT;",
            "1:A" + text(start / 2) + "S500L2000B20;",
            "2:A" + text(start) + "S500L4000B20;",
            "CNT" + text(seconds) + ";",
            "NL;",
            "GSB10*" + QByteArray::number(points - 1) + ";",
            "NL;",
            "END;",
            "LIN10;",
            "1:" + text(step / 2) + "S750;",
            "2:" + text(step) + "S1500;",
            "CNT" + text(seconds) + ";",
            "NL;",
            "RET;",
            "NL;",
            "START:;"};
}

/// Seconds that such a scan takes from the angle 0.
inline double scanSeconds(double start, double step, int points, double seconds)
{
    return start / 4.0 + points * seconds + (points - 1) * step / 1.5;
}
