// SPDX-License-Identifier: GPL-3.0-or-later

// Reading a transfer of 32,001 counts into the scan, against a bare pass of std::from_chars over the same bytes in the same run. The last
// lines give the ratio of the two, and how long the line takes to bring these bytes.

#include "core/ScanRecord.h"
#include "goniometer/modSMC.h"

#include <benchmark/benchmark.h>

#include <QByteArray>
#include <QString>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <random>
#include <vector>

namespace {
constexpr int points = 32001;

QByteArray transferBytes()
{
    std::mt19937 generator(1);
    std::poisson_distribution<int> background(180);
    QByteArray bytes;
    for (int i = 0; i < points; ++i)
        bytes += QByteArray::number(background(generator) + (i % 400 == 0 ? 25000 : 0)) + "\r\n";
    return bytes + "CEND;\r\n";
}

const QByteArray& bytes()
{
    static const QByteArray theBytes = transferBytes();
    return theBytes;
}

qint32 readTransfer(const QString& reply, ScanRecord& scan)
{
    if (modSMC::ReceivedPoints(reply) != scan.parameters.numberOfPoints)
        return -1;
    return modSMC::StoreCounts(reply, scan);
}

qint32 barePass()
{
    qint32 maximum = 0;
    const char* at = bytes().constData();
    const char* const end = at + bytes().size();
    while (at < end) {
        qint32 count = 0;
        const auto [next, error] = std::from_chars(at, end, count);
        if (error != std::errc())
            break;
        maximum = std::max(maximum, count);
        at = next + 2;
    }
    return maximum;
}

ScanRecord prepared()
{
    ScanRecord scan = ScanRecord::of({10, 10 + (points - 1) * 0.002, 0.002, 1, points});
    scan.resize(points);
    return scan;
}

void transfer(benchmark::State& state)
{
    ScanRecord scan = prepared();
    const QString reply = QString::fromLatin1(bytes());
    for (auto _ : state)
        benchmark::DoNotOptimize(readTransfer(reply, scan));
}
BENCHMARK(transfer)->Unit(benchmark::kMicrosecond);

void fromChars(benchmark::State& state)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(barePass());
}
BENCHMARK(fromChars)->Unit(benchmark::kMicrosecond);

template <typename Work>
double microseconds(Work work)
{
    const auto before = std::chrono::steady_clock::now();
    benchmark::DoNotOptimize(work());
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - before).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

struct Reading
{
    double microseconds = 0;
    double ratio = 0; ///< to the bare pass
};

/// Medians of pairs measured in turn, so that a busy machine hits both alike.
Reading measured()
{
    ScanRecord scan = prepared();
    const QString reply = QString::fromLatin1(bytes());
    std::vector<double> times, ratios;
    for (int i = 0; i < 201; ++i) {
        times.push_back(microseconds([&] { return readTransfer(reply, scan); }));
        ratios.push_back(times.back() / microseconds(barePass));
    }
    return {median(times), median(ratios)};
}
} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    ScanRecord scan = prepared();
    if (readTransfer(QString::fromLatin1(bytes()), scan) != barePass()) {
        std::fprintf(stderr, "the two passes disagree\n");
        return 1;
    }
    constexpr double limit = 3;
    constexpr double bytesPerSecond = 960; // 9600 baud, ten bits a byte
    const Reading ours = measured();
    std::printf("ratio transfer %.2f limit %.0f\n", ours.ratio, limit);
    const double line = static_cast<double>(bytes().size()) / bytesPerSecond;
    std::printf("the line brings these %d bytes in %.0f s, reading them takes %.2f ms: the line takes %.0f times as long\n",
                static_cast<int>(bytes().size()), line, ours.microseconds / 1e3, line * 1e6 / ours.microseconds);
    return ours.ratio <= limit ? 0 : 1;
}
