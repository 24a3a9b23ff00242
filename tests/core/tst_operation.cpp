// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "support/ResetProgram.h"

#include <QTest>

using Entry = Menu::Entry;

/// What runs, what that bars, and who may end it.
class TestOperation : public QObject
{
    Q_OBJECT

    static bool enabled(Entry entry) { return frontPanel().isEntryEnabled(entry); }
    static QString caption(Entry entry) { return frontPanel().entryCaption(entry); }

private slots:
    void init()
    {
        resetProgram();
        flags().dataPresent = true;
        frontPanel().refreshEntries();
    }

    void nothingBeginsThatNeedsWhatSomebodyHolds()
    {
        const Operation scan(Operations::scan);
        QVERIFY(scan.granted() && scan.goesOn());
        const Operation utility(Operations::utility);
        QVERIFY(!utility.granted() && !utility.goesOn());
        const Operation temperature(Operations::temperature);
        QVERIFY(temperature.granted());
        QCOMPARE(Operation::names(), (QStringList{QStringLiteral("scan"), QStringLiteral("temperature")}));
    }

    void oneThatIsRefusedLeavesTheOtherAlone()
    {
        const Operation meter(Operations::ratemeter);
        {
            const Operation refused(Operations::ratemeter);
            QVERIFY(!refused.granted());
        }
        QVERIFY(Operation::isRunning(Operations::ratemeter));
        QVERIFY(!Operation::free(Resource::Goniometer));
    }

    void entriesFollowAndTheOneThatBreaksOffStays()
    {
        QVERIFY(enabled(Entry::mnuExtrasGoniometerGoTo) && enabled(Entry::mnuFileSaveAs));
        {
            const Operation scan(Operations::scan);
            QVERIFY(!enabled(Entry::mnuExtrasGoniometerGoTo) && !enabled(Entry::mnuFileSaveAs));
            QVERIFY(enabled(Entry::mnuMeasStartAcquisition));
            QCOMPARE(caption(Entry::mnuMeasStartAcquisition), QStringLiteral("Abort Data Acquisition"));
            QVERIFY(frontPanel().parameterFieldsReadOnly());
        }
        QVERIFY(enabled(Entry::mnuExtrasGoniometerGoTo) && enabled(Entry::mnuFileSaveAs));
        QCOMPARE(caption(Entry::mnuMeasStartAcquisition), QStringLiteral("&Start Data Acquisition"));
        QVERIFY(!frontPanel().parameterFieldsReadOnly());
    }

    void whatIsGivenBackIsFreeBeforeTheEnd()
    {
        Operation scan(Operations::scan);
        QVERIFY(!enabled(Entry::mnuFileSaveAs));
        scan.release(Resource::ScanToSave);
        QVERIFY(enabled(Entry::mnuFileSaveAs));
        QVERIFY(!enabled(Entry::mnuFileOpen));
    }

    void oneThatIsBrokenOffBarsNoEntryButHoldsItsDevice()
    {
        Operation scan(Operations::scan);
        const Operation::Watch watch;
        QVERIFY(!watch.brokenOff());
        scan.cancel();
        QVERIFY(watch.brokenOff());
        QVERIFY(!scan.goesOn() && !Operation::isRunning(Operations::scan) && !Operation::anyRun());
        QCOMPARE(caption(Entry::mnuMeasStartAcquisition), QStringLiteral("&Start Data Acquisition"));
        QVERIFY(enabled(Entry::mnuExtrasGoniometerGoTo));
        // The controller still stops: whoever needs it is refused, the communication test included.
        QVERIFY(!Operation(Operations::utility).granted());
        QVERIFY(!Operation(Operations::communicationTest).granted());
    }

    void aRunThatEndsIsNoticedByWhoWatchesIt()
    {
        auto scan = std::make_unique<Operation>(Operations::scan);
        const Operation::Watch watch;
        scan.reset();
        QVERIFY(watch.brokenOff());
        QVERIFY(!Operation::Watch().brokenOff());
        flags().closing = true;
        QVERIFY(Operation::Watch().brokenOff());
    }

    void anUnattendedRunLocksTheNameToo()
    {
        QVERIFY(!Operation::anyUnattended() && !frontPanel().nameFieldsReadOnly());
        const Operation profile(Operations::profile);
        QVERIFY(Operation::anyUnattended() && frontPanel().nameFieldsReadOnly());
        QVERIFY(enabled(Entry::mnuMeasExecTempProfile) && !enabled(Entry::mnuMeasStartAcquisition));
        QVERIFY(!enabled(Entry::mnuFileSettings) && !enabled(Entry::mnuFileSetWorkDir));
    }

    void whoWantsToWaitKnowsWhetherItHoldsSomebodyUp()
    {
        const Operation temperature(Operations::temperature);
        QVERIFY(Operation::nothingWaits(Operations::temperature));
        const Operation scan(Operations::scan);
        QVERIFY(!Operation::nothingWaits(Operations::temperature));
    }
};

QTEST_GUILESS_MAIN(TestOperation)
#include "tst_operation.moc"
