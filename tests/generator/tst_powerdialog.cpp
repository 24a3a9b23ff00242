// SPDX-License-Identifier: GPL-3.0-or-later
//
// The power dialog without its window, and the exchanges behind it, where exactness counts: limits, times on the line, the warm-up's texts.

#include "GeneratorBench.h"

#include "core/Notices.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

class TestPowerDialog : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_bench = std::make_unique<GeneratorBench>(); }
    void cleanup();

    // the dialog
    void eachValueHasItsOwnLimit_data();
    void eachValueHasItsOwnLimit();
    void aRefusedValueGetsTheFocusBack_data();
    void aRefusedValueGetsTheFocusBack();
    void theConfirmationDoesNothingByItself();
    void thePresetsAreShownAtOnce();
    void keysAtTheEdgesOfTheDigits();
    void pastedTextGoesThroughTheSameKeys_data();
    void pastedTextGoesThroughTheSameKeys();
    void onlyIdleValuesInBothCountAsIdle();

    // the warm-up
    void withoutASettlingTimeNothingIsWaitedFor();
    void theWarmUpShowsHoursMinutesAndSeconds();
    void theReportStandsWhenTheWarmUpIsOver();
    void theWarmUpGivesTheReportBack();
    void theCountdownNeverFallsBelowNothing();
    void aTextWindowInUseIsLeftAlone();
    void aTextWindowTakenOverMeanwhileIsLeftAlone();
    void theWarmUpIsSeenBesideATextWindowInUse();
    void aWarmUpWindowThatWasClosedStaysClosed();
    void closingWhileTheValuesAreSentBeginsNoWarmUp();

    // what is measured
    void nothingIsSetWhileAScanIsMeasured();
    void whatIsMeasuredWithATubeThatIsNotReadyIsSaid_data();
    void whatIsMeasuredWithATubeThatIsNotReadyIsSaid();
    void aBarThatWasTakenAwayDoesNotComeBack();

    // the line
    void settingsAreSentAFifthOfASecondApart();
    void theWaitsForReplies();
    void aWaitForRepliesKeepsTheWindowLive();
    void whatLayInTheLineIsThrownAwayAndLogged();
    void aSilentGeneratorDoesNotRepeatItsLastValues();
    void aVoltageWithoutACurrentIsNotBelieved();
    void aSilentGeneratorIsSaidToBeUnknown();
    void otherValuesThanRequestedAreAWarning_data();
    void otherValuesThanRequestedAreAWarning();
    void aModelThatCannotBeAskedConfirmsNothing();
    void halfALineFromBeforeALossIsDropped();
    void anEndlessLineIsCut();
    void linesBeyondTheFourthArePassedOver();

    // the status
    void theStatusDoesNotTakeTheTextWindowOfAWait();
    void aClosingProgramShowsNoStatus();
    void theStatusIsSaidToBeRead();

private:
    std::unique_ptr<GeneratorBench> m_bench;
};

void TestPowerDialog::cleanup()
{
    QVERIFY(m_bench->boxes.allShown());
    m_bench.reset();
}

// --- the dialog

void TestPowerDialog::eachValueHasItsOwnLimit_data()
{
    QTest::addColumn<int>("maxCurrent");
    QTest::addColumn<int>("maxVoltage");
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("voltage");
    QTest::addColumn<QString>("refusal"); // empty: sent
    QTest::newRow("both highest") << 60 << 50 << u"60"_s << u"50"_s << QString();
    QTest::newRow("voltage between the limits") << 60 << 50 << u"60"_s << u"55"_s << u"Value out of range!   (0... 50 kV)"_s;
    QTest::newRow("voltage above the current's limit") << 30 << 50 << u"30"_s << u"45"_s << QString();
    QTest::newRow("current above the voltage's limit") << 60 << 50 << u"55"_s << u"50"_s << QString();
    QTest::newRow("current between the limits") << 30 << 50 << u"40"_s << u"45"_s << u"Value out of range!   (0... 30 mA)"_s;
    QTest::newRow("blanks around") << 60 << 50 << u" 60 "_s << u" 50 "_s << QString();
}

