// SPDX-License-Identifier: GPL-3.0-or-later
//
// A LakeShore temperature controller with a closed-cycle cryostat behind it: models 330 and 331, the 331 emulating the 330, and the
// older DRC-91CA and DRC-81C.
//
// A command line ends with CR, LF or both; every answer line with CR LF. The 330 and the 331 take several commands in a line, separated by
// ";". The DRC models take letters with values that follow each other without separator; a letter without a value means 0. The older
// models (330, DRC) obey one line in half a second, further ones wait for their turn.
//
// Sensor A is on the stage and is what is controlled; sensor B is at the sample.
#pragma once

#include "Device.h"
#include "PidLoop.h"
#include "ThermalModel.h"

#include <array>
#include <deque>
#include <optional>

namespace lab {

enum class LakeShoreModel { ls330, ls331, ls331Emulating330, drc91, drc81 };

struct LakeShoreEntry
{
    LakeShoreModel model;
    std::string_view option;   ///< as typed after --ltc
    std::string_view title;    ///< as shown
    std::string_view iniModel; ///< `Model` in scan.ini
    std::string_view settings; ///< the line's, as in scan.ini
    int baud;
    double secondsPerLine;      ///< how long one line keeps it busy
    double noise;               ///< standard deviation of a reading, K
    std::vector<double> ranges; ///< heater ranges from 0 on, W at full output
};

const std::vector<LakeShoreEntry>& lakeShoreTable();
const LakeShoreEntry& lakeShoreEntry(LakeShoreModel model);

class LakeShoreController final : public Device
{
public:
    /// `regulatesAt` [K]: it begins at this temperature, and regulates there with its strongest heater range after each reset, as one whose
    /// settings have been stored.
    LakeShoreController(Laboratory& laboratory, std::vector<Fault> faults, const Trace& trace, LakeShoreModel model,
                        std::optional<double> regulatesAt = {});

    static constexpr double highestSetpoint = 400.0; ///< K

    void lineOpened() override { longRecord_ = false; }
    double stageTemperature();
    double sampleTemperature();
    double heaterPower() const { return power_; } ///< W

protected:
    void takeByte(char byte) override;
    void advance() override;
    std::optional<Time> answerDue() const override;
    void powerCycle() override;
    void switchOff() override;
    void switchOn() override;

private:
    struct Command
    {
        std::string_view name;
        void (LakeShoreController::*obey)(std::string_view arguments);
    };
    static const std::vector<Command> commonCommands, commands330, commands331;

    void obeyLine(std::string_view line);
    void obeyChain(std::string_view line);
    void obeyOne(std::string_view text);
    void obeyLetters(std::string_view line);
    bool obeyDrcQuery(std::string_view text);
    void obeyLetter(char letter, double value);

    void answer(const char* format, double value);
    void answerLine(std::string text);
    double reading(char channel);
    double inUnit(double kelvin, char unit) const;
    /// The heater range that is told of.
    int toldRange() const;
    double heat(double temperature);
    void reset();
    void useParameters();
    void newSetpoint(double kelvin);
    void setParameter(double& parameter, double value, double highest);
    void setRange(double value);
    void tuneFor(double kelvin);

    // 330 and 331
    void identify(std::string_view);
    void resetCommand(std::string_view) { reset(); }
    void emulate(std::string_view arguments);
    void askEmulation(std::string_view);
    // 330
    void askSample(std::string_view);
    void askControl(std::string_view);
    void askSetpoint(std::string_view);
    void askGain(std::string_view) { answer("%03.0f", readBack(p_)); }
    void askReset(std::string_view) { answer("%03.0f", readBack(i_)); }
    void askRate(std::string_view) { answer("%03.0f", readBack(d_)); }
    void askRange(std::string_view) { answer("%.0f", toldRange()); }
    void askHeat(std::string_view) { answer("%03.0f", output_ * 100.0); }
    void askRamp(std::string_view) { answer("%.0f", rampOn_ != readsBackWrong() ? 1 : 0); }
    void askRampRate(std::string_view) { answer("%05.1f", readBack(rampRate_)); }
    void askRampState(std::string_view) { answer("%.0f", loop_.ramping() ? 1 : 0); }
    void askTune(std::string_view) { answer("%.0f", readsBackWrong() ? (tune_ > 0 ? 0 : 1) : tune_); }
    void askSampleChannel(std::string_view) { answerLine({sampleChannel_}); }
    void askControlChannel(std::string_view) { answerLine({controlChannel_}); }
    void askSampleUnit(std::string_view) { answerLine({sampleUnit_}); }
    void askControlUnit(std::string_view) { answerLine({controlUnit_}); }
    void setSetpoint(std::string_view arguments);
    void setGain(std::string_view arguments);
    void setReset(std::string_view arguments);
    void setRate(std::string_view arguments);
    void setRangeOf330(std::string_view arguments);
    void setRamp(std::string_view arguments);
    void setRampRate(std::string_view arguments);
    void setTune(std::string_view arguments);
    void setSampleChannel(std::string_view arguments);
    void setControlChannel(std::string_view arguments);
    void setSampleUnit(std::string_view arguments);
    void setControlUnit(std::string_view arguments);
    // 331
    void askKelvin(std::string_view arguments);
    void askCelsius(std::string_view arguments);
    void askLoopSetpoint(std::string_view arguments);
    void askPid(std::string_view arguments);
    void askHeater(std::string_view) { answer("%+06.1f", output_ * 100.0); }
    void askLoopRamp(std::string_view arguments);
    void askTuning(std::string_view);
    void askMode(std::string_view arguments);
    void setLoopSetpoint(std::string_view arguments);
    void setPid(std::string_view arguments);
    void setLoopRamp(std::string_view arguments);
    void setMode(std::string_view arguments);

    void regulate();

    const LakeShoreEntry& entry_;
    const std::optional<double> regulatesAt_;
    ThermalModel cryostat_;
    PidLoop loop_;
    std::string partial_;
    std::deque<std::pair<Time, std::string>> lines_; ///< with the time at which each came
    Time free_{0};                                   ///< when the next line can be obeyed
    Time obeying_{0};                                ///< the time of the line that is being obeyed
    double p_ = 50.0, i_ = 20.0, d_ = 0.0;
    double rampRate_ = 0.0; ///< K per minute
    bool rampOn_ = false;
    int range_ = 0;
    int rangeBefore_ = 0; ///< when it was switched off
    int tune_ = 0;        ///< 0 manual, 1 P, 2 PI, 3 PID, 4 zone
    char sampleChannel_ = 'A', controlChannel_ = 'A', sampleUnit_ = 'K', controlUnit_ = 'K';
    bool emulating_;
    bool longRecord_ = false; ///< W3 of the DRC-91CA
    double output_ = 0.0;     ///< 0 to 1
    double power_ = 0.0;
};

} // namespace lab
