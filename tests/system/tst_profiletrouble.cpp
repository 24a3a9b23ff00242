// SPDX-License-Identifier: GPL-3.0-or-later
//
// Profile runs in which a device or its cable fails for a while.

#include "Profiles.h"

using namespace profiles;
using namespace Qt::StringLiterals;

class tst_profiletrouble : public QObject
{
    Q_OBJECT

private slots:
    void runsInWhichSomethingGoesWrong_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<QByteArray>("met");  // what the record of the lines shows of it
        QTest::addColumn<QByteArray>("note"); // in the report
        const QByteArray smcGone = "SMC -- line closed";
        const QByteArray noNote;
        QTest::newRow("goniometer's cable pulled while the scan is started") << u"smc/hang-up-and-return:15"_s << smcGone << noNote;
        QTest::newRow("goniometer's cable pulled while it counts") << u"smc/hang-up-and-return:3s"_s << smcGone << noNote;
        QTest::newRow("goniometer's cable pulled when the counts are asked for") << u"smc/hang-up-and-return:28"_s << smcGone << noNote;
        QTest::newRow("three counts too few") << u"smc/fewer-counts"_s << QByteArray() << QByteArray("    Received 88 of 91 points.\n");
        QTest::newRow("goniometer silent for five commands") << u"smc/silent:26:5"_s << QByteArray("SMC -- silent: no answer") << noNote;
        QTest::newRow("temperature controller silent for five seconds")
            << u"ltc/silent:1s:5s"_s << QByteArray("LTC -- silent: no answer") << noNote;
        QTest::newRow("temperature controller's cable pulled")
            << u"ltc/hang-up-and-return:14"_s << QByteArray("LTC -- line closed") << noNote;
    }
    void runsInWhichSomethingGoesWrong()
    {
        QFETCH(QString, fault);
        QFETCH(QByteArray, met);
        QFETCH(QByteArray, note);
        DeskLab lab;
        QVERIFY(lab.start({u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s, u"--fault"_s, fault}));
        shortenScans(lab);
        store(lab.path(u"p.gtp"_s), "T1:290;T2:270;DT:20;E:30;");
        DeskCli cli(lab);
        // Fewer counts than points are saved, and no success.
        QVERIFY2(cli.run(runWords(lab.path())) == (note.contains("Received") ? 1 : 0), cli.err.constData());
        QCOMPARE(scansIn(lab.path()).size(), qsizetype(2));
        for (const QString& name : scansIn(lab.path())) {
            const double peak = strongestPeak(lab, lab.path(name));
            QVERIFY2(peak > 26.4 && peak < 26.8, qPrintable(u"%1: %2"_s.arg(name).arg(peak)));
        }
        QVERIFY(lab.trace().contains(met));
        QCOMPARE(lab.trace().count("SMC -- program started"), 2);
        QVERIFY2(reportIn(lab.path()).contains(note), reportIn(lab.path()).constData());
    }
};

QTEST_GUILESS_MAIN(tst_profiletrouble)
#include "tst_profiletrouble.moc"
