// SPDX-License-Identifier: GPL-3.0-or-later

#include "app/cli/Terminal.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"

#include <QSocketNotifier>
#include <QStringList>

#include <algorithm>
#include <cstdio>

#ifdef Q_OS_WIN
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {
bool barShown = false;
cli::Terminal::Sink sinkInUse;

bool isTerminal(std::FILE* stream)
{
#ifdef Q_OS_WIN
    return _isatty(_fileno(stream)) != 0;
#else
    return isatty(fileno(stream)) != 0;
#endif
}

/// Lets events run until a line can be read. False when the program ends or the time is up first.
bool waitForLine(int seconds)
{
#ifdef Q_OS_WIN
    return !flags().closing && seconds == 0; // a console read cannot be waited for together with events
#else
    bool typed = false;
    bool late = false;
    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&input, &QSocketNotifier::activated, &input, [&] {
        typed = true;
        input.setEnabled(false);
    });
    modTools::Timer limit("AnswerLimit");
    QObject::connect(&limit, &modTools::Timer::tick, &limit, [&late] { late = true; });
    limit.setInterval(seconds * 1000);
    limit.setEnabled(true);
    modTools::WaitUntil([&] { return typed || late; });
    return typed;
#endif
}

QString plainLines(const QString& text)
{
    QString plain = text;
    return plain.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}

/// What the window of a wait shows, in one line: "Current Temperature X: 77.25 K, Average: 77.23 K, ...".
QString waitLine(const QString& text)
{
    QStringList parts;
    for (const QString& line : text.split(QStringLiteral("\r\n"))) {
        const QString name = line.section(u':', 0, 0).trimmed();
        for (const char* wanted : {"Current Temperature X", "Average", "Standard Dev.", "Elapsed time"})
            if (name == QLatin1String(wanted))
                parts += name + QStringLiteral(": ") + line.section(u':', 1).trimmed();
    }
    return parts.join(QStringLiteral(", "));
}

QString plainCaption(Prompts::Button button)
{
    return Prompts::caption(button).remove(u'&');
}

/// The button whose caption begins with what was typed; nothing when none or several do.
std::optional<Prompts::Button> typedButton(const QString& typed, const QList<Prompts::Button>& buttons)
{
    std::optional<Prompts::Button> found;
    for (Prompts::Button button : buttons) {
        if (!plainCaption(button).startsWith(typed.trimmed(), Qt::CaseInsensitive))
            continue;
        if (found)
            return std::nullopt;
        found = button;
    }
    return found;
}

/// `own`: the answer of a box that waits for an operator no longer than an unattended run may.
Prompts::Button ask(const Prompts::Message& message, std::optional<Prompts::Button> own)
{
    const QList<Prompts::Button> buttons = Prompts::buttonsOf(message.buttons);
    const Prompts::Button byDefault = buttons.value(message.defaultButton - 1, buttons.first());
    QStringList captions;
    for (Prompts::Button button : buttons)
        captions.append(plainCaption(button));
    while (true) {
        std::fprintf(stderr, "%s? [%s] ", qPrintable(captions.join(u'/')), qPrintable(plainCaption(byDefault)));
        std::fflush(stderr);
        const std::optional<QString> typed = cli::Terminal::readLine(own ? Prompts::unattendedSeconds : 0);
        if (!typed) {
            const Prompts::Button answer = own.value_or(message.safe);
            cli::Terminal::note(u"\n-> "_qs + plainCaption(answer));
            return answer;
        }
        if (typed->trimmed().isEmpty())
            return byDefault;
        if (const std::optional<Prompts::Button> button = typedButton(*typed, buttons))
            return *button;
    }
}
} // namespace

void cli::Terminal::setSink(const Sink& sink)
{
    sinkInUse = sink;
}

void cli::Terminal::result(const QString& text)
{
    if (sinkInUse.result) {
        sinkInUse.result(text);
        return;
    }
    clearBar();
    std::fprintf(stdout, "%s\n", qPrintable(text));
    std::fflush(stdout);
}

void cli::Terminal::note(const QString& text)
{
    if (sinkInUse.note) {
        sinkInUse.note(text);
        return;
    }
    clearBar();
    std::fprintf(stderr, "%s\n", qPrintable(text));
}

void cli::Terminal::bar(const QString& text)
{
    std::fprintf(stderr, "\r%s\033[K", qPrintable(text));
    std::fflush(stderr);
    barShown = true;
}

void cli::Terminal::clearBar()
{
    if (barShown)
        std::fputs("\r\033[K", stderr);
    barShown = false;
}

bool cli::Terminal::drawsBar()
{
    return !sinkInUse.note && isTerminal(stderr);
}

