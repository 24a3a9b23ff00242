// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "datafiles/modFile.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

/// Copies of what was measured and not saved.
class TestRecovery : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_directory;

    static ScanRecord scan(const QString& sample, double count = 7)
    {
        ScanRecord one = ScanRecord::of({10, 10.04, 0.02, 1, 3});
        one.beginAt(QDateTime(QDate(2026, 3, 2), QTime(16, 22)));
        one.resize(3);
        for (qint32 i = 1; i <= 3; ++i)
            one.setPoint(i, 10 + (i - 1) * 0.02, count + i);
        one.received = 3;
        one.sample = sample;
        one.comment = u"first line\r\nsecond"_s;
        return one;
    }
    QStringList copies() const { return QDir(m_directory->path() + u"/recovered"_s).entryList({u"*.sdf"_s}, QDir::Files, QDir::Name); }

private slots:
    void init()
    {
        resetProgram();
        m_directory = std::make_unique<QTemporaryDir>();
        modTools::state().programDirectory = m_directory->path();
    }

    void aScanIsKeptUntilItIsSaved()
    {
        QVERIFY(!Recovery::unsaved());
        Recovery::keep(scan(u"quartz"_s));
        const std::optional<Recovery::Unsaved> one = Recovery::unsaved();
        QVERIFY(one.has_value());
        QCOMPARE(one->sample, u"quartz"_s);
        QCOMPARE(one->begin, QDateTime(QDate(2026, 3, 2), QTime(16, 22)));
        QVERIFY(frontPanel().panel(1).isEmpty()); // silently
        QVERIFY(modFile::OpenScanFile(false, one->path));
        QCOMPARE(scanData().counts(), (QVector<double>{8, 9, 10}));
        QCOMPARE(scanData().comment, u"first line\nsecond"_s);
        Recovery::saved();
        QVERIFY(!Recovery::unsaved());
        QCOMPARE(copies().size(), 1); // the copy stays
    }

    void theLastFiftyStay()
    {
        for (int i = 0; i < 55; ++i)
            Recovery::keep(scan(u"q%1"_s.arg(i, 2, 10, QChar(u'0'))));
        QCOMPARE(copies().size(), 50);
        QVERIFY(copies().last().endsWith(u"q54.sdf"_s));
        QVERIFY(copies().filter(u"q00"_s).isEmpty());
    }

    void aNameThatNoFileCanHaveIsNoHindrance()
    {
        Recovery::keep(scan(u"a/b\\c: d*"_s));
        QCOMPARE(copies().size(), 1);
        QVERIFY(Recovery::unsaved().has_value());
        QCOMPARE(Recovery::unsaved()->sample, u"a/b\\c: d*"_s);
    }

    void aFolderThatTakesNothingIsNoHindrance()
    {
        QFile file(m_directory->path() + u"/recovered"_s); // in its place
        QVERIFY(file.open(QIODevice::WriteOnly));
        Recovery::keep(scan(u"quartz"_s));
        Recovery::started(scan(u"quartz"_s));
        QVERIFY(!Recovery::unsaved());
        QVERIFY(!Recovery::lastStarted());
    }

    void damagedNotesAreNone()
    {
        Recovery::keep(scan(u"quartz"_s));
        for (const char* text : {"", "{", "[]", "{\"file\":\"../../etc/passwd\"}", "{\"file\":7}"}) {
            for (const char* name : {"unsaved.json", "started.json"}) {
                QFile file(m_directory->path() + u"/recovered/"_s + QString::fromLatin1(name));
                QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
                file.write(text);
            }
            QVERIFY2(!Recovery::unsaved(), text);
            QVERIFY2(!Recovery::lastStarted(), text);
        }
    }

    void countsThatWereTakenAreKnownAgain()
    {
        QVERIFY(!Recovery::isLastTransfer(u"1\r\n2\r\nCEND;\r\n"_s));
        Recovery::transferTaken(u"1\r\n2\r\nCEND;\r\n"_s);
        QVERIFY(Recovery::isLastTransfer(u"1\r\n2\r\nCEND;\r\n"_s));
        QVERIFY(!Recovery::isLastTransfer(u"1\r\n3\r\nCEND;\r\n"_s));
    }

    void whatWasStartedLastIsKnownToTheNextProgram()
    {
        QVERIFY(!Recovery::lastStarted());
        Recovery::started(scan(u"quartz"_s));
        const std::optional<ScanRecord> last = Recovery::lastStarted();
        QVERIFY(last.has_value());
        QCOMPARE(last->parameters.start, 10.0);
        QCOMPARE(last->parameters.stop, 10.04);
        QCOMPARE(last->parameters.step, 0.02);
        QCOMPARE(last->parameters.counterTime, 1.0);
        QCOMPARE(last->parameters.numberOfPoints, 3);
        QCOMPARE(last->sample, u"quartz"_s);
        QCOMPARE(last->comment, u"first line\r\nsecond"_s);
        QCOMPARE(last->measuringDate, scan({}).measuringDate);
    }
};

QTEST_GUILESS_MAIN(TestRecovery)
#include "tst_recovery.moc"
