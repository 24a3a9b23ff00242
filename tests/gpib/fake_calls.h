// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// What a test and a played vendor library tell each other, through the exported function `fakeScript`.
struct FakeScript
{
    char calls[8192] = {}; ///< one line per call
    char reply[2304] = {}; ///< what the next read gives
    int replyLength = 0;
    int status = 0x100; ///< NI status word after each call
    int registerResult = 0;
    int errorAtCall = 0; ///< SICL: the n-th call (from 1) fails ...
    int errorNumber = 0; ///< ... with this number
    int callCount = 0;
    int lastError = 0;
};
