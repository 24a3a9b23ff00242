// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Operation.h"
#include "goniometer/ScanRun.h"
#include "profile/ProfileLab.h"

#include <QRegularExpression>

#include <utility>

using namespace Qt::StringLiterals;
using namespace profilelab;

class tst_profilerun : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup()
    {
        modTC::reset();
        modCOM::reset();
    }

    void theQuestionsOfTheStartComeInOrder()
    {
        Laboratory lab;
        lab.profile({u"#nothing"_s});
        flags().generatorRemote = flags().idlePower = true;
        flags().dataPresent = true;
        bool edited = false;
        lab.boxes.expect(u"X-Ray generator"_s, u"X-Ray Generator seems to be at idle power.\r\nPlease adjust power settings."_s);
        lab.boxes
            .expect(u"Start measurement"_s, u"Data in memory were not yet saved!\r\n\r\nDo you really want to continue?"_s, Button::Yes)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withIcon(Prompts::Icon::Question)
            .withAnswers(Button::Yes, Button::No, Button::No);
        lab.boxes.expect(title, ProfileRun::SummaryText(), Button::No).then([&] { QVERIFY(edited); });
        QVERIFY(!ProfileRun::Execute({[&edited] { return edited = true; }, {}}));
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(entryCaption(), idleCaption);
        QVERIFY(lab.tc.written().isEmpty());
    }

    void whatStopsTheStart()
    {
        Laboratory lab;
        lab.profile({u"T1:300;"_s});
        lab.smc.busy = true;
        lab.boxes.expect(u"Start measurement"_s, u"G318 is busy at the moment. Please wait ..."_s);
        QVERIFY(!ProfileRun::Execute());
        lab.smc.busy = false;
        flags().dataPresent = true;
        lab.boxes.expect(u"Start measurement"_s, QString(), Button::No);
        QVERIFY(!ProfileRun::Execute());
        flags().dataPresent = false;
        frontPanel().setText(Field::txtFileName, u" "_s);
        lab.boxes.expect(u"Missing parameter"_s, u"Please enter a sample/file name."_s);
        QVERIFY(!ProfileRun::Execute());
        frontPanel().setText(Field::txtFileName, u"Quartz"_s);
        QVERIFY(!ProfileRun::Execute({[] { return false; }, {}}));
        flags().ltcEnabled = false;
        lab.boxes.expect(title, u"No temperature controller is enabled."_s);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.smc.orders(), QStringList());
        QVERIFY(lab.tc.written().isEmpty());
    }

    void aNameThatNoDiskTakesIsRefusedBeforeTheRun_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("folder") << u"a/b"_s;
        QTest::newRow("star") << u"a*"_s;
        QTest::newRow("too long") << QString(251, u'a');
    }

    void aNameThatNoDiskTakesIsRefusedBeforeTheRun()
    {
        QFETCH(QString, name);
        Laboratory lab;
        lab.profile({u"T1:300;"_s});
        frontPanel().setText(Field::txtFileName, name);
        lab.boxes.expect(u"Invalid parameter"_s, u"'"_s + name + u"' is not a valid file name."_s);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.tc.written().isEmpty());
    }

    void blanksAroundTheNameAreNoPartOfTheFiles()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        frontPanel().setText(Field::txtFileName, u" Quartz "_s);
        lab.boxes.expect(title, QString(), Button::Yes);
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
    }

    // --- one at a time

    void aProfileDoesNotStartInsideTheQuestionOfAScan()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        bool result = true;
        lab.boxes.expect(u"Start scan"_s, QString(), Button::Cancel).then([&] { result = ProfileRun::Execute(); });
        lab.boxes.expect(u"Start measurement"_s, u"G318 is busy at the moment. Please wait ..."_s);
        ScanRun::Start();
        QVERIFY(!result);
        QVERIFY(lab.boxes.allShown());
        QVERIFY(!Operation::isRunning(Operations::utility));
        QVERIFY(lab.run());
    }

    void noScanStartsInsideTheQuestionsOfAProfile()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        int tried = 0;
        const auto scan = [&] {
            ++tried;
            QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
            ScanRun::Start();
        };
        flags().dataPresent = true;
        const auto expectRefusal = [&] { lab.boxes.expect(u"Start scan"_s, u"SMC not ready..."_s); };
        lab.boxes.expect(u"Start measurement"_s, QString(), Button::Yes).then(scan);
        expectRefusal();
        expectRefusal();
        lab.expectSummary(Button::No);
        lab.boxes.then(scan);
        expectRefusal();
        QVERIFY(!ProfileRun::Execute({[&] {
                                          scan();
                                          return true;
                                      },
                                      {}}));
        QCOMPARE(tried, 3);
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scansStarted(), qsizetype(0));
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
        QVERIFY(!Operation::isRunning(Operations::utility));
    }

    void aSecondClickWhileTheFirstIsAskingDoesNothing()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        int clicks = 0;
        const auto click = [&] {
            ++clicks;
            QVERIFY(!ProfileRun::Execute());
        };
        lab.expectSummary();
        lab.boxes.then(click);
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute({[&] {
                                         click();
                                         return true;
                                     },
                                     {}}));
        QCOMPARE(clicks, 2);
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans().size(), qsizetype(1));
    }

    void aProfileOfCommentsFinishesAtOnce()
    {
        Laboratory lab;
        lab.profile({u"#a"_s, u";b"_s, u"'T1:300;"_s, QString()});
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.smc.orders(), QStringList());
        QCOMPARE(lab.scans(), QStringList());
    }

    void aWholeRun()
    {
        Laboratory lab;
        lab.profile({u"#series"_s, u"t1:295;T2:285;dt:10;R:2.5;DW:3;E:7;"_s, u"T1:280;"_s});
        lab.offset = 0.3;
        lab.expectSummary();
        lab.boxes.expect(title, finished).then([] { QCOMPARE(entryCaption(), runningCaption); });
        QString counterTime;
        lab.smc.onCommand = [&](const QString& command) {
            if (command == u"START:;"_s)
                counterTime += frontPanel().text(Field::CounterTime) + u" "_s;
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0280.3.sdf"_s, u"Quartz_0285.3.sdf"_s, u"Quartz_0295.3.sdf"_s}));
        QCOMPARE(counterTime, u"7 7 1 "_s);
        QCOMPARE(frontPanel().text(Field::CounterTime), u"1"_s);
        QCOMPARE(scanParameters().counterTime, 1.0);
        const QByteArray sent = lab.tc.written();
        QVERIFY2(sent.startsWith("PID 1, 300, 50, 0\r\nRAMP 1,1,2.5\r\nRANGE 3\r\nSETP 1, 295\r\nKRDG?\r\n"), sent.constData());
        QVERIFY(sent.indexOf("SETP 1, 285\r\n") > sent.indexOf("SETP 1, 295\r\n"));
        QVERIFY(sent.contains("RAMP 1,0,0\r\nRANGE 3\r\nSETP 1, 280\r\n"));
        QCOMPARE(lab.smc.sent(u"START:;"_s), qsizetype(3));
        QCOMPARE(lab.smc.sent(u"CLR;"_s), qsizetype(3));
        QVERIFY(lab.panel3.contains(u"Setting new temperature setpoint..."_s));
        QVERIFY(lab.panel3.contains(u"Dwelling: 0 of 3 seconds..."_s));
        QVERIFY(lab.panel3.contains(u"Dwelling: 2 of 3 seconds..."_s));
        QVERIFY(lab.panel1.contains(u"Data acquisition in progress...|"_s));
        QVERIFY(lab.panel1.contains(u"Data acquisition in progress.../ "_s));
        QVERIFY(lab.panel1.contains(u"Data acquisition done."_s));
        QCOMPARE(entryCaption(), idleCaption);
        QVERIFY(!lab.stateFile());
        QVERIFY(!Operation::isRunning(Operations::profile));
        QVERIFY(flags().dataPresent && flags().dataSaved);
        QCOMPARE(ProfileRun::state().rows.constFirst().maximumCount, 40);
        QFile report(ProfileRun::state().reportFile);
        QVERIFY(report.open(QIODevice::ReadOnly));
        const QByteArray text = report.readAll();
        QVERIFY2(text.contains("setpoint 295 K  read 295.3 K") && text.contains("counter time 7 s  maximum 40 counts"), text.constData());
    }

    void takenNamesGetAnIndex()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        for (int i = 0; i < 3; ++i) {
            lab.expectSummary();
            lab.boxes.expect(title, finished);
            QVERIFY(ProfileRun::Execute());
        }
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0295.0(2).sdf"_s, u"Quartz_0295.0(3).sdf"_s, u"Quartz_0295.0.sdf"_s}));
        QVERIFY(lab.boxes.allShown());
    }

    void aRehearsalWritesNoScan()
    {
        Laboratory lab;
        configuration().general.autoSave = false;
        lab.profile({u"T1:295;"_s});
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList());
        QCOMPARE(ProfileRun::state().rows.constFirst().file, u"Quartz_0295.0.sdf"_s);
    }

    void anAbortStopsEveryPhase_data()
    {
        QTest::addColumn<int>("phase");
        QTest::newRow("setpoint") << int(Phase::Setpoint);
        QTest::newRow("settling") << int(Phase::Settling);
        QTest::newRow("dwelling") << int(Phase::Dwelling);
        QTest::newRow("measuring") << int(Phase::Acquiring);
    }

    void anAbortStopsEveryPhase()
    {
        QFETCH(int, phase);
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;DW:30;"_s, u"T1:275;"_s});
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            const ProfileRun::State& run = ProfileRun::state();
            if (asked || run.current != 1 || int(run.rows[1].phase) != phase)
                return;
            asked = true;
            QVERIFY(!ProfileRun::Execute());
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
        QCOMPARE(lab.smc.sent(u"Q;"_s), qsizetype(1));
        QVERIFY(!lab.tc.written().contains("SETP 1, 275"));
        QVERIFY(lab.panel3.contains(u"Temperature profile aborted!"_s));
        QVERIFY(ProfileRun::state().rows[1].phase == Phase::Aborted);
        QVERIFY(!flags().abort);
        QCOMPARE(entryCaption(), idleCaption);
        QVERIFY(lab.stateFile());
    }

    void onlyYesAborts()
    {
        Laboratory lab;
        lab.profile({u"T1:295;DW:5;"_s});
        lab.expectSummary();
        lab.boxes.expect(u"Temperature Profile - Data acquisition"_s, QString(), Button::No);
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && ProfileRun::state().current == 0 && ProfileRun::state().rows[0].phase == Phase::Dwelling) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans().size(), qsizetype(1));
        QVERIFY(lab.boxes.allShown());
    }

    void theLastRunIsContinuedWhereItStopped_data()
    {
        QTest::addColumn<int>("answer");
        QTest::addColumn<int>("scans");
        QTest::newRow("Yes") << int(Button::Yes) << 2;
        QTest::newRow("No") << int(Button::No) << 3;
        QTest::newRow("Cancel") << int(Button::Cancel) << 0;
    }

    void theLastRunIsContinuedWhereItStopped()
    {
        QFETCH(int, answer);
        QFETCH(int, scans);
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;DW:30;"_s, u"T1:275;"_s});
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && ProfileRun::state().current == 1 && ProfileRun::state().rows[1].phase == Phase::Dwelling) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        ProfileRun::Execute();
        lab.expectSummary();
        lab.boxes.expect(title, u"The last run of this profile stopped after step 1. Continue there?"_s, Button(answer))
            .withButtons(Prompts::Buttons::YesNoCancel);
        if (scans > 0)
            lab.boxes.expect(title, finished);
        const qsizetype before = lab.smc.sent(u"START:;"_s);
        QCOMPARE(ProfileRun::Execute(), scans > 0);
        QCOMPARE(lab.smc.sent(u"START:;"_s) - before, qsizetype(scans));
        QCOMPARE(lab.stateFile(), scans == 0);
        QVERIFY(lab.boxes.allShown());
    }

    void anotherProfileIsNotContinued()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s});
        QVERIFY(TProfile::WriteLines(ProfileRun::StateFile(), {u"profile=0123"_s, u"done=1"_s}) == 0);
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans().size(), qsizetype(2));
        QVERIFY(lab.boxes.allShown());
    }

    void aFailedSaveIsTriedAgainEveryMinute()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        const QString gone = lab.work();
        QVERIFY(QDir(gone).removeRecursively());
        lab.expectSummary();
        lab.boxes.expect(QString(), QString());
        lab.boxes.expect(QString(), QString()).then([&] { QDir().mkpath(gone); });
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0295.0.sdf"_s});
        QVERIFY(lab.clock.elapsed() >= 120000);
        QCOMPARE(ProfileRun::state().rows[0].remarks.size(), qsizetype(2));
    }

    void aScanThatNoDiskTakesGoesToTheProgramDirectory()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        QVERIFY(QDir(lab.work()).removeRecursively());
        lab.expectSummary();
        for (int i = 0; i < 10; ++i)
            lab.boxes.expect(QString(), QString());
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(QFileInfo::exists(modTools::state().programDirectory + u"/Quartz_0295.0.sdf"_s));
    }

    void aSilentTemperatureControllerCostsOneStep()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s});
        lab.clock.msPerRound = 20;
        lab.silent = true;
        lab.clock.onRound = [&] { lab.silent = ProfileRun::state().current == 0; };
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0285.0.sdf"_s});
        QVERIFY(ProfileRun::state().rows[0].phase == Phase::Skipped);
        QVERIFY(lab.clock.elapsed() > 600000);
    }

    void aSilentGoniometerCostsOneScan()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s, u"T1:285;"_s});
        lab.clock.msPerRound = 20;
        lab.clock.onRound = [&] {
            const ProfileRun::State& run = ProfileRun::state();
            lab.smc.mute = run.current == 0 && run.rows[0].phase == Phase::Acquiring;
        };
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0285.0.sdf"_s});
        QVERIFY(ProfileRun::state().rows[0].phase == Phase::Skipped);
    }

    void theReportFromItsFirstLineToItsLast()
    {
        Laboratory lab;
        lab.offset = 0.25;
        lab.profile({u"T1:295;E:2;"_s, u"T1:none;"_s, u"T1:285;"_s});
        QVERIFY(lab.run());
        const QString moment = u"\\d{4}-\\d{2}-\\d{2} \\d{2}:\\d{2}:\\d{2}"_s;
        const QString report = QString::fromUtf8(lab.report()).replace(QRegularExpression(moment), u"<moment>"_s);
        const QString read = u"  mean %1  scatter 0.000  counter time %2 s  maximum 40 counts  file "_s;
        const QStringList expected{
            u"Temperature profile run"_s,
            u"Sample: Quartz"_s,
            u"Profile: "_s + lab.directory.filePath(u"p.gtp"_s),
            u"Started: <moment>"_s,
            u"Note: line 2: T1 is not a number; the line is skipped"_s,
            QString(),
            u"<moment>  setpoint 295 K  read 295.25 K"_s + read.arg(u"295.250"_s, u"2"_s) + lab.work() + u"/Quartz_0295.3.sdf"_s,
            u"<moment>  setpoint 285 K  read 285.25 K"_s + read.arg(u"285.250"_s, u"1"_s) + lab.work() + u"/Quartz_0285.3.sdf"_s,
            QString()};
        QCOMPARE(report, expected.join(u'\n'));
    }

    void theWordsOfThePhases()
    {
        const std::pair<Phase, QString> words[] = {{Phase::Pending, u"waiting"_s},
                                                   {Phase::Setpoint, u"setting setpoint"_s},
                                                   {Phase::Settling, u"settling"_s},
                                                   {Phase::Dwelling, u"dwelling"_s},
                                                   {Phase::Acquiring, u"measuring"_s},
                                                   {Phase::Saving, u"saving"_s},
                                                   {Phase::Earlier, u"done by the run before"_s},
                                                   {Phase::Done, u"done"_s},
                                                   {Phase::Skipped, u"skipped"_s},
                                                   {Phase::Aborted, u"aborted"_s}};
        for (const auto& [phase, word] : words)
            QCOMPARE(ProfileRun::phaseText(phase), word);
    }

    void theWindowIsToldThatTheRunHasEnded()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        QStringList told;
        QObject::connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, &lab.context, [&told] {
            const ProfileRun::State& run = ProfileRun::state();
            told << QString::number(run.current) + (Operation::isRunning(Operations::profile) ? u" runs"_s : u" rests"_s) +
                        (run.rows.isEmpty() ? QString() : u", "_s + ProfileRun::phaseText(run.rows[0].phase));
        });
        QVERIFY(lab.run());
        QVERIFY(told.contains(u"0 runs, "_s + ProfileRun::phaseText(Phase::Acquiring)));
        QCOMPARE(told.constLast(), u"-1 rests, "_s + ProfileRun::phaseText(Phase::Done));
    }

    void theWayBackOfTheLowTemperatureController_data()
    {
        QTest::addColumn<bool>("reset");
        QTest::newRow("ResetAfterTempRun") << true;
        QTest::newRow("left alone") << false;
    }

    void theWayBackOfTheLowTemperatureController()
    {
        QFETCH(bool, reset);
        Laboratory lab;
        configuration().ltc.resetAfterTempRun = reset;
        lab.profile({u"T1:295;"_s});
        lab.expectSummary();
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.tc.written().endsWith("*RST\r\nRANGE 0\r\n"), reset);
    }
};

QTEST_GUILESS_MAIN(tst_profilerun)
#include "tst_profilerun.moc"
