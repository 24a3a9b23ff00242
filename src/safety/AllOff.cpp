// SPDX-License-Identifier: GPL-3.0-or-later

#include "safety/AllOff.h"

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Operation.h"
#include "core/Prompts.h"
#include "core/modTools.h"
#include "generator/modGenerator.h"
#include "goniometer/Utilities.h"
#include "goniometer/modSMC.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"
#include "temperature/modTC.h"

#include <QStringList>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr int lookInterval = 100;   // ms
constexpr quint32 stopAgain = 5000; // ms
constexpr quint32 askAgain = 1000;  // ms
const QString lineIsDown = u"the line is down; whether it is off is not known"_s;

/// One item and how it is switched off.
struct Device
{
    SerialChannel* line = nullptr; ///< null: on the bus
    std::function<bool(QString* said)> attempt;
    quint32 nextAt = 0; ///< timeGetTime() of the next attempt [ms]
};

bool onSerialLine(const Temperature::Controller& row)
{
    return row.onSerialLine == nullptr || row.onSerialLine();
}

bool stopMotion(QString* said)
{
    static quint32 sentAt = 0;
    const std::optional<qint16> status = modSMC::AskStatus(modSMC::silent);
    if (status && (*status & modSMC::idleBit) != 0) {
        *said = u"stopped, confirmed"_s;
        return true;
    }
    *said = status ? u"stop sent, but the controller is still busy"_s : u"stop sent, but the controller does not answer"_s;
    if (modTools::timeGetTime() - sentAt >= stopAgain) {
        sentAt = modTools::timeGetTime();
        modSMC::SMCSend(u"Q;"_s);
    }
    return false;
}

bool closeShutter(QString* said)
{
    const bool sent = modGenerator::SwitchShutter(false);
    *said = sent ? u"closed, sent (it gives no reply)"_s : lineIsDown;
    return sent;
}

/// Also one that was not there at the start: it may have come back with its heater on.
bool switchOff(const Temperature::Controller& row, QString* said)
{
    const bool inUse = std::exchange(row.enabled(), true);
    const Temperature::Off result = row.switchOff();
    *said = result.said;
    if (!inUse)
        row.enabled() = false;
    return result.confirmed;
}

/// It goes on by ticks, so that whoever waits below is not held up and can end.
class Session
{
public:
    explicit Session(double seconds) : m_end(modTools::timeGetTime() + static_cast<quint32>(seconds * 1000))
    {
        m_ticks.setInterval(lookInterval);
        QObject::connect(&m_ticks, &modTools::Timer::tick, &m_ticks, [this] { look(); });
    }

    /// Somebody has less time.
    void endWithin(double seconds)
    {
        const quint32 end = modTools::timeGetTime() + static_cast<quint32>(seconds * 1000);
        if (static_cast<qint32>(end - m_end) < 0)
            m_end = end;
    }

    void begin(Menu::Entry entry)
    {
        for (const Temperature::Controller& row : std::as_const(Temperature::controllers()))
            if (row.outputEntry == entry)
                add(row);
        start();
    }

    void begin()
    {
        if (flags().smcOnline) {
            modSMC::AbandonQuery();
            GoniometerUtilities::Stop();
            add(u"Motion"_s, &modCOM::MCComm(), stopMotion);
            if (flags().shutterRemote)
                add(u"X-ray shutter"_s, &modCOM::MCComm(), closeShutter);
        } else {
            AllOff::state().items += {u"Motion and X-ray shutter"_s, u"simulation, nothing was sent"_s, false};
            m_devices += Device{};
        }
        if (Operation::isRunning(Operations::profile) || Operation::isRunning(Operations::temperature))
            flags().abort = true;
        for (const Temperature::Controller& row : std::as_const(Temperature::controllers())) {
            if (!row.inUse() && !Temperature::state().wanted.contains(row.name))
                continue;
            add(row);
        }
        // The shutter first: nothing has to answer for it.
        for (qsizetype i = 0; i < m_devices.size(); ++i)
            if (AllOff::state().items[i].what == u"X-ray shutter"_s)
                attempt(i);
        start();
    }

private:
    void start()
    {
        m_ticks.setEnabled(true);
        look();
    }

    void add(const Temperature::Controller& row)
    {
        SerialChannel* line = onSerialLine(row) ? &modCOM::TCComm() : nullptr;
        add(row.outputName, line, [&row](QString* said) { return switchOff(row, said); });
    }

    void add(const QString& what, SerialChannel* line, std::function<bool(QString*)> attempt)
    {
        AllOff::state().items += {what, lineIsDown, false};
        m_devices += Device{line, std::move(attempt), 0};
    }

