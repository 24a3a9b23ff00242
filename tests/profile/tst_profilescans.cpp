// SPDX-License-Identifier: GPL-3.0-or-later
//
// The scans of a profile run: what each step asks of the goniometer controller.

#include "ProfileLab.h"

using namespace Qt::StringLiterals;
using namespace profilelab;

class TestProfileScans : public QObject
{
    Q_OBJECT

private slots:
    void init() { resetAll(); }
    void cleanup() { resetAll(); }

    void aControllerThatSomebodyLeftBusyIsStoppedBeforeTheScan()
    {
        Laboratory lab;
        lab.profile({u"T1:295;"_s});
        bool left = false;
        lab.clock.onRound = [&] {
            if (!left && Laboratory::at(0, Phase::Settling))
                left = lab.smc.busy = true; // a program started at the controller's own keys
        };
        QVERIFY(lab.run());
        QVERIFY(left);
        QVERIFY(lab.boxes.allShown());
        QCOMPARE(lab.smc.sent(u"Q;"_s), 1);
        const QStringList orders = lab.smc.orders();
        QCOMPARE(orders.indexOf(u"Q;"_s) + 1, orders.indexOf(u"CLR;"_s));
        QCOMPARE(lab.scansStarted(), 1);
        QCOMPARE(lab.scans().size(), 1);
        QVERIFY(ProfileRun::state().remarks.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestProfileScans)
#include "tst_profilescans.moc"
