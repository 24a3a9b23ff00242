// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/modTools.h"

#include <QByteArray>
#include <QIODevice>
#include <QList>
#include <QObject>
#include <QPointer>

#include <functional>
#include <memory>

class ScriptedPort;
class SerialChannel;

/// The far end of a line, played from a script: records what is written, answers by rules, and misbehaves on demand. It outlives the ports
/// that are plugged into it, so a line can lose it and find it again.
///
///     ScriptedDevice smc;
///     smc.answer("?S1;", "S1:128\r\n");
///     smc.plugInto(modCOM::MCComm());
///
/// Replies go out from the event loop, delays follow modTools' clock.
class ScriptedDevice : public QObject
{
    Q_OBJECT

public:
    /// A piece of a reply.
    struct Chunk
    {
        QByteArray bytes;
        int delay = 0; ///< [ms] after the piece before it
    };
    using Rule = std::function<QList<Chunk>(const QByteArray& written)>;

    ScriptedDevice();
    ~ScriptedDevice() override;

    /// Opens the channel on this device, and makes its open() and every reopening find this device.
    void plugInto(SerialChannel& channel);
    /// A new port on this device; null while it is unplugged.
    std::unique_ptr<QIODevice> plug();

    /// Answers each time that what has been written since the last answer ends with `command`. The rule added last is asked first.
    void answer(const QByteArray& command, const QByteArray& reply);
    void answer(const QByteArray& command, const QList<Chunk>& reply);
    /// Answers once, then the rule is gone.
    void answerOnce(const QByteArray& command, const QByteArray& reply);
    /// Asked at each write with what has been written since the last answer; no chunks: not for this rule.
    void answerBy(const Rule& rule);
    /// Takes all rules away: the device is silent.
    void clearRules() { m_rules.clear(); }

    /// Sends without being asked, after what still waits to be sent.
    void send(const QByteArray& bytes, int delay = 0);

    /// All that has arrived here, and the same by writes of the program.
    QByteArray written() const { return m_written; }
    QList<QByteArray> writes() const { return m_writes; }
    void forget();

    /// While stalled, what the program writes stays in its port's output.
    void setStalled(bool stalled);
    bool isStalled() const { return m_stalled; }
    /// Writes fail.
    void setRefusing(bool refusing) { m_refusing = refusing; }
    bool isRefusing() const { return m_refusing; }
    /// A line event or error (the codes of SerialChannel::onComm).
    void injectEvent(int code);
    /// The adapter is pulled: the port closes its input and no new one can be plugged until plugBack().
    void hangUp();
    void plugBack() { m_present = true; }
    /// How often a port was asked for, successful or not.
    int plugAttempts() const { return m_plugAttempts; }

private:
    friend class ScriptedPort;

    struct Answer
    {
        Rule rule;
        bool once = false;
    };

    void arrive(const QByteArray& bytes);
    void enqueue(const QList<Chunk>& chunks);
    void armNext();
    void sendNext();

    QPointer<ScriptedPort> m_port;
    QList<Answer> m_rules;
    QList<Chunk> m_queue;
    bool m_armed = false;
    modTools::Timer m_timer;
    QByteArray m_written;
    QByteArray m_pending;
    QList<QByteArray> m_writes;
    bool m_stalled = false;
    bool m_refusing = false;
    bool m_present = true;
    int m_plugAttempts = 0;
};

/// The program's end of a ScriptedDevice.
class ScriptedPort : public QIODevice
{
    Q_OBJECT

public:
    explicit ScriptedPort(ScriptedDevice* device);

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_input.size() + QIODevice::bytesAvailable(); }
    qint64 bytesToWrite() const override { return m_output.size(); }

    void receive(const QByteArray& bytes);
    void flushOutput();

signals:
    void commEvent(int code);

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 size) override;

private:
    QPointer<ScriptedDevice> m_device;
    QByteArray m_input;
    QByteArray m_output;
    QList<QByteArray> m_outputWrites;
};
