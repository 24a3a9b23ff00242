// SPDX-License-Identifier: GPL-3.0-or-later
//
// Profile runs in which a device or its cable fails for a while.

#include "Profiles.h"

#include <memory>
#include <vector>

using namespace programs;
using namespace Qt::StringLiterals;

namespace {
struct Trouble
{
    const char* name;
    QString fault;
    QByteArray note; ///< in the report
};

QList<Trouble> troubles()
{
    return {{"goniometer's cable pulled while the scan is started", u"smc/hang-up-and-return:15"_s, {}},
            {"goniometer's cable pulled while it counts", u"smc/hang-up-and-return:26"_s, {}},
            {"three counts too few", u"smc/fewer-counts"_s, "    Received 88 of 91 points.\n"},
            {"goniometer silent for five seconds", u"smc/silent:26:5"_s, {}},
            {"temperature controller silent for five seconds", u"ltc/silent:4s:5s"_s, {}},
            {"temperature controller's cable pulled", u"ltc/hang-up-and-return:14"_s, {}}};
}

/// One instrument with its fault and the run upon it. All run at the same time, because a run mostly waits.
class Running
{
public:
    explicit Running(const Trouble& trouble) : instrument({u"--speed"_s, u"1000"_s, u"--ltc"_s, u"331"_s, u"--fault"_s, trouble.fault})
    {
        shortenScans(instrument);
        if (!trouble.fault.contains(u"silent"_s))
            instrument.bePatient();
        store(instrument.path(u"p.gtp"_s), "T1:290;T2:270;DT:20;");
        cli.startOn(instrument, runWords(instrument));
    }

    Instrument instrument;
    ScanCli cli;
};

void check(Running& run, const Trouble& trouble)
{
    QVERIFY(run.instrument.running);
    QVERIFY2(run.cli.finish() == 0, run.cli.err.constData());
    QCOMPARE(scansIn(run.instrument).size(), qsizetype(2));
    for (const QString& name : scansIn(run.instrument)) {
        const double peak = strongestPeak(run.instrument, name);
        QVERIFY2(peak > 26.4 && peak < 26.8, qPrintable(u"%1: %2"_s.arg(name).arg(peak)));
    }
    QVERIFY2(reportIn(run.instrument).contains(trouble.note), reportIn(run.instrument).constData());
}
} // namespace

class tst_profiletrouble : public QObject
{
    Q_OBJECT

private slots:
    void runsInWhichSomethingGoesWrong()
    {
        std::vector<std::unique_ptr<Running>> runs;
        for (const Trouble& trouble : troubles())
            runs.push_back(std::make_unique<Running>(trouble));
        for (qsizetype i = 0; i < troubles().size(); ++i) {
            check(*runs[static_cast<std::size_t>(i)], troubles().at(i));
            if (QTest::currentTestFailed()) {
                qWarning("%s", troubles().at(i).name);
                return;
            }
        }
    }
};

QTEST_GUILESS_MAIN(tst_profiletrouble)
#include "tst_profiletrouble.moc"
