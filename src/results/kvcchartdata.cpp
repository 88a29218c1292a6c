#include "kvcchartdata.h"

#include "kvcchartlegend.h"
#include "kvcchartstyle.h"
#include "kvccsvwriter.h"
#include "kvcplotlayer.h"

#include <QCoreApplication>
#include <QFontMetricsF>
#include <QGraphicsRectItem>
#include <QGraphicsTextItem>
#include <QtCharts/QChart>
#include <QtCharts/QLegend>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QLogValueAxis>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>

QT_CHARTS_USE_NAMESPACE

namespace {

// Columns assumed for a plot that has not been laid out yet.
constexpr int fallbackColumns = 1024;
// Room around a tick label, so that neighbouring labels stay apart.
constexpr qreal labelGap = 16.0;
// The room around a chart's content: Qt Charts' default leaves the small
// charts too little plot.
constexpr int chartMargin = 6;
// Fonts shrink no further than this for small charts.
constexpr qreal smallestFont = 7.0;

// The axis rule: an axis grows to 1.25 times a value that comes within 5 % of
// its end, so that it grows geometrically rarely (each growth lays the
// chart's columns out again) and the newest point is never at the edge.
bool grow(double value, double &max)
{
    if (value < 0.95 * max)
        return false;
    max = 1.25 * value;
    return true;
}

// The ticks of [min, max] shown on `length` pixels: as many as leave every
// label room, along the axis for the x axis, a few lines of text apart for
// the y axis.
KvcChartStyle::Ticks ticksFor(
    double min, double max, qreal length, const QFont &font, bool horizontal, bool wholeNumbers)
{
    const QFontMetricsF metrics(font);
    if (!horizontal)
        return KvcChartStyle::ticks(
            min, max, qMax(2, int(length / (2.5 * metrics.height()))), wholeNumbers);
    for (int count = qMax(2, int(length / 40)); count > 2; --count) {
        const KvcChartStyle::Ticks ticks = KvcChartStyle::ticks(min, max, count, wholeNumbers);
        if (!(ticks.interval > 0.0))
            return ticks;
        qreal widest = 0.0;
        int shown = 0;
        for (double v = std::ceil(min / ticks.interval) * ticks.interval; v <= max && shown < 1000;
             v += ticks.interval, ++shown)
            widest = qMax(
                widest, metrics.horizontalAdvance(KvcChartStyle::label(v, ticks.labelFormat)));
        if (shown * (widest + labelGap) <= length)
            return ticks;
    }
    return KvcChartStyle::ticks(min, max, 2, wholeNumbers);
}

// The interval of the old range may give billions of ticks on the new one:
// ticks are laid out at once, inside setRange().
void setRangeFreeOfTicks(QValueAxis *axis, double min, double max)
{
    axis->setTickType(QValueAxis::TicksFixed);
    axis->setRange(min, max);
}

void applyTicks(QValueAxis *axis, const KvcChartStyle::Ticks &ticks)
{
    if (!(ticks.interval > 0.0))
        return;
    axis->setTickType(QValueAxis::TicksDynamic);
    axis->setTickAnchor(0.0);
    axis->setTickInterval(ticks.interval);
    axis->setLabelFormat(ticks.labelFormat);
}

} // namespace

KvcChartData::KvcChartData(const GraphicsData *graphic, const KvcResultsData &data, bool fromStart)
    : m_chart(new QChart())
    , m_xAxis(new QValueAxis(m_chart))
    , m_yAxis(new QValueAxis(m_chart))
{
    m_chart->setMargins(QMargins(chartMargin, chartMargin, chartMargin, chartMargin));
    m_chart->addAxis(m_xAxis, Qt::AlignBottom);
    m_chart->addAxis(m_yAxis, Qt::AlignLeft);
    m_layer = new KvcPlotLayer(m_chart, m_xAxis, m_yAxis);
    m_legend = new KvcChartLegend(m_chart);
    QObject::connect(m_legend, &KvcChartLegend::entryClicked,
        [this](int series) { setSeriesVisible(series, !isSeriesVisible(series)); });
    // Notes in the plot, on a pale box so that they read over the data.
    const auto note = [this](const QString &text) {
        auto *box = new QGraphicsRectItem(m_chart);
        box->setBrush(QColor(255, 255, 255, 210));
        box->setPen(Qt::NoPen);
        box->setZValue(10);
        box->hide();
        auto *label = new QGraphicsSimpleTextItem(text, box);
        label->setBrush(Qt::darkGray);
        label->setPos(3, 1);
        return label;
    };
    m_heldMark = note(QCoreApplication::translate("KvcChartData", "Zoom held"));
    m_heldMark->parentItem()->setToolTip(QCoreApplication::translate("KvcChartData",
        "New samples do not move this chart's ranges. Double-click it, press Home or choose "
        "Reset zoom to follow them again."));
    m_leftOutMark = note(QString());
    setGraphic(graphic, data, fromStart);
}

