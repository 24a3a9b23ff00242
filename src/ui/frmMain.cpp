// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmMain.h"

#include "core/Flags.h"
#include "core/Operation.h"
#include "core/startup/modMain.h"
#include "plot/Chart2d.h"
#include "plot/modGraphics.h"
#include "safety/AllOff.h"
#include "safety/StripReading.h"
#include "temperature/CooldownLog.h"
#include "temperature/SteadyState.h"
#include "ui/CommunicationTest.h"
#include "ui/Fields.h"
#include "ui/Handlers.h"
#include "ui/InstrumentStrip.h"
#include "ui/NoticeBars.h"
#include "ui/WarningSign.h"
#include "ui/frmCooldown.h"
#include "ui/frmTextDisplay.h"

#include <QApplication>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>

#include <utility>

using Field = FrontPanel::Field;

namespace {
constexpr int margin = 10;
constexpr int spacing = 8;
constexpr int columnCharacters = 52; ///< width of the column at the left, in average characters
constexpr int commentLines = 5;
constexpr int progressHeight = 16;
constexpr int temperaturePanel = 3;

const QString nameToolTip = QStringLiteral("Sample-/Filename");
const QString commentToolTip = QStringLiteral("Comment");
const QString takenToolTip = QStringLiteral("The running temperature profile has taken sample name and comment for all its files.\n"
                                            "Both can be changed again when it has ended.");

QLabel* fieldLabel(const QString& name, const QString& text, QWidget* buddy)
{
    auto* label = new QLabel(text);
    label->setObjectName(name);
    label->setBuddy(buddy);
    label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    return label;
}

/// Two menus share the access key H. The one that is disabled does not take it from the other.
class MenuBar : public QMenuBar
{
public:
    using QMenuBar::QMenuBar;

protected:
    bool event(QEvent* event) override
    {
        if (event->type() == QEvent::Shortcut) {
            const QKeySequence key = static_cast<QShortcutEvent*>(event)->key();
            QList<QAction*> meant;
            for (QAction* action : actions())
                if (action->isEnabled() && QKeySequence::mnemonic(action->text()) == key)
                    meant << action;
            if (meant.size() == 1) {
                setActiveAction(meant.first());
                return true;
            }
        }
        return QMenuBar::event(event);
    }
};

/// The comment as the data files hold it: lines separated by CR LF.
QString withLineEnds(QString text)
{
    return text.replace(u'\n', QStringLiteral("\r\n"));
}
QString withoutReturns(QString text)
{
    return text.remove(u'\r');
}
} // namespace

namespace {
/// A box or dialog that bars the main window takes its keys too, but for the one that switches everything off.
class OffKey : public QObject
{
public:
    using QObject::QObject;

    bool eventFilter(QObject* watched, QEvent* event) override
    {
        if (event->type() != QEvent::KeyPress || QApplication::activeModalWidget() == nullptr || !watched->isWidgetType())
            return false;
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() != Qt::Key_F12 || key->modifiers() != Qt::NoModifier)
            return false;
        AllOff::mnuExtrasAllOff();
        return true;
    }
};
} // namespace

frmMain::frmMain(QWidget* parent) : QMainWindow(parent)
{
    setObjectName(QStringLiteral("frmMain"));
    buildMenus();

    m_chart = new Chart2d(this);
    m_progress = new QProgressBar(this);
    m_progress->setObjectName(QStringLiteral("ProgressBar1"));
    m_progress->setToolTip(QStringLiteral("Progress of the scan"));
    m_progress->setRange(0, 100);
    m_progress->setFixedHeight(progressHeight);
    m_progress->setAlignment(Qt::AlignCenter);
    auto* central = new QWidget(this);
    auto* layout = new QGridLayout(central);
    layout->setContentsMargins(margin, margin, margin, margin / 2);
    layout->setSpacing(spacing);
    auto* strip = new InstrumentStrip(this);
    connect(strip, &InstrumentStrip::allOff, this, [this] { choose(Menu::Entry::mnuExtrasAllOff); });
    layout->addWidget(strip, 0, 0, 1, 2);
    auto* picture = new QVBoxLayout;
    picture->setSpacing(spacing);
    picture->addWidget(new NoticeBars(this));
    picture->addWidget(m_chart, 1);
    layout->addWidget(buildColumn(), 1, 0);
    layout->addLayout(picture, 1, 1);
    layout->addWidget(m_progress, 2, 0, 1, 2);
    layout->setColumnStretch(1, 1);
    layout->setRowStretch(1, 1);
    setCentralWidget(central);
    buildStatusBar();
    resize(1000, 690);

    m_textDisplay = new frmTextDisplay(this);
    new frmTextDisplay(this, FrontPanel::TextWindow::Second);
    connectFrontPanel();
    modGraphics::SetChart(m_chart);
    QApplication::instance()->installEventFilter(new OffKey(this));
    m_fields.value(Field::ScanStart)->setFocus();
    StripReading::Start();
}

