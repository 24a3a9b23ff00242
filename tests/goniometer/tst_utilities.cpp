// SPDX-License-Identifier: GPL-3.0-or-later

#include "PlayedController.h"

#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "goniometer/Utilities.h"
#include "support/Pretend.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

using Button = Prompts::Button;
using Icon = Prompts::Icon;
using Buttons = Prompts::Buttons;
namespace Utilities = GoniometerUtilities;

namespace {
const QString notReady = QStringLiteral("SMC not ready...");
const QString axisTitle = QStringLiteral("Select axis");
const QString axisPrompt = QStringLiteral("Enter axis (1- 2)");
const QString targetTitle = QStringLiteral("Target position");
const QString offsetTitle = QStringLiteral("Reference offset");

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}
QString target(int axis)
{
    return QStringLiteral("Move axis %1 to the\r\nfollowing position:").arg(axis);
}
QString offset(int axis)
{
    return QStringLiteral("Enter reference offset value for axis %1:").arg(axis);
}

struct Bench
{
    explicit Bench(qint16 axes) : smc(clock) { modSMC::state().numberOfAxes = axes; }

    TestClock clock;
    PlayedController smc;
    ScriptedPrompts boxes;
};
} // namespace

class tst_utilities : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }
    void aBusyControllerIsRefused_data();
    void aBusyControllerIsRefused();
    void referenceSearch();
    void stopIsSentToABusyController();
    void goToMovesTheOnlyAxis();
    void goToAsksForTheAxis();
    void goToIsHeldWithinTheLimits_data();
    void goToIsHeldWithinTheLimits();
    void goToThatSendsNothing_data();
    void goToThatSendsNothing();
    void axesThatEndTheOperation_data();
    void axesThatEndTheOperation();
    void referenceOffsetIsSentAndStored();
    void referenceOffsets_data();
    void referenceOffsets();
    void anEmptyReferenceOffsetSendsNothing();
    void theProgramClosesWhileTheOffsetIsStored();
    void ramData();
    void statusOfTwoAxes();
    void statusWithoutController();
    void statusOfADeviceFile();
    void aRunningUtilityBarsTheOthers();
    void theStatusDoesNotBarTheAbort();
};

void tst_utilities::aBusyControllerIsRefused_data()
{
    QTest::addColumn<QString>("title");
    QTest::addColumn<int>("which");
    QTest::newRow("reference search") << QStringLiteral("Search reference position") << 0;
    QTest::newRow("reference offset") << QStringLiteral("Set REF offset") << 1;
    QTest::newRow("go to") << QStringLiteral("Goniometer GoTo") << 2;
    QTest::newRow("RAM data") << QStringLiteral("Get RAM data") << 3;
}

