#pragma once

#include "kvcexport.h"

#include <QFont>
#include <QGraphicsObject>
#include <QMargins>
#include <QPen>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QChart;
QT_CHARTS_END_NAMESPACE

/// A legend for charts with more series than Qt Charts' legend can name in
/// one row (it cuts every name down to "..." then): each series' line and
/// full name, in as many rows as the chart's width needs, below the plot.
///
/// The legend takes the room it needs from the chart's bottom margin and
/// gives it back when it is hidden. It reads the series' names, pens and
/// visibility from the chart whenever refresh() is called; a hidden series'
/// entry is greyed. A click on an entry emits entryClicked().
class KVC_TESTING_EXPORT KvcChartLegend : public QGraphicsObject
{
    Q_OBJECT

public:
    explicit KvcChartLegend(QtCharts::QChart *chart);

    /// Whether Qt Charts' own legend names every series of the chart in full
    /// at the chart's present width.
    static bool qtLegendFits(const QtCharts::QChart *chart);

    /// Lays the entries out again for the chart's series and width.
    void refresh();
    /// The entries' texts, in order, as shown.
    QStringList names() const;

    QRectF boundingRect() const override;
    void paint(QPainter *painter, const QStyleOptionGraphicsItem *, QWidget *) override;

signals:
    /// The entry of the chart's series `series` was clicked.
    void entryClicked(int series);

protected:
    void mousePressEvent(QGraphicsSceneMouseEvent *event) override;

private:
    struct Entry {
        QString name;
        QPen pen;
        QRectF rect;
        bool hidden = false;
    };

    QtCharts::QChart *m_chart;
    QMargins m_margins;
    QVector<Entry> m_entries;
    QRectF m_bounds;
};
