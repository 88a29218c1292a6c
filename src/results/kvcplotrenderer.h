#pragma once

#include "kvcexport.h"
#include "kvcplotcolumns.h"

#include <QColor>
#include <QImage>
#include <QSize>
#include <QVector>

/// Draws the columns of a chart's series into an image, on any thread: it
/// touches nothing but what it is handed.
///
/// Each series is drawn as a 3 px line (in device-independent pixels) would
/// draw its samples, without stroking a line through every sample:
/// - where a column holds one sample, the line passes through it, at its own
///   x, with the antialiased pen;
/// - a run of neighbouring columns that hold several samples each is filled
///   as the band from each column's minimum to its maximum, widened by half
///   the pen on every side: what the pen would cover, drawn at the cost of
///   its area rather than of the length of every stroke through it;
/// - the line joins each column to the next, and enters and leaves the plot
///   towards the samples beyond its edges.
/// A dashed series keeps a thin solid line under its dashes, so that no
/// sample falls into a gap. Values that are not numbers are left out;
/// infinities are drawn at the edge.
class KVC_TESTING_EXPORT KvcPlotRenderer
{
public:
    struct Series {
        QColor color;
        Qt::PenStyle style = Qt::SolidLine;
        QVector<KvcPlotColumns::Column> columns;
        KvcPlotColumns::Point before;
        KvcPlotColumns::Point after;
    };
    struct Frame {
        QSize pixels; ///< the plot in device pixels, one column per pixel
        qreal devicePixelRatio = 1.0;
        qreal penWidth = 3.0; ///< in device-independent pixels
        double xMin = 0.0;
        double xMax = 1.0;
        double yMin = 0.0;
        double yMax = 1.0;
        /// A logarithmic y axis: yMin > 0; values at or below 0 are gaps,
        /// a column's lowest value is its smallest positive one.
        bool logY = false;
        QVector<Series> series;
    };

    /// The plot's picture, transparent where nothing is drawn; its device
    /// pixel ratio is the frame's.
    static QImage render(const Frame &frame);
};
