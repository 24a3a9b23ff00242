// SPDX-License-Identifier: GPL-3.0-or-later
//
// Idle power after a run: when it is set, when it is not, and what the operator sees of it.

#include "GeneratorBench.h"
#include "core/Operation.h"
#include "support/Pretend.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
const QByteArray idleCommands = "SC:5\rSV:20\rCA\rVN\r";
const QString idleText = u"X-ray generator set to idle power"_s;
} // namespace

class TestIdlePower : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void idlePowerIsSetToTheSecond();
    void aDelayOfNothingOrLessWaitsForTheNextLook_data();
    void aDelayOfNothingOrLessWaitsForTheNextLook();
    void theDelayCountsFromTheEndOfTheLastRun();
    void nothingIsSetWhileSomethingRuns_data();
    void nothingIsSetWhileSomethingRuns();
    void anOpenWindowThatNobodyTouchesDoesNotHoldItUp();
    void aWindowThatSendsOrReadsIsNotDisturbed();
    void entriesAreBarredWhileItIsSet();
    void aLineThatIsNotOpenIsWaitedFor();
    void powerSetByHandAfterARunStays();
    void theWatchIsBegunOnlyOnce();
    void withoutTheGeneratorNothingIsWatched();
    void aClosingProgramSetsAndSaysNothing();
    void aSilentGeneratorIsNotSaidToBeAtIdlePower();

private:
    std::unique_ptr<GeneratorBench> m_bench;
};

void TestIdlePower::init()
{
    m_bench = std::make_unique<GeneratorBench>();
    configuration().generator.reducePowerOnIdle = true;
    configuration().generator.reducePowerOnIdleDelay = 2;
    m_bench->generator.answer("CA\r", "*0000005000\r");
    m_bench->generator.answer("VN\r", "*0000020000\r");
    modGenerator::StartIdleWatch();
}

void TestIdlePower::cleanup()
{
    QVERIFY(m_bench->boxes.allShown());
    m_bench.reset();
}

void TestIdlePower::idlePowerIsSetToTheSecond()
{
    m_bench->clock.advance(500);
    m_bench->listen();
    m_bench->run(&Operations::scan, 10); // seen last 9.5 s after its start
    m_bench->pass(130);
    QCOMPARE(m_bench->generator.written(), idleCommands);
    QCOMPARE(m_bench->sent.first(), u"129500 SC:5"_s);
    QCOMPARE(frontPanel().panel(1), idleText);
    QVERIFY(flags().idlePower);
}

void TestIdlePower::aDelayOfNothingOrLessWaitsForTheNextLook_data()
{
    QTest::addColumn<int>("minutes");
    QTest::newRow("nothing") << 0;
    QTest::newRow("less") << -3;
}

void TestIdlePower::aDelayOfNothingOrLessWaitsForTheNextLook()
{
    QFETCH(int, minutes);
    configuration().generator.reducePowerOnIdleDelay = minutes;
    m_bench->listen();
    pretendRunning(Operations::scan);
    m_bench->clock.advance(1500);
    pretendRunning(Operations::scan, false);
    m_bench->pass(3);
    QCOMPARE(m_bench->sent.first(), u"2000 SC:5"_s);
}

void TestIdlePower::theDelayCountsFromTheEndOfTheLastRun()
{
    m_bench->run(&Operations::scan, 10);
    m_bench->pass(110);
    m_bench->run(&Operations::profile, 10); // a profile counts as a scan does
    m_bench->pass(110);
    QCOMPARE(m_bench->generator.written(), QByteArray());
    m_bench->pass(20);
    QCOMPARE(m_bench->generator.written(), idleCommands);
    // Once for a run, and again after the next one.
    m_bench->pass(600);
    QCOMPARE(m_bench->generator.written(), idleCommands);
    m_bench->run(&Operations::scan, 10);
    m_bench->pass(130);
    QCOMPARE(m_bench->generator.written(), idleCommands + idleCommands);
}

void TestIdlePower::nothingIsSetWhileSomethingRuns_data()
{
    QTest::addColumn<const OperationKind*>("kind");
    QTest::addColumn<bool>("isRun");
    QTest::newRow("scan") << &Operations::scan << true;
    QTest::newRow("profile") << &Operations::profile << true;
    QTest::newRow("ratemeter") << &Operations::ratemeter << false;
    QTest::newRow("goniometer utility") << &Operations::utility << false;
    QTest::newRow("generator dialog") << &Operations::generator << false;
}

void TestIdlePower::nothingIsSetWhileSomethingRuns()
{
    QFETCH(const OperationKind*, kind);
    QFETCH(bool, isRun);
    m_bench->run(&Operations::scan, 5);
    m_bench->run(kind, 300);
    QCOMPARE(m_bench->generator.written(), QByteArray());
    // A run puts the delay off, anything else only holds it up.
    m_bench->pass(4);
    QCOMPARE(m_bench->generator.written(), isRun ? QByteArray() : idleCommands);
    m_bench->pass(120);
    QCOMPARE(m_bench->generator.written(), idleCommands);
}

