// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/dlgGeneratorPower.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "ui/Dialogs.h"

#include <QApplication>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>

namespace {
QLineEdit* box(QWidget* parent, const QString& name, const QString& toolTip)
{
    auto* result = new QLineEdit(parent);
    result->setObjectName(name);
    result->setToolTip(toolTip);
    result->setAlignment(Qt::AlignRight);
    return result;
}

void addRow(QGridLayout* grid, int row, const QString& label, QLineEdit* field, const QString& unit)
{
    auto* caption = new QLabel(label, field->parentWidget());
    caption->setBuddy(field);
    grid->addWidget(caption, row, 0, Qt::AlignRight | Qt::AlignVCenter);
    grid->addWidget(field, row, 1);
    grid->addWidget(new QLabel(unit, field->parentWidget()), row, 2);
}
} // namespace

dlgGeneratorPower::dlgGeneratorPower(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("dlgGeneratorPower"), QStringLiteral("Generator Power"));
    setAttribute(Qt::WA_DeleteOnClose);
    m_settings = new QGroupBox(QStringLiteral("Settings"), this);
    m_settings->setObjectName(QStringLiteral("frameSettings"));
    m_current = box(m_settings, QStringLiteral("txtmA"), QStringLiteral("mA-Setting"));
    m_voltage = box(m_settings, QStringLiteral("txtkV"), QStringLiteral("kV-Setting"));
    auto* grid = new QGridLayout(m_settings);
    grid->setSpacing(Dialogs::spacing);
    addRow(grid, 0, QStringLiteral("Tube c&urrent:"), m_current, QStringLiteral("mA"));
    addRow(grid, 1, QStringLiteral("Tube &voltage:"), m_voltage, QStringLiteral("kV"));

    m_meas = Dialogs::button(this, QStringLiteral("btnMeas"), QStringLiteral("&Meas."));
    m_meas->setToolTip(QStringLiteral("Set default measurement settings"));
    m_idle = Dialogs::button(this, QStringLiteral("btnIdle"), QStringLiteral("&Idle"));
    m_idle->setToolTip(QStringLiteral("Set default idle settings"));
    m_ok = Dialogs::button(this, QStringLiteral("btnOk"), QStringLiteral("OK"), true);
    m_ok->setToolTip(QStringLiteral("Apply settings"));
    m_cancel = Dialogs::button(this, QStringLiteral("btnCancel"), QStringLiteral("&Cancel"));
    m_cancel->setToolTip(QStringLiteral("Close window"));
    m_close = Dialogs::button(this, QStringLiteral("btnClose"), QStringLiteral("C&lose"));
    m_close->setToolTip(QStringLiteral("Close window; the tube goes on warming up"));

    m_message = new QLineEdit(this);
    m_message->setObjectName(QStringLiteral("txtMessage"));
    m_message->setToolTip(QStringLiteral("What the generator reports"));
    m_message->setReadOnly(true);
    m_message->setFocusPolicy(Qt::NoFocus);
    m_message->setMinimumWidth(m_message->fontMetrics().horizontalAdvance(modGenerator::noAnswerText()) + 4 * Dialogs::spacing);

    auto* presets = new QVBoxLayout;
    presets->addWidget(m_meas);
    presets->addWidget(m_idle);
    presets->addStretch(1);
    auto* top = new QHBoxLayout;
    top->setSpacing(Dialogs::spacing);
    top->addWidget(m_settings, 1);
    top->addLayout(presets);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addLayout(top);
    layout->addWidget(m_message);
    layout->addLayout(Dialogs::buttonRow({m_ok, m_cancel, m_close}));

    qApp->installEventFilter(this);
    connect(m_current, &QLineEdit::textEdited, this, [this] { take(m_current, GeneratorPower::state().txtmA); });
    connect(m_voltage, &QLineEdit::textEdited, this, [this] { take(m_voltage, GeneratorPower::state().txtkV); });
    connect(m_meas, &QPushButton::clicked, this, &GeneratorPower::MeasPreset);
    connect(m_idle, &QPushButton::clicked, this, &GeneratorPower::IdlePreset);
    connect(m_ok, &QPushButton::clicked, this, [] { GeneratorPower::Apply(); });
    connect(m_cancel, &QPushButton::clicked, this, &dlgGeneratorPower::reject);
    connect(m_close, &QPushButton::clicked, this, &dlgGeneratorPower::reject);
    connect(&frontPanel(), &FrontPanel::entriesChanged, this, &dlgGeneratorPower::refresh);
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this, &dlgGeneratorPower::refresh);
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::exchanging, this, &dlgGeneratorPower::refresh);
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusCurrent, m_current, qOverload<>(&QWidget::setFocus));
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusVoltage, m_voltage, qOverload<>(&QWidget::setFocus));
    connect(this, &QDialog::finished, this, [this] { m_use.reset(); });
    m_current->setFocus();
}

