// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/dlgGeneratorPower.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "ui/Dialogs.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTimer>
#include <QVBoxLayout>

#include <memory>
#include <optional>
#include <utility>

namespace {
QLineEdit* box(QWidget* parent, const QString& name, const QString& toolTip)
{
    auto* result = new QLineEdit(parent);
    result->setObjectName(name);
    result->setToolTip(toolTip);
    result->setAlignment(Qt::AlignRight);
    result->setMaxLength(6);
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
    layout->addLayout(Dialogs::buttonRow({m_ok, m_cancel}));

    for (QLineEdit* field : {m_current, m_voltage})
        field->installEventFilter(this);
    connect(m_current, &QLineEdit::textEdited, this, [](const QString& text) { GeneratorPower::state().txtmA = text; });
    connect(m_voltage, &QLineEdit::textEdited, this, [](const QString& text) { GeneratorPower::state().txtkV = text; });
    connect(m_meas, &QPushButton::clicked, this, &GeneratorPower::MeasPreset);
    connect(m_idle, &QPushButton::clicked, this, &GeneratorPower::IdlePreset);
    connect(m_ok, &QPushButton::clicked, this, &dlgGeneratorPower::apply);
    connect(m_cancel, &QPushButton::clicked, this, &dlgGeneratorPower::reject);
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::changed, this, &dlgGeneratorPower::refresh);
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusCurrent, m_current, qOverload<>(&QWidget::setFocus));
    connect(&GeneratorPower::notifier(), &GeneratorPower::Notifier::focusVoltage, m_voltage, qOverload<>(&QWidget::setFocus));
    m_current->setFocus();
}

void dlgGeneratorPower::open(QWidget* parent)
{
    GeneratorPower::state() = GeneratorPower::State{};
    auto* dialog = new dlgGeneratorPower(parent);
    const auto use = std::make_shared<std::optional<Operation>>(std::in_place, Operations::generator);
    connect(dialog, &QDialog::finished, &frontPanel(), [use] { use->reset(); });
    dialog->setWindowModality(Qt::WindowModal);
    dialog->show();
    // The generator takes a while to answer: the window is there first.
    QTimer::singleShot(0, dialog, [window = QPointer<dlgGeneratorPower>(dialog)] {
        window->m_busy = true;
        GeneratorPower::state().txtMessage = QStringLiteral("Asking the generator...");
        window->refresh();
        GeneratorPower::Load();
        if (window == nullptr)
            return;
        window->m_busy = false;
        window->refresh();
        window->m_current->setFocus();
        window->m_current->selectAll();
    });
}

void dlgGeneratorPower::reject()
{
    // A wait runs in this window's name: it must not vanish under it.
    if ((!m_busy && !m_warming) || flags().closing)
        QDialog::reject();
}

bool dlgGeneratorPower::eventFilter(QObject* watched, QEvent* event)
{
    auto* field = qobject_cast<QLineEdit*>(watched);
    if (field != nullptr && event->type() == QEvent::FocusIn)
        QTimer::singleShot(0, field, &QLineEdit::selectAll);
    if (field == nullptr || event->type() != QEvent::KeyPress)
        return QDialog::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    if (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) {
        m_ok->setFocus();
        return true;
    }
    const QString text = key->text();
    const bool shortcut = (key->modifiers() & (Qt::ControlModifier | Qt::AltModifier)) != 0;
    if (shortcut || text.isEmpty() || !text.front().isPrint())
        return QDialog::eventFilter(watched, event);
    const QChar accepted = GeneratorPower::acceptedKey(text.front());
    if (!accepted.isNull()) {
        field->insert(accepted);
        emit field->textEdited(field->text());
    }
    return true;
}

void dlgGeneratorPower::refresh()
{
    const GeneratorPower::State& now = GeneratorPower::state();
    // The warm-up counts by itself; whoever waits for it below may be held up by a scan.
    if (std::exchange(m_warming, now.warmingUp) && !now.warmingUp)
        m_busy = false;
    if (m_current->text() != now.txtmA)
        m_current->setText(now.txtmA);
    if (m_voltage->text() != now.txtkV)
        m_voltage->setText(now.txtkV);
    m_message->setText(now.txtMessage);
    m_settings->setVisible(!now.warmingUp);
    for (QPushButton* button : {m_meas, m_idle, m_ok, m_cancel})
        button->setEnabled(!now.warmingUp && !m_busy);
    const Qt::WindowModality wanted = now.warmingUp ? Qt::NonModal : Qt::WindowModal;
    if (isVisible() && windowModality() != wanted)
        setModalTo(wanted);
}

void dlgGeneratorPower::apply()
{
    m_busy = true;
    refresh();
    const QPointer<dlgGeneratorPower> window(this);
    GeneratorPower::Apply();
    if (window == nullptr)
        return;
    m_busy = false;
    refresh();
}

void dlgGeneratorPower::setModalTo(Qt::WindowModality modality)
{
    // Modality takes effect only when a window is shown.
    setAttribute(Qt::WA_DeleteOnClose, false);
    hide();
    setWindowModality(modality);
    show();
    setAttribute(Qt::WA_DeleteOnClose, true);
}
