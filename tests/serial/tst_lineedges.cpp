// SPDX-License-Identifier: GPL-3.0-or-later
//
// Lines at the edges: the limits of their settings and buffers, what they tell the log, and what is left when they are closed.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QFile>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
using OpenResult = SerialChannel::OpenResult;
using Button = Prompts::Button;
} // namespace

class TestLineEdges : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    // settings
    void baudRatesHaveTheirLimits_data();
    void baudRatesHaveTheirLimits();
    void oneAndAHalfStopBitsAreLonger();
    void aLineTakesAllOfItsSection();

    // opening
    void aPortWithoutPermissionSaysSo();
    void aPortThatDoesNotOpenIsNamedInTheLog_data();
    void aPortThatDoesNotOpenIsNamedInTheLog();
    void openingAgainTakesTheNewDevice();
    void aSuccessForgetsTheErrorBefore();
    void bytesThatWaitedBeforeTheLineWasOpenArrive();
    void aServerIsTalkedToWithoutDelay();
    void withoutATimeoutTwoSecondsAreWaited_data();
    void withoutATimeoutTwoSecondsAreWaited();
    void aFailureWarnsAndDisablesTheEntries();

    // buffers
    void whatIsSentIsReported();
    void aFloodThatNobodyReadsIsCut();

    // a loss
    void aLossAndAReturnAreLogged();
    void aLossIsCountedOnce();
    void aLossIsShownWithAWarningAndABeep();
    void aLineThatWasLostTakesNoNewSettingsThatAreNonsense();

    // closing
    void aClosingProgramShowsNoBox();
    void closingStopsTheTimers();
    void theQuestionAboutALineErrorGoesOnByItself();
    void theBoxAboutALossStandsOnce();
    void aLineThatIsTakenDownClosesItsDevice();
    void aNewStartForgetsTheLines();

private:
    QString log() const
    {
        QFile file(m_folder->filePath(u"app.log"_s));
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    void openSmc(ScriptedDevice& device) const
    {
        device.plugInto(modCOM::MCComm());
        QVERIFY(modCOM::OpenMCComm());
    }

    std::unique_ptr<QTemporaryDir> m_folder;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_boxes;
};

void TestLineEdges::init()
{
    resetProgram();
    modCOM::reset();
    m_folder = std::make_unique<QTemporaryDir>();
    m_clock = std::make_unique<TestClock>();
    m_boxes = std::make_unique<ScriptedPrompts>();
    modTools::state().programDirectory = m_folder->path();
    configuration().smc = {1, {}, u"9600,N,8,1"_s, 0.1F, 0.1F, 2};
    configuration().generator.line = {2, {}, u"9600,n,8,1"_s, 0, 0, 0};
    configuration().ltc.line = {3, {}, u"9600,o,7,1"_s, 0.5F, 0, 1.5F};
}

void TestLineEdges::cleanup()
{
    QCOMPARE(AppLog::unwantedIn(m_folder->path()), QStringList());
    QVERIFY(m_boxes->allShown());
    m_boxes.reset();
    modCOM::reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_clock.reset();
}

// --- settings

void TestLineEdges::baudRatesHaveTheirLimits_data()
{
    QTest::addColumn<bool>("good");
    QTest::newRow("49") << false;
    QTest::newRow("50") << true;
    QTest::newRow("4000000") << true;
    QTest::newRow("4000001") << false;
}

void TestLineEdges::baudRatesHaveTheirLimits()
{
    QFETCH(bool, good);
    const QString baud = QString::fromLatin1(QTest::currentDataTag());
    const auto parsed = LineSettings::parse(baud + u",n,8,1"_s);
    QCOMPARE(parsed.has_value(), good);
    if (good)
        QCOMPARE(parsed->baudRate, baud.toInt());
}

void TestLineEdges::oneAndAHalfStopBitsAreLonger()
{
    QCOMPARE(LineSettings::parse(u"110,m,5,1.5"_s)->characterTime(), 8.5 / 110);
    QCOMPARE(LineSettings::parse(u"110,n,5,1.5"_s)->characterTime(), 7.5 / 110);
    QCOMPARE(LineSettings::parse(u"110,n,5,2"_s)->characterTime(), 8.0 / 110);
}

