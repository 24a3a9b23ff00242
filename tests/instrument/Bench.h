// SPDX-License-Identifier: GPL-3.0-or-later
//
// The goniometer controller on the bench.
#pragma once

#include "GoniometerController.h"
#include "WireBench.h"

#include <QList>

struct Bench : WireBench
{
    explicit Bench(lab::GoniometerOptions options = {}, std::vector<lab::Fault> faults = {}, quint64 seed = 1)
        : WireBench(seed), controller(laboratory, std::move(faults), trace, options)
    {
    }
    lab::Device& played() override { return controller; }

    /// Sends a command as the program does: line break, command.
    QByteArray command(const QByteArray& text) { return say("\r\n" + text); }
    void upload(const QList<QByteArray>& lines)
    {
        for (const QByteArray& line : lines)
            command(line);
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

    lab::GoniometerController controller;
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
