// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "temperature/PIDTable.h"

#include <QDialog>
#include <QString>

class QLabel;
class QLineEdit;
class QVBoxLayout;

/// Fields for control parameters, one per letter, each checked when it is left: a value out of its range is refused with a message, and the
/// field keeps the focus.
class ParameterDialog : public QDialog
{
    Q_OBJECT

public:
    /// OK keeps the window open while a field is refused.
    void accept() override;

protected:
    ParameterDialog(QWidget* parent, const QString& name, const QString& caption, const QString& letters, const QString& setpointText);

    QLineEdit* field(char letter) const;
    /// What is wrong with a field's text; empty: nothing.
    virtual QString refusal(char letter, const QString& text) const = 0;
    /// True when a typed character may go into the field.
    virtual bool takes(char letter, QChar character) const = 0;
    /// The field's text as it is shown when the field is left: the value that will be sent.
    virtual QString shown(char letter, const QString& text) const = 0;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void showEvent(QShowEvent* event) override;

private:
    bool check(QLineEdit* field);

    QString m_letters;
    QList<QLineEdit*> m_fields;
    bool m_asking = false;
};

/// R, P, I and D of the low-temperature controller.
class frmRPID : public ParameterDialog
{
    Q_OBJECT

public:
    frmRPID(const PIDTable::Values& values, float setpoint, QWidget* parent = nullptr);
    PIDTable::Values values() const;

    /// "Change current RPID's": reads, lets the operator edit, sends.
    static void open(QWidget* parent);

protected:
    QString refusal(char letter, const QString& text) const override;
    bool takes(char letter, QChar character) const override;
    QString shown(char letter, const QString& text) const override;
};

/// P, I and D of the high-temperature controller, with their units.
class frmPID : public ParameterDialog
{
    Q_OBJECT

public:
    frmPID(const PIDTable::Values& values, double setpoint, QWidget* parent = nullptr);
    PIDTable::Values values() const;

    /// "Change current PID's".
    static void open(QWidget* parent);

protected:
    QString refusal(char letter, const QString& text) const override;
    bool takes(char letter, QChar character) const override;
    QString shown(char letter, const QString& text) const override;
};