void KvcChartData::setGraphic(
    const GraphicsData *graphic, const KvcResultsData &data, bool fromStart)
{
    m_graphic = graphic;
    m_dirty = true;
    // Attaching a series re-ranges the axes.
    m_xAxis->setTickType(QValueAxis::TicksFixed);
    m_yAxis->setTickType(QValueAxis::TicksFixed);
    m_lines.clear();
    m_chart->removeAllSeries();
    m_layer->clear();
    m_onLayer = false;
    m_ranges = QRectF();
    m_rangesShown = false;
    m_chartSize = QSizeF();
    m_legendDirty = true;
    // A graphic starts from the rule's ranges, not from a zoom of the last.
    if (m_held) {
        m_held = false;
        m_xRangePending = m_xMax > 0;
        m_pendingXMax = m_xMax;
    }
    m_ruleYKnown = false;
    // Iterations are counted: whole ticks.
    m_wholeNumbers = graphic && data.graphics().value(1) == graphic;

    m_chart->setTitle(graphic ? graphic->title : QString());
    m_xAxis->setTitleText(graphic ? graphic->xTitle : QString());
    setYTitle(graphic ? graphic->yTitle : QString());
    if (!graphic)
        return;
    if (fromStart) {
        m_xMax = 0.0;
        m_yMax = 0.0;
    }
    if (graphic->ruleId >= 0) {
        if (fromStart)
            growFromStart(data.simTrackedData(graphic->trackId).time);
        loadRuleGraphic(data);
        return;
    }
    m_legendAllowed = false;
    m_chart->legend()->hide();
    if (graphic->trackId == -1) {
        const int end = qMin(data.simTimeData().size(), data.simExecTimeData().size());
        for (int i = fromStart ? 0 : qMax(0, end - 1); i < end; ++i)
            followExecutionTime(data.simTimeData().at(i), data.simExecTimeData().at(i));
        addLine(0, 0, end);
    } else {
        // Live, iterations and error start empty; only later samples are drawn.
        const KvcResultsData::TrackedData &h = data.simTrackedData(graphic->trackId);
        const int end = h.time.size();
        addLine(0, fromStart ? 0 : end, end);
        if (fromStart && end > 0) {
            growFromStart(h.time);
            followTrack(h);
        }
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
    const int index = m_lines.size();
    series->setPen(QPen(KvcChartStyle::seriesColor(index), 3, KvcChartStyle::seriesStyle(index),
        Qt::RoundCap, Qt::RoundJoin));
    // Every sample is marked where a dash's gap could hide it.
    series->setPointsVisible(KvcChartStyle::seriesStyle(index) != Qt::SolidLine);
    series->attachAxis(m_xAxis);
    series->attachAxis(shownYAxis());
    // Attaching re-ranged the axes: not the user's doing.
    m_rangesShown = false;
    for (QLegendMarker *marker : m_chart->legend()->markers(series))
        QObject::connect(marker, &QLegendMarker::clicked, m_legend,
            [this, index] { setSeriesVisible(index, !isSeriesVisible(index)); });
    Line line;
    line.series = series;
    line.component = component;
    line.first = first;
    line.end = end;
    line.columns = KvcPlotColumns(first);
    m_lines.append(line);
    m_legendDirty = true;
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

void KvcChartData::growFromStart(const QVector<double> &times)
{
    // The x range of a chart that grew it at every sample since the first.
    for (const double x : times) {
        if (grow(x, m_xMax)) {
            m_xRangePending = true;
            m_pendingXMax = m_xMax;
        }
    }
}

void KvcChartData::followTrack(const KvcResultsData::TrackedData &history)
{
    if (grow(history.time.last(), m_xMax)) {
        m_xRangePending = true;
        m_pendingXMax = m_xMax;
    }
    m_yRangePending = true;
    m_pendingYMin = m_ruleYMin = history.min;
    m_pendingYMax = m_ruleYMax = history.max;
    m_ruleYKnown = true;
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
        m_pendingYMin = m_ruleYMin = 0.0;
        m_pendingYMax = m_ruleYMax = m_yMax;
        m_ruleYKnown = true;
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

bool KvcChartData::fitsQtCharts(int columns) const
{
    int total = 0;
    for (const Line &line : m_lines) {
        const int samples = line.end - line.first;
        if (samples > columns)
            return false;
        total += samples;
    }
    return total <= PointBudget;
}

void KvcChartData::flush(const KvcResultsData &data, qreal pixelRatio)
{
    // Ranges that changed since the last flush were changed by the user
    // (a rubber band): they hold until a reset.
    if (m_rangesShown && !m_held && axisRanges() != m_ranges)
        m_held = true;
    // Ranges first, so that what is drawn next belongs to them. A held chart
    // keeps them pending: a reset shows what the rule gives by then.
    const bool reranged = !m_held && (m_xRangePending || m_yRangePending);
    if (!m_held) {
        if (m_xRangePending)
            setRangeFreeOfTicks(m_xAxis, 0.0, m_pendingXMax);
        if (m_yRangePending)
            applyYRange(data, m_pendingYMin, m_pendingYMax);
        m_xRangePending = m_yRangePending = false;
    }
    m_heldMark->parentItem()->setVisible(m_held);
    int leftOut = 0;
    if (m_logY) {
        double min = 0.0;
        double max = 0.0;
        visibleExtent(data, min, max, nullptr, &leftOut);
        m_leftOutMark->setText(
            QCoreApplication::translate("KvcChartData", "Values at or below 0 not drawn: %1")
                .arg(leftOut));
    }
    m_leftOutMark->parentItem()->setVisible(leftOut > 0);
    placeNotes();

    if (m_chart->size() != m_chartSize) {
        m_chartSize = m_chart->size();
        fitFonts(0.0);
    } else if (m_chart->plotArea() != m_checkedPlot) {
        // Qt Charts may have left the titles less room than estimated.
        m_checkedPlot = m_chart->plotArea();
        if (m_fittedFontSize > 0 && textCutShort())
            fitFonts(qMin(m_fittedFontSize - 0.5, roomForTitles() * m_fittedFontSize));
    }
    const QRectF plot = m_chart->plotArea();
    int columns = qRound(plot.width() * pixelRatio);
    if (columns < 2)
        columns = fallbackColumns;
    const QSize pixels(columns, qMax(1, qRound(plot.height() * pixelRatio)));
    const QRectF ranges = axisRanges();
    const bool regrid = pixels != m_pixels || ranges != m_ranges;
    m_pixels = pixels;
    m_ranges = ranges;
    m_rangesShown = true;
    if (regrid || reranged)
        updateTicks();
    if (regrid || m_legendDirty)
        updateLegend();

    // Once on the layer, a chart stays there: its history only grows.
    if (!m_onLayer && (m_logY || !fitsQtCharts(columns))) {
        m_onLayer = true;
        for (Line &line : m_lines) {
            line.points.clear();
            line.series->clear();
        }
    }
    if (m_onLayer)
        feedLayer(data, pixelRatio, regrid);
    else
        feedSeries(data);
    m_dirty = false;
}

void KvcChartData::feedSeries(const KvcResultsData &data)
{
    for (Line &line : m_lines) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!source(data, line.component, xs, ys))
            continue;
        const int end = qMin(line.end, qMin(xs->size(), ys->size()));
        const int from = line.first + line.points.size();
        if (from >= end)
            continue;
        for (int i = from; i < end; ++i)
            line.points.append(QPointF(xs->at(i), ys->at(i)));
        line.series->replace(line.points);
    }
}

void KvcChartData::feedLayer(const KvcResultsData &data, qreal pixelRatio, bool regrid)
{
    bool changed = regrid || m_visibilityChanged;
    m_visibilityChanged = false;
    for (Line &line : m_lines) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!source(data, line.component, xs, ys))
            continue;
        line.columns.setGrid(m_xAxis->min(), m_xAxis->max(), m_pixels.width());
        const int track = m_graphic->trackId == -1 ? data.timeTrackId() : m_graphic->trackId;
        changed
            = line.columns.sync(*xs, *ys, line.end, data.simTrackedExtremes(track, line.component))
            || changed;
    }
    if (!changed)
        return;
    KvcPlotRenderer::Frame frame;
    frame.pixels = m_pixels;
    frame.devicePixelRatio = pixelRatio;
    frame.xMin = m_xAxis->min();
    frame.xMax = m_xAxis->max();
    frame.yMin = yMin();
    frame.yMax = yMax();
    frame.logY = m_logY;
    for (const Line &line : qAsConst(m_lines)) {
        KvcPlotRenderer::Series series;
        // A hidden series keeps its place, empty, so that frames number the
        // series as the chart does.
        if (!line.series->isVisible()) {
            frame.series.append(series);
            continue;
        }
        series.color = line.series->pen().color();
        series.style = line.series->pen().style();
        series.columns = line.columns.columns();
        series.before = line.columns.before();
        series.after = line.columns.after();
        frame.series.append(series);
    }
    m_layer->setFrame(frame);
}

