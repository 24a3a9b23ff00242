// SPDX-License-Identifier: GPL-3.0-or-later
//
// The console program on the temperature controllers of the virtual instrument: what it prints against what went over the line.

#include "support/SteadyReference.h"
#include "system/LabConsole.h"

#include <QDir>
#include <QRegularExpression>

using namespace Qt::StringLiterals;

namespace {
/// A command and what it was answered; empty: nothing.
struct Exchange
{
    QByteArray command;
    QByteArray answer;
};

/// The lab with one temperature controller, and what goes over its line.
class ControllerLab : public LabConsole
{
public:
    ControllerLab(const char* device, const QStringList& options) : LabConsole(options), m_device(device) {}
    ControllerLab(const char* device, const char* options) : ControllerLab(device, words(options)) {}

    /// Everything about the device since the last forget(): "<- ...", "-> ..." or "-- ...".
    QByteArrayList record() const
    {
        constexpr qsizetype timeStamp = 13;
        QByteArrayList lines;
        for (const QByteArray& line : trace().split('\n'))
            if (line.mid(timeStamp).startsWith(m_device + ' '))
                lines += line.mid(timeStamp + m_device.size() + 1);
        return lines;
    }
    /// The commands since then, each with the last answer before the next one.
    QList<Exchange> exchanges() const
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
    QByteArrayList commands() const
    {
        QByteArrayList list;
        for (const Exchange& one : exchanges())
            list += one.command;
        return list;
    }
    QByteArray lastAnswer() const
    {
        const QList<Exchange> all = exchanges();
        return all.isEmpty() ? QByteArray() : all.last().answer.trimmed();
    }

private:
    QByteArray m_device;
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
QByteArrayList writtenBlocks(const ControllerLab& lab)
{
    QByteArrayList blocks;
    for (const QByteArray& command : lab.commands()) {
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
QByteArrayList received(const ControllerLab& lab, const QByteArray& question)
{
    QByteArrayList texts;
    bool asked = false;
    for (const QByteArray& raw : lab.read(u"app.log"_s).split('\n')) {
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
void compareWait(const ControllerLab& lab, const QByteArray& question, float (*temperature)(const QByteArray&), float setpoint,
                 const QByteArray& unit, const QByteArray& out)
{
    QByteArrayList answers;
    for (const Exchange& one : lab.exchanges())
        if (one.command == question && !one.answer.isEmpty())
            answers += one.answer.trimmed();
    QByteArrayList texts = received(lab, question);
    std::vector<float> readings;
    for (const QByteArray& text : texts)
        readings.push_back(text.isEmpty() ? -1.0F : temperature(text));
    texts.removeAll(QByteArray());
    QCOMPARE(texts, answers);
    const SteadyReference expected = steadyReference(readings, setpoint);
    QCOMPARE(static_cast<int>(readings.size()), expected.readings);
    const QList<QByteArray> lines = out.trimmed().split('\n');
    const QByteArray& last = lines.last();
    VERIFY_OR_SHOW(last.startsWith("Steady: ") && last.count(unit) == 2, out);
    QCOMPARE(last.mid(8).split(' ').first().toFloat(), expected.mean);
    QCOMPARE(last.split(' ').value(4).toFloat(), expected.scatter);
}

/// A switched-off device: the record goes from readings over silence to readings.
void compareSwitching(const ControllerLab& lab, const QByteArray& question)
{
    int before = 0;
    int unheard = 0;
    int after = 0;
    int* count = &before;
    for (const QByteArray& line : lab.record()) {
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

const QByteArrayList startUp330{"*IDN?", "TUNE?"};
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
        QTest::addColumn<QByteArrayList>("preparing"); // before something is set: no reset
        QTest::addColumn<QByteArray>("temperature");
        QTest::addColumn<QByteArrayList>("setting"); // with the question for the setpoint
        QTest::addColumn<QByteArrayList>("status");
        QTest::addColumn<QByteArray>("shown"); // up to the power, which changes
        QTest::addColumn<QString>("query");
        const QByteArray lakeShore = "\nSetpoint: 250 K\nP: 300\nI: 50\nD: 0\nHeater range: 3\nHeater power: ";
        QTest::newRow("330") << u"330"_s << startUp330 << units330 << QByteArray("SDAT?") << setting330
                             << QByteArrayList{"GAIN?", "RSET?", "RATE?", "RANG?", "HEAT?", "SETP?"} << "LakeShore 330" + lakeShore
                             << u"*IDN?"_s;
        QTest::newRow("331 as 330") << u"emu"_s << startUp330 << QByteArrayList{"EMUL 1"} + units330 << QByteArray("SDAT?") << setting330
                                    << QByteArrayList{"GAIN?", "RSET?", "RATE?", "RANG?", "HEAT?", "SETP?"} << "LakeShore 331" + lakeShore
                                    << u"EMUL?"_s;
        QTest::newRow("331") << u"331"_s << QByteArrayList{"*IDN?"} << QByteArrayList() << QByteArray("KRDG?")
                             << QByteArrayList{"PID 1, 300, 50, 0", "RAMP 1,0,0", "RANGE 3", "SETP 1, 250", "SETP? 1"}
                             << QByteArrayList{"PID? 1", "RANGE?", "HTR?", "SETP? 1"} << "LakeShore 331" + lakeShore << u"PID? 1"_s;
        QTest::newRow("DRC-91CA") << u"drc91"_s << QByteArrayList{"W3"} << QByteArrayList() << QByteArray("WS")
                                  << QByteArrayList{"P40", "I1", "D10", "R5", "S250", "WP"} << QByteArrayList{"W3", "WP"}
                                  << QByteArray("LakeShore DRC-91CA\nSetpoint: 250 K\nP: 40\nI: 1\nD: 10\nHeater range: 5\nHeater power: ")
                                  << u"W3"_s;
        QTest::newRow("DRC-81C") << u"drc81"_s << QByteArrayList{"W1"} << QByteArrayList() << QByteArray("WS")
                                 << QByteArrayList{"P40", "I1", "D10", "R4", "S250", "WP"} << QByteArrayList{"W1", "WP"}
                                 << QByteArray(
                                        "LakeShore DRC-81C\nSetpoint: 250 K\nP: 40\nI: 1\nD: 10\nHeater range: 4\nHeater power: -1\n")
                                 << u"XDA"_s;
    }

    void everyModelIsAskedSetAndWaitedFor()
    {
        QFETCH(QString, model);
        QFETCH(QByteArrayList, startUp);
        QFETCH(QByteArrayList, preparing);
        QFETCH(QByteArray, temperature);
        QFETCH(QByteArrayList, setting);
        QFETCH(QByteArrayList, status);
        QFETCH(QByteArray, shown);
        QFETCH(QString, query);
        ControllerLab lab("LTC", {u"--ltc"_s, model});

        VERIFY_OR_SHOW(lab.run("ltc temperature") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), startUp + QByteArrayList{temperature});
        VERIFY_OR_SHOW(lab.cli.out.endsWith(" K\n"), lab.cli.out);
        QCOMPARE(leadingNumber(lab.cli.out), leadingNumber(lab.lastAnswer()));

        lab.forget();
        VERIFY_OR_SHOW(lab.run("ltc setpoint 250 --yes --log") == 0, lab.cli.err);
        const QByteArrayList sent = lab.commands();
        const QByteArrayList before = startUp + preparing + setting;
        QCOMPARE(sent.mid(0, before.size()), before);
        QCOMPARE(sent.count(temperature), sent.size() - before.size());
        VERIFY_OR_SHOW(lab.cli.out.startsWith("Setpoint: 250 K\nSteady: "), lab.cli.out);
        compareWait(lab, temperature, leadingNumber, 250, " K", lab.cli.out);

        lab.forget();
        // The DRC-91CA keeps to its short record until it is cleared.
        const bool cleared = model == u"drc91"_s;
        VERIFY_OR_SHOW(lab.run(cleared ? "ltc status --init" : "ltc status") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), startUp + (cleared ? QByteArrayList{"C"} : QByteArrayList{}) + status);
        VERIFY_OR_SHOW(lab.cli.out.startsWith(shown), lab.cli.out);
        if (model == u"drc91"_s) {
            const QList<Exchange> all = lab.exchanges();
            QCOMPARE(lab.cli.out.mid(shown.size()).trimmed().toInt(), all[all.size() - 2].answer.trimmed().split(',').value(4).toInt());
        }

        lab.forget();
        VERIFY_OR_SHOW(lab.run({u"ltc"_s, u"query"_s, query}) == 0, lab.cli.err);
        QCOMPARE(lab.commands(), startUp + QByteArrayList{query.toLatin1()});
        QVERIFY(!lab.lastAnswer().isEmpty());
        QCOMPARE(lab.cli.out.trimmed(), lab.lastAnswer());
    }

    void withoutWaitAndTableOnlyTheSetpointIsSent()
    {
        ControllerLab lab("LTC", "--ltc 331");
        VERIFY_OR_SHOW(lab.run("ltc setpoint 77,35 --current --no-wait") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), (QByteArrayList{"*IDN?", "SETP 1, 77.35", "SETP? 1"}));
        QCOMPARE(lab.cli.out, QByteArray("Setpoint: 77.35 K\n"));
    }

    void onlyWhatIsMeantToResets_data()
    {
        QTest::addColumn<QString>("command");
        QTest::addColumn<QByteArrayList>("sent");
        const QByteArrayList there{"*IDN?"};
        QTest::newRow("status of the goniometer") << u"status"_s << there;
        QTest::newRow("off") << u"off"_s << there + QByteArrayList{"RANGE 0", "RANGE?"};
        QTest::newRow("ltc init") << u"ltc init"_s << there + QByteArrayList{"*RST"};
        QTest::newRow("ltc default") << u"ltc default"_s << there + QByteArrayList{"*RST", "RANGE 0", "RANGE?"};
        QTest::newRow("--init") << u"ltc temperature --init"_s << there + QByteArrayList{"*RST", "KRDG?"};
    }
    void onlyWhatIsMeantToResets()
    {
        QFETCH(QString, command);
        QFETCH(QByteArrayList, sent);
        ControllerLab lab("LTC", "--ltc 331");
        VERIFY_OR_SHOW(lab.run(command.split(u' ')) == 0, lab.cli.err);
        QCOMPARE(lab.commands(), sent);
    }

    void controlCEndsTheWait()
    {
        ControllerLab lab("LTC", "--ltc 331");
        lab.cli.whenSays("Elapsed time: ", [&] { lab.cli.interrupt(); });
        QCOMPARE(lab.run("ltc setpoint 250 --current"), 3); // the start has switched the heater off: never steady
        QCOMPARE(lab.cli.out, QByteArray("Setpoint: 250 K\n"));
    }

    void aCooldownIsLoggedUntilItsTimeOrControlC()
    {
        ControllerLab lab("LTC", "--ltc 331");
        const auto logs = [&] { return QDir(lab.path()).entryList({u"cooldown_*.log"_s}, QDir::Files); };
        QCOMPARE(lab.run("ltc log 75"), 0);
        QCOMPARE(logs().size(), 1);
        QCOMPARE(lab.cli.out.count('\n'), 3); // one at once, and one each 30 s
        QCOMPARE(lab.read(logs().first()).replace("\r\n", "\n"), lab.cli.out);
        VERIFY_OR_SHOW(lab.cli.err.contains(logs().first().toLatin1()), lab.cli.err);
        const QRegularExpression form(u"^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d;[\\d.]+;[\\d.]+$"_s);
        for (const QByteArray& line : lab.cli.out.trimmed().split('\n'))
            VERIFY_OR_SHOW(form.match(QString::fromLatin1(line)).hasMatch(), line);
        QVERIFY(QFile::remove(lab.path(logs().first())));
        lab.desk.when([&] { return lab.cli.out.count('\n') >= 1; }, [&] { lab.cli.interrupt(); });
        QCOMPARE(lab.run("ltc log 600"), 3);
        QCOMPARE(lab.read(logs().first()).replace("\r\n", "\n"), lab.cli.out);
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
                                        << QByteArray("one of temperature|setpoint|status|query|log|init|default is wanted");
        QTest::newRow("no time") << ltc << words("ltc log 0") << 2 << QByteArray("ltc log: seconds are wanted, up to 1000000.");
        QTest::newRow("nothing to wait for") << ltc << words("ltc status --no-wait") << 2 << QByteArray("ltc status: sets no temperature.");
        QTest::newRow("another device") << ltc << words("htc temperature") << 1 << QByteArray("htc is not in use, or does not answer.");
        QTest::newRow("hot") << words("--htc") << words("htc setpoint 1501") << 1 << QByteArray("The setpoint lies outside 20 to 1500 °C.");
        QTest::newRow("half on") << words("--htc") << words("htc heater half") << 2 << QByteArray("htc heater: on or off is wanted.");
        QTest::newRow("laser") << words("--laser") << words("laser set 1201") << 1 << QByteArray("The value lies outside 20 to 1200 °C.");
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
        const char* const name = device.first() == u"--ltc"_s ? "LTC" : device.first() == u"--htc"_s ? "HTC" : "Laser";
        ControllerLab lab(name, device);
        QCOMPARE(lab.run(command), status);
        VERIFY_OR_SHOW(lab.cli.err.contains(explained), lab.cli.err);
        QCOMPARE(lab.cli.out, QByteArray());
        for (const QByteArray& sent : lab.commands())
            QVERIFY2(!sent.startsWith("SETP") && !sent.startsWith("S001") && !sent.startsWith(":w"), sent.constData());
    }

    void yesIsTakenByEveryCommand()
    {
        ControllerLab lab("LTC", "--ltc 331");
        for (const char* command : {"status", "stop", "ltc temperature", "pid show 100"}) {
            VERIFY_OR_SHOW(lab.run(words(command) + QStringList{u"--yes"_s}) == 0, command + lab.cli.err);
            VERIFY_OR_SHOW(lab.run(QStringList{u"--yes"_s} + words(command)) == 0, command + lab.cli.err);
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
        QTest::newRow("ltc silent after the start") << ltc + words("ltc/silent:1") << words("ltc temperature") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at the setpoint") << ltc + words("ltc/silent:1") << words("ltc setpoint 250") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at the status") << ltc + words("ltc/silent:3") << words("ltc status") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent at a question") << ltc + words("ltc/silent:1") << words("ltc query KRDG?") << QByteArrayList{noAnswer};
        QTest::newRow("ltc silent when parameters are saved")
            << ltc + words("ltc/silent:1") << words("pid save") << QByteArrayList{noAnswer};
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
        ControllerLab lab("HTC", device);
        QCOMPARE(lab.run(command), 1);
        for (const QByteArray& text : reported)
            VERIFY_OR_SHOW(lab.cli.err.contains(text), text + " is missing in:\n" + lab.cli.err);
        QCOMPARE(lab.cli.out, QByteArray());
        QCOMPARE(writtenBlocks(lab), QByteArrayList()); // nothing is written on the strength of a block that was not read
    }

    void theFurnaceIsSwitchedSetAndWaitedFor()
    {
        ControllerLab lab("HTC", "--htc");
        VERIFY_OR_SHOW(lab.run("htc temperature") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), (QByteArrayList{"R001NT?", "R001NF?"}));
        QCOMPARE(leadingNumber(lab.cli.out), blockTemperature(lab.exchanges().last().answer));

        lab.forget();
        VERIFY_OR_SHOW(lab.run("htc heater on") == 0, lab.cli.err);
        QCOMPARE(lab.commands().mid(0, 2), (QByteArrayList{"R001NT?", "R001NT?"}));
        QCOMPARE(writtenBlocks(lab).size(), 1);
        QCOMPARE(valueAt(writtenBlocks(lab).first(), 16), 1);

        lab.forget();
        VERIFY_OR_SHOW(lab.run("htc setpoint 300 --log") == 0, lab.cli.err);
        const QByteArrayList blocks = writtenBlocks(lab);
        QCOMPARE(blocks.size(), 2);
        QCOMPARE(valueAt(blocks[0], 7), 71);
        QCOMPARE(valueAt(blocks[0], 10), 8);
        QCOMPARE(valueAt(blocks[0], 13), 2);
        QCOMPARE(valueAt(blocks[1], 4), 300);
        QCOMPARE(valueAt(blocks[1], 16), 1);
        VERIFY_OR_SHOW(lab.cli.out.startsWith("Setpoint: 300 °C\nSteady: "), lab.cli.out);
        VERIFY_OR_SHOW(!lab.cli.err.contains("output is off"), lab.cli.err);
        compareWait(lab, "R001NF?", blockTemperature, 300, "°C", lab.cli.out);

        QCOMPARE(lab.run("htc status"), 0);
        QCOMPARE(lab.cli.out, QByteArray("Setpoint: 300 °C\nP: 71 %\nI: 8 s\nD: 2 s\nHeater output: on\n"));
        QCOMPARE(lab.run("htc heater off"), 0);
        QCOMPARE(lab.run("htc setpoint 200 --current --no-wait"), 0);
        VERIFY_OR_SHOW(lab.cli.err.contains("The heater output is off."), lab.cli.err);
    }

    void theLengthOfABlockCountsNotItsChecksum()
    {
        ControllerLab lab("HTC", "--htc --fault wrong-checksum");
        VERIFY_OR_SHOW(lab.run("htc status") == 0, lab.cli.err);
        VERIFY_OR_SHOW(lab.cli.out.contains("P: 71 %"), lab.cli.out);
    }

    void theLaserIsSwitchedSetAndWaitedFor()
    {
        ControllerLab lab("Laser", "--laser");
        VERIFY_OR_SHOW(lab.run("laser beam on") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), (QByteArrayList{":r 12", ":w 12 1", ":r 12"}));
        QCOMPARE(lab.lastAnswer(), QByteArray(":1"));
        lab.forget();
        VERIFY_OR_SHOW(lab.run("laser set 300") == 0, lab.cli.err);
        QCOMPARE(lab.commands(), (QByteArrayList{":r 12", ":w 30 0.5503", ":r 30"}));
        QCOMPARE(lab.cli.out, QByteArray("Temperature setpoint set to 300°C (0.5503A).\n"));
        VERIFY_OR_SHOW(lab.cli.err.contains("Temperature stabilization delay: "), lab.cli.err);
        QCOMPARE(lab.run("laser status"), 0);
        QCOMPARE(lab.cli.out, QByteArray("Beam on\n"));
        QCOMPARE(lab.run("laser beam off"), 0);
        QCOMPARE(lab.run("laser status"), 0);
        QCOMPARE(lab.cli.out, QByteArray("Beam off\n"));
    }

