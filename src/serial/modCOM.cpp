// SPDX-License-Identifier: GPL-3.0-or-later

#include "serial/modCOM.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Prompts.h"

#include <QCoreApplication>

#include <algorithm>
#include <limits>
#include <span>
#include <utility>

namespace {
const QString lineBreak = QStringLiteral("\r\n");

struct CommText
{
    int code;
    const char* text;
};

constexpr CommText eventTexts[] = {{3, "CTS change"}, {4, "DSR  change"}, {5, "CD  change"}, {6, "Ring detected"}, {7, "EOF detected"}};
constexpr CommText errorTexts[] = {{1001, "Break received"},
                                   {1002, "CTS timeout"},
                                   {1003, "DSR timeout"},
                                   {1004, "Frame error"},
                                   {1005, "Overrun error"},
                                   {1006, "CD timeout"},
                                   {1007, "Receive buffer overflow"},
                                   {1008, "Parity error"},
                                   {1009, "Transmit buffer full"}};
constexpr char unknownText[] = "Unknown error or event";

// One line with what its messages say about it.
struct Line
{
    Line(const char* title, const char* what, Instrument::Line Instrument::*where)
        : boxTitle(QLatin1String(title)), device(QLatin1String(what)), state(where)
    {
    }

    SerialChannel channel;
    QString boxTitle;
    QString device;
    Instrument::Line Instrument::*state;
    bool boxOpen = false;
};

struct Lines
{
    Lines();

