#pragma once

#include "kvcplotcolumns.h"
#include "kvcplotrenderer.h"
#include "kvcresultsdata.h"

#include <QColor>
#include <QVector>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QAbstractAxis;
class QChart;
class QLogValueAxis;
class QLineSeries;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

class KvcChartLegend;
class KvcPlotLayer;
class QGraphicsSimpleTextItem;
class QIODevice;

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
/// axis titles fit along the plot; then the y title goes in two lines, and
/// where even that does not fit and the chart's title says the same, it goes.
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

    /// The user's view. Zooming or panning a chart (these functions, or a
    /// rubber band on its view) holds its ranges: new samples no longer move
    /// them, while the axis rule goes on underneath, and a mark in the plot
    /// says so. resetRanges() shows the rule's ranges again; so does a new
    /// graphic.
    bool isHeld() const { return m_held; }
    void resetRanges();
    /// Scales the x or y range by `factor` around the value `around` (in
    /// the axis' own scale: a logarithmic one by decades).
    void zoom(Qt::Orientation orientation, double factor, double around);
    /// Moves the ranges by dx and dy times their spans (in the axis' scale).
    void pan(double dx, double dy);

    /// A logarithmic y axis (QLogValueAxis, decades) instead of the linear
    /// one: values at or below 0 are not drawn and a note in the plot counts
    /// them; the y range is the rule's from the smallest positive value,
    /// widened to whole decades so that the axis labels some;
    /// columns are drawn in the axis' scale. Switching starts the y range
    /// from the rule again.
    bool isLogarithmic() const;
    void setLogarithmic(bool logarithmic, const KvcResultsData &data);

    /// The series shown; a hidden one counts neither for the read-out nor
    /// for the y range. Decided here: while some series of a rule graphic
    /// are hidden, its y range is the minimum and maximum of the stored
    /// values of those shown (with every series shown, or none, it is the
    /// value's, as the rule says). Clicking a series' legend entry toggles
    /// it; its entry stays, greyed.
    int seriesCount() const;
    bool isSeriesVisible(int series) const;
    void setSeriesVisible(int series, bool visible);
    /// The legend name of a series; the y title for unnamed ones.
    QString seriesName(int series) const;

    /// The stored sample nearest to `x` of each shown series, taken from the
    /// full history (not from what is drawn).
    struct Reading {
        QString name;
        QColor color;
        double x = 0.0;
        double y = 0.0;
    };
    QVector<Reading> readingsAt(const KvcResultsData &data, double x) const;
    /// The graphic's whole stored history as CSV (KvcCsvWriter): the x title
    /// and the series' names, one row per sample. False on a write error.
    bool writeCsv(const KvcResultsData &data, QIODevice *device) const;

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
    QRectF axisRanges() const;
    void placeNotes();
    int hiddenCount() const;
    void visibleExtent(const KvcResultsData &data, double &min, double &max,
        double *minPositive = nullptr, int *notPositive = nullptr) const;
    QtCharts::QAbstractAxis *shownYAxis() const;
    double yMin() const;
    double yMax() const;
    void setYRange(double min, double max);
    void setYTitle(const QString &title);
    // The y range [min, max] as shown: of the series shown, positive on a
    // logarithmic axis.
    void applyYRange(const KvcResultsData &data, double min, double max);
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
    // The y title is shown in two lines.
    bool m_yTitleSplit = false;
    qreal m_fittedFontSize = 0.0;
    qreal m_fontCap = 0.0;
    QSize m_pixels;
    QRectF m_ranges;
    // m_ranges holds what the last flush showed (not after a new graphic).
    bool m_rangesShown = false;
    bool m_held = false;
    QGraphicsSimpleTextItem *m_heldMark = nullptr;
    QtCharts::QLogValueAxis *m_logAxis = nullptr;
    bool m_logY = false;
    QGraphicsSimpleTextItem *m_leftOutMark = nullptr;
    // What the rule gives the y axis, for a reset.
    bool m_ruleYKnown = false;
    double m_ruleYMin = 0.0;
    double m_ruleYMax = 0.0;
    bool m_visibilityChanged = false;
};
