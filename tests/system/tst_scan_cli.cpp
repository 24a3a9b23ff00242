// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program on the virtual instrument: whole scans, broken ones, files, the terminal.

#include "real/Programs.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

using programs::Instrument;
using programs::Program;
using programs::ScanCli;

/// The text is what the program said.
#define VERIFY_OR_SHOW(condition, text) QVERIFY2(condition, QByteArray(text).constData())

namespace {
constexpr int points = 66;
// Long enough that a scan outlasts several looks at the controller, or far shorter than one.
const QStringList slow{QStringLiteral("--speed"), QStringLiteral("20")};
const QStringList fast{QStringLiteral("--speed"), QStringLiteral("1000")};

QStringList words(const char* line)
{
    return QString::fromUtf8(line).split(u' ', Qt::SkipEmptyParts);
}

/// Over the strongest line of quartz: 66 points.
QStringList quartzScan(const QStringList& more = {})
{
    return words("acquire --start 26 --stop 27.3 --step 0.02 --time 1 --out q.sdf") + more;
}

QStringList faulty(const QStringList& speed, const QByteArray& fault)
{
    return speed + QStringList{QStringLiteral("--fault"), QString::fromUtf8(fault)};
}

QJsonObject infoOf(const Instrument& instrument, const QString& file)
{
    ScanCli cli;
    if (cli.runOn(instrument, {u"info"_qs, file, u"--json"_qs, u"--peaks"_qs, u"1"_qs}) != 0)
        return {};
    return QJsonDocument::fromJson(cli.out).object();
}
} // namespace

class ScanCliTest : public QObject
{
    Q_OBJECT

private slots:
    void aScanIsMeasuredAndSaved_data();
    void aScanIsMeasuredAndSaved();
    void valuesNotGivenComeFromScanIni();
    void aGuinierScanIsMeasured();
    void aFaultIsReportedAndEndsInOrder_data();
    void aFaultIsReportedAndEndsInOrder();
    void aLineThatComesBackLosesNoScan_data();
    void aLineThatComesBackLosesNoScan();
    void countsOfALostTransferAreReadBack();
    void ctrlCBreaksOffAndSaves_data();
    void ctrlCBreaksOffAndSaves();
    void ctrlCEndsAScanOnAControllerThatIsGone_data();
    void ctrlCEndsAScanOnAControllerThatIsGone();
    void aBusyControllerIsRefused();
    void aMissingInstrumentIsRefused();
    void withoutATerminalNothingIsStarted();
    void answersAreTypedOnATerminal();
    void abortInTheCheckEndsTheProgramAtOnce();
    void anExistingFileIsAskedAboutReplacedOrKept();
    void aScanThatCannotBeSavedIsRescued();
    void aFullDiskLeavesNoHalfFile();
    void aTargetThatCannotBeWrittenIsRefusedBeforeTheScan();
    void wrongUsageIsExplained_data();
    void wrongUsageIsExplained();
    void helpAndVersion();
    void everySettingIsListed();
    void infoShowsAFile();
    void convertWritesEveryFormat();
    void aFileThatIsNoScanIsRefused();
    void statusGotoStopReference();
    void theLogIsWrittenOnlyWithLog();
    void theProgramLinksNoWidget();
};

void ScanCliTest::aScanIsMeasuredAndSaved_data()
{
    QTest::addColumn<QStringList>("line");
    QTest::newRow("pseudo-terminal") << QStringList();
    QTest::newRow("TCP") << words("--tcp 0");
}

