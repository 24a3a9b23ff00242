// SPDX-License-Identifier: GPL-3.0-or-later

// modTools::Delay of 0.1 s, the pause after each line to a device, resting as by default against spinning (DelaySleep=0): pairs in turn, so
// that a busy machine hits both alike. The last line gives the median of the differences, over 2 ms.

#include "core/modTools.h"

#include <QCoreApplication>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <vector>

namespace {
constexpr int pairs = 151;
constexpr float interval = 0.1F; // s
constexpr double limit = 2;      // ms

struct Waits
{
    std::vector<double> lengths; ///< ms
    double processor = 0;        ///< ms, of all
};

double wait(bool spinning, Waits& waits)
{
    modTools::state().spin = spinning;
    const std::clock_t used = std::clock();
    const auto begun = std::chrono::steady_clock::now();
    modTools::Delay(interval, true);
    const double length = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begun).count();
    waits.processor += static_cast<double>(std::clock() - used) * 1e3 / CLOCKS_PER_SEC;
    waits.lengths.push_back(length);
    return length;
}

/// The value below which that share of them lies.
double quantile(std::vector<double> values, double share)
{
    std::sort(values.begin(), values.end());
    return values[static_cast<std::size_t>(share * static_cast<double>(values.size() - 1))];
}

void print(const char* how, const Waits& waits)
{
    std::printf("%s: median %.2f ms, from %.2f to %.2f ms, %.2f ms of processor time each\n", how, quantile(waits.lengths, 0.5),
                quantile(waits.lengths, 0), quantile(waits.lengths, 1), waits.processor / pairs);
}
} // namespace

int main(int argc, char* argv[])
{
    const QCoreApplication application(argc, argv);
    Waits resting, spinning;
    std::vector<double> differences;
    for (int i = 0; i < pairs; ++i) {
        // Each is the first of every other pair.
        const double first = wait(i % 2 == 0, i % 2 == 0 ? spinning : resting);
        const double second = wait(i % 2 != 0, i % 2 != 0 ? spinning : resting);
        differences.push_back(i % 2 == 0 ? second - first : first - second);
    }
    print("resting", resting);
    print("spinning", spinning);
    const double difference = quantile(differences, 0.5);
    if (spinning.processor < 10 * resting.processor || quantile(resting.lengths, 0.5) < 50) {
        std::fprintf(stderr, "these were not the two kinds of waits\n");
        return 1;
    }
    std::printf("ratio delay %.3f limit 1   (median of %d differences %.3f ms of %.0f ms; nine of ten from %.2f to %.2f ms)\n",
                std::abs(difference) / limit, pairs, difference, limit, quantile(differences, 0.05), quantile(differences, 0.95));
    return std::abs(difference) <= limit ? 0 : 1;
}
