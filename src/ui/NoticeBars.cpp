// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/NoticeBars.h"

#include "core/Notices.h"
#include "plot/Look.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QStyle>
#include <QToolButton>

#include <functional>

namespace {
constexpr int margin = 4;
constexpr int spacing = 3;

/// What a button does comes from the event loop: it takes away the bar that the button stands on.
void onClick(QAbstractButton* button, const std::function<void()>& run)
{
    QObject::connect(button, &QAbstractButton::clicked, &Notices::notifier(), run, Qt::QueuedConnection);
}

QFrame* barFor(const Notices::Notice& notice, const QPalette& desktop)
{
    auto* bar = new QFrame;
    bar->setObjectName(notice.id);
    bar->setFrameStyle(QFrame::StyledPanel | QFrame::Plain);
    bar->setAutoFillBackground(true);
    QPalette palette = desktop;
    const QColor background = Look::isDark(desktop) ? QColor(0x4d, 0x40, 0x10) : QColor(0xff, 0xf4, 0xc4);
    palette.setColor(QPalette::Window, background);
    bar->setPalette(palette);
    auto* row = new QHBoxLayout(bar);
    row->setContentsMargins(margin, margin, margin, margin);

    auto* icon = new QLabel(bar);
    const int size = bar->style()->pixelMetric(QStyle::PM_SmallIconSize);
    icon->setPixmap(bar->style()->standardIcon(QStyle::SP_MessageBoxWarning).pixmap(size));
    row->addWidget(icon, 0, Qt::AlignTop);

    auto* text = new QLabel(notice.text, bar);
    text->setObjectName(QStringLiteral("text"));
    text->setWordWrap(true);
    text->setTextInteractionFlags(Qt::TextSelectableByMouse);
    row->addWidget(text, 1);

    const QString id = notice.id;
    for (const Notices::Action& action : notice.actions) {
        auto* button = new QPushButton(action.caption, bar);
        button->setAutoDefault(false);
        onClick(button, [id, run = action.run] {
            Notices::take(id);
            if (run)
                run();
        });
        row->addWidget(button);
    }
    auto* close = new QToolButton(bar);
    close->setObjectName(QStringLiteral("close"));
    close->setAutoRaise(true);
    close->setIcon(close->style()->standardIcon(QStyle::SP_DockWidgetCloseButton));
    close->setToolTip(QStringLiteral("Take this message away"));
    close->setAccessibleName(close->toolTip());
    onClick(close, [id] { Notices::take(id); });
    row->addWidget(close, 0, Qt::AlignTop);
    return bar;
}
} // namespace

NoticeBars::NoticeBars(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("NoticeBars"));
    m_bars = new QVBoxLayout(this);
    m_bars->setContentsMargins(0, 0, 0, 0);
    m_bars->setSpacing(spacing);
    connect(&Notices::notifier(), &Notices::Notifier::changed, this, &NoticeBars::refresh);
    refresh();
}

void NoticeBars::refresh()
{
    while (const QLayoutItem* item = m_bars->takeAt(0)) {
        delete item->widget();
        delete item;
    }
    for (const Notices::Notice& notice : Notices::all())
        m_bars->addWidget(barFor(notice, palette()));
    setVisible(!Notices::all().isEmpty());
}
