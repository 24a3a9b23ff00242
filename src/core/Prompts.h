// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

/// The door through which every procedure asks the operator something. The window answers with dialogs, the console
/// program on the terminal, the tests from a script.
class Prompts
{
public:
    enum class Icon { None, Information, Question, Exclamation, Critical };
    enum class Button { Ok, Cancel, Yes, No, Abort, Retry, Ignore };
    enum class Buttons { Ok, OkCancel, YesNo, YesNoCancel, AbortRetryIgnore, RetryCancel };

    struct Message
    {
        QString title;
        QString text;    ///< lines separated by CR LF or LF
        QString details; ///< what the operator can unfold beneath the text, lines separated by LF; empty: nothing
        Icon icon = Icon::None;
        Buttons buttons = Buttons::Ok;
        int defaultButton = 1;      ///< 1 = first button of the set
        bool beep = false;          ///< sound the bell first
        Button goesOn = Button::Ok; ///< the answer that goes on with what was asked for (console: --yes)
        Button safe = Button::Ok;   ///< the answer that changes nothing (console without a terminal)
        /// The answer that the box gives itself after its countdown of 60 s while nobody watches (unattended runs).
        Button unattended = Button::Ok;
    };

    struct Input
    {
        QString title;
        QString prompt;
        QString defaultText;
    };

    struct FileDialog
    {
        QString title;                ///< empty: the platform's own title
        QString filter;               ///< "Text|pattern|Text|pattern", as the common dialog takes it
        QString directory;            ///< start directory
        QString fileName;             ///< proposed name
        bool overwritePrompt = false; ///< ask before an existing file is chosen (save dialogs)
    };

    struct ChosenFile
    {
        QString path;        ///< empty: cancelled
        int filterIndex = 0; ///< 1 = first filter
    };

    virtual ~Prompts() = default;

    /// Somebody is there who can answer.
    virtual bool attended() const { return true; }

    /// Shows a message box and returns the button pressed. Closing the box counts as Cancel, or No, or Abort's safest peer.
    virtual Button message(const Message& message) = 0;
    /// Shows an input box; an empty text means Cancel or an empty answer.
    virtual QString input(const Input& input) = 0;
    virtual ChosenFile openFile(const FileDialog& dialog) = 0;
    virtual ChosenFile saveFile(const FileDialog& dialog) = 0;

    /// Seconds until a box of an unattended run answers itself.
    static constexpr int unattendedSeconds = 60;
    /// What the box answers by itself after that time: nothing, unless a temperature profile runs and the box names such an answer.
    static std::optional<Button> unattendedAnswer(const Message& message);

    /// The buttons of a set, in their order on the screen.
    static QList<Button> buttonsOf(Buttons set);
    /// "OK", "Cancel", "&Yes", ...: the caption of a button.
    static QString caption(Button button);
};

/// The prompts in use. Without any set, every box is logged to standard error and takes its safe answer.
Prompts& prompts();
/// Sets the prompts in use; null restores the built-in ones. The caller keeps the object alive.
void setPrompts(Prompts* prompts);

/// Shows a box with a single OK button.
void showMessage(const QString& title, const QString& text, Prompts::Icon icon = Prompts::Icon::None, bool beep = false);