bool cli::Terminal::canAsk()
{
    return !sinkInUse.note && isTerminal(stdin) && isTerminal(stderr);
}

std::optional<QString> cli::Terminal::readLine(int seconds)
{
    char line[4096];
    if (!waitForLine(seconds) || std::fgets(line, sizeof line, stdin) == nullptr)
        return std::nullopt;
    return QString::fromLocal8Bit(line).remove(u'\n').remove(u'\r');
}

Prompts::Button cli::TerminalPrompts::ownAnswer(const Message& message)
{
    if (const std::optional<Button> own = unattendedAnswer(message); own && !aborting)
        return *own;
    constexpr int mostRetries = 3;
    const QList<Button> buttons = buttonsOf(message.buttons);
    Button answer = yes ? message.goesOn : message.safe;
    if (aborting && buttons.contains(Button::Yes))
        answer = Button::Yes;
    m_retries = answer == Button::Retry ? m_retries + 1 : 0;
    return m_retries > mostRetries ? message.safe == Button::Retry ? buttons.last() : message.safe : answer;
}

Prompts::Button cli::TerminalPrompts::message(const Message& message)
{
    const QString text = u'[' + message.title + u"] "_qs + plainLines(message.text);
    if (message.buttons == Buttons::Ok) {
        Terminal::note(text);
        return Button::Ok;
    }
    if (!yes && !aborting && Terminal::canAsk()) {
        Terminal::note(text);
        return ask(message, unattendedAnswer(message));
    }
    const Button answer = ownAnswer(message);
    Terminal::note(text + u"\n-> "_qs + plainCaption(answer));
    return answer;
}

QString cli::TerminalPrompts::input(const Input& input)
{
    if (answers.contains(input.title))
        return answers.value(input.title);
    Terminal::note(u'[' + input.title + u"] "_qs + plainLines(input.prompt));
    if (!Terminal::canAsk())
        return {};
    std::fprintf(stderr, "[%s] ", qPrintable(input.defaultText));
    std::fflush(stderr);
    const QString typed = Terminal::readLine().value_or(QString());
    return typed.isEmpty() ? input.defaultText : typed;
}

Prompts::ChosenFile cli::TerminalPrompts::openFile(const FileDialog&)
{
    return {};
}

Prompts::ChosenFile cli::TerminalPrompts::saveFile(const FileDialog&)
{
    return {};
}

cli::TerminalProgress::TerminalProgress() : m_timer("TerminalProgress"), m_startedAt(modTools::timeGetTime())
{
    m_timer.setInterval(Terminal::drawsBar() ? 200 : 1000);
    QObject::connect(&m_timer, &modTools::Timer::tick, &m_timer, [this] { show(); });
    m_timer.setEnabled(true);
}

cli::TerminalProgress::~TerminalProgress()
{
    Terminal::clearBar();
}

void cli::TerminalProgress::show() const
{
    if (!Operation::isRunning(Operations::scan))
        return;
    const quint32 seconds = (modTools::timeGetTime() - m_startedAt) / 1000;
    const QString elapsed =
        u"%1:%2:%3"_qs.arg(seconds / 3600).arg(seconds / 60 % 60, 2, 10, QChar(u'0')).arg(seconds % 60, 2, 10, QChar(u'0'));
    const int percent = std::max(frontPanel().progress(), 0);
    const QString points = frontPanel().panel(4).isEmpty() ? QStringLiteral("loading the program") : frontPanel().panel(4);
    const QString text = u"%1 %  %2, %3 elapsed"_qs.arg(percent, 3).arg(points, elapsed);
    if (!Terminal::drawsBar()) {
        Terminal::note(text);
        return;
    }
    constexpr int width = 30;
    const int done = percent * width / 100;
    Terminal::bar(u'[' + QString(done, u'#') + QString(width - done, u'.') + u"] "_qs + text);
}

cli::WaitProgress::WaitProgress() : m_timer("WaitProgress")
{
    m_timer.setInterval(Terminal::drawsBar() ? 200 : 1000);
    QObject::connect(&m_timer, &modTools::Timer::tick, &m_timer, [this] { show(); });
    m_timer.setEnabled(true);
}

cli::WaitProgress::~WaitProgress()
{
    Terminal::clearBar();
}

void cli::WaitProgress::show()
{
    const QString text = frontPanel().textDisplayOpen() ? waitLine(frontPanel().textDisplayText()) : frontPanel().panel(3);
    if (text.isEmpty() || text == m_shown)
        return;
    m_shown = text;
    if (Terminal::drawsBar())
        Terminal::bar(text);
    else
        Terminal::note(text);
}
