// SPDX-License-Identifier: GPL-3.0-or-later
//
// The power fails in the middle of a profile run, and one command goes on with it.

#include "Profiles.h"

using namespace programs;
using namespace Qt::StringLiterals;

class tst_profilekilled : public QObject
{
    Q_OBJECT

private slots:
    void oneCommandGoesOn_data()
    {
        QTest::addColumn<QByteArray>("told");   // killed when the program has said this,
        QTest::addColumn<QByteArray>("traced"); // or this has gone over the lines twice, or stands in the state file
        QTest::addColumn<int>("leastAgain");    // scans that the second run measures
        QTest::addColumn<int>("mostAgain");
        QTest::newRow("before the first scan is over") << QByteArray("1 of 2: 290 K, measuring") << QByteArray() << 2 << 2;
        QTest::newRow("waiting") << QByteArray("2 of 2: 270 K, settling") << QByteArray() << 1 << 1;
        QTest::newRow("dwelling") << QByteArray("2 of 2: 270 K, dwelling") << QByteArray() << 1 << 1;
        QTest::newRow("counting") << QByteArray() << QByteArray("SMC <- <cr><lf>START:;") << 1 << 1;
        QTest::newRow("reading the counts") << QByteArray() << QByteArray("SMC <- <cr><lf>?CNT;") << 1 << 1;
        QTest::newRow("saving") << QByteArray("2 of 2: 270 K, saving") << QByteArray() << 0 << 1;
        QTest::newRow("just saved") << QByteArray("2 of 2: 270 K, done") << QByteArray() << 0 << 1;
        QTest::newRow("setting back") << QByteArray() << QByteArray("done=2") << 0 << 0;
    }

    void oneCommandGoesOn()
    {
        QFETCH(QByteArray, told);
        QFETCH(QByteArray, traced);
        QFETCH(int, leastAgain);
        QFETCH(int, mostAgain);
        const QTemporaryDir traces;
        const QString traceFile = traces.filePath(u"trace"_s);
        const Instrument instrument({u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s, u"--trace"_s, traceFile});
        QVERIFY(instrument.running);
        // The way back is two lines for the controller: long enough to be cut only when there are pauses between them.
        const bool settingBack = traced.startsWith("done=");
        shortenScans(instrument, "LTC", settingBack ? "ResetAfterTempRun=1\nTxDelay=0.3" : "ResetAfterTempRun=1");
        store(instrument.path(u"p.gtp"_s), "T1:290;E:6;\r\nT1:270;DW:1;E:12;\r\n");
        const auto trace = [&traceFile] {
            QFile file(traceFile);
            return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        };
        ScanCli first;
        first.startOn(instrument, runWords(instrument));
        const bool reached = told.isEmpty() ? first.waitUntil([&] {
            if (settingBack)
                return instrument.read(u"p.gtp.state"_s).contains(traced);
            return trace().count(traced) >= 2;
        })
                                            : first.says(told);
        QVERIFY2(reached, first.err.constData());
        first.process.kill();
        QVERIFY(first.process.waitForFinished(patience));
        QTRY_COMPARE_WITH_TIMEOUT(trace().count("-- line left"), 2, patience);
        QVERIFY(QFile::exists(instrument.path(u"p.gtp.state"_s)));
        QHash<QString, QByteArray> saved;
        for (const QString& name : scansIn(instrument))
            saved.insert(name, instrument.read(name));

        ScanCli second;
        const int status = second.runOn(instrument, runWords(instrument) + QStringList{u"--resume"_s});
        QVERIFY2(status == 0, second.err.constData());
        const qsizetype again = second.out.count("Saved: ");
        QVERIFY2(again >= leastAgain && again <= mostAgain, second.out.constData());
        for (auto file = saved.cbegin(); file != saved.cend(); ++file)
            QCOMPARE(instrument.read(file.key()), file.value());
        const QStringList scans = scansIn(instrument);
        QCOMPARE(scans.size(), saved.size() + again);
        QVERIFY(scans.size() >= 2 && scans.size() <= 3);
        for (const QString& name : scans)
            QVERIFY2(strongestPeak(instrument, name) > 26.4, qPrintable(name));
        QVERIFY(!QFile::exists(instrument.path(u"p.gtp.state"_s)));
    }
};

QTEST_GUILESS_MAIN(tst_profilekilled)
#include "tst_profilekilled.moc"
