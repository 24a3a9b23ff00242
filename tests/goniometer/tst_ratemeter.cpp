// SPDX-License-Identifier: GPL-3.0-or-later

#include "PlayedController.h"

#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

#include <cmath>

namespace {
QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}

/// Answers "?C;" with the replies in turn, then ends the loop as the Exit button does.
struct Meter
{
    explicit Meter(const QList<QByteArray>& replies) : smc(clock)
    {
        scanParameters().counterTime = 0.1;
        smc.answer = [this, replies](const QString& command, QByteArray& reply) {
            if (command != QStringLiteral("?C;"))
                return false;
            reply = replies.value(reading++);
            if (reading == replies.size())
                clock.at(2500, [] { Ratemeter::Stop(); });
            return true;
        };
        QObject::connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, &context, [this] {
            const Ratemeter::State& s = Ratemeter::state();
            const QString line = QStringLiteral("%1|%2|%3|%4").arg(s.text, s.caption).arg(s.barMaximum).arg(s.barValue);
            if (shown.isEmpty() || shown.last() != line)
                shown << line;
        });
    }

    TestClock clock;
    PlayedController smc;
    QObject context;
    int reading = 0;
    QStringList shown;
};
} // namespace

class tst_ratemeter : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }
    void theProgramIsLoadedOnceAndRunAgainAndAgain();
    void exitStopsTwiceAndTurnsTheBeeperOn();
    void theDecadesForEveryRate();
    void readings_data();
    void readings();
    void rangesFollowTheRate();
    void withoutAutoRangeTheBarStaysFull();
    void noReplyReadsAsZero();
    void noReplyIsSaidBesideTheZero();
    void aLongCountIsWaitedFor_data();
    void aLongCountIsWaitedFor();
    void exitDoesNotWaitForALongCount();
    void aCounterTimeJustTypedCounts();
    void aCounterTimeOfZeroKeepsTheRate();
    void entriesAreBarredMeanwhile();
    void aSecondActivationDoesNothing();
    void withoutControllerItRunsEmpty();
    void aLineThatIsDownReadsZeroUntilItIsBack();
    void theProgramCloses();
};

void tst_ratemeter::theProgramIsLoadedOnceAndRunAgainAndAgain()
{
    ScriptedPrompts boxes;
    Meter meter({"44\r\n", "45\r\n"});
    Ratemeter::Run();
    const QStringList sent = meter.smc.commands();
    QCOMPARE(sent.mid(0, 10), words("BEEPOFF; CLR; CCNT; CNT0.1; NL; END; START:; ?C; START:; ?C;"));
    QCOMPARE(meter.shown.mid(0, 3), (QStringList{QStringLiteral("|RM [Range 10]|10|0"), QStringLiteral("440|RM [Range 1000]|1000|440"),
                                                 QStringLiteral("450|RM [Range 1000]|1000|450")}));
    QVERIFY(!Operation::isRunning(Operations::ratemeter) && !Operation::isRunning(Operations::ratemeter));
    QVERIFY(boxes.allShown());
}

void tst_ratemeter::exitStopsTwiceAndTurnsTheBeeperOn()
{
    Meter meter({"1\r\n"});
    QList<std::pair<QString, quint64>> times;
    meter.smc.onCommand = [&](const QString& command) { times.append({command, meter.clock.elapsed()}); };
    quint64 stopped = 0;
    meter.smc.answer = [&](const QString& command, QByteArray&) {
        if (command == QStringLiteral("?C;"))
            meter.clock.at(130, [&] {
                stopped = meter.clock.elapsed();
                Ratemeter::Stop();
                QVERIFY(meter.clock.elapsed() - stopped >= 600);
            });
        return false;
    };
    Ratemeter::Run();
    const QStringList sent = meter.smc.commands();
    QCOMPARE(sent.mid(6), words("START:; ?C; Q; Q; BEEPON; BEEPON;"));
    const quint64 firstStop = times.at(8).second;
    QVERIFY(firstStop - stopped >= 200 && firstStop - stopped < 270);
    const quint64 secondStop = times.at(9).second;
    QVERIFY(secondStop - firstStop >= 300 && secondStop - firstStop < 440);
}

