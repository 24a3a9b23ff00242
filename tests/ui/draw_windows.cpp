// SPDX-License-Identifier: GPL-3.0-or-later

// Draws every window into the folder given, as the manual shows them: the program runs on the virtual instrument and measures quartz.
// Started by tools/screenshots.sh.

#include "Operator.h"
#include "VirtualLab.h"

#include "core/Configuration.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "goniometer/modSMC.h"
#include "plot/Chart2d.h"
#include "plot/Look.h"
#include "plot/modGraphics.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "temperature/CooldownLog.h"
#include "temperature/SteadyState.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"
#include "ui/UiPrompts.h"
#include "ui/dlgGeneratorPower.h"
#include "ui/frmAbout.h"
#include "ui/frmCooldown.h"
#include "ui/frmMain.h"
#include "ui/frmRatemeter.h"
#include "ui/frmSetWorkDir.h"
#include "ui/frmSettings.h"
#include "ui/frmSplash.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QToolButton>

#include <cstdio>
#include <memory>

namespace {
QString outDirectory;

void keep(QWidget* widget, const QString& name)
{
    for (int round = 0; round < 5; ++round) // what is drawn later must be drawn
        QApplication::processEvents();
    const QString path = outDirectory + u'/' + name + QStringLiteral(".png");
    if (!widget->grab().toImage().convertToFormat(QImage::Format_RGB888).save(path, "PNG", 0))
        std::fprintf(stderr, "cannot write %s\n", qPrintable(path));
}

void keepMenu(frmMain& window, const char* name, const QString& picture)
{
    QMenu* menu = window.findChild<QAction*>(QString::fromLatin1(name))->menu();
    menu->popup(window.mapToGlobal(QPoint(20, 30)));
    keep(menu, picture);
    menu->close();
}

QPalette dark()
{
    QPalette palette;
    const QColor window(0x2b, 0x2d, 0x30), base(0x1e, 0x1f, 0x22), text(0xe6, 0xe6, 0xe6), faint(0x80, 0x80, 0x80);
    palette.setColor(QPalette::Window, window);
    palette.setColor(QPalette::Button, window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::AlternateBase, window);
    palette.setColor(QPalette::ToolTipBase, base);
    for (QPalette::ColorRole role :
         {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::ToolTipText, QPalette::BrightText}) {
        palette.setColor(role, text);
        palette.setColor(QPalette::Disabled, role, faint);
    }
    palette.setColor(QPalette::PlaceholderText, faint);
    return palette;
}

/// Does something once, as soon as `when` holds.
void once(QTimer& timer, std::function<bool()> when, std::function<void()> what)
{
    QObject::connect(&timer, &QTimer::timeout, &timer, [&timer, when = std::move(when), what = std::move(what)] {
        if (!when())
            return;
        timer.stop();
        what();
    });
    timer.start(10);
}

void setParameters(const QStringList& values)
{
    using enum FrontPanel::Field;
    const FrontPanel::Field fields[] = {ScanStart, ScanStop, ScanStep, CounterTime};
    for (qsizetype i = 0; i < values.size(); ++i)
        frontPanel().setText(fields[i], values[i]);
    frontPanel().setText(txtFileName, QStringLiteral("quartz"));
    frontPanel().setText(txtComment, QStringLiteral("Quartz, as received\r\nside loaded"));
}

/// At the pace of a real instrument: what is seen in the middle of a scan.
void drawRun(frmMain& window)
{
    setParameters({QStringLiteral("26"), QStringLiteral("27.4"), QStringLiteral("0.02"), QStringLiteral("0.1")});
    Operator hand;
    hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"), [](QMessageBox* box) { keep(box, QStringLiteral("start-scan")); });
    QTimer during;
    once(
        during, [] { return frontPanel().progress() >= 35; },
        [&] {
            frontPanel().setPicXRayOn(true);
            keep(&window, QStringLiteral("main-window-running"));
            keepMenu(window, "mnuMeasurement", QStringLiteral("menu-measurement-running"));
            frontPanel().setPicXRayOn(false);
        });
    window.entry(Menu::Entry::mnuMeasStartAcquisition)->trigger();
}

/// The scan of the other pictures, much faster.
void measure(frmMain& window)
{
    setParameters({QStringLiteral("20"), QStringLiteral("70"), QStringLiteral("0.02"), QStringLiteral("2")});
    Operator hand;
    hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
    window.entry(Menu::Entry::mnuMeasStartAcquisition)->trigger();
}

/// The profile editor, the question and the table of a run, on the way from the menu entry to the end of a run.
void drawProfile(frmMain& window, const QString& suffix = {})
{
    configuration().ltc.minQueries = 5;
    TProfile::state().lines = {QStringLiteral("#quartz, cooled step by step;"), QStringLiteral("T1:295;T2:275;DT:5;DW:2;"),
                               QStringLiteral("T1:300;R:5;")};
    setParameters({QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("1")});
    TProfile::state().currentFile = configuration().general.workDir + QStringLiteral("cool.gtp");
    QFile taken(configuration().general.workDir + QStringLiteral("quartz_0290.0.sdf"));
    (void)taken.open(QIODevice::WriteOnly);
    taken.close();
    Operator hand;
    hand.expectWindow(QStringLiteral("Temperature profile"), [&](QDialog* dialog) {
        dialog->findChild<QListWidget*>(QStringLiteral("listProfile"))->setCurrentRow(1);
        keep(dialog, QStringLiteral("profile-editor") + suffix);
        dialog->findChild<QPushButton*>(QStringLiteral("btnOk"))->click();
    });
    hand.expect(QStringLiteral("Temperature profile"), {}, QStringLiteral("Yes"), [&](QMessageBox* box) {
        box->findChild<QToolButton*>(QStringLiteral("btnDetails"))->click();
        keep(box, QStringLiteral("profile-question") + suffix);
    });
    hand.expect(QStringLiteral("Temperature profile"), {}, QStringLiteral("OK"));
    QTimer during;
    once(
        during,
        [] {
            const ProfileRun::State& run = ProfileRun::state();
            return run.current == 2 && run.rows[2].phase == ProfileRun::Phase::Acquiring;
        },
        [&] {
            keep(window.findChild<QDialog*>(QStringLiteral("frmProfileRun")), QStringLiteral("profile-run") + suffix);
            modSMC::SMCSend(QStringLiteral("Q;"));
            flags().abort = true;
        });
    window.entry(Menu::Entry::mnuMeasExecTempProfile)->trigger();
    delete window.findChild<QDialog*>(QStringLiteral("frmProfileRun"));
}

void drawDialogs(frmMain& window)
{
    {
        frmSettings settings(&window);
        settings.show();
        keep(&settings, QStringLiteral("settings"));
    }
    {
        frmSetWorkDir directory(&window);
        directory.show();
        keep(&directory, QStringLiteral("work-directory"));
    }
    {
        frmAbout about(&window);
        about.show();
        keep(&about, QStringLiteral("about"));
    }
    frontPanel().openTextDisplay(QStringLiteral("X-Ray Generator"));
    frontPanel().setTextDisplay(QStringLiteral("current: 30 mA\r\nvoltage: 40 kV"));
    for (QWidget* top : QApplication::topLevelWidgets())
        if (top->objectName() == QLatin1String("frmTextDisplay"))
            keep(top, QStringLiteral("text-display"));
    frontPanel().closeTextDisplay();

    Operator hand;
    const auto picture = [](const char* name) { return [name](QMessageBox* box) { keep(box, QString::fromLatin1(name)); }; };
    hand.expect(QStringLiteral("SMC status"), {}, QStringLiteral("OK"), picture("smc-status"));
    window.entry(Menu::Entry::mnuExtrasSMGetStatus)->trigger();
    hand.expectWindow(QStringLiteral("Save data"), [](QDialog* dialog) {
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("quartz.sdf"));
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->clearFocus();
        keep(dialog, QStringLiteral("save"));
        dialog->reject();
    });
    window.entry(Menu::Entry::mnuFileSaveAs)->trigger();
    hand.expect(QStringLiteral("Exit program"), {}, QStringLiteral("No"), picture("unsaved"));
    window.close();
    hand.rest();