frmMain::~frmMain()
{
    // Windows that end with this one end what they hold, of which it must not hear any more.
    frontPanel().disconnect(this);
    StripReading::Stop();
    modGraphics::SetChart(nullptr);
    showPointer(FrontPanel::Pointer::Default);
}

void frmMain::buildMenus()
{
    setMenuBar(new MenuBar(this));
    QHash<Menu::Entry, QMenu*> menus;
    for (const Menu::Item& item : Menu::items()) {
        QAction* action = nullptr;
        QMenu* parentMenu = menus.value(item.parent);
        if (Menu::isMenu(item.entry)) {
            auto* menu = new QMenu(this);
            menu->setToolTipsVisible(true);
            menus.insert(item.entry, menu);
            action = menu->menuAction();
        } else {
            action = new QAction(this);
            const bool hasProcedure = Handlers::of(item.entry) != nullptr;
            action->setProperty("hasProcedure", hasProcedure);
            if (hasProcedure)
                connect(action, &QAction::triggered, this, [this, entry = item.entry] { choose(entry); });
        }
        if (item.entry == Menu::Entry::mnuExtrasAllOff)
            action->setShortcut(Qt::Key_F12);
        // A platform that moves entries into menus of its own would take them out of their order.
        action->setMenuRole(QAction::NoRole);
        action->setObjectName(QString::fromLatin1(item.name));
        if (parentMenu == nullptr) {
            menuBar()->addAction(action);
        } else {
            if (item.separatorBefore)
                parentMenu->addSeparator();
            parentMenu->addAction(action);
        }
        m_actions.insert(item.entry, action);
    }
}

void frmMain::choose(Menu::Entry entry)
{
    // What lasts must not run inside a reading of the log or of a wait, which would stand still meanwhile. One entry waits: the last one
    // chosen.
    const bool reading = CooldownLog::state().reading || StripReading::isReading() ||
                         (SteadyState::isReading() && Operation::isRunning(Operations::temperature));
    if (reading && !Handlers::runsAtOnce(entry))
        m_waiting = entry;
    else
        Handlers::of(entry)(this);
}

void frmMain::runWaiting()
{
    const std::optional<Menu::Entry> entry = std::exchange(m_waiting, std::nullopt);
    if (entry && frontPanel().isEntryEnabled(*entry) && !flags().closing)
        choose(*entry);
}

QWidget* frmMain::buildColumn()
{
    auto* column = new QWidget(this);
    column->setFixedWidth(column->fontMetrics().averageCharWidth() * columnCharacters);
    m_first = new QPushButton(column);
    m_first->setObjectName(QStringLiteral("btnFirst"));
    m_first->setAccessibleName(QStringLiteral("Focus anchor"));
    m_first->setFlat(true);
    m_first->setFocusPolicy(Qt::NoFocus);
    m_first->setFixedSize(1, 1);

    auto* warnings = new QHBoxLayout;
    m_xRayOn = new WarningSign(WarningSign::Kind::Radiation, column);
    m_laserOn = new WarningSign(WarningSign::Kind::Laser, column);
    warnings->addWidget(m_xRayOn, 1);
    warnings->addWidget(m_laserOn, 1);

    QGroupBox* parameters = buildScanParameterFrame();
    QGroupBox* file = buildFileFrame();
    // Both frames share one line at which labels end and fields begin.
    const int labelWidth = column->fontMetrics().horizontalAdvance(QStringLiteral("Work directory:")) + 2;
    for (const QGroupBox* frame : {parameters, file})
        static_cast<QGridLayout*>(frame->layout())->setColumnMinimumWidth(0, labelWidth);
    auto* layout = new QVBoxLayout(column);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(spacing);
    layout->addWidget(parameters);
    layout->addWidget(file);
    layout->addStretch(1);
    layout->addLayout(warnings);
    layout->addWidget(m_first);
    return column;
}

