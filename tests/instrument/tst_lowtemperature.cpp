// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "DeviceBench.h"
#include "LakeShoreController.h"

#include <QTest>

#include <cmath>

namespace {

using Model = lab::LakeShoreModel;

struct Bench : DeviceBench<lab::LakeShoreController>
{
    explicit Bench(Model model, std::vector<lab::Fault> faults = {}, std::optional<double> regulatesAt = {})
        : DeviceBench(std::move(faults), model, regulatesAt)
    {
    }
    /// Sends a line when the controller has time for it.
    QByteArray ask(const QByteArray& line)
    {
        after(0.5);
        return say(line + "\r\n");
    }
    double value(const QByteArray& line)
    {
        QByteArray answer = ask(line).trimmed();
        if (answer.endsWith('K'))
            answer.chop(1);
        bool ok = false;
        const double number = answer.toDouble(&ok);
        return ok ? number : NAN;
    }
};

struct Language
{
    const char* name;
    Model model;
    QByteArray temperature;
    QByteArray setpoint;
};

const Language languages[] = {
    {"330", Model::ls330, "SDAT?", "SETP "},
    {"331", Model::ls331, "KRDG?", "SETP 1, "},
    {"emu", Model::ls331Emulating330, "SDAT?", "SETP "},
    {"drc91", Model::drc91, "WS", "S"},
    {"drc81", Model::drc81, "WS", "S"},
};

/// The control parameters that a controller comes with for `kelvin`.
void setParameters(Bench& bench, Model model, double kelvin)
{
    const bool cold = kelvin <= 25.0;
    switch (model) {
    case Model::ls330:
    case Model::ls331Emulating330:
        bench.ask(cold ? "GAIN 25;RSET 500;RATE 0;RANG 2" : "GAIN 300;RSET 50;RATE 0;RANG 3");
        break;
    case Model::ls331:
        bench.ask(cold ? "PID 1, 25, 500, 0" : "PID 1, 300, 50, 0");
        bench.ask(cold ? "RANGE 2" : "RANGE 3");
        break;
    case Model::drc91:
        bench.ask(cold ? "P10I7D4R5" : "P40I1D10R5");
        break;
    case Model::drc81:
        bench.ask(cold ? "P10I7D4R4" : "P40I1D10R4");
        break;
    }
}

} // namespace

class TestLowTemperature : public QObject
{
    Q_OBJECT

private slots:
    void everyQueryOfThe330IsAnswered_data();
    void everyQueryOfThe330IsAnswered();
    void everyQueryOfThe331IsAnswered_data();
    void everyQueryOfThe331IsAnswered();
    void theEmulationSpeaks330UntilItIsSwitchedOff();
    void aChainAnswersOneLineForEachQuery();
    void commandsInPiecesAreUnderstood();
    void nonsenseIsPassedOver_data();
    void nonsenseIsPassedOver();
    void lettersOfADrcFollowEachOther();
    void aLetterWithoutAValueMeansZero();
    void theRecordOfTheDrc91IsShortUntilItIsCleared();
    void theRecordOfTheDrc81HasSevenFields();
    void theOlderModelsObeyOneLineInHalfASecond_data();
    void theOlderModelsObeyOneLineInHalfASecond();
    void aResetSwitchesTheHeaterOff();
    void itSettlesAtTheSetpoint_data();
    void itSettlesAtTheSetpoint();
    void theRampIsObeyed_data();
    void theRampIsObeyed();
    void aWeakHeaterRangeCannotHoldTheTemperature();
    void withoutHeaterItCoolsToTheBase();
    void withStoredSettingsItRegulatesAfterAReset();
    void withoutIntegralActionAnOffsetRemains();
    void autotuningFindsItsOwnParameters();
    void theSampleFollowsTheStage();
    void thePeakMovesWithTheTemperature();
    void theHeatDoesNotDependOnWhenSomebodyLooks();
    void readingsScatterButTheSameMomentReadsTheSame();
    void switchedOffAndOnItForgetsTheLinesThatWait();
    void whoSwitchesItOnAgainSwitchesTheHeaterOn();
    void whatIsIgnoredLostOrReadBackWrong_data();
    void whatIsIgnoredLostOrReadBackWrong();
};

