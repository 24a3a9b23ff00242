// SPDX-License-Identifier: GPL-3.0-or-later
//
// What is known of the three lines: opened, refused, lost, back, closed.

#include "core/Configuration.h"
#include "core/Instrument.h"
#include "serial/modCOM.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPort.h"
#include "support/ScriptedPrompts.h"
#include "support/TestClock.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
using Line = Instrument::Line;

struct Case
{
    Line Instrument::*state;
    SerialChannel& (*channel)();
    bool (*open)();
    const char* lostTitle;
    const char* missingTitle;
};

const Case cases[] = {
    {&Instrument::goniometerLine, modCOM::MCComm, modCOM::OpenMCComm, "SMC", "SMC: Communication Error"},
    {&Instrument::generatorLine, modCOM::GeneratorComm, modCOM::OpenGeneratorComm, "Generator", "Generator: Communication Error"},
    {&Instrument::temperatureLine, modCOM::TCComm, modCOM::OpenTCComm, "TC", "SMC: Communication Error"},
};
} // namespace

class TestLineState : public QObject
{
    Q_OBJECT

    static void rows()
    {
        QTest::addColumn<int>("index");
        QTest::newRow("goniometer") << 0;
        QTest::newRow("generator") << 1;
        QTest::newRow("temperature") << 2;
    }
    /// The states of the lines that are not meant.
    static bool othersAreNotOpen(const Case& meant)
    {
        return std::all_of(std::begin(cases), std::end(cases),
                           [&meant](const Case& one) { return one.state == meant.state || instrument().*one.state == Line::NotOpen; });
    }

private slots:
    void init()
    {
        resetProgram();
        modCOM::reset();
        configuration().smc.settings = configuration().generator.line.settings = configuration().ltc.line.settings = u"9600,n,8,1"_s;
    }
    void cleanup() { modCOM::reset(); }

    void aLineIsUpDownAndUpAgain_data() { rows(); }
    void aLineIsUpDownAndUpAgain()
    {
        QFETCH(int, index);
        const Case& line = cases[index];
        TestClock clock;
        ScriptedPrompts boxes;
        ScriptedDevice device;
        QVERIFY(instrument().*line.state == Line::NotOpen);
        device.plugInto(line.channel());
        QVERIFY(line.open());
        QVERIFY(instrument().*line.state == Line::Up);
        boxes.expect(QString::fromLatin1(line.lostTitle), QString());
        device.hangUp();
        QVERIFY(instrument().*line.state == Line::Down);
        clock.advance(10);
        device.plugBack();
        clock.advance(2000);
        QVERIFY(instrument().*line.state == Line::Up);
        QVERIFY(othersAreNotOpen(line));
        modCOM::close();
        QVERIFY(instrument().*line.state == Line::NotOpen);
        QVERIFY(boxes.allShown());
    }

    void aLineThatCannotBeOpenedIsDown_data() { rows(); }
    void aLineThatCannotBeOpenedIsDown()
    {
        QFETCH(int, index);
        const Case& line = cases[index];
        ScriptedPrompts boxes;
        boxes.expect(QString::fromLatin1(line.missingTitle), QString());
        line.channel().setDeviceSource([]() -> std::unique_ptr<QIODevice> { return nullptr; });
        QVERIFY(!line.open());
        QVERIFY(instrument().*line.state == Line::Down);
        QVERIFY(othersAreNotOpen(line));
        QVERIFY(boxes.allShown());
    }
};

QTEST_GUILESS_MAIN(TestLineState)
#include "tst_linestate.moc"
