// SPDX-License-Identifier: GPL-3.0-or-later
//
// A temperature controller that src/ does not know: its row is all that a profile run, the editor and the check need.

#include "core/ScanParameters.h"
#include "profile/ProfileEdit.h"
#include "profile/ProfileLab.h"
#include "temperature/Blower.h"

using namespace Qt::StringLiterals;
using namespace profilelab;

namespace {
/// The laboratory with a blower on the line, before the other controllers.
struct BlowerLaboratory : Laboratory
{
    BlowerLaboratory() : Laboratory(Heater::HTC)
    {
        Temperature::controllers().prepend(Blower::controller());
        Blower::state().enabled = true;
        flags().ltcEnabled = flags().laserEnabled = true;
        temperature = 25;
        tc.clearRules();
        tc.answerBy([this](const QByteArray& line) -> QList<ScriptedDevice::Chunk> {
            if (!line.endsWith('\r') || silent)
                return {};
            if (line.startsWith("SP ") && !refusing)
                temperature = line.mid(3).chopped(1).toDouble();
            if (line == "T?\r")
                return {{QByteArray::number(temperature + offset, 'f', 1) + "\r\n"}};
            return {{refusing ? "NO\r\n" : "OK\r\n"}};
        });
    }
    ~BlowerLaboratory()
    {
        Temperature::state() = Temperature::State{};
        Blower::state() = Blower::State{};
    }
    Q_DISABLE_COPY_MOVE(BlowerLaboratory)

    /// What was sent besides the questions for the temperature.
    QByteArrayList sent() const
    {
        QByteArrayList all;
        for (const QByteArray& line : tc.writes())
            if (line != "T?\r")
                all << line.chopped(1);
        return all;
    }
};
} // namespace

class tst_fourthcontroller : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup()
    {
        modTC::reset();
        modCOM::reset();
    }

    void aRunSetsWaitsReadsMeasuresAndGoesBack()
    {
        BlowerLaboratory lab;
        lab.offset = 0.3;
        lab.profile({u"T1:100.5;T2:200.5;DT:100;R:7;DW:2;"_s});
        QVERIFY(lab.run());
        QVERIFY(lab.boxes.allShown());
        // Nothing of another controller's language, although all of them are in use.
        QCOMPARE(lab.sent(), (QByteArrayList{"RA 7", "SP 100.5", "RA 7", "SP 200.5", "RA 0", "SP 30"}));
        QCOMPARE(lab.scans(), (QStringList{u"Quartz_100.8.sdf"_s, u"Quartz_200.8.sdf"_s}));
        QVERIFY2(
            lab.report().contains("setpoint 100.5 °C  read 100.8 °C  mean 100.800  scatter 0.000  counter time 1 s  maximum 40 counts"),
            lab.report().constData());
        QVERIFY(lab.panel3.contains(u"Blower: Waiting for steady state..."_s));
        QVERIFY(!lab.stateFile());
    }

    void aBlowerThatRefusesTheWayBackIsNamed()
    {
        BlowerLaboratory lab;
        lab.profile({u"T1:100;"_s});
        lab.smc.onCommand = [&](const QString& command) { lab.refusing = lab.refusing || command == u"?CNT;"_s; };
        QVERIFY(lab.run());
        QVERIFY2(lab.report().contains("The hot-air blower was not set back: it keeps the setpoint of the last step!"),
                 lab.report().constData());
        QCOMPARE(lab.sent().count("RA 0"), 1 + 10); // the step, and ten times the way back
        QVERIFY(lab.panel3.contains(u"The hot-air blower was not set back: it keeps the setpoint of the last step!"_s));
    }

    void aBlowerThatFallsSilentWhileItCoolsIsNamed()
    {
        BlowerLaboratory lab;
        lab.profile({u"T1:100;"_s});
        lab.clock.onRound = [&] { lab.silent = lab.temperature == 30; };
        QVERIFY(lab.run());
        QVERIFY2(lab.report().contains("The hot-air blower fell silent while it was cooling."), lab.report().constData());
    }

    void theEditorRefusesWhatTheBlowerCannotDo()
    {
        const BlowerLaboratory lab;
        using ProfileEdit::Box;
        QCOMPARE(ProfileEdit::RangeText(), u"Valid temperature range: 25... 950."_s);
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"25"_s), QString());
        QCOMPARE(ProfileEdit::refusal(Box::T2, u"950"_s), QString());
        QCOMPARE(ProfileEdit::refusal(Box::T1, u"24.9"_s), u"The valid temperature range is 25... 950!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::T2, u"950.1"_s), u"The valid temperature range is 25... 950!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.4"_s), u"The valid temperature step size is 0.5... 925!"_s);
        QCOMPARE(ProfileEdit::refusal(Box::dT, u"0.5"_s), QString());
    }

    void checkListAndSummaryAreTheBlowers()
    {
        const BlowerLaboratory lab;
        scanParameters() = {10, 12, 0.5, 1, 5};
        lab.profile({u"T1:30;"_s, u"T1:1000;"_s});
        QCOMPARE(ProfileRun::Check(), QStringList{u"line 2: The valid temperature range is 25... 950!"_s});
        const QList<ProfileRun::Row> plan = ProfileRun::Plan();
        QCOMPARE(plan.size(), 2);
        QCOMPARE(plan[0].plannedFile, u"Quartz_030.0.sdf"_s);
        QCOMPARE(plan[1].estimate - plan[0].estimate, 970.0 - 5.0);
        QVERIFY2(ProfileRun::DetailsText(plan).contains(u"1    30 °C  1 s  Quartz_030.0.sdf"_s), qPrintable(ProfileRun::DetailsText(plan)));
        QVERIFY2(ProfileRun::SummaryText().contains(u"- Files will be saved as '<SampleName>_xxx.x.sdf' (xxx.x=air temperature)."_s),
                 qPrintable(ProfileRun::SummaryText()));
        QVERIFY(!ProfileRun::SummaryText().contains(u"PID"_s)); // that would be another controller's table
    }

    void aBlowerThatIsNotInUseLeavesTheFieldToTheOthers()
    {
        BlowerLaboratory lab;
        Blower::state().enabled = false;
        QCOMPARE(ProfileRun::FileName(u"Quartz"_s, 400), u"Quartz_0400.sdf"_s);
        flags().htcEnabled = flags().laserEnabled = false;
        QCOMPARE(ProfileRun::FileName(u"Quartz"_s, 295.3), u"Quartz_0295.3.sdf"_s);
    }

    void withoutAnyControllerNothingIsSent()
    {
        BlowerLaboratory lab;
        Blower::state().enabled = flags().htcEnabled = flags().laserEnabled = flags().ltcEnabled = false;
        QVERIFY(!Temperature::anyInUse());
        QVERIFY(Temperature::active().set(300, 5) != 0);
        QVERIFY(!Temperature::active().read());
        QVERIFY(!Temperature::active().wayBack().send);
        QCOMPARE(lab.tc.written(), QByteArray());
    }
};

QTEST_GUILESS_MAIN(tst_fourthcontroller)
#include "tst_fourthcontroller.moc"