void TestPowerDialog::eachValueHasItsOwnLimit()
{
    QFETCH(int, maxCurrent);
    QFETCH(int, maxVoltage);
    QFETCH(QString, current);
    QFETCH(QString, voltage);
    QFETCH(QString, refusal);
    configuration().generator.maxCurrent = maxCurrent;
    configuration().generator.maxVoltage = maxVoltage;
    m_bench->setBoxes(current, voltage);
    if (!refusal.isEmpty())
        m_bench->boxes.expect(refusal.endsWith(u"kV)") ? u"Voltage Setting"_s : u"Current Setting"_s, refusal)
            .withIcon(Prompts::Icon::Critical);
    else
        m_bench->boxes.expect(u"Voltage Setting"_s,
                              u"New generator settings:\r\n\r\n    "_s + current + u" mA\r\n    "_s + voltage +
                                  u" kV\r\n\r\nDo you want to continue?"_s,
                              Prompts::Button::Ok);
    QCOMPARE(GeneratorPower::Apply(), refusal.isEmpty());
    const QByteArray expected = "SC:" + current.trimmed().toLatin1() + "\rSV:" + voltage.trimmed().toLatin1() + "\rCA\rVN\r";
    QCOMPARE(m_bench->generator.written(), refusal.isEmpty() ? expected : QByteArray());
}

void TestPowerDialog::aRefusedValueGetsTheFocusBack_data()
{
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("voltage");
    QTest::addColumn<QString>("focus");
    QTest::newRow("current") << u"41"_s << u"40"_s << u"current"_s;
    QTest::newRow("voltage") << u"40"_s << u"41"_s << u"voltage"_s;
    QTest::newRow("both: the current first") << u"41"_s << u"41"_s << u"current"_s;
}

void TestPowerDialog::aRefusedValueGetsTheFocusBack()
{
    QFETCH(QString, current);
    QFETCH(QString, voltage);
    QStringList focus;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusCurrent, this, [&focus] { focus += u"current"_s; });
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusVoltage, this, [&focus] { focus += u"voltage"_s; });
    m_bench->setBoxes(current, voltage);
    m_bench->boxes.expect(QString(), QString());
    QVERIFY(!GeneratorPower::Apply());
    GeneratorPower::notifier().disconnect(this);
    QTEST(focus.join(u' '), "focus");
}

void TestPowerDialog::theConfirmationDoesNothingByItself()
{
    m_bench->setBoxes(u"30"_s, u"40"_s);
    m_bench->boxes.expect(u"Voltage Setting"_s, QString(), Prompts::Button::Cancel).withIcon(Prompts::Icon::Question);
    QVERIFY(!GeneratorPower::Apply());
    const Prompts::Message& box = m_bench->boxes.messages.first();
    QCOMPARE(box.goesOn, Prompts::Button::Ok);         // with --yes
    QCOMPARE(box.safe, Prompts::Button::Cancel);       // with nobody to ask
    QCOMPARE(box.unattended, Prompts::Button::Cancel); // when nobody comes
    QCOMPARE(box.defaultButton, 2);
    QCOMPARE(m_bench->generator.written(), QByteArray());
}

void TestPowerDialog::thePresetsAreShownAtOnce()
{
    QStringList shown;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this,
            [&shown] { shown += GeneratorPower::state().txtmA + u"/"_s + GeneratorPower::state().txtkV; });
    GeneratorPower::IdlePreset();
    GeneratorPower::MeasPreset();
    GeneratorPower::Load();
    GeneratorPower::notifier().disconnect(this);
    QCOMPARE(shown, (QStringList{u"5/20"_s, u"30/40"_s, u"30/40"_s}));
}

void TestPowerDialog::keysAtTheEdgesOfTheDigits()
{
    QString passed;
    for (char16_t key = 1; key < 256; ++key) {
        if (!GeneratorPower::acceptedKey(key).isNull())
            passed += key;
    }
    QCOMPARE(passed, u",.0123456789"_s);
}

