#include <movietools/draw/plotpanel_p.h>

#include <QFontMetrics>

#include <algorithm>
#include <cmath>

namespace zd::movietools {

namespace {

constexpr int gap = 6;
const QColor ink(60, 60, 60);
const QColor gridInk(225, 225, 225);

/// From values to pixels, one panel.
class PanelPainter {
public:
    PanelPainter(QPainter& painter, const QRect& box, const PlotPanel& panel);

    void draw(const QString& xTitle);

private:
    QPointF place(const QPointF& point) const;
    void drawGrid(bool withNumbers);
    void drawCurve();
    std::vector<QPointF> thinned() const;
    static QString number(double value);

    QPainter& m_painter;
    const PlotPanel& m_panel;
    QRect m_box;
    QRect m_area;
    double m_low = 0;
    double m_high = 1;
};

PanelPainter::PanelPainter(QPainter& painter, const QRect& box, const PlotPanel& panel)
    : m_painter(painter), m_panel(panel), m_box(box)
{
    const QFontMetrics metrics(painter.font());
    const int numbers = metrics.horizontalAdvance(QStringLiteral("-0000000")) + gap;
    m_area = box.adjusted(numbers, metrics.lineSpacing() + gap, -2 * gap, -metrics.lineSpacing());
    if (panel.points.empty())
        return;
    const auto [least, most] = std::minmax_element(panel.points.begin(), panel.points.end(),
                                                   [](const QPointF& a, const QPointF& b) { return a.y() < b.y(); });
    const double margin =
        most->y() > least->y() ? 0.05 * (most->y() - least->y()) : std::max(0.05 * std::fabs(most->y()), 1e-6);
    m_low = least->y() - margin;
    m_high = most->y() + margin;
}

QPointF PanelPainter::place(const QPointF& point) const
{
    const double width = m_panel.xHigh > m_panel.xLow ? m_panel.xHigh - m_panel.xLow : 1;
    return {m_area.left() + (point.x() - m_panel.xLow) / width * m_area.width(),
            m_area.bottom() - (point.y() - m_low) / (m_high - m_low) * m_area.height()};
}

void PanelPainter::draw(const QString& xTitle)
{
    const QFontMetrics metrics(m_painter.font());
    m_painter.setPen(ink);
    m_painter.drawText(m_area.left(), m_box.top() + metrics.ascent(), m_panel.title);
    drawGrid(!xTitle.isEmpty());
    if (m_panel.points.empty()) {
        m_painter.setPen(ink);
        m_painter.drawText(m_area, Qt::AlignCenter, m_panel.emptyText);
    } else {
        drawCurve();
    }
    m_painter.setPen(ink);
    m_painter.drawRect(m_area);
    if (!xTitle.isEmpty())
        m_painter.drawText(
            QRect(m_area.left(), m_area.bottom() + metrics.lineSpacing() + gap, m_area.width(), metrics.lineSpacing()),
            Qt::AlignHCenter | Qt::AlignTop, xTitle);
}

void PanelPainter::drawGrid(bool withNumbers)
{
    const QFontMetrics metrics(m_painter.font());
    const int line = metrics.lineSpacing();
    for (const double x : roundTicks(m_panel.xLow, m_panel.xHigh, std::max(m_area.width() / 110, 2))) {
        const int column = static_cast<int>(std::lround(place({x, m_low}).x()));
        m_painter.setPen(gridInk);
        m_painter.drawLine(column, m_area.top(), column, m_area.bottom());
        m_painter.setPen(ink);
        if (withNumbers)
            m_painter.drawText(QRect(column - 60, m_area.bottom() + gap / 2, 120, line),
                               Qt::AlignHCenter | Qt::AlignTop, number(x));
    }
    if (m_panel.points.empty())
        return;
    for (const double y : roundTicks(m_low, m_high, std::max(m_area.height() / (2 * line), 3))) {
        const int row = static_cast<int>(std::lround(place({m_panel.xLow, y}).y()));
        m_painter.setPen(gridInk);
        m_painter.drawLine(m_area.left(), row, m_area.right(), row);
        m_painter.setPen(ink);
        m_painter.drawText(QRect(m_box.left(), row - line / 2, m_area.left() - m_box.left() - gap, line),
                           Qt::AlignRight | Qt::AlignVCenter, number(y));
    }
}

QString PanelPainter::number(double value)
{
    return QString::number(std::fabs(value) < 1e-12 ? 0 : value, 'g', 6);
}

void PanelPainter::drawCurve()
{
    std::vector<QPointF> places;
    for (const QPointF& point : thinned())
        places.push_back(place(point));
    m_painter.setRenderHint(QPainter::Antialiasing);
    m_painter.setPen(QPen(m_panel.color, 1.4));
    m_painter.drawPolyline(places.data(), static_cast<int>(places.size()));
    m_painter.setBrush(m_panel.color);
    if (static_cast<int>(places.size()) < m_area.width() / 8)
        for (const QPointF& point : places)
            m_painter.drawEllipse(point, 2, 2);
    m_painter.setBrush(Qt::NoBrush);
    m_painter.setRenderHint(QPainter::Antialiasing, false);
}

// Of many points, the least and the greatest of each pixel column: no peak is lost.
std::vector<QPointF> PanelPainter::thinned() const
{
    const std::vector<QPointF>& points = m_panel.points;
    const auto columns = static_cast<std::size_t>(std::max(m_area.width(), 1));
    if (points.size() < 4 * columns)
        return points;
    std::vector<QPointF> kept;
    for (std::size_t column = 0; column < columns; ++column) {
        const auto begin = points.begin() + static_cast<std::ptrdiff_t>(column * points.size() / columns);
        const auto end = points.begin() + static_cast<std::ptrdiff_t>((column + 1) * points.size() / columns);
        const auto [least, most] =
            std::minmax_element(begin, end, [](const QPointF& a, const QPointF& b) { return a.y() < b.y(); });
        kept.push_back(std::min(least, most) == least ? *least : *most);
        kept.push_back(std::min(least, most) == least ? *most : *least);
    }
    return kept;
}

} // namespace

void drawPanel(QPainter& painter, const QRect& box, const PlotPanel& panel, const QString& xTitle)
{
    PanelPainter(painter, box, panel).draw(xTitle);
}

std::vector<double> roundTicks(double low, double high, int count)
{
    if (!(high > low) || count < 1)
        return {low};
    const double rough = (high - low) / count;
    const double power = std::pow(10, std::floor(std::log10(rough)));
    const double digit = rough / power;
    const double step = power * (digit <= 1 ? 1 : digit <= 2 ? 2 : digit <= 5 ? 5 : 10);
    std::vector<double> ticks;
    const double first = std::ceil(low / step);
    for (int i = 0; i <= 2 * count + 2 && (first + i) * step <= high; ++i)
        ticks.push_back((first + i) * step);
    return ticks;
}

} // namespace zd::movietools
