// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "DeviceBench.h"
#include "HighTemperatureController.h"

#include <QTest>

namespace {

/// Packs a value as a client does.
QByteArray three(int value)
{
    QByteArray text;
    text += static_cast<char>(32 + value / 1024);
    text += static_cast<char>(32 + value % 1024 / 16);
    text += static_cast<char>(32 + value % 16);
    return text;
}

int valueAt(const QByteArray& block, int position)
{
    return (block[position - 1] - 32) * 1024 + (block[position] - 32) * 16 + (block[position + 1] - 32);
}

QByteArray sumOf(const QByteArray& block)
{
    int sum = 0;
    for (const char c : block)
        sum += static_cast<unsigned char>(c);
    return QByteArray::number(sum, 16).toUpper().rightJustified(4, '0');
}

struct Bench : DeviceBench<lab::HighTemperatureController>
{
    using DeviceBench::DeviceBench;
    QByteArray block(char kind) { return say(QByteArray("R001N") + kind + "?\r\n").mid(17, 92); }
    /// Changes values of the data block by position, as the program does: read, replace, write.
    QByteArray change(const QList<std::pair<int, int>>& values, const QByteArray& damage = {})
    {
        QByteArray written = block('T').left(54);
        for (const auto& [position, value] : values)
            written.replace(position - 1, 3, three(value));
        written.replace(45, 3, "   ");
        return say("S001  T " + written + (damage.isEmpty() ? sumOf(written) : damage) + "Q\r\n");
    }
    int actual() { return valueAt(block('T'), 1); }
};

constexpr int setpoint = 4;
constexpr int heater = 16;
constexpr int ramp = 25;
constexpr int optimizing = 28;

} // namespace

class TestHighTemperature : public QObject
{
    Q_OBJECT

private slots:
    void anAnswerHas116Characters_data();
    void anAnswerHas116Characters();
    void theDataBlockHoldsTheValuesAtTheirPlaces();
    void theValueBlockHoldsTheValuesAtTheirPlaces();
    void aWrittenBlockIsTaken();
    void aWrongChecksumChangesNothing_data();
    void aWrongChecksumChangesNothing();
    void nonsenseIsPassedOver_data();
    void nonsenseIsPassedOver();
    void theSetpointStaysWithinTheLimits();
    void withTheHeaterOffItStaysCold();
    void itSettlesAtTheSetpoint_data();
    void itSettlesAtTheSetpoint();
    void theRampIsObeyed();
    void theHeaterHasItsFullPowerAndNoMore();
    void switchingTheHeaterOffLetsItCool();
    void selfOptimizingEndsWithItsOwnParameters();
    void theSampleIsALittleCoolerThanTheFurnace();
    void thePeakMovesWithTheTemperature();
    void theHeatDoesNotDependOnWhenSomebodyLooks();
    void theIdleAnswerRepeatsOneCharacter();
    void theAnswerOfAnotherLoopIsNoBlock();
    void afterSwitchingOffAndOnTheHeaterIsOff();
    void whoSwitchesItOnAgainSwitchesTheHeaterOn();
    void aWrongChecksumKeepsTheLength();
    void aBlockIsIgnoredOrReadBackWrong();
};

void TestHighTemperature::anAnswerHas116Characters_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::newRow("data block") << QByteArray("R001NT?");
    QTest::newRow("value block") << QByteArray("R001NF?");
}

void TestHighTemperature::anAnswerHas116Characters()
{
    QFETCH(QByteArray, command);
    Bench bench;
    QByteArray answer;
    for (const char byte : QByteArray(command + "\r\n")) // in pieces
        answer += bench.say(QByteArray(1, byte));
    QCOMPARE(answer.size(), 116);
    QVERIFY(answer.endsWith("Q\r\n"));
    QCOMPARE(answer.mid(109, 4), sumOf(answer.mid(17, 92)));
    for (const char c : answer.left(114))
        QVERIFY(c >= 32 && c < 127);
    bench.change({{setpoint, 1400}, {heater, 1}}); // and at full heat too
    bench.after(20.0);
    for (const char c : bench.say(command + "\r\n").left(114))
        QVERIFY(c >= 32 && c < 127);
}

