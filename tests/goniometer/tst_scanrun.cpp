// SPDX-License-Identifier: GPL-3.0-or-later

#include "PlayedController.h"

#include "core/FrontPanel.h"
#include "core/Notices.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/Utilities.h"
#include "support/AppLog.h"
#include "support/Pretend.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

#include <tuple>

using Field = FrontPanel::Field;
using Button = Prompts::Button;
using Icon = Prompts::Icon;
using Buttons = Prompts::Buttons;

namespace {
const QString startTitle = QStringLiteral("Start scan");
const QString runTitle = QStringLiteral("Data acquisition");
const QString readTitle = QStringLiteral("Get RAM data");
const QString transferTitle = QStringLiteral("Scan Data Transfer");
const QString notReady = QStringLiteral("SMC not ready...");
const QString noReply = QStringLiteral("SMC does not respond...");
const QString abortQuestion = QStringLiteral("Do you want to abort the current data acquisition now?");
const QString readQuestion = QStringLiteral("Do you want read scan data anyway?");
const QString inProgress = QStringLiteral("Data acquisition in progress...");

QStringList words(const char* text)
{
    return QString::fromLatin1(text).split(u' ', Qt::SkipEmptyParts);
}

// 10 to 12 in steps of 0.5: five points.
const QStringList guinierProgram =
    words("CLR; CA1; CCNT; 1:A10S500L4000B20; CNT1; NL; GSB10*4; NL; END; LIN10; 1:0.5S1500; CNT1; NL; RET; NL; START:;");

const QString unconfirmed = QStringLiteral(
    "The start of the scan could not be confirmed, so nothing was read.\r\n\r\nPlease check the goniometer controller and its "
    "line, then start again. The counts in the controller, which 'Get RAM Data' reads, can be those of an earlier scan.");
QString mismatch(const char* number)
{
    return QStringLiteral("Received number of data points (") + QString::fromLatin1(number) +
           QStringLiteral(") do not match parameter settings!\r\n\r\nDo want to continue anyway?");
}

void type(const char* start, const char* stop, const char* step, const char* time)
{
    frontPanel().setText(Field::ScanStart, QString::fromLatin1(start));
    frontPanel().setText(Field::ScanStop, QString::fromLatin1(stop));
    frontPanel().setText(Field::ScanStep, QString::fromLatin1(step));
    frontPanel().setText(Field::CounterTime, QString::fromLatin1(time));
}

bool enabled(Menu::Entry entry)
{
    return frontPanel().isEntryEnabled(entry);
}
QString startCaption()
{
    return frontPanel().entryCaption(Menu::Entry::mnuMeasStartAcquisition);
}

void expectConfirmation(ScriptedPrompts& boxes, Button answer = Button::Ok)
{
    boxes.expect(startTitle, QString(), answer);
}
void expectAbort(ScriptedPrompts& boxes, Button readAnswer)
{
    for (const auto& [question, answer, icon] :
         {std::tuple{abortQuestion, Button::Yes, Icon::Critical}, std::tuple{readQuestion, readAnswer, Icon::Question}}) {
        boxes.expect(runTitle, question, answer)
            .withIcon(icon)
            .withButtons(Buttons::YesNo)
            .withAnswers(Button::Yes, Button::No, Button::No);
    }
}

struct Run
{
    Run() : smc(clock)
    {
        smc.countLines = {"5", "40", "7", "3", "8"};
        smc.runTime = 3000;
        type("10", "12", "0.5", "1");
        QObject::connect(&scanData(), &ScanData::plotRequested, &context, [this](const PlotRequest& request) { plots << request; });
        QObject::connect(&frontPanel(), &FrontPanel::panelChanged, &context, [this](int number, const QString& text) {
            if (number == 1)
                panel1 << text;
            if (number == 4)
                panel4 << text;
        });
        QObject::connect(&frontPanel(), &FrontPanel::progressChanged, &context, [this](int percent) { percents << percent; });
    }
    /// An earlier scan that lies saved in memory.
    void earlierScan()
    {
        scanData().resize(3);
        scanData().setPoint(2, 1, 1);
        flags().dataPresent = flags().dataSaved = true;
        frontPanel().refreshEntries();
    }

    /// The controller holds the counts of another scan with as many points until it is told to clear them and has run this one.
    void olderCounts()
    {
        const QList<QByteArray> own = smc.countLines;
        smc.countLines = {"91", "92", "93", "94", "95"};
        onCommand({});
        m_memory = [this, own](const QString& command) {
            if (command == QStringLiteral("CCNT;"))
                smc.countLines.clear();
            else if (command == QStringLiteral("START:;"))
                smc.countLines = own;
        };
    }
    /// Does something after a command has come, beside olderCounts.
    void onCommand(const std::function<void(const QString&)>& action)
    {
        smc.onCommand = [this, action](const QString& command) {
            if (m_memory)
                m_memory(command);
            if (action)
                action(command);
        };
    }

    TestClock clock;
    PlayedController smc;
    ScriptedPrompts boxes;
    QObject context;
    QList<PlotRequest> plots;
    QStringList panel1;
    QStringList panel4;
    QList<int> percents;

private:
    std::function<void(const QString&)> m_memory;
};

ScanRun::Options unattended(const ScanParameters& scan)
{
    ScanRun::Options options;
    options.barAfter = options.unattended = true;
    options.silenceLimit = 600;
    options.busyLimit = ScanRun::LongestTime(scan);
    return options;
}

enum class Entry { Scan, ReadBack, Ratemeter, GoTo, Reference, Offset };

QString titleOf(Entry entry)
{
    switch (entry) {
    case Entry::Scan:
        return startTitle;
    case Entry::ReadBack:
        return readTitle;
    case Entry::GoTo:
        return QStringLiteral("Goniometer GoTo");
    case Entry::Reference:
        return QStringLiteral("Search reference position");
    case Entry::Offset:
        return QStringLiteral("Set REF offset");
    case Entry::Ratemeter:
        break;
    }
    return {};
}

void choose(Entry entry)
{
    switch (entry) {
    case Entry::Scan:
        return ScanRun::Start();
    case Entry::ReadBack:
        return GoniometerUtilities::GetRAMData();
    case Entry::Ratemeter:
        return Ratemeter::Run();
    case Entry::GoTo:
        return GoniometerUtilities::GoTo();
    case Entry::Reference:
        return GoniometerUtilities::SearchReference();
    case Entry::Offset:
        return GoniometerUtilities::SetReferenceOffset();
    }
}

bool isIdle()
{
    return !Operation::isRunning(Operations::scan) && Operation::open(Resource::ScanToSave) &&
           startCaption() == QStringLiteral("&Start Data Acquisition") && frontPanel().panel(1) == QStringLiteral("Ready") &&
           enabled(Menu::Entry::mnuFileOpen) && frontPanel().progress() == -1 && frontPanel().pointer() == FrontPanel::Pointer::Default &&
           !frontPanel().parameterFieldsReadOnly();
}
} // namespace

