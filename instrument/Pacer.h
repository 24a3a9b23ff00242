// SPDX-License-Identifier: GPL-3.0-or-later
//
// Lets bytes out no faster than the line's baud rate, in the pieces in which an adapter hands them over.
#pragma once

#include "Clock.h"

#include <deque>
#include <optional>
#include <string>

namespace lab {

/// A line's settings as far as they take time.
struct LineSettings
{
    int baud = 9600;
    int bitsPerCharacter = 10; ///< start bit, data bits, parity, stop bits
};

class Pacer
{
public:
    explicit Pacer(const LineSettings& settings);
    /// `bytes` are ready to go at `time`.
    void push(Time time, std::string bytes);
    /// All bytes whose last bit has gone over the line by `now`.
    std::string pop(Time now);
    /// When the next piece is worth fetching: after at most 16 ms, sooner when less is left.
    std::optional<Time> due() const;
    void clear();

private:
    struct Piece
    {
        Time start; ///< first bit of the first byte that is left
        std::string bytes;
    };
    Time characters(std::size_t count) const;
    Time character_;
    std::size_t pieceLength_;
    Time lineFree_{0};
    std::deque<Piece> waiting_;
};

} // namespace lab
