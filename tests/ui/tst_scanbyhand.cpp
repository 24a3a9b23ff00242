// SPDX-License-Identifier: GPL-3.0-or-later

#include "Operator.h"
#include "VirtualLab.h"

#include "core/ScanData.h"
#include "goniometer/modSMC.h"
#include "plot/Chart2d.h"
#include "support/ResetProgram.h"
#include "ui/UiPrompts.h"
#include "ui/frmMain.h"

#include <QFile>
#include <QFileDialog>
#include <QLineEdit>
#include <QMenuBar>
#include <QTest>

#include <memory>

/// A whole scan by keyboard and mouse against the virtual goniometer.
class TestScanByHand : public QObject
{
    Q_OBJECT

    UiPrompts m_prompts;
    std::unique_ptr<Operator> m_operator;
    std::unique_ptr<VirtualLab> m_lab;
    std::unique_ptr<frmMain> m_window;

    QLineEdit* field(const char* name) const { return m_window->findChild<QLineEdit*>(QString::fromLatin1(name)); }
    QAction* start() const { return m_window->entry(Menu::Entry::mnuMeasStartAcquisition); }
    bool bringUp(const QString& speed, const QStringList& more = {})
    {
        m_lab = std::make_unique<VirtualLab>();
        if (!m_lab->start(QStringList{QStringLiteral("--speed"), speed} + more))
            return false;
        m_lab->connectProgram();
        m_window = std::make_unique<frmMain>();
        m_window->show();
        m_window->activateWindow();
        return QTest::qWaitForWindowActive(m_window.get()) && flags().smcOnline;
    }
    /// Types the parameters, Enter from field to field.
    void typeParameters(const QStringList& values)
    {
        const QStringList names = {"ScanStart", "ScanStop", "ScanStep", "CounterTime"};
        field("ScanStart")->setFocus();
        for (qsizetype i = 0; i < values.size(); ++i) {
            auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
            QCOMPARE(edit->objectName(), names[i]);
            edit->selectAll();
            QTest::keyClicks(edit, values[i]);
            QTest::keyClick(edit, Qt::Key_Return);
        }
    }
    static QString startText(const QString& from, const QString& to, const QString& step, const QString& time)
    {
        return QStringLiteral("Selected parameter set (Theta-2-Theta):\n\nScan Start  : %1\u00b0 2-Theta\nScan Stop   : %2\u00b0 "
                              "2-Theta\nScan Step   : "
                              "%3\u00b0 2-Theta\nCounter Time: %4 seconds\n")
            .arg(from, to, step, time);
    }
    /// Does something once, as soon as `when` holds, while a run waits.
    void once(QTimer& timer, std::function<bool()> when, std::function<void()> what)
    {
        QObject::connect(&timer, &QTimer::timeout, this, [&timer, when = std::move(when), what = std::move(what)] {
            if (!when())
                return;
            timer.stop();
            what();
        });
        timer.start(10);
    }

private slots:
    void init()
    {
        resetProgram();
        setPrompts(&m_prompts);
        m_operator = std::make_unique<Operator>();
    }
    void cleanup()
    {
        const QString complaint = m_operator->complaint();
        m_window.reset();
        m_lab.reset();
        m_operator.reset();
        setPrompts(nullptr);
        resetProgram();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void aScanIsMeasuredShownAndSaved()
    {
        QVERIFY(bringUp(QStringLiteral("100")));
        QCOMPARE(m_window->windowTitle(), QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
        typeParameters({"26", "27", "0,02", "0.1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                           QStringLiteral("OK"));
        QTimer during;
        bool liveMenu = false;
        once(
            during, [] { return frontPanel().panel(1).contains(QStringLiteral("Data acquisition in progress...")); },
            [&] {
                QCOMPARE(start()->text(), QStringLiteral("Abort Data Acquisition"));
                QVERIFY(field("ScanStart")->isReadOnly());
                QVERIFY(!m_window->entry(Menu::Entry::mnuFileOpen)->isEnabled());
                QCOMPARE(m_window->focusWidget()->objectName(), QStringLiteral("btnFirst"));
                m_window->activateWindow();
                QApplication::processEvents();
                QTest::keyClick(m_window.get(), 'F', Qt::AltModifier);
                liveMenu = QApplication::activePopupWidget() != nullptr;
                // Once closes the menu, once leaves the menu bar.
                if (liveMenu)
                    QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
                QTest::keyClick(m_window->menuBar(), Qt::Key_Escape);
            });
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY(m_operator->done());
        QVERIFY(liveMenu);
        QCOMPARE(start()->text(), QStringLiteral("&Start Data Acquisition"));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
        QVERIFY(!field("ScanStart")->isReadOnly());
        QCOMPARE(scanData().size(), 51);
        QVERIFY(scanData().maximum > 0);
        QCOMPARE(m_window->chart()->graph(0)->dataCount(), 51);
        QCOMPARE(m_window->chart()->visibleAngles().upper, 27.0);
        QVERIFY(flags().dataPresent && !flags().dataSaved);

        const QString path = m_lab->path() + QStringLiteral("/hand.sdf");
        m_operator->expectWindow(QStringLiteral("Save data"), [&](QDialog* dialog) {
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            name->setText(path);
            QTest::keyClick(name, Qt::Key_Return);
        });
        Operator::chooseByKeys(m_window.get(), QStringLiteral("fs"));
        QVERIFY(QFile::exists(path));
        QVERIFY(flags().dataSaved);
        QVERIFY(m_window->close());
    }

    void declinedConfirmationChangesNothing()
    {
        QVERIFY(bringUp(QStringLiteral("100")));
        typeParameters({"26", "27", "0.02", "0.1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                           QStringLiteral("Cancel"));
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY(!flags().acquisitionRunning);
        QVERIFY(frontPanel().panel(2).isEmpty());
    }

    void aRunIsAbortedInEachPhase_data()
    {
        QTest::addColumn<bool>("whileUploading");
        QTest::addColumn<bool>("read");
        QTest::newRow("while the program is uploaded, data left") << true << false;
        QTest::newRow("while counting, data left") << false << false;
        QTest::newRow("while counting, data read") << false << true;
    }
    void aRunIsAbortedInEachPhase()
    {
        QFETCH(bool, whileUploading);
        QFETCH(bool, read);
        QVERIFY(bringUp(QStringLiteral("2"), {QStringLiteral("--position"), QStringLiteral("10,20")}));
        typeParameters({"20", "100", "0.02", "1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("20"), QStringLiteral("100"), QStringLiteral("0.02"), QStringLiteral("1")),
                           QStringLiteral("OK"));
        QTimer during;
        once(
            during,
            [whileUploading] {
                return flags().acquisitionRunning && (whileUploading || frontPanel().panel(1).contains(QStringLiteral("in progress")));
            },
            [&] {
                // A first click that is not meant: the run goes on.
                m_operator->expect(QStringLiteral("Data acquisition"),
                                   QStringLiteral("Do you want to abort the current data acquisition now?"), QStringLiteral("No"));
                start()->trigger();
                QVERIFY(flags().acquisitionRunning);
                m_operator->expect(QStringLiteral("Data acquisition"),
                                   QStringLiteral("Do you want to abort the current data acquisition now?"), QStringLiteral("Yes"),
                                   [](QMessageBox* box) { QCOMPARE(box->icon(), QMessageBox::Critical); });
                m_operator->expect(QStringLiteral("Data acquisition"), QStringLiteral("Do you want read scan data anyway?"),
                                   read ? QStringLiteral("Yes") : QStringLiteral("No"));
                if (read)
                    m_operator->expectWindow(QStringLiteral("Scan Data Transfer"), [](QDialog* box) {
                        for (QAbstractButton* button : qobject_cast<QMessageBox*>(box)->buttons())
                            if (button->text() == QStringLiteral("&Yes"))
                                QTest::mouseClick(button, Qt::LeftButton);
                    });
                start()->trigger();
            });
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY(m_operator->done());
        QVERIFY(!flags().acquisitionRunning);
        QCOMPARE(start()->text(), QStringLiteral("&Start Data Acquisition"));
        QCOMPARE(flags().dataPresent, read);
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    }

    void theReadBackIsAborted_data()
    {
        QTest::addColumn<bool>("read");
        QTest::newRow("data left") << false;
        QTest::newRow("data read once more") << true;
    }
    void theReadBackIsAborted()
    {
        QFETCH(bool, read);
        constexpr int points = 2001;
        QVERIFY(bringUp(QStringLiteral("100"), {QStringLiteral("--position"), QStringLiteral("13,26")}));
        typeParameters({"26", "66", "0.02", "0.1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("26"), QStringLiteral("66"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                           QStringLiteral("OK"));
        const auto transfers = [this] { return m_lab->received(QStringLiteral("SMC")).count(QStringLiteral("?CNT;")); };
        qsizetype before = -1;
        QTimer during;
        once(
            during, [&] { return modSMC::state().transferring && transfers() == 1; },
            [&] {
                before = scanData().maximum;
                m_operator->expect(QStringLiteral("Data acquisition"),
                                   QStringLiteral("Do you want to abort the current data acquisition now?"), QStringLiteral("Yes"));
                m_operator->expect(QStringLiteral("Data acquisition"), QStringLiteral("Do you want read scan data anyway?"),
                                   read ? QStringLiteral("Yes") : QStringLiteral("No"));
                start()->trigger();
            });
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY2(m_operator->done(), qPrintable(m_operator->complaint()));
        QCOMPARE(before, 0);
        QCOMPARE(transfers(), read ? 2 : 1);
        QVERIFY(!flags().acquisitionRunning && !modSMC::state().transferring);
        QCOMPARE(start()->text(), QStringLiteral("&Start Data Acquisition"));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
        QCOMPARE(flags().dataPresent, read);
        QCOMPARE(m_window->entry(Menu::Entry::mnuFileSaveAs)->isEnabled(), read);
        if (read) {
            QCOMPARE(scanData().size(), points);
            QVERIFY(scanData().maximum > 0);
        }
        // The counts are still in the controller.
        m_window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->trigger();
        QCOMPARE(transfers(), read ? 3 : 2);
        QVERIFY(flags().dataPresent);
        QCOMPARE(scanData().size(), points);
        QCOMPARE(m_window->chart()->graph(0)->dataCount(), points);
    }

    void stopDuringGetRAMDataLosesNoCount()
    {
        QVERIFY(bringUp(QStringLiteral("100"), {QStringLiteral("--position"), QStringLiteral("13,26")}));
        typeParameters({"26", "66", "0.02", "0.1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("26"), QStringLiteral("66"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                           QStringLiteral("OK"));
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY(flags().dataPresent);
        const QVector<double> counts = scanData().counts();
        QTimer during;
        bool stopped = false;
        once(
            during, [] { return modSMC::state().transferring; },
            [&] {
                stopped = true;
                QVERIFY(!start()->isEnabled());
                QVERIFY(!m_window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->isEnabled());
                m_window->entry(Menu::Entry::mnuExtrasSMCStop)->trigger();
            });
        m_window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->trigger();
        QVERIFY(stopped);
        QVERIFY(m_lab->received(QStringLiteral("SMC")).contains(QStringLiteral("Q;")));
        QCOMPARE(scanData().counts(), counts);
        QVERIFY(!flags().utilityRunning && flags().dataPresent);
    }

    void closingDuringARunEndsItAfterTheQuestion()
    {
        QVERIFY(bringUp(QStringLiteral("2"), {QStringLiteral("--position"), QStringLiteral("10,20")}));
        typeParameters({"20", "100", "0.02", "1"});
        m_operator->expect(QStringLiteral("Start scan"),
                           startText(QStringLiteral("20"), QStringLiteral("100"), QStringLiteral("0.02"), QStringLiteral("1")),
                           QStringLiteral("OK"));
        const QString busyText = QStringLiteral("\nSMC seems to be busy!\nAre you sure that you want to quit?");
        QTimer during;
        once(
            during, [] { return frontPanel().panel(1).contains(QStringLiteral("in progress")); },
            [&] {
                m_operator->expect(QStringLiteral("Quit program"), busyText, QStringLiteral("Cancel"));
                QVERIFY(!m_window->close());
                QVERIFY(flags().acquisitionRunning);
                m_operator->expect(QStringLiteral("Quit program"), busyText, QStringLiteral("OK"));
                QVERIFY(m_window->close());
            });
        Operator::chooseByKeys(m_window.get(), QStringLiteral("ms"));
        QVERIFY(flags().closing);
        QVERIFY(!m_window->isVisible());
    }
};

QTEST_MAIN(TestScanByHand)
#include "tst_scanbyhand.moc"
