// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the program remembers between two orders to the goniometer (where axis 1 is, that somebody has stopped it), and what a closing
// program leaves out.

#include "PlayedController.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/Utilities.h"
#include "support/Pretend.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

namespace {
namespace Utilities = GoniometerUtilities;
using Field = FrontPanel::Field;

struct Bench
{
    explicit Bench(qint16 axes = 1) : smc(clock)
    {
        modSMC::state().numberOfAxes = axes;
        ScanRun::state().axis1Position = 42;
    }
    void type(const char* start, const char* stop, const char* step, const char* time)
    {
        frontPanel().setText(Field::ScanStart, QString::fromLatin1(start));
        frontPanel().setText(Field::ScanStop, QString::fromLatin1(stop));
        frontPanel().setText(Field::ScanStep, QString::fromLatin1(step));
        frontPanel().setText(Field::CounterTime, QString::fromLatin1(time));
        ScanParameterCheck::CheckScanParameters();
    }

    TestClock clock;
    PlayedController smc;
    ScriptedPrompts boxes;
};

using Position = std::optional<double>;
} // namespace

class TestPositions : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }

    void whatMovesTheAxisIsRemembered();
    void theOtherAxisIsNotTheFirst();
    void stopMotionIsRemembered();
    void stopMotionEndsAWaitForATemperatureButNoProfile_data();
    void stopMotionEndsAWaitForATemperatureButNoProfile();
    void movesAreHeldWithinTheLimitsInUse_data();
    void movesAreHeldWithinTheLimitsInUse();
    void aClosingProgramSaysNothing_data();
    void aClosingProgramSaysNothing();

    void theWayToTheStartAngleOfTwoAxesIsHalfAsFarAtHalfTheSpeed();
    void aFasterInstrumentHasLessTimeLeft();
    void withoutASpeedOnlyTheCountingTakesTime();
    void theLastPointsAreNotPassedBeforeTheEnd();
    void theReadBackKnowsLeastAndMost();
    void aRefusedReadBackLeavesNothingOfTheScanBefore();
    void aLineThatIsDownAtTheReadBackIsWaitedForAsLongAsItIsWorth_data();
    void aLineThatIsDownAtTheReadBackIsWaitedForAsLongAsItIsWorth();
};

void TestPositions::whatMovesTheAxisIsRemembered()
{
    Bench bench;
    bench.boxes.expectInput(QString(), QString(), QStringLiteral("20"));
    Utilities::GoTo();
    QCOMPARE(ScanRun::state().axis1Position, Position(20));
    bench.clock.advance(5000);
    bench.boxes.expectInput(QString(), QString(), QStringLiteral("500")); // as far as it goes
    Utilities::GoTo();
    QCOMPARE(ScanRun::state().axis1Position, Position(180));
    bench.clock.advance(5000);
    Utilities::SearchReference();
    QCOMPARE(ScanRun::state().axis1Position, Position());
    ScanRun::state().axis1Position = 42;
    bench.boxes.expectInput(QString(), QString(), QStringLiteral("1"));
    bench.boxes.expect(QString(), QString());
    Utilities::SetReferenceOffset();
    QCOMPARE(ScanRun::state().axis1Position, Position());
    QVERIFY(bench.boxes.allShown());
}

void TestPositions::theOtherAxisIsNotTheFirst()
{
    Bench bench(2);
    bench.boxes.expectInput(QString(), QString(), QStringLiteral("2"));
    bench.boxes.expectInput(QString(), QString(), QStringLiteral("30"));
    Utilities::GoTo();
    QVERIFY(bench.smc.commands().contains(QStringLiteral("CA2;")));
    QCOMPARE(ScanRun::state().axis1Position, Position(42));
    QVERIFY(bench.boxes.allShown());
}

void TestPositions::stopMotionIsRemembered()
{
    Bench bench;
    Utilities::Stop();
    QCOMPARE(ScanRun::state().axis1Position, Position());
    QVERIFY(ScanRun::state().stoppedByHand);
    QVERIFY(!flags().abort);
}