void ScanCliTest::aScanIsMeasuredAndSaved()
{
    QFETCH(QStringList, line);
    const Instrument instrument(fast + line);
    QVERIFY(instrument.running);
    const QByteArray iniBefore = instrument.read(u"scan.ini"_qs);
    ScanCli cli;
    const int status = cli.runOn(instrument, quartzScan({u"--yes"_qs, u"--name"_qs, u"Quartz"_qs, u"--comment"_qs, u"two words"_qs,
                                                         u"--export"_qs, u"ascii-xy=q.asc"_qs}));
    VERIFY_OR_SHOW(status == 0, cli.err);
    QVERIFY(cli.err.contains("[Start scan] Selected parameter set (Theta-2-Theta):"));
    QVERIFY(cli.err.contains("Scan Start  : 26\xc2\xb0 2-Theta"));
    QVERIFY(cli.out.contains("66 points from 26 to 27.3 degrees 2-Theta, step 0.02, 1 s per point"));
    QVERIFY(cli.out.contains("Saved: " + instrument.path(u"q.sdf"_qs).toUtf8()));
    QVERIFY(!cli.err.contains('\r'));
    QCOMPARE(instrument.read(u"scan.ini"_qs), iniBefore);
    QCOMPARE(instrument.read(u"q.asc"_qs).trimmed().split('\n').size(), points);

    const QJsonObject info = infoOf(instrument, u"q.sdf"_qs);
    QCOMPARE(info.value("points").toInt(), points);
    QCOMPARE(info.value("name").toString(), u"Quartz"_qs);
    QCOMPARE(info.value("comment").toString(), u"two words"_qs);
    QCOMPARE(info.value("start").toDouble(), 26.0);
    QCOMPARE(info.value("stop").toDouble(), 27.3);
    QCOMPARE(info.value("counterTime").toDouble(), 1.0);
    QVERIFY(info.value("maximum").toDouble() > 1000);
    const double peak = info.value("peaks").toArray().first().toObject().value("angle").toDouble();
    VERIFY_OR_SHOW(qAbs(peak - 26.64) < 0.03, QByteArray::number(peak));
}

void ScanCliTest::valuesNotGivenComeFromScanIni()
{
    const Instrument instrument(fast);
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, words("acquire --stop 20,2 --out a.sdf --yes")), 0); // start 20, step 0.02, 0.1 s stand in the file
    VERIFY_OR_SHOW(cli.out.contains("11 points from 20 to 20.2 degrees 2-Theta, step 0.02, 0.1 s per point"), cli.out);
    QCOMPARE(infoOf(instrument, u"a.sdf"_qs).value("name").toString(), u"quartz"_qs);
    ScanCli corrected;
    QCOMPARE(corrected.runOn(instrument, words("acquire --stop 20.2 --time 0.15 --out b.sdf --yes")), 0);
    VERIFY_OR_SHOW(corrected.err.contains("--time 0.15 becomes 0.2."), corrected.err);
}

