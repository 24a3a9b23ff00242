// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "DeviceBench.h"
#include "XRayGenerator.h"

#include <QTest>

namespace {

using Bench = DeviceBench<lab::XRayGenerator>;
constexpr double strongestLine = 26.64;

} // namespace

class TestGenerator : public QObject
{
    Q_OBJECT

private slots:
    void itStartsAtMeasuringPower();
    void commandsInPiecesAndInOneWriteAreUnderstood();
    void theFlowRatesAreDecimalNumbers();
    void currentAndVoltageTakeTheirTime();
    void aNewSettingStartsFromWhereTheValueStands();
    void settingsBeyondItsLimitsAreRefused_data();
    void settingsBeyondItsLimitsAreRefused();
    void theLimitsThemselvesAreAccepted();
    void nonsenseIsPassedOver_data();
    void nonsenseIsPassedOver();
    void theClosedShutterLeavesTheDarkRate();
    void theCountsFollowTheCurrent();
    void theCountsFollowTheVoltage();
    void aShutterClosedInMidCountCutsTheCount();
    void switchedOffAndOnItHasNoHighVoltage();
    void aSilentGeneratorStillObeys();
    void itsCommandsAreIgnoredOrReadBackWrong();
};

void TestGenerator::itStartsAtMeasuringPower()
{
    Bench bench;
    QCOMPARE(bench.say("CA\r"), QByteArray("*0000030000\r"));
    QCOMPARE(bench.say("VN\r"), QByteArray("*0000040000\r"));
}

void TestGenerator::commandsInPiecesAndInOneWriteAreUnderstood()
{
    Bench bench;
    QByteArray answer;
    for (const char byte : QByteArray("CA\r\nVN\r"))
        answer += bench.say(QByteArray(1, byte));
    QCOMPARE(answer, QByteArray("*0000030000\r*0000040000\r"));
    QCOMPARE(bench.say("CA\rVN\rSR:14\r").count('\r'), 3);
    QCOMPARE(bench.say("CA"), QByteArray());
}

void TestGenerator::theFlowRatesAreDecimalNumbers()
{
    Bench bench;
    QCOMPARE(bench.say("SR:14\r"), QByteArray("*00000003.5\r"));
    for (int i = 0; i < 100; ++i, bench.after(3.0)) {
        const QByteArray answer = bench.say("SR:15\r");
        QCOMPARE(answer.size(), 12);
        QVERIFY(answer.startsWith('*') && answer.endsWith('\r'));
        const double flow = answer.mid(1, 10).toDouble();
        QVERIFY2(flow > 3.9 && flow < 4.5, answer.constData());
    }
    QCOMPARE(bench.say("SR:16\r"), QByteArray());
}

void TestGenerator::currentAndVoltageTakeTheirTime()
{
    Bench bench;
    QCOMPARE(bench.say("SC:5\r"), QByteArray());
    QCOMPARE(bench.say("SV:20\r"), QByteArray());
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000030000\r*0000040000\r"));
    bench.after(2.0);
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000020000\r*0000030000\r"));
    bench.after(1000.0);
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000005000\r*0000020000\r"));
    bench.say("SC:30\rSV:40\r");
    bench.after(4.5);
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000027500\r*0000040000\r"));
}

void TestGenerator::aNewSettingStartsFromWhereTheValueStands()
{
    Bench bench;
    bench.say("SC:5\r");
    bench.after(2.0);
    bench.say("SC:40\r");
    bench.after(1.0);
    QCOMPARE(bench.say("CA\r"), QByteArray("*0000025000\r"));
}

void TestGenerator::settingsBeyondItsLimitsAreRefused_data()
{
    QTest::addColumn<QByteArray>("command");
    for (const char* command : {"SC:61", "SC:1000", "SV:61", "SC:-1", "SV:-5", "SC:60.5"})
        QTest::newRow(command) << QByteArray(command);
    QTest::newRow("more than 3 kW") << QByteArray("SV:60\rSC:51");
}

void TestGenerator::settingsBeyondItsLimitsAreRefused()
{
    QFETCH(QByteArray, command);
    Bench bench;
    QCOMPARE(bench.say(command + '\r'), QByteArray());
    QVERIFY(bench.record.contains("refused"));
    bench.after(100.0);
    QCOMPARE(bench.say("CA\r"), QByteArray("*0000030000\r"));
    if (!command.startsWith("SV:60\r"))
        QCOMPARE(bench.say("VN\r"), QByteArray("*0000040000\r"));
}

