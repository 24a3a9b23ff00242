// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"

#include <QStringList>

/// Nobody is there: once a run is under way every box counts down its minute and answers itself. The questions before the run were answered
/// by the operator who then went home.
class Unattended : public Prompts
{
public:
    Unattended() : m_previous(&prompts()) { setPrompts(this); }
    ~Unattended() override { setPrompts(m_previous); }
    Q_DISABLE_COPY_MOVE(Unattended)

    QStringList shown; ///< "title: text" of the boxes during the run

    Button message(const Message& message) override
    {
        if (!Operation::isRunning(Operations::profile))
            return message.goesOn;
        shown << message.title + QStringLiteral(": ") + message.text;
        modTools::Delay(60, true);
        return message.unattended;
    }
    QString input(const Input& /*input*/) override { return {}; }
    ChosenFile openFile(const FileDialog& /*dialog*/) override { return {}; }
    ChosenFile saveFile(const FileDialog& /*dialog*/) override { return {}; }

private:
    Prompts* m_previous;
};
