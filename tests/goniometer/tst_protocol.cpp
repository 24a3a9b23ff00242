// SPDX-License-Identifier: GPL-3.0-or-later

#include "PlayedController.h"

#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/ScanRecord.h"
#include "support/AppLog.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

namespace {
const QString noReply = QStringLiteral("SMC does not respond...");
const QString smcTitle = QStringLiteral("SMC");
const QString checkTitle = QStringLiteral("SMC Check");
const QString transferTitle = QStringLiteral("Scan Data Transfer");
const QString checkText = QStringLiteral("SMC does not respond...\r\n"
                                         "\r\n"
                                         "Please check the following:\r\n"
                                         "    -SMC powered ON?\r\n"
                                         "    -SMC connected to COM1?\r\n"
                                         "    -SMC configuration ACTIVE INTERFACE set to 'V24'?\r\n"
                                         "    -SMC's interface settings are '9600,N,8,1,\r\n"
                                         "    -Cable connection ok?\r\n"
                                         "    -SMC's display shows 'READY FOR YOUR COMMANDS'?");

QString mismatch(const char* number)
{
    return QStringLiteral("Received number of data points (") + QString::fromLatin1(number) +
           QStringLiteral(") do not match parameter settings!\r\n\r\nDo want to continue anyway?");
}

ScanRecord scanOf(int points)
{
    ScanRecord scan = ScanRecord::of({10, 10 + (points - 1) * 0.5, 0.5, 1, points});
    scan.resize(points);
    return scan;
}
} // namespace

class tst_protocol : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }

    // sending and receiving
    void aCommandFollowsItsLineEndInOneWrite();
    void withoutTxDelayNothingIsWaited();
    void aReplyInThreeChunksIsReturnedWhole();
    void aReplyThatCameBeforeTheWaitIsReturnedAtOnce();
    void aReplyAsLongAsTheLastOneEndsATickEarlier();
    void aSilentControllerIsReported();
    void aSilentControllerIsPassedOverWhilePolling();
    void theTimeOutCountsFromTheLastChunk();
    void aWaitInsideAWaitSharesTextAndSwitch();
    void aCommandThrowsAwayWhatWasLeft();

    // queries
    void withoutControllerEveryQueryReturnsItsDisabledValue();
    void aLineThatIsDownAnswersNothingAtOnce();
    void aLinePulledWhileAReplyIsAwaited();
    void aClosingProgramSendsNothing();
    void axisStatus_data();
    void axisStatus();
    void positions_data();
    void positions();
    void versionText();
    void numbersInCommands();

    // presence check
    void axesAreCounted_data();
    void axesAreCounted();
    void retryAsksAgain();
    void ignoreGoesOnWithout();
    void abortEndsTheProgram();
    void theCheckNamesADeviceFile();
    void aBusyControllerIsFoundAtStart();

    // transfer
    void transfers_data();
    void transfers();
    void whatHoldsAStatus();
    void aLateReplyInATransferIsNoCount();
    void theLineIsQuietBeforeATransfer();
    void moreCountsThanPointsAreReadOnceMoreWhenNobodyIsThere();
    void aLineThatNeverFallsSilentDoesNotRespond();
    void aTransferShowsItself();
    void noLeavesTheArraysAlone();
    void yesKeepsWhatFits();
    void aTransferThatIsCutIsAskedForAgain();
    void aLongTransferIsStoredWhole();
};

void tst_protocol::aCommandFollowsItsLineEndInOneWrite()
{
    TestClock clock;
    PlayedController smc(clock);
    modSMC::SMCSend(QStringLiteral("CLR;"));
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\nCLR;"});
    QVERIFY(clock.elapsed() >= 100 && clock.elapsed() < 170);
    QVERIFY(clock.rounds() > 0);
}

void tst_protocol::withoutTxDelayNothingIsWaited()
{
    TestClock clock;
    PlayedController smc(clock);
    modCOM::MCComm().txDelay = 0;
    modSMC::SMCSend(QStringLiteral("CLR;"));
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\nCLR;"});
    QCOMPARE(clock.elapsed(), 0ULL);
}

