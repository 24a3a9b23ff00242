// SPDX-License-Identifier: GPL-3.0-or-later
// Longer than others: one window, with what each of its fields and keys does.

#include "ui/dlgTProfile.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/ProgramError.h"
#include "core/Prompts.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileRun.h"
#include "temperature/Controller.h"
#include "ui/Dialogs.h"
#include "ui/Fields.h"
#include "ui/ProfilePicture.h"

#include <QCloseEvent>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenuBar>
#include <QShortcut>
#include <QTimer>
#include <QVBoxLayout>
#include <QValidator>

#include <algorithm>
#include <cmath>

using ProfileEdit::Box;

namespace {
const QString title = QStringLiteral("Temperature profile");
const QString outOfRangeTitle = QStringLiteral("Value out of range");
constexpr int listCharacters = 42; ///< of a profile line that the list shows at least
constexpr int boxCharacters = 14;  ///< of a value that a box shows at least

QStringList& profile()
{
    return TProfile::state().lines;
}

bool yes(const QString& text)
{
    Prompts::Message box;
    box.title = title;
    box.text = text;
    box.icon = Prompts::Icon::Question;
    box.buttons = Prompts::Buttons::YesNo;
    box.defaultButton = 2;
    box.goesOn = Prompts::Button::Yes;
    box.safe = box.unattended = Prompts::Button::No;
    return prompts().message(box) == Prompts::Button::Yes;
}

/// What can stand in a numeric box, however it comes there: typed, pasted or dropped.
class KeyFilter : public QValidator
{
public:
    KeyFilter(const bool& loading, QObject* parent) : QValidator(parent), m_loading(loading) {}

    State validate(QString& input, int& position) const override
    {
        if (m_loading)
            return Acceptable;
        QString kept;
        int before = position;
        for (qsizetype i = 0; i < input.size(); ++i) {
            const QChar accepted = ProfileEdit::acceptedKey(input[i]);
            if (!accepted.isNull())
                kept += accepted;
            else if (i < position)
                --before;
        }
        input = kept;
        position = before;
        return Acceptable;
    }

private:
    const bool& m_loading;
};

/// The caption with its access key marked; what is read stays the same.
QString withAccessKey(QString caption, QChar key)
{
    return caption.insert(caption.indexOf(key, 0, Qt::CaseInsensitive), u'&');
}
} // namespace

dlgTProfile::dlgTProfile(QWidget* parent) : QDialog(parent)
{
    m_before = TProfile::state();
    Dialogs::prepare(this, QStringLiteral("dlgTProfile"), title);
    build();
    showProfile();
    field(Box::T1)->setFocus();
}

bool dlgTProfile::edit(QWidget* parent)
{
    return dlgTProfile(parent).exec() == QDialog::Accepted;
}

QLineEdit* dlgTProfile::addBox(Box box, const QString& name, const QString& toolTip)
{
    auto* result = new QLineEdit(this);
    result->setObjectName(name);
    result->setToolTip(toolTip);
    if (box != Box::Comment) {
        result->setAlignment(Qt::AlignRight);
        result->setValidator(new KeyFilter(m_loading, result));
    }
    result->setMinimumWidth(result->fontMetrics().averageCharWidth() * boxCharacters);
    result->installEventFilter(this);
    connect(result, &QLineEdit::textChanged, this, [this] {
        if (m_loading)
            return;
        m_typed = boxes() != m_filled;
        preview();
    });
    m_fields << result;
    return result;
}

