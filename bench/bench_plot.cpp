// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/FrontPanel.h"
#include "core/ScanData.h"
#include "plot/Chart2d.h"
#include "ui/frmMain.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <random>
#include <vector>

#ifdef Q_OS_UNIX
#include <sys/resource.h>
#endif

// How fast the chart draws the largest scan, how soon the main window can be used, and what it costs while nothing happens.

namespace {
constexpr int points = 32001;
constexpr int rounds = 31;

/// The largest scan that the program measures, with peaks and Poisson noise.
void fill(Chart2d& chart)
{
    std::mt19937 random(1);
    QVector<double> angles(points), counts(points);
    for (int i = 0; i < points; ++i) {
        angles[i] = 10 + i * 0.005;
        double rate = 40;
        for (int peak = 0; peak < 30; ++peak)
            rate += 2000.0 / (1 + std::pow((angles[i] - 15 - 5 * peak) / 0.06, 2));
        counts[i] = std::poisson_distribution<int>(rate)(random);
    }
    chart.draw(angles, counts, angles.first(), angles.last(), 0, 2500);
}

/// On a screen: a chart that was never shown has no size to draw in.
void show(Chart2d& chart)
{
    chart.resize(1600, 900);
    chart.show();
    QApplication::processEvents();
}

template <typename Work>
double median(Work work)
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer clock;
        clock.start();
        work();
        times.push_back(static_cast<double>(clock.nsecsElapsed()) / 1e6);
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[rounds / 2];
}

void print(const char* name, double value, double limit, const char* unit)
{
    std::printf("figure %s %.2f limit %.2f %s\n", name, value, limit, unit);
}

void drawing(double pixelRatio, const char* full, const char* zoomed)
{
    Chart2d chart;
    show(chart);
    chart.setBufferDevicePixelRatio(pixelRatio);
    fill(chart);
    print(full, median([&chart] { chart.replot(QCustomPlot::rpImmediateRefresh); }), 16, "ms");
    chart.zoom(20, 60, 0, 500);
    print(zoomed, median([&chart] { chart.replot(QCustomPlot::rpImmediateRefresh); }), 16, "ms");
}

#ifdef Q_OS_UNIX
double processorMilliseconds()
{
    rusage use{};
    getrusage(RUSAGE_SELF, &use);
    const auto milliseconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return milliseconds(use.ru_utime) + milliseconds(use.ru_stime);
}

/// Processor time of an idle main window in percent of the wall clock, over two seconds.
void idling()
{
    frmMain window;
    window.show();
    QApplication::processEvents();
    const auto wait = [](int milliseconds) {
        QEventLoop loop;
        QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
        loop.exec();
    };
    wait(300);
    const double before = processorMilliseconds();
    wait(2000);
    print("idle_window_processor_percent", (processorMilliseconds() - before) / 20, 0.5, "%");
}
#endif

void mainWindow()
{
    print("main_window_until_drawn", median([] {
              frmMain window;
              window.show();
              QApplication::processEvents();
          }),
          300, "ms");
}

void replotFull(benchmark::State& state)
{
    Chart2d chart;
    show(chart);
    fill(chart);
    for ([[maybe_unused]] auto round : state)
        chart.replot(QCustomPlot::rpImmediateRefresh);
}
BENCHMARK(replotFull)->Unit(benchmark::kMillisecond);
} // namespace

int main(int argc, char* argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    drawing(1, "plot_full_32001", "plot_zoomed_32001");
    drawing(2, "plot_full_32001_at_200_percent", "plot_zoomed_32001_at_200_percent");
    mainWindow();
#ifdef Q_OS_UNIX
    idling();
#endif
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
