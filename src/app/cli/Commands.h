// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "app/cli/Arguments.h"
#include "app/cli/Terminal.h"

#include <QList>
#include <QString>
#include <QStringList>

/// The commands of the console program. Each is one row of a table; each uses the procedures behind the window's menus.
namespace cli {
struct Command
{
    const char* name;
    const char* help;
    QList<Option> operands;
    QList<Option> options;
    int (*run)(const Arguments& arguments); ///< returns the exit status
};

/// All commands in the order of the help.
const QList<Command>& commands();
/// The text of --help; of one command when given.
QString helpText(const Command* command = nullptr);

/// The whole program: reads the words behind the program's name, runs the command, returns the exit status.
int run(QStringList words);

// --- used by the commands

/// The prompts of this run.
TerminalPrompts& terminalPrompts();
/// The command sets something with a temperature controller: at the start it gets its units, too, but no reset. Before the devices are
/// asked.
void setsController();
/// Reads scan.ini, opens and asks the devices. False, with a note, when there is no controller.
bool connectDevices();

// The commands themselves; each returns the exit status.
int acquire(const Arguments& arguments);
int readback(const Arguments& arguments);
int info(const Arguments& arguments);
int convert(const Arguments& arguments);
int status(const Arguments& arguments);
int goTo(const Arguments& arguments);
int off(const Arguments& arguments);
int stop(const Arguments& arguments);
int ratemeter(const Arguments& arguments);
int reference(const Arguments& arguments);
int generator(const Arguments& arguments);
int ltc(const Arguments& arguments);
int htc(const Arguments& arguments);
int laser(const Arguments& arguments);
int pid(const Arguments& arguments);
int profile(const Arguments& arguments);
int settings(const Arguments& arguments);

/// Writes the scan in memory in each wanted format ("FORMAT=FILE"); false when one of them failed.
bool writeExports(const QStringList& exports);
/// True when each file can be written where it is wanted: its directory takes files, and an existing file may be replaced (asked, --yes).
bool targetsUsable(const QStringList& paths);
/// The files of "FORMAT=FILE" texts.
QStringList exportPaths(const QStringList& exports);
/// "501 points from 20 to 30 degrees 2-Theta, step 0.02, 0.1 s per point" and the line with the counts.
QString summary();
/// Sum of all counts in memory.
double totalCounts();
} // namespace cli
