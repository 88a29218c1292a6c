// What drawing one chart of 24 series costs, two ways, side by side: an
// 800 x 500 plot, 100 000 samples per series.
// - Qt Charts: 24 QLineSeries with the 3 px antialiased pen, each holding
//   3 200 points (the first, lowest, highest and last sample of each of 800
//   columns, as a decimating chart would hand them over); one update is a
//   replace() of every series and a repaint of the view;
// - the results view's way: each series summed up in pixel columns
//   (KvcPlotColumns) and painted into an image (KvcPlotRenderer), as a chart's
//   worker thread does; one update is one render().
// Data: smooth (phase-shifted sines), noise (uniform, nearly full height),
// steps (a step halfway and a spike every 997 samples).
//
// Usage: bench_chartdrawing [updates per measurement]   (default 10)

#include "kvcplotcolumns.h"
#include "kvcplotrenderer.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QtCharts/QChartView>
#include <QtCharts/QLineSeries>
#include <QtCharts/QValueAxis>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

QT_CHARTS_USE_NAMESPACE

namespace {

constexpr int width = 800;
constexpr int height = 500;
constexpr int samples = 100000;
constexpr int seriesCount = 24;

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0.0 : v[v.size() / 2];
}

QVector<double> values(int kind, int s, QRandomGenerator &random)
{
    QVector<double> ys(samples);
    for (int i = 0; i < samples; ++i) {
        const double t = double(i) / samples;
        if (kind == 0)
            ys[i] = 20 * std::sin(6.28 * (t * 3 + s / 24.0));
        else if (kind == 1)
            ys[i] = (random.generateDouble() - 0.5) * 55;
        else
            ys[i] = (i > samples / 2 ? 10 : -10) + s + (i % 997 == 0 ? 15 : 0);
    }
    return ys;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    const int updates = argc > 1 ? std::max(1, atoi(argv[1])) : 10;

    QVector<double> xs(samples);
    for (int i = 0; i < samples; ++i)
        xs[i] = i;

    std::printf("24 series, %d samples each, %d x %d plot; median ms per update of %d\n", samples,
        width, height, updates);
    std::printf(
        "%-8s | %12s %12s %12s | %12s\n", "data", "Qt Charts", "replace()", "repaint", "render()");
    const char *kinds[] = {"smooth", "noise", "steps"};
    for (int kind = 0; kind < 3; ++kind) {
        QRandomGenerator random(7);
        QVector<KvcPlotColumns> columns(seriesCount);
        QVector<QVector<double>> ys;
        for (int s = 0; s < seriesCount; ++s) {
            ys << values(kind, s, random);
            columns[s].setGrid(0, samples, width);
            columns[s].sync(xs, ys[s], samples);
        }

        // Qt Charts, fed every column's first, extremes and last.
        QChart *chart = new QChart;
        QChartView view(chart);
        view.setRenderHint(QPainter::Antialiasing);
        view.resize(width + 150, height + 150);
        auto *x = new QValueAxis;
        auto *y = new QValueAxis;
        chart->addAxis(x, Qt::AlignBottom);
        chart->addAxis(y, Qt::AlignLeft);
        x->setRange(0, samples);
        y->setRange(-30, 40);
        QVector<QLineSeries *> lines;
        QVector<QVector<QPointF>> points(seriesCount);
        for (int s = 0; s < seriesCount; ++s) {
            auto *series = new QLineSeries;
            chart->addSeries(series);
            series->attachAxis(x);
            series->attachAxis(y);
            series->setPen(QPen(QColor::fromHsv(s * 15, 255, 200), 3));
            lines << series;
            for (const KvcPlotColumns::Column &c : columns[s].columns()) {
                points[s] << QPointF(c.firstX, c.first) << QPointF(c.firstX, c.extent.min)
                          << QPointF(c.lastX, c.extent.max) << QPointF(c.lastX, c.last);
            }
        }
        view.show();
        app.processEvents();
        std::vector<double> qtTotal, qtReplace, qtPaint;
        for (int k = 0; k < updates; ++k) {
            QElapsedTimer t;
            t.start();
            for (int s = 0; s < seriesCount; ++s)
                lines[s]->replace(points[s]);
            app.processEvents();
            const double replaced = t.nsecsElapsed() / 1e6;
            view.viewport()->repaint();
            const double total = t.nsecsElapsed() / 1e6;
            qtReplace.push_back(replaced);
            qtPaint.push_back(total - replaced);
            qtTotal.push_back(total);
        }

        KvcPlotRenderer::Frame frame;
        frame.pixels = QSize(width, height);
        frame.xMax = samples;
        frame.yMin = -30;
        frame.yMax = 40;
        for (int s = 0; s < seriesCount; ++s) {
            KvcPlotRenderer::Series series;
            series.color = QColor::fromHsv(s * 15, 255, 200);
            series.columns = columns[s].columns();
            frame.series << series;
        }
        std::vector<double> rendered;
        for (int k = 0; k < updates; ++k) {
            QElapsedTimer t;
            t.start();
            const QImage image = KvcPlotRenderer::render(frame);
            rendered.push_back(t.nsecsElapsed() / 1e6);
        }
        std::printf("%-8s | %12.1f %12.1f %12.1f | %12.1f\n", kinds[kind], median(qtTotal),
            median(qtReplace), median(qtPaint), median(rendered));
        std::fflush(stdout);
    }
    return 0;
}
