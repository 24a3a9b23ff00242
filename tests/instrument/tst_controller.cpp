// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Bench.h"

#include <QTest>

class TestController : public QObject
{
    Q_OBJECT

private slots:
    void anIdleControllerAnswersEveryQuery();
    void oneAxisAnswersForOne();
    void aCommandInPiecesIsUnderstood();
    void severalCommandsInOneWriteAreUnderstood();
    void aNewLineThrowsAwayHalfACommand();
    void nonsenseIsPassedOver_data();
    void nonsenseIsPassedOver();
    void aRunLeavesExactlyNCounts_data();
    void aRunLeavesExactlyNCounts();
    void aRunEndsWhenItsTimesAddUp();
    void aRunDoesNotDependOnWhenSomebodyLooks();
    void repetitionsAreObeyed_data();
    void repetitionsAreObeyed();
    void aMillionRepetitionsAreCountedInTime();
    void bothAxesArriveTogether();
    void movesOfTwoLinesFollowEachOther();
    void halfStepsAddUp();
    void theStatusIsBusyWhileAnAxisTurns();
    void theLimitSwitchStopsAnAxis();
    void aStopInMidCountKeepsWhatWasStored();
    void aStopInMidMoveLeavesTheAxisWhereItIs();
    void theCounterIsAnsweredWhenTheCountEnds();
    void theRatemeterLoopCountsEachRound();
    void aStoppedCountIsAnsweredAtOnce();
    void aSecondStartIsPassedOverWhileTheProgramRuns();
    void theProgramStaysUntilItIsCleared();
    void theCountsStayUntilTheyAreCleared();
    void endlessRecursionStopsTheProgram();
    void aMissingLabelStopsTheProgram();
    void theReferenceSearchGoesToZero();
    void aReferenceOffsetWorksAfterResetAndSearch();
    void theShutterOutputFollowsItsCommands();
    void theBeeperFollowsItsCommands();
    void theShutterWithoutAGeneratorHasNoInfluence();
    void aClosedShutterLeavesTheDarkRate();
    void theTubeCurrentScalesTheCounts();
    void theSameSeedGivesTheSameCounts();
    void anOldRunGoesOn();
};

void TestController::anIdleControllerAnswersEveryQuery()
{
    Bench bench({.axes = 2, .position = {5.25, 10.5}});
    QCOMPARE(bench.command("?S;"), QByteArray("S1:128 S2:128\r\n"));
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(bench.command("?S2;"), QByteArray("S2:128\r\n"));
    QCOMPARE(bench.command("?P1;"), QByteArray("P1:5.250\r\n"));
    QCOMPARE(bench.command("?P2;"), QByteArray("P2:10.500\r\n"));
    QCOMPARE(bench.command("?V;"), QByteArray("SMC 4412 V1.0 VIRTUAL\r\n"));
    QCOMPARE(bench.command("?C;"), QByteArray("0\r\n"));
    QCOMPARE(bench.command("?CNT;"), QByteArray("CEND;\r\n"));
}

void TestController::oneAxisAnswersForOne()
{
    Bench bench({.axes = 1, .position = {10.5, 0.0}});
    QCOMPARE(bench.command("?S;"), QByteArray("S1:128\r\n"));
    QCOMPARE(bench.command("?P1;"), QByteArray("P1:10.500\r\n"));
    QCOMPARE(bench.command("?V;"), QByteArray("SMC 4411 V1.0 VIRTUAL\r\n"));
    QCOMPARE(bench.command("?S2;"), QByteArray());
    QCOMPARE(bench.command("?P2;"), QByteArray());
}

void TestController::aCommandInPiecesIsUnderstood()
{
    Bench bench;
    QByteArray answer;
    for (const char byte : QByteArray("\r\n?S1;"))
        answer += bench.say(QByteArray(1, byte));
    QCOMPARE(answer, QByteArray("S1:128\r\n"));
}

