// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

class QVBoxLayout;

/// The message bars above the chart, one for each of Notices::all(). Nothing of them takes the focus by itself.
class NoticeBars : public QWidget
{
    Q_OBJECT

public:
    explicit NoticeBars(QWidget* parent = nullptr);

private:
    void refresh();

    QVBoxLayout* m_bars = nullptr;
};
