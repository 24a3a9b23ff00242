// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/ScanParameters.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QPointer>
#include <QStringList>

#include <functional>
#include <memory>

/// The device end of MCComm: records every write and holds what was fed until it is read.
class PlayedPort : public QIODevice
{
public:
    explicit PlayedPort(std::function<void(const QByteArray&)> written) : m_written(std::move(written)) { open(ReadWrite | Unbuffered); }
    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_pending.size() + QIODevice::bytesAvailable(); }
    void feed(const QByteArray& bytes)
    {
        m_pending += bytes;
        emit readyRead();
    }

protected:
    qint64 readData(char* data, qint64 size) override
    {
        const qint64 taken = qMin<qint64>(size, m_pending.size());
        std::copy_n(m_pending.constData(), taken, data);
        m_pending.remove(0, taken);
        return taken;
    }
    qint64 writeData(const char* data, qint64 size) override
    {
        m_written(QByteArray(data, size));
        return size;
    }

private:
    std::function<void(const QByteArray&)> m_written;
    QByteArray m_pending;
};

/// A goniometer controller that answers as one does: idle unless a started program runs, counts in its memory afterwards.
class PlayedController
{
public:
    explicit PlayedController(TestClock& clock) : m_clock(clock)
    {
        Configuration::Line& line = configuration().smc;
        line.serialPort = 1;
        line.settings = QStringLiteral("9600,N,8,1");
        line.txDelay = 0.1F;
        line.rxDelay = 0.1F;
        line.rxTimeout = 2;
        modCOM::reset();
        modCOM::MCComm().setDeviceSource([this]() -> std::unique_ptr<QIODevice> {
            if (!present)
                return nullptr;
            auto port = std::make_unique<PlayedPort>([this](const QByteArray& bytes) { written(bytes); });
            m_port = port.get();
            return port;
        });
        modCOM::OpenMCComm();
        flags().smcOnline = true;
    }
    ~PlayedController() { modCOM::reset(); }
    Q_DISABLE_COPY_MOVE(PlayedController)

    bool present = true;
    bool mute = false;                                                     ///< answers nothing
    bool unplugged = false;                                                ///< its cable is: nothing reaches it either
    int ignoredStops = 0;                                                  ///< "Q;"s that it does not heed
    quint32 replyDelay = 20;                                               ///< ms
    quint64 runTime = 3500;                                                ///< ms from "START:;" to idle
    bool busy = false;                                                     ///< a program of an earlier program run is running
    QList<QByteArray> countLines;                                          ///< the count memory
    std::function<void(const QString& command)> onCommand;                 ///< after a command has come
    std::function<bool(const QString& command, QByteArray& reply)> answer; ///< true: takes the place of the usual reply

    QList<QByteArray> writes;
    /// Everything sent, without the line ends.
    QStringList commands() const
    {
        QStringList all;
        for (const QByteArray& bytes : writes)
            all << QString::fromLatin1(bytes).remove(QStringLiteral("\r\n"));
        return all;
    }
    /// What was sent without the status queries.
    QStringList orders() const
    {
        QStringList all = commands();
        all.removeAll(QStringLiteral("?S1;"));
        return all;
    }
    qsizetype sent(const QString& command) const { return commands().count(command); }

    void feed(const QByteArray& bytes)
    {
        if (m_port)
            m_port->feed(bytes);
    }
    void feedLater(quint32 milliseconds, const QByteArray& bytes)
    {
        m_clock.at(milliseconds, [this, bytes] { feed(bytes); });
    }
    /// The adapter is pulled; the line comes back once `present` is set again.
    void pull()
    {
        present = false;
        if (m_port)
            emit m_port->readChannelFinished();
    }

private:
    bool isBusy() const { return busy || m_clock.elapsed() < m_busyUntil; }

    QByteArray usualReply(const QString& command)
    {
        if (command == QStringLiteral("?S;"))
            return isBusy() ? "S1:0 S2:0\r\n" : "S1:128 S2:128\r\n";
        if (command == QStringLiteral("?S1;"))
            return isBusy() ? "S1:0\r\n" : "S1:128\r\n";
        if (command == QStringLiteral("?S2;"))
            return "S2:128\r\n";
        if (command == QStringLiteral("?V;"))
            return "SMC 4412\r\n V1.3 \r\n";
        if (command == QStringLiteral("?P1;"))
            return "P1:10.500\r\n";
        if (command == QStringLiteral("?P2;"))
            return "P2:21.000\r\n";
        if (command == QStringLiteral("?CNT;")) {
            QByteArray all;
            for (const QByteArray& line : countLines)
                all += line + "\r\n";
            return all + "CEND;\r\n";
        }
        return {};
    }

    void written(const QByteArray& bytes)
    {
        if (unplugged)
            return;
        writes << bytes;
        const QString command = QString::fromLatin1(bytes).remove(QStringLiteral("\r\n"));
        if (command == QStringLiteral("START:;"))
            m_busyUntil = m_clock.elapsed() + runTime;
        if (command == QStringLiteral("Q;") && --ignoredStops < 0) {
            busy = false;
            m_busyUntil = 0;
        }
        QByteArray reply;
        if (!answer || !answer(command, reply))
            reply = usualReply(command);
        if (!mute && !reply.isEmpty())
            feedLater(replyDelay, reply);
        if (onCommand)
            onCommand(command);
    }

    TestClock& m_clock;
    QPointer<PlayedPort> m_port;
    quint64 m_busyUntil = 0;
};

/// A program that has just started, for the init() of a test class.
inline void resetGoniometer()
{
    resetProgram();
    modCOM::reset();
    modSMC::state() = modSMC::State{};
    ScanRun::state() = ScanRun::State{};
    Ratemeter::state() = Ratemeter::State{};
}
