#include "kvcchartdata.h"

#include <QtCharts/QChart>
#include <QtCharts/QLegend>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

QT_CHARTS_USE_NAMESPACE

namespace {

// What a chart costs to draw (figures in docs/performance.md). Qt Charts
// recomputes a series' whole geometry on replace() (about a microsecond per
// point) and strokes every segment of the 3 px pen on paint (about as much
// again): a chart costs in proportion to the points it holds, whatever
// changed. So the points of a chart are capped, shared by its series (a
// series of a chart with many gets coarser pixel columns); with the strokes'
// budget below that keeps a repaint within some 10-15 ms...
constexpr int chartPointBudget = 6000;
// ...for painting a 3 px antialiased line costs about as much per segment as
// per 5 pixels of its length (measured: some 1.5 us and 0.3 us), and a noisy
// series is a band of vertical strokes as high as the plot: a chart whose
// strokes would cost more than this many pixels' worth (some 6-8 ms) gets
// coarser columns...
constexpr double chartStrokeBudget = 20000.0;
constexpr double segmentStrokeCost = 5.0;
// ...but never below this many columns per series.
constexpr int minColumnsPerSeries = 4;
// Samples a chart scans per frame while rebuilding its columns, shared by its
// series: a few milliseconds, so that a rebuild of ten million samples is
// spread over a fraction of a second, during which the chart keeps its
// previous picture.
constexpr int chartRebuildBudget = 1 << 20;
// Columns assumed for a plot that has not been laid out yet.
constexpr int fallbackColumns = 1024;

// The axis rule: an axis grows to 1.25 times a value that comes within 5 % of
// its end, so that it grows geometrically rarely (each growth rebuilds the
// chart's columns) and the newest point is never at the edge.
bool grow(double value, double &max)
{
    if (value < 0.95 * max)
        return false;
    max = 1.25 * value;
    return true;
}

} // namespace

KvcChartData::KvcChartData(const GraphicsData *graphic, const KvcResultsData &data)
    : m_chart(new QChart())
    , m_xAxis(new QValueAxis(m_chart))
    , m_yAxis(new QValueAxis(m_chart))
{
    // Short labels: the default fixed-point format turns residuals of 1e-11
    // into rows of zeros and long times into ellipses on the small charts.
    m_xAxis->setLabelFormat(QStringLiteral("%.4g"));
    m_yAxis->setLabelFormat(QStringLiteral("%.4g"));
    m_chart->addAxis(m_xAxis, Qt::AlignBottom);
    m_chart->addAxis(m_yAxis, Qt::AlignLeft);
    setGraphic(graphic, data);
}

void KvcChartData::setGraphic(const GraphicsData *graphic, const KvcResultsData &data)
{
    m_graphic = graphic;
    m_dirty = true;
    m_lines.clear();
    m_chart->removeAllSeries();

    m_chart->setTitle(graphic ? graphic->title : QString());
    m_xAxis->setTitleText(graphic ? graphic->xTitle : QString());
    m_yAxis->setTitleText(graphic ? graphic->yTitle : QString());
    if (!graphic)
        return;
    if (graphic->ruleId >= 0) {
        loadRuleGraphic(data);
        return;
    }
    m_chart->legend()->hide();
    if (graphic->trackId == -1) {
        const int end = qMin(data.simTimeData().size(), data.simExecTimeData().size());
        if (end > 0)
            followExecutionTime(data.simTimeData().at(end - 1), data.simExecTimeData().at(end - 1));
        addLine(0, 0, end);
    } else {
        // Iterations and error start empty; only later samples are drawn.
        const int first = data.simTrackedData(graphic->trackId).time.size();
        addLine(0, first, first);
    }
}

void KvcChartData::loadRuleGraphic(const KvcResultsData &data)
{
    const KvcResultsData::TrackedData &h = data.simTrackedData(m_graphic->trackId);
    for (int s = 0; s < h.data.size(); ++s)
        addLine(s, 0, qMin(h.time.size(), h.data.at(s).size()), m_graphic->series.value(s));
    if (!h.time.isEmpty())
        followTrack(h);
}

void KvcChartData::addLine(int component, int first, int end, const QString &name)
{
    auto series = new QLineSeries(m_chart);
    series->setName(name);
    m_chart->addSeries(series);
    // The series' own pen, widened once the chart's theme has given it its
    // colour: a pen set before that would keep every line black.
    QPen pen = series->pen();
    pen.setWidth(3);
    series->setPen(pen);
    series->attachAxis(m_xAxis);
    series->attachAxis(m_yAxis);
    m_lines.append(Line {KvcChartSeriesFeeder(series, first), component, end});
}

void KvcChartData::sampleStored(const KvcResultsData &data)
{
    if (!m_graphic)
        return;
    if (m_graphic->trackId == -1) {
        const QVector<double> &times = data.simTimeData();
        const QVector<double> &execTimes = data.simExecTimeData();
        if (times.isEmpty() || execTimes.isEmpty())
            return;
        ++m_lines[0].end;
        followExecutionTime(times.last(), execTimes.last());
        return;
    }
    const KvcResultsData::TrackedData &h = data.simTrackedData(m_graphic->trackId);
    if (h.time.isEmpty())
        return;
    // A rule graphic shown before its value's first sample had no vectors to
    // make series of.
    if (m_lines.isEmpty()) {
        loadRuleGraphic(data);
        return;
    }
    for (int i = 0; i < h.data.size() && i < m_lines.size(); ++i)
        ++m_lines[i].end;
    followTrack(h);
}

