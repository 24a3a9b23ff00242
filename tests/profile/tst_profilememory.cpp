// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/FrontPanel.h"
#include "core/ScanData.h"
#include "goniometer/PlayedController.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#ifdef Q_OS_LINUX
#include <malloc.h>
#include <unistd.h>
#endif

using namespace Qt::StringLiterals;
using Button = Prompts::Button;
using Field = FrontPanel::Field;

namespace {
constexpr int early = 20;
constexpr int late = 200;
constexpr qint64 points = 1001;

#if defined(__GLIBC__) && !defined(__SANITIZE_ADDRESS__)
constexpr bool heapIsCounted = true;

/// Bytes in use on the heap.
qint64 heapInUse()
{
    const auto heap = mallinfo2();
    return static_cast<qint64>(heap.uordblks) + static_cast<qint64>(heap.hblkhd);
}
#else
constexpr bool heapIsCounted = false;

qint64 heapInUse()
{
    return 0;
}
#endif

/// Bytes of the names of the files written, which the run keeps for its table and its report.
qint64 fileNames(qsizetype from, qsizetype to)
{
    qint64 bytes = 0;
    for (qsizetype i = from; i < to; ++i)
        bytes += ProfileRun::state().rows[i].file.capacity() * 2;
    return bytes;
}

/// A goniometer with a scan of ordinary length and a low-temperature controller that has each temperature as soon as it is set.
struct Laboratory
{
    Laboratory() : smc(clock)
    {
        for (qint64 i = 0; i < points; ++i)
            smc.countLines << QByteArray::number(1000 + i % 7);
        smc.runTime = 3000;
        Configuration::LTC& ltc = configuration().ltc;
        ltc.line.settings = u"9600,o,7,1"_s;
        ltc.line.serialPort = 3;
        ltc.line.rxTimeout = 1;
        ltc.modelCode = modLTC::LakeShore331;
        ltc.ls331DefaultPID = u"300=R3P300I50D0"_s;
        ltc.minQueries = 2;
        modCOM::TCComm().configure(ltc.line);
        tc.plugInto(modCOM::TCComm());
        modTC::Connect();
        flags().ltcEnabled = true;
        tc.answerBy([this](const QByteArray& written) {
            const qsizetype at = written.lastIndexOf("SETP 1, ");
            if (at >= 0)
                kelvin = written.mid(at + 8).split('\r').constFirst().toDouble();
            return written.endsWith("KRDG?\r\n") ? QList<ScriptedDevice::Chunk>{{"+" + QByteArray::number(kelvin, 'f', 2) + "\r\n"}}
                                                 : QList<ScriptedDevice::Chunk>();
        });
        modTools::state().programDirectory = directory.path();
        configuration().general.workDir = directory.path();
        QFile table(directory.filePath(u"ls331.pid"_s));
        if (table.open(QIODevice::WriteOnly))
            table.write("25=R2P25I500D0\r\n300=R3P300I50D0\r\n");
        frontPanel().setText(Field::ScanStart, u"20"_s);
        frontPanel().setText(Field::ScanStop, u"40"_s);
        frontPanel().setText(Field::ScanStep, u"0.02"_s);
        frontPanel().setText(Field::CounterTime, u"0.1"_s);
        frontPanel().setText(Field::txtFileName, u"Quartz"_s);
    }
    TestClock clock;
    PlayedController smc;
    ScriptedDevice tc;
    ScriptedPrompts boxes;
    QTemporaryDir directory;
    double kelvin = 295;
};
} // namespace

class tst_profilememory : public QObject
{
    Q_OBJECT

private slots:
    void twoHundredScansTakeNoMoreMemoryThanTwenty()
    {
        resetGoniometer();
        ProfileRun::state() = {};
        Laboratory lab;
        TProfile::state() = {{u"T1:297;T2:277.1;DT:0.1;"_s}, lab.directory.filePath(u"p.gtp"_s), false};
        lab.boxes.expect(u"Temperature profile"_s, ProfileRun::SummaryText(), Button::Yes);
        lab.boxes.expect(u"Temperature profile"_s, u"Temperature profile finished!"_s);
        qint64 heapEarly = 0;
        qint64 heapLate = 0;
        QObject context;
        QObject::connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, &context, [&] {
            const ProfileRun::State& now = ProfileRun::state();
            if (now.current < 0 || now.rows[now.current].phase != ProfileRun::Phase::Done)
                return;
            lab.smc.writes = {};
            lab.tc.forget();
            if (now.current + 1 == early)
                heapEarly = heapInUse();
            if (now.current + 1 == late)
                heapLate = heapInUse() - fileNames(early, late);
        });
        QVERIFY(ProfileRun::Execute());
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(QDir(lab.directory.path()).entryList({u"*.sdf"_s}).size(), qsizetype(late));
        if (!heapIsCounted)
            QSKIP("nobody counts the heap here");
        QVERIFY(heapEarly > 0);
        QVERIFY2(heapLate < heapEarly + heapEarly / 50,
                 qPrintable(u"%1 bytes after %2 scans, %3 after %4"_s.arg(heapEarly).arg(early).arg(heapLate).arg(late)));
    }
};

int main(int argc, char** argv)
{
#ifdef Q_OS_LINUX
    // What the C library keeps for the next request would count as in use; it only leaves that off when told before it starts.
    if (!qEnvironmentVariableIsSet("GLIBC_TUNABLES")) {
        qputenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0");
        ::execv("/proc/self/exe", argv);
    }
#endif
    const QCoreApplication application(argc, argv);
    tst_profilememory test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_profilememory.moc"
