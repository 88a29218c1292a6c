#include "kvcresultswidget.h"

#include "kvcchartdata.h"
#include "kvcframescheduler.h"
#include "kvclogbuffer.h"

#include <QCoreApplication>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QMimeData>
#include <QPointer>
#include <QTextBlock>
#include <QTimer>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>

#include <algorithm>

QT_CHARTS_USE_NAMESPACE

namespace {

const char graphIndexMime[] = "application/x-GraphIndex";

// The chart that the first rule graphic fills.
constexpr int largeChart = 3;

bool isLive(KvcActionManager::ExecutionStatus status)
{
    return status == KvcActionManager::Loading || status == KvcActionManager::Running;
}

bool carriesGraphIndex(const QDropEvent *event)
{
    return event->mimeData() && event->mimeData()->hasFormat(QLatin1String(graphIndexMime));
}

} // namespace

KvcResultsWidget::KvcResultsWidget(KvcActionManager *actMgr,
    KvcActionManager::ExecutionStatus status, QSharedPointer<KvcResultsData> &resultData,
    QWidget *parent)
    : QWidget(parent)
    , actMgr(actMgr)
    , m_resultData(resultData ? resultData : QSharedPointer<KvcResultsData>::create())
    , status(status)
    , frameTimer(new QTimer(this))
    , scheduler(std::make_unique<KvcFrameScheduler>(ChartCount))
{
    setupUi(this);
    setAcceptDrops(true);
    logBuffer = std::make_unique<KvcLogBuffer>(logTed);
    frameTimer->setSingleShot(true);
    frameTimer->setInterval(KvcFrameScheduler::FrameIntervalMs);
    connect(frameTimer, &QTimer::timeout, this, &KvcResultsWidget::flushFrame);

    updateHeaderStatus();
    initLogViewer();
    initCharts();

    if (actMgr) {
        connect(actMgr,
            SIGNAL(executionStatusChanged(
                KvcActionManager::ExecutionStatus, QSharedPointer<KvcResultsData> &)),
            this, SLOT(executionStatusChanged(KvcActionManager::ExecutionStatus)));
        connect(actMgr, SIGNAL(logDataReceived(int, const QString &)), this,
            SLOT(appendLogMsg(int, const QString &)));
    }
    if (resultData) {
        KvcResultsData *data = resultData.data();
        connect(data, SIGNAL(simulationInfoAvailable()), this, SLOT(simInfoAvailable()));
        connect(data, SIGNAL(simulationRuleDataAvailable()), this, SLOT(ruleInfoAvailable()));
        connect(data, SIGNAL(trackedDataReceived(int)), this, SLOT(addTrackData(int)));
    }
}

KvcResultsWidget::~KvcResultsWidget()
{
    // The charts outlive this body (their views are children); they must not
    // reach the KvcChartData deleted with the members.
    for (const auto &data : charts) {
        data->chart()->disconnect(this);
        data->xAxis()->disconnect(this);
    }
}

bool KvcResultsWidget::active() { return actMgr && actMgr->active() && isLive(status); }

QSharedPointer<KvcResultsData> KvcResultsWidget::resultData() { return m_resultData; }

