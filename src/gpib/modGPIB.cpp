// SPDX-License-Identifier: GPL-3.0-or-later

#include "gpib/modGPIB.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/NumberText.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "gpib/GPIBLibrary.h"

#include <array>
#include <memory>

using namespace Qt::StringLiterals;

namespace {
constexpr qint16 sicl = 0;
constexpr qint16 ni488 = 1;

constexpr long errorBit = 0x8000;
constexpr long timeoutBit = 0x4000;
constexpr int siclTimedOut = 15;
constexpr int timeout100ms = 9;
constexpr long siclTimeout = 1000; // ms
constexpr qsizetype siclBuffer = 2048;
constexpr int niBuffer = 32000;
constexpr qsizetype longestErrorText = 60;

struct Libraries
{
    std::unique_ptr<GPIBLibrary::NI488> ni;
    std::unique_ptr<GPIBLibrary::SICL> sicl;
};

Libraries& libraries()
{
    static Libraries theLibraries;
    return theLibraries;
}

/// Keeps the error of the SICL call just made; true when there was none.
bool siclDone()
{
    modGPIB::State& bus = modGPIB::state();
    bus.error = ProgramError{};
    const int number = libraries().sicl->igeterrno();
    if (number == 0)
        return true;
    bus.error.number = number;
    bus.error.description = QString::fromLatin1(libraries().sicl->igeterrstr(number)).left(longestErrorText);
    modTools::WriteLog(false, "GPIB: error "_L1 + NumberText::General(number) + ": "_L1 + bus.error.description);
    return false;
}

void readNiStatus()
{
    modGPIB::State& bus = modGPIB::state();
    const GPIBLibrary::NI488& ni = *libraries().ni;
    bus.ibsta = ni.ThreadIbsta();
    bus.iberr = ni.ThreadIberr();
    bus.ibcnt = ni.ThreadIbcnt();
    bus.ibcntl = ni.ThreadIbcntl != nullptr ? ni.ThreadIbcntl() : bus.ibcnt;
}

/// What is wrong with the bus after a write or a read; `timedOut`: nothing came in time.
void noteFault(bool failed, bool timedOut, const QString& what)
{
    modGPIB::state().fault = failed && !timedOut ? "Bus fault: "_L1 + what : QString();
    if (failed && !timedOut)
        modTools::WriteLog(false, modGPIB::state().fault);
}

void noteNiFault(bool reading)
{
    const modGPIB::State& bus = modGPIB::state();
    noteFault((bus.ibsta & errorBit) != 0, reading && (bus.ibsta & timeoutBit) != 0,
              "ibsta 0x"_L1 + QString::number(bus.ibsta & 0xFFFF, 16) + ", iberr "_L1 + NumberText::General(qint64{bus.iberr}));
}

void noteSiclFault(bool reading)
{
    const ProgramError& error = modGPIB::state().error;
    noteFault(bool(error), reading && error.number == siclTimedOut,
              "error "_L1 + NumberText::General(qint32{error.number}) + ", "_L1 + error.description);
}

ProgramError initSicl()
{
    modGPIB::State& bus = modGPIB::state();
    auto library = std::make_unique<GPIBLibrary::SICL>();
    QString why;
    if (!library->load(bus.siclNames.isEmpty() ? GPIBLibrary::siclNames() : bus.siclNames, &why)) {
        modTools::WriteLog(false, "GPIB: "_L1 + why);
        bus.error = ProgramError::of(ProgramError::FileNotFound);
        return bus.error;
    }
    libraries().sicl = std::move(library);
    QByteArray address = (bus.SICLInterfaceName + ","_L1 + NumberText::General(qint32{bus.GPIBDeviceAddress})).toLatin1();
    bus.device = libraries().sicl->iopen(address.data());
    if (siclDone()) {
        libraries().sicl->itimeout(bus.device, siclTimeout);
        siclDone();
    }
    return bus.error;
}

void endWithoutNi()
{
    Prompts::Message message;
    message.title = u"GPIBInit()"_s;
    message.text = u"National Instruments GPIB Interface not available..."_s;
    message.buttons = Prompts::Buttons::OkCancel;
    prompts().message(message);
    modTools::EndProgram();
}

void initNi()
{
    modGPIB::State& bus = modGPIB::state();
    auto library = std::make_unique<GPIBLibrary::NI488>();
    QString why;
    if (!library->load(bus.niNames.isEmpty() ? GPIBLibrary::niNames() : bus.niNames, &why)) {
        modTools::WriteLog(false, "GPIB: "_L1 + why);
        bus.ibsta = errorBit;
        endWithoutNi();
        return;
    }
    libraries().ni = std::move(library);
    bus.device = libraries().ni->ibdev(0, bus.GPIBDeviceAddress, 0, timeout100ms, 1, 0);
    // The device is tested before the status words are registered: intended.
    readNiStatus();
    if ((bus.ibsta & errorBit) != 0) {
        endWithoutNi();
        return;
    }
    if (libraries().ni->RegisterGpibGlobalsForThread == nullptr)
        return;
    const int result = libraries().ni->RegisterGpibGlobalsForThread(&bus.ibsta, &bus.iberr, &bus.ibcnt, &bus.ibcntl);
    if (result != 0)
        showMessage({}, "RegisterGpibGlobalsForThread() failed! Return value:"_L1 + NumberText::Print(qint32{result}));
}

QString siclResponse()
{
    std::array<char, siclBuffer + 1> buffer{};
    const QByteArray wholeLine = ("%"_L1 + NumberText::General(qint64{siclBuffer}) + "t"_L1).toLatin1(); // as much as the buffer holds
    libraries().sicl->iscanf(modGPIB::state().device, wholeLine.constData(), buffer.data());
    const bool done = siclDone();
    noteSiclFault(true);
    if (!done)
        return {};
    QString reply = QString::fromLatin1(buffer.data());
    for (const QChar end : {u'\r', u'\n'}) {
        const qsizetype at = reply.indexOf(end);
        if (at >= 0)
            reply.truncate(at);
    }
    return reply;
}

QString niResponse()
{
    modTools::Delay(configuration().ltc.line.rxDelay, true);
    if (flags().closing)
        return {};
    QByteArray buffer(niBuffer, ' ');
    libraries().ni->ibrd(modGPIB::state().device, buffer.data(), niBuffer);
    readNiStatus();
    noteNiFault(true);
    const long count = modGPIB::state().ibcntl;
    if (count < 3 || count > niBuffer)
        return {};
    return QString::fromLatin1(buffer.first(static_cast<qsizetype>(count) - 2)).trimmed();
}
} // namespace

