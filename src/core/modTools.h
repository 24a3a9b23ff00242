// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDateTime>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>
#include <optional>

/// Common tools: the logs, the millisecond clock and the delay on which every device timing rests, timers that follow that clock,
/// and small tools for numbers and texts.
namespace modTools {
/// Where time comes from and how it passes. The program uses the system's counter and event loop; tests set their own.
class Clock
{
public:
    virtual ~Clock() = default;
    /// Milliseconds since the system started, 32 bits; falls back to 0 after 2^32.
    virtual quint32 timeGetTime() = 0;
    /// Date and time on the wall.
    virtual QDateTime currentDateTime() { return QDateTime::currentDateTime(); }
    /// One round of a wait: lets pending events run; when `enough` does not hold then, rests until the next event, at most `rest` ms
    /// (untilEvent: without bound; 0: not at all).
    virtual void processEvents(int rest, const std::function<bool()>& enough) = 0;
    /// One round of a wait without events, of at most `rest` ms; 0 spins.
    virtual void idle(int rest) = 0;
    /// True when QTimer follows this clock; otherwise timers are fired by whoever moves it (Timer::fireDue).
    virtual bool isSystem() const { return false; }
    /// False: a timer does not tick inside its own tick, unless that has restarted it, as those of the system.
    virtual bool ticksInsideTicks() const { return true; }
};

/// For Clock::processEvents: rest until something happens.
inline constexpr int untilEvent = -1;

/// Sets the clock in use; null restores the system's.
void setClock(Clock* clock);

/// The module's variables. `state() = State{}` resets them.
struct State
{
    QString programDirectory;  ///< where app.log, app_i.log and scan.ini lie, without trailing separator
    QString iniPath;           ///< full path of scan.ini
    bool secondaryLog = false; ///< app_i.log on; nothing in the program sets it
    bool spin = false;         ///< waits do not give the processor back (scan.ini `DelaySleep=0`)
    bool keepSettings = false; ///< scan.ini is never written (console program)
};
State& state();

/// A timer of the main window: an interval and an enable switch. Enabling it while it is enabled changes nothing; disable, then enable
/// starts its period again. It goes on ticking until disabled. An interval of 0 never ticks.
class Timer : public QObject
{
    Q_OBJECT

public:
    explicit Timer(const char* name, QObject* parent = nullptr);
    ~Timer() override;

    int interval() const { return m_interval; } ///< ms
    void setInterval(int milliseconds);
    bool isEnabled() const { return m_enabled; }
    void setEnabled(bool enabled);
    void restart(); ///< disable, then enable
    /// By how much the present tick comes too late [ms]: the process was stopped, or the machine slept or was busy.
    int lateness() const { return m_lateness; }

    /// Fires every enabled timer that is due at timeGetTime(); for replaced clocks. True when one has ticked.
    static bool fireDue();
    /// Milliseconds until the next tick of any timer, 0 or less when one is due; nothing while none runs.
    static std::optional<qint32> nextDue();

signals:
    void tick();

private:
    void arm();
    void fire();
    bool mayTick() const;

    int m_interval = 0;
    int m_lateness = 0;
    bool m_enabled = false;
    bool m_ticking = false;
    quint32 m_dueAt = 0;
    QTimer m_timer;
};

// --- time

quint32 timeGetTime();
/// Date and time on the wall; the only place to ask for them.
QDateTime currentDateTime();
/// timeGetTime() / 1000 as an exact decimal with four places [s].
double SecondsSinceStart();
/// Waits `interval` seconds. Both ends are single-precision seconds, so the resolution coarsens with the system's uptime; a counter that
/// wraps meanwhile makes the wait last until it passes the start again. Both are intended. `pumpEvents`: the window stays live. Returns
/// early when the program closes. Logs "Delay() - Interval:" + interval in print form. The processor rests in between (State::spin).
void Delay(float interval, bool pumpEvents);
/// Lets pending events run; never rests.
void DoEvents();
/// Lets events run until `done` holds, which is asked again after each of them, or the program closes. The processor rests in between
/// (State::spin). What `done` looks at must be changed by an event: a tick, a character received, something that the operator does.
void WaitUntil(const std::function<bool()>& done);

// --- the end

/// Ends the program at once: every wait returns, lines are closed, nothing is asked or saved, exit status 1. Tests replace the last step,
/// so callers return right after it.
void EndProgram();
/// What EndProgram does after it has set the closing flag; null restores the exit with status 1.
void setEndProgramHandler(void (*handler)());
bool hasEndProgramHandler();

// --- logs (each call opens, appends one line with CR LF, closes; a failure to do so is not reported)

/// Appends text to app.log if `force` or the log flag is set. Nothing is written while the program directory is not known.
void WriteLog(bool force, const QString& text);
/// Appends the clock as "000000000", a blank and text to app_i.log if the secondary-log flag is set.
void WriteSecondaryLog(const QString& text);
/// "-1" or "0", as logs show a flag.
QString FlagText(bool flag);

// --- names, numbers, texts

/// True when the trimmed name can be a sample or file name: not empty, no blank, "*", "?", separators; shorter than 251 characters. The
/// caller's text is left trimmed.
bool ValidFileName(QString& name);
/// Exposure time [s] of a profile step as a whole number of seconds. 0 with `ownCounterTime` set sets ExposureTimer's interval (100 ms,
/// 1000 ms in silent mode) and gives 0. Anything else outside ]0, 200000[ shows "Invalid setting!" and gives -1.
qint32 ExposureTimeCheck(float time, bool ownCounterTime);

/// Rounded to `digits` decimals, ties to even. The caller's variable is left holding value x 10^digits: intended.
float RoundToDigits(float& value, qint16 digits);
double RoundToDigits(double& value, qint16 digits);
/// The same without the write-back.
double RoundedToDigits(double value, qint16 digits);

/// Replaces every `find` in text, searching from the start each time; the result is also left in the caller's variable. Where `replacement`
/// contains `find` or is longer, each occurrence is replaced once, so that it ends always.
QString ReplaceAll(QString& text, const QString& find, const QString& replacement);
/// Deletes every occurrence, searching again from the start after each, so that what closes up is found too.
QString RemoveAll(const QString& text, const QString& find);
qint32 CountCharacter(const QString& text, const QString& character);
/// Keeps the characters with codes 32 to 126.
QString PrintableOnly(const QString& text);
/// What follows the first delimiter; empty when there is none.
QString TextAfter(const QString& text, const QString& delimiter);
bool BitSet(qint16 value, qint16 bit);

/// The first value when it is smaller, otherwise the second.
template <typename T>
T SmallerOf(T first, T second)
{
    return first < second ? first : second;
}
} // namespace modTools
