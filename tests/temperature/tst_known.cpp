// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is known of heaters, beam, setpoints and temperatures: sent, answered, garbled, line lost.

#include "core/Instrument.h"
#include "temperature/TemperatureLine.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;

namespace {
using Controller = Instrument::Controller;

constexpr char dataQuery[] = "R001NT?\r\n";
constexpr char valueQuery[] = "R001NF?\r\n";

/// A block of the high-temperature controller.
QByteArray block(quint16 temperature, quint16 setpoint, quint16 heater)
{
    using modHTC::Pack;
    const QString values =
        Pack(temperature) + Pack(setpoint) + Pack(71) + Pack(8) + Pack(2) + Pack(heater) + Pack(10) + Pack(1400) + Pack(5) + Pack(0);
    return ("A001NT HTC 5218  " + values.leftJustified(92, u'-') + "ABCDQ\r\n").toLatin1();
}

template <typename T>
std::optional<T> some(T value)
{
    return value;
}
} // namespace

class TestKnown : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemperatureLine> m_line;

    static const Controller own(const QString& name) { return instrument().controllers.value(name); }
    static Controller ltc() { return own(u"LTC"_s); }
    static Controller htc() { return own(u"HTC"_s); }
    static Controller laser() { return own(u"Laser"_s); }

    /// Something that was confirmed a while ago.
    static void confirmAll(const QString& name)
    {
        learn([&name](Instrument& now) {
            Controller& controller = now.controllers[name];
            controller.output.confirm(true);
            controller.setpoint.confirm(1);
            controller.temperature.confirm(1);
        });
    }
    void useLtc(int model)
    {
        flags().ltcEnabled = true;
        configuration().ltc.modelCode = model;
    }
    void loseLine()
    {
        m_line->prompts.expect(u"TC"_s, QString());
        m_line->device.hangUp();
        m_line->clock.advance(10);
    }

