// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the start makes of real devices: which count as there, and what is at work from then on.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/startup/modMain.h"
#include "generator/modGenerator.h"
#include "goniometer/modSMC.h"
#include "gpib/modGPIB.h"
#include "serial/modCOM.h"
#include "support/Pretend.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
/// A laboratory in which the program is about to start. The goniometer controller is there; nothing else answers yet.
struct Laboratory
{
    Laboratory()
    {
        resetProgram();
        modMain::state() = modMain::State{};
        modSMC::state() = modSMC::State{};
        modCOM::reset();
        modCOM::MCComm().setDeviceSource([this] { return smc.plug(); });
        modCOM::GeneratorComm().setDeviceSource([this] { return generator.plug(); });
        modCOM::TCComm().setDeviceSource([this] { return temperature.plug(); });
        modTools::state().programDirectory = directory.path();
        modTools::state().iniPath = directory.filePath(u"scan.ini"_s);
        smc.answer("?S;", "S1:128 S2:128\r\n");
        smc.answer("?S1;", "S1:128\r\n");
        smc.answer("?V;", "SMC 4412\r\nV1.0\r\n");
        write(u"ls330.pid"_s, "25=R2P25I500D0\r\n300=R3P300I50D0\r\n");
        write(u"ls331.pid"_s, "25=R2P25I500D0\r\n300=R3P300I50D0\r\n");
        write(u"htc.pid"_s, "500=P60I10D3\r\n900=P71I8D2\r\n");
    }
    ~Laboratory()
    {
        modCOM::reset();
        modGPIB::reset();
        resetProgram();
    }
    Q_DISABLE_COPY_MOVE(Laboratory)

    void write(const QString& name, const QByteArray& text) const
    {
        QFile file(directory.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), text.size());
    }
    void start(const QByteArray& ini) const
    {
        write(u"scan.ini"_s, ini);
        modMain::LoadSettings();
        QCOMPARE(frontPanel().panel(1), u"Ready"_s);
    }

    QTemporaryDir directory;
    TestClock clock;
    ScriptedPrompts boxes;
    ScriptedDevice smc, generator, temperature;
};
} // namespace

