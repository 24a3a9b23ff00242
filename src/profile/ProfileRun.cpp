// SPDX-License-Identifier: GPL-3.0-or-later

#include "profile/ProfileRun.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "datafiles/modFile.h"
#include "goniometer/ControllerUse.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileReport.h"
#include "serial/modCOM.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>

#include <cmath>

using namespace Qt::StringLiterals;
using ProfileEdit::Controller;
using Field = FrontPanel::Field;

namespace {
constexpr double silenceLimit = 600;        // s without any answer before a step is skipped
constexpr double resendAfter = 60;          // s of silence after which a controller may have been off: it gets the setpoint again
constexpr double noFurtherCooling = 300;    // s without a reading nearer to the room's temperature: the furnace is as cold as it gets
constexpr quint32 deviceRetryDelay = 10000; // ms
constexpr int stopTries = 10;
constexpr int saveTries = 10;
constexpr quint32 saveRetryDelay = 60000; // ms
constexpr int setpointTries = 3;
constexpr int readTries = 3; // for the temperature that names the file
constexpr int wayBackTries = 10;
constexpr double roomTemperature = 22; // deg C, set at the end of a run

const QString title = u"Temperature profile"_s;
const QString idleCaption = u"Execute &Temperature Profile..."_s;
const QString runningCaption = u"Abort Execution of &Temperature Profile..."_s;
const QString abortedText = u"Temperature profile aborted!"_s;

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
                    Prompts::Button unattended, const QString& details = {})
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

bool yes(const QString& caption, const QString& text, const QString& details = {})
{
    return ask(caption, text, Prompts::Buttons::YesNo, Prompts::Icon::Question, 2, Prompts::Button::No, details) == Prompts::Button::Yes;
}

// --- the run broken off

QByteArray profileMark()
{
    QCryptographicHash hash(QCryptographicHash::Sha1);
    hash.addData(TProfile::state().lines.join(u'\n').toUtf8());
    hash.addData(frontPanel().text(Field::txtFileName).toUtf8());
    return hash.result().toHex();
}

void writeState(qsizetype done)
{
    const QString path = ProfileRun::StateFile();
    if (path.isEmpty() || ProfileRun::state().rehearsal)
        return;
    if (TProfile::WriteLines(path, {u"profile="_s + QString::fromLatin1(profileMark()), u"done="_s + QString::number(done)}) != 0)
        remark(u"The progress could not be written to '"_s + path + u"'."_s);
}

/// Where to begin; nothing when the operator cancelled. After the last row: only the way back is left to do.
std::optional<qsizetype> firstRow(const ProfileRun::Options& options)
{
    const qsizetype done = ProfileRun::BrokenOffAfter().value_or(0);
    if (done <= 0 || done > ProfileRun::state().rows.size())
        return 0;
    if (options.resume)
        return *options.resume ? done : 0;
    const QString text = u"The last run of this profile stopped after step "_s + NumberText::General(qint64{done}) + u". Continue there?"_s;
    switch (ask(title, text, Prompts::Buttons::YesNoCancel, Prompts::Icon::Question, 1, Prompts::Button::Yes)) {
    case Prompts::Button::Yes:
        return done;
    case Prompts::Button::No:
        return 0;
    default:
        return std::nullopt;
    }
}

// --- lines that come and go

/// Tells whether a line was lost at any time since this was made: what was sent meanwhile did not arrive.
class LineWatch
{
public:
    explicit LineWatch(SerialChannel& line) : m_lost(line.isDown())
    {
        QObject::connect(&line, &SerialChannel::vanished, &m_context, [this] { m_lost = true; });
    }
    bool lost() const { return m_lost; }

private:
    bool m_lost;
    QObject m_context;
};

/// Lets a time pass since `start`, now by default.
void pause(quint32 milliseconds, quint32 start = modTools::timeGetTime())
{
    while (goesOn() && modTools::timeGetTime() - start < milliseconds)
        modTools::Delay(1, true);
}

/// Time since `start` without which nothing is given up.
bool tooLong(quint32 start)
{
    return modTools::timeGetTime() - start >= silenceLimit * 1000;
}

