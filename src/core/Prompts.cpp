// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Prompts.h"

#include "core/Operation.h"

#include <cstdio>

namespace {
class SafePrompts : public Prompts
{
public:
    Button message(const Message& message) override
    {
        std::fprintf(stderr, "[%s] %s\n", qPrintable(message.title), qPrintable(message.text));
        return message.safe;
    }
    QString input(const Input&) override { return {}; }
    ChosenFile openFile(const FileDialog&) override { return {}; }
    ChosenFile saveFile(const FileDialog&) override { return {}; }
};

SafePrompts safePrompts;
Prompts* inUse = &safePrompts;
} // namespace

std::optional<Prompts::Button> Prompts::unattendedAnswer(const Message& message)
{
    const QList<Button> buttons = buttonsOf(message.buttons);
    if (!Operation::anyUnattended() || !buttons.contains(message.unattended))
        return std::nullopt;
    // OK among others is a box that says nothing about unattended runs.
    return buttons.size() == 1 || message.unattended != Button::Ok ? std::optional(message.unattended) : std::nullopt;
}

QList<Prompts::Button> Prompts::buttonsOf(Buttons set)
{
    switch (set) {
    case Buttons::Ok:
        return {Button::Ok};
    case Buttons::OkCancel:
        return {Button::Ok, Button::Cancel};
    case Buttons::YesNo:
        return {Button::Yes, Button::No};
    case Buttons::YesNoCancel:
        return {Button::Yes, Button::No, Button::Cancel};
    case Buttons::AbortRetryIgnore:
        return {Button::Abort, Button::Retry, Button::Ignore};
    case Buttons::RetryCancel:
        return {Button::Retry, Button::Cancel};
    }
    return {Button::Ok};
}

QString Prompts::caption(Button button)
{
    switch (button) {
    case Button::Ok:
        return QStringLiteral("OK");
    case Button::Cancel:
        return QStringLiteral("Cancel");
    case Button::Yes:
        return QStringLiteral("&Yes");
    case Button::No:
        return QStringLiteral("&No");
    case Button::Abort:
        return QStringLiteral("&Abort");
    case Button::Retry:
        return QStringLiteral("&Retry");
    case Button::Ignore:
        return QStringLiteral("&Ignore");
    }
    return {};
}

Prompts& prompts()
{
    return *inUse;
}

void setPrompts(Prompts* prompts)
{
    inUse = prompts != nullptr ? prompts : &safePrompts;
}

void showMessage(const QString& title, const QString& text, Prompts::Icon icon, bool beep)
{
    Prompts::Message message;
    message.title = title;
    message.text = text;
    message.icon = icon;
    message.beep = beep;
    prompts().message(message);
}
