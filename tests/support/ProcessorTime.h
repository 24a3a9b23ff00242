// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <ctime>

/// Processor time that this process has used [ms]: for limits that what else the machine does must not break.
inline double processorTime()
{
    return 1000.0 * static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}
