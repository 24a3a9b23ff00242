// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// For the files of a scan run: a controller that is still busy after StopController.
namespace ScanRun {
/// Call it at each busy answer: sends "Q;" again when 5 s have passed since the last. False after 30 s of busy answers.
bool keepStopping();
/// Says in a box that the controller does not stop, once for each StopController.
void tellStillBusy();
} // namespace ScanRun
