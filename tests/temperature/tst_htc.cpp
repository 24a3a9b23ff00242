// SPDX-License-Identifier: GPL-3.0-or-later

#include "temperature/TemperatureLine.h"
#include "temperature/modHTC_PID.h"

#include <QTest>

#include <memory>

using namespace Qt::StringLiterals;
using namespace modHTC;

namespace {
constexpr char dataQuery[] = "R001NT?\r\n";
constexpr char valueQuery[] = "R001NF?\r\n";
const QString cannotQuery = u"Unable to query HTC.\r\nFunction aborted..."_s;

// A payload whose every position can be told from the others, with letters where the program has values.
QString payloadWith(quint16 setpoint, quint16 heater, quint16 selfOptimising = 0)
{
    return Pack(640) + Pack(setpoint) + Pack(71) + Pack(8) + Pack(2) + Pack(heater) + Pack(10) + Pack(1400) + Pack(5) +
           Pack(selfOptimising) + u"abcdefghijklmno"_s + u"XYZ"_s + u"uvwxyz"_s + QString(38, u'-');
}

QByteArray replyOf(const QString& payload)
{
    return ("A001NT HTC 5218  " + payload + "ABCDQ\r\n").toLatin1();
}

// Checksum worked out by hand, not by the program's own procedure.
QByteArray frameOf(const QByteArray& block)
{
    unsigned sum = 0;
    for (const char character : block)
        sum += static_cast<unsigned char>(character);
    return "S001  T " + block + QByteArray::number(sum & 0xFFFFU, 16).toUpper().rightJustified(4, '0') + "Q\r\n";
}
} // namespace

class TestHtc : public QObject
{
    Q_OBJECT

private:
    std::unique_ptr<TemperatureLine> m_line;

    QString heaterCaption() const { return frontPanel().entryCaption(Menu::Entry::mnuHTCHeaterOutput); }

    void writeTable(const QByteArray& text)
    {
        QFile file(PIDFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text);
    }

    /// The last frame that was written, whatever was asked after it.
    QByteArray lastWrite() const
    {
        QByteArray last;
        for (const QByteArray& line : m_line->device.writes())
            if (line.startsWith("S001"))
                last = line;
        return last;
    }
    /// A controller that takes what is written into its data block and says so.
    void obey(const QString& payload)
    {
        const auto block = std::make_shared<QByteArray>(payload.toLatin1());
        m_line->device.answerBy([block](const QByteArray& written) {
            const qsizetype at = written.lastIndexOf("S001  T ");
            if (at >= 0 && written.size() >= at + 62)
                block->replace(0, 54, written.mid(at + 8, 54));
            return written.endsWith(dataQuery) ? QList<ScriptedDevice::Chunk>{{replyOf(QString::fromLatin1(*block))}}
                                               : QList<ScriptedDevice::Chunk>();
        });
    }

private slots:
    void init()
    {
        m_line = std::make_unique<TemperatureLine>(u"9600,n,8,1"_s, 0.1F, 1.5F, 3);
        configuration().htc.pidFile = u"htc.pid"_s;
        configuration().htc.defaultPID = u"900=P71I8D2"_s;
        flags().htcEnabled = true;
        flags().log = true;
    }

    void cleanup()
    {
        QVERIFY(m_line->prompts.allShown());
        m_line.reset();
    }

    // --- packing

    void everyValueSurvivesPacking()
    {
        for (quint32 value = 0; value <= 65535; ++value) {
            const QString packed = Pack(static_cast<quint16>(value));
            if (packed.size() != 3 || Unpack(packed, 1) != value)
                QFAIL(QByteArray::number(value).constData());
            for (const QChar character : packed)
                if (character.unicode() < 32 || character.unicode() > 95)
                    QFAIL(QByteArray::number(value).constData());
        }
    }

