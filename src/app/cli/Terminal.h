// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"
#include "core/modTools.h"

#include <QHash>
#include <QString>

#include <functional>
#include <optional>

/// The terminal as the console program uses it: results go to standard output, boxes and progress to standard error.
namespace cli {
namespace Terminal {
/// Takes what is printed in place of the process's own outputs: then nobody can be asked, as without a terminal.
struct Sink
{
    std::function<void(const QString& line)> result;
    std::function<void(const QString& line)> note;
};
/// Empty functions go back to standard output and standard error.
void setSink(const Sink& sink);
/// One line to standard output.
void result(const QString& text);
/// One line to standard error; takes a progress bar away first.
void note(const QString& text);
/// Replaces the progress bar, which stands in the last line of standard error.
void bar(const QString& text);
/// Takes the progress bar away.
void clearBar();
/// True when standard error is a terminal: progress is drawn as a bar.
bool drawsBar();
/// True when somebody can be asked.
bool canAsk();
/// A line typed by the operator; events run meanwhile. Nothing at the end of the input, after `seconds` without a line (0: no limit; on
/// Windows a limit passes at once) and when the program ends.
std::optional<QString> readLine(int seconds = 0);
} // namespace Terminal

/// Boxes on the terminal: "[title] text". The answer is, in this order: Yes to the questions of a breaking-off that Ctrl-C has begun; the
/// box's going-on answer with --yes; what the operator types; without a terminal the safe answer. While a temperature profile runs the
/// box's answer for unattended runs stands for both, and for an operator who types nothing for 60 s. An answer that was not typed is shown
/// behind the text.
class TerminalPrompts : public Prompts
{
public:
    bool yes = false;                ///< --yes
    bool aborting = false;           ///< Ctrl-C was pressed
    QHash<QString, QString> answers; ///< answers of input boxes given on the command line, by the box's title

    bool attended() const override { return !yes && !aborting && Terminal::canAsk(); }
    Button message(const Message& message) override;
    QString input(const Input& input) override;
    /// File dialogs have no place on a terminal: cancelled.
    ChosenFile openFile(const FileDialog& dialog) override;
    ChosenFile saveFile(const FileDialog& dialog) override;

private:
    Button ownAnswer(const Message& message);

    int m_retries = 0; ///< answers "Retry" given in a row without a person
};

/// Shows how a scan gets on: on a terminal a bar with points, elapsed and remaining time, otherwise one plain line a second.
class TerminalProgress
{
public:
    TerminalProgress();
    ~TerminalProgress();

private:
    void show() const;

    modTools::Timer m_timer;
    quint32 m_startedAt;
};

/// Shows a wait for a temperature in the same manner: the reading, its average and scatter, or the seconds left.
class WaitProgress
{
public:
    WaitProgress();
    ~WaitProgress();
    WaitProgress(const WaitProgress&) = delete;
    WaitProgress& operator=(const WaitProgress&) = delete;

private:
    void show();

    modTools::Timer m_timer;
    QString m_shown;
};
} // namespace cli
