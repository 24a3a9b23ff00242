// SPDX-License-Identifier: GPL-3.0-or-later

// Reading a transfer of 32,001 counts into the scan, against a bare pass of std::from_chars over the same bytes in the same run. The last
// line gives the ratio of the two.

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

/// Median of pairs measured in turn, so that a busy machine hits both alike.
double ratio()
{
    ScanRecord scan = prepared();
    const QString reply = QString::fromLatin1(bytes());
    std::vector<double> ratios;
    for (int i = 0; i < 201; ++i) {
        const double ours = microseconds([&] { return readTransfer(reply, scan); });
        ratios.push_back(ours / microseconds(barePass));
    }
    std::nth_element(ratios.begin(), ratios.begin() + 100, ratios.end());
    return ratios[100];
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
    const double ours = ratio();
    std::printf("ratio transfer %.2f limit %.0f\n", ours, limit);
    return ours <= limit ? 0 : 1;
}
