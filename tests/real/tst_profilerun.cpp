// SPDX-License-Identifier: GPL-3.0-or-later
//
// A profile run as a process: what the system's signals do to it. The run itself is tested on the desk, in tests/system.

#include "real/Programs.h"
#include "support/CommandLine.h"

using namespace programs;
using namespace Qt::StringLiterals;

class tst_profilerun : public QObject
{
    Q_OBJECT

#ifdef Q_OS_UNIX
    /// Two scans over the strongest line of quartz; the second takes long enough to be broken off in it on a busy machine.
    static void prepare(const Instrument& instrument)
    {
        QByteArray ini = instrument.read(u"scan.ini"_s);
        ini.replace("ScanStart=20", "ScanStart=26.4").replace("ScanStop=32", "ScanStop=26.8").replace("[LTC]", "[LTC]\nMinQueries=3");
        QFile settings(instrument.path(u"scan.ini"_s));
        QVERIFY(settings.open(QIODevice::WriteOnly));
        QCOMPARE(settings.write(ini), ini.size());
        QFile profile(instrument.path(u"p.gtp"_s));
        QVERIFY(profile.open(QIODevice::WriteOnly));
        QVERIFY(profile.write("T1:290;E:100;\r\nT1:280;E:1000;\r\n") > 0);
    }
    static QStringList scansIn(const Instrument& instrument)
    {
        return QDir(instrument.directory.path()).entryList({u"*.sdf"_s}, QDir::Files, QDir::Name);
    }

private slots:
    void aRunOutlivesItsTerminalAndGoesOnAfterItsDeath()
    {
        const QTemporaryDir traces;
        QFile trace(traces.filePath(u"trace"_s));
        const Instrument instrument(words("--speed 1000 --ltc 331 --trace") + QStringList{trace.fileName()});
        QVERIFY(instrument.running && trace.open(QIODevice::ReadOnly));
        prepare(instrument);
        const QStringList run = words("profile run p.gtp --name Quartz --yes");
        ScanCli killed;
        killed.startOn(instrument, run);
        VERIFY_OR_SHOW(killed.says("1 of 2: 290 K, settling"), killed.err);
        killed.interrupt(SIGHUP);
        QByteArray traced;
        const auto counting = [&] { return (traced += trace.readAll()).count("SMC -- program started") == 2; };
        VERIFY_OR_SHOW(killed.waitUntil(counting), killed.err);
        killed.interrupt(SIGKILL);
        QCOMPARE(killed.finish(), -2);
        QTRY_VERIFY_WITH_TIMEOUT((traced += trace.readAll()).count("-- line left") == 2, patience);
        QCOMPARE(scansIn(instrument), QStringList(u"Quartz_0290.0.sdf"_s));
        const QByteArray first = instrument.read(u"Quartz_0290.0.sdf"_s);

        ScanCli resumed;
        const int status = resumed.runOn(instrument, run + QStringList{u"--resume"_s});
        VERIFY_OR_SHOW(status == 0, resumed.err);
        QCOMPARE(resumed.out.count("Saved: "), 1);
        QCOMPARE(scansIn(instrument), QStringList({u"Quartz_0280.0.sdf"_s, u"Quartz_0290.0.sdf"_s}));
        QCOMPARE(instrument.read(u"Quartz_0290.0.sdf"_s), first);
        QVERIFY(!QFile::exists(instrument.path(u"p.gtp.state"_s)));
        // The scan that was left over was stopped.
        traced += trace.readAll();
        QCOMPARE(traced.count("SMC -- program started"), 3);
        QVERIFY(traced.contains("SMC <- <cr><lf>Q;"));
    }

    void controlCBreaksOffAndKeepsTheScans()
    {
        const Instrument instrument(words("--speed 1000 --ltc 331"));
        QVERIFY(instrument.running);
        prepare(instrument);
        ScanCli cli;
        cli.startOn(instrument, words("profile run p.gtp --name Quartz --yes"));
        VERIFY_OR_SHOW(cli.says("2 of 2: 280 K, measuring"), cli.err);
        cli.interrupt();
        QCOMPARE(cli.finish(), 3);
        VERIFY_OR_SHOW(cli.err.contains("2 of 2: 280 K, aborted"), cli.err);
        QCOMPARE(scansIn(instrument), QStringList(u"Quartz_0290.0.sdf"_s));
    }
#endif
};

QTEST_GUILESS_MAIN(tst_profilerun)
#include "tst_profilerun.moc"
