// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "serial/modCOM.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {
using Button = Prompts::Button;

const QString lostSmc = u"The connection to the goniometer controller (COM1) is lost.\r\n\r\n"
                        "Please check adapter and cable. The line is opened again as soon as it is there."_s;

void processAll()
{
    for (int i = 0; i < 20; ++i)
        QCoreApplication::processEvents();
}
} // namespace

class tst_modcom : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void serialOutLogsTheLineWithItsControlCharactersWritten();
    void serialOutSendsTheWholeTextInOneWrite();
    void serialOutWaitsTheGeneratorTxDelayAndNothingWithoutIt();
    void suppressedSerialOutLogsOnly();
    void clearingAnEmptyInputReturnsZeroAndLogsNothingPending();
    void clearingThrowsAwayWhatWaits();

    void replyInThreeChunksIsReturnedWhole();
    void gapLongerThanTheQuietIntervalEndsTheReply();
    void messageEndsAfterOneWholeQuietInterval();
    void secondReplyOfTheSameLengthEndsAtTheFirstTick();
    void restOfAReplyIsNotAskedFor();

    void silentControllerIsReportedAfterTheTimeout();
    void everyChunkStartsTheTimeoutAfresh();
    void silentSwitchEndsTheWaitWithoutABox();
    void timeoutWithNobodyWaitingDoesNothing();
    void timeoutWhileItsBoxIsOpenDoesNothing();
    void replyThatComesWhileTheBoxIsOpenIsKept();
    void nestedWaitTakesOverSwitchAndText();

    void openingFailures_data();
    void openingFailures();
    void openingSetsTheTimers();
    void failureNamesTheSerialDevice();

    void lineErrors_data();
    void lineErrors();
    void lineEventsAndErrorsAreSilentWithoutTheDiagnosticFlag();
    void noToALineErrorClosesTheLineAndEndsTheProgram();
    void floodOfLineErrorsShowsOneBoxAtATime();

    void vanishedAdapter_data();
    void vanishedAdapter();
    void vanishedAdapterEndsTheWaitAndItsHalfReply();
    void lineIsReopenedEveryTwoSecondsAndPanel1SaysSo();
    void boxesOfALineThatComesAndGoesDoNotPileUp();
    void closedLineIsNotReopened();
    void nothingIsShownOrReopenedWhenTheProgramCloses();

    void stalledOutputIsBounded();
    void refusedWriteIsToldToTheCaller();
    void withTheLogOffNothingIsLogged();

private:
    void openSmc(ScriptedDevice& device);
    void openGenerator(ScriptedDevice& device);
    QString receive(qint16 messageSwitch);
    QStringList logLines() const;

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_boxes;
};

void tst_modcom::init()
{
    resetProgram();
    modCOM::reset();
    m_folder = std::make_unique<QTemporaryDir>();
    m_clock = std::make_unique<TestClock>();
    m_boxes = std::make_unique<ScriptedPrompts>();
    modTools::state().programDirectory = m_folder->path();
    flags().log = true;
    configuration().smc = {1, {}, u"9600,N,8,1"_s, 0.1F, 0.1F, 2};
    configuration().generator.line = {2, {}, u"9600,n,8,1"_s, 0, 0, 0};
    configuration().ltc.line = {3, {}, u"9600,o,7,1"_s, 0.5F, 0, 1.5F};
}

void tst_modcom::cleanup()
{
    QVERIFY(m_boxes->allShown());
    m_boxes.reset();
    modCOM::reset();
    processAll();
    m_clock.reset();
}

void tst_modcom::openSmc(ScriptedDevice& device)
{
    device.plugInto(modCOM::MCComm());
    QVERIFY(modCOM::OpenMCComm());
}

void tst_modcom::openGenerator(ScriptedDevice& device)
{
    device.plugInto(modCOM::GeneratorComm());
    QVERIFY(modCOM::OpenGeneratorComm());
}

