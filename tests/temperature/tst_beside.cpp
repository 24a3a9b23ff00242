// SPDX-License-Identifier: GPL-3.0-or-later
//
// Waits that go on by ticks, because a scan waits below.

#include "core/Operation.h"
#include "support/Pretend.h"
#include "temperature/SteadyState.h"
#include "temperature/TemperatureLine.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
enum class Kind { SteadyTemperature, Stabilization };
const QString stabilizing = QStringLiteral("Temperature stabilization delay: %1 seconds...");
} // namespace
Q_DECLARE_METATYPE(Kind)

class TestBeside : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TemperatureLine> m_line;
    int m_readings = 0;

    void startSteady(float temperature)
    {
        SteadyState::Wait wait;
        wait.setpoint = 300;
        wait.unit = u"K"_s;
        wait.title = u"LTC"_s;
        wait.activity = u"LTC: Waiting for steady state..."_s;
        wait.temperature = [this, temperature] {
            ++m_readings;
            return temperature;
        };
        auto entry = std::make_unique<Operation>(Operations::temperature);
        QCOMPARE(SteadyState::Run(wait), SteadyState::GoesOn);
        QVERIFY(SteadyState::goesOnByTicks());
        SteadyState::carry(std::move(entry));
    }
    void startStabilization(int seconds)
    {
        auto entry = std::make_unique<Operation>(Operations::temperature);
        QCOMPARE(modHTC::HTC_LaserWaitUntilThere(seconds), qint16(SteadyState::GoesOn));
        QVERIFY(modHTC::stabilizesByTicks());
        modHTC::carryStabilization(std::move(entry));
    }
    void start(Kind kind)
    {
        m_line->shown.clear();
        if (kind == Kind::SteadyTemperature)
            startSteady(280);
        else
            startStabilization(600);
        QVERIFY(goesOn());
    }
    /// For the operator: the line is held, and panel 3 or the window tells.
    static bool goesOn()
    {
        return Operation::isRunning(Operations::temperature) && (SteadyState::goesOnByTicks() || modHTC::stabilizesByTicks());
    }
    static bool isOver()
    {
        return !Operation::isRunning(Operations::temperature) && Operation::free(Resource::TemperatureLine) &&
               !SteadyState::goesOnByTicks() && !modHTC::stabilizesByTicks() && !frontPanel().textDisplayOpen();
    }

    static void kinds()
    {
        QTest::addColumn<Kind>("kind");
        QTest::newRow("steady temperature") << Kind::SteadyTemperature;
        QTest::newRow("stabilization") << Kind::Stabilization;
    }

