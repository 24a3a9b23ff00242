// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program on the temperature controllers of the virtual instrument: what it prints against what went over the line.

#include "real/Programs.h"
#include "support/SteadyReference.h"

using namespace programs;
using namespace Qt::StringLiterals;

/// The text is what the program said.
#define VERIFY_OR_SHOW(condition, text) QVERIFY2(condition, QByteArray(text).constData())

namespace {
QStringList words(const char* line)
{
    return QString::fromUtf8(line).split(u' ', Qt::SkipEmptyParts);
}

/// A command and what it was answered; empty: nothing.
struct Exchange
{
    QByteArray command;
    QByteArray answer;
};

/// The virtual instrument with one temperature controller, its line's pauses shortened, and a record of what goes over the line. A
/// healthy device has so long to answer that a busy machine makes none a silent one.
class Laboratory
{
public:
    /// `options` as those of the virtual instrument, `ini` beginnings of sections with lines that are to hold: "[LTC]\nTMax=300".
    explicit Laboratory(const QByteArray& device, const QStringList& options, const QByteArrayList& ini = {})
        : m_trace(m_directory.filePath(u"trace"_s)),
          instrument(QStringList{u"--speed"_s, u"500"_s, u"--trace"_s, m_trace.fileName()} + options),
          m_device(device)
    {
        QByteArray text = instrument.read(u"scan.ini"_s);
        for (const QByteArray& lines : QByteArrayList{"[LTC]\nTxDelay=0.005\nRxDelay=0.05\nRxTimeout=10", "[smc]\nRxDelay=0.02"} + ini)
            text.replace(lines.left(lines.indexOf('\n')), lines);
        QFile file(instrument.path(u"scan.ini"_s));
        ready =
            instrument.running && file.open(QIODevice::WriteOnly) && file.write(text) == text.size() && m_trace.open(QIODevice::ReadOnly);
    }

