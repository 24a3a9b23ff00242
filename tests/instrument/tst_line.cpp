// SPDX-License-Identifier: GPL-3.0-or-later
//
#include "Options.h"
#include "Pacer.h"
#include "ScanIni.h"
#include "Trace.h"

#include <QTemporaryDir>
#include <QTest>

using lab::fromSeconds;

class TestLine : public QObject
{
    Q_OBJECT

private slots:
    void bytesComeNoFasterThanTheBaudRate();
    void aLongAnswerComesInPieces();
    void answersQueueUp();
    void aLateAnswerHoldsNobodyBack();
    void slowLinesTakeLonger();
    void thePaceDoesNotDrift();
    void unprintableBytesAreWrittenOut();
    void aNewIniHasEverythingASessionNeeds();
    void anOldIniKeepsItsLines();
    void anIniWithoutTheSectionGetsOne();
    void theFirstOfTwoEqualSectionsWins();
    void optionsAreRead();
    void badOptionsAreRefused_data();
    void badOptionsAreRefused();
    void theHelpNamesEveryFault();
};

void TestLine::bytesComeNoFasterThanTheBaudRate()
{
    lab::Pacer pacer({9600, 10});
    pacer.push(fromSeconds(1.0), "S1:128\r\n");
    QCOMPARE(pacer.pop(fromSeconds(1.0)), std::string());
    QCOMPARE(pacer.pop(fromSeconds(1.0 + 1.5 / 960)), std::string("S"));
    QCOMPARE(pacer.pop(fromSeconds(1.0 + 4.5 / 960)), std::string("1:1"));
    QCOMPARE(pacer.pop(fromSeconds(1.0 + 7.9 / 960)), std::string("28\r"));
    QCOMPARE(pacer.pop(fromSeconds(1.0 + 8.1 / 960)), std::string("\n"));
    QVERIFY(!pacer.due().has_value());
}

void TestLine::aLongAnswerComesInPieces()
{
    lab::Pacer pacer({9600, 10});
    const std::string whole(100, 'x');
    pacer.push(lab::Time{0}, whole);
    std::string received;
    int pieces = 0;
    while (const auto due = pacer.due()) {
        const std::string piece = pacer.pop(*due);
        QVERIFY(!piece.empty() && piece.size() <= 16);
        received += piece;
        ++pieces;
    }
    QCOMPARE(received, whole);
    QVERIFY(pieces >= 6);
}

void TestLine::answersQueueUp()
{
    lab::Pacer pacer({9600, 10});
    pacer.push(lab::Time{0}, "one ");
    pacer.push(lab::Time{0}, "two");
    QCOMPARE(pacer.pop(fromSeconds(5.5 / 960)), std::string("one t"));
    QCOMPARE(pacer.pop(fromSeconds(1.0)), std::string("wo"));
}

void TestLine::aLateAnswerHoldsNobodyBack()
{
    lab::Pacer pacer({9600, 10});
    pacer.push(fromSeconds(3.0), "late");
    pacer.push(fromSeconds(1.0), "early");
    QCOMPARE(pacer.pop(fromSeconds(2.0)), std::string("early"));
    QCOMPARE(pacer.pop(fromSeconds(4.0)), std::string("late"));
}

void TestLine::slowLinesTakeLonger()
{
    lab::Pacer pacer({300, 10});
    pacer.push(lab::Time{0}, "123456");
    QCOMPARE(pacer.pop(fromSeconds(0.1001)), std::string("123"));
    QCOMPARE(pacer.pop(fromSeconds(0.2001)), std::string("456"));
}

