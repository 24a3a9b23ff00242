// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is known of the angle of axis 1, and by what it becomes unknown.

#include "PlayedController.h"

#include "core/Instrument.h"
#include "goniometer/Utilities.h"
#include "support/ScriptedPrompts.h"

#include <QTest>

namespace {
const Known<double>& angle()
{
    return instrument().axis1Angle;
}
} // namespace

class TestKnown : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetGoniometer(); }

    void aReplyIsTakenAndNonsenseIsNot_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<double>("value"); // -1: unknown
        QTest::newRow("answered") << QByteArray("P1:12.3456\r\n") << 12.346;
        QTest::newRow("zero") << QByteArray("P1:0\r\n") << 0.0;
        QTest::newRow("without a number") << QByteArray("P1:?\r\n") << -1.0;
        QTest::newRow("without a colon") << QByteArray("12.5\r\n") << -1.0;
        QTest::newRow("unreadable") << QByteArray("\xfe\x81\x13\r\n") << -1.0;
    }
    void aReplyIsTakenAndNonsenseIsNot()
    {
        QFETCH(QByteArray, reply);
        QFETCH(double, value);
        TestClock clock;
        PlayedController smc(clock);
        instrument().axis1Angle.confirm(77);
        smc.answer = [&reply](const QString& command, QByteArray& given) {
            given = reply;
            return command == u"?P1;";
        };
        modSMC::SMCGetPosition(1);
        QCOMPARE(angle().value, value >= 0 ? std::optional(value) : std::nullopt);
        QCOMPARE(angle().isConfirmed(), value >= 0);
    }

    void aSilentControllerLeavesNoAngle()
    {
        TestClock clock;
        PlayedController smc(clock);
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("SMC"), QStringLiteral("SMC does not respond...")).withBeep();
        instrument().axis1Angle.confirm(77);
        smc.mute = true;
        modSMC::SMCGetPosition(1);
        QVERIFY(!angle().likely());
        QVERIFY(boxes.allShown());
    }

    void axis2SaysNothingAboutAxis1()
    {
        TestClock clock;
        PlayedController smc(clock);
        modSMC::SMCGetPosition(2);
        QVERIFY(angle() == Known<double>{});
    }

    void inTheSimulationNothingIsLearned()
    {
        flags().smcOnline = false;
        modSMC::SMCGetPosition(1);
        modSMC::SMCSend(QStringLiteral("START:;"));
        QVERIFY(angle() == Known<double>{});
    }

    void aMotionMakesItUnknown_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<bool>("moves");
        for (const char* command : {"START:;", "REF;", "Q;", "ROFS1:0.5;", "UPDATE;"})
            QTest::newRow(command) << QString::fromLatin1(command) << true;
        for (const char* command : {"CLR;", "?S1;", "IO1;", "1:A20S500L4000B20;"}) // a line of a program moves nothing yet
            QTest::newRow(command) << QString::fromLatin1(command) << false;
    }
    void aMotionMakesItUnknown()
    {
        QFETCH(QString, command);
        QFETCH(bool, moves);
        TestClock clock;
        PlayedController smc(clock);
        instrument().axis1Angle.confirm(77);
        modSMC::SMCSend(command);
        QCOMPARE(angle().isConfirmed(), !moves);
        QCOMPARE(angle().likely().has_value(), !moves);
    }

    void goToIsAskedForUntilThePositionIsRead()
    {
        TestClock clock;
        PlayedController smc(clock);
        ScriptedPrompts boxes;
        modSMC::state().numberOfAxes = 1;
        boxes.expectInput(QStringLiteral("Target position"), QStringLiteral("Move axis 1 to the\r\nfollowing position:"),
                          QStringLiteral("20"));
        GoniometerUtilities::GoTo();
        QCOMPARE(angle().asked, std::optional(20.0));
        QVERIFY(!angle().isConfirmed());
        smc.answer = [](const QString& command, QByteArray& given) {
            given = "P1:20\r\n";
            return command == u"?P1;";
        };
        modSMC::SMCGetPosition(1);
        QVERIFY(angle().isConfirmed());
        QCOMPARE(angle().value, std::optional(20.0));
        QVERIFY(boxes.allShown());
    }

    void aGoToThatIsLostOnItsWayIsNotOnItsWay_data()
    {
        QTest::addColumn<QString>("last");
        for (const char* command : {"CLR;", "CA1;", "END;"})
            QTest::newRow(command) << QString::fromLatin1(command);
    }
    void aGoToThatIsLostOnItsWayIsNotOnItsWay()
    {
        QFETCH(QString, last);
        TestClock clock;
        PlayedController smc(clock);
        ScriptedPrompts boxes;
        modSMC::state().numberOfAxes = 1;
        boxes.expectInput(QStringLiteral("Target position"), QString(), QStringLiteral("20"));
        boxes.expect(QStringLiteral("SMC"), QString());
        smc.onCommand = [&](const QString& command) {
            if (command == last)
                smc.pull();
        };
        GoniometerUtilities::GoTo();
        QVERIFY(!smc.commands().contains(QStringLiteral("START:;")));
        QVERIFY(angle() == Known<double>{});
        clock.advance(10);
        QCoreApplication::processEvents();
        QVERIFY(boxes.allShown());
    }

    void goToOfAxis2SaysNothingAboutAxis1()
    {
        TestClock clock;
        PlayedController smc(clock);
        ScriptedPrompts boxes;
        modSMC::state().numberOfAxes = 2;
        boxes.expectInput(QStringLiteral("Select axis"), QStringLiteral("Enter axis (1- 2)"), QStringLiteral("2"));
        boxes.expectInput(QStringLiteral("Target position"), QStringLiteral("Move axis 2 to the\r\nfollowing position:"),
                          QStringLiteral("20"));
        GoniometerUtilities::GoTo();
        QVERIFY(smc.commands().contains(QStringLiteral("START:;")));
        QVERIFY(angle() == Known<double>{});
        QVERIFY(boxes.allShown());
    }

    void aLostLineTakesItAlong()
    {
        TestClock clock;
        PlayedController smc(clock);
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("SMC"), QString());
        instrument().axis1Angle.confirm(77);
        smc.pull();
        QVERIFY(angle() == Known<double>{});
        clock.advance(10);
        QCoreApplication::processEvents();
        QVERIFY(boxes.allShown());
    }
};

QTEST_GUILESS_MAIN(TestKnown)
#include "tst_known.moc"