void KvcChartData::updateTicks()
{
    const QRectF plot = m_chart->plotArea();
    if (plot.isEmpty())
        return;
    applyTicks(m_xAxis,
        ticksFor(m_xAxis->min(), m_xAxis->max(), plot.width(), m_xAxis->labelsFont(), true, false));
    if (!m_logY)
        applyTicks(m_yAxis,
            ticksFor(m_yAxis->min(), m_yAxis->max(), plot.height(), m_yAxis->labelsFont(), false,
                m_wholeNumbers));
}

void KvcChartData::updateLegend()
{
    m_legendDirty = false;
    const bool own = m_legendAllowed && !KvcChartLegend::qtLegendFits(m_chart);
    if (m_legendAllowed)
        m_chart->legend()->setVisible(!own);
    m_legend->setVisible(own);
    m_legend->refresh();
}

qreal KvcChartData::roomForTitles() const
{
    const QRectF plot = m_chart->plotArea();
    const QFontMetricsF titles(m_yAxis->titleFont());
    qreal room = 1.0;
    const auto fit = [&room](qreal length, qreal space) {
        if (length > space && length > 0)
            room = qMin(room, space / length);
    };
    fit(titles.horizontalAdvance(m_graphic->yTitle), plot.height());
    fit(titles.horizontalAdvance(m_graphic->xTitle), plot.width());
    fit(QFontMetricsF(m_chart->titleFont()).horizontalAdvance(m_graphic->title),
        m_chart->size().width() - 2 * chartMargin);
    return room;
}

