// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

/// What the dialog "Generator Power" does, without its window: presets, limits, confirmation, sending, warm-up.
namespace GeneratorPower {
/// The dialog's boxes and what follows from the warm-up. `state() = State{}` resets it.
struct State
{
    QString txtmA;           ///< mA setting
    QString txtkV;           ///< kV setting
    QString txtMessage;      ///< what happens at the moment; the countdown during the warm-up
    bool exchanging = false; ///< values are sent or read: the buttons are disabled
    bool warmingUp = false;  ///< the buttons are disabled and the settings hidden
    quint32 touchedAt = 0;   ///< timeGetTime() of the operator's last key or click while the window is open [ms]
};
State& state();
/// The window opens: nothing of the last time stands in it, but a warm-up that goes on.
void begin();
/// The variables as at the start; a warm-up that counts is over.
void reset();

/// While one is there, State::exchanging is set.
class Exchanging
{
public:
    Exchanging();
    ~Exchanging();
    Exchanging(const Exchanging&) = delete;
    Exchanging& operator=(const Exchanging&) = delete;

private:
    bool m_before;
};
/// The operator has pressed a key or a button.
void touched();
/// The window is open, but nobody has touched it for a minute and it neither sends nor reads.
bool forgotten();
/// Shows what was set without the window's doing.
void tell(const QString& message);

/// Tells the window that the state has changed, and which box wants the focus.
class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
    void exchanging(); ///< State::exchanging has changed
    void focusCurrent();
    void focusVoltage();
};
Notifier& notifier();

/// Reads the actual values into the boxes; txtMessage says when the generator did not answer, and the boxes hold 0 then.
void Load();
/// The presets of scan.ini.
void MeasPreset();
void IdlePreset();
/// Why current and voltage may not be set now; empty when they may. They stay as they are while a scan or a profile runs.
QString refusal();
/// Checks, asks, sends, reads back, and waits for the settling time. True when values were sent. The warm-up counts by ticks: whoever
/// waits for it here is held up by a scan that is started meanwhile, the countdown is not.
bool Apply();
/// Pasted or dropped text as it goes into a box: the keys that are accepted, not more of them than a box holds.
QString acceptedText(const QString& text);
inline constexpr int longestText = 6;
/// The key as it goes into a box: digits; "," and "." both ".". Null: discarded.
QChar acceptedKey(QChar key);
} // namespace GeneratorPower
