// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is known of shutter, current and voltage: sent, answered, garbled, line lost.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "generator/modGenerator.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using Power = Instrument::Power;

class TestKnown : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;
    std::unique_ptr<ScriptedDevice> m_generator, m_smc;

    void answers(const QByteArray& current, const QByteArray& voltage)
    {
        m_generator->clearRules();
        m_generator->answer("CA\r", current);
        m_generator->answer("VN\r", voltage);
    }
    static void readValues()
    {
        qint16 milliampere = 0;
        qint16 kilovolt = 0;
        modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    }
    static void sendPower(qint16 milliampere, qint16 kilovolt)
    {
        qint16 actualMilliampere = 0;
        qint16 actualKilovolt = 0;
        modGenerator::SendPower(milliampere, kilovolt, &actualMilliampere, &actualKilovolt);
    }

private slots:
    void init()
    {
        resetProgram();
        modCOM::reset();
        modGenerator::reset();
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
        m_generator = std::make_unique<ScriptedDevice>();
        m_smc = std::make_unique<ScriptedDevice>();
        m_generator->plugInto(modCOM::GeneratorComm());
        m_smc->plugInto(modCOM::MCComm());
        configuration().generator.modelCode = 1;
        flags().generatorRemote = flags().shutterRemote = flags().smcOnline = true;
        modGenerator::Connect();
    }
    void cleanup()
    {
        QVERIFY(m_prompts->allShown());
        modGenerator::reset();
        modCOM::reset();
        m_smc.reset();
        m_generator.reset();
        m_prompts.reset();
        m_clock.reset();
    }

    // --- shutter

    void theShutterIsAskedForAndNeverConfirmed()
    {
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QCOMPARE(instrument().shutterOpen.asked, std::optional(true));
        QVERIFY(!instrument().shutterOpen.isConfirmed());
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QCOMPARE(instrument().shutterOpen.asked, std::optional(false));
        QCOMPARE(m_smc->written(), QByteArray("\r\nIO1;\r\nIO0;"));
    }

    void aShutterThatCannotBeToldIsUnknown_data()
    {
        QTest::addColumn<bool>("online");
        QTest::newRow("line down") << true;
        QTest::newRow("simulation") << false;
    }
    void aShutterThatCannotBeToldIsUnknown()
    {
        QFETCH(bool, online);
        instrument().shutterOpen.ask(true);
        flags().smcOnline = online;
        if (online) {
            m_prompts->expect(u"SMC"_s, QString());
            m_smc->hangUp();
            m_clock->advance(10);
            QVERIFY(!instrument().shutterOpen.likely());
        }
        if (online)
            m_prompts->expect(u"X-Ray Shutter"_s, u"\"Open\" could not be sent: the line of the goniometer controller is down.\r\n"
                                                  u"Whether the shutter is open is not known."_s);
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QVERIFY(instrument().shutterOpen == Known<bool>{});
        QCOMPARE(flags().shutterOpen, !online); // the simulation follows what is chosen
    }

    void closingOnADeadLineLeavesTheSign()
    {
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QVERIFY(frontPanel().picXRayOn());
        m_prompts->expect(u"SMC"_s, QString());
        m_smc->hangUp();
        m_clock->advance(10);
        m_prompts->expect(u"X-Ray Shutter"_s, u"\"Close\" could not be sent: the line of the goniometer controller is down.\r\n"
                                              u"Whether the shutter is open is not known."_s);
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QVERIFY(frontPanel().picXRayOn());
        QVERIFY(flags().shutterOpen);
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuExtrasGeneratorSwitchShutter), u"Close &Shutter"_s);
        QVERIFY(!instrument().shutterOpen.likely());
    }

    // --- current and voltage

    void readValuesAreTaken_data()
    {
        QTest::addColumn<QByteArray>("current");
        QTest::addColumn<QByteArray>("voltage");
        QTest::addColumn<int>("milliampere"); // -1: unknown
        QTest::addColumn<int>("kilovolt");
        QTest::addColumn<int>("power");
        QTest::newRow("measuring") << QByteArray("A30000\r") << QByteArray("V40000\r") << 30 << 40 << int(Power::On);
        QTest::newRow("idle") << QByteArray("A05000\r") << QByteArray("V20000\r") << 5 << 20 << int(Power::Idle);
        QTest::newRow("one above idle") << QByteArray("A05000\r") << QByteArray("V21000\r") << 5 << 21 << int(Power::On);
        QTest::newRow("off") << QByteArray("A00000\r") << QByteArray("V00000\r") << 0 << 0 << int(Power::Off);
        QTest::newRow("silent") << QByteArray() << QByteArray() << -1 << -1 << -1;
        QTest::newRow("no voltage") << QByteArray("A30000\r") << QByteArray() << 30 << -1 << -1;
        QTest::newRow("garbled") << QByteArray("A\xfe\x81\r") << QByteArray("V?\r") << -1 << -1 << -1;
        QTest::newRow("beyond 16 bits") << QByteArray("A99999999\r") << QByteArray("V40000\r") << -1 << 40 << -1;
    }
    void readValuesAreTaken()
    {
        QFETCH(QByteArray, current);
        QFETCH(QByteArray, voltage);
        QFETCH(int, milliampere);
        QFETCH(int, kilovolt);
        QFETCH(int, power);
        for (const bool summary : {false, true}) {
            instrument().milliampere.confirm(1);
            instrument().kilovolt.confirm(1);
            instrument().power.confirm(Power::Off);
            answers(current, voltage);
            if (summary)
                modGenerator::StatusSummary();
            else
                readValues();
            const Instrument& now = instrument();
            QCOMPARE(now.milliampere.value, milliampere < 0 ? std::nullopt : std::optional(static_cast<qint16>(milliampere)));
            QCOMPARE(now.kilovolt.value, kilovolt < 0 ? std::nullopt : std::optional(static_cast<qint16>(kilovolt)));
            QCOMPARE(int(now.power.value.value_or(Power(-1))), power);
        }
    }

    void sentAndUnansweredStaysAskedFor()
    {
        sendPower(5, 20);
        QCOMPARE(m_generator->written(), QByteArray("SC:5\rSV:20\rCA\rVN\r"));
        QCOMPARE(instrument().milliampere.asked, std::optional(qint16(5)));
        QCOMPARE(instrument().kilovolt.asked, std::optional(qint16(20)));
        QVERIFY(instrument().power.asked == Power::Idle);
        QVERIFY(!instrument().milliampere.value && !instrument().kilovolt.value && !instrument().power.value);
    }

    void sentAndAnsweredIsConfirmed()
    {
        answers("A30000\r", "V38000\r");
        sendPower(30, 40);
        QVERIFY(instrument().milliampere.isConfirmed() && instrument().power.isConfirmed());
        QCOMPARE(instrument().kilovolt.value, std::optional(qint16(38))); // what it says, not what it was told
        QVERIFY(!instrument().kilovolt.asked);
    }

    void anotherModelIsNeverConfirmed()
    {
        configuration().generator.modelCode = 0;
        answers("A30000\r", "V40000\r");
        sendPower(30, 40);
        QCOMPARE(instrument().milliampere.asked, std::optional(qint16(30)));
        QVERIFY(!instrument().milliampere.isConfirmed());
    }

    void aLostLineTakesThemAlong()
    {
        answers("A30000\r", "V40000\r");
        sendPower(30, 40);
        m_prompts->expect(u"Generator"_s, QString());
        m_generator->hangUp();
        m_clock->advance(10);
        QVERIFY(!instrument().milliampere.likely() && !instrument().kilovolt.likely() && !instrument().power.likely());
        sendPower(5, 20); // goes nowhere
        QVERIFY(!instrument().milliampere.likely() && !instrument().kilovolt.likely() && !instrument().power.likely());
    }
};

QTEST_GUILESS_MAIN(TestKnown)
#include "tst_known.moc"
