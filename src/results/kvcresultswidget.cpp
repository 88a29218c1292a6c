#include "kvcresultswidget.h"

#include "kvcchartseriesfeeder.h"
#include "kvclogbuffer.h"

#include <QCoreApplication>
#include <QDragEnterEvent>
#include <QDragLeaveEvent>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QPointer>
#include <QTimer>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

QT_CHARTS_USE_NAMESPACE

namespace {

const char graphIndexMime[] = "application/x-GraphIndex";

// A frame: points, ranges and log text reach the widgets at most this often.
constexpr int frameIntervalMs = 16;

// Qt Charts recomputes a series' whole geometry on replace() (about a
// microsecond per point) and strokes every segment of the 3 px pen on paint
// (about as much again): a chart costs in proportion to the points it holds,
// whatever changed. So the points of a chart are capped, shared by its series
// (a series of a chart with many gets coarser pixel columns)...
constexpr int chartPointBudget = 6000;
// Painting a 3 px antialiased line costs about as much per segment as per
// 5 pixels of its length (measured: some 1.5 us and 0.3 us), and a noisy
// series is a band of vertical strokes as high as the plot: a chart whose
// strokes would cost more than this many pixels' worth (some 6-8 ms) gets
// coarser columns...
constexpr double chartStrokeBudget = 20000.0;
constexpr double segmentStrokeCost = 5.0;
// ...but never below this many columns per series.
constexpr int minColumnsPerSeries = 4;
// A frame updates at most this many charts (the next ones in turn) and stops
// early once their updates and the repaints they will cause (as long as their
// last ones) come to frameBudgetMs: the charts updated in a frame are
// repainted together, in one event. The others follow in the next frame.
constexpr int chartsPerFrame = 2;
constexpr qint64 frameBudgetMs = 8;
// A chart is updated again only after paceFactor times what its last update
// and repaint took: the four charts then take at most 4 / paceFactor of the
// GUI thread, which leaves the rest to reading the stream and to the user.
constexpr qint64 paceFactor = 10;
// Samples a chart scans per frame while rebuilding its columns, shared by its
// series.
constexpr int chartRebuildBudget = 1 << 20;

// Columns assumed for a plot that has not been laid out yet.
constexpr int fallbackColumns = 1024;

bool isLive(KvcActionManager::ExecutionStatus status)
{
    return status == KvcActionManager::Loading || status == KvcActionManager::Running;
}

QLineSeries *newSeries(QChart *chart) { return new QLineSeries(chart); }

// Widens the series' own pen once the chart's theme has given it its colour:
// a pen set before that would keep every line black.
void widenPen(QLineSeries *series)
{
    QPen pen = series->pen();
    pen.setWidth(3);
    series->setPen(pen);
}

} // namespace

// One chart. The axis rule and the bookkeeping of points run per sample; the
// axes and series are brought up to date together by flush(), so a chart's
// ranges always belong to the points it shows.
struct KvcResultsWidget::ChartData {
    ChartData(GraphicsData *graphic, QSharedPointer<KvcResultsData> resultData);

    void setGraphic(GraphicsData *graphic, QSharedPointer<KvcResultsData> resultData);
    void loadGraphic(QSharedPointer<KvcResultsData> resultData);
    // The point is the source's next sample (see Line); x and y are that sample.
    void appendPoint(double x, double y, int seriesIndex);
    void updateRanges(double x, double y);

    void setXRange(double max);
    void setYRange(double min, double max);
    void addLine(QLineSeries *series, int component, int first, int end);
    bool source(const KvcResultsData &data, int component, const QVector<double> *&xs,
        const QVector<double> *&ys) const;
    void flush(const KvcResultsData &data, qreal pixelRatio);
    double strokeLength(qreal pixelRatio) const;

    QChart *chart = nullptr;
    QValueAxis *xAxis = nullptr;
    QValueAxis *yAxis = nullptr;
    double xMax = 0.0;
    double yMax = 0.0;
    GraphicsData *graphic = nullptr;
    // Something changed since the last flush.
    bool dirty = false;
    // Pacing, on the view's frame clock: not flushed again before this time.
    qint64 notBeforeNs = 0;
    // What the chart's last repaint took.
    qint64 paintNs = 0;
    // Columns per series that keep the strokes within their budget, 0 for
    // no limit; adapted after each flush.
    int strokeColumns = 0;

