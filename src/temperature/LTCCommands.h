// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>
#include <QStringList>

/// For modLTC: what the families of low-temperature controllers are told and asked, and the one way in which a line is sent. Status results
/// are 0 for success and -1 for no answer; while the controller is disabled nothing is sent, and everything fails.
namespace LTCCommands {
/// "%1" stands for the value; a line with "?" is answered. An empty text or list: the family has no such command.
struct Table
{
    QStringList init;
    QString temperature;
    QString readSetpoint;
    QString setSetpoint;
    QStringList setPid; ///< %1 P, %2 I, %3 D
    QString setRange;
    QStringList rampOff;
    QStringList rampOn;
    QString readTune;
    QString setTune;
    QStringList afterDefault; ///< sent after init by "Restore Default Settings"
    QString isRamping;        ///< answered 1 while the setpoint is on its way
    double resolution = 0;    ///< of a setpoint [K]
    QString readRange;        ///< the heater range; a DRC model gives it in its record
};
/// That of the model in use.
const Table& table();

/// The model is one of those in the mask (modLTC::Model).
bool isModel(int mask);
extern const int family330;
extern const int familyDrc;
/// What a DRC model is asked for its record.
QString record();

/// Sends a line and reads the reply when the line asks for one.
qint16 tell(QString line, QString* reply = nullptr);
/// Sends all of them, whatever becomes of each. Those that got no reply are added to `unanswered`.
qint16 tellAll(const QStringList& lines, QStringList* unanswered = nullptr);

/// Asks one question; the reply is empty when there was none.
qint16 ask(const QString& question, QString& reply);
/// -1 without an answer, 0 for one that is no number. `told` is shown the reply.
qint16 askNumber(const QString& question, float& value, void (*told)(const QString& reply) = nullptr);
qint16 askInteger(const QString& question, qint16& value, void (*told)(const QString& reply) = nullptr);
} // namespace LTCCommands