    frmRatemeter ratemeter(&window);
    QTimer during;
    int readings = 0;
    once(
        during,
        [&] { return ratemeter.findChild<QLineEdit*>(QStringLiteral("txtValue"))->text().trimmed().toDouble() > 0 && ++readings > 20; },
        [&] {
            keep(&ratemeter, QStringLiteral("ratemeter"));
            ratemeter.findChild<QPushButton*>(QStringLiteral("btnExit"))->click();
        });
    ratemeter.exec();
}
/// A cryostat that cools from room temperature, logged for a while: once a second, with the cryostat much faster.
void drawCooldown(frmMain& window)
{
    configuration().ltc.logInterval = 1;
    configuration().general.workDir = QDir::tempPath();
    modLTC::LTCSetRange(3);
    modLTC::LTCNewSetpoint(80);
    window.entry(Menu::Entry::mnuLTCLogCooldown)->trigger();
    auto* log = window.findChild<frmCooldown*>();
    if (log == nullptr)
        return;
    QElapsedTimer since;
    since.start();
    while (CooldownLog::state().readings.size() < 45 && since.elapsed() < 90000)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    keep(log, QStringLiteral("cooldown"));
    CooldownLog::Stop();
    QFile::remove(CooldownLog::state().path);
    log->close();
}

