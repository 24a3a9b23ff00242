// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/CodePage.h"

#include <algorithm>
#include <iterator>

#ifdef Q_OS_WIN
#include <windows.h>
#endif

namespace {
/// Characters of the codes 0x80 to 0x9F.
constexpr char16_t upperControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,
};

char byteOf(char16_t character)
{
    if (character < 0x80 || (character >= 0xA0 && character <= 0xFF))
        return static_cast<char>(character);
    const auto* found = std::find(std::begin(upperControls), std::end(upperControls), character);
    return found == std::end(upperControls) ? '?' : static_cast<char>(0x80 + (found - std::begin(upperControls)));
}
} // namespace

namespace CodePage {
QByteArray toWindows1252(const QString& text)
{
    QByteArray bytes;
    bytes.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        bytes.append(byteOf(text[i].unicode()));
        if (text[i].isHighSurrogate() && i + 1 < text.size() && text[i + 1].isLowSurrogate())
            ++i;
    }
    return bytes;
}

QString fromWindows1252(const QByteArray& bytes)
{
    QString text = QString::fromLatin1(bytes);
    for (QChar& character : text)
        if (character.unicode() >= 0x80 && character.unicode() < 0xA0)
            character = QChar(upperControls[character.unicode() - 0x80]);
    return text;
}

#ifdef Q_OS_WIN
QByteArray toCodePage(const QString& text)
{
    const auto* wide = reinterpret_cast<const wchar_t*>(text.utf16());
    const int length = static_cast<int>(text.size());
    QByteArray bytes(WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, length, nullptr, 0, "?", nullptr), '\0');
    WideCharToMultiByte(CP_ACP, WC_NO_BEST_FIT_CHARS, wide, length, bytes.data(), static_cast<int>(bytes.size()), "?", nullptr);
    return bytes;
}

QString fromCodePage(const QByteArray& bytes)
{
    const int length = static_cast<int>(bytes.size());
    QString text(MultiByteToWideChar(CP_ACP, 0, bytes.constData(), length, nullptr, 0), QChar(0));
    MultiByteToWideChar(CP_ACP, 0, bytes.constData(), length, reinterpret_cast<wchar_t*>(text.data()), static_cast<int>(text.size()));
    return text;
}
#else
QByteArray toCodePage(const QString& text)
{
    return toWindows1252(text);
}

QString fromCodePage(const QByteArray& bytes)
{
    return fromWindows1252(bytes);
}
#endif
} // namespace CodePage
