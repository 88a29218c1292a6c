#pragma once

#include "kvcexport.h"

#include <QPointF>
#include <QVector>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QXYSeries;
QT_CHARTS_END_NAMESPACE

/// Brings one line series up to date with a growing history, at a cost per
/// call that does not depend on the length of that history.
///
/// The history is not copied: every sync() is handed the source vectors (x and
/// y, append-only, typically a results model's) and the number of samples that
/// belong to the series now; the feeder takes the samples it has not seen yet
/// and hands the series one replace() if anything changed.
///
/// What the series holds:
/// - while the series has at most ColumnFactor x columns samples, every sample
///   exactly, in order;
/// - beyond that, per pixel column of the grid (the visible x range cut into
///   `columns` columns), the first, minimum, maximum and last sample of each run
///   of consecutive samples falling into the same column, in sample order. For
///   samples whose x never goes back (simulated time) a run is a column, so the
///   series holds at most 4 points per column and every column's extremes and
///   every connecting segment between columns stay on screen. Samples left of
///   the range share a virtual column, as do samples right of it, so the lines
///   leaving the visible range keep their direction.
/// A new sample updates only the last run; the runs are rebuilt from the whole
/// history only when the grid changes (the x range grew or was zoomed, the plot
/// was resized) or the series changes between exact and decimated. A rebuild
/// scans at most a budget of samples per sync() (about a million, a few ms),
/// so the rebuild of a long history is spread over several frames during which
/// the series keeps its previous picture; then it takes the new one at once.
/// A grid without width (no columns, empty or invalid x range) keeps every
/// sample.
///
/// The feeder does not own the series.
class KVC_TESTING_EXPORT KvcChartSeriesFeeder
{
public:
    static constexpr int ColumnFactor = 4;

    /// Feeds `series` with the samples from index `firstSample` of the source.
    explicit KvcChartSeriesFeeder(QtCharts::QXYSeries *series, int firstSample = 0);

    /// Index after the last sample taken from the source.
    int endSample() const { return m_end; }
    bool isDecimated() const { return m_decimated; }
    /// Columns are being rebuilt; the series shows the previous picture.
    bool isRebuilding() const { return m_rebuildAt >= 0; }
    /// Samples that one sync() scans at most while rebuilding the columns, so
    /// that a rebuild of a long history is spread over several frames.
    void setRebuildBudget(int samples) { m_rebuildBudget = qMax(1, samples); }
    /// The points the series was last given.
    const QVector<QPointF> &points() const { return m_out; }

    /// The visible x range and its width in pixel columns.
    void setGrid(double xMin, double xMax, int columns);

    /// Takes samples [endSample(), end) of `xs`/`ys` (end is clipped to the
    /// shorter vector); rebuilds first if the grid changed. Returns true if the
    /// series was given new points.
    bool sync(const QVector<double> &xs, const QVector<double> &ys, int end);

private:
    struct Sample {
        int index = -1;
        QPointF point;
    };
    struct Run {
        int column = 0;
        Sample first;
        Sample min;
        Sample max;
        Sample last;
    };

    bool gridUsable() const;
    int columnOf(double x) const;
    void rebuildExact(const QVector<double> &xs, const QVector<double> &ys, int end);
    void scanDecimated(const QVector<double> &xs, const QVector<double> &ys, int from, int to);
    void addDecimated(int index, double x, double y);
    void emitRun(const Run &run);

    QtCharts::QXYSeries *m_series = nullptr;
    int m_first = 0;
    int m_end = 0;
    double m_xMin = 0.0;
    double m_xMax = 0.0;
    int m_columns = 0;
    double m_scale = 0.0;
    bool m_gridChanged = false;
    bool m_decimated = false;
    QVector<Run> m_runs;
    QVector<QPointF> m_out;
    int m_lastRunOffset = 0;
    // Next sample to scan while rebuilding the columns, -1 otherwise.
    int m_rebuildAt = -1;
    int m_rebuildBudget = 1 << 20;
};
