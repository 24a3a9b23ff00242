// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Operation.h"
#include "core/ScanRecord.h"

#include <QString>

#include <functional>
#include <memory>
#include <optional>

/// The goniometer controller's command protocol: plain text over the line MCComm. A command is a mnemonic that ends with ";"; a
/// reply is text whose value stands after its first ":". A query is SMCSend followed at once by SMCReceive. While the controller is not on
/// line (Flags::smcOnline clear: the simulation state) nothing is sent and every query returns its disabled value at once. A line that went
/// down is different: sends are dropped and queries return empty text, so status and position read 0.
namespace modSMC {
/// The module's variables. `state() = State{}` resets them. The reception of a running reply is modCOM's.
struct State
{
    qint16 numberOfAxes = 0;             ///< result of SMCCheck, stored by start-up
    QString firmwareText;                ///< version reply without line breaks; "n.a." after an ignored presence check
    std::unique_ptr<Operation> leftOver; ///< a program that was running when the program was started; broken off as a scan is
    bool axesMissing = false;            ///< the settings say Theta-2-Theta, and it has one axis: no scan is started
    QString lastTransfer;                ///< counts that were taken last, as they came: whoever reads the same again reads an old scan
    qint32 maximumCount = 0;             ///< largest count of the last read-back, -1 when the operator refused it
};
State& state();

/// Bit of the axis status that says: idle, no program running.
inline constexpr qint16 idleBit = 128;
/// Axis status in the simulation state; its idle bit is set.
inline constexpr qint16 disabledStatus = 129;

/// Arguments of SMCReceive.
inline constexpr qint16 reportTimeout = 0; ///< a silent controller is reported: "SMC does not respond..."
inline constexpr qint16 silent = 1;        ///< a silent controller gives an empty reply and nothing else

/// Sends one command: CR LF, then the command, in one write, then a pause of the line's TxDelay in which the window stays live. False when
/// the line did not take it (down, or its output is full): the controller will never see it. True in the simulation state.
bool SMCSend(const QString& command);
/// Waits until the line is open, up to `patience` [s] and as long as `goOn` says so; at once when it is. True when it is open.
bool AwaitLine(double patience, const std::function<bool()>& goOn);
/// What is being queried is given up: an abort takes the line over.
void AbandonQuery();

/// Waits for one reply and returns it: complete after one quiet RxTimer interval, or what has come when MCRxTimeout passes. A reply that
/// was complete before the call is returned at once. A line that does not fall silent for ten times that time, and 20 s at least, is one
/// that does not respond. A second caller that waits inside the first one's wait shares text and switch with it.
QString SMCReceive(qint16 messageSwitch);

/// Presence check at start-up: the number of axes, the ":" of the reply to "?S;". A reply with fewer axes than `axesNeeded` is asked for
/// again, three times in all, when it was cut. Without any axis it shows the box "SMC Check": Abort ends the program, Retry asks again
/// (--yes does so twice), Ignore returns 0, which means that there is no controller. Otherwise stores the firmware text; a controller
/// that still runs a program is an operation of its own (State::leftOver) and turns the start entry into "Abort Data Acquisition".
qint16 SMCCheck(qint16 axesNeeded = 1);

/// True when axis 1 is idle, and always in the simulation state.
bool SMCIsReady();

/// Status of an axis (1, 2); 0 when the reply holds no number or none of 16 bits, disabledStatus in the simulation state.
qint16 SMCGetAxisStatus(qint16 axis);
/// Asks once for the status of axis 1; nothing when no reply with a number came. `messageSwitch` as for SMCReceive.
std::optional<qint16> AskStatus(qint16 messageSwitch);
/// Whether a reply to "?Sn;" holds a status: a number after its first ":", or nothing but a number.
bool HoldsStatus(const QString& reply);
/// The status in a reply to "?Sn;": the whole number after its first ":", without one the whole reply; blanks may stand before it.
qint16 StatusOf(const QString& reply);

/// Position of an axis (1, 2) in degrees, to 3 decimals; 0 in the simulation state.
double SMCGetPosition(qint16 axis);

/// Firmware version; "n. a." in the simulation state, not the "n.a." of the presence check.
QString SMCGetVersion();

/// What came of a transfer of the count memory.
struct Transfer
{
    qint32 maximum = -1;  ///< largest count; -1: nothing was stored
    qint32 received = -1; ///< counts that it held; 0 none, -1 the controller did not answer
};

/// Reads the count memory ("?CNT;") into `scan`, whose arrays the caller has sized: count i, and angle start + (i - 1) x step of its
/// parameters. Nothing is stored when the number of lines is not their number of points and the question "Scan Data Transfer" was not
/// answered Yes, when nothing was received (said in a box, and nothing is stored; a profile asks the question then too), or when the run
/// was aborted or the program closed meanwhile. In the simulation state both values are 0. A reply of any length is walked once.
///
/// A transfer without its closing line is not taken as it stands: what still comes is joined to it, and if the closing line is missing
/// then, the transfer is asked for again, three times in all, noted in the log. Only the last one reports a silent controller. Before each
/// the line has to be quiet, and lines with a ":" in it are late replies, which are dropped and logged. More counts than the number of
/// points are read once more when nobody can be asked about them, and not taken then.
/// `linePatience` [s]: how long a line that is down is waited for before the transfer is asked for again. `onlyWhole`: nothing is asked;
/// any other number of counts than the parameters', and a transfer that is the one before once more, is not taken.
Transfer SMCReadScanData(ScanRecord& scan, double linePatience = 0, bool onlyWhole = false);

/// Number of counts in a transfer: its line ends less one for the closing line; -1 for an empty text.
qint32 ReceivedPoints(QStringView reply);
/// Stores the counts of a transfer up to the line "CEND;" in `scan` and returns the largest (0 without any). A line that is no number
/// counts 0, an unfinished last line and points beyond the arrays are passed over.
qint32 StoreCounts(QStringView reply, ScanRecord& scan);

/// A number as it stands in a command: general form with a decimal point.
QString FormatSMCNumber(double value);
} // namespace modSMC
