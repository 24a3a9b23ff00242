// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>

/// What the program knows of each temperature controller: one row of facts and procedures. Profiles, editor, report, console and start-up
/// ask the row and nothing else; nobody asks which controller it is. A new controller is a file with its row, and its place in State().
namespace Temperature {
inline constexpr double roomTemperature = 22; ///< where heaters are set back to [deg C]

/// The values that are set and read: their range, how fine they are, and how they are written.
struct Scale
{
    double lowest = 0;
    double highest = 0;
    double smallestStep = 1;
    double rampStep = 0;   ///< ramp rates are multiples of it [K/min]; 0: any
    QString unit;          ///< "K", "deg C" or "A"
    bool currents = false; ///< heater currents are set in place of temperatures
    int fileDigits = 4;    ///< in a file name, zeros in front and the point counted: 6 in "0295.3"
    int fileDecimals = 0;
    QString filePattern;   ///< "xxxx.x": the same, as the operator is told
    QString fileMeaning;   ///< "temperature": what stands in the file name
    int shownDecimals = 0; ///< of a value that was read

    double largestStep() const { return highest - lowest; }
    /// "0.0001", "0.1" or "1"
    QString smallestStepText() const;
    /// "0295.3"
    QString fileValue(double value) const;
};

/// The control parameters by temperature (PIDTable). A controller has all of it, or none.
struct Table
{
    QString (*fileName)() = nullptr;
    void (*load)() = nullptr;                              ///< start-up: tests the file, reports and clears `enabled` by itself
    qint16 (*look)(float value, QString* found) = nullptr; ///< "P71I8D2"; 0: from the file, -1: the defaults, after a message
    bool (*save)(QString* said) = nullptr;                 ///< stores what the controller regulates with; `said`: success or why not
};

/// The end of a run.
struct WayBack
{
    std::function<qint16()> send;  ///< sent until it returns 0; empty: the controller stays as it is
    std::optional<double> awaited; ///< value that is then waited for
};

/// What came of switching the output off.
struct Off
{
    bool confirmed = false; ///< the controller says that it is off
    QString said;           ///< what it says, or that it does not answer
};

struct Controller
{
    QString name;                           ///< "HTC": in logs and messages, and the section of scan.ini
    QString fullName;                       ///< "high-temperature controller": in sentences
    QString outputName;                     ///< "furnace heater": what is hot or radiates
    std::optional<Menu::Entry> outputEntry; ///< switches it (Menu::Item::outputOf); nothing: there is none
    bool outputHurts = false;               ///< people, when it is on
    bool& (*enabled)() = nullptr;           ///< in use; cleared when it turns out not to be there
    std::optional<Menu::Entry> menu;        ///< follows `enabled` (Menu::Item::device); nothing: it has none

    // --- start-up

    void (*readSettings)() = nullptr; ///< its section of scan.ini, and `enabled`
    void (*readLimits)() = nullptr;   ///< what is read behind the table. Null: nothing
    Table table;
    bool (*onSerialLine)() = nullptr;  ///< false: reached over the GPIB bus. Null: on `TCComm`
    bool (*initializeBus)() = nullptr; ///< called in place of opening `TCComm` when it is not on the serial line
    bool (*isThere)() = nullptr;       ///< presence check and initialization; reports by itself. Null: never counted as present

    // --- values

    Scale (*scale)() = nullptr;
    double startsAt = 0;                                                   ///< where a profile is taken to begin
    double (*settlingTime)(double from, double to, double ramp) = nullptr; ///< expected, from the setpoint to the steady value [s]

    /// The output off, and read back. Shows nothing on failure.
    Off (*switchOff)() = nullptr;

    /// Each asks for one thing (temperature, setpoint, output) and notes in instrument() what is answered; false: there was no answer. They
    /// show nothing. Empty: the controller tells nothing of itself.
    QList<bool (*)()> readings;

    // --- operations; 0 is success

    qint16 (*set)(double value, double ramp) = nullptr; ///< ramp [K/min], 0: none
    bool asks = false; ///< a value that was not taken is asked about (Abort, Retry, Ignore); false: it is sent until it has surely gone out
    /// Until the value is steady: a SteadyState::Result. Silent after `silence` [s] without a reading, Stalled after `stall` [s] without
    /// one that is nearer; 0: no limit.
    qint16 (*wait)(double value, double silence, double stall) = nullptr;
    bool statistics = true; ///< the wait is one for a steady state, with mean and scatter
    std::optional<double> (*read)() = nullptr;
    WayBack (*wayBack)() = nullptr; ///< asked when a run begins

    // --- what a profile looks after

    QString (*refuses)(double value) = nullptr; ///< why a value within the scale cannot be set; empty: it can. Null: all can
    double (*longestWait)() = nullptr;          ///< a wait that takes longer is reported [h]; 0 or null: none is
    bool warnsWhenOff = false;                  ///< a setpoint has no effect while the output is off

    bool inUse() const { return enabled != nullptr && enabled(); }
    /// The name of the control-parameter file; empty: it has none.
    QString tableFile() const { return table.fileName != nullptr ? table.fileName() : QString(); }
};

enum class Initialization {
    Whole,   ///< reset and all that belongs to it: the window
    NoReset, ///< units and emulation: a command that sets something
    None,    ///< a command that reads, or that is for another device
};

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QList<Controller> controllers;
    Initialization initialization = Initialization::Whole; ///< what is sent to a controller that is there at the start
    QStringList wanted;                                    ///< names of those that scan.ini switched on, there or not

    State();
};
State& state();

/// All rows, in order of precedence: the first one in use is the one that a profile sets.
QList<Controller>& controllers();
/// The first controller in use. When none is: a row with the low-temperature controller's values, whose operations fail and send nothing.
const Controller& active();
/// False when no controller is in use.
bool anyInUse();
/// The row with this name, null when there is none. For start-up alone, whose order is fixed by name.
Controller* named(const QString& name);

/// The needed members that a row lacks; empty when it can be used.
QStringList lacking(const Controller& controller);

/// An estimate of the settling time [s] for a controller that ramps.
double rampedSettlingTime(double from, double to, double ramp);
} // namespace Temperature
