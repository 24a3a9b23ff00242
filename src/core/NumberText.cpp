// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/NumberText.h"

#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace {
constexpr int doubleDigits = 15;
constexpr int singleDigits = 7;

/// A number as decimal text: 0.d1d2d3... x 10^point, without trailing zeros; zero has no digits.
struct Decimal
{
    bool negative = false;
    int point = 0;
    int count = 0;
    std::array<char, doubleDigits> digits{};

    void dropTrailingZeros()
    {
        while (count > 0 && digits[static_cast<std::size_t>(count - 1)] == '0')
            --count;
        if (count == 0) {
            negative = false;
            point = 0;
        }
    }

    /// Keeps the first `kept` digits, rounding half away from zero.
    void round(int kept)
    {
        if (kept >= count)
            return;
        const bool up = kept >= 0 && digits[static_cast<std::size_t>(kept)] >= '5';
        count = kept > 0 ? kept : 0;
        if (up) {
            int i = count - 1;
            while (i >= 0 && digits[static_cast<std::size_t>(i)] == '9')
                digits[static_cast<std::size_t>(i--)] = '0';
            if (i >= 0) {
                ++digits[static_cast<std::size_t>(i)];
            } else {
                digits[0] = '1';
                count = 1;
                ++point;
            }
        }
        dropTrailingZeros();
    }
};

template <typename T>
Decimal decimalOf(T value, int significant)
{
    Decimal result;
    result.negative = std::signbit(value);
    std::array<char, 32> text{};
    const auto written =
        std::to_chars(text.data(), text.data() + text.size(), std::abs(value), std::chars_format::scientific, significant - 1);
    const std::string_view all(text.data(), static_cast<std::size_t>(written.ptr - text.data()));
    const std::size_t exponentAt = all.find('e');
    int exponent = 0;
    const char* exponentText = all.data() + exponentAt + 1;
    std::from_chars(*exponentText == '+' ? exponentText + 1 : exponentText, all.data() + all.size(), exponent);
    for (std::size_t i = 0; i < exponentAt; ++i)
        if (all[i] != '.')
            result.digits[static_cast<std::size_t>(result.count++)] = all[i];
    result.point = exponent + 1;
    result.dropTrailingZeros();
    return result;
}

using Text = QVarLengthArray<char, 64>;

void append(Text& text, const Decimal& number, int from, int to)
{
    for (int i = from; i < to; ++i)
        text.append(i >= 0 && i < number.count ? number.digits[static_cast<std::size_t>(i)] : '0');
}

QString textOf(const Text& text)
{
    return QString::fromLatin1(text.constData(), text.size());
}

QString generalText(const Decimal& number, int significant)
{
    if (number.count == 0)
        return QStringLiteral("0");
    Text text;
    if (number.negative)
        text.append('-');
    const int decimals = number.count - number.point;
    if (number.point > significant || decimals > significant) {
        const int exponent = number.point - 1;
        append(text, number, 0, 1);
        if (number.count > 1) {
            text.append('.');
            append(text, number, 1, number.count);
        }
        text.append('E');
        text.append(exponent < 0 ? '-' : '+');
        std::array<char, 8> power{};
        const auto written = std::to_chars(power.data(), power.data() + power.size(), std::abs(exponent));
        if (written.ptr - power.data() < 2)
            text.append('0');
        text.append(power.data(), static_cast<qsizetype>(written.ptr - power.data()));
        return textOf(text);
    }
    if (number.point <= 0)
        text.append('0');
    else
        append(text, number, 0, number.point);
    if (decimals > 0) {
        text.append('.');
        append(text, number, number.point < 0 ? number.point : (number.point > 0 ? number.point : 0), number.count);
    }
    return textOf(text);
}

QString notFinite(double value)
{
    return std::isnan(value) ? QStringLiteral("NaN") : value < 0 ? QStringLiteral("-Inf") : QStringLiteral("Inf");
}

QString printText(const QString& general)
{
    const bool negative = general.startsWith(u'-');
    QStringView digits = QStringView(general).mid(negative ? 1 : 0);
    if (digits.startsWith(u"0."))
        digits = digits.mid(1);
    return QString(negative ? u'-' : u' ').append(digits);
}

bool isBlank(QChar character)
{
    return character == u' ' || character == u'\t';
}
bool isLeadingBlank(QChar character)
{
    return isBlank(character) || character == u'\r' || character == u'\n';
}
bool isDigit(QChar character)
{
    return character >= u'0' && character <= u'9';
}

/// Walks over the characters of a text, passing over blanks.
class Walk
{
public:
    explicit Walk(QStringView text) : m_text(text)
    {
        while (m_at < m_text.size() && isLeadingBlank(m_text[m_at]))
            ++m_at;
    }