void dlgTProfile::build()
{
    const Temperature::Scale scale = Temperature::active().scale();
    const bool currents = scale.currents;
    const QString& unit = scale.unit;
    const QString second = ProfileEdit::TimeUnit();
    auto* grid = new QGridLayout;
    grid->setSpacing(Dialogs::spacing);
    const auto row = [&](const QString& label, QChar key, QLineEdit* edit, const QString& unitText) {
        const int at = grid->rowCount();
        auto* caption = new QLabel(withAccessKey(label, key), this);
        caption->setObjectName(QStringLiteral("lbl") + edit->objectName().mid(3));
        caption->setBuddy(edit);
        caption->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        grid->addWidget(caption, at, 0);
        if (unitText.isEmpty()) { // a text, not a value: it has the place of the unit, too
            grid->addWidget(edit, at, 1, 1, 2);
            return;
        }
        grid->addWidget(edit, at, 1);
        auto* unitLabel = new QLabel(unitText, this);
        unitLabel->setObjectName(QStringLiteral("unit") + edit->objectName().mid(3));
        grid->addWidget(unitLabel, at, 2);
    };
    const auto text = [currents](const char* temperature, const char* current) {
        return QString::fromLatin1(currents ? current : temperature);
    };
    row(text("T-Start:", "I-Start:"), u's', addBox(Box::T1, QStringLiteral("txtT1"), text("Start temperature", "Start current setting")),
        unit);
    row(text("T-Stop:", "I-Stop:"), u'p', addBox(Box::T2, QStringLiteral("txtT2"), text("Final temperature", "Final current setting")),
        unit);
    row(text("T-Step:", "I-Step:"), u'e', addBox(Box::dT, QStringLiteral("txtdT"), text("Temperature step size", "Current step size")),
        unit);
    row(QStringLiteral("Heating rate:"), u'r', addBox(Box::Ramp, QStringLiteral("txtRamp"), QStringLiteral("Heating rate")),
        QStringLiteral(" K/min"));
    row(QStringLiteral("Dwell time:"), u'w',
        addBox(Box::Dwell, QStringLiteral("txtDwell"), QStringLiteral("Time to wait at the temperature before the scan")), second);
    row(QStringLiteral("Exposure time:"), u'x',
        addBox(Box::ExpoTime, QStringLiteral("txtExpoTime"), QStringLiteral("Individual exposure time just for this temperature step")),
        second);
    row(QStringLiteral("Comment:"), u'm', addBox(Box::Comment, QStringLiteral("txtComment"), QStringLiteral("Comment line")), QString());

    m_insert = Dialogs::button(this, QStringLiteral("btnInsert"), QStringLiteral("&Insert"));
    m_change = Dialogs::button(this, QStringLiteral("btnChange"), QStringLiteral("C&hange"));
    m_up = Dialogs::button(this, QStringLiteral("btnUp"), QStringLiteral("Move &Up"));
    m_down = Dialogs::button(this, QStringLiteral("btnDown"), QStringLiteral("Move &Down"));
    m_delete = Dialogs::button(this, QStringLiteral("btnDelete"), QStringLiteral("De&lete"));
    m_undo = Dialogs::button(this, QStringLiteral("btnUndo"), QStringLiteral("U&ndo"));
    m_ok = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"));
    m_cancel = Dialogs::button(this, QStringLiteral("btnCancel"), QStringLiteral("&Cancel"));
    m_list = new QListWidget(this);
    m_list->setObjectName(QStringLiteral("listProfile"));
    m_list->setMinimumWidth(m_list->fontMetrics().averageCharWidth() * listCharacters);
    m_picture = new ProfilePicture(this);
    const auto label = [this](const char* name, const QString& content) {
        auto* result = new QLabel(content, this);
        result->setObjectName(QString::fromLatin1(name));
        result->setTextFormat(Qt::PlainText);
        return result;
    };
    m_total = label("lblTotal", QString());
    m_status = label("lblStatus", QString());
    m_file = label("lblCurrentProfile", QString());

    auto* menu = new QMenuBar(this);
    QMenu* fileMenu = menu->addMenu(QStringLiteral("&File"));
    fileMenu->addAction(QStringLiteral("&Open..."), this, &dlgTProfile::openFile)->setObjectName(QStringLiteral("mnuFileOpen"));
    fileMenu->addAction(QStringLiteral("&Save..."), this, &dlgTProfile::saveFile)->setObjectName(QStringLiteral("mnuFileSave"));
    fileMenu->addSeparator();
    fileMenu->addAction(QStringLiteral("E&xit"), this, &QWidget::close)->setObjectName(QStringLiteral("mnuFileExit"));

    auto* buttons = new QVBoxLayout;
    for (QPushButton* one : {m_insert, m_change, m_up, m_down, m_delete, m_undo}) {
        one->setFocusPolicy(Qt::StrongFocus);
        buttons->addWidget(one);
    }
    buttons->addStretch(1);
    auto* top = new QHBoxLayout;
    top->setSpacing(Dialogs::spacing);
    top->addLayout(grid);
    top->addLayout(buttons);
    top->addWidget(m_list, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->setMenuBar(menu);
    layout->addWidget(m_file);
    layout->addLayout(top);
    layout->addWidget(label("lblRange", ProfileEdit::RangeText()));
    layout->addWidget(m_picture, 1);
    layout->addWidget(m_total);
    layout->addWidget(label("lblWorkDir", QStringLiteral("Work directory: ") + configuration().general.workDir));
    layout->addWidget(label("lblPIDFile", QStringLiteral("PID parameter file: ") + Temperature::active().tableFile()));
    layout->addWidget(m_status);
    layout->addLayout(Dialogs::buttonRow({m_ok, m_cancel}));

    connectButtons();
    orderFocus();
}

void dlgTProfile::connectButtons()
{
    connect(m_insert, &QPushButton::clicked, this, &dlgTProfile::insert);
    connect(m_change, &QPushButton::clicked, this, &dlgTProfile::change);
    connect(m_up, &QPushButton::clicked, this, [this] { move(-1); });
    connect(m_down, &QPushButton::clicked, this, [this] { move(1); });
    connect(m_delete, &QPushButton::clicked, this, &dlgTProfile::remove);
    connect(m_undo, &QPushButton::clicked, this, &dlgTProfile::undo);
    connect(m_ok, &QPushButton::clicked, this, &dlgTProfile::accept);
    connect(m_cancel, &QPushButton::clicked, this, &dlgTProfile::discard);
    connect(m_list, &QListWidget::currentRowChanged, this, &dlgTProfile::load);
    // A click on the chosen line brings it back, too, when the boxes have been edited since.
    connect(m_list, &QListWidget::itemClicked, this, [this] { load(m_list->currentRow()); });
    const auto key = [this](const QKeySequence& keys, void (dlgTProfile::*what)()) {
        connect(new QShortcut(keys, m_list, nullptr, nullptr, Qt::WidgetShortcut), &QShortcut::activated, this, what);
    };
    key(QKeySequence::Delete, &dlgTProfile::remove);
    key(QKeySequence::Undo, &dlgTProfile::undo);
}

void dlgTProfile::orderFocus()
{
    QWidget* before = m_fields.constLast();
    for (QWidget* next : QList<QWidget*>{m_insert, m_change, m_up, m_down, m_delete, m_undo, m_list, m_ok, m_cancel}) {
        setTabOrder(before, next);
        before = next;
    }
}

ProfileEdit::Boxes dlgTProfile::boxes() const
{
    const auto text = [this](Box box) { return field(box)->text(); };
    return {text(Box::T1), text(Box::T2), text(Box::dT), text(Box::Ramp), text(Box::Dwell), text(Box::ExpoTime), text(Box::Comment)};
}

void dlgTProfile::load(int row)
{
    if (row < 0 || row >= profile().size())
        return;
    ProfileEdit::Boxes filled = boxes();
    ProfileEdit::load(profile()[row], &filled);
    fill(filled);
    preview();
}

void dlgTProfile::fill(const ProfileEdit::Boxes& filled)
{
    const QStringList texts = {filled.t1, filled.t2, filled.dt, filled.ramp, filled.dwell, filled.expoTime, filled.comment};
    m_loading = true;
    for (qsizetype i = 0; i < texts.size(); ++i)
        m_fields[i]->setText(texts[i]);
    m_filled = boxes();
    m_loading = m_typed = false;
}

void dlgTProfile::refuse(const ProfileEdit::Fault& fault, const QString& boxTitle, Prompts::Icon icon)
{
    m_asking = true;
    showMessage(boxTitle, fault.text, icon);
    field(fault.box)->setFocus();
    field(fault.box)->selectAll();
    m_asking = false;
}

bool dlgTProfile::acceptable(const ProfileEdit::Boxes& typed)
{
    if (const ProfileEdit::Fault fault = ProfileEdit::outOfRange(typed); !fault.text.isEmpty()) {
        refuse(fault, outOfRangeTitle, Prompts::Icon::Critical);
        return false;
    }
    if (const ProfileEdit::Fault fault = ProfileEdit::missing(typed); !fault.text.isEmpty()) {
        refuse(fault, title, Prompts::Icon::Exclamation);
        return false;
    }
    return true;
}

void dlgTProfile::insert()
{
    ProfileEdit::Boxes typed = boxes();
    if (!acceptable(typed))
        return;
    remember();
    profile() += ProfileEdit::lines(typed);
    // The values stay for the next step; a comment is said once.
    typed.comment.clear();
    fill(typed);
    edited(-1);
}

void dlgTProfile::change()
{
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    ProfileEdit::Boxes typed = boxes();
    if (!TProfile::IsComment(profile()[row])) {
        typed.comment.clear();
        if (!acceptable(typed))
            return;
    }
    remember();
    profile()[row] = ProfileEdit::changed(profile()[row], typed);
    edited(row);
}

void dlgTProfile::move(int by)
{
    const int row = m_list->currentRow();
    if (row < 0 || row + by < 0 || row + by >= profile().size())
        return;
    remember();
    profile().move(row, row + by);
    edited(row + by);
}

void dlgTProfile::remove()
{
    const int row = m_list->currentRow();
    if (row < 0)
        return;
    remember();
    profile().removeAt(row);
    edited(std::min(row, static_cast<int>(profile().size()) - 1));
}

void dlgTProfile::undo()
{
    if (m_history.isEmpty())
        return;
    const Snapshot last = m_history.takeLast();
    profile() = last.lines;
    edited(last.row);
}

void dlgTProfile::remember()
{
    m_history << Snapshot{profile(), m_list->currentRow()};
}

void dlgTProfile::edited(int row)
{
    TProfile::state().modified = true;
    showProfile(row);
    // The boxes always hold the chosen line, so that a change never puts one line's values into another.
    load(row);
}

void dlgTProfile::showProfile(int row)
{
    const QSignalBlocker quiet(m_list);
    m_list->clear();
    m_list->addItems(profile());
    m_list->setCurrentRow(row);
    if (row < 0)
        m_list->scrollToBottom();
    m_steps.clear();
    for (const QString& line : std::as_const(profile()))
        m_steps += TProfile::ParseStep(line);
    m_file->setText(ProfileEdit::caption());
    preview();
}

void dlgTProfile::enableButtons()
{
    const int row = m_list->currentRow();
    for (QPushButton* one : {m_change, m_delete})
        one->setEnabled(row >= 0);
    m_up->setEnabled(row > 0);
    m_down->setEnabled(row >= 0 && row + 1 < profile().size());
    m_undo->setEnabled(!m_history.isEmpty());
}

bool dlgTProfile::typedStepCounts() const
{
    const int row = m_list->currentRow();
    if (!m_typed || !NumberText::IsNumber(field(Box::T1)->text()) || (row >= 0 && !m_steps[row]))
        return false;
    // A value that will be refused, such as the first digits of a step, does not count.
    return ProfileEdit::outOfRange(boxes()).text.isEmpty() && ProfileEdit::missing(boxes()).text.isEmpty();
}

QList<TProfile::Step> dlgTProfile::stepsWithTyped() const
{
    QList<TProfile::Step> result;
    result.reserve(m_steps.size() + 1);
    std::optional<TProfile::Step> typed;
    if (typedStepCounts())
        typed = TProfile::ParseStep(ProfileEdit::lines(boxes()).constFirst());
    const int row = m_list->currentRow();
    for (qsizetype i = 0; i < m_steps.size(); ++i)
        if (m_steps[i])
            result += typed && i == row ? *typed : *m_steps[i];
    if (typed && row < 0)
        result += *typed;
    return result;
}

void dlgTProfile::preview()
{
    enableButtons();
    const ProfileRun::Outline outline = ProfileRun::outline(stepsWithTyped());
    m_picture->showPlan(outline.rows, Temperature::active().scale().unit);
    const QString rest = typedStepCounts() ? QStringLiteral(", with the step in the boxes") : QString();
    const bool tooMany = outline.scans > ProfileRun::mostScans;
    m_total->setText(ProfileRun::TotalText(outline.scans, outline.seconds) + rest +
                     (tooMany ? QStringLiteral(". ") + ProfileRun::TooManyText() : QString()));
}

void dlgTProfile::checkRange(Box box)
{
    const QString refusal = ProfileEdit::refusal(box, field(box)->text());
    // An insert that came between may have asked already, and given the focus back.
    if (refusal.isEmpty() || m_asking || focusWidget() == field(box))
        return;
    refuse({refusal, box}, outOfRangeTitle, Prompts::Icon::Critical);
}

bool dlgTProfile::mayLeave()
{
    if (!TProfile::state().modified)
        return true;
    m_asking = true;
    const bool leave = yes(QStringLiteral("You did not save the current temperature profile.") + QStringLiteral("\r\n") +
                           QStringLiteral("Do you really want to continue?"));
    m_asking = false;
    return leave;
}

void dlgTProfile::openFile()
{
    if (!mayLeave())
        return;
    m_asking = true;
    const qint16 error = TProfile::OpenTProfile();
    m_asking = false;
    if (error == TProfile::Cancelled)
        return;
    if (error != 0) {
        m_status->setText(ProgramError::of(error).description);
        return;
    }
    m_history.clear();
    m_status->setText(TProfile::state().currentFile);
    showProfile();
}

void dlgTProfile::saveFile()
{
    m_asking = true;
    const bool saved = TProfile::SaveTProfile() == 0;
    m_asking = false;
    if (!saved)
        return;
    m_before = TProfile::state();
    m_status->setText(TProfile::state().currentFile);
    m_file->setText(ProfileEdit::caption());
}

void dlgTProfile::discard()
{
    const bool changed = profile() != m_before.lines || TProfile::state().modified != m_before.modified;
    if (TProfile::state().modified && changed && !mayDiscard())
        return;
    TProfile::state() = m_before;
    QDialog::reject();
}

bool dlgTProfile::mayDiscard()
{
    m_asking = true;
    const bool drop = yes(QStringLiteral("Discard changes?"));
    m_asking = false;
    return drop;
}

void dlgTProfile::accept()
{
    // What is typed counts in the picture and in the total, but not in the run.
    if (m_typed && boxes() != ProfileEdit::Boxes() && !mayDiscard())
        return;
    if (const QString why = ProfileEdit::profileRefusal(); !why.isEmpty()) {
        m_asking = true;
        showMessage(title, why, Prompts::Icon::Exclamation);
        m_asking = false;
        return;
    }
    QDialog::accept();
}

void dlgTProfile::reject()
{
    if (mayLeave())
        QDialog::reject();
}

void dlgTProfile::closeEvent(QCloseEvent* event)
{
    event->ignore();
    reject();
    if (!isVisible())
        event->accept();
}

bool dlgTProfile::eventFilter(QObject* watched, QEvent* event)
{
    const qsizetype index = m_fields.indexOf(qobject_cast<QLineEdit*>(watched));
    if (index < 0)
        return QDialog::eventFilter(watched, event);
    const auto box = static_cast<Box>(index);
    if (event->type() == QEvent::FocusOut && !m_asking) {
        const auto* focus = static_cast<QFocusEvent*>(event);
        const bool within = focus->reason() == Qt::TabFocusReason || focus->reason() == Qt::BacktabFocusReason ||
                            focus->reason() == Qt::MouseFocusReason || focus->reason() == Qt::ShortcutFocusReason;
        const bool cancels = focus->reason() == Qt::MouseFocusReason && m_cancel->underMouse();
        // The box is left first; asking inside the change of focus would confuse it. A press on Cancel is never held up.
        if (within && !cancels)
            QTimer::singleShot(0, this, [this, box] { checkRange(box); });
        return false;
    }
    if (event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
        focusNextChild();
        return true;
    }
    // A key that is not accepted leaves selection and undo of the box alone; the filter of the box would not.
    const QChar typed = typedCharacter(key);
    if (box == Box::Comment || typed.isNull())
        return QDialog::eventFilter(watched, event);
    const QChar accepted = ProfileEdit::acceptedKey(typed);
    if (!accepted.isNull())
        m_fields[index]->insert(accepted);
    return true;
}
