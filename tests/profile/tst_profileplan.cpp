// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/ScanParameters.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "support/ProcessorTime.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using Phase = ProfileRun::Phase;

namespace {
QList<TProfile::Step> steps(const QStringList& lines)
{
    QList<TProfile::Step> result;
    for (const QString& line : lines)
        if (const auto step = TProfile::ParseStep(line))
            result += *step;
    return result;
}
} // namespace

/// What a run will do, as the operator reads it before the start.
class tst_profileplan : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_directory;

    void touch(const QString& name) const
    {
        QFile file(m_directory->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
    }

private slots:
    void init()
    {
        resetProgram();
        TProfile::state() = {};
        ProfileRun::state() = {};
        m_directory = std::make_unique<QTemporaryDir>();
        configuration().general.workDir = m_directory->path();
        flags().ltcEnabled = true;
        frontPanel().setText(FrontPanel::Field::txtFileName, u"Quartz"_s);
        scanParameters() = {10, 12, 0.5, 2, 5};
    }

    void theListNamesTheFilesThatWillBeWritten()
    {
        touch(u"Quartz_0295.0.sdf"_s);
        touch(u"Quartz_0295.0(2).sdf"_s);
        TProfile::state().lines = {u"T1:295;"_s, u"#note"_s, u"T1:280;E:7;"_s, u"T1:295;"_s};
        const QList<ProfileRun::Row> plan = ProfileRun::Plan();
        QStringList files;
        for (const ProfileRun::Row& row : plan)
            files << row.plannedFile;
        QCOMPARE(files, (QStringList{u"Quartz_0295.0(3).sdf"_s, u"Quartz_0280.0.sdf"_s, u"Quartz_0295.0(4).sdf"_s}));
        QVERIFY(plan[0].exists && !plan[1].exists && plan[2].exists);
        const QStringList lines = ProfileRun::DetailsText(plan).split(u'\n');
        QVERIFY2(lines[0].startsWith(ProfileRun::TotalText(3, ProfileRun::TimeFor(plan)) + u", until 20"_s), qPrintable(lines[0]));
        QCOMPARE(lines.mid(3), (QStringList{u"1  295 K  2 s  Quartz_0295.0(3).sdf  index added"_s, u"2  280 K  7 s  Quartz_0280.0.sdf"_s,
                                            u"3  295 K  2 s  Quartz_0295.0(4).sdf  index added"_s}));
    }

    void theListSaysWhatIsWrongAndThatNothingIsWritten()
    {
        configuration().general.autoSave = false;
        TProfile::state().lines = {u"T1:301;"_s, u"DW:5;"_s};
        const QString text = ProfileRun::DetailsText(ProfileRun::Plan());
        QVERIFY2(text.contains(u"\nRehearsal: no file will be written.\n"_s), qPrintable(text));
        QVERIFY2(text.contains(u"\nline 1: The valid temperature range is 8... 300!\n"_s), qPrintable(text));
        QVERIFY2(text.contains(u"\nline 2: no start temperature; the line is skipped\n"_s), qPrintable(text));
    }

    void aVeryLongListIsCut()
    {
        TProfile::state().lines = {u"T1:10;T2:290;DT:0.1;"_s};
        const QStringList lines = ProfileRun::DetailsText(ProfileRun::Plan()).split(u'\n');
        QVERIFY(lines.first().startsWith(u"2801 scans, about "_s));
        QCOMPARE(lines.last(), u"... and 1801 more"_s);
        QCOMPARE(lines.size(), qsizetype(3 + 1000 + 1));
    }

    void tooManyScansAreNamedAndTheOutlineEndsAtAMillion()
    {
        TProfile::state().lines = {u"T1:10;T2:290;DT:0.1;"_s, u"T1:10;T2:290;DT:0.0001;"_s, u"T1:10;T2:290;DT:0.0001;"_s};
        const QStringList findings = ProfileRun::Check();
        QVERIFY2(findings.contains(u"line 2: The profile asks for more than 30000 scans."_s), qPrintable(findings.join(u'\n')));
        QCOMPARE(ProfileRun::Plan().size(), qsizetype{30001});
        QCOMPARE(ProfileRun::outline(steps(TProfile::state().lines)).scans, qint64{1000000});
    }

    void theOutlineHasTheTimeOfThePlan_data()
    {
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("empty") << QStringList();
        QTest::newRow("single") << QStringList{u"T1:280;DW:5;"_s};
        QTest::newRow("series and more") << QStringList{u"T1:300;T2:100;DT:7;R:2;DW:30;E:4;"_s, u"#"_s, u"T1:120;"_s,
                                                        u"T1:90;T2:95;DT:1;"_s};
        QTest::newRow("more scans than marks") << QStringList{u"T1:20;T2:280;DT:0.1;DW:1;"_s, u"T1:300;"_s, u"T1:280;T2:20;DT:0.3;R:9;"_s};
    }

    void theOutlineHasTheTimeOfThePlan()
    {
        QFETCH(QStringList, lines);
        TProfile::state().lines = lines;
        const QList<ProfileRun::Row> plan = ProfileRun::Plan();
        const ProfileRun::Outline outline = ProfileRun::outline(steps(lines), 1000);
        QCOMPARE(outline.scans, qint64{plan.size()});
        QVERIFY2(std::abs(outline.seconds - ProfileRun::TimeFor(plan)) < 1e-6 * (1 + outline.seconds), "time");
        QVERIFY(std::abs(ProfileRun::TimeFor(outline.rows) - outline.seconds) < 1e-6 * (1 + outline.seconds));
        QVERIFY(outline.rows.size() <= 1000);
        QVERIFY(plan.isEmpty() || outline.rows.last().setpoint == plan.last().setpoint);
        if (plan.size() <= 1000)
            QCOMPARE(outline.rows.size(), plan.size());
    }

    void theOutlineOfAMillionScansCostsAsMuchAsThatOfAThousand()
    {
        const auto rows = [](const char* step) { return ProfileRun::outline(steps({QString::fromLatin1(step)})).rows.size(); };
        QCOMPARE(rows("T1:10;T2:109.9;DT:0.1;"), qsizetype(1000));
        QCOMPARE(rows("T1:10;T2:109.9999;DT:0.0001;"), qsizetype(1000));
        const double before = processorTime();
        for (int i = 0; i < 10; ++i)
            rows("T1:10;T2:109.9999;DT:0.0001;");
        // Building the rows one by one would take some seconds.
        const double used = processorTime() - before;
        QVERIFY2(used < 1000, qPrintable(QString::number(used)));
    }

    void theTimeLeftRunsDownThroughThePhases()
    {
        TestClock clock;
        TProfile::state().lines = {u"T1:290;DW:30;"_s, u"T1:280;"_s};
        ProfileRun::State& run = ProfileRun::state();
        run.rows = ProfileRun::Plan();
        const double scan = run.rows[1].estimate - 120 - 60; // 10 K at 5 K/min, a minute to settle
        QCOMPARE(run.rows[0].estimate, 60 + 60 + 30 + scan);
        QCOMPARE(ProfileRun::TimeLeft(), ProfileRun::TimeFor(run.rows));
        run.current = 0;
        const auto enter = [&](Phase phase) {
            run.rows[0].phase = phase;
            run.phaseStartedAt = modTools::timeGetTime();
        };
        enter(Phase::Settling);
        clock.now += 20000;
        QCOMPARE(ProfileRun::TimeLeft(0), 100 + 30 + scan);
        clock.now += 1000;
        QCOMPARE(ProfileRun::TimeLeft(0), 99 + 30 + scan);
        clock.now += 3600000; // a temperature that takes its time
        QCOMPARE(ProfileRun::TimeLeft(0), 30 + scan);
        enter(Phase::Dwelling);
        clock.now += 10000;
        QCOMPARE(ProfileRun::TimeLeft(0), 20 + scan);
        enter(Phase::Acquiring);
        clock.now += 3000;
        QCOMPARE(ProfileRun::TimeLeft(0), scan - 3);
        clock.now += 3600000;
        QCOMPARE(ProfileRun::TimeLeft(0), 1.0);
        enter(Phase::Done);
        QCOMPARE(ProfileRun::TimeLeft(), run.rows[1].estimate);
        QCOMPARE(ProfileRun::TimeText(59.2), u"0:01:00"_s);
        QCOMPARE(ProfileRun::TimeText(100 * 3600.0 + 61), u"100:01:01"_s);
    }
};

QTEST_MAIN(tst_profileplan)
#include "tst_profileplan.moc"
