#include "kvcresultswidget.h"

#include "kvcchartdata.h"
#include "kvcchartinteraction.h"
#include "kvcframescheduler.h"
#include "kvclogbuffer.h"
#include "kvcplotlayer.h"
#include "kvcrunprogress.h"

#include <QApplication>
#include <QBuffer>
#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QDragMoveEvent>
#include <QDropEvent>
#include <QFileDialog>
#include <QMenu>
#include <QMimeData>
#include <QPointer>
#include <QSaveFile>
#include <QSvgGenerator>
#include <QTextBlock>
#include <QTimer>
#include <QtCharts/QChart>
#include <QtCharts/QChartView>
#include <QtCharts/QValueAxis>
#include <qtmessagebox.h>

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
    progress = new KvcRunProgress(frame);
    formLayout_2->addRow(progress->caption(), progress);
    frameTimer->setSingleShot(true);
    frameTimer->setInterval(KvcFrameScheduler::FrameIntervalMs);
    connect(frameTimer, &QTimer::timeout, this, &KvcResultsWidget::flushFrame);

    updateHeaderStatus();
    initLogViewer();
    initCharts();
    updatePlannedEnd();

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
        auto *interaction = new KvcChartInteraction(view, data, m_resultData.data());
        connect(interaction, &KvcChartInteraction::rangesChanged, this, regrid);
        connect(interaction, &KvcChartInteraction::contextMenuRequested, this,
            [this, i](const QPoint &at) { showChartMenu(i, at); });
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
    charts[chartIndex]->setLogarithmic(
        logGraphics.contains(graphics.at(graphicIndex)), *m_resultData);
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
    charts[largeChart]->setLogarithmic(logGraphics.contains(chosen), *m_resultData);
    scheduleFrame();
}

void KvcResultsWidget::simInfoAvailable()
{
    updateHeaderStatus();
    updatePlannedEnd();
}

void KvcResultsWidget::updatePlannedEnd()
{
    const QSharedPointer<KvCommClientData> store = m_resultData->simulationData();
    progress->setPlannedEnd(store ? store->simPlannedEndTime() : qQNaN());
}

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
    if (!isLive(newStatus))
        progress->finish(newStatus == KvcActionManager::Finished
            || newStatus == KvcActionManager::Canceled || newStatus == KvcActionManager::Aborted);
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
    logTed->logBuffer()->append(level, msg);
    scheduleFrame();
}

void KvcResultsWidget::addTrackData(int trackId)
{
    // Special graphic 0 draws the time track.
    const bool time = trackId == m_resultData->timeTrackId();
    if (time) {
        updateHeaderData();
        progress->addSample(m_resultData->currentExecutionTime(), m_resultData->currentTime());
    }
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
    logTed->logBuffer()->flush();
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
    for (const KvcLogBuffer::Run &run : logTed->logBuffer()->runs())
        view.log.append({run.level, run.text});
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
        logTed->logBuffer()->append(message.level, message.text);
    scheduleFrame();
}

QChartView *KvcResultsWidget::settledView(int chart)
{
    // The picture of the data as it is now, not one still being painted.
    flushFrame();
    charts[chart]->layer()->waitForPicture();
    return views[chart];
}

