// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/Commands.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/ProgramError.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/modFile.h"
#include "temperature/Controller.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>
#include <numeric>

namespace {
using cli::Kind;

const cli::Option exportOption{"export", Kind::Export, "FORMAT=FILE", "write FILE in another format; may be given several times",
                               false,    true};

/// Understood before and behind every command.
const QList<cli::Option> commonOptions{
    {"program-dir", Kind::Path, "DIR", "where scan.ini lies and app.log is written"},
    {"log", Kind::Switch, "", "write app.log"},
    {"init", Kind::Switch, "", "initialise (reset) the low-temperature controller at the start, as the window does"},
    {"yes", Kind::Switch, "", "answer every question so that the command goes on"},
    {"help", Kind::Switch, "", "this text, or that of a command"},
    {"version", Kind::Switch, "", "the version"},
};

const cli::Command* findCommand(const QString& name)
{
    const QList<cli::Command>& all = cli::commands();
    const auto found =
        std::find_if(all.begin(), all.end(), [&name](const cli::Command& command) { return name == QLatin1String(command.name); });
    return found != all.end() ? &*found : nullptr;
}

/// Splits off the words before the command: common options and their values.
QStringList takeLeading(QStringList& words)
{
    QStringList leading;
    while (!words.isEmpty() && words.first().startsWith(u'-')) {
        leading.append(words.takeFirst());
        if (leading.last() == u"--program-dir" && !words.isEmpty())
            leading.append(words.takeFirst());
    }
    return leading;
}

int wrongUsage(const QString& why, const cli::Command* command)
{
    cli::Terminal::note(u"scan-cli: "_qs + why);
    const QString which = command != nullptr ? QString::fromLatin1(command->name) + u' ' : QString();
    cli::Terminal::note(u"Try: scan-cli %1--help"_qs.arg(which));
    return cli::WrongUsage;
}

QString optionUsage(const cli::Option& option)
{
    const QString value = *option.argument != '\0' ? u' ' + QString::fromLatin1(option.argument) : QString();
    return u"--"_qs + QString::fromLatin1(option.name) + value;
}

QString usageLine(const cli::Command& command)
{
    QString line = QString::fromLatin1(command.name);
    for (const cli::Option& operand : command.operands)
        line += u' ' + QString::fromLatin1(operand.argument);
    for (const cli::Option& option : command.options) {
        const QString usage = optionUsage(option) + (option.repeatable ? u" ..."_qs : QString());
        line += option.required ? u' ' + usage : u" ["_qs + usage + u']';
    }
    return line;
}

QString formatList()
{
    QString list;
    for (const ExportFormats::Format& format : ExportFormats::formats())
        list += u"  %1  %2\n"_qs.arg(QString::fromLatin1(format.key), -10).arg(QString::fromUtf16(format.filterText));
    return list;
}

QString commandHelp(const cli::Command& command)
{
    QString text = u"scan-cli "_qs + usageLine(command) + u"\n"_qs + QString::fromUtf8(command.help) + u"\n"_qs;
    for (const cli::Option& option : command.options)
        text += u"  %1  %2\n"_qs.arg(optionUsage(option), -22).arg(QString::fromUtf8(option.help));
    for (const cli::Option& option : commonOptions)
        text += u"  %1  %2\n"_qs.arg(optionUsage(option), -22).arg(QString::fromUtf8(option.help));
    const bool exports =
        std::any_of(command.options.begin(), command.options.end(), [](const cli::Option& one) { return one.kind == Kind::Export; });
    return exports ? text + u"Formats:\n"_qs + formatList() : text;
}
} // namespace

namespace {
QList<cli::Option> scanOptions()
{
    return {{"start", Kind::Number, "D", "scan start [deg 2-Theta]"},
            {"stop", Kind::Number, "D", "scan stop [deg 2-Theta]"},
            {"step", Kind::Positive, "D", "scan interval [deg 2-Theta]"},
            {"time", Kind::Positive, "S", "counter time [s]"},
            {"name", Kind::Name, "TEXT", "sample name"},
            {"comment", Kind::Text, "TEXT", "comment"},
            {"keep", Kind::Switch, "", "never replace FILE: FILE(2), FILE(3) ... is written when it exists"},
            {"out", Kind::ScanFile, "FILE.sdf", "the scan data file", true},
            exportOption};
}
} // namespace

namespace {
QList<cli::Option> deviceWords(const char* actions)
{
    return {{"action", Kind::Text, actions, "", true}, {"value", Kind::Text, "VALUE", ""}, {"second", Kind::Text, "VALUE", ""}};
}

const cli::Option noWaitOption{"no-wait", Kind::Switch, "", "return as soon as the value is sent"};

QList<cli::Option> setpointOptions()
{
    return {{"current", Kind::Switch, "", "keep the control parameters that the controller has"}, noWaitOption};
}
} // namespace

