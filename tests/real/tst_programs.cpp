// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program and the virtual instrument as processes: lines, terminals and signals of the system. What the commands do is tested
// on the desk, in tests/system.

#include "real/Programs.h"
#include "support/CommandLine.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using namespace programs;
using namespace Qt::StringLiterals;

namespace {
constexpr int points = 66;
const QStringList fast = words("--speed 1000");

/// Over the strongest line of quartz: 66 points.
QStringList quartzScan(const QStringList& more = {})
{
    return words("acquire --start 26 --stop 27.3 --step 0.02 --time 1 --out q.sdf") + more;
}

QJsonObject infoOf(const Instrument& instrument, const QString& file)
{
    ScanCli cli;
    if (cli.runOn(instrument, {u"info"_s, file, u"--json"_s, u"--peaks"_s, u"1"_s}) != 0)
        return {};
    return QJsonDocument::fromJson(cli.out).object();
}
} // namespace

class ProgramsTest : public QObject
{
    Q_OBJECT

    static void lines()
    {
        QTest::addColumn<QStringList>("line");
#ifdef Q_OS_UNIX
        QTest::newRow("pseudo-terminal") << QStringList();
#endif
        QTest::newRow("TCP") << words("--tcp 0");
    }

private slots:
    void aScanIsMeasuredAndSaved_data()
    {
        lines();
    }
    void aScanIsMeasuredAndSaved();
    void aLineThatComesBackLosesNoScan_data()
    {
        lines();
    }
    void aLineThatComesBackLosesNoScan();
    void aMissingInstrumentIsRefused();
#ifdef Q_OS_UNIX
    void ctrlCBreaksOffAndSaves_data();
    void ctrlCBreaksOffAndSaves();
    void answersAreTypedOnATerminal();
    void abortInTheCheckEndsTheProgramAtOnce();
    void aProgramThatWasKilledIsStartedAgain();
    void theProgramLinksNoWidget();
#endif
};

void ProgramsTest::aScanIsMeasuredAndSaved()
{
    QFETCH(QStringList, line);
    const Instrument instrument(fast + line);
    QVERIFY(instrument.running);
    ScanCli cli;
    VERIFY_OR_SHOW(cli.runOn(instrument, quartzScan({u"--yes"_s})) == 0, cli.err);
    QVERIFY(cli.out.contains("Saved: " + instrument.path(u"q.sdf"_s).toUtf8()));
    QVERIFY(!cli.err.contains('\r')); // no bar for a pipe
    const QJsonObject info = infoOf(instrument, u"q.sdf"_s);
    QCOMPARE(info.value("points").toInt(), points);
    const double peak = info.value("peaks").toArray().first().toObject().value("angle").toDouble();
    VERIFY_OR_SHOW(qAbs(peak - 26.64) < 0.03, QByteArray::number(peak));
}

void ProgramsTest::aLineThatComesBackLosesNoScan()
{
    QFETCH(QStringList, line);
    const Instrument instrument(fast + words("--fault hang-up-and-return:10") + line); // in the upload
    instrument.bePatient();
    ScanCli cli;
    VERIFY_OR_SHOW(cli.runOn(instrument, quartzScan({u"--yes"_s})) == 0, cli.err);
    QCOMPARE(cli.err.count("is lost."), 1);
    QCOMPARE(infoOf(instrument, u"q.sdf"_s).value("points").toInt(), points);
}

void ProgramsTest::aMissingInstrumentIsRefused()
{
    const QTemporaryDir directory;
    QFile ini(directory.filePath(u"scan.ini"_s));
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[smc]\nSerialDevice=/dev/no-such-line\n");
    ini.close();
    ScanCli cli;
    cli.process.setWorkingDirectory(directory.path());
    cli.start(QStringList{u"--program-dir"_s, directory.path()} + quartzScan({u"--yes"_s}));
    QCOMPARE(cli.finish(), 1);
    VERIFY_OR_SHOW(cli.err.contains("[SMC: Communication Error] /dev/no-such-line not available!"), cli.err);
    ScanCli status;
    status.start({u"--program-dir"_s, directory.path(), u"status"_s});
    QCOMPARE(status.finish(), 1);
    QCOMPARE(status.out, QByteArray("Scan (Simulation)\n"));
}

#ifdef Q_OS_UNIX
void ProgramsTest::ctrlCBreaksOffAndSaves_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("the terminal closes") << SIGHUP;
}

