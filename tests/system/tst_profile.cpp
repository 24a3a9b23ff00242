// SPDX-License-Identifier: GPL-3.0-or-later

#include "Profiles.h"
#include "support/ProcessorTime.h"

using namespace profiles;
using namespace Qt::StringLiterals;

namespace {
const QByteArray wideProfile = "# from warm to cold\r\nT1:295;T2:95;DT:100;DW:1;\r\n";

/// A laboratory that is much faster than a real one.
bool bringUp(DeskLab& lab)
{
    const bool started = lab.start({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s});
    shortenPauses(lab);
    return started;
}

/// Its heater output on, and a profile of one step.
bool startFurnace(DeskLab& lab)
{
    const bool started = lab.start({u"--speed"_s, u"100"_s, u"--htc"_s});
    shortenScans(lab);
    store(lab.path(u"p.gtp"_s), "T1:300;\r\n");
    DeskCli cli(lab);
    return started && cli.run({u"htc"_s, u"heater"_s, u"on"_s}) == 0;
}
} // namespace

class tst_profile : public QObject
{
    Q_OBJECT

private slots:
    void theCheckListsTheScansAndTheFaults()
    {
        DeskLab lab;
        QVERIFY(bringUp(lab));
        store(lab.path(u"p.gtp"_s), wideProfile);
        DeskCli good(lab);
        QCOMPARE(good.run({u"profile"_s, u"check"_s, lab.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s}), 0);
        QVERIFY2(good.out.startsWith("295 K  Quartz_0295.0.sdf\n195 K  Quartz_0195.0.sdf\n95 K  Quartz_0095.0.sdf\n3 scans, about "),
                 good.out.constData());
        store(lab.path(u"bad.gtp"_s), "T1:900;R:100");
        DeskCli bad(lab);
        QCOMPARE(bad.run({u"profile"_s, u"check"_s, lab.path(u"bad.gtp"_s)}), 1);
        QVERIFY2(bad.out.contains("line 1: The valid temperature range is"), bad.out.constData());
        QVERIFY2(bad.out.contains("line 1: Please select a ramp rate between 0 K/min. and 99.9 K/min.!"), bad.out.constData());
        DeskCli missing(lab);
        QCOMPARE(missing.run({u"profile"_s, u"check"_s, lab.path(u"none.gtp"_s)}), 1);
        DeskCli wrong(lab);
        QCOMPARE(wrong.run({u"profile"_s, u"paint"_s, lab.path(u"p.gtp"_s)}), 2);
    }

    void theCheckSaysWhatARunWillLeaveOut()
    {
        DeskLab lab;
        QVERIFY(bringUp(lab));
        store(lab.path(u"p.gtp"_s), "#a\r\nT1:warm;DW:1;\r\nt1:290;t1:280;dT:5;\r\n");
        const QByteArray findings = "line 2: T1 is not a number; the line is skipped\n"
                                    "line 3: Missing T-Stop... Only T1 is measured.\n"
                                    "line 3: T1 stands more than once; the first counts\n";
        DeskCli check(lab);
        QCOMPARE(check.run({u"profile"_s, u"check"_s, lab.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s}), 1);
        QVERIFY2(check.out.startsWith(findings + "290 K  Quartz_0290.0.sdf\n1 scan, about "), check.out.constData());
        // The run says it as well, measures the rest and does not look for a run to continue in vain.
        shortenScans(lab);
        DeskCli run(lab);
        QCOMPARE(run.run(runWords(lab.path()) + QStringList{u"--resume"_s}), 0);
        QVERIFY2(run.err.contains(findings), run.err.constData());
        QVERIFY2(run.err.contains("No run of this profile and sample was broken off: it begins with the first step.\n"),
                 run.err.constData());
        QCOMPARE(scansIn(lab.path()).size(), qsizetype(1));
        QVERIFY(reportIn(lab.path()).contains("Note: line 2: T1 is not a number; the line is skipped\n"));
    }

