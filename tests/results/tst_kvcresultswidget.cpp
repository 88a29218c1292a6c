#include "kvcresultswidget.h"

#include "kvcactionmanager.h"
#include "kvcresultsdata.h"

#include <kvcommclientdata.h>

#include <QAction>
#include <QLabel>
#include <QMimeData>
#include <QTextBlock>
#include <QTextEdit>
#include <QtCharts/QChartView>
#include <QtCharts/QLegend>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>
#include <QtTest>

QT_CHARTS_USE_NAMESPACE

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
    explicit Fixture(bool withIndexedValue = false,
        KvcActionManager::ExecutionStatus status = KvcActionManager::Running)
    {
        data->setSimulationData(store);
        QVector<KvCommClientTrackedRuleInfo> rules(withIndexedValue ? 2 : 1);
        QVector<KvCommClientTrackedRuleDataInfo> infos;
        auto add = [&](int rule, const char *name, int rows = 1, int indexedBy = 0) {
            KvCommClientTrackedRuleDataInfo info;
            info.id = infos.size();
            info.ruleId = rule;
            info.name = QString::fromLatin1(name);
            info.numRows = rows;
            info.indexedBy = indexedBy;
            infos.append(info);
            ++rules[rule].numTrackedData;
        };
        rules[0].id = 0;
        rules[0].name = "R";
        add(0, "P");
        add(0, "time");
        add(0, "fem.iteration");
        add(0, "fem.error");
        add(0, "u", 3);
        if (withIndexedValue) {
            rules[1].id = 1;
            rules[1].name = "S";
            rules[1].firstTrackedData = infos.size();
            rules[1].indexTypes = 1;
            add(1, "q", 1, 1);
        }
        view.reset(new KvcResultsWidget(&manager, status, data));
        QString error;
        ruleDataOk = store->setRuleData(rules, infos, &error);
        if (!ruleDataOk)
            qWarning() << error;
    }

    bool feed(double time, qint64 elapsedMs, QList<KvCommClientTrackedData> samples = {})
    {
        samples.prepend(KvCommClientTrackedData(Time, {time}));
        QString error;
        const bool ok = store->addTrackedData(samples, elapsedMs, &error);
        if (!ok)
            qWarning() << error;
        return ok;
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

} // namespace

Q_DECLARE_METATYPE(QList<double>)

class TestKvcResultsWidget : public QObject
{
    Q_OBJECT

private slots:
    void formShowsTheStatusAndTheSpecialGraphics();
    void ruleGraphicRanges_data();
    void ruleGraphicRanges();
    void executionTimeChartGrowsAtTheMargin();
    void iterationChartDrawsOnlyLaterSamples();
    void largeChartPrefersAnIndexedValue();
    void dropSpecialGraphicZeroDrawsTheWholeHistoryAndFollowsIt();
    void dropRuleGraphicBeforeItsFirstSample();
    void dropPayloads_data();
    void dropPayloads();
    void longHistoryKeepsEveryExtremeOnScreen();
    void noisyHistoryIsDrawnCoarserWithItsExtremes_data();
    void noisyHistoryIsDrawnCoarserWithItsExtremes();
    void simulationTime_data();
    void simulationTime();
    void finishedViewShowsItsConstructionTime();
    void logColours();
    void stopsFollowingTheManagerOneSecondAfterTheEnd();
    void nullResultDataShowsEmptySpecialCharts();
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
    QCOMPARE(f.view->findChild<QTextEdit *>("logTed")->lineWrapMode(), QTextEdit::NoWrap);
    QVERIFY(!f.view->active()); // the manager runs nothing
    QCOMPARE(f.view->resultData(), f.data);
}