private slots:
    void init() { m_line = std::make_unique<TemperatureLine>(u"9600,n,8,1"_s, 0.1F, 1.0F, 3); }
    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        m_line.reset();
    }

    // --- low-temperature controller

    void ltcReadings_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<double>("temperature"); // -1: unknown
        QTest::addColumn<double>("setpoint");
        QTest::newRow("answered") << QByteArray("+077.35\r\n") << 77.35 << 77.35;
        QTest::newRow("sensor fault") << QByteArray("+000.00\r\n") << -1.0 << 0.0;
        QTest::newRow("text") << QByteArray("OVER\r\n") << -1.0 << -1.0;
        QTest::newRow("garbled") << QByteArray("\xfe\x81\x13\r\n") << -1.0 << -1.0;
        QTest::newRow("line end alone") << QByteArray("\r\n") << -1.0 << -1.0;
        QTest::newRow("silent") << QByteArray() << -1.0 << -1.0;
    }
    void ltcReadings()
    {
        QFETCH(QByteArray, reply);
        QFETCH(double, temperature);
        QFETCH(double, setpoint);
        useLtc(modLTC::LakeShore331);
        confirmAll(u"LTC"_s);
        m_line->device.answer("KRDG?\r\n", reply);
        m_line->device.answer("SETP? 1\r\n", reply);
        float value = 0;
        modLTC::LTCGetTemperature(value);
        QCOMPARE(ltc().temperature.value, temperature < 0 ? std::nullopt : some(temperature));
        QCOMPARE(ltc().setpoint.value, some(1.0)); // another question
        modLTC::LTCGetSetpoint(value);
        QCOMPARE(ltc().setpoint.value, setpoint < 0 ? std::nullopt : some(setpoint));
        QCOMPARE(ltc().unit, u"K");
    }

    void ltcSetpointIsAskedForUntilItIsRead()
    {
        useLtc(modLTC::LakeShore331);
        modLTC::LTCNewSetpoint(77.35F);
        QCOMPARE(ltc().setpoint.asked, some(77.35));
        QVERIFY(!ltc().setpoint.isConfirmed());
        float setpoint = 0;
        modLTC::LTCGetSetpoint(setpoint); // silent
        QCOMPARE(ltc().setpoint.likely(), some(77.35));
        m_line->device.answer("SETP? 1\r\n", "+077.35\r\n");
        modLTC::LTCGetSetpoint(setpoint);
        QVERIFY(ltc().setpoint.isConfirmed());
        QCOMPARE(ltc().setpoint.value, some(77.35));
    }

    void ltcHeaterOfAControllerThatAnswersItsCommands_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("asked"); // -1: nothing
        QTest::addColumn<int>("value");
        QTest::newRow("answered") << QByteArray("3\r\n") << -1 << 1;
        QTest::newRow("says off") << QByteArray("0\r\n") << -1 << 0;
        QTest::newRow("silent") << QByteArray() << 1 << -1;
        QTest::newRow("garbled") << QByteArray("\xfe?\r\n") << -1 << -1;
    }
    void ltcHeaterOfAControllerThatAnswersItsCommands()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, asked);
        QFETCH(int, value);
        useLtc(modLTC::LakeShore330);
        m_line->device.answer("RANG 3;RANG?\r\n", reply);
        modLTC::LTCSetRange(3);
        QCOMPARE(ltc().output.asked, asked < 0 ? std::nullopt : some(asked == 1));
        QCOMPARE(ltc().output.value, value < 0 ? std::nullopt : some(value == 1));
    }

    void ltcHeaterIsReadWithTheStatus_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("question");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("value"); // -1: unknown
        QTest::addColumn<bool>("box");
        const auto row = [](const char* name, int model, const char* question, const char* reply, int value, bool box = false) {
            QTest::newRow(name) << model << QByteArray(question) << QByteArray(reply) << value << box;
        };
        row("330 on", modLTC::LakeShore330, "RANG?\r\n", "2\r\n", 1);
        row("330 off", modLTC::LakeShore330, "RANG?\r\n", "0\r\n", 0);
        row("330 garbled", modLTC::LakeShore330, "RANG?\r\n", "xx\r\n", -1);
        row("331 on", modLTC::LakeShore331, "RANGE?\r\n", "1\r\n", 1);
        row("331 silent", modLTC::LakeShore331, "RANGE?\r\n", "", -1);
        row("91CA on", modLTC::DRC91CA, "W3\r\n", "40,10,1,3,20\r\n", 1);
        row("91CA off", modLTC::DRC91CA, "W3\r\n", "40,10,1,0,0\r\n", 0);
        row("91CA short record", modLTC::DRC91CA, "W3\r\n", "40,10,1\r\n", -1, true);
        row("81C on", modLTC::DRC81C, "W1\r\n", "1,2,3,40,10,1,4\r\n", 1);
        row("81C garbled", modLTC::DRC81C, "W1\r\n", "1,2,3,40,10,1,x\r\n", -1);
    }
    void ltcHeaterIsReadWithTheStatus()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, question);
        QFETCH(QByteArray, reply);
        QFETCH(int, value);
        QFETCH(bool, box);
        useLtc(model);
        confirmAll(u"LTC"_s);
        m_line->device.answer(question, reply);
        if (box)
            m_line->prompts.expect(u"LTC"_s, QString());
        modLTC::Parameters parameters;
        modLTC::LTCGetStatus(parameters);
        QCOMPARE(ltc().output.value, value < 0 ? std::nullopt : some(value == 1));
    }

    void ltcResetMakesItsOutputsUnknown()
    {
        useLtc(modLTC::LakeShore331);
        confirmAll(u"LTC"_s);
        modLTC::LTCInit();
        QVERIFY(!ltc().setpoint.likely() && !ltc().output.likely());
        confirmAll(u"LTC"_s);
        modLTC::LTCDefault();
        QVERIFY(!ltc().setpoint.likely());
        QCOMPARE(ltc().output.asked, some(false)); // "RANGE 0" at its end
        QVERIFY(!ltc().output.isConfirmed());
    }

    void ltcCommandTypedByHandCanChangeAnything()
    {
        useLtc(modLTC::LakeShore331);
        confirmAll(u"LTC"_s);
        m_line->device.answer("SETP 1, 5;*IDN?\r\n", "x\r\n");
        m_line->prompts.expectInput(u"LTC Query"_s, u"Enter query command:"_s, u"SETP 1, 5;*IDN?"_s);
        m_line->prompts.expect(u"LTC"_s, u"x"_s);
        modLTC::mnuLTCQuery();
        QVERIFY(!ltc().setpoint.likely() && !ltc().output.likely());
    }

    void ltcThatIsNotInUseIsNotListed()
    {
        modLTC::LTCNewSetpoint(100);
        modLTC::LTCSetRange(3);
        float temperature = 0;
        modLTC::LTCGetTemperature(temperature);
        modLTC::Parameters parameters;
        modLTC::LTCGetStatus(parameters); // invented values, for the dialogs
        QVERIFY(instrument().controllers.isEmpty());
    }

    void ltcOnALostLineIsUnknown()
    {
        useLtc(modLTC::LakeShore331);
        confirmAll(u"LTC"_s);
        loseLine();
        QVERIFY(!ltc().output.likely() && !ltc().setpoint.likely() && !ltc().temperature.likely());
        modLTC::LTCNewSetpoint(100); // goes nowhere
        modLTC::LTCSetRange(3);
        QVERIFY(!ltc().output.likely() && !ltc().setpoint.likely());
    }

    // --- high-temperature controller

    void htcBlocks_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("readable");
        QTest::newRow("answered") << block(640, 300, 1) << true;
        QTest::newRow("cut short") << block(640, 300, 1).chopped(1) << false;
        QTest::newRow("idle answer") << QByteArray(116, '!') << false;
        QTest::newRow("silent") << QByteArray() << false;
    }
    void htcBlocks()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, readable);
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, reply);
        m_line->device.answer(valueQuery, reply);
        confirmAll(u"HTC"_s);
        modHTC::GetTemperature();
        QCOMPARE(htc().temperature.value, readable ? some(640.0) : std::nullopt);
        QCOMPARE(htc().setpoint.value, some(1.0)); // the value block does not tell
        QCOMPARE(htc().output.value, some(true));
        modHTC::HTCQuery(u"T"_s);
        QCOMPARE(htc().setpoint.value, readable ? some(300.0) : std::nullopt);
        QCOMPARE(htc().output.value, readable ? some(true) : std::nullopt);
        QCOMPARE(htc().unit, u"°C");
    }

    void htcIsToldAndSaysSo()
    {
        flags().htcEnabled = true;
        configuration().htc.calibration = true;
        configuration().htc.calibrationOffset = 10;
        m_line->device.answer(dataQuery, block(20, 300, 0));
        QCOMPARE(modHTC::NewSetpoint(500), qint16(0));
        QCOMPARE(htc().setpoint.value, some(300.0));
        QCOMPARE(htc().setpoint.asked, some(510.0)); // as the controller gets it
        QCOMPARE(modHTC::SwitchHeaterOutput(true), qint16(0));
        QCOMPARE(htc().output.asked, some(true));
        QVERIFY(!htc().output.isConfirmed());
        m_line->device.answer(dataQuery, block(20, 510, 1));
        modHTC::DataBlock data;
        modHTC::GetDataBlock(&data);
        QVERIFY(htc().output.isConfirmed() && htc().setpoint.isConfirmed());
        QCOMPARE(htc().setpoint.value, some(510.0));
        QCOMPARE(htc().output.value, some(true));
    }

    void htcThatIsSilentIsNotTold()
    {
        flags().htcEnabled = true;
        m_line->prompts.expect(u"NewSetpoint - HTCQuery"_s, QString());
        QCOMPARE(modHTC::NewSetpoint(500), qint16(-1));
        QVERIFY(!htc().setpoint.likely());
    }

    void htcThatIsLostBeforeItIsToldIsUnknown()
    {
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, block(20, 300, 0));
        m_line->prompts.expect(u"TC"_s, QString());
        connect(&instrumentNotifier(), &InstrumentNotifier::changed, m_line.get(), [this] {
            if (htc().output.isConfirmed()) // the block has been read, the new one is not yet sent
                m_line->device.hangUp();
        });
        m_line->prompts.expect(u"SwitchHeaterOutput - HTCQuery"_s, QString());
        QCOMPARE(int(modHTC::SwitchHeaterOutput(true)), -1);
        QVERIFY(!m_line->device.written().contains("S001"));
        QVERIFY(!frontPanel().entryCaption(Menu::Entry::mnuHTCHeaterOutput).contains(u"ON"_s));
        QVERIFY(htc().output == Known<bool>{});
    }

    void aFurnaceWhoseSetpointCannotBeRightIsNotSwitchedOn()
    {
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, block(20, 2348, 0));
        m_line->prompts.expect(u"SwitchHeaterOutput"_s, u"Invalid response!"_s);
        QCOMPARE(int(modHTC::SwitchHeaterOutput(true)), -1);
        QVERIFY(!m_line->device.written().contains("S001"));
        // Off is always written.
        QCOMPARE(int(modHTC::SwitchHeaterOutput(false)), 0);
        QVERIFY(m_line->device.written().contains("S001"));
    }

    void htcOnALostLineIsUnknown()
    {
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, block(20, 300, 0));
        modHTC::SwitchHeaterOutput(true);
        QVERIFY(htc().output.likely());
        loseLine();
        QVERIFY(!htc().output.likely() && !htc().setpoint.likely() && !htc().temperature.likely());
    }

    // --- laser

    void laserIsToldAndSaysSo_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("confirmed");
        QTest::addColumn<bool>("asked");
        QTest::newRow("answered") << QByteArray(":ok\r\n") << true << false;
        QTest::newRow("silent") << QByteArray() << false << true;
        QTest::newRow("refused") << QByteArray(":error\r\n") << false << false;
        QTest::newRow("garbled") << QByteArray("\x01\x02\r\n") << false << false;
    }
    void laserIsToldAndSaysSo()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, confirmed);
        QFETCH(bool, asked);
        flags().laserEnabled = true;
        m_line->device.answer("\r", reply);
        modHTC_Laser::LaserSwitchBeam(true);
        QCOMPARE(laser().output.value, confirmed ? some(true) : std::nullopt);
        QCOMPARE(laser().output.asked, asked ? some(true) : std::nullopt);
        modHTC_Laser::LaserSetCurrent(500.1F, 1.0002F);
        QCOMPARE(laser().setpoint.value, confirmed ? some(500.1) : std::nullopt);
        QCOMPARE(laser().setpoint.asked, asked ? some(500.1) : std::nullopt);
        QCOMPARE(laser().unit, u"°C");
    }

    void laserBeamIsAskedAtTheStart_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<int>("value"); // -1: unknown
        QTest::newRow("on") << QByteArray(":1\r\n") << 1;
        QTest::newRow("off") << QByteArray(":0\r\n") << 0;
        QTest::newRow("text") << QByteArray(":error\r\n") << -1;
        QTest::newRow("silent") << QByteArray() << -1;
    }
    void laserBeamIsAskedAtTheStart()
    {
        QFETCH(QByteArray, reply);
        QFETCH(int, value);
        flags().laserEnabled = true;
        confirmAll(u"Laser"_s);
        m_line->device.answer(":r 12\r", reply);
        if (value < 0)
            m_line->prompts.expect(u"HT Laser Controller Check"_s, QString());
        modHTC_Laser::LaserCheckPresence();
        QCOMPARE(laser().output.value, value < 0 ? std::nullopt : some(value == 1));
        QCOMPARE(laser().setpoint.value, some(1.0));
    }

    void laserCurrentIsReadBack_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<double>("value"); // -1: unknown
        QTest::newRow("answered") << QByteArray(":1.0002\r\n") << 500.1;
        QTest::newRow("text") << QByteArray(":error\r\n") << -1.0;
        QTest::newRow("silent") << QByteArray() << -1.0;
    }
    void laserCurrentIsReadBack()
    {
        QFETCH(QByteArray, reply);
        QFETCH(double, value);
        flags().laserEnabled = true;
        confirmAll(u"Laser"_s);
        m_line->device.answer(":r 30\r", reply);
        float current = 0;
        modHTC_Laser::LaserGetCurrent(current);
        QCOMPARE(laser().setpoint.value, value < 0 ? std::nullopt : some(value));
    }

    void laserOnALostLineIsUnknown()
    {
        flags().laserEnabled = true;
        m_line->device.answer("\r", ":ok\r\n");
        modHTC_Laser::LaserSwitchBeam(true);
        loseLine();
        QVERIFY(!laser().output.likely());
        modHTC_Laser::LaserSwitchBeam(true); // goes nowhere
        modHTC_Laser::LaserSetCurrent(500, 1);
        QVERIFY(!laser().output.likely() && !laser().setpoint.likely());
    }
};

QTEST_GUILESS_MAIN(TestKnown)
#include "tst_known.moc"