void TestLowTemperature::everyQueryOfThe330IsAnswered_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer");
    QTest::newRow("*IDN?") << QByteArray("*IDN?") << QByteArray("LSCI,MODEL330,123456,020399\r\n");
    const std::pair<const char*, const char*> table[] = {{"SETP 77.2;SETP?", "+077.20"},
                                                         {"SETP?", "+298.00"},
                                                         {"GAIN 25;GAIN?", "025"},
                                                         {"RSET 500;RSET?", "500"},
                                                         {"RATE 5;RATE?", "005"},
                                                         {"RANG 0;RANG?", "0"},
                                                         {"RANG 3;RANG?", "3"},
                                                         {"HEAT?", "000"},
                                                         {"RAMP 1;RAMP?", "1"},
                                                         {"RAMPR 2.5;RAMPR?", "002.5"},
                                                         {"TUNE?", "0"},
                                                         {"TUNE 1;TUNE?", "1"},
                                                         {"SCHN A;SCHN?", "A"},
                                                         {"SUNI K;SUNI?", "K"},
                                                         {"CCHN A;CCHN?", "A"},
                                                         {"CUNI K;CUNI?", "K"},
                                                         {"GAIN 1000;GAIN?", "050"},
                                                         {"RANG 4;RANG?", "0"},
                                                         {"SETP 401;SETP?", "+298.00"},
                                                         {"SETP -1;SETP?", "+298.00"},
                                                         {"TUNE 5;TUNE?", "0"},
                                                         {"RATE 201;RATE?", "000"}};
    for (const auto& [command, answer] : table)
        QTest::newRow(command) << QByteArray(command) << QByteArray(answer) + "\r\n";
}

void TestLowTemperature::everyQueryOfThe330IsAnswered()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    Bench bench(Model::ls330);
    QCOMPARE(bench.ask(command), answer);
    const QByteArray reading = bench.ask("SDAT?");
    QCOMPARE(reading.size(), 9);
    QVERIFY(reading.startsWith("+29"));
}

void TestLowTemperature::everyQueryOfThe331IsAnswered_data()
{
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer");
    const std::pair<const char*, const char*> table[] = {{"*IDN?", "LSCI,MODEL331S,123456,020399"},
                                                         {"SETP 1, 123.456;SETP? 1", "+123.456"},
                                                         {"SETP? 1", "+298.000"},
                                                         {"PID 1, 25, 500, 0;PID? 1", "+0025.0,+0500.0,+0000.0"},
                                                         {"RANGE 2;RANGE?", "2"},
                                                         {"HTR?", "+000.0"},
                                                         {"TUNEST?", "0"},
                                                         {"RAMP 1,1,5;RAMP? 1", "1,005.0"},
                                                         {"RAMP 1,1,5;RAMP 1,0,-3;RAMP? 1", "0,005.0"},
                                                         {"RANGE 4;RANGE?", "0"}};
    for (const auto& [command, answer] : table)
        QTest::newRow(command) << QByteArray(command) << QByteArray(answer) + "\r\n";
}

void TestLowTemperature::everyQueryOfThe331IsAnswered()
{
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    Bench bench(Model::ls331);
    QCOMPARE(bench.ask(command), answer);
    const QByteArray reading = bench.ask("KRDG?");
    QCOMPARE(reading.size(), 10);
    QVERIFY(reading.startsWith("+29"));
    QCOMPARE(bench.ask("SDAT?"), QByteArray()); // the other family's
}

void TestLowTemperature::theEmulationSpeaks330UntilItIsSwitchedOff()
{
    Bench bench(Model::ls331Emulating330);
    QCOMPARE(bench.ask("*IDN?"), QByteArray("LSCI,MODEL331S,123456,020399\r\n"));
    QCOMPARE(bench.ask("TUNE?"), QByteArray("0\r\n"));
    bench.ask("*RST");
    bench.ask("EMUL 1");
    QCOMPARE(bench.ask("GAIN 25;GAIN?"), QByteArray("025\r\n"));
    bench.ask("EMUL 0");
    QCOMPARE(bench.ask("GAIN?"), QByteArray());
    QCOMPARE(bench.ask("RANGE?"), QByteArray("0\r\n"));
}

void TestLowTemperature::aChainAnswersOneLineForEachQuery()
{
    Bench bench(Model::ls330);
    QCOMPARE(bench.ask("SETP 50;SETP?;GAIN 12;GAIN?;RANG?"), QByteArray("+050.00\r\n012\r\n0\r\n"));
    QCOMPARE(bench.ask("RSET 7; RSET? ;;"), QByteArray("007\r\n"));
}

