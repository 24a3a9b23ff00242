// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Operation.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"

#include <algorithm>
#include <utility>

namespace {
QList<Operation*>& list()
{
    static auto* const theList = new QList<Operation*>; // outlives every operation
    return *theList;
}

template <typename Test>
bool anyOf(const Test& test)
{
    return std::any_of(list().cbegin(), list().cend(), test);
}

template <typename Test>
bool anyThatGoesOn(const Test& test)
{
    return anyOf([&test](const Operation* one) { return !one->isCancelled() && test(*one); });
}
} // namespace

Operation::Operation(const OperationKind& kind) : m_kind(kind), m_holds(kind.needs), m_granted(free(kind.needs))
{
    if (!m_granted)
        return;
    list().append(this);
    if (kind.abortEntry && kind.runningCaption != nullptr)
        frontPanel().setEntryCaption(*kind.abortEntry, QString::fromUtf16(kind.runningCaption));
    frontPanel().refreshEntries();
}

Operation::~Operation()
{
    if (!m_granted)
        return;
    list().removeOne(this);
    leave();
}

void Operation::leave()
{
    if (!m_cancelled && m_kind.abortEntry)
        frontPanel().setEntryCaption(*m_kind.abortEntry, QString::fromUtf16(Menu::item(*m_kind.abortEntry).caption));
    frontPanel().refreshEntries();
}

bool Operation::goesOn() const
{
    return m_granted && !m_cancelled && !flags().closing;
}

void Operation::cancel()
{
    if (m_cancelled || !m_granted)
        return;
    leave();
    m_cancelled = true;
    frontPanel().refreshEntries();
}

void Operation::release(Resources some)
{
    m_holds &= ~some;
    frontPanel().refreshEntries();
}

const QList<Operation*>& Operation::all()
{
    return list();
}

QStringList Operation::names()
{
    QStringList names;
    for (const Operation* one : std::as_const(list()))
        if (!one->m_cancelled)
            names += QString::fromLatin1(one->m_kind.name);
    return names;
}

Operation* Operation::running(const OperationKind& kind)
{
    for (Operation* one : std::as_const(list()))
        if (&one->m_kind == &kind && !one->m_cancelled)
            return one;
    return nullptr;
}

bool Operation::free(Resources some)
{
    return !anyOf([some](const Operation* one) { return (one->m_holds & some).toInt() != 0; });
}

bool Operation::open(Resources some)
{
    return !anyThatGoesOn([some](const Operation& one) { return (one.m_holds & some).toInt() != 0; });
}

bool Operation::anyRun()
{
    return anyThatGoesOn([](const Operation& one) { return one.m_kind.isRun; });
}

bool Operation::nothingWaits(const OperationKind& apartFrom)
{
    return !anyOf([&apartFrom](const Operation* one) { return &one->m_kind != &apartFrom; });
}

bool Operation::anyUnattended()
{
    return anyThatGoesOn([](const Operation& one) { return one.m_kind.unattended; });
}

bool Operation::fieldsLocked()
{
    return anyThatGoesOn([](const Operation& one) { return one.m_kind.locksFields; });
}

bool Operation::canBreakOff(Menu::Entry entry)
{
    return anyThatGoesOn([entry](const Operation& one) { return one.m_kind.abortEntry == entry; });
}

Operation::Watch::Watch() : m_unattended(anyUnattended()), m_abort(flags().abort)
{
    for (const Operation* one : std::as_const(list()))
        if (one->m_kind.isRun && !one->m_cancelled)
            m_runs.append(one);
}

bool Operation::Watch::brokenOff() const
{
    if (flags().closing || (m_unattended && !m_abort && flags().abort))
        return true;
    return std::any_of(m_runs.cbegin(), m_runs.cend(), [](const Operation* one) { return !list().contains(one) || one->m_cancelled; });
}
