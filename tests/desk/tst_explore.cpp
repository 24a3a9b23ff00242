// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Configuration.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "datafiles/NativeFile.h"
#include "datafiles/ScanFileReader.h"
#include "generator/GeneratorPower.h"
#include "goniometer/Ratemeter.h"
#include "goniometer/ScanRun.h"
#include "goniometer/modSMC.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "serial/Exchange.h"
#include "temperature/CooldownLog.h"
#include "temperature/SteadyState.h"
#include "temperature/modTC.h"
#include "ui/CommunicationTest.h"
#include "ui/LabWindow.h"
#include "ui/frmRatemeter.h"

#include <QCursor>
#include <QDir>
#include <QFileDialog>
#include <QMessageBox>
#include <QRegularExpression>
#include <QTest>

#include <algorithm>
#include <memory>
#include <random>

// Every menu entry chosen in every round of whatever can run, on the whole program and the virtual instrument. A case is one procedure, one
// choice, the round of the procedure in which it is made, and the seed of the answers to the boxes that come.
//
//   EXPLORE_CASES=2000    that many cases instead of a few, or "all" of them, other temperature controllers included
//   EXPLORE_SEED=7        other cases, other answers
//   EXPLORE_PROCEDURE=wait-htc    of this procedure alone
//   EXPLORE_SECOND=1      with a second choice some rounds after the first
//   EXPLORE_CASE=scan/mnuHelpAbout/12/1    this one alone, as a failure names it

namespace {
constexpr int casesInShort = 200;
constexpr double patience = 300; // s: after the choice nothing needs longer; then the operator ends what still runs
constexpr double hanging = 900;  // s: what has not ended then will not
constexpr double taken = 20;     // s: the operator does not wait longer for a temperature
constexpr double unnoticed = 12; // s: a scan that ends is read before, and a wait for a temperature reads more often

QString environment(const char* name, const QString& otherwise)
{
    return qEnvironmentVariable(name, otherwise);
}

// --- what runs

struct Procedure
{
    const char* name;
    Menu::Entry entry;
    const char* devices;
    const char* input;   ///< what is typed into its input box
    const char* profile; ///< its steps
    double longest = 0;  ///< s; then it is ended by hand; 0: it ends by itself
    bool always = true;  ///< tried in the short form, too
};

const QList<Procedure>& procedures()
{
    using enum Menu::Entry;
    static const QList<Procedure> all = {
        {"scan", mnuMeasStartAcquisition, "--generator --ltc 331", "", ""},
        {"wait", mnuLTCNewSetpointWithPID, "--generator --ltc 331", "292 K", ""},
        {"profile", mnuMeasExecTempProfile, "--generator --ltc 331", "", "T1:295; T1:293;"},
        {"warm-up", mnuExtrasGeneratorSetPower, "--generator --ltc 331", "", ""},
        {"ratemeter", mnuExtrasRatemeter, "--generator --ltc 331", "", "", 1.5},
        {"cooldown", mnuLTCLogCooldown, "--generator --ltc 331", "", "", 4.5},
        {"scan-htc", mnuMeasStartAcquisition, "--generator --htc", "", "", 0, false},
        {"wait-htc", mnuHTCNewSetpointWithPID, "--generator --htc", "40", "", 0, false},
        {"profile-htc", mnuMeasExecTempProfile, "--generator --htc", "", "T1:30; T1:35;", 0, false},
        {"warm-up-htc", mnuExtrasGeneratorSetPower, "--generator --htc", "", "", 0, false},
        {"scan-laser", mnuMeasStartAcquisition, "--generator --laser", "", "", 0, false},
        {"wait-laser", mnuLaserSetpoint, "--generator --laser", "200", "", 0, false},
        {"profile-laser", mnuMeasExecTempProfile, "--generator --laser", "", "T1:100; T1:200;", 0, false},
        {"warm-up-laser", mnuExtrasGeneratorSetPower, "--generator --laser", "", "", 0, false},
    };
    return all;
}

const Procedure* procedure(const QString& name)
{
    for (const Procedure& one : procedures())
        if (name == QLatin1String(one.name))
            return &one;
    return nullptr;
}

// --- what can be chosen

const QString closeWindow = QStringLiteral("close");
const QString statusBar = QStringLiteral("status-bar");
const QString textButton = QStringLiteral("text-button");

QStringList choices()
{
    QStringList names;
    for (const Menu::Item& item : Menu::items())
        if (!Menu::isMenu(item.entry))
            names << QString::fromLatin1(item.name);
    return names << closeWindow << statusBar << textButton;
}

const Menu::Item* item(const QString& name)
{
    for (const Menu::Item& one : Menu::items())
        if (name == QLatin1String(one.name))
            return &one;
    return nullptr;
}

// What is wrong.
const QString unnoticedEnd = QStringLiteral("the end of the scan is not noticed");
const QString noReadings = QStringLiteral("the wait for the temperature takes no readings");

struct Case
{
    QString procedure;
    QString choice;
    int round = 0;
    quint32 seed = 1;
    QString second;      ///< another choice, as soon as it is offered
    int secondRound = 0; ///< from this round on

