// SPDX-License-Identifier: GPL-3.0-or-later

#include "support/ResetProgram.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Notices.h"
#include "core/ScanData.h"
#include "core/ScanParameters.h"
#include "core/modTools.h"

#include "support/Pretend.h"

#include <QRegularExpression>
#include <QTest>

namespace {
int endCalls = 0;
} // namespace

void resetProgram()
{
    // What nobody expected to be said in the log is a failure. The platform without a display says what it cannot do.
    QTest::failOnWarning(QRegularExpression(QStringLiteral("^(?!This plugin does not support)")));
    pretendNothing();
    endCalls = 0;
    modTools::setEndProgramHandler([] { ++endCalls; });
    modTools::state() = modTools::State{};
    flags() = Flags{};
    configuration() = Configuration{};
    scanParameters() = ScanParameters{};
    scanData().clear();
    frontPanel().reset();
    instrument() = Instrument{};
    Notices::reset();
}

int endProgramCalls()
{
    return endCalls;
}
