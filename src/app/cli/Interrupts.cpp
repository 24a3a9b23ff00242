// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/Interrupts.h"

#include "core/Operation.h"
#include "core/modTools.h"

#include <csignal>
#include <utility>

namespace {
volatile std::sig_atomic_t pressed = 0;

void onSignal(int number)
{
    pressed = pressed + 1;
    std::signal(number, onSignal);
}

volatile std::sig_atomic_t hungUp = 0;

#ifdef SIGHUP
void onHangUp(int)
{
    hungUp = 1;
}
#endif

struct Watch
{
    modTools::Timer timer{"Interrupts"};
    std::function<void(int)> handler;
    int handled = 0;

    Watch()
    {
        timer.setInterval(50);
        QObject::connect(&timer, &modTools::Timer::tick, &timer, [this] { look(); });
    }

    void look()
    {
        // Within a run it is over and done with: the end of the run is no interrupt either.
        if (hungUp != 0 && !Operation::anyUnattended())
            pressed = pressed + 1;
        hungUp = 0;
        // Not inside the tick: the handler waits, and the next interrupt is to be heard meanwhile.
        while (handled < pressed)
            QMetaObject::invokeMethod(
                &timer,
                [this, number = ++handled] {
                    if (handler)
                        handler(number);
                },
                Qt::QueuedConnection);
    }
};

Watch& theWatch()
{
    static Watch watch;
    return watch;
}
} // namespace

void cli::Interrupts::install(std::function<void(int number)> handler)
{
    Watch& watch = theWatch();
    if (!watch.handler) {
        std::signal(SIGINT, onSignal);
        std::signal(SIGTERM, onSignal);
#ifdef SIGPIPE
        std::signal(SIGPIPE, SIG_IGN);
#endif
#ifdef SIGHUP
        // Who started the program so that it outlives its terminal has already chosen.
        if (std::signal(SIGHUP, onHangUp) == SIG_IGN)
            std::signal(SIGHUP, SIG_IGN);
#endif
        watch.timer.setEnabled(true);
    }
    watch.handler = std::move(handler);
}

int cli::Interrupts::count()
{
    return pressed;
}

void cli::Interrupts::press()
{
    pressed = pressed + 1;
}

void cli::Interrupts::hangUp()
{
    hungUp = 1;
}

void cli::Interrupts::reset()
{
    theWatch().timer.setEnabled(false);
    theWatch().handler = {};
    theWatch().handled = 0;
    pressed = 0;
    hungUp = 0;
}