// The wait as every query of the controller makes it.
QString tst_modcom::receive(qint16 messageSwitch)
{
    modCOM::SmcReception& reception = modCOM::smcReception();
    reception.messageSwitch = messageSwitch;
    reception.waiting = true;
    modCOM::MCRxTimeout().restart();
    while (reception.waiting && !flags().closing)
        modTools::DoEvents();
    return std::exchange(reception.receiveText, QString());
}

QStringList tst_modcom::logLines() const
{
    QFile file(m_folder->filePath(u"app.log"_s));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromLatin1(file.readAll()).split(u"\r\n"_s);
}

// --- SerialOut and the clearing of buffers

void tst_modcom::serialOutLogsTheLineWithItsControlCharactersWritten()
{
    ScriptedDevice generator;
    openGenerator(generator);
    QCOMPARE(modCOM::SerialOut(modCOM::GeneratorComm(), u"CA\r"_s), qint16(0));
    modCOM::SerialOut(modCOM::GeneratorComm(), u"A\r\nB"_s);
    QVERIFY(logLines().contains(u"COM2: SerialOut(CA<cr>)"_s));
    QVERIFY(logLines().contains(u"COM2: SerialOut(A<cr><lf>B)"_s));
}

void tst_modcom::serialOutSendsTheWholeTextInOneWrite()
{
    ScriptedDevice generator;
    openGenerator(generator);
    modCOM::SerialOut(modCOM::GeneratorComm(), u"SV:40\r"_s);
    modCOM::SerialOut(modCOM::GeneratorComm(), u"\u00b5\r"_s);
    QCOMPARE(generator.writes(), (QList<QByteArray>{"SV:40\r", "\xb5\r"}));
}

void tst_modcom::serialOutWaitsTheGeneratorTxDelayAndNothingWithoutIt()
{
    ScriptedDevice generator;
    openGenerator(generator);
    modCOM::SerialOut(modCOM::GeneratorComm(), u"CA\r"_s);
    QCOMPARE(m_clock->elapsed(), 0U);
    configuration().generator.line.txDelay = 0.5F;
    modCOM::SerialOut(modCOM::GeneratorComm(), u"CA\r"_s);
    QVERIFY(m_clock->elapsed() >= 499 && m_clock->elapsed() <= 501);
    QVERIFY(m_clock->rounds() > 0);
    QCOMPARE(m_clock->idleRounds(), 0);
}

void tst_modcom::suppressedSerialOutLogsOnly()
{
    ScriptedDevice generator;
    openGenerator(generator);
    configuration().generator.line.txDelay = 0.5F;
    modCOM::state().lineSuppressed = true;
    modCOM::SerialOut(modCOM::GeneratorComm(), u"CA\r"_s);
    QVERIFY(generator.written().isEmpty());
    QCOMPARE(m_clock->elapsed(), 0U);
    QVERIFY(logLines().contains(u"COM2: SerialOut(CA<cr>)"_s));
}

void tst_modcom::clearingAnEmptyInputReturnsZeroAndLogsNothingPending()
{
    ScriptedDevice generator;
    ScriptedDevice tc;
    openGenerator(generator);
    tc.plugInto(modCOM::TCComm());
    QCOMPARE(modCOM::ClearGeneratorCommRxBuffer(), qint16(0));
    QCOMPARE(modCOM::ClearTCCommRxBuffer(), qint16(0));
    QCOMPARE(logLines().mid(0, 4), (QStringList{u"ClearGeneratorCommRxBuffer()"_s, u"ClearGeneratorCommRxBuffer(Pending Chars:)"_s,
                                                u"ClearTCCommRxBuffer()"_s, u"ClearTCCommRxBuffer(Pending Chars:)"_s}));
}

