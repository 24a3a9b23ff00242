// SPDX-License-Identifier: GPL-3.0-or-later
//
// scan-cli: everything off, and what is said of a generator and a shutter that do not confirm.

#include "LabConsole.h"

#include <QTest>

using namespace Qt::StringLiterals;

class tst_off : public QObject
{
    Q_OBJECT

private slots:
    void everythingIsSwitchedOff_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QString>("on");
        QTest::addColumn<QByteArray>("last");
        QTest::newRow("LTC") << u"--ltc 331"_s << u"ltc setpoint 250 --no-wait"_s
                             << QByteArray("heater of the cryostat: heater range 0, confirmed");
        QTest::newRow("LTC 330") << u"--ltc 330"_s << u"ltc setpoint 250 --no-wait"_s
                                 << QByteArray("heater of the cryostat: heater range 0, confirmed");
        QTest::newRow("DRC-91CA") << u"--ltc drc91"_s << u"ltc setpoint 250 --no-wait"_s
                                  << QByteArray("heater of the cryostat: heater range 0, confirmed");
        QTest::newRow("DRC-81C") << u"--ltc drc81"_s << u"ltc setpoint 250 --no-wait"_s
                                 << QByteArray("heater of the cryostat: heater range 0, confirmed");
        QTest::newRow("HTC") << u"--htc"_s << u"htc heater on"_s << QByteArray("furnace heater: heater output off, confirmed");
        QTest::newRow("laser") << u"--laser"_s << u"laser beam on"_s << QByteArray("laser beam: beam off, confirmed");
    }
    void everythingIsSwitchedOff()
    {
        QFETCH(QString, options);
        QFETCH(QString, on);
        QFETCH(QByteArray, last);
        LabConsole lab(u"--generator "_s.append(options).split(u' '));
        QCOMPARE(lab.run(words("generator shutter open")), 0);
        QCOMPARE(lab.run(on.split(u' ')), 0);
        lab.forget();
        // The DRC-91CA keeps to its short record until it is cleared.
        QCOMPARE(lab.said(options.contains(u"drc91"_s) ? "off --init" : "off"),
                 "Motion: stopped, confirmed\nX-ray shutter: closed, sent (it gives no reply)\n" + last + "\n|");
        QVERIFY(lab.received(u"SMC"_s).contains(u"Q;|IO0;"_s));
    }

    void whatDoesNotConfirmIsAFailure()
    {
        LabConsole lab("--htc --generator --fault htc/silent:1");
        const QByteArray said = lab.said("off", 1);
        QVERIFY2(said.contains("X-ray shutter: closed, sent"), said.constData());
        QVERIFY2(said.contains("furnace heater: the controller did not answer; its heater may still be on"), said.constData());
    }

    void thePowerStaysWhileAScanIsMeasured()
    {
        LabConsole lab("--generator --busy");
        lab.forget();
        QCOMPARE(lab.said("generator power 20 30 --yes", 1),
                 QByteArray("|Something is being measured: current and voltage stay as they are.\n"));
        QCOMPARE(lab.received(u"Generator"_s), QString());
    }

    void aScanAtIdlePowerSaysSo()
    {
        LabConsole lab("--generator");
        QCOMPARE(lab.run("generator power 5 20 --yes"), 0);
        lab.configure(u"General"_s, u"StripInterval"_s, u"1"_s);
        const QStringList scan = words("acquire --start 26 --stop 27 --step 0.1 --time 1 --yes --out") << lab.path(u"q.sdf"_s);
        QCOMPARE(lab.run(scan), 0);
        const QByteArray idle = "The X-ray generator seems to be at idle power: what is measured now counts little.";
        QCOMPARE(lab.cli.err.count(idle), 1);
        // Nothing is asked without the key, so nothing is known.
        lab.configure(u"General"_s, u"StripInterval"_s, u"0"_s);
        lab.forget();
        QCOMPARE(lab.run(QStringList(scan) << u"--keep"_s), 0);
        QVERIFY(!lab.cli.err.contains(idle));
        QCOMPARE(lab.received(u"Generator"_s), QString());
    }

    void theGoniometerIsSaidToBeAbsent()
    {
        LabConsole lab("--generator --fault smc/silent");
        // It may hear what it does not answer.
        const QByteArray said = lab.said("off", 1);
        QVERIFY2(said.contains("Motion: stop sent, but the controller does not answer"), said.constData());
        QVERIFY2(said.contains("X-ray shutter: closed, sent, but the controller does not answer"), said.constData());
        QVERIFY(lab.received(u"SMC"_s).contains(u"Q;"_s) && lab.received(u"SMC"_s).contains(u"IO0;"_s));
    }

    /// The line was gone for the moment in which the shutter was told: it is told again.
    void aShutterCommandThatWentIntoALostLineIsSentAgain()
    {
        LabConsole lab("--generator --fault smc/hang-up-and-return:4");
        lab.said("off", 0);
        QVERIFY2(lab.received(u"SMC"_s).count(u"IO0;"_s) >= 1, qPrintable(lab.received(u"SMC"_s)));
    }

    // --- generator

    void aSilentGeneratorIsAFailure()
    {
        LabConsole lab("--generator --fault generator/silent");
        const QByteArray unknown = "The X-ray generator did not answer; its power is not known.";
        QByteArray said = lab.said("generator power 30 40 --yes", 1);
        QVERIFY2(said.contains(unknown), said.constData());
        said = lab.said("generator status", 1);
        QVERIFY2(said.contains(unknown), said.constData());
    }

    void powerThatCannotBeSetIsRefused()
    {
        LabConsole lab("--generator");
        QByteArray said = lab.said("generator power -- -5 40 --yes", 2);
        QVERIFY2(lab.received(u"Generator"_s).isEmpty(), said.constData());
        lab.configure(u"Generator"_s, u"Remote"_s, u"0"_s);
        said = lab.said("generator power 30 40 --yes", 1);
        QVERIFY2(said.contains("The X-ray generator is not remote-controlled"), said.constData());
        QVERIFY(lab.received(u"Generator"_s).isEmpty());
    }

    void theShutterIsOnlySent()
    {
        LabConsole lab("--generator");
        QCOMPARE(lab.said("generator shutter open"), QByteArray("Shutter: open, sent (it gives no reply).\n|"));
    }
};

QTEST_GUILESS_MAIN(tst_off)
#include "tst_off.moc"
