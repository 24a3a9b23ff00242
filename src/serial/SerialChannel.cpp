// SPDX-License-Identifier: GPL-3.0-or-later

#include "serial/SerialChannel.h"

#include "core/Flags.h"

#include <QDeadlineTimer>
#include <QEventLoop>
#include <QFileInfo>
#include <QStringList>
#include <QTcpSocket>
#include <QTimer>

#include <algorithm>
#include <utility>

#ifndef Q_OS_WIN
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
constexpr int connectingTicksAtMost = 3;
constexpr char tcpPrefix[] = "tcp:";

// Host and port of "tcp:HOST:PORT"; port 0 when the text is not in order.
struct TcpAddress
{
    QString host;
    quint16 port = 0;

    explicit TcpAddress(const QString& deviceText)
    {
        const QString address = deviceText.trimmed().mid(static_cast<qsizetype>(sizeof tcpPrefix) - 1);
        const qsizetype colon = address.lastIndexOf(QLatin1Char(':'));
        if (colon < 1)
            return;
        host = address.left(colon);
        if (host.startsWith(QLatin1Char('[')) && host.endsWith(QLatin1Char(']')))
            host = host.mid(1, host.size() - 2);
        port = address.mid(colon + 1).toUShort();
    }
};

std::optional<QSerialPort::Parity> parityOf(const QString& text)
{
    static const struct
    {
        char16_t letter;
        QSerialPort::Parity parity;
    } table[] = {{u'n', QSerialPort::NoParity},
                 {u'o', QSerialPort::OddParity},
                 {u'e', QSerialPort::EvenParity},
                 {u'm', QSerialPort::MarkParity},
                 {u's', QSerialPort::SpaceParity}};
    for (const auto& row : table) {
        if (text.size() == 1 && text.at(0).toLower() == row.letter)
            return row.parity;
    }
    return {};
}

std::optional<QSerialPort::StopBits> stopBitsOf(const QString& text)
{
    if (text == u"1")
        return QSerialPort::OneStop;
    if (text == u"1.5")
        return QSerialPort::OneAndHalfStop;
    if (text == u"2")
        return QSerialPort::TwoStop;
    return {};
}

bool isDigits(const QString& text)
{
    return !text.isEmpty() && std::all_of(text.begin(), text.end(), [](QChar c) { return c >= u'0' && c <= u'9'; });
}

#ifdef Q_OS_WIN
bool isTerminal(const QString&)
{
    return true;
}

bool mayBeUsed(const QString&)
{
    return true;
}
#else
bool isTerminal(const QString& path)
{
    const int file = open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    const bool terminal = file >= 0 && isatty(file) != 0;
    if (file >= 0)
        close(file);
    return terminal;
}

bool mayBeUsed(const QString& path)
{
    return access(QFile::encodeName(path).constData(), R_OK | W_OK) == 0;
}
#endif

// Why the port at `path` did not open.
int errorNumberOf(QSerialPort::SerialPortError error, const QString& path)
{
    if (error == QSerialPort::OpenError)
        return ProgramError::PortAlreadyOpen;
    if (error == QSerialPort::PermissionError)
        return mayBeUsed(path) ? ProgramError::PortAlreadyOpen : ProgramError::PermissionDenied;
    return ProgramError::InvalidPort;
}
} // namespace

std::optional<LineSettings> LineSettings::parse(const QString& text)
{
    const QStringList parts = text.split(QLatin1Char(','));
    if (parts.size() != 4)
        return {};
    const QString baud = parts.at(0).trimmed();
    const QString bits = parts.at(2).trimmed();
    const auto parity = parityOf(parts.at(1).trimmed());
    const auto stopBits = stopBitsOf(parts.at(3).trimmed());
    bool inRange = false;
    LineSettings result;
    result.baudRate = baud.toInt(&inRange);
    if (!inRange || !isDigits(baud) || result.baudRate < 50 || result.baudRate > 4000000)
        return {};
    if (bits.size() != 1 || bits.at(0) < u'5' || bits.at(0) > u'8' || !parity || !stopBits)
        return {};
    result.dataBits = static_cast<QSerialPort::DataBits>(bits.at(0).unicode() - u'0');
    result.parity = *parity;
    result.stopBits = *stopBits;
    return result;
}

double LineSettings::characterTime() const
{
    const double stop = stopBits == QSerialPort::OneStop ? 1 : (stopBits == QSerialPort::TwoStop ? 2 : 1.5);
    const double bits = 1 + static_cast<int>(dataBits) + (parity == QSerialPort::NoParity ? 0 : 1) + stop;
    return bits / baudRate;
}

SerialChannel::SerialChannel(QObject* parent) : QObject(parent), m_reopenTimer("Reopen")
{
    m_reopenTimer.setInterval(reopenInterval);
    connect(&m_reopenTimer, &modTools::Timer::tick, this, &SerialChannel::reopen);
}

SerialChannel::~SerialChannel()
{
    close();
}

