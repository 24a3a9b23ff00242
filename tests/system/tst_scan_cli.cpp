// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program on the virtual instrument: whole scans, broken ones, files, the terminal.

#include "support/SmallDisk.h"
#include "system/LabConsole.h"

#include <QDir>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
constexpr int points = 66;
// So fast that a scan is over at the first look at the controller: a fault falls on the command that it is meant for.
const QStringList fast = words("--speed 1000");
// A scan lasts several looks.
const QStringList slow = words("--speed 20");

/// Over the strongest line of quartz: 66 points.
QStringList quartzScan(const QStringList& more = {})
{
    return words("acquire --start 26 --stop 27.3 --step 0.02 --time 1 --out q.sdf") + more;
}
const QStringList yes{u"--yes"_qs};

QStringList faulty(const QStringList& speed, const QByteArray& fault)
{
    return speed + QStringList{u"--fault"_qs, QString::fromUtf8(fault)};
}

QJsonObject infoOf(LabConsole& lab, const QString& file)
{
    DeskCli cli(lab);
    if (cli.run({u"info"_qs, file, u"--json"_qs, u"--peaks"_qs, u"1"_qs}) != 0)
        return {};
    return QJsonDocument::fromJson(cli.out).object();
}
} // namespace

class ScanCliTest : public QObject
{
    Q_OBJECT

private slots:
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
    void readbackKnowsTheScanThatWasStartedLast();
    void withoutATerminalNothingIsStarted();
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
};

void ScanCliTest::aScanIsMeasuredAndSaved()
{
    LabConsole lab;
    const QByteArray iniBefore = lab.read(u"scan.ini"_qs);
    const int status = lab.run(
        quartzScan({u"--yes"_qs, u"--name"_qs, u"Quartz"_qs, u"--comment"_qs, u"two words"_qs, u"--export"_qs, u"ascii-xy=q.asc"_qs}));
    VERIFY_OR_SHOW(status == 0, lab.cli.err);
    QVERIFY(lab.cli.err.contains("[Start scan] Selected parameter set (Theta-2-Theta):"));
    QVERIFY(lab.cli.err.contains("Scan Start  : 26\xc2\xb0 2-Theta"));
    QVERIFY(lab.cli.out.contains("66 points from 26 to 27.3 degrees 2-Theta, step 0.02, 1 s per point"));
    QVERIFY(lab.cli.out.contains("Saved: " + lab.path(u"q.sdf"_qs).toUtf8()));
    QVERIFY(!lab.cli.err.contains('\r'));
    QCOMPARE(lab.read(u"scan.ini"_qs), iniBefore);
    QCOMPARE(lab.read(u"q.asc"_qs).trimmed().split('\n').size(), points);

    const QJsonObject info = infoOf(lab, u"q.sdf"_qs);
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
    LabConsole lab;
    QCOMPARE(lab.run("acquire --stop 20,2 --out a.sdf --yes"), 0); // start 20, step 0.02, 0.1 s stand in the file
    VERIFY_OR_SHOW(lab.cli.out.contains("11 points from 20 to 20.2 degrees 2-Theta, step 0.02, 0.1 s per point"), lab.cli.out);
    QCOMPARE(infoOf(lab, u"a.sdf"_qs).value("name").toString(), u"quartz"_qs);
    QCOMPARE(lab.run("acquire --stop 20.2 --time 0.15 --out b.sdf --yes"), 0);
    VERIFY_OR_SHOW(lab.cli.err.contains("--time 0.15 becomes 0.2."), lab.cli.err);
}

