#include "kvcresultswidget.h"

#include "kvcactionmanager.h"
#include "kvcchartinteraction.h"
#include "kvcplotlayer.h"
#include "kvcresultsdata.h"
#include "modalanswerer.h"
#include "ruledatafixture.h"

#include <QAction>
#include <QFileDialog>
#include <QGraphicsSimpleTextItem>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QProgressBar>
#include <QTextBlock>
#include <QTextEdit>
#include <QtCharts/QChartView>
#include <QtCharts/QLegend>
#include <QtCharts/QLegendMarker>
#include <QtCharts/QLineSeries>
#include <QtCharts/QLogValueAxis>
#include <QtCharts/QValueAxis>
#include <QtTest>

QT_CHARTS_USE_NAMESPACE
using namespace RuleDataFixture;

namespace {

const char mimeType[] = "application/x-GraphIndex";

// Tracked values of the test simulation, by id. Rule "R" holds the scalar P
// first, so that its graphic is the first rule graphic (index 3).
enum Track { P = 0, Time, Iteration, Error, U, Q };
constexpr int graphicOf(Track track) { return 3 + track; }

// QObject::receivers() is protected; reached through a derived class.
struct Receivers : QObject {
    static int of(const QObject *object, const char *signal)
    {
        return (object->*(&Receivers::receivers))(signal);
    }
};

// A manager, a store and results data following it, and the view on them.
struct Fixture {
    enum Option { IndexedValue = 1, RulesFirst = 2 };

    explicit Fixture(
        int options = 0, KvcActionManager::ExecutionStatus status = KvcActionManager::Running)
    {
        data->setSimulationData(store);
        Rules rules {{"R", {{"P"}, {"time"}, {"fem.iteration"}, {"fem.error"}, {"u", 0, 3}}}};
        if (options & IndexedValue)
            rules.append({"S", {{"q", 1}}});
        if (options & RulesFirst)
            ruleDataOk = setRules(*store, rules);
        view.reset(new KvcResultsWidget(&manager, status, data));
        if (!(options & RulesFirst))
            ruleDataOk = setRules(*store, rules);
    }

    bool feed(double time, qint64 elapsedMs, QList<KvCommClientTrackedData> samples = {})
    {
        samples.prepend(KvCommClientTrackedData(Time, {time}));
        return store->addTrackedData(samples, elapsedMs);
    }

    QChartView *chartView(const char *name) const
    {
        return view->findChild<QChartView *>(QLatin1String(name));
    }
    QString label(const char *name) const
    {
        return view->findChild<QLabel *>(QLatin1String(name))->text();
    }