void TestLineEdges::aLineTakesAllOfItsSection()
{
    SerialChannel channel;
    channel.configure({7, u"tcp:lab:4001"_s, u"1200,o,7,1"_s, 0.5F, 0.25F, 1.5F});
    QCOMPARE(channel.portNumber, 7);
    QCOMPARE(channel.deviceText, u"tcp:lab:4001"_s);
    QCOMPARE(channel.settings, u"1200,o,7,1"_s);
    QCOMPARE(channel.txDelay, 0.5F);
    QCOMPARE(channel.rxDelay, 0.25F);
    QCOMPARE(channel.rxTimeout, 1.5F);
    QCOMPARE(channel.lineSettings().baudRate, 1200);
}

// --- opening

void TestLineEdges::aPortWithoutPermissionSaysSo()
{
    const int master = posix_openpt(O_RDWR | O_NOCTTY);
    QVERIFY(master >= 0 && grantpt(master) == 0 && unlockpt(master) == 0);
    const char* const path = ptsname(master);
    QCOMPARE(chmod(path, 0), 0);
    SerialChannel channel;
    channel.deviceText = QString::fromLocal8Bit(path);
    const uid_t self = geteuid();
    // access() looks at the real user, so both must be nobody.
    if (self == 0)
        QCOMPARE(setresuid(65534, 65534, 0), 0);
    const OpenResult result = channel.open();
    if (self == 0)
        QCOMPARE(setresuid(self, self, self), 0);
    ::close(master);
    QCOMPARE(result, OpenResult::PortMissing);
    QCOMPARE(channel.lastError().number, int(ProgramError::PermissionDenied));
}

void TestLineEdges::aPortThatDoesNotOpenIsNamedInTheLog_data()
{
    QTest::addColumn<QString>("device");
    QTest::addColumn<QString>("logged");
    QTest::newRow("port") << u"/dev/no-such-adapter"_s << u"/dev/no-such-adapter: "_s;
    QTest::newRow("no address") << u"tcp:lab"_s << u"tcp:lab: not tcp:HOST:PORT"_s;
    QTest::newRow("no port number") << u"tcp:lab:x"_s << u"tcp:lab:x: not tcp:HOST:PORT"_s;
    QTest::newRow("no host") << u"tcp::4001"_s << u"tcp::4001: not tcp:HOST:PORT"_s;
}

void TestLineEdges::aPortThatDoesNotOpenIsNamedInTheLog()
{
    QFETCH(QString, device);
    QFETCH(QString, logged);
    flags().log = true;
    SerialChannel channel;
    channel.deviceText = device;
    QCOMPARE(channel.open(), OpenResult::PortMissing);
    QVERIFY2(log().contains(logged), qPrintable(log()));
}

void TestLineEdges::openingAgainTakesTheNewDevice()
{
    ScriptedDevice before;
    ScriptedDevice after;
    SerialChannel channel;
    before.plugInto(channel);
    before.send("half a re");
    m_clock->advance(10);
    QCOMPARE(channel.inBufferCount(), 9);
    after.plugInto(channel);
    QCOMPARE(channel.inBufferCount(), 0);
    QVERIFY(channel.output(u"Q;"_s));
    QCOMPARE(before.written(), QByteArray());
    QCOMPARE(after.written(), QByteArray("Q;"));
    before.send("ply\r\n");
    m_clock->advance(10);
    QCOMPARE(channel.input(), QString());
    before.hangUp(); // nobody listens to it any more
    QVERIFY(channel.isOpen() && !channel.isDown());
}

void TestLineEdges::aSuccessForgetsTheErrorBefore()
{
    SerialChannel channel;
    channel.deviceText = u"/dev/no-such-adapter"_s;
    QCOMPARE(channel.open(), OpenResult::PortMissing);
    QVERIFY(channel.lastError());
    ScriptedDevice device;
    device.plugInto(channel);
    QVERIFY(!channel.lastError());
    channel.setDeviceSource({});
    QCOMPARE(channel.open(), OpenResult::PortMissing);
    channel.openDevice(device.plug());
    QVERIFY(!channel.lastError());
}

