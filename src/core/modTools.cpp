// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/modTools.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"

#include <QCoreApplication>
#include <QFile>
#include <QPointer>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>

#ifdef Q_OS_WIN
#include <windows.h>
// after windows.h
#include <mmsystem.h>
#else
#include <ctime>
#endif

namespace {
class SystemClock : public modTools::Clock
{
public:
    quint32 timeGetTime() override
    {
#ifdef Q_OS_WIN
        return ::timeGetTime();
#else
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return static_cast<quint32>(static_cast<quint64>(now.tv_sec) * 1000 + static_cast<quint64>(now.tv_nsec) / 1000000);
#endif
    }

    void processEvents(int rest, const std::function<bool()>& enough) override
    {
        if (QCoreApplication::instance() == nullptr) {
            idle(rest == modTools::untilEvent ? 1 : rest);
            return;
        }
        QCoreApplication::processEvents();
        if (rest == 0)
            return;
        // What these events have posted themselves: a dispatcher that rests would send it and rest on, although it may be enough.
        QCoreApplication::sendPostedEvents();
        if (enough && enough())
            return;
        QTimer wakeUp;
        wakeUp.setTimerType(Qt::PreciseTimer);
        wakeUp.setSingleShot(true);
        if (rest > 0)
            wakeUp.start(rest);
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }

    void idle(int rest) override
    {
        if (rest > 0)
            QThread::msleep(static_cast<unsigned long>(rest));
    }

    bool isSystem() const override
    {
        return true;
    }
};

SystemClock systemClock;
modTools::Clock* clockInUse = &systemClock;
void (*endProgramHandler)() = nullptr;

QList<modTools::Timer*>& allTimers()
{
    static QList<modTools::Timer*> timers;
    return timers;
}

/// Signed distance of two readings of the counter, right across its wrap [ms].
qint32 msFrom(quint32 earlier, quint32 later)
{
    return static_cast<qint32>(later - earlier);
}

void appendLine(const QString& fileName, const QString& text)
{
    const QString& directory = modTools::state().programDirectory;
    if (directory.isEmpty())
        return;
    QFile file(directory + u'/' + fileName);
    if (file.open(QIODevice::WriteOnly | QIODevice::Append))
        file.write((text + QStringLiteral("\r\n")).toLocal8Bit());
}

double powerOfTen(qint16 digits)
{
    return std::pow(10.0, digits);
}

/// How long a wait may rest that lasts for some more seconds [ms].
int restFor(float seconds)
{
    constexpr double longest = 3600000;
    if (modTools::state().spin)
        return 0;
    return static_cast<int>(std::clamp(std::ceil(static_cast<double>(seconds) * 1000), 1.0, longest));
}
} // namespace

namespace modTools {
void setClock(Clock* clock)
{
    clockInUse = clock != nullptr ? clock : &systemClock;
    for (Timer* timer : std::as_const(allTimers()))
        if (timer->isEnabled())
            timer->restart();
}

State& state()
{
    static State theState;
    return theState;
}

Timer::Timer(const char* name, QObject* parent) : QObject(parent)
{
    setObjectName(QString::fromLatin1(name));
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Timer::fire);
    allTimers().append(this);
}

Timer::~Timer()
{
    allTimers().removeOne(this);
}

void Timer::setInterval(int milliseconds)
{
    if (m_interval == milliseconds)
        return;
    m_interval = milliseconds;
    arm();
}

void Timer::setEnabled(bool enabled)
{
    if (m_enabled == enabled)
        return;
    m_enabled = enabled;
    arm();
}

void Timer::restart()
{
    m_enabled = true;
    arm();
}

void Timer::arm()
{
    m_timer.stop();
    m_ticking = false;
    if (!m_enabled || m_interval <= 0)
        return;
    m_dueAt = timeGetTime() + static_cast<quint32>(m_interval);
    if (clockInUse->isSystem() && QCoreApplication::instance() != nullptr)
        m_timer.start(m_interval);
}

void Timer::fire()
{
    m_lateness = std::max(msFrom(m_dueAt, timeGetTime()), 0);
    m_dueAt += static_cast<quint32>(m_interval);
    if (msFrom(timeGetTime(), m_dueAt) <= 0)
        m_dueAt = timeGetTime() + static_cast<quint32>(m_interval);
    m_ticking = true;
    const QPointer<Timer> self(this);
    emit tick();
    if (self)
        m_ticking = false;
}

bool Timer::mayTick() const
{
    return m_enabled && m_interval > 0 && (!m_ticking || clockInUse->ticksInsideTicks());
}

bool Timer::fireDue()
{
    const quint32 now = modTools::timeGetTime();
    const auto isDue = [now](const Timer* timer) { return timer->mayTick() && msFrom(timer->m_dueAt, now) >= 0; };
    QList<QPointer<Timer>> due;
    for (Timer* timer : std::as_const(allTimers()))
        if (isDue(timer))
            due.append(timer);
    std::stable_sort(due.begin(), due.end(),
                     [](const auto& first, const auto& second) { return msFrom(first->m_dueAt, second->m_dueAt) > 0; });
    for (const QPointer<Timer>& timer : std::as_const(due))
        if (timer && isDue(timer)) // an earlier tick may have stopped or restarted it
            timer->fire();
    return !due.isEmpty();
}

std::optional<qint32> Timer::nextDue()
{
    std::optional<qint32> next;
    for (const Timer* timer : std::as_const(allTimers()))
        if (timer->mayTick())
            next = std::min(next.value_or(std::numeric_limits<qint32>::max()), msFrom(modTools::timeGetTime(), timer->m_dueAt));
    return next;
}

