// SPDX-License-Identifier: GPL-3.0-or-later
//
// A scan whose line or controller is not as it should be at the wrong moment: what the controller then gets, and when.

#include "PlayedController.h"
#include "core/ScanData.h"
#include "goniometer/ScanParameterCheck.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

namespace {
using Field = FrontPanel::Field;

// 10 to 12 in steps of 0.5: five points.
const QStringList program =
    QStringLiteral("CLR; CA1; CCNT; 1:A10S500L4000B20; CNT1; NL; GSB10*4; NL; END; LIN10; 1:0.5S1500; CNT1; NL; RET; "
                   "NL; START:;")
        .split(u' ');

struct Run
{
    Run() : smc(clock)
    {
        smc.countLines = {"5", "40", "7", "3", "8"};
        smc.runTime = 8000;
        frontPanel().setText(Field::ScanStart, QStringLiteral("10"));
        frontPanel().setText(Field::ScanStop, QStringLiteral("12"));
        frontPanel().setText(Field::ScanStep, QStringLiteral("0.5"));
        frontPanel().setText(Field::CounterTime, QStringLiteral("1"));
        ScanParameterCheck::CheckScanParameters();
    }
    static ScanRun::Options unattended()
    {
        ScanRun::Options options;
        options.unattended = true;
        options.silenceLimit = 600;
        options.busyLimit = ScanRun::LongestTime(scanParameters());
        return options;
    }

    TestClock clock;
    PlayedController smc;
    ScriptedPrompts boxes;
};
} // namespace

class TestScanLine : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }

    void aLineThatIsBackBeforeTheNextCommandBeginsTheProgramAgain_data();
    void aLineThatIsBackBeforeTheNextCommandBeginsTheProgramAgain();
    void aBusyControllerIsStoppedAtOnceBeforeAnUnattendedScan();
    void aScanWithAnOperatorDoesNotStopTheController();
    void aControllerThatDoesNotStopIsToldEveryFiveSeconds();
};

void TestScanLine::aLineThatIsBackBeforeTheNextCommandBeginsTheProgramAgain_data()
{
    QTest::addColumn<int>("line");
    for (int line = 0; line < program.size() - 1; ++line)
        QTest::addRow("%d %s", line, qPrintable(program[line])) << line;
}

/// With a long pause after each command the line can be lost and found within one pause: the next command would be taken.
void TestScanLine::aLineThatIsBackBeforeTheNextCommandBeginsTheProgramAgain()
{
    QFETCH(int, line);
    Run run;
    modCOM::MCComm().txDelay = 3;
    run.boxes.expect(QStringLiteral("SMC"), QString());
    bool lost = false;
    run.smc.onCommand = [&](const QString& command) {
        if (lost || command != program[line] || run.smc.commands().size() != line + 1)
            return;
        lost = true;
        run.clock.at(20, [&] { run.smc.pull(); });
        run.clock.at(100, [&] { run.smc.present = true; });
    };
    QVERIFY(ScanRun::Measure(scanParameters(), {}) == ScanRun::Result::Counted);
    ScanRun::EndProgress();
    QVERIFY(lost);
    QCOMPARE(run.smc.orders(), program.mid(0, line + 1) + program);
    QVERIFY(run.boxes.allShown());
}

void TestScanLine::aBusyControllerIsStoppedAtOnceBeforeAnUnattendedScan()
{
    Run run;
    run.smc.busy = true;
    QVERIFY(ScanRun::Measure(scanParameters(), Run::unattended()) == ScanRun::Result::Counted);
    ScanRun::EndProgress();
    QCOMPARE(run.smc.commands().mid(0, 3), (QStringList{QStringLiteral("?S1;"), QStringLiteral("Q;"), QStringLiteral("?S1;")}));
    QCOMPARE(run.smc.orders(), QStringList{QStringLiteral("Q;")} + program);
    QVERIFY(run.boxes.allShown());
}

void TestScanLine::aScanWithAnOperatorDoesNotStopTheController()
{
    Run run;
    QVERIFY(ScanRun::Measure(scanParameters(), {}) == ScanRun::Result::Counted);
    ScanRun::EndProgress();
    QCOMPARE(run.smc.commands().mid(0, 1), QStringList{program.first()});
    QCOMPARE(run.smc.orders(), program);
}

void TestScanLine::aControllerThatDoesNotStopIsToldEveryFiveSeconds()
{
    Run run;
    run.smc.busy = true;
    run.smc.ignoredStops = 1000;
    QList<quint64> told;
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("Q;"))
            told += run.clock.elapsed();
    };
    QVERIFY(ScanRun::Measure(scanParameters(), Run::unattended()) == ScanRun::Result::Busy);
    QCOMPARE(run.smc.orders().count(QStringLiteral("Q;")), run.smc.orders().size());
    QVERIFY2(told.size() >= 5 && told.size() <= 7, qPrintable(QString::number(told.size())));
    QVERIFY(told.first() < 1500);
    for (qsizetype i = 1; i < told.size(); ++i)
        QVERIFY2(told[i] - told[i - 1] >= 5000 && told[i] - told[i - 1] <= 7000, qPrintable(QString::number(told[i] - told[i - 1])));
    QVERIFY2(run.clock.elapsed() >= 30000 && run.clock.elapsed() <= 35000, qPrintable(QString::number(run.clock.elapsed())));
}

QTEST_GUILESS_MAIN(TestScanLine)
#include "tst_scanline.moc"
