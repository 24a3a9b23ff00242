// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmAbout.h"

#include "core/startup/modMain.h"
#include "goniometer/modSMC.h"
#include "plot/Look.h"
#include "ui/Dialogs.h"
#include "ui/Pictures.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QVBoxLayout>

frmAbout::frmAbout(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmAbout"), QStringLiteral("About"));
    auto* imgLogo = new QLabel(this);
    imgLogo->setObjectName(QStringLiteral("imgLogo"));
    imgLogo->setPixmap(Pictures::pixmap(Pictures::application, 72, this));
    const auto label = [this](const QString& name, const QString& text, double scale = 1) {
        auto* result = new QLabel(text, this);
        result->setObjectName(name);
        result->setTextFormat(Qt::PlainText);
        result->setFont(Look::auxiliary(scale));
        result->setTextInteractionFlags(Qt::TextSelectableByMouse);
        return result;
    };
    const QString product = QStringLiteral("scan");
    auto* names = new QVBoxLayout;
    names->addWidget(label(QStringLiteral("lblProductName"), product, 2));
    names->addWidget(label(QStringLiteral("lblPrductDescription"), QStringLiteral("data acquisition")));
    names->addSpacing(Dialogs::spacing);
    names->addWidget(label(QStringLiteral("lblSoftwareVersion"), modMain::VersionText() + u' ' + product));
    auto* controller = label(QStringLiteral("lblControllerVersion"), modSMC::state().firmwareText);
    controller->setToolTip(QStringLiteral("Firmware of the goniometer controller"));
    names->addWidget(controller);
    names->addStretch(1);
    names->setSpacing(2);
    auto* head = new QHBoxLayout;
    head->setSpacing(2 * Dialogs::spacing);
    head->addWidget(imgLogo, 0, Qt::AlignTop);
    head->addLayout(names, 1);

    auto* txtAddress = new QPlainTextEdit(modMain::state().aboutText, this);
    txtAddress->setObjectName(QStringLiteral("txtAddress"));
    txtAddress->setReadOnly(true);
    txtAddress->setTabChangesFocus(true);
    txtAddress->setMinimumSize(380, 130);
    QPushButton* btnOk = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    connect(btnOk, &QPushButton::clicked, this, &QDialog::accept);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addLayout(head);
    layout->addWidget(txtAddress, 1);
    layout->addLayout(Dialogs::buttonRow({btnOk}));
    btnOk->setFocus();
}

void frmAbout::open(QWidget* parent)
{
    auto* window = parent != nullptr ? parent->findChild<frmAbout*>() : nullptr;
    if (window == nullptr) {
        window = new frmAbout(parent);
        window->setAttribute(Qt::WA_DeleteOnClose);
    }
    window->show();
    window->raise();
    window->activateWindow();
}
