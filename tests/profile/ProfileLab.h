// SPDX-License-Identifier: GPL-3.0-or-later
//
// A laboratory for profile runs: a played goniometer, a work directory, and one temperature controller that has each temperature as soon as
// it is set. The controllers are written from their protocols here, not with the program's own procedures.
#pragma once

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Menu.h"
#include "core/Notices.h"
#include "core/Operation.h"
#include "goniometer/PlayedController.h"
#include "profile/ProfileRun.h"
#include "profile/TProfile.h"
#include "support/AppLog.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "temperature/SetpointCheck.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>

#include <functional>

namespace profilelab {
using Button = Prompts::Button;
using Field = FrontPanel::Field;
using Phase = ProfileRun::Phase;

inline const QString title = QStringLiteral("Temperature profile");
inline const QString finished = QStringLiteral("Temperature profile finished!");
inline const QString runningCaption = QStringLiteral("Abort Execution of &Temperature Profile...");
inline const QString idleCaption = QStringLiteral("Execute &Temperature Profile...");

enum class Heater { LTC, HTC, Laser, LaserByCurrent };

inline QString entryCaption()
{
    return frontPanel().entryCaption(Menu::Entry::mnuMeasExecTempProfile);
}

/// Everything that a run touches as at the start of the program.
inline void resetAll()
{
    resetGoniometer();
    modTC::reset();
    modLTC::state() = modLTC::State{};
    modHTC::state() = modHTC::State{};
    modHTC_Laser::state() = modHTC_Laser::State{};
    SetpointCheck::reset();
    TProfile::state() = {};
    ProfileRun::state() = {};
}

struct Laboratory
{
    explicit Laboratory(Heater heater = Heater::LTC) : smc(clock)
    {
        smc.countLines = {"5", "40", "7", "3", "8"};
        smc.runTime = 3000;
        modTools::state().programDirectory = directory.path() + QStringLiteral("/program");
        QDir().mkpath(modTools::state().programDirectory);
        QDir().mkpath(work());
        Configuration::LTC& ltc = configuration().ltc;
        ltc.line.settings = QStringLiteral("9600,o,7,1");
        ltc.line.serialPort = 3;
        ltc.line.txDelay = 0.05F;
        ltc.line.rxTimeout = 1;
        ltc.minQueries = 2;
        modCOM::TCComm().configure(ltc.line);
        tc.plugInto(modCOM::TCComm());
        modTC::Connect();
        switch (heater) {
        case Heater::LTC:
            setUpLtc();
            break;
        case Heater::HTC:
            setUpHtc();
            break;
        case Heater::Laser:
        case Heater::LaserByCurrent:
            setUpLaser(heater == Heater::LaserByCurrent);
            break;
        }
        configuration().general.workDir = work();
        frontPanel().setText(Field::ScanStart, QStringLiteral("10"));
        frontPanel().setText(Field::ScanStop, QStringLiteral("12"));
        frontPanel().setText(Field::ScanStep, QStringLiteral("0.5"));
        frontPanel().setText(Field::CounterTime, QStringLiteral("1"));
        frontPanel().setText(Field::txtFileName, QStringLiteral("Quartz"));
        QObject::connect(&frontPanel(), &FrontPanel::panelChanged, &context, [this](int number, const QString& text) {
            if (number == 1)
                panel1 << text;
            if (number == 3)
                panel3 << text;
        });
    }

    ~Laboratory()
    {
        QStringList unwanted = AppLog::unwantedIn(modTools::state().programDirectory);
        for (const QString& text : noticed)
            unwanted.removeAll(QStringLiteral("Notice: ") + text);
        if (!unwanted.isEmpty())
            QTest::qFail(qPrintable(QStringLiteral("logged without being asked to: ") + unwanted.first()), __FILE__, __LINE__);
    }
    Q_DISABLE_COPY_MOVE(Laboratory)