void tst_modcom::clearingThrowsAwayWhatWaits()
{
    ScriptedDevice generator;
    openGenerator(generator);
    generator.send("*0000");
    generator.send("40000");
    processAll();
    QCOMPARE(modCOM::GeneratorComm().inBufferCount(), 10);
    QCOMPARE(modCOM::ClearGeneratorCommRxBuffer(), qint16(10));
    QCOMPARE(modCOM::GeneratorComm().inBufferCount(), 0);
    QVERIFY(logLines().contains(u"ClearGeneratorCommRxBuffer(Pending Chars:*000040000)"_s));
    QCOMPARE(modCOM::ClearGeneratorCommRxBuffer(), qint16(0));
}

// --- reception

void tst_modcom::replyInThreeChunksIsReturnedWhole()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.answer("?S;", {{"S1:12", 30}, {"8 S2", 95}, {":128\r\n", 95}});
    modCOM::MCComm().output(u"\r\n?S;"_s);
    QCOMPARE(receive(0), u"S1:128 S2:128\r\n"_s);
    QCOMPARE(smc.written(), QByteArray("\r\n?S;"));
}

void tst_modcom::gapLongerThanTheQuietIntervalEndsTheReply()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.answer("?S;", {{"S1:12", 30}, {"8\r\n", 260}});
    modCOM::MCComm().output(u"\r\n?S;"_s);
    QCOMPARE(receive(0), u"S1:12"_s);
}

void tst_modcom::messageEndsAfterOneWholeQuietInterval()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("P1:10.500\r\n", 50);
    receive(0);
    // 50 ms to the characters, one tick that notes their number, one that finds no more.
    QVERIFY(m_clock->elapsed() >= 248 && m_clock->elapsed() <= 255);
    QVERIFY(!modCOM::RxTimer().isEnabled());
    QCOMPARE(modCOM::smcReception().lastReplyLength, 11);
}

void tst_modcom::secondReplyOfTheSameLengthEndsAtTheFirstTick()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("S1:128\r\n", 50);
    receive(0);
    const quint64 before = m_clock->elapsed();
    smc.send("S1:128\r\n", 50);
    QCOMPARE(receive(0), u"S1:128\r\n"_s);
    const quint64 took = m_clock->elapsed() - before;
    QVERIFY2(took >= 148 && took <= 155, qPrintable(QString::number(took)));
}

void tst_modcom::restOfAReplyIsNotAskedFor()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("READY\r\n");
    m_clock->advance(1000);
    QVERIFY(!modCOM::smcReception().waiting);
    QCOMPARE(modCOM::smcReception().receiveText, u"READY\r\n"_s);
}

// --- time-out

void tst_modcom::silentControllerIsReportedAfterTheTimeout()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, u"SMC does not respond..."_s).withButtons(Prompts::Buttons::Ok).withBeep();
    QCOMPARE(receive(0), QString());
    QVERIFY(m_clock->elapsed() >= 1999 && m_clock->elapsed() <= 2002);
    QVERIFY(modCOM::MCRxTimeout().isEnabled());
}

void tst_modcom::everyChunkStartsTheTimeoutAfresh()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("S1", 1900);
    smc.send(":0\r\n", 90);
    QCOMPARE(receive(0), u"S1:0\r\n"_s);
    QVERIFY(m_boxes->messages.isEmpty());
    QVERIFY(m_clock->elapsed() > 2000);
}

void tst_modcom::silentSwitchEndsTheWaitWithoutABox()
{
    ScriptedDevice smc;
    openSmc(smc);
    QCOMPARE(receive(1), QString());
    QVERIFY(m_clock->elapsed() >= 1999 && m_clock->elapsed() <= 2002);
    QVERIFY(m_boxes->messages.isEmpty());
}

void tst_modcom::timeoutWithNobodyWaitingDoesNothing()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("S1:128\r\n");
    receive(0);
    m_clock->advance(10000);
    QVERIFY(modCOM::MCRxTimeout().isEnabled());
    QVERIFY(m_boxes->messages.isEmpty());
}