    void theSplitIsSixSixFour()
    {
        QCOMPARE(Pack(0), u"   "_s);
        QCOMPARE(Pack(1025), QString(QChar(33)) + QChar(32) + QChar(33));
        QCOMPARE(Pack(16), u" ! "_s);
        QCOMPARE(Pack(15), u"  /"_s);
        QCOMPARE(Pack(65535), u"__/"_s);
        QCOMPARE(Unpack(u"xx__/"_s, 3), quint16(65535));
        QCOMPARE(Unpack(u"__"_s, 1), quint16(0));
        QCOMPARE(UnpackCharacter(u"ab%"_s, 3), quint16(5));
        QCOMPARE(UnpackCharacter(u"ab%"_s, 4), quint16(0));
    }

    void theChecksumHasFourDigits()
    {
        QCOMPARE(Checksum(u"\u007f\u0080"_s), u"00FF"_s); // 127 + 128
        QCOMPARE(Checksum(QString(54, u' ')), u"06C0"_s);
        QCOMPARE(Checksum(QString()), u"0000"_s);
        QCOMPARE(Checksum(QString(700, u'_')), u"03C4"_s); // 66500 goes round at 65536
    }

    // --- query

    void aReplyIsExactly116Characters_data()
    {
        QTest::addColumn<int>("more");
        QTest::newRow("115") << -1;
        QTest::newRow("116") << 0;
        QTest::newRow("117") << 1;
    }