void tst_ratemeter::theDecadesForEveryRate()
{
    for (int rate = 1; rate <= 100000; ++rate) {
        const double tenths = std::nearbyint(10 * std::log10(double(rate)));
        const int decade = int(tenths) / 10;
        int range = 10;
        for (int i = 0; i < decade; ++i)
            range *= 10;
        QCOMPARE(Ratemeter::RangeFor(rate), range);
    }
    QCOMPARE(Ratemeter::RangeFor(8), 10);
    QCOMPARE(Ratemeter::RangeFor(9), 100);
    QCOMPARE(Ratemeter::RangeFor(89), 100);
    QCOMPARE(Ratemeter::RangeFor(90), 1000);
    QCOMPARE(Ratemeter::RangeFor(891), 1000);
    QCOMPARE(Ratemeter::RangeFor(892), 10000);
    QCOMPARE(Ratemeter::RangeFor(2147483647), 0);
}

void tst_ratemeter::readings_data()
{
    QTest::addColumn<QString>("reply");
    QTest::addColumn<double>("time");
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("caption");
    QTest::addColumn<double>("maximum");
    QTest::addColumn<double>("value");
    const auto row = [](const char* name, const char* reply, double time, const char* text, const char* caption, double maximum,
                        double value) {
        QTest::newRow(name) << QString::fromLatin1(reply) << time << QString::fromLatin1(text) << QString::fromLatin1(caption) << maximum
                            << value;
    };
    row("95 counts in 1 s", "95\r\n", 1, "95", "RM [Range 1000]", 1000, 95);
    row("44 counts in 0.1 s", "44\r\n", 0.1, "440", "RM [Range 1000]", 1000, 440);
    row("first range", "8\r\n", 1, "8", "RM [Range 10]", 10, 8);
    row("nothing", "0\r\n", 1, "0", "RateMeter [Range 10]", 10, 0.0001);
    row("below one", "1\r\n", 2, "0", "RateMeter [Range 10]", 10, 0.0001);
    row("ties to even", "3\r\n", 2, "2", "RM [Range 10]", 10, 2);
    row("garbage", "?!\r\n", 1, "0", "RateMeter [Range 10]", 10, 0.0001);
    row("a bar refuses negative values", "-4\r\n", 1, "-4", "RateMeter [Range 10]", 10, 7);
    row("beyond 32 bits", "99999999999\r\n", 1, "7", "RM [Range 10]", 10, 7);
    row("beyond the largest range", "2000000000\r\n", 1, "2000000000", "RM [Range 10]", 10, 10);
}

void tst_ratemeter::readings()
{
    QFETCH(QString, reply);
    QFETCH(double, time);
    QFETCH(QString, text);
    QFETCH(QString, caption);
    QFETCH(double, maximum);
    QFETCH(double, value);
    Ratemeter::state().caption = QStringLiteral("RM [Range 10]");
    Ratemeter::Evaluate(QStringLiteral("7"), 1);
    Ratemeter::Evaluate(reply, time);
    QCOMPARE(Ratemeter::state().text, text);
    QCOMPARE(Ratemeter::state().caption, caption);
    QCOMPARE(Ratemeter::state().barMaximum, maximum);
    QCOMPARE(Ratemeter::state().barValue, value);
}

void tst_ratemeter::rangesFollowTheRate()
{
    Meter meter({"50\r\n", "0\r\n", "0.7\r\n", "2\r\n"});
    Ratemeter::Run();
    // The bar keeps its old maximum when the rate falls to nothing, and also when range 10 is in use already.
    QCOMPARE(meter.shown.mid(0, 5),
             (QStringList{QStringLiteral("|RM [Range 10]|10|0"), QStringLiteral("500|RM [Range 1000]|1000|500"),
                          QStringLiteral("0|RateMeter [Range 10]|1000|0.0001"), QStringLiteral("7|RateMeter [Range 10]|1000|7"),
                          QStringLiteral("20|RM [Range 100]|100|20")}));
}

