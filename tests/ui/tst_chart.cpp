// SPDX-License-Identifier: GPL-3.0-or-later

#include "core/Flags.h"
#include "core/FrontPanel.h"
#include "core/Prompts.h"
#include "core/ScanData.h"
#include "plot/Chart2d.h"
#include "plot/Look.h"
#include "plot/modGraphics.h"
#include "support/ResetProgram.h"
#include "support/ScriptedPrompts.h"

#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QImage>
#include <QTemporaryDir>
#include <QTest>

#include <memory>

using Field = FrontPanel::Field;

class TestChart : public QObject
{
    Q_OBJECT

    std::unique_ptr<Chart2d> m_chart;

    /// Counts 0, 1, 2 ... from 10 to 20 degrees with one peak.
    static void load(double start, double stop, double step, qint32 peak)
    {
        ScanData& scan = scanData();
        scan.parameters = {start, stop, step, 1, static_cast<qint32>(std::lround((stop - start) / step)) + 1};
        scan.resize(scan.parameters.numberOfPoints);
        for (qint32 i = 1; i <= scan.size(); ++i)
            scan.setPoint(i, start + (i - 1) * step, i == scan.size() / 2 ? peak : 0);
        scan.maximum = peak;
        flags().dataPresent = true;
        frontPanel().setText(Field::ScanStart, QString::number(start));
        frontPanel().setText(Field::ScanStop, QString::number(stop));
        frontPanel().setText(Field::ScanStep, QString::number(step));
        scan.plot(start, stop, step, peak);
    }
    void drag(QPointF from, QPointF to, Qt::KeyboardModifiers modifiers)
    {
        const QPoint first = from.toPoint(), last = to.toPoint();
        QTest::mousePress(m_chart.get(), Qt::LeftButton, modifiers, first);
        QMouseEvent move(QEvent::MouseMove, QPointF(last), m_chart->mapToGlobal(QPointF(last)), Qt::NoButton, Qt::LeftButton, modifiers);
        QApplication::sendEvent(m_chart.get(), &move);
        QTest::mouseRelease(m_chart.get(), Qt::LeftButton, modifiers, last);
    }
    QPointF pixel(double angle, double counts) const { return {m_chart->xAxis->coordToPixel(angle), m_chart->yAxis->coordToPixel(counts)}; }
    void point(double angle, double counts)
    {
        const QPointF at = pixel(angle, counts);
        QMouseEvent move(QEvent::MouseMove, at, m_chart->mapToGlobal(at), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(m_chart.get(), &move);
    }

private slots:
    void init()
    {
        resetProgram();
        m_chart = std::make_unique<Chart2d>();
        m_chart->resize(800, 600);
        modGraphics::SetChart(m_chart.get());
        m_chart->show();
        QVERIFY(QTest::qWaitForWindowExposed(m_chart.get()));
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
    }
    void cleanup()
    {
        m_chart.reset();
        resetProgram();
    }

    void anEmptyChartSaysHowToBegin()
    {
        QCOMPARE(m_chart->objectName(), QStringLiteral("Chart2d"));
        QCOMPARE(m_chart->xAxis->label(), QStringLiteral("2-Theta [deg]"));
        QCOMPARE(m_chart->yAxis->label(), QStringLiteral("Intensity"));
        QVERIFY(m_chart->item(0)->visible());
        load(10, 20, 0.01, 1000);
        QVERIFY(!m_chart->item(0)->visible());
        QCOMPARE(m_chart->yAxis->label(), QStringLiteral("Int. [cts]"));
    }

    void allPointsAreDrawnOverTheWholeRange()
    {
        load(10, 20, 0.02, 1000);
        QCOMPARE(m_chart->graph(0)->dataCount(), 501);
        QCOMPARE(m_chart->visibleAngles().lower, 10.0);
        QCOMPARE(m_chart->visibleAngles().upper, 20.0);
        QCOMPARE(m_chart->visibleCounts().upper, 1050.0);
        QVERIFY(!flags().busy);
    }

    void aScanWithoutCountsIsDrawnFromZeroToOne()
    {
        load(10, 20, 0.02, 0);
        QCOMPARE(m_chart->visibleCounts().lower, 0.0);
        QCOMPARE(m_chart->visibleCounts().upper, 1.0);
    }

    void aTitleBecomesTheHeaderAndAnEmptyOneKeepsIt()
    {
        load(10, 20, 0.02, 10);
        QVERIFY(m_chart->header().isEmpty());
        modGraphics::Plot2D(QStringLiteral("quartz"), 10, 20, 0.02, 11, 0);
        QCOMPARE(m_chart->header(), QStringLiteral("quartz"));
        modGraphics::Plot2D({}, 10, 20, 0.02, 11, 0);
        QCOMPARE(m_chart->header(), QStringLiteral("quartz"));
    }

    void aPlotDoesNotEndTheWorkThatItIsPartOf()
    {
        load(10, 20, 0.02, 10);
        flags().busy = true;
        modGraphics::Plot2D(QStringLiteral("opened"), 10, 20, 0.02, 11, 0);
        QVERIFY(flags().busy);
        flags().busy = false;
        modGraphics::Plot2D({}, 10, 20, 0.02, 11, 0);
        QVERIFY(!flags().busy);
    }

    void shiftDragZoomsAndAPlainDragDoesNot()
    {
        load(10, 20, 0.02, 1000);
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        drag(pixel(12, 800), pixel(15, 200), Qt::NoModifier);
        QCOMPARE(m_chart->visibleAngles().lower, 10.0);
        drag(pixel(12, 800), pixel(15, 200), Qt::ShiftModifier);
        QVERIFY(std::abs(m_chart->visibleAngles().lower - 12) < 0.05);
        QVERIFY(std::abs(m_chart->visibleAngles().upper - 15) < 0.05);
        QVERIFY(std::abs(m_chart->visibleCounts().upper - 800) < 5);
        QVERIFY(std::abs(m_chart->visibleCounts().lower - 200) < 5);
        // A second zoom goes on from the first: holding Shift is not a key that resets.
        QTest::keyPress(m_chart.get(), Qt::Key_Shift);
        QVERIFY(m_chart->visibleAngles().lower > 11);
    }

    void aDragPastTheEdgeStopsAtTheData()
    {
        load(10, 20, 0.02, 1000);
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        drag(pixel(15, 500), QPointF(799, 1), Qt::ShiftModifier);
        QVERIFY(m_chart->visibleAngles().upper <= 20.0);
        QVERIFY(m_chart->visibleCounts().upper <= 1050.0);
        QVERIFY(m_chart->visibleAngles().lower > 14);
    }

    void aDragOfAPixelIsIgnored()
    {
        load(10, 20, 0.02, 1000);
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        drag(pixel(15, 500), pixel(15, 500) + QPointF(1, 1), Qt::ShiftModifier);
        QCOMPARE(m_chart->visibleAngles().lower, 10.0);
        QCOMPARE(m_chart->visibleAngles().upper, 20.0);
    }

    void everyKeyShowsTheWholeScanAgain_data()
    {
        QTest::addColumn<int>("key");
        QTest::newRow("r") << int(Qt::Key_R);
        QTest::newRow("Escape") << int(Qt::Key_Escape);
        QTest::newRow("x") << int(Qt::Key_X);
        QTest::newRow("F5") << int(Qt::Key_F5);
    }
    void everyKeyShowsTheWholeScanAgain()
    {
        QFETCH(int, key);
        load(10, 20, 0.02, 1000);
        m_chart->zoom(12, 13, 0, 100);
        QTest::keyClick(m_chart.get(), static_cast<Qt::Key>(key));
        QCOMPARE(m_chart->visibleAngles().lower, 10.0);
        QCOMPARE(m_chart->visibleAngles().upper, 20.0);
        QCOMPARE(m_chart->visibleCounts().upper, 1050.0);
    }

    void aKeyTakesTheRangeFromTheFields()
    {
        load(10, 20, 0.02, 1000);
        frontPanel().setText(Field::ScanStop, QStringLiteral("25,5"));
        QTest::keyClick(m_chart.get(), Qt::Key_R);
        QCOMPARE(m_chart->visibleAngles().upper, 25.5);
    }

    void aKeyWithoutDataChangesNothing()
    {
        QTest::keyClick(m_chart.get(), Qt::Key_R);
        QCOMPARE(m_chart->yAxis->label(), QStringLiteral("Intensity"));
    }

    void theCursorIsReadOut()
    {
        load(10, 20, 0.01, 1234);
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        QCOMPARE(modGraphics::CursorText(14.99, true), QStringLiteral("Cursor positon: 2-Th = 14.990 deg; I = 1234 cnts"));
        QCOMPARE(modGraphics::CursorText(14.9937, true), QStringLiteral("Cursor positon: 2-Th = 14.994 deg; I = 1234 cnts"));
        QCOMPARE(modGraphics::CursorText(9.5, true), QStringLiteral("Cursor positon: 2-Th = 9.500 deg;"));
        QCOMPARE(modGraphics::CursorText(20, true), QStringLiteral("Cursor positon: 2-Th = 20.000 deg; I = 0 cnts"));
        QCOMPARE(modGraphics::CursorText(15, false), QString());
        point(15, 500);
        QVERIFY(frontPanel().panel(1).startsWith(QStringLiteral("Cursor positon: 2-Th = 1")));
        const QPointF outside(2, 2);
        QMouseEvent move(QEvent::MouseMove, outside, m_chart->mapToGlobal(outside), Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(m_chart.get(), &move);
        QCOMPARE(frontPanel().panel(1), QString());
    }

    void withoutAScanNothingIsReadOut()
    {
        frontPanel().setPanel(1, QStringLiteral("Ready"));
        point(2, 2);
        QCOMPARE(frontPanel().panel(1), QString());
    }

    void theIntensityAxisChangesItsScaleAndKeepsItsView()
    {
        load(10, 20, 0.02, 10000);
        m_chart->zoom(12, 14, 100, 400);
        m_chart->setIntensityAxis(Chart2d::IntensityAxis::SquareRoot);
        QCOMPARE(m_chart->yAxis->range().lower, 10.0);
        QCOMPARE(m_chart->yAxis->range().upper, 20.0);
        QVERIFY(std::abs(m_chart->visibleCounts().upper - 400) < 1e-9);
        m_chart->setIntensityAxis(Chart2d::IntensityAxis::Logarithmic);
        QCOMPARE(m_chart->yAxis->scaleType(), QCPAxis::stLogarithmic);
        QVERIFY(std::abs(m_chart->visibleCounts().lower - 100) < 1e-9);
        m_chart->resetZoom();
        QVERIFY(m_chart->yAxis->range().lower > 0);
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        m_chart->setIntensityAxis(Chart2d::IntensityAxis::Linear);
        QVERIFY(m_chart->contextMenu()->findChildren<QAction*>().size() >= 5 || m_chart->contextMenu()->actions().size() >= 6);
    }

    void theRightButtonOpensTheMenu()
    {
        QContextMenuEvent event(QContextMenuEvent::Mouse, QPoint(100, 100), m_chart->mapToGlobal(QPoint(100, 100)));
        QApplication::sendEvent(m_chart.get(), &event);
        QVERIFY(m_chart->contextMenu()->isVisible());
        QStringList captions;
        for (const QAction* action : m_chart->contextMenu()->actions())
            if (!action->isSeparator())
                captions << action->text();
        QCOMPARE(captions, QStringList({"&Copy Picture", "Save &Picture...", "&Linear", "&Square Root", "Lo&garithmic"}));
        m_chart->contextMenu()->close();
    }

    void aSavedPictureHasEveryPoint()
    {
        load(0, 160, 0.005, 100000); // 32001 points
        m_chart->replot(QCustomPlot::rpImmediateRefresh);
        const QByteArray svg = m_chart->picture(Chart2d::Picture::Svg);
        const qsizetype start = svg.indexOf("<polyline");
        qsizetype longest = 0;
        for (qsizetype at = start; at >= 0; at = svg.indexOf("<polyline", at + 1))
            longest = qMax(longest, svg.mid(at, svg.indexOf("/>", at) - at).count(','));
        const qsizetype path = svg.count('L') + longest;
        QVERIFY2(path >= 32000, qPrintable(QString::number(path)));
        QVERIFY(m_chart->picture(Chart2d::Picture::Pdf).startsWith("%PDF"));
        QImage png;
        QVERIFY(png.loadFromData(m_chart->picture(Chart2d::Picture::Png)));
        QCOMPARE(png.width(), 1600);
        QVERIFY(m_chart->graph(0)->adaptiveSampling());
        m_chart->copyPicture();
        QCOMPARE(QApplication::clipboard()->image().width(), 1600);
    }

    void savingAPictureAsksForItsFile()
    {
        QTemporaryDir directory;
        load(10, 20, 0.02, 1000);
        struct Chooser : Prompts
        {
            QString path, shownTitle, shownText;
            int index = 1;
            Button message(const Message& m) override
            {
                shownTitle = m.title;
                shownText = m.text;
                return Button::Ok;
            }
            QString input(const Input&) override { return {}; }
            ChosenFile openFile(const FileDialog&) override { return {}; }
            ChosenFile saveFile(const FileDialog&) override { return {path, index}; }
        } chooser;
        setPrompts(&chooser);
        chooser.path = directory.filePath(QStringLiteral("picture"));
        chooser.index = 3;
        m_chart->savePicture();
        QVERIFY(QFile::exists(directory.filePath(QStringLiteral("picture.svg"))));
        QVERIFY(chooser.shownTitle.isEmpty());
        chooser.path = directory.filePath(QStringLiteral("missing/picture.pdf"));
        m_chart->savePicture();
        QCOMPARE(chooser.shownTitle, QStringLiteral("Save picture"));
        QVERIFY(chooser.shownText.startsWith(QStringLiteral("Error # 76")));
        setPrompts(nullptr);
    }

    void coloursHaveContrastInBothPalettes()
    {
        QPalette dark;
        for (QPalette::ColorRole role : {QPalette::Window, QPalette::Base})
            dark.setColor(role, QColor(0x1e, 0x1e, 0x1e));
        for (QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text})
            dark.setColor(role, QColor(0xee, 0xee, 0xee));
        for (const QPalette& palette : {Look::paper(), dark}) {
            const QColor base = palette.color(QPalette::Base);
            QVERIFY(Look::contrast(Look::accent(palette), base) >= 4.5);
            QVERIFY(Look::contrast(Look::danger(palette), base) >= 4.5);
            m_chart->setPalette(palette);
            QCOMPARE(m_chart->graph(0)->pen().color(), Look::accent(palette));
            QVERIFY(m_chart->graph(0)->pen().widthF() <= 1);
            QVERIFY(Look::contrast(m_chart->xAxis->tickLabelColor(), base) >= 4.5);
        }
    }
};

QTEST_MAIN(TestChart)
#include "tst_chart.moc"