    QString text() const
    {
        const QString first = QStringLiteral("%1/%2/%3/%4").arg(procedure, choice).arg(round).arg(seed);
        return second.isEmpty() ? first : first + QStringLiteral("/%1/%2").arg(second).arg(secondRound);
    }
    static std::optional<Case> of(const QString& text)
    {
        const QStringList parts = text.split(u'/');
        if ((parts.size() != 4 && parts.size() != 6) || ::procedure(parts[0]) == nullptr || !choices().contains(parts[1]))
            return std::nullopt;
        Case result{parts[0], parts[1], parts[2].toInt(), parts[3].toUInt(), {}, 0};
        if (parts.size() == 6) {
            result.second = parts[4];
            result.secondRound = parts[5].toInt();
        }
        return result;
    }
};

/// Numbers that are the same on every machine.
class Dice
{
public:
    explicit Dice(const QString& text)
    {
        quint32 seed = 2166136261U;
        for (const QChar character : text)
            seed = (seed ^ character.unicode()) * 16777619U;
        m_engine.seed(seed);
    }
    qsizetype below(qsizetype bound) { return static_cast<qsizetype>(m_engine() % static_cast<quint64>(bound)); }
    template <typename List>
    auto oneOf(const List& list)
    {
        return list.at(below(list.size()));
    }

private:
    std::mt19937 m_engine;
};

// --- the hand

/// Answers whatever opens, at once: while the procedure is on its way, so that it goes on; after the choice, as the dice fall.
class QuickHand
{
public:
    QuickHand(LabWindow& bench, const Procedure& procedure, Dice dice) : m_bench(bench), m_procedure(procedure), m_dice(dice)
    {
        bench.hand.rest();
        bench.desk().each([this] { return look(); });
    }

    bool dicing = false;      ///< otherwise what goes on
    double endsAfter = 1e9;   ///< s: from then on what runs is ended
    bool droppedData = false; ///< agreed to lose a scan
    bool opened = false;      ///< another one, or a profile
    QStringList answered;     ///< what came, and what was done

private:
    bool look()
    {
        auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
        if (dialog == nullptr || !dialog->isVisible())
            return !flags().closing && endsSomething();
        if (dialog != m_last)
            m_actions = 0;
        m_last = dialog;
        // One that is at work has no button to press; one that nothing moves is left to the time.
        const double now = m_bench.desk().elapsed();
        m_atOnce = now == m_lastAt ? m_atOnce + 1 : 0;
        m_lastAt = now;
        return m_atOnce < 20 && work(dialog) && ++m_actions > 0;
    }

    bool work(QDialog* dialog)
    {
        const QString title = dialog->windowTitle();
        if (auto* box = qobject_cast<QMessageBox*>(dialog))
            return answer(box);
        if (auto* input = qobject_cast<QInputDialog*>(dialog)) {
            if (!dicing)
                input->setTextValue(QString::fromLatin1(m_procedure.input));
            return done(title, dicing && m_dice.below(2) == 0 ? &QDialog::reject : &QDialog::accept, dialog);
        }
        if (auto* files = qobject_cast<QFileDialog*>(dialog))
            return choose(files);
        return press(dialog);
    }

