// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/FrontPanel.h"
#include "core/ScanData.h"
#include "plot/Chart2d.h"
#include "ui/frmMain.h"

#include <QApplication>
#include <QEventLoop>
#include <QTimer>
#include <QWindow>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>
#include <random>
#include <vector>

// How fast the chart draws the largest scan, how soon the main window can be used, and what it costs while nothing happens: on the
// offscreen platform, or, with QT_QPA_PLATFORM set, the chart alone in a real window at the scaling of that screen (bench/plot_window.sh).

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

/// Processor time of this process: drawing waits for nobody, and other programs on the machine do not count.
double processorMilliseconds()
{
    return static_cast<double>(std::clock()) * 1e3 / CLOCKS_PER_SEC;
}

double wallMilliseconds()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

/// Median of what the work takes by that clock [ms].
template <typename Work>
double median(Work work, double (*clock)())
{
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const double before = clock();
        work();
        times.push_back(clock() - before);
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[rounds / 2];
}

bool allWithinLimits = true;

void print(const char* name, double value, double limit, const char* unit)
{
    allWithinLimits = allWithinLimits && value <= limit;
    std::printf("ratio %s %.2f limit 1   (%.2f %s of %.2f %s)\n", name, value / limit, value, unit, limit, unit);
}

void drawing(Chart2d& chart, const char* full, const char* zoomed)
{
    fill(chart);
    constexpr double frame = 16;
    const auto replot = [&chart] { chart.replot(QCustomPlot::rpImmediateRefresh); };
    print(full, median(replot, processorMilliseconds), frame, "ms");
    chart.zoom(20, 60, 0, 500);
    print(zoomed, median(replot, processorMilliseconds), frame, "ms");
}

void drawingOffscreen(double pixelRatio, const char* full, const char* zoomed)
{
    Chart2d chart;
    show(chart);
    chart.setBufferDevicePixelRatio(pixelRatio);
    drawing(chart, full, zoomed);
}

/// The chart in a window of a real screen, drawn there in all its pixels. False when it isn't to be seen, or not at 200 %.
bool drawingInWindow()
{
    Chart2d chart;
    show(chart);
    for (int i = 0; i < 500 && !chart.windowHandle()->isExposed(); ++i)
        QApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    const QSize pixels = chart.size() * chart.bufferDevicePixelRatio();
    std::printf("window of %d x %d pixels\n", pixels.width(), pixels.height());
    if (!chart.windowHandle()->isExposed() || chart.bufferDevicePixelRatio() != 2)
        return false;
    drawing(chart, "plot_full_32001_in_window_at_200_percent", "plot_zoomed_32001_in_window_at_200_percent");
    return true;
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

void mainWindow()
{
    print("main_window_until_drawn",
          median(
              [] {
                  frmMain window;
                  window.show();
                  QApplication::processEvents();
              },
              wallMilliseconds),
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
    const bool inWindow = qEnvironmentVariableIsSet("QT_QPA_PLATFORM") && qgetenv("QT_QPA_PLATFORM") != "offscreen";
    if (!inWindow)
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    if (inWindow)
        return drawingInWindow() && allWithinLimits ? 0 : 1;
    benchmark::Initialize(&argc, argv);
    drawingOffscreen(1, "plot_full_32001", "plot_zoomed_32001");
    drawingOffscreen(2, "plot_full_32001_at_200_percent", "plot_zoomed_32001_at_200_percent");
    mainWindow();
    idling();
    benchmark::RunSpecifiedBenchmarks();
    return allWithinLimits ? 0 : 1;
}