void TestIdlePower::anOpenWindowThatNobodyTouchesDoesNotHoldItUp()
{
    m_bench->run(&Operations::scan, 5);
    const Operation window(Operations::powerWindow);
    GeneratorPower::begin();
    m_bench->pass(30);
    GeneratorPower::touched();
    m_bench->pass(58); // the delay has been over for most of it, the minute is not
    QCOMPARE(m_bench->generator.written(), QByteArray());
    m_bench->pass(10);
    QCOMPARE(m_bench->generator.written(), QByteArray()); // the delay of two minutes is not
    GeneratorPower::touched();
    m_bench->pass(59);
    QCOMPARE(m_bench->generator.written(), QByteArray());
    QStringList buttons;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::exchanging, this,
            [&buttons] { buttons += GeneratorPower::state().exchanging ? u"disabled"_s : u"enabled"_s; });
    m_bench->pass(5);
    GeneratorPower::notifier().disconnect(this);
    QCOMPARE(m_bench->generator.written(), idleCommands);
    QCOMPARE(buttons, (QStringList{u"disabled"_s, u"enabled"_s}));
    QCOMPARE(GeneratorPower::state().txtMessage, idleText);
}

void TestIdlePower::aWindowThatSendsOrReadsIsNotDisturbed()
{
    m_bench->run(&Operations::scan, 5);
    const Operation window(Operations::powerWindow);
    GeneratorPower::begin();
    {
        const GeneratorPower::Exchanging reading;
        m_bench->pass(300);
        QCOMPARE(m_bench->generator.written(), QByteArray());
    }
    m_bench->pass(4);
    QCOMPARE(m_bench->generator.written(), idleCommands);
}

void TestIdlePower::entriesAreBarredWhileItIsSet()
{
    using Menu::Entry;
    QStringList states;
    const auto note = [&states] {
        states += u"%1 %2 %3"_s.arg(int(Operation::isRunning(Operations::generator)))
                      .arg(int(frontPanel().isEntryEnabled(Entry::mnuExtrasGeneratorSetPower)))
                      .arg(int(frontPanel().isEntryEnabled(Entry::mnuExtrasGeneratorGetStatus)));
    };
    note();
    m_bench->whenSent = [&note](const QByteArray&) { note(); };
    m_bench->run(&Operations::scan, 5);
    m_bench->pass(130);
    note();
    QCOMPARE(states, (QStringList{u"0 1 1"_s, u"1 0 0"_s, u"1 0 0"_s, u"0 1 1"_s}));
}

void TestIdlePower::aLineThatIsNotOpenIsWaitedFor()
{
    m_bench->run(&Operations::scan, 5);
    m_bench->boxes.expect(u"Generator"_s, QString());
    m_bench->generator.hangUp();
    m_bench->pass(600);
    QVERIFY2(frontPanel().panel(1) != idleText, "what was not sent is taken as done");
    QVERIFY(!flags().idlePower);
    m_bench->generator.plugBack();
    m_bench->pass(8);
    QCOMPARE(m_bench->generator.written(), idleCommands);
    QCOMPARE(frontPanel().panel(1), idleText);
    QVERIFY(flags().idlePower);
}

void TestIdlePower::powerSetByHandAfterARunStays()
{
    m_bench->run(&Operations::scan, 5);
    m_bench->pass(60);
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    m_bench->listen();
    m_bench->pass(600);
    QCOMPARE(m_bench->generator.written(), QByteArray());
    QVERIFY(!flags().idlePower);
}

void TestIdlePower::theWatchIsBegunOnlyOnce()
{
    m_bench->run(&Operations::scan, 5);
    modGenerator::StartIdleWatch(); // keeps the run in mind
    m_bench->pass(130);
    QCOMPARE(m_bench->generator.written(), idleCommands);
}

void TestIdlePower::withoutTheGeneratorNothingIsWatched()
{
    modGenerator::reset();
    flags().generatorRemote = false;
    modGenerator::StartIdleWatch();
    m_bench->run(&Operations::scan, 5);
    m_bench->pass(600);
    QCOMPARE(m_bench->generator.written(), QByteArray());
}

void TestIdlePower::aClosingProgramSetsAndSaysNothing()
{
    m_bench->run(&Operations::scan, 5);
    flags().closing = true;
    m_bench->clock.advance(130000);
    QCOMPARE(m_bench->generator.written(), QByteArray());
    QCOMPARE(frontPanel().panel(1), QString());
    QVERIFY(!flags().idlePower);
}

void TestIdlePower::aSilentGeneratorIsNotSaidToBeAtIdlePower()
{
    m_bench->generator.clearRules();
    m_bench->run(&Operations::scan, 3);
    m_bench->pass(125);
    QCOMPARE(frontPanel().panel(1), u"The X-ray generator did not answer; its power is not known."_s);
    QVERIFY(flags().idlePower);
}

QTEST_GUILESS_MAIN(TestIdlePower)
#include "tst_idlepower.moc"
