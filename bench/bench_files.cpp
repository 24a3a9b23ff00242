// SPDX-License-Identifier: GPL-3.0-or-later

// How long saving, opening and exporting a scan of 32,001 points takes, against a bare pass over the same numbers: the digits made or read
// with the language's own conversions and the same bytes written to or read from the same disk. Prints "ratio NAME VALUE limit LIMIT" and
// ends with 1 when a limit is passed. Files go to the folder given, by default to memory (/dev/shm), so that what is compared is the
// program's work and not the disk's flush.

#include "core/ScanData.h"
#include "datafiles/ExportFormats.h"
#include "datafiles/modFile.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <functional>
#include <limits>

namespace {
constexpr qint32 points = 32001;
constexpr int rounds = 25;

using Text = std::array<char, 32>;

double fastest(const std::function<void()>& pass)
{
    double best = std::numeric_limits<double>::max();
    for (int i = 0; i < rounds; ++i) {
        const auto start = std::chrono::steady_clock::now();
        pass();
        best = std::min(best, std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count());
    }
    return best;
}

void writeBare(const QString& path, const QByteArray& bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Unbuffered) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
}

/// The digits of every number that the format holds, put into a buffer of its size, and that buffer written.
void bareWrite(const QString& path, qsizetype size, bool angles, bool fixedAngles)
{
    QByteArray bytes(qMax<qsizetype>(size, 1), ' ');
    char* at = bytes.data();
    char* const end = bytes.data() + bytes.size();
    Text text;
    const auto put = [&](std::to_chars_result made) {
        const auto length = made.ptr - text.data();
        if (end - at <= length)
            return;
        std::copy(text.data(), made.ptr, at);
        at += length + 1;
    };
    const ScanData& data = scanData();
    for (qint32 i = 1; i <= data.size(); ++i) {
        if (angles) {
            const double angle = data.parameters.start + (i - 1) * data.parameters.step;
            put(fixedAngles ? std::to_chars(text.data(), text.data() + text.size(), angle, std::chars_format::fixed, 4)
                            : std::to_chars(text.data(), text.data() + text.size(), angle, std::chars_format::general, 15));
        }
        put(std::to_chars(text.data(), text.data() + text.size(), static_cast<qint64>(data.count(i))));
    }
    writeBare(path, bytes);
}

/// The file read whole and its numbers taken out of it.
double bareRead(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        qFatal("cannot read %s", qPrintable(path));
    const QByteArray bytes = file.readAll();
    double sum = 0;
    const char* const end = bytes.constData() + bytes.size();
    for (const char* at = bytes.constData(); at != end;) {
        qint32 value = 0;
        const auto read = std::from_chars(at, end, value);
        if (read.ec == std::errc())
            sum += value;
        at = read.ec == std::errc() ? read.ptr : at + 1;
    }
    return sum;
}

bool report(const char* name, double program, double bare, double limit)
{
    const double ratio = program / bare;
    std::printf("ratio %s %.2f limit %.0f   (%.0f us, bare %.0f us)\n", name, ratio, limit, program, bare);
    return ratio <= limit;
}

void makeScan()
{
    constexpr double start = 10;
    constexpr double step = 0.005;
    ScanData& data = scanData();
    data.take(ScanRecord::of({start, start + (points - 1) * step, step, 1, points}));
    data.resize(points);
    for (qint32 i = 1; i <= points; ++i)
        data.setPoint(i, start + (i - 1) * step, 200 + std::floor(50000 * std::pow(std::sin(i * 0.01), 20)) + i % 97);
    data.sample = QStringLiteral("Quartz");
    data.comment = QStringLiteral("bench");
}
} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication app(argc, argv);
    constexpr double nativeLimit = 4;
    constexpr double exportLimit = 3;
    const QString where = argc > 1                                    ? QString::fromLocal8Bit(argv[1])
                          : QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm")
                                                                      : QDir::tempPath();
    const QTemporaryDir folder(where + QStringLiteral("/scan-bench-XXXXXX"));
    if (!folder.isValid())
        return 2;
    makeScan();
    bool good = true;
    for (const ExportFormats::Format& format : ExportFormats::formats()) {
        const QByteArray key(format.key);
        const QString path = folder.filePath(QString::fromLatin1(key));
        const QString barePath = folder.filePath(QStringLiteral("bare"));
        const double program = fastest([&] { format.writer(scanData(), path); });
        const qsizetype size = QFile(path).size();
        const bool native = key == "sdf";
        // ASCII Y is one line; what is left of it is the file itself, which nobody waits for.
        if (key == "ascii-y")
            continue;
        const double bare = fastest([&] { bareWrite(barePath, size, key == "uxd" || key == "ascii-xy", key == "uxd"); });
        good = report(("write-" + key).constData(), program, bare, native ? nativeLimit : exportLimit) && good;
    }
    const QString native = folder.filePath(QStringLiteral("sdf"));
    double sum = 0;
    const double bare = fastest([&] { sum = bareRead(native); });
    const double program = fastest([&] {
        if (!modFile::OpenScanFile(false, native))
            qFatal("cannot read %s", qPrintable(native));
    });
    good = report("read-sdf", program, bare, nativeLimit) && good && sum > 0;
    return good ? 0 : 1;
}
