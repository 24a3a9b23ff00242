// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

class SerialChannel;

/// One conversation on a line: a question and its answer, held on the stack of the procedure that waits for it. Since waits let events run,
/// one can begin inside another; `first` tells the two apart.
class Exchange
{
public:
    /// `alone`: while this one lasts nothing else may be asked (a long transfer, of which no character may be lost).
    explicit Exchange(const SerialChannel& line, bool alone = false);
    ~Exchange();
    Exchange(const Exchange&) = delete;
    Exchange& operator=(const Exchange&) = delete;

    /// Nobody else was talking on the line when it began, or all of them have been abandoned since.
    bool first() const;

    /// Somebody else has taken the line over; what was received is his.
    bool abandoned() const;

    /// Somebody talks on the line.
    static bool underWay(const SerialChannel& line);
    /// Somebody talks who must be alone.
    static bool isBarred(const SerialChannel& line);
    /// Whatever is being talked of is given up: an abort takes the line over. Those who wait notice it themselves.
    static void abandon(const SerialChannel& line);

private:
    const SerialChannel& m_line;
};
