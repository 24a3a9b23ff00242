// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/startup/modMain.h"
#include "plot/Look.h"
#include "ui/Pictures.h"
#include "ui/UiPrompts.h"
#include "ui/frmMain.h"
#include "ui/frmSplash.h"

#include <QApplication>
#include <QIcon>

#ifdef Q_OS_UNIX
#include <QSocketNotifier>

#include <csignal>
#include <unistd.h>
#endif

#include <functional>
#include <memory>

namespace {
#ifdef Q_OS_UNIX
int signalPipe[2] = {-1, -1};

extern "C" void onSignal(int)
{
    const char byte = 0;
    [[maybe_unused]] const auto written = write(signalPipe[1], &byte, 1);
}

/// A kill, a closing terminal and Ctrl-C end the program as a session's end does.
void watchSignals(QObject* owner, const std::function<void()>& end)
{
    if (pipe(signalPipe) != 0)
        return;
    auto* notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, owner);
    QObject::connect(notifier, &QSocketNotifier::activated, owner, [notifier, end] {
        notifier->setEnabled(false);
        end();
    });
    for (int number : {SIGTERM, SIGHUP, SIGINT})
        std::signal(number, onSignal);
}
#else
void watchSignals(QObject*, const std::function<void()>&) {}
#endif
} // namespace

/// The desktop program: splash window, settings and devices, main window.
int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("scan"));
    QApplication::setApplicationVersion(modMain::VersionText());
    QApplication::setDesktopFileName(QStringLiteral("scan"));
    QApplication::setWindowIcon(QIcon(Pictures::application));
    // Boxes come and go while the devices are asked; only the main window's closing ends the program.
    QApplication::setQuitOnLastWindowClosed(false);
    Look::useAccent();

    UiPrompts uiPrompts;
    setPrompts(&uiPrompts);
    auto splash = std::make_unique<frmSplash>();
    splash->show();
    QApplication::processEvents();
    modMain::Main(QApplication::arguments().mid(1));
    if (flags().closing)
        return 1;

    int result = 0;
    {
        frmMain mainWindow;
        QObject::connect(&mainWindow, &frmMain::ended, &application, [] { QApplication::exit(0); });
        QObject::connect(&application, &QGuiApplication::commitDataRequest, &mainWindow, [&mainWindow] { mainWindow.endAtOnce(); });
        watchSignals(&mainWindow, [&mainWindow] { mainWindow.endAtOnce(); });
        mainWindow.show();
        splash.reset();
        modMain::OfferRecovered();
        result = QApplication::exec();
    }
    setPrompts(nullptr);
    return result;
}