/// Waits for a line that is down. False when it stays so.
bool lineIsThere(const SerialChannel& line)
{
    const quint32 start = modTools::timeGetTime();
    while (line.isDown() && goesOn() && !tooLong(start))
        modTools::Delay(1, true);
    return !line.isDown();
}

// --- temperature

/// Sets the setpoint of the active controller; 0 when it took it.
qint16 sendSetpoint(const ProfileRun::Row& step)
{
    switch (ProfileEdit::activeController()) {
    case Controller::HTC:
        return modHTC::NewSetpointWithPID(step.setpoint, step.ramp);
    case Controller::Laser: {
        const auto value = static_cast<float>(step.setpoint);
        return modHTC_Laser::LaserSetCurrent(value, modHTC_Laser::CurrentFor(value));
    }
    case Controller::LTC:
        return modLTC::LTCNewSetpointWithPID(static_cast<float>(step.setpoint), static_cast<float>(step.ramp));
    case Controller::None:
        break;
    }
    return -1;
}

void setLaserSetpoint()
{
    for (int tries = 1; sendSetpoint(row()) != 0 && goesOn(); ++tries) {
        const Prompts::Button unattended = tries <= setpointTries ? Prompts::Button::Retry : Prompts::Button::Ignore;
        Prompts::Message message;
        message.title = u"New setpoint"_s;
        message.text = u"Unable to change setpoint!"_s;
        message.buttons = Prompts::Buttons::AbortRetryIgnore;
        message.icon = Prompts::Icon::Exclamation;
        message.goesOn = unattended;
        message.safe = unattended;
        message.unattended = unattended;
        const Prompts::Button answer = prompts().message(message);
        if (answer == Prompts::Button::Abort)
            flags().abort = true;
        if (answer == Prompts::Button::Retry)
            continue;
        remark(u"The laser controller did not take the setpoint."_s);
        return;
    }
}

/// Sends the setpoint until it has surely gone out; a wait for a temperature that nobody set would never end. False when that was not
/// possible for too long.
bool setpointArrives()
{
    const quint32 start = modTools::timeGetTime();
    for (bool first = true; goesOn(); first = false) {
        const LineWatch watch(modCOM::TCComm());
        if (sendSetpoint(row()) == 0 && !watch.lost())
            return true;
        if (tooLong(start))
            return false;
        if (first)
            remark(u"The controller did not confirm the setpoint; it is sent again."_s);
        pause(deviceRetryDelay);
    }
    return true;
}

bool setSetpoint()
{
    enter(ProfileRun::Phase::Setpoint);
    frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
    if (ProfileEdit::activeController() != Controller::Laser)
        return setpointArrives();
    setLaserSetpoint();
    return true;
}

qint16 waitUntilThere(double setpoint, double longestSilence)
{
    return ProfileEdit::activeController() == Controller::HTC ? modHTC::HTCWaitUntilThere(setpoint, longestSilence)
                                                              : modLTC::LTCWaitUntilThere(static_cast<float>(setpoint), longestSilence);
}

/// The steady-state wait. A controller that comes back after a silence may have been switched off and gets its setpoint again; so does one
/// whose line comes back, because the setpoint may have gone into the line that was lost. False when it was silent too long.
bool steady()
{
    QObject context;
    QObject::connect(&modCOM::TCComm(), &SerialChannel::returned, &context, SteadyState::Interrupt);
    double silence = 0;
    for (;;) {
        const quint32 begun = modTools::timeGetTime();
        const qint16 result = waitUntilThere(row().setpoint, resendAfter);
        if (result == SteadyState::Interrupted && goesOn()) {
            remark(u"The line to the temperature controller was lost; the setpoint is sent again."_s);
            silence = 0;
            sendSetpoint(row());
            continue;
        }
        if (result != SteadyState::Silent)
            return true;
        const double waited = (modTools::timeGetTime() - begun) / 1000.0;
        // A wait that was much longer than its limit had readings before it fell silent.
        const bool fresh = silence <= 0 || waited > 2 * resendAfter;
        silence = fresh ? resendAfter : silence + waited;
        if (silence >= silenceLimit)
            return false;
        if (fresh)
            remark(u"The temperature controller was silent for a minute; the setpoint is sent again."_s);
        frontPanel().setPanel(3, u"Setting new temperature setpoint..."_s);
        const quint32 sent = modTools::timeGetTime();
        sendSetpoint(row());
        silence += (modTools::timeGetTime() - sent) / 1000.0;
    }
}

