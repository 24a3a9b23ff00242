// SPDX-License-Identifier: GPL-3.0-or-later
//
// The process is killed in a round of its waits, and started again in the same laboratory. SCAN_EVERY_ROUND in the environment: in each
// round, which takes minutes (QTEST_FUNCTION_TIMEOUT). Otherwise in those around everything that can be seen of the program, and in some
// between.

#include "Profiles.h"

#include "core/ScanData.h"

#include <QMap>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QSet>

#include <algorithm>
#include <cmath>
#include <memory>
#include <optional>

using namespace profiles;
using namespace Qt::StringLiterals;

namespace {
constexpr int fewestRounds = 60;       // of those that are tried when not all are
constexpr double longerThanAScan = 15; // s; after that the controller stands
constexpr double longerThanAStep = 3;  // the same in a laboratory a thousand times as fast

using Files = QMap<QString, QByteArray>;
using Counts = QVector<double>;

Files filesIn(const QString& directory)
{
    Files files;
    for (const QString& name : QDir(directory).entryList(QDir::Files))
        if (name != u"trace.txt")
            files.insert(name, contentOf(directory + u'/' + name));
    return files;
}

/// The counts of a scan data file; none when the program cannot read it.
Counts countsIn(DeskLab& lab, const QString& path)
{
    DeskCli cli(lab);
    return cli.run({u"info"_s, path}) == 0 ? scanData().counts() : Counts();
}

/// Counts scatter, and nothing else may be between two scans of one powder at one temperature.
bool sameScan(const Counts& counts, const Counts& reference)
{
    constexpr double sigmas = 6;
    return counts.size() == reference.size() && std::equal(counts.begin(), counts.end(), reference.begin(), [](double a, double b) {
               return std::abs(a - b) <= sigmas * std::sqrt(a + b + 1);
           });
}

QByteArray text(const Counts& counts)
{
    QByteArray line;
    for (double count : counts)
        line += QByteArray::number(count) + ' ';
    return line;
}

/// Whether every key of scan.ini is there as at the beginning; where the work directory is does not count.
bool sameSettings(const QByteArray& now, const QByteArray& before)
{
    const auto withoutDirectory = [](const QByteArray& ini) {
        QList<QByteArray> lines = ini.split('\n');
        lines.removeIf([](const QByteArray& line) { return line.startsWith("WorkDir="); });
        return lines;
    };
    return withoutDirectory(now) == withoutDirectory(before);
}

/// A laboratory and the program in it, which is killed in one round and started again.
class Killed
{
public:
    DeskLab lab;
    DeskCli first{lab};
    DeskCli second{lab};
    QString left;          ///< the directory as it was at that moment
    int status = -1;       ///< of a run that was not killed
    qint64 rounds = 0;     ///< that the first run has waited
    QList<qint64> marks{}; ///< rounds in which something could be seen of it: a word, a file

    explicit Killed(const QStringList& options) { started = lab.start(options); }
    bool started = false;

