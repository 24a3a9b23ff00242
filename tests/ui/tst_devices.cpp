// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Operation.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "support/ScriptedPrompts.h"
#include "ui/dlgGeneratorPower.h"
#include "ui/frmRPID.h"

#include <QClipboard>
#include <QDropEvent>
#include <QGroupBox>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QTest>

#include <memory>

/// The windows of generator and temperature controllers, worked by hand on the virtual instrument.
class TestDevices : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    bool bringUp(const QStringList& devices) { return bench().bringUp(devices); }
    QAction* entry(Menu::Entry which) const { return bench().window->entry(which); }

    dlgGeneratorPower* openPower()
    {
        entry(Menu::Entry::mnuExtrasGeneratorSetPower)->trigger();
        auto* dialog = bench().window->findChild<dlgGeneratorPower*>();
        if (dialog != nullptr && !bench().desk().until([dialog] {
                return LabWindow::button(dialog, "btnOk")->isEnabled() && LabWindow::field(dialog, "txtmA")->text() != QString();
            }))
            return nullptr;
        return dialog;
    }
private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void thePowerWindowShowsActualValuesAndPresets()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Generator Power"));
        DESK_COMPARE(LabWindow::field(dialog, "txtmA")->text(), QStringLiteral("30"));
        QCOMPARE(LabWindow::field(dialog, "txtkV")->text(), QStringLiteral("40"));
        QVERIFY(!entry(Menu::Entry::mnuExtrasGeneratorSetPower)->isEnabled());
        QTest::mouseClick(LabWindow::button(dialog, "btnIdle"), Qt::LeftButton);
        QCOMPARE(LabWindow::field(dialog, "txtmA")->text() + u'/' + LabWindow::field(dialog, "txtkV")->text(), QStringLiteral("5/20"));
        QTest::mouseClick(LabWindow::button(dialog, "btnMeas"), Qt::LeftButton);
        QCOMPARE(LabWindow::field(dialog, "txtmA")->text() + u'/' + LabWindow::field(dialog, "txtkV")->text(), QStringLiteral("30/40"));
        QCOMPARE(LabWindow::button(dialog, "btnMeas")->toolTip(), QStringLiteral("Set default measurement settings"));
        QCOMPARE(LabWindow::button(dialog, "btnIdle")->toolTip(), QStringLiteral("Set default idle settings"));
        QCOMPARE(LabWindow::button(dialog, "btnOk")->toolTip(), QStringLiteral("Apply settings"));
        QCOMPARE(LabWindow::button(dialog, "btnCancel")->toolTip(), QStringLiteral("Close window"));
        QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
        DESK_VERIFY(entry(Menu::Entry::mnuExtrasGeneratorSetPower)->isEnabled());
    }

    void keysOfTheBoxesAreFiltered()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        LabWindow::type(LabWindow::field(dialog, "txtmA"), QStringLiteral("-2,5e"));
        QCOMPARE(LabWindow::field(dialog, "txtmA")->text(), QStringLiteral("2.5"));
        QTest::keyClick(LabWindow::field(dialog, "txtmA"), Qt::Key_Backspace);
        QCOMPARE(LabWindow::field(dialog, "txtmA")->text(), QStringLiteral("2."));
        QCOMPARE(GeneratorPower::state().txtmA, QStringLiteral("2."));
        dialog->reject();
    }

    void powerIsSetAndTheWarmUpIsVisible()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        ScriptedPrompts boxes;
        configuration().generator.powerSettlingTime = 2;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        LabWindow::type(LabWindow::field(dialog, "txtmA"), QStringLiteral("20"));
        LabWindow::type(LabWindow::field(dialog, "txtkV"), QStringLiteral("30"));
        boxes.expect(QStringLiteral("Voltage Setting"),
                     QStringLiteral("New generator settings:\r\n\r\n    20 mA\r\n    30 kV\r\n\r\nDo you want to continue?"));
        bool warming = false;
        bool hidden = false;
        bool barred = false;
        connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, dialog, [&] {
            if (!GeneratorPower::state().warmingUp)
                return;
            warming = true;
            hidden = !dialog->findChild<QGroupBox*>(QStringLiteral("frameSettings"))->isVisibleTo(dialog);
            barred = !LabWindow::button(dialog, "btnOk")->isEnabled() && !LabWindow::button(dialog, "btnCancel")->isEnabled();
            QVERIFY(LabWindow::field(dialog, "txtMessage")->text().startsWith(QStringLiteral("Warm-up: 0:00:0")));
        });
        QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(boxes.allShown());
        QVERIFY(warming && hidden && barred);
        QCOMPARE(LabWindow::field(dialog, "txtMessage")->text(), QStringLiteral("The generator reports 20 mA, 30 kV."));
        QVERIFY(dialog->isVisible());
        QVERIFY(LabWindow::button(dialog, "btnOk")->isEnabled());
        QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
    }

    void whileThePowerIsSetOkIsNotTakenAgain()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        ScriptedPrompts boxes;
        configuration().generator.powerSettlingTime = 0;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        boxes.expect(QStringLiteral("Voltage Setting"), {});
        bool pressed = false;
        bench().once([this] { return bench().lab.received(QStringLiteral("Generator")).contains(QStringLiteral("SC:")); },
                     [&] {
                         pressed = true;
                         for (const char* name : {"btnOk", "btnCancel", "btnMeas", "btnIdle"})
                             QVERIFY(!LabWindow::button(dialog, name)->isEnabled());
                         QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
                     });
        QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(pressed && boxes.allShown());
        QCOMPARE(bench().lab.received(QStringLiteral("Generator")).count(QStringLiteral("SC:")), qsizetype(1));
        QVERIFY(LabWindow::button(dialog, "btnOk")->isEnabled());
        QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
    }

    void whatIsPastedIsFilteredAsKeysAre()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        QLineEdit* current = LabWindow::field(dialog, "txtmA");
        QGuiApplication::clipboard()->setText(QStringLiteral(" -12,5 mA"));
        current->selectAll();
        QTest::keySequence(current, QKeySequence::Paste);
        QCOMPARE(current->text(), QStringLiteral("12.5"));
        QCOMPARE(GeneratorPower::state().txtmA, QStringLiteral("12.5"));
        QCOMPARE(current->cursorPosition(), 4);

        QMimeData dropped;
        dropped.setText(QStringLiteral("x3"));
        QLineEdit* voltage = LabWindow::field(dialog, "txtkV");
        voltage->clear();
        QDragEnterEvent enter(QPoint(2, 2), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(voltage, &enter);
        QDropEvent drop(QPointF(2, 2), Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(voltage, &drop);
        QCOMPARE(voltage->text(), QStringLiteral("3"));
        QCOMPARE(GeneratorPower::state().txtkV, QStringLiteral("3"));

        // A full box takes no more.
        LabWindow::type(current, QStringLiteral("1234567"));
        QCOMPARE(current->text(), QStringLiteral("123456"));
        dialog->reject();
    }

    void theWarmUpWindowDoesNotCoverTheDialogWhichCanBeLeft()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        ScriptedPrompts boxes;
        configuration().generator.powerSettlingTime = 100;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        QVERIFY(!LabWindow::button(dialog, "btnClose")->isVisible());
        boxes.expect(QStringLiteral("Voltage Setting"), {});
        bool left = false;
        bench().lab.desk.after(30, [&] {
            QDialog* text = LabWindow::textWindow();
            QVERIFY(text != nullptr);
            QVERIFY2(!text->frameGeometry().intersects(dialog->frameGeometry()), "the warm-up covers the dialog");
            QVERIFY(dialog->isVisible() && LabWindow::button(dialog, "btnClose")->isVisible());
            QVERIFY(!LabWindow::button(dialog, "btnOk")->isEnabled() && !LabWindow::button(dialog, "btnCancel")->isEnabled());
            QTest::mouseClick(LabWindow::button(dialog, "btnClose"), Qt::LeftButton);
            QVERIFY(!dialog->isVisible());
            QVERIFY(Operation::isRunning(Operations::warmUp));
            auto* tube = bench().window->findChild<QLabel*>(QStringLiteral("tube"));
            QVERIFY2(tube->text().endsWith(QStringLiteral(", warming up")), qPrintable(tube->text()));
            left = true;
        });
        // Opened again, the window counts on.
        bool again = false;
        bench().lab.desk.after(40, [&] {
            QVERIFY(entry(Menu::Entry::mnuExtrasGeneratorSetPower)->isEnabled());
            entry(Menu::Entry::mnuExtrasGeneratorSetPower)->trigger();
        });
        bench().lab.desk.after(50, [&] {
            again = true;
            auto* second = bench().window->findChild<dlgGeneratorPower*>();
            QVERIFY(second != nullptr && !LabWindow::button(second, "btnOk")->isEnabled());
            QVERIFY2(LabWindow::field(second, "txtMessage")->text().startsWith(QStringLiteral("Warm-up: 0:00:5")),
                     qPrintable(LabWindow::field(second, "txtMessage")->text()));
            QTest::keyClick(second, Qt::Key_Escape);
            QVERIFY(!second->isVisible());
        });
        QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(left && again && boxes.allShown());
        QVERIFY(bench().desk().until([] { return !Operation::isRunning(Operations::warmUp); }, 120));
        QVERIFY(LabWindow::textWindow() == nullptr);
    }

    void theStatusMustBeClosedBeforeAnythingElse()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        bool said = false;
        bench().once([] { return frontPanel().panel(1) == QStringLiteral("reading..."); },
                     [&] { said = LabWindow::textWindow() == nullptr; });
        entry(Menu::Entry::mnuExtrasGeneratorGetStatus)->trigger();
        QVERIFY(said);
        QVERIFY(LabWindow::textWindow() != nullptr);
        QCOMPARE(QApplication::activeModalWidget(), LabWindow::textWindow());
        QCOMPARE(LabWindow::textWindow()->windowTitle(), QStringLiteral("X-Ray Generator info"));
        LabWindow::pressTextButton();
        QVERIFY(LabWindow::textWindow() == nullptr && QApplication::activeModalWidget() == nullptr);
    }

    void aRefusedCurrentGetsTheFocusBack()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        bench().hand.rest();
        ScriptedPrompts boxes;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        Operator::activate(dialog);
        LabWindow::type(LabWindow::field(dialog, "txtmA"), QStringLiteral("41"));
        LabWindow::button(dialog, "btnOk")->setFocus();
        boxes.expect(QStringLiteral("Current Setting"), QStringLiteral("Value out of range!   (0... 40 mA)"));
        QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(boxes.allShown());
        DESK_COMPARE(dialog->focusWidget(), LabWindow::field(dialog, "txtmA"));
        dialog->reject();
    }

    void theShutterPictureFollowsTheEntry()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        auto* picture = bench().window->findChild<QWidget*>(QStringLiteral("picXRayOn"));
        QVERIFY(picture != nullptr && !picture->isVisible());
        QAction* shutter = entry(Menu::Entry::mnuExtrasGeneratorSwitchShutter);
        QCOMPARE(shutter->text(), QStringLiteral("OPEN &X-Ray Shutter"));
        shutter->trigger();
        QVERIFY(picture->isVisible());
        QCOMPARE(shutter->text(), QStringLiteral("Close &Shutter"));
        shutter->trigger();
        QVERIFY(!picture->isVisible());
        QCOMPARE(shutter->text(), QStringLiteral("Open &Shutter"));
    }

    void theControlParametersAreChangedByHand()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        QVERIFY(entry(Menu::Entry::mnuLTCChangePID)->isEnabled());
        bench().hand.expectWindow(QStringLiteral("LTC control parameters"), [&](QDialog* dialog) {
            QCOMPARE(LabWindow::field(dialog, "txtR")->toolTip(), QStringLiteral("0....3"));
            QCOMPARE(LabWindow::field(dialog, "txtP")->toolTip(), QStringLiteral("0....999"));
            LabWindow::type(LabWindow::field(dialog, "txtR"), QStringLiteral("x2.5"));
            QCOMPARE(LabWindow::field(dialog, "txtR")->text(), QStringLiteral("25"));
            LabWindow::type(LabWindow::field(dialog, "txtR"), QStringLiteral("2"));
            LabWindow::type(LabWindow::field(dialog, "txtP"), QStringLiteral("41,5"));
            LabWindow::type(LabWindow::field(dialog, "txtI"), QStringLiteral("12"));
            LabWindow::type(LabWindow::field(dialog, "txtD"), QStringLiteral("3"));
            QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        });
        entry(Menu::Entry::mnuLTCChangePID)->trigger();
        bench().hand.expectWindow(QStringLiteral("LTC control parameters"), [&](QDialog* dialog) {
            QCOMPARE(LabWindow::field(dialog, "txtR")->text() + u' ' + LabWindow::field(dialog, "txtP")->text() + u' ' +
                         LabWindow::field(dialog, "txtI")->text() + u' ' + LabWindow::field(dialog, "txtD")->text(),
                     QStringLiteral("2 41.5 12 3"));
            QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
        });
        entry(Menu::Entry::mnuLTCChangePID)->trigger();
    }

    void aValueOutOfRangeKeepsTheWindowOpen()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        frmRPID dialog({3, 300, 50, 0}, 77, bench().window.get());
        dialog.show();
        LabWindow::type(LabWindow::field(&dialog, "txtP"), QStringLiteral("1000"));
        bench().hand.expect(QStringLiteral("Value out of range"), QStringLiteral("The valid P range is 0 ... 999!"), QStringLiteral("OK"));
        QTest::mouseClick(LabWindow::button(&dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(dialog.isVisible());
        LabWindow::type(LabWindow::field(&dialog, "txtP"), QStringLiteral("999"));
        QTest::mouseClick(LabWindow::button(&dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.values().p, 999.0F);
    }
};

QTEST_MAIN(TestDevices)
#include "tst_devices.moc"
