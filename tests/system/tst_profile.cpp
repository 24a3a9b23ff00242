// SPDX-License-Identifier: GPL-3.0-or-later

#include "Programs.h"

using namespace programs;
using namespace Qt::StringLiterals;

namespace {
void store(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QStringList scansIn(const Instrument& instrument)
{
    return QDir(instrument.directory.path()).entryList({u"*.sdf"_s}, QDir::Files, QDir::Name);
}

/// The angle of the strongest peak that the console program finds in a scan; 0 when the file cannot be read.
double strongestPeak(const Instrument& instrument, const QString& name)
{
    ScanCli cli;
    if (cli.runOn(instrument, {u"info"_s, instrument.path(name), u"--peaks"_s, u"1"_s}) != 0)
        return 0;
    const QList<QByteArray> lines = cli.out.trimmed().split('\n');
    return lines.constLast().simplified().split(' ').constFirst().toDouble();
}

const QByteArray wideProfile = "# from warm to cold\r\nT1:295;T2:95;DT:100;DW:1;\r\n";
} // namespace

class tst_profile : public QObject
{
    Q_OBJECT

private slots:
    void theCheckListsTheScansAndTheFaults()
    {
        const Instrument instrument({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s});
        QVERIFY(instrument.running);
        store(instrument.path(u"p.gtp"_s), wideProfile);
        ScanCli good;
        QCOMPARE(good.runOn(instrument, {u"profile"_s, u"check"_s, instrument.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s}), 0);
        QVERIFY2(good.out.startsWith("295 K  Quartz_0295.0.sdf\n195 K  Quartz_0195.0.sdf\n95 K  Quartz_0095.0.sdf\n3 scans, about "),
                 good.out.constData());
        store(instrument.path(u"bad.gtp"_s), "T1:900;R:100");
        ScanCli bad;
        QCOMPARE(bad.runOn(instrument, {u"profile"_s, u"check"_s, instrument.path(u"bad.gtp"_s)}), 1);
        QVERIFY2(bad.out.contains("line 1: The valid temperature range is"), bad.out.constData());
        QVERIFY2(bad.out.contains("line 1: Please select a ramp rate between 0 K/min. and 99.9 K/min.!"), bad.out.constData());
        ScanCli missing;
        QCOMPARE(missing.runOn(instrument, {u"profile"_s, u"check"_s, instrument.path(u"none.gtp"_s)}), 1);
        ScanCli wrong;
        QCOMPARE(wrong.runOn(instrument, {u"profile"_s, u"paint"_s, instrument.path(u"p.gtp"_s)}), 2);
    }

    void everyTemperatureGivesAScanWhosePeaksMove()
    {
        const Instrument instrument({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s});
        QVERIFY(instrument.running);
        store(instrument.path(u"p.gtp"_s), wideProfile);
        ScanCli cli;
        const int status =
            cli.runOn(instrument, {u"profile"_s, u"run"_s, instrument.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s, u"--yes"_s});
        QVERIFY2(status == 0, cli.err.constData());
        QCOMPARE(cli.out.count("Saved: "), 3);
        // The reading after the wait names the file: within the window of the setpoint.
        const QStringList scans = scansIn(instrument);
        QCOMPARE(scans.size(), 3);
        const double cold = strongestPeak(instrument, scans.constFirst());
        const double warm = strongestPeak(instrument, scans.constLast());
        QVERIFY2(cold - warm > 0.01 && cold - warm < 0.5, qPrintable(u"%1 and %2 degrees"_s.arg(cold).arg(warm)));
        QVERIFY(!QFile::exists(instrument.path(u"p.gtp.state"_s)));
    }

#ifdef Q_OS_UNIX
    void aRunThatWasKilledGoesOnWhereItStopped()
    {
        const QTemporaryDir place;
        QFile trace(place.filePath(u"trace"_s));
        const Instrument instrument({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s, u"--trace"_s, trace.fileName()});
        QVERIFY(instrument.running);
        store(instrument.path(u"p.gtp"_s), wideProfile);
        const QStringList words = {u"profile"_s, u"run"_s, instrument.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s, u"--yes"_s};
        ScanCli first;
        first.startOn(instrument, words);
        QVERIFY2(first.says("2 of 3: 195 K, measuring"), first.err.constData());
        first.process.kill();
        QVERIFY(first.process.waitForFinished(patience));
        const QStringList before = scansIn(instrument);
        QCOMPARE(before.size(), 1);
        const QByteArray bytes = instrument.read(before.constFirst());
        QVERIFY(QFile::exists(instrument.path(u"p.gtp.state"_s)));
        QVERIFY(trace.open(QIODevice::ReadOnly));
        QByteArray text;
        QTRY_COMPARE_WITH_TIMEOUT((text += trace.readAll()).count("-- line left"), 2, patience);
        // The controller still counts what the killed program started.
        ScanCli stop;
        QCOMPARE(stop.runOn(instrument, {u"stop"_s}), 0);
        ScanCli second;
        const int status = second.runOn(instrument, words + QStringList{u"--resume"_s});
        QVERIFY2(status == 0, second.err.constData());
        QCOMPARE(second.out.count("Saved: "), 2);
        QVERIFY2(!second.err.contains("1 of 3:"), second.err.constData());
        QCOMPARE(scansIn(instrument).size(), 3);
        QCOMPARE(instrument.read(before.constFirst()), bytes);
        for (const QString& name : scansIn(instrument))
            QVERIFY2(strongestPeak(instrument, name) > 0, qPrintable(name));
        QVERIFY(!QFile::exists(instrument.path(u"p.gtp.state"_s)));
    }

    void aRunOutlivesItsTerminal()
    {
        const Instrument instrument({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s});
        QVERIFY(instrument.running);
        store(instrument.path(u"p.gtp"_s), wideProfile);
        ScanCli cli;
        cli.startOn(instrument, {u"profile"_s, u"run"_s, instrument.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s, u"--yes"_s});
        QVERIFY2(cli.says("2 of 3: 195 K, settling"), cli.err.constData());
        cli.interrupt(SIGHUP);
        QVERIFY2(cli.finish() == 0, cli.err.constData());
        QCOMPARE(scansIn(instrument).size(), 3);
    }

    void controlCBreaksOffAndKeepsTheScans()
    {
        const Instrument instrument({u"--speed"_s, u"500"_s, u"--ltc"_s, u"331"_s});
        QVERIFY(instrument.running);
        store(instrument.path(u"p.gtp"_s), wideProfile);
        ScanCli cli;
        cli.startOn(instrument, {u"profile"_s, u"run"_s, instrument.path(u"p.gtp"_s), u"--name"_s, u"Quartz"_s, u"--yes"_s});
        QVERIFY2(cli.says("2 of 3: 195 K, settling"), cli.err.constData());
        cli.interrupt();
        QCOMPARE(cli.finish(), 3);
        QVERIFY2(cli.err.contains("2 of 3: 195 K, aborted"), cli.err.constData());
        QCOMPARE(scansIn(instrument).size(), 1);
    }
#endif
};

QTEST_GUILESS_MAIN(tst_profile)
#include "tst_profile.moc"
