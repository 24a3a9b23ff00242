// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmSettings.h"

#include "core/Flags.h"
#include "core/PrivateProfile.h"
#include "core/modTools.h"
#include "ui/Dialogs.h"

#include <QGroupBox>
#include <QRadioButton>
#include <QVBoxLayout>

namespace {
QRadioButton* option(QGroupBox* frame, const QString& name, const QString& caption, const QString& toolTip)
{
    auto* result = new QRadioButton(caption, frame);
    result->setObjectName(name);
    result->setToolTip(toolTip);
    frame->layout()->addWidget(result);
    return result;
}

QGroupBox* frame(QDialog* dialog, const QString& name, const QString& caption)
{
    auto* result = new QGroupBox(caption, dialog);
    result->setObjectName(name);
    new QVBoxLayout(result);
    return result;
}
} // namespace

frmSettings::frmSettings(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmSettings"), QStringLiteral("Settings"));
    QGroupBox* frameScanMode = frame(this, QStringLiteral("frameScanMode"), QStringLiteral("Scan Mode"));
    m_onLine =
        option(frameScanMode, QStringLiteral("optScanMode"), QStringLiteral("On-Line"), QStringLiteral("Online measurement display"));
    m_silent = option(frameScanMode, QStringLiteral("optScanMode"), QStringLiteral("Silent"), QStringLiteral("Unattended measurement"));
    QGroupBox* frameGonType = frame(this, QStringLiteral("frameGonType"), QStringLiteral("Goniometer Type"));
    m_theta2Theta = option(frameGonType, QStringLiteral("optGonType"), QStringLiteral("Theta-2-Theta"), {});
    m_guinier = option(frameGonType, QStringLiteral("optGonType"), QStringLiteral("Guinier"), {});

    QPushButton* btnOk = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    QPushButton* btnCancel = Dialogs::button(this, QStringLiteral("btnCancel"), QStringLiteral("Cancel"));
    connect(btnOk, &QPushButton::clicked, this, &frmSettings::store);
    connect(btnCancel, &QPushButton::clicked, this, &QDialog::reject);

    auto* frames = new QHBoxLayout;
    frames->setSpacing(Dialogs::spacing);
    frames->addWidget(frameScanMode, 1);
    frames->addWidget(frameGonType, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addLayout(frames, 1);
    layout->addLayout(Dialogs::buttonRow({btnOk, btnCancel}));
    layout->setSizeConstraint(QLayout::SetFixedSize);

    (flags().scanMode == 0 ? m_onLine : m_silent)->setChecked(true);
    (flags().goniometerType == 1 ? m_theta2Theta : m_guinier)->setChecked(true);
    m_theta2Theta->setEnabled(flags().smcModelDigit >= 2);
}

void frmSettings::store()
{
    const QString section = QStringLiteral("General");
    const QString path = modTools::state().iniPath;
    flags().goniometerType = m_theta2Theta->isChecked() ? 1 : 0;
    PrivateProfile::WritePrivateProfileString(section, QStringLiteral("GoniometerType"), QString::fromLatin1(goniometerTypeName()), path);
    flags().scanMode = m_onLine->isChecked() ? 0 : 1;
    PrivateProfile::WritePrivateProfileString(section, QStringLiteral("ScanMode"), QString::fromLatin1(scanModeName()), path);
    accept();
}
