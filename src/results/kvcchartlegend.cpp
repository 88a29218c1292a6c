#include "kvcchartlegend.h"

#include <QFontMetricsF>
#include <QGraphicsSceneMouseEvent>
#include <QPainter>
#include <QtCharts/QChart>
#include <QtCharts/QLegend>
#include <QtCharts/QXYSeries>

QT_CHARTS_USE_NAMESPACE

namespace {

constexpr qreal swatchWidth = 24.0;
constexpr qreal swatchGap = 5.0;
constexpr qreal entryGap = 14.0;

// What Qt Charts' legend puts around each name: its square marker, the room
// between marker and name, and between entries (measured on Qt 5.15, with
// some room to spare).
constexpr qreal qtMarkerExtra = 30.0;

} // namespace

KvcChartLegend::KvcChartLegend(QChart *chart)
    : QGraphicsObject(chart)
    , m_chart(chart)
    , m_margins(chart->margins())
{
    setZValue(chart->legend()->zValue());
    setAcceptedMouseButtons(Qt::LeftButton);
    hide();
}

bool KvcChartLegend::qtLegendFits(const QChart *chart)
{
    const QFontMetricsF metrics(chart->legend()->font());
    qreal width = 0.0;
    for (const QAbstractSeries *series : chart->series())
        width += metrics.horizontalAdvance(series->name()) + metrics.height() + qtMarkerExtra;
    const QMargins margins = chart->margins();
    return width <= chart->size().width() - margins.left() - margins.right();
}

void KvcChartLegend::refresh()
{
    prepareGeometryChange();
    m_entries.clear();
    if (!isVisible()) {
        m_bounds = QRectF();
        m_chart->setMargins(m_margins);
        return;
    }
    const QFont font = m_chart->legend()->font();
    const QFontMetricsF metrics(font);
    const qreal left = m_margins.left();
    const qreal right = m_chart->size().width() - m_margins.right();
    const qreal line = metrics.height() + 2;
    qreal x = left;
    qreal y = 0.0;
    qreal rowsRight = left;
    for (const QAbstractSeries *abstract : m_chart->series()) {
        const auto *series = qobject_cast<const QXYSeries *>(abstract);
        Entry entry;
        entry.name = abstract->name();
        entry.pen = series ? series->pen() : QPen();
        entry.hidden = !abstract->isVisible();
        const qreal width = swatchWidth + swatchGap + metrics.horizontalAdvance(entry.name);
        if (x > left && x + width > right) {
            x = left;
            y += line;
        }
        entry.rect = QRectF(x, y, width, line);
        rowsRight = qMax(rowsRight, x + width);
        x += width + entryGap;
        m_entries.append(entry);
    }
    const qreal height = m_entries.isEmpty() ? 0.0 : y + line;
    // Centred under the chart, in the room taken from its bottom margin.
    const qreal shift = qMax(0.0, (right - rowsRight) / 2);
    const qreal top = m_chart->size().height() - m_margins.bottom() - height;
    for (Entry &entry : m_entries)
        entry.rect.translate(shift, top);
    m_bounds = QRectF(left, top, right - left, height);
    m_chart->setMargins(QMargins(
        m_margins.left(), m_margins.top(), m_margins.right(), m_margins.bottom() + qRound(height)));
    update();
}

QStringList KvcChartLegend::names() const
{
    QStringList names;
    for (const Entry &entry : m_entries)
        names << entry.name;
    return names;
}

QRectF KvcChartLegend::boundingRect() const { return m_bounds; }

void KvcChartLegend::mousePressEvent(QGraphicsSceneMouseEvent *event)
{
    for (int i = 0; i < m_entries.size(); ++i) {
        if (m_entries.at(i).rect.contains(event->pos())) {
            emit entryClicked(i);
            return;
        }
    }
    event->ignore();
}

void KvcChartLegend::paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *)
{
    painter->setFont(m_chart->legend()->font());
    painter->setRenderHint(QPainter::Antialiasing);
    for (const Entry &entry : qAsConst(m_entries)) {
        const qreal middle = entry.rect.center().y();
        QPen pen = entry.pen;
        if (entry.hidden)
            pen.setColor(Qt::lightGray);
        painter->setPen(pen);
        painter->drawLine(QPointF(entry.rect.left() + 2, middle),
            QPointF(entry.rect.left() + swatchWidth - 2, middle));
        painter->setPen(entry.hidden ? QColor(Qt::gray) : m_chart->legend()->labelColor());
        painter->drawText(
            entry.rect.adjusted(swatchWidth + swatchGap, 0, 0, 0), Qt::AlignVCenter, entry.name);
    }
}
