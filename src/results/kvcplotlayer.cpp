#include "kvcplotlayer.h"

#include <QPainter>
#include <QtCharts/QChart>
#include <QtCharts/QLogValueAxis>
#include <QtCharts/QValueAxis>
#include <QtConcurrent/QtConcurrentRun>

#include <cmath>

QT_CHARTS_USE_NAMESPACE

namespace {

// Above the plot area, its grid and axes, with the chart's own series.
constexpr qreal seriesZValue = 4;

} // namespace

KvcPlotLayer::KvcPlotLayer(QChart *chart, QValueAxis *xAxis, QAbstractAxis *yAxis)
    : QGraphicsObject(chart)
    , m_chart(chart)
    , m_xAxis(xAxis)
    , m_yAxis(yAxis)
{
    setZValue(seriesZValue);
    setFlag(ItemIsSelectable, false);
    setAcceptedMouseButtons(Qt::NoButton);
    connect(&m_watcher, &QFutureWatcher<QImage>::finished, this, &KvcPlotLayer::renderingDone);
    connect(chart, &QChart::plotAreaChanged, this, [this] { prepareGeometryChange(); });
}

KvcPlotLayer::~KvcPlotLayer()
{
    // The rendering holds only its own copy of the frame: nothing to wait for.
    m_watcher.disconnect(this);
}

void KvcPlotLayer::setFrame(const KvcPlotRenderer::Frame &frame)
{
    m_latest = frame;
    m_waiting = true;
    if (!m_watcher.isRunning())
        startRendering();
}

void KvcPlotLayer::clear()
{
    m_latest = KvcPlotRenderer::Frame();
    m_shown = KvcPlotRenderer::Frame();
    m_picture = QImage();
    m_waiting = false;
    update();
}

bool KvcPlotLayer::isRendering() const { return m_waiting || m_watcher.isRunning(); }

void KvcPlotLayer::waitForPicture()
{
    for (;;) {
        if (m_watcher.isRunning() || m_watcher.future().resultCount() > 0) {
            m_watcher.waitForFinished();
            renderingDone();
        } else if (m_waiting) {
            startRendering();
        } else {
            return;
        }
    }
}

void KvcPlotLayer::startRendering()
{
    m_rendering = m_latest;
    m_waiting = false;
    m_watcher.setFuture(QtConcurrent::run(&KvcPlotRenderer::render, m_rendering));
}

void KvcPlotLayer::renderingDone()
{
    if (!m_watcher.isFinished() || m_watcher.future().resultCount() == 0)
        return;
    m_picture = m_watcher.result();
    m_shown = m_rendering;
    // A watcher keeps its result: reset it, so that a second call for the same
    // rendering (waitForPicture() and the signal) shows nothing twice.
    m_watcher.setFuture(QFuture<QImage>());
    update();
    emit pictureShown();
    if (m_waiting)
        startRendering();
}

QRectF KvcPlotLayer::boundingRect() const { return m_chart->plotArea(); }

void KvcPlotLayer::paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *)
{
    if (m_picture.isNull())
        return;
    const QRectF plot = m_chart->plotArea();
    const double xSpan = m_xAxis->max() - m_xAxis->min();
    // In the axis' own scale: a logarithmic one places log10 of the values.
    const auto *log = qobject_cast<const QLogValueAxis *>(m_yAxis);
    if (bool(log) != m_shown.logY)
        return; // drawn for the other kind of axis: wait for the next picture
    const auto scale = [log](double v) { return log ? std::log10(v) : v; };
    const double yAxisMin = scale(log ? log->min() : static_cast<QValueAxis *>(m_yAxis)->min());
    const double yAxisMax = scale(log ? log->max() : static_cast<QValueAxis *>(m_yAxis)->max());
    const double ySpan = yAxisMax - yAxisMin;
    if (plot.isEmpty() || !(xSpan > 0.0))
        return;
    // Where the ranges the picture was rendered for lie on the plot now.
    const double left = plot.left() + (m_shown.xMin - m_xAxis->min()) / xSpan * plot.width();
    const double right = plot.left() + (m_shown.xMax - m_xAxis->min()) / xSpan * plot.width();
    QRectF target(left, plot.top(), right - left, plot.height());
    const bool flat = !(m_shown.yMax > m_shown.yMin);
    if (ySpan > 0.0 && !flat) {
        const double top = plot.top() + (yAxisMax - scale(m_shown.yMax)) / ySpan * plot.height();
        const double bottom = plot.top() + (yAxisMax - scale(m_shown.yMin)) / ySpan * plot.height();
        target.setTop(top);
        target.setBottom(bottom);
    } else if (flat != !(ySpan > 0.0)) {
        return; // drawn for another kind of y range: wait for the next picture
    }
    painter->save();
    painter->setClipRect(plot);
    painter->drawImage(target, m_picture, QRectF(m_picture.rect()));
    painter->restore();
}