void TestPowerDialog::pastedTextGoesThroughTheSameKeys_data()
{
    QTest::addColumn<QString>("pasted");
    QTest::addColumn<QString>("taken");
    QTest::newRow("digits") << u"30"_s << u"30"_s;
    QTest::newRow("a sign") << u"-30"_s << u"30"_s;
    QTest::newRow("a comma and a unit") << u" 2,5 mA"_s << u"2.5"_s;
    QTest::newRow("behind a longer text") << u"current: 12"_s << u"12"_s;
    QTest::newRow("more than fits") << u"123456789"_s << u"123456"_s;
    QTest::newRow("nothing of it") << u"mA"_s << QString();
}

void TestPowerDialog::pastedTextGoesThroughTheSameKeys()
{
    QFETCH(QString, pasted);
    QFETCH(QString, taken);
    QCOMPARE(GeneratorPower::acceptedText(pasted), taken);
}

void TestPowerDialog::onlyIdleValuesInBothCountAsIdle()
{
    configuration().generator.idleCurrent = 8;
    configuration().generator.idleVoltage = 15;
    const auto idle = [this](const QString& milliampere, const QString& kilovolt) {
        flags().idlePower = false;
        return m_bench->apply(milliampere, kilovolt) && flags().idlePower;
    };
    QVERIFY(idle(u"8"_s, u"15"_s));
    QVERIFY(!idle(u"9"_s, u"15"_s));
    QVERIFY(!idle(u"8"_s, u"16"_s));
    QVERIFY(!idle(u"9"_s, u"16"_s));
}

// --- the warm-up

void TestPowerDialog::withoutASettlingTimeNothingIsWaitedFor()
{
    int warmUps = 0;
    int windows = 0;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this,
            [&warmUps] { warmUps += int(GeneratorPower::state().warmingUp); });
    connect(&frontPanel(), &FrontPanel::textDisplayChanged, this, [&windows] { ++windows; });
    const quint64 before = m_bench->clock.elapsed();
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    GeneratorPower::notifier().disconnect(this);
    frontPanel().disconnect(this);
    QCOMPARE(warmUps, 0);
    QCOMPARE(windows, 0);
    QVERIFY(m_bench->clock.elapsed() - before < 1910);
    QCOMPARE(GeneratorPower::state().txtMessage, u"The generator reports 30 mA, 40 kV."_s);
}

void TestPowerDialog::theReportStandsWhenTheWarmUpIsOver()
{
    configuration().generator.powerSettlingTime = 3;
    QString told;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this,
            [&told] { told = GeneratorPower::state().txtMessage + (GeneratorPower::state().warmingUp ? u" (warming up)"_s : QString()); });
    m_bench->clock.at(3000, [&told] { QVERIFY2(told.endsWith(u"left (warming up)"_s), qPrintable(told)); });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    GeneratorPower::notifier().disconnect(this);
    QCOMPARE(told, u"The generator reports 30 mA, 40 kV."_s);
}

void TestPowerDialog::theWarmUpShowsHoursMinutesAndSeconds()
{
    configuration().generator.powerSettlingTime = 3725;
    m_bench->clock.msPerRound = 20;
    QStringList shown;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this, [&shown] {
        if (GeneratorPower::state().warmingUp)
            shown += GeneratorPower::state().txtMessage;
    });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    GeneratorPower::notifier().disconnect(this);
    QCOMPARE(shown.at(0), u"Warm-up: 1:02:05 left"_s);
    QCOMPARE(shown.at(1), u"Warm-up: 1:02:04 left"_s); // once a second
    QCOMPARE(shown.at(6), u"Warm-up: 1:01:59 left"_s);
    QCOMPARE(shown.at(3724), u"Warm-up: 0:00:01 left"_s);
}

void TestPowerDialog::theWarmUpGivesTheReportBack()
{
    configuration().generator.powerSettlingTime = 5;
    QStringList shown;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this,
            [&shown] { shown += (GeneratorPower::state().warmingUp ? u"barred: "_s : u"free: "_s) + GeneratorPower::state().txtMessage; });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    GeneratorPower::notifier().disconnect(this);
    const QString report = u"free: The generator reports 30 mA, 40 kV."_s;
    QCOMPARE(shown.first(), report);
    QCOMPARE(shown.at(1), u"barred: Warm-up: 0:00:05 left"_s);
    QCOMPARE(shown.last(), report);
}

