// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberBytes.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/ExportWriters.h"
#include "datafiles/GoldenScans.h"
#include "datafiles/modFile.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QCryptographicHash>
#include <QProcess>
#include <QRandomGenerator>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <QtEndian>

#include <cmath>
#include <memory>

using Field = FrontPanel::Field;

class tst_exports : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_folder;
    QString at(const QString& name) const { return m_folder->filePath(name); }

    static QList<QPair<double, double>> readBack(const QString& path, const QString& type)
    {
        const QString program = QStandardPaths::findExecutable(QStringLiteral("xyconv"));
        QProcess reader;
        reader.start(program, {QStringLiteral("-t"), type, path, QStringLiteral("-")});
        if (program.isEmpty() || !reader.waitForFinished() || reader.exitCode() != 0) {
            QTest::qFail(qPrintable(QStringLiteral("xyconv (package libxy-bin) is missing or failed: ") + reader.errorString() +
                                    QString::fromLocal8Bit(reader.readAllStandardError())),
                         __FILE__, __LINE__);
            return {};
        }
        QList<QPair<double, double>> points;
        for (const QByteArray& line : reader.readAllStandardOutput().split('\n')) {
            const QByteArrayList values = line.simplified().split(' ');
            if (values.size() >= 2 && !line.startsWith('#'))
                points.append({values[0].toDouble(), values[1].toDouble()});
        }
        return points;
    }