/// The program on an instrument with other devices; the window stays.
bool changeDevices(std::unique_ptr<VirtualLab>& lab, const QStringList& devices)
{
    modGenerator::reset();
    modTC::reset();
    lab = std::make_unique<VirtualLab>();
    if (!lab->start(QStringList{QStringLiteral("--speed"), QStringLiteral("10")} + devices)) {
        std::fprintf(stderr, "the virtual instrument did not start\n");
        return false;
    }
    lab->connectProgram();
    return true;
}

/// Draws the modal window that an entry opens, and closes it.
void keepDialog(frmMain& window, Menu::Entry entry, const char* title, const char* picture)
{
    Operator hand;
    hand.expectWindow(QString::fromUtf8(title), [picture](QDialog* dialog) {
        keep(dialog, QString::fromLatin1(picture));
        dialog->reject();
    });
    window.entry(entry)->trigger();
}

void drawWait(frmMain& window)
{
    Operator hand;
    hand.expectWindow(QStringLiteral("New Setpoint"), [](QDialog* dialog) {
        auto* edit = dialog->findChild<QLineEdit*>();
        edit->setText(QStringLiteral("285 K"));
        edit->clearFocus();
        keep(dialog, QStringLiteral("new-setpoint"));
        dialog->accept();
    });
    QTimer during;
    once(
        during, [] { return SteadyState::last().scatter() < 0.5F; },
        [] {
            for (QWidget* top : QApplication::topLevelWidgets())
                if (top->objectName() == QLatin1String("frmTextDisplay"))
                    keep(top, QStringLiteral("wait"));
            frontPanel().pressTextDisplayButton();
        });
    window.entry(Menu::Entry::mnuLTCNewSetpointWithPID)->trigger();
}

