// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/Desk.h"

#include "core/Flags.h"
#include "serial/modCOM.h"
#include "support/DeskLine.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
constexpr int eventRounds = 3; // an event may post another, and that one more
constexpr int mostRoundsAtOneMoment = 1000;

void letEventsRun()
{
    for (int round = 0; round < eventRounds; ++round)
        QCoreApplication::processEvents();
}
} // namespace

class DeskAlarm : public lab::Alarm
{
public:
    DeskAlarm(Desk& desk, std::function<void()> ring) : m_desk(&desk), m_ring(std::move(ring)) { desk.m_alarms.append(this); }
    ~DeskAlarm() override
    {
        if (m_desk)
            m_desk->m_alarms.removeOne(this);
    }

    void set(lab::Time when) override { m_when = when; }
    void stop() override { m_when.reset(); }
    std::optional<lab::Time> when() const { return m_when; }
    void ring()
    {
        m_when.reset();
        m_ring();
    }

private:
    QPointer<Desk> m_desk;
    std::function<void()> m_ring;
    std::optional<lab::Time> m_when;
};

namespace {
Desk* deskInUse = nullptr;
}

Desk* Desk::current()
{
    return deskInUse;
}

Desk::Desk() : m_startedAt(QDate(2026, 3, 2), QTime(9, 0))
{
    deskInUse = this;
    modTools::setClock(this);
    if (QAbstractEventDispatcher* dispatcher = QAbstractEventDispatcher::instance())
        connect(dispatcher, &QAbstractEventDispatcher::aboutToBlock, this, &Desk::boxWaits);
}

Desk::~Desk()
{
    for (DeskChannel* channel : std::as_const(m_channels))
        channel->deskGone();
    modTools::setClock(nullptr);
    deskInUse = nullptr;
}

// --- the hand

void Desk::after(double seconds, Action action)
{
    m_due.append({m_ms + static_cast<qint64>(std::ceil(seconds * 1000)), std::move(action)});
}

void Desk::when(Condition condition, Action action)
{
    m_watches.append({std::move(condition), std::move(action)});
}

void Desk::rest()
{
    m_due.clear();
    m_watches.clear();
    m_looks.clear();
}

bool Desk::until(const Condition& condition, double seconds)
{
    const qint64 end = m_ms + static_cast<qint64>(std::ceil(seconds * 1000));
    while (!condition()) {
        if (m_failed || m_ms >= end)
            return false;
        processEvents(static_cast<int>(std::min(end - m_ms, longestStep)), condition);
    }
    return true;
}

void Desk::pass(double seconds)
{
    const qint64 end = m_ms + static_cast<qint64>(std::ceil(seconds * 1000));
    until([this, end] { return m_ms >= end; }, seconds);
}

bool Desk::handActs()
{
    bool acted = false;
    for (qsizetype i = 0; i < m_due.size();) {
        if (m_due[i].ms > m_ms) {
            ++i;
            continue;
        }
        const Action run = m_due.takeAt(i).run;
        run();
        acted = true;
        i = 0;
    }
    for (qsizetype i = 0; i < m_watches.size();) {
        if (!m_watches[i].condition()) {
            ++i;
            continue;
        }
        const Action run = m_watches.takeAt(i).run;
        run();
        acted = true;
        i = 0;
    }
    // A copy: what is done may end the looking.
    const QList<std::function<bool()>> looks = m_looks;
    for (const std::function<bool()>& look : looks)
        acted = look() || acted;
    return acted;
}

// --- time

bool Desk::checkFailure()
{
    if (!m_failed && elapsed() > limit)
        QTest::qFail("the test takes longer than the desk's limit", __FILE__, __LINE__);
    m_failed = m_failed || QTest::currentTestFailed();
    if (!m_failed)
        return false;
    flags().closing = true;
    if (onFailure)
        onFailure();
    return true;
}

void Desk::deliver()
{
    const QList<DeskChannel*> channels = m_channels;
    for (DeskChannel* channel : channels)
        if (m_channels.contains(channel) && channel->hasOutput())
            channel->deliver();
}

