// SPDX-License-Identifier: GPL-3.0-or-later

#include "Operator.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "core/PrivateProfile.h"
#include "core/modTools.h"
#include "core/startup/modMain.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/modSMC.h"
#include "support/Pretend.h"
#include "support/ResetAll.h"
#include "ui/UiPrompts.h"
#include "ui/frmAbout.h"
#include "ui/frmMain.h"
#include "ui/frmManual.h"
#include "ui/frmRatemeter.h"
#include "ui/frmSetWorkDir.h"
#include "ui/frmSettings.h"
#include "ui/frmSplash.h"
#include "ui/frmTextDisplay.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFile>
#include <QFileDialog>
#include <QGroupBox>
#include <QInputDialog>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollBar>
#include <QStorageInfo>
#include <QTemporaryDir>
#include <QTest>
#include <QTextBlock>
#include <QTextBrowser>

#include <algorithm>
#include <memory>

class TestDialogs : public QObject
{
    Q_OBJECT

    UiPrompts m_prompts;
    std::unique_ptr<Desk> m_desk;
    std::unique_ptr<Operator> m_operator;
    std::unique_ptr<QTemporaryDir> m_directory;

    static QRadioButton* option(QWidget* dialog, const QString& caption)
    {
        for (auto* button : dialog->findChildren<QRadioButton*>())
            if (button->text() == caption)
                return button;
        return nullptr;
    }
    static void press(QWidget* dialog, const char* button)
    {
        QTest::mouseClick(dialog->findChild<QPushButton*>(QString::fromLatin1(button)), Qt::LeftButton);
    }
    QString stored(const char* key) const
    {
        return PrivateProfile::GetPrivateProfileString(QStringLiteral("General"), QString::fromLatin1(key), QStringLiteral("(none)"),
                                                       modTools::state().iniPath);
    }

private slots:
    void init()
    {
        resetAll();
        setPrompts(&m_prompts);
        m_desk = std::make_unique<Desk>();
        m_operator = std::make_unique<Operator>(*m_desk);
        m_directory = std::make_unique<QTemporaryDir>();
        modTools::state().programDirectory = m_directory->path();
        modTools::state().iniPath = m_directory->filePath(QStringLiteral("scan.ini"));
    }
    void cleanup()
    {
        const QString complaint = m_operator->complaint();
        m_operator.reset();
        m_desk.reset();
        setPrompts(nullptr);
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    // --- settings

    void settingsShowWhatIsInUse()
    {
        flags().scanMode = 0;
        flags().goniometerType = 1;
        flags().smcModelDigit = 2;
        frmSettings dialog;
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Settings"));
        QVERIFY(option(&dialog, QStringLiteral("On-Line"))->isChecked());
        QVERIFY(option(&dialog, QStringLiteral("Theta-2-Theta"))->isChecked());
        QVERIFY(option(&dialog, QStringLiteral("Theta-2-Theta"))->isEnabled());
        QCOMPARE(option(&dialog, QStringLiteral("On-Line"))->toolTip(), QStringLiteral("Online measurement display"));
        QCOMPARE(option(&dialog, QStringLiteral("Silent"))->toolTip(), QStringLiteral("Unattended measurement"));
        QCOMPARE(dialog.findChildren<QRadioButton*>(QStringLiteral("optScanMode")).size(), 2);
        QCOMPARE(dialog.findChildren<QRadioButton*>(QStringLiteral("optGonType")).size(), 2);
        QCOMPARE(dialog.findChild<QGroupBox*>(QStringLiteral("frameScanMode"))->title(), QStringLiteral("Scan Mode"));
        QCOMPARE(dialog.findChild<QGroupBox*>(QStringLiteral("frameGonType"))->title(), QStringLiteral("Goniometer Type"));
    }

    void thetaNeedsAControllerWithTwoAxes_data()
    {
        QTest::addColumn<int>("digit");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("no controller") << 0 << false;
        QTest::newRow("4411") << 1 << false;
        QTest::newRow("4412") << 2 << true;
    }
    void thetaNeedsAControllerWithTwoAxes()
    {
        QFETCH(int, digit);
        QFETCH(bool, enabled);
        flags().smcModelDigit = digit;
        frmSettings dialog;
        QCOMPARE(option(&dialog, QStringLiteral("Theta-2-Theta"))->isEnabled(), enabled);
    }

    void settingsAreStoredAtOnce()
    {
        flags().smcModelDigit = 2;
        frmSettings dialog;
        dialog.show();
        option(&dialog, QStringLiteral("Theta-2-Theta"))->click();
        option(&dialog, QStringLiteral("On-Line"))->click();
        press(&dialog, "btnOk");
        QVERIFY(!dialog.isVisible());
        QCOMPARE(flags().goniometerType, 1);
        QCOMPARE(flags().scanMode, 0);
        QCOMPARE(stored("GoniometerType"), QStringLiteral("Theta-2-Theta"));
        QCOMPARE(stored("ScanMode"), QStringLiteral("Online"));

        frmSettings again;
        again.show();
        option(&again, QStringLiteral("Guinier"))->click();
        option(&again, QStringLiteral("Silent"))->click();
        press(&again, "btnOk");
        QCOMPARE(stored("GoniometerType"), QStringLiteral("Guinier"));
        QCOMPARE(stored("ScanMode"), QStringLiteral("Silent"));
    }

    void cancelledSettingsChangeNothing()
    {
        flags().smcModelDigit = 2;
        frmSettings dialog;
        dialog.show();
        option(&dialog, QStringLiteral("Theta-2-Theta"))->click();
        press(&dialog, "btnCancel");
        QCOMPARE(flags().goniometerType, 0);
        QCOMPARE(stored("GoniometerType"), QStringLiteral("(none)"));
    }

    void theMenuRenewsTheCaptionInItsLongForm()
    {
        flags().smcModelDigit = 2;
        flags().smcOnline = true;
        frmMain window;
        window.show();
        m_operator->expectWindow(QStringLiteral("Settings"), [](QDialog* dialog) { press(dialog, "btnOk"); });
        Operator::chooseByKeys(&window, QStringLiteral("ft"));
        QCOMPARE(window.windowTitle(), QStringLiteral("Scan (Guinier diffractometer, silent mode, controller 4412)"));
        flags().smcOnline = false;
    }

    // --- work directory

    void theWorkDirectoryIsTheHighlightedOne()
    {
        QDir root(m_directory->path());
        QVERIFY(root.mkpath(QStringLiteral("data/inner")));
        QFile file(root.filePath(QStringLiteral("data/old.sdf")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.close();
        configuration().general.workDir = root.path() + u'/';
        frmSetWorkDir dialog;
        dialog.show();
        QCOMPARE(dialog.windowTitle(), QStringLiteral("Set Work Directory"));
        QCOMPARE(dialog.findChild<QGroupBox*>(QStringLiteral("Frame1"))->title(), QStringLiteral("Drive && Directory"));
        QCOMPARE(dialog.findChild<QGroupBox*>(QStringLiteral("Frame2"))->title(), QStringLiteral("Directory Content"));
        auto* directories = dialog.findChild<QListWidget*>(QStringLiteral("DirList"));
        auto* files = dialog.findChild<QListWidget*>(QStringLiteral("FileList"));
        QCOMPARE(directories->toolTip(), QStringLiteral("Select the directory where you want the scan data to be stored"));
        QCOMPARE(dialog.highlighted(), root.path());

        QListWidgetItem* data = directories->item(directories->currentRow() + 1);
        QCOMPARE(data->text().trimmed(), QStringLiteral("data"));
        QTest::mouseClick(directories->viewport(), Qt::LeftButton, {}, directories->visualItemRect(data).center());
        QCOMPARE(files->item(0)->text(), QStringLiteral("old.sdf"));
        press(&dialog, "btnOk");
        QCOMPARE(configuration().general.workDir, QDir::toNativeSeparators(root.filePath(QStringLiteral("data/"))));
        QCOMPARE(frontPanel().text(FrontPanel::Field::txtWorkDir), configuration().general.workDir);
        // It reaches scan.ini only when the program is closed.
        QCOMPARE(stored("WorkDir"), QStringLiteral("(none)"));
    }

    void enterAndDoubleClickGoIntoADirectory()
    {
        QDir root(m_directory->path());
        QVERIFY(root.mkpath(QStringLiteral("data/inner")));
        configuration().general.workDir = root.path();
        frmSetWorkDir dialog;
        dialog.show();
        auto* directories = dialog.findChild<QListWidget*>(QStringLiteral("DirList"));
        directories->setFocus();
        QTest::keyClick(directories, Qt::Key_Down);
        QTest::keyClick(directories, Qt::Key_Return);
        QVERIFY(dialog.isVisible());
        QCOMPARE(dialog.highlighted(), root.filePath(QStringLiteral("data")));
        QListWidgetItem* inner = directories->item(directories->currentRow() + 1);
        const QPoint place = directories->visualItemRect(inner).center();
        QTest::mouseClick(directories->viewport(), Qt::LeftButton, {}, place);
        QTest::mouseDClick(directories->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(dialog.highlighted(), root.filePath(QStringLiteral("data/inner")));
        press(&dialog, "btnCancel");
        QCOMPARE(configuration().general.workDir, root.path());
    }

    void theDriveListHoldsTheMountedVolumes()
    {
        configuration().general.workDir = m_directory->path();
        frmSetWorkDir dialog;
        auto* drives = dialog.findChild<QComboBox*>(QStringLiteral("DriveList"));
        QCOMPARE(drives->toolTip(), QStringLiteral("Select the drive where you want the scan data to be stored"));
        QVERIFY(drives->findData(QStorageInfo::root().rootPath()) >= 0);
        QCOMPARE(drives->currentData().toString(), QStorageInfo(m_directory->path()).rootPath());
        drives->setCurrentIndex(drives->findData(QStorageInfo::root().rootPath()));
        emit drives->activated(drives->currentIndex());
        QCOMPARE(dialog.highlighted(), QStorageInfo::root().rootPath());
    }

    // --- about, splash, manual

    void theAboutBoxNamesVersionAndFirmware()
    {
        modSMC::state().firmwareText = QStringLiteral("V 3.14");
        modMain::state().aboutText = QStringLiteral("licence line");
        frmAbout dialog;
        dialog.show();
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("lblProductName"))->text(), QStringLiteral("scan"));
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("lblPrductDescription"))->text(), QStringLiteral("data acquisition"));
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("lblSoftwareVersion"))->text(), QStringLiteral("2.1.22 scan"));
        QCOMPARE(dialog.findChild<QLabel*>(QStringLiteral("lblControllerVersion"))->text(), QStringLiteral("V 3.14"));
        QVERIFY(!dialog.findChild<QLabel*>(QStringLiteral("imgLogo"))->pixmap().isNull());
        auto* text = dialog.findChild<QPlainTextEdit*>(QStringLiteral("txtAddress"));
        QCOMPARE(text->toPlainText(), QStringLiteral("licence line"));
        QVERIFY(text->isReadOnly());
        press(&dialog, "btnOk");
        QVERIFY(!dialog.isVisible());
        modMain::state() = modMain::State{};
        modSMC::state() = modSMC::State{};
    }

    void theAboutBoxHoldsNothingUp()
    {
        QWidget mainWindow;
        frmAbout::open(&mainWindow); // returns at once
        QPointer<frmAbout> about = mainWindow.findChild<frmAbout*>();
        QVERIFY(about != nullptr && about->isVisible() && !about->isModal());
        frmAbout::open(&mainWindow);
        QCOMPARE(mainWindow.findChildren<frmAbout*>().size(), qsizetype{1});
        press(about, "btnOk");
        DESK_VERIFY(about.isNull());
    }

    void theSplashShowsTwoLines()
    {
        frmSplash splash;
        splash.show();
        QCOMPARE(splash.findChild<QLabel*>(QStringLiteral("lblProductName"))->text(), QStringLiteral("scan\n2.1.22"));
        QCOMPARE(splash.findChild<QLabel*>(QStringLiteral("lblPrductDescription"))->text(), QStringLiteral("data acquisition"));
        QVERIFY(!splash.findChild<QLabel*>(QStringLiteral("picApp"))->pixmap().isNull());
    }

    void helpOpensTheManualWithItsPictures()
    {
        QVERIFY(!frmManual::findManual().isEmpty());
        frmMain window;
        window.show();
        Operator::chooseByKeys(&window, QStringLiteral("hh"));
        auto* manual = window.findChild<frmManual*>();
        QVERIFY(manual != nullptr && manual->isVisible());
        auto* browser = manual->findChild<QTextBrowser*>();
        QVERIFY(browser->toPlainText().contains(QStringLiteral("Start Data Acquisition")));
        QVERIFY(
            !browser->loadResource(QTextDocument::ImageResource, QUrl(QStringLiteral("images/main-window.png"))).toByteArray().isEmpty());
        // It begins at its beginning, and nothing is scrolled sideways.
        manual->activateWindow();
        browser->setFocus();
        QApplication::processEvents();
        QVERIFY(browser->verticalScrollBar()->maximum() > browser->height());
        QCOMPARE(browser->verticalScrollBar()->value(), 0);
        QCOMPARE(browser->horizontalScrollBar()->maximum(), 0);
    }

    // --- text display

    void theTextWindowFollowsTheFrontPanel()
    {
        frmTextDisplay window;
        QVERIFY(!window.isVisible());
        frontPanel().openTextDisplay(QStringLiteral("Cooldown"));
        frontPanel().setTextDisplay(QStringLiteral("one\r\ntwo"));
        QVERIFY(window.isVisible());
        QCOMPARE(window.windowTitle(), QStringLiteral("Cooldown info"));
        auto* text = window.findChild<QPlainTextEdit*>();
        QCOMPARE(text->toPlainText(), QStringLiteral("one\ntwo"));
        const int height = text->height();
        window.resize(window.width(), window.height() + 100);
        QApplication::processEvents();
        QCOMPARE(text->height(), height + 100);
        press(&window, "btnOk");
        QVERIFY(!window.isVisible());
        QVERIFY(!frontPanel().textDisplayOpen());
        QVERIFY(text->toPlainText().isEmpty());
    }

    void colonsStandInOneColumn()
    {
        frmTextDisplay window;
        frontPanel().openTextDisplay(QStringLiteral("LTC"), QStringLiteral("&Take it"));
        const QString shown = QStringLiteral("Setpoint           W:285.00 K\r\nAverage             :284.85 K\r\n"
                                             "Standard Dev. Target: <0.25\r\n\r\nElapsed time        :1 sec\r\n");
        frontPanel().setTextDisplay(shown);
        auto* text = window.findChild<QPlainTextEdit*>();
        QCOMPARE(text->toPlainText(), QString(shown).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
        QList<int> columns;
        for (QTextBlock line = text->document()->begin(); line.isValid(); line = line.next()) {
            if (!line.text().contains(u':'))
                continue;
            QTextCursor cursor(line);
            cursor.setPosition(line.position() + static_cast<int>(line.text().indexOf(u':')));
            columns << text->cursorRect(cursor).left();
        }
        QCOMPARE(columns.size(), 4);
        const auto [least, most] = std::minmax_element(columns.begin(), columns.end());
        QVERIFY2(*most - *least <= 1, qPrintable(QStringLiteral("%1 to %2").arg(*least).arg(*most)));
        frontPanel().closeTextDisplay();
    }

    void aWaitDecidesAboutItsOwnTextWindow()
    {
        frmTextDisplay window;
        int pressed = 0;
        QObject::connect(&frontPanel(), &FrontPanel::textDisplayButton, &window, [&pressed] { ++pressed; });
        frontPanel().openTextDisplay(QStringLiteral("Wait"), QStringLiteral("&Take it"));
        QCOMPARE(window.findChild<QPushButton*>()->text(), QStringLiteral("&Take it"));
        press(&window, "btnOk");
        QCOMPARE(pressed, 1);
        QVERIFY(window.isVisible());
        frontPanel().closeTextDisplay();
        QVERIFY(!window.isVisible());
    }

    // --- ratemeter

    void theRatemeterCountsUntilExit()
    {
        m_operator->rest();
        // In the simulation state every reply is empty: 0 counts.
        frmRatemeter dialog;
        QString caption, value, beside;
        m_desk->when([&] { return !dialog.findChild<QLineEdit*>(QStringLiteral("txtValue"))->text().isEmpty(); },
                     [&] {
                         caption = dialog.windowTitle();
                         value = dialog.findChild<QLineEdit*>(QStringLiteral("txtValue"))->text();
                         beside = dialog.findChild<QLabel*>(QStringLiteral("lblNoAnswer"))->text();
                         press(&dialog, "btnExit");
                     });
        QVERIFY(dialog.findChild<QCheckBox*>(QStringLiteral("chkAutoRange"))->isChecked());
        QCOMPARE(dialog.findChild<QCheckBox*>(QStringLiteral("chkAutoRange"))->text(), QStringLiteral("AutoRange"));
        QCOMPARE(dialog.findChild<QPushButton*>(QStringLiteral("btnExit"))->text(), QStringLiteral("&Exit"));
        QCOMPARE(dialog.findChild<QLineEdit*>(QStringLiteral("txtValue"))->toolTip(), QStringLiteral("Current countrate"));
        dialog.exec();
        QCOMPARE(value.trimmed(), QStringLiteral("0"));
        QCOMPARE(beside, QStringLiteral("no answer"));
        QCOMPARE(caption, QStringLiteral("RateMeter [Range 10]"));
        QVERIFY(!Operation::isRunning(Operations::ratemeter));
        DESK_VERIFY(!Operation::isRunning(Operations::ratemeter));
    }

    // --- questions

    void aQuestionHasItsButtonsInOrderAndItsDefault()
    {
        Prompts::Message question;
        question.title = QStringLiteral("SMC Check");
        question.text = QStringLiteral("first\r\nsecond");
        question.buttons = Prompts::Buttons::AbortRetryIgnore;
        question.defaultButton = 2;
        question.icon = Prompts::Icon::Critical;
        question.safe = Prompts::Button::Ignore;
        const auto look = [](QMessageBox* box) {
            QStringList captions;
            QList<int> places;
            for (QAbstractButton* button : box->buttons()) {
                captions << button->text();
                places << button->x();
            }
            QCOMPARE(captions, QStringList({"&Abort", "&Retry", "&Ignore"}));
            QVERIFY(std::is_sorted(places.begin(), places.end()));
            QCOMPARE(box->defaultButton()->text(), QStringLiteral("&Retry"));
            QCOMPARE(box->icon(), QMessageBox::Critical);
        };
        m_operator->expect(QStringLiteral("SMC Check"), QStringLiteral("first\nsecond"), QStringLiteral("Retry"), look);
        QCOMPARE(m_prompts.message(question), Prompts::Button::Retry);
    }

    void escapeAnswersNo()
    {
        Prompts::Message question;
        question.title = QStringLiteral("Exit program");
        question.text = QStringLiteral("?");
        question.buttons = Prompts::Buttons::YesNo;
        m_operator->expectWindow(QStringLiteral("Exit program"), [](QDialog* box) { QTest::keyClick(box, Qt::Key_Escape); });
        QCOMPARE(m_prompts.message(question), Prompts::Button::No);
    }

    void enterPressesTheDefaultButton()
    {
        Prompts::Message question;
        question.title = QStringLiteral("Exit program");
        question.text = QStringLiteral("?");
        question.buttons = Prompts::Buttons::YesNo;
        question.defaultButton = 2;
        m_operator->expectWindow(QStringLiteral("Exit program"), [](QDialog* box) { QTest::keyClick(box, Qt::Key_Return); });
        QCOMPARE(m_prompts.message(question), Prompts::Button::No);
    }

    void aCancelledInputIsEmpty()
    {
        m_operator->expectWindow(QStringLiteral("Select axis"), [](QDialog* dialog) {
            QCOMPARE(qobject_cast<QInputDialog*>(dialog)->labelText(), QStringLiteral("Enter axis (1-2)"));
            QCOMPARE(qobject_cast<QInputDialog*>(dialog)->textValue(), QStringLiteral("1"));
            QTest::keyClick(dialog, Qt::Key_Escape);
        });
        QCOMPARE(m_prompts.input({QStringLiteral("Select axis"), QStringLiteral("Enter axis (1-2)"), QStringLiteral("1")}), QString());
    }

    void filtersOfTheSaveDialogAreShownAsTheyAreWritten()
    {
        const QString filter =
            QStringLiteral("ZELKO Scan data(*.sdf)|*.sdf|Stoe (*.raw) 1.06)|*.raw|Wyriet FORT4|fort4|All files (*.*)|*.*");
        const QStringList expected = {"ZELKO Scan data(*.sdf)", "Stoe (*.raw) 1.06)", "Wyriet FORT4", "All files (*.*)"};
        Prompts::FileDialog wanted;
        wanted.title = QStringLiteral("Save data");
        wanted.filter = filter;
        wanted.directory = m_directory->path();
        m_operator->expectWindow(QStringLiteral("Save data"), [&](QDialog* dialog) {
            auto* box = dialog->findChild<QComboBox*>(QStringLiteral("fileTypeCombo"));
            for (int i = 0; i < box->count(); ++i)
                QCOMPARE(box->itemText(i).trimmed(), expected.value(i));
            auto* files = qobject_cast<QFileDialog*>(dialog);
            box->setCurrentIndex(1);
            emit box->activated(1);
            dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"))->setText(m_directory->filePath(QStringLiteral("q.raw")));
            QVERIFY(files != nullptr);
            QTest::keyClick(dialog->findChild<QLineEdit*>(QStringLiteral("fileNameEdit")), Qt::Key_Return);
        });
        const Prompts::ChosenFile chosen = m_prompts.saveFile(wanted);
        QCOMPARE(chosen.filterIndex, 2);
        QCOMPARE(chosen.path, QDir::toNativeSeparators(m_directory->filePath(QStringLiteral("q.raw"))));
    }

    void anUnattendedBoxCountsDown()
    {
        Prompts::Message box;
        box.title = QStringLiteral("LTC");
        box.text = QStringLiteral("text");
        m_operator->expect(QStringLiteral("LTC"), QStringLiteral("text"), QStringLiteral("OK"),
                           [](QMessageBox* shown) { QVERIFY(shown->informativeText().isEmpty()); });
        m_prompts.message(box);
        pretendRunning(Operations::profile);
        m_operator->expect(QStringLiteral("LTC"), QStringLiteral("text"), QStringLiteral("OK"),
                           [](QMessageBox* shown) { QCOMPARE(shown->informativeText(), QStringLiteral("\"OK\" in 60 s")); });
        m_prompts.message(box);
    }
};

QTEST_MAIN(TestDialogs)
#include "tst_dialogs.moc"
