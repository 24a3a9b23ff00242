// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"

class QWidget;

/// What each menu entry does: one table, entry to procedure.
namespace Handlers {
using Procedure = void (*)(QWidget* mainWindow);

/// The procedure of an entry; null when the program has none yet, and the window keeps the entry disabled.
Procedure of(Menu::Entry entry);
} // namespace Handlers
