// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/SmallDisk.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/resource.h>
#endif

using namespace Qt::StringLiterals;
using ProfileEdit::Box;

namespace {
QByteArray contents(const QString& path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
}

void store(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(bytes), bytes.size());
}

QList<double> temperaturesOf(const char* line)
{
    const std::optional<TProfile::Step> step = TProfile::ParseStep(QString::fromLatin1(line));
    return step ? step->temperatures() : QList<double>();
}

ProfileEdit::Boxes boxes(const char* t1, const char* t2, const char* dt, const char* comment = "")
{
    ProfileEdit::Boxes result;
    result.t1 = QString::fromLatin1(t1);
    result.t2 = QString::fromLatin1(t2);
    result.dt = QString::fromLatin1(dt);
    result.comment = QString::fromLatin1(comment);
    return result;
}
} // namespace

class tst_profilefile : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_directory;
    QString file(const char* name = "a.gtp") const { return m_directory->filePath(QString::fromLatin1(name)); }

private slots:
    void init()
    {
        resetProgram();
        TProfile::state() = {};
        ProfileRun::state() = {};
        m_directory = std::make_unique<QTemporaryDir>();
        configuration().general.workDir = m_directory->path();
        configuration().ltc.tMin = 8;
        configuration().ltc.tMax = 305;
    }

    // --- lines

    void aStepIsOneLineWithTheFieldsGiven()
    {
        ProfileEdit::Boxes single = boxes("300", "", "");
        single.dwell = u"5"_s;
        QCOMPARE(ProfileEdit::lines(single), QStringList{u"T1:300;DW:5;"_s});
        ProfileEdit::Boxes ramp = boxes("100", "200", "10", " first ");
        ramp.ramp = u"2"_s;
        ramp.dwell = u"60"_s;
        QCOMPARE(ProfileEdit::lines(ramp), (QStringList{u"T1:100;T2:200;DT:10;R:2;DW:60;"_s, u"#first;"_s}));
        ramp.expoTime = u"7"_s;
        ramp.comment.clear();
        QCOMPARE(ProfileEdit::lines(ramp), QStringList{u"T1:100;T2:200;DT:10;R:2;DW:60;E:7;"_s});
        QCOMPARE(ProfileEdit::lines(boxes("2.5", "", "")), QStringList{u"T1:2.5;"_s});
    }

    void keysAreFoundInAnyCaseAndOrder()
    {
        const std::optional<TProfile::Step> step = TProfile::ParseStep(u"dW:60; e:5;dt:10;r:2.5;t2:280;T1:300"_s);
        QVERIFY(step);
        QCOMPARE(*step->t1, 300.0);
        QCOMPARE(*step->t2, 280.0);
        QCOMPARE(*step->dt, 10.0);
        QCOMPARE(*step->ramp, 2.5);
        QCOMPARE(*step->dwell, 60.0);
        QCOMPARE(*step->exposure, 5.0);
        QCOMPARE(TProfile::FieldText(u"T1:300;t1:20;"_s, u"T1"_s), u"300"_s);
        QCOMPARE(TProfile::FieldText(u"T1:300;"_s, u"T2"_s), QString());
    }

    void threeMarksMakeAComment()
    {
        for (const char* line : {"# note", ";T1:300;", "'T1:300;DW:5;"}) {
            QVERIFY(TProfile::IsComment(QString::fromLatin1(line)));
            QVERIFY(!TProfile::ParseStep(QString::fromLatin1(line)));
        }
        QCOMPARE(TProfile::CommentText(u"'  cold  "_s), u"cold"_s);
        QCOMPARE(TProfile::CommentText(u"; warm;"_s), u"warm;"_s);
        QCOMPARE(TProfile::CommentText(TProfile::CommentLine(u"cold"_s)), u"cold;"_s);
    }

    void theSeriesOfAStep()
    {
        QCOMPARE(temperaturesOf("T1:300;T2:280;DT:10;"), (QList<double>{300, 290, 280}));
        QCOMPARE(temperaturesOf("T1:300;T2:280;DT:15;"), (QList<double>{300, 285}));
        QCOMPARE(temperaturesOf("T1:280;T2:300;DT:-10;"), (QList<double>{280, 290, 300}));
        // 3.5 is rounded to 4, 4.5 to 4: ties to even.
        QCOMPARE(temperaturesOf("T1:300;T2:275;DT:10;"), (QList<double>{300, 290, 280, 270}));
        QCOMPARE(temperaturesOf("T1:300;T2:265;DT:10;"), (QList<double>{300, 290, 280, 270}));
        QCOMPARE(temperaturesOf("T1:300;DT:10;"), QList<double>{300});
        QCOMPARE(temperaturesOf("T1:300;T2:0;DT:10;"), QList<double>{300});
        QCOMPARE(temperaturesOf("T1:300;T2:280;DT:0;"), QList<double>{300});
        QCOMPARE(temperaturesOf("T1:300;T2:280;"), QList<double>{300});
        QCOMPARE(temperaturesOf("T1:0.1;T2:0.3;DT:0.1;"), (QList<double>{0.1, 0.2, 0.3}));
        QVERIFY(temperaturesOf("T2:280;DT:10;DW:5;").isEmpty());
        QVERIFY(temperaturesOf("T1:warm;T2:hot;DT:more;").isEmpty());
        // A step that would never end is cut, not counted out.
        QCOMPARE(TProfile::ParseStep(u"T1:1;T2:1E9;DT:1E-9;"_s)->temperatures(500).size(), qsizetype(500));
    }

    // --- files

    void theFileIsTheListLineByLine()
    {
        TProfile::state().lines = {u"T1:300;DW:5;"_s, u""_s, u"#cold;"_s};
        TProfile::state().modified = true;
        ScriptedPrompts prompts;
        prompts.expectSave(QString(), file());
        QCOMPARE(TProfile::SaveTProfile(), qint16(0));
        QCOMPARE(prompts.fileDialogs.constFirst().filter, u"Temperature profile (*.gtp)|*.gtp"_s);
        QCOMPARE(prompts.fileDialogs.constFirst().directory, m_directory->path());
        QCOMPARE(contents(file()), QByteArray("T1:300;DW:5;\r\n\r\n#cold;\r\n"));
        QVERIFY(!TProfile::state().modified);
        QCOMPARE(TProfile::state().currentFile, file());
        const QStringList saved = TProfile::state().lines;
        TProfile::state() = {};
        prompts.expectOpen(QString(), file());
        QCOMPARE(TProfile::OpenTProfile(), qint16(0));
        QCOMPARE(TProfile::state().lines, saved);
        QVERIFY(prompts.allShown());
    }

    void filesAsTheyCome_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QStringList>("lines");
        QTest::newRow("empty") << QByteArray() << QStringList();
        QTest::newRow("one empty line") << QByteArray("\r\n") << QStringList{QString()};
        QTest::newRow("no final line end") << QByteArray("T1:300;\r\n#x") << QStringList{u"T1:300;"_s, u"#x"_s};
        QTest::newRow("LF only") << QByteArray("T1:300;\nT1:310;\n") << QStringList{u"T1:300;"_s, u"T1:310;"_s};
        QTest::newRow("umlaut") << QByteArray("#K\xfchl;\r\n") << QStringList{u"#Kühl;"_s};
    }

    void filesAsTheyCome()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QStringList, lines);
        store(file(), bytes);
        QCOMPARE(TProfile::OpenTProfile(file()), qint16(0));
        QCOMPARE(TProfile::state().lines, lines);
    }

    void tenThousandStepsAndOneVeryLongLine()
    {
        QByteArray many;
        for (int i = 0; i < 10000; ++i)
            many += "T1:300;\r\n";
        store(file(), many);
        QCOMPARE(TProfile::OpenTProfile(file()), qint16(0));
        QCOMPARE(TProfile::state().lines.size(), qsizetype(10000));
        flags().ltcEnabled = true;
        QCOMPARE(ProfileRun::Plan().size(), qsizetype(10000));
        store(file("long.gtp"), "T1:300;" + QByteArray(10 * 1024 * 1024, 'x'));
        QCOMPARE(TProfile::OpenTProfile(file("long.gtp")), qint16(0));
        QCOMPARE(TProfile::state().lines.size(), qsizetype(1));
        QCOMPARE(temperaturesOf(TProfile::state().lines.constFirst().toLatin1().constData()), QList<double>{300});
    }

    void aFileThatCannotBeReadOrWrittenIsReported()
    {
        TProfile::state() = {{u"T1:300;"_s}, u"old.gtp"_s, true};
        ScriptedPrompts prompts;
        prompts.expect(u"Temperature profile"_s, u"Error # 53"_s);
        QCOMPARE(TProfile::OpenTProfile(file("none.gtp")), qint16(53));
        QCOMPARE(TProfile::state().lines, QStringList{u"T1:300;"_s});
        const QString target = file("missing/a.gtp");
        prompts.expectSave(QString(), target);
        prompts.expect(u"Temperature profile"_s, QString());
        QVERIFY(TProfile::SaveTProfile() != 0);
        const QString text = prompts.messages.constLast().text;
        QVERIFY2(text.startsWith(u"Error # "_s) && text.contains(u" caused by SaveTProfile() - "_s + target + u"\r\n"_s), qPrintable(text));
        QVERIFY(TProfile::state().modified);
        QCOMPARE(TProfile::state().currentFile, u"old.gtp"_s);
        prompts.expectOpen(QString(), QString());
        QCOMPARE(TProfile::OpenTProfile(), TProfile::Cancelled);
        QVERIFY(TProfile::state().modified);
        prompts.expectSave(QString(), QString());
        QCOMPARE(TProfile::SaveTProfile(), TProfile::Cancelled);
        QVERIFY(TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void aNameWithoutExtensionGetsItAndReplacesNothingUnasked()
    {
        TProfile::state() = {{u"T1:300;"_s}, QString(), true};
        store(file("abc.gtp"), "earlier");
        const QString question = u'\'' + file("abc.gtp") + u"' already exists.\nDo you want to replace it?"_s;
        ScriptedPrompts prompts;
        prompts.expectSave(QString(), file("abc"));
        prompts.expect(u"Temperature profile"_s, question, Prompts::Button::No)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withIcon(Prompts::Icon::Exclamation)
            .withAnswers(Prompts::Button::Yes, Prompts::Button::No, Prompts::Button::No);
        QCOMPARE(TProfile::SaveTProfile(), TProfile::Cancelled);
        QCOMPARE(contents(file("abc.gtp")), QByteArray("earlier"));
        QVERIFY(TProfile::state().modified && TProfile::state().currentFile.isEmpty());
        prompts.expectSave(QString(), file("abc"));
        prompts.expect(u"Temperature profile"_s, question, Prompts::Button::Yes);
        QCOMPARE(TProfile::SaveTProfile(), qint16(0));
        QCOMPARE(contents(file("abc.gtp")), QByteArray("T1:300;\r\n"));
        // Where none is there, and where the dialog itself has asked about the whole name.
        prompts.expectSave(QString(), file("new"));
        QCOMPARE(TProfile::SaveTProfile(), qint16(0));
        QCOMPARE(TProfile::state().currentFile, file("new.gtp"));
        prompts.expectSave(QString(), file("NEW.GTP"));
        QCOMPARE(TProfile::SaveTProfile(), qint16(0));
        prompts.expectSave(QString(), file("new.gtp"));
        QCOMPARE(TProfile::SaveTProfile(), qint16(0));
        QVERIFY(prompts.allShown());
    }

#ifdef Q_OS_LINUX
    void aFullDiskAndAForbiddenFolderAreNamed()
    {
        TProfile::state() = {{u"T1:300;"_s}, u"old.gtp"_s, true};
        const auto text = [](const char* start, const QString& path, const char* why) {
            return QString::fromLatin1(start) + path + u"\r\n"_s + QString::fromLatin1(why);
        };
        store(file("full.gtp"), "earlier");
        ScriptedPrompts prompts;
        prompts.expectSave(QString(), file("full.gtp"));
        prompts.expect(u"Temperature profile"_s, text("Error # 61 caused by SaveTProfile() - ", file("full.gtp"), "Disk full"));
        qint16 result = 0;
        {
            const SmallDisk disk(4);
            result = TProfile::SaveTProfile();
        }
        QCOMPARE(result, qint16(61));
        QCOMPARE(contents(file("full.gtp")), QByteArray("earlier"));
        // sysfs refuses new files even to root.
        prompts.expectSave(QString(), u"/sys/a.gtp"_s);
        prompts.expect(u"Temperature profile"_s, text("Error # 70 caused by SaveTProfile() - ", u"/sys/a.gtp"_s, "Permission denied"));
        QCOMPARE(TProfile::SaveTProfile(), qint16(70));
        QVERIFY(TProfile::state().modified);
        QCOMPARE(TProfile::state().currentFile, u"old.gtp"_s);
        QVERIFY(prompts.allShown());
    }
#endif

    void openingAndSavingAreLogged()
    {
        modTools::state().programDirectory = m_directory->path();
        flags().log = true;
        ScriptedPrompts prompts;
        prompts.expectOpen(QString(), QString());
        TProfile::OpenTProfile();
        prompts.expectSave(QString(), QString());
        TProfile::SaveTProfile();
        QCOMPARE(contents(file("app.log")), QByteArray("OpenTProfile()\r\nAbout to show dialog window...\r\nSaveTProfile()\r\n"));
        QVERIFY(prompts.allShown());
    }

    // --- editor

    void whatIsMissing()
    {
        const auto text = [](const ProfileEdit::Boxes& typed) { return ProfileEdit::missing(typed).text; };
        QCOMPARE(text(boxes("", "", "10")), u"Missing T-Start and T-Stop..."_s);
        QCOMPARE(text(boxes("", "280", "10")), u"Missing T-Start..."_s);
        QCOMPARE(text(boxes("", "280", "")), u"Missing T-Start..."_s);
        QCOMPARE(text(boxes("", "", "")), u"Missing T-Start..."_s);
        QCOMPARE(text(boxes("", "", "", "note")), QString());
        QCOMPARE(text(boxes("300", "280", "")), u"Missing T-Step..."_s);
        QCOMPARE(text(boxes("300", "", "10")), u"Missing T-Stop..."_s);
        QCOMPARE(text(boxes("300", "0", "10")), u"Missing T-Stop..."_s);
        // A lone point is no value, and none is stored for it.
        QCOMPARE(text(boxes(".", "", "")), u"Missing T-Start..."_s);
        QCOMPARE(text(boxes("300", "280", ".")), u"Missing T-Step..."_s);
        QCOMPARE(ProfileEdit::lines(boxes("300", ".", ".")), QStringList{u"T1:300;"_s});
        QCOMPARE(ProfileEdit::lines(boxes(",5", "", "")), QStringList{u"T1:0.5;"_s});
        QCOMPARE(text(boxes("300", "", "")), QString());
        QCOMPARE(text(boxes("300", "280", "10")), QString());
    }

    void theRangesOfEachController()
    {
        flags().ltcEnabled = true;
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"7.9"_s), u"The valid temperature range is 8... 305!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::T2, u"305"_s), QString());
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.05"_s), u"The valid temperature step size is 0.1... 297!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.1"_s), QString());
        QCOMPARE(ProfileEdit::RangeText(), u"Valid temperature range: 8... 305."_s);
        flags().laserEnabled = true;
        configuration().laser.tMin = 20;
        configuration().laser.tMax = 1200;
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"1201"_s), u"The valid temperature range is 20... 1200!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.5"_s), u"The valid temperature step size is 1... 1180!"_s);
        configuration().laser.currentMode = true;
        configuration().laser.maxCurrent = 2.5;
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"2.6"_s), u"The valid current range is 0... 2.5!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.00001"_s), u"The valid step size is 0.0001... 2.5!"_s);
        flags().htcEnabled = true;
        configuration().htc.tMin = 20;
        configuration().htc.tMax = 1500;
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"1501"_s), u"The valid temperature range is 20... 1500!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"1481"_s), u"The valid temperature step size is 1... 1480!"_s);
    }

    void rampAndDwell()
    {
        QCOMPARE(ProfileEdit::refusal(Box::Ramp, u"100"_s), u"Please select a ramp rate between 0 K/min. and 99.9 K/min.!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::Ramp, u"99.9"_s), QString());
        QCOMPARE(ProfileEdit::refusal(Box::Dwell, u"30000"_s), QString());
        QCOMPARE(ProfileEdit::refusal(Box::Dwell, u"32001"_s), u"Max. dwell time is 32000 seconds..."_s);
        QCOMPARE(ProfileEdit::TimeUnit(), u"second(s)"_s);
        configuration().general.timeUnitMinutes = true;
        QCOMPARE(ProfileEdit::refusal(Box::Dwell, u"600"_s), u"Max. dwell time is 533 minutes..."_s);
        QCOMPARE(ProfileEdit::refusal(Box::Dwell, u"533"_s), QString());
        QCOMPARE(ProfileEdit::TimeUnit(), u"minute(s)"_s);
    }

    void aListEntryComesBackIntoTheBoxes()
    {
        ProfileEdit::Boxes back;
        ProfileEdit::load(u"T1:300;T2:280;DT:10;R:2;DW:60;E:5;"_s, &back);
        QCOMPARE((QStringList{back.t1, back.t2, back.dt, back.ramp, back.dwell, back.expoTime, back.comment}),
                 (QStringList{u"300"_s, u"280"_s, u"10"_s, u"2"_s, u"60"_s, u"5"_s, QString()}));
        ProfileEdit::load(u"' note"_s, &back);
        QCOMPARE(back.comment, u"note"_s);
        QCOMPARE(back.t1, u"300"_s);
    }

    void aChangedLineKeepsItsKind()
    {
        const ProfileEdit::Boxes typed = boxes("300", "", "", "cold;");
        QCOMPARE(ProfileEdit::changed(u"T1:1;"_s, typed), u"T1:300;"_s);
        // What a comment line brings into its box goes back without growing.
        for (const QString& line : {u"#cold;"_s, u"'cold;"_s, u";warm"_s})
            QCOMPARE(ProfileEdit::changed(line, typed), u"#cold;"_s);
        QCOMPARE(ProfileEdit::changed(u"#cold;"_s, boxes("300", "", "")), u"#;"_s);
    }

    void theKeysOfANumericBox()
    {
        QCOMPARE(ProfileEdit::acceptedKey(u','), QChar(u'.'));
        QCOMPARE(ProfileEdit::acceptedKey(u'.'), QChar(u'.'));
        QCOMPARE(ProfileEdit::acceptedKey(u'7'), QChar(u'7'));
        for (const QChar key : u"-+eE :;a"_s)
            QVERIFY(ProfileEdit::acceptedKey(key).isNull());
    }

    void theCaptionTellsEdits()
    {
        TProfile::state().currentFile = u"a.gtp"_s;
        QCOMPARE(ProfileEdit::caption(), u"Current profile: a.gtp"_s);
        TProfile::state().modified = true;
        QCOMPARE(ProfileEdit::caption(), u"Current profile: a.gtp (modified)"_s);
    }

    // --- plan

    void fileNamesCarryTheTemperature()
    {
        const QString sample = u"Quartz"_s;
        flags().ltcEnabled = true;
        QCOMPARE(ProfileRun::FileName(sample, 295.3), u"Quartz_0295.3.sdf"_s);
        QCOMPARE(ProfileRun::FileName(sample, 8), u"Quartz_0008.0.sdf"_s);
        flags().laserEnabled = true;
        QCOMPARE(ProfileRun::FileName(sample, 640), u"Quartz_0640.sdf"_s);
        configuration().laser.currentMode = true;
        QCOMPARE(ProfileRun::FileName(sample, 1.25), u"Quartz_1.2500.sdf"_s);
        flags().htcEnabled = true;
        QCOMPARE(ProfileRun::FileName(sample, 22.4), u"Quartz_0022.sdf"_s);
    }

    void theSummaryOfEachController()
    {
        const QString tail =
            u"\r\n  NOTE: Existing files with identical names get an additional index (n)!\r\n\r\nAre you ready to continue?"_s;
        const QString head =
            u"- Temperature profile: p.gtp\r\n- Current work directory is 'D'.\r\n- Files will be saved as '<SampleName>_"_s;
        TProfile::state().currentFile = u"p.gtp"_s;
        configuration().general.workDir = u"D"_s;
        flags().laserEnabled = true;
        QCOMPARE(ProfileRun::SummaryText(), head + u"xxxx.sdf' (xxxx=temperature)."_s + tail);
        configuration().laser.currentMode = true;
        QCOMPARE(ProfileRun::SummaryText(), head + u"x.xxxx.sdf' (x.xxxx=laser diode current)."_s + tail);
        flags().laserEnabled = false;
        flags().htcEnabled = true;
        configuration().htc.pidFile = u"h.pid"_s;
        QCOMPARE(ProfileRun::SummaryText(), u"- PID parameter file: h.pid\r\n"_s + head + u"xxxx.sdf' (xxxx=temperature)."_s + tail);
        configuration().htc.pidFile.clear();
        QCOMPARE(ProfileRun::SummaryText(), head + u"xxxx.sdf' (xxxx=temperature)."_s + tail);
        flags().htcEnabled = false;
        flags().ltcEnabled = true;
        QVERIFY(ProfileRun::SummaryText().endsWith(head + u"xxxx.x.sdf' (xxxx.x=temperature)."_s + tail));
    }

    void theCheckNamesLineAndFault()
    {
        flags().ltcEnabled = true;
        TProfile::state().lines = {u"#x"_s, u""_s, u"T1:300;DW:5;"_s, u"DW:5;"_s, u"T1:warm;"_s, u"T1:400;R:100;"_s};
        QCOMPARE(ProfileRun::Check(),
                 (QStringList{u"line 4: no start temperature; the line is skipped"_s, u"line 5: T1 is not a number; the line is skipped"_s,
                              u"line 6: The valid temperature range is 8... 305!"_s,
                              u"line 6: Please select a ramp rate between 0 K/min. and 99.9 K/min.!"_s}));
    }

    void exposureTimesAreWholeAndInTheUnitOfTheSetting()
    {
        flags().ltcEnabled = true;
        scanParameters().counterTime = 0.5;
        TProfile::state().lines = {u"T1:300;E:7;DW:2;"_s, u"T1:290;"_s, u"T1:280;E:0;"_s};
        QList<ProfileRun::Row> rows = ProfileRun::Plan();
        QCOMPARE(rows.size(), qsizetype(3));
        QCOMPARE(rows[0].counterTime, 7.0);
        QCOMPARE(rows[0].dwell, 2.0);
        QCOMPARE(rows[1].counterTime, 0.5);
        QCOMPARE(rows[2].counterTime, 0.5);
        configuration().general.timeUnitMinutes = true;
        rows = ProfileRun::Plan();
        QCOMPARE(rows[0].counterTime, 420.0);
        QCOMPARE(rows[0].dwell, 120.0);
    }
};

QTEST_GUILESS_MAIN(tst_profilefile)
#include "tst_profilefile.moc"
