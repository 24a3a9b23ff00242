// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/modTools.h"

#include <QAbstractTableModel>
#include <QDialog>

class QLabel;
class QTableView;

/// The rows of ProfileRun::state() as a table. Only what is on the screen is asked for, so a plan of a million scans costs no more than one
/// of ten.
class ProfileRunModel : public QAbstractTableModel
{
    Q_OBJECT

public:
    enum Column { Step, Set, Actual, State, File, TimeLeft, columns };

    using QAbstractTableModel::QAbstractTableModel;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    /// Takes over what has changed in the run.
    void follow();

private:
    int m_rows = 0;
};

/// The table of a profile run: per scan the step, the set and the actual temperature, the state, the file and the time left, which goes on
/// every second. It appears when a run starts and stays with its results; closing it does not touch the run.
class frmProfileRun : public QDialog
{
    Q_OBJECT

public:
    explicit frmProfileRun(QWidget* parent = nullptr);

    /// Makes the window's table appear with the next run. One window per main window.
    static void follow(QWidget* mainWindow);
    void refresh();

private:
    void fitColumns();

    ProfileRunModel* m_model = nullptr;
    QTableView* m_table = nullptr;
    QLabel* m_remaining = nullptr;
    modTools::Timer m_second{"ProfileRunSecond"};
    int m_followed = -1; ///< row that was current last
    bool m_appeared = false;
};