void TestLineEdges::bytesThatWaitedBeforeTheLineWasOpenArrive()
{
    ScriptedDevice device;
    std::unique_ptr<QIODevice> port = device.plug();
    static_cast<ScriptedPort*>(port.get())->receive("READY\r\n");
    SerialChannel channel;
    int received = 0;
    connect(&channel, &SerialChannel::onComm, this, [&received](int code) { received += int(code == SerialChannel::ReceiveEvent); });
    channel.openDevice(std::move(port));
    QCOMPARE(received, 0); // from the event loop
    m_clock->advance(1);
    QCOMPARE(received, 1);
    QCOMPARE(channel.input(), u"READY\r\n"_s);
}

void TestLineEdges::aServerIsTalkedToWithoutDelay()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SerialChannel channel;
    channel.deviceText = u" TCP:127.0.0.1:%1 "_s.arg(server.serverPort()); // in any case, blanks around
    QCOMPARE(channel.open(), OpenResult::Open);
    auto* socket = qobject_cast<QTcpSocket*>(channel.device());
    QVERIFY(socket);
    QVERIFY(socket->socketOption(QAbstractSocket::LowDelayOption).toInt() != 0);
    QVERIFY(socket->socketOption(QAbstractSocket::KeepAliveOption).toInt() != 0);
}

void TestLineEdges::withoutATimeoutTwoSecondsAreWaited_data()
{
    QTest::addColumn<float>("seconds");
    QTest::addColumn<int>("interval");
    QTest::newRow("none") << 0.0F << 2000;
    QTest::newRow("negative") << -1.0F << 2000;
    QTest::newRow("short") << 0.001F << 1;
    QTest::newRow("long") << 7.5F << 7500;
}

void TestLineEdges::withoutATimeoutTwoSecondsAreWaited()
{
    QFETCH(float, seconds);
    configuration().smc.rxTimeout = seconds;
    ScriptedDevice smc;
    openSmc(smc);
    QTEST(modCOM::MCRxTimeout().interval(), "interval");
}

void TestLineEdges::aFailureWarnsAndDisablesTheEntries()
{
    using enum Menu::Entry;
    Flags& now = flags();
    now.smcOnline = now.generatorRemote = now.shutterRemote = now.htcEnabled = now.ltcEnabled = now.laserEnabled = true;
    frontPanel().refreshEntries();
    const auto noDevice = [] { return std::unique_ptr<QIODevice>(); };
    int refreshed = 0;
    connect(&frontPanel(), &FrontPanel::entriesChanged, this, [&refreshed] { ++refreshed; });
    for (SerialChannel* line : {&modCOM::MCComm(), &modCOM::GeneratorComm(), &modCOM::TCComm()})
        line->setDeviceSource(noDevice);
    for (int i = 0; i < 3; ++i)
        m_boxes->expect(QString(), QString()).withIcon(Prompts::Icon::Exclamation);
    QVERIFY(frontPanel().isEntryEnabled(mnuExtrasGenerator));
    QVERIFY(!modCOM::OpenGeneratorComm());
    QVERIFY(!frontPanel().isEntryEnabled(mnuExtrasGenerator));
    QVERIFY(frontPanel().isEntryEnabled(mnuLTC));
    QVERIFY(!modCOM::OpenTCComm());
    QVERIFY(!frontPanel().isEntryEnabled(mnuLTC) && !frontPanel().isEntryEnabled(mnuHTC) && !frontPanel().isEntryEnabled(mnuLaser));
    now.dataPresent = true; // shows whether the entries are looked at again
    QVERIFY(!modCOM::OpenMCComm());
    QVERIFY(frontPanel().isEntryEnabled(mnuFileSaveAs));
    frontPanel().disconnect(this);
}

// --- buffers

