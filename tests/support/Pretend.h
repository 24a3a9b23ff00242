// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Operation.h"

/// An operation goes on, as far as anybody can tell, until this is called with false or everything is reset (resetProgram).
void pretendRunning(const OperationKind& kind, bool running = true);
void pretendNothing();