    /// Everything about the device since the last forget(): "<- ...", "-> ..." or "-- ...".
    QByteArrayList record()
    {
        m_text += m_trace.readAll();
        QByteArrayList lines;
        for (const QByteArray& line : m_text.split('\n'))
            if (line.mid(13).startsWith(m_device + ' '))
                lines += line.mid(13 + m_device.size() + 1);
        return lines;
    }
    /// Both lines have lost their client.
    bool isLeft()
    {
        record();
        return m_text.contains(m_device + " -- line left") && m_text.contains("SMC -- line left");
    }
    void forget()
    {
        record();
        m_text.clear();
    }
    /// The commands since then, each with the last answer before the next one.
    QList<Exchange> exchanges()
    {
        QList<Exchange> list;
        QByteArray partial;
        for (const QByteArray& line : record()) {
            const QByteArray bytes = line.mid(3).replace("<cr>", "\r").replace("<lf>", "\n");
            if (line.startsWith("<-")) {
                partial += bytes;
                for (qsizetype end = partial.indexOf('\r'); end >= 0; end = partial.indexOf('\r')) {
                    list += {partial.left(end).replace('\n', ""), QByteArray()};
                    partial.remove(0, end + 1);
                }
            } else if (line.startsWith("->") && !list.isEmpty()) {
                list.last().answer = bytes;
            }
        }
        return list;
    }
    QByteArrayList commands()
    {
        QByteArrayList list;
        for (const Exchange& one : exchanges())
            list += one.command;
        return list;
    }
    QByteArray lastAnswer()
    {
        const QList<Exchange> all = exchanges();
        return all.isEmpty() ? QByteArray() : all.last().answer.trimmed();
    }

private:
    QTemporaryDir m_directory;
    QFile m_trace;

public:
    Instrument instrument;
    bool ready = false;

private:
    QByteArray m_device;
    QByteArray m_text;
};

/// The number at the begin of an answer: "+250.01", "005.31K".
float leadingNumber(const QByteArray& answer)
{
    qsizetype end = 0;
    while (end < answer.size() && (QByteArray("+-.").contains(answer[end]) || (answer[end] >= '0' && answer[end] <= '9')))
        ++end;
    return static_cast<float>(answer.left(end).toDouble());
}

/// The temperature in the value block of the high-temperature controller: three characters after a head of 17. -1 when it is not whole.
float blockTemperature(const QByteArray& answer)
{
    const auto code = [&](qsizetype at) { return static_cast<unsigned char>(answer[17 + at]) - 32; };
    return answer.trimmed().size() != 114 ? -1.0F : static_cast<float>(code(0) * 1024 + code(1) * 16 + code(2));
}

/// Three characters of a block, from a position counted from 1.
int valueAt(const QByteArray& block, int position)
{
    const auto code = [&](int at) { return static_cast<unsigned char>(block[position - 1 + at]) - 32; };
    return code(0) * 1024 + code(1) * 16 + code(2);
}

/// The blocks that were written to the high-temperature controller, those with their checksum right.
QByteArrayList writtenBlocks(Laboratory& laboratory)
{
    QByteArrayList blocks;
    for (const QByteArray& command : laboratory.commands()) {
        if (!command.startsWith("S001  T "))
            continue;
        const QByteArray block = command.mid(8, 54);
        unsigned sum = 0;
        for (const char character : block)
            sum += static_cast<unsigned char>(character);
        const QByteArray end = QByteArray::number(sum & 0xFFFFU, 16).toUpper().rightJustified(4, '0') + 'Q';
        if (command.mid(62) == end)
            blocks += block;
    }
    return blocks;
}

/// What the program took in for each `question`, by its log: the whole answer, or what there was of it in time.
QByteArrayList received(const Laboratory& laboratory, const QByteArray& question)
{
    QByteArrayList texts;
    bool asked = false;
    for (const QByteArray& raw : laboratory.instrument.read(u"app.log"_s).split('\n')) {
        const QByteArray line = raw.trimmed();
        if (line.startsWith("LTCOutput(") || line.startsWith("HTCOutput("))
            asked = line.mid(10).startsWith(question);
        for (const QByteArray& mark : {QByteArray("LTCGetResponse()="), QByteArray("HTCQuery - Response:")}) {
            if (asked && line.startsWith(mark))
                texts += line.mid(mark.size()).trimmed();
        }
    }
    return texts;
}

/// What a wait, run with --log, must have come to by the answers to `question`.
void compareWait(Laboratory& laboratory, const QByteArray& question, float (*temperature)(const QByteArray&), float setpoint,
                 const QByteArray& unit, const QByteArray& out)
{
    QByteArrayList answers;
    for (const Exchange& one : laboratory.exchanges())
        if (one.command == question)
            answers += one.answer.trimmed();
    const QByteArrayList texts = received(laboratory, question);
    // One that came in pieces on a busy machine may have been taken too early; others are those of the line.
    std::vector<float> readings;
    for (const QByteArray& text : texts)
        readings.push_back(text.isEmpty() ? -1.0F : temperature(text));
    for (qsizetype i = 0, at = 0; i < texts.size(); ++i) {
        if (texts[i].isEmpty())
            continue;
        while (at < answers.size() && !answers[at].startsWith(texts[i]))
            ++at;
        VERIFY_OR_SHOW(at < answers.size(), texts[i] + " was never sent");
        ++at;
    }
    const SteadyReference expected = steadyReference(readings, setpoint);
    QCOMPARE(static_cast<int>(readings.size()), expected.readings);
    const QList<QByteArray> lines = out.trimmed().split('\n');
    const QByteArray& last = lines.last();
    VERIFY_OR_SHOW(last.startsWith("Steady: ") && last.count(unit) == 2, out);
    QCOMPARE(last.mid(8).split(' ').first().toFloat(), expected.mean);
    QCOMPARE(last.split(' ').value(4).toFloat(), expected.scatter);
}

/// A switched-off device: the record goes from readings over silence to readings.
void compareSwitching(Laboratory& laboratory, const QByteArray& question)
{
    int before = 0;
    int unheard = 0;
    int after = 0;
    int* count = &before;
    for (const QByteArray& line : laboratory.record()) {
        if (line == "-- switched off")
            count = &unheard;
        else if (line == "-- switched on")
            count = &after;
        else if (count == &unheard ? line.startsWith("-- off: not heard") : line.startsWith("<- " + question))
            ++*count;
        QVERIFY2(count != &unheard || !line.startsWith("->"), line.constData());
    }
    QVERIFY2(before > 0 && unheard > 0 && after > 0, qPrintable(u"%1, %2, %3"_s.arg(before).arg(unheard).arg(after)));
}

const QByteArrayList startUp330{"*IDN?", "TUNE?", "*RST"};
const QByteArrayList units330{"SCHN A;SCHN?", "SUNI K;SUNI?", "CCHN A;CCHN?", "CUNI K;CUNI?"};
const QByteArrayList setting330{"GAIN 300;GAIN?", "RSET 50;RSET?", "RATE 0;RATE?", "RAMP 0", "RANG 3;RANG?", "SETP 250", "SETP?"};
} // namespace

