// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QObject>
#include <QString>

/// The ratemeter: counts again and again while the goniometer stands still and shows counts per second. The window frmRatemeter shows
/// state() whenever notifier() says that it changed, writes `autoRange`, calls Run when it is activated and Stop, then unloads, when
/// btnExit is pressed.
namespace Ratemeter {
/// The module's variables. `state() = State{}` resets them.
struct State
{
    bool autoRange = true;  ///< chkAutoRange
    qint32 rate = 0;        ///< counts per second
    qint32 range = 10;      ///< full scale [counts per second], a power of ten
    QString text;           ///< txtValue
    bool noAnswer = false;  ///< the last reply did not come: said beside the 0
    QString caption;        ///< of the window; "RateMeter [Range 10]" below one count per second, otherwise "RM [Range n]"
    double barMaximum = 10; ///< of ProgressBar; its minimum is 0
    double barValue = 0;    ///< of ProgressBar; 0.0001 stands for nothing
};
State& state();

class Notifier : public QObject
{
    Q_OBJECT

signals:
    void changed();
};
Notifier& notifier();

/// Loads the counting program and measures until Stop, as Operations::ratemeter, with the counter time that the field shows. Does nothing
/// while another operation uses the controller. A count that lasts longer than `MCRxTimeout` is waited for a second longer than it lasts. A
/// missing reply reads as 0.
void Run();
/// The stop sequence of btnExit; takes about 0.6 s. What is being counted is not waited for; Run returns after it.
void Stop();

/// One reading: rate, text, caption, range and bar from a reply to "?C;" and the counter time [s].
void Evaluate(const QString& reply, double counterTime);
/// Full scale for a rate of 1 or more: the next decade, changed somewhat below each power of ten. 0 when it does not fit 32 bits.
qint32 RangeFor(qint32 rate);
} // namespace Ratemeter