void TestPositions::stopMotionEndsAWaitForATemperatureButNoProfile_data()
{
    QTest::addColumn<bool>("temperature");
    QTest::addColumn<bool>("profile");
    QTest::addColumn<bool>("ended");
    QTest::newRow("nothing") << false << false << false;
    QTest::newRow("a wait") << true << false << true;
    QTest::newRow("a profile") << false << true << false;
    QTest::newRow("a wait of a profile") << true << true << false;
}

void TestPositions::stopMotionEndsAWaitForATemperatureButNoProfile()
{
    QFETCH(bool, temperature);
    QFETCH(bool, profile);
    Bench bench;
    if (profile)
        pretendRunning(Operations::profile);
    if (temperature)
        pretendRunning(Operations::temperature);
    Utilities::Stop();
    QTEST(flags().abort, "ended");
    QCOMPARE(bench.smc.commands(), QStringList{QStringLiteral("Q;")});
}

void TestPositions::movesAreHeldWithinTheLimitsInUse_data()
{
    QTest::addColumn<QString>("typed");
    QTest::addColumn<double>("target");
    QTest::newRow("below") << QStringLiteral("4.9") << 5.0;
    QTest::newRow("lowest") << QStringLiteral("5") << 5.0;
    QTest::newRow("above") << QStringLiteral("120.1") << 120.0;
    QTest::newRow("highest") << QStringLiteral("120") << 120.0;
    QTest::newRow("between") << QStringLiteral("60") << 60.0;
}

void TestPositions::movesAreHeldWithinTheLimitsInUse()
{
    QFETCH(QString, typed);
    QFETCH(double, target);
    Bench bench;
    configuration().general.thetaMin = 5;
    configuration().general.thetaMax = 120;
    bench.boxes.expectInput(QString(), QString(), typed);
    Utilities::GoTo();
    QCOMPARE(ScanRun::state().axis1Position, Position(target));
    QCOMPARE(bench.smc.commands().value(4), QStringLiteral("1:A%1S500L4000B20;").arg(target));
    QVERIFY(bench.boxes.allShown());
}

void TestPositions::aClosingProgramSaysNothing_data()
{
    QTest::addColumn<int>("which");
    QTest::newRow("reference search") << 0;
    QTest::newRow("reference offset") << 1;
    QTest::newRow("go to") << 2;
    QTest::newRow("RAM data while something runs") << 3;
    QTest::newRow("status") << 4;
    QTest::newRow("scan") << 5;
}

void TestPositions::aClosingProgramSaysNothing()
{
    QFETCH(int, which);
    void (*const entries[])() = {Utilities::SearchReference, Utilities::SetReferenceOffset, Utilities::GoTo,
                                 Utilities::GetRAMData,      Utilities::ShowStatus,         ScanRun::Start};
    Bench bench;
    bench.smc.mute = true;
    if (which == 3)
        pretendRunning(Operations::ratemeter);
    bench.clock.at(which == 3 ? 0 : 300, [] { flags().closing = true; });
    if (which == 3)
        flags().closing = true;
    entries[which]();
    QVERIFY(bench.clock.elapsed() < 400);
    QVERIFY(bench.boxes.messages.isEmpty() && bench.boxes.inputs.isEmpty());
    QVERIFY(bench.boxes.allShown());
}

// --- the progress

void TestPositions::theWayToTheStartAngleOfTwoAxesIsHalfAsFarAtHalfTheSpeed()
{
    Bench bench(2);
    flags().goniometerType = 1;
    // Axis 1 from 45 to 5 deg at 2 deg/s: 20 s; then five points of 1 s and 0.5 deg at 1.5 deg/s.
    ScanRun::state().axis1Position = 45;
    ScanRun::BeginProgress({10, 12, 0.5, 1, 5});
    QCOMPARE(frontPanel().panel(4), QStringLiteral("0 of 5 points, 0:00:27 remaining"));
    QCOMPARE(ScanRun::state().axis1Position, Position(6));
    bench.clock.advance(22000);
    ScanRun::RefreshProgress();
    QCOMPARE(frontPanel().panel(4), QStringLiteral("1 of 5 points, 0:00:05 remaining"));
    QCOMPARE(frontPanel().progress(), 30);
    ScanRun::EndProgress();
    // Where the axis is is not known: the way there counts nothing.
    ScanRun::state().axis1Position.reset();
    ScanRun::BeginProgress({10, 12, 0.5, 1, 5});
    QCOMPARE(frontPanel().panel(4), QStringLiteral("0 of 5 points, 0:00:07 remaining"));
    ScanRun::EndProgress();
}

