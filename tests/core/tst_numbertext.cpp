// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/NumberBytes.h"
#include "core/NumberText.h"

#include <QRandomGenerator>
#include <QTest>

#include <bit>
#include <clocale>
#include <cmath>
#include <limits>

using namespace NumberText;

class TestNumberText : public QObject
{
    Q_OBJECT

private slots:
    void init() { std::setlocale(LC_ALL, "C"); }

    void generalFormOfANumber_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("print");
        const auto row = [](double value, const char* text, const char* print) {
            QTest::newRow(text) << value << QString::fromLatin1(text) << QString::fromLatin1(print);
        };
        row(0, "0", " 0");
        row(-0.0, "0", " 0");
        row(0.02, "0.02", " .02");
        row(-0.5, "-0.5", "-.5");
        row(0.1, "0.1", " .1");
        row(5, "5", " 5");
        row(-5, "-5", "-5");
        row(1234, "1234", " 1234");
        row(10, "10", " 10");
        row(100.5, "100.5", " 100.5");
        row(20.02, "20.02", " 20.02");
        row(0.1 + 0.2, "0.3", " .3");
        row(1.0 / 3, "0.333333333333333", " .333333333333333");
        row(2.0 / 3, "0.666666666666667", " .666666666666667");
        row(1.0 / 30, "3.33333333333333E-02", " 3.33333333333333E-02");
        row(0.00001, "0.00001", " .00001");
        row(1e-15, "0.000000000000001", " .000000000000001");
        row(1.5e-15, "1.5E-15", " 1.5E-15");
        row(1e-16, "1E-16", " 1E-16");
        row(-2.5e-20, "-2.5E-20", "-2.5E-20");
        row(123456789012345, "123456789012345", " 123456789012345");
        row(999999999999999, "999999999999999", " 999999999999999");
        row(999999999999999.9, "1E+15", " 1E+15");
        row(1e15, "1E+15", " 1E+15");
        row(-1.25e15, "-1.25E+15", "-1.25E+15");
        row(1e100, "1E+100", " 1E+100");
        row(1.7976931348623157e308, "1.79769313486232E+308", " 1.79769313486232E+308");
        row(5e-324, "4.94065645841247E-324", " 4.94065645841247E-324");
        row(12345678.9012345, "12345678.9012345", " 12345678.9012345");
        row(9.99999999999999999, "10", " 10");
    }
    void generalFormOfANumber()
    {
        QFETCH(double, value);
        QTEST(General(value), "text");
        QTEST(Print(value), "print");
    }

    void aSingleIsExactAsItIsWritten()
    {
        QCOMPARE(Exact(77.35F), 77.35);
        QVERIFY(double(77.35F) != 77.35); // else there were no need
        QCOMPARE(Exact(-0.1F), -0.1);
        QCOMPARE(Exact(0), 0.0);
    }

    void singlesHaveSevenDigits_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("print");
        const auto row = [](float value, const char* text, const char* print) {
            QTest::newRow(text) << value << QString::fromLatin1(text) << QString::fromLatin1(print);
        };
        row(0.1F, "0.1", " .1");
        row(1.5F, "1.5", " 1.5");
        row(-0.25F, "-0.25", "-.25");
        row(0, "0", " 0");
        row(1.0F / 3, "0.3333333", " .3333333");
        row(1.0F / 30, "3.333334E-02", " 3.333334E-02");
        row(9999999, "9999999", " 9999999");
        row(1e7F, "1E+07", " 1E+07");
        row(3.4e38F, "3.4E+38", " 3.4E+38");
        row(1e-7F, "0.0000001", " .0000001");
        row(1e-8F, "1E-08", " 1E-08");
    }
    void singlesHaveSevenDigits()
    {
        QFETCH(float, value);
        QTEST(General(value), "text");
        QTEST(Print(value), "print");
    }

    void wholeNumbers()
    {
        QCOMPARE(General(qint32(-2147483647 - 1)), u"-2147483648");
        QCOMPARE(General(qint64(9223372036854775807LL)), u"9223372036854775807");
        QCOMPARE(Print(qint32(0)), u" 0");
        QCOMPARE(Print(qint32(-7)), u"-7");
        QCOMPARE(ZeroPadded(7, 3), u"007");
        QCOMPARE(ZeroPadded(4294967295U, 9), u"4294967295");
        QCOMPARE(ZeroPadded(1234, 9), u"000001234");
    }

    void fixedFormRoundsTheDecimalText_data()
    {
        QTest::addColumn<double>("value");
        QTest::addColumn<int>("decimals");
        QTest::addColumn<QString>("text");
        const auto row = [](double value, int decimals, const char* text) {
            QTest::addRow("%.17g to %d", value, decimals) << value << decimals << QString::fromLatin1(text);
        };
        row(2.0005, 3, "2.001"); // the binary value lies below the half
        row(-2.0005, 3, "-2.001");
        row(1.005, 2, "1.01");
        row(2.5, 0, "3");
        row(-0.5, 0, "-1");
        row(0.4999, 0, "0");
        row(-0.0004, 3, "0.000");
        row(0.0005, 3, "0.001");
        row(0.00049, 3, "0.000");
        row(0.05, 1, "0.1");
        row(0, 3, "0.000");
        row(9.9996, 3, "10.000");
        row(0.9996, 3, "1.000");
        row(99999.5, 0, "100000");
        row(12.3456, 2, "12.35");
        row(10, 4, "10.0000");
        row(0.02, 2, "0.02");
        row(1e20, 2, "100000000000000000000.00");
        row(1e-20, 3, "0.000");
        row(123.456, 3, "123.456");
        row(0.001, 3, "0.001");
    }
    void fixedFormRoundsTheDecimalText()
    {
        QFETCH(double, value);
        QFETCH(int, decimals);
        QTEST(Fixed(value, decimals), "text");
    }

    void theLeadingNumberIsRead_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<double>("value");
        QTest::addColumn<bool>("starts");
        const auto row = [](const char* text, double value, bool starts) {
            QTest::addRow("\"%s\"", text) << QString::fromLatin1(text) << value << starts;
        };
        row("", 0, false);
        row("   ", 0, false);
        row("abc", 0, false);
        row("5", 5, true);
        row(" .02", 0.02, true);
        row("-.5", -0.5, true);
        row("+7.25", 7.25, true);
        row("-5", -5, true);
        row("5.", 5, true);
        row(".", 0, false);
        row("-", 0, false);
        row("+.e3", 0, false);
        row("1E+15", 1e15, true);
        row("1e3", 1000, true);
        row("1D3", 1000, true);
        row("1d-2", 0.01, true);
        row("1E", 1, true);
        row("1E+", 1, true);
        row("1Ex", 1, true);
        row("E5", 0, false);
        row("12 34", 1234, true);
        row("\t 1 2 . 5 0", 12.5, true);
        row("- 3", -3, true);
        row("1.5.7", 1.5, true);
        row("1,5", 1, true);
        row(",5", 0, false);
        row("10.500\r\n20", 10.5, true);
        row("\r\n10.5", 10.5, true);
        row("+234.50K", 234.5, true);
        row("0x10", 0, true);
        row("--5", 0, false);
        row("1-5", 1, true);
        row("300=R3P300", 300, true);
        row("nan", 0, false);
        row("inf", 0, false);
        row("1e400", std::numeric_limits<double>::max(), true);
        row("-1e400", std::numeric_limits<double>::lowest(), true);
        row("1e99999999999999999999", std::numeric_limits<double>::max(), true);
        row("1e-400", 0, true);
        row("-1e-99999999999999999999", 0, true);
        row("0e400", 0, true);
        row("\xB2", 0, false); // superscript two is no digit
    }
    void theLeadingNumberIsRead()
    {
        QFETCH(QString, text);
        QFETCH(bool, starts);
        QTEST(LeadingNumber(text), "value");
        QCOMPARE(StartsWithNumber(text), starts);
    }

    void aDecimalCommaCountsAsPoint()
    {
        QCOMPARE(ReadNumber(u"0,02"_qs), 0.02);
        QCOMPARE(ReadNumber(u" -1,5 mm"_qs), -1.5);
        QCOMPARE(ReadNumber(u"1,2,3"_qs), 1.2);
        QCOMPARE(ReadNumber(u"0.02"_qs), 0.02);
        QCOMPARE(ReadNumber(u"abc"_qs), 0.0);
    }

    void theLocaleHasNoSay()
    {
        const bool commaLocale = std::setlocale(LC_ALL, "de_DE.UTF-8") != nullptr;
        QLocale::setDefault(QLocale(QLocale::German));
        QCOMPARE(General(1234.5), u"1234.5");
        QCOMPARE(Fixed(1234.5, 2), u"1234.50");
        QCOMPARE(LeadingNumber(u"1234.5"), 1234.5);
        QLocale::setDefault(QLocale::c());
        std::setlocale(LC_ALL, "C");
        if (!commaLocale)
            qInfo("only the Qt locale was changed: the system has no German locale");
    }

    void aLongTextOfDigitsIsReadInOneGo()
    {
        const QString digits(1000000, u'1');
        QCOMPARE(LeadingNumber(digits), std::numeric_limits<double>::max());
        QCOMPARE(LeadingNumber(u"0."_qs + digits), 0.111111111111111111);
        QCOMPARE(LeadingNumber(u"0."_qs + QString(1000000, u'0') + u'1'), 0.0);
        QCOMPARE(LeadingNumber(QString(500, u'0') + u"12"_qs), 12.0);
    }

    void roundingTakesTiesToTheEvenNeighbour()
    {
        QCOMPARE(RoundToEven(0.5), 0.0);
        QCOMPARE(RoundToEven(1.5), 2.0);
        QCOMPARE(RoundToEven(2.5), 2.0);
        QCOMPARE(RoundToEven(-2.5), -2.0);
        QCOMPARE(RoundToEven(-3.5), -4.0);
        QCOMPARE(RoundToEven(2.4999999), 2.0);
        QCOMPARE(RoundToLong(2147483646.5), 2147483646);
        QCOMPARE(RoundToInteger(32766.5), qint16(32766));
    }

    void numbersBeyondTheRangeAreHeldAtItsEnd()
    {
        bool overflow = false;
        QCOMPARE(RoundToLong(2147483647.4, &overflow), 2147483647);
        QVERIFY(!overflow);
        QCOMPARE(RoundToLong(2147483647.6, &overflow), 2147483647);
        QVERIFY(overflow);
        QCOMPARE(RoundToLong(-1e300, &overflow), -2147483647 - 1);
        QVERIFY(overflow);
        QCOMPARE(RoundToInteger(40000, &overflow), qint16(32767));
        QVERIFY(overflow);
        QCOMPARE(RoundToInteger(-32768.4, &overflow), qint16(-32768));
        QVERIFY(!overflow);
        QCOMPARE(RoundToLong(std::numeric_limits<double>::quiet_NaN(), &overflow), 0);
        QVERIFY(overflow);
        QCOMPARE(RoundToLong(std::numeric_limits<double>::infinity()), 2147483647);
    }

    void writtenNumbersAreReadBack()
    {
        QRandomGenerator random(20260101);
        for (int i = 0; i < 10000; ++i) {
            const auto value = std::bit_cast<double>(random.generate64());
            if (!std::isfinite(value))
                continue;
            const QString text = General(value);
            const double read = LeadingNumber(text);
            QVERIFY2(std::abs(read - value) <= std::abs(value) * 5.1e-15 || std::abs(value) < 1e-300, qPrintable(text));
            if (std::abs(value) < 1.7e308) // above, the rounded text may lie beyond the range
                QCOMPARE(General(read), text);
            QCOMPARE(LeadingNumber(Print(value)), read);
        }
    }

    void theBytesOfAFileAreTheSameTexts()
    {
        const auto text = [](const NumberBytes::Text& bytes) { return QString::fromLatin1(bytes.data(), bytes.size()); };
        const auto compare = [&text](double value) {
            QCOMPARE(text(NumberBytes::General(value)), General(value));
            QCOMPARE(text(NumberBytes::Print(value)), Print(value));
            for (int decimals : {1, 2, 3, 5, 9})
                QCOMPARE(text(NumberBytes::Fixed(value, decimals)), Fixed(value, decimals));
        };
        for (double value : {0.0, -0.0, 2.0005, -2.0005, 0.9996, -0.0004, 1e15, 999999999999999.0, 1e-15, 1.0 / 3, 4294967295.0,
                             9007199254740993.0, 1e300})
            compare(value);
        QRandomGenerator random(4);
        for (int i = 0; i < 10000; ++i) {
            const auto any = std::bit_cast<double>(random.generate64());
            if (std::isfinite(any))
                compare(any);
            compare(random.bounded(-180000, 180000) / 1000.0);
            compare(random.bounded(20.0));
            compare(static_cast<double>(random.generate()));
            compare((random.bounded(1000000) + 0.5) / 1000.0);
        }
    }

    void anglesAndCountsOfAScanAreReadBackExactly()
    {
        QRandomGenerator random(3);
        for (int i = 0; i < 10000; ++i) {
            const double value = random.bounded(-180000, 180000) / 1000.0;
            QCOMPARE(LeadingNumber(General(value)), value);
            QCOMPARE(LeadingNumber(Fixed(value, 3)), value);
            const auto single = static_cast<float>(value);
            QCOMPARE(LeadingNumber(General(single)), value);
        }
    }
};

QTEST_APPLESS_MAIN(TestNumberText)
#include "tst_numbertext.moc"
