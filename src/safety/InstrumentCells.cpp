// SPDX-License-Identifier: GPL-3.0-or-later

#include "safety/InstrumentCells.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/Instrument.h"
#include "core/Operation.h"
#include "profile/ProfileRun.h"
#include "temperature/Controller.h"

#include <QLocale>

#include <utility>

using namespace Qt::StringLiterals;
using InstrumentCells::Cell;

namespace {
const QString unknown = u"?"_s;

/// When a value was confirmed, or why it is not.
template <typename T>
QString howKnown(const Known<T>& what)
{
    const bool today = what.confirmedOn.date() == wallClock().date();
    if (what.isConfirmed())
        return u"Read at "_s + what.confirmedOn.toString(today ? u"HH:mm:ss"_s : u"HH:mm:ss, yyyy-MM-dd"_s);
    return what.asked ? u"Sent, not confirmed"_s : u"Not known: not asked yet, or the line or its device went away"_s;
}

/// "30", "30?" when it was sent and not confirmed, "?" when nobody knows.
template <typename T>
QString valueText(const Known<T>& what, int decimals)
{
    if (!what.likely())
        return unknown;
    const QString text = QLocale::c().toString(double(*what.likely()), 'f', decimals);
    return what.isConfirmed() ? text : text + unknown;
}

Cell lineCell(const QString& name, Instrument::Line line)
{
    switch (line) {
    case Instrument::Line::Simulation:
        return {name + u"Line"_s, name + u": simulation"_s, u"The controller did not answer at the start: nothing is sent"_s};
    case Instrument::Line::Down:
        return {name + u"Line"_s, name + u" down"_s, u"The line is lost, or could not be opened; it is tried again"_s};
    default:
        return {name + u"Line"_s, name + u" up"_s, u"The line is open"_s};
    }
}

Cell tubeCell(const Instrument& now)
{
    Cell cell{u"tube"_s, u"X-ray "_s + valueText(now.kilovolt, 0) + u" kV "_s + valueText(now.milliampere, 0) + u" mA"_s,
              howKnown(now.milliampere)};
    if (!now.kilovolt.likely() && !now.milliampere.likely())
        cell.text = u"X-ray "_s + unknown;
    else if (now.power.likely() == Instrument::Power::Idle)
        cell.text += u", idle"_s;
    if (Operation::isRunning(Operations::warmUp))
        cell.text += u", warming up"_s;
    return cell;
}

/// On, off or unknown; `mayBeOn`: it is on, or was when it was last known.
Cell outputCell(const QString& name, const QString& what, const Known<bool>& output, bool mayBeOn, bool hurts)
{
    const std::optional<bool> on = output.likely();
    Cell cell{name, what + u' ', howKnown(output), hurts && mayBeOn};
    cell.text += !on ? unknown : *on ? u"on"_s : u"off"_s;
    if (on && !output.isConfirmed())
        cell.text += unknown;
    return cell;
}

Cell shutterCell(const Instrument& now)
{
    if (!flags().smcOnline)
        return {u"shutter"_s, flags().shutterOpen ? u"shutter open (simulation)"_s : u"shutter closed (simulation)"_s,
                u"The goniometer controller did not answer at the start: nothing is sent"_s};
    const std::optional<bool> open = now.shutterOpen.likely();
    Cell cell{u"shutter"_s, u"shutter "_s + unknown, howKnown(now.shutterOpen), open.value_or(flags().shutterOpen)};
    if (open) {
        cell.text = *open ? u"shutter open"_s : u"shutter closed"_s;
        cell.toolTip = u"As it was sent: the shutter gives no reply"_s;
    }
    return cell;
}
} // namespace

QList<Cell> InstrumentCells::now()
{
    const Instrument& now = instrument();
    QList<Cell> cells;
    const std::pair<QString, Instrument::Line> lines[] = {
        {u"goniometer"_s, now.goniometerLine}, {u"generator"_s, now.generatorLine}, {u"temperature"_s, now.temperatureLine}};
    for (const auto& [name, line] : lines)
        if (line != Instrument::Line::NotOpen)
            cells += lineCell(name, line);
    const double factor = configuration().general.instrumentSpeed;
    if (factor > 0 && !qFuzzyCompare(factor, 1.0))
        cells += {u"instrumentSpeed"_s, QLocale::c().toString(factor) + u" × as fast"_s,
                  u"A virtual instrument: it runs so many times as fast as a real one, and remaining times are reckoned at that speed"_s};
    const ProfileRun::State& run = ProfileRun::state();
    if (run.current >= 0 && run.rows[run.current].phase == ProfileRun::Phase::Paused)
        cells += {u"profile"_s, u"profile paused"_s, u"The temperature controller is silent; it is asked once a minute"_s};
    if (flags().generatorRemote)
        cells += tubeCell(now);
    if (flags().shutterRemote)
        cells += shutterCell(now);
    if (flags().smcOnline && now.goniometerLine != Instrument::Line::NotOpen)
        cells += {u"axis1"_s, u"axis 1 "_s + valueText(now.axis1Angle, 3), howKnown(now.axis1Angle)};
    for (const Temperature::Controller& row : std::as_const(Temperature::controllers())) {
        if (!row.inUse())
            continue;
        const Instrument::Controller own = now.controllers.value(row.name);
        const int decimals = row.scale().shownDecimals;
        const QString unit = own.unit.isEmpty() ? row.scale().unit : own.unit;
        cells += {row.name + u"Temperature"_s,
                  row.name + u' ' + valueText(own.temperature, decimals) + u" → "_s + valueText(own.setpoint, decimals) + u' ' + unit,
                  u"Temperature: "_s + howKnown(own.temperature) + u"\nSetpoint: "_s + howKnown(own.setpoint)};
        cells += outputCell(row.name + u"Output"_s, row.outputName, own.output, now.mayBeOn(row.name), row.outputHurts);
    }
    return cells;
}
