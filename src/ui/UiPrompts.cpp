// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/UiPrompts.h"

#include "core/Operation.h"
#include "core/modTools.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFontDatabase>
#include <QGridLayout>
#include <QInputDialog>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QToolButton>

#include <algorithm>

namespace {
QMessageBox::Icon iconOf(Prompts::Icon icon)
{
    switch (icon) {
    case Prompts::Icon::None:
        return QMessageBox::NoIcon;
    case Prompts::Icon::Information:
        return QMessageBox::Information;
    case Prompts::Icon::Question:
        return QMessageBox::Question;
    case Prompts::Icon::Exclamation:
        return QMessageBox::Warning;
    case Prompts::Icon::Critical:
        return QMessageBox::Critical;
    }
    return QMessageBox::NoIcon;
}

/// What closing the box, or Escape, answers: the first of these that the box has.
Prompts::Button escapeAnswer(const Prompts::Message& message, const QList<Prompts::Button>& buttons)
{
    for (Prompts::Button candidate : {Prompts::Button::Cancel, Prompts::Button::No})
        if (buttons.contains(candidate))
            return candidate;
    return buttons.contains(message.safe) ? message.safe : buttons.first();
}

QString windowText(QString text)
{
    return text.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
}
/// Widest content of a message box: boxes keep clear of the edges of a large screen and fill a small one [px].
int widestContent(const QMessageBox& box)
{
    constexpr int smallScreen = 1024;
    constexpr int clear = 480;
    const int screen = box.screen()->availableGeometry().width();
    const QMargins margins = box.layout()->contentsMargins();
    return (screen > smallScreen ? screen - clear : screen) - margins.left() - margins.right();
}

/// Puts what unfolds between the text and the buttons. The box follows its layout in size.
void addDetails(QMessageBox& box, const QString& details)
{
    auto* grid = qobject_cast<QGridLayout*>(box.layout());
    auto* buttons = box.findChild<QDialogButtonBox*>();
    if (grid == nullptr || buttons == nullptr)
        return;
    auto* text = new QPlainTextEdit(windowText(details), &box);
    text->setObjectName(QStringLiteral("txtDetails"));
    text->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    text->setReadOnly(true);
    text->setTabChangesFocus(true);
    text->setLineWrapMode(QPlainTextEdit::NoWrap);
    text->setMinimumHeight(text->fontMetrics().lineSpacing() * UiPrompts::detailLines);
    text->setMinimumWidth(std::min(text->fontMetrics().averageCharWidth() * UiPrompts::detailCharacters, widestContent(box)));
    text->hide();
    auto* fold = new QToolButton(&box);
    fold->setObjectName(QStringLiteral("btnDetails"));
    fold->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
    fold->setAutoRaise(true);
    fold->setFocusPolicy(Qt::StrongFocus);
    const auto show = [fold, text](bool unfolded) {
        fold->setText(unfolded ? QStringLiteral("Hide &details") : QStringLiteral("Show &details"));
        fold->setArrowType(unfolded ? Qt::DownArrow : Qt::RightArrow);
        text->setVisible(unfolded);
    };
    show(false);
    QObject::connect(fold, &QToolButton::clicked, text, [show, text] { show(text->isHidden()); });
    grid->removeWidget(buttons);
    const int row = grid->rowCount();
    grid->addWidget(fold, row, 0, 1, -1, Qt::AlignLeft);
    grid->addWidget(text, row + 1, 0, 1, -1);
    grid->addWidget(buttons, row + 2, 0, 1, -1);
    QWidget::setTabOrder(fold, text);
}

/// A dialog that was opened while a temperature profile runs holds the run up: left alone, it cancels itself as a box answers itself.
class LeftAlone
{
public:
    explicit LeftAlone(QDialog& dialog) : m_title(dialog.windowTitle())
    {
        if (!Operation::anyUnattended())
            return;
        const auto show = [this, &dialog] { dialog.setWindowTitle(m_title + QStringLiteral(" (closes in %1 s)").arg(m_remaining)); };
        show();
        QObject::connect(&m_countdown, &modTools::Timer::tick, &dialog, [this, &dialog, show] {
            if (--m_remaining > 0)
                show();
            else
                dialog.reject();
        });
        m_countdown.setInterval(1000);
        m_countdown.setEnabled(true);
    }

private:
    QString m_title;
    int m_remaining = Prompts::unattendedSeconds;
    modTools::Timer m_countdown{"DialogCountdown"};
};
} // namespace