    // One per series, in the order the series were added: the series shows
    // samples [first, end) of its source (x: the history's times, y: the
    // component's values; the time track's times and execution times for
    // special graphic 0).
    struct Line {
        KvcChartSeriesFeeder feeder;
        int component = 0;
        int end = 0;
    };
    QVector<Line> lines;

    bool xRangePending = false;
    double pendingXMax = 0.0;
    bool yRangePending = false;
    double pendingYMin = 0.0;
    double pendingYMax = 0.0;
};

KvcResultsWidget::ChartData::ChartData(
    GraphicsData *graphic, QSharedPointer<KvcResultsData> resultData)
    : chart(new QChart())
    , xAxis(new QValueAxis(chart))
    , yAxis(new QValueAxis(chart))
{
    // Short labels: the default fixed-point format turns residuals of 1e-11
    // into rows of zeros and long times into ellipses on the small charts.
    xAxis->setLabelFormat(QStringLiteral("%.4g"));
    yAxis->setLabelFormat(QStringLiteral("%.4g"));
    chart->addAxis(xAxis, Qt::AlignBottom);
    chart->addAxis(yAxis, Qt::AlignLeft);
    setGraphic(graphic, resultData);
}

void KvcResultsWidget::ChartData::setGraphic(
    GraphicsData *newGraphic, QSharedPointer<KvcResultsData> resultData)
{
    graphic = newGraphic;
    dirty = true;
    lines.clear();
    chart->removeAllSeries();

    chart->setTitle(graphic ? graphic->title : QString());
    xAxis->setTitleText(graphic ? graphic->xTitle : QString());
    yAxis->setTitleText(graphic ? graphic->yTitle : QString());
    if (graphic && graphic->ruleId < 0)
        chart->legend()->hide();
    if (!graphic)
        return;

    if (graphic->ruleId >= 0) {
        loadGraphic(resultData);
        return;
    }

    QLineSeries *series = newSeries(chart);
    int first = 0;
    int end = 0;
    if (graphic->trackId == -1) {
        if (resultData->timeTrackId() >= 0) {
            const QVector<double> &times = resultData->simTimeData();
            const QVector<double> &execTimes = resultData->simExecTimeData();
            end = qMin(times.size(), execTimes.size());
            if (end > 0)
                updateRanges(times.at(end - 1), execTimes.at(end - 1));
        }
    } else if (graphic->trackId >= 0) {
        // Iterations and error start empty; only later samples are drawn.
        first = end = resultData->simTrackedData(graphic->trackId).time.size();
    }
    chart->addSeries(series);
    widenPen(series);
    series->attachAxis(xAxis);
    series->attachAxis(yAxis);
    addLine(series, 0, first, end);
}

void KvcResultsWidget::ChartData::loadGraphic(QSharedPointer<KvcResultsData> resultData)
{
    if (!graphic || graphic->trackId < 0)
        return;
    const KvcResultsData::TrackedData &h = resultData->simTrackedData(graphic->trackId);
    for (int s = 0; s < h.data.size(); ++s) {
        QLineSeries *series = newSeries(chart);
        series->setName(graphic->series.value(s));
        chart->addSeries(series);
        widenPen(series);
        series->attachAxis(xAxis);
        series->attachAxis(yAxis);
        addLine(series, s, 0, qMin(h.time.size(), h.data.at(s).size()));
    }
    if (!h.time.isEmpty()) {
        const double last = h.time.last();
        if (last >= 0.95 * xMax) {
            xMax = 1.25 * last;
            setXRange(xMax);
        }
        setYRange(h.min, h.max);
    }
}

void KvcResultsWidget::ChartData::appendPoint(double, double, int seriesIndex)
{
    if (seriesIndex >= 0 && seriesIndex < lines.size()) {
        ++lines[seriesIndex].end;
        dirty = true;
    }
}