void TestHighTemperature::theDataBlockHoldsTheValuesAtTheirPlaces()
{
    Bench bench;
    const QByteArray block = bench.block('T');
    QList<int> values;
    for (int position = 1; position <= 28; position += 3)
        values += valueAt(block, position);
    QCOMPARE(values, (QList<int>{25, 20, 71, 8, 2, 0, 20, 1500, 0, 0}));
    QCOMPARE(block.mid(30), QByteArray(62, ' '));
}

void TestHighTemperature::theValueBlockHoldsTheValuesAtTheirPlaces()
{
    Bench bench;
    QByteArray block = bench.block('F');
    QCOMPARE(valueAt(block, 1), 25);
    QCOMPARE(block[60] - 32, 0);
    QCOMPARE(block[64] - 32, 0);
    bench.change({{setpoint, 900}, {heater, 1}});
    bench.after(1800.0);
    block = bench.block('F');
    QCOMPARE(valueAt(block, 1), 900);
    QVERIFY2(block[60] - 32 > 20 && block[60] - 32 < 35, qPrintable(QString::number(block[60] - 32)));
    QCOMPARE(block[64] - 32, 1);
}

void TestHighTemperature::aWrittenBlockIsTaken()
{
    Bench bench;
    QCOMPARE(bench.change({{setpoint, 1025}, {7, 50}, {10, 100}, {13, 10}, {heater, 1}, {19, 100}, {22, 1200}, {ramp, 30}}), QByteArray());
    const QByteArray block = bench.block('T');
    QList<int> values;
    for (int position = setpoint; position <= 28; position += 3)
        values += valueAt(block, position);
    QCOMPARE(values, (QList<int>{1025, 50, 100, 10, 1, 100, 1200, 30, 0}));
    QCOMPARE(block.mid(3, 3), QByteArray("!!!").replace(1, 1, " ")); // 1025: codes 33, 32, 33
}

void TestHighTemperature::aWrongChecksumChangesNothing_data()
{
    QTest::addColumn<QByteArray>("checksum");
    for (const char* text : {"0000", "FFFF", "xxxx", "000", "00000"})
        QTest::newRow(text) << QByteArray(text);
}

void TestHighTemperature::aWrongChecksumChangesNothing()
{
    QFETCH(QByteArray, checksum);
    Bench bench;
    QCOMPARE(bench.change({{setpoint, 500}, {heater, 1}}, checksum), QByteArray());
    QCOMPARE(valueAt(bench.block('T'), setpoint), 20);
    QCOMPARE(valueAt(bench.block('T'), heater), 0);
    QVERIFY(bench.record.contains("block refused"));
}

