// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmProfileRun.h"

#include "core/Flags.h"
#include "core/NumberText.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileRun.h"
#include "ui/Dialogs.h"

#include <QHeaderView>
#include <QLabel>
#include <QTableWidget>
#include <QVBoxLayout>

#include <cmath>

namespace {
QString duration(double seconds)
{
    const auto minutes = std::llround(seconds / 60);
    return QStringLiteral("%1 h %2 min").arg(minutes / 60).arg(minutes % 60, 2, 10, QChar(u'0'));
}

QStringList cells(qsizetype index, const ProfileRun::Row& row, const QString& unit)
{
    const bool ahead = row.phase < ProfileRun::Phase::Earlier;
    return {QString::number(index + 1),
            NumberText::General(row.setpoint) + u' ' + unit,
            row.actual ? NumberText::General(*row.actual) + u' ' + unit : QString(),
            ProfileRun::phaseText(row.phase),
            row.file.isEmpty() ? row.plannedFile : row.file,
            ahead ? duration(row.estimate) : QString()};
}
} // namespace

frmProfileRun::frmProfileRun(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmProfileRun"), QStringLiteral("Temperature profile run"));
    m_table = new QTableWidget(0, 6, this);
    m_table->setObjectName(QStringLiteral("tableRun"));
    m_table->setHorizontalHeaderLabels({QStringLiteral("Step"), QStringLiteral("Set"), QStringLiteral("Actual"), QStringLiteral("State"),
                                        QStringLiteral("File"), QStringLiteral("Time")});
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->verticalHeader()->hide();
    m_table->horizontalHeader()->setStretchLastSection(true);
    m_remaining = new QLabel(this);
    m_remaining->setObjectName(QStringLiteral("lblTimeLeft"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->addWidget(m_table);
    layout->addWidget(m_remaining);
    resize(720, 320);
    connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, this, [this] {
        if (flags().profileRunning && ProfileRun::state().current >= 0 && !isVisible() && m_table->rowCount() == 0)
            show();
        refresh();
    });
}

void frmProfileRun::follow(QWidget* mainWindow)
{
    if (flags().profileRunning)
        return;
    if (mainWindow != nullptr)
        delete mainWindow->findChild<frmProfileRun*>();
    auto* window = new frmProfileRun(mainWindow);
    window->setModal(false);
}

void frmProfileRun::refresh()
{
    const ProfileRun::State& run = ProfileRun::state();
    if (!isVisible())
        return;
    const QString unit = ProfileEdit::limits().unit;
    m_table->setRowCount(static_cast<int>(run.rows.size()));
    double left = 0;
    for (qsizetype i = 0; i < run.rows.size(); ++i) {
        const QStringList texts = cells(i, run.rows[i], unit);
        for (int column = 0; column < texts.size(); ++column)
            m_table->setItem(static_cast<int>(i), column, new QTableWidgetItem(texts[column]));
        if (run.rows[i].phase < ProfileRun::Phase::Earlier)
            left += run.rows[i].estimate;
    }
    if (run.current >= 0)
        m_table->selectRow(run.current);
    m_remaining->setText(flags().profileRunning ? QStringLiteral("Time left: ") + duration(left) : QStringLiteral("The run has ended."));
}
