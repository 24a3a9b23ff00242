// SPDX-License-Identifier: GPL-3.0-or-later
//
// Profile runs with the high-temperature controller and with the laser heater.

#include "profile/ProfileLab.h"
#include "profile/Unattended.h"

using namespace Qt::StringLiterals;
using namespace profilelab;

namespace {
/// The laser currents set, in order.
QByteArrayList currentsSet(const Laboratory& lab)
{
    QByteArrayList all;
    for (const QByteArray& line : lab.tc.writes())
        if (line.startsWith(":w 30 "))
            all << line.mid(6).chopped(1);
    return all;
}

/// The setpoint of each block written.
QList<int> setpointsOf(const QList<QByteArray>& blocks)
{
    QList<int> all;
    for (const QByteArray& block : blocks)
        all << Laboratory::unpacked(block, 4);
    return all;
}

void expectRefusedSetpoint(Laboratory& lab, Button answer)
{
    lab.boxes.expect(u"New setpoint"_s, u"Unable to change setpoint!"_s, answer)
        .withButtons(Prompts::Buttons::AbortRetryIgnore)
        .withIcon(Prompts::Icon::Exclamation)
        .withAnswers(Button::Retry, Button::Retry, Button::Retry);
}
} // namespace

class tst_profileheaters : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup()
    {
        modTC::reset();
        modCOM::reset();
    }

    // --- the high-temperature controller

    void theFurnaceGetsParametersRampAndSetpointAndGoesBackTo22()
    {
        Laboratory lab(Heater::HTC);
        configuration().ltc.smallWindow = 2;
        lab.offset = 1;
        lab.profile({u"T1:400;T2:600;DT:200;R:7;DW:2;"_s});
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        const QList<QByteArray> blocks = lab.blocksWritten();
        QCOMPARE(setpointsOf(blocks), (QList<int>{20, 400, 400, 600, 22}));
        const auto parameters = [&](int block) {
            QList<int> all;
            for (const int position : {7, 10, 13, 25})
                all << Laboratory::unpacked(blocks.at(block), position);
            return all;
        };
        QCOMPARE(parameters(0), (QList<int>{60, 10, 3, 7}));
        QCOMPARE(parameters(2), (QList<int>{71, 8, 2, 7}));
        // The frame of the first setpoint, its checksum counted here.
        unsigned sum = 0;
        for (const char character : blocks.at(1))
            sum += static_cast<unsigned char>(character);
        QVERIFY(
            lab.tc.written().contains("S001  T " + blocks.at(1) + QByteArray::number(sum, 16).toUpper().rightJustified(4, '0') + "Q\r\n"));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0401.sdf"_s, u"Quartz_0601.sdf"_s}));
        QVERIFY2(lab.report().contains("setpoint 400 °C  read 401 °C  mean 401.000  scatter 0.000  counter time 1 s  maximum 40 counts"),
                 lab.report().constData());
        QVERIFY(lab.panel3.contains(u"HTC 5218: Waiting for steady state..."_s));
        QVERIFY(lab.panel3.contains(u"Dwelling: 1 of 2 seconds..."_s));
        QCOMPARE(entryCaption(), idleCaption);
    }

    void theFurnaceComesFirstThenTheLaser()
    {
        Laboratory lab(Heater::HTC);
        flags().laserEnabled = flags().ltcEnabled = true;
        lab.profile({u"T1:500;"_s});
        QVERIFY(lab.run());
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0500.sdf"_s});
        QVERIFY(!lab.tc.written().contains(":w"));
        QVERIFY(!lab.tc.written().contains("SETP"));
    }

    void theLaserComesBeforeTheLowTemperatureController()
    {
        Laboratory lab(Heater::Laser);
        flags().ltcEnabled = true;
        lab.profile({u"T1:500;"_s});
        QVERIFY(lab.run());
        QCOMPARE(currentsSet(lab), (QByteArrayList{"1", "0.044"}));
        QVERIFY(!lab.tc.written().contains("SETP"));
    }

    void theRunEndsInARoomThatIsWarmerThan22Degrees()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 20;
        lab.profile({u"T1:300;"_s});
        bool cooling = false;
        lab.smc.onCommand = [&](const QString& command) { cooling = cooling || command == u"?CNT;"_s; };
        // After the scan the furnace falls to 26 degrees within a minute, and stays.
        quint64 coolingSince = 0;
        lab.clock.onRound = [&] {
            if (!cooling || lab.temperature != 22)
                return;
            if (coolingSince == 0)
                coolingSince = lab.clock.elapsed();
            lab.offset = std::max(4.0, 278 - static_cast<double>(lab.clock.elapsed() - coolingSince) / 60000 * 274);
        };
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        QVERIFY2(lab.clock.elapsed() - coolingSince >= 360000 && lab.clock.elapsed() - coolingSince < 400000,
                 qPrintable(QString::number(lab.clock.elapsed() - coolingSince)));
    }

    void anAbortEndsTheWayBackOfTheFurnaceToo()
    {
        Laboratory lab(Heater::HTC);
        lab.profile({u"T1:300;"_s});
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (lab.temperature == 22 && !asked) {
                lab.offset = 100;
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.clock.elapsed() < 300000);
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0300.sdf"_s});
        QVERIFY(!lab.stateFile());
    }

    void aFurnaceControllerThatIsSilentForAMinuteGetsItsSetpointLater()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s, u"T1:400;"_s});
        quint64 since = 0;
        lab.clock.onRound = [&] {
            if (since == 0 && Laboratory::at(1, Phase::Setpoint))
                since = lab.clock.elapsed();
            lab.silent = since != 0 && lab.clock.elapsed() - since < 60000;
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0300.sdf"_s, u"Quartz_0400.sdf"_s}));
        QCOMPARE(nobody.shown.first(), u"NewSetpoint - HTCQuery: Unable to query HTC.\r\nFunction aborted..."_s);
        QVERIFY2(lab.report().contains("    The controller did not confirm the setpoint; it is sent again.\n"), lab.report().constData());
    }

    void aFurnaceControllerThatStaysSilentCostsOneStep()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s, u"T1:400;"_s, u"T1:500;"_s});
        bool settled = false;
        lab.clock.onRound = [&] {
            lab.silent = ProfileRun::state().current == 1;
            settled = settled || Laboratory::at(1, Phase::Settling);
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(!settled); // nobody waits ten minutes more for a temperature that was never set
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0300.sdf"_s, u"Quartz_0500.sdf"_s}));
        QVERIFY(ProfileRun::state().rows[1].phase == Phase::Skipped);
        QVERIFY2(lab.report().contains("setpoint 400 °C  skipped\n"), lab.report().constData());
        QVERIFY2(!lab.report().contains("-  setpoint 400"), lab.report().constData()); // with the time at which it was given up
        QVERIFY(lab.report().contains("    The temperature controller was silent for ten minutes; the step was skipped.\n"));
        QVERIFY(lab.stateFile());

        // Continued, the run measures what was skipped and nothing else.
        lab.silent = false;
        lab.clock.onRound = {};
        ProfileRun::Options options;
        options.resume = true;
        QVERIFY(ProfileRun::Execute(options));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0300.sdf"_s, u"Quartz_0400.sdf"_s, u"Quartz_0500.sdf"_s}));
        QVERIFY(ProfileRun::state().rows[0].phase == Phase::Earlier);
        QVERIFY(ProfileRun::state().rows[1].phase == Phase::Done);
        QVERIFY(ProfileRun::state().rows[2].phase == Phase::Earlier);
        QVERIFY(!lab.stateFile());
    }

    void threeSilentStepsPauseTheRunUntilTheControllerAnswers()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s, u"T1:350;"_s, u"T1:400;"_s, u"T1:450;"_s, u"T1:500;"_s});
        quint64 pausedAt = 0;
        qsizetype askedBefore = 0;
        qsizetype asked = 0;
        bool said = false;
        lab.clock.onRound = [&] {
            if (pausedAt == 0 && Laboratory::at(4, Phase::Paused)) {
                pausedAt = lab.clock.elapsed();
                askedBefore = lab.tc.written().count("R001");
            }
            const bool waiting = pausedAt == 0 || lab.clock.elapsed() - pausedAt < 3600000;
            lab.silent = ProfileRun::state().current >= 1 && waiting;
            if (pausedAt != 0 && waiting) {
                asked = lab.tc.written().count("R001") - askedBefore;
                said = said || frontPanel().panel(3).startsWith(u"Paused: the temperature controller is silent since "_s);
            }
        };
        QVERIFY(ProfileRun::Execute());
        QVERIFY(pausedAt > 0);
        QVERIFY(said);
        // Once a minute for an hour, each time with its repetitions.
        QVERIFY2(asked > 30 && asked < 250, qPrintable(QString::number(asked)));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0300.sdf"_s, u"Quartz_0500.sdf"_s}));
        QVERIFY(lab.report().contains("    The run was paused at "));
        QVERIFY(lab.stateFile());
    }

    void oneUnansweredQueryAtTheEndDoesNotLeaveTheFurnaceHot()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s});
        lab.smc.onCommand = [&](const QString& command) {
            if (command != u"?CNT;"_s)
                return;
            lab.silent = true;
            lab.clock.at(45000, [&] { lab.silent = false; });
        };
        QVERIFY(ProfileRun::Execute());
        QCOMPARE(setpointsOf(lab.blocksWritten()).last(), 22);
        QCOMPARE(lab.temperature, 22.0);
        QVERIFY(ProfileRun::state().remarks.isEmpty());
    }

    void aFurnaceThatCannotBeSetBackIsReported()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s});
        lab.smc.onCommand = [&](const QString& command) { lab.silent = lab.silent || command == u"?CNT;"_s; };
        QVERIFY(ProfileRun::Execute());
        const QByteArray text = "The high-temperature controller was not set back: it keeps the setpoint of the last step!";
        QVERIFY2(lab.report().endsWith(text + "\n"), lab.report().constData());
        QCOMPARE(frontPanel().panel(3).toUtf8(), text);
        QCOMPARE(nobody.shown.last(), u"Temperature profile: Temperature profile finished!"_s);
    }

    void aFurnaceThatFallsSilentWhileItCoolsIsReported()
    {
        Laboratory lab(Heater::HTC);
        lab.clock.msPerRound = 20;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s});
        lab.clock.onRound = [&] { lab.silent = lab.temperature == 22; };
        QVERIFY(ProfileRun::Execute());
        QVERIFY2(lab.report().endsWith("The high-temperature controller fell silent while it was cooling.\n"), lab.report().constData());
    }

    // --- the laser

    void aLaserThatDoesNotConfirmAtTheEndIsSetBackAgain()
    {
        Laboratory lab(Heater::Laser);
        lab.profile({u"T1:300;"_s});
        lab.smc.onCommand = [&](const QString& command) { lab.refusing = lab.refusing || command == u"?CNT;"_s; };
        lab.clock.onRound = [&] { lab.refusing = lab.refusing && currentsSet(lab).size() < 4; };
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(currentsSet(lab).size() >= 4);
        QCOMPARE(lab.temperature, 0.044);
        QVERIFY(ProfileRun::state().remarks.isEmpty());
    }

    void theLaserByTemperature()
    {
        Laboratory lab(Heater::Laser);
        lab.profile({u"T1:300;T2:100;DT:100;R:5;DW:1;"_s});
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(currentsSet(lab), (QByteArrayList{"0.6", "0.4", "0.2", "0.044"}));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0100.sdf"_s, u"Quartz_0200.sdf"_s, u"Quartz_0300.sdf"_s}));
        QVERIFY(lab.panel3.contains(u"Setting temperature to 300°C (0.6A)."_s));
        QVERIFY(lab.panel3.contains(u"Temperature stabilization delay: 5 seconds..."_s));
        QVERIFY(lab.panel3.contains(u"Temperature stabilization delay: 1 seconds..."_s));
        QVERIFY2(lab.report().contains("setpoint 300 °C  read 300 °C  counter time 1 s"), lab.report().constData());
        QCOMPARE(entryCaption(), idleCaption);
    }

    void aLostAnswerDoesNotCostTheTemperatureRead()
    {
        Laboratory lab(Heater::Laser);
        lab.unread = 1 + 2; // the setpoint is read back before the temperature is
        lab.profile({u"T1:300;"_s});
        QVERIFY(lab.run());
        QVERIFY2(lab.report().contains("setpoint 300 °C  read 300 °C  counter time 1 s"), lab.report().constData());
        lab.unread = 1 + 3;
        lab.profile({u"T1:200;"_s});
        QVERIFY(lab.run());
        QVERIFY(!ProfileRun::state().rows.at(0).actual);
    }

    void theLaserByCurrentGoesBackToTheCurrentThatItHad()
    {
        Laboratory lab(Heater::LaserByCurrent);
        modHTC_Laser::state().lastCurrent = 1.25F;
        lab.profile({u"T1:0.5;T2:1;DT:0.25;"_s});
        QVERIFY(lab.run());
        QCOMPARE(currentsSet(lab), (QByteArrayList{"0.5", "0.75", "1", "1.25"}));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_0.5000.sdf"_s, u"Quartz_0.7500.sdf"_s, u"Quartz_1.0000.sdf"_s}));
        QVERIFY2(lab.report().contains("setpoint 0.75 A"), lab.report().constData());
    }

    void aStepBeyondTheRangeIsRefusedBeforeAnythingIsSent_data()
    {
        QTest::addColumn<int>("heater");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("why");
        QTest::newRow("current") << int(Heater::LaserByCurrent) << u"T1:9;"_s << u"line 2: 9 A lies outside 0... 2.5."_s;
        QTest::newRow("furnace") << int(Heater::HTC) << u"T1:1;"_s << u"line 2: 1 °C lies outside 20... 1500."_s;
        QTest::newRow("last of a series") << int(Heater::HTC) << u"T1:1000;T2:1490;DT:130;"_s
                                          << u"line 2: 1520 °C lies outside 20... 1500."_s;
    }
    void aStepBeyondTheRangeIsRefusedBeforeAnythingIsSent()
    {
        QFETCH(int, heater);
        QFETCH(QString, line);
        QFETCH(QString, why);
        Laboratory lab{Heater(heater)};
        lab.profile({heater == int(Heater::LaserByCurrent) ? u"T1:1;"_s : u"T1:100;"_s, line});
        QVERIFY(ProfileRun::Check().size() == 1);
        lab.boxes.expect(u"Temperature profile"_s, why);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.tc.written().isEmpty());
        QCOMPARE(lab.scans(), QStringList());
    }

    void retryTriesTheSetpointAgain()
    {
        Laboratory lab(Heater::Laser);
        lab.refusing = true;
        lab.profile({u"T1:300;"_s});
        lab.expectSummary();
        expectRefusedSetpoint(lab, Button::Retry);
        expectRefusedSetpoint(lab, Button::Retry);
        lab.boxes.then([&] { lab.refusing = false; });
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(currentsSet(lab), (QByteArrayList{"0.6", "0.6", "0.6", "0.044"}));
        QCOMPARE(lab.scans(), QStringList{u"Quartz_0300.sdf"_s});
        QVERIFY(ProfileRun::state().rows[0].remarks.isEmpty());
    }

    void ignoreMeasuresAtTheOldSetpoint()
    {
        Laboratory lab(Heater::Laser);
        lab.refusing = true;
        lab.profile({u"T1:300;"_s});
        lab.expectSummary();
        expectRefusedSetpoint(lab, Button::Ignore);
        lab.boxes.expect(title, finished);
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans().size(), qsizetype(1));
        QVERIFY2(lab.report().contains("    The laser controller did not take the setpoint.\n"), lab.report().constData());
    }

    void abortEndsTheRunAndSetsTheLaserBack()
    {
        Laboratory lab(Heater::Laser);
        lab.refusing = true;
        lab.profile({u"T1:300;"_s, u"T1:400;"_s});
        lab.expectSummary();
        expectRefusedSetpoint(lab, Button::Abort);
        lab.boxes.expect(title, finished);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        // The way back is tried ten times, then the operator must know.
        QCOMPARE(currentsSet(lab), QByteArrayList{"0.6"} + QByteArrayList(10, "0.044"));
        QCOMPARE(lab.scansStarted(), qsizetype(0));
        QVERIFY(lab.panel3.contains(u"Temperature profile aborted!"_s));
        QVERIFY2(lab.report().endsWith("The laser controller was not set back: it keeps the setpoint of the last step!\n"),
                 lab.report().constData());
        QCOMPARE(frontPanel().panel(3), u"The laser controller was not set back: it keeps the setpoint of the last step!"_s);
        QCOMPARE(entryCaption(), idleCaption);
    }

    void unattendedTheSetpointIsTriedFourTimesAndThenIgnored()
    {
        Laboratory lab(Heater::Laser);
        lab.clock.msPerRound = 5;
        const Unattended nobody;
        lab.profile({u"T1:300;"_s, u"T1:400;"_s});
        lab.clock.onRound = [&] { lab.refusing = ProfileRun::state().current == 0; };
        QVERIFY(ProfileRun::Execute());
        // The first try and three more; the last box answers Ignore.
        QCOMPARE(currentsSet(lab), (QByteArrayList{"0.6", "0.6", "0.6", "0.6", "0.8", "0.044"}));
        QCOMPARE(nobody.shown.count(u"New setpoint: Unable to change setpoint!"_s), qsizetype(4));
        QCOMPARE(lab.scans().size(), qsizetype(2));
    }

    void anAbortEndsTheStabilization_data()
    {
        QTest::addColumn<int>("phase");
        QTest::newRow("stabilization") << int(Phase::Settling);
        QTest::newRow("dwell") << int(Phase::Dwelling);
        QTest::newRow("scan") << int(Phase::Acquiring);
    }

    void anAbortEndsTheStabilization()
    {
        QFETCH(int, phase);
        Laboratory lab(Heater::Laser);
        lab.profile({u"T1:300;DW:100;"_s});
        lab.expectSummary();
        lab.expectAbort();
        lab.boxes.expect(title, finished);
        bool asked = false;
        lab.clock.onRound = [&] {
            if (!asked && Laboratory::at(0, Phase(phase))) {
                asked = true;
                ProfileRun::Execute();
            }
        };
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(currentsSet(lab), (QByteArrayList{"0.6", "0.044"}));
        QCOMPARE(lab.scans(), QStringList());
    }

    // --- the start

    void theStartWithTheOtherControllers_data()
    {
        QTest::addColumn<int>("heater");
        QTest::addColumn<QString>("rule");
        QTest::newRow("furnace") << int(Heater::HTC) << u"<SampleName>_xxxx.sdf' (xxxx=temperature)."_s;
        QTest::newRow("laser") << int(Heater::Laser) << u"<SampleName>_xxxx.sdf' (xxxx=temperature)."_s;
        QTest::newRow("current") << int(Heater::LaserByCurrent) << u"<SampleName>_x.xxxx.sdf' (x.xxxx=laser diode current)."_s;
    }

    void theStartWithTheOtherControllers()
    {
        QFETCH(int, heater);
        QFETCH(QString, rule);
        Laboratory lab{Heater(heater)};
        lab.profile({Heater(heater) == Heater::LaserByCurrent ? u"T1:1;"_s : u"T1:100;"_s});
        lab.smc.busy = true;
        lab.boxes.expect(u"Start measurement"_s, u"G318 is busy at the moment. Please wait ..."_s);
        QVERIFY(!ProfileRun::Execute());
        lab.smc.busy = false;
        lab.expectSummary(Button::No);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY2(lab.boxes.messages.last().text.contains(rule), qPrintable(lab.boxes.messages.last().text));
        QCOMPARE(lab.boxes.messages.last().text.contains(u"- PID parameter file: htc.pid"_s), Heater(heater) == Heater::HTC);
        QVERIFY(lab.tc.written().isEmpty());
        QCOMPARE(entryCaption(), idleCaption);
    }
};

QTEST_GUILESS_MAIN(tst_profileheaters)
#include "tst_profileheaters.moc"
