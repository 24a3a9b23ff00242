// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/FrontPanel.h"
#include "core/Menu.h"

#include <QHash>
#include <QMainWindow>

#include <optional>

class Chart2d;
class NameField;
class PanelLabel;
class ParameterField;
class QAction;
class QGridLayout;
class QGroupBox;
class QLineEdit;
class QPlainTextEdit;
class QProgressBar;
class QPushButton;
class frmTextDisplay;

/// The main window: shows the front panel and writes back what is typed, leads every menu entry to its procedure (Handlers), holds the
/// chart, and asks the closing questions. It stays live while a procedure waits, because every wait lets its events run.
class frmMain : public QMainWindow
{
    Q_OBJECT

public:
    explicit frmMain(QWidget* parent = nullptr);
    ~frmMain() override;

    Chart2d* chart() const { return m_chart; }
    QAction* entry(Menu::Entry entry) const { return m_actions.value(entry); }

signals:
    /// The window was closed, all questions are answered: the program ends as soon as the last waiting procedure has returned.
    void ended();

public:
    /// A signal or the end of the session: nobody is asked; what is on is switched off first.
    void endAtOnce();

protected:
    void closeEvent(QCloseEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildMenus();
    QWidget* buildColumn();
    QGroupBox* buildScanParameterFrame();
    QGroupBox* buildFileFrame();
    void buildStatusBar();
    QLineEdit* addParameter(QGridLayout* grid, FrontPanel::Field field, const QString& labelName, const QString& label,
                            const QString& toolTip, const QString& unit);
    void connectField(FrontPanel::Field field, QLineEdit* edit);
    void connectFrontPanel();

    void choose(Menu::Entry entry);
    void runWaiting();
    void clickStatusBar(const QObject* panel);

    void showField(FrontPanel::Field field);
    void showEntries();
    void showProgress(int percent);
    void showPictures();
    void showPointer(FrontPanel::Pointer pointer);

    QHash<Menu::Entry, QAction*> m_actions;
    QHash<FrontPanel::Field, QLineEdit*> m_fields;
    QHash<int, PanelLabel*> m_panels;
    QPlainTextEdit* m_comment = nullptr;
    Chart2d* m_chart = nullptr;
    QProgressBar* m_progress = nullptr;
    QWidget* m_laserOn = nullptr;
    QWidget* m_xRayOn = nullptr;
    QPushButton* m_first = nullptr;
    frmTextDisplay* m_textDisplay = nullptr;
    std::optional<Menu::Entry> m_waiting; ///< chosen while the cooldown log reads: runs after that
    bool m_hourglass = false;
    void endNow();

    bool m_asking = false;
    bool m_closed = false;
};
