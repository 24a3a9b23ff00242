// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

/// The operator's manual in a window of its own, with its pictures and links between its chapters.
class frmManual : public QDialog
{
    Q_OBJECT

public:
    explicit frmManual(const QString& path, QWidget* parent = nullptr);

    /// Full path of docs/MANUAL.md: beside the program, where packages install it, or in the source tree above the build. Empty when it is
    /// nowhere.
    static QString findManual();
    /// Shows the manual, or a message when it is missing.
    static void open(QWidget* parent);
};