class tst_scanrun : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }

    // the counting program
    void guinierProgramLines();
    void thetaProgramLines();
    void oddSpeedsAreHalved();
    void twoPointsCallTheStepOnce();

    // a run
    void aWholeRun();
    void thetaRunSendsTheTwoAxisProgram();
    void theConfirmation();
    void cancelChangesNothing();
    void aBusyControllerIsRefused();
    void aSilentControllerIsRefused();
    void startAndStopTooClose();
    void aSecondClickWhileItIsAskedIsPassedOver();
    void theEntriesDuringARun();
    void aSimulationRunEndsAfterTheFirstPoll();
    void silenceAndGarbageWhilePolling();
    void theShortenedRangeMakesTheReadBackAsk();
    void theScanCarriesItsNameAndMoments();
    void countsReadByHandHaveTheDateOfPanel2();
    void refusedCountsLeaveNothingPresent();
    void acceptedCountsOfAShortTransferArePlotted();
    void theControllerIsBusyAgainAtTheReadBack();
    void measuringDates();
    void theProgramClosesDuringARun_data();
    void theProgramClosesDuringARun();

    // progress
    void theProgressIsRightFromTheFirstSecond();
    void aRunLongerThanExpectedStaysBelow100();
    void theWayToTheStartAngleIsExpected();
    void silentModeRefreshesOnceASecond();

    // abort
    void abortAnsweredNoGoesOn();
    void abortWhilePollingWithoutData();
    void abortWhilePollingWithData();
    void abortOfASilentControllerEndsThePolling();
    void abortDuringTheUploadSendsNoMoreLines();
    void abortDuringTheUploadKeepsWhatItRead();
    void otherEntriesDuringTheTransferLoseNoCount();
    void abortDuringTheTransfer_data();
    void abortDuringTheTransfer();
    void abortOfARunFoundAtStart();

    // the line goes down
    void lineDownDuringTheUpload_data();
    void lineDownDuringTheUpload();
    void lineDownAfterTheStartOfALongerScan();
    void aLineThatIsLostAgainAndAgain();
    void aLineThatStaysDown_data();
    void aLineThatStaysDown();
    void aCableThatIsOutDuringTheUpload_data();
    void aCableThatIsOutDuringTheUpload();
    void aLongScanThatNobodyCanConfirm_data();
    void aLongScanThatNobodyCanConfirm();
    void aScanThatIsOverAtTheFirstPoll();
    void stopMotionDuringAScanIsNotUndone();
    void stopMotionDuringTheUploadStartsNothing();
    void lineDownWhilePolling();
    void lineDownDuringTheTransfer();
    void lineDownForAMomentDuringTheTransfer();

    // what is lost on the way
    void anUnansweredTransferIsAskedForAgain_data();
    void anUnansweredTransferIsAskedForAgain();
    void aLateTransferBeforeTheNextIsTakenOnce();
    void aTransferWithAPauseIsOneTransfer();
    void aTransferThatBreaksOffIsAskedForAgain();
    void nothingReceivedLeavesTheScanInMemory_data();
    void nothingReceivedLeavesTheScanInMemory();
    void lostRepliesBeforeTheReadBack_data();
    void lostRepliesBeforeTheReadBack();
    void aProfileBrokenOffDuringTheReadBack_data();
    void aProfileBrokenOffDuringTheReadBack();

    // a controller that does not stop
    void anAbortThatIsNotHeardIsRepeated();
    void anAbortThatIsNeverHeard_data();
    void anAbortThatIsNeverHeard();
    void aControllerThatStopsSlowlyIsReadBack();
    void aBusyAnswerRightAfterTheEndIsAskedAgain_data();
    void aBusyAnswerRightAfterTheEndIsAskedAgain();
    void aScanFarBeyondItsTimeSaysSo();

    // one at a time
    void nothingStartsInsideAnother_data();
    void nothingStartsInsideAnother();
    void noNewScanInsideTheEndOfAnAbortedOne();

    // the pieces for profile runs
    void pollingGivesUpAfterSilence();
    void anUnattendedScanStopsWhatTheControllerStillDoes();
    void anUnattendedScanIsNotSentToABusyController();
    void anUnattendedScanThatNeverEnds();
    void aProfileStepReadsBackWithItsOwnTime();
};

void tst_scanrun::guinierProgramLines()
{
    const ScanParameters scan{20.5, 30.5, 0.02, 0.1, 501};
    QCOMPARE(
        ScanRun::CountingProgram(scan, 0, 4000, 1500),
        words("CLR; CA1; CCNT; 1:A20.5S500L4000B20; CNT0.1; NL; GSB10*500; NL; END; LIN10; 1:0.02S1500; CNT0.1; NL; RET; NL; START:;"));
}

void tst_scanrun::thetaProgramLines()
{
    const ScanParameters scan{20.5, 30.5, 0.02, 10, 501};
    QCOMPARE(ScanRun::CountingProgram(scan, 1, 4000, 1500),
             words("CLR; CA2; CCNT; 1:A10.25S500L2000B20; 2:A20.5S500L4000B20; CNT10; NL; GSB10*500; NL; END; LIN10; 1:0.01S750; "
                   "2:0.02S1500; CNT10; NL; RET; NL; START:;"));
}

void tst_scanrun::oddSpeedsAreHalved()
{
    const QStringList lines = ScanRun::CountingProgram({10.001, 12, 0.003, 0.2, 664}, 1, 4001, 1501);
    QCOMPARE(lines.value(3), QStringLiteral("1:A5.0005S500L2000.5B20;"));
    QCOMPARE(lines.value(11), QStringLiteral("1:0.0015S750.5;"));
    QCOMPARE(lines.value(12), QStringLiteral("2:0.003S1501;"));
}

void tst_scanrun::twoPointsCallTheStepOnce()
{
    QCOMPARE(ScanRun::CountingProgram({10, 10.02, 0.02, 1, 2}, 0, 4000, 1500).value(6), QStringLiteral("GSB10*1;"));
}

void tst_scanrun::aWholeRun()
{
    Run run;
    expectConfirmation(run.boxes);
    const QDateTime before = QDateTime::currentDateTime();
    ScanRun::Start();
    const QStringList dates{ScanRecord::MeasuringDate(before), ScanRecord::MeasuringDate(QDateTime::currentDateTime())};
    QVERIFY(run.boxes.allShown());
    QStringList expected{QStringLiteral("?S1;")};
    expected << guinierProgram;
    const qsizetype polls = run.smc.sent(QStringLiteral("?S1;")) - 2;
    for (qsizetype i = 0; i < polls; ++i)
        expected << QStringLiteral("?S1;");
    expected << QStringLiteral("?S1;") << QStringLiteral("?CNT;");
    QCOMPARE(run.smc.commands(), expected);
    for (const QByteArray& bytes : run.smc.writes)
        QVERIFY(bytes.startsWith("\r\n") && bytes.endsWith(';') && bytes.count('\r') == 1);
    QCOMPARE(run.panel1.mid(0, 4), (QStringList{QStringLiteral("| ") + inProgress, QStringLiteral("/ ") + inProgress,
                                                QStringLiteral("- ") + inProgress, QStringLiteral("Ready")}));
    QCOMPARE(polls, 3);
    QVERIFY(isIdle());
    QVERIFY(dates.contains(frontPanel().panel(2)));
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QCOMPARE(scanData().angles(), (QList<double>{10, 10.5, 11, 11.5, 12}));
    QCOMPARE(scanData().minimum, 3);
    QCOMPARE(scanData().maximum, 40);
    QCOMPARE(modSMC::state().maximumCount, 40);
    QCOMPARE(scanData().parameters.start, 10.0);
    QCOMPARE(scanData().parameters.stop, 12.0);
    QCOMPARE(scanData().parameters.step, 0.5);
    QCOMPARE(scanData().parameters.counterTime, 1.0);
    QCOMPARE(scanData().parameters.numberOfPoints, 5);
    QCOMPARE(run.plots.size(), 1);
    QCOMPARE(run.plots[0].title, QString());
    QCOMPARE(run.plots[0].start, 10.0);
    QCOMPARE(run.plots[0].stop, 12.0);
    QCOMPARE(run.plots[0].step, 0.5);
    QCOMPARE(run.plots[0].yMinimum, 0);
    QCOMPARE(run.plots[0].yMaximum, 42);
    QVERIFY(flags().dataPresent && !flags().dataSaved);
    QVERIFY(enabled(Menu::Entry::mnuFileSaveAs));
}

