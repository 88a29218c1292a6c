#include "kvcplotcolumns.h"

#include <cmath>

void KvcPlotColumns::setGrid(double xMin, double xMax, int columns)
{
    if (columns <= 0 || !std::isfinite(xMin) || !std::isfinite(xMax) || !(xMax > xMin))
        columns = 0;
    if (xMin == m_xMin && xMax == m_xMax && columns == m_columns.size())
        return;
    m_xMin = xMin;
    m_xMax = xMax;
    m_scale = columns > 0 ? columns / (xMax - xMin) : 0.0;
    m_columns = QVector<Column>(columns);
    m_laidOut = false;
}

int KvcPlotColumns::columnOf(double x) const
{
    if (!(x >= m_xMin))
        return -1;
    const double column = (x - m_xMin) * m_scale;
    return column < m_columns.size() ? int(column) : m_columns.size();
}

void KvcPlotColumns::reset()
{
    m_end = m_first;
    m_lastX = 0.0;
    m_monotonic = true;
    m_index.clear();
    m_laidOut = false;
}

bool KvcPlotColumns::sync(
    const QVector<double> &xs, const QVector<double> &ys, int end, const KvcMinMaxIndex *extremes)
{
    end = qMin(end, qMin(xs.size(), ys.size()));
    if (end < m_end)
        reset();
    if (extremes && extremes->size() >= end) {
        m_extremes = extremes;
        m_index.clear();
    } else {
        m_extremes = &m_index;
        m_index.sync(ys, end);
    }
    const int from = m_end;
    for (int i = from; i < end; ++i) {
        const double x = xs.at(i);
        // A NaN time breaks the order as a time going back does.
        if (!(x >= m_lastX) && (i > m_first || std::isnan(x)))
            m_monotonic = false;
        m_lastX = x;
    }
    m_end = end;
    if (!m_laidOut) {
        layOut(xs, ys);
        m_laidOut = true;
        return true;
    }
    for (int i = from; i < end; ++i)
        fold(xs.at(i), ys.at(i));
    return end > from;
}

void KvcPlotColumns::fold(double x, double y)
{
    if (std::isnan(x))
        return;
    const int c = columnOf(x);
    if (c < 0) {
        m_before = {true, x, y};
        return;
    }
    if (c >= m_columns.size()) {
        if (!m_after.valid)
            m_after = {true, x, y};
        return;
    }
    Column &column = m_columns[c];
    if (column.count++ == 0) {
        column.firstX = x;
        column.first = y;
    }
    column.lastX = x;
    column.last = y;
    column.extent.add(y);
}

void KvcPlotColumns::layOut(const QVector<double> &xs, const QVector<double> &ys)
{
    m_columns.fill(Column());
    m_before = Point();
    m_after = Point();
    if (!m_monotonic || m_columns.isEmpty()) {
        for (int i = m_first; i < m_end; ++i)
            fold(xs.at(i), ys.at(i));
        return;
    }
    // x never decreases, so neither does its column: each column's samples
    // are one run, found by bisection, and summed up by the index.
    const auto firstAtOrAfter = [&](int column, int low) {
        int high = m_end;
        while (low < high) {
            const int mid = low + (high - low) / 2;
            if (columnOf(xs.at(mid)) < column)
                low = mid + 1;
            else
                high = mid;
        }
        return low;
    };
    int begin = firstAtOrAfter(0, m_first);
    if (begin > m_first)
        m_before = {true, xs.at(begin - 1), ys.at(begin - 1)};
    Column *columns = m_columns.data();
    for (int c = 0; c < m_columns.size(); ++c) {
        const int end = firstAtOrAfter(c + 1, begin);
        if (end > begin) {
            Column &column = columns[c];
            column.count = end - begin;
            column.firstX = xs.at(begin);
            column.first = ys.at(begin);
            column.lastX = xs.at(end - 1);
            column.last = ys.at(end - 1);
            column.extent = m_extremes->extent(ys, begin, end);
        }
        begin = end;
    }
    if (begin < m_end)
        m_after = {true, xs.at(begin), ys.at(begin)};
}
