// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmSetWorkDir.h"

#include "core/Configuration.h"
#include "core/FrontPanel.h"
#include "datafiles/modFile.h"
#include "ui/Dialogs.h"

#include <QComboBox>
#include <QDir>
#include <QGroupBox>
#include <QKeyEvent>
#include <QListWidget>
#include <QStorageInfo>
#include <QStyle>
#include <QVBoxLayout>

#include <algorithm>

namespace {
/// Volumes on which nobody keeps scans.
bool isSystemVolume(const QStorageInfo& volume)
{
    static const QStringList systemRoots = {QStringLiteral("/boot"), QStringLiteral("/proc"),   QStringLiteral("/sys"),
                                            QStringLiteral("/dev"),  QStringLiteral("/run"),    QStringLiteral("/etc"),
                                            QStringLiteral("/snap"), QStringLiteral("/var/lib")};
    const QString root = volume.rootPath();
    if (root.startsWith(QStringLiteral("/run/media/")))
        return false;
    return std::any_of(systemRoots.begin(), systemRoots.end(),
                       [&root](const QString& start) { return root == start || root.startsWith(start + u'/'); });
}

QString volumeText(const QStorageInfo& volume)
{
    const QString root = QDir::toNativeSeparators(volume.rootPath());
    return volume.name().isEmpty() ? root : root + QStringLiteral("  [") + volume.name() + u']';
}
} // namespace

