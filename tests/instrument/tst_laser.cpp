// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "DeviceBench.h"
#include "LaserController.h"

#include <QTest>

#include <cmath>

namespace {

using Bench = DeviceBench<lab::LaserController>;
constexpr double room = lab::roomTemperature - 273.15;

} // namespace

class TestLaser : public QObject
{
    Q_OBJECT

private slots:
    void registersAreWrittenAndRead();
    void aLineEndsWithCarriageReturnAlone();
    void whatCannotBeDoneIsAnError_data();
    void whatCannotBeDoneIsAnError();
    void theSampleIsHeatedByTheCurrentWhileTheBeamIsOn();
    void theSampleTakesItsTime();
    void theBeamOffLetsItCool();
    void thePeakMovesWithTheCurrent();
    void switchedOffAndOnTheBeamIsOff();
    void aCommandIsIgnoredLostOrReadBackWrong();
    void nobodySwitchesTheBeamOnAgain();
    void errorAnswersObeyNothing();
    void theHeatDoesNotDependOnWhenSomebodyLooks();
};

void TestLaser::registersAreWrittenAndRead()
{
    Bench bench;
    QCOMPARE(bench.say(":r 12\r"), QByteArray(":0\r\n"));
    QCOMPARE(bench.say(":w 12 1\r"), QByteArray(":ok\r\n"));
    QCOMPARE(bench.say(":r 12\r"), QByteArray(":1\r\n"));
    QCOMPARE(bench.say(":w 30 1.5\r"), QByteArray(":ok\r\n"));
    QCOMPARE(bench.say(":r 30\r"), QByteArray(":1.5000\r\n"));
    QCOMPARE(bench.say(":w 12 0\r:r 12\r"), QByteArray(":ok\r\n:0\r\n"));
    QCOMPARE(bench.say(":w 30 3\r"), QByteArray(":ok\r\n"));
}

void TestLaser::aLineEndsWithCarriageReturnAlone()
{
    Bench bench;
    QCOMPARE(bench.say(":r 12\n"), QByteArray());
    QCOMPARE(bench.say("\r"), QByteArray(":0\r\n"));
    QByteArray answer;
    for (const char byte : QByteArray(":w 12 1\r"))
        answer += bench.say(QByteArray(1, byte));
    QCOMPARE(answer, QByteArray(":ok\r\n"));
    QCOMPARE(bench.say("\r\r"), QByteArray());
}

void TestLaser::whatCannotBeDoneIsAnError_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char* line : {":w 30 1,5", ":w 30 3.1", ":w 30 -1", ":w 30", ":w 30 x", ":w 30 nan", ":w 12 2", ":w 12 0.5", ":r", ":r 13",
                             "r 12", "x", ":w 30 1 2"})
        QTest::newRow(line) << QByteArray(line);
    QTest::newRow("endless") << QByteArray(100'000, ':');
}

void TestLaser::whatCannotBeDoneIsAnError()
{
    QFETCH(QByteArray, line);
    Bench bench;
    QCOMPARE(bench.say(line + '\r'), QByteArray(":error\r\n"));
    QCOMPARE(bench.say(":r 12\r:r 30\r"), QByteArray(":0\r\n:0.0000\r\n"));
}

void TestLaser::theSampleIsHeatedByTheCurrentWhileTheBeamIsOn()
{
    Bench bench;
    bench.say(":w 30 1.5\r");
    bench.after(600.0);
    QVERIFY(std::abs(bench.device.celsius() - room) < 0.1);
    bench.say(":w 12 1\r");
    bench.after(600.0);
    QVERIFY2(std::abs(bench.device.celsius() - (room + 750.0)) < 0.1, qPrintable(QString::number(bench.device.celsius())));
    QCOMPARE(bench.laboratory.sampleTemperature(bench.clock.now()), bench.device.celsius() + 273.15);
}

