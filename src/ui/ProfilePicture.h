// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "profile/ProfileRun.h"

#include <QWidget>

/// Temperature against time of a planned profile run; a mark where each scan begins, a thick line as long as it lasts.
class ProfilePicture : public QWidget
{
    Q_OBJECT

public:
    explicit ProfilePicture(QWidget* parent = nullptr);

    /// Draws these measurements; `unit` labels the temperature axis.
    void showPlan(const QList<ProfileRun::Row>& rows, const QString& unit);
    qsizetype marks() const { return m_rows.size(); }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QList<ProfileRun::Row> m_rows;
    QString m_unit;
};