void TestKvcResultsWidget::ruleGraphicRanges_data()
{
    QTest::addColumn<QList<double>>("times");
    QTest::addColumn<QList<double>>("values");
    QTest::addColumn<QPointF>("expectedX");
    QTest::addColumn<QPointF>("expectedY");

    QTest::newRow("first sample at 80 gives [0, 100]")
        << QList<double> {80} << QList<double> {1} << QPointF(0, 100) << QPointF(1, 1);
    QTest::newRow("94 is outside the 5 % margin of 100: unchanged")
        << QList<double> {80, 94} << QList<double> {1, 2} << QPointF(0, 100) << QPointF(1, 2);
    QTest::newRow("95 is inside it: [0, 118.75]")
        << QList<double> {80, 95} << QList<double> {1, 2} << QPointF(0, 118.75) << QPointF(1, 2);
    QTest::newRow("constant 3 gives y range [3, 3]")
        << QList<double> {1, 2, 3} << QList<double> {3, 3, 3} << QPointF(0, 3.75) << QPointF(3, 3);
    QTest::newRow("y range is the exact minimum and maximum so far") << QList<double> {
        1, 2, 3, 4} << QList<double> {5, -2, 7, 0} << QPointF(0, 5) << QPointF(-2, 7);
}

void TestKvcResultsWidget::ruleGraphicRanges()
{
    QFETCH(QList<double>, times);
    QFETCH(QList<double>, values);
    QFETCH(QPointF, expectedX);
    QFETCH(QPointF, expectedY);

    Fixture f;
    QChartView *ul = f.chartView("ulChart");
    for (int i = 0; i < times.size(); ++i)
        QVERIFY(f.feed(times[i], 1000 * i, {KvCommClientTrackedData(P, {values[i]})}));

    // Ranges reach the axes in the same frame as the points.
    QTRY_COMPARE(pointCount(ul), times.size());
    QCOMPARE(series(ul)->name(), QStringLiteral("P"));
    QCOMPARE(series(ul)->at(times.size() - 1), QPointF(times.last(), values.last()));
    QCOMPARE(xRange(ul), expectedX);
    QCOMPARE(yRange(ul), expectedY);
}

void TestKvcResultsWidget::executionTimeChartGrowsAtTheMargin()
{
    Fixture f;
    QChartView *ur = f.chartView("urChart");
    QVERIFY(f.feed(0.5, 2000));
    QTRY_COMPARE(pointCount(ur), 1);
    QCOMPARE(series(ur)->at(0), QPointF(0.5, 2.0));
    QCOMPARE(xRange(ur), QPointF(0, 0.625));
    QCOMPARE(yRange(ur), QPointF(0, 2.5));

    QVERIFY(f.feed(0.55, 2200)); // below 95 % of both ends
    QTRY_COMPARE(pointCount(ur), 2);
    QCOMPARE(xRange(ur), QPointF(0, 0.625));
    QCOMPARE(yRange(ur), QPointF(0, 2.5));

    QVERIFY(f.feed(0.6, 2400)); // inside the margin of both
    QTRY_COMPARE(pointCount(ur), 3);
    QCOMPARE(xRange(ur), QPointF(0, 0.75));
    QCOMPARE(yRange(ur), QPointF(0, 3.0));
}

void TestKvcResultsWidget::iterationChartDrawsOnlyLaterSamples()
{
    Fixture f;
    QChartView *mr = f.chartView("mrChart");
    QVERIFY(f.feed(1, 100, {KvCommClientTrackedData(Iteration, {4})}));
    QVERIFY(f.feed(2, 200, {KvCommClientTrackedData(Iteration, {9})}));
    QTRY_COMPARE(pointCount(mr), 2);
    QCOMPARE(series(mr)->pointsVector(), (QVector<QPointF> {{1, 4}, {2, 9}}));
    QCOMPARE(yRange(mr), QPointF(4, 9));

    // Dropped again on another chart, it starts empty despite the history.
    QChartView *lr = f.chartView("lrChart");
    QVERIFY(drop(lr->viewport(), QByteArray::number(1)));
    QCOMPARE(lr->chart()->title(), QStringLiteral("Number of iterations"));
    QVERIFY(f.feed(3, 300, {KvCommClientTrackedData(Iteration, {2})}));
    QTRY_COMPARE(pointCount(mr), 3);
    QTRY_COMPARE(pointCount(lr), 1);
    QCOMPARE(series(lr)->at(0), QPointF(3, 2));
    QCOMPARE(yRange(lr), QPointF(2, 9));
}