    /// The next character that is no blank; null at the end.
    QChar peek()
    {
        while (m_at < m_text.size() && isBlank(m_text[m_at]))
            ++m_at;
        return m_at < m_text.size() ? m_text[m_at] : QChar();
    }
    void next() { ++m_at; }
    bool takeDigits(Text& into)
    {
        bool any = false;
        for (QChar character = peek(); isDigit(character); character = peek()) {
            into.append(character.toLatin1());
            next();
            any = true;
        }
        return any;
    }
    void takeSign(Text& into)
    {
        const QChar character = peek();
        if (character != u'+' && character != u'-')
            return;
        if (character == u'-')
            into.append('-');
        next();
    }

private:
    QStringView m_text;
    qsizetype m_at = 0;
};

/// Of a number beyond the range of a double: whether it is too large rather than too small.
bool isLarge(std::string_view number)
{
    const std::size_t mark = number.find('e');
    const std::string_view digits = number.substr(0, mark);
    const std::size_t first = digits.find_first_of("123456789");
    const std::size_t point = std::min(digits.find('.'), digits.size());
    if (mark == std::string_view::npos)
        return first < point;
    long exponent = 0;
    const auto read = std::from_chars(number.data() + mark + 1, number.data() + number.size(), exponent);
    if (read.ec == std::errc::result_out_of_range)
        return number[mark + 1] != '-';
    return static_cast<long>(point) - static_cast<long>(first) + exponent > 0;
}

double held(double value, double lowest, double highest, bool* overflow)
{
    const double rounded = NumberText::RoundToEven(value);
    const bool outside = !(rounded >= lowest && rounded <= highest);
    if (overflow != nullptr)
        *overflow = outside;
    if (std::isnan(rounded))
        return 0;
    return rounded < lowest ? lowest : rounded > highest ? highest : rounded;
}
} // namespace

namespace NumberText {
QString General(double value)
{
    return std::isfinite(value) ? generalText(decimalOf(value, doubleDigits), doubleDigits) : notFinite(value);
}

QString General(float value)
{
    return std::isfinite(value) ? generalText(decimalOf(value, singleDigits), singleDigits) : notFinite(static_cast<double>(value));
}

QString General(qint32 value)
{
    return QString::number(value);
}

QString General(qint64 value)
{
    return QString::number(value);
}

QString Print(double value)
{
    return printText(General(value));
}

QString Print(float value)
{
    return printText(General(value));
}

QString Print(qint32 value)
{
    return printText(General(value));
}

QString Fixed(double value, int decimals)
{
    if (!std::isfinite(value))
        return notFinite(value);
    Decimal number = decimalOf(value, doubleDigits);
    number.round(number.point + decimals);
    Text text;
    if (number.negative)
        text.append('-');
    if (number.point <= 0)
        text.append('0');
    else
        append(text, number, 0, number.point);
    if (decimals > 0) {
        text.append('.');
        append(text, number, number.point, number.point + decimals);
    }
    return textOf(text);
}

QString ZeroPadded(quint32 value, int digits)
{
    return QString::number(value).rightJustified(digits, u'0');
}

double LeadingNumber(QStringView text)
{
    Walk walk(text);
    Text number;
    walk.takeSign(number);
    bool any = walk.takeDigits(number);
    if (walk.peek() == u'.') {
        walk.next();
        number.append('.');
        any = walk.takeDigits(number) || any;
    }
    if (!any)
        return 0;
    const QChar mark = walk.peek();
    if (mark == u'E' || mark == u'e' || mark == u'D' || mark == u'd') {
        walk.next();
        Text exponent;
        walk.takeSign(exponent);
        if (walk.takeDigits(exponent)) {
            number.append('e');
            number.append(exponent.constData(), exponent.size());
        }
    }
    double value = 0;
    const auto read = std::from_chars(number.constData(), number.constData() + number.size(), value);
    if (read.ec != std::errc::result_out_of_range)
        return value;
    if (!isLarge(std::string_view(number.constData(), static_cast<std::size_t>(number.size()))))
        return 0;
    return number[0] == '-' ? std::numeric_limits<double>::lowest() : std::numeric_limits<double>::max();
}

double ReadNumber(const QString& text)
{
    if (!text.contains(u','))
        return LeadingNumber(text);
    return LeadingNumber(QString(text).replace(u',', u'.'));
}

double Exact(float value)
{
    return LeadingNumber(General(value));
}

bool StartsWithNumber(QStringView text)
{
    Walk walk(text);
    Text sign;
    walk.takeSign(sign);
    if (walk.peek() == u'.')
        walk.next();
    return isDigit(walk.peek());
}

bool IsNumber(QStringView text)
{
    return StartsWithNumber(text) && std::abs(LeadingNumber(text)) < std::numeric_limits<double>::max();
}

double RoundToEven(double value)
{
    return std::nearbyint(value);
}

qint32 RoundToLong(double value, bool* overflow)
{
    return static_cast<qint32>(held(value, std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max(), overflow));
}

qint16 RoundToInteger(double value, bool* overflow)
{
    return static_cast<qint16>(held(value, std::numeric_limits<qint16>::min(), std::numeric_limits<qint16>::max(), overflow));
}
} // namespace NumberText
