// What a chart draws of a long history: the extremes of every pixel column,
// found through the index, laid out and drawn. Compared with a plain scan of
// the samples, column by column.
#include "kvcminmaxindex.h"
#include "kvcplotcolumns.h"
#include "kvcplotrenderer.h"

#include <QRandomGenerator>
#include <QtTest>

#include <cmath>

namespace {

using Extent = KvcMinMaxIndex::Extent;

Extent scan(const QVector<double> &values, int from, int to)
{
    Extent extent;
    for (int i = from; i < to; ++i)
        extent.add(values.at(i));
    return extent;
}

QString text(const Extent &e)
{
    return QStringLiteral("[%1, %2] min+ %3, %4 not positive")
        .arg(e.min)
        .arg(e.max)
        .arg(e.minPositive)
        .arg(e.notPositive);
}

// Histories of the shapes charts meet: x in steps of 1 unless said.
struct History {
    QVector<double> xs;
    QVector<double> ys;
};

History history(const QString &shape, int n)
{
    QRandomGenerator random(n);
    History h;
    for (int i = 0; i < n; ++i) {
        double x = i;
        double y = 0.0;
        if (shape == "noise")
            y = random.generateDouble() * 2 - 1;
        else if (shape == "steps")
            y = (i / (n / 7 + 1)) % 2 ? 10.0 : -3.0;
        else if (shape == "spikes")
            y = i % 997 == 500 ? 1e6 : (i % 1499 == 3 ? -1e6 : 1.0);
        else if (shape == "smooth")
            y = std::sin(i * 0.001);
        else if (shape == "repeated times") // several samples before the next time
            x = i / 10;
        else if (shape == "time goes back")
            x = i % 1000 == 999 ? i - 5000 : i;
        else if (shape == "not a number")
            y = i % 13 == 0 ? std::nan("") : i % 7;
        if (shape == "repeated times" || shape == "time goes back")
            y = random.bounded(100);
        h.xs << x;
        h.ys << y;
    }
    return h;
}

// Columns as text, so that a comparison shows where they differ.
QStringList describe(const QVector<KvcPlotColumns::Column> &columns,
    const KvcPlotColumns::Point &before, const KvcPlotColumns::Point &after)
{
    QStringList lines {
        QStringLiteral("before %1 %2 %3").arg(before.valid).arg(before.x).arg(before.y),
        QStringLiteral("after %1 %2 %3").arg(after.valid).arg(after.x).arg(after.y)};
    for (int c = 0; c < columns.size(); ++c) {
        const KvcPlotColumns::Column &column = columns[c];
        if (column.count > 0)
            lines << QStringLiteral("%1: %2 from %3,%4 to %5,%6 %7")
                         .arg(c)
                         .arg(column.count)
                         .arg(column.firstX)
                         .arg(column.first)
                         .arg(column.lastX)
                         .arg(column.last)
                         .arg(text(column.extent));
    }
    return lines;
}

// The columns of a plain scan: every sample folded into its column.
QStringList scanColumns(const History &h, const KvcPlotColumns &grid)
{
    QVector<KvcPlotColumns::Column> columns(grid.columnCount());
    KvcPlotColumns::Point before, after;
    for (int i = 0; i < h.xs.size(); ++i) {
        const int c = grid.columnOf(h.xs[i]);
        if (c < 0) {
            before = {true, h.xs[i], h.ys[i]};
        } else if (c >= columns.size()) {
            if (!after.valid)
                after = {true, h.xs[i], h.ys[i]};
        } else {
            KvcPlotColumns::Column &column = columns[c];
            if (column.count++ == 0) {
                column.firstX = h.xs[i];
                column.first = h.ys[i];
            }
            column.lastX = h.xs[i];
            column.last = h.ys[i];
            column.extent.add(h.ys[i]);
        }
    }
    return describe(columns, before, after);
}

QStringList laidOut(const KvcPlotColumns &grid)
{
    return describe(grid.columns(), grid.before(), grid.after());
}

} // namespace

