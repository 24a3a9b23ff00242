// SPDX-License-Identifier: GPL-3.0-or-later
//
// Start-up and closing: the words of the command line, scan.ini, the order of the devices, captions, what is written back.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "core/startup/modMain.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "serial/modCOM.h"
#include "support/AppLog.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"
#include "temperature/Blower.h"
#include "temperature/Controller.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Field = FrontPanel::Field;

namespace {
const QString lineBreak = QStringLiteral("\r\n");
QStringList order; // what the table's rows were asked, in order
bool answerOfHtc = true;

Temperature::Controller& row(const char* name)
{
    return *Temperature::named(QString::fromLatin1(name));
}

bool noteHtc()
{
    order.append(QStringLiteral("HTC"));
    return answerOfHtc;
}
bool noteLtc()
{
    order.append(QStringLiteral("LTC"));
    return true;
}
bool noteLaser()
{
    order.append(QStringLiteral("Laser"));
    return true;
}
bool noteBus()
{
    order.append(QStringLiteral("bus"));
    return true;
}
} // namespace

class StartupTest : public QObject
{
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void wordsOfTheCommandLineAreFoundAnywhere_data();
    void wordsOfTheCommandLineAreFoundAnywhere();
    void theProgramDirectoryIsTakenFromTheCommandLine();
    void theProgramDirectoryHoldsScanIniOrCanBeWritten();
    void theProgramCanEndFromItsStartOn();

    void withoutScanIniTheDefaultsHold();
    void anUnreadableScanIniGivesTheDefaults();
    void nonsenseValuesDoNoHarm();
    void decimalCommasAreRead();
    void anUnusableWorkDirectoryIsReplacedAndWrittenBack();
    void theConsoleProgramWritesNothingBack();
    void everyKeyIsLoggedInOrder();

    void theControllerGivesItsModel_data();
    void theControllerGivesItsModel();
    void aControllerThatIsIgnoredMeansSimulation();
    void aBusyControllerTurnsTheStartEntryIntoAbort();
    void thetaTwoThetaNeedsTwoAxes();
    void aPresenceReplyThatWasCutIsAskedForAgain_data();
    void aPresenceReplyThatWasCutIsAskedForAgain();
    void linesThatCannotBeOpenedAreReported_data();
    void linesThatCannotBeOpenedAreReported();
    void theGeneratorLineIsOpenedWhenRemote();
    void temperatureDevicesAreAskedInOrderOverOneLine();
    void aDeviceOnTheBusNeedsNoLine();
    void aDeviceThatFailsIsDisabled();
    void aDeviceWithoutAPresenceCheckIsDisabled();
    void aRowThatLacksSomethingIsRefusedBeforeAnythingIsSent();
    void aFourthControllerIsReadAndAskedAfterTheOthers();
    void aLineThatCannotBeOpenedTakesTheFourthControllerOutToo();
    void aMissingParameterFileDisablesTheController();
    void theStartEndsWithTheShortCaption();

    void captionsHaveTwoForms();
    void theAboutTextNamesVersionLicenceAndQt();

    void savingWritesFiveKeysAndNothingElse();
    void savingReportsAFailure();
    void aBusyControllerIsAskedAboutBeforeClosing();
    void aRunningProfileIsAskedAboutBeforeClosing();
    void unsavedDataAreAskedAboutLast();
    void closingEndsEveryWait();

private:
    void writeIni(const QByteArray& text) const;
    QByteArray ini() const;
    QString path(const QString& name) const { return m_directory->filePath(name); }
    QByteArrayList logLines() const;
    /// A controller with this reply to "?S;" on MCComm; axis 1 says `status`.
    void plugController(const QByteArray& reply, const QByteArray& status = "S1:128\r\n");

    std::unique_ptr<QTemporaryDir> m_directory;
    std::unique_ptr<TestClock> m_clock;
    std::unique_ptr<ScriptedPrompts> m_boxes;
    std::unique_ptr<ScriptedDevice> m_smc, m_generator, m_temperature;
};

void StartupTest::init()
{
    resetProgram();
    modMain::state() = modMain::State{};
    Temperature::state() = Temperature::State{};
    Blower::state() = Blower::State{};
    modSMC::state() = modSMC::State{};
    order.clear();
    answerOfHtc = true;
    m_directory = std::make_unique<QTemporaryDir>();
    m_clock = std::make_unique<TestClock>();
    m_boxes = std::make_unique<ScriptedPrompts>();
    m_smc = std::make_unique<ScriptedDevice>();
    m_generator = std::make_unique<ScriptedDevice>();
    m_temperature = std::make_unique<ScriptedDevice>();
    modCOM::reset();
    modCOM::MCComm().setDeviceSource([this] { return m_smc->plug(); });
    modCOM::GeneratorComm().setDeviceSource([this] { return m_generator->plug(); });
    modCOM::TCComm().setDeviceSource([this] { return m_temperature->plug(); });
    modTools::state().programDirectory = m_directory->path();
    modTools::state().iniPath = path(QStringLiteral("scan.ini"));
    plugController("S1:128 S2:128\r\n");
}

