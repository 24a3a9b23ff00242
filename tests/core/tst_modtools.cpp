// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/ProgramError.h"
#include "core/modTools.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <utility>

using namespace modTools;

namespace {
/// Counts how often the clock in use is asked to rest, and for how long; time passes as asked.
class Sleeper : public modTools::Clock
{
public:
    Sleeper() { setClock(this); }
    ~Sleeper() override { setClock(nullptr); }
    quint32 timeGetTime() override { return now; }
    void processEvents(int rest, const std::function<bool()>& enough) override
    {
        if (onRound)
            onRound();
        if (rest == 0 || (enough && enough()))
            now += rest == 0 ? 1 : 0;
        else
            now += static_cast<quint32>(rest == untilEvent ? 20 : rest);
        rests.append(rest);
    }
    void idle(int rest) override { processEvents(rest, {}); }

    quint32 now = 100000;
    QList<int> rests;
    std::function<void()> onRound;
};
} // namespace

class TestModTools : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    QByteArray fileBytes(const char* name) const
    {
        QFile file(m_folder->filePath(QString::fromLatin1(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }

private slots:
    void init()
    {
        resetProgram();
        m_folder = std::make_unique<QTemporaryDir>();
        state().programDirectory = m_folder->path();
    }

    // --- logs

    void theLogIsWrittenOnlyWhenItIsOnOrForced()
    {
        WriteLog(false, u"nothing"_qs);
        QCOMPARE(fileBytes("app.log"), "(missing)");
        WriteLog(true, u"forced"_qs);
        flags().log = true;
        WriteLog(false, u"SMCCheck()"_qs);
        WriteLog(false, u""_qs);
        QCOMPARE(fileBytes("app.log"), "forced\r\nSMCCheck()\r\n\r\n");
        QCOMPARE(fileBytes("app_i.log"), "(missing)");
    }

    void theSecondaryLogShowsTheClock()
    {
        TestClock clock(1234);
        WriteSecondaryLog(u"nothing"_qs);
        QCOMPARE(fileBytes("app_i.log"), "(missing)");
        state().secondaryLog = true;
        WriteSecondaryLog(u"gsTCTxDelay=0.5"_qs);
        clock.now = 4294967295U;
        WriteSecondaryLog(u"late"_qs);
        QCOMPARE(fileBytes("app_i.log"), "000001234 gsTCTxDelay=0.5\r\n4294967295 late\r\n");
    }

    void aLogThatCannotBeWrittenIsPassedOver()
    {
        flags().log = true;
        QVERIFY(QDir(m_folder->path()).mkdir(u"app.log"_qs));
        WriteLog(true, u"text"_qs);
        state().programDirectory = m_folder->filePath(u"missing"_qs);
        WriteLog(true, u"text"_qs);
        state().programDirectory.clear();
        WriteLog(true, u"text"_qs);
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList{u"app.log"_qs});
        QVERIFY(!QFile::exists(u"/app.log"_qs));
    }

    void aFlagIsLoggedAsMinusOneOrZero()
    {
        QCOMPARE(FlagText(true), u"-1");
        QCOMPARE(FlagText(false), u"0");
    }

    // --- clock and delay

    void theClockCountsUnsignedMilliseconds()
    {
        TestClock clock(0);
        QCOMPARE(SecondsSinceStart(), 0.0);
        clock.now = 2147483648U;
        QCOMPARE(SecondsSinceStart(), 2147483.648);
        clock.now = 4294967295U;
        QCOMPARE(SecondsSinceStart(), 4294967.295);
        clock.advance(1);
        QCOMPARE(SecondsSinceStart(), 0.0);
    }

    void aDelayLastsItsInterval_data()
    {
        QTest::addColumn<float>("interval");
        QTest::addColumn<int>("milliseconds");
        QTest::addColumn<QByteArray>("line");
        QTest::newRow("0.1 s") << 0.1F << 100 << QByteArray("Delay() - Interval: .1\r\n");
        QTest::newRow("2 s") << 2.0F << 2000 << QByteArray("Delay() - Interval: 2\r\n");
        QTest::newRow("none") << 0.0F << 1 << QByteArray("Delay() - Interval: 0\r\n");
        QTest::newRow("negative") << -0.5F << 1 << QByteArray("Delay() - Interval:-.5\r\n");
        QTest::newRow("10 minutes") << 600.0F << 600000 << QByteArray("Delay() - Interval: 600\r\n");
    }
    void aDelayLastsItsInterval()
    {
        QFETCH(float, interval);
        QFETCH(int, milliseconds);
        flags().log = true;
        TestClock clock(100000);
        clock.realEvents = false;
        Delay(interval, true);
        // around 100 s a single-precision second has steps of up to 0.06 ms, so that the delay ends with the millisecond or one later
        QVERIFY2(qAbs(qint64(clock.elapsed()) - milliseconds) <= 1, qPrintable(QString::number(clock.elapsed())));
        QTEST(fileBytes("app.log"), "line");
        QCOMPARE(clock.idleRounds(), 0);
    }

    void aDelayWithoutEventsLetsNothingRun()
    {
        TestClock clock;
        Timer timer("timer");
        timer.setInterval(10);
        timer.setEnabled(true);
        int ticks = 0;
        connect(&timer, &Timer::tick, this, [&ticks] { ++ticks; });
        bool typed = false;
        QMetaObject::invokeMethod(
            this, [&typed] { typed = true; }, Qt::QueuedConnection);
        Delay(0.1F, false);
        QVERIFY(!typed);
        QCOMPARE(ticks, 0);
        QCOMPARE(clock.rounds(), 0);
        Delay(0.1F, true);
        QVERIFY(typed);
        QVERIFY2(ticks >= 10, qPrintable(QString::number(ticks)));
    }

    void aDelayCoarsensAfterTenDays()
    {
        // 864,000 s: singles lie 1/16 s apart, so every delay below that lasts until the next step
        TestClock clock(864000000);
        clock.realEvents = false;
        Delay(0.001F, true);
        QCOMPARE(clock.elapsed(), 32U); // half a step: the counter is rounded up to the next single
        const quint64 before = clock.elapsed();
        Delay(0.001F, true);
        QVERIFY2(clock.elapsed() - before >= 60 && clock.elapsed() - before <= 64, qPrintable(QString::number(clock.elapsed() - before)));
    }

    void aDelayCoarsensAfterOneDay()
    {
        TestClock clock(86400000);
        clock.realEvents = false;
        Delay(0.001F, true);
        const quint64 before = clock.elapsed();
        Delay(0.001F, true);
        QCOMPARE(clock.elapsed() - before, 8U);
    }

    void aWrapOfTheCounterProlongsTheDelayUntilItPassesTheStartAgain()
    {
        const quint32 start = 4294967295U - 999;
        TestClock clock(start);
        clock.realEvents = false;
        clock.msPerRound = 100;
        quint32 atLeast = 0;
        clock.onRound = [&] {
            if (clock.now > 3600000 || atLeast != 0)
                return;
            if (clock.elapsed() > 3000000) { // the delay's 2 s passed long ago
                atLeast = start - 60000;
                clock.now = atLeast; // 49.7 days later
            }
        };
        Delay(2, true);
        QCOMPARE(atLeast, start - 60000);
        QVERIFY2(clock.now >= start - 500 && clock.now <= start + 500,
                 qPrintable(QString::number(clock.now))); // singles lie 0.5 s apart here
        QVERIFY(!flags().closing);
    }

    void closingEndsEveryDelay()
    {
        TestClock clock;
        clock.at(500, [] { flags().closing = true; });
        Delay(3600, true);
        QCOMPARE(clock.elapsed(), 500U);
    }

    void aDelayRestsForWhatIsLeftOfIt()
    {
        Sleeper clock;
        Delay(0.5F, true);
        QCOMPARE(clock.rests, (QList<int>{500}));
        clock.rests.clear();
        bool woken = false;
        clock.onRound = [&] { // an event after 100 ms
            if (!std::exchange(woken, true))
                clock.now += 100;
        };
        Delay(0.5F, true);
        QVERIFY(!clock.rests.isEmpty() && clock.rests.constFirst() == 500);
        clock.onRound = {};
        clock.rests.clear();
        Delay(0.25F, false);
        QCOMPARE(clock.rests, (QList<int>{250}));
    }

    void aWaitForAFlagRestsUntilSomethingHappens()
    {
        Sleeper clock;
        int rounds = 0;
        clock.onRound = [&rounds] { ++rounds; };
        WaitUntil([&rounds] { return rounds == 3; });
        QCOMPARE(clock.rests, (QList<int>{untilEvent, untilEvent, untilEvent}));
        clock.onRound = [] { flags().closing = true; };
        WaitUntil([] { return false; }); // the program's end ends it
        QCOMPARE(clock.rests.size(), 4);
    }

    void waitsSpinWhenTheSettingSaysSo()
    {
        Sleeper clock;
        state().spin = true;
        Delay(0.05F, true);
        QCOMPARE(clock.rests.size(), 50);
        QCOMPARE(clock.rests, QList<int>(50, 0));
        clock.rests.clear();
        int rounds = 0;
        clock.onRound = [&rounds] { ++rounds; };
        WaitUntil([&rounds] { return rounds == 5; });
        QCOMPARE(clock.rests, QList<int>(5, 0));
    }

    void lettingEventsRunNeverRests()
    {
        Sleeper clock;
        DoEvents();
        QCOMPARE(clock.rests, (QList<int>{0}));
    }

    void anEventWakesTheWaitAtOnce()
    {
        bool came = false;
        QTimer::singleShot(20, this, [&came] { came = true; });
        WaitUntil([&came] { return came; });
        QVERIFY(came);
        // An event that another event posts wakes it, too.
        came = false;
        QTimer::singleShot(20, this, [&came, this] {
            QMetaObject::invokeMethod(
                this, [&came] { came = true; }, Qt::QueuedConnection);
        });
        WaitUntil([&came] { return came; });
        QVERIFY(came);
    }

    // --- timers

    void aTimerTicksUntilItIsDisabled()
    {
        TestClock clock;
        Timer timer("timer");
        QList<quint64> ticks;
        connect(&timer, &Timer::tick, this, [&] { ticks.append(clock.elapsed()); });
        timer.setEnabled(true); // an interval of 0 never ticks
        clock.advance(50);
        QVERIFY(ticks.isEmpty());
        timer.setInterval(100);
        clock.advance(60);
        timer.setEnabled(true); // changes nothing
        clock.advance(160);
        QCOMPARE(ticks, (QList<quint64>{150, 250}));
        timer.restart();
        clock.advance(99);
        QCOMPARE(ticks.size(), 2);
        clock.advance(1);
        QCOMPARE(ticks.size(), 3);
        timer.setEnabled(false);
        clock.advance(1000);
        QCOMPARE(ticks.size(), 3);
    }

    void aTimerTicksAcrossTheWrapOfTheCounter()
    {
        TestClock clock(4294967295U - 20);
        Timer timer("timer");
        timer.setInterval(50);
        timer.setEnabled(true);
        int ticks = 0;
        connect(&timer, &Timer::tick, this, [&] { ++ticks; });
        clock.advance(49);
        QCOMPARE(ticks, 0);
        clock.advance(1);
        QCOMPARE(ticks, 1);
        clock.advance(100);
        QCOMPARE(ticks, 3);
    }

    void aNewClockGoesOnWithTheTimersThatRan()
    {
        Timer runs("runs");
        Timer rests("rests");
        int ticks = 0;
        int others = 0;
        connect(&runs, &Timer::tick, this, [&] { ++ticks; });
        connect(&rests, &Timer::tick, this, [&] { ++others; });
        std::optional<TestClock> clock(std::in_place, 5000);
        for (Timer* timer : {&runs, &rests})
            timer->setInterval(100);
        runs.setEnabled(true);
        clock->advance(60);
        clock.reset();
        clock.emplace(900000); // another counter, on which a whole interval begins
        clock->advance(99);
        QCOMPARE(ticks, 0);
        clock->advance(1);
        QCOMPARE(ticks, 1);
        QVERIFY(runs.isEnabled() && !rests.isEnabled());
        QCOMPARE(others, 0);
        runs.setEnabled(false);
    }

    void onlyATimerThatIsRestartedInItsTickTicksInsideIt()
    {
        struct OneByOne : TestClock // as the system's
        {
            bool ticksInsideTicks() const override { return false; }
        };
        for (const bool restarted : {false, true}) {
            OneByOne clock;
            Timer timer("timer");
            timer.setInterval(10);
            timer.setEnabled(true);
            int ticks = 0;
            int inside = 0;
            connect(&timer, &Timer::tick, this, [&] {
                if (++ticks > 1)
                    return;
                if (restarted)
                    timer.restart();
                clock.advance(10);
                inside = ticks;
            });
            clock.advance(10);
            QCOMPARE(inside, restarted ? 2 : 1);
        }
    }

    void aTickMayStopAnotherTimer()
    {
        TestClock clock;
        Timer first("first");
        auto second = std::make_unique<Timer>("second");
        Timer third("third");
        for (Timer* timer : {&first, second.get(), &third}) {
            timer->setInterval(10);
            timer->setEnabled(true);
        }
        int thirdTicks = 0;
        connect(&first, &Timer::tick, this, [&] {
            second.reset();
            third.setEnabled(false);
        });
        connect(&third, &Timer::tick, this, [&] { ++thirdTicks; });
        clock.advance(30);
        QCOMPARE(thirdTicks, 0);
        QVERIFY(!second);
    }

    void aTickThatWaitsLongerThanItsOwnIntervalDoesNotHang()
    {
        TestClock clock;
        Timer timer("timer");
        timer.setInterval(10);
        int ticks = 0;
        int nested = 0;
        connect(&timer, &Timer::tick, this, [&] {
            ++ticks;
            if (nested > 0)
                return;
            ++nested;
            Delay(0.05F, true);
            --nested;
        });
        timer.setEnabled(true);
        clock.advance(10);
        QVERIFY2(ticks >= 5 && ticks <= 7, qPrintable(QString::number(ticks)));
    }

    void aTimerFollowsTheSystemClockToo()
    {
        Timer timer("timer");
        timer.setInterval(5);
        int ticks = 0;
        connect(&timer, &Timer::tick, this, [&] { ++ticks; });
        timer.setEnabled(true);
        QTRY_VERIFY(ticks >= 3);
        TestClock clock; // from now on only this one counts
        const int before = ticks;
        QTest::qWait(30);
        QCOMPARE(ticks, before);
        clock.advance(5);
        QCOMPARE(ticks, before + 1);
    }

    // --- the end

    void endProgramSetsTheClosingFlag()
    {
        EndProgram();
        QVERIFY(flags().closing);
        QCOMPARE(endProgramCalls(), 1);
    }

    // --- names

    void fileNames_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("valid");
        QTest::addColumn<QString>("trimmed");
        const auto row = [](const char* title, const QString& name, bool valid, const QString& trimmed) {
            QTest::newRow(title) << name << valid << trimmed;
        };
        row("plain", u"sample1"_qs, true, u"sample1"_qs);
        row("blanks around", u" sample1 "_qs, true, u"sample1"_qs);
        row("many blanks", u"    sample1   "_qs, true, u"sample1"_qs);
        row("inner blank", u" sam ple"_qs, false, u"sam ple"_qs);
        row("star", u"sample*"_qs, false, u"sample*"_qs);
        row("question mark", u"sample?"_qs, false, u"sample?"_qs);
        row("backslash", u"a\\b"_qs, false, u"a\\b"_qs);
        row("slash", u"a/b"_qs, false, u"a/b"_qs);
        row("empty", u""_qs, false, u""_qs);
        row("blanks alone", u"   "_qs, false, u""_qs);
        row("tab", u"\tx"_qs, false, u"\tx"_qs);
        for (QChar refused : u":+,;=[]\"<>|"_qs)
            row(qPrintable(u"with "_qs + refused), u"a"_qs + refused, false, u"a"_qs + refused);
        row("all punctuation", u"!#$%&'()-@^_`{}~."_qs, true, u"!#$%&'()-@^_`{}~."_qs);
        row("umlauts", u"\u00FC\u00E4\u00F6\u00C4\u00D6\u00DC\u00DF"_qs, true, u"\u00FC\u00E4\u00F6\u00C4\u00D6\u00DC\u00DF"_qs);
        row("accent", u"caf\u00E9"_qs, false, u"caf\u00E9"_qs);
        row("y with diaeresis", u"\u00FF"_qs, false, u"\u00FF"_qs);
        row("dotless i", u"\u0131"_qs, false, u"\u0131"_qs);
        row("long s", u"\u017F"_qs, false, u"\u017F"_qs);
        row("250 characters", QString(250, u'a'), true, QString(250, u'a'));
        row("251 characters", QString(251, u'a'), false, QString(251, u'a'));
        row("250 and blanks", u" "_qs + QString(250, u'a') + u" "_qs, true, QString(250, u'a'));
    }
    void fileNames()
    {
        QFETCH(QString, name);
        QFETCH(bool, valid);
        QCOMPARE(ValidFileName(name), valid);
        QTEST(name, "trimmed");
    }

    // --- numbers

    void exposureTimes()
    {
        ScriptedPrompts boxes;
        QCOMPARE(ExposureTimeCheck(0.4F, false), 0);
        QCOMPARE(ExposureTimeCheck(2.5F, false), 2);
        QCOMPARE(ExposureTimeCheck(3.5F, true), 4);
        QCOMPARE(ExposureTimeCheck(199999.6F, false), 200000); // the range is tested first
        QVERIFY(boxes.messages.isEmpty());
        for (float refused : {200000.0F, -1.0F, -0.001F, 0.0F, std::numeric_limits<float>::quiet_NaN()}) {
            boxes.expect(u"Exposure Time"_qs, u"Invalid setting!"_qs)
                .withIcon(Prompts::Icon::Exclamation)
                .withButtons(Prompts::Buttons::Ok);
            QCOMPARE(ExposureTimeCheck(refused, false), -1);
        }
        QVERIFY(boxes.allShown());
        boxes.expect(u"Exposure Time"_qs, u"Invalid setting!"_qs);
        QCOMPARE(ExposureTimeCheck(200000, true), -1);
    }

    void noExposureTimeOfItsOwnSetsThePollingInterval()
    {
        ScriptedPrompts boxes;
        flags().scanMode = 0;
        QCOMPARE(ExposureTimeCheck(0, true), 0);
        QCOMPARE(frontPanel().ExposureTimer.interval(), 100);
        flags().scanMode = 1;
        QCOMPARE(ExposureTimeCheck(0, true), 0);
        QCOMPARE(frontPanel().ExposureTimer.interval(), 1000);
    }

    void roundingToDigitsLeavesTheScaledValueBehind()
    {
        float single = 1.25F;
        QCOMPARE(RoundToDigits(single, 1), 1.2F);
        QCOMPARE(single, 12.5F);
        double value = 0.375;
        QCOMPARE(RoundToDigits(value, 2), 0.38);
        QCOMPARE(value, 37.5);
        value = -1.25;
        QCOMPARE(RoundToDigits(value, 1), -1.2);
        QCOMPARE(value, -12.5);
        value = 1250;
        QCOMPARE(RoundToDigits(value, -2), 1200.0);
        QCOMPARE(value, 12.5);
        const double kept = 1.35;
        QCOMPARE(RoundedToDigits(kept, 1), 1.4);
        QCOMPARE(RoundedToDigits(0.25, 1), 0.2);
    }

    void bits()
    {
        QVERIFY(BitSet(5, 0));
        QVERIFY(!BitSet(5, 1));
        QVERIFY(BitSet(5, 2));
        QVERIFY(BitSet(-1, 15));
        QVERIFY(BitSet(std::numeric_limits<qint16>::min(), 15));
        QVERIFY(!BitSet(32767, 15));
        QVERIFY(!BitSet(-1, 16));
        QVERIFY(!BitSet(-1, -1));
    }

    void smallerOfTwo()
    {
        QCOMPARE(SmallerOf(1, 2), 1);
        QCOMPARE(SmallerOf(2, 1), 1);
        const double plus = 0.0;
        const double minus = -0.0;
        QVERIFY(std::signbit(SmallerOf(plus, minus))); // a tie gives the second
    }

    // --- texts

    void replacing()
    {
        QString text = u"1,5,2"_qs;
        QCOMPARE(ReplaceAll(text, u","_qs, u"."_qs), u"1.5.2");
        QCOMPARE(text, u"1.5.2");
        text = u"a    b"_qs;
        QCOMPARE(ReplaceAll(text, u"  "_qs, u" "_qs), u"a b"); // again and again
        text = u"a,b"_qs;
        QCOMPARE(ReplaceAll(text, u","_qs, u",,"_qs), u"a,,b"); // would never end
        text = u"abb"_qs;
        QCOMPARE(ReplaceAll(text, u"ab"_qs, u"bbaa"_qs), u"bbaab"); // nor would this
        text = u"abc"_qs;
        QCOMPARE(ReplaceAll(text, u""_qs, u"x"_qs), u"abc");
        QCOMPARE(ReplaceAll(text, u"b"_qs, u""_qs), u"ac");
    }

    void removing()
    {
        QCOMPARE(RemoveAll(u"a b c"_qs, u" "_qs), u"abc");
        QCOMPARE(RemoveAll(u"aabbc"_qs, u"ab"_qs), u"c"); // what closes up is found too
        QCOMPARE(RemoveAll(u"abc"_qs, u""_qs), u"abc");
        QCOMPARE(RemoveAll(u"aaa"_qs, u"aa"_qs), u"a");
        QCOMPARE(RemoveAll(QString(200000, u'a') + QString(200000, u'b'), u"ab"_qs), u"");
    }

    void countingCuttingCleaning()
    {
        QCOMPARE(CountCharacter(u"1,2,,3"_qs, u","_qs), 3);
        QCOMPARE(CountCharacter(u"1,2,,3"_qs, u",,"_qs), 0);
        QCOMPARE(CountCharacter(u"abc"_qs, u""_qs), 0);
        QCOMPARE(CountCharacter(u"aAa"_qs, u"a"_qs), 2);
        QCOMPARE(PrintableOnly(u"\x02 A~\x7F\u00E4\r\nz\t"_qs), u" A~z");
        QCOMPARE(TextAfter(u"S1:128 S2:0"_qs, u":"_qs), u"128 S2:0");
        QCOMPARE(TextAfter(u"300=R3"_qs, u"=R"_qs), u"3");
        QCOMPARE(TextAfter(u"none"_qs, u":"_qs), u"");
        QCOMPARE(TextAfter(u"end:"_qs, u":"_qs), u"");
    }

    // --- error numbers

    void errorsHaveNumberAndDescription()
    {
        QVERIFY(!ProgramError());
        QCOMPARE(ProgramError::of(70).description, u"Permission denied");
        QCOMPARE(ProgramError::of(61).description, u"Disk full");
        QCOMPARE(ProgramError::of(8002).description, u"Invalid port number");
        for (int number : {6, 11, 13, 52, 53, 55, 57, 61, 62, 70, 71, 75, 76, 8002, 8005}) {
            QCOMPARE(ProgramError::of(number).number, number);
            QVERIFY2(!ProgramError::of(number).description.isEmpty() && !ProgramError::of(number).description.startsWith(u"Application"),
                     qPrintable(QString::number(number)));
        }
#ifdef Q_OS_UNIX
        QCOMPARE(ProgramError::ofSystem(0).number, 0);
        QCOMPARE(ProgramError::ofSystem(ENOENT).number, 53);
        QCOMPARE(ProgramError::ofSystem(EACCES).number, 70);
        QCOMPARE(ProgramError::ofSystem(ENOSPC).number, 61);
        QCOMPARE(ProgramError::ofSystem(EIO).number, 57);
        QCOMPARE(ProgramError::ofSystem(ENOTDIR).number, 76);
        QCOMPARE(ProgramError::ofSystem(9999).number, 75);
#endif
    }

    void whyAFileCannotBeOpened()
    {
        const auto why = [this](const QString& name, QIODevice::OpenMode mode) {
            QFile file(m_folder->filePath(name));
            errno = 0;
            return file.open(mode) ? 0 : ProgramError::ofFile(file.fileName(), file.error(), 0).number;
        };
        QCOMPARE(why(u"missing.sdf"_qs, QIODevice::ReadOnly), 53);
        QCOMPARE(why(u"no/such/folder.sdf"_qs, QIODevice::ReadOnly), 76);
        QCOMPARE(why(u"no/such/folder.sdf"_qs, QIODevice::WriteOnly), 76);
        QVERIFY(QDir(m_folder->path()).mkdir(u"folder"_qs));
        QCOMPARE(why(u"folder"_qs, QIODevice::WriteOnly), 75);
        QCOMPARE(ProgramError::ofFile({}, QFileDevice::OpenError, 0).number, 52);
        QCOMPARE(ProgramError::ofFile(m_folder->filePath(u"x"_qs), QFileDevice::WriteError, 0).number, 57);
        QCOMPARE(ProgramError::ofFile(m_folder->filePath(u"x"_qs), QFileDevice::ResourceError, 0).number, 61);
        QCOMPARE(ProgramError::ofFile(m_folder->filePath(u"x"_qs), QFileDevice::PermissionsError, 0).number, 70);
    }
};

QTEST_GUILESS_MAIN(TestModTools)
#include "tst_modtools.moc"
