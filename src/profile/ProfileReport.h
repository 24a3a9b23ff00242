// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

/// The plain-text report of a profile run, beside its scans: per scan when, at what temperature, how long and to which file; per failure
/// what happened and what was done, at the end what went wrong on the way back, and what ProfileRun::Check finds in the profile. It is
/// written anew after every scan, so that a power cut leaves what was done so far.
namespace ProfileReport {
/// Settles the report's name, `<sample>_report_yyyymmdd_hhmmss.txt` in the work directory.
void Begin();
/// Writes the report of ProfileRun::state(). A disk that refuses is passed over: the next scan tries again.
void Write();
/// The report's text, lines ended by LF.
QString Text();
} // namespace ProfileReport
