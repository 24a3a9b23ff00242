// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "VirtualInstrument.h"

#include <QCoreApplication>

#include <cstdio>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <QSocketNotifier>
#include <csignal>
#include <unistd.h>
#endif

namespace {

void say(std::FILE* stream, const QString& line)
{
    std::fprintf(stream, "%s\n", qPrintable(line));
    std::fflush(stream);
}

#ifdef Q_OS_WIN

void endOnSignal(QCoreApplication&)
{
    SetConsoleCtrlHandler([](DWORD) -> BOOL { return QMetaObject::invokeMethod(qApp, &QCoreApplication::quit, Qt::QueuedConnection); },
                          TRUE);
}

#else

int signalPipe[2] = {-1, -1};

void passOn(int)
{
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalPipe[1], &byte, 1);
}

void endOnSignal(QCoreApplication& application)
{
    if (::pipe(signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &application);
    QObject::connect(notifier, &QSocketNotifier::activated, &application, &QCoreApplication::quit);
    std::signal(SIGINT, passOn);
    std::signal(SIGTERM, passOn);
    std::signal(SIGHUP, passOn);
    std::signal(SIGPIPE, SIG_IGN);
}

#endif

} // namespace

int main(int argc, char* argv[])
{
    QCoreApplication application(argc, argv);
    lab::Options options;
    QString why;
    if (!lab::readOptions(QCoreApplication::arguments().mid(1), options, why)) {
        say(stderr, QStringLiteral("virtual-instrument: ") + why + QStringLiteral(" (--help lists the options)"));
        return 2;
    }
    if (options.action != lab::Options::Action::serve) {
        say(stdout, options.action == lab::Options::Action::help ? lab::helpText() : lab::faultList());
        return 0;
    }
    endOnSignal(application);
    lab::RunningClock clock(options.speed);
    lab::VirtualInstrument instrument(options, {clock, lab::wallAlarms(clock), lab::systemChannel});
    instrument.announce = [](const QString& line) { say(stdout, line); };
    if (!instrument.start(why)) {
        say(stderr, QStringLiteral("virtual-instrument: ") + why);
        return 1;
    }
    say(stdout, QStringLiteral("ready"));
    return QCoreApplication::exec();
}
