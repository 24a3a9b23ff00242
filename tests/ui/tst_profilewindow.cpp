// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Operation.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "support/Pretend.h"
#include "ui/frmProfileRun.h"

#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTableView>
#include <QTest>
#include <QToolButton>

#include <memory>

using ProfileRun::Phase;

namespace {
const QString title = QStringLiteral("Temperature profile");
const QString finished = QStringLiteral("Temperature profile finished!");
const QString idleCaption = QStringLiteral("Execute &Temperature Profile...");
const QString runningCaption = QStringLiteral("Abort Execution of &Temperature Profile...");
const QString abortTitle = QStringLiteral("Temperature Profile - Data acquisition");
const QString abortText = QStringLiteral("Do you want to abort the current data acquisition now?");
const QString readTitle = QStringLiteral("Data acquisition");
const QString readText = QStringLiteral("Do you want read scan data anyway?");

QPushButton* button(QWidget* dialog, const char* name)
{
    return dialog->findChild<QPushButton*>(QString::fromLatin1(name));
}

void type(QDialog* dialog, const char* name, const char* keys)
{
    auto* edit = dialog->findChild<QLineEdit*>(QString::fromLatin1(name));
    edit->clear();
    QTest::keyClicks(edit, QString::fromLatin1(keys));
}

void pressOk(QDialog* dialog)
{
    QTest::mouseClick(button(dialog, "btnOk"), Qt::LeftButton);
}

QMessageBox* boxOnScreen()
{
    return qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
}

/// What the countdown of a box says after each of these times [ms], one after the other.
QString countdownOf(const Prompts::Message& message, Desk& desk, const QList<int>& moments, const char* thenPress = nullptr,
                    Prompts::Button* answer = nullptr)
{
    QStringList seen;
    qsizetype next = 0;
    const auto open = [] { return boxOnScreen() != nullptr; };
    std::function<void()> work = [&] {
        QMessageBox* box = boxOnScreen();
        if (next < moments.size()) {
            desk.pass(moments[next++] / 1000.0);
            seen << box->informativeText();
            desk.when(open, work);
            return;
        }
        if (thenPress != nullptr) {
            for (QAbstractButton* one : box->buttons())
                if (one->text().remove(u'&') == QLatin1String(thenPress))
                    one->click();
        } else if (box->isVisible()) {
            box->done(0); // it did not answer itself
        }
    };
    desk.when(open, work);
    UiPrompts prompts;
    const Prompts::Button given = prompts.message(message);
    desk.rest();
    if (answer != nullptr)
        *answer = given;
    return seen.join(u'|');
}

Prompts::Message question(Prompts::Buttons buttons, Prompts::Button unattended)
{
    Prompts::Message message;
    message.title = QStringLiteral("New setpoint");
    message.text = QStringLiteral("Unable to change setpoint!");
    message.buttons = buttons;
    message.unattended = unattended;
    message.safe = Prompts::Button::Abort;
    return message;
}
} // namespace

