// SPDX-License-Identifier: GPL-3.0-or-later
//
// Any device on the bench, with a goniometer beside it to see what it does to the counts.
#pragma once

#include "GoniometerController.h"
#include "WireBench.h"

template <typename Played>
struct DeviceBench : WireBench
{
    template <typename... More>
    explicit DeviceBench(std::vector<lab::Fault> faults = {}, More... more)
        : WireBench(1), goniometer(laboratory, {}, trace, {}), device(laboratory, std::move(faults), trace, more...)
    {
    }
    lab::Device& played() override { return device; }

    void tell(const QByteArray& line)
    {
        const QByteArray bytes = "\r\n" + line;
        goniometer.receive({bytes.constData(), static_cast<std::size_t>(bytes.size())});
    }
    /// What the detector counts at 2-Theta `angle` in `seconds`, once the axes have arrived there.
    double countsAt(double angle, double seconds)
    {
        const QByteArray text = QByteArray::number(angle, 'g', 12);
        tell("CLR;CA2;CCNT;1:A" + QByteArray::number(angle / 2.0, 'g', 12) + "S500L4000B20;2:A" + text + "S500L4000B20;NL;END;START:;");
        after(60.0);
        goniometer.wake();
        tell("CLR;CA2;CCNT;CNT" + QByteArray::number(seconds, 'g', 12) + ";END;START:;");
        after(seconds);
        goniometer.wake();
        return goniometer.counts().size() == 1 ? static_cast<double>(goniometer.counts()[0]) : -1.0;
    }

    lab::GoniometerController goniometer;
    Played device;
};
