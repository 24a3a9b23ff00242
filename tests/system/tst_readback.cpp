// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the console says of setpoints and outputs when a controller fails in ordinary ways: sent and confirmed, not taken, unanswered,
// garbled, line down before, line lost between command and reply, switched off and on.

#include "support/DeskCli.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
/// Commands of the controller before the one that reads the setpoint back.
struct Before
{
    int setting; ///< before the setpoint is sent
    int asking;  ///< before it is asked for
};
} // namespace

class TestReadback : public QObject
{
    Q_OBJECT

private slots:
    void whatIsSaidOfASetpoint_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("out"); // begins so
        QTest::addColumn<QByteArray>("err"); // contains
        struct Device
        {
            const char* name;
            QString options;
            QString command;
            QByteArray setpoint; ///< what is printed when it was taken
            QString setting;     ///< command that sets it
            QString question;
            Before before;
            QByteArray notTaken;
            QByteArray silent;
            QByteArray down; ///< the line was gone before the setpoint was sent
        };
        const QByteArray noLtc = "The low-temperature controller does not answer.";
        const QByteArray has = " has not taken the setpoint of ";
        const Device devices[] = {
            {"331",
             u"--ltc 331"_s,
             u"ltc setpoint 250 --no-wait"_s,
             "Setpoint: 250 K",
             u"SETP 1,"_s,
             u"SETP?"_s,
             {4, 5},
             "The low-temperature controller" + has + "250 K: it says ",
             noLtc,
             noLtc},
            {"330",
             u"--ltc 330"_s,
             u"ltc setpoint 250 --no-wait"_s,
             "Setpoint: 250 K",
             u"SETP 2"_s,
             u"SETP?"_s,
             {11, 12},
             "The low-temperature controller" + has + "250 K: it says ",
             noLtc,
             noLtc},
            {"DRC-91CA",
             u"--ltc drc91"_s,
             u"ltc setpoint 250 --no-wait"_s,
             "Setpoint: 250 K",
             u"S2"_s,
             u"WP"_s,
             {5, 6},
             "The low-temperature controller" + has + "250 K: it says ",
             noLtc,
             noLtc},
            {"HTC",
             u"--htc"_s,
             u"htc setpoint 300 --no-wait"_s,
             "Setpoint: 300 \u00b0C",
             u"S001"_s,
             u"R001NT"_s,
             {4, 5},
             "The high-temperature controller" + has + "300 \u00b0C: it says 20 ",
             "The high-temperature controller does not answer.",
             "Unable to query HTC."},
            {"Laser",
             u"--laser"_s,
             u"laser set 300 --no-wait"_s,
             "Temperature setpoint set to 300\u00b0C (0.5503A).",
             u":w 30"_s,
             u":r 30"_s,
             {1, 2},
             {},
             "The laser controller does not confirm.",
             "laser is not in use, or does not answer."},
        };
        for (const Device& device : devices) {
            const auto row = [&](const char* what, const QString& fault, int status, const QByteArray& out, const QByteArray& err) {
                QTest::newRow((QByteArray(device.name) + ": " + what).constData())
                    << device.options +
                           (fault.isEmpty() ? QString() : u" --fault "_s + device.options.section(u' ', 0, 0).mid(2) + u'/' + fault)
                    << device.command << status << out << err;
            };
            const QString asked = QString::number(device.before.asking);
            const QString replied = QString::number(device.before.asking + 1);
            const bool laser = device.name == QByteArray("Laser");
            row("confirmed", {}, 0, device.setpoint, {});
            row("not taken", u"ignore:"_s + device.setting, 1, {}, laser ? device.silent : device.notTaken);
            row("unanswered", u"lose:"_s + device.question + u':' + asked, 1, {}, device.silent);
            row("garbled", u"garbage:"_s + asked, 1, {}, device.silent);
            row("another value", u"wrong-readback:"_s + asked, 1, {},
                laser ? QByteArray("has not taken the setpoint of 0.5503 A: it says 7.5503 A.") : has);
            row("line down before", u"hang-up:"_s + QString::number(device.before.setting), 1, {}, device.down);
            row("line lost before the reply", u"hang-up-and-return:"_s + replied, 1, {}, device.silent);
            row("switched off before", u"off:"_s + QString::number(device.before.setting), 1, {}, device.silent);
            // The laser forgets its current.
            row("off and on before it is asked for", u"off:"_s + asked + u":0.05s"_s, laser ? 1 : 0, device.setpoint,
                laser ? QByteArray("has not taken the setpoint of 0.5503 A: it says 0 A.") : QByteArray());
        }
    }
    void whatIsSaidOfASetpoint()
    {
        QFETCH(QString, options);
        QFETCH(QString, command);
        QFETCH(int, status);
        QFETCH(QByteArray, out);
        QFETCH(QByteArray, err);
        QStringList words;
        for (const QString& word : options.split(u" --"_s))
            words += word.startsWith(u"--"_s) ? word.split(u' ') : (u"--"_s + word).split(u' ');
        for (qsizetype at = words.indexOf(u"--fault"_s); at >= 0 && words.size() > at + 2;) // a command with blanks
            words[at + 1] += u' ' + words.takeAt(at + 2);
        DeskLab lab;
        QVERIFY(lab.start(words));
        DeskCli cli(lab);
        const int ended = cli.run(command.split(u' '));
        const QByteArray said = cli.out + "\n---\n" + cli.err + "\n---\n" + lab.trace();
        QVERIFY2(ended == status, said.constData());
        QVERIFY2(cli.out.startsWith(out), said.constData());
        QVERIFY2(cli.err.contains(err), said.constData());
        if (status == 0)
            QVERIFY2(!cli.err.contains("not taken") && !cli.err.contains("answer"), said.constData());
    }

    void whatIsSaidOfAnOutput_data()
    {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("command");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("err");
        const QStringList htc{u"--htc"_s, u"--fault"_s};
        const QStringList laser{u"--laser"_s, u"--fault"_s};
        QTest::newRow("furnace on") << QStringList{u"--htc"_s} << u"htc heater on"_s << 0 << QByteArray();
        QTest::newRow("furnace ignores") << htc + QStringList{u"htc/ignore:S001"_s} << u"htc heater on"_s << 1
                                         << QByteArray("has not taken heater output on (it says off).");
        QTest::newRow("furnace silent afterwards") << htc + QStringList{u"htc/silent:2"_s} << u"htc heater on"_s << 1
                                                   << QByteArray("does not say whether it has taken what was sent.");
        QTest::newRow("furnace garbled afterwards") << htc + QStringList{u"htc/garbage:2"_s} << u"htc heater on"_s << 1
                                                    << QByteArray("does not say whether it has taken what was sent.");
        QTest::newRow("beam on") << QStringList{u"--laser"_s} << u"laser beam on"_s << 0 << QByteArray();
        QTest::newRow("beam ignored") << laser + QStringList{u"laser/ignore::w 12"_s} << u"laser beam on"_s << 1
                                      << QByteArray("The laser beam was not switched on: the controller says that it is off.");
        QTest::newRow("beam's answer lost") << laser + QStringList{u"laser/lose::w 12"_s} << u"laser beam on"_s << 0 << QByteArray();
        QTest::newRow("beam garbled") << laser + QStringList{u"laser/garbage:1"_s} << u"laser beam on"_s << 1
                                      << QByteArray("whether it is on is not known.");
        QTest::newRow("beam garbled once") << laser + QStringList{u"laser/garbage:1:2"_s} << u"laser beam on"_s << 0 << QByteArray();
        QTest::newRow("beam silent afterwards")
            << laser + QStringList{u"laser/silent:2"_s} << u"laser beam on"_s << 1 << QByteArray("does not say whether it is.");
        QTest::newRow("defaults taken") << QStringList{u"--ltc"_s, u"331"_s} << u"ltc default"_s << 0 << QByteArray();
        QTest::newRow("defaults, silent") << QStringList{u"--ltc"_s, u"331"_s, u"--fault"_s, u"ltc/silent:1"_s} << u"ltc default"_s << 1
                                          << QByteArray("The controller did not answer; its heater may still be on.");
        QTest::newRow("defaults read back otherwise") << QStringList{u"--ltc"_s, u"330"_s, u"--fault"_s, u"ltc/wrong-readback"_s}
                                                      << u"ltc default"_s << 1 << QByteArray("The heater range is still 1.");
    }
    void whatIsSaidOfAnOutput()
    {
        QFETCH(QStringList, options);
        QFETCH(QString, command);
        QFETCH(int, status);
        QFETCH(QByteArray, err);
        DeskLab lab;
        QVERIFY(lab.start(options));
        DeskCli cli(lab);
        const int ended = cli.run(command.split(u' '));
        const QByteArray said = cli.out + "\n---\n" + cli.err + "\n---\n" + lab.trace();
        QVERIFY2(ended == status, said.constData());
        QVERIFY2(cli.err.contains(err), said.constData());
    }

    void aSetpointThatTheWaitFindsLostEndsIt()
    {
        DeskLab lab; // readings far away, and from the second question on it says another setpoint
        QVERIFY(lab.start({u"--ltc"_s, u"331"_s, u"--fault"_s, u"wrong-readback:8"_s, u"--fault"_s, u"ltc/ignore:RANGE"_s}));
        DeskCli cli(lab);
        QCOMPARE(cli.run({u"ltc"_s, u"setpoint"_s, u"305"_s}), 1);
        QVERIFY2(cli.err.contains("has not taken the setpoint of 305 K: it says 312 K."), cli.err.constData());
        QVERIFY2(lab.desk.elapsed() > 120 && lab.desk.elapsed() < 200, QByteArray::number(lab.desk.elapsed()).constData());
    }

    void anUnknownModelIsSaid()
    {
        DeskLab lab;
        QVERIFY(lab.start({u"--ltc"_s, u"emu"_s}));
        lab.configure(u"LTC"_s, u"Model"_s, u"ls340"_s);
        DeskCli cli(lab);
        cli.run({u"ltc"_s, u"temperature"_s});
        QVERIFY2(
            cli.err.contains("Model=ls340 in section LTC of scan.ini is no low-temperature controller that the program knows; it is taken "
                             "for a LakeShore 331."),
            cli.err.constData());
    }

    void theFailedInitializationNamesItsCommand()
    {
        DeskLab lab;
        QVERIFY(lab.start({u"--ltc"_s, u"330"_s, u"--fault"_s, u"ltc/lose:SUNI"_s}));
        DeskCli cli(lab);
        QCOMPARE(cli.run({u"ltc"_s, u"init"_s}), 1);
        QVERIFY2(cli.err.contains("no reply to 'SUNI K;SUNI?'"), cli.err.constData());
    }
};

QTEST_GUILESS_MAIN(TestReadback)
#include "tst_readback.moc"