class TestStartupDevices : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_lab = std::make_unique<Laboratory>(); }
    void cleanup()
    {
        QVERIFY(m_lab->boxes.allShown());
        m_lab.reset();
        modGenerator::reset();
    }

    // This one comes first: nothing has listened to the generator's line in this program yet.
    void theGeneratorIsHeardFromTheStartOn()
    {
        m_lab->generator.answer("CA\r", "*0000030000\r");
        m_lab->generator.answer("VN\r", "*0000040000\r");
        m_lab->start("[Generator]\nRemote=1\nModel=3000\n");
        qint16 milliampere = 0;
        qint16 kilovolt = 0;
        modGenerator::GeneratorGetActualValues(&milliampere, &kilovolt);
        QCOMPARE(milliampere, qint16{30});
        QCOMPARE(kilovolt, qint16{40});
    }

    void idlePowerIsWatchedForFromTheStartOn_data()
    {
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("wanted") << QByteArray("ReducePowerOnIdle=1\n") << QByteArray("SC:5\rSV:20\r");
        QTest::newRow("not wanted") << QByteArray() << QByteArray();
    }

    void idlePowerIsWatchedForFromTheStartOn()
    {
        QFETCH(QByteArray, key);
        m_lab->start("[Generator]\nRemote=1\nReducePowerOnIdleDelay=1\n" + key);
        pretendRunning(Operations::scan);
        modTools::Delay(5, true);
        pretendRunning(Operations::scan, false);
        modTools::Delay(70, true);
        QTEST(m_lab->generator.written(), "sent");
    }

    void aControllerThatFailsItsInitializationIsNotThere_data()
    {
        QTest::addColumn<QByteArray>("unanswered");
        QTest::newRow("nothing fails") << QByteArray();
        for (const char* command : {"SCHN A;SCHN?", "SUNI K;SUNI?", "CCHN A;CCHN?", "CUNI K;CUNI?"})
            QTest::newRow(command) << QByteArray(command);
    }

    void aControllerThatFailsItsInitializationIsNotThere()
    {
        QFETCH(QByteArray, unanswered);
        m_lab->temperature.answer("*IDN?\r\n", "LSCI,MODEL330,0,032301\r\n");
        m_lab->temperature.answer("TUNE?\r\n", "0\r\n");
        for (const char* command : {"SCHN A;SCHN?", "SUNI K;SUNI?", "CCHN A;CCHN?", "CUNI K;CUNI?"})
            if (command != unanswered)
                m_lab->temperature.answer(QByteArray(command) + "\r\n", "A\r\n");
        if (!unanswered.isEmpty())
            m_lab->boxes.expect(u"LTC check"_s, u"The initialization of the low-temperature controller failed:\r\nno reply to '"_s +
                                                    QString::fromLatin1(unanswered) + u"'."_s);
        m_lab->start("[LTC]\nLTC=1\nModel=330\n");
        QVERIFY(m_lab->temperature.written().endsWith("*RST\r\nSCHN A;SCHN?\r\nSUNI K;SUNI?\r\nCCHN A;CCHN?\r\nCUNI K;CUNI?\r\n"));
        QCOMPARE(flags().ltcEnabled, unanswered.isEmpty());
        QCOMPARE(frontPanel().isEntryEnabled(Menu::Entry::mnuLTC), unanswered.isEmpty());
    }

    void aBusThatCannotBeOpenedIsSaidAndItsControllerNotAsked()
    {
        modGPIB::state().siclNames = {u"no-such-library"_s};
        m_lab->boxes.expect(u"GPIBInit()"_s, QString());
        m_lab->start("[LTC]\nLTC=1\nGPIBType=hp\nGPIBDeviceAddress=12\n");
        QVERIFY(m_lab->boxes.messages.first().text.startsWith(u"Error # 53\r\n"));
        QVERIFY(!flags().ltcEnabled);
        QCOMPARE(m_lab->temperature.plugAttempts(), 0);
    }

    void aSilentDeviceIsNotThere_data()
    {
        QTest::addColumn<QByteArray>("section");
        QTest::addColumn<QString>("title");
        QTest::addColumn<Prompts::Button>("answer");
        QTest::addColumn<bool Flags::*>("flag");
        QTest::newRow("low") << QByteArray("[LTC]\nLTC=1\n") << u"LTC check"_s << Prompts::Button::Ignore << &Flags::ltcEnabled;
        QTest::newRow("high") << QByteArray("[HTC]\nHTC=1\n") << u"HTC check"_s << Prompts::Button::Ok << &Flags::htcEnabled;
        QTest::newRow("laser") << QByteArray("[Laser]\nLaser=1\n") << u"HT Laser Controller Check"_s << Prompts::Button::Ok
                               << &Flags::laserEnabled;
    }

    void aSilentDeviceIsNotThere()
    {
        QFETCH(QByteArray, section);
        QFETCH(QString, title);
        QFETCH(Prompts::Button, answer);
        QFETCH(bool Flags::*, flag);
        m_lab->boxes.expect(title, QString(), answer);
        m_lab->start(section);
        QVERIFY(!m_lab->temperature.written().isEmpty());
        QVERIFY(!(flags().*flag));
        QVERIFY(!frontPanel().isEntryEnabled(Menu::Entry::mnuLTC) && !frontPanel().isEntryEnabled(Menu::Entry::mnuHTC) &&
                !frontPanel().isEntryEnabled(Menu::Entry::mnuLaser));
    }

    void aScanIniThatCannotBeReadIsNotWrittenOver()
    {
        const QByteArray large = "[General]\r\nScanStop=30\r\n;" + QByteArray(4 * 1024 * 1024, 'x') + "\r\n";
        m_lab->start(large);
        QCOMPARE(frontPanel().text(FrontPanel::Field::ScanStop), u"180"_s);
        QCOMPARE(modMain::SaveSettings(), qint16{-1});
        QFile file(m_lab->directory.filePath(u"scan.ini"_s));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QVERIFY(file.readAll() == large);
    }

private:
    std::unique_ptr<Laboratory> m_lab;
};

QTEST_GUILESS_MAIN(TestStartupDevices)
#include "tst_startupdevices.moc"
