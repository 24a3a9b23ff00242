// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Menu.h"

#include <QStringList>
#include <QTest>

using Menu::Entry;

class TestMenu : public QObject
{
    Q_OBJECT

private:
    /// The entries of a menu as they stand on the screen, a line each; "-" begins a new group.
    static QStringList shown(Entry menu, const QString& indent = {})
    {
        QStringList lines;
        for (const Menu::Item& item : Menu::items()) {
            if (item.parent != menu || item.entry == menu)
                continue;
            if (item.separatorBefore)
                lines << indent + u'-';
            lines << indent + QString::fromUtf16(item.caption);
            if (Menu::isMenu(item.entry))
                lines << shown(item.entry, indent + QStringLiteral("  "));
        }
        return lines;
    }

private slots:
    void theMenusAndTheirGroups_data()
    {
        QTest::addColumn<Entry>("menu");
        QTest::addColumn<QString>("lines");
        QTest::newRow("&File") << Entry::mnuFile << QStringLiteral("&Open...|&Save...|-|Set &Work Directory...|Set&tings...|-|E&xit");
        QTest::newRow("&Measurement") << Entry::mnuMeasurement
                                      << QStringLiteral("&Start Data Acquisition|-|Execute &Temperature Profile...");
        QTest::newRow("&HTC") << Entry::mnuHTC
                              << QStringLiteral("Query current &Temperature|-|New &Setpoint (use current PID's)|"
                                                "Ne&w Setpoint (load PID's)|-|Heater &Output (is OFF)|-|&Change current PID's|"
                                                "Save current &PID's|-|&Auto Optimizing|Restore &Default Parameter");
        QTest::newRow("&LTC") << Entry::mnuLTC
                              << QStringLiteral("Query...|Log Cooldown|Query current &Temperature|-|&New Setpoint (use current RPID's)|"
                                                "Ne&w Setpoint (load RPID's)|-|&Change current RPID's|Save current &RPID's|-|"
                                                "Auto&tuning (is OFF)|Restore &Default Settings");
        QTest::newRow("La&ser") << Entry::mnuLaser << QStringLiteral("Beam &ON|New &Temperature Setpoint|-|Test");
        QTest::newRow("E&xtras") << Entry::mnuExtras
                                 << QStringLiteral(
                                        "&SMC|  &Get RAM Data|  -|  &GoTo...|  Search &Reference Position|"
                                        "  Set Reference &Offset|  -|  Get &Status...|  -|  &STOP Motion|"
                                        "X-Ray Generator|  OPEN &X-Ray Shutter|  -|  Set &Power...|  Get &Status...|-|&Ratemeter");
        QTest::newRow("&Help") << Entry::mnuHelp << QStringLiteral("&Help...|-|&About");
    }

    void theMenusAndTheirGroups()
    {
        QFETCH(Entry, menu);
        QFETCH(QString, lines);
        QCOMPARE(QString::fromUtf16(Menu::item(menu).caption), QString::fromLatin1(QTest::currentDataTag()));
        QVERIFY(!Menu::item(menu).separatorBefore);
        QCOMPARE(shown(menu).join(u'|'), lines);
    }

    void theMenuBarHasSevenMenus()
    {
        QStringList bar;
        for (const Menu::Item& item : Menu::items())
            if (item.parent == item.entry)
                bar << QString::fromUtf16(item.caption);
        QCOMPARE(bar.join(u'|'), QStringLiteral("&File|&Measurement|&HTC|&LTC|La&ser|E&xtras|&Help"));
    }

    void anEntryIsFoundByItself()
    {
        for (const Menu::Item& item : Menu::items())
            QCOMPARE(&Menu::item(item.entry), &item);
        QVERIFY(Menu::isMenu(Entry::mnuExtrasSMC) && Menu::isMenu(Entry::mnuHelp));
        QVERIFY(!Menu::isMenu(Entry::mnuExtrasRatemeter) && !Menu::isMenu(Entry::mnuHelpAbout));
    }
};

QTEST_GUILESS_MAIN(TestMenu)
#include "tst_menu.moc"
