// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Bench.h"

#include <QTest>

using lab::FaultKind;

class TestFaults : public QObject
{
    Q_OBJECT

private slots:
    void everyFaultCanBeOrderedByItsName();
    void anOrderIsReadWhole();
    void aBadOrderIsRefused_data();
    void aBadOrderIsRefused();
    void silentAnswersNothingButObeys();
    void silentBeginsAfterItsCommands();
    void silentEndsAfterItsCommands();
    void silentBeginsAfterItsSeconds();
    void garbageIsUnreadable();
    void cutReplyBreaksOff();
    void lateReplyComesThreeSecondsLate();
    void lateReplyIsLateOnTheWatch();
    void powerCycleForgetsProgramAndCounts();
    void powerCycleInMidCountStops();
    void hangUpClosesTheLineOnce();
    void hangUpAndReturnSaysSo();
    void hangUpByTimeIsDue();
    void fewerCountsLeavesThreeOut();
    void moreCountsSendsTwice();
    void noCountsSendsOnlyTheEnd();
    void offHearsNothingUntilItIsSwitchedOn();
    void offIsOverOnTheWatch();
    void offForGoodStaysOff();
    void anOrderNamesItsCommand_data();
    void anOrderNamesItsCommand();
    void ignoreHasNoEffectAndNoAnswer();
    void loseTakesEffectAndLosesItsAnswer();
    void wrongReadbackTellsAnotherPosition();
};

void TestFaults::everyFaultCanBeOrderedByItsName()
{
    QCOMPARE(lab::faultTable().size(), std::size_t(18));
    for (const lab::FaultEntry& entry : lab::faultTable()) {
        const auto fault = lab::parseFault(entry.name);
        QVERIFY(fault.has_value());
        QCOMPARE(int(fault->kind), int(entry.kind));
    }
}

void TestFaults::anOrderIsReadWhole()
{
    const auto fault = lab::parseFault("smc/silent:2.5s:10s");
    QVERIFY(fault.has_value());
    QCOMPARE(fault->device, std::string("smc"));
    QVERIFY(fault->inSeconds);
    QCOMPARE(fault->after, 2.5);
    QCOMPARE(fault->lasting, 10.0);
    const auto counted = lab::parseFault("cut-reply:25");
    QVERIFY(counted.has_value());
    QVERIFY(!counted->inSeconds);
    QCOMPARE(counted->after, 25.0);
    const auto mixed = lab::parseFault("ltc/off:20:5s"); // after commands, for seconds
    QVERIFY(mixed.has_value());
    QVERIFY(!mixed->inSeconds);
    QCOMPARE(mixed->after, 20.0);
    QCOMPARE(mixed->lasting, 5.0);
}

void TestFaults::aBadOrderIsRefused_data()
{
    QTest::addColumn<QByteArray>("text");
    for (const char* text : {"", "quiet", "silent:", "silent:x", "silent:-1", "silent:3m", "silent:3s:4", "silent:3:", "hang-up:3:4",
                             "silent:nan", "silent:1:2:3", "wrong-readback:SETP", "ignore:SETP:3s:4", "off:1:2", "off:1s:2"})
        QTest::newRow(*text == '\0' ? "empty" : text) << QByteArray(text);
}

void TestFaults::aBadOrderIsRefused()
{
    QFETCH(QByteArray, text);
    QVERIFY(!lab::parseFault(text.toStdString()).has_value());
}

void TestFaults::silentAnswersNothingButObeys()
{
    Bench bench({}, {{FaultKind::silent}});
    QCOMPARE(bench.command("?S;"), QByteArray());
    bench.upload(twoAxesScan(20.0, 0.02, 5, 0.1));
    QCOMPARE(bench.after(100.0), QByteArray());
    QCOMPARE(bench.controller.counts().size(), std::size_t(5));
}

void TestFaults::silentBeginsAfterItsCommands()
{
    Bench bench({}, {{FaultKind::silent, "", false, 3}});
    QCOMPARE(bench.say("\r\n?S1;?S1;?S1;?S1;?S1;"), QByteArray("S1:128\r\nS1:128\r\nS1:128\r\n"));
}

void TestFaults::silentEndsAfterItsCommands()
{
    Bench bench({}, {{FaultKind::silent, "", false, 1, 2}});
    QCOMPARE(bench.command("?V;"), QByteArray("SMC 4412 V1.0 VIRTUAL\r\n"));
    QCOMPARE(bench.command("?V;"), QByteArray());
    QCOMPARE(bench.command("?V;"), QByteArray());
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
}

void TestFaults::silentBeginsAfterItsSeconds()
{
    Bench bench({}, {{FaultKind::silent, "", true, 3.0}});
    bench.after(2.999);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    bench.after(0.001);
    QCOMPARE(bench.command("?S1;"), QByteArray());
}

void TestFaults::garbageIsUnreadable()
{
    Bench bench({}, {{FaultKind::garbage}});
    const QByteArray answer = bench.command("?S;");
    QCOMPARE(answer.size(), 15);
    for (const char byte : answer)
        QVERIFY(static_cast<unsigned char>(byte) >= 0x80);
}

