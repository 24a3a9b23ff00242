// SPDX-License-Identifier: GPL-3.0-or-later

#include "Operator.h"
#include "VirtualLab.h"

#include "core/Configuration.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "temperature/modTC.h"
#include "ui/UiPrompts.h"
#include "ui/dlgGeneratorPower.h"
#include "ui/frmMain.h"
#include "ui/frmRPID.h"

#include <QGroupBox>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>

#include <memory>

/// The windows of generator and temperature controllers, worked by hand on the virtual instrument.
class TestDevices : public QObject
{
    Q_OBJECT

    UiPrompts m_prompts;
    std::unique_ptr<Operator> m_operator;
    std::unique_ptr<VirtualLab> m_lab;
    std::unique_ptr<frmMain> m_window;

    bool bringUp(const QStringList& devices)
    {
        m_lab = std::make_unique<VirtualLab>();
        if (!m_lab->start(QStringList{QStringLiteral("--speed"), QStringLiteral("50")} + devices))
            return false;
        m_lab->connectProgram();
        m_window = std::make_unique<frmMain>();
        m_window->show();
        return QTest::qWaitForWindowExposed(m_window.get());
    }

    QAction* entry(Menu::Entry which) const { return m_window->entry(which); }

    dlgGeneratorPower* openPower()
    {
        entry(Menu::Entry::mnuExtrasGeneratorSetPower)->trigger();
        auto* dialog = m_window->findChild<dlgGeneratorPower*>();
        if (dialog != nullptr &&
            !QTest::qWaitFor([dialog] { return button(dialog, "btnOk")->isEnabled() && field(dialog, "txtmA")->text() != QString(); },
                             10000))
            return nullptr;
        return dialog;
    }
    static QLineEdit* field(QWidget* dialog, const char* name) { return dialog->findChild<QLineEdit*>(QString::fromLatin1(name)); }
    static QPushButton* button(QWidget* dialog, const char* name) { return dialog->findChild<QPushButton*>(QString::fromLatin1(name)); }
    static void type(QLineEdit* edit, const QString& text)
    {
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, text);
    }