bool drawDevices(frmMain& window, std::unique_ptr<VirtualLab>& lab)
{
    using enum Menu::Entry;
    if (!changeDevices(lab, {QStringLiteral("--generator")}))
        return false;
    window.entry(mnuExtrasGeneratorSetPower)->trigger();
    if (auto* power = window.findChild<dlgGeneratorPower*>()) {
        while (GeneratorPower::state().txtmA.isEmpty())
            QApplication::processEvents();
        keep(power, QStringLiteral("generator-power"));
        power->reject();
    }
    if (!changeDevices(lab, {QStringLiteral("--ltc"), QStringLiteral("331")}))
        return false;
    keepMenu(window, "mnuLTC", QStringLiteral("ltc-menu"));
    keepDialog(window, mnuLTCQueryTemperature, "LTC", "ltc-temperature");
    keepDialog(window, mnuLTCChangePID, "LTC control parameters", "ltc-parameters");
    drawWait(window);
    if (!changeDevices(lab, {QStringLiteral("--htc")}))
        return false;
    keepMenu(window, "mnuHTC", QStringLiteral("htc-menu"));
    keepDialog(window, mnuHTCChangePID, "HTC control parameters", "htc-parameters");
    if (!changeDevices(lab, {QStringLiteral("--laser")}))
        return false;
    keepMenu(window, "mnuLaser", QStringLiteral("laser-menu"));
    keepDialog(window, mnuLaserTest, "Laser", "laser-test");
    return true;
}
} // namespace

int main(int argc, char* argv[])
{
    QApplication application(argc, argv);
    const bool allDark = argc == 3 && qstrcmp(argv[2], "dark") == 0;
    if (argc != 2 && !allDark) {
        std::fprintf(stderr, "usage: draw-windows FOLDER [dark]\n");
        return 2;
    }
    if (allDark)
        QApplication::setPalette(dark());
    outDirectory = QDir(QString::fromLocal8Bit(argv[1])).absolutePath();
    QDir().mkpath(outDirectory);
    Look::useAccent();
    UiPrompts uiPrompts;
    setPrompts(&uiPrompts);
    auto lab = std::make_unique<VirtualLab>();
    const auto start = [&lab](const char* speed, const char* position, const QStringList& devices = {}) {
        lab = std::make_unique<VirtualLab>();
        if (lab->start(QStringList{QStringLiteral("--speed"), QString::fromLatin1(speed), QStringLiteral("--position"),
                                   QString::fromLatin1(position)} +
                       devices)) {
            lab->connectProgram();
            return true;
        }
        std::fprintf(stderr, "the virtual instrument did not start\n");
        return false;
    };
    if (!start("1", "13,26"))
        return 1;
    {
        frmSplash splash;
        splash.show();
        keep(&splash, QStringLiteral("splash"));
    }
    frmMain window;
    window.show();
    keep(&window, QStringLiteral("main-window-start"));
    drawRun(window);
    if (!start("400", "10,20"))
        return 1;
    measure(window);
    if (!flags().dataPresent) {
        std::fprintf(stderr, "no scan was measured\n");
        return 1;
    }
    frontPanel().setPanel(1, modGraphics::CursorText(26.64, true));
    keep(&window, QStringLiteral("main-window"));
    window.chart()->setIntensityAxis(Chart2d::IntensityAxis::SquareRoot);
    keep(window.chart(), QStringLiteral("chart-square-root"));
    window.chart()->setIntensityAxis(Chart2d::IntensityAxis::Linear);
    window.chart()->contextMenu()->popup(window.mapToGlobal(QPoint(400, 300)));
    keep(window.chart()->contextMenu(), QStringLiteral("menu-chart"));
    window.chart()->contextMenu()->close();
    drawDialogs(window);
    if (!start("12", "10,20", {QStringLiteral("--ltc"), QStringLiteral("331")}))
        return 1;
    drawCooldown(window);
    if (!start("500", "10,20", {QStringLiteral("--ltc"), QStringLiteral("331")}))
        return 1;
    flags().dataSaved = true;
    drawProfile(window);
    if (!drawDevices(window, lab))
        return 1;

    QApplication::setPalette(dark());
    frontPanel().setPicXRayOn(true);
    frontPanel().setPicLaserOn(true);
    keep(&window, QStringLiteral("main-window-dark"));
    setPrompts(nullptr);
    return 0;
}