void TestFaults::cutReplyBreaksOff()
{
    Bench bench({}, {{FaultKind::cutReply}});
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:1"));
    QCOMPARE(bench.command("?CNT;"), QByteArray("CEND"));
}

void TestFaults::lateReplyComesThreeSecondsLate()
{
    Bench bench({}, {{FaultKind::lateReply}});
    QCOMPARE(bench.command("?S1;"), QByteArray());
    QCOMPARE(bench.after(2.999), QByteArray());
    QCOMPARE(bench.after(0.001), QByteArray("S1:128\r\n"));
}

void TestFaults::lateReplyIsLateOnTheWatch()
{
    Bench bench({}, {{FaultKind::lateReply}});
    bench.clock.setSpeed(10.0);
    QCOMPARE(bench.command("?S1;"), QByteArray());
    QCOMPARE(bench.after(29.99), QByteArray());
    QCOMPARE(bench.after(0.01), QByteArray("S1:128\r\n"));
}

void TestFaults::powerCycleForgetsProgramAndCounts()
{
    Bench bench({.axes = 2, .position = {10.0, 20.0}}, {{FaultKind::powerCycle, "", true, 50.0}});
    bench.upload(twoAxesScan(20.0, 0.02, 5, 0.1));
    bench.after(10.0);
    QCOMPARE(bench.counts().size(), 5);
    bench.say("\r\n?C"); // half a command is lost, too
    bench.after(40.0);
    QCOMPARE(bench.say(";"), QByteArray());
    QCOMPARE(bench.counts().size(), 0);
    bench.command("START:;");
    bench.after(10.0);
    QCOMPARE(bench.counts().size(), 0);
    QCOMPARE(bench.command("?S;?P2;"), QByteArray("S1:128 S2:128\r\nP2:20.080\r\n"));
}

void TestFaults::powerCycleInMidCountStops()
{
    Bench bench({}, {{FaultKind::powerCycle, "", false, 9}});
    bench.upload({"CLR;", "CCNT;", "CNT1;", "CNT1;", "NL;", "END;", "START:;", "?C;"});
    bench.clock.advance(0.5);
    QCOMPARE(bench.command("?S1;"), QByteArray());
    QCOMPARE(bench.command("?S1;?CNT;"), QByteArray("S1:128\r\nCEND;\r\n"));
    QCOMPARE(bench.after(5.0), QByteArray());
}

void TestFaults::hangUpClosesTheLineOnce()
{
    Bench bench({}, {{FaultKind::hangUp, "", false, 2}});
    bench.say("\r\n?S1;");
    QCOMPARE(int(bench.controller.takeHangUp()), int(lab::HangUp::none));
    bench.say("\r\n?S1;?S1;");
    QCOMPARE(bench.heard(), QByteArray());
    QCOMPARE(int(bench.controller.takeHangUp()), int(lab::HangUp::forGood));
    QCOMPARE(int(bench.controller.takeHangUp()), int(lab::HangUp::none));
    QCOMPARE(bench.controller.faults().commandCount(), 2L);
}

void TestFaults::hangUpAndReturnSaysSo()
{
    Bench bench({}, {{FaultKind::hangUpAndReturn, "", false, 0}});
    bench.controller.wake();
    QCOMPARE(int(bench.controller.takeHangUp()), int(lab::HangUp::returns));
}

void TestFaults::hangUpByTimeIsDue()
{
    Bench bench({}, {{FaultKind::hangUp, "", true, 3.0}});
    QVERIFY(bench.controller.due().has_value());
    QCOMPARE(*bench.controller.due(), lab::fromSeconds(3.0));
    bench.after(3.0);
    QCOMPARE(int(bench.controller.takeHangUp()), int(lab::HangUp::forGood));
    QVERIFY(!bench.controller.due().has_value());
}

void TestFaults::fewerCountsLeavesThreeOut()
{
    Bench bench({}, {{FaultKind::fewerCounts, "", false, 25}});
    bench.upload(twoAxesScan(20.0, 0.02, 10, 0.1)); // 18 commands
    bench.after(100.0);
    const auto whole = bench.counts();
    QCOMPARE(whole.size(), 10);
    for (int i = 0; i < 6; ++i)
        bench.command("?S1;");
    QCOMPARE(bench.counts(), whole.mid(0, 7));
}

void TestFaults::moreCountsSendsTwice()
{
    Bench bench({}, {{FaultKind::moreCounts, "", false, 19}});
    bench.upload(twoAxesScan(20.0, 0.02, 4, 0.1));
    bench.after(100.0);
    const auto whole = bench.counts();
    QCOMPARE(whole.size(), 4);
    QCOMPARE(bench.counts(), whole + whole);
}

void TestFaults::noCountsSendsOnlyTheEnd()
{
    Bench bench({}, {{FaultKind::noCounts}});
    bench.upload(twoAxesScan(20.0, 0.02, 4, 0.1));
    bench.after(100.0);
    QCOMPARE(bench.command("?CNT;"), QByteArray("CEND;\r\n"));
    QCOMPARE(bench.controller.counts().size(), std::size_t(4));
}