void TestLowTemperature::commandsInPiecesAreUnderstood()
{
    Bench bench(Model::ls331);
    QByteArray answer;
    for (const char byte : QByteArray("RANGE?\r\n"))
        answer += bench.say(QByteArray(1, byte));
    QCOMPARE(answer, QByteArray("0\r\n"));
}

void TestLowTemperature::nonsenseIsPassedOver_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<QByteArray>("command");
    for (int i = 0; i < 5; ++i)
        for (const char* command :
             {";;;",       "?",        "SETP",    "SETP x", "SETP 1", "PID 1,2", "PID 1,a,b,c", "RAMP 1,1,1e3", "GAIN nan",
              "GAIN inf",  "zzz",      "W",       "WX",     "X",      "XD",      "\xff\xfe",    "R-1",          "R99999999999999999999",
              "CMODE 1,7", "RANG 1e1", "SETP 1,", "TUNE"})
            if (i < 3 || command[0] != 'S') // to a DRC, a setpoint of whatever comes
                QTest::addRow("%s %s", languages[i].name, command) << i << QByteArray(command);
    QTest::newRow("endless") << 1 << QByteArray(100'000, 'K');
}

void TestLowTemperature::nonsenseIsPassedOver()
{
    QFETCH(int, index);
    QFETCH(QByteArray, command);
    Bench bench(languages[index].model);
    QCOMPARE(bench.ask(command), QByteArray());
    const double temperature = bench.value(languages[index].temperature);
    QVERIFY2(std::abs(temperature - 297.5) < 1.0, qPrintable(QString::number(temperature)));
    QCOMPARE(bench.device.heaterPower(), 0.0);
}

void TestLowTemperature::lettersOfADrcFollowEachOther()
{
    Bench bench(Model::drc91);
    bench.ask("C");
    bench.ask("S123.4P45I30D25R4");
    QCOMPARE(bench.ask("WP"), QByteArray("123.40K\r\n"));
    QCOMPARE(bench.ask("W3"), QByteArray("45.0,25.0,30.0,4,000\r\n"));
    bench.ask("S 5");
    QCOMPARE(bench.ask("WSWP").count("K\r\n"), 2);
}

void TestLowTemperature::aLetterWithoutAValueMeansZero()
{
    Bench bench(Model::drc91);
    bench.ask("CP45I30D25R4");
    bench.ask("PI12DR");
    QCOMPARE(bench.ask("W3"), QByteArray("00.0,00.0,12.0,0,000\r\n"));
}

void TestLowTemperature::theRecordOfTheDrc91IsShortUntilItIsCleared()
{
    Bench bench(Model::drc91);
    bench.device.lineOpened();
    QCOMPARE(bench.ask("W3").count(','), 2);
    bench.ask("C");
    QCOMPARE(bench.ask("W3").count(','), 4);
    bench.device.lineOpened();
    QCOMPARE(bench.ask("W3").count(','), 2);
}

void TestLowTemperature::theRecordOfTheDrc81HasSevenFields()
{
    Bench bench(Model::drc81);
    bench.ask("P40I1D10R4");
    const QByteArray record = bench.ask("W1");
    QCOMPARE(record.count(','), 6);
    QVERIFY2(record.endsWith(",40.0,10.0,01.0,4\r\n"), record.constData());
    bench.ask("C");
    QCOMPARE(bench.ask("W1").count(','), 6);
    bench.ask("R5"); // it has four ranges
    QVERIFY(bench.ask("W1").endsWith(",4\r\n"));
}

void TestLowTemperature::theOlderModelsObeyOneLineInHalfASecond_data()
{
    QTest::addColumn<int>("index");
    for (const int index : {0, 3, 4})
        QTest::newRow(languages[index].name) << index;
}

void TestLowTemperature::theOlderModelsObeyOneLineInHalfASecond()
{
    QFETCH(int, index);
    Bench bench(languages[index].model);
    const QByteArray query = languages[index].temperature + "\r\n";
    QCOMPARE(bench.say(query + query + query).count("\r\n"), 1);
    QVERIFY(bench.device.due().has_value());
    QCOMPARE(bench.after(0.49), QByteArray());
    QCOMPARE(bench.after(0.01).count("\r\n"), 1);
    QCOMPARE(bench.after(0.5).count("\r\n"), 1); // late, not lost
    QVERIFY(!bench.device.due().has_value());
}