quint32 timeGetTime()
{
    return clockInUse->timeGetTime();
}

QDateTime currentDateTime()
{
    return clockInUse->currentDateTime();
}

double SecondsSinceStart()
{
    return timeGetTime() / 1000.0;
}

void Delay(float interval, bool pumpEvents)
{
    WriteLog(false, QStringLiteral("Delay() - Interval:") + NumberText::Print(interval));
    const auto start = static_cast<float>(SecondsSinceStart());
    float elapsed = 0;
    bool wrapped = false;
    const auto over = [&] {
        elapsed = static_cast<float>(SecondsSinceStart()) - start;
        wrapped = wrapped || elapsed < 0;
        return elapsed >= (wrapped ? 0 : interval) || flags().closing;
    };
    do {
        if (pumpEvents)
            clockInUse->processEvents(restFor(interval - elapsed), over);
        else
            clockInUse->idle(restFor(interval - elapsed));
    } while (!over());
}

void DoEvents()
{
    clockInUse->processEvents(0, {});
}

void WaitUntil(const std::function<bool()>& done)
{
    const auto enough = [&done] { return done() || flags().closing; };
    while (!enough())
        clockInUse->processEvents(state().spin ? 0 : untilEvent, enough);
}

void EndProgram()
{
    flags().closing = true;
    if (endProgramHandler != nullptr) {
        endProgramHandler();
        return;
    }
    std::fflush(nullptr);
    std::_Exit(EXIT_FAILURE); // no destructor may send anything more; the system closes the lines
}

void setEndProgramHandler(void (*handler)())
{
    endProgramHandler = handler;
}

bool hasEndProgramHandler()
{
    return endProgramHandler != nullptr;
}

void WriteLog(bool force, const QString& text)
{
    if (force || flags().log)
        appendLine(QStringLiteral("app.log"), text);
}

void WriteSecondaryLog(const QString& text)
{
    if (state().secondaryLog)
        appendLine(QStringLiteral("app_i.log"), NumberText::ZeroPadded(timeGetTime(), 9) + u' ' + text);
}

QString FlagText(bool flag)
{
    return flag ? QStringLiteral("-1") : QStringLiteral("0");
}

bool ValidFileName(QString& name)
{
    static const QString allowed = QStringLiteral("!#$%&'()-0123456789@abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ^_`{}~."
                                                  "\u00FC\u00E4\u00F6\u00C4\u00D6\u00DC\u00DF");
    while (name.startsWith(u' '))
        name.remove(0, 1);
    while (name.endsWith(u' '))
        name.chop(1);
    if (name.isEmpty())
        return false;
    // QChar::toUpper keeps "ß" one letter; letters beyond the single-byte code page have no place in the set, even when their capital has
    const bool allAllowed =
        std::all_of(name.cbegin(), name.cend(), [](QChar c) { return c.unicode() < 0x100 && allowed.contains(c.toUpper()); });
    return allAllowed && name.size() < 251;
}

qint32 ExposureTimeCheck(float time, bool ownCounterTime)
{
    if (time > 0 && time < 200000)
        return NumberText::RoundToLong(static_cast<double>(time));
    if (time == 0 && ownCounterTime) {
        frontPanel().ExposureTimer.setInterval(flags().scanMode == 1 ? 1000 : 100);
        return 0;
    }
    showMessage(QStringLiteral("Exposure Time"), QStringLiteral("Invalid setting!"), Prompts::Icon::Exclamation);
    return -1;
}

float RoundToDigits(float& value, qint16 digits)
{
    value = static_cast<float>(static_cast<double>(value) * powerOfTen(digits));
    return static_cast<float>(NumberText::RoundToEven(static_cast<double>(value)) / powerOfTen(digits));
}

double RoundToDigits(double& value, qint16 digits)
{
    value *= powerOfTen(digits);
    return NumberText::RoundToEven(value) / powerOfTen(digits);
}

double RoundedToDigits(double value, qint16 digits)
{
    return RoundToDigits(value, digits);
}

QString ReplaceAll(QString& text, const QString& find, const QString& replacement)
{
    if (find.isEmpty())
        return text;
    const bool once = replacement.contains(find) || replacement.size() > find.size();
    do
        text.replace(find, replacement);
    while (!once && text.contains(find));
    return text;
}

QString RemoveAll(const QString& text, const QString& find)
{
    if (find.isEmpty())
        return text;
    QString left;
    left.reserve(text.size());
    for (QChar character : text) {
        left.append(character);
        if (left.endsWith(find))
            left.chop(find.size());
    }
    return left;
}

qint32 CountCharacter(const QString& text, const QString& character)
{
    return character.size() == 1 ? static_cast<qint32>(text.count(character.front())) : 0;
}

QString PrintableOnly(const QString& text)
{
    QString kept;
    std::copy_if(text.cbegin(), text.cend(), std::back_inserter(kept), [](QChar c) { return c.unicode() >= 32 && c.unicode() <= 126; });
    return kept;
}

QString TextAfter(const QString& text, const QString& delimiter)
{
    const qsizetype at = text.indexOf(delimiter);
    return at < 0 ? QString() : text.mid(at + delimiter.size());
}

bool BitSet(qint16 value, qint16 bit)
{
    return bit >= 0 && bit < 16 && (static_cast<quint16>(value) & (1U << bit)) != 0;
}
} // namespace modTools
