// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Operation.h"
#include "ui/LabWindow.h"

#include "goniometer/ScanRun.h"

/// Each of these fails somewhere in the middle, and must end nevertheless. Run by tst_desk.
class Failing : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup() { m_bench.reset(); }

    void inABox()
    {
        QVERIFY(m_bench->bringUp({}));
        m_bench->hand.expectWindow(QStringLiteral("Start scan"), [](QDialog*) { QVERIFY(false); });
        m_bench->choose(Menu::Entry::mnuMeasStartAcquisition);
    }

    void inAWait()
    {
        QVERIFY(m_bench->bringUp({}));
        m_bench->hand.expect(QStringLiteral("Start scan"), {}, QStringLiteral("OK"));
        m_bench->once([] { return Operation::isRunning(Operations::scan); }, [] { QVERIFY(false); });
        m_bench->choose(Menu::Entry::mnuMeasStartAcquisition);
    }

    void inABoxThatNobodyAnswers()
    {
        QVERIFY(m_bench->bringUp({}));
        m_bench->hand.rest();
        m_bench->choose(Menu::Entry::mnuMeasStartAcquisition);
    }

    void inAWaitThatDoesNotEnd()
    {
        modTools::WaitUntil([] { return false; });
    }

    void byAWarning() { qWarning("nobody expects this"); }
};

QTEST_MAIN(Failing)
#include "failing.moc"
