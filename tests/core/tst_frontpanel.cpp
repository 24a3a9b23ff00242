// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Menu.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QSignalSpy>
#include <QTest>

#include <functional>

using Field = FrontPanel::Field;

namespace {
QStringList disabledEntries()
{
    QStringList names;
    for (const Menu::Item& item : Menu::items())
        if (!frontPanel().isEntryEnabled(item.entry))
            names.append(QString::fromLatin1(item.name));
    names.sort();
    return names;
}

QStringList joined(QStringList first, const QStringList& second)
{
    first += second;
    first.removeDuplicates();
    first.sort();
    return first;
}

const QStringList withoutDevices{u"mnuExtrasGenerator"_qs,
                                 u"mnuExtrasGeneratorGetStatus"_qs,
                                 u"mnuExtrasGeneratorSetPower"_qs,
                                 u"mnuExtrasGeneratorSwitchShutter"_qs,
                                 u"mnuHTC"_qs,
                                 u"mnuLTC"_qs,
                                 u"mnuLaser"_qs};
const QStringList save{u"mnuFileSaveAs"_qs};
const QStringList open{u"mnuFileOpen"_qs};
const QStringList controllerEntries{u"mnuExtrasGoniometerGoTo"_qs, u"mnuExtrasRatemeter"_qs, u"mnuExtrasSMCGetRAMData"_qs,
                                    u"mnuExtrasSMCRef"_qs, u"mnuExtrasSMCSetRefOffset"_qs};
const QStringList startEntry{u"mnuMeasStartAcquisition"_qs};
const QStringList powerEntry{u"mnuExtrasGeneratorSetPower"_qs};
const QStringList profileEntry{u"mnuMeasExecTempProfile"_qs};
const QStringList temperatureEntriesButTheLog{u"mnuHTCQueryTemperature"_qs,
                                              u"mnuHTCSavePID"_qs,
                                              u"mnuLTCQueryTemperature"_qs,
                                              u"mnuLTCSavePID"_qs,
                                              u"mnuHTCAutoOptimize"_qs,
                                              u"mnuHTCChangePID"_qs,
                                              u"mnuHTCDefault"_qs,
                                              u"mnuHTCHeaterOutput"_qs,
                                              u"mnuHTCNewSetpointWithPID"_qs,
                                              u"mnuHTCSetpoint"_qs,
                                              u"mnuLTCAutoTune"_qs,
                                              u"mnuLTCChangePID"_qs,
                                              u"mnuLTCDefault"_qs,
                                              u"mnuLTCNewSetpointWithPID"_qs,
                                              u"mnuLTCQuery"_qs,
                                              u"mnuLTCSetpoint"_qs,
                                              u"mnuLaserBeam"_qs,
                                              u"mnuLaserSetpoint"_qs,
                                              u"mnuLaserTest"_qs};
const QStringList temperatureEntries = temperatureEntriesButTheLog + QStringList{u"mnuLTCLogCooldown"_qs};
const QStringList settingEntries{u"mnuExtrasGeneratorSetPower"_qs, u"mnuFileSetWorkDir"_qs, u"mnuFileSettings"_qs};
} // namespace