    void run(const QStringList& words)
    {
        QByteArray seen;
        lab.desk.onRound = [&] {
            ++rounds;
            QByteArray now = first.out + first.err;
            for (const QByteArray& bytes : filesIn(lab.path()))
                now += bytes;
            if (now != seen)
                marks << rounds;
            seen = now;
        };
        status = first.run(words);
        lab.desk.onRound = {};
    }
    void run(const QStringList& words, qint64 killedIn)
    {
        qsizetype sent = -1;
        lab.desk.onRound = [&] {
            if (++rounds != killedIn)
                return;
            left = lab.copyOfDirectory();
            first.kill();
            sent = lab.trace().count(" <- ");
        };
        first.run(words);
        lab.desk.onRound = {};
        QVERIFY(!left.isEmpty());
        QCOMPARE(lab.trace().count(" <- "), sent);
        second.programDirectory = left;
        QVERIFY(sameSettings(contentOf(left + u"/scan.ini"_s), lab.read(u"scan.ini"_s)));
    }
    /// The axes stand still, the last scan's last angle in the beam.
    void checkController(double angle)
    {
        QCOMPARE(second.run({u"status"_s}), 0);
        QCOMPARE(second.err, QByteArray());
        const QByteArray at = QByteArray::number(angle);
        QVERIFY2(second.out.contains("Axis 2: " + at + " degrees, status 128 (idle)\n"), second.out.constData());
        QVERIFY2(second.out.contains("Axis 1: " + QByteArray::number(angle / 2) + " degrees, status 128 (idle)\n"), second.out.constData());
    }
};

/// The rounds to be killed in: all of them, or every other one of those around each mark and some between.
QList<qint64> chosen(const Killed& whole, bool even)
{
    QSet<qint64> rounds;
    const auto add = [&](qint64 round) {
        if (round >= 1 && round <= whole.rounds)
            rounds.insert(round);
    };
    const bool all = qEnvironmentVariableIsSet("SCAN_EVERY_ROUND");
    for (qint64 round = 1; all && round <= whole.rounds; ++round)
        add(round);
    for (qint64 mark : whole.marks)
        for (qint64 round : {mark - 1, mark, mark + 1})
            add(round);
    QRandomGenerator chance(20260302);
    while (rounds.size() < std::min<qint64>(fewestRounds, whole.rounds))
        add(chance.bounded(whole.rounds) + 1);
    QList<qint64> sorted(rounds.cbegin(), rounds.cend());
    std::sort(sorted.begin(), sorted.end());
    QList<qint64> some;
    for (qsizetype i = 0; i < sorted.size(); ++i)
        if (all || even == (i % 2 == 0))
            some.append(sorted[i]);
    return some;
}

// --- a scan

QStringList scanWords(const QString& command, const QString& directory)
{
    const QString range = u"--start 26.2 --stop 27 --step 0.1 --time 1 --name Quartz --keep --yes --out"_s;
    return QStringList{command} + range.split(u' ') + QStringList{directory + u"/s.sdf"_s};
}

std::unique_ptr<Killed> scanLaboratory()
{
    return std::make_unique<Killed>(QStringList{u"--position"_s, u"13.1,26.2"_s});
}

/// What the program says apart from how far it is.
QByteArray withoutProgress(const QByteArray& said)
{
    QList<QByteArray> lines = said.split('\n');
    lines.removeIf([](const QByteArray& line) { return line.contains(" elapsed"); });
    return lines.join('\n');
}

// --- a profile

constexpr int temperatures = 2;
constexpr qsizetype nameLength = 13; // "Quartz_0290.0", before an index that may follow

std::unique_ptr<Killed> profileLaboratory()
{
    auto killed = std::make_unique<Killed>(QStringList{u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s});
    shortenScans(killed->lab);
    const QString general = u"General"_s;
    killed->lab.configure(u"LTC"_s, u"ResetAfterTempRun"_s, u"1"_s);
    killed->lab.configure(general, u"ScanStart"_s, u"26.2"_s);
    killed->lab.configure(general, u"ScanStop"_s, u"27"_s);
    killed->lab.configure(general, u"ScanStep"_s, u"0.1"_s);
    store(killed->lab.path(u"p.gtp"_s), "T1:290;E:120;\r\nT1:270;DW:1;E:120;\r\n");
    return killed;
}

/// The same lines whatever the directory's name.
QByteArray withoutDirectory(QByteArray said, const QString& directory)
{
    return said.replace(directory.toUtf8(), "DIR");
}

/// What the run says that goes on after so many steps; nothing: that has none to go on with.
QByteArray resumedText(const QByteArray& whole, std::optional<int> done)
{
    QList<QByteArray> lines = whole.split('\n');
    lines.removeIf([done](const QByteArray& line) { return line.contains(" of 2: ") && line.first(1).toInt() <= done.value_or(0); });
    if (!done)
        lines.prepend("No run of this profile and sample was broken off: it begins with the first step.");
    return lines.join('\n');
}

/// How many steps the state file says are done; nothing when there is no state file.
void readState(const QString& directory, std::optional<int>& done)
{
    const QString path = directory + u"/p.gtp.state"_s;
    if (!QFile::exists(path))
        return;
    const QByteArray bytes = contentOf(path);
    QVERIFY2(QRegularExpression(u"^profile=[0-9a-f]{40}\r\ndone=[0-2]\r\n$"_s).match(QString::fromLatin1(bytes)).hasMatch(),
             bytes.constData());
    done = bytes.trimmed().last(1).toInt();
}

/// Each scan that a report speaks of is there.
void checkReport(const QByteArray& report, const QStringList& scans, int files)
{
    QVERIFY2(report.startsWith("Temperature profile run\nSample: Quartz\nProfile: "), report.constData());
    QCOMPARE(report.count("  setpoint "), temperatures);
    QCOMPARE(report.count("  file "), files);
    for (const QByteArray& line : report.split('\n'))
        if (line.contains("  file "))
            QVERIFY2(scans.contains(QString::fromUtf8(line.mid(line.lastIndexOf('/') + 1))), line.constData());
}
} // namespace