void SerialChannel::configure(const Configuration::Line& line)
{
    portNumber = line.serialPort;
    deviceText = line.serialDevice;
    settings = line.settings;
    txDelay = line.txDelay;
    rxDelay = line.rxDelay;
    rxTimeout = line.rxTimeout;
}

QString SerialChannel::name() const
{
    return deviceText.isEmpty() ? QStringLiteral("COM%1").arg(portNumber) : deviceText;
}

QString SerialChannel::systemName() const
{
    if (!deviceText.isEmpty())
        return deviceText.trimmed();
#ifdef Q_OS_WIN
    return QStringLiteral("COM%1").arg(portNumber);
#else
    return QStringLiteral("/dev/ttyS%1").arg(portNumber - 1);
#endif
}

bool SerialChannel::isTcp() const
{
    return deviceText.trimmed().startsWith(QLatin1String(tcpPrefix), Qt::CaseInsensitive);
}

SerialChannel::OpenResult SerialChannel::open()
{
    close();
    m_lastError = {};
    const auto lineSettings = LineSettings::parse(settings);
    if (!lineSettings)
        return OpenResult::SettingsRefused;
    if (m_source)
        return openSource();
    return isTcp() ? openTcp() : openPort(*lineSettings);
}

void SerialChannel::openDevice(std::unique_ptr<QIODevice> device)
{
    close();
    m_lastError = {};
    adopt(device.release());
}

void SerialChannel::close()
{
    m_reopenTimer.setEnabled(false);
    m_down = false;
    dropConnecting();
    drain();
    dropDevice();
}

void SerialChannel::drain()
{
    if (!m_device)
        return;
    m_device->disconnect(this); // what happens meanwhile concerns nobody any more
    QDeadlineTimer deadline(drainTimeout);
    while (m_device->isOpen() && m_device->bytesToWrite() > 0 && !deadline.hasExpired())
        if (!m_device->waitForBytesWritten(static_cast<int>(deadline.remainingTime())))
            return;
}

SerialChannel::OpenResult SerialChannel::missing(int errorNumber, const QString& reason)
{
    m_lastError = ProgramError::of(errorNumber);
    modTools::WriteLog(false, systemName() + QStringLiteral(": ") + reason);
    return OpenResult::PortMissing;
}

SerialChannel::OpenResult SerialChannel::openSource()
{
    std::unique_ptr<QIODevice> device = m_source();
    if (!device)
        return missing(ProgramError::InvalidPort, QStringLiteral("no device"));
    adopt(device.release());
    return OpenResult::Open;
}

SerialChannel::OpenResult SerialChannel::openPort(const LineSettings& lineSettings)
{
    auto port = std::make_unique<QSerialPort>();
    // Two names of one device must meet in one lock.
    const QString real = QFileInfo(systemName()).canonicalFilePath();
    const QString path = real.isEmpty() ? systemName() : real;
    port->setPortName(path);
    // All settings before opening: some ports refuse a change once they are open.
    port->setBaudRate(lineSettings.baudRate);
    port->setParity(lineSettings.parity);
    port->setDataBits(lineSettings.dataBits);
    port->setStopBits(lineSettings.stopBits);
    port->setFlowControl(QSerialPort::NoFlowControl);
    if (!port->open(QIODevice::ReadWrite)) {
        if (port->error() == QSerialPort::UnsupportedOperationError && isTerminal(path))
            return OpenResult::SettingsRefused;
        return missing(errorNumberOf(port->error(), path), port->errorString());
    }
    // Some adapters are fed from these two lines; ports without them refuse, which is of no account.
    port->setDataTerminalReady(true);
    port->setRequestToSend(true);
    port->clearError();
    adopt(port.release());
    return OpenResult::Open;
}

QTcpSocket* SerialChannel::startConnecting()
{
    const TcpAddress address(deviceText);
    if (address.port == 0)
        return nullptr;
    auto* socket = new QTcpSocket;
    m_connecting.reset(socket);
    m_connectingTicks = 0;
    socket->connectToHost(address.host, address.port);
    return socket;
}

SerialChannel::OpenResult SerialChannel::openTcp()
{
    QTcpSocket* socket = startConnecting();
    if (!socket)
        return missing(ProgramError::InvalidPort, QStringLiteral("not tcp:HOST:PORT"));
    QEventLoop loop;
    connect(socket, &QTcpSocket::connected, &loop, &QEventLoop::quit);
    connect(socket, &QTcpSocket::errorOccurred, &loop, &QEventLoop::quit);
    QTimer::singleShot(connectTimeout, &loop, &QEventLoop::quit);
    if (socket->state() != QAbstractSocket::ConnectedState && socket->error() == QAbstractSocket::UnknownSocketError)
        loop.exec(QEventLoop::ExcludeUserInputEvents);
    // The line may have been closed meanwhile.
    if (m_connecting.get() != socket)
        return missing(ProgramError::InvalidPort, QStringLiteral("closed"));
    if (socket->state() != QAbstractSocket::ConnectedState) {
        const QString reason = socket->errorString();
        dropConnecting();
        return missing(ProgramError::InvalidPort, reason);
    }
    adopt(m_connecting.release());
    return OpenResult::Open;
}

