// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

/// A warning sign with its words under it, large enough to be seen from across the room. It keeps its place while it is hidden.
class WarningSign : public QWidget
{
    Q_OBJECT

public:
    enum class Kind { Laser, Radiation };

    explicit WarningSign(Kind kind, QWidget* parent = nullptr);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QString m_picture;
};