    void parametersAreLookedUpAndSaved()
    {
        ControllerLab lab("LTC", "--ltc 331");
        QCOMPARE(lab.said("pid show 25"), QByteArray("R2P25I500D0\n|"));
        QCOMPARE(lab.said("pid show 25,01"), QByteArray("R3P300I50D0\n|"));
        const QByteArray above = lab.said("pid show 310", 1);
        VERIFY_OR_SHOW(above.startsWith("R3P300I50D0\n|[Attention] This file did not contain"), above);
        QVERIFY(lab.said("ltc setpoint 77.5 --no-wait").startsWith("Setpoint: 77.5 K\n"));
        const QByteArray saved = lab.said("pid save");
        VERIFY_OR_SHOW(saved.contains("[Save data] Setpoint: 77.5\n\nR: 3\nP: 300\nI: 50\nD: 0\nSaving RPID parameter to "), saved);
        QCOMPARE(lab.read(u"ls331.pid"_s).replace("\r\n", "\n"), QByteArray("25=R2P25I500D0\n77.5=R3P300I50D0\n300=R3P300I50D0\n"));
        QCOMPARE(lab.said("pid show 60"), QByteArray("R3P300I50D0\n|"));
    }

    void parametersOfTheFurnaceAreLookedUpAndSaved()
    {
        ControllerLab lab("HTC", "--htc");
        QCOMPARE(lab.run("pid show 500"), 0);
        QCOMPARE(lab.cli.out, QByteArray("P71I8D2\n"));
        VERIFY_OR_SHOW(lab.run("pid save") == 0, lab.cli.err);
        QCOMPARE(lab.cli.out, QByteArray("Saved: 20=P71I8D2\n"));
        QCOMPARE(lab.read(u"htc.pid"_s).replace("\r\n", "\n"), QByteArray("20=P71I8D2\n900=P71I8D2\n"));
    }

