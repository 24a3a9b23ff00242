// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/DeskLine.h"

#include "support/Desk.h"

#include <algorithm>
#include <cstring>
#include <utility>

// --- the program's end

DeskPort::DeskPort(DeskChannel* line) : m_line(line) {}

DeskPort::~DeskPort()
{
    DeskPort::close();
}

void DeskPort::close()
{
    if (DeskChannel* line = std::exchange(m_line, nullptr))
        line->portClosed(this);
    m_output.clear();
    QIODevice::close();
}

void DeskPort::receive(const QByteArray& bytes)
{
    m_system += bytes;
    if (!m_held)
        waitForReadyRead(0);
}

void DeskPort::setHeld(bool held)
{
    m_held = held;
    if (!held)
        waitForReadyRead(0);
}

bool DeskPort::waitForReadyRead(int /*msecs*/)
{
    if (m_system.isEmpty())
        return false;
    m_input += std::exchange(m_system, {});
    emit readyRead();
    return true;
}

void DeskPort::hangUp()
{
    m_line = nullptr;
    emit readChannelFinished();
}

QByteArray DeskPort::takeOutput()
{
    return std::exchange(m_output, {});
}

qint64 DeskPort::readData(char* data, qint64 maxSize)
{
    const qint64 size = std::min<qint64>(maxSize, m_input.size());
    std::memcpy(data, m_input.constData(), static_cast<std::size_t>(size));
    m_input.remove(0, static_cast<qsizetype>(size));
    return size;
}

qint64 DeskPort::writeData(const char* data, qint64 size)
{
    m_output.append(data, static_cast<qsizetype>(size));
    if (Desk* desk = Desk::current())
        desk->m_written += size;
    return size;
}

// --- the devices' end

DeskChannel::DeskChannel(Desk& desk, QString address) : m_desk(&desk), m_address(std::move(address))
{
    desk.m_channels.append(this);
}

DeskChannel::~DeskChannel()
{
    if (m_port)
        m_port->leave();
    if (m_desk != nullptr)
        m_desk->m_channels.removeOne(this);
}

bool DeskChannel::open(QString& /*why*/)
{
    m_open = true;
    return true;
}

void DeskChannel::hangUp()
{
    m_open = false;
    if (DeskPort* port = std::exchange(m_port, nullptr))
        port->hangUp();
}

void DeskChannel::write(const QByteArray& bytes)
{
    if (m_port)
        m_port->receive(bytes);
}

std::unique_ptr<QIODevice> DeskChannel::plug()
{
    if (!m_open || m_port)
        return nullptr;
    auto port = std::make_unique<DeskPort>(this);
    port->open(QIODevice::ReadWrite | QIODevice::Unbuffered);
    m_port = port.get();
    if (opened)
        opened();
    return port;
}

void DeskChannel::deliver()
{
    if (!m_port)
        return;
    const QByteArray bytes = m_port->takeOutput();
    emit m_port->bytesWritten(bytes.size());
    if (received)
        received(bytes);
}

void DeskChannel::setHeld(bool held)
{
    if (m_port)
        m_port->setHeld(held);
}

void DeskChannel::portClosed(DeskPort* port)
{
    if (m_port != port)
        return;
    m_port = nullptr;
    if (left)
        left();
}
