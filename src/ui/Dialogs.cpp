// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Dialogs.h"

#include "plot/Look.h"

#include <QDialog>
#include <QHBoxLayout>

namespace Dialogs {
void prepare(QDialog* dialog, const QString& name, const QString& caption)
{
    dialog->setObjectName(name);
    dialog->setWindowTitle(caption);
    dialog->setFont(Look::auxiliary());
    dialog->setWindowFlag(Qt::WindowContextHelpButtonHint, false);
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