    QAction run;
    KvcActionManager manager {&run, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr};
    QSharedPointer<KvCommClientData> store = QSharedPointer<KvCommClientData>::create();
    QSharedPointer<KvcResultsData> data = QSharedPointer<KvcResultsData>::create();
    QScopedPointer<KvcResultsWidget> view;
    bool ruleDataOk = false;
};

QValueAxis *axis(QChartView *view, Qt::Orientation orientation)
{
    return qobject_cast<QValueAxis *>(view->chart()->axes(orientation).value(0));
}

QPointF xRange(QChartView *view)
{
    QValueAxis *a = axis(view, Qt::Horizontal);
    return QPointF(a->min(), a->max());
}

QPointF yRange(QChartView *view)
{
    QValueAxis *a = axis(view, Qt::Vertical);
    return QPointF(a->min(), a->max());
}

QLineSeries *series(QChartView *view, int index = 0)
{
    return qobject_cast<QLineSeries *>(view->chart()->series().value(index));
}

int pointCount(QChartView *view, int index = 0)
{
    QLineSeries *s = series(view, index);
    return s ? s->count() : -1;
}

// What a chart shows, as one text, so that a comparison shows all of it:
// "title | x <title> <min>..<max> | y <title> <min>..<max> | <series>: x,y x,y | ...".
QString shown(QChartView *view)
{
    QStringList parts {view->chart()->title()};
    for (Qt::Orientation o : {Qt::Horizontal, Qt::Vertical}) {
        QValueAxis *a = axis(view, o);
        parts << QStringLiteral("%1 %2 %3..%4")
                     .arg(QLatin1Char(o == Qt::Horizontal ? 'x' : 'y'))
                     .arg(a->titleText())
                     .arg(a->min())
                     .arg(a->max());
    }
    for (QAbstractSeries *s : view->chart()->series()) {
        QStringList points;
        for (const QPointF &p : static_cast<QLineSeries *>(s)->pointsVector())
            points << QStringLiteral("%1,%2").arg(p.x()).arg(p.y());
        const QString name = s->name().isEmpty() ? QString() : s->name() + QStringLiteral(": ");
        parts << name + points.join(QLatin1Char(' '));
    }
    return parts.join(QStringLiteral(" | "));
}

// Drags `payload` over `target` and drops it there, as a drag source would.
bool drop(QWidget *target, const QByteArray &payload, const QString &format = mimeType)
{
    QMimeData mime;
    mime.setData(format, payload);
    const QPoint pos = target->rect().center();
    QDragEnterEvent enter(pos, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &enter);
    QDragMoveEvent move(pos, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &move);
    QDropEvent dropEvent(pos, Qt::CopyAction, &mime, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(target, &dropEvent);
    return enter.isAccepted() && dropEvent.isAccepted();
}

KvcPlotLayer *layerOf(QChartView *view)
{
    for (QGraphicsItem *item : view->scene()->items())
        if (auto *layer = qobject_cast<KvcPlotLayer *>(item->toGraphicsObject()))
            return layer;
    return nullptr;
}

// Where value (x, y) of a chart lies in its view's viewport.
QPoint pointOf(QChartView *view, const QPointF &value)
{
    QChart *chart = view->chart();
    return view->mapFromScene(chart->mapToScene(chart->mapToPosition(value)));
}

// A shown view whose large chart shows u (three series, u[s] = (s + 1) i +
// 0.5 at time i) from time 1 to `samples`.
struct ShownVector : Fixture {
    explicit ShownVector(int samples = 400)
    {
        view->resize(961, 746);
        view->show();
        ul = chartView("ulChart");
        ok = QTest::qWaitForWindowExposed(view.data()) && drop(ul->viewport(), "7");
        for (int i = 1; ok && i <= samples; ++i)
            ok = feed(i, i, {KvCommClientTrackedData(U, {i + 0.5, 2 * i + 0.5, 3 * i + 0.5})});
        QTest::qWait(50);
    }
    void send(QEvent::Type type, Qt::MouseButton button, const QPointF &value,
        Qt::KeyboardModifiers modifiers = Qt::NoModifier)
    {
        QMouseEvent event(type, pointOf(ul, value), button, button, modifiers);
        QApplication::sendEvent(ul->viewport(), &event);
    }
    QString readOut() const { return ul->findChild<KvcChartInteraction *>()->readOut(); }
    // Whether a note with `text` shows in the plot.
    bool noted(const QString &text) const
    {
        for (QGraphicsItem *item : ul->scene()->items())
            if (auto *note = dynamic_cast<QGraphicsSimpleTextItem *>(item))
                if (note->text() == text)
                    return note->isVisible();
        return false;
    }
    bool held() const { return noted("Zoom held"); }

    QChartView *ul = nullptr;
    bool ok = false;
};
} // namespace

Q_DECLARE_METATYPE(QList<double>)

class TestKvcResultsWidget : public QObject
{
    Q_OBJECT

private slots:
    void formShowsTheStatusAndTheSpecialGraphics();
    void axesGrowAtTheMargin_data();
    void axesGrowAtTheMargin();
    void iterationChartDrawsOnlyLaterSamples();
    void largeChartPrefersAnIndexedValue();
    void largeChartShowsTheFirstRuleGraphicKnownAtConstruction();
    void dropSpecialGraphicZeroDrawsTheWholeHistoryAndFollowsIt();
    void dropRuleGraphicBeforeItsFirstSample();
    void dropPayloads_data();
    void dropPayloads();
    void longHistoriesShowEveryColumnsExtremes_data();
    void longHistoriesShowEveryColumnsExtremes();
    void simulationTime_data();
    void simulationTime();
    void progressRowFollowsThePlannedEnd_data();
    void progressRowFollowsThePlannedEnd();
    void finishedViewShowsItsConstructionTime();
    void stopsFollowingTheManagerOneSecondAfterTheEnd();
    void nullResultDataShowsEmptySpecialCharts();
    void readOutShowsTheNearestStoredSamples_data();
    void readOutShowsTheNearestStoredSamples();
    void zoomHoldsUntilReset_data();
    void zoomHoldsUntilReset();
    void dataExportReadsBackExactly_data();
    void dataExportReadsBackExactly();
    void contextMenuExportsThroughAFileDialog();
    void logarithmicAxisLeavesOutWhatItCannotShow();
};

void TestKvcResultsWidget::formShowsTheStatusAndTheSpecialGraphics()
{
    Fixture f;
    QVERIFY(f.ruleDataOk);
    QCOMPARE(f.label("simStatusLbl"), QStringLiteral("Running"));
    QCOMPARE(f.label("simFinishedLbl"), QString());
    QCOMPARE(f.label("label_5"), QStringLiteral("Simulation time: "));
    QCOMPARE(
        f.chartView("urChart")->chart()->title(), QStringLiteral("Execution x Simulation time"));
    QCOMPARE(f.chartView("mrChart")->chart()->title(), QStringLiteral("Number of iterations"));
    QCOMPARE(f.chartView("lrChart")->chart()->title(), QStringLiteral("Iteration error"));
    QVERIFY(!f.chartView("urChart")->chart()->legend()->isVisible());
    // The rules arrived after construction: the first rule graphic fills the large chart.
    QCOMPARE(f.chartView("ulChart")->chart()->title(), QStringLiteral("R (P)"));
    QVERIFY(f.chartView("ulChart")->chart()->legend()->isVisible());
    auto log = f.view->findChild<QTextEdit *>("logTed");
    QCOMPARE(log->lineWrapMode(), QTextEdit::NoWrap);
    QCOMPARE(log->font().family(), QStringLiteral("Courier New"));
    QVERIFY(log->isReadOnly());
    QVERIFY(!log->isUndoRedoEnabled());
    QVERIFY(!f.view->active()); // the manager runs nothing
    QCOMPARE(f.view->resultData(), f.data);
}

void TestKvcResultsWidget::axesGrowAtTheMargin_data()
{
    QTest::addColumn<QString>("chart");
    QTest::addColumn<QList<double>>("times");
    QTest::addColumn<QList<double>>("values"); // P, or the execution time in seconds
    QTest::addColumn<QPointF>("expectedX");
    QTest::addColumn<QPointF>("expectedY");

    using L = QList<double>;
    QTest::newRow("rule graphic: first sample at 80 gives [0, 100]")
        << "ulChart" << L {80} << L {1} << QPointF(0, 100) << QPointF(1, 1);
    QTest::newRow("94 is outside the 5 % margin of 100: unchanged")
        << "ulChart" << L {80, 94} << L {1, 2} << QPointF(0, 100) << QPointF(1, 2);
    QTest::newRow("95 is inside it: [0, 118.75]")
        << "ulChart" << L {80, 95} << L {1, 2} << QPointF(0, 118.75) << QPointF(1, 2);
    QTest::newRow("constant 3 gives y range [3, 3]")
        << "ulChart" << L {1, 2, 3} << L {3, 3, 3} << QPointF(0, 3.75) << QPointF(3, 3);
    QTest::newRow("y range is the exact minimum and maximum so far")
        << "ulChart" << L {1, 2, 3, 4} << L {5, -2, 7, 0} << QPointF(0, 5) << QPointF(-2, 7);
    QTest::newRow("execution time: both axes from 0 to 1.25 times the first sample")
        << "urChart" << L {0.5} << L {2} << QPointF(0, 0.625) << QPointF(0, 2.5);
    QTest::newRow("execution time below 95 % of both ends: unchanged")
        << "urChart" << L {0.5, 0.55} << L {2, 2.2} << QPointF(0, 0.625) << QPointF(0, 2.5);
    QTest::newRow("execution time inside the margin of both: both grow")
        << "urChart" << L {0.5, 0.55, 0.6} << L {2, 2.2, 2.4} << QPointF(0, 0.75) << QPointF(0, 3);
}

void TestKvcResultsWidget::axesGrowAtTheMargin()
{
    QFETCH(QString, chart);
    QFETCH(QList<double>, times);
    QFETCH(QList<double>, values);
    QFETCH(QPointF, expectedX);
    QFETCH(QPointF, expectedY);

    Fixture f;
    QChartView *view = f.chartView(qPrintable(chart));
    const bool execution = chart == QLatin1String("urChart");
    for (int i = 0; i < times.size(); ++i) {
        const qint64 elapsedMs = execution ? qRound64(1000 * values[i]) : 1000 * i;
        QVERIFY(f.feed(times[i], elapsedMs, {KvCommClientTrackedData(P, {values[i]})}));
    }
    // Ranges reach the axes in the same frame as the points.
    QTRY_COMPARE(pointCount(view), times.size());
    QCOMPARE(series(view)->at(times.size() - 1), QPointF(times.last(), values.last()));
    QCOMPARE(xRange(view), expectedX);
    QCOMPARE(yRange(view), expectedY);
}

void TestKvcResultsWidget::iterationChartDrawsOnlyLaterSamples()
{
    Fixture f;
    QChartView *mr = f.chartView("mrChart");
    QVERIFY(f.feed(1, 100, {KvCommClientTrackedData(Iteration, {4})}));
    QVERIFY(f.feed(2, 200, {KvCommClientTrackedData(Iteration, {9})}));
    const QString iterations
        = "Number of iterations | x Time 0..%1 | y Number of iterations %2..9 | %3";
    QTRY_COMPARE(shown(mr), iterations.arg("2.5", "4", "1,4 2,9"));

    // Dropped again on another chart, it starts empty despite the history.
    QChartView *lr = f.chartView("lrChart");
    QVERIFY(drop(lr->viewport(), QByteArray::number(1)));
    QVERIFY(f.feed(3, 300, {KvCommClientTrackedData(Iteration, {2})}));
    QTRY_COMPARE(shown(mr), iterations.arg("3.75", "2", "1,4 2,9 3,2"));
    QTRY_COMPARE(shown(lr), iterations.arg("3.75", "2", "3,2"));
}

void TestKvcResultsWidget::largeChartPrefersAnIndexedValue()
{
    Fixture f(Fixture::IndexedValue);
    QVERIFY(f.ruleDataOk);
    QChartView *ul = f.chartView("ulChart");
    QCOMPARE(ul->chart()->title(), QStringLiteral("S (q)"));
    QCOMPARE(ul->chart()->series().size(), 0);

    // Its series are named at the first sample, from the index lines.
    QVERIFY(f.store->addTrackedIndexData(
        1, KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"A", "B"}), 0));
    QVERIFY(f.feed(1, 10, {KvCommClientTrackedData(Q, {1, 2})}));
    QTRY_COMPARE(
        shown(ul), QStringLiteral("S (q) | x Time (s) 0..1.25 | y q 1..2 | A: 1,1 | B: 1,2"));
}

