// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/Fields.h"

#include "core/Prompts.h"
#include "core/modTools.h"
#include "goniometer/ScanParameterCheck.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPainter>
#include <QStyle>
#include <QStyleOption>

namespace {
constexpr int padding = 4; ///< beside the text of a panel [px]

bool isEnter(const QKeyEvent* event)
{
    return event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
}

/// A menu or another window that takes the focus gives it back: the operator has not left the field.
bool leavesField(const QFocusEvent* event)
{
    return event->reason() != Qt::PopupFocusReason && event->reason() != Qt::MenuBarFocusReason &&
           event->reason() != Qt::ActiveWindowFocusReason;
}
} // namespace

QChar typedCharacter(const QKeyEvent* event)
{
    const Qt::KeyboardModifiers commands = event->modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    const bool altGr = commands == (Qt::ControlModifier | Qt::AltModifier);
    if (event->text().isEmpty() || (commands != Qt::NoModifier && !altGr) || !event->text().at(0).isPrint())
        return {};
    return event->text().at(0);
}

ParameterField::ParameterField(FrontPanel::Field field, QWidget* parent) : QLineEdit(parent), m_field(field) {}

void ParameterField::keyPressEvent(QKeyEvent* event)
{
    if (isEnter(event)) {
        if (const auto next = ScanParameterCheck::nextField(m_field))
            emit moveOn(*next);
        return;
    }
    const QChar typed = typedCharacter(event);
    if (typed.isNull()) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    const QChar accepted = ScanParameterCheck::acceptedKey(typed);
    if (accepted.isNull() || isReadOnly())
        QApplication::beep();
    else
        insert(accepted);
}

void ParameterField::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (leavesField(event))
        ScanParameterCheck::lostFocus(m_field);
}

NameField::NameField(QWidget* parent) : QLineEdit(parent)
{
    setObjectName(QStringLiteral("txtFileName"));
}

bool NameField::check(const QString& boxTitle)
{
    QString name = text();
    if (name.isEmpty())
        return true;
    if (modTools::ValidFileName(name)) {
        frontPanel().setText(FrontPanel::Field::txtFileName, name);
        return true;
    }
    showMessage(boxTitle, QStringLiteral("'") + name + QStringLiteral("' is not a valid file name."));
    return false;
}

void NameField::keyPressEvent(QKeyEvent* event)
{
    if (isEnter(event)) {
        // A bad name keeps the focus, so leaving the field does not show the box a second time.
        if (check(QStringLiteral("File name")))
            emit moveOn();
        else
            selectAll();
        return;
    }
    const QChar typed = typedCharacter(event);
    if (typed.isNull()) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    QString single(typed);
    if (modTools::ValidFileName(single))
        QLineEdit::keyPressEvent(event);
}

void NameField::focusOutEvent(QFocusEvent* event)
{
    QLineEdit::focusOutEvent(event);
    if (leavesField(event))
        check(QStringLiteral("Invalid parameter"));
}

PanelLabel::PanelLabel(QWidget* parent) : QLabel(parent)
{
    setTextFormat(Qt::PlainText);
    setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Preferred);
}

void PanelLabel::showText(const QString& text)
{
    setText(text);
    updateToolTip();
}

void PanelLabel::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    drawFrame(&painter);
    const QRect inside = contentsRect().adjusted(padding, 0, -padding, 0);
    const QString shown = fontMetrics().elidedText(text(), Qt::ElideMiddle, inside.width());
    style()->drawItemText(&painter, inside, static_cast<int>(alignment()), palette(), isEnabled(), shown, QPalette::WindowText);
}

void PanelLabel::resizeEvent(QResizeEvent* event)
{
    QLabel::resizeEvent(event);
    updateToolTip();
}

void PanelLabel::updateToolTip()
{
    setToolTip(fontMetrics().horizontalAdvance(text()) > contentsRect().width() - 2 * padding ? text() : QString());
}
