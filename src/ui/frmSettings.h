// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QRadioButton;

/// The settings dialog: scan mode and goniometer type. OK stores both in scan.ini at once. Theta-2-Theta needs a controller with two axes
/// and is disabled without one.
class frmSettings : public QDialog
{
    Q_OBJECT

public:
    explicit frmSettings(QWidget* parent = nullptr);

private:
    void store();

    QRadioButton* m_onLine = nullptr;
    QRadioButton* m_silent = nullptr;
    QRadioButton* m_theta2Theta = nullptr;
    QRadioButton* m_guinier = nullptr;
};