const QList<cli::Command>& cli::commands()
{
    static const Option file{"file", Kind::Path, "FILE.sdf", ""};
    static const Option fileNeeded{file.name, file.kind, file.argument, file.help, true};
    static const QList<Command> table{
        {"acquire",
         "Measures a scan and saves it. Values that are not given come from scan.ini. Ctrl-C breaks off; what was counted is saved. "
         "A scan with fewer points than wanted is saved too, with exit status 1.",
         {},
         scanOptions(),
         acquire},
        {"readback",
         "Reads the counts of the last scan out of the controller and saves them; the values must be those of that scan.",
         {},
         scanOptions(),
         readback},
        {"info",
         "Shows what a scan data file holds.",
         {fileNeeded},
         {{"json", Kind::Switch, "", "as one JSON object"}, {"peaks", Kind::Count, "N", "list the N strongest peaks"}},
         info},
        {"convert",
         "Writes a scan data file in other formats.",
         {fileNeeded},
         {{exportOption.name, Kind::Export, exportOption.argument, exportOption.help, true, true}},
         convert},
        {"status",
         "Shows whether the goniometer controller answers, and where the axes stand.",
         {},
         {{"json", Kind::Switch, "", "all that is known of the instrument, as one JSON object"}},
         status},
        {"goto",
         "Moves an axis and waits until it is there.",
         {{"axis", Kind::Count, "AXIS", "", true}, {"angle", Kind::Number, "ANGLE", "", true}},
         {},
         goTo},
        {"stop", "Stops the controller's program and all motion.", {}, {}, stop},
        {"off",
         "Switches everything off: stops motion, closes the X-ray shutter, heaters and laser off. Says of each what it confirmed; exit "
         "status "
         "1 when one of them is not known to be off.",
         {},
         {},
         off},
        {"ratemeter",
         "Shows the count rate while the goniometer stands still, until Ctrl-C. Exit status 1 when a count did not come.",
         {},
         {{"time", Kind::Positive, "S", "counter time [s]; rounded up as that of a scan"},
          {"readings", Kind::Count, "N", "end after so many"}},
         ratemeter},
        {"reference", "Searches the reference position and waits until it is found.", {}, {}, reference},
        {"generator",
         "X-ray generator: status; power MA KV; shutter open or shutter close.",
         deviceWords("status|power|shutter"),
         {},
         generator},
        {"ltc",
         "Low-temperature controller: temperature; setpoint K; status; query TEXT; log SECONDS; init and default reset it. A setpoint is "
         "sent with the control "
         "parameters of the "
         "table, and waited for until the temperature is steady.",
         deviceWords("temperature|setpoint|status|query|log|init|default"), setpointOptions(), ltc},
        {"htc",
         "High-temperature controller: temperature; setpoint C; heater on or heater off; status. A setpoint is sent with the control "
         "parameters of the table, and waited for until the temperature is steady.",
         deviceWords("temperature|setpoint|heater|status"), setpointOptions(), htc},
        {"laser",
         "Laser heater: beam on or beam off; set VALUE (degrees C, or A in current mode), and wait StabilizationDelay seconds; status.",
         deviceWords("beam|set|status"),
         {noWaitOption},
         laser},
        {"pid",
         "Control parameters: show SETPOINT looks them up in the table, without asking the controller; save stores those in use under the "
         "present setpoint. Without an option the high-temperature controller is meant when it is in use.",
         deviceWords("show|save"),
         {{"ltc", Kind::Switch, "", "of the low-temperature controller"}, {"htc", Kind::Switch, "", "of the high-temperature controller"}},
         pid},
        {"profile",
         "Temperature profile: check FILE.gtp lists what is wrong, the scans and the time; run FILE.gtp measures them. Ctrl-C breaks off.",
         {{"action", Kind::Text, "check|run", "", true}, {"file", Kind::Path, "FILE.gtp", "", true}},
         {{"name", Kind::Name, "SAMPLE", "sample name"},
          {"resume", Kind::Switch, "", "go on where the last run of this profile stopped; stops a scan that it left in the controller"}},
         profile},
        {"settings",
         "Settings: list shows every key of scan.ini with unit, range and default, for a terminal or as it stands in the documents.",
         {{"action", Kind::Text, "list", "", true}},
         {{"markdown", Kind::Switch, "", "as the table of docs/FORMATS.md"},
          {"ini", Kind::Switch, "", "as the keys of the example file scan.ini.example"}},
         settings},
    };
    return table;
}

QString cli::helpText(const Command* command)
{
    if (command != nullptr)
        return commandHelp(*command);
    QString text = u"Usage: scan-cli [--program-dir DIR] [--log] [--yes] COMMAND\n\n"_qs;
    for (const Command& one : commands())
        text += u"  %1  %2\n"_qs.arg(QString::fromLatin1(one.name), -10).arg(QString::fromUtf8(one.help));
    text += u'\n';
    for (const Option& one : commonOptions)
        text += u"  %1  %2\n"_qs.arg(optionUsage(one), -18).arg(QString::fromUtf8(one.help));
    return text + u"\nExit status: 0 done, 1 refused or failed, 2 wrong usage, 3 broken off."_qs;
}

