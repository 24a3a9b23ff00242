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
#include <QTimer>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <utility>

using namespace Qt::StringLiterals;

namespace {
constexpr int lookInterval = 100;     // ms
constexpr quint32 stopAgain = 5000;   // ms
constexpr quint32 askAgain = 1000;    // ms
constexpr quint32 heldTooLong = 3000; // ms, more than a reply takes
const QString lineIsDown = u"the line is down; whether it is off is not known"_s;

/// One item and how it is switched off.
struct Device
{
    SerialChannel* line = nullptr; ///< null: on the bus
    std::function<bool(QString* said)> attempt;
    quint32 nextAt = 0; ///< timeGetTime() of the next attempt [ms]
    quint32 freeAt = 0; ///< when the line was last seen free [ms]
};

bool onSerialLine(const Temperature::Controller& row)
{
    return row.onSerialLine == nullptr || row.onSerialLine();
}

/// "Q;" was sent at `sentAt` [ms of timeGetTime()], and is sent again when it had no effect.
bool stopMotion(QString* said, quint32* sentAt)
{
    const std::optional<qint16> status = modSMC::AskStatus(modSMC::silent);
    if (status && (*status & modSMC::idleBit) != 0) {
        *said = u"stopped, confirmed"_s;
        return true;
    }
    *said = status ? u"stop sent, but the controller is still busy"_s : u"stop sent, but the controller does not answer"_s;
    if (modTools::timeGetTime() - *sentAt >= stopAgain) {
        *sentAt = modTools::timeGetTime();
        modSMC::SMCSend(u"Q;"_s);
    }
    return false;
}

bool closeShutter(QString* said)
{
    if (!modGenerator::SwitchShutter(false)) {
        *said = lineIsDown;
        return false;
    }
    // It gives no reply itself: that the line has carried the command shows in the next answer of its controller.
    const quint32 losses = modCOM::MCComm().losses();
    const bool answers = modSMC::AskStatus(modSMC::silent).has_value() && modCOM::MCComm().losses() == losses;
    *said = answers ? u"closed, sent (it gives no reply)"_s : u"closed, sent, but the controller does not answer"_s;
    return answers;
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

bool allDone(const QList<AllOff::Item>& items)
{
    return std::all_of(items.cbegin(), items.cend(), [](const AllOff::Item& item) { return item.done; });
}

QString linesOf(const QList<AllOff::Item>& items)
{
    QStringList lines;
    for (const AllOff::Item& item : items)
        lines += item.what + u": "_s + item.said;
    return lines.isEmpty() ? u"There is nothing to switch off."_s : lines.join(u"\r\n"_s);
}

/// It goes on by ticks, so that whoever waits below is not held up and can end. Several can go on at once: one output is switched off, and
/// then everything.
class Session : public std::enable_shared_from_this<Session>
{
public:
    using WhenEnded = std::function<void(const QList<AllOff::Item>& items)>;

    /// `told` from the event loop, with nothing of this session left on the stack.
    Session(double seconds, WhenEnded told) : m_told(std::move(told)), m_end(modTools::timeGetTime() + static_cast<quint32>(seconds * 1000))
    {
        m_ticks.setInterval(lookInterval);
        QObject::connect(&m_ticks, &modTools::Timer::tick, &m_ticks, [this] { look(); });
    }

    bool isRunning() const { return m_running; }
    /// Within an attempt: whoever waits for its end above that would wait for ever.
    bool isLooking() const { return m_looking; }
    /// Another one takes over.
    void giveUp()
    {
        m_ticks.setEnabled(false);
        m_running = false;
    }
    const QList<AllOff::Item>& items() const { return m_items; }

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
            // Counts that are being read are a scan that has ended: nothing moves, and they are not to be lost.
            if (!Exchange::isBarred(modCOM::MCComm()))
                modSMC::AbandonQuery();
            GoniometerUtilities::Stop();
            m_stopSentAt = modTools::timeGetTime();
            add(u"Motion"_s, &modCOM::MCComm(), [this](QString* said) { return stopMotion(said, &m_stopSentAt); });
            if (flags().shutterRemote)
                add(u"X-ray shutter"_s, &modCOM::MCComm(), closeShutter);
        } else {
            m_items += {u"Motion and X-ray shutter"_s, u"simulation, nothing was sent"_s, false};
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
            if (m_items[i].what == u"X-ray shutter"_s)
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
        m_items += {what, lineIsDown, false};
        m_devices += Device{line, std::move(attempt), modTools::timeGetTime(), modTools::timeGetTime()};
    }

    void attempt(qsizetype i)
    {
        QString said;
        const bool done = m_devices[i].attempt(&said);
        m_devices[i].nextAt = modTools::timeGetTime() + askAgain;
        m_items[i].done = done;
        m_items[i].said = said;
    }

    bool goesOn() const { return m_running && !flags().closing && static_cast<qint32>(modTools::timeGetTime() - m_end) < 0; }
    bool isPending(qsizetype i) const { return m_devices[i].attempt && !m_items[i].done; }

    /// Nobody else talks on the line of this device. Whoever waits for a reply below this procedure cannot go on before it returns: after a
    /// while the line is taken from him.
    bool lineIsFree(Device& device) const
    {
        const SerialChannel& line = device.line != nullptr ? *device.line : modCOM::TCComm(); // it stands for the bus
        if (Exchange::underWay(line) && !Exchange::isBarred(line) && modTools::timeGetTime() - device.freeAt >= heldTooLong)
            Exchange::abandon(line);
        if (Exchange::underWay(line))
            return false;
        device.freeAt = modTools::timeGetTime();
        return true;
    }

    void look()
    {
        if (m_looking)
            return;
        m_looking = true;
        bool pending = false;
        for (qsizetype i = 0; i < m_devices.size() && goesOn(); ++i) {
            if (!isPending(i))
                continue;
            Device& device = m_devices[i];
            if (device.line != nullptr && !device.line->isOpen())
                m_items[i].said = lineIsDown;
            else if (lineIsFree(device) && static_cast<qint32>(modTools::timeGetTime() - device.nextAt) >= 0)
                attempt(i);
            pending = pending || isPending(i);
        }
        m_looking = false;
        if (!pending || !goesOn())
            end();
    }

    void end()
    {
        m_ticks.setEnabled(false);
        if (!std::exchange(m_running, false))
            return;
        modTools::WriteLog(true, u"All Off: "_s + linesOf(m_items).replace(u"\r\n"_s, u"; "_s));
        QTimer::singleShot(0, &m_ticks, [weak = weak_from_this()] {
            if (const std::shared_ptr<Session> self = weak.lock(); self && self->m_told)
                self->m_told(self->m_items);
        });
    }

    QList<AllOff::Item> m_items;
    QList<Device> m_devices; ///< of the items, one each
    WhenEnded m_told;
    modTools::Timer m_ticks{"AllOffTimer"};
    quint32 m_end;
    quint32 m_stopSentAt = 0;
    bool m_looking = false;
    bool m_running = true;
};

struct Sessions
{
    std::shared_ptr<Session> whole;            ///< of everything: the present one, or the last
    QList<std::shared_ptr<Session>> ofOutputs; ///< of one output each
    QList<std::shared_ptr<Session>> givenUp;   ///< on the stack below one that waits for its own end
};

Sessions& sessions()
{
    static Sessions theSessions;
    return theSessions;
}

bool wholeIsRunning()
{
    return sessions().whole && sessions().whole->isRunning();
}

/// It may be over when this returns.
void beginWhole(double seconds, Session::WhenEnded told = {})
{
    const auto session = std::make_shared<Session>(seconds, std::move(told));
    sessions().whole = session;
    session->begin();
}
} // namespace

