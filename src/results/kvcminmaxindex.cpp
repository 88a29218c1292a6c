#include "kvcminmaxindex.h"

#include <cmath>

void KvcMinMaxIndex::Extent::add(double value)
{
    if (std::isnan(value))
        return;
    if (value < min)
        min = value;
    if (value > max)
        max = value;
    if (value > 0.0) {
        if (value < minPositive)
            minPositive = value;
    } else {
        ++notPositive;
    }
}

void KvcMinMaxIndex::Extent::add(const Extent &other)
{
    if (other.min < min)
        min = other.min;
    if (other.max > max)
        max = other.max;
    if (other.minPositive < minPositive)
        minPositive = other.minPositive;
    notPositive += other.notPositive;
}

void KvcMinMaxIndex::clear()
{
    m_levels.clear();
    m_size = 0;
}

void KvcMinMaxIndex::sync(const QVector<double> &values, int end)
{
    end = qMin(end, values.size());
    if (m_levels.isEmpty())
        m_levels.append(QVector<Extent>());
    for (; m_size < end; ++m_size) {
        const double value = values.at(m_size);
        qint64 span = BlockSize;
        for (int level = 0;; ++level, span *= BlockSize) {
            QVector<Extent> &blocks = m_levels[level];
            if (m_size % span == 0)
                blocks.append(Extent());
            blocks.last().add(value);
            if (level + 1 < m_levels.size())
                continue;
            // The level above is worth keeping once this one has a second
            // block; its first block covers everything so far.
            if (blocks.size() >= 2) {
                Extent all;
                for (const Extent &block : qAsConst(blocks))
                    all.add(block);
                m_levels.append(QVector<Extent> {all});
            }
            break;
        }
    }
}

KvcMinMaxIndex::Extent KvcMinMaxIndex::extent(const QVector<double> &values, int from, int to) const
{
    Extent result;
    to = qMin(to, qMin(m_size, values.size()));
    qint64 i = qMax(from, 0);
    while (i < to) {
        // The widest whole block that starts here and ends within the range.
        int level = -1;
        qint64 span = 1;
        while (level + 1 < m_levels.size() && i % (span * BlockSize) == 0
            && i + span * BlockSize <= to) {
            ++level;
            span *= BlockSize;
        }
        if (level < 0)
            result.add(values.at(int(i)));
        else
            result.add(m_levels.at(level).at(int(i / span)));
        i += span;
    }
    return result;
}
