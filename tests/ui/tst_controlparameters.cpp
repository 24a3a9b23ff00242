// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Operation.h"
#include "temperature/modLTC.h"
#include "ui/frmRPID.h"

#include <QFile>
#include <QTest>

#include <memory>

using Entry = Menu::Entry;

/// The menu of the low-temperature controller, worked by hand on the virtual cryostat.
class TestControlParameters : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() { return *m_bench; }
    static QString rpidTitle() { return QStringLiteral("LTC control parameters"); }
    /// Types into a field, leaves it with Tab, and wants the message and the focus back.
    void refused(QDialog* dialog, const char* name, const QString& text, const QString& message)
    {
        // A box that has been closed is not always given back to the window before it.
        Operator::activate(dialog);
        QLineEdit* edit = LabWindow::field(dialog, name);
        edit->setFocus();
        LabWindow::type(edit, text);
        bench().hand.expect(QStringLiteral("Value out of range"), message, QStringLiteral("OK"));
        QTest::keyClick(edit, Qt::Key_Tab);
        DESK_VERIFY(bench().hand.done());
        DESK_COMPARE(dialog->focusWidget(), edit);
    }
    void taken(QDialog* dialog, const char* name, const QString& text)
    {
        // A box that has been closed is not always given back to the window before it.
        Operator::activate(dialog);
        QLineEdit* edit = LabWindow::field(dialog, name);
        edit->setFocus();
        LabWindow::type(edit, text);
        QTest::keyClick(edit, Qt::Key_Tab);
        QApplication::processEvents();
        QVERIFY(bench().hand.complaint().isEmpty());
        QVERIFY(dialog->focusWidget() != edit);
    }
    static QStringList tableLines(const QString& path)
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly | QIODevice::Text) ? QString::fromLatin1(file.readAll()).split(u'\n', Qt::SkipEmptyParts)
                                                                : QStringList();
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    // --- the dialog

    void limitsAreWatchedInEveryField_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<int>("range");
        QTest::addColumn<QString>("highest");
        QTest::addColumn<QString>("above");
        QTest::newRow("331") << "331" << 3 << "999"
                             << "999.1";
        QTest::newRow("DRC-91CA") << "drc91" << 5 << "99.0"
                                  << "99.1";
        QTest::newRow("DRC-81C") << "drc81" << 4 << "99.0"
                                 << "99,1";
    }
    void limitsAreWatchedInEveryField()
    {
        QFETCH(QString, model);
        QFETCH(int, range);
        QFETCH(QString, highest);
        QFETCH(QString, above);
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), model}));
        bench().hand.expectWindow(rpidTitle(), [&](QDialog* dialog) {
            bench().lab.forget();
            Operator::activate(dialog);
            QCOMPARE(dialog->focusWidget(), LabWindow::field(dialog, "txtR"));
            QCOMPARE(LabWindow::field(dialog, "txtR")->selectedText(), LabWindow::field(dialog, "txtR")->text());
            QVERIFY(LabWindow::button(dialog, "btnOk")->isDefault());
            QCOMPARE(LabWindow::field(dialog, "txtR")->placeholderText(), QStringLiteral("0....%1").arg(range));
            QCOMPARE(LabWindow::field(dialog, "txtI")->placeholderText(), QStringLiteral("0....") + highest);
            refused(dialog, "txtR", QString::number(range + 1), QStringLiteral("The valid R range is 0 ... %1!").arg(range));
            taken(dialog, "txtR", QString::number(range));
            for (const char* letter : {"P", "I", "D"}) {
                const QByteArray name = QByteArray("txt") + letter;
                refused(dialog, name.constData(), above,
                        QStringLiteral("The valid %1 range is 0 ... %2!").arg(QString::fromLatin1(letter), highest));
                taken(dialog, name.constData(), highest);
                taken(dialog, name.constData(), QStringLiteral("0"));
            }
            QTest::mouseClick(LabWindow::button(dialog, "btnCancel"), Qt::LeftButton);
        });
        bench().choose(Entry::mnuLTCChangePID);
        QCOMPARE(bench().lab.received(QStringLiteral("LTC")), QString());
    }

    void acceptedValuesAreSent_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QString>("range");
        QTest::addColumn<QString>("shownP"); // the 330 keeps whole numbers
        QTest::addColumn<QString>("sent");
        const char* const to330 = "GAIN 41.5;GAIN?|RSET 12;RSET?|RATE 3;RATE?|RANG 2;RANG?|";
        const char* const toDrc = "P41.5|I12|D3|R4|";
        QTest::newRow("330") << "330"
                             << "2"
                             << "42" << to330;
        QTest::newRow("331") << "331"
                             << "2"
                             << "41.5"
                             << "PID 1, 41.5, 12, 3|RANGE 2|";
        QTest::newRow("331 emulating the 330") << "emu"
                                               << "2"
                                               << "42" << to330;
        QTest::newRow("DRC-91CA") << "drc91"
                                  << "4"
                                  << "41.5" << toDrc;
        QTest::newRow("DRC-81C") << "drc81"
                                 << "4"
                                 << "41.5" << toDrc;
    }
    void acceptedValuesAreSent()
    {
        QFETCH(QString, model);
        QFETCH(QString, range);
        QFETCH(QString, shownP);
        QFETCH(QString, sent);
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), model}));
        bench().hand.expectWindow(rpidTitle(), [&](QDialog* dialog) {
            QVERIFY(dialog->findChild<QLabel*>(QStringLiteral("lblSetpoint"))->text().startsWith(QStringLiteral("Current setpoint is ")));
            bench().lab.forget();
            LabWindow::type(LabWindow::field(dialog, "txtR"), range);
            LabWindow::type(LabWindow::field(dialog, "txtP"), QStringLiteral("41,5"));
            LabWindow::type(LabWindow::field(dialog, "txtI"), QStringLiteral("12"));
            LabWindow::type(LabWindow::field(dialog, "txtD"), QStringLiteral("3"));
            QTest::keyClick(LabWindow::field(dialog, "txtD"), Qt::Key_Return);
        });
        bench().choose(Entry::mnuLTCChangePID);
        DESK_COMPARE(bench().lab.received(QStringLiteral("LTC")), sent);
        // The controller has them now.
        bench().hand.expectWindow(rpidTitle(), [&](QDialog* dialog) {
            QCOMPARE(LabWindow::field(dialog, "txtR")->text(), range);
            QCOMPARE(LabWindow::field(dialog, "txtP")->text(), shownP);
            QCOMPARE(LabWindow::field(dialog, "txtI")->text(), QStringLiteral("12"));
            QCOMPARE(LabWindow::field(dialog, "txtD")->text(), QStringLiteral("3"));
            bench().lab.forget();
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        bench().choose(Entry::mnuLTCChangePID);
        QCOMPARE(bench().lab.received(QStringLiteral("LTC")), QString());
    }

    void whatIsShownIsWhatIsSent()
    {
        frmRPID dialog({3, 300, 50, 0}, 77, nullptr);
        dialog.show();
        LabWindow::field(&dialog, "txtP")->setFocus();
        // Pasted, so the key filter has not seen it.
        const auto pasted = [&](const char* name, const QString& text, const QString& message) {
            LabWindow::field(&dialog, name)->setText(text);
            if (!message.isEmpty())
                bench().hand.expect(QStringLiteral("Value out of range"), message, QStringLiteral("OK"));
            QTest::mouseClick(LabWindow::button(&dialog, "btnOk"), Qt::LeftButton);
            DESK_VERIFY(bench().hand.done());
            QCOMPARE(dialog.isVisible(), !message.isEmpty());
        };
        pasted("txtR", QStringLiteral("1.6"), QStringLiteral("The valid R range is 0 ... 3!"));
        pasted("txtR", QStringLiteral("2,0"), QString());
        dialog.show();
        pasted("txtP", QStringLiteral(" 007,50 kOhm"), QStringLiteral("The valid P range is 0 ... 999!"));
        pasted("txtP", QStringLiteral(" 007,50 "), QString());
        dialog.show();
        pasted("txtI", QString(), QStringLiteral("The valid I range is 0 ... 999!"));
        pasted("txtI", QStringLiteral("0"), QString());
        QVERIFY(!dialog.isVisible());
        QCOMPARE(LabWindow::field(&dialog, "txtR")->text(), QStringLiteral("2"));
        QCOMPARE(LabWindow::field(&dialog, "txtP")->text(), QStringLiteral("7.5"));
        QCOMPARE(LabWindow::field(&dialog, "txtI")->text(), QStringLiteral("0"));
        QCOMPARE(dialog.values().r, qint16{2});
        QCOMPARE(dialog.values().p, 7.5F);
        QCOMPARE(dialog.values().i, 0.0F);

        frmPID furnace({0, 71, 8, 2}, 300, nullptr);
        furnace.show();
        LabWindow::field(&furnace, "txtP")->setText(QStringLiteral("41,5"));
        QTest::mouseClick(LabWindow::button(&furnace, "btnOk"), Qt::LeftButton);
        QCOMPARE(LabWindow::field(&furnace, "txtP")->text(), QStringLiteral("42%"));
        QCOMPARE(furnace.values().p, 42.0F);
    }

    void aSilentControllerHasNoParametersToShow()
    {
        bench().configure("LTC", "RxTimeout", QStringLiteral("0.3"));
        QVERIFY(
            bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331"), QStringLiteral("--fault"), QStringLiteral("ltc/silent:2")}));
        QVERIFY(flags().ltcEnabled);
        bench().hand.expect(QStringLiteral("LTC"), QStringLiteral("Unable to query LTC..."), QStringLiteral("OK"));
        bench().choose(Entry::mnuLTCChangePID);
        bench().hand.expect(QStringLiteral("LTC"), QStringLiteral("Unable to query LTC.\nSub aborted..."), QStringLiteral("OK"));
        bench().choose(Entry::mnuLTCSavePID);
        bench().hand.expect(QStringLiteral("LTC"), QStringLiteral("LTC does not respond!"), QStringLiteral("OK"));
        bench().choose(Entry::mnuLTCSetpoint);
        bench().hand.expect(QStringLiteral("LTC"), QStringLiteral("LTC does not respond!"), QStringLiteral("OK"));
        bench().choose(Entry::mnuLTCQueryTemperature);
        QVERIFY(!Operation::isRunning(Operations::temperature));
    }

    // --- the table

    void theParametersInUseAreSavedUnderTheSetpoint()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        modLTC::LTCSetPID(120, 60, 5);
        modLTC::LTCSetRange(2);
        modLTC::LTCNewSetpoint(77.5F);
        const QString path = bench().lab.path() + QStringLiteral("/ls331.pid");
        const QStringList before = tableLines(path);
        QVERIFY(before.size() >= 2);
        bench().answerFile(QStringLiteral("Select PID file"), QString());
        bench().choose(Entry::mnuLTCSavePID);
        QCOMPARE(tableLines(path), before);
        bench().answerFile(QStringLiteral("Select PID file"), path);
        bench().choose(Entry::mnuLTCSavePID);
        QVERIFY(tableLines(path).contains(QStringLiteral("77.5=R2P120I60D5")));
        QCOMPARE(tableLines(path).size(), before.size() + 1);
        // A second time replaces the line.
        modLTC::LTCSetPID(130, 60, 5);
        bench().answerFile(QStringLiteral("Select PID file"), path);
        bench().choose(Entry::mnuLTCSavePID);
        QVERIFY(tableLines(path).contains(QStringLiteral("77.5=R2P130I60D5")));
        QCOMPARE(tableLines(path).size(), before.size() + 1);
        QVERIFY(!QFile::exists(bench().lab.path() + QStringLiteral("/@.TMP")));
    }

    // --- setpoints

    void theEdgesOfTheSettableRange_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("sent");
        QTest::newRow("lowest") << "8"
                                << "SETP 1, 8|";
        QTest::newRow("highest, with unit") << "305 K"
                                            << "SETP 1, 305|";
        QTest::newRow("comma") << "77,25"
                               << "SETP 1, 77.25|";
        QTest::newRow("below") << "7.99"
                               << "";
        QTest::newRow("above") << "305.01"
                               << "";
        QTest::newRow("cancelled") << ""
                                   << "";
    }
    void theEdgesOfTheSettableRange()
    {
        QFETCH(QString, typed);
        QFETCH(QString, sent);
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("298 K"), typed);
        if (!sent.isEmpty())
            bench().once([] { return LabWindow::textLines().size() > 5; }, [] { LabWindow::pressTextButton(); });
        else if (!typed.isEmpty())
            bench().hand.expect(QStringLiteral("New setpoint"), QStringLiteral("Setpoint out of range (8K ... 305K)!"),
                                QStringLiteral("OK"), [](QMessageBox* box) { QCOMPARE(box->icon(), QMessageBox::Warning); });
        bench().choose(Entry::mnuLTCSetpoint);
        const QString all = bench().lab.received(QStringLiteral("LTC"));
        QCOMPARE(all.contains(QStringLiteral("SETP 1,")), !sent.isEmpty());
        QVERIFY2(all.startsWith(QStringLiteral("SETP? 1|") + sent), qPrintable(all));
        QVERIFY(LabWindow::textWindow() == nullptr);
    }

    void theParametersOfTheTableGoAlongAndTheWaitEndsWhenItIsSteady()
    {
        // Slow enough for the cryostat to be warm still when it is asked to stay so.
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}, 10));
        configuration().ltc.smallWindow = 2;
        configuration().ltc.verySmallWindow = 1;
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:\n(We will use PID's in 'ls331.pid')"),
                            QStringLiteral("298 K"), QStringLiteral("288"));
        QStringList first;
        QStringList later;
        QString title;
        bool othersBarred = false;
        bench().once([] { return LabWindow::textLines().size() > 5; },
                     [&] {
                         first = LabWindow::textLines();
                         title = LabWindow::textWindow()->windowTitle();
                         othersBarred = !bench().entry(Entry::mnuLTCQueryTemperature)->isEnabled();
                     });
        bench().once([&] { return !first.isEmpty() && LabWindow::textLines().size() > 5 && LabWindow::textLines() != first; },
                     [&] { later = LabWindow::textLines(); });
        bench().choose(Entry::mnuLTCNewSetpointWithPID);
        QCOMPARE(title, QStringLiteral("LTC info"));
        QVERIFY(othersBarred);
        QVERIFY(bench().entry(Entry::mnuLTCQueryTemperature)->isEnabled());
        const QString sent = bench().lab.received(QStringLiteral("LTC"));
        QVERIFY2(sent.startsWith(QStringLiteral("SETP? 1|PID 1, 300, 50, 0|RAMP 1,0,0|RANGE 3|SETP 1, 288|KRDG?|")), qPrintable(sent));
        QVERIFY2(sent.count(QStringLiteral("KRDG?")) >= configuration().ltc.minQueries, qPrintable(sent));

        const QStringList begins = {QStringLiteral("Control Parameter: R3P300I50D0"),
                                    QStringLiteral("Current Temperature X: 2"),
                                    QStringLiteral("Setpoint           W:288.00 K"),
                                    QStringLiteral("Setpoint Window     : W \u00b15.00 K"),
                                    QStringLiteral("Average             :2"),
                                    QStringLiteral("Average-Target      : W \u00b12.00 K"),
                                    QStringLiteral("Standard Dev.       :"),
                                    QStringLiteral("Standard Dev. Target: <1.00"),
                                    QString(),
                                    QStringLiteral("Elapsed time        :")};
        for (const QStringList& shown : {first, later}) {
            QCOMPARE(shown.size(), begins.size() + 1);
            for (qsizetype i = 0; i < begins.size(); ++i)
                QVERIFY2(begins[i].isEmpty() ? shown[i].isEmpty() : shown[i].startsWith(begins[i]), qPrintable(shown[i]));
        }
        // The first reading alone has no scatter.
        QCOMPARE(first[6], QStringLiteral("Standard Dev.       :100.00 K"));
        QVERIFY(LabWindow::textWindow() == nullptr);
        QCOMPARE(frontPanel().panel(3), QString());
    }

    void takeItEndsTheWait()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QString(), QStringLiteral("20"));
        bool waited = false;
        QString before;
        QStringList panel;
        connect(&frontPanel(), &FrontPanel::panelChanged, &bench().hand, [&panel](int number, const QString& text) {
            if (number == 3)
                panel << text;
        });
        bench().once([] { return LabWindow::textLines().size() > 5; },
                     [&] {
                         waited = true;
                         // Both by turns: what the wait is, and what it reads.
                         QCOMPARE(panel.mid(panel.size() - 3), (QStringList{QStringLiteral("LTC: Waiting for steady state..."),
                                                                            QStringLiteral("Current temperature query..."),
                                                                            QStringLiteral("LTC: Waiting for steady state...")}));
                         QPushButton* button = LabWindow::button(LabWindow::textWindow(), "btnOk");
                         QCOMPARE(button->text(), QStringLiteral("&Take it"));
                         // Neither Escape nor the window's own button accept what is there.
                         QTest::keyClick(LabWindow::textWindow(), Qt::Key_Escape);
                         LabWindow::textWindow()->close();
                         QVERIFY(LabWindow::textWindow() != nullptr);
                         // Nor does a key that was meant for another window.
                         QVERIFY(LabWindow::textWindow()->focusWidget() != button);
                         QTest::keyClick(LabWindow::textWindow(), Qt::Key_Return);
                         QTest::keyClick(LabWindow::textWindow(), Qt::Key_Space);
                         QTest::keyClick(LabWindow::textWindow()->focusWidget(), Qt::Key_Space);
                         before = frontPanel().textDisplayText();
                     });
        bench().once([&] { return !before.isEmpty() && frontPanel().textDisplayText() != before; },
                     [&] {
                         QVERIFY(Operation::isRunning(Operations::temperature));
                         QTest::mouseClick(LabWindow::button(LabWindow::textWindow(), "btnOk"), Qt::LeftButton);
                     });
        bench().choose(Entry::mnuLTCSetpoint);
        QVERIFY(waited);
        QVERIFY(!Operation::isRunning(Operations::temperature));
        QVERIFY(bench().entry(Entry::mnuLTCSetpoint)->isEnabled());
        QVERIFY(LabWindow::textWindow() == nullptr);
    }

    void stopEndsTheWaitAndNotTheNextOne()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QString(), QStringLiteral("20"));
        bench().once([] { return LabWindow::textLines().size() > 5; }, [&] { bench().choose(Entry::mnuExtrasSMCStop); });
        bench().choose(Entry::mnuLTCSetpoint);
        QVERIFY(!flags().abort);
        QVERIFY(LabWindow::textWindow() == nullptr);

        bench().lab.forget();
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QStringLiteral("20 K"),
                            QStringLiteral("21"));
        bench().once([&] { return bench().lab.received(QStringLiteral("LTC")).count(QStringLiteral("KRDG?")) >= 3; },
                     [] { LabWindow::pressTextButton(); });
        bench().choose(Entry::mnuLTCSetpoint);
        QVERIFY(bench().lab.received(QStringLiteral("LTC")).count(QStringLiteral("KRDG?")) >= 3);
    }

    void stopWithoutAWaitLeavesNothingBehind()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().choose(Entry::mnuExtrasSMCStop);
        QVERIFY(!flags().abort);
    }

    void aControllerThatIsSwitchedOffAndOnIsWaitedFor_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("silent for a while") << "ltc/silent:14:4";
        QTest::newRow("its line pulled and back") << "ltc/hang-up-and-return:14";
    }
    void aControllerThatIsSwitchedOffAndOnIsWaitedFor()
    {
        QFETCH(QString, fault);
        const bool pulled = fault.contains(u"hang-up");
        bench().configure("LTC", "RxTimeout", QStringLiteral("0.3"));
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331"), QStringLiteral("--fault"), fault}, 10));
        configuration().ltc.smallWindow = 2;
        configuration().ltc.verySmallWindow = 1;
        configuration().ltc.minQueries = 12;
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:\n(We will use PID's in 'ls331.pid')"),
                            QString(), QStringLiteral("288"));
        if (pulled)
            bench().hand.expect(QStringLiteral("TC"),
                                QStringLiteral("The connection to the temperature controllers (%1) is lost.\n\nPlease check adapter and "
                                               "cable. The line is opened again as soon as it is there.")
                                    .arg(configuration().ltc.line.name()),
                                QStringLiteral("OK"));
        bool gone = false;
        bench().once([] { return LabWindow::textLines().value(1) == QStringLiteral("Current Temperature X: -1.00 K"); },
                     [&] {
                         gone = true;
                         // What was accepted before stands.
                         QVERIFY2(LabWindow::textLines().value(4).startsWith(QStringLiteral("Average             :2")),
                                  qPrintable(LabWindow::textLines().value(4)));
                     });
        bench().choose(Entry::mnuLTCNewSetpointWithPID);
        QVERIFY(gone);
        QVERIFY(LabWindow::textWindow() == nullptr);
        QVERIFY(!Operation::isRunning(Operations::temperature));
    }

    void theTemperatureIsShown()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().hand.expectWindow(QStringLiteral("LTC"), [](QDialog* dialog) {
            auto* box = qobject_cast<QMessageBox*>(dialog);
            QVERIFY(box != nullptr);
            static const QRegularExpression wanted(QStringLiteral("^Current temperature is: \\d+(\\.\\d+)? K$"));
            QVERIFY2(wanted.match(box->text()).hasMatch(), qPrintable(box->text()));
            box->accept();
        });
        bench().choose(Entry::mnuLTCQueryTemperature);
        QCOMPARE(bench().lab.received(QStringLiteral("LTC")), QStringLiteral("KRDG?|"));
    }

    void anyLineIsAskedByHand()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().answerInput(QStringLiteral("LTC Query"), QStringLiteral("Enter query command:"), QStringLiteral("W1"),
                            QStringLiteral("*IDN?"));
        bench().hand.expect(QStringLiteral("LTC"), QStringLiteral("LSCI,MODEL331S,123456,020399"), QStringLiteral("OK"));
        bench().choose(Entry::mnuLTCQuery);
        bench().answerInput(QStringLiteral("LTC Query"), QStringLiteral("Enter query command:"), QStringLiteral("W1"), QString());
        bench().choose(Entry::mnuLTCQuery);
        QCOMPARE(bench().lab.received(QStringLiteral("LTC")), QStringLiteral("*IDN?|"));
    }

    void autotuningIsSwitchedAndNamed()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("330")}));
        QAction* tune = bench().entry(Entry::mnuLTCAutoTune);
        QCOMPARE(tune->text(), QStringLiteral("&Autotuning (is OFF)"));
        bench().hand.expect(QStringLiteral("PLEASE NOTE"),
                            QStringLiteral("The Autotune function does not set or change the heater range.\nYou have to adjust the heater "
                                           "settings manually."),
                            QStringLiteral("OK"), [](QMessageBox* box) { QCOMPARE(box->icon(), QMessageBox::Information); });
        bench().choose(Entry::mnuLTCAutoTune);
        QCOMPARE(tune->text(), QStringLiteral("&Autotuning (is ON)"));
        bench().choose(Entry::mnuLTCAutoTune);
        QCOMPARE(tune->text(), QStringLiteral("&Autotuning (is OFF)"));
        QCOMPARE(bench().lab.received(QStringLiteral("LTC")), QStringLiteral("TUNE?|TUNE 1;TUNE?|TUNE?|TUNE 0;TUNE?|"));
    }

    void defaultSettingsSwitchTheHeaterOff()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        bench().choose(Entry::mnuLTCDefault);
        DESK_COMPARE(bench().lab.received(QStringLiteral("LTC")), QStringLiteral("*RST|RANGE 0|RANGE?|"));
    }
};

QTEST_MAIN(TestControlParameters)
#include "tst_controlparameters.moc"
