// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Pictures.h"

#include <QPainter>
#include <QSvgRenderer>
#include <QWidget>

namespace Pictures {
QPixmap pixmap(const QString& picture, int size, const QWidget* on)
{
    const qreal ratio = on->devicePixelRatioF();
    QPixmap result(QSize(size, size) * ratio);
    result.setDevicePixelRatio(ratio);
    result.fill(Qt::transparent);
    QSvgRenderer renderer(picture);
    QPainter painter(&result);
    renderer.render(&painter, QRectF(0, 0, size, size));
    return result;
}
} // namespace Pictures