/// Temperature profiles as the operator runs them: from the menu entry to the report, on the virtual instrument.
class TestProfileWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    bool bringUp(const QStringList& devices)
    {
        if (!bench().bringUp(devices, 500))
            return false;
        configuration().general.workDir = bench().lab.path();
        configuration().ltc.minQueries = 5;
        const char* values[] = {"26", "27", "0.1", "1", "Quartz"};
        using enum FrontPanel::Field;
        const FrontPanel::Field fields[] = {ScanStart, ScanStop, ScanStep, CounterTime, txtFileName};
        for (int i = 0; i < 5; ++i)
            frontPanel().setText(fields[i], QString::fromLatin1(values[i]));
        return true;
    }
    QAction* entry() const { return bench().window->entry(Menu::Entry::mnuMeasExecTempProfile); }
    frmProfileRun* runWindow() const { return bench().window->findChild<frmProfileRun*>(); }
    QTableView* table() const { return runWindow()->findChild<QTableView*>(QStringLiteral("tableRun")); }
    QString timeLeft() const { return runWindow()->findChild<QLabel*>(QStringLiteral("lblTimeLeft"))->text(); }
    /// One column of the run table, from top to bottom.
    QStringList column(int which) const
    {
        QStringList cells;
        const QAbstractItemModel* model = table()->model();
        for (int row = 0; row < model->rowCount(); ++row)
            cells << model->index(row, which).data().toString();
        return cells;
    }
    QStringList scans() const { return QDir(bench().lab.path()).entryList({QStringLiteral("*.sdf")}, QDir::Files, QDir::Name); }
    QString report() const
    {
        QFile file(ProfileRun::state().reportFile);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }
    void useProfile(const QStringList& lines) const { TProfile::state() = {lines, bench().lab.path() + QStringLiteral("/p.gtp"), false}; }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void aProfileFromTheMenuToTheReport()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        QFile taken(bench().lab.path() + QStringLiteral("/Quartz_0290.0.sdf"));
        QVERIFY(taken.open(QIODevice::WriteOnly));
        taken.close();
        QCOMPARE(entry()->text(), idleCaption);
        bench().hand.expectWindow(title, [](QDialog* editor) {
            type(editor, "txtT1", "295");
            type(editor, "txtT2", "285");
            type(editor, "txtdT", "5");
            type(editor, "txtDwell", "1");
            QTest::mouseClick(button(editor, "btnInsert"), Qt::LeftButton);
            pressOk(editor);
        });
        QStringList states;
        QStringList panels;
        QString caption;
        bool appeared = false;
        const auto look = [&] {
            if (!Operation::isRunning(Operations::profile) || runWindow() == nullptr)
                return;
            appeared = runWindow()->isVisible() && !runWindow()->isModal();
            caption = entry()->text();
            QCOMPARE(table()->currentIndex().row(), ProfileRun::state().current);
            if (ProfileRun::state().current == 1)
                states << column(ProfileRunModel::State).join(u'/');
            if (ProfileRun::state().rows[ProfileRun::state().current].phase != Phase::Done)
                QVERIFY2(QRegularExpression(QStringLiteral("^Time left: 0:[0-5]\\d:[0-5]\\d, until 20")).match(timeLeft()).hasMatch(),
                         qPrintable(timeLeft()));
        };
        QString summary;
        QString details;
        bench().hand.expect(title, {}, QStringLiteral("Yes"), [&](QMessageBox* box) {
            summary = box->text();
            auto* text = box->findChild<QPlainTextEdit*>(QStringLiteral("txtDetails"));
            auto* fold = box->findChild<QToolButton*>(QStringLiteral("btnDetails"));
            details = text->toPlainText();
            QVERIFY(!text->isVisible());
            QCOMPARE(box->buttons().size(), qsizetype(2));
            QCOMPARE(box->defaultButton()->text(), QStringLiteral("&No"));
            QCOMPARE(fold->text(), QStringLiteral("Show &details"));
            const int folded = box->height();
            QTest::mouseClick(fold, Qt::LeftButton);
            DESK_VERIFY(text->isVisible() && box->rect().contains(text->geometry()) && text->height() >= text->minimumHeight());
            QCOMPARE(fold->text(), QStringLiteral("Hide &details"));
            QTest::mouseClick(fold, Qt::LeftButton);
            DESK_COMPARE(box->height(), folded);
            // The window of the run, which exists by now, hears each change first.
            connect(&ProfileRun::notifier(), &ProfileRun::Notifier::changed, bench().window.get(), look);
        });
        connect(&frontPanel(), &FrontPanel::panelChanged, bench().window.get(), [&](int panel, const QString& text) {
            const QString known = QString::number(panel) + u' ' + text.section(u' ', 0, 2);
            if (!text.isEmpty() && !panels.contains(known))
                panels << known;
        });
        bench().hand.expect(title, finished, QStringLiteral("OK"), [](QMessageBox* box) {
            QVERIFY2(box->informativeText().startsWith(QStringLiteral("\"OK\" in ")), qPrintable(box->informativeText()));
        });
        entry()->trigger();
        disconnect(&ProfileRun::notifier(), nullptr, bench().window.get(), nullptr);

        QCOMPARE(summary, ProfileRun::SummaryText().replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
        QVERIFY2(details.startsWith(QStringLiteral("3 scans, about 0 h 00 min, until 20")), qPrintable(details));
        QVERIFY2(details.contains(QStringLiteral("\n2  290 K  1 s  Quartz_0290.0(2).sdf  index added\n")), qPrintable(details));
        QVERIFY(appeared);
        QCOMPARE(caption, runningCaption);
        QCOMPARE(entry()->text(), idleCaption);
        QCOMPARE(states, (QStringList{QStringLiteral("done/setting setpoint/waiting"), QStringLiteral("done/settling/waiting"),
                                      QStringLiteral("done/dwelling/waiting"), QStringLiteral("done/measuring/waiting"),
                                      QStringLiteral("done/saving/waiting"), QStringLiteral("done/done/waiting")}));
        for (const char* panel : {"3 Setting new temperature", "3 Dwelling: 0 of", "1 Data acquisition done.", "1 Ready"})
            QVERIFY2(panels.contains(QString::fromLatin1(panel)), qPrintable(panels.join(u'\n')));
        QVERIFY(runWindow()->isVisible());
        QCOMPARE(column(ProfileRunModel::Step).join(u' '), QStringLiteral("1 2 3"));
        QCOMPARE(column(ProfileRunModel::Set).join(u' '), QStringLiteral("295 K 290 K 285 K"));
        QCOMPARE(column(ProfileRunModel::State).join(u' '), QStringLiteral("done done done"));
        QCOMPARE(column(ProfileRunModel::TimeLeft), (QStringList{QString(), QString(), QString()}));
        QCOMPARE(timeLeft(), QStringLiteral("The run has ended."));
        const QStringList actual = column(ProfileRunModel::Actual);
        const QStringList files = column(ProfileRunModel::File);
        for (int row = 0; row < 3; ++row) {
            const double kelvin = actual[row].chopped(2).toDouble();
            QVERIFY2(std::abs(kelvin - (295 - 5 * row)) < 1, qPrintable(actual[row]));
            QVERIFY2(files[row].startsWith(QStringLiteral("Quartz_0") + QString::number(kelvin, 'f', 1).chopped(2)),
                     qPrintable(files[row]));
            QVERIFY(scans().contains(files[row]));
            QVERIFY(report().contains(files[row]));
        }
        QCOMPARE(taken.size(), qint64(0));
        QCOMPARE(scans().size(), qsizetype(4));
    }

    void noInTheQuestionStartsNothing()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        useProfile({QStringLiteral("T1:290;")});
        bench().hand.expectWindow(title, pressOk);
        bench().hand.expect(title, ProfileRun::SummaryText().replace(QStringLiteral("\r\n"), QStringLiteral("\n")), QStringLiteral("No"));
        entry()->trigger();
        QVERIFY(!runWindow()->isVisible());
        QCOMPARE(entry()->text(), idleCaption);
        // The editor left without OK asks nothing more.
        bench().hand.expectWindow(title, [](QDialog* editor) { editor->reject(); });
        entry()->trigger();
        QVERIFY(scans().isEmpty());
    }

    void theEntryBreaksTheRunOff_data()
    {
        QTest::addColumn<QString>("profile");
        QTest::addColumn<int>("phase");
        QTest::addColumn<QString>("states");
        const QString broken = QStringLiteral("aborted/waiting");
        QTest::newRow("settling") << QStringLiteral("T1:275; T1:270;") << int(Phase::Settling) << broken;
        QTest::newRow("dwelling") << QStringLiteral("T1:295;DW:30000; T1:270;") << int(Phase::Dwelling) << broken;
        QTest::newRow("measuring") << QStringLiteral("T1:295; T1:294;E:100000; T1:270;") << int(Phase::Acquiring)
                                   << QStringLiteral("done/aborted/waiting");
    }

    void theEntryBreaksTheRunOff()
    {
        QFETCH(QString, profile);
        QFETCH(int, phase);
        QFETCH(QString, states);
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        useProfile(profile.split(u' '));
        const qsizetype done = states.count(QStringLiteral("done"));
        bench().hand.expectWindow(title, pressOk);
        bench().hand.expect(title, {}, QStringLiteral("Yes"));
        // The first time the operator thinks better of it.
        bench().hand.expect(abortTitle, abortText, QStringLiteral("No"));
        bench().hand.expect(abortTitle, abortText, QStringLiteral("Yes"), [](QMessageBox* box) {
            QCOMPARE(box->buttons().size(), qsizetype(2));
            QVERIFY(box->informativeText().startsWith(QStringLiteral("\"No\" in ")));
        });
        bench().hand.expect(readTitle, readText, QStringLiteral("No"));
        bench().hand.expect(title, finished, QStringLiteral("OK"));
        int asked = 0;
        const auto there = [&] {
            const ProfileRun::State& run = ProfileRun::state();
            return run.current == done && int(run.rows[done].phase) == phase && QApplication::activeModalWidget() == nullptr;
        };
        std::function<void()> breakOff = [&] {
            ++asked;
            QCOMPARE(entry()->text(), runningCaption);
            if (asked < 2)
                bench().once(there, breakOff);
            entry()->trigger();
        };
        bench().once(there, breakOff);
        entry()->trigger();
        QCOMPARE(asked, 2);
        QCOMPARE(column(ProfileRunModel::State).join(u'/'), states);
        QCOMPARE(timeLeft(), QStringLiteral("The run has ended."));
        QCOMPARE(entry()->text(), idleCaption);
        QCOMPARE(scans().size(), done);
        QVERIFY2(report().contains(QStringLiteral("aborted")), qPrintable(report()));
        QVERIFY(!Operation::isRunning(Operations::profile) && !flags().abort);
    }

    void nameAndCommentAreReadOnlyWhileAProfileRuns()
    {
        QVERIFY(bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}));
        useProfile({QStringLiteral("T1:295;"), QStringLiteral("T1:294;")});
        auto* name = bench().window->findChild<QLineEdit*>(QStringLiteral("txtFileName"));
        auto* comment = bench().window->findChild<QPlainTextEdit*>(QStringLiteral("txtComment"));
        comment->setPlainText(QStringLiteral("first"));
        bench().hand.expectWindow(title, pressOk);
        bench().hand.expect(title, {}, QStringLiteral("Yes"));
        bench().hand.expect(title, finished, QStringLiteral("OK"));
        QStringList toolTips;
        const auto firstScan = [] {
            const ProfileRun::State& run = ProfileRun::state();
            return run.current == 0 && run.rows[0].phase == Phase::Acquiring;
        };
        bench().once(firstScan, [&] {
            QVERIFY(name->isReadOnly() && comment->isReadOnly());
            name->selectAll();
            QTest::keyClicks(name, QStringLiteral("Corundum"));
            QTest::keyClicks(comment, QStringLiteral("second"));
            toolTips << name->toolTip() << comment->toolTip();
        });
        entry()->trigger();
        QCOMPARE(name->text(), QStringLiteral("Quartz"));
        QCOMPARE(comment->toPlainText(), QStringLiteral("first"));
        const QString why = QStringLiteral("The running temperature profile has taken sample name and comment for all its files.\n"
                                           "Both can be changed again when it has ended.");
        QCOMPARE(toolTips, (QStringList{why, why}));
        QCOMPARE(scans().size(), qsizetype(2));
        for (const QString& scan : scans())
            QVERIFY2(scan.startsWith(QStringLiteral("Quartz_029")), qPrintable(scan));
        QVERIFY(!name->isReadOnly() && !comment->isReadOnly());
        QCOMPARE(name->toolTip(), QStringLiteral("Sample-/Filename"));
        QCOMPARE(comment->toolTip(), QStringLiteral("Comment"));
        name->end(false);
        QTest::keyClicks(name, QStringLiteral("2"));
        QCOMPARE(frontPanel().text(FrontPanel::Field::txtFileName), QStringLiteral("Quartz2"));
    }

    void theTableShowsWhatTheLaserReads_data()
    {
        QTest::addColumn<bool>("currents");
        QTest::addColumn<QString>("step");
        QTest::addColumn<QString>("actual");
        QTest::addColumn<QString>("file");
        QTest::newRow("currents") << true << QStringLiteral("T1:1.25;") << QStringLiteral("1.2500 A")
                                  << QStringLiteral("Quartz_1.2500.sdf");
        QTest::newRow("temperatures") << false << QStringLiteral("T1:600;") << QStringLiteral("600.0 °C")
                                      << QStringLiteral("Quartz_0600.sdf");
    }

    void theTableShowsWhatTheLaserReads()
    {
        QFETCH(bool, currents);
        QFETCH(QString, step);
        QVERIFY(bringUp({QStringLiteral("--laser")}));
        QVERIFY(flags().laserEnabled);
        configuration().laser.currentMode = currents;
        configuration().laser.stabilizationDelay = 1;
        useProfile({step});
        bench().hand.expectWindow(title, pressOk);
        bench().hand.expect(title, {}, QStringLiteral("Yes"));
        bench().hand.expect(title, finished, QStringLiteral("OK"));
        entry()->trigger();
        QTEST(column(ProfileRunModel::Actual).join(u' '), "actual");
        QTEST(scans().join(u' '), "file");
    }

    // --- the table alone

    void theTimeLeftGoesOnEverySecond()
    {
        Desk& desk = bench().desk();
        bench().hand.rest();
        scanParameters() = {10, 12, 0.5, 2, 5};
        flags().ltcEnabled = true;
        TProfile::state().lines = {QStringLiteral("T1:295;DW:600;"), QStringLiteral("T1:290;DW:3600;")};
        frmProfileRun window;
        ProfileRun::State& run = ProfileRun::state();
        run.rows = ProfileRun::Plan();
        pretendRunning(Operations::profile);
        run.current = 0;
        run.rows[0].phase = Phase::Dwelling;
        run.phaseStartedAt = modTools::timeGetTime();
        emit ProfileRun::notifier().changed();
        QVERIFY(window.isVisible());
        const auto* model = window.findChild<QTableView*>()->model();
        const auto cell = [model](int row) { return model->index(row, ProfileRunModel::TimeLeft).data().toString(); };
        const auto shown = [&window] { return window.findChild<QLabel*>(QStringLiteral("lblTimeLeft"))->text().section(u',', 0, 0); };
        // Dwell and scan of the first (10 s counting, 0.6 s of steps), settling (2 min), dwell and scan of the second.
        QCOMPARE(cell(0), ProfileRun::TimeText(ProfileRun::TimeLeft(0)));
        const QString first = cell(0);
        const QString second = cell(1);
        const QString total = shown();
        desk.pass(1);
        QCOMPARE(QTime::fromString(cell(0), QStringLiteral("h:mm:ss")).secsTo(QTime::fromString(first, QStringLiteral("h:mm:ss"))), 1);
        const auto seconds = [](const QString& text) {
            return QTime(0, 0).secsTo(QTime::fromString(text.section(u' ', -1), QStringLiteral("h:mm:ss")));
        };
        QCOMPARE(seconds(total) - seconds(shown()), 1);
        desk.pass(9);
        QCOMPARE(seconds(total) - seconds(shown()), 10);
        QCOMPARE(cell(1), second);
        // Closed, it stays closed until the next run.
        window.close();
        emit ProfileRun::notifier().changed();
        QVERIFY(!window.isVisible());
        pretendRunning(Operations::profile, false);
    }

    void aRunOfAMillionScansIsShownAtOnce()
    {
        bench().hand.rest();
        flags().ltcEnabled = true;
        frmProfileRun window;
        ProfileRun::State& run = ProfileRun::state();
        run.rows = QList<ProfileRun::Row>(1000000);
        run.current = 999998;
        run.rows[999998].phase = Phase::Settling;
        pretendRunning(Operations::profile);
        emit ProfileRun::notifier().changed();
        const auto* view = window.findChild<QTableView*>();
        QCOMPARE(view->model()->rowCount(), 1000000);
        QCOMPARE(view->currentIndex().row(), 999998);
        // The row being measured is in sight.
        QVERIFY(view->viewport()->rect().intersects(view->visualRect(view->currentIndex())));
        QVERIFY(!window.grab().isNull());
        pretendRunning(Operations::profile, false);
    }

    // --- boxes of an unattended run

    void aBoxCountsDownAndAnswersItself()
    {
        Desk& desk = bench().desk();
        bench().hand.rest();
        pretendRunning(Operations::profile);
        const double begun = desk.elapsed();
        Prompts::Button answer = Prompts::Button::Abort;
        const Prompts::Message retry = question(Prompts::Buttons::AbortRetryIgnore, Prompts::Button::Retry);
        QCOMPARE(countdownOf(retry, desk, {0, 999, 1, 57000, 1000, 999, 1}, nullptr, &answer),
                 QStringLiteral("\"Retry\" in 60 s|\"Retry\" in 60 s|\"Retry\" in 59 s|\"Retry\" in 2 s|\"Retry\" in 1 s|\"Retry\" in 1 s|"
                                "\"Retry\" in 1 s"));
        QCOMPARE(answer, Prompts::Button::Retry);
        QCOMPARE(desk.elapsed() - begun, 60.0);
        const Prompts::Message mismatch = question(Prompts::Buttons::YesNo, Prompts::Button::Yes);
        QCOMPARE(countdownOf(mismatch, desk, {60000}, nullptr, &answer), QStringLiteral("\"Yes\" in 1 s"));
        QCOMPARE(answer, Prompts::Button::Yes);
        const Prompts::Message ok = question(Prompts::Buttons::Ok, Prompts::Button::Ok);
        QCOMPARE(countdownOf(ok, desk, {0, 60000}, nullptr, &answer), QStringLiteral("\"OK\" in 60 s|\"OK\" in 1 s"));
        QCOMPARE(answer, Prompts::Button::Ok);
    }

    void aFileDialogLeftOpenHoldsARunUpForAMinute()
    {
        Desk& desk = bench().desk();
        bench().hand.rest();
        QString titles;
        int moments = 0;
        const auto open = [] { return qobject_cast<QDialog*>(QApplication::activeModalWidget()) != nullptr; };
        std::function<void()> work = [&] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            titles += dialog->windowTitle() + u'|';
            if (++moments > 60)
                dialog->reject(); // it did not close itself
            else
                desk.pass(1);
            desk.when(open, work);
        };
        desk.when(open, work);
        UiPrompts prompts;
        Prompts::FileDialog save;
        save.title = QStringLiteral("Save picture");
        pretendRunning(Operations::profile);
        QCOMPARE(prompts.saveFile(save).path, QString());
        QCOMPARE(moments, 60);
        QVERIFY2(titles.startsWith(QStringLiteral("Save picture (closes in 60 s)|Save picture (closes in 59 s)|")), qPrintable(titles));
        moments = 0;
        QCOMPARE(prompts.input({QStringLiteral("LTC Query"), QStringLiteral("Enter query command:"), QStringLiteral("W1")}), QString());
        QCOMPARE(moments, 60);
        pretendRunning(Operations::profile, false);
        moments = 0;
        prompts.saveFile(save);
        QCOMPARE(moments, 61);
    }

    void whatWasSkippedHasNoFile()
    {
        ProfileRun::State& run = ProfileRun::state();
        run.rows.resize(3);
        for (ProfileRun::Row& row : run.rows)
            row.plannedFile = QStringLiteral("Quartz_0295.0.sdf");
        run.rows[1].phase = Phase::Skipped;
        run.rows[2].phase = Phase::Aborted;
        ProfileRunModel model;
        model.follow();
        QStringList files;
        for (int i = 0; i < 3; ++i)
            files << model.index(i, ProfileRunModel::File).data().toString();
        QCOMPARE(files, (QStringList{QStringLiteral("Quartz_0295.0.sdf"), QString(), QString()}));
        run.rows.clear();
    }

    void aClickBeforeTheEndWins()
    {
        Desk& desk = bench().desk();
        bench().hand.rest();
        pretendRunning(Operations::profile);
        Prompts::Button answer = Prompts::Button::Retry;
        const Prompts::Message retry = question(Prompts::Buttons::AbortRetryIgnore, Prompts::Button::Retry);
        QCOMPARE(countdownOf(retry, desk, {59999}, "Ignore", &answer), QStringLiteral("\"Retry\" in 1 s"));
        QCOMPARE(answer, Prompts::Button::Ignore);
        desk.pass(120); // what was left of the countdown presses nothing
    }

    void aBoxOutsideARunWaits()
    {
        Desk& desk = bench().desk();
        bench().hand.rest();
        Prompts::Button answer = Prompts::Button::Retry;
        const Prompts::Message retry = question(Prompts::Buttons::AbortRetryIgnore, Prompts::Button::Retry);
        QCOMPARE(countdownOf(retry, desk, {0, 600000}, "Abort", &answer), QStringLiteral("|"));
        QCOMPARE(answer, Prompts::Button::Abort);
        // A question without an answer of its own waits even in a run.
        pretendRunning(Operations::profile);
        const Prompts::Message open = question(Prompts::Buttons::YesNo, Prompts::Button::Ok);
        QCOMPARE(countdownOf(open, desk, {600000}, "No", &answer), QString());
        QCOMPARE(answer, Prompts::Button::No);
    }
};

QTEST_MAIN(TestProfileWindow)
#include "tst_profilewindow.moc"
