// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QStringView>

/// The forms in which numbers are written to devices, files and the screen, and the one way in which they are read.
/// A decimal point always, whatever the locale. No other file formats a number for a device or a data file.
namespace NumberText {
/// General form: up to 15 significant digits, no trailing zeros, a zero before the point (0.02, -5, 1E+15). Exponent form from 1E+15
/// upward, and below where more than 15 decimals would be needed.
QString General(double value);
/// General form of a single: 7 significant digits, exponent form from 1E+07 upward, and below where more than 7 decimals would be needed.
QString General(float value);
QString General(qint32 value);
QString General(qint64 value);

/// Print form: the general form with a blank in place of "+" and no zero before the point (" .02", "-.5", " 1234").
QString Print(double value);
QString Print(float value);
QString Print(qint32 value);

/// A single as a person would write it: 77.35F gives the double 77.35.
double Exact(float value);

/// Fixed form "0.000" with the given decimals; rounds the 15-digit decimal text half away from zero (2.0005 gives 2.001).
QString Fixed(double value, int decimals);

/// Whole number with at least `digits` digits, zero-padded.
QString ZeroPadded(quint32 value, int digits);

/// The number at the start of the text: leading blanks (also between the digits) are passed over, sign, digits, one point, an exponent (E
/// or D) are taken, the first character that cannot go on ends it; no number gives 0. A "," ends the number. Line ends are passed over
/// before the number and end it after. Beyond the range of a double the number is held at its end. Beware of letters that follow at once:
/// "40D10" reads as 40E10, intended.
double LeadingNumber(QStringView text);
/// As LeadingNumber after every "," has become ".": for what a person or a file wrote.
double ReadNumber(const QString& text);
/// True when the text starts with a number (blanks first).
bool StartsWithNumber(QStringView text);
/// The same for what is set or measured: one beyond the range of a double is no number, and neither is infinity.
bool IsNumber(QStringView text);

/// Nearest whole number, ties to the even neighbour.
double RoundToEven(double value);
/// RoundToEven to 32 bits; beyond the range it is held at the nearest end, not a number gives 0, and *overflow tells of both. *overflow is
/// cleared otherwise.
qint32 RoundToLong(double value, bool* overflow = nullptr);
/// RoundToEven to 16 bits, as above.
qint16 RoundToInteger(double value, bool* overflow = nullptr);
} // namespace NumberText
