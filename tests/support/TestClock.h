// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/modTools.h"

#include <QList>

#include <functional>

/// A clock that the test moves. It becomes the clock in use when it is made, and gives it back when it ends. Waits of the program move it
/// by `msPerRound` each round, so that a dwell of ten minutes takes moments; timers (modTools::Timer) and the actions of the test fire when
/// their time comes.
///
///     TestClock clock;
///     clock.at(1500, [&] { port.feed("S1:128\r\n"); });
///     modTools::Delay(2, true);
///
/// A wait that goes on for longer than `limit` fails the test and sets the closing flag, which ends it.
class TestClock : public modTools::Clock
{
public:
    explicit TestClock(quint32 start = 1000000);
    ~TestClock() override;
    TestClock(const TestClock&) = delete;
    TestClock& operator=(const TestClock&) = delete;

    quint32 now = 0;                 ///< the counter [ms]; may be set at will, just before its wrap for example
    quint32 msPerRound = 1;          ///< how far a waiting round moves the counter [ms]
    quint64 limit = 24ULL * 3600000; ///< longest time that waits may take in all [ms]
    bool realEvents = true;          ///< each round also lets Qt's pending events run
    std::function<void()> onRound;   ///< called in every waiting round with events

    quint64 elapsed() const { return m_elapsed; }      ///< ms passed since the clock was made
    qint64 rounds() const { return m_rounds; }         ///< waiting rounds with events
    qint64 idleRounds() const { return m_idleRounds; } ///< waiting rounds without

    /// Moves the counter on, stopping at each due timer and action in between.
    void advance(quint32 milliseconds);
    /// Does something once, that many milliseconds from now.
    void at(quint32 milliseconds, std::function<void()> action);

    quint32 timeGetTime() override { return now; }
    void processEvents(int rest, const std::function<bool()>& enough) override;
    void idle(int rest) override;

private:
    struct Action
    {
        quint64 due;
        std::function<void()> run;
    };

    void move(quint32 milliseconds);
    void runActions();
    void checkLimit();

    QList<Action> m_actions;
    quint64 m_elapsed = 0;
    qint64 m_rounds = 0;
    qint64 m_idleRounds = 0;
    bool m_limitReported = false;
};
