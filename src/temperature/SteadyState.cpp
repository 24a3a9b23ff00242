// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/SteadyState.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/SetpointCheck.h"

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr quint32 shortestRound = 100; // ms
constexpr float failedRound = 0.25F;   // s
constexpr int besideInterval = 1000;   // ms
constexpr quint32 astrayTime = 120000; // ms
constexpr float nearer = 0.1F;         // K; less is the scatter of the readings

bool& interrupted()
{
    static bool set = false;
    return set;
}

SteadyState::Statistics& lastStatistics()
{
    static SteadyState::Statistics theStatistics(0, SteadyState::Thresholds{});
    return theStatistics;
}

std::optional<SteadyState::Reading>& readingUnderWay()
{
    static std::optional<SteadyState::Reading> theReading;
    return theReading;
}

const QString noReading = u"no reading"_s;

QString two(float value)
{
    return NumberText::Fixed(NumberText::LeadingNumber(NumberText::General(value)), 2);
}

QString displayText(const SteadyState::Wait& wait, const SteadyState::Thresholds& limits, const SteadyState::Statistics& statistics,
                    float temperature, double elapsed)
{
    const QString unit = u" "_s + wait.unit;
    QStringList lines;
    if (!wait.heading.isEmpty())
        lines += wait.heading;
    lines += u"Current Temperature X: "_s + (temperature == SteadyState::noNumber ? noReading : two(temperature) + unit);
    if (!wait.extraLine.isEmpty())
        lines += wait.extraLine;
    lines += u"Setpoint           W:"_s + two(wait.setpoint) + unit;
    lines += u"Setpoint Window     : W ±"_s + two(limits.largeWindow) + unit;
    lines += u"Average             :"_s + two(statistics.mean()) + unit;
    lines += u"Average-Target      : W ±"_s + two(limits.smallWindow) + unit;
    lines += u"Standard Dev.       :"_s + two(statistics.scatter()) + unit;
    lines += u"Standard Dev. Target: <"_s + two(limits.verySmallWindow);
    lines += QString();
    lines += u"Elapsed time        :"_s + NumberText::Fixed(elapsed, 0) + u" sec"_s;
    return lines.join(u"\r\n"_s) + u"\r\n"_s;
}

/// One wait: its readings, what it shows, and when it is over.
class Session
{
public:
    explicit Session(const SteadyState::Wait& what) : wait(what), m_statistics(lastStatistics())
    {
        m_statistics = SteadyState::Statistics(m_target, m_limits);
        FrontPanel& panel = frontPanel();
        m_button = QObject::connect(&panel, &FrontPanel::textDisplayButton, &panel,
                                    [this] { m_taken = m_taken || frontPanel().textDisplayButtonCaption() == u"&Take it"_s; });
        panel.setTextDisplay({});
        panel.openTextDisplay(wait.title, u"&Take it"_s);
    }
    ~Session()
    {
        readingUnderWay().reset();
        QObject::disconnect(m_button);
        frontPanel().setPanel(3, {});
        frontPanel().closeTextDisplay();
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    /// Steady from the beginning needs no reading.
    bool over() const { return m_result.has_value() || (!reading && m_statistics.isSteady()); }
    SteadyState::Result result() const { return m_result.value_or(SteadyState::Settled); }
    void announce() const { frontPanel().setPanel(3, wait.activity); }
    /// A reading, and what follows from it.
    void round()
    {
        const quint32 asked = modTools::timeGetTime();
        reading = true;
        const float temperature = wait.temperature();
        readingUnderWay() = SteadyState::Reading{temperature, wait.setpoint, wait.unit};
        take(temperature);
        if (temperature >= 0 && mustAsk(temperature))
            m_onItsWay = SetpointCheck::Ask(wait.controller) == SetpointCheck::Verdict::OnItsWay;
        reading = false;
        // A line that is down answers at once: keep the rhythm of a reading all the same.
        if (temperature < 0 && modTools::timeGetTime() - asked < shortestRound)
            modTools::Delay(failedRound, true);
        frontPanel().setTextDisplay(displayText(wait, m_limits, m_statistics, temperature, secondsSince(m_start)));
        m_result = verdict();
        emit SteadyState::notifier().readingEnded();
    }

    const SteadyState::Wait wait;
    bool beside = false;                  ///< goes on by ticks, beside whatever waits
    bool reading = false;                 ///< within a reading
    qint64 loops = 0;                     ///< rounds of the loop that waits for it
    std::unique_ptr<Operation> operation; ///< of one that goes on by ticks

private:
    static double secondsSince(quint32 moment) { return (modTools::timeGetTime() - moment) / 1000.0; }
    static bool passed(double limit, quint32 since) { return limit > 0 && modTools::timeGetTime() - since > limit * 1000; }

    void take(float temperature)
    {
        if (temperature < 0)
            return;
        m_statistics.add(temperature);
        m_lastReading = modTools::timeGetTime();
        if (std::abs(temperature - m_target) >= m_nearest)
            return;
        m_nearest = std::abs(temperature - m_target);
        m_lastNearer = m_lastReading;
    }
    /// Something suggests that the controller has another setpoint, or nobody knows yet what it has.
    bool mustAsk(float temperature)
    {
        if (wait.controller.isEmpty() || !SetpointCheck::wasSent(wait.controller) || interrupted() || flags().closing)
            return false;
        const float away = std::abs(temperature - m_target);
        if (away <= m_limits.largeWindow || away < m_astrayFrom - nearer) {
            m_astrayFrom = away;
            m_lastUseful = modTools::timeGetTime();
        }
        const bool astray = modTools::timeGetTime() - m_lastUseful >= astrayTime;
        if (astray) {
            m_astrayFrom = away;
            m_lastUseful = modTools::timeGetTime();
        }
        return astray || (m_onItsWay ? m_statistics.isSteady() : SetpointCheck::isOpen(wait.controller));
    }
    std::optional<SteadyState::Result> verdict() const
    {
        if (m_taken)
            return SteadyState::Taken;
        if (flags().abort || flags().closing)
            return SteadyState::Aborted;
        if (interrupted())
            return SteadyState::Interrupted;
        if (passed(wait.silenceLimit, m_lastReading))
            return SteadyState::Silent;
        if (passed(wait.stallLimit, m_lastNearer))
            return SteadyState::Stalled;
        return std::nullopt;
    }

    const SteadyState::Thresholds m_limits = SteadyState::thresholds();
    const float m_target = wait.target.value_or(wait.setpoint);
    SteadyState::Statistics& m_statistics;
    const quint32 m_start = modTools::timeGetTime();
    quint32 m_lastReading = m_start;
    quint32 m_lastNearer = m_start;
    float m_nearest = std::numeric_limits<float>::max();
    float m_astrayFrom = std::numeric_limits<float>::max();
    quint32 m_lastUseful = m_start; ///< reading within the large window, or nearer to it than the ones before
    bool m_onItsWay = false;        ///< the controller ramps
    bool m_taken = false;
    std::optional<SteadyState::Result> m_result;
    QMetaObject::Connection m_button;
};

std::unique_ptr<Session>& session()
{
    static std::unique_ptr<Session> theSession;
    return theSession;
}

SteadyState::Result end()
{
    const SteadyState::Result result = session()->result();
    session().reset();
    return result;
}

void tick();

modTools::Timer& ticker()
{
    static modTools::Timer timer("SteadyStateBeside");
    static const bool connected = [] {
        timer.setInterval(besideInterval);
        QObject::connect(&timer, &modTools::Timer::tick, &timer, tick);
        return true;
    }();
    Q_UNUSED(connected)
    return timer;
}

/// A wait whose loop stands still, or that has none, goes on from here.
void tick()
{
    static qint64 seen = -1;
    if (!session() || flags().closing) {
        ticker().setEnabled(false);
        // Nobody waits for one that goes on by ticks.
        if (session() && session()->beside)
            end();
        return;
    }
    const bool still = session()->beside || std::exchange(seen, session()->loops) == session()->loops;
    if (!still || session()->reading || session()->over() || Exchange::underWay(modCOM::TCComm()))
        return;
    session()->round();
    if (!session()->over()) {
        const std::optional<SteadyState::Reading>& last = readingUnderWay();
        const bool read = last && last->temperature >= 0;
        frontPanel().setPanel(3, u"The temperature is not steady yet ("_s +
                                     (read ? two(last->temperature) + u" "_s + session()->wait.unit : noReading) + u")"_s);
        return;
    }
    if (!session()->beside)
        return; // its loop ends it
    ticker().setEnabled(false);
    flags().abort = false;
    end();
}
} // namespace

