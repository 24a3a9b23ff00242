// SPDX-License-Identifier: GPL-3.0-or-later
//
// Profiles as people and editors leave them: what is measured of each, and what the check says.

#include "core/NumberText.h"
#include "profile/ProfileLab.h"

#include <QElapsedTimer>

using namespace Qt::StringLiterals;
using namespace profilelab;

namespace {
QByteArray lines(int count, const char* line)
{
    return QByteArray(line).append("\r\n").repeated(count);
}

QString setpoints(const QList<ProfileRun::Row>& rows)
{
    QStringList all;
    for (const ProfileRun::Row& row : rows)
        all << NumberText::General(row.setpoint);
    return all.join(u' ');
}

bool load(const Laboratory& lab, const QByteArray& bytes)
{
    const QString path = lab.directory.filePath(u"bad.gtp"_s);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        return false;
    file.close();
    return TProfile::OpenTProfile(path) == 0;
}
} // namespace

class tst_badprofiles : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup()
    {
        modTC::reset();
        modCOM::reset();
    }

    void whatIsMeasuredAndWhatTheCheckSays_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("measured");
        QTest::addColumn<QStringList>("findings");
        const auto row = [](const char* name, const QByteArray& bytes, const char16_t* measured, const QStringList& findings) {
            QTest::newRow(name) << bytes << QString::fromUtf16(measured) << findings;
        };
        row("empty", "", u"", {});
        row("comments only", "#a\r\n;b\r\n'T1:290;\r\n", u"", {});
        row("empty lines", "\r\n \r\nT1:290;\r\n", u"290", {});
        row("no start", "DW:5;E:3;\r\nT2:280;DT:10;\r\n", u"",
            {u"line 1: no start temperature; the line is skipped"_s, u"line 2: no start temperature; the line is skipped"_s});
        row("no step", "T1:290;T2:280;\r\n", u"290", {u"line 1: Missing T-Step... Only T1 is measured."_s});
        row("no end", "T1:290;DT:10;\r\n", u"290", {u"line 1: Missing T-Stop... Only T1 is measured."_s});
        row("a key twice", "T1:290;T1:280;DW:1;dw:2;\r\n", u"290",
            {u"line 1: T1 stands more than once; the first counts"_s, u"line 1: DW stands more than once; the first counts"_s});
        row("end below start", "T1:290;T2:270;DT:10;\r\n", u"290 280 270", {});
        row("step 0", "T1:290;T2:270;DT:0;\r\n", u"290", {u"line 1: The valid temperature step size is 0.1... 292!"_s});
        row("negative step", "T1:270;T2:290;DT:-10;\r\n", u"270 280 290", {});
        row("step too wide", "T1:270;T2:290;DT:500;\r\n", u"270", {u"line 1: The valid temperature step size is 0.1... 292!"_s});
        row("text for numbers", "T1:warm;\r\nT1:290;T2:cold;DT:much;R:fast;DW:long;E:bright;\r\n", u"290",
            {u"line 1: T1 is not a number; the line is skipped"_s, u"line 2: Missing T-Stop... Only T1 is measured."_s,
             u"line 2: T2 is not a number"_s, u"line 2: DT is not a number"_s, u"line 2: R is not a number"_s,
             u"line 2: DW is not a number"_s, u"line 2: E is not a number"_s});
        row("letters in a number", "T1:29O;DW:5s;\r\n", u"29", {u"line 1: T1 is read as 29"_s, u"line 1: DW is read as 5"_s});
        row("decimal comma", "T1:290,5;\r\n", u"290.5", {});
        row("small letters", "t1:290;t2:280;dt:10;dw:1;e:2;\r\n", u"290 280", {});
        row("mixed letters", "t1:290;T2:280;dT:10;Dw:1;\r\n", u"290 280", {});
        row("no final line end", "T1:290;\r\nT1:280;", u"290 280", {});
        row("no final semicolon", "T1:290", u"290", {});
        row("out of range", "T1:900;DW:99999;R:-1;\r\n", u"900",
            {u"line 1: The valid temperature range is 8... 300!"_s,
             u"line 1: Please select a ramp rate between 0 K/min. and 99.9 K/min.!"_s, u"line 1: Max. dwell time is 32000 seconds..."_s});
        row("bytes that are no text", QByteArray("\x00\xff\xfe\x01T1:290;\x00\r\n", 14), u"290", {});
    }

    void whatIsMeasuredAndWhatTheCheckSays()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, measured);
        QFETCH(QStringList, findings);
        Laboratory lab;
        QVERIFY(load(lab, bytes));
        QCOMPARE(setpoints(ProfileRun::Plan()), measured);
        QCOMPARE(ProfileRun::Check(), findings);
        if (bytes.contains("99999"))
            return;
        // The run measures just this, and its report carries the findings.
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.scans().size(), qsizetype(measured.isEmpty() ? 0 : measured.split(u' ').size()));
        for (const QString& finding : findings)
            QVERIFY2(lab.report().contains("Note: " + finding.toUtf8() + "\n"), lab.report().constData());
        QVERIFY(!lab.tc.written().contains("SETP 1, 0"));
    }

    void longProfilesArePlannedAndCheckedInAMoment_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("scans");
        QTest::addColumn<QString>("finding");
        const QString tooMany = u"The profile asks for more than 30000 scans."_s;
        QTest::newRow("10,000 lines") << lines(10000, "T1:290;DW:1;") << 10000 << QString();
        QTest::newRow("10,001 steps of a line")
            << QByteArray("T1:100;T2:200;DT:0.01;") << 10001 << u"line 1: The valid temperature step size is 0.1... 292!"_s;
        QTest::newRow("30,000 lines") << lines(30000, "T1:290;") << 30000 << QString();
        QTest::newRow("one too many") << lines(30001, "T1:290;") << 30001 << u"line 30001: "_s + tooMany;
        QTest::newRow("a step that never ends") << QByteArray("T1:100;T2:200;DT:1E-300;\r\n") << 30001 << u"line 1: "_s + tooMany;
        QTest::newRow("many such") << lines(1000, "T1:100;T2:200;DT:0.1;R:1E9;DW:-1;") << 30001
                                   << u"line 1: Please select a ramp rate between 0 K/min. and 99.9 K/min.!"_s;
        QTest::newRow("a million faults") << lines(1000000, "oops;") << 0 << u"line 100: no start temperature; the line is skipped"_s;
        QTest::newRow("10 MB of one line") << "T1:290;" + QByteArray(10 * 1024 * 1024, 'x') << 1 << QString();
        QTest::newRow("10 MB without an end") << "T1:290;T2:280;DT:" + QByteArray(10 * 1024 * 1024, '1') << 1
                                              << u"line 1: DT is read as 1.79769313486232E+308"_s;
        QTest::newRow("10 MB of one key") << QByteArray("T1:290;").repeated(1500000) << 1
                                          << u"line 1: T1 stands more than once; the first counts"_s;
    }

    void longProfilesArePlannedAndCheckedInAMoment()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, scans);
        QFETCH(QString, finding);
        Laboratory lab;
        QElapsedTimer time;
        time.start();
        QVERIFY(load(lab, bytes));
        const QStringList findings = ProfileRun::Check();
        const qsizetype planned = ProfileRun::Plan().size();
        const qint64 needed = time.elapsed();
        QCOMPARE(planned, qsizetype(scans));
        QVERIFY2(finding.isEmpty() ? findings.isEmpty() : findings.contains(finding), qPrintable(findings.join(u'\n').left(500)));
        QVERIFY(findings.size() < 120);
        // Some tenths of a second in a release; a walk that grows with the square of the length would end in the time-out of the test.
        qInfo("%lld ms", static_cast<long long>(needed));
        if (planned <= ProfileRun::mostScans)
            return;
        lab.boxes.expect(title, u"The profile asks for more than 30000 scans."_s);
        QVERIFY(!ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QVERIFY(lab.tc.written().isEmpty());
    }
};

QTEST_GUILESS_MAIN(tst_badprofiles)
#include "tst_badprofiles.moc"