void TestKvcResultsWidget::largeChartShowsTheFirstRuleGraphicKnownAtConstruction()
{
    // Rules known before the view: graphic 3 at once, an indexed value or not.
    Fixture f(Fixture::IndexedValue | Fixture::RulesFirst);
    QVERIFY(f.ruleDataOk);
    QCOMPARE(f.chartView("ulChart")->chart()->title(), QStringLiteral("R (P)"));
}

void TestKvcResultsWidget::dropSpecialGraphicZeroDrawsTheWholeHistoryAndFollowsIt()
{
    Fixture f;
    for (int i = 1; i <= 5; ++i)
        QVERIFY(f.feed(i, 1000 * i));
    QChartView *ul = f.chartView("ulChart");
    QChartView *ur = f.chartView("urChart");
    QVERIFY(ul->chart()->legend()->isVisible());

    QVERIFY(drop(ul->viewport(), "0"));
    QVERIFY(!ul->chart()->legend()->isVisible());
    const QString execution
        = "Execution x Simulation time | x Time 0..%1 | y Execution time (s) 0..%1 | %2";
    QTRY_COMPARE(shown(ul), execution.arg("6.25", "1,1 2,2 3,3 4,4 5,5"));
    QVERIFY(f.feed(6, 6000));
    const QString all = execution.arg("7.5", "1,1 2,2 3,3 4,4 5,5 6,6");
    QTRY_COMPARE(shown(ul), all);
    QTRY_COMPARE(shown(ur), all);

    // A rule graphic dropped afterwards leaves the legend hidden.
    QVERIFY(drop(ul, QByteArray::number(graphicOf(U))));
    QCOMPARE(ul->chart()->title(), QStringLiteral("R (u)"));
    QVERIFY(!ul->chart()->legend()->isVisible());
}