void TestController::severalCommandsInOneWriteAreUnderstood()
{
    Bench bench;
    QCOMPARE(bench.say("\r\n?S1;?P1;\r\n?V;\r\n?CNT;"), QByteArray("S1:128\r\nP1:0.000\r\nSMC 4412 V1.0 VIRTUAL\r\nCEND;\r\n"));
    // a whole program line in one write
    bench.say("\r\nCLR;1:A2S500L4000B20;2:A4S500L4000B20;CNT0.1;NL;END;START:;");
    bench.after(1.2);
    QCOMPARE(bench.command("?P1;?P2;"), QByteArray("P1:2.000\r\nP2:4.000\r\n"));
    QCOMPARE(bench.counts().size(), 1);
}

void TestController::aNewLineThrowsAwayHalfACommand()
{
    Bench bench;
    QCOMPARE(bench.say("?V\r\n?S1;"), QByteArray("S1:128\r\n"));
    QVERIFY(bench.record.contains("passed over, not ended by ;: ?V"));
}

void TestController::nonsenseIsPassedOver_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* text : {"",
                             "X",
                             "?",
                             "?X",
                             "?S3",
                             "?S0",
                             "?P",
                             "?P9",
                             "?Sx",
                             "3:A1S500L4000B20",
                             "1:Ax",
                             "1:",
                             "1:A",
                             "1:0.02S",
                             "1:0.02S0",
                             "1:0.02S-5",
                             "1:nanS100",
                             "CNT",
                             "CNT-1",
                             "CNTx",
                             "CNT1e300",
                             "GSB",
                             "GSB10*",
                             "GSB10*1000001",
                             "GSB10*99999999999999999999",
                             "LIN",
                             "CA",
                             "CA3",
                             "CA0",
                             "ROFS1",
                             "ROFS9:1",
                             "ROFS1:x",
                             "cnt1",
                             "START:1",
                             "1:0.02S1500L",
                             "1:A1S500L4000B"})
        QTest::newRow(*text == '\0' ? "empty" : text) << QByteArray(text);
    QTest::newRow("endless") << QByteArray(5000, 'A');
    QTest::newRow("binary") << QByteArray("\x00\xff\x80\x01", 4);
}

void TestController::nonsenseIsPassedOver()
{
    QFETCH(QByteArray, text);
    Bench bench;
    QCOMPARE(bench.command(text + ";"), QByteArray());
    QVERIFY2(bench.record.contains("passed over") || bench.record.contains("too long"), bench.record.constData());
    bench.command("START:;"); // nothing of it was stored: the program is empty and ends at once
    QCOMPARE(bench.command("?S;?P1;?CNT;"), QByteArray("S1:128 S2:128\r\nP1:0.000\r\nCEND;\r\n"));
}

void TestController::aRunLeavesExactlyNCounts_data()
{
    QTest::addColumn<int>("axes");
    QTest::addColumn<int>("points");
    for (const int points : {2, 3, 501})
        for (const int axes : {1, 2})
            QTest::addRow("%d axes, %d points", axes, points) << axes << points;
}

void TestController::aRunLeavesExactlyNCounts()
{
    QFETCH(int, axes);
    QFETCH(int, points);
    Bench bench({.axes = axes});
    bench.upload(axes == 1 ? oneAxisScan(20.0, 0.02, points, 0.1) : twoAxesScan(20.0, 0.02, points, 0.1));
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:0\r\n"));
    bench.after(scanSeconds(20.0, 0.02, points, 0.1) + 0.001);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(bench.counts().size(), points);
    const double last = 20.0 + (points - 1) * 0.02;
    const QByteArray detector = axes == 1 ? "?P1;" : "?P2;";
    QCOMPARE(bench.command(detector), detector.mid(1, 2) + ":" + QByteArray::number(last, 'f', 3) + "\r\n");
}

void TestController::aRunEndsWhenItsTimesAddUp()
{
    Bench bench;
    bench.upload(twoAxesScan(20.0, 0.02, 501, 0.1));
    bench.after(scanSeconds(20.0, 0.02, 501, 0.1) - 0.001);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:0\r\n"));
    QCOMPARE(bench.counts().size(), 500);
    bench.after(0.002);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(bench.counts().size(), 501);
}

