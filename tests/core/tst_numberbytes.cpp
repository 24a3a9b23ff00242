// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/NumberBytes.h"
#include "core/NumberText.h"

#include <QRandomGenerator>
#include <QTest>

#include <cmath>
#include <limits>

class TestNumberBytes : public QObject
{
    Q_OBJECT

private:
    static QByteArray bytes(const NumberBytes::Text& text) { return {text.data(), text.size()}; }

private slots:
    void aNumberOfAFile_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QByteArray>("general");
        QTest::addColumn<QByteArray>("print");
        QTest::addColumn<QByteArray>("three");
        QTest::newRow("nothing") << 0.0 << QByteArray("0") << QByteArray(" 0") << QByteArray("0.000");
        QTest::newRow("a count") << 123456.0 << QByteArray("123456") << QByteArray(" 123456") << QByteArray("123456.000");
        QTest::newRow("negative") << -7.0 << QByteArray("-7") << QByteArray("-7") << QByteArray("-7.000");
        QTest::newRow("highest of 32 bits") << 2147483647.0 << QByteArray("2147483647") << QByteArray(" 2147483647")
                                            << QByteArray("2147483647.000");
        QTest::newRow("beyond 32 bits") << 2147483648.0 << QByteArray("2147483648") << QByteArray(" 2147483648")
                                        << QByteArray("2147483648.000");
        QTest::newRow("below 32 bits") << -2147483649.0 << QByteArray("-2147483649") << QByteArray("-2147483649")
                                       << QByteArray("-2147483649.000");
        QTest::newRow("15 digits") << 999999999999999.0 << QByteArray("999999999999999") << QByteArray(" 999999999999999")
                                   << QByteArray("999999999999999.000");
        QTest::newRow("16 digits") << 1e15 << QByteArray("1E+15") << QByteArray(" 1E+15") << QByteArray("1000000000000000.000");
        QTest::newRow("an angle") << 10.02 << QByteArray("10.02") << QByteArray(" 10.02") << QByteArray("10.020");
        QTest::newRow("below 1") << 0.02 << QByteArray("0.02") << QByteArray(" .02") << QByteArray("0.020");
        QTest::newRow("below 0") << -0.5 << QByteArray("-0.5") << QByteArray("-.5") << QByteArray("-0.500");
        QTest::newRow("four decimals") << 12.3456 << QByteArray("12.3456") << QByteArray(" 12.3456") << QByteArray("12.346");
        QTest::newRow("the smallest step") << 0.0001 << QByteArray("0.0001") << QByteArray(" .0001") << QByteArray("0.000");
        QTest::newRow("rounded to nothing") << -0.0004 << QByteArray("-0.0004") << QByteArray("-.0004") << QByteArray("0.000");
        QTest::newRow("rounded up to a whole") << 9.9996 << QByteArray("9.9996") << QByteArray(" 9.9996") << QByteArray("10.000");
    }

    void aNumberOfAFile()
    {
        QFETCH(double, value);
        QTEST(bytes(NumberBytes::General(value)), "general");
        QTEST(bytes(NumberBytes::Print(value)), "print");
        QTEST(bytes(NumberBytes::Fixed(value, 3)), "three");
    }

    void theShortWayGivesTheTextOfTheLongOne()
    {
        QRandomGenerator random(20240305);
        const auto check = [](double value) {
            const auto same = [value](const NumberBytes::Text& text, const QString& expected) {
                if (bytes(text) != expected.toLatin1())
                    QTest::qFail(
                        qPrintable(QStringLiteral("%1: %2 and not %3").arg(value, 0, 'g', 17).arg(QLatin1String(bytes(text)), expected)),
                        __FILE__, __LINE__);
            };
            same(NumberBytes::General(value), NumberText::General(value));
            same(NumberBytes::Print(value), NumberText::Print(value));
            for (int decimals = 1; decimals <= 9; ++decimals)
                same(NumberBytes::Fixed(value, decimals), NumberText::Fixed(value, decimals));
        };
        for (const double value : {1e12, 1e12 - 0.001, 1e12 + 0.5, 99999999999.5, 0.0005, 0.0015, 0.00049, 2.5, 1e-5, 1e-9, 1e300, 1e-300})
            for (const double sign : {1.0, -1.0})
                check(sign * value);
        for (int exponent = -12; exponent <= 18; ++exponent)
            for (int i = 0; i < 300; ++i) {
                const double value = (random.generateDouble() - 0.5) * std::pow(10.0, exponent);
                const double grid = std::pow(10.0, i % 7);
                check(value);
                check(std::round(value * grid) / grid);
                check(std::nextafter(std::round(value * grid) / grid, i % 2 == 0 ? 1e30 : -1e30));
                check((std::floor(value * grid) + 0.5) / grid); // half-way between two texts
            }
    }

    void theLongestNumberFindsRoom()
    {
        const double longest = -std::numeric_limits<double>::max();
        const QByteArray text = bytes(NumberBytes::Fixed(longest, 9));
        QCOMPARE(text, NumberText::Fixed(longest, 9).toLatin1());
        QCOMPARE(text.size(), qsizetype(1 + 309 + 10));
    }
};

QTEST_GUILESS_MAIN(TestNumberBytes)
#include "tst_numberbytes.moc"
