// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/startup/modMain.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/PrivateProfile.h"
#include "core/Prompts.h"
#include "core/Settings.h"
#include "core/modTools.h"
#include "datafiles/Recovery.h"
#include "datafiles/modFile.h"
#include "generator/modGenerator.h"
#include "goniometer/ScanParameterCheck.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "safety/AllOff.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/CooldownLog.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

#include <cstdio>
#include <cstdlib>

namespace {
using modTools::WriteLog;
using Temperature::Controller;

constexpr double offPatience = 6; // s; an attempt that is under way then may last some more
const QString lineBreak = QStringLiteral("\r\n");
const QString programDirectoryOption = QStringLiteral("--program-dir");

void EndWithStatus1()
{
    modCOM::close();
    std::fflush(nullptr);
    std::_Exit(1); // destructors of windows and timers have no place in a nested wait
}

bool DirectoryUsable(const QString& directory)
{
    return modFile::DirectoryWritable(directory) == -1;
}

QString AboutText()
{
#if defined(__clang__)
    const QString compiler = QStringLiteral("Clang " __clang_version__);
#elif defined(__GNUC__)
    const QString compiler = QStringLiteral("GCC " __VERSION__);
#elif defined(_MSC_VER)
    const QString compiler = QStringLiteral("MSVC %1").arg(_MSC_VER);
#else
    const QString compiler = QStringLiteral("unknown compiler");
#endif
    return QStringLiteral("Scan %1\nData acquisition for a laboratory X-ray powder diffractometer\n"
                          "Licence: GNU General Public License, version 3 or later\nQt %2, %3")
        .arg(modMain::VersionText(), QStringLiteral(QT_VERSION_STR), compiler);
}

void ShowParameters()
{
    const Configuration::General& general = configuration().general;
    FrontPanel& panel = frontPanel();
    panel.setText(FrontPanel::Field::ScanStart, modSMC::FormatSMCNumber(general.scanStart));
    panel.setText(FrontPanel::Field::ScanStop, modSMC::FormatSMCNumber(general.scanStop));
    panel.setText(FrontPanel::Field::ScanStep, modSMC::FormatSMCNumber(general.scanStep));
    panel.setText(FrontPanel::Field::CounterTime, modSMC::FormatSMCNumber(general.counterTime));
    panel.setText(FrontPanel::Field::txtFileName, general.fileName);
    panel.setText(FrontPanel::Field::txtWorkDir, general.workDir);
}

/// The controllers in an order of names; those that it does not know follow.
QList<const Controller*> InOrder(const QStringList& names)
{
    QList<const Controller*> rows;
    for (const QString& name : names)
        if (const Controller* row = Temperature::named(name); row != nullptr)
            rows += row;
    for (const Controller& row : std::as_const(Temperature::controllers()))
        if (!names.contains(row.name))
            rows += &row;
    return rows;
}

/// A row with an empty member could leave a heater without its command: it is taken out before anything uses it.
void RefuseIncompleteControllers()
{
    QStringList refused;
    Temperature::controllers().removeIf([&refused](const Controller& row) {
        const QStringList lacking = Temperature::lacking(row);
        if (!lacking.isEmpty())
            refused += u"The row of controller '"_qs + row.name + u"' lacks: "_qs + lacking.join(QStringLiteral(", ")) + u"."_qs;
        return !lacking.isEmpty();
    });
    for (const QString& text : std::as_const(refused)) {
        WriteLog(false, text);
        showMessage(QStringLiteral("Temperature controllers"), text + lineBreak + u"The controller is not used."_qs,
                    Prompts::Icon::Critical);
    }
}

void ReadTemperatureSections()
{
    Temperature::state().wanted.clear();
    for (const Controller* controller : modMain::ControllersAsRead()) {
        controller->readSettings();
        if (controller->inUse())
            Temperature::state().wanted += controller->name;
        if (controller->table.load != nullptr)
            controller->table.load();
        if (controller->readLimits != nullptr)
            controller->readLimits();
    }
}

void ReadGeneratorSection()
{
    configuration().readGenerator();
    flags().generatorRemote = configuration().generator.remote;
    flags().shutterRemote = configuration().generator.shutter >= 1;
}

/// Opens what the controller hangs on. A serial line that fails is reported there, and no controller is in use then.
bool OpenControllerLine(const Controller& controller)
{
    if (controller.onSerialLine != nullptr && !controller.onSerialLine())
        return controller.initializeBus == nullptr || controller.initializeBus();
    if (modCOM::TCComm().isOpen() || modCOM::OpenTCComm())
        return true;
    for (const Controller& other : std::as_const(Temperature::controllers()))
        other.enabled() = false;
    return false;
}

void ProbeTemperatureControllers()
{
    for (const Controller* controller : InOrder({QStringLiteral("HTC"), QStringLiteral("LTC"), QStringLiteral("Laser")})) {
        if (!controller->inUse())
            continue;
        if (controller->isThere == nullptr) {
            WriteLog(false, controller->name + u": no presence check, functions disabled"_qs);
            controller->enabled() = false;
        } else if (!OpenControllerLine(*controller) || !controller->isThere()) {
            controller->enabled() = false;
        }
    }
}

/// The log has the key further down, where it is read.
qint16 axesWanted()
{
    const QString type = PrivateProfile::GetPrivateProfileString(QStringLiteral("General"), QStringLiteral("GoniometerType"), QString(),
                                                                 modTools::state().iniPath);
    return Settings::valueOf(Settings::Block::Goniometer, QStringLiteral("GoniometerType"), type) == 1 ? 2 : 1;
}

void ProbeGoniometer()
{
    const qint16 axes = modCOM::OpenMCComm() ? modSMC::SMCCheck(axesWanted()) : qint16(0);
    modSMC::state().numberOfAxes = axes;
    flags().smcModelDigit = axes;
    if (axes != 0)
        return;
    flags().smcOnline = false;
    learn([](Instrument& now) { now.lineIs(&Instrument::goniometerLine, Instrument::Line::Simulation); });
}
/// Takes over the goniometer type unless it needs more axes than the controller has.
bool GoniometerTypeUsable()
{
    const int type = configuration().readGoniometerType();
    modSMC::state().axesMissing = flags().smcOnline && type == 1 && flags().smcModelDigit < 2;
    if (modSMC::state().axesMissing)
        ScanRun::TellMissingAxis();
    if (type == 1 && flags().smcModelDigit < 2) {
        showMessage(QStringLiteral("Goniometer Type Theta-2-Theta"), QStringLiteral("Selected goniometer type requires SMC 4412..."));
        return false;
    }
    flags().goniometerType = type;
    return true;
}

void FinishLoading()
{
    ScanParameterCheck::CheckScanParameters();
    frontPanel().setPanel(1, QStringLiteral("Ready"));
    for (int number = 2; number <= 4; ++number)
        frontPanel().setPanel(number, {});
    if (flags().generatorRemote && modCOM::OpenGeneratorComm()) {
        modGenerator::Connect();
        modGenerator::StartIdleWatch();
    }
}
} // namespace

