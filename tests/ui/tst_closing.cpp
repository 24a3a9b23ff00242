// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/PrivateProfile.h"
#include "core/modTools.h"

#include <QPushButton>
#include <QTest>

#include <memory>

namespace {
const QString busyTitle = QStringLiteral("Quit program");
const QString busyText = QStringLiteral("\nSMC seems to be busy!\nAre you sure that you want to quit?");
const QString unsavedTitle = QStringLiteral("Exit program");
const QString unsavedText = QStringLiteral("Data in memory were not yet saved!\nDo you really want to quit?");
} // namespace

class TestClosing : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    QString stored(const char* key) const
    {
        return PrivateProfile::GetPrivateProfileString(QStringLiteral("General"), QString::fromLatin1(key), QStringLiteral("(none)"),
                                                       modTools::state().iniPath);
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void anIdleControllerAsksNothing()
    {
        QVERIFY(bench().bringUp({}));
        frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("21,5"));
        QVERIFY(bench().window->close());
        QVERIFY(flags().closing);
        QCOMPARE(stored("ScanStart"), QStringLiteral("21.5"));
    }

    void aBusyControllerIsAskedAbout()
    {
        QVERIFY(bench().bringUp({QStringLiteral("--busy")}, 10));
        QCOMPARE(bench().window->entry(Menu::Entry::mnuMeasStartAcquisition)->text(), QStringLiteral("Abort Data Acquisition"));
        frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("22"));
        bench().hand.expect(busyTitle, busyText, QStringLiteral("Cancel"));
        QVERIFY(!bench().window->close());
        QVERIFY(bench().window->isVisible());
        QVERIFY(!flags().closing);
        QVERIFY(stored("ScanStart") != QStringLiteral("22"));

        bench().hand.expect(busyTitle, busyText, QStringLiteral("OK"));
        QVERIFY(bench().window->close());
        QVERIFY(flags().closing);
        QCOMPARE(stored("ScanStart"), QStringLiteral("22"));
    }

    void unsavedDataAreAskedAboutAndSettingsAreSavedBefore()
    {
        QVERIFY(bench().showWindow());
        flags().dataPresent = true;
        bench().hand.expect(unsavedTitle, unsavedText, QStringLiteral("No"),
                            [](QMessageBox* box) { QCOMPARE(box->defaultButton()->text(), QStringLiteral("&No")); });
        QVERIFY(!bench().window->close());
        QVERIFY(bench().window->isVisible());
        bench().hand.expect(unsavedTitle, unsavedText, QStringLiteral("Yes"));
        QVERIFY(bench().window->close());
        QVERIFY(flags().closing);
    }

    void savedDataAreNotAskedAbout()
    {
        QVERIFY(bench().showWindow());
        flags().dataPresent = flags().dataSaved = true;
        Operator::chooseByKeys(bench().window.get(), QStringLiteral("fx"));
        QVERIFY(flags().closing);
        QVERIFY(!bench().window->isVisible());
    }
};

QTEST_MAIN(TestClosing)
#include "tst_closing.moc"