void TestKvcResultsWidget::dropRuleGraphicBeforeItsFirstSample()
{
    Fixture f;
    QChartView *mr = f.chartView("mrChart");
    QVERIFY(drop(mr->viewport(), QByteArray::number(graphicOf(U))));
    QCOMPARE(mr->chart()->title(), QStringLiteral("R (u)"));
    QCOMPARE(mr->chart()->series().size(), 0);

    QVERIFY(f.feed(2, 10, {KvCommClientTrackedData(U, {1, -4, 6})}));
    QTRY_COMPARE(
        shown(mr), "R (u) | x Time (s) 0..2.5 | y u -4..6 | u [1]: 2,1 | u [2]: 2,-4 | u [3]: 2,6");
    QVERIFY(f.feed(3, 20, {KvCommClientTrackedData(U, {0, 8, 1})}));
    QTRY_COMPARE(shown(mr),
        "R (u) | x Time (s) 0..3.75 | y u -4..8 | u [1]: 2,1 3,0 | u [2]: 2,-4 3,8 | u [3]: 2,6 "
        "3,1");
}

void TestKvcResultsWidget::dropPayloads_data()
{
    QTest::addColumn<QString>("format");
    QTest::addColumn<QByteArray>("payload");
    QTest::addColumn<bool>("onViewport");
    QTest::addColumn<bool>("accepted");
    QTest::addColumn<QString>("title");

    const QString iterations = "Number of iterations";
    const QString execution = "Execution x Simulation time";
    QTest::newRow("index on the view") << mimeType << QByteArray("0") << false << true << execution;
    QTest::newRow("index on the viewport, a child of the view")
        << mimeType << QByteArray::number(graphicOf(P)) << true << true << "R (P)";
    QTest::newRow("text that is not a number shows graphic 0")
        << mimeType << QByteArray("chart") << true << true << execution;
    QTest::newRow("empty payload shows graphic 0")
        << mimeType << QByteArray() << true << true << execution;
    QTest::newRow("index past the last graphic changes nothing")
        << mimeType << QByteArray("99") << true << true << iterations;
    QTest::newRow("negative index changes nothing")
        << mimeType << QByteArray("-1") << true << true << iterations;
    QTest::newRow("another MIME type is refused")
        << "text/plain" << QByteArray("0") << true << false << iterations;
}

void TestKvcResultsWidget::dropPayloads()
{
    QFETCH(QString, format);
    QFETCH(QByteArray, payload);
    QFETCH(bool, onViewport);
    QFETCH(bool, accepted);
    QFETCH(QString, title);

    Fixture f;
    QChartView *mr = f.chartView("mrChart");
    QCOMPARE(drop(onViewport ? mr->viewport() : mr, payload, format), accepted);
    QCOMPARE(mr->chart()->title(), title);
}

void TestKvcResultsWidget::longHistoriesShowEveryColumnsExtremes_data()
{
    QTest::addColumn<QString>("shape");
    QTest::addColumn<bool>("zoom");
    for (const char *shape : {"spikes", "steps", "noise"}) {
        QTest::addRow("%s", shape) << shape << false;
        QTest::addRow("%s, zoomed in", shape) << shape << true;
    }
}

