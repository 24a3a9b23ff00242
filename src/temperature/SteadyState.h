// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include "core/Operation.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

/// The wait for a steady temperature: statistics of the readings near the setpoint, all in single precision and in a fixed order, a live
/// text, and a button that accepts what is there.
namespace SteadyState {
enum Result : qint16 { Settled = 0, Taken = 1, Aborted = 2, Silent = 3, Stalled = 4, Interrupted = 5, GoesOn = 6 };

inline constexpr float noNumber = -2; ///< in place of a reading: something was answered, and it is no temperature

/// When a temperature counts as reached. Singles, although the keys of scan.ini are doubles: only then does a scatter that is shown as
/// equal to its limit end the wait.
struct Thresholds
{
    qint16 minQueries = 10;        ///< readings that must have been accepted
    float largeWindow = 5;         ///< a reading is accepted within +- this of the setpoint
    float smallWindow = 1;         ///< the mean must lie strictly within +- this of the setpoint
    float verySmallWindow = 0.25F; ///< the scatter must not exceed this
};
/// The thresholds of the configuration.
Thresholds thresholds();

/// The running statistics of one wait.
class Statistics
{
public:
    Statistics(float setpoint, const Thresholds& thresholds) : m_setpoint(setpoint), m_thresholds(thresholds) {}

    /// True when scatter, mean and number of readings all say that the temperature is reached.
    bool isSteady() const;
    /// Takes a reading in; one outside the large window changes nothing.
    void add(float temperature);

    float mean() const { return m_mean; }
    /// Root of the summed squared deviations over n (n - 1), each deviation taken from the mean at its moment; 100 before the second
    /// reading.
    float scatter() const { return m_scatter; }

private:
    float m_setpoint;
    Thresholds m_thresholds;
    float m_sum = 0;
    float m_mean = 0;
    float m_squares = 0;
    float m_scatter = 100;
    float m_n = 1;
};

/// What differs from controller to controller.
struct Wait
{
    float setpoint = 0;                 ///< in `unit`
    std::optional<float> target;        ///< what the controller reads at the setpoint, where a calibration makes it another value
    QString unit;                       ///< "K" or "deg C"
    QString title;                      ///< of the live text window
    QString heading;                    ///< first line of the text; empty: none
    QString extraLine;                  ///< line before the setpoint; empty: none
    QString activity;                   ///< panel 3
    std::function<float()> temperature; ///< one reading; -1 without an answer, noNumber for an answer that is no temperature
    QString controller;                 ///< whose setpoint is read back (SetpointCheck); empty: nobody's
    double silenceLimit = 0;            ///< longest time without a reading [s] before the wait gives up; 0: none
    double stallLimit = 0;              ///< longest time without a reading nearer to the setpoint [s]; 0: none
};

/// Runs until steady, until "&Take it" is pressed, until the abort flag is set or the program closes, or until nothing was read for the
/// silence limit, or came no nearer for the stall limit. A failed reading is not accepted, and the wait goes on.
///
/// The controller is asked after the first reading whether it has taken the setpoint, again at the end when it was on its way there, and
/// whenever the readings have stayed outside the large window for two minutes without coming nearer.
///
/// A wait that is chosen by hand holds nothing else up. While something else waits below (a scan), Run returns at once (GoesOn), and the
/// wait goes on by ticks: same window, same texts. When something begins within its loop and lasts, its readings go on by ticks meanwhile,
/// and panel 3 says that the temperature is not steady yet.
Result Run(const Wait& wait);
/// A wait goes on that nobody waits for.
bool goesOnByTicks();
/// Such a wait takes the entry's operation over and holds it to its end; otherwise the operation ends here.
void carry(std::unique_ptr<Operation> operation);
/// A wait is within a reading: what lasts must not begin inside it, because the reading would stand still.
bool isReading();
/// Nothing waits, and nothing was read.
void reset();

class Notifier : public QObject
{
    Q_OBJECT

signals:
    void readingEnded();
    /// Somebody wants what waits to end: Interrupt.
    void interrupted();
};
Notifier& notifier();

/// The wait that runs ends after its present reading: there is something to do first. Without one nothing happens.
void Interrupt();

/// What a wait has just read, for whoever watches it.
struct Reading
{
    float temperature = -1; ///< in `unit`; below 0 when the reading failed
    float setpoint = 0;
    QString unit; ///< "K" or "deg C"
};
/// The last reading of the wait that runs; nothing before its first one and while none runs.
const std::optional<Reading>& underWay();

/// Mean and scatter of the readings that the last wait accepted; 0 and 100 when there was none.
const Statistics& last();
} // namespace SteadyState
