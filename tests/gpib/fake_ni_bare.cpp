// SPDX-License-Identifier: GPL-3.0-or-later
// The newer library: no registration and no long count.

#include "fake_ni_common.inc"

extern "C" {
int ThreadIbcnt();

int ThreadIbcnt()
{
    return static_cast<int>(lastCount);
}
}
