// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <qcustomplot.h>

/// Temperature against time while a sample cools or warms: the temperature as a curve, the setpoint as a thinner, dashed line. Both axes
/// follow the readings. Time without a reading is a gap.
class TemperaturePlot : public QCustomPlot
{
    Q_OBJECT

public:
    explicit TemperaturePlot(QWidget* parent = nullptr);

    /// What stands in the plot while it is empty.
    void setHint(const QString& text);
    /// Takes all readings away.
    void clear();
    /// Adds a reading: time [s], not earlier than the one before; temperature and setpoint [K], not a number where there is none. The plot
    /// is drawn when the readings are shown with showAll().
    void add(double seconds, double temperature, double setpoint);
    /// Draws what has been added, both axes over all of it.
    void showAll();

    bool isEmpty() const { return m_highest < m_lowest; }

    QSize sizeHint() const override { return {460, 320}; }
    QSize minimumSizeHint() const override { return {320, 200}; }

protected:
    void changeEvent(QEvent* event) override;

private:
    void applyColours();
    void showEmptyState();

    QCPLayoutInset* m_legendRow = nullptr;
    QCPItemText* m_hint = nullptr;
    double m_last = 0;     ///< s
    double m_lowest = 1;   ///< K; above m_highest: nothing yet
    double m_highest = -1; ///< K
};