void tst_scanrun::thetaRunSendsTheTwoAxisProgram()
{
    Run run;
    flags().goniometerType = 1;
    configuration().general.scanSpeed = 1501;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QVERIFY(run.boxes.messages.first().text.startsWith(QStringLiteral("Selected parameter set (Theta-2-Theta):\r\n\r\n")));
    QStringList expected = words("CLR; CA2; CCNT; 1:A5S500L2000B20; 2:A10S500L4000B20; CNT1; NL; GSB10*4; NL; END; LIN10; 1:0.25S750.5; "
                                 "2:0.5S1501; CNT1; NL; RET; NL; START:; ?CNT;");
    QCOMPARE(run.smc.orders(), expected);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theConfirmation()
{
    Run run;
    type("10,5", "12", "0,5", "0.3");
    const QString text = QString::fromUtf8("Selected parameter set (Guinier):\r\n\r\n"
                                           "Scan Start  : 10.5° 2-Theta\r\n"
                                           "Scan Stop   : 12° 2-Theta\r\n"
                                           "Scan Step   : 0.5° 2-Theta\r\n"
                                           "Counter Time: 0.5 seconds\r\n");
    run.boxes.expect(startTitle, text, Button::Cancel)
        .withButtons(Buttons::OkCancel)
        .withIcon(Icon::None)
        .withAnswers(Button::Ok, Button::Cancel, Button::Cancel);
    ScanRun::Start();
    QVERIFY(run.boxes.allShown());
    // Nobody there: no scan is begun.
    QCOMPARE(run.boxes.messages.last().unattended, Button::Cancel);
}

void tst_scanrun::cancelChangesNothing()
{
    Run run;
    run.earlierScan();
    expectConfirmation(run.boxes, Button::Cancel);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1;"));
    QVERIFY(!Operation::isRunning(Operations::scan) && flags().dataPresent && flags().dataSaved && enabled(Menu::Entry::mnuFileSaveAs));
    QCOMPARE(scanData().size(), 3);
    QCOMPARE(startCaption(), QStringLiteral("&Start Data Acquisition"));
    QCOMPARE(frontPanel().panel(2), QString());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aBusyControllerIsRefused()
{
    Run run;
    run.smc.busy = true;
    run.boxes.expect(startTitle, notReady).withButtons(Buttons::Ok);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1;"));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aSilentControllerIsRefused()
{
    Run run;
    run.smc.mute = true;
    run.boxes.expect(QStringLiteral("SMC"), noReply);
    run.boxes.expect(startTitle, notReady);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1;"));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::startAndStopTooClose()
{
    Run run;
    type("10", "10.0005", "0.02", "1");
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1;"));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aSecondClickWhileItIsAskedIsPassedOver()
{
    Run run;
    run.clock.at(50, [] { ScanRun::Start(); });
    expectConfirmation(run.boxes, Button::Cancel);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1;"));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theEntriesDuringARun()
{
    Run run;
    run.earlierScan();
    expectConfirmation(run.boxes);
    int checks = 0;
    QStringList sizes;
    run.smc.onCommand = [&](const QString& command) {
        if (!Operation::isRunning(Operations::scan))
            return;
        ++checks;
        QCOMPARE(startCaption(), QStringLiteral("Abort Data Acquisition"));
        QVERIFY(!Operation::open(Resource::ScanToSave));
        for (Menu::Entry entry : {Menu::Entry::mnuFileOpen, Menu::Entry::mnuFileSaveAs, Menu::Entry::mnuExtrasSMCGetRAMData,
                                  Menu::Entry::mnuExtrasGoniometerGoTo, Menu::Entry::mnuExtrasRatemeter})
            QVERIFY(!enabled(entry));
        for (Menu::Entry entry : {Menu::Entry::mnuMeasStartAcquisition, Menu::Entry::mnuExtrasSMCStop, Menu::Entry::mnuExtrasSMGetStatus})
            QVERIFY(enabled(entry));
        QVERIFY(frontPanel().parameterFieldsReadOnly());
        if (command == QStringLiteral("?S1;") && run.smc.sent(QStringLiteral("?CNT;")) == 0)
            sizes << QString::number(scanData().size());
        QCOMPARE(frontPanel().pointer() == FrontPanel::Pointer::Hourglass, command == QStringLiteral("?CNT;"));
    };
    int focus = 0;
    QObject::connect(&frontPanel(), &FrontPanel::focusRequested, &run.context, [&] { ++focus; });
    ScanRun::Start();
    QVERIFY(checks > 16);
    QVERIFY(sizes.first() == QStringLiteral("1"));
    QCOMPARE(focus, 2);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aSimulationRunEndsAfterTheFirstPoll()
{
    Run run;
    flags().smcOnline = false;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QVERIFY(run.smc.writes.isEmpty());
    QVERIFY(run.clock.elapsed() >= 1000 && run.clock.elapsed() < 1200);
    QCOMPARE(run.panel1, (QStringList{QStringLiteral("| ") + inProgress, QStringLiteral("Ready")}));
    QCOMPARE(scanData().counts(), QList<double>(5, 0.0));
    QVERIFY(flags().dataPresent && !flags().dataSaved);
    QCOMPARE(run.plots.size(), 1);
    QCOMPARE(run.plots[0].yMaximum, 0);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::silenceAndGarbageWhilePolling()
{
    Run run;
    expectConfirmation(run.boxes);
    int poll = 0;
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command != QStringLiteral("?S1;") || !Operation::isRunning(Operations::scan) || run.smc.sent(QStringLiteral("?CNT;")) > 0)
            return false;
        const QList<QByteArray> replies{"", "~", "12", "S1:\r\n", "S1:127\r\n", "S1:128\r\n"};
        reply = replies.value(poll++);
        return poll <= replies.size();
    };
    ScanRun::Start();
    QCOMPARE(poll, 7);
    QCOMPARE(run.panel1, (QStringList{QStringLiteral("| ") + inProgress, QStringLiteral("/ ") + inProgress,
                                      QStringLiteral("- ") + inProgress, QStringLiteral("\\ ") + inProgress,
                                      QStringLiteral("| ") + inProgress, QStringLiteral("/ ") + inProgress, QStringLiteral("Ready")}));
    QVERIFY(flags().dataPresent);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theShortenedRangeMakesTheReadBackAsk()
{
    Run run;
    type("0", "100", "0.002", "0.1");
    run.boxes.expect(QStringLiteral("Error"), QString());
    expectConfirmation(run.boxes);
    run.boxes.expect(transferTitle, mismatch(" 5"), Button::Yes);
    ScanRun::Start();
    QVERIFY(run.smc.commands().contains(QStringLiteral("GSB10*50000;")));
    QCOMPARE(scanData().size(), 32001);
    QCOMPARE(scanData().parameters.stop, 64.0);
    QCOMPARE(run.plots.value(0).stop, 64.0);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theScanCarriesItsNameAndMoments()
{
    Run run;
    frontPanel().setText(Field::txtFileName, QStringLiteral("Quartz"));
    frontPanel().setText(Field::txtComment, QStringLiteral("a\r\nb"));
    expectConfirmation(run.boxes);
    const QDateTime before = QDateTime::currentDateTime();
    // Typed while it is measured: it is this scan's name.
    run.clock.at(1500, [] { frontPanel().setText(Field::txtFileName, QStringLiteral("Corundum")); });
    ScanRun::Start();
    QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral("Corundum"));
    const ScanRecord& scan = scanData().record();
    QCOMPARE(scan.sample, QStringLiteral("Corundum"));
    QCOMPARE(scan.comment, QStringLiteral("a\r\nb"));
    QCOMPARE(scan.measuringDate, frontPanel().panel(2));
    QCOMPARE(scan.measuringDate, ScanRecord::MeasuringDate(scan.begin));
    QVERIFY(before <= scan.begin && scan.begin <= scan.end && scan.end <= QDateTime::currentDateTime());
    QCOMPARE(scan.segments.size(), 1);
    QCOMPARE(scan.segments.first().numberOfPoints, 5);
    QCOMPARE(scan.received, 5);
    QVERIFY(!scan.wavelength && !scan.anode && !scan.kV && !scan.mA && !scan.temperature);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::countsReadByHandHaveTheDateOfPanel2()
{
    Run run;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    const QDateTime begin = scanData().begin;
    QVERIFY(ScanRun::ReadBack());
    QCOMPARE(scanData().begin, begin);
    QVERIFY(scanData().end >= begin);
    frontPanel().setPanel(2, QStringLiteral("Mar 05. 2024 14:07"));
    QVERIFY(ScanRun::ReadBack());
    QCOMPARE(scanData().measuringDate, QStringLiteral("Mar 05. 2024 14:07"));
    QCOMPARE(scanData().begin, QDateTime(QDate(2024, 3, 5), QTime(14, 7)));
    QVERIFY(!scanData().end.isValid());
    frontPanel().setPanel(2, {});
    QVERIFY(ScanRun::ReadBack());
    QVERIFY(scanData().measuringDate.isEmpty() && !scanData().begin.isValid());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::refusedCountsLeaveNothingPresent()
{
    Run run;
    run.earlierScan();
    run.smc.countLines.removeLast();
    expectConfirmation(run.boxes);
    run.boxes.expect(transferTitle, mismatch(" 4"), Button::No).withIcon(Icon::Exclamation).withButtons(Buttons::YesNo, 2);
    ScanRun::Start();
    QCOMPARE(scanData().counts(), QList<double>(5, 0.0));
    QVERIFY(!flags().dataPresent && !flags().dataSaved);
    QCOMPARE(modSMC::state().maximumCount, -1);
    QVERIFY(run.plots.isEmpty());
    QVERIFY(isIdle());
    QVERIFY(!enabled(Menu::Entry::mnuFileSaveAs));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::acceptedCountsOfAShortTransferArePlotted()
{
    Run run;
    run.smc.countLines = {"9", "2"};
    expectConfirmation(run.boxes);
    run.boxes.expect(transferTitle, mismatch(" 2"), Button::Yes);
    ScanRun::Start();
    QCOMPARE(scanData().counts(), (QList<double>{9, 2, 0, 0, 0}));
    QCOMPARE(scanData().received, 2);
    QVERIFY(flags().dataPresent);
    QCOMPARE(run.plots.size(), 1);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theControllerIsBusyAgainAtTheReadBack()
{
    Run run;
    expectConfirmation(run.boxes);
    run.boxes.expect(readTitle, notReady).withButtons(Buttons::Ok);
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command == QStringLiteral("?S1;") && frontPanel().progress() == 100) {
            reply = "S1:0\r\n";
            return true;
        }
        return false;
    };
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 0);
    QVERIFY(!flags().dataPresent);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::measuringDates()
{
    const QStringList months = words("Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec");
    for (int month = 1; month <= 12; ++month)
        QCOMPARE(ScanRecord::MeasuringDate(QDateTime(QDate(2003, month, 7), QTime(9, 5, 59))),
                 months[month - 1] + QStringLiteral(" 07. 2003 09:05"));
    QCOMPARE(ScanRecord::MeasuringDate(QDateTime(QDate(2026, 10, 31), QTime(23, 59))), QStringLiteral("Oct 31. 2026 23:59"));
}

void tst_scanrun::theProgramClosesDuringARun_data()
{
    QTest::addColumn<QString>("command");
    QTest::newRow("upload") << QStringLiteral("GSB10*4;");
    QTest::newRow("start") << QStringLiteral("START:;");
    QTest::newRow("transfer") << QStringLiteral("?CNT;");
}

void tst_scanrun::theProgramClosesDuringARun()
{
    QFETCH(QString, command);
    Run run;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& sent) {
        if (sent == command)
            flags().closing = true;
    };
    ScanRun::Start();
    QCOMPARE(run.smc.commands().last(), command);
    QVERIFY(!Operation::isRunning(Operations::scan) && !flags().dataPresent);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theProgressIsRightFromTheFirstSecond()
{
    Run run;
    flags().scanMode = 0;
    // 101 points of 1 s and a step of 0.5 deg at 1.5 deg/s each: 101 x 1.3333 s = 134.67 s.
    type("10", "60", "0.5", "1");
    run.smc.countLines = QList<QByteArray>(101, "1");
    run.smc.runTime = 134667;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QVERIFY(run.boxes.allShown());
    QCOMPARE(run.panel4.first(), QStringLiteral("0 of 101 points, 0:02:15 remaining"));
    QVERIFY(run.panel4.contains(QStringLiteral("50 of 101 points, 0:01:08 remaining")));
    QVERIFY(run.panel4.contains(QStringLiteral("99 of 101 points, 0:00:02 remaining")));
    QCOMPARE(run.panel4.last(), QString());
    QCOMPARE(run.panel4.at(run.panel4.size() - 2), QStringLiteral("101 of 101 points"));
    for (const QString& text : run.panel4)
        QVERIFY2(!text.contains(QStringLiteral("0:00:00")), qPrintable(text));
    QCOMPARE(run.percents.first(), 0);
    QVERIFY(std::is_sorted(run.percents.cbegin(), run.percents.cend() - 1));
    QCOMPARE(run.percents.at(run.percents.size() - 2), 100);
    QCOMPARE(run.percents.size(), 102);
    QCOMPARE(run.percents.last(), -1);
    QVERIFY(!frontPanel().ExposureTimer.isEnabled());
}

void tst_scanrun::aRunLongerThanExpectedStaysBelow100()
{
    Run run;
    run.smc.runTime = 60000;
    expectConfirmation(run.boxes);
    QStringList late;
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("?S1;") && run.clock.elapsed() > 20000 && run.clock.elapsed() < 60000)
            late << frontPanel().panel(4) + QString::number(frontPanel().progress());
    };
    ScanRun::Start();
    late.removeDuplicates();
    QCOMPARE(late, QStringList{QStringLiteral("4 of 5 points, 0:00:01 remaining99")});
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::theWayToTheStartAngleIsExpected()
{
    Run run;
    // From 90 to 10 deg at 4 deg/s: 20 s before the first point; then five points of 1.333 s.
    ScanRun::state().axis1Position = 90;
    run.smc.runTime = 26667;
    expectConfirmation(run.boxes);
    QStringList atTen;
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(10100, [&] {
                ScanRun::RefreshProgress();
                atTen << frontPanel().panel(4) << QString::number(frontPanel().progress());
            });
    };
    ScanRun::Start();
    QCOMPARE(run.panel4.first(), QStringLiteral("0 of 5 points, 0:00:27 remaining"));
    QCOMPARE(atTen, (QStringList{QStringLiteral("0 of 5 points, 0:00:17 remaining"), QStringLiteral("0")}));
    QCOMPARE(ScanRun::state().axis1Position, std::optional<double>(12));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::silentModeRefreshesOnceASecond()
{
    Run run;
    ScanRun::BeginProgress({10, 60, 0.5, 1, 101});
    QCOMPARE(frontPanel().ExposureTimer.interval(), 1000);
    flags().scanMode = 0;
    ScanRun::BeginProgress({10, 60, 0.5, 1, 101});
    QCOMPARE(frontPanel().ExposureTimer.interval(), 100);
    ScanRun::EndProgress();
}

void tst_scanrun::abortAnsweredNoGoesOn()
{
    Run run;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(1500, [] { ScanRun::Start(); });
    };
    run.boxes.expect(runTitle, abortQuestion, Button::No).withIcon(Icon::Critical).withButtons(Buttons::YesNo).then([&] {
        QVERIFY(Operation::isRunning(Operations::scan));
        run.clock.advance(600);
    });
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("Q;")), 0);
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 1);
    QVERIFY(flags().dataPresent);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortWhilePollingWithoutData()
{
    Run run;
    run.smc.runTime = 3600000;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(5000, [&] {
                ScanRun::Start();
                QVERIFY(isIdle());
            });
    };
    expectAbort(run.boxes, Button::No);
    ScanRun::Start();
    QStringList expected = guinierProgram;
    expected << QStringLiteral("Q;");
    QCOMPARE(run.smc.orders(), expected);
    QVERIFY(!flags().dataPresent && run.plots.isEmpty());
    QVERIFY(isIdle());
    QVERIFY(run.clock.elapsed() < 12000);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortWhilePollingWithData()
{
    Run run;
    run.smc.runTime = 3600000;
    run.smc.countLines = {"5", "40", "7"};
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(5000, [] { ScanRun::Start(); });
    };
    expectAbort(run.boxes, Button::Yes);
    run.boxes.expect(transferTitle, mismatch(" 3"), Button::Yes);
    ScanRun::Start();
    QStringList expected = guinierProgram;
    expected << QStringLiteral("Q;") << QStringLiteral("?CNT;");
    QCOMPARE(run.smc.orders(), expected);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 0, 0}));
    QVERIFY(flags().dataPresent && !flags().dataSaved);
    QCOMPARE(run.plots.size(), 1);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortOfASilentControllerEndsThePolling()
{
    Run run;
    run.smc.runTime = 3600000;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(5000, [&] {
                run.smc.mute = true;
                ScanRun::Start();
            });
    };
    expectAbort(run.boxes, Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("Q;")), 1);
    QVERIFY(run.clock.elapsed() < 20000);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortDuringTheUploadSendsNoMoreLines()
{
    Run run;
    run.earlierScan();
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("CCNT;"))
            run.clock.at(50, [] { ScanRun::Start(); });
    };
    expectAbort(run.boxes, Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1; CLR; CA1; CCNT; Q;"));
    QVERIFY(!flags().dataPresent && !flags().dataSaved);
    QCOMPARE(scanData().size(), 1);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortDuringTheUploadKeepsWhatItRead()
{
    Run run;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("CLR;"))
            run.clock.at(50, [] { ScanRun::Start(); });
    };
    expectAbort(run.boxes, Button::Yes);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("?S1; CLR; Q; ?S1; ?CNT;"));
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(flags().dataPresent && isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::otherEntriesDuringTheTransferLoseNoCount()
{
    Run run;
    run.smc.countLines = {"5", "40", "7", "8", "9"};
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command != QStringLiteral("?CNT;"))
            return false;
        reply = "5\r\n40\r\n";
        run.smc.feedLater(70, "7\r\n");
        run.smc.feedLater(140, "8\r\n9\r\nCEND;\r\n");
        return true;
    };
    bool busy = false;
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("?CNT;"))
            run.clock.at(100, [&] {
                busy = !modSMC::SMCIsReady();
                modSMC::SMCSend(QStringLiteral("IO0;"));
            });
    };
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QVERIFY(busy);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 8, 9}));
    QVERIFY(flags().dataPresent);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortDuringTheTransfer_data()
{
    QTest::addColumn<QString>("during");
    QTest::addColumn<int>("delay");
    QTest::addColumn<bool>("read");
    for (const bool read : {true, false}) {
        for (const int delay : {5, 50, 105, 190}) {
            for (const char* during : {"?CNT;", "?S1;"})
                QTest::addRow("%s %d ms, %s", during, delay, read ? "read" : "not read") << QString::fromLatin1(during) << delay << read;
        }
    }
}