void KvcResultsWidget::ChartData::updateRanges(double x, double y)
{
    if (x >= 0.95 * xMax) {
        xMax = 1.25 * x;
        setXRange(xMax);
    }
    if (y >= 0.95 * yMax) {
        yMax = 1.25 * y;
        setYRange(0.0, yMax);
    }
}

void KvcResultsWidget::ChartData::setXRange(double max)
{
    xRangePending = true;
    pendingXMax = max;
    dirty = true;
}

void KvcResultsWidget::ChartData::setYRange(double min, double max)
{
    yRangePending = true;
    pendingYMin = min;
    pendingYMax = max;
    dirty = true;
}

void KvcResultsWidget::ChartData::addLine(QLineSeries *series, int component, int first, int end)
{
    lines.append(Line {KvcChartSeriesFeeder(series, first), component, end});
}

bool KvcResultsWidget::ChartData::source(const KvcResultsData &data, int component,
    const QVector<double> *&xs, const QVector<double> *&ys) const
{
    if (!graphic)
        return false;
    if (graphic->trackId == -1) {
        xs = &data.simTimeData();
        ys = &data.simExecTimeData();
        return true;
    }
    if (graphic->trackId < 0)
        return false;
    const KvcResultsData::TrackedData &h = data.simTrackedData(graphic->trackId);
    if (component >= h.data.size())
        return false;
    xs = &h.time;
    ys = &h.data.at(component);
    return true;
}

void KvcResultsWidget::ChartData::flush(const KvcResultsData &data, qreal pixelRatio)
{
    // Ranges first, so that the series' new points are laid out once.
    if (xRangePending)
        xAxis->setRange(0.0, pendingXMax);
    if (yRangePending)
        yAxis->setRange(pendingYMin, pendingYMax);
    xRangePending = yRangePending = false;

    int columns = qRound(chart->plotArea().width() * pixelRatio);
    if (columns < 2)
        columns = fallbackColumns;
    const int seriesCount = qMax(1, lines.size());
    const int shared = chartPointBudget / (KvcChartSeriesFeeder::ColumnFactor * seriesCount);
    const int natural = qMin(columns, qMax(minColumnsPerSeries, shared));
    columns = strokeColumns > 0 ? qMin(natural, strokeColumns) : natural;
    const int rebuildBudget = qMax(1, chartRebuildBudget / seriesCount);
    bool rebuilding = false;
    for (Line &line : lines) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!source(data, line.component, xs, ys))
            continue;
        line.feeder.setGrid(xAxis->min(), xAxis->max(), columns);
        line.feeder.setRebuildBudget(rebuildBudget);
        line.feeder.sync(*xs, *ys, line.end);
        rebuilding = rebuilding || line.feeder.isRebuilding();
    }
    // What the axes signalled while being set is taken care of; a rebuild of
    // a long history goes on in the next frames.
    dirty = rebuilding;
    if (rebuilding)
        return;

    // Coarser columns while the strokes run over their budget, finer again
    // (up to the plot's own) once they take well under it; the gap between
    // the two thresholds keeps a chart from switching back and forth.
    const double length = strokeLength(pixelRatio);
    int wanted = columns;
    if (length > chartStrokeBudget)
        wanted = qMax(minColumnsPerSeries, int(columns * 0.8 * chartStrokeBudget / length));
    else if (length < chartStrokeBudget / 3 && columns < natural)
        wanted = qMin(natural, 2 * columns);
    if (wanted != columns) {
        strokeColumns = wanted >= natural ? 0 : wanted;
        dirty = true;
    }
}

double KvcResultsWidget::ChartData::strokeLength(qreal pixelRatio) const
{
    // In device pixels, each segment as long as its longer side (what the
    // rasterizer walks), clipped to the plot.
    const QRectF plot = chart->plotArea();
    const double xSpan = xAxis->max() - xAxis->min();
    const double ySpan = yAxis->max() - yAxis->min();
    if (!(xSpan > 0.0) || !(ySpan > 0.0) || plot.isEmpty())
        return 0.0;
    const double width = plot.width() * pixelRatio;
    const double height = plot.height() * pixelRatio;
    const double sx = width / xSpan;
    const double sy = height / ySpan;
    double length = 0.0;
    for (const Line &line : lines) {
        const QVector<QPointF> &points = line.feeder.points();
        for (int i = 1; i < points.size(); ++i) {
            const double dx = qMin(width, qAbs(points.at(i).x() - points.at(i - 1).x()) * sx);
            const double dy = qMin(height, qAbs(points.at(i).y() - points.at(i - 1).y()) * sy);
            // NaN (a gap) adds nothing.
            if (dx >= 0.0 && dy >= 0.0)
                length += qMax(dx, dy) + segmentStrokeCost;
        }
    }
    return length;
}