// What the large chart draws of a long history of three series, column by
// column, against the stored samples: each column's extremes at their place.
void TestKvcResultsWidget::longHistoriesShowEveryColumnsExtremes()
{
    QFETCH(QString, shape);
    QFETCH(bool, zoom);
    Fixture f;
    f.view->resize(961, 746);
    f.view->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.view.data()));
    QChartView *ul = f.chartView("ulChart");
    QVERIFY(drop(ul->viewport(), QByteArray::number(graphicOf(U))));

    const int samples = 20000;
    for (int i = 1; i <= samples; ++i) {
        QVector<double> u(3);
        for (int s = 0; s < 3; ++s) {
            if (shape == "spikes")
                u[s] = (i % 1000 == 500 + s) ? 1e6 + i : ((i % 777 == s) ? -1e6 - i : i % 13);
            else if (shape == "steps")
                u[s] = (i / 3001 + s) % 2 ? 10.0 * s : -5.0;
            else
                u[s] = ((i * (7919 + s)) % 101) / 100.0 - s;
        }
        QVERIFY(f.feed(0.01 * i, i, {KvCommClientTrackedData(U, u)}));
    }
    const KvcResultsData::TrackedData &h = f.data->simTrackedData(U);
    QTRY_COMPARE(yRange(ul), QPointF(h.min, h.max));
    if (zoom)
        axis(ul, Qt::Horizontal)->setRange(61.7, 83.2);
    const QPointF x = xRange(ul);

    // Once the frame for these ranges is drawn.
    KvcPlotLayer *layer = layerOf(ul);
    QVERIFY(layer);
    QTRY_VERIFY(!layer->isRendering() && layer->shownFrame().xMin == x.x()
        && layer->shownFrame().xMax == x.y() && layer->shownFrame().series.size() == 3);
    const KvcPlotRenderer::Frame &frame = layer->shownFrame();
    QCOMPARE(frame.yMin, h.min);
    QCOMPARE(frame.yMax, h.max);
    const int columns = frame.pixels.width();
    QVERIFY(columns > 100);
    for (int s = 0; s < 3; ++s) {
        QVector<KvcMinMaxIndex::Extent> expected(columns);
        const double scale = columns / (x.y() - x.x());
        for (int i = 0; i < samples; ++i) {
            const double c = (h.time[i] - x.x()) * scale;
            if (c >= 0 && c < columns)
                expected[int(c)].add(h.data[s][i]);
        }
        const QVector<KvcPlotColumns::Column> &drawn = frame.series[s].columns;
        QCOMPARE(drawn.size(), columns);
        for (int c = 0; c < columns; ++c) {
            const auto text = [s, c](const KvcMinMaxIndex::Extent &e) {
                return QString("series %1, column %2: %3..%4").arg(s).arg(c).arg(e.min).arg(e.max);
            };
            QCOMPARE(text(drawn[c].extent), text(expected[c]));
        }
    }
    // Drawn by the layer, the series keep their names and colours for the
    // legend, and no points.
    QCOMPARE(ul->chart()->series().size(), 3);
    QCOMPARE(pointCount(ul, 0), 0);
    QVERIFY(series(ul, 0)->pen().color() != series(ul, 1)->pen().color());
}

void TestKvcResultsWidget::simulationTime_data()
{
    QTest::addColumn<QList<double>>("times");
    QTest::addColumn<QString>("expected");
    QTest::newRow("six significant digits") << QList<double> {1234567} << "1.23457e+06";
    QTest::newRow("small times keep their digits") << QList<double> {0.000125} << "0.000125";
    QTest::newRow("a time of 0 leaves the label") << QList<double> {2.5, 0} << "2.5";
    QTest::newRow("a negative time leaves the label") << QList<double> {7, -1} << "7";
    QTest::newRow("only 0: still empty") << QList<double> {0} << "";
}

void TestKvcResultsWidget::simulationTime()
{
    QFETCH(QList<double>, times);
    QFETCH(QString, expected);
    Fixture f;
    for (double t : times)
        QVERIFY(f.feed(t, 1));
    QCOMPARE(f.label("simTimeLbl"), expected);
    QCOMPARE(f.label("simIterationsLbl"), QString());
}

void TestKvcResultsWidget::progressRowFollowsThePlannedEnd_data()
{
    QTest::addColumn<double>("plannedEnd");
    QTest::addColumn<int>("samples"); // times 0, 1, 2, ... every 100 ms
    QTest::addColumn<int>("endStatus"); // -1: still running
    QTest::addColumn<QString>("bar");
    QTest::addColumn<QString>("text"); // its beginning

    const int running = -1;
    QTest::newRow("end unknown: no row") << qQNaN() << 40 << running << ""
                                         << "";
    QTest::newRow("one sample: estimating") << 100.0 << 1 << running << "0.0 %"
                                            << "estimating…";
    QTest::newRow("two seconds of samples: an estimate") << 100.0 << 26 << running << "25.0 %"
                                                         << "about ";
    QTest::newRow("finished: the duration")
        << 100.0 << 31 << int(KvcActionManager::Finished) << "30.0 %"
        << "ran for 3 s";
    QTest::newRow("canceled: the bar where it stopped")
        << 100.0 << 11 << int(KvcActionManager::Canceled) << "10.0 %"
        << "ran for 1 s";
    QTest::newRow("disconnected: no duration")
        << 100.0 << 11 << int(KvcActionManager::Disconnected) << "10.0 %"
        << "";
}

void TestKvcResultsWidget::progressRowFollowsThePlannedEnd()
{
    QFETCH(double, plannedEnd);
    QFETCH(int, samples);
    QFETCH(int, endStatus);
    QFETCH(QString, bar);
    QFETCH(QString, text);
    Fixture f;
    f.store->setSimulationInfo("rod", "", {}, {}, {}, plannedEnd);
    for (int i = 0; i < samples; ++i)
        QVERIFY(f.feed(i, i * 100));
    if (endStatus >= 0) {
        QSharedPointer<KvcResultsData> none;
        emit f.manager.executionStatusChanged(KvcActionManager::ExecutionStatus(endStatus), none);
    }
    auto progress = f.view->findChild<QProgressBar *>("simProgressBar");
    QVERIFY(progress);
    QCOMPARE(progress->parentWidget()->isHidden(), bar.isEmpty());
    QCOMPARE(f.view->findChild<QLabel *>("progressLbl")->isHidden(), bar.isEmpty());
    QCOMPARE(f.label("label_6"), QStringLiteral("Iteration: "));
    if (bar.isEmpty())
        return;
    QCOMPARE(progress->text(), bar);
    const auto shows = [&] {
        const QString left = f.label("simTimeLeftLbl");
        return text.isEmpty() ? left.isEmpty() : left.startsWith(text);
    };
    QTRY_VERIFY2(shows(), qPrintable(f.label("simTimeLeftLbl")));
}