void tst_scanrun::abortDuringTheTransfer()
{
    QFETCH(QString, during);
    QFETCH(int, delay);
    QFETCH(bool, read);
    Run run;
    expectConfirmation(run.boxes);
    bool clicked = false;
    qsizetype transfers = -1;
    run.smc.onCommand = [&](const QString& command) {
        if (command != during || frontPanel().progress() != 100 || clicked)
            return;
        clicked = true;
        run.clock.at(quint32(delay), [&] {
            transfers = run.smc.sent(QStringLiteral("?CNT;"));
            ScanRun::Start();
        });
    };
    expectAbort(run.boxes, read ? Button::Yes : Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("Q;")), 1);
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), transfers + (read ? 1 : 0));
    QCOMPARE(flags().dataPresent, read);
    if (read)
        QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QCOMPARE(run.plots.size(), read ? 1 : 0);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::abortOfARunFoundAtStart()
{
    Run run;
    run.smc.busy = true;
    modSMC::state().numberOfAxes = modSMC::SMCCheck();
    QCOMPARE(startCaption(), QStringLiteral("Abort Data Acquisition"));
    run.smc.writes.clear();
    expectAbort(run.boxes, Button::Yes);
    ScanRun::Start();
    QCOMPARE(run.smc.commands(), words("Q; ?S1; ?CNT;"));
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lineDownDuringTheUpload_data()
{
    QTest::addColumn<int>("line");
    for (int line = 0; line < guinierProgram.size(); ++line)
        QTest::addRow("%d %s", line, qPrintable(guinierProgram[line])) << line;
}

void tst_scanrun::lineDownDuringTheUpload()
{
    QFETCH(int, line);
    Run run;
    const AppLog log;
    run.olderCounts();
    expectConfirmation(run.boxes);
    run.boxes.expect(QStringLiteral("SMC"), QString());
    qsizetype sent = 0;
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("?S1;") || sent++ != line)
            return;
        run.clock.at(20, [&] { run.smc.pull(); });
        run.clock.at(5000, [&] { run.smc.present = true; });
    });
    ScanRun::Start();
    // Once the start is written whole the scan may run: it is not started again, its counts are read.
    const bool again = line + 1 < guinierProgram.size();
    QStringList expected = guinierProgram.mid(0, line + 1);
    if (again)
        expected << guinierProgram;
    expected << QStringLiteral("?CNT;");
    QCOMPARE(run.smc.orders(), expected);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    const QString said = again ? QStringLiteral("The counting program is sent again (2 of 3)")
                               : QStringLiteral("SMC: nothing shows that the scan was started, its counts are looked at");
    QVERIFY(run.panel1.contains(said));
    QVERIFY2(log.text().contains(said + QStringLiteral("\r\n")), qPrintable(log.text()));
    QVERIFY(!Notices::all().isEmpty());
    QVERIFY(flags().dataPresent);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lineDownAfterTheStartOfALongerScan()
{
    Run run;
    run.olderCounts();
    run.smc.runTime = 60000;
    expectConfirmation(run.boxes);
    run.boxes.expect(QStringLiteral("SMC"), QString());
    run.onCommand([&](const QString& command) {
        if (command != QStringLiteral("START:;"))
            return;
        run.clock.at(20, [&] { run.smc.pull(); });
        run.clock.at(30000, [&] { run.smc.present = true; });
    });
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 1);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aLineThatIsLostAgainAndAgain()
{
    Run run;
    run.olderCounts();
    run.earlierScan();
    expectConfirmation(run.boxes);
    for (int i = 0; i < 3; ++i)
        run.boxes.expect(QStringLiteral("SMC"), QString());
    run.boxes.expect(startTitle, unconfirmed).withIcon(Icon::Exclamation);
    run.onCommand([&](const QString& command) {
        if (command != QStringLiteral("LIN10;"))
            return;
        run.clock.at(20, [&] { run.smc.pull(); });
        run.clock.at(5000, [&] { run.smc.present = true; });
    });
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("LIN10;")), 3);
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 0);
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 0);
    QVERIFY(flags().dataPresent && flags().dataSaved);
    QCOMPARE(scanData().size(), 3);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aLineThatStaysDown_data()
{
    QTest::addColumn<bool>("abort");
    QTest::newRow("waited for") << false;
    QTest::newRow("broken off") << true;
}

