// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QHash>
#include <QWidget>

class QHBoxLayout;
class QLabel;

/// The slim row above the chart: what is known of the instrument, and the button that switches everything off. It asks no device.
class InstrumentStrip : public QWidget
{
    Q_OBJECT

public:
    explicit InstrumentStrip(QWidget* parent = nullptr);

signals:
    void allOff();

private:
    void refresh();

    QHBoxLayout* m_row = nullptr;
    QHash<QString, QLabel*> m_cells;
};
