#pragma once

#include "kvcactionmanager.h"
#include "kvcexport.h"
#include "kvcresultsdata.h"
#include "kvcrunfile.h"
#include "ui_kvcresultswidget.h"

#include <QDateTime>
#include <QSet>
#include <QSharedPointer>
#include <QWidget>

#include <array>
#include <functional>
#include <memory>

class KvcChartData;
class KvcFrameScheduler;
class KvcRunProgress;
class QDropEvent;
class QSaveFile;
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
/// samples belong to which series, the axis rule: an axis grows to 1.25 times
/// a value that comes within 5 % of its end, a rule graphic's y range is its
/// value's minimum and maximum), but what reaches the charts is coalesced:
/// - at most once per frame (at most 60 Hz, only while something changed), a
///   chart's axes get the ranges they would have after the same samples
///   appended one by one, and its lines the new samples. A chart that is
///   costly to update is updated less often, never less than twice a second,
///   so that drawing leaves most of the GUI thread to reading the stream and
///   to the user (docs/performance.md);
/// - every chart shows, in each pixel column of its plot and for every
///   series, the minimum and maximum of the stored samples in that column,
///   consecutive columns joined, at any history length and zoom: while a
///   chart holds few samples Qt Charts draws them all; beyond that the
///   chart's long series are painted on a worker thread (KvcChartData). After
///   the x range changes or the plot is resized, a chart shows its previous
///   picture, placed on the new ranges, until the new one is painted. Nothing
///   stored is dropped: the results data keeps every sample;
/// - log messages are written once per frame, one insertion per run of
///   messages of the same level (KvcLogBuffer). The log keeps its first
///   2 000 lines (or 256 Ki characters) and its newest lines, 50 000 lines
///   (or 4 Mi characters) in all; a grey line between them says how many
///   lines were dropped. Levels 0..7 take their colour (black, black, black,
///   blue, red, red, dark green, dark green); -1 (raw process output) and any
///   level outside -1..7 keep the previous colour. The log can be searched,
///   filtered by level and saved, and it follows its end only while it is
///   scrolled to it (KvcLogEdit).
///
/// Decided here where the behaviour is otherwise open:
/// - a null results data pointer is replaced by an empty results data of the
///   view's own: the charts show the special graphics' titles and stay empty;
///   nothing is connected to it;
/// - a rule graphic with fewer series names than component vectors gives the
///   extra series no name; special graphics 1 and 2 draw the first component
///   of a value with several (their chart holds one series).
///
/// Beyond the header's labels: when the server announces the simulated time
/// at which the run ends (KvCommClientData::simPlannedEndTime()), a row
/// "Progress: " below "Iteration: " shows a progress bar and the estimated
/// time left, and after the end the run's duration (KvcRunProgress). Without
/// a known end the row stays hidden.
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
    /// as the view keeps it, whatever its filter shows (each run of one level
    /// one message; the notice of dropped lines as text without a level).
    KvcRunView record();
    /// Shows a run read from a file: the status and its time, the header from
    /// the results data's store, the charts' graphics (indexes that are not
    /// graphics are skipped) and the log. A view built for this has no manager.
    void showRecord(const KvcRunView &view);

    /// The charts, numbered 0 to 2 for the narrow ones (execution time,
    /// iterations, iteration error at first) and 3 for the large one. Each
    /// chart also answers the user (KvcChartInteraction): a read-out of the
    /// nearest samples under the mouse, legend entries that hide and show
    /// their series, wheel zoom, drag to pan, a reset (double-click, Home),
    /// and a context menu (right button, Menu key, Shift+F10) with "Reset
    /// zoom", "Logarithmic y axis", "Save image…", "Copy image", "Export
    /// data…" and "Copy data".
    /// The functions below do the same for a host without the menu; a chart
    /// index out of range does nothing and fails.
    static constexpr int ChartCount = 4;
    /// The chart as shown, at its size on screen in device pixels, with the
    /// full picture of its data.
    QImage chartImage(int chart);
    /// Saves chartImage() as PNG, or as SVG when `fileName` ends in ".svg"
    /// (the axes and texts as vectors, the dense data as an image), through
    /// QSaveFile: nothing half-written is left. False with a message in
    /// `error` on failure.
    bool saveChartImage(int chart, const QString &fileName, QString *error = nullptr);
    /// The chart's graphic's whole stored history as CSV (KvcCsvWriter), and
    /// the same written to a file through QSaveFile.
    QByteArray chartData(int chart) const;
    bool exportChartData(int chart, const QString &fileName, QString *error = nullptr);
    /// Whether graphic `graphicIndex` of the results data is shown on a
    /// logarithmic y axis, on every chart that shows it (the context menu's
    /// "Logarithmic y axis"); a host may keep the choice and set it again.
    bool isLogarithmic(int graphicIndex) const;
    void setLogarithmic(int graphicIndex, bool logarithmic);
    /// Whether the user's zoom holds the chart's ranges, and the reset.
    bool isChartHeld(int chart) const;
    void resetChartRanges(int chart);

private slots:
    void executionStatusChanged(KvcActionManager::ExecutionStatus status);
    void simInfoAvailable();
    void ruleInfoAvailable();
    void appendLogMsg(int level, const QString &msg);
    void addTrackData(int trackId);

private:
    using GraphicsData = KvcResultsData::GraphicsData;

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
    void showChartMenu(int chart, const QPoint &globalPos);
    QtCharts::QChartView *settledView(int chart);
    // Writes a file of chart `chart` through QSaveFile with `write`.
    bool writeChartFile(int chart, const QString &fileName, QString *error,
        const std::function<bool(QSaveFile &)> &write);
    void updatePlannedEnd();

    KvcActionManager *actMgr = nullptr;
    QSharedPointer<KvcResultsData> m_resultData;
    KvcActionManager::ExecutionStatus status = KvcActionManager::Unknown;
    QDateTime statusTime = QDateTime::currentDateTime();
    // The form's chart views and what each shows: special graphics 0..2, then
    // the large chart, which the first rule graphic fills.
    std::array<QtCharts::QChartView *, ChartCount> views {};
    std::array<std::unique_ptr<KvcChartData>, ChartCount> charts;
    QSet<const GraphicsData *> logGraphics;

    KvcRunProgress *progress = nullptr;
    QTimer *frameTimer = nullptr;
    std::unique_ptr<KvcFrameScheduler> scheduler;
    // A chart's repaint is being timed: its paint event passes the filter.
    bool paintingChart = false;
};
