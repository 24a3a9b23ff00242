// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"

#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/modTools.h"

#include <QDir>

#include <algorithm>
#include <limits>

using modTools::WriteLog;
using modTools::WriteSecondaryLog;

namespace {
struct LtcModel
{
    const char* text;
    int code;
    const char* name;
};

constexpr LtcModel ltcModels[] = {
    {"drc81", 32, "DRC81"}, {"drc", 16, "DRC91"},      {"drc91", 16, "DRC91"},        {"330", 1, "LS330"}, {"ls330", 1, "LS330"},
    {"emu", 4, "LS331"},    {"331emu330", 4, "LS331"}, {"ls331emuls330", 4, "LS331"}, {"331", 2, "LS331"}, {"ls331", 2, "LS331"},
};

/// Line settings that a model expects when scan.ini names none.
struct LtcSettings
{
    int codes; ///< models, as a mask
    const char* settings;
};

constexpr LtcSettings ltcSettings[] = {
    {16 | 32, "9600,n,8,1"},
    {1, "1200,o,7,1"},
    {2 | 4, "9600,o,7,1"},
};

constexpr const char* generatorModels[] = {"3000", "3003", "seifert"};
constexpr const char* thetaTexts[] = {"theta", "t", "t2t", "theta-2-theta", "theta-2theta", "theta2theta"};
constexpr qint32 longestLogInterval = 30; // s

float single(double value)
{
    constexpr double largest = std::numeric_limits<float>::max();
    return static_cast<float>(std::clamp(value, -largest, largest));
}

QString withSeparator(const QString& directory)
{
    const bool ends = directory.endsWith(u'/') || directory.endsWith(QDir::separator());
    return ends ? directory : directory + QDir::separator();
}

void logValue(const QString& name, const QString& value)
{
    WriteLog(false, name + u'=' + value);
}

/// Reads one section's keys and logs each under its own name, or under the name it has in the log.
class Section
{
public:
    Section(const char* name, const char* heading) : m_name(QString::fromLatin1(name))
    {
        if (heading != nullptr)
            WriteLog(false, QString::fromLatin1(heading));
    }

    /// The text as it stands; not logged.
    QString raw(const char* key, const QString& defaultText) const
    {
        return PrivateProfile::GetPrivateProfileString(m_name, QString::fromLatin1(key), defaultText, modTools::state().iniPath);
    }
    QString text(const char* key, const QString& defaultText, const char* secondaryName = nullptr) const
    {
        return logged(key, raw(key, defaultText), secondaryName);
    }
    QString text(const char* key, const char* defaultText, const char* secondaryName = nullptr) const
    {
        return text(key, QString::fromLatin1(defaultText), secondaryName);
    }
    QString lowerText(const char* key, const char* defaultText) const
    {
        return logged(key, raw(key, QString::fromLatin1(defaultText)).trimmed().toLower());
    }
    double floating(const char* key, const QString& defaultText, const char* secondaryName = nullptr) const
    {
        const double value = NumberText::ReadNumber(raw(key, defaultText));
        logged(key, NumberText::General(value), secondaryName);
        return value;
    }
    double floating(const char* key, const char* defaultText) const { return floating(key, QString::fromLatin1(defaultText)); }
    float seconds(const char* key, const char* defaultText, const char* secondaryName = nullptr) const
    {
        const float value = single(NumberText::ReadNumber(raw(key, QString::fromLatin1(defaultText))));
        logged(key, NumberText::General(value), secondaryName);
        return value;
    }
    /// A whole number kept as text, rounded.
    qint32 whole(const char* key, const char* defaultText) const
    {
        const qint32 value = NumberText::RoundToLong(NumberText::ReadNumber(raw(key, QString::fromLatin1(defaultText))));
        logged(key, NumberText::General(value));
        return value;
    }
    qint32 integer(const char* key, qint32 defaultValue, const char* secondaryName = nullptr) const
    {
        const qint32 value = rawInteger(key, defaultValue);
        logged(key, NumberText::General(value), secondaryName);
        return value;
    }
    bool flag(const char* key, bool defaultValue = false) const { return integer(key, defaultValue ? 1 : 0) != 0; }
    qint32 rawInteger(const char* key, qint32 defaultValue) const
    {
        return PrivateProfile::GetPrivateProfileInt(m_name, QString::fromLatin1(key), defaultValue, modTools::state().iniPath);
    }
    void write(const char* key, const QString& text) const
    {
        if (!modTools::state().keepSettings)
            PrivateProfile::WritePrivateProfileString(m_name, QString::fromLatin1(key), text, modTools::state().iniPath);
    }

private:
    static QString logged(const char* key, const QString& value, const char* secondaryName = nullptr)
    {
        logValue(QString::fromLatin1(key), value);
        if (secondaryName != nullptr)
            WriteSecondaryLog(QString::fromLatin1(secondaryName) + u'=' + value);
        return value;
    }

