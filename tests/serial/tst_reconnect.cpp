// SPDX-License-Identifier: GPL-3.0-or-later
//
// A serial device server that is there but takes no connection: its queue is full, so that an attempt neither succeeds nor fails.

#include "serial/SerialChannel.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"

#include <QFile>
#include <QList>
#include <QTest>

#include <arpa/inet.h>
#include <fcntl.h>
#include <memory>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {
sockaddr_in localAddress(quint16 port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

quint16 portOf(int file)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    getsockname(file, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

/// Listens on a port, with room for a single connection that waits to be accepted.
class NarrowServer
{
public:
    NarrowServer() : m_listener(socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = localAddress(0);
        if (m_listener < 0 || bind(m_listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 || listen(m_listener, 0) != 0)
            qFatal("no server");
        port = portOf(m_listener);
    }
    ~NarrowServer()
    {
        clear();
        ::close(m_listener);
    }
    NarrowServer(const NarrowServer&) = delete;
    NarrowServer& operator=(const NarrowServer&) = delete;

    /// Accepts what waits and hangs up at once.
    void hangUp()
    {
        fcntl(m_listener, F_SETFL, O_NONBLOCK);
        for (int file = 0; (file = accept(m_listener, nullptr, nullptr)) >= 0;)
            ::close(file);
    }
    /// From now on nobody gets a connection.
    void fill()
    {
        const sockaddr_in address = localAddress(port);
        for (int i = 0; i < 4; ++i) {
            const int file = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
            // It cannot be there at once; whether it ever is does not matter.
            (void)connect(file, reinterpret_cast<const sockaddr*>(&address), sizeof address);
            m_fillers += file;
        }
    }
    void clear()
    {
        for (int file : std::as_const(m_fillers))
            ::close(file);
        m_fillers.clear();
        hangUp();
    }
    /// The local ports of the attempts that others make just now.
    QList<quint16> attempts() const
    {
        QList<quint16> own;
        for (int file : m_fillers)
            own += portOf(file);
        QFile table(u"/proc/net/tcp"_s);
        if (!table.open(QIODevice::ReadOnly))
            qFatal("no table of connections");
        QList<quint16> found;
        const QList<QByteArray> lines = table.readAll().split('\n');
        for (const QByteArray& line : lines) {
            const QList<QByteArray> words = line.simplified().split(' ');
            constexpr char connecting[] = "02";
            if (words.size() < 4 || words.at(3) != connecting || words.at(2).split(':').last().toUShort(nullptr, 16) != port)
                continue;
            const quint16 from = words.at(1).split(':').last().toUShort(nullptr, 16);
            if (!own.contains(from))
                found += from;
        }
        return found;
    }

    quint16 port = 0;

private:
    int m_listener = -1;
    QList<int> m_fillers;
};
} // namespace

class TestReconnect : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        resetProgram();
        m_clock = std::make_unique<TestClock>();
        m_server = std::make_unique<NarrowServer>();
        m_line = std::make_unique<SerialChannel>();
        m_line->deviceText = u"tcp:127.0.0.1:%1"_s.arg(m_server->port);
    }
    void cleanup()
    {
        m_line.reset();
        m_server.reset();
        m_clock.reset();
    }

    void anAttemptThatHangsIsGivenUpAndTheNextOneSucceeds()
    {
        QCOMPARE(m_line->open(), SerialChannel::OpenResult::Open);
        m_server->hangUp();
        QTRY_VERIFY(m_line->isDown());
        m_server->fill();

        m_clock->advance(SerialChannel::reopenInterval);
        QTRY_COMPARE(m_server->attempts().size(), 1);
        const quint16 first = m_server->attempts().value(0);
        // It gets three periods.
        m_clock->advance(2 * SerialChannel::reopenInterval);
        QCOMPARE(m_server->attempts(), QList<quint16>{first});
        m_clock->advance(SerialChannel::reopenInterval);
        QTRY_COMPARE(m_server->attempts().size(), 1);
        const quint16 second = m_server->attempts().value(0);
        QVERIFY2(second != first, "the first attempt was never given up");
        // So does the next one.
        m_clock->advance(2 * SerialChannel::reopenInterval);
        QCOMPARE(m_server->attempts(), QList<quint16>{second});
        QVERIFY(m_line->isDown());

        m_server->clear();
        m_clock->advance(SerialChannel::reopenInterval);
        QTRY_VERIFY(m_line->isOpen());
        QVERIFY(!m_line->isDown());
        QVERIFY(m_server->attempts().isEmpty());
    }

    void anAttemptThatHangsEndsWithItsLine()
    {
        QCOMPARE(m_line->open(), SerialChannel::OpenResult::Open);
        m_server->hangUp();
        QTRY_VERIFY(m_line->isDown());
        m_server->fill();
        m_clock->advance(SerialChannel::reopenInterval);
        QTRY_COMPARE(m_server->attempts().size(), 1);
        m_line->close();
        QVERIFY(m_server->attempts().isEmpty());
        m_clock->advance(10 * SerialChannel::reopenInterval);
        QVERIFY(m_server->attempts().isEmpty());
        QVERIFY(!m_line->isDown());
    }

    /// The only one that takes real time: the 3 s that somebody who starts the program waits for a server at most.
    void openingGivesUpByItself()
    {
        m_server->fill();
        QCOMPARE(m_line->open(), SerialChannel::OpenResult::PortMissing);
        QCOMPARE(m_line->lastError().number, int(ProgramError::InvalidPort));
        QVERIFY(!m_line->isOpen() && !m_line->isDown());
        QVERIFY(m_server->attempts().isEmpty());
    }

private:
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<NarrowServer> m_server;
    std::unique_ptr<SerialChannel> m_line;
};

QTEST_GUILESS_MAIN(TestReconnect)
#include "tst_reconnect.moc"