void tst_protocol::aReplyInThreeChunksIsReturnedWhole()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.feedLater(10, "S1:1");
    smc.feedLater(100, "2");
    smc.feedLater(190, "8\r\n");
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QStringLiteral("S1:128\r\n"));
    QVERIFY(!modCOM::smcReception().waiting);
    QVERIFY(!modCOM::RxTimer().isEnabled());
    QCOMPARE(modCOM::smcReception().receiveText, QString());
}

void tst_protocol::aReplyThatCameBeforeTheWaitIsReturnedAtOnce()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.feed("S1:128\r\n");
    clock.advance(1000);
    QVERIFY(!modCOM::RxTimer().isEnabled());
    const quint64 before = clock.elapsed();
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QStringLiteral("S1:128\r\n"));
    QCOMPARE(clock.elapsed(), before);
}

void tst_protocol::aReplyAsLongAsTheLastOneEndsATickEarlier()
{
    TestClock clock;
    PlayedController smc(clock);
    const auto timeOf = [&](const QByteArray& reply) {
        const quint64 before = clock.elapsed();
        smc.feed(reply);
        modSMC::SMCReceive(modSMC::reportTimeout);
        return clock.elapsed() - before;
    };
    QCOMPARE(timeOf("S1:128\r\n"), 200ULL);
    QCOMPARE(timeOf("S1:000\r\n"), 100ULL);
    QCOMPARE(timeOf("S1:0\r\n"), 200ULL);
}

void tst_protocol::aSilentControllerIsReported()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.mute = true;
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, noReply).withButtons(Prompts::Buttons::Ok).withBeep();
    QCOMPARE(modSMC::SMCGetAxisStatus(1), qint16{0});
    QVERIFY(clock.elapsed() >= 2000 && clock.elapsed() < 2300);
    QVERIFY(boxes.allShown());
}

void tst_protocol::aSilentControllerIsPassedOverWhilePolling()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    QCOMPARE(modSMC::SMCReceive(modSMC::silent), QString());
    QCOMPARE(clock.elapsed(), 2000ULL);
    QVERIFY(boxes.allShown());
}

void tst_protocol::theTimeOutCountsFromTheLastChunk()
{
    TestClock clock;
    PlayedController smc(clock);
    modCOM::RxTimer().setInterval(1500);
    smc.feedLater(1400, "P1:");
    smc.feedLater(2800, "10");
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, noReply).then([&] { QCOMPARE(clock.elapsed(), 4800ULL); });
    // Ticks of the end timer fall at 2900 (3 characters more) and 4400; the reply is complete there, before the time-out at 4800.
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QStringLiteral("P1:10"));
    QVERIFY(clock.elapsed() >= 4300 && clock.elapsed() < 4800);
    boxes.dropRest();
    modCOM::RxTimer().setInterval(0);
    smc.feedLater(1000, "P1:10");
    boxes.expect(smcTitle, noReply);
    const quint64 before = clock.elapsed();
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QStringLiteral("P1:10"));
    QCOMPARE(clock.elapsed() - before, 3000ULL);
    QVERIFY(boxes.allShown());
}

void tst_protocol::aWaitInsideAWaitSharesTextAndSwitch()
{
    TestClock clock;
    PlayedController smc(clock);
    QString inner;
    clock.at(500, [&] {
        modSMC::SMCSend(QStringLiteral("?S1;"));
        inner = modSMC::SMCReceive(modSMC::silent);
    });
    ScriptedPrompts boxes;
    // The outer wait would report the time-out; the inner one has made it silent, and has taken the reply.
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QString());
    QCOMPARE(inner, QStringLiteral("S1:128\r\n"));
    QCOMPARE(modCOM::smcReception().messageSwitch, modSMC::silent);
    QVERIFY(boxes.allShown());
}

void tst_protocol::aCommandThrowsAwayWhatWasLeft()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.feed("old\r\n");
    clock.advance(1000);
    QCOMPARE(modSMC::SMCGetAxisStatus(1), qint16{128});
}

void tst_protocol::withoutControllerEveryQueryReturnsItsDisabledValue()
{
    TestClock clock;
    PlayedController smc(clock);
    flags().smcOnline = false;
    ScanRecord scan = scanOf(3);
    modSMC::SMCSend(QStringLiteral("CLR;"));
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QString());
    QVERIFY(modSMC::SMCIsReady());
    QCOMPARE(modSMC::SMCGetAxisStatus(1), qint16{129});
    QCOMPARE(modSMC::SMCGetPosition(1), 0.0);
    QCOMPARE(modSMC::SMCGetVersion(), QStringLiteral("n. a."));
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, 0);
    QCOMPARE(clock.elapsed(), 0ULL);
    QVERIFY(smc.writes.isEmpty());
}