void TestGenerator::theLimitsThemselvesAreAccepted()
{
    Bench bench;
    bench.say("SC:60\r");
    bench.after(10.0);
    QCOMPARE(bench.say("CA\r"), QByteArray("*0000060000\r"));
    bench.say("SC:0\rSV:60\r");
    bench.after(20.0);
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000000000\r*0000060000\r"));
}

void TestGenerator::nonsenseIsPassedOver_data()
{
    QTest::addColumn<QByteArray>("command");
    for (const char* command : {"", "X", "ca", "CAX", "SC", "SC:", "SC:x", "SV:4x", "SR:", "SC:1e1"})
        QTest::newRow(command) << QByteArray(command);
    QTest::newRow("endless") << QByteArray(100'000, 'C');
}

void TestGenerator::nonsenseIsPassedOver()
{
    QFETCH(QByteArray, command);
    Bench bench;
    QCOMPARE(bench.say(command + '\r'), QByteArray());
    bench.after(100.0);
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000030000\r*0000040000\r"));
}

void TestGenerator::theClosedShutterLeavesTheDarkRate()
{
    Bench bench;
    const double dark = bench.countsAt(strongestLine, 100.0);
    QVERIFY2(dark > 10 && dark < 80, qPrintable(QString::number(dark)));
    bench.tell("IO1;");
    QVERIFY(bench.countsAt(strongestLine, 1.0) > 3000);
    bench.tell("IO0;");
    QVERIFY(bench.countsAt(strongestLine, 1.0) < 10);
}

void TestGenerator::theCountsFollowTheCurrent()
{
    Bench bench;
    bench.tell("IO1;");
    const double full = bench.countsAt(strongestLine, 100.0);
    bench.say("SC:15\r");
    const double half = bench.countsAt(strongestLine, 100.0);
    QVERIFY2(std::abs(full / half - 2.0) < 0.02, qPrintable(QString::number(full / half)));
    bench.say("SC:0\r");
    QVERIFY(bench.countsAt(strongestLine, 1.0) < 10);
}

void TestGenerator::theCountsFollowTheVoltage()
{
    Bench bench;
    bench.tell("IO1;");
    const double full = bench.countsAt(strongestLine, 10.0);
    bench.say("SV:20\r");
    const double low = bench.countsAt(strongestLine, 10.0);
    QVERIFY2(full / low > 3.5 && full / low < 7.0, qPrintable(QString::number(full / low)));
    bench.say("SV:8\r"); // copper K is not excited
    QVERIFY(bench.countsAt(strongestLine, 1.0) < 10);
}

void TestGenerator::aShutterClosedInMidCountCutsTheCount()
{
    Bench bench;
    bench.tell("IO1;");
    const double whole = bench.countsAt(strongestLine, 100.0);
    bench.tell("CLR;CA2;CCNT;CNT100;END;START:;");
    bench.after(25.0);
    bench.tell("IO0;");
    bench.after(75.0);
    bench.goniometer.wake();
    QCOMPARE(bench.goniometer.counts().size(), std::size_t(1));
    const double part = static_cast<double>(bench.goniometer.counts()[0]);
    QVERIFY2(std::abs(part / whole - 0.25) < 0.01, qPrintable(QString::number(part / whole)));
}

void TestGenerator::switchedOffAndOnItHasNoHighVoltage()
{
    Bench bench({{.kind = lab::FaultKind::powerCycle, .after = 1}});
    bench.say("CA\r");
    QCOMPARE(bench.say("CA\rVN\r"), QByteArray("*0000000000\r*0000000000\r"));
}

void TestGenerator::aSilentGeneratorStillObeys()
{
    Bench bench({{.kind = lab::FaultKind::silent, .after = 0, .lasting = 2}});
    QCOMPARE(bench.say("SC:20\rCA\r"), QByteArray());
    bench.after(10.0);
    QCOMPARE(bench.say("CA\r"), QByteArray("*0000020000\r"));
}

void TestGenerator::itsCommandsAreIgnoredOrReadBackWrong()
{
    Bench ignoring({*lab::parseFault("ignore:SC")});
    ignoring.say("SC:20\rSV:35\r");
    ignoring.after(20.0);
    QCOMPARE(ignoring.say("CA\rVN\r"), QByteArray("*0000030000\r*0000035000\r"));
    Bench wrong({*lab::parseFault("wrong-readback")});
    QCOMPARE(wrong.say("CA\rVN\r"), QByteArray("*0000037000\r*0000047000\r"));
}

QTEST_GUILESS_MAIN(TestGenerator)
#include "tst_generator.moc"
