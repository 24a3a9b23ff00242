// SPDX-License-Identifier: GPL-3.0-or-later
//
// The commands acquire, a scan run as the window starts it, and readback, the counts that are still in the controller; and their files.

#include "app/cli/Commands.h"
#include "app/cli/Interrupts.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "datafiles/modFile.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "safety/StripReading.h"

#include <QDir>
#include <QFileInfo>

#include <cmath>
#include <iterator>

namespace {
using NumberText::General;

struct ParameterOption
{
    const char* option;
    FrontPanel::Field field;
};

constexpr ParameterOption parameterOptions[] = {
    {"start", FrontPanel::Field::ScanStart},
    {"stop", FrontPanel::Field::ScanStop},
    {"step", FrontPanel::Field::ScanStep},
    {"time", FrontPanel::Field::CounterTime},
};

/// The first Ctrl-C takes the abort entry of the menu, whose questions are answered Yes; before the run and at a second one the program
/// ends.
void onInterrupt(int number)
{
    cli::terminalPrompts().aborting = true;
    if (number == 1 && Operation::isRunning(Operations::scan)) {
        cli::Terminal::note(u"Breaking off..."_qs);
        ScanRun::Start();
    }
    flags().closing = true;
}

void fillFields(const cli::Arguments& arguments)
{
    FrontPanel& panel = frontPanel();
    for (const ParameterOption& one : parameterOptions) {
        if (const std::optional<double> value = arguments.number(one.option))
            panel.setText(one.field, modSMC::FormatSMCNumber(*value));
    }
    if (arguments.has("name"))
        panel.setText(FrontPanel::Field::txtFileName, arguments.text("name").trimmed());
    panel.setText(FrontPanel::Field::txtComment, arguments.text("comment"));
}

/// Says which of the values given will not be used as they stand.
void tellCorrections(const cli::Arguments& arguments)
{
    ScanParameterCheck::CheckScanParameters();
    for (const ParameterOption& one : parameterOptions) {
        const std::optional<double> wanted = arguments.number(one.option);
        if (wanted && frontPanel().number(one.field) != *wanted)
            cli::Terminal::note(
                u"--%1 %2 becomes %3."_qs.arg(QString::fromLatin1(one.option), General(*wanted), frontPanel().text(one.field)));
    }
}

/// A scan that was cut short keeps its points, those behind its last count zero, as in the window. True when it is whole.
bool isWhole()
{
    const ScanData& scan = scanData();
    if (scan.received == scan.size())
        return true;
    cli::Terminal::note(u"Partial: %1 of %2 points were counted, the others are zero."_qs.arg(scan.received).arg(scan.size()));
    return false;
}

/// Writes the scan; where that fails, a copy goes into the program directory, so that a long measurement is not lost.
bool save(const QString& wanted, bool keepExisting)
{
    QString path = wanted;
    if (modFile::CreateZELKOFile(scanData(), path, keepExisting) == 0) {
        flags().dataSaved = true;
        Recovery::saved();
        cli::Terminal::result(u"Saved: %1"_qs.arg(path));
        return true;
    }
    QString rescue = QDir(modTools::state().programDirectory).filePath(QFileInfo(wanted).fileName());
    if (modFile::CreateZELKOFile(scanData(), rescue, true) == 0)
        cli::Terminal::note(u"%1 could not be written. The scan was saved as %2"_qs.arg(wanted, rescue));
    else
        cli::Terminal::note(u"The scan could not be saved."_qs);
    return false;
}

bool saveAll(const cli::Arguments& arguments, const QString& path)
{
    const bool whole = isWhole();
    cli::Terminal::result(cli::summary());
    const bool saved = save(path, arguments.has("keep"));
    return cli::writeExports(arguments.texts("export")) && saved && whole;
}

bool ready()
{
    if (!cli::connectDevices())
        return false;
    if (!Operation::isRunning(Operations::scan))
        return true;
    cli::Terminal::note(u"The goniometer controller still runs a program. Wait for its end, or stop it: scan-cli stop"_qs);
    return false;
}
} // namespace

namespace {
void runScan()
{
    const cli::TerminalProgress progress;
    StripReading::Start();
    ScanRun::Start();
    StripReading::Stop();
}

void readCounts()
{
    ScanRun::ReadBack();
}

QString inWords(const ScanRecord& scan)
{
    return u"%1 to %2 in steps of %3, %4 s per point (%5)"_qs.arg(General(scan.parameters.start), General(scan.parameters.stop),
                                                                  General(scan.parameters.step), General(scan.parameters.counterTime),
                                                                  scan.sample);
}

/// The counts in the controller are those of the scan that was started last. False when what was given contradicts it.
bool takeLastStarted(const cli::Arguments& arguments)
{
    const std::optional<ScanRecord> last = Recovery::lastStarted();
    if (!last)
        return true;
    const double values[] = {last->parameters.start, last->parameters.stop, last->parameters.step, last->parameters.counterTime};
    for (std::size_t i = 0; i < std::size(parameterOptions); ++i) {
        const std::optional<double> given = arguments.number(parameterOptions[i].option);
        if (given && std::abs(*given - values[i]) > 0.0005) {
            cli::Terminal::note(u"--%1 %2 contradicts the scan that was started last: %3"_qs.arg(
                QString::fromLatin1(parameterOptions[i].option), General(*given), inWords(*last)));
            return false;
        }
        frontPanel().setText(parameterOptions[i].field, modSMC::FormatSMCNumber(values[i]));
    }
    if (!arguments.has("name"))
        frontPanel().setText(FrontPanel::Field::txtFileName, last->sample);
    if (!arguments.has("comment"))
        frontPanel().setText(FrontPanel::Field::txtComment, last->comment);
    frontPanel().setPanel(2, last->measuringDate);
    cli::Terminal::note(u"The scan that was started last: %1"_qs.arg(inWords(*last)));
    return true;
}

int measureWith(const cli::Arguments& arguments, void (*measure)())
{
    cli::Interrupts::install(onInterrupt);
    const QString path = QDir::toNativeSeparators(QFileInfo(arguments.text("out")).absoluteFilePath());
    const QStringList exports = cli::exportPaths(arguments.texts("export"));
    if (!cli::targetsUsable(arguments.has("keep") ? exports : QStringList(path) + exports))
        return cli::Failed;
    if (!ready())
        return cli::Interrupts::count() > 0 ? cli::Aborted : cli::Failed;
    if (!ScanRun::Refusal().isEmpty()) // it was said at the start
        return cli::Failed;
    fillFields(arguments);
    if (measure == readCounts && !takeLastStarted(arguments))
        return cli::Failed;
    tellCorrections(arguments);
    measure();
    modTools::DoEvents(); // a box about a lost line may still be waiting
    const bool aborted = cli::Interrupts::count() > 0;
    if (!flags().dataPresent || scanData().received == 0) {
        cli::Terminal::note(aborted ? u"Broken off. Nothing was read."_qs : u"No counts were read."_qs);
        if (!frontPanel().panel(2).isEmpty())
            cli::Terminal::note(u"What the controller still holds can be read with: scan-cli readback"_qs);
        return aborted ? cli::Aborted : cli::Failed;
    }
    if (aborted)
        cli::Terminal::note(u"Broken off. What was counted is kept."_qs);
    const bool saved = saveAll(arguments, path);
    return aborted ? cli::Aborted : saved ? cli::Done : cli::Failed;
}
} // namespace

int cli::acquire(const Arguments& arguments)
{
    return measureWith(arguments, runScan);
}

int cli::readback(const Arguments& arguments)
{
    return measureWith(arguments, readCounts);
}
