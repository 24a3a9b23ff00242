// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/frmCooldown.h"

#include "core/NumberText.h"
#include "plot/Look.h"
#include "plot/TemperaturePlot.h"
#include "temperature/CooldownLog.h"
#include "ui/Dialogs.h"

#include <QDir>
#include <QEvent>
#include <QFileInfo>
#include <QLabel>
#include <QPlainTextEdit>
#include <QSplitter>
#include <QVBoxLayout>

#include <limits>

namespace {
/// The text keeps this many lines, the newest; all of them are in the file.
constexpr int mostLines = 20000;

QString kelvin(const std::optional<float>& value)
{
    return value ? NumberText::General(*value) + QStringLiteral(" K") : QStringLiteral("- K");
}

double plotted(const std::optional<float>& value)
{
    return value ? double{*value} : std::numeric_limits<double>::quiet_NaN();
}
} // namespace

frmCooldown::frmCooldown(QWidget* parent) : QDialog(parent)
{
    Dialogs::prepare(this, QStringLiteral("frmCooldown"), QStringLiteral("Cooldown log"));
    setModal(false);
    setWindowFlags(windowFlags() | Qt::WindowMinimizeButtonHint | Qt::WindowMaximizeButtonHint);
    m_now = new QLabel(this);
    m_now->setObjectName(QStringLiteral("lblTemperature"));
    m_now->setToolTip(QStringLiteral("Last temperature read"));
    QFont digits = Look::auxiliary(2.5);
    digits.setBold(true);
    m_now->setFont(digits);
    m_setpoint = new QLabel(this);
    m_setpoint->setObjectName(QStringLiteral("lblSetpoint"));
    m_text = new QPlainTextEdit(this);
    m_text->setObjectName(QStringLiteral("txtDisplay"));
    m_text->setToolTip(QStringLiteral("Date and time; temperature [K]; setpoint [K]"));
    m_text->setAccessibleName(QStringLiteral("Lines of the log"));
    m_text->setReadOnly(true);
    m_text->setTabChangesFocus(true);
    m_text->setLineWrapMode(QPlainTextEdit::NoWrap);
    m_text->setMaximumBlockCount(mostLines);
    m_plot = new TemperaturePlot(this);
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("lblStatus"));
    m_status->setTextFormat(Qt::PlainText);
    m_stop = Dialogs::button(this, QStringLiteral("btnStop"), QStringLiteral("&Stop"));
    m_stop->setToolTip(QStringLiteral("End the log"));
    m_close = Dialogs::button(this, QStringLiteral("btnClose"), QStringLiteral("&Close"), true);
    m_close->setToolTip(QStringLiteral("Close the window; the log goes on"));

    auto* top = new QHBoxLayout;
    top->addWidget(m_now);
    top->addSpacing(Dialogs::spacing);
    top->addWidget(m_setpoint, 0, Qt::AlignBottom);
    top->addStretch(1);
    auto* halves = new QSplitter(this);
    halves->setChildrenCollapsible(false);
    halves->addWidget(m_text);
    halves->addWidget(m_plot);
    halves->setStretchFactor(0, 0);
    halves->setStretchFactor(1, 1);
    const int textWidth = m_text->fontMetrics().horizontalAdvance(QStringLiteral("0000-00-00 00:00:00;000.000;000.000")) + 40;
    halves->setSizes({textWidth, 2 * textWidth});
    auto* bottom = Dialogs::buttonRow({m_stop, m_close});
    bottom->insertWidget(0, m_status, 1);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(Dialogs::margin, Dialogs::margin, Dialogs::margin, Dialogs::margin);
    layout->setSpacing(Dialogs::spacing);
    layout->addLayout(top);
    layout->addWidget(halves, 1);
    layout->addLayout(bottom);
    resize(860, 440);
    m_close->setFocus();
    applyColours();

    connect(m_stop, &QPushButton::clicked, this, [] { CooldownLog::Stop(); });
    connect(m_close, &QPushButton::clicked, this, &QDialog::reject);
    connect(&CooldownLog::notifier(), &CooldownLog::Notifier::changed, this, &frmCooldown::refresh);
}

void frmCooldown::follow(QWidget* mainWindow)
{
    if (mainWindow->findChild<frmCooldown*>() == nullptr)
        new frmCooldown(mainWindow);
}

bool frmCooldown::showAgain(QWidget* mainWindow)
{
    auto* window = mainWindow->findChild<frmCooldown*>();
    if (window == nullptr || window->isVisible() || !CooldownLog::state().running)
        return false;
    window->show();
    return true;
}

void frmCooldown::refresh()
{
    if (CooldownLog::state().number != m_number)
        begin();
    addNewLines();
    showStatus();
}

void frmCooldown::begin()
{
    m_number = CooldownLog::state().number;
    m_lines = 0;
    m_text->clear();
    m_plot->clear();
    setWindowTitle(QStringLiteral("Cooldown log - ") + QFileInfo(CooldownLog::state().path).fileName());
    show();
    raise();
}

void frmCooldown::addNewLines()
{
    const CooldownLog::State& log = CooldownLog::state();
    for (; m_lines < log.lines.size(); ++m_lines) {
        const CooldownLog::Reading& reading = log.readings[m_lines];
        m_text->appendPlainText(log.lines[m_lines]);
        m_plot->add(reading.elapsed, plotted(reading.temperature), plotted(reading.setpoint));
    }
    m_plot->showAll();
}

void frmCooldown::showStatus()
{
    const CooldownLog::State& log = CooldownLog::state();
    const bool any = !log.readings.isEmpty();
    m_now->setText(kelvin(any ? log.readings.last().temperature : std::nullopt));
    m_setpoint->setText(any && log.readings.last().setpoint ? QStringLiteral("Setpoint ") + kelvin(log.readings.last().setpoint)
                                                            : QString());
    m_plot->setHint(!log.running ? QStringLiteral("No temperature was read")
                    : any        ? QStringLiteral("The controller does not answer")
                                 : QStringLiteral("Waiting for the first reading"));
    QString text = log.running ? QStringLiteral("Logging to ") : QStringLiteral("Stopped. ");
    text += QDir::toNativeSeparators(log.path);
    if (log.error)
        text = QStringLiteral("Not written to the file: ") + log.error.description + QStringLiteral(". The lines are kept.");
    m_status->setText(text);
    m_status->setToolTip(QDir::toNativeSeparators(log.path));
    m_stop->setEnabled(log.running);
    applyColours();
}

void frmCooldown::applyColours()
{
    const QPalette own = QDialog::palette();
    const auto colour = [&own](QLabel* label, const QColor& text) {
        QPalette palette = own;
        palette.setColor(QPalette::WindowText, text);
        label->setPalette(palette);
    };
    colour(m_now, Look::accent(own));
    colour(m_status, CooldownLog::state().error ? Look::danger(own) : own.color(QPalette::WindowText));
}

void frmCooldown::changeEvent(QEvent* event)
{
    QDialog::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && m_status != nullptr)
        applyColours();
}
