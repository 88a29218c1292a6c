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
    const bool shrunk = end < m_end;
    const int total = qMax(0, end - m_first);
    const bool decimate = gridUsable() && total > ColumnFactor * m_columns;
    const bool gridChanged = m_gridChanged;
    m_gridChanged = false;

    if (shrunk || decimate != m_decimated || (decimate && gridChanged)) {
        rebuild(xs, ys, end, decimate);
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

void KvcChartSeriesFeeder::rebuild(
    const QVector<double> &xs, const QVector<double> &ys, int end, bool decimate)
{
    m_decimated = decimate;
    m_runs.clear();
    m_out.clear();
    m_lastRunOffset = 0;
    const int first = qMin(m_first, end);
    if (decimate) {
        for (int i = first; i < end; ++i)
            addDecimated(i, xs.at(i), ys.at(i));
    } else {
        m_out.reserve(end - first);
        for (int i = first; i < end; ++i)
            m_out.append(QPointF(xs.at(i), ys.at(i)));
    }
    m_end = qMax(end, m_first);
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
    emitLastRun();
}

void KvcChartSeriesFeeder::emitLastRun()
{
    const Run &run = m_runs.last();
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
