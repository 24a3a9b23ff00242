// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"

#include <QList>
#include <QString>
#include <QStringList>

/// Start-up and the end of the program, for the desktop program and the console program alike: where scan.ini lies, the words of the
/// command line, the settings, the devices and the order in which they are opened and asked, the caption, what is written back, the closing
/// questions.
///
/// The desktop program shows its splash window and calls Main; then it shows the main window. The console program takes the same steps one
/// by one.
namespace modMain {
/// A temperature device as start-up sees it. A row that lacks its presence check is never counted as present: its flag is cleared, and that
/// is logged.
struct TemperatureDevice
{
    QString name;                      ///< "HTC", "LTC", "Laser": in logs and messages
    bool Flags::*enabled = nullptr;    ///< cleared when a step fails
    void (*loadPIDFile)() = nullptr;   ///< tests the parameter file, reports and clears the flag by itself. Null: the device has none
    bool (*onSerialLine)() = nullptr;  ///< false: reached over the GPIB bus. Null: on `TCComm`
    bool (*initializeBus)() = nullptr; ///< called in place of opening `TCComm` when it is not on the serial line
    bool (*isThere)() = nullptr;       ///< presence check and initialization; reports by itself
};

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QList<TemperatureDevice> temperatureDevices; ///< in the order in which they are opened and asked: HTC, LTC, laser
    QString aboutText;                           ///< for the about box; set by LoadSettings

    State();
};
State& state();

// --- the steps of the start

/// The whole start of the desktop program: program directory, cleared flags, command-line words, settings, caption, and one second with a
/// live window. `arguments` are the program's arguments without its own path.
void Main(const QStringList& arguments);

/// Settles where scan.ini and the logs lie: `wanted` when given, otherwise the folder of the executable when it holds a scan.ini or can be
/// written, otherwise the per-user data folder of the platform (made when missing). Sets modTools::state().programDirectory and iniPath.
void SetProgramDirectory(const QString& wanted = {});
/// The value of "--program-dir DIR" or "--program-dir=DIR" among the arguments, which are left without it; empty when it is not there.
QString TakeProgramDirectory(QStringList& arguments);
/// Clears the flags log, sound, too, busy and idlePower.
void ClearFlags();
/// Sets the flags of the words "sound", "log" and "too", found anywhere in the arguments and in any case ("-log", "/LOG", "catalog").
void SetCommandLine(const QStringList& arguments);
/// Reads scan.ini into the configuration record and the front panel's fields, logging each key; then opens and asks the devices:
/// temperature devices, goniometer controller, generator line. A device that fails is reported, its flag cleared, and the start goes on. A
/// Theta-2-Theta goniometer with a controller of fewer than two axes is reported and ends the loading there: the type stays Guinier, the
/// generator line is not opened, the status text not set. That is intended.
void LoadSettings();
/// Sets the caption to ShortCaption.
void SetCaption();

// --- texts

/// "Scan (4412, Theta-2-Theta, online mode)", or "Scan (Simulation)" when the controller does not answer: from start-up.
QString ShortCaption();
/// "Scan (Guinier diffractometer, silent mode, controller 4412)": after the settings dialog.
QString LongCaption();
/// "2.1.22".
QString VersionText();

// --- the end

/// Writes the work directory and the four parameter fields as typed ("," as ".") to section General of scan.ini. Returns 0, or -1 when one
/// of them could not be written; nobody asks.
qint16 SaveSettings();
/// First closing question, asked when the controller is busy or a temperature profile runs: false keeps the window open. When it is passed
/// the settings are saved.
bool QueryClose();
/// Second closing question, asked when the scan in memory was not saved: false keeps the program running.
bool QueryUnload();
/// After both questions: every wait returns, nothing more is sent, the cooldown log ends, the lines are closed.
void Close();
} // namespace modMain
