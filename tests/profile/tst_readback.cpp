// SPDX-License-Identifier: GPL-3.0-or-later
//
// What an unattended run does about setpoints that were not taken, a heater that is off and waits without an end.

#include "ProfileLab.h"
#include "Unattended.h"

#include "temperature/SteadyState.h"

#include <QSignalSpy>

using namespace Qt::StringLiterals;
using namespace profilelab;

namespace {
const QString sentAgain = QStringLiteral("The controller has not taken the setpoint; it is sent again.");

QStringList remarks(int row)
{
    return ProfileRun::state().rows.at(row).remarks;
}
} // namespace

class TestProfileReadback : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup() { resetAll(); }

    void aSetpointThatWasNotTakenIsSentAgain()
    {
        Laboratory lab;
        lab.noticed << u"The low-temperature controller has not taken the setpoint of 285 K: it says 295 K."_s;
        lab.profile({u"T1:285;"_s});
        lab.setpointSaid = 295;
        lab.clock.onRound = [&] {
            if (lab.tc.written().count("SETP 1, 285\r\n") == 2)
                lab.setpointSaid.reset();
        };
        QVERIFY(lab.run());
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 2);
        QCOMPARE(remarks(0), QStringList{sentAgain});
        QVERIFY(lab.report().contains("    " + sentAgain.toUtf8() + '\n'));
        QVERIFY(Notices::all().isEmpty()); // taken in the end
        QCOMPARE(lab.scans().size(), 1);
    }

    void threeTimesAreEnoughAndTheReadingsDecide()
    {
        Laboratory lab;
        lab.noticed << u"The low-temperature controller has not taken the setpoint of 285 K: it says 295 K."_s;
        lab.profile({u"T1:285;"_s});
        lab.setpointSaid = 295; // for good; the temperature gets there all the same
        QVERIFY(lab.run());
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 4);
        QCOMPARE(remarks(0),
                 (QStringList{sentAgain, sentAgain, sentAgain,
                              u"The controller has not taken the setpoint; it was sent again three times. The wait goes on."_s}));
        QCOMPARE(lab.scans().size(), 1);
    }

    void aSetpointOnItsWayAlongARampIsLeftAlone()
    {
        Laboratory lab;
        lab.profile({u"T1:285;R:2;"_s});
        lab.setpointSaid = 290;
        lab.ramping = true;
        lab.offset = 20; // far away until the ramp ends
        lab.clock.onRound = [&] {
            if (Laboratory::at(0, Phase::Settling) && lab.clock.elapsed() > 100000) {
                lab.setpointSaid.reset();
                lab.ramping = false;
                lab.offset = 0;
            }
        };
        QVERIFY(lab.run());
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 1);
        QCOMPARE(lab.tc.written().count("SETP? 1\r\n"), 2); // at the beginning and at the end
        QCOMPARE(remarks(0), QStringList());
    }

    void theEndOfARampSaysThatTheSetpointIsAnother()
    {
        Laboratory lab;
        lab.noticed << u"The low-temperature controller has not taken the setpoint of 285 K: it says 284 K."_s;
        lab.profile({u"T1:285;R:2;"_s});
        lab.setpointSaid = 284;
        lab.ramping = true;
        lab.clock.onRound = [&] {
            if (lab.tc.written().count("RAMPST? 1\r\n") == 1)
                lab.ramping = false;
            if (lab.tc.written().count("SETP 1, 285\r\n") == 2)
                lab.setpointSaid.reset();
        };
        QVERIFY(lab.run());
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 2);
        QCOMPARE(remarks(0), QStringList{sentAgain});
    }

    void readingsThatStayAwayForTwoMinutesAreAskedAbout()
    {
        Laboratory lab;
        lab.noticed << u"The low-temperature controller has not taken the setpoint of 285 K: it says 250 K."_s;
        lab.profile({u"T1:285;"_s});
        lab.offset = 12; // stays there until the setpoint is sent again
        quint64 sent = 0;
        lab.clock.onRound = [&] {
            if (lab.tc.written().count("SETP? 1\r\n") == 1 && !lab.setpointSaid) {
                lab.setpointSaid = 250; // somebody turned it at the controller
                sent = lab.clock.elapsed();
            }
            if (lab.tc.written().count("SETP 1, 285\r\n") == 2 && lab.offset != 0) {
                QVERIFY(lab.clock.elapsed() - sent >= 118000 && lab.clock.elapsed() - sent < 130000);
                lab.setpointSaid = 285;
                lab.offset = 0;
            }
        };
        QVERIFY(lab.run());
        QCOMPARE(lab.tc.written().count("SETP 1, 285\r\n"), 2);
        QCOMPARE(remarks(0), QStringList{sentAgain});
    }

    void aLongWaitIsSaidOnceAndGoesOn()
    {
        Laboratory lab;
        configuration().ltc.longestWait = 0.01; // 36 s
        lab.profile({u"T1:285;"_s});
        lab.offset = 20;
        QSignalSpy said(&ProfileRun::notifier(), &ProfileRun::Notifier::waitsLong);
        lab.clock.onRound = [&] { lab.offset = lab.clock.elapsed() > 100000 ? 0 : lab.offset; };
        QVERIFY(lab.run());
        const QString text = u"The wait for 285 K takes longer than 0.01 h; it goes on."_s;
        QCOMPARE(remarks(0), QStringList{text});
        QCOMPARE(said.size(), 1);
        QCOMPARE(said.first().first().toString(), text);
        QCOMPARE(lab.scans().size(), 1);
    }

    void aFurnaceWithItsHeaterOffIsSaid()
    {
        Laboratory lab(Heater::HTC);
        lab.noticed << u"The heater output is off. The setpoint of 300 °C has no effect on the furnace until it is switched on."_s;
        lab.dataBlock.replace(15, 3, Laboratory::packed(0));
        lab.profile({u"T1:300;"_s});
        QVERIFY(lab.run());
        QCOMPARE(remarks(0), QStringList{u"The heater output is off."_s});
    }

    void aRampThatTheFurnaceCannotRunIsRefused_data()
    {
        QTest::addColumn<QString>("line");
        QTest::addColumn<bool>("refused");
        QTest::newRow("0.4") << u"T1:300;R:0.4;"_s << true;
        QTest::newRow("1.5") << u"T1:300;R:1,5;"_s << true;
        QTest::newRow("2") << u"T1:300;R:2;"_s << false;
        QTest::newRow("none") << u"T1:300;R:0;"_s << false;
    }
    void aRampThatTheFurnaceCannotRunIsRefused()
    {
        QFETCH(QString, line);
        QFETCH(bool, refused);
        Laboratory lab(Heater::HTC);
        lab.profile({u"# furnace"_s, line});
        const QString why = u"line 2: Please select a whole ramp rate: the high-temperature controller takes multiples of 1 K/min. only!"_s;
        QCOMPARE(ProfileRun::Check().contains(why), refused);
        if (!refused) {
            QVERIFY(lab.run());
            return;
        }
        lab.boxes.expect(title, why).withIcon(Prompts::Icon::Exclamation);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.tc.written().isEmpty());
    }

    void aCalibratedSetpointBeyondTheFurnaceIsRefused()
    {
        Laboratory lab(Heater::HTC);
        configuration().htc.calibration = true;
        configuration().htc.calibrationFactor = 2;
        lab.profile({u"T1:800;"_s});
        const QString why = u"line 1: The calibrated setpoint of 1600 °C lies outside 0 °C ... 1500 °C!"_s;
        QVERIFY2(ProfileRun::Check().contains(why), qPrintable(ProfileRun::Check().join(u'\n')));
        lab.boxes.expect(title, why).withIcon(Prompts::Icon::Exclamation);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.tc.written().isEmpty());
    }

    void valuesBeyondANumberAreNone()
    {
        Laboratory lab;
        lab.profile({u"T1:1E999;"_s, u"T1:285;DW:1E999;R:1E999;"_s});
        QCOMPARE(ProfileRun::Plan().size(), 1);
        QCOMPARE(ProfileRun::Plan().first().dwell, 0.0);
        QCOMPARE(ProfileRun::Plan().first().ramp, 0.0);
    }
};

QTEST_GUILESS_MAIN(TestProfileReadback)
#include "tst_readback.moc"
