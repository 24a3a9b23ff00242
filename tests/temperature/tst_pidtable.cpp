// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using PIDTable::Kind;
using PIDTable::Values;

class TestPidTable : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_prompts;

    QString path(const QString& name) const { return m_directory->filePath(name); }

    QString write(const QByteArray& bytes, const QString& name = u"test.pid"_s) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly))
            qFatal("cannot write the table");
        file.write(bytes);
        return path(name);
    }

    QString appLog() const { return AppLog::textIn(m_directory->path()); }

    QByteArray read(const QString& name = u"test.pid"_s) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    QString lakeShore() const { return write("25=R2P25I500D0\r\n300=R3P300I50D0\r\n"); }

    static QString text(const Values& values) { return PIDTable::ValuesText(values, Kind::RPID); }

    void expectDefaults(const QString& first, const QString& line)
    {
        m_prompts->expect(u"Attention"_s, first + u"\r\n\r\nDefault values '"_s + line + u"' will be used for the moment."_s);
    }

    void useModel(int code) const { configuration().ltc.modelCode = code; }

private slots:
    void init()
    {
        resetProgram();
        m_directory = std::make_unique<QTemporaryDir>();
        m_clock = std::make_unique<TestClock>();
        m_prompts = std::make_unique<ScriptedPrompts>();
        modTools::state().programDirectory = m_directory->path();
        Configuration& now = configuration();
        now.general.workDir = m_directory->path();
        now.ltc.ls330DefaultPID = u"300=R3P300I50D0"_s;
        now.ltc.ls331DefaultPID = u"300=R3P300I50D0"_s;
        now.ltc.drc81DefaultPID = u"300=R5P40I01D10"_s;
        now.ltc.drc91DefaultPID = u"300=R5P40I01D10"_s;
        now.htc.pidFile = u"htc.pid"_s;
        now.htc.defaultPID = u"900=P71I8D2"_s;
        useModel(modLTC::LakeShore331);
    }

    void cleanup()
    {
        QCOMPARE(AppLog::unwantedIn(m_directory->path()), QStringList());
        QVERIFY(m_prompts->allShown());
        m_prompts.reset();
        m_clock.reset();
    }

    void theFirstLineAtOrAboveTheSetpointWins_data()
    {
        QTest::addColumn<float>("setpoint");
        QTest::addColumn<QString>("expected");
        QTest::newRow("below") << 4.2F << u"R2P25I500D0"_s;
        QTest::newRow("equal") << 25.0F << u"R2P25I500D0"_s;
        QTest::newRow("just above") << 25.01F << u"R3P300I50D0"_s;
        QTest::newRow("the last line") << 300.0F << u"R3P300I50D0"_s;
    }

    void theFirstLineAtOrAboveTheSetpointWins()
    {
        QFETCH(float, setpoint);
        QFETCH(QString, expected);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(lakeShore(), setpoint, &values), qint16(0));
        QCOMPARE(text(values), expected);
    }

    void aSetpointAboveEveryLineTakesTheDefault()
    {
        expectDefaults(u"This file did not contain temperature control parameters for the desired setpoint."_s, u"300=R3P300I50D0"_s);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(lakeShore(), 310, &values), qint16(-1));
        QCOMPARE(text(values), u"R3P300I50D0"_s);
    }

    void lettersOutOfOrderAreRefused()
    {
        const QString file = write("300=P40R5I01D10\r\n");
        m_prompts->expect(u"Attention"_s, u"Invalid RPID-Parameter line in file '"_s + file + u"'!"_s);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(file, 100, &values), qint16(-1));
        QCOMPARE(text(values), u"R3P300I50D0"_s);
    }

    void aDefaultLineThatCannotBeReadGivesWayToTheBuiltInOne_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QString>("line");
        QTest::addColumn<QString>("values");
        QTest::newRow("330") << int(modLTC::LakeShore330) << u"300=R3P300I50D0"_s << u"R3P300I50D0"_s;
        QTest::newRow("331") << int(modLTC::LakeShore331) << u"300=R3P300I50D0"_s << u"R3P300I50D0"_s;
        QTest::newRow("81C") << int(modLTC::DRC81C) << u"300=R5P40I01D10"_s << u"R5P40I1D10"_s;
        QTest::newRow("91CA") << int(modLTC::DRC91CA) << u"300=R5P40I01D10"_s << u"R5P40I1D10"_s;
    }

    void aDefaultLineThatCannotBeReadGivesWayToTheBuiltInOne()
    {
        QFETCH(int, model);
        QFETCH(QString, line);
        QFETCH(QString, values);
        useModel(model);
        flags().log = true;
        Configuration::LTC& ltc = configuration().ltc;
        ltc.ls330DefaultPID = ltc.ls331DefaultPID = ltc.drc81DefaultPID = ltc.drc91DefaultPID = u"300=P40R5I01D10"_s;
        expectDefaults(u"This file did not contain temperature control parameters for the desired setpoint."_s, line);
        Values found;
        QCOMPARE(modLTC::LTCOpenRPID(path(u"none.pid"_s), 310, &found), qint16(-1));
        QCOMPARE(text(found), values);
        QVERIFY(appLog().contains(u"The default line '300=P40R5I01D10' cannot be used, '"_s + line + u"' takes its place.\r\n"_s));
        configuration().htc.defaultPID = u"900=I8P71D2"_s;
        QCOMPARE(modHTC::PIDUse().defaultLine, u"900=P71I8D2"_s);
    }

    void lookingUpIsLogged()
    {
        flags().log = true;
        Values values;
        const QString file = lakeShore();
        modLTC::LTCOpenRPID(file, 77.35F, &values);
        QCOMPARE(appLog(), u"LTCOpenRPID()\r\nLTCOpenRPID(File: "_s + file + u"; Setpoint:77.35; R:3; P:300; I:50; D:0)\r\n"_s);
    }

    void valuesBeyondTheLimitsAreRefused_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<bool>("accepted");
        QTest::newRow("331 range 3") << int(modLTC::LakeShore331) << QByteArray("300=R3P999I999D999") << true;
        QTest::newRow("331 range 4") << int(modLTC::LakeShore331) << QByteArray("300=R4P1I1D1") << false;
        QTest::newRow("331 P") << int(modLTC::LakeShore331) << QByteArray("300=R3P999.5I1D1") << false;
        QTest::newRow("331 negative") << int(modLTC::LakeShore331) << QByteArray("300=R3P-1I1D1") << false;
        QTest::newRow("81C range 5 from a file") << int(modLTC::DRC81C) << QByteArray("300=R5P40I01D10") << true;
        QTest::newRow("91CA range 5") << int(modLTC::DRC91CA) << QByteArray("300=R5P99I99D99") << true;
        QTest::newRow("91CA range 6") << int(modLTC::DRC91CA) << QByteArray("300=R6P40I01D10") << false;
        QTest::newRow("91CA I") << int(modLTC::DRC91CA) << QByteArray("300=R5P40I99.1D10") << false;
    }

    void valuesBeyondTheLimitsAreRefused()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, line);
        QFETCH(bool, accepted);
        useModel(model);
        const QString file = write(line);
        if (!accepted)
            expectDefaults(u"Invalid RPID-Parameter values found in '"_s + file + u"'!"_s, modLTC::RPIDUse().defaultLine);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(file, 100, &values), accepted ? qint16(0) : qint16(-1));
    }

    void theDialogRefusesRange5OfThe81C()
    {
        useModel(modLTC::DRC81C);
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"5"_s), u"The valid R range is 0 ... 4!"_s);
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"4"_s), QString());
        QCOMPARE(modLTC::RPIDFieldMessage('P', u"99,1"_s), u"The valid P range is 0 ... 99.0!"_s);
        QCOMPARE(modLTC::RPIDFieldMessage('I', u"99"_s), QString());
        QCOMPARE(modLTC::RPIDRangeHint(), u"0....4"_s);
        QCOMPARE(modLTC::RPIDValueHint(), u"0....99.0"_s);
        useModel(modLTC::DRC91CA);
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"6"_s), u"The valid R range is 0 ... 5!"_s);
        QCOMPARE(modLTC::RPIDRangeHint(), u"0....5"_s);
        useModel(modLTC::LakeShore330);
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"4"_s), u"The valid R range is 0 ... 3!"_s);
        QCOMPARE(modLTC::RPIDFieldMessage('D', u"1000"_s), u"The valid D range is 0 ... 999!"_s);
        QCOMPARE(modLTC::RPIDValueHint(), u"0....999"_s);
    }

    void theDialogsRefuseWhatIsNoNumber_data()
    {
        QTest::addColumn<QString>("typed");
        for (const char* typed : {"", "  ", "abc", ".", "41.5.2", "4 1", "5x", "5D1", "nan"})
            QTest::newRow(typed) << QString::fromLatin1(typed);
    }

    void theDialogsRefuseWhatIsNoNumber()
    {
        QFETCH(QString, typed);
        QCOMPARE(modLTC::RPIDFieldMessage('P', typed), u"The valid P range is 0 ... 999!"_s);
        QCOMPARE(modLTC::RPIDFieldMessage('R', typed), u"The valid R range is 0 ... 3!"_s);
        QCOMPARE(modHTC::PIDFieldMessage('I', typed), u"The valid I range is 0s ... 5000s!"_s);
        QCOMPARE(modHTC::PIDFieldMessage('P', typed + u"%"_s), u"The valid P range is 0% ... 500%!"_s);
    }

    void aRangeHasNoFraction()
    {
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"2.6"_s), u"The valid R range is 0 ... 3!"_s);
        QCOMPARE(modLTC::RPIDFieldMessage('R', u"2.0"_s), QString());
        QCOMPARE(modLTC::RPIDFieldMessage('P', u" 2,6 "_s), QString());
        QCOMPARE(modLTC::RPIDFieldMessage('I', u".5"_s), QString());
        QCOMPARE(modLTC::RPIDFieldMessage('D', u"5."_s), QString());
    }

    void theHighTemperatureFieldShowsWhatIsSent()
    {
        QCOMPARE(modHTC::PIDFieldText('P', u"41.5"_s), u"42%"_s);
        QCOMPARE(modHTC::PIDFieldText('P', u"42,5 %"_s), u"42%"_s); // ties to even, as they are packed
        QCOMPARE(modHTC::PIDFieldText('D', u"8s"_s), u"8s"_s);
    }

    void oddFilesAreReadWithoutHarm_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<bool>("found");
        QTest::newRow("empty") << QByteArray() << false;
        QTest::newRow("lower case") << QByteArray("300=r3p1i1d1\r\n") << false;
        QTest::newRow("decimal commas") << QByteArray("300,5=R3P1,5I2,5D0,5\n") << true;
        QTest::newRow("other lines between") << QByteArray("# table\r\n\r\n300=R1P1I1D1") << true;
        QTest::newRow("binary") << QByteArray("\0\xff\x01=RPID\0\xfe", 10) << false;
        QTest::newRow("100,000 lines") << QByteArray("1=R1P1I1D1\r\n").repeated(100000) + "301=R2P1I1D1" << true;
    }

    void oddFilesAreReadWithoutHarm()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(bool, found);
        const QString file = write(bytes);
        if (!found)
            expectDefaults(u"This file did not contain temperature control parameters for the desired setpoint."_s, u"300=R3P300I50D0"_s);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(file, 300, &values), found ? qint16(0) : qint16(-1));
        QCOMPARE(read(), bytes);
    }

    void aMissingTableGivesTheDefaultLine()
    {
        expectDefaults(u"This file did not contain temperature control parameters for the desired setpoint."_s, u"300=R3P300I50D0"_s);
        Values values;
        QCOMPARE(modLTC::LTCOpenRPID(path(u"none.pid"_s), 77, &values), qint16(-1));
        QCOMPARE(text(values), u"R3P300I50D0"_s);
        QVERIFY(!QFile::exists(path(u"none.pid"_s)));
    }

    void commaValuesAreReadAsPoints()
    {
        Values values;
        modLTC::LTCOpenRPID(write("300,5=R3P1,5I2,5D0,5\n"), 300.5F, &values);
        QCOMPARE(text(values), u"R3P1.5I2.5D0.5"_s);
    }

    void savingKeepsTheTableSorted_data()
    {
        QTest::addColumn<QByteArray>("before");
        QTest::addColumn<float>("setpoint");
        QTest::addColumn<QByteArray>("after");
        const QByteArray line = "R1P2I3D4\r\n";
        QTest::newRow("between") << QByteArray("25=R2P25I500D0\r\n300=R3P300I50D0\r\n") << 77.35F
                                 << QByteArray("25=R2P25I500D0\r\n77.35=" + line + "300=R3P300I50D0\r\n");
        QTest::newRow("first") << QByteArray("25=R2P25I500D0\r\n") << 4.2F << QByteArray("4.2=" + line + "25=R2P25I500D0\r\n");
        QTest::newRow("last") << QByteArray("25=R2P25I500D0\r\n") << 300.0F << QByteArray("25=R2P25I500D0\r\n300=" + line);
        QTest::newRow("replaced") << QByteArray("25=R2P25I500D0\r\n300=R3P300I50D0\r\n") << 25.0F
                                  << QByteArray("25=" + line + "300=R3P300I50D0\r\n");
        QTest::newRow("an equal line further down in a table that is not sorted")
            << QByteArray("300=R3P300I50D0\r\nnote\r\n25=R2P25I500D0\r\n") << 25.0F
            << QByteArray("25=" + line + "300=R3P300I50D0\r\nnote\r\n");
        QTest::newRow("empty file") << QByteArray() << 25.0F << QByteArray("25=" + line);
        QTest::newRow("a line that does not count stays in its place")
            << QByteArray("note\r\n25=R2P25I500D0\r\n") << 4.0F << QByteArray("note\r\n4=" + line + "25=R2P25I500D0\r\n");
    }

    void savingKeepsTheTableSorted()
    {
        QFETCH(QByteArray, before);
        QFETCH(float, setpoint);
        QFETCH(QByteArray, after);
        const QString file = write(before);
        m_prompts->expect(u"Save data"_s, QString()).withIcon(Prompts::Icon::Information);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(file, setpoint, {1, 2, 3, 4}), qint16(0));
        QCOMPARE(read(), after);
        QVERIFY(!QFile::exists(path(u"@.TMP"_s)));
    }

    void aMissingTableReceivesJustTheLine()
    {
        m_prompts->expect(u"Save data"_s, u"Setpoint: 25\r\n\r\nR: 1\r\nP: 2\r\nI: 3\r\nD: 4\r\nSaving RPID parameter to '"_s +
                                              path(u"new.pid"_s) + u"'."_s);
        modLTC::LTCSaveRPIDParameter(path(u"new.pid"_s), 25, {1, 2, 3, 4});
        QCOMPARE(read(u"new.pid"_s), QByteArray("25=R1P2I3D4\r\n"));
    }

    void withoutAFileTheDialogAsks()
    {
        flags().log = true;
        m_prompts->expectSave(u"Select PID file"_s, path(u"chosen.pid"_s));
        modLTC::LTCSaveRPIDParameter({}, 25, {1, 2, 3, 4});
        QCOMPARE(appLog(), u"About to show dialog window...\r\nLTCSaveRPIDParameter(File: "_s + path(u"chosen.pid"_s) +
                               u"; Setpoint:25; R:1; P:2; I:3; D:4)\r\n"_s);
        QCOMPARE(m_prompts->fileDialogs.value(0).fileName, u"ls331.pid"_s);
        QCOMPARE(m_prompts->fileDialogs.value(0).filter, u"Temperature Control Parameter (*.pid)|*.pid"_s);
        QCOMPARE(read(u"chosen.pid"_s), QByteArray("25=R1P2I3D4\r\n"));
        m_prompts->expectSave(u"Select PID file"_s, QString());
        QCOMPARE(modLTC::LTCSaveRPIDParameter({}, 30, {1, 2, 3, 4}), qint16(-1));
        QCOMPARE(read(u"chosen.pid"_s), QByteArray("25=R1P2I3D4\r\n"));
    }

    void aScratchFileThatCannotBeWrittenLeavesTheTableWhole()
    {
        const QString file = lakeShore();
        QVERIFY(QDir(m_directory->path()).mkdir(u"@.TMP"_s));
        m_prompts->expect(u"Save data"_s, u"Error # 75 caused by LTCSaveRPIDParameter()\r\nPath/File access error"_s)
            .withIcon(Prompts::Icon::Exclamation);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(file, 77, {1, 2, 3, 4}), qint16(-1));
        QCOMPARE(read(), QByteArray("25=R2P25I500D0\r\n300=R3P300I50D0\r\n"));
    }

    void aScratchDirectoryThatIsGoneLeavesTheTableWhole()
    {
        const QString file = lakeShore();
        configuration().general.workDir = path(u"gone"_s);
        m_prompts->expect(u"Save data"_s, QString()).withIcon(Prompts::Icon::Exclamation);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(file, 77, {1, 2, 3, 4}), qint16(-1));
        QCOMPARE(read(), QByteArray("25=R2P25I500D0\r\n300=R3P300I50D0\r\n"));
    }

    void aTableThatCannotBeReplacedStaysWhole()
    {
        // A directory in its place: neither to be read nor to be replaced.
        QVERIFY(QDir(m_directory->path()).mkpath(u"test.pid/inside"_s));
        m_prompts->expect(u"Save data"_s, QString()).withIcon(Prompts::Icon::Exclamation);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(path(u"test.pid"_s), 77, {1, 2, 3, 4}), qint16(-1));
        QVERIFY(QDir(path(u"test.pid/inside"_s)).exists());
        QVERIFY(!QFile::exists(path(u"@.TMP"_s)));
    }

    void aLongTableKeepsEveryLine()
    {
        const QByteArray low = QByteArray("1=R1P1I1D1\r\n").repeated(50000);
        const QByteArray high = QByteArray("300=R3P300I50D0\r\n").repeated(50000);
        const QString file = write(low + high);
        m_prompts->expect(u"Save data"_s, QString()).withIcon(Prompts::Icon::Information);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(file, 77.35F, {1, 2, 3, 4}), qint16(0));
        QVERIFY(read() == low + "77.35=R1P2I3D4\r\n" + high);
    }

    void bytesOfAnyKindSurviveSaving()
    {
        QByteArray strange;
        for (int code = 1; code < 256; ++code)
            if (code != '\r' && code != '\n')
                strange += static_cast<char>(code);
        const QString file = write("note " + strange.remove(0, 1).replace("=", "") + "\r\n25=R2P25I500D0\r\n");
        const QByteArray before = read();
        m_prompts->expect(u"Save data"_s, QString()).withIcon(Prompts::Icon::Information);
        QCOMPARE(modLTC::LTCSaveRPIDParameter(file, 300, {1, 2, 3, 4}), qint16(0));
        QCOMPARE(read(), before + "300=R1P2I3D4\r\n");
    }

    void aMissingTableDisablesAnEnabledControllerAndIsWritten_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QByteArray>("lines");
        const QByteArray lakeShore = "25=R2P25I500D0\r\n300=R3P300I50D0\r\n";
        QTest::newRow("330") << int(modLTC::LakeShore330) << u"ls330.pid"_s << lakeShore;
        QTest::newRow("331") << int(modLTC::LakeShore331) << u"ls331.pid"_s << lakeShore;
        QTest::newRow("331 as 330") << int(modLTC::LakeShore331As330) << u"ls331.pid"_s << lakeShore;
        QTest::newRow("91CA") << int(modLTC::DRC91CA) << u"drc91.pid"_s
                              << QByteArray("4=R4P40I10D15\r\n15=R5P10I10D05\r\n28=R5P10I07D04\r\n35=R5P30I03D15\r\n55=R5P30I01D10\r\n75="
                                            "R5P35I01D10\r\n300=R5P40I01D10\r\n");
        QTest::newRow("81C") << int(modLTC::DRC81C) << u"drc81.pid"_s
                             << QByteArray("4=R3P40I10D15\r\n15=R4P10I10D05\r\n28=R4P10I07D04\r\n35=R4P30I03D15\r\n55=R4P30I01D10\r\n75="
                                           "R4P35I01D10\r\n300=R4P40I01D10\r\n");
    }

    void aMissingTableDisablesAnEnabledControllerAndIsWritten()
    {
        QFETCH(int, model);
        QFETCH(QString, name);
        QFETCH(QByteArray, lines);
        useModel(model);
        flags().ltcEnabled = true;
        m_prompts->expect(u"LTC 330"_s, u"Error while loading PID-parameter file '"_s + QDir::toNativeSeparators(path(name)) +
                                            u"'.\r\nLTC functions will be disabled."_s);
        modLTC::LoadRPIDFile();
        QVERIFY(!flags().ltcEnabled);
        QCOMPARE(read(name), lines);
        flags().ltcEnabled = true;
        modLTC::LoadRPIDFile();
        QVERIFY(flags().ltcEnabled);
    }

    void aBadTableIsNotOverwritten()
    {
        flags().ltcEnabled = true;
        write("no parameters here\r\n", u"ls331.pid"_s);
        m_prompts->expect(u"LTC 330"_s, u"Error while loading PID-parameter file '"_s + QDir::toNativeSeparators(path(u"ls331.pid"_s)) +
                                            u"'.\r\nLTC functions will be disabled."_s);
        modLTC::LoadRPIDFile();
        QVERIFY(!flags().ltcEnabled);
        QCOMPARE(read(u"ls331.pid"_s), QByteArray("no parameters here\r\n"));
    }

    void theHighTemperatureTableIsWrittenForTheNextStart()
    {
        flags().htcEnabled = true;
        flags().ltcEnabled = true;
        m_prompts->expect(u"HTC"_s, u"Error while loading PID-parameter file '"_s + QDir::toNativeSeparators(path(u"htc.pid"_s)) +
                                        u"'.\r\nHTC functions will be disabled."_s);
        modHTC::LoadPIDFile();
        QVERIFY(!flags().htcEnabled && flags().ltcEnabled);
        QCOMPARE(read(u"htc.pid"_s), QByteArray("900=P71I8D2\r\n"));
        flags().htcEnabled = true;
        modHTC::LoadPIDFile();
        QVERIFY(flags().htcEnabled);
        write("300=R3P300\r\n", u"htc.pid"_s);
        m_prompts->expect(u"HTC"_s, QString());
        modHTC::LoadPIDFile();
        QVERIFY(!flags().htcEnabled);
        QCOMPARE(read(u"htc.pid"_s), QByteArray("300=R3P300\r\n"));
    }

    void aDefaultTableThatCannotBeWrittenIsReported()
    {
        // A name that leads nowhere can be neither read nor made.
        if (!QFile::link(path(u"none/ls331.pid"_s), path(u"ls331.pid"_s)))
            QSKIP("no symbolic links here");
        flags().ltcEnabled = true;
        m_prompts->expect(u"LTC 330"_s, QString());
        m_prompts->expect(u"LTC 330"_s, u"Error # 53 caused by WriteDefault()\r\nFile not found"_s).withIcon(Prompts::Icon::Exclamation);
        modLTC::LoadRPIDFile();
        QVERIFY(!flags().ltcEnabled);
    }

    void aDisabledControllerPassesAMissingTableOver()
    {
        modLTC::LoadRPIDFile();
        QVERIFY(!QFile::exists(path(u"ls331.pid"_s)));
    }

    void theHighTemperatureTableHasNoRange()
    {
        Values values;
        QCOMPARE(PIDTable::Look(write("500=P60I10D3\r\n900=P71I8D2\r\n"), 500.5F, modHTC::PIDUse(), &values), qint16(0));
        QCOMPARE(PIDTable::ValuesText(values, Kind::PID), u"P71I8D2"_s);
        const QString file = write("900=P501I8D2\r\n");
        expectDefaults(u"Invalid PID-Parameter values found in '"_s + file + u"'!"_s, u"900=P71I8D2"_s);
        PIDTable::Look(file, 500, modHTC::PIDUse(), &values);
        QCOMPARE(PIDTable::ValuesText(values, Kind::PID), u"P71I8D2"_s);
    }

    void oddTablesOfTheFurnaceGiveTheDefaultLine_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message"); // "%1" is the file; empty: the line is taken
        const QString missing = u"This file did not contain temperature control parameters for the desired setpoint."_s;
        const QString values = u"Invalid PID-Parameter values found in '%1'!"_s;
        QTest::newRow("above every line") << QByteArray("400=P10I20D3\r\n") << missing;
        QTest::newRow("empty") << QByteArray() << missing;
        QTest::newRow("lower case") << QByteArray("900=p10i20d3\r\n") << missing;
        QTest::newRow("no D") << QByteArray("900=P10I20\r\n") << missing;
        QTest::newRow("letters out of order") << QByteArray("900=I20P10D3\r\n") << u"Invalid PID-Parameter line in file '%1'!"_s;
        QTest::newRow("P too high") << QByteArray("900=P500.5I20D3\r\n") << values;
        QTest::newRow("I too high") << QByteArray("900=P10I5001D3\r\n") << values;
        QTest::newRow("D negative") << QByteArray("900=P10I20D-1\r\n") << values;
        QTest::newRow("at the limits") << QByteArray("900=P500I5000D5000\r\n") << QString();
        QTest::newRow("decimal commas") << QByteArray("900,5=P10,5I20D3\r\n") << QString();
    }

    void oddTablesOfTheFurnaceGiveTheDefaultLine()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString file = write(bytes);
        if (message.contains(u"line in file"_s))
            m_prompts->expect(u"Attention"_s, message.arg(file));
        else if (!message.isEmpty())
            expectDefaults(message.contains(u'%') ? message.arg(file) : message, u"900=P71I8D2"_s);
        Values values;
        QCOMPARE(PIDTable::Look(file, 500, modHTC::PIDUse(), &values), message.isEmpty() ? qint16(0) : qint16(-1));
        QCOMPARE(PIDTable::ValuesText(values, Kind::PID) == u"P71I8D2"_s, !message.isEmpty());
        QCOMPARE(read(), bytes);
    }

    void theHighTemperatureDialogNamesRangeAndUnit()
    {
        QCOMPARE(modHTC::PIDFieldMessage('P', u"500%"_s), QString());
        QCOMPARE(modHTC::PIDFieldMessage('P', u"501%"_s), u"The valid P range is 0% ... 500%!"_s);
        QCOMPARE(modHTC::PIDFieldMessage('I', u"5001s"_s), u"The valid I range is 0s ... 5000s!"_s);
        QCOMPARE(modHTC::PIDFieldMessage('D', u"-1"_s), u"The valid D range is 0s ... 5000s!"_s);
    }
};

QTEST_GUILESS_MAIN(TestPidTable)
#include "tst_pidtable.moc"
