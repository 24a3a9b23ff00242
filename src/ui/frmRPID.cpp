// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmRPID.h"

#include "core/NumberText.h"
#include "core/Prompts.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_PID.h"
#include "temperature/modLTC.h"
#include "temperature/modLTC_RPID.h"
#include "ui/Dialogs.h"

#include <QApplication>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QTimer>

ParameterDialog::ParameterDialog(QWidget* parent, const QString& name, const QString& caption, const QString& letters,
                                 const QString& setpointText)
    : QDialog(parent), m_letters(letters)
{
    Dialogs::prepare(this, name, caption);
    auto* setpoint = new QLabel(setpointText, this);
    setpoint->setObjectName(QStringLiteral("lblSetpoint"));
    auto* grid = new QGridLayout;
    grid->setSpacing(Dialogs::spacing);
    for (qsizetype i = 0; i < letters.size(); ++i) {
        auto* edit = new QLineEdit(this);
        edit->setObjectName(QStringLiteral("txt") + letters[i]);
        edit->setAlignment(Qt::AlignRight);
        edit->setMaxLength(12);
        edit->installEventFilter(this);
        auto* label = new QLabel(QStringLiteral("&") + letters[i] + QStringLiteral(":"), this);
        label->setBuddy(edit);
        grid->addWidget(label, static_cast<int>(i), 0, Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(edit, static_cast<int>(i), 1);
        m_fields += edit;
    }
    QPushButton* btnOk = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    QPushButton* btnCancel = Dialogs::button(this, QStringLiteral("btnCancel"), QStringLiteral("Cancel"));
    // Cancel must not run the check of the field that is left for it.
    btnCancel->setFocusPolicy(Qt::TabFocus);
    connect(btnOk, &QPushButton::clicked, this, &ParameterDialog::accept);
    connect(btnCancel, &QPushButton::clicked, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addWidget(setpoint);
    layout->addLayout(grid);
    layout->addLayout(Dialogs::buttonRow({btnOk, btnCancel}));
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void ParameterDialog::showEvent(QShowEvent* event)
{
    // What is typed first replaces the value, as in the fields that are reached with Tab.
    m_fields.first()->setFocus();
    m_fields.first()->selectAll();
    QDialog::showEvent(event);
}

QLineEdit* ParameterDialog::field(char letter) const
{
    return m_fields.value(m_letters.indexOf(QLatin1Char(letter)));
}

bool ParameterDialog::check(QLineEdit* edit)
{
    const char letter = m_letters[m_fields.indexOf(edit)].toLatin1();
    const QString message = refusal(letter, edit->text());
    if (message.isEmpty()) {
        edit->setText(shown(letter, edit->text()));
        return true;
    }
    m_asking = true;
    showMessage(QStringLiteral("Value out of range"), message, Prompts::Icon::Critical);
    m_asking = false;
    edit->setFocus();
    edit->selectAll();
    return false;
}

void ParameterDialog::accept()
{
    for (QLineEdit* edit : m_fields)
        if (!check(edit))
            return;
    QDialog::accept();
}

bool ParameterDialog::eventFilter(QObject* watched, QEvent* event)
{
    auto* edit = qobject_cast<QLineEdit*>(watched);
    if (edit == nullptr || m_asking)
        return QDialog::eventFilter(watched, event);
    if (event->type() == QEvent::FocusOut) {
        const auto* focus = static_cast<QFocusEvent*>(event);
        const bool left = focus->reason() == Qt::TabFocusReason || focus->reason() == Qt::BacktabFocusReason ||
                          focus->reason() == Qt::MouseFocusReason || focus->reason() == Qt::ShortcutFocusReason;
        if (left && isVisible())
            QTimer::singleShot(0, this, [this, edit] {
                if (isVisible() && !m_asking)
                    check(edit);
            });
    } else if (event->type() == QEvent::KeyPress) {
        const QString text = static_cast<QKeyEvent*>(event)->text();
        const bool printable = !text.isEmpty() && text.front().isPrint();
        if (printable && !takes(m_letters[m_fields.indexOf(edit)].toLatin1(), text.front())) {
            QApplication::beep();
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

// --- low-temperature controller

frmRPID::frmRPID(const PIDTable::Values& values, float setpoint, QWidget* parent)
    : ParameterDialog(parent, QStringLiteral("frmRPID"), QStringLiteral("LTC control parameters"), QStringLiteral("RPID"),
                      QStringLiteral("Current setpoint is") + NumberText::Print(setpoint) + QStringLiteral(" K"))
{
    field('R')->setText(NumberText::General(qint32{values.r}));
    field('P')->setText(NumberText::General(values.p));
    field('I')->setText(NumberText::General(values.i));
    field('D')->setText(NumberText::General(values.d));
    field('R')->setToolTip(modLTC::RPIDRangeHint());
    field('R')->setPlaceholderText(modLTC::RPIDRangeHint());
    for (const char letter : {'P', 'I', 'D'}) {
        field(letter)->setToolTip(modLTC::RPIDValueHint());
        field(letter)->setPlaceholderText(modLTC::RPIDValueHint());
    }
}

PIDTable::Values frmRPID::values() const
{
    const auto number = [this](char letter) { return static_cast<float>(NumberText::ReadNumber(field(letter)->text())); };
    return {NumberText::RoundToInteger(NumberText::ReadNumber(field('R')->text())), number('P'), number('I'), number('D')};
}

QString frmRPID::refusal(char letter, const QString& text) const
{
    return modLTC::RPIDFieldMessage(letter, text);
}

bool frmRPID::takes(char letter, QChar character) const
{
    const bool digit = character >= u'0' && character <= u'9';
    return digit || (letter != 'R' && (character == u'.' || character == u','));
}

QString frmRPID::shown(char letter, const QString& text) const
{
    const double value = NumberText::ReadNumber(text);
    return letter == 'R' ? NumberText::General(qint32{NumberText::RoundToInteger(value)}) : NumberText::General(static_cast<float>(value));
}

void frmRPID::open(QWidget* parent)
{
    PIDTable::Values values;
    float setpoint = -1;
    if (!modLTC::ReadRPIDForDialog(&values, &setpoint))
        return;
    frmRPID dialog(values, setpoint, parent);
    if (dialog.exec() == Accepted)
        modLTC::SendRPIDFromDialog(dialog.values());
}

// --- high-temperature controller

frmPID::frmPID(const PIDTable::Values& values, double setpoint, QWidget* parent)
    : ParameterDialog(parent, QStringLiteral("frmPID"), QStringLiteral("HTC control parameters"), QStringLiteral("PID"),
                      QStringLiteral("Current setpoint is") + NumberText::Print(setpoint) + QStringLiteral(" °C"))
{
    const float numbers[] = {values.p, values.i, values.d};
    const char letters[] = {'P', 'I', 'D'};
    for (int i = 0; i < 3; ++i)
        field(letters[i])->setText(NumberText::General(numbers[i]) + modHTC::PIDUnit(letters[i]));
    field('P')->setToolTip(QStringLiteral("0...500 %"));
    field('I')->setToolTip(QStringLiteral("0...5000 s"));
    field('D')->setToolTip(QStringLiteral("0...5000 s"));
}

PIDTable::Values frmPID::values() const
{
    const auto number = [this](char letter) { return static_cast<float>(NumberText::ReadNumber(field(letter)->text())); };
    return {0, number('P'), number('I'), number('D')};
}

QString frmPID::refusal(char letter, const QString& text) const
{
    return modHTC::PIDFieldMessage(letter, text);
}

bool frmPID::takes(char letter, QChar character) const
{
    return (character >= u'0' && character <= u'9') || character == u'.' || character == u',' ||
           QString(character) == modHTC::PIDUnit(letter);
}

QString frmPID::shown(char letter, const QString& text) const
{
    return modHTC::PIDFieldText(letter, text);
}

void frmPID::open(QWidget* parent)
{
    PIDTable::Values values;
    double setpoint = 0;
    if (!modHTC::ReadPIDForDialog(&values, &setpoint))
        return;
    frmPID dialog(values, setpoint, parent);
    if (dialog.exec() == Accepted)
        modHTC::SendPIDFromDialog(dialog.values());
}
