// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

/// What the dialog "Generator Power" does, without its window: presets, limits, confirmation, sending, warm-up.
namespace GeneratorPower {
/// The dialog's boxes and what follows from the warm-up. `state() = State{}` resets it.
struct State
{
    QString txtmA;          ///< mA setting
    QString txtkV;          ///< kV setting
    QString txtMessage;     ///< what happens at the moment; the countdown during the warm-up
    bool warmingUp = false; ///< the buttons are disabled and the settings hidden
};
State& state();
/// The variables as at the start; a warm-up that counts is over.
void reset();

/// Tells the window that the state has changed, and which box wants the focus.
class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
    void focusCurrent();
    void focusVoltage();
};
Notifier& notifier();

/// Reads the actual values into the boxes; txtMessage says when the generator did not answer, and the boxes hold 0 then.
void Load();
/// The presets of scan.ini.
void MeasPreset();
void IdlePreset();
/// Checks, asks, sends, reads back, and waits for the settling time. True when values were sent.
bool Apply();
/// The key as it goes into a box: digits; "," and "." both ".". Null: discarded.
QChar acceptedKey(QChar key);
} // namespace GeneratorPower
