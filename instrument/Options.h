// SPDX-License-Identifier: GPL-3.0-or-later
//
// The command line of the virtual instrument.
#pragma once

#include "Devices.h"

#include <QString>
#include <QStringList>

namespace lab {

struct Options
{
    enum class Action { serve, help, listFaults };
    Action action = Action::serve;
    QString directory; ///< empty: no scan.ini, lines under their own names
    int tcpPort = -1;  ///< -1: pseudo-terminals; 0: any free ports
    QString sample = QStringLiteral("quartz");
    double speed = 1.0;
    quint64 seed = 1;
    QString traceFile;
    bool busy = false;
    std::vector<Fault> faults;
    DeviceOptions devices;
};

/// Reads the arguments behind the program's name. On failure returns false and says why.
bool readOptions(const QStringList& arguments, Options& options, QString& why);
QString helpText();
QString faultList();

} // namespace lab
