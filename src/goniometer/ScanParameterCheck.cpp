// SPDX-License-Identifier: GPL-3.0-or-later

#include "goniometer/ScanParameterCheck.h"

#include "core/Configuration.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/ScanParameters.h"
#include "goniometer/modSMC.h"

#include <cmath>
#include <utility>

namespace ScanParameterCheck {
using Field = FrontPanel::Field;

namespace {
constexpr double counterTimes[] = {0.1, 0.2, 0.5, 1, 2, 5, 10, 20, 50, 100, 200, 500};
/// How far a quotient that is a whole number may miss it: 32000 intervals of a decimal step are not taken for more.
constexpr double quotientTolerance = 1e-6;

double clamped(double value)
{
    const Configuration::General& limits = configuration().general;
    double result = value;
    if (value > limits.thetaMax)
        result = limits.thetaMax;
    if (value < limits.thetaMin)
        result = limits.thetaMin;
    return result;
}

void write(Field field, double value)
{
    frontPanel().setText(field, modSMC::FormatSMCNumber(value));
}

double writtenAndRead(Field field, double value)
{
    write(field, value);
    return frontPanel().number(field);
}

void shortenStop(double step)
{
    showMessage(QStringLiteral("Error"), QStringLiteral("Too many data points!\r\nScan range will be reduced..."));
    write(Field::ScanStop, frontPanel().number(Field::ScanStart) + maximumIntervals * step);
}
} // namespace

double NormalizeScanStart()
{
    return clamped(frontPanel().number(Field::ScanStart));
}

double NormalizeScanStop()
{
    return clamped(frontPanel().number(Field::ScanStop));
}

double NormalizeScanStep()
{
    double step = std::abs(frontPanel().number(Field::ScanStep));
    const double range = std::abs(frontPanel().number(Field::ScanStop) - frontPanel().number(Field::ScanStart));
    if (range != 0 && step > range)
        step = range;
    if (step < minimumStep)
        step = minimumStep;
    step = NumberText::RoundToEven(step * 1000) / 1000;
    if (range / step > maximumIntervals + quotientTolerance)
        shortenStop(step);
    return step;
}

double NormalizeCounterTime()
{
    return RoundUpCounterTime(frontPanel().number(Field::CounterTime));
}

double RoundUpCounterTime(double time)
{
    for (double value : counterTimes)
        if (time <= value)
            return value;
    return std::end(counterTimes)[-1];
}

ScanParameters CheckScanParameters(std::optional<double> counterTime)
{
    ScanParameters& scan = scanParameters();
    scan.start = writtenAndRead(Field::ScanStart, NormalizeScanStart());
    scan.stop = writtenAndRead(Field::ScanStop, NormalizeScanStop());
    // A stop field shortened here is not read again: this check's number of points is still that of the full range, intended.
    scan.step = writtenAndRead(Field::ScanStep, NormalizeScanStep());
    if (scan.start > scan.stop) {
        std::swap(scan.start, scan.stop);
        write(Field::ScanStart, scan.start);
        write(Field::ScanStop, scan.stop);
    }
    if (scan.start == scan.stop) {
        scan.stop = scan.start + scan.step;
        write(Field::ScanStop, scan.stop);
    }
    scan.counterTime = counterTime ? *counterTime : writtenAndRead(Field::CounterTime, NormalizeCounterTime());
    scan.numberOfPoints = NumberText::RoundToLong((scan.stop - scan.start) / scan.step + 1);
    return scan;
}

void lostFocus(Field field)
{
    if (frontPanel().parameterFieldsReadOnly())
        return;
    ScanParameters& scan = scanParameters();
    switch (field) {
    case Field::ScanStart:
        scan.start = writtenAndRead(field, NormalizeScanStart());
        break;
    case Field::ScanStop:
        scan.stop = writtenAndRead(field, NormalizeScanStop());
        break;
    case Field::ScanStep:
        scan.step = writtenAndRead(field, NormalizeScanStep());
        break;
    case Field::CounterTime:
        scan.counterTime = writtenAndRead(field, NormalizeCounterTime());
        break;
    default:
        break;
    }
}

QChar acceptedKey(QChar key)
{
    constexpr QChar backspace(u'\b');
    if (key == u',')
        return u'.';
    const bool accepted = (key >= u'0' && key <= u'9') || key == u'.' || key == u'-' || key == backspace;
    return accepted ? key : QChar();
}

std::optional<Field> nextField(Field field)
{
    switch (field) {
    case Field::ScanStart:
        return Field::ScanStop;
    case Field::ScanStop:
        return Field::ScanStep;
    case Field::ScanStep:
        return Field::CounterTime;
    default:
        return std::nullopt;
    }
}
} // namespace ScanParameterCheck
