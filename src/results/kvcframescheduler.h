#pragma once

#include "kvcexport.h"

#include <QVector>

#include <functional>

/// Decides which charts a frame of the results view updates, from what their
/// updates and repaints cost on a clock of its own.
///
/// Qt Charts lays out and strokes every point of a chart again on each update,
/// so a costly chart must not be updated at every frame. A frame therefore:
/// - looks at the charts in turn, starting after the last one it updated;
/// - passes over a chart that has not changed, and one whose pause is not
///   over: after an update, a chart waits PaceFactor times what that update
///   and its last repaint took (a cheap chart is updated at every frame, a
///   costly one a few times a second, and none less often than every
///   LongestPauseNs, so that a chart keeps up with its data at least twice a
///   second; the four charts take at most 4 / PaceFactor of the GUI thread
///   unless an update costs more than a tenth of that pause, which leaves
///   the rest to reading the stream and to the user);
/// - updates at most ChartsPerFrame charts, and no further chart once the
///   updates so far and their repaints (as long as the charts' last ones) come
///   to FrameBudgetNs: the charts updated in a frame are repainted together,
///   in one event, so a frame's cost includes those repaints. The others
///   follow in the next frame.
/// A chart's repaint is timed by running it through timePaint().
class KVC_TESTING_EXPORT KvcFrameScheduler
{
public:
    /// Monotonic time in nanoseconds.
    using Clock = std::function<qint64()>;

    /// Points, ranges and log text reach the widgets at most this often.
    static constexpr int FrameIntervalMs = 16;
    static constexpr int ChartsPerFrame = 2;
    static constexpr qint64 FrameBudgetNs = 8000000;
    static constexpr qint64 PaceFactor = 10;
    static constexpr qint64 LongestPauseNs = 450000000;

    /// Schedules `charts` charts, numbered from 0, on `clock` (by default a
    /// steady clock started here).
    explicit KvcFrameScheduler(int charts, Clock clock = {});

    /// Runs one frame: calls update(i) for each chart i to be updated, where
    /// changed(i) says whether chart i has anything new to show. Returns the
    /// charts updated, in order.
    QVector<int> runFrame(
        const std::function<bool(int)> &changed, const std::function<void(int)> &update);

    /// Runs `paint`, chart's repaint, and remembers what it took for the
    /// chart's next update.
    void timePaint(int chart, const std::function<void()> &paint);

private:
    struct Pace {
        // Not updated again before this time.
        qint64 notBeforeNs = 0;
        qint64 paintNs = 0;
    };

    Clock m_clock;
    QVector<Pace> m_charts;
    // The chart that the next frame looks at first.
    int m_next = 0;
};