dlgGeneratorPower::~dlgGeneratorPower()
{
    frontPanel().disconnect(this);
    GeneratorPower::notifier().disconnect(this);
}

void dlgGeneratorPower::open(QWidget* parent)
{
    GeneratorPower::begin();
    auto* dialog = new dlgGeneratorPower(parent);
    dialog->setWindowModality(Qt::WindowModal);
    dialog->show();
    GeneratorPower::tell(QStringLiteral("Asking the generator..."));
    // The generator takes a while to answer: the window is there first, with nothing that could be pressed.
    QTimer::singleShot(0, dialog, [window = QPointer<dlgGeneratorPower>(dialog)] {
        GeneratorPower::Load();
        if (window == nullptr)
            return;
        window->m_asked = true;
        window->refresh();
        window->m_current->setFocus();
        window->m_current->selectAll();
    });
}

void dlgGeneratorPower::reject()
{
    // While the generator is asked in this window's name it must not vanish. A warm-up goes on without it.
    if ((m_asked && !GeneratorPower::state().exchanging) || flags().closing)
        QDialog::reject();
}

bool dlgGeneratorPower::eventFilter(QObject* watched, QEvent* event)
{
    // Of the whole program: the question that this window asks is touched, too.
    if (event->type() == QEvent::KeyPress || event->type() == QEvent::MouseButtonPress || event->type() == QEvent::Wheel)
        GeneratorPower::touched();
    auto* field = watched == m_current ? m_current : watched == m_voltage ? m_voltage : nullptr;
    if (field != nullptr && event->type() == QEvent::FocusIn)
        QTimer::singleShot(0, field, &QLineEdit::selectAll);
    if (field != nullptr && event->type() == QEvent::KeyPress)
        return typed(field, static_cast<QKeyEvent*>(event)) || QDialog::eventFilter(watched, event);
    return QDialog::eventFilter(watched, event);
}

bool dlgGeneratorPower::typed(QLineEdit* field, QKeyEvent* key)
{
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
        m_ok->setFocus();
        return true;
    }
    const QString text = key->text();
    const bool shortcut = (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0;
    if (shortcut || text.isEmpty() || !text.front().isPrint())
        return false;
    const QChar accepted = GeneratorPower::acceptedKey(text.front());
    const qsizetype kept = field->text().size() - field->selectedText().size();
    if (!accepted.isNull() && kept < GeneratorPower::longestText) {
        field->insert(accepted);
        emit field->textEdited(field->text());
    }
    return true;
}

void dlgGeneratorPower::take(QLineEdit* field, QString& value)
{
    // What was pasted or dropped went past the keys.
    value = GeneratorPower::acceptedText(field->text());
    if (field->text() == value)
        return;
    const auto cursor = GeneratorPower::acceptedText(field->text().left(field->cursorPosition())).size();
    field->setText(value);
    field->setCursorPosition(static_cast<int>(cursor));
}

void dlgGeneratorPower::refresh()
{
    const GeneratorPower::State& now = GeneratorPower::state();
    if (m_current->text() != now.txtmA)
        m_current->setText(now.txtmA);
    if (m_voltage->text() != now.txtkV)
        m_voltage->setText(now.txtkV);
    m_message->setText(now.txtMessage);
    m_message->setCursorPosition(0);
    m_settings->setVisible(!now.warmingUp);
    m_close->setVisible(now.warmingUp);
    const bool free = m_asked && !now.exchanging && !now.warmingUp;
    for (QPushButton* button : {m_meas, m_idle, m_cancel})
        button->setEnabled(free);
    m_ok->setEnabled(free && GeneratorPower::refusal().isEmpty());
    if (now.warmingUp && isActiveWindow() && !m_close->hasFocus())
        m_close->setFocus();
    const Qt::WindowModality wanted = now.warmingUp || Operation::anyRun() ? Qt::NonModal : Qt::WindowModal;
    if (isVisible() && windowModality() != wanted)
        setModalTo(wanted);
}

void dlgGeneratorPower::setModalTo(Qt::WindowModality modality)
{
    // Modality takes effect only when a window is shown.
    const QPoint place = pos();
    setAttribute(Qt::WA_DeleteOnClose, false);
    hide();
    setWindowModality(modality);
    move(place);
    show();
    setAttribute(Qt::WA_DeleteOnClose, true);
}