void TestController::aRunDoesNotDependOnWhenSomebodyLooks()
{
    Bench seldom;
    Bench often;
    seldom.upload(twoAxesScan(26.0, 0.02, 60, 0.1));
    often.upload(twoAxesScan(26.0, 0.02, 60, 0.1));
    seldom.after(100.0);
    for (int i = 0; i < 10'000; ++i)
        often.after(0.01);
    QCOMPARE(often.counts(), seldom.counts());
    QCOMPARE(often.counts().size(), 60);
}

void TestController::repetitionsAreObeyed_data()
{
    QTest::addColumn<QByteArray>("calls");
    QTest::addColumn<int>("counts");
    QTest::newRow("not at all") << QByteArray("GSB10*0;") << 0;
    QTest::newRow("once") << QByteArray("GSB10*1;") << 1;
    QTest::newRow("without a number") << QByteArray("GSB10;") << 1;
    QTest::newRow("1000 times") << QByteArray("GSB10*1000;") << 1000;
    QTest::newRow("two calls") << QByteArray("GSB10*3;NL;GSB10*4;") << 7;
    QTest::newRow("nested") << QByteArray("GSB20*5;") << 15;
}

void TestController::repetitionsAreObeyed()
{
    QFETCH(QByteArray, calls);
    QFETCH(int, counts);
    Bench bench;
    bench.upload(
        {"CLR;", calls, "NL;", "END;", "LIN10;", "CNT0.01;", "NL;", "RET;", "NL;", "LIN20;", "GSB10*3;", "NL;", "RET;", "NL;", "START:;"});
    bench.after(20.0);
    QCOMPARE(bench.counts().size(), counts);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
}

void TestController::aMillionRepetitionsAreCountedInTime()
{
    Bench bench;
    bench.upload({"CLR;", "GSB10*1000000;", "NL;", "END;", "LIN10;", "CNT0.001;", "NL;", "RET;", "NL;", "START:;"});
    // longer than one round of the interpreter: it says that it is not done, and goes on when woken
    bench.command("?C;");
    bench.clock.advance(1000.5);
    for (int rounds = 0; rounds < 10 && bench.controller.busy(); ++rounds)
        bench.controller.wake();
    QCOMPARE(bench.controller.counts().size(), std::size_t(1'000'000));
    QVERIFY(!bench.controller.busy());
}

void TestController::bothAxesArriveTogether()
{
    Bench bench;
    bench.upload({"CLR;", "CA2;", "1:A10.25S500L2000B20;", "2:A20.5S500L4000B20;", "CNT1;", "NL;", "END;", "START:;"});
    bench.after(2.5);
    QCOMPARE(bench.command("?P1;?P2;"), QByteArray("P1:5.000\r\nP2:10.000\r\n"));
    bench.after(2.624);
    QCOMPARE(bench.command("?P1;?P2;"), QByteArray("P1:10.248\r\nP2:20.496\r\n"));
    bench.after(0.002);
    QCOMPARE(bench.command("?P1;?P2;"), QByteArray("P1:10.250\r\nP2:20.500\r\n"));
    QCOMPARE(bench.command("?S2;?CNT;"), QByteArray("S2:0\r\nCEND;\r\n")); // counts now
    bench.after(1.0);
    QCOMPARE(bench.counts().size(), 1);
}

void TestController::movesOfTwoLinesFollowEachOther()
{
    Bench bench;
    bench.upload({"CLR;", "1:A4S500L4000B20;", "NL;", "2:A4S500L4000B20;", "NL;", "END;", "START:;"});
    bench.after(1.0);
    bench.after(0.5);
    QCOMPARE(bench.command("?P1;?P2;"), QByteArray("P1:4.000\r\nP2:2.000\r\n"));
}

void TestController::halfStepsAddUp()
{
    Bench bench;
    bench.upload({"CLR;", "GSB10*2000;", "NL;", "END;", "LIN10;", "1:0.0025S750.5;", "2:0.005S1501;", "NL;", "RET;", "NL;", "START:;"});
    bench.after(2000 * 0.005 / 1.501 + 0.01);
    QCOMPARE(bench.command("?S;?P1;?P2;"), QByteArray("S1:128 S2:128\r\nP1:5.000\r\nP2:10.000\r\n"));
}

void TestController::theStatusIsBusyWhileAnAxisTurns()
{
    Bench bench;
    bench.command("REF;");
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n")); // it stands there already
    Bench away({.axes = 2, .position = {8.0, 0.0}});
    away.command("REF;");
    QCOMPARE(away.command("?S;"), QByteArray("S1:0 S2:128\r\n"));
    away.after(2.0);
    QCOMPARE(away.command("?S;"), QByteArray("S1:128 S2:128\r\n"));
}

void TestController::theLimitSwitchStopsAnAxis()
{
    Bench bench({.axes = 1, .position = {180.0, 0.0}});
    bench.upload({"CLR;", "CA1;", "1:A500S500L4000B20;", "NL;", "END;", "START:;"});
    bench.after(100.0);
    QCOMPARE(bench.command("?P1;?S1;"), QByteArray("P1:190.000\r\nS1:128\r\n"));
    QVERIFY(bench.record.contains("limit switch"));
    bench.upload({"CLR;", "CA1;", "1:A-500S500L4000B20;", "NL;", "END;", "START:;"});
    bench.after(100.0);
    QCOMPARE(bench.command("?P1;"), QByteArray("P1:-10.000\r\n"));
}

void TestController::aStopInMidCountKeepsWhatWasStored()
{
    Bench bench;
    bench.upload(twoAxesScan(20.0, 0.02, 501, 0.1));
    bench.after(5.0 + 10 * (0.1 + 0.02 / 1.5) + 0.05);
    QCOMPARE(bench.command("Q;"), QByteArray());
    QCOMPARE(bench.command("?S;"), QByteArray("S1:128 S2:128\r\n"));
    QCOMPARE(bench.counts().size(), 10);
    QCOMPARE(bench.command("?P2;"), QByteArray("P2:20.200\r\n"));
    bench.after(100.0);
    QCOMPARE(bench.counts().size(), 10);
    bench.upload(twoAxesScan(20.0, 0.02, 3, 0.1));
    bench.after(10.0);
    QCOMPARE(bench.counts().size(), 3);
}

void TestController::aStopInMidMoveLeavesTheAxisWhereItIs()
{
    Bench bench;
    bench.upload({"CLR;", "CA2;", "2:A100S500L4000B20;", "NL;", "END;", "START:;"});
    bench.after(2.5);
    bench.command("Q;");
    QCOMPARE(bench.command("?S;?P2;"), QByteArray("S1:128 S2:128\r\nP2:10.000\r\n"));
    bench.after(5.0);
    QCOMPARE(bench.command("?P2;"), QByteArray("P2:10.000\r\n"));
}

void TestController::theCounterIsAnsweredWhenTheCountEnds()
{
    Bench bench({.axes = 2, .position = {10.0, 20.0}});
    bench.upload({"BEEPOFF;", "CLR;", "CCNT;", "CNT2.5;", "NL;", "END;", "START:;"});
    QCOMPARE(bench.command("?C;"), QByteArray());
    QCOMPARE(bench.after(2.499), QByteArray());
    QVERIFY(bench.controller.due().has_value());
    QCOMPARE(*bench.controller.due(), lab::fromSeconds(2.5));
    const QByteArray answer = bench.after(0.001);
    QCOMPARE(answer, QByteArray::number(bench.counts().value(0)) + "\r\n");
    QVERIFY(answer.toLongLong() > 0);
    QCOMPARE(bench.command("?C;"), answer); // idle: at once
}

void TestController::theRatemeterLoopCountsEachRound()
{
    Bench bench({.axes = 2, .position = {10.0, 26.64}});
    bench.upload({"BEEPOFF;", "CLR;", "CCNT;", "CNT0.1;", "NL;", "END;"});
    for (int round = 1; round <= 20; ++round) {
        bench.say("\r\nSTART:;\r\n?C;");
        const QByteArray answer = bench.after(0.1);
        QVERIFY2(answer.toLongLong() > 200, answer.constData()); // on top of the strongest line
        QCOMPARE(bench.counts().size(), round);
    }
}

void TestController::aStoppedCountIsAnsweredAtOnce()
{
    Bench bench({.axes = 2, .position = {10.0, 26.64}});
    bench.upload({"CLR;", "CCNT;", "CNT1000;", "NL;", "END;", "START:;", "?C;"});
    QCOMPARE(bench.after(1.0), QByteArray());
    const qlonglong counted = bench.command("Q;").trimmed().toLongLong();
    QVERIFY2(counted > 2000 && counted < 9000, QByteArray::number(counted).constData()); // of one second
    QCOMPARE(bench.counts().size(), 0);
}

void TestController::aSecondStartIsPassedOverWhileTheProgramRuns()
{
    Bench bench;
    bench.upload({"CLR;", "CNT3;", "NL;", "END;", "START:;"});
    bench.after(2.0);
    bench.command("START:;");
    bench.after(1.0);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(bench.counts().size(), 1);
}

void TestController::theProgramStaysUntilItIsCleared()
{
    Bench bench;
    bench.upload({"CNT0.1;", "NL;", "END;", "START:;"});
    bench.after(1.0);
    bench.command("START:;");
    bench.after(1.0);
    QCOMPARE(bench.counts().size(), 2);
    bench.upload({"CLR;", "START:;"});
    bench.after(1.0);
    QCOMPARE(bench.counts().size(), 2);
}

void TestController::theCountsStayUntilTheyAreCleared()
{
    Bench bench;
    bench.upload(twoAxesScan(20.0, 0.02, 5, 0.1));
    bench.after(10.0);
    bench.command("CLR;");
    QCOMPARE(bench.counts().size(), 5);
    bench.command("CCNT;");
    QCOMPARE(bench.command("?CNT;"), QByteArray("CEND;\r\n"));
}

void TestController::endlessRecursionStopsTheProgram()
{
    Bench bench;
    bench.upload({"CLR;", "LIN10;", "GSB10*2;", "NL;", "END;", "START:;"});
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QVERIFY(bench.record.contains("calls too deep"));
}

void TestController::aMissingLabelStopsTheProgram()
{
    Bench bench;
    bench.upload({"CLR;", "GSB11*2;", "NL;", "END;", "LIN10;", "RET;", "NL;", "START:;"});
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QVERIFY(bench.record.contains("no such label"));
}

void TestController::theReferenceSearchGoesToZero()
{
    Bench bench({.axes = 2, .position = {5.0, 10.0}});
    bench.command("REF;");
    QCOMPARE(bench.after(1.25), QByteArray());
    QCOMPARE(bench.command("?S;?P1;?P2;"), QByteArray("S1:128 S2:0\r\nP1:0.000\r\nP2:5.000\r\n"));
    bench.after(1.25);
    QCOMPARE(bench.command("?S;?P2;"), QByteArray("S1:128 S2:128\r\nP2:0.000\r\n"));
}

void TestController::aReferenceOffsetWorksAfterResetAndSearch()
{
    const lab::Fault reset{lab::FaultKind::powerCycle, "", false, 3, 0};
    Bench bench({.axes = 1, .position = {4.0, 0.0}}, {reset});
    bench.upload({"ROFS1:0.5;", "UPDATE;"});
    QCOMPARE(bench.command("?P1;"), QByteArray()); // switched off and on: the answer is lost
    QCOMPARE(bench.command("?P1;"), QByteArray("P1:4.000\r\n"));
    bench.command("REF;");
    bench.after(1.0);
    QCOMPARE(bench.command("?P1;"), QByteArray("P1:0.500\r\n"));
    // the line of quartz at 26.64 is now found half a degree higher on the scale
    bench.upload({"CLR;", "CCNT;", "1:A27.14S500L4000B20;", "CNT1;", "NL;", "END;", "START:;"});
    bench.after(10.0);
    QVERIFY(bench.counts().value(0) > 3000);
}

void TestController::theShutterOutputFollowsItsCommands()
{
    Bench bench;
    bench.command("IO1;");
    QVERIFY(bench.controller.shutterOutput());
    QVERIFY(bench.laboratory.beam().shutterOpen);
    bench.command("IO0;");
    QVERIFY(!bench.controller.shutterOutput());
    QVERIFY(!bench.laboratory.beam().shutterOpen);
}

void TestController::theBeeperFollowsItsCommands()
{
    Bench bench;
    bench.command("BEEPOFF;");
    QVERIFY(!bench.controller.beeper());
    bench.command("BEEPON;");
    QVERIFY(bench.controller.beeper());
}

namespace {

qlonglong countsAtTheLine(Bench& bench, double seconds)
{
    bench.upload({"CLR;", "CCNT;", "CNT" + QByteArray::number(seconds) + ";", "NL;", "END;", "START:;"});
    bench.after(seconds);
    return bench.counts().value(0, -1);
}

} // namespace

void TestController::theShutterWithoutAGeneratorHasNoInfluence()
{
    Bench bench({.axes = 2, .position = {13.32, 26.64}});
    bench.command("IO0;");
    QVERIFY(countsAtTheLine(bench, 1.0) > 3000);
}

void TestController::aClosedShutterLeavesTheDarkRate()
{
    Bench bench({.axes = 2, .position = {13.32, 26.64}});
    bench.laboratory.changeBeam([](lab::Beam& beam) { beam.controlled = true; });
    const qlonglong dark = countsAtTheLine(bench, 100.0);
    QVERIFY2(dark > 10 && dark < 80, QByteArray::number(dark).constData());
    bench.command("IO1;");
    QVERIFY(countsAtTheLine(bench, 1.0) > 3000);
}

void TestController::theTubeCurrentScalesTheCounts()
{
    Bench bench({.axes = 2, .position = {13.32, 26.64}});
    bench.laboratory.changeBeam([](lab::Beam& beam) { beam = {.current = 30, .voltage = 40, .shutterOpen = true, .controlled = true}; });
    const double full = static_cast<double>(countsAtTheLine(bench, 100.0));
    bench.laboratory.changeBeam([](lab::Beam& beam) { beam.current = 10; });
    const double third = static_cast<double>(countsAtTheLine(bench, 100.0));
    QVERIFY2(std::abs(full / third - 3.0) < 0.05, qPrintable(QString::number(full / third)));
}

void TestController::theSameSeedGivesTheSameCounts()
{
    QList<QList<qlonglong>> runs;
    for (const quint64 seed : {7U, 7U, 8U}) {
        Bench bench({}, {}, seed);
        bench.upload(twoAxesScan(26.0, 0.02, 60, 0.1));
        bench.after(100.0);
        runs += bench.counts();
    }
    QCOMPARE(runs[1], runs[0]);
    QVERIFY(runs[2] != runs[0]);
}

void TestController::anOldRunGoesOn()
{
    for (const int axes : {1, 2}) {
        Bench bench({.axes = axes});
        bench.controller.beginOldRun();
        bench.after(30.0);
        QCOMPARE(bench.command("?S1;"), QByteArray("S1:0\r\n"));
        const qsizetype sofar = bench.counts().size();
        QVERIFY(sofar > 100 && sofar < 600);
        bench.after(60.0);
        QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
        QCOMPARE(bench.counts().size(), 601);
    }
}

QTEST_APPLESS_MAIN(TestController)
#include "tst_controller.moc"
