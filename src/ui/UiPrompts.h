// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Prompts.h"

#include <QPointer>
#include <QWidget>

/// The program's questions as windows: message boxes, input boxes, the file dialogs of the desktop. While a temperature profile runs nobody
/// may be there: a box then counts down from 60 s and presses its button for unattended runs by itself; an input box or file dialog is
/// cancelled. Details stay folded until "Show details" is pressed.
class UiPrompts : public Prompts
{
public:
    Button message(const Message& message) override;
    QString input(const Input& input) override;
    ChosenFile openFile(const FileDialog& dialog) override;
    ChosenFile saveFile(const FileDialog& dialog) override;

    /// "Text|pattern|Text|pattern" as the filters of a file dialog, in order. The pattern stands in brackets behind its text, where the
    /// dialog does not show it.
    static QStringList nameFilters(const QString& filter);

    /// Size of the part of a box that unfolds: lines high, characters wide.
    static constexpr int detailLines = 14;
    static constexpr int detailCharacters = 76;

private:
    static ChosenFile chooseFile(const FileDialog& dialog, bool save);
};
