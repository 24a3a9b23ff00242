// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

class Chart2d;

/// The diffractogram: draws the scan in memory into the main window's chart, answers the chart's keys and reads the cursor out.
namespace modGraphics {
/// Takes this chart as the program's: plot requests of the scan in memory are drawn in it, its keys and its pointer come here. A chart that
/// is deleted takes itself out; null takes it out at once.
void SetChart(Chart2d* chart);

/// Draws the scan in memory. A title that is not empty becomes the chart's header. Angle axis from `start` to `stop` [deg 2-Theta],
/// intensity axis from `yMinimum` to `yMaximum` [counts]; a range of 0 to 0 is drawn as 0 to 1. Sets the busy flag meanwhile.
void Plot2D(const QString& title, double start, double stop, double step, qint32 yMaximum, qint32 yMinimum);

/// A key was pressed in the chart: whatever key it is, with a scan in memory the full range is drawn again, from the limits that stand in
/// the parameter fields.
void ChartKeyPress(int key);

/// What status-bar panel 1 shows for a pointer at `angle` [deg 2-Theta]: "Cursor positon: 2-Th = 28.440 deg; I = 1234 cnts". The
/// intensity is that of the nearest point and is left out beyond the scan's ends. Empty without a scan or outside the plot area.
QString CursorText(double angle, bool overPlot);
} // namespace modGraphics
