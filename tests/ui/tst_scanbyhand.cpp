// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Notices.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "core/startup/modMain.h"
#include "goniometer/modSMC.h"
#include "plot/Chart2d.h"
#include "serial/Exchange.h"

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

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    QLineEdit* field(const char* name) const { return bench().window->findChild<QLineEdit*>(QString::fromLatin1(name)); }
    QAction* start() const { return bench().window->entry(Menu::Entry::mnuMeasStartAcquisition); }
    bool bringUp(int speed, const QStringList& more = {}) { return bench().bringUp(more, speed) && flags().smcOnline; }
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
private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void aScanIsMeasuredShownAndSaved()
    {
        QVERIFY(bringUp(100));
        QCOMPARE(bench().window->windowTitle(), QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
        typeParameters({"26", "27", "0,02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                            QStringLiteral("OK"));
        bool liveMenu = false;
        bench().once([] { return frontPanel().panel(1).contains(QStringLiteral("Data acquisition in progress...")); },
                     [&] {
                         QCOMPARE(start()->text(), QStringLiteral("Abort Data Acquisition"));
                         QVERIFY(field("ScanStart")->isReadOnly());
                         QVERIFY(!bench().window->entry(Menu::Entry::mnuFileOpen)->isEnabled());
                         QCOMPARE(bench().window->focusWidget()->objectName(), QStringLiteral("btnFirst"));
                         bench().window->activateWindow();
                         QApplication::processEvents();
                         QTest::keyClick(bench().window.get(), 'F', Qt::AltModifier);
                         liveMenu = QApplication::activePopupWidget() != nullptr;
                         // Once closes the menu, once leaves the menu bar.
                         if (liveMenu)
                             QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
                         QTest::keyClick(bench().window->menuBar(), Qt::Key_Escape);
                     });
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(bench().hand.done());
        QVERIFY(liveMenu);
        QCOMPARE(start()->text(), QStringLiteral("&Start Data Acquisition"));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
        QVERIFY(!field("ScanStart")->isReadOnly());
        QCOMPARE(scanData().size(), 51);
        QVERIFY(scanData().maximum > 0);
        QCOMPARE(bench().window->chart()->graph(0)->dataCount(), 51);
        QCOMPARE(bench().window->chart()->visibleAngles().upper, 27.0);
        QVERIFY(flags().dataPresent && !flags().dataSaved);
        QVERIFY(!scanData().simulated && bench().window->chart()->mark().isEmpty());

        const QString path = bench().lab.path() + QStringLiteral("/hand.sdf");
        bench().hand.expectWindow(QStringLiteral("Save data"), [&](QDialog* dialog) {
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            name->setText(path);
            QTest::keyClick(name, Qt::Key_Return);
        });
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("fs"));
        QVERIFY(QFile::exists(path));
        QVERIFY(flags().dataSaved);
        QVERIFY(bench().window->close());
    }

    void aScanThatIsCutShortIsMarked()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--fault"), QStringLiteral("fewer-counts")}, 100));
        bench().hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        bench().hand.expect(QStringLiteral("Scan Data Transfer"), {}, QStringLiteral("Yes"));
        bench().choose(Menu::Entry::mnuMeasStartAcquisition);
        QVERIFY(bench().desk().until([&] { return flags().dataPresent && !Operation::isRunning(Operations::scan); }, 120));
        const qint32 points = scanData().size();
        QCOMPARE(bench().window->chart()->mark(), QStringLiteral("partial: %1 of %2 points").arg(points - 3).arg(points));
    }

    void countsOfTheSimulationAreMarked()
    {
        QVERIFY(bench().showWindow()); // no controller
        flags().smcOnline = false;
        const auto mark = [this] { return bench().window->chart()->mark(); };
        typeParameters({"26", "27", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(flags().dataPresent && scanData().simulated);
        QCOMPARE(mark(), QStringLiteral("simulated counts"));

        const QString path = bench().lab.path(QStringLiteral("simulated.sdf"));
        bench().answerFile(QStringLiteral("Save data"), path);
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("fs"));
        QVERIFY(QFile::exists(path));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Saved, simulated counts: ") + path);

        // A scan that takes its place is not marked.
        ScanRecord other = scanData().record();
        other.simulated = false;
        other.received = other.size();
        scanData().take(other);
        scanData().plot();
        QCOMPARE(mark(), QString());
        QVERIFY(bench().window->close());
    }

    void declinedConfirmationChangesNothing()
    {
        QVERIFY(bringUp(100));
        typeParameters({"26", "27", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("26"), QStringLiteral("27"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                            QStringLiteral("Cancel"));
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(!Operation::isRunning(Operations::scan));
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
        QVERIFY(bringUp(2, {QStringLiteral("--position"), QStringLiteral("10,20")}));
        typeParameters({"20", "100", "0.02", "1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("20"), QStringLiteral("100"), QStringLiteral("0.02"), QStringLiteral("1")),
                            QStringLiteral("OK"));
        bench().once(
            [whileUploading] {
                return Operation::isRunning(Operations::scan) &&
                       (whileUploading || frontPanel().panel(1).contains(QStringLiteral("in progress")));
            },
            [&] {
                // A first click that is not meant: the run goes on.
                bench().hand.expect(QStringLiteral("Data acquisition"),
                                    QStringLiteral("Do you want to abort the current data acquisition now?"), QStringLiteral("No"));
                start()->trigger();
                QVERIFY(Operation::isRunning(Operations::scan));
                bench().hand.expect(QStringLiteral("Data acquisition"),
                                    QStringLiteral("Do you want to abort the current data acquisition now?"), QStringLiteral("Yes"),
                                    [](QMessageBox* box) { QCOMPARE(box->icon(), QMessageBox::Critical); });
                bench().hand.expect(QStringLiteral("Data acquisition"), QStringLiteral("Do you want read scan data anyway?"),
                                    read ? QStringLiteral("Yes") : QStringLiteral("No"));
                if (read)
                    bench().hand.expectWindow(QStringLiteral("Scan Data Transfer"), [](QDialog* box) {
                        for (QAbstractButton* button : qobject_cast<QMessageBox*>(box)->buttons())
                            if (button->text() == QStringLiteral("&Yes"))
                                QTest::mouseClick(button, Qt::LeftButton);
                    });
                start()->trigger();
            });
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(bench().hand.done());
        QVERIFY(!Operation::isRunning(Operations::scan));
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
        QVERIFY(bringUp(100, {QStringLiteral("--position"), QStringLiteral("13,26")}));
        typeParameters({"26", "66", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("26"), QStringLiteral("66"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                            QStringLiteral("OK"));
        const auto transfers = [this] { return bench().lab.received(QStringLiteral("SMC")).count(QStringLiteral("?CNT;")); };
        qsizetype before = -1;
        bench().once([&] { return Exchange::isBarred(modCOM::MCComm()) && transfers() == 1; },
                     [&] {
                         before = scanData().maximum;
                         bench().hand.expect(QStringLiteral("Data acquisition"),
                                             QStringLiteral("Do you want to abort the current data acquisition now?"),
                                             QStringLiteral("Yes"));
                         bench().hand.expect(QStringLiteral("Data acquisition"), QStringLiteral("Do you want read scan data anyway?"),
                                             read ? QStringLiteral("Yes") : QStringLiteral("No"));
                         start()->trigger();
                     });
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY2(bench().hand.done(), qPrintable(bench().hand.complaint()));
        QCOMPARE(before, 0);
        QCOMPARE(transfers(), read ? 2 : 1);
        QVERIFY(!Operation::isRunning(Operations::scan) && !Exchange::isBarred(modCOM::MCComm()));
        QCOMPARE(start()->text(), QStringLiteral("&Start Data Acquisition"));
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
        QCOMPARE(flags().dataPresent, read);
        QCOMPARE(bench().window->entry(Menu::Entry::mnuFileSaveAs)->isEnabled(), read);
        if (read) {
            QCOMPARE(scanData().size(), points);
            QVERIFY(scanData().maximum > 0);
        }
        // The counts are still in the controller.
        bench().window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->trigger();
        QCOMPARE(transfers(), read ? 3 : 2);
        QVERIFY(flags().dataPresent);
        QCOMPARE(scanData().size(), points);
        QCOMPARE(bench().window->chart()->graph(0)->dataCount(), points);
    }

    void getRAMDataOffersTheScanThatWasStartedLast()
    {
        QVERIFY(bringUp(100));
        typeParameters({"26", "27", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        const QVector<double> counts = scanData().counts();
        QVERIFY(Notices::all().isEmpty());
        // Another range with as many points: nothing but the angles would be wrong.
        frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("61"));
        frontPanel().setText(FrontPanel::Field::ScanStop, QStringLiteral("62"));
        bench().window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->trigger();
        QCOMPARE(scanData().angle(1), 61.0);
        QCOMPARE(Notices::all().size(), 1);
        QVERIFY2(Notices::all()[0].text.startsWith(QStringLiteral("The controller's last scan was started as 26 to 27 in steps of 0.02 (")),
                 qPrintable(Notices::all()[0].text));
        Notices::all()[0].actions[0].run();
        QCOMPARE(scanData().angle(1), 26.0);
        QCOMPARE(scanData().counts(), counts);
        QCOMPARE(frontPanel().text(FrontPanel::Field::ScanStart), QStringLiteral("26"));
        flags().dataSaved = true;
    }

    void aScanThatWasNotSavedIsOfferedByTheNextStart()
    {
        QVERIFY(bringUp(100));
        typeParameters({"26", "27", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        const QVector<double> counts = scanData().counts();
        // It was killed; the next one begins.
        scanData().clear();
        flags().dataPresent = false;
        modMain::OfferRecovered();
        QCOMPARE(Notices::all().size(), 1);
        QVERIFY2(Notices::all()[0].text.startsWith(QStringLiteral("A scan that was not saved: ")), qPrintable(Notices::all()[0].text));
        QCOMPARE(Notices::all()[0].actions[0].caption, QStringLiteral("Open"));
        Notices::all()[0].actions[0].run();
        QCOMPARE(scanData().counts(), counts);
        QVERIFY(flags().dataPresent && !flags().dataSaved);
        // Who ends the program without it does not want it.
        Notices::reset();
        bench().hand.expect(QStringLiteral("Exit program"), {}, QStringLiteral("Yes"));
        QVERIFY(bench().window->close());
        modMain::OfferRecovered();
        QVERIFY(Notices::all().isEmpty());
    }

    void stopDuringGetRAMDataLosesNoCount()
    {
        QVERIFY(bringUp(100, {QStringLiteral("--position"), QStringLiteral("13,26")}));
        typeParameters({"26", "66", "0.02", "0.1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("26"), QStringLiteral("66"), QStringLiteral("0.02"), QStringLiteral("0.1")),
                            QStringLiteral("OK"));
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(flags().dataPresent);
        const QVector<double> counts = scanData().counts();
        bool stopped = false;
        bench().once([] { return Exchange::isBarred(modCOM::MCComm()); },
                     [&] {
                         stopped = true;
                         QVERIFY(!start()->isEnabled());
                         QVERIFY(!bench().window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->isEnabled());
                         bench().window->entry(Menu::Entry::mnuExtrasSMCStop)->trigger();
                     });
        bench().window->entry(Menu::Entry::mnuExtrasSMCGetRAMData)->trigger();
        QVERIFY(stopped);
        QVERIFY(bench().lab.received(QStringLiteral("SMC")).contains(QStringLiteral("Q;")));
        QCOMPARE(scanData().counts(), counts);
        QVERIFY(!Operation::isRunning(Operations::utility) && flags().dataPresent);
    }

    void closingDuringARunEndsItAfterTheQuestion()
    {
        QVERIFY(bringUp(2, {QStringLiteral("--position"), QStringLiteral("10,20")}));
        typeParameters({"20", "100", "0.02", "1"});
        bench().hand.expect(QStringLiteral("Start scan"),
                            startText(QStringLiteral("20"), QStringLiteral("100"), QStringLiteral("0.02"), QStringLiteral("1")),
                            QStringLiteral("OK"));
        const QString busyText = QStringLiteral("\nSMC seems to be busy!\nAre you sure that you want to quit?");
        bench().once([] { return frontPanel().panel(1).contains(QStringLiteral("in progress")); },
                     [&] {
                         bench().hand.expect(QStringLiteral("Quit program"), busyText, QStringLiteral("Cancel"));
                         QVERIFY(!bench().window->close());
                         QVERIFY(Operation::isRunning(Operations::scan));
                         bench().hand.expect(QStringLiteral("Quit program"), busyText, QStringLiteral("OK"));
                         QVERIFY(bench().window->close());
                     });
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("ms"));
        QVERIFY(flags().closing);
        QVERIFY(!bench().window->isVisible());
    }
};

QTEST_MAIN(TestScanByHand)
#include "tst_scanbyhand.moc"
