// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is known of the instrument: asked, confirmed, doubtful, unknown; the snapshot, its signal, and what other programs read.

#include "core/FrontPanel.h"
#include "core/Instrument.h"
#include "core/Status.h"
#include "support/ResetProgram.h"
#include "support/TestClock.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QSignalSpy>
#include <QTest>

#include <memory>

using Line = Instrument::Line;
using Power = Instrument::Power;

namespace {
QString ltc()
{
    return QStringLiteral("LTC");
}
} // namespace

class TestInstrument : public QObject
{
    Q_OBJECT

    std::unique_ptr<TestClock> m_clock;

    static void confirmEverything()
    {
        learn([](Instrument& now) {
            now.lineIs(&Instrument::goniometerLine, Line::Up, true);
            now.lineIs(&Instrument::generatorLine, Line::Up, true);
            now.lineIs(&Instrument::temperatureLine, Line::Up, true);
            now.shutterOpen.confirm(true);
            now.axis1Angle.confirm(12.5);
            now.power.confirm(Power::On);
            now.milliampere.confirm(30);
            now.kilovolt.confirm(40);
            Instrument::Controller& controller = now.controllers[ltc()];
            controller.unit = QStringLiteral("K");
            controller.output.confirm(true);
            controller.setpoint.confirm(77);
            controller.temperature.confirm(77.35);
        });
    }

private slots:
    void init()
    {
        resetProgram();
        m_clock = std::make_unique<TestClock>(5000);
    }
    void cleanup() { m_clock.reset(); }

    void atTheStartNothingIsKnown()
    {
        const Known<bool> shutter;
        QVERIFY(!shutter.value && !shutter.asked && !shutter.isConfirmed() && !shutter.likely());
        QVERIFY(instrument() == Instrument{});
        QVERIFY(instrument().goniometerLine == Line::NotOpen && instrument().controllers.isEmpty());
    }

    void whatWasAskedForIsLikelyButNotConfirmed()
    {
        Known<bool> shutter;
        shutter.ask(true);
        QVERIFY(!shutter.value && !shutter.isConfirmed());
        QCOMPARE(shutter.likely(), std::optional(true));
    }

    void aConfirmationHasItsMoment()
    {
        const QDateTime before = wallClock();
        Known<double> angle;
        angle.ask(10);
        m_clock->now = 4294967290; // the counter is about to wrap
        angle.confirm(9.5);
        QVERIFY(angle.isConfirmed());
        QCOMPARE(angle.value, std::optional(9.5)); // what the device says counts, not what it was told
        QVERIFY(!angle.asked);
        QCOMPARE(angle.confirmedAt, quint32(4294967290));
        QVERIFY(angle.confirmedOn >= before && angle.confirmedOn <= wallClock());
        angle.ask(20);
        QCOMPARE(angle.value, std::optional(9.5)); // still what was said last
        QVERIFY(!angle.isConfirmed());
        QCOMPARE(angle.likely(), std::optional(20.0));
    }

    void withoutAnAnswerOnlyWhatWasAskedForIsLeft()
    {
        Known<double> setpoint;
        setpoint.confirm(290);
        setpoint.ask(300);
        setpoint.doubt();
        QVERIFY(!setpoint.value && !setpoint.isConfirmed());
        QCOMPARE(setpoint.likely(), std::optional(300.0));
        setpoint.forget();
        QVERIFY(setpoint == Known<double>{});
    }

    void aChangeIsToldOnceAndNoChangeNever()
    {
        const QSignalSpy told(&instrumentNotifier(), &InstrumentNotifier::changed);
        confirmEverything();
        QCOMPARE(told.size(), 1);
        learn([](Instrument& now) { now.kilovolt.ask(20); });
        QCOMPARE(told.size(), 2);
        learn([](Instrument& now) { now.kilovolt.ask(20); });
        QCOMPARE(told.size(), 2);
        m_clock->now += 1;
        learn([](Instrument& now) { now.milliampere.confirm(30); }); // the same value, known anew
        QCOMPARE(told.size(), 3);
    }

