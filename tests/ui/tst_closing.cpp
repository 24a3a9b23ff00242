// SPDX-License-Identifier: GPL-3.0-or-later

#include "Operator.h"
#include "VirtualLab.h"

#include "core/PrivateProfile.h"
#include "core/modTools.h"
#include "support/ResetProgram.h"
#include "ui/UiPrompts.h"
#include "ui/frmMain.h"

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

    UiPrompts m_prompts;
    std::unique_ptr<Operator> m_operator;
    std::unique_ptr<VirtualLab> m_lab;
    std::unique_ptr<frmMain> m_window;

    bool bringUp(const QStringList& arguments)
    {
        m_lab = std::make_unique<VirtualLab>();
        if (!m_lab->start(arguments))
            return false;
        m_lab->connectProgram();
        m_window = std::make_unique<frmMain>();
        m_window->show();
        return flags().smcOnline;
    }
    QString stored(const char* key) const
    {
        return PrivateProfile::GetPrivateProfileString(QStringLiteral("General"), QString::fromLatin1(key), QStringLiteral("(none)"),
                                                       modTools::state().iniPath);
    }

private slots:
    void init()
    {
        resetProgram();
        setPrompts(&m_prompts);
        m_operator = std::make_unique<Operator>();
    }
    void cleanup()
    {
        const QString complaint = m_operator->complaint();
        m_window.reset();
        m_lab.reset();
        m_operator.reset();
        setPrompts(nullptr);
        resetProgram();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void anIdleControllerAsksNothing()
    {
        QVERIFY(bringUp({QStringLiteral("--speed"), QStringLiteral("50")}));
        frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("21,5"));
        QVERIFY(m_window->close());
        QVERIFY(flags().closing);
        QCOMPARE(stored("ScanStart"), QStringLiteral("21.5"));
    }

    void aBusyControllerIsAskedAbout()
    {
        QVERIFY(bringUp({QStringLiteral("--speed"), QStringLiteral("10"), QStringLiteral("--busy")}));
        QCOMPARE(m_window->entry(Menu::Entry::mnuMeasStartAcquisition)->text(), QStringLiteral("Abort Data Acquisition"));
        frontPanel().setText(FrontPanel::Field::ScanStart, QStringLiteral("22"));
        m_operator->expect(busyTitle, busyText, QStringLiteral("Cancel"));
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isVisible());
        QVERIFY(!flags().closing);
        QVERIFY(stored("ScanStart") != QStringLiteral("22"));

        m_operator->expect(busyTitle, busyText, QStringLiteral("OK"));
        QVERIFY(m_window->close());
        QVERIFY(flags().closing);
        QCOMPARE(stored("ScanStart"), QStringLiteral("22"));
    }

    void unsavedDataAreAskedAboutAndSettingsAreSavedBefore()
    {
        m_window = std::make_unique<frmMain>();
        m_window->show();
        flags().dataPresent = true;
        m_operator->expect(unsavedTitle, unsavedText, QStringLiteral("No"),
                           [](QMessageBox* box) { QCOMPARE(box->defaultButton()->text(), QStringLiteral("&No")); });
        QVERIFY(!m_window->close());
        QVERIFY(m_window->isVisible());
        m_operator->expect(unsavedTitle, unsavedText, QStringLiteral("Yes"));
        QVERIFY(m_window->close());
        QVERIFY(flags().closing);
    }

    void savedDataAreNotAskedAbout()
    {
        m_window = std::make_unique<frmMain>();
        m_window->show();
        flags().dataPresent = flags().dataSaved = true;
        Operator::chooseByKeys(m_window.get(), QStringLiteral("fx"));
        QVERIFY(flags().closing);
        QVERIFY(!m_window->isVisible());
    }
};

QTEST_MAIN(TestClosing)
#include "tst_closing.moc"