modMain::State& modMain::state()
{
    static State theState;
    return theState;
}

void modMain::Main(const QStringList& arguments)
{
    QStringList words = arguments;
    SetProgramDirectory(TakeProgramDirectory(words));
    ClearFlags();
    SetCommandLine(words);
    LoadSettings();
    SetCaption();
    modTools::DoEvents();
    modTools::Delay(1, true);
}

void modMain::SetProgramDirectory(const QString& wanted)
{
    if (!modTools::hasEndProgramHandler())
        modTools::setEndProgramHandler(EndWithStatus1);
    QString directory = wanted;
    if (directory.isEmpty()) {
        directory = QCoreApplication::applicationDirPath();
        const bool own = QFileInfo::exists(directory + u"/scan.ini"_qs) || DirectoryUsable(directory);
        if (!own)
            directory = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation) + u"/scan"_qs;
        QDir().mkpath(directory);
    }
    directory = QDir::toNativeSeparators(QDir::cleanPath(QDir(directory).absolutePath()));
    modTools::state().programDirectory = directory;
    modTools::state().iniPath = directory + QDir::separator() + u"scan.ini"_qs;
}

QList<const Controller*> modMain::ControllersAsRead()
{
    RefuseIncompleteControllers();
    return InOrder({QStringLiteral("LTC"), QStringLiteral("HTC"), QStringLiteral("Laser")});
}