    QString m_name;
};

const char* settingsOfModel(int code)
{
    const auto* found = std::find_if(std::begin(ltcSettings), std::end(ltcSettings),
                                     [code](const LtcSettings& entry) { return (entry.codes & code) != 0; });
    return found != std::end(ltcSettings) ? found->settings : "";
}

template <typename Texts>
bool isOneOf(const QString& text, const Texts& texts)
{
    return std::any_of(std::begin(texts), std::end(texts), [&text](const char* accepted) { return text == QLatin1String(accepted); });
}
} // namespace

Configuration& configuration()
{
    static Configuration theConfiguration;
    return theConfiguration;
}

QString Configuration::Line::name() const
{
    return serialDevice.isEmpty() ? QStringLiteral("COM") + QString::number(serialPort) : serialDevice;
}

void Configuration::readGeneral(bool (*directoryUsable)(const QString& directory))
{
    const QString programDirectory = modTools::state().programDirectory;
    const auto usable = [directoryUsable](const QString& directory) {
        return !directory.isEmpty() && (directoryUsable == nullptr || directoryUsable(directory));
    };
    const Section section("General", "[General]");
    general.workDir = section.raw("WorkDir", programDirectory);
    if (!usable(general.workDir)) {
        general.workDir = withSeparator(programDirectory);
        section.write("WorkDir", general.workDir);
    }
    logValue(QStringLiteral("WorkDir"), general.workDir);
    flags().scanMode = section.lowerText("ScanMode", "silent") == u"online" ? 0 : 1;
    general.programPath = withSeparator(section.text("ProgramPath", programDirectory));
    general.thetaMin = section.floating("ThetaMin", "0");
    general.thetaMax = section.floating("ThetaMax", "180");
    general.scanStart = section.floating("ScanStart", NumberText::General(general.thetaMin));
    general.scanStop = section.floating("ScanStop", NumberText::General(general.thetaMax));
    general.scanStep = section.floating("ScanStep", ".01");
    general.scanSpeed = section.whole("ScanSpeed", "1500");
    general.slewSpeed = section.whole("SlewSpeed", "4000");
    const QString secondReading = section.raw("WorkDir", general.workDir);
    if (usable(secondReading)) // a repair that could not be written must not bring the unusable directory back
        general.workDir = secondReading;
    logValue(QStringLiteral("WorkDir"), general.workDir);
    general.fileName = section.text("FileName", "unnamed");
    general.counterTime = section.floating("CounterTime", ".1");
    general.delaySleep = section.integer("DelaySleep", 1);
    general.autoSave = section.flag("AutoSave", true);
    general.timeUnitMinutes = section.integer("TimeUnit", 0) == 1;
    flags().showCommunication = section.flag("ShowCommunication");
}

void Configuration::readSmc()
{
    const Section section("smc", "[SMC]");
    smc.serialPort = section.integer("SerialPort", 1);
    smc.serialDevice = section.text("SerialDevice", "");
    smc.settings = section.text("Settings", "9600,N,8,1");
    smc.txDelay = section.seconds("TxDelay", ".1");
    smc.rxDelay = section.seconds("RxDelay", ".1");
    smc.rxTimeout = section.seconds("MCRxTimeout", "2");
}

void Configuration::readLtcLine()
{
    const Section section("LTC", "[LTC]");
    ltc.enabled = section.flag("LTC");
    const QString model = section.lowerText("Model", "emu");
    for (const LtcModel& known : ltcModels) {
        if (model == QLatin1String(known.text)) {
            ltc.modelCode = known.code;
            ltc.modelName = QString::fromLatin1(known.name);
        }
    }
    ltc.line.serialPort = section.integer("SerialPort", 1, "giLTCCOMPort");
    ltc.line.serialDevice = section.text("SerialDevice", "");
    ltc.line.settings = section.text("Settings", settingsOfModel(ltc.modelCode), "gstrLTCCOMSettings");
    ltc.line.rxTimeout = section.seconds("RxTimeout", "1.5", "gsTCRxTimeout");
    ltc.line.txDelay = section.seconds("TxDelay", ".5", "gsTCTxDelay");
    ltc.line.rxDelay = section.seconds("RxDelay", "0", "gsTCRxDelay");
    ltc.siclInterfaceName = section.text("SICLInterfaceName", "hpib7");
    ltc.gpibType = section.text("GPIBType", "hp");
    ltc.gpibDeviceAddress = section.integer("GPIBDeviceAddress", 0);
    ltc.ls330DefaultPID = section.text("LS330_DEFAULT_PID", "300=R3P300I50D0");
    ltc.ls331DefaultPID = section.text("LS331_DEFAULT_PID", "300=R3P300I50D0");
    ltc.drc81DefaultPID = section.text("DRC81_DEFAULT_PID", "300=R5P40I01D10");
    ltc.drc91DefaultPID = section.text("DRC91_DEFAULT_PID", "300=R5P40I01D10");
}