void StartupTest::cleanup()
{
    QCOMPARE(AppLog::unwantedIn(m_directory->path()), QStringList());
    modCOM::reset();
    m_boxes->allShown();
    m_boxes.reset();
    m_smc.reset();
    m_generator.reset();
    m_temperature.reset();
    m_clock.reset();
    resetProgram();
}

void StartupTest::writeIni(const QByteArray& text) const
{
    QFile file(path(QStringLiteral("scan.ini")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(text);
}

QByteArray StartupTest::ini() const
{
    QFile file(path(QStringLiteral("scan.ini")));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QByteArrayList StartupTest::logLines() const
{
    QFile file(path(QStringLiteral("app.log")));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return file.readAll().replace("\r\n", "\n").split('\n');
}

void StartupTest::plugController(const QByteArray& reply, const QByteArray& status)
{
    m_smc->clearRules();
    m_smc->answer("?S;", reply);
    m_smc->answer("?S1;", status);
    m_smc->answer("?V;", "SMC 4412\r\nV1.0\r\n");
}

// --- words and directories

void StartupTest::wordsOfTheCommandLineAreFoundAnywhere_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<bool>("log");
    QTest::addColumn<bool>("sound");
    QTest::addColumn<bool>("too");
    QTest::newRow("none") << QStringList() << false << false << false;
    QTest::newRow("/LOG") << QStringList{"/LOG"} << true << false << false;
    QTest::newRow("-log") << QStringList{"-log"} << true << false << false;
    QTest::newRow("catalog") << QStringList{"catalog"} << true << false << false;
    QTest::newRow("all in one") << QStringList{"TooSoundLog"} << true << true << true;
    QTest::newRow("any order") << QStringList{"too", "x", "Sound"} << false << true << true;
    QTest::newRow("not across words") << QStringList{"lo", "g"} << false << false << false;
}

void StartupTest::wordsOfTheCommandLineAreFoundAnywhere()
{
    QFETCH(QStringList, arguments);
    modMain::SetCommandLine(arguments);
    QTEST(flags().log, "log");
    QTEST(flags().sound, "sound");
    QTEST(flags().too, "too");
    flags().busy = flags().idlePower = true;
    modMain::ClearFlags();
    QVERIFY(!flags().log && !flags().sound && !flags().too && !flags().busy && !flags().idlePower);
}

void StartupTest::theProgramDirectoryIsTakenFromTheCommandLine()
{
    QStringList arguments{"too", "--program-dir", "/data/catalog", "sound"};
    QCOMPARE(modMain::TakeProgramDirectory(arguments), QStringLiteral("/data/catalog"));
    QCOMPARE(arguments, (QStringList{"too", "sound"})); // the folder's name is no word of the command line
    arguments = {"--program-dir=/data/a b"};
    QCOMPARE(modMain::TakeProgramDirectory(arguments), QStringLiteral("/data/a b"));
    QVERIFY(arguments.isEmpty());
    arguments = {"--program-dir"};
    QVERIFY(modMain::TakeProgramDirectory(arguments).isEmpty());
    modMain::SetProgramDirectory(m_directory->path());
    QCOMPARE(modTools::state().programDirectory, QDir::toNativeSeparators(m_directory->path()));
    QCOMPARE(modTools::state().iniPath, QDir::toNativeSeparators(m_directory->path()) + QDir::separator() + QStringLiteral("scan.ini"));
}

void StartupTest::theProgramDirectoryHoldsScanIniOrCanBeWritten()
{
    modMain::SetProgramDirectory();
    QCOMPARE(modTools::state().programDirectory,
             QDir::toNativeSeparators(QCoreApplication::applicationDirPath())); // the build's folder can be written
}

void StartupTest::theProgramCanEndFromItsStartOn()
{
    modMain::SetProgramDirectory(m_directory->path());
    modTools::EndProgram();
    QCOMPARE(endProgramCalls(), 1); // whoever has a way to end keeps it
    modTools::setEndProgramHandler(nullptr);
    modMain::SetProgramDirectory(m_directory->path());
    QVERIFY(modTools::hasEndProgramHandler());
}

// --- scan.ini

void StartupTest::withoutScanIniTheDefaultsHold()
{
    modMain::LoadSettings();
    QVERIFY(!QFile::exists(path(QStringLiteral("scan.ini"))));
    const FrontPanel& panel = frontPanel();
    QCOMPARE(panel.text(Field::ScanStart), QStringLiteral("0"));
    QCOMPARE(panel.text(Field::ScanStep), QStringLiteral("0.01"));
    QCOMPARE(panel.text(Field::ScanStop), QStringLiteral("180"));
    QCOMPARE(panel.text(Field::CounterTime), QStringLiteral("0.1"));
    QCOMPARE(panel.text(Field::txtFileName), QStringLiteral("unnamed"));
    QCOMPARE(panel.text(Field::txtWorkDir), m_directory->path());
    QCOMPARE(panel.panel(1), QStringLiteral("Ready"));
    QCOMPARE(flags().scanMode, 1);
    QCOMPARE(configuration().ltc.modelCode, 4);
    QVERIFY(!flags().ltcEnabled && !flags().htcEnabled && !flags().laserEnabled && !flags().generatorRemote && !flags().shutterRemote);
    QCOMPARE(m_temperature->plugAttempts(), 0);
    QCOMPARE(m_generator->plugAttempts(), 0);
    QCOMPARE(modCOM::RxTimer().interval(), 100);
    QCOMPARE(modCOM::MCRxTimeout().interval(), 2000);
}

void StartupTest::anUnreadableScanIniGivesTheDefaults()
{
    QVERIFY(QDir(m_directory->path()).mkdir(QStringLiteral("scan.ini"))); // a folder of that name cannot be read as a file
    modMain::LoadSettings();
    QCOMPARE(frontPanel().text(Field::ScanStop), QStringLiteral("180"));
    QVERIFY(flags().smcOnline);

    QVERIFY(QDir(m_directory->path()).rmdir(QStringLiteral("scan.ini")));
    writeIni(QByteArray("\0\xff\xfe[General\nScanStop==\n]]\n[smc\n=5\nScanStop", 42));
    configuration() = Configuration{};
    modMain::LoadSettings();
    QCOMPARE(frontPanel().text(Field::ScanStop), QStringLiteral("180"));
}

void StartupTest::nonsenseValuesDoNoHarm()
{
    writeIni(
        "[General]\nScanStart=abc\nScanStop=1E400\nScanStep=-\nCounterTime=abc\nThetaMin=x\nScanSpeed=1E99\nSlewSpeed=fast\nDelaySleep=-5\n"
        "ScanMode=  OnLine \nGoniometerType=???\n"
        "[smc]\nTxDelay=-3\nMCRxTimeout=x\n"
        "[LTC]\nLTC=yes\nModel=nobody\nLogInterval=60\nTMax=hot\n[Generator]\nRemote=on\nMaxCurrent=99999999999\n");
    m_smc->clearRules(); // even then the start comes to its end
    m_boxes->expect(QStringLiteral("SMC"), QStringLiteral("SMC does not respond..."));
    m_boxes->expect(QStringLiteral("SMC Check"), QString(), Prompts::Button::Ignore);
    m_boxes->expect(QStringLiteral("Error"), QString()); // too many points for the smallest step
    modMain::LoadSettings();
    QCOMPARE(modCOM::MCRxTimeout().interval(), 2000);
    const Configuration& read = configuration();
    QCOMPARE(read.general.counterTime, 0.0);
    QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("0.1")); // corrected by the check
    QCOMPARE(read.general.scanStart, 0.0);
    QVERIFY(!modTools::state().spin);
    QCOMPARE(flags().scanMode, 0);
    QCOMPARE(flags().goniometerType, 0);
    QCOMPARE(read.ltc.modelCode, 4); // an unknown model changes nothing
    QCOMPARE(read.ltc.logInterval, 30);
    QCOMPARE(read.ltc.tMax, 0);
    QVERIFY(!flags().ltcEnabled && !flags().generatorRemote);
}

void StartupTest::decimalCommasAreRead()
{
    writeIni(
        "[General]\nScanStart=20,5\nScanStop=30\nScanStep=0,02\nCounterTime=0,5\nFileName=Quartz\n[LTC]\nModel=LS331\nLogInterval=10\n");
    modMain::LoadSettings();
    QCOMPARE(frontPanel().text(Field::ScanStart), QStringLiteral("20.5"));
    QCOMPARE(frontPanel().text(Field::ScanStep), QStringLiteral("0.02"));
    QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("0.5"));
    QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral("Quartz"));
    QCOMPARE(scanParameters().numberOfPoints, 476);
    QCOMPARE(configuration().ltc.modelCode, 2);
    QCOMPARE(configuration().ltc.logInterval, 10);
}

