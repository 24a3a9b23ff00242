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

#include <memory>

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
        mainWindow.show();
        splash.reset();
        result = QApplication::exec();
    }
    setPrompts(nullptr);
    return result;
}
