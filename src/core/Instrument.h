// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Known.h"

#include <QMap>
#include <QObject>
#include <QSet>
#include <QString>

/// What is known of the instrument at this moment: lines, outputs, angles, temperatures. The modules write down what they send and what is
/// answered, with learn(); whoever shows, asks or reports reads here. `instrument() = Instrument{}` resets it whole.
struct Instrument
{
    enum class Line {
        NotOpen,   ///< not in use, or the program closes
        Up,        ///< open
        Down,      ///< lost, or could not be opened
        Simulation ///< goniometer: the controller did not answer at the start; for the whole run
    };
    enum class Power {
        Off,  ///< no current or no voltage
        Idle, ///< neither above its idle value (scan.ini)
        On
    };

    /// A temperature controller. Setpoint and temperature as the controller has them.
    struct Controller
    {
        Known<bool> output = {};        ///< heater or laser beam is on
        Known<double> setpoint = {};    ///< in `unit`
        Known<double> temperature = {}; ///< in `unit`
        QString unit = {};              ///< "K", "°C", "A"
        bool onBus = false;             ///< on the instrument bus, not on the temperature line

        bool operator==(const Controller&) const = default;
    };

    Line goniometerLine = Line::NotOpen;
    Line generatorLine = Line::NotOpen;
    Line temperatureLine = Line::NotOpen;

    // --- on the goniometer's line
    Known<bool> shutterOpen;  ///< X-ray shutter: asked for, never confirmed; unknown once its controller has not answered
    Known<double> axis1Angle; ///< [deg]; unknown while it moves, unless it was sent to an angle

    // --- on the generator's line
    Known<Power> power;
    Known<qint16> milliampere;
    Known<qint16> kilovolt;

    // --- on the temperature line
    QMap<QString, Controller> controllers; ///< by their names: "LTC", "HTC", "Laser"; those that were spoken to
    QSet<QString> switchedOn;              ///< their outputs were on when they were last known, whatever has become unknown since

    /// Keeps `switchedOn` true.
    void remember();
    /// The output of this controller is on, or nobody has confirmed that it is off since it was on.
    bool mayBeOn(const QString& controller) const;
    /// Notes the state of a line. What hangs on a line that is not up becomes unknown. A simulation ends only when the line is opened anew:
    /// `opened`.
    void lineIs(Line Instrument::*line, Line state, bool opened = false);

    bool operator==(const Instrument&) const = default;
};

Instrument& instrument();

/// Tells that something in instrument() has changed, a newer confirmation included.
class InstrumentNotifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
};
InstrumentNotifier& instrumentNotifier();

/// Changes the snapshot, and says so when it is not the same afterwards.
template <typename Change>
void learn(const Change& change)
{
    const Instrument before = instrument();
    change(instrument());
    instrument().remember();
    if (!(instrument() == before))
        emit instrumentNotifier().changed();
}
