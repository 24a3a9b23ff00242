// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QtGlobal>

#include <array>

/// The number forms of NumberText as bytes, for files with tens of thousands of points. Every text is the one that NumberText gives; only
/// the way to it is shorter for whole numbers and for values with a few decimals.
namespace NumberBytes {
/// The characters of one number, on the stack; room for every form of every double.
class Text
{
public:
    Text() {} // the characters are left as they are until they are written: a number is made tens of thousands of times
    const char* data() const { return m_characters.data(); }
    char* data() { return m_characters.data(); }
    qsizetype size() const { return m_size; }
    void setSize(qsizetype size) { m_size = size; }
    char operator[](qsizetype i) const { return m_characters[static_cast<std::size_t>(i)]; }
    /// What finds no room is left out.
    void append(char character)
    {
        if (m_size < capacity)
            m_characters[static_cast<std::size_t>(m_size++)] = character;
    }
    void append(const char* characters, qsizetype count)
    {
        for (qsizetype i = 0; i < count; ++i)
            append(characters[i]);
    }

private:
    static constexpr qsizetype capacity = 352;
    std::array<char, capacity> m_characters;
    qsizetype m_size = 0;
};

/// General form, as NumberText::General.
Text General(double value);
/// Print form, as NumberText::Print.
Text Print(double value);
/// Fixed form with 1 to 9 decimals, as NumberText::Fixed.
Text Fixed(double value, int decimals);
} // namespace NumberBytes