void SerialChannel::adopt(QIODevice* device)
{
    m_device.reset(device);
    m_buffer.clear();
    device->disconnect(this);
    connect(device, &QIODevice::readyRead, this, &SerialChannel::receive);
    connect(device, &QIODevice::bytesWritten, this, [this] { emit onComm(SendEvent); });
    connect(device, &QIODevice::readChannelFinished, this, [this] { deviceGone(QStringLiteral("closed by the other end")); });
    if (auto* port = qobject_cast<QSerialPort*>(device)) {
        connect(port, &QSerialPort::errorOccurred, this, [this, port](QSerialPort::SerialPortError error) {
            if (error != QSerialPort::NoError && error != QSerialPort::TimeoutError && error != QSerialPort::UnsupportedOperationError)
                deviceGone(port->errorString());
        });
    } else if (auto* socket = qobject_cast<QTcpSocket*>(device)) {
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        socket->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
        connect(socket, &QTcpSocket::errorOccurred, this, [this, socket](QAbstractSocket::SocketError error) {
            if (error != QAbstractSocket::SocketTimeoutError)
                deviceGone(socket->errorString());
        });
        connect(socket, &QTcpSocket::disconnected, this, [this] { deviceGone(QStringLiteral("disconnected")); });
    } else if (device->metaObject()->indexOfSignal("commEvent(int)") >= 0) {
        connect(device, SIGNAL(commEvent(int)), this, SIGNAL(onComm(int)));
    }
    if (device->bytesAvailable() > 0)
        QMetaObject::invokeMethod(this, &SerialChannel::receive, Qt::QueuedConnection);
}

void SerialChannel::dropDevice()
{
    m_buffer.clear();
    if (!m_device)
        return;
    // Taken out first: closing may emit signals that lead back here.
    Device device = std::move(m_device);
    device->disconnect(this);
    device->close();
}

void SerialChannel::dropConnecting()
{
    if (!m_connecting)
        return;
    Device device = std::move(m_connecting);
    device->disconnect(this);
    static_cast<QTcpSocket*>(device.get())->abort();
}

bool SerialChannel::output(const QString& text)
{
    if (!m_device)
        return false;
    const QByteArray bytes = text.toLatin1();
    if (m_device->bytesToWrite() + bytes.size() > outBufferSize) {
        postError(TransmitFull);
        return false;
    }
    return m_device->write(bytes) == bytes.size();
}

QString SerialChannel::input()
{
    if (!m_device)
        return {};
    m_buffer += m_device->readAll();
    return QString::fromLatin1(std::exchange(m_buffer, {}));
}

void SerialChannel::fetch()
{
    // Nothing is waited for; that there was nothing counts as a time-out of the device, which is no error here.
    if (m_device)
        m_device->waitForReadyRead(0);
}

qsizetype SerialChannel::inBufferCount()
{
    return m_device ? m_buffer.size() + static_cast<qsizetype>(m_device->bytesAvailable()) : 0;
}

void SerialChannel::receive()
{
    if (!m_device)
        return;
    m_buffer += m_device->readAll();
    if (m_buffer.size() > inBufferSize) {
        m_buffer.truncate(inBufferSize);
        postError(ReceiveOverflow);
    }
    if (!m_buffer.isEmpty())
        emit onComm(ReceiveEvent);
}

void SerialChannel::postError(int code)
{
    QMetaObject::invokeMethod(
        this, [this, code] { emit onComm(code); }, Qt::QueuedConnection);
}

void SerialChannel::deviceGone(const QString& reason)
{
    if (!m_device)
        return;
    dropDevice();
    m_down = true;
    ++m_losses;
    m_reopenTimer.restart();
    modTools::WriteLog(true, name() + QStringLiteral(": line down, ") + reason);
    emit vanished();
}

void SerialChannel::reopen()
{
    if (flags().closing) {
        m_reopenTimer.setEnabled(false);
        return;
    }
    const auto lineSettings = LineSettings::parse(settings);
    if (!m_down || !lineSettings)
        return;
    if (!m_source && isTcp())
        reopenTcp();
    else if ((m_source ? openSource() : openPort(*lineSettings)) == OpenResult::Open)
        comeBack();
}

void SerialChannel::reopenTcp()
{
    // A connection that is under way gets a few periods before it is given up.
    if (m_connecting && ++m_connectingTicks < connectingTicksAtMost)
        return;
    dropConnecting();
    QTcpSocket* socket = startConnecting();
    if (!socket)
        return;
    connect(socket, &QTcpSocket::errorOccurred, this, &SerialChannel::dropConnecting);
    connect(socket, &QTcpSocket::connected, this, [this] {
        adopt(m_connecting.release());
        comeBack();
    });
}

void SerialChannel::comeBack()
{
    m_down = false;
    m_reopenTimer.setEnabled(false);
    modTools::WriteLog(true, name() + QStringLiteral(": line open again"));
    emit returned();
}
