// SPDX-License-Identifier: GPL-3.0-or-later

#include "plot/Chart2d.h"

#include "core/NumberText.h"
#include "core/ProgramError.h"
#include "core/Prompts.h"
#include "plot/AxisLook.h"
#include "plot/Look.h"

#include <QActionGroup>
#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QPdfWriter>
#include <QSaveFile>
#include <QSvgGenerator>

#include <algorithm>
#include <cerrno>
#include <cmath>

namespace {
/// On the logarithmic axis a point without counts stands here, at the lower edge.
constexpr double logFloor = 0.5;
/// A drag shorter than this many pixels in either direction is a click.
constexpr int smallestDrag = 3;
/// The saved PNG has this many pixels per pixel of the screen's chart.
constexpr double pngScale = 2;

QString plainNumber(double value)
{
    return QLocale::c().toString(value, 'g', 10).replace(u"e+"_qs, u"e"_qs);
}

class PlainTicker : public QCPAxisTicker
{
protected:
    QString getTickLabel(double tick, const QLocale&, QChar, int) override { return plainNumber(std::abs(tick) < 1e-12 ? 0 : tick); }
};

/// Equal steps of the square root, labelled with the counts.
class SquareRootTicker : public QCPAxisTicker
{
protected:
    QString getTickLabel(double tick, const QLocale&, QChar, int) override { return plainNumber(std::abs(tick) < 1e-9 ? 0 : tick * tick); }
};

class LogarithmicTicker : public QCPAxisTickerLog
{
protected:
    QString getTickLabel(double tick, const QLocale&, QChar, int) override { return plainNumber(tick); }
};

QCPRange held(double from, double to, const QCPRange& limits)
{
    return {std::clamp(std::min(from, to), limits.lower, limits.upper), std::clamp(std::max(from, to), limits.lower, limits.upper)};
}
} // namespace

Chart2d::Chart2d(QWidget* parent) : QCustomPlot(parent)
{
    setObjectName(u"Chart2d"_qs);
    setToolTip(u"Zoom: Shift + drag while left mouse button pressed; Unzoom: press 'R' key to reset display"_qs);
    setAccessibleName(u"Diffractogram"_qs);
    setFocusPolicy(Qt::StrongFocus);
    setMouseTracking(true);
    setInteractions(QCP::iNone);
    setPlottingHint(QCP::phFastPolylines);
    setNoAntialiasingOnDrag(true);

    addGraph();
    xAxis->setLabel(u"2-Theta [deg]"_qs);
    yAxis->setLabel(u"Intensity"_qs);
    xAxis->setTicker(QSharedPointer<QCPAxisTicker>(new PlainTicker));
    AxisLook::box(this);

    m_hint = new QCPItemText(this);
    m_hint->setObjectName(u"hint"_qs);
    m_hint->setText(howToBegin());
    m_hint->position->setType(QCPItemPosition::ptAxisRectRatio);
    m_hint->position->setCoords(0.5, 0.45);
    m_hint->setTextAlignment(Qt::AlignCenter);

    m_mark = new QCPItemText(this);
    m_mark->setObjectName(u"mark"_qs);
    m_mark->position->setType(QCPItemPosition::ptAxisRectRatio);
    m_mark->position->setCoords(0.5, 0.02);
    m_mark->setPositionAlignment(Qt::AlignHCenter | Qt::AlignTop);
    m_mark->setPadding(QMargins(8, 3, 8, 3));
    m_mark->setVisible(false);

    // The selection mode is read after mousePress: Shift turns this one drag into a zoom.
    connect(this, &QCustomPlot::mousePress, this, [this](QMouseEvent* event) {
        const bool zooms = event->button() == Qt::LeftButton && event->modifiers().testFlag(Qt::ShiftModifier) && !isEmpty();
        setSelectionRectMode(zooms ? QCP::srmCustom : QCP::srmNone);
    });
    connect(selectionRect(), &QCPSelectionRect::accepted, this, [this](const QRect& rectangle) { zoomToRectangle(rectangle); });

    buildMenu();
    applyScale();
    applyColours(palette());
    showEmptyState();
}