void TestLineEdges::whatIsSentIsReported()
{
    ScriptedDevice device;
    SerialChannel channel;
    device.plugInto(channel);
    QList<int> codes;
    connect(&channel, &SerialChannel::onComm, this, [&codes](int code) { codes += code; });
    QVERIFY(channel.output(u"Q;"_s));
    m_clock->advance(1);
    QCOMPARE(codes, QList<int>{SerialChannel::SendEvent});
}

void TestLineEdges::aFloodThatNobodyReadsIsCut()
{
    ScriptedDevice device;
    SerialChannel channel;
    device.plugInto(channel);
    QList<int> errors;
    connect(&channel, &SerialChannel::onComm, this, [&errors](int code) {
        if (code > 1000)
            errors += code;
    });
    device.send(QByteArray(SerialChannel::inBufferSize - 1, 'a'));
    device.send("b");
    m_clock->advance(5);
    QCOMPARE(channel.inBufferCount(), SerialChannel::inBufferSize);
    QVERIFY(errors.isEmpty());
    device.send("cd");
    m_clock->advance(5);
    QCOMPARE(channel.inBufferCount(), SerialChannel::inBufferSize);
    QCOMPARE(errors, QList<int>{SerialChannel::ReceiveOverflow});
    QVERIFY(channel.input().endsWith(u"ab"));
    QCOMPARE(channel.inBufferCount(), 0);
}

// --- a loss

void TestLineEdges::aLossAndAReturnAreLogged()
{
    ScriptedDevice device;
    SerialChannel channel;
    channel.deviceText = u"adapter"_s;
    device.plugInto(channel);
    device.hangUp(); // logged although the log is off
    QVERIFY2(log().contains(u"adapter: line down, closed by the other end"_s), qPrintable(log()));
    device.plugBack();
    m_clock->advance(SerialChannel::reopenInterval);
    QVERIFY(channel.isOpen());
    QVERIFY2(log().contains(u"adapter: line open again"_s), qPrintable(log()));
}

void TestLineEdges::aLossIsCountedOnce()
{
    ScriptedDevice device;
    SerialChannel channel;
    device.plugInto(channel);
    QCOMPARE(channel.losses(), 0U);
    for (quint32 i = 1; i <= 3; ++i) {
        device.hangUp();
        device.hangUp();
        QCOMPARE(channel.losses(), i);
        device.plugBack();
        m_clock->advance(SerialChannel::reopenInterval);
        QVERIFY(channel.isOpen());
    }
    channel.close(); // by the program itself: no loss
    QCOMPARE(channel.losses(), 3U);
    QVERIFY(!channel.isDown());
}

void TestLineEdges::aLossIsShownWithAWarningAndABeep()
{
    ScriptedDevice smc;
    openSmc(smc);
    m_boxes->expect(u"SMC"_s, QString()).withIcon(Prompts::Icon::Exclamation).withBeep();
    smc.hangUp();
    QVERIFY(m_boxes->messages.isEmpty()); // from the event loop: whoever waits goes on first
    m_clock->advance(1);
    QCOMPARE(m_boxes->messages.size(), 1);
}

void TestLineEdges::aLineThatWasLostTakesNoNewSettingsThatAreNonsense()
{
    ScriptedDevice device;
    SerialChannel channel;
    device.plugInto(channel);
    device.hangUp();
    device.plugBack();
    channel.settings = u"nonsense"_s;
    const int attempts = device.plugAttempts();
    m_clock->advance(3 * SerialChannel::reopenInterval);
    QVERIFY(channel.isDown());
    QCOMPARE(device.plugAttempts(), attempts);
    channel.settings = u"9600,n,8,1"_s;
    m_clock->advance(SerialChannel::reopenInterval);
    QVERIFY(channel.isOpen());
}

// --- closing

void TestLineEdges::aClosingProgramShowsNoBox()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    flags().closing = true;
    modCOM::SmcReception& reception = modCOM::smcReception();
    reception.waiting = true;
    modCOM::MCRxTimeout().restart();
    m_clock->advance(3000);
    QVERIFY(!reception.waiting);
    smc.injectEvent(1004);
    QVERIFY(modCOM::MCComm().isOpen());
    QCOMPARE(endProgramCalls(), 0);
    modCOM::SerialOut(modCOM::MCComm(), u"Q;"_s);
    QCOMPARE(smc.written(), QByteArray());
    QVERIFY(m_boxes->messages.isEmpty());
}

