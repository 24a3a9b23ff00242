// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/CommunicationTest.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "goniometer/modSMC.h"

namespace CommunicationTest {
namespace {
bool running = false;
bool offering = false;
} // namespace

bool isRunning()
{
    return running;
}

void Click()
{
    if (running) {
        running = false;
        return;
    }
    if (offering)
        return;
    const QString title = QStringLiteral("Communcication test");
    const Flags& now = flags();
    if (now.acquisitionRunning || now.profileRunning || now.ratemeterRunning || now.utilityRunning) {
        showMessage(title, QStringLiteral("SMC not ready..."));
        return;
    }
    Prompts::Message question;
    question.title = title;
    question.text = QStringLiteral("start test?");
    question.buttons = Prompts::Buttons::OkCancel;
    question.safe = Prompts::Button::Cancel;
    question.unattended = Prompts::Button::Cancel;
    offering = true;
    const Prompts::Button answer = prompts().message(question);
    offering = false;
    if (answer != Prompts::Button::Ok)
        return;

    running = true;
    flags().utilityRunning = true;
    frontPanel().refreshEntries();
    for (qint32 count = 1; running && !flags().closing; ++count) {
        const QString reply = modSMC::SMCGetVersion();
        frontPanel().setPanel(1, NumberText::General(count) + QStringLiteral(": ") + reply);
        // Without a controller the answer is there at once.
        if (!flags().smcOnline)
            modTools::Delay(0.05F, true);
        modTools::DoEvents();
    }
    running = false;
    flags().utilityRunning = false;
    frontPanel().refreshEntries();
    frontPanel().setPanel(1, QStringLiteral("Ready"));
}
} // namespace CommunicationTest
