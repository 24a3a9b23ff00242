// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/ProgramError.h"

#include <QString>
#include <QStringList>

/// The instrument bus: one instrument, opened once at start-up through NI-488.2 or SICL, written to and read from line by line. There is no
/// close. All calls come from the window's thread.
namespace modGPIB {
/// The module's variables. `reset()` puts them back and lets go of the library.
struct State
{
    qint16 GPIBType = 0;          ///< 0 SICL, 1 NI-488.2; anything else makes no call
    qint16 GPIBDeviceAddress = 0; ///< primary address
    QString SICLInterfaceName;    ///< "hpib7"
    int device = 0;               ///< SICL session or NI unit descriptor
    long ibsta = 0;               ///< NI status words as the last call left them
    long iberr = 0;
    long ibcnt = 0;
    long ibcntl = 0;
    QString fault;       ///< of the last write or read, "" when it went well or nothing was answered
    ProgramError error;  ///< the error that the last SICL call raised; number 0: none
    QStringList niNames; ///< libraries looked for; empty: the platform's own names
    QStringList siclNames;
};
State& state();
void reset();

/// 0 for exactly "hp", 1 for any other text ("HP" included).
qint16 typeOf(const QString& text);

/// Takes type, address and interface name from the configuration, loads the library and opens the instrument.
/// NI: without the interface "National Instruments GPIB Interface not available..." is shown and the program ends; a failed registration of
/// the status words is shown and passed over. SICL: the error, also 53 when there is no library, is returned for the caller to show. Number
/// 0: open, or nothing to open.
ProgramError GPIBInit();

/// "Bus fault: ..." when the bus, not the device, failed at the last write or read: no cable, no device at the address, a library that
/// refuses. Empty otherwise; a read that timed out is no fault but no answer, a write that did is one.
QString Fault();

/// Sends command + CR LF. Always 0; a SICL error is left in state().error, what the bus says in Fault().
qint16 GPIBOutput(const QString& command);

/// One reply without its terminators: SICL cuts before the first CR, then before the first LF; NI waits `RxDelay`, drops the last two
/// characters and trims blanks, fewer than three bytes being no reply. Empty: no answer, or a SICL error in state().error. Shown in panel 3
/// with the communication display on.
QString GPIBGetResponse();
} // namespace modGPIB
