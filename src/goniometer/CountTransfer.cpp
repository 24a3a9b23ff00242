// SPDX-License-Identifier: GPL-3.0-or-later
//
// The transfer of the count memory.

#include "goniometer/modSMC.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "serial/Exchange.h"
#include "serial/SerialChannel.h"
#include "serial/modCOM.h"

#include <limits>
#include <utility>

namespace modSMC {
namespace {
const QString lineEnd = QStringLiteral("\r\n");
const QString closingLine = QStringLiteral("CEND;");
constexpr int transferTries = 3;
constexpr quint32 longestRest = 300000;  // ms
constexpr quint32 longestBabble = 20000; // ms
constexpr int progressInterval = 500;    // ms
constexpr int progressPanel = 4;

bool hasClosingLine(const QString& transfer)
{
    return transfer.contains(closingLine);
}

/// The first whole answer: an answer to an earlier question, which came too late, has the one to the last question behind it.
QString firstAnswer(const QString& transfer)
{
    const QString end = closingLine + lineEnd;
    const qsizetype at = transfer.indexOf(end);
    return at < 0 ? transfer : transfer.first(at + end.size());
}

/// A transfer that was cut by a pause goes on: what comes until the controller falls silent belongs to it.
void joinRest(QString& transfer, const Operation::Watch& watch)
{
    const quint32 start = modTools::timeGetTime();
    while (!transfer.isEmpty() && !hasClosingLine(transfer) && !watch.brokenOff() && modTools::timeGetTime() - start < longestRest) {
        const QString rest = SMCReceive(silent);
        if (rest.isEmpty())
            return;
        transfer += rest;
    }
}

/// Asks once. Nothing else is asked meanwhile: no character of a long answer may be lost.
QString ask(const Operation::Watch& watch, qint16 messageSwitch)
{
    if (Exchange::isBarred(modCOM::MCComm()))
        return {};
    const Exchange exchange(modCOM::MCComm(), true);
    modCOM::smcReception().receiveText.clear();
    SMCSend(QStringLiteral("?CNT;"));
    QString reply = watch.brokenOff() ? QString() : SMCReceive(messageSwitch);
    joinRest(reply, watch);
    return reply;
}

bool continueAnyway(qint32 received, qint32 wanted)
{
    Prompts::Message message;
    message.title = QStringLiteral("Scan Data Transfer");
    message.text = QStringLiteral("Received number of data points (") + NumberText::Print(received) +
                   QStringLiteral(") do not match parameter settings!") + lineEnd + lineEnd + QStringLiteral("Do want to continue anyway?");
    message.icon = Prompts::Icon::Exclamation;
    message.buttons = Prompts::Buttons::YesNo;
    message.defaultButton = 2;
    message.safe = Prompts::Button::No;
    // Without a person a scan that ends early is taken, but neither zeros that nobody counted nor more than was asked for.
    message.goesOn = message.unattended = received > 0 && received < wanted ? Prompts::Button::Yes : Prompts::Button::No;
    return prompts().message(message) == Prompts::Button::Yes;
}

/// What still comes as the answer to an earlier question is no count: the line has to be quiet for one RxTimer interval.
void awaitQuiet(const Operation::Watch& watch)
{
    const int interval = modCOM::RxTimer().interval();
    const quint32 start = modTools::timeGetTime();
    for (bool quiet = interval <= 0 || modCOM::MCComm().isDown();
         !quiet && !watch.brokenOff() && modTools::timeGetTime() - start < longestBabble;) {
        const qsizetype before = modCOM::smcReception().receiveText.size();
        modTools::Delay(static_cast<float>(interval) / 1000, true);
        modCOM::MCComm().fetch();
        quiet = modCOM::smcReception().receiveText.size() == before;
    }
}

/// Shows how much of a transfer has come; what was shown before comes back.
class TransferProgress
{
public:
    explicit TransferProgress(qint32 wanted) : m_wanted(wanted)
    {
        m_timer.setInterval(progressInterval);
        QObject::connect(&m_timer, &modTools::Timer::tick, &m_timer, [this] { show(); });
        m_timer.setEnabled(true);
    }
    ~TransferProgress()
    {
        m_timer.setEnabled(false);
        frontPanel().setPanel(progressPanel, m_panel);
        frontPanel().setProgress(m_percent);
    }
    Q_DISABLE_COPY_MOVE(TransferProgress)

private:
    void show()
    {
        // What comes after a pause is a text of its own, and begins at 0 again.
        m_points = qMax(m_points, ReceivedPoints(modCOM::smcReception().receiveText) + 1);
        frontPanel().setPanel(progressPanel, QStringLiteral("reading ") + NumberText::General(m_points) + QStringLiteral(" of ") +
                                                 NumberText::General(m_wanted) + QStringLiteral(" points"));
        frontPanel().setProgress(static_cast<int>(qMin<qint64>(99, qint64{100} * m_points / qMax(m_wanted, 1))));
    }

