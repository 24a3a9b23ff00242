// SPDX-License-Identifier: GPL-3.0-or-later

#include "ui/ProfilePicture.h"

#include "core/NumberText.h"
#include "core/ScanParameters.h"
#include "goniometer/ScanRun.h"

#include <QPainter>

#include <algorithm>

namespace {
constexpr int edge = 6; // px around the picture

struct Span
{
    double from = 0, to = 0;
    double at(double value) const { return to > from ? (value - from) / (to - from) : 0.5; }
};
} // namespace

ProfilePicture::ProfilePicture(QWidget* parent) : QWidget(parent)
{
    setObjectName(QStringLiteral("picProfile"));
    setToolTip(QStringLiteral("Temperature against time; thick: scans"));
    setMinimumHeight(120);
}

void ProfilePicture::showPlan(const QList<ProfileRun::Row>& rows, const QString& unit)
{
    m_rows = rows;
    m_unit = unit;
    update();
}

void ProfilePicture::paintEvent(QPaintEvent*)
{
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), palette().base());
    painter.setPen(palette().color(QPalette::Mid));
    painter.drawRect(rect().adjusted(0, 0, -1, -1));
    if (m_rows.isEmpty())
        return;
    const auto [least, most] =
        std::minmax_element(m_rows.begin(), m_rows.end(), [](const auto& a, const auto& b) { return a.setpoint < b.setpoint; });
    const Span values{least->setpoint, most->setpoint};
    const Span times{0, std::max(ProfileRun::TimeFor(m_rows), 1.0)};
    const QString top = NumberText::General(values.to) + u' ' + m_unit;
    const QString bottom = NumberText::General(values.from) + u' ' + m_unit;
    const int line = fontMetrics().height();
    const int left = edge + std::max(fontMetrics().horizontalAdvance(top), fontMetrics().horizontalAdvance(bottom)) + edge;
    const QRectF area(left, edge + line / 2.0, width() - left - 2 * edge, height() - 2.5 * line - 2 * edge);
    painter.setPen(palette().color(QPalette::Text));
    painter.drawText(edge, static_cast<int>(area.top()) + line / 3, top);
    if (values.to > values.from)
        painter.drawText(edge, static_cast<int>(area.bottom()) + line / 3, bottom);
    painter.drawText(QRectF(area.left(), area.bottom() + edge, area.width(), line), Qt::AlignRight,
                     NumberText::Fixed(times.to / 3600, 1) + QStringLiteral(" h"));

    const auto point = [&](double time, double value) {
        return QPointF(area.left() + times.at(time) * area.width(), area.bottom() - values.at(value) * area.height());
    };
    double time = 0;
    double before = m_rows.constFirst().setpoint;
    for (const ProfileRun::Row& row : std::as_const(m_rows)) {
        const double scan = std::min(row.estimate, ScanRun::ExpectedTime(scanParameters(), row.counterTime));
        const double there = time + std::max(0.0, row.estimate - scan - row.dwell);
        const double begin = time + row.estimate - scan;
        painter.setPen(QPen(palette().color(QPalette::Text), 1));
        painter.drawLine(point(time, before), point(there, row.setpoint));
        painter.drawLine(point(there, row.setpoint), point(begin, row.setpoint));
        painter.setPen(QPen(palette().color(QPalette::Highlight), 3));
        painter.drawLine(point(begin, row.setpoint), point(time + row.estimate, row.setpoint));
        painter.setBrush(palette().color(QPalette::Highlight));
        painter.drawEllipse(point(begin, row.setpoint), 2.0, 2.0);
        time += row.estimate;
        before = row.setpoint;
    }
}
