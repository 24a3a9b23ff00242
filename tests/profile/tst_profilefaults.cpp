// SPDX-License-Identifier: GPL-3.0-or-later
//
// What goes wrong in a weekend while nobody is there: silent controllers, pulled cables, full disks, transfers that are cut; and what an
// operator breaks off.

#include "core/Operation.h"
#include "core/ScanData.h"
#include "goniometer/modSMC.h"
#include "profile/ProfileLab.h"
#include "profile/Unattended.h"
#include "temperature/SteadyState.h"

#ifdef Q_OS_LINUX
#include <sys/mount.h>
#endif

using namespace Qt::StringLiterals;
using namespace profilelab;

namespace {
const QStringList twoSteps{u"T1:295;"_s, u"T1:285;"_s};
const QStringList twoScans{u"Quartz_0285.0.sdf"_s, u"Quartz_0295.0.sdf"_s};

/// Each scan counts 100 more than the one before, so that a file tells which it holds: the n-th start counts n00, n01, ... .
void numberScans(Laboratory& lab)
{
    lab.smc.countLines.clear();
    lab.smc.onCommand = [&lab](const QString& command) {
        if (command == u"CLR;"_s || command == u"CCNT;"_s)
            lab.smc.countLines.clear();
        if (command != u"START:;"_s || !lab.smc.present)
            return;
        lab.smc.countLines.clear();
        for (int i = 0; i < 5; ++i)
            lab.smc.countLines << QByteArray::number(100 * lab.scansStarted() + i);
    };
}

/// The largest count of the scan file that a row has written.
qint32 largestOf(int row)
{
    return ProfileRun::state().rows[row].maximumCount;
}
} // namespace

