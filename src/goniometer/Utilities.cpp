// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/Utilities.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"

#include <QStringList>

namespace GoniometerUtilities {
namespace {
const QString lineEnd = QStringLiteral("\r\n");

bool refused(const Operation& use, const QString& title)
{
    if (use.granted() && modSMC::SMCIsReady())
        return false;
    if (!flags().closing)
        showMessage(title, QStringLiteral("SMC not ready..."));
    return true;
}

QString axisText(qint16 axis)
{
    return NumberText::General(qint32{axis});
}

/// The chosen axis, 0 when the operator gave none.
qint16 selectAxis(const QString& proposal)
{
    const qint16 axes = modSMC::state().numberOfAxes;
    if (axes < 2)
        return 1;
    const QString answer = prompts().input(
        {QStringLiteral("Select axis"), QStringLiteral("Enter axis (1-") + NumberText::Print(qint32{axes}) + u')', proposal});
    const qint16 axis = NumberText::RoundToInteger(NumberText::ReadNumber(answer));
    return axis >= 1 && axis <= axes ? axis : qint16{0};
}

double withinLimits(double value)
{
    const Configuration::General& limits = configuration().general;
    if (value > limits.thetaMax)
        return limits.thetaMax;
    if (value < limits.thetaMin)
        return limits.thetaMin;
    return value;
}

QStringList moveProgram(qint16 axis, double target)
{
    return {QStringLiteral("CLR;"),
            QStringLiteral("CA") + axisText(axis) + u';',
            axisText(axis) + QStringLiteral(":A") + modSMC::FormatSMCNumber(target) + QStringLiteral("S500L") +
                NumberText::General(configuration().general.slewSpeed) + QStringLiteral("B20;"),
            QStringLiteral("NL;"),
            QStringLiteral("END;"),
            QStringLiteral("START:;")};
}

QString axisBlock(qint16 axis)
{
    const double position = modSMC::SMCGetPosition(axis);
    const qint32 status = modSMC::SMCGetAxisStatus(axis);
    return QStringLiteral("axis") + NumberText::Print(qint32{axis}) + lineEnd + QStringLiteral("  position: ") +
           NumberText::General(position) + lineEnd + QStringLiteral("  status: ") + NumberText::General(status) + lineEnd + lineEnd;
}
} // namespace

void SearchReference()
{
    const Operation use(Operations::utility);
    if (refused(use, QStringLiteral("Search reference position")))
        return;
    modSMC::SMCSend(QStringLiteral("REF;"));
    ScanRun::state().axis1Position.reset();
}

void SetReferenceOffset()
{
    const Operation use(Operations::utility);
    const QString title = QStringLiteral("Set REF offset");
    if (refused(use, title))
        return;
    const qint16 axis = selectAxis(QStringLiteral("1"));
    if (axis == 0)
        return;
    const QString answer =
        prompts().input({QStringLiteral("Reference offset"),
                         QStringLiteral("Enter reference offset value for axis ") + axisText(axis) + u':', QStringLiteral("0")});
    if (answer.trimmed().isEmpty())
        return;
    const double offset = withinLimits(NumberText::ReadNumber(answer));
    modSMC::SMCSend(QStringLiteral("ROFS") + axisText(axis) + u':' + NumberText::General(offset) + u';');
    modTools::Delay(0.2F, false);
    modSMC::SMCSend(QStringLiteral("UPDATE;"));
    modTools::Delay(6.0F, true);
    ScanRun::state().axis1Position.reset();
    if (!flags().closing)
        showMessage(title,
                    QStringLiteral("Please press the RESET button at the SMC's front panel now") + lineEnd +
                        QStringLiteral("in order to activate the new setting."),
                    Prompts::Icon::Exclamation);
}

void GoTo()
{
    const Operation use(Operations::utility);
    if (refused(use, QStringLiteral("Goniometer GoTo")))
        return;
    const qint16 axis = selectAxis(QString());
    if (axis == 0)
        return;
    const double position = modSMC::SMCGetPosition(axis);
    const QString answer = prompts().input(
        {QStringLiteral("Target position"),
         QStringLiteral("Move axis ") + axisText(axis) + QStringLiteral(" to the") + lineEnd + QStringLiteral("following position:"),
         NumberText::General(position)});
    if (answer.trimmed().isEmpty())
        return;
    double target = NumberText::ReadNumber(answer);
    if (target == position)
        return;
    target = withinLimits(target);
    bool sent = flags().smcOnline;
    for (const QString& line : moveProgram(axis, target))
        sent = modSMC::SMCSend(line) && sent;
    if (axis == 1)
        ScanRun::state().axis1Position = target;
    if (axis == 1 && sent)
        learn([target](Instrument& now) { now.axis1Angle.ask(target); });
}

void Stop()
{
    // Whoever stops everything does not want to wait for a temperature either. A profile has its own question.
    if (Operation::isRunning(Operations::temperature))
        flags().abort = true;
    modSMC::SMCSend(QStringLiteral("Q;"));
    ScanRun::state().axis1Position.reset();
    ScanRun::state().stoppedByHand = true;
}

void GetRAMData()
{
    const Operation use(Operations::utility);
    if (!use.granted() && !flags().closing)
        showMessage(QStringLiteral("Get RAM data"), QStringLiteral("SMC not ready..."));
    else
        ScanRun::ReadBackByHand();
}

void ShowStatus()
{
    const Operation use(Operations::utility);
    const Configuration::Line& line = configuration().smc;
    const qint16 axes = modSMC::state().numberOfAxes;
    QString text = QStringLiteral("number of axes: ") + NumberText::General(qint32{axes}) + lineEnd + QStringLiteral("firmware version: ") +
                   modSMC::SMCGetVersion() + lineEnd + QStringLiteral("interface: ") + line.name() + QStringLiteral(": ") +
                   line.settings.trimmed() + lineEnd;
    for (qint16 axis = 1; axis <= axes; ++axis)
        text += axisBlock(axis);
    if (!flags().closing)
        showMessage(QStringLiteral("SMC status"), text);
}
} // namespace GoniometerUtilities
