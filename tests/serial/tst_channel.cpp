// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QAbstractEventDispatcher>
#include <QDeadlineTimer>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
using OpenResult = SerialChannel::OpenResult;

/// The far end of a pseudo-terminal, as an adapter that can be pulled.
class Terminal
{
public:
    Terminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
    {
        if (m_master < 0 || grantpt(m_master) != 0 || unlockpt(m_master) != 0)
            qFatal("no pseudo-terminal");
        path = QString::fromLocal8Bit(ptsname(m_master));
    }
    ~Terminal() { pull(); }
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;

    void pull()
    {
        if (m_master >= 0)
            ::close(m_master);
        m_master = -1;
    }
    qsizetype sendSome(const QByteArray& bytes) const
    {
        const ssize_t taken = ::write(m_master, bytes.constData(), static_cast<size_t>(bytes.size()));
        return taken > 0 ? static_cast<qsizetype>(taken) : 0;
    }
    bool send(const QByteArray& bytes) const { return sendSome(bytes) == bytes.size(); }
    /// Everything that has arrived so far.
    QByteArray& received()
    {
        char buffer[4096];
        for (ssize_t n = 0; (n = ::read(m_master, buffer, sizeof buffer)) > 0;)
            m_received.append(buffer, static_cast<qsizetype>(n));
        return m_received;
    }

    QString path;

private:
    int m_master = -1;
    QByteArray m_received;
};

QByteArray allBytes()
{
    QByteArray bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);
    return bytes;
}

/// How often the event loop wakes up within 50 ms: a few times when it rests, thousands of times when something spins.
int wakeUps()
{
    int count = 0;
    QEventLoop loop;
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &loop, [&count] { ++count; });
    QTimer::singleShot(50, &loop, &QEventLoop::quit);
    loop.exec();
    return count;
}
} // namespace

class tst_channel : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void settingsTexts_data();
    void settingsTexts();
    void oneCharacterTakesItsTimeOnTheLine();
    void portNames();

    void whatWasSaidLastGoesOutBeforeThePortIsClosed();
    void whatWasSaidLastGoesOutBeforeTheConnectionIsClosed();
    void aFarEndThatReadsNothingHoldsTheClosingUpForAWhileOnly();

    void nonsenseSettingsAreRefused();
    void missingPortIsMissing();
    void takenPortIsMissingWithItsNumber();
    void fileThatIsNoPortIsNotOpened();

    void bytesGoBothWaysOverATerminal();
    void settingsReachThePort();
    void pulledAdapterIsReportedOnceAndNothingSpins();
    void pulledAdapterIsReopenedWhenItReturns();
    void floodIsReadWhole();

    void bytesGoBothWaysOverTcp();
    void serverThatRefusesIsAMissingPort();
    void unknownHostIsAMissingPortInBoundedTime();
    void malformedAddressIsAMissingPort();
    void serverThatGoesIsReportedOnceAndFoundAgain();
    void tcpLineCanBeClosedWhileItIsBeingReopened();

private:
    void expectLost(const QString& name);

    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_boxes;
};

void tst_channel::init()
{
    resetProgram();
    modCOM::reset();
    m_clock = std::make_unique<TestClock>();
    m_boxes = std::make_unique<ScriptedPrompts>();
}

void tst_channel::cleanup()
{
    QVERIFY(m_boxes->allShown());
    modCOM::reset();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    m_boxes.reset();
    m_clock.reset();
}

void tst_channel::expectLost(const QString& name)
{
    m_boxes->expect(u"SMC"_s, u"The connection to the goniometer controller ("_s + name +
                                  u") is lost.\r\n\r\nPlease check adapter and cable. The line is opened again as soon as it is there."_s);
}

// --- settings and names