Prompts::Button UiPrompts::message(const Message& message)
{
    QMessageBox box(iconOf(message.icon), message.title, windowText(message.text), QMessageBox::NoButton, QApplication::activeWindow());
    box.setTextFormat(Qt::PlainText);
    box.setWindowModality(Qt::ApplicationModal);
    const QList<Button> buttons = buttonsOf(message.buttons);
    QList<QPushButton*> pressable;
    // One role for all of them: the order on the screen is that of the set on every desktop.
    for (Button button : buttons)
        pressable << box.addButton(caption(button), QMessageBox::ActionRole);
    box.setDefaultButton(pressable.value(message.defaultButton - 1, pressable.first()));
    box.setEscapeButton(pressable.at(buttons.indexOf(escapeAnswer(message, buttons))));
    if (message.beep)
        QApplication::beep();

    modTools::Timer countdown("PromptCountdown");
    int remaining = unattendedSeconds;
    if (const std::optional<Button> own = unattendedAnswer(message)) {
        QPushButton* answer = pressable.at(buttons.indexOf(*own));
        const auto show = [&box, &remaining, answer] {
            box.setInformativeText(QStringLiteral("\"%1\" in %2 s").arg(answer->text().remove(u'&')).arg(remaining));
        };
        show();
        QObject::connect(&countdown, &modTools::Timer::tick, &box, [&remaining, answer, show] {
            if (--remaining > 0)
                show();
            else
                answer->click();
        });
        countdown.setInterval(1000);
        countdown.setEnabled(true);
    }
    if (!message.details.isEmpty())
        addDetails(box, message.details);
    box.exec();
    const qsizetype pressed = pressable.indexOf(qobject_cast<QPushButton*>(box.clickedButton()));
    return pressed >= 0 ? buttons.at(pressed) : escapeAnswer(message, buttons);
}

QString UiPrompts::input(const Input& input)
{
    QInputDialog dialog(QApplication::activeWindow());
    dialog.setWindowTitle(input.title);
    dialog.setLabelText(windowText(input.prompt));
    dialog.setTextValue(input.defaultText);
    const LeftAlone countdown(dialog);
    return dialog.exec() == QDialog::Accepted ? dialog.textValue() : QString();
}

Prompts::ChosenFile UiPrompts::openFile(const FileDialog& dialog)
{
    return chooseFile(dialog, false);
}

Prompts::ChosenFile UiPrompts::saveFile(const FileDialog& dialog)
{
    return chooseFile(dialog, true);
}

QStringList UiPrompts::nameFilters(const QString& filter)
{
    QStringList result;
    const QStringList parts = filter.split(u'|');
    for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
        QString pattern = parts[i + 1];
        if (pattern == QLatin1String("*.*"))
            pattern = QStringLiteral("*"); // names without a dot, too
        else if (!pattern.contains(u'*'))
            pattern += QStringLiteral(" *.") + pattern;
        result << parts[i] + QStringLiteral(" (") + pattern + u')';
    }
    return result;
}

Prompts::ChosenFile UiPrompts::chooseFile(const FileDialog& wanted, bool save)
{
    QFileDialog dialog(QApplication::activeWindow());
    dialog.setAcceptMode(save ? QFileDialog::AcceptSave : QFileDialog::AcceptOpen);
    dialog.setFileMode(save ? QFileDialog::AnyFile : QFileDialog::ExistingFile);
    if (!wanted.title.isEmpty())
        dialog.setWindowTitle(wanted.title);
    dialog.setOption(QFileDialog::HideNameFilterDetails, true);
    dialog.setOption(QFileDialog::DontConfirmOverwrite, save && !wanted.overwritePrompt);
    const QStringList filters = nameFilters(wanted.filter);
    dialog.setNameFilters(filters);
    if (!wanted.directory.isEmpty())
        dialog.setDirectory(wanted.directory);
    if (!wanted.fileName.isEmpty())
        dialog.selectFile(wanted.fileName);
    ChosenFile chosen;
    const LeftAlone countdown(dialog);
    if (dialog.exec() != QDialog::Accepted || dialog.selectedFiles().isEmpty())
        return chosen;
    chosen.path = QDir::toNativeSeparators(dialog.selectedFiles().first());
    // The dialog gives its filters back without the patterns that it hides.
    const QString selected = dialog.selectedNameFilter();
    for (qsizetype i = 0; i < filters.size(); ++i)
        if (filters[i] == selected || filters[i].startsWith(selected.trimmed()))
            chosen.filterIndex = static_cast<int>(i) + 1;
    return chosen;
}
