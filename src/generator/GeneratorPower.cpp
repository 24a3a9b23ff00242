// SPDX-License-Identifier: GPL-3.0-or-later

#include "generator/GeneratorPower.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "generator/modGenerator.h"

#include <cmath>
#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr quint32 forgottenAfter = 60000; // ms

void changed()
{
    emit GeneratorPower::notifier().changed();
}

void preset(qint32 milliampere, qint32 kilovolt)
{
    GeneratorPower::state().txtmA = NumberText::General(milliampere);
    GeneratorPower::state().txtkV = NumberText::General(kilovolt);
    changed();
}

/// Only the upper limit and an empty box are refused; what is no number reads as 0.
bool refused(const QString& text, qint32 highest, const QString& title, const QString& unit)
{
    const QString trimmed = text.trimmed();
    if (!trimmed.isEmpty() && NumberText::ReadNumber(trimmed) <= highest)
        return false;
    showMessage(title, u"Value out of range!   (0..."_s + NumberText::Print(highest) + u" "_s + unit + u")"_s, Prompts::Icon::Critical);
    return true;
}

bool confirmed()
{
    const GeneratorPower::State& now = GeneratorPower::state();
    Prompts::Message message;
    // The voltage's title for both values: intended.
    message.title = u"Voltage Setting"_s;
    message.text = u"New generator settings:"_s + u"\r\n\r\n"_s + u"    "_s + now.txtmA + u" mA"_s + u"\r\n"_s + u"    "_s + now.txtkV +
                   u" kV"_s + u"\r\n\r\n"_s + u"Do you want to continue?"_s;
    message.icon = Prompts::Icon::Question;
    message.buttons = Prompts::Buttons::OkCancel;
    message.defaultButton = 2;
    message.goesOn = Prompts::Button::Ok;
    message.safe = message.unattended = Prompts::Button::Cancel;
    return prompts().message(message) == Prompts::Button::Ok;
}

QString countdownText(double seconds)
{
    const auto whole = static_cast<quint32>(std::ceil(std::max(seconds, 0.0)));
    return u"Warm-up: "_s + NumberText::ZeroPadded(whole / 3600, 1) + u":"_s + NumberText::ZeroPadded(whole / 60 % 60, 2) + u":"_s +
           NumberText::ZeroPadded(whole % 60, 2) + u" left"_s;
}

/// The tube warms up: counts by ticks, so that nothing else is held up.
struct WarmUp
{
    using TextWindow = FrontPanel::TextWindow;

    explicit WarmUp(qint32 time) : seconds(time), report(GeneratorPower::state().txtMessage)
    {
        // The text window may belong to a wait for a temperature.
        open(frontPanel().textDisplayOpen() ? TextWindow::Second : TextWindow::First);
        GeneratorPower::state().warmingUp = true;
        everySecond.setInterval(1000);
        QObject::connect(&everySecond, &modTools::Timer::tick, &everySecond, [this] { show(); });
        everySecond.setEnabled(true);
        show();
    }
    ~WarmUp()
    {
        if (isMine(window))
            frontPanel().closeTextDisplay(window);
        GeneratorPower::state().warmingUp = false;
        GeneratorPower::state().txtMessage = report;
        changed();
    }
    WarmUp(const WarmUp&) = delete;
    WarmUp& operator=(const WarmUp&) = delete;

    double left() const { return seconds - (modTools::timeGetTime() - start) / 1000.0; }
    bool isMine(TextWindow which) const { return frontPanel().textDisplayTitle(which) == title; }
    void open(TextWindow which)
    {
        window = which;
        frontPanel().openTextDisplay(title, u"OK"_s, false, which);
        frontPanel().setTextDisplay(u"Waiting for "_s + NumberText::General(seconds / 60) + u" minutes..."_s, which);
    }
    void show()
    {
        // A wait that has begun since has taken the window over. One that was closed by hand keeps its title and stays closed.
        if (window == TextWindow::First && !isMine(window))
            open(TextWindow::Second);
        GeneratorPower::state().txtMessage = countdownText(left());
        changed();
    }

    const QString title = u"Generator Warm-Up"_s;
    const quint32 start = modTools::timeGetTime();
    const qint32 seconds;
    const QString report;
    TextWindow window = TextWindow::First;
    Operation operation{Operations::warmUp};
    modTools::Timer everySecond{"WarmUpTimer"};
};