void Chart2d::buildMenu()
{
    m_menu = new QMenu(this);
    m_menu->setObjectName(u"mnuChart"_qs);
    const auto add = [this](const QString& name, const QString& caption, const QString& toolTip) {
        QAction* action = m_menu->addAction(caption);
        action->setObjectName(name);
        action->setToolTip(toolTip);
        return action;
    };
    connect(add(u"mnuChartCopy"_qs, u"&Copy Picture"_qs, u"Copy the chart to the clipboard"_qs), &QAction::triggered, this,
            &Chart2d::copyPicture);
    connect(add(u"mnuChartSave"_qs, u"Save &Picture..."_qs, u"Save the chart as PDF, PNG or SVG, with every point"_qs), &QAction::triggered,
            this, &Chart2d::savePicture);
    m_menu->addSection(u"Intensity axis"_qs);
    auto* group = new QActionGroup(this);
    const auto addScale = [&](const QString& name, const QString& caption, IntensityAxis scale) {
        QAction* action = add(name, caption, u"Scale of the intensity axis"_qs);
        action->setCheckable(true);
        action->setChecked(scale == m_scale);
        group->addAction(action);
        connect(action, &QAction::triggered, this, [this, scale] { setIntensityAxis(scale); });
    };
    addScale(u"mnuChartLinear"_qs, u"&Linear"_qs, IntensityAxis::Linear);
    addScale(u"mnuChartSquareRoot"_qs, u"&Square Root"_qs, IntensityAxis::SquareRoot);
    addScale(u"mnuChartLogarithmic"_qs, u"Lo&garithmic"_qs, IntensityAxis::Logarithmic);
}

void Chart2d::setHeader(const QString& text)
{
    if (text.isEmpty() && m_header == nullptr)
        return;
    if (text.isEmpty()) {
        plotLayout()->remove(m_header);
        plotLayout()->simplify();
        m_header = nullptr;
    } else if (m_header == nullptr) {
        plotLayout()->insertRow(0);
        m_header = new QCPTextElement(this, text, font());
        plotLayout()->addElement(0, 0, m_header);
    } else {
        m_header->setText(text);
    }
    applyColours(palette());
    replot(rpQueuedReplot);
}

void Chart2d::setHint(const QString& text)
{
    if (m_hint->text() == text)
        return;
    m_hint->setText(text);
    if (isEmpty())
        replot(rpQueuedReplot);
}

void Chart2d::setMark(const QString& text)
{
    m_mark->setText(text);
    m_mark->setVisible(!text.isEmpty());
    replot(rpQueuedReplot);
}

QString Chart2d::mark() const
{
    return m_mark->text();
}

QString Chart2d::howToBegin()
{
    return u"No scan in memory\n\nMeasurement > Start Data Acquisition measures one,\nFile > Open... shows a stored one"_qs;
}

QString Chart2d::header() const
{
    return m_header != nullptr ? m_header->text() : QString();
}

void Chart2d::draw(const QVector<double>& angles, const QVector<double>& counts, double start, double stop, double yMinimum,
                   double yMaximum)
{
    m_angles = angles;
    m_counts = counts;
    m_fullAngles = QCPRange(start, stop > start ? stop : start + 1);
    m_fullCounts = QCPRange(yMinimum, yMaximum > yMinimum ? yMaximum : yMinimum + 1);
    yAxis->setLabel(u"Int. [cts]"_qs);
    showEmptyState();
    loadCurve();
    resetZoom();
}

void Chart2d::showEmptyState()
{
    m_hint->setVisible(isEmpty());
    for (QCPAxis* axis : {xAxis, yAxis}) {
        axis->setTicks(!isEmpty());
        axis->setTickLabels(!isEmpty());
        axis->grid()->setVisible(!isEmpty());
    }
}

double Chart2d::toAxis(double counts) const
{
    switch (m_scale) {
    case IntensityAxis::Linear:
        return counts;
    case IntensityAxis::SquareRoot:
        return std::sqrt(std::max(counts, 0.0));
    case IntensityAxis::Logarithmic:
        return std::max(counts, logFloor);
    }
    return counts;
}

