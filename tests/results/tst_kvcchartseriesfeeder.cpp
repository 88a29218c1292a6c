#include "kvcchartseriesfeeder.h"

#include <QRandomGenerator>
#include <QtCharts/QLineSeries>
#include <QtTest>

#include <cmath>

QT_CHARTS_USE_NAMESPACE

namespace {

struct Samples {
    QVector<double> x;
    QVector<double> y;
};

// The column of x on a grid, with the two virtual columns outside the range.
int columnOf(double x, double xMin, double xMax, int columns)
{
    if (x < xMin)
        return -1;
    if (x > xMax)
        return columns;
    return qMin(columns - 1, int((x - xMin) * (columns / (xMax - xMin))));
}

Samples makeSamples(const QString &shape, int count)
{
    QRandomGenerator random(4711);
    Samples s;
    double y = 0.0;
    for (int i = 0; i < count; ++i) {
        double x = 100.0 * i / count;
        if (shape == "randomWalk") {
            y += random.bounded(2.0) - 1.0;
        } else if (shape == "spikes") {
            y = (i % 97 == 13) ? 1000.0 + i : ((i % 89 == 7) ? -1000.0 - i : 0.0);
        } else if (shape == "timeGoesBack") {
            x = 50.0 + 40.0 * std::sin(i * 0.01);
            y = random.bounded(10.0);
        } else if (shape == "outsideRange") {
            x = -20.0 + 140.0 * i / count;
            y = std::cos(i * 0.05) * i;
        } else if (shape == "constant") {
            y = 3.0;
        }
        s.x.append(x);
        s.y.append(y);
    }
    return s;
}

} // namespace

class TestKvcChartSeriesFeeder : public QObject
{
    Q_OBJECT

private slots:
    void keepsEverySampleExactlyUpToTheThreshold();
    void decimatedSeriesKeepsEveryColumnsExtremesAndBothEnds_data();
    void decimatedSeriesKeepsEveryColumnsExtremesAndBothEnds();
    void incrementalFeedingEqualsOneRebuild_data();
    void incrementalFeedingEqualsOneRebuild();
    void rebuildSpreadOverCallsKeepsThePreviousPicture();
    void gridWithoutWidthOrWithEnoughColumnsKeepsEverySample_data();
    void gridWithoutWidthOrWithEnoughColumnsKeepsEverySample();
    void neverReadsBeyondTheShorterSource();
};

void TestKvcChartSeriesFeeder::keepsEverySampleExactlyUpToTheThreshold()
{
    QLineSeries series;
    KvcChartSeriesFeeder feeder(&series);
    feeder.setGrid(0.0, 100.0, 10);
    const Samples s = makeSamples("randomWalk", 10 * KvcChartSeriesFeeder::ColumnFactor);

    QVERIFY(!feeder.sync(s.x, s.y, 0));
    for (int end : {1, 2, 17, s.x.size()})
        QVERIFY(feeder.sync(s.x, s.y, end));
    QVERIFY(!feeder.sync(s.x, s.y, s.x.size()));

    QVERIFY(!feeder.isDecimated());
    const QVector<QPointF> points = series.pointsVector();
    QCOMPARE(points.size(), s.x.size());
    for (int i = 0; i < points.size(); ++i)
        QCOMPARE(points.at(i), QPointF(s.x.at(i), s.y.at(i)));
}

void TestKvcChartSeriesFeeder::decimatedSeriesKeepsEveryColumnsExtremesAndBothEnds_data()
{
    QTest::addColumn<QString>("shape");
    QTest::addColumn<int>("count");
    QTest::addColumn<int>("columns");

    QTest::newRow("random walk, 200 samples per column") << "randomWalk" << 20000 << 100;
    QTest::newRow("isolated spikes up and down are all kept") << "spikes" << 50000 << 64;
    QTest::newRow("x going back and forth (runs, not columns)") << "timeGoesBack" << 20000 << 80;
    QTest::newRow("samples left and right of the visible range") << "outsideRange" << 30000 << 50;
    QTest::newRow("constant value: few points") << "constant" << 10000 << 40;
}

