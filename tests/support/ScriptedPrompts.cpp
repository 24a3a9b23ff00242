// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/ScriptedPrompts.h"

#include <QTest>

namespace {
constexpr int mostUnexpected = 200; // a loop that asks for ever ends the program instead of hanging it

bool differs(const QString& expected, const QString& shown)
{
    return !expected.isNull() && expected != shown;
}
} // namespace

ScriptedPrompts::ScriptedPrompts() : m_previous(&prompts())
{
    setPrompts(this);
}

ScriptedPrompts::~ScriptedPrompts()
{
    allShown();
    setPrompts(m_previous);
}

QString ScriptedPrompts::kindName(Kind kind)
{
    switch (kind) {
    case Kind::Message:
        return QStringLiteral("message box");
    case Kind::Input:
        return QStringLiteral("input box");
    case Kind::Open:
        return QStringLiteral("open dialog");
    case Kind::Save:
        return QStringLiteral("save dialog");
    }
    return {};
}

void ScriptedPrompts::fail(const QString& what, Here here)
{
    QTest::qFail(qPrintable(what), here.file, here.line);
}

ScriptedPrompts& ScriptedPrompts::add(const Step& step)
{
    m_script.append(step);
    return *this;
}

ScriptedPrompts& ScriptedPrompts::expect(const QString& title, const QString& text, Button answer, Here here)
{
    Step step;
    step.title = title;
    step.text = text;
    step.button = answer;
    step.here = here;
    return add(step);
}

ScriptedPrompts& ScriptedPrompts::expectInput(const QString& title, const QString& prompt, const QString& answer, Here here)
{
    Step step;
    step.kind = Kind::Input;
    step.title = title;
    step.text = prompt;
    step.answer = answer;
    step.here = here;
    return add(step);
}

ScriptedPrompts& ScriptedPrompts::expectOpen(const QString& title, const QString& path, int filterIndex, Here here)
{
    Step step;
    step.kind = Kind::Open;
    step.title = title;
    step.answer = path;
    step.filterIndex = filterIndex;
    step.here = here;
    return add(step);
}

ScriptedPrompts& ScriptedPrompts::expectSave(const QString& title, const QString& path, int filterIndex, Here here)
{
    expectOpen(title, path, filterIndex, here);
    m_script.last().kind = Kind::Save;
    return *this;
}

ScriptedPrompts& ScriptedPrompts::withIcon(Icon icon)
{
    const Here here = m_script.last().here;
    m_script.last().checks.append([this, icon, here](const Message& shown) {
        if (shown.icon != icon)
            fail(QStringLiteral("the box \"%1\" has icon %2, not %3").arg(shown.title).arg(int(shown.icon)).arg(int(icon)), here);
    });
    return *this;
}

ScriptedPrompts& ScriptedPrompts::withButtons(Buttons buttons, int defaultButton)
{
    const Here here = m_script.last().here;
    m_script.last().checks.append([this, buttons, defaultButton, here](const Message& shown) {
        if (shown.buttons != buttons || shown.defaultButton != defaultButton)
            fail(QStringLiteral("the box \"%1\" has button set %2 with default %3")
                     .arg(shown.title)
                     .arg(int(shown.buttons))
                     .arg(shown.defaultButton),
                 here);
    });
    return *this;
}

ScriptedPrompts& ScriptedPrompts::withAnswers(Button goesOn, Button safe, Button unattended)
{
    const Here here = m_script.last().here;
    m_script.last().checks.append([this, goesOn, safe, unattended, here](const Message& shown) {
        if (shown.goesOn != goesOn || shown.safe != safe || shown.unattended != unattended)
            fail(QStringLiteral("the box \"%1\" answers \"%2\" with --yes, \"%3\" without a terminal, \"%4\" when nobody comes")
                     .arg(shown.title, caption(shown.goesOn), caption(shown.safe), caption(shown.unattended)),
                 here);
    });
    return *this;
}

