// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/SteadyReference.h"
#include "support/TestClock.h"
#include "temperature/SteadyState.h"

#include <QTest>

#include <memory>
#include <random>

using namespace Qt::StringLiterals;

class TestSteadyState : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;
    QString m_lastText;

    /// Runs a wait over a series; a reading takes a second. Returns the number of readings taken.
    int run(const std::vector<float>& series, float setpoint, SteadyState::Result* result = nullptr)
    {
        size_t next = 0;
        SteadyState::Wait wait;
        wait.setpoint = setpoint;
        wait.unit = u"K"_s;
        wait.title = u"LTC"_s;
        wait.heading = u"Control Parameter: R3P300I50D0"_s;
        wait.activity = u"LTC: Waiting for steady state..."_s;
        wait.temperature = [&] {
            if (next == series.size()) {
                flags().abort = true;
                return -1.0F;
            }
            m_clock->now += 1000;
            return series[next++];
        };
        const SteadyState::Result ended = SteadyState::Run(wait);
        if (result != nullptr)
            *result = ended;
        return ended == SteadyState::Settled ? static_cast<int>(next) : -1;
    }

    /// To the last bit: a comparison with a tolerance would hide another order of the sums.
    static bool agreesExactly(const SteadyReference& expected)
    {
        const SteadyState::Statistics& last = SteadyState::last();
        const bool agrees = last.mean() == expected.mean && last.scatter() == expected.scatter;
        if (!agrees)
            qWarning("mean %.9g, not %.9g; scatter %.9g, not %.9g", static_cast<double>(last.mean()), static_cast<double>(expected.mean),
                     static_cast<double>(last.scatter()), static_cast<double>(expected.scatter));
        return agrees;
    }

