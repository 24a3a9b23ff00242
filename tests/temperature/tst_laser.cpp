// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/TemperatureLine.h"

#include <QLocale>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace modHTC_Laser;

class TestLaser : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TemperatureLine> m_line;

    QString beamCaption() const { return frontPanel().entryCaption(Menu::Entry::mnuLaserBeam); }
    QString panel() const { return frontPanel().panel(3); }

    /// Every line is answered with the same reply.
    void answerAll(const QByteArray& reply)
    {
        m_line->device.clearRules();
        m_line->device.answer("\r", reply);
    }

private slots:
    void init()
    {
        m_line = std::make_unique<TemperatureLine>(u"19200,n,8,1"_s, 0.1F, 1.0F, 4);
        flags().laserEnabled = true;
        flags().log = true;
    }

    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        QLocale::setDefault(QLocale::c());
        m_line.reset();
    }

    void aLineEndsWithCarriageReturnOnly()
    {
        LaserOutput(u":r 12"_s);
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":r 12\r"});
        QVERIFY(m_line->appLog().contains(u"LaserOutput(:r 12)"_s));
    }

    void withTheLogOffNothingIsLogged()
    {
        flags().log = false;
        answerAll(":ok\r\n");
        QCOMPARE(LaserSwitchBeam(true), qint16(0));
        QCOMPARE(LaserSetCurrent(700, 1.5F), qint16(0));
        QCOMPARE(m_line->appLog(), QString());
    }

    void colonsAreRemovedFromAReply()
    {
        for (const QByteArray& reply : {QByteArray(":ok\r\n"), QByteArray("ok\r"), QByteArray("o:k::\r\n")}) {
            answerAll(reply);
            LaserOutput(u":w 12 1"_s);
            QString text;
            QCOMPARE(LaserGetResponse(text), qint16(0));
            QCOMPARE(text, u"ok"_s);
        }
        QVERIFY(m_line->appLog().contains(u"LaserGetResponse()"_s));
        QVERIFY(m_line->appLog().contains(u"LaserGetResponse()=ok"_s));
        QVERIFY(!m_line->shown.contains(u"HT Laser Controller response: ok"_s));
        QCOMPARE(m_line->appLog().count(u"Delay() - Interval: .001\r\n"_s), 3); // the pause after each reply
    }

    void noiseOnTheLineDoesNotHideAReply_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("zero byte") << QByteArray("\0:ok\r\n", 6);
        QTest::newRow("XON") << QByteArray("\x11:ok\r\n");
        QTest::newRow("end of text") << QByteArray(":ok\x03\r\n");
        QTest::newRow("eighth bit") << QByteArray("\xff:ok\r\n");
        QTest::newRow("within") << QByteArray(":o\x13k\r\n");
    }

    void noiseOnTheLineDoesNotHideAReply()
    {
        QFETCH(QByteArray, reply);
        answerAll(reply);
        LaserOutput(u":w 12 1"_s);
        QString text;
        QCOMPARE(LaserGetResponse(text), qint16(0));
        QCOMPARE(text, u"ok"_s);
    }

    void theSecondaryLogHasTheCommandsToo()
    {
        modTools::state().secondaryLog = true;
        LaserOutput(u":r 12"_s);
        QFile log(m_line->directory.filePath(u"app_i.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray line = log.readLine();
        QVERIFY2(line.endsWith(" LaserOutput(:r 12)\r\n"), line.constData());
    }

    void theReplyIsShownWithTheCommunicationDisplay()
    {
        flags().showCommunication = true;
        answerAll(":ok\r\n");
        LaserOutput(u":w 12 0"_s);
        QString text;
        LaserGetResponse(text);
        QVERIFY(m_line->shown.contains(u"HT Laser Controller response: ok"_s));
    }

    void strayInputIsShownAndDropped()
    {
        flags().showCommunication = true;
        modTC::state().receiveText = u"?junk"_s;
        answerAll(":ok\r\n");
        m_line->prompts.expect(u"Laser"_s, u"?junk"_s);
        LaserOutput(u":w 12 0"_s);
        QString text;
        QCOMPARE(LaserGetResponse(text), qint16(0));
        QCOMPARE(text, u"ok"_s);
    }

    void silenceEndsInTime()
    {
        const quint64 before = m_line->clock.elapsed();
        QString text = u"old"_s;
        QCOMPARE(LaserGetResponse(text), qint16(-1));
        QCOMPARE(text, QString());
        QVERIFY(m_line->clock.elapsed() - before >= 1000 && m_line->clock.elapsed() - before < 1200);
    }

    void theBeamIsSwitchedAndTheEntrySaysWhatComesNext()
    {
        answerAll(":ok\r\n");
        QCOMPARE(LaserSwitchBeam(true), qint16(0));
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":w 12 1\r"});
        QCOMPARE(panel(), u"Switching laser ON..."_s);
        QCOMPARE(beamCaption(), u"Switch Beam &OFF"_s);
        QVERIFY(frontPanel().picLaserOn());
        m_line->device.forget();
        m_line->device.answer(":r 12\r", QByteArray(":0\r\n"));
        mnuLaserBeam();
        QCOMPARE(m_line->device.writes(), (QList<QByteArray>{":w 12 0\r", ":r 12\r"}));
        QCOMPARE(panel(), u"Switching laser OFF..."_s);
        QCOMPARE(beamCaption(), u"Switch Beam &ON"_s);
        QVERIFY(!frontPanel().picLaserOn());
    }

    void anUnconfirmedBeamChangesNothing_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("silent") << QByteArray();
        QTest::newRow("error") << QByteArray(":error\r\n");
        QTest::newRow("upper case") << QByteArray(":OK\r\n");
        QTest::newRow("longer") << QByteArray(":ok 1\r\n");
    }

    void anUnconfirmedBeamChangesNothing()
    {
        QFETCH(QByteArray, reply);
        if (!reply.isEmpty())
            answerAll(reply);
        const QString caption = beamCaption();
        QCOMPARE(LaserSwitchBeam(true), qint16(-1));
        QCOMPARE(beamCaption(), caption);
        QVERIFY(!flags().laserOn && !frontPanel().picLaserOn());
        QCOMPARE(panel(), u"Switching laser ON..."_s);
    }

    void aDisabledLaserGetsNothing()
    {
        flags().laserEnabled = false;
        QCOMPARE(LaserSwitchBeam(true), qint16(-1));
        QCOMPARE(panel(), u"Switching laser OFF..."_s);
        QCOMPARE(LaserSetCurrent(1, 1), qint16(-1));
        QVERIFY(m_line->device.written().isEmpty());
    }

    void theCurrentIsSentWithAPoint()
    {
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        configuration().laser.currentMode = true;
        answerAll(":ok\r\n");
        QCOMPARE(LaserSetCurrent(1.5F, 1.5F), qint16(0));
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":w 30 1.5\r"});
        QVERIFY(m_line->shown.contains(u"Setting laser current to 1.5A."_s));
        QCOMPARE(panel(), u"Laser current set to 1.5A."_s);
        QCOMPARE(state().lastCurrent, 1.5F);
    }

    void aTemperatureIsShownWithItsCurrent()
    {
        answerAll(":ok\r\n");
        QCOMPARE(LaserSetCurrent(600, CurrentFor(600)), qint16(0));
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":w 30 1.2\r"});
        QVERIFY(m_line->shown.contains(u"Setting temperature to 600°C (1.2A)."_s));
        QCOMPARE(panel(), u"Temperature setpoint set to 600°C (1.2A)."_s);
    }

    void anUnconfirmedCurrentKeepsTheSettingText()
    {
        answerAll(":error\r\n");
        QCOMPARE(LaserSetCurrent(600, 1.2F), qint16(-1));
        QCOMPARE(panel(), u"Setting temperature to 600°C (1.2A)."_s);
        QCOMPARE(state().lastCurrent, 0.0F);
        configuration().laser.currentMode = true;
        QCOMPARE(LaserSetCurrent(0.75F, 0.75F), qint16(-1));
        QCOMPARE(panel(), u"Setting laser current to 0.75A."_s);
    }

    void theCurrentNeverExceedsItsLimit()
    {
        QCOMPARE(CurrentFor(100), 0.2F);
        QCOMPARE(CurrentFor(5000), 2.5F);
        QCOMPARE(CurrentFor(-100), 0.0F);
        configuration().laser.currentOffset = 0.1;
        QCOMPARE(CurrentFor(100), 0.3F);
        configuration().laser.currentMode = true;
        QCOMPARE(CurrentFor(1.25F), 1.25F);
        QCOMPARE(CurrentFor(2.6F), 2.5F);
        configuration().laser.maxCurrent = -1;
        QCOMPARE(CurrentFor(2.6F), 0.0F);
    }

    // --- presence

    void theCurrentIsReadBack()
    {
        answerAll(":1.2000\r\n");
        float current = 0;
        QCOMPARE(LaserGetCurrent(current), qint16(0));
        QCOMPARE(current, 1.2F);
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":r 30\r"});
        QCOMPARE(ValueFor(current), std::optional<double>(600));
        configuration().laser.currentOffset = 0.2;
        QCOMPARE(ValueFor(current), std::optional<double>(500));
        configuration().laser.currentPerDegree = 0;
        QCOMPARE(ValueFor(current), std::nullopt);
        configuration().laser.currentMode = true;
        QCOMPARE(ValueFor(current), std::optional<double>(1.2));
    }

    void aReplyThatIsNoCurrentIsNoneRead()
    {
        float current = 0.5F;
        answerAll(":error\r\n");
        QCOMPARE(LaserGetCurrent(current), qint16(-1));
        m_line->device.clearRules();
        QCOMPARE(LaserGetCurrent(current), qint16(-1));
        QCOMPARE(current, 0.5F);
    }

    void aSilentLaserIsAskedInEveryRound()
    {
        configuration().laser.checkRounds = 3;
        m_line->prompts.expect(u"HT Laser Controller Check"_s,
                               u"HT Laser controller does not respond...\r\n\r\nPlease check the following:\r\n"
                               u"    - HT Laser Controller powered ON?\r\n    - Controller connected to COM4?\r\n"
                               u"    - COM4 settings are 19200,n,8,1?\r\n    - Cable connection ok?"_s);
        QCOMPARE(LaserCheckPresence(), qint16(-1));
        QCOMPARE(m_line->device.writes(), (QList<QByteArray>{":r 12\r", ":r 12\r", ":r 12\r"}));
        for (const QString& round : {u"1"_s, u"2"_s, u"3"_s})
            QVERIFY(m_line->shown.contains(u"Checking presence of Laser controller (loop "_s + round + u" of 3)..."_s));
        QVERIFY(!flags().laserEnabled);
    }

    void emptyLinesAreNoLaser()
    {
        configuration().laser.checkRounds = 2;
        answerAll("\r\n");
        m_line->prompts.expect(u"HT Laser Controller Check"_s, QString());
        QCOMPARE(LaserCheckPresence(), qint16(-1));
        QCOMPARE(m_line->device.writes().size(), 2);
        QVERIFY(!m_line->shown.contains(u"HT Laser Controller found..."_s));
        QVERIFY(!flags().laserEnabled);
    }

    void theBufferIsEmptiedBeforeEachRound()
    {
        answerAll(":0\r\n");
        QCOMPARE(LaserCheckPresence(), qint16(0));
        const QString log = m_line->appLog();
        QVERIFY2(log.startsWith(u"ClearTCCommRxBuffer"_s), qPrintable(log));
        QVERIFY(log.indexOf(u"ClearTCCommRxBuffer"_s) < log.indexOf(u"LaserOutput(:r 12)"_s));
    }

    void noBoxComesWhileTheProgramCloses()
    {
        m_line->clock.at(500, [] { flags().closing = true; });
        QCOMPARE(LaserCheckPresence(), qint16(-1));
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":r 12\r"});
        QVERIFY(flags().laserEnabled);
        flags().closing = false;
        m_line->clock.at(500, [] { flags().closing = true; });
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, u"300"_s);
        mnuLaserSetpoint();
    }

    void aLaserThatIsFoundShowsItsBeam()
    {
        for (const bool on : {true, false}) {
            answerAll(on ? ":1\r\n" : ":0\r\n");
            m_line->device.forget();
            QCOMPARE(LaserCheckPresence(), qint16(0));
            QCOMPARE(m_line->device.writes(), QList<QByteArray>{":r 12\r"});
            QCOMPARE(panel(), u"HT Laser Controller found..."_s);
            QCOMPARE(beamCaption(), on ? u"Switch Beam &OFF"_s : u"Switch Beam &ON"_s);
            QCOMPARE(flags().laserOn, on);
        }
        QVERIFY(flags().laserEnabled);
    }

    void theTestEntryShowsTheResult()
    {
        answerAll(":0\r\n");
        m_line->prompts.expect(u"Laser"_s, u"HT Laser Controller found..."_s).withIcon(Prompts::Icon::Information);
        mnuLaserTest();
    }

    // --- setpoint entry

    void aSetpointIsSentAndWaitedFor()
    {
        answerAll(":ok\r\n");
        m_line->device.answer(":r 30\r", QByteArray(":1.2250\r\n"));
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, u"612,5"_s).withDefaultText(u"0 °C"_s);
        mnuLaserSetpoint();
        QCOMPARE(m_line->device.writes(), (QList<QByteArray>{":w 30 1.225\r", ":r 30\r"}));
        QVERIFY(m_line->shown.contains(u"Temperature stabilization delay: 60 seconds..."_s));
        QVERIFY(m_line->clock.elapsed() >= 60000);
    }

    void aSetpointOutOfRangeIsNotSent()
    {
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, u"1201"_s);
        m_line->prompts.expect(u"New setpoint"_s, u"Setpoint out of range (20°C ... 1200°C)!"_s);
        mnuLaserSetpoint();
        configuration().laser.currentMode = true;
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, u"2.6 A"_s).withDefaultText(u"0 A"_s);
        m_line->prompts.expect(u"New setpoint"_s, u"Setpoint out of range (0A ... 2.5A)!"_s);
        mnuLaserSetpoint();
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, QString());
        mnuLaserSetpoint();
        QVERIFY(m_line->device.written().isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestLaser)
#include "tst_laser.moc"