void tst_modcom::timeoutWhileItsBoxIsOpenDoesNothing()
{
    ScriptedDevice smc;
    openSmc(smc);
    bool stillWaiting = false;
    m_boxes->expect(u"SMC"_s, u"SMC does not respond..."_s).then([&] {
        m_clock->advance(7000);
        stillWaiting = modCOM::smcReception().waiting;
    });
    receive(0);
    QVERIFY(stillWaiting);
    QVERIFY(!modCOM::smcReception().waiting);
    QCOMPARE(m_boxes->messages.size(), 1);
}

void tst_modcom::replyThatComesWhileTheBoxIsOpenIsKept()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, u"SMC does not respond..."_s).then([&] {
        smc.send("S1:128\r\n");
        m_clock->advance(500);
    });
    QCOMPARE(receive(0), u"S1:128\r\n"_s);
}

void tst_modcom::nestedWaitTakesOverSwitchAndText()
{
    ScriptedDevice smc;
    openSmc(smc);
    QString inner;
    m_clock->at(500, [&] {
        smc.send("S1:128\r\n", 10);
        inner = receive(1);
    });
    QCOMPARE(receive(0), QString());
    QCOMPARE(inner, u"S1:128\r\n"_s);
    QCOMPARE(modCOM::smcReception().messageSwitch, qint16(1));
}

// --- opening

void tst_modcom::openingFailures_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("settings");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    const auto row = [](const char* tag, const QString& line, const QString& settings, const QString& title, const QString& text) {
        QTest::newRow(tag) << line << settings << title << text;
    };
    row("generator, no port", u"generator"_s, u"9600,n,8,1"_s, u"Generator: Communication Error"_s,
        u"COM2 not available!\r\n(Error 8002)"_s);
    row("generator, settings", u"generator"_s, u"9600,x,8,1"_s, u"Generator: Serial Port Settings"_s,
        u"Unable to open COM2\r\nwith settings '9600,x,8,1'!\r\n"_s);
    row("SMC, no port", u"smc"_s, u"9600,N,8,1"_s, u"SMC: Communication Error"_s, u"COM1 not available!\r\n"_s);
    row("SMC, settings", u"smc"_s, u"nonsense"_s, u"SMC: Communication Port Settings"_s,
        u"Unable to open COM1\r\nwith settings 'nonsense'!\r\n"_s);
    row("TC, no port", u"tc"_s, u"9600,o,7,1"_s, u"SMC: Communication Error"_s, u"COM3 not available!\r\n"_s);
    row("TC, settings", u"tc"_s, u"9600,o,9,1"_s, u"TC: Communication Port Settings"_s,
        u"Unable to open COM3\r\nwith settings '9600,o,9,1'!\r\n"_s);
}

void tst_modcom::openingFailures()
{
    QFETCH(QString, line);
    QFETCH(QString, settings);
    QFETCH(QString, title);
    QFETCH(QString, text);
    Flags& f = flags();
    f.smcOnline = f.generatorRemote = f.shutterRemote = f.htcEnabled = f.ltcEnabled = f.laserEnabled = true;
    m_boxes->expect(title, text).withButtons(Prompts::Buttons::Ok);
    const auto noDevice = [] { return std::unique_ptr<QIODevice>(); };
    bool opened = true;
    if (line == u"generator") {
        configuration().generator.line.settings = settings;
        modCOM::GeneratorComm().setDeviceSource(noDevice);
        opened = modCOM::OpenGeneratorComm();
    } else if (line == u"smc") {
        configuration().smc.settings = settings;
        modCOM::MCComm().setDeviceSource(noDevice);
        opened = modCOM::OpenMCComm();
    } else {
        configuration().ltc.line.settings = settings;
        modCOM::TCComm().setDeviceSource(noDevice);
        opened = modCOM::OpenTCComm();
    }
    QVERIFY(!opened);
    QCOMPARE(f.smcOnline, line != u"smc");
    QCOMPARE(f.generatorRemote, line != u"generator");
    QCOMPARE(f.shutterRemote, line != u"generator");
    QCOMPARE(f.htcEnabled, line != u"tc");
    QCOMPARE(f.ltcEnabled, line != u"tc");
    QCOMPARE(f.laserEnabled, line != u"tc");
    const QString logged = title + u" - "_s + QString(text).replace(u"\r\n"_s, u" "_s).trimmed();
    QVERIFY2(logLines().contains(logged), qPrintable(logLines().join(u'\n')));
    // A line that was never open is absent, not down: nothing tries to open it later.
    m_clock->advance(5000);
    QVERIFY(!modCOM::MCComm().isDown() && !modCOM::GeneratorComm().isDown() && !modCOM::TCComm().isDown());
}