void TestKvcResultsWidget::largeChartPrefersAnIndexedValue()
{
    Fixture f(true);
    QVERIFY(f.ruleDataOk);
    QChartView *ul = f.chartView("ulChart");
    QCOMPARE(ul->chart()->title(), QStringLiteral("S (q)"));
    QCOMPARE(ul->chart()->series().size(), 0);

    // Its series are named at the first sample, from the index lines.
    QVERIFY(f.store->addTrackedIndexData(
        1, KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"A", "B"}), 0));
    QVERIFY(f.feed(1, 10, {KvCommClientTrackedData(Q, {1, 2})}));
    QTRY_COMPARE(pointCount(ul, 1), 1);
    QCOMPARE(series(ul, 0)->name(), QStringLiteral("A"));
    QCOMPARE(series(ul, 1)->name(), QStringLiteral("B"));
    QCOMPARE(yRange(ul), QPointF(1, 2));
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
    QCOMPARE(ul->chart()->title(), QStringLiteral("Execution x Simulation time"));
    QCOMPARE(axis(ul, Qt::Vertical)->titleText(), QStringLiteral("Execution time (s)"));
    QVERIFY(!ul->chart()->legend()->isVisible());
    QTRY_COMPARE(pointCount(ul), 5);
    QCOMPARE(series(ul)->at(4), QPointF(5, 5));

    QVERIFY(f.feed(6, 6000));
    QTRY_COMPARE(pointCount(ul), 6);
    QTRY_COMPARE(pointCount(ur), 6);
    QCOMPARE(series(ul)->pointsVector(), series(ur)->pointsVector());

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
    QCOMPARE(axis(mr, Qt::Horizontal)->titleText(), QStringLiteral("Time (s)"));
    QCOMPARE(axis(mr, Qt::Vertical)->titleText(), QStringLiteral("u"));
    QCOMPARE(mr->chart()->series().size(), 0);

    QVERIFY(f.feed(2, 10, {KvCommClientTrackedData(U, {1, -4, 6})}));
    QTRY_COMPARE(pointCount(mr, 2), 1);
    QCOMPARE(mr->chart()->series().size(), 3);
    QCOMPARE(series(mr, 0)->name(), QStringLiteral("u [1]"));
    QCOMPARE(series(mr, 2)->name(), QStringLiteral("u [3]"));
    QCOMPARE(series(mr, 1)->at(0), QPointF(2, -4));
    QCOMPARE(xRange(mr), QPointF(0, 2.5));
    QCOMPARE(yRange(mr), QPointF(-4, 6));

    QVERIFY(f.feed(3, 20, {KvCommClientTrackedData(U, {0, 8, 1})}));
    QTRY_COMPARE(pointCount(mr, 2), 2);
    QCOMPARE(series(mr, 1)->at(1), QPointF(3, 8));
    QCOMPARE(xRange(mr), QPointF(0, 3.75));
    QCOMPARE(yRange(mr), QPointF(-4, 8));
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

void TestKvcResultsWidget::longHistoryKeepsEveryExtremeOnScreen()
{
    Fixture f;
    f.view->resize(961, 746);
    f.view->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.view.data()));
    QChartView *ul = f.chartView("ulChart");
    QChartView *ur = f.chartView("urChart");

    const int samples = 20000;
    QList<KvCommClientTrackedData> batch;
    for (int i = 1; i <= samples; ++i) {
        const double value = (i % 1000 == 500) ? 1e6 + i : ((i % 777 == 0) ? -1e6 - i : i % 13);
        QVERIFY(f.feed(0.01 * i, i, {KvCommClientTrackedData(P, {value})}));
    }
    const KvcResultsData::TrackedData &h = f.data->simTrackedData(P);
    QCOMPARE(h.time.size(), samples);

    auto lastPointArrived = [&](QChartView *view) {
        QLineSeries *s = series(view);
        return s && s->count() > 0 && s->at(s->count() - 1).x() == h.time.last();
    };
    QTRY_VERIFY(lastPointArrived(ul));
    QTRY_VERIFY(lastPointArrived(ur));
    // New axis labels may narrow the plot; the next frame fits the series to it.
    auto fitsThePlot = [&] {
        const int columns = qRound(ul->chart()->plotArea().width());
        return series(ul)->count() <= 4 * (columns + 2);
    };
    QTRY_VERIFY(fitsThePlot());
    const QVector<QPointF> points = series(ul)->pointsVector();
    QVERIFY2(points.size() < samples, qPrintable(QString::number(points.size())));
    QCOMPARE(points.first(), QPointF(h.time.first(), h.data[0].first()));

    double low = points.first().y();
    double high = low;
    int spikes = 0;
    for (const QPointF &p : points) {
        low = qMin(low, p.y());
        high = qMax(high, p.y());
        spikes += qAbs(p.y()) > 1e5;
    }
    QCOMPARE(low, h.min);
    QCOMPARE(high, h.max);
    // Every isolated spike is its column's extreme: all are drawn.
    QCOMPARE(spikes, samples / 1000 + samples / 777);
    QCOMPARE(yRange(ul), QPointF(h.min, h.max));
    QCOMPARE(xRange(ul).y(), xRange(ur).y());
}

