// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/Ratemeter.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/modSMC.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"

#include <cmath>
#include <limits>

namespace Ratemeter {
namespace {
constexpr qint32 firstRange = 10;
constexpr double emptyBar = 0.0001;
constexpr int beyondCount = 1000; // ms
constexpr float stopPause = 0.2F; // s
constexpr float downPause = 0.2F; // s

QString rangeText(const char16_t* name)
{
    return QString::fromUtf16(name) + QStringLiteral(" [Range ") + NumberText::General(state().range) + u']';
}

void begin()
{
    State& meter = state();
    meter.range = firstRange;
    meter.barMaximum = firstRange;
    meter.barValue = 0;
    meter.caption = rangeText(u"RM");
    emit notifier().changed();
}

void upload(double counterTime)
{
    const QString count = QStringLiteral("CNT") + modSMC::FormatSMCNumber(counterTime) + u';';
    for (const QString& line : {QStringLiteral("BEEPOFF;"), QStringLiteral("CLR;"), QStringLiteral("CCNT;"), count, QStringLiteral("NL;"),
                                QStringLiteral("END;")})
        modSMC::SMCSend(line);
}

/// The counter time that the field shows, as it is left.
double typedCounterTime()
{
    if (!frontPanel().text(FrontPanel::Field::CounterTime).trimmed().isEmpty())
        ScanParameterCheck::lostFocus(FrontPanel::Field::CounterTime);
    return scanParameters().counterTime;
}

/// The reply to "?C;", which comes when the count has ended.
QString count(double counterTime)
{
    modTools::Timer& timeout = modCOM::MCRxTimeout();
    const int usual = timeout.interval();
    if (counterTime * 1000 > usual)
        timeout.setInterval(static_cast<int>(counterTime * 1000) + beyondCount);
    QString reply = modSMC::SMCReceive(modSMC::silent);
    timeout.setInterval(usual);
    return reply;
}

void chooseRange()
{
    State& meter = state();
    if (meter.rate < 1) {
        // The bar keeps its maximum and the caption its long name here: intended.
        meter.range = firstRange;
        meter.caption = rangeText(u"RateMeter");
        return;
    }
    const qint32 range = RangeFor(meter.rate);
    if (range == 0 || range == meter.range)
        return;
    meter.range = range;
    meter.caption = rangeText(u"RM");
    meter.barMaximum = range;
}

void moveBar()
{
    State& meter = state();
    const qint32 value = modTools::SmallerOf(meter.rate, meter.range);
    const double shown = value == 0 ? emptyBar : value;
    // The bar refuses what lies outside its ends and stays as it was.
    if (shown >= 0 && shown <= meter.barMaximum)
        meter.barValue = shown;
}
} // namespace

State& state()
{
    static State theState;
    return theState;
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

qint32 RangeFor(qint32 rate)
{
    const auto decade = static_cast<int>(NumberText::RoundToEven(10 * std::log10(rate))) / 10;
    const double range = std::pow(10.0, decade + 1);
    return range <= std::numeric_limits<qint32>::max() ? static_cast<qint32>(range) : 0;
}

void Evaluate(const QString& reply, double counterTime)
{
    State& meter = state();
    meter.noAnswer = reply.isEmpty();
    bool overflow = false;
    const qint32 rate = counterTime != 0 ? NumberText::RoundToLong(NumberText::LeadingNumber(reply) / counterTime, &overflow) : 0;
    // A rate that cannot be worked out keeps its previous value.
    if (counterTime != 0 && !overflow)
        meter.rate = rate;
    meter.text = NumberText::General(meter.rate);
    if (meter.autoRange)
        chooseRange();
    moveBar();
    emit notifier().changed();
}

void Run()
{
    const Operation run(Operations::ratemeter);
    if (!run.granted())
        return;
    begin();
    const double counterTime = typedCounterTime();
    upload(counterTime);
    while (run.goesOn()) {
        modSMC::SMCSend(QStringLiteral("START:;"));
        modSMC::SMCSend(QStringLiteral("?C;"));
        const QString reply = count(counterTime);
        if (!run.goesOn())
            break;
        Evaluate(reply, counterTime);
        // Without a controller the answer is there at once.
        if (modCOM::MCComm().isDown() || !flags().smcOnline)
            modTools::Delay(downPause, true);
        modTools::DoEvents();
    }
    modSMC::SMCSend(QStringLiteral("BEEPON;"));
}

void Stop()
{
    if (Operation* run = Operation::running(Operations::ratemeter)) {
        run->cancel();
        modCOM::smcReception().waiting = false;
    }
    for (int i = 0; i < 2; ++i) {
        modTools::Delay(stopPause, true);
        modSMC::SMCSend(QStringLiteral("Q;"));
    }
    modTools::Delay(stopPause, true);
    modSMC::SMCSend(QStringLiteral("BEEPON;"));
}
} // namespace Ratemeter
