// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/modTools.h"
#include "datafiles/ExportWriters.h"
#include "datafiles/GoldenScans.h"
#include "datafiles/modFile.h"
#include "support/ProcessorTime.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <clocale>
#include <limits>
#include <memory>

using Field = FrontPanel::Field;
using Icon = Prompts::Icon;

class tst_native : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString at(const char* name) const { return m_folder->filePath(QString::fromLatin1(name)); }

    /// A file of the program from its lines; the counts of start 10, stop 10.04, step 0.02 make three points.
    struct Lines
    {
        QByteArray first = "scan 2.1.22";
        QByteArray counterTime = "1.0";
        QByteArray date = "Nov 21. 2026 03:49";
        QByteArray comment = "/*<beginc>abc<endc>*/";
        QByteArray start = "10.000";
        QByteArray stop = "10.040";
        QByteArray step = "0.020";
        QByteArray data = " 5 \r\n 7 \r\n 6 \r\n";

        QByteArray bytes() const
        {
            const QByteArrayList head{first,   "0",   "1",  "Corundum", "n.n", "",  date, counterTime, "C:\\x.sdf",
                                      comment, start, stop, step,       "",    "0", "",   ""};
            return head.join("\r\n") + data;
        }
    };

    QString file(const QByteArray& bytes) const
    {
        GoldenScans::write(at("in.sdf"), bytes);
        return at("in.sdf");
    }
    QString readError(int number, const QString& description) const
    {
        return QStringLiteral("Error # %1 was generated while reading file %2.\n%3").arg(number).arg(at("in.sdf"), description);
    }
    /// Nothing changes; `points`: but for a file that ends early, of which so many are shown.
    void refuses(const QByteArray& bytes, int number, const QString& description, qint32 points = 0)
    {
        GoldenScans::put(9);
        scanData().comment = QStringLiteral("the earlier one");
        frontPanel().setText(Field::txtFileName, QStringLiteral("Earlier"));
        frontPanel().setPanel(2, QStringLiteral("Jan 01. 2026 00:00"));
        flags().dataPresent = true;
        flags().dataSaved = false;
        const QVector<double> before = scanData().counts();
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("Open file error"), readError(number, description)).withIcon(Icon::Critical);
        QVERIFY(!modFile::OpenScanFile(false, file(bytes)));
        QVERIFY(flags().dataPresent && !flags().busy);
        QCOMPARE(flags().dataSaved, points > 0);
        QCOMPARE(scanData().counts() == before, points == 0);
        QCOMPARE(frontPanel().text(Field::txtFileName), points > 0 ? QStringLiteral("Corundum") : QStringLiteral("Earlier"));
        QCOMPARE(frontPanel().panel(2) == QStringLiteral("Jan 01. 2026 00:00"), points == 0);
        QCOMPARE(scanData().markText(), points > 0 ? QStringLiteral("partial: %1 of 3 points").arg(points) : QString());
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
        QCOMPARE(frontPanel().pointer(), FrontPanel::Pointer::Default);
    }
    QByteArray written(const QString& comment) const
    {
        GoldenScans::put(9);
        scanData().comment = comment;
        QString path = at("c.sdf");
        modFile::CreateZELKOFile(scanData(), path, false);
        return GoldenScans::bytesOf(path);
    }

