// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "plot/Chart2d.h"
#include "support/Pretend.h"
#include "ui/Fields.h"

#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QTest>

#include <memory>

using Field = FrontPanel::Field;

class TestMainWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    template <typename Widget>
    Widget* find(const char* name) const
    {
        return bench().window->findChild<Widget*>(QString::fromLatin1(name));
    }
    QLineEdit* field(const char* name) const { return find<QLineEdit>(name); }
    /// Replaces a field's text as a person does: select all, type.
    void type(QLineEdit* edit, const QString& text)
    {
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, text);
    }

private slots:
    void init()
    {
        m_bench = std::make_unique<LabWindow>();
        configuration().general.thetaMin = 0;
        configuration().general.thetaMax = 180;
        frontPanel().setText(Field::ScanStart, QStringLiteral("10"));
        frontPanel().setText(Field::ScanStop, QStringLiteral("80"));
        frontPanel().setText(Field::ScanStep, QStringLiteral("0.02"));
        frontPanel().setText(Field::CounterTime, QStringLiteral("0.1"));
        QVERIFY(bench().showWindow());
        bench().window->resize(1024, 768);
        QVERIFY(QTest::qWaitForWindowActive(bench().window.get()));
    }

    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void everyControlHasItsNameLabelAndToolTip_data()
    {
        QTest::addColumn<QString>("toolTip");
        QTest::addColumn<QString>("labelName");
        QTest::addColumn<QString>("label");
        QTest::newRow("ScanStart") << "Scan start [deg 2-Theta]"
                                   << "LblScanStart"
                                   << "Scan start:";
        QTest::newRow("ScanStop") << "Scan stop [deg 2-Theta]"
                                  << "LblScanStop"
                                  << "Scan stop:";
        QTest::newRow("ScanStep") << "Scan interval [deg 2-Theta]"
                                  << "LblScanStep"
                                  << "Scan step:";
        QTest::newRow("CounterTime") << "Counter time [s]"
                                     << "LblCounterTime"
                                     << "Counter time:";
        QTest::newRow("txtFileName") << "Sample-/Filename"
                                     << "LblFileName"
                                     << "Sample name:";
        QTest::newRow("txtComment") << "Comment"
                                    << "lblComment"
                                    << "Comment:";
        QTest::newRow("txtWorkDir") << "Actual working directory"
                                    << "lblWorkDir"
                                    << "Work directory:";
        QTest::newRow("picLaserOn") << "Laser is ON!"
                                    << ""
                                    << "";
        QTest::newRow("picXRayOn") << "X-Ray shutter is OPEN!"
                                   << ""
                                   << "";
        QTest::newRow("Chart2d") << "Zoom: Shift + drag while left mouse button pressed; Unzoom: press 'R' key to reset display"
                                 << ""
                                 << "";
    }
    void everyControlHasItsNameLabelAndToolTip()
    {
        QFETCH(QString, toolTip);
        QFETCH(QString, labelName);
        QFETCH(QString, label);
        auto* control = find<QWidget>(QTest::currentDataTag());
        QVERIFY(control != nullptr);
        QCOMPARE(control->toolTip(), toolTip);
        if (!labelName.isEmpty()) {
            auto* text = bench().window->findChild<QLabel*>(labelName);
            QVERIFY(text != nullptr);
            QCOMPARE(text->text(), label);
            QCOMPARE(text->buddy(), control);
        }
    }

    void framesBarsAndAnchorAreThere()
    {
        QCOMPARE(find<QGroupBox>("frameScanParameter")->title(), QStringLiteral("Scan Parameter"));
        QVERIFY(find<QGroupBox>("frameFile") != nullptr);
        QVERIFY(find<QProgressBar>("ProgressBar1") != nullptr);
        QVERIFY(find<QStatusBar>("StatusBar") != nullptr);
        QVERIFY(find<QPushButton>("btnFirst") != nullptr);
        int units = 0;
        for (const QLabel* label : find<QGroupBox>("frameScanParameter")->findChildren<QLabel*>())
            units += label->text() == QStringLiteral("[deg 2-Theta]");
        QCOMPARE(units, 3);
    }

    void theMenusHoldTheirEntriesInOrder()
    {
        const auto texts = [](const QList<QAction*>& actions) {
            QStringList result;
            for (const QAction* action : actions)
                if (!action->isSeparator())
                    result << action->text();
            return result;
        };
        QCOMPARE(texts(bench().window->menuBar()->actions()),
                 QStringList({"&File", "&Measurement", "&HTC", "&LTC", "La&ser", "E&xtras", "&Help"}));
        const auto entries = [&](const char* menu) { return texts(find<QAction>(menu)->menu()->actions()); };
        QCOMPARE(entries("mnuFile"), QStringList({"&Open...", "&Save...", "Set &Work Directory...", "Set&tings...", "E&xit"}));
        QCOMPARE(entries("mnuMeasurement"), QStringList({"&Start Data Acquisition", "Execute &Temperature Profile..."}));
        QCOMPARE(entries("mnuHTC"), QStringList({"Query current &Temperature", "New &Setpoint (use current PID's)",
                                                 "Ne&w Setpoint (load PID's)", "Heater &Output (is OFF)", "&Change current PID's",
                                                 "Save current &PID's", "&Auto Optimizing", "Restore &Default Parameter"}));
        QCOMPARE(entries("mnuLTC"),
                 QStringList({"Query...", "Log Cooldown", "Query current &Temperature", "&New Setpoint (use current RPID's)",
                              "Ne&w Setpoint (load RPID's)", "&Change current RPID's", "Save current &RPID's", "Auto&tuning (is OFF)",
                              "Restore &Default Settings"}));
        QCOMPARE(entries("mnuLaser"), QStringList({"Beam &ON", "New &Temperature Setpoint", "Test"}));
        QCOMPARE(entries("mnuExtras"), QStringList({"&SMC", "X-Ray Generator", "&Ratemeter", "All &Off"}));
        QCOMPARE(entries("mnuExtrasSMC"), QStringList({"&Get RAM Data", "&GoTo...", "Search &Reference Position", "Set Reference &Offset",
                                                       "Get &Status...", "&STOP Motion"}));
        QCOMPARE(entries("mnuExtrasGenerator"), QStringList({"OPEN &X-Ray Shutter", "Set &Power...", "Get &Status..."}));
        QCOMPARE(entries("mnuHelp"), QStringList({"&Help...", "&About"}));
    }

    void captionsAndStatesFollowTheFrontPanel()
    {
        QVERIFY(!find<QAction>("mnuHTC")->isEnabled());
        QVERIFY(!find<QAction>("mnuFileSaveAs")->isEnabled());
        flags().dataPresent = true;
        frontPanel().refreshEntries();
        QVERIFY(find<QAction>("mnuFileSaveAs")->isEnabled());
        frontPanel().setEntryCaption(Menu::Entry::mnuMeasStartAcquisition, QStringLiteral("Abort Data Acquisition"));
        QCOMPARE(find<QAction>("mnuMeasStartAcquisition")->text(), QStringLiteral("Abort Data Acquisition"));
        frontPanel().setCaption(QStringLiteral("Scan (Simulation)"));
        QCOMPARE(bench().window->windowTitle(), QStringLiteral("Scan (Simulation)"));
        pretendRunning(Operations::scan);
        frontPanel().refreshEntries();
        QVERIFY(field("ScanStart")->isReadOnly());
        QVERIFY(!find<QAction>("mnuFileOpen")->isEnabled());
    }

    void noEnabledEntryDoesNothing()
    {
        flags() = Flags{};
        flags().htcEnabled = flags().ltcEnabled = flags().laserEnabled = flags().generatorRemote = flags().shutterRemote =
            flags().dataPresent = true;
        frontPanel().refreshEntries();
        for (const Menu::Item& item : Menu::items()) {
            if (Menu::isMenu(item.entry))
                continue;
            // An entry that is enabled is connected to a procedure.
            QAction* action = bench().window->entry(item.entry);
            QVERIFY2(!action->isEnabled() || action->property("hasProcedure").toBool(), item.name);
        }
    }

    void aCommaBecomesAPointAndLettersAreDropped()
    {
        type(field("ScanStart"), QStringLiteral("-1x2,5 e"));
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("-12.5"));
        QCOMPARE(frontPanel().text(Field::ScanStart), QStringLiteral("-12.5"));
        QTest::keyClick(field("ScanStart"), Qt::Key_Backspace);
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("-12."));
        QTest::keyClick(field("ScanStart"), Qt::Key_Home);
        QTest::keyClick(field("ScanStart"), Qt::Key_Delete);
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("12."));
    }

    void enterGoesThroughTheFieldsAndStaysInTheLast()
    {
        field("ScanStart")->setFocus();
        for (const char* next : {"ScanStop", "ScanStep", "CounterTime", "CounterTime"}) {
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
            QCOMPARE(QApplication::focusWidget()->objectName(), QString::fromLatin1(next));
        }
    }

    void aValueIsCorrectedWhenItsFieldIsLeft()
    {
        type(field("ScanStart"), QStringLiteral("200"));
        QTest::keyClick(field("ScanStart"), Qt::Key_Tab);
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("180"));
        type(field("ScanStart"), QStringLiteral("10"));
        type(field("CounterTime"), QStringLiteral("0,3"));
        QTest::keyClick(field("CounterTime"), Qt::Key_Tab);
        QCOMPARE(field("CounterTime")->text(), QStringLiteral("0.5"));
        QCOMPARE(frontPanel().text(Field::CounterTime), QStringLiteral("0.5"));
    }

    void tooManyPointsShortenTheRange()
    {
        type(field("ScanStart"), QStringLiteral("0"));
        type(field("ScanStop"), QStringLiteral("100"));
        bench().hand.expect(QStringLiteral("Error"), QStringLiteral("Too many data points!\nScan range will be reduced..."),
                            QStringLiteral("OK"));
        type(field("ScanStep"), QStringLiteral("0.002"));
        QTest::keyClick(field("ScanStep"), Qt::Key_Tab);
        QCOMPARE(field("ScanStop")->text(), QStringLiteral("64"));
        QVERIFY(bench().hand.done());
    }

    void openingAMenuDoesNotLeaveTheField()
    {
        type(field("ScanStart"), QStringLiteral("200"));
        QTest::keyClick(bench().window.get(), 'F', Qt::AltModifier);
        QVERIFY(QApplication::activePopupWidget() != nullptr);
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("200"));
        QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
        QCOMPARE(field("ScanStart")->text(), QStringLiteral("200"));
    }

    void fileNameKeysAreFiltered()
    {
        type(field("txtFileName"), QStringLiteral("a b*c?d/e\\f:g!(1)_~.x"));
        QCOMPARE(field("txtFileName")->text(), QStringLiteral("abcdefg!(1)_~.x"));
        field("txtFileName")->clear();
        for (QChar typed : QStringLiteral("Gr\u00fc\u00dfe\u20ac")) {
            QKeyEvent event(QEvent::KeyPress, 0, Qt::NoModifier, typed);
            QApplication::sendEvent(field("txtFileName"), &event);
        }
        QCOMPARE(field("txtFileName")->text(), QStringLiteral("Gr\u00fc\u00dfe"));
    }

    void enterOnAValidNameMovesOn()
    {
        type(field("txtFileName"), QStringLiteral("quartz"));
        QTest::keyClick(field("txtFileName"), Qt::Key_Return);
        QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("txtComment"));
    }

    void enterOnABadNameShowsItsBoxOnce()
    {
        field("txtFileName")->setFocus();
        field("txtFileName")->setText(QStringLiteral("two words"));
        bench().hand.expect(QStringLiteral("File name"), QStringLiteral("'two words' is not a valid file name."), QStringLiteral("OK"));
        QTest::keyClick(field("txtFileName"), Qt::Key_Return);
        QVERIFY(bench().hand.done());
        QApplication::processEvents();
        QVERIFY(bench().hand.complaint().isEmpty());
    }

    void leavingABadNameShowsTheOtherTitle()
    {
        field("txtFileName")->setFocus();
        field("txtFileName")->setText(QStringLiteral("a*b"));
        bench().hand.expect(QStringLiteral("Invalid parameter"), QStringLiteral("'a*b' is not a valid file name."), QStringLiteral("OK"));
        QTest::keyClick(field("txtFileName"), Qt::Key_Tab);
        QVERIFY(bench().hand.done());
    }

    void aNameIsWrittenBackTrimmed()
    {
        field("txtFileName")->setFocus();
        field("txtFileName")->setText(QStringLiteral("  quartz "));
        QTest::keyClick(field("txtFileName"), Qt::Key_Tab);
        QCOMPARE(field("txtFileName")->text(), QStringLiteral("quartz"));
        QCOMPARE(frontPanel().text(Field::txtFileName), QStringLiteral("quartz"));
    }

    void theCommentKeepsItsLines()
    {
        auto* comment = find<QPlainTextEdit>("txtComment");
        comment->setFocus();
        QTest::keyClicks(comment, QStringLiteral("a"));
        QTest::keyClick(comment, Qt::Key_Return);
        QTest::keyClicks(comment, QStringLiteral("b"));
        QCOMPARE(frontPanel().text(Field::txtComment), QStringLiteral("a\r\nb"));
        frontPanel().setText(Field::txtComment, QStringLiteral("x\r\ny"));
        QCOMPARE(comment->toPlainText(), QStringLiteral("x\ny"));
    }

    void warningSignsAppearWithoutMovingAnything()
    {
        const QRect before = find<QWidget>("frameFile")->geometry();
        QVERIFY(!find<QWidget>("picXRayOn")->isVisible());
        frontPanel().setPicXRayOn(true);
        frontPanel().setPicLaserOn(true);
        QVERIFY(find<QWidget>("picXRayOn")->isVisible());
        QVERIFY(find<QWidget>("picLaserOn")->isVisible());
        QApplication::processEvents();
        QCOMPARE(find<QWidget>("frameFile")->geometry(), before);
    }

    void progressPanelsAndPointerFollowTheFrontPanel()
    {
        frontPanel().setProgress(42);
        QCOMPARE(find<QProgressBar>("ProgressBar1")->value(), 42);
        frontPanel().setProgress(-1);
        QCOMPARE(find<QProgressBar>("ProgressBar1")->value(), 0);
        frontPanel().setPanel(2, QStringLiteral("Nov 21. 2026 10:00"));
        QCOMPARE(find<PanelLabel>("Panel2")->text(), QStringLiteral("Nov 21. 2026 10:00"));
        frontPanel().setPointer(FrontPanel::Pointer::Hourglass);
        QVERIFY(QApplication::overrideCursor() != nullptr);
        frontPanel().setPointer(FrontPanel::Pointer::Default);
        QVERIFY(QApplication::overrideCursor() == nullptr);
    }

    void aLongStatusTextIsCutAndDoesNotWidenTheWindow()
    {
        const QSize before = bench().window->minimumSizeHint();
        frontPanel().setPanel(1, QString(500, u'x'));
        QApplication::processEvents();
        QCOMPARE(bench().window->minimumSizeHint(), before);
        QCOMPARE(find<PanelLabel>("Panel1")->toolTip(), QString(500, u'x'));
        QCOMPARE(bench().window->size(), QSize(1024, 768));
    }

    void focusCanBeTakenAwayFromTheFields()
    {
        field("ScanStart")->setFocus();
        frontPanel().focusFirst();
        QCOMPARE(QApplication::focusWidget()->objectName(), QStringLiteral("btnFirst"));
    }

    void tabFollowsTheEye()
    {
        field("ScanStart")->setFocus();
        QStringList order;
        for (int i = 0; i < 7; ++i) {
            order << QApplication::focusWidget()->objectName();
            QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        }
        order << QApplication::focusWidget()->objectName();
        QCOMPARE(order,
                 QStringList({"ScanStart", "ScanStop", "ScanStep", "CounterTime", "txtFileName", "txtComment", "txtWorkDir", "Chart2d"}));
    }

    void nothingOverlapsOrIsCut_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::newRow("1024 x 768") << QSize(1024, 768);
        QTest::newRow("smallest") << QSize(0, 0);
        QTest::newRow("1920 x 1080") << QSize(1920, 1080);
    }
    void nothingOverlapsOrIsCut()
    {
        QFETCH(QSize, size);
        frontPanel().setPicXRayOn(true);
        frontPanel().setPicLaserOn(true);
        QVERIFY(bench().window->minimumSizeHint().width() <= 1024 && bench().window->minimumSizeHint().height() <= 740);
        bench().window->resize(size.expandedTo(bench().window->minimumSizeHint()));
        QApplication::processEvents();
        QList<QWidget*> shown;
        for (QWidget* widget : bench().window->findChildren<QWidget*>())
            if (widget->isVisible() && !widget->isWindow() && !widget->objectName().isEmpty() && !widget->objectName().startsWith(u"qt_") &&
                widget->objectName() != QLatin1String("StatusBar"))
                shown << widget;
        QVERIFY(shown.size() > 15);
        for (QWidget* one : shown) {
            const QRect place(one->mapTo(bench().window.get(), QPoint(0, 0)), one->size());
            QVERIFY2(bench().window->rect().contains(place), qPrintable(one->objectName()));
            if (const auto* label = qobject_cast<QLabel*>(one); label != nullptr && qobject_cast<PanelLabel*>(one) == nullptr)
                QVERIFY2(label->width() >= label->sizeHint().width() && label->height() >= label->sizeHint().height(),
                         qPrintable(one->objectName()));
            for (QWidget* other : shown) {
                if (one == other || one->isAncestorOf(other) || other->isAncestorOf(one))
                    continue;
                const QRect otherPlace(other->mapTo(bench().window.get(), QPoint(0, 0)), other->size());
                QVERIFY2(!place.intersects(otherPlace), qPrintable(QStringLiteral("%1 at %2..%3 over %4 at %5..%6")
                                                                       .arg(one->objectName())
                                                                       .arg(place.left())
                                                                       .arg(place.right())
                                                                       .arg(other->objectName())
                                                                       .arg(otherPlace.left())
                                                                       .arg(otherPlace.right())));
            }
        }
        // The chart takes what the column leaves.
        QVERIFY(bench().window->chart()->width() > bench().window->width() * 6 / 10 || size.width() < 1024);
    }

    void theStatusBarOffersTheCommunicationTest()
    {
        bench().hand.expect(QStringLiteral("Communcication test"), QStringLiteral("start test?"), QStringLiteral("Cancel"));
        QTest::mouseClick(find<QWidget>("Panel1"), Qt::LeftButton);
        QVERIFY(bench().hand.done());
    }

    void theCommunicationTestCountsUntilTheBarIsClickedAgain()
    {
        bench().hand.expect(QStringLiteral("Communcication test"), QStringLiteral("start test?"), QStringLiteral("OK"));
        QString shown;
        bench().once([] { return frontPanel().panel(1).contains(u": "_qs); },
                     [&] {
                         shown = frontPanel().panel(1);
                         QVERIFY(!find<QAction>("mnuExtrasRatemeter")->isEnabled());
                         QTest::mouseClick(find<QWidget>("StatusBar"), Qt::LeftButton);
                     });
        QTest::mouseClick(find<QWidget>("StatusBar"), Qt::LeftButton);
        QVERIFY(shown.endsWith(u": n. a."_qs));
        QVERIFY(shown.section(u':', 0, 0).toInt() > 0);
        QCOMPARE(frontPanel().panel(1), QStringLiteral("Ready"));
    }

    void theCommunicationTestIsRefusedDuringARun()
    {
        pretendRunning(Operations::scan);
        bench().hand.expect(QStringLiteral("Communcication test"), QStringLiteral("SMC not ready..."), QStringLiteral("OK"));
        QTest::mouseClick(find<QWidget>("Panel4"), Qt::LeftButton);
        QVERIFY(bench().hand.done());
    }
};

QTEST_MAIN(TestMainWindow)
#include "tst_mainwindow.moc"
