#include "kvcplotrenderer.h"

#include <QPainter>
#include <QPolygonF>

#include <cmath>
#include <limits>

namespace {

// Far enough outside any plot to be clipped, near enough for the raster
// engine's fixed-point coordinates.
constexpr double kFarAway = 1e5;

class SeriesPainter
{
public:
    SeriesPainter(QPainter &painter, const KvcPlotRenderer::Frame &frame,
        const KvcPlotRenderer::Series &series)
        : painter(painter)
        , series(series)
        , halfPen(frame.penWidth * frame.devicePixelRatio / 2)
        , xScale(frame.pixels.width() / (frame.xMax - frame.xMin))
        , xMin(frame.xMin)
        , logY(frame.logY && frame.yMin > 0)
        , yMax(logY ? std::log10(frame.yMax) : frame.yMax)
        , yScale(frame.yMax > frame.yMin ? frame.pixels.height()
                      / (logY ? std::log10(frame.yMax) - std::log10(frame.yMin)
                              : frame.yMax - frame.yMin)
                                         : 0.0)
        , yMiddle(frame.pixels.height() / 2.0)
        , plotHeight(frame.pixels.height())
    { }

    void draw()
    {
        const QVector<KvcPlotColumns::Column> &columns = series.columns;
        if (series.before.valid)
            vertex(-1, QPointF(x(series.before.x), y(series.before.y)));
        for (int c = 0; c < columns.size(); ++c) {
            const KvcPlotColumns::Column &column = columns.at(c);
            if (column.count == 0)
                continue;
            if (column.count == 1 || column.extent.isEmpty()) {
                vertex(c, QPointF(x(column.firstX), y(column.first)));
                continue;
            }
            const double center = c + 0.5;
            if (logY && !(column.extent.max > 0)) {
                // Nothing drawable in the column.
                vertex(c, QPointF(center, y(column.extent.max)));
                continue;
            }
            const double top = y(column.extent.max);
            const double bottom = y(low(column.extent));
            if (bottom - top <= halfPen) {
                // As thin as the pen: a point of the line covers the column,
                // and the line its joins.
                vertex(c, QPointF(center, (top + bottom) / 2));
                continue;
            }
            // A rectangle covers the column's extent and its joins with the
            // neighbouring columns.
            double lowest = low(column.extent);
            double high = column.extent.max;
            if (c > 0 && columns.at(c - 1).count > 0)
                widen(lowest, high, columns.at(c - 1).last);
            if (c + 1 < columns.size() && columns.at(c + 1).count > 0)
                widen(lowest, high, columns.at(c + 1).first);
            const double rectTop = y(high);
            const double rectBottom = y(lowest);
            if (last.column != c - 1)
                join(QPointF(center, y(column.first)));
            endLine();
            // Neighbouring columns' rectangles meet; a band's ends get the
            // pen's half width, as its top and bottom do.
            const bool joinedLeft = last.column == c - 1 && last.tall;
            if (joinedLeft)
                rects.last().setRight(c);
            rects << QRectF(QPointF(joinedLeft ? c : center - halfPen, rectTop - halfPen),
                QPointF(center + halfPen, rectBottom + halfPen));
            last = {c, true, QPointF(center, y(column.last))};
        }
        if (series.after.valid)
            vertex(columns.size() + 1, QPointF(x(series.after.x), y(series.after.y)));
        endLine();
        flush();
    }

private:
    struct Last {
        int column = -3;
        bool tall = false;
        QPointF point;
    };

    void widen(double &low, double &high, double value) const
    {
        if (logY && !(value > 0))
            return;
        if (value < low)
            low = value;
        if (value > high)
            high = value;
    }

    double x(double value) const { return qBound(-kFarAway, (value - xMin) * xScale, kFarAway); }
    double y(double value) const
    {
        if (logY) {
            // Not drawable on a logarithmic axis: a gap.
            if (!(value > 0))
                return std::numeric_limits<double>::quiet_NaN();
            value = std::log10(value);
        }
        if (yScale == 0.0)
            return yMiddle;
        return qBound(-kFarAway, (yMax - value) * yScale, kFarAway);
    }
    // A column's lowest drawable value.
    double low(const KvcPlotColumns::Extent &extent) const
    {
        return logY ? extent.minPositive : extent.min;
    }