QLineEdit* frmMain::addParameter(QGridLayout* grid, Field field, const QString& labelName, const QString& label, const QString& toolTip,
                                 const QString& unit)
{
    auto* edit = new ParameterField(field, this);
    edit->setObjectName(QString::fromLatin1(FrontPanel::fieldName(field)));
    edit->setToolTip(toolTip);
    edit->setAlignment(Qt::AlignRight);
    const int row = grid->rowCount();
    grid->addWidget(fieldLabel(labelName, label, edit), row, 0);
    grid->addWidget(edit, row, 1);
    grid->addWidget(new QLabel(unit, this), row, 2);
    connect(edit, &ParameterField::moveOn, this, [this](Field next) { m_fields.value(next)->setFocus(Qt::TabFocusReason); });
    connectField(field, edit);
    return edit;
}

QGroupBox* frmMain::buildScanParameterFrame()
{
    auto* frame = new QGroupBox(QStringLiteral("Scan Parameter"), this);
    frame->setObjectName(QStringLiteral("frameScanParameter"));
    auto* grid = new QGridLayout(frame);
    grid->setColumnStretch(1, 1);
    const QString degrees = QStringLiteral("[deg 2-Theta]");
    addParameter(grid, Field::ScanStart, QStringLiteral("LblScanStart"), QStringLiteral("Scan start:"),
                 QStringLiteral("Scan start [deg 2-Theta]"), degrees);
    addParameter(grid, Field::ScanStop, QStringLiteral("LblScanStop"), QStringLiteral("Scan stop:"),
                 QStringLiteral("Scan stop [deg 2-Theta]"), degrees);
    addParameter(grid, Field::ScanStep, QStringLiteral("LblScanStep"), QStringLiteral("Scan step:"),
                 QStringLiteral("Scan interval [deg 2-Theta]"), degrees);
    addParameter(grid, Field::CounterTime, QStringLiteral("LblCounterTime"), QStringLiteral("Counter time:"),
                 QStringLiteral("Counter time [s]"), QStringLiteral("[s]"));
    return frame;
}

QGroupBox* frmMain::buildFileFrame()
{
    auto* frame = new QGroupBox(this);
    frame->setObjectName(QStringLiteral("frameFile"));
    auto* name = new NameField(frame);
    name->setToolTip(nameToolTip);
    connectField(Field::txtFileName, name);

    m_comment = new QPlainTextEdit(frame);
    m_comment->setObjectName(QStringLiteral("txtComment"));
    m_comment->setToolTip(commentToolTip);
    m_comment->setTabChangesFocus(true);
    m_comment->setFixedHeight(m_comment->fontMetrics().lineSpacing() * commentLines + 12);
    connect(name, &NameField::moveOn, m_comment, [this] { m_comment->setFocus(Qt::TabFocusReason); });
    connect(m_comment, &QPlainTextEdit::textChanged, this,
            [this] { frontPanel().setText(Field::txtComment, withLineEnds(m_comment->toPlainText())); });

    auto* workDir = new QLineEdit(frame);
    workDir->setObjectName(QStringLiteral("txtWorkDir"));
    workDir->setToolTip(QStringLiteral("Actual working directory"));
    workDir->setReadOnly(true);
    connectField(Field::txtWorkDir, workDir);

    auto* grid = new QGridLayout(frame);
    grid->setColumnStretch(1, 1);
    grid->addWidget(fieldLabel(QStringLiteral("LblFileName"), QStringLiteral("Sample name:"), name), 0, 0);
    grid->addWidget(name, 0, 1);
    QLabel* comment = fieldLabel(QStringLiteral("lblComment"), QStringLiteral("Comment:"), m_comment);
    comment->setAlignment(Qt::AlignRight | Qt::AlignTop);
    comment->setContentsMargins(0, 4, 0, 0);
    grid->addWidget(comment, 1, 0);
    grid->addWidget(m_comment, 1, 1);
    grid->addWidget(fieldLabel(QStringLiteral("lblWorkDir"), QStringLiteral("Work directory:"), workDir), 2, 0);
    grid->addWidget(workDir, 2, 1);
    return frame;
}

