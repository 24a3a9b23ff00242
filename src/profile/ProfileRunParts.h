// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"
#include "core/Prompts.h"
#include "core/ScanRecord.h"
#include "core/modTools.h"
#include "goniometer/ScanRun.h"
#include "profile/ProfileRun.h"
#include "serial/SerialChannel.h"

/// What the files of the run share: ProfileRun.cpp starts and walks, ProfileStep.cpp sets a temperature and waits for it, ProfileScan.cpp
/// measures and saves, ProfileResume.cpp remembers how far it came. For them alone.
namespace ProfileRun::Parts {
inline constexpr double silenceLimit = 600;        // s without any answer before a step is skipped
inline constexpr quint32 deviceRetryDelay = 10000; // ms
inline constexpr int mostSilentSteps = 3;          // in a row; then the run pauses
inline constexpr quint32 pausedInterval = 60000;   // ms
inline const QString title = QStringLiteral("Temperature profile");
inline const QString abortedText = QStringLiteral("Temperature profile aborted!");

// --- the row being measured

bool goesOn();
Row& row();
void enter(Phase phase);
void remark(const QString& text);

// --- questions

Prompts::Button ask(const QString& caption, const QString& text, Prompts::Buttons buttons, Prompts::Icon icon, int defaultButton,
                    Prompts::Button unattended, const QString& details = {});
bool yes(const QString& caption, const QString& text, const QString& details = {});

// --- lines that come and go

/// Tells whether a line was lost at any time since this was made: what was sent meanwhile did not arrive.
class LineWatch
{
public:
    explicit LineWatch(SerialChannel& line) : m_lost(line.isDown())
    {
        QObject::connect(&line, &SerialChannel::vanished, &m_context, [this] { m_lost = true; });
    }
    bool lost() const { return m_lost; }

private:
    bool m_lost;
    QObject m_context;
};

/// Lets a time pass since `start`, now by default.
void pause(quint32 milliseconds, quint32 start = modTools::timeGetTime());
/// Time since `start` without which nothing is given up.
bool tooLong(quint32 start);
/// Waits for a line that is down. False when it stays so.
bool lineIsThere(const SerialChannel& line);

// --- the pieces of a step

bool setSetpoint();
/// Waits for a steady temperature and reads it. False when the controller was silent too long.
bool settle();
/// The run pauses until the temperature controller gives a reading.
void awaitController();
void dwell();
/// The scan of the row: what the panel shows, with the row's counter time and the name and comment that the run took when it started.
ScanRecord scanOfStep();
/// Reads the counts in the controller into memory and has them drawn.
ScanRun::Reading readAndDraw(const ScanRecord& scan, bool onlyWhole = false);
/// One scan, in memory too; nothing when there are no counts of it. A scan of which nothing came back is measured once more; twice nothing
/// is no scan.
std::optional<ScanRecord> acquire();
/// Saves the scan; a disk that refuses is tried again every minute, then the program directory is taken.
void save(const ScanRecord& scan);
/// The way back of the heaters at the end.
void setBack();

// --- the run broken off

/// `done`: rows that need not be looked at again, but for those of them that were skipped.
void writeState(qsizetype done);
/// Where to begin; nothing when the operator cancelled. After the last row: only the way back is left to do.
std::optional<qsizetype> firstRow(const Options& options);
/// Stops what the controller runs and waits until it stands.
bool stopController();
/// A count that was left over by this run before it was killed would be thrown away by the run anyway: the run begins its scan again.
bool stopLeftOver(const Options& options);
} // namespace ProfileRun::Parts
