// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDateTime>

#include <optional>

/// Date and time by the wall clock.
QDateTime wallClock();

/// What the program knows of one thing that can be on, hot or open. Unknown is a value: nothing confirmed and nothing asked for, as at the
/// start and after the line was lost.
template <typename T>
struct Known
{
    std::optional<T> value = {}; ///< as the device said last; nothing: it has not said, or that no longer holds
    std::optional<T> asked = {}; ///< sent since, and not confirmed
    quint32 confirmedAt = 0;     ///< modTools::timeGetTime() when the device said it [ms]; counts only with a value
    QDateTime confirmedOn = {};  ///< the same by the wall clock

    /// The device was told.
    void ask(const T& wanted) { asked = wanted; }
    /// The device said so itself, whatever it was told before.
    void confirm(const T& said);
    /// The device was asked and gave no answer, or none that can be read: what it said before no longer holds, what it was told may.
    void doubt() { *this = Known{.asked = asked}; }
    /// Nothing is known any more: the line was lost, or a reply refused what was sent.
    void forget() { *this = Known{}; }

    bool isConfirmed() const { return value.has_value() && !asked.has_value(); }
    /// What it most likely is: what was asked for last, otherwise what was confirmed.
    std::optional<T> likely() const { return asked.has_value() ? asked : value; }
    bool operator==(const Known&) const = default;
};

/// timeGetTime() and the wall clock at this moment.
struct Moment
{
    Moment();

    quint32 clock;
    QDateTime wall;
};

template <typename T>
void Known<T>::confirm(const T& said)
{
    const Moment now;
    *this = Known{.value = said, .confirmedAt = now.clock, .confirmedOn = now.wall};
}
