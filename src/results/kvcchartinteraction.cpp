#include "kvcchartinteraction.h"

#include "kvcchartdata.h"

#include <QContextMenuEvent>
#include <QGraphicsLineItem>
#include <QGraphicsRectItem>
#include <QGraphicsTextItem>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>

#include <cmath>

QT_CHARTS_USE_NAMESPACE

namespace {

// Above the series, the layer and the legend.
constexpr qreal readOutZ = 20;
// One notch of the wheel shows 80 % of the range.
constexpr double notchZoom = 0.8;

QString number(double value) { return QString::number(value, 'g', 8); }

} // namespace

KvcChartInteraction::KvcChartInteraction(
    QChartView *view, KvcChartData *chart, const KvcResultsData *data)
    : QObject(view)
    , m_view(view)
    , m_chart(chart)
    , m_data(data)
{
    view->setFocusPolicy(Qt::StrongFocus);
    view->viewport()->setMouseTracking(true);
    view->viewport()->installEventFilter(this);
    view->installEventFilter(this);
}

QString KvcChartInteraction::readOut() const
{
    return m_text && m_text->isVisible() ? m_text->toPlainText() : QString();
}

QPointF KvcChartInteraction::valueAt(const QPoint &pos) const
{
    QChart *chart = m_view->chart();
    return chart->mapToValue(chart->mapFromScene(m_view->mapToScene(pos)));
}

bool KvcChartInteraction::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::MouseMove: {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (m_panning) {
            // In fractions of the plot, so that a logarithmic axis pans by
            // decades as it shows them.
            const QRectF plot = m_view->chart()->plotArea();
            const QPoint moved = mouse->pos() - m_panFrom;
            if (plot.width() > 0 && plot.height() > 0)
                m_chart->pan(-moved.x() / plot.width(), moved.y() / plot.height());
            m_panFrom = mouse->pos();
            emit rangesChanged();
            return true;
        }
        if (object == m_view->viewport())
            showReadOut(mouse->pos());
        return false;
    }
    case QEvent::Leave:
        hideReadOut();
        return false;
    case QEvent::MouseButtonPress: {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        // Qt Charts would zoom out on the right button.
        if (mouse->button() == Qt::RightButton)
            return true;
        if (mouse->button() == Qt::MiddleButton
            || (mouse->button() == Qt::LeftButton && mouse->modifiers() & Qt::ShiftModifier)) {
            m_panning = true;
            m_panFrom = mouse->pos();
            hideReadOut();
            return true;
        }
        return false;
    }
    case QEvent::MouseButtonRelease: {
        const auto *mouse = static_cast<QMouseEvent *>(event);
        if (mouse->button() == Qt::RightButton)
            return true;
        if (m_panning) {
            m_panning = false;
            return true;
        }
        return false;
    }
    case QEvent::MouseButtonDblClick:
        if (static_cast<QMouseEvent *>(event)->button() != Qt::LeftButton)
            return false;
        m_chart->resetRanges();
        emit rangesChanged();
        return true;
    case QEvent::Wheel: {
        const auto *wheel = static_cast<QWheelEvent *>(event);
        if (wheel->angleDelta().y() == 0)
            return false;
        const QPointF around = valueAt(wheel->position().toPoint());
        const double factor = std::pow(notchZoom, wheel->angleDelta().y() / 120.0);
        if (wheel->modifiers() & Qt::ControlModifier)
            m_chart->zoom(Qt::Vertical, factor, around.y());
        else
            m_chart->zoom(Qt::Horizontal, factor, around.x());
        emit rangesChanged();
        showReadOut(wheel->position().toPoint());
        return true;
    }
    case QEvent::KeyPress:
        if (static_cast<QKeyEvent *>(event)->key() != Qt::Key_Home)
            return false;
        m_chart->resetRanges();
        emit rangesChanged();
        return true;
    case QEvent::ContextMenu: {
        const auto *menu = static_cast<QContextMenuEvent *>(event);
        emit contextMenuRequested(menu->reason() == QContextMenuEvent::Mouse
                ? menu->globalPos()
                : m_view->mapToGlobal(m_view->rect().center()));
        return true;
    }
    default:
        return false;
    }
}

void KvcChartInteraction::showReadOut(const QPoint &pos)
{
    QChart *chart = m_view->chart();
    const QPointF at = chart->mapFromScene(m_view->mapToScene(pos));
    const QRectF plot = chart->plotArea();
    if (!plot.contains(at)) {
        hideReadOut();
        return;
    }
    const QVector<KvcChartData::Reading> readings = m_chart->readingsAt(*m_data, valueAt(pos).x());
    if (readings.isEmpty()) {
        hideReadOut();
        return;
    }
    if (!m_text) {
        m_cursor = new QGraphicsLineItem(chart);
        m_cursor->setPen(QPen(Qt::darkGray, 1, Qt::DashLine));
        m_box = new QGraphicsRectItem(chart);
        m_box->setBrush(QColor(255, 255, 255, 230));
        m_box->setPen(QPen(Qt::lightGray));
        m_text = new QGraphicsTextItem(m_box);
        for (QGraphicsItem *item :
            {static_cast<QGraphicsItem *>(m_cursor), static_cast<QGraphicsItem *>(m_box)})
            item->setZValue(readOutZ);
    }
    QString html;
    for (const KvcChartData::Reading &reading : readings)
        html += QStringLiteral("<div style='white-space:pre'><b style='color:%1'>%2</b>  %3, "
                               "%4</div>")
                    .arg(reading.color.name(), reading.name.toHtmlEscaped(), number(reading.x),
                        number(reading.y));
    m_text->setFont(chart->legend()->font());
    m_text->setHtml(html);
    const double x = chart->mapToPosition(QPointF(readings.first().x, 0)).x();
    m_cursor->setLine(QLineF(x, plot.top(), x, plot.bottom()));
    const QRectF text = m_text->boundingRect();
    m_box->setRect(QRectF(QPointF(), text.size()));
    // Beside the cursor, on the side with room, within the chart.
    qreal left = at.x() + 12;
    if (left + text.width() > chart->size().width())
        left = qMax(0.0, at.x() - 12 - text.width());
    const qreal top = qBound(
        0.0, at.y() - text.height() / 2, qMax(0.0, chart->size().height() - text.height()));
    m_box->setPos(left, top);
    m_cursor->show();
    m_box->show();
}

void KvcChartInteraction::hideReadOut()
{
    if (!m_text)
        return;
    m_cursor->hide();
    m_box->hide();
}