void frmMain::buildStatusBar()
{
    auto* bar = new QStatusBar(this);
    bar->setObjectName(QStringLiteral("StatusBar"));
    bar->setSizeGripEnabled(false);
    setStatusBar(bar);
    // Panels keep their places whatever stands in them: the date and the progress are as wide as their longest text.
    const struct
    {
        int stretch;
        const char* widest;
        const char* what;
    } panels[] = {{5, "", "State"},
                  {0, "Mmm 00. 0000 00:00", "Measuring date"},
                  {3, "", "Temperature"},
                  {0, "00000 of 00000 points, 00:00:00 remaining", "Progress"}};
    auto* row = new QWidget(bar);
    auto* layout = new QHBoxLayout(row);
    layout->setContentsMargins(margin - 2, 0, margin - 2, 2);
    layout->setSpacing(4);
    int number = 0;
    for (const auto& each : panels) {
        auto* panel = new PanelLabel(bar);
        panel->setObjectName(QStringLiteral("Panel") + QString::number(++number));
        panel->setAccessibleName(QString::fromLatin1(each.what));
        panel->setFrameStyle(QFrame::StyledPanel | QFrame::Sunken);
        if (each.stretch == 0) {
            panel->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
            panel->setFixedWidth(panel->fontMetrics().horizontalAdvance(QString::fromLatin1(each.widest)) + 16);
        }
        layout->addWidget(panel, each.stretch);
        panel->installEventFilter(this);
        m_panels.insert(number, panel);
    }
    bar->addWidget(row, 1);
    bar->installEventFilter(this);
}

void frmMain::connectField(Field field, QLineEdit* edit)
{
    m_fields.insert(field, edit);
    connect(edit, &QLineEdit::textChanged, this, [field](const QString& text) { frontPanel().setText(field, text); });
}

void frmMain::connectFrontPanel()
{
    FrontPanel& panel = frontPanel();
    connect(&panel, &FrontPanel::textChanged, this, &frmMain::showField);
    connect(&panel, &FrontPanel::captionChanged, this, &QWidget::setWindowTitle);
    connect(&panel, &FrontPanel::panelChanged, this, [this](int number, const QString& text) {
        if (PanelLabel* label = m_panels.value(number))
            label->showText(text);
    });
    connect(&panel, &FrontPanel::progressChanged, this, &frmMain::showProgress);
    connect(&panel, &FrontPanel::picturesChanged, this, &frmMain::showPictures);
    connect(&panel, &FrontPanel::pointerChanged, this, &frmMain::showPointer);
    connect(&panel, &FrontPanel::entriesChanged, this, &frmMain::showEntries);
    connect(&CooldownLog::notifier(), &CooldownLog::Notifier::readingEnded, this, &frmMain::runWaiting, Qt::QueuedConnection);
    connect(&SteadyState::notifier(), &SteadyState::Notifier::readingEnded, this, &frmMain::runWaiting, Qt::QueuedConnection);
    connect(&StripReading::notifier(), &StripReading::Notifier::readingEnded, this, &frmMain::runWaiting, Qt::QueuedConnection);
    connect(&panel, &FrontPanel::focusRequested, this, [this] { m_first->setFocus(); });

    for (Field field :
         {Field::ScanStart, Field::ScanStop, Field::ScanStep, Field::CounterTime, Field::txtFileName, Field::txtComment, Field::txtWorkDir})
        showField(field);
    for (auto label = m_panels.cbegin(); label != m_panels.cend(); ++label)
        label.value()->showText(panel.panel(label.key()));
    setWindowTitle(panel.caption());
    showProgress(panel.progress());
    showPictures();
    showPointer(panel.pointer());
    showEntries();
}

