#pragma once

#include "kvcexport.h"

#include <QCoreApplication>
#include <QString>
#include <QtNumeric>

#include <deque>

/// How far a run is and how long it still takes: its progress is the latest
/// simulated time over the planned end, the time left follows from the rate
/// at which simulated time advanced lately against wall-clock time.
///
/// Times are seconds of one wall clock of the caller's choice (the results
/// view and kivo-monitor use the execution time that the server sends with
/// the samples); simulated time is in the model's own unit.
///
/// Decided here:
/// - the rate is taken over a window of the last fifth of the run, at least
///   5 s and at most 60 s, so that it follows a run that slows down or speeds
///   up within a minute while one slow step does not move it;
/// - the estimate is smoothed as the instant at which the run will end
///   (exponentially, time constant 10 s): on a steady run it counts down one
///   second per second instead of jumping at every sample;
/// - nothing is estimated ("estimating") before 4 samples spanning 2 s of
///   wall-clock time and some simulated progress;
/// - a run whose simulated time did not advance over the whole window has no
///   estimate (infinite time left); between samples the estimate grows as the
///   wall clock goes on without progress; after a gap between samples longer
///   than the window the estimate starts afresh ("estimating" again), as the
///   rate before a standstill says little about the rate after it;
/// - at most about ten samples per second of wall-clock time and only those
///   of the longest window are kept: memory stays bounded on any run.
class KVC_EXPORT KvcProgressEstimate
{
    Q_DECLARE_TR_FUNCTIONS(KvcProgressEstimate)

public:
    static constexpr int MinSamples = 4;
    static constexpr double MinSpanSeconds = 2.0;
    static constexpr double MinWindowSeconds = 5.0;
    static constexpr double MaxWindowSeconds = 60.0;
    static constexpr double SmoothingSeconds = 10.0;

    /// `plannedEnd` as setPlannedEnd().
    explicit KvcProgressEstimate(double plannedEnd = qQNaN());

    /// The simulated time at which the run ends; anything but a finite
    /// positive number makes it unknown. Samples are kept.
    void setPlannedEnd(double plannedEnd);
    double plannedEnd() const { return m_end; }
    bool endKnown() const { return !qIsNaN(m_end); }

    /// The run reached simulated time `simTime` at wall-clock time `wall`.
    /// Samples that are not finite or go back in wall-clock time are ignored.
    void addSample(double wall, double simTime);
    int sampleCount() const { return m_count; }
    /// Points kept for the rate (what the estimate's memory grows with).
    int keptPoints() const { return int(m_points.size()); }
    /// Wall-clock time of the latest sample; NaN before the first.
    double lastWall() const;
    double lastSimTime() const;

    /// Share of the planned end reached, 0..1; NaN while the end or the
    /// simulated time is unknown.
    double fraction() const;
    /// Seconds left at wall-clock time `now` (not before the latest sample):
    /// NaN while estimating or when the end is unknown, infinity when the run
    /// makes no progress, 0 once the end is reached.
    double secondsLeft(double now);

    /// "45 s", "3 min 05 s", "2 h 07 min"; translated.
    static QString durationText(double seconds);

private:
    struct Point {
        double wall;
        double sim;
    };

    double windowAt(double wall) const;

    double m_end = qQNaN();
    std::deque<Point> m_points;
    double m_firstWall = qQNaN();
    double m_firstSim = qQNaN();
    int m_count = 0;
    // The smoothed end instant and when it was last moved; NaN: none yet.
    double m_smoothedEnd = qQNaN();
    double m_smoothedAt = qQNaN();
};