void TestKvcResultsWidget::finishedViewShowsItsConstructionTime()
{
    const QDateTime before = QDateTime::currentDateTime();
    Fixture f(false, KvcActionManager::Finished);
    const QDateTime after = QDateTime::currentDateTime();
    QCOMPARE(f.label("simStatusLbl"), QStringLiteral("Finished"));
    const QString format = "dd-MMM-yyyy hh:mm:ss.zzz";
    const QString shown = f.label("simFinishedLbl");
    bool matches = false;
    for (QDateTime t = before; t <= after && !matches; t = t.addMSecs(1))
        matches = shown == t.toString(format);
    QVERIFY2(matches, qPrintable(shown));

    // Its first status change does not refresh the header.
    QSharedPointer<KvcResultsData> none;
    emit f.manager.executionStatusChanged(KvcActionManager::Aborted, none);
    QCOMPARE(f.label("simStatusLbl"), QStringLiteral("Finished"));
}

void TestKvcResultsWidget::stopsFollowingTheManagerOneSecondAfterTheEnd()
{
    Fixture f;
    const char *logSignal = SIGNAL(logDataReceived(int, const QString &));
    QCOMPARE(Receivers::of(&f.manager, logSignal), 1);

    QSharedPointer<KvcResultsData> none;
    emit f.manager.executionStatusChanged(KvcActionManager::Finished, none);
    QCOMPARE(f.label("simStatusLbl"), QStringLiteral("Finished"));
    QVERIFY(!f.label("simFinishedLbl").isEmpty());

    // Within the second, messages still arrive.
    emit f.manager.logDataReceived(4, "last words\n");
    QCOMPARE(Receivers::of(&f.manager, logSignal), 1);
    auto log = f.view->findChild<QTextEdit *>("logTed");
    QTRY_COMPARE(log->toPlainText(), QStringLiteral("last words\n"));
    // With its level's colour: the view hands the level on.
    const QTextCharFormat format = log->document()->firstBlock().begin().fragment().charFormat();
    QCOMPARE(format.foreground().color(), QColor(Qt::red));

    QTRY_COMPARE_WITH_TIMEOUT(Receivers::of(&f.manager, logSignal), 0, 3000);
    QCOMPARE(Receivers::of(&f.manager,
                 SIGNAL(executionStatusChanged(
                     KvcActionManager::ExecutionStatus, QSharedPointer<KvcResultsData> &))),
        0);

    // The results data is still followed.
    QVERIFY(f.feed(42, 1));
    QCOMPARE(f.label("simTimeLbl"), QStringLiteral("42"));
}