void StartupTest::anUnusableWorkDirectoryIsReplacedAndWrittenBack()
{
    writeIni("; mine\r\n[general]\r\nWorkDir=/no/such/directory\r\nScanStep=0,02\r\n");
    modMain::LoadSettings();
    const QString repaired = m_directory->path() + QDir::separator();
    QCOMPARE(configuration().general.workDir, repaired);
    QCOMPARE(frontPanel().text(Field::txtWorkDir), repaired);
    QCOMPARE(ini(), "; mine\r\n[general]\r\nWorkDir=" + repaired.toUtf8() + "\r\nScanStep=0,02\r\n");
}

void StartupTest::theConsoleProgramWritesNothingBack()
{
    const QByteArray before = "[General]\nWorkDir=/no/such/directory\n";
    writeIni(before);
    modTools::state().keepSettings = true;
    modMain::LoadSettings();
    QCOMPARE(configuration().general.workDir, m_directory->path() + QDir::separator());
    QCOMPARE(modMain::SaveSettings(), qint16{0});
    QCOMPARE(ini(), before);
}

void StartupTest::everyKeyIsLoggedInOrder()
{
    const QByteArrayList documented{"[General]",
                                    "WorkDir",
                                    "ScanMode",
                                    "ProgramPath",
                                    "ThetaMin",
                                    "ThetaMax",
                                    "ScanStart",
                                    "ScanStop",
                                    "ScanStep",
                                    "ScanSpeed",
                                    "SlewSpeed",
                                    "WorkDir",
                                    "FileName",
                                    "CounterTime",
                                    "[SMC]",
                                    "SerialPort",
                                    "Settings",
                                    "TxDelay",
                                    "RxDelay",
                                    "MCRxTimeout",
                                    "[LTC]",
                                    "LTC",
                                    "Model",
                                    "SerialPort",
                                    "Settings",
                                    "RxTimeout",
                                    "TxDelay",
                                    "RxDelay",
                                    "SICLInterfaceName",
                                    "GPIBType",
                                    "GPIBDeviceAddress",
                                    "LS330_DEFAULT_PID",
                                    "LS331_DEFAULT_PID",
                                    "DRC81_DEFAULT_PID",
                                    "DRC91_DEFAULT_PID",
                                    "TMax",
                                    "TMin",
                                    "MinQueries",
                                    "VerySmallWindow",
                                    "SmallWindow",
                                    "LargeWindow",
                                    "gbLTCResetAfterTempRun",
                                    "gbLTCCoolLogInterval",
                                    "[Generator]",
                                    "Remote",
                                    "SerialPort",
                                    "Settings",
                                    "TxDelay",
                                    "giGeneratorModel",
                                    "Shutter",
                                    "MaxCurrent",
                                    "IdleCurrent",
                                    "MeasCurrent",
                                    "MaxVoltage",
                                    "IdleVoltage",
                                    "MeasVoltage",
                                    "ReducePowerOnIdle",
                                    "ReducePowerOnIdleDelay",
                                    "GeneratorPowerSettlingTime",
                                    "gfGeneratorRemoteControl",
                                    "gfShutterRemoteControl",
                                    "GoniometerType"};
    writeIni("[Generator]\nModel=Seifert\nShutter=1\n");
    flags().log = true;
    modMain::LoadSettings();
    const QByteArrayList lines = logLines();
    qsizetype at = 0;
    for (const QByteArray& key : documented) {
        while (at < lines.size() && lines[at] != key && !lines[at].startsWith(key + '='))
            ++at;
        QVERIFY2(at < lines.size(), (key + " is not logged, or not in its place").constData());
        ++at;
    }
    for (const char* line : {"ScanStep=0.01", "CounterTime=0.1", "giGeneratorModel=SEIFERT3000", "gfGeneratorRemoteControl=0",
                             "gfShutterRemoteControl=-1", "gbLTCCoolLogInterval=30"})
        QVERIFY2(lines.contains(line), line);
    QVERIFY(lines.indexOf("gfShutterRemoteControl=-1") <
            lines.lastIndexOf("GoniometerType=guinier")); // the controller was asked in between
    QVERIFY(lines.indexOf("SMCCheck()") < lines.lastIndexOf("GoniometerType=guinier"));
}

