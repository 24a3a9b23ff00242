// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ProgramError.h"
#include "core/modTools.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>

/// The log of a cooling (or warming) sample: every `LogInterval` seconds the low-temperature controller is asked for temperature and
/// setpoint, and a line goes to a file of its own, which the window frmCooldown shows as text and as a plot.
///
/// A reading is a conversation that waits with events, and its tick comes out of whatever waits just then, the loop of a scan for example.
/// Therefore:
/// - while a wait for a temperature of this controller runs, the line takes that wait's last reading, and nothing is asked;
/// - otherwise a tick is passed over, nothing asked and nothing written, while somebody else talks to a temperature controller or may do
/// so:
///   a temperature entry, a profile, an exchange under way on the line; and when the program closes;
/// - a tick that falls into the wait for a reply of the goniometer's controller is put off until that reply is there;
/// - while `reading` is set, whoever starts something that lasts waits for readingEnded() first, so that a scan is not run through inside
///   a reading. The main window does so for its entries.
///
/// The file is opened for each line and closed again: a crash loses nothing, and there is nothing to close at the end. Lines that cannot be
/// written are kept and written before the next one; the operator is told once, in a box that waits until nothing runs.
namespace CooldownLog {
/// One line, for the plot. Empty: the controller did not answer, or not with a number.
struct Reading
{
    double elapsed = 0;               ///< since the start of the log [s]
    std::optional<float> temperature; ///< [K]
    std::optional<float> setpoint;    ///< [K]; not asked for when there was no temperature
};

/// The module's variables; reset() puts them back.
struct State
{
    bool running = false;                               ///< lines are written
    bool reading = false;                               ///< the log talks to the controller just now
    int number = 0;                                     ///< counts the logs of this program run; the window begins anew with each
    QString path;                                       ///< the file, in the work directory of the log's start
    QList<Reading> readings;                            ///< of this log, or of the last one
    QStringList lines;                                  ///< the same as they stand in the file, without line ends
    QByteArray unwritten;                               ///< lines that the disk did not take yet
    ProgramError error;                                 ///< why; none: everything is in the file
    QDateTime (*moment)() = &modTools::currentDateTime; ///< date and time of the lines and of the file's name
};
State& state();
void reset();

class Notifier : public QObject
{
    Q_OBJECT

signals:
    /// state() has changed: started, stopped, a line more, a file error.
    void changed();
    /// `reading` was cleared.
    void readingEnded();
};
Notifier& notifier();

/// The menu entry: starts the log, or stops the one that runs.
void mnuLTCLogCooldown();

/// Makes `cooldown_yyyymmdd_hhmmss.log` in the work directory and takes the first reading as soon as events run; the entry's caption
/// becomes "Stop &Log Cooldown". A name that is taken is passed over for that of the next second: no file is ever written over. A file that
/// cannot be made is shown in a box titled "Cooldown log", and nothing is started. Does nothing while the log runs.
void Start();
/// Ends the log; a reading under way is thrown away. Lines still unwritten are tried once more. Asks and shows nothing.
void Stop();

/// "2026-03-01 07:05:09;77.2;77": date and time, temperature, setpoint; an empty field for what is not known.
QString LineText(const QDateTime& moment, const std::optional<float>& temperature, const std::optional<float>& setpoint);
} // namespace CooldownLog
