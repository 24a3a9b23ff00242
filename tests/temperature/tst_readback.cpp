// SPDX-License-Identifier: GPL-3.0-or-later
//
// What a controller is asked after it was told something, and what is said when its answer is another one.

#include "core/Instrument.h"
#include "gpib/fake_calls.h"
#include "gpib/modGPIB.h"
#include "temperature/SteadyState.h"
#include "temperature/TemperatureLine.h"

#include <QLibrary>
#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using SetpointCheck::Verdict;

namespace {
constexpr char dataQuery[] = "R001NT?\r\n";

/// A data block with the heater on.
QByteArray block(int setpoint, int p = 71, int heater = 1)
{
    const auto pack = [](int value) { return modHTC::Pack(static_cast<quint16>(value)).toLatin1(); };
    return pack(25) + pack(setpoint) + pack(p) + pack(8) + pack(2) + pack(heater) + pack(10) + pack(1400) + pack(5) + pack(0) +
           QByteArray(62, '-');
}

QByteArray replyOf(const QByteArray& payload)
{
    return "A001NT HTC 5218  " + payload + "ABCDQ\r\n";
}

QStringList notices()
{
    QStringList texts;
    for (const Notices::Notice& notice : Notices::all())
        texts += notice.text;
    return texts;
}
} // namespace

class TestReadback : public QObject
{
    Q_OBJECT

    std::unique_ptr<TemperatureLine> m_line;

