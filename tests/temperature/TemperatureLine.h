// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Notices.h"
#include "serial/modCOM.h"
#include "support/AppLog.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"
#include "temperature/SetpointCheck.h"
#include "temperature/modHTC.h"
#include "temperature/modHTC_Laser.h"
#include "temperature/modLTC.h"
#include "temperature/modTC.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

/// A program that has just started, with a scripted device on the line of the temperature controllers, in a directory of its own. One for
/// each test function.
class TemperatureLine : public QObject
{
public:
    /// Line settings as in scan.ini, times in seconds, number of the port.
    TemperatureLine(const QString& settings, float txDelay, float rxTimeout, int serialPort)
    {
        modTools::state().programDirectory = directory.path();
        configuration().general.workDir = directory.path();
        Configuration::Line& line = configuration().ltc.line;
        line.settings = settings;
        line.txDelay = txDelay;
        line.rxTimeout = rxTimeout;
        line.serialPort = serialPort;
        modCOM::TCComm().configure(line);
        device.plugInto(modCOM::TCComm());
        modTC::Connect();
        connect(&frontPanel(), &FrontPanel::panelChanged, this, [this](int number, const QString& text) {
            if (number == 3)
                shown += text;
        });
    }
    ~TemperatureLine() override
    {
        QStringList unwanted = AppLog::unwantedIn(directory.path());
        for (const QString& text : noticed)
            unwanted.removeAll(QStringLiteral("Notice: ") + text);
        if (!unwanted.isEmpty())
            QTest::qFail(qPrintable(QStringLiteral("logged without being asked to: ") + unwanted.first()), __FILE__, __LINE__);
        modTC::reset();
        modCOM::reset();
    }
    TemperatureLine(const TemperatureLine&) = delete;
    TemperatureLine& operator=(const TemperatureLine&) = delete;

    /// A file of the directory; empty when there is none.
    QByteArray read(const QString& name) const
    {
        QFile file(directory.filePath(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }
    QString appLog() const { return AppLog::textIn(directory.path()); }
    /// Answers to lines that end with `question` while `isOn`, and counts those that come while it is not.
    void answerWhileOn(const QByteArray& question, const QByteArray& answer)
    {
        device.answerBy([this, question, answer](const QByteArray& written) {
            if (!written.endsWith(question))
                return QList<ScriptedDevice::Chunk>();
            unheard += isOn ? 0 : 1;
            return isOn ? QList<ScriptedDevice::Chunk>{{answer}} : QList<ScriptedDevice::Chunk>();
        });
    }

private:
    struct FreshProgram
    {
        FreshProgram()
        {
            resetProgram();
            modCOM::reset();
            modTC::reset();
            modLTC::state() = modLTC::State{};
            modHTC::state() = modHTC::State{};
            modHTC_Laser::state() = modHTC_Laser::State{};
            SetpointCheck::reset();
        }
    };
    FreshProgram m_fresh; // before anything else is made

public:
    QTemporaryDir directory;
    TestClock clock;
    ScriptedPrompts prompts;
    ScriptedDevice device;
    QStringList shown;   ///< all that panel 3 has shown
    QStringList noticed; ///< texts of message bars that the test looks at itself
    bool isOn = true;
    int unheard = 0;
};