void tst_protocol::aLineThatIsDownAnswersNothingAtOnce()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, QString());
    smc.pull();
    QCoreApplication::processEvents();
    QVERIFY(boxes.allShown());
    QVERIFY(modCOM::MCComm().isDown());
    ScanRecord scan = scanOf(3);
    boxes.expect(transferTitle, mismatch("-1"), Prompts::Button::No);
    const quint64 before = clock.elapsed();
    QVERIFY(!modSMC::SMCIsReady());
    QCOMPARE(modSMC::SMCGetAxisStatus(1), qint16{0});
    QCOMPARE(modSMC::SMCGetPosition(1), 0.0);
    QCOMPARE(modSMC::SMCGetVersion(), QString());
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, -1);
    QCOMPARE(clock.elapsed(), before);
    QVERIFY(smc.writes.isEmpty());
    QVERIFY(boxes.allShown());
}

void tst_protocol::aLinePulledWhileAReplyIsAwaited()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, QString());
    smc.feedLater(100, "P1:1");
    clock.at(150, [&] { smc.pull(); });
    QCOMPARE(modSMC::SMCReceive(modSMC::reportTimeout), QString());
    QVERIFY(clock.elapsed() < 300);
    QCoreApplication::processEvents();
    QVERIFY(boxes.allShown());
}

void tst_protocol::aClosingProgramSendsNothing()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    clock.at(300, [] { flags().closing = true; });
    modSMC::SMCReceive(modSMC::reportTimeout);
    QVERIFY(clock.elapsed() < 310);
    modSMC::SMCSend(QStringLiteral("CLR;"));
    QCOMPARE(modSMC::SMCCheck(), qint16{0});
    ScanRecord scan;
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, -1);
    QVERIFY(smc.writes.isEmpty());
    QVERIFY(boxes.allShown());
}

void tst_protocol::axisStatus_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("status");
    QTest::newRow("idle") << QByteArray("S1:128\r\n") << 128;
    QTest::newRow("busy") << QByteArray("S1:0\r\n") << 0;
    QTest::newRow("other bits") << QByteArray("S1:193 \r\n") << 193;
    QTest::newRow("first colon counts") << QByteArray("S1:64 S2:128\r\n") << 64;
    QTest::newRow("no colon") << QByteArray("128\r\n") << 128;
    QTest::newRow("no number") << QByteArray("S1:?\r\n") << 0;
    QTest::newRow("a blank before it") << QByteArray("S1: 129\r\n") << 129;
    QTest::newRow("nothing but the number") << QByteArray("129\r\n") << 129;
    QTest::newRow("garbage") << QByteArray("\xff\x7f#\r") << 0;
    QTest::newRow("nothing behind the colon") << QByteArray("S1:") << 0;
    QTest::newRow("ties to even") << QByteArray("S1:128.5\r\n") << 128;
    QTest::newRow("beyond 16 bits") << QByteArray("S1:99999\r\n") << 0;
}

void tst_protocol::axisStatus()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, status);
    TestClock clock;
    PlayedController smc(clock);
    smc.answer = [&](const QString&, QByteArray& out) {
        out = reply;
        return true;
    };
    QCOMPARE(int(modSMC::SMCGetAxisStatus(2)), status);
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\n?S2;"});
    QCOMPARE(modSMC::SMCIsReady(), (status & 128) != 0);
    QCOMPARE(smc.writes.last(), QByteArray("\r\n?S1;"));
}

void tst_protocol::positions_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<double>("position");
    QTest::newRow("plain") << QByteArray("P1:10.500\r\n") << 10.5;
    QTest::newRow("negative") << QByteArray("P1:-3.25\r\n") << -3.25;
    QTest::newRow("to three decimals") << QByteArray("P1:10.12349\r\n") << 10.123;
    QTest::newRow("ties to even") << QByteArray("P1:0.0625\r\n") << 0.062;
    QTest::newRow("no colon") << QByteArray("7.5\r\n") << 7.5;
    QTest::newRow("nothing") << QByteArray("P1:\r\n") << 0.0;
}

