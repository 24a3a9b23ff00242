// SPDX-License-Identifier: GPL-3.0-or-later
//
// Where a line ends in this computer: a pseudo-terminal or a TCP port. One client at a time, who may come and go.
#pragma once

#include <QByteArray>
#include <QString>

#include <functional>
#include <memory>

namespace lab {

class Channel
{
public:
    virtual ~Channel() = default;
    /// Starts to serve, also again after `hangUp`. On failure returns false and says why.
    virtual bool open(QString& why) = 0;
    /// Closes the line for whoever has it open.
    virtual void hangUp() = 0;
    /// What a client opens: a path, or "tcp:HOST:PORT".
    virtual QString address() const = 0;
    /// Hands bytes to the client; without one they are lost.
    virtual void write(const QByteArray& bytes) = 0;

    /// Called with what a client sent.
    std::function<void(const QByteArray&)> received;
    /// Called when a client has come to a line that nobody had open, and when the last one has left it. What was on its way to
    /// nobody is to be dropped.
    std::function<void()> opened;
    std::function<void()> left;
};

/// A pseudo-terminal with the fixed name `link` (a symbolic link), or under its own name when `link` is empty. Null where there are none.
std::unique_ptr<Channel> makePseudoTerminal(const QString& link);
/// A TCP server on this machine; `port` 0 takes any free one, and keeps it.
std::unique_ptr<Channel> makeTcpServer(quint16 port);

} // namespace lab
