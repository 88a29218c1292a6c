#include "kvcprogressestimate.h"

#include <algorithm>
#include <cmath>

namespace {

// Denser samples add nothing to a rate over seconds.
constexpr double minSpacing = 0.1;
// A gap between samples this many times their mean interval (and at least
// the floor) counts as a run that stands still.
constexpr double gapFactor = 3.0;
constexpr double gapFloor = 2.0;

} // namespace

KvcProgressEstimate::KvcProgressEstimate(double plannedEnd) { setPlannedEnd(plannedEnd); }

void KvcProgressEstimate::setPlannedEnd(double plannedEnd)
{
    const double end = plannedEnd > 0.0 && qIsFinite(plannedEnd) ? plannedEnd : qQNaN();
    // The same information sent again keeps the estimate as it goes.
    if (end == m_end || (qIsNaN(end) && qIsNaN(m_end)))
        return;
    m_end = end;
    m_smoothedEnd = qQNaN();
}

void KvcProgressEstimate::addSample(double wall, double simTime)
{
    if (!qIsFinite(wall) || !qIsFinite(simTime) || (!m_points.empty() && wall < lastWall()))
        return;
    // After a standstill longer than the window the rate before it says
    // nothing about the rate after it: start afresh.
    if (!m_points.empty() && wall - lastWall() > windowAt(lastWall())) {
        m_points.clear();
        m_count = 0;
        m_smoothedEnd = qQNaN();
    }
    if (m_points.empty()) {
        m_firstWall = wall;
        m_firstSim = simTime;
    }
    ++m_count;
    const size_t n = m_points.size();
    if (n >= 2 && wall - m_points[n - 2].wall < minSpacing)
        m_points.back() = {wall, simTime};
    else
        m_points.push_back({wall, simTime});
    // The oldest point still needed starts the longest window.
    while (m_points.size() > 2 && m_points[1].wall <= wall - MaxWindowSeconds)
        m_points.pop_front();
}

double KvcProgressEstimate::windowAt(double wall) const
{
    return qBound(MinWindowSeconds, 0.2 * (wall - m_firstWall), MaxWindowSeconds);
}

double KvcProgressEstimate::lastWall() const
{
    return m_points.empty() ? qQNaN() : m_points.back().wall;
}

double KvcProgressEstimate::lastSimTime() const
{
    return m_points.empty() ? qQNaN() : m_points.back().sim;
}

double KvcProgressEstimate::fraction() const
{
    if (!endKnown() || m_points.empty())
        return qQNaN();
    return qBound(0.0, m_points.back().sim / m_end, 1.0);
}

double KvcProgressEstimate::secondsLeft(double now)
{
    if (!endKnown() || m_points.empty())
        return qQNaN();
    const Point last = m_points.back();
    if (last.sim >= m_end)
        return 0.0;
    if (m_count < MinSamples || last.wall - m_firstWall < MinSpanSeconds
        || !(last.sim > m_firstSim))
        return qQNaN();
    now = std::max(now, last.wall);

    // Measured up to the latest sample while samples come as usual; up to now
    // when they stopped, as if nothing had moved since.
    const double meanGap = (last.wall - m_firstWall) / (m_count - 1);
    const bool stalled = now - last.wall > std::max(gapFloor, gapFactor * meanGap);
    const double until = stalled ? now : last.wall;
    const double window = windowAt(until);
    auto start = std::upper_bound(m_points.cbegin(), m_points.cend(), until - window,
        [](double t, const Point &p) { return t < p.wall; });
    if (start != m_points.cbegin())
        --start;
    const double progress = last.sim - start->sim;
    const double elapsed = until - start->wall;
    if (!(progress > 0.0) || !(elapsed > 0.0)) {
        m_smoothedEnd = qQNaN();
        return qInf();
    }
    const double rawEnd = until + (m_end - last.sim) * elapsed / progress;

    if (qIsNaN(m_smoothedEnd) || !qIsFinite(rawEnd)) {
        m_smoothedEnd = rawEnd;
    } else if (now > m_smoothedAt) {
        const double alpha = 1.0 - std::exp(-(now - m_smoothedAt) / SmoothingSeconds);
        m_smoothedEnd += alpha * (rawEnd - m_smoothedEnd);
    }
    if (qIsNaN(m_smoothedAt) || now > m_smoothedAt)
        m_smoothedAt = now;
    return std::max(0.0, m_smoothedEnd - now);
}

QString KvcProgressEstimate::durationText(double seconds)
{
    if (!qIsFinite(seconds))
        return QString();
    const qint64 s = std::llround(qBound(0.0, seconds, 1e9));
    const QLatin1Char zero('0');
    if (s >= 3600)
        return tr("%1 h %2 min").arg(s / 3600).arg((s % 3600) / 60, 2, 10, zero);
    if (s >= 60)
        return tr("%1 min %2 s").arg(s / 60).arg(s % 60, 2, 10, zero);
    return tr("%1 s").arg(s);
}
