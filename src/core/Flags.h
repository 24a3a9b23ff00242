// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

/// The process-wide flags: what is connected, what is in memory. What runs stands in core/Operation.h. Every menu entry's state derives
/// from both (FrontPanel::refreshEntries). Where a flag is written to a log it reads "-1" when set and "0" when clear.
struct Flags
{
    bool log = false;               ///< application log on (command-line word "log")
    bool sound = false;             ///< command-line word "sound"; accepted, without effect
    bool too = false;               ///< command-line word "too"; accepted, without effect
    bool showCommunication = false; ///< communication-display switch (scan.ini, `ShowCommunication`)

    bool smcOnline = false;       ///< goniometer controller answers; clear means the simulation state
    int smcModelDigit = 0;        ///< 0 none, 1 or 2: the controller's number of axes and last digit of its model
    bool ltcEnabled = false;      ///< low-temperature controller in use
    bool htcEnabled = false;      ///< high-temperature controller in use
    bool laserEnabled = false;    ///< laser heater controller in use
    bool generatorRemote = false; ///< X-ray generator is remote-controlled
    bool shutterRemote = false;   ///< X-ray shutter is switched through the goniometer controller
    int scanMode = 1;             ///< 0 on-line, 1 silent
    int goniometerType = 0;       ///< 0 Guinier, 1 Theta-2-Theta

    bool dataPresent = false; ///< a scan is in memory
    bool dataSaved = false;   ///< the scan in memory is on disk
    bool busy = false;        ///< a file is written or read, or a plot is drawn
    bool abort = false;       ///< the operator broke off the running wait or profile
    bool shutterOpen = false; ///< last command sent to the shutter was "open"
    bool laserOn = false;     ///< laser beam switched on
    bool idlePower = false;   ///< the generator was set to idle power
    bool closing = false;     ///< the program ends: every wait returns at once and nothing more is sent
};

/// The one set of flags. `flags() = Flags{}` resets it whole.
Flags& flags();

/// Names of the goniometer types and scan modes as they are displayed and stored.
const char* goniometerTypeName(); ///< "Theta-2-Theta" or "Guinier"
const char* scanModeName();       ///< "Online" or "Silent"