bool KvcChartData::textCutShort() const
{
    QList<QGraphicsItem *> items = m_chart->childItems();
    while (!items.isEmpty()) {
        const QGraphicsItem *item = items.takeLast();
        items += item->childItems();
        const auto *text = qgraphicsitem_cast<const QGraphicsTextItem *>(item);
        // Qt Charts cuts texts short with three dots.
        if (text && text->isVisible() && text->toPlainText().endsWith(QLatin1String("...")))
            return true;
    }
    return false;
}

void KvcChartData::fitFonts(qreal largest)
{
    // A chart not laid out yet keeps Qt Charts' fonts and its titles.
    if (m_chartSize.width() < 150 || m_chartSize.height() < 100 || !m_graphic)
        return;
    // From the chart's size alone, so that the fonts do not change the room
    // they are chosen for: the plot's height is what is left of the chart
    // after its title, margins, x labels and title, and the legend.
    const qreal base = QFont().pointSizeF() > 0 ? QFont().pointSizeF() : 9.0;
    const QString yTitle = m_graphic->yTitle;
    qreal size = largest > 0 ? qMax(smallestFont, qMin(base, largest)) : base;
    const bool shrinking = largest > 0;
    bool fits = false;
    for (;; size -= 0.5) {
        QFont titleFont;
        titleFont.setPointSizeF(size);
        titleFont.setBold(true);
        QFont labelFont;
        labelFont.setPointSizeF(qMax(smallestFont, size - 1));
        const QFontMetricsF titles(titleFont);
        const QFontMetricsF labels(labelFont);
        const qreal legend = m_legend->isVisible() ? m_legend->boundingRect().height() : 0.0;
        // Qt Charts' own layout around the plot: the chart's title, the x
        // labels and title, and some 48 pixels of gaps (measured on 5.15).
        const qreal plotHeight = m_chartSize.height() - 2 * chartMargin - 2 * titles.height()
            - labels.height() - legend - 48;
        const qreal plotWidth = m_chartSize.width() - 2 * chartMargin - titles.height()
            - labels.horizontalAdvance(QStringLiteral("-0.000")) - 48;
        fits = (shrinking && size < largest + 0.25)
            || (titles.horizontalAdvance(yTitle) <= plotHeight
                && titles.horizontalAdvance(m_graphic->xTitle) <= plotWidth
                && titles.horizontalAdvance(m_graphic->title)
                    <= m_chartSize.width() - 2 * chartMargin);
        if (fits || size <= smallestFont) {
            // Still too long for the plot's side: the y title in two lines
            // rather than cut short.
            const int space = yTitle.indexOf(QLatin1Char(' '), yTitle.size() / 2 - 1);
            const int split = space >= 0 ? space : yTitle.lastIndexOf(QLatin1Char(' '));
            const bool tooLong = (shrinking && largest < smallestFont)
                || (!fits && titles.horizontalAdvance(yTitle) > plotHeight);
            if (tooLong && m_yTitleSplit && m_graphic->title.contains(yTitle)) {
                // Not even in two lines: the chart's title says it already.
                setYTitle(QString());
            } else if (tooLong && split > 0) {
                setYTitle(yTitle.left(split).toHtmlEscaped() + QStringLiteral("<br>")
                    + yTitle.mid(split + 1).toHtmlEscaped());
                m_yTitleSplit = true;
            } else {
                setYTitle(yTitle);
                m_yTitleSplit = false;
            }
            break;
        }
    }
    m_fittedFontSize = size;
    applyFonts();
}