void TestLowTemperature::aResetSwitchesTheHeaterOff()
{
    Bench bench(Model::ls330);
    bench.ask("GAIN 30;RANG 3;RAMP 1;TUNE 2;SUNI C");
    bench.ask("*RST");
    QCOMPARE(bench.ask("RANG?;RAMP?;TUNE?;SUNI?;GAIN?"), QByteArray("0\r\n0\r\n0\r\nK\r\n030\r\n"));
}

void TestLowTemperature::itSettlesAtTheSetpoint_data()
{
    QTest::addColumn<int>("index");
    QTest::addColumn<double>("kelvin");
    for (int i = 0; i < 5; ++i)
        for (const double kelvin : {10.0, 20.0, 40.0, 100.0, 200.0, 300.0})
            QTest::addRow("%s %g K", languages[i].name, kelvin) << i << kelvin;
}

void TestLowTemperature::itSettlesAtTheSetpoint()
{
    QFETCH(int, index);
    QFETCH(double, kelvin);
    const Language& language = languages[index];
    Bench bench(language.model);
    setParameters(bench, language.model, kelvin);
    bench.ask(language.setpoint + QByteArray::number(kelvin));
    bench.after(7200.0);
    double sum = 0.0;
    for (int i = 0; i < 20; ++i) {
        sum += bench.value(language.temperature);
        const double exact = bench.device.stageTemperature();
        QVERIFY2(std::abs(exact - kelvin) < 0.1, qPrintable(QString::number(exact)));
    }
    QVERIFY2(std::abs(sum / 20.0 - kelvin) < 0.1, qPrintable(QString::number(sum / 20.0)));
    QVERIFY2(std::abs(bench.device.sampleTemperature() - kelvin) < 0.2, qPrintable(QString::number(bench.device.sampleTemperature())));
}

void TestLowTemperature::theRampIsObeyed_data()
{
    QTest::addColumn<int>("index");
    for (const int index : {0, 1, 2})
        QTest::newRow(languages[index].name) << index;
}

void TestLowTemperature::theRampIsObeyed()
{
    QFETCH(int, index);
    const Language& language = languages[index];
    Bench bench(language.model);
    setParameters(bench, language.model, 100.0);
    bench.ask(language.setpoint + "100");
    bench.after(5000.0);
    if (language.model == Model::ls331) {
        bench.ask("RAMP 1,1,3");
    } else {
        bench.ask("RAMP 1");
        bench.ask("RAMPR 3");
    }
    bench.ask(language.setpoint + "130");
    bench.after(120.0);
    const double first = bench.device.stageTemperature();
    bench.after(300.0);
    const double second = bench.device.stageTemperature();
    QVERIFY2(std::abs((second - first) - 15.0) < 0.2, qPrintable(QString::number(second - first)));
    const double passing = bench.value(language.model == Model::ls331 ? "SETP? 1" : "SETP?");
    QVERIFY2(passing > first && passing < 130.0, qPrintable(QString::number(passing)));
    bench.after(400.0);
    QVERIFY(std::abs(bench.device.stageTemperature() - 130.0) < 0.1);
    QCOMPARE(bench.value(language.model == Model::ls331 ? "SETP? 1" : "SETP?"), 130.0);
}

void TestLowTemperature::aWeakHeaterRangeCannotHoldTheTemperature()
{
    Bench bench(Model::ls330);
    bench.ask("GAIN 300;RSET 50;RANG 1");
    bench.ask("SETP 100");
    bench.after(7200.0);
    QCOMPARE(bench.ask("HEAT?"), QByteArray("100\r\n"));
    QCOMPARE(bench.device.heaterPower(), 0.5);
    QVERIFY2(std::abs(bench.device.stageTemperature() - 10.9) < 0.2, qPrintable(QString::number(bench.device.stageTemperature())));
    bench.ask("RANG 3");
    QVERIFY(bench.device.heaterPower() <= 50.0);
    bench.after(1.0);
    QCOMPARE(bench.device.heaterPower(), 50.0);
}

void TestLowTemperature::withoutHeaterItCoolsToTheBase()
{
    Bench bench(Model::ls331);
    bench.after(60.0);
    const double minute = bench.device.stageTemperature();
    QVERIFY2(minute < 255.0 && minute > 245.0, qPrintable(QString::number(minute)));
    bench.after(1740.0);
    const double base = bench.device.stageTemperature();
    QVERIFY2(base > 5.2 && base < 5.5, qPrintable(QString::number(base)));
}