void tst_scanrun::aLineThatStaysDown()
{
    QFETCH(bool, abort);
    Run run;
    expectConfirmation(run.boxes);
    run.boxes.expect(QStringLiteral("SMC"), QString());
    run.onCommand([&](const QString& command) {
        if (command != QStringLiteral("CA1;"))
            return;
        run.clock.at(20, [&] { run.smc.pull(); });
        if (abort)
            run.clock.at(20000, [&] { ScanRun::Start(); });
    });
    if (abort)
        expectAbort(run.boxes, Button::No);
    else
        run.boxes.expect(startTitle, unconfirmed);
    ScanRun::Start();
    QVERIFY(run.panel1.contains(QStringLiteral("Waiting for the line of the goniometer controller...")));
    QVERIFY(abort ? run.clock.elapsed() < 25000 : run.clock.elapsed() > 600000 && run.clock.elapsed() < 610000);
    QVERIFY(!flags().dataPresent);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aCableThatIsOutDuringTheUpload_data()
{
    QTest::addColumn<QString>("from");
    for (const char* from : {"CLR;", "CCNT;", "RET;"})
        QTest::newRow(from) << QString::fromLatin1(from);
}

void tst_scanrun::aCableThatIsOutDuringTheUpload()
{
    QFETCH(QString, from);
    Run run;
    run.olderCounts();
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command != from || run.smc.sent(from) > 1)
            return;
        run.smc.unplugged = true;
        run.clock.at(20000, [&] { run.smc.unplugged = false; });
    });
    // The program was written whole, and nobody can tell where it went: it is not sent again. Counts in the right number are taken, with a
    // word about it; the same ones once more are not.
    const bool cleared = from == QStringLiteral("RET;") || from == QStringLiteral("CCNT;");
    if (cleared)
        run.boxes.expect(startTitle, unconfirmed);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 0);
    QCOMPARE(flags().dataPresent, !cleared);
    QCOMPARE(Notices::all().size(), cleared ? 0 : 1);
    QVERIFY(run.clock.elapsed() > 20000);
    QVERIFY(run.boxes.allShown());
    if (cleared)
        return;
    run.onCommand([&](const QString& command) {
        if (command != from)
            return;
        run.smc.unplugged = true;
        run.clock.at(static_cast<quint32>(run.clock.elapsed()) + 30000, [&] { run.smc.unplugged = false; });
    });
    flags().dataSaved = true;
    expectConfirmation(run.boxes);
    run.boxes.expect(startTitle, unconfirmed);
    ScanRun::Start();
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aLongScanThatNobodyCanConfirm_data()
{
    QTest::addColumn<bool>("counted");
    QTest::newRow("it has run") << true;
    QTest::newRow("it holds none") << false;
}