std::unique_ptr<WarmUp>& warmUp()
{
    static std::unique_ptr<WarmUp> theWarmUp;
    return theWarmUp;
}

void beginWarmUp(qint32 seconds)
{
    static modTools::Timer end("WarmUpEnd");
    static const auto connection = QObject::connect(&end, &modTools::Timer::tick, &end, [] {
        end.setEnabled(false);
        warmUp().reset();
    });
    Q_UNUSED(connection)
    const bool alone = Operation::nothingWaits(Operations::powerWindow);
    warmUp() = std::make_unique<WarmUp>(seconds);
    end.setInterval(seconds * 1000);
    end.restart();
    if (!alone)
        return;
    modTools::WaitUntil([] { return !warmUp(); });
    warmUp().reset();
    end.setEnabled(false);
}

void sendAndReport(qint16 milliampere, qint16 kilovolt)
{
    const GeneratorPower::Exchanging exchanging;
    qint16 actualMilliampere = 0;
    qint16 actualKilovolt = 0;
    modGenerator::SendPower(milliampere, kilovolt, &actualMilliampere, &actualKilovolt);
    GeneratorPower::state().txtMessage = modGenerator::powerReport(milliampere, kilovolt, actualMilliampere, actualKilovolt);
    changed();
}
} // namespace

namespace GeneratorPower {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    warmUp().reset();
    state() = State{};
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

void begin()
{
    State fresh;
    fresh.warmingUp = state().warmingUp;
    state() = fresh;
    touched();
}

Exchanging::Exchanging() : m_before(std::exchange(state().exchanging, true))
{
    emit notifier().exchanging();
}

Exchanging::~Exchanging()
{
    state().exchanging = m_before;
    emit notifier().exchanging();
}

void touched()
{
    state().touchedAt = modTools::timeGetTime();
}

bool forgotten()
{
    return Operation::isRunning(Operations::powerWindow) && !state().exchanging &&
           modTools::timeGetTime() - state().touchedAt >= forgottenAfter;
}

void tell(const QString& message)
{
    state().txtMessage = message;
    changed();
}

void Load()
{
    const Exchanging exchanging;
    qint16 milliampere = 0;
    qint16 kilovolt = 0;
    modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
    state().txtMessage = modGenerator::answer() == modGenerator::Answer::None ? modGenerator::noAnswerText() : QString();
    preset(milliampere, kilovolt);
}

void MeasPreset()
{
    preset(configuration().generator.measCurrent, configuration().generator.measVoltage);
}

void IdlePreset()
{
    preset(configuration().generator.idleCurrent, configuration().generator.idleVoltage);
}

QString refusal()
{
    return Operation::open(Resource::TubePower) ? QString() : u"Something is being measured: current and voltage stay as they are."_s;
}

bool Apply()
{
    if (const QString why = refusal(); !why.isEmpty()) {
        tell(why);
        return false;
    }
    const Configuration::Generator& limits = configuration().generator;
    if (refused(state().txtmA, limits.maxCurrent, u"Current Setting"_s, u"mA"_s)) {
        emit notifier().focusCurrent();
        return false;
    }
    if (refused(state().txtkV, limits.maxVoltage, u"Voltage Setting"_s, u"kV"_s)) {
        emit notifier().focusVoltage();
        return false;
    }
    const qint16 milliampere = NumberText::RoundToInteger(NumberText::ReadNumber(state().txtmA));
    const qint16 kilovolt = NumberText::RoundToInteger(NumberText::ReadNumber(state().txtkV));
    if (!confirmed())
        return false;
    sendAndReport(milliampere, kilovolt);
    if (limits.powerSettlingTime > 0 && !flags().closing)
        beginWarmUp(limits.powerSettlingTime);
    return true;
}

QString acceptedText(const QString& text)
{
    QString accepted;
    for (const QChar key : text)
        if (const QChar taken = acceptedKey(key); !taken.isNull())
            accepted += taken;
    return accepted.left(longestText);
}

QChar acceptedKey(QChar key)
{
    if (key >= u'0' && key <= u'9')
        return key;
    return key == u',' || key == u'.' ? QChar(u'.') : QChar();
}
} // namespace GeneratorPower