cli::TerminalPrompts& cli::terminalPrompts()
{
    static TerminalPrompts thePrompts;
    return thePrompts;
}

void cli::setsController()
{
    if (Temperature::state().initialization == Temperature::Initialization::None)
        Temperature::state().initialization = Temperature::Initialization::NoReset;
}

bool cli::connectDevices()
{
    modMain::LoadSettings();
    if (!flags().smcOnline && !flags().closing)
        Terminal::note(u"The goniometer controller does not answer."_qs);
    return flags().smcOnline && !flags().closing;
}

namespace {
int runCommand(const cli::Command& command, const cli::Arguments& arguments, const QString& programDirectory, bool yes, bool log, bool init)
{
    cli::terminalPrompts().yes = yes;
    setPrompts(&cli::terminalPrompts());
    modTools::state().keepSettings = true;
    modMain::SetProgramDirectory(programDirectory);
    modMain::ClearFlags();
    flags().log = log;
    Temperature::state().initialization = init ? Temperature::Initialization::Whole : Temperature::Initialization::None;
    const QMetaObject::Connection notices = QObject::connect(&Notices::notifier(), &Notices::Notifier::shown, &Notices::notifier(),
                                                             [](const QString& text) { cli::Terminal::note(text); });
    const int exitStatus = command.run(arguments);
    modMain::Close();
    QObject::disconnect(notices);
    return exitStatus;
}
} // namespace

int cli::run(QStringList words)
{
    Arguments leading;
    Arguments arguments;
    QString why = leading.read(takeLeading(words), commonOptions, {});
    const QString name = words.isEmpty() ? QString() : words.takeFirst();
    const Command* command = findCommand(name);
    if (why.isEmpty() && command != nullptr)
        why = arguments.read(words, command->options + commonOptions, command->operands);
    const auto given = [&](const char* option) { return arguments.has(option) || leading.has(option); };
    if (given("version")) {
        Terminal::result(u"scan-cli "_qs + modMain::VersionText());
        return Done;
    }
    if (given("help")) {
        Terminal::result(helpText(command).trimmed());
        return Done;
    }
    if (command == nullptr && why.isEmpty())
        why = name.isEmpty() ? u"Which command?"_qs : u"Unknown command '%1'."_qs.arg(name);
    if (!why.isEmpty())
        return wrongUsage(why, command);
    const QString programDirectory = (arguments.has("program-dir") ? arguments : leading).text("program-dir");
    return runCommand(*command, arguments, programDirectory, given("yes"), given("log"), given("init"));
}

QStringList cli::exportPaths(const QStringList& exports)
{
    QStringList paths;
    for (const QString& text : exports) {
        const qsizetype equals = text.indexOf(u'=');
        paths.append(ExportFormats::ofKey(text.left(equals))->fileName(text.mid(equals + 1)));
    }
    return paths;
}

bool cli::targetsUsable(const QStringList& paths)
{
    for (const QString& path : paths) {
        const QFileInfo target(path);
        if (target.isDir()) {
            Terminal::note(u"%1 is a directory."_qs.arg(path));
            return false;
        }
        if (const qint16 error = modFile::DirectoryWritable(target.absolutePath()); error != -1) {
            Terminal::note(u"%1: nothing can be written there (%2)."_qs.arg(path, ProgramError::of(error).description));
            return false;
        }
        if (!target.exists())
            continue;
        Prompts::Message box;
        box.title = u"Save"_qs;
        box.text = u"%1 exists. Replace it?"_qs.arg(path);
        box.icon = Prompts::Icon::Question;
        box.buttons = Prompts::Buttons::YesNo;
        box.defaultButton = 2;
        box.goesOn = Prompts::Button::Yes;
        box.safe = box.unattended = Prompts::Button::No;
        if (prompts().message(box) != Prompts::Button::Yes)
            return false;
    }
    return true;
}

bool cli::writeExports(const QStringList& exports)
{
    bool all = true;
    for (const QString& text : exports) {
        const QString key = text.left(text.indexOf(u'='));
        const QString path = exportPaths({text}).constFirst();
        const bool written = ExportFormats::ofKey(key)->writer(scanData(), path) == 0;
        Terminal::note(written ? u"Written (%1): %2"_qs.arg(key, path) : u"Not written (%1): %2"_qs.arg(key, path));
        all = all && written;
    }
    return all;
}

double cli::totalCounts()
{
    return std::accumulate(scanData().counts().begin(), scanData().counts().end(), 0.0);
}

QString cli::summary()
{
    const ScanData& scan = scanData();
    const ScanParameters& used = scan.parameters;
    using NumberText::General;
    const auto [least, most] = std::minmax_element(scan.counts().begin(), scan.counts().end());
    QString points = u"%1 points from %2 to %3 degrees 2-Theta, step %4, %5 s per point"_qs.arg(
        General(scan.size()), General(used.start), General(used.stop), General(used.step), General(used.counterTime));
    if (scan.size() == 0)
        return points;
    return points + u"\nCounts: %1 to %2, %3 in total"_qs.arg(General(*least), General(*most), General(totalCounts()));
}
