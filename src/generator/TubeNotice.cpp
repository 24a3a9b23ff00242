// SPDX-License-Identifier: GPL-3.0-or-later

#include "generator/TubeNotice.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/Operation.h"

#include <memory>

using namespace Qt::StringLiterals;

namespace {
const QString notice = u"tube"_s;

/// As the generator says; as long as it has said nothing, as it was set.
bool atIdlePower()
{
    const std::optional<Instrument::Power> power = instrument().power.likely();
    return power ? *power != Instrument::Power::On : flags().idlePower;
}

QString text()
{
    if (!Operation::anyRun() || flags().closing)
        return {};
    if (Operation::isRunning(Operations::warmUp))
        return u"The X-ray tube still warms up: what is measured now can drift."_s;
    return atIdlePower() ? u"The X-ray generator seems to be at idle power: what is measured now counts little."_s : QString();
}

/// What was said already is not said again: the operator may have taken the bar away.
void look(QString& said)
{
    if (text() == said)
        return;
    said = text();
    said.isEmpty() ? Notices::take(notice) : Notices::show(notice, said);
}
} // namespace

void TubeNotice::watch(QObject* owner)
{
    const auto said = std::make_shared<QString>();
    QObject::connect(&frontPanel(), &FrontPanel::entriesChanged, owner, [said] { look(*said); });
    QObject::connect(&instrumentNotifier(), &InstrumentNotifier::changed, owner, [said] { look(*said); });
}