void KvcChartData::setFontCap(qreal points)
{
    if (points == m_fontCap)
        return;
    m_fontCap = points;
    if (m_fittedFontSize > 0)
        applyFonts();
}

void KvcChartData::applyFonts()
{
    const qreal size = m_fontCap > 0 ? qMin(m_fittedFontSize, m_fontCap) : m_fittedFontSize;
    QFont title;
    title.setPointSizeF(size);
    QFont axisTitle = title;
    axisTitle.setBold(true);
    QFont labels;
    labels.setPointSizeF(qMax(smallestFont, size - 1));
    m_chart->setTitleFont(title);
    m_chart->legend()->setFont(labels);
    for (QAbstractAxis *axis : {static_cast<QAbstractAxis *>(m_xAxis),
             static_cast<QAbstractAxis *>(m_yAxis), static_cast<QAbstractAxis *>(m_logAxis)}) {
        if (!axis)
            continue;
        axis->setTitleFont(axisTitle);
        axis->setLabelsFont(labels);
    }
}

QRectF KvcChartData::axisRanges() const
{
    return QRectF(QPointF(m_xAxis->min(), yMin()), QPointF(m_xAxis->max(), yMax()));
}

void KvcChartData::placeNotes()
{
    const QRectF plot = m_chart->plotArea();
    // Top right and top left of the plot, each on its box.
    for (QGraphicsSimpleTextItem *label : {m_heldMark, m_leftOutMark}) {
        label->setFont(m_xAxis->labelsFont());
        auto *box = static_cast<QGraphicsRectItem *>(label->parentItem());
        const QRectF text = label->boundingRect();
        box->setRect(0, 0, text.width() + 6, text.height() + 2);
        box->setPos(label == m_heldMark ? plot.right() - box->rect().width() - 2 : plot.left() + 2,
            plot.top() + 2);
    }
}

void KvcChartData::resetRanges()
{
    m_held = false;
    m_xRangePending = m_xMax > 0;
    m_pendingXMax = m_xMax;
    m_yRangePending = m_ruleYKnown;
    m_pendingYMin = m_ruleYMin;
    m_pendingYMax = m_ruleYMax;
    m_dirty = true;
}

void KvcChartData::zoom(Qt::Orientation orientation, double factor, double around)
{
    // A logarithmic axis zooms in its own scale.
    const bool log = orientation == Qt::Vertical && m_logY;
    const auto in = [log](double v) { return log ? std::log10(v) : v; };
    const auto out = [log](double v) { return log ? std::pow(10.0, v) : v; };
    const double low = orientation == Qt::Horizontal ? m_xAxis->min() : yMin();
    const double high = orientation == Qt::Horizontal ? m_xAxis->max() : yMax();
    if (log && !(around > 0))
        return;
    const double min = out(in(around) + (in(low)-in(around)) * factor);
    const double max = out(in(around) + (in(high)-in(around)) * factor);
    // Not down to where doubles can no longer tell the ends apart.
    if (!(max - min > 1e-12 * qMax(std::abs(min), std::abs(max))) || !std::isfinite(max - min))
        return;
    m_held = true;
    if (orientation == Qt::Horizontal)
        setRangeFreeOfTicks(m_xAxis, min, max);
    else
        setYRange(min, max);
    m_dirty = true;
}

