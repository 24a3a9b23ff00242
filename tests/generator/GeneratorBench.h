// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Operation.h"
#include "generator/GeneratorPower.h"
#include "generator/modGenerator.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QString>
#include <QStringList>

/// A program that has just started, with a generator on its line that answers 30 mA and 40 kV.
class GeneratorBench
{
public:
    GeneratorBench()
    {
        resetProgram();
        modCOM::reset();
        modGenerator::reset();
        GeneratorPower::reset();
        generator.plugInto(modCOM::GeneratorComm());
        configuration().generator.modelCode = 1;
        flags().generatorRemote = true;
        modGenerator::Connect();
        // "SC:30\r" is noted as "0 SC:30": milliseconds since listen(), and what came.
        generator.answerBy([this](const QByteArray& written) -> QList<ScriptedDevice::Chunk> {
            const QByteArray command = written.mid(written.lastIndexOf('\r', -2) + 1);
            sent += QStringLiteral("%1 %2").arg(clock.elapsed() - m_since).arg(QString::fromLatin1(command.chopped(1)));
            if (whenSent)
                whenSent(command);
            return {};
        });
        generator.answer("CA\r", "*0000030000\r");
        generator.answer("VN\r", "*0000040000\r");
        frontPanel().refreshEntries();
    }
    ~GeneratorBench()
    {
        modGenerator::reset();
        modCOM::reset();
    }
    Q_DISABLE_COPY_MOVE(GeneratorBench)

    /// Forgets what has been sent; times count from now.
    void listen()
    {
        generator.forget();
        sent.clear();
        m_since = clock.elapsed();
    }
    void setBoxes(const QString& milliampere, const QString& kilovolt)
    {
        GeneratorPower::state().txtmA = milliampere;
        GeneratorPower::state().txtkV = kilovolt;
    }
    /// "OK" in the dialog, and OK in its question.
    bool apply(const QString& milliampere, const QString& kilovolt)
    {
        setBoxes(milliampere, kilovolt);
        boxes.expect(QStringLiteral("Voltage Setting"), QString(), Prompts::Button::Ok);
        return GeneratorPower::Apply();
    }
    /// Lets that many seconds pass, in steps that fit the watch's seconds.
    void pass(float seconds)
    {
        clock.msPerRound = 20;
        modTools::Delay(seconds, true);
        clock.msPerRound = 1;
    }
    /// A run of that many seconds, as the watch sees it.
    void run(const OperationKind* kind, float seconds)
    {
        const Operation operation(*kind);
        pass(seconds);
    }

    TestClock clock;
    ScriptedPrompts boxes;
    ScriptedDevice generator;
    QStringList sent; ///< commands without an answer: the settings
    std::function<void(const QByteArray&)> whenSent;

private:
    quint64 m_since = 0;
};