    QString work() const { return directory.path() + QStringLiteral("/work"); }
    void profile(const QStringList& lines) const { TProfile::state() = {lines, directory.filePath(QStringLiteral("p.gtp")), false}; }
    QStringList scans() const { return QDir(work()).entryList({QStringLiteral("*.sdf")}, QDir::Files, QDir::Name); }
    QByteArray read(const QString& path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    /// The report, its lines ended by LF.
    QByteArray report() const { return read(ProfileRun::state().reportFile).replace("\r\n", "\n"); }
    bool stateFile() const { return QFileInfo::exists(ProfileRun::StateFile()); }
    qsizetype scansStarted() const { return smc.sent(QStringLiteral("START:;")); }

    /// True while the run is in this phase of this row.
    static bool at(int row, Phase phase)
    {
        const ProfileRun::State& run = ProfileRun::state();
        return Operation::isRunning(Operations::profile) && run.current == row && run.rows[row].phase == phase;
    }

    void expectSummary(Button answer = Button::Yes)
    {
        boxes.expect(title, ProfileRun::SummaryText(), answer)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withIcon(Prompts::Icon::Question)
            .withAnswers(Button::Yes, Button::No, Button::No);
    }
    void expectAbort(Button readAnyway = Button::No)
    {
        boxes
            .expect(QStringLiteral("Temperature Profile - Data acquisition"),
                    QStringLiteral("Do you want to abort the current data acquisition now?"), Button::Yes)
            .withButtons(Prompts::Buttons::YesNo, 2)
            .withIcon(Prompts::Icon::Critical)
            .withAnswers(Button::Yes, Button::No, Button::No);
        boxes.expect(QStringLiteral("Data acquisition"), QStringLiteral("Do you want read scan data anyway?"), readAnyway);
    }
    ScriptedPrompts& expectLostLine() { return boxes.expect(QString(), QString()); }
    /// A run from the first question to the last box.
    bool run()
    {
        expectSummary();
        boxes.expect(title, finished);
        return ProfileRun::Execute();
    }

    TestClock clock;
    PlayedController smc;
    ScriptedDevice tc;
    ScriptedPrompts boxes;
    QTemporaryDir directory;
    QObject context;
    double temperature = 295;           ///< what the controller's setpoint is: K, degrees Celsius or A
    double offset = 0;                  ///< of the readings from the setpoint
    bool silent = false;                ///< the temperature controller answers nothing
    QByteArray fault;                   ///< what the low-temperature controller answers in place of a temperature; empty: the temperature
    bool refusing = false;              ///< the laser controller does not confirm
    int unread = 0;                     ///< answers with the laser's current that get lost
    QByteArray dataBlock;               ///< of the high-temperature controller
    std::optional<double> setpointSaid; ///< what the low-temperature controller answers for its setpoint; nothing: what it was sent
    bool ramping = false;               ///< it says so of itself
    QStringList noticed;                ///< texts of message bars that the test looks at itself
    QStringList panel1;
    QStringList panel3;

    /// Three characters of a value block, upper bits first.
    static QByteArray packed(int value)
    {
        return {QByteArray(1, static_cast<char>(value / 1024 + 32)) + static_cast<char>(value % 1024 / 16 + 32) +
                static_cast<char>(value % 16 + 32)};
    }
    static int unpacked(const QByteArray& block, int position)
    {
        const auto digit = [&](int i) { return static_cast<unsigned char>(block.at(position - 1 + i)) - 32; };
        return digit(0) * 1024 + digit(1) * 16 + digit(2);
    }
    /// What was written into the data block, in order: the 54 characters of each.
    QList<QByteArray> blocksWritten() const
    {
        QList<QByteArray> all;
        for (const QByteArray& line : tc.writes())
            if (line.startsWith("S001  T "))
                all << line.mid(8, 54);
        return all;
    }

private:
    using Chunks = QList<ScriptedDevice::Chunk>;

    static void table(const QString& name, const QByteArray& text)
    {
        QFile file(modTools::state().programDirectory + u'/' + name);
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(text), text.size());
    }

    void setUpLtc()
    {
        configuration().ltc.modelCode = modLTC::LakeShore331;
        configuration().ltc.ls331DefaultPID = QStringLiteral("300=R3P300I50D0");
        flags().ltcEnabled = true;
        table(QStringLiteral("ls331.pid"), "25=R2P25I500D0\r\n300=R3P300I50D0\r\n");
        tc.answerBy([this](const QByteArray& written) {
            const qsizetype at = written.lastIndexOf("SETP 1, ");
            if (at >= 0)
                temperature = written.mid(at + 8).split('\r').constFirst().toDouble();
            if (!silent && written.endsWith("SETP? 1\r\n"))
                return Chunks{{"+" + QByteArray::number(setpointSaid.value_or(temperature), 'f', 3) + "\r\n"}};
            if (!silent && written.endsWith("RAMPST? 1\r\n"))
                return Chunks{{ramping ? "1\r\n" : "0\r\n"}};
            if (silent || !written.endsWith("KRDG?\r\n"))
                return Chunks();
            return Chunks{{!fault.isEmpty() ? fault : "+" + QByteArray::number(temperature + offset, 'f', 2) + "\r\n"}};
        });
    }

    void setUpHtc()
    {
        configuration().htc.pidFile = QStringLiteral("htc.pid");
        configuration().htc.defaultPID = QStringLiteral("900=P71I8D2");
        flags().htcEnabled = true;
        table(QStringLiteral("htc.pid"), "500=P60I10D3\r\n900=P71I8D2\r\n");
        temperature = 25;
        dataBlock = packed(25) + packed(20) + packed(71) + packed(8) + packed(2) + packed(1) + packed(20) + packed(1500) + packed(0) +
                    packed(0) + QByteArray(62, '-');
        tc.answerBy([this](const QByteArray& written) {
            const qsizetype at = written.lastIndexOf("S001  T ");
            if (at >= 0 && written.size() >= at + 62) {
                dataBlock.replace(0, 54, written.mid(at + 8, 54));
                temperature = unpacked(dataBlock, 4);
            }
            if (silent)
                return Chunks();
            if (written.endsWith("R001NT?\r\n"))
                return Chunks{{"A001NT HTC 5218  " + dataBlock + "ABCDQ\r\n"}};
            if (written.endsWith("R001NF?\r\n"))
                return Chunks{{"A001NF HTC 5218  " + packed(qRound(temperature + offset)) + QByteArray(89, '-') + "ABCDQ\r\n"}};
            return Chunks();
        });
    }

    void setUpLaser(bool byCurrent)
    {
        configuration().laser.currentMode = byCurrent;
        configuration().laser.stabilizationDelay = 5;
        flags().laserEnabled = true;
        tc.answerBy([this](const QByteArray& written) {
            if (silent || !written.endsWith('\r'))
                return Chunks();
            const qsizetype at = written.lastIndexOf(":w 30 ");
            if (at >= 0 && !refusing)
                temperature = written.mid(at + 6).chopped(1).toDouble();
            if (written.endsWith(":r 30\r") && unread-- > 0)
                return Chunks();
            if (written.endsWith(":r 30\r"))
                return Chunks{{":" + QByteArray::number(temperature, 'f', 4) + "\r\n"}};
            return Chunks{{refusing ? ":error\r\n" : ":ok\r\n"}};
        });
    }
};
} // namespace profilelab