private slots:
    void init()
    {
        resetProgram();
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
        m_lastText.clear();
        disconnect(&frontPanel(), nullptr, this, nullptr);
        connect(&frontPanel(), &FrontPanel::textDisplayChanged, this, [this] {
            if (frontPanel().textDisplayOpen() && !frontPanel().textDisplayText().isEmpty())
                m_lastText = frontPanel().textDisplayText();
        });
    }

    void cleanup()
    {
        QVERIFY(m_prompts->allShown());
        m_prompts.reset();
        m_clock.reset();
    }

    void randomSeriesEndInTheRoundOfTheFormulas()
    {
        std::mt19937 generator(7);
        int settled = 0;
        for (int trial = 0; trial < 2000; ++trial) {
            const float setpoint = 10.0F + static_cast<float>(trial % 290);
            std::normal_distribution<float> noise(0, 0.05F + 0.08F * static_cast<float>(trial % 60));
            std::vector<float> series;
            float distance = static_cast<float>(trial % 20);
            for (int i = 0; i < 60; ++i) {
                series.push_back(i % 17 == 16 ? -1.0F : setpoint + distance + noise(generator));
                distance *= 0.8F;
            }
            flags().abort = false;
            const SteadyState::Thresholds limits = SteadyState::thresholds();
            const SteadyReference expected =
                steadyReference(series, setpoint, {limits.minQueries, limits.largeWindow, limits.smallWindow, limits.verySmallWindow});
            settled += expected.readings >= 0 ? 1 : 0;
            QCOMPARE(run(series, setpoint), expected.readings);
            QVERIFY(agreesExactly(expected));
        }
        QVERIFY2(settled > 200 && settled < 2000, qPrintable(QString::number(settled)));
    }

    void recordedSeriesEndInTheRoundOfTheFormulas_data()
    {
        QTest::addColumn<QList<float>>("series");
        QTest::addColumn<float>("setpoint");
        QTest::addColumn<int>("readings");
        // A cryostat that warms up, in K.
        QTest::newRow("cryostat") << QList<float>{251.596F, 255.904F, 260.145F, 264.324F, 268.413F, 272.387F, 274.851F, 274.884F,
                                                  274.909F, 274.929F, 274.949F, 274.955F, 274.967F, 274.978F, 274.982F}
                                  << 275.0F << 15;
        // A furnace that swings over, in whole degrees: settled only because the late readings outnumber the early ones.
        QTest::newRow("furnace") << QList<float>{28, 30, 32, 34, 36, 37, 39, 40, 41, 42, 43, 44, 44, 44, 45, 45, 45, 44, 44, 44, 43, 43,
                                                 43, 42, 42, 41, 41, 41, 40, 40, 40, 39, 39, 39, 39, 39, 39, 39, 39, 39, 39, 39, 39, 39,
                                                 39, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40, 40}
                                 << 40.0F << 64;
        // A sample that stays a kelvin short.
        QTest::newRow("never there") << QList<float>(200, 76.0F) << 77.0F << -1;
    }

    void recordedSeriesEndInTheRoundOfTheFormulas()
    {
        QFETCH(QList<float>, series);
        QFETCH(float, setpoint);
        QFETCH(int, readings);
        const std::vector<float> values(series.begin(), series.end());
        const SteadyReference expected = steadyReference(values, setpoint);
        QCOMPARE(expected.readings, readings);
        QCOMPARE(run(values, setpoint), readings);
        QVERIFY(agreesExactly(expected));
    }

    void otherThresholdsEndInTheRoundOfTheFormulas()
    {
        std::mt19937 generator(11);
        const auto between = [&generator](float low, float high) { return std::uniform_real_distribution<float>(low, high)(generator); };
        int settled = 0;
        for (int trial = 0; trial < 400; ++trial) {
            Configuration::LTC& ltc = configuration().ltc;
            const SteadyLimits limits{trial % 25, between(0.5F, 30), between(0.01F, 3), between(0.001F, 2)};
            ltc.minQueries = limits.minQueries;
            ltc.largeWindow = limits.large;
            ltc.smallWindow = limits.small;
            ltc.verySmallWindow = limits.verySmall;
            const float setpoint = between(100, 1500);
            std::vector<float> series;
            series.reserve(80);
            for (int i = 0; i < 80; ++i)
                series.push_back(setpoint + between(-2, 2) * limits.small +
                                 between(-1, 1) * limits.large * 1.2F * static_cast<float>(i % 3 == 0));
            flags().abort = false;
            const SteadyReference expected = steadyReference(series, setpoint, limits);
            settled += expected.readings >= 0 ? 1 : 0;
            QCOMPARE(run(series, setpoint), expected.readings);
            QVERIFY(agreesExactly(expected));
        }
        QVERIFY2(settled > 40 && settled < 400, qPrintable(QString::number(settled)));
    }

    void tenReadingsAreNeededWithTheDefaults() { QCOMPARE(run(std::vector<float>(20, 77.0F), 77.0F), 10); }

    void withoutAMinimumTwoReadingsAreNeeded()
    {
        configuration().ltc.minQueries = 0;
        QCOMPARE(run(std::vector<float>(20, 77.0F), 77.0F), 2);
    }

    void aMeanAtTheEdgeDoesNotEndTheWait()
    {
        QCOMPARE(run(std::vector<float>(40, 78.0F), 77.0F), -1);
        flags().abort = false;
        QCOMPARE(run(std::vector<float>(40, 77.99F), 77.0F), 10);
        flags().abort = false;
        QCOMPARE(run(std::vector<float>(40, 76.0F), 77.0F), -1);
        flags().abort = false;
        QCOMPARE(run(std::vector<float>(40, 76.01F), 77.0F), 10);
    }

    void aReadingAtTheEdgeOfTheLargeWindowCounts_data()
    {
        QTest::addColumn<float>("reading");
        QTest::addColumn<int>("readings");
        QTest::newRow("above") << 82.0F << 10;
        QTest::newRow("below") << 72.0F << 10;
        QTest::newRow("too high") << 82.01F << -1;
        QTest::newRow("too low") << 71.99F << -1;
    }

    void aReadingAtTheEdgeOfTheLargeWindowCounts()
    {
        QFETCH(float, reading);
        QFETCH(int, readings);
        configuration().ltc.smallWindow = 6;
        QCOMPARE(run(std::vector<float>(20, reading), 77.0F), readings);
    }

    void theScatterBeginsWithTheSecondReading()
    {
        SteadyState::Statistics statistics(77.0F, SteadyState::Thresholds{});
        QCOMPARE(statistics.scatter(), 100.0F);
        statistics.add(77.0F);
        QCOMPARE(statistics.scatter(), 100.0F);
        statistics.add(77.04F); // 0.02 from the mean of 77.02, over 2 x 1
        QCOMPARE(statistics.scatter(), 0.014F);
        // The squared deviation of 0.0004 was rounded to 0.000 before the third reading: nothing is left of it.
        statistics.add(77.02F);
        QCOMPARE(statistics.scatter(), 0.0F);
        QCOMPARE(statistics.mean(), 77.02F);
    }

    void theScatterIsShownAs100UntilTheSecondReading()
    {
        run({77.2F}, 77.35F);
        QVERIFY2(m_lastText.contains(u"Standard Dev.       :100.00 K\r\n"_s), qPrintable(m_lastText));
    }

    void aScatterAtTheLimitEndsTheWait()
    {
        // Readings 76.5 and 77.5: squared deviation 0.25 of the second from the mean, over 2 x 1: a scatter of 0.354 after rounding.
        configuration().ltc.minQueries = 1;
        configuration().ltc.verySmallWindow = 0.354F;
        QCOMPARE(run({76.5F, 77.5F}, 77.0F), 2);
        flags().abort = false;
        configuration().ltc.verySmallWindow = 0.353F;
        QCOMPARE(run({76.5F, 77.5F}, 77.0F), -1);
    }

    void readingsOutsideTheWindowChangeNothing()
    {
        std::vector<float> series;
        for (int i = 0; i < 12; ++i) {
            series.push_back(77.0F);
            series.push_back(82.01F);
            series.push_back(-1.0F);
        }
        QCOMPARE(run(series, 77.0F), 28);
    }

    void aFailedReadingNeverCounts()
    {
        configuration().ltc.largeWindow = 10; // -1 would lie within
        std::vector<float> series(20, -1.0F);
        series.insert(series.end(), 20, 8.0F);
        QCOMPARE(run(series, 8.0F), 30);
    }

    void theTextShowsWhatIsWaitedFor()
    {
        run({77.254F, 77.2F}, 77.35F);
        QCOMPARE(m_lastText.section(u"\r\n"_s, 0, 8), u"Control Parameter: R3P300I50D0\r\n"
                                                      "Current Temperature X: -1.00 K\r\n"
                                                      "Setpoint           W:77.35 K\r\n"
                                                      "Setpoint Window     : W ±5.00 K\r\n"
                                                      "Average             :77.23 K\r\n"
                                                      "Average-Target      : W ±1.00 K\r\n"
                                                      "Standard Dev.       :0.02 K\r\n"
                                                      "Standard Dev. Target: <0.25\r\n"_s);
        QCOMPARE(m_lastText.section(u"\r\n"_s, 9, 10), u"Elapsed time        :2 sec\r\n"_s);
        QVERIFY(!frontPanel().textDisplayOpen());
        QCOMPARE(frontPanel().panel(3), QString());
    }

    void takeItEndsTheWait()
    {
        int readings = 0;
        SteadyState::Wait wait;
        wait.setpoint = 300;
        wait.unit = u"K"_s;
        wait.activity = u"LTC: Waiting for steady state..."_s;
        wait.temperature = [&readings] {
            if (++readings == 3) {
                if (frontPanel().textDisplayButtonCaption() != u"&Take it"_s ||
                    frontPanel().panel(3) != u"LTC: Waiting for steady state..."_s)
                    qWarning("wrong caption");
                else
                    frontPanel().pressTextDisplayButton();
            }
            return 4.2F;
        };
        QCOMPARE(SteadyState::Run(wait), SteadyState::Taken);
        QCOMPARE(readings, 3);
    }

    void theAbortFlagEndsTheWait()
    {
        SteadyState::Result result = SteadyState::Settled;
        run({4.2F, 4.2F}, 300, &result);
        QCOMPARE(result, SteadyState::Aborted);
    }

    void aControllerThatComesBackIsWaitedFor()
    {
        std::vector<float> series(5, 77.0F);
        series.insert(series.end(), 120, -1.0F);
        series.insert(series.end(), 20, 77.0F);
        QCOMPARE(run(series, 77.0F), 130);
    }

    void silenceBeyondTheLimitGivesUp()
    {
        SteadyState::Wait wait;
        wait.setpoint = 300;
        wait.silenceLimit = 600;
        wait.temperature = [] { return -1.0F; };
        const quint64 before = m_clock->elapsed();
        QCOMPARE(SteadyState::Run(wait), SteadyState::Silent);
        const quint64 waited = m_clock->elapsed() - before;
        QVERIFY(waited >= 600000 && waited < 602000);
    }
};

QTEST_GUILESS_MAIN(TestSteadyState)
#include "tst_steadystate.moc"
