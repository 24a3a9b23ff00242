// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "support/AppLog.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/SmallDisk.h"
#include "support/TestClock.h"
#include "temperature/CooldownLog.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <csignal>
#include <memory>
#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {
constexpr auto logEntry = Menu::Entry::mnuLTCLogCooldown;

/// What the log takes for the date and time: the test's own.
QDateTime theMoment;
QDateTime moment()
{
    return theMoment;
}
} // namespace

class TestCooldown : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;
    std::unique_ptr<ScriptedDevice> m_device;
    std::unique_ptr<ScriptedDevice> m_goniometer;

    void answer(const QByteArray& temperature, const QByteArray& setpoint)
    {
        m_device->clearRules();
        m_device->answer("KRDG?\r\n", temperature + "\r\n");
        m_device->answer("SETP? 1\r\n", setpoint + "\r\n");
    }

    QStringList files() const { return QDir(m_directory->path()).entryList(QDir::Files | QDir::System, QDir::Name); }
    QByteArray bytes(const QString& name = {}) const
    {
        QFile file(name.isEmpty() ? CooldownLog::state().path : m_directory->filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
    }
    /// The time goes on, for the timers and for the lines.
    void pass(int seconds)
    {
        for (int i = 0; i < seconds; ++i) {
            theMoment = theMoment.addSecs(1);
            m_clock->advance(1000);
        }
    }
    QByteArray takeSent()
    {
        const QByteArray sent = m_device->written();
        m_device->forget();
        return sent;
    }

private slots:
    void init()
    {
        resetProgram();
        modCOM::reset();
        modTC::reset();
        CooldownLog::reset();
        m_directory = std::make_unique<QTemporaryDir>();
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
        m_device = std::make_unique<ScriptedDevice>();
        m_goniometer = std::make_unique<ScriptedDevice>();
        Configuration::LTC& ltc = configuration().ltc;
        ltc.modelCode = modLTC::LakeShore331;
        ltc.line.settings = u"9600,o,7,1"_s;
        ltc.line.rxTimeout = 1.5F;
        ltc.logInterval = 10;
        configuration().general.workDir = m_directory->path();
        modCOM::TCComm().configure(ltc.line);
        m_device->plugInto(modCOM::TCComm());
        modTC::Connect();
        flags().ltcEnabled = true;
        frontPanel().refreshEntries();
        theMoment = QDateTime(QDate(2026, 3, 1), QTime(7, 5, 9));
        CooldownLog::state().moment = moment;
        answer("+077.200", "+77.000");
    }

    void cleanup()
    {
        QVERIFY(m_prompts->allShown());
        CooldownLog::Stop();
        CooldownLog::reset();
        modTC::reset();
        modCOM::reset();
        m_goniometer.reset();
        m_device.reset();
        m_prompts.reset();
        m_clock.reset();
    }

    void aLineHasDateTemperatureAndSetpoint()
    {
        CooldownLog::Start();
        pass(1);
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\nSETP? 1\r\n"));
        QCOMPARE(files(), QStringList{u"cooldown_20260301_070509.log"_s});
        QCOMPARE(bytes(), QByteArray("2026-03-01 07:05:10;77.2;77\r\n"));
        QCOMPARE(CooldownLog::state().lines, QStringList{u"2026-03-01 07:05:10;77.2;77"_s});
        QCOMPARE(frontPanel().panel(3), u"LTC: 77.2 K"_s);
    }

    void everyIntervalALineIsInTheFileAtOnce()
    {
        CooldownLog::Start();
        pass(1);
        answer("+76.512", "+20");
        pass(8);
        QCOMPARE(bytes().count('\n'), 1);
        pass(1);
        QCOMPARE(bytes(), QByteArray("2026-03-01 07:05:10;77.2;77\r\n2026-03-01 07:05:19;76.512;20\r\n"));
        pass(30);
        QCOMPARE(bytes().count('\n'), 5);
        QCOMPARE(CooldownLog::state().readings.size(), 5);
        for (qsizetype i = 1; i < 5; ++i)
            QVERIFY(qAbs(CooldownLog::state().readings[i].elapsed - 10.0 * static_cast<double>(i)) < 0.5);
    }

    void anIntervalOfNothingIsASecond()
    {
        configuration().ltc.logInterval = 0;
        CooldownLog::Start();
        pass(5);
        QVERIFY(bytes().count('\n') >= 4);
    }

    void theEntryStartsAndStops()
    {
        QCOMPARE(frontPanel().entryCaption(logEntry), u"Log Cooldown"_s);
        CooldownLog::mnuLTCLogCooldown();
        QCOMPARE(frontPanel().entryCaption(logEntry), u"Stop &Log Cooldown"_s);
        pass(1);
        CooldownLog::mnuLTCLogCooldown();
        QCOMPARE(frontPanel().entryCaption(logEntry), u"Log Cooldown"_s);
        QCOMPARE(frontPanel().panel(3), QString());
        const QByteArray before = bytes();
        takeSent();
        pass(60);
        QCOMPARE(takeSent(), QByteArray());
        QCOMPARE(bytes(), before);
    }

    void beginAndEndAreInTheLogOfTheProgram()
    {
        const AppLog log;
        CooldownLog::Start();
        CooldownLog::Stop();
        QCOMPARE(log.text(), QString());
        flags().log = true;
        CooldownLog::Start();
        const QString begin = u"LogCooldown("_s + CooldownLog::state().path + u")\r\n"_s;
        QCOMPARE(log.text(), begin);
        CooldownLog::Stop();
        QCOMPARE(log.text(), begin + u"LogCooldown() stopped\r\n"_s);
    }

    void logsOfTheSameSecondGetFilesOfTheirOwn()
    {
        QFile earlier(m_directory->filePath(u"cooldown_20260301_070510.log"_s));
        QVERIFY(earlier.open(QIODevice::WriteOnly) && earlier.write("of another program") == 18);
        earlier.close();
        for (int i = 0; i < 3; ++i) {
            CooldownLog::Start();
            m_clock->advance(500);
            CooldownLog::Stop();
        }
        QCOMPARE(files(), QStringList({u"cooldown_20260301_070509.log"_s, u"cooldown_20260301_070510.log"_s,
                                       u"cooldown_20260301_070511.log"_s, u"cooldown_20260301_070512.log"_s}));
        QCOMPARE(bytes(files()[0]), QByteArray("2026-03-01 07:05:09;77.2;77\r\n"));
        QCOMPARE(bytes(files()[1]), QByteArray("of another program"));
        QCOMPARE(bytes(files()[3]), QByteArray("2026-03-01 07:05:09;77.2;77\r\n"));
        QCOMPARE(CooldownLog::state().lines.size(), 1);
    }

    void aSecondStartChangesNothing()
    {
        CooldownLog::Start();
        CooldownLog::Start();
        pass(1);
        QCOMPARE(files().size(), 1);
    }

    void aControllerThatIsSwitchedOffLeavesAnEmptyField()
    {
        CooldownLog::Start();
        pass(1);
        m_device->clearRules();
        takeSent();
        pass(10);
        // Without a temperature the setpoint is not asked for: one time-out is enough.
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\n"));
        QCOMPARE(frontPanel().panel(3), u"LTC: no answer"_s);
        answer("+60", "+20");
        pass(10);
        const QList<QByteArray> lines = bytes().split('\n');
        QVERIFY2(lines.value(1).endsWith(";;\r"), bytes().constData());
        QVERIFY2(lines.value(2).endsWith(";60;20\r"), bytes().constData());
        QVERIFY(!CooldownLog::state().readings[1].temperature && CooldownLog::state().readings[2].temperature);
    }

    void whatIsNoTemperatureLeavesAnEmptyField_data()
    {
        QTest::addColumn<QByteArray>("temperature");
        QTest::addColumn<QByteArray>("setpoint");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("garbage") << QByteArray("#?!") << QByteArray("20") << QByteArray("2026-03-01 07:05:10;;\r\n");
        QTest::newRow("overload") << QByteArray("+000.000") << QByteArray("20") << QByteArray("2026-03-01 07:05:10;;\r\n");
        QTest::newRow("line end alone") << QByteArray() << QByteArray("20") << QByteArray("2026-03-01 07:05:10;;\r\n");
        QTest::newRow("setpoint 0") << QByteArray("4.2") << QByteArray("0") << QByteArray("2026-03-01 07:05:10;4.2;0\r\n");
        QTest::newRow("small") << QByteArray("+0.0512") << QByteArray("0.05") << QByteArray("2026-03-01 07:05:10;0.0512;0.05\r\n");
    }
    void whatIsNoTemperatureLeavesAnEmptyField()
    {
        QFETCH(QByteArray, temperature);
        QFETCH(QByteArray, setpoint);
        QFETCH(QByteArray, line);
        answer(temperature, setpoint);
        CooldownLog::Start();
        pass(1);
        QCOMPARE(bytes(), line);
    }

    void aSetpointThatIsNotAnsweredLeavesItsFieldEmpty()
    {
        m_device->clearRules();
        m_device->answer("KRDG?\r\n", "77.2\r\n");
        CooldownLog::Start();
        pass(1);
        QCOMPARE(bytes(), QByteArray("2026-03-01 07:05:10;77.2;\r\n"));
    }

    void everyModelIsAskedInItsOwnWords_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("330") << int(modLTC::LakeShore330) << QByteArray("SDAT?\r\nSETP?\r\n");
        QTest::newRow("331") << int(modLTC::LakeShore331) << QByteArray("KRDG?\r\nSETP? 1\r\n");
        QTest::newRow("331 as 330") << int(modLTC::LakeShore331As330) << QByteArray("SDAT?\r\nSETP?\r\n");
        QTest::newRow("DRC-91CA") << int(modLTC::DRC91CA) << QByteArray("WS\r\nWP\r\n");
        QTest::newRow("DRC-81C") << int(modLTC::DRC81C) << QByteArray("WS\r\nWP\r\n");
    }
    void everyModelIsAskedInItsOwnWords()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, sent);
        configuration().ltc.modelCode = model;
        m_device->clearRules();
        m_device->answerBy([](const QByteArray& written) {
            return written.endsWith("\r\n") ? QList<ScriptedDevice::Chunk>{{"+234.50K\r\n"}} : QList<ScriptedDevice::Chunk>();
        });
        CooldownLog::Start();
        pass(1);
        QCOMPARE(takeSent(), sent);
        QCOMPARE(bytes(), QByteArray("2026-03-01 07:05:10;234.5;234.5\r\n"));
    }

    void whileSomebodyElseTalksNothingIsAskedOrWritten_data()
    {
        QTest::addColumn<int>("who");
        QTest::newRow("a temperature entry") << 0;
        QTest::newRow("a profile") << 1;
        QTest::newRow("an exchange on the line") << 2;
    }
    void whileSomebodyElseTalksNothingIsAskedOrWritten()
    {
        QFETCH(int, who);
        std::optional<Exchange> exchange;
        const auto set = [&](bool on) {
            if (who < 2)
                pretendRunning(who == 0 ? Operations::temperature : Operations::profile, on);
            else if (on)
                exchange.emplace(modCOM::TCComm());
            else
                exchange.reset();
        };
        CooldownLog::Start();
        pass(1);
        const QByteArray before = bytes();
        takeSent();
        set(true);
        pass(25);
        QCOMPARE(takeSent(), QByteArray());
        QCOMPARE(bytes(), before);
        set(false);
        pass(5);
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\nSETP? 1\r\n"));
        QCOMPARE(bytes().count('\n'), 2);
    }

    void aWaitForATemperatureIsLoggedWithoutAsking()
    {
        CooldownLog::Start();
        answer("+080.500", "+077.000");
        m_clock->at(15000, [this] { answer("", ""); });
        m_clock->at(25000, [this] { answer("+077.000", "+077.000"); });
        pretendRunning(Operations::temperature);
        QSignalSpy changed(&CooldownLog::notifier(), &CooldownLog::Notifier::changed);
        QCOMPARE(modLTC::LTCWaitUntilThere(77), qint16(0));
        QCOMPARE(changed.count(), bytes().count('\n')); // the window is told of each line
        const QByteArray sent = takeSent();
        QCOMPARE(sent.count("KRDG?\r\n") * 7, sent.size());
        const QList<QByteArray> lines = bytes().split('\n');
        QVERIFY(lines.size() >= 3);
        QCOMPARE(lines.at(0), QByteArray("2026-03-01 07:05:09;80.5;77\r"));
        QCOMPARE(lines.at(1), QByteArray("2026-03-01 07:05:09;;\r"));
        pretendRunning(Operations::temperature, false);
        answer("+077.200", "+77.000");
        pass(10);
        QVERIFY(takeSent().startsWith("KRDG?\r\nSETP? 1\r\n"));
    }

    void anEntrysExchangeIsNotCutByTheLog()
    {
        // The pauses around a command are part of the conversation, too.
        configuration().ltc.line.txDelay = 8;
        CooldownLog::Start();
        pretendRunning(Operations::temperature);
        float temperature = 0;
        QCOMPARE(modLTC::LTCGetTemperature(temperature), qint16(0));
        QCOMPARE(temperature, 77.2F);
        QVERIFY(m_clock->elapsed() > 15000);
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\n"));
        QCOMPARE(bytes(), QByteArray());
    }

    void aReadingLongerThanTheIntervalIsNotCutByTheNext()
    {
        configuration().ltc.logInterval = 1;
        configuration().ltc.line.txDelay = 0.8F;
        CooldownLog::Start();
        pass(1);
        QByteArray sent = takeSent();
        QCOMPARE(sent, QByteArray("KRDG?\r\nSETP? 1\r\n"));
        QCOMPARE(bytes().count('\n'), 1);
        pass(1);
        sent = takeSent();
        QCOMPARE(sent, QByteArray("KRDG?\r\nSETP? 1\r\n"));
    }

    void aReplyOfTheGoniometerIsWaitedForFirst()
    {
        m_goniometer->plugInto(modCOM::MCComm());
        modCOM::RxTimer().setInterval(50);
        CooldownLog::Start();
        pass(1);
        takeSent();
        modCOM::smcReception().waiting = true;
        pass(12);
        QCOMPARE(takeSent(), QByteArray());
        m_goniometer->send("S1:0\r\n");
        m_clock->advance(300);
        QCOMPARE(modCOM::smcReception().receiveText, u"S1:0\r\n"_s);
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\nSETP? 1\r\n"));
        QCOMPARE(bytes().count('\n'), 2);
    }

    void theLogIsNotStarvedByOneReplyAfterTheOther()
    {
        m_goniometer->plugInto(modCOM::MCComm());
        modCOM::RxTimer().setInterval(50);
        CooldownLog::Start();
        // As the ratemeter: the next wait begins in the moment in which a reply is complete.
        for (int round = 0; round < 30; ++round) {
            modCOM::smcReception().waiting = true;
            m_goniometer->send("C:1\r\n", 900);
            while (modCOM::smcReception().waiting)
                m_clock->advance(1);
            QVERIFY(modCOM::smcReception().receiveText.endsWith(u"C:1\r\n"_s));
        }
        QVERIFY2(bytes().count('\n') >= 2, bytes().constData());
    }

    void withinAReadingTheGoniometerIsUnderstood()
    {
        m_clock.reset(); // timers as the program has them
        m_goniometer->plugInto(modCOM::MCComm());
        modCOM::RxTimer().setInterval(20);
        bool understood = false;
        m_device->clearRules();
        m_device->answerBy([&](const QByteArray& written) {
            if (written.endsWith("SETP? 1\r\n"))
                understood = !modCOM::smcReception().waiting && modCOM::smcReception().receiveText.endsWith(u"S1:128\r\n"_s);
            else if (!written.endsWith("KRDG?\r\n"))
                return QList<ScriptedDevice::Chunk>();
            else
                m_goniometer->send("S1:128\r\n"); // the answer to an abort, for example
            return QList<ScriptedDevice::Chunk>{{"77\r\n", 400}};
        });
        CooldownLog::Start();
        modCOM::smcReception().waiting = true;
        modTools::Delay(0.1F, true); // the first reading falls into this wait and is put off
        QVERIFY(takeSent().isEmpty());
        m_goniometer->send("S1:0\r\n");
        QTRY_COMPARE_WITH_TIMEOUT(bytes().count('\n'), 1, 10000);
        QVERIFY(understood);
    }

    void whileAScanIsMeasuredTheLogGoesOn()
    {
        CooldownLog::Start();
        pretendRunning(Operations::scan);
        frontPanel().refreshEntries();
        QVERIFY(frontPanel().isEntryEnabled(logEntry));
        modTools::Delay(35, true);
        QCOMPARE(bytes().count('\n'), 4);
    }

    void theEndOfAReadingIsTold()
    {
        QSignalSpy ended(&CooldownLog::notifier(), &CooldownLog::Notifier::readingEnded);
        bool during = false;
        CooldownLog::Start();
        m_clock->onRound = [&] { during = during || CooldownLog::state().reading; };
        pass(1);
        QVERIFY(during);
        QVERIFY(!CooldownLog::state().reading);
        QCOMPARE(ended.size(), 1);
    }

    void stoppingInTheMiddleOfAReadingThrowsItAway()
    {
        CooldownLog::Start();
        m_clock->onRound = [] {
            if (CooldownLog::state().reading)
                CooldownLog::Stop();
        };
        pass(20);
        QCOMPARE(takeSent(), QByteArray("KRDG?\r\n"));
        QCOMPARE(bytes(), QByteArray());
        QVERIFY(!CooldownLog::state().running && !CooldownLog::state().reading);
    }

    void aReadingOfAnEarlierLogDoesNotComeIntoTheNext()
    {
        CooldownLog::Start();
        bool once = true;
        m_clock->onRound = [&once] {
            if (!CooldownLog::state().reading || !once)
                return;
            once = false;
            CooldownLog::Stop();
            CooldownLog::Start();
        };
        pass(1);
        QCOMPARE(files().size(), 2);
        QCOMPARE(bytes(files()[0]), QByteArray());
        pass(10);
        QVERIFY2(bytes(files()[1]).endsWith(";77.2;77\r\n"), bytes(files()[1]).constData());
    }

    void aFullDiskIsToldOnceAndNothingIsLost()
    {
        CooldownLog::Start();
        pass(1);
        {
            const SmallDisk disk(40); // cuts the second line
            m_prompts->expect(u"Cooldown log"_s, u"Error # 61 caused by LogCooldown()\r\nDisk full"_s).withIcon(Prompts::Icon::Exclamation);
            pass(40);
            QVERIFY(m_prompts->allShown());
            QCOMPARE(bytes(), QByteArray("2026-03-01 07:05:10;77.2;77\r\n"));
            QCOMPARE(CooldownLog::state().lines.size(), 5);
            QCOMPARE(CooldownLog::state().error.number, int(ProgramError::DiskFull));
            QVERIFY(CooldownLog::state().running);
        }
        pass(10);
        QVERIFY(!CooldownLog::state().error);
        QCOMPARE(bytes(), CooldownLog::state().lines.join(u"\r\n"_s).toLatin1() + "\r\n");
        QCOMPARE(bytes().count('\n'), 6);
    }

    void aFullDiskDoesNotHoldUpAScan()
    {
        CooldownLog::Start();
        pass(1);
        const SmallDisk disk(40);
        pretendRunning(Operations::scan);
        pass(60);
        QVERIFY(m_prompts->messages.isEmpty());
        pretendRunning(Operations::scan, false);
        m_prompts->expect(u"Cooldown log"_s, u"Error # 61 caused by LogCooldown()\r\nDisk full"_s);
        pass(2);
    }

    void whatTheDiskDidNotTakeIsWrittenAtTheEnd()
    {
        CooldownLog::Start();
        pass(1);
        pretendRunning(Operations::scan);
        {
            const SmallDisk disk(40);
            pass(10);
            QCOMPARE(bytes().count('\n'), 1);
        }
        CooldownLog::Stop();
        QCOMPARE(bytes().count('\n'), 2);
        pretendRunning(Operations::scan, false);
        pass(5); // all is well: no box
    }

    void afterTheDiskHadRoomAgainTheNextFailureIsTold()
    {
        CooldownLog::Start();
        pass(1);
        for (int i = 0; i < 2; ++i) {
            {
                const SmallDisk disk(30);
                m_prompts->expect(u"Cooldown log"_s, u"Error # 61 caused by LogCooldown()\r\nDisk full"_s);
                pass(20);
                QVERIFY(m_prompts->allShown());
            }
            pass(10);
            QVERIFY(!CooldownLog::state().error);
        }
        QCOMPARE(bytes().count('\n'), 7);
    }

    void aWorkDirectoryThatIsGoneStartsNothing()
    {
        configuration().general.workDir = m_directory->filePath(u"gone"_s);
        m_prompts->expect(u"Cooldown log"_s, u"Error # 76 caused by LogCooldown()\r\nPath not found"_s)
            .withIcon(Prompts::Icon::Exclamation);
        CooldownLog::mnuLTCLogCooldown();
        QVERIFY(!CooldownLog::state().running);
        QCOMPARE(frontPanel().entryCaption(logEntry), u"Log Cooldown"_s);
        pass(30);
        QCOMPARE(takeSent(), QByteArray());
        QCOMPARE(files(), QStringList());
    }

    void theEndOfTheProgramEndsAReading()
    {
        CooldownLog::Start();
        m_clock->onRound = [] {
            if (CooldownLog::state().reading)
                flags().closing = true;
        };
        pass(1);
        QCOMPARE(bytes(), QByteArray());
        takeSent();
        pass(30);
        QCOMPARE(takeSent(), QByteArray());
    }

    void theTimeOfThePlotGoesOnAcrossTheWrapOfTheCounter()
    {
        m_clock->now = 0xFFFFFFFF - 15000;
        CooldownLog::Start();
        pass(31);
        const QList<CooldownLog::Reading>& readings = CooldownLog::state().readings;
        QCOMPARE(readings.size(), 4);
        QVERIFY2(qAbs(readings[3].elapsed - 30) < 0.5, qPrintable(QString::number(readings[3].elapsed)));
    }
};

QTEST_GUILESS_MAIN(TestCooldown)
#include "tst_cooldown.moc"
