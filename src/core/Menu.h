// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Flags.h"

#include <QList>
#include <QString>

/// What only one operation at a time works with.
enum class Resource : quint8 {
    Goniometer = 1,      ///< its controller: moves, counts, questions
    TemperatureLine = 2, ///< the temperature controllers' line, and what they are set to
    GeneratorLine = 4,
    ScanInMemory = 8,  ///< its points are about to change
    ScanToSave = 16,   ///< not to be saved yet
    Surroundings = 32, ///< what an unattended run relies on: work directory, settings, the log of the cryostat
    TubePower = 64,    ///< current and voltage, which whatever counts relies on
};
Q_DECLARE_FLAGS(Resources, Resource)
Q_DECLARE_OPERATORS_FOR_FLAGS(Resources)

/// The menu tree of the main window as data: names, first captions, order, groups.
namespace Menu {
enum class Entry {
    mnuFile,
    mnuFileOpen,
    mnuFileSaveAs,
    mnuFileSetWorkDir,
    mnuFileSettings,
    mnuFileExit,
    mnuMeasurement,
    mnuMeasStartAcquisition,
    mnuMeasExecTempProfile,
    mnuHTC,
    mnuHTCQueryTemperature,
    mnuHTCSetpoint,
    mnuHTCNewSetpointWithPID,
    mnuHTCHeaterOutput,
    mnuHTCChangePID,
    mnuHTCSavePID,
    mnuHTCAutoOptimize,
    mnuHTCDefault,
    mnuLTC,
    mnuLTCQuery,
    mnuLTCLogCooldown,
    mnuLTCQueryTemperature,
    mnuLTCSetpoint,
    mnuLTCNewSetpointWithPID,
    mnuLTCChangePID,
    mnuLTCSavePID,
    mnuLTCAutoTune,
    mnuLTCDefault,
    mnuLaser,
    mnuLaserBeam,
    mnuLaserSetpoint,
    mnuLaserTest,
    mnuExtras,
    mnuExtrasSMC,
    mnuExtrasSMCGetRAMData,
    mnuExtrasGoniometerGoTo,
    mnuExtrasSMCRef,
    mnuExtrasSMCSetRefOffset,
    mnuExtrasSMGetStatus,
    mnuExtrasSMCStop,
    mnuExtrasGenerator,
    mnuExtrasGeneratorSwitchShutter,
    mnuExtrasGeneratorSetPower,
    mnuExtrasGeneratorGetStatus,
    mnuExtrasRatemeter,
    mnuExtrasAllOff,
    mnuHelp,
    mnuHelpHelp,
    mnuHelpAbout,
};

struct Item
{
    Entry entry;
    const char* name;               ///< object name in the window
    const char16_t* caption;        ///< first caption; "&" marks the access key
    Entry parent;                   ///< the menu it stands in; itself for a menu of the menu bar
    bool separatorBefore;           ///< a new group begins
    Resources needs = {};           ///< disabled while an operation holds one of these
    bool Flags::*device = nullptr;  ///< the menu of a temperature controller: set while that is in use
    const char* outputOf = nullptr; ///< switches the output of this controller (Instrument::controllers): off goes at any time
};

/// All entries in the order of the menus.
const QList<Item>& items();
const Item& item(Entry entry);
/// True when other entries stand in it.
bool isMenu(Entry entry);

/// The two captions of mnuMeasStartAcquisition.
inline constexpr char16_t startCaption[] = u"&Start Data Acquisition";
inline constexpr char16_t abortCaption[] = u"Abort Data Acquisition";
} // namespace Menu
