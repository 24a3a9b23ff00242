// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialogButtonBox>
#include <QPushButton>
#include <QString>

class QDialog;
class QHBoxLayout;

/// What the auxiliary windows have in common: their font, their spacing, their row of buttons at the lower right.
namespace Dialogs {
inline constexpr int margin = 14;  ///< around a window's content [px]
inline constexpr int spacing = 10; ///< between groups [px]

/// Caption, font and window flags of an auxiliary window.
void prepare(QDialog* dialog, const QString& name, const QString& caption);
/// Moves a window that is about to be shown off the other dialogs of its parent that are open, when the screen has room for that.
void placeBeside(QDialog* window);
/// A button with its object name; the row in which buttons stand keeps them at the right.
QPushButton* button(QDialog* dialog, const QString& name, const QString& caption, bool isDefault = false);
QHBoxLayout* buttonRow(std::initializer_list<QPushButton*> buttons);
} // namespace Dialogs
