// SPDX-License-Identifier: GPL-3.0-or-later

#include "generator/modGenerator.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "generator/GeneratorPower.h"
#include "generator/TubeNotice.h"
#include "goniometer/modSMC.h"
#include "serial/modCOM.h"

#include <QObject>

#include <cstdlib>
#include <memory>
#include <optional>

using namespace Qt::StringLiterals;

namespace {
constexpr int seifert = 1;
constexpr float actualValuesWait = 1.5F; // s
constexpr float summaryWait = 2.5F;      // s
constexpr float settingWait = 0.2F;      // s
constexpr int watchInterval = 1000;      // ms

/// Listens to the line.
std::unique_ptr<QObject> listener;

/// Watches for the end of a run when idle power is wanted.
struct IdleWatch
{
    modTools::Timer timer{"IdlePowerTimer"};
    bool sawRun = false;
    quint32 endedAt = 0;
};

std::unique_ptr<IdleWatch>& idleWatch()
{
    static std::unique_ptr<IdleWatch> theWatch;
    return theWatch;
}

void storeLine()
{
    modGenerator::State& now = modGenerator::state();
    if (now.nextLine >= 1 && now.nextLine <= now.lines.size())
        now.lines[now.nextLine++ - 1] = now.receiveText;
    now.receiveText.clear();
}

void collect(const QString& text)
{
    constexpr qsizetype longestLine = 1024;
    for (const QChar character : text) {
        if (character == u'\r')
            storeLine();
        else if (character != u'\n' && modGenerator::state().receiveText.size() < longestLine)
            modGenerator::state().receiveText += character;
    }
}

/// Current and voltage asked for by ticks.
struct TickReading
{
    modTools::Timer next{"GeneratorReading"};
    QStringList commands; ///< still to be sent
    bool underWay = false;
};

std::unique_ptr<TickReading>& tickReading()
{
    static std::unique_ptr<TickReading> theReading;
    return theReading;
}

/// One exchange after the other: what is being asked by ticks is over in a moment.
void awaitTickReading()
{
    modTools::WaitUntil([] { return !tickReading() || !tickReading()->underWay; });
}

void beginExchange()
{
    modGenerator::State& now = modGenerator::state();
    now.nextLine = 1;
    now.lines = QStringList(modGenerator::replyLines, QString());
    modCOM::ClearGeneratorCommRxBuffer();
    now.receiveText.clear();
}

void send(const QString& command)
{
    modCOM::SerialOut(modCOM::GeneratorComm(), command + u"\r"_s);
}

/// "A12500" gives 12: thousandths behind a letter. Nothing when no number stands there, or one beyond 16 bits.
std::optional<qint16> thousandth(const QString& line)
{
    bool overflow = false;
    const qint32 value = NumberText::RoundToLong(NumberText::LeadingNumber(line.mid(1)), &overflow);
    if (overflow || !NumberText::StartsWithNumber(line.mid(1)))
        return {};
    const qint16 result = NumberText::RoundToInteger(value / 1000.0, &overflow);
    return overflow ? std::nullopt : std::optional(result);
}

Instrument::Power powerOf(qint16 milliampere, qint16 kilovolt)
{
    const Configuration::Generator& power = configuration().generator;
    if (milliampere <= 0 || kilovolt <= 0)
        return Instrument::Power::Off;
    return milliampere <= power.idleCurrent && kilovolt <= power.idleVoltage ? Instrument::Power::Idle : Instrument::Power::On;
}

modGenerator::Answer lastAnswer = modGenerator::Answer::NotAsked;

/// What the reply lines to "CA" and "VN" say.
void learnActualValues()
{
    const auto milliampere = thousandth(modGenerator::state().lines.value(0));
    const auto kilovolt = thousandth(modGenerator::state().lines.value(1));
    lastAnswer = milliampere && kilovolt ? modGenerator::Answer::Told : modGenerator::Answer::None;
    learn([&](Instrument& now) {
        milliampere ? now.milliampere.confirm(*milliampere) : now.milliampere.doubt();
        kilovolt ? now.kilovolt.confirm(*kilovolt) : now.kilovolt.doubt();
        milliampere&& kilovolt ? now.power.confirm(powerOf(*milliampere, *kilovolt)) : now.power.doubt();
    });
}

void learnSentPower(qint16 milliampere, qint16 kilovolt)
{
    if (!modCOM::GeneratorComm().isOpen() || flags().closing)
        return;
    learn([&](Instrument& now) {
        now.milliampere.ask(milliampere);
        now.kilovolt.ask(kilovolt);
        now.power.ask(powerOf(milliampere, kilovolt));
    });
}

void goOnReading()
{
    TickReading& reading = *tickReading();
    if (!reading.commands.isEmpty() && !flags().closing) {
        modCOM::GeneratorComm().output(reading.commands.takeFirst() + u"\r"_s);
        const double pause = reading.commands.isEmpty() ? double{actualValuesWait} : double{configuration().generator.line.txDelay};
        reading.next.setInterval(qMax(static_cast<int>(pause * 1000), 1));
        reading.next.restart();
        return;
    }
    modCOM::GeneratorComm().fetch();
    if (!flags().closing)
        learnActualValues();
    reading.next.setEnabled(false);
    reading.underWay = false;
}

/// By more than rounding and regulating make.
bool differs(qint32 sentMilliampere, qint32 sentKilovolt, qint32 milliampere, qint32 kilovolt)
{
    return std::abs(sentMilliampere - milliampere) > 1 || std::abs(sentKilovolt - kilovolt) > 1;
}

QString milliampereAndKilovolt(qint16 milliampere, qint16 kilovolt)
{
    return NumberText::General(qint32{milliampere}) + u" mA, "_s + NumberText::General(qint32{kilovolt}) + u" kV"_s;
}

/// Somebody talks with the generator, or has just typed into the window that sets its power.
bool generatorInUse()
{
    return !Operation::free(Resource::GeneratorLine) && !GeneratorPower::forgotten();
}

QString setIdlePower()
{
    const Configuration::Generator& power = configuration().generator;
    const Operation use(Operations::generator);
    const GeneratorPower::Exchanging exchanging;
    const auto wantedMilliampere = static_cast<qint16>(power.idleCurrent);
    const auto wantedKilovolt = static_cast<qint16>(power.idleVoltage);
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    modGenerator::SendPower(wantedMilliampere, wantedKilovolt, &milliampere, &kilovolt);
    if (lastAnswer == modGenerator::Answer::NotAsked)
        return u"X-ray generator: idle power sent, not confirmed"_s;
    if (lastAnswer == modGenerator::Answer::None || differs(power.idleCurrent, power.idleVoltage, milliampere, kilovolt))
        return modGenerator::powerReport(wantedMilliampere, wantedKilovolt, milliampere, kilovolt);
    return u"X-ray generator set to idle power"_s;
}

void watchIdle()
{
    IdleWatch& watch = *idleWatch();
    if (Operation::anyRun()) {
        watch.sawRun = true;
        watch.endedAt = modTools::timeGetTime();
    }
    const Configuration::Generator& power = configuration().generator;
    const quint32 delay = static_cast<quint32>(qMax(power.reducePowerOnIdleDelay, 0)) * 60000U;
    if (!watch.sawRun || !Operation::free(Resource::Goniometer) || generatorInUse() || flags().closing ||
        modTools::timeGetTime() - watch.endedAt < delay)
        return;
    if (!modCOM::GeneratorComm().isOpen())
        return;
    watch.sawRun = false;
    const QString said = setIdlePower();
    GeneratorPower::tell(said);
    frontPanel().setPanel(1, said);
}
} // namespace

