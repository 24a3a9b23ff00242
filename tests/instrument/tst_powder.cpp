// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Bench.h"
#include "Powder.h"

#include <QTest>

#include <cmath>

class TestPowder : public QObject
{
    Q_OBJECT

private slots:
    void theLinesStandWhereTheyBelong_data();
    void theLinesStandWhereTheyBelong();
    void forbiddenLinesAreAbsent();
    void aMeasuredScanPeaksWhereTheLineIs_data();
    void aMeasuredScanPeaksWhereTheLineIs();
    void theStrongestQuartzLineGivesSeveralThousand();
    void alphaTwoShowsAtHighAngles();
    void theBackgroundRisesTowardsTheBeam();
    void linesWidenTowardsHighAngles();
    void aHotSampleIsLarger();
    void theRateIsDefinedEverywhere();
    void countsScatterAsTheyShould_data();
    void countsScatterAsTheyShould();
    void noRateGivesNoCounts();
};

void TestPowder::theLinesStandWhereTheyBelong_data()
{
    QTest::addColumn<QString>("sample");
    QTest::addColumn<double>("angle");
    QTest::addColumn<double>("lowest");
    QTest::addColumn<double>("highest");
    QTest::newRow("quartz 100") << "quartz" << 20.86 << 17.0 << 24.0;
    QTest::newRow("quartz 101") << "quartz" << 26.64 << 100.0 << 100.0;
    QTest::newRow("quartz 112") << "quartz" << 50.14 << 10.5 << 16.0;
    QTest::newRow("silicon 111") << "silicon" << 28.44 << 100.0 << 100.0;
    QTest::newRow("silicon 220") << "silicon" << 47.30 << 50.0 << 75.0;
    QTest::newRow("silicon 311") << "silicon" << 56.12 << 25.0 << 45.0;
    QTest::newRow("lab6 100") << "lab6" << 21.36 << 40.0 << 75.0;
    QTest::newRow("lab6 110") << "lab6" << 30.38 << 100.0 << 100.0;
}

void TestPowder::theLinesStandWhereTheyBelong()
{
    QFETCH(QString, sample);
    QFETCH(double, angle);
    QFETCH(double, lowest);
    QFETCH(double, highest);
    double found = 0.0;
    for (const lab::Line& line : lab::powderLines(*lab::findSample(sample.toStdString()), lab::roomTemperature))
        if (std::fabs(line.twoTheta - angle) < 0.02)
            found += line.intensity;
    QVERIFY2(found >= lowest - 1e-9 && found <= highest + 1e-9, qPrintable(QString::number(found)));
}

void TestPowder::forbiddenLinesAreAbsent()
{
    for (const lab::Line& line : lab::powderLines(*lab::findSample("silicon"), lab::roomTemperature)) {
        const int sum = static_cast<int>(std::lround(std::pow(5.43102 / line.d, 2)));
        QVERIFY2(sum != 4 && sum != 12 && sum % 8 != 7 && sum != 1 && sum != 2 && sum != 5, qPrintable(QString::number(sum)));
    }
}

void TestPowder::aMeasuredScanPeaksWhereTheLineIs_data()
{
    QTest::addColumn<QString>("sample");
    QTest::addColumn<double>("angle");
    QTest::newRow("quartz") << "quartz" << 26.64;
    QTest::newRow("silicon") << "silicon" << 28.44;
    QTest::newRow("lab6") << "lab6" << 30.38;
}

void TestPowder::aMeasuredScanPeaksWhereTheLineIs()
{
    QFETCH(QString, sample);
    QFETCH(double, angle);
    lab::ManualClock clock;
    lab::Trace trace;
    lab::Laboratory laboratory(clock, *lab::findSample(sample.toStdString()), 3);
    lab::GoniometerController controller(laboratory, {}, trace, {});
    for (const QByteArray& line : twoAxesScan(24.0, 0.02, 501, 1.0))
        controller.receive(line.toStdString());
    clock.advance(1000.0);
    controller.wake();
    const auto& counts = controller.counts();
    QCOMPARE(counts.size(), std::size_t(501));
    const auto highest = std::max_element(counts.begin(), counts.end()) - counts.begin();
    const double measured = 24.0 + 0.02 * static_cast<double>(highest);
    QVERIFY2(std::fabs(measured - angle) < 0.031, qPrintable(QString::number(measured)));
}

void TestPowder::theStrongestQuartzLineGivesSeveralThousand()
{
    const lab::Pattern pattern(*lab::findSample("quartz"), lab::roomTemperature);
    const double rate = pattern.rate(26.64);
    QVERIFY2(rate > 5000.0 && rate < 7000.0, qPrintable(QString::number(rate)));
    QVERIFY(pattern.rate(30.0) < 0.02 * rate);
}