class TestKvcPlotColumns : public QObject
{
    Q_OBJECT

private slots:
    void extentsAreThoseOfAScan_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {0, 1, 63, 64, 65, 4095, 4096, 4097, 300000})
            QTest::addRow("%d values", size) << size;
    }

    void extentsAreThoseOfAScan()
    {
        QFETCH(int, size);
        QRandomGenerator random(size);
        QVector<double> values;
        KvcMinMaxIndex index;
        // Synced in uneven parts, as samples arrive in batches.
        while (values.size() < size) {
            const int batch = qMin(size - values.size(), 1 + int(random.bounded(700)));
            for (int i = 0; i < batch; ++i)
                values << (i % 101 == 0 ? std::nan("") : random.generateDouble() * 200 - 100);
            index.sync(values, values.size());
        }
        QCOMPARE(index.size(), size);
        QVector<QPair<int, int>> ranges {{0, size}, {0, 64}, {64, 4096}, {63, 4097}, {1, size - 1}};
        for (int k = 0; k < 200; ++k) {
            const int from = int(random.bounded(size + 1));
            ranges << qMakePair(from, from + int(random.bounded(size - from + 1)));
        }
        for (const auto &range : qAsConst(ranges)) {
            const int from = qBound(0, range.first, size);
            const int to = qBound(from, range.second, size);
            QCOMPARE(text(index.extent(values, from, to)), text(scan(values, from, to)));
        }
    }

    void columnsAreThoseOfAScan_data()
    {
        QTest::addColumn<QString>("shape");
        QTest::addColumn<double>("xMin");
        QTest::addColumn<double>("xMax");
        QTest::addColumn<int>("columns");
        QTest::addColumn<int>("batch"); // samples per sync; 0: the grid set afterwards
        for (const char *shape : {"noise", "steps", "spikes", "smooth", "repeated times",
                 "time goes back", "not a number"}) {
            QTest::addRow("%s, one by one", shape) << shape << 0.0 << 60000.0 << 777 << 1;
            QTest::addRow("%s, in batches", shape) << shape << 0.0 << 60000.0 << 777 << 977;
            QTest::addRow("%s, laid out afresh", shape) << shape << 0.0 << 60000.0 << 777 << 0;
            QTest::addRow("%s, zoomed in", shape) << shape << 20000.0 << 20500.0 << 800 << 0;
        }
        QTest::newRow("no columns") << "noise" << 0.0 << 1.0 << 0 << 0;
        QTest::newRow("an empty range") << "noise" << 5.0 << 5.0 << 100 << 10;
    }

    void columnsAreThoseOfAScan()
    {
        QFETCH(QString, shape);
        QFETCH(double, xMin);
        QFETCH(double, xMax);
        QFETCH(int, columns);
        QFETCH(int, batch);
        const History h = history(shape, 50000);
        KvcPlotColumns grid;
        if (batch > 0)
            grid.setGrid(xMin, xMax, columns);
        for (int end = 0; end < h.xs.size();) {
            end = qMin(h.xs.size(), end + (batch > 0 ? batch : h.xs.size()));
            grid.sync(h.xs, h.ys, end);
        }
        if (batch == 0) {
            // A grid that changes after the samples: laid out from the index.
            grid.setGrid(xMin, xMax, columns);
            QVERIFY(grid.sync(h.xs, h.ys, h.xs.size()));
        }
        QCOMPARE(laidOut(grid), scanColumns(h, grid));
    }

    // Each pixel column of the picture shows its samples' extremes: the
    // pixels at the highest and the lowest value of the column are painted,
    // at that column or its neighbour.
    void pictureShowsEveryColumnsExtremes_data()
    {
        QTest::addColumn<QString>("shape");
        QTest::addColumn<qreal>("ratio");
        QTest::addColumn<int>("samples");
        QTest::addColumn<int>("style");
        for (const char *shape : {"noise", "steps", "spikes", "smooth"}) {
            for (const qreal ratio : {1.0, 2.0}) {
                QTest::addRow("%s, %g px per px, dense", shape, ratio)
                    << shape << ratio << 50000 << int(Qt::SolidLine);
                QTest::addRow("%s, %g px per px, sparse", shape, ratio)
                    << shape << ratio << 300 << int(Qt::SolidLine);
            }
            // The series after the twelfth colour.
            QTest::addRow("%s, dashed", shape) << shape << 1.0 << 50000 << int(Qt::DashLine);
            QTest::addRow("%s, dotted, sparse", shape) << shape << 1.0 << 300 << int(Qt::DotLine);
        }
    }

    void pictureShowsEveryColumnsExtremes()
    {
        QFETCH(QString, shape);
        QFETCH(qreal, ratio);
        QFETCH(int, samples);
        QFETCH(int, style);
        const History h = history(shape, samples);
        KvcPlotRenderer::Frame frame;
        frame.devicePixelRatio = ratio;
        frame.pixels = QSize(400, 250) * ratio;
        frame.xMax = samples;
        frame.yMin = shape == "spikes" ? -1.2e6 : -15;
        frame.yMax = shape == "spikes" ? 1.2e6 : 15;
        KvcPlotColumns grid;
        grid.setGrid(frame.xMin, frame.xMax, frame.pixels.width());
        grid.sync(h.xs, h.ys, samples);
        KvcPlotRenderer::Series series;
        series.color = Qt::red;
        series.style = Qt::PenStyle(style);
        series.columns = grid.columns();
        frame.series << series;
        const QImage image = KvcPlotRenderer::render(frame);
        QCOMPARE(image.size(), frame.pixels);

        const auto painted = [&](int c, double value) {
            const int row
                = qBound(0, int((frame.yMax - value) / (frame.yMax - frame.yMin) * image.height()),
                    image.height() - 1);
            for (int dc = -1; dc <= 1; ++dc)
                for (int dr = -1; dr <= 1; ++dr)
                    if (image.rect().contains(c + dc, row + dr)
                        && qAlpha(image.pixel(c + dc, row + dr)) > 0)
                        return true;
            return false;
        };
        int checked = 0;
        for (int c = 0; c < grid.columnCount(); ++c) {
            const KvcPlotColumns::Column &column = grid.columns().at(c);
            if (column.count == 0)
                continue;
            const int at = column.count == 1
                ? int((column.firstX - frame.xMin) / (frame.xMax - frame.xMin) * image.width())
                : c;
            QVERIFY2(painted(at, column.extent.max), qPrintable(QString("column %1 max").arg(c)));
            QVERIFY2(painted(at, column.extent.min), qPrintable(QString("column %1 min").arg(c)));
            ++checked;
        }
        QVERIFY(checked > 0);
        // Nothing above the highest value, nor below the lowest.
        const Extent all = scan(h.ys, 0, samples);
        const int top = int((frame.yMax - all.max) / (frame.yMax - frame.yMin) * image.height());
        const int bottom = int((frame.yMax - all.min) / (frame.yMax - frame.yMin) * image.height());
        const int pen = qCeil(frame.penWidth * ratio) + 1;
        for (int r = 0; r < image.height(); ++r) {
            if (r >= top - pen && r <= bottom + pen)
                continue;
            for (int c = 0; c < image.width(); ++c)
                QVERIFY2(qAlpha(image.pixel(c, r)) == 0,
                    qPrintable(QString("pixel %1,%2").arg(c).arg(r)));
        }
    }
};

QTEST_MAIN(TestKvcPlotColumns)
#include "tst_kvcplotcolumns.moc"