void tst_scanrun::aLongScanThatNobodyCanConfirm()
{
    QFETCH(bool, counted);
    Run run;
    run.olderCounts();
    run.clock.msPerRound = 10;
    // Five points of 500 s.
    type("10", "12", "0.5", "500");
    run.smc.runTime = 2500000;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command != QStringLiteral("START:;"))
            return;
        if (!counted)
            run.smc.countLines.clear();
        run.smc.unplugged = true;
        run.clock.at(3000000, [&] { run.smc.unplugged = false; });
    });
    if (!counted)
        run.boxes.expect(startTitle, unconfirmed);
    ScanRun::Start();
    // Finished counts are never erased by another start: they are read.
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 1);
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 1);
    QCOMPARE(flags().dataPresent, counted);
    QCOMPARE(Notices::all().size(), counted ? 1 : 0);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aScanThatIsOverAtTheFirstPoll()
{
    Run run;
    run.olderCounts();
    run.smc.runTime = 300;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QStringList expected = guinierProgram;
    expected << QStringLiteral("?CNT;");
    QCOMPARE(run.smc.orders(), expected);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::stopMotionDuringAScanIsNotUndone()
{
    Run run;
    run.smc.countLines.clear();
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("START:;")) {
            run.smc.unplugged = true;
            run.clock.at(500, [&] {
                run.smc.unplugged = false;
                GoniometerUtilities::Stop();
                run.smc.mute = true;
            });
            run.clock.at(4500, [&] { run.smc.mute = false; });
        }
    });
    run.boxes.expect(transferTitle, mismatch(" 0"), Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 1);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::stopMotionDuringTheUploadStartsNothing()
{
    Run run;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("LIN10;"))
            run.clock.at(50, [] { GoniometerUtilities::Stop(); });
    });
    run.boxes.expect(startTitle, unconfirmed);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("START:;")), 0);
    QCOMPARE(run.smc.commands().last(), QStringLiteral("Q;"));
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anUnattendedScanStopsWhatTheControllerStillDoes()
{
    Run run;
    run.smc.busy = true;
    run.smc.ignoredStops = 1;
    const ScanParameters scan = ScanParameterCheck::CheckScanParameters(1.0);
    QVERIFY(ScanRun::Measure(scan, unattended(scan)) == ScanRun::Result::Counted);
    QStringList expected{QStringLiteral("Q;"), QStringLiteral("Q;")};
    expected << guinierProgram;
    QCOMPARE(run.smc.orders(), expected);
    QCOMPARE(run.smc.commands().first(), QStringLiteral("?S1;"));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anUnattendedScanIsNotSentToABusyController()
{
    Run run;
    run.smc.busy = true;
    run.smc.ignoredStops = 1000;
    const ScanParameters scan = ScanParameterCheck::CheckScanParameters(1.0);
    QVERIFY(ScanRun::Measure(scan, unattended(scan)) == ScanRun::Result::Busy);
    QVERIFY(run.clock.elapsed() > 30000 && run.clock.elapsed() < 40000);
    QVERIFY(run.smc.sent(QStringLiteral("Q;")) >= 5);
    QCOMPARE(run.smc.sent(QStringLiteral("CLR;")), 0);
    run.smc.busy = false;
    run.smc.mute = true;
    const quint64 before = run.clock.elapsed();
    QVERIFY(ScanRun::Measure(scan, unattended(scan)) == ScanRun::Result::Silent);
    QVERIFY(run.clock.elapsed() - before >= 600000 && run.clock.elapsed() - before < 605000);
    QCOMPARE(run.smc.sent(QStringLiteral("CLR;")), 0);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anUnattendedScanThatNeverEnds()
{
    Run run;
    run.smc.runTime = 86000000;
    const ScanParameters scan = ScanParameterCheck::CheckScanParameters(1.0);
    QVERIFY(ScanRun::Measure(scan, unattended(scan)) == ScanRun::Result::Busy);
    // 5 points of 1.333 s, twice, and ten minutes.
    QCOMPARE(ScanRun::LongestTime(scan), 2 * 5 * (1 + 0.5 / 1.5) + 600);
    QVERIFY(run.clock.elapsed() > 613000 && run.clock.elapsed() < 620000);
    QCOMPARE(run.smc.commands().last(), QStringLiteral("Q;"));
    ScanRun::EndProgress();
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lineDownWhilePolling()
{
    Run run;
    run.smc.runTime = 60000;
    expectConfirmation(run.boxes);
    run.boxes.expect(QStringLiteral("SMC"), QString());
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("START:;")) {
            run.clock.at(10000, [&] { run.smc.pull(); });
            run.clock.at(90000, [&] { run.smc.present = true; });
        }
    };
    ScanRun::Start();
    QVERIFY(run.clock.elapsed() > 90000 && run.clock.elapsed() < 97000);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(flags().dataPresent);
    QVERIFY(run.panel1.contains(QStringLiteral("The connection to the goniometer controller (COM1) is there again")));
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lineDownDuringTheTransfer()
{
    Run run;
    expectConfirmation(run.boxes);
    run.smc.onCommand = [&](const QString& command) {
        if (command == QStringLiteral("?CNT;") && run.smc.sent(command) == 1)
            run.clock.at(30, [&] { run.smc.pull(); });
    };
    run.boxes.expect(QStringLiteral("SMC"), QString());
    run.boxes.expect(transferTitle, mismatch("-1"), Button::No);
    ScanRun::Start();
    QCoreApplication::processEvents();
    QVERIFY(!flags().dataPresent);
    QVERIFY(isIdle());
    // The controller still holds the counts: they are fetched when the line is back.
    run.smc.present = true;
    run.clock.advance(2500);
    QVERIFY(ScanRun::ReadBack());
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lineDownForAMomentDuringTheTransfer()
{
    Run run;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command != QStringLiteral("?CNT;") || run.smc.sent(command) != 1)
            return;
        run.clock.at(30, [&] { run.smc.pull(); });
        run.clock.at(5000, [&] { run.smc.present = true; });
    });
    run.boxes.expect(QStringLiteral("SMC"), QString());
    ScanRun::Start();
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(flags().dataPresent && isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anUnansweredTransferIsAskedForAgain_data()
{
    QTest::addColumn<int>("lost");
    QTest::newRow("one") << 1;
    QTest::newRow("two") << 2;
    QTest::newRow("all") << 3;
}

void tst_scanrun::anUnansweredTransferIsAskedForAgain()
{
    QFETCH(int, lost);
    Run run;
    expectConfirmation(run.boxes);
    run.smc.answer = [&](const QString& command, QByteArray&) {
        return command == QStringLiteral("?CNT;") && run.smc.sent(command) <= lost;
    };
    if (lost == 3) {
        run.boxes.expect(QStringLiteral("SMC"), noReply);
        run.boxes.expect(transferTitle, mismatch("-1"), Button::No).withIcon(Icon::Exclamation);
    }
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), qMin(lost + 1, 3));
    QCOMPARE(flags().dataPresent, lost < 3);
    QCOMPARE(scanData().counts(), lost < 3 ? (QList<double>{5, 40, 7, 3, 8}) : QList<double>{0});
    QCOMPARE(run.plots.size(), lost < 3 ? 1 : 0);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aLateTransferBeforeTheNextIsTakenOnce()
{
    Run run;
    const QByteArray counts = "5\r\n40\r\n7\r\n3\r\n8\r\nCEND;\r\n";
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command != QStringLiteral("?CNT;"))
            return false;
        if (run.smc.sent(command) == 2)
            reply = counts + counts;
        return true;
    };
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 2);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aTransferWithAPauseIsOneTransfer()
{
    Run run;
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command != QStringLiteral("?CNT;"))
            return false;
        reply = "5\r\n4";
        run.smc.feedLater(1200, "0\r\n7\r\n");
        run.smc.feedLater(2500, "3\r\n8\r\nCEND;\r\n");
        return true;
    };
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 1);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aTransferThatBreaksOffIsAskedForAgain()
{
    Run run;
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        reply = "5\r\n40\r\n";
        return command == QStringLiteral("?CNT;") && run.smc.sent(command) == 1;
    };
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 2);
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::nothingReceivedLeavesTheScanInMemory_data()
{
    QTest::addColumn<bool>("answers");
    QTest::newRow("it holds none") << true;
    QTest::newRow("it does not answer") << false;
}

