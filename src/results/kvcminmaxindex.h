#pragma once

#include "kvcexport.h"

#include <QVector>

#include <limits>

/// The extremes of any run of an append-only series of values, found in time
/// that does not grow with the run, so that a chart can redraw the columns of
/// a long history for a new range or size without scanning it.
///
/// The index keeps, per block of 64 values, their extremes, then the same per
/// block of 64 blocks, and so on: about 1/20 of the values' own memory. The
/// values themselves stay with their owner, which hands them to each call:
/// the index never copies them. append() costs a few comparisons per level (at
/// most five levels below a billion values); extent() looks at fewer than 130
/// entries per level.
///
/// NaN is no value: it moves no extreme and counts as neither positive nor
/// not. For logarithmic axes an extent also keeps its smallest positive value
/// and how many values were zero or negative.
class KVC_TESTING_EXPORT KvcMinMaxIndex
{
public:
    struct Extent {
        double min = std::numeric_limits<double>::infinity();
        double max = -std::numeric_limits<double>::infinity();
        double minPositive = std::numeric_limits<double>::infinity();
        int notPositive = 0;

        bool isEmpty() const { return !(min <= max); }
        void add(double value);
        void add(const Extent &other);
    };

    static constexpr int BlockSize = 64;

    /// Values indexed so far.
    int size() const { return m_size; }
    void clear();
    /// Takes values [size(), end) of `values` (end clipped to its size).
    void sync(const QVector<double> &values, int end);
    /// The extent of values [from, to) of `values`, which must be the vector
    /// synced; the range is clipped to what was synced.
    Extent extent(const QVector<double> &values, int from, int to) const;

private:
    // m_levels[k] holds the extents of blocks of BlockSize^(k+1) values; the
    // last entry of each level is the block still filling.
    QVector<QVector<Extent>> m_levels;
    int m_size = 0;
};