void Configuration::readLtcLimits()
{
    const Section section("LTC", nullptr);
    ltc.tMax = section.integer("TMax", 300);
    ltc.tMin = section.integer("TMin", 8);
    ltc.minQueries = section.whole("MinQueries", "10");
    ltc.verySmallWindow = section.seconds("VerySmallWindow", ".25");
    ltc.smallWindow = section.seconds("SmallWindow", "1");
    ltc.largeWindow = section.seconds("LargeWindow", "5");
    ltc.resetAfterTempRun = section.rawInteger("ResetAfterTempRun", 0) != 0;
    logValue(QStringLiteral("gbLTCResetAfterTempRun"), modTools::FlagText(ltc.resetAfterTempRun));
    ltc.logInterval = std::min(section.rawInteger("LogInterval", longestLogInterval), longestLogInterval);
    logValue(QStringLiteral("gbLTCCoolLogInterval"), NumberText::General(ltc.logInterval));
}

void Configuration::readGenerator()
{
    const Section section("Generator", "[Generator]");
    generator.remote = section.flag("Remote");
    generator.line.serialPort = section.integer("SerialPort", 2);
    generator.line.serialDevice = section.text("SerialDevice", "");
    generator.line.settings = section.text("Settings", "9600,n,8,1");
    generator.line.txDelay = section.seconds("TxDelay", "0.1");
    const QString model = section.raw("Model", {});
    generator.modelCode = isOneOf(model.toLower(), generatorModels) ? 1 : 0;
    if (generator.modelCode == 1)
        logValue(QStringLiteral("giGeneratorModel"), QStringLiteral("SEIFERT3000"));
    else
        logValue(QStringLiteral("Model"), model);
    generator.shutter = section.integer("Shutter", 0);
    generator.maxCurrent = section.integer("MaxCurrent", 40);
    generator.idleCurrent = section.integer("IdleCurrent", 5);
    generator.measCurrent = section.integer("MeasCurrent", 30);
    generator.maxVoltage = section.integer("MaxVoltage", 40);
    generator.idleVoltage = section.integer("IdleVoltage", 20);
    generator.measVoltage = section.integer("MeasVoltage", 40);
    generator.reducePowerOnIdle = section.flag("ReducePowerOnIdle");
    generator.reducePowerOnIdleDelay = section.whole("ReducePowerOnIdleDelay", "15");
    generator.powerSettlingTime = section.whole("GeneratorPowerSettlingTime", "0");
    logValue(QStringLiteral("gfGeneratorRemoteControl"), modTools::FlagText(generator.remote));
    logValue(QStringLiteral("gfShutterRemoteControl"), modTools::FlagText(generator.shutter >= 1));
}

void Configuration::readHtc()
{
    const Section section("HTC", "[HTC]");
    htc.enabled = section.flag("HTC");
    htc.pidFile = section.text("PIDFile", "htc.pid");
    htc.defaultPID = section.text("HTC_DEFAULT_PID", "900=P71I8D2");
    htc.tMin = section.integer("TMin", 20);
    htc.tMax = section.integer("TMax", 1500);
    htc.calibration = section.flag("Calibration");
    htc.calibrationOffset = section.floating("CalibrationOffset", "0");
    htc.calibrationFactor = section.floating("CalibrationFactor", "1");
}

void Configuration::readLaser()
{
    const Section section("Laser", "[Laser]");
    laser.enabled = section.flag("Laser");
    laser.currentMode = section.flag("CurrentMode");
    laser.currentOffset = section.floating("CurrentOffset", "0");
    laser.currentPerDegree = section.floating("CurrentPerDegree", "0.002");
    laser.maxCurrent = section.floating("MaxCurrent", "2.5");
    laser.tMin = section.integer("TMin", 20);
    laser.tMax = section.integer("TMax", 1200);
    laser.checkRounds = section.integer("CheckRounds", 3);
    laser.stabilizationDelay = section.integer("StabilizationDelay", 60);
}

int Configuration::readGoniometerType()
{
    const Section section("General", nullptr);
    return isOneOf(section.lowerText("GoniometerType", "Guinier"), thetaTexts) ? 1 : 0;
}
