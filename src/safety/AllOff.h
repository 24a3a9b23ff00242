// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Menu.h"

#include <QList>
#include <QString>

/// Everything that moves, radiates or heats is switched off: motion ("Q;"), X-ray shutter, and the output of each temperature controller.
/// What runs is broken off by it. It is no interlock: it says of each device whether the device confirmed it, and nothing more.
namespace AllOff {
/// One thing that is to be off.
struct Item
{
    QString what;      ///< "Motion", "X-ray shutter", "furnace heater"
    QString said;      ///< what it confirmed, or why it is not known to be off
    bool done = false; ///< confirmed; the shutter, which gives no reply: sent
};

/// Something is being switched off: everything, or one output.
bool isRunning();
/// Those of the present or last switching off of everything, in the order in which they are reported.
QList<Item> items();
void reset();

/// How long what failed is tried again [s].
inline constexpr double patience = 30;

/// Breaks off waits and profile, stops motion and closes the shutter at once; heaters and laser follow as soon as nobody else talks on
/// their line (the reply that is under way is not torn apart). What fails is tried again for `seconds`, a line that is down included.
/// Returns while it goes on, by ticks; begun again meanwhile, it ends within the shorter time. Whoever waits below and holds a line for
/// longer than a reply can take loses it.
void Begin(double seconds = patience);
/// Begins, and waits for its end. True when everything is done.
bool Run(double seconds = patience);
/// The output that this entry switches, and nothing else: the same way, beside whatever waits. Panel 1 says what it confirmed, a box
/// ("Switch off") what it did not.
void SwitchOff(Menu::Entry entry);
/// Every one of items() is done.
bool done();
/// "X-ray shutter: closed, sent (it gives no reply)", a line for each of items().
QString report();

/// The menu entry: begins, says in panel 1 what goes on, and reports in a box titled "All Off".
void mnuExtrasAllOff();

/// What is on, or was switched on by this program and is not known to be off: "X-ray shutter", "furnace heater (not known)". Empty:
/// nothing.
QStringList stillOn();
} // namespace AllOff