void TestLowTemperature::withStoredSettingsItRegulatesAfterAReset()
{
    Bench bench(Model::ls331, {}, 295);
    bench.after(600.0);
    QVERIFY2(std::fabs(bench.device.stageTemperature() - 295) < 0.2, qPrintable(QString::number(bench.device.stageTemperature())));
    bench.ask("*RST");
    bench.after(600.0);
    QVERIFY2(std::fabs(bench.device.stageTemperature() - 295) < 0.2, qPrintable(QString::number(bench.device.stageTemperature())));
    QCOMPARE(bench.ask("RANGE?").trimmed(), QByteArray("3"));
}

void TestLowTemperature::withoutIntegralActionAnOffsetRemains()
{
    Bench bench(Model::ls331);
    bench.ask("PID 1, 10, 0, 0");
    bench.ask("RANGE 3");
    bench.ask("SETP 1, 200");
    bench.after(7200.0);
    // what the cryostat draws at 200 K needs a deviation of some kelvin at 10 percent per kelvin
    const double offset = 200.0 - bench.device.stageTemperature();
    QVERIFY2(std::abs(offset - bench.device.heaterPower() / 50.0 / 0.10) < 0.01, qPrintable(QString::number(offset)));
    QVERIFY(offset > 2.0);
}

void TestLowTemperature::autotuningFindsItsOwnParameters()
{
    Bench bench(Model::ls330);
    bench.ask("GAIN 1;RSET 0;RATE 0;RANG 3;TUNE 2");
    bench.ask("SETP 150");
    bench.after(3600.0);
    QVERIFY(bench.value("GAIN?") > 1.0);
    QVERIFY(bench.value("RSET?") > 0.0);
    QVERIFY(std::abs(bench.device.stageTemperature() - 150.0) < 0.1);
    QCOMPARE(bench.ask("RANG?"), QByteArray("3\r\n")); // the range is never touched
}

void TestLowTemperature::theSampleFollowsTheStage()
{
    Bench bench(Model::ls331);
    setParameters(bench, Model::ls331, 250.0);
    bench.ask("SETP 1, 250");
    bench.after(2000.0);
    bench.ask("SETP 1, 280");
    bench.after(5.0);
    QVERIFY(bench.device.sampleTemperature() < bench.device.stageTemperature() - 0.5);
    bench.after(300.0);
    QVERIFY(std::abs(bench.device.sampleTemperature() - bench.device.stageTemperature()) < 0.1);
    QCOMPARE(bench.laboratory.sampleTemperature(bench.clock.now()), bench.device.sampleTemperature());
}

void TestLowTemperature::thePeakMovesWithTheTemperature()
{
    Bench bench(Model::ls331);
    setParameters(bench, Model::ls331, 298.0);
    bench.ask("SETP 1, 298");
    bench.after(600.0);
    const auto centre = [&] {
        double sum = 0.0;
        double moment = 0.0;
        for (int step = 0; step < 45; ++step) {
            const double angle = 49.8 + 0.02 * step;
            const double counts = bench.countsAt(angle, 10.0);
            sum += counts;
            moment += counts * angle;
        }
        return moment / sum;
    };
    const double before = centre();
    bench.ask("SETP 1, 50");
    bench.after(3600.0);
    const double after = centre();
    // alpha 12e-6 per kelvin, 248 K: d falls by 0.3 %, the line at 50.1 degrees rises by about 0.15 degrees
    QVERIFY2(after - before > 0.05 && after - before < 0.25, qPrintable(QString::number(after - before)));
}

void TestLowTemperature::theHeatDoesNotDependOnWhenSomebodyLooks()
{
    QList<double> temperatures;
    for (const bool looking : {false, true}) {
        Bench bench(Model::ls331);
        setParameters(bench, Model::ls331, 100.0);
        bench.ask("SETP 1, 100");
        if (looking)
            for (int i = 0; i < 700; ++i) {
                bench.after(1.0);
                bench.laboratory.sampleTemperature(bench.clock.now());
            }
        else
            bench.after(700.0);
        temperatures += bench.device.sampleTemperature();
        bench.laboratory.sampleTemperature(lab::Time{0});
        QCOMPARE(bench.laboratory.sampleTemperature(bench.clock.now() - lab::fromSeconds(600.0)) > temperatures.last(), true);
    }
    QCOMPARE(temperatures[0], temperatures[1]);
}