    bool done(const QString& title, void (QDialog::*how)(), QDialog* dialog)
    {
        answered << title + (how == &QDialog::reject ? QStringLiteral(": cancelled") : QStringLiteral(": accepted"));
        (dialog->*how)();
        return true;
    }

    bool answer(QMessageBox* box)
    {
        const QList<QAbstractButton*> buttons = box->buttons();
        QAbstractButton* button = buttons.first();
        if (dicing)
            button = m_dice.oneOf(buttons);
        else
            for (QAbstractButton* one : buttons)
                if (QStringList{"OK", "&Yes", "&Ignore"}.contains(one->text()))
                    button = one;
        const bool yes = button->text() == QStringLiteral("&Yes");
        if (box->text().contains(QStringLiteral("not yet saved")) ? yes
                                                                  : !yes && box->text().contains(QStringLiteral("read scan data anyway")))
            droppedData = true;
        answered << box->windowTitle() + u'<' + box->text().simplified().left(60) + QStringLiteral(">: ") + button->text();
        button->click();
        return true;
    }

    bool choose(QFileDialog* files)
    {
        if (dicing && m_dice.below(2) == 0)
            return done(files->windowTitle(), &QDialog::reject, files);
        const bool save = files->acceptMode() == QFileDialog::AcceptSave;
        const bool profile = files->nameFilters().join(u' ').contains(QStringLiteral("gtp"));
        auto* name = files->findChild<QLineEdit*>(QStringLiteral("fileNameEdit"));
        const QString file = m_bench.lab.path(save      ? profile ? QStringLiteral("saved.gtp") : QStringLiteral("saved.sdf")
                                                   : profile ? QStringLiteral("opened.gtp")
                                                        : QStringLiteral("opened.sdf"));
        answered << files->windowTitle() + QStringLiteral(": ") + file;
        opened = opened || !save;
        name->setText(file);
        if (m_actions > 3)
            files->reject();
        else
            QTest::keyClick(name, Qt::Key_Return);
        return true;
    }

    /// The program's own dialogs.
    bool press(QDialog* dialog)
    {
        QList<QPushButton*> buttons;
        for (const char* name : {"btnOk", "btnExit", "btnCancel"})
            if (auto* button = dialog->findChild<QPushButton*>(QString::fromLatin1(name)))
                if (button->isVisible() && button->isEnabled())
                    buttons << button;
        if (buttons.isEmpty())
            return false;
        QPushButton* button = buttons.first();
        const bool wantsTime = m_procedure.longest > 0 && m_bench.desk().elapsed() - m_begun < m_procedure.longest;
        if (!dicing && dialog->objectName() == QLatin1String("frmRatemeter") && wantsTime)
            return false;
        // The power is set once, then the window is left.
        if (!dicing && dialog->objectName() == QLatin1String("dlgGeneratorPower") && m_powerSet++ > 0)
            button = buttons.last();
        if (dicing)
            button = m_dice.oneOf(buttons);
        answered << dialog->windowTitle() + QStringLiteral(": ") + button->objectName();
        if (m_actions > 5)
            dialog->reject();
        else
            button->click();
        return true;
    }

    /// What would go on for ever, and after its time everything else.
    bool endsSomething()
    {
        const double now = m_bench.desk().elapsed();
        if (CommunicationTest::isRunning() && m_testSince == 0)
            m_testSince = now;
        if (CommunicationTest::isRunning() && now - m_testSince > 0.5) {
            m_testSince = 0;
            CommunicationTest::Click();
            return true;
        }
        if (!SteadyState::underWay())
            m_waitSince = now;
        if (now - m_waitSince > taken) {
            m_waitSince = now;
            return endText();
        }
        if (now < endsAfter || now < m_nextEnd)
            return false;
        dicing = false;
        m_nextEnd = now + 20;
        return end(Operation::isRunning(Operations::profile), Menu::Entry::mnuMeasExecTempProfile) ||
               end(Operation::isRunning(Operations::scan), Menu::Entry::mnuMeasStartAcquisition) ||
               end(CooldownLog::state().running, Menu::Entry::mnuLTCLogCooldown) || endText();
    }