void TestPowerDialog::theCountdownNeverFallsBelowNothing()
{
    configuration().generator.powerSettlingTime = 5;
    m_bench->clock.msPerRound = 1700; // the last look comes late
    QString last;
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this, [&last] {
        if (GeneratorPower::state().warmingUp)
            last = GeneratorPower::state().txtMessage;
    });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    GeneratorPower::notifier().disconnect(this);
    QCOMPARE(last, u"Warm-up: 0:00:00 left"_s);
}

void TestPowerDialog::aTextWindowInUseIsLeftAlone()
{
    configuration().generator.powerSettlingTime = 5;
    frontPanel().openTextDisplay(u"Wait for temperature"_s);
    frontPanel().setTextDisplay(u"T = 295 K"_s);
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QVERIFY(frontPanel().textDisplayOpen());
    QCOMPARE(frontPanel().textDisplayTitle(), u"Wait for temperature"_s);
    QCOMPARE(frontPanel().textDisplayText(), u"T = 295 K"_s);
}

void TestPowerDialog::aTextWindowTakenOverMeanwhileIsLeftAlone()
{
    configuration().generator.powerSettlingTime = 5;
    m_bench->clock.at(4000, [] { frontPanel().openTextDisplay(u"Wait for temperature"_s); });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QVERIFY(frontPanel().textDisplayOpen());
    QCOMPARE(frontPanel().textDisplayTitle(), u"Wait for temperature"_s);
}

void TestPowerDialog::theWarmUpIsSeenBesideATextWindowInUse()
{
    constexpr auto second = FrontPanel::TextWindow::Second;
    configuration().generator.powerSettlingTime = 65;
    QStringList seen;
    for (const quint32 moment : {4000U, 8000U})
        m_bench->clock.at(moment, [&seen] {
            seen += frontPanel().textDisplayTitle() + u'|' + frontPanel().textDisplayTitle(second) + u'|' +
                    frontPanel().textDisplayText(second);
        });
    m_bench->clock.at(5000, [] { frontPanel().openTextDisplay(u"Wait for temperature"_s); }); // takes the first one over
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QCOMPARE(seen, (QStringList{u"Generator Warm-Up||"_s, u"Wait for temperature|Generator Warm-Up|Waiting for 1 minutes..."_s}));
    QVERIFY(!frontPanel().textDisplayOpen(second));

    // The wait was there first.
    seen.clear();
    m_bench->clock.at(4000, [&seen] { seen += frontPanel().textDisplayText(second); });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QCOMPARE(seen, QStringList{u"Waiting for 1 minutes..."_s});
    QVERIFY(frontPanel().textDisplayOpen() && !frontPanel().textDisplayOpen(second));
}

void TestPowerDialog::aWarmUpWindowThatWasClosedStaysClosed()
{
    configuration().generator.powerSettlingTime = 10;
    bool open = true;
    m_bench->clock.at(4000, [] { frontPanel().closeTextDisplay(); });
    m_bench->clock.at(9000,
                      [&open] { open = frontPanel().textDisplayOpen() || frontPanel().textDisplayOpen(FrontPanel::TextWindow::Second); });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QVERIFY(!open);
}

// --- what is measured

void TestPowerDialog::nothingIsSetWhileAScanIsMeasured()
{
    for (const OperationKind* kind : {&Operations::scan, &Operations::profile}) {
        const Operation run(*kind);
        m_bench->setBoxes(u"30"_s, u"40"_s);
        QVERIFY(!GeneratorPower::Apply());
        QCOMPARE(GeneratorPower::state().txtMessage, u"Something is being measured: current and voltage stay as they are."_s);
    }
    QCOMPARE(m_bench->generator.written(), QByteArray());
    QVERIFY(GeneratorPower::refusal().isEmpty());
}