    void aReplyIsExactly116Characters()
    {
        QFETCH(int, more);
        const QString payload = payloadWith(300, 0);
        QByteArray reply = replyOf(payload);
        QCOMPARE(reply.size(), 116);
        m_line->device.answer(dataQuery, more < 0 ? reply.chopped(1) : more > 0 ? reply + ' ' : reply);
        const QString answer = HTCQuery(u"T"_s);
        QCOMPARE(answer, more == 0 ? payload : u"Invalid response!"_s);
        QCOMPARE(IsPayload(answer), more == 0);
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery));
        QVERIFY(m_line->appLog().contains(u"HTCOutput(R001NT?<cr><lf>)"_s));
        QVERIFY(m_line->appLog().contains(u"HTCQuery - Response: A001NT HTC 5218"_s));
    }

    void theChecksumOfAReplyIsNotLookedAt()
    {
        const QString payload = payloadWith(300, 0);
        for (const QByteArray& sum : {frameOf(payload.toLatin1()).mid(8 + 92, 4), QByteArray("0000"), QByteArray("zzzz")}) {
            m_line->device.clearRules();
            m_line->device.answer(dataQuery, "A001NT HTC 5218  " + payload.toLatin1() + sum + "Q\r\n");
            QCOMPARE(HTCQuery(u"T"_s), payload);
        }
    }

    void aReplyInPiecesIsTakenWhole()
    {
        const QByteArray reply = replyOf(payloadWith(300, 0));
        configuration().ltc.line.rxDelay = 0.1F;
        m_line->device.answer(valueQuery,
                              QList<ScriptedDevice::Chunk>{{reply.left(20), 150}, {reply.mid(20, 60), 90}, {reply.mid(80), 90}});
        QVERIFY(IsPayload(HTCQuery(u"F"_s)));
    }

    void theIdleAnswerIsNoBlock()
    {
        for (const QByteArray& idle : {QByteArray(16, '@'), QByteArray(116, ' '), QByteArray("\xff")}) {
            m_line->device.clearRules();
            m_line->device.answer(dataQuery, idle);
            QCOMPARE(HTCQuery(u"T"_s), u"Not active!"_s);
            QVERIFY(!modTC::state().timedOut);
        }
    }

    void silenceIsLoggedAndEndsInTime()
    {
        const quint64 before = m_line->clock.elapsed();
        QCOMPARE(HTCQuery(u"F"_s), u"Not active!"_s);
        QVERIFY(m_line->clock.elapsed() - before >= 1600 && m_line->clock.elapsed() - before < 1900);
        QCOMPARE(m_line->appLog().count(u"HTCQuery - Timeout occurred!"_s), 1);
        QVERIFY(!modTC::state().timedOut);
    }

    void theQueryIsShownWithTheCommunicationDisplay()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(1, 0)));
        m_line->device.answer(valueQuery, replyOf(payloadWith(1, 0)));
        HTCQuery(u"T"_s);
        QVERIFY(!m_line->shown.contains(u"HTC 5218: Data block query"_s));
        flags().showCommunication = true;
        HTCQuery(u"T"_s);
        QVERIFY(m_line->shown.contains(u"HTC 5218: Data block query"_s));
        HTCQuery(u"F"_s);
        QVERIFY(m_line->shown.contains(u"HTC 5218: Value block query"_s));
    }

    void anAcknowledgedWriteIsNotReportedAtTheNextLine()
    {
        flags().showCommunication = true;
        m_line->device.answerBy([](const QByteArray& written) {
            return written.startsWith("S001") && written.endsWith("Q\r\n") ? QList<ScriptedDevice::Chunk>{{"A001T OK\r\n", 150}}
                                                                           : QList<ScriptedDevice::Chunk>();
        });
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        QCOMPARE(NewSetpoint(500), qint16(0));
        QCOMPARE(NewSetpoint(600), qint16(0));
        QVERIFY(m_line->prompts.messages.isEmpty());
    }

    void noBoxComesWhileTheProgramCloses_data()
    {
        QTest::addColumn<int>("entry");
        for (const char* name : {"check", "setpoint", "heater", "temperature"})
            QTest::newRow(name) << static_cast<int>(QByteArray(name)[0]);
    }

    void noBoxComesWhileTheProgramCloses()
    {
        QFETCH(int, entry);
        m_line->clock.at(500, [] { flags().closing = true; });
        qint16 status = -1;
        if (entry == 'c')
            status = HTCCheckPresence();
        else if (entry == 's')
            status = NewSetpoint(300);
        else if (entry == 'h')
            status = SwitchHeaterOutput(true);
        else
            mnuHTCQueryTemperature();
        QCOMPARE(status, qint16(-1));
        QCOMPARE(m_line->device.writes().size(), 1);
        QVERIFY(!m_line->appLog().contains(u"Timeout occurred!"_s));
        QVERIFY(!m_line->appLog().contains(u"2nd time"_s));
    }

    // --- setpoint

    void theSetpointGoesIntoItsPlaceAndNothingElseChanges()
    {
        const QString payload = payloadWith(300, 1);
        m_line->device.answer(dataQuery, replyOf(payload));
        QCOMPARE(NewSetpoint(1025), qint16(0));
        QByteArray block = payload.left(54).toLatin1();
        QCOMPARE(block.mid(45, 3), QByteArray("XYZ"));
        block.replace(3, 3, "! !");
        block.replace(45, 3, "   ");
        QCOMPARE(m_line->device.writes(), (QList<QByteArray>{dataQuery, frameOf(block)}));
        QCOMPARE(lastWrite().size(), 8 + 54 + 4 + 1 + 2);
        QVERIFY(lastWrite().contains("uvwxyz"));
        QVERIFY(m_line->appLog().contains(u"NewSetpoint(1025°C)"_s));
        QVERIFY(m_line->shown.contains(u"Setting new temperature set point: 1025°C"_s));
        QVERIFY(m_line->shown.contains(u"HTC 5218: "_s + payload));
        QVERIFY(!m_line->appLog().contains(u"Calibrated"_s));
    }

    void theChecksumOfALowBlockIsPadded()
    {
        m_line->device.answer(dataQuery, ("A001NT HTC 5218  " + QString(92, u' ') + "ABCDQ\r\n").toLatin1());
        QCOMPARE(NewSetpoint(0), qint16(0));
        QCOMPARE(lastWrite(), "S001  T " + QByteArray(54, ' ') + "06C0Q\r\n");
    }

    void theCalibrationIsAppliedAndLogged()
    {
        configuration().htc.calibration = true;
        configuration().htc.calibrationOffset = -4;
        configuration().htc.calibrationFactor = 1.01;
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        QCOMPARE(NewSetpoint(600), qint16(0));
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), Setpoint), quint16(602));
        QVERIFY(m_line->appLog().contains(u"Setpoint: 600"_s));
        QVERIFY(m_line->appLog().contains(u"Calibrated Setpoint: 602"_s));
    }

    void aSetpointWithoutABlockIsAbandoned_data()
    {
        QTest::addColumn<QByteArray>("reply");
        QTest::newRow("idle") << QByteArray(116, '@');
        QTest::newRow("short") << QByteArray("A001NT");
    }

    void aSetpointWithoutABlockIsAbandoned()
    {
        QFETCH(QByteArray, reply);
        m_line->device.answer(dataQuery, reply);
        m_line->prompts.expect(u"NewSetpoint - HTCQuery"_s, cannotQuery);
        QCOMPARE(NewSetpoint(300), qint16(-1));
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery));
    }

    void thePauseBeforeTheBlockIsSentIsKept()
    {
        configuration().ltc.line.txDelay = 2.0F;
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        const quint64 before = m_line->clock.elapsed();
        QCOMPARE(NewSetpoint(300), qint16(0));
        QVERIFY(m_line->clock.elapsed() - before >= 10000); // two lines with a pause before and after each, and one between
    }

    // --- blocks

    void theDataBlockIsUnpacked()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(900, 1, 1)));
        DataBlock block;
        QCOMPARE(GetDataBlock(&block), qint16(0));
        QCOMPARE(block.setpoint, quint16(900));
        QCOMPARE(block.p, 71.0F);
        QCOMPARE(block.i, 8.0F);
        QCOMPARE(block.d, 2.0F);
        QVERIFY(block.heaterOutput);
        QCOMPARE(block.lowerLimit, quint16(10));
        QCOMPARE(block.upperLimit, quint16(1400));
        QCOMPARE(block.ramp, quint16(5));
        QCOMPARE(block.selfOptimising, quint16(1));
    }

    void theValueBlockIsUnpacked()
    {
        QString payload = Pack(1234) + QString(89, u' ');
        payload[60] = QChar(32 + 45);
        payload[64] = QChar(32 + 2);
        m_line->device.answer(valueQuery, replyOf(payload));
        ValueBlock block;
        QCOMPARE(GetValueBlock(&block), qint16(0));
        QCOMPARE(block.temperature, quint16(1234));
        QCOMPARE(block.output, quint16(45));
        QCOMPARE(block.status, quint16(2));
        QCOMPARE(GetTemperature(), 1234.0F);
        m_line->device.clearRules();
        QCOMPARE(GetTemperature(), -1.0F);
        m_line->prompts.expect(u"GetValueBlock - HTCQuery"_s, cannotQuery);
        QCOMPARE(GetValueBlock(&block), qint16(-1));
    }

    void aDisabledControllerGivesValuesForTheDialogs()
    {
        flags().htcEnabled = false;
        DataBlock block;
        QCOMPARE(GetDataBlock(&block), qint16(0));
        QCOMPARE(block.p, 77.0F);
        QCOMPARE(block.i, 88.0F);
        QCOMPARE(block.d, 99.0F);
        QCOMPARE(block.lowerLimit, quint16(123));
        QCOMPARE(block.upperLimit, quint16(1));
        QCOMPARE(block.ramp, quint16(111));
        QCOMPARE(block.selfOptimising, quint16(999));
        QVERIFY(m_line->device.written().isEmpty());
    }

    // --- heater output

    void theHeaterIsSwitchedAndTheEntrySaysSo()
    {
        const QString payload = payloadWith(300, 0);
        m_line->device.answer(dataQuery, replyOf(payload));
        for (const bool on : {true, false}) {
            QCOMPARE(SwitchHeaterOutput(on), qint16(0));
            QByteArray block = payload.left(54).toLatin1();
            block.replace(15, 3, on ? "  !" : "   ");
            block.replace(45, 3, "   ");
            QCOMPARE(lastWrite(), frameOf(block));
            QCOMPARE(frontPanel().panel(3), u"HTC 5218: "_s + payload);
            QCOMPARE(heaterCaption(), on ? u"Heater &Output (is ON)"_s : u"Heater &Output (is OFF)"_s);
        }
    }

    void theHeaterIsSwitchedAfterThePause()
    {
        configuration().ltc.line.txDelay = 2.0F;
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        const quint64 before = m_line->clock.elapsed();
        QCOMPARE(SwitchHeaterOutput(true), qint16(0));
        QVERIFY(m_line->clock.elapsed() - before >= 10000); // two lines with a pause before and after each, and one between
    }

    void aHeaterThatCannotBeReadIsLeftAlone()
    {
        const QString caption = heaterCaption();
        m_line->prompts.expect(u"SwitchHeaterOutput - HTCQuery"_s, cannotQuery);
        QCOMPARE(SwitchHeaterOutput(true), qint16(-1));
        m_line->device.answer(dataQuery, QByteArray("A002NT?\r\n"));
        m_line->prompts.expect(u"SwitchHeaterOutput - GetDataBlock"_s, cannotQuery);
        QCOMPARE(SwitchHeaterOutput(true), qint16(-1));
        QCOMPARE(heaterCaption(), caption);
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery).repeated(2));
    }

    void theHeaterEntryTogglesWhatTheBlockSays()
    {
        obey(payloadWith(300, 1));
        mnuHTCHeaterOutput();
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), HeaterOutput), quint16(0));
        QCOMPARE(heaterCaption(), u"Heater &Output (is OFF)"_s);
    }

    // --- presence

    void aSilentControllerIsAskedTwice()
    {
        m_line->prompts.expect(u"HTC check"_s,
                               u"High Temperature Controller HTC 5218 does not respond...\r\nPlease check the following:\r\n"
                               u"    - HTC 5218 powered ON?\r\n    - HTC 5218 connected to COM3?\r\n    - Cable connection ok?"_s);
        QCOMPARE(HTCCheckPresence(), qint16(-1));
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery).repeated(2));
        QCOMPARE(m_line->appLog().count(u"Checking presence of HTC 5218..."_s), 1);
        QCOMPARE(m_line->appLog().count(u"Checking presence of HTC 5218 (2nd time) ..."_s), 1);
        QVERIFY(!m_line->appLog().contains(u"HTC 5218 active!"_s));
    }

    void theSecondTryCounts()
    {
        int asked = 0;
        const QByteArray reply = replyOf(payloadWith(300, 1));
        m_line->device.answerBy([&asked, reply](const QByteArray& written) {
            return written.endsWith(dataQuery) && ++asked == 2 ? QList<ScriptedDevice::Chunk>{{reply}} : QList<ScriptedDevice::Chunk>();
        });
        QCOMPARE(HTCCheckPresence(), qint16(0));
        QVERIFY(m_line->appLog().contains(u"HTC 5218 active!"_s));
        QCOMPARE(heaterCaption(), u"Heater &Output (is ON)"_s);
    }

    void aStrangeAnswerIsExplained()
    {
        m_line->device.answer(dataQuery, QByteArray("A002NT?\r\n"));
        m_line->prompts.expect(u"HTC check"_s,
                               u"HTC 5218 did not respond as expected...\r\nPlease check, if the control loop number is set to '1'.\r\n"
                               u"If yes, switch the controller OFF for a short time before you continue."_s);
        QCOMPARE(HTCCheckPresence(), qint16(-1));
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery));
    }

    // --- control parameters

    void parametersComeFromTheTable()
    {
        writeTable("400=P10I20D3\r\n800=P40I50D6\r\n");
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        QCOMPARE(NewSetpointWithPID(500, 0), qint16(0));
        QCOMPARE(m_line->device.writes().size(), 4);
        const QString first = QString::fromLatin1(m_line->device.writes().at(1).mid(8));
        QCOMPARE(Unpack(first, P), quint16(40));
        QCOMPARE(Unpack(first, I), quint16(50));
        QCOMPARE(Unpack(first, D), quint16(6));
        QCOMPARE(Unpack(first, Setpoint), quint16(300));
        QCOMPARE(Unpack(first, Ramp), quint16(0)); // the ramp of 5 that the block had is switched off
        QCOMPARE(m_line->device.writes().at(1), frameOf(m_line->device.writes().at(1).mid(8, 54)));
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), Setpoint), quint16(500));
        QVERIFY(m_line->shown.contains(u"PID's for 500°C"_s));
        QCOMPARE(modHTC::state().controlParameterText, u"P40I50D6"_s);
    }

    void aSetpointAloneKeepsTheRamp()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        QCOMPARE(NewSetpoint(500), qint16(0));
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), Ramp), quint16(5));
    }

    void aRampIsWrittenWhenGiven()
    {
        writeTable("1500=P10I20D3\r\n");
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        QCOMPARE(NewSetpointWithPID(500, 12), qint16(0));
        QCOMPARE(Unpack(QString::fromLatin1(m_line->device.writes().at(1).mid(8)), Ramp), quint16(12));
    }

    void aTableThatEndsBelowTheSetpointGivesTheDefaultLine()
    {
        writeTable("400=P10I20D3\r\n");
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 0)));
        m_line->prompts.expect(u"Attention"_s, u"This file did not contain temperature control parameters for the desired setpoint.\r\n\r\n"
                                               u"Default values '900=P71I8D2' will be used for the moment."_s);
        QCOMPARE(NewSetpointWithPID(900, 0), qint16(0));
        QCOMPARE(Unpack(QString::fromLatin1(m_line->device.writes().at(1).mid(8)), P), quint16(71));
    }

    void defaultsAndSelfOptimisingAreWritten()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1, 0)));
        mnuHTCAutoOptimize();
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), SelfOptimising), quint16(1));
        m_line->device.clearRules();
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1, 1)));
        mnuHTCAutoOptimize();
        QCOMPARE(Unpack(QString::fromLatin1(lastWrite().mid(8)), SelfOptimising), quint16(0));
        configuration().htc.defaultPID = u"900=P70I9D4"_s;
        mnuHTCDefault();
        const QString block = QString::fromLatin1(lastWrite().mid(8));
        QCOMPARE(Unpack(block, P), quint16(70));
        QCOMPARE(Unpack(block, I), quint16(9));
        QCOMPARE(Unpack(block, D), quint16(4));
        QCOMPARE(Unpack(block, HeaterOutput), quint16(1));
    }

    void parametersAreSavedUnderTheSetpoint()
    {
        writeTable("200=P60I9D1\r\n900=P71I8D2\r\n");
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1)));
        m_line->prompts.expectSave(u"Select PID file"_s, PIDFilePath());
        mnuHTCSavePID();
        QFile table(PIDFilePath());
        QVERIFY(table.open(QIODevice::ReadOnly));
        QCOMPARE(table.readAll(), QByteArray("200=P60I9D1\r\n300=P71I8D2\r\n900=P71I8D2\r\n"));
        QVERIFY(m_line->appLog().contains(u"HTC: PID parameters saved."_s));
        m_line->device.clearRules();
        m_line->prompts.expect(u"GetDataBlock - HTCQuery"_s, cannotQuery);
        mnuHTCSavePID();
    }

    void withTheLogOffNothingIsLogged()
    {
        flags().log = false; // the line looks into the log when it ends
        writeTable("200=P60I9D1\r\n900=P71I8D2\r\n");
        configuration().htc.calibration = true;
        obey(payloadWith(300, 1));
        QCOMPARE(HTCCheckPresence(), qint16(0));
        QCOMPARE(NewSetpoint(600), qint16(0));
        m_line->prompts.expectSave(u"Select PID file"_s, PIDFilePath());
        mnuHTCSavePID();
        SendPIDFromDialog({0, 55, 12, 3});
        QCOMPARE(HTC_LaserWaitUntilThere(2), qint16(0));
        m_line->device.clearRules();
        m_line->prompts.expect(u"HTC check"_s, QString());
        QCOMPARE(HTCCheckPresence(), qint16(-1));
        QCOMPARE(m_line->appLog(), QString());
    }

    void theDialogStartsFromTheBlockAndWritesItBack()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1)));
        PIDTable::Values values;
        double setpoint = 0;
        QVERIFY(ReadPIDForDialog(&values, &setpoint));
        QCOMPARE(PIDTable::ValuesText(values, PIDTable::Kind::PID), u"P71I8D2"_s);
        QCOMPARE(setpoint, 300.0);
        SendPIDFromDialog({0, 55, 12, 3});
        const QString block = QString::fromLatin1(lastWrite().mid(8));
        QCOMPARE(Unpack(block, P), quint16(55));
        QCOMPARE(Unpack(block, I), quint16(12));
        QCOMPARE(Unpack(block, D), quint16(3));
        QCOMPARE(Unpack(block, Setpoint), quint16(300));
        QVERIFY(m_line->appLog().contains(u"HTC: PID parameters changed."_s));
        m_line->device.clearRules();
        m_line->prompts.expect(u"GetDataBlock - HTCQuery"_s, cannotQuery);
        QVERIFY(!ReadPIDForDialog(&values, &setpoint));
    }

    void aSetpointOutOfRangeIsNotSent()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1)));
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:"_s, u"1501 °C"_s).withDefaultText(u"300 °C"_s);
        m_line->prompts.expect(u"New setpoint"_s, u"Setpoint out of range (20°C ... 1500°C)!"_s);
        mnuHTCSetpoint();
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery));
    }

    void theTemperatureIsShown()
    {
        m_line->device.answer(valueQuery, replyOf(Pack(1234) + QString(89, u' ')));
        m_line->prompts.expect(u"HTC"_s, u"Current temperature is: 1234 °C"_s);
        mnuHTCQueryTemperature();
    }

    void theParameterPromptNamesTheFile()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(300, 1)));
        m_line->prompts.expectInput(u"New Setpoint"_s, u"Enter new setpoint:\r\n(We will use PID's in 'htc.pid')"_s, QString())
            .withDefaultText(u"300 °C"_s);
        mnuHTCNewSetpointWithPID();
        QCOMPARE(m_line->device.written(), QByteArray(dataQuery));
    }

    void parametersThatWereNotSavedAreNotLoggedAsSaved()
    {
        m_line->device.answer(dataQuery, replyOf(payloadWith(450, 1)));
        m_line->prompts.expectSave(u"Select PID file"_s, QString());
        mnuHTCSavePID();
        QCOMPARE(m_line->prompts.fileDialogs.value(0).fileName, u"htc.pid"_s);
        m_line->prompts.expectSave(u"Select PID file"_s, m_line->directory.filePath(u"none/htc.pid"_s));
        m_line->prompts.expect(u"Save data"_s, u"Error # 76 caused by mnuHTCSavePID()\r\nPath not found"_s)
            .withIcon(Prompts::Icon::Exclamation);
        mnuHTCSavePID();
        QCOMPARE(m_line->appLog().count(u"About to show dialog window...\r\n"_s), 2);
        QVERIFY(!m_line->appLog().contains(u"HTC: PID parameters saved."_s));
    }

    void parametersOfTheDialogAreSentAndLogged()
    {
        m_line->prompts.expect(u"SetPID - HTCQuery"_s, cannotQuery);
        SendPIDFromDialog({0, 41, 7, 3});
        QVERIFY(!m_line->appLog().contains(u"HTC: PID parameters changed."_s));
        QCOMPARE(modHTC::state().controlParameterText, QString());
        m_line->device.answer(dataQuery, replyOf(payloadWith(450, 1)));
        SendPIDFromDialog({0, 41, 7, 3});
        QVERIFY(m_line->appLog().contains(u"HTC: PID parameters changed.\r\n"_s));
        const QString block = QString::fromLatin1(lastWrite().mid(8));
        QCOMPARE(Unpack(block, P), quint16(41));
        QCOMPARE(Unpack(block, D), quint16(3));
        QCOMPARE(modHTC::state().controlParameterText, u"P41I7D3"_s);
    }

    // --- waits

    void theWaitIsNamedBetweenItsReadings()
    {
        flags().showCommunication = true;
        m_line->device.answer(valueQuery, replyOf(Pack(800) + QString(89, u' ')));
        QStringList seen;
        m_line->clock.onRound = [&seen] { seen += frontPanel().panel(3); };
        QCOMPARE(HTCWaitUntilThere(800), qint16(0));
        m_line->clock.onRound = nullptr;
        QVERIFY(seen.contains(u"HTC 5218: Waiting for steady state..."_s));
        QVERIFY(seen.contains(u"HTC 5218: Value block query"_s));
        QVERIFY(seen.lastIndexOf(u"HTC 5218: Waiting for steady state..."_s) > seen.indexOf(u"HTC 5218: Value block query"_s));
    }

    void theWaitEndsWhenTheTemperatureIsSteady()
    {
        configuration().htc.calibration = true;
        configuration().htc.calibrationOffset = 2;
        // The controller reads what it was sent, not what the operator asked for.
        m_line->device.answer(valueQuery, replyOf(Pack(802) + QString(89, u' ')));
        QString text;
        connect(&frontPanel(), &FrontPanel::textDisplayChanged, m_line.get(), [&text] {
            if (!frontPanel().textDisplayText().isEmpty())
                text = frontPanel().textDisplayText();
        });
        QCOMPARE(HTCWaitUntilThere(800), qint16(0));
        QVERIFY(m_line->shown.contains(u"HTC 5218: Waiting for steady state..."_s));
        QVERIFY(m_line->device.writes().size() >= 10);
        const qsizetype calibrated = text.indexOf(u"Setpoint    (cal.) W:"_s);
        QVERIFY2(calibrated >= 0 && calibrated < text.indexOf(u"Setpoint           W:"_s), qPrintable(text));
        QVERIFY2(text.contains(u"Setpoint    (cal.) W:802.00 °C"_s), qPrintable(text));
    }

    void aControllerSwitchedOffDuringTheWaitIsWaitedFor()
    {
        // on for three readings, off for two minutes, then on again
        m_line->answerWhileOn(valueQuery, replyOf(Pack(800) + QString(89, u' ')));
        m_line->clock.at(1000, [this] { m_line->isOn = false; });
        m_line->clock.at(121000, [this] { m_line->isOn = true; });
        const quint64 before = m_line->clock.elapsed();
        QCOMPARE(HTCWaitUntilThere(800), qint16(0));
        QVERIFY(m_line->clock.elapsed() - before > 121000 && m_line->clock.elapsed() - before < 130000);
        QVERIFY2(m_line->unheard > 30, qPrintable(QString::number(m_line->unheard)));
        QVERIFY(m_line->appLog().contains(u"HTCQuery - Timeout occurred!"_s));
    }

    void aSilentWaitIsLeftByTheAbort()
    {
        m_line->clock.at(20000, [] { flags().abort = true; });
        QCOMPARE(HTCWaitUntilThere(800), qint16(2));
        QVERIFY(m_line->clock.elapsed() < 25000);
    }

    void aControllerThatStaysSilentEndsTheWait()
    {
        QCOMPARE(HTCWaitUntilThere(800, 30), qint16(3));
        QVERIFY(m_line->clock.elapsed() < 40000);
    }

    void theStabilizationLastsItsSeconds()
    {
        QCOMPARE(HTC_LaserWaitUntilThere(60), qint16(0));
        QVERIFY(m_line->clock.elapsed() >= 59900 && m_line->clock.elapsed() < 60500);
        QVERIFY(m_line->shown.contains(u"Temperature stabilization delay: 60 seconds..."_s));
        QVERIFY(m_line->shown.contains(u"Temperature stabilization delay: 1 seconds..."_s));
        QVERIFY(m_line->appLog().contains(u"HTC_LaserWaitUntilThere(60)"_s));
        m_line->clock.at(5000, [] { flags().abort = true; });
        QCOMPARE(HTC_LaserWaitUntilThere(60), qint16(2));
        QVERIFY(m_line->clock.elapsed() < 67000);
    }
};

QTEST_GUILESS_MAIN(TestHtc)
#include "tst_htc.moc"