    bool end(bool runs, Menu::Entry entry)
    {
        if (runs && m_bench.entry(entry)->isEnabled())
            m_bench.entry(entry)->trigger();
        return runs;
    }

    bool endText()
    {
        // What a wait has left behind stays there to be seen.
        const bool open =
            frontPanel().textDisplayOpen() && (SteadyState::underWay() || frontPanel().textDisplayButtonCaption() == QStringLiteral("OK"));
        if (open)
            LabWindow::pressTextButton();
        return open;
    }

    LabWindow& m_bench;
    const Procedure& m_procedure;
    Dice m_dice;
    QDialog* m_last = nullptr;
    int m_actions = 0;   ///< in that dialog
    int m_atOnce = 0;    ///< at one moment
    double m_lastAt = 0; ///< s
    int m_powerSet = 0;
    double m_begun = m_bench.desk().elapsed();
    double m_testSince = 0;
    double m_waitSince = 0;
    double m_nextEnd = 0;
};

// --- the scans

QVector<double> countsOf(const QString& path)
{
    try {
        ScanFileReader reader(path);
        if (NativeFile::RefusedBy(reader, path))
            return {};
        ScanRecord scan = NativeFile::ReadHead(reader);
        NativeFile::ReadCounts(reader, scan);
        return scan.counts();
    } catch (const ScanFileReader::ReadError&) {
        return {};
    }
}

/// Watches the controller: which scans it has counted to their end, and what has become of them.
class ScanWatch
{
public:
    explicit ScanWatch(LabWindow& bench) : m_bench(bench) {}

    void look()
    {
        const lab::GoniometerController& smc = m_bench.lab.goniometer();
        if (smc.busy() == m_busy)
            return;
        m_busy = smc.busy();
        const QString received = m_bench.lab.received(QStringLiteral("SMC"));
        const qsizetype stops = received.count(QStringLiteral("Q;"));
        if (m_busy) {
            m_stops = stops;
            return;
        }
        const qsizetype at = received.lastIndexOf(QStringLiteral("GSB10*"));
        const qsizetype ratemeter = received.lastIndexOf(QStringLiteral("BEEPOFF;"));
        if (at < 0 || at < ratemeter || stops != m_stops)
            return;
        const int points = received.mid(at + 6).section(u';', 0, 0).toInt() + 1;
        if (static_cast<int>(smc.counts().size()) != points)
            return;
        QVector<double> counts;
        for (const std::int64_t count : smc.counts())
            counts << static_cast<double>(count);
        scans << counts;
        endedAt = m_bench.desk().elapsed();
    }

    /// Each is a file of its own in the directory, or the last one is in memory.
    bool kept(const QVector<double>& counts) const
    {
        if (flags().dataPresent && scanData().counts() == counts)
            return true;
        const QDir directory(m_bench.lab.path());
        for (const QString& name : directory.entryList({QStringLiteral("*.sdf")}, QDir::Files))
            if (name != QStringLiteral("opened.sdf") && countsOf(directory.filePath(name)) == counts)
                return true;
        return false;
    }