    qint32 m_points = 0;
    qint32 m_wanted;
    QString m_panel = frontPanel().panel(progressPanel);
    int m_percent = frontPanel().progress();
    modTools::Timer m_timer{"TransferProgress"};
};

/// A line with a ":" is the late answer to another question.
QString withoutLateReplies(const QString& transfer)
{
    if (!transfer.contains(u':'))
        return transfer;
    QStringList lines = transfer.split(lineEnd);
    lines.removeIf([](const QString& line) {
        if (line.contains(u':'))
            modTools::WriteLog(true, QStringLiteral("SMC: no count, but a late reply: ") + line);
        return line.contains(u':');
    });
    return lines.join(lineEnd);
}

/// The reply to "?CNT;", asked for again while it is not whole.
QString transferWhole(const Operation::Watch& watch, double linePatience)
{
    for (int tries = 1;; ++tries) {
        awaitQuiet(watch);
        if (watch.brokenOff())
            return {};
        const QString reply = ask(watch, tries < transferTries ? silent : reportTimeout);
        if (watch.brokenOff() || hasClosingLine(reply) || tries == transferTries)
            return tries > 1 ? firstAnswer(reply) : reply;
        if (!AwaitLine(linePatience, [&watch] { return !watch.brokenOff(); }))
            return reply;
        modTools::WriteLog(true, QStringLiteral("SMC: the counts did not come whole, transfer ") + NumberText::General(qint32{tries + 1}));
    }
}

/// The same; more counts than were asked for are read once more when nobody is there to be asked about them.
QString transferCounts(qint32 wanted, const Operation::Watch& watch, double linePatience)
{
    const TransferProgress progress(wanted);
    QString counts = withoutLateReplies(transferWhole(watch, linePatience));
    const bool attended = prompts().attended() && !Operation::anyUnattended();
    if (attended || watch.brokenOff() || ReceivedPoints(counts) <= wanted)
        return counts;
    modTools::WriteLog(true, QStringLiteral("SMC: ") + NumberText::General(ReceivedPoints(counts)) + QStringLiteral(" counts came, not ") +
                                 NumberText::General(wanted) + QStringLiteral("; they are read once more"));
    return withoutLateReplies(transferWhole(watch, linePatience));
}

/// One line of a transfer as a count; 0 when it does not fit 32 bits.
qint32 countOf(QStringView line)
{
    bool overflow = false;
    const qint32 count = NumberText::RoundToLong(NumberText::LeadingNumber(line), &overflow);
    return overflow ? 0 : count;
}

/// Walks the lines of a text that end in CR LF; what follows the last CR LF is no line.
class Lines
{
public:
    explicit Lines(QStringView text) : m_at(text.utf16()), m_end(m_at + text.size()) {}

    /// The next line when it is nothing but digits that surely fit: nearly all of them are, and are read in one go.
    bool nextPlain(qint32& count)
    {
        const char16_t* at = m_at;
        const char16_t* const last = m_end - at > mostDigits ? at + mostDigits : m_end;
        qint32 value = 0;
        for (; at != last && *at >= u'0' && *at <= u'9'; ++at)
            value = value * 10 + (*at - u'0');
        if (at == m_at || m_end - at < 2 || at[0] != u'\r' || at[1] != u'\n')
            return false;
        m_at = at + 2;
        count = value;
        return true;
    }

    bool next(QStringView& line)
    {
        for (const char16_t* at = m_at; m_end - at >= 2; ++at) {
            if (at[0] == u'\r' && at[1] == u'\n') {
                line = QStringView(m_at, at);
                m_at = at + 2;
                return true;
            }
        }
        return false;
    }

private:
    static constexpr qsizetype mostDigits = std::numeric_limits<qint32>::digits10;
    const char16_t* m_at;
    const char16_t* m_end;
};

} // namespace

Transfer SMCReadScanData(ScanRecord& scan, double linePatience, bool onlyWhole)
{
    if (!flags().smcOnline)
        return {0, 0};
    const Operation::Watch watch;
    const qint32 wanted = scan.parameters.numberOfPoints;
    const QString reply = transferCounts(wanted, watch, linePatience);
    if (watch.brokenOff())
        return {};
    Transfer transfer;
    transfer.received = ReceivedPoints(reply);
    if (transfer.received != wanted && (onlyWhole || !continueAnyway(transfer.received, wanted)))
        return transfer;
    if (onlyWhole && (state().lastTransfer == reply || Recovery::isLastTransfer(reply)))
        return transfer;
    state().lastTransfer = reply;
    Recovery::transferTaken(reply);
    transfer.maximum = StoreCounts(reply, scan);
    return transfer;
}

qint32 ReceivedPoints(QStringView reply)
{
    qint32 lineEnds = 0;
    const char16_t* const text = reply.utf16();
    // Without a branch, so that the compiler compares many characters at once.
    for (qsizetype i = 1; i < reply.size(); ++i)
        lineEnds += static_cast<qint32>(text[i - 1] == u'\r') & static_cast<qint32>(text[i] == u'\n');
    return lineEnds - 1;
}

qint32 StoreCounts(QStringView reply, ScanRecord& scan)
{
    const double start = scan.parameters.start;
    const double step = scan.parameters.step;
    qint32 maximum = 0;
    Lines lines(reply);
    for (qint32 i = 1;; ++i) {
        qint32 count = 0;
        if (!lines.nextPlain(count)) {
            QStringView line;
            if (!lines.next(line) || line == closingLine) {
                scan.received = qMin(i - 1, scan.size());
                return maximum;
            }
            count = countOf(line);
        }
        maximum = qMax(maximum, count);
        scan.setPoint(i, start + (i - 1) * step, count);
    }
}
} // namespace modSMC