    void useLtc(int model = modLTC::LakeShore331)
    {
        flags().ltcEnabled = true;
        configuration().ltc.modelCode = model;
    }
    qsizetype blocksWritten() const { return m_line->device.written().count("S001"); }

private slots:
    void init() { m_line = std::make_unique<TemperatureLine>(u"9600,n,8,1"_s, 0.0F, 1.0F, 3); }
    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        SteadyState::reset();
        m_line.reset();
    }

    // --- setpoints

    void aSetpointCountsAsTakenWithinTheResolution_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("question");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("taken");
        const auto row = [](const char* name, int model, const char* question, const char* reply, bool taken) {
            QTest::newRow(name) << model << QByteArray(question) << QByteArray(reply) << taken;
        };
        row("331, the same", modLTC::LakeShore331, "SETP? 1\r\n", "+77.350\r\n", true);
        row("331, within its resolution", modLTC::LakeShore331, "SETP? 1\r\n", "+77.358\r\n", true);
        row("331, beyond it", modLTC::LakeShore331, "SETP? 1\r\n", "+77.360\r\n", false);
        row("330, within its resolution", modLTC::LakeShore330, "SETP?\r\n", "+77.4\r\n", true);
        row("330, one step away", modLTC::LakeShore330, "SETP?\r\n", "+77.45\r\n", false);
        row("DRC-91CA, within its resolution", modLTC::DRC91CA, "WP\r\n", "077.30K\r\n", true);
        row("DRC-81C, another", modLTC::DRC81C, "WP\r\n", "295.00K\r\n", false);
    }
    void aSetpointCountsAsTakenWithinTheResolution()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, question);
        QFETCH(QByteArray, reply);
        QFETCH(bool, taken);
        useLtc(model);
        m_line->device.answer(question, reply);
        modLTC::LTCNewSetpoint(77.35F);
        QVERIFY(SetpointCheck::isOpen(u"LTC"_s));
        QCOMPARE(SetpointCheck::Ask(u"LTC"_s), taken ? Verdict::Taken : Verdict::NotTaken);
        QVERIFY(!SetpointCheck::isOpen(u"LTC"_s));
        QCOMPARE(notices().size(), taken ? 0 : 1);
        m_line->noticed = notices();
    }

    void threeQuestionsWithoutAnAnswerAreSaid_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("silent") << QByteArray();
        QTest::newRow("no number") << QByteArray("OVER\r\n");
        QTest::newRow("beyond a number") << QByteArray("1E999\r\n");
        QTest::newRow("garbled") << QByteArray("\xfe\x81\r\n");
    }
    void threeQuestionsWithoutAnAnswerAreSaid()
    {
        QFETCH(QByteArray, reply);
        useLtc();
        if (!reply.isEmpty())
            m_line->device.answer("SETP? 1\r\n", reply);
        modLTC::LTCNewSetpoint(77);
        for (int i = 0; i < 3; ++i) {
            QCOMPARE(notices(), QStringList());
            QVERIFY(SetpointCheck::isOpen(u"LTC"_s));
            QCOMPARE(SetpointCheck::Ask(u"LTC"_s), Verdict::NoAnswer);
        }
        QVERIFY(!SetpointCheck::isOpen(u"LTC"_s));
        m_line->noticed = notices();
        QCOMPARE(notices(), QStringList{u"The low-temperature controller does not say whether it has taken the setpoint of 77 K."_s});
    }

    void aResetForgetsWhatWasSent()
    {
        useLtc();
        modLTC::LTCNewSetpoint(77);
        modLTC::LTCInit();
        QVERIFY(!SetpointCheck::wasSent(u"LTC"_s));
        QCOMPARE(SetpointCheck::Ask(u"LTC"_s), Verdict::Taken);
        QVERIFY(!m_line->device.written().contains("SETP?"));
    }

    void theReadingIsNoReadingWhenItIsNoNumber_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<QString>("shown");
        QTest::newRow("text") << QByteArray("OVER\r\n") << u"Current temperature is: no reading"_s;
        QTest::newRow("0 K") << QByteArray("+000.00\r\n") << u"Current temperature is: no reading"_s;
        QTest::newRow("beyond a number") << QByteArray("1E999\r\n") << u"Current temperature is: no reading"_s;
        QTest::newRow("number") << QByteArray("+077.35\r\n") << u"Current temperature is: 77.35 K"_s;
    }
    void theReadingIsNoReadingWhenItIsNoNumber()
    {
        QFETCH(QByteArray, reply);
        QFETCH(QString, shown);
        useLtc();
        m_line->device.answer("KRDG?\r\n", reply);
        m_line->prompts.expect(u"LTC"_s, shown);
        modLTC::mnuLTCQueryTemperature();
        const float reading = modLTC::LTCReading();
        QCOMPARE(reading > 0, shown.endsWith(u'K'));
        m_line->device.answer("SETP? 1\r\n", reply);
        const bool number = reply.startsWith('+');
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, QString())
            .withDefaultText(!number                                                  ? QString()
                             : reply.startsWith("+0000") || reply.startsWith("+000.") ? u"0 K"_s
                                                                                      : u"77.35 K"_s);
        modLTC::mnuLTCSetpoint();
    }

    // --- default settings

    void theDefaultsAreReadBack_data()
    {
        QTest::addColumn<QByteArray>("range");
        QTest::addColumn<QString>("box");
        QTest::addColumn<QString>("caption");
        QTest::newRow("off") << QByteArray("0\r\n") << QString() << u"&Autotuning (is ON)"_s;
        QTest::newRow("still on") << QByteArray("3\r\n") << u"The heater range is still 3."_s << u"&Autotuning (is ON)"_s;
        QTest::newRow("silent") << QByteArray() << u"The controller did not answer; its heater may still be on."_s
                                << u"&Autotuning (is ON)"_s;
    }
    void theDefaultsAreReadBack()
    {
        QFETCH(QByteArray, range);
        QFETCH(QString, box);
        QFETCH(QString, caption);
        useLtc(modLTC::LakeShore330);
        m_line->device.answer("RANG?\r\n", range);
        m_line->device.answer("TUNE?\r\n", QByteArray("1\r\n")); // it was not taken
        if (!box.isEmpty())
            m_line->prompts.expect(u"LTC"_s, box).withIcon(Prompts::Icon::Exclamation);
        modLTC::mnuLTCDefault();
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuLTCAutoTune), caption);
    }

    // --- bus

    void afterAFailedWriteNothingIsRead()
    {
        QLibrary library(QStringLiteral(FAKE_NI));
        auto entry = reinterpret_cast<FakeScript* (*)()>(library.resolve("fakeScript"));
        QVERIFY(entry != nullptr);
        FakeScript& script = *entry();
        script = FakeScript{};
        useLtc();
        configuration().ltc.gpibType = u"ni"_s;
        configuration().ltc.gpibDeviceAddress = 12;
        modGPIB::state().niNames = {QStringLiteral(FAKE_NI)};
        modGPIB::GPIBInit();
        script.status = 0x8100;
        m_line->prompts.expect(u"LTC"_s, u"LTC does not respond!\r\nBus fault: ibsta 0x8100, iberr 0"_s).withIcon(Prompts::Icon::Critical);
        modLTC::mnuLTCQueryTemperature();
        QVERIFY(QByteArray(script.calls).contains("ibwrt 17 [KRDG?"));
        QVERIFY(!QByteArray(script.calls).contains("ibrd"));
        script.status = 0x100; // the cable is back, the controller is not
        m_line->prompts.expect(u"LTC"_s, u"LTC does not respond!"_s).withIcon(Prompts::Icon::Critical);
        modLTC::mnuLTCQueryTemperature();
        QVERIFY(QByteArray(script.calls).contains("ibrd"));
        modGPIB::reset();
    }

    // --- furnace

    void aGarbledBlockIsNeverWrittenBack_data()
    {
        QTest::addColumn<int>("position");
        QTest::addColumn<char>("character");
        QTest::newRow("below blank in a value") << 7 << '\x1f';
        QTest::newRow("below blank behind the values") << 60 << '\x01';
        QTest::newRow("no packed value") << 9 << 'p';
    }
    void aGarbledBlockIsNeverWrittenBack()
    {
        QFETCH(int, position);
        QFETCH(char, character);
        flags().htcEnabled = true;
        QByteArray payload = block(300);
        payload[position - 1] = character;
        m_line->device.answer(dataQuery, replyOf(payload));
        for (const char* title : {"NewSetpoint", "SwitchHeaterOutput", "SetPID"})
            m_line->prompts.expect(QString::fromLatin1(title), u"Invalid response!"_s).withIcon(Prompts::Icon::Exclamation);
        QCOMPARE(modHTC::NewSetpoint(500), qint16(-1));
        QCOMPARE(modHTC::SwitchHeaterOutput(true), qint16(-1));
        QCOMPARE(modHTC::SetPID({0, 40, 10, 2}), qint16(-1));
        bool on = false;
        QVERIFY(!modHTC::SwitchOffQuietly(&on));
        QCOMPARE(blocksWritten(), 0);
    }

    void whatTheFurnaceDidNotTakeIsNamed()
    {
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, replyOf(block(300)));
        QCOMPARE(modHTC::SetPID({0, 40, 8, 2}), qint16(0));
        QVERIFY(!modHTC::ReadBack());
        QCOMPARE(notices(), QStringList{u"The high-temperature controller has not taken P 40 (it says 71)."_s});
        m_line->noticed = notices();
        m_line->device.answer(dataQuery, replyOf(block(300, 40)));
        QCOMPARE(modHTC::SetPID({0, 40, 8, 2}), qint16(0));
        QVERIFY(modHTC::ReadBack());
        QCOMPARE(notices(), QStringList());
    }

    void theHeaterEntrySaysWhatTheFurnaceSays()
    {
        flags().htcEnabled = true;
        m_line->device.answer(dataQuery, replyOf(block(300, 71, 1)));
        modHTC::mnuHTCHeaterOutput();
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuHTCHeaterOutput), u"Heater &Output (is ON)"_s);
        QCOMPARE(notices(), QStringList{u"The high-temperature controller has not taken heater output off (it says on)."_s});
        m_line->noticed = notices();
        QCOMPARE(instrument().controllers[u"HTC"_s].output.value, std::optional(true));
    }

    void whatMustNotGoOutIsRefused_data()
    {
        QTest::addColumn<double>("factor");
        QTest::addColumn<double>("ramp");
        QTest::addColumn<QString>("why");
        QTest::newRow("above TMax") << 2.0 << 0.0 << u"The calibrated setpoint of 1600 °C lies outside 0 °C ... 1500 °C!"_s;
        QTest::newRow("below 0") << -0.1 << 0.0 << u"The calibrated setpoint of -80 °C lies outside 0 °C ... 1500 °C!"_s;
        QTest::newRow("0.4 K/min") << 1.0 << 0.4 << u"The ramp rate of the furnace is a whole number of K/min.!"_s;
        QTest::newRow("1.5 K/min") << 1.0 << 1.5 << u"The ramp rate of the furnace is a whole number of K/min.!"_s;
    }
    void whatMustNotGoOutIsRefused()
    {
        QFETCH(double, factor);
        QFETCH(double, ramp);
        QFETCH(QString, why);
        flags().htcEnabled = true;
        configuration().htc.calibration = true;
        configuration().htc.calibrationFactor = factor;
        m_line->device.answer(dataQuery, replyOf(block(300)));
        m_line->prompts.expect(u"New setpoint"_s, why).withIcon(Prompts::Icon::Exclamation);
        QCOMPARE(modHTC::NewSetpointWithPID(800, ramp), qint16(-1));
        if (ramp == 0) {
            m_line->prompts.expect(u"New setpoint"_s, why).withIcon(Prompts::Icon::Exclamation);
            QCOMPARE(modHTC::NewSetpoint(800), qint16(-1));
        }
        QVERIFY(m_line->device.written().isEmpty());
    }

    // --- laser

    void theBeamIsAskedAfterItWasSwitched_data()
    {
        QTest::addColumn<QByteArray>("acknowledged");
        QTest::addColumn<QByteArray>("asked");
        QTest::addColumn<int>("known"); // -1: unknown
        QTest::addColumn<int>("questions");
        QTest::newRow("on") << QByteArray(":ok\r\n") << QByteArray(":1\r\n") << 1 << 1;
        QTest::newRow("acknowledged, but off") << QByteArray(":ok\r\n") << QByteArray(":0\r\n") << 0 << 1;
        QTest::newRow("garbled, on") << QByteArray("\xfe\xfe\r\n") << QByteArray(":1\r\n") << 1 << 1;
        QTest::newRow("garbled twice") << QByteArray("\xfe\xfe\r\n") << QByteArray("\xfe\r\n") << -1 << 2;
        QTest::newRow("no state") << QByteArray(":ok\r\n") << QByteArray(":7\r\n") << -1 << 2;
        QTest::newRow("silent") << QByteArray() << QByteArray() << -1 << 1;
    }
    void theBeamIsAskedAfterItWasSwitched()
    {
        QFETCH(QByteArray, acknowledged);
        QFETCH(QByteArray, asked);
        QFETCH(int, known);
        QFETCH(int, questions);
        flags().laserEnabled = true;
        if (!acknowledged.isEmpty()) {
            m_line->device.answer(":w 12 1\r", acknowledged);
            m_line->device.answer(":r 12\r", asked);
        }
        modHTC_Laser::mnuLaserBeam();
        QCOMPARE(m_line->device.writes(), QList<QByteArray>{":w 12 1\r"} + QList<QByteArray>(questions, ":r 12\r"));
        const Known<bool> output = instrument().controllers.value(u"Laser"_s).output;
        QCOMPARE(output.value, known < 0 ? std::nullopt : std::optional(known == 1));
        QCOMPARE(notices().size(), known == 1 ? 0 : 1);
        m_line->noticed = notices();
    }
};

QTEST_GUILESS_MAIN(TestReadback)
#include "tst_readback.moc"
