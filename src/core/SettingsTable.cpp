// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/Settings.h"
#include "core/modTools.h"

#include <QDir>

#include <algorithm>

namespace Settings {
namespace {
using C = Configuration;
using Line = C::Line;
using enum Type;

/// A member of the configuration record by its path.
template <auto... path>
Place at(Configuration& configuration)
{
    return &(configuration.*....*path);
}

template <auto flag>
Place inFlags(Configuration&)
{
    return &(flags().*flag);
}

// --- texts that stand for a value

constexpr KnownText scanModes[] = {{"online", 0, "Online"}};
constexpr KnownText ltcModels[] = {
    {"drc81", 32, "DRC81"}, {"drc", 16, "DRC91"},      {"drc91", 16, "DRC91"},        {"330", 1, "LS330"}, {"ls330", 1, "LS330"},
    {"emu", 4, "LS331"},    {"331emu330", 4, "LS331"}, {"ls331emuls330", 4, "LS331"}, {"331", 2, "LS331"}, {"ls331", 2, "LS331"},
};
constexpr KnownText generatorModels[] = {{"3000", 1, "SEIFERT3000"}, {"3003", 1, "SEIFERT3000"}, {"seifert", 1, "SEIFERT3000"}};
constexpr KnownText goniometerTypes[] = {
    {"theta", 1, "Theta-2-Theta"},        {"t", 1, "Theta-2-Theta"},
    {"t2t", 1, "Theta-2-Theta"},          {"theta-2-theta", 1, "Theta-2-Theta"},
    {"theta-2theta", 1, "Theta-2-Theta"}, {"theta2theta", 1, "Theta-2-Theta"},
};

// --- defaults that are not fixed

QString programDirectory(const Configuration&)
{
    return modTools::state().programDirectory;
}
QString presentWorkDir(const Configuration& now)
{
    return now.general.workDir;
}
QString thetaMin(const Configuration& now)
{
    return NumberText::General(now.general.thetaMin);
}
QString thetaMax(const Configuration& now)
{
    return NumberText::General(now.general.thetaMax);
}
QString lineOfModel(const Configuration& now)
{
    static constexpr struct
    {
        int codes; ///< models, as a mask
        const char* settings;
    } lines[] = {{16 | 32, "9600,n,8,1"}, {1, "1200,o,7,1"}, {2 | 4, "9600,o,7,1"}};
    const auto* found =
        std::find_if(std::begin(lines), std::end(lines), [&now](const auto& line) { return (line.codes & now.ltc.modelCode) != 0; });
    return found != std::end(lines) ? QString::fromLatin1(found->settings) : QString();
}

// --- directories

QString withSeparator(const QString& directory)
{
    const bool ends = directory.endsWith(u'/') || directory.endsWith(QDir::separator());
    return ends ? directory : directory + QDir::separator();
}
bool isUsable(const QString& directory, DirectoryTest usable)
{
    return !directory.isEmpty() && (usable == nullptr || usable(directory));
}
QString separated(const QString& directory, const Configuration&, DirectoryTest)
{
    return withSeparator(directory);
}
/// A directory that cannot be used gives way to the program's, also in the file.
QString repaired(const QString& directory, const Configuration&, DirectoryTest usable)
{
    if (isUsable(directory, usable))
        return directory;
    const modTools::State& tools = modTools::state();
    QString own = withSeparator(tools.programDirectory);
    if (!tools.keepSettings)
        PrivateProfile::WritePrivateProfileString(QStringLiteral("General"), QStringLiteral("WorkDir"), own, tools.iniPath);
    return own;
}
/// A repair that could not be written must not bring the unusable directory back.
QString usableOrPresent(const QString& directory, const Configuration& now, DirectoryTest usable)
{
    return isUsable(directory, usable) ? directory : now.general.workDir;
}

// --- ranges

constexpr Range angles{-180, 180};
constexpr Range ports{1, 256};
constexpr Range notNegative{0, {}};
constexpr Range positive{1, {}};
constexpr Range onOff{0, 1};
constexpr Range kelvins{0, 1000};
constexpr Range furnaceDegrees{0, 3000};
constexpr Range milliamperes{0, 100};
constexpr Range kilovolts{0, 100};

// --- the table. For a new key: a member in Configuration.h, a row here, tools/update-settings.sh

// clang-format off
constexpr Setting generalKeys[] = {
    {"WorkDir", Text, "program directory", at<&C::general, &C::General::workDir>,
     "folder of the data files; replaced by the program directory when no file can be made in it",
     {.defaultOf = programDirectory, .keep = repaired, .logName = "WorkDir", .hint = "D:\\data\\"}},
    {"ScanMode", Word, "silent", inFlags<&Flags::scanMode>,
     "`online`, otherwise silent", {.texts = scanModes, .otherwise = 1, .example = "online"}},
    {"ProgramPath", Text, "program directory", at<&C::general, &C::General::programPath>,
     "folder of the auxiliary files", {.defaultOf = programDirectory, .keep = separated, .hint = "C:\\scan\\"}},
    {"ThetaMin", Number, "0", at<&C::general, &C::General::thetaMin>,
     "lowest position of the goniometer, in 2-Theta", {.unit = "deg", .range = angles}},
    {"ThetaMax", Number, "180", at<&C::general, &C::General::thetaMax>,
     "highest position of the goniometer, in 2-Theta", {.unit = "deg", .range = angles}},
    {"ScanStart", Number, "`ThetaMin`", at<&C::general, &C::General::scanStart>,
     "start of the last scan, in 2-Theta", {.unit = "deg", .range = angles, .defaultOf = thetaMin, .example = "10"}},
    {"ScanStop", Number, "`ThetaMax`", at<&C::general, &C::General::scanStop>,
     "stop of the last scan, in 2-Theta", {.unit = "deg", .range = angles, .defaultOf = thetaMax, .example = "90"}},
    {"ScanStep", Number, ".01", at<&C::general, &C::General::scanStep>,
     "distance of two points, in 2-Theta", {.unit = "deg", .range = {0.002, 180}, .example = ".02"}},
    {"ScanSpeed", Rounded, "1500", at<&C::general, &C::General::scanSpeed>,
     "motor speed while scanning, in the controller's units", {.range = positive}},
    {"SlewSpeed", Rounded, "4000", at<&C::general, &C::General::slewSpeed>,
     "motor speed while positioning, in the controller's units", {.range = positive}},
    {"WorkDir", Text, "", at<&C::general, &C::General::workDir>,
     "", {.defaultOf = presentWorkDir, .keep = usableOrPresent, .logName = "WorkDir"}},
    {"FileName", Text, "unnamed", at<&C::general, &C::General::fileName>, "sample name that the window begins with"},
    {"CounterTime", Number, ".1", at<&C::general, &C::General::counterTime>,
     "counting time per point", {.unit = "s", .range = {0.1, 500}, .example = "1"}},
    {"DelaySleep", Integer, "1", at<&C::general, &C::General::delaySleep>,
     "0: waits spin; anything else: the processor rests until the next event"},
    {"AutoSave", Switch, "1", at<&C::general, &C::General::autoSave>,
     "0: a temperature-profile run is a rehearsal, everything runs and no scan file is written", {.range = onOff}},
    {"TimeUnit", Integer, "0", at<&C::general, &C::General::timeUnitMinutes>,
     "1: dwell and exposure times of profiles are minutes, otherwise seconds", {.range = onOff}},
    {"ShowCommunication", Switch, "0", inFlags<&Flags::showCommunication>,
     "not 0: what goes over the temperature controllers' line is shown", {.range = onOff}},
    {"StripInterval", Integer, "0", at<&C::general, &C::General::stripInterval>,
     "time between two readings of the values in the strip while a line is idle: generator power, temperature, setpoint and output; 0: nothing "
     "is read for it, and no line carries traffic that nobody asked for",
     {.unit = "s", .range = notNegative, .unlogged = true}},
    {"InstrumentSpeed", Number, "1", at<&C::general, &C::General::instrumentSpeed>,
     "how many times as fast as a real one the instrument runs; the virtual instrument writes it, and remaining times follow it",
     {.range = {0.01, 100000}, .unlogged = true}},
};

constexpr Setting smcKeys[] = {
    {"SerialPort", Integer, "1", at<&C::smc, &Line::serialPort>,
     "COM port of the goniometer controller; 1 is /dev/ttyS0 on Linux", {.range = ports}},
    {"SerialDevice", Text, "", at<&C::smc, &Line::serialDevice>,
     "in place of the port: a device file, or a serial device server as `tcp:HOST:PORT`", {.hint = "/dev/ttyUSB0"}},
    {"Settings", Text, "9600,N,8,1", at<&C::smc, &Line::settings>, "baud rate, parity (N, O, E), data bits, stop bits"},
    {"TxDelay", Number, ".1", at<&C::smc, &Line::txDelay>, "pause after each command", {.unit = "s", .range = notNegative}},
    {"RxDelay", Number, ".1", at<&C::smc, &Line::rxDelay>, "quiet time that ends a reply", {.unit = "s", .range = notNegative}},
    {"MCRxTimeout", Number, "2", at<&C::smc, &Line::rxTimeout>,
     "longest wait for a reply; 0 counts as 2", {.unit = "s", .range = notNegative}},
};

constexpr Setting ltcLineKeys[] = {
    {"LTC", Switch, "0", at<&C::ltc, &C::LTC::enabled>, "not 0: the low-temperature controller is used", {.range = onOff}},
    {"Model", Word, "emu", at<&C::ltc, &C::LTC::modelCode>,
     "`drc81`: DRC-81C; `drc`, `drc91`: DRC-91CA; `330`, `ls330`: LakeShore 330; `331`, `ls331`: LakeShore 331; `emu`, `331emu330`, "
     "`ls331emuls330`: LakeShore 331 as 330",
     {.texts = ltcModels}},
    {"SerialPort", Integer, "1", at<&C::ltc, &C::LTC::line, &Line::serialPort>,
     "COM port of the temperature controllers", {.range = ports, .secondaryLogName = "giLTCCOMPort"}},
    {"SerialDevice", Text, "", at<&C::ltc, &C::LTC::line, &Line::serialDevice>,
     "in place of the port, as for the goniometer controller", {.hint = "/dev/ttyUSB1"}},
    {"Settings", Text, "by model: DRC 9600,n,8,1; 330 1200,o,7,1; 331 9600,o,7,1", at<&C::ltc, &C::LTC::line, &Line::settings>,
     "line settings", {.defaultOf = lineOfModel, .secondaryLogName = "gstrLTCCOMSettings", .hint = "9600,o,7,1"}},
    {"RxTimeout", Number, "1.5", at<&C::ltc, &C::LTC::line, &Line::rxTimeout>,
     "longest wait for a reply", {.unit = "s", .range = notNegative, .secondaryLogName = "gsTCRxTimeout"}},
    {"TxDelay", Number, ".5", at<&C::ltc, &C::LTC::line, &Line::txDelay>,
     "pause before and after each command", {.unit = "s", .range = notNegative, .secondaryLogName = "gsTCTxDelay"}},
    {"RxDelay", Number, "0", at<&C::ltc, &C::LTC::line, &Line::rxDelay>,
     "time between two looks at a reply that is coming", {.unit = "s", .range = notNegative, .secondaryLogName = "gsTCRxDelay"}},
    {"SICLInterfaceName", Text, "hpib7", at<&C::ltc, &C::LTC::siclInterfaceName>, "bus interface of the SICL library"},
    {"GPIBType", Text, "hp", at<&C::ltc, &C::LTC::gpibType>, "`hp`: SICL library; otherwise NI-488.2"},
    {"GPIBDeviceAddress", Integer, "0", at<&C::ltc, &C::LTC::gpibDeviceAddress>,
     "address on the instrument bus; 0: the controller is on the serial line", {.range = {0, 30}}},
    {"LS330_DEFAULT_PID", Text, "300=R3P300I50D0", at<&C::ltc, &C::LTC::ls330DefaultPID>, "line that is used where `ls330.pid` has none"},
    {"LS331_DEFAULT_PID", Text, "300=R3P300I50D0", at<&C::ltc, &C::LTC::ls331DefaultPID>, "line that is used where `ls331.pid` has none"},
    {"DRC81_DEFAULT_PID", Text, "300=R5P40I01D10", at<&C::ltc, &C::LTC::drc81DefaultPID>, "line that is used where `drc81.pid` has none"},
    {"DRC91_DEFAULT_PID", Text, "300=R5P40I01D10", at<&C::ltc, &C::LTC::drc91DefaultPID>, "line that is used where `drc91.pid` has none"},
};

constexpr Setting ltcLimitsKeys[] = {
    {"TMax", Integer, "300", at<&C::ltc, &C::LTC::tMax>, "highest temperature of a profile", {.unit = "K", .range = kelvins}},
    {"TMin", Integer, "8", at<&C::ltc, &C::LTC::tMin>, "lowest temperature of a profile", {.unit = "K", .range = kelvins}},
    {"MinQueries", Rounded, "10", at<&C::ltc, &C::LTC::minQueries>, "fewest readings of the steady-state test", {.range = {1, 32767}}},
    {"VerySmallWindow", Number, ".25", at<&C::ltc, &C::LTC::verySmallWindow>,
     "largest scatter of a steady temperature", {.unit = "K", .range = notNegative}},
    {"SmallWindow", Number, "1", at<&C::ltc, &C::LTC::smallWindow>,
     "largest distance of their mean from the setpoint", {.unit = "K", .range = notNegative}},
    {"LargeWindow", Number, "5", at<&C::ltc, &C::LTC::largeWindow>,
     "distance from the setpoint within which a reading counts", {.unit = "K", .range = notNegative}},
    {"ResetAfterTempRun", Switch, "0", at<&C::ltc, &C::LTC::resetAfterTempRun>,
     "not 0: default settings after a profile run", {.range = onOff, .logName = "gbLTCResetAfterTempRun"}},
    {"LogInterval", Integer, "30", at<&C::ltc, &C::LTC::logInterval>,
     "time between two lines of the cooldown log; longer ones are cut to 30",
     {.unit = "s", .range = {1, 30}, .held = {{}, 30}, .logName = "gbLTCCoolLogInterval"}},
    {"LongestWait", Number, "0", at<&C::ltc, &C::LTC::longestWait>,
     "a wait of a profile that takes longer is reported, and goes on; 0: none is", {.unit = "h", .range = notNegative}},
};

constexpr Setting htcKeys[] = {
    {"HTC", Switch, "0", at<&C::htc, &C::HTC::enabled>, "not 0: the high-temperature controller is used", {.range = onOff}},
    {"PIDFile", Text, "htc.pid", at<&C::htc, &C::HTC::pidFile>, "its control-parameter table"},
    {"HTC_DEFAULT_PID", Text, "900=P71I8D2", at<&C::htc, &C::HTC::defaultPID>,
     "line that is used where the table has none, and that a new table begins with"},
    {"TMin", Integer, "20", at<&C::htc, &C::HTC::tMin>, "lowest setpoint", {.unit = "deg C", .range = furnaceDegrees}},
    {"TMax", Integer, "1500", at<&C::htc, &C::HTC::tMax>, "highest setpoint", {.unit = "deg C", .range = furnaceDegrees}},
    {"Calibration", Switch, "0", at<&C::htc, &C::HTC::calibration>,
     "not 0: what is sent is `CalibrationOffset` + `CalibrationFactor` x setpoint", {.range = onOff}},
    {"CalibrationOffset", Number, "0", at<&C::htc, &C::HTC::calibrationOffset>, "offset of the calibration", {.unit = "deg C"}},
    {"CalibrationFactor", Number, "1", at<&C::htc, &C::HTC::calibrationFactor>, "factor of the calibration"},
    {"LongestWait", Number, "0", at<&C::htc, &C::HTC::longestWait>,
     "a wait of a profile that takes longer is reported, and goes on; 0: none is", {.unit = "h", .range = notNegative}},
};

constexpr Setting laserKeys[] = {
    {"Laser", Switch, "0", at<&C::laser, &C::Laser::enabled>, "not 0: the laser heater controller is used", {.range = onOff}},
    {"CurrentMode", Switch, "0", at<&C::laser, &C::Laser::currentMode>,
     "not 0: profiles give A, otherwise deg C, and the current is `CurrentOffset` + `CurrentPerDegree` x temperature", {.range = onOff}},
    {"CurrentOffset", Number, "0", at<&C::laser, &C::Laser::currentOffset>, "current at 0 deg C", {.unit = "A"}},
    {"CurrentPerDegree", Number, "0.002", at<&C::laser, &C::Laser::currentPerDegree>, "current for each degree", {.unit = "A/deg C"}},
    {"MaxCurrent", Number, "2.5", at<&C::laser, &C::Laser::maxCurrent>, "highest current", {.unit = "A", .range = notNegative}},
    {"TMin", Integer, "20", at<&C::laser, &C::Laser::tMin>, "lowest temperature", {.unit = "deg C", .range = furnaceDegrees}},
    {"TMax", Integer, "1200", at<&C::laser, &C::Laser::tMax>, "highest temperature", {.unit = "deg C", .range = furnaceDegrees}},
    {"CheckRounds", Integer, "3", at<&C::laser, &C::Laser::checkRounds>, "rounds of the presence check at the start", {.range = positive}},
    {"StabilizationDelay", Integer, "60", at<&C::laser, &C::Laser::stabilizationDelay>,
     "wait after a new current", {.unit = "s", .range = notNegative}},
};

constexpr Setting generatorKeys[] = {
    {"Remote", Switch, "0", at<&C::generator, &C::Generator::remote>,
     "not 0: tube current and voltage are remote-controlled", {.range = onOff}},
    {"SerialPort", Integer, "2", at<&C::generator, &C::Generator::line, &Line::serialPort>,
     "COM port of the X-ray generator", {.range = ports}},
    {"SerialDevice", Text, "", at<&C::generator, &C::Generator::line, &Line::serialDevice>,
     "in place of the port, as for the goniometer controller", {.hint = "/dev/ttyUSB2"}},
    {"Settings", Text, "9600,n,8,1", at<&C::generator, &C::Generator::line, &Line::settings>, "line settings"},
    {"TxDelay", Number, "0.1", at<&C::generator, &C::Generator::line, &Line::txDelay>,
     "pause after each command", {.unit = "s", .range = notNegative}},
    {"Model", Text, "", at<&C::generator, &C::Generator::modelCode>,
     "`3000`, `3003` or `seifert`; any other is asked nothing",
     {.texts = generatorModels, .otherwise = 0, .logName = "giGeneratorModel", .example = "seifert"}},
    {"Shutter", Integer, "0", at<&C::generator, &C::Generator::shutter>,
     "1 or more: the goniometer controller switches the shutter", {.range = onOff}},
    {"MaxCurrent", Integer, "40", at<&C::generator, &C::Generator::maxCurrent>,
     "highest tube current", {.unit = "mA", .range = milliamperes}},
    {"IdleCurrent", Integer, "5", at<&C::generator, &C::Generator::idleCurrent>,
     "tube current while nothing is measured", {.unit = "mA", .range = milliamperes}},
    {"MeasCurrent", Integer, "30", at<&C::generator, &C::Generator::measCurrent>,
     "tube current for measuring", {.unit = "mA", .range = milliamperes}},
    {"MaxVoltage", Integer, "40", at<&C::generator, &C::Generator::maxVoltage>, "highest tube voltage", {.unit = "kV", .range = kilovolts}},
    {"IdleVoltage", Integer, "20", at<&C::generator, &C::Generator::idleVoltage>,
     "tube voltage while nothing is measured", {.unit = "kV", .range = kilovolts}},
    {"MeasVoltage", Integer, "40", at<&C::generator, &C::Generator::measVoltage>,
     "tube voltage for measuring", {.unit = "kV", .range = kilovolts}},
    {"ReducePowerOnIdle", Switch, "0", at<&C::generator, &C::Generator::reducePowerOnIdle>,
     "not 0: idle power when nothing has run for a while after a scan or profile", {.range = onOff}},
    {"ReducePowerOnIdleDelay", Rounded, "15", at<&C::generator, &C::Generator::reducePowerOnIdleDelay>,
     "how long that while is", {.unit = "min", .range = notNegative}},
    {"GeneratorPowerSettlingTime", Rounded, "0", at<&C::generator, &C::Generator::powerSettlingTime>,
     "warm-up after a change of power", {.unit = "s", .range = notNegative}},
};

constexpr Setting goniometerKeys[] = {
    {"GoniometerType", Word, "Guinier", at<&C::general, &C::General::goniometerType>,
     "`theta`, `t`, `t2t`, `theta-2-theta`, `theta-2theta` or `theta2theta`: Theta-2-Theta (two axes, needs a 4412 controller); "
     "otherwise Guinier (one axis)",
     {.texts = goniometerTypes, .otherwise = 0}},
};
// clang-format on

constexpr Section sections[] = {
    {Block::General, "General", "[General]", "", generalKeys},
    {Block::Smc, "smc", "[SMC]", "the goniometer controller", smcKeys},
    {Block::LtcLine, "LTC", "[LTC]", "the low-temperature controller; its line is that of all temperature controllers", ltcLineKeys},
    {Block::LtcLimits, "LTC", nullptr, nullptr, ltcLimitsKeys},
    {Block::Htc, "HTC", "[HTC]", "the high-temperature controller; it shares line and settings with section LTC", htcKeys},
    {Block::Laser, "Laser", "[Laser]", "the laser heater controller; it shares line and settings with section LTC", laserKeys},
    {Block::Generator, "Generator", "[Generator]", "the X-ray generator", generatorKeys},
    {Block::Goniometer, "General", nullptr, nullptr, goniometerKeys},
};
} // namespace

std::span<const Section> table()
{
    return sections;
}
} // namespace Settings
