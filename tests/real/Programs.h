// SPDX-License-Identifier: GPL-3.0-or-later
//
// The programs under test as processes: the virtual instrument in a directory of its own, and the console program. Nothing here sleeps:
// every wait is for output or an exit, with a time-out.
#pragma once

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>

#ifdef Q_OS_UNIX
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

namespace programs {
constexpr int patience = 600000; // ms; only what is broken takes so long

/// A process whose output is gathered while events run.
class Program
{
public:
    explicit Program(const QString& name) : m_path(QStringLiteral(SCAN_BIN_DIR "/") + name)
    {
        QObject::connect(&process, &QProcess::readyReadStandardOutput, [this] { out += process.readAllStandardOutput(); });
        QObject::connect(&process, &QProcess::readyReadStandardError, [this] { err += process.readAllStandardError(); });
    }
    ~Program()
    {
        if (process.state() == QProcess::NotRunning)
            return;
        process.kill();
        process.waitForFinished(patience);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void start(const QStringList& arguments) { process.start(m_path, arguments); }
    /// Lets events run until `condition` holds; false when patience ends or the program has ended without it.
    template <typename Condition>
    bool waitUntil(Condition condition)
    {
        QElapsedTimer timer;
        timer.start();
        QTimer look; // conditions may look at what makes no event, as a file or a terminal
        look.start(20);
        while (!condition()) {
            if (process.state() == QProcess::NotRunning) {
                QCoreApplication::processEvents();
                return condition();
            }
            if (timer.elapsed() > patience)
                return false;
            QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
        }
        return true;
    }
    bool says(const QByteArray& text)
    {
        return waitUntil([&] { return out.contains(text) || err.contains(text); });
    }
    /// Exit status; -1 when it did not end, -2 when it crashed.
    int finish()
    {
        if (!waitUntil([this] { return process.state() == QProcess::NotRunning; }))
            return -1;
        out += process.readAllStandardOutput();
        err += process.readAllStandardError();
        return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -2;
    }
#ifdef Q_OS_UNIX
    void interrupt(int signal = SIGINT) const
    {
        ::kill(static_cast<pid_t>(process.processId()), signal);
    }
#endif

    QProcess process;
    QByteArray out;
    QByteArray err;

private:
    QString m_path;
};

/// The virtual instrument, with a scan.ini of its own whose pauses are short.
class Instrument
{
public:
    explicit Instrument(const QStringList& options) : m_program(QStringLiteral("virtual-instrument"))
    {
        m_program.start(QStringList{QStringLiteral("--dir"), directory.path()} + options);
        running = m_program.says("ready");
        shortenPauses();
        if (!options.contains(QStringLiteral("--fault")))
            bePatient();
    }

    /// Healthy devices get time to answer on a busy machine, also in the middle of a reply.
    void bePatient() const
    {
        changeSettings("[smc]", "[smc]\nMCRxTimeout=20\nRxDelay=0.12");
        changeSettings("[LTC]", "[LTC]\nRxTimeout=20");
    }

    QString path(const QString& name) const { return directory.filePath(name); }
    QByteArray read(const QString& name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QTemporaryDir directory;
    bool running = false;

private:
    void shortenPauses() const { changeSettings("[smc]", "[smc]\nTxDelay=0.01"); }
    void changeSettings(const char* before, const char* after) const
    {
        QByteArray text = read(QStringLiteral("scan.ini"));
        text.replace(before, after);
        QFile file(path(QStringLiteral("scan.ini")));
        if (file.open(QIODevice::WriteOnly))
            file.write(text);
    }

    Program m_program;
};

/// The console program on that instrument.
class ScanCli : public Program
{
public:
    ScanCli() : Program(QStringLiteral("scan-cli")) {}

    void startOn(const Instrument& instrument, const QStringList& words)
    {
        process.setWorkingDirectory(instrument.directory.path());
        start(QStringList{QStringLiteral("--program-dir"), instrument.directory.path()} + words);
        process.closeWriteChannel();
    }
    int runOn(const Instrument& instrument, const QStringList& words)
    {
        startOn(instrument, words);
        return finish();
    }
};

#ifdef Q_OS_UNIX
/// A terminal for a child: what is written to `master` was typed.
class PseudoTerminal
{
public:
    PseudoTerminal() : master(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        ::grantpt(master);
        ::unlockpt(master);
        m_slave = ::ptsname(master);
        ::fcntl(master, F_SETFL, O_NONBLOCK);
    }
    ~PseudoTerminal() { ::close(master); }
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;

    /// The child's standard input and error become this terminal.
    void adopt(QProcess& process) const
    {
        process.setChildProcessModifier([slave = m_slave] {
            const int terminal = ::open(slave.constData(), O_RDWR | O_NOCTTY);
            ::dup2(terminal, STDIN_FILENO);
            ::dup2(terminal, STDERR_FILENO);
        });
    }
    /// Everything shown so far.
    QByteArray shown()
    {
        char buffer[4096];
        for (ssize_t n = ::read(master, buffer, sizeof buffer); n > 0; n = ::read(master, buffer, sizeof buffer))
            m_shown.append(buffer, static_cast<qsizetype>(n));
        return m_shown;
    }
    bool type(const QByteArray& text) const
    {
        return ::write(master, text.constData(), static_cast<std::size_t>(text.size())) == text.size();
    }

private:
    int master;
    QByteArray m_slave;
    QByteArray m_shown;
};
#endif
} // namespace programs