void TestPowerDialog::whatIsMeasuredWithATubeThatIsNotReadyIsSaid_data()
{
    QTest::addColumn<QByteArray>("current");
    QTest::addColumn<QByteArray>("voltage");
    QTest::addColumn<int>("warmUp"); // s
    QTest::addColumn<QString>("said");
    const QString idle = u"The X-ray generator seems to be at idle power: what is measured now counts little."_s;
    QTest::newRow("ready") << QByteArray("*0000030000\r") << QByteArray("*0000040000\r") << 0 << QString();
    QTest::newRow("idle") << QByteArray("*0000005000\r") << QByteArray("*0000020000\r") << 0 << idle;
    QTest::newRow("off") << QByteArray("*0000000000\r") << QByteArray("*0000000000\r") << 0 << idle;
    QTest::newRow("unknown") << QByteArray() << QByteArray() << 0 << QString();
    QTest::newRow("warm-up") << QByteArray("*0000030000\r") << QByteArray("*0000040000\r") << 20
                             << u"The X-ray tube still warms up: what is measured now can drift."_s;
}

void TestPowerDialog::whatIsMeasuredWithATubeThatIsNotReadyIsSaid()
{
    QFETCH(QByteArray, current);
    QFETCH(QByteArray, voltage);
    QFETCH(int, warmUp);
    QFETCH(QString, said);
    m_bench->generator.clearRules();
    m_bench->generator.answer("CA\r", current);
    m_bench->generator.answer("VN\r", voltage);
    const auto bar = [] { return Notices::all().isEmpty() ? QString() : Notices::all().first().text; };
    QString during;
    const auto measure = [&] {
        const Operation scan(Operations::scan);
        during = bar();
    };
    configuration().generator.powerSettlingTime = warmUp;
    if (warmUp > 0) {
        m_bench->clock.at(5000, measure);
        QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    } else {
        GeneratorPower::Load();
        measure();
    }
    QCOMPARE(during, said);
    QCOMPARE(bar(), QString()); // with the scan

    // It goes during the scan, too, when it is no longer true.
    m_bench->generator.clearRules();
    m_bench->generator.answer("CA\r", "*0000030000\r");
    m_bench->generator.answer("VN\r", "*0000040000\r");
    const Operation scan(Operations::scan);
    GeneratorPower::Load();
    QCOMPARE(bar(), QString());
}

void TestPowerDialog::aBarThatWasTakenAwayDoesNotComeBack()
{
    flags().idlePower = true;
    const Operation scan(Operations::scan);
    QCOMPARE(Notices::all().size(), 1);
    Notices::take(u"tube"_s);
    frontPanel().refreshEntries();
    QVERIFY(Notices::all().isEmpty());
}

void TestPowerDialog::closingWhileTheValuesAreSentBeginsNoWarmUp()
{
    configuration().generator.powerSettlingTime = 600;
    int windows = 0;
    connect(&frontPanel(), &FrontPanel::textDisplayChanged, this, [&windows] { ++windows; });
    m_bench->clock.at(1000, [] { flags().closing = true; });
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    frontPanel().disconnect(this);
    QCOMPARE(windows, 0);
    QVERIFY(m_bench->clock.elapsed() < 2000);
}

// --- the line

void TestPowerDialog::settingsAreSentAFifthOfASecondApart()
{
    QVERIFY(m_bench->apply(u"12"_s, u"34"_s));
    QCOMPARE(m_bench->generator.written(), QByteArray("SC:12\rSV:34\rCA\rVN\r"));
    QCOMPARE(m_bench->sent.size(), 2);
    QCOMPARE(m_bench->sent.first(), u"0 SC:12"_s);
    const int second = m_bench->sent.last().section(u' ', 0, 0).toInt();
    QVERIFY2(second >= 200 && second <= 202, qPrintable(m_bench->sent.last()));
    const quint64 all = m_bench->clock.elapsed();
    QVERIFY2(all >= 1900 && all <= 1905, qPrintable(QString::number(all)));
}

