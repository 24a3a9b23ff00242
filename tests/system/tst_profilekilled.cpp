// SPDX-License-Identifier: GPL-3.0-or-later
//
// The power fails in the middle of a profile run, and one command goes on with it.

#include "Profiles.h"

#include <algorithm>
#include <memory>
#include <vector>

using namespace programs;
using namespace Qt::StringLiterals;

namespace {
/// When the power fails, and what is left to do then.
struct Moment
{
    const char* name;
    QByteArray told;   ///< when the program has said this,
    QByteArray traced; ///< or this has gone over the lines twice,
    QByteArray stored; ///< or this stands in the state file
    int leastAgain;    ///< scans that the second run measures
    int mostAgain;
};

QList<Moment> moments()
{
    return {{"before the first scan is over", "1 of 2: 290 K, measuring", {}, {}, 2, 2},
            {"waiting", "2 of 2: 270 K, settling", {}, {}, 1, 1},
            {"dwelling", "2 of 2: 270 K, dwelling", {}, {}, 1, 1},
            {"counting", {}, "START:;", {}, 1, 1},
            {"reading the counts", {}, "?CNT;", {}, 1, 1},
            {"saving", "2 of 2: 270 K, saving", {}, {}, 0, 1},
            {"just saved", "2 of 2: 270 K, done", {}, {}, 0, 1},
            {"setting back", {}, {}, "done=2", 0, 0}};
}

/// The instrument of one moment, and the runs upon it. All moments run at the same time, because a run mostly waits.
class Killed
{
public:
    explicit Killed(Moment which)
        : moment(std::move(which)), instrument({u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s, u"--trace"_s, m_traces.filePath(u"trace"_s)})
    {
        // The way back is two lines for the controller: long enough to be cut only when there are pauses between them.
        shortenScans(instrument, "LTC", moment.stored.isEmpty() ? "ResetAfterTempRun=1" : "ResetAfterTempRun=1\nTxDelay=0.3");
        store(instrument.path(u"p.gtp"_s), "T1:290;E:6;\r\nT1:270;DW:1;E:30;\r\n");
    }
    void start() { first.startOn(instrument, runWords(instrument)); }

    QByteArray trace() const
    {
        QFile file(m_traces.filePath(u"trace"_s));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// Kills the first run at its moment; true when it has ended, at its moment or without it.
    bool killedInTime()
    {
        if (reached || first.process.state() == QProcess::NotRunning)
            return true;
        if (!moment.told.isEmpty())
            reached = first.err.contains(moment.told);
        else if (!moment.stored.isEmpty())
            reached = instrument.read(u"p.gtp.state"_s).contains(moment.stored);
        else
            reached = trace().count(moment.traced) >= 2;
        if (reached)
            first.process.kill();
        return reached;
    }
    void goOn()
    {
        QVERIFY2(reached, first.err.constData());
        QVERIFY(first.process.state() == QProcess::NotRunning || first.process.waitForFinished(patience));
        QTRY_COMPARE_WITH_TIMEOUT(trace().count("-- line left"), 2, patience);
        QVERIFY(QFile::exists(instrument.path(u"p.gtp.state"_s)));
        for (const QString& name : scansIn(instrument))
            m_saved.insert(name, instrument.read(name));
        second.startOn(instrument, runWords(instrument) + QStringList{u"--resume"_s});
    }
    void check()
    {
        QVERIFY2(second.finish() == 0, second.err.constData());
        const qsizetype again = second.out.count("Saved: ");
        QVERIFY2(again >= moment.leastAgain && again <= moment.mostAgain, second.out.constData());
        for (auto file = m_saved.cbegin(); file != m_saved.cend(); ++file)
            QCOMPARE(instrument.read(file.key()), file.value());
        const QStringList scans = scansIn(instrument);
        QCOMPARE(scans.size(), m_saved.size() + again);
        QVERIFY(scans.size() >= 2 && scans.size() <= 3);
        for (const QString& name : scans)
            QVERIFY2(strongestPeak(instrument, name) > 26.4, qPrintable(name));
        QVERIFY(!QFile::exists(instrument.path(u"p.gtp.state"_s)));
    }

    Moment moment;

private:
    QTemporaryDir m_traces;

public:
    Instrument instrument;
    ScanCli first;
    ScanCli second;
    bool reached = false;

private:
    QHash<QString, QByteArray> m_saved;
};

/// Lets events run until each first run has been killed.
bool allKilled(const std::vector<std::unique_ptr<Killed>>& runs)
{
    QElapsedTimer timer;
    timer.start();
    for (;;) {
        // Each of them is looked at in each round.
        if (std::count_if(runs.begin(), runs.end(), [](const auto& run) { return run->killedInTime(); }) == std::ssize(runs))
            return true;
        if (timer.elapsed() > patience)
            return false;
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents, 20);
    }
}
} // namespace

class tst_profilekilled : public QObject
{
    Q_OBJECT

private slots:
    void oneCommandGoesOn()
    {
        std::vector<std::unique_ptr<Killed>> runs;
        for (const Moment& moment : moments())
            runs.push_back(std::make_unique<Killed>(moment));
        // Not before all instruments are there: from now on each run is watched.
        for (const auto& run : runs)
            run->start();
        QVERIFY(allKilled(runs));
        const auto each = [&runs](void (Killed::*what)()) {
            for (const auto& run : runs) {
                ((*run).*what)();
                if (QTest::currentTestFailed()) {
                    qWarning("%s", run->moment.name);
                    return false;
                }
            }
            return true;
        };
        if (each(&Killed::goOn))
            each(&Killed::check);
    }
};

QTEST_GUILESS_MAIN(tst_profilekilled)
#include "tst_profilekilled.moc"
