// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Alarm.h"
#include "Channel.h"

#include "core/Operation.h"
#include "core/modTools.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QObject>
#include <QPointer>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class DeskChannel;
class SerialChannel;

// As QTRY_VERIFY and QTRY_COMPARE, on the desk's clock.
#define DESK_VERIFY_WITHIN(expression, seconds)                                                                                            \
    do {                                                                                                                                   \
        Desk::current()->until([&] { return static_cast<bool>(expression); }, seconds);                                                    \
        QVERIFY(expression);                                                                                                               \
    } while (false)
#define DESK_VERIFY(expression) DESK_VERIFY_WITHIN(expression, 600)
#define DESK_COMPARE(actual, expected)                                                                                                     \
    do {                                                                                                                                   \
        Desk::current()->until([&] { return (actual) == (expected); });                                                                    \
        QCOMPARE(actual, expected);                                                                                                        \
    } while (false)

/// The desk with the program and the laboratory on it: one clock for both, in one process. Time passes only when the program has nothing to
/// do, and then jumps to the next thing due: a tick of the program, a byte of a line, something that the hand does. A run of hours takes a
/// moment and is the same each time, however busy the machine is.
///
///     Desk desk;
///     lab::VirtualInstrument instrument(options, desk.surroundings());
///     desk.when([] { return Operation::isRunning(Operations::scan); }, [&] { ...abort... });
///     ScanRun::Start();
///     QVERIFY(desk.until([] { return !Operation::isRunning(Operations::scan); }, 60));
///
/// It works in the program's waits (modTools::Clock) and whenever a modal box would let the event loop rest. A test that fails meanwhile,
/// or takes longer than `limit`, ends every wait by the closing flag, and `onFailure` takes boxes away: nothing hangs.
class Desk : public QObject, public modTools::Clock, public lab::Clock
{
    Q_OBJECT

public:
    using Action = std::function<void()>;
    using Condition = std::function<bool()>;

    Desk();
    ~Desk() override;
    Desk(const Desk&) = delete;
    Desk& operator=(const Desk&) = delete;

    double limit = 7 * 24 * 3600.0; ///< longest virtual time of a test [s]
    Action onFailure;               ///< called in each round after the test has failed
    Action onRound;                 ///< called first in each round of a wait, before the hand does anything

    // --- the hand

    /// Does something once, that many seconds from now.
    void after(double seconds, Action action);
    /// Does something once, as soon as `condition` holds. Looked at in each round, before time moves.
    void when(Condition condition, Action action);
    /// Looked at in each round before time moves; true when it has done something.
    void each(std::function<bool()> look) { m_looks.append(std::move(look)); }
    /// Lets time pass until `condition` holds; false after that many virtual seconds, or when the test has failed.
    bool until(const Condition& condition, double seconds = 600);
    /// Lets that much time pass [s].
    void pass(double seconds);
    /// Forgets what the hand was to do.
    void rest();
    /// The process is stopped for that long [s] (SIGSTOP, or a machine that is busy with something else), now, in the middle of a wait: the
    /// laboratory goes on, and what the devices send lies in the port. Afterwards everything that is due ticks before a byte is seen.
    void stopProgram(double seconds);

    /// The desk in use; null without one.
    static Desk* current();
    double elapsed() const { return static_cast<double>(m_ms) / 1000; } ///< virtual time since the beginning [s]
    qint64 rounds() const { return m_rounds; }                          ///< of waits and boxes
    bool failed() const { return m_failed; }
    qint64 written() const { return m_written; } ///< bytes that the program has written to its lines

    // --- the laboratory

    /// Laboratory seconds per second on the wall; before anything stands in it.
    void setSpeed(double speed) { m_speed = speed; }
    lab::Alarms alarms();
    /// A line on this desk; the program finds it under `address` ("desk:smc-line").
    std::unique_ptr<lab::Channel> makeChannel(const QString& address);
    /// Makes the channel find its line on this desk whenever it opens: the one that its device text names.
    void plug(SerialChannel& channel);
    /// The three lines of the program.
    void plugAll();

    // --- modTools::Clock

    quint32 timeGetTime() override { return m_start + static_cast<quint32>(m_ms); }
    QDateTime currentDateTime() override { return m_startedAt.addMSecs(m_ms); }
    void processEvents(int rest, const Condition& enough) override;
    void idle(int rest) override;
    bool ticksInsideTicks() const override { return false; }

    // --- lab::Clock

    lab::Time now() const override { return m_skipped + lab::fromSeconds(elapsed() * m_speed); }
    double speed() const override { return m_speed; }
    void skip(lab::Time time) override { m_skipped += time; }

private:
    friend class DeskChannel;
    friend class DeskAlarm;
    friend class DeskPort;

    struct Due
    {
        qint64 ms;
        Action run;
    };
    struct Watch
    {
        Condition condition;
        Action run;
    };

    void boxWaits();
    void step();
    bool happen();
    bool handActs();
    bool checkFailure();
    void moveOn(qint64 atMost);
    std::optional<qint64> nextDue() const;
    void deliver();
    bool ringAlarms();

    static constexpr qint64 longestStep = 3600000; // ms

    quint32 m_start = 1000000;
    QDateTime m_startedAt;
    qint64 m_ms = 0;
    qint64 m_rounds = 0;
    qint64 m_written = 0;
    int m_idleRounds = 0;
    int m_waits = 0;    ///< inside one another
    int m_boxWaits = 0; ///< of them around the box that waits
    double m_speed = 1;
    lab::Time m_skipped{0};
    bool m_failed = false;
    bool m_stepPosted = false;
    QList<Due> m_due;
    QList<Watch> m_watches;
    QList<std::function<bool()>> m_looks;
    QList<class DeskAlarm*> m_alarms;
    QList<DeskChannel*> m_channels;
};