double Chart2d::fromAxis(double value) const
{
    return m_scale == IntensityAxis::SquareRoot ? value * value : value;
}

QCPRange Chart2d::visibleCounts() const
{
    return {fromAxis(yAxis->range().lower), fromAxis(yAxis->range().upper)};
}

void Chart2d::loadCurve()
{
    QVector<double> values = m_counts;
    std::transform(values.begin(), values.end(), values.begin(), [this](double counts) { return toAxis(counts); });
    graph(0)->setData(m_angles, values);
}

void Chart2d::zoom(double fromAngle, double toAngle, double fromCounts, double toCounts)
{
    const QCPRange angles = held(fromAngle, toAngle, m_fullAngles);
    const QCPRange counts = held(fromCounts, toCounts, m_fullCounts);
    if (angles.size() <= 0 || counts.size() <= 0)
        return;
    xAxis->setRange(angles);
    yAxis->setRange(toAxis(counts.lower), toAxis(counts.upper));
    replot(rpQueuedReplot);
}

void Chart2d::resetZoom()
{
    zoom(m_fullAngles.lower, m_fullAngles.upper, m_fullCounts.lower, m_fullCounts.upper);
}

void Chart2d::zoomToRectangle(const QRect& rectangle)
{
    setSelectionRectMode(QCP::srmNone);
    const QRect box = rectangle.normalized();
    if (isEmpty() || box.width() <= smallestDrag || box.height() <= smallestDrag)
        return;
    zoom(xAxis->pixelToCoord(box.left()), xAxis->pixelToCoord(box.right()), fromAxis(yAxis->pixelToCoord(box.bottom())),
         fromAxis(yAxis->pixelToCoord(box.top())));
}

void Chart2d::setIntensityAxis(IntensityAxis scale)
{
    const QCPRange visible = visibleCounts();
    m_scale = scale;
    applyScale();
    loadCurve();
    yAxis->setRange(toAxis(visible.lower), std::max(toAxis(visible.upper), toAxis(visible.lower) * 1.0000001));
    const char* names[] = {"mnuChartLinear", "mnuChartSquareRoot", "mnuChartLogarithmic"};
    if (auto* action = findChild<QAction*>(QString::fromLatin1(names[static_cast<int>(scale)])))
        action->setChecked(true);
    replot(rpQueuedReplot);
}

void Chart2d::applyScale()
{
    const bool logarithmic = m_scale == IntensityAxis::Logarithmic;
    yAxis->setScaleType(logarithmic ? QCPAxis::stLogarithmic : QCPAxis::stLinear);
    if (logarithmic)
        yAxis->setTicker(QSharedPointer<QCPAxisTicker>(new LogarithmicTicker));
    else if (m_scale == IntensityAxis::SquareRoot)
        yAxis->setTicker(QSharedPointer<QCPAxisTicker>(new SquareRootTicker));
    else
        yAxis->setTicker(QSharedPointer<QCPAxisTicker>(new PlainTicker));
}

void Chart2d::applyColours(const QPalette& palette)
{
    const QColor text = palette.color(QPalette::Text);
    const QFont axisFont = font();
    AxisLook::apply(this, palette);
    // Width 1: wider pens leave the fast path and a full scan takes most of a second to draw.
    graph(0)->setPen(QPen(Look::accent(palette), 1));
    selectionRect()->setPen(QPen(Look::accent(palette), 1, Qt::DashLine));
    QColor fill = Look::accent(palette);
    fill.setAlpha(40);
    selectionRect()->setBrush(fill);
    m_hint->setColor(Look::between(palette, 0.7));
    m_hint->setFont(axisFont);
    m_mark->setColor(text);
    m_mark->setPen(QPen(text, 1));
    m_mark->setBrush(palette.color(QPalette::Base));
    m_mark->setFont(axisFont);
    if (m_header != nullptr) {
        m_header->setTextColor(text);
        m_header->setFont(axisFont);
    }
}

