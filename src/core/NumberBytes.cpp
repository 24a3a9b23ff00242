// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/NumberBytes.h"

#include "core/NumberText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace {
using NumberBytes::Text;

constexpr double wholeLimit = 1e15;
constexpr qsizetype longestWhole = 24;
constexpr int shortDecimals = 4;
constexpr double shortScale = 1e4;

Text textOf(const QString& form)
{
    const QByteArray bytes = form.toLatin1();
    Text text;
    text.append(bytes.constData(), bytes.size());
    return text;
}

/// Appends units / 10^decimals; `drop` leaves out trailing zeros and the zero before the point when told to.
void appendScaled(Text& text, qint64 units, int decimals, bool dropZeros, bool zeroBeforePoint)
{
    std::array<char, 24> digits{};
    const auto written = std::to_chars(digits.data(), digits.data() + digits.size(), units);
    auto count = static_cast<int>(written.ptr - digits.data());
    const int whole = count - decimals;
    int shown = decimals;
    while (dropZeros && shown > 0 && (count == 0 || digits[static_cast<std::size_t>(count - 1)] == '0')) {
        count = std::max(count - 1, 0);
        --shown;
    }
    if (whole > 0)
        text.append(digits.data(), whole);
    else if (zeroBeforePoint || shown == 0)
        text.append('0');
    if (shown == 0)
        return;
    text.append('.');
    for (int zeros = -whole; zeros > 0; --zeros)
        text.append('0');
    const int first = std::max(whole, 0);
    text.append(digits.data() + first, count - first);
}

/// The general or print form of what has few decimals; false when the long way has to be taken. The bound keeps the value within half a
/// unit of the fifteenth digit of the short decimal text, so that rounding to 15 digits gives just that text.
bool appendShort(Text& text, double value, bool zeroBeforePoint)
{
    constexpr double bound = 3.5e-16;
    const double magnitude = std::abs(value);
    const double units = std::nearbyint(magnitude * shortScale);
    if (!(units >= 1 && units < wholeLimit && std::abs(magnitude - units / shortScale) <= bound * magnitude))
        return false;
    if (value < 0)
        text.append('-');
    appendScaled(text, static_cast<qint64>(units), shortDecimals, true, zeroBeforePoint);
    return true;
}

/// A whole number in general form behind `blank` blanks; false when it is none.
bool setWhole(Text& text, double value, qsizetype blank)
{
    if (!(std::abs(value) < wholeLimit))
        return false;
    const auto whole = static_cast<qint64>(value);
    if (static_cast<double>(whole) != value)
        return false;
    text.data()[0] = ' ';
    const bool isShort = whole >= std::numeric_limits<qint32>::min() && whole <= std::numeric_limits<qint32>::max();
    const auto written = isShort ? std::to_chars(text.data() + blank, text.data() + longestWhole, static_cast<qint32>(whole))
                                 : std::to_chars(text.data() + blank, text.data() + longestWhole, whole);
    text.setSize(static_cast<qsizetype>(written.ptr - text.data()));
    return true;
}
} // namespace

namespace NumberBytes {
Text General(double value)
{
    Text text;
    if (setWhole(text, value, 0) || appendShort(text, value, true))
        return text;
    return textOf(NumberText::General(value));
}

Text Print(double value)
{
    Text text;
    if (setWhole(text, value, value >= 0 ? 1 : 0))
        return text;
    if (value > 0)
        text.append(' ');
    if (appendShort(text, value, false))
        return text;
    return textOf(NumberText::Print(value));
}

Text Fixed(double value, int decimals)
{
    constexpr double limit = 1e12;
    constexpr double nearHalf = 1e-3; // wider than what rounding to 15 digits can move a value below the limit
    constexpr std::array<double, 10> scales{1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9};
    const double scaled = std::abs(value) * scales.at(static_cast<std::size_t>(decimals));
    const double below = std::floor(scaled);
    const double rest = scaled - below;
    if (!(scaled < limit) || std::abs(rest - 0.5) < nearHalf)
        return textOf(NumberText::Fixed(value, decimals));
    const auto units = static_cast<qint64>(below) + (rest > 0.5 ? 1 : 0);
    Text text;
    if (value < 0 && units > 0)
        text.append('-');
    appendScaled(text, units, decimals, false, true);
    return text;
}
} // namespace NumberBytes
