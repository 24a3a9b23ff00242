// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Configuration.h"
#include "core/ProgramError.h"
#include "core/modTools.h"

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QSerialPort>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

class QTcpSocket;

/// What a settings text such as "9600,N,8,1" says.
struct LineSettings
{
    qint32 baudRate = 9600;
    QSerialPort::Parity parity = QSerialPort::NoParity;
    QSerialPort::DataBits dataBits = QSerialPort::Data8;
    QSerialPort::StopBits stopBits = QSerialPort::OneStop;

    /// Baud rate (50 to 4000000), parity (n, o, e, m, s in either case), data bits (5 to 8), stop bits (1, 1.5, 2), separated by commas;
    /// blanks around a part are passed over. Anything else gives nothing.
    static std::optional<LineSettings> parse(const QString& text);
    /// Time that one character takes on the line [s].
    double characterTime() const;
};

/// One line to a device: a serial port, or a raw TCP connection to a serial device server. Text goes out as it is and comes in as it
/// arrives; there is no framing. One character is one byte (Latin-1).
///
/// A line is closed, open or down. It goes down when its device vanishes while it is open (adapter pulled, server gone): the device is
/// closed at once, what it had sent is thrown away, `vanished` is emitted once, and every 2 s the line tries to open again; `returned`
/// tells that it did. While the line is down, output is dropped and input is empty.
class SerialChannel : public QObject
{
    Q_OBJECT

public:
    enum class OpenResult { Open, PortMissing, SettingsRefused };

    /// Codes of onComm. Other line events (3 to 7) and errors (1001 to 1009) are numbered as in modCOM's table.
    enum CommCode { SendEvent = 1, ReceiveEvent = 2, ReceiveOverflow = 1007, TransmitFull = 1009 };

    static constexpr int reopenInterval = 2000;         ///< [ms]
    static constexpr int drainTimeout = 2000;           ///< longest wait for what is still to be sent when the line closes [ms]
    static constexpr int connectTimeout = 3000;         ///< longest wait for a TCP connection while opening [ms]
    static constexpr qsizetype inBufferSize = 16777216; ///< characters that may wait unread; more are dropped with code 1007
    static constexpr qint64 outBufferSize = 65536;      ///< characters that may wait unsent; further texts are dropped with code 1009

    qint32 portNumber = 1;                           ///< COM number
    QString deviceText;                              ///< device file or "tcp:HOST:PORT"; takes the place of the COM number
    QString settings = QStringLiteral("9600,N,8,1"); ///< not used by a TCP line, but must be in order
    float txDelay = 0;                               ///< [s]
    float rxDelay = 0;                               ///< [s]
    float rxTimeout = 0;                             ///< [s]

    explicit SerialChannel(QObject* parent = nullptr);
    ~SerialChannel() override;

    /// Takes port, settings and times of a line's section.
    void configure(const Configuration::Line& line);

    /// "COM" + port number, or the device text: how messages name the line.
    QString name() const;
    /// What the platform calls the port: "COM1" on Windows, "/dev/ttyS0" elsewhere, or the device text.
    QString systemName() const;

    /// Opens the line with its settings. After PortMissing lastError() says why: 8002 no such port (or no such server), 8005 another
    /// program or line has it, 70 no permission. Opening an open line closes it first. Waits at most connectTimeout for a TCP connection.
    OpenResult open();
    /// Opens the line over a device that is already open.
    void openDevice(std::unique_ptr<QIODevice> device);
    /// From now on open() and every reopening take the device from `source`; null from it means that the port is missing. An empty function
    /// goes back to ports.
    void setDeviceSource(std::function<std::unique_ptr<QIODevice>()> source) { m_source = std::move(source); }
    const ProgramError& lastError() const { return m_lastError; }

    bool isOpen() const { return m_device != nullptr; }
    bool isDown() const { return m_down; }
    /// How often the line has gone down: tells whether it was lost between two moments, even if it is back.
    quint32 losses() const { return m_losses; }
    /// Closes the line and gives up reopening it. What was handed over and not sent yet goes out first, for drainTimeout at most.
    void close();

    /// Hands the whole text to the line in one write. False when the line is not open or its output is full.
    bool output(const QString& text);
    /// Everything that has arrived, which is then gone; empty when the line is not open.
    QString input();
    /// Takes in what the system holds for the line already; characters are told of by onComm, as ever. For whoever is about to give up
    /// waiting: a time-out must not overtake a reply that lies in the port.
    void fetch();
    /// Characters that wait to be read.
    qsizetype inBufferCount();

    /// The settings as parsed; the default ones when they are not in order.
    LineSettings lineSettings() const { return LineSettings::parse(settings).value_or(LineSettings()); }
    /// The device in use, null when the line is not open.
    QIODevice* device() const { return m_device.get(); }

signals:
    /// 1 sent, 2 characters have arrived, 3 to 7 line events, from 1001 on errors. Errors are emitted from the event loop, never from
    /// inside a call.
    void onComm(int code);
    /// The device has gone; the line is down.
    void vanished();
    /// The line is open again after it was down.
    void returned();

private:
    struct DeleteLater
    {
        void operator()(QIODevice* device) const { device->deleteLater(); }
    };
    using Device = std::unique_ptr<QIODevice, DeleteLater>;

    bool isTcp() const;
    OpenResult openPort(const LineSettings& lineSettings);
    OpenResult openSource();
    OpenResult openTcp();
    OpenResult missing(int errorNumber, const QString& reason);
    QTcpSocket* startConnecting();
    void adopt(QIODevice* device);
    void drain();
    void dropDevice();
    void dropConnecting();
    void receive();
    void deviceGone(const QString& reason);
    void reopen();
    void reopenTcp();
    void comeBack();
    void postError(int code);

    Device m_device;
    Device m_connecting;
    int m_connectingTicks = 0;
    QByteArray m_buffer;
    bool m_down = false;
    quint32 m_losses = 0;
    ProgramError m_lastError;
    std::function<std::unique_ptr<QIODevice>()> m_source;
    modTools::Timer m_reopenTimer;
};