void TestPowerDialog::theWaitsForReplies()
{
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    // A reply that comes within the wait counts.
    m_bench->generator.clearRules();
    m_bench->generator.answer("VN\r", {{"*0000012000\r", 700}, {"*0000034000\r", 790}});
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QVERIFY(m_bench->clock.elapsed() >= 1500 && m_bench->clock.elapsed() <= 1503);
    QCOMPARE(milliampere, qint16{12});
    QCOMPARE(kilovolt, qint16{34});

    const quint64 before = m_bench->clock.elapsed();
    m_bench->generator.clearRules();
    m_bench->generator.answer("SR:15\r", {{"A\rV\r3.5\r", 1200}, {"4.2\r", 1290}});
    QVERIFY(modGenerator::StatusSummary().endsWith(u"Min. flow rate:3.5\r\nAct. flow rate:4.2"));
    QVERIFY(m_bench->clock.elapsed() - before >= 2500 && m_bench->clock.elapsed() - before <= 2503);
}

void TestPowerDialog::aWaitForRepliesKeepsTheWindowLive()
{
    const qint64 before = m_bench->clock.rounds();
    modGenerator::StatusSummary();
    QVERIFY(m_bench->clock.rounds() - before >= 2500);
}

void TestPowerDialog::whatLayInTheLineIsThrownAwayAndLogged()
{
    const QTemporaryDir directory;
    modTools::state().programDirectory = directory.path();
    flags().log = true;
    // The port comes with bytes that nobody has read.
    std::unique_ptr<QIODevice> port = m_bench->generator.plug();
    static_cast<ScriptedPort*>(port.get())->receive("A99000\rV99000\r");
    modCOM::GeneratorComm().openDevice(std::move(port));
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QCOMPARE(milliampere, qint16{30});
    QCOMPARE(kilovolt, qint16{40});
    QFile log(directory.filePath(u"app.log"_s));
    QVERIFY(log.open(QIODevice::ReadOnly));
    const QByteArray text = log.readAll();
    QVERIFY2(text.contains("ClearGeneratorCommRxBuffer(Pending Chars:A99000\rV99000\r)"), text.constData());
}

void TestPowerDialog::aSilentGeneratorDoesNotRepeatItsLastValues()
{
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QCOMPARE(milliampere, qint16{30});
    m_bench->generator.clearRules();
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QCOMPARE(milliampere, qint16{0});
    QCOMPARE(kilovolt, qint16{0});
}

void TestPowerDialog::aSilentGeneratorIsSaidToBeUnknown()
{
    const QString unknown = u"The X-ray generator did not answer; its power is not known."_s;
    m_bench->generator.clearRules();
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QCOMPARE(GeneratorPower::state().txtMessage, unknown);
    QVERIFY(modGenerator::answer() == modGenerator::Answer::None);
    GeneratorPower::state() = GeneratorPower::State{};
    GeneratorPower::Load();
    QCOMPARE(GeneratorPower::state().txtMessage, unknown);
    QCOMPARE(GeneratorPower::state().txtmA, u"0"_s);
}

void TestPowerDialog::otherValuesThanRequestedAreAWarning_data()
{
    QTest::addColumn<QString>("current");
    QTest::addColumn<QString>("voltage");
    QTest::addColumn<QString>("report");
    const QString same = u"The generator reports 30 mA, 40 kV."_s;
    QTest::newRow("1 mA") << u"29"_s << u"40"_s << same;
    QTest::newRow("1 kV") << u"30"_s << u"39"_s << same;
    QTest::newRow("2 mA") << u"28"_s << u"40"_s << u"Warning: The generator reports 30 mA, 40 kV instead of 28 mA, 40 kV."_s;
    QTest::newRow("2 kV") << u"30"_s << u"38"_s << u"Warning: The generator reports 30 mA, 40 kV instead of 30 mA, 38 kV."_s;
}

void TestPowerDialog::otherValuesThanRequestedAreAWarning()
{
    QFETCH(QString, current);
    QFETCH(QString, voltage);
    QFETCH(QString, report);
    QVERIFY(m_bench->apply(current, voltage));
    QCOMPARE(GeneratorPower::state().txtMessage, report);
}

void TestPowerDialog::aModelThatCannotBeAskedConfirmsNothing()
{
    configuration().generator.modelCode = 0;
    QVERIFY(m_bench->apply(u"30"_s, u"40"_s));
    QCOMPARE(GeneratorPower::state().txtMessage, u"30 mA, 40 kV: sent, not confirmed"_s);
}

