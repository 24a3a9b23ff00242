// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/ScanParameters.h"
#include "goniometer/ScanParameterCheck.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

#include <cmath>

using Field = FrontPanel::Field;

namespace {
void type(const QString& start, const QString& stop, const QString& step, const QString& time = QStringLiteral("1"))
{
    frontPanel().setText(Field::ScanStart, start);
    frontPanel().setText(Field::ScanStop, stop);
    frontPanel().setText(Field::ScanStep, step);
    frontPanel().setText(Field::CounterTime, time);
}

QStringList fields()
{
    QStringList texts;
    for (Field field : {Field::ScanStart, Field::ScanStop, Field::ScanStep, Field::CounterTime})
        texts << frontPanel().text(field);
    return texts;
}
} // namespace

class tst_parameters : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetProgram(); }
    void fullCheck_data();
    void fullCheck();
    void tooManyPointsShortenTheStopFieldButCountOneCheckLater();
    void exactly32000IntervalsAreAccepted();
    void aRangeTypedBackwardsIsNotShortened();
    void limitsTestTheTypedValue();
    void counterTimesAreRoundedUp_data();
    void counterTimesAreRoundedUp();
    void everyCounterTimeFollowsTheSeries();
    void aProfileStepsCounterTimeStandsAsItIs();
    void leavingAFieldCorrectsIt();
    void leavingAFieldDuringARunChangesNothing();
    void keysOfTheFields();
    void enterWalksTheFields();
};

void tst_parameters::fullCheck_data()
{
    QTest::addColumn<QStringList>("typed");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<int>("points");
    const auto row = [](const char* name, const char* typed, const char* shown, int points) {
        QTest::newRow(name) << QString::fromLatin1(typed).split(u'|') << QString::fromLatin1(shown).split(u'|') << points;
    };
    row("as typed", "10|80|0.02|1", "10|80|0.02|1", 3501);
    row("start = stop", "10|10|0.02|1", "10|10.02|0.02|1", 2);
    row("start = stop, large step", "10|10|5|1", "10|15|5|1", 2);
    row("backwards", "80|20|0.02|1", "20|80|0.02|1", 3001);
    row("step too small", "10|20|0.0004|1", "10|20|0.002|1", 5001);
    row("negative step", "10|20|-0.05|1", "10|20|0.05|1", 201);
    row("step above the range", "10|12|5|1", "10|12|2|1", 2);
    row("step to three decimals", "10|20|0.0026|1", "10|20|0.003|1", 3334);
    row("step ties to even", "10|20|0.0625|1", "10|20|0.062|1", 162);
    row("decimal commas", "10,5|20,5|0,05|0,3", "10.5|20.5|0.05|0.5", 201);
    row("above and below the limits", "200|-5|1|7", "0|180|1|10", 181);
    row("no numbers", "||x|", "0|0.002|0.002|0.1", 2);
    row("number followed by text", "10 deg|20|0.5|1 s", "10|20|0.5|1", 21);
    row("points to the nearest", "10|10.05|0.02|1", "10|10.05|0.02|1", 4);
}

void tst_parameters::fullCheck()
{
    QFETCH(QStringList, typed);
    QFETCH(QStringList, shown);
    QFETCH(int, points);
    ScriptedPrompts boxes;
    type(typed[0], typed[1], typed[2], typed[3]);
    ScanParameterCheck::CheckScanParameters();
    QCOMPARE(fields(), shown);
    QCOMPARE(scanParameters().start, shown[0].toDouble());
    QCOMPARE(scanParameters().stop, shown[1].toDouble());
    QCOMPARE(scanParameters().step, shown[2].toDouble());
    QCOMPARE(scanParameters().counterTime, shown[3].toDouble());
    QCOMPARE(scanParameters().numberOfPoints, points);
    QVERIFY(boxes.allShown());
}

void tst_parameters::tooManyPointsShortenTheStopFieldButCountOneCheckLater()
{
    ScriptedPrompts boxes;
    boxes.expect(QStringLiteral("Error"), QStringLiteral("Too many data points!\r\nScan range will be reduced..."))
        .withButtons(Prompts::Buttons::Ok);
    type(QStringLiteral("0"), QStringLiteral("100"), QStringLiteral("0.002"));
    ScanParameterCheck::CheckScanParameters();
    QCOMPARE(frontPanel().text(Field::ScanStop), QStringLiteral("64"));
    QCOMPARE(scanParameters().stop, 100.0);
    QCOMPARE(scanParameters().numberOfPoints, 50001);
    ScanParameterCheck::CheckScanParameters();
    QCOMPARE(scanParameters().stop, 64.0);
    QCOMPARE(scanParameters().numberOfPoints, 32001);
    QVERIFY(boxes.allShown());
}

void tst_parameters::exactly32000IntervalsAreAccepted()
{
    ScriptedPrompts boxes;
    // Decimal starts of which the quotient in binary misses 32000 by a hair on either side.
    for (int tenths = 0; tenths <= 400; ++tenths) {
        const double start = tenths / 10.0;
        type(QString::number(start), QString::number(start + 64, 'f', 1), QStringLiteral("0.002"));
        ScanParameterCheck::CheckScanParameters();
        QCOMPARE(scanParameters().numberOfPoints, 32001);
    }
    QVERIFY(boxes.allShown());
    boxes.expect(QStringLiteral("Error"), QString());
    type(QStringLiteral("0"), QStringLiteral("64.002"), QStringLiteral("0.002"));
    ScanParameterCheck::CheckScanParameters();
    QCOMPARE(frontPanel().text(Field::ScanStop), QStringLiteral("64"));
    QVERIFY(boxes.allShown());
}