void tst_modcom::openingSetsTheTimers()
{
    ScriptedDevice smc;
    ScriptedDevice tc;
    openSmc(smc);
    tc.plugInto(modCOM::TCComm());
    QVERIFY(modCOM::OpenTCComm());
    QCOMPARE(modCOM::RxTimer().interval(), 100);
    QCOMPARE(modCOM::MCRxTimeout().interval(), 2000);
    QCOMPARE(modCOM::tcTimeout().interval(), 1500);
    QVERIFY(!modCOM::MCRxTimeout().isEnabled() && !modCOM::RxTimer().isEnabled() && !modCOM::tcTimeout().isEnabled());
    QCOMPARE(modCOM::MCComm().txDelay, 0.1F);
}

void tst_modcom::failureNamesTheSerialDevice()
{
    configuration().smc.serialDevice = u"/dev/no-such-adapter"_s;
    m_boxes->expect(u"SMC: Communication Error"_s, u"/dev/no-such-adapter not available!\r\n"_s);
    QVERIFY(!modCOM::OpenMCComm());
    configuration().generator.line.serialDevice = u"/dev/no-such-adapter"_s;
    m_boxes->expect(u"Generator: Communication Error"_s, u"/dev/no-such-adapter not available!\r\n(Error 8002)"_s);
    QVERIFY(!modCOM::OpenGeneratorComm());
    configuration().ltc.line.serialDevice = u"/dev/no-such-adapter"_s;
    configuration().ltc.line.settings = u"9600"_s;
    m_boxes->expect(u"TC: Communication Port Settings"_s, u"Unable to open /dev/no-such-adapter\r\nwith settings '9600'!\r\n"_s);
    QVERIFY(!modCOM::OpenTCComm());
}

// --- line events and errors

void tst_modcom::lineErrors_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("text"); // empty: no box
    const auto row = [](int code, const char* text) {
        QTest::newRow(qPrintable(QString::number(code))) << code << QString::fromLatin1(text);
    };
    for (int code = 1; code <= 7; ++code)
        row(code, "");
    row(1001, "Break received");
    row(1002, "CTS timeout");
    row(1003, "DSR timeout");
    row(1004, "Frame error");
    row(1005, "Overrun error");
    row(1006, "CD timeout");
    row(1007, "Receive buffer overflow");
    row(1008, "Parity error");
    row(1009, "Transmit buffer full");
    row(1010, "Unknown error or event");
    row(8, "Unknown error or event");
}

void tst_modcom::lineErrors()
{
    QFETCH(int, code);
    QFETCH(QString, text);
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    if (!text.isEmpty())
        m_boxes->expect(u"Ignore this error?"_s, text, Button::Yes)
            .withButtons(Prompts::Buttons::YesNo)
            .withIcon(Prompts::Icon::Exclamation);
    smc.injectEvent(code);
    processAll();
    QVERIFY(modCOM::MCComm().isOpen());
    QCOMPARE(endProgramCalls(), 0);
    QCOMPARE(modCOM::smcReception().waiting, code == 2);
}