void tst_ratemeter::withoutAutoRangeTheBarStaysFull()
{
    Ratemeter::state().autoRange = false;
    Ratemeter::state().caption = QStringLiteral("RM [Range 10]");
    Ratemeter::Evaluate(QStringLiteral("5000"), 1);
    QCOMPARE(Ratemeter::state().text, QStringLiteral("5000"));
    QCOMPARE(Ratemeter::state().barValue, 10.0);
    QCOMPARE(Ratemeter::state().barMaximum, 10.0);
    Ratemeter::Evaluate(QStringLiteral("0"), 1);
    QCOMPARE(Ratemeter::state().caption, QStringLiteral("RM [Range 10]"));
    QCOMPARE(Ratemeter::state().barValue, 0.0001);
}

void tst_ratemeter::noReplyReadsAsZero()
{
    ScriptedPrompts boxes;
    Meter meter({"50\r\n", ""});
    Ratemeter::Run();
    QVERIFY(meter.shown.contains(QStringLiteral("0|RateMeter [Range 10]|1000|0.0001")));
    QVERIFY(boxes.allShown());
}

void tst_ratemeter::noReplyIsSaidBesideTheZero()
{
    Meter meter({"50\r\n", "", "0\r\n"});
    QStringList said;
    QObject::connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, &meter.context, [&said] {
        said << Ratemeter::state().text + (Ratemeter::state().noAnswer ? QStringLiteral(" no answer") : QString());
    });
    Ratemeter::Run();
    QCOMPARE(said.mid(0, 4), (QStringList{QString(), QStringLiteral("500"), QStringLiteral("0 no answer"), QStringLiteral("0")}));
}

void tst_ratemeter::aLongCountIsWaitedFor_data()
{
    QTest::addColumn<double>("time");   // s
    QTest::addColumn<quint32>("takes"); // ms, until the reply
    QTest::addColumn<QString>("text");
    QTest::newRow("within MCRxTimeout") << 2.0 << 1900U << QStringLiteral("50");
    QTest::newRow("longer than MCRxTimeout") << 5.0 << 5100U << QStringLiteral("20");
    QTest::newRow("almost a second late") << 5.0 << 5850U << QStringLiteral("20");
    QTest::newRow("more than a second late") << 5.0 << 6200U << QStringLiteral("0 no answer");
}

void tst_ratemeter::aLongCountIsWaitedFor()
{
    QFETCH(double, time);
    QFETCH(quint32, takes);
    QFETCH(QString, text);
    Meter meter({});
    scanParameters().counterTime = time;
    QString shown;
    meter.smc.answer = [&](const QString& command, QByteArray&) {
        if (command == QStringLiteral("?C;") && shown.isNull())
            meter.smc.feedLater(takes, "100\r\n");
        return true;
    };
    QObject::connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, &meter.context, [&] {
        if (Ratemeter::state().text.isEmpty() || !shown.isNull())
            return;
        shown = Ratemeter::state().text + (Ratemeter::state().noAnswer ? QStringLiteral(" no answer") : QString());
        meter.clock.at(200, [] { Ratemeter::Stop(); });
    });
    Ratemeter::Run();
    QCOMPARE(shown, text);
    QCOMPARE(modCOM::MCRxTimeout().interval(), 2000);
}

void tst_ratemeter::exitDoesNotWaitForALongCount()
{
    Meter meter({});
    scanParameters().counterTime = 500;
    meter.smc.answer = [](const QString&, QByteArray&) { return true; };
    meter.clock.at(10000, [] { Ratemeter::Stop(); });
    Ratemeter::Run();
    QVERIFY2(meter.clock.elapsed() < 12000, qPrintable(QString::number(meter.clock.elapsed())));
    QVERIFY(Operation::free(Resource::Goniometer));
    QCOMPARE(meter.smc.commands().mid(6), words("START:; ?C; Q; Q; BEEPON; BEEPON;"));
}

