// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

namespace Temperature {
struct Controller;
}

/// Start-up and the end of the program, for the desktop program and the console program alike: where scan.ini lies, the words of the
/// command line, the settings, the devices and the order in which they are opened and asked, the caption, what is written back, the closing
/// questions.
///
/// The desktop program shows its splash window and calls Main; then it shows the main window. The console program takes the same steps one
/// by one.
namespace modMain {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    QString aboutText; ///< for the about box; set by LoadSettings
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
/// temperature controllers (high, low, laser), goniometer controller, generator line. A device that fails is reported, its flag cleared,
/// and the start goes on. A Theta-2-Theta goniometer with a controller of fewer than two axes is reported and ends the loading there: the
/// type stays Guinier, the generator line is not opened, the status text not set. That is intended.
void LoadSettings();
/// The temperature controllers in the order in which their sections are read. A row that lacks a needed member is taken out before, with a
/// box and a line in the log; one that lacks only its presence check is logged when it would be asked, and its flag cleared.
QList<const Temperature::Controller*> ControllersAsRead();
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
/// Offers the copy of a scan that was never saved, in a message bar; nothing when there is none.
void OfferRecovered();
/// Third closing question, asked when shutter, heater or beam is on, or was switched on by this program and is not known to be off: Yes
/// switches everything off and waits for it (what does not confirm is shown, and asked about); false keeps the program running.
bool QueryStillOn();
/// The end of a session or a signal: nobody can be asked. Saves the settings and switches off what is on, for up to 10 s.
void EndWithoutQuestions();
/// After the questions: every wait returns, nothing more is sent, the cooldown log ends, the lines are closed.
void Close();
} // namespace modMain
