// SPDX-License-Identifier: GPL-3.0-or-later
//
// The table of temperature controllers: what each row says, and that none lacks anything.

#include "core/Configuration.h"
#include "core/Flags.h"
#include "core/modTools.h"
#include "support/ResetProgram.h"
#include "temperature/Blower.h"
#include "temperature/Controller.h"

#include <QFile>
#include <QTemporaryDir>
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

    void aControllerIsInUseWhenScanIniSaysSo()
    {
        const QTemporaryDir directory;
        modTools::state().iniPath = directory.filePath(u"scan.ini"_s);
        for (const bool wanted : {true, false}) {
            QFile file(modTools::state().iniPath);
            QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
            for (const char* name : {"LTC", "HTC", "Laser"})
                file.write(QByteArray("[") + name + "]\r\n" + name + (wanted ? "=1\r\n" : "=0\r\n"));
            file.close();
            for (const Temperature::Controller& row : std::as_const(Temperature::controllers())) {
                row.readSettings();
                QVERIFY2(row.inUse() == wanted, qPrintable(row.name));
            }
        }
    }

    void whatTheOperatorReadsOfEach_data()
    {
        QTest::addColumn<bool Flags::*>("flag");
        QTest::addColumn<bool>("currents");
        QTest::addColumn<QStringList>("read");
        QTest::newRow("low") << &Flags::ltcEnabled << false << QStringList{u"LTC"_s,        u"low-temperature controller"_s,
                                                                           u"K"_s,          u"8...300"_s,
                                                                           u"xxxx.x"_s,     u"temperature"_s,
                                                                           u"2 decimals"_s, u"from 295"_s};
        QTest::newRow("high") << &Flags::htcEnabled << false << QStringList{u"HTC"_s,        u"high-temperature controller"_s,
                                                                            u"°C"_s,         u"20...1500"_s,
                                                                            u"xxxx"_s,       u"temperature"_s,
                                                                            u"0 decimals"_s, u"from 22"_s};
        QTest::newRow("laser") << &Flags::laserEnabled << false
                               << QStringList{u"Laser"_s, u"laser controller"_s, u"°C"_s,         u"20...1200"_s,
                                              u"xxxx"_s,  u"temperature"_s,      u"1 decimals"_s, u"from 22"_s};
        QTest::newRow("laser by current") << &Flags::laserEnabled << true
                                          << QStringList{u"Laser"_s,  u"laser controller"_s,    u"A"_s,          u"0...2.5"_s,
                                                         u"x.xxxx"_s, u"laser diode current"_s, u"4 decimals"_s, u"from 22"_s};
    }

    void whatTheOperatorReadsOfEach()
    {
        QFETCH(bool Flags::*, flag);
        QFETCH(bool, currents);
        flags().*flag = true;
        configuration().laser.currentMode = currents;
        const Temperature::Controller& row = Temperature::active();
        const Temperature::Scale scale = row.scale();
        const auto number = [](double value) { return QString::number(value); };
        const QStringList read{row.name,
                               row.fullName,
                               scale.unit,
                               number(scale.lowest) + u"..."_s + number(scale.highest),
                               scale.filePattern,
                               scale.fileMeaning,
                               number(scale.shownDecimals) + u" decimals"_s,
                               u"from "_s + number(row.startsAt)};
        QTEST(read, "read");
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
