// SPDX-License-Identifier: GPL-3.0-or-later

#include "plot/Look.h"

#include <QApplication>
#include <QFontDatabase>

#include <algorithm>
#include <cmath>

namespace Look {
namespace {
double luminance(const QColor& colour)
{
    const auto linear = [](double part) { return part <= 0.03928 ? part / 12.92 : std::pow((part + 0.055) / 1.055, 2.4); };
    return 0.2126 * linear(colour.redF()) + 0.7152 * linear(colour.greenF()) + 0.0722 * linear(colour.blueF());
}
/// Watches for a change of the desktop's palette.
class AccentKeeper : public QObject
{
public:
    using QObject::QObject;

    static void apply()
    {
        const QPalette before = QApplication::palette();
        const QColor colour = accent(before);
        if (before.color(QPalette::Active, QPalette::Highlight) == colour &&
            before.color(QPalette::Inactive, QPalette::Highlight) == colour)
            return;
        QPalette highlight = before;
        for (QPalette::ColorGroup group : {QPalette::Active, QPalette::Inactive}) {
            highlight.setColor(group, QPalette::Highlight, colour);
            highlight.setColor(group, QPalette::HighlightedText, isDark(before) ? Qt::black : Qt::white);
        }
        QApplication::setPalette(highlight);
    }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() == QEvent::ApplicationPaletteChange && watched == qApp)
            apply();
        return QObject::eventFilter(watched, event);
    }
};
} // namespace

bool isDark(const QPalette& palette)
{
    return luminance(palette.color(QPalette::Window)) < luminance(palette.color(QPalette::WindowText));
}

QColor accent(const QPalette& palette)
{
    return isDark(palette) ? QColor(0x6c, 0xb6, 0xff) : QColor(0x0a, 0x58, 0xa8);
}

QColor between(const QPalette& palette, double strength)
{
    const QColor back = palette.color(QPalette::Base);
    const QColor text = palette.color(QPalette::Text);
    const auto mix = [strength](int from, int to) { return static_cast<int>(std::lround(from + (to - from) * strength)); };
    return {mix(back.red(), text.red()), mix(back.green(), text.green()), mix(back.blue(), text.blue())};
}

QColor danger(const QPalette& palette)
{
    return isDark(palette) ? QColor(0xff, 0x7b, 0x72) : QColor(0xc0, 0x14, 0x14);
}

void useAccent()
{
    static AccentKeeper* keeper = nullptr;
    if (keeper == nullptr) {
        keeper = new AccentKeeper(qApp);
        qApp->installEventFilter(keeper);
        QObject::connect(keeper, &QObject::destroyed, qApp, [] { keeper = nullptr; });
    }
    AccentKeeper::apply();
}

QPalette paper()
{
    QPalette palette;
    palette.setColor(QPalette::Window, Qt::white);
    palette.setColor(QPalette::Base, Qt::white);
    palette.setColor(QPalette::WindowText, Qt::black);
    palette.setColor(QPalette::Text, Qt::black);
    return palette;
}

QFont auxiliary(double scale)
{
    QFont font = QApplication::font();
    const QStringList installed = QFontDatabase::families();
    for (const QString& family : {QStringLiteral("Verdana"), QStringLiteral("DejaVu Sans")}) {
        if (installed.contains(family)) {
            font.setFamily(family);
            break;
        }
    }
    font.setPointSizeF(std::max(font.pointSizeF(), 8.0) * scale);
    return font;
}

double contrast(const QColor& one, const QColor& other)
{
    const double first = luminance(one) + 0.05;
    const double second = luminance(other) + 0.05;
    return std::max(first, second) / std::min(first, second);
}
} // namespace Look