class tst_temperature : public QObject
{
    Q_OBJECT

private slots:
    void everyModelIsAskedSetAndWaitedFor_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QByteArrayList>("startUp");
        QTest::addColumn<QByteArray>("temperature");
        QTest::addColumn<QByteArrayList>("setting"); // with the question for the setpoint
        QTest::addColumn<QByteArrayList>("status");
        QTest::addColumn<QByteArray>("shown"); // up to the power, which changes
        QTest::addColumn<QString>("query");
        const QByteArray lakeShore = "\nSetpoint: 250 K\nP: 300\nI: 50\nD: 0\nHeater range: 0\nHeater power: 0\n";
        QTest::newRow("330") << u"330"_s << startUp330 + units330 << QByteArray("SDAT?") << setting330
                             << QByteArrayList{"GAIN?", "RSET?", "RATE?", "RANG?", "HEAT?", "SETP?"} << "LakeShore 330" + lakeShore
                             << u"*IDN?"_s;
        QTest::newRow("331 as 330") << u"emu"_s << startUp330 + QByteArrayList{"EMUL 1"} + units330 << QByteArray("SDAT?") << setting330
                                    << QByteArrayList{"GAIN?", "RSET?", "RATE?", "RANG?", "HEAT?", "SETP?"} << "LakeShore 331" + lakeShore
                                    << u"EMUL?"_s;
        QTest::newRow("331") << u"331"_s << QByteArrayList{"*IDN?", "*RST"} << QByteArray("KRDG?")
                             << QByteArrayList{"PID 1, 300, 50, 0", "RAMP 1,0,0", "RANGE 3", "SETP 1, 250", "SETP? 1"}
                             << QByteArrayList{"PID? 1", "RANGE?", "HTR?", "SETP? 1"} << "LakeShore 331" + lakeShore << u"PID? 1"_s;
        QTest::newRow("DRC-91CA") << u"drc91"_s << QByteArrayList{"W3", "C"} << QByteArray("WS")
                                  << QByteArrayList{"P40", "I1", "D10", "R5", "S250", "WP"} << QByteArrayList{"W3", "WP"}
                                  << QByteArray("LakeShore DRC-91CA\nSetpoint: 250 K\nP: 40\nI: 1\nD: 10\nHeater range: 5\nHeater power: ")
                                  << u"W3"_s;
        QTest::newRow("DRC-81C") << u"drc81"_s << QByteArrayList{"W1", "C"} << QByteArray("WS")
                                 << QByteArrayList{"P40", "I1", "D10", "R4", "S250", "WP"} << QByteArrayList{"W1", "WP"}
                                 << QByteArray(
                                        "LakeShore DRC-81C\nSetpoint: 250 K\nP: 40\nI: 1\nD: 10\nHeater range: 4\nHeater power: -1\n")
                                 << u"XDA"_s;
    }

    void everyModelIsAskedSetAndWaitedFor()
    {
        QFETCH(QString, model);
        QFETCH(QByteArrayList, startUp);
        QFETCH(QByteArray, temperature);
        QFETCH(QByteArrayList, setting);
        QFETCH(QByteArrayList, status);
        QFETCH(QByteArray, shown);
        QFETCH(QString, query);
        Laboratory laboratory("LTC", {u"--ltc"_s, model});
        QVERIFY(laboratory.ready);

        ScanCli asked;
        VERIFY_OR_SHOW(asked.runOn(laboratory.instrument, words("ltc temperature")) == 0, asked.err);
        QCOMPARE(laboratory.commands(), startUp + QByteArrayList{temperature});
        VERIFY_OR_SHOW(asked.out.endsWith(" K\n"), asked.out);
        QCOMPARE(leadingNumber(asked.out), leadingNumber(laboratory.lastAnswer()));

        laboratory.forget();
        ScanCli set;
        VERIFY_OR_SHOW(set.runOn(laboratory.instrument, words("ltc setpoint 250 --yes --log")) == 0, set.err);
        const QByteArrayList sent = laboratory.commands();
        QCOMPARE(sent.mid(0, startUp.size() + setting.size()), startUp + setting);
        QCOMPARE(sent.count(temperature), sent.size() - startUp.size() - setting.size());
        VERIFY_OR_SHOW(set.out.startsWith("Setpoint: 250 K\nSteady: "), set.out);
        compareWait(laboratory, temperature, leadingNumber, 250, " K", set.out);

        laboratory.forget();
        ScanCli looked;
        VERIFY_OR_SHOW(looked.runOn(laboratory.instrument, words("ltc status")) == 0, looked.err);
        QCOMPARE(laboratory.commands(), startUp + status);
        VERIFY_OR_SHOW(looked.out.startsWith(shown), looked.out);
        if (model == u"drc91"_s) {
            const QList<Exchange> all = laboratory.exchanges();
            QCOMPARE(looked.out.mid(shown.size()).trimmed().toInt(), all[all.size() - 2].answer.trimmed().split(',').value(4).toInt());
        }

        laboratory.forget();
        ScanCli questioned;
        VERIFY_OR_SHOW(questioned.runOn(laboratory.instrument, {u"ltc"_s, u"query"_s, query}) == 0, questioned.err);
        QCOMPARE(laboratory.commands(), startUp + QByteArrayList{query.toLatin1()});
        QVERIFY(!laboratory.lastAnswer().isEmpty());
        QCOMPARE(questioned.out.trimmed(), laboratory.lastAnswer());
    }

    void withoutWaitAndTableOnlyTheSetpointIsSent()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        ScanCli cli;
        VERIFY_OR_SHOW(cli.runOn(laboratory.instrument, words("ltc setpoint 77,35 --current --no-wait")) == 0, cli.err);
        QCOMPARE(laboratory.commands(), (QByteArrayList{"*IDN?", "*RST", "SETP 1, 77.35", "SETP? 1"}));
        QCOMPARE(cli.out, QByteArray("Setpoint: 77.35 K\n"));
    }

    void controlCEndsTheWait()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        ScanCli cli;
        cli.startOn(laboratory.instrument, words("ltc setpoint 250 --current")); // the start has switched the heater off: never steady
        VERIFY_OR_SHOW(cli.says("Elapsed time: "), cli.err);
        cli.interrupt();
        QCOMPARE(cli.finish(), 3);
        QCOMPARE(cli.out, QByteArray("Setpoint: 250 K\n"));
    }

    void aCooldownIsLoggedUntilItsTimeOrControlC()
    {
        Laboratory laboratory("LTC", words("--ltc 331"), {"[LTC]\nLogInterval=1"});
        const auto logs = [&] { return QDir(laboratory.instrument.directory.path()).entryList({u"cooldown_*.log"_s}, QDir::Files); };
        {
            ScanCli cli;
            QCOMPARE(cli.runOn(laboratory.instrument, words("ltc log 2.5")), 0);
            QCOMPARE(logs().size(), 1);
            QVERIFY(cli.out.count('\n') >= 1 && cli.out.count('\n') <= 3);
            QCOMPARE(laboratory.instrument.read(logs().first()).replace("\r\n", "\n"), cli.out);
            VERIFY_OR_SHOW(cli.err.contains(logs().first().toLatin1()), cli.err);
            for (const QByteArray& line : cli.out.trimmed().split('\n'))
                VERIFY_OR_SHOW(QRegularExpression(u"^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d;[\\d.]+;[\\d.]+$"_s)
                                   .match(QString::fromLatin1(line))
                                   .hasMatch(),
                               line);
            QVERIFY(QFile::remove(laboratory.instrument.path(logs().first())));
        }
        ScanCli cli;
        cli.startOn(laboratory.instrument, words("ltc log 600"));
        QVERIFY(cli.waitUntil([&] { return cli.out.count('\n') >= 1; }));
        cli.interrupt();
        QCOMPARE(cli.finish(), 3);
        QCOMPARE(laboratory.instrument.read(logs().first()).replace("\r\n", "\n"), cli.out);
    }

    void wrongValuesSendNothing_data()
    {
        QTest::addColumn<QStringList>("device");
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("explained");
        const QStringList ltc = words("--ltc 331");
        QTest::newRow("too cold") << ltc << words("ltc setpoint 7.9") << 1 << QByteArray("Setpoint out of range (8K ... 305K)!");
        QTest::newRow("too warm") << ltc << words("ltc setpoint 305.1") << 1 << QByteArray("Setpoint out of range (8K ... 305K)!");
        QTest::newRow("no number") << ltc << words("ltc setpoint cold") << 2 << QByteArray("ltc setpoint: wrong values.");
        QTest::newRow("no setpoint") << ltc << words("ltc setpoint") << 2 << QByteArray("ltc setpoint: wrong values.");
        QTest::newRow("no such action") << ltc << words("ltc paint") << 2
                                        << QByteArray("one of temperature|setpoint|status|query|log is wanted");
        QTest::newRow("no time") << ltc << words("ltc log 0") << 2 << QByteArray("ltc log: seconds are wanted, up to 1000000.");
        QTest::newRow("nothing to wait for") << ltc << words("ltc status --no-wait") << 2 << QByteArray("ltc status: sets no temperature.");
        QTest::newRow("another device") << ltc << words("htc temperature") << 1 << QByteArray("htc is not in use, or does not answer.");
        QTest::newRow("hot") << words("--htc") << words("htc setpoint 1501") << 1
                             << QByteArray("The setpoint lies outside 20 to 1500 \xc2\xb0"
                                           "C.");
        QTest::newRow("half on") << words("--htc") << words("htc heater half") << 2 << QByteArray("htc heater: on or off is wanted.");
        QTest::newRow("laser") << words("--laser") << words("laser set 1201") << 1
                               << QByteArray("The value lies outside 20 to 1200 \xc2\xb0"
                                             "C.");
        QTest::newRow("laser current") << words("--laser") << words("laser set 300 --current") << 2
                                       << QByteArray("Unknown option --current.");
        QTest::newRow("beam") << words("--laser") << words("laser beam 1") << 2 << QByteArray("laser beam: on or off is wanted.");
    }

    void wrongValuesSendNothing()
    {
        QFETCH(QStringList, device);
        QFETCH(QStringList, command);
        QFETCH(int, status);
        QFETCH(QByteArray, explained);
        const QByteArray name = device.first() == u"--ltc"_s ? "LTC" : device.first() == u"--htc"_s ? "HTC" : "Laser";
        Laboratory laboratory(name, device);
        ScanCli cli;
        QCOMPARE(cli.runOn(laboratory.instrument, command), status);
        VERIFY_OR_SHOW(cli.err.contains(explained), cli.err);
        QCOMPARE(cli.out, QByteArray());
        for (const QByteArray& sent : laboratory.commands())
            QVERIFY2(!sent.startsWith("SETP") && !sent.startsWith("S001") && !sent.startsWith(":w"), sent.constData());
    }

    void yesIsTakenByEveryCommand()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        for (const char* command : {"status", "stop", "ltc temperature", "pid show 100"}) {
            ScanCli behind;
            VERIFY_OR_SHOW(behind.runOn(laboratory.instrument, words(command) + QStringList{u"--yes"_s}) == 0, command + behind.err);
            ScanCli before;
            VERIFY_OR_SHOW(before.runOn(laboratory.instrument, QStringList{u"--yes"_s} + words(command)) == 0, command + before.err);
        }
    }

    void aControllerThatFailsIsReported_data()
    {
        QTest::addColumn<QStringList>("device");
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QByteArrayList>("reported");
        const QStringList ltc = words("--ltc 331 --fault");
        const QStringList htc = words("--htc --fault");
        const QStringList laser = words("--laser --fault");
        const QByteArray notInUse = " is not in use, or does not answer.";
        const QByteArray noAnswer = "The low-temperature controller does not answer.";
        const QByteArray cannotQuery = "Unable to query HTC.\nFunction aborted...";
        QTest::newRow("ltc silent") << ltc + words("ltc/silent") << words("ltc temperature --yes")
                                    << QByteArrayList{
                                           "[LTC check] Low temperature controller does not respond...\nPlease check the following:\n"
                                           "    - Controller LakeShore 331 powered ON?",
                                           "-> Ignore", "ltc" + notInUse};
        QTest::newRow("ltc silent after the start") << ltc + words("ltc/silent:2") << words("ltc temperature") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at the setpoint") << ltc + words("ltc/silent:2") << words("ltc setpoint 250") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at the status") << ltc + words("ltc/silent:4") << words("ltc status") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at a question") << ltc + words("ltc/silent:2") << words("ltc query KRDG?") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent when parameters are saved")
            << ltc + words("ltc/silent:2") << words("pid save") << QByteArrayList{noAnswer};
        QTest::newRow("htc silent") << htc + words("htc/silent") << words("htc temperature")
                                    << QByteArrayList{"[HTC check] High Temperature Controller HTC 5218 does not respond...",
                                                      "htc" + notInUse};
        QTest::newRow("htc idle") << htc + words("idle-answer") << words("htc temperature")
                                  << QByteArrayList{"[HTC check] High Temperature Controller HTC 5218 does not respond...",
                                                    "htc" + notInUse};
        QTest::newRow("htc on another loop") << htc + words("wrong-loop") << words("htc temperature")
                                             << QByteArrayList{"[HTC check] HTC 5218 did not respond as expected...\n"
                                                               "Please check, if the control loop number is set to '1'.\n",
                                                               "htc" + notInUse};
        QTest::newRow("htc cut") << htc + words("htc/cut-reply") << words("htc temperature")
                                 << QByteArrayList{"HTC 5218 did not respond as expected...", "htc" + notInUse};
        QTest::newRow("htc idle at the temperature") << htc + words("idle-answer:1") << words("htc temperature")
                                                     << QByteArrayList{"The high-temperature controller does not answer."};
        QTest::newRow("htc idle at the setpoint")
            << htc + words("idle-answer:1") << words("htc setpoint 300") << QByteArrayList{"[NewSetpoint - HTCQuery] " + cannotQuery};
        QTest::newRow("htc on another loop at the heater") << htc + words("wrong-loop:1") << words("htc heater on")
                                                           << QByteArrayList{"[SwitchHeaterOutput - GetDataBlock] " + cannotQuery};
        QTest::newRow("htc silent at the heater")
            << htc + words("htc/silent:1") << words("htc heater on") << QByteArrayList{"[SwitchHeaterOutput - HTCQuery] " + cannotQuery};
        QTest::newRow("htc cut at the status") << htc + words("htc/cut-reply:1") << words("htc status")
                                               << QByteArrayList{"[GetDataBlock - HTCQuery] " + cannotQuery};
        QTest::newRow("laser silent") << laser + words("laser/silent") << words("laser beam on")
                                      << QByteArrayList{"[HT Laser Controller Check] HT Laser controller does not respond...",
                                                        "laser" + notInUse};
        QTest::newRow("laser refuses the beam")
            << laser + words("error-answer:1") << words("laser beam on") << QByteArrayList{"The laser controller does not confirm."};
        QTest::newRow("laser refuses the current")
            << laser + words("error-answer:1") << words("laser set 300") << QByteArrayList{"The laser controller does not confirm."};
        QTest::newRow("laser answers garbage") << laser + words("laser/garbage:1") << words("laser beam on")
                                               << QByteArrayList{"The laser controller does not confirm."};
        QTest::newRow("laser silent at the beam")
            << laser + words("laser/silent:1") << words("laser beam on") << QByteArrayList{"The laser controller does not confirm."};
    }

    void aControllerThatFailsIsReported()
    {
        QFETCH(QStringList, device);
        QFETCH(QStringList, command);
        QFETCH(QByteArrayList, reported);
        Laboratory laboratory("HTC", device, {"[LTC]\nRxTimeout=1"});
        ScanCli cli;
        QCOMPARE(cli.runOn(laboratory.instrument, command), 1);
        for (const QByteArray& text : reported)
            VERIFY_OR_SHOW(cli.err.contains(text), text + " is missing in:\n" + cli.err);
        QCOMPARE(cli.out, QByteArray());
        QCOMPARE(writtenBlocks(laboratory), QByteArrayList()); // nothing is written on the strength of a block that was not read
    }

    void theFurnaceIsSwitchedSetAndWaitedFor()
    {
        Laboratory laboratory("HTC", words("--htc"));
        QVERIFY(laboratory.ready);
        ScanCli cold;
        VERIFY_OR_SHOW(cold.runOn(laboratory.instrument, words("htc temperature")) == 0, cold.err);
        QCOMPARE(laboratory.commands(), (QByteArrayList{"R001NT?", "R001NF?"}));
        QCOMPARE(leadingNumber(cold.out), blockTemperature(laboratory.exchanges().last().answer));

        laboratory.forget();
        ScanCli on;
        VERIFY_OR_SHOW(on.runOn(laboratory.instrument, words("htc heater on")) == 0, on.err);
        QCOMPARE(laboratory.commands().mid(0, 2), (QByteArrayList{"R001NT?", "R001NT?"}));
        QCOMPARE(writtenBlocks(laboratory).size(), 1);
        QCOMPARE(valueAt(writtenBlocks(laboratory).first(), 16), 1);

        laboratory.forget();
        ScanCli set;
        VERIFY_OR_SHOW(set.runOn(laboratory.instrument, words("htc setpoint 300 --log")) == 0, set.err);
        const QByteArrayList blocks = writtenBlocks(laboratory);
        QCOMPARE(blocks.size(), 2);
        QCOMPARE(valueAt(blocks[0], 7), 71);
        QCOMPARE(valueAt(blocks[0], 10), 8);
        QCOMPARE(valueAt(blocks[0], 13), 2);
        QCOMPARE(valueAt(blocks[1], 4), 300);
        QCOMPARE(valueAt(blocks[1], 16), 1);
        VERIFY_OR_SHOW(set.out.startsWith("Setpoint: 300 \xc2\xb0"
                                          "C\nSteady: "),
                       set.out);
        VERIFY_OR_SHOW(!set.err.contains("output is off"), set.err);
        compareWait(laboratory, "R001NF?", blockTemperature, 300,
                    "\xc2\xb0"
                    "C",
                    set.out);

        ScanCli looked;
        QCOMPARE(looked.runOn(laboratory.instrument, words("htc status")), 0);
        QCOMPARE(looked.out, QByteArray("Setpoint: 300 \xc2\xb0"
                                        "C\nP: 71 %\nI: 8 s\nD: 2 s\nHeater output: on\n"));
        ScanCli off;
        QCOMPARE(off.runOn(laboratory.instrument, words("htc heater off")), 0);
        ScanCli warned;
        QCOMPARE(warned.runOn(laboratory.instrument, words("htc setpoint 200 --current --no-wait")), 0);
        VERIFY_OR_SHOW(warned.err.contains("The heater output is off."), warned.err);
    }

    void theLengthOfABlockCountsNotItsChecksum()
    {
        Laboratory laboratory("HTC", words("--htc --fault wrong-checksum"));
        ScanCli cli;
        VERIFY_OR_SHOW(cli.runOn(laboratory.instrument, words("htc status")) == 0, cli.err);
        VERIFY_OR_SHOW(cli.out.contains("P: 71 %"), cli.out);
    }

    void theLaserIsSwitchedSetAndWaitedFor()
    {
        Laboratory laboratory("Laser", words("--laser"), {"[Laser]\nStabilizationDelay=2"});
        QVERIFY(laboratory.ready);
        ScanCli on;
        VERIFY_OR_SHOW(on.runOn(laboratory.instrument, words("laser beam on")) == 0, on.err);
        QCOMPARE(laboratory.commands(), (QByteArrayList{":r 12", ":w 12 1"}));
        QCOMPARE(laboratory.lastAnswer(), QByteArray(":ok"));
        laboratory.forget();
        ScanCli set;
        VERIFY_OR_SHOW(set.runOn(laboratory.instrument, words("laser set 300")) == 0, set.err);
        QCOMPARE(laboratory.commands(), (QByteArrayList{":r 12", ":w 30 0.5503"}));
        QCOMPARE(set.out, QByteArray("Temperature setpoint set to 300\xc2\xb0"
                                     "C (0.5503A).\n"));
        VERIFY_OR_SHOW(set.err.contains("Temperature stabilization delay: "), set.err);
        ScanCli looked;
        QCOMPARE(looked.runOn(laboratory.instrument, words("laser status")), 0);
        QCOMPARE(looked.out, QByteArray("Beam on\n"));
        ScanCli off;
        QCOMPARE(off.runOn(laboratory.instrument, words("laser beam off")), 0);
        ScanCli dark;
        QCOMPARE(dark.runOn(laboratory.instrument, words("laser status")), 0);
        QCOMPARE(dark.out, QByteArray("Beam off\n"));
    }

    void parametersAreLookedUpAndSaved()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        const auto run = [&](const char* command, int status) {
            ScanCli cli;
            const int ended = cli.runOn(laboratory.instrument, words(command));
            return ended == status ? cli.out + '|' + cli.err : "status " + QByteArray::number(ended) + ": " + cli.err;
        };
        QCOMPARE(run("pid show 25", 0), QByteArray("R2P25I500D0\n|"));
        QCOMPARE(run("pid show 25,01", 0), QByteArray("R3P300I50D0\n|"));
        const QByteArray above = run("pid show 310", 1);
        VERIFY_OR_SHOW(above.startsWith("R3P300I50D0\n|[Attention] This file did not contain"), above);
        QVERIFY(run("ltc setpoint 77.5 --no-wait", 0).startsWith("Setpoint: 77.5 K\n"));
        const QByteArray saved = run("pid save", 0);
        VERIFY_OR_SHOW(saved.contains("[Save data] Setpoint: 77.5\n\nR: 0\nP: 300\nI: 50\nD: 0\nSaving RPID parameter to "), saved);
        QCOMPARE(laboratory.instrument.read(u"ls331.pid"_s).replace("\r\n", "\n"),
                 QByteArray("25=R2P25I500D0\n77.5=R0P300I50D0\n300=R3P300I50D0\n"));
        QCOMPARE(run("pid show 60", 0), QByteArray("R0P300I50D0\n|"));
    }

    void parametersOfTheFurnaceAreLookedUpAndSaved()
    {
        Laboratory laboratory("HTC", words("--htc"));
        ScanCli looked;
        QCOMPARE(looked.runOn(laboratory.instrument, words("pid show 500")), 0);
        QCOMPARE(looked.out, QByteArray("P71I8D2\n"));
        ScanCli saved;
        VERIFY_OR_SHOW(saved.runOn(laboratory.instrument, words("pid save")) == 0, saved.err);
        QCOMPARE(saved.out, QByteArray("Saved: 20=P71I8D2\n"));
        QCOMPARE(laboratory.instrument.read(u"htc.pid"_s).replace("\r\n", "\n"), QByteArray("20=P71I8D2\n900=P71I8D2\n"));
    }

    void tablesAreLookedUpWithoutAController()
    {
        Laboratory laboratory("LTC", words("--ltc 331 --fault ltc/silent"));
        const auto append = [&](const QString& name, const QByteArray& text) {
            QFile file(laboratory.instrument.path(name));
            return file.open(QIODevice::Append) && file.write(text) == text.size();
        };
        QVERIFY(append(u"scan.ini"_s, "\r\n[HTC]\r\nHTC=1\r\n") && append(u"htc.pid"_s, "900=P60I7D1\r\n"));
        laboratory.forget();
        const auto run = [&](const char* command, int status) {
            ScanCli cli;
            const int ended = cli.runOn(laboratory.instrument, words(command));
            return ended == status ? cli.out + '|' + cli.err : "status " + QByteArray::number(ended) + ": " + cli.err;
        };
        QCOMPARE(run("pid show 25 --ltc", 0), QByteArray("R2P25I500D0\n|"));
        QCOMPARE(run("pid show 25 --htc", 0), QByteArray("P60I7D1\n|"));
        QCOMPARE(run("pid show 25", 0), QByteArray("P60I7D1\n|"));
        VERIFY_OR_SHOW(run("pid show 25 --ltc --htc", 2).startsWith("|pid show: wrong values."), run("pid show 25 --ltc --htc", 2));
        QCOMPARE(laboratory.commands(), QByteArrayList());
    }

    void parametersOfAFurnaceThatIsNotThereAreNotSaved()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        ScanCli cli;
        QCOMPARE(cli.runOn(laboratory.instrument, words("pid save --htc")), 1);
        VERIFY_OR_SHOW(cli.err.contains("The high-temperature controller does not answer."), cli.err);
        QVERIFY(!QFile::exists(laboratory.instrument.path(u"htc.pid"_s)));
    }

    // --- switched off and on

    void aCryostatSwitchedOffDuringAWaitIsWaitedFor()
    {
        // off after the fourth reading: 7 lines come before the first
        Laboratory laboratory("LTC", words("--ltc 331 --fault ltc/off:11:5s"), {"[LTC]\nRxTimeout=2"});
        ScanCli cli;
        VERIFY_OR_SHOW(cli.runOn(laboratory.instrument, words("ltc setpoint 250 --log")) == 0, cli.err);
        VERIFY_OR_SHOW(cli.err.contains("Current Temperature X: -1.00 K"), cli.err);
        compareSwitching(laboratory, "KRDG?");
        compareWait(laboratory, "KRDG?", leadingNumber, 250, " K", cli.out);
    }

    void aFurnaceSwitchedOffDuringAWaitIsWaitedFor()
    {
        // 3 lines switch the heater on, 6 more come before the first reading
        Laboratory laboratory("HTC", words("--htc --fault htc/off:13:5s"), {"[LTC]\nRxTimeout=2"});
        ScanCli on;
        VERIFY_OR_SHOW(on.runOn(laboratory.instrument, words("htc heater on")) == 0, on.err);
        ScanCli cli;
        VERIFY_OR_SHOW(cli.runOn(laboratory.instrument, words("htc setpoint 300 --log")) == 0, cli.err);
        VERIFY_OR_SHOW(cli.err.contains("Current Temperature X: -1.00 \xc2\xb0"
                                        "C"),
                       cli.err);
        compareSwitching(laboratory, "R001NF?");
        compareWait(laboratory, "R001NF?", blockTemperature, 300,
                    "\xc2\xb0"
                    "C",
                    cli.out);
    }

    void aLaserSwitchedOffDuringItsDelayIsThereAfterwards()
    {
        Laboratory laboratory("Laser", words("--laser --fault laser/off:2:1s"), {"[Laser]\nStabilizationDelay=3"});
        ScanCli cli;
        VERIFY_OR_SHOW(cli.runOn(laboratory.instrument, words("laser set 300")) == 0, cli.err);
        const QByteArrayList record = laboratory.record();
        QVERIFY(record.contains("-- switched off") && record.contains("-- switched on"));
        ScanCli on;
        VERIFY_OR_SHOW(on.runOn(laboratory.instrument, words("laser beam on")) == 0, on.err);
        QCOMPARE(laboratory.lastAnswer(), QByteArray(":ok"));
    }

#ifdef Q_OS_UNIX
    void aProgramThatWasKilledIsStartedAgain()
    {
        Laboratory laboratory("LTC", words("--ltc 331"));
        ScanCli killed;
        killed.startOn(laboratory.instrument, words("ltc setpoint 250 --current"));
        VERIFY_OR_SHOW(killed.says("Current Temperature X: "), killed.err);
        killed.process.kill();
        QVERIFY(killed.process.waitForFinished(patience));
        QTRY_VERIFY_WITH_TIMEOUT(laboratory.isLeft(), patience);
        ScanCli again;
        VERIFY_OR_SHOW(again.runOn(laboratory.instrument, words("ltc temperature")) == 0, again.err);
        QCOMPARE(again.err, QByteArray());
        QCOMPARE(leadingNumber(again.out), leadingNumber(laboratory.lastAnswer()));
    }
#endif
};

QTEST_GUILESS_MAIN(tst_temperature)
#include "tst_temperature.moc"
