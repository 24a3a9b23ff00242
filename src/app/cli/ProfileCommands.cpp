// SPDX-License-Identifier: GPL-3.0-or-later
//
// The command profile: looks a temperature profile over, or runs it as the window does.

#include "app/cli/Commands.h"
#include "app/cli/Interrupts.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "datafiles/modFile.h"
#include "goniometer/ScanParameterCheck.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "temperature/Controller.h"

#include <QDateTime>
#include <QFileInfo>

namespace {
using NumberText::General;
using ProfileRun::Phase;

/// The first Ctrl-C takes the abort entry of the menu, whose questions are answered Yes; the second one waits for nothing any more, but the
/// heaters are set back all the same. Before the run and at a third one the program ends.
void onInterrupt(int number)
{
    cli::terminalPrompts().aborting = true;
    if (number == 1 && Operation::isRunning(Operations::profile)) {
        cli::Terminal::note(u"Breaking off..."_qs);
        ProfileRun::Execute();
        return;
    }
    if (number == 2 && Operation::isRunning(Operations::profile)) {
        cli::Terminal::note(u"Setting the heaters back without waiting for them..."_qs);
        ProfileRun::Hurry();
        return;
    }
    flags().closing = true;
}

bool open(const QString& path)
{
    QStringList lines;
    if (const int error = TProfile::ReadLines(path, &lines); error != 0) {
        cli::Terminal::note(u"%1 cannot be read (Error # %2)."_qs.arg(path).arg(error));
        return false;
    }
    TProfile::state() = {lines, QFileInfo(path).absoluteFilePath(), false};
    return true;
}

/// The devices need not be there: which of them the settings name decides about limits and file names.
void takeConfiguredControllers()
{
    Configuration& settings = configuration();
    settings.readGeneral([](const QString& directory) { return modFile::DirectoryWritable(directory) == -1; });
    for (const Temperature::Controller* controller : modMain::ControllersAsRead()) {
        controller->readSettings();
        if (controller->readLimits != nullptr)
            controller->readLimits();
    }
    FrontPanel& panel = frontPanel();
    panel.setText(FrontPanel::Field::ScanStart, General(settings.general.scanStart));
    panel.setText(FrontPanel::Field::ScanStop, General(settings.general.scanStop));
    panel.setText(FrontPanel::Field::ScanStep, General(settings.general.scanStep));
    panel.setText(FrontPanel::Field::CounterTime, General(settings.general.counterTime));
    panel.setText(FrontPanel::Field::txtFileName, settings.general.fileName);
    ScanParameterCheck::CheckScanParameters();
}

int check(const cli::Arguments& arguments)
{
    takeConfiguredControllers();
    if (arguments.has("name"))
        frontPanel().setText(FrontPanel::Field::txtFileName, arguments.text("name").trimmed());
    const QStringList findings = ProfileRun::Check();
    for (const QString& finding : findings)
        cli::Terminal::result(finding);
    const QList<ProfileRun::Row> plan = ProfileRun::Plan();
    const QString unit = Temperature::active().scale().unit;
    for (const ProfileRun::Row& row : plan)
        cli::Terminal::result(u"%1 %2  %3%4"_qs.arg(General(row.setpoint), unit, row.plannedFile,
                                                    row.exists ? u"  (exists: an index is added)"_qs : QString()));
    const double time = ProfileRun::TimeFor(plan);
    cli::Terminal::result(
        u"%1, until %2"_qs.arg(ProfileRun::TotalText(plan.size(), time),
                               modTools::currentDateTime().addSecs(static_cast<qint64>(time)).toString(u"yyyy-MM-dd hh:mm"_qs)));
    return findings.isEmpty() ? cli::Done : cli::Failed;
}

/// Says each step of the run as it comes.
void follow()
{
    QObject::connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, &frontPanel(), [] {
        const ProfileRun::State& now = ProfileRun::state();
        if (now.current < 0 || !Operation::isRunning(Operations::profile))
            return;
        const ProfileRun::Row& row = now.rows[now.current];
        const QString where =
            u"%1 of %2: %3 %4, %5"_qs.arg(General(qint64{now.current + 1}), General(qint64{now.rows.size()}), General(row.setpoint),
                                          Temperature::active().scale().unit, ProfileRun::phaseText(row.phase));
        cli::Terminal::note(where);
        if (row.phase == Phase::Done)
            cli::Terminal::result((now.rehearsal ? u"Measured: %1"_qs : u"Saved: %1"_qs).arg(row.file));
    });
}

int measure(const cli::Arguments& arguments)
{
    cli::Interrupts::install(onInterrupt);
    cli::setsController();
    const bool connected = cli::connectDevices();
    if (cli::Interrupts::count() > 0)
        return cli::Aborted;
    if (!connected)
        return cli::Failed;
    if (arguments.has("name"))
        frontPanel().setText(FrontPanel::Field::txtFileName, arguments.text("name").trimmed());
    for (const QString& finding : ProfileRun::Check())
        cli::Terminal::note(finding);
    follow();
    ProfileRun::Options options;
    if (arguments.has("resume")) {
        options.resume = true;
        if (!ProfileRun::BrokenOffAfter())
            cli::Terminal::note(u"No run of this profile and sample was broken off: it begins with the first step."_qs);
    }
    if (arguments.has("yes") && !arguments.has("resume"))
        options.resume = false;
    const bool complete = ProfileRun::Execute(options);
    modTools::DoEvents(); // a box about a lost line may still be waiting
    for (const QString& remark : std::as_const(ProfileRun::state().remarks))
        cli::Terminal::note(remark);
    if (cli::Interrupts::count() > 0)
        return cli::Aborted;
    if (!complete)
        return cli::Failed;
    bool all = true;
    for (const ProfileRun::Row& row : ProfileRun::state().rows) {
        if (row.phase == Phase::Skipped)
            cli::Terminal::note(u"Not measured: %1 %2"_qs.arg(General(row.setpoint), row.remarks.join(u' ')));
        all = all && row.phase != Phase::Skipped && !row.partial;
    }
    cli::Terminal::result(u"Report: %1"_qs.arg(ProfileRun::state().reportFile));
    // A heater that was not set back is no success either.
    return all && ProfileRun::state().remarks.isEmpty() ? cli::Done : cli::Failed;
}
} // namespace

int cli::profile(const Arguments& arguments)
{
    const QString action = arguments.text("action");
    if (action != u"check" && action != u"run") {
        Terminal::note(u"scan-cli: profile check FILE.gtp, or profile run FILE.gtp"_qs);
        return WrongUsage;
    }
    if (!open(arguments.text("file")))
        return Failed;
    return action == u"check" ? check(arguments) : measure(arguments);
}