class tst_killed : public QObject
{
    Q_OBJECT

    QByteArray m_told;                 ///< what the run says that nobody kills
    QMap<QString, Counts> m_reference; ///< its scans
    int m_repeated = 0;                ///< trials after which a scan is there twice

    /// The same command again at once, or when the controller stands.
    void tryScan(qint64 round, bool atOnce)
    {
        const auto killed = scanLaboratory();
        killed->run(scanWords(u"acquire"_s, killed->lab.path()), round);
        if (QTest::currentTestFailed())
            return;
        DeskCli& cli = killed->second;
        const QString left = killed->left;
        Files files = filesIn(left);
        const bool saved = files.contains(u"s.sdf"_s);
        QCOMPARE(files.size(), saved ? 2 : 1); // nothing but it and scan.ini
        if (!atOnce)
            killed->lab.desk.pass(longerThanAScan);
        int status = cli.run(scanWords(u"acquire"_s, left));
        if (status != 0) {
            QVERIFY2(atOnce, cli.err.constData());
            QCOMPARE(status, 1);
            QCOMPARE(cli.err, "The goniometer controller still runs a program. Wait for its end, or stop it: scan-cli stop\n"_ba);
            QVERIFY(killed->lab.trace().contains("SMC -- program started"));
            status = round % 2 == 0 ? stopAndMeasure(*killed) : awaitAndRead(*killed);
        }
        QVERIFY2(status == 0, cli.err.constData());
        QCOMPARE(withoutProgress(cli.err), m_told);
        QVERIFY2(cli.out.contains("9 points from 26.2 to 27 degrees 2-Theta, step 0.1, 1 s per point\n"), cli.out.constData());
        const Files after = filesIn(left);
        QCOMPARE(after.size(), files.size() + 1);
        for (auto file = files.cbegin(); file != files.cend(); ++file)
            QCOMPARE(after.value(file.key()), file.value());
        for (const QString& name : scansIn(left)) {
            const Counts counts = countsIn(killed->lab, left + u'/' + name);
            QVERIFY2(sameScan(counts, m_reference.first()), text(counts).constData());
        }
        killed->checkController(27);
    }
    int stopAndMeasure(Killed& killed)
    {
        return killed.second.run({u"stop"_s}) == 0 ? killed.second.run(scanWords(u"acquire"_s, killed.left)) : -1;
    }
    int awaitAndRead(Killed& killed)
    {
        killed.lab.desk.pass(longerThanAScan);
        const int status = killed.second.run(scanWords(u"readback"_s, killed.left));
        if (withoutProgress(killed.second.err).isEmpty())
            killed.second.err = m_told;
        return status;
    }

