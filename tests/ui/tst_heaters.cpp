// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Operation.h"
#include "temperature/modHTC.h"
#include "temperature/modTC.h"
#include "ui/frmRPID.h"

#include <QFile>
#include <QRegularExpression>
#include <QTest>

#include <memory>

using Entry = Menu::Entry;

/// The menus of the high-temperature controller and of the laser heater, worked by hand on the virtual devices.
class TestHeaters : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() { return *m_bench; }
    bool furnace(const QStringList& more = {})
    {
        return bench().bringUp(QStringList{QStringLiteral("--htc")} + more) && flags().htcEnabled;
    }
    bool laser(const QStringList& more = {})
    {
        return bench().bringUp(QStringList{QStringLiteral("--laser")} + more) && flags().laserEnabled;
    }

    static QString pidTitle() { return QStringLiteral("HTC control parameters"); }
    /// The block that was written last; empty when none was.
    QString written()
    {
        const QString all = m_bench->lab.received(QStringLiteral("HTC"));
        const qsizetype at = all.lastIndexOf(QStringLiteral("S001  T "));
        return at < 0 ? QString() : all.mid(at + 8, 54);
    }
    /// Of the only message bar; empty: there is none.
    QString barText()
    {
        const auto* label = bench().window->findChild<QWidget*>(QStringLiteral("NoticeBars"))->findChild<QLabel*>(QStringLiteral("text"));
        return label != nullptr ? label->text() : QString();
    }
    qsizetype blocksWritten() { return m_bench->lab.received(QStringLiteral("HTC")).count(QStringLiteral("S001  T ")); }
    /// A three-character value of the block, from position 1 on.
    static int valueAt(const QString& block, int position)
    {
        const auto code = [&](int offset) { return block.size() < position + 2 ? 0 : block[position - 1 + offset].unicode() - 32; };
        return code(0) * 1024 + code(1) * 16 + code(2);
    }
    static QString fields(QDialog* dialog)
    {
        return LabWindow::field(dialog, "txtP")->text() + u' ' + LabWindow::field(dialog, "txtI")->text() + u' ' +
               LabWindow::field(dialog, "txtD")->text();
    }
    void refused(QDialog* dialog, const char* name, const QString& text, const QString& message)
    {
        Operator::activate(dialog);
        QLineEdit* edit = LabWindow::field(dialog, name);
        edit->setFocus();
        LabWindow::type(edit, text);
        bench().hand.expect(QStringLiteral("Value out of range"), message, QStringLiteral("OK"));
        QTest::keyClick(edit, Qt::Key_Tab);
        DESK_VERIFY(bench().hand.done());
        DESK_COMPARE(dialog->focusWidget(), edit);
    }
    void taken(QDialog* dialog, const char* name, const QString& text, const QString& shown)
    {
        Operator::activate(dialog);
        QLineEdit* edit = LabWindow::field(dialog, name);
        edit->setFocus();
        LabWindow::type(edit, text);
        QTest::keyClick(edit, Qt::Key_Tab);
        DESK_COMPARE(edit->text(), shown);
        QVERIFY(bench().hand.complaint().isEmpty());
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    // --- high-temperature controller

    void theFurnaceTemperatureIsShown()
    {
        QVERIFY(furnace());
        bench().hand.expectWindow(QStringLiteral("HTC"), [](QDialog* dialog) {
            auto* box = qobject_cast<QMessageBox*>(dialog);
            QVERIFY(box != nullptr);
            static const QRegularExpression wanted(QStringLiteral("^Current temperature is: 2\\d \u00b0C$"));
            QVERIFY2(wanted.match(box->text()).hasMatch(), qPrintable(box->text()));
            box->accept();
        });
        bench().choose(Entry::mnuHTCQueryTemperature);
        QCOMPARE(bench().lab.received(QStringLiteral("HTC")), QStringLiteral("R001NF?|"));
    }

    void theHeaterOutputIsSwitchedAndNamed()
    {
        QVERIFY(furnace());
        QAction* output = bench().entry(Entry::mnuHTCHeaterOutput);
        QCOMPARE(output->text(), QStringLiteral("Heater &Output (is OFF)"));
        bench().choose(Entry::mnuHTCHeaterOutput);
        QCOMPARE(output->text(), QStringLiteral("Heater &Output (is ON)"));
        DESK_COMPARE(valueAt(written(), 16), 1);
        bench().choose(Entry::mnuHTCHeaterOutput);
        QCOMPARE(output->text(), QStringLiteral("Heater &Output (is OFF)"));
        DESK_COMPARE(blocksWritten(), 2);
        QCOMPARE(valueAt(written(), 16), 0);
    }

    void theFurnaceParametersAreChangedByHand()
    {
        QVERIFY(furnace());
        bench().hand.expectWindow(pidTitle(), [&](QDialog* dialog) {
            Operator::activate(dialog);
            QCOMPARE(dialog->findChild<QLabel*>(QStringLiteral("lblSetpoint"))->text(), QStringLiteral("Current setpoint is 20 \u00b0C"));
            QCOMPARE(fields(dialog), QStringLiteral("71% 8s 2s"));
            bench().lab.forget();
            taken(dialog, "txtP", QStringLiteral("x500"), QStringLiteral("500%"));
            taken(dialog, "txtI", QStringLiteral("5000s"), QStringLiteral("5000s"));
            taken(dialog, "txtD", QStringLiteral("0"), QStringLiteral("0s"));
            taken(dialog, "txtD", QStringLiteral("12"), QStringLiteral("12s"));
            QTest::mouseClick(LabWindow::button(dialog, "btnOk"), Qt::LeftButton);
        });
        bench().choose(Entry::mnuHTCChangePID);
        DESK_COMPARE(blocksWritten(), 1);
        const QString block = written();
        QCOMPARE(valueAt(block, 7), 500);
        QCOMPARE(valueAt(block, 10), 5000);
        QCOMPARE(valueAt(block, 13), 12);
        QCOMPARE(valueAt(block, 4), 20);
        QCOMPARE(valueAt(block, 22), 1500);
        bench().hand.expectWindow(pidTitle(), [&](QDialog* dialog) {
            QCOMPARE(fields(dialog), QStringLiteral("500% 5000s 12s"));
            bench().lab.forget();
            LabWindow::type(LabWindow::field(dialog, "txtP"), QStringLiteral("100"));
            QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
        });
        bench().choose(Entry::mnuHTCChangePID);
        QCOMPARE(bench().lab.received(QStringLiteral("HTC")), QString());
    }

    void furnaceParametersOutOfRangeAreRefused()
    {
        QVERIFY(furnace());
        bench().hand.expectWindow(pidTitle(), [&](QDialog* dialog) {
            Operator::activate(dialog);
            bench().lab.forget();
            refused(dialog, "txtP", QStringLiteral("500.5"), QStringLiteral("The valid P range is 0% ... 500%!"));
            taken(dialog, "txtP", QStringLiteral("500"), QStringLiteral("500%"));
            refused(dialog, "txtI", QStringLiteral("5001s"), QStringLiteral("The valid I range is 0s ... 5000s!"));
            taken(dialog, "txtI", QStringLiteral("8"), QStringLiteral("8s"));
            refused(dialog, "txtD", QStringLiteral("9999"), QStringLiteral("The valid D range is 0s ... 5000s!"));
            // Escape leaves without an argument about the value.
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        bench().choose(Entry::mnuHTCChangePID);
        QCOMPARE(bench().lab.received(QStringLiteral("HTC")), QString());
    }

    void theFurnaceParametersAreSavedUnderTheSetpoint()
    {
        QVERIFY(furnace());
        modHTC::NewSetpoint(600);
        const QString path = bench().lab.path() + QStringLiteral("/htc.pid");
        const auto lines = [&path] {
            QFile file(path);
            return file.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromLatin1(file.readAll()).split(u'\n', Qt::SkipEmptyParts)
                                                                    : QStringList();
        };
        const QStringList before = lines();
        bench().answerFile(QStringLiteral("Select PID file"), QString());
        bench().choose(Entry::mnuHTCSavePID);
        QCOMPARE(lines(), before);
        bench().answerFile(QStringLiteral("Select PID file"), path);
        bench().choose(Entry::mnuHTCSavePID);
        QCOMPARE(lines().size(), before.size() + 1);
        QVERIFY(lines().contains(QStringLiteral("600=P71I8D2")));
    }

    void aSetpointBeyondTheFurnaceIsNotSent_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<bool>("sent");
        QTest::newRow("lowest") << "20" << true;
        QTest::newRow("highest") << "1500" << true;
        QTest::newRow("below") << "19.9" << false;
        QTest::newRow("above") << "1500,1" << false;
        QTest::newRow("cancelled") << "" << false;
    }
    void aSetpointBeyondTheFurnaceIsNotSent()
    {
        QFETCH(QString, typed);
        QFETCH(bool, sent);
        QVERIFY(furnace());
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("20 \u00b0C"), typed);
        if (sent)
            bench().once([] { return LabWindow::textLines().size() > 5; }, [] { LabWindow::pressTextButton(); });
        else if (!typed.isEmpty())
            bench().hand.expect(QStringLiteral("New setpoint"), QStringLiteral("Setpoint out of range (20\u00b0C ... 1500\u00b0C)!"),
                                QStringLiteral("OK"));
        bench().choose(Entry::mnuHTCSetpoint);
        QCOMPARE(blocksWritten(), sent ? 1 : 0);
        if (sent)
            QCOMPARE(valueAt(written(), 4), typed.toInt());
        QVERIFY(LabWindow::textWindow() == nullptr);
    }

    void aSetpointThatTheFurnaceDoesNotTakeIsABarAndTheWaitGoesOn()
    {
        QVERIFY(furnace({QStringLiteral("--fault"), QStringLiteral("htc/ignore:S001")}));
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("20 \u00b0C"),
                            QStringLiteral("300"));
        const QString text =
            QStringLiteral("The high-temperature controller has not taken the setpoint of 300 \u00b0C: it says 20 \u00b0C.");
        bench().once([&] { return barText() == text && LabWindow::textLines().size() > 5; }, [] { LabWindow::pressTextButton(); });
        bench().choose(Entry::mnuHTCSetpoint);
        QCOMPARE(barText(), text);
        QVERIFY(LabWindow::textWindow() == nullptr);
    }

    void aSetpointWithoutTheHeaterIsABar()
    {
        QVERIFY(furnace());
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("20 \u00b0C"),
                            QStringLiteral("300"));
        const QString text =
            QStringLiteral("The heater output is off. The setpoint of 300 \u00b0C has no effect on the furnace until it is switched on.");
        bench().once([&] { return barText() == text && LabWindow::textLines().size() > 5; }, [] { LabWindow::pressTextButton(); });
        bench().choose(Entry::mnuHTCSetpoint);
        QCOMPARE(barText(), text);
        bench().choose(Entry::mnuHTCHeaterOutput);
        QCOMPARE(barText(), QString()); // it is on
    }

    void theFurnaceIsWaitedForAtItsCalibratedSetpoint()
    {
        // The controller is to read ten degrees more than the operator wants: only then is the sample there.
        bench().configure("HTC", "Calibration", QStringLiteral("1"));
        bench().configure("HTC", "CalibrationOffset", QStringLiteral("7"));
        bench().configure("HTC", "CalibrationFactor", QStringLiteral("1.1"));
        QVERIFY(furnace());
        QFile table(bench().lab.path() + QStringLiteral("/htc.pid"));
        QVERIFY(table.open(QIODevice::WriteOnly | QIODevice::Truncate) && table.write("100=P2I30D0\r\n900=P71I8D2\r\n") > 0);
        table.close();
        bench().choose(Entry::mnuHTCHeaterOutput);
        bench().lab.forget();
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:\n(We will use PID's in 'htc.pid')"),
                            QStringLiteral("20 \u00b0C"), QStringLiteral("30"));
        QStringList first;
        QStringList last;
        QString title;
        bench().once([] { return LabWindow::textLines().size() > 5; },
                     [&] {
                         first = LabWindow::textLines();
                         title = LabWindow::textWindow()->windowTitle();
                     });
        connect(&frontPanel(), &FrontPanel::textDisplayChanged, &bench().hand, [&last] {
            if (LabWindow::textLines().size() > 5)
                last = LabWindow::textLines();
        });
        bench().choose(Entry::mnuHTCNewSetpointWithPID);
        QCOMPARE(title, QStringLiteral("HTC info"));
        QVERIFY(first.size() > 4);
        QCOMPARE(first[0], QStringLiteral("Control Parameter: P2I30D0"));
        QVERIFY2(first[1].startsWith(QStringLiteral("Current Temperature X: ")), qPrintable(first[1]));
        QCOMPARE(first[2], QStringLiteral("Setpoint    (cal.) W:40.00 \u00b0C"));
        QCOMPARE(first[3], QStringLiteral("Setpoint           W:30.00 \u00b0C"));
        QVERIFY(last != first);
        QVERIFY2(last[1] == QStringLiteral("Current Temperature X: 40.00 \u00b0C") || last[1].contains(QStringLiteral(" 39.")) ||
                     last[1].contains(QStringLiteral(" 41.")),
                 qPrintable(last[1]));
        QCOMPARE(blocksWritten(), 2);
        QCOMPARE(valueAt(written(), 4), 40);
        QCOMPARE(valueAt(written(), 7), 2);
        QCOMPARE(valueAt(written(), 10), 30);
        QCOMPARE(valueAt(written(), 13), 0);
    }

    void optimizingIsToggledAndDefaultsAreRestored()
    {
        QVERIFY(furnace());
        bench().choose(Entry::mnuHTCAutoOptimize);
        DESK_COMPARE(valueAt(written(), 28), 1);
        bench().choose(Entry::mnuHTCAutoOptimize);
        DESK_COMPARE(blocksWritten(), 2);
        QCOMPARE(valueAt(written(), 28), 0);
        modHTC::SetPID({0, 1, 2, 3});
        DESK_COMPARE(blocksWritten(), 3);
        QCOMPARE(valueAt(written(), 7), 1);
        bench().choose(Entry::mnuHTCDefault);
        DESK_COMPARE(blocksWritten(), 4);
        QCOMPARE(valueAt(written(), 7), 71);
        QCOMPARE(valueAt(written(), 10), 8);
        QCOMPARE(valueAt(written(), 13), 2);
    }

    void aFurnaceControllerThatIsNotActiveIsReported_data()
    {
        QTest::addColumn<int>("entry");
        QTest::addColumn<QString>("title");
        QTest::newRow("temperature") << int(Entry::mnuHTCQueryTemperature) << "GetValueBlock - HTCQuery";
        QTest::newRow("setpoint") << int(Entry::mnuHTCSetpoint) << "GetDataBlock - HTCQuery";
        QTest::newRow("setpoint with parameters") << int(Entry::mnuHTCNewSetpointWithPID) << "GetDataBlock - HTCQuery";
        QTest::newRow("heater") << int(Entry::mnuHTCHeaterOutput) << "GetDataBlock - HTCQuery";
        QTest::newRow("change") << int(Entry::mnuHTCChangePID) << "GetDataBlock - HTCQuery";
        QTest::newRow("save") << int(Entry::mnuHTCSavePID) << "GetDataBlock - HTCQuery";
        QTest::newRow("optimize") << int(Entry::mnuHTCAutoOptimize) << "GetDataBlock - HTCQuery";
        QTest::newRow("default") << int(Entry::mnuHTCDefault) << "SetPID - HTCQuery";
    }
    void aFurnaceControllerThatIsNotActiveIsReported()
    {
        QFETCH(int, entry);
        QFETCH(QString, title);
        QVERIFY(furnace({QStringLiteral("--fault"), QStringLiteral("htc/idle-answer:1")}));
        bench().hand.expect(title, QStringLiteral("Unable to query HTC.\nFunction aborted..."), QStringLiteral("OK"));
        bench().choose(static_cast<Entry>(entry));
        QCOMPARE(blocksWritten(), 0);
        QVERIFY(!Operation::isRunning(Operations::temperature));
        QVERIFY(bench().entry(static_cast<Entry>(entry))->isEnabled());
    }

    // --- laser heater

    void theBeamSignFollowsTheController()
    {
        QVERIFY(laser());
        auto* sign = bench().window->findChild<QWidget*>(QStringLiteral("picLaserOn"));
        QVERIFY(sign != nullptr && !sign->isVisible());
        QCOMPARE(sign->toolTip(), QStringLiteral("Laser is ON!"));
        QAction* beam = bench().entry(Entry::mnuLaserBeam);
        QCOMPARE(beam->text(), QStringLiteral("Switch Beam &ON"));
        const QRect place(sign->mapTo(bench().window.get(), QPoint()), sign->size());
        const QImage dark = bench().window->grab(place).toImage();
        bench().choose(Entry::mnuLaserBeam);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QStringLiteral(":w 12 1|:r 12|"));
        QVERIFY(sign->isVisible() && flags().laserOn);
        QCOMPARE(beam->text(), QStringLiteral("Switch Beam &OFF"));
        QCOMPARE(frontPanel().panel(3), QStringLiteral("Switching laser ON..."));
        QApplication::processEvents();
        QVERIFY(bench().window->grab(QRect(sign->mapTo(bench().window.get(), QPoint()), sign->size())).toImage() != dark);
        bench().choose(Entry::mnuLaserBeam);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QStringLiteral(":w 12 1|:r 12|:w 12 0|:r 12|"));
        QVERIFY(!sign->isVisible() && !flags().laserOn);
        QCOMPARE(beam->text(), QStringLiteral("Switch Beam &ON"));
    }

    void aBeamThatIsOnAtTheStartIsShown()
    {
        QVERIFY(laser());
        bench().choose(Entry::mnuLaserBeam);
        // The controller stays on while the program is started again.
        bench().window.reset();
        modTC::reset();
        modCOM::reset();
        frontPanel().setPicLaserOn(false);
        flags() = Flags{};
        bench().lab.connectProgram();
        bench().window = std::make_unique<frmMain>();
        bench().window->show();
        QVERIFY(bench().window->findChild<QWidget*>(QStringLiteral("picLaserOn"))->isVisible());
        QCOMPARE(bench().entry(Entry::mnuLaserBeam)->text(), QStringLiteral("Switch Beam &OFF"));
    }

    void anUnconfirmedBeamChangesNothing()
    {
        bench().configure("LTC", "RxTimeout", QStringLiteral("0.3"));
        QVERIFY(laser({QStringLiteral("--fault"), QStringLiteral("laser/silent:1")}));
        bench().choose(Entry::mnuLaserBeam);
        QVERIFY(!bench().window->findChild<QWidget*>(QStringLiteral("picLaserOn"))->isVisible());
        QCOMPARE(bench().entry(Entry::mnuLaserBeam)->text(), QStringLiteral("Switch Beam &ON"));
        QCOMPARE(frontPanel().panel(3), QStringLiteral("Switching laser ON..."));
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("0 \u00b0C"),
                            QStringLiteral("500"));
        bench().hand.expect(QStringLiteral("Laser"), QStringLiteral("Laser does not respond!"), QStringLiteral("OK"));
        bench().choose(Entry::mnuLaserSetpoint);
        QCOMPARE(frontPanel().panel(3), QStringLiteral("Setting temperature to 500\u00b0C (0.9503A)."));
    }

    void aTemperatureIsSetAndWaitedFor()
    {
        bench().configure("Laser", "StabilizationDelay", QStringLiteral("1"));
        QVERIFY(laser());
        QStringList texts;
        QObject::connect(&frontPanel(), &FrontPanel::panelChanged, &bench().hand, [&](int panel, const QString& text) {
            if (panel == 3)
                texts << text;
        });
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("0 \u00b0C"),
                            QStringLiteral("500,5"));
        bench().choose(Entry::mnuLaserSetpoint);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QStringLiteral(":w 30 0.9513|:r 30|"));
        QCOMPARE(texts, (QStringList{QStringLiteral("Setting temperature to 500.5\u00b0C (0.9513A)."),
                                     QStringLiteral("Temperature setpoint set to 500.5\u00b0C (0.9513A)."),
                                     QStringLiteral("Temperature stabilization delay: 1 seconds..."), QString()}));
        // The next question proposes it.
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("500.5 \u00b0C"),
                            QString());
        bench().choose(Entry::mnuLaserSetpoint);
    }

    void stopEndsTheStabilizationDelay()
    {
        bench().configure("Laser", "StabilizationDelay", QStringLiteral("3600"));
        QVERIFY(laser());
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("0 \u00b0C"),
                            QStringLiteral("500"));
        bench().once([] { return frontPanel().panel(3) == QStringLiteral("Temperature stabilization delay: 3600 seconds..."); },
                     [&] {
                         QVERIFY(!bench().entry(Entry::mnuLaserBeam)->isEnabled());
                         bench().choose(Entry::mnuExtrasSMCStop);
                     });
        bench().choose(Entry::mnuLaserSetpoint);
        QVERIFY(!flags().abort);
        QVERIFY(bench().entry(Entry::mnuLaserBeam)->isEnabled());
        QCOMPARE(frontPanel().panel(3), QString());
    }

    void aLaserValueOutOfRangeIsNotSent_data()
    {
        QTest::addColumn<QString>("currentMode");
        QTest::addColumn<QString>("proposed");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("message");
        QTest::newRow("too cold") << "0"
                                  << "0 \u00b0C"
                                  << "19.9"
                                  << "Setpoint out of range (20\u00b0C ... 1200\u00b0C)!";
        QTest::newRow("too hot") << "0"
                                 << "0 \u00b0C"
                                 << "1200.1"
                                 << "Setpoint out of range (20\u00b0C ... 1200\u00b0C)!";
        QTest::newRow("current") << "1"
                                 << "0 A"
                                 << "2.51"
                                 << "Setpoint out of range (0A ... 2.5A)!";
    }
    void aLaserValueOutOfRangeIsNotSent()
    {
        QFETCH(QString, currentMode);
        QFETCH(QString, proposed);
        QFETCH(QString, typed);
        QFETCH(QString, message);
        bench().configure("Laser", "CurrentMode", currentMode);
        QVERIFY(laser());
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), proposed, typed);
        bench().hand.expect(QStringLiteral("New setpoint"), message, QStringLiteral("OK"));
        bench().choose(Entry::mnuLaserSetpoint);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QString());
    }

    void aCurrentIsSetInCurrentMode()
    {
        bench().configure("Laser", "CurrentMode", QStringLiteral("1"));
        bench().configure("Laser", "StabilizationDelay", QStringLiteral("0"));
        QVERIFY(laser());
        QStringList texts;
        QObject::connect(&frontPanel(), &FrontPanel::panelChanged, &bench().hand, [&](int panel, const QString& text) {
            if (panel == 3)
                texts << text;
        });
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("0 A"),
                            QStringLiteral("1,5"));
        bench().choose(Entry::mnuLaserSetpoint);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QStringLiteral(":w 30 1.5|:r 30|"));
        QCOMPARE(texts.value(0), QStringLiteral("Setting laser current to 1.5A."));
        QCOMPARE(texts.value(1), QStringLiteral("Laser current set to 1.5A."));
    }

    void theTestEntryFindsTheLaser()
    {
        QVERIFY(laser());
        bench().hand.expect(QStringLiteral("Laser"), QStringLiteral("HT Laser Controller found..."), QStringLiteral("OK"));
        bench().choose(Entry::mnuLaserTest);
        // A busy machine may keep the answer too long: then the check asks once more.
        QVERIFY(bench().lab.received(QStringLiteral("Laser")).startsWith(QStringLiteral(":r 12|")));
    }

    void theTestEntryGivesASilentLaserUp()
    {
        bench().configure("LTC", "RxTimeout", QStringLiteral("0.3"));
        QVERIFY(laser({QStringLiteral("--fault"), QStringLiteral("laser/silent:1")}));
        const QString line = configuration().ltc.line.name();
        bench().hand.expect(
            QStringLiteral("HT Laser Controller Check"),
            QStringLiteral("HT Laser controller does not respond...\n\nPlease check the following:\n    - HT Laser Controller "
                           "powered ON?\n    - Controller connected to %1?\n    - %1 settings are 9600,n,8,1?\n    - Cable "
                           "connection ok?")
                .arg(line),
            QStringLiteral("OK"));
        bench().choose(Entry::mnuLaserTest);
        QCOMPARE(bench().lab.received(QStringLiteral("Laser")), QStringLiteral(":r 12|:r 12|:r 12|"));
        QVERIFY(!bench().entry(Entry::mnuLaser)->isEnabled());
    }
};

QTEST_MAIN(TestHeaters)
#include "tst_heaters.moc"