bool Desk::ringAlarms()
{
    bool happened = false;
    const lab::Time present = now();
    const QList<DeskAlarm*> alarms = m_alarms;
    for (DeskAlarm* alarm : alarms) {
        if (m_alarms.contains(alarm) && alarm->when() && *alarm->when() <= present) {
            alarm->ring();
            happened = true;
        }
    }
    return happened;
}

/// What is due at this moment, apart from the hand; false when there was nothing.
bool Desk::happen()
{
    const bool rang = ringAlarms();
    return modTools::Timer::fireDue() || rang;
}

void Desk::stopProgram(double seconds)
{
    deliver();
    for (DeskChannel* channel : std::as_const(m_channels))
        channel->setHeld(true);
    for (const qint64 end = m_ms + static_cast<qint64>(seconds * 1000); m_ms < end; ++m_ms)
        ringAlarms();
    modTools::Timer::fireDue();
    const QList<DeskChannel*> channels = m_channels;
    for (DeskChannel* channel : channels)
        if (m_channels.contains(channel))
            channel->setHeld(false);
}

std::optional<qint64> Desk::nextDue() const
{
    std::optional<qint64> next;
    const auto consider = [&next](qint64 ms) { next = std::min(next.value_or(ms), ms); };
    for (const DeskAlarm* alarm : m_alarms)
        if (alarm->when())
            consider(static_cast<qint64>(std::ceil(lab::toSeconds(*alarm->when() - m_skipped) * 1000 / m_speed)));
    for (const Due& due : m_due)
        consider(due.ms);
    if (const std::optional<qint32> tick = modTools::Timer::nextDue())
        consider(m_ms + *tick);
    return next;
}

void Desk::moveOn(qint64 atMost)
{
    const qint64 next = std::min(nextDue().value_or(m_ms + longestStep), m_ms + std::min(atMost, longestStep));
    m_ms = std::max(m_ms, next);
    happen();
}

void Desk::processEvents(int rest, const Condition& enough)
{
    ++m_rounds;
    const bool over = checkFailure();
    if (onRound)
        onRound();
    ++m_waits;
    letEventsRun();
    --m_waits;
    deliver();
    if (over || handActs() || (enough && enough()))
        return;
    if (happen())
        return;
    if (rest != 0) {
        m_idleRounds = 0;
        moveOn(rest == modTools::untilEvent ? longestStep : rest);
    } else if (++m_idleRounds > mostRoundsAtOneMoment) {
        // A loop that never rests takes its time, too.
        m_idleRounds = 0;
        moveOn(1);
    }
}

void Desk::idle(int rest)
{
    // Nothing runs meanwhile: what comes due waits.
    m_ms += std::max(rest, 1);
}

void Desk::boxWaits()
{
    if (std::exchange(m_stepPosted, true))
        return;
    m_boxWaits = m_waits;
    QMetaObject::invokeMethod(this, &Desk::step, Qt::QueuedConnection);
}

/// A box is open and nothing else happens.
void Desk::step()
{
    m_stepPosted = false;
    // Something else has begun to wait before the box got its turn: time is moved by that.
    if (m_boxWaits != m_waits)
        return;
    ++m_rounds;
    const bool over = checkFailure();
    if (onRound)
        onRound();
    deliver();
    if (over || handActs() || happen())
        return;
    moveOn(longestStep);
}

// --- the laboratory

lab::Alarms Desk::alarms()
{
    return [this](std::function<void()> ring) { return std::make_unique<DeskAlarm>(*this, std::move(ring)); };
}

std::unique_ptr<lab::Channel> Desk::makeChannel(const QString& address)
{
    return std::make_unique<DeskChannel>(*this, address);
}

void Desk::plug(SerialChannel& channel)
{
    channel.setDeviceSource([desk = QPointer<Desk>(this), line = QPointer<SerialChannel>(&channel)]() -> std::unique_ptr<QIODevice> {
        if (!desk || !line)
            return nullptr;
        for (DeskChannel* one : std::as_const(desk->m_channels))
            if (one->address() == line->deviceText)
                return one->plug();
        return nullptr;
    });
}

void Desk::plugAll()
{
    for (SerialChannel* channel : {&modCOM::MCComm(), &modCOM::GeneratorComm(), &modCOM::TCComm()})
        plug(*channel);
}
