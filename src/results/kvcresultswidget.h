#pragma once

#include "kvcactionmanager.h"
#include "kvcexport.h"
#include "kvcresultsdata.h"
#include "kvcrunfile.h"
#include "ui_kvcresultswidget.h"

#include <QDateTime>
#include <QSharedPointer>
#include <QWidget>

#include <array>
#include <memory>

class KvcChartData;
class KvcFrameScheduler;
class KvcLogBuffer;
class QDropEvent;
class QTimer;

/// Shows one execution: a header (name, status, times), four line charts of
/// tracked values against simulated time and the execution's log.
///
/// It follows the action manager (status changes and log messages, until one
/// second after a final status; statuses after a final one are another run's
/// and change nothing), the results data (simulation information,
/// rule data, samples; for its whole life) and the user, who may drop any
/// graphic of the results data onto any chart (MIME type
/// "application/x-GraphIndex" with the graphic's index as decimal text; text
/// that is not a number shows graphic 0). The view starts no drags and has no
/// signals. A view without an action manager shows a run that is over (a
/// run file, showRecord()): its charts look as those of a view that followed
/// the run from its start, iterations and errors drawn from the first sample
/// and axes grown sample by sample.
///
/// Ownership: the host owns the view; the view keeps its own reference to the
/// results data, so the data lives at least as long as the view. It does not
/// own the action manager, which may be destroyed first.
///
/// Drawing at any history length. Samples are stored by the results data as
/// they arrive; the view does the bookkeeping of every sample at once (which
/// points belong to which series, the axis rule: an axis grows to 1.25 times
/// a value that comes within 5 % of its end, a rule graphic's y range is its
/// value's minimum and maximum), but what reaches Qt Charts is coalesced:
/// - at most once per frame (at most 60 Hz, only while something changed), a
///   chart's axes get the ranges they would have after the same samples
///   appended one by one, and its series their new points. A chart that is
///   costly to draw is updated less often, so that drawing leaves most of the
///   GUI thread to reading the stream and to the user (docs/performance.md);
/// - a series holds every sample exactly while it has at most four times as
///   many as its columns; beyond that it holds, per column of the visible x
///   range, the first, minimum, maximum and last sample, so every extreme and
///   the picture stay as with all points. A series' columns are the plot's
///   pixel columns, wider for a chart with many series or with long strokes
///   (a band of noise), down to 4 per series. After the x range changes (it
///   grows geometrically rarely, or the user zooms) or the plot is resized, a
///   chart keeps its previous picture until its columns are rebuilt from the
///   history. Nothing stored is dropped: the results data keeps every sample;
/// - log messages are written once per frame, one insertion per run of
///   messages of the same colour (KvcLogBuffer). The log keeps the newest
///   50 000 lines (or 4 Mi characters); a grey line at its top says how many
///   earlier lines were dropped. Levels 0..7 take their colour (black, black,
///   black, blue, red, red, dark green, dark green); -1 (raw process output)
///   and any level outside -1..7 keep the previous colour.
///
/// Decided here where the behaviour is otherwise open:
/// - a null results data pointer is replaced by an empty results data of the
///   view's own: the charts show the special graphics' titles and stay empty;
///   nothing is connected to it;
/// - a rule graphic with fewer series names than component vectors gives the
///   extra series no name; special graphics 1 and 2 draw the first component
///   of a value with several (their chart holds one series).
class KVC_EXPORT KvcResultsWidget
    : public QWidget
    , private Ui::KvcResultsWidget
{
    Q_OBJECT

public:
    KvcResultsWidget(KvcActionManager *actMgr, KvcActionManager::ExecutionStatus status,
        QSharedPointer<KvcResultsData> &resultData, QWidget *parent = nullptr);
    ~KvcResultsWidget() override;

    /// The manager is busy with an execution and the status is Loading or Running.
    bool active();
    QSharedPointer<KvcResultsData> resultData();

    /// What the view shows besides its results data, for KvcRunFile::save():
    /// its status and when it came, the graphic of each chart, and the log
    /// as the view keeps it (waiting messages written first; each run of one
    /// colour becomes one message of the lowest level with that colour, text
    /// in no level's colour level -1).
    KvcRunView record();
    /// Shows a run read from a file: the status and its time, the header from
    /// the results data's store, the charts' graphics (indexes that are not
    /// graphics are skipped) and the log. A view built for this has no manager.
    void showRecord(const KvcRunView &view);

private slots:
    void executionStatusChanged(KvcActionManager::ExecutionStatus status);
    void simInfoAvailable();
    void ruleInfoAvailable();
    void appendLogMsg(int level, const QString &msg);
    void addTrackData(int trackId);

private:
    using GraphicsData = KvcResultsData::GraphicsData;
    static constexpr int ChartCount = 4;

    void initCharts();
    void initLogViewer();
    void updateHeaderData();
    void updateHeaderStatus();
    void updateChartGraphic(int chartIndex, int graphicIndex);
    void installEventFilterTree(QObject *object);
    bool eventFilter(QObject *object, QEvent *event) override;
    bool timePaint(QObject *viewport, QEvent *event);
    bool dropGraphic(QObject *object, QDropEvent *drop);

    void scheduleFrame();
    void flushFrame();

    KvcActionManager *actMgr = nullptr;
    QSharedPointer<KvcResultsData> m_resultData;
    KvcActionManager::ExecutionStatus status = KvcActionManager::Unknown;
    QDateTime statusTime = QDateTime::currentDateTime();
    // The form's chart views and what each shows: special graphics 0..2, then
    // the large chart, which the first rule graphic fills.
    std::array<QtCharts::QChartView *, ChartCount> views {};
    std::array<std::unique_ptr<KvcChartData>, ChartCount> charts;

    std::unique_ptr<KvcLogBuffer> logBuffer;
    QTimer *frameTimer = nullptr;
    std::unique_ptr<KvcFrameScheduler> scheduler;
    // A chart's repaint is being timed: its paint event passes the filter.
    bool paintingChart = false;
};