private slots:
    void init()
    {
        resetProgram();
        m_folder = std::make_unique<QTemporaryDir>();
        modTools::state().iniPath = at(QStringLiteral("scan.ini"));
    }

    void theFileIsByteForByteTheLayout_data()
    {
        QTest::addColumn<qint32>("points");
        QTest::addColumn<QString>("key");
        for (qint32 points : {1, 9, 10, 11, 20, 23, 32001})
            for (const ExportFormats::Format& format : ExportFormats::formats())
                QTest::addRow("%d.%s", points, format.key) << points << QString::fromLatin1(format.key);
    }
    void theFileIsByteForByteTheLayout()
    {
        QFETCH(qint32, points);
        QFETCH(QString, key);
        ScriptedPrompts boxes;
        GoldenScans::put(points);
        GoldenScans::typeOn();
        const QString path = at(QStringLiteral("out"));
        QCOMPARE(ExportFormats::ofKey(key)->writer(scanData(), path), qint16(0));
        QByteArray written = GoldenScans::bytesOf(path);
        if (key == u"sdf") {
            QCOMPARE(written.count(path.toUtf8()), 1);
            written.replace(path.toUtf8(), "@PATH@");
        }
        if (points < 1000) {
            QCOMPARE(written.toPercentEncoding(), GoldenScans::golden(points, key).toPercentEncoding());
        } else {
            const QByteArray sums = GoldenScans::bytesOf(QStringLiteral(SCAN_TEST_DATA "/datafiles/big.sha256"));
            const QByteArray sum = QCryptographicHash::hash(written, QCryptographicHash::Sha256).toHex();
            QVERIFY2(sums.contains(sum + "  " + key.toLatin1() + "\n"), sum.constData());
        }
        QCOMPARE(GoldenScans::filesIn(m_folder->path()), QStringList{QStringLiteral("out")});
        QVERIFY(!flags().busy && !flags().dataSaved);
        QCOMPARE(frontPanel().panel(1), QString());
        QCOMPARE(frontPanel().pointer(), FrontPanel::Pointer::Default);
    }

    void theProgramShowsThatItWrites()
    {
        for (const ExportFormats::Format& format : ExportFormats::formats()) {
            GoldenScans::put(9);
            QStringList shown;
            bool busy = false;
            bool hourglass = false;
            const auto watch = connect(&frontPanel(), &FrontPanel::panelChanged, this, [&](int number, const QString& text) {
                if (number == 1) {
                    shown << text;
                    busy = busy || flags().busy;
                    hourglass = hourglass || frontPanel().pointer() == FrontPanel::Pointer::Hourglass;
                }
            });
            format.writer(scanData(), at(QStringLiteral("x")));
            disconnect(watch);
            QCOMPARE(shown, (QStringList{QStringLiteral("Writing file ") + at(QStringLiteral("x")) + QStringLiteral("..."), QString()}));
            QVERIFY(busy && hourglass);
        }
    }

    void countsThatNobodyCountedAreSaidToBeSo()
    {
        for (const ExportFormats::Format& format : ExportFormats::formats()) {
            GoldenScans::put(9);
            scanData().simulated = true;
            QCOMPARE(format.writer(scanData(), at(QStringLiteral("x"))), qint16(0));
            QCOMPARE(frontPanel().panel(1), QStringLiteral("Saved, simulated counts: ") + at(QStringLiteral("x")));
        }
        // Not of a file that could not be written.
        ScriptedPrompts boxes;
        boxes.expect(QStringLiteral("File creation"), {});
        QVERIFY(ExportFormats::formats().first().writer(scanData(), at(QStringLiteral("no/where"))) != 0);
        QCOMPARE(frontPanel().panel(1), QString());
    }

    void angleAndCountComeBackFromAnIndependentReader_data()
    {
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("type");
        QTest::addColumn<qint32>("points");
        // The reader takes UXD without its vendor's count keyword as two columns of text.
        QTest::newRow("ASCII XY") << QStringLiteral("ascii-xy") << QStringLiteral("text") << 23;
        QTest::newRow("ASCII XY, whole scan") << QStringLiteral("ascii-xy") << QStringLiteral("text") << 32001;
        QTest::newRow("UXD") << QStringLiteral("uxd") << QStringLiteral("text") << 32001;
    }
    void angleAndCountComeBackFromAnIndependentReader()
    {
        QFETCH(QString, key);
        QFETCH(QString, type);
        QFETCH(qint32, points);
        GoldenScans::put(points);
        const bool uxd = key == u"uxd";
        if (uxd) // counts of nine digits and more run into the angle
            for (qint32 i = 1; i <= 11; ++i)
                scanData().setPoint(i, scanData().angle(i), i * 1000);
        const QString path = at(QStringLiteral("out.txt"));
        QCOMPARE(ExportFormats::ofKey(key)->writer(scanData(), path), qint16(0));
        const auto read = readBack(path, type);
        QCOMPARE(read.size(), points);
        for (qint32 i = 1; i <= points; ++i) {
            QVERIFY2(std::abs(read[i - 1].first - scanData().angle(i)) < 6e-5, qPrintable(QString::number(i)));
            QVERIFY2(std::abs(read[i - 1].second - scanData().count(i)) <= scanData().count(i) * 1e-5, qPrintable(QString::number(i)));
        }
    }

    void rieticaFillsTheLastLineWithTens()
    {
        GoldenScans::put(23);
        CreateRieticaFile(scanData(), at(QStringLiteral("r")));
        const QByteArrayList lines = GoldenScans::bytesOf(at(QStringLiteral("r"))).split('\n');
        QCOMPARE(lines.size(), 5);
        QCOMPARE(lines[3].count("     1. "), 7);
        GoldenScans::put(20);
        CreateRieticaFile(scanData(), at(QStringLiteral("r")));
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("r"))).split('\n')[2].count("     1. "), 10);
    }

    void aCountOfZeroIsRaisedOnlyWhereTheFormatWantsIt()
    {
        GoldenScans::put(1);
        const auto text = [this](ExportFormats::Writer writer) {
            writer(scanData(), at(QStringLiteral("z")));
            return GoldenScans::bytesOf(at(QStringLiteral("z")));
        };
        QVERIFY(text(CreateRieticaFile).contains("\r\n       1     1. "));
        QVERIFY(text(CreateProFile).endsWith("\r\n       1\r\n"));
        QVERIFY(text(CreateFort4File).contains("\r\n     1.      1. "));
        QVERIFY(text(CreateUXDFile).endsWith(" 10.0000        0\r\n"));
        QVERIFY(text(CreateAsciiXYFile).endsWith("10  0\r\n"));
    }

    void asciiYIsOneLineWhateverTheScan()
    {
        GoldenScans::put(32001);
        scanData().sample = QStringLiteral("  Corundum 1 ");
        CreateAsciiYFile(scanData(), at(QStringLiteral("y.prn")));
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("y.prn"))), QByteArray("sample: Corundum 1\r\n"));
    }

    void countsBeyondEveryWidthAreSafe()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        scanData().setPoint(3, 10.04, 1e15);
        scanData().setPoint(4, 10.06, -5);
        scanData().setPoint(5, 10.08, 1.5);
        CreateAsciiXYFile(scanData(), at(QStringLiteral("a")));
        QVERIFY(GoldenScans::bytesOf(at(QStringLiteral("a"))).contains("10.04  1E+15\r\n10.06 -5\r\n10.08  1.5\r\n"));
        CreateRieticaFile(scanData(), at(QStringLiteral("a")));
        QVERIFY(GoldenScans::bytesOf(at(QStringLiteral("a"))).contains("10000000   1E+15      -4     2.5 1000000"));
        boxes.expect(QStringLiteral("STOE file creation"), QStringLiteral("Error\n[6]\n[Overflow]"));
        QCOMPARE(CreateSTOEFile(scanData(), at(QStringLiteral("s"))), qint16(6));
        QVERIFY(!QFile::exists(at(QStringLiteral("s"))));
    }

    void stoeFieldsStandAtTheirPlaces()
    {
        GoldenScans::put(23);
        CreateSTOEFile(scanData(), at(QStringLiteral("s.raw")));
        const QByteArray raw = GoldenScans::bytesOf(at(QStringLiteral("s.raw")));
        const auto u16 = [&](qsizetype where) { return qFromLittleEndian<quint16>(raw.constData() + where); };
        const auto u32 = [&](qsizetype where) { return qFromLittleEndian<quint32>(raw.constData() + where); };
        const auto f32 = [&](qsizetype where) { return qFromLittleEndian<float>(raw.constData() + where); };
        QCOMPARE(raw.size(), 6 * 512);
        QVERIFY(raw.startsWith("RAW_1.06Powdat"));
        QCOMPARE(raw.mid(0x20, 20), QByteArray("Quartz\xe4\0first line\0\0", 20));
        QCOMPARE(u16(0x1D2), quint16(24));
        QCOMPARE(u16(0x1DC), quint16(6));
        QCOMPARE(f32(0x23C), 995.0F);
        QCOMPARE(f32(0x240), 1006.0F);
        QCOMPARE(u16(0x822), quint16(23));
        QCOMPARE(f32(0x830), 497.5F);
        QCOMPARE(f32(0x844), 12.0F);
        QCOMPARE(u32(0x878), 0U);
        QCOMPARE(u32(0x87C), 2147483647U);
        QCOMPARE(raw.mid(0x9F8, 8), QByteArray("RAWDAT\0\0", 8));
        for (qint32 i = 1; i <= 23; ++i)
            QCOMPARE(double(u32(0xA00 + 4 * (i - 1))), scanData().count(i));
    }

    void stoeLongNamesStayInTheirField()
    {
        GoldenScans::put(9);
        scanData().sample = QString(500, u'n');
        scanData().comment = QString(500, u'c');
        CreateSTOEFile(scanData(), at(QStringLiteral("s.raw")));
        const QByteArray raw = GoldenScans::bytesOf(at(QStringLiteral("s.raw")));
        QCOMPARE(raw.size(), 6 * 512);
        QCOMPARE(raw.mid(0x12E, 0x156 - 0x12E), QByteArray(0x156 - 0x12E, '\0'));
        scanData().begin = {};
        CreateSTOEFile(scanData(), at(QStringLiteral("s.raw")));
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("s.raw"))).mid(0x10, 16), QByteArray(16, '\0'));
    }

    void stoeTakes65534PointsAndNotOneMore()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        scanData().resize(65534);
        QCOMPARE(CreateSTOEFile(scanData(), at(QStringLiteral("s.raw"))), qint16(0));
        const QByteArray whole = GoldenScans::bytesOf(at(QStringLiteral("s.raw")));
        QCOMPARE(whole.size(), (5 + 512) * 512);
        scanData().resize(65535);
        boxes.expect(QStringLiteral("STOE file creation"), QStringLiteral("Error\n[6]\n[Overflow]")).withIcon(Prompts::Icon::Critical);
        QCOMPARE(CreateSTOEFile(scanData(), at(QStringLiteral("s.raw"))), qint16(6));
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("s.raw"))), whole);
    }

    void theSaveDialogOffersAllFormats()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        configuration().general.workDir = m_folder->path() + u'/';
        boxes.expectSave(QStringLiteral("Save data"), QString());
        modFile::SaveAs();
        QCOMPARE(boxes.fileDialogs.first().filter, QStringLiteral("ZELKO Scan data(*.sdf)|*.sdf|Rietica (*.dat)|*.dat|Siemens (*.uxd) "
                                                                  "3.0.0.8|*.uxd|ASCII Y (*.prn)|*.prn|ASCII XY (*.asc)|*.asc|"
                                                                  "Wyriet FORT4|fort4|Stoe (*.raw) 1.06)|*.raw|PRO (*.pro) 1.06)|*.pro"));
        QVERIFY(boxes.fileDialogs.first().overwritePrompt);
        QCOMPARE(boxes.fileDialogs.first().directory, m_folder->path() + u'/');
        QVERIFY(GoldenScans::filesIn(m_folder->path()).isEmpty());
    }

    void theChosenFilterDecidesTheFormat_data()
    {
        QTest::addColumn<int>("index");
        QTest::addColumn<QString>("chosen");
        QTest::addColumn<QString>("written");
        QTest::addColumn<QString>("key");
        const auto row = [](int index, const char* chosen, const char* written, const char* key) {
            QTest::addRow("%d %s", index, chosen)
                << index << QString::fromLatin1(chosen) << QString::fromLatin1(written) << QString::fromLatin1(key);
        };
        row(1, "scan1.sdf", "scan1.sdf", "sdf");
        row(2, "scan1.dat", "scan1.dat", "rietica");
        row(3, "scan1", "scan1", "uxd");
        row(4, "scan1.prn", "scan1.prn", "ascii-y");
        row(5, "scan1.asc", "scan1.asc", "ascii-xy");
        row(6, "scan1", "scan1.fort4", "fort4");
        row(6, "scan1.fort4", "scan1.fort4", "fort4");
        row(6, "scan1.FORT4 ", "scan1.FORT4 ", "fort4");
        row(7, "scan1.raw", "scan1.raw", "stoe");
        row(8, "scan1.pro", "scan1.pro", "pro");
    }
    void theChosenFilterDecidesTheFormat()
    {
        QFETCH(int, index);
        QFETCH(QString, chosen);
        QFETCH(QString, written);
        QFETCH(QString, key);
        ScriptedPrompts boxes;
        GoldenScans::put(11);
        flags().dataPresent = true;
        QVERIFY(QDir(m_folder->path()).mkdir(QStringLiteral("new")));
        boxes.expectSave(QStringLiteral("Save data"), at(QStringLiteral("new/") + chosen), index);
        modFile::SaveAs();
        QCOMPARE(GoldenScans::filesIn(at(QStringLiteral("new"))), QStringList{written});
        QByteArray bytes = GoldenScans::bytesOf(at(QStringLiteral("new/") + written));
        if (index == 1)
            bytes.replace(at(QStringLiteral("new/") + written).toUtf8(), "@PATH@");
        QCOMPARE(bytes, GoldenScans::golden(11, key));
        QCOMPARE(flags().dataSaved, index == 1);
        QCOMPARE(frontPanel().text(Field::txtWorkDir), at(QStringLiteral("new/")));
        QCOMPARE(configuration().general.workDir, at(QStringLiteral("new/")));
        QCOMPARE(modFile::state().fileName, chosen);
        QVERIFY(GoldenScans::bytesOf(modTools::state().iniPath).contains("WorkDir=" + at(QStringLiteral("new/")).toUtf8()));
    }

    void whatIsTypedBeforeTheScanIsSavedIsWritten()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        GoldenScans::typeOn();
        boxes.expectSave(QStringLiteral("Save data"), at(QStringLiteral("x.sdf")), 1);
        modFile::SaveAs();
        QCOMPARE(boxes.fileDialogs.first().fileName, QStringLiteral("Next.sdf"));
        const QByteArrayList lines = GoldenScans::bytesOf(at(QStringLiteral("x.sdf"))).split('\n');
        QCOMPARE(lines[3], QByteArray("Next\r"));
        QCOMPARE(lines[6], QByteArray("Mar 05. 2024 14:07\r"));
        QCOMPARE(lines[9], QByteArray("/*<beginc>of the next scan<endc>*/\r"));
    }

    void aNameThatTheProgramCompletedReplacesNothingUnasked()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        GoldenScans::write(at(QStringLiteral("scan1.fort4")), "mine");
        boxes.expectSave(QStringLiteral("Save data"), at(QStringLiteral("scan1")), 6);
        boxes
            .expect(QStringLiteral("Save data"),
                    u'\'' + at(QStringLiteral("scan1.fort4")) + QStringLiteral("' already exists.\nDo you want to replace it?"),
                    Prompts::Button::No)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withIcon(Prompts::Icon::Exclamation)
            .withAnswers(Prompts::Button::Yes, Prompts::Button::No, Prompts::Button::No);
        modFile::SaveAs();
        QCOMPARE(GoldenScans::bytesOf(at(QStringLiteral("scan1.fort4"))), QByteArray("mine"));
    }

    void writingIsLoggedWhenTheLogIsOn()
    {
        ScriptedPrompts boxes;
        const AppLog log;
        GoldenScans::put(9);
        const auto saveAll = [&] {
            for (int filter = 1; filter <= ExportFormats::formats().size(); ++filter) {
                boxes.expectSave(QStringLiteral("Save data"), at(QStringLiteral("all")) + QString::number(filter), filter);
                modFile::SaveAs();
                QVERIFY(boxes.allShown());
            }
        };
        saveAll();
        QCOMPARE(log.text(), QString());
        QVERIFY(QDir(m_folder->path()).removeRecursively() && QDir().mkpath(m_folder->path()));
        flags().log = true;
        modTools::state().iniPath = at(QStringLiteral("none/scan.ini"));
        saveAll();
        QStringList lines = log.text().split(QStringLiteral("\r\n"), Qt::SkipEmptyParts);
        QCOMPARE(lines.removeAll(QStringLiteral("WorkDir not written to ") + at(QStringLiteral("none/scan.ini"))),
                 ExportFormats::formats().size());
        for (const char* line : {"CreateZELKOFile()", "CreateUXDFile()", "CreateSTOEFile()"})
            QCOMPARE(lines.removeAll(QString::fromLatin1(line)), 1);
        QCOMPARE(lines, QStringList());
        flags().log = false;
        const QString before = log.text();
        boxes.expectSave(QStringLiteral("Save data"), at(QStringLiteral("last")), 1);
        modFile::SaveAs(); // scan.ini cannot be written this time, too
        QCOMPARE(log.text(), before);
    }

    void aNameWithoutAFileIsReportedByTheDispatch()
    {
        ScriptedPrompts boxes;
        GoldenScans::put(9);
        boxes.expectSave(QStringLiteral("Save data"), m_folder->path() + u'/', 2);
        boxes.expect(QStringLiteral("Save data"), QStringLiteral("Error # 52 caused by SaveAs()\nBad file name or number"));
        modFile::SaveAs();
        QVERIFY(GoldenScans::filesIn(m_folder->path()).isEmpty());
    }

    void theShortWaysToANumberGiveTheSameDigits()
    {
        QRandomGenerator random(20240305);
        const auto check = [](double value) {
            const auto same = [value](const NumberBytes::Text& bytes, const QString& text) {
                const QByteArray got(bytes.data(), bytes.size());
                if (got != text.toLatin1())
                    QTest::qFail(qPrintable(QStringLiteral("%1: %2 and not %3").arg(value, 0, 'g', 17).arg(QString::fromLatin1(got), text)),
                                 __FILE__, __LINE__);
            };
            same(NumberBytes::General(value), NumberText::General(value));
            same(NumberBytes::Print(value), NumberText::Print(value));
            for (int decimals : {1, 3, 4})
                same(NumberBytes::Fixed(value, decimals), NumberText::Fixed(value, decimals));
        };
        for (double value : {0.0,
                             -0.0,
                             1.0,
                             -1.0,
                             0.5,
                             0.02,
                             -0.02,
                             0.00005,
                             0.0001,
                             2.0005,
                             9.9999999999999982,
                             9.99995,
                             0.99949999999999994,
                             999999999999999.0,
                             1e15,
                             1e15 - 0.5,
                             1e-7,
                             123456789.12345678,
                             -0.0004,
                             1e300,
                             4.9e-324})
            check(value);
        for (int i = 0; i < 200000; ++i) {
            const double start = random.bounded(180000) / 1000.0;
            check(start + random.bounded(32000) * (random.bounded(1, 2000) / 10000.0));
            if (i % 10 == 0)
                check((random.generateDouble() - 0.5) * std::pow(10.0, random.bounded(-20, 20)));
        }
    }
};

QTEST_GUILESS_MAIN(tst_exports)
#include "tst_exports.moc"