namespace modGenerator {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    state() = State{};
    lastAnswer = modCOM::GeneratorComm().isOpen() ? Answer::NotAsked : Answer::None; // a dead line takes nothing
    idleWatch().reset();
    tickReading().reset();
    listener.reset();
}

Answer answer()
{
    return lastAnswer;
}

QString noAnswerText()
{
    return u"The X-ray generator did not answer; its power is not known."_s;
}

QString powerReport(qint16 sentMilliampere, qint16 sentKilovolt, qint16 actualMilliampere, qint16 actualKilovolt)
{
    if (lastAnswer == Answer::None)
        return noAnswerText();
    const QString sent = milliampereAndKilovolt(sentMilliampere, sentKilovolt);
    if (lastAnswer == Answer::NotAsked)
        return sent + u": sent, not confirmed"_s;
    const QString actual = u"The generator reports "_s + milliampereAndKilovolt(actualMilliampere, actualKilovolt);
    const bool other = differs(sentMilliampere, sentKilovolt, actualMilliampere, actualKilovolt);
    return other ? u"Warning: "_s + actual + u" instead of "_s + sent + u'.' : actual + u'.';
}

void Connect()
{
    if (listener)
        return;
    listener = std::make_unique<QObject>();
    TubeNotice::watch(listener.get());
    QObject::connect(&modCOM::GeneratorComm(), &SerialChannel::onComm, listener.get(), [](int event) {
        if (event == SerialChannel::ReceiveEvent)
            collect(modCOM::GeneratorComm().input());
    });
    QObject::connect(&modCOM::GeneratorComm(), &SerialChannel::vanished, listener.get(), [] { state().receiveText.clear(); });
}

