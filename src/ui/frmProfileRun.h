// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QLabel;
class QTableWidget;

/// The table of a profile run: per scan the step, the set and the actual temperature, the state, the file and the time left. It appears
/// when a run starts and stays with its results; closing it does not touch the run.
class frmProfileRun : public QDialog
{
    Q_OBJECT

public:
    explicit frmProfileRun(QWidget* parent = nullptr);

    /// Makes the window's table appear with the next run. One window per main window.
    static void follow(QWidget* mainWindow);
    void refresh();

private:
    QTableWidget* m_table = nullptr;
    QLabel* m_remaining = nullptr;
};