    // A point of the line, in column `c`.
    void vertex(int c, const QPointF &point)
    {
        if (std::isnan(point.y())) {
            // A value that is not a number is a gap.
            endLine();
            last = Last();
            return;
        }
        // A tall neighbour's rectangle covers the join; one further away
        // needs a line from its last sample.
        if (last.tall && last.column != c - 1 && !std::isnan(last.point.y()))
            line << last.point;
        line << point;
        last = {c, false, point};
    }

    void join(const QPointF &to)
    {
        if (last.column < -2 || std::isnan(to.y()))
            return;
        if (line.isEmpty() && !std::isnan(last.point.y()))
            line << last.point;
        line << to;
    }

    void endLine()
    {
        if (line.size() >= 2)
            lines << line;
        else if (line.size() == 1)
            points << line.first();
        line.clear();
    }

    void flush()
    {
        if (!rects.isEmpty()) {
            // Upright rectangles on whole columns: filled at the cost of a
            // copy, without the antialiasing rasterizer.
            painter.setPen(Qt::NoPen);
            painter.setBrush(series.color);
            double height = 0.0;
            for (const QRectF &rect : qAsConst(rects))
                height += rect.height();
            if (height < series.columns.size() * plotHeight / 8) {
                painter.drawRects(rects);
            } else {
                // A band across much of the plot, as noise draws: its edges
                // are the columns' extremes anyway, and whole pixels are
                // filled without the antialiasing rasterizer at a third of
                // its cost.
                QVector<QRect> pixels;
                pixels.reserve(rects.size());
                for (const QRectF &rect : qAsConst(rects))
                    pixels << QRect(QPoint(qRound(rect.left()), qRound(rect.top())),
                        QPoint(qRound(rect.right()) - 1, qRound(rect.bottom()) - 1));
                painter.setRenderHint(QPainter::Antialiasing, false);
                painter.drawRects(pixels);
                painter.setRenderHint(QPainter::Antialiasing, true);
            }
        }
        painter.setBrush(Qt::NoBrush);
        QPen pen(series.color, 2 * halfPen, series.style, Qt::RoundCap, Qt::RoundJoin);
        if (series.style != Qt::SolidLine) {
            // A dash's gaps would hide samples: a thin solid line runs
            // through them.
            QPen core = pen;
            core.setStyle(Qt::SolidLine);
            core.setWidthF(qMax(1.0, 2 * halfPen / 3));
            painter.setPen(core);
            for (const QPolygonF &polyline : qAsConst(lines))
                painter.drawPolyline(polyline);
        }
        painter.setPen(pen);
        for (const QPolygonF &polyline : qAsConst(lines))
            painter.drawPolyline(polyline);
        pen.setStyle(Qt::SolidLine);
        painter.setPen(pen);
        if (!points.isEmpty())
            painter.drawPoints(points);
    }

    QPainter &painter;
    const KvcPlotRenderer::Series &series;
    const double halfPen;
    const double xScale;
    const double xMin;
    const bool logY;
    const double yMax;
    const double yScale;
    const double yMiddle;
    const double plotHeight;
    Last last;
    QPolygonF line;
    QVector<QPolygonF> lines;
    QPolygonF points;
    QVector<QRectF> rects;
};

} // namespace

QImage KvcPlotRenderer::render(const Frame &frame)
{
    QImage image(frame.pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(frame.devicePixelRatio);
    image.fill(Qt::transparent);
    if (image.isNull() || !(frame.xMax > frame.xMin))
        return image;
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    // Device pixels: the columns are the image's own.
    if (frame.devicePixelRatio != 1.0)
        painter.scale(1 / frame.devicePixelRatio, 1 / frame.devicePixelRatio);
    for (const Series &series : frame.series)
        SeriesPainter(painter, frame, series).draw();
    return image;
}
