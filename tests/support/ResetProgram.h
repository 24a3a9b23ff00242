// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// Brings everything in core back to the state of a program that has just started: flags, front panel, configuration, scan, parameters,
/// tools. The program's end is only counted afterwards, so that EndProgram returns. Call it at the start of each test function (init()).
void resetProgram();

/// How often EndProgram was called since resetProgram.
int endProgramCalls();
