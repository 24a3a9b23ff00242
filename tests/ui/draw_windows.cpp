// SPDX-License-Identifier: GPL-3.0-or-later

// Draws every window into the folder given, as the manual shows them: the program runs on the virtual instrument and measures quartz.
// Started by tools/screenshots.sh.

#include "LabWindow.h"

#include "core/Configuration.h"
#include "generator/GeneratorPower.h"
#include "goniometer/modSMC.h"
#include "plot/Chart2d.h"
#include "plot/Look.h"
#include "plot/modGraphics.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "temperature/CooldownLog.h"
#include "temperature/SteadyState.h"
#include "temperature/modLTC.h"
#include "ui/dlgGeneratorPower.h"
#include "ui/frmAbout.h"
#include "ui/frmCooldown.h"
#include "ui/frmRatemeter.h"
#include "ui/frmSetWorkDir.h"
#include "ui/frmSettings.h"
#include "ui/frmSplash.h"

#include <QDir>
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
bool failed = false;

void fail(const QString& text)
{
    std::fprintf(stderr, "%s\n", qPrintable(text));
    failed = true;
}

void keep(QWidget* widget, const QString& name)
{
    for (int round = 0; round < 5; ++round) // what is drawn later must be drawn
        QApplication::processEvents();
    const QString path = outDirectory + u'/' + name + QStringLiteral(".png");
    if (!widget->grab().toImage().convertToFormat(QImage::Format_RGB888).save(path, "PNG", 0))
        fail(QStringLiteral("cannot write ") + path);
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

/// The program on a virtual instrument with these devices, at this speed and with the axes there.
std::unique_ptr<LabWindow> start(int speed, const char* position, const QStringList& devices = {})
{
    auto bench = std::make_unique<LabWindow>();
    if (!bench->bringUp(QStringList{QStringLiteral("--position"), QString::fromLatin1(position)} + devices, speed))
        fail(QStringLiteral("the virtual instrument did not start"));
    return bench;
}

/// Nothing that was expected to open is missing, and nothing else has opened.
void finish(const LabWindow& bench)
{
    if (const QString complaint = bench.hand.complaint(); !complaint.isEmpty())
        fail(complaint);
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

/// At the pace of a real instrument: what is seen before a scan and in the middle of one.
void drawRun()
{
    const auto bench = start(1, "13,26");
    frmMain& window = *bench->window;
    {
        frmSplash splash;
        splash.show();
        keep(&splash, QStringLiteral("splash"));
    }
    keep(&window, QStringLiteral("main-window-start"));
    setParameters({QStringLiteral("26"), QStringLiteral("27.4"), QStringLiteral("0.02"), QStringLiteral("0.1")});
    bench->hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"),
                       [](QMessageBox* box) { keep(box, QStringLiteral("start-scan")); });
    bench->once([] { return frontPanel().progress() >= 35; },
                [&] {
                    frontPanel().setPicXRayOn(true);
                    keep(&window, QStringLiteral("main-window-running"));
                    keepMenu(window, "mnuMeasurement", QStringLiteral("menu-measurement-running"));
                    frontPanel().setPicXRayOn(false);
                });
    bench->choose(Menu::Entry::mnuMeasStartAcquisition);
    finish(*bench);
}

void drawDialogs(LabWindow& bench)
{
    frmMain& window = *bench.window;
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
    keep(LabWindow::textWindow(), QStringLiteral("text-display"));
    frontPanel().closeTextDisplay();

    configuration().smc.serialDevice = QStringLiteral("/dev/ttyS0"); // a line as the reader has it
    const auto picture = [](const char* name) { return [name](QMessageBox* box) { keep(box, QString::fromLatin1(name)); }; };
    bench.hand.expect(QStringLiteral("SMC status"), {}, QStringLiteral("OK"), picture("smc-status"));
    bench.choose(Menu::Entry::mnuExtrasSMGetStatus);
    bench.hand.expectWindow(QStringLiteral("Save data"), [](QDialog* dialog) {
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(QStringLiteral("quartz.sdf"));
        dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->clearFocus();
        keep(dialog, QStringLiteral("save"));
        dialog->reject();
    });
    bench.choose(Menu::Entry::mnuFileSaveAs);
    bench.hand.expect(QStringLiteral("Exit program"), {}, QStringLiteral("No"), picture("unsaved"));
    window.close();
    finish(bench);
}

void drawRatemeter(LabWindow& bench)
{
    bench.hand.rest();
    frmRatemeter ratemeter(bench.window.get());
    int readings = 0;
    bench.once([&] { return ratemeter.findChild<QLineEdit*>(QStringLiteral("txtValue"))->text().toDouble() > 0 && ++readings > 20; },
               [&] {
                   keep(&ratemeter, QStringLiteral("ratemeter"));
                   ratemeter.findChild<QPushButton*>(QStringLiteral("btnExit"))->click();
               });
    ratemeter.exec();
}

/// The scan of most pictures, and the windows beside it.
void drawScan()
{
    const auto bench = start(400, "10,20");
    frmMain& window = *bench->window;
    setParameters({QStringLiteral("20"), QStringLiteral("70"), QStringLiteral("0.02"), QStringLiteral("2")});
    bench->hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
    bench->choose(Menu::Entry::mnuMeasStartAcquisition);
    if (!flags().dataPresent)
        fail(QStringLiteral("no scan was measured"));
    frontPanel().setPanel(1, modGraphics::CursorText(26.64, true));
    keep(&window, QStringLiteral("main-window"));
    window.chart()->setIntensityAxis(Chart2d::IntensityAxis::SquareRoot);
    keep(window.chart(), QStringLiteral("chart-square-root"));
    window.chart()->setIntensityAxis(Chart2d::IntensityAxis::Linear);
    window.chart()->contextMenu()->popup(window.mapToGlobal(QPoint(400, 300)));
    keep(window.chart()->contextMenu(), QStringLiteral("menu-chart"));
    window.chart()->contextMenu()->close();
    drawDialogs(*bench);
    drawRatemeter(*bench);

    const QPalette before = QApplication::palette();
    QApplication::setPalette(dark());
    frontPanel().setPicXRayOn(true);
    frontPanel().setPicLaserOn(true);
    frontPanel().setPanel(1, modGraphics::CursorText(26.64, true));
    keep(&window, QStringLiteral("main-window-dark"));
    QApplication::setPalette(before);
}

/// A cryostat that cools from room temperature, logged for a while: once a second, with the cryostat much faster.
void drawCooldown()
{
    const auto bench = start(12, "10,20", {QStringLiteral("--ltc"), QStringLiteral("331")});
    configuration().ltc.logInterval = 1;
    configuration().general.workDir = QDir::tempPath();
    modLTC::LTCSetRange(3);
    modLTC::LTCNewSetpoint(80);
    bench->choose(Menu::Entry::mnuLTCLogCooldown);
    bench->desk().until([] { return CooldownLog::state().readings.size() >= 45; }, 90);
    auto* log = bench->window->findChild<frmCooldown*>();
    keep(log, QStringLiteral("cooldown"));
    CooldownLog::Stop();
    QFile::remove(CooldownLog::state().path);
    finish(*bench);
}

/// The profile editor, the question and the table of a run, on the way from the menu entry to the end of a run.
void drawProfile()
{
    const auto bench = start(500, "10,20", {QStringLiteral("--ltc"), QStringLiteral("331")});
    frmMain& window = *bench->window;
    configuration().ltc.minQueries = 5;
    TProfile::state().lines = {QStringLiteral("#quartz, cooled step by step;"), QStringLiteral("T1:295;T2:275;DT:5;DW:2;"),
                               QStringLiteral("T1:300;R:5;")};
    setParameters({QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("1")});
    TProfile::state().currentFile = configuration().general.workDir + QStringLiteral("cool.gtp");
    QFile taken(configuration().general.workDir + QStringLiteral("quartz_0290.0.sdf"));
    (void)taken.open(QIODevice::WriteOnly);
    taken.close();
    bench->hand.expectWindow(QStringLiteral("Temperature profile"), [](QDialog* dialog) {
        dialog->findChild<QListWidget*>(QStringLiteral("listProfile"))->setCurrentRow(1);
        keep(dialog, QStringLiteral("profile-editor"));
        dialog->findChild<QPushButton*>(QStringLiteral("btnOk"))->click();
    });
    bench->hand.expect(QStringLiteral("Temperature profile"), {}, QStringLiteral("Yes"), [](QMessageBox* box) {
        box->findChild<QToolButton*>(QStringLiteral("btnDetails"))->click();
        keep(box, QStringLiteral("profile-question"));
    });
    bench->hand.expect(QStringLiteral("Temperature profile"), {}, QStringLiteral("OK"));
    bench->once(
        [] {
            const ProfileRun::State& run = ProfileRun::state();
            return run.current == 2 && run.rows[2].phase == ProfileRun::Phase::Acquiring;
        },
        [&] {
            keep(window.findChild<QDialog*>(QStringLiteral("frmProfileRun")), QStringLiteral("profile-run"));
            modSMC::SMCSend(QStringLiteral("Q;"));
            flags().abort = true;
        });
    bench->choose(Menu::Entry::mnuMeasExecTempProfile);
    finish(*bench);
}

void drawGenerator()
{
    const auto bench = start(10, "0,0", {QStringLiteral("--generator")});
    bench->hand.rest();
    bench->choose(Menu::Entry::mnuExtrasGeneratorSetPower);
    auto* power = bench->window->findChild<dlgGeneratorPower*>();
    bench->desk().until([power] { return LabWindow::button(power, "btnOk")->isEnabled() && !GeneratorPower::state().txtmA.isEmpty(); });
    keep(power, QStringLiteral("generator-power"));
    power->reject();
}

/// Draws the modal window that an entry opens, and closes it.
void keepDialog(LabWindow& bench, Menu::Entry entry, const char* title, const char* picture)
{
    bench.hand.expectWindow(QString::fromUtf8(title), [picture](QDialog* dialog) {
        keep(dialog, QString::fromLatin1(picture));
        dialog->reject();
    });
    bench.choose(entry);
}

void drawWait(LabWindow& bench)
{
    bench.hand.expectWindow(QStringLiteral("New Setpoint"), [](QDialog* dialog) {
        auto* edit = dialog->findChild<QLineEdit*>();
        edit->setText(QStringLiteral("285 K"));
        edit->clearFocus();
        keep(dialog, QStringLiteral("new-setpoint"));
        dialog->accept();
    });
    bench.once([] { return SteadyState::underWay() && SteadyState::last().scatter() < 0.5F && LabWindow::textLines().size() > 1; },
               [] {
                   keep(LabWindow::textWindow(), QStringLiteral("wait"));
                   frontPanel().pressTextDisplayButton();
               });
    bench.choose(Menu::Entry::mnuLTCNewSetpointWithPID);
}

void drawTemperatureControllers()
{
    using enum Menu::Entry;
    auto bench = start(10, "0,0", {QStringLiteral("--ltc"), QStringLiteral("331")});
    keepMenu(*bench->window, "mnuLTC", QStringLiteral("ltc-menu"));
    keepDialog(*bench, mnuLTCQueryTemperature, "LTC", "ltc-temperature");
    keepDialog(*bench, mnuLTCChangePID, "LTC control parameters", "ltc-parameters");
    drawWait(*bench);
    finish(*bench);
    bench.reset();
    bench = start(10, "0,0", {QStringLiteral("--htc")});
    keepMenu(*bench->window, "mnuHTC", QStringLiteral("htc-menu"));
    keepDialog(*bench, mnuHTCChangePID, "HTC control parameters", "htc-parameters");
    finish(*bench);
    bench.reset();
    bench = start(10, "0,0", {QStringLiteral("--laser")});
    keepMenu(*bench->window, "mnuLaser", QStringLiteral("laser-menu"));
    keepDialog(*bench, mnuLaserTest, "Laser", "laser-test");
    finish(*bench);
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
    for (void (*draw)() : {drawRun, drawScan, drawCooldown, drawProfile, drawGenerator, drawTemperatureControllers})
        if (!failed)
            draw();
    return failed ? 1 : 0;
}