QImage KvcResultsWidget::chartImage(int chart)
{
    if (chart < 0 || chart >= ChartCount)
        return QImage();
    QChartView *view = settledView(chart);
    const qreal ratio = view->devicePixelRatioF();
    QImage image(view->size() * ratio, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(ratio);
    image.fill(Qt::white);
    QPainter painter(&image);
    view->render(&painter);
    return image;
}

bool KvcResultsWidget::writeChartFile(int chart, const QString &fileName, QString *error,
    const std::function<bool(QSaveFile &)> &write)
{
    QString reason;
    if (chart < 0 || chart >= ChartCount) {
        reason = tr("There is no chart %1.").arg(chart);
    } else {
        QSaveFile file(fileName);
        if (file.open(QIODevice::WriteOnly) && write(file) && file.commit())
            return true;
        reason
            = tr("Cannot write %1: %2").arg(QDir::toNativeSeparators(fileName), file.errorString());
    }
    if (error)
        *error = reason;
    return false;
}

bool KvcResultsWidget::saveChartImage(int chart, const QString &fileName, QString *error)
{
    if (!fileName.endsWith(QLatin1String(".svg"), Qt::CaseInsensitive))
        return writeChartFile(chart, fileName, error,
            [this, chart](QSaveFile &file) { return chartImage(chart).save(&file, "PNG"); });
    return writeChartFile(chart, fileName, error, [this, chart](QSaveFile &file) {
        QChartView *view = settledView(chart);
        QSvgGenerator svg;
        svg.setOutputDevice(&file);
        svg.setSize(view->size());
        svg.setViewBox(view->rect());
        svg.setTitle(charts[chart]->chart()->title());
        QPainter painter;
        if (!painter.begin(&svg))
            return false;
        view->render(&painter);
        return painter.end();
    });
}

QByteArray KvcResultsWidget::chartData(int chart) const
{
    QByteArray csv;
    if (chart < 0 || chart >= ChartCount)
        return csv;
    QBuffer buffer(&csv);
    buffer.open(QIODevice::WriteOnly);
    charts[chart]->writeCsv(*m_resultData, &buffer);
    return csv;
}

bool KvcResultsWidget::exportChartData(int chart, const QString &fileName, QString *error)
{
    return writeChartFile(chart, fileName, error,
        [this, chart](QSaveFile &file) { return charts[chart]->writeCsv(*m_resultData, &file); });
}

bool KvcResultsWidget::isChartHeld(int chart) const
{
    return chart >= 0 && chart < ChartCount && charts[chart]->isHeld();
}

void KvcResultsWidget::resetChartRanges(int chart)
{
    if (chart < 0 || chart >= ChartCount)
        return;
    charts[chart]->resetRanges();
    scheduleFrame();
}

void KvcResultsWidget::showChartMenu(int chart, const QPoint &globalPos)
{
    auto *menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->setObjectName(QStringLiteral("chartMenu"));
    QAction *reset
        = menu->addAction(tr("Reset zoom"), this, [this, chart] { resetChartRanges(chart); });
    reset->setShortcut(Qt::Key_Home);
    reset->setEnabled(charts[chart]->isHeld());
    const int graphic
        = m_resultData->graphics().indexOf(const_cast<GraphicsData *>(charts[chart]->graphic()));
    QAction *log = menu->addAction(tr("Logarithmic y axis"), this,
        [this, chart, graphic](bool on) { setLogarithmic(graphic, on); });
    log->setCheckable(true);
    log->setChecked(charts[chart]->isLogarithmic());
    log->setEnabled(graphic >= 0);
    menu->addSeparator();
    // Default names from the chart's title, in the folder last used.
    const QString title = charts[chart]->chart()->title();
    const QString base = title.isEmpty() ? QStringLiteral("chart") : title;
    menu->addAction(tr("Save image…"), this, [this, chart, base] {
        const QString fileName = QFileDialog::getSaveFileName(this, tr("Save the chart's image"),
            base + QStringLiteral(".png"), tr("PNG images (*.png);;SVG images (*.svg)"));
        QString error;
        if (!fileName.isEmpty() && !saveChartImage(chart, fileName, &error))
            QtMessageBox::critical(this, tr("Save image"), error);
    });
    menu->addAction(tr("Copy image"), this,
        [this, chart] { QApplication::clipboard()->setImage(chartImage(chart)); });
    menu->addAction(tr("Export data…"), this, [this, chart, base] {
        const QString fileName = QFileDialog::getSaveFileName(this, tr("Export the chart's data"),
            base + QStringLiteral(".csv"), tr("CSV files (*.csv)"));
        QString error;
        if (!fileName.isEmpty() && !exportChartData(chart, fileName, &error))
            QtMessageBox::critical(this, tr("Export data"), error);
    });
    menu->addAction(tr("Copy data"), this,
        [this, chart] { QApplication::clipboard()->setText(QString::fromUtf8(chartData(chart))); });
    menu->popup(globalPos);
}

bool KvcResultsWidget::isLogarithmic(int graphicIndex) const
{
    return logGraphics.contains(m_resultData->graphics().value(graphicIndex));
}

void KvcResultsWidget::setLogarithmic(int graphicIndex, bool logarithmic)
{
    const GraphicsData *graphic = m_resultData->graphics().value(graphicIndex);
    if (!graphic)
        return;
    if (logarithmic)
        logGraphics.insert(graphic);
    else
        logGraphics.remove(graphic);
    for (const auto &chart : charts)
        if (chart->graphic() == graphic)
            chart->setLogarithmic(logarithmic, *m_resultData);
    scheduleFrame();
}
