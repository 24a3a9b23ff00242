// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// resetProgram(), and the rooms above core: lines, goniometer, generator, bus, temperature controllers, profile. Nothing that an earlier
/// test, or an earlier life of the program, has left is there any more.
void resetAll();
