// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/DeskCli.h"

#include "core/Flags.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "serial/modCOM.h"

#include <QTest>

/// The process is stopped, or the machine is busy or asleep, at any of its waits: every reply lies in the port when it goes on, so no
/// device has been silent. At the delays and time-outs that the program has by itself.
class TestStopped : public QObject
{
    Q_OBJECT

    /// Runs a command, stopped once in the given round; how many rounds it took.
    struct Run
    {
        int status = -1;
        QByteArray err;
        qint64 rounds = 0;
    };
    static Run run(const QStringList& devices, const QStringList& words, qint64 stoppedIn, double seconds)
    {
        DeskLab lab;
        if (!lab.start(devices))
            return {};
        for (const auto& [section, key, value] :
             {std::tuple{"smc", "TxDelay", ".1"}, {"smc", "RxDelay", ".1"}, {"smc", "MCRxTimeout", "2"}, {"LTC", "RxTimeout", "1.5"}})
            lab.configure(QString::fromLatin1(section), QString::fromLatin1(key), QString::fromLatin1(value));
        DeskCli cli(lab);
        qint64 round = 0;
        lab.desk.onRound = [&] {
            if (++round == stoppedIn)
                lab.desk.stopProgram(seconds);
        };
        Run result;
        result.status = cli.run(words + QStringList{QStringLiteral("--yes")});
        lab.desk.onRound = {};
        result.err = cli.err;
        result.rounds = round;
        return result;
    }

private slots:
    void everyWaitIsInterrupted_data()
    {
        QTest::addColumn<QStringList>("devices");
        QTest::addColumn<QStringList>("words");
        QTest::addColumn<double>("seconds");
        const QStringList scan = QStringLiteral("acquire --start 26 --stop 26.2 --step 0.1 --time 0.5 --out s.sdf").split(u' ');
        for (double seconds : {2.5, 5.0}) {
            QTest::addRow("scan, %.1f s", seconds) << QStringList() << scan << seconds;
            QTest::addRow("low temperature, %.1f s", seconds)
                << QStringList{QStringLiteral("--ltc"), QStringLiteral("331")}
                << QStringList{QStringLiteral("ltc"), QStringLiteral("temperature")} << seconds;
            QTest::addRow("high temperature, %.1f s", seconds)
                << QStringList{QStringLiteral("--htc")} << QStringList{QStringLiteral("htc"), QStringLiteral("temperature")} << seconds;
            QTest::addRow("laser, %.1f s", seconds)
                << QStringList{QStringLiteral("--laser")} << QStringList{QStringLiteral("laser"), QStringLiteral("status")} << seconds;
            QTest::addRow("generator, %.1f s", seconds) << QStringList{QStringLiteral("--generator")}
                                                        << QStringList{QStringLiteral("generator"), QStringLiteral("status")} << seconds;
        }
    }
    void everyWaitIsInterrupted()
    {
        QFETCH(QStringList, devices);
        QFETCH(QStringList, words);
        QFETCH(double, seconds);
        const QString name = QDir::tempPath() + QStringLiteral("/stopped_%1.sdf").arg(QCoreApplication::applicationPid());
        if (words.last().endsWith(QStringLiteral(".sdf")))
            words.last() = name;
        const Run whole = run(devices, words, -1, seconds);
        QVERIFY2(whole.status == 0, whole.err.constData());
        QVERIFY(whole.rounds > 10);
        // STOPPED_ALL=1 takes every round. Otherwise: a longer stop is as good as a shorter one at most moments, and the rounds of a scan
        // are much alike.
        const bool all = qEnvironmentVariableIsSet("STOPPED_ALL");
        const qint64 step = all ? 1 : (seconds > 3 ? 7 : 1) * (words.first() == QStringLiteral("acquire") ? 5 : 1);
        for (qint64 round = 1; round <= whole.rounds; round += step) {
            const Run stopped = run(devices, words, round, seconds);
            const QByteArray where = "round " + QByteArray::number(round) + " of " + QByteArray::number(whole.rounds) + ": " + stopped.err;
            QVERIFY2(stopped.status == 0, where.constData());
            QVERIFY2(!stopped.err.contains("does not respond") && !stopped.err.contains("no answer"), where.constData());
        }
        QFile::remove(name);
    }

    void aDeviceThatIsSilentIsReportedAllTheSame()
    {
        const Run silent = run({QStringLiteral("--fault"), QStringLiteral("smc/silent")}, {QStringLiteral("status")}, 5, 2.5);
        QVERIFY2(silent.err.contains("SMC does not respond..."), silent.err.constData());
        QVERIFY(silent.status != 0);
    }
};

QTEST_GUILESS_MAIN(TestStopped)
#include "tst_stopped.moc"