private slots:
    void init()
    {
        resetProgram();
        modCOM::reset();
        modTC::reset();
        modGenerator::reset();
        setPrompts(&m_prompts);
        m_operator = std::make_unique<Operator>();
    }

    void cleanup()
    {
        const QString complaint = m_operator->complaint();
        m_window.reset();
        modGenerator::reset();
        modTC::reset();
        m_lab.reset();
        m_operator.reset();
        setPrompts(nullptr);
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void thePowerWindowShowsActualValuesAndPresets()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        m_operator->rest();
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        QCOMPARE(dialog->windowTitle(), QStringLiteral("Generator Power"));
        QTRY_COMPARE(field(dialog, "txtmA")->text(), QStringLiteral("30"));
        QCOMPARE(field(dialog, "txtkV")->text(), QStringLiteral("40"));
        QVERIFY(!entry(Menu::Entry::mnuExtrasGeneratorSetPower)->isEnabled());
        QTest::mouseClick(button(dialog, "btnIdle"), Qt::LeftButton);
        QCOMPARE(field(dialog, "txtmA")->text() + u'/' + field(dialog, "txtkV")->text(), QStringLiteral("5/20"));
        QTest::mouseClick(button(dialog, "btnMeas"), Qt::LeftButton);
        QCOMPARE(field(dialog, "txtmA")->text() + u'/' + field(dialog, "txtkV")->text(), QStringLiteral("30/40"));
        QCOMPARE(button(dialog, "btnMeas")->toolTip(), QStringLiteral("Set default measurement settings"));
        QCOMPARE(button(dialog, "btnIdle")->toolTip(), QStringLiteral("Set default idle settings"));
        QCOMPARE(button(dialog, "btnOk")->toolTip(), QStringLiteral("Apply settings"));
        QCOMPARE(button(dialog, "btnCancel")->toolTip(), QStringLiteral("Close window"));
        QTest::mouseClick(button(dialog, "btnCancel"), Qt::LeftButton);
        QTRY_VERIFY(entry(Menu::Entry::mnuExtrasGeneratorSetPower)->isEnabled());
    }

    void keysOfTheBoxesAreFiltered()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        m_operator->rest();
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        type(field(dialog, "txtmA"), QStringLiteral("-2,5e"));
        QCOMPARE(field(dialog, "txtmA")->text(), QStringLiteral("2.5"));
        QTest::keyClick(field(dialog, "txtmA"), Qt::Key_Backspace);
        QCOMPARE(field(dialog, "txtmA")->text(), QStringLiteral("2."));
        QCOMPARE(GeneratorPower::state().txtmA, QStringLiteral("2."));
        dialog->reject();
    }

    void powerIsSetAndTheWarmUpIsVisible()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        m_operator->rest();
        ScriptedPrompts boxes;
        configuration().generator.powerSettlingTime = 2;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        type(field(dialog, "txtmA"), QStringLiteral("20"));
        type(field(dialog, "txtkV"), QStringLiteral("30"));
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
            barred = !button(dialog, "btnOk")->isEnabled() && !button(dialog, "btnCancel")->isEnabled();
            QVERIFY(field(dialog, "txtMessage")->text().startsWith(QStringLiteral("Warm-up: 0:00:0")));
        });
        QTest::mouseClick(button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(boxes.allShown());
        QVERIFY(warming && hidden && barred);
        QCOMPARE(field(dialog, "txtMessage")->text(), QStringLiteral("The generator reports 20 mA, 30 kV."));
        QVERIFY(dialog->isVisible());
        QVERIFY(button(dialog, "btnOk")->isEnabled());
        QTest::mouseClick(button(dialog, "btnCancel"), Qt::LeftButton);
    }

    void aRefusedCurrentGetsTheFocusBack()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        m_operator->rest();
        ScriptedPrompts boxes;
        dlgGeneratorPower* dialog = openPower();
        QVERIFY(dialog != nullptr);
        Operator::activate(dialog);
        type(field(dialog, "txtmA"), QStringLiteral("41"));
        button(dialog, "btnOk")->setFocus();
        boxes.expect(QStringLiteral("Current Setting"), QStringLiteral("Value out of range!   (0... 40 mA)"));
        QTest::mouseClick(button(dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(boxes.allShown());
        QTRY_COMPARE(dialog->focusWidget(), field(dialog, "txtmA"));
        dialog->reject();
    }

    void theShutterPictureFollowsTheEntry()
    {
        QVERIFY(bringUp({QStringLiteral("--generator")}));
        auto* picture = m_window->findChild<QWidget*>(QStringLiteral("picXRayOn"));
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
        m_operator->expectWindow(QStringLiteral("LTC control parameters"), [&](QDialog* dialog) {
            QCOMPARE(field(dialog, "txtR")->toolTip(), QStringLiteral("0....3"));
            QCOMPARE(field(dialog, "txtP")->toolTip(), QStringLiteral("0....999"));
            type(field(dialog, "txtR"), QStringLiteral("x2.5"));
            QCOMPARE(field(dialog, "txtR")->text(), QStringLiteral("25"));
            type(field(dialog, "txtR"), QStringLiteral("2"));
            type(field(dialog, "txtP"), QStringLiteral("41,5"));
            type(field(dialog, "txtI"), QStringLiteral("12"));
            type(field(dialog, "txtD"), QStringLiteral("3"));
            QTest::mouseClick(button(dialog, "btnOk"), Qt::LeftButton);
        });
        entry(Menu::Entry::mnuLTCChangePID)->trigger();
        m_operator->expectWindow(QStringLiteral("LTC control parameters"), [&](QDialog* dialog) {
            QCOMPARE(field(dialog, "txtR")->text() + u' ' + field(dialog, "txtP")->text() + u' ' + field(dialog, "txtI")->text() + u' ' +
                         field(dialog, "txtD")->text(),
                     QStringLiteral("2 41.5 12 3"));
            QTest::mouseClick(button(dialog, "btnCancel"), Qt::LeftButton);
        });
        entry(Menu::Entry::mnuLTCChangePID)->trigger();
    }

    void aValueOutOfRangeKeepsTheWindowOpen()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        frmRPID dialog({3, 300, 50, 0}, 77, m_window.get());
        dialog.show();
        type(field(&dialog, "txtP"), QStringLiteral("1000"));
        m_operator->expect(QStringLiteral("Value out of range"), QStringLiteral("The valid P range is 0 ... 999!"), QStringLiteral("OK"));
        QTest::mouseClick(button(&dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(dialog.isVisible());
        type(field(&dialog, "txtP"), QStringLiteral("999"));
        QTest::mouseClick(button(&dialog, "btnOk"), Qt::LeftButton);
        QVERIFY(!dialog.isVisible());
        QCOMPARE(dialog.values().p, 999.0F);
    }
};

QTEST_MAIN(TestDevices)
#include "tst_devices.moc"