void tst_protocol::positions()
{
    QFETCH(QByteArray, reply);
    QFETCH(double, position);
    TestClock clock;
    PlayedController smc(clock);
    smc.answer = [&](const QString&, QByteArray& out) {
        out = reply;
        return true;
    };
    QCOMPARE(modSMC::SMCGetPosition(1), position);
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\n?P1;"});
}

void tst_protocol::versionText()
{
    TestClock clock;
    PlayedController smc(clock);
    QCOMPARE(modSMC::SMCGetVersion(), QStringLiteral("SMC 4412 V1.3"));
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\n?V;"});
}

void tst_protocol::numbersInCommands()
{
    QCOMPARE(modSMC::FormatSMCNumber(10.5), QStringLiteral("10.5"));
    QCOMPARE(modSMC::FormatSMCNumber(0.02), QStringLiteral("0.02"));
    QCOMPARE(modSMC::FormatSMCNumber(-5), QStringLiteral("-5"));
    QCOMPARE(modSMC::FormatSMCNumber(4000), QStringLiteral("4000"));
    QCOMPARE(modSMC::FormatSMCNumber(750.5), QStringLiteral("750.5"));
    QCOMPARE(modSMC::FormatSMCNumber(0.1 + 0.2), QStringLiteral("0.3"));
}

void tst_protocol::axesAreCounted_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("axes");
    QTest::newRow("one") << QByteArray("S1:128\r\n") << 1;
    QTest::newRow("two") << QByteArray("S1:128 S2:128\r\n") << 2;
    QTest::newRow("three") << QByteArray("::: \r\n") << 3;
}

void tst_protocol::axesAreCounted()
{
    QFETCH(QByteArray, reply);
    QFETCH(int, axes);
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    smc.answer = [&](const QString& command, QByteArray& out) {
        out = reply;
        return command == QStringLiteral("?S;");
    };
    QCOMPARE(int(modSMC::SMCCheck()), axes);
    QCOMPARE(smc.commands(), (QStringList{QStringLiteral("?S;"), QStringLiteral("?S1;"), QStringLiteral("?V;")}));
    QCOMPARE(modSMC::state().firmwareText, QStringLiteral("SMC 4412 V1.3 "));
    QVERIFY(!Operation::isRunning(Operations::scan));
    QVERIFY(boxes.allShown());
}

void tst_protocol::retryAsksAgain()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.mute = true;
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, noReply);
    boxes.expect(checkTitle, checkText, Prompts::Button::Retry)
        .withButtons(Prompts::Buttons::AbortRetryIgnore, 2)
        .withIcon(Prompts::Icon::None)
        .withAnswers(Prompts::Button::Retry, Prompts::Button::Ignore, Prompts::Button::Ignore)
        .then([&] { smc.mute = false; });
    QCOMPARE(modSMC::SMCCheck(), qint16{2});
    QCOMPARE(smc.sent(QStringLiteral("?S;")), 2);
    QVERIFY(boxes.allShown());
}

void tst_protocol::ignoreGoesOnWithout()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.answer = [](const QString&, QByteArray& out) {
        out = "no such thing\r\n";
        return true;
    };
    ScriptedPrompts boxes;
    boxes.expect(checkTitle, checkText, Prompts::Button::Ignore);
    QCOMPARE(modSMC::SMCCheck(), qint16{0});
    QCOMPARE(modSMC::state().firmwareText, QStringLiteral("n.a."));
    QCOMPARE(smc.commands(), QStringList{QStringLiteral("?S;")});
    QVERIFY(boxes.allShown());
}

void tst_protocol::abortEndsTheProgram()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.answer = [](const QString&, QByteArray& out) {
        out = "-\r\n";
        return true;
    };
    ScriptedPrompts boxes;
    boxes.expect(checkTitle, checkText, Prompts::Button::Abort);
    QCOMPARE(modSMC::SMCCheck(), qint16{0});
    QCOMPARE(endProgramCalls(), 1);
    QVERIFY(flags().closing);
    QCOMPARE(smc.commands(), QStringList{QStringLiteral("?S;")});
    QVERIFY(boxes.allShown());
}