// --- devices

void StartupTest::theControllerGivesItsModel_data()
{
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<QByteArray>("type");
    QTest::addColumn<int>("digit");
    QTest::addColumn<QString>("caption");
    QTest::newRow("one axis") << QByteArray("S1:128\r\n") << QByteArray("Guinier") << 1 << "Scan (4411, Guinier, silent mode)";
    QTest::newRow("two axes") << QByteArray("S1:128 S2:128\r\n") << QByteArray("Guinier") << 2 << "Scan (4412, Guinier, silent mode)";
    for (const char* type : {"theta", "T", "t2t", "Theta-2-Theta", "theta-2theta", "THETA2THETA"})
        QTest::newRow(type) << QByteArray("S1:128 S2:128\r\n") << QByteArray(type) << 2 << "Scan (4412, Theta-2-Theta, silent mode)";
}

void StartupTest::theControllerGivesItsModel()
{
    QFETCH(QByteArray, reply);
    QFETCH(QByteArray, type);
    plugController(reply);
    writeIni("[General]\nGoniometerType=" + type + "\n");
    modMain::LoadSettings();
    modMain::SetCaption();
    QTEST(flags().smcModelDigit, "digit");
    QCOMPARE(int{modSMC::state().numberOfAxes}, flags().smcModelDigit);
    QTEST(frontPanel().caption(), "caption");
    QCOMPARE(m_smc->written(), QByteArray("\r\n?S;\r\n?S1;\r\n?V;"));
}

void StartupTest::aControllerThatIsIgnoredMeansSimulation()
{
    m_smc->clearRules();
    m_boxes->expect(QStringLiteral("SMC"), QStringLiteral("SMC does not respond...")).withBeep();
    m_boxes->expect(QStringLiteral("SMC Check"), QString(), Prompts::Button::Ignore).withButtons(Prompts::Buttons::AbortRetryIgnore, 2);
    modMain::LoadSettings();
    modMain::SetCaption();
    QVERIFY(!flags().smcOnline);
    QCOMPARE(flags().smcModelDigit, 0);
    QCOMPARE(frontPanel().caption(), QStringLiteral("Scan (Simulation)"));
    QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    QVERIFY(instrument().goniometerLine == Instrument::Line::Simulation);
}

