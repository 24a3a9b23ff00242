// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Channel.h"

#include <QTcpServer>
#include <QTcpSocket>

namespace lab {

namespace {

class TcpServer final : public Channel
{
public:
    explicit TcpServer(quint16 port) : port_(port)
    {
        QObject::connect(&server_, &QTcpServer::newConnection, &server_, [this] { takeClient(); });
    }

    ~TcpServer() override { hangUp(); }

    bool open(QString& why) override
    {
        if (!server_.listen(QHostAddress::LocalHost, port_)) {
            why = QStringLiteral("TCP port %1: %2").arg(port_).arg(server_.errorString());
            return false;
        }
        port_ = server_.serverPort();
        return true;
    }

    void hangUp() override
    {
        server_.close();
        dropClient();
    }

    QString address() const override { return QStringLiteral("tcp:127.0.0.1:%1").arg(port_); }

    void write(const QByteArray& bytes) override
    {
        if (client_ == nullptr)
            return;
        client_->write(bytes);
        client_->flush();
    }

private:
    // The newest client has the line: one that broke off without a word must not keep it.
    void takeClient()
    {
        while (QTcpSocket* next = server_.nextPendingConnection()) {
            dropClient();
            client_ = next;
            client_->setSocketOption(QAbstractSocket::LowDelayOption, 1);
            QObject::connect(next, &QTcpSocket::readyRead, next, [this, next] {
                if (received)
                    received(next->readAll());
            });
            QObject::connect(next, &QTcpSocket::disconnected, next, [this, next] {
                next->deleteLater();
                if (client_ != next)
                    return;
                client_ = nullptr;
                if (left)
                    left();
            });
            if (opened)
                opened();
        }
    }

    void dropClient()
    {
        if (client_ == nullptr)
            return;
        QTcpSocket* old = std::exchange(client_, nullptr);
        old->disconnect();
        old->abort();
        old->deleteLater();
    }

    QTcpServer server_;
    QTcpSocket* client_ = nullptr;
    quint16 port_;
};

} // namespace

std::unique_ptr<Channel> makeTcpServer(quint16 port)
{
    return std::make_unique<TcpServer>(port);
}

} // namespace lab
