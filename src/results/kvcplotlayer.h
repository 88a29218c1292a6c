#pragma once

#include "kvcplotrenderer.h"

#include <QFutureWatcher>
#include <QGraphicsObject>
#include <QImage>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QAbstractAxis;
class QChart;
class QValueAxis;
QT_CHARTS_END_NAMESPACE

/// The data of a chart's dense series, drawn in the chart's own scene above
/// its plot area, from pictures rendered on a worker thread
/// (KvcPlotRenderer), so that no drawing cost of a long or noisy history
/// falls on the GUI thread.
///
/// setFrame() hands over what to draw; the picture follows once rendered. At
/// most one rendering per layer runs at a time: a frame handed over meanwhile
/// replaces any waiting one and is rendered next. Until its picture is
/// ready, the layer shows the last one, placed where the ranges it was
/// rendered for lie on the plot now, so that nothing is ever drawn at the
/// wrong place, only, for a moment, coarser.
///
/// The layer is a child of the chart and goes with it; a rendering under way
/// then finishes unseen.
class KVC_TESTING_EXPORT KvcPlotLayer : public QGraphicsObject
{
    Q_OBJECT

public:
    KvcPlotLayer(
        QtCharts::QChart *chart, QtCharts::QValueAxis *xAxis, QtCharts::QAbstractAxis *yAxis);
    /// The y axis shown, linear (QValueAxis) or logarithmic (QLogValueAxis).
    void setYAxis(QtCharts::QAbstractAxis *yAxis) { m_yAxis = yAxis; }
    ~KvcPlotLayer() override;

    void setFrame(const KvcPlotRenderer::Frame &frame);
    /// Shows nothing until the next frame (the chart's graphic changed).
    void clear();
    /// The last frame handed over, and the one whose picture is shown.
    const KvcPlotRenderer::Frame &frame() const { return m_latest; }
    const KvcPlotRenderer::Frame &shownFrame() const { return m_shown; }
    /// A rendering runs or waits.
    bool isRendering() const;
    /// Waits for the renderings under way (for tests and screenshots).
    void waitForPicture();

    QRectF boundingRect() const override;
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *) override;

signals:
    /// A new picture is shown.
    void pictureShown();

private:
    void startRendering();
    void renderingDone();

    QtCharts::QChart *m_chart;
    QtCharts::QValueAxis *m_xAxis;
    QtCharts::QAbstractAxis *m_yAxis;
    QFutureWatcher<QImage> m_watcher;
    KvcPlotRenderer::Frame m_latest;
    KvcPlotRenderer::Frame m_rendering;
    KvcPlotRenderer::Frame m_shown;
    bool m_waiting = false;
    QImage m_picture;
};
