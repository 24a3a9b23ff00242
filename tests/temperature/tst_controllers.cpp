// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of temperature controllers: what each row says, and that none lacks anything.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "support/ResetProgram.h"
#include "temperature/Blower.h"
#include "temperature/Controller.h"

#include <QTest>

using namespace Qt::StringLiterals;

namespace {
using Change = void (*)(Temperature::Controller&);
} // namespace

class tst_controllers : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        resetProgram();
        Temperature::state() = Temperature::State{};
    }

    void noRowLacksAnything()
    {
        QStringList names;
        for (const Temperature::Controller& row : Temperature::controllers()) {
            names << row.name;
            QVERIFY2(Temperature::lacking(row).isEmpty(), qPrintable(row.name + Temperature::lacking(row).join(u", "_s)));
            QVERIFY2(row.isThere != nullptr, qPrintable(row.name));
            QVERIFY2(row.menu.has_value(), qPrintable(row.name));
        }
        QCOMPARE(names, (QStringList{u"HTC"_s, u"Laser"_s, u"LTC"_s})); // the furnace first, then the laser
        QCOMPARE(Temperature::lacking(Blower::controller()), QStringList());
    }

    void everyEmptyMemberIsNoticed_data()
    {
        QTest::addColumn<Change>("empty");
        const auto row = [](const char* member, Change empty) { QTest::newRow(member) << empty; };
        row("name", [](Temperature::Controller& one) { one.name.clear(); });
        row("fullName", [](Temperature::Controller& one) { one.fullName.clear(); });
        row("enabled", [](Temperature::Controller& one) {
            one.enabled = nullptr;
            one.menu.reset();
        });
        row("menu", [](Temperature::Controller& one) { one.menu = Menu::Entry::mnuLaser; }); // follows another controller
        row("readSettings", [](Temperature::Controller& one) { one.readSettings = nullptr; });
        row("table", [](Temperature::Controller& one) { one.table.save = nullptr; });
        row("scale", [](Temperature::Controller& one) { one.scale = nullptr; });
        row("settlingTime", [](Temperature::Controller& one) { one.settlingTime = nullptr; });
        row("set", [](Temperature::Controller& one) { one.set = nullptr; });
        row("wait", [](Temperature::Controller& one) { one.wait = nullptr; });
        row("read", [](Temperature::Controller& one) { one.read = nullptr; });
        row("wayBack", [](Temperature::Controller& one) { one.wayBack = nullptr; });
    }

    void everyEmptyMemberIsNoticed()
    {
        QFETCH(const Change, empty);
        Temperature::Controller row = Temperature::controllers().constFirst();
        empty(row);
        QCOMPARE(Temperature::lacking(row), QStringList{QString::fromLatin1(QTest::currentDataTag())});
    }

    void theFirstOneInUseIsActive()
    {
        QCOMPARE(Temperature::active().name, u"no temperature controller"_s);
        QVERIFY(!Temperature::anyInUse());
        flags().ltcEnabled = true;
        QCOMPARE(Temperature::active().name, u"LTC"_s);
        flags().laserEnabled = true;
        QCOMPARE(Temperature::active().name, u"Laser"_s);
        flags().htcEnabled = true;
        QCOMPARE(Temperature::active().name, u"HTC"_s);
        QVERIFY(Temperature::anyInUse());
    }

    void stepsAndFileValuesOfEach()
    {
        const auto scale = [] { return Temperature::active().scale(); };
        flags().ltcEnabled = true;
        QCOMPARE(scale().smallestStepText(), u"0.1"_s);
        QCOMPARE(scale().fileValue(8), u"0008.0"_s);
        flags().laserEnabled = true;
        QCOMPARE(scale().smallestStepText(), u"1"_s);
        QCOMPARE(scale().fileValue(640), u"0640"_s);
        QCOMPARE(scale().largestStep(), 1180.0);
        configuration().laser.currentMode = true;
        QCOMPARE(scale().smallestStepText(), u"0.0001"_s);
        QCOMPARE(scale().fileValue(1.25), u"1.2500"_s);
        QCOMPARE(scale().largestStep(), 2.5);
        QVERIFY(scale().currents);
        flags().htcEnabled = true;
        QCOMPARE(scale().fileValue(22.4), u"0022"_s);
        QVERIFY(!scale().currents);
    }

    void withoutAControllerTheEditorHasTheRangeOfTheLowTemperatureController()
    {
        const Temperature::Scale scale = Temperature::active().scale();
        QCOMPARE(scale.unit, u"K"_s);
        QCOMPARE(scale.lowest, 8.0);
        QCOMPARE(scale.highest, 300.0);
        QCOMPARE(scale.fileValue(295), u"0295.0"_s);
        QCOMPARE(Temperature::active().tableFile(), QString());
    }
};

QTEST_GUILESS_MAIN(tst_controllers)
#include "tst_controllers.moc"
