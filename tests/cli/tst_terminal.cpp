// SPDX-License-Identifier: GPL-3.0-or-later
//
// Questions on a terminal, asked through a real pseudo-terminal: who answers, and when nobody does.

#include "app/cli/Terminal.h"
#include "core/Flags.h"
#include "core/Operation.h"
#include "support/Pretend.h"
#include "support/TestClock.h"

#include <QTest>

#ifdef Q_OS_UNIX
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>
#endif

namespace {
#ifdef Q_OS_UNIX
/// A terminal in the place of standard input and standard error.
class PlayedTerminal
{
public:
    PlayedTerminal() : m_master(posix_openpt(O_RDWR | O_NOCTTY)), m_input(dup(STDIN_FILENO)), m_error(dup(STDERR_FILENO))
    {
        grantpt(m_master);
        unlockpt(m_master);
        const int slave = ::open(ptsname(m_master), O_RDWR | O_NOCTTY);
        dup2(slave, STDIN_FILENO);
        dup2(slave, STDERR_FILENO);
        ::close(slave);
    }
    ~PlayedTerminal()
    {
        std::clearerr(stdin);
        dup2(m_input, STDIN_FILENO);
        dup2(m_error, STDERR_FILENO);
        for (int file : {m_master, m_input, m_error})
            ::close(file);
    }
    PlayedTerminal(const PlayedTerminal&) = delete;
    PlayedTerminal& operator=(const PlayedTerminal&) = delete;

    bool type(const QByteArray& text) const { return ::write(m_master, text.constData(), static_cast<size_t>(text.size())) == text.size(); }
    /// All that the program has written so far; the kernel may hand it over in pieces.
    const QByteArray& shown()
    {
        fcntl(m_master, F_SETFL, O_NONBLOCK);
        char bytes[8192];
        for (ssize_t length = 0; (length = ::read(m_master, bytes, sizeof bytes)) > 0;)
            m_shown.append(bytes, static_cast<qsizetype>(length));
        return m_shown;
    }

private:
    int m_master;
    int m_input;
    int m_error;
    QByteArray m_shown;
};
#endif

Prompts::Message mismatch()
{
    Prompts::Message message;
    message.title = QStringLiteral("Read counts");
    message.text = QStringLiteral("Received 4 of 5 points.");
    message.buttons = Prompts::Buttons::YesNo;
    message.goesOn = message.unattended = Prompts::Button::Yes;
    message.safe = Prompts::Button::No;
    message.defaultButton = 2;
    return message;
}
} // namespace

class TerminalTest : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        flags() = Flags();
        m_clock.msPerRound = 500;
    }
    void cleanup() { flags() = Flags(); }

#ifdef Q_OS_UNIX
    void whatIsTypedAnswers()
    {
        const PlayedTerminal terminal;
        QVERIFY(terminal.type("y\n"));
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::Yes);
        QVERIFY(terminal.type("\n")); // the default button
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::No);
    }

    void aScanByHandWaitsForItsOperator()
    {
        const PlayedTerminal terminal;
        m_clock.at(100000, [&terminal] { QVERIFY(terminal.type("yes\n")); });
        const quint64 start = m_clock.elapsed();
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::Yes);
        QVERIFY(m_clock.elapsed() - start >= 100000);
    }

    void anUnattendedQuestionAnswersItselfAfterAMinute()
    {
        pretendRunning(Operations::profile);
        PlayedTerminal terminal;
        const quint64 start = m_clock.elapsed();
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::Yes);
        QCOMPARE(m_clock.elapsed() - start, quint64{60000});
        QTRY_VERIFY(terminal.shown().contains("-> Yes"));
    }

    void anOperatorWhoIsThereIsFaster()
    {
        pretendRunning(Operations::profile);
        const PlayedTerminal terminal;
        m_clock.at(20000, [&terminal] { QVERIFY(terminal.type("n\n")); });
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::No);
    }
#endif

    void withoutATerminalTheSafeAnswerStands()
    {
        if (cli::Terminal::canAsk())
            QSKIP("run from a terminal");
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::No);
        pretendRunning(Operations::profile);
        const quint64 start = m_clock.elapsed();
        QCOMPARE(cli::TerminalPrompts().message(mismatch()), Prompts::Button::Yes);
        QCOMPARE(m_clock.elapsed(), start);
    }

    void breakingOffAnswersItsQuestionsWithYes()
    {
        pretendRunning(Operations::profile);
        cli::TerminalPrompts prompts;
        prompts.aborting = true;
        Prompts::Message abort = mismatch();
        abort.unattended = Prompts::Button::No;
        QCOMPARE(prompts.message(abort), Prompts::Button::Yes);
    }

private:
    TestClock m_clock;
};

QTEST_GUILESS_MAIN(TerminalTest)
#include "tst_terminal.moc"
