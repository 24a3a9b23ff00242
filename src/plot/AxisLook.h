// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

class QCustomPlot;
class QPalette;

/// What the axes of all charts have in common.
namespace AxisLook {
/// A full box of axes with ticks at the left and at the bottom alone. Once, when a chart is made.
void box(QCustomPlot* plot);
/// Background, axes, labels and grid in the palette's colours and the widget's font.
void apply(QCustomPlot* plot, const QPalette& palette);
} // namespace AxisLook