    Line mc{"SMC", "goniometer controller", &Instrument::goniometerLine};
    Line generator{"Generator", "X-ray generator", &Instrument::generatorLine};
    Line tc{"TC", "temperature controllers", &Instrument::temperatureLine};
    modTools::Timer rxTimer{"RxTimer"};
    modTools::Timer mcRxTimeout{"MCRxTimeout"};
    modTools::Timer tcTimeout{"tcTimeout"};
    modCOM::SmcReception smc;
    modCOM::State state;
    bool timeoutBoxOpen = false;
    bool errorBoxOpen = false;
};

Lines& lines()
{
    static Lines theLines;
    return theLines;
}

// --- reception

void smcReceive()
{
    Lines& l = lines();
    l.smc.waiting = true;
    l.smc.startedOver = false;
    l.smc.receiveText += l.mc.channel.input();
    l.mcRxTimeout.restart();
    l.rxTimer.setEnabled(true);
}

void rxTimerTick()
{
    Lines& l = lines();
    l.mc.channel.fetch();
    if (l.smc.receiveText.size() != l.smc.lastReplyLength) {
        l.smc.lastReplyLength = l.smc.receiveText.size();
        return;
    }
    l.smc.waiting = false;
    l.rxTimer.setEnabled(false);
}

void mcRxTimeoutTick()
{
    Lines& l = lines();
    if (l.timeoutBoxOpen || (l.smc.messageSwitch == 0 && !l.smc.waiting))
        return;
    const qsizetype before = l.smc.receiveText.size();
    l.mc.channel.fetch();
    if (l.smc.receiveText.size() != before)
        return;
    const bool overtaken = l.rxTimer.isEnabled() && l.rxTimer.interval() > 0 && l.mcRxTimeout.lateness() >= l.rxTimer.interval();
    if ((overtaken || modCOM::cameTooLate(l.mcRxTimeout)) && !std::exchange(l.smc.startedOver, true)) {
        l.mcRxTimeout.restart();
        return;
    }
    if (l.smc.messageSwitch == 0 && !flags().closing) {
        l.timeoutBoxOpen = true;
        showMessage(QStringLiteral("SMC"), QStringLiteral("SMC does not respond..."), Prompts::Icon::None, true);
        l.timeoutBoxOpen = false;
    }
    // It may have been switched off and on, and its output with it.
    if (l.smc.waiting)
        learn([](Instrument& now) { now.shutterOpen.forget(); });
    l.smc.waiting = false;
}

// --- line events and errors of MCComm

QString textOf(int code, std::span<const CommText> table)
{
    for (const CommText& row : table) {
        if (row.code == code)
            return QLatin1String(row.text);
    }
    return {};
}

void reportLineError(const QString& errorText)
{
    Lines& l = lines();
    if (l.errorBoxOpen || flags().closing)
        return;
    Prompts::Message box;
    // The question stands in the title and the error in the text: intended.
    box.title = QStringLiteral("Ignore this error?");
    box.text = errorText;
    box.icon = Prompts::Icon::Exclamation;
    box.buttons = Prompts::Buttons::YesNo;
    box.goesOn = box.safe = box.unattended = Prompts::Button::Yes;
    l.errorBoxOpen = true;
    const Prompts::Button answer = prompts().message(box);
    l.errorBoxOpen = false;
    if (answer != Prompts::Button::No)
        return;
    l.mc.channel.close();
    modTools::EndProgram();
}

void mcComm(int code)
{
    if (code == SerialChannel::ReceiveEvent) {
        smcReceive();
        return;
    }
    if (code == SerialChannel::SendEvent || !textOf(code, eventTexts).isEmpty() || !lines().state.diagnostic)
        return;
    const QString errorText = textOf(code, errorTexts);
    reportLineError(errorText.isEmpty() ? QString(QLatin1String(unknownText)) : errorText);
}

// --- a device that vanishes

// What was under way is thrown away: half a reply must not be taken for a value.
void abandonSmcReply()
{
    Lines& l = lines();
    l.rxTimer.setEnabled(false);
    l.smc.receiveText.clear();
    l.smc.waiting = false;
}

void note(const Line& line, Instrument::Line state)
{
    learn([&line, state](Instrument& now) { now.lineIs(line.state, state); });
}

void showVanished(Line& line)
{
    if (line.boxOpen || flags().closing)
        return;
    line.boxOpen = true;
    showMessage(line.boxTitle,
                QStringLiteral("The connection to the %1 (%2) is lost.").arg(line.device, line.channel.name()) + lineBreak + lineBreak +
                    QStringLiteral("Please check adapter and cable. The line is opened again as soon as it is there."),
                Prompts::Icon::Exclamation, true);
    line.boxOpen = false;
}

void connectLine(Line& line)
{
    // From the event loop, so that whoever waits on the line goes on before the box opens.
    QObject::connect(
        &line.channel, &SerialChannel::vanished, &line.channel, [&line] { showVanished(line); }, Qt::QueuedConnection);
    QObject::connect(&line.channel, &SerialChannel::vanished, &line.channel, [&line] { note(line, Instrument::Line::Down); });
    QObject::connect(&line.channel, &SerialChannel::returned, &line.channel, [&line] {
        note(line, Instrument::Line::Up);
        frontPanel().setPanel(1, QStringLiteral("The connection to the %1 (%2) is there again").arg(line.device, line.channel.name()));
    });
}

Lines::Lines()
{
    for (Line* line : {&mc, &generator, &tc})
        connectLine(*line);
    QObject::connect(&mc.channel, &SerialChannel::onComm, &mc.channel, mcComm);
    QObject::connect(&mc.channel, &SerialChannel::vanished, &mc.channel, abandonSmcReply);
    QObject::connect(&rxTimer, &modTools::Timer::tick, &rxTimer, rxTimerTick);
    QObject::connect(&mcRxTimeout, &modTools::Timer::tick, &mcRxTimeout, mcRxTimeoutTick);
    // The devices must be gone before the application object is.
    qAddPostRoutine([] {
        modCOM::close();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    });
}

// --- opening

constexpr float defaultMCRxTimeout = 2; // s

int milliseconds(float seconds)
{
    return NumberText::RoundToLong(static_cast<double>(seconds) * 1000);
}

void reportOpening(const QString& title, const QString& text)
{
    modTools::WriteLog(false, title + QStringLiteral(" - ") + QString(text).replace(lineBreak, QStringLiteral(" ")).trimmed());
    showMessage(title, text, Prompts::Icon::Exclamation);
}

// Opens the line; a failure is shown under the title that belongs to it.
bool openLine(Line& line, const Configuration::Line& section, const QString& missingTitle, bool withNumber, const QString& refusedTitle)
{
    SerialChannel& channel = line.channel;
    channel.configure(section);
    const SerialChannel::OpenResult result = channel.open();
    const bool open = result == SerialChannel::OpenResult::Open;
    learn([&](Instrument& now) { now.lineIs(line.state, open ? Instrument::Line::Up : Instrument::Line::Down, true); });
    if (result == SerialChannel::OpenResult::PortMissing) {
        const QString number = QStringLiteral("(Error %1)").arg(channel.lastError().number);
        reportOpening(missingTitle, channel.name() + QStringLiteral(" not available!") + lineBreak + (withNumber ? number : QString()));
    } else if (result == SerialChannel::OpenResult::SettingsRefused) {
        reportOpening(refusedTitle, QStringLiteral("Unable to open ") + channel.name() + lineBreak + QStringLiteral("with settings '") +
                                        channel.settings + QStringLiteral("'!") + lineBreak);
    }
    return open;
}

qint16 clearRxBuffer(SerialChannel& line, const QString& procedure)
{
    modTools::WriteLog(false, procedure + QStringLiteral("()"));
    const QString discarded = line.input();
    modTools::WriteLog(false, procedure + QStringLiteral("(Pending Chars:") + discarded + QStringLiteral(")"));
    return static_cast<qint16>(std::min<qsizetype>(discarded.size(), std::numeric_limits<qint16>::max()));
}
} // namespace

