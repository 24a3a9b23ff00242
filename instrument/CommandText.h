// SPDX-License-Identifier: GPL-3.0-or-later
//
// Reading and writing the text commands of the temperature devices.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lab {

/// Without blanks at both ends.
std::string_view trimmed(std::string_view text);
/// The parts between the marks, trimmed.
std::vector<std::string_view> split(std::string_view text, char mark);
/// Reads the number (digits, point, sign; no exponent) at the begin of `text`; returns its length, 0 without one (`value` stays).
std::size_t leadingNumber(std::string_view text, double& value);
/// The number that the whole of `text` is; not a number (NaN) when it is none.
double numberOf(std::string_view text);
/// `value` by a printf format for one double.
std::string formatted(const char* format, double value);

} // namespace lab