void ScanCliTest::aGuinierScanIsMeasured()
{
    const Instrument instrument(fast + words("--axes 1"));
    ScanCli cli;
    VERIFY_OR_SHOW(cli.runOn(instrument, quartzScan({u"--yes"_qs})) == 0, cli.err);
    QVERIFY(cli.err.contains("[Start scan] Selected parameter set (Guinier):"));
    QCOMPARE(infoOf(instrument, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::aFaultIsReportedAndEndsInOrder_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<int>("exitStatus");
    QTest::addColumn<QByteArrayList>("reported");
    QTest::addColumn<int>("pointsSaved"); // 0: no file

    // Commands of a start: ?S; ?S1; ?V; then of a run: ?S1; 18 lines of program, ?S1; until idle, ?S1; ?CNT;.
    const QByteArray checklist = "    -SMC configuration ACTIVE INTERFACE set to 'V24'?";
    const QByteArray mismatch = "] Received number of data points (";
    QTest::newRow("silent from the start") << QByteArray("silent") << 1
                                           << QByteArrayList{"[SMC] SMC does not respond...", "[SMC Check] SMC does not respond...",
                                                             checklist, "The goniometer controller does not answer."}
                                           << 0;
    QTest::newRow("garbage from the start") << QByteArray("garbage") << 1 << QByteArrayList{"[SMC Check]", checklist} << 0;
    QTest::newRow("cut replies from the start")
        << QByteArray("cut-reply") << 1 << QByteArrayList{"Selected goniometer type requires SMC 4412..."} << 0;
    QTest::newRow("garbage in the transfer") << QByteArray("garbage:24") << 1 << QByteArrayList{mismatch + "-1)", "-> No"} << 0;
    QTest::newRow("fewer counts") << QByteArray("fewer-counts") << 1 << QByteArrayList{mismatch + " 63)", "63 of 66 points were counted."}
                                  << points - 3;
    QTest::newRow("more counts") << QByteArray("more-counts") << 0 << QByteArrayList{mismatch + " 132)"} << points;
    QTest::newRow("no counts") << QByteArray("no-counts") << 1 << QByteArrayList{mismatch + " 0)", "-> No", "No counts were read."} << 0;
    QTest::newRow("a line that breaks before the upload")
        << QByteArray("hang-up:3") << 1 << QByteArrayList{"is lost.", "SMC not ready..."} << 0;
    QTest::newRow("a line that breaks in the transfer")
        << QByteArray("hang-up:24") << 1 << QByteArrayList{"is lost.", "No counts were read.", "scan-cli readback"} << 0;
    QTest::newRow("a controller switched off and on") << QByteArray("power-cycle:22") << 1 << QByteArrayList{mismatch + " 0)"} << 0;
}

void ScanCliTest::aFaultIsReportedAndEndsInOrder()
{
    QFETCH(QByteArray, fault);
    QFETCH(int, exitStatus);
    QFETCH(QByteArrayList, reported);
    QFETCH(int, pointsSaved);
    const Instrument instrument(faulty(fast, fault));
    ScanCli cli;
    const int status = cli.runOn(instrument, quartzScan({u"--yes"_qs}));
    VERIFY_OR_SHOW(status == exitStatus, cli.out + cli.err);
    for (const QByteArray& text : reported)
        VERIFY_OR_SHOW(cli.err.contains(text), text + " is missing in:\n" + cli.err);
    QCOMPARE(QFile::exists(instrument.path(u"q.sdf"_qs)), pointsSaved > 0);
    if (pointsSaved > 0)
        QCOMPARE(infoOf(instrument, u"q.sdf"_qs).value("points").toInt(), pointsSaved);
}

void ScanCliTest::aLineThatComesBackLosesNoScan_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::newRow("lost in the upload") << QByteArray("hang-up-and-return:10");
    QTest::newRow("lost while counting") << QByteArray("hang-up-and-return:24");
}

void ScanCliTest::aLineThatComesBackLosesNoScan()
{
    QFETCH(QByteArray, fault);
    const Instrument instrument(faulty(slow, fault));
    ScanCli cli;
    VERIFY_OR_SHOW(cli.runOn(instrument, quartzScan({u"--yes"_qs})) == 0, cli.err);
    QCOMPARE(cli.err.count("is lost."), 1);
    QCOMPARE(infoOf(instrument, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::countsOfALostTransferAreReadBack()
{
    const Instrument instrument(faulty(fast, "no-counts:24:1"));
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, quartzScan({u"--yes"_qs})), 1);
    QVERIFY(!QFile::exists(instrument.path(u"q.sdf"_qs)));
    ScanCli again;
    QStringList command = quartzScan({u"--yes"_qs});
    command[0] = u"readback"_qs;
    VERIFY_OR_SHOW(again.runOn(instrument, command) == 0, again.err);
    QCOMPARE(infoOf(instrument, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::ctrlCBreaksOffAndSaves_data()
{
    QTest::addColumn<int>("signal");
    QTest::newRow("Ctrl-C") << SIGINT;
    QTest::newRow("the terminal closes") << SIGHUP;
}

void ScanCliTest::ctrlCBreaksOffAndSaves()
{
    QFETCH(int, signal);
    const Instrument instrument(slow);
    ScanCli cli;
    cli.startOn(instrument, quartzScan({u"--yes"_qs}));
    QVERIFY(cli.says("2 of 66 points"));
    cli.interrupt(signal);
    const int status = cli.finish();
    VERIFY_OR_SHOW(status == 3, cli.err);
    QVERIFY(cli.err.contains("[Data acquisition] Do you want to abort the current data acquisition now?\n-> Yes"));
    QVERIFY(cli.err.contains("[Data acquisition] Do you want read scan data anyway?\n-> Yes"));
    QVERIFY(cli.err.contains("Broken off. What was counted is kept."));
    QVERIFY(cli.out.contains("Saved: "));
    const QJsonObject info = infoOf(instrument, u"q.sdf"_qs);
    const int counted = info.value("points").toInt();
    VERIFY_OR_SHOW(counted > 0 && counted < points, QByteArray::number(counted));
    QVERIFY(qAbs(info.value("stop").toDouble() - (26 + (counted - 1) * 0.02)) < 1e-6);
    QVERIFY(info.value("minimum").toDouble() > 0); // no zeros that nobody counted
}

void ScanCliTest::ctrlCEndsAScanOnAControllerThatIsGone_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QByteArray>("seen");
    QTest::newRow("line lost in the upload") << QByteArray("hang-up:10") << QByteArray("is lost.");
    QTest::newRow("line lost while counting") << QByteArray("hang-up:23") << QByteArray("3 of 66 points");
    QTest::newRow("controller silent while counting") << QByteArray("silent:23") << QByteArray("3 of 66 points");
}

void ScanCliTest::ctrlCEndsAScanOnAControllerThatIsGone()
{
    QFETCH(QByteArray, fault);
    QFETCH(QByteArray, seen);
    const Instrument instrument(faulty(slow, fault));
    ScanCli cli;
    cli.startOn(instrument, quartzScan({u"--yes"_qs}));
    VERIFY_OR_SHOW(cli.says(seen), cli.err);
    cli.interrupt();
    const int status = cli.finish();
    VERIFY_OR_SHOW(status == 3, cli.err);
    QVERIFY(cli.err.contains("Broken off. Nothing was read."));
    QVERIFY(!QFile::exists(instrument.path(u"q.sdf"_qs)));
}

void ScanCliTest::aBusyControllerIsRefused()
{
    const Instrument instrument(words("--busy --speed 1"));
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, quartzScan({u"--yes"_qs})), 1);
    VERIFY_OR_SHOW(cli.err.contains("still runs a program"), cli.err);
    QVERIFY(!QFile::exists(instrument.path(u"q.sdf"_qs)));
    ScanCli stop;
    VERIFY_OR_SHOW(stop.runOn(instrument, {u"stop"_qs}) == 0, stop.err);
    ScanCli status;
    QCOMPARE(status.runOn(instrument, {u"status"_qs}), 0);
    VERIFY_OR_SHOW(status.out.contains("(idle)"), status.out);
}

void ScanCliTest::aMissingInstrumentIsRefused()
{
    const QTemporaryDir directory;
    QFile ini(directory.filePath(u"scan.ini"_qs));
    QVERIFY(ini.open(QIODevice::WriteOnly));
    ini.write("[smc]\nSerialDevice=/dev/no-such-line\n");
    ini.close();
    ScanCli cli;
    cli.process.setWorkingDirectory(directory.path());
    cli.start(QStringList{u"--program-dir"_qs, directory.path()} + quartzScan({u"--yes"_qs}));
    QCOMPARE(cli.finish(), 1);
    VERIFY_OR_SHOW(cli.err.contains("[SMC: Communication Error] /dev/no-such-line not available!"), cli.err);
    ScanCli status;
    status.start({u"--program-dir"_qs, directory.path(), u"status"_qs});
    QCOMPARE(status.finish(), 1);
    QCOMPARE(status.out, QByteArray("Scan (Simulation)\n"));
}

void ScanCliTest::withoutATerminalNothingIsStarted()
{
    const Instrument instrument(fast);
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, quartzScan()), 1);
    VERIFY_OR_SHOW(cli.err.contains("[Start scan]") && cli.err.contains("-> Cancel"), cli.err);
    QVERIFY(!QFile::exists(instrument.path(u"q.sdf"_qs)));
}

