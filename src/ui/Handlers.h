// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"

class QWidget;

/// What each menu entry does: one table, entry to procedure.
namespace Handlers {
using Procedure = void (*)(QWidget* mainWindow);

/// The procedure of an entry; null when the program has none yet, and the window keeps the entry disabled.
Procedure of(Menu::Entry entry);

/// False when an entry that is chosen while the cooldown log talks to its controller has to wait for the end of that: everything but what
/// stops, shuts or ends something.
bool runsAtOnce(Menu::Entry entry);
} // namespace Handlers
