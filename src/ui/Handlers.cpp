// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Handlers.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Operation.h"
#include "core/startup/modMain.h"
#include "datafiles/modFile.h"
#include "generator/modGenerator.h"
#include "goniometer/ScanRun.h"
#include "goniometer/Utilities.h"
#include "profile/ProfileRun.h"
#include "safety/AllOff.h"
#include "temperature/CooldownLog.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"
#include "ui/dlgGeneratorPower.h"
#include "ui/dlgTProfile.h"
#include "ui/frmAbout.h"
#include "ui/frmCooldown.h"
#include "ui/frmManual.h"
#include "ui/frmProfileRun.h"
#include "ui/frmRPID.h"
#include "ui/frmRatemeter.h"
#include "ui/frmSetWorkDir.h"
#include "ui/frmSettings.h"

#include <QHash>
#include <QWidget>

#include <memory>
#include <utility>

namespace Handlers {
namespace {
template <typename Dialog>
void show(QWidget* mainWindow)
{
    Dialog(mainWindow).exec();
}

/// While a temperature entry runs. The stop command ends its wait, and only this one.
class TemperatureEntry
{
public:
    TemperatureEntry() { flags().abort = false; }
    ~TemperatureEntry()
    {
        flags().abort = false;
        // A wait that goes on beside a scan keeps the line.
        if (SteadyState::goesOnByTicks())
            SteadyState::carry(std::move(m_operation));
        else if (modHTC::stabilizesByTicks())
            modHTC::carryStabilization(std::move(m_operation));
    }
    TemperatureEntry(const TemperatureEntry&) = delete;
    TemperatureEntry& operator=(const TemperatureEntry&) = delete;

