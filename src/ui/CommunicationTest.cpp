// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/CommunicationTest.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "goniometer/modSMC.h"

namespace CommunicationTest {
bool isRunning()
{
    return Operation::isRunning(Operations::communicationTest);
}

void Click()
{
    static bool offering = false;
    if (Operation* test = Operation::running(Operations::communicationTest)) {
        test->cancel();
        return;
    }
    if (offering)
        return;
    const QString title = QStringLiteral("Communcication test");
    const QString notReady = QStringLiteral("SMC not ready...");
    if (!Operation::free(Operations::communicationTest.needs)) {
        showMessage(title, notReady);
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

    const Operation test(Operations::communicationTest);
    if (!test.granted()) {
        showMessage(title, notReady);
        return;
    }
    for (qint32 count = 1; test.goesOn(); ++count) {
        const QString reply = modSMC::SMCGetVersion();
        frontPanel().setPanel(1, NumberText::General(count) + QStringLiteral(": ") + reply);
        // Without a controller the answer is there at once.
        if (!flags().smcOnline)
            modTools::Delay(0.05F, true);
        modTools::DoEvents();
    }
    frontPanel().setPanel(1, QStringLiteral("Ready"));
}
} // namespace CommunicationTest