void TestHighTemperature::nonsenseIsPassedOver_data()
{
    QTest::addColumn<QByteArray>("line");
    for (const char* text : {"R001NX?", "R002NT?", "R001NT", "r001nt?", "S001  T ", "S001 T ", "S001  T Q", "S", "\xff", "S001  F abc"})
        QTest::newRow(text) << QByteArray(text);
    QTest::newRow("endless") << QByteArray(100'000, 'R');
    const QByteArray control(54, '\x01');
    QTest::newRow("characters below blank") << "S001  T " + control + sumOf(control) + "Q";
    const QByteArray high(54, '\xff');
    QTest::newRow("characters above") << "S001  T " + high + sumOf(high) + "Q";
}

void TestHighTemperature::nonsenseIsPassedOver()
{
    QFETCH(QByteArray, line);
    Bench bench;
    QCOMPARE(bench.say(line + "\r\n"), QByteArray());
    bench.after(60.0);
    QCOMPARE(bench.say("R001NT?\r\n").size(), 116);
}

void TestHighTemperature::theSetpointStaysWithinTheLimits()
{
    Bench bench;
    bench.change({{setpoint, 1600}});
    QCOMPARE(valueAt(bench.block('T'), setpoint), 1500);
    bench.change({{setpoint, 5}});
    QCOMPARE(valueAt(bench.block('T'), setpoint), 20);
}

void TestHighTemperature::withTheHeaterOffItStaysCold()
{
    Bench bench;
    bench.change({{setpoint, 900}});
    bench.after(3600.0);
    QCOMPARE(bench.actual(), 22);
    QCOMPARE(bench.device.heaterPower(), 0.0);
}

void TestHighTemperature::itSettlesAtTheSetpoint_data()
{
    QTest::addColumn<int>("celsius");
    for (const int celsius : {100, 200, 500, 900, 1400})
        QTest::addRow("%d", celsius) << celsius;
}

void TestHighTemperature::itSettlesAtTheSetpoint()
{
    QFETCH(int, celsius);
    Bench bench;
    bench.change({{setpoint, celsius}, {heater, 1}});
    bench.after(3600.0);
    for (int i = 0; i < 50; ++i, bench.after(3.0))
        QVERIFY2(std::abs(bench.device.celsius() - celsius) < 0.1, qPrintable(QString::number(bench.device.celsius())));
    QCOMPARE(bench.actual(), celsius);
}

void TestHighTemperature::theRampIsObeyed()
{
    Bench bench;
    bench.change({{setpoint, 400}, {heater, 1}});
    bench.after(3600.0);
    bench.change({{setpoint, 800}, {ramp, 20}});
    bench.after(240.0);
    const double first = bench.device.celsius();
    bench.after(600.0);
    const double second = bench.device.celsius();
    QVERIFY2(std::abs(second - first - 200.0) < 2.0, qPrintable(QString::number(second - first)));
    bench.after(1800.0);
    QVERIFY(std::abs(bench.device.celsius() - 800.0) < 0.1);
}

void TestHighTemperature::theHeaterHasItsFullPowerAndNoMore()
{
    Bench bench;
    bench.change({{setpoint, 1500}, {heater, 1}, {7, 1}});
    double highest = 0.0;
    for (int i = 0; i < 300; ++i, bench.after(1.0))
        highest = std::max(highest, bench.device.heaterPower());
    QCOMPARE(highest, lab::HighTemperatureController::fullPower);
}

void TestHighTemperature::switchingTheHeaterOffLetsItCool()
{
    Bench bench;
    bench.change({{setpoint, 500}, {heater, 1}});
    bench.after(3600.0);
    bench.change({{heater, 0}});
    bench.after(60.0);
    const double after = bench.device.celsius();
    QVERIFY2(after < 400.0 && after > 25.0, qPrintable(QString::number(after)));
    QCOMPARE(bench.block('F')[60], ' ');
}

void TestHighTemperature::selfOptimizingEndsWithItsOwnParameters()
{
    Bench bench;
    bench.change({{setpoint, 500}, {heater, 1}, {7, 400}, {10, 0}, {13, 0}, {optimizing, 1}});
    bench.after(60.0);
    QCOMPARE(valueAt(bench.block('T'), optimizing), 1);
    QCOMPARE(bench.block('F')[64] - 32, 2);
    bench.after(3600.0);
    const QByteArray block = bench.block('T');
    QCOMPARE(valueAt(block, optimizing), 0);
    QVERIFY(valueAt(block, 7) != 400 && valueAt(block, 10) > 0);
    QVERIFY(std::abs(bench.device.celsius() - 500.0) < 0.1);
}

void TestHighTemperature::theSampleIsALittleCoolerThanTheFurnace()
{
    Bench bench;
    bench.change({{setpoint, 900}, {heater, 1}});
    bench.after(3600.0);
    const double difference = bench.device.celsius() - bench.device.sampleCelsius();
    QVERIFY2(difference > 3.0 && difference < 6.0, qPrintable(QString::number(difference)));
    QCOMPARE(bench.laboratory.sampleTemperature(bench.clock.now()), bench.device.sampleCelsius() + 273.15);
}

void TestHighTemperature::thePeakMovesWithTheTemperature()
{
    Bench bench;
    const auto centre = [&] {
        double sum = 0.0;
        double moment = 0.0;
        for (int step = 0; step < 40; ++step) {
            const double angle = 49.2 + 0.04 * step;
            const double counts = bench.countsAt(angle, 10.0);
            sum += counts;
            moment += counts * angle;
        }
        return moment / sum;
    };
    const double cold = centre();
    bench.change({{setpoint, 500}, {heater, 1}});
    bench.after(3600.0);
    const double hot = centre();
    QVERIFY2(cold - hot > 0.1 && cold - hot < 0.5, qPrintable(QString::number(cold - hot)));
}

void TestHighTemperature::theHeatDoesNotDependOnWhenSomebodyLooks()
{
    QList<double> temperatures;
    for (const int steps : {1, 1000}) {
        Bench bench;
        bench.change({{setpoint, 700}, {heater, 1}, {optimizing, 1}});
        for (int i = 0; i < steps; ++i)
            bench.after(150.0 / steps);
        temperatures += bench.device.celsius();
    }
    QCOMPARE(temperatures[1], temperatures[0]);
}

void TestHighTemperature::theIdleAnswerRepeatsOneCharacter()
{
    Bench bench({{.kind = lab::FaultKind::idleAnswer, .after = 0, .lasting = 1}});
    const QByteArray answer = bench.say("R001NT?\r\n");
    QVERIFY(answer.size() > 1);
    QCOMPARE(answer, QByteArray(answer.size(), answer[0]));
    QCOMPARE(bench.say("R001NT?\r\n").size(), 116);
}

void TestHighTemperature::theAnswerOfAnotherLoopIsNoBlock()
{
    Bench bench({{.kind = lab::FaultKind::wrongLoop}});
    const QByteArray answer = bench.say("R001NF?\r\n");
    QCOMPARE(answer, QByteArray("A002NF?\r\n"));
}

void TestHighTemperature::afterSwitchingOffAndOnTheHeaterIsOff()
{
    Bench bench({{.kind = lab::FaultKind::powerCycle, .after = 4}});
    bench.change({{setpoint, 600}, {heater, 1}});
    QCOMPARE(valueAt(bench.block('T'), heater), 1);
    bench.say("R001NT?\r\n");
    QCOMPARE(valueAt(bench.block('T'), heater), 0);
    QCOMPARE(valueAt(bench.block('T'), setpoint), 600);
}

void TestHighTemperature::whoSwitchesItOnAgainSwitchesTheHeaterOn()
{
    Bench bench({{.kind = lab::FaultKind::off, .inSeconds = true, .after = 300.0, .lasting = 30.0}});
    bench.change({{setpoint, 600}, {heater, 1}});
    bench.after(299.0);
    QVERIFY(std::abs(bench.device.celsius() - 600.0) < 5.0);
    bench.after(1.0);
    QCOMPARE(bench.say("R001NT?\r\n"), QByteArray());
    bench.after(29.0);
    QVERIFY(bench.device.celsius() < 400.0);
    QCOMPARE(bench.device.heaterPower(), 0.0);
    bench.after(1.0);
    QCOMPARE(valueAt(bench.block('T'), heater), 1);
    bench.after(300.0);
    QVERIFY(std::abs(bench.device.celsius() - 600.0) < 5.0);
}

void TestHighTemperature::aWrongChecksumKeepsTheLength()
{
    Bench bench({{.kind = lab::FaultKind::wrongChecksum, .lasting = 1}});
    const QByteArray wrong = bench.say("R001NT?\r\n");
    const QByteArray right = bench.say("R001NT?\r\n");
    QCOMPARE(wrong.size(), 116);
    QCOMPARE(wrong.left(17 + 92), right.left(17 + 92));
    QVERIFY(wrong.mid(17 + 92, 4) != right.mid(17 + 92, 4));
}

void TestHighTemperature::aBlockIsIgnoredOrReadBackWrong()
{
    Bench ignoring({*lab::parseFault("ignore:S001")});
    QCOMPARE(ignoring.change({{setpoint, 300}, {heater, 1}}), QByteArray());
    QCOMPARE(valueAt(ignoring.block('T'), setpoint), 20);
    Bench wrong({*lab::parseFault("wrong-readback:1")});
    const QByteArray truth = wrong.block('T');
    const QByteArray told = wrong.block('T');
    QCOMPARE(valueAt(told, setpoint), valueAt(truth, setpoint) + 7);
    QCOMPARE(valueAt(told, 7), valueAt(truth, 7) + 7);
    QCOMPARE(valueAt(told, heater), 1 - valueAt(truth, heater));
    QCOMPARE(valueAt(told, 1), valueAt(truth, 1)); // a reading is no set value
}

QTEST_GUILESS_MAIN(TestHighTemperature)
#include "tst_hightemperature.moc"