void TestLaser::theSampleTakesItsTime()
{
    Bench bench;
    bench.say(":w 30 1\r:w 12 1\r");
    bench.after(lab::LaserController::timeConstant);
    const double share = (bench.device.celsius() - room) / 500.0;
    QVERIFY2(std::abs(share - 0.632) < 0.02, qPrintable(QString::number(share)));
}

void TestLaser::theBeamOffLetsItCool()
{
    Bench bench;
    bench.say(":w 30 1\r:w 12 1\r");
    bench.after(600.0);
    bench.say(":w 12 0\r");
    bench.after(120.0);
    QVERIFY(std::abs(bench.device.celsius() - room) < 0.1);
}

void TestLaser::thePeakMovesWithTheCurrent()
{
    Bench bench;
    const double strongest = 26.64;
    const double before = bench.countsAt(strongest, 10.0);
    bench.say(":w 30 1\r:w 12 1\r");
    const double after = bench.countsAt(strongest, 10.0);
    QVERIFY2(after < before / 2.0, qPrintable(QString::number(after / before))); // the line has moved away
    bench.say(":w 12 0\r");
    const double back = bench.countsAt(strongest, 10.0);
    QVERIFY2(std::abs(back / before - 1.0) < 0.05, qPrintable(QString::number(back / before)));
}

void TestLaser::switchedOffAndOnTheBeamIsOff()
{
    Bench bench({{.kind = lab::FaultKind::powerCycle, .after = 3}});
    bench.say(":w 30 1\r:w 12 1\r:r 12\r");
    QCOMPARE(bench.say(":r 12\r:r 30\r"), QByteArray(":0\r\n:0.0000\r\n"));
}

void TestLaser::nobodySwitchesTheBeamOnAgain()
{
    Bench bench({{.kind = lab::FaultKind::off, .inSeconds = false, .after = 2, .lasting = 5.0}});
    QCOMPARE(bench.say(":w 30 1\r:w 12 1\r:r 12\r"), QByteArray(":ok\r\n:ok\r\n"));
    bench.after(5.0);
    QCOMPARE(bench.say(":r 12\r:r 30\r"), QByteArray(":0\r\n:0.0000\r\n"));
}

void TestLaser::errorAnswersObeyNothing()
{
    Bench bench({{.kind = lab::FaultKind::errorAnswer, .lasting = 3}});
    QCOMPARE(bench.say(":w 30 1\r:w 12 1\r:r 12\r"), QByteArray(":error\r\n:error\r\n:error\r\n"));
    QCOMPARE(bench.say(":r 12\r:r 30\r"), QByteArray(":0\r\n:0.0000\r\n"));
}

void TestLaser::theHeatDoesNotDependOnWhenSomebodyLooks()
{
    QList<double> temperatures;
    for (const int steps : {1, 700}) {
        Bench bench;
        bench.say(":w 30 2\r:w 12 1\r");
        for (int i = 0; i < steps; ++i)
            bench.after(14.0 / steps);
        temperatures += bench.device.celsius();
    }
    QCOMPARE(temperatures[1], temperatures[0]);
}

void TestLaser::aCommandIsIgnoredLostOrReadBackWrong()
{
    Bench ignoring({*lab::parseFault("ignore::w 12")});
    QCOMPARE(ignoring.say(":w 12 1\r"), QByteArray());
    QCOMPARE(ignoring.say(":r 12\r"), QByteArray(":0\r\n"));
    Bench losing({*lab::parseFault("lose::w 12")});
    QCOMPARE(losing.say(":w 12 1\r"), QByteArray());
    QCOMPARE(losing.say(":r 12\r"), QByteArray(":1\r\n"));
    Bench wrong({*lab::parseFault("wrong-readback")});
    QCOMPARE(wrong.say(":w 30 1.5\r:r 30\r:r 12\r"), QByteArray(":ok\r\n:8.5000\r\n:1\r\n"));
}

QTEST_GUILESS_MAIN(TestLaser)
#include "tst_laser.moc"
