// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/modTools.h"
#include "goniometer/ScanRun.h"

#include <QtNumeric>

#include <algorithm>
#include <cmath>

namespace ScanRun {
namespace {
constexpr int progressPanel = 4;
constexpr int onlineInterval = 100;     // ms
constexpr int silentInterval = 1000;    // ms
constexpr double unitsPerDegree = 1000; // speed units per degree and second

double secondsFor(double distance, double speed)
{
    return speed > 0 ? std::abs(distance) * unitsPerDegree / speed : 0;
}

QString clockText(double seconds)
{
    const auto whole = static_cast<quint32>(std::max(1.0, std::ceil(seconds)));
    return NumberText::General(static_cast<qint64>(whole / 3600)) + u':' + NumberText::ZeroPadded(whole / 60 % 60, 2) + u':' +
           NumberText::ZeroPadded(whole % 60, 2);
}

void connectTicks()
{
    static const QMetaObject::Connection ticks =
        QObject::connect(&frontPanel().ExposureTimer, &modTools::Timer::tick, &frontPanel(), [] { RefreshProgress(); });
    Q_UNUSED(ticks)
}

QString pointsText(qint32 done)
{
    return NumberText::General(done) + QStringLiteral(" of ") + NumberText::General(state().points) + QStringLiteral(" points");
}
} // namespace

double ExpectedTime(const ScanParameters& parameters, double counterTime)
{
    return configuration().general.onThisInstrument(RealTime(parameters, counterTime));
}

double RealTime(const ScanParameters& parameters, double counterTime)
{
    return parameters.numberOfPoints * (counterTime + secondsFor(parameters.step, configuration().general.scanSpeed));
}

void BeginProgress(const ScanParameters& parameters)
{
    const Configuration::General& speeds = configuration().general;
    // Axis 1 goes half the way at half the speed in a Theta-2-Theta goniometer.
    const double half = flags().goniometerType == 1 ? 0.5 : 1;
    State& run = state();
    run.points = parameters.numberOfPoints;
    run.perPoint = speeds.onThisInstrument(parameters.counterTime + secondsFor(parameters.step, speeds.scanSpeed));
    run.positioning =
        run.axis1Position ? speeds.onThisInstrument(secondsFor(parameters.start * half - *run.axis1Position, speeds.slewSpeed * half)) : 0;
    run.axis1Position = parameters.stop * half;
    run.startedAt = modTools::timeGetTime();
    run.progressRunning = true;
    connectTicks();
    frontPanel().ExposureTimer.setInterval(flags().scanMode == 1 ? silentInterval : onlineInterval);
    frontPanel().ExposureTimer.restart();
    RefreshProgress();
}

void RefreshProgress()
{
    const State& run = state();
    if (!run.progressRunning)
        return;
    const double elapsed = (modTools::timeGetTime() - run.startedAt) / 1000.0;
    const double measuring = std::max(0.0, elapsed - run.positioning);
    const double expected = run.points * run.perPoint;
    const double part = expected > 0 ? measuring / expected : 0;
    const double done = run.perPoint > 0 ? std::floor(measuring / run.perPoint) : 0;
    frontPanel().setProgress(static_cast<int>(std::min(99.0, std::floor(part * 100))));
    if (elapsed > run.positioning + 2 * expected + 600) {
        frontPanel().setPanel(progressPanel, QStringLiteral("busy much longer than expected"));
        return;
    }
    frontPanel().setPanel(progressPanel, pointsText(static_cast<qint32>(std::clamp(done, 0.0, std::max(0.0, run.points - 1.0)))) +
                                             QStringLiteral(", ") + clockText(run.positioning + expected - elapsed) +
                                             QStringLiteral(" remaining"));
}

void CompleteProgress()
{
    state().progressRunning = false;
    frontPanel().ExposureTimer.setEnabled(false);
    frontPanel().setProgress(100);
    frontPanel().setPanel(progressPanel, pointsText(state().points));
}

void EndProgress()
{
    state().progressRunning = false;
    frontPanel().ExposureTimer.setEnabled(false);
    frontPanel().setProgress(-1);
    frontPanel().setPanel(progressPanel, QString());
}
} // namespace ScanRun
