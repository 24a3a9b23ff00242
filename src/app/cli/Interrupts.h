// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <functional>

/// Ctrl-C and the request of the system to end. A terminal that closes counts as Ctrl-C, too, but not while a temperature profile runs:
/// that goes on without it.
namespace cli::Interrupts {
/// From now on each Ctrl-C calls `handler` from the event loop with its number (1, 2, ...). Output to a reader that has gone is passed
/// over, so that a scan outlives it.
void install(std::function<void(int number)> handler);
/// How often it was pressed.
int count();

/// As Ctrl-C, and as a terminal that closes.
void press();
void hangUp();
/// As before the first install: nothing was pressed, and nobody listens.
void reset();
} // namespace cli::Interrupts