float readTemperature()
{
    float temperature = -1;
    if (goesOn() && ProfileEdit::activeController() == Controller::HTC)
        temperature = modHTC::GetTemperature();
    else if (goesOn())
        temperature = modLTC::LTCReading();
    return temperature;
}

/// Waits for a steady temperature and reads it. False when the controller was silent too long.
bool settle()
{
    enter(ProfileRun::Phase::Settling);
    if (ProfileEdit::activeController() == Controller::Laser) {
        modHTC::HTC_LaserWaitUntilThere(configuration().laser.stabilizationDelay);
        for (int tries = 0; tries < readTries && goesOn() && !row().actual; ++tries)
            if (float current = 0; modHTC_Laser::LaserGetCurrent(current) == 0)
                row().actual = modHTC_Laser::ValueFor(current);
        return true;
    }
    const bool there = steady();
    float temperature = -1;
    for (int tries = 0; tries < readTries && there && goesOn() && temperature < 0; ++tries)
        temperature = readTemperature();
    ProfileRun::Row& step = row(); // nothing waits from here on
    if (temperature >= 0)
        step.actual = NumberText::LeadingNumber(NumberText::General(temperature));
    step.mean = NumberText::LeadingNumber(NumberText::General(SteadyState::last().mean()));
    step.scatter = NumberText::LeadingNumber(NumberText::General(SteadyState::last().scatter()));
    return there;
}

void dwell()
{
    enter(ProfileRun::Phase::Dwelling);
    const bool minutes = configuration().general.timeUnitMinutes;
    const double unit = minutes ? 60 : 1;
    const QString whole =
        NumberText::General(NumberText::RoundToLong(row().dwell / unit)) + (minutes ? u" minutes..."_s : u" seconds..."_s);
    const quint32 start = modTools::timeGetTime();
    const auto elapsed = [start] { return (modTools::timeGetTime() - start) / 1000.0; };
    while (goesOn() && elapsed() < row().dwell) {
        frontPanel().setPanel(3, u"Dwelling: "_s + NumberText::Fixed(std::floor(elapsed() / unit), 0) + u" of "_s + whole);
        modTools::Delay(static_cast<float>(std::min(1.0, row().dwell - elapsed())), true);
    }
    frontPanel().setPanel(3, {});
}

// --- scan

/// The counter time of a step while it is measured: the field shows it and gets its own text back.
class OwnCounterTime
{
public:
    explicit OwnCounterTime(double seconds) : m_before(frontPanel().text(Field::CounterTime))
    {
        frontPanel().setText(Field::CounterTime, NumberText::General(seconds));
    }
    ~OwnCounterTime()
    {
        frontPanel().setText(Field::CounterTime, m_before);
        scanParameters().counterTime = NumberText::ReadNumber(m_before);
    }
    OwnCounterTime(const OwnCounterTime&) = delete;
    OwnCounterTime& operator=(const OwnCounterTime&) = delete;

private:
    QString m_before;
};

/// Stops what the controller runs and waits until it stands.
bool stopController()
{
    modSMC::SMCSend(u"Q;"_s);
    for (int tries = 0; tries < stopTries && goesOn(); ++tries) {
        modTools::Delay(1, true);
        if (modSMC::SMCIsReady())
            return true;
    }
    return false;
}

/// Reads the counts; a controller that does not answer now still holds them and is asked again. True when a scan is in memory.
bool readCounts(double counterTime)
{
    const quint32 start = modTools::timeGetTime();
    for (int tries = 1;; ++tries) {
        const LineWatch watch(modCOM::MCComm());
        modSMC::state().maximumCount = 0;
        modSMC::state().receivedPoints = -1;
        const bool read = ScanRun::ReadBack(counterTime);
        const bool refused = modSMC::state().maximumCount < 0; // by the operator, or by an abort
        const bool holdsNone = flags().smcOnline && modSMC::state().receivedPoints == 0 && tries > 1;
        if ((read && !watch.lost()) || refused || holdsNone || !goesOn() || tooLong(start))
            return read;
        frontPanel().setPanel(1, u"Reading the scan data again..."_s);
        if (!lineIsThere(modCOM::MCComm()))
            return false;
        if (!read)
            pause(deviceRetryDelay);
    }
}

