// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/PrivateProfile.h"
#include "core/Prompts.h"
#include "core/Settings.h"
#include "core/modTools.h"
#include "gpib/modGPIB.h"
#include "temperature/Controller.h"
#include "temperature/LTCReadings.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
Temperature::Scale scale()
{
    const Configuration::LTC& ltc = configuration().ltc;
    Temperature::Scale now;
    now.lowest = ltc.tMin;
    now.highest = ltc.tMax;
    now.smallestStep = 0.1;
    now.unit = u"K"_s;
    now.fileDigits = 6;
    now.fileDecimals = 1;
    now.filePattern = u"xxxx.x"_s;
    now.fileMeaning = u"temperature"_s;
    now.shownDecimals = 2;
    return now;
}

std::optional<double> read()
{
    const float temperature = modLTC::LTCReading();
    if (temperature < 0)
        return std::nullopt;
    return NumberText::LeadingNumber(NumberText::General(temperature));
}

qint16 look(float setpoint, QString* found)
{
    PIDTable::Values values;
    const qint16 status = modLTC::LTCOpenRPID(modLTC::RPIDFilePath(), setpoint, &values);
    *found = PIDTable::ValuesText(values, PIDTable::Kind::RPID);
    return status;
}

bool save(QString* said)
{
    modLTC::Parameters now;
    const std::optional<double> setpoint = modLTC::LTCGetStatus(now) == 0 ? modLTC::LTCAskSetpoint() : std::nullopt;
    if (!setpoint) {
        *said = u"The low-temperature controller does not answer."_s;
        return false;
    }
    return modLTC::LTCSaveRPIDParameter(modLTC::RPIDFilePath(), static_cast<float>(*setpoint), {now.range, now.p, now.i, now.d}) == 0;
}

bool initializeBus()
{
    const ProgramError error = modGPIB::GPIBInit();
    if (!error)
        return true;
    showMessage(u"GPIBInit()"_s, u"Error # "_s + NumberText::General(qint32{error.number}) + u"\r\n"_s + error.description);
    return false;
}

Temperature::Off switchOff()
{
    if (modLTC::LTCSetRange(0) != 0)
        return {false, u"the controller did not answer; its heater may still be on"_s};
    LTCReadings::Range();
    const Known<bool> output = instrument().controllers.value(u"LTC"_s).output;
    if (!output.isConfirmed())
        return {false, u"heater range 0 sent, not confirmed"_s};
    return *output.value ? Temperature::Off{false, u"the heater is still on"_s} : Temperature::Off{true, u"heater range 0, confirmed"_s};
}

void reportUnknownModel()
{
    const QString text = PrivateProfile::GetPrivateProfileString(u"LTC"_s, u"Model"_s, u"emu"_s, modTools::state().iniPath);
    if (flags().ltcEnabled && !Settings::valueOf(Settings::Block::LtcLine, u"Model"_s, text))
        Notices::show(u"model LTC"_s, u"Model="_s + text +
                                          u" in section LTC of scan.ini is no low-temperature controller that the program knows; "_s +
                                          u"it is taken for a "_s + modLTC::ControllerName() + u"."_s);
    else
        Notices::take(u"model LTC"_s);
}

bool isThere()
{
    if (!modLTC::OnBus())
        modTC::Connect();
    if (modLTC::LTCCheckPresence() != 0)
        return false;
    if (modLTC::LTCPrepare() == 0)
        return true;
    modLTC::LTCReportInitialization();
    return false;
}
} // namespace

Temperature::Controller modLTC::controller()
{
    Temperature::Controller row;
    row.name = u"LTC"_s;
    row.fullName = u"low-temperature controller"_s;
    row.outputName = u"heater of the cryostat"_s;
    row.switchOff = ::switchOff;
    row.enabled = []() -> bool& { return flags().ltcEnabled; };
    row.menu = Menu::Entry::mnuLTC;
    row.readSettings = [] {
        configuration().readLtcLine();
        flags().ltcEnabled = configuration().ltc.enabled;
        reportUnknownModel();
    };
    row.readLimits = [] { configuration().readLtcLimits(); };
    row.table = {RPIDFileName, LoadRPIDFile, look, save};
    row.onSerialLine = [] { return !OnBus(); };
    row.initializeBus = initializeBus;
    row.isThere = isThere;
    row.scale = scale;
    row.startsAt = 295;
    row.settlingTime = Temperature::rampedSettlingTime;
    row.set = [](double value, double ramp) { return LTCNewSetpointWithPID(static_cast<float>(value), static_cast<float>(ramp)); };
    row.wait = [](double value, double silence, double) { return LTCWaitUntilThere(static_cast<float>(value), silence); };
    row.read = read;
    row.longestWait = [] { return configuration().ltc.longestWait; };
    row.readings = LTCReadings::all();
    row.wayBack = [] { return configuration().ltc.resetAfterTempRun ? Temperature::WayBack{LTCDefault, {}} : Temperature::WayBack{}; };
    return row;
}
