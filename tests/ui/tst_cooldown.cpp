// SPDX-License-Identifier: GPL-3.0-or-later

#include "LabWindow.h"

#include "core/Configuration.h"
#include "core/Operation.h"
#include "core/ScanData.h"
#include "plot/Look.h"
#include "plot/TemperaturePlot.h"
#include "support/Pretend.h"
#include "temperature/CooldownLog.h"
#include "temperature/modTC.h"
#include "ui/frmCooldown.h"

#include <QFile>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTest>

#include <cmath>
#include <limits>
#include <memory>

/// The cooldown log by hand, on the virtual cryostat and goniometer.
class TestCooldownWindow : public QObject
{
    Q_OBJECT

    std::unique_ptr<LabWindow> m_bench;

    LabWindow& bench() const { return *m_bench; }

    bool bringUp(int speed = 20)
    {
        if (!bench().bringUp({QStringLiteral("--ltc"), QStringLiteral("331")}, speed))
            return false;
        configuration().general.workDir = bench().lab.path();
        configuration().ltc.logInterval = 1;
        return flags().ltcEnabled && flags().smcOnline;
    }

    QAction* entry(Menu::Entry which = Menu::Entry::mnuLTCLogCooldown) const { return bench().window->entry(which); }
    frmCooldown* log() const { return bench().window->findChild<frmCooldown*>(); }
    QString text() const
    {
        return log() != nullptr ? log()->findChild<QPlainTextEdit*>(QStringLiteral("txtDisplay"))->toPlainText() : QString();
    }
    qsizetype lines() const { return text().isEmpty() ? 0 : text().count(u'\n') + 1; }
    QPushButton* button(const char* name) const { return log()->findChild<QPushButton*>(QString::fromLatin1(name)); }
    QLabel* label(const char* name) const { return log()->findChild<QLabel*>(QString::fromLatin1(name)); }
    TemperaturePlot* plot() const { return log()->findChild<TemperaturePlot*>(); }
    static QByteArray fileBytes()
    {
        QFile file(CooldownLog::state().path);
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("cannot be opened");
    }
    /// Pixels of a widget that are close to a colour.
    static int pixelsOf(QWidget* widget, const QColor& colour)
    {
        const QImage image = widget->grab().toImage();
        int found = 0;
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x) {
                const QColor here = image.pixelColor(x, y);
                found +=
                    std::abs(here.red() - colour.red()) + std::abs(here.green() - colour.green()) + std::abs(here.blue() - colour.blue()) <
                            60
                        ? 1
                        : 0;
            }
        return found;
    }
    void typeScan(const QStringList& values)
    {
        using enum FrontPanel::Field;
        const FrontPanel::Field fields[] = {ScanStart, ScanStop, ScanStep, CounterTime};
        for (qsizetype i = 0; i < values.size(); ++i)
            frontPanel().setText(fields[i], values[i]);
    }

