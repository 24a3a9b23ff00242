// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/ScriptedPort.h"

#include "serial/SerialChannel.h"

#include <algorithm>
#include <cstring>
#include <utility>

ScriptedDevice::ScriptedDevice() : m_timer("ScriptedDevice")
{
    connect(&m_timer, &modTools::Timer::tick, this, [this] {
        m_timer.setEnabled(false);
        sendNext();
    });
}

ScriptedDevice::~ScriptedDevice() = default;

void ScriptedDevice::plugInto(SerialChannel& channel)
{
    const QPointer<ScriptedDevice> self(this);
    channel.setDeviceSource([self]() -> std::unique_ptr<QIODevice> { return self ? self->plug() : nullptr; });
    channel.open();
}

std::unique_ptr<QIODevice> ScriptedDevice::plug()
{
    ++m_plugAttempts;
    if (!m_present)
        return nullptr;
    auto port = std::make_unique<ScriptedPort>(this);
    m_port = port.get();
    return port;
}

void ScriptedDevice::answer(const QByteArray& command, const QByteArray& reply)
{
    answer(command, QList<Chunk>{{reply, 0}});
}

void ScriptedDevice::answer(const QByteArray& command, const QList<Chunk>& reply)
{
    answerBy([command, reply](const QByteArray& written) { return written.endsWith(command) ? reply : QList<Chunk>(); });
}

void ScriptedDevice::answerOnce(const QByteArray& command, const QByteArray& reply)
{
    answer(command, reply);
    m_rules.first().once = true;
}

void ScriptedDevice::answerBy(const Rule& rule)
{
    m_rules.prepend(Answer{rule, false});
}

void ScriptedDevice::send(const QByteArray& bytes, int delay)
{
    enqueue({{bytes, delay}});
}

void ScriptedDevice::forget()
{
    m_written.clear();
    m_pending.clear();
    m_writes.clear();
}

void ScriptedDevice::setStalled(bool stalled)
{
    m_stalled = stalled;
    if (!stalled && m_port)
        m_port->flushOutput();
}

void ScriptedDevice::injectEvent(int code)
{
    if (m_port)
        emit m_port->commEvent(code);
}

void ScriptedDevice::hangUp()
{
    m_present = false;
    m_queue.clear();
    m_armed = false;
    m_timer.setEnabled(false);
    m_pending.clear();
    if (m_port)
        emit m_port->readChannelFinished();
}

void ScriptedDevice::arrive(const QByteArray& bytes)
{
    m_written += bytes;
    m_pending += bytes;
    m_writes += bytes;
    for (qsizetype i = 0; i < m_rules.size(); ++i) {
        const QList<Chunk> reply = m_rules.at(i).rule(m_pending);
        if (reply.isEmpty())
            continue;
        if (m_rules.at(i).once)
            m_rules.removeAt(i);
        m_pending.clear();
        enqueue(reply);
        return;
    }
}

void ScriptedDevice::enqueue(const QList<Chunk>& chunks)
{
    m_queue += chunks;
    armNext();
}

void ScriptedDevice::armNext()
{
    if (m_armed || m_queue.isEmpty())
        return;
    m_armed = true;
    if (m_queue.first().delay <= 0) {
        QMetaObject::invokeMethod(this, &ScriptedDevice::sendNext, Qt::QueuedConnection);
        return;
    }
    m_timer.setInterval(m_queue.first().delay);
    m_timer.restart();
}

void ScriptedDevice::sendNext()
{
    m_armed = false;
    if (m_queue.isEmpty())
        return;
    const Chunk chunk = m_queue.takeFirst();
    if (m_port)
        m_port->receive(chunk.bytes);
    armNext();
}

ScriptedPort::ScriptedPort(ScriptedDevice* device) : m_device(device)
{
    open(QIODevice::ReadWrite | QIODevice::Unbuffered);
}

void ScriptedPort::receive(const QByteArray& bytes)
{
    if (!isOpen())
        return;
    m_input += bytes;
    emit readyRead();
}

void ScriptedPort::flushOutput()
{
    const QList<QByteArray> writes = std::exchange(m_outputWrites, {});
    m_output.clear();
    for (const QByteArray& bytes : writes) {
        if (m_device)
            m_device->arrive(bytes);
        emit bytesWritten(bytes.size());
    }
}

qint64 ScriptedPort::readData(char* data, qint64 maxSize)
{
    const qsizetype size = std::min<qsizetype>(m_input.size(), static_cast<qsizetype>(maxSize));
    std::memcpy(data, m_input.constData(), static_cast<size_t>(size));
    m_input.remove(0, size);
    return size;
}

qint64 ScriptedPort::writeData(const char* data, qint64 size)
{
    if (!m_device || m_device->isRefusing())
        return -1;
    const QByteArray bytes(data, static_cast<qsizetype>(size));
    if (m_device->isStalled()) {
        m_output += bytes;
        m_outputWrites += bytes;
        return size;
    }
    m_device->arrive(bytes);
    emit bytesWritten(size);
    return size;
}
