// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/FrontPanel.h"

#include <QDialog>

class QPlainTextEdit;
class QPushButton;

/// A text window of the front panel: shows its title (with " info" behind it), its text and its button, whoever writes them. A button
/// "OK" empties and closes the window; with another caption the procedure that opened the window decides. It opens beside other windows of
/// the program that are open, not above them.
class frmTextDisplay : public QDialog
{
    Q_OBJECT

public:
    explicit frmTextDisplay(QWidget* parent = nullptr, FrontPanel::TextWindow which = FrontPanel::TextWindow::First);

    /// Shows what the front panel holds now.
    void refresh();

protected:
    /// Escape and the close box press an OK button; a wait's button must be pressed itself.
    void reject() override;

private:
    void pressed();

    const FrontPanel::TextWindow m_which;
    QPlainTextEdit* m_text = nullptr;
    QPushButton* m_button = nullptr;
};