void StartupTest::aBusyControllerTurnsTheStartEntryIntoAbort()
{
    plugController("S1:0 S2:0\r\n", "S1:0\r\n");
    modMain::LoadSettings();
    QVERIFY(Operation::isRunning(Operations::scan));
    QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuMeasStartAcquisition), QStringLiteral("Abort Data Acquisition"));
    QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuFileOpen));
}

void StartupTest::thetaTwoThetaNeedsTwoAxes()
{
    plugController("S1:128\r\n");
    writeIni("[General]\nGoniometerType=t2t\n[Generator]\nRemote=1\n");
    m_boxes->expect(QStringLiteral("Goniometer Type Theta-2-Theta"), QStringLiteral("Selected goniometer type requires SMC 4412..."));
    modMain::LoadSettings();
    modMain::SetCaption();
    QCOMPARE(flags().goniometerType, 0);
    QCOMPARE(m_generator->plugAttempts(), 0);
    QVERIFY(frontPanel().panel(1).isEmpty());
    QCOMPARE(frontPanel().caption(), QStringLiteral("Scan (4411, Guinier, silent mode)"));
    QCOMPARE(scanParameters().numberOfPoints, 0); // not checked either

    // What axis 1 alone counts stands at other angles: nothing is measured before somebody has said so.
    QCOMPARE(Notices::all().size(), 1);
    QCOMPARE(Notices::all()[0].actions[0].caption, QStringLiteral("Measure with axis 1 alone"));
    const qsizetype before = m_smc->written().size();
    ScanRun::Start();
    QCOMPARE(m_smc->written().size(), before);
    QCOMPARE(frontPanel().panel(1), QStringLiteral("No scan was started: the controller has one axis"));
    Notices::all()[0].actions[0].run();
    m_boxes->expect(QStringLiteral("Start scan"), QString(), Prompts::Button::Cancel);
    ScanRun::Start();
    QCOMPARE(m_smc->written().mid(before), QByteArray("\r\n?S1;"));
}

void StartupTest::aPresenceReplyThatWasCutIsAskedForAgain_data()
{
    QTest::addColumn<QByteArray>("first");
    QTest::addColumn<int>("asked");
    QTest::newRow("half an item") << QByteArray("S1:128 S2") << 2;
    QTest::newRow("nothing behind the last colon") << QByteArray("S1:") << 2;
    QTest::newRow("one axis and no more") << QByteArray("S1:128\r\n") << 1;
}

void StartupTest::aPresenceReplyThatWasCutIsAskedForAgain()
{
    QFETCH(QByteArray, first);
    QFETCH(int, asked);
    m_smc->clearRules();
    m_smc->answer("?S1;", "S1:128\r\n");
    m_smc->answer("?V;", "SMC 4412\r\nV1.0\r\n");
    m_smc->answer("?S;", "S1:128 S2:128\r\n");
    m_smc->answerOnce("?S;", first);
    writeIni("[General]\nGoniometerType=t2t\n");
    if (asked == 1)
        m_boxes->expect(QStringLiteral("Goniometer Type Theta-2-Theta"), QString());
    modMain::LoadSettings();
    QCOMPARE(int(m_smc->written().count("?S;")), asked);
    QCOMPARE(flags().goniometerType, asked == 1 ? 0 : 1);
    QCOMPARE(modSMC::state().axesMissing, asked == 1);
}

void StartupTest::linesThatCannotBeOpenedAreReported_data()
{
    QTest::addColumn<QByteArray>("section");
    QTest::addColumn<QString>("title");
    QTest::addColumn<QString>("text");
    const QString refused = QStringLiteral("Unable to open COM%1\r\nwith settings '%2'!\r\n");
    QTest::newRow("generator missing") << QByteArray("[Generator]\nRemote=1\nShutter=1\nSerialPort=7\n") << "Generator: Communication Error"
                                       << "COM7 not available!\r\n(Error 8002)";
    QTest::newRow("generator refused") << QByteArray("[Generator]\nRemote=1\nShutter=1\nSettings=fast\n")
                                       << "Generator: Serial Port Settings" << refused.arg(2).arg("fast");
    QTest::newRow("controller missing") << QByteArray("[smc]\nSerialPort=9\n") << "SMC: Communication Error"
                                        << "COM9 not available!\r\n";
    QTest::newRow("controller refused") << QByteArray("[smc]\nSettings=9600,N\n") << "SMC: Communication Port Settings"
                                        << refused.arg(1).arg("9600,N");
    QTest::newRow("temperature missing") << QByteArray("[LTC]\nSerialPort=3\n[HTC]\nHTC=1\n[Laser]\nLaser=1\n")
                                         << "SMC: Communication Error"
                                         << "COM3 not available!\r\n";
    QTest::newRow("temperature refused") << QByteArray("[LTC]\nSettings=1200,x,7,1\n[HTC]\nHTC=1\n[Laser]\nLaser=1\n")
                                         << "TC: Communication Port Settings" << refused.arg(1).arg("1200,x,7,1");
}

