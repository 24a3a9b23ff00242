// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Instrument.h"
#include "generator/GeneratorPower.h"
#include "goniometer/modSMC.h"
#include "serial/modCOM.h"

#include <QTest>

#include <memory>

using Entry = Menu::Entry;
using namespace Qt::StringLiterals;

/// What the window says of tube and shutter in every state: sent and confirmed, unanswered, garbled, line down before, line lost between
/// command and reply, device off and on.
class TestTubeStates : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }
    QLabel* cell(const char* name) const { return bench().window->findChild<QLabel*>(QString::fromLatin1(name)); }
    bool bringUp(const QString& fault, int speed = 50)
    {
        QStringList options{u"--generator"_s};
        if (!fault.isEmpty())
            options << u"--fault"_s << fault;
        configuration().generator.powerSettlingTime = 0;
        return bench().bringUp(options, speed);
    }
    void expectLoss(const char* title) { bench().hand.expect(QString::fromLatin1(title), QString(), u"OK"_s); }
    /// 20 mA, 30 kV by the window's OK.
    void setPower(bool lost = false)
    {
        configuration().generator.powerSettlingTime = 0;
        GeneratorPower::state().txtmA = u"20"_s;
        GeneratorPower::state().txtkV = u"30"_s;
        bench().hand.expect(u"Voltage Setting"_s, QString(), u"OK"_s);
        if (lost)
            expectLoss("Generator");
        QVERIFY(GeneratorPower::Apply());
    }
    QAction* shutter() const { return bench().entry(Entry::mnuExtrasGeneratorSwitchShutter); }
    bool lamp() const { return bench().lab.goniometer().shutterOutput(); }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    // --- the tube

    void thePowerThatWasSet_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("lost");
        QTest::addColumn<QString>("strip");
        QTest::addColumn<QString>("message");
        const QString noAnswer = u"The X-ray generator did not answer; its power is not known."_s;
        QTest::newRow("confirmed") << QString() << false << u"X-ray 30 kV 20 mA"_s << u"The generator reports 20 mA, 30 kV."_s;
        QTest::newRow("unanswered") << u"generator/silent"_s << false << u"X-ray 30? kV 20? mA"_s << noAnswer;
        QTest::newRow("garbled") << u"generator/garbage"_s << false << u"X-ray 30? kV 20? mA"_s << noAnswer;
        QTest::newRow("cut off") << u"generator/cut-reply"_s << false << u"X-ray 30? kV 20? mA"_s << noAnswer;
        QTest::newRow("line lost before the reply") << u"generator/hang-up:2"_s << true << u"X-ray ?"_s << noAnswer;
        QTest::newRow("device off") << u"generator/off:1"_s << false << u"X-ray 30? kV 20? mA"_s << noAnswer;
    }
    void thePowerThatWasSet()
    {
        QFETCH(QString, fault);
        QFETCH(bool, lost);
        QFETCH(QString, strip);
        QFETCH(QString, message);
        QVERIFY(bringUp(fault));
        QCOMPARE(cell("tube")->text(), u"X-ray ?"_s);
        setPower(lost);
        QCOMPARE(cell("tube")->text(), strip);
        QCOMPARE(GeneratorPower::state().txtMessage, message);
    }

    void thePowerOnALineThatIsDownIsNotKnown()
    {
        QVERIFY(bringUp(u"generator/hang-up:10s"_s));
        setPower();
        QCOMPARE(cell("tube")->text(), u"X-ray 30 kV 20 mA"_s);
        expectLoss("Generator");
        QVERIFY(bench().desk().until([] { return modCOM::GeneratorComm().isDown(); }, 20));
        QCOMPARE(cell("tube")->text(), u"X-ray ?"_s);
        setPower();
        QCOMPARE(cell("tube")->text(), u"X-ray ?"_s);
        QCOMPARE(GeneratorPower::state().txtMessage, u"The X-ray generator did not answer; its power is not known."_s);
    }

    void aGeneratorThatWasOffTellsWhatItHasThen()
    {
        QVERIFY(bringUp(u"generator/off:4:5s"_s));
        setPower();
        GeneratorPower::Load(); // nobody answers
        QCOMPARE(cell("tube")->text(), u"X-ray ?"_s);
        bench().desk().pass(6);
        GeneratorPower::Load();
        QCOMPARE(cell("tube")->text(), u"X-ray 0 kV 0 mA"_s);
        QCOMPARE(GeneratorPower::state().txtMessage, QString());
    }

    // --- the shutter

    void theShutterIsAsItWasSent()
    {
        QVERIFY(bringUp({}));
        QCOMPARE(cell("shutter")->text(), u"shutter ?"_s);
        shutter()->trigger();
        QCOMPARE(cell("shutter")->text(), u"shutter open"_s);
        QVERIFY(cell("shutter")->autoFillBackground() && lamp());
        QVERIFY(cell("shutter")->toolTip().contains(u"the shutter gives no reply"_s));
        shutter()->trigger();
        QCOMPARE(cell("shutter")->text(), u"shutter closed"_s);
        QVERIFY(!cell("shutter")->autoFillBackground() && !lamp());
    }

    void aShutterOnALineThatIsDownIsNotKnown()
    {
        QVERIFY(bringUp(u"smc/hang-up:20s"_s, 1));
        expectLoss("SMC");
        QVERIFY(bench().desk().until([] { return modCOM::MCComm().isDown(); }, 30));
        bench().hand.expect(u"X-Ray Shutter"_s, QString(), u"OK"_s);
        shutter()->trigger();
        QCOMPARE(cell("shutter")->text(), u"shutter ?"_s);
        QVERIFY(!cell("shutter")->autoFillBackground() && !frontPanel().picXRayOn());
        QCOMPARE(shutter()->text(), u"OPEN &X-Ray Shutter"_s);
    }

    void aShutterThatWasOpenWhenItsLineWasLostStaysRed_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<bool>("lost");
        QTest::newRow("line lost") << u"smc/hang-up-and-return:20s"_s << true;
        QTest::newRow("silent") << u"smc/silent:20s"_s << false;
        QTest::newRow("device off and on") << u"smc/off:20s:3s"_s << false;
    }
    void aShutterThatWasOpenWhenItsLineWasLostStaysRed()
    {
        QFETCH(QString, fault);
        QFETCH(bool, lost);
        QVERIFY(bringUp(fault, 1));
        shutter()->trigger();
        QCOMPARE(cell("shutter")->text(), u"shutter open"_s);
        if (lost)
            expectLoss("SMC");
        bench().desk().until([this] { return cell("shutter")->text() == u"shutter ?"_s; }, 20);
        if (!lost)
            modSMC::AskStatus(modSMC::silent); // whoever asks gets no answer
        QCOMPARE(cell("shutter")->text(), u"shutter ?"_s);
        QVERIFY(cell("shutter")->autoFillBackground() && frontPanel().picXRayOn());
        QCOMPARE(shutter()->text(), u"Close &Shutter"_s);

        // There again, it is told, and what was told is known.
        bench().desk().pass(8);
        QCOMPARE(cell("shutter")->text(), u"shutter ?"_s);
        shutter()->trigger();
        QCOMPARE(cell("shutter")->text(), u"shutter closed"_s);
        QVERIFY(!lamp());
    }
};

QTEST_MAIN(TestTubeStates)
#include "tst_tubestates.moc"