void KvcChartData::followTrack(const KvcResultsData::TrackedData &history)
{
    if (grow(history.time.last(), m_xMax)) {
        m_xRangePending = true;
        m_pendingXMax = m_xMax;
    }
    m_yRangePending = true;
    m_pendingYMin = history.min;
    m_pendingYMax = history.max;
    m_dirty = true;
}

void KvcChartData::followExecutionTime(double time, double executionTime)
{
    if (grow(time, m_xMax)) {
        m_xRangePending = true;
        m_pendingXMax = m_xMax;
    }
    if (grow(executionTime, m_yMax)) {
        m_yRangePending = true;
        m_pendingYMin = 0.0;
        m_pendingYMax = m_yMax;
    }
    m_dirty = true;
}

bool KvcChartData::source(const KvcResultsData &data, int component, const QVector<double> *&xs,
    const QVector<double> *&ys) const
{
    if (!m_graphic)
        return false;
    if (m_graphic->trackId == -1) {
        xs = &data.simTimeData();
        ys = &data.simExecTimeData();
        return true;
    }
    if (m_graphic->trackId < 0)
        return false;
    const KvcResultsData::TrackedData &h = data.simTrackedData(m_graphic->trackId);
    if (component >= h.data.size())
        return false;
    xs = &h.time;
    ys = &h.data.at(component);
    return true;
}

void KvcChartData::flush(const KvcResultsData &data, qreal pixelRatio)
{
    // Ranges first, so that the series' new points are laid out once.
    if (m_xRangePending)
        m_xAxis->setRange(0.0, m_pendingXMax);
    if (m_yRangePending)
        m_yAxis->setRange(m_pendingYMin, m_pendingYMax);
    m_xRangePending = m_yRangePending = false;

    int natural = 0;
    const int columns = columnsFor(pixelRatio, &natural);
    const int rebuildBudget = qMax(1, chartRebuildBudget / qMax(1, m_lines.size()));
    bool rebuilding = false;
    for (Line &line : m_lines) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!source(data, line.component, xs, ys))
            continue;
        line.feeder.setGrid(m_xAxis->min(), m_xAxis->max(), columns);
        line.feeder.setRebuildBudget(rebuildBudget);
        line.feeder.sync(*xs, *ys, line.end);
        rebuilding = rebuilding || line.feeder.isRebuilding();
    }
    // What the axes signalled while being set is taken care of; a rebuild of
    // a long history goes on in the next frames.
    m_dirty = rebuilding;
    if (!rebuilding)
        adaptStrokeColumns(columns, natural, pixelRatio);
}

int KvcChartData::columnsFor(qreal pixelRatio, int *natural) const
{
    int columns = qRound(m_chart->plotArea().width() * pixelRatio);
    if (columns < 2)
        columns = fallbackColumns;
    const int shared
        = chartPointBudget / (KvcChartSeriesFeeder::ColumnFactor * qMax(1, m_lines.size()));
    *natural = qMin(columns, qMax(minColumnsPerSeries, shared));
    return m_strokeColumns > 0 ? qMin(*natural, m_strokeColumns) : *natural;
}

void KvcChartData::adaptStrokeColumns(int columns, int natural, qreal pixelRatio)
{
    // Coarser columns while the strokes run over their budget, finer again
    // (up to the plot's own) once they take well under it; the gap between
    // the two thresholds keeps a chart from switching back and forth.
    const double length = strokeLength(pixelRatio);
    int wanted = columns;
    if (length > chartStrokeBudget)
        wanted = qMax(minColumnsPerSeries, int(columns * 0.8 * chartStrokeBudget / length));
    else if (length < chartStrokeBudget / 3 && columns < natural)
        wanted = qMin(natural, 2 * columns);
    if (wanted != columns) {
        m_strokeColumns = wanted >= natural ? 0 : wanted;
        m_dirty = true;
    }
}

double KvcChartData::strokeLength(qreal pixelRatio) const
{
    // In device pixels, each segment as long as its longer side (what the
    // rasterizer walks), clipped to the plot.
    const QRectF plot = m_chart->plotArea();
    const double xSpan = m_xAxis->max() - m_xAxis->min();
    const double ySpan = m_yAxis->max() - m_yAxis->min();
    if (!(xSpan > 0.0) || !(ySpan > 0.0) || plot.isEmpty())
        return 0.0;
    const double width = plot.width() * pixelRatio;
    const double height = plot.height() * pixelRatio;
    const double sx = width / xSpan;
    const double sy = height / ySpan;
    double length = 0.0;
    for (const Line &line : m_lines) {
        const QVector<QPointF> &points = line.feeder.points();
        for (int i = 1; i < points.size(); ++i) {
            const double dx = qMin(width, qAbs(points.at(i).x() - points.at(i - 1).x()) * sx);
            const double dy = qMin(height, qAbs(points.at(i).y() - points.at(i - 1).y()) * sy);
            // NaN (a gap) adds nothing.
            if (dx >= 0.0 && dy >= 0.0)
                length += qMax(dx, dy) + segmentStrokeCost;
        }
    }
    return length;
}
