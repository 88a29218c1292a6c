#pragma once

#include "kvcexport.h"
#include "kvcminmaxindex.h"

#include <QVector>

/// What one series draws in each pixel column of a plot: the samples whose x
/// falls into the column, summed up as their count, first and last sample and
/// extent. Drawing every column's extent and joining consecutive columns shows
/// every extreme at its place, whatever the number of samples.
///
/// The history is not copied: sync() is handed the source vectors (x and y,
/// append-only, typically a results model's) each time. A sync folds the new
/// samples into their columns; a new grid (range or width) lays the columns
/// out again from an index of the history (KvcMinMaxIndex), at a cost per
/// column that does not grow with the history, as long as x never decreases
/// (simulated time). A history whose x went back is laid out by a scan.
///
/// Samples left of the grid are summed up as the last one of them, samples
/// right of it as the first one, so that lines leaving the plot keep their
/// direction. A grid without columns or with an empty or invalid range has no
/// columns.
class KVC_TESTING_EXPORT KvcPlotColumns
{
public:
    using Extent = KvcMinMaxIndex::Extent;

    struct Column {
        int count = 0;
        double firstX = 0.0;
        double first = 0.0;
        double lastX = 0.0;
        double last = 0.0;
        Extent extent;
    };
    struct Point {
        bool valid = false;
        double x = 0.0;
        double y = 0.0;
    };

    /// Shows the samples from index `first` of the source on.
    explicit KvcPlotColumns(int first = 0)
        : m_first(first)
        , m_end(first)
    { }

    void setGrid(double xMin, double xMax, int columns);
    double xMin() const { return m_xMin; }
    double xMax() const { return m_xMax; }
    int columnCount() const { return m_columns.size(); }

    /// Takes samples [first, end) of `xs`/`ys` (end clipped to the shorter one);
    /// returns whether anything that is drawn changed. `extremes`, when
    /// given, is an index of `ys` kept by its owner (at least to `end`), used
    /// instead of one of the columns' own, so that a new series of a long
    /// history does not index it first.
    bool sync(const QVector<double> &xs, const QVector<double> &ys, int end,
        const KvcMinMaxIndex *extremes = nullptr);
    /// Index after the last sample taken.
    int end() const { return m_end; }
    /// Samples taken so far.
    int size() const { return m_end - m_first; }
    /// Forgets every sample (the series shows another history).
    void reset();

    const QVector<Column> &columns() const { return m_columns; }
    /// The last sample left of the grid, and the first right of it.
    Point before() const { return m_before; }
    Point after() const { return m_after; }
    /// The column of `x`; -1 left of the grid, columnCount() right of it.
    int columnOf(double x) const;

private:
    void fold(double x, double y);
    void layOut(const QVector<double> &xs, const QVector<double> &ys);

    double m_xMin = 0.0;
    double m_xMax = 0.0;
    double m_scale = 0.0;
    bool m_laidOut = true;
    bool m_monotonic = true;
    double m_lastX = 0.0;
    int m_first = 0;
    int m_end = 0;
    QVector<Column> m_columns;
    Point m_before;
    Point m_after;
    KvcMinMaxIndex m_index;
    // The index in use, the owner's or m_index: set by every sync().
    const KvcMinMaxIndex *m_extremes = &m_index;
};