void KvcChartData::pan(double dx, double dy)
{
    if (dx == 0.0 && dy == 0.0)
        return;
    m_held = true;
    const double xShift = dx * (m_xAxis->max() - m_xAxis->min());
    setRangeFreeOfTicks(m_xAxis, m_xAxis->min() + xShift, m_xAxis->max() + xShift);
    if (m_logY) {
        const double factor = std::pow(yMax() / yMin(), dy);
        setYRange(yMin() * factor, yMax() * factor);
    } else {
        const double yShift = dy * (yMax() - yMin());
        setYRange(yMin() + yShift, yMax() + yShift);
    }
    m_dirty = true;
}

QAbstractAxis *KvcChartData::shownYAxis() const
{
    return m_logY ? static_cast<QAbstractAxis *>(m_logAxis) : m_yAxis;
}

double KvcChartData::yMin() const { return m_logY ? m_logAxis->min() : m_yAxis->min(); }

double KvcChartData::yMax() const { return m_logY ? m_logAxis->max() : m_yAxis->max(); }

void KvcChartData::setYRange(double min, double max)
{
    if (m_logY)
        m_logAxis->setRange(min, max);
    else
        setRangeFreeOfTicks(m_yAxis, min, max);
}

void KvcChartData::setYTitle(const QString &title)
{
    m_yAxis->setTitleText(title);
    if (m_logAxis)
        m_logAxis->setTitleText(title);
}

void KvcChartData::applyYRange(const KvcResultsData &data, double min, double max)
{
    if (hiddenCount() > 0 && m_graphic && m_graphic->ruleId >= 0)
        visibleExtent(data, min, max);
    if (m_logY) {
        // From the smallest positive value shown; a decade when there is
        // none, or one value only.
        double minPositive = 0.0;
        visibleExtent(data, min, max, &minPositive);
        min = minPositive;
        if (!(min > 0) || !(max > 0)) {
            min = 1.0;
            max = 10.0;
        } else {
            // Whole decades, so that the axis labels at least two of them.
            min = std::pow(10.0, std::floor(std::log10(min)));
            max = std::pow(10.0, std::ceil(std::log10(max)));
            if (!(max > min))
                max = min * 10;
        }
    }
    setYRange(min, max);
}

bool KvcChartData::isLogarithmic() const { return m_logY; }

void KvcChartData::setLogarithmic(bool logarithmic, const KvcResultsData &data)
{
    if (logarithmic == m_logY)
        return;
    if (!m_logAxis) {
        m_logAxis = new QLogValueAxis(m_chart);
        m_logAxis->setBase(10);
        m_logAxis->setLabelFormat(QStringLiteral("%g"));
        m_logAxis->setMinorTickCount(-1);
        m_logAxis->setTitleText(m_yAxis->titleText());
        m_logAxis->setTitleFont(m_yAxis->titleFont());
        m_logAxis->setLabelsFont(m_yAxis->labelsFont());
    }
    QAbstractAxis *from = shownYAxis();
    m_logY = logarithmic;
    QAbstractAxis *to = shownYAxis();
    for (const Line &line : qAsConst(m_lines))
        line.series->detachAxis(from);
    m_chart->removeAxis(from);
    // Qt Charts gives a removed axis up; the chart keeps it for next time.
    from->setParent(m_chart);
    m_chart->addAxis(to, Qt::AlignLeft);
    for (const Line &line : qAsConst(m_lines))
        line.series->attachAxis(to);
    m_layer->setYAxis(to);
    m_rangesShown = false;
    // The y range starts again from the rule, in the new scale.
    if (m_ruleYKnown)
        applyYRange(data, m_ruleYMin, m_ruleYMax);
    else if (m_logY)
        setYRange(1.0, 10.0);
    m_yRangePending = false;
    m_visibilityChanged = true;
    m_dirty = true;
}
int KvcChartData::seriesCount() const { return m_lines.size(); }