void tst_channel::settingsTexts_data()
{
    QTest::addColumn<bool>("good");
    QTest::addColumn<int>("baud");
    QTest::addColumn<int>("parity");
    QTest::addColumn<int>("dataBits");
    QTest::addColumn<int>("stopBits");
    const auto good = [](const char* text, int baud, QSerialPort::Parity parity, int dataBits, QSerialPort::StopBits stopBits) {
        QTest::newRow(text) << true << baud << static_cast<int>(parity) << dataBits << static_cast<int>(stopBits);
    };
    good("9600,N,8,1", 9600, QSerialPort::NoParity, 8, QSerialPort::OneStop);
    good("9600,n,8,1", 9600, QSerialPort::NoParity, 8, QSerialPort::OneStop);
    good("1200,o,7,1", 1200, QSerialPort::OddParity, 7, QSerialPort::OneStop);
    good("300,E,6,2", 300, QSerialPort::EvenParity, 6, QSerialPort::TwoStop);
    good("110,m,5,1.5", 110, QSerialPort::MarkParity, 5, QSerialPort::OneAndHalfStop);
    good("115200,S,7,2", 115200, QSerialPort::SpaceParity, 7, QSerialPort::TwoStop);
    good(" 9600 , n , 8 , 1 ", 9600, QSerialPort::NoParity, 8, QSerialPort::OneStop);
    for (const char* text : {"",
                             ",,,",
                             "9600",
                             "9600,n,8",
                             "9600,n,8,1,",
                             "9600,n,8,1,1",
                             "x,n,8,1",
                             "-9600,n,8,1",
                             "+9600,n,8,1",
                             "0,n,8,1",
                             "96e2,n,8,1",
                             "9600.0,n,8,1",
                             "99999999999,n,8,1",
                             "9600,x,8,1",
                             "9600,none,8,1",
                             "9600,,8,1",
                             "9600,n,4,1",
                             "9600,n,9,1",
                             "9600,n,08,1",
                             "9600,n,8,3",
                             "9600,n,8,1.0",
                             "9600,n,8,0",
                             "9600;n;8;1"})
        QTest::newRow(*text == '\0' ? "empty" : text) << false << 0 << 0 << 0 << 0;
}

void tst_channel::settingsTexts()
{
    QFETCH(bool, good);
    const QByteArray tag = QTest::currentDataTag();
    const auto parsed = LineSettings::parse(tag == "empty" ? QString() : QString::fromLatin1(tag));
    QCOMPARE(parsed.has_value(), good);
    if (!good)
        return;
    QTEST(parsed->baudRate, "baud");
    QTEST(static_cast<int>(parsed->parity), "parity");
    QTEST(static_cast<int>(parsed->dataBits), "dataBits");
    QTEST(static_cast<int>(parsed->stopBits), "stopBits");
}

void tst_channel::oneCharacterTakesItsTimeOnTheLine()
{
    QCOMPARE(LineSettings::parse(u"9600,N,8,1"_s)->characterTime(), 10.0 / 9600);
    QCOMPARE(LineSettings::parse(u"1200,o,7,1"_s)->characterTime(), 10.0 / 1200);
    QCOMPARE(LineSettings::parse(u"300,e,8,2"_s)->characterTime(), 12.0 / 300);
}

void tst_channel::portNames()
{
    SerialChannel channel;
    channel.portNumber = 12;
    QCOMPARE(channel.name(), u"COM12"_s);
#ifdef Q_OS_WIN
    QCOMPARE(channel.systemName(), u"COM12"_s);
#else
    QCOMPARE(channel.systemName(), u"/dev/ttyS11"_s);
#endif
    channel.deviceText = u"/dev/ttyUSB0"_s;
    QCOMPARE(channel.name(), u"/dev/ttyUSB0"_s);
    QCOMPARE(channel.systemName(), u"/dev/ttyUSB0"_s);
}

// --- opening

void tst_channel::nonsenseSettingsAreRefused()
{
    Terminal terminal;
    SerialChannel channel;
    channel.deviceText = terminal.path;
    channel.settings = u"9600,N,8"_s;
    QCOMPARE(channel.open(), OpenResult::SettingsRefused);
    QVERIFY(!channel.isOpen());
    channel.deviceText = u"tcp:127.0.0.1:1"_s;
    QCOMPARE(channel.open(), OpenResult::SettingsRefused);
}

void tst_channel::missingPortIsMissing()
{
    SerialChannel channel;
    channel.deviceText = u"/dev/no-such-adapter"_s;
    QCOMPARE(channel.open(), OpenResult::PortMissing);
    QCOMPARE(channel.lastError().number, int(ProgramError::InvalidPort));
    QVERIFY(!channel.isOpen());
    QVERIFY(!channel.isDown());
    QVERIFY(!channel.output(u"?S;"_s));
    QCOMPARE(channel.input(), QString());
    channel.deviceText.clear();
    channel.portNumber = 0;
    QCOMPARE(channel.open(), OpenResult::PortMissing);
}

