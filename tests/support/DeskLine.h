// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Channel.h"

#include <QIODevice>
#include <QPointer>

class Desk;
class DeskChannel;

/// The program's end of a line on the desk. What is written stays in its output until the next round, as in a port's.
class DeskPort : public QIODevice
{
    Q_OBJECT

public:
    explicit DeskPort(DeskChannel* line);
    ~DeskPort() override;

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_input.size() + QIODevice::bytesAvailable(); }
    qint64 bytesToWrite() const override { return m_output.size(); }
    void close() override;

    void receive(const QByteArray& bytes);
    /// While held, what is received is not told of: it lies in the system's buffer, as for a process that is stopped.
    void setHeld(bool held);
    bool waitForReadyRead(int msecs) override;
    void hangUp();
    QByteArray takeOutput();
    void leave() { m_line = nullptr; }

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    DeskChannel* m_line;
    QByteArray m_input;
    QByteArray m_system; ///< received while held
    QByteArray m_output;
    bool m_held = false;
};

/// The devices' end of a line on the desk.
class DeskChannel : public lab::Channel
{
public:
    DeskChannel(Desk& desk, QString address);
    ~DeskChannel() override;

    bool open(QString& why) override;
    void hangUp() override;
    QString address() const override { return m_address; }
    void write(const QByteArray& bytes) override;

    /// A port for the program; null while the line is closed or somebody has it.
    std::unique_ptr<QIODevice> plug();
    /// Hands over what the program has written.
    void deliver();
    bool hasOutput() const { return m_port != nullptr && m_port->bytesToWrite() > 0; }
    void portClosed(DeskPort* port);
    void setHeld(bool held);
    void deskGone() { m_desk = nullptr; }

private:
    Desk* m_desk;
    QString m_address;
    QPointer<DeskPort> m_port;
    bool m_open = false;
};