void StartupTest::linesThatCannotBeOpenedAreReported()
{
    QFETCH(QByteArray, section);
    QFETCH(QString, title);
    QFETCH(QString, text);
    const QByteArray row = QTest::currentDataTag();
    for (Temperature::Controller& controller : Temperature::controllers()) {
        controller.table = {};
        controller.onSerialLine = nullptr;
        controller.isThere = noteHtc;
    }
    writeIni(section);
    if (row == "generator missing")
        m_generator->hangUp();
    if (row == "controller missing")
        m_smc->hangUp();
    if (row == "temperature missing")
        m_temperature->hangUp();
    flags().log = true;
    m_boxes->expect(title, text);
    modMain::LoadSettings();
    QVERIFY(m_boxes->allShown());
    const QByteArray firstLine = text.left(text.indexOf(lineBreak)).toUtf8();
    QVERIFY2(logLines().join('\n').contains(firstLine), "not logged");
    QCOMPARE(flags().smcOnline, !row.startsWith("controller"));
    QVERIFY(!flags().generatorRemote && !flags().shutterRemote);
    QVERIFY(!flags().htcEnabled && !flags().ltcEnabled && !flags().laserEnabled);
    QVERIFY(order.isEmpty()); // a line that did not open is not probed
    QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    QVERIFY(!row.startsWith("controller") || m_smc->written().isEmpty());
}

void StartupTest::theGeneratorLineIsOpenedWhenRemote()
{
    writeIni("[Generator]\nRemote=1\n");
    modMain::LoadSettings();
    QVERIFY(flags().generatorRemote && !flags().shutterRemote);
    QVERIFY(modCOM::GeneratorComm().isOpen());
    QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuExtrasGeneratorGetStatus));
    cleanup();
    init();
    writeIni("[Generator]\nShutter=2\n"); // the shutter is switched by the goniometer controller
    modMain::LoadSettings();
    QVERIFY(flags().shutterRemote && !flags().generatorRemote);
    QVERIFY(!modCOM::GeneratorComm().isOpen());
}

void StartupTest::temperatureDevicesAreAskedInOrderOverOneLine()
{
    writeIni("[LTC]\nLTC=1\nGPIBType=hp\nGPIBDeviceAddress=0\n[HTC]\nHTC=1\n[Laser]\nLaser=1\n");
    QCOMPARE(Temperature::controllers().size(), 3);
    for (Temperature::Controller& controller : Temperature::controllers())
        controller.table = {};
    row("HTC").isThere = noteHtc;
    row("LTC").isThere = noteLtc;
    row("LTC").initializeBus = noteBus;
    row("Laser").isThere = noteLaser;
    modMain::LoadSettings();
    QCOMPARE(order, (QStringList{"HTC", "LTC", "Laser"})); // address 0 keeps the controller on the line whatever the bus type
    QVERIFY(modCOM::TCComm().isOpen());
    QCOMPARE(m_temperature->plugAttempts(), 1);
    QVERIFY(flags().htcEnabled && flags().ltcEnabled && flags().laserEnabled);
}

void StartupTest::aDeviceOnTheBusNeedsNoLine()
{
    writeIni("[LTC]\nLTC=1\nGPIBDeviceAddress=12\n");
    Temperature::Controller& ltc = row("LTC");
    ltc.table = {};
    ltc.initializeBus = noteBus;
    ltc.isThere = noteLtc;
    modMain::LoadSettings();
    QCOMPARE(order, (QStringList{"bus", "LTC"}));
    QCOMPARE(m_temperature->plugAttempts(), 0);
    QVERIFY(flags().ltcEnabled);
}

void StartupTest::aDeviceThatFailsIsDisabled()
{
    writeIni("[HTC]\nHTC=1\n[Laser]\nLaser=1\n");
    row("HTC").table = {};
    row("HTC").isThere = noteHtc;
    row("Laser").isThere = noteLaser;
    answerOfHtc = false;
    modMain::LoadSettings();
    QCOMPARE(order, (QStringList{"HTC", "Laser"}));
    QVERIFY(!flags().htcEnabled && flags().laserEnabled);
    QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuHTC) && frontPanel().isEntryEnabled(Menu::Entry::mnuLaser));
}

void StartupTest::aDeviceWithoutAPresenceCheckIsDisabled()
{
    writeIni("[Laser]\nLaser=1\n");
    row("Laser").isThere = nullptr;
    flags().log = true;
    modMain::LoadSettings();
    QVERIFY(!flags().laserEnabled);
    QVERIFY(logLines().contains("Laser: no presence check, functions disabled"));
}