void tst_utilities::aBusyControllerIsRefused()
{
    QFETCH(QString, title);
    QFETCH(int, which);
    void (*const utilities[])() = {Utilities::SearchReference, Utilities::SetReferenceOffset, Utilities::GoTo, Utilities::GetRAMData};
    Bench bench(2);
    bench.smc.busy = true;
    bench.boxes.expect(title, notReady).withButtons(Buttons::Ok).withIcon(Icon::None);
    utilities[which]();
    QCOMPARE(bench.smc.commands(), words("?S1;"));
    QVERIFY(!Operation::isRunning(Operations::utility));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::referenceSearch()
{
    Bench bench(2);
    Utilities::SearchReference();
    QCOMPARE(bench.smc.commands(), words("?S1; REF;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::stopIsSentToABusyController()
{
    Bench bench(1);
    bench.smc.busy = true;
    Utilities::Stop();
    QCOMPARE(bench.smc.commands(), words("Q;"));
}

void tst_utilities::goToMovesTheOnlyAxis()
{
    Bench bench(1);
    bench.boxes.expectInput(targetTitle, target(1), QStringLiteral(" 20,25 deg")).withDefaultText(QStringLiteral("10.5"));
    Utilities::GoTo();
    QCOMPARE(bench.smc.commands(), words("?S1; ?P1; CLR; CA1; 1:A20.25S500L4000B20; NL; END; START:;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::goToAsksForTheAxis()
{
    Bench bench(2);
    configuration().general.slewSpeed = 3001;
    flags().goniometerType = 1;
    bench.boxes.expectInput(axisTitle, axisPrompt, QStringLiteral("1")).withDefaultText(QString());
    bench.boxes.expectInput(targetTitle, target(1), QStringLiteral("20"));
    Utilities::GoTo();
    QCOMPARE(bench.smc.commands(), words("?S1; ?P1; CLR; CA1; 1:A20S500L3001B20; NL; END; START:;"));
    bench.smc.writes.clear();
    bench.clock.advance(5000);
    bench.boxes.expectInput(axisTitle, axisPrompt, QStringLiteral("2nd"));
    bench.boxes.expectInput(targetTitle, target(2), QStringLiteral("20")).withDefaultText(QStringLiteral("21"));
    Utilities::GoTo();
    QCOMPARE(bench.smc.commands(), words("?S1; ?P2; CLR; CA2; 2:A20S500L3001B20; NL; END; START:;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::goToIsHeldWithinTheLimits_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("move");
    QTest::newRow("above") << QStringLiteral("200") << QStringLiteral("1:A180S500L4000B20;");
    QTest::newRow("below") << QStringLiteral("-3") << QStringLiteral("1:A0S500L4000B20;");
    QTest::newRow("no number") << QStringLiteral("x") << QStringLiteral("1:A0S500L4000B20;");
    QTest::newRow("small") << QStringLiteral(".5") << QStringLiteral("1:A0.5S500L4000B20;");
}

void tst_utilities::goToIsHeldWithinTheLimits()
{
    QFETCH(QString, typed);
    QFETCH(QString, move);
    Bench bench(1);
    bench.boxes.expectInput(targetTitle, target(1), typed);
    Utilities::GoTo();
    QCOMPARE(bench.smc.commands().value(4), move);
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::goToThatSendsNothing_data()
{
    QTest::addColumn<QString>("typed");
    QTest::newRow("empty") << QString();
    QTest::newRow("blanks") << QStringLiteral("  ");
    QTest::newRow("there already") << QStringLiteral("10.5");
    QTest::newRow("there already, written otherwise") << QStringLiteral("10,500");
}

void tst_utilities::goToThatSendsNothing()
{
    QFETCH(QString, typed);
    Bench bench(1);
    bench.boxes.expectInput(targetTitle, target(1), typed);
    Utilities::GoTo();
    QCOMPARE(bench.smc.commands(), words("?S1; ?P1;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::axesThatEndTheOperation_data()
{
    QTest::addColumn<QString>("typed");
    for (const char* typed : {"", "0", "3", "x", "-1"})
        QTest::newRow(typed) << QString::fromLatin1(typed);
}

void tst_utilities::axesThatEndTheOperation()
{
    QFETCH(QString, typed);
    Bench bench(2);
    bench.boxes.expectInput(axisTitle, axisPrompt, typed).withDefaultText(QString());
    Utilities::GoTo();
    bench.boxes.expectInput(axisTitle, axisPrompt, typed).withDefaultText(QStringLiteral("1"));
    Utilities::SetReferenceOffset();
    QCOMPARE(bench.smc.commands(), words("?S1; ?S1;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::referenceOffsetIsSentAndStored()
{
    Bench bench(2);
    QList<quint64> times;
    qint64 idleAtUpdate = 0;
    bench.smc.onCommand = [&](const QString& command) {
        times << bench.clock.elapsed();
        if (command == QStringLiteral("UPDATE;"))
            idleAtUpdate = bench.clock.idleRounds();
    };
    bench.boxes.expectInput(axisTitle, axisPrompt, QStringLiteral("2")).withDefaultText(QStringLiteral("1"));
    bench.boxes.expectInput(offsetTitle, offset(2), QStringLiteral("1.25")).withDefaultText(QStringLiteral("0"));
    bench.boxes
        .expect(QStringLiteral("Set REF offset"),
                QStringLiteral("Please press the RESET button at the SMC's front panel now\r\nin order to activate the new setting."))
        .withIcon(Icon::Exclamation)
        .withButtons(Buttons::Ok)
        .then([&] { times << bench.clock.elapsed(); });
    Utilities::SetReferenceOffset();
    QCOMPARE(bench.smc.commands(), words("?S1; ROFS2:1.25; UPDATE;"));
    // TxDelay of 0.1 s after each command, 0.2 s without events, 6 s with.
    QVERIFY(times.value(2) - times.value(1) >= 300 && times.value(2) - times.value(1) < 400);
    QVERIFY(times.value(3) - times.value(2) >= 6100 && times.value(3) - times.value(2) < 6300);
    QVERIFY(idleAtUpdate > 0);
    QCOMPARE(bench.clock.idleRounds(), idleAtUpdate);
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::referenceOffsets_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<QString>("sent");
    QTest::newRow("above") << QStringLiteral("500") << QStringLiteral("ROFS1:180;");
    QTest::newRow("below") << QStringLiteral("-1") << QStringLiteral("ROFS1:0;");
    QTest::newRow("comma") << QStringLiteral("0,02") << QStringLiteral("ROFS1:0.02;");
    QTest::newRow("no number") << QStringLiteral("abc") << QStringLiteral("ROFS1:0;");
}

void tst_utilities::referenceOffsets()
{
    QFETCH(QString, typed);
    QFETCH(QString, sent);
    Bench bench(1);
    bench.boxes.expectInput(offsetTitle, offset(1), typed);
    bench.boxes.expect(QStringLiteral("Set REF offset"), QString());
    Utilities::SetReferenceOffset();
    QCOMPARE(bench.smc.commands().value(1), sent);
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::anEmptyReferenceOffsetSendsNothing()
{
    Bench bench(1);
    for (const QString& answer : {QString(), QStringLiteral("  ")}) {
        bench.boxes.expectInput(offsetTitle, offset(1), answer);
        Utilities::SetReferenceOffset();
    }
    QCOMPARE(bench.smc.commands(), words("?S1; ?S1;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::theProgramClosesWhileTheOffsetIsStored()
{
    Bench bench(1);
    bench.boxes.expectInput(offsetTitle, offset(1), QStringLiteral("1"));
    bench.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("UPDATE;"))
            bench.clock.at(1000, [] { flags().closing = true; });
    };
    Utilities::SetReferenceOffset();
    QVERIFY(bench.clock.elapsed() < 2500);
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::ramData()
{
    Bench bench(1);
    bench.smc.countLines = {"4", "6", "5"};
    frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("10"));
    frontPanel().setText(FrontPanel::Field::ScanStop, QStringLiteral("11"));
    frontPanel().setText(FrontPanel::Field::ScanStep, QStringLiteral("0.5"));
    Utilities::GetRAMData();
    QCOMPARE(bench.smc.commands(), words("?S1; ?CNT;"));
    QCOMPARE(scanData().counts(), (QList<double>{4, 6, 5}));
    QVERIFY(flags().dataPresent && !Operation::isRunning(Operations::utility));
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuFileSaveAs));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::statusOfTwoAxes()
{
    Bench bench(2);
    bench.smc.busy = true;
    bench.boxes
        .expect(QStringLiteral("SMC status"), QStringLiteral("number of axes: 2\r\n"
                                                             "firmware version: SMC 4412 V1.3\r\n"
                                                             "interface: COM1: 9600,N,8,1\r\n"
                                                             "axis 1\r\n"
                                                             "  position: 10.5\r\n"
                                                             "  status: 0\r\n"
                                                             "\r\n"
                                                             "axis 2\r\n"
                                                             "  position: 21\r\n"
                                                             "  status: 128\r\n"
                                                             "\r\n"))
        .withButtons(Buttons::Ok);
    Utilities::ShowStatus();
    QCOMPARE(bench.smc.commands(), words("?V; ?P1; ?S1; ?P2; ?S2;"));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::statusWithoutController()
{
    Bench bench(1);
    flags().smcOnline = false;
    bench.boxes.expect(QStringLiteral("SMC status"), QStringLiteral("number of axes: 1\r\n"
                                                                    "firmware version: n. a.\r\n"
                                                                    "interface: COM1: 9600,N,8,1\r\n"
                                                                    "axis 1\r\n"
                                                                    "  position: 0\r\n"
                                                                    "  status: 129\r\n"
                                                                    "\r\n"));
    Utilities::ShowStatus();
    QVERIFY(bench.smc.writes.isEmpty());
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::statusOfADeviceFile()
{
    Bench bench(0);
    configuration().smc.serialDevice = QStringLiteral("/dev/ttyUSB0");
    configuration().smc.settings = QStringLiteral(" 9600,N,8,1 ");
    bench.boxes.expect(QStringLiteral("SMC status"), QStringLiteral("number of axes: 0\r\n"
                                                                    "firmware version: SMC 4412 V1.3\r\n"
                                                                    "interface: /dev/ttyUSB0: 9600,N,8,1\r\n"));
    Utilities::ShowStatus();
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::aRunningUtilityBarsTheOthers()
{
    Bench bench(1);
    bench.boxes.expectInput(offsetTitle, offset(1), QStringLiteral("1")).then([] {
        QVERIFY(Operation::isRunning(Operations::utility));
        for (Menu::Entry entry :
             {Menu::Entry::mnuMeasStartAcquisition, Menu::Entry::mnuExtrasGoniometerGoTo, Menu::Entry::mnuExtrasRatemeter})
            QVERIFY(!frontPanel().isEntryEnabled(entry));
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuExtrasSMCStop));
    });
    bench.boxes.expect(QStringLiteral("Set REF offset"), QString());
    Utilities::SetReferenceOffset();
    QVERIFY(!Operation::isRunning(Operations::utility));
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
    QVERIFY(bench.boxes.allShown());
}

void tst_utilities::theStatusDoesNotBarTheAbort()
{
    Bench bench(1);
    pretendRunning(Operations::scan);
    frontPanel().refreshEntries();
    bench.boxes.expect(QStringLiteral("SMC status"), QString()).then([] {
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
    });
    Utilities::ShowStatus();
    QVERIFY(bench.boxes.allShown());
}

QTEST_GUILESS_MAIN(tst_utilities)
#include "tst_utilities.moc"
