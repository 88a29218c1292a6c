#pragma once

#include "kvcplotcolumns.h"
#include "kvcplotrenderer.h"
#include "kvcresultsdata.h"

#include <QVector>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QChart;
class QLineSeries;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

class KvcChartLegend;
class KvcPlotLayer;

/// One chart of the results view: the Qt Charts objects that show a graphic of
/// the results data, and the bookkeeping of what they are to show.
///
/// Each stored sample only moves counts and ranges (sampleStored()): which
/// samples belong to each series, and the axis rule (an axis grows to 1.25
/// times a value that comes within 5 % of its end and starts at 0; a rule
/// graphic's y range is its value's minimum and maximum). flush() brings the
/// axes and what is drawn up to date together, so a chart's ranges always
/// belong to the picture it shows.
///
/// Who draws the lines:
/// - while a chart holds few samples (at most PointBudget, and no series more
///   than the plot has pixel columns), its Qt Charts line series hold every
///   sample and Qt Charts draws them with the 3 px pen;
/// - beyond that the series stay as they are named and coloured, for the
///   legend, but hold no points, and the chart's KvcPlotLayer draws every
///   series from its pixel columns (KvcPlotColumns) on a worker thread: each
///   column's extremes, at the place of its samples, at any length of history
///   and any zoom. Nothing is decimated away.
///
/// With more series than Qt Charts' legend can name in one row, the chart's
/// own legend (KvcChartLegend) names them all, in rows below the plot.
///
/// Texts are never cut short: a small chart (the view's narrow ones, or any
/// chart of a small window) takes smaller fonts, down to 7 points, until its
/// axis titles fit along the plot.
///
/// Ticks sit on round values (KvcChartStyle::ticks()) with one label format
/// per axis, as many as the plot's size leaves room for; the axis ranges stay
/// what the axis rule gives. A value counted in whole numbers (the iteration
/// count) gets whole ticks.
///
/// The chart is created here and owned by whoever shows it (a QChartView after
/// setChart()); it must outlive this object. A graphic that is shown belongs
/// to the results data passed with it, which must outlive its use here.
class KvcChartData
{
public:
    using GraphicsData = KvcResultsData::GraphicsData;

    /// Samples a chart leaves to Qt Charts to draw, all its series together.
    static constexpr int PointBudget = 2000;

    KvcChartData(const GraphicsData *graphic, const KvcResultsData &data, bool fromStart = false);

    QtCharts::QChart *chart() const { return m_chart; }
    QtCharts::QValueAxis *xAxis() const { return m_xAxis; }
    QtCharts::QValueAxis *yAxis() const { return m_yAxis; }
    KvcPlotLayer *layer() const { return m_layer; }
    /// The legend that replaces Qt Charts' own when it cannot name every
    /// series in full.
    KvcChartLegend *legend() const { return m_legend; }
    /// The graphic shown, null for none.
    const GraphicsData *graphic() const { return m_graphic; }
    /// The layer draws the series (rather than Qt Charts).
    bool drawsOnLayer() const { return m_onLayer; }

    /// Shows `graphic` (null: an empty chart) with the history `data` has so
    /// far. The axes keep the ranges they have; the rule makes them grow.
    /// `fromStart`: as a chart that has shown it since the run started (a
    /// run that is over, e.g. read from a file): the axes grown sample by
    /// sample from nothing, and iterations and errors drawn from the first.
    void setGraphic(
        const GraphicsData *graphic, const KvcResultsData &data, bool fromStart = false);
    /// `data` has stored a sample of the track this chart shows (the time
    /// track for special graphic 0).
    void sampleStored(const KvcResultsData &data);

    /// The font size, in points, at which the chart's titles fit its present
    /// size; 0 before the chart is laid out.
    qreal fittedFontSize() const { return m_fittedFontSize; }
    /// Caps the font size (0: no cap), so that charts shown side by side can
    /// share the smallest.
    void setFontCap(qreal points);

    /// Something changed since the last flush().
    bool isDirty() const { return m_dirty; }
    /// The plot was resized or zoomed: its columns and ticks change.
    void markDirty() { m_dirty = true; }
    /// Brings the axes, ticks and lines up to date with `data`, at
    /// `pixelRatio` device pixels per plot pixel.
    void flush(const KvcResultsData &data, qreal pixelRatio);

private:
    // A series shows samples [first, end) of its source (x: the history's
    // times, y: the component's values; the time track's times and execution
    // times for special graphic 0).
    struct Line {
        QtCharts::QLineSeries *series = nullptr;
        int component = 0;
        int first = 0;
        int end = 0;
        // The samples the series holds, while Qt Charts draws it.
        QVector<QPointF> points;
        KvcPlotColumns columns;
    };

    void loadRuleGraphic(const KvcResultsData &data);
    void addLine(int component, int first, int end, const QString &name = QString());
    void growFromStart(const QVector<double> &times);
    void followTrack(const KvcResultsData::TrackedData &history);
    void followExecutionTime(double time, double executionTime);
    bool source(const KvcResultsData &data, int component, const QVector<double> *&xs,
        const QVector<double> *&ys) const;
    bool fitsQtCharts(int columns) const;
    void feedSeries(const KvcResultsData &data);
    void feedLayer(const KvcResultsData &data, qreal pixelRatio, bool regrid);
    void updateTicks();
    void updateLegend();
    // From `largest` points down (0: the default size) to the size at which
    // the titles fit the chart's size.
    void fitFonts(qreal largest);
    bool textCutShort() const;
    // The share of their font size at which the titles fit where they are.
    qreal roomForTitles() const;
    void applyFonts();

    QtCharts::QChart *m_chart = nullptr;
    QtCharts::QValueAxis *m_xAxis = nullptr;
    QtCharts::QValueAxis *m_yAxis = nullptr;
    KvcPlotLayer *m_layer = nullptr;
    KvcChartLegend *m_legend = nullptr;
    // No legend once the chart showed a special graphic.
    bool m_legendAllowed = true;
    bool m_legendDirty = true;
    const GraphicsData *m_graphic = nullptr;
    bool m_wholeNumbers = false;
    QVector<Line> m_lines;
    bool m_onLayer = false;
    // The ends the axis rule has grown the axes to.
    double m_xMax = 0.0;
    double m_yMax = 0.0;
    // Ranges for the next flush.
    bool m_xRangePending = false;
    double m_pendingXMax = 0.0;
    bool m_yRangePending = false;
    double m_pendingYMin = 0.0;
    double m_pendingYMax = 0.0;
    bool m_dirty = false;
    // What the fonts, the picture and the ticks were last made for.
    QSizeF m_chartSize;
    QRectF m_checkedPlot;
    qreal m_fittedFontSize = 0.0;
    qreal m_fontCap = 0.0;
    QSize m_pixels;
    QRectF m_ranges;
};