namespace AllOff {
bool isRunning()
{
    return wholeIsRunning() || !sessions().ofOutputs.isEmpty();
}

QList<Item> items()
{
    return sessions().whole ? sessions().whole->items() : QList<Item>();
}

void reset()
{
    sessions() = Sessions{};
}

void Begin(double seconds)
{
    if (wholeIsRunning())
        sessions().whole->endWithin(seconds);
    else
        beginWhole(seconds);
}

bool Run(double seconds)
{
    if (wholeIsRunning() && sessions().whole->isLooking()) {
        sessions().whole->giveUp();
        sessions().givenUp += sessions().whole;
    }
    Begin(seconds);
    const std::shared_ptr<Session> session = sessions().whole;
    modTools::WaitUntil([&session] { return !session->isRunning(); });
    return done();
}

bool done()
{
    return allDone(items());
}

QString report()
{
    return linesOf(items());
}

void SwitchOff(Menu::Entry entry)
{
    const auto session = std::make_shared<Session>(patience, [](const QList<Item>& items) {
        sessions().ofOutputs.removeIf([](const std::shared_ptr<Session>& one) { return !one->isRunning(); });
        frontPanel().setPanel(1, linesOf(items));
        if (!allDone(items) && !flags().closing)
            showMessage(u"Switch off"_s, linesOf(items), Prompts::Icon::Critical);
    });
    sessions().ofOutputs += session;
    session->begin(entry);
}

void mnuExtrasAllOff()
{
    if (wholeIsRunning())
        return;
    frontPanel().setPanel(1, u"Switching everything off..."_s);
    beginWhole(patience, [](const QList<Item>& items) {
        frontPanel().setPanel(1, allDone(items) ? u"Everything is switched off"_s : u"Not everything could be switched off"_s);
        if (!flags().closing)
            showMessage(u"All Off"_s, linesOf(items), allDone(items) ? Prompts::Icon::Information : Prompts::Icon::Critical);
    });
}

QStringList stillOn()
{
    QStringList names;
    const auto add = [&names](const QString& what, std::optional<bool> likely, bool mayBeOn) {
        if (mayBeOn)
            names += likely.value_or(false) ? what : what + u" (not known)"_s;
    };
    const Instrument& now = instrument();
    if (flags().smcOnline) // the shutter gives no reply: sent is the best it has
        add(u"X-ray shutter"_s, now.shutterOpen.likely(), now.shutterOpen.likely().value_or(flags().shutterOpen));
    for (const Temperature::Controller& row : std::as_const(Temperature::controllers())) {
        if (!now.controllers.contains(row.name))
            continue;
        const Instrument::Controller own = now.controllers.value(row.name);
        add(row.outputName, own.output.likely(), now.mayBeOn(row.name));
    }
    return names;
}
} // namespace AllOff
