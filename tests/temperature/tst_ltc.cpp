// SPDX-License-Identifier: GPL-3.0-or-later

#include "serial/Exchange.h"
#include "temperature/TemperatureLine.h"
#include "temperature/modLTC_RPID.h"

#include <QTest>

#include <functional>
#include <memory>

using namespace Qt::StringLiterals;
using namespace modLTC;

class TestLtc : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TemperatureLine> m_line;

    void use(int model)
    {
        configuration().ltc.modelCode = model;
        m_line->device.forget();
    }

    /// Every line that ends with CR LF and holds a "?" is answered with the same reply.
    void answerQuestions(const QByteArray& reply)
    {
        m_line->device.clearRules();
        m_line->device.answerBy([reply](const QByteArray& written) {
            return written.endsWith("\r\n") && written.contains('?') ? QList<ScriptedDevice::Chunk>{{reply}}
                                                                     : QList<ScriptedDevice::Chunk>();
        });
    }

    /// A 331 that says what setpoint it was sent last.
    void keepSetpoint(const QByteArray& first)
    {
        m_line->device.answerBy([setpoint = first](const QByteArray& written) mutable {
            if (const qsizetype at = written.lastIndexOf("SETP 1, "); at >= 0)
                setpoint = written.mid(at + 8).split('\r').constFirst();
            return written.endsWith("SETP? 1\r\n") ? QList<ScriptedDevice::Chunk>{{setpoint + "\r\n"}} : QList<ScriptedDevice::Chunk>();
        });
    }

    QByteArray sent() const { return m_line->device.written(); }