ScriptedPrompts& ScriptedPrompts::withBeep(bool beep)
{
    const Here here = m_script.last().here;
    m_script.last().checks.append([this, beep, here](const Message& shown) {
        if (shown.beep != beep)
            fail(QStringLiteral("the box \"%1\" comes %2 a beep")
                     .arg(shown.title, shown.beep ? QStringLiteral("with") : QStringLiteral("without")),
                 here);
    });
    return *this;
}

ScriptedPrompts& ScriptedPrompts::withDefaultText(const QString& text)
{
    const Here here = m_script.last().here;
    m_script.last().inputCheck = [this, text, here](const Input& shown) {
        if (shown.defaultText != text)
            fail(QStringLiteral("the input box \"%1\" proposes \"%2\", not \"%3\"").arg(shown.title, shown.defaultText, text), here);
    };
    return *this;
}

ScriptedPrompts& ScriptedPrompts::then(std::function<void()> whileOpen)
{
    m_script.last().whileOpen = std::move(whileOpen);
    return *this;
}

bool ScriptedPrompts::allShown(Here here)
{
    if (m_script.isEmpty())
        return m_unexpected == 0;
    const Step& next = m_script.first();
    fail(QStringLiteral("%1 box(es) did not appear; the first is the %2 \"%3\" with \"%4\", expected at line %5")
             .arg(m_script.size())
             .arg(kindName(next.kind), next.title, next.text)
             .arg(next.here.line),
         here);
    m_script.clear();
    return false;
}

bool ScriptedPrompts::take(Kind kind, const QString& title, const QString& text, Step& step)
{
    const QString shown = QStringLiteral("%1 \"%2\" with \"%3\"").arg(kindName(kind), title, text);
    if (m_script.isEmpty() || m_script.first().kind != kind || differs(m_script.first().title, title) ||
        differs(m_script.first().text, text)) {
        ++m_unexpected;
        if (m_script.isEmpty())
            fail(QStringLiteral("unexpected ") + shown, Here::current());
        else
            fail(QStringLiteral("unexpected %1; expected was the %2 \"%3\" with \"%4\"")
                     .arg(shown, kindName(m_script.first().kind), m_script.first().title, m_script.first().text),
                 m_script.first().here);
        if (m_unexpected > mostUnexpected)
            qFatal("more than %d unexpected boxes", mostUnexpected);
        return false;
    }
    step = m_script.takeFirst();
    return true;
}

Prompts::Button ScriptedPrompts::message(const Message& message)
{
    messages.append(message);
    Step step;
    if (!take(Kind::Message, message.title, message.text, step))
        return message.safe;
    for (const auto& check : std::as_const(step.checks))
        check(message);
    if (!buttonsOf(message.buttons).contains(step.button)) {
        fail(QStringLiteral("the box \"%1\" has no button \"%2\"").arg(message.title, caption(step.button)), step.here);
        return message.safe;
    }
    if (step.whileOpen)
        step.whileOpen();
    return step.button;
}

QString ScriptedPrompts::input(const Input& input)
{
    inputs.append(input);
    Step step;
    if (!take(Kind::Input, input.title, input.prompt, step))
        return {};
    if (step.inputCheck)
        step.inputCheck(input);
    if (step.whileOpen)
        step.whileOpen();
    return step.answer;
}

Prompts::ChosenFile ScriptedPrompts::openFile(const FileDialog& dialog)
{
    fileDialogs.append(dialog);
    Step step;
    if (!take(Kind::Open, dialog.title, {}, step))
        return {};
    if (step.whileOpen)
        step.whileOpen();
    return {step.answer, step.answer.isEmpty() ? 0 : step.filterIndex};
}

Prompts::ChosenFile ScriptedPrompts::saveFile(const FileDialog& dialog)
{
    fileDialogs.append(dialog);
    Step step;
    if (!take(Kind::Save, dialog.title, {}, step))
        return {};
    if (step.whileOpen)
        step.whileOpen();
    return {step.answer, step.answer.isEmpty() ? 0 : step.filterIndex};
}
