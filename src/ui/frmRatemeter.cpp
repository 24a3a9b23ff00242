// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmRatemeter.h"

#include "core/Flags.h"
#include "goniometer/Ratemeter.h"
#include "plot/Look.h"
#include "ui/Dialogs.h"

#include <QCheckBox>
#include <QEvent>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QTimer>
#include <QVBoxLayout>

#include <cmath>

namespace {
/// Steps of the bar over its full scale: the range itself can be larger than what a bar counts in pixels.
constexpr int barSteps = 10000;
} // namespace

frmRatemeter::frmRatemeter(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmRatemeter"), QStringLiteral("RateMeter"));
    m_value = new QLineEdit(this);
    m_value->setObjectName(QStringLiteral("txtValue"));
    m_value->setToolTip(QStringLiteral("Current countrate"));
    m_value->setReadOnly(true);
    m_value->setFrame(false);
    m_value->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    m_value->setFocusPolicy(Qt::NoFocus);
    QFont digits = Look::auxiliary(9);
    digits.setBold(true);
    m_value->setFont(digits);
    m_value->setMinimumWidth(m_value->fontMetrics().horizontalAdvance(QStringLiteral("88888888")));
    auto* unit = new QLabel(QStringLiteral("counts per second"), this);
    unit->setAlignment(Qt::AlignRight);
    m_noAnswer = new QLabel(this);
    m_noAnswer->setObjectName(QStringLiteral("lblNoAnswer"));
    m_noAnswer->setToolTip(QStringLiteral("The goniometer controller sent no count: 0 is not a measurement"));
    auto* beside = new QHBoxLayout;
    beside->addWidget(m_noAnswer);
    beside->addStretch(1);
    beside->addWidget(unit);
    m_bar = new QProgressBar(this);
    m_bar->setObjectName(QStringLiteral("ProgressBar"));
    m_bar->setToolTip(QStringLiteral("Count rate in the present range"));
    m_bar->setRange(0, barSteps);
    m_bar->setTextVisible(false);
    m_autoRange = new QCheckBox(QStringLiteral("AutoRange"), this);
    m_autoRange->setObjectName(QStringLiteral("chkAutoRange"));
    m_autoRange->setToolTip(QStringLiteral("The full scale of the bar follows the rate"));
    m_autoRange->setChecked(true);
    m_exit = Dialogs::button(this, QStringLiteral("btnExit"), QStringLiteral("&Exit"), true);
    m_exit->setToolTip(QStringLiteral("Stop counting and close the window"));

    auto* bottom = new QHBoxLayout;
    bottom->addWidget(m_autoRange);
    bottom->addStretch(1);
    bottom->addWidget(m_exit);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addWidget(m_value, 1);
    layout->addLayout(beside);
    layout->addWidget(m_bar);
    layout->addLayout(bottom);
    m_exit->setFocus();
    applyColours();

    Ratemeter::state() = Ratemeter::State{};
    connect(&Ratemeter::notifier(), &Ratemeter::Notifier::changed, this, &frmRatemeter::refresh);
    connect(m_autoRange, &QCheckBox::toggled, this, [](bool on) { Ratemeter::state().autoRange = on; });
    connect(m_exit, &QPushButton::clicked, this, &frmRatemeter::leave);
}

void frmRatemeter::showEvent(QShowEvent* event)
{
    QDialog::showEvent(event);
    // The loop lasts as long as the window: it must not run inside the event that shows it.
    QTimer::singleShot(0, this, [this] {
        Ratemeter::Run();
        if (flags().closing)
            done(Accepted);
    });
}

void frmRatemeter::refresh()
{
    const Ratemeter::State& now = Ratemeter::state();
    if (!now.caption.isEmpty())
        setWindowTitle(now.caption);
    m_value->setText(now.text);
    m_noAnswer->setText(now.noAnswer ? QStringLiteral("no answer") : QString());
    m_bar->setValue(now.barMaximum > 0 ? static_cast<int>(std::lround(std::min(now.barValue / now.barMaximum, 1.0) * barSteps)) : 0);
}

void frmRatemeter::leave()
{
    if (m_leaving)
        return;
    m_leaving = true;
    m_exit->setEnabled(false);
    Ratemeter::Stop();
    done(Accepted);
}

void frmRatemeter::applyColours()
{
    QPalette colours = QDialog::palette();
    colours.setColor(QPalette::Text, Look::accent(colours));
    colours.setColor(QPalette::Base, colours.color(QPalette::Window));
    m_value->setPalette(colours);
}

void frmRatemeter::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && m_value != nullptr)
        applyColours();
}