    void itIsResetWhole()
    {
        confirmEverything();
        QVERIFY(!(instrument() == Instrument{}));
        instrument() = Instrument{};
        QVERIFY(!instrument().shutterOpen.value && instrument().controllers.isEmpty());
        QVERIFY(instrument().temperatureLine == Line::NotOpen);
    }

    void aLineTakesWhatHangsOnItAlong_data()
    {
        QTest::addColumn<int>("state");
        QTest::newRow("down") << int(Line::Down);
        QTest::newRow("closed") << int(Line::NotOpen);
        QTest::newRow("simulation") << int(Line::Simulation);
    }
    void aLineTakesWhatHangsOnItAlong()
    {
        QFETCH(int, state);
        const auto falls = [state](Line Instrument::*line) {
            confirmEverything();
            learn([&](Instrument& now) { now.lineIs(line, Line(state)); });
            return instrument();
        };
        const Instrument goniometer = falls(&Instrument::goniometerLine);
        QVERIFY(!goniometer.shutterOpen.likely() && !goniometer.axis1Angle.likely());
        QVERIFY(goniometer.kilovolt.isConfirmed() && goniometer.controllers[ltc()].output.isConfirmed());
        const Instrument generator = falls(&Instrument::generatorLine);
        QVERIFY(!generator.power.likely() && !generator.milliampere.likely() && !generator.kilovolt.likely());
        QVERIFY(generator.shutterOpen.isConfirmed() && generator.controllers[ltc()].setpoint.isConfirmed());
        const Instrument temperature = falls(&Instrument::temperatureLine);
        const Instrument::Controller controller = temperature.controllers[ltc()];
        QVERIFY(!controller.output.likely() && !controller.setpoint.likely() && !controller.temperature.likely());
        QCOMPARE(controller.unit, u"K");
        QVERIFY(temperature.shutterOpen.isConfirmed() && temperature.kilovolt.isConfirmed());
    }

    void aLineThatComesBackBringsNoValueWithIt()
    {
        confirmEverything();
        learn([](Instrument& now) {
            now.lineIs(&Instrument::generatorLine, Line::Down);
            now.lineIs(&Instrument::generatorLine, Line::Up);
        });
        QVERIFY(instrument().generatorLine == Line::Up);
        QVERIFY(!instrument().kilovolt.likely());
    }

    void aControllerOnTheBusDoesNotMindTheLine()
    {
        confirmEverything();
        learn([](Instrument& now) {
            now.controllers[ltc()].onBus = true;
            now.lineIs(&Instrument::temperatureLine, Line::Down);
        });
        QVERIFY(instrument().controllers[ltc()].temperature.isConfirmed());
    }

    void aSimulationLastsUntilTheLineIsOpenedAnew()
    {
        const auto become = [](Line state, bool opened) {
            learn([&](Instrument& now) { now.lineIs(&Instrument::goniometerLine, state, opened); });
            return instrument().goniometerLine;
        };
        QVERIFY(become(Line::Simulation, false) == Line::Simulation);
        QVERIFY(become(Line::Down, false) == Line::Simulation); // its adapter is pulled
        QVERIFY(become(Line::Up, false) == Line::Simulation);   // and plugged in again
        QVERIFY(become(Line::Up, true) == Line::Up);
    }

    // --- for other programs