void tst_protocol::theCheckNamesADeviceFile()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.mute = true;
    configuration().smc.serialDevice = QStringLiteral("tcp:lab:4001");
    configuration().smc.settings = QStringLiteral(" 2400,E,7,2 ");
    ScriptedPrompts boxes;
    boxes.expect(smcTitle, noReply);
    boxes.expect(checkTitle, QString(), Prompts::Button::Ignore);
    modSMC::SMCCheck();
    QVERIFY(boxes.allShown());
    const QStringList lines = boxes.messages.last().text.split(QStringLiteral("\r\n"));
    QCOMPARE(lines.value(4), QStringLiteral("    -SMC connected to tcp:lab:4001?"));
    QCOMPARE(lines.value(6), QStringLiteral("    -SMC's interface settings are '2400,E,7,2,"));
}

void tst_protocol::aBusyControllerIsFoundAtStart()
{
    TestClock clock;
    PlayedController smc(clock);
    smc.busy = true;
    QCOMPARE(modSMC::SMCCheck(), qint16{2});
    QVERIFY(Operation::isRunning(Operations::scan));
    QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuMeasStartAcquisition), QStringLiteral("Abort Data Acquisition"));
    QCOMPARE(modSMC::state().firmwareText, QStringLiteral("S1:0 S2:0"));
    QCOMPARE(smc.sent(QStringLiteral("?V;")), 0);
    QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuExtrasGoniometerGoTo));
}

void tst_protocol::transfers_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QList<double>>("counts");
    QTest::addColumn<int>("maximum");
    QTest::newRow("two points") << QByteArray("12\r\n15\r\nCEND;\r\n") << QList<double>{12, 15} << 15;
    QTest::newRow("ties to even") << QByteArray("3.5\r\n2.5\r\nCEND;\r\n") << QList<double>{4, 2} << 4;
    QTest::newRow("text counts 0") << QByteArray("abc\r\n7x\r\n\r\nCEND;\r\n") << QList<double>{0, 7, 0} << 7;
    QTest::newRow("blanks") << QByteArray(" 12\r\n15 \r\nCEND;\r\n") << QList<double>{12, 15} << 15;
    QTest::newRow("exponents") << QByteArray("1E3\r\n1.5E2\r\nCEND;\r\n") << QList<double>{1000, 150} << 1000;
    QTest::newRow("32 bits") << QByteArray("2147483647\r\n99999999999\r\n1\r\nCEND;\r\n") << QList<double>{2147483647.0, 0, 1}
                             << 2147483647;
    QTest::newRow("nine and ten digits") << QByteArray("999999999\r\n1000000000\r\nCEND;\r\n") << QList<double>{999999999, 1000000000}
                                         << 1000000000;
    QTest::newRow("negative") << QByteArray("-5\r\n-1\r\nCEND;\r\n") << QList<double>{-5, -1} << 0;
    QTest::newRow("closing mark comes early") << QByteArray("8\r\nCEND;\r\n9\r\n") << QList<double>{8, 0} << 8;
    QTest::newRow("closing mark is exact") << QByteArray("8\r\nCEND; \r\nCEND;\r\n") << QList<double>{8, 0} << 8;
    QTest::newRow("bare CR and LF end no line") << QByteArray("8\n1\r\n9\r\r\nCEND;\r\n") << QList<double>{8, 9} << 9;
}

void tst_protocol::transfers()
{
    QFETCH(QByteArray, reply);
    QFETCH(QList<double>, counts);
    QFETCH(int, maximum);
    TestClock clock;
    PlayedController smc(clock);
    smc.answer = [&](const QString&, QByteArray& out) {
        out = reply;
        return true;
    };
    ScriptedPrompts boxes;
    ScanRecord scan = scanOf(int(counts.size()));
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, maximum);
    QCOMPARE(smc.writes, QList<QByteArray>{"\r\n?CNT;"});
    QCOMPARE(scan.counts(), counts);
    if (counts.last() != 0)
        QCOMPARE(scan.angle(scan.size()), scan.parameters.stop);
    QVERIFY(boxes.allShown());
}