void TestLineEdges::closingStopsTheTimers()
{
    ScriptedDevice smc;
    openSmc(smc);
    const QList<modTools::Timer*> timers{&modCOM::RxTimer(), &modCOM::MCRxTimeout(), &modCOM::tcTimeout()};
    for (modTools::Timer* timer : timers) {
        timer->setInterval(100);
        timer->setEnabled(true);
    }
    modCOM::close();
    for (const modTools::Timer* timer : timers)
        QVERIFY(!timer->isEnabled());
    QVERIFY(!modCOM::MCComm().isOpen());
}

void TestLineEdges::theQuestionAboutALineErrorGoesOnByItself()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::state().diagnostic = true;
    m_boxes->expect(u"Ignore this error?"_s, u"Frame error"_s, Button::Yes);
    smc.injectEvent(1004);
    const Prompts::Message box = m_boxes->messages.first();
    QCOMPARE(box.goesOn, Button::Yes);
    QCOMPARE(box.safe, Button::Yes);
    QCOMPARE(box.unattended, Button::Yes);
    // and the next one is shown again
    m_boxes->expect(u"Ignore this error?"_s, u"Frame error"_s, Button::Yes);
    smc.injectEvent(1004);
}

void TestLineEdges::theBoxAboutALossStandsOnce()
{
    ScriptedDevice smc;
    openSmc(smc);
    const auto expectBox = [this] { return &m_boxes->expect(u"SMC"_s, QString()).withIcon(Prompts::Icon::Exclamation).withBeep(); };
    const auto comeAndGo = [&] {
        smc.plugBack();
        m_clock->advance(SerialChannel::reopenInterval);
        QVERIFY(modCOM::MCComm().isOpen());
        smc.hangUp();
        QCoreApplication::processEvents();
        QVERIFY(modCOM::MCComm().isDown());
    };
    expectBox()->then(comeAndGo); // no second box over the first
    smc.hangUp();
    QCoreApplication::processEvents();
    QVERIFY(m_boxes->allShown());
    expectBox(); // but one for the next loss
    comeAndGo();
}

void TestLineEdges::aLineThatIsTakenDownClosesItsDevice()
{
    ScriptedDevice far;
    QPointer<QIODevice> device;
    {
        SerialChannel channel;
        channel.setDeviceSource([&] {
            auto port = far.plug();
            device = port.get();
            return port;
        });
        QCOMPARE(channel.open(), OpenResult::Open);
        QVERIFY(device && device->isOpen());
    }
    QVERIFY(!device || !device->isOpen());
}

void TestLineEdges::aNewStartForgetsTheLines()
{
    ScriptedDevice smc;
    openSmc(smc);
    modCOM::smcReception().receiveText = u"S1:"_s;
    modCOM::state().diagnostic = true;
    const int asked = smc.plugAttempts();
    modCOM::reset();
    QVERIFY(!modCOM::MCComm().isOpen());
    QCOMPARE(modCOM::smcReception().receiveText, QString());
    QVERIFY(!modCOM::state().diagnostic);
    for (const SerialChannel* line : {&modCOM::MCComm(), &modCOM::GeneratorComm(), &modCOM::TCComm()}) {
        QCOMPARE(line->settings, u"9600,N,8,1"_s);
        QCOMPARE(line->portNumber, 1);
    }
    for (const modTools::Timer* timer : {&modCOM::RxTimer(), &modCOM::MCRxTimeout(), &modCOM::tcTimeout()})
        QCOMPARE(timer->interval(), 0);
    modCOM::MCComm().deviceText = u"/dev/no-such-line"_s;
    QCOMPARE(modCOM::MCComm().open(), OpenResult::PortMissing); // not the device of before
    QCOMPARE(smc.plugAttempts(), asked);
}

QTEST_GUILESS_MAIN(TestLineEdges)
#include "tst_lineedges.moc"