    void tablesAreLookedUpWithoutAController()
    {
        ControllerLab lab("LTC", "--ltc 331 --fault ltc/silent");
        lab.configure(u"HTC"_s, u"HTC"_s, u"1"_s);
        QVERIFY(lab.store(u"htc.pid"_s, "900=P60I7D1\r\n"));
        QCOMPARE(lab.said("pid show 25 --ltc"), QByteArray("R2P25I500D0\n|"));
        QCOMPARE(lab.said("pid show 25 --htc"), QByteArray("P60I7D1\n|"));
        QCOMPARE(lab.said("pid show 25"), QByteArray("P60I7D1\n|"));
        const QByteArray both = lab.said("pid show 25 --ltc --htc", 2);
        VERIFY_OR_SHOW(both.startsWith("|pid show: wrong values."), both);
        QCOMPARE(lab.commands(), QByteArrayList());
    }

    void parametersOfAFurnaceThatIsNotThereAreNotSaved()
    {
        ControllerLab lab("LTC", "--ltc 331");
        QCOMPARE(lab.run("pid save --htc"), 1);
        VERIFY_OR_SHOW(lab.cli.err.contains("The high-temperature controller does not answer."), lab.cli.err);
        QVERIFY(!lab.has(u"htc.pid"_s));
    }