void tst_channel::takenPortIsMissingWithItsNumber()
{
    Terminal terminal;
    QTemporaryDir folder;
    const QString otherName = folder.filePath(u"adapter"_s);
    QVERIFY(QFile::link(terminal.path, otherName));
    SerialChannel first;
    first.deviceText = terminal.path;
    QCOMPARE(first.open(), OpenResult::Open);
    for (const QString& name : {terminal.path, otherName}) {
        SerialChannel second;
        second.deviceText = name;
        QCOMPARE(second.open(), OpenResult::PortMissing);
        QCOMPARE(second.lastError().number, int(ProgramError::PortAlreadyOpen));
    }
    // The line that has the port keeps it.
    first.output(u"Q;"_s);
    QTRY_COMPARE(terminal.received(), QByteArray("Q;"));
    first.close();
    SerialChannel third;
    third.deviceText = otherName;
    QCOMPARE(third.open(), OpenResult::Open);
}

void tst_channel::fileThatIsNoPortIsNotOpened()
{
    QTemporaryDir folder;
    QFile file(folder.filePath(u"scan.sdf"_s));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("12\r\n") == 4);
    file.close();
    for (const QString& name : {file.fileName(), folder.path(), u"/dev/null"_s}) {
        SerialChannel channel;
        channel.deviceText = name;
        QCOMPARE(channel.open(), OpenResult::PortMissing);
        QVERIFY(!channel.isOpen());
    }
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(), QByteArray("12\r\n"));
}

// --- a real terminal

void tst_channel::bytesGoBothWaysOverATerminal()
{
    Terminal terminal;
    SerialChannel channel;
    channel.deviceText = terminal.path;
    QCOMPARE(channel.open(), OpenResult::Open);
    const QByteArray bytes = allBytes();
    QVERIFY(channel.output(QString::fromLatin1(bytes)));
    QTRY_COMPARE(terminal.received(), bytes);
    QVERIFY(terminal.send(bytes));
    QTRY_COMPARE(channel.inBufferCount(), bytes.size());
    QCOMPARE(channel.input(), QString::fromLatin1(bytes));
    QCOMPARE(channel.inBufferCount(), 0);
    QCOMPARE(channel.input(), QString());
}

void tst_channel::settingsReachThePort()
{
    Terminal terminal;
    SerialChannel channel;
    channel.deviceText = terminal.path;
    channel.settings = u"1200,o,7,2"_s;
    QCOMPARE(channel.open(), OpenResult::Open);
    const auto* port = qobject_cast<QSerialPort*>(channel.device());
    QVERIFY(port);
    QCOMPARE(port->baudRate(), 1200);
    QCOMPARE(port->parity(), QSerialPort::OddParity);
    QCOMPARE(port->dataBits(), QSerialPort::Data7);
    QCOMPARE(port->stopBits(), QSerialPort::TwoStop);
    QCOMPARE(port->flowControl(), QSerialPort::NoFlowControl);
}

void tst_channel::pulledAdapterIsReportedOnceAndNothingSpins()
{
    Terminal terminal;
    configuration().smc.serialDevice = terminal.path;
    configuration().smc.settings = u"9600,N,8,1"_s;
    QVERIFY(modCOM::OpenMCComm());
    const QPointer<QSerialPort> port = qobject_cast<QSerialPort*>(modCOM::MCComm().device());
    int errors = 0;
    int vanished = 0;
    const QObject counting; // ends the counting with this function
    connect(port, &QSerialPort::errorOccurred, &counting, [&errors] { ++errors; });
    connect(&modCOM::MCComm(), &SerialChannel::vanished, &counting, [&vanished] { ++vanished; });
    expectLost(terminal.path);
    terminal.pull();
    QTRY_VERIFY(modCOM::MCComm().isDown());
    QTRY_COMPARE(m_boxes->messages.size(), 1);
    QTRY_VERIFY(port.isNull());
    const int wakes = wakeUps();
    QVERIFY2(wakes < 50, qPrintable(QString::number(wakes)));
    QVERIFY2(errors <= 2, qPrintable(QString::number(errors)));
    m_clock->advance(10000);
    QVERIFY(modCOM::MCComm().isDown());
    QCOMPARE(vanished, 1);
    QCOMPARE(m_boxes->messages.size(), 1);
}

