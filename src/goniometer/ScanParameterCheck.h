// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/FrontPanel.h"
#include "core/ScanParameters.h"

#include <QChar>

#include <optional>

/// Keeps the four scan parameters within their limits: start, stop and step [deg 2-Theta] and counter time [s]. Values are corrected, never
/// refused; the fields of the front panel are rewritten as the controller will get them. The Normalize operations read fields and return
/// the corrected value without writing it.
namespace ScanParameterCheck {
/// Most intervals of a scan; one point more is counted.
inline constexpr qint32 maximumIntervals = 32000;
/// Smallest step [deg 2-Theta].
inline constexpr double minimumStep = 0.002;

/// The field's number held between ThetaMin and ThetaMax [deg 2-Theta].
double NormalizeScanStart();
double NormalizeScanStop();
/// The step without sign, not above the range (unless that is 0), at least 0.002, to 3 decimals. More than 32000 intervals: shows "Too many
/// data points!" and shortens the stop field.
double NormalizeScanStep();
/// The counter time rounded up to the series 0.1, 0.2, 0.5, 1, 2, 5 ... 500.
double NormalizeCounterTime();
/// The rule of NormalizeCounterTime for any time [s].
double RoundUpCounterTime(double time);

/// The full check before a run and before a read-back: normalizes, swaps start and stop when needed, keeps them apart by one step, rewrites
/// the fields, fills scanParameters() with its number of points and returns them. `counterTime` [s]: the time of a profile step, taken as
/// it stands; the field CounterTime is then left alone.
ScanParameters CheckScanParameters(std::optional<double> counterTime = std::nullopt);

/// A parameter field lost the input focus: corrected value into the field, the field into scanParameters(). Does nothing for other fields
/// and while the fields are read-only.
void lostFocus(FrontPanel::Field field);

/// What a key typed into a parameter field becomes: digits, ".", "-" and backspace themselves, "," a point; a null character means that the
/// key is dropped with a beep. Enter is not asked for here, see nextField.
QChar acceptedKey(QChar key);
/// Where Enter moves the focus: ScanStart, ScanStop, ScanStep, CounterTime; nowhere from the last.
std::optional<FrontPanel::Field> nextField(FrontPanel::Field field);
} // namespace ScanParameterCheck