void TestPositions::aFasterInstrumentHasLessTimeLeft()
{
    Bench bench(2);
    flags().goniometerType = 1;
    configuration().general.instrumentSpeed = 10;
    ScanRun::state().axis1Position = 45;
    ScanRun::BeginProgress({10, 12, 0.5, 1, 5}); // 20 s there, 6.7 s of counting, ten times as fast
    QCOMPARE(frontPanel().panel(4), QStringLiteral("0 of 5 points, 0:00:03 remaining"));
    bench.clock.advance(2200);
    ScanRun::RefreshProgress();
    QCOMPARE(frontPanel().progress(), 30);
    ScanRun::EndProgress();
    QCOMPARE(ScanRun::ExpectedTime({10, 12, -0.5, 1, 5}, 3) * 10, ScanRun::RealTime({10, 12, -0.5, 1, 5}, 3));
    // What is given up for nobody watches is not given up earlier.
    QVERIFY(ScanRun::LongestTime({10, 12, 0.5, 1, 5}) > 600 + 2 * 6);
    configuration().general.instrumentSpeed = 0; // a settings file can say anything
    QCOMPARE(ScanRun::ExpectedTime({10, 12, -0.5, 1, 5}, 3), ScanRun::RealTime({10, 12, -0.5, 1, 5}, 3));
}

void TestPositions::withoutASpeedOnlyTheCountingTakesTime()
{
    Bench bench;
    configuration().general.scanSpeed = 0;
    configuration().general.slewSpeed = 0;
    QCOMPARE(ScanRun::ExpectedTime({10, 12, 0.5, 1, 5}, 3), 15.0);
    ScanRun::BeginProgress({10, 12, 0.5, 1, 5});
    QCOMPARE(frontPanel().panel(4), QStringLiteral("0 of 5 points, 0:00:05 remaining"));
    ScanRun::EndProgress();
    configuration().general.scanSpeed = 1; // a thousandth of a degree in a second
    QCOMPARE(ScanRun::ExpectedTime({10, 12, -0.5, 1, 5}, 3), 5 * 503.0);
}

void TestPositions::theLastPointsAreNotPassedBeforeTheEnd()
{
    Bench bench;
    ScanRun::state().axis1Position.reset();
    configuration().general.scanSpeed = 0;
    ScanRun::BeginProgress({10, 12, 0.5, 1, 5});
    const auto at = [&bench](quint32 milliseconds) {
        bench.clock.advance(milliseconds - static_cast<quint32>(bench.clock.elapsed()));
        ScanRun::RefreshProgress();
        return frontPanel().panel(4) + QStringLiteral(" %1").arg(frontPanel().progress());
    };
    QCOMPARE(at(4000), QStringLiteral("4 of 5 points, 0:00:01 remaining 80"));
    QCOMPARE(at(4999), QStringLiteral("4 of 5 points, 0:00:01 remaining 99"));
    QCOMPARE(at(5000), QStringLiteral("4 of 5 points, 0:00:01 remaining 99"));
    QCOMPARE(at(610000), QStringLiteral("4 of 5 points, 0:00:01 remaining 99"));
    QCOMPARE(at(610001), QStringLiteral("busy much longer than expected 99"));
    ScanRun::CompleteProgress();
    QCOMPARE(frontPanel().panel(4), QStringLiteral("5 of 5 points"));
    QCOMPARE(frontPanel().progress(), 100);
    // A refresh that comes late changes nothing.
    ScanRun::RefreshProgress();
    QCOMPARE(frontPanel().progress(), 100);
    ScanRun::EndProgress();
    QCOMPARE(frontPanel().progress(), -1);
}

// --- the read-back