void GeneratorGetActualValues(qint16* milliampere, qint16* kilovolt)
{
    *milliampere = 0;
    *kilovolt = 0;
    awaitTickReading();
    beginExchange();
    lastAnswer = modCOM::GeneratorComm().isOpen() ? Answer::NotAsked : Answer::None; // a dead line takes nothing
    if (configuration().generator.modelCode != seifert)
        return;
    send(u"CA"_s);
    send(u"VN"_s);
    modTools::Delay(actualValuesWait, true);
    modCOM::GeneratorComm().fetch();
    learnActualValues();
    if (state().lines.value(0).isEmpty())
        return;
    *milliampere = thousandth(state().lines.value(0)).value_or(0);
    *kilovolt = thousandth(state().lines.value(1)).value_or(0);
}

void ReadByTicks()
{
    if (configuration().generator.modelCode != seifert || (tickReading() && tickReading()->underWay))
        return;
    if (!tickReading()) {
        tickReading() = std::make_unique<TickReading>();
        QObject::connect(&tickReading()->next, &modTools::Timer::tick, &tickReading()->next, goOnReading);
    }
    tickReading()->commands = QStringList{u"CA"_s, u"VN"_s};
    tickReading()->underWay = true;
    beginExchange();
    goOnReading();
}

QString StatusSummary()
{
    awaitTickReading();
    beginExchange();
    if (configuration().generator.modelCode != seifert)
        return u"Not supported..."_s;
    for (const QString& command : {u"CA"_s, u"VN"_s, u"SR:14"_s, u"SR:15"_s})
        send(command);
    modTools::Delay(summaryWait, true);
    modCOM::GeneratorComm().fetch();
    learnActualValues();
    const QStringList& lines = state().lines;
    return u"Act. mA:"_s + lines.value(0) + u"\r\nAct. kV:"_s + lines.value(1) + u"\r\nMin. flow rate:"_s + lines.value(2) +
           u"\r\nAct. flow rate:"_s + lines.value(3);
}

void mnuExtrasGeneratorGetStatus()
{
    FrontPanel& panel = frontPanel();
    const QString before = panel.panel(1);
    const QString reading = u"reading..."_s;
    panel.setPanel(1, reading);
    const QString summary = StatusSummary();
    if (flags().closing)
        return;
    if (panel.panel(1) == reading)
        panel.setPanel(1, before);
    if (panel.textDisplayOpen()) {
        // A wait shows its readings there.
        showMessage(u"X-Ray Generator info"_s, summary);
        return;
    }
    panel.openTextDisplay(u"X-Ray Generator"_s, u"OK"_s, true);
    panel.setTextDisplay(summary);
    QObject::connect(
        &panel, &FrontPanel::textDisplayButton, &panel, [] { frontPanel().closeTextDisplay(); }, Qt::SingleShotConnection);
}

void mnuExtrasGeneratorSwitchShutter()
{
    const bool open = !flags().shutterOpen;
    if (!SwitchShutter(open) && !flags().closing)
        showMessage(u"X-Ray Shutter"_s,
                    (open ? u"\"Open\""_s : u"\"Close\""_s) + u" could not be sent: the line of the goniometer controller is down."_s +
                        u"\r\nWhether the shutter is open is not known."_s,
                    Prompts::Icon::Critical);
}

bool SwitchShutter(bool open)
{
    const bool sent = modSMC::SMCSend(open ? u"IO1;"_s : u"IO0;"_s);
    learn([open, sent](Instrument& now) { sent&& flags().smcOnline ? now.shutterOpen.ask(open) : now.shutterOpen.forget(); });
    if (!sent)
        return false;
    frontPanel().setEntryCaption(Menu::Entry::mnuExtrasGeneratorSwitchShutter, open ? u"Close &Shutter"_s : u"Open &Shutter"_s);
    flags().shutterOpen = open;
    frontPanel().setPicXRayOn(open);
    return true;
}

void SendPower(qint16 milliampere, qint16 kilovolt, qint16* actualMilliampere, qint16* actualKilovolt)
{
    awaitTickReading();
    send(u"SC:"_s + NumberText::General(qint32{milliampere}));
    modTools::Delay(settingWait, false);
    send(u"SV:"_s + NumberText::General(qint32{kilovolt}));
    learnSentPower(milliampere, kilovolt);
    modTools::Delay(settingWait, false);
    GeneratorGetActualValues(actualMilliampere, actualKilovolt);
    const Configuration::Generator& power = configuration().generator;
    // Power that was set by hand after a run stays.
    if (idleWatch())
        idleWatch()->sawRun = false;
    flags().idlePower = milliampere <= power.idleCurrent && kilovolt <= power.idleVoltage;
}

void StartIdleWatch()
{
    if (!configuration().generator.reducePowerOnIdle || !flags().generatorRemote || idleWatch())
        return;
    idleWatch() = std::make_unique<IdleWatch>();
    modTools::Timer& timer = idleWatch()->timer;
    timer.setInterval(watchInterval);
    QObject::connect(&timer, &modTools::Timer::tick, &timer, [] { watchIdle(); });
    timer.setEnabled(true);
}
} // namespace modGenerator