void ProgramsTest::ctrlCBreaksOffAndSaves()
{
    QFETCH(int, signal);
    // At its own speed, and from where it stands, a scan of a minute: points are counted, and it is not over before it is broken off.
    const Instrument instrument(words("--position 13,26"));
    ScanCli cli;
    cli.startOn(instrument, quartzScan({u"--yes"_s}));
    QVERIFY(cli.says("2 of 66 points"));
    cli.interrupt(signal);
    VERIFY_OR_SHOW(cli.finish() == 3, cli.err);
    QVERIFY(cli.err.contains("Broken off. What was counted is kept."));
    // It keeps its points; those that nobody counted are zero.
    const QByteArray partial = "Partial: ";
    const QByteArray behind = cli.err.mid(cli.err.indexOf(partial) + partial.size());
    const int counted = behind.left(behind.indexOf(' ')).toInt();
    VERIFY_OR_SHOW(cli.err.contains(partial) && counted > 0 && counted < points, cli.err);
    QCOMPARE(infoOf(instrument, u"q.sdf"_s).value("points").toInt(), points);
}

void ProgramsTest::answersAreTypedOnATerminal()
{
    const Instrument instrument(fast + words("--fault fewer-counts"));
    instrument.bePatient();
    for (const bool goOn : {false, true}) {
        PseudoTerminal terminal;
        ScanCli cli;
        terminal.adopt(cli.process);
        cli.process.setWorkingDirectory(instrument.directory.path());
        cli.start(QStringList{u"--program-dir"_s, instrument.directory.path()} + quartzScan());
        const auto shows = [&](const QByteArray& text) { return cli.waitUntil([&] { return terminal.shown().contains(text); }); };
        VERIFY_OR_SHOW(shows("OK/Cancel? [OK] "), terminal.shown());
        QVERIFY(terminal.type("\n")); // the default button
        VERIFY_OR_SHOW(shows("Yes/No? [No] "), terminal.shown());
        QVERIFY(terminal.type(goOn ? "maybe\ny\n" : "\n"));
        QCOMPARE(cli.finish(), 1); // 3 points are missing in either case
        VERIFY_OR_SHOW(terminal.shown().contains("[##"), terminal.shown());
        QCOMPARE(QFile::exists(instrument.path(u"q.sdf"_s)), goOn);
    }
}

void ProgramsTest::abortInTheCheckEndsTheProgramAtOnce()
{
    const Instrument instrument(fast + words("--fault silent"));
    PseudoTerminal terminal;
    ScanCli cli;
    terminal.adopt(cli.process);
    cli.start({u"--program-dir"_s, instrument.directory.path(), u"status"_s});
    VERIFY_OR_SHOW(cli.waitUntil([&] { return terminal.shown().contains("Abort/Retry/Ignore? [Retry] "); }), terminal.shown());
    QVERIFY(terminal.type("r\n"));
    VERIFY_OR_SHOW(cli.waitUntil([&] { return terminal.shown().count("Abort/Retry/Ignore? [Retry] ") == 2; }), terminal.shown());
    QVERIFY(terminal.type("abort\n"));
    QCOMPARE(cli.finish(), 1);
    QVERIFY(cli.out.isEmpty());
}

void ProgramsTest::aProgramThatWasKilledIsStartedAgain()
{
    const QTemporaryDir traces;
    QFile trace(traces.filePath(u"trace"_s));
    const Instrument instrument(words("--ltc 331 --trace") + QStringList{trace.fileName()});
    QVERIFY(instrument.running && trace.open(QIODevice::ReadOnly));
    QByteArray traced;
    ScanCli killed;
    killed.startOn(instrument, words("ltc setpoint 250 --current")); // the start has switched the heater off: never steady
    VERIFY_OR_SHOW(killed.says("Current Temperature X: "), killed.err);
    killed.process.kill();
    QVERIFY(killed.process.waitForFinished(patience));
    QTRY_VERIFY_WITH_TIMEOUT((traced += trace.readAll()).contains("LTC -- line left") && traced.contains("SMC -- line left"), patience);
    ScanCli again;
    VERIFY_OR_SHOW(again.runOn(instrument, words("ltc temperature")) == 0, again.err);
    QCOMPARE(again.err, QByteArray());
    traced += trace.readAll();
    const QByteArray answer = traced.mid(traced.lastIndexOf("LTC -> ") + 7);
    VERIFY_OR_SHOW(again.out.endsWith(" K\n"), again.out);
    QCOMPARE(again.out.split(' ').constFirst().toFloat(), answer.left(answer.indexOf('<')).toFloat());
}

void ProgramsTest::theProgramLinksNoWidget()
{
    QProcess ldd;
    ldd.start(u"ldd"_s, {QStringLiteral(SCAN_BIN_DIR "/scan-cli")});
    if (!ldd.waitForFinished(patience))
        QSKIP("no ldd here");
    const QByteArray libraries = ldd.readAllStandardOutput();
    VERIFY_OR_SHOW(libraries.contains("Qt6Core"), libraries);
    for (const char* library : {"Qt6Widgets", "Qt6Gui", "Qt6PrintSupport", "qcustomplot", "QCustomPlot"})
        VERIFY_OR_SHOW(!libraries.contains(library), library);
}
#endif

QTEST_GUILESS_MAIN(ProgramsTest)
#include "tst_programs.moc"
