// SPDX-License-Identifier: GPL-3.0-or-later
//
// A weekend in a moment: twelve temperatures with each temperature controller.

#include "Profiles.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>
#include <optional>

using namespace profiles;
using namespace Qt::StringLiterals;

namespace {
constexpr int temperatures = 12;

/// "Quartz_0195.3.sdf" gives 195.3; nothing when the name does not follow the rule.
std::optional<double> temperatureIn(const QString& name, const QString& rule)
{
    const QRegularExpressionMatch match = QRegularExpression(u"^Quartz_("_s + rule + u")\\.sdf$"_s).match(name);
    return match.hasMatch() ? std::optional(match.captured(1).toDouble()) : std::nullopt;
}

/// One controller's weekend.
struct Weekend
{
    QStringList options;         ///< of the virtual instrument
    QStringList before;          ///< what the operator switches on
    QString section, key, value; ///< of scan.ini
    QByteArray profile;
    double first = 0, step = 0; ///< setpoints
    double tolerance = 0;       ///< of the temperature in a file's name; 0: the laser, which has no readings
    QString rule;               ///< of the file names
    QByteArray unit;
    double shift = 0; ///< least change of the strongest peak's angle from the lowest to the highest temperature [degrees]
};

void checkReport(const QByteArray& report, const Weekend& weekend, const QStringList& scans)
{
    QVERIFY2(report.startsWith("Temperature profile run\nSample: Quartz\nProfile: "), report.constData());
    QCOMPARE(report.count("  setpoint "), temperatures);
    for (int i = 0; i < temperatures; ++i) {
        const double setpoint = weekend.first + i * weekend.step;
        const std::optional<double> named = temperatureIn(scans.at(i), weekend.rule);
        QVERIFY2(named && std::abs(*named - setpoint) <= weekend.tolerance, qPrintable(scans.at(i)));
        const qsizetype at = report.indexOf("  setpoint " + QByteArray::number(setpoint) + ' ' + weekend.unit + "  read ");
        QVERIFY2(at > 0, report.constData());
        const QByteArray line = report.mid(at, report.indexOf('\n', at) - at);
        QVERIFY2(line.contains("  counter time 0.1 s  maximum ") && line.endsWith('/' + scans.at(i).toUtf8()), line.constData());
        QCOMPARE(line.contains("  mean "), weekend.tolerance > 0);
    }
}

} // namespace

class tst_profileweekend : public QObject
{
    Q_OBJECT

private slots:
    void onMondayEveryScanIsThere_data()
    {
        QTest::addColumn<Weekend>("weekend");
        QTest::newRow("cryostat") << Weekend{{u"--ltc"_s, u"331"_s},
                                             {},
                                             u"LTC"_s,
                                             u"ResetAfterTempRun"_s,
                                             u"1"_s,
                                             "# to the cold\r\nT1:290;T2:70;DT:20;\r\n",
                                             290,
                                             -20,
                                             1.5,
                                             u"\\d{4}\\.\\d"_s,
                                             "K",
                                             0.02};
        QTest::newRow("furnace") << Weekend{
            {u"--htc"_s}, {u"htc"_s, u"heater"_s, u"on"_s}, {}, {}, {}, "T1:100;T2:1200;DT:100;\r\n", 100, 100, 2, u"\\d{4}"_s, "°C", 0.1};
        QTest::newRow("laser") << Weekend{{u"--laser"_s},
                                          {u"laser"_s, u"beam"_s, u"on"_s},
                                          u"Laser"_s,
                                          u"StabilizationDelay"_s,
                                          u"0"_s,
                                          "T1:50;T2:600;DT:50;\r\n",
                                          50,
                                          50,
                                          0,
                                          u"\\d{4}"_s,
                                          "°C",
                                          0.05};
    }
    void onMondayEveryScanIsThere()
    {
        QFETCH(Weekend, weekend);
        DeskLab lab;
        QVERIFY(lab.start(QStringList{u"--speed"_s, u"1000"_s} + weekend.options));
        shortenScans(lab);
        if (!weekend.key.isEmpty())
            lab.configure(weekend.section, weekend.key, weekend.value);
        store(lab.path(u"p.gtp"_s), weekend.profile);
        DeskCli cli(lab);
        QVERIFY(weekend.before.isEmpty() || cli.run(weekend.before) == 0);
        QVERIFY2(cli.run(runWords(lab.path())) == 0, cli.err.constData());
        QCOMPARE(cli.out.count("Saved: "), temperatures);
        QVERIFY(!QFile::exists(lab.path(u"p.gtp.state"_s)));
        QStringList scans = scansIn(lab.path());
        QCOMPARE(scans.size(), qsizetype(temperatures));
        const double low = strongestPeak(lab, lab.path(scans.constFirst()));
        const double high = strongestPeak(lab, lab.path(scans.constLast()));
        QVERIFY2(low > 26 && high > 26 && low - high > weekend.shift && low - high < 6 * weekend.shift,
                 qPrintable(u"%1 to %2 degrees"_s.arg(low).arg(high)));
        if (weekend.step < 0)
            std::reverse(scans.begin(), scans.end());
        checkReport(reportIn(lab.path()), weekend, scans);
    }
};

QTEST_GUILESS_MAIN(tst_profileweekend)
#include "tst_profileweekend.moc"