KvcResultsWidget::KvcResultsWidget(KvcActionManager *actMgr,
    KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &resultData,
    QWidget *parent)
    : QWidget(parent)
{
    setupUi(this);
    setAcceptDrops(true);

    this->actMgr = actMgr;
    this->status = status;
    statusTime = QDateTime::currentDateTime();
    nextChart = -1;
    m_resultData = resultData ? resultData : QSharedPointer<KvcResultsData>::create();

    logBuffer = new KvcLogBuffer(logTed);
    frameClock.start();
    frameTimer = new QTimer(this);
    frameTimer->setSingleShot(true);
    frameTimer->setInterval(frameIntervalMs);
    connect(frameTimer, &QTimer::timeout, this, &KvcResultsWidget::flushFrame);

    updateHeaderStatus();
    initLogViewer();
    initCharts();

    if (actMgr) {
        connect(actMgr,
            "2executionStatusChanged(KvcActionManager::ExecutionStatus, "
            "QSharedPointer<KvcResultsData>&)",
            this, "1executionStatusChanged(KvcActionManager::ExecutionStatus)");
        connect(actMgr, "2logDataReceived(int, const QString&)", this,
            "1appendLogMsg(int, const QString&)");
    }
    if (resultData) {
        connect(resultData.data(), "2simulationInfoAvailable()", this, "1simInfoAvailable()");
        connect(resultData.data(), "2simulationRuleDataAvailable()", this, "1ruleInfoAvailable()");
        connect(resultData.data(), "2trackedDataReceived(int)", this, "1addTrackData(int)");
    }
}

KvcResultsWidget::~KvcResultsWidget()
{
    // The charts outlive this body (their views are children); they must not
    // reach the ChartData deleted here.
    for (ChartData *data : qAsConst(charts)) {
        data->chart->disconnect(this);
        data->xAxis->disconnect(this);
    }
    qDeleteAll(charts);
    charts.clear();
    delete logBuffer;
}

bool KvcResultsWidget::active() { return actMgr && actMgr->active() && isLive(status); }

QSharedPointer<KvcResultsData> KvcResultsWidget::resultData() { return m_resultData; }

void KvcResultsWidget::initCharts()
{
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    charts.append(new ChartData(graphics.value(0), m_resultData));
    charts.append(new ChartData(graphics.value(1), m_resultData));
    charts.append(new ChartData(graphics.value(2), m_resultData));
    charts.append(new ChartData(graphics.size() > 3 ? graphics.at(3) : nullptr, m_resultData));

    QChartView *const views[] = {urChart, mrChart, lrChart, ulChart};
    for (int i = 0; i < 4; ++i) {
        QChartView *view = views[i];
        // The form's views come with a chart of their own that setChart() would leave behind.
        QChart *formChart = view->chart();
        view->setChart(charts.at(i)->chart);
        delete formChart;
    }
    nextChart = 3;

    for (QChartView *view : views) {
        view->setRenderHint(QPainter::Antialiasing);
        view->setRubberBand(QChartView::RectangleRubberBand);
        setEventFilter(view, true);
    }
    for (ChartData *data : qAsConst(charts)) {
        // A zoom or a resize changes the pixel columns of the plot.
        auto regrid = [this, data] {
            data->dirty = true;
            scheduleFrame();
        };
        connect(data->chart, &QChart::plotAreaChanged, this, regrid);
        connect(data->xAxis, &QValueAxis::rangeChanged, this, regrid);
    }
    scheduleFrame();
}

