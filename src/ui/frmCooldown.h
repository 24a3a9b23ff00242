// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class TemperaturePlot;

/// The window of the cooldown log: its lines beside the temperature against time, above them the last temperature. It appears when the log
/// starts and stays with its curve when the log has ended.
///
/// Closing it does not touch the log: a cooldown goes on overnight, and a window is closed by mistake more easily than an entry is chosen.
/// A click on the temperature in the status bar shows it again.
class frmCooldown : public QDialog
{
    Q_OBJECT

public:
    explicit frmCooldown(QWidget* parent = nullptr);

    /// Makes sure that the main window has a window for the log, hidden until the log starts.
    static void follow(QWidget* mainWindow);
    /// Shows the main window's log again when it runs and its window was closed; false when there is nothing to show.
    static bool showAgain(QWidget* mainWindow);

protected:
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    void begin();
    void addNewLines();
    void showStatus();
    void applyColours();

    QLabel* m_now = nullptr;
    QLabel* m_setpoint = nullptr;
    QPlainTextEdit* m_text = nullptr;
    TemperaturePlot* m_plot = nullptr;
    QLabel* m_status = nullptr;
    QPushButton* m_stop = nullptr;
    QPushButton* m_close = nullptr;
    int m_number = 0;      ///< the log that is shown
    qsizetype m_lines = 0; ///< of it, so many
};
