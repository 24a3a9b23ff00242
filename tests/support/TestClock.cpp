// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/TestClock.h"

#include "core/Flags.h"

#include <QCoreApplication>
#include <QTest>

#include <algorithm>

TestClock::TestClock(quint32 start) : now(start)
{
    modTools::setClock(this);
}

TestClock::~TestClock()
{
    modTools::setClock(nullptr);
}

void TestClock::move(quint32 milliseconds)
{
    now += milliseconds;
    m_elapsed += milliseconds;
}

void TestClock::runActions()
{
    for (;;) {
        const auto next =
            std::min_element(m_actions.cbegin(), m_actions.cend(), [](const Action& a, const Action& b) { return a.due < b.due; });
        if (next == m_actions.cend() || next->due > m_elapsed)
            return;
        const std::function<void()> run = next->run;
        m_actions.erase(next);
        run();
    }
}

void TestClock::advance(quint32 milliseconds)
{
    const quint64 end = m_elapsed + milliseconds;
    while (m_elapsed < end) {
        move(1);
        runActions();
        modTools::Timer::fireDue();
        if (realEvents && QCoreApplication::instance() != nullptr)
            QCoreApplication::processEvents();
    }
}

void TestClock::at(quint32 milliseconds, std::function<void()> action)
{
    m_actions.append({m_elapsed + milliseconds, std::move(action)});
}

void TestClock::checkLimit()
{
    if (m_elapsed <= limit || m_limitReported)
        return;
    m_limitReported = true;
    QTest::qFail("a wait of the program did not end within the clock's limit", __FILE__, __LINE__);
    flags().closing = true;
}

void TestClock::processEvents(int /*rest*/, const std::function<bool()>& /*enough*/)
{
    ++m_rounds;
    if (realEvents && QCoreApplication::instance() != nullptr)
        QCoreApplication::processEvents();
    if (onRound)
        onRound();
    move(msPerRound);
    runActions();
    modTools::Timer::fireDue();
    checkLimit();
}

void TestClock::idle(int)
{
    ++m_idleRounds;
    move(msPerRound);
    checkLimit();
}
