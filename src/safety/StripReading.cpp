// SPDX-License-Identifier: GPL-3.0-or-later

#include "safety/StripReading.h"

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/Operation.h"
#include "core/modTools.h"
#include "generator/modGenerator.h"
#include "serial/Exchange.h"
#include "serial/modCOM.h"
#include "temperature/Controller.h"

#include <QList>
#include <QString>

#include <limits>

namespace {
constexpr int betweenQuestions = 250; // ms between two questions, and until one that was put off is tried again

struct Question
{
    QString controller;
    bool onSerialLine;
    bool (*ask)();
};

struct Round
{
    modTools::Timer interval{"StripInterval"};
    modTools::Timer next{"StripReading"};
    QList<Question> left;
    bool reading = false;
};
Round& theRound()
{
    static Round instance;
    return instance;
}

void askGenerator()
{
    if (flags().generatorRemote && modCOM::GeneratorComm().isOpen() && Operation::free(Resource::GeneratorLine))
        modGenerator::ReadByTicks();
}

/// What can be asked of the controllers that are in use.
QList<Question> questions()
{
    QList<Question> all;
    for (const Temperature::Controller& row : std::as_const(Temperature::controllers()))
        for (const auto& reading : row.readings)
            if (row.inUse())
                all += {row.name, row.onSerialLine == nullptr || row.onSerialLine(), reading};
    return all;
}

bool heldBySomebody(const Question& question)
{
    return flags().closing || !Operation::free(Resource::TemperatureLine) || (question.onSerialLine && !modCOM::TCComm().isOpen());
}

void askNext()
{
    Round& round = theRound();
    round.next.setEnabled(false);
    if (round.left.isEmpty() || round.reading)
        return;
    if (heldBySomebody(round.left.first())) {
        round.left.clear();
        return;
    }
    // A reply that is awaited on the goniometer's line would wait for this one.
    if (!Exchange::underWay(modCOM::TCComm()) && !Exchange::isBarred(modCOM::MCComm()) && !modCOM::smcReception().waiting) {
        const Question question = round.left.takeFirst();
        round.reading = true;
        const bool answered = question.ask();
        round.reading = false;
        if (!answered)
            round.left.removeIf([&question](const Question& other) { return other.controller == question.controller; });
        emit StripReading::notifier().readingEnded();
    }
    round.next.setEnabled(!round.left.isEmpty());
}

void begin()
{
    if (flags().closing)
        return;
    askGenerator();
    if (theRound().left.isEmpty())
        theRound().left = questions();
    askNext();
}
} // namespace

namespace StripReading {
void Start()
{
    Stop();
    const double seconds = configuration().general.stripInterval;
    if (seconds <= 0)
        return;
    static const auto begins = QObject::connect(&theRound().interval, &modTools::Timer::tick, &theRound().interval, [] { begin(); });
    static const auto goesOn = QObject::connect(&theRound().next, &modTools::Timer::tick, &theRound().next, [] { askNext(); });
    Q_UNUSED(begins)
    Q_UNUSED(goesOn)
    theRound().interval.setInterval(static_cast<int>(qMin(seconds * 1000, double{std::numeric_limits<int>::max()})));
    theRound().next.setInterval(betweenQuestions);
    theRound().interval.setEnabled(true);
}

void Stop()
{
    theRound().interval.setEnabled(false);
    theRound().next.setEnabled(false);
    theRound().left.clear();
}

bool isReading()
{
    return theRound().reading;
}

void reset()
{
    Stop();
    theRound().reading = false;
}

Notifier& notifier()
{
    static Notifier theNotifier;
    return theNotifier;
}
} // namespace StripReading