void tst_modcom::lineEventsAndErrorsAreSilentWithoutTheDiagnosticFlag()
{
    ScriptedDevice smc;
    openSmc(smc);
    for (int code : {3, 4, 5, 6, 7, 8, 1001, 1002, 1003, 1004, 1005, 1006, 1007, 1008, 1009, 1010})
        smc.injectEvent(code);
    processAll();
    QVERIFY(m_boxes->messages.isEmpty());
    QVERIFY(modCOM::MCComm().isOpen());
    QVERIFY(!modCOM::smcReception().waiting);
}

void tst_modcom::noToALineErrorClosesTheLineAndEndsTheProgram()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    m_boxes->expect(u"Ignore this error?"_s, u"Frame error"_s, Button::No);
    smc.injectEvent(1004);
    QVERIFY(!modCOM::MCComm().isOpen());
    QCOMPARE(endProgramCalls(), 1);
}

void tst_modcom::floodOfLineErrorsShowsOneBoxAtATime()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    m_boxes->expect(u"Ignore this error?"_s, u"Parity error"_s, Button::Yes).then([&] {
        for (int i = 0; i < 100; ++i)
            smc.injectEvent(1008);
    });
    smc.injectEvent(1008);
    QCOMPARE(m_boxes->messages.size(), 1);
}

// --- a vanished device

void tst_modcom::vanishedAdapter_data()
{
    QTest::addColumn<QString>("line");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("device");
    QTest::newRow("SMC") << u"smc"_s << u"SMC"_s << u"goniometer controller (COM1)"_s;
    QTest::newRow("generator") << u"generator"_s << u"Generator"_s << u"X-ray generator (COM2)"_s;
    QTest::newRow("TC") << u"tc"_s << u"TC"_s << u"temperature controllers (tcp:lab:4003)"_s;
}

void tst_modcom::vanishedAdapter()
{
    QFETCH(QString, line);
    QFETCH(QString, title);
    QFETCH(QString, device);
    ScriptedDevice far;
    configuration().ltc.line.serialDevice = u"tcp:lab:4003"_s;
    SerialChannel& channel = line == u"smc" ? modCOM::MCComm() : (line == u"generator" ? modCOM::GeneratorComm() : modCOM::TCComm());
    far.plugInto(channel);
    QVERIFY(line == u"smc" ? modCOM::OpenMCComm() : (line == u"generator" ? modCOM::OpenGeneratorComm() : modCOM::OpenTCComm()));
    m_boxes
        ->expect(title, u"The connection to the "_s + device +
                            u" is lost.\r\n\r\nPlease check adapter and cable. The line is opened again as soon as it is there."_s)
        .withButtons(Prompts::Buttons::Ok);
    far.hangUp();
    QVERIFY(!channel.isOpen());
    QVERIFY(channel.isDown());
    far.forget();
    QVERIFY(!channel.output(u"?S;"_s));
    QCOMPARE(channel.input(), QString());
    QCOMPARE(channel.inBufferCount(), 0);
    m_clock->advance(20000);
    QVERIFY(far.written().isEmpty());
    QCOMPARE(m_boxes->messages.size(), 1);
}

void tst_modcom::vanishedAdapterEndsTheWaitAndItsHalfReply()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.send("S1:12", 300);
    m_clock->at(350, [&] { smc.hangUp(); });
    m_boxes->expect(u"SMC"_s, lostSmc);
    QCOMPARE(receive(0), QString());
    QVERIFY(m_clock->elapsed() >= 350 && m_clock->elapsed() <= 360);
    QVERIFY(!modCOM::RxTimer().isEnabled());
    m_clock->advance(5000); // neither a time-out box nor a second one of the lost line
}