    void profilesWithoutEndAreListedInAMomentAndNotRun()
    {
        DeskLab lab;
        QVERIFY(bringUp(lab));
        store(lab.path(u"p.gtp"_s), "T1:100;T2:200;DT:0.00001;\r\n");
        DeskCli check(lab);
        const double before = processorTime();
        QCOMPARE(check.run({u"profile"_s, u"check"_s, lab.path(u"p.gtp"_s)}), 1);
        QVERIFY2(processorTime() - before < 20000, qPrintable(QString::number(processorTime() - before)));
        QVERIFY(check.out.contains("line 1: The profile asks for more than 30000 scans.\n"));
        DeskCli run(lab);
        QCOMPARE(run.run(runWords(lab.path())), 1);
        QVERIFY2(run.err.contains("[Temperature profile] The profile asks for more than 30000 scans."), run.err.constData());
        QCOMPARE(scansIn(lab.path()).size(), qsizetype(0));
        store(lab.path(u"long.gtp"_s), "T1:290;" + QByteArray(10 * 1024 * 1024, ' '));
        DeskCli wide(lab);
        QCOMPARE(wide.run({u"profile"_s, u"check"_s, lab.path(u"long.gtp"_s), u"--name"_s, u"Quartz"_s}), 0);
        QVERIFY2(wide.out.startsWith("290 K  Quartz_0290.0.sdf\n"), wide.out.left(200).constData());
    }

    void aRunOutlivesItsTerminal()
    {
        DeskLab lab;
        QVERIFY(bringUp(lab));
        store(lab.path(u"p.gtp"_s), wideProfile);
        DeskCli cli(lab);
        cli.whenSays("2 of 3: 195 K, settling", [&] { cli.hangUp(); });
        QVERIFY2(cli.run(runWords(lab.path())) == 0, cli.err.constData());
        QVERIFY2(cli.err.contains("2 of 3: 195 K, settling"), cli.err.constData());
        QCOMPARE(scansIn(lab.path()).size(), 3);
    }

    void controlCBreaksOffAndKeepsTheScans()
    {
        DeskLab lab;
        QVERIFY(bringUp(lab));
        store(lab.path(u"p.gtp"_s), wideProfile);
        DeskCli cli(lab);
        cli.whenSays("2 of 3: 195 K, settling", [&] { cli.interrupt(); });
        QCOMPARE(cli.run(runWords(lab.path())), 3);
        QVERIFY2(cli.err.contains("2 of 3: 195 K, aborted"), cli.err.constData());
        QCOMPARE(scansIn(lab.path()).size(), 1);
    }

    /// The second one waits for nothing any more, and the heaters are set back all the same.
    void controlCTwiceSetsTheFurnaceBackWithoutWaiting()
    {
        DeskLab lab;
        QVERIFY(startFurnace(lab));
        DeskCli cli(lab);
        double secondAt = 0;
        cli.whenSays("1 of 1: 300 °C, settling", [&] { cli.interrupt(); });
        lab.desk.when([&] { return cli.err.contains("aborted"); },
                      [&] {
                          secondAt = lab.desk.elapsed();
                          cli.interrupt();
                      });
        QCOMPARE(cli.run(runWords(lab.path())), 3);
        QVERIFY(secondAt > 0);
        QVERIFY2(lab.desk.elapsed() - secondAt < 20, qPrintable(QString::number(lab.desk.elapsed() - secondAt)));
        QVERIFY2(cli.err.contains("Setting the heaters back without waiting for them..."), cli.err.constData());
        QVERIFY2(!cli.err.contains("was not set back"), cli.err.constData());
        DeskCli after(lab);
        QCOMPARE(after.run({u"htc"_s, u"status"_s}), 0);
        QVERIFY2(QString::fromUtf8(after.out).contains(QRegularExpression(u"Setpoint\\D*22 "_s)), after.out.constData());
    }

    void aThirdControlCSaysThatTheFurnaceWasNotSetBack()
    {
        DeskLab lab;
        QVERIFY(startFurnace(lab));
        DeskCli cli(lab);
        cli.whenSays("1 of 1: 300 °C, settling", [&] {
            cli.interrupt();
            cli.interrupt();
            cli.interrupt();
        });
        QCOMPARE(cli.run(runWords(lab.path())), 3);
        const QByteArray text =
            "The program was closed. The high-temperature controller was not set back: it keeps the setpoint of the last step!";
        QVERIFY2(cli.err.contains(text), cli.err.constData());
        QVERIFY2(reportIn(lab.path()).contains(text), reportIn(lab.path()).constData());
    }
};

QTEST_GUILESS_MAIN(tst_profile)
#include "tst_profile.moc"
