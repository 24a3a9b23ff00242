// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program: acquires, converts and looks at scans on a machine without a display.

#include "app/cli/Commands.h"

#include <QCoreApplication>

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    return cli::run(QCoreApplication::arguments().mid(1));
}
