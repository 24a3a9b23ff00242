// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/modSMC.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "serial/Exchange.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"

#include <QRegularExpression>

#include <algorithm>
#include <limits>
#include <utility>

namespace modSMC {
namespace {
const QString lineEnd = QStringLiteral("\r\n");
constexpr float lineRound = 0.2F; // s
constexpr int checkRetries = 2;
constexpr int presenceTries = 3;
constexpr int shortestLimit = 20000; // ms
constexpr float restOfReply = 0.5F;  // s

/// Beginnings of the commands after which an axis need not stand where it stood.
const QStringList movingCommands{QStringLiteral("START:"), QStringLiteral("REF;"), QStringLiteral("Q;"), QStringLiteral("ROFS"),
                                 QStringLiteral("UPDATE;")};

bool disabled()
{
    return !flags().smcOnline;
}

void noteMotion(const QString& command)
{
    if (std::any_of(movingCommands.begin(), movingCommands.end(), [&command](const QString& moving) { return command.startsWith(moving); }))
        learn([](Instrument& now) { now.axis1Angle.forget(); });
}

/// `fresh`: what has been received so far is thrown away.
bool send(const QString& command, bool fresh)
{
    if (disabled() || flags().closing)
        return disabled();
    if (fresh)
        modCOM::smcReception().receiveText.clear();
    if (modCOM::MCComm().isDown())
        return false;
    // The line end opens the command; nothing follows its ";".
    const bool taken = modCOM::MCComm().output(lineEnd + command);
    noteMotion(command);
    if (modCOM::MCComm().txDelay > 0)
        modTools::Delay(modCOM::MCComm().txDelay, true);
    return taken;
}

/// An abort inside the pause after the command has taken the reply, or the controller will give none: there is nothing to wait for then.
QString query(const QString& command, qint16 messageSwitch = reportTimeout)
{
    if (Exchange::isBarred(modCOM::MCComm()))
        return {};
    const Operation::Watch watch;
    const Exchange exchange(modCOM::MCComm());
    send(command, true);
    return watch.brokenOff() ? QString() : SMCReceive(messageSwitch);
}

QString valueText(const QString& reply)
{
    return reply.sliced(reply.indexOf(u':') + 1).trimmed();
}

QString withoutLineEnds(QString text)
{
    return text.remove(lineEnd);
}

QString checkText()
{
    const Configuration::Line& line = configuration().smc;
    // The settings stand behind one opening apostrophe, with a comma and no closing one: intended.
    return QStringList{
        QStringLiteral("SMC does not respond..."),
        QString(),
        QStringLiteral("Please check the following:"),
        QStringLiteral("    -SMC powered ON?"),
        QStringLiteral("    -SMC connected to ") + line.name() + u'?',
        QStringLiteral("    -SMC configuration ACTIVE INTERFACE set to 'V24'?"),
        QStringLiteral("    -SMC's interface settings are '") + line.settings.trimmed() + u',',
        QStringLiteral("    -Cable connection ok?"),
        QStringLiteral("    -SMC's display shows 'READY FOR YOUR COMMANDS'?"),
    }
        .join(lineEnd);
}

/// `tries`: how often the controller has been asked.
Prompts::Button askWhatToDo(int tries)
{
    Prompts::Message message;
    message.title = QStringLiteral("SMC Check");
    message.text = checkText();
    message.buttons = Prompts::Buttons::AbortRetryIgnore;
    message.defaultButton = 2;
    message.safe = message.unattended = Prompts::Button::Ignore;
    message.goesOn = tries <= checkRetries ? Prompts::Button::Retry : Prompts::Button::Ignore;
    return prompts().message(message);
}

/// How long one reply may go on [ms]: ten times the time-out, at least 20 s; 0: the count memory's, which takes minutes, ends by its
/// content.
quint32 longestReply()
{
    if (Exchange::isBarred(modCOM::MCComm()))
        return 0;
    return static_cast<quint32>(std::max(shortestLimit, 10 * modCOM::MCRxTimeout().interval()));
}

qint16 axesIn(const QString& presence)
{
    return static_cast<qint16>(qMin<qsizetype>(presence.count(u':'), std::numeric_limits<qint16>::max()));
}

/// The reply to "?S;". One with fewer axes than are needed may have been cut: it is listened for a little longer, and asked for again when
/// more comes, or when it does not end with a whole item.
QString presenceReply(qint16 axesNeeded)
{
    static const QRegularExpression wholeItems(QStringLiteral("^(?:\\s*[^:\\s]*\\s*:\\s*[+-]?\\d+[;,]?)+\\s*$"));
    for (int tries = 1;; ++tries) {
        const QString reply = query(QStringLiteral("?S;"));
        const qint16 axes = axesIn(reply);
        if (axes == 0 || axes >= axesNeeded || tries == presenceTries || flags().closing)
            return reply;
        const qsizetype before = modCOM::smcReception().receiveText.size();
        modTools::Delay(restOfReply, true);
        modCOM::MCComm().fetch();
        const bool more = modCOM::smcReception().receiveText.size() != before;
        if (!more && wholeItems.match(reply).hasMatch())
            return reply;
        modTools::WriteLog(true, QStringLiteral("SMC: a presence reply that was cut: ") + withoutLineEnds(reply));
    }
}

} // namespace

State& state()
{
    static State theState;
    return theState;
}

bool SMCSend(const QString& command)
{
    return send(command, !Exchange::underWay(modCOM::MCComm()));
}

bool AwaitLine(double patience, const std::function<bool()>& goOn)
{
    const quint32 start = modTools::timeGetTime();
    while (!disabled() && modCOM::MCComm().isDown()) {
        if (flags().closing || !goOn() || modTools::timeGetTime() - start >= patience * 1000)
            return false;
        modTools::Delay(lineRound, true);
    }
    return true;
}

void AbandonQuery()
{
    Exchange::abandon(modCOM::MCComm());
}

QString SMCReceive(qint16 messageSwitch)
{
    if (disabled() || modCOM::MCComm().isDown())
        return {};
    modCOM::SmcReception& reception = modCOM::smcReception();
    reception.messageSwitch = messageSwitch;
    reception.startedOver = false;
    // A reply that is complete already would otherwise be waited for until the time-out.
    if (reception.receiveText.isEmpty() || modCOM::RxTimer().isEnabled())
        reception.waiting = true;
    modCOM::MCRxTimeout().restart();
    const quint32 begun = modTools::timeGetTime();
    const quint32 longest = longestReply();
    const auto endless = [begun, longest] { return longest > 0 && modTools::timeGetTime() - begun >= longest; };
    modTools::WaitUntil([&] { return !reception.waiting || modCOM::MCComm().isDown() || endless(); });
    if (!reception.waiting || !endless())
        return std::exchange(reception.receiveText, QString());
    // A line that never falls silent has no reply.
    reception.waiting = false;
    reception.receiveText.clear();
    modTools::WriteLog(true, QStringLiteral("SMC: the line does not fall silent, no reply"));
    if (messageSwitch == reportTimeout && !flags().closing)
        showMessage(QStringLiteral("SMC"), QStringLiteral("SMC does not respond..."), Prompts::Icon::None, true);
    return {};
}

qint16 SMCCheck(qint16 axesNeeded)
{
    QString reply;
    qint16 axes = 0;
    for (int tries = 1;; ++tries) {
        reply = presenceReply(axesNeeded);
        axes = axesIn(reply);
        if (axes != 0)
            break;
        if (flags().closing)
            return 0;
        switch (askWhatToDo(tries)) {
        case Prompts::Button::Retry:
            continue;
        case Prompts::Button::Abort:
            modTools::EndProgram();
            return 0;
        default:
            state().firmwareText = QStringLiteral("n.a.");
            return 0;
        }
    }
    if (SMCIsReady()) {
        reply = query(QStringLiteral("?V;"));
    } else {
        state().leftOver = std::make_unique<Operation>(Operations::scan);
        state().leftOver->release(Resource::ScanToSave);
    }
    state().firmwareText = withoutLineEnds(reply);
    return axes;
}

bool SMCIsReady()
{
    return disabled() || (SMCGetAxisStatus(1) & idleBit) != 0;
}

qint16 SMCGetAxisStatus(qint16 axis)
{
    if (disabled())
        return disabledStatus;
    return StatusOf(query(QStringLiteral("?S") + NumberText::General(qint32{axis}) + u';'));
}

std::optional<qint16> AskStatus(qint16 messageSwitch)
{
    if (disabled())
        return disabledStatus;
    const QString reply = query(QStringLiteral("?S1;"), messageSwitch);
    return HoldsStatus(reply) ? std::optional(StatusOf(reply)) : std::nullopt;
}

bool HoldsStatus(const QString& reply)
{
    static const QRegularExpression digitsAlone(QStringLiteral("^\\d+$"));
    const QString value = valueText(reply);
    return reply.contains(u':') ? !value.isEmpty() && value[0] >= u'0' && value[0] <= u'9' : digitsAlone.match(value).hasMatch();
}

qint16 StatusOf(const QString& reply)
{
    bool overflow = false;
    const qint16 status = NumberText::RoundToInteger(NumberText::LeadingNumber(valueText(reply)), &overflow);
    return overflow ? qint16{0} : status;
}

double SMCGetPosition(qint16 axis)
{
    if (disabled())
        return 0;
    const QString reply = query(QStringLiteral("?P") + NumberText::General(qint32{axis}) + u';');
    const double position = NumberText::RoundToEven(NumberText::LeadingNumber(valueText(reply)) * 1000) / 1000;
    if (axis == 1) {
        const bool told = reply.contains(u':') && NumberText::StartsWithNumber(valueText(reply));
        learn([told, position](Instrument& now) { told ? now.axis1Angle.confirm(position) : now.axis1Angle.doubt(); });
    }
    return position;
}

QString SMCGetVersion()
{
    if (disabled())
        return QStringLiteral("n. a.");
    return withoutLineEnds(query(QStringLiteral("?V;"))).trimmed();
}

QString FormatSMCNumber(double value)
{
    return NumberText::General(value).replace(u',', u'.');
}
} // namespace modSMC
