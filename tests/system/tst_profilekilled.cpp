// SPDX-License-Identifier: GPL-3.0-or-later
//
// The power fails in the middle of a profile run, and one command goes on with it.

#include "Profiles.h"

#include <QHash>

using namespace profiles;
using namespace Qt::StringLiterals;

class tst_profilekilled : public QObject
{
    Q_OBJECT

private slots:
    void oneCommandGoesOn_data()
    {
        // When the power fails, and what is left to do then.
        QTest::addColumn<QByteArray>("told");   // when the program has said this,
        QTest::addColumn<QByteArray>("traced"); // or this has gone over the lines twice,
        QTest::addColumn<QByteArray>("stored"); // or this stands in the state file
        QTest::addColumn<int>("leastAgain");    // scans that the second run measures
        QTest::addColumn<int>("mostAgain");
        const QByteArray none;
        QTest::newRow("before the first scan is over") << "1 of 2: 290 K, measuring"_ba << none << none << 2 << 2;
        QTest::newRow("waiting") << "2 of 2: 270 K, settling"_ba << none << none << 1 << 1;
        QTest::newRow("dwelling") << "2 of 2: 270 K, dwelling"_ba << none << none << 1 << 1;
        QTest::newRow("counting") << none << "START:;"_ba << none << 1 << 1;
        QTest::newRow("reading the counts") << none << "?CNT;"_ba << none << 1 << 1;
        QTest::newRow("saving") << "2 of 2: 270 K, saving"_ba << none << none << 0 << 1;
        QTest::newRow("just saved") << "2 of 2: 270 K, done"_ba << none << none << 0 << 1;
        QTest::newRow("setting back") << none << none << "done=2"_ba << 0 << 0;
    }
    void oneCommandGoesOn()
    {
        QFETCH(QByteArray, told);
        QFETCH(QByteArray, traced);
        QFETCH(QByteArray, stored);
        QFETCH(int, leastAgain);
        QFETCH(int, mostAgain);
        DeskLab lab;
        QVERIFY(lab.start({u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s}));
        shortenScans(lab);
        lab.configure(u"LTC"_s, u"ResetAfterTempRun"_s, u"1"_s);
        // The way back is two lines for the controller: long enough to be cut only when there are pauses between them.
        if (!stored.isEmpty())
            lab.configure(u"LTC"_s, u"TxDelay"_s, u"0.3"_s);
        store(lab.path(u"p.gtp"_s), "T1:290;E:6;\r\nT1:270;DW:1;E:30;\r\n");

        DeskCli first(lab);
        QString left; // what is in the directory when the power fails
        lab.desk.when(
            [&] {
                if (!told.isEmpty())
                    return first.err.contains(told);
                return stored.isEmpty() ? lab.trace().count(traced) >= 2 : lab.read(u"p.gtp.state"_s).contains(stored);
            },
            [&] {
                left = lab.copyOfDirectory();
                first.kill();
            });
        first.run(runWords(lab.path()));
        QVERIFY2(!left.isEmpty(), first.err.constData());
        QCOMPARE(lab.trace().count("-- line left"), 2);
        QVERIFY(QFile::exists(left + u"/p.gtp.state"_s));
        QHash<QString, QByteArray> saved;
        for (const QString& name : scansIn(left))
            saved.insert(name, contentOf(left + u'/' + name));

        DeskCli second(lab);
        second.programDirectory = left;
        QVERIFY2(second.run(runWords(left) + QStringList{u"--resume"_s}) == 0, second.err.constData());
        const qsizetype again = second.out.count("Saved: ");
        QVERIFY2(again >= leastAgain && again <= mostAgain, second.out.constData());
        for (auto file = saved.cbegin(); file != saved.cend(); ++file)
            QCOMPARE(contentOf(left + u'/' + file.key()), file.value());
        const QStringList scans = scansIn(left);
        QCOMPARE(scans.size(), saved.size() + again);
        QVERIFY(scans.size() >= 2 && scans.size() <= 3);
        for (const QString& name : scans)
            QVERIFY2(strongestPeak(lab, left + u'/' + name) > 26.4, qPrintable(name));
        QVERIFY(!QFile::exists(left + u"/p.gtp.state"_s));
    }
};

QTEST_GUILESS_MAIN(tst_profilekilled)
#include "tst_profilekilled.moc"