void TestPositions::theReadBackKnowsLeastAndMost()
{
    Bench bench;
    bench.type("10", "12", "0.5", "1");
    bench.smc.countLines = {"5", "40", "7", "3", "8"};
    int plots = 0;
    const QObject context;
    QObject::connect(&scanData(), &ScanData::plotRequested, &context, [&plots] { ++plots; });
    flags().dataSaved = true;
    pretendRunning(Operations::scan);
    QVERIFY(!Operation::open(Resource::ScanToSave));
    QVERIFY(ScanRun::ReadBack());
    QCOMPARE(scanData().minimum, 3);
    QCOMPARE(scanData().maximum, 40);
    QCOMPARE(modSMC::state().maximumCount, 40);
    QCOMPARE(scanData().received, 5);
    QCOMPARE(scanData().parameters.numberOfPoints, 5);
    QCOMPARE(plots, 1);
    QVERIFY(flags().dataPresent && !flags().dataSaved && Operation::open(Resource::ScanToSave));
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuFileSaveAs));
    QCOMPARE(frontPanel().pointer(), FrontPanel::Pointer::Default);
    QVERIFY(bench.boxes.allShown());
}

void TestPositions::aRefusedReadBackLeavesNothingOfTheScanBefore()
{
    Bench bench;
    bench.type("10", "12", "0.5", "1");
    bench.smc.countLines = {"5", "40", "7", "3", "8"};
    QVERIFY(ScanRun::ReadBack());
    flags().dataSaved = true;
    // Nothing comes: the scan stays, whole.
    bench.smc.answer = [](const QString& command, QByteArray& reply) {
        reply.clear();
        return command == QStringLiteral("?CNT;");
    };
    bench.type("20", "21", "0.5", "1");
    bench.boxes.expect(QStringLiteral("SMC"), QString());
    bench.boxes.expect(QStringLiteral("Scan Data Transfer"), QString(), Prompts::Button::No);
    QVERIFY(!ScanRun::ReadBack());
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QCOMPARE(scanData().angles(), (QList<double>{10, 10.5, 11, 11.5, 12}));
    QCOMPARE(scanData().parameters.start, 10.0);
    QCOMPARE(scanData().minimum, 3);
    QCOMPARE(scanData().maximum, 40);
    QVERIFY(flags().dataPresent && flags().dataSaved);
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuFileSaveAs));
    // Too many come, and are refused: zeros.
    bench.smc.answer = nullptr;
    bench.boxes.expect(QStringLiteral("Scan Data Transfer"), QString(), Prompts::Button::No);
    QVERIFY(!ScanRun::ReadBack());
    QCOMPARE(scanData().counts(), (QList<double>{0, 0, 0}));
    QCOMPARE(scanData().maximum, 0);
    QCOMPARE(modSMC::state().maximumCount, -1);
    QVERIFY(!flags().dataPresent && !frontPanel().isEntryEnabled(Menu::Entry::mnuFileSaveAs));
    QVERIFY(bench.boxes.allShown());
}

void TestPositions::aLineThatIsDownAtTheReadBackIsWaitedForAsLongAsItIsWorth_data()
{
    QTest::addColumn<const OperationKind*>("running");
    QTest::addColumn<quint32>("away");
    QTest::addColumn<bool>("read");
    // Three questions, each after a wait of 10 s or ten minutes for the line.
    QTest::newRow("scan, 25 s") << &Operations::scan << 25000U << true;
    QTest::newRow("scan, 40 s") << &Operations::scan << 40000U << false;
    QTest::newRow("profile, 28 min") << &Operations::profile << 1680000U << true;
    QTest::newRow("profile, 32 min") << &Operations::profile << 1920000U << false;
}

void TestPositions::aLineThatIsDownAtTheReadBackIsWaitedForAsLongAsItIsWorth()
{
    QFETCH(const OperationKind*, running);
    QFETCH(quint32, away);
    QFETCH(bool, read);
    Bench bench;
    bench.type("10", "12", "0.5", "1");
    bench.smc.countLines = {"5", "40", "7", "3", "8"};
    pretendRunning(*running);
    bench.boxes.expect(QStringLiteral("SMC"), QString()); // the line is lost
    if (!read)
        bench.boxes.expect(QStringLiteral("Get RAM data"), QStringLiteral("SMC not ready..."));
    bench.clock.msPerRound = 20;
    bench.smc.pull();
    bench.clock.at(away, [&bench] { bench.smc.present = true; });
    QCOMPARE(ScanRun::ReadBack(), read);
    QVERIFY(bench.boxes.allShown());
}

QTEST_GUILESS_MAIN(TestPositions)
#include "tst_positions.moc"