    void theStatusTellsWhatIsKnown()
    {
        confirmEverything();
        learn([](Instrument& now) {
            now.shutterOpen = {};
            now.shutterOpen.ask(true);
            now.kilovolt.ask(20);
            now.power.doubt();
            now.lineIs(&Instrument::goniometerLine, Line::Up);
        });
        frontPanel().setCaption(QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
        frontPanel().setPanel(4, QStringLiteral("3 of 66 points"));
        frontPanel().setProgress(4);
        const QJsonObject status = statusJson(instrument(), frontPanel(), {QStringLiteral("scan")});
        const auto at = [](const Known<double>& known) { return QJsonValue(known.confirmedOn.toUTC().toString(Qt::ISODate)); };
        QCOMPARE(status["caption"].toString(), QStringLiteral("Scan (4412, Theta-2-Theta, online mode)"));
        QCOMPARE(status["lines"].toObject(), (QJsonObject{{"goniometer", "up"}, {"generator", "up"}, {"temperature", "up"}}));
        QCOMPARE(status["shutterOpen"].toObject(), (QJsonObject{{"value", QJsonValue()}, {"asked", true}}));
        QCOMPARE(status["axis1Angle"].toObject(), (QJsonObject{{"value", 12.5}, {"confirmed", at(instrument().axis1Angle)}}));
        QCOMPARE(status["power"].toObject(), (QJsonObject{{"value", QJsonValue()}}));
        QCOMPARE(status["milliampere"]["value"].toInt(), 30);
        QCOMPARE(status["kilovolt"]["value"].toInt(), 40);
        QCOMPARE(status["kilovolt"]["asked"].toInt(), 20);
        const QJsonObject controller = status["controllers"]["LTC"].toObject();
        QCOMPARE(controller["unit"].toString(), QStringLiteral("K"));
        QCOMPARE(controller["output"]["value"].toBool(), true);
        QCOMPARE(controller["temperature"].toObject(),
                 (QJsonObject{{"value", 77.35}, {"confirmed", at(instrument().controllers[ltc()].temperature)}}));
        QCOMPARE(status["running"].toArray(), QJsonArray{"scan"});
        QCOMPARE(status["progress"].toObject(), (QJsonObject{{"percent", 4}, {"text", "3 of 66 points"}, {"message", ""}}));
        const QString time = status["time"].toString();
        QVERIFY2(time.endsWith(u'Z') && QDateTime::fromString(time, Qt::ISODate).isValid(), qPrintable(time));
    }

    void theStatusTellsAScanThatHasJustBegun()
    {
        frontPanel().setProgress(0);
        const QJsonObject status = statusJson(instrument(), frontPanel(), {});
        QCOMPARE(status["progress"]["percent"], QJsonValue(0));
    }

    void theStatusOfAProgramThatHasJustStartedIsFullOfNulls()
    {
        const QJsonObject status = statusJson(instrument(), frontPanel(), {});
        for (const char* member : {"shutterOpen", "axis1Angle", "power", "milliampere", "kilovolt"})
            QCOMPARE(status[QLatin1String(member)].toObject(), (QJsonObject{{"value", QJsonValue()}}));
        QCOMPARE(status["lines"]["generator"].toString(), QStringLiteral("not open"));
        QCOMPARE(status["controllers"].toObject(), QJsonObject());
        QCOMPARE(status["running"].toArray(), QJsonArray());
        QVERIFY(status["progress"]["percent"].isNull());
    }

    void wordsOfTheStatus_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("power");
        QTest::addColumn<QString>("lineText");
        QTest::addColumn<QString>("powerText");
        QTest::newRow("up, on") << int(Line::Up) << int(Power::On) << QStringLiteral("up") << QStringLiteral("on");
        QTest::newRow("down, idle") << int(Line::Down) << int(Power::Idle) << QStringLiteral("down") << QStringLiteral("idle");
        QTest::newRow("simulation, off") << int(Line::Simulation) << int(Power::Off) << QStringLiteral("simulation")
                                         << QStringLiteral("off");
    }
    void wordsOfTheStatus()
    {
        QFETCH(int, line);
        QFETCH(int, power);
        Instrument now;
        now.goniometerLine = Line(line);
        now.power.confirm(Power(power));
        const QJsonObject status = statusJson(now, frontPanel(), {});
        QTEST(status["lines"]["goniometer"].toString(), "lineText");
        QTEST(status["power"]["value"].toString(), "powerText");
    }
};

QTEST_GUILESS_MAIN(TestInstrument)
#include "tst_instrument.moc"
