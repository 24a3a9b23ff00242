// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Instrument.h"

#include "core/modTools.h"

QDateTime wallClock()
{
    return modTools::currentDateTime();
}

Moment::Moment() : clock(modTools::timeGetTime()), wall(wallClock()) {}

Instrument& instrument()
{
    static Instrument theInstrument;
    return theInstrument;
}

InstrumentNotifier& instrumentNotifier()
{
    static InstrumentNotifier theNotifier;
    return theNotifier;
}

void Instrument::remember()
{
    for (auto controller = controllers.cbegin(); controller != controllers.cend(); ++controller) {
        const std::optional<bool> on = controller->output.likely();
        if (on.value_or(false))
            switchedOn.insert(controller.key());
        else if (on)
            switchedOn.remove(controller.key());
    }
}

void Instrument::lineIs(Line Instrument::*line, Line state, bool opened)
{
    if (this->*line == Line::Simulation && state != Line::NotOpen && !opened)
        return;
    this->*line = state;
    if (state == Line::Up)
        return;
    if (line == &Instrument::goniometerLine) {
        shutterOpen.forget();
        axis1Angle.forget();
    } else if (line == &Instrument::generatorLine) {
        power.forget();
        milliampere.forget();
        kilovolt.forget();
    } else {
        for (Controller& controller : controllers) {
            if (!controller.onBus)
                controller = Controller{.unit = controller.unit};
        }
    }
}