bool KvcChartData::isSeriesVisible(int series) const
{
    return series >= 0 && series < m_lines.size() && m_lines.at(series).series->isVisible();
}

void KvcChartData::setSeriesVisible(int series, bool visible)
{
    if (series < 0 || series >= m_lines.size() || isSeriesVisible(series) == visible)
        return;
    QLineSeries *line = m_lines.at(series).series;
    line->setVisible(visible);
    // Qt Charts hides the marker of a hidden series: it stays, greyed, so
    // that the series can be shown again.
    for (QLegendMarker *marker : m_chart->legend()->markers(line)) {
        marker->setVisible(true);
        const QColor color = visible ? line->pen().color() : QColor(Qt::lightGray);
        marker->setBrush(color);
        marker->setPen(QPen(color));
        marker->setLabelBrush(visible ? m_chart->legend()->labelBrush() : QBrush(Qt::gray));
    }
    m_legend->refresh();
    m_visibilityChanged = true;
    // The y range of a rule graphic follows the series shown.
    if (m_ruleYKnown && m_graphic && m_graphic->ruleId >= 0) {
        m_yRangePending = true;
        m_pendingYMin = m_ruleYMin;
        m_pendingYMax = m_ruleYMax;
    }
    m_dirty = true;
}

int KvcChartData::hiddenCount() const
{
    return int(std::count_if(m_lines.cbegin(), m_lines.cend(),
        [](const Line &line) { return !line.series->isVisible(); }));
}

void KvcChartData::visibleExtent(const KvcResultsData &data, double &min, double &max,
    double *minPositive, int *notPositive) const
{
    KvcMinMaxIndex::Extent extent;
    const int track = !m_graphic   ? -1
        : m_graphic->trackId == -1 ? data.timeTrackId()
                                   : m_graphic->trackId;
    for (const Line &line : m_lines) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!line.series->isVisible() || !source(data, line.component, xs, ys))
            continue;
        if (const KvcMinMaxIndex *index = data.simTrackedExtremes(track, line.component))
            extent.add(index->extent(*ys, line.first, ys->size()));
    }
    // With every series hidden, the rule of them all.
    if (!extent.isEmpty()) {
        min = extent.min;
        max = extent.max;
    }
    if (minPositive)
        *minPositive = std::isfinite(extent.minPositive) ? extent.minPositive : 0.0;
    if (notPositive)
        *notPositive = extent.notPositive;
}

QString KvcChartData::seriesName(int series) const
{
    const QString name
        = m_lines.value(series).series ? m_lines.at(series).series->name() : QString();
    if (!name.isEmpty() || !m_graphic)
        return name;
    return m_lines.size() == 1 ? m_graphic->yTitle
                               : QStringLiteral("%1 [%2]").arg(m_graphic->yTitle).arg(series + 1);
}

QVector<KvcChartData::Reading> KvcChartData::readingsAt(const KvcResultsData &data, double x) const
{
    QVector<Reading> readings;
    for (int s = 0; s < m_lines.size(); ++s) {
        const Line &line = m_lines.at(s);
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!line.series->isVisible() || !source(data, line.component, xs, ys))
            continue;
        const int end = qMin(line.end, qMin(xs->size(), ys->size()));
        if (end <= line.first)
            continue;
        // Times never decrease: the nearest sample is one of the two around x.
        const auto begin = xs->cbegin() + line.first;
        const int i = int(std::lower_bound(begin, xs->cbegin() + end, x) - xs->cbegin());
        int nearest = qMin(i, end - 1);
        if (i > line.first && (i == end || x - xs->at(i - 1) <= xs->at(i) - x))
            nearest = i - 1;
        readings.append(
            {seriesName(s), line.series->pen().color(), xs->at(nearest), ys->at(nearest)});
    }
    return readings;
}

bool KvcChartData::writeCsv(const KvcResultsData &data, QIODevice *device) const
{
    QStringList names {m_graphic ? m_graphic->xTitle : QString()};
    QVector<const QVector<double> *> columns;
    for (int s = 0; s < m_lines.size(); ++s) {
        const QVector<double> *xs = nullptr;
        const QVector<double> *ys = nullptr;
        if (!source(data, m_lines.at(s).component, xs, ys))
            continue;
        if (columns.isEmpty())
            columns << xs;
        names << seriesName(s);
        columns << ys;
    }
    if (columns.isEmpty())
        names.clear();
    return KvcCsvWriter::write(device, names, columns);
}
