// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QDialog>

class QGroupBox;
class QLabel;
class QLineEdit;
class QPushButton;

/// Tube current and voltage: two presets, the limits of scan.ini, a confirmation, and the warm-up with its countdown. The window stays open
/// until Cancel. During the warm-up its buttons are disabled and the main window can be used.
class dlgGeneratorPower : public QDialog
{
    Q_OBJECT

public:
    explicit dlgGeneratorPower(QWidget* parent = nullptr);

    /// Shows the window, with the generator's actual values.
    static void open(QWidget* parent);

    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();
    void apply();
    void setModalTo(Qt::WindowModality modality);

    QGroupBox* m_settings = nullptr;
    QLineEdit* m_current = nullptr;
    QLineEdit* m_voltage = nullptr;
    QLineEdit* m_message = nullptr;
    QPushButton* m_meas = nullptr;
    QPushButton* m_idle = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_cancel = nullptr;
    bool m_warming = false;
    bool m_busy = false;
};