void TestKvcResultsWidget::nullResultDataShowsEmptySpecialCharts()
{
    QAction run;
    KvcActionManager manager(&run, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    QSharedPointer<KvcResultsData> none;
    KvcResultsWidget view(&manager, KvcActionManager::Loading, none);
    auto ur = view.findChild<QChartView *>("urChart");
    QCOMPARE(ur->chart()->title(), QStringLiteral("Execution x Simulation time"));
    QCOMPARE(view.findChild<QChartView *>("ulChart")->chart()->title(), QString());
    QVERIFY(view.resultData());
    QVERIFY(drop(ur->viewport(), "1"));
    QCOMPARE(ur->chart()->title(), QStringLiteral("Number of iterations"));
}

QTEST_MAIN(TestKvcResultsWidget)
#include "tst_kvcresultswidget.moc"

void TestKvcResultsWidget::readOutShowsTheNearestStoredSamples_data()
{
    QTest::addColumn<double>("x");
    QTest::addColumn<bool>("hideTop");
    QTest::addColumn<bool>("zoom");
    QTest::addColumn<QString>("expected");
    QTest::newRow("nearer the sample before")
        << 123.3 << false << false << "u [1]  123, 123.5\nu [2]  123, 246.5\nu [3]  123, 369.5";
    QTest::newRow("nearer the sample after")
        << 123.7 << false << false << "u [1]  124, 124.5\nu [2]  124, 248.5\nu [3]  124, 372.5";
    QTest::newRow("a hidden series is left out")
        << 7.2 << true << false << "u [1]  7, 7.5\nu [2]  7, 14.5";
    QTest::newRow("zoomed in, below a pixel apart")
        << 200.49 << false << true << "u [1]  200, 200.5\nu [2]  200, 400.5\nu [3]  200, 600.5";
}

// From the stored samples, whatever is drawn; a hidden series counts for
// nothing, its legend entry stays.
void TestKvcResultsWidget::readOutShowsTheNearestStoredSamples()
{
    QFETCH(double, x);
    QFETCH(bool, hideTop);
    QFETCH(bool, zoom);
    QFETCH(QString, expected);
    ShownVector f;
    QVERIFY(f.ok);
    QTRY_COMPARE(yRange(f.ul), QPointF(1.5, 1200.5));
    if (hideTop) {
        // The top series hidden: its entry stays; the y range is the others'.
        QLegendMarker *marker = f.ul->chart()->legend()->markers().value(2);
        QVERIFY(marker);
        emit marker->clicked();
        QTRY_VERIFY(!series(f.ul, 2)->isVisible() && marker->isVisible());
        QTRY_COMPARE(yRange(f.ul), QPointF(1.5, 800.5));
    }
    if (zoom)
        axis(f.ul, Qt::Horizontal)->setRange(200.4, 200.6);
    f.send(QEvent::MouseMove, Qt::NoButton, QPointF(x, 100));
    QCOMPARE(f.readOut(), expected);
    QEvent leave(QEvent::Leave);
    QApplication::sendEvent(f.ul->viewport(), &leave);
    QCOMPARE(f.readOut(), QString());
}

void TestKvcResultsWidget::zoomHoldsUntilReset_data()
{
    QTest::addColumn<QString>("zoom");
    QTest::addColumn<QString>("reset");
    QTest::newRow("wheel, Home") << "wheel"
                                 << "home";
    QTest::newRow("rubber band, double-click") << "band"
                                               << "double-click";
    QTest::newRow("shift-drag, new graphic") << "pan"
                                             << "drop";
    QTest::newRow("ctrl-wheel, public reset") << "ctrl-wheel"
                                              << "function";
}

// New samples do not move a zoomed chart; a reset shows what the axis rule
// gives by then.
void TestKvcResultsWidget::zoomHoldsUntilReset()
{
    QFETCH(QString, zoom);
    QFETCH(QString, reset);
    // The x axis rule over samples at times 1 to `last`.
    const auto ruleMax = [](int last) {
        double max = 0;
        for (int i = 1; i <= last; ++i)
            if (i >= 0.95 * max)
                max = 1.25 * i;
        return max;
    };
    ShownVector f(100);
    QVERIFY(f.ok);
    QTRY_COMPARE(xRange(f.ul), QPointF(0, ruleMax(100)));
    QVERIFY(!f.held());
    const QPointF at(50, 150);
    if (zoom.endsWith("wheel")) {
        QWheelEvent wheel(f.ul->viewport()->mapFrom(f.ul, pointOf(f.ul, at)), QPointF(), QPoint(),
            QPoint(0, 120), Qt::NoButton,
            zoom == "ctrl-wheel" ? Qt::ControlModifier : Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(f.ul->viewport(), &wheel);
    } else if (zoom == "band") {
        f.ul->chart()->zoomIn(QRectF(pointOf(f.ul, {20, 250}), pointOf(f.ul, {60, 50})));
    } else {
        f.send(QEvent::MouseButtonPress, Qt::LeftButton, at, Qt::ShiftModifier);
        f.send(QEvent::MouseMove, Qt::LeftButton, {30, 150}, Qt::ShiftModifier);
        f.send(QEvent::MouseButtonRelease, Qt::LeftButton, {30, 150}, Qt::ShiftModifier);
    }
    const QPointF x = xRange(f.ul);
    const QPointF y = yRange(f.ul);
    QVERIFY(x != QPointF(0, ruleMax(100)) || y != QPointF(1.5, 300.5));
    if (zoom == "wheel") {
        // A notch shows 80 % of the range; the value under the cursor stays.
        QVERIFY(qFuzzyCompare(x.y() - x.x(), 0.8 * ruleMax(100)));
        QVERIFY(qAbs((50 - x.x()) / (x.y() - x.x()) - 50 / ruleMax(100)) < 0.01);
    }
    for (int i = 101; i <= 200; ++i)
        QVERIFY(f.feed(i, i, {KvCommClientTrackedData(U, {i + 0.5, 2 * i + 0.5, 3 * i + 0.5})}));
    QTRY_VERIFY(f.view->isChartHeld(3) && f.held());
    QTest::qWait(200);
    QCOMPARE(xRange(f.ul), x);
    QCOMPARE(yRange(f.ul), y);

    if (reset == "home") {
        f.ul->setFocus();
        QTest::keyClick(f.ul, Qt::Key_Home);
    } else if (reset == "double-click") {
        f.send(QEvent::MouseButtonDblClick, Qt::LeftButton, at);
    } else if (reset == "drop") {
        QVERIFY(drop(f.ul->viewport(), "7"));
    } else {
        f.view->resetChartRanges(3);
    }
    QTRY_COMPARE(xRange(f.ul), QPointF(0, ruleMax(200)));
    QTRY_COMPARE(yRange(f.ul), QPointF(1.5, 600.5));
    QTRY_VERIFY(!f.held());
}

void TestKvcResultsWidget::dataExportReadsBackExactly_data()
{
    QTest::addColumn<QString>("graphic");
    QTest::addColumn<QString>("header");
    QTest::newRow("vector") << "7"
                            << "Time (s),u [1],u [2],u [3]";
    QTest::newRow("indexed, names to quote") << "8"
                                             << "Time (s),\"A, left\",\"B \"\"mid\"\"\"";
}

void TestKvcResultsWidget::dataExportReadsBackExactly()
{
    QFETCH(QString, graphic);
    QFETCH(QString, header);
    Fixture f(Fixture::IndexedValue);
    QVERIFY(f.ruleDataOk);
    QVERIFY(f.store->addTrackedIndexData(1,
        KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"A, left", "B \"mid\""}),
        0));
    QChartView *ul = f.chartView("ulChart");
    QVERIFY(drop(ul->viewport(), graphic.toLatin1()));
    // Values whose shortest decimal forms need all 17 digits.
    const QVector<double> values {0.1, 1.0 / 3, -2e-308, 6.02214076e23, 1e300 / 7, -0.0};
    for (int i = 0; i < values.size(); ++i) {
        QVERIFY(f.feed(0.7 * (i + 1), i,
            {KvCommClientTrackedData(U, {values[i], -values[i], 1 / (values[i] + 3)}),
                KvCommClientTrackedData(Q, {values[i] * 3, values[i] / 3})}));
    }
    const QByteArray csv = f.view->chartData(3);
    const QList<QByteArray> lines = csv.split('\n');
    QCOMPARE(lines.size(), values.size() + 2); // header, rows, the last line's end
    QCOMPARE(QString::fromUtf8(lines.first()), header);
    const KvcResultsData::TrackedData &h = f.data->simTrackedData(graphic == "7" ? U : Q);
    for (int i = 0; i < values.size(); ++i) {
        const QList<QByteArray> fields = lines.at(i + 1).split(',');
        QCOMPARE(fields.size(), 1 + h.data.size());
        QCOMPARE(fields.first().toDouble(), h.time.at(i));
        for (int c = 0; c < h.data.size(); ++c) {
            bool ok = false;
            const double read = fields.at(c + 1).toDouble(&ok);
            QVERIFY(ok);
            QCOMPARE(QByteArray::number(read, 'g', 17), QByteArray::number(h.data[c][i], 'g', 17));
            QCOMPARE(std::signbit(read), std::signbit(h.data[c][i]));
        }
    }

    // A file that cannot be written leaves nothing behind.
    QTemporaryDir dir;
    const QString missing = dir.filePath("no/such/folder/u.csv");
    QString error;
    QVERIFY(!f.view->exportChartData(3, missing, &error));
    QVERIFY2(error.contains("u.csv"), qPrintable(error));
    QVERIFY(!QFileInfo::exists(missing));
    QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::NoDotAndDotDot).size(), 0);
}