namespace modCOM {
SerialChannel& MCComm()
{
    return lines().mc.channel;
}
SerialChannel& GeneratorComm()
{
    return lines().generator.channel;
}
SerialChannel& TCComm()
{
    return lines().tc.channel;
}
modTools::Timer& RxTimer()
{
    return lines().rxTimer;
}
modTools::Timer& MCRxTimeout()
{
    return lines().mcRxTimeout;
}
modTools::Timer& tcTimeout()
{
    return lines().tcTimeout;
}
bool cameTooLate(const modTools::Timer& timeout)
{
    return timeout.lateness() > timeout.interval() / 2;
}
SmcReception& smcReception()
{
    return lines().smc;
}
State& state()
{
    return lines().state;
}

bool OpenMCComm()
{
    const Configuration::Line& section = configuration().smc;
    RxTimer().setInterval(milliseconds(section.rxDelay));
    // Without a time-out nothing would end the wait for a silent controller.
    MCRxTimeout().setInterval(milliseconds(section.rxTimeout > 0 ? section.rxTimeout : defaultMCRxTimeout));
    if (openLine(lines().mc, section, QStringLiteral("SMC: Communication Error"), false,
                 QStringLiteral("SMC: Communication Port Settings")))
        return true;
    flags().smcOnline = false;
    frontPanel().refreshEntries();
    return false;
}

bool OpenGeneratorComm()
{
    if (openLine(lines().generator, configuration().generator.line, QStringLiteral("Generator: Communication Error"), true,
                 QStringLiteral("Generator: Serial Port Settings")))
        return true;
    flags().generatorRemote = false;
    flags().shutterRemote = false;
    frontPanel().refreshEntries();
    return false;
}

bool OpenTCComm()
{
    const Configuration::Line& section = configuration().ltc.line;
    tcTimeout().setInterval(milliseconds(section.rxTimeout));
    if (openLine(lines().tc, section, QStringLiteral("SMC: Communication Error"), false, QStringLiteral("TC: Communication Port Settings")))
        return true;
    flags().htcEnabled = false;
    flags().ltcEnabled = false;
    flags().laserEnabled = false;
    frontPanel().refreshEntries();
    return false;
}

qint16 SerialOut(SerialChannel& line, const QString& text)
{
    QString shown = text;
    shown.replace(QLatin1Char('\r'), QStringLiteral("<cr>")).replace(QLatin1Char('\n'), QStringLiteral("<lf>"));
    modTools::WriteLog(false, line.name() + QStringLiteral(": SerialOut(") + shown + QStringLiteral(")"));
    if (state().lineSuppressed || flags().closing)
        return 0;
    line.output(text);
    const float txDelay = configuration().generator.line.txDelay;
    if (txDelay > 0)
        modTools::Delay(txDelay, true);
    return 0;
}

qint16 ClearGeneratorCommRxBuffer()
{
    return clearRxBuffer(GeneratorComm(), QStringLiteral("ClearGeneratorCommRxBuffer"));
}

qint16 ClearTCCommRxBuffer()
{
    return clearRxBuffer(TCComm(), QStringLiteral("ClearTCCommRxBuffer"));
}

void close()
{
    Lines& l = lines();
    for (Line* line : {&l.mc, &l.generator, &l.tc}) {
        line->channel.close();
        note(*line, Instrument::Line::NotOpen);
    }
    for (modTools::Timer* timer : {&l.rxTimer, &l.mcRxTimeout, &l.tcTimeout})
        timer->setEnabled(false);
}

void reset()
{
    close();
    Lines& l = lines();
    Configuration::Line unread;
    unread.settings = QStringLiteral("9600,N,8,1");
    for (Line* line : {&l.mc, &l.generator, &l.tc}) {
        line->channel.configure(unread);
        line->channel.setDeviceSource({});
    }
    for (modTools::Timer* timer : {&l.rxTimer, &l.mcRxTimeout, &l.tcTimeout})
        timer->setInterval(0);
    l.smc = SmcReception();
    l.state = State();
}
} // namespace modCOM