private slots:
    void init()
    {
        m_line = std::make_unique<TemperatureLine>(u"9600,o,7,1"_s, 0.5F, 1.5F, 3);
        configuration().ltc.ls331DefaultPID = u"300=R3P300I50D0"_s;
        flags().ltcEnabled = true;
        use(LakeShore331);
    }

    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        m_line.reset();
    }

    // --- channel

    void aCommandIsFramedByTheDelays()
    {
        const quint64 before = m_line->clock.elapsed();
        LTCOutput(u"KRDG?"_s);
        QCOMPARE(sent(), QByteArray("KRDG?\r\n"));
        QVERIFY(m_line->clock.elapsed() - before >= 1000 && m_line->clock.elapsed() - before < 1100);
        QVERIFY(!Exchange::underWay(modCOM::TCComm()));
    }

    void withoutDelayNothingIsWaited_data()
    {
        QTest::addColumn<float>("delay");
        QTest::newRow("zero") << 0.0F;
        QTest::newRow("negative") << -1.0F;
    }

    void withoutDelayNothingIsWaited()
    {
        QFETCH(float, delay);
        configuration().ltc.line.txDelay = delay;
        const quint64 before = m_line->clock.elapsed();
        LTCOutput(u"KRDG?"_s);
        QVERIFY(m_line->clock.elapsed() - before <= 2);
    }

    void aReplyInPiecesIsReturnedWhole()
    {
        configuration().ltc.line.rxDelay = 0.2F;
        m_line->device.answer("KRDG?\r\n", QList<ScriptedDevice::Chunk>{{"+07", 600}, {"7.3", 150}, {"5\r\n", 150}});
        QString text = u"KRDG?"_s;
        QCOMPARE(LTCQuery(text), qint16(0));
        QCOMPARE(text, u"+077.35"_s);
    }

    void aReplyThatComesDuringTheSecondWaitIsKept()
    {
        m_line->device.answer("KRDG?\r\n", QList<ScriptedDevice::Chunk>{{"+077.35\r\n", 100}});
        QString text = u"KRDG?"_s;
        QCOMPARE(LTCQuery(text), qint16(0));
        QCOMPARE(text, u"+077.35"_s);
    }

    void aSilentControllerFailsAfterTheTimeOut()
    {
        QString text = u"KRDG?"_s;
        const quint64 before = m_line->clock.elapsed();
        QCOMPARE(LTCQuery(text), qint16(-1));
        QCOMPARE(text, u"KRDG?"_s);
        QVERIFY(m_line->clock.elapsed() - before >= 2500 && m_line->clock.elapsed() - before < 2700);
        QVERIFY(!modTC::state().timedOut);
    }

    void aReplyThatNeverStopsGrowingEndsWithTheTimeOut()
    {
        QList<ScriptedDevice::Chunk> chunks;
        for (int i = 0; i < 2000; ++i)
            chunks += {"x", 10};
        m_line->device.answer("KRDG?\r\n", chunks);
        QString text = u"KRDG?"_s;
        QCOMPARE(LTCQuery(text), qint16(-1));
    }

    void aLineEndAloneIsAnEmptyReply()
    {
        answerQuestions("\r\n");
        QString text = u"KRDG?"_s;
        QCOMPARE(LTCQuery(text), qint16(0));
        QCOMPARE(text, QString());
        use(DRC91CA);
        m_line->device.answer("WS\r\n", QByteArray("\r\n"));
        text = u"WS"_s;
        QCOMPARE(LTCQuery(text), qint16(-1));
        QCOMPARE(text, u"WS"_s);
    }

    void aDisabledControllerGetsNothing()
    {
        flags().ltcEnabled = false;
        LTCOutput(u"KRDG?"_s);
        float temperature = 0;
        QCOMPARE(LTCGetTemperature(temperature), qint16(-1));
        QCOMPARE(temperature, -1.0F);
        QCOMPARE(sent(), QByteArray());
    }

    void trafficIsLogged()
    {
        flags().log = true;
        m_line->device.answer("KRDG?\r\n", QByteArray("1.5\r\n"));
        QString text = u"KRDG?"_s;
        LTCQuery(text);
        QFile log(m_line->directory.filePath(u"app.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray lines = log.readAll();
        QVERIFY(lines.startsWith("LTCQuery(KRDG?)\r\nLTCOutput(KRDG?)\r\n"));
        QVERIFY(lines.contains("LTCGetResponse()\r\n"));
        QVERIFY(lines.contains("LTCGetResponse()=1.5\r\n"));
    }

    void strayInputIsShownWithTheCommunicationDisplay()
    {
        flags().showCommunication = true;
        m_line->device.send("left over");
        m_line->clock.advance(5);
        QCoreApplication::processEvents();
        m_line->prompts.expect(u"LTC"_s, u"left over"_s).withBeep();
        m_line->device.answer("KRDG?\r\n", QByteArray("1.5\r\n"));
        QString text = u"KRDG?"_s;
        LTCQuery(text);
        QCOMPARE(text, u"1.5"_s);
        QCOMPARE(frontPanel().panel(3), u"LTC response: 1.5"_s);
    }

    // --- operations, exact bytes per model

    void commands_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QString>("operation");
        QTest::addColumn<QByteArray>("bytes");
        const QByteArray units = "SCHN A;SCHN?\r\nSUNI K;SUNI?\r\nCCHN A;CCHN?\r\nCUNI K;CUNI?\r\n";
        for (const int model : {int(LakeShore330), int(LakeShore331As330)}) {
            const bool emulated = model == LakeShore331As330;
            const auto row = [&](const char* operation) -> QTestData& {
                return QTest::newRow(qPrintable(QString::number(model) + u" "_s + QString::fromLatin1(operation)))
                       << model << QString::fromLatin1(operation);
            };
            row("init") << QByteArray("*RST\r\n") + (emulated ? "EMUL 1\r\n" : "") + units;
            row("temperature") << QByteArray("SDAT?\r\n");
            row("setpoint") << QByteArray("SETP?\r\n");
            row("set") << QByteArray("SETP 77.35\r\n");
            row("status") << QByteArray("GAIN?\r\nRSET?\r\nRATE?\r\nRANG?\r\nHEAT?\r\n");
            row("pid") << QByteArray("GAIN 40;GAIN?\r\nRSET 1.5;RSET?\r\nRATE 0;RATE?\r\n");
            row("range") << QByteArray("RANG 2;RANG?\r\n");
            row("ramp") << QByteArray("RAMP 1\r\nRAMPR 2.5\r\n");
            row("no ramp") << QByteArray("RAMP 0\r\n");
            row("tune") << QByteArray("TUNE?\r\n");
            row("set tune") << QByteArray("TUNE 1;TUNE?\r\n");
            row("default") << QByteArray("*RST\r\n") + (emulated ? "EMUL 1\r\n" : "") + units + "RANG 0;RANG?\r\nTUNE 0;TUNE?\r\n";
        }
        const auto row331 = [](const char* operation) -> QTestData& {
            return QTest::newRow(qPrintable(u"331 "_s + QString::fromLatin1(operation)))
                   << int(LakeShore331) << QString::fromLatin1(operation);
        };
        row331("init") << QByteArray("*RST\r\n");
        row331("temperature") << QByteArray("KRDG?\r\n");
        row331("setpoint") << QByteArray("SETP? 1\r\n");
        row331("set") << QByteArray("SETP 1, 77.35\r\n");
        row331("status") << QByteArray("PID? 1\r\nRANGE?\r\nHTR?\r\n");
        row331("pid") << QByteArray("PID 1, 40, 1.5, 0\r\n");
        row331("range") << QByteArray("RANGE 2\r\n");
        row331("ramp") << QByteArray("RAMP 1,1,2.5\r\n");
        row331("no ramp") << QByteArray("RAMP 1,0,0\r\n");
        row331("tune") << QByteArray("TUNEST?\r\n");
        row331("set tune") << QByteArray();
        row331("default") << QByteArray("*RST\r\nRANGE 0\r\n");
        for (const int model : {int(DRC91CA), int(DRC81C)}) {
            const auto row = [&](const char* operation) -> QTestData& {
                return QTest::newRow(qPrintable(QString::number(model) + u" "_s + QString::fromLatin1(operation)))
                       << model << QString::fromLatin1(operation);
            };
            row("init") << QByteArray("C\r\n");
            row("temperature") << QByteArray("WS\r\n");
            row("setpoint") << QByteArray("WP\r\n");
            row("set") << QByteArray("S77.35\r\n");
            row("status") << QByteArray(model == DRC91CA ? "W3\r\n" : "W1\r\n");
            row("pid") << QByteArray("P40\r\nI1.5\r\nD0\r\n");
            row("range") << QByteArray("R2\r\n");
            row("ramp") << QByteArray();
            row("no ramp") << QByteArray();
            row("tune") << QByteArray();
            row("set tune") << QByteArray();
            row("default") << QByteArray("C\r\nR0\r\n");
        }
    }

    void commands()
    {
        QFETCH(int, model);
        QFETCH(QString, operation);
        QFETCH(QByteArray, bytes);
        use(model);
        answerQuestions("1\r\n");
        const bool is91 = model == DRC91CA;
        for (const QByteArray& question : {QByteArray("WS\r\n"), QByteArray("WP\r\n")})
            m_line->device.answer(question, QByteArray("77.35K\r\n"));
        m_line->device.answer(is91 ? "W3\r\n" : "W1\r\n", QByteArray(is91 ? "1,2,3,4,5\r\n" : "1,2,3,4,5,6,7\r\n"));
        float number = 0;
        qint16 tune = 0;
        Parameters parameters;
        const QHash<QString, std::function<void()>> operations = {
            {u"init"_s, [] { LTCInit(); }},
            {u"temperature"_s, [&] { LTCGetTemperature(number); }},
            {u"setpoint"_s, [&] { LTCGetSetpoint(number); }},
            {u"set"_s, [] { LTCNewSetpoint(77.35F); }},
            {u"status"_s, [&] { LTCGetStatus(parameters); }},
            {u"pid"_s, [] { LTCSetPID(40, 1.5F, 0); }},
            {u"range"_s, [] { LTCSetRange(2); }},
            {u"ramp"_s, [] { LTCSetRamp(2.5F); }},
            {u"no ramp"_s, [] { LTCSetRamp(0); }},
            {u"tune"_s, [&] { LTCGetTuneStatus(tune); }},
            {u"set tune"_s, [] { LTCSetTuneStatus(1); }},
            {u"default"_s, [] { LTCDefault(); }},
        };
        operations.value(operation)();
        QCOMPARE(sent(), bytes);
    }

    void statusRecords_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("record");
        QTest::addColumn<QString>("values");
        QTest::addColumn<QString>("box");
        QTest::newRow("91CA: P, D, I, range, power") << int(DRC91CA) << QByteArray("40,15,10,4,55\r\n") << u"40 10 15 4 55"_s << QString();
        QTest::newRow("81C: three skipped, no power")
            << int(DRC81C) << QByteArray("1,2,3,40,15,10,4\r\n") << u"40 10 15 4 -1"_s << QString();
        QTest::newRow("91CA with three fields")
            << int(DRC91CA) << QByteArray("40,15,10\r\n") << u"-1 -1 -1 -1 -1"_s << u"Unexpected DRC91 Response: 40,15,10\r\n"_s;
        QTest::newRow("81C with five fields") << int(DRC81C) << QByteArray("1,2,3,4,5\r\n") << u"-1 -1 -1 -1 -1"_s
                                              << u"Unexpected DRC81 Response: 1,2,3,4,5\r\n"_s;
        QTest::newRow("silent") << int(DRC81C) << QByteArray() << u"-1 -1 -1 -1 -1"_s << QString();
    }

    void statusRecords()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, record);
        QFETCH(QString, values);
        QFETCH(QString, box);
        use(model);
        if (!record.isEmpty())
            m_line->device.answer(model == DRC91CA ? "W3\r\n" : "W1\r\n", record);
        if (!box.isEmpty())
            m_line->prompts.expect(u"LTC"_s, box).withIcon(Prompts::Icon::Critical);
        Parameters p;
        QCOMPARE(LTCGetStatus(p), values.startsWith(u'-') ? qint16(-1) : qint16(0));
        QCOMPARE(u"%1 %2 %3 %4 %5"_s.arg(p.p).arg(p.i).arg(p.d).arg(p.range).arg(p.power), values);
    }

    void statusOfThe331()
    {
        m_line->device.answer("PID? 1\r\n", QByteArray("+0050.0,+0020.5,+0000\r\n"));
        m_line->device.answer("RANGE?\r\n", QByteArray("3\r\n"));
        m_line->device.answer("HTR?\r\n", QByteArray("+045.6\r\n"));
        Parameters p;
        QCOMPARE(LTCGetStatus(p), qint16(0));
        QCOMPARE(u"%1 %2 %3 %4 %5"_s.arg(p.p).arg(p.i).arg(p.d).arg(p.range).arg(p.power), u"50 20.5 0 3 46"_s);
    }

    void aDisabledControllerHasFixedValues()
    {
        flags().ltcEnabled = false;
        Parameters p;
        QCOMPARE(LTCGetStatus(p), qint16(0));
        QCOMPARE(u"%1 %2 %3 %4 %5"_s.arg(p.p).arg(p.i).arg(p.d).arg(p.range).arg(p.power), u"11 22 33 3 55"_s);
        QCOMPARE(sent(), QByteArray());
    }

    void repliesAreReadLeniently_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<float>("value");
        QTest::newRow("signed") << QByteArray("+234.50\r\n") << 234.5F;
        QTest::newRow("last digit missing") << QByteArray("+234.5\r\n") << 234.5F;
        QTest::newRow("with unit") << QByteArray("77.35K\r\n") << 77.35F;
        QTest::newRow("garbage") << QByteArray("\xff\xfe\xfd\r\n") << 0.0F;
    }

    void repliesAreReadLeniently()
    {
        QFETCH(QByteArray, reply);
        QFETCH(float, value);
        answerQuestions(reply);
        float temperature = -1;
        QCOMPARE(LTCGetTemperature(temperature), qint16(0));
        QCOMPARE(temperature, value);
        QCOMPARE(frontPanel().panel(3), u"Current temperature query..."_s);
    }

    // --- presence

    void presence_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("question");
        QTest::addColumn<QByteArray>("reply");
        QTest::addColumn<bool>("present");
        QTest::newRow("330") << int(LakeShore330) << QByteArray("*IDN?\r\n") << QByteArray("LSCI,MODEL330,0,0\r\n") << true;
        QTest::newRow("331") << int(LakeShore331) << QByteArray("*IDN?\r\n") << QByteArray("anything\r\n") << true;
        QTest::newRow("91CA two commas") << int(DRC91CA) << QByteArray("W3\r\n") << QByteArray("1,2,3\r\n") << true;
        QTest::newRow("91CA four commas") << int(DRC91CA) << QByteArray("W3\r\n") << QByteArray("1,2,3,4,5\r\n") << false;
        QTest::newRow("81C two commas") << int(DRC81C) << QByteArray("W1\r\n") << QByteArray("1,2,3\r\n") << true;
        QTest::newRow("81C six commas") << int(DRC81C) << QByteArray("W1\r\n") << QByteArray("1,2,3,4,5,6,7\r\n") << true;
        QTest::newRow("81C three commas") << int(DRC81C) << QByteArray("W1\r\n") << QByteArray("1,2,3,4\r\n") << false;
    }

    void presence()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, question);
        QFETCH(QByteArray, reply);
        QFETCH(bool, present);
        use(model);
        m_line->device.answer(question, reply);
        if (!present)
            m_line->prompts.expect(u"LTC check"_s, QString(), Prompts::Button::Abort);
        QCOMPARE(LTCCheckPresence(), present ? qint16(0) : qint16(-1));
        QVERIFY(sent().startsWith(question));
        QCOMPARE(endProgramCalls(), 0);
    }

    void theCheckListNamesLineAndSettings_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QString>("name");
        QTest::newRow("330") << int(LakeShore330) << u"LakeShore 330"_s;
        QTest::newRow("emulated") << int(LakeShore331As330) << u"LakeShore 331"_s;
        QTest::newRow("331") << int(LakeShore331) << u"LakeShore 331"_s;
        QTest::newRow("91CA") << int(DRC91CA) << u"LakeShore DRC-91CA"_s;
        QTest::newRow("81C") << int(DRC81C) << u"LakeShore DRC-81C"_s;
    }

    void theCheckListNamesLineAndSettings()
    {
        QFETCH(int, model);
        QFETCH(QString, name);
        use(model);
        const QString text =
            u"Low temperature controller does not respond...\r\nPlease check the following:\r\n    - Controller "_s + name +
            u" powered ON?\r\n    - Controller connected to COM3?\r\n    - COM3 settings are 9600,o,7,1?\r\n    - Cable connection ok?"_s;
        for (const Prompts::Button answer : {Prompts::Button::Retry, Prompts::Button::Ignore})
            m_line->prompts.expect(u"LTC check"_s, text, answer)
                .withButtons(Prompts::Buttons::AbortRetryIgnore, 2)
                .withAnswers(Prompts::Button::Ignore, Prompts::Button::Ignore, Prompts::Button::Ignore);
        QCOMPARE(LTCCheckPresence(), qint16(-1));
        QCOMPARE(m_line->prompts.messages.last().unattended, Prompts::Button::Ignore);
    }

    void theTuneStateIsInTheCaption_data()
    {
        QTest::addColumn<QByteArray>("state");
        QTest::addColumn<QString>("caption");
        QTest::newRow("off") << QByteArray("0\r\n") << u"&Autotuning (is OFF)"_s;
        QTest::newRow("on") << QByteArray("3\r\n") << u"&Autotuning (is ON)"_s;
    }

    void theTuneStateIsInTheCaption()
    {
        QFETCH(QByteArray, state);
        QFETCH(QString, caption);
        use(LakeShore330);
        m_line->device.answer("*IDN?\r\n", QByteArray("LSCI,MODEL330,0,0\r\n"));
        m_line->device.answer("TUNE?\r\n", state);
        QCOMPARE(LTCCheckPresence(), qint16(0));
        QCOMPARE(frontPanel().entryCaption(Menu::Entry::mnuLTCAutoTune), caption);
    }

    // --- menu

    void autotuneIsSwitched()
    {
        use(LakeShore330);
        constexpr auto entry = Menu::Entry::mnuLTCAutoTune;
        m_line->device.answer("TUNE?\r\n", QByteArray("0\r\n"));
        m_line->device.answer("TUNE 1;TUNE?\r\n", QByteArray("1\r\n"));
        m_line->prompts
            .expect(u"PLEASE NOTE"_s,
                    u"The Autotune function does not set or change the heater range.\r\nYou have to adjust the heater settings manually."_s)
            .withIcon(Prompts::Icon::Information);
        mnuLTCAutoTune();
        QCOMPARE(frontPanel().entryCaption(entry), u"&Autotuning (is ON)"_s);
        m_line->device.answer("TUNE?\r\n", QByteArray("1\r\n"));
        m_line->device.answer("TUNE 0;TUNE?\r\n", QByteArray("0\r\n"));
        mnuLTCAutoTune();
        QCOMPARE(frontPanel().entryCaption(entry), u"&Autotuning (is OFF)"_s);
        m_line->device.clearRules();
        m_line->prompts.expect(u"LTC"_s, u"LTC did not respond..."_s).withIcon(Prompts::Icon::Exclamation);
        mnuLTCAutoTune();
    }

    void theQueryBoxShowsTheReply()
    {
        m_line->prompts.expectInput(u"LTC Query"_s, u"Enter query command:"_s, u"*IDN?"_s).withDefaultText(u"W1"_s);
        m_line->device.answer("*IDN?\r\n", QByteArray("LSCI,MODEL331S\r\n"));
        m_line->prompts.expect(u"LTC"_s, u"LSCI,MODEL331S"_s);
        mnuLTCQuery();
        m_line->prompts.expectInput(u"LTC Query"_s, u"Enter query command:"_s, QString());
        m_line->device.forget();
        mnuLTCQuery();
        QCOMPARE(sent(), QByteArray());
        m_line->device.clearRules();
        m_line->prompts.expectInput(u"LTC Query"_s, u"Enter query command:"_s, u"XX?"_s);
        m_line->prompts.expect(u"LTC"_s, u"No response..."_s);
        mnuLTCQuery();
    }

    void theTemperatureBox()
    {
        answerQuestions("+077.35\r\n");
        m_line->prompts.expect(u"LTC"_s, u"Current temperature is: 77.35 K"_s);
        mnuLTCQueryTemperature();
        QCOMPARE(sent(), QByteArray("KRDG?\r\n"));
        m_line->device.clearRules();
        m_line->prompts.expect(u"LTC"_s, u"LTC does not respond!"_s).withIcon(Prompts::Icon::Critical);
        mnuLTCQueryTemperature();
    }

    void theCommunicationDisplayAsksForDiagnosticsFirst()
    {
        flags().showCommunication = true;
        answerQuestions("+077.35\r\n");
        m_line->prompts.expect(u"LTC"_s, QString());
        mnuLTCQueryTemperature();
        QCOMPARE(sent(), QByteArray("XDA\r\nKRDG?\r\n"));
    }

    void setpoints_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QByteArray>("sent");
        QTest::newRow("8") << u"8"_s << QByteArray("SETP 1, 8\r\n");
        QTest::newRow("305") << u"305"_s << QByteArray("SETP 1, 305\r\n");
        QTest::newRow("comma and unit") << u"77,35 K"_s << QByteArray("SETP 1, 77.35\r\n");
        QTest::newRow("7.99") << u"7.99"_s << QByteArray();
        QTest::newRow("305.01") << u"305.01"_s << QByteArray();
        QTest::newRow("no number") << u"abc"_s << QByteArray();
    }

    void setpoints()
    {
        QFETCH(QString, typed);
        QFETCH(QByteArray, sent);
        configuration().ltc.tMax = 300; // the fixed range holds, not the configured one
        answerQuestions("+077.35\r\n");
        keepSetpoint("+077.35");
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, typed).withDefaultText(u"77.35 K"_s);
        if (sent.isEmpty())
            m_line->prompts.expect(u"New setpoint"_s, u"Setpoint out of range (8K ... 305K)!"_s).withIcon(Prompts::Icon::Exclamation);
        const auto taken = connect(&frontPanel(), &FrontPanel::textDisplayChanged, m_line.get(), [] {
            if (frontPanel().textDisplayOpen() && !frontPanel().textDisplayText().isEmpty())
                frontPanel().pressTextDisplayButton();
        });
        mnuLTCSetpoint();
        disconnect(taken);
        const QByteArray all = m_line->device.written();
        QVERIFY(all.startsWith("SETP? 1\r\n"));
        QCOMPARE(all.mid(9).left(sent.size()), sent);
        QCOMPARE(all.contains("SETP 1"), !sent.isEmpty());
    }

    void theSetpointWithParametersIsSentInOrder()
    {
        QFile table(m_line->directory.filePath(u"ls331.pid"_s));
        QVERIFY(table.open(QIODevice::WriteOnly));
        table.write("25=R2P25I500D0\r\n300=R3P300I50D0\r\n");
        table.close();
        answerQuestions("1\r\n");
        QCOMPARE(LTCNewSetpointWithPID(77.35F, 2.5F), qint16(0));
        QCOMPARE(sent(), QByteArray("PID 1, 300, 50, 0\r\nRAMP 1,1,2.5\r\nRANGE 3\r\nSETP 1, 77.35\r\n"));
        QCOMPARE(modLTC::state().controlParameterText, u"R3P300I50D0"_s);
    }

    void theSetpointWithParametersIsLogged()
    {
        flags().log = true;
        answerQuestions("1\r\n");
        m_line->prompts.expect(u"Attention"_s, QString());
        LTCNewSetpointWithPID(77.35F, 0);
        QVERIFY(m_line->appLog().startsWith(u"LTCNewSetpointWithPID()\r\nLTCOpenRPID()\r\n"_s));
    }

    void whatIsSaidIsLogged()
    {
        const auto lines = [this] {
            QStringList all = m_line->appLog().split(u"\r\n"_s, Qt::SkipEmptyParts);
            all.removeIf([](const QString& line) { return line.startsWith(u"Delay() - "_s); });
            return all;
        };
        const auto talk = [this] {
            answerQuestions("1,2,3\r\n");
            QCOMPARE(LTCCheckPresence(), qint16(0));
            Parameters parameters;
            QCOMPARE(LTCGetStatus(parameters), qint16(0));
        };
        talk();
        QCOMPARE(lines(), QStringList());
        flags().log = true;
        talk();
        QStringList expected{u"Checking presence of LTC..."_s, u"ClearTCCommRxBuffer()"_s, u"ClearTCCommRxBuffer(Pending Chars:)"_s};
        for (const QString& question : {u"*IDN?"_s, u"PID? 1"_s, u"RANGE?"_s, u"HTR?"_s})
            expected << u"LTCQuery("_s + question + u")"_s << u"LTCOutput("_s + question + u")"_s << u"ClearTCCommRxBuffer()"_s
                     << u"ClearTCCommRxBuffer(Pending Chars:)"_s << u"LTCGetResponse()"_s << u"LTCGetResponse()=1,2,3"_s;
        expected << u"LTCGetStatus(P:1; I:2; D:3; Range:1; Power:1)"_s;
        QCOMPARE(lines().join(u'\n'), expected.join(u'\n'));
    }

    // --- the wait

    void theWaitSaysWhatItIsDoing()
    {
        flags().log = true;
        answerQuestions("+077.35\r\n");
        modLTC::state().controlParameterText = u"R3P300I50D0"_s;
        QStringList seen;
        m_line->clock.onRound = [&seen] { seen += frontPanel().panel(3); };
        QString text;
        connect(&frontPanel(), &FrontPanel::textDisplayChanged, this, [&text] {
            if (!frontPanel().textDisplayText().isEmpty())
                text = frontPanel().textDisplayText();
        });
        QCOMPARE(LTCWaitUntilThere(77.35F), qint16(0));
        disconnect(&frontPanel(), nullptr, this, nullptr);
        m_line->clock.onRound = nullptr;
        QVERIFY(m_line->appLog().startsWith(u"LTCWaitUntilThere(77.35)\r\n"_s));
        QVERIFY2(text.startsWith(u"Control Parameter: R3P300I50D0\r\nCurrent Temperature X: 77.35 K\r\n"_s), qPrintable(text));
        QVERIFY(seen.contains(u"LTC: Waiting for steady state..."_s));
        QVERIFY(seen.contains(u"Current temperature query..."_s));
        QVERIFY(seen.lastIndexOf(u"LTC: Waiting for steady state..."_s) > seen.indexOf(u"Current temperature query..."_s));
    }

    // --- parameters by hand

    void changedParametersAreLoggedOnlyWhenTheyArrived()
    {
        flags().log = true;
        use(LakeShore330);
        m_line->prompts.expect(u"LTC"_s, u"Unable to query LTC..."_s).withIcon(Prompts::Icon::Exclamation);
        SendRPIDFromDialog({2, 40, 1.5F, 0});
        QVERIFY(!m_line->appLog().contains(u"LTC: PID parameters changed."_s));
        QCOMPARE(modLTC::state().controlParameterText, QString());
        m_line->device.forget();
        answerQuestions("1\r\n");
        SendRPIDFromDialog({2, 40, 1.5F, 0});
        QCOMPARE(sent(), QByteArray("GAIN 40;GAIN?\r\nRSET 1.5;RSET?\r\nRATE 0;RATE?\r\nRANG 2;RANG?\r\n"));
        QVERIFY(m_line->appLog().contains(u"LTC: PID parameters changed.\r\n"_s));
        QCOMPARE(modLTC::state().controlParameterText, u"R2P40I1.5D0"_s);
        m_line->device.answer("RANG?\r\n", QByteArray("0\r\n")); // off, when it is read back
        mnuLTCDefault();
        QCOMPARE(modLTC::state().controlParameterText, QString());
    }

    void withoutAFileNoParametersAreSaved()
    {
        flags().log = true;
        answerQuestions("1,2,3\r\n");
        m_line->prompts.expectSave(u"Select PID file"_s, QString());
        mnuLTCSavePID();
        QVERIFY(m_line->appLog().contains(u"About to show dialog window...\r\n"_s));
        QVERIFY(!m_line->appLog().contains(u"LTC: PID parameters saved."_s));
    }

    // --- the end of the program

    void noBoxComesWhileTheProgramCloses_data()
    {
        QTest::addColumn<int>("entry");
        int number = 0;
        for (const char* name : {"setpoint", "autotune", "temperature", "query", "dialog", "save", "send", "check"})
            QTest::newRow(name) << number++;
    }

    void noBoxComesWhileTheProgramCloses()
    {
        QFETCH(int, entry);
        use(LakeShore330);
        PIDTable::Values values;
        float setpoint = 0;
        const QList<std::function<void()>> entries = {
            [] { mnuLTCSetpoint(); },
            [] { mnuLTCAutoTune(); },
            [] { mnuLTCQueryTemperature(); },
            [] { mnuLTCQuery(); },
            [&] { QVERIFY(!ReadRPIDForDialog(&values, &setpoint)); },
            [] { mnuLTCSavePID(); },
            [] {
                SendRPIDFromDialog({2, 40, 1.5F, 0});
            },
            [] { QCOMPARE(LTCCheckPresence(), qint16(-1)); },
        };
        if (entry == 3)
            m_line->prompts.expectInput(u"LTC Query"_s, u"Enter query command:"_s, u"*IDN?"_s);
        m_line->clock.at(1200, [] { flags().closing = true; });
        entries[entry]();
        QCOMPARE(m_line->device.writes().size(), 1);
        QVERIFY(m_line->prompts.messages.isEmpty());
    }

    void theParameterPromptNamesTheFile()
    {
        answerQuestions("+077.35\r\n");
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:\r\n(We will use PID's in 'ls331.pid')"_s, QString());
        mnuLTCNewSetpointWithPID();
    }

    void aSilentControllerHasNoSetpoint()
    {
        m_line->prompts.expect(u"LTC"_s, u"LTC does not respond!"_s).withIcon(Prompts::Icon::Critical);
        mnuLTCSetpoint();
    }

    void aControllerSwitchedOffDuringTheWaitIsWaitedFor_data()
    {
        QTest::addColumn<int>("model");
        QTest::addColumn<QByteArray>("question");
        QTest::addColumn<QByteArray>("answer");
        QTest::newRow("330") << int(LakeShore330) << QByteArray("SDAT?\r\n") << QByteArray("+077.35\r\n");
        QTest::newRow("331") << int(LakeShore331) << QByteArray("KRDG?\r\n") << QByteArray("+077.350\r\n");
        QTest::newRow("DRC-91CA") << int(DRC91CA) << QByteArray("WS\r\n") << QByteArray("077.35K\r\n");
    }

    void aControllerSwitchedOffDuringTheWaitIsWaitedFor()
    {
        QFETCH(int, model);
        QFETCH(QByteArray, question);
        QFETCH(QByteArray, answer);
        use(model);
        m_line->answerWhileOn(question, answer);
        m_line->clock.at(4000, [this] { m_line->isOn = false; });
        m_line->clock.at(124000, [this] { m_line->isOn = true; });
        QCOMPARE(LTCWaitUntilThere(77.35F), qint16(0));
        QVERIFY2(m_line->clock.elapsed() > 124000 && m_line->clock.elapsed() < 140000,
                 qPrintable(QString::number(m_line->clock.elapsed())));
        QVERIFY2(m_line->unheard > 30, qPrintable(QString::number(m_line->unheard)));
    }

    void parametersAreSavedUnderTheSetpoint()
    {
        flags().log = true;
        m_line->device.answer("PID? 1\r\n", QByteArray("+0050.0,+0020.5,+0000\r\n"));
        m_line->device.answer("RANGE?\r\n", QByteArray("3\r\n"));
        m_line->device.answer("HTR?\r\n", QByteArray("+045.6\r\n"));
        m_line->device.answer("SETP? 1\r\n", QByteArray("+077.350\r\n"));
        m_line->prompts.expectSave(u"Select PID file"_s, m_line->directory.filePath(u"my.pid"_s));
        configuration().general.workDir = m_line->directory.path();
        mnuLTCSavePID();
        QFile table(m_line->directory.filePath(u"my.pid"_s));
        QVERIFY(table.open(QIODevice::ReadOnly));
        QCOMPARE(table.readAll(), QByteArray("77.35=R3P50I20.5D0\r\n"));
        m_line->device.clearRules();
        m_line->prompts.expect(u"LTC"_s, u"Unable to query LTC.\r\nSub aborted..."_s).withIcon(Prompts::Icon::Exclamation);
        mnuLTCSavePID();
        QFile log(m_line->directory.filePath(u"app.log"_s));
        QVERIFY(log.open(QIODevice::ReadOnly));
        const QByteArray lines = log.readAll();
        QVERIFY(lines.contains("About to show dialog window..."));
        QCOMPARE(lines.count("LTC: PID parameters saved."), 1);
        QVERIFY(lines.contains("; Setpoint:77.35; R:3; P:50; I:20.5; D:0)"));
    }

    void theDialogStartsFromTheControllerAndSendsItsValues()
    {
        m_line->device.answer("PID? 1\r\n", QByteArray("+0050.0,+0020.5,+0000\r\n"));
        m_line->device.answer("RANGE?\r\n", QByteArray("3\r\n"));
        m_line->device.answer("HTR?\r\n", QByteArray("+045.6\r\n"));
        m_line->device.answer("SETP? 1\r\n", QByteArray("+077.350\r\n"));
        PIDTable::Values values;
        float setpoint = 0;
        QVERIFY(ReadRPIDForDialog(&values, &setpoint));
        QCOMPARE(PIDTable::ValuesText(values, PIDTable::Kind::RPID), u"R3P50I20.5D0"_s);
        QCOMPARE(setpoint, 77.35F);
        m_line->device.forget();
        SendRPIDFromDialog({2, 25, 500, 1.5F});
        QCOMPARE(sent(), QByteArray("PID 1, 25, 500, 1.5\r\nRANGE 2\r\n"));
        m_line->device.clearRules();
        m_line->prompts.expect(u"LTC"_s, u"Unable to query LTC..."_s).withIcon(Prompts::Icon::Exclamation);
        QVERIFY(!ReadRPIDForDialog(&values, &setpoint));
    }

    void aLineThatIsDownAnswersAtOnce()
    {
        m_line->device.hangUp();
        m_line->prompts.expect(QString(), QString());
        m_line->clock.advance(10);
        QCoreApplication::processEvents();
        configuration().ltc.line.txDelay = 0;
        const quint64 before = m_line->clock.elapsed();
        float temperature = 0;
        QCOMPARE(LTCGetTemperature(temperature), qint16(-1));
        QVERIFY(m_line->clock.elapsed() - before < 100);
    }
};

QTEST_GUILESS_MAIN(TestLtc)
#include "tst_ltc.moc"