namespace modGPIB {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    libraries() = Libraries{};
    state() = State{};
}

qint16 typeOf(const QString& text)
{
    return text == "hp"_L1 ? sicl : ni488;
}

ProgramError GPIBInit()
{
    State& bus = state();
    bus.GPIBType = typeOf(configuration().ltc.gpibType);
    bus.GPIBDeviceAddress = static_cast<qint16>(configuration().ltc.gpibDeviceAddress);
    bus.SICLInterfaceName = configuration().ltc.siclInterfaceName;
    bus.error = ProgramError{};
    if (bus.GPIBType == sicl)
        return initSicl();
    initNi();
    return {};
}

qint16 GPIBOutput(const QString& command)
{
    const QByteArray line = command.toLatin1() + "\r\n";
    if (state().GPIBType == sicl && libraries().sicl) {
        // The line itself is the format: a "%" in it would be interpreted. No command of this program holds one.
        libraries().sicl->iprintf(state().device, line.constData());
        siclDone();
        noteSiclFault(false);
    } else if (state().GPIBType == ni488 && libraries().ni) {
        libraries().ni->ibwrt(state().device, line.constData(), line.size());
        readNiStatus();
        noteNiFault(false);
    }
    return 0;
}

QString Fault()
{
    return state().fault;
}

QString GPIBGetResponse()
{
    QString reply;
    if (state().GPIBType == sicl && libraries().sicl)
        reply = siclResponse();
    else if (state().GPIBType == ni488 && libraries().ni)
        reply = niResponse();
    if (flags().showCommunication)
        frontPanel().setPanel(3, "LTC response: "_L1 + reply);
    return reply;
}
} // namespace modGPIB