enum class Counting { Done, Again, Failed };

/// Why a scan could not be measured.
QString failureText(ScanRun::Result result)
{
    if (result == ScanRun::Result::Silent)
        return u"The goniometer controller was silent for ten minutes; the scan was skipped."_s;
    if (result == ScanRun::Result::Busy)
        return u"The goniometer controller was busy for much longer than a scan takes; the scan was skipped."_s;
    if (modCOM::MCComm().isDown())
        return u"The line to the goniometer controller was gone for ten minutes; the scan was skipped."_s;
    return u"Nothing shows that the scan has been started; it was skipped."_s;
}

/// Measures and reads the counts. Again: there is nothing of this scan in the controller.
Counting count(double counterTime)
{
    const quint32 losses = modCOM::MCComm().losses();
    ScanRun::Options options;
    options.goOn = goesOn;
    options.started = [losses] {
        if (modCOM::MCComm().losses() != losses)
            remark(u"The line to the goniometer controller was lost while the scan was started; the scan begins again."_s);
    };
    options.barAfter = true;
    options.silenceLimit = silenceLimit;
    options.busyLimit = ScanRun::LongestTime(counterTime);
    options.unattended = true;
    const ScanRun::Result result = ScanRun::Measure(options);
    if (!goesOn())
        return Counting::Failed;
    if (result != ScanRun::Result::Counted) {
        remark(failureText(result));
        return Counting::Failed;
    }
    const qint32 wanted = scanParameters().numberOfPoints;
    const bool read = readCounts(counterTime);
    if (!goesOn())
        return read ? Counting::Done : Counting::Failed;
    const qint32 received = modSMC::state().receivedPoints;
    if (!read && received != 0) {
        // A person who is asked about the missing points may refuse the rest.
        remark(received > 0 ? u"Received "_s + NumberText::General(received) + u" of "_s + NumberText::General(wanted) +
                                  u" points, which were refused; the scan is not saved."_s
                            : u"The counts could not be read from the goniometer controller."_s);
        return Counting::Failed;
    }
    if (!flags().smcOnline || received == wanted)
        return Counting::Done;
    remark(u"Received "_s + NumberText::General(std::max(received, 0)) + u" of "_s + NumberText::General(wanted) + u" points."_s);
    return received > 0 ? Counting::Done : Counting::Again;
}

/// One scan; true when its counts are in memory. A scan of which nothing came back is measured once more; twice nothing is no scan.
bool acquire()
{
    enter(ProfileRun::Phase::Acquiring);
    frontPanel().setPanel(2, ScanRun::MeasuringDate(QDateTime::currentDateTime()));
    const double counterTime = row().counterTime;
    const OwnCounterTime shown(counterTime);
    ScanParameterCheck::CheckScanParameters(counterTime);
    Counting result = count(counterTime);
    ScanRun::EndProgress();
    if (result == Counting::Again && goesOn()) {
        result = count(counterTime);
        ScanRun::EndProgress();
    }
    if (result != Counting::Done)
        return false;
    frontPanel().setPanel(1, u"Data acquisition done."_s);
    return true;
}

/// Writes the scan into a directory; the name written, empty when the disk refuses. The box about that stands a minute when nobody is
/// there.
QString saveIn(const QString& directory)
{
    const double value = row().actual.value_or(row().setpoint);
    QString path = modFile::WithSeparator(directory) + ProfileRun::FileName(frontPanel().text(Field::txtFileName), value);
    const qint16 error = modFile::CreateZELKOFile(path, true);
    if (error == 0)
        return path;
    remark(u"Saving to '"_s + path + u"' failed: "_s + ProgramError::of(error).description + u"."_s);
    return {};
}