void ScanCliTest::answersAreTypedOnATerminal()
{
    const Instrument instrument(faulty(fast, "fewer-counts"));
    for (const bool goOn : {false, true}) {
        programs::PseudoTerminal terminal;
        ScanCli cli;
        terminal.adopt(cli.process);
        cli.process.setWorkingDirectory(instrument.directory.path());
        cli.start(QStringList{u"--program-dir"_qs, instrument.directory.path()} + quartzScan());
        const auto shows = [&](const QByteArray& text) { return cli.waitUntil([&] { return terminal.shown().contains(text); }); };
        VERIFY_OR_SHOW(shows("OK/Cancel? [OK] "), terminal.shown());
        QVERIFY(terminal.type("\n")); // the default button
        VERIFY_OR_SHOW(shows("Yes/No? [No] "), terminal.shown());
        QVERIFY(terminal.type(goOn ? "maybe\ny\n" : "\n"));
        QCOMPARE(cli.finish(), 1); // 3 points are missing in either case
        VERIFY_OR_SHOW(terminal.shown().contains("[##"), terminal.shown());
        QCOMPARE(QFile::exists(instrument.path(u"q.sdf"_qs)), goOn);
    }
}

void ScanCliTest::abortInTheCheckEndsTheProgramAtOnce()
{
    const Instrument instrument(faulty(fast, "silent"));
    programs::PseudoTerminal terminal;
    ScanCli cli;
    terminal.adopt(cli.process);
    cli.start({u"--program-dir"_qs, instrument.directory.path(), u"status"_qs});
    VERIFY_OR_SHOW(cli.waitUntil([&] { return terminal.shown().contains("Abort/Retry/Ignore? [Retry] "); }), terminal.shown());
    QVERIFY(terminal.type("r\n"));
    VERIFY_OR_SHOW(cli.waitUntil([&] { return terminal.shown().count("Abort/Retry/Ignore? [Retry] ") == 2; }), terminal.shown());
    QVERIFY(terminal.type("abort\n"));
    QCOMPARE(cli.finish(), 1);
    QVERIFY(cli.out.isEmpty());
}