void KvcResultsWidget::initLogViewer()
{
    logTed->setFont(QFont(QStringLiteral("Courier New"), 10));
    logTed->setReadOnly(true);
    logTed->setLineWrapMode(QTextEdit::NoWrap);
    // A read-only log has nothing to undo; an undo history would double the
    // memory of a long log.
    logTed->setUndoRedoEnabled(false);
}

void KvcResultsWidget::setEventFilter(QObject *object, bool install)
{
    if (!object->isWidgetType())
        return;
    if (install)
        object->installEventFilter(this);
    else
        object->removeEventFilter(this);
    for (QObject *child : object->children())
        setEventFilter(child, install);
}

bool KvcResultsWidget::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Paint: {
        // A repaint costs as much as an update or more; it is timed by
        // delivering it here, so that the chart's pacing counts it.
        if (paintingChart)
            return false;
        QChartView *const views[] = {urChart, mrChart, lrChart, ulChart};
        for (int i = 0; i < charts.size(); ++i) {
            if (views[i]->viewport() != object)
                continue;
            const qint64 start = frameClock.nsecsElapsed();
            paintingChart = true;
            QCoreApplication::sendEvent(object, event);
            paintingChart = false;
            charts.at(i)->paintNs = frameClock.nsecsElapsed() - start;
            return true;
        }
        return false;
    }
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto drag = static_cast<QDragMoveEvent *>(event);
        if (drag->mimeData() && drag->mimeData()->hasFormat(QLatin1String(graphIndexMime)))
            drag->acceptProposedAction();
        else
            drag->ignore();
        return true;
    }
    case QEvent::DragLeave:
        event->ignore();
        return true;
    case QEvent::Drop: {
        auto drop = static_cast<QDropEvent *>(event);
        if (!drop->mimeData() || !drop->mimeData()->hasFormat(QLatin1String(graphIndexMime))) {
            drop->ignore();
            return true;
        }
        const int graphicIndex = drop->mimeData()->data(QLatin1String(graphIndexMime)).toInt();
        QChartView *view = nullptr;
        for (QObject *o = object; o && !view; o = o->parent())
            view = qobject_cast<QChartView *>(o);
        int chartIndex = -1;
        for (int i = 0; view && i < charts.size(); ++i) {
            if (charts.at(i)->chart == view->chart())
                chartIndex = i;
        }
        updateChartGraphic(chartIndex, graphicIndex);
        drop->acceptProposedAction();
        return true;
    }
    default:
        return false;
    }
}

void KvcResultsWidget::updateChartGraphic(int chartIndex, int graphicIndex)
{
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    if (chartIndex < 0 || chartIndex >= charts.size() || graphicIndex < 0
        || graphicIndex >= graphics.size())
        return;
    charts.at(chartIndex)->setGraphic(graphics.at(graphicIndex), m_resultData);
    scheduleFrame();
}

void KvcResultsWidget::ruleInfoAvailable()
{
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    const int special = m_resultData->numSpecialGraphics();
    if (graphics.size() <= special || nextChart < 0 || charts.at(nextChart)->graphic)
        return;

    GraphicsData *chosen = graphics.at(special);
    const QSharedPointer<KvCommClientData> store = m_resultData->simulationData();
    for (int i = special; store && i < graphics.size(); ++i) {
        GraphicsData *graphic = graphics.at(i);
        if (graphic->trackId >= 0 && store->simTrackedDataInfo(graphic->trackId).indexedBy != 0) {
            chosen = graphic;
            break;
        }
    }
    charts.at(nextChart)->setGraphic(chosen, m_resultData);
    scheduleFrame();
}

void KvcResultsWidget::simInfoAvailable() { updateHeaderStatus(); }

void KvcResultsWidget::updateHeaderStatus()
{
    // A server reports instants in UTC, a local run in local time: every time
    // is shown in the user's, so that the header reads in one zone.
    const QString dateFormat = tr("dd-MMM-yyyy hh:mm:ss.zzz");
    const auto shown
        = [&dateFormat](const QDateTime &time) { return time.toLocalTime().toString(dateFormat); };
    simStatusLbl->setText(KvcActionManager::execStatusStr(status));
    if (active()) {
        if (const QSharedPointer<KvCommClientData> store = m_resultData->simulationData())
            simNameLbl->setText(store->simName());
        const QDateTime loading = actMgr->currentSimLoadingTime();
        if (loading.isValid())
            simLoadingStartedLbl->setText(shown(loading));
        const QDateTime running = actMgr->currentSimRunningTime();
        if (running.isValid())
            simRunningStartedLbl->setText(shown(running));
    }
    const bool ended = status == KvcActionManager::Finished || status == KvcActionManager::Canceled
        || status == KvcActionManager::Aborted;
    simFinishedLbl->setText(ended ? shown(statusTime) : QString());
}