    QList<QVector<double>> scans;
    std::optional<double> endedAt; ///< s: of the last one, until it is read

private:
    LabWindow& m_bench;
    bool m_busy = false;
    qsizetype m_stops = 0;
};

// --- one case

/// What still runs, waits or asks; empty in an idle program.
QStringList underWay()
{
    const Flags& now = flags();
    const std::pair<bool, const char*> all[] = {
        {now.busy, "busy"},
        {now.abort, "abort"},
        {ScanRun::state().asking, "scan: asking"},
        {ScanRun::state().stopping.has_value(), "scan: stopping"},
        {ScanRun::state().progressRunning, "scan: progress"},
        {Exchange::underWay(modCOM::MCComm()), "smc: exchange"},
        {modCOM::smcReception().waiting, "smc: waiting"},
        {ProfileRun::state().asking, "profile: asking"},
        {ProfileRun::state().current >= 0, "profile: current"},
        {GeneratorPower::state().warmingUp, "generator: warming up"},
        {Exchange::underWay(modCOM::TCComm()), "temperature line: busy"},
        {CooldownLog::state().running, "log: running"},
        {CooldownLog::state().reading, "log: reading"},
        {SteadyState::underWay().has_value(), "wait for a temperature"},
        {frontPanel().textDisplayOpen(), "text window"},
        {frontPanel().ExposureTimer.isEnabled(), "ExposureTimer"},
        {frontPanel().progress() >= 0, "progress"},
        {frontPanel().parameterFieldsReadOnly(), "fields read-only"},
        {frontPanel().pointer() != FrontPanel::Pointer::Default, "hourglass"},
        {QApplication::overrideCursor() != nullptr, "override cursor"},
        {QApplication::activeModalWidget() != nullptr, "modal window"},
        {QApplication::activePopupWidget() != nullptr, "menu"},
    };
    QStringList names = Operation::names();
    if (!Operation::all().isEmpty() && names.isEmpty())
        names << QStringLiteral("an operation that is broken off");
    for (const auto& [is, name] : all)
        if (is)
            names << QString::fromLatin1(name);
    if (const QWidget* modal = QApplication::activeModalWidget())
        names << modal->windowTitle();
    return names;
}

class Laboratory
{
public:
    Laboratory(const Procedure& procedure, const QString& dice) : m_procedure(procedure), m_dice(dice) {}

    /// The whole procedure without anybody interfering: what is offered in each of its rounds.
    QList<QStringList> offeredInEachRound()
    {
        QList<QStringList> offered;
        m_inRound = [&] {
            QStringList now;
            for (const QString& choice : choices())
                if (isOffered(choice))
                    now << choice;
            offered << now;
        };
        if (bringUp())
            perform();
        return offered;
    }

    /// What is wrong; empty when nothing is.
    QStringList tryOut(const Case& tried)
    {
        m_inRound = [&, round = -1]() mutable {
            ++round;
            if (round == tried.round) {
                makeChoice(tried.choice);
            } else if (m_chosen && !m_chosenTwice && !tried.second.isEmpty() && round >= tried.secondRound && isOffered(tried.second)) {
                m_chosenTwice = true;
                makeChoice(tried.second);
            }
        };
        if (!bringUp())
            return {QStringLiteral("the laboratory does not come up")};
        const QHash<Menu::Entry, QPair<bool, QString>> idle = entries();
        desk().limit = desk().elapsed() + 4 * hanging;
        perform();
        m_counting = true;
        desk().until([this] { return flags().closing || underWay().isEmpty(); }, hanging);
        m_counting = false;
        if (!m_chosen)
            m_complaints << QStringLiteral("the choice was not offered in that round");
        if (!flags().closing)
            checkIdle(idle);
        checkEnd();
        return m_complaints;
    }

    QStringList answered() const { return m_hand ? m_hand->answered : QStringList(); }
    double elapsed() { return desk().elapsed(); }

private:
    Desk& desk() { return m_bench.desk(); }

    bool bringUp()
    {
        QFile::copy(QStringLiteral(SCAN_TEST_DATA "/datafiles/1.sdf"), m_bench.lab.path(QStringLiteral("opened.sdf")));
        if (!m_bench.bringUp(QStringList{"--position", "12.9,25.8"} + QString::fromLatin1(m_procedure.devices).split(u' '), 50))
            return false;
        configuration().general.workDir = m_bench.lab.path();
        configuration().ltc.minQueries = 3;
        configuration().ltc.logInterval = 1;
        configuration().laser.stabilizationDelay = 5;
        configuration().generator.powerSettlingTime = 15;
        using enum FrontPanel::Field;
        const std::pair<FrontPanel::Field, const char*> fields[] = {
            {ScanStart, "26"}, {ScanStop, "26.2"}, {ScanStep, "0.02"}, {CounterTime, "0.1"}, {txtFileName, "quartz"}};
        for (const auto& [field, text] : fields)
            frontPanel().setText(field, QString::fromLatin1(text));
        m_parameters = parameterTexts();
        const QString steps = QString::fromLatin1(m_procedure.profile);
        TProfile::state() = {steps.isEmpty() ? QStringList() : steps.split(u' '), m_bench.lab.path(QStringLiteral("p.gtp")), false};
        QFile profile(m_bench.lab.path(QStringLiteral("opened.gtp")));
        if (!profile.open(QIODevice::WriteOnly) || profile.write("T1:290;\r\n") < 0)
            return false;
        m_hand = std::make_unique<QuickHand>(m_bench, m_procedure, Dice(m_dice));
        return true;
    }

