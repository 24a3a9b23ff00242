// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/ControllerUse.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/ScanRun.h"

ControllerUse::ControllerUse() : m_granted(free())
{
    if (m_granted)
        claim(true);
}

ControllerUse::~ControllerUse()
{
    if (m_granted)
        claim(false);
}

bool ControllerUse::free()
{
    const Flags& now = flags();
    return !now.acquisitionRunning && !now.profileRunning && !now.ratemeterRunning && !now.utilityRunning && !ScanRun::state().measuring &&
           !Ratemeter::state().looping;
}

void ControllerUse::claim(bool claimed)
{
    flags().utilityRunning = claimed;
    frontPanel().refreshEntries();
}