void KvcResultsWidget::initCharts()
{
    views = {urChart, mrChart, lrChart, ulChart};
    // A view without a manager shows a run that is over (a file): its charts
    // look as the live charts did, which showed everything from the start.
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    for (int i = 0; i < ChartCount; ++i) {
        charts[i] = std::make_unique<KvcChartData>(graphics.value(i), *m_resultData, !actMgr);
        KvcChartData *data = charts[i].get();
        QChartView *view = views[i];
        // The form's views come with a chart of their own that setChart() would leave behind.
        QChart *formChart = view->chart();
        view->setChart(data->chart());
        delete formChart;
        view->setRenderHint(QPainter::Antialiasing);
        view->setRubberBand(QChartView::RectangleRubberBand);
        installEventFilterTree(view);
        // A zoom or a resize changes the pixel columns of the plot.
        auto regrid = [this, data] {
            data->markDirty();
            scheduleFrame();
        };
        connect(data->chart(), &QChart::plotAreaChanged, this, regrid);
        connect(data->xAxis(), &QValueAxis::rangeChanged, this, regrid);
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

void KvcResultsWidget::installEventFilterTree(QObject *object)
{
    if (!object->isWidgetType())
        return;
    object->installEventFilter(this);
    for (QObject *child : object->children())
        installEventFilterTree(child);
}

bool KvcResultsWidget::eventFilter(QObject *object, QEvent *event)
{
    switch (event->type()) {
    case QEvent::Paint:
        return timePaint(object, event);
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto drag = static_cast<QDragMoveEvent *>(event);
        if (carriesGraphIndex(drag))
            drag->acceptProposedAction();
        else
            drag->ignore();
        return true;
    }
    case QEvent::DragLeave:
        event->ignore();
        return true;
    case QEvent::Drop:
        return dropGraphic(object, static_cast<QDropEvent *>(event));
    default:
        return false;
    }
}

bool KvcResultsWidget::timePaint(QObject *viewport, QEvent *event)
{
    // A repaint costs as much as an update or more; it is timed by delivering
    // it here, so that the chart's pacing counts it.
    if (paintingChart)
        return false;
    for (int i = 0; i < ChartCount; ++i) {
        if (views[i]->viewport() != viewport)
            continue;
        paintingChart = true;
        scheduler->timePaint(
            i, [viewport, event] { QCoreApplication::sendEvent(viewport, event); });
        paintingChart = false;
        return true;
    }
    return false;
}

bool KvcResultsWidget::dropGraphic(QObject *object, QDropEvent *drop)
{
    if (!carriesGraphIndex(drop)) {
        drop->ignore();
        return true;
    }
    const int graphicIndex = drop->mimeData()->data(QLatin1String(graphIndexMime)).toInt();
    QChartView *view = nullptr;
    for (QObject *o = object; o && !view; o = o->parent())
        view = qobject_cast<QChartView *>(o);
    const auto chart = std::find(views.cbegin(), views.cend(), view);
    updateChartGraphic(chart == views.cend() ? -1 : int(chart - views.cbegin()), graphicIndex);
    drop->acceptProposedAction();
    return true;
}

void KvcResultsWidget::updateChartGraphic(int chartIndex, int graphicIndex)
{
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    if (chartIndex < 0 || chartIndex >= ChartCount || graphicIndex < 0
        || graphicIndex >= graphics.size())
        return;
    charts[chartIndex]->setGraphic(graphics.at(graphicIndex), *m_resultData, !actMgr);
    scheduleFrame();
}

void KvcResultsWidget::ruleInfoAvailable()
{
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    const int special = m_resultData->numSpecialGraphics();
    if (graphics.size() <= special || charts[largeChart]->graphic())
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
    charts[largeChart]->setGraphic(chosen, *m_resultData, !actMgr);
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
    // Once its run is over the view is a record: statuses of the last second
    // belong to the next run, and what is kept (record()) is what is shown.
    if (!isLive(status))
        return;
    status = newStatus;
    statusTime = QDateTime::currentDateTime();
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
    // Special graphic 0 draws the time track.
    const bool time = trackId == m_resultData->timeTrackId();
    if (time)
        updateHeaderData();
    const int shown = time ? -1 : trackId;
    for (const auto &chart : charts) {
        if (chart->graphic() && chart->graphic()->trackId == shown)
            chart->sampleStored(*m_resultData);
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
    scheduler->runFrame([this](int i) { return charts[i]->isDirty(); },
        [this](int i) { charts[i]->flush(*m_resultData, views[i]->devicePixelRatioF()); });
    // The narrow charts side by side read alike: their fonts are those of
    // the one with the least room.
    qreal smallest = 0.0;
    for (int i = 0; i < largeChart; ++i) {
        const qreal size = charts[i]->fittedFontSize();
        if (size > 0 && (smallest == 0.0 || size < smallest))
            smallest = size;
    }
    for (int i = 0; i < largeChart; ++i)
        charts[i]->setFontCap(smallest);
    logBuffer->flush();
    const bool dirty = std::any_of(
        charts.cbegin(), charts.cend(), [](const auto &chart) { return chart->isDirty(); });
    if (dirty)
        scheduleFrame();
}

KvcRunView KvcResultsWidget::record()
{
    KvcRunView view;
    view.status = status;
    view.statusTime = statusTime;
    const QVector<GraphicsData *> &graphics = m_resultData->graphics();
    for (const auto &chart : charts)
        view.chartGraphics.append(graphics.indexOf(const_cast<GraphicsData *>(chart->graphic())));
    while (!logBuffer->isEmpty())
        logBuffer->flush();
    const auto levelOf = [](const QTextCharFormat &format) {
        if (format.foreground().style() == Qt::NoBrush)
            return -1;
        for (int level = 0; level < 8; ++level) {
            if (KvcLogBuffer::levelColor(level) == format.foreground().color())
                return level;
        }
        return -1;
    };
    const auto add = [&view](int level, const QString &text) {
        if (!view.log.isEmpty() && view.log.last().level == level)
            view.log.last().text += text;
        else
            view.log.append({level, text});
    };
    for (QTextBlock block = logTed->document()->begin(); block.isValid(); block = block.next()) {
        int level = view.log.isEmpty() ? -1 : view.log.last().level;
        for (auto it = block.begin(); !it.atEnd(); ++it) {
            level = levelOf(it.fragment().charFormat());
            add(level, it.fragment().text());
        }
        if (block.next().isValid())
            add(level, QStringLiteral("\n"));
    }
    return view;
}

void KvcResultsWidget::showRecord(const KvcRunView &view)
{
    status = view.status;
    statusTime = view.statusTime;
    updateHeaderStatus();
    const QString dateFormat = tr("dd-MMM-yyyy hh:mm:ss.zzz");
    if (const QSharedPointer<KvCommClientData> store = m_resultData->simulationData()) {
        simNameLbl->setText(store->simName());
        if (store->simLoadingTime().isValid())
            simLoadingStartedLbl->setText(
                store->simLoadingTime().toLocalTime().toString(dateFormat));
        if (store->simRunningTime().isValid())
            simRunningStartedLbl->setText(
                store->simRunningTime().toLocalTime().toString(dateFormat));
    }
    if (!statusTime.isValid())
        simFinishedLbl->clear();
    updateHeaderData();
    const int numGraphics = m_resultData->graphics().size();
    for (int i = 0; i < qMin<int>(ChartCount, view.chartGraphics.size()); ++i) {
        const int g = view.chartGraphics.at(i);
        if (g >= 0 && g < numGraphics)
            updateChartGraphic(i, g);
    }
    for (const KvcRunLogMessage &message : view.log)
        logBuffer->append(message.level, message.text);
    scheduleFrame();
}
