// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

/// The about box: program, version, controller's firmware, licence and what the program was built with.
class frmAbout : public QDialog
{
    Q_OBJECT

public:
    explicit frmAbout(QWidget* parent = nullptr);

    /// Shows the box, or brings it to the front. It is not modal: what runs beneath the window goes on.
    static void open(QWidget* parent);
};