QByteArray Chart2d::picture(Picture format)
{
    // The axis keeps its margins from the last drawing, so the picture is what the screen shows.
    QByteArray content;
    QBuffer buffer(&content);
    buffer.open(QIODevice::WriteOnly);
    applyColours(Look::paper());
    // Thinned points would be missing from a picture that is enlarged later.
    graph(0)->setAdaptiveSampling(format == Picture::Png);
    const auto paint = [this](QPaintDevice* device) {
        QCPPainter painter(device);
        painter.setMode(QCPPainter::pmVectorized);
        painter.setMode(QCPPainter::pmNoCaching);
        toPainter(&painter, width(), height());
        return painter.end();
    };
    bool written = false;
    if (format == Picture::Png) {
        written = toPixmap(width(), height(), pngScale).save(&buffer, "PNG");
    } else if (format == Picture::Svg) {
        QSvgGenerator generator;
        generator.setOutputDevice(&buffer);
        generator.setTitle(header());
        generator.setSize(size());
        generator.setViewBox(rect());
        written = paint(&generator);
    } else {
        QPdfWriter writer(&buffer);
        writer.setResolution(96);
        writer.setPageMargins(QMarginsF(0, 0, 0, 0));
        writer.setPageSize(QPageSize(QSizeF(size()) * 72.0 / 96.0, QPageSize::Point));
        written = paint(&writer);
    }
    graph(0)->setAdaptiveSampling(true);
    applyColours(palette());
    replot(rpQueuedReplot);
    return written ? content : QByteArray();
}

void Chart2d::copyPicture()
{
    QPixmap pixmap;
    pixmap.loadFromData(picture(Picture::Png), "PNG");
    QApplication::clipboard()->setPixmap(pixmap);
}

void Chart2d::savePicture()
{
    const QString title = u"Save picture"_qs;
    Prompts::FileDialog dialog;
    dialog.title = title;
    dialog.filter = u"PDF (*.pdf)|*.pdf|PNG (*.png)|*.png|SVG (*.svg)|*.svg"_qs;
    dialog.overwritePrompt = true;
    const Prompts::ChosenFile chosen = prompts().saveFile(dialog);
    if (chosen.path.isEmpty())
        return;
    static const QStringList suffixes = {u".pdf"_qs, u".png"_qs, u".svg"_qs};
    qsizetype format = suffixes.indexOf(chosen.path.right(4).toLower());
    QString path = chosen.path;
    if (format < 0) {
        format = std::clamp<qsizetype>(chosen.filterIndex - 1, 0, 2);
        path += suffixes[format];
    }
    const QByteArray content = picture(static_cast<Picture>(format));
    errno = 0;
    QSaveFile file(path);
    const bool saved = !content.isEmpty() && file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.commit();
    if (!saved) {
        const int systemError = errno;
        const ProgramError error = ProgramError::ofFile(path, file.error(), systemError);
        showMessage(title, u"Error # "_qs + NumberText::General(qint32{error.number}) + u"\r\n"_qs + error.description,
                    Prompts::Icon::Exclamation);
    }
}

void Chart2d::keyPressEvent(QKeyEvent* event)
{
    switch (event->key()) {
    case Qt::Key_Shift: // held for the next zoom
    case Qt::Key_Control:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Meta:
        QCustomPlot::keyPressEvent(event);
        return;
    default:
        emit keyPressed(event->key());
        event->accept();
    }
}

void Chart2d::mouseMoveEvent(QMouseEvent* event)
{
    QCustomPlot::mouseMoveEvent(event);
    emit pointerMoved(xAxis->pixelToCoord(event->position().x()), axisRect()->rect().contains(event->position().toPoint()));
}

void Chart2d::contextMenuEvent(QContextMenuEvent* event)
{
    m_menu->popup(event->globalPos());
}

void Chart2d::changeEvent(QEvent* event)
{
    QCustomPlot::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::FontChange) {
        applyColours(palette());
        replot(rpQueuedReplot);
    }
}