void tst_modcom::lineIsReopenedEveryTwoSecondsAndPanel1SaysSo()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, lostSmc);
    smc.hangUp();
    const int attempts = smc.plugAttempts();
    m_clock->advance(1999);
    QCOMPARE(smc.plugAttempts(), attempts);
    m_clock->advance(8001);
    QCOMPARE(smc.plugAttempts(), attempts + 5);
    QVERIFY(frontPanel().panel(1).isEmpty());
    smc.plugBack();
    m_clock->advance(2000);
    QVERIFY(modCOM::MCComm().isOpen());
    QVERIFY(!modCOM::MCComm().isDown());
    QCOMPARE(frontPanel().panel(1), u"The connection to the goniometer controller (COM1) is there again"_s);
    smc.forget();
    smc.answer("?S1;", "S1:128\r\n");
    modCOM::MCComm().output(u"\r\n?S1;"_s);
    QCOMPARE(receive(0), u"S1:128\r\n"_s);
    const int after = smc.plugAttempts();
    m_clock->advance(10000);
    QCOMPARE(smc.plugAttempts(), after);
}

void tst_modcom::boxesOfALineThatComesAndGoesDoNotPileUp()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, lostSmc).then([&] {
        for (int i = 0; i < 5; ++i) {
            smc.plugBack();
            m_clock->advance(2100);
            QVERIFY(modCOM::MCComm().isOpen());
            smc.hangUp();
            m_clock->advance(100);
        }
    });
    smc.hangUp();
    processAll();
    QCOMPARE(m_boxes->messages.size(), 1);
    // A loss after the box was read is told again.
    smc.plugBack();
    m_clock->advance(2100);
    m_boxes->expect(u"SMC"_s, lostSmc);
    smc.hangUp();
    processAll();
    QCOMPARE(m_boxes->messages.size(), 2);
}

void tst_modcom::closedLineIsNotReopened()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, lostSmc);
    smc.hangUp();
    processAll();
    modCOM::close();
    smc.plugBack();
    const int attempts = smc.plugAttempts();
    m_clock->advance(10000);
    QCOMPARE(smc.plugAttempts(), attempts);
    QVERIFY(!modCOM::MCComm().isDown());
}

void tst_modcom::nothingIsShownOrReopenedWhenTheProgramCloses()
{
    ScriptedDevice smc;
    openSmc(smc);
    flags().closing = true;
    smc.hangUp();
    const int attempts = smc.plugAttempts();
    m_clock->advance(10000);
    QCOMPARE(smc.plugAttempts(), attempts);
    QVERIFY(m_boxes->messages.isEmpty());
}

// --- output that does not get away

void tst_modcom::stalledOutputIsBounded()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    smc.setStalled(true);
    const QString text(1024, u'x');
    for (int i = 0; i < 64; ++i)
        QVERIFY(modCOM::MCComm().output(text));
    m_boxes->expect(u"Ignore this error?"_s, u"Transmit buffer full"_s, Button::Yes);
    QVERIFY(!modCOM::MCComm().output(u"Q;"_s));
    processAll();
    QVERIFY(smc.written().isEmpty());
    smc.setStalled(false);
    QCOMPARE(smc.written().size(), 65536);
    QVERIFY(modCOM::MCComm().output(u"Q;"_s));
    QVERIFY(smc.written().endsWith("Q;"));
}

void tst_modcom::refusedWriteIsToldToTheCaller()
{
    ScriptedDevice smc;
    openSmc(smc);
    smc.setRefusing(true);
    QVERIFY(!modCOM::MCComm().output(u"Q;"_s));
    QVERIFY(modCOM::MCComm().isOpen());
}

void tst_modcom::withTheLogOffNothingIsLogged()
{
    flags().log = false;
    ScriptedDevice generator;
    openGenerator(generator);
    QCOMPARE(modCOM::SerialOut(modCOM::GeneratorComm(), u"CA\r"_s), qint16{0});
    modCOM::ClearGeneratorCommRxBuffer();
    configuration().generator.line.settings = u"9600"_s;
    m_boxes->expect(QString(), QString());
    QVERIFY(!modCOM::OpenGeneratorComm());
    QCOMPARE(AppLog::textIn(m_folder->path()), QString());
}

QTEST_GUILESS_MAIN(tst_modcom)
#include "tst_modcom.moc"