void TestKvcChartSeriesFeeder::decimatedSeriesKeepsEveryColumnsExtremesAndBothEnds()
{
    QFETCH(QString, shape);
    QFETCH(int, count);
    QFETCH(int, columns);
    const Samples s = makeSamples(shape, count);
    const double xMin = 0.0;
    const double xMax = 100.0;

    QLineSeries series;
    KvcChartSeriesFeeder feeder(&series);
    feeder.setGrid(xMin, xMax, columns);
    for (int end = 0; end < count; end += 1 + end / 3)
        feeder.sync(s.x, s.y, end);
    feeder.sync(s.x, s.y, count);
    QVERIFY(feeder.isDecimated());

    const QVector<QPointF> points = series.pointsVector();
    QCOMPARE(points, feeder.points());
    if (shape != "timeGoesBack")
        QVERIFY2(points.size() <= 4 * (columns + 2), qPrintable(QString::number(points.size())));

    // Every point is a stored sample, in sample order.
    int next = 0;
    for (const QPointF &p : points) {
        while (next < count && QPointF(s.x[next], s.y[next]) != p)
            ++next;
        QVERIFY2(next < count, "a point that is not a sample, or out of order");
        ++next;
    }
    QCOMPARE(points.first(), QPointF(s.x.first(), s.y.first()));
    QCOMPARE(points.last(), QPointF(s.x.last(), s.y.last()));

    // Every column's minimum and maximum are drawn.
    QHash<int, double> minOf, maxOf;
    for (int i = 0; i < count; ++i) {
        const int c = columnOf(s.x[i], xMin, xMax, columns);
        minOf[c] = minOf.contains(c) ? qMin(minOf[c], s.y[i]) : s.y[i];
        maxOf[c] = maxOf.contains(c) ? qMax(maxOf[c], s.y[i]) : s.y[i];
    }
    QHash<int, double> drawnMin, drawnMax;
    for (const QPointF &p : points) {
        const int c = columnOf(p.x(), xMin, xMax, columns);
        drawnMin[c] = drawnMin.contains(c) ? qMin(drawnMin[c], p.y()) : p.y();
        drawnMax[c] = drawnMax.contains(c) ? qMax(drawnMax[c], p.y()) : p.y();
    }
    QCOMPARE(drawnMin, minOf);
    QCOMPARE(drawnMax, maxOf);
}

void TestKvcChartSeriesFeeder::incrementalFeedingEqualsOneRebuild_data()
{
    QTest::addColumn<QString>("shape");
    QTest::addColumn<double>("firstXMax"); // the range until halfway, then [0, 100]
    QTest::newRow("random walk") << "randomWalk" << 100.0;
    QTest::newRow("spikes") << "spikes" << 100.0;
    QTest::newRow("x going back and forth") << "timeGoesBack" << 100.0;
    QTest::newRow("range grown halfway: rebuilt for the new columns") << "randomWalk" << 40.0;
}

void TestKvcChartSeriesFeeder::incrementalFeedingEqualsOneRebuild()
{
    QFETCH(QString, shape);
    QFETCH(double, firstXMax);
    const Samples s = makeSamples(shape, 12000);

    QLineSeries oneByOne;
    KvcChartSeriesFeeder incremental(&oneByOne);
    incremental.setGrid(0.0, firstXMax, 70);
    for (int end = 1; end <= s.x.size(); ++end) {
        if (end == s.x.size() / 2 && firstXMax != 100.0) {
            incremental.setGrid(0.0, 100.0, 70);
            QVERIFY(incremental.sync(s.x, s.y, end - 1));
        }
        incremental.sync(s.x, s.y, end);
    }

    QLineSeries atOnce;
    KvcChartSeriesFeeder whole(&atOnce);
    whole.setGrid(0.0, 100.0, 70);
    whole.sync(s.x, s.y, s.x.size());

    QCOMPARE(oneByOne.pointsVector(), atOnce.pointsVector());
}