    bool isOffered(const QString& choice) const
    {
        if (m_bench.window == nullptr || flags().closing)
            return false;
        // A window on top takes the keyboard and the mouse. The system can end the program all the same.
        if (const QWidget* modal = QApplication::activeModalWidget())
            return choice == closeWindow && qobject_cast<const frmRatemeter*>(modal) != nullptr;
        if (choice == textButton)
            return frontPanel().textDisplayOpen();
        const Menu::Item* entry = item(choice);
        return entry == nullptr || (m_bench.entry(entry->entry)->isEnabled() && m_bench.entry(entry->parent)->isEnabled());
    }

    void makeChoice(const QString& choice)
    {
        if (!isOffered(choice))
            return;
        m_chosen = true;
        m_hand->dicing = true;
        m_hand->endsAfter = desk().elapsed() + patience;
        if (choice == closeWindow)
            m_bench.window->close();
        else if (choice == statusBar)
            QTest::mouseClick(m_bench.window->findChild<QWidget*>(QStringLiteral("StatusBar")), Qt::LeftButton);
        else if (choice == textButton)
            LabWindow::pressTextButton();
        else
            m_bench.entry(item(choice)->entry)->trigger();
    }

    void perform()
    {
        m_watch = std::make_unique<ScanWatch>(m_bench);
        QObject::connect(&frontPanel(), &FrontPanel::textDisplayChanged, &m_context, [this] { m_lastText = desk().elapsed(); });
        desk().onRound = [this] { round(); };
        m_counting = true;
        m_bench.entry(m_procedure.entry)->trigger();
        const double begun = desk().elapsed();
        // What goes on although the entry has returned.
        desk().until([&] {
            const bool byHand = m_procedure.longest > 0 && desk().elapsed() - begun > m_procedure.longest;
            return flags().closing || byHand || (!CooldownLog::state().running && !Operation::isRunning(Operations::powerWindow));
        });
        m_counting = false;
        if (CooldownLog::state().running && m_procedure.entry == Menu::Entry::mnuLTCLogCooldown)
            m_bench.entry(m_procedure.entry)->trigger();
    }

    void round()
    {
        if (flags().closing && !m_writtenAtEnd)
            m_writtenAtEnd = desk().written();
        if (QTest::currentTestFailed() || flags().closing)
            return;
        if (desk().elapsed() > desk().limit - 100 && m_hanging.isEmpty())
            m_complaints << QStringLiteral("hangs: ") + (m_hanging = underWay()).join(QStringLiteral(", "));
        m_watch->look();
        if (m_watch->endedAt && (flags().dataPresent || !Operation::isRunning(Operations::scan)))
            m_watch->endedAt.reset();
        if (m_watch->endedAt && desk().elapsed() - *m_watch->endedAt > unnoticed)
            complainOnce(unnoticedEnd);
        if (SteadyState::underWay() && desk().elapsed() - m_lastText > unnoticed)
            complainOnce(noReadings);
        if (m_counting)
            m_inRound();
    }

    void complainOnce(const QString& text)
    {
        if (!m_complaints.contains(text))
            m_complaints << text;
    }

    QHash<Menu::Entry, QPair<bool, QString>> entries() const
    {
        QHash<Menu::Entry, QPair<bool, QString>> all;
        for (const Menu::Item& one : Menu::items())
            all.insert(one.entry, {m_bench.entry(one.entry)->isEnabled(), m_bench.entry(one.entry)->text()});
        return all;
    }