void TestFaults::offHearsNothingUntilItIsSwitchedOn()
{
    Bench bench({}, {{FaultKind::off, "", false, 2, 5.0}});
    QCOMPARE(bench.say("\r\n?S1;?S1;?S1;"), QByteArray("S1:128\r\nS1:128\r\n")); // the second answer is still given
    QVERIFY(bench.record.contains("switched off"));
    QCOMPARE(bench.command("?S1;"), QByteArray());
    QCOMPARE(bench.command("1:A10S500L4000B20;END;"), QByteArray());
    QCOMPARE(bench.after(4.99), QByteArray());
    QCOMPARE(bench.command("?S1;"), QByteArray());
    QCOMPARE(bench.say("\r\n?S"), QByteArray());
    QCOMPARE(bench.after(0.01), QByteArray()); // what came meanwhile is not answered later
    QVERIFY(bench.record.contains("switched on"));
    QCOMPARE(bench.say("1;"), QByteArray()); // the rest of a command that began while it was off
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    bench.command("START:;");
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n")); // no program: what was sent meanwhile was not heard
}

void TestFaults::offIsOverOnTheWatch()
{
    Bench bench({}, {{FaultKind::off, "", true, 1.0, 2.0}});
    bench.clock.setSpeed(10.0);
    QCOMPARE(*bench.controller.due(), lab::fromSeconds(10.0));
    bench.after(10.0);
    QCOMPARE(*bench.controller.due(), lab::fromSeconds(30.0));
    bench.after(19.9);
    QCOMPARE(bench.command("?S1;"), QByteArray());
    bench.after(0.1);
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
    QVERIFY(!bench.controller.due().has_value());
}

void TestFaults::offForGoodStaysOff()
{
    Bench bench({}, {{FaultKind::off}});
    bench.controller.wake();
    QVERIFY(!bench.controller.due().has_value());
    bench.after(1e6);
    QCOMPARE(bench.command("?S1;"), QByteArray());
}

void TestFaults::anOrderNamesItsCommand_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("device");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<double>("after");
    QTest::addColumn<double>("lasting");
    QTest::newRow("command alone") << QByteArray("ltc/ignore:SETP") << QByteArray("ltc") << QByteArray("SETP") << 0.0 << 0.0;
    QTest::newRow("with a value") << QByteArray("ltc/lose:SETP 1, 77:5") << QByteArray("ltc") << QByteArray("SETP 1, 77") << 5.0 << 0.0;
    QTest::newRow("begins with a colon") << QByteArray("laser/ignore::w 12:3:1") << QByteArray("laser") << QByteArray(":w 12") << 3.0
                                         << 1.0;
    QTest::newRow("ends with a number") << QByteArray("ignore:SC:30:0:0") << QByteArray() << QByteArray("SC:30") << 0.0 << 0.0;
    QTest::newRow("ends with a colon") << QByteArray("ignore:SC:") << QByteArray() << QByteArray("SC:") << 0.0 << 0.0;
    QTest::newRow("every command") << QByteArray("lose:2:7") << QByteArray() << QByteArray() << 2.0 << 7.0;
    QTest::newRow("slash in the command") << QByteArray("ignore:A/B") << QByteArray() << QByteArray("A/B") << 0.0 << 0.0;
}

void TestFaults::anOrderNamesItsCommand()
{
    QFETCH(QByteArray, text);
    const auto fault = lab::parseFault(text.toStdString());
    QVERIFY(fault.has_value());
    QTEST(QByteArray::fromStdString(fault->device), "device");
    QTEST(QByteArray::fromStdString(fault->command), "command");
    QTEST(fault->after, "after");
    QTEST(fault->lasting, "lasting");
}

void TestFaults::ignoreHasNoEffectAndNoAnswer()
{
    Bench bench({.axes = 2, .position = {10.0, 20.0}}, {*lab::parseFault("ignore:?P"), *lab::parseFault("ignore:START")});
    bench.upload(twoAxesScan(20.0, 0.02, 5, 0.1));
    bench.after(100.0);
    QCOMPARE(bench.controller.counts().size(), std::size_t(0));
    QVERIFY(bench.record.contains("ignored: START:"));
    QCOMPARE(bench.command("?P1;"), QByteArray());
    QCOMPARE(bench.command("?S1;"), QByteArray("S1:128\r\n"));
}

void TestFaults::loseTakesEffectAndLosesItsAnswer()
{
    Bench bench({}, {*lab::parseFault("lose:?S1:0:1")});
    QCOMPARE(bench.say("\r\n?S1;?S1;"), QByteArray("S1:128\r\n"));
    QVERIFY(bench.record.contains("answer lost"));
}

void TestFaults::wrongReadbackTellsAnotherPosition()
{
    Bench bench({.axes = 2, .position = {10.0, 20.0}}, {{FaultKind::wrongReadback}});
    QCOMPARE(bench.command("?P2;"), QByteArray("P2:27.000\r\n"));
}

QTEST_APPLESS_MAIN(TestFaults)
#include "tst_faults.moc"
