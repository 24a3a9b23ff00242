// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmTextDisplay.h"

#include "ui/Dialogs.h"

#include <QPlainTextEdit>
#include <QRegularExpression>
#include <QScrollBar>
#include <QTextBlock>
#include <QVBoxLayout>

#include <algorithm>

namespace {
constexpr int longestColumn = 50; // lines

/// Texts come with their colons padded to one column, which the font, not a typewriter's, would spoil: the padding is stretched, the text
/// stays what it is.
void alignColons(QTextDocument* document)
{
    static const QRegularExpression padding(QStringLiteral(" {2,}(?=W?:)"));
    const QFontMetricsF metrics(document->defaultFont());
    double column = 0;
    for (QTextBlock line = document->begin(); line.isValid(); line = line.next()) {
        const QString before = line.text().section(u':', 0, 0);
        if (before.size() < line.text().size())
            column = std::max(column, metrics.horizontalAdvance(QString(before).replace(padding, QStringLiteral(" "))));
    }
    for (QTextBlock line = document->begin(); line.isValid(); line = line.next()) {
        const QRegularExpressionMatch gap = padding.match(line.text());
        if (!gap.hasMatch())
            continue;
        QTextCharFormat wide;
        wide.setFontLetterSpacingType(QFont::AbsoluteSpacing);
        wide.setFontLetterSpacing((column - metrics.horizontalAdvance(line.text().section(u':', 0, 0))) /
                                  static_cast<double>(gap.capturedLength()));
        QTextCursor cursor(document);
        cursor.setPosition(line.position() + static_cast<int>(gap.capturedStart()));
        cursor.setPosition(line.position() + static_cast<int>(gap.capturedEnd()), QTextCursor::KeepAnchor);
        cursor.setCharFormat(wide);
    }
}
} // namespace

frmTextDisplay::frmTextDisplay(QWidget* parent, FrontPanel::TextWindow which) : QDialog(parent), m_which(which)
{
    const bool first = which == FrontPanel::TextWindow::First;
    Dialogs::prepare(this, first ? QStringLiteral("frmTextDisplay") : QStringLiteral("frmSecondTextDisplay"), {});
    m_text = new QPlainTextEdit(this);
    m_text->setObjectName(QStringLiteral("txtDisplay"));
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setAccessibleName(QStringLiteral("Text"));
    m_button = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    connect(m_button, &QPushButton::clicked, this, &frmTextDisplay::pressed);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addWidget(m_text, 1);
    layout->addLayout(Dialogs::buttonRow({m_button}));
    resize(480, 320);
    connect(&frontPanel(), &FrontPanel::textDisplayChanged, this, &frmTextDisplay::refresh);
    refresh();
}

void frmTextDisplay::refresh()
{
    const FrontPanel& panel = frontPanel();
    if (!panel.textDisplayOpen(m_which)) {
        m_text->clear();
        hide();
        return;
    }
    setWindowTitle(panel.textDisplayTitle(m_which) + QStringLiteral(" info"));
    m_button->setText(panel.textDisplayButtonCaption(m_which));
    // A temperature is accepted by a hand that means it: the window takes neither the focus nor a key typed elsewhere.
    const bool harmless = panel.textDisplayButtonCaption(m_which) == QLatin1String("OK");
    m_button->setAutoDefault(harmless);
    m_button->setDefault(harmless);
    const QString text = panel.textDisplayText(m_which).replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    if (m_text->toPlainText() != text) {
        // A text that grows is followed, one that was scrolled back stays where it is read.
        QScrollBar* bar = m_text->verticalScrollBar();
        const bool follows = bar->value() == bar->maximum() && bar->maximum() > 0;
        const int position = bar->value();
        m_text->setPlainText(text);
        if (m_text->blockCount() <= longestColumn)
            alignColons(m_text->document());
        bar->setValue(follows ? bar->maximum() : position);
    }
    const Qt::WindowModality wanted = panel.textDisplayModal(m_which) ? Qt::ApplicationModal : Qt::NonModal;
    if (isVisible() && windowModality() == wanted)
        return;
    // Modality takes effect only when a window is shown.
    hide();
    setWindowModality(wanted);
    Dialogs::placeBeside(this);
    setAttribute(Qt::WA_ShowWithoutActivating, !harmless);
    (harmless ? static_cast<QWidget*>(m_button) : m_text)->setFocus();
    show();
}

void frmTextDisplay::reject()
{
    if (frontPanel().textDisplayButtonCaption(m_which) == QLatin1String("OK"))
        pressed();
}

void frmTextDisplay::pressed()
{
    const bool closesItself = frontPanel().textDisplayButtonCaption(m_which) == QLatin1String("OK");
    if (m_which == FrontPanel::TextWindow::First)
        frontPanel().pressTextDisplayButton();
    if (closesItself && frontPanel().textDisplayOpen(m_which))
        frontPanel().closeTextDisplay(m_which);
}