QString modMain::TakeProgramDirectory(QStringList& arguments)
{
    QString directory;
    for (qsizetype i = 0; i < arguments.size();) {
        if (arguments[i] == programDirectoryOption) {
            arguments.removeAt(i);
            if (i < arguments.size())
                directory = arguments.takeAt(i);
        } else if (arguments[i].startsWith(programDirectoryOption + u'=')) {
            directory = arguments.takeAt(i).mid(programDirectoryOption.size() + 1);
        } else {
            ++i;
        }
    }
    return directory;
}

void modMain::ClearFlags()
{
    Flags& now = flags();
    now.log = now.too = now.sound = now.busy = now.idlePower = false;
}

void modMain::SetCommandLine(const QStringList& arguments)
{
    const QString line = arguments.join(u' ').toLower();
    flags().sound = line.contains(u"sound"_qs);
    flags().log = line.contains(u"log"_qs);
    flags().too = line.contains(u"too"_qs);
}

void modMain::LoadSettings()
{
    state().aboutText = AboutText();
    configuration().readGeneral(DirectoryUsable);
    modTools::state().spin = configuration().general.delaySleep == 0;
    ShowParameters();
    flags().smcOnline = true;
    configuration().readSmc();
    ReadTemperatureSections();
    ReadGeneratorSection();

    ProbeTemperatureControllers();
    ProbeGoniometer();

    if (GoniometerTypeUsable())
        FinishLoading();
    frontPanel().refreshEntries();
}

void modMain::SetCaption()
{
    frontPanel().setCaption(ShortCaption());
}

QString modMain::ShortCaption()
{
    if (!flags().smcOnline)
        return u"Scan"_qs + u" (Simulation)"_qs;
    return u"Scan"_qs + u" (441"_qs + NumberText::General(qint32{flags().smcModelDigit}) + u", "_qs +
           QString::fromLatin1(goniometerTypeName()) + u", "_qs + QString::fromLatin1(scanModeName()).toLower() + u" mode)"_qs;
}

QString modMain::LongCaption()
{
    return u"Scan"_qs + u" ("_qs + QString::fromLatin1(goniometerTypeName()) + u" diffractometer, "_qs +
           QString::fromLatin1(scanModeName()).toLower() + u" mode, controller 441"_qs +
           NumberText::General(qint32{flags().smcModelDigit}) + u")"_qs;
}

QString modMain::VersionText()
{
    return QStringLiteral(SCAN_VERSION);
}

qint16 modMain::SaveSettings()
{
    if (modTools::state().keepSettings)
        return 0;
    const auto field = [](FrontPanel::Field name) {
        QString text = frontPanel().text(name);
        return modTools::ReplaceAll(text, u","_qs, u"."_qs);
    };
    const QList<QPair<QString, QString>> values{
        {QStringLiteral("WorkDir"), configuration().general.workDir},
        {QStringLiteral("ScanStart"), field(FrontPanel::Field::ScanStart)},
        {QStringLiteral("ScanStop"), field(FrontPanel::Field::ScanStop)},
        {QStringLiteral("ScanStep"), field(FrontPanel::Field::ScanStep)},
        {QStringLiteral("CounterTime"), field(FrontPanel::Field::CounterTime)},
    };
    qint16 result = 0;
    for (const auto& [key, text] : values) {
        if (!PrivateProfile::WritePrivateProfileString(QStringLiteral("General"), key, text, modTools::state().iniPath))
            result = -1;
    }
    return result;
}