// The right button opens the menu rather than zooming out; its export asks
// for a file through the usual dialog, closed through the event loop.
void TestKvcResultsWidget::contextMenuExportsThroughAFileDialog()
{
    ShownVector f(50);
    QVERIFY(f.ok);
    QTRY_COMPARE(xRange(f.ul), QPointF(0, 60));
    f.send(QEvent::MouseButtonPress, Qt::RightButton, {30, 40});
    f.send(QEvent::MouseButtonRelease, Qt::RightButton, {30, 40});
    QTest::qWait(50);
    QCOMPARE(xRange(f.ul), QPointF(0, 60));
    QContextMenuEvent keyboard(QContextMenuEvent::Keyboard, QPoint());
    QApplication::sendEvent(f.ul, &keyboard);
    QMenu *menu = nullptr;
    QTRY_VERIFY((menu = f.view->findChild<QMenu *>("chartMenu")) && menu->isVisible());
    QAction *exportData = nullptr;
    for (QAction *action : menu->actions())
        if (action->text() == QStringLiteral("Export data…"))
            exportData = action;
    QVERIFY(exportData);

    QTemporaryDir dir;
    const QString file = dir.filePath("rule.csv");
    handleNextModal(
        [&file](QWidget *dialog) {
            auto *files = qobject_cast<QFileDialog *>(dialog);
            files->selectFile(file);
            static_cast<QDialog *>(files)->accept();
        },
        "QFileDialog");
    menu->close();
    exportData->trigger();
    QFile written(file);
    QVERIFY(written.open(QIODevice::ReadOnly));
    QCOMPARE(written.readAll(), f.view->chartData(3));
    QCOMPARE(f.view->chartImage(3).size(), f.ul->size() * f.ul->devicePixelRatioF());
}

void TestKvcResultsWidget::logarithmicAxisLeavesOutWhatItCannotShow()
{
    ShownVector f(100);
    QVERIFY(f.ok);
    QVERIFY(f.feed(101, 101, {KvCommClientTrackedData(U, {-1, 0, 5})}));
    QTRY_COMPARE(yRange(f.ul), QPointF(-1, 300.5));
    f.view->setLogarithmic(graphicOf(U), true);
    QVERIFY(f.view->isLogarithmic(graphicOf(U)) && !f.view->isLogarithmic(graphicOf(P)));
    auto *log = qobject_cast<QLogValueAxis *>(f.ul->chart()->axes(Qt::Vertical).value(0));
    QVERIFY(log);
    // The decades around the positive values stored (1.5 to 300.5).
    QTRY_COMPARE(QPointF(log->min(), log->max()), QPointF(1, 1000));
    QTRY_VERIFY(f.noted("Values at or below 0 not drawn: 2"));
    KvcPlotLayer *layer = layerOf(f.ul);
    QTRY_VERIFY(layer && layer->shownFrame().logY && layer->shownFrame().yMin == 1);
    // The read-out shows what is stored, drawn or not.
    f.send(QEvent::MouseMove, Qt::NoButton, QPointF(100.8, 10));
    QCOMPARE(f.readOut(), QString("u [1]  101, -1\nu [2]  101, 0\nu [3]  101, 5"));

    // A zoom on it goes by decades; back to linear, the rule's range again.
    QWheelEvent wheel(pointOf(f.ul, {50, 10}), QPointF(), QPoint(), QPoint(0, 120), Qt::NoButton,
        Qt::ControlModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(f.ul->viewport(), &wheel);
    QVERIFY(qFuzzyCompare(std::log10(log->max() / log->min()), 0.8 * 3));
    f.view->setLogarithmic(graphicOf(U), false);
    QVERIFY(axis(f.ul, Qt::Vertical));
    QTRY_COMPARE(yRange(f.ul), QPointF(-1, 300.5));
    QTRY_VERIFY(!f.noted("Values at or below 0 not drawn: 2"));
}
