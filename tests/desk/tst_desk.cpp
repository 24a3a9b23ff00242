// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/DeskCli.h"
#include "ui/LabWindow.h"

#include "core/ScanData.h"
#include "core/modTools.h"
#include "serial/modCOM.h"

#include <QElapsedTimer>
#include <QProcess>

/// The desk that the tests of whole programs stand on: its time, its lines, and how it ends tests that fail.
class TestDesk : public QObject
{
    Q_OBJECT

    static QByteArray profileTrace()
    {
        DeskLab lab;
        if (!lab.start({QStringLiteral("--ltc"), QStringLiteral("331")}))
            return {};
        lab.configure(QStringLiteral("General"), QStringLiteral("ScanStart"), QStringLiteral("26"));
        lab.configure(QStringLiteral("General"), QStringLiteral("ScanStop"), QStringLiteral("27"));
        QFile profile(lab.path(QStringLiteral("p.gtp")));
        if (!profile.open(QIODevice::WriteOnly) || profile.write("T1:295;T2:285;DT:5;DW:10;\r\n") < 0)
            return {};
        profile.close();
        DeskCli cli(lab);
        const int status = cli.run({QStringLiteral("profile"), QStringLiteral("run"), lab.path(QStringLiteral("p.gtp")),
                                    QStringLiteral("--name"), QStringLiteral("Quartz"), QStringLiteral("--yes")});
        return QByteArray::number(status) + '\n' + QByteArray::number(lab.desk.elapsed()) + '\n' + lab.trace();
    }

private slots:
    void timePassesOnlyWhenTheProgramHasNothingToDo()
    {
        resetAll();
        Desk desk;
        QList<double> moments;
        modTools::Timer tick("tick");
        tick.setInterval(250);
        connect(&tick, &modTools::Timer::tick, this, [&] { moments << desk.elapsed(); });
        tick.setEnabled(true);
        desk.after(0.6, [&] { moments << -desk.elapsed(); });
        modTools::Delay(1, true);
        QCOMPARE(moments, (QList<double>{0.25, 0.5, -0.6, 0.75, 1}));
        QCOMPARE(desk.elapsed(), 1.0);
        QVERIFY2(desk.rounds() < 20, qPrintable(QString::number(desk.rounds())));
    }

    void theHandActsBeforeTimeMoves()
    {
        resetAll();
        Desk desk;
        double at = -1;
        bool ready = false;
        desk.after(2, [&] { ready = true; });
        desk.when([&] { return ready; }, [&] { at = desk.elapsed(); });
        QVERIFY(desk.until([&] { return at >= 0; }, 10));
        QCOMPARE(at, 2.0);
        QVERIFY(!desk.until([] { return false; }, 5));
        QCOMPARE(desk.elapsed(), 7.0);
    }

    void theDateFollowsTheSameClock()
    {
        Desk desk;
        const QDateTime before = modTools::currentDateTime();
        desk.pass(90);
        QCOMPARE(before.secsTo(modTools::currentDateTime()), 90);
    }

    void aByteTakesItsTimeOnTheLine()
    {
        DeskLab lab;
        QVERIFY(lab.start());
        modCOM::MCComm().deviceText = QStringLiteral("desk:smc-line");
        QCOMPARE(modCOM::MCComm().open(), SerialChannel::OpenResult::Open);
        const double before = lab.desk.elapsed();
        modCOM::MCComm().output(QStringLiteral("\r\n?S1;"));
        QCOMPARE(modCOM::MCComm().device()->bytesToWrite(), 6);
        QVERIFY(lab.desk.until([] { return modCOM::smcReception().receiveText.endsWith(u'\n'); }, 5));
        QCOMPARE(modCOM::smcReception().receiveText, QStringLiteral("S1:128\r\n"));
        // Eight characters at 9600 baud.
        const double took = lab.desk.elapsed() - before;
        QVERIFY2(took >= 0.008 && took < 0.08, qPrintable(QString::number(took)));
    }

    void whatIsNotYetSentIsLostWhenTheLineIsClosed()
    {
        DeskLab lab;
        QVERIFY(lab.start());
        modCOM::MCComm().deviceText = QStringLiteral("desk:smc-line");
        QCOMPARE(modCOM::MCComm().open(), SerialChannel::OpenResult::Open);
        modCOM::MCComm().output(QStringLiteral("\r\n?S1;"));
        modCOM::MCComm().close();
        lab.desk.pass(1);
        QCOMPARE(lab.received(QStringLiteral("SMC")), QString());
        QVERIFY(lab.trace().contains("SMC -- line opened") && lab.trace().contains("SMC -- line left"));
    }

    void aLineThatHangsUpReturns()
    {
        LabWindow bench;
        QVERIFY(bench.bringUp({QStringLiteral("--fault"), QStringLiteral("smc/hang-up-and-return:5s")}, 1));
        bench.hand.expect(QStringLiteral("SMC"), {}, QStringLiteral("OK"));
        QVERIFY(bench.desk().until([] { return modCOM::MCComm().isDown(); }, 60));
        QVERIFY(bench.desk().until([] { return modCOM::MCComm().isOpen(); }, 60));
        QVERIFY2(bench.hand.complaint().isEmpty(), qPrintable(bench.hand.complaint()));
    }

    void anAnswerFallsIntoTheInstantInWhichABoxOpens()
    {
        LabWindow bench;
        QVERIFY(bench.bringUp({}));
        double asked = -1;
        bench.hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("Cancel"),
                          [&](QMessageBox*) { asked = bench.desk().elapsed(); });
        bench.choose(Menu::Entry::mnuMeasStartAcquisition);
        QCOMPARE(bench.desk().elapsed(), asked);
    }

    void everyRunIsTheSame()
    {
        const QByteArray first = profileTrace();
        QVERIFY2(first.startsWith("0\n"), first.left(2000).constData());
        QVERIFY(first.contains("SETP 1, 290"));
        for (int i = 0; i < 3; ++i)
            QVERIFY(profileTrace() == first);
    }

    void aTestThatFailsEndsAtOnce_data()
    {
        QTest::addColumn<QByteArray>("what");
        QTest::newRow("inABox") << QByteArray("'false' returned FALSE");
        QTest::newRow("inAWait") << QByteArray("'false' returned FALSE");
        QTest::newRow("inABoxThatNobodyAnswers") << QByteArray("longer than the desk's limit");
        QTest::newRow("inAWaitThatDoesNotEnd") << QByteArray("longer than the desk's limit");
        QTest::newRow("byAWarning") << QByteArray("nobody expects this");
    }
    void aTestThatFailsEndsAtOnce()
    {
        QFETCH(QByteArray, what);
        QProcess process;
        process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/desk_failing"),
                      {QString::fromLatin1(QTest::currentDataTag())});
        QVERIFY(process.waitForFinished(60000));
        const QByteArray said = process.readAllStandardOutput();
        QVERIFY2(process.exitStatus() == QProcess::NormalExit && process.exitCode() == 1, said.constData());
        QVERIFY2(said.contains("FAIL!") && said.contains(what), said.constData());
    }
};

QTEST_MAIN(TestDesk)
#include "tst_desk.moc"
