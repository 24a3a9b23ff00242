// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "CommandText.h"

#include <charconv>
#include <cstdio>
#include <limits>

namespace lab {

std::string_view trimmed(std::string_view text)
{
    const std::size_t first = text.find_first_not_of(' ');
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<std::string_view> split(std::string_view text, char mark)
{
    std::vector<std::string_view> parts;
    for (std::size_t from = 0;;) {
        const std::size_t end = text.find(mark, from);
        parts.push_back(trimmed(text.substr(from, end == std::string_view::npos ? end : end - from)));
        if (end == std::string_view::npos)
            return parts;
        from = end + 1;
    }
}

std::size_t leadingNumber(std::string_view text, double& value)
{
    const std::size_t plus = text.starts_with('+') ? 1 : 0;
    const std::size_t digit = text.starts_with('-') ? 1 : plus;
    if (digit >= text.size() || (text[digit] != '.' && (text[digit] < '0' || text[digit] > '9')))
        return 0;
    const char* begin = text.data() + plus;
    const auto result = std::from_chars(begin, text.data() + text.size(), value, std::chars_format::fixed);
    return result.ec == std::errc() ? static_cast<std::size_t>(result.ptr - text.data()) : 0;
}

double numberOf(std::string_view text)
{
    double value = 0.0;
    const bool whole = !text.empty() && leadingNumber(text, value) == text.size();
    return whole ? value : std::numeric_limits<double>::quiet_NaN();
}

std::string formatted(const char* format, double value)
{
    char text[64];
    const int length = std::snprintf(text, sizeof text, format, value); // NOLINT(clang-diagnostic-format-nonliteral)
    return {text, static_cast<std::size_t>(length)};
}

} // namespace lab
