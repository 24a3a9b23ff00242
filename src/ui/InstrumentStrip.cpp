// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/InstrumentStrip.h"

#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "plot/Look.h"
#include "profile/ProfileRun.h"
#include "safety/InstrumentCells.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSet>

namespace {
constexpr int cellSpacing = 6;
constexpr int cellMargin = 5;

void paint(QLabel* label, bool danger, const QPalette& desktop)
{
    QPalette palette = desktop;
    if (danger) {
        palette.setColor(QPalette::Window, Look::danger(desktop));
        palette.setColor(QPalette::WindowText, Look::isDark(desktop) ? Qt::black : Qt::white);
    }
    label->setAutoFillBackground(danger);
    label->setPalette(palette);
}
} // namespace

InstrumentStrip::InstrumentStrip(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("InstrumentStrip"));
    setAccessibleName(QStringLiteral("What is known of the instrument"));
    m_row = new QHBoxLayout(this);
    m_row->setContentsMargins(0, 0, 0, 0);
    m_row->setSpacing(cellSpacing);
    m_row->addStretch(1);
    auto* off = new QPushButton(QStringLiteral("All Off (F12)"), this);
    off->setObjectName(QStringLiteral("btnAllOff"));
    off->setToolTip(QStringLiteral("Stops motion, closes the X-ray shutter, switches heaters and laser off"));
    off->setFocusPolicy(Qt::NoFocus); // no stray Enter or Space
    QPalette red = off->palette();
    red.setColor(QPalette::Button, Look::danger(palette()));
    red.setColor(QPalette::ButtonText, Look::isDark(palette()) ? Qt::black : Qt::white);
    off->setPalette(red);
    m_row->addWidget(off);
    connect(off, &QPushButton::clicked, this, &InstrumentStrip::allOff);
    connect(&instrumentNotifier(), &InstrumentNotifier::changed, this, &InstrumentStrip::refresh);
    connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, this, &InstrumentStrip::refresh);
    connect(&frontPanel(), &FrontPanel::entriesChanged, this, &InstrumentStrip::refresh);
    connect(&frontPanel(), &FrontPanel::picturesChanged, this, &InstrumentStrip::refresh);
    refresh();
}

void InstrumentStrip::refresh()
{
    QSet<QString> gone;
    for (auto cell = m_cells.cbegin(); cell != m_cells.cend(); ++cell)
        gone.insert(cell.key());
    int place = 0;
    for (const InstrumentCells::Cell& cell : InstrumentCells::now()) {
        gone.remove(cell.name);
        QLabel*& label = m_cells[cell.name];
        if (label == nullptr) {
            label = new QLabel(this);
            label->setObjectName(cell.name);
            label->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
            label->setMargin(cellMargin - 3);
            label->setIndent(3);
            // The window may be narrower than all that is known.
            label->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
            label->setMinimumWidth(1);
        }
        if (m_row->indexOf(label) != place) {
            m_row->removeWidget(label);
            m_row->insertWidget(place, label);
        }
        ++place;
        label->setText(cell.text);
        label->setToolTip(cell.text + QStringLiteral("\n") + cell.toolTip);
        paint(label, cell.danger, palette());
    }
    for (const QString& name : std::as_const(gone))
        delete m_cells.take(name);
}
