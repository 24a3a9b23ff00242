// SPDX-License-Identifier: GPL-3.0-or-later
//
// The program as it is started by hand, reached over a pseudo-terminal and over TCP.
#include "Bench.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QMap>
#include <QProcess>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

#ifdef Q_OS_UNIX
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>
#endif

namespace {

constexpr int patience = 20'000; // ms until a test gives up

/// One end of a line, whatever it is made of.
struct Wire
{
    virtual ~Wire() = default;
    virtual void send(const QByteArray& bytes) = 0;
    /// Bytes that have come by now, after waiting for some; empty when the line is gone or nothing comes.
    virtual QByteArray fetch() = 0;
    virtual bool gone() const = 0;

    QByteArray askUntil(const QByteArray& text, const QByteArray& ending)
    {
        send("\r\n" + text);
        QByteArray answer;
        while (!answer.endsWith(ending)) {
            const QByteArray more = fetch();
            if (more.isEmpty())
                break;
            answer += more;
        }
        return answer;
    }
    QByteArray ask(const QByteArray& text) { return askUntil(text, "\r\n"); }
};

struct TcpWire : Wire
{
    explicit TcpWire(const QString& address)
    {
        socket.connectToHost("127.0.0.1", address.section(':', -1).toUShort());
        socket.waitForConnected(patience);
    }
    void send(const QByteArray& bytes) override
    {
        socket.write(bytes);
        socket.flush();
    }
    QByteArray fetch() override
    {
        if (socket.bytesAvailable() == 0 && socket.state() == QAbstractSocket::ConnectedState)
            socket.waitForReadyRead(patience);
        return socket.readAll();
    }
    bool gone() const override { return socket.state() != QAbstractSocket::ConnectedState; }
    QTcpSocket socket;
};

#ifdef Q_OS_UNIX
struct TerminalWire : Wire
{
    explicit TerminalWire(const QString& path) : descriptor(::open(QFile::encodeName(path).constData(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {}
    ~TerminalWire() override
    {
        if (descriptor >= 0)
            ::close(descriptor);
    }
    void send(const QByteArray& bytes) override
    {
        if (::write(descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size())) < 0)
            lost = true;
    }
    QByteArray fetch() override
    {
        pollfd entry{descriptor, POLLIN, 0};
        if (::poll(&entry, 1, patience) <= 0)
            return {};
        char buffer[4096];
        const ssize_t length = ::read(descriptor, buffer, sizeof buffer);
        lost = length <= 0;
        return lost ? QByteArray() : QByteArray(buffer, static_cast<qsizetype>(length));
    }
    bool gone() const override { return lost || descriptor < 0; }
    int descriptor;
    bool lost = false;
};
#endif

struct Instrument
{
    explicit Instrument(const QStringList& arguments)
    {
        process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        process.start(VIRTUAL_INSTRUMENT, arguments);
        QString line;
        while (line != "ready" && !(line = nextLine()).isNull())
            if (line.contains(" line: "))
                addresses.insert(line.section(" line: ", 0, 0), line.section(" line: ", 1));
        address = addresses.value("SMC");
        ready = line == "ready";
    }
    ~Instrument() { end(); }
    QString nextLine()
    {
        while (!process.canReadLine())
            if (!process.waitForReadyRead(patience))
                return {};
        return QString::fromUtf8(process.readLine()).trimmed();
    }
    bool end()
    {
        if (process.state() != QProcess::Running)
            return process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
        process.terminate();
        return process.waitForFinished(patience) && process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
    }
    std::unique_ptr<Wire> connect() const
    {
#ifdef Q_OS_UNIX
        if (!address.startsWith("tcp:"))
            return std::make_unique<TerminalWire>(address);
#endif
        return std::make_unique<TcpWire>(address);
    }
    QProcess process;
    QString address;
    QMap<QString, QString> addresses; ///< by device
    bool ready = false;
};

void lines()
{
    QTest::addColumn<bool>("tcp");
    QTest::newRow("tcp") << true;
#ifdef Q_OS_UNIX
    QTest::newRow("pseudo-terminal") << false;
#endif
}

QStringList served(bool tcp, const QTemporaryDir& directory, const QStringList& more = {})
{
    QStringList arguments{"--dir", directory.path()};
    if (tcp)
        arguments += {"--tcp", "0"};
    return arguments + more;
}

} // namespace

class TestProgram : public QObject
{
    Q_OBJECT

private slots:
    void aScanRunsOverTheLine_data();
    void aScanRunsOverTheLine();
    void theIniLeadsToTheLine_data();
    void theIniLeadsToTheLine();
    void theIniEnablesTheDevicesPlayed();
    void theTemperatureDevicesComeWithWhatTheyNeed_data();
    void theTemperatureDevicesComeWithWhatTheyNeed();
    void onlyOneTemperatureDeviceIsPlayed_data();
    void onlyOneTemperatureDeviceIsPlayed();
    void aClientMayComeAndGo_data() { lines(); }
    void aClientMayComeAndGo();
#ifdef Q_OS_UNIX
    void aKilledClientLeavesAFreshLine();
#endif
    void aLineThatHangsUpIsGone_data()
    {
        lines();
    }
    void aLineThatHangsUpIsGone();
    void aLineThatReturnsGoesOn_data()
    {
        lines();
    }
    void aLineThatReturnsGoesOn();
    void anOldRunIsFoundAndStopped();
    void aFullCountMemoryIsReadWhole();
    void theTraceHoldsBothDirections();
    void theLinkIsRemovedAtTheEnd();
    void helpAndFaultListEndAtOnce();
    void aBadOptionIsReported();
};

void TestProgram::aScanRunsOverTheLine_data()
{
    QTest::addColumn<bool>("tcp");
    QTest::addColumn<int>("axes");
    for (const int axes : {1, 2}) {
        QTest::addRow("tcp, %d axes", axes) << true << axes;
#ifdef Q_OS_UNIX
        QTest::addRow("pseudo-terminal, %d axes", axes) << false << axes;
#endif
    }
}

void TestProgram::aScanRunsOverTheLine()
{
    QFETCH(bool, tcp);
    QFETCH(int, axes);
    QTemporaryDir directory;
    Instrument instrument(served(tcp, directory, {"--speed", "100", "--axes", QString::number(axes)}));
    QVERIFY(instrument.ready);
    const auto wire = instrument.connect();
    QCOMPARE(wire->ask("?S;"), axes == 2 ? QByteArray("S1:128 S2:128\r\n") : QByteArray("S1:128\r\n"));
    for (const QByteArray& line : axes == 2 ? twoAxesScan(26.0, 0.02, 61, 0.1) : oneAxisScan(26.0, 0.02, 61, 0.1))
        wire->send("\r\n" + line);
    QElapsedTimer watch;
    watch.start();
    QByteArray status;
    while (status != "S1:128\r\n" && watch.elapsed() < patience)
        status = wire->ask("?S1;");
    QCOMPARE(status, QByteArray("S1:128\r\n"));
    const QByteArray answer = wire->askUntil("?CNT;", "CEND;\r\n");
    QCOMPARE(answer.count("\r\n"), 62);
    QList<QByteArray> values = answer.split('\n');
    const auto highest = std::max_element(values.begin(), values.begin() + 61, [](const QByteArray& a, const QByteArray& b) {
        return a.trimmed().toLongLong() < b.trimmed().toLongLong();
    });
    const double angle = 26.0 + 0.02 * static_cast<double>(highest - values.begin());
    QVERIFY2(std::abs(angle - 26.64) < 0.05, qPrintable(QString::number(angle)));
    QVERIFY(instrument.end());
}

void TestProgram::theIniLeadsToTheLine_data()
{
    lines();
}

void TestProgram::theIniLeadsToTheLine()
{
    QFETCH(bool, tcp);
    QTemporaryDir directory;
    Instrument instrument(served(tcp, directory));
    QFile file(directory.filePath("scan.ini"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QList<QByteArray> ini = file.readAll().replace("\r\n", "\n").split('\n');
    QVERIFY(ini.contains("SerialDevice=" + instrument.address.toUtf8()));
    QVERIFY(ini.contains("DelaySleep=1"));
    QVERIFY(ini.contains("StripInterval=10"));
    QVERIFY(ini.contains("GoniometerType=Theta-2-Theta"));
    for (const char* line : {"ScanStart=20", "ScanStop=32", "ScanStep=0.02", "CounterTime=0.1"})
        QVERIFY2(ini.contains(QByteArray(line)), line);
    QCOMPARE(instrument.connect()->ask("?S1;"), QByteArray("S1:128\r\n"));
}

void TestProgram::theIniEnablesTheDevicesPlayed()
{
    QTemporaryDir directory;
    const auto ini = [&] {
        QFile file(directory.filePath("scan.ini"));
        return file.open(QIODevice::ReadOnly) ? file.readAll().replace("\r\n", "\n") : QByteArray();
    };
    QByteArray fresh;
    {
        Instrument instrument(served(true, directory, {"--generator"}));
        QVERIFY(instrument.ready);
        fresh = ini();
        const QString address = instrument.addresses.value("Generator");
        QVERIFY(fresh.contains("SerialDevice=" + address.toUtf8() + '\n'));
        for (const char* line : {"[Generator]\n", "Remote=1\n", "Shutter=1\n", "Model=Seifert\n", "GeneratorPowerSettlingTime="})
            QVERIFY2(fresh.contains(line), line);
        TcpWire wire(address);
        wire.send("VN\r");
        QCOMPARE(wire.fetch(), QByteArray("*0000040000\r"));
    }
    Instrument without(served(true, directory));
    QVERIFY(ini().contains("Remote=0\n")); // or the program would look for a generator that nobody plays
    QVERIFY(ini().contains("Shutter=0\n"));
    QVERIFY(without.end());
    QTemporaryDir other;
    Instrument plain(served(true, other));
    QFile file(other.filePath("scan.ini"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QVERIFY(!file.readAll().contains("Remote"));
}

void TestProgram::theTemperatureDevicesComeWithWhatTheyNeed_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<QString>("name");
    QTest::addColumn<QByteArray>("command");
    QTest::addColumn<QByteArray>("answer"); // its beginning
    QTest::addColumn<QByteArray>("enabled");
    QTest::addColumn<QString>("file");
    QTest::addColumn<QByteArray>("lastLine");
    const auto row = [](const QStringList& options, const char* name, const char* command, const char* answer, const char* enabled,
                        const char* file, const char* lastLine) {
        QTest::newRow(qPrintable(options.join(' '))) << options << QString(name) << QByteArray(command) << QByteArray(answer)
                                                     << QByteArray(enabled) << QString(file) << QByteArray(lastLine);
    };
    row({"--ltc", "330"}, "LTC", "*IDN?\r\n", "LSCI,MODEL330,", "Model=ls330\n", "ls330.pid", "300=R3P300I50D0\n");
    row({"--ltc", "331"}, "LTC", "*IDN?\r\n", "LSCI,MODEL331S,", "Model=ls331\n", "ls331.pid", "300=R3P300I50D0\n");
    row({"--ltc", "emu"}, "LTC", "*IDN?\r\n", "LSCI,MODEL331S,", "Model=ls331emuls330\n", "ls331.pid", "300=R3P300I50D0\n");
    row({"--ltc", "drc91"}, "LTC", "W3\r\n", "50.0,00.0,20.0\r\n", "Model=drc91\n", "drc91.pid", "300=R5P40I01D10\n");
    row({"--ltc", "drc81"}, "LTC", "WP\r\n", "298.00K\r\n", "Model=drc81\n", "drc81.pid", "300=R4P40I01D10\n");
    row({"--htc"}, "HTC", "R001NT?\r\n", "A001NT", "[HTC]\nHTC=1\n", "htc.pid", "900=P71I8D2\n");
    row({"--laser"}, "Laser", ":r 12\r", ":0\r\n", "[Laser]\n", "", "");
}

void TestProgram::theTemperatureDevicesComeWithWhatTheyNeed()
{
    QFETCH(QStringList, options);
    QFETCH(QString, name);
    QFETCH(QByteArray, command);
    QFETCH(QByteArray, answer);
    QFETCH(QByteArray, enabled);
    QFETCH(QString, file);
    QFETCH(QByteArray, lastLine);
    QTemporaryDir directory;
    const auto textOf = [&](const QString& fileName) {
        QFile opened(directory.filePath(fileName));
        return opened.open(QIODevice::ReadOnly) ? opened.readAll().replace("\r\n", "\n") : QByteArray();
    };
    {
        Instrument instrument(served(true, directory, options));
        QVERIFY(instrument.ready);
        const QString address = instrument.addresses.value(name);
        const QByteArray ini = textOf("scan.ini");
        QVERIFY2(ini.contains("[LTC]\n"), ini.constData());
        QVERIFY2(ini.mid(ini.indexOf("[LTC]")).contains("SerialDevice=" + address.toUtf8() + '\n'), ini.constData());
        QVERIFY2(ini.contains(enabled), ini.constData());
        QVERIFY2(ini.contains(name.toUtf8() + "=1\n"), ini.constData());
        QVERIFY(file.isEmpty() || textOf(file).endsWith(lastLine));
        TcpWire wire(address);
        wire.send(command);
        QByteArray heard;
        while (heard.size() < answer.size()) {
            const QByteArray more = wire.fetch();
            QVERIFY(!more.isEmpty());
            heard += more;
        }
        QVERIFY2(heard.startsWith(answer), heard.constData());
    }
    // the next time without it: it is switched off, and the operator's table of parameters is left alone
    QFile own(directory.filePath(file));
    if (!file.isEmpty()) {
        QVERIFY(own.open(QIODevice::WriteOnly));
        own.write("mine");
        own.close();
    }
    {
        Instrument plain(served(true, directory));
        QVERIFY(textOf("scan.ini").contains('\n' + name.toUtf8() + "=0\n"));
    }
    Instrument again(served(true, directory, options));
    QVERIFY(textOf("scan.ini").contains('\n' + name.toUtf8() + "=1\n"));
    QVERIFY(file.isEmpty() || textOf(file) == "mine");
}

void TestProgram::onlyOneTemperatureDeviceIsPlayed_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::newRow("ltc and htc") << QStringList{"--ltc", "331", "--htc"};
    QTest::newRow("htc and laser") << QStringList{"--htc", "--laser"};
    QTest::newRow("laser and ltc") << QStringList{"--laser", "--ltc=330"};
}

void TestProgram::onlyOneTemperatureDeviceIsPlayed()
{
    QFETCH(QStringList, options);
    QProcess process;
    process.start(VIRTUAL_INSTRUMENT, options);
    QVERIFY(process.waitForFinished(patience));
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().contains("--ltc, --htc and --laser share one line: give one of them"));
}

void TestProgram::aClientMayComeAndGo()
{
    QFETCH(bool, tcp);
    QTemporaryDir directory;
    QFile trace(directory.filePath("trace"));
    Instrument instrument(served(tcp, directory, {"--trace", trace.fileName()}));
    QVERIFY(trace.open(QIODevice::ReadOnly));
    QByteArray text;
    for (int visit = 1; visit <= 5; ++visit) {
        auto wire = instrument.connect();
        QCOMPARE(wire->ask("?S1;"), QByteArray("S1:128\r\n"));
        wire->send("\r\n?V;?CNT;?V;");
        QVERIFY(!wire->fetch().isEmpty());
        wire.reset(); // and leaves with the answer half unread
        QTRY_COMPARE_WITH_TIMEOUT((text += trace.readAll()).count("line left"), visit, patience);
    }
    QCOMPARE(instrument.connect()->ask("?P1;"), QByteArray("P1:0.000\r\n"));
    QVERIFY(instrument.end());
}

#ifdef Q_OS_UNIX
// Settings and the claim of a client that could not put them back are gone when the next one comes.
void TestProgram::aKilledClientLeavesAFreshLine()
{
    QTemporaryDir directory;
    QFile trace(directory.filePath("trace"));
    Instrument instrument(served(false, directory, {"--ltc", "331", "--trace", trace.fileName()}));
    QVERIFY(trace.open(QIODevice::ReadOnly));
    QByteArray text;
    const QByteArray line = QFile::encodeName(instrument.addresses.value("LTC"));
    for (int visit = 1; visit <= 3; ++visit) {
        const int client = ::open(line.constData(), O_RDWR | O_NOCTTY | O_NONBLOCK);
        QVERIFY2(client >= 0, "refused");
        int claimed = -1;
        QCOMPARE(::ioctl(client, TIOCGEXCL, &claimed), 0);
        QCOMPARE(claimed, 0);
        termios settings{};
        QCOMPARE(::tcgetattr(client, &settings), 0);
        QCOMPARE(::cfgetospeed(&settings), speed_t(B9600));
        QCOMPARE(int(settings.c_lflag & (ICANON | ECHO)), 0);
        // what a program sets: seven bits are refused when they are all that changes
        settings.c_cflag = (settings.c_cflag & ~tcflag_t(CSIZE)) | CS7 | CLOCAL;
        settings.c_cc[VMIN] = 0;
        QCOMPARE(::cfsetspeed(&settings, B1200), 0);
        QCOMPARE(::tcsetattr(client, TCSANOW, &settings), 0);
        QCOMPARE(::ioctl(client, TIOCEXCL), 0);
        ::close(client);
        QTRY_COMPARE_WITH_TIMEOUT((text += trace.readAll()).count("LTC -- line left"), visit, patience);
    }
    QVERIFY(instrument.end());
}
#endif

void TestProgram::aLineThatHangsUpIsGone()
{
    QFETCH(bool, tcp);
    QTemporaryDir directory;
    Instrument instrument(served(tcp, directory, {"--fault", "hang-up:2"}));
    const auto wire = instrument.connect();
    QCOMPARE(wire->ask("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(wire->ask("?S1;"), QByteArray());
    QVERIFY(wire->gone());
    QCOMPARE(instrument.nextLine(), QStringLiteral("SMC line closed"));
    QVERIFY(instrument.connect()->gone());
    QVERIFY(instrument.end());
}

void TestProgram::aLineThatReturnsGoesOn()
{
    QFETCH(bool, tcp);
    QTemporaryDir directory;
    Instrument instrument(served(tcp, directory, {"--speed", "100", "--fault", "hang-up-and-return:20"}));
    const auto wire = instrument.connect();
    const QList<QByteArray> scan = twoAxesScan(26.0, 0.02, 61, 0.1);
    for (const QByteArray& line : scan)
        wire->send("\r\n" + line);
    wire->ask("?S1;");
    QCOMPARE(wire->ask("?S1;"), QByteArray());
    QVERIFY(wire->gone());
    QCOMPARE(instrument.nextLine(), QStringLiteral("SMC line closed"));
    QVERIFY(instrument.connect()->gone());
    QCOMPARE(instrument.nextLine(), "SMC line: " + instrument.address); // after some seconds
    const auto again = instrument.connect();
    QCOMPARE(again->ask("?S1;"), QByteArray("S1:128\r\n"));
    QCOMPARE(again->askUntil("?CNT;", "CEND;\r\n").count("\r\n"), 62); // the run went on meanwhile
}

void TestProgram::anOldRunIsFoundAndStopped()
{
    QTemporaryDir directory;
    Instrument instrument(served(true, directory, {"--busy"}));
    const auto wire = instrument.connect();
    QCOMPARE(wire->ask("?S;"), QByteArray("S1:0 S2:0\r\n"));
    wire->send("\r\nQ;");
    QCOMPARE(wire->ask("?S;"), QByteArray("S1:128 S2:128\r\n"));
    const auto counts = wire->askUntil("?CNT;", "CEND;\r\n").count("\r\n") - 1;
    QVERIFY2(counts > 100 && counts < 601, qPrintable(QString::number(counts)));
}

void TestProgram::aFullCountMemoryIsReadWhole()
{
    QTemporaryDir directory;
    Instrument instrument(served(false, directory, {"--speed", "10000", "--trace", directory.filePath("trace")}));
    if (!instrument.ready)
        QSKIP("no pseudo-terminals here");
    const auto wire = instrument.connect();
    for (const QByteArray& line : twoAxesScan(5.0, 0.005, 32'001, 0.1))
        wire->send("\r\n" + line);
    QElapsedTimer watch;
    watch.start();
    while (wire->ask("?S1;") != "S1:128\r\n" && watch.elapsed() < patience)
        ;
    const QByteArray answer = wire->askUntil("?CNT;", "CEND;\r\n");
    QCOMPARE(answer.count("\r\n"), 32'002);
    QVERIFY(answer.endsWith("\r\nCEND;\r\n"));
}

void TestProgram::theTraceHoldsBothDirections()
{
    QTemporaryDir directory;
    Instrument instrument(served(true, directory, {"--trace", directory.filePath("trace")}));
    instrument.connect()->ask("?S1;");
    QVERIFY(instrument.end());
    QFile file(directory.filePath("trace"));
    QVERIFY(file.open(QIODevice::ReadOnly));
    const QByteArray text = file.readAll();
    QVERIFY(text.contains(" SMC <- <cr><lf>?S1;\n"));
    QVERIFY(text.contains(" SMC -> S1:128<cr><lf>\n"));
}

void TestProgram::theLinkIsRemovedAtTheEnd()
{
#ifdef Q_OS_UNIX
    for (const int signal : {SIGINT, SIGTERM}) {
        QTemporaryDir directory;
        Instrument instrument(served(false, directory));
        QCOMPARE(instrument.address, QFileInfo(directory.path()).canonicalFilePath() + "/smc-line");
        QVERIFY(QFileInfo(instrument.address).isSymLink());
        ::kill(static_cast<pid_t>(instrument.process.processId()), signal);
        QVERIFY(instrument.process.waitForFinished(patience));
        QCOMPARE(instrument.process.exitCode(), 0);
        QVERIFY(!QFileInfo(instrument.address).isSymLink());
    }
#else
    QSKIP("no pseudo-terminals here");
#endif
}

void TestProgram::helpAndFaultListEndAtOnce()
{
    for (const QString option : {"--help", "--list-faults"}) {
        QProcess process;
        process.start(VIRTUAL_INSTRUMENT, {option});
        QVERIFY(process.waitForFinished(patience));
        QCOMPARE(process.exitCode(), 0);
        QVERIFY(process.readAllStandardOutput().contains("hang-up-and-return"));
    }
}

void TestProgram::aBadOptionIsReported()
{
    QProcess process;
    process.start(VIRTUAL_INSTRUMENT, {"--sample", "salt"});
    QVERIFY(process.waitForFinished(patience));
    QCOMPARE(process.exitCode(), 2);
    QVERIFY(process.readAllStandardError().contains("--sample does not take \"salt\""));
}

QTEST_GUILESS_MAIN(TestProgram)
#include "tst_program.moc"