namespace SteadyState {
Thresholds thresholds()
{
    const Configuration::LTC& ltc = configuration().ltc;
    return {NumberText::RoundToInteger(ltc.minQueries), ltc.largeWindow, ltc.smallWindow, ltc.verySmallWindow};
}

bool Statistics::isSteady() const
{
    const float below = m_setpoint - m_thresholds.smallWindow;
    const float above = m_setpoint + m_thresholds.smallWindow;
    return m_scatter <= m_thresholds.verySmallWindow && m_mean > below && m_mean < above &&
           m_n > static_cast<float>(m_thresholds.minQueries);
}

void Statistics::add(float temperature)
{
    if (std::abs(temperature - m_setpoint) <= m_thresholds.largeWindow) {
        m_sum = m_sum + temperature;
        m_mean = m_sum / m_n;
        if (m_n >= 2) {
            // Deviations from the running mean, over n (n - 1): the threshold is tuned to this measure.
            const float deviation = m_mean - temperature;
            m_squares = m_squares + deviation * deviation;
            m_scatter = std::sqrt(m_squares / ((m_n - 1) * m_n));
        }
        m_n = m_n + 1;
    }
    // The rounded values go into the next pass: intended.
    float value = m_mean;
    m_mean = modTools::RoundToDigits(value, 3);
    value = m_scatter;
    m_scatter = modTools::RoundToDigits(value, 3);
    value = m_squares;
    m_squares = modTools::RoundToDigits(value, 3);
}

const std::optional<Reading>& underWay()
{
    return readingUnderWay();
}

const Statistics& last()
{
    return lastStatistics();
}

void Interrupt()
{
    interrupted() = true;
    emit notifier().interrupted();
}

Result Run(const Wait& wait)
{
    interrupted() = false;
    session() = std::make_unique<Session>(wait);
    // Chosen by hand while something else waits below: it must not be held up.
    if (Operation::isRunning(Operations::temperature) && !Operation::nothingWaits(Operations::temperature)) {
        session()->beside = true;
        ticker().setEnabled(true);
        return GoesOn;
    }
    // Something else may begin within this loop, and last: the readings go on by ticks then.
    ticker().setEnabled(Operation::isRunning(Operations::temperature));
    while (!session()->over()) {
        session()->announce();
        modTools::DoEvents();
        if (!session()->over())
            session()->round();
        ++session()->loops;
    }
    return end();
}

bool goesOnByTicks()
{
    return session() && session()->beside;
}

void carry(std::unique_ptr<Operation> operation)
{
    if (goesOnByTicks())
        session()->operation = std::move(operation);
}

bool isReading()
{
    return session() && session()->reading;
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

void reset()
{
    ticker().setEnabled(false);
    session().reset();
    lastStatistics() = Statistics(0, Thresholds{});
    readingUnderWay().reset();
    interrupted() = false;
}
} // namespace SteadyState