    void attempt(qsizetype i)
    {
        QString said;
        const bool done = m_devices[i].attempt(&said);
        m_devices[i].nextAt = modTools::timeGetTime() + askAgain;
        AllOff::state().items[i].done = done;
        AllOff::state().items[i].said = said;
    }

    bool isPending(qsizetype i) const { return m_devices[i].attempt && !AllOff::state().items[i].done; }

    void look()
    {
        if (m_looking)
            return;
        m_looking = true;
        bool pending = false;
        for (qsizetype i = 0; i < m_devices.size() && !flags().closing; ++i) {
            if (!isPending(i))
                continue;
            const SerialChannel* line = m_devices[i].line;
            const bool down = line != nullptr && !line->isOpen();
            if (down)
                AllOff::state().items[i].said = lineIsDown;
            else if (!Exchange::underWay(line != nullptr ? *line : modCOM::TCComm()) &&
                     static_cast<qint32>(modTools::timeGetTime() - m_devices[i].nextAt) >= 0)
                attempt(i);
            pending = pending || isPending(i);
        }
        m_looking = false;
        if (!pending || flags().closing || static_cast<qint32>(modTools::timeGetTime() - m_end) >= 0)
            end();
    }

    void end()
    {
        m_ticks.setEnabled(false);
        if (!std::exchange(AllOff::state().running, false))
            return;
        modTools::WriteLog(true, u"All Off: "_s + AllOff::report().replace(u"\r\n"_s, u"; "_s));
        emit AllOff::notifier().ended();
    }

    QList<Device> m_devices;
    modTools::Timer m_ticks{"AllOffTimer"};
    quint32 m_end;
    bool m_looking = false;
};

/// The present one and those before it: one may be begun within an attempt of another.
QList<std::shared_ptr<Session>>& sessions()
{
    static QList<std::shared_ptr<Session>> theSessions;
    return theSessions;
}
} // namespace

namespace AllOff {
State& state()
{
    static State theState;
    return theState;
}

void reset()
{
    sessions().clear();
    state() = State{};
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}

void Begin(double seconds)
{
    if (state().running) {
        sessions().first()->endWithin(seconds);
        return;
    }
    state() = State{true, {}};
    sessions() = {std::make_shared<Session>(seconds)};
    sessions().first()->begin();
}

bool Run(double seconds)
{
    Begin(seconds);
    modTools::WaitUntil([] { return !state().running; });
    return done();
}

bool done()
{
    return std::all_of(state().items.cbegin(), state().items.cend(), [](const Item& item) { return item.done; });
}

QString report()
{
    QStringList lines;
    for (const Item& item : std::as_const(state().items))
        lines += item.what + u": "_s + item.said;
    return lines.isEmpty() ? u"There is nothing to switch off."_s : lines.join(u"\r\n"_s);
}

void SwitchOff(Menu::Entry entry)
{
    if (state().running) // it is among them
        return;
    QObject::connect(
        &notifier(), &Notifier::ended, &notifier(),
        [] {
            frontPanel().setPanel(1, report());
            if (!done() && !flags().closing)
                showMessage(u"Switch off"_s, report(), Prompts::Icon::Critical);
        },
        Qt::SingleShotConnection);
    state() = State{true, {}};
    sessions() = {std::make_shared<Session>(patience)};
    sessions().first()->begin(entry);
}

void mnuExtrasAllOff()
{
    if (state().running)
        return;
    frontPanel().setPanel(1, u"Switching everything off..."_s);
    QObject::connect(
        &notifier(), &Notifier::ended, &notifier(),
        [] {
            frontPanel().setPanel(1, done() ? u"Everything is switched off"_s : u"Not everything could be switched off"_s);
            if (!flags().closing)
                showMessage(u"All Off"_s, report(), done() ? Prompts::Icon::Information : Prompts::Icon::Critical);
        },
        Qt::SingleShotConnection);
    Begin();
}

QStringList stillOn()
{
    QStringList names;
    const auto add = [&names](const QString& what, const Known<bool>& output, bool switchedOn) {
        if (output.likely().value_or(switchedOn))
            names += output.likely() ? what : what + u" (not known)"_s;
    };
    const Instrument& now = instrument();
    if (flags().smcOnline)
        add(u"X-ray shutter"_s, now.shutterOpen, flags().shutterOpen);
    for (const Temperature::Controller& row : std::as_const(Temperature::controllers())) {
        if (!now.controllers.contains(row.name))
            continue;
        const Instrument::Controller own = now.controllers.value(row.name);
        add(row.outputName, own.output, now.switchedOn.contains(row.name));
    }
    return names;
}
} // namespace AllOff
