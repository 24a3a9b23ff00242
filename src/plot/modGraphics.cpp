// SPDX-License-Identifier: GPL-3.0-or-later

#include "plot/modGraphics.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/ScanData.h"
#include "core/modTools.h"
#include "plot/Chart2d.h"

#include <QPointer>

#include <algorithm>
#include <utility>

namespace modGraphics {
namespace {
QPointer<Chart2d> theChart;
} // namespace

void SetChart(Chart2d* chart)
{
    if (theChart != nullptr) {
        theChart->disconnect(&scanData());
        QObject::disconnect(&scanData(), nullptr, theChart, nullptr);
    }
    theChart = chart;
    if (chart == nullptr)
        return;
    QObject::connect(&scanData(), &ScanData::plotRequested, chart, [](const PlotRequest& request) {
        Plot2D(request.title, request.start, request.stop, request.step, request.yMaximum, request.yMinimum);
    });
    QObject::connect(chart, &Chart2d::keyPressed, chart, [](int key) { ChartKeyPress(key); });
    QObject::connect(chart, &Chart2d::pointerMoved, chart,
                     [](double angle, bool overPlot) { frontPanel().setPanel(1, CursorText(angle, overPlot)); });
}

void Plot2D(const QString& title, double start, double stop, double, qint32 yMaximum, qint32 yMinimum)
{
    // A scan file is plotted while it is being opened: that procedure stays busy.
    const bool before = std::exchange(flags().busy, true);
    modTools::WriteLog(false, QStringLiteral("Plot2D()"));
    if (theChart != nullptr) {
        if (!title.isEmpty())
            theChart->setHeader(title);
        theChart->setMark(scanData().markText());
        theChart->draw(scanData().angles(), scanData().counts(), start, stop, yMinimum, yMaximum);
    }
    flags().busy = before;
}

void ChartKeyPress(int)
{
    if (!flags().dataPresent)
        return;
    using enum FrontPanel::Field;
    Plot2D({}, frontPanel().number(ScanStart), frontPanel().number(ScanStop), frontPanel().number(ScanStep),
           ScanData::yMaximumFor(scanData().maximum), 0);
}

QString CursorText(double angle, bool overPlot)
{
    const ScanData& scan = scanData();
    if (!overPlot || !flags().dataPresent || scan.size() == 0)
        return {};
    QString text = QStringLiteral("Cursor positon: 2-Th = ") + NumberText::Fixed(angle, 3) + QStringLiteral(" deg;");
    if (angle >= scan.parameters.start && angle <= scan.parameters.stop) {
        const QVector<double>& angles = scan.angles();
        qsizetype nearest = std::lower_bound(angles.begin(), angles.end(), angle) - angles.begin();
        if (nearest == angles.size() || (nearest > 0 && angle - angles[nearest - 1] <= angles[nearest] - angle))
            --nearest;
        text += QStringLiteral(" I = ") + NumberText::Fixed(scan.counts()[nearest], 0) + QStringLiteral(" cnts");
    }
    return text;
}
} // namespace modGraphics