void tst_channel::pulledAdapterIsReopenedWhenItReturns()
{
    QTemporaryDir folder;
    const QString name = folder.filePath(u"adapter"_s);
    Terminal before;
    QVERIFY(QFile::link(before.path, name));
    configuration().smc.serialDevice = name;
    configuration().smc.settings = u"9600,N,8,1"_s;
    QVERIFY(modCOM::OpenMCComm());
    expectLost(name);
    before.pull();
    QTRY_COMPARE(m_boxes->messages.size(), 1);
    QVERIFY(QFile::remove(name));
    m_clock->advance(4000);
    QVERIFY(modCOM::MCComm().isDown());
    Terminal after;
    QVERIFY(QFile::link(after.path, name));
    m_clock->advance(2000);
    QVERIFY(modCOM::MCComm().isOpen());
    QCOMPARE(frontPanel().panel(1), u"The connection to the goniometer controller (%1) is there again"_s.arg(name));
    modCOM::MCComm().output(u"\r\n?S;"_s);
    QTRY_COMPARE(after.received(), QByteArray("\r\n?S;"));
    QVERIFY(after.send("S1:128\r\n"));
    QTRY_COMPARE(modCOM::smcReception().receiveText, u"S1:128\r\n"_s);
}

void tst_channel::floodIsReadWhole()
{
    Terminal terminal;
    SerialChannel channel;
    channel.deviceText = terminal.path;
    QCOMPARE(channel.open(), OpenResult::Open);
    QString collected;
    connect(&channel, &SerialChannel::onComm, this, [&](int code) {
        if (code == SerialChannel::ReceiveEvent)
            collected += channel.input();
    });
    QByteArray sent;
    for (int i = 0; i < 5000; ++i)
        sent += QByteArray::number(i) + "\r\n";
    // The terminal takes a few kilobytes at a time; what it does not take is offered again.
    QByteArray rest = sent;
    const QDeadlineTimer deadline(20000);
    while (!rest.isEmpty() && !deadline.hasExpired()) {
        rest.remove(0, terminal.sendSome(rest));
        QCoreApplication::processEvents();
    }
    QVERIFY(rest.isEmpty());
    QTRY_COMPARE(collected.size(), sent.size());
    QCOMPARE(collected, QString::fromLatin1(sent));
}

// --- TCP

void tst_channel::bytesGoBothWaysOverTcp()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    for (const QString& host : {u"127.0.0.1"_s, u"localhost"_s, u"[127.0.0.1]"_s}) { // brackets keep the colons of IPv6 apart
        SerialChannel channel;
        channel.deviceText = u"tcp:%1:%2"_s.arg(host).arg(server.serverPort());
        QCOMPARE(channel.open(), OpenResult::Open);
        QCOMPARE(channel.name(), channel.deviceText);
        QTRY_VERIFY(server.hasPendingConnections());
        const std::unique_ptr<QTcpSocket> far(server.nextPendingConnection());
        const QByteArray bytes = allBytes();
        QVERIFY(channel.output(QString::fromLatin1(bytes)));
        QTRY_COMPARE(far->bytesAvailable(), bytes.size());
        QCOMPARE(far->readAll(), bytes);
        far->write(bytes);
        QTRY_COMPARE(channel.inBufferCount(), bytes.size());
        QCOMPARE(channel.input(), QString::fromLatin1(bytes));
    }
}

void tst_channel::serverThatRefusesIsAMissingPort()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const quint16 port = server.serverPort();
    server.close();
    configuration().generator.line.serialDevice = u"tcp:127.0.0.1:%1"_s.arg(port);
    configuration().generator.line.settings = u"9600,n,8,1"_s;
    m_boxes->expect(u"Generator: Communication Error"_s, u"tcp:127.0.0.1:%1 not available!\r\n(Error 8002)"_s.arg(port));
    QVERIFY(!modCOM::OpenGeneratorComm());
    QVERIFY(!modCOM::GeneratorComm().isDown());
}

void tst_channel::unknownHostIsAMissingPortInBoundedTime()
{
    SerialChannel channel;
    channel.deviceText = u"tcp:no-such-server.invalid:4001"_s;
    QElapsedTimer timer;
    timer.start();
    QCOMPARE(channel.open(), OpenResult::PortMissing);
    QVERIFY(timer.elapsed() < 2 * SerialChannel::connectTimeout);
    QVERIFY(!channel.isOpen());
}

void tst_channel::malformedAddressIsAMissingPort()
{
    for (const char16_t* text :
         {u"tcp:", u"tcp:localhost", u"tcp::4001", u"tcp:localhost:", u"tcp:localhost:x", u"tcp:localhost:0", u"tcp:localhost:70000"}) {
        SerialChannel channel;
        channel.deviceText = QString::fromUtf16(text);
        QCOMPARE(channel.open(), OpenResult::PortMissing);
        QCOMPARE(channel.lastError().number, int(ProgramError::InvalidPort));
    }
}

