// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QtGlobal>

/// What defines a step scan. The values follow the fields of the front panel; goniometer/ScanParameterCheck.h keeps them within
/// their limits.
struct ScanParameters
{
    double start = 0;          ///< degrees 2-Theta
    double stop = 0;           ///< degrees 2-Theta
    double step = 0;           ///< degrees 2-Theta, always positive
    double counterTime = 0;    ///< seconds per point
    qint32 numberOfPoints = 0; ///< derived from start, stop and step
};

/// The parameters of the next scan. `scanParameters() = ScanParameters{}` resets them.
ScanParameters& scanParameters();