void tst_parameters::aRangeTypedBackwardsIsNotShortened()
{
    // The swap comes after the shortening and writes both fields over it.
    ScriptedPrompts boxes;
    boxes.expect(QStringLiteral("Error"), QString());
    type(QStringLiteral("100"), QStringLiteral("0"), QStringLiteral("0.002"));
    ScanParameterCheck::CheckScanParameters();
    QCOMPARE(fields().mid(0, 2), (QStringList{QStringLiteral("0"), QStringLiteral("100")}));
    QCOMPARE(scanParameters().numberOfPoints, 50001);
    QVERIFY(boxes.allShown());
}

void tst_parameters::limitsTestTheTypedValue()
{
    configuration().general.thetaMin = 5;
    configuration().general.thetaMax = 160;
    type(QStringLiteral("170"), QStringLiteral("4"), QStringLiteral("1"));
    QCOMPARE(ScanParameterCheck::NormalizeScanStart(), 160.0);
    QCOMPARE(ScanParameterCheck::NormalizeScanStop(), 5.0);
    // Limits given the wrong way round: the lower one has the last word, on the typed value.
    configuration().general.thetaMin = 165;
    QCOMPARE(ScanParameterCheck::NormalizeScanStart(), 160.0);
    QCOMPARE(ScanParameterCheck::NormalizeScanStop(), 165.0);
}

void tst_parameters::counterTimesAreRoundedUp_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<double>("time");
    const QList<std::pair<const char*, double>> rows{{"0.3", 0.5}, {"7", 10},        {"1000", 500}, {"0", 0.1},     {"-3", 0.1},
                                                     {"0.1", 0.1}, {"0.10001", 0.2}, {"500", 500},  {"500.1", 500}, {"200.5", 500},
                                                     {"1", 1},     {"2.0001", 5},    {"", 0.1},     {"0,2", 0.2}};
    for (const auto& [typed, time] : rows)
        QTest::newRow(typed) << QString::fromLatin1(typed) << time;
}

void tst_parameters::counterTimesAreRoundedUp()
{
    QFETCH(QString, typed);
    QFETCH(double, time);
    frontPanel().setText(Field::CounterTime, typed);
    QCOMPARE(ScanParameterCheck::NormalizeCounterTime(), time);
}

void tst_parameters::everyCounterTimeFollowsTheSeries()
{
    const auto expected = [](double t) {
        if (t > 500)
            return 500.0;
        if (t < 0.1)
            return 0.1;
        for (int k = 0; k < 12; ++k) {
            const double value = std::round(((k % 3) * (k % 3) + 1) * std::pow(10.0, k / 3 - 1) * 10) / 10;
            if (value >= t)
                return value;
        }
        return -1.0;
    };
    for (int i = -10; i < 60000; ++i)
        QCOMPARE(ScanParameterCheck::RoundUpCounterTime(i / 100.0), expected(i / 100.0));
}

void tst_parameters::aProfileStepsCounterTimeStandsAsItIs()
{
    type(QStringLiteral("10"), QStringLiteral("20"), QStringLiteral("0.1"), QStringLiteral("7"));
    ScanParameterCheck::CheckScanParameters(37.0);
    QCOMPARE(scanParameters().counterTime, 37.0);
    QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("7"));
}

void tst_parameters::leavingAFieldCorrectsIt()
{
    type(QStringLiteral("200"), QStringLiteral("-4"), QStringLiteral("-0,05"), QStringLiteral("3"));
    ScanParameterCheck::lostFocus(Field::ScanStart);
    QCOMPARE(fields(), (QStringList{QStringLiteral("180"), QStringLiteral("-4"), QStringLiteral("-0,05"), QStringLiteral("3")}));
    QCOMPARE(scanParameters().start, 180.0);
    ScanParameterCheck::lostFocus(Field::ScanStop);
    ScanParameterCheck::lostFocus(Field::ScanStep);
    ScanParameterCheck::lostFocus(Field::CounterTime);
    QCOMPARE(fields(), (QStringList{QStringLiteral("180"), QStringLiteral("0"), QStringLiteral("0.05"), QStringLiteral("5")}));
    QCOMPARE(scanParameters().stop, 0.0);
    QCOMPARE(scanParameters().step, 0.05);
    QCOMPARE(scanParameters().counterTime, 5.0);
    frontPanel().setText(Field::txtComment, QStringLiteral("x"));
    ScanParameterCheck::lostFocus(Field::txtComment);
    QCOMPARE(frontPanel().text(Field::txtComment), QStringLiteral("x"));
}

void tst_parameters::leavingAFieldDuringARunChangesNothing()
{
    type(QStringLiteral("10"), QStringLiteral("20"), QStringLiteral("0.1"), QStringLiteral("7"));
    pretendRunning(Operations::profile);
    frontPanel().refreshEntries();
    ScanParameterCheck::lostFocus(Field::CounterTime);
    QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("7"));
}

void tst_parameters::keysOfTheFields()
{
    for (char16_t c = 0; c < 0x100; ++c) {
        const QChar key(c);
        const bool itself = QStringLiteral("0123456789.-\b").contains(key);
        const QChar expected = c == u',' ? QChar(u'.') : itself ? key : QChar();
        QCOMPARE(ScanParameterCheck::acceptedKey(key), expected);
    }
}

void tst_parameters::enterWalksTheFields()
{
    using ScanParameterCheck::nextField;
    QVERIFY(nextField(Field::ScanStart) == Field::ScanStop);
    QVERIFY(nextField(Field::ScanStop) == Field::ScanStep);
    QVERIFY(nextField(Field::ScanStep) == Field::CounterTime);
    QVERIFY(nextField(Field::CounterTime) == std::nullopt);
}

QTEST_GUILESS_MAIN(tst_parameters)
#include "tst_parameters.moc"
