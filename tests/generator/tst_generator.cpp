// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "serial/modCOM.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestGenerator : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;
    std::unique_ptr<ScriptedDevice> m_generator;
    std::unique_ptr<ScriptedDevice> m_smc;

    void values(const QByteArray& current, const QByteArray& voltage)
    {
        m_generator->clearRules();
        m_generator->answer("CA\r", current);
        m_generator->answer("VN\r", voltage);
    }

    void expectActual(qint16 milliampere, qint16 kilovolt)
    {
        qint16 current = -1;
        qint16 voltage = -1;
        modGenerator::GeneratorGetActualValues(&current, &voltage);
        QCOMPARE(current, milliampere);
        QCOMPARE(voltage, kilovolt);
    }

    static QString confirmation(const QString& milliampere, const QString& kilovolt)
    {
        return u"New generator settings:\r\n\r\n    "_s + milliampere + u" mA\r\n    "_s + kilovolt +
               u" kV\r\n\r\nDo you want to continue?"_s;
    }

    void setBoxes(const QString& milliampere, const QString& kilovolt)
    {
        GeneratorPower::state().txtmA = milliampere;
        GeneratorPower::state().txtkV = kilovolt;
    }

    void applyConfirmed(const QString& milliampere, const QString& kilovolt)
    {
        setBoxes(milliampere, kilovolt);
        m_prompts->expect(u"Voltage Setting"_s, confirmation(milliampere, kilovolt), Prompts::Button::Ok);
        m_generator->forget();
        QVERIFY(GeneratorPower::Apply());
    }