void ScanCliTest::anExistingFileIsAskedAboutReplacedOrKept()
{
    const Instrument instrument(fast);
    QFile old(instrument.path(u"q.sdf"_qs));
    QVERIFY(old.open(QIODevice::WriteOnly));
    old.write("an earlier scan");
    old.close();

    ScanCli refused;
    QCOMPARE(refused.runOn(instrument, quartzScan()), 1);
    VERIFY_OR_SHOW(refused.err.contains("exists. Replace it?\n-> No"), refused.err);
    QVERIFY(!refused.err.contains("[Start scan]"));
    QCOMPARE(instrument.read(u"q.sdf"_qs), QByteArray("an earlier scan"));

    ScanCli kept;
    QCOMPARE(kept.runOn(instrument, quartzScan({u"--yes"_qs, u"--keep"_qs})), 0);
    VERIFY_OR_SHOW(kept.out.contains("Saved: " + instrument.path(u"q(2).sdf"_qs).toUtf8()), kept.out);
    QCOMPARE(instrument.read(u"q.sdf"_qs), QByteArray("an earlier scan"));

    ScanCli replaced;
    QCOMPARE(replaced.runOn(instrument, quartzScan({u"--yes"_qs})), 0);
    QVERIFY(instrument.read(u"q.sdf"_qs).startsWith("scan 2.1.22\r\n"));
}