frmSetWorkDir::frmSetWorkDir(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmSetWorkDir"), QStringLiteral("Set Work Directory"));
    auto* frame1 = new QGroupBox(QStringLiteral("Drive && Directory"), this);
    frame1->setObjectName(QStringLiteral("Frame1"));
    m_drives = new QComboBox(frame1);
    m_drives->setObjectName(QStringLiteral("DriveList"));
    m_drives->setToolTip(QStringLiteral("Select the drive where you want the scan data to be stored"));
    m_drives->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    m_directories = new QListWidget(frame1);
    m_directories->setObjectName(QStringLiteral("DirList"));
    m_directories->setToolTip(QStringLiteral("Select the directory where you want the scan data to be stored"));
    m_directories->installEventFilter(this);
    auto* layout1 = new QVBoxLayout(frame1);
    layout1->addWidget(m_drives);
    layout1->addWidget(m_directories, 1);

    auto* frame2 = new QGroupBox(QStringLiteral("Directory Content"), this);
    frame2->setObjectName(QStringLiteral("Frame2"));
    m_files = new QListWidget(frame2);
    m_files->setObjectName(QStringLiteral("FileList"));
    m_files->setToolTip(QStringLiteral("Files in the selected directory"));
    m_files->setSelectionMode(QAbstractItemView::NoSelection);
    (new QVBoxLayout(frame2))->addWidget(m_files);

    QPushButton* btnOk = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    QPushButton* btnCancel = Dialogs::button(this, QStringLiteral("btnCancel"), QStringLiteral("&Cancel"));

    auto* frames = new QHBoxLayout;
    frames->setSpacing(Dialogs::spacing);
    frames->addWidget(frame1, 1);
    frames->addWidget(frame2, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addLayout(frames, 1);
    layout->addLayout(Dialogs::buttonRow({btnOk, btnCancel}));
    resize(620, 400);

    fillDrives();
    const QString workDir = configuration().general.workDir;
    changeTo(workDir.isEmpty() ? QDir::currentPath() : workDir);
    m_directories->setFocus();

    connect(m_drives, &QComboBox::activated, this, [this](int index) { changeTo(m_drives->itemData(index).toString()); });
    connect(m_directories, &QListWidget::currentRowChanged, this, &frmSetWorkDir::showFiles);
    connect(m_directories, &QListWidget::itemDoubleClicked, this,
            [this](QListWidgetItem* item) { changeTo(item->data(Qt::UserRole).toString()); });
    connect(btnOk, &QPushButton::clicked, this, &frmSetWorkDir::store);
    connect(btnCancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmSetWorkDir::fillDrives()
{
    for (const QStorageInfo& volume : QStorageInfo::mountedVolumes())
        if (volume.isValid() && volume.isReady() && !isSystemVolume(volume) && m_drives->findData(volume.rootPath()) < 0 &&
            QFileInfo(volume.rootPath()).isDir())
            m_drives->addItem(style()->standardIcon(QStyle::SP_DriveHDIcon), volumeText(volume), volume.rootPath());
}

void frmSetWorkDir::selectDriveOf(const QString& directory)
{
    const QString root = QStorageInfo(directory).rootPath();
    int row = m_drives->findData(root);
    if (row < 0 && !root.isEmpty()) {
        m_drives->addItem(style()->standardIcon(QStyle::SP_DriveHDIcon), QDir::toNativeSeparators(root), root);
        row = m_drives->count() - 1;
    }
    m_drives->setCurrentIndex(row);
}

void frmSetWorkDir::changeTo(const QString& directory)
{
    const QDir current(QDir::cleanPath(QDir(directory).absolutePath()));
    if (!current.exists())
        return;
    m_current = current.absolutePath();
    QStringList way; // from the root to the current directory
    for (QDir step = current;;) {
        way.prepend(step.absolutePath());
        if (step.isRoot() || !step.cdUp())
            break;
    }
    const QSignalBlocker blocker(m_directories);
    m_directories->clear();
    const auto add = [this](const QString& path, qsizetype depth, QStyle::StandardPixmap icon) {
        const QString name = QDir(path).isRoot() ? QDir::toNativeSeparators(path) : QDir(path).dirName();
        auto* item = new QListWidgetItem(style()->standardIcon(icon), QString(depth * 2, u' ') + name, m_directories);
        item->setData(Qt::UserRole, path);
    };
    for (const QString& step : way)
        add(step, way.indexOf(step), QStyle::SP_DirOpenIcon);
    m_directories->setCurrentRow(static_cast<int>(way.size()) - 1);
    for (const QString& name : current.entryList(QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name | QDir::IgnoreCase | QDir::LocaleAware))
        if (QFileInfo(current.absoluteFilePath(name)).isDir()) // not a link to a device
            add(current.absoluteFilePath(name), way.size(), QStyle::SP_DirClosedIcon);
    m_directories->scrollToItem(m_directories->currentItem(), QAbstractItemView::PositionAtTop);
    selectDriveOf(current.absolutePath());
    showFiles();
}

QString frmSetWorkDir::highlighted() const
{
    const QListWidgetItem* item = m_directories->currentItem();
    return item != nullptr ? item->data(Qt::UserRole).toString() : QString();
}

void frmSetWorkDir::showFiles()
{
    m_files->clear();
    if (highlighted().isEmpty())
        return;
    const QStringList names = QDir(highlighted()).entryList(QDir::Files, QDir::Name | QDir::IgnoreCase | QDir::LocaleAware);
    for (const QString& name : names)
        new QListWidgetItem(style()->standardIcon(QStyle::SP_FileIcon), name, m_files);
    if (names.isEmpty()) {
        auto* empty = new QListWidgetItem(QStringLiteral("(no files)"), m_files);
        empty->setFlags(Qt::NoItemFlags);
    }
}

bool frmSetWorkDir::eventFilter(QObject* watched, QEvent* event)
{
    // Enter goes into the highlighted directory; in the current one it presses OK as everywhere.
    if (event->type() == QEvent::KeyPress && watched == m_directories) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && highlighted() != m_current) {
            changeTo(highlighted());
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void frmSetWorkDir::store()
{
    if (highlighted().isEmpty())
        return;
    const QString directory = modFile::WithSeparator(QDir::toNativeSeparators(highlighted()));
    configuration().general.workDir = directory;
    frontPanel().setText(FrontPanel::Field::txtWorkDir, directory);
    accept();
}