void TestLine::thePaceDoesNotDrift()
{
    lab::Pacer pacer({9600, 10});
    const std::string whole(96'000, 'x');
    pacer.push(lab::Time{0}, whole);
    std::size_t length = 0;
    for (int ms = 7; ms < 99'990; ms += 7) // looked at in odd steps
        length += pacer.pop(std::chrono::milliseconds(ms)).size();
    QVERIFY(length < whole.size());
    length += pacer.pop(fromSeconds(100.001)).size();
    QCOMPARE(length, whole.size());
}

void TestLine::unprintableBytesAreWrittenOut()
{
    QCOMPARE(lab::visible(std::string("\r\n?S1;\x80\x01")), std::string("<cr><lf>?S1;<80><01>"));
    lab::Trace trace;
    std::string line;
    trace.setSink([&](const std::string& text) { line = text; });
    trace.sent(fromSeconds(1.2346), "SMC", "S1:0\r\n");
    QCOMPARE(line, std::string("       1.235 SMC -> S1:0<cr><lf>"));
}

void TestLine::aNewIniHasEverythingASessionNeeds()
{
    QTemporaryDir directory;
    QString why;
    QVERIFY(lab::writeScanIni(directory.path(), {{"smc", "SerialDevice", "tcp:127.0.0.1:4000"}}, {{"General", "ScanStart", "20"}}, why));
    QFile file(directory.filePath("scan.ini"));
    QVERIFY(file.open(QIODevice::ReadOnly));
#ifndef Q_OS_WIN
    QCOMPARE(file.readAll(), QByteArray("[General]\nScanStart=20\n\n[smc]\nSerialDevice=tcp:127.0.0.1:4000\n"));
#endif
}

void TestLine::anOldIniKeepsItsLines()
{
    QTemporaryDir directory;
    QFile file(directory.filePath("scan.ini"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("; mine\r\n[General]\r\nScanStart = 33\r\n\r\n[SMC]\r\nserialdevice=/dev/old\r\nTxDelay=.2\r\n[LTC]\r\nLTC=1");
    file.close();
    QString why;
    QVERIFY(lab::writeScanIni(directory.path(), {{"smc", "SerialDevice", "/dev/new"}}, {{"General", "ScanStart", "20"}}, why));
    QVERIFY(file.open(QIODevice::ReadOnly));
    QCOMPARE(file.readAll(),
             QByteArray("; mine\r\n[General]\r\nScanStart = 33\r\n\r\n[SMC]\r\nSerialDevice=/dev/new\r\nTxDelay=.2\r\n[LTC]\r\nLTC=1\r\n"));
}

void TestLine::anIniWithoutTheSectionGetsOne()
{
    QCOMPARE(lab::withValues("[General]\nA=1\n", {{"smc", "SerialDevice", "x"}}), QByteArray("[General]\nA=1\n\n[smc]\nSerialDevice=x\n"));
    QCOMPARE(lab::withValues("[smc]\n;SerialDevice=y\n\n[LTC]\n", {{"smc", "SerialDevice", "x"}}),
             QByteArray("[smc]\n;SerialDevice=y\nSerialDevice=x\n\n[LTC]\n"));
}

void TestLine::theFirstOfTwoEqualSectionsWins()
{
    QCOMPARE(lab::withValues("[smc]\nA=1\n[LTC]\n[smc]\nSerialDevice=y\n", {{"smc", "SerialDevice", "x"}}),
             QByteArray("[smc]\nA=1\nSerialDevice=x\n[LTC]\n[smc]\nSerialDevice=y\n"));
}

void TestLine::optionsAreRead()
{
    lab::Options options;
    QString why;
    QVERIFY2(lab::readOptions({"--dir",   "d",          "--tcp=0", "--axes",     "1",      "--sample", "lab6",    "--speed",
                               "100",     "--seed",     "5",       "--position", "1.5,-2", "--busy",   "--fault", "smc/silent:3",
                               "--fault", "hang-up:2s", "--trace", "t"},
                              options, why),
             qPrintable(why));
    QCOMPARE(options.directory, QStringLiteral("d"));
    QCOMPARE(options.tcpPort, 0);
    QCOMPARE(options.devices.goniometer.axes, 1);
    QCOMPARE(options.sample, QStringLiteral("lab6"));
    QCOMPARE(options.speed, 100.0);
    QCOMPARE(options.seed, quint64(5));
    QCOMPARE(options.devices.goniometer.position[0], 1.5);
    QCOMPARE(options.devices.goniometer.position[1], -2.0);
    QVERIFY(options.busy);
    QCOMPARE(options.faults.size(), std::size_t(2));
    QCOMPARE(options.traceFile, QStringLiteral("t"));
}

void TestLine::badOptionsAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::newRow("unknown") << QStringList{"--colour"};
    QTest::newRow("bare word") << QStringList{"quartz"};
    QTest::newRow("value missing") << QStringList{"--dir"};
    QTest::newRow("value not taken") << QStringList{"--busy=1"};
    QTest::newRow("axes") << QStringList{"--axes", "3"};
    QTest::newRow("sample") << QStringList{"--sample", "salt"};
    QTest::newRow("speed") << QStringList{"--speed", "0"};
    QTest::newRow("speed text") << QStringList{"--speed", "nan"};
    QTest::newRow("port") << QStringList{"--tcp", "99999"};
    QTest::newRow("fault") << QStringList{"--fault", "lazy"};
    QTest::newRow("device") << QStringList{"--fault", "printer/silent"};
    QTest::newRow("position") << QStringList{"--position", "1,2,3"};
    QTest::newRow("position beyond the switch") << QStringList{"--position", "500"};
}

void TestLine::badOptionsAreRefused()
{
    QFETCH(QStringList, arguments);
    lab::Options options;
    QString why;
    QVERIFY(!lab::readOptions(arguments, options, why));
    QVERIFY(!why.isEmpty());
}

void TestLine::theHelpNamesEveryFault()
{
    for (const lab::FaultEntry& entry : lab::faultTable())
        QVERIFY(lab::helpText().contains(QString::fromStdString(std::string(entry.name))));
}

QTEST_APPLESS_MAIN(TestLine)
#include "tst_line.moc"
