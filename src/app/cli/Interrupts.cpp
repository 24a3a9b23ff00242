// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/Interrupts.h"

#include "core/Flags.h"
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

#ifdef SIGHUP
volatile std::sig_atomic_t hungUp = 0;

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

    void look()
    {
#ifdef SIGHUP
        // Within a run it is over and done with: the end of the run is no interrupt either.
        if (hungUp != 0 && !flags().profileRunning)
            pressed = pressed + 1;
        hungUp = 0;
#endif
        // The count moves first: the handler waits and lets this timer tick again.
        while (handled < pressed)
            handler(++handled);
    }
};
} // namespace

void cli::Interrupts::install(std::function<void(int number)> handler)
{
    static Watch watch;
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
        watch.timer.setInterval(50);
        QObject::connect(&watch.timer, &modTools::Timer::tick, &watch.timer, [] { watch.look(); });
        watch.timer.setEnabled(true);
    }
    watch.handler = std::move(handler);
}

int cli::Interrupts::count()
{
    return pressed;
}