void TestKvcResultsWidget::noisyHistoryIsDrawnCoarserWithItsExtremes_data()
{
    QTest::addColumn<bool>("noisy");
    QTest::newRow("a smooth ramp keeps a column per pixel") << false;
    // Each column of a band is a stroke as high as the plot: drawn at every
    // pixel it would cost a repaint of hundreds of milliseconds.
    QTest::newRow("a band of noise gets wider columns") << true;
}

void TestKvcResultsWidget::noisyHistoryIsDrawnCoarserWithItsExtremes()
{
    QFETCH(bool, noisy);
    Fixture f;
    f.view->resize(961, 746);
    f.view->show();
    QVERIFY(QTest::qWaitForWindowExposed(f.view.data()));
    QChartView *ul = f.chartView("ulChart");

    const int samples = 20000;
    for (int i = 1; i <= samples; ++i) {
        const double value = noisy ? ((i * 7919) % 101) / 100.0 : double(i);
        QVERIFY(f.feed(0.01 * i, i, {KvCommClientTrackedData(P, {value})}));
    }
    const KvcResultsData::TrackedData &h = f.data->simTrackedData(P);
    auto settled = [&] {
        QLineSeries *s = series(ul);
        if (!s || s->count() == 0 || s->at(s->count() - 1).x() != h.time.last())
            return false;
        const int columns = qRound(ul->chart()->plotArea().width());
        return noisy ? s->count() < columns : s->count() >= columns;
    };
    QTRY_VERIFY(settled());
    const QVector<QPointF> points = series(ul)->pointsVector();
    QVERIFY2(points.size() < samples, qPrintable(QString::number(points.size())));
    double low = points.first().y();
    double high = low;
    for (const QPointF &p : points) {
        low = qMin(low, p.y());
        high = qMax(high, p.y());
    }
    QCOMPARE(low, h.min);
    QCOMPARE(high, h.max);
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

void TestKvcResultsWidget::logColours()
{
    Fixture f;
    auto log = f.view->findChild<QTextEdit *>("logTed");
    emit f.manager.logDataReceived(4, "error\n");
    emit f.manager.logDataReceived(-1, "raw\n");
    emit f.manager.logDataReceived(6, "done\n");
    QTRY_COMPARE(log->toPlainText(), QStringLiteral("error\nraw\ndone\n"));

    const QString red = QColor(Qt::red).name();
    const QString green = QColor(Qt::darkGreen).name();
    QStringList fragments;
    for (QTextBlock block = log->document()->begin(); block.isValid(); block = block.next()) {
        if (!block.text().isEmpty())
            fragments << block.begin().fragment().charFormat().foreground().color().name();
    }
    QCOMPARE(fragments, (QStringList {red, red, green}));
    QCOMPARE(log->font().family(), QStringLiteral("Courier New"));
    QVERIFY(log->isReadOnly());
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
    emit f.manager.logDataReceived(0, "last words\n");
    QCOMPARE(Receivers::of(&f.manager, logSignal), 1);
    auto log = f.view->findChild<QTextEdit *>("logTed");
    QTRY_COMPARE(log->toPlainText(), QStringLiteral("last words\n"));

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
