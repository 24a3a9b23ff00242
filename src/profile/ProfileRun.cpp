// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRunParts.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/modSMC.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileReport.h"
#include "temperature/Controller.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;
using namespace ProfileRun::Parts;
using Field = FrontPanel::Field;

namespace ProfileRun::Parts {
bool goesOn()
{
    return !flags().abort && !flags().closing;
}

ProfileRun::Row& row()
{
    return ProfileRun::state().rows[ProfileRun::state().current];
}

void enter(ProfileRun::Phase phase)
{
    row().phase = phase;
    ProfileRun::state().phaseStartedAt = modTools::timeGetTime();
    emit ProfileRun::notifier().changed();
}

void remark(const QString& text)
{
    if (ProfileRun::state().current >= 0)
        row().remarks += text;
    modTools::WriteLog(false, u"Temperature profile: "_s + text);
}

Prompts::Button ask(const QString& caption, const QString& text, Prompts::Buttons buttons, Prompts::Icon icon, int defaultButton,
                    Prompts::Button unattended, const QString& details)
{
    Prompts::Message message;
    message.details = details;
    message.title = caption;
    message.text = text;
    message.buttons = buttons;
    message.icon = icon;
    message.defaultButton = defaultButton;
    message.goesOn = Prompts::Button::Yes;
    message.safe = Prompts::Button::No;
    message.unattended = unattended;
    return prompts().message(message);
}

bool yes(const QString& caption, const QString& text, const QString& details)
{
    return ask(caption, text, Prompts::Buttons::YesNo, Prompts::Icon::Question, 2, Prompts::Button::No, details) == Prompts::Button::Yes;
}

void pause(quint32 milliseconds, quint32 start)
{
    while (goesOn() && modTools::timeGetTime() - start < milliseconds)
        modTools::Delay(1, true);
}

bool tooLong(quint32 start)
{
    return modTools::timeGetTime() - start >= silenceLimit * 1000;
}

bool lineIsThere(const SerialChannel& line)
{
    const quint32 start = modTools::timeGetTime();
    while (line.isDown() && goesOn() && !tooLong(start))
        modTools::Delay(1, true);
    return !line.isDown();
}
} // namespace ProfileRun::Parts

namespace {

/// The row is over.
void leave(ProfileRun::Phase phase)
{
    row().finished = modTools::currentDateTime();
    enter(phase);
}

/// One temperature, from the setpoint to the saved file.
void measure()
{
    if ((!setSetpoint() || (goesOn() && !settle())) && goesOn()) {
        remark(u"The temperature controller was silent for ten minutes; the step was skipped."_s);
        row().silent = true;
        leave(ProfileRun::Phase::Skipped);
        return;
    }
    if (goesOn())
        dwell();
    if (goesOn()) {
        flags().dataPresent = false;
        flags().dataSaved = false;
        frontPanel().refreshEntries();
        if (const std::optional<ScanRecord> scan = acquire()) {
            save(*scan);
            leave(row().file.isEmpty() ? ProfileRun::Phase::Skipped : ProfileRun::Phase::Done);
            return;
        }
    }
    if (!goesOn())
        frontPanel().setPanel(3, abortedText);
    leave(goesOn() ? ProfileRun::Phase::Skipped : ProfileRun::Phase::Aborted);
}

/// Walks the rows that are still to be measured; `done` are behind the run before. True when none was broken off.
bool walk(qsizetype done)
{
    ProfileRun::State& run = ProfileRun::state();
    for (qsizetype i = 0; i < run.rows.size(); ++i) {
        if (run.rows[i].phase == ProfileRun::Phase::Earlier)
            continue;
        run.current = static_cast<int>(i);
        if (run.silentSteps >= mostSilentSteps)
            awaitController();
        if (goesOn())
            measure();
        else
            leave(ProfileRun::Phase::Aborted);
        run.silentSteps = run.rows[i].silent ? run.silentSteps + 1 : 0;
        const bool saved = !run.rows[i].file.isEmpty();
        if (saved || goesOn())
            writeState(std::max(done, i + 1));
        ProfileReport::Write();
        if (!goesOn())
            return false;
    }
    return true;
}

// --- start

/// While questions of the start or of the abort stand; another click does nothing.
class Asking
{
public:
    Asking() : m_first(!ProfileRun::state().asking) { ProfileRun::state().asking = true; }
    ~Asking()
    {
        if (m_first)
            ProfileRun::state().asking = false;
    }
    Asking(const Asking&) = delete;
    Asking& operator=(const Asking&) = delete;

