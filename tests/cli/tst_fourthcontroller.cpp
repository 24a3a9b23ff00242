// SPDX-License-Identifier: GPL-3.0-or-later
//
// What the console says of a temperature controller that src/ does not know.

#include "app/cli/Commands.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"
#include "temperature/Blower.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#ifdef Q_OS_UNIX
#include <cstdio>
#include <unistd.h>
#endif

namespace {
#ifdef Q_OS_UNIX
/// What a command writes to standard output.
QByteArray outputOf(const QStringList& words, int* status)
{
    QTemporaryDir directory;
    QFile file(directory.filePath(QStringLiteral("out")));
    if (!file.open(QIODevice::ReadWrite))
        return {};
    std::fflush(stdout);
    const int kept = dup(STDOUT_FILENO);
    dup2(file.handle(), STDOUT_FILENO);
    *status = cli::run(words);
    std::fflush(stdout);
    dup2(kept, STDOUT_FILENO);
    ::close(kept);
    file.seek(0);
    return file.readAll();
}
#endif

void write(const QString& path, const QByteArray& text)
{
    QFile file(path);
    QVERIFY(file.open(QIODevice::WriteOnly));
    QCOMPARE(file.write(text), text.size());
}
} // namespace

class FourthController : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        resetProgram();
        Temperature::state() = Temperature::State{};
        Temperature::controllers().prepend(Blower::controller());
    }
    void cleanup()
    {
        resetProgram();
        Temperature::state() = Temperature::State{};
        Blower::state() = Blower::State{};
    }

    void theCheckOfAProfileKnowsItsUnitRangeAndFileNames()
    {
#ifdef Q_OS_UNIX
        const TestClock clock;
        const QTemporaryDir directory;
        write(directory.filePath(QStringLiteral("scan.ini")),
              "[General]\nFileName=Quartz\nScanStart=10\nScanStop=12\nScanStep=0.5\nCounterTime=1\n[HTC]\nHTC=1\n[Blower]\nBlower=1\n");
        const QString profile = directory.filePath(QStringLiteral("p.gtp"));
        write(profile, "T1:30;T2:31;DT:.5;\r\nT1:1000;\r\n");
        int status = -1;
        const QByteArray shown = outputOf(
            {QStringLiteral("profile"), QStringLiteral("check"), profile, QStringLiteral("--program-dir"), directory.path()}, &status);
        QCOMPARE(status, int(cli::Failed));
        const QByteArrayList lines = shown.split('\n');
        QVERIFY2(lines.size() >= 6, shown.constData());
        QCOMPARE(lines.mid(0, 5), (QByteArrayList{"line 2: The valid temperature range is 25... 950!", "30 °C  Quartz_030.0.sdf",
                                                  "30.5 °C  Quartz_030.5.sdf", "31 °C  Quartz_031.0.sdf", "1000 °C  Quartz_1000.0.sdf"}));
        QVERIFY2(lines[5].startsWith("4 scans, about "), lines[5].constData());
#else
        QSKIP("standard output is caught the Unix way");
#endif
    }
};

QTEST_GUILESS_MAIN(FourthController)
#include "tst_fourthcontroller.moc"
