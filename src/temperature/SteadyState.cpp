// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/SteadyState.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/modTools.h"

#include <cmath>
#include <limits>

using namespace Qt::StringLiterals;

namespace {
constexpr quint32 shortestRound = 100; // ms
constexpr float failedRound = 0.25F;   // s

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
    lines += u"Current Temperature X: "_s + two(temperature) + unit;
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
}

Result Run(const Wait& wait)
{
    interrupted() = false;
    const Thresholds limits = thresholds();
    const float target = wait.target.value_or(wait.setpoint);
    Statistics& statistics = lastStatistics();
    statistics = Statistics(target, limits);
    const quint32 start = modTools::timeGetTime();
    quint32 lastReading = start;
    quint32 lastNearer = start;
    float nearest = std::numeric_limits<float>::max();

    bool taken = false;
    FrontPanel& panel = frontPanel();
    const auto button = QObject::connect(&panel, &FrontPanel::textDisplayButton, &panel,
                                         [&taken] { taken = taken || frontPanel().textDisplayButtonCaption() == u"&Take it"_s; });
    panel.setTextDisplay({});
    panel.openTextDisplay(wait.title, u"&Take it"_s);

    Result result = Settled;
    while (!statistics.isSteady()) {
        // Before the events, so that it is seen: the reading shows a text of its own.
        panel.setPanel(3, wait.activity);
        modTools::DoEvents();
        const quint32 asked = modTools::timeGetTime();
        const float temperature = wait.temperature();
        readingUnderWay() = Reading{temperature, wait.setpoint, wait.unit};
        if (temperature >= 0) {
            statistics.add(temperature);
            lastReading = modTools::timeGetTime();
        }
        if (temperature >= 0 && std::abs(temperature - target) < nearest) {
            nearest = std::abs(temperature - target);
            lastNearer = lastReading;
        }
        // A line that is down answers at once: keep the rhythm of a reading all the same.
        if (temperature < 0 && modTools::timeGetTime() - asked < shortestRound)
            modTools::Delay(failedRound, true);
        const double elapsed = (modTools::timeGetTime() - start) / 1000.0;
        panel.setTextDisplay(displayText(wait, limits, statistics, temperature, elapsed));
        if (taken || flags().abort || flags().closing) {
            result = taken ? Taken : Aborted;
            break;
        }
        if (interrupted()) {
            result = Interrupted;
            break;
        }
        if (wait.silenceLimit > 0 && modTools::timeGetTime() - lastReading > wait.silenceLimit * 1000) {
            result = Silent;
            break;
        }
        if (wait.stallLimit > 0 && modTools::timeGetTime() - lastNearer > wait.stallLimit * 1000) {
            result = Stalled;
            break;
        }
    }
    readingUnderWay().reset();
    QObject::disconnect(button);
    panel.setPanel(3, {});
    panel.closeTextDisplay();
    return result;
}
} // namespace SteadyState
