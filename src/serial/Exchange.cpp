// SPDX-License-Identifier: GPL-3.0-or-later

#include "serial/Exchange.h"

#include <QList>

#include <algorithm>

namespace {
struct Talk
{
    const Exchange* exchange;
    const SerialChannel* line;
    bool alone;
};

QList<Talk>& talks()
{
    static QList<Talk> theTalks;
    return theTalks;
}
} // namespace

Exchange::Exchange(const SerialChannel& line, bool alone) : m_line(line)
{
    talks().append({this, &line, alone});
}

Exchange::~Exchange()
{
    talks().removeIf([this](const Talk& one) { return one.exchange == this; });
}

bool Exchange::first() const
{
    for (const Talk& one : std::as_const(talks()))
        if (one.line == &m_line)
            return one.exchange == this;
    return true;
}

bool Exchange::abandoned() const
{
    return std::none_of(talks().cbegin(), talks().cend(), [this](const Talk& one) { return one.exchange == this; });
}

bool Exchange::underWay(const SerialChannel& line)
{
    return std::any_of(talks().cbegin(), talks().cend(), [&line](const Talk& one) { return one.line == &line; });
}

bool Exchange::isBarred(const SerialChannel& line)
{
    return std::any_of(talks().cbegin(), talks().cend(), [&line](const Talk& one) { return one.line == &line && one.alone; });
}

void Exchange::abandon(const SerialChannel& line)
{
    talks().removeIf([&line](const Talk& one) { return one.line == &line; });
}
