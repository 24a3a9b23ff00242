// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Handlers.h"

#include "core/FrontPanel.h"
#include "core/startup/modMain.h"
#include "datafiles/modFile.h"
#include "goniometer/ScanRun.h"
#include "goniometer/Utilities.h"
#include "ui/frmAbout.h"
#include "ui/frmManual.h"
#include "ui/frmRatemeter.h"
#include "ui/frmSetWorkDir.h"
#include "ui/frmSettings.h"

#include <QHash>
#include <QWidget>

namespace Handlers {
namespace {
template <typename Dialog>
void show(QWidget* mainWindow)
{
    Dialog(mainWindow).exec();
}

void settings(QWidget* mainWindow)
{
    show<frmSettings>(mainWindow);
    // The longer caption is meant to differ from that of the start.
    frontPanel().setCaption(modMain::LongCaption());
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
        {mnuExtrasSMCGetRAMData, [](QWidget*) { GoniometerUtilities::GetRAMData(); }},
        {mnuExtrasGoniometerGoTo, [](QWidget*) { GoniometerUtilities::GoTo(); }},
        {mnuExtrasSMCRef, [](QWidget*) { GoniometerUtilities::SearchReference(); }},
        {mnuExtrasSMCSetRefOffset, [](QWidget*) { GoniometerUtilities::SetReferenceOffset(); }},
        {mnuExtrasSMGetStatus, [](QWidget*) { GoniometerUtilities::ShowStatus(); }},
        {mnuExtrasSMCStop, [](QWidget*) { GoniometerUtilities::Stop(); }},
        {mnuExtrasRatemeter, show<frmRatemeter>},
        {mnuHelpHelp, frmManual::open},
        {mnuHelpAbout, show<frmAbout>},
    };
    return theTable;
}
} // namespace

Procedure of(Menu::Entry entry)
{
    return table().value(entry, nullptr);
}
} // namespace Handlers
