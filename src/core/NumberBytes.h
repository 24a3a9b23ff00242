// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QVarLengthArray>

/// The number forms of NumberText as bytes, for files with tens of thousands of points. Every text is the one that NumberText gives; only
/// the way to it is shorter for whole numbers and for values with a few decimals.
namespace NumberBytes {
using Text = QVarLengthArray<char, 32>;

/// General form, as NumberText::General.
Text General(double value);
/// Print form, as NumberText::Print.
Text Print(double value);
/// Fixed form with 1 to 9 decimals, as NumberText::Fixed.
Text Fixed(double value, int decimals);
} // namespace NumberBytes