void ScanCliTest::aGuinierScanIsMeasured()
{
    LabConsole lab("--axes 1");
    VERIFY_OR_SHOW(lab.run(quartzScan(yes)) == 0, lab.cli.err);
    QVERIFY(lab.cli.err.contains("[Start scan] Selected parameter set (Guinier):"));
    QCOMPARE(infoOf(lab, u"q.sdf"_qs).value("points").toInt(), points);
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
    QTest::newRow("fewer counts") << QByteArray("fewer-counts") << 1
                                  << QByteArrayList{mismatch + " 63)", "Partial: 63 of 66 points were counted"} << points;
    QTest::newRow("more counts") << QByteArray("more-counts") << 1 << QByteArrayList{mismatch + " 132)", "No counts were read."} << 0;
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
    LabConsole lab(faulty(fast, fault));
    const int status = lab.run(quartzScan(yes));
    VERIFY_OR_SHOW(status == exitStatus, lab.cli.out + lab.cli.err);
    for (const QByteArray& text : reported)
        VERIFY_OR_SHOW(lab.cli.err.contains(text), text + " is missing in:\n" + lab.cli.err);
    QCOMPARE(lab.has(u"q.sdf"_qs), pointsSaved > 0);
    if (pointsSaved > 0)
        QCOMPARE(infoOf(lab, u"q.sdf"_qs).value("points").toInt(), pointsSaved);
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
    LabConsole lab(faulty(slow, fault));
    VERIFY_OR_SHOW(lab.run(quartzScan(yes)) == 0, lab.cli.err);
    QCOMPARE(lab.cli.err.count("is lost."), 1);
    QCOMPARE(infoOf(lab, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::countsOfALostTransferAreReadBack()
{
    LabConsole lab(faulty(fast, "no-counts:24:1"));
    QCOMPARE(lab.run(quartzScan(yes)), 1);
    QVERIFY(!lab.has(u"q.sdf"_qs));
    QStringList command = quartzScan(yes);
    command[0] = u"readback"_qs;
    VERIFY_OR_SHOW(lab.run(command) == 0, lab.cli.err);
    QCOMPARE(infoOf(lab, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::ctrlCBreaksOffAndSaves_data()
{
    QTest::addColumn<bool>("terminalCloses");
    QTest::newRow("Ctrl-C") << false;
    QTest::newRow("the terminal closes") << true;
}

void ScanCliTest::ctrlCBreaksOffAndSaves()
{
    QFETCH(bool, terminalCloses);
    LabConsole lab(slow);
    static const QRegularExpression someCounted(u" [1-9]\\d* of 66 points"_qs);
    lab.desk.when([&] { return QString::fromUtf8(lab.cli.err).contains(someCounted); },
                  [&] { terminalCloses ? lab.cli.hangUp() : lab.cli.interrupt(); });
    VERIFY_OR_SHOW(lab.run(quartzScan(yes)) == 3, lab.cli.err);
    QVERIFY(lab.cli.err.contains("[Data acquisition] Do you want to abort the current data acquisition now?\n-> Yes"));
    QVERIFY(lab.cli.err.contains("[Data acquisition] Do you want read scan data anyway?\n-> Yes"));
    QVERIFY(lab.cli.err.contains("Broken off. What was counted is kept."));
    QVERIFY(lab.cli.out.contains("Saved: "));
    // It keeps its points, as in the window; what nobody counted is zero, and said.
    static const QRegularExpression partial(u"Partial: (\\d+) of 66 points were counted, the others are zero\\."_qs);
    const int counted = partial.match(QString::fromUtf8(lab.cli.err)).captured(1).toInt();
    VERIFY_OR_SHOW(counted > 0 && counted < points, lab.cli.err);
    const QJsonObject info = infoOf(lab, u"q.sdf"_qs);
    QCOMPARE(info.value("points").toInt(), points);
    QVERIFY(qAbs(info.value("stop").toDouble() - 27.3) < 1e-6);
    QCOMPARE(info.value("minimum").toDouble(), 0.0);
}

void ScanCliTest::ctrlCEndsAScanOnAControllerThatIsGone_data()
{
    QTest::addColumn<QByteArray>("fault");
    QTest::addColumn<QByteArray>("seen");
    const QByteArray looks = "( of 66 points.*){5}"; // later than the fault
    QTest::newRow("line lost in the upload") << QByteArray("hang-up:10") << QByteArray("is lost\\.");
    QTest::newRow("line lost while counting") << QByteArray("hang-up:23") << looks;
    QTest::newRow("controller silent while counting") << QByteArray("silent:23") << looks;
}

void ScanCliTest::ctrlCEndsAScanOnAControllerThatIsGone()
{
    QFETCH(QByteArray, fault);
    QFETCH(QByteArray, seen);
    LabConsole lab(faulty(slow, fault));
    const QRegularExpression pattern(QString::fromLatin1(seen), QRegularExpression::DotMatchesEverythingOption);
    lab.desk.when([&] { return QString::fromUtf8(lab.cli.err).contains(pattern); }, [&] { lab.cli.interrupt(); });
    VERIFY_OR_SHOW(lab.run(quartzScan(yes)) == 3, lab.cli.err);
    QVERIFY(lab.cli.err.contains("Broken off. Nothing was read."));
    QVERIFY(!lab.has(u"q.sdf"_qs));
}

void ScanCliTest::aBusyControllerIsRefused()
{
    LabConsole lab("--busy");
    QCOMPARE(lab.run(quartzScan(yes)), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("still runs a program"), lab.cli.err);
    QVERIFY(!lab.has(u"q.sdf"_qs));
    VERIFY_OR_SHOW(lab.run("stop") == 0, lab.cli.err);
    QCOMPARE(lab.run("status"), 0);
    VERIFY_OR_SHOW(lab.cli.out.contains("(idle)"), lab.cli.out);
}

void ScanCliTest::readbackKnowsTheScanThatWasStartedLast()
{
    LabConsole lab;
    QCOMPARE(lab.run("acquire --start 25 --stop 30 --step 0.05 --time 0.1 --name wide --comment two_words --out a.sdf --yes"), 0);
    // The settings say something else: its counts would stand at other angles.
    VERIFY_OR_SHOW(lab.run("readback --out b.sdf --yes") == 0, lab.cli.err);
    VERIFY_OR_SHOW(lab.cli.err.contains("The scan that was started last: 25 to 30 in steps of 0.05, 0.1 s per point (wide)"), lab.cli.err);
    const QJsonObject first = infoOf(lab, u"a.sdf"_qs);
    const QJsonObject again = infoOf(lab, u"b.sdf"_qs);
    QVERIFY(first.value("points").toInt() == 101);
    for (const char* key : {"points", "start", "stop", "step", "counterTime", "name", "comment", "total"}) {
        QVERIFY2(first.contains(QLatin1String(key)), key);
        QCOMPARE(again.value(QLatin1String(key)), first.value(QLatin1String(key)));
    }
    // What is given and fits is taken, what contradicts is refused.
    VERIFY_OR_SHOW(lab.run("readback --start 25 --step 0.05 --name other --out c.sdf --yes") == 0, lab.cli.err);
    QCOMPARE(infoOf(lab, u"c.sdf"_qs).value("name").toString(), u"other"_qs);
    QCOMPARE(lab.run("readback --start 20 --out d.sdf --yes"), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("--start 20 contradicts the scan that was started last: 25 to 30"), lab.cli.err);
    QVERIFY(!lab.has(u"d.sdf"_qs));
    // Saved scans leave their copies and no note.
    QCOMPARE(QDir(lab.path(u"recovered"_qs)).entryList({u"*.sdf"_qs}, QDir::Files).size(), 3);
    QVERIFY(!lab.has(u"recovered/unsaved.json"_qs));
}

void ScanCliTest::withoutATerminalNothingIsStarted()
{
    LabConsole lab;
    QCOMPARE(lab.run(quartzScan()), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("[Start scan]") && lab.cli.err.contains("-> Cancel"), lab.cli.err);
    QVERIFY(!lab.has(u"q.sdf"_qs));
}

void ScanCliTest::anExistingFileIsAskedAboutReplacedOrKept()
{
    LabConsole lab;
    QVERIFY(lab.store(u"q.sdf"_qs, "an earlier scan"));

    QCOMPARE(lab.run(quartzScan()), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("exists. Replace it?\n-> No"), lab.cli.err);
    QVERIFY(!lab.cli.err.contains("[Start scan]"));
    QCOMPARE(lab.read(u"q.sdf"_qs), QByteArray("an earlier scan"));

    QCOMPARE(lab.run(quartzScan({u"--yes"_qs, u"--keep"_qs})), 0);
    VERIFY_OR_SHOW(lab.cli.out.contains("Saved: " + lab.path(u"q(2).sdf"_qs).toUtf8()), lab.cli.out);
    QCOMPARE(lab.read(u"q.sdf"_qs), QByteArray("an earlier scan"));

    QCOMPARE(lab.run(quartzScan(yes)), 0);
    QVERIFY(lab.read(u"q.sdf"_qs).startsWith("scan 2.1.22\r\n"));
}

void ScanCliTest::aScanThatCannotBeSavedIsRescued()
{
    LabConsole lab(slow);
    QVERIFY(QDir(lab.path()).mkdir(u"data"_qs));
    // The disk that it was on is pulled while counting.
    lab.cli.whenSays(" of 66 points", [&] { QVERIFY(QDir(lab.path(u"data"_qs)).removeRecursively()); });
    const int status = lab.run("acquire --start 26 --stop 27.3 --step 0.02 --time 1 --out data/q.sdf --yes");
    VERIFY_OR_SHOW(status == 1, lab.cli.out + lab.cli.err);
    VERIFY_OR_SHOW(lab.cli.err.contains("Error # 76 caused by CreateZELKOFile()"), lab.cli.err);
    VERIFY_OR_SHOW(lab.cli.err.contains("The scan was saved as "), lab.cli.err);
    QCOMPARE(infoOf(lab, u"q.sdf"_qs).value("points").toInt(), points);
}

void ScanCliTest::aFullDiskLeavesNoHalfFile()
{
    LabConsole lab;
    const int status = [&] {
        const SmallDisk disk(256);
        return lab.run(quartzScan(yes));
    }();
    VERIFY_OR_SHOW(status == 1, lab.cli.out + lab.cli.err);
    VERIFY_OR_SHOW(lab.cli.err.contains("caused by CreateZELKOFile()"), lab.cli.err);
    VERIFY_OR_SHOW(lab.cli.err.contains("The scan could not be saved."), lab.cli.err);
    const QStringList left = QDir(lab.path()).entryList({u"*q*"_qs}, QDir::Files);
    VERIFY_OR_SHOW(left.isEmpty(), qPrintable(left.join(u' ')));
}

void ScanCliTest::aTargetThatCannotBeWrittenIsRefusedBeforeTheScan()
{
    LabConsole lab;
    QVERIFY(QDir(lab.path()).mkdir(u"d.sdf"_qs));
    for (const QString& out : {u"no/such/directory/q.sdf"_qs, u"/proc/q.sdf"_qs, u"d.sdf"_qs}) {
        QCOMPARE(lab.run({u"acquire"_qs, u"--yes"_qs, u"--out"_qs, out}), 1);
        VERIFY_OR_SHOW(lab.cli.err.contains(out.toUtf8()) && !lab.cli.err.contains("[Start scan]"), lab.cli.err);
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
    DeskLab nothing;
    DeskCli cli(nothing);
    QCOMPARE(cli.runBare(arguments), 2);
    VERIFY_OR_SHOW(cli.err.contains(explained), cli.err);
    QVERIFY(cli.out.isEmpty());
}

void ScanCliTest::helpAndVersion()
{
    DeskLab nothing;
    DeskCli cli(nothing);
    QCOMPARE(cli.runBare({u"--version"_qs}), 0);
    QCOMPARE(cli.out, QByteArray("scan-cli 2.1.22\n"));
    QCOMPARE(cli.runBare({u"--help"_qs}), 0);
    const QByteArray help = cli.out;
    for (const char* command : {"acquire", "readback", "info", "convert", "status", "goto", "stop", "reference", "settings"}) {
        VERIFY_OR_SHOW(help.contains(QByteArray("\n  ") + command + ' '), command);
        QCOMPARE(cli.runBare({QString::fromLatin1(command), u"--help"_qs}), 0);
        QVERIFY(cli.out.startsWith(QByteArray("scan-cli ") + command));
    }
}

void ScanCliTest::everySettingIsListed()
{
    DeskLab nothing;
    DeskCli cli(nothing);
    const auto listed = [&cli](const QStringList& form) { return cli.run(words("settings list") + form) == 0 ? cli.out : cli.err; };
    QVERIFY(listed({}).startsWith("[General]\n  WorkDir "));
    QVERIFY(listed({u"--ini"_qs}).contains("\n; quiet time that ends a reply [s, 0 or more]\nRxDelay=.1\n"));
    QVERIFY(listed({u"--markdown"_qs}).contains("\n| smc | `RxDelay` | number | s | 0 or more | .1 | quiet time that ends a reply |\n"));
    QCOMPARE(QDir(nothing.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList()); // nothing is written
}

void ScanCliTest::infoShowsAFile()
{
    LabConsole lab;
    QVERIFY(lab.store(
        u"a.sdf"_qs, "scan 2.1.21\r\n0\r\n1\r\nsample1\r\nn.n\r\n\r\nJan 02. 2003 04:05\r\n0.5\r\nC:\\a.sdf\r\n/*<beginc>a\r\nb<endc>*/\r\n"
                     "10.000\r\n10.040\r\n0.020\r\n\r\n0\r\n\r\n 3 \r\n 7 \r\n 5 \r\n"));
    VERIFY_OR_SHOW(lab.run("info a.sdf --json") == 0, lab.cli.err);
    const QJsonObject expected{{"version", "2.1.21"}, {"name", "sample1"}, {"date", "Jan 02. 2003 04:05"},
                               {"counterTime", 0.5},  {"comment", "a\nb"}, {"start", 10.0},
                               {"stop", 10.04},       {"step", 0.02},      {"points", 3},
                               {"minimum", 3},        {"maximum", 7},      {"total", 15}};
    QCOMPARE(QJsonDocument::fromJson(lab.cli.out).object(), expected);
    QCOMPARE(lab.run("info a.sdf"), 0);
    VERIFY_OR_SHOW(lab.cli.out.contains("Counts: 3 to 7, 15 in total") && lab.cli.out.contains("sample1"), lab.cli.out);
}

void ScanCliTest::convertWritesEveryFormat()
{
    LabConsole lab;
    QCOMPARE(lab.run(quartzScan(yes)), 0);
    QStringList command{u"convert"_qs, u"q.sdf"_qs};
    const QStringList files{u"sdf=c.sdf"_qs,      u"rietica=c.dat"_qs, u"uxd=c.uxd"_qs,  u"ascii-y=c.prn"_qs,
                            u"ascii-xy=c.asc"_qs, u"fort4=c.f4"_qs,    u"stoe=c.raw"_qs, u"pro=c.pro"_qs};
    for (const QString& file : files)
        command += QStringList{u"--export"_qs, file};
    VERIFY_OR_SHOW(lab.run(command) == 0, lab.cli.err);
    QCOMPARE(lab.cli.err.count("Written ("), files.size());
    for (const QByteArray& line : lab.cli.err.split('\n')) {
        if (line.startsWith("Written ("))
            VERIFY_OR_SHOW(QFileInfo(lab.path(QString::fromUtf8(line.mid(line.indexOf("): ") + 3)))).size() > 0, line);
    }
    QCOMPARE(infoOf(lab, u"c.sdf"_qs).value("total"), infoOf(lab, u"q.sdf"_qs).value("total"));
    // The files are there now.
    QCOMPARE(lab.run(command), 1);
    QVERIFY(lab.cli.err.contains("exists. Replace it?\n-> No"));
}

void ScanCliTest::aFileThatIsNoScanIsRefused()
{
    LabConsole lab;
    QVERIFY(lab.store(u"a.sdf"_qs, "a letter\r\n"));
    QCOMPARE(lab.run("info a.sdf"), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("[Open file error] '" + lab.path(u"a.sdf"_qs).toUtf8() + "' is is not a Scan file"), lab.cli.err);
    QCOMPARE(lab.run("info /no/such/file.sdf"), 1);
    VERIFY_OR_SHOW(lab.cli.err.contains("Error # "), lab.cli.err);
}

void ScanCliTest::statusGotoStopReference()
{
    LabConsole lab("--position 5,10");
    const QByteArray status = lab.said("status");
    VERIFY_OR_SHOW(status.startsWith("Scan (4412, Theta-2-Theta, online mode)\nFirmware: "), status);
    VERIFY_OR_SHOW(status.contains("Axis 1: 5 degrees, status 128 (idle)\nAxis 2: 10 degrees, status 128 (idle)\n"), status);
    QCOMPARE(lab.run("status --json"), 0);
    const QJsonObject known = QJsonDocument::fromJson(lab.cli.out).object();
    QCOMPARE(known["caption"].toString(), u"Scan (4412, Theta-2-Theta, online mode)"_qs);
    QCOMPARE(known["lines"]["goniometer"].toString(), u"up"_qs);
    QCOMPARE(known["axis1Angle"]["value"].toDouble(), 5.0);
    QVERIFY(known["shutterOpen"]["value"].isNull());
    QCOMPARE(lab.said("goto 2 12.5"), QByteArray("Axis 2: 12.5 degrees\n|"));
    QCOMPARE(lab.said("goto 1 6,25"), QByteArray("Axis 1: 6.25 degrees\n|"));
    QCOMPARE(lab.said("goto 3 10", 1), QByteArray("|The controller has no axis 3.\n"));
    QCOMPARE(lab.said("goto 1 181", 1), QByteArray("|181 degrees lie outside 0 to 180.\n"));
    QCOMPARE(lab.said("goto 1 -1", 1), QByteArray("|-1 degrees lie outside 0 to 180.\n"));
    QCOMPARE(lab.said("stop"), QByteArray("Stopped.\n|"));
    const QByteArray reference = lab.said("reference");
    VERIFY_OR_SHOW(reference.startsWith("Axis 1: ") && reference.contains("\nAxis 2: "), reference);
}

void ScanCliTest::theLogIsWrittenOnlyWithLog()
{
    LabConsole lab;
    QCOMPARE(lab.run("status"), 0);
    QVERIFY(!lab.has(u"app.log"_qs));
    QCOMPARE(lab.run({u"--log"_qs, u"status"_qs}), 0);
    const QByteArray log = lab.read(u"app.log"_qs);
    QVERIFY(log.startsWith("[General]\r\nWorkDir="));
    QVERIFY(log.contains("\r\n[SMC]\r\n"));
}

QTEST_GUILESS_MAIN(ScanCliTest)
#include "tst_scan_cli.moc"