void TestLowTemperature::readingsScatterButTheSameMomentReadsTheSame()
{
    Bench bench(Model::ls331);
    setParameters(bench, Model::ls331, 100.0);
    bench.ask("SETP 1, 100");
    bench.after(3600.0);
    const QByteArray twice = bench.say("KRDG?;KRDG?\r\n");
    QCOMPARE(twice.left(10), twice.mid(10));
    double sum = 0.0;
    for (int i = 0; i < 200; ++i) {
        const double off = bench.value("KRDG?") - bench.device.stageTemperature();
        sum += off * off;
    }
    const double deviation = std::sqrt(sum / 200.0);
    QVERIFY2(deviation > 0.002 && deviation < 0.004, qPrintable(QString::number(deviation)));
}

void TestLowTemperature::switchedOffAndOnItForgetsTheLinesThatWait()
{
    Bench bench(Model::ls330, {{.kind = lab::FaultKind::powerCycle, .after = 2}});
    bench.ask("RANG 3");
    bench.say("RANG?\r\nHEAT?\r\nHEAT?\r\n");
    bench.after(0.5);
    QCOMPARE(bench.after(5.0), QByteArray());
    QCOMPARE(bench.ask("RANG?"), QByteArray("0\r\n"));
}

void TestLowTemperature::whoSwitchesItOnAgainSwitchesTheHeaterOn()
{
    Bench bench(Model::ls331, {{.kind = lab::FaultKind::off, .inSeconds = true, .after = 600.0, .lasting = 30.0}});
    setParameters(bench, Model::ls331, 250.0);
    bench.ask("SETP 1, 250");
    bench.after(600.0 - lab::toSeconds(bench.clock.now()) - 0.5);
    QVERIFY(std::abs(bench.device.stageTemperature() - 250.0) < 1.0);
    bench.after(0.5);
    QCOMPARE(bench.ask("RANGE?"), QByteArray());
    bench.after(28.0);
    QCOMPARE(bench.device.heaterPower(), 0.0);
    QVERIFY(bench.device.stageTemperature() < 240.0);
    bench.after(3.0);
    QCOMPARE(bench.ask("RANGE?"), QByteArray("3\r\n"));
    QCOMPARE(bench.ask("SETP? 1"), QByteArray("+250.000\r\n"));
    bench.after(600.0);
    QVERIFY(std::abs(bench.device.stageTemperature() - 250.0) < 1.0);
}

void TestLowTemperature::whatIsIgnoredLostOrReadBackWrong_data()
{
    QTest::addColumn<Model>("model");
    QTest::addColumn<QByteArray>("set");
    QTest::addColumn<QByteArray>("read");
    QTest::addColumn<double>("before");
    QTest::newRow("330") << Model::ls330 << QByteArray("SETP 77") << QByteArray("SETP?") << lab::roomTemperature;
    QTest::newRow("331") << Model::ls331 << QByteArray("SETP 1, 77") << QByteArray("SETP? 1") << lab::roomTemperature;
    QTest::newRow("DRC-91CA") << Model::drc91 << QByteArray("S77") << QByteArray("WP") << lab::roomTemperature;
    QTest::newRow("heater range") << Model::ls330 << QByteArray("RANG 3") << QByteArray("RANG?") << 0.0;
}

void TestLowTemperature::whatIsIgnoredLostOrReadBackWrong()
{
    QFETCH(Model, model);
    QFETCH(QByteArray, set);
    QFETCH(QByteArray, read);
    QFETCH(double, before);
    const double wanted = set.endsWith("77") ? 77.0 : 3.0;
    Bench ignoring(model, {*lab::parseFault("ignore:" + set.toStdString())});
    ignoring.ask(set);
    QVERIFY(std::abs(ignoring.value(read) - before) < 0.01);
    Bench losing(model, {*lab::parseFault("lose:" + read.toStdString() + ":0:2")});
    losing.ask(set);
    QCOMPARE(losing.ask(read), QByteArray());
    QCOMPARE(losing.value(read), wanted);
    Bench wrong(model, {*lab::parseFault("wrong-readback")});
    wrong.ask(set);
    QCOMPARE(wrong.value(read), wanted == 77.0 ? 84.0 : 0.0);
}

QTEST_GUILESS_MAIN(TestLowTemperature)
#include "tst_lowtemperature.moc"