    void checkIdle(const QHash<Menu::Entry, QPair<bool, QString>>& idle)
    {
        if (const QStringList left = underWay(); !left.isEmpty())
            m_complaints << QStringLiteral("left: ") + left.join(QStringLiteral(", "));
        using enum Menu::Entry;
        const QHash<Menu::Entry, QPair<bool, QString>> now = entries();
        for (const Menu::Item& one : Menu::items()) {
            const bool expected = one.entry == mnuFileSaveAs ? flags().dataPresent : idle[one.entry].first;
            if (now[one.entry].first != expected)
                m_complaints << QStringLiteral("%1 is %2").arg(QLatin1String(one.name), expected ? "disabled" : "enabled");
        }
        for (Menu::Entry one : {mnuMeasStartAcquisition, mnuMeasExecTempProfile, mnuLTCLogCooldown})
            if (now[one].second != idle[one].second)
                m_complaints << QStringLiteral("the menu says: ") + now[one].second;
        const lab::GoniometerController& smc = m_bench.lab.goniometer();
        if (flags().shutterOpen != smc.shutterOutput() || frontPanel().picXRayOn() != smc.shutterOutput())
            m_complaints << QStringLiteral("the shutter is otherwise");
        if (!smc.beeper())
            m_complaints << QStringLiteral("the beeper is off");
        if (!m_hand->opened && parameterTexts() != m_parameters)
            m_complaints << QStringLiteral("the scan parameters are ") + parameterTexts().join(u' ');
        checkScans();
    }

    static QStringList parameterTexts()
    {
        using enum FrontPanel::Field;
        QStringList texts;
        for (FrontPanel::Field field : {ScanStart, ScanStop, ScanStep, CounterTime, txtFileName})
            texts << frontPanel().text(field);
        return texts;
    }

    void checkScans()
    {
        const bool replaced = m_hand->droppedData || m_watch->scans.isEmpty();
        if (!replaced && !m_watch->kept(m_watch->scans.last()))
            m_complaints << QStringLiteral("the scan is lost");
        const bool stopped = m_bench.lab.received(QStringLiteral("SMC")).contains(QStringLiteral("Q;"));
        const ProfileRun::State& run = ProfileRun::state();
        for (const ProfileRun::Row& row : run.rows) {
            if (row.phase != ProfileRun::Phase::Done || stopped) // part of a scan is saved, too, when the operator wants it
                continue;
            const QVector<double> counts = countsOf(row.file);
            if (counts.isEmpty() || !m_watch->scans.contains(counts))
                m_complaints << row.file + QStringLiteral(" does not hold the counts of the controller");
        }
        if (ScanRun::state().last.begin.isValid() && !stopped && m_watch->scans.isEmpty())
            m_complaints << QStringLiteral("the scan was not measured");
        const auto is = [](ProfileRun::Phase phase) { return [phase](const ProfileRun::Row& row) { return row.phase == phase; }; };
        const bool begun = !std::all_of(run.rows.begin(), run.rows.end(), is(ProfileRun::Phase::Pending));
        if (begun && !stopped && !std::all_of(run.rows.begin(), run.rows.end(), is(ProfileRun::Phase::Done)))
            m_complaints << QStringLiteral("the profile was not measured");
    }

    void checkEnd()
    {
        m_hand->dicing = false;
        if (!flags().closing && !m_bench.window->close())
            m_complaints << QStringLiteral("the window does not close");
        const qint64 written = m_writtenAtEnd.value_or(desk().written());
        desk().pass(120);
        if (desk().written() != written)
            m_complaints << QStringLiteral("%1 bytes after closing").arg(desk().written() - written);
        for (const SerialChannel* line : {&modCOM::MCComm(), &modCOM::GeneratorComm(), &modCOM::TCComm()})
            if (line->isOpen())
                m_complaints << line->name() + QStringLiteral(" is open after closing");
        if (QWidget* modal = QApplication::activeModalWidget())
            m_complaints << QStringLiteral("open after closing: ") + modal->windowTitle();
    }

    const Procedure& m_procedure;
    QString m_dice;
    LabWindow m_bench;
    QObject m_context;
    std::unique_ptr<QuickHand> m_hand;
    std::unique_ptr<ScanWatch> m_watch;
    std::function<void()> m_inRound;
    QStringList m_parameters;
    QStringList m_complaints;
    QStringList m_hanging;
    std::optional<qint64> m_writtenAtEnd;
    double m_lastText = 0;
    bool m_counting = false;
    bool m_chosen = false;
    bool m_chosenTwice = false;
};
} // namespace

class TestExplore : public QObject
{
    Q_OBJECT