bool modMain::QueryClose()
{
    // Between two scans of a profile the controller is idle, but the heaters are on.
    const bool profile = Operation::isRunning(Operations::profile);
    if (profile || !modSMC::SMCIsReady()) {
        Prompts::Message box;
        box.title = QStringLiteral("Quit program");
        box.text = lineBreak + (profile ? u"A temperature profile is running!"_qs : u"SMC seems to be busy!"_qs) + lineBreak +
                   u"Are you sure that you want to quit?"_qs;
        box.icon = Prompts::Icon::Question;
        box.buttons = Prompts::Buttons::OkCancel;
        box.goesOn = Prompts::Button::Ok;
        box.safe = box.unattended = Prompts::Button::Cancel;
        if (prompts().message(box) != Prompts::Button::Ok)
            return false;
    }
    SaveSettings();
    return true;
}

bool modMain::QueryUnload()
{
    if (!flags().dataPresent || flags().dataSaved)
        return true;
    Prompts::Message box;
    box.title = QStringLiteral("Exit program");
    box.text = u"Data in memory were not yet saved!"_qs + lineBreak + u"Do you really want to quit?"_qs;
    box.icon = Prompts::Icon::Exclamation;
    box.buttons = Prompts::Buttons::YesNo;
    box.defaultButton = 2;
    box.goesOn = Prompts::Button::Yes;
    box.safe = box.unattended = Prompts::Button::No;
    if (prompts().message(box) != Prompts::Button::Yes)
        return false;
    Recovery::saved(); // he does not want it
    return true;
}

void modMain::OfferRecovered()
{
    const std::optional<Recovery::Unsaved> scan = Recovery::unsaved();
    if (!scan)
        return;
    const bool today = scan->begin.date() == modTools::currentDateTime().date();
    const QString when = scan->begin.toString(today ? QStringLiteral("hh:mm") : QStringLiteral("yyyy-MM-dd hh:mm"));
    Notices::show({QStringLiteral("recovered"),
                   QStringLiteral("A scan that was not saved: ") + scan->sample + QStringLiteral(", ") + when,
                   {{QStringLiteral("Open"), [path = scan->path] {
                         const bool free = Operation::free(Resource::ScanInMemory) && (!flags().dataPresent || flags().dataSaved);
                         if (!free)
                             showMessage(QStringLiteral("Open file"),
                                         QStringLiteral("Please save the scan in memory first. The copy is ") + path);
                         else if (modFile::OpenScanFile(false, path))
                             flags().dataSaved = false;
                         frontPanel().refreshEntries();
                     }}}});
}

bool modMain::QueryStillOn()
{
    const QStringList on = AllOff::stillOn();
    if (on.isEmpty())
        return true;
    Prompts::Message box;
    box.title = QStringLiteral("Exit program");
    box.text =
        u"Still on: "_qs + on.join(QStringLiteral(", ")) + u"."_qs + lineBreak + u"Switch everything off before the program ends?"_qs;
    box.icon = Prompts::Icon::Exclamation;
    box.buttons = Prompts::Buttons::YesNoCancel;
    box.goesOn = box.unattended = Prompts::Button::Yes;
    box.safe = Prompts::Button::Cancel;
    const Prompts::Button answer = prompts().message(box);
    if (answer != Prompts::Button::Yes)
        return answer == Prompts::Button::No;
    if (AllOff::Run(offPatience))
        return true;
    box.text = u"Not everything is known to be off:"_qs + lineBreak + AllOff::report() + lineBreak + lineBreak + u"End all the same?"_qs;
    box.icon = Prompts::Icon::Critical;
    box.buttons = Prompts::Buttons::YesNo;
    box.defaultButton = 2;
    box.safe = Prompts::Button::No;
    return prompts().message(box) == Prompts::Button::Yes;
}

void modMain::EndWithoutQuestions()
{
    SaveSettings();
    if (!AllOff::stillOn().isEmpty())
        AllOff::Run(offPatience);
}

void modMain::Close()
{
    flags().closing = true;
    CooldownLog::Stop();
    modCOM::close();
}
