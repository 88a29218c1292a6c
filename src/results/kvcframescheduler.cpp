#include "kvcframescheduler.h"

#include <QElapsedTimer>

namespace {

KvcFrameScheduler::Clock steadyClock()
{
    QElapsedTimer timer;
    timer.start();
    return [timer] { return timer.nsecsElapsed(); };
}

} // namespace

KvcFrameScheduler::KvcFrameScheduler(int charts, Clock clock)
    : m_clock(clock ? std::move(clock) : steadyClock())
    , m_charts(qMax(0, charts))
{ }

QVector<int> KvcFrameScheduler::runFrame(
    const std::function<bool(int)> &changed, const std::function<void(int)> &update)
{
    QVector<int> updated;
    qint64 spent = 0;
    const int count = m_charts.size();
    const int first = m_next;
    for (int n = 0; n < count && updated.size() < ChartsPerFrame; ++n) {
        const int i = (first + n) % count;
        Pace &pace = m_charts[i];
        const qint64 start = m_clock();
        if (!changed(i) || start < pace.notBeforeNs)
            continue;
        if (!updated.isEmpty() && spent + pace.paintNs > FrameBudgetNs)
            break;
        update(i);
        const qint64 cost = m_clock() - start + pace.paintNs;
        spent += cost;
        pace.notBeforeNs = start + qMin(PaceFactor * cost, LongestPauseNs);
        m_next = (i + 1) % count;
        updated.append(i);
    }
    return updated;
}

void KvcFrameScheduler::timePaint(int chart, const std::function<void()> &paint)
{
    const qint64 start = m_clock();
    paint();
    if (chart >= 0 && chart < m_charts.size())
        m_charts[chart].paintNs = m_clock() - start;
}
