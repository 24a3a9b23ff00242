// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Channel.h"

#include <QtGlobal>

#ifdef Q_OS_UNIX

#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#ifdef Q_OS_LINUX
#include <sys/inotify.h>
#endif

namespace lab {

namespace {

QString lastError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

class PseudoTerminal final : public Channel
{
public:
    explicit PseudoTerminal(QString link) : link_(std::move(link)) {}
    ~PseudoTerminal() override { hangUp(); }

    bool open(QString& why) override
    {
        if (!openPair() || !makeLink()) {
            why = QStringLiteral("pseudo-terminal %1: %2").arg(link_, lastError());
            hangUp();
            return false;
        }
        reader_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Read);
        QObject::connect(reader_.get(), &QSocketNotifier::activated, reader_.get(), [this] { readMaster(); });
        writer_ = std::make_unique<QSocketNotifier>(master_, QSocketNotifier::Write);
        writer_->setEnabled(false);
        QObject::connect(writer_.get(), &QSocketNotifier::activated, writer_.get(), [this] { writeMaster(); });
        watchClients();
        return true;
    }

    void hangUp() override
    {
        releaseLater(reader_);
        releaseLater(writer_);
        releaseLater(clients_);
        for (int* descriptor : {&watch_, &slave_, &master_})
            if (*descriptor >= 0)
                ::close(std::exchange(*descriptor, -1));
        if (!link_.isEmpty() && !path_.isEmpty() && QFile::symLinkTarget(link_) == path_)
            QFile::remove(link_);
        path_.clear();
        unwritten_.clear();
    }

    QString address() const override { return link_.isEmpty() ? path_ : link_; }

    void write(const QByteArray& bytes) override
    {
        unwritten_ += bytes;
        writeMaster();
    }

private:
    // A notifier may be closing down its own line, so it is not deleted inside its own signal.
    static void releaseLater(std::unique_ptr<QSocketNotifier>& notifier)
    {
        if (!notifier)
            return;
        notifier->setEnabled(false);
        notifier.release()->deleteLater();
    }

    bool openPair()
    {
        master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0)
            return false;
        const char* name = ::ptsname(master_);
        if (name == nullptr)
            return false;
        path_ = QFile::decodeName(name);
        // our own hold on the far end: a client that closes it is no error here
        slave_ = ::open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
        if (slave_ < 0)
            return false;
        termios settings{};
        if (::tcgetattr(slave_, &settings) != 0)
            return false;
        ::cfmakeraw(&settings);
        fresh_ = settings;
        return ::cfsetspeed(&fresh_, B9600) == 0 && ::tcsetattr(slave_, TCSANOW, &fresh_) == 0;
    }

    // A client that was killed leaves its settings and its claim behind. The next one would be refused: seven data bits, which a
    // pseudo-terminal does not have, count as an error as soon as no other setting changes with them.
    void makeFresh() const
    {
        ::tcsetattr(slave_, TCSANOW, &fresh_);
        ::ioctl(slave_, TIOCNXCL);
    }

    bool makeLink()
    {
        if (link_.isEmpty())
            return true;
        const QByteArray name = QFile::encodeName(link_);
        if (QFileInfo(link_).isSymLink())
            ::unlink(name.constData());
        return ::symlink(QFile::encodeName(path_).constData(), name.constData()) == 0;
    }

    // Bytes that nobody fetched wait in the terminal for whoever comes next. A client that opens the line finds it empty, as a serial port
    // is.
    void watchClients()
    {
#ifdef Q_OS_LINUX
        watch_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
        if (watch_ < 0 || ::inotify_add_watch(watch_, QFile::encodeName(path_).constData(), IN_OPEN | IN_CLOSE) < 0)
            return;
        openCount_ = 0;
        clients_ = std::make_unique<QSocketNotifier>(watch_, QSocketNotifier::Read);
        QObject::connect(clients_.get(), &QSocketNotifier::activated, clients_.get(), [this] { lookForClients(); });
#endif
    }

    void lookForClients()
    {
#ifdef Q_OS_LINUX
        alignas(inotify_event) char buffer[4096];
        for (;;) {
            const ssize_t length = watch_ < 0 ? -1 : ::read(watch_, buffer, sizeof buffer);
            if (length <= 0)
                return;
            for (ssize_t at = 0; at < length;) {
                const auto* event = reinterpret_cast<const inotify_event*>(buffer + at);
                at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
                if ((event->mask & IN_OPEN) != 0U && ++openCount_ == 1)
                    dropUnread(opened);
                if ((event->mask & IN_CLOSE) != 0U && openCount_ > 0 && --openCount_ == 0) {
                    makeFresh();
                    dropUnread(left);
                }
            }
        }
#endif
    }

    void dropUnread(const std::function<void()>& tell)
    {
        ::tcflush(slave_, TCIFLUSH);
        unwritten_.clear();
        if (tell)
            tell();
    }

    void readMaster()
    {
        lookForClients();
        char buffer[4096];
        const ssize_t length = master_ < 0 ? -1 : ::read(master_, buffer, sizeof buffer);
        if (length > 0 && received)
            received(QByteArray(buffer, static_cast<qsizetype>(length)));
    }

    void writeMaster()
    {
        while (!unwritten_.isEmpty() && master_ >= 0) {
            const ssize_t length = ::write(master_, unwritten_.constData(), static_cast<std::size_t>(unwritten_.size()));
            if (length <= 0)
                break;
            unwritten_.remove(0, static_cast<qsizetype>(length));
        }
        if (writer_)
            writer_->setEnabled(!unwritten_.isEmpty());
    }

    QString link_;
    QString path_;
    int master_ = -1;
    int slave_ = -1;
    int watch_ = -1;
    int openCount_ = 0;
    termios fresh_{}; ///< what a client finds
    QByteArray unwritten_;
    std::unique_ptr<QSocketNotifier> reader_;
    std::unique_ptr<QSocketNotifier> writer_;
    std::unique_ptr<QSocketNotifier> clients_;
};

} // namespace

std::unique_ptr<Channel> makePseudoTerminal(const QString& link)
{
    return std::make_unique<PseudoTerminal>(link);
}

} // namespace lab

#else

namespace lab {

std::unique_ptr<Channel> makePseudoTerminal(const QString&)
{
    return nullptr;
}

} // namespace lab

#endif
