// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/CooldownLog.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/SteadyState.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>

using namespace Qt::StringLiterals;

namespace CooldownLog {
namespace {
constexpr int putOff = 20;          // ms until a reading that was put off is tried again
constexpr int reportAttempts = 730; // ms between two looks whether the box can be shown: not always within a reading

void tick();
void report();

struct Timers
{
    modTools::Timer interval{"LogInterval"};
    modTools::Timer soon{"LogSoon"};
    modTools::Timer report{"LogReport"};

    Timers()
    {
        soon.setInterval(putOff);
        report.setInterval(reportAttempts);
        QObject::connect(&interval, &modTools::Timer::tick, &interval, [] { CooldownLog::tick(); });
        QObject::connect(&soon, &modTools::Timer::tick, &soon, [] { CooldownLog::tick(); });
        QObject::connect(&report, &modTools::Timer::tick, &report, [] { CooldownLog::report(); });
        // The moment at which a reply of the goniometer's controller is complete: waits that follow one another do not starve the log.
        // Only once RxTimer is off, because a timer that runs does not tick again before its tick has returned.
        QObject::connect(&modCOM::RxTimer(), &modTools::Timer::tick, &soon, [this] {
            if (soon.isEnabled() && !modCOM::RxTimer().isEnabled())
                CooldownLog::tick();
        });
    }
};
Timers& timers()
{
    static Timers theTimers;
    return theTimers;
}

quint32 lastMoment = 0; // ms
double elapsed = 0;     // s

/// Counts on across the wrap of the millisecond counter.
double elapsedNow()
{
    const quint32 now = modTools::timeGetTime();
    elapsed += (now - lastMoment) / 1000.0;
    lastMoment = now;
    return elapsed;
}

void showError(const ProgramError& error)
{
    showMessage(u"Cooldown log"_s,
                u"Error # "_s + NumberText::General(qint32{error.number}) + u" caused by LogCooldown()"_s + u"\r\n"_s + error.description,
                Prompts::Icon::Exclamation);
}

/// The wait ends as soon as nothing runs that a box would hold up: the box stays open until somebody comes.
bool somethingRuns()
{
    return !Operation::all().isEmpty() || flags().busy || state().reading;
}

void report()
{
    if (flags().closing || !state().error) {
        timers().report.setEnabled(false);
        return;
    }
    if (somethingRuns())
        return;
    timers().report.setEnabled(false);
    showError(state().error);
}

/// Adds bytes to the end of the file; none of them, or all.
ProgramError append(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    errno = 0;
    if (!file.open(QIODevice::ReadWrite | QIODevice::Unbuffered))
        return ProgramError::ofFile(path, file.error(), errno);
    const qint64 before = file.size();
    if (!file.isSequential())
        file.seek(before);
    const bool whole = file.write(bytes) == bytes.size();
    const int systemError = errno;
    if (whole)
        return {};
    const ProgramError error = ProgramError::ofFile(path, file.error(), systemError);
    if (!file.isSequential()) // a device holds nothing that could be taken back
        file.resize(before);
    return error;
}

void write(const QByteArray& line)
{
    State& log = state();
    log.unwritten += line;
    if (log.unwritten.isEmpty())
        return;
    const bool failedBefore = bool(log.error);
    log.error = append(log.path, log.unwritten);
    if (!log.error)
        log.unwritten.clear();
    else if (!failedBefore)
        timers().report.setEnabled(true);
}

void add(const Reading& reading, const QDateTime& when)
{
    State& log = state();
    const QString line = LineText(when, reading.temperature, reading.setpoint);
    log.readings += reading;
    log.lines += line;
    write(line.toLatin1() + "\r\n");
}

void takeReading()
{
    State& log = state();
    const int number = log.number;
    const auto wanted = [&log, number] { return log.running && log.number == number && !flags().closing; };
    Reading reading;
    log.reading = true;
    const float value = modLTC::LTCReading();
    if (value > 0)
        reading.temperature = value;
    reading.elapsed = elapsedNow();
    const QDateTime when = log.moment();
    if (reading.temperature && wanted())
        if (const std::optional<double> setpoint = modLTC::LTCAskSetpoint())
            reading.setpoint = static_cast<float>(*setpoint);
    log.reading = false;
    if (wanted()) {
        add(reading, when);
        frontPanel().setPanel(3, reading.temperature              ? u"LTC: "_s + NumberText::General(*reading.temperature) + u" K"_s
                                 : value == SteadyState::noNumber ? u"LTC: no reading"_s
                                                                  : u"LTC: no answer"_s);
        emit notifier().changed();
    }
    emit notifier().readingEnded();
}

/// A wait for a temperature asks all the time: its last reading is the log's, without a word on the line.
void takeReadingOfWait(const SteadyState::Reading& wait)
{
    Reading reading;
    if (wait.temperature > 0) {
        reading.temperature = wait.temperature;
        reading.setpoint = wait.setpoint;
    }
    reading.elapsed = elapsedNow();
    add(reading, state().moment());
    emit notifier().changed();
}

void tick()
{
    timers().soon.setEnabled(false);
    if (!state().running || state().reading || flags().closing)
        return;
    if (const std::optional<SteadyState::Reading>& wait = SteadyState::underWay(); wait && wait->unit == u"K"_s) {
        takeReadingOfWait(*wait);
        return;
    }
    if (!Operation::free(Resource::TemperatureLine) || Exchange::underWay(modCOM::TCComm()))
        return;
    if (modCOM::smcReception().waiting)
        timers().soon.setEnabled(true);
    else
        takeReading();
}

/// Makes the file of a log that starts now. Empty path: an error, which was shown.
QString makeFile()
{
    const QDir directory(configuration().general.workDir);
    for (QDateTime stamp = state().moment();; stamp = stamp.addSecs(1)) {
        QFile file(directory.filePath(u"cooldown_"_s + stamp.toString(u"yyyyMMdd_hhmmss"_s) + u".log"_s));
        errno = 0;
        if (file.open(QIODevice::WriteOnly | QIODevice::NewOnly))
            return file.fileName();
        const int systemError = errno;
        const QFileInfo there(file.fileName());
        if (!there.exists() && !there.isSymLink()) {
            showError(ProgramError::ofFile(file.fileName(), file.error(), systemError));
            return {};
        }
    }
}

void showState()
{
    frontPanel().setEntryCaption(Menu::Entry::mnuLTCLogCooldown,
                                 state().running ? u"Stop &Log Cooldown"_s
                                                 : QString::fromUtf16(Menu::item(Menu::Entry::mnuLTCLogCooldown).caption));
    emit notifier().changed();
}
} // namespace

State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    for (modTools::Timer* timer : {&timers().interval, &timers().soon, &timers().report})
        timer->setEnabled(false);
    state() = State{};
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

QString LineText(const QDateTime& moment, const std::optional<float>& temperature, const std::optional<float>& setpoint)
{
    const auto field = [](const std::optional<float>& value) { return value ? NumberText::General(*value) : QString(); };
    return moment.toString(u"yyyy-MM-dd hh:mm:ss"_s) + u';' + field(temperature) + u';' + field(setpoint);
}

void Start()
{
    State& log = state();
    if (log.running)
        return;
    const QString path = makeFile();
    if (path.isEmpty())
        return;
    modTools::WriteLog(false, u"LogCooldown("_s + path + u")"_s);
    log.running = true;
    ++log.number;
    log.path = path;
    log.readings.clear();
    log.lines.clear();
    log.unwritten.clear();
    log.error = {};
    elapsed = 0;
    lastMoment = modTools::timeGetTime();
    timers().report.setEnabled(false);
    timers().interval.setInterval(std::max(configuration().ltc.logInterval, 1) * 1000);
    timers().interval.restart();
    timers().soon.restart();
    showState();
}

void Stop()
{
    if (!state().running)
        return;
    state().running = false;
    timers().interval.setEnabled(false);
    timers().soon.setEnabled(false);
    write({});
    modTools::WriteLog(false, u"LogCooldown() stopped"_s);
    if (Operation::free(Resource::TemperatureLine))
        frontPanel().setPanel(3, {});
    showState();
}

void mnuLTCLogCooldown()
{
    if (state().running)
        Stop();
    else
        Start();
}
} // namespace CooldownLog
