// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QComboBox;
class QListWidget;
class QListWidgetItem;

/// The work-directory dialog. The directory list shows the way down from the drive to the current directory and the directories in it; a
/// click chooses one, a double click or Enter goes into it, and the file list shows what lies in the chosen one. OK takes the highlighted
/// directory.
class frmSetWorkDir : public QDialog
{
    Q_OBJECT

public:
    explicit frmSetWorkDir(QWidget* parent = nullptr);

    /// The directory that OK would take, without trailing separator.
    QString highlighted() const;
    /// Makes a directory the current one of the directory list.
    void changeTo(const QString& directory);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void fillDrives();
    void showFiles();
    void selectDriveOf(const QString& directory);
    void store();

    QComboBox* m_drives = nullptr;
    QListWidget* m_directories = nullptr;
    QListWidget* m_files = nullptr;
    QString m_current; ///< the directory whose directories are listed
};
