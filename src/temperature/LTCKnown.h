// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QString>

/// For modLTC: writes down in instrument() what the low-temperature controller was told and what it answered. Nothing is written while it
/// is not in use. A reply is empty when none came.
namespace LTCKnown {
/// The reply to a question for the temperature [K]. 0 K or a text is a sensor's fault and no reading.
void Temperature(const QString& reply);
/// The reply to a question for the setpoint [K].
void Setpoint(const QString& reply);
/// The reply to a question for the heater range; 0 is off.
void Range(const QString& reply);
/// A setpoint that was sent [K].
void SentSetpoint(float setpoint);
/// A heater range that was sent, and the reply where the command asks for one. A reply without a number: nobody knows.
void SentRange(qint16 range, const QString& reply);
/// Setpoint and heater after a reset, or after a command that was typed by hand.
void ForgetOutputs();
} // namespace LTCKnown