class tst_profilefaults : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup()
    {
        modTC::reset();
        modCOM::reset();
    }

    // --- the temperature controller

    void aControllerSilentForAMinuteAndAHalfGetsItsSetpointAgain()
    {
        Laboratory lab;
        lab.clock.msPerRound = 10;
        const Unattended nobody;
        lab.profile(twoSteps);
        quint64 since = 0;
        lab.clock.onRound = [&] {
            if (since == 0 && Laboratory::at(1, Phase::Settling))
                since = lab.clock.elapsed();
            lab.silent = since != 0 && lab.clock.elapsed() - since < 90000;
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 2);
        QCOMPARE(ProfileRun::state().rows[1].remarks,
                 QStringList{u"The temperature controller was silent for a minute; the setpoint is sent again."_s});
        QCOMPARE(nobody.shown, QStringList{u"Temperature profile: Temperature profile finished!"_s});
    }

    void aControllerSwitchedOffForTwoMinutesHeatsAgain()
    {
        Laboratory lab;
        lab.clock.msPerRound = 10;
        const Unattended nobody;
        lab.profile(twoSteps);
        quint64 since = 0;
        lab.clock.onRound = [&] {
            if (since == 0 && Laboratory::at(1, Phase::Settling)) {
                since = lab.clock.elapsed();
                lab.temperature = 150; // its setpoint is gone
            }
            lab.silent = since != 0 && lab.clock.elapsed() - since < 120000;
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
    }

    void aSetpointSentIntoALostLineIsSentAgain()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        bool pulled = false;
        lab.clock.onRound = [&] {
            if (pulled || !Laboratory::at(1, Phase::Setpoint))
                return;
            pulled = true;
            lab.tc.hangUp();
            lab.clock.at(30000, [&] { lab.tc.plugBack(); });
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(pulled);
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.temperature, 285.0);
    }

    void aSetpointThatWentIntoALineAlreadyGoneIsSentAgain()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        bool pulled = false;
        lab.clock.onRound = [&] {
            if (pulled || !Laboratory::at(1, Phase::Settling))
                return;
            pulled = true;
            lab.temperature = 295; // where the controller was, and stays
            lab.clock.at(5, [&] { lab.tc.hangUp(); });
            lab.clock.at(3000, [&] { lab.tc.plugBack(); });
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 2);
        QVERIFY2(lab.report().contains("    The line to the temperature controller was lost; the setpoint is sent again.\n"),
                 lab.report().constData());
    }

    void aSensorThatGivesNoNumberCountsAsSilence_data()
    {
        QTest::addColumn<QByteArray>("reading");
        QTest::newRow("text") << QByteArray("S-OVER\r\n");
        QTest::newRow("nothing but zero") << QByteArray("+0.00\r\n");
    }

    void aSensorThatGivesNoNumberCountsAsSilence()
    {
        QFETCH(QByteArray, reading);
        Laboratory lab;
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:10;"_s, u"T1:285;"_s});
        lab.clock.onRound = [&] { lab.fault = ProfileRun::state().current == 0 ? reading : QByteArray(); };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0285.0.sdf"_s});
        QVERIFY2(lab.report().contains("    The temperature controller was silent for ten minutes; the step was skipped.\n"),
                 lab.report().constData());
    }

    void aSensorThatFailsAfterTheWaitNamesTheFileByItsSetpoint()
    {
        Laboratory lab;
        lab.offset = 0.3;
        lab.profile({u"T1:295;"_s});
        bool read = false;
        lab.clock.onRound = [&] {
            read = read || SteadyState::underWay();
            lab.fault = read && !SteadyState::underWay() ? "S-OVER\r\n" : "";
        };
        QVERIFY(lab.run());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
    }

    void aLineThatIsGoneAtTheEndIsWaitedForAndTheControllerReset()
    {
        Laboratory lab;
        lab.clock.msPerRound = 10;
        configuration().ltc.resetAfterTempRun = true;
        const Unattended nobody;
        lab.profile({u"T1:295;"_s});
        lab.smc.onCommand = [&](const QString& command) {
            if (command == u"?CNT;"_s) {
                lab.tc.hangUp();
                lab.clock.at(300000, [&] { lab.tc.plugBack(); });
            }
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY2(lab.tc.written().endsWith("*RST\r\nRANGE 0\r\n"), lab.tc.written().constData());
        QVERIFY(ProfileRun::state().remarks.isEmpty());
    }

    void aLineThatStaysGoneAtTheEndIsReported()
    {
        Laboratory lab;
        lab.clock.msPerRound = 20;
        configuration().ltc.resetAfterTempRun = true;
        const Unattended nobody;
        lab.profile({u"T1:295;"_s});
        lab.smc.onCommand = [&](const QString& command) {
            if (command == u"?CNT;"_s)
                lab.tc.hangUp();
        };
        QVERIFY(ProfileRun::Execute());
        const QByteArray text = "The low-temperature controller was not set back: it keeps the setpoint of the last step!";
        QVERIFY2(lab.report().endsWith(text + "\n"), lab.report().constData());
        QCOMPARE(frontPanel().panel(3).toUtf8(), text);
        QVERIFY(lab.clock.elapsed() < 1300000);
    }

    // --- the goniometer

    void aCablePulledWhileTheScanIsStartedBeginsItAgain_data()
    {
        QTest::addColumn<quint32>("away");
        QTest::newRow("back while the box stands") << quint32{20000};
        QTest::newRow("back later") << quint32{90000};
    }

    void aCablePulledWhileTheScanIsStartedBeginsItAgain()
    {
        QFETCH(quint32, away);
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        numberScans(lab);
        const auto count = lab.smc.onCommand;
        int counts = 0;
        lab.smc.onCommand = [&](const QString& command) {
            count(command);
            if (command == u"CA1;"_s && ++counts == 2) {
                lab.clock.at(1, [&] { lab.smc.pull(); });
                lab.clock.at(away, [&] { lab.smc.present = true; });
            }
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.scansStarted(), qsizetype(2));
        QCOMPARE(largestOf(0), 104);
        QCOMPARE(largestOf(1), 204);
        QVERIFY2(lab.report().contains(
                     "    The line to the goniometer controller was lost while the scan was started; the scan begins again.\n"),
                 lab.report().constData());
    }

    void aCablePulledWhileTheScanCountsCostsNothing()
    {
        Laboratory lab;
        const Unattended nobody;
        lab.profile(twoSteps);
        lab.smc.runTime = 200000;
        numberScans(lab);
        bool pulled = false;
        lab.clock.msPerRound = 10;
        lab.clock.onRound = [&] {
            if (pulled || !Laboratory::at(1, Phase::Acquiring) || lab.scansStarted() < 2)
                return;
            pulled = true;
            lab.clock.at(5000, [&] { lab.smc.pull(); });
            lab.clock.at(70000, [&] { lab.smc.present = true; });
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(pulled);
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.scansStarted(), qsizetype(2));
        QCOMPARE(largestOf(1), 204);
        QVERIFY(ProfileRun::state().rows[1].remarks.isEmpty());
    }

    void aCablePulledInTheTransferIsReadAgain()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        numberScans(lab);
        const auto count = lab.smc.onCommand;
        bool pulled = false;
        lab.smc.onCommand = [&](const QString& command) {
            count(command);
            if (command == u"?CNT;"_s && !pulled) {
                pulled = true;
                lab.clock.at(10, [&] { lab.smc.pull(); });
                lab.clock.at(15000, [&] { lab.smc.present = true; });
            }
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.scansStarted(), qsizetype(2));
        QCOMPARE(largestOf(0), 104);
        QVERIFY(ProfileRun::state().rows[0].remarks.isEmpty());
    }

    void aCablePulledForTwentyMinutesCostsOneScan()
    {
        Laboratory lab;
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:295;"_s, u"T1:285;DW:10;"_s, u"T1:275;DW:700;"_s});
        numberScans(lab);
        bool pulled = false;
        lab.clock.onRound = [&] {
            if (pulled || !Laboratory::at(1, Phase::Dwelling))
                return;
            pulled = true;
            lab.smc.pull();
            lab.clock.at(1200000, [&] { lab.smc.present = true; });
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(pulled);
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0275.0.sdf"_s, u"Quartz_0295.0.sdf"_s}));
        QCOMPARE(largestOf(2), 204);
        QVERIFY2(lab.report().contains("    The line to the goniometer controller was gone for ten minutes; the scan was skipped.\n"),
                 lab.report().constData());
    }

    void aGoniometerThatIsSilentForAMinuteLosesNothing_data()
    {
        QTest::addColumn<bool>("atTransfer");
        QTest::newRow("while it counts") << false;
        QTest::newRow("at the transfer") << true;
    }

    void aGoniometerThatIsSilentForAMinuteLosesNothing()
    {
        QFETCH(bool, atTransfer);
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        numberScans(lab);
        lab.smc.runTime = 90000;
        const auto count = lab.smc.onCommand;
        bool muted = false;
        lab.smc.onCommand = [&](const QString& command) {
            count(command);
            if (muted || command != (atTransfer ? u"?CNT;"_s : u"START:;"_s))
                return;
            muted = lab.smc.mute = true;
            if (atTransfer) {
                lab.clock.at(10, [&] { lab.smc.pull(); }); // the reply that is under way never comes
                lab.clock.at(20, [&] { lab.smc.present = true; });
            }
            lab.clock.at(60000, [&] { lab.smc.mute = false; });
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(muted);
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.scansStarted(), qsizetype(2));
        QCOMPARE(largestOf(0), 104);
    }

    void aGoniometerSwitchedOffInTheScanMeasuresItOnceMore()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        numberScans(lab);
        bool off = false;
        lab.clock.onRound = [&] {
            if (off || lab.scansStarted() != 1 || !Laboratory::at(0, Phase::Acquiring))
                return;
            off = true;
            lab.smc.countLines.clear();
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), twoScans);
        QCOMPARE(lab.scansStarted(), qsizetype(3));
        QCOMPARE(largestOf(0), 204);
        QCOMPARE(largestOf(1), 304);
        QVERIFY2(lab.report().contains("    Received 0 of 5 points.\n"), lab.report().constData());
    }

    void aScanOfWhichNothingEverComesIsNoFileAndReported()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile(twoSteps);
        lab.smc.countLines.clear();
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList());
        QCOMPARE(lab.scansStarted(), qsizetype(4));
        QCOMPARE(lab.report().count("    Received 0 of 5 points.\n"), 4);
        for (const ProfileRun::Row& row : ProfileRun::state().rows)
            QVERIFY(row.phase == Phase::Skipped);
    }

    void aTransferWithTooFewPointsIsSavedAndReported()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        lab.smc.countLines = {"7", "8", "9"};
        lab.expectSummary();
        const QString question =
            u"Received number of data points ( 3) do not match parameter settings!\r\n\r\nDo want to continue anyway?"_s;
        lab.boxes.expect(u"Scan Data Transfer"_s, question, Button::Yes).withButtons(Prompts::Buttons::YesNo, 2).then([&] {
            QVERIFY(lab.boxes.messages.last().unattended == Button::Yes);
        });
        // Somebody who is there may say No: the scan is not saved, and not read again.
        lab.boxes.expect(u"Scan Data Transfer"_s, question, Button::No);
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
        QVERIFY2(lab.report().contains("    Received 3 of 5 points.\n"), lab.report().constData());
        QVERIFY(ProfileRun::state().rows[1].phase == Phase::Skipped);
        QCOMPARE(ProfileRun::state().rows[1].remarks, QStringList{u"Received 3 of 5 points, which were refused; the scan is not saved."_s});
        QCOMPARE(lab.smc.sent(u"?CNT;"_s), qsizetype(2));
    }

    // --- the disk

    void theThirdSaveWaitsForTheDiskAndLosesNothing()
    {
        Laboratory lab;
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s, u"T1:275;"_s, u"T1:265;"_s});
        const QString away = lab.directory.filePath(u"away"_s);
        quint64 since = 0;
        lab.clock.onRound = [&] {
            if (since == 0 && Laboratory::at(2, Phase::Acquiring)) {
                since = lab.clock.elapsed();
                QVERIFY(QDir().rename(lab.work(), away));
                lab.clock.at(400000, [&] { QVERIFY(QDir().rename(away, lab.work())); });
            }
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(),
                 (QStringList{u"Quartz_0265.0.sdf"_s, u"Quartz_0275.0.sdf"_s, u"Quartz_0285.0.sdf"_s, u"Quartz_0295.0.sdf"_s}));
        const qsizetype tries = ProfileRun::state().rows[2].remarks.size();
        // The box is the minute, when nobody answers it.
        QVERIFY2(tries == 7, qPrintable(QString::number(tries)));
        QVERIFY2(lab.report().contains("Quartz_0275.0.sdf' failed: Path not found.\n"), lab.report().constData());
    }

    void aDiskThatStaysFullSendsEachScanToTheProgramDirectory()
    {
        Laboratory lab;
        const Unattended nobody;
        lab.profile(twoSteps);
        lab.clock.msPerRound = 10;
        lab.clock.onRound = [&] {
            if (Laboratory::at(1, Phase::Acquiring))
                QDir(lab.work()).removeRecursively();
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(nobody.shown.filter(u"caused by CreateZELKOFile()"_s).size(), qsizetype(10));
        QCOMPARE(ProfileRun::state().rows[1].file, modTools::state().programDirectory + u"/Quartz_0285.0.sdf"_s);
        QVERIFY(QFileInfo::exists(ProfileRun::state().rows[1].file));
        QVERIFY2(lab.clock.elapsed() >= 10 * 60000 && lab.clock.elapsed() < 12 * 60000, qPrintable(QString::number(lab.clock.elapsed())));
        QCOMPARE(ProfileRun::state().rows[1].remarks.size(), qsizetype(10));
    }

#ifdef Q_OS_LINUX
    void aDiskThatIsReallyFullAtTheThirdSave_data()
    {
        QTest::addColumn<bool>("freed");
        QTest::newRow("space after five minutes") << true;
        QTest::newRow("full for good") << false;
    }

    void aDiskThatIsReallyFullAtTheThirdSave()
    {
        QFETCH(bool, freed);
        Laboratory lab;
        const QByteArray disk = lab.work().toLocal8Bit();
        if (::mount("none", disk.constData(), "tmpfs", 0, "size=64k") != 0)
            QSKIP("A disk of its own needs the rights to mount one.");
        const auto unmount = qScopeGuard([&] { ::umount(disk.constData()); });
        const Unattended nobody;
        lab.clock.msPerRound = 10;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s, u"T1:275;"_s});
        QFile filler(lab.work() + u"/filler"_s);
        bool full = false;
        lab.clock.onRound = [&] {
            if (full || !Laboratory::at(2, Phase::Acquiring))
                return;
            full = true;
            QVERIFY(filler.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
            while (filler.write(QByteArray(4096, 'x')) == 4096) {
            }
            filler.close();
            if (freed)
                lab.clock.at(300000, [&] { QVERIFY(filler.remove()); });
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(full);
        const ProfileRun::Row& row = ProfileRun::state().rows[2];
        QVERIFY2(row.remarks.constFirst().endsWith(u"Quartz_0275.0.sdf' failed: Disk full."_s), qPrintable(row.remarks.constFirst()));
        QVERIFY(nobody.shown.contains(u"File creation: Error # 61 caused by CreateZELKOFile()\nDisk full"_s));
        QCOMPARE(row.file, (freed ? lab.work() : modTools::state().programDirectory) + u"/Quartz_0275.0.sdf"_s);
        QVERIFY(lab.read(row.file).size() > 100);
        QCOMPARE(row.remarks.size(), qsizetype(freed ? 5 : 10));
        QCOMPARE(lab.scans().size(), qsizetype(freed ? 3 : 2));
        for (const QString& name : lab.scans())
            QVERIFY2(lab.read(lab.work() + u'/' + name).size() > 100, qPrintable(name));
    }
#endif

    void anOperatorWhoBreaksOffWaitsNoLongerForTheDisk()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        QVERIFY(QDir(lab.work()).removeRecursively());
        lab.expectSummary();
        lab.boxes.expect(u"File creation"_s, u"Error # 76 caused by CreateZELKOFile()\nPath not found"_s);
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(0, Phase::Saving) && !ProfileRun::state().rows[0].remarks.isEmpty()) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.clock.elapsed() < 60000);
        QVERIFY(QFileInfo::exists(modTools::state().programDirectory + u"/Quartz_0295.0.sdf"_s));
    }

    // --- breaking off

    void anAbortStandsInTheStatusBarAfterTheWayBackToo()
    {
        Laboratory lab;
        configuration().ltc.resetAfterTempRun = true;
        lab.profile(twoSteps);
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished).then([] { QCOMPARE(frontPanel().panel(3), u"Temperature profile aborted!"_s); });
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(0, Phase::Acquiring)) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.tc.written().endsWith("*RST\r\nRANGE 0\r\n"));
        QCOMPARE(frontPanel().panel(3), u"Temperature profile aborted!"_s);
    }

    void aRunThatEndsByAnErrorLeavesNothingSet()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;DW:5;"_s});
        lab.expectSummary();
        lab.clock.onRound = [] {
            if (Laboratory::at(1, Phase::Dwelling))
                throw std::bad_alloc();
        };
        QVERIFY_EXCEPTION_THROWN(ProfileRun::Execute(), std::bad_alloc);
        QVERIFY(!Operation::isRunning(Operations::profile) && !Operation::isRunning(Operations::utility));
        QCOMPARE(entryCaption(), idleCaption);
        QCOMPARE(ProfileRun::state().current, -1);
    }

    void anAbortInTheTransferKeepsTheFilesAndSavesNothing()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        lab.smc.onCommand = [&](const QString& command) {
            if (command == u"?CNT;"_s && ProfileRun::state().current == 1)
                lab.clock.at(5, [] { ProfileRun::Execute(); });
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
        QVERIFY(ProfileRun::state().rows[1].phase == Phase::Aborted);
        QCOMPARE(entryCaption(), idleCaption);
        QVERIFY(lab.stateFile());
    }

    void anAbortInARampStopsTheSeries()
    {
        Laboratory lab;
        lab.profile({u"T1:300;T2:200;DT:10;R:5;"_s});
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (Laboratory::at(2, Phase::Settling) && !asked) {
                asked = true;
                ProfileRun::Execute();
            }
            if (Laboratory::at(2, Phase::Settling))
                lab.offset = 20; // on its way
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0290.0.sdf"_s, u"Quartz_0300.0.sdf"_s}));
        QVERIFY(!lab.tc.written().contains("SETP 1, 270"));
    }

    void anAbortWhileItSettlesReadsNoScan()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        lab.expectSummary();
        lab.expectAbort(Button::Yes);
        lab.boxes.expect(u"Data acquisition"_s, u"No scan was running; nothing was read."_s);
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(1, Phase::Settling)) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.smc.sent(u"?CNT;"_s), 1);
        QVERIFY2(!lab.report().contains("-  setpoint 285"), lab.report().constData()); // with the time of the abort
    }

    void aTemperatureThatTheOperatorAcceptedIsReportedAsSuch()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        lab.offset = 3;
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        lab.clock.onRound = [&] {
            if (Laboratory::at(0, Phase::Settling) && frontPanel().textDisplayText().contains(u"Elapsed"_s))
                frontPanel().pressTextDisplayButton();
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY2(lab.report().contains("    accepted by the operator at 298 K, mean "), lab.report().constData());
        QVERIFY2(lab.report().contains(" K, scatter "), lab.report().constData());
        QCOMPARE(scanData().record().remarks, ProfileRun::state().rows[0].remarks);
    }

    void theCountsReadAfterAnAbortStayInMemoryUnsaved()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        lab.smc.countLines = {"5", "40", "7"};
        lab.expectSummary();
        lab.expectAbort(Button::Yes);
        lab.boxes.expect(u"Scan Data Transfer"_s, QString(), Button::Yes);
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(0, Phase::Acquiring) && lab.scansStarted() == 1) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), QStringList());
        QVERIFY(flags().dataPresent && !flags().dataSaved);
        QCOMPARE(scanData().maximum, 40);
    }

    // --- going on after a power cut

    void whatIsTypedDuringARunRenamesNoneOfItsFiles()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s, u"T1:275;"_s});
        frontPanel().setText(Field::txtComment, u"of this run"_s);
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (Laboratory::at(0, Phase::Acquiring)) {
                frontPanel().setText(Field::txtFileName, u"Corundum"_s);
                frontPanel().setText(Field::txtComment, u"of the next"_s);
            }
            if (!asked && Laboratory::at(2, Phase::Acquiring)) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0285.0.sdf"_s, u"Quartz_0295.0.sdf"_s}));
        for (const QString& name : lab.scans()) {
            const QByteArrayList lines = lab.read(lab.work() + u'/' + name).split('\n');
            QCOMPARE(lines[3], QByteArray("Quartz\r"));
            QCOMPARE(lines[9], QByteArray("/*<beginc>of this run<endc>*/\r"));
        }
        QVERIFY2(lab.report().contains("Sample: Quartz\n"), lab.report().constData());
        QVERIFY(ProfileRun::state().reportFile.contains(u"/Quartz_report_"_s));
        // The next start of the program names the sample as the settings do.
        frontPanel().setText(Field::txtFileName, u"Quartz"_s);
        QCOMPARE(ProfileRun::BrokenOffAfter(), std::optional<qsizetype>(2));
        const qsizetype started = lab.scansStarted();
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute({{}, true}));
        QCOMPARE(lab.scansStarted(), started + 1);
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0275.0.sdf"_s, u"Quartz_0285.0.sdf"_s, u"Quartz_0295.0.sdf"_s}));
        QVERIFY(lab.boxes.allShown());
    }

    void anAbortThatWaitsForTheDiskSavesTheScanThatWasMeasured()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        configuration().general.workDir = lab.directory.filePath(u"none"_s);
        bool refused = false;
        lab.expectSummary();
        lab.boxes.expect(u"File creation"_s, QString()).then([&] { refused = true; });
        lab.expectAbort(Button::Yes);
        // What the abort reads is not this scan any more.
        lab.boxes.expect(u"Scan Data Transfer"_s, QString(), Button::Yes);
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (refused && !asked) {
                asked = true;
                lab.smc.countLines = {"1"};
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        const QString saved = modTools::state().programDirectory + u"/Quartz_0295.0.sdf"_s;
        QVERIFY2(lab.read(saved).endsWith("\r\n 5 \r\n 40 \r\n 7 \r\n 3 \r\n 8 \r\n"), lab.read(saved).constData());
    }

    void aCountLeftOverByTheKilledRunIsStoppedOnlyForIt()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        const auto start = [&](std::optional<bool> resume) { return ProfileRun::Execute({{}, resume}); };
        lab.smc.busy = true;
        const QString busy = u"G318 is busy at the moment. Please wait ..."_s;
        // No run to continue: somebody else's scan.
        lab.boxes.expect(u"Start measurement"_s, busy);
        QVERIFY(!start(true));
        // A run of another sample.
        frontPanel().setText(Field::txtFileName, u"Silicon"_s);
        lab.smc.busy = false;
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(1, Phase::Acquiring)) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!start(std::nullopt));
        frontPanel().setText(Field::txtFileName, u"Quartz"_s);
        lab.smc.busy = true;
        lab.boxes.expect(u"Start measurement"_s, busy);
        QVERIFY(!start(true));
        // The very run, but nobody said that it goes on.
        frontPanel().setText(Field::txtFileName, u"Silicon"_s);
        lab.boxes.expect(u"Start measurement"_s, busy);
        QVERIFY(!start(std::nullopt));
        QCOMPARE(lab.smc.sent(u"Q;"_s), qsizetype(1));
        // A controller that does not heed the stop is asked ten times.
        const auto leaveOver = [&](int heeding) {
            modSMC::state().leftOver = std::make_unique<Operation>(Operations::scan);
            lab.smc.busy = true;
            lab.smc.ignoredStops = 1;
            lab.smc.onCommand = [&lab, heeding, stopped = false, asked = 0](const QString& command) mutable {
                stopped = stopped || command == u"Q;"_s;
                if (stopped && command == u"?S1;"_s && ++asked == heeding - 1)
                    lab.clock.at(50, [&lab] { lab.smc.busy = false; }); // before it is asked again
            };
        };
        leaveOver(11);
        lab.boxes.expect(u"Start measurement"_s, busy);
        QVERIFY(!start(true));
        QCOMPARE(lab.smc.sent(u"Q;"_s), qsizetype(2));
        leaveOver(10);
        lab.boxes.expect(title, QString(), Button::Yes);
        lab.boxes.expect(title, finished);
        QVERIFY(start(true));
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.smc.sent(u"Q;"_s), qsizetype(3));
        QVERIFY(!Operation::isRunning(Operations::scan));
        QCOMPARE(lab.scans(), (QStringList{u"Silicon_0285.0.sdf"_s, u"Silicon_0295.0.sdf"_s}));
    }

    void aRunKilledOnItsWayBackMeasuresNothingAgain()
    {
        Laboratory lab;
        configuration().ltc.resetAfterTempRun = true;
        lab.profile(twoSteps);
        QVERIFY(lab.run());
        // What stands beside the profile when the program dies after the last scan.
        bool seen = false;
        QByteArray before;
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        lab.clock.onRound = [&] {
            if (Laboratory::at(1, Phase::Done) && !seen) {
                seen = true;
                before = lab.read(ProfileRun::StateFile());
            }
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY2(before.endsWith("done=2\r\n"), before.constData());
        QFile file(ProfileRun::StateFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(before);
        file.close();
        lab.tc.forget();
        const qsizetype started = lab.scansStarted();
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute({{}, true}));
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scansStarted(), started);
        QVERIFY(!lab.tc.written().contains("SETP"));
        QVERIFY(lab.tc.written().endsWith("*RST\r\nRANGE 0\r\n"));
        QVERIFY(!lab.stateFile());
    }

    void aRehearsalLeavesTheRunThatWasBrokenOffAlone()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(1, Phase::Acquiring)) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        const QByteArray before = lab.read(ProfileRun::StateFile());
        QVERIFY2(before.endsWith("done=1\r\n"), before.constData());
        configuration().general.autoSave = false;
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.read(ProfileRun::StateFile()), before);
        configuration().general.autoSave = true;
        flags().dataSaved = true; // the rehearsal's scan is not missed
        lab.expectSummary();
        lab.boxes.expect(title, u"The last run of this profile stopped after step 1. Continue there?"_s, Button::Yes);
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), twoScans);
    }

    void aStateFileThatIsDamagedBeginsAnew_data()
    {
        QTest::addColumn<QByteArray>("done");
        QTest::newRow("too many") << QByteArray("done=99");
        QTest::newRow("negative") << QByteArray("done=-1");
        QTest::newRow("no number") << QByteArray("done=one");
        QTest::newRow("missing") << QByteArray();
    }

    void aStateFileThatIsDamagedBeginsAnew()
    {
        QFETCH(QByteArray, done);
        Laboratory lab;
        lab.profile(twoSteps);
        QByteArray mark;
        lab.smc.onCommand = [&](const QString&) {
            if (mark.isEmpty())
                mark = lab.read(ProfileRun::StateFile()).split('\r').constFirst();
        };
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        lab.smc.onCommand(QString());
        lab.clock.onRound = [&] {
            if (Operation::isRunning(Operations::profile))
                lab.smc.onCommand(QString());
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(mark.startsWith("profile="));
        QFile file(ProfileRun::StateFile());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(mark + "\r\n" + done + "\r\n");
        file.close();
        const qsizetype started = lab.scansStarted();
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute({{}, true}));
        QCOMPARE(lab.scansStarted() - started, qsizetype(2));
        QCOMPARE(lab.scans().size(), qsizetype(4));
        QVERIFY(lab.boxes.allShown());
    }

    void aProgressThatCannotBeWrittenIsReportedAndTheRunGoesOn()
    {
        Laboratory lab;
        lab.profile(twoSteps);
        TProfile::state().currentFile = lab.directory.filePath(u"gone/p.gtp"_s);
        QVERIFY(lab.run());
        QCOMPARE(lab.scans(), twoScans);
        QVERIFY2(lab.report().contains("    The progress could not be written to '"), lab.report().constData());
    }

    void aReportThatCannotBeWrittenIsInTheLog_data()
    {
        QTest::addColumn<bool>("log");
        QTest::newRow("log on") << true;
        QTest::newRow("log off") << false;
    }

    void aReportThatCannotBeWrittenIsInTheLog()
    {
        QFETCH(bool, log);
        Laboratory lab;
        flags().log = log;
        lab.profile({u"T1:295;"_s});
        QString report;
        lab.clock.onRound = [&] {
            report = ProfileRun::state().reportFile;
            if (!report.isEmpty())
                QDir().mkpath(report); // a folder in its place
        };
        QVERIFY(lab.run());
        lab.clock.onRound = nullptr;
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
        const QString line = u"The report '"_s + report + u"' could not be written.\r\n"_s;
        QCOMPARE(AppLog::textIn(modTools::state().programDirectory).contains(line), log);
    }

    void tooManyScansAreRefusedBeforeAnythingIsSent()
    {
        Laboratory lab;
        lab.profile({u"T1:10;T2:300;DT:0.001;"_s});
        lab.boxes.expect(title, u"The profile asks for more than 30000 scans."_s);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.tc.written().isEmpty());
        QVERIFY(!lab.stateFile());
    }
};

QTEST_GUILESS_MAIN(tst_profilefaults)
#include "tst_profilefaults.moc"
