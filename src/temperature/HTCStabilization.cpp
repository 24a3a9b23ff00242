// SPDX-License-Identifier: GPL-3.0-or-later

// The time that a sample takes to follow the laser.

#include "core/Flags.h"
#include "core/NumberText.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "temperature/SteadyState.h"
#include "temperature/modHTC.h"
#include "temperature/modTC.h"

#include <memory>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
/// Counted by ticks so that nothing else is held up.
struct Stabilization
{
    Stabilization()
    {
        second.setInterval(1000);
        QObject::connect(&second, &modTools::Timer::tick, &second, [this] {
            --left;
            if (!over())
                show();
            else if (beside)
                end();
        });
    }

    void begin(int seconds)
    {
        left = seconds;
        beside = false;
        second.restart();
        if (!over())
            show();
    }
    bool over() const { return left <= 0 || flags().abort || flags().closing; }
    void show() const { modTC::Show(u"Temperature stabilization delay: "_s + NumberText::General(qint32{left}) + u" seconds..."_s); }
    qint16 end()
    {
        second.setEnabled(false);
        modTC::Show({});
        const bool aborted = flags().abort || flags().closing;
        if (std::exchange(beside, false))
            flags().abort = false;
        operation.reset();
        return aborted ? SteadyState::Aborted : SteadyState::Settled;
    }

    modTools::Timer second{"Stabilization"};
    int left = 0;
    bool beside = false;                  ///< goes on by ticks, and nobody waits for it
    std::unique_ptr<Operation> operation; ///< of one that does
};

Stabilization& stabilization()
{
    static Stabilization theWait;
    return theWait;
}
} // namespace

namespace modHTC {
qint16 HTC_LaserWaitUntilThere(int seconds)
{
    modTools::WriteLog(false, u"HTC_LaserWaitUntilThere("_s + NumberText::General(qint32{seconds}) + u")"_s);
    Stabilization& wait = stabilization();
    wait.begin(seconds);
    if (Operation::isRunning(Operations::temperature) && !Operation::nothingWaits(Operations::temperature)) {
        wait.beside = true;
        return SteadyState::GoesOn;
    }
    modTools::WaitUntil([&wait] { return wait.over(); });
    return wait.end();
}

void resetStabilization()
{
    stabilization().second.setEnabled(false);
    stabilization().beside = false;
    stabilization().operation.reset();
}

bool stabilizesByTicks()
{
    return stabilization().beside;
}

void carryStabilization(std::unique_ptr<Operation> operation)
{
    if (stabilization().beside)
        stabilization().operation = std::move(operation);
}
} // namespace modHTC