void frmMain::showField(Field field)
{
    const QString text = frontPanel().text(field);
    if (field == Field::txtComment) {
        const QSignalBlocker blocker(m_comment);
        if (m_comment->toPlainText() != withoutReturns(text))
            m_comment->setPlainText(withoutReturns(text));
        return;
    }
    QLineEdit* edit = m_fields.value(field);
    if (edit->text() != text) {
        const QSignalBlocker blocker(edit);
        edit->setText(text);
    }
}

void frmMain::showEntries()
{
    const FrontPanel& panel = frontPanel();
    for (const Menu::Item& item : Menu::items()) {
        QAction* action = m_actions.value(item.entry);
        action->setText(panel.entryCaption(item.entry));
        action->setEnabled(panel.isEntryEnabled(item.entry) && (Menu::isMenu(item.entry) || Handlers::of(item.entry) != nullptr));
    }
    m_chart->setHint(Operation::isRunning(Operations::scan) ? QStringLiteral("The scan is being measured") : Chart2d::howToBegin());
    for (Field field : {Field::ScanStart, Field::ScanStop, Field::ScanStep, Field::CounterTime})
        m_fields.value(field)->setReadOnly(panel.parameterFieldsReadOnly());
    QLineEdit* name = m_fields.value(Field::txtFileName);
    name->setReadOnly(panel.nameFieldsReadOnly());
    name->setToolTip(panel.nameFieldsReadOnly() ? takenToolTip : nameToolTip);
    m_comment->setReadOnly(panel.nameFieldsReadOnly());
    m_comment->setToolTip(panel.nameFieldsReadOnly() ? takenToolTip : commentToolTip);
}

void frmMain::showProgress(int percent)
{
    m_progress->setTextVisible(percent >= 0);
    m_progress->setValue(percent < 0 ? 0 : percent);
}

void frmMain::showPictures()
{
    m_laserOn->setVisible(frontPanel().picLaserOn());
    m_xRayOn->setVisible(frontPanel().picXRayOn());
}

void frmMain::showPointer(FrontPanel::Pointer pointer)
{
    const bool wanted = pointer == FrontPanel::Pointer::Hourglass;
    if (wanted == m_hourglass)
        return;
    m_hourglass = wanted;
    if (wanted)
        QApplication::setOverrideCursor(Qt::WaitCursor);
    else
        QApplication::restoreOverrideCursor();
}

bool frmMain::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::MouseButtonRelease && static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton) {
        clickStatusBar(watched);
        return true;
    }
    return QMainWindow::eventFilter(watched, event);
}

void frmMain::clickStatusBar(const QObject* panel)
{
    if (panel == m_panels.value(temperaturePanel) && frmCooldown::showAgain(this))
        return;
    // The test lasts, and a reading of the log is over in a moment: the next click starts it.
    if (CommunicationTest::isRunning() || !CooldownLog::state().reading)
        CommunicationTest::Click();
}

void frmMain::closeEvent(QCloseEvent* event)
{
    if (m_closed) {
        event->accept();
        return;
    }
    event->ignore();
    if (m_asking)
        return;
    m_asking = true;
    const bool goes = modMain::QueryClose() && modMain::QueryUnload() && modMain::QueryStillOn();
    m_asking = false;
    if (goes && !m_closed) {
        endNow();
        event->accept();
    }
}

void frmMain::endAtOnce()
{
    if (m_closed)
        return;
    modMain::EndWithoutQuestions();
    if (!m_closed)
        endNow();
}

void frmMain::endNow()
{
    m_closed = true;
    // Whatever procedure waits below this one returns now, and with the last of them the program ends.
    modMain::Close();
    emit ended();
}
