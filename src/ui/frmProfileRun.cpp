// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmProfileRun.h"

#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "profile/ProfileRun.h"
#include "temperature/Controller.h"
#include "ui/Dialogs.h"

#include <QDateTime>
#include <QFileInfo>
#include <QHeaderView>
#include <QLabel>
#include <QScrollBar>
#include <QTableView>
#include <QVBoxLayout>

#include <algorithm>
#include <utility>

namespace {
constexpr int second = 1000;        // ms
constexpr double longestTime = 1e9; // s, where the end of the run is not named any more
constexpr int visibleRows = 12;     // rows that the window has place for at first
constexpr int columnPadding = 24;   // px beside the widest text of a column

struct ColumnInfo
{
    const char* caption;
    const char* widest; ///< text that must fit
    Qt::Alignment alignment;
};

const ColumnInfo& column(int index)
{
    static const ColumnInfo all[ProfileRunModel::columns] = {{"Step", "1000000", Qt::AlignRight},
                                                             {"Set", "1250.5 °C", Qt::AlignRight},
                                                             {"Actual", "1250.55 °C", Qt::AlignRight},
                                                             {"State", "done by the run before", Qt::AlignLeft},
                                                             {"File", "Sample_name_0295.3(2).sdf", Qt::AlignLeft},
                                                             {"Time left", "100:00:00", Qt::AlignRight}};
    return all[index];
}

QString cell(qsizetype index, int which)
{
    using Model = ProfileRunModel;
    const ProfileRun::Row& row = std::as_const(ProfileRun::state().rows)[index];
    const Temperature::Scale scale = Temperature::active().scale();
    const QString unit = u' ' + scale.unit;
    switch (which) {
    case Model::Step:
        return NumberText::General(qint64{index + 1});
    case Model::Set:
        return NumberText::General(row.setpoint) + unit;
    case Model::Actual:
        return row.actual ? NumberText::Fixed(*row.actual, scale.shownDecimals) + unit : QString();
    case Model::State:
        return ProfileRun::phaseText(row.phase);
    case Model::File:
        // What was skipped or broken off has written nothing.
        return row.phase == ProfileRun::Phase::Skipped || row.phase == ProfileRun::Phase::Aborted || !row.file.isEmpty()
                   ? QFileInfo(row.file).fileName()
                   : row.plannedFile;
    case Model::TimeLeft:
        return row.phase < ProfileRun::Phase::Earlier ? ProfileRun::TimeText(ProfileRun::TimeLeft(index)) : QString();
    default:
        return {};
    }
}

/// What the operator should know beyond the cells: the whole path, and what went wrong.
QString toolTip(qsizetype index)
{
    const ProfileRun::Row& row = std::as_const(ProfileRun::state().rows)[index];
    QStringList lines = row.remarks;
    if (!row.file.isEmpty())
        lines.prepend(row.file);
    return lines.join(u'\n');
}
} // namespace

int ProfileRunModel::rowCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : m_rows;
}

int ProfileRunModel::columnCount(const QModelIndex& parent) const
{
    return parent.isValid() ? 0 : int{columns};
}

QVariant ProfileRunModel::data(const QModelIndex& index, int role) const
{
    if (!index.isValid() || index.row() >= ProfileRun::state().rows.size())
        return {};
    if (role == Qt::DisplayRole)
        return cell(index.row(), index.column());
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue(column(index.column()).alignment | Qt::AlignVCenter);
    if (role == Qt::ToolTipRole)
        return toolTip(index.row());
    return {};
}

QVariant ProfileRunModel::headerData(int section, Qt::Orientation orientation, int role) const
{
    if (orientation != Qt::Horizontal)
        return {};
    if (role == Qt::DisplayRole)
        return QString::fromUtf8(column(section).caption);
    // Over numbers in the middle: a caption at the right would run into the next one at the left.
    if (role == Qt::TextAlignmentRole)
        return QVariant::fromValue((column(section).alignment == Qt::AlignRight ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter);
    return {};
}

void ProfileRunModel::follow()
{
    const auto rows = static_cast<int>(ProfileRun::state().rows.size());
    if (rows != m_rows) {
        beginResetModel();
        m_rows = rows;
        endResetModel();
    } else if (rows > 0) {
        emit dataChanged(index(0, 0), index(rows - 1, columns - 1));
    }
}

frmProfileRun::frmProfileRun(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmProfileRun"), QStringLiteral("Temperature profile run"));
    m_model = new ProfileRunModel(this);
    m_table = new QTableView(this);
    m_table->setObjectName(QStringLiteral("tableRun"));
    m_table->setModel(m_model);
    m_table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    m_table->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_table->setSelectionMode(QAbstractItemView::SingleSelection);
    m_table->setTabKeyNavigation(false);
    m_table->setWordWrap(false);
    m_table->verticalHeader()->hide();
    m_table->verticalHeader()->setDefaultSectionSize(m_table->fontMetrics().height() + Dialogs::spacing);
    m_remaining = new QLabel(this);
    m_remaining->setObjectName(QStringLiteral("lblTimeLeft"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addWidget(m_table);
    layout->addWidget(m_remaining);
    fitColumns();
    connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, this, [this] {
        if (Operation::isRunning(Operations::profile) && ProfileRun::state().current >= 0 && !m_appeared) {
            m_appeared = true;
            show();
        }
        refresh();
    });
    connect(&m_second, &modTools::Timer::tick, this, &frmProfileRun::refresh);
    m_second.setInterval(second);
    m_second.setEnabled(true);
}

void frmProfileRun::fitColumns()
{
    int width = m_table->verticalScrollBar()->sizeHint().width() + 2 * m_table->frameWidth();
    for (int i = 0; i < ProfileRunModel::columns; ++i) {
        const int wanted = m_table->fontMetrics().horizontalAdvance(QString::fromUtf8(column(i).widest)) + columnPadding;
        m_table->setColumnWidth(i, wanted);
        width += wanted;
    }
    // A long sample name takes what the window is widened by.
    m_table->horizontalHeader()->setSectionResizeMode(ProfileRunModel::File, QHeaderView::Stretch);
    const int rowHeight = m_table->verticalHeader()->defaultSectionSize();
    resize(width + 2 * Dialogs::margin, (visibleRows + 1) * rowHeight + m_remaining->sizeHint().height() + 3 * Dialogs::margin);
}

void frmProfileRun::follow(QWidget* mainWindow)
{
    if (Operation::isRunning(Operations::profile))
        return;
    if (mainWindow != nullptr)
        delete mainWindow->findChild<frmProfileRun*>();
    auto* window = new frmProfileRun(mainWindow);
    window->setModal(false);
}

void frmProfileRun::refresh()
{
    if (!isVisible())
        return;
    m_model->follow();
    const int current = ProfileRun::state().current;
    if (current >= 0 && current != m_followed) {
        m_table->selectRow(current);
        m_table->scrollTo(m_model->index(current, 0));
    }
    m_followed = current;
    if (!Operation::isRunning(Operations::profile)) {
        m_remaining->setText(QStringLiteral("The run has ended."));
        return;
    }
    const double left = ProfileRun::TimeLeft();
    const QDateTime end = modTools::currentDateTime().addSecs(static_cast<qint64>(std::min(left, longestTime)));
    m_remaining->setText(QStringLiteral("Time left: ") + ProfileRun::TimeText(left) + QStringLiteral(", until ") +
                         end.toString(QStringLiteral("yyyy-MM-dd hh:mm")));
}
