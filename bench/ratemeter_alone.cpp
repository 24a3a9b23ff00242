// SPDX-License-Identifier: GPL-3.0-or-later

// The ratemeter without a window, for waiting.sh: counts until the program is killed and prints each rate. Usage: ratemeter-alone
// DIRECTORY (the one with scan.ini)

#include "goniometer/Ratemeter.h"

#include "core/Flags.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    modMain::SetProgramDirectory(QCoreApplication::arguments().value(1));
    modMain::LoadSettings();
    if (!flags().smcOnline)
        return 1;
    QObject::connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, [] {
        std::printf("%d counts/s\n", Ratemeter::state().rate);
        std::fflush(stdout);
    });
    Ratemeter::Run();
    return 1;
}
