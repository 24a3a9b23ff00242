// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QColor>
#include <QFont>
#include <QPalette>

/// The few colours and fonts of the program. Everything else is the desktop's own palette, light or dark.
namespace Look {
/// True when the palette's windows are darker than their text.
bool isDark(const QPalette& palette);
/// The one accent colour: the curve, the progress bar, the selection, the count rate. At least 4.5 : 1 against the palette's base.
QColor accent(const QPalette& palette);
/// For what can hurt, and for nothing else.
QColor danger(const QPalette& palette);
/// Labels and grid: between text and background. `strength` 0 is the background, 1 the text.
QColor between(const QPalette& palette, double strength);
/// Makes the accent the highlight of the whole program, now and whenever the desktop changes between light and dark.
void useAccent();
/// The light palette in which pictures are saved: they go on paper.
QPalette paper();
/// The font of the auxiliary windows: Verdana where it is installed, otherwise DejaVu Sans, which descends from the same design. `scale`
/// multiplies the desktop's type size.
QFont auxiliary(double scale = 1);
/// Contrast of two colours as a ratio from 1 to 21 (WCAG).
double contrast(const QColor& one, const QColor& other);
} // namespace Look