private slots:
    void init()
    {
        resetProgram();
        m_folder = std::make_unique<QTemporaryDir>();
        modTools::state().iniPath = at("scan.ini");
    }

    void aSavedScanReadsBackWhole_data()
    {
        QTest::addColumn<qint32>("points");
        for (qint32 points : {1, 9, 10, 11, 23, 32001})
            QTest::addRow("%d", points) << points;
    }
    void aSavedScanReadsBackWhole()
    {
        QFETCH(qint32, points);
        ScriptedPrompts boxes;
        GoldenScans::put(points);
        QString path = at("x.sdf");
        QCOMPARE(modFile::CreateZELKOFile(scanData(), path, false), qint16(0));
        QVERIFY(!flags().dataSaved);
        const QVector<double> counts = scanData().counts();
        const ScanParameters saved = scanData().parameters;
        resetProgram();
        PlotRequest drawn;
        const auto watch = connect(&scanData(), &ScanData::plotRequested, this, [&](const PlotRequest& request) { drawn = request; });
        QVERIFY(modFile::OpenScanFile(false, path));
        disconnect(watch);
        QCOMPARE(scanData().counts(), counts);
        QCOMPARE(scanData().parameters.numberOfPoints, points);
        QCOMPARE(scanData().angle(points), saved.start + (points - 1) * saved.step);
        QCOMPARE(scanParameters().step, saved.step);
        QCOMPARE(scanParameters().numberOfPoints, points);
        QCOMPARE(scanData().minimum, 0);
        QCOMPARE(scanData().maximum, qint32(*std::max_element(counts.begin(), counts.end())));
        QCOMPARE(drawn.title, QString());
        QCOMPARE(drawn.yMaximum, ScanData::yMaximumFor(scanData().maximum));
        QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral(u"Quartz\u00e4"));
        QCOMPARE(frontPanel().text(Field::txtComment), QStringLiteral("first line\nsecond"));
        QCOMPARE(frontPanel().panel(2), QStringLiteral("Mar 05. 2024 14:07"));
        QVERIFY(flags().dataPresent && flags().dataSaved && !flags().busy);
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuFileSaveAs));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    }

    void anExistingFileIsKeptAndTheNextIndexTaken()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        for (const char* name : {"x.sdf", "x(2).sdf", "x(3).sdf"}) {
            QString path = at("x.sdf");
            QCOMPARE(modFile::CreateZELKOFile(scanData(), path, true), qint16(0));
            QCOMPARE(path, at(name));
            QCOMPARE(GoldenScans::bytesOf(path).split('\n')[8], at(name).toUtf8() + '\r');
        }
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("d.sdf")));
        QString beside = at("d.sdf");
        QCOMPARE(modFile::CreateZELKOFile(scanData(), beside, true), qint16(0));
        QCOMPARE(beside, at("d(2).sdf"));
        QString blind = at("abcdefg");
        GoldenScans::write(blind, "old");
        modFile::CreateZELKOFile(scanData(), blind, true);
        QCOMPARE(blind, at("abc(2)defg"));
        QCOMPARE(GoldenScans::bytesOf(at("abcdefg")), QByteArray("old"));
    }

    void withoutThatAnExistingFileIsReplacedThroughALinkToo()
    {
        GoldenScans::put(9);
        GoldenScans::write(at("old.sdf"), QByteArray(100000, 'x'));
        QVERIFY(QFile::link(at("old.sdf"), at("link.sdf")));
        QString path = at("link.sdf");
        QCOMPARE(modFile::CreateZELKOFile(scanData(), path, false), qint16(0));
        QVERIFY(QFileInfo(at("link.sdf")).isSymLink());
        QVERIFY(GoldenScans::bytesOf(at("old.sdf")).startsWith("scan 2.1.22\r\n0\r\n1\r\n"));
    }

    void commentsAreFramed()
    {
        QVERIFY(written(QStringLiteral(" abc ")).contains("\r\n/*<beginc>abc<endc>*/\r\n"));
        QVERIFY(written(QString()).contains("\r\n/*<beginc><endc>*/\r\n"));
        for (const char* breaks : {"a\nb", "a\r\nb", "a\rb"})
            QVERIFY(written(QString::fromLatin1(breaks)).contains("\r\n/*<beginc>a\r\nb<endc>*/\r\n"));
    }

    void commentsReadBack_data()
    {
        QTest::addColumn<QByteArray>("lines");
        QTest::addColumn<QString>("comment");
        QTest::newRow("one line") << QByteArray("/*<beginc>abc<endc>*/") << QStringLiteral("abc");
        QTest::newRow("empty") << QByteArray("/*<beginc><endc>*/") << QString();
        QTest::newRow("two lines") << QByteArray("/*<beginc>a\r\nb<endc>*/") << QStringLiteral("a\nb");
        QTest::newRow("empty lines within") << QByteArray("/*<beginc>\r\n\r\nb\r\n<endc>*/") << QStringLiteral("\n\nb\n");
        QTest::newRow("line of fewer than 11 characters") << QByteArray("short\r\nb<endc>*/") << QStringLiteral("\nb");
        QTest::newRow("marks that overlap") << QByteArray("<endc>*/*<beginc>") << QString();
        QTest::newRow("code page") << QByteArray("/*<beginc>\x80 20 \xb0\x43<endc>*/") << QStringLiteral(u"\u20ac 20 \u00b0C");
    }
    void commentsReadBack()
    {
        QFETCH(QByteArray, lines);
        QFETCH(QString, comment);
        ScriptedPrompts boxes;
        Lines in;
        in.comment = lines;
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(frontPanel().text(Field::txtComment), comment);
        QCOMPARE(scanData().counts(), (QVector<double>{5, 7, 6}));
    }

    void aCommentWithoutEndMarkIsAReadErrorPastTheEnd()
    {
        Lines in;
        in.comment = "/*<beginc>abc";
        refuses(in.bytes(), 62, QStringLiteral("Input past end of file"));
    }

    void charactersOutsideTheCodePageAreReplaced()
    {
        GoldenScans::put(9);
        scanData().sample = QStringLiteral(u"\u0416\u20ac");
        QString path = at("x.sdf");
        modFile::CreateZELKOFile(scanData(), path, false);
        QCOMPARE(GoldenScans::bytesOf(path).split('\n')[3], QByteArray("?\x80\r"));
    }

    void aLocaleWithDecimalCommaChangesNoFile()
    {
        const QLocale before;
        QLocale::setDefault(QLocale(QLocale::German));
        setlocale(LC_ALL, "de_DE.UTF-8");
        GoldenScans::put(9);
        scanData().parameters.start = 12.345;
        QString path = at("x.sdf");
        modFile::CreateZELKOFile(scanData(), path, false);
        setlocale(LC_ALL, "C");
        QLocale::setDefault(before);
        QVERIFY(GoldenScans::bytesOf(path).contains("\r\n12.345\r\n"));
        QVERIFY(!GoldenScans::bytesOf(path).contains("12,345"));
    }

    void decimalCommasAreRead()
    {
        ScriptedPrompts boxes;
        Lines in;
        in.counterTime = "0,5";
        in.start = "12,345";
        in.stop = "12,385";
        in.step = "0,020";
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(frontPanel().text(Field::ScanStart), QStringLiteral("12.345"));
        QCOMPARE(frontPanel().text(Field::ScanStop), QStringLiteral("12.385"));
        QCOMPARE(frontPanel().text(Field::ScanStep), QStringLiteral("0.02"));
        QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("0.5"));
        QCOMPARE(scanData().size(), 3);
    }

    void aTemperatureIsWrittenOnlyWithFlagSeven()
    {
        GoldenScans::put(1);
        scanData().temperature = 12.5;
        QString path = at("t.sdf");
        modFile::CreateZELKOFile(scanData(), path, false);
        QVERIFY(GoldenScans::bytesOf(path).endsWith("\r\n\r\n0\r\n\r\n 0 \r\n"));
        scanData().temperatureFlag = 7;
        modFile::CreateZELKOFile(scanData(), path, false);
        QVERIFY(GoldenScans::bytesOf(path).endsWith("\r\n\r\n712.5 \r\n\r\n 0 \r\n"));
        QVERIFY(modFile::OpenScanFile(false, path));
        scanData().temperatureFlag = 3;
        modFile::CreateZELKOFile(scanData(), path, false);
        QVERIFY(GoldenScans::bytesOf(path).endsWith("\r\n\r\n3\r\n\r\n 0 \r\n"));
    }

    void thePointCountFollowsFromTheAngles()
    {
        Lines in;
        in.start = "10.000";
        in.stop = "20.000";
        QByteArray data;
        for (int i = 0; i < 600; ++i)
            data += QByteArray::number(i) + "\r\n";
        in.data = data;
        ScriptedPrompts boxes;
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(scanData().size(), 501);
        QCOMPARE(scanData().count(501), 500.0);
        in.start = "20.000";
        in.stop = "10.000";
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(scanData().size(), 501);
    }

    void aMeasuringDateStaysAsTheFileHasIt_data()
    {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<QByteArray>("stoe");
        QTest::newRow("of this program") << QByteArray("Nov 21. 2026 03:49") << QByteArray("21-Nov-26 03:49");
        QTest::newRow("typed") << QByteArray("Nov 2. 2026  3:49") << QByteArray("02-Nov-26 03:49");
        QTest::newRow("none") << QByteArray() << QByteArray(15, '\0');
        QTest::newRow("another text") << QByteArray("last week") << QByteArray(15, '\0');
    }
    void aMeasuringDateStaysAsTheFileHasIt()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, stoe);
        ScriptedPrompts boxes;
        Lines in;
        in.date = text;
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(frontPanel().panel(2), QString::fromLatin1(text));
        QString path = at("again.sdf");
        modFile::CreateZELKOFile(scanData(), path, false);
        QCOMPARE(GoldenScans::bytesOf(path).split('\n')[6], text + '\r');
        CreateSTOEFile(scanData(), at("again.raw"));
        QCOMPARE(GoldenScans::bytesOf(at("again.raw")).mid(0x10, 15), stoe);
    }

    void aFileThatEndsBeforeItsCountsChangesNoField()
    {
        GoldenScans::put(9);
        const QByteArray whole = Lines().bytes();
        refuses(whole.left(whole.indexOf("10.040")), 62, QStringLiteral("Input past end of file"));
        QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral("Earlier"));
        QCOMPARE(frontPanel().text(Field::ScanStart), QStringLiteral("77"));
        QCOMPARE(scanData().size(), 9);
    }

    void tooFewCountsKeepWhatWasRead()
    {
        Lines in;
        in.data = " 5 \r\n 7 \r\n";
        refuses(in.bytes(), 62, QStringLiteral("Input past end of file"), 2);
        QCOMPARE(scanData().counts(), (QVector<double>{5, 7, 0}));
        QCOMPARE(scanData().maximum, 7);
        QCOMPARE(scanData().received, 2);
        QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral("Corundum"));
    }

    void valuesAreReadAsWholeNumbers_data()
    {
        QTest::addColumn<QByteArray>("data");
        QTest::addColumn<QVector<double>>("counts");
        QTest::newRow("commas") << QByteArray("1,2,3") << QVector<double>{1, 2, 3};
        QTest::newRow("commas and lines") << QByteArray("1,\r\n2\r\n3,4,5") << QVector<double>{1, 2, 3};
        QTest::newRow("blank lines") << QByteArray("\r\n1\r\n\r\n2\r\n  \r\n3") << QVector<double>{1, 2, 3};
        QTest::newRow("nothing between commas") << QByteArray("1,,3") << QVector<double>{1, 0, 3};
        QTest::newRow("other line ends") << QByteArray("1\n2\r3\n") << QVector<double>{1, 2, 3};
        QTest::newRow("halves to the even neighbour") << QByteArray("2.5\r\n3.5\r\n1E3\r\n") << QVector<double>{2, 4, 1000};
        QTest::newRow("text") << QByteArray("abc\r\n12abc\r\n-3\r\n") << QVector<double>{0, 12, -3};
        QTest::newRow("ends of the range") << QByteArray("2147483647\r\n-2147483648\r\n+4\r\n")
                                           << QVector<double>{2147483647, -2147483648.0, 4};
    }
    void valuesAreReadAsWholeNumbers()
    {
        QFETCH(QByteArray, data);
        QFETCH(QVector<double>, counts);
        ScriptedPrompts boxes;
        Lines in;
        in.data = data;
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(scanData().counts(), counts);
        QCOMPARE(scanData().minimum, qint32(*std::min_element(counts.begin(), counts.end())));
        QCOMPARE(scanData().maximum, qint32(*std::max_element(counts.begin(), counts.end())));
    }

    void valuesBeyond32BitsAreRefused()
    {
        for (const char* value : {"2147483648", "-2147483649", "1E+15", "99999999999999999999999999", "1E999"}) {
            Lines in;
            in.data = QByteArray("1\r\n") + value + "\r\n3\r\n";
            refuses(in.bytes(), 6, QStringLiteral("Overflow"));
        }
    }

    void pointCountsOutOfBoundsAreRefusedBeforeAnythingIsMade_data()
    {
        QTest::addColumn<QByteArray>("stop");
        QTest::addColumn<QByteArray>("step");
        QTest::addColumn<int>("number");
        QTest::newRow("step 0") << QByteArray("20") << QByteArray("0") << 11;
        QTest::newRow("step is text") << QByteArray("20") << QByteArray("x") << 11;
        QTest::newRow("negative step") << QByteArray("20") << QByteArray("-0.02") << 6;
        QTest::newRow("1,000,001 points") << QByteArray("10010") << QByteArray("0.01") << 6;
        QTest::newRow("more than 32 bits") << QByteArray("1E300") << QByteArray("0.01") << 6;
        QTest::newRow("no number at all") << QByteArray("1E999") << QByteArray("1E-320") << 6;
    }
    void pointCountsOutOfBoundsAreRefusedBeforeAnythingIsMade()
    {
        QFETCH(QByteArray, stop);
        QFETCH(QByteArray, step);
        QFETCH(int, number);
        GoldenScans::put(9);
        Lines in;
        in.stop = stop;
        in.step = step;
        refuses(in.bytes(), number, number == 6 ? QStringLiteral("Overflow") : QStringLiteral("Division by zero"));
        QCOMPARE(scanData().size(), 9);
    }

    void aMillionPointsAreRead()
    {
        ScriptedPrompts boxes;
        Lines in;
        in.start = "0";
        in.stop = "9999.99";
        in.step = "0.01";
        in.data = QByteArray("1\r\n").repeated(1000000);
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        QCOMPARE(scanData().size(), 1000000);
    }

    void otherFilesAreRefusedAndMemoryStays_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("text") << QByteArray("Hello\r\nWorld\r\n");
        QTest::newRow("short") << QByteArray("sca");
        QTest::newRow("empty line") << QByteArray("\r\n");
        QTest::newRow("zeros") << QByteArray(5000000, '\0');
        QByteArray noise(3000000, ' ');
        for (qsizetype i = 0; i < noise.size(); ++i)
            noise[i] = static_cast<char>((i * i * 31 + i * 7) >> 3);
        QTest::newRow("binary") << noise;
    }
    void otherFilesAreRefusedAndMemoryStays()
    {
        QFETCH(QByteArray, bytes);
        GoldenScans::put(9);
        flags().dataPresent = true;
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("Open file error"), u'\'' + at("in.sdf") + QStringLiteral("' is is not a Scan file"));
        QVERIFY(!modFile::OpenScanFile(false, file(bytes)));
        QCOMPARE(scanData().size(), 9);
        QCOMPARE(scanData().count(3), GoldenScans::count(3));
        QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral(u"Quartz\u00e4"));
        QCOMPARE(frontPanel().text(Field::ScanStart), QStringLiteral("77"));
        QVERIFY(flags().dataPresent && !flags().dataSaved && !flags().busy);
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    }

    void anAngleErrorProtocolAsksAndDoesNothing()
    {
        for (Prompts::Button answer : {Prompts::Button::Ok, Prompts::Button::Cancel}) {
            ScriptedPrompts boxes;
            boxes.expect(QStringLiteral("Open file"), QStringLiteral("Generate correction file?"), answer)
                .withIcon(Icon::Question)
                .withButtons(Prompts::Buttons::OkCancel, 2)
                .withAnswers(Prompts::Button::Ok, Prompts::Button::Cancel, Prompts::Button::Cancel);
            QVERIFY(!modFile::OpenScanFile(false, file("Diffractometer Angle ERROR Protocol 12\r\n1\r\n")));
            QVERIFY(!flags().dataPresent);
            QCOMPARE(GoldenScans::filesIn(m_folder->path()), QStringList{QStringLiteral("in.sdf")});
        }
    }

    void onlyNewerVersionsAreRefused_data()
    {
        QTest::addColumn<QByteArray>("first");
        QTest::addColumn<QString>("shown");
        QTest::newRow("same") << QByteArray("scan 2.1.22") << QString();
        QTest::newRow("later revision") << QByteArray("scan 2.1.99") << QString();
        QTest::newRow("older, capitals") << QByteArray("SCAN 2.0.5") << QString();
        QTest::newRow("no version") << QByteArray("  scan") << QString();
        QTest::newRow("no blank") << QByteArray("scan2.1") << QString();
        QTest::newRow("no number") << QByteArray("scanner") << QString();
        QTest::newRow("newer") << QByteArray("scan 2.2.0") << QStringLiteral(" 2.2");
        QTest::newRow("newer by little") << QByteArray("scan 2.11") << QStringLiteral(" 2.11");
        QTest::newRow("much newer") << QByteArray("scan 10") << QStringLiteral(" 10");
    }
    void onlyNewerVersionsAreRefused()
    {
        QFETCH(QByteArray, first);
        QFETCH(QString, shown);
        ScriptedPrompts boxes;
        if (!shown.isEmpty())
            boxes
                .expect(QStringLiteral("Open file error"),
                        QStringLiteral("File version:") + shown +
                            QStringLiteral("\nProgram version: 2.1.22\n\nCannot read data files generated by newer program versions!"))
                .withIcon(Icon::Critical);
        Lines in;
        in.first = first;
        QCOMPARE(modFile::OpenScanFile(false, file(in.bytes())), shown.isEmpty());
        QCOMPARE(scanData().size(), shown.isEmpty() ? 3 : 0);
    }

    void aFileCutAnywhereIsARefusalAndNoHarm()
    {
        const QByteArray whole = Lines().bytes();
        const qsizetype identified = whole.indexOf('\n') + 1;
        const qsizetype complete = whole.lastIndexOf('6');
        constexpr qsizetype stepLine = 12; // line ends before it
        const qsizetype headLength = whole.indexOf(Lines().data);
        for (qsizetype length = 0; length <= complete; ++length) {
            if (length > 0 && length < identified)
                continue; // refused as no scan file, or as cut: below
            const QByteArray cut = whole.left(length);
            const QByteArray last = cut.mid(cut.lastIndexOf('\n') + 1);
            const bool stepCut = cut.count('\n') == stepLine && !last.isEmpty() && last.toDouble() == 0;
            const QByteArray counts = cut.mid(qMin(cut.size(), headLength)).simplified();
            refuses(cut, stepCut ? 11 : 62, stepCut ? QStringLiteral("Division by zero") : QStringLiteral("Input past end of file"),
                    counts.isEmpty() ? 0 : static_cast<qint32>(counts.split(' ').size()));
            if (QTest::currentTestFailed())
                QFAIL(qPrintable(QStringLiteral("cut at %1").arg(length)));
        }
    }

    void anEndlessLineIsReadInBoundedMemory()
    {
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("Open file error"), readError(6, QStringLiteral("Overflow")));
        Lines in;
        in.comment = "/*<beginc>" + QByteArray(20000000, 'c') + "\r\n<endc>*/";
        QVERIFY(!modFile::OpenScanFile(false, file(in.bytes())));
        in.comment = "/*<beginc><endc>*/";
        in.data = "1\r\n" + QByteArray(20000000, '1') + "\r\n3";
        boxes.expect(QStringLiteral("Open file error"), readError(6, QStringLiteral("Overflow")));
        QVERIFY(!modFile::OpenScanFile(false, file(in.bytes())));
    }

    void readingTakesTimeInProportion()
    {
        // Eight times the points within three times eight times the time (the square would be 64): nothing in the reader grows with the
        // square.
        const auto timeOf = [this](int points) {
            Lines in;
            in.start = "0";
            in.stop = QByteArray::number((points - 1) * 0.01, 'f', 3);
            in.step = "0.01";
            in.data = QByteArray(" 123456 \r\n").repeated(points);
            const QString path = file(in.bytes());
            // Processor time: what else the machine does must not count.
            double best = std::numeric_limits<double>::max();
            for (int i = 0; i < 5; ++i) {
                const double before = processorTime();
                modFile::OpenScanFile(false, path);
                best = qMin(best, processorTime() - before);
            }
            return best;
        };
        const double small = timeOf(50000);
        const double large = timeOf(400000);
        QVERIFY2(large < 24 * small, qPrintable(QStringLiteral("%1 ms, %2 ms").arg(small).arg(large)));
    }

    void eventsRunDuringALongRead()
    {
        ScriptedPrompts boxes;
        struct SlowClock : modTools::Clock
        {
            quint32 now = 0;
            int rounds = 0;
            quint32 timeGetTime() override { return now += 20; }
            void processEvents(int, const std::function<bool()>&) override { ++rounds; }
            void idle(int) override {}
        } slow;
        modTools::setClock(&slow);
        Lines in;
        in.stop = "330.000";
        in.step = "0.010";
        in.data = QByteArray("1\r\n").repeated(32001);
        QVERIFY(modFile::OpenScanFile(false, file(in.bytes())));
        modTools::setClock(nullptr);
        QVERIFY2(slow.rounds > 8 && slow.rounds < 40, qPrintable(QString::number(slow.rounds)));
        // The clock, which goes on by 20 ms at each look, is looked at every 1000 points; every third look is 50 ms after the events
        // before.
        modTools::setClock(&slow);
        const auto roundsFor = [&](const char* stop) {
            slow.rounds = 0;
            in.stop = stop;
            in.data = QByteArray("1\r\n").repeated(33000);
            return modFile::OpenScanFile(false, file(in.bytes())) ? slow.rounds : -1;
        };
        const int before = roundsFor("339.980"); // 32999 points
        const int after = roundsFor("339.990");
        modTools::setClock(nullptr);
        QCOMPARE(after - before, 1);
    }

    void aMissingFileIsAReadError()
    {
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("Open file error"), readError(53, QStringLiteral("File not found")));
        QVERIFY(!modFile::OpenScanFile(false, at("in.sdf")));
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("in.sdf")));
        boxes.expect(QStringLiteral("Open file error"), readError(75, QStringLiteral("Path/File access error")));
        QVERIFY(!modFile::OpenScanFile(false, at("in.sdf")));
    }

    void openingAsksAboutUnsavedData()
    {
        GoldenScans::put(9);
        flags().dataPresent = true;
        {
            ScriptedPrompts boxes;
            boxes
                .expect(QStringLiteral("Open file"),
                        QStringLiteral("Data in memory were not yet saved!\n\nDo you really want to continue?"), Prompts::Button::No)
                .withButtons(Prompts::Buttons::YesNo, 2)
                .withIcon(Icon::Question)
                .withAnswers(Prompts::Button::Yes, Prompts::Button::No, Prompts::Button::No);
            QVERIFY(!modFile::OpenScanFile(true));
        }
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("Open file"), QString(), Prompts::Button::Yes);
        boxes.expectOpen(QString(), file(Lines().bytes()));
        QVERIFY(modFile::OpenScanFile(true));
        QVERIFY(flags().dataSaved);
        boxes.expectOpen(QString(), QString());
        QVERIFY(!modFile::OpenScanFile(true));
    }

    void theChosenFolderBecomesTheWorkDirectory()
    {
        ScriptedPrompts boxes;
        configuration().general.workDir = QStringLiteral("/start/");
        boxes.expectOpen(QString(), file(Lines().bytes()));
        QVERIFY(modFile::OpenScanFile(true));
        QCOMPARE(boxes.fileDialogs.first().filter, QStringLiteral("Zelko Scan Data files (*.sdf)|*.sdf|All files (*.*)|*.*"));
        QCOMPARE(boxes.fileDialogs.first().directory, QStringLiteral("/start/"));
        const QString folder = m_folder->path() + u'/';
        QCOMPARE(frontPanel().text(Field::txtWorkDir), folder);
        QCOMPARE(configuration().general.workDir, folder);
        QCOMPARE(modFile::state().fileName, QStringLiteral("in.sdf"));
        QVERIFY(GoldenScans::bytesOf(modTools::state().iniPath).contains("WorkDir=" + folder.toUtf8()));
    }

    void pathsAreSplitAtTheLastSeparator()
    {
        const auto parts = [](const char* path) {
            const modFile::PathParts split = modFile::SplitPath(QString::fromLatin1(path));
            return split.directory + u'|' + split.name;
        };
        QCOMPARE(parts("C:\\data\\x.sdf"), QStringLiteral("C:\\data\\|x.sdf"));
        QCOMPARE(parts("x.sdf"), QStringLiteral("|"));
        QCOMPARE(parts("C:\\data\\"), QStringLiteral("C:\\data\\|"));
#ifndef Q_OS_WIN
        QCOMPARE(parts("/home/lab/x.sdf"), QStringLiteral("/home/lab/|x.sdf"));
#endif
        QCOMPARE(modFile::WithSeparator(QStringLiteral("/a/")), QStringLiteral("/a/"));
        QCOMPARE(modFile::WithSeparator(QStringLiteral("/a")), QStringLiteral("/a") + QDir::separator());
    }

    void foldersAndFilesAreTested()
    {
        QCOMPARE(modFile::DirectoryWritable(m_folder->path()), qint16(-1));
        QCOMPARE(modFile::DirectoryWritable(m_folder->path() + u'/'), qint16(-1));
        QVERIFY(GoldenScans::filesIn(m_folder->path()).isEmpty());
        QCOMPARE(modFile::DirectoryWritable(at("none")), qint16(76));
        QCOMPARE(modFile::FileReadable(at("none")), qint16(53));
        QCOMPARE(modFile::FileReadable(at("none/x")), qint16(76));
        GoldenScans::write(at("x"), "x");
        QCOMPARE(modFile::FileReadable(at("x")), qint16(0));
    }
};

QTEST_GUILESS_MAIN(tst_native)
#include "tst_native.moc"