    // --- switched off and on

    void aCryostatSwitchedOffDuringAWaitIsWaitedFor()
    {
        // off after the fourth reading: 7 lines come before the first
        ControllerLab lab("LTC", "--ltc 331 --fault ltc/off:11:5s");
        VERIFY_OR_SHOW(lab.run("ltc setpoint 250 --log") == 0, lab.cli.err);
        VERIFY_OR_SHOW(lab.cli.err.contains("Current Temperature X: -1.00 K"), lab.cli.err);
        compareSwitching(lab, "KRDG?");
        compareWait(lab, "KRDG?", leadingNumber, 250, " K", lab.cli.out);
    }

    void aFurnaceSwitchedOffDuringAWaitIsWaitedFor()
    {
        // 3 lines switch the heater on, 6 more come before the first reading
        ControllerLab lab("HTC", "--htc --fault htc/off:13:5s");
        VERIFY_OR_SHOW(lab.run("htc heater on") == 0, lab.cli.err);
        VERIFY_OR_SHOW(lab.run("htc setpoint 300 --log") == 0, lab.cli.err);
        VERIFY_OR_SHOW(lab.cli.err.contains("Current Temperature X: -1.00 °C"), lab.cli.err);
        compareSwitching(lab, "R001NF?");
        compareWait(lab, "R001NF?", blockTemperature, 300, "°C", lab.cli.out);
    }

    void aLaserSwitchedOffDuringItsDelayIsThereAfterwards()
    {
        ControllerLab lab("Laser", "--laser --fault laser/off:3:1s");
        VERIFY_OR_SHOW(lab.run("laser set 300") == 0, lab.cli.err);
        const QByteArrayList record = lab.record();
        QVERIFY(record.contains("-- switched off") && record.contains("-- switched on"));
        VERIFY_OR_SHOW(lab.run("laser beam on") == 0, lab.cli.err);
        QCOMPARE(lab.lastAnswer(), QByteArray(":1"));
    }
};

QTEST_GUILESS_MAIN(tst_temperature)
#include "tst_temperature.moc"
