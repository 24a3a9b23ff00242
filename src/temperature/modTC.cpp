// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/modTC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr float shortestPoll = 0.020F; // s

/// Listens to the line and its timer.
std::unique_ptr<QObject> listener;

void timeout()
{
    modTC::State& tc = modTC::state();
    const qsizetype before = tc.receiveText.size();
    modCOM::TCComm().fetch();
    const bool believed = tc.receiveText.size() == before && !modCOM::cameTooLate(modCOM::tcTimeout());
    if (believed || std::exchange(tc.startedOver, true))
        tc.timedOut = true;
    else
        modCOM::tcTimeout().restart();
}

void dropStrayInput(const QString& device)
{
    modTC::State& tc = modTC::state();
    const QString stray = tc.receiveText + modCOM::TCComm().input();
    tc.receiveText.clear();
    if (flags().showCommunication && !stray.isEmpty() && !device.isEmpty())
        showMessage(device, stray, Prompts::Icon::None, true);
}
} // namespace

namespace modTC {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    state() = State{};
    listener.reset();
}

void Connect()
{
    modCOM::tcTimeout().setInterval(static_cast<int>(std::lround(configuration().ltc.line.rxTimeout * 1000.0F)));
    if (listener)
        return;
    listener = std::make_unique<QObject>();
    QObject::connect(&modCOM::TCComm(), &SerialChannel::onComm, listener.get(), [](int event) {
        if (event == SerialChannel::ReceiveEvent)
            state().receiveText += modCOM::TCComm().input();
    });
    // Half a reply must not be taken for a value.
    QObject::connect(&modCOM::TCComm(), &SerialChannel::vanished, listener.get(), [] { state().receiveText.clear(); });
    QObject::connect(&modCOM::tcTimeout(), &modTools::Timer::tick, listener.get(), timeout);
}

float PollTime()
{
    const auto fourCharacters = static_cast<float>(4 * modCOM::TCComm().lineSettings().characterTime());
    return std::max({configuration().ltc.line.rxDelay, shortestPoll, fourCharacters});
}

void Send(const QString& line, const QString& device)
{
    const float txDelay = configuration().ltc.line.txDelay;
    if (txDelay > 0)
        modTools::Delay(txDelay, true);
    if (flags().closing)
        return;
    const Exchange exchange(modCOM::TCComm());
    dropStrayInput(device);
    modCOM::TCComm().output(line);
    modCOM::ClearTCCommRxBuffer();
    // Cleared before the second wait, so that a reply that comes while waiting is kept.
    state().receiveText.clear();
    state().timedOut = false;
    if (txDelay > 0)
        modTools::Delay(txDelay, true);
}

bool LineTakes()
{
    return modCOM::TCComm().isOpen() && !flags().closing;
}

bool WaitForReply()
{
    State& tc = state();
    const Exchange exchange(modCOM::TCComm());
    tc.timedOut = false;
    tc.startedOver = false;
    modCOM::tcTimeout().restart();
    const float poll = PollTime();
    modTools::WaitUntil(
        [&tc, &exchange] { return !tc.receiveText.isEmpty() || tc.timedOut || modCOM::TCComm().isDown() || exchange.abandoned(); });
    while (!tc.timedOut && !exchange.abandoned() && !flags().closing && !modCOM::TCComm().isDown()) {
        modTools::DoEvents();
        const qsizetype before = tc.receiveText.size();
        modTools::Delay(poll, true);
        modCOM::TCComm().fetch();
        if (tc.receiveText.size() == before && before >= 1)
            break;
    }
    if (!exchange.abandoned()) // otherwise it is somebody else's
        modCOM::tcTimeout().setEnabled(false);
    const bool received = !tc.receiveText.isEmpty() && !tc.timedOut && !flags().closing && !exchange.abandoned();
    tc.timedOut = false;
    return received;
}

void Show(const QString& text)
{
    frontPanel().setPanel(3, text);
}

bool AskSetpoint(const QString& prompt, const QString& present, const SettableRange& range, double* setpoint)
{
    const QString text = prompts().input({u"New Setpoint"_s, prompt, present.isEmpty() ? QString() : present + u" "_s + range.unit});
    if (text.trimmed().isEmpty())
        return false;
    *setpoint = NumberText::ReadNumber(text);
    if (*setpoint >= range.lowest && *setpoint <= range.highest)
        return true;
    showMessage(u"New setpoint"_s,
                u"Setpoint out of range ("_s + NumberText::General(range.lowest) + range.unit + u" ... "_s +
                    NumberText::General(range.highest) + range.unit + u")!"_s,
                Prompts::Icon::Exclamation);
    return false;
}

void ReportSilence(const QString& title, const QString& text, Prompts::Icon icon)
{
    if (!flags().closing)
        showMessage(title, text, icon);
}
} // namespace modTC