void tst_scanrun::nothingReceivedLeavesTheScanInMemory()
{
    QFETCH(bool, answers);
    Run run;
    QVERIFY(ScanRun::ReadBack());
    flags().dataSaved = true;
    type("20", "30", "1", "5");
    run.smc.countLines.clear();
    run.smc.answer = [&](const QString& command, QByteArray&) { return command == QStringLiteral("?CNT;") && !answers; };
    if (!answers)
        run.boxes.expect(QStringLiteral("SMC"), noReply);
    run.boxes.expect(transferTitle, mismatch(answers ? " 0" : "-1"), Button::No);
    GoniometerUtilities::GetRAMData();
    QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
    QCOMPARE(scanData().angles(), (QList<double>{10, 10.5, 11, 11.5, 12}));
    QCOMPARE(scanData().parameters.stop, 12.0);
    QCOMPARE(scanData().maximum, 40);
    QCOMPARE(scanData().minimum, 3);
    QCOMPARE(modSMC::state().maximumCount, 40);
    QVERIFY(flags().dataPresent && flags().dataSaved && enabled(Menu::Entry::mnuFileSaveAs));
    QCOMPARE(run.plots.size(), 1);
    QVERIFY(frontPanel().pointer() == FrontPanel::Pointer::Default);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::lostRepliesBeforeTheReadBack_data()
{
    QTest::addColumn<int>("lost");
    QTest::newRow("one") << 1;
    QTest::newRow("two") << 2;
    QTest::newRow("three") << 3;
}

void tst_scanrun::lostRepliesBeforeTheReadBack()
{
    QFETCH(int, lost);
    Run run;
    expectConfirmation(run.boxes);
    int asked = 0;
    run.smc.answer = [&](const QString& command, QByteArray&) {
        return command == QStringLiteral("?S1;") && frontPanel().progress() == 100 && ++asked <= lost;
    };
    if (lost == 3) {
        run.boxes.expect(QStringLiteral("SMC"), noReply);
        run.boxes.expect(readTitle, notReady);
    }
    ScanRun::Start();
    QCOMPARE(flags().dataPresent, lost < 3);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aProfileBrokenOffDuringTheReadBack_data()
{
    QTest::addColumn<QString>("during");
    QTest::addColumn<int>("delay");
    QTest::addColumn<bool>("read");
    for (const bool read : {true, false}) {
        for (const int delay : {5, 50, 105, 190}) {
            for (const char* during : {"?CNT;", "?S1;"})
                QTest::addRow("%s %d ms, %s", during, delay, read ? "read" : "not read") << QString::fromLatin1(during) << delay << read;
        }
    }
}

void tst_scanrun::aProfileBrokenOffDuringTheReadBack()
{
    QFETCH(QString, during);
    QFETCH(int, delay);
    QFETCH(bool, read);
    Run run;
    pretendRunning(Operations::profile);
    bool clicked = false;
    run.smc.onCommand = [&](const QString& command) {
        if (command != during || clicked)
            return;
        clicked = true;
        run.clock.at(quint32(delay), [&] {
            ScanRun::StopController();
            flags().abort = true;
            if (read)
                QVERIFY(ScanRun::ReadIntoMemory(ScanRun::PanelScan(1.0)).taken());
        });
    };
    QVERIFY(!ScanRun::ReadIntoMemory(ScanRun::PanelScan(1.0)).taken());
    QVERIFY(clicked);
    QCOMPARE(flags().dataPresent, read);
    if (read) {
        QCOMPARE(scanData().counts(), (QList<double>{5, 40, 7, 3, 8}));
        QCOMPARE(scanData().maximum, 40);
        QCOMPARE(modSMC::state().maximumCount, 40);
    }
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anAbortThatIsNotHeardIsRepeated()
{
    Run run;
    run.smc.runTime = 3600000;
    run.smc.ignoredStops = 2;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(5000, [] { ScanRun::Start(); });
    });
    expectAbort(run.boxes, Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("Q;")), 3);
    QVERIFY(run.clock.elapsed() > 15000 && run.clock.elapsed() < 25000);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::anAbortThatIsNeverHeard_data()
{
    QTest::addColumn<bool>("foundAtStart");
    QTest::addColumn<bool>("read");
    for (const bool found : {false, true})
        for (const bool read : {false, true})
            QTest::addRow("%s, %s", found ? "found at the start" : "own run", read ? "read" : "not read") << found << read;
}

void tst_scanrun::anAbortThatIsNeverHeard()
{
    QFETCH(bool, foundAtStart);
    QFETCH(bool, read);
    Run run;
    run.smc.runTime = 3600000;
    run.smc.ignoredStops = 1000;
    const AppLog log;
    if (foundAtStart) {
        run.smc.busy = true;
        modSMC::state().numberOfAxes = modSMC::SMCCheck();
    } else {
        expectConfirmation(run.boxes);
        run.onCommand([&](const QString& command) {
            if (command == QStringLiteral("START:;"))
                run.clock.at(5000, [] { ScanRun::Start(); });
        });
    }
    expectAbort(run.boxes, read ? Button::Yes : Button::No);
    run.boxes
        .expect(runTitle,
                QStringLiteral("The goniometer controller does not stop: it is still busy.\r\n\r\nPlease stop it at its front panel."))
        .withIcon(Icon::Critical);
    ScanRun::Start();
    QVERIFY(run.smc.sent(QStringLiteral("Q;")) >= 5);
    QVERIFY(run.smc.sent(QStringLiteral("Q;")) <= 8);
    QCOMPARE(log.text().count(QStringLiteral("SMC: still busy after \"Q;\", sent again\r\n")), run.smc.sent(QStringLiteral("Q;")) - 1);
    QCOMPARE(run.smc.sent(QStringLiteral("?CNT;")), 0);
    QVERIFY(run.clock.elapsed() > 30000 && run.clock.elapsed() < 50000);
    QVERIFY(isIdle());
    // A later read-back by hand is refused and stops nothing.
    const qsizetype stops = run.smc.sent(QStringLiteral("Q;"));
    run.boxes.expect(readTitle, notReady);
    GoniometerUtilities::GetRAMData();
    QCOMPARE(run.smc.sent(QStringLiteral("Q;")), stops);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aControllerThatStopsSlowlyIsReadBack()
{
    Run run;
    run.smc.runTime = 3600000;
    run.smc.ignoredStops = 1;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("START:;"))
            run.clock.at(5000, [] { ScanRun::Start(); });
    });
    expectAbort(run.boxes, Button::Yes);
    ScanRun::Start();
    QVERIFY(flags().dataPresent && isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::nothingStartsInsideAnother_data()
{
    QTest::addColumn<Entry>("outer");
    QTest::addColumn<QString>("during");
    QTest::addColumn<int>("delay");
    QTest::newRow("the question of a scan") << Entry::Scan << QStringLiteral("?S1;") << 50;
    QTest::newRow("a scan") << Entry::Scan << QStringLiteral("START:;") << 1500;
    QTest::newRow("a read-back") << Entry::ReadBack << QStringLiteral("?CNT;") << 50;
    QTest::newRow("the ratemeter") << Entry::Ratemeter << QStringLiteral("START:;") << 50;
    QTest::newRow("a move") << Entry::GoTo << QStringLiteral("?S1;") << 50;
}

void tst_scanrun::nothingStartsInsideAnother()
{
    QFETCH(Entry, outer);
    QFETCH(QString, during);
    QFETCH(int, delay);
    Run run;
    int clicks = 0;
    QStringList before;
    QStringList after;
    run.smc.onCommand = [&](const QString& command) {
        if (command != during || clicks++ > 0)
            return;
        run.clock.at(quint32(delay), [&] {
            QVERIFY(!Operation::free(Resource::Goniometer));
            before = run.smc.orders();
            for (Entry inner : {Entry::Scan, Entry::ReadBack, Entry::Ratemeter, Entry::GoTo, Entry::Reference, Entry::Offset}) {
                const bool asksAbort = inner == Entry::Scan && Operation::isRunning(Operations::scan);
                if (asksAbort)
                    run.boxes.expect(runTitle, abortQuestion, Button::No);
                else if (inner != Entry::Ratemeter && !(inner == Entry::Scan && ScanRun::state().asking))
                    run.boxes.expect(titleOf(inner), notReady);
                choose(inner);
            }
            after = run.smc.orders();
            if (outer == Entry::Ratemeter)
                Ratemeter::Stop();
            else if (outer == Entry::Scan && !Operation::isRunning(Operations::scan))
                expectConfirmation(run.boxes, Button::Cancel);
            else if (outer == Entry::GoTo)
                run.boxes.expectInput(QStringLiteral("Target position"), QString(), QString());
        });
    };
    if (outer == Entry::Scan && during == QStringLiteral("START:;"))
        expectConfirmation(run.boxes);
    choose(outer);
    QVERIFY(clicks > 0);
    QCOMPARE(after, before);
    QVERIFY(Operation::free(Resource::Goniometer));
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::noNewScanInsideTheEndOfAnAbortedOne()
{
    Run run;
    run.smc.runTime = 3600000;
    run.smc.ignoredStops = 1;
    expectConfirmation(run.boxes);
    run.onCommand([&](const QString& command) {
        if (command == QStringLiteral("START:;")) {
            run.clock.at(5000, [] { ScanRun::Start(); });
            run.clock.at(8000, [&] {
                QVERIFY(!Operation::isRunning(Operations::scan));
                run.boxes.expect(startTitle, notReady);
                ScanRun::Start();
            });
        }
    });
    expectAbort(run.boxes, Button::No);
    ScanRun::Start();
    QCOMPARE(run.smc.sent(QStringLiteral("CLR;")), 1);
    QVERIFY(isIdle());
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aBusyAnswerRightAfterTheEndIsAskedAgain_data()
{
    QTest::addColumn<int>("times");
    QTest::newRow("for a moment") << 2;
    QTest::newRow("for good") << 1000;
}

void tst_scanrun::aBusyAnswerRightAfterTheEndIsAskedAgain()
{
    QFETCH(int, times);
    Run run;
    int idle = 0;
    run.smc.answer = [&](const QString& command, QByteArray& reply) {
        if (command != QStringLiteral("?S1;") || !Operation::isRunning(Operations::scan) || run.clock.elapsed() < 4000)
            return false;
        // The first idle answer ends the polling.
        const bool still = ++idle > 1 && idle <= times + 1;
        reply = still ? "S1:0\r\n" : "S1:128\r\n";
        return true;
    };
    expectConfirmation(run.boxes);
    if (times > 10)
        run.boxes.expect(QStringLiteral("Get RAM data"), QStringLiteral("SMC not ready..."));
    ScanRun::Start();
    QCOMPARE(flags().dataPresent, times <= 10);
    QVERIFY(run.boxes.allShown());
    QVERIFY2(times <= 10 || (idle >= 5 && idle <= 8), qPrintable(QString::number(idle)));
}

void tst_scanrun::aScanFarBeyondItsTimeSaysSo()
{
    Run run;
    run.smc.runTime = 700000;
    expectConfirmation(run.boxes);
    ScanRun::Start();
    QVERIFY(run.panel4.contains(QStringLiteral("busy much longer than expected")));
    QVERIFY(flags().dataPresent);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::pollingGivesUpAfterSilence()
{
    Run run;
    run.smc.mute = true;
    QVERIFY(ScanRun::PollUntilIdle(600, true) == ScanRun::PollResult::Silent);
    QVERIFY(run.clock.elapsed() >= 600000 && run.clock.elapsed() < 604000);
    QCOMPARE(run.panel1.value(0), inProgress + QStringLiteral("|"));
    run.smc.mute = false;
    QVERIFY(ScanRun::PollUntilIdle(600) == ScanRun::PollResult::Idle);
    run.clock.at(300, [] { flags().closing = true; });
    QVERIFY(ScanRun::PollUntilIdle() == ScanRun::PollResult::Closing);
    QVERIFY(run.boxes.allShown());
}

void tst_scanrun::aProfileStepReadsBackWithItsOwnTime()
{
    Run run;
    type("10", "12", "0.5", "37");
    QVERIFY(ScanRun::ReadIntoMemory(ScanRun::PanelScan(37.0)).taken());
    QCOMPARE(scanData().parameters.counterTime, 37.0);
    QCOMPARE(scanData().parameters.numberOfPoints, 5);
    QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("37"));
    QVERIFY(ScanRun::ReadBack());
    QCOMPARE(scanData().parameters.counterTime, 50.0);
    QVERIFY(run.boxes.allShown());
}

QTEST_GUILESS_MAIN(tst_scanrun)
#include "tst_scanrun.moc"