    bool first() const { return m_first; }

private:
    bool m_first;
};

void abortQuestion()
{
    const Asking asking;
    if (!asking.first() || ask(u"Temperature Profile - Data acquisition"_s, u"Do you want to abort the current data acquisition now?"_s,
                               Prompts::Buttons::YesNo, Prompts::Icon::Critical, 2, Prompts::Button::No) != Prompts::Button::Yes)
        return;
    modSMC::AbandonQuery();
    modSMC::SMCSend(u"Q;"_s);
    ScanRun::End();
    flags().abort = true;
    ProfileRun::state().abortAsked = true;
    // While it is saved, the counts are still in the controller.
    const bool counting =
        ProfileRun::state().current >= 0 && (row().phase == ProfileRun::Phase::Acquiring || row().phase == ProfileRun::Phase::Saving);
    if (!yes(u"Data acquisition"_s, u"Do you want read scan data anyway?"_s))
        return;
    if (counting)
        readAndDraw(scanOfStep());
    else
        showMessage(u"Data acquisition"_s, u"No scan was running; nothing was read."_s);
}

/// Claims the goniometer controller for the questions. False when it works, for whomever.
bool controllerIsFree(std::optional<Operation>& use, const ProfileRun::Options& options)
{
    if (use->granted() && modSMC::SMCIsReady())
        return true;
    if (!use->granted() && !Operation::isRunning(Operations::scan))
        return false;
    if (!stopLeftOver(options))
        return false;
    if (!use->granted())
        use.emplace(Operations::utility);
    return use->granted();
}

bool nameIsGiven()
{
    QString name = frontPanel().text(Field::txtFileName);
    const bool valid = modTools::ValidFileName(name);
    if (name.isEmpty())
        showMessage(u"Missing parameter"_s, u"Please enter a sample/file name."_s);
    else if (!valid)
        showMessage(u"Invalid parameter"_s, u"'"_s + name + u"' is not a valid file name."_s);
    else
        frontPanel().setText(Field::txtFileName, name);
    return valid;
}

/// The questions before the editor; false stops.
bool mayStart(std::optional<Operation>& use, const ProfileRun::Options& options)
{
    if (const QString why = ScanRun::Refusal(); !why.isEmpty()) {
        showMessage(title, why, Prompts::Icon::Exclamation);
        return false;
    }
    if (flags().generatorRemote && flags().idlePower)
        showMessage(u"X-Ray generator"_s, u"X-Ray Generator seems to be at idle power."_s + u"\r\n"_s + u"Please adjust power settings."_s,
                    Prompts::Icon::Exclamation);
    if (!controllerIsFree(use, options)) {
        showMessage(u"Start measurement"_s, u"G318 is busy at the moment. Please wait ..."_s);
        return false;
    }
    if (flags().dataPresent && !flags().dataSaved &&
        !yes(u"Start measurement"_s, u"Data in memory were not yet saved!"_s + u"\r\n\r\n"_s + u"Do you really want to continue?"_s))
        return false;
    return nameIsGiven();
}

/// Everything that is asked before the run. The row to begin with; nothing when there is no run.
std::optional<qsizetype> prepare(const ProfileRun::Options& options)
{
    const Asking asking;
    if (!asking.first())
        return std::nullopt;
    std::optional<Operation> use(std::in_place, Operations::utility);
    if (!mayStart(use, options))
        return std::nullopt;
    ScanParameterCheck::CheckScanParameters(); // the editor reckons with what the fields say
    if (options.editor && !options.editor())
        return std::nullopt;
    if (!Temperature::anyInUse()) {
        showMessage(title, u"No temperature controller is enabled."_s);
        return std::nullopt;
    }
    if (const QString why = ProfileEdit::profileRefusal(); !why.isEmpty()) {
        showMessage(title, why, Prompts::Icon::Exclamation);
        return std::nullopt;
    }
    ScanParameterCheck::CheckScanParameters();
    ProfileRun::state().rows = ProfileRun::Plan();
    emit ProfileRun::notifier().changed();
    if (ProfileRun::state().rows.size() > ProfileRun::mostScans) {
        showMessage(title, ProfileRun::TooManyText(), Prompts::Icon::Exclamation);
        return std::nullopt;
    }
    if (!yes(title, ProfileRun::SummaryText(), ProfileRun::DetailsText(ProfileRun::state().rows)))
        return std::nullopt;
    return firstRow(options);
}

/// What is set while a run is under way; however it ends, nothing of it stays.
class Running
{
public:
    Running() { flags().abort = false; }
    ~Running()
    {
        flags().abort = false;
        ProfileRun::state().current = -1;
        frontPanel().setPanel(1, u"Ready"_s);
        m_operation.reset();
        emit ProfileRun::notifier().changed();
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

private:
    std::optional<Operation> m_operation{std::in_place, Operations::profile};
};

void begin(qsizetype first)
{
    ProfileRun::State& run = ProfileRun::state();
    run.rehearsal = !configuration().general.autoSave;
    run.sample = frontPanel().text(Field::txtFileName);
    run.comment = frontPanel().text(Field::txtComment);
    run.wayBack = Temperature::active().wayBack();
    run.remarks.clear();
    run.silentSteps = 0;
    run.hurried = run.abortAsked = false;
    ProfileReport::Begin();
    const QList<qsizetype> skipped = first > 0 ? ProfileRun::SkippedBefore() : QList<qsizetype>();
    for (qsizetype i = 0; i < first; ++i)
        if (!skipped.contains(i + 1))
            run.rows[i].phase = ProfileRun::Phase::Earlier;
    writeState(first);
}

void end(bool complete)
{
    // The abort ends the walk, not the way back of the heaters.
    flags().abort = false;
    setBack();
    if (!complete && ProfileRun::state().remarks.isEmpty())
        frontPanel().setPanel(3, abortedText);
    const QList<ProfileRun::Row>& rows = ProfileRun::state().rows;
    const bool skipped =
        std::any_of(rows.cbegin(), rows.cend(), [](const ProfileRun::Row& row) { return row.phase == ProfileRun::Phase::Skipped; });
    if (complete && !skipped && !ProfileRun::state().rehearsal && !ProfileRun::StateFile().isEmpty())
        QFile::remove(ProfileRun::StateFile());
    ProfileReport::Write();
    flags().abort = false;
    // The last box belongs to the run: it counts down like those inside it.
    if (!flags().closing)
        showMessage(title, u"Temperature profile finished!"_s, Prompts::Icon::Information);
}
} // namespace

namespace ProfileRun {
State& state()
{
    static State theState;
    return theState;
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

QString phaseText(Phase phase)
{
    switch (phase) {
    case Phase::Pending:
        return u"waiting"_s;
    case Phase::Paused:
        return u"paused, the controller is silent"_s;
    case Phase::Setpoint:
        return u"setting setpoint"_s;
    case Phase::Settling:
        return u"settling"_s;
    case Phase::Dwelling:
        return u"dwelling"_s;
    case Phase::Acquiring:
        return u"measuring"_s;
    case Phase::Saving:
        return u"saving"_s;
    case Phase::Earlier:
        return u"done by the run before"_s;
    case Phase::Done:
        return u"done"_s;
    case Phase::Skipped:
        return u"skipped"_s;
    case Phase::Aborted:
        return u"aborted"_s;
    }
    return {};
}

void Hurry()
{
    state().hurried = true;
    flags().abort = true;
}

bool Execute(const Options& options)
{
    if (Operation::isRunning(Operations::profile)) {
        abortQuestion();
        return false;
    }
    const std::optional<qsizetype> first = prepare(options);
    if (!first)
        return false;
    const Running running;
    begin(*first);
    const bool complete = walk(*first);
    end(complete);
    return complete;
}
} // namespace ProfileRun
