// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Dialogs.h"

#include "plot/Look.h"

#include <QDialog>
#include <QHBoxLayout>
#include <QScreen>

#include <algorithm>

namespace Dialogs {
void prepare(QDialog* dialog, const QString& name, const QString& caption)
{
    dialog->setObjectName(name);
    dialog->setWindowTitle(caption);
    dialog->setFont(Look::auxiliary());
    dialog->setWindowFlag(Qt::WindowContextHelpButtonHint, false);
}

void placeBeside(QDialog* window)
{
    const QWidget* parent = window->parentWidget();
    if (parent == nullptr)
        return;
    QRect taken;
    for (const QDialog* other : parent->findChildren<QDialog*>())
        if (other != window && other->isVisible())
            taken |= other->frameGeometry();
    if (taken.isNull())
        return;
    // What frame it will have is known only once it was shown.
    const QSize frame = (window->frameGeometry().size() - window->size()).expandedTo(QSize(2 * spacing, 4 * spacing));
    const QRect screen = parent->screen()->availableGeometry();
    QRect right = screen;
    QRect left = screen;
    QRect below = screen;
    QRect above = screen;
    right.setLeft(taken.right() + spacing);
    left.setRight(taken.left() - spacing);
    below.setTop(taken.bottom() + spacing);
    above.setBottom(taken.top() - spacing);
    // Rather smaller than over the others.
    for (const QSize wanted : {window->size(), window->minimumSizeHint()})
        for (const QRect& room : {right, left, below, above}) {
            if (room.width() < wanted.width() + frame.width() || room.height() < wanted.height() + frame.height())
                continue;
            window->resize(window->size().boundedTo(room.size() - frame));
            const QPoint last = room.bottomRight() - QPoint(window->width() + frame.width(), window->height() + frame.height());
            window->move(std::clamp(taken.left(), room.left(), last.x()), std::clamp(taken.top(), room.top(), last.y()));
            return;
        }
}

QPushButton* button(QDialog* dialog, const QString& name, const QString& caption, bool isDefault)
{
    auto* result = new QPushButton(caption, dialog);
    result->setObjectName(name);
    result->setAutoDefault(isDefault);
    result->setDefault(isDefault);
    result->setMinimumWidth(result->fontMetrics().horizontalAdvance(QStringLiteral("MMMMMMMM")));
    return result;
}

QHBoxLayout* buttonRow(std::initializer_list<QPushButton*> buttons)
{
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    for (QPushButton* one : buttons)
        row->addWidget(one);
    return row;
}
} // namespace Dialogs
