// SPDX-License-Identifier: GPL-3.0-or-later
//
// scan-cli ratemeter.

#include "LabConsole.h"

#include <QTest>

class tst_ratemeter : public QObject
{
    Q_OBJECT

private slots:
    void theRateIsShownReadingByReading_data()
    {
        QTest::addColumn<QByteArray>("time");
        QTest::newRow("short") << QByteArray("0.5");
        QTest::newRow("longer than MCRxTimeout") << QByteArray("5");
    }
    void theRateIsShownReadingByReading()
    {
        QFETCH(QByteArray, time);
        LabConsole lab("--generator");
        lab.configure(QStringLiteral("smc"), QStringLiteral("MCRxTimeout"), QStringLiteral("2"));
        QCOMPARE(lab.run("generator shutter open"), 0);
        const QByteArray said = lab.said(("ratemeter --readings 3 --time " + time).constData());
        QList<QByteArray> lines = said.split('\n');
        QVERIFY2(lines.size() == 4 && lines.takeLast() == "|", said.constData());
        for (const QByteArray& line : lines) {
            QVERIFY2(line.endsWith(" counts per second"), said.constData());
            QVERIFY2(line.left(line.indexOf(' ')).toInt() > 0, said.constData());
        }
    }

    void aCountThatDoesNotComeIsSaid()
    {
        LabConsole lab("--generator --fault smc/silent:11");
        const QByteArray said = lab.said("ratemeter --readings 2 --time 0.5", 1);
        QVERIFY2(said.endsWith("0 counts per second (no answer)\n0 counts per second (no answer)\n|"), said.constData());
    }

    void ctrlCEndsIt()
    {
        LabConsole lab("--generator");
        lab.cli.whenSays("counts per second", [&lab] { lab.cli.interrupt(); });
        lab.forget();
        QCOMPARE(lab.run("ratemeter --time 0.5"), 3);
        QVERIFY(lab.received(QStringLiteral("SMC")).endsWith(QStringLiteral("Q;|Q;|BEEPON;")));
        QCOMPARE(lab.run("status"), 0);
    }
};

QTEST_GUILESS_MAIN(tst_ratemeter)
#include "tst_ratemeter.moc"
