// SPDX-License-Identifier: GPL-3.0-or-later
//
// A temperature controller's loop: setpoint with ramp, proportional, integral and derivative action, output between nothing and full.
#pragma once

namespace lab {

class PidLoop
{
public:
    double gain = 0.0;              ///< share of the full output per kelvin
    double integralSeconds = 0.0;   ///< 0: no integral action
    double derivativeSeconds = 0.0; ///< acts on the temperature, not on the setpoint
    double ramp = 0.0;              ///< kelvin per second that the setpoint may move; 0: it jumps

    explicit PidLoop(double setpoint) : target_(setpoint), working_(setpoint) {}
    /// A new setpoint; with a ramp it starts from `from`.
    void setSetpoint(double target, double from);
    double target() const { return target_; }
    /// What is controlled to at the moment: on a ramp it is on its way to the target.
    double setpoint() const { return working_; }
    bool ramping() const { return working_ != target_; }
    /// The output for the next `seconds`, 0 to 1, with the temperature as it is measured at their begin.
    double step(double temperature, double seconds);
    /// As `step`, with the output switched off: the integral starts anew.
    void idle(double temperature, double seconds);

private:
    void follow(double temperature, double seconds);
    double target_;
    double working_;
    double integral_ = 0.0;
    double last_ = 0.0;
    double slope_ = 0.0;
    bool started_ = false;
};

} // namespace lab