void StartupTest::aRowThatLacksSomethingIsRefusedBeforeAnythingIsSent()
{
    writeIni("[HTC]\nHTC=1\n[Laser]\nLaser=1\n[Blower]\nBlower=1\n");
    Temperature::controllers().prepend(Blower::controller());
    row("Blower").set = nullptr;
    row("Blower").wayBack = nullptr;
    row("Blower").isThere = noteLtc;
    row("HTC").wait = nullptr;
    row("Laser").isThere = noteLaser;
    flags().log = true;
    const auto refused = [this](const QString& text) {
        m_boxes->expect(QStringLiteral("Temperature controllers"), text + lineBreak + QStringLiteral("The controller is not used."))
            .withIcon(Prompts::Icon::Critical);
    };
    refused(QStringLiteral("The row of controller 'Blower' lacks: set, wayBack."));
    refused(QStringLiteral("The row of controller 'HTC' lacks: wait."));
    modMain::LoadSettings();
    QVERIFY(m_boxes->allShown());
    QVERIFY(logLines().contains("The row of controller 'Blower' lacks: set, wayBack."));
    QCOMPARE(order, QStringList{"Laser"}); // the others were not even asked whether they are there
    QCOMPARE(m_temperature->written(), QByteArray());
    QVERIFY(!flags().htcEnabled && !Blower::state().enabled);
    QCOMPARE(Temperature::active().name, QStringLiteral("Laser"));
    QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuHTC));
}

void StartupTest::aFourthControllerIsReadAndAskedAfterTheOthers()
{
    writeIni("[LTC]\nLTC=0\n[Laser]\nLaser=1\n[Blower]\nBlower=1\nTMax=700\n");
    Temperature::controllers().prepend(Blower::controller());
    row("Laser").isThere = noteLaser;
    m_temperature->answer("ID?\r", "BLOWER\r\n");
    modMain::LoadSettings();
    QVERIFY(Blower::state().enabled && flags().laserEnabled);
    QCOMPARE(order, QStringList{"Laser"});
    QCOMPARE(m_temperature->written(), QByteArray("ID?\r"));
    QCOMPARE(Temperature::active().scale().highest, 700.0);

    cleanup();
    init(); // silent, it is not in use
    writeIni("[Blower]\nBlower=1\n");
    Temperature::controllers().prepend(Blower::controller());
    modMain::LoadSettings();
    QCOMPARE(m_temperature->written(), QByteArray("ID?\r"));
    QVERIFY(!Temperature::anyInUse());
}

void StartupTest::aLineThatCannotBeOpenedTakesTheFourthControllerOutToo()
{
    writeIni("[HTC]\nHTC=1\nPIDFile=h.pid\n[Blower]\nBlower=1\n");
    Temperature::controllers().append(Blower::controller());
    row("HTC").table = {};
    m_temperature->hangUp();
    m_boxes->expect(QStringLiteral("SMC: Communication Error"), QString());
    modMain::LoadSettings();
    QVERIFY(m_boxes->allShown()); // one box, not one for each controller
    QVERIFY(!Temperature::anyInUse());
}

void StartupTest::aMissingParameterFileDisablesTheController()
{
    writeIni("[LTC]\nLTC=1\nModel=330\n");
    m_boxes->expect(QStringLiteral("LTC 330"), QStringLiteral("Error while loading PID-parameter file '") + m_directory->path() +
                                                   QDir::separator() + QStringLiteral("ls330.pid'.") + lineBreak +
                                                   QStringLiteral("LTC functions will be disabled."));
    modMain::LoadSettings();
    QVERIFY(!flags().ltcEnabled);
    QCOMPARE(m_temperature->plugAttempts(), 0);
    cleanup();
    init();
    writeIni("[LTC]\nLTC=0\n"); // without the controller the file is not missed
    modMain::LoadSettings();
}

