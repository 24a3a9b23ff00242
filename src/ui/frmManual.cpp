// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmManual.h"

#include "core/Prompts.h"
#include "ui/Dialogs.h"

#include <QCoreApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QRegularExpression>
#include <QTextBlock>
#include <QTextBrowser>
#include <QVBoxLayout>

namespace {
constexpr int windowWidth = 860;
constexpr int widestPicture = windowWidth - 160;

/// A heading's anchor as Markdown links name it: "The main window" is "#the-main-window".
QString anchorOf(const QString& heading)
{
    static const QRegularExpression dropped(QStringLiteral("[^\\w\\- ]"));
    return heading.toLower().remove(dropped).replace(u' ', u'-');
}

/// Pictures wider than this are shown smaller, so that nothing has to be scrolled sideways.
void narrowPictures(QTextDocument* document, const QDir& directory, int widest)
{
    QList<QTextFragment> wide;
    for (QTextBlock block = document->begin(); block.isValid(); block = block.next())
        for (auto piece = block.begin(); !piece.atEnd(); ++piece)
            if (const QTextImageFormat format = piece.fragment().charFormat().toImageFormat();
                format.isValid() && QImageReader(directory.filePath(format.name())).size().width() > widest)
                wide += piece.fragment();
    for (const QTextFragment& picture : wide) {
        QTextImageFormat format = picture.charFormat().toImageFormat();
        format.setWidth(widest);
        QTextCursor cursor(document);
        cursor.setPosition(picture.position());
        cursor.movePosition(QTextCursor::NextCharacter, QTextCursor::KeepAnchor);
        cursor.setCharFormat(format);
    }
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
    narrowPictures(browser->document(), QFileInfo(path).absoluteDir(), widestPicture);
    browser->moveCursor(QTextCursor::Start);
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
    resize(windowWidth, 640);
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
