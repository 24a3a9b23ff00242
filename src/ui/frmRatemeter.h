// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

/// The ratemeter window: the count rate as a number that is read across the room, and as a bar that follows it in decades. Measuring starts
/// when the window is shown and ends with "&Exit", which also Escape and the window's own closing press.
class frmRatemeter : public QDialog
{
    Q_OBJECT

public:
    explicit frmRatemeter(QWidget* parent = nullptr);

    void reject() override { leave(); }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    void leave();
    void applyColours();

    QLineEdit* m_value = nullptr;
    QLabel* m_noAnswer = nullptr;
    QProgressBar* m_bar = nullptr;
    QCheckBox* m_autoRange = nullptr;
    QPushButton* m_exit = nullptr;
    bool m_leaving = false;
};
