// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Operation.h"

#include <QDialog>

#include <optional>

class QGroupBox;
class QKeyEvent;
class QLabel;
class QLineEdit;
class QPushButton;

/// Tube current and voltage: two presets, the limits of scan.ini, a confirmation, and the warm-up with its countdown. The window stays open
/// until Cancel. During the warm-up its buttons are disabled but Close, which leaves the tube warming up, and the main window can be used;
/// so it can as long as something is measured, and nothing is set then.
class dlgGeneratorPower : public QDialog
{
    Q_OBJECT

public:
    explicit dlgGeneratorPower(QWidget* parent = nullptr);
    ~dlgGeneratorPower() override;

    /// Shows the window, with the generator's actual values.
    static void open(QWidget* parent);

    void reject() override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void refresh();
    void take(QLineEdit* field, QString& value);
    bool typed(QLineEdit* field, QKeyEvent* key);
    void setModalTo(Qt::WindowModality modality);

    std::optional<Operation> m_use{std::in_place, Operations::powerWindow};
    QGroupBox* m_settings = nullptr;
    QLineEdit* m_current = nullptr;
    QLineEdit* m_voltage = nullptr;
    QLineEdit* m_message = nullptr;
    QPushButton* m_meas = nullptr;
    QPushButton* m_idle = nullptr;
    QPushButton* m_ok = nullptr;
    QPushButton* m_cancel = nullptr;
    QPushButton* m_close = nullptr;
    bool m_asked = false; ///< the actual values have been read, or did not come
};
