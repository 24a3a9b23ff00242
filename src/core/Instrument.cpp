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
        const Known<bool>& output = controller->output;
        if (output.likely().value_or(false))
            switchedOn.insert(controller.key());
        else if (output.isConfirmed()) // an "off" that was only sent is none yet
            switchedOn.remove(controller.key());
    }
}

bool Instrument::mayBeOn(const QString& controller) const
{
    const Known<bool> output = controllers.value(controller).output;
    return output.isConfirmed() ? *output.value : output.asked.value_or(false) || switchedOn.contains(controller);
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