/// Saves the scan; a disk that refuses is tried again every minute, then the program directory is taken.
void save()
{
    enter(ProfileRun::Phase::Saving);
    row().maximumCount = modSMC::state().maximumCount;
    if (ProfileRun::state().rehearsal) {
        row().file = ProfileRun::FileName(frontPanel().text(Field::txtFileName), row().actual.value_or(row().setpoint));
        return;
    }
    QString path;
    // An operator who breaks off waits no longer for the disk: the program directory takes the scan at once.
    for (int tries = 0; tries < saveTries && path.isEmpty() && !flags().closing && (tries == 0 || !flags().abort); ++tries) {
        const quint32 tried = modTools::timeGetTime();
        path = saveIn(configuration().general.workDir);
        if (path.isEmpty() && tries + 1 < saveTries)
            pause(saveRetryDelay, tried);
    }
    if (path.isEmpty() && !flags().closing)
        path = saveIn(modTools::state().programDirectory);
    row().file = path;
    if (path.isEmpty())
        remark(u"The scan could not be saved; it is in memory until the next one."_s);
    else
        flags().dataSaved = true;
}

/// One temperature, from the setpoint to the saved file.
void measure()
{
    if ((!setSetpoint() || (goesOn() && !settle())) && goesOn()) {
        remark(u"The temperature controller was silent for ten minutes; the step was skipped."_s);
        enter(ProfileRun::Phase::Skipped);
        return;
    }
    if (goesOn())
        dwell();
    if (goesOn()) {
        flags().dataPresent = false;
        flags().dataSaved = false;
        frontPanel().refreshEntries();
        if (acquire()) {
            save();
            row().finished = QDateTime::currentDateTime();
            enter(row().file.isEmpty() ? ProfileRun::Phase::Skipped : ProfileRun::Phase::Done);
            return;
        }
    }
    if (!goesOn())
        frontPanel().setPanel(3, abortedText);
    enter(goesOn() ? ProfileRun::Phase::Skipped : ProfileRun::Phase::Aborted);
}

// --- the way back

/// Sends something until the controller has taken it. False when it did not, or when the operator broke off before.
bool taken(const std::function<qint16()>& send)
{
    const quint32 start = modTools::timeGetTime();
    for (int tries = 1; !flags().closing; ++tries) {
        lineIsThere(modCOM::TCComm());
        const LineWatch watch(modCOM::TCComm());
        if (send() == 0 && !watch.lost())
            return true;
        if (tries == wayBackTries || tooLong(start) || !goesOn())
            return false;
        pause(deviceRetryDelay);
    }
    return false;
}

/// What the operator must know when the controller was left as the last step has set it; empty: it was set back.
QString setFurnaceBack()
{
    if (!taken([] { return modHTC::NewSetpoint(roomTemperature); }))
        return u"The high-temperature controller was not set back: it keeps the setpoint of the last step!"_s;
    const qint16 result = modHTC::HTCWaitUntilThere(roomTemperature, silenceLimit, noFurtherCooling);
    // Silence, too, brings no reading nearer.
    if (result == SteadyState::Silent || (result == SteadyState::Stalled && modHTC::GetTemperature() < 0))
        return u"The high-temperature controller fell silent while it was cooling."_s;
    return {};
}

QString setLaserBack()
{
    const bool currents = configuration().laser.currentMode;
    const float value = currents ? ProfileRun::state().storedLaserCurrent : static_cast<float>(roomTemperature);
    if (!taken([=] { return modHTC_Laser::LaserSetCurrent(value, currents ? value : modHTC_Laser::CurrentFor(value)); }))
        return u"The laser controller was not set back: it keeps the setpoint of the last step!"_s;
    return {};
}

QString setLowTemperatureBack()
{
    if (configuration().ltc.resetAfterTempRun && !taken(modLTC::LTCDefault))
        return u"The low-temperature controller was not set back: it keeps the setpoint of the last step!"_s;
    return {};
}

void setBack()
{
    QString failure;
    switch (ProfileEdit::activeController()) {
    case Controller::HTC:
        failure = setFurnaceBack();
        break;
    case Controller::Laser:
        failure = setLaserBack();
        break;
    case Controller::LTC:
        failure = setLowTemperatureBack();
        break;
    case Controller::None:
        break;
    }
    if (failure.isEmpty())
        return;
    ProfileRun::state().remarks += failure;
    modTools::WriteLog(false, u"Temperature profile: "_s + failure);
    if (!flags().closing)
        frontPanel().setPanel(3, failure);
}

