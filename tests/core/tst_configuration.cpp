// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/modTools.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <limits>

namespace {
QString unusableDirectory;

bool isUsable(const QString& directory)
{
    return directory != unusableDirectory;
}
} // namespace

class TestConfiguration : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_folder;

    QByteArray fileBytes(const char* name) const
    {
        QFile file(m_folder->filePath(QString::fromLatin1(name)));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(missing)");
    }
    void put(const QByteArray& ini) const
    {
        QFile file(modTools::state().iniPath);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(ini), ini.size());
    }
    static void readAll()
    {
        Configuration& now = configuration();
        now.readGeneral(isUsable);
        now.readSmc();
        now.readLtcLine();
        now.readLtcLimits();
        now.readHtc();
        now.readLaser();
        now.readGenerator();
        flags().goniometerType = now.readGoniometerType();
    }
    /// The log with the program directory written as "DIR" and the separator as "/".
    QByteArray log() const
    {
        QString text = QString::fromUtf8(fileBytes("app.log"));
        text.replace(m_folder->path(), u"DIR"_qs).replace(u'\\', u'/');
        return text.toUtf8().replace("\r\n", "\n");
    }

private slots:
    void init()
    {
        resetProgram();
        unusableDirectory = u"unusable"_qs;
        m_folder = std::make_unique<QTemporaryDir>();
        modTools::state().programDirectory = m_folder->path();
        modTools::state().iniPath = m_folder->filePath(u"scan.ini"_qs);
        flags().log = true;
    }

    void everyKeyHasItsDefaultAndItsLineInTheLog()
    {
        readAll();
        QCOMPARE(
            log(),
            "[General]\nWorkDir=DIR\nScanMode=silent\nProgramPath=DIR\nThetaMin=0\nThetaMax=180\nScanStart=0\nScanStop=180\nScanStep=0.01\n"
            "ScanSpeed=1500\nSlewSpeed=4000\nWorkDir=DIR\nFileName=unnamed\nCounterTime=0.1\n"
            "DelaySleep=1\nAutoSave=1\nTimeUnit=0\nShowCommunication=0\n"
            "[SMC]\nSerialPort=1\nSerialDevice=\nSettings=9600,N,8,1\nTxDelay=0.1\nRxDelay=0.1\nMCRxTimeout=2\n"
            "[LTC]\nLTC=0\nModel=emu\nSerialPort=1\nSerialDevice=\nSettings=9600,o,7,1\nRxTimeout=1.5\nTxDelay=0.5\nRxDelay=0\n"
            "SICLInterfaceName=hpib7\nGPIBType=hp\nGPIBDeviceAddress=0\nLS330_DEFAULT_PID=300=R3P300I50D0\nLS331_DEFAULT_PID=300="
            "R3P300I50D0\n"
            "DRC81_DEFAULT_PID=300=R5P40I01D10\nDRC91_DEFAULT_PID=300=R5P40I01D10\n"
            "TMax=300\nTMin=8\nMinQueries=10\nVerySmallWindow=0.25\nSmallWindow=1\nLargeWindow=5\n"
            "gbLTCResetAfterTempRun=0\ngbLTCCoolLogInterval=30\nLongestWait=0\n"
            "[HTC]\nHTC=0\nPIDFile=htc.pid\nHTC_DEFAULT_PID=900=P71I8D2\nTMin=20\nTMax=1500\nCalibration=0\nCalibrationOffset="
            "0\nCalibrationFactor=1\nLongestWait=0\n"
            "[Laser]\nLaser=0\nCurrentMode=0\nCurrentOffset=0\nCurrentPerDegree=0.002\nMaxCurrent=2.5\nTMin=20\nTMax=1200\nCheckRounds=3\n"
            "StabilizationDelay=60\n"
            "[Generator]\nRemote=0\nSerialPort=2\nSerialDevice=\nSettings=9600,n,8,1\nTxDelay=0.1\nModel=\nShutter=0\nMaxCurrent="
            "40\nIdleCurrent=5\n"
            "MeasCurrent=30\nMaxVoltage=40\nIdleVoltage=20\nMeasVoltage=40\nReducePowerOnIdle=0\nReducePowerOnIdleDelay=15\n"
            "GeneratorPowerSettlingTime=0\ngfGeneratorRemoteControl=0\ngfShutterRemoteControl=0\n"
            "GoniometerType=guinier\n");
        QCOMPARE(fileBytes("scan.ini"), "(missing)"); // reading writes nothing

        const Configuration& now = configuration();
        QCOMPARE(now.general.workDir, m_folder->path());
        QCOMPARE(now.general.programPath, m_folder->path() + QDir::separator());
        QCOMPARE(now.general.scanStop, 180.0);
        QCOMPARE(now.general.scanStep, 0.01);
        QCOMPARE(now.general.counterTime, 0.1);
        QCOMPARE(now.general.scanSpeed, 1500);
        QCOMPARE(now.general.slewSpeed, 4000);
        QVERIFY(now.general.autoSave && !now.general.timeUnitMinutes);
        QCOMPARE(flags().scanMode, 1);
        QVERIFY(!flags().showCommunication);
        QCOMPARE(now.smc.rxTimeout, 2.0F);
        QCOMPARE(now.smc.txDelay, 0.1F);
        QCOMPARE(now.ltc.modelCode, 4);
        QCOMPARE(now.ltc.modelName, u"LS331");
        QCOMPARE(now.ltc.logInterval, 30);
        QCOMPARE(now.ltc.longestWait, 0.0);
        QCOMPARE(now.htc.tMax, 1500);
        QCOMPARE(now.laser.maxCurrent, 2.5);
        QCOMPARE(now.generator.line.serialPort, 2);
        QCOMPARE(now.generator.modelCode, 0);
        QCOMPARE(flags().goniometerType, 0);
    }

    void everyKeyIsTakenFromTheFile()
    {
        put("[General]\nWorkDir=/data\nScanMode= ONLINE "
            "\nProgramPath=/opt/scan\nThetaMin=5\nThetaMax=100,5\nScanStart=10,5\nScanStop=90.25\nScanStep=0,02\n"
            "ScanSpeed=1600.5\nSlewSpeed=4001,5\nFileName=quartz\nCounterTime=2,5\nDelaySleep=1\nAutoSave=0\nTimeUnit=1\nShowCommunication="
            "5\nGoniometerType=T2T\n"
            "[smc]\nSerialPort=3\nSerialDevice=/dev/ttyUSB0\nSettings=4800,e,7,2\nTxDelay=,2\nRxDelay=0.3\nMCRxTimeout=4,5\n"
            "[ltc]\nLTC=1\nModel=DRC\nSerialPort=4\nSerialDevice=tcp:host:4001\nRxTimeout=2\nTxDelay=0.25\nRxDelay=0.05\nSICLInterfaceName="
            "gpib0\n"
            "GPIBType=ni\nGPIBDeviceAddress=12\nLS330_DEFAULT_PID=a\nLS331_DEFAULT_PID=b\nDRC81_DEFAULT_PID=c\nDRC91_DEFAULT_PID=d\nTMax="
            "310\nTMin=9\nMinQueries=12.5\n"
            "VerySmallWindow=,5\nSmallWindow=2\nLargeWindow=6\nResetAfterTempRun=2\nLogInterval=10\nLongestWait=12,5\n"
            "[HTC]\nHTC=1\nPIDFile=x.pid\nHTC_DEFAULT_PID=1=P2\nTMin=30\nTMax=1000\nCalibration=1\nCalibrationOffset=-1,"
            "5\nCalibrationFactor=1.02\nLongestWait=3\n"
            "[Laser]\nLaser=1\nCurrentMode=1\nCurrentOffset=.1\nCurrentPerDegree=0,003\nMaxCurrent=3\nTMin=25\nTMax=900\nCheckRounds="
            "5\nStabilizationDelay=30\n"
            "[Generator]\nRemote=-1\nSerialPort=5\nSerialDevice=/dev/"
            "ttyS9\nSettings=1200,n,8,1\nTxDelay=0,2\nModel=Seifert\nShutter=2\nMaxCurrent=50\nIdleCurrent=6\n"
            "MeasCurrent=31\nMaxVoltage=60\nIdleVoltage=21\nMeasVoltage=41\nReducePowerOnIdle=1\nReducePowerOnIdleDelay=20."
            "5\nGeneratorPowerSettlingTime=7.5\n");
        readAll();
        QCOMPARE(
            log(),
            "[General]\nWorkDir=/data\nScanMode=online\nProgramPath=/opt/"
            "scan\nThetaMin=5\nThetaMax=100.5\nScanStart=10.5\nScanStop=90.25\nScanStep=0.02\n"
            "ScanSpeed=1600\nSlewSpeed=4002\nWorkDir=/"
            "data\nFileName=quartz\nCounterTime=2.5\nDelaySleep=1\nAutoSave=0\nTimeUnit=1\nShowCommunication=5\n"
            "[SMC]\nSerialPort=3\nSerialDevice=/dev/ttyUSB0\nSettings=4800,e,7,2\nTxDelay=0.2\nRxDelay=0.3\nMCRxTimeout=4.5\n"
            "[LTC]\nLTC=1\nModel=drc\nSerialPort=4\nSerialDevice=tcp:host:4001\nSettings=9600,n,8,1\nRxTimeout=2\nTxDelay=0.25\nRxDelay=0."
            "05\n"
            "SICLInterfaceName=gpib0\nGPIBType=ni\nGPIBDeviceAddress=12\nLS330_DEFAULT_PID=a\nLS331_DEFAULT_PID=b\nDRC81_DEFAULT_PID=c\n"
            "DRC91_DEFAULT_PID=d\nTMax=310\nTMin=9\nMinQueries=12\nVerySmallWindow=0.5\nSmallWindow=2\nLargeWindow=6\n"
            "gbLTCResetAfterTempRun=-1\ngbLTCCoolLogInterval=10\nLongestWait=12.5\n"
            "[HTC]\nHTC=1\nPIDFile=x.pid\nHTC_DEFAULT_PID=1=P2\nTMin=30\nTMax=1000\nCalibration=1\nCalibrationOffset=-1."
            "5\nCalibrationFactor=1.02\nLongestWait=3\n"
            "[Laser]\nLaser=1\nCurrentMode=1\nCurrentOffset=0.1\nCurrentPerDegree=0.003\nMaxCurrent=3\nTMin=25\nTMax=900\nCheckRounds=5\n"
            "StabilizationDelay=30\n"
            "[Generator]\nRemote=-1\nSerialPort=5\nSerialDevice=/dev/"
            "ttyS9\nSettings=1200,n,8,1\nTxDelay=0.2\ngiGeneratorModel=SEIFERT3000\nShutter=2\nMaxCurrent=50\n"
            "IdleCurrent=6\nMeasCurrent=31\nMaxVoltage=60\nIdleVoltage=21\nMeasVoltage=41\nReducePowerOnIdle=1\nReducePowerOnIdleDelay=20\n"
            "GeneratorPowerSettlingTime=8\ngfGeneratorRemoteControl=-1\ngfShutterRemoteControl=-1\n"
            "GoniometerType=t2t\n");
        const Configuration& now = configuration();
        QCOMPARE(now.general.workDir, u"/data");
        QCOMPARE(now.general.programPath, u"/opt/scan"_qs + QDir::separator());
        QCOMPARE(now.general.thetaMin, 5.0);
        QCOMPARE(now.general.thetaMax, 100.5);
        QCOMPARE(now.general.scanStart, 10.5);
        QCOMPARE(now.general.scanStop, 90.25);
        QCOMPARE(now.general.scanStep, 0.02);
        QCOMPARE(now.general.scanSpeed, 1600); // 1600.5: ties to even
        QCOMPARE(now.general.slewSpeed, 4002);
        QCOMPARE(now.general.fileName, u"quartz");
        QCOMPARE(now.general.counterTime, 2.5);
        QCOMPARE(now.general.delaySleep, 1);
        QVERIFY(!now.general.autoSave && now.general.timeUnitMinutes);
        QCOMPARE(flags().scanMode, 0);
        QVERIFY(flags().showCommunication);
        QCOMPARE(flags().goniometerType, 1);
        QCOMPARE(now.smc.serialPort, 3);
        QCOMPARE(now.smc.name(), u"/dev/ttyUSB0");
        QCOMPARE(now.smc.settings, u"4800,e,7,2");
        QCOMPARE(now.smc.txDelay, 0.2F);
        QCOMPARE(now.smc.rxDelay, 0.3F);
        QCOMPARE(now.smc.rxTimeout, 4.5F);
        QVERIFY(now.ltc.enabled && now.ltc.resetAfterTempRun);
        QCOMPARE(now.ltc.modelCode, 16);
        QCOMPARE(now.ltc.modelName, u"DRC91");
        QCOMPARE(now.ltc.line.settings, u"9600,n,8,1");
        QCOMPARE(now.ltc.gpibDeviceAddress, 12);
        QCOMPARE(now.ltc.gpibType, u"ni");
        QCOMPARE(now.ltc.siclInterfaceName, u"gpib0");
        QCOMPARE((QStringList{now.ltc.ls330DefaultPID, now.ltc.ls331DefaultPID, now.ltc.drc81DefaultPID, now.ltc.drc91DefaultPID}),
                 (QStringList{u"a"_qs, u"b"_qs, u"c"_qs, u"d"_qs}));
        QCOMPARE(now.ltc.tMax, 310);
        QCOMPARE(now.ltc.tMin, 9);
        QCOMPARE(now.ltc.minQueries, 12);
        QCOMPARE(now.ltc.verySmallWindow, 0.5F);
        QCOMPARE(now.ltc.smallWindow, 2.0F);
        QCOMPARE(now.ltc.largeWindow, 6.0F);
        QCOMPARE(now.ltc.logInterval, 10);
        QVERIFY(now.htc.enabled && now.htc.calibration);
        QCOMPARE(now.htc.calibrationOffset, -1.5);
        QCOMPARE(now.htc.calibrationFactor, 1.02);
        QCOMPARE(now.htc.pidFile, u"x.pid");
        QVERIFY(now.laser.enabled && now.laser.currentMode);
        QCOMPARE(now.laser.currentPerDegree, 0.003);
        QCOMPARE(now.laser.stabilizationDelay, 30);
        QVERIFY(now.generator.remote && now.generator.reducePowerOnIdle);
        QCOMPARE(now.generator.modelCode, 1);
        QCOMPARE(now.generator.shutter, 2);
        QCOMPARE(now.generator.reducePowerOnIdleDelay, 20);
        QCOMPARE(now.generator.powerSettlingTime, 8);
        QCOMPARE((QList<qint32>{now.generator.maxCurrent, now.generator.idleCurrent, now.generator.measCurrent, now.generator.maxVoltage,
                                now.generator.idleVoltage, now.generator.measVoltage}),
                 (QList<qint32>{50, 6, 31, 60, 21, 41}));
    }

    void startAndStopDefaultToTheLimits()
    {
        put("[General]\nThetaMin=-5,5\nThetaMax=100\n");
        configuration().readGeneral(isUsable);
        QCOMPARE(configuration().general.scanStart, -5.5);
        QCOMPARE(configuration().general.scanStop, 100.0);
    }

    void nonsenseReadsAsZeroOrIsHeldAtTheEnd()
    {
        put("[General]\nCounterTime=abc\nScanStep=\nScanSpeed=1e99\nSlewSpeed=-1e99\nThetaMin=1e999\nDelaySleep=-5\nTimeUnit=2\nScanMode="
            "fast\n"
            "[smc]\nSerialPort=abc\nTxDelay=1e300\nMCRxTimeout=x\n[LTC]\nLTC=yes\nLogInterval=60\nMinQueries=many\nTMax=hot\n");
        readAll();
        const Configuration& now = configuration();
        QCOMPARE(now.general.counterTime, 0.0);
        QCOMPARE(now.general.scanStep, 0.0);
        QCOMPARE(now.general.scanSpeed, 2147483647);
        QCOMPARE(now.general.slewSpeed, -2147483647 - 1);
        QCOMPARE(now.general.thetaMin, std::numeric_limits<double>::max());
        QCOMPARE(now.general.delaySleep, -5); // rests, as every number but 0
        QVERIFY(!now.general.timeUnitMinutes);
        QCOMPARE(flags().scanMode, 1);
        QCOMPARE(now.smc.serialPort, 0);
        QCOMPARE(now.smc.txDelay, std::numeric_limits<float>::max());
        QCOMPARE(now.smc.rxTimeout, 0.0F);
        QVERIFY(!now.ltc.enabled);
        QCOMPARE(now.ltc.logInterval, 30); // at most 30 s
        QCOMPARE(now.ltc.minQueries, 0);
        QCOMPARE(now.ltc.tMax, 0);
    }

    void theModelSettlesCodeNameAndSettings_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("settings");
        const auto row = [](const char* model, int code, const char* name, const char* settings) {
            QTest::newRow(model) << QString::fromLatin1(model) << code << QString::fromLatin1(name) << QString::fromLatin1(settings);
        };
        row("drc81", 32, "DRC81", "9600,n,8,1");
        row("DRC", 16, "DRC91", "9600,n,8,1");
        row("Drc91", 16, "DRC91", "9600,n,8,1");
        row("330", 1, "LS330", "1200,o,7,1");
        row("LS330", 1, "LS330", "1200,o,7,1");
        row("emu", 4, "LS331", "9600,o,7,1");
        row("331emu330", 4, "LS331", "9600,o,7,1");
        row("ls331emuls330", 4, "LS331", "9600,o,7,1");
        row("331", 2, "LS331", "9600,o,7,1");
        row("LS331", 2, "LS331", "9600,o,7,1");
        row("LS340", 4, "LS331", "9600,o,7,1"); // not known: as before
    }
    void theModelSettlesCodeNameAndSettings()
    {
        QFETCH(QString, model);
        put("[LTC]\nModel=" + model.toLatin1() + "\n");
        configuration().readLtcLine();
        QTEST(configuration().ltc.modelCode, "code");
        QTEST(configuration().ltc.modelName, "name");
        QTEST(configuration().ltc.line.settings, "settings");
        QVERIFY(log().contains("\nModel=" + model.toLower().toLatin1() + "\n"));
    }

    void anUnknownModelLeavesTheCodeAsItWas()
    {
        configuration().ltc.modelCode = 32;
        configuration().ltc.modelName = u"DRC81"_qs;
        put("[LTC]\nModel=unknown\n");
        configuration().readLtcLine();
        QCOMPARE(configuration().ltc.modelCode, 32);
        QCOMPARE(configuration().ltc.modelName, u"DRC81");
        QCOMPARE(configuration().ltc.line.settings, u"9600,n,8,1");
    }

    void theTemperatureLineStandsInTheSecondaryLogToo()
    {
        TestClock clock(5);
        modTools::state().secondaryLog = true;
        readAll();
        QCOMPARE(fileBytes("app_i.log"),
                 "000000005 giLTCCOMPort=1\r\n000000005 gstrLTCCOMSettings=9600,o,7,1\r\n000000005 gsTCRxTimeout=1.5\r\n"
                 "000000005 gsTCTxDelay=0.5\r\n000000005 gsTCRxDelay=0\r\n");
    }

    void generatorModels_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<int>("code");
        QTest::newRow("3000") << u"3000"_qs << 1;
        QTest::newRow("3003") << u"3003"_qs << 1;
        QTest::newRow("seifert") << u"seifert"_qs << 1;
        QTest::newRow("Seifert 3003") << u"Seifert 3003"_qs << 0;
        QTest::newRow("other") << u"other"_qs << 0;
    }
    void generatorModels()
    {
        QFETCH(QString, model);
        QFETCH(int, code);
        put("[Generator]\nModel=" + model.toLatin1() + "\n");
        configuration().readGenerator();
        QCOMPARE(configuration().generator.modelCode, code);
        QVERIFY(log().contains(code == 1 ? QByteArray("giGeneratorModel=SEIFERT3000\n") : "Model=" + model.toLatin1() + "\n"));
    }

    void goniometerTypes_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<int>("type");
        for (const char* theta : {"theta", "t", "t2t", "theta-2-theta", "theta-2theta", "theta2theta", "Theta-2-Theta", "T"})
            QTest::newRow(theta) << QString::fromLatin1(theta) << 1;
        for (const char* guinier : {"Guinier", "guinier", "", "2theta", "theta 2 theta"})
            QTest::addRow("\"%s\"", guinier) << QString::fromLatin1(guinier) << 0;
    }
    void goniometerTypes()
    {
        QFETCH(QString, text);
        put("[General]\nGoniometerType=" + text.toLatin1() + "\n");
        QTEST(configuration().readGoniometerType(), "type");
        QCOMPARE(log(), "GoniometerType=" + text.toLower().toLatin1() + "\n");
    }

    // --- work directory

    void anUnusableWorkDirectoryIsRepairedInTheFile()
    {
        put("; mine\r\n[General]\r\nWorkDir=unusable\r\nFileName=x\r\n");
        configuration().readGeneral(isUsable);
        const QString repaired = m_folder->path() + QDir::separator();
        QCOMPARE(configuration().general.workDir, repaired);
        QCOMPARE(fileBytes("scan.ini"), "; mine\r\n[General]\r\nWorkDir=" + repaired.toUtf8() + "\r\nFileName=x\r\n");
    }

    void anEmptyWorkDirectoryIsRepaired()
    {
        put("[General]\nWorkDir=\n");
        configuration().readGeneral(nullptr);
        QCOMPARE(configuration().general.workDir, m_folder->path() + QDir::separator());
    }

    void aSecondWorkDirectoryKeyIsOfNoUse()
    {
        put("[General]\nWorkDir=/first\nWorkDir=/second\n");
        configuration().readGeneral(isUsable);
        QCOMPARE(configuration().general.workDir, u"/first");
    }

    void aRepairThatCannotBeWrittenHoldsForThisRun()
    {
        QVERIFY(QDir().mkdir(modTools::state().iniPath)); // a directory in the file's place can be neither read nor written
        unusableDirectory = m_folder->path();
        configuration().readGeneral(isUsable);
        QCOMPARE(configuration().general.workDir, m_folder->path() + QDir::separator());
        QCOMPARE(configuration().general.scanStop, 180.0);
    }

    // --- lines

    void aLineIsNamedByItsPortOrItsDevice()
    {
        Configuration::Line line;
        line.serialPort = 12;
        QCOMPARE(line.name(), u"COM12");
        line.serialDevice = u"tcp:lab:4001"_qs;
        QCOMPARE(line.name(), u"tcp:lab:4001");
    }

    void withoutTheLogNothingIsWritten()
    {
        flags().log = false;
        readAll();
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot), QStringList());
    }
};

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_configuration.moc"