void tst_channel::serverThatGoesIsReportedOnceAndFoundAgain()
{
    auto server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost));
    const quint16 port = server->serverPort();
    configuration().smc.serialDevice = u"tcp:127.0.0.1:%1"_s.arg(port);
    configuration().smc.settings = u"9600,N,8,1"_s;
    QVERIFY(modCOM::OpenMCComm());
    QTRY_VERIFY(server->hasPendingConnections());
    expectLost(modCOM::MCComm().name());
    server.reset();
    QTRY_VERIFY(modCOM::MCComm().isDown());
    QTRY_COMPARE(m_boxes->messages.size(), 1);
    m_clock->advance(20000);
    QVERIFY(modCOM::MCComm().isDown());
    QVERIFY(wakeUps() < 50);

    server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost, port));
    m_clock->advance(2000);
    QTRY_VERIFY(modCOM::MCComm().isOpen());
    QCOMPARE(frontPanel().panel(1), u"The connection to the goniometer controller (%1) is there again"_s.arg(modCOM::MCComm().name()));
    QTRY_VERIFY(server->hasPendingConnections());
    const std::unique_ptr<QTcpSocket> far(server->nextPendingConnection());
    modCOM::MCComm().output(u"\r\n?S;"_s);
    QTRY_COMPARE(far->bytesAvailable(), 5);
    QCOMPARE(far->readAll(), QByteArray("\r\n?S;"));
    far->write("S1:128\r\n");
    QTRY_COMPARE(modCOM::smcReception().receiveText, u"S1:128\r\n"_s);
    QCOMPARE(m_boxes->messages.size(), 1);
}

void tst_channel::tcpLineCanBeClosedWhileItIsBeingReopened()
{
    auto server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost));
    const quint16 port = server->serverPort();
    SerialChannel channel;
    channel.deviceText = u"tcp:127.0.0.1:%1"_s.arg(port);
    QCOMPARE(channel.open(), OpenResult::Open);
    QTRY_VERIFY(server->hasPendingConnections());
    server.reset();
    QTRY_VERIFY(channel.isDown());
    server = std::make_unique<QTcpServer>();
    QVERIFY(server->listen(QHostAddress::LocalHost, port));
    m_clock->realEvents = false;
    m_clock->advance(2000); // the connection is under way, nothing of it has been seen yet
    channel.close();
    m_clock->realEvents = true;
    m_clock->advance(10000);
    QVERIFY(!channel.isOpen());
    QVERIFY(!channel.isDown());
}

void tst_channel::whatWasSaidLastGoesOutBeforeThePortIsClosed()
{
    Terminal terminal;
    SerialChannel channel;
    channel.deviceText = terminal.path;
    QCOMPARE(channel.open(), OpenResult::Open);
    QVERIFY(channel.output(u"heater off\r\n"_s));
    channel.close(); // nothing ran in between that could have sent it
    QCOMPARE(terminal.received(), QByteArray("heater off\r\n"));
}

void tst_channel::whatWasSaidLastGoesOutBeforeTheConnectionIsClosed()
{
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    SerialChannel channel;
    channel.deviceText = u"tcp:127.0.0.1:%1"_s.arg(server.serverPort());
    QCOMPARE(channel.open(), OpenResult::Open);
    QTRY_VERIFY(server.hasPendingConnections());
    const std::unique_ptr<QTcpSocket> far(server.nextPendingConnection());
    QVERIFY(channel.output(u"heater off\r\n"_s));
    channel.close();
    QVERIFY(far->waitForReadyRead(5000));
    QCOMPARE(far->readAll(), QByteArray("heater off\r\n"));
}

void tst_channel::aFarEndThatReadsNothingHoldsTheClosingUpForAWhileOnly()
{
    Terminal terminal; // nobody reads; its buffer holds some thousand characters
    SerialChannel channel;
    channel.deviceText = terminal.path;
    QCOMPARE(channel.open(), OpenResult::Open);
    QVERIFY(channel.output(QString(60000, u'x')));
    QElapsedTimer time;
    time.start();
    channel.close();
    QVERIFY2(time.elapsed() < 2 * SerialChannel::drainTimeout, QByteArray::number(time.elapsed()).constData());
    QVERIFY(!channel.isOpen());
}

QTEST_GUILESS_MAIN(tst_channel)
#include "tst_channel.moc"
