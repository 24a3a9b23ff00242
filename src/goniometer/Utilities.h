// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// The entries of the SMC menu. All but the stop and the status display are refused with "SMC not ready..." while the controller works.
/// None starts inside a scan, a profile, the ratemeter or another of them (core/Operation.h).
namespace GoniometerUtilities {
/// mnuExtrasSMCRef: starts the reference search; nothing is awaited.
void SearchReference();
/// mnuExtrasSMCSetRefOffset: asks for axis and offset [deg, held between ThetaMin and ThetaMax], sends and stores it; takes about 6 s.
void SetReferenceOffset();
/// mnuExtrasGoniometerGoTo: asks for axis and target [deg, held between ThetaMin and ThetaMax] and starts the move at the slew speed;
/// nothing is awaited.
void GoTo();
/// mnuExtrasSMCStop: stops program and motion at once, meant for a busy controller. Ends the wait of a temperature entry, too.
void Stop();
/// mnuExtrasSMCGetRAMData: ScanRun::ReadBack from the menu.
void GetRAMData();
/// mnuExtrasSMGetStatus: shows axes, firmware, line, positions and statuses.
void ShowStatus();
} // namespace GoniometerUtilities
