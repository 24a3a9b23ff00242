// SPDX-License-Identifier: GPL-3.0-or-later

#pragma once

#include <QByteArray>
#include <QMenu>
#include <QVector>

#include <qcustomplot.h>

/// The chart of the main window: one curve of counts against degrees 2-Theta. Dragging with Shift and the left button zooms, R and
/// Escape show the whole scan again, the right button offers the picture and the scale of the intensity axis. What a key or the
/// pointer means for the scan in memory is modGraphics' business.
class Chart2d : public QCustomPlot
{
    Q_OBJECT

public:
    enum class IntensityAxis { Linear, SquareRoot, Logarithmic };
    enum class Picture { Pdf, Png, Svg };

    explicit Chart2d(QWidget* parent = nullptr);

    /// What stands in the chart while it is empty.
    void setHint(const QString& text);
    /// The hint of a program that waits for its operator.
    static QString howToBegin();

    /// The line above the chart; an empty text takes it away.
    void setHeader(const QString& text);
    QString header() const;

    /// Stands in the chart as long as it is not empty, in pictures of it as well; an empty text takes it away.
    void setMark(const QString& text);
    QString mark() const;

    /// Draws counts over angles, both axes over the given full ranges. An empty intensity range 0..0 is drawn as 0..1.
    void draw(const QVector<double>& angles, const QVector<double>& counts, double start, double stop, double yMinimum, double yMaximum);
    bool isEmpty() const { return m_angles.isEmpty(); }

    /// Shows the angles and counts between the corners, held within the full ranges.
    void zoom(double fromAngle, double toAngle, double fromCounts, double toCounts);
    /// The whole scan again.
    void resetZoom();
    /// What is visible now, in degrees and counts.
    QCPRange visibleAngles() const { return xAxis->range(); }
    QCPRange visibleCounts() const;

    IntensityAxis intensityAxis() const { return m_scale; }
    void setIntensityAxis(IntensityAxis scale);

    /// The chart as a file's content, in light colours and with every point. Empty on failure.
    QByteArray picture(Picture format);
    /// The chart onto the clipboard, in light colours.
    void copyPicture();
    /// Asks for a file name and writes the picture; a failure is shown in a message box titled "Save picture".
    void savePicture();

    /// The actions of the right button.
    QMenu* contextMenu() const { return m_menu; }

    QSize sizeHint() const override { return {640, 480}; }
    QSize minimumSizeHint() const override { return {240, 180}; }

signals:
    /// A key was pressed while the chart has the focus (a modifier key alone does not count).
    void keyPressed(int key);
    /// The pointer moved: the angle under it, and whether it is over the area between the axes.
    void pointerMoved(double angle, bool overPlot);

protected:
    void keyPressEvent(QKeyEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    double toAxis(double counts) const;
    double fromAxis(double value) const;
    void buildMenu();
    void applyColours(const QPalette& palette);
    void applyScale();
    void loadCurve();
    void showEmptyState();
    void zoomToRectangle(const QRect& rectangle);

    QCPTextElement* m_header = nullptr;
    QCPItemText* m_hint = nullptr;
    QCPItemText* m_mark = nullptr;
    QMenu* m_menu = nullptr;
    QVector<double> m_angles;
    QVector<double> m_counts;
    QCPRange m_fullAngles{0, 1};
    QCPRange m_fullCounts{0, 1};
    IntensityAxis m_scale = IntensityAxis::Linear;
};