class TestFrontPanel : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetProgram(); }

    void theMenusReadAsPrinted()
    {
        // menu bar at the margin, entries indented, "-" before a new group
        const char16_t* const expected = u"mnuFile &File\n"
                                         " mnuFileOpen &Open...\n"
                                         " mnuFileSaveAs &Save...\n"
                                         " -\n"
                                         " mnuFileSetWorkDir Set &Work Directory...\n"
                                         " mnuFileSettings Set&tings...\n"
                                         " -\n"
                                         " mnuFileExit E&xit\n"
                                         "mnuMeasurement &Measurement\n"
                                         " mnuMeasStartAcquisition &Start Data Acquisition\n"
                                         " -\n"
                                         " mnuMeasExecTempProfile Execute &Temperature Profile...\n"
                                         "mnuHTC &HTC\n"
                                         " mnuHTCQueryTemperature Query current &Temperature\n"
                                         " -\n"
                                         " mnuHTCSetpoint New &Setpoint (use current PID's)\n"
                                         " mnuHTCNewSetpointWithPID Ne&w Setpoint (load PID's)\n"
                                         " -\n"
                                         " mnuHTCHeaterOutput Heater &Output (is OFF)\n"
                                         " -\n"
                                         " mnuHTCChangePID &Change current PID's\n"
                                         " mnuHTCSavePID Save current &PID's\n"
                                         " -\n"
                                         " mnuHTCAutoOptimize &Auto Optimizing\n"
                                         " mnuHTCDefault Restore &Default Parameter\n"
                                         "mnuLTC &LTC\n"
                                         " mnuLTCQuery Query...\n"
                                         " mnuLTCLogCooldown Log Cooldown\n"
                                         " mnuLTCQueryTemperature Query current &Temperature\n"
                                         " -\n"
                                         " mnuLTCSetpoint &New Setpoint (use current RPID's)\n"
                                         " mnuLTCNewSetpointWithPID Ne&w Setpoint (load RPID's)\n"
                                         " -\n"
                                         " mnuLTCChangePID &Change current RPID's\n"
                                         " mnuLTCSavePID Save current &RPID's\n"
                                         " -\n"
                                         " mnuLTCAutoTune Auto&tuning (is OFF)\n"
                                         " mnuLTCDefault Restore &Default Settings\n"
                                         "mnuLaser La&ser\n"
                                         " mnuLaserBeam Beam &ON\n"
                                         " mnuLaserSetpoint New &Temperature Setpoint\n"
                                         " -\n"
                                         " mnuLaserTest Test\n"
                                         "mnuExtras E&xtras\n"
                                         " mnuExtrasSMC &SMC\n"
                                         "  mnuExtrasSMCGetRAMData &Get RAM Data\n"
                                         "  -\n"
                                         "  mnuExtrasGoniometerGoTo &GoTo...\n"
                                         "  mnuExtrasSMCRef Search &Reference Position\n"
                                         "  mnuExtrasSMCSetRefOffset Set Reference &Offset\n"
                                         "  -\n"
                                         "  mnuExtrasSMGetStatus Get &Status...\n"
                                         "  -\n"
                                         "  mnuExtrasSMCStop &STOP Motion\n"
                                         " mnuExtrasGenerator X-Ray Generator\n"
                                         "  mnuExtrasGeneratorSwitchShutter OPEN &X-Ray Shutter\n"
                                         "  -\n"
                                         "  mnuExtrasGeneratorSetPower Set &Power...\n"
                                         "  mnuExtrasGeneratorGetStatus Get &Status...\n"
                                         " -\n"
                                         " mnuExtrasRatemeter &Ratemeter\n"
                                         " -\n"
                                         " mnuExtrasAllOff All &Off\n"
                                         "mnuHelp &Help\n"
                                         " mnuHelpHelp &Help...\n"
                                         " -\n"
                                         " mnuHelpAbout &About\n";
        QString tree;
        for (const Menu::Item& item : Menu::items()) {
            int depth = 0;
            for (Menu::Entry entry = item.entry; Menu::item(entry).parent != entry; entry = Menu::item(entry).parent)
                ++depth;
            if (item.separatorBefore)
                tree += QString(depth, u' ') + u"-\n"_qs;
            tree += QString(depth, u' ') + QString::fromLatin1(item.name) + u' ' + frontPanel().entryCaption(item.entry) + u'\n';
        }
        QCOMPARE(tree, QString::fromUtf16(expected));
    }

    void menusAreTheEntriesThatHoldOthers()
    {
        QStringList menus;
        for (const Menu::Item& item : Menu::items())
            if (Menu::isMenu(item.entry))
                menus.append(QString::fromLatin1(item.name));
        QCOMPARE(menus, (QStringList{u"mnuFile"_qs, u"mnuMeasurement"_qs, u"mnuHTC"_qs, u"mnuLTC"_qs, u"mnuLaser"_qs, u"mnuExtras"_qs,
                                     u"mnuExtrasSMC"_qs, u"mnuExtrasGenerator"_qs, u"mnuHelp"_qs}));
    }

    void theStartEntryHasTwoCaptions()
    {
        QCOMPARE(QString::fromUtf16(Menu::startCaption), u"&Start Data Acquisition");
        QCOMPARE(QString::fromUtf16(Menu::abortCaption), u"Abort Data Acquisition");
        QSignalSpy changed(&frontPanel(), &FrontPanel::entriesChanged);
        frontPanel().setEntryCaption(Menu::Entry::mnuMeasStartAcquisition, QString::fromUtf16(Menu::abortCaption));
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuMeasStartAcquisition), u"Abort Data Acquisition");
        QCOMPARE(changed.count(), 1);
        frontPanel().reset();
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuMeasStartAcquisition), u"&Start Data Acquisition");
    }

    void entriesAreDisabled_data()
    {
        QTest::addColumn<std::function<void(Flags&)>>("set");
        QTest::addColumn<QStringList>("disabled");
        QTest::addColumn<bool>("readOnly");
        const auto row = [](const char* state, bool readOnly, const QStringList& disabled, const std::function<void(Flags&)>& set) {
            QTest::newRow(state) << set << disabled << readOnly;
        };
        const auto allDevices = [](Flags& now) {
            now.ltcEnabled = now.htcEnabled = now.laserEnabled = now.generatorRemote = now.shutterRemote = now.dataPresent = true;
        };
        row("nothing connected, nothing measured", false, joined(withoutDevices, save), [](Flags&) {});
        row("simulation differs in nothing", false, joined(withoutDevices, save), [](Flags& now) { now.smcOnline = true; });
        row("all devices, a scan in memory", false, {}, allDevices);
        row("low-temperature controller", false, {u"mnuHTC"_qs, u"mnuLaser"_qs}, [allDevices](Flags& now) {
            allDevices(now);
            now.htcEnabled = now.laserEnabled = false;
        });
        row("shutter without generator", false, {u"mnuExtrasGeneratorGetStatus"_qs, u"mnuExtrasGeneratorSetPower"_qs},
            [allDevices](Flags& now) {
                allDevices(now);
                now.generatorRemote = false;
            });
        row("generator without shutter", false, {u"mnuExtrasGeneratorSwitchShutter"_qs}, [allDevices](Flags& now) {
            allDevices(now);
            now.shutterRemote = false;
        });
        row("a file is written", false, joined(open, save), [allDevices](Flags& now) {
            allDevices(now);
            now.busy = true;
        });
        row("a scan runs", true, joined(joined(joined(open, save), powerEntry), joined(controllerEntries, profileEntry)),
            [allDevices](Flags& now) {
                allDevices(now);
                pretendRunning(Operations::scan);
            });
        row("the controller was found busy", true, joined(joined(open, powerEntry), joined(controllerEntries, profileEntry)),
            [allDevices](Flags& now) {
                allDevices(now);
                pretendRunning(Operations::scan);
                Operation::running(Operations::scan)->release(Resource::ScanToSave);
            });
        row("a profile dwells", true,
            joined(joined(joined(joined(open, save), startEntry), controllerEntries), joined(temperatureEntries, settingEntries)),
            [allDevices](Flags& now) {
                allDevices(now);
                pretendRunning(Operations::profile);
            });
        row("a profile measures", true,
            joined(joined(joined(joined(open, save), startEntry), controllerEntries), joined(temperatureEntries, settingEntries)),
            [allDevices](Flags& now) {
                allDevices(now);
                pretendRunning(Operations::profile);
            });
        row("a temperature entry waits", false, joined(profileEntry, temperatureEntriesButTheLog), [allDevices](Flags& now) {
            allDevices(now);
            pretendRunning(Operations::temperature);
        });
        row("the generator is being set", false, {u"mnuExtrasGeneratorGetStatus"_qs, u"mnuExtrasGeneratorSetPower"_qs},
            [allDevices](Flags& now) {
                allDevices(now);
                pretendRunning(Operations::generator);
            });
        for (const char* which : {"the ratemeter runs", "a utility waits"}) {
            const bool ratemeter = QByteArray(which).contains("ratemeter");
            const QStringList disabled = joined(joined(startEntry, profileEntry), controllerEntries);
            row(which, !ratemeter, ratemeter ? disabled : joined(open, disabled), [allDevices, ratemeter](Flags& now) {
                allDevices(now);
                pretendRunning(ratemeter ? Operations::ratemeter : Operations::utility);
            });
        }
    }
    void entriesAreDisabled()
    {
        QFETCH(std::function<void(Flags&)>, set);
        set(flags());
        QSignalSpy changed(&frontPanel(), &FrontPanel::entriesChanged);
        frontPanel().refreshEntries();
        QCOMPARE(changed.count(), 1);
        QFETCH(QStringList, disabled);
        disabled.sort();
        QCOMPARE(disabledEntries(), disabled);
        QTEST(frontPanel().parameterFieldsReadOnly(), "readOnly");
        for (Menu::Entry always :
             {Menu::Entry::mnuFileExit, Menu::Entry::mnuExtrasSMCStop, Menu::Entry::mnuExtrasSMGetStatus, Menu::Entry::mnuHelpAbout})
            QVERIFY(frontPanel().isEntryEnabled(always));
    }

    void aRunCanAlwaysBeAbortedWhereItWasStarted()
    {
        pretendRunning(Operations::scan);
        frontPanel().refreshEntries();
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
        pretendRunning(Operations::scan, false);
        pretendRunning(Operations::profile);
        frontPanel().refreshEntries();
        QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuMeasStartAcquisition));
        QVERIFY(frontPanel().isEntryEnabled(Menu::Entry::mnuMeasExecTempProfile));
    }

    void aChangedFieldIsShownOnce()
    {
        QSignalSpy changed(&frontPanel(), &FrontPanel::textChanged);
        frontPanel().setText(Field::ScanStart, u"10,5 deg"_qs);
        frontPanel().setText(Field::ScanStart, u"10,5 deg"_qs);
        QCOMPARE(changed.count(), 1);
        QCOMPARE(frontPanel().text(Field::ScanStart), u"10,5 deg");
        QCOMPARE(frontPanel().number(Field::ScanStart), 10.5);
        QCOMPARE(frontPanel().number(Field::ScanStop), 0.0);
        QCOMPARE(FrontPanel::fieldName(Field::txtWorkDir), "txtWorkDir");
    }

    void panelsProgressAndPicturesAreShownAndReset()
    {
        QSignalSpy panels(&frontPanel(), &FrontPanel::panelChanged);
        frontPanel().setPanel(1, u"Ready"_qs);
        frontPanel().setPanel(1, u"Ready"_qs);
        QCOMPARE(panels.count(), 1);
        frontPanel().setProgress(40);
        frontPanel().setPicXRayOn(true);
        frontPanel().setPicLaserOn(true);
        frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
        frontPanel().openTextDisplay(u"Ratemeter"_qs, u"Stop"_qs);
        frontPanel().setTextDisplay(u"12 cps"_qs);
        QCOMPARE(frontPanel().textDisplayText(), u"12 cps");
        QCOMPARE(frontPanel().textDisplayButtonCaption(), u"Stop");
        frontPanel().reset();
        QCOMPARE(frontPanel().panel(1), u"");
        QCOMPARE(frontPanel().progress(), -1);
        QVERIFY(!frontPanel().picXRayOn() && !frontPanel().picLaserOn() && !frontPanel().textDisplayOpen());
        QCOMPARE(frontPanel().pointer(), FrontPanel::Pointer::Default);
        QCOMPARE(frontPanel().textDisplayText(), u"");
    }

    void theWindowIsToldOnceOfWhatChanges()
    {
        FrontPanel& panel = frontPanel();
        QSignalSpy progress(&panel, &FrontPanel::progressChanged);
        panel.setProgress(40);
        panel.setProgress(40);
        panel.setProgress(0);
        QCOMPARE(progress, (QList<QVariantList>{{40}, {0}}));
        QSignalSpy pointer(&panel, &FrontPanel::pointerChanged);
        panel.setPointer(FrontPanel::Pointer::Hourglass);
        panel.setPointer(FrontPanel::Pointer::Hourglass);
        panel.setPointer(FrontPanel::Pointer::Default);
        QCOMPARE(pointer.count(), 2);
        QSignalSpy pictures(&panel, &FrontPanel::picturesChanged);
        panel.setPicXRayOn(true);
        QCOMPARE(pictures.count(), 1);
        panel.setPicLaserOn(true);
        QCOMPARE(pictures.count(), 2);
        QVERIFY(panel.picXRayOn() && panel.picLaserOn());
        QSignalSpy caption(&panel, &FrontPanel::captionChanged);
        panel.setCaption(u"Scan"_qs);
        QCOMPARE(caption, (QList<QVariantList>{{u"Scan"_qs}}));
        QCOMPARE(panel.caption(), u"Scan");
        QSignalSpy display(&panel, &FrontPanel::textDisplayChanged);
        panel.openTextDisplay(u"Ratemeter"_qs, u"Stop"_qs);
        QVERIFY(panel.textDisplayOpen());
        QCOMPARE(panel.textDisplayTitle(), u"Ratemeter");
        panel.setTextDisplay(u"12 cps"_qs);
        QCOMPARE(display.count(), 2);
        panel.closeTextDisplay();
        QCOMPARE(display.count(), 3);
        QVERIFY(!panel.textDisplayOpen());
    }

    void aNewStartForgetsEverything()
    {
        FrontPanel& panel = frontPanel();
        for (const Field field : {Field::ScanStart, Field::txtFileName, Field::txtComment, Field::txtWorkDir})
            panel.setText(field, u"typed"_qs);
        for (int number = 1; number <= 4; ++number)
            panel.setPanel(number, u"shown"_qs);
        panel.setCaption(u"Scan"_qs);
        panel.ExposureTimer.setInterval(100);
        panel.ExposureTimer.setEnabled(true);
        panel.reset();
        for (const Field field : {Field::ScanStart, Field::txtFileName, Field::txtComment, Field::txtWorkDir})
            QCOMPARE(panel.text(field), u"");
        for (int number = 1; number <= 4; ++number)
            QCOMPARE(panel.panel(number), u"");
        QCOMPARE(panel.caption(), u"");
        QVERIFY(!panel.ExposureTimer.isEnabled());
        QCOMPARE(panel.ExposureTimer.interval(), 1000);
    }

    void namesOfGoniometerAndMode()
    {
        QCOMPARE(goniometerTypeName(), "Guinier");
        QCOMPARE(scanModeName(), "Silent");
        flags().goniometerType = 1;
        flags().scanMode = 0;
        QCOMPARE(goniometerTypeName(), "Theta-2-Theta");
        QCOMPARE(scanModeName(), "Online");
    }

    void theIntensityAxisEndsFivePercentAboveTheMaximum()
    {
        QCOMPARE(ScanData::yMaximumFor(100), 105);
        QCOMPARE(ScanData::yMaximumFor(10), 10); // 10.5: ties to even
        QCOMPARE(ScanData::yMaximumFor(30), 32); // 31.5
        QCOMPARE(ScanData::yMaximumFor(0), 0);
        QCOMPARE(ScanData::yMaximumFor(2147483647), 2147483647);
    }

    void aPointBeyondTheScanIsPassedOver()
    {
        ScanData& scan = scanData();
        scan.resize(2);
        scan.setPoint(1, 10, 5);
        scan.setPoint(3, 12, 7);
        scan.setPoint(0, 9, 7);
        QCOMPARE(scan.counts(), (QVector<double>{5, 0}));
        QCOMPARE(scan.angle(1), 10.0);
        scan.clear();
        QCOMPARE(scan.size(), 0);
    }

    void messageBoxesOfferTheirButtonsInOrder()
    {
        using Button = Prompts::Button;
        QCOMPARE(Prompts::buttonsOf(Prompts::Buttons::AbortRetryIgnore), (QList<Button>{Button::Abort, Button::Retry, Button::Ignore}));
        QCOMPARE(Prompts::buttonsOf(Prompts::Buttons::YesNoCancel), (QList<Button>{Button::Yes, Button::No, Button::Cancel}));
        ScriptedPrompts boxes;
        boxes.expect(u"SMC Check"_qs, u"text"_qs).withIcon(Prompts::Icon::Critical).withButtons(Prompts::Buttons::Ok).withBeep();
        showMessage(u"SMC Check"_qs, u"text"_qs, Prompts::Icon::Critical, true);
        QVERIFY(boxes.allShown());
    }
};

QTEST_GUILESS_MAIN(TestFrontPanel)
#include "tst_frontpanel.moc"
