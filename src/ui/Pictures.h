// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QPixmap>
#include <QString>

class QWidget;

/// The program's own drawings.
namespace Pictures {
inline const QString application = QStringLiteral(":/pictures/scan.svg");
inline const QString laser = QStringLiteral(":/pictures/laser.svg");         ///< warning sign: laser beam
inline const QString radiation = QStringLiteral(":/pictures/radiation.svg"); ///< warning sign: ionizing radiation

/// A drawing `size` x `size` logical pixels large, sharp on the widget's screen.
QPixmap pixmap(const QString& picture, int size, const QWidget* on);
} // namespace Pictures
