// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Instrument.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "safety/StripReading.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"

#include <QTest>

#include <memory>

using Entry = Menu::Entry;
using namespace Qt::StringLiterals;

/// The strip's values, read every `StripInterval` seconds while nobody uses the line.
class TestStripReading : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }
    QString cell(const QByteArray& name) const
    {
        const auto* label = bench().window->findChild<QLabel*>(QString::fromLatin1(name));
        return label != nullptr ? label->text() : QString();
    }
    bool bringUp(const QString& options, const char* interval = "10")
    {
        bench().configure("General", "StripInterval", QString::fromLatin1(interval));
        return bench().bringUp(options.split(u' '), 1);
    }
    QString sent(const QByteArray& device) const { return bench().lab.received(QString::fromLatin1(device)); }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void withoutAnIntervalNoLineCarriesAByte()
    {
        QVERIFY(bringUp(u"--ltc 331 --generator"_s, "0"));
        const qint64 before = bench().desk().written();
        bench().desk().pass(300);
        QCOMPARE(bench().desk().written(), before);
        QCOMPARE(cell("tube"), u"X-ray ?"_s);
    }

    void everyDeviceIsAskedForWhatItTells_data()
    {
        QTest::addColumn<QString>("options");
        QTest::addColumn<QByteArray>("device");
        QTest::addColumn<QString>("questions");
        QTest::addColumn<QString>("temperature"); // how the cell ends
        QTest::addColumn<QString>("output");
        QTest::newRow("LTC") << u"--ltc 331"_s << QByteArray("LTC") << u"KRDG?|SETP? 1|RANGE?|"_s << u" K"_s
                             << u"heater of the cryostat off"_s;
        QTest::newRow("LTC 330") << u"--ltc 330"_s << QByteArray("LTC") << u"SDAT?|SETP?|RANG?|"_s << u" K"_s
                                 << u"heater of the cryostat off"_s;
        QTest::newRow("DRC-91CA") << u"--ltc drc91"_s << QByteArray("LTC") << u"WS|WP|W3|"_s << u" K"_s << u"heater of the cryostat off"_s;
        QTest::newRow("DRC-81C") << u"--ltc drc81"_s << QByteArray("LTC") << u"WS|WP|W1|"_s << u" K"_s << u"heater of the cryostat off"_s;
        QTest::newRow("HTC") << u"--htc"_s << QByteArray("HTC") << u"R001NT?|"_s << u" °C"_s << u"furnace heater off"_s;
        QTest::newRow("laser") << u"--laser"_s << QByteArray("Laser") << u":r 30|:r 12|"_s << u" °C"_s << u"laser beam off"_s;
    }
    void everyDeviceIsAskedForWhatItTells()
    {
        QFETCH(QString, options);
        QFETCH(QByteArray, device);
        QFETCH(QString, questions);
        QFETCH(QString, temperature);
        QFETCH(QString, output);
        QVERIFY(bringUp(options + u" --generator"_s));
        const QString panel = frontPanel().panel(3);
        bench().desk().pass(9.9);
        QCOMPARE(sent(device) + sent("Generator"), QString());
        bench().desk().pass(8);
        QCOMPARE(sent(device), questions);
        QCOMPARE(sent("Generator"), u"CA|VN|"_s);
        QCOMPARE(cell("tube"), u"X-ray 40 kV 30 mA"_s);
        const QString shown = cell(device + "Temperature");
        QVERIFY2(shown.endsWith(temperature) && (device == "Laser" || !shown.contains(u'?')), qPrintable(shown));
        QCOMPARE(cell(device + "Output"), output);
        QCOMPARE(frontPanel().panel(3), panel);
        bench().desk().pass(10);
        QCOMPARE(sent(device), questions + questions);
        QCOMPARE(sent("Generator"), u"CA|VN|CA|VN|"_s);
        QVERIFY(!sent("SMC").contains(u"IO"_s));
    }

    void aLineThatSomebodyHoldsIsLeftAlone()
    {
        QVERIFY(bringUp(u"--ltc 331 --generator"_s));
        {
            const Operation temperature(Operations::temperature);
            bench().desk().pass(35);
            QCOMPARE(sent("LTC"), QString());
            QVERIFY(sent("Generator").startsWith(u"CA|VN|"_s));
        }
        bench().lab.forget();
        {
            const Operation window(Operations::powerWindow);
            const Exchange exchange(modCOM::TCComm());
            bench().desk().pass(35);
            QCOMPARE(sent("LTC") + sent("Generator"), QString());
        }
        bench().desk().pass(12);
        QVERIFY(sent("LTC").startsWith(u"KRDG?|SETP? 1|RANGE?|"_s));
        QVERIFY(sent("Generator").startsWith(u"CA|VN|"_s));
    }

    void whatIsNotAnsweredIsUnknown_data()
    {
        QTest::addColumn<QString>("fault");
        QTest::newRow("silent") << u"silent"_s;
        QTest::newRow("garbled") << u"garbage"_s;
    }
    void whatIsNotAnsweredIsUnknown()
    {
        QFETCH(QString, fault);
        QVERIFY(bringUp(u"--ltc 331 --generator --fault ltc/%1:15s --fault generator/%1:15s"_s.arg(fault)));
        bench().desk().pass(14);
        QCOMPARE(cell("tube"), u"X-ray 40 kV 30 mA"_s);
        QVERIFY(cell("LTCTemperature").startsWith(u"LTC 2"_s));
        bench().lab.forget();
        bench().desk().pass(15);
        QCOMPARE(cell("tube"), u"X-ray ?"_s);
        QVERIFY2(cell("LTCTemperature").startsWith(u"LTC ? → "_s), qPrintable(cell("LTCTemperature")));
        if (fault == u"silent"_s)
            QCOMPARE(sent("LTC").count(u'|'), sent("LTC").count(u"KRDG?|"_s)); // and nothing after it
        QVERIFY(bench().hand.done());
    }

    void aScanAndTheReadingsGoOnSideBySide()
    {
        QVERIFY(bringUp(u"--ltc 331 --generator"_s, "3"));
        using enum FrontPanel::Field;
        const auto scan = [this] {
            frontPanel().setText(ScanStart, u"26"_s);
            frontPanel().setText(ScanStop, u"27"_s);
            frontPanel().setText(ScanStep, u"0.1"_s);
            frontPanel().setText(CounterTime, u"1"_s);
            flags().dataPresent = false;
            const double before = bench().desk().elapsed();
            bench().hand.expect(u"Start scan"_s, {}, u"OK"_s);
            bench().choose(Entry::mnuMeasStartAcquisition);
            return bench().desk().elapsed() - before;
        };
        StripReading::Stop();
        scan();
        const double expected = scan();
        StripReading::Start();
        bench().lab.forget();
        const double took = scan();
        QVERIFY(flags().dataPresent);
        QCOMPARE(scanData().size(), 11);
        QVERIFY2(sent("LTC").count(u"RANGE?|"_s) >= 3 && sent("Generator").count(u"VN|"_s) >= 3, qPrintable(sent("LTC")));
        QVERIFY2(took < expected + 1.5, qPrintable(u"%1 s instead of %2 s"_s.arg(took).arg(expected)));
    }

    void anEntryChosenWithinAReadingWaitsForItsEnd()
    {
        QVERIFY(bringUp(u"--ltc 331"_s));
        bool within = false;
        bench().once([] { return StripReading::isReading(); },
                     [&] {
                         bench().choose(Entry::mnuLTCQueryTemperature);
                         within = StripReading::isReading() && sent("LTC").count(u'|') <= 1;
                     });
        bool shown = false;
        bench().hand.expect(u"LTC"_s, QString(), u"OK"_s,
                            [&shown](QMessageBox* box) { shown = box->text().startsWith(u"Current temperature is: 2"_s); });
        bench().desk().pass(15);
        QVERIFY(within && shown);
    }

    void theStatusChosenWithinAReadingHasItsOwnAnswers()
    {
        QVERIFY(bringUp(u"--generator"_s));
        bench().hand.rest();
        bench().once([this] { return sent("Generator").endsWith(u"VN|"_s); },
                     [this] { bench().choose(Entry::mnuExtrasGeneratorGetStatus); });
        bench().desk().pass(16);
        QCOMPARE(sent("Generator"), u"CA|VN|CA|VN|SR:14|SR:15|"_s);
        const QStringList lines = LabWindow::textLines();
        QVERIFY2(lines.size() == 4 && lines.at(0).contains(u"30000"_s) && lines.at(1).contains(u"40000"_s), qPrintable(lines.join(u'\n')));
        QVERIFY2(!lines.at(3).endsWith(u"rate:"_s), qPrintable(lines.at(3)));
        LabWindow::pressTextButton();
    }

    void aLineThatIsDownIsNotWrittenTo()
    {
        QVERIFY(bringUp(u"--ltc 331 --generator --fault ltc/hang-up:30s --fault generator/hang-up-and-return:30s"_s));
        bench().hand.expect(u"TC"_s, QString(), u"OK"_s);
        bench().hand.expect(u"Generator"_s, QString(), u"OK"_s);
        bench().desk().pass(15);
        QCOMPARE(cell("tube"), u"X-ray 40 kV 30 mA"_s);
        QVERIFY(cell("LTCTemperature").startsWith(u"LTC 2"_s));
        QVERIFY(bench().desk().until([this] { return cell("tube") == u"X-ray ?"_s && modCOM::TCComm().isDown(); }, 20));
        bench().lab.forget();
        bench().desk().pass(20);
        QCOMPARE(sent("LTC"), QString());
        QVERIFY2(cell("LTCTemperature").startsWith(u"LTC ? → ?"_s), qPrintable(cell("LTCTemperature")));
        QCOMPARE(cell("tube"), u"X-ray 40 kV 30 mA"_s); // its line is there again
    }

    void aClosingProgramAsksNothing()
    {
        QVERIFY(bringUp(u"--ltc 331 --generator"_s));
        bench().desk().pass(9);
        QVERIFY(bench().window->close());
        const qint64 before = bench().desk().written();
        for (int i = 0; i < 20; ++i)
            bench().desk().pass(1);
        QCOMPARE(bench().desk().written(), before);
    }
};

QTEST_MAIN(TestStripReading)
#include "tst_stripreading.moc"
