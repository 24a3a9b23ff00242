// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/FrontPanel.h"

#include <QLabel>
#include <QLineEdit>

/// The character that a key types, AltGr included; null for keys that edit, move or command.
QChar typedCharacter(const QKeyEvent* event);

/// One of the four scan parameter fields: lets digits, ".", "-" and a comma as a point through, beeps at other keys, moves on with Enter,
/// and has its value corrected when the focus leaves it.
class ParameterField : public QLineEdit
{
    Q_OBJECT

public:
    explicit ParameterField(FrontPanel::Field field, QWidget* parent = nullptr);

signals:
    void moveOn(FrontPanel::Field next);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    FrontPanel::Field m_field;
};

/// The sample and file name: swallows keys that cannot stand in a file name, and checks the name on Enter and when the focus leaves it.
class NameField : public QLineEdit
{
    Q_OBJECT

public:
    explicit NameField(QWidget* parent = nullptr);

    /// Checks the name and writes it back trimmed; a bad one is shown in a box with this title. An empty name is passed over. True when the
    /// name is valid or empty.
    bool check(const QString& boxTitle);

signals:
    /// Enter on a valid name.
    void moveOn();

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
};

/// A text in a fixed place: cut with an ellipsis where it does not fit, whole in the tool tip, and never a reason for the window to grow.
class PanelLabel : public QLabel
{
    Q_OBJECT

public:
    explicit PanelLabel(QWidget* parent = nullptr);
    QSize minimumSizeHint() const override { return {0, QLabel::minimumSizeHint().height()}; }
    void showText(const QString& text);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void updateToolTip();
};
