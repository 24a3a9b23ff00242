// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/NumberText.h"
#include "temperature/Controller.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modTC.h"

using namespace Qt::StringLiterals;

namespace {
Temperature::Scale scale()
{
    const Configuration::HTC& htc = configuration().htc;
    Temperature::Scale now;
    now.lowest = htc.tMin;
    now.highest = htc.tMax;
    now.rampStep = 1;
    now.unit = u"°C"_s;
    now.filePattern = u"xxxx"_s;
    now.fileMeaning = u"temperature"_s;
    return now;
}

std::optional<double> read()
{
    const float temperature = modHTC::GetTemperature();
    if (temperature < 0)
        return std::nullopt;
    return NumberText::LeadingNumber(NumberText::General(temperature));
}

qint16 look(float setpoint, QString* found)
{
    PIDTable::Values values;
    const qint16 status = PIDTable::Look(modHTC::PIDFilePath(), setpoint, modHTC::PIDUse(), &values);
    *found = PIDTable::ValuesText(values, PIDTable::Kind::PID);
    return status;
}

bool save(QString* said)
{
    modHTC::DataBlock now;
    if (modHTC::GetDataBlock(&now) != 0)
        return false;
    const PIDTable::Values values{0, now.p, now.i, now.d};
    const ProgramError error = PIDTable::Insert(modHTC::PIDFilePath(), configuration().general.workDir, static_cast<float>(now.setpoint),
                                                values, PIDTable::Kind::PID);
    *said = error ? error.description
                  : u"Saved: "_s + NumberText::General(qint32{now.setpoint}) + u"="_s + PIDTable::ValuesText(values, PIDTable::Kind::PID);
    return !error;
}
Temperature::Off switchOff()
{
    bool on = true;
    const bool told = modHTC::SwitchOffQuietly(&on);
    if (!told)
        return {false, u"the controller did not answer; its heater may still be on"_s};
    return on ? Temperature::Off{false, u"the heater output is still on"_s} : Temperature::Off{true, u"heater output off, confirmed"_s};
}
} // namespace

Temperature::Controller modHTC::controller()
{
    Temperature::Controller row;
    row.name = u"HTC"_s;
    row.fullName = u"high-temperature controller"_s;
    row.outputName = u"furnace heater"_s;
    row.outputEntry = Menu::Entry::mnuHTCHeaterOutput;
    row.outputHurts = true;
    row.switchOff = switchOff;
    row.enabled = []() -> bool& { return flags().htcEnabled; };
    row.menu = Menu::Entry::mnuHTC;
    row.readSettings = [] {
        configuration().readHtc();
        flags().htcEnabled = configuration().htc.enabled;
    };
    row.table = {[] { return configuration().htc.pidFile; }, LoadPIDFile, look, save};
    row.isThere = [] {
        modTC::Connect();
        return HTCCheckPresence() == 0;
    };
    row.scale = scale;
    row.startsAt = Temperature::roomTemperature;
    row.settlingTime = Temperature::rampedSettlingTime;
    row.set = NewSetpointWithPID;
    row.wait = HTCWaitUntilThere;
    row.read = read;
    row.refuses = SetpointRefusal;
    row.longestWait = [] { return configuration().htc.longestWait; };
    row.warnsWhenOff = true;
    row.readings = {[] { return IsPayload(HTCQuery(u"T"_s)); }}; // one block holds them all
    row.wayBack = [] {
        return Temperature::WayBack{[] { return NewSetpoint(Temperature::roomTemperature); }, Temperature::roomTemperature};
    };
    return row;
}