private slots:
    void init()
    {
        m_line = std::make_unique<TemperatureLine>(u"9600,o,7,1"_s, 0.0F, 1.5F, 3);
        m_readings = 0;
        pretendRunning(Operations::scan);
    }

    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        pretendNothing();
        SteadyState::reset();
        modHTC::reset();
        m_line.reset();
    }

    // This one comes first: nothing has waited in this program yet.
    void atTheStartNothingGoesOn()
    {
        pretendNothing();
        QVERIFY(isOver());
        auto entry = std::make_unique<Operation>(Operations::temperature);
        modHTC::carryStabilization(std::move(entry));
        QVERIFY(isOver());
    }

    void aReadingASecondUntilTheTemperatureIsSteady()
    {
        configuration().ltc.minQueries = 4;
        startSteady(300);
        QVERIFY(frontPanel().textDisplayOpen());
        QCOMPARE(m_readings, 0);
        m_line->clock.advance(999);
        QCOMPARE(m_readings, 0);
        m_line->clock.advance(1);
        QCOMPARE(m_readings, 1);
        QCOMPARE(frontPanel().panel(3), u"The temperature is not steady yet (300.00 K)"_s);
        QVERIFY(frontPanel().textDisplayText().startsWith(u"Current Temperature X: 300.00 K\r\nSetpoint "_s));
        m_line->clock.advance(2000);
        QCOMPARE(m_readings, 3);
        QVERIFY(goesOn());
        m_line->clock.advance(60000);
        QCOMPARE(m_readings, 4);
        QVERIFY(isOver());
        QCOMPARE(frontPanel().panel(3), QString());
    }

    void theLasersSecondsAreCountedDown()
    {
        startStabilization(3);
        QCOMPARE(frontPanel().panel(3), stabilizing.arg(3));
        m_line->clock.advance(1000);
        QCOMPARE(frontPanel().panel(3), stabilizing.arg(2));
        m_line->clock.advance(1000);
        QCOMPARE(frontPanel().panel(3), stabilizing.arg(1));
        QVERIFY(goesOn());
        m_line->clock.advance(1000);
        QVERIFY(isOver());
        QCOMPARE(frontPanel().panel(3), QString());
        m_line->shown.clear();
        m_line->clock.advance(10000);
        QCOMPARE(m_line->shown, QStringList());
    }

    void theStopEntryEndsItAndTheNextOneIsNotStopped_data() { kinds(); }
    void theStopEntryEndsItAndTheNextOneIsNotStopped()
    {
        QFETCH(const Kind, kind);
        start(kind);
        m_line->clock.advance(5000);
        QVERIFY(goesOn());
        flags().abort = true;
        m_line->clock.advance(1000);
        QVERIFY(isOver());
        QVERIFY(!flags().abort);
        QCOMPARE(frontPanel().panel(3), QString());
        start(kind);
        m_line->clock.advance(5000);
        QVERIFY(goesOn());
    }

    void theProgramsEndEndsIt_data() { kinds(); }
    void theProgramsEndEndsIt()
    {
        QFETCH(const Kind, kind);
        start(kind);
        flags().closing = true;
        m_line->clock.advance(1000);
        QVERIFY(isOver());
        QCOMPARE(m_readings, 0);
    }

    void theNextOneHasItsFirstReadingAfterASecond_data()
    {
        QTest::addColumn<bool Flags::*>("flag");
        QTest::newRow("after the stop entry") << &Flags::abort;
        QTest::newRow("after the program's end") << &Flags::closing;
        QTest::newRow("after a new start") << static_cast<bool Flags::*>(nullptr);
    }
    void theNextOneHasItsFirstReadingAfterASecond()
    {
        QFETCH(bool Flags::*, flag);
        startSteady(280);
        m_line->clock.advance(3000);
        if (flag != nullptr) {
            flags().*flag = true;
            m_line->clock.advance(1000);
            flags().*flag = false;
        } else {
            SteadyState::reset();
        }
        QVERIFY(isOver());
        m_line->clock.advance(500);
        m_readings = 0;
        startSteady(280);
        m_line->clock.advance(999);
        QCOMPARE(m_readings, 0);
        m_line->clock.advance(1);
        QCOMPARE(m_readings, 1);
    }

    void takeItEndsTheWait()
    {
        startSteady(280);
        m_line->clock.advance(3000);
        QCOMPARE(frontPanel().textDisplayButtonCaption(), u"&Take it"_s);
        emit frontPanel().textDisplayButton();
        m_line->clock.advance(1000);
        QVERIFY(isOver());
    }

    void aNewStartForgetsIt_data() { kinds(); }
    void aNewStartForgetsIt()
    {
        QFETCH(const Kind, kind);
        start(kind);
        if (kind == Kind::SteadyTemperature)
            SteadyState::reset();
        else
            modHTC::reset();
        QVERIFY(isOver());
        const int before = m_readings;
        m_line->shown.clear();
        m_line->clock.advance(10000);
        QCOMPARE(m_readings, before);
        QCOMPARE(m_line->shown, QStringList());
    }

    void withoutAScanItIsWaitedFor()
    {
        pretendNothing();
        const Operation entry(Operations::temperature);
        m_line->clock.at(5500, [] {
            QVERIFY(!SteadyState::goesOnByTicks() && !modHTC::stabilizesByTicks());
            // An operation that is not needed ends.
            modHTC::carryStabilization(std::make_unique<Operation>(Operations::warmUp));
            SteadyState::carry(std::make_unique<Operation>(Operations::warmUp));
            QVERIFY(!Operation::isRunning(Operations::warmUp));
        });
        QCOMPARE(modHTC::HTC_LaserWaitUntilThere(10), qint16(SteadyState::Settled));
        QVERIFY(m_line->clock.elapsed() >= 9900);
    }
};

QTEST_GUILESS_MAIN(TestBeside)
#include "tst_beside.moc"
