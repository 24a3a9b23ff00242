// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmSplash.h"

#include "core/startup/modMain.h"
#include "plot/Look.h"
#include "ui/Pictures.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QScreen>
#include <QVBoxLayout>

frmSplash::frmSplash() : QWidget(nullptr, Qt::SplashScreen | Qt::FramelessWindowHint)
{
    setObjectName(QStringLiteral("frmSplash"));
    setWindowTitle(QStringLiteral("scan"));
    setFont(Look::auxiliary());
    auto* frame = new QFrame(this);
    frame->setFrameShape(QFrame::Box);
    frame->setBackgroundRole(QPalette::Base);
    frame->setAutoFillBackground(true);
    const auto label = [frame](const QString& name, const QString& text, double scale) {
        auto* result = new QLabel(text, frame);
        result->setObjectName(name);
        result->setTextFormat(Qt::PlainText);
        result->setFont(Look::auxiliary(scale));
        return result;
    };
    auto* picApp = new QLabel(frame);
    picApp->setObjectName(QStringLiteral("picApp"));
    picApp->setPixmap(Pictures::pixmap(Pictures::application, 128, this));
    auto* texts = new QVBoxLayout;
    texts->addStretch(1);
    texts->addWidget(label(QStringLiteral("lblProductName"), QStringLiteral("scan\n") + modMain::VersionText(), 2.2));
    texts->addWidget(label(QStringLiteral("lblPrductDescription"), QStringLiteral("data acquisition"), 1.2));
    texts->addStretch(1);
    auto* notice =
        label(QStringLiteral("lblNotice"), QStringLiteral("Free software under the GNU General Public License, version 3 or later."), 1);
    notice->setWordWrap(true);
    texts->addWidget(notice);
    auto* inside = new QHBoxLayout(frame);
    inside->setContentsMargins(28, 28, 28, 28);
    inside->setSpacing(28);
    inside->addWidget(picApp, 0, Qt::AlignTop);
    inside->addLayout(texts, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(frame);
    setFixedSize(460, 260);
}

void frmSplash::showEvent(QShowEvent* event)
{
    QWidget::showEvent(event);
    move(screen()->availableGeometry().center() - rect().center());
}
