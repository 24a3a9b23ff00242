// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Notices.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "generator/GeneratorPower.h"
#include "ui/dlgGeneratorPower.h"

#include <QTest>

#include <algorithm>
#include <memory>

using Entry = Menu::Entry;

/// A scan, a wait for a temperature and a warm-up at the same time: none holds another up.
class TestBeside : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }
    static void typeScan()
    {
        using enum FrontPanel::Field;
        const char* values[] = {"26", "27", "0.1", "1"};
        const FrontPanel::Field fields[] = {ScanStart, ScanStop, ScanStep, CounterTime};
        for (int i = 0; i < 4; ++i)
            frontPanel().setText(fields[i], QString::fromLatin1(values[i]));
    }
    void startScan()
    {
        bench().hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        bench().choose(Entry::mnuMeasStartAcquisition);
    }
    void answerSetpoint(const char* kelvin)
    {
        bench().answerInput(QStringLiteral("New Setpoint"), QStringLiteral("Enter new setpoint:"), QString(), QString::fromLatin1(kelvin));
    }
    qsizetype readings() const { return bench().lab.received(QStringLiteral("LTC")).count(QStringLiteral("KRDG?")); }
    static bool counting() { return frontPanel().panel(1).contains(QStringLiteral("Data acquisition in progress...")); }
    /// How long a scan takes of which nobody is in the way [s].
    double undisturbed()
    {
        typeScan();
        const double before = bench().desk().elapsed();
        startScan();
        const double took = bench().desk().elapsed() - before;
        flags().dataPresent = false;
        return took;
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void aWaitChosenDuringAScanDoesNotDelayItsEnd()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}, 1));
        const double expected = undisturbed();
        bench().lab.forget();
        bool returned = false;
        bench().once(counting, [&] {
            answerSetpoint("200");
            bench().choose(Entry::mnuLTCSetpoint);
            returned = true;
            QVERIFY(LabWindow::textWindow() != nullptr);
            QCOMPARE(LabWindow::textWindow()->windowTitle(), QStringLiteral("LTC info"));
            QVERIFY(!bench().entry(Entry::mnuLTCSetpoint)->isEnabled());
        });
        const double before = bench().desk().elapsed();
        startScan();
        const double took = bench().desk().elapsed() - before;
        QVERIFY(returned && flags().dataPresent);
        QCOMPARE(scanData().size(), 11);
        // The exchanges of the wait take their time, and the polling keeps its rhythm beside them.
        QVERIFY2(took < expected + 12, qPrintable(QStringLiteral("%1 s instead of %2 s").arg(took).arg(expected)));
        QVERIFY(readings() >= 2);

        // The sample is far from 200 K: the wait goes on, in the same window, and is ended as ever.
        QVERIFY(Operation::isRunning(Operations::temperature));
        const qsizetype during = readings();
        QVERIFY(bench().desk().until([&] { return readings() >= during + 3; }));
        QVERIFY2(LabWindow::textLines().value(1).startsWith(QStringLiteral("Current Temperature X: 2")),
                 qPrintable(LabWindow::textLines().value(1)));
        QVERIFY2(frontPanel().panel(3).startsWith(QStringLiteral("The temperature is not steady yet (")) ||
                     frontPanel().panel(3) == QStringLiteral("Current temperature query..."),
                 qPrintable(frontPanel().panel(3)));
        LabWindow::pressTextButton();
        QVERIFY(bench().desk().until([] { return !Operation::isRunning(Operations::temperature); }, 30));
        QVERIFY(LabWindow::textWindow() == nullptr);
        QCOMPARE(frontPanel().panel(3), QString());
        QVERIFY(bench().entry(Entry::mnuLTCSetpoint)->isEnabled());
    }

    void aScanStartedDuringAWaitDoesNotStopItsReadings()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}, 1));
        typeScan();
        QStringList panel;
        connect(&frontPanel(), &FrontPanel::panelChanged, &bench().hand, [&panel](int number, const QString& text) {
            if (number == 3)
                panel << text;
        });
        qsizetype before = -1;
        qsizetype after = -1;
        answerSetpoint("200");
        bench().once([] { return LabWindow::textLines().size() > 5; },
                     [&] {
                         before = readings();
                         panel.clear();
                         startScan();
                     });
        // Chosen within a reading, the scan begins when that has ended.
        bench().once([] { return flags().dataPresent; },
                     [&] {
                         after = readings();
                         LabWindow::pressTextButton();
                     });
        bench().choose(Entry::mnuLTCSetpoint);
        QVERIFY(flags().dataPresent);
        QCOMPARE(scanData().size(), 11);
        QVERIFY2(after >= before + 3, qPrintable(QStringLiteral("%1 readings before the scan, %2 after").arg(before).arg(after)));
        QVERIFY(std::any_of(panel.cbegin(), panel.cend(), [](const QString& text) {
            return text.startsWith(QStringLiteral("The temperature is not steady yet (2")) && text.endsWith(QStringLiteral(" K)"));
        }));
        QVERIFY(!Operation::isRunning(Operations::temperature));
    }

    void aScanStartedDuringAWarmUpAndTheCountdownGoOnSideBySide()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--generator")}, 1));
        configuration().generator.powerSettlingTime = 8;
        const double expected = undisturbed();
        QVERIFY(expected > 11);
        QStringList countdown;
        connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, &bench().hand, [&countdown] {
            if (GeneratorPower::state().warmingUp && counting())
                countdown << GeneratorPower::state().txtMessage;
        });
        double took = 0;
        QStringList bars;
        bench().once([] { return GeneratorPower::state().warmingUp; },
                     [&] {
                         bench().hand.work();
                         bench().once(counting, [&bars] { bars << (Notices::all().isEmpty() ? QString() : Notices::all().first().text); });
                         bench().once([] { return counting() && !GeneratorPower::state().warmingUp; },
                                      [&] {
                                          bars << (Notices::all().isEmpty() ? QString() : Notices::all().first().text);
                                          auto* power = bench().window->findChild<dlgGeneratorPower*>();
                                          QVERIFY(power != nullptr && power->isVisible());
                                          // It neither sets anything now nor bars the window in which the scan can be aborted.
                                          QVERIFY(!LabWindow::button(power, "btnOk")->isEnabled());
                                          QVERIFY(LabWindow::button(power, "btnCancel")->isEnabled());
                                          QVERIFY(QApplication::activeModalWidget() == nullptr);
                                      });
                         const double before = bench().desk().elapsed();
                         startScan();
                         took = bench().desk().elapsed() - before;
                         bench().hand.rest(); // the window is modal again
                     });
        bench().hand.rest();
        bench().choose(Entry::mnuExtrasGeneratorSetPower);
        auto* power = bench().window->findChild<dlgGeneratorPower*>();
        QVERIFY(bench().desk().until([&] { return LabWindow::button(power, "btnOk")->isEnabled(); }));
        bench().hand.expect(QStringLiteral("Voltage Setting"), {}, QStringLiteral("OK"), [&](QMessageBox*) { bench().hand.rest(); });
        bench().hand.work();
        LabWindow::button(power, "btnOk")->click();
        QVERIFY(bench().desk().until([&] { return took > 0; }));
        QVERIFY(flags().dataPresent);
        QVERIFY2(took < expected + 0.5, qPrintable(QStringLiteral("%1 s instead of %2 s").arg(took).arg(expected)));
        QVERIFY2(countdown.size() >= 6, qPrintable(countdown.join(u'\n'))); // a second each
        QCOMPARE(bars, (QStringList{QStringLiteral("The X-ray tube still warms up: what is measured now can drift."), QString()}));
        QVERIFY(bench().desk().until([&] { return LabWindow::button(power, "btnOk")->isEnabled(); }, 5));
        power->reject();
    }
};

QTEST_MAIN(TestBeside)
#include "tst_beside.moc"
