// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/WarningSign.h"

#include "plot/Look.h"
#include "ui/Pictures.h"

#include <QPainter>
#include <QSvgRenderer>

namespace {
constexpr int signSize = 96;
} // namespace

WarningSign::WarningSign(Kind kind, QWidget* parent) : QWidget(parent)
{
    const bool laser = kind == Kind::Laser;
    m_picture = laser ? Pictures::laser : Pictures::radiation;
    setObjectName(laser ? QStringLiteral("picLaserOn") : QStringLiteral("picXRayOn"));
    setToolTip(laser ? QStringLiteral("Laser is ON!") : QStringLiteral("X-Ray shutter is OPEN!"));
    setAccessibleName(toolTip());
    QFont bold = font();
    bold.setBold(true);
    setFont(bold);
    QSizePolicy policy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    policy.setRetainSizeWhenHidden(true);
    setSizePolicy(policy);
}

QSize WarningSign::sizeHint() const
{
    return {qMax(signSize, fontMetrics().horizontalAdvance(toolTip()) / 2 + 24), signSize + 2 * fontMetrics().lineSpacing() + 4};
}

void WarningSign::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    QSvgRenderer renderer(m_picture);
    renderer.render(&painter, QRectF((width() - signSize) / 2.0, 0, signSize, signSize));
    painter.setPen(Look::danger(palette()));
    painter.drawText(QRect(0, signSize + 2, width(), height() - signSize - 2),
                     static_cast<int>(Qt::AlignHCenter | Qt::AlignTop | Qt::TextWordWrap), toolTip());
}
