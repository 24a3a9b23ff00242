// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Alarm.h"

#include <QTimer>

#include <algorithm>
#include <cmath>
#include <utility>

namespace lab {

namespace {

class WallAlarm final : public Alarm
{
public:
    WallAlarm(const Clock& clock, std::function<void()> ring) : clock_(clock)
    {
        timer_.setSingleShot(true);
        timer_.setTimerType(Qt::PreciseTimer);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(ring));
    }

    void set(Time when) override
    {
        constexpr double longest = 3600e3; // ms
        const double wait = std::ceil(toSeconds(when - clock_.now()) * 1000.0 / clock_.speed());
        timer_.start(static_cast<int>(std::clamp(wait, 0.0, longest)));
    }

    void stop() override { timer_.stop(); }

private:
    const Clock& clock_;
    QTimer timer_;
};

} // namespace

Alarms wallAlarms(const Clock& clock)
{
    return [&clock](std::function<void()> ring) { return std::make_unique<WallAlarm>(clock, std::move(ring)); };
}

} // namespace lab
