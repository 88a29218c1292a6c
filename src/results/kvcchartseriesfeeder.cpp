#include "kvcchartseriesfeeder.h"

#include <QtCharts/QXYSeries>

#include <algorithm>
#include <cmath>

QT_CHARTS_USE_NAMESPACE

KvcChartSeriesFeeder::KvcChartSeriesFeeder(QXYSeries *series, int firstSample)
    : m_series(series)
    , m_first(qMax(0, firstSample))
    , m_end(m_first)
{ }

void KvcChartSeriesFeeder::setGrid(double xMin, double xMax, int columns)
{
    if (xMin == m_xMin && xMax == m_xMax && columns == m_columns)
        return;
    m_xMin = xMin;
    m_xMax = xMax;
    m_columns = columns;
    m_scale = gridUsable() ? columns / (xMax - xMin) : 0.0;
    m_gridChanged = true;
}

bool KvcChartSeriesFeeder::gridUsable() const
{
    return m_columns > 0 && std::isfinite(m_xMin) && std::isfinite(m_xMax) && m_xMax > m_xMin
        && std::isfinite(m_columns / (m_xMax - m_xMin));
}

int KvcChartSeriesFeeder::columnOf(double x) const
{
    // -1 and m_columns are the virtual columns outside the range; NaN goes left.
    if (!(x >= m_xMin))
        return -1;
    if (x > m_xMax)
        return m_columns;
    return qMin(m_columns - 1, int((x - m_xMin) * m_scale));
}

bool KvcChartSeriesFeeder::sync(const QVector<double> &xs, const QVector<double> &ys, int end)
{
    end = qMin(end, qMin(xs.size(), ys.size()));
    // The source never shrinks; if it did, start over rather than read past it.
    const bool shrunk = end < qMax(m_end, m_rebuildAt);
    const int total = qMax(0, end - m_first);
    const bool decimate = gridUsable() && total > ColumnFactor * m_columns;
    const bool gridChanged = m_gridChanged;
    m_gridChanged = false;

    if (shrunk || decimate != m_decimated || (decimate && gridChanged)) {
        m_decimated = decimate;
        m_runs.clear();
        m_lastRunOffset = 0;
        m_end = m_first;
        m_rebuildAt = -1;
        if (decimate) {
            // Columns are filled over as many calls as the budget asks; the
            // series keeps its picture until they are complete.
            m_rebuildAt = m_first;
        } else {
            // At most ColumnFactor x columns points: done at once.
            rebuildExact(xs, ys, end);
            m_end = qMax(end, m_first);
            m_series->replace(m_out);
            return true;
        }
    }

    if (m_rebuildAt >= 0) {
        const int stop = int(qMin<qint64>(end, qint64(m_rebuildAt) + m_rebuildBudget));
        scanDecimated(xs, ys, m_rebuildAt, stop);
        m_rebuildAt = stop;
        if (stop < end)
            return false;
        m_rebuildAt = -1;
        m_end = qMax(end, m_first);
        m_out.clear();
        for (int r = 0; r < m_runs.size(); ++r) {
            m_lastRunOffset = m_out.size();
            emitRun(m_runs.at(r));
        }
        m_series->replace(m_out);
        return true;
    }

    if (end <= m_end)
        return false;

    if (m_decimated) {
        for (int i = m_end; i < end; ++i)
            addDecimated(i, xs.at(i), ys.at(i));
    } else {
        m_out.reserve(total);
        for (int i = m_end; i < end; ++i)
            m_out.append(QPointF(xs.at(i), ys.at(i)));
    }
    m_end = end;
    m_series->replace(m_out);
    return true;
}

void KvcChartSeriesFeeder::rebuildExact(
    const QVector<double> &xs, const QVector<double> &ys, int end)
{
    m_out.clear();
    m_out.reserve(qMax(0, end - m_first));
    for (int i = m_first; i < end; ++i)
        m_out.append(QPointF(xs.at(i), ys.at(i)));
}

void KvcChartSeriesFeeder::scanDecimated(
    const QVector<double> &xs, const QVector<double> &ys, int from, int to)
{
    // The hot loop of a rebuild: runs only, their points are emitted once at the end.
    const double *x = xs.constData();
    const double *y = ys.constData();
    for (int i = from; i < to; ++i) {
        const int column = columnOf(x[i]);
        const Sample sample {i, QPointF(x[i], y[i])};
        if (!m_runs.isEmpty() && m_runs.last().column == column) {
            Run &run = m_runs.last();
            run.last = sample;
            if (y[i] < run.min.point.y())
                run.min = sample;
            if (y[i] > run.max.point.y())
                run.max = sample;
        } else {
            m_runs.append(Run {column, sample, sample, sample, sample});
        }
    }
}

void KvcChartSeriesFeeder::addDecimated(int index, double x, double y)
{
    const Sample sample {index, QPointF(x, y)};
    const int column = columnOf(x);
    if (!m_runs.isEmpty() && m_runs.last().column == column) {
        Run &run = m_runs.last();
        run.last = sample;
        // Strict comparisons: the earliest of equal extremes is kept.
        if (y < run.min.point.y())
            run.min = sample;
        if (y > run.max.point.y())
            run.max = sample;
        m_out.resize(m_lastRunOffset);
    } else {
        m_runs.append(Run {column, sample, sample, sample, sample});
        m_lastRunOffset = m_out.size();
    }
    emitRun(m_runs.last());
}

void KvcChartSeriesFeeder::emitRun(const Run &run)
{
    Sample kept[4] = {run.first, run.min, run.max, run.last};
    std::sort(std::begin(kept), std::end(kept),
        [](const Sample &a, const Sample &b) { return a.index < b.index; });
    int previous = -1;
    for (const Sample &sample : kept) {
        if (sample.index != previous)
            m_out.append(sample.point);
        previous = sample.index;
    }
}
