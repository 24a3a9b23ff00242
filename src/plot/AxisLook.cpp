// SPDX-License-Identifier: GPL-3.0-or-later

#include "plot/AxisLook.h"

#include "plot/Look.h"

#include <qcustomplot.h>

namespace AxisLook {
void box(QCustomPlot* plot)
{
    plot->setLocale(QLocale::c());
    plot->axisRect()->setMinimumMargins(QMargins(12, 12, 16, 8));
    plot->axisRect()->setupFullAxesBox();
    plot->xAxis2->setTickLabels(false);
    plot->yAxis2->setTicks(false);
    plot->xAxis2->setTicks(false);
}

void apply(QCustomPlot* plot, const QPalette& palette)
{
    const QColor text = palette.color(QPalette::Text);
    const QColor frame = Look::between(palette, 0.55);
    const QColor grid = Look::between(palette, 0.12);
    plot->setBackground(palette.color(QPalette::Base));
    for (QCPAxis* axis : {plot->xAxis, plot->yAxis, plot->xAxis2, plot->yAxis2}) {
        axis->setBasePen(QPen(frame, 1));
        axis->setTickPen(QPen(frame, 1));
        axis->setSubTickPen(QPen(frame, 1));
        axis->setTickLabelColor(text);
        axis->setLabelColor(text);
        axis->setTickLabelFont(plot->font());
        axis->setLabelFont(plot->font());
        axis->grid()->setPen(QPen(grid, 0));
        axis->grid()->setZeroLinePen(QPen(grid, 0));
    }
}
} // namespace AxisLook
