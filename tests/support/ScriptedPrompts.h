// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"

#include <QList>
#include <QString>

#include <functional>

/// Prompts that answer from a script, in its order. It becomes the prompts in use when it is made, and gives them back when it ends. A box
/// that was not expected, a box whose title or text differs, and a box of the script that never came fail the running test.
///
///     ScriptedPrompts boxes;
///     boxes.expect("Start scan", "Do you really want to continue?", Prompts::Button::Yes);
///     boxes.expectInput("Go to", "New position:", "12.5").then([&] { ... while it is open ... });
///     ...
///     QVERIFY(boxes.allShown());
///
/// A null QString() as title or text is not compared. An unexpected box takes its safe answer; an input box or file dialog is cancelled.
class ScriptedPrompts : public Prompts
{
public:
    /// Where in the test a box is expected.
    struct Here
    {
        const char* file = "";
        int line = 0;

        static Here current(const char* file = __builtin_FILE(), int line = __builtin_LINE()) { return {file, line}; }
    };

    bool somebodyThere = true;
    bool attended() const override { return somebodyThere; }

    ScriptedPrompts();
    ~ScriptedPrompts() override;
    ScriptedPrompts(const ScriptedPrompts&) = delete;
    ScriptedPrompts& operator=(const ScriptedPrompts&) = delete;

    /// A message box with this title and text. The answer must be one of its buttons.
    ScriptedPrompts& expect(const QString& title, const QString& text, Button answer = Button::Ok, Here here = Here::current());
    /// An input box and what is typed; an empty answer cancels.
    ScriptedPrompts& expectInput(const QString& title, const QString& prompt, const QString& answer, Here here = Here::current());
    /// File dialogs and what is chosen; an empty path cancels.
    ScriptedPrompts& expectOpen(const QString& title, const QString& path, int filterIndex = 1, Here here = Here::current());
    ScriptedPrompts& expectSave(const QString& title, const QString& path, int filterIndex = 1, Here here = Here::current());

    // What else the box expected last must look like, and what happens while it is open.
    ScriptedPrompts& withIcon(Icon icon);
    ScriptedPrompts& withButtons(Buttons buttons, int defaultButton = 1);
    /// The answers that the box has with --yes, without a terminal, and at the end of its countdown in an unattended run.
    ScriptedPrompts& withAnswers(Button goesOn, Button safe, Button unattended);
    ScriptedPrompts& withBeep(bool beep = true);
    ScriptedPrompts& withDefaultText(const QString& text); ///< input boxes: the proposed text
    ScriptedPrompts& then(std::function<void()> whileOpen);

    /// True when every box of the script has appeared and no other; otherwise the test fails with a description.
    bool allShown(Here here = Here::current());
    /// Forgets what is left of the script.
    void dropRest() { m_script.clear(); }

    // Everything that appeared, in order.
    QList<Message> messages;
    QList<Input> inputs;
    QList<FileDialog> fileDialogs;

    Button message(const Message& message) override;
    QString input(const Input& input) override;
    ChosenFile openFile(const FileDialog& dialog) override;
    ChosenFile saveFile(const FileDialog& dialog) override;

private:
    enum class Kind { Message, Input, Open, Save };
    struct Step
    {
        Kind kind = Kind::Message;
        QString title;
        QString text;
        Button button = Button::Ok;
        QString answer;
        int filterIndex = 1;
        Here here;
        std::function<void(const Input&)> inputCheck;
        std::function<void()> whileOpen;
        QList<std::function<void(const Message&)>> checks;
    };

    static QString kindName(Kind kind);
    void fail(const QString& what, Here here);
    ScriptedPrompts& add(const Step& step);
    bool take(Kind kind, const QString& title, const QString& text, Step& step);

    QList<Step> m_script;
    Prompts* m_previous = nullptr;
    int m_unexpected = 0;
};
