// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "Operator.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "serial/modCOM.h"
#include "support/DeskLab.h"
#include "support/ResetAll.h"
#include "ui/UiPrompts.h"
#include "ui/frmMain.h"

#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include <functional>
#include <memory>

/// The program's window, the virtual instrument on its desk, and the hand that works the window. Everything is as at the start of the
/// program when it is made and when it is gone.
class LabWindow
{
    // First, so that nothing of an earlier test is left when the desk takes over.
    struct Fresh
    {
        Fresh() { resetAll(); }
        ~Fresh() { resetAll(); }
    } m_fresh;

public:
    DeskLab lab;
    Operator hand{lab.desk};
    std::unique_ptr<frmMain> window;

    LabWindow() { setPrompts(&m_prompts); }
    ~LabWindow()
    {
        window.reset();
        setPrompts(nullptr);
    }
    LabWindow(const LabWindow&) = delete;
    LabWindow& operator=(const LabWindow&) = delete;

    Desk& desk() { return lab.desk; }
    /// A key of scan.ini that is to differ from what the instrument writes; before bringUp.
    void configure(const char* section, const char* key, const QString& value) { m_keys << Key{section, key, value}; }
    /// Starts instrument and program; false when something did not come up.
    bool bringUp(const QStringList& arguments, int speed = 50)
    {
        if (!lab.start(QStringList{QStringLiteral("--speed"), QString::number(speed)} + arguments))
            return false;
        // The delays of a real controller are long for one that is so much faster.
        for (const char* section : {"smc", "LTC"})
            m_keys.prepend({section, "TxDelay", QStringLiteral("0.02")});
        for (const Key& key : m_keys)
            lab.configure(QString::fromLatin1(key.section), QString::fromLatin1(key.name), key.value);
        lab.connectProgram();
        return showWindow();
    }
    /// The window alone: no instrument is there.
    bool showWindow()
    {
        if (modTools::state().programDirectory.isEmpty())
            modMain::SetProgramDirectory(lab.path());
        window = std::make_unique<frmMain>();
        window->show();
        lab.forget();
        Operator::activate(window.get());
        return QTest::qWaitForWindowExposed(window.get());
    }

    QAction* entry(Menu::Entry which) const { return window->entry(which); }
    /// Chooses an entry that can be chosen.
    void choose(Menu::Entry which) const
    {
        QVERIFY(entry(which)->isEnabled());
        entry(which)->trigger();
    }
    /// Types into the input box that comes next; an empty text cancels it.
    void answerInput(const QString& title, const QString& prompt, const QString& proposed, const QString& text)
    {
        hand.expectWindow(title, [=](QDialog* dialog) {
            auto* input = qobject_cast<QInputDialog*>(dialog);
            QVERIFY(input != nullptr);
            QCOMPARE(input->labelText(), prompt);
            if (!proposed.isNull())
                QCOMPARE(input->textValue(), proposed);
            auto* edit = input->findChild<QLineEdit*>();
            if (text.isEmpty()) {
                QTest::keyClick(edit, Qt::Key_Escape);
                return;
            }
            edit->selectAll();
            QTest::keyClicks(edit, text);
            QTest::keyClick(edit, Qt::Key_Return);
        });
    }
    /// Gives this path to the file dialog that comes next; an empty one cancels it.
    void answerFile(const QString& title, const QString& path)
    {
        hand.expectWindow(title, [=](QDialog* dialog) {
            if (path.isEmpty()) {
                dialog->reject();
                return;
            }
            auto* name = dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
            name->setText(path);
            QTest::keyClick(name, Qt::Key_Return);
        });
    }
    /// Does something once, as soon as `when` holds, while a procedure waits.
    void once(std::function<bool()> when, std::function<void()> what) { lab.desk.when(std::move(when), std::move(what)); }

    static QLineEdit* field(QWidget* dialog, const char* name) { return dialog->findChild<QLineEdit*>(QString::fromLatin1(name)); }
    static QPushButton* button(QWidget* dialog, const char* name) { return dialog->findChild<QPushButton*>(QString::fromLatin1(name)); }
    static void type(QLineEdit* edit, const QString& text)
    {
        edit->selectAll();
        QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, text);
    }
    /// The text window, when it is open.
    static QDialog* textWindow()
    {
        for (QWidget* top : QApplication::topLevelWidgets())
            if (top->objectName() == QLatin1String("frmTextDisplay") && top->isVisible())
                return qobject_cast<QDialog*>(top);
        return nullptr;
    }
    static QStringList textLines()
    {
        QDialog* shown = textWindow();
        return shown != nullptr ? shown->findChild<QPlainTextEdit*>()->toPlainText().split(u'\n') : QStringList();
    }
    static void pressTextButton()
    {
        QDialog* shown = textWindow();
        QVERIFY(shown != nullptr);
        QTest::mouseClick(button(shown, "btnOk"), Qt::LeftButton);
    }

private:
    struct Key
    {
        const char* section;
        const char* name;
        QString value;
    };

    UiPrompts m_prompts;
    QList<Key> m_keys;
};
