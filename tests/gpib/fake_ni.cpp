// SPDX-License-Identifier: GPL-3.0-or-later
// The older library: a registration of the status words and a long count.

#include "fake_ni_common.inc"

extern "C" {
int ThreadIbcnt();
long ThreadIbcntl();
int RegisterGpibGlobalsForThread(long* ibsta, long* iberr, long* ibcnt, long* ibcntl);

int ThreadIbcnt()
{
    return -1;
}

long ThreadIbcntl()
{
    return lastCount;
}

int RegisterGpibGlobalsForThread(long* ibsta, long* iberr, long* ibcnt, long* ibcntl)
{
    note("Register %d\n", ibsta != nullptr && iberr != nullptr && ibcnt != nullptr && ibcntl != nullptr ? 4 : 0);
    return script.registerResult;
}
}
