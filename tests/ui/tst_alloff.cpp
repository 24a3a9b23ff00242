// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Instrument.h"
#include "core/Operation.h"
#include "safety/AllOff.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"

#include <QTest>

#include <memory>

using Entry = Menu::Entry;
using namespace Qt::StringLiterals;

namespace {
const QString shutterLine = u"X-ray shutter: closed, sent (it gives no reply)"_s;
const QString exitTitle = u"Exit program"_s;
} // namespace

/// Everything off, by the menu, the key and the button, whatever goes on; and what closing asks about.
class TestAllOff : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }
    QString cell(const char* name) const
    {
        const auto* label = bench().window->findChild<QLabel*>(QString::fromLatin1(name));
        return label != nullptr ? label->text() : QString();
    }
    bool isRed(const char* name) const { return bench().window->findChild<QLabel*>(QString::fromLatin1(name))->autoFillBackground(); }
    void pressF12() const
    {
        Operator::activate(bench().window.get());
        QTest::keyClick(bench().window.get(), Qt::Key_F12);
    }
    void furnaceAndShutterOn()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s}));
        bench().choose(Entry::mnuHTCHeaterOutput);
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        QVERIFY(frontPanel().picXRayOn());
        bench().lab.forget();
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    // --- the strip

    void theStripSaysWhatIsKnown()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s}));
        QCOMPARE(cell("goniometerLine"), u"goniometer up"_s);
        QCOMPARE(cell("tube"), u"X-ray ?"_s);
        QCOMPARE(cell("shutter"), u"shutter ?"_s);
        QVERIFY(!isRed("shutter"));
        QCOMPARE(cell("HTCOutput"), u"furnace heater off"_s);
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        QCOMPARE(cell("shutter"), u"shutter open"_s);
        QVERIFY(isRed("shutter"));
        bench().choose(Entry::mnuHTCHeaterOutput);
        QCOMPARE(cell("HTCOutput"), u"furnace heater on"_s); // read back
        QVERIFY(isRed("HTCOutput"));
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        QCOMPARE(cell("shutter"), u"shutter closed"_s);
        QVERIFY(!isRed("shutter"));
        AllOff::Run();
    }

    void theSimulationIsSaidInTheStrip()
    {
        instrument().goniometerLine = Instrument::Line::Simulation;
        flags().shutterRemote = true;
        QVERIFY(bench().showWindow());
        frontPanel().refreshEntries();
        QCOMPARE(cell("goniometerLine"), u"goniometer: simulation"_s);
        QCOMPARE(cell("shutter"), u"shutter closed (simulation)"_s);
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        QCOMPARE(cell("shutter"), u"shutter open (simulation)"_s);
        QVERIFY(!isRed("shutter"));
        QVERIFY(bench().window->close()); // nothing is on: no question
    }

    // --- off

    void everythingIsSwitchedOffAndSaidLineByLine_data()
    {
        QTest::addColumn<QString>("way");
        QTest::newRow("menu") << u"menu"_s;
        QTest::newRow("F12") << u"F12"_s;
        QTest::newRow("button") << u"button"_s;
    }
    void everythingIsSwitchedOffAndSaidLineByLine()
    {
        QFETCH(QString, way);
        furnaceAndShutterOn();
        bench().hand.expect(u"All Off"_s,
                            u"Motion: stopped, confirmed\n"_s + shutterLine + u"\nfurnace heater: heater output off, confirmed"_s, u"OK"_s);
        if (way == u"menu")
            Operator::chooseByKeys(bench().window.get(), u"xo"_s);
        else if (way == u"F12")
            pressF12();
        else
            QTest::mouseClick(bench().window->findChild<QPushButton*>(u"btnAllOff"_s), Qt::LeftButton);
        QVERIFY(bench().desk().until([&] { return bench().hand.done(); }, 60));
        QVERIFY(bench().lab.received(u"SMC"_s).startsWith(u"|Q;|IO0;"_s));
        QCOMPARE(cell("shutter"), u"shutter closed"_s);
        QCOMPARE(cell("HTCOutput"), u"furnace heater off"_s);
        QVERIFY(!frontPanel().picXRayOn());
        QCOMPARE(frontPanel().panel(1), u"Everything is switched off"_s);
        QVERIFY(bench().window->close()); // without a question
    }

    void aScanIsEndedByIt()
    {
        QVERIFY(bench().bringUp({u"--generator"_s}, 5));
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        bench().once([] { return frontPanel().panel(1).contains(u"Data acquisition in progress..."_s); }, [this] { pressF12(); });
        bench().hand.expect(u"Start scan"_s, {}, u"OK"_s);
        bench().hand.expect(u"All Off"_s, u"Motion: stopped, confirmed\n"_s + shutterLine, u"OK"_s);
        // The points that were counted are not lost.
        bench().hand.expect(u"Scan Data Transfer"_s, {}, u"Yes"_s);
        bench().choose(Entry::mnuMeasStartAcquisition);
        QVERIFY(bench().desk().until([&] { return bench().hand.done() && !Operation::isRunning(Operations::scan); }, 60));
        QVERIFY(flags().dataPresent);
        QCOMPARE(cell("shutter"), u"shutter closed"_s);
    }

    void aWaitIsEndedByItAndTheHeaterSwitchedOff()
    {
        QVERIFY(bench().bringUp({u"--ltc"_s, u"331"_s}));
        bench().answerInput(u"New Setpoint"_s, u"Enter new setpoint:\n(We will use PID's in 'ls331.pid')"_s, QString(), u"200"_s);
        bench().once([] { return LabWindow::textLines().size() > 5; }, [this] { pressF12(); });
        bench().hand.expect(u"All Off"_s, u"Motion: stopped, confirmed\nheater of the cryostat: heater range 0, confirmed"_s, u"OK"_s);
        bench().choose(Entry::mnuLTCNewSetpointWithPID);
        QVERIFY(bench().desk().until([&] { return bench().hand.done(); }, 60));
        QVERIFY(!Operation::isRunning(Operations::temperature));
        QVERIFY(LabWindow::textWindow() == nullptr);
        QVERIFY(!flags().abort);
        const QString received = bench().lab.received(u"LTC"_s);
        QVERIFY(received.lastIndexOf(u"RANGE 0"_s) > received.lastIndexOf(u"SETP "_s));
    }

    void aSilentFurnaceIsSaidToBeUnknown()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s, u"--fault"_s, u"htc/silent:4"_s}));
        bench().choose(Entry::mnuHTCHeaterOutput);
        bench().hand.expect(u"All Off"_s,
                            u"Motion: stopped, confirmed\n"_s + shutterLine +
                                u"\nfurnace heater: the controller did not answer; its heater may still be on"_s,
                            u"OK"_s);
        const double before = bench().desk().elapsed();
        pressF12();
        QVERIFY(bench().desk().until([&] { return bench().hand.done(); }, 60));
        QVERIFY(bench().desk().elapsed() - before >= 30);
        QCOMPARE(frontPanel().panel(1), u"Not everything could be switched off"_s);
        QCOMPARE(AllOff::stillOn(), QStringList(u"furnace heater"_s));
    }

    void aFurnaceIsSwitchedOffWithinItsWait()
    {
        QVERIFY(bench().bringUp({u"--htc"_s}));
        bench().choose(Entry::mnuHTCHeaterOutput);
        bench().answerInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, QString(), u"400"_s);
        qsizetype after = 0;
        bench().once([] { return LabWindow::textLines().size() > 4; },
                     [&] {
                         QVERIFY(!bench().entry(Entry::mnuHTCSetpoint)->isEnabled());
                         bench().choose(Entry::mnuHTCHeaterOutput);
                         QVERIFY(bench().desk().until([] { return !AllOff::isRunning(); }, 40));
                         QCOMPARE(frontPanel().panel(1), u"furnace heater: heater output off, confirmed"_s);
                         QVERIFY(Operation::isRunning(Operations::temperature)); // the wait goes on
                         after = bench().lab.received(u"HTC"_s).count(u"R001NF?"_s);
                     });
        bench().once([&] { return after > 0 && bench().lab.received(u"HTC"_s).count(u"R001NF?"_s) > after + 2; },
                     [] { LabWindow::pressTextButton(); });
        bench().choose(Entry::mnuHTCSetpoint);
        QVERIFY(after > 0);
        QCOMPARE(cell("HTCOutput"), u"furnace heater off"_s);
    }

    void everythingGoesBesideOneThatIsSwitchedOff()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s, u"--fault"_s, u"htc/silent:4"_s}));
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        bench().choose(Entry::mnuHTCHeaterOutput);
        AllOff::SwitchOff(Entry::mnuHTCHeaterOutput);
        QVERIFY(AllOff::isRunning());
        bench().lab.forget();
        bench().hand.expect(u"Switch off"_s, u"furnace heater: the controller did not answer; its heater may still be on"_s, u"OK"_s);
        bench().hand.expect(u"All Off"_s,
                            u"Motion: stopped, confirmed\n"_s + shutterLine +
                                u"\nfurnace heater: the controller did not answer; its heater may still be on"_s,
                            u"OK"_s);
        pressF12();
        QVERIFY(bench().lab.received(u"SMC"_s).startsWith(u"|Q;|IO0;"_s));
        QCOMPARE(cell("shutter"), u"shutter closed"_s);
        QVERIFY(bench().desk().until([&] { return bench().hand.done() && !AllOff::isRunning(); }, 90));
    }

    // --- closing

    void closingAsksAboutWhatIsOn()
    {
        furnaceAndShutterOn();
        const QString text = u"Still on: X-ray shutter, furnace heater.\nSwitch everything off before the program ends?"_s;
        bench().hand.expect(exitTitle, text, u"Cancel"_s, [](QMessageBox* box) { QCOMPARE(box->defaultButton()->text(), u"&Yes"_s); });
        QVERIFY(!bench().window->close());
        QVERIFY(!flags().closing);
        QCOMPARE(bench().lab.received(u"SMC"_s).count(u"IO0;"_s), 0);

        bench().hand.expect(exitTitle, text, u"Yes"_s);
        QVERIFY(bench().window->close());
        QVERIFY(flags().closing);
        QVERIFY(bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
        QVERIFY(AllOff::done());
        QCOMPARE(AllOff::items().size(), 3);
    }

    void noLeavesItOn()
    {
        furnaceAndShutterOn();
        bench().hand.expect(exitTitle, {}, u"No"_s);
        QVERIFY(bench().window->close());
        QVERIFY(!bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
        QCOMPARE(bench().lab.received(u"HTC"_s), QString());
    }

    void anEndWithoutQuestionsSwitchesOff()
    {
        furnaceAndShutterOn();
        const double before = bench().desk().elapsed();
        bench().window->endAtOnce();
        QVERIFY(flags().closing);
        QVERIFY(bench().desk().elapsed() - before < 10);
        QVERIFY(bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
        QVERIFY(AllOff::done());
    }

    /// Whoever waits for a reply cannot go on before the program has ended; the line is taken from him.
    void anEndWithinAReplyThatDoesNotCome()
    {
        furnaceAndShutterOn();
        double before = 0;
        bench().once([] { return Exchange::underWay(modCOM::TCComm()); },
                     [&] {
                         before = bench().desk().elapsed();
                         bench().window->endAtOnce();
                     });
        bench().choose(Entry::mnuHTCQueryTemperature);
        QVERIFY(flags().closing);
        QVERIFY(bench().desk().elapsed() - before < 10);
        QVERIFY(bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
        QVERIFY2(AllOff::done(), qPrintable(AllOff::report()));
    }

    /// An "off" that nobody confirmed is no off.
    void whatWasToldToBeOffAndDidNotConfirmIsAskedAbout()
    {
        QVERIFY(bench().bringUp({u"--htc"_s}));
        bench().choose(Entry::mnuHTCHeaterOutput);
        instrument().controllers[u"HTC"_s].output.ask(false);
        instrument().remember();
        instrument().controllers[u"HTC"_s].output.doubt();
        instrument().remember();
        QCOMPARE(AllOff::stillOn(), QStringList(u"furnace heater (not known)"_s));
        emit instrumentNotifier().changed();
        QVERIFY(isRed("HTCOutput"));
        QCOMPARE(cell("HTCOutput"), u"furnace heater off?"_s);
        learn([](Instrument& now) { now.controllers[u"HTC"_s].output.confirm(false); });
        QVERIFY(AllOff::stillOn().isEmpty());
        QVERIFY(!isRed("HTCOutput"));
    }

    /// Whoever ends the program within an attempt of All Off waits for one of his own.
    void anEndWithinEverythingOff()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s, u"--fault"_s, u"htc/silent:5"_s}));
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        bench().choose(Entry::mnuHTCHeaterOutput);
        double before = 0;
        bench().once([] { return AllOff::isRunning() && Exchange::underWay(modCOM::TCComm()); },
                     [&] {
                         before = bench().desk().elapsed();
                         bench().window->endAtOnce();
                     });
        pressF12();
        QVERIFY(bench().desk().until([] { return flags().closing; }, 60));
        QVERIFY(before > 0);
        QVERIFY2(bench().desk().elapsed() - before < 10, qPrintable(QString::number(bench().desk().elapsed() - before)));
    }

    void theKeyWorksUnderABoxToo()
    {
        furnaceAndShutterOn();
        bench().hand.expect(exitTitle, {}, u"Cancel"_s, [this](QMessageBox* box) {
            QTest::keyClick(box, Qt::Key_F12);
            QVERIFY(bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
        });
        bench().hand.expect(u"All Off"_s, {}, u"OK"_s);
        QVERIFY(!bench().window->close());
        QVERIFY(bench().desk().until([&] { return bench().hand.done() && !AllOff::isRunning(); }, 60));
        QVERIFY(AllOff::done());
    }

    void anEndWhileOneOutputIsSwitchedOff()
    {
        QVERIFY(bench().bringUp({u"--htc"_s, u"--generator"_s, u"--fault"_s, u"htc/silent:4"_s}));
        bench().choose(Entry::mnuExtrasGeneratorSwitchShutter);
        bench().choose(Entry::mnuHTCHeaterOutput);
        AllOff::SwitchOff(Entry::mnuHTCHeaterOutput);
        const double before = bench().desk().elapsed();
        bench().window->endAtOnce();
        QVERIFY(flags().closing);
        QVERIFY(bench().desk().elapsed() - before < 10);
        QVERIFY(bench().lab.received(u"SMC"_s).contains(u"IO0;"_s));
    }
};

QTEST_MAIN(TestAllOff)
#include "tst_alloff.moc"