void tst_protocol::whatHoldsAStatus()
{
    for (const char* text : {"S1:128\r\n", "S1: 129", "129\r\n", "S1:0"})
        QVERIFY2(modSMC::HoldsStatus(QString::fromLatin1(text)), text);
    // Counts of a transfer are none.
    for (const char* text : {"", "\r\n", "S1:", "S1:?", "129 130", "129\r\n200\r\n", "12x"})
        QVERIFY2(!modSMC::HoldsStatus(QString::fromLatin1(text)), text);
}

void tst_protocol::aLateReplyInATransferIsNoCount()
{
    TestClock clock;
    PlayedController smc(clock);
    const AppLog log;
    ScriptedPrompts boxes;
    smc.answer = [](const QString&, QByteArray& out) {
        out = "S1:128\r\n12\r\n15\r\nS1:128\r\n9\r\nCEND;\r\n";
        return true;
    };
    ScanRecord scan = scanOf(3);
    const modSMC::Transfer transfer = modSMC::SMCReadScanData(scan);
    QCOMPARE(transfer.received, 3);
    QCOMPARE(scan.counts(), (QList<double>{12, 15, 9}));
    QCOMPARE(log.text().count(QStringLiteral("SMC: no count, but a late reply: S1:128")), 2);
    QVERIFY(boxes.allShown());
}

void tst_protocol::theLineIsQuietBeforeATransfer()
{
    TestClock clock;
    PlayedController smc(clock);
    const ScriptedPrompts boxes;
    smc.countLines = {"1", "2", "3"};
    for (quint32 at = 30; at <= 330; at += 60)
        smc.feedLater(at, "S1:128\r\n");
    quint64 asked = 0;
    smc.onCommand = [&](const QString&) { asked = clock.elapsed(); };
    ScanRecord scan = scanOf(3);
    QCOMPARE(modSMC::SMCReadScanData(scan).received, 3);
    QVERIFY2(asked >= 400 && asked < 700, qPrintable(QString::number(asked)));
    QCOMPARE(scan.counts(), (QList<double>{1, 2, 3}));
}

void tst_protocol::moreCountsThanPointsAreReadOnceMoreWhenNobodyIsThere()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    boxes.somebodyThere = false;
    smc.countLines = {"1", "2", "3"};
    smc.onCommand = [&](const QString&) { smc.countLines.removeLast(); }; // before the answer to the next one
    ScanRecord scan = scanOf(2);
    QCOMPARE(modSMC::SMCReadScanData(scan).received, 2);
    QCOMPARE(smc.sent(QStringLiteral("?CNT;")), 2);
    // Still more: nothing is taken.
    smc.countLines = {"1", "2", "3", "4", "5", "6"};
    boxes.expect(transferTitle, QString(), Prompts::Button::No);
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, -1);
    QCOMPARE(smc.sent(QStringLiteral("?CNT;")), 4);
    QVERIFY(boxes.allShown());
    // Somebody is there: he is asked at once.
    boxes.somebodyThere = true;
    smc.onCommand = {};
    smc.countLines = {"1", "2", "3", "4", "5", "6"};
    boxes.expect(transferTitle, mismatch(" 6"), Prompts::Button::No);
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, -1);
    QCOMPARE(smc.sent(QStringLiteral("?CNT;")), 5);
    QVERIFY(boxes.allShown());
}

void tst_protocol::aLineThatNeverFallsSilentDoesNotRespond()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    smc.mute = true;
    for (quint32 at = 0; at < 60000; at += 40)
        smc.feedLater(at, "\r\n");
    boxes.expect(smcTitle, noReply);
    QVERIFY(!modSMC::SMCIsReady());
    QVERIFY2(clock.elapsed() >= 20000 && clock.elapsed() < 21000, qPrintable(QString::number(clock.elapsed())));
    QVERIFY(boxes.allShown());
}

void tst_protocol::aTransferShowsItself()
{
    TestClock clock;
    PlayedController smc(clock);
    const ScriptedPrompts boxes;
    smc.answer = [](const QString&, QByteArray&) { return true; };
    for (quint32 i = 0; i < 40; ++i)
        smc.feedLater(200 + i * 50, "7\r\n");
    smc.feedLater(200 + 40 * 50, "CEND;\r\n");
    QStringList shown;
    QObject context;
    QObject::connect(&frontPanel(), &FrontPanel::panelChanged, &context, [&shown](int number, const QString& text) {
        if (number == 4)
            shown << text;
    });
    frontPanel().setPanel(4, QStringLiteral("40 of 40 points"));
    ScanRecord scan = scanOf(40);
    QCOMPARE(modSMC::SMCReadScanData(scan).received, 40);
    QVERIFY2(shown.contains(QStringLiteral("reading 17 of 40 points")), qPrintable(shown.join(u'|')));
    QCOMPARE(shown.last(), QStringLiteral("40 of 40 points"));
}