private slots:
    void init() { m_bench = std::make_unique<LabWindow>(); }
    void cleanup()
    {
        const QString complaint = m_bench->hand.complaint();
        m_bench.reset();
        QVERIFY2(complaint.isEmpty(), qPrintable(complaint));
    }

    void thePlotFollowsTheReadings()
    {
        const double none = std::numeric_limits<double>::quiet_NaN();
        TemperaturePlot plot;
        plot.resize(600, 400);
        QVERIFY(plot.isEmpty());
        QVERIFY(!plot.xAxis->tickLabels() && !plot.legend->visible());
        plot.add(1, none, none); // a controller that does not answer draws nothing
        plot.showAll();
        QVERIFY(plot.isEmpty());
        plot.add(2, 290, 20);
        plot.add(32, 250, 20);
        plot.showAll();
        QVERIFY(!plot.isEmpty() && plot.legend->visible() && plot.xAxis->tickLabels());
        QCOMPARE(plot.xAxis->range(), QCPRange(0, 60));
        QVERIFY(plot.yAxis->range().lower < 20 && plot.yAxis->range().upper > 290);
        plot.add(62, 200, 20);
        plot.showAll();
        QCOMPARE(plot.xAxis->range(), QCPRange(0, 75)); // and stands still until that is full
        plot.add(75, 199, 20);
        plot.showAll();
        QCOMPARE(plot.xAxis->range(), QCPRange(0, 75));
        plot.clear();
        QVERIFY(plot.isEmpty() && plot.graph(1)->data()->isEmpty());
    }

    void aSteadyTemperatureIsNotBlownUp()
    {
        TemperaturePlot plot;
        for (int i = 0; i < 10; ++i)
            plot.add(i, 80 + 0.001 * (i % 3), 80);
        plot.showAll();
        QVERIFY(plot.yAxis->range().size() >= 1);
    }

    void aTimeWithoutReadingsIsAGapInTheCurve()
    {
        const double none = std::numeric_limits<double>::quiet_NaN();
        const auto drawn = [this](double middle) {
            TemperaturePlot plot;
            plot.resize(600, 400);
            plot.add(0, 100, 100);
            for (int i = 1; i < 60; ++i)
                plot.add(i, i < 20 || i > 40 ? 200 : middle, 100);
            plot.showAll();
            plot.replot();
            return pixelsOf(&plot, Look::accent(plot.palette()));
        };
        const int whole = drawn(200);
        const int withGap = drawn(none);
        QVERIFY2(withGap > 100 && withGap < whole * 8 / 10, qPrintable(QStringLiteral("%1 of %2").arg(withGap).arg(whole)));
    }

    void thePlotIsReadableOnADarkDesktop()
    {
        QPalette dark;
        dark.setColor(QPalette::Window, QColor(0x2b, 0x2d, 0x30));
        dark.setColor(QPalette::Base, QColor(0x1e, 0x1f, 0x22));
        for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text})
            dark.setColor(role, QColor(0xe6, 0xe6, 0xe6));
        TemperaturePlot plot;
        plot.setPalette(dark);
        QVERIFY(Look::contrast(plot.graph(1)->pen().color(), dark.color(QPalette::Base)) >= 4.5);
        QVERIFY(Look::contrast(plot.graph(0)->pen().color(), dark.color(QPalette::Base)) >= 3);
        QCOMPARE(plot.xAxis->labelColor(), dark.color(QPalette::Text));
        QVERIFY(plot.graph(0)->pen().widthF() < plot.graph(1)->pen().widthF());
    }

    void theEntryShowsLinesAndCurveAndStopsThem()
    {
        QVERIFY(bringUp());
        QCOMPARE(entry()->text(), QStringLiteral("Log Cooldown"));
        QVERIFY(entry()->isEnabled());
        entry()->trigger();
        QCOMPARE(entry()->text(), QStringLiteral("Stop &Log Cooldown"));
        QVERIFY(log() != nullptr && log()->isVisible() && !log()->isModal());
        QVERIFY(log()->windowTitle().contains(QRegularExpression(QStringLiteral("^Cooldown log - cooldown_\\d{8}_\\d{6}\\.log$"))));
        auto* hint = qobject_cast<QCPItemText*>(plot()->item(0));
        QVERIFY(hint != nullptr && hint->visible());
        QCOMPARE(hint->text(), QStringLiteral("Waiting for the first reading"));
        DESK_VERIFY(lines() >= 3);
        QVERIFY(!hint->visible());

        const QRegularExpression line(QStringLiteral("^\\d{4}-\\d\\d-\\d\\d \\d\\d:\\d\\d:\\d\\d;2\\d\\d\\.?\\d*;\\d+\\.?\\d*$"));
        for (const QString& each : text().split(u'\n'))
            QVERIFY2(line.match(each).hasMatch(), qPrintable(each));
        QCOMPARE(QString::fromLatin1(fileBytes()).remove(u'\r').trimmed(), text());
        QVERIFY(label("lblTemperature")->text().contains(QRegularExpression(QStringLiteral("^2\\d\\d.* K$"))));
        const int drawn = pixelsOf(plot(), Look::accent(plot()->palette()));
        QVERIFY2(drawn > 40, qPrintable(QString::number(drawn)));
        QCOMPARE(plot()->yAxis->label(), QStringLiteral("Temperature [K]"));

        entry()->trigger();
        QCOMPARE(entry()->text(), QStringLiteral("Log Cooldown"));
        QVERIFY(log()->isVisible() && !button("btnStop")->isEnabled());
        QVERIFY(label("lblStatus")->text().startsWith(QStringLiteral("Stopped. ")));
        const QByteArray before = fileBytes();
        DESK_VERIFY(!CooldownLog::state().reading);
        QCOMPARE(fileBytes(), before);
    }

    void aSecondLogBeginsAnew()
    {
        QVERIFY(bringUp());
        entry()->trigger();
        DESK_VERIFY(lines() >= 2);
        const QString first = CooldownLog::state().path;
        QTest::mouseClick(button("btnStop"), Qt::LeftButton);
        QCOMPARE(entry()->text(), QStringLiteral("Log Cooldown"));
        DESK_VERIFY(!CooldownLog::state().reading);
        entry()->trigger();
        QVERIFY(CooldownLog::state().path != first);
        QCOMPARE(lines(), 0);
        QVERIFY(plot()->isEmpty());
        QCOMPARE(bench().window->findChildren<frmCooldown*>().size(), 1);
        DESK_VERIFY(lines() >= 1);
    }

    void closingTheWindowDoesNotStopTheLog()
    {
        QVERIFY(bringUp());
        entry()->trigger();
        DESK_VERIFY(lines() >= 1);
        QTest::keyClick(log(), Qt::Key_Escape);
        QVERIFY(!log()->isVisible());
        QCOMPARE(entry()->text(), QStringLiteral("Stop &Log Cooldown"));
        const qsizetype before = lines();
        DESK_VERIFY(lines() > before && frontPanel().panel(3).startsWith(QStringLiteral("LTC: 2")));
        QVERIFY(!log()->isVisible());
        QTest::mouseClick(bench().window->findChild<QWidget*>(QStringLiteral("Panel3")), Qt::LeftButton);
        QVERIFY(log()->isVisible());
    }

    void theLogGoesOnDuringAScanThatEndsWithAllItsCounts()
    {
        QVERIFY(bringUp(4));
        entry()->trigger();
        DESK_VERIFY(lines() >= 1);
        typeScan({QStringLiteral("20"), QStringLiteral("21"), QStringLiteral("0.02"), QStringLiteral("0.2")});
        bench().hand.expect(
            QStringLiteral("Start scan"),
            QStringLiteral("Selected parameter set (Theta-2-Theta):\n\nScan Start  : 20\u00b0 2-Theta\nScan Stop   : 21\u00b0 "
                           "2-Theta\nScan Step   : 0.02\u00b0 2-Theta\nCounter Time: 0.2 seconds\n"),
            QStringLiteral("OK"));
        const qsizetype before = lines();
        qsizetype during = 0;
        connect(&scanData(), &ScanData::plotRequested, log(), [&] { during = lines() - before; });
        // The worst moment: within a reading, which must not stand still for the whole scan.
        bench().once([] { return CooldownLog::state().reading; }, [&] { entry(Menu::Entry::mnuMeasStartAcquisition)->trigger(); });
        DESK_VERIFY(flags().dataPresent && !Operation::isRunning(Operations::scan));
        QCOMPARE(scanData().size(), 51);
        const QVector<double>& counts = scanData().counts();
        QCOMPARE(std::count_if(counts.cbegin(), counts.cend(), [](double count) { return count > 0; }), counts.size());
        QVERIFY2(during >= 2, qPrintable(QString::number(during)));
        for (const QString& each : text().split(u'\n'))
            QVERIFY2(!each.contains(QStringLiteral(";;")), qPrintable(each));
    }

    void anEntryChosenWithinAReadingRunsAfterIt()
    {
        QVERIFY(bringUp());
        configuration().ltc.line.txDelay = 0.2F;
        configuration().ltc.logInterval = 30;
        bool chosen = false;
        bool began = false;
        bool inside = false;
        bench().once([] { return CooldownLog::state().reading; },
                     [&] {
                         chosen = true;
                         entry(Menu::Entry::mnuLTCQueryTemperature)->trigger();
                         began = Operation::isRunning(Operations::temperature);
                     });
        bench().hand.expectWindow(QStringLiteral("LTC"), [&](QDialog* box) {
            inside = CooldownLog::state().reading;
            QVERIFY(qobject_cast<QMessageBox*>(box)->text().startsWith(QStringLiteral("Current temperature is: 2")));
            box->accept();
        });
        entry()->trigger();
        DESK_VERIFY(bench().hand.done() && !Operation::isRunning(Operations::temperature));
        QVERIFY(chosen && !began && !inside);
        QCOMPARE(lines(), 1);
        QVERIFY2(!text().contains(QStringLiteral(";;")), qPrintable(text()));
    }

    void whatStopsSomethingDoesNotWaitForAReading()
    {
        QVERIFY(bringUp());
        configuration().ltc.line.txDelay = 0.2F;
        bool off = false;
        bench().once([] { return CooldownLog::state().reading; },
                     [&] {
                         entry()->trigger();
                         off = CooldownLog::state().reading && !CooldownLog::state().running;
                     });
        entry()->trigger();
        DESK_VERIFY(off);
        QCOMPARE(fileBytes(), QByteArray());
    }

    void theEndOfTheProgramEndsTheLog()
    {
        QVERIFY(bringUp());
        entry()->trigger();
        DESK_VERIFY(lines() >= 2);
        QVERIFY(bench().window->close());
        QVERIFY(flags().closing && !CooldownLog::state().running);
        DESK_VERIFY(!CooldownLog::state().reading);
        QCOMPARE(QString::fromLatin1(fileBytes()).remove(u'\r').trimmed(), text());
    }

    void aFullDiskStandsInTheWindow()
    {
        QVERIFY(bringUp());
        pretendRunning(Operations::scan); // no box while a scan runs
        entry()->trigger();
        DESK_VERIFY(lines() >= 1);
        // From now on nothing fits.
        QVERIFY(QFile::remove(CooldownLog::state().path) && QFile::link(QStringLiteral("/dev/full"), CooldownLog::state().path));
        DESK_COMPARE(label("lblStatus")->text(), QStringLiteral("Not written to the file: Disk full. The lines are kept."));
        QCOMPARE(label("lblStatus")->palette().color(QPalette::WindowText), Look::danger(log()->palette()));
        const qsizetype before = lines();
        DESK_VERIFY(lines() > before);
        bench().hand.expect(QStringLiteral("Cooldown log"), QStringLiteral("Error # 61 caused by LogCooldown()\nDisk full"),
                            QStringLiteral("OK"));
        pretendRunning(Operations::scan, false);
        DESK_VERIFY(bench().hand.done());
        QVERIFY(QFile::remove(CooldownLog::state().path));
        DESK_VERIFY(label("lblStatus")->text().startsWith(QStringLiteral("Logging to ")));
        QVERIFY(QString::fromLatin1(fileBytes()).remove(u'\r').trimmed() == text().section(u'\n', 1));
    }
};

QTEST_MAIN(TestCooldownWindow)
#include "tst_cooldown.moc"