/// Walks the rows; true when none was broken off.
bool walk(qsizetype first)
{
    ProfileRun::State& run = ProfileRun::state();
    for (qsizetype i = first; i < run.rows.size(); ++i) {
        run.current = static_cast<int>(i);
        measure();
        const bool saved = !run.rows[i].file.isEmpty();
        if (saved || goesOn())
            writeState(i + 1);
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
    flags().abort = true;
    const int current = ProfileRun::state().current;
    if (yes(u"Data acquisition"_s, u"Do you want read scan data anyway?"_s) && current >= 0)
        ScanRun::ReadBack(ProfileRun::state().rows[current].counterTime);
}

/// A count that was left over by this run before it was killed would be thrown away by the run anyway: the run begins its scan again.
bool stopLeftOver(const ProfileRun::Options& options)
{
    if (ScanRun::state().measuring || !options.resume.value_or(false) || !ProfileRun::BrokenOffAfter() || !stopController())
        return false;
    flags().acquisitionRunning = false;
    frontPanel().setEntryCaption(Menu::Entry::mnuMeasStartAcquisition, QString::fromUtf16(Menu::startCaption));
    frontPanel().refreshEntries();
    modTools::WriteLog(false, u"Temperature profile: the scan left over by the run before was stopped."_s);
    return true;
}

/// Claims the goniometer controller for the questions. False when it works, for whomever.
bool controllerIsFree(std::optional<ControllerUse>& use, const ProfileRun::Options& options)
{
    if (use->granted() && modSMC::SMCIsReady())
        return true;
    if (!use->granted() && !flags().acquisitionRunning)
        return false;
    if (!stopLeftOver(options))
        return false;
    if (!use->granted())
        use.emplace();
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
bool mayStart(std::optional<ControllerUse>& use, const ProfileRun::Options& options)
{
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
    std::optional<ControllerUse> use(std::in_place);
    if (!mayStart(use, options))
        return std::nullopt;
    ScanParameterCheck::CheckScanParameters(); // the editor reckons with what the fields say
    if (options.editor && !options.editor())
        return std::nullopt;
    if (ProfileEdit::activeController() == Controller::None) {
        showMessage(title, u"No temperature controller is enabled."_s);
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
    Running()
    {
        frontPanel().setEntryCaption(Menu::Entry::mnuMeasExecTempProfile, runningCaption);
        flags().abort = false;
        flags().profileRunning = true;
        frontPanel().refreshEntries();
    }
    ~Running()
    {
        flags().abort = false;
        flags().profileRunning = false;
        ProfileRun::state().current = -1;
        frontPanel().setEntryCaption(Menu::Entry::mnuMeasExecTempProfile, idleCaption);
        frontPanel().setPanel(1, u"Ready"_s);
        frontPanel().refreshEntries();
        emit ProfileRun::notifier().changed();
    }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
};

void begin(qsizetype first)
{
    ProfileRun::State& run = ProfileRun::state();
    run.rehearsal = !configuration().general.autoSave;
    run.storedLaserCurrent = modHTC_Laser::state().lastCurrent;
    run.remarks.clear();
    ProfileReport::Begin();
    for (qsizetype i = 0; i < first; ++i)
        run.rows[i].phase = ProfileRun::Phase::Earlier;
    writeState(first);
}

void end(bool complete)
{
    // The abort ends the walk, not the way back of the heaters.
    flags().abort = false;
    if (!flags().closing)
        setBack();
    if (!complete && ProfileRun::state().remarks.isEmpty())
        frontPanel().setPanel(3, abortedText);
    if (complete && !ProfileRun::state().rehearsal && !ProfileRun::StateFile().isEmpty())
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

QString StateFile()
{
    return TProfile::state().currentFile.isEmpty() ? QString() : TProfile::state().currentFile + u".state"_s;
}

std::optional<qsizetype> BrokenOffAfter()
{
    QStringList lines;
    const QString path = configuration().general.autoSave ? StateFile() : QString();
    if (path.isEmpty() || TProfile::ReadLines(path, &lines) != 0 || lines.value(0) != u"profile="_s + QString::fromLatin1(profileMark()))
        return std::nullopt;
    return lines.value(1).section(u'=', 1).toLongLong();
}

bool Execute(const Options& options)
{
    if (flags().profileRunning) {
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
