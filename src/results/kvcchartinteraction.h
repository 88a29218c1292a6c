#pragma once

#include "kvcexport.h"

#include <QObject>
#include <QPoint>
#include <QPointF>
#include <QtCharts/QChartGlobal>

QT_CHARTS_BEGIN_NAMESPACE
class QChartView;
QT_CHARTS_END_NAMESPACE

class KvcChartData;
class KvcResultsData;
class QGraphicsLineItem;
class QGraphicsRectItem;
class QGraphicsTextItem;

/// What the user does with a chart of the results view, besides dropping
/// graphics onto it:
/// - hovering over the plot shows the stored sample nearest to the cursor's
///   x of each shown series (name in its colour, x, y) and a vertical line at
///   that x; nothing is looked up while the mouse is elsewhere;
/// - the wheel zooms x around the cursor (with Ctrl: y); the middle button,
///   or the left one with Shift, drags the plot; the rubber band stays;
/// - a double-click or Home shows the axis rule's ranges again;
/// - the right button, the Menu key and Shift+F10 ask for the context menu
///   (contextMenuRequested()) instead of Qt Charts' zoom out.
/// The chart's data (KvcChartData) and the results data must outlive it.
class KVC_TESTING_EXPORT KvcChartInteraction : public QObject
{
    Q_OBJECT

public:
    KvcChartInteraction(
        QtCharts::QChartView *view, KvcChartData *chart, const KvcResultsData *data);

    /// The read-out's text as shown, empty while hidden.
    QString readOut() const;

signals:
    /// At `globalPos`, on the user's request.
    void contextMenuRequested(const QPoint &globalPos);
    /// The user zoomed, panned or reset the chart: it needs a frame.
    void rangesChanged();

protected:
    bool eventFilter(QObject *object, QEvent *event) override;

private:
    void showReadOut(const QPoint &pos);
    void hideReadOut();
    QPointF valueAt(const QPoint &pos) const;

    QtCharts::QChartView *m_view;
    KvcChartData *m_chart;
    const KvcResultsData *m_data;
    QGraphicsLineItem *m_cursor = nullptr;
    QGraphicsRectItem *m_box = nullptr;
    QGraphicsTextItem *m_text = nullptr;
    bool m_panning = false;
    QPoint m_panFrom;
};