void tst_ratemeter::aCounterTimeJustTypedCounts()
{
    Meter meter({"50\r\n"});
    frontPanel().setText(FrontPanel::Field::CounterTime, QStringLiteral("0,5"));
    Ratemeter::Run();
    QVERIFY(meter.smc.commands().contains(QStringLiteral("CNT0.5;")));
    QCOMPARE(meter.shown.at(1), QStringLiteral("100|RM [Range 1000]|1000|100"));
    QCOMPARE(scanParameters().counterTime, 0.5);
    frontPanel().setText(FrontPanel::Field::CounterTime, QString());
}

void tst_ratemeter::aCounterTimeOfZeroKeepsTheRate()
{
    Ratemeter::Evaluate(QStringLiteral("12"), 1);
    Ratemeter::Evaluate(QStringLiteral("44"), 0);
    QCOMPARE(Ratemeter::state().rate, 12);
    QCOMPARE(Ratemeter::state().text, QStringLiteral("12"));
}

void tst_ratemeter::entriesAreBarredMeanwhile()
{
    Meter meter({"1\r\n", "1\r\n"});
    int checks = 0;
    meter.smc.onCommand = [&](const QString& command) {
        if (command != QStringLiteral("START:;") || !Operation::isRunning(Operations::ratemeter))
            return;
        ++checks;
        for (Menu::Entry entry :
             {Menu::Entry::mnuMeasStartAcquisition, Menu::Entry::mnuExtrasGoniometerGoTo, Menu::Entry::mnuExtrasSMCGetRAMData})
            QVERIFY(!frontPanel().isEntryEnabled(entry));
    };
    Ratemeter::Run();
    QVERIFY(checks > 0);
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
}

void tst_ratemeter::aSecondActivationDoesNothing()
{
    Meter meter({"1\r\n", "1\r\n"});
    meter.clock.at(900, [] { Ratemeter::Run(); });
    Ratemeter::Run();
    QCOMPARE(meter.smc.sent(QStringLiteral("BEEPOFF;")), 1);
}

void tst_ratemeter::withoutControllerItRunsEmpty()
{
    Meter meter({});
    flags().smcOnline = false;
    meter.clock.at(500, [] { Ratemeter::Stop(); });
    Ratemeter::Run();
    QVERIFY(meter.smc.writes.isEmpty());
    QCOMPARE(meter.shown.last(), QStringLiteral("0|RateMeter [Range 10]|10|0.0001"));
}

void tst_ratemeter::aLineThatIsDownReadsZeroUntilItIsBack()
{
    ScriptedPrompts boxes;
    boxes.expect(QStringLiteral("SMC"), QString());
    Meter meter({});
    meter.smc.answer = [](const QString& command, QByteArray& reply) {
        reply = "60\r\n";
        return command == QStringLiteral("?C;");
    };
    meter.clock.at(3000, [&] { meter.smc.pull(); });
    meter.clock.at(8000, [&] { meter.smc.present = true; });
    meter.clock.at(14000, [] { Ratemeter::Stop(); });
    Ratemeter::Run();
    QVERIFY(meter.shown.contains(QStringLiteral("0|RateMeter [Range 10]|1000|0.0001")));
    QVERIFY(meter.shown.last().startsWith(QStringLiteral("600|RM [Range 1000]")));
    QVERIFY(boxes.allShown());
}

void tst_ratemeter::theProgramCloses()
{
    ScriptedPrompts boxes;
    Meter meter({"1\r\n", "1\r\n"});
    meter.clock.at(1300, [] { flags().closing = true; });
    Ratemeter::Run();
    QVERIFY(meter.clock.elapsed() < 1400);
    QVERIFY(!meter.smc.commands().contains(QStringLiteral("BEEPON;")));
    QVERIFY(boxes.allShown());
}

QTEST_GUILESS_MAIN(tst_ratemeter)
#include "tst_ratemeter.moc"