void StartupTest::theStartEndsWithTheShortCaption()
{
    const QString directory = m_directory->path();
    writeIni("[General]\nScanMode=online\nGoniometerType=theta\n");
    modTools::state().programDirectory.clear();
    modTools::state().iniPath.clear();
    const quint64 before = m_clock->elapsed();
    modMain::Main({QStringLiteral("--program-dir"), directory, QStringLiteral("LOG")});
    QCOMPARE(frontPanel().caption(), QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
    QVERIFY(flags().log);
    QVERIFY(m_clock->elapsed() - before >= 1000);
    QCOMPARE(logLines().value(0), QByteArray("[General]"));
    QVERIFY(logLines().contains("Delay() - Interval: 1"));
}

// --- texts

void StartupTest::captionsHaveTwoForms()
{
    flags().smcOnline = true;
    flags().smcModelDigit = 2;
    flags().scanMode = 1;
    QCOMPARE(modMain::LongCaption(), QStringLiteral("Scan (Guinier diffractometer, silent mode, controller 4412)"));
    flags().goniometerType = 1;
    flags().scanMode = 0;
    QCOMPARE(modMain::ShortCaption(), QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
    QCOMPARE(modMain::LongCaption(), QStringLiteral("Scan (Theta-2-Theta diffractometer, online mode, controller 4412)"));
    flags().smcOnline = false;
    QCOMPARE(modMain::ShortCaption(), QStringLiteral("Scan (Simulation)"));
}

void StartupTest::theAboutTextNamesVersionLicenceAndQt()
{
    QCOMPARE(modMain::VersionText(), QStringLiteral("2.1.22"));
    modMain::LoadSettings();
    for (const QString& part :
         {QStringLiteral("2.1.22"), QStringLiteral("GNU General Public License"), QStringLiteral("Qt " QT_VERSION_STR)})
        QVERIFY2(modMain::state().aboutText.contains(part), qPrintable(part));
}

// --- the end

void StartupTest::savingWritesFiveKeysAndNothingElse()
{
    writeIni("; the instrument in room 3\r\n[SMC]\r\nSerialPort=4\r\n\r\n[General]\r\nScanStep=1\r\nFileName=old\r\n[LTC]\r\nTMax=250\r\n");
    configuration().general.workDir = QStringLiteral("/data/");
    frontPanel().setText(Field::ScanStart, QStringLiteral("20,5"));
    frontPanel().setText(Field::ScanStop, QStringLiteral("abc"));
    frontPanel().setText(Field::ScanStep, QStringLiteral("0.02"));
    frontPanel().setText(Field::CounterTime, QStringLiteral("1"));
    frontPanel().setText(Field::txtFileName, QStringLiteral("new"));
    QCOMPARE(modMain::SaveSettings(), qint16{0});
    QCOMPARE(
        ini(),
        QByteArray(
            "; the instrument in room 3\r\n[SMC]\r\nSerialPort=4\r\n\r\n[General]\r\nScanStep=0.02\r\nFileName=old\r\nWorkDir=/data/\r\n"
            "ScanStart=20.5\r\nScanStop=abc\r\nCounterTime=1\r\n[LTC]\r\nTMax=250\r\n"));
}

void StartupTest::savingReportsAFailure()
{
    modTools::state().iniPath = path(QStringLiteral("no/such/directory/scan.ini"));
    QCOMPARE(modMain::SaveSettings(), qint16{-1});
}

void StartupTest::aBusyControllerIsAskedAboutBeforeClosing()
{
    modMain::LoadSettings();
    QVERIFY(modMain::QueryClose()); // idle: no question
    QVERIFY(ini().contains("ScanStop=180"));

    QVERIFY(QFile::remove(path(QStringLiteral("scan.ini"))));
    plugController("S1:0 S2:0\r\n", "S1:0\r\n");
    const QString question =
        lineBreak + QStringLiteral("SMC seems to be busy!") + lineBreak + QStringLiteral("Are you sure that you want to quit?");
    m_boxes->expect(QStringLiteral("Quit program"), question, Prompts::Button::Cancel)
        .withButtons(Prompts::Buttons::OkCancel)
        .withIcon(Prompts::Icon::Question)
        .withAnswers(Prompts::Button::Ok, Prompts::Button::Cancel, Prompts::Button::Cancel);
    QVERIFY(!modMain::QueryClose());
    QVERIFY(!QFile::exists(path(QStringLiteral("scan.ini"))));
    m_boxes->expect(QStringLiteral("Quit program"), question, Prompts::Button::Ok);
    QVERIFY(modMain::QueryClose());
    QVERIFY(QFile::exists(path(QStringLiteral("scan.ini")))); // before the question about unsaved data
}

void StartupTest::aRunningProfileIsAskedAboutBeforeClosing()
{
    modMain::LoadSettings();
    pretendRunning(Operations::profile);
    m_smc->forget();
    const QString question =
        lineBreak + QStringLiteral("A temperature profile is running!") + lineBreak + QStringLiteral("Are you sure that you want to quit?");
    m_boxes->expect(QStringLiteral("Quit program"), question, Prompts::Button::Cancel)
        .withButtons(Prompts::Buttons::OkCancel)
        .withIcon(Prompts::Icon::Question)
        .withAnswers(Prompts::Button::Ok, Prompts::Button::Cancel, Prompts::Button::Cancel);
    QVERIFY(!modMain::QueryClose());
    QVERIFY(m_smc->written().isEmpty()); // the run may be in the middle of an exchange
    m_boxes->expect(QStringLiteral("Quit program"), question, Prompts::Button::Ok);
    QVERIFY(modMain::QueryClose());
}

void StartupTest::unsavedDataAreAskedAboutLast()
{
    QVERIFY(modMain::QueryUnload());
    flags().dataPresent = true;
    const QString question =
        QStringLiteral("Data in memory were not yet saved!") + lineBreak + QStringLiteral("Do you really want to quit?");
    m_boxes->expect(QStringLiteral("Exit program"), question, Prompts::Button::No)
        .withButtons(Prompts::Buttons::YesNo, 2)
        .withIcon(Prompts::Icon::Exclamation)
        .withAnswers(Prompts::Button::Yes, Prompts::Button::No, Prompts::Button::No);
    QVERIFY(!modMain::QueryUnload());
    m_boxes->expect(QStringLiteral("Exit program"), question, Prompts::Button::Yes);
    QVERIFY(modMain::QueryUnload());
    flags().dataSaved = true;
    QVERIFY(modMain::QueryUnload());
}

void StartupTest::closingEndsEveryWait()
{
    modMain::LoadSettings();
    m_clock->at(500, [] { modMain::Close(); });
    const quint64 before = m_clock->elapsed();
    modTools::Delay(600, true);
    QVERIFY(m_clock->elapsed() - before < 1000);
    QVERIFY(flags().closing && !modCOM::MCComm().isOpen());
    m_smc->forget();
    modSMC::SMCSend(QStringLiteral("?S;"));
    QVERIFY(m_smc->written().isEmpty());
}

QTEST_GUILESS_MAIN(StartupTest)
#include "tst_startup.moc"