    void tryProfile(qint64 round, bool atOnce)
    {
        const auto killed = profileLaboratory();
        killed->run(runWords(killed->lab.path()), round);
        if (QTest::currentTestFailed())
            return;
        const QString left = killed->left;
        const QStringList before = scansIn(left);
        std::optional<int> done;
        readState(left, done);
        const bool finished = !done && !before.isEmpty();
        checkLeft(left, before, finished ? temperatures : done.value_or(0));
        if (QTest::currentTestFailed())
            return;
        if (!atOnce)
            killed->lab.desk.pass(longerThanAStep);
        if (!finished)
            goOn(*killed, before, done);
        if (QTest::currentTestFailed())
            return;
        QVERIFY2(killed->lab.received(u"LTC"_s).endsWith(u"*RST|RANGE 0|"), qPrintable(killed->lab.received(u"LTC"_s)));
        killed->checkController(27);
    }
    void checkLeft(const QString& left, const QStringList& scans, int done)
    {
        static const QRegularExpression known(
            u"^(scan\\.ini|ls331\\.pid|p\\.gtp|p\\.gtp\\.state|Quartz_report_\\d{8}_\\d{6}\\.txt|Quartz_0290\\.0\\.sdf|Quartz_0270\\.0\\.sdf)$"_s);
        for (const QString& name : QDir(left).entryList(QDir::Files | QDir::Hidden))
            QVERIFY2(known.match(name).hasMatch(), qPrintable(name));
        // The scan that was being saved may be there before the state file knows.
        QVERIFY(scans.size() == done || scans.size() == done + 1);
        const QByteArray report = reportIn(left);
        QCOMPARE(report.isEmpty(), done == 0);
        if (done > 0)
            checkReport(report, scans, done);
    }
    void goOn(Killed& killed, const QStringList& before, std::optional<int> done)
    {
        const QString left = killed.left;
        const Files files = filesIn(left);
        const int measured = temperatures - done.value_or(0);
        DeskCli& cli = killed.second;
        const int status = cli.run(runWords(left) + QStringList{u"--resume"_s});
        QVERIFY2(status == 0, cli.err.constData());
        QCOMPARE(withoutDirectory(cli.err, left), resumedText(m_told, done));
        QCOMPARE(cli.out.count("Saved: "), measured);
        QVERIFY(!QFile::exists(left + u"/p.gtp.state"_s));
        const QStringList scans = scansIn(left);
        QCOMPARE(scans.size(), before.size() + measured);
        QVERIFY(scans.size() <= temperatures + 1);
        m_repeated += scans.size() > temperatures ? 1 : 0;
        for (const QString& name : before)
            QCOMPARE(contentOf(left + u'/' + name), files.value(name));
        checkReport(reportIn(left), scans, measured);
        QCOMPARE(reportIn(left).count("done by the run before"), temperatures - measured);
        for (const QString& name : scans) {
            const Counts counts = countsIn(killed.lab, left + u'/' + name);
            QVERIFY2(sameScan(counts, m_reference.value(name.left(nameLength))), (name.toUtf8() + ' ' + text(counts)).constData());
        }
    }
    /// All trials, until one fails.
    template <typename Try>
    void each(const Killed& whole, bool atOnce, Try tryOne)
    {
        m_repeated = 0;
        const QList<qint64> rounds = chosen(whole, atOnce);
        QVERIFY(rounds.size() >= fewestRounds / 2);
        for (qint64 round : rounds) {
            tryOne(round, atOnce);
            if (QTest::currentTestFailed()) {
                qInfo("killed in round %lld of %lld", round, whole.rounds);
                return;
            }
        }
        qInfo("killed in %lld of %lld rounds; %d times a scan is there twice", static_cast<qint64>(rounds.size()), whole.rounds,
              m_repeated);
    }
    static void whenItIsStartedAgain()
    {
        QTest::addColumn<bool>("atOnce");
        QTest::newRow("started again at once") << true;
        QTest::newRow("started again when the controller stands") << false;
    }

private slots:
    void init() { m_reference.clear(); }

    void inAnyRoundOfAScan_data() { whenItIsStartedAgain(); }
    void inAnyRoundOfAScan()
    {
        QFETCH(bool, atOnce);
        const auto whole = scanLaboratory();
        QVERIFY(whole->started);
        whole->run(scanWords(u"acquire"_s, whole->lab.path()));
        QVERIFY2(whole->status == 0, whole->first.err.constData());
        m_told = withoutProgress(whole->first.err);
        m_reference.insert(u"s.sdf"_s, countsIn(whole->lab, whole->lab.path(u"s.sdf"_s)));
        QCOMPARE(m_reference.first().size(), 9);
        each(*whole, atOnce, [this](qint64 round, bool now) { tryScan(round, now); });
    }

    void inAnyRoundOfAProfile_data() { whenItIsStartedAgain(); }
    void inAnyRoundOfAProfile()
    {
        QFETCH(bool, atOnce);
        const auto whole = profileLaboratory();
        QVERIFY(whole->started);
        whole->run(runWords(whole->lab.path()));
        QVERIFY2(whole->status == 0, whole->first.err.constData());
        m_told = withoutDirectory(whole->first.err, whole->lab.path());
        for (const QString& name : scansIn(whole->lab.path()))
            m_reference.insert(name.left(nameLength), countsIn(whole->lab, whole->lab.path(name)));
        QCOMPARE(m_reference.size(), temperatures);
        each(*whole, atOnce, [this](qint64 round, bool now) { tryProfile(round, now); });
    }
};

QTEST_GUILESS_MAIN(tst_killed)
#include "tst_killed.moc"