void ScanCliTest::aScanThatCannotBeSavedIsRescued()
{
    const Instrument instrument(slow);
    QVERIFY(QDir(instrument.directory.path()).mkdir(u"data"_qs));
    ScanCli cli;
    cli.startOn(instrument, words("acquire --start 26 --stop 27.3 --step 0.02 --time 1 --out data/q.sdf --yes"));
    VERIFY_OR_SHOW(cli.says("0 of 66 points"), cli.err);
    QVERIFY(QDir(instrument.path(u"data"_qs)).removeRecursively()); // the disk it was on is pulled while counting
    const int status = cli.finish();
    VERIFY_OR_SHOW(status == 1, cli.out + cli.err);
    VERIFY_OR_SHOW(cli.err.contains("Error # 76 caused by CreateZELKOFile()"), cli.err);
    VERIFY_OR_SHOW(cli.err.contains("The scan was saved as "), cli.err);
    QCOMPARE(infoOf(instrument, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::aFullDiskLeavesNoHalfFile()
{
    const Instrument instrument(fast);
    ScanCli cli;
    cli.process.setChildProcessModifier([] {
        const rlimit limit{.rlim_cur = 256, .rlim_max = 256}; // files end after 256 bytes, as on a disk that fills up
        ::setrlimit(RLIMIT_FSIZE, &limit);
        ::signal(SIGXFSZ, SIG_IGN);
    });
    const int status = cli.runOn(instrument, quartzScan({u"--yes"_qs}));
    VERIFY_OR_SHOW(status == 1, cli.out + cli.err);
    VERIFY_OR_SHOW(cli.err.contains("caused by CreateZELKOFile()"), cli.err);
    VERIFY_OR_SHOW(cli.err.contains("The scan could not be saved."), cli.err);
    const QStringList left = QDir(instrument.directory.path()).entryList({u"*q*"_qs}, QDir::Files);
    VERIFY_OR_SHOW(left.isEmpty(), qPrintable(left.join(u' ')));
}

void ScanCliTest::aTargetThatCannotBeWrittenIsRefusedBeforeTheScan()
{
    const Instrument instrument(fast);
    QVERIFY(QDir(instrument.directory.path()).mkdir(u"d.sdf"_qs));
    for (const QString& out : {u"no/such/directory/q.sdf"_qs, u"/proc/q.sdf"_qs, u"d.sdf"_qs}) {
        ScanCli cli;
        QCOMPARE(cli.runOn(instrument, {u"acquire"_qs, u"--yes"_qs, u"--out"_qs, out}), 1);
        VERIFY_OR_SHOW(cli.err.contains(out.toUtf8()) && !cli.err.contains("[Start scan]"), cli.err);
    }
}

void ScanCliTest::wrongUsageIsExplained_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QByteArray>("explained");
    const auto row = [](const char* name, const QStringList& arguments, const char* explained) {
        QTest::newRow(name) << arguments << QByteArray(explained);
    };
    row("nothing", {}, "Which command?");
    row("unknown command", words("measure"), "Unknown command 'measure'.");
    row("unknown option", words("acquire --out a.sdf --slow"), "Unknown option --slow.");
    row("unknown leading option", words("--slow status"), "Unknown option --slow.");
    row("letters for a number", words("acquire --out a.sdf --start abc"), "start: 'abc' is not a number.");
    row("a number with a unit", words("acquire --out a.sdf --start 10deg"), "start: '10deg' is not a number.");
    row("an empty number", {u"acquire"_qs, u"--out"_qs, u"a.sdf"_qs, u"--stop"_qs, QString()}, "stop: '' is not a number.");
    row("not finite", words("acquire --out a.sdf --stop inf"), "stop: 'inf' is not a number.");
    row("a step of 0", words("acquire --out a.sdf --step 0"), "step: '0' must be above 0.");
    row("a negative time", words("acquire --out a.sdf --time=-1"), "time: '-1' must be above 0.");
    row("no file", words("acquire --start 10"), "out is missing.");
    row("an empty file name", words("acquire --out="), "out: '' must end in .sdf.");
    row("another ending", words("acquire --out a.txt"), "out: 'a.txt' must end in .sdf.");
    row("twice", words("acquire --out a.sdf --out b.sdf"), "out is given twice.");
    row("no value", words("acquire --out"), "--out needs a value.");
    row("a value for a switch", words("acquire --out a.sdf --yes=1"), "--yes takes no value.");
    row("a bad name", {u"acquire"_qs, u"--out"_qs, u"a.sdf"_qs, u"--name"_qs, u"a b"_qs}, "name: 'a b' is not a valid file name.");
    row("an unknown format", words("convert a.sdf --export bmp=a.bmp"),
        "names no known format; known are: sdf rietica uxd ascii-y ascii-xy fort4 stoe pro.");
    row("a format without a file", words("convert a.sdf --export uxd"), "must be FORMAT=FILE.");
    row("nothing to convert to", words("convert a.sdf"), "export is missing.");
    row("no file to show", words("info"), "file is missing.");
    row("a word too many", words("info a.sdf b.sdf"), "'b.sdf' is one word too many.");
    row("peaks", words("info a.sdf --peaks 1.5"), "peaks: '1.5' must be a whole number up to 1000000.");
    row("goto without an angle", words("goto 1"), "angle is missing.");
    row("settings without an action", words("settings"), "action is missing.");
    row("settings with another action", words("settings change"), "settings: list is wanted.");
    row("settings in two forms", words("settings list --ini --markdown"), "--markdown or --ini, not both.");
}

void ScanCliTest::wrongUsageIsExplained()
{
    QFETCH(QStringList, arguments);
    QFETCH(QByteArray, explained);
    ScanCli cli;
    cli.start(arguments);
    QCOMPARE(cli.finish(), 2);
    VERIFY_OR_SHOW(cli.err.contains(explained), cli.err);
    QVERIFY(cli.out.isEmpty());
}

void ScanCliTest::helpAndVersion()
{
    ScanCli version;
    version.start({u"--version"_qs});
    QCOMPARE(version.finish(), 0);
    QCOMPARE(version.out, QByteArray("scan-cli 2.1.22\n"));
    ScanCli help;
    help.start({u"--help"_qs});
    QCOMPARE(help.finish(), 0);
    for (const char* command : {"acquire", "readback", "info", "convert", "status", "goto", "stop", "reference", "settings"}) {
        VERIFY_OR_SHOW(help.out.contains(QByteArray("\n  ") + command + ' '), command);
        ScanCli one;
        one.start({QString::fromLatin1(command), u"--help"_qs});
        QCOMPARE(one.finish(), 0);
        QVERIFY(one.out.startsWith(QByteArray("scan-cli ") + command));
    }
}

void ScanCliTest::everySettingIsListed()
{
    const QTemporaryDir directory;
    const auto listed = [&directory](const QStringList& form) {
        ScanCli cli;
        cli.start(QStringList{u"--program-dir"_qs, directory.path(), u"settings"_qs, u"list"_qs} + form);
        return cli.finish() == 0 ? cli.out : cli.err;
    };
    QVERIFY(listed({}).startsWith("[General]\n  WorkDir "));
    QVERIFY(listed({u"--ini"_qs}).contains("\n; quiet time that ends a reply [s, 0 or more]\nRxDelay=.1\n"));
    QVERIFY(listed({u"--markdown"_qs}).contains("\n| smc | `RxDelay` | number | s | 0 or more | .1 | quiet time that ends a reply |\n"));
    QCOMPARE(QDir(directory.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList()); // nothing is written
}

void ScanCliTest::infoShowsAFile()
{
    const QTemporaryDir directory;
    const QString path = directory.filePath(u"a.sdf"_qs);
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("scan 2.1.21\r\n0\r\n1\r\nsample1\r\nn.n\r\n\r\nJan 02. 2003 04:05\r\n0.5\r\nC:\\a.sdf\r\n/*<beginc>a\r\nb<endc>*/\r\n"
               "10.000\r\n10.040\r\n0.020\r\n\r\n0\r\n\r\n 3 \r\n 7 \r\n 5 \r\n");
    file.close();
    ScanCli cli;
    cli.start({u"--program-dir"_qs, directory.path(), u"info"_qs, path, u"--json"_qs});
    VERIFY_OR_SHOW(cli.finish() == 0, cli.err);
    const QJsonObject expected{{"version", "2.1.21"}, {"name", "sample1"}, {"date", "Jan 02. 2003 04:05"},
                               {"counterTime", 0.5},  {"comment", "a\nb"}, {"start", 10.0},
                               {"stop", 10.04},       {"step", 0.02},      {"points", 3},
                               {"minimum", 3},        {"maximum", 7},      {"total", 15}};
    QCOMPARE(QJsonDocument::fromJson(cli.out).object(), expected);
    ScanCli text;
    text.start({u"--program-dir"_qs, directory.path(), u"info"_qs, path});
    QCOMPARE(text.finish(), 0);
    VERIFY_OR_SHOW(text.out.contains("Counts: 3 to 7, 15 in total") && text.out.contains("sample1"), text.out);
}

void ScanCliTest::convertWritesEveryFormat()
{
    const Instrument instrument(fast);
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, quartzScan({u"--yes"_qs})), 0);
    QStringList command{u"convert"_qs, u"q.sdf"_qs};
    const QStringList files{u"sdf=c.sdf"_qs,      u"rietica=c.dat"_qs, u"uxd=c.uxd"_qs,  u"ascii-y=c.prn"_qs,
                            u"ascii-xy=c.asc"_qs, u"fort4=c.f4"_qs,    u"stoe=c.raw"_qs, u"pro=c.pro"_qs};
    for (const QString& file : files)
        command += QStringList{u"--export"_qs, file};
    ScanCli convert;
    VERIFY_OR_SHOW(convert.runOn(instrument, command) == 0, convert.err);
    QCOMPARE(convert.err.count("Written ("), files.size());
    for (const QByteArray& line : convert.err.split('\n')) {
        if (line.startsWith("Written ("))
            VERIFY_OR_SHOW(QFileInfo(instrument.path(QString::fromUtf8(line.mid(line.indexOf("): ") + 3)))).size() > 0, line);
    }
    QCOMPARE(infoOf(instrument, u"c.sdf"_qs).value("total"), infoOf(instrument, u"q.sdf"_qs).value("total"));
    ScanCli again; // the files are there now
    QCOMPARE(again.runOn(instrument, command), 1);
    QVERIFY(again.err.contains("exists. Replace it?\n-> No"));
}

void ScanCliTest::aFileThatIsNoScanIsRefused()
{
    const QTemporaryDir directory;
    QFile file(directory.filePath(u"a.sdf"_qs));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("a letter\r\n");
    file.close();
    ScanCli cli;
    cli.start({u"--program-dir"_qs, directory.path(), u"info"_qs, file.fileName()});
    QCOMPARE(cli.finish(), 1);
    VERIFY_OR_SHOW(cli.err.contains("[Open file error] '" + file.fileName().toUtf8() + "' is is not a Scan file"), cli.err);
    ScanCli missing;
    missing.start({u"--program-dir"_qs, directory.path(), u"info"_qs, u"/no/such/file.sdf"_qs});
    QCOMPARE(missing.finish(), 1);
    VERIFY_OR_SHOW(missing.err.contains("Error # "), missing.err);
}

void ScanCliTest::statusGotoStopReference()
{
    const Instrument instrument(words("--speed 100 --position 5,10"));
    const auto run = [&](const char* line, int expected) {
        ScanCli cli;
        const int status = cli.runOn(instrument, words(line));
        return status == expected ? cli.out + cli.err : QByteArray("exit status ") + QByteArray::number(status) + ": " + cli.out + cli.err;
    };
    const QByteArray status = run("status", 0);
    VERIFY_OR_SHOW(status.startsWith("Scan (4412, Theta-2-Theta, online mode)\nFirmware: "), status);
    VERIFY_OR_SHOW(status.contains("Axis 1: 5 degrees, status 128 (idle)\nAxis 2: 10 degrees, status 128 (idle)\n"), status);
    const QJsonObject known = QJsonDocument::fromJson(run("status --json", 0)).object();
    QCOMPARE(known["caption"].toString(), u"Scan (4412, Theta-2-Theta, online mode)"_qs);
    QCOMPARE(known["lines"]["goniometer"].toString(), u"up"_qs);
    QCOMPARE(known["axis1Angle"]["value"].toDouble(), 5.0);
    QVERIFY(known["shutterOpen"]["value"].isNull());
    QCOMPARE(run("goto 2 12.5", 0), QByteArray("Axis 2: 12.5 degrees\n"));
    QCOMPARE(run("goto 1 6,25", 0), QByteArray("Axis 1: 6.25 degrees\n"));
    QCOMPARE(run("goto 3 10", 1), QByteArray("The controller has no axis 3.\n"));
    QCOMPARE(run("goto 1 181", 1), QByteArray("181 degrees lie outside 0 to 180.\n"));
    QCOMPARE(run("goto 1 -1", 1), QByteArray("-1 degrees lie outside 0 to 180.\n"));
    QCOMPARE(run("stop", 0), QByteArray("Stopped.\n"));
    const QByteArray reference = run("reference", 0);
    VERIFY_OR_SHOW(reference.startsWith("Axis 1: ") && reference.contains("\nAxis 2: "), reference);
}

void ScanCliTest::theLogIsWrittenOnlyWithLog()
{
    const Instrument instrument(fast);
    ScanCli quiet;
    QCOMPARE(quiet.runOn(instrument, {u"status"_qs}), 0);
    QVERIFY(!QFile::exists(instrument.path(u"app.log"_qs)));
    ScanCli cli;
    QCOMPARE(cli.runOn(instrument, {u"--log"_qs, u"status"_qs}), 0);
    const QByteArray log = instrument.read(u"app.log"_qs);
    QVERIFY(log.startsWith("[General]\r\nWorkDir="));
    QVERIFY(log.contains("\r\n[SMC]\r\n"));
}

void ScanCliTest::theProgramLinksNoWidget()
{
    QProcess ldd;
    ldd.start(u"ldd"_qs, {QStringLiteral(SCAN_BIN_DIR "/scan-cli")});
    if (!ldd.waitForFinished(programs::patience))
        QSKIP("no ldd here");
    const QByteArray libraries = ldd.readAllStandardOutput();
    VERIFY_OR_SHOW(libraries.contains("Qt6Core"), libraries);
    for (const char* library : {"Qt6Widgets", "Qt6Gui", "Qt6PrintSupport", "qcustomplot", "QCustomPlot"})
        VERIFY_OR_SHOW(!libraries.contains(library), library);
}

QTEST_GUILESS_MAIN(ScanCliTest)
#include "tst_scan_cli.moc"
