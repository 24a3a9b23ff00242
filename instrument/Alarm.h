// SPDX-License-Identifier: GPL-3.0-or-later
//
// Being woken at a moment of laboratory time.
#pragma once

#include "Clock.h"

#include <functional>
#include <memory>

namespace lab {

/// Rings once each time that it is set. A moment that has passed rings as soon as the events run.
class Alarm
{
public:
    virtual ~Alarm() = default;
    virtual void set(Time when) = 0;
    virtual void stop() = 0;
};

/// Where lines get their alarms from; `ring` is called from the event loop.
using Alarms = std::function<std::unique_ptr<Alarm>(std::function<void()> ring)>;

/// Alarms by the timers of the event loop, for a clock that runs with the one on the wall.
Alarms wallAlarms(const Clock& clock);

} // namespace lab