private slots:
    void init()
    {
        resetProgram();
        modCOM::reset();
        modGenerator::reset();
        GeneratorPower::state() = GeneratorPower::State{};
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
        m_generator = std::make_unique<ScriptedDevice>();
        m_smc = std::make_unique<ScriptedDevice>();
        m_generator->plugInto(modCOM::GeneratorComm());
        m_smc->plugInto(modCOM::MCComm());
        configuration().generator.modelCode = 1;
        flags().generatorRemote = true;
        flags().shutterRemote = true;
        flags().smcOnline = true;
        modGenerator::Connect();
        values("*0000030000\r", "*0000040000\r");
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

    void actualValues_data()
    {
        QTest::addColumn<QByteArray>("current");
        QTest::addColumn<QByteArray>("voltage");
        QTest::addColumn<int>("milliampere");
        QTest::addColumn<int>("kilovolt");
        QTest::newRow("plain") << QByteArray("A12000\r") << QByteArray("V40000\r") << 12 << 40;
        QTest::newRow("padded") << QByteArray("*0000030000\r") << QByteArray("*0000040000\r") << 30 << 40;
        QTest::newRow("12.5 goes to 12") << QByteArray("A12500\r") << QByteArray("V20500\r") << 12 << 20;
        QTest::newRow("13.5 goes to 14") << QByteArray("A13500\r") << QByteArray("V21500\r") << 14 << 22;
        QTest::newRow("with line feeds") << QByteArray("A12000\r\n") << QByteArray("V40000\r\n") << 12 << 40;
        QTest::newRow("beyond 16 bits") << QByteArray("A99999999\r") << QByteArray("V40000\r") << 0 << 40;
        QTest::newRow("beyond 32 bits") << QByteArray("A12000\r") << QByteArray("V99999999999999\r") << 12 << 0;
        QTest::newRow("no voltage") << QByteArray("A12000\r") << QByteArray() << 12 << 0;
        QTest::newRow("silent") << QByteArray() << QByteArray() << 0 << 0;
        QTest::newRow("half a line") << QByteArray("A120") << QByteArray() << 0 << 0;
        QTest::newRow("no letter in front") << QByteArray("12000\r") << QByteArray("40000\r") << 2 << 0;
        QTest::newRow("more lines than wanted") << QByteArray("A12000\rV40000\rX1\rX2\rX3\rX4\rX5\r") << QByteArray() << 12 << 40;
    }

    void actualValues()
    {
        QFETCH(QByteArray, current);
        QFETCH(QByteArray, voltage);
        QFETCH(int, milliampere);
        QFETCH(int, kilovolt);
        values(current, voltage);
        expectActual(static_cast<qint16>(milliampere), static_cast<qint16>(kilovolt));
        QCOMPARE(m_generator->written(), QByteArray("CA\rVN\r"));
    }

    void whatAnEarlierExchangeLeftIsDropped()
    {
        m_generator->send("A99000\rV9");
        m_clock->advance(50);
        expectActual(30, 40);
    }

    void anotherModelIsAskedNothing()
    {
        configuration().generator.modelCode = 0;
        expectActual(0, 0);
        QCOMPARE(modGenerator::StatusSummary(), u"Not supported..."_s);
        QCOMPARE(m_generator->written(), QByteArray());
    }

    void theSummaryShowsTheLinesAsReceived()
    {
        m_generator->answer("SR:14\r", QByteArray("3.5\r"));
        m_generator->answer("SR:15\r", QByteArray("4.2\r"));
        const quint64 before = m_clock->elapsed();
        QCOMPARE(modGenerator::StatusSummary(),
                 u"Act. mA:*0000030000\r\nAct. kV:*0000040000\r\nMin. flow rate:3.5\r\nAct. flow rate:4.2"_s);
        QVERIFY(m_clock->elapsed() - before >= 2500);
        QCOMPARE(m_generator->written(), QByteArray("CA\rVN\rSR:14\rSR:15\r"));
    }

    void aSilentGeneratorLeavesTheLabels()
    {
        m_generator->clearRules();
        modGenerator::mnuExtrasGeneratorGetStatus();
        QCOMPARE(frontPanel().textDisplayTitle(), u"X-Ray Generator"_s);
        QCOMPARE(frontPanel().textDisplayText(), u"Act. mA:\r\nAct. kV:\r\nMin. flow rate:\r\nAct. flow rate:"_s);
        frontPanel().pressTextDisplayButton();
        QVERIFY(!frontPanel().textDisplayOpen());
    }

    void theShutterCaptionNamesTheNextAction()
    {
        constexpr auto entry = Menu::Entry::mnuExtrasGeneratorSwitchShutter;
        QCOMPARE(frontPanel().entryCaption(entry), u"OPEN &X-Ray Shutter"_s);
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QCOMPARE(frontPanel().entryCaption(entry), u"Close &Shutter"_s);
        QVERIFY(frontPanel().picXRayOn() && flags().shutterOpen);
        modGenerator::mnuExtrasGeneratorSwitchShutter();
        QCOMPARE(frontPanel().entryCaption(entry), u"Open &Shutter"_s);
        QVERIFY(!frontPanel().picXRayOn() && !flags().shutterOpen);
        QCOMPARE(m_smc->written(), QByteArray("\r\nIO1;\r\nIO0;"));
        QCOMPARE(m_generator->written(), QByteArray());
    }

    void openingTheDialogShowsActualValuesAndPresets()
    {
        GeneratorPower::Load();
        QCOMPARE(GeneratorPower::state().txtmA, u"30"_s);
        QCOMPARE(GeneratorPower::state().txtkV, u"40"_s);
        GeneratorPower::IdlePreset();
        QCOMPARE(GeneratorPower::state().txtmA + u"/"_s + GeneratorPower::state().txtkV, u"5/20"_s);
        GeneratorPower::MeasPreset();
        QCOMPARE(GeneratorPower::state().txtmA + u"/"_s + GeneratorPower::state().txtkV, u"30/40"_s);
    }

    void valuesAboveTheLimitsAreRefused_data()
    {
        QTest::addColumn<QString>("milliampere");
        QTest::addColumn<QString>("kilovolt");
        QTest::addColumn<QString>("title");
        QTest::addColumn<QString>("text");
        const QString current = u"Current Setting"_s;
        const QString currentText = u"Value out of range!   (0... 40 mA)"_s;
        QTest::newRow("current empty") << u""_s << u"40"_s << current << currentText;
        QTest::newRow("current blank") << u"  "_s << u"40"_s << current << currentText;
        QTest::newRow("current too high") << u"41"_s << u"40"_s << current << currentText;
        QTest::newRow("current a little too high") << u"40,1"_s << u"40"_s << current << currentText;
        QTest::newRow("voltage empty") << u"40"_s << u""_s << u"Voltage Setting"_s << u"Value out of range!   (0... 40 kV)"_s;
        QTest::newRow("voltage too high") << u"40"_s << u"41"_s << u"Voltage Setting"_s << u"Value out of range!   (0... 40 kV)"_s;
    }

    void valuesAboveTheLimitsAreRefused()
    {
        QFETCH(QString, milliampere);
        QFETCH(QString, kilovolt);
        QFETCH(QString, title);
        QFETCH(QString, text);
        setBoxes(milliampere, kilovolt);
        m_prompts->expect(title, text).withIcon(Prompts::Icon::Critical);
        QVERIFY(!GeneratorPower::Apply());
        QCOMPARE(m_generator->written(), QByteArray());
    }

    void cancelSendsNothing()
    {
        setBoxes(u"40"_s, u"40"_s);
        m_prompts->expect(u"Voltage Setting"_s, confirmation(u"40"_s, u"40"_s), Prompts::Button::Cancel)
            .withIcon(Prompts::Icon::Question)
            .withButtons(Prompts::Buttons::OkCancel, 2);
        QVERIFY(!GeneratorPower::Apply());
        QCOMPARE(m_generator->written(), QByteArray());
    }

    void whatIsTypedIsSentAsWholeNumbers_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("whole") << u"40"_s << QByteArray("SC:40\r");
        QTest::newRow("2.5") << u"2.5"_s << QByteArray("SC:2\r");
        QTest::newRow("3.5") << u"3.5"_s << QByteArray("SC:4\r");
        QTest::newRow("no number reads as 0") << u"."_s << QByteArray("SC:0\r");
    }

    void whatIsTypedIsSentAsWholeNumbers()
    {
        QFETCH(QString, typed);
        QFETCH(QByteArray, sent);
        applyConfirmed(typed, u"40"_s);
        QCOMPARE(m_generator->written(), sent + "SV:40\rCA\rVN\r");
        QVERIFY(GeneratorPower::state().txtMessage.contains(u"30 mA, 40 kV"_s));
        QVERIFY(!frontPanel().textDisplayOpen());
    }

    void theWaitsAfterSettingLetNoEventsRun()
    {
        const qint64 before = m_clock->idleRounds();
        applyConfirmed(u"10"_s, u"20"_s);
        QVERIFY(m_clock->idleRounds() - before >= 400);
    }

    void idlePowerIsNoticed_data()
    {
        QTest::addColumn<QString>("milliampere");
        QTest::addColumn<QString>("kilovolt");
        QTest::addColumn<bool>("idle");
        QTest::newRow("idle preset") << u"5"_s << u"20"_s << true;
        QTest::newRow("below") << u"0"_s << u"0"_s << true;
        QTest::newRow("current above") << u"6"_s << u"20"_s << false;
        QTest::newRow("voltage above") << u"5"_s << u"21"_s << false;
        QTest::newRow("measuring preset") << u"30"_s << u"40"_s << false;
    }

    void idlePowerIsNoticed()
    {
        QFETCH(QString, milliampere);
        QFETCH(QString, kilovolt);
        QFETCH(bool, idle);
        flags().idlePower = !idle;
        applyConfirmed(milliampere, kilovolt);
        QCOMPARE(flags().idlePower, idle);
    }

    void theWarmUpCountsDown_data()
    {
        QTest::addColumn<int>("seconds");
        QTest::addColumn<QString>("text");
        QTest::newRow("under a minute") << 59 << u"Waiting for 0 minutes..."_s;
        QTest::newRow("five and a half") << 330 << u"Waiting for 5 minutes..."_s;
    }

    void theWarmUpCountsDown()
    {
        QFETCH(int, seconds);
        QFETCH(QString, text);
        configuration().generator.powerSettlingTime = seconds;
        QStringList messages;
        QString shown;
        const auto watch = connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this, [&] {
            if (GeneratorPower::state().warmingUp)
                messages += GeneratorPower::state().txtMessage;
        });
        m_clock->at(10000, [&] { shown = frontPanel().textDisplayTitle() + u"|"_s + frontPanel().textDisplayText(); });
        const quint64 before = m_clock->elapsed();
        applyConfirmed(u"30"_s, u"40"_s);
        disconnect(watch);
        QVERIFY(m_clock->elapsed() - before >= static_cast<quint64>(seconds) * 1000);
        QCOMPARE(shown, u"Generator Warm-Up|"_s + text);
        QVERIFY(messages.size() >= seconds - 1);
        QCOMPARE(messages.first(), seconds == 59 ? u"Warm-up: 0:00:59 left"_s : u"Warm-up: 0:05:30 left"_s);
        QVERIFY(!GeneratorPower::state().warmingUp);
        QVERIFY(!frontPanel().textDisplayOpen());
    }

    void closingTheProgramEndsTheWarmUp()
    {
        configuration().generator.powerSettlingTime = 600;
        m_clock->at(20000, [] { flags().closing = true; });
        const quint64 before = m_clock->elapsed();
        applyConfirmed(u"30"_s, u"40"_s);
        QVERIFY(m_clock->elapsed() - before < 30000);
    }

    void keysOfTheBoxes()
    {
        QCOMPARE(GeneratorPower::acceptedKey(u'7'), QChar(u'7'));
        QCOMPARE(GeneratorPower::acceptedKey(u','), QChar(u'.'));
        QCOMPARE(GeneratorPower::acceptedKey(u'.'), QChar(u'.'));
        QVERIFY(GeneratorPower::acceptedKey(u'-').isNull());
        QVERIFY(GeneratorPower::acceptedKey(u'e').isNull());
    }

    void idlePowerFollowsARunAfterItsDelay()
    {
        Configuration::Generator& power = configuration().generator;
        power.reducePowerOnIdle = true;
        power.reducePowerOnIdleDelay = 2;
        modGenerator::StartIdleWatch();
        modTools::Delay(300, true);
        QCOMPARE(m_generator->written(), QByteArray()); // nothing has run yet
        pretendRunning(Operations::scan);
        modTools::Delay(300, true);
        QCOMPARE(m_generator->written(), QByteArray());
        pretendRunning(Operations::scan, false);
        modTools::Delay(110, true);
        QCOMPARE(m_generator->written(), QByteArray());
        modTools::Delay(20, true);
        QCOMPARE(m_generator->written(), QByteArray("SC:5\rSV:20\rCA\rVN\r"));
        QVERIFY(flags().idlePower);
        modTools::Delay(300, true);
        QCOMPARE(m_generator->written(), QByteArray("SC:5\rSV:20\rCA\rVN\r"));
    }

    void withoutTheKeyThePowerStays()
    {
        modGenerator::StartIdleWatch();
        pretendRunning(Operations::scan);
        modTools::Delay(5, true);
        pretendRunning(Operations::scan, false);
        modTools::Delay(1200, true);
        QCOMPARE(m_generator->written(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(TestGenerator)
#include "tst_generator.moc"