    /// For each procedure and choice the rounds in which it is offered.
    using Rounds = QMap<QString, QMap<QString, QList<int>>>;

    static Rounds rounds()
    {
        const bool all = qEnvironmentVariableIsSet("EXPLORE_CASES");
        const QString only = environment("EXPLORE_PROCEDURE", {});
        Rounds result;
        for (const Procedure& one : procedures()) {
            if (only.isEmpty() ? !all && !one.always : only != QLatin1String(one.name))
                continue;
            Laboratory laboratory(one, {});
            const QList<QStringList> offered = laboratory.offeredInEachRound();
            for (int round = 0; round < offered.size(); ++round)
                for (const QString& choice : offered[round])
                    result[QString::fromLatin1(one.name)][choice] << round;
            qInfo("%s: %d rounds, %.1f s", one.name, static_cast<int>(offered.size()), laboratory.elapsed());
        }
        return result;
    }

    static QList<Case> everything(const Rounds& rounds, quint32 seed)
    {
        QList<Case> cases;
        for (auto procedure = rounds.cbegin(); procedure != rounds.cend(); ++procedure)
            for (auto choice = procedure->cbegin(); choice != procedure->cend(); ++choice)
                for (const int round : *choice)
                    cases << Case{procedure.key(), choice.key(), round, seed, {}, 0};
        return cases;
    }

    static QList<Case> some(const Rounds& rounds, int number, quint32 seed)
    {
        constexpr int longestPause = 60; // rounds
        const bool twice = qEnvironmentVariableIsSet("EXPLORE_SECOND");
        Dice dice(QStringLiteral("cases %1").arg(seed));
        QList<Case> all;
        for (auto procedure = rounds.cbegin(); procedure != rounds.cend(); ++procedure)
            for (auto choice = procedure->cbegin(); choice != procedure->cend(); ++choice)
                all << Case{procedure.key(), choice.key(), 0, seed, {}, 0};
        // Each choice in each procedure as often as any other.
        QList<Case> cases;
        QList<Case> left;
        while (cases.size() < number && !all.isEmpty()) {
            if (left.isEmpty())
                left = all;
            Case one = left.takeAt(dice.below(left.size()));
            one.round = dice.oneOf(rounds[one.procedure][one.choice]);
            if (twice) {
                one.second = dice.oneOf(rounds[one.procedure].keys());
                one.secondRound = one.round + 1 + static_cast<int>(dice.below(longestPause));
            }
            cases << one;
        }
        return cases;
    }

private slots:
    void anyEntryInAnyRoundLeavesAProgramThatIsIdle_data()
    {
        QTest::addColumn<QString>("text");
        const QString wanted = environment("EXPLORE_CASES", QString::number(casesInShort));
        const quint32 seed = environment("EXPLORE_SEED", QStringLiteral("1")).toUInt();
        const bool all = wanted == QStringLiteral("all");
        QStringList names{environment("EXPLORE_CASE", {})};
        if (names.first().isEmpty()) {
            const Rounds found = rounds();
            names.clear();
            for (const Case& one : all ? everything(found, seed) : some(found, wanted.toInt(), seed))
                names << one.text();
        }
        names.removeDuplicates();
        for (const QString& name : std::as_const(names))
            QTest::newRow(qPrintable(name)) << name;
    }

    void anyEntryInAnyRoundLeavesAProgramThatIsIdle()
    {
        QFETCH(QString, text);
        const std::optional<Case> tried = Case::of(text);
        QVERIFY2(tried, "a case is PROCEDURE/CHOICE/ROUND/SEED");
        Laboratory laboratory(*procedure(tried->procedure), text);
        const QStringList complaints = laboratory.tryOut(*tried);
        const bool wrong = !complaints.isEmpty() || QTest::currentTestFailed();
        QVERIFY2(!wrong, qPrintable(QStringLiteral("EXPLORE_CASE=") + text + u'\n' + complaints.join(u'\n') +
                                    QStringLiteral("\nboxes:\n  ") + laboratory.answered().join(QStringLiteral("\n  "))));
    }
};

QTEST_MAIN(TestExplore)
#include "tst_explore.moc"
