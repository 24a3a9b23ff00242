// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "profile/TProfile.h"
#include "support/ProcessorTime.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"
#include "temperature/Blower.h"
#include "temperature/modLTC_RPID.h"
#include "ui/ProfilePicture.h"
#include "ui/dlgTProfile.h"

#include <QAction>
#include <QApplication>
#include <QClipboard>
#include <QDropEvent>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPushButton>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

namespace {
const QString title = QStringLiteral("Temperature profile");
const QString outOfRange = QStringLiteral("Value out of range");
const QString unsaved = QStringLiteral("You did not save the current temperature profile.\r\nDo you really want to continue?");

/// The editor on the screen, and the hand in it.
struct Editor
{
    Editor()
    {
        dialog.show();
        (void)QTest::qWaitForWindowActive(&dialog, 1000);
    }
    QLineEdit* box(const char* name) { return dialog.findChild<QLineEdit*>(QString::fromLatin1(name)); }
    void type(const char* name, const char* keys)
    {
        box(name)->clear();
        QTest::keyClicks(box(name), QString::fromLatin1(keys));
    }
    void press(const char* name) { button(name)->click(); }
    /// As it is read: without the mark of the access key.
    QString label(const char* name) { return dialog.findChild<QLabel*>(QString::fromLatin1(name))->text().remove(u'&'); }
    void paste(const char* name, const QString& text)
    {
        QApplication::clipboard()->setText(text);
        box(name)->paste();
    }
    void trigger(const char* name) { dialog.findChild<QAction*>(QString::fromLatin1(name))->trigger(); }
    void click(int row) { QTest::mouseClick(list()->viewport(), Qt::LeftButton, {}, list()->visualItemRect(list()->item(row)).center()); }
    QPushButton* button(const char* name) { return dialog.findChild<QPushButton*>(QString::fromLatin1(name)); }
    QListWidget* list() { return dialog.findChild<QListWidget*>(QStringLiteral("listProfile")); }
    QStringList listed()
    {
        QStringList all;
        for (int i = 0; i < list()->count(); ++i)
            all << list()->item(i)->text();
        return all;
    }

    dlgTProfile dialog;
};

QStringList lines(const char* text)
{
    return QString::fromLatin1(text).split(u' ');
}
} // namespace

class tst_profileeditor : public QObject
{
    Q_OBJECT

    std::unique_ptr<QTemporaryDir> m_directory;

    QString store(const char* name, const QByteArray& bytes)
    {
        QFile file(m_directory->filePath(QString::fromLatin1(name)));
        return file.open(QIODevice::WriteOnly) && file.write(bytes) == bytes.size() ? file.fileName() : QString();
    }

private slots:
    void init()
    {
        resetProgram();
        TProfile::state() = {};
        m_directory = std::make_unique<QTemporaryDir>();
        configuration().general.workDir = m_directory->path();
        flags().ltcEnabled = true;
    }

