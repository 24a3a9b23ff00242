// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

#include <optional>

/// Whether the temperature controllers have taken the setpoints that they were sent: a line that is lost, a controller that was switched
/// off and a value that it refuses look alike to an operation that only sends. Operations note what they send; who waits for the
/// temperature asks for the setpoint after the first reading, and who does not wait asks at once. Controllers go by their names ("LTC").
namespace SetpointCheck {
enum class Verdict {
    Taken,
    NotTaken, ///< it has another setpoint
    OnItsWay, ///< it ramps and says how far it is: the end of the ramp tells
    NoAnswer  ///< none, or no number
};

/// How a controller is asked for the setpoint that it has.
struct Reader
{
    QString unit;                             ///< of the value that is sent and read: "A" where a current stands for a temperature
    std::optional<double> (*ask)() = nullptr; ///< nothing: no answer, or no number
    double resolution = 0;                    ///< values nearer than this are the same
    bool (*ramps)() = nullptr;                ///< the setpoint is on its way, and the controller says how far. Null: it never is
};

struct Setpoint
{
    QString controller; ///< "LTC"
    QString fullName;   ///< "low-temperature controller"
    double value = 0;   ///< as the controller has it
    Reader reader;
};

/// A setpoint was sent, or should have been.
void Sent(const Setpoint& setpoint);
/// What it was sent does not count any more: a reset, a command typed by hand.
void Forget(const QString& controller);
/// A setpoint was sent since the last Forget.
bool wasSent(const QString& controller);
/// It was sent, and the controller has not told yet what became of it. Three questions without an answer count as told.
bool isOpen(const QString& controller);

/// Asks the controller and judges. One that was sent nothing has taken everything.
Verdict Ask(const QString& controller);
/// Judges what the controller has said of its setpoint; nothing: it gave no number. What is wrong stands in a message bar ("setpoint LTC")
/// until the setpoint was taken.
Verdict Judge(const QString& controller, const std::optional<double>& said);

class Notifier : public QObject
{
    Q_OBJECT

signals:
    /// Its verdict was not Taken but NotTaken: whoever can send the setpoint again.
    void notTaken(const QString& controller);
    /// A controller has said what its setpoint is.
    void told(const QString& controller);
};
Notifier& notifier();

/// Nothing was sent.
void reset();
} // namespace SetpointCheck