void KvcResultsWidget::updateHeaderData()
{
    const double time = m_resultData->currentTime();
    if (time > 0.0)
        simTimeLbl->setText(QString::number(time, 'g', 6));
}

void KvcResultsWidget::executionStatusChanged(KvcActionManager::ExecutionStatus newStatus)
{
    const KvcActionManager::ExecutionStatus oldStatus = status;
    status = newStatus;
    statusTime = QDateTime::currentDateTime();
    if (isLive(oldStatus))
        updateHeaderStatus();
    if (!isLive(newStatus) && actMgr) {
        // Messages of the last second still arrive; then the view is a record.
        QPointer<KvcActionManager> manager = actMgr;
        QTimer::singleShot(1000, this, [this, manager] {
            if (manager)
                manager->disconnect(this);
        });
    }
}

void KvcResultsWidget::appendLogMsg(int level, const QString &msg)
{
    logBuffer->append(level, msg);
    scheduleFrame();
}

void KvcResultsWidget::addTrackData(int trackId)
{
    if (trackId != m_resultData->timeTrackId()) {
        const KvcResultsData::TrackedData &h = m_resultData->simTrackedData(trackId);
        if (h.time.isEmpty())
            return;
        const double t = h.time.last();
        const int n = h.data.size();
        for (ChartData *chart : qAsConst(charts)) {
            if (!chart->graphic || chart->graphic->trackId != trackId)
                continue;
            if (chart->lines.isEmpty()) {
                chart->loadGraphic(m_resultData);
                continue;
            }
            for (int i = 0; i < n && i < chart->lines.size(); ++i)
                chart->appendPoint(t, h.data.at(i).last(), i);
            if (t >= 0.95 * chart->xMax) {
                chart->xMax = 1.25 * t;
                chart->setXRange(chart->xMax);
            }
            chart->setYRange(h.min, h.max);
        }
    } else {
        updateHeaderData();
        const QVector<double> &times = m_resultData->simTimeData();
        const QVector<double> &execTimes = m_resultData->simExecTimeData();
        if (times.isEmpty() || execTimes.isEmpty())
            return;
        for (ChartData *chart : qAsConst(charts)) {
            if (!chart->graphic || chart->graphic->trackId != -1)
                continue;
            chart->appendPoint(times.last(), execTimes.last(), 0);
            chart->updateRanges(times.last(), execTimes.last());
        }
    }
    scheduleFrame();
}

void KvcResultsWidget::scheduleFrame()
{
    if (!frameTimer->isActive())
        frameTimer->start();
}

void KvcResultsWidget::flushFrame()
{
    QChartView *const views[] = {urChart, mrChart, lrChart, ulChart};
    qint64 spent = 0;
    int flushed = 0;
    for (int n = 0; n < charts.size() && flushed < chartsPerFrame; ++n) {
        const int i = (nextFlush + n) % charts.size();
        ChartData *chart = charts.at(i);
        const qint64 start = frameClock.nsecsElapsed();
        if (!chart->dirty || start < chart->notBeforeNs)
            continue;
        if (flushed > 0 && spent + chart->paintNs > frameBudgetMs * 1000000)
            break;
        chart->flush(*m_resultData, views[i]->devicePixelRatioF());
        const qint64 end = frameClock.nsecsElapsed();
        spent += end - start + chart->paintNs;
        chart->notBeforeNs = start + paceFactor * (end - start + chart->paintNs);
        nextFlush = (i + 1) % charts.size();
        ++flushed;
    }
    logBuffer->flush();
    for (ChartData *data : qAsConst(charts)) {
        if (data->dirty)
            scheduleFrame();
    }
}
