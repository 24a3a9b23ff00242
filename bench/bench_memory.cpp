// SPDX-License-Identifier: GPL-3.0-or-later

// What a long temperature profile leaves in memory: heap in use (less the names of the files, which the run keeps for its table) and
// resident memory after 20 scans and after 200, without a window and with the main window, its chart and the window of the run. The virtual
// instrument plays the devices, and time passes thirty times as fast. Prints "ratio NAME VALUE limit LIMIT" and ends with 1 when a limit is
// passed or a scan was not measured. Takes about two minutes. Usage: bench_memory [console|window]   without a word: both, each as a
// process of its own.

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "serial/modCOM.h"
#include "ui/frmMain.h"
#include "ui/frmProfileRun.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <cstdio>
#include <malloc.h>
#include <memory>
#include <unistd.h>

namespace {
constexpr int haste = 30;
constexpr int early = 20;
constexpr int late = 200;
constexpr double limit = 1.02;

/// The system's time, `haste` times as fast.
class HurriedClock : public modTools::Clock
{
public:
    HurriedClock()
    {
        m_since.start();
        modTools::setClock(this);
    }
    ~HurriedClock() override { modTools::setClock(nullptr); }
    Q_DISABLE_COPY_MOVE(HurriedClock)

    quint32 timeGetTime() override { return static_cast<quint32>(m_since.elapsed() * haste); }
    void processEvents(int, const std::function<bool()>&) override
    {
        QCoreApplication::processEvents();
        modTools::Timer::fireDue();
        idle(0);
    }
    void idle(int) override { QThread::usleep(200); }

private:
    QElapsedTimer m_since;
};

/// Says yes to everything.
class Agreeable : public Prompts
{
public:
    Button message(const Message& message) override { return message.goesOn; }
    QString input(const Input&) override { return {}; }
    ChosenFile openFile(const FileDialog&) override { return {}; }
    ChosenFile saveFile(const FileDialog&) override { return {}; }
};

struct Memory
{
    double heap = 0;     ///< bytes in use
    double resident = 0; ///< bytes
};

Memory memoryNow()
{
    Memory now;
    const auto heap = mallinfo2();
    now.heap = static_cast<double>(heap.uordblks + heap.hblkhd);
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (statm.open(QIODevice::ReadOnly))
        now.resident = statm.readAll().split(' ').value(1).toDouble() * static_cast<double>(sysconf(_SC_PAGESIZE));
    return now;
}

/// Bytes of the names of the files written, which the run keeps for its table and its report.
double fileNames(qsizetype from, qsizetype to)
{
    qsizetype bytes = 0;
    for (qsizetype i = from; i < to; ++i)
        bytes += ProfileRun::state().rows[i].file.capacity() * 2;
    return static_cast<double>(bytes);
}

/// Pauses that end an answer are long enough for a busy machine, waits for a steady temperature short.
bool settle(const QString& iniPath)
{
    QFile file(iniPath);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    QByteArray text = file.readAll();
    file.close();
    for (const char* const key : {"\nTxDelay=", "\nRxDelay=", "\nMinQueries="})
        text.replace(key, QByteArray("\n;") + (key + 1));
    text.replace("ScanStop=32", "ScanStop=40");
    text.replace("[smc]", "[smc]\nRxDelay=0.6\nMCRxTimeout=60");
    text.replace("[LTC]", "[LTC]\nTxDelay=0.1\nRxDelay=0.5\nRxTimeout=60\nMinQueries=3\nSmallWindow=3\nVerySmallWindow=1");
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

bool startInstrument(QProcess& instrument, const QString& directory)
{
    instrument.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    instrument.start(QCoreApplication::applicationDirPath() + QStringLiteral("/virtual-instrument"),
                     {QStringLiteral("--ltc"), QStringLiteral("331"), QStringLiteral("--speed"), QStringLiteral("3000"),
                      QStringLiteral("--dir"), directory});
    QByteArray said;
    while (!said.contains("ready") && instrument.waitForReadyRead(10000))
        said += instrument.readAllStandardOutput();
    return said.contains("ready") && settle(directory + QStringLiteral("/scan.ini"));
}

bool report(const char* how, const char* what, double before, double after)
{
    const double ratio = after / before;
    std::printf("ratio memory_%s_%s %.4f limit %.2f   (%.0f kB after %d scans, %.0f kB after %d)\n", how, what, ratio, limit, before / 1024,
                early, after / 1024, late);
    return ratio <= limit;
}

/// The run; true when every scan was measured.
bool run(Memory& before, Memory& after)
{
    QObject context;
    QObject::connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, &context, [&] {
        const ProfileRun::State& now = ProfileRun::state();
        if (now.current < 0 || now.rows[now.current].phase != ProfileRun::Phase::Done)
            return;
        if (now.current + 1 == early)
            before = memoryNow();
        if (now.current + 1 == late) {
            after = memoryNow();
            after.heap -= fileNames(early, late);
        }
    });
    bool good = ProfileRun::Execute() && ProfileRun::state().rows.size() == late;
    for (const ProfileRun::Row& row : std::as_const(ProfileRun::state().rows)) {
        good = good && row.phase == ProfileRun::Phase::Done && row.remarks.isEmpty();
        if (!row.remarks.isEmpty())
            std::printf("%s\n", qPrintable(row.remarks.join(u' ')));
    }
    return good;
}

int measure(bool withWindow)
{
    const QTemporaryDir directory;
    QProcess instrument;
    if (!startInstrument(instrument, directory.path()))
        return 2;
    Agreeable agreeable;
    setPrompts(&agreeable);
    bool good = false;
    Memory before, after;
    {
        const HurriedClock clock;
        modMain::SetProgramDirectory(directory.path());
        modMain::LoadSettings();
        std::unique_ptr<frmMain> window;
        if (withWindow) {
            window = std::make_unique<frmMain>();
            window->show();
            frmProfileRun::follow(window.get());
        }
        TProfile::state() = {{QStringLiteral("T1:297;T2:277.1;DT:0.1;")}, directory.filePath(QStringLiteral("long.gtp")), false};
        good = run(before, after);
        modCOM::close();
    }
    instrument.terminate();
    instrument.waitForFinished();
    setPrompts(nullptr);
    if (!good) {
        std::printf("Not every scan was measured.\n");
        return 1;
    }
    const char* const how = withWindow ? "window" : "console";
    good = report(how, "heap", before.heap, after.heap);
    return report(how, "resident", before.resident, after.resident) && good ? 0 : 1;
}
} // namespace

int main(int argc, char** argv)
{
    // What the C library keeps for the next request would count as in use; it only leaves that off when told before it starts.
    if (!qEnvironmentVariableIsSet("GLIBC_TUNABLES")) {
        qputenv("GLIBC_TUNABLES", "glibc.malloc.tcache_count=0");
        ::execv("/proc/self/exe", argv);
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const QString how = QCoreApplication::arguments().value(1);
    if (!how.isEmpty())
        return measure(how == QStringLiteral("window"));
    int status = 0;
    for (const char* const each : {"console", "window"})
        status |= QProcess::execute(QCoreApplication::applicationFilePath(), {QString::fromLatin1(each)});
    return status;
}
