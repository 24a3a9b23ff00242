// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmManual.h"

#include "core/Prompts.h"
#include "ui/Dialogs.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
/// A heading's anchor as Markdown links name it: "The main window" is "#the-main-window".
QString anchorOf(const QString& heading)
{
    static const QRegularExpression dropped(QStringLiteral("[^\\w\\- ]"));
    return heading.toLower().remove(dropped).replace(u' ', u'-');
}
} // namespace

frmManual::frmManual(const QString& path, QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmManual"), QStringLiteral("Help"));
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    setAttribute(Qt::WA_DeleteOnClose);
    auto* browser = new QTextBrowser(this);
    browser->setObjectName(QStringLiteral("txtManual"));
    browser->setOpenLinks(false);
    browser->document()->setDocumentMargin(16);
    browser->document()->setBaseUrl(QUrl::fromLocalFile(QFileInfo(path).absolutePath() + u'/'));
    browser->setSearchPaths({QFileInfo(path).absolutePath()});
    QFile file(path);
    if (file.open(QIODevice::ReadOnly))
        browser->document()->setMarkdown(QString::fromUtf8(file.readAll()));
    connect(browser, &QTextBrowser::anchorClicked, this, [browser](const QUrl& link) {
        if (!link.scheme().isEmpty() && !link.isLocalFile()) {
            QDesktopServices::openUrl(link);
            return;
        }
        for (QTextBlock block = browser->document()->begin(); block.isValid(); block = block.next()) {
            if (block.blockFormat().headingLevel() > 0 && anchorOf(block.text()) == link.fragment()) {
                browser->setTextCursor(QTextCursor(browser->document()->lastBlock()));
                browser->setTextCursor(QTextCursor(block));
                browser->ensureCursorVisible();
            }
        }
    });
    QPushButton* btnOk = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    connect(btnOk, &QPushButton::clicked, this, &QDialog::accept);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addWidget(browser, 1);
    layout->addLayout(Dialogs::buttonRow({btnOk}));
    resize(860, 640);
}

QString frmManual::findManual()
{
    const QDir program(QCoreApplication::applicationDirPath());
    for (const char* candidate :
         {"docs/MANUAL.md", "../share/doc/scan/MANUAL.md", "../docs/MANUAL.md", "../../docs/MANUAL.md", "../../../docs/MANUAL.md"})
        if (const QString path = program.filePath(QString::fromLatin1(candidate)); QFile::exists(path))
            return QDir::cleanPath(path);
    return {};
}

void frmManual::open(QWidget* parent)
{
    const QString path = findManual();
    if (path.isEmpty()) {
        showMessage(QStringLiteral("Help"), QStringLiteral("The operator's manual (docs/MANUAL.md) is not installed beside the program."),
                    Prompts::Icon::Information);
        return;
    }
    auto* window = parent != nullptr ? parent->findChild<frmManual*>() : nullptr;
    if (window == nullptr)
        window = new frmManual(path, parent);
    window->show();
    window->raise();
    window->activateWindow();
}