void TestPowerDialog::aVoltageWithoutACurrentIsNotBelieved()
{
    m_bench->generator.clearRules();
    m_bench->generator.answer("VN\r", "\r*0000040000\r");
    qint16 milliampere = 7;
    qint16 kilovolt = 7;
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QCOMPARE(milliampere, qint16{0});
    QCOMPARE(kilovolt, qint16{0});
}

void TestPowerDialog::halfALineFromBeforeALossIsDropped()
{
    m_bench->generator.clearRules();
    m_bench->generator.answer("CA\r", "*00000300"); // and there the adapter is pulled
    m_bench->boxes.expect(u"Generator"_s, QString());
    m_bench->clock.at(100, [this] {
        m_bench->generator.hangUp();
        m_bench->generator.plugBack();
    });
    m_bench->clock.at(2300, [this] { m_bench->generator.send("*0000040000\r"); });
    QCOMPARE(modGenerator::StatusSummary(), u"Act. mA:*0000040000\r\nAct. kV:\r\nMin. flow rate:\r\nAct. flow rate:"_s);
}

void TestPowerDialog::anEndlessLineIsCut()
{
    m_bench->generator.clearRules();
    m_bench->generator.answer("VN\r", QByteArray(1024, '1') + QByteArray(5000, '2') + "\rV40000\r");
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    QCOMPARE(modGenerator::state().lines.first(), QString(1024, u'1'));
    QCOMPARE(milliampere, qint16{0});
    QCOMPARE(kilovolt, qint16{40});
}

void TestPowerDialog::linesBeyondTheFourthArePassedOver()
{
    m_bench->generator.clearRules();
    m_bench->generator.answer("SR:15\r", "1\r2\r3\r4\r5\r6\r");
    QCOMPARE(modGenerator::StatusSummary(), u"Act. mA:1\r\nAct. kV:2\r\nMin. flow rate:3\r\nAct. flow rate:4"_s);
    QCOMPARE(modGenerator::state().lines.size(), modGenerator::replyLines);
}

// --- the status

void TestPowerDialog::theStatusDoesNotTakeTheTextWindowOfAWait()
{
    frontPanel().openTextDisplay(u"Wait for temperature"_s);
    frontPanel().setTextDisplay(u"T = 295 K"_s);
    m_bench->boxes.expect(u"X-Ray Generator info"_s, u"Act. mA:*0000030000\r\nAct. kV:*0000040000\r\nMin. flow rate:\r\nAct. flow rate:"_s);
    modGenerator::mnuExtrasGeneratorGetStatus();
    QCOMPARE(frontPanel().textDisplayTitle(), u"Wait for temperature"_s);
    QCOMPARE(frontPanel().textDisplayText(), u"T = 295 K"_s);
    frontPanel().pressTextDisplayButton();
    QVERIFY(frontPanel().textDisplayOpen());
}

void TestPowerDialog::aClosingProgramShowsNoStatus()
{
    m_bench->clock.at(1000, [] { flags().closing = true; });
    modGenerator::mnuExtrasGeneratorGetStatus();
    QVERIFY(!frontPanel().textDisplayOpen());
    QVERIFY(m_bench->clock.elapsed() < 1100);
}

void TestPowerDialog::theStatusIsSaidToBeRead()
{
    frontPanel().setPanel(1, u"Ready"_s);
    QString during;
    m_bench->clock.at(1000, [&during] { during = frontPanel().panel(1); });
    modGenerator::mnuExtrasGeneratorGetStatus();
    QCOMPARE(during, u"reading..."_s);
    QCOMPARE(frontPanel().panel(1), u"Ready"_s);
    QVERIFY(frontPanel().textDisplayOpen() && frontPanel().textDisplayModal());

    // Whatever says something else meanwhile has the panel.
    frontPanel().closeTextDisplay();
    m_bench->clock.at(1000, [] { frontPanel().setPanel(1, u"| Data acquisition in progress..."_s); });
    modGenerator::mnuExtrasGeneratorGetStatus();
    QCOMPARE(frontPanel().panel(1), u"| Data acquisition in progress..."_s);
}

QTEST_GUILESS_MAIN(TestPowerDialog)
#include "tst_powerdialog.moc"
