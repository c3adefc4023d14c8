#pragma once

#include <QColor>
#include <QPainter>
#include <QPointF>
#include <QRect>
#include <QString>

#include <vector>

namespace zd::movietools {

/// One curve over an axis that several panels share.
struct PlotPanel {
    QString title;
    QString emptyText; ///< shown when there are no points
    QColor color;
    std::vector<QPointF> points; ///< in order of x
    double xLow = 0;             ///< ends of the shared axis
    double xHigh = 1;
};

/// Draws a panel into a box, title above, numbers at the left and, with an `xTitle`, below.
void drawPanel(QPainter& painter, const QRect& box, const PlotPanel& panel, const QString& xTitle);

/// Round numbers that divide the range from `low` to `high` into about `count` parts, from the first at or above `low`.
std::vector<double> roundTicks(double low, double high, int count);

} // namespace zd::movietools