    bool granted() const { return m_operation->granted(); }

private:
    std::unique_ptr<Operation> m_operation = std::make_unique<Operation>(Operations::temperature);
};

/// An entry that exchanges with a temperature controller.
template <void (*procedure)()>
void temperature(QWidget*)
{
    const TemperatureEntry entry;
    if (entry.granted())
        procedure();
}

template <void (*procedure)(QWidget*)>
void temperatureDialog(QWidget* mainWindow)
{
    const TemperatureEntry entry;
    if (entry.granted())
        procedure(mainWindow);
}

template <void (*procedure)()>
void generator(QWidget*)
{
    const Operation use(Operations::generator);
    if (use.granted())
        procedure();
}

bool isOn(Menu::Entry entry)
{
    return instrument().mayBeOn(QString::fromLatin1(Menu::item(entry).outputOf));
}

/// An entry that switches an output: off goes at any time, beside whatever waits.
template <Menu::Entry entry, void (*procedure)()>
void output(QWidget* mainWindow)
{
    if (!Operation::open(Resource::TemperatureLine) && isOn(entry))
        AllOff::SwitchOff(entry);
    else
        temperature<procedure>(mainWindow);
}

void settings(QWidget* mainWindow)
{
    show<frmSettings>(mainWindow);
    // The longer caption is meant to differ from that of the start.
    frontPanel().setCaption(modMain::LongCaption());
}

void logCooldown(QWidget* mainWindow)
{
    frmCooldown::follow(mainWindow);
    CooldownLog::mnuLTCLogCooldown();
}

void temperatureProfile(QWidget* mainWindow)
{
    frmProfileRun::follow(mainWindow);
    ProfileRun::Execute({[mainWindow] { return dlgTProfile::edit(mainWindow); }, {}});
}

const QHash<Menu::Entry, Procedure>& table()
{
    using enum Menu::Entry;
    static const QHash<Menu::Entry, Procedure> theTable = {
        {mnuFileOpen, [](QWidget*) { modFile::OpenScanFile(true); }},
        {mnuFileSaveAs, [](QWidget*) { modFile::SaveAs(); }},
        {mnuFileSetWorkDir, show<frmSetWorkDir>},
        {mnuFileSettings, settings},
        {mnuFileExit, [](QWidget* mainWindow) { mainWindow->close(); }},
        {mnuMeasStartAcquisition, [](QWidget*) { ScanRun::Start(); }},

        {mnuMeasExecTempProfile, temperatureProfile},

        {mnuHTCQueryTemperature, temperature<modHTC::mnuHTCQueryTemperature>},
        {mnuHTCSetpoint, temperature<modHTC::mnuHTCSetpoint>},
        {mnuHTCNewSetpointWithPID, temperature<modHTC::mnuHTCNewSetpointWithPID>},
        {mnuHTCHeaterOutput, output<mnuHTCHeaterOutput, modHTC::mnuHTCHeaterOutput>},
        {mnuHTCChangePID, temperatureDialog<frmPID::open>},
        {mnuHTCSavePID, temperature<modHTC::mnuHTCSavePID>},
        {mnuHTCAutoOptimize, temperature<modHTC::mnuHTCAutoOptimize>},
        {mnuHTCDefault, temperature<modHTC::mnuHTCDefault>},
        {mnuLTCQuery, temperature<modLTC::mnuLTCQuery>},
        {mnuLTCLogCooldown, logCooldown},
        {mnuLTCQueryTemperature, temperature<modLTC::mnuLTCQueryTemperature>},
        {mnuLTCSetpoint, temperature<modLTC::mnuLTCSetpoint>},
        {mnuLTCNewSetpointWithPID, temperature<modLTC::mnuLTCNewSetpointWithPID>},
        {mnuLTCChangePID, temperatureDialog<frmRPID::open>},
        {mnuLTCSavePID, temperature<modLTC::mnuLTCSavePID>},
        {mnuLTCAutoTune, temperature<modLTC::mnuLTCAutoTune>},
        {mnuLTCDefault, temperature<modLTC::mnuLTCDefault>},
        {mnuLaserBeam, output<mnuLaserBeam, modHTC_Laser::mnuLaserBeam>},
        {mnuLaserSetpoint, temperature<modHTC_Laser::mnuLaserSetpoint>},
        {mnuLaserTest, temperature<modHTC_Laser::mnuLaserTest>},

        {mnuExtrasGeneratorSwitchShutter, [](QWidget*) { modGenerator::mnuExtrasGeneratorSwitchShutter(); }},
        {mnuExtrasGeneratorSetPower, dlgGeneratorPower::open},
        {mnuExtrasGeneratorGetStatus, generator<modGenerator::mnuExtrasGeneratorGetStatus>},
        {mnuExtrasSMCGetRAMData, [](QWidget*) { GoniometerUtilities::GetRAMData(); }},
        {mnuExtrasGoniometerGoTo, [](QWidget*) { GoniometerUtilities::GoTo(); }},
        {mnuExtrasSMCRef, [](QWidget*) { GoniometerUtilities::SearchReference(); }},
        {mnuExtrasSMCSetRefOffset, [](QWidget*) { GoniometerUtilities::SetReferenceOffset(); }},
        {mnuExtrasSMGetStatus, [](QWidget*) { GoniometerUtilities::ShowStatus(); }},
        {mnuExtrasSMCStop, [](QWidget*) { GoniometerUtilities::Stop(); }},
        {mnuExtrasRatemeter, show<frmRatemeter>},
        {mnuExtrasAllOff, [](QWidget*) { AllOff::mnuExtrasAllOff(); }},
        {mnuHelpHelp, frmManual::open},
        {mnuHelpAbout, frmAbout::open},
    };
    return theTable;
}
} // namespace

Procedure of(Menu::Entry entry)
{
    return table().value(entry, nullptr);
}

bool runsAtOnce(Menu::Entry entry)
{
    using enum Menu::Entry;
    switch (entry) {
    case mnuMeasStartAcquisition: // then they abort
    case mnuMeasExecTempProfile:
        return Operation::canBreakOff(entry);
    case mnuLTCLogCooldown:
        return CooldownLog::state().running;
    case mnuHTCHeaterOutput:
    case mnuLaserBeam:
        return !Operation::open(Resource::TemperatureLine) && isOn(entry);
    case mnuExtrasSMCStop:
    case mnuExtrasGeneratorSwitchShutter:
    case mnuExtrasAllOff:
    case mnuFileExit:
        return true;
    default:
        return false;
    }
}
} // namespace Handlers