void tst_protocol::noLeavesTheArraysAlone()
{
    TestClock clock;
    PlayedController smc(clock);
    const QList<std::pair<QByteArray, const char*>> replies{
        {"", "-1"}, {"CEND;\r\n", " 0"}, {"12\r\n15\r\n1", " 1"}, {"1\r\n2\r\n3\r\n4\r\n5\r\n6\r\nCEND;\r\n", " 6"}, {"#!\x01\xfe", "-1"}};
    for (const auto& [reply, number] : replies) {
        smc.answer = [reply = reply](const QString&, QByteArray& out) {
            out = reply;
            return true;
        };
        ScanRecord scan = scanOf(3);
        ScriptedPrompts boxes;
        if (reply.isEmpty())
            boxes.expect(smcTitle, noReply);
        // Without a person a scan that ends early is taken, but neither zeros that nobody counted nor more than was asked for.
        const int received = QByteArray(number).toInt();
        const Prompts::Button goesOn = received > 0 && received < 3 ? Prompts::Button::Yes : Prompts::Button::No;
        boxes.expect(transferTitle, mismatch(number), Prompts::Button::No)
            .withIcon(Prompts::Icon::Exclamation)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withAnswers(goesOn, Prompts::Button::No, goesOn);
        QCOMPARE(modSMC::SMCReadScanData(scan).maximum, -1);
        QCOMPARE(scan.counts(), (QList<double>{0, 0, 0}));
        QVERIFY(boxes.allShown());
    }
}

void tst_protocol::yesKeepsWhatFits()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    smc.countLines = {"1", "2", "3", "4", "5", "9"};
    ScanRecord scan = scanOf(3);
    boxes.expect(transferTitle, mismatch(" 6"), Prompts::Button::Yes);
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, 9);
    QCOMPARE(scan.counts(), (QList<double>{1, 2, 3}));
    QCOMPARE(scan.received, 3);
    smc.countLines = {"7"};
    scan = scanOf(3);
    boxes.expect(transferTitle, mismatch(" 1"), Prompts::Button::Yes);
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, 7);
    QCOMPARE(scan.counts(), (QList<double>{7, 0, 0}));
    QCOMPARE(scan.received, 1);
    QVERIFY(boxes.allShown());
}

void tst_protocol::aTransferThatIsCutIsAskedForAgain()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    const AppLog log;
    QList<QByteArray> replies{"12\r\n15\r\n1", "12\r\n", "12\r\n15\r\n17\r\nCEND;\r\n"};
    smc.answer = [&replies](const QString&, QByteArray& out) {
        out = replies.takeFirst();
        return true;
    };
    ScanRecord scan = scanOf(3);
    QCOMPARE(modSMC::SMCReadScanData(scan).maximum, 17);
    QCOMPARE(scan.counts(), (QList<double>{12, 15, 17}));
    QCOMPARE(smc.writes, QList<QByteArray>(3, "\r\n?CNT;"));
    QCOMPARE(log.text(), QStringLiteral("SMC: the counts did not come whole, transfer 2\r\n"
                                        "SMC: the counts did not come whole, transfer 3\r\n"));
    QVERIFY(boxes.allShown());
}

void tst_protocol::aLongTransferIsStoredWhole()
{
    TestClock clock;
    PlayedController smc(clock);
    ScriptedPrompts boxes;
    QList<double> counts;
    for (int i = 0; i < 32001; ++i) {
        counts << (i * 7919) % 100003;
        smc.countLines << QByteArray::number((i * 7919) % 100003);
    }
    ScanRecord scan = scanOf(32001);
    modSMC::SMCReadScanData(scan);
    QCOMPARE(scan.counts(), counts);
    QCOMPARE(scan.angle(32001), 16010.0);
    QVERIFY(boxes.allShown());
}

QTEST_GUILESS_MAIN(tst_protocol)
#include "tst_protocol.moc"
