// SPDX-License-Identifier: GPL-3.0-or-later
// A library without ThreadIbcnt: not usable.

#include "fake_ni_common.inc"