void TestKvcChartSeriesFeeder::rebuildSpreadOverCallsKeepsThePreviousPicture()
{
    const Samples s = makeSamples("randomWalk", 10000);
    auto reference = [&](double xMax, int end) {
        QLineSeries series;
        KvcChartSeriesFeeder feeder(&series);
        feeder.setGrid(0.0, xMax, 50);
        feeder.sync(s.x, s.y, end);
        return series.pointsVector();
    };

    QLineSeries series;
    KvcChartSeriesFeeder feeder(&series);
    feeder.setRebuildBudget(1000);
    feeder.setGrid(0.0, 100.0, 50);
    int calls = 1;
    while (!feeder.sync(s.x, s.y, 9000)) {
        QVERIFY(feeder.isRebuilding());
        QCOMPARE(series.count(), 0);
        ++calls;
    }
    QCOMPARE(calls, 9);
    QVERIFY(!feeder.isRebuilding());
    QCOMPARE(series.pointsVector(), reference(100.0, 9000));

    // The range grows while samples keep coming: the old picture stays until
    // the new columns are complete, and then holds every sample so far.
    const QVector<QPointF> before = series.pointsVector();
    feeder.setGrid(0.0, 125.0, 50);
    calls = 1;
    for (int end = 9100; !feeder.sync(s.x, s.y, end); end = qMin(end + 100, 10000)) {
        QCOMPARE(series.pointsVector(), before);
        ++calls;
    }
    QVERIFY(calls > 1);
    QCOMPARE(series.pointsVector(), reference(125.0, feeder.endSample()));
    QVERIFY(feeder.sync(s.x, s.y, 10000) || feeder.endSample() == 10000);
    QCOMPARE(series.pointsVector(), reference(125.0, 10000));
}

void TestKvcChartSeriesFeeder::gridWithoutWidthOrWithEnoughColumnsKeepsEverySample_data()
{
    QTest::addColumn<double>("xMin");
    QTest::addColumn<double>("xMax");
    QTest::addColumn<int>("columns");
    QTest::newRow("empty range [0, 0]") << 0.0 << 0.0 << 100;
    QTest::newRow("reversed range") << 10.0 << 0.0 << 100;
    QTest::newRow("no columns") << 0.0 << 100.0 << 0;
    QTest::newRow("infinite range") << 0.0 << qInf() << 100;
    QTest::newRow("a quarter of the samples or more columns") << 0.0 << 100.0 << 250;
}

void TestKvcChartSeriesFeeder::gridWithoutWidthOrWithEnoughColumnsKeepsEverySample()
{
    QFETCH(double, xMin);
    QFETCH(double, xMax);
    QFETCH(int, columns);
    const Samples s = makeSamples("randomWalk", 1000);
    QLineSeries series;
    KvcChartSeriesFeeder feeder(&series);
    // Decimated first: the new grid must bring every sample back.
    feeder.setGrid(0.0, 100.0, 100);
    feeder.sync(s.x, s.y, 1000);
    QVERIFY(feeder.isDecimated());

    feeder.setGrid(xMin, xMax, columns);
    QVERIFY(feeder.sync(s.x, s.y, 1000));
    QVERIFY(!feeder.isDecimated());
    QCOMPARE(series.count(), 1000);
}

void TestKvcChartSeriesFeeder::neverReadsBeyondTheShorterSource()
{
    QLineSeries series;
    KvcChartSeriesFeeder feeder(&series);
    feeder.setGrid(0.0, 10.0, 10);
    const QVector<double> xs {1, 2, 3};
    const QVector<double> ys {5, 6};
    feeder.sync(xs, ys, 10);
    QCOMPARE(feeder.endSample(), 2);
    QCOMPARE(series.pointsVector(), (QVector<QPointF> {{1, 5}, {2, 6}}));
}

QTEST_MAIN(TestKvcChartSeriesFeeder)
#include "tst_kvcchartseriesfeeder.moc"