    void whatIsTypedIsInserted()
    {
        ScriptedPrompts prompts;
        Editor editor;
        QCOMPARE(editor.dialog.windowTitle(), title);
        editor.type("txtT1", "1a0-0,5");
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("100.5"));
        editor.type("txtDwell", "5");
        editor.type("txtComment", "cold, a-b");
        editor.press("btnInsert");
        QCOMPARE(editor.listed(), (QStringList{QStringLiteral("T1:100.5;DW:5;"), QStringLiteral("#cold, a-b;")}));
        QCOMPARE(TProfile::state().lines, editor.listed());
        QCOMPARE(editor.label("lblCurrentProfile"), QStringLiteral("Current profile:  (modified)"));
        QVERIFY(prompts.allShown());
    }

    void aFourthControllerGivesTheEditorItsUnitAndRange()
    {
        Temperature::controllers().prepend(Blower::controller());
        Blower::state().enabled = true;
        {
            ScriptedPrompts prompts;
            Editor editor;
            QCOMPARE(editor.label("lblT1"), QStringLiteral("T-Start:"));
            QCOMPARE(editor.label("unitT1"), QStringLiteral("°C"));
            QCOMPARE(editor.label("lblRange"), QStringLiteral("Valid temperature range: 25... 950."));
            QCOMPARE(editor.label("lblPIDFile"), QStringLiteral("PID parameter file: "));
            editor.type("txtT1", "951");
            prompts.expect(outOfRange, QStringLiteral("The valid temperature range is 25... 950!"));
            editor.press("btnInsert");
            QVERIFY(prompts.allShown());
            QVERIFY(editor.listed().isEmpty());
        }
        Temperature::state() = Temperature::State{};
        Blower::state() = Blower::State{};
    }

    void whatIsPastedIsFilteredLikeKeys()
    {
        Editor editor;
        editor.paste("txtT1", QStringLiteral(" -29x5,25 K\n"));
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("295.25"));
        QCOMPARE(editor.box("txtT1")->cursorPosition(), 6);
        // In the middle of what stands there already.
        editor.box("txtT1")->setCursorPosition(1);
        editor.paste("txtT1", QStringLiteral("a8b"));
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("2895.25"));
        QCOMPARE(editor.box("txtT1")->cursorPosition(), 2);
        editor.paste("txtDwell", QStringLiteral("nothing"));
        QCOMPARE(editor.box("txtDwell")->text(), QString());
        editor.paste("txtComment", QStringLiteral("cold, a-b"));
        QCOMPARE(editor.box("txtComment")->text(), QStringLiteral("cold, a-b"));
    }

    void aRefusedKeyLeavesTheSelectionAlone()
    {
        Editor editor;
        editor.type("txtT1", "295");
        editor.box("txtT1")->selectAll();
        QTest::keyClicks(editor.box("txtT1"), QStringLiteral("-e "));
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("295"));
        QCOMPARE(editor.box("txtT1")->selectedText(), QStringLiteral("295"));
        // Nor does what AltGr types, which arrives as Ctrl and Alt.
        QTest::sendKeyEvent(QTest::Click, editor.box("txtT1"), Qt::Key_At, QStringLiteral("@"), Qt::ControlModifier | Qt::AltModifier);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("295"));
        QCOMPARE(editor.box("txtT1")->selectedText(), QStringLiteral("295"));
    }

    void whatIsDroppedIsFilteredLikeKeys()
    {
        Editor editor;
        QMimeData text;
        text.setText(QStringLiteral("-2,5 K"));
        QDragEnterEvent enter(QPoint(2, 2), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(editor.box("txtRamp"), &enter);
        QDropEvent drop(QPointF(2, 2), Qt::CopyAction, &text, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(editor.box("txtRamp"), &drop);
        QCOMPARE(editor.box("txtRamp")->text(), QStringLiteral("2.5"));
        editor.box("txtRamp")->setText(QStringLiteral("x7,5"));
        QCOMPARE(editor.box("txtRamp")->text(), QStringLiteral("7.5"));
    }

    void theFocusGoesThroughTheWindowAsTheEyeDoes()
    {
        TProfile::state().lines = lines("T1:300; T1:290; T1:280;");
        ScriptedPrompts prompts;
        Editor editor;
        editor.list()->setCurrentRow(1);
        editor.press("btnUp");
        editor.press("btnDown");
        editor.box("txtT1")->setFocus();
        QStringList names;
        for (int i = 0; i < 16; ++i) {
            names << editor.dialog.focusWidget()->objectName();
            QTest::keyClick(editor.dialog.focusWidget(), Qt::Key_Tab);
        }
        QCOMPARE(names.join(u' '),
                 QStringLiteral("txtT1 txtT2 txtdT txtRamp txtDwell txtExpoTime txtComment btnInsert btnChange btnUp btnDown "
                                "btnDelete btnUndo listProfile btnOk btnCancel"));
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtT1"));
        QVERIFY(prompts.allShown());
    }

    void everythingHasAnAccessKeyOfItsOwn()
    {
        Editor editor;
        QString keys;
        const auto add = [&keys](const QString& caption) {
            if (const QKeySequence key = QKeySequence::mnemonic(caption); !key.isEmpty())
                keys += key.toString().back();
        };
        for (const QPushButton* one : editor.dialog.findChildren<QPushButton*>())
            add(one->text());
        for (const QLabel* one : editor.dialog.findChildren<QLabel*>())
            if (one->buddy() != nullptr)
                add(one->text());
        add(QStringLiteral("&File"));
        // Seven boxes, seven buttons (OK is Enter's), the menu.
        QCOMPARE(keys.size(), qsizetype(7 + 7 + 1));
        QCOMPARE(QSet<QChar>(keys.begin(), keys.end()).size(), keys.size());
        QTest::keyClick(&editor.dialog, 'w', Qt::AltModifier);
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtDwell"));
    }

    void theListTakesDeleteAndUndoFromTheKeyboard()
    {
        TProfile::state().lines = lines("T1:300; T1:290; T1:280;");
        ScriptedPrompts prompts;
        Editor editor;
        editor.list()->setCurrentRow(1);
        editor.list()->setFocus();
        QTest::keyClick(editor.list(), Qt::Key_Delete);
        QCOMPARE(editor.listed(), lines("T1:300; T1:280;"));
        // The boxes follow to the line that is chosen now.
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("280"));
        QTest::keyClick(editor.list(), Qt::Key_Z, Qt::ControlModifier);
        QCOMPARE(editor.listed(), lines("T1:300; T1:290; T1:280;"));
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("290"));
        // Delete in a box deletes a character, no line.
        editor.box("txtT1")->setFocus();
        editor.box("txtT1")->setCursorPosition(0);
        QTest::keyClick(editor.box("txtT1"), Qt::Key_Delete);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("90"));
        QCOMPARE(editor.listed(), lines("T1:300; T1:290; T1:280;"));
        QVERIFY(prompts.allShown());
    }

    void aClickOnTheChosenLineBringsItBackAgain()
    {
        TProfile::state().lines = lines("T1:300; T1:290;");
        Editor editor;
        editor.click(1);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("290"));
        editor.type("txtT1", "100");
        editor.click(1);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("290"));
        // A file may hold what the keyboard does not give; it is shown as it stands.
        TProfile::state().lines[0] = QStringLiteral("T1:-1.5E2;");
        editor.list()->setCurrentRow(0);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("-1.5E2"));
    }

    void aMissingValueIsAskedForAndNothingIsInserted()
    {
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "100");
        editor.type("txtT2", "200");
        prompts.expect(title, QStringLiteral("Missing T-Step..."));
        editor.press("btnInsert");
        QVERIFY(editor.listed().isEmpty());
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtdT"));
        QVERIFY(!TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void aClickFillsTheBoxes()
    {
        TProfile::state().lines = lines("T1:300;T2:280;DT:10;R:2;DW:60;E:5; #cold;");
        Editor editor;
        editor.list()->setCurrentRow(0);
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("300"));
        QCOMPARE(editor.box("txtExpoTime")->text(), QStringLiteral("5"));
        QCOMPARE(editor.box("txtComment")->text(), QString());
        editor.list()->setCurrentRow(1);
        QCOMPARE(editor.box("txtComment")->text(), QStringLiteral("cold;"));
    }

    void commentsOfAllKindsComeBackAsTheTextBehindTheirMark()
    {
        TProfile::state().lines = {QStringLiteral("; first ;"), QStringLiteral("' second"), QStringLiteral("T1:300;"),
                                   QStringLiteral("#third;")};
        Editor editor;
        const auto comment = [&editor](int row) {
            editor.click(row);
            return editor.box("txtComment")->text();
        };
        QCOMPARE(comment(0), QStringLiteral("first ;"));
        QCOMPARE(comment(1), QStringLiteral("second"));
        QCOMPARE(editor.box("txtT1")->text(), QString());
        QCOMPARE(comment(3), QStringLiteral("third;"));
        // Changed or not, it does not grow.
        editor.press("btnChange");
        QCOMPARE(editor.listed().at(3), QStringLiteral("#third;"));
        QCOMPARE(editor.box("txtComment")->text(), QStringLiteral("third;"));
    }

    void aCommentIsInsertedOnce()
    {
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "100");
        editor.type("txtComment", "cold");
        editor.press("btnInsert");
        QCOMPARE(editor.box("txtComment")->text(), QString());
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("100"));
        editor.press("btnInsert");
        QCOMPARE(editor.listed(), lines("T1:100; #cold; T1:100;"));
        QVERIFY(prompts.allShown());
    }

    void aChangeLooksOnlyAtWhatBelongsToItsLine()
    {
        TProfile::state().lines = lines("T1:300; #cold;");
        ScriptedPrompts prompts;
        Editor editor;
        editor.click(1);
        editor.type("txtdT", "10"); // of no step
        editor.type("txtComment", "warm");
        editor.press("btnChange");
        QCOMPARE(editor.listed(), lines("T1:300; #warm;"));
        editor.click(0);
        editor.type("txtT1", "");
        editor.type("txtComment", "cold");
        prompts.expect(title, QStringLiteral("Missing T-Start..."));
        editor.press("btnChange");
        QCOMPARE(editor.listed(), lines("T1:300; #warm;"));
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtT1"));
        QVERIFY(prompts.allShown());
    }

    void entriesAreChangedMovedDeletedAndBroughtBack()
    {
        TProfile::state().lines = lines("T1:300; T1:290; T1:280;");
        ScriptedPrompts prompts;
        Editor editor;
        editor.list()->setCurrentRow(1);
        editor.type("txtT1", "295");
        editor.press("btnChange");
        QCOMPARE(editor.listed(), lines("T1:300; T1:295; T1:280;"));
        editor.press("btnUp");
        QCOMPARE(editor.listed(), lines("T1:295; T1:300; T1:280;"));
        editor.press("btnDown");
        editor.press("btnDown");
        QCOMPARE(editor.listed(), lines("T1:300; T1:280; T1:295;"));
        editor.press("btnDelete");
        QCOMPARE(editor.listed(), lines("T1:300; T1:280;"));
        editor.press("btnUndo");
        QCOMPARE(editor.listed(), lines("T1:300; T1:280; T1:295;"));
        for (int i = 0; i < 4; ++i)
            editor.press("btnUndo");
        QCOMPARE(editor.listed(), lines("T1:300; T1:290; T1:280;"));
        QVERIFY(prompts.allShown());
    }

    void aValueOutOfRangeIsRefusedWhenItsBoxIsLeft_data()
    {
        QTest::addColumn<QByteArray>("box");
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QString>("text");
        QTest::addColumn<bool>("currents");
        QTest::addColumn<bool>("minutes");
        QTest::newRow("T1") << QByteArray("txtT1") << QByteArray("301") << QStringLiteral("The valid temperature range is 8... 300!")
                            << false << false;
        QTest::newRow("dT") << QByteArray("txtdT") << QByteArray("0.05") << QStringLiteral("The valid temperature step size is 0.1... 292!")
                            << false << false;
        QTest::newRow("ramp") << QByteArray("txtRamp") << QByteArray("100")
                              << QStringLiteral("Please select a ramp rate between 0 K/min. and 99.9 K/min.!") << false << false;
        QTest::newRow("dwell") << QByteArray("txtDwell") << QByteArray("32001") << QStringLiteral("Max. dwell time is 32000 seconds...")
                               << false << false;
        QTest::newRow("minutes") << QByteArray("txtDwell") << QByteArray("600") << QStringLiteral("Max. dwell time is 533 minutes...")
                                 << false << true;
        QTest::newRow("current") << QByteArray("txtT2") << QByteArray("2.6") << QStringLiteral("The valid current range is 0... 2.5!")
                                 << true << false;
        QTest::newRow("current step") << QByteArray("txtdT") << QByteArray("0.00001")
                                      << QStringLiteral("The valid step size is 0.0001... 2.5!") << true << false;
        QTest::newRow("accepted ramp") << QByteArray("txtRamp") << QByteArray("99.9") << QString() << false << false;
        QTest::newRow("accepted dwell") << QByteArray("txtDwell") << QByteArray("30000") << QString() << false << false;
    }

    void aValueOutOfRangeIsRefusedWhenItsBoxIsLeft()
    {
        QFETCH(QByteArray, box);
        QFETCH(QByteArray, value);
        QFETCH(QString, text);
        QFETCH(bool, currents);
        flags().laserEnabled = configuration().laser.currentMode = currents;
        configuration().laser.maxCurrent = 2.5;
        QFETCH(bool, minutes);
        configuration().general.timeUnitMinutes = minutes;
        ScriptedPrompts prompts;
        Editor editor;
        QLineEdit* edit = editor.box(box.constData());
        edit->setFocus();
        editor.type(box.constData(), value.constData());
        if (!text.isEmpty())
            prompts.expect(outOfRange, text).withIcon(Prompts::Icon::Critical);
        QTest::keyClick(edit, Qt::Key_Return);
        QVERIFY(editor.dialog.focusWidget() != edit);
        QCoreApplication::processEvents();
        QCOMPARE(editor.dialog.focusWidget() == edit, !text.isEmpty());
        QVERIFY(prompts.allShown());
    }

    void aValueOutOfRangeIsNotInsertedHoweverInsertIsChosen()
    {
        const QString text = QStringLiteral("The valid temperature range is 8... 300!");
        ScriptedPrompts prompts;
        Editor editor;
        editor.box("txtT1")->setFocus();
        editor.type("txtT1", "9999");
        prompts.expect(outOfRange, text).withIcon(Prompts::Icon::Critical);
        QTest::keyClick(&editor.dialog, 'i', Qt::AltModifier);
        QTRY_COMPARE(prompts.messages.size(), qsizetype(1));
        // Pressed and released before the box that was left is looked at: told once.
        prompts.expect(outOfRange, text);
        QTest::mouseClick(editor.button("btnInsert"), Qt::LeftButton);
        QCoreApplication::processEvents();
        QCOMPARE(prompts.messages.size(), qsizetype(2));
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtT1"));
        QVERIFY(editor.listed().isEmpty() && !TProfile::state().modified);
        // What is loaded from a file is looked at, too.
        editor.type("txtT1", "200");
        editor.press("btnInsert");
        editor.click(0);
        editor.type("txtRamp", "100");
        prompts.expect(outOfRange, QStringLiteral("Please select a ramp rate between 0 K/min. and 99.9 K/min.!"));
        editor.press("btnChange");
        QCOMPARE(editor.listed(), lines("T1:200;"));
        QCOMPARE(editor.dialog.focusWidget(), editor.box("txtRamp"));
        QVERIFY(prompts.allShown());
    }

    void aPointerThatRestsOnCancelHoldsUpNoCheck()
    {
        ScriptedPrompts prompts;
        Editor editor;
        editor.box("txtRamp")->setFocus();
        editor.type("txtRamp", "100");
        editor.button("btnCancel")->setAttribute(Qt::WA_UnderMouse);
        prompts.expect(outOfRange, QString());
        QTest::keyClick(editor.box("txtRamp"), Qt::Key_Tab);
        QCoreApplication::processEvents();
        QCOMPARE(prompts.messages.size(), qsizetype(1));
        // A press on it does.
        QTest::mousePress(editor.button("btnCancel"), Qt::LeftButton);
        QCoreApplication::processEvents();
        QCOMPARE(editor.dialog.focusWidget(), editor.button("btnCancel"));
        QVERIFY(prompts.allShown());
    }

    void leavingWithEditsAsks()
    {
        TProfile::state().lines = lines("T1:300;");
        ScriptedPrompts prompts;
        Editor editor;
        editor.list()->setCurrentRow(0);
        editor.press("btnDelete");
        prompts.expect(title, unsaved, Prompts::Button::No).withButtons(Prompts::Buttons::YesNo, 2);
        editor.trigger("mnuFileExit");
        QVERIFY(editor.dialog.isVisible());
        prompts.expect(title, unsaved, Prompts::Button::No);
        editor.trigger("mnuFileOpen");
        prompts.expect(title, QStringLiteral("Discard changes?"), Prompts::Button::No).withButtons(Prompts::Buttons::YesNo, 2);
        editor.press("btnCancel");
        QVERIFY(editor.dialog.isVisible());
        prompts.expect(title, QStringLiteral("Discard changes?"), Prompts::Button::Yes);
        editor.press("btnCancel");
        QVERIFY(!editor.dialog.isVisible());
        QCOMPARE(editor.dialog.result(), int(QDialog::Rejected));
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QVERIFY(!TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void everyWayOutAsksAndYesKeepsTheEdits_data()
    {
        QTest::addColumn<int>("way");
        QTest::newRow("Exit") << 0;
        QTest::newRow("Esc") << 1;
        QTest::newRow("close button") << 2;
    }

    void everyWayOutAsksAndYesKeepsTheEdits()
    {
        QFETCH(int, way);
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "300");
        editor.press("btnInsert");
        const auto leave = [&editor, way] {
            if (way == 0)
                editor.trigger("mnuFileExit");
            else if (way == 1)
                QTest::keyClick(&editor.dialog, Qt::Key_Escape);
            else
                editor.dialog.close();
        };
        prompts.expect(title, unsaved, Prompts::Button::No).withButtons(Prompts::Buttons::YesNo, 2);
        leave();
        QVERIFY(editor.dialog.isVisible());
        prompts.expect(title, unsaved, Prompts::Button::Yes);
        leave();
        QVERIFY(!editor.dialog.isVisible());
        QCOMPARE(editor.dialog.result(), int(QDialog::Rejected));
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QVERIFY(TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void aFileTakesTheEditedProfilesPlace()
    {
        TProfile::state().lines = lines("T1:300; T1:290;");
        const QString path = store("new.gtp", "T1:200;\r\n#cold;\r\n");
        ScriptedPrompts prompts;
        Editor editor;
        editor.list()->setCurrentRow(1);
        editor.press("btnUp");
        // A dialog that is cancelled, and a file that is not there, leave everything as it is.
        prompts.expect(title, unsaved, Prompts::Button::Yes);
        prompts.expectOpen(QString(), QString());
        editor.trigger("mnuFileOpen");
        QCOMPARE(editor.listed(), lines("T1:290; T1:300;"));
        QCOMPARE(editor.list()->currentRow(), 0);
        QVERIFY(editor.button("btnUndo")->isEnabled() && TProfile::state().modified);
        prompts.expect(title, unsaved, Prompts::Button::Yes);
        prompts.expectOpen(QString(), path + QStringLiteral("x"));
        prompts.expect(title, QStringLiteral("Error # 53"));
        editor.trigger("mnuFileOpen");
        QCOMPARE(editor.listed(), lines("T1:290; T1:300;"));
        QCOMPARE(editor.label("lblStatus"), QStringLiteral("File not found"));
        prompts.expect(title, unsaved, Prompts::Button::Yes);
        prompts.expectOpen(QString(), path);
        editor.trigger("mnuFileOpen");
        QCOMPARE(editor.listed(), lines("T1:200; #cold;"));
        QCOMPARE(editor.label("lblStatus"), path);
        QCOMPARE(editor.label("lblCurrentProfile"), QStringLiteral("Current profile: ") + path);
        QVERIFY(!editor.button("btnUndo")->isEnabled());
        QVERIFY(prompts.allShown());
    }

    void aSavedProfileIsWhatCancelBringsBack()
    {
        const QString path = m_directory->filePath(QStringLiteral("a.gtp"));
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "300");
        editor.press("btnInsert");
        prompts.expectSave(QString(), QString());
        editor.trigger("mnuFileSave");
        QCOMPARE(editor.label("lblStatus"), QString());
        prompts.expectSave(QString(), path);
        editor.trigger("mnuFileSave");
        QCOMPARE(editor.label("lblStatus"), path);
        QCOMPARE(editor.label("lblCurrentProfile"), QStringLiteral("Current profile: ") + path);
        editor.press("btnInsert");
        prompts.expect(title, QStringLiteral("Discard changes?"), Prompts::Button::Yes);
        editor.press("btnCancel");
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QCOMPARE(TProfile::state().currentFile, path);
        QVERIFY(!TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void cancelBringsBackWhatWasThereBeforeAFileWasOpened()
    {
        TProfile::state() = {lines("T1:300;"), QStringLiteral("old.gtp"), false};
        const QString path = store("new.gtp", "T1:200;\r\n");
        ScriptedPrompts prompts;
        Editor editor;
        prompts.expectOpen(QString(), path);
        editor.trigger("mnuFileOpen");
        editor.press("btnCancel");
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QCOMPARE(TProfile::state().currentFile, QStringLiteral("old.gtp"));
        QVERIFY(prompts.allShown());
    }

    void okDoesNotDropWhatIsTypedUnasked()
    {
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "300");
        editor.press("btnInsert");
        editor.type("txtT1", "290");
        prompts.expect(title, QStringLiteral("Discard changes?"), Prompts::Button::No).withButtons(Prompts::Buttons::YesNo, 2);
        editor.press("btnOk");
        QVERIFY(editor.dialog.isVisible());
        QCOMPARE(editor.box("txtT1")->text(), QStringLiteral("290"));
        prompts.expect(title, QStringLiteral("Discard changes?"), Prompts::Button::Yes);
        editor.press("btnOk");
        QCOMPARE(editor.dialog.result(), int(QDialog::Accepted));
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QVERIFY(prompts.allShown());
    }

    void okKeepsTheProfile()
    {
        ScriptedPrompts prompts;
        Editor editor;
        editor.type("txtT1", "300");
        editor.press("btnInsert");
        editor.press("btnOk");
        QCOMPARE(editor.dialog.result(), int(QDialog::Accepted));
        QCOMPARE(TProfile::state().lines, lines("T1:300;"));
        QVERIFY(TProfile::state().modified);
        QVERIFY(prompts.allShown());
    }

    void labelsFollowControllerAndUnit()
    {
        {
            Editor editor;
            QCOMPARE(editor.label("lblT1"), QStringLiteral("T-Start:"));
            QCOMPARE(editor.label("unitT1"), QStringLiteral("K"));
            QCOMPARE(editor.label("unitRamp"), QStringLiteral(" K/min"));
            QCOMPARE(editor.label("unitDwell"), QStringLiteral("second(s)"));
            QCOMPARE(editor.label("lblWorkDir"), QStringLiteral("Work directory: ") + m_directory->path());
            QCOMPARE(editor.label("lblPIDFile"), QStringLiteral("PID parameter file: ") + modLTC::RPIDFileName());
            QCOMPARE(editor.label("lblRange"), QStringLiteral("Valid temperature range: 8... 300."));
        }
        flags().laserEnabled = true;
        configuration().laser.currentMode = true;
        configuration().general.timeUnitMinutes = true;
        Editor editor;
        QCOMPARE(editor.label("lblT1"), QStringLiteral("I-Start:"));
        QCOMPARE(editor.label("lblT2"), QStringLiteral("I-Stop:"));
        QCOMPARE(editor.label("lbldT"), QStringLiteral("I-Step:"));
        QCOMPARE(editor.box("txtT1")->toolTip(), QStringLiteral("Start current setting"));
        QCOMPARE(editor.box("txtT2")->toolTip(), QStringLiteral("Final current setting"));
        QCOMPARE(editor.box("txtdT")->toolTip(), QStringLiteral("Current step size"));
        QCOMPARE(editor.label("unitExpoTime"), QStringLiteral("minute(s)"));
        QCOMPARE(editor.label("lblPIDFile"), QStringLiteral("PID parameter file: "));
        flags().htcEnabled = true;
        configuration().htc.pidFile = QStringLiteral("furnace.pid");
        Editor furnace;
        QCOMPARE(furnace.label("lblPIDFile"), QStringLiteral("PID parameter file: furnace.pid"));
    }

    void thePictureFollowsWhileTyping()
    {
        const QString withTyped = QStringLiteral(", with the step in the boxes");
        ScriptedPrompts prompts;
        Editor editor;
        auto* picture = editor.dialog.findChild<ProfilePicture*>();
        QCOMPARE(picture->marks(), qsizetype(0));
        editor.type("txtT1", "300");
        QCOMPARE(picture->marks(), qsizetype(1));
        editor.type("txtT2", "280");
        editor.type("txtdT", "10");
        QCOMPARE(picture->marks(), qsizetype(3));
        editor.type("txtdT", "0.00001");
        QCOMPARE(picture->marks(), qsizetype(0));
        editor.type("txtdT", "10");
        // 300 from 295 K, 290, 280 at 5 K/min, a minute each to settle; without a scan defined.
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("3 scans, about 0 h 08 min") + withTyped);
        editor.type("txtDwell", "1200");
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("3 scans, about 1 h 08 min") + withTyped);
        // Inserted, the step counts once.
        editor.press("btnInsert");
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("3 scans, about 1 h 08 min"));
        // With a line chosen, what is typed is seen in its place.
        editor.list()->setCurrentRow(0);
        editor.type("txtdT", "5");
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("5 scans, about 1 h 50 min") + withTyped);
        QCOMPARE(editor.listed(), lines("T1:300;T2:280;DT:10;DW:1200;"));
        editor.press("btnChange");
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("5 scans, about 1 h 50 min"));
        editor.press("btnUndo");
        QCOMPARE(editor.label("lblTotal"), QStringLiteral("3 scans, about 1 h 08 min"));
        QVERIFY(!editor.dialog.grab().isNull());
        QVERIFY(prompts.allShown());
    }

    void aPlanOfAMillionScansIsDrawnInAThousandMarks()
    {
        // A file can hold smaller steps than the boxes take.
        TProfile::state().lines = lines("T1:10;T2:290;DT:0.0003;");
        Editor editor;
        auto* picture = editor.dialog.findChild<ProfilePicture*>();
        QVERIFY(editor.label("lblTotal").startsWith(QStringLiteral("933334 scans, about ")));
        QVERIFY(picture->marks() > 500 && picture->marks() <= 1000);
        const double before = processorTime();
        for (int i = 0; i < 10; ++i) {
            editor.type("txtT1", "295");
            picture->grab();
        }
        // Thirty keys and ten drawings.
        const double used = processorTime() - before;
        QVERIFY2(used < 3000, qPrintable(QString::number(used)));
        qInfo("30 keys and 10 drawings: %.0f ms", used);
    }
};

QTEST_MAIN(tst_profileeditor)
#include "tst_profileeditor.moc"
