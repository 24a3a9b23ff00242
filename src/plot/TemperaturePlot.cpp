// SPDX-License-Identifier: GPL-3.0-or-later

#include "plot/TemperaturePlot.h"

#include "plot/AxisLook.h"
#include "plot/Look.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double shortestTime = 60;  // s that the time axis shows at least
constexpr double timeGrowth = 1.25;  // by which the time axis grows when it is full, so that it stands still in between
constexpr double smallestSpan = 1;   // K that the temperature axis shows at least
constexpr double headroom = 0.05;    // of the span, beyond the readings
constexpr int mostMarkedPoints = 60; // readings up to which each has its dot
constexpr double curveWidth = 2;
constexpr double setpointWidth = 1;
constexpr double dotSize = 5;
} // namespace

TemperaturePlot::TemperaturePlot(QWidget* parent) : QCustomPlot(parent)
{
    setObjectName(u"TemperaturePlot"_qs);
    setAccessibleName(u"Temperature against time"_qs);
    setInteractions(QCP::iNone);
    setPlottingHint(QCP::phFastPolylines);
    AxisLook::box(this);

    setAutoAddPlottableToLegend(false);
    addGraph()->setName(u"Setpoint"_qs);
    addGraph()->setName(u"Temperature"_qs); // over the line of the setpoint
    graph(1)->addToLegend();
    graph(0)->addToLegend();
    xAxis->setLabel(u"Time since start [h:mm:ss]"_qs);
    yAxis->setLabel(u"Temperature [K]"_qs);
    yAxis->setNumberFormat(u"g"_qs);
    QSharedPointer<QCPAxisTickerTime> ticker(new QCPAxisTickerTime);
    ticker->setTimeFormat(u"%h:%m:%s"_qs);
    ticker->setFieldWidth(QCPAxisTickerTime::tuHours, 1);
    xAxis->setTicker(ticker);

    // Above the axes, where it hides no reading.
    plotLayout()->insertRow(0);
    m_legendRow = new QCPLayoutInset;
    plotLayout()->addElement(0, 0, m_legendRow);
    axisRect()->insetLayout()->take(legend);
    m_legendRow->addElement(legend, Qt::AlignLeft | Qt::AlignBottom);
    legend->setFillOrder(QCPLayoutGrid::foColumnsFirst);
    legend->setBorderPen(Qt::NoPen);
    legend->setBrush(Qt::NoBrush);

    m_hint = new QCPItemText(this);
    m_hint->setObjectName(u"hint"_qs);
    m_hint->position->setType(QCPItemPosition::ptAxisRectRatio);
    m_hint->position->setCoords(0.5, 0.45);
    m_hint->setTextAlignment(Qt::AlignCenter);
    applyColours();
    clear();
}

void TemperaturePlot::setHint(const QString& text)
{
    m_hint->setText(text);
    replot(rpQueuedReplot);
}

void TemperaturePlot::clear()
{
    for (int i = 0; i < graphCount(); ++i)
        graph(i)->data()->clear();
    m_last = 0;
    m_lowest = 1;
    m_highest = -1;
    showAll();
}

void TemperaturePlot::add(double seconds, double temperature, double setpoint)
{
    graph(0)->addData(seconds, setpoint);
    graph(1)->addData(seconds, temperature);
    m_last = seconds;
    for (double value : {temperature, setpoint}) {
        if (std::isnan(value))
            continue;
        const bool first = isEmpty();
        m_lowest = first ? value : std::min(m_lowest, value);
        m_highest = first ? value : std::max(m_highest, value);
    }
}

void TemperaturePlot::showAll()
{
    showEmptyState();
    const bool marked = graph(1)->dataCount() <= mostMarkedPoints;
    graph(1)->setScatterStyle(marked ? QCPScatterStyle(QCPScatterStyle::ssDisc, dotSize) : QCPScatterStyle());
    double end = shortestTime;
    while (end < m_last)
        end *= timeGrowth;
    xAxis->setRange(0, end);
    if (!isEmpty()) {
        const double span = std::max(m_highest - m_lowest, smallestSpan);
        const double middle = (m_lowest + m_highest) / 2;
        yAxis->setRange(middle - span * (0.5 + headroom), middle + span * (0.5 + headroom));
    }
    replot(rpQueuedReplot);
}

void TemperaturePlot::showEmptyState()
{
    m_hint->setVisible(isEmpty());
    legend->setVisible(!isEmpty());
    for (QCPAxis* axis : {xAxis, yAxis}) {
        axis->setTicks(!isEmpty());
        axis->setTickLabels(!isEmpty());
        axis->grid()->setVisible(!isEmpty());
    }
}

void TemperaturePlot::applyColours()
{
    AxisLook::apply(this, palette());
    graph(0)->setPen(QPen(Look::between(palette(), 0.7), setpointWidth, Qt::DashLine));
    graph(1)->setPen(QPen(Look::accent(palette()), curveWidth));
    legend->setTextColor(palette().color(QPalette::Text));
    legend->setFont(font());
    const int legendHeight = legend->minimumOuterSizeHint().height();
    m_legendRow->setMinimumSize(0, legendHeight);
    m_legendRow->setMaximumSize(QWIDGETSIZE_MAX, legendHeight);
    m_hint->setColor(Look::between(palette(), 0.7));
    m_hint->setFont(font());
}

void TemperaturePlot::changeEvent(QEvent* event)
{
    QCustomPlot::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        applyColours();
        replot(rpQueuedReplot);
    }
}