void TestPowder::alphaTwoShowsAtHighAngles()
{
    // Si 533 at 136.9: alpha 2 stands 0.56 degrees beside alpha 1, with half its height
    const lab::Sample& silicon = *lab::findSample("silicon");
    const lab::Pattern pattern(silicon, lab::roomTemperature);
    const double d = 5.43102 / std::sqrt(43.0);
    const double degrees = 180.0 / std::acos(-1.0);
    const double first = 2.0 * degrees * std::asin(1.540593 / 2.0 / d);
    const double second = 2.0 * degrees * std::asin(1.544427 / 2.0 / d);
    const double ground = lab::background(first);
    const double ratio = (pattern.rate(second) - ground) / (pattern.rate(first) - ground);
    QVERIFY2(ratio > 0.45 && ratio < 0.56, qPrintable(QString::number(ratio)));
    QVERIFY(pattern.rate((first + second) / 2.0) < 0.8 * pattern.rate(second));
}

void TestPowder::theBackgroundRisesTowardsTheBeam()
{
    for (int angle = 2; angle < 160; ++angle)
        QVERIFY(lab::background(angle) < lab::background(angle - 1.0));
    QVERIFY(lab::background(2.0) > 10.0 * lab::background(60.0));
}

void TestPowder::linesWidenTowardsHighAngles()
{
    QVERIFY(lab::lineWidth(27.0) > 0.05 && lab::lineWidth(27.0) < 0.12);
    QVERIFY(lab::lineWidth(140.0) > 1.5 * lab::lineWidth(30.0));
}

void TestPowder::aHotSampleIsLarger()
{
    const lab::Sample& quartz = *lab::findSample("quartz");
    const auto strongest = [](const std::vector<lab::Line>& lines) {
        return *std::max_element(lines.begin(), lines.end(),
                                 [](const lab::Line& a, const lab::Line& b) { return a.intensity < b.intensity; });
    };
    const lab::Line cold = strongest(lab::powderLines(quartz, 298.0));
    const lab::Line hot = strongest(lab::powderLines(quartz, 598.0));
    QVERIFY(hot.twoTheta < cold.twoTheta - 0.05);
    QVERIFY(hot.d > cold.d);
    // the laboratory takes the temperature from whoever knows it
    lab::ManualClock clock;
    lab::Laboratory laboratory(clock, quartz, 1);
    const double before = laboratory.countRate(hot.twoTheta, clock.now());
    laboratory.setSampleTemperature([](lab::Time) { return 598.0; });
    QVERIFY(laboratory.countRate(hot.twoTheta, clock.now()) > 1.5 * before);
}

void TestPowder::theRateIsDefinedEverywhere()
{
    const lab::Pattern pattern(*lab::findSample("lab6"), lab::roomTemperature);
    for (int step = -800; step < 800; ++step)
        QVERIFY(pattern.rate(0.37 * step) > 0.0 && pattern.rate(0.37 * step) < 20000.0);
}

void TestPowder::countsScatterAsTheyShould_data()
{
    QTest::addColumn<double>("mean");
    for (const double mean : {0.05, 0.9, 4.0, 9.99, 10.0, 37.5, 600.0, 1e5})
        QTest::addRow("%g", mean) << mean;
}

void TestPowder::countsScatterAsTheyShould()
{
    QFETCH(double, mean);
    lab::Chance chance(11);
    constexpr int draws = 200'000;
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < draws; ++i) {
        const auto count = static_cast<double>(chance.poisson(mean));
        QVERIFY(count >= 0.0);
        sum += count - mean;
        squares += (count - mean) * (count - mean);
    }
    // five standard errors
    const double meanError = sum / draws;
    const double varianceError = squares / draws - mean;
    QVERIFY2(std::fabs(meanError) < 5.0 * std::sqrt(mean / draws), qPrintable(QString::number(meanError)));
    QVERIFY2(std::fabs(varianceError) < 5.0 * std::sqrt((2.0 * mean * mean + mean) / draws), qPrintable(QString::number(varianceError)));
}

void TestPowder::noRateGivesNoCounts()
{
    lab::Chance chance(1);
    QCOMPARE(chance.poisson(0.0), std::int64_t(0));
    QCOMPARE(chance.poisson(-1.0), std::int64_t(0));
}

QTEST_APPLESS_MAIN(TestPowder)
#include "tst_powder.moc"
