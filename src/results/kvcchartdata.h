#pragma once

#include "kvcchartseriesfeeder.h"
#include "kvcresultsdata.h"

#include <QVector>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QChart;
class QLineSeries;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

/// One chart of the results view: the Qt Charts objects that show a graphic of
/// the results data, and the bookkeeping of what they are to show.
///
/// Each stored sample only moves counts and ranges (sampleStored()): which
/// samples belong to each series, and the axis rule (an axis grows to 1.25
/// times a value that comes within 5 % of its end and starts at 0; a rule
/// graphic's y range is its value's minimum and maximum). flush() brings the
/// axes and the series up to date together, so a chart's ranges always belong
/// to the points it shows; it decimates long histories (KvcChartSeriesFeeder)
/// within the drawing budget of a chart.
///
/// The chart is created here and owned by whoever shows it (a QChartView after
/// setChart()); it must outlive this object. A graphic that is shown belongs
/// to the results data passed with it, which must outlive its use here.
class KvcChartData
{
public:
    using GraphicsData = KvcResultsData::GraphicsData;

    KvcChartData(const GraphicsData *graphic, const KvcResultsData &data);

    QtCharts::QChart *chart() const { return m_chart; }
    QtCharts::QValueAxis *xAxis() const { return m_xAxis; }
    /// The graphic shown, null for none.
    const GraphicsData *graphic() const { return m_graphic; }

    /// Shows `graphic` (null: an empty chart) with the history `data` has so
    /// far. The axes keep the ranges they have; the rule makes them grow.
    void setGraphic(const GraphicsData *graphic, const KvcResultsData &data);
    /// `data` has stored a sample of the track this chart shows (the time
    /// track for special graphic 0).
    void sampleStored(const KvcResultsData &data);

    /// Something changed since the last flush(), or a rebuild is under way.
    bool isDirty() const { return m_dirty; }
    /// The plot was resized or zoomed: its columns change.
    void markDirty() { m_dirty = true; }
    /// Brings the axes and series up to date with `data`, at `pixelRatio`
    /// device pixels per plot pixel.
    void flush(const KvcResultsData &data, qreal pixelRatio);

private:
    // The series shows samples [first, end) of its source (x: the history's
    // times, y: the component's values; the time track's times and execution
    // times for special graphic 0).
    struct Line {
        KvcChartSeriesFeeder feeder;
        int component = 0;
        int end = 0;
    };

    void loadRuleGraphic(const KvcResultsData &data);
    void addLine(int component, int first, int end, const QString &name = QString());
    void followTrack(const KvcResultsData::TrackedData &history);
    void followExecutionTime(double time, double executionTime);
    bool source(const KvcResultsData &data, int component, const QVector<double> *&xs,
        const QVector<double> *&ys) const;
    int columnsFor(qreal pixelRatio, int *natural) const;
    void adaptStrokeColumns(int columns, int natural, qreal pixelRatio);
    double strokeLength(qreal pixelRatio) const;

    QtCharts::QChart *m_chart = nullptr;
    QtCharts::QValueAxis *m_xAxis = nullptr;
    QtCharts::QValueAxis *m_yAxis = nullptr;
    const GraphicsData *m_graphic = nullptr;
    QVector<Line> m_lines;
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
    // Columns per series that keep the strokes within their budget, 0 for no
    // limit; adapted after each flush.
    int m_strokeColumns = 0;
};
