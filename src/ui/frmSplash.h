// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QWidget>

/// What stands on the screen while the settings are loaded and the devices are asked.
class frmSplash : public QWidget
{
    Q_OBJECT

public:
    frmSplash();

protected:
    void showEvent(QShowEvent* event) override;
};
