// Frame time of the results view with long histories while samples stream in.
//
// A shown KvcResultsWidget (offscreen) follows a results model fed through the
// data store: the four charts show the execution time, the iteration count,
// the iteration error and a rule value, so all four grow with every time step.
// For each history length (time steps already stored when the level starts)
// the program streams samples at a fixed rate for a few seconds and reports:
// - frame time: the GUI time of one frame, i.e. the view's frame (axes and
//   series brought up to date) plus everything the event loop does until the
//   next frame (scene updates, painting); feeding the samples is not included;
// - flush: the view's frame alone;
// - latency: from a sample's arrival at the store to its being in the picture
//   every chart shows;
// - the update rate of each chart: pictures shown per second (a chart whose
//   picture is costly to draw shows fewer, never coarser ones);
// - fidelity, once the stream has stopped and every chart shows its last
//   picture: the share of (series, pixel column) pairs whose drawn pixels
//   reach both the stored minimum and the stored maximum of the samples in
//   that column (each series is drawn alone from what its chart shows, and
//   its pixels are read back; one pixel of tolerance);
// - feed: the cost per time step of storing and announcing its samples (store,
//   results model, view bookkeeping), next to the plain-vector floor: appending
//   the same doubles to QVectors.
//
// Halfway through each level the window is resized, so that every chart
// rebuilds its columns from the whole history once (what an x axis that grows
// at its 5 % margin causes, too); the worst frame includes that.
//
// Values: the rule value and the error follow a slow oscillation with a little
// noise, the iteration count a sawtooth; with --noise the rule value and the
// error are uniform noise, so that every pixel column of their charts spans the
// whole plot height (the most expensive picture to paint, at any history).
//
// With --log N, N log lines a second arrive besides (level 6, every
// hundredth 4); writing them into the log counts towards the frame.
//
// With --series N, the rule value has N components: N series in the large
// chart, the three special charts beside it; the 50,000 samples a second
// are shared among all values of a time step.
//
// With --hover, the mouse moves over the large chart all along (a move every
// 5 ms, sweeping the plot), so that its read-out of the nearest samples is
// looked up and shown; that counts towards the frame.
//
// Usage: bench_resultswidget [--noise] [--log lines/s] [--series N] [--hover]
//                            [seconds per level] [history lengths...]
//        (default: 3 s, 10000 100000 1000000)

#include "kvcresultswidget.h"

#include "kvcactionmanager.h"
#include "kvcplotlayer.h"
#include "kvcplotrenderer.h"
#include "kvcresultsdata.h"

#include <kvcommclientdata.h>

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QMap>
#include <QMouseEvent>
#include <QRandomGenerator>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QXYSeries>
#include <QtTest/QTest>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <deque>
#include <functional>
#include <limits>
#include <vector>

QT_CHARTS_USE_NAMESPACE

namespace {

constexpr double samplesPerSecond = 50000.0;
enum Track { P = 0, Time, Iteration, Error };
// time, fem.iteration, fem.error and the components of P
int seriesCount = 1;
int valuesPerStep() { return 3 + seriesCount; }
double stepsPerSecond() { return samplesPerSecond / valuesPerStep(); }

QElapsedTimer clock_;

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0.0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * (v.size() - 1) + 0.5))];
}

// Times what the event loop does: the view's frame timer starts a frame, and
// everything but the feeding timer counts towards the current frame.
class BenchApp : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (breakdown && measuring && event->type() == QEvent::Paint && receiver->parent()
            && receiver->parent()->inherits("QtCharts::QChartView")) {
            const qint64 start = clock_.nsecsElapsed();
            const bool result = plainNotify(receiver, event);
            const QString key = QLatin1String("paint ") + receiver->parent()->objectName();
            byKind[key] += (clock_.nsecsElapsed() - start) / 1e6;
            paints[key] += 1;
            return result;
        }
        if (depth > 0 || !measuring)
            return plainNotify(receiver, event);
        const bool frameStart = receiver == frameTimer && event->type() == QEvent::Timer;
        if (frameStart)
            closeFrame();
        const qint64 start = clock_.nsecsElapsed();
        const bool result = plainNotify(receiver, event);
        const double ms = (clock_.nsecsElapsed() - start) / 1e6;
        if (receiver == feedTimer) {
            feedMs += ms;
        } else if (frameStart) {
            frameOpen = true;
            currentFrame += ms;
            flushes.push_back(ms);
            if (afterFlush)
                afterFlush();
        } else if (frameOpen) {
            currentFrame += ms;
            if (breakdown) {
                const QString key = QString::fromLatin1(receiver->metaObject()->className())
                    + QLatin1Char(' ') + QString::number(int(event->type()));
                byKind[key] += ms;
            }
        }
        return result;
    }

    void closeFrame()
    {
        if (frameOpen)
            frames.push_back(currentFrame);
        frameOpen = false;
        currentFrame = 0.0;
    }

    void reset()
    {
        frames.clear();
        flushes.clear();
        frameOpen = false;
        currentFrame = 0.0;
        feedMs = 0.0;
    }

    QObject *frameTimer = nullptr;
    QObject *feedTimer = nullptr;
    bool measuring = false;
    std::function<void()> afterFlush;
    std::vector<double> frames;
    std::vector<double> flushes;
    double feedMs = 0.0;
    bool breakdown = qEnvironmentVariableIsSet("BENCH_BREAKDOWN");
    QMap<QString, double> byKind;
    QMap<QString, int> paints;

private:
    bool plainNotify(QObject *receiver, QEvent *event)
    {
        ++depth;
        const bool result = QApplication::notify(receiver, event);
        --depth;
        return result;
    }

    int depth = 0;
    bool frameOpen = false;
    double currentFrame = 0.0;
};

struct Feeder {
    QSharedPointer<KvCommClientData> store;
    qint64 steps = 0;
    QRandomGenerator random {2024};
    bool noise = false;

    void step()
    {
        const double t = 0.001 * (steps + 1);
        const qint64 elapsedMs = (steps * 3) / 40; // 0.075 ms of wall time per step
        QVector<double> p(seriesCount);
        double error;
        if (noise) {
            // Every pixel column spans the whole plot height at any history
            // length: the most expensive picture to paint.
            for (double &v : p)
                v = random.bounded(200.0) - 100.0;
            error = random.bounded(1.0) * 1e-3;
        } else {
            // A slow oscillation with a little noise, like most monitored
            // values; a step and a spike now and then.
            for (int s = 0; s < seriesCount; ++s)
                p[s] = 100.0 * std::sin(steps * 2e-5 + s * 0.3) + random.bounded(2.0)
                    + ((steps / 4001 + s) % 7 == 0 ? 20.0 : 0.0)
                    + (steps % 9973 == 17 * s ? 150.0 : 0.0);
            error = 1e-3 / (1 + steps % 1000) * (1.0 + random.bounded(0.1));
        }
        const QList<KvCommClientTrackedData> batch {KvCommClientTrackedData(Time, {t}),
            KvCommClientTrackedData(P, p), KvCommClientTrackedData(Iteration, {double(steps % 17)}),
            KvCommClientTrackedData(Error, {error})};
        store->addTrackedData(batch, elapsedMs);
        ++steps;
    }
    double timeOf(qint64 step) const { return 0.001 * (step + 1); }
};

// Appending the same doubles to plain vectors: what storing alone costs.
double floorMicrosPerStep(qint64 steps)
{
    std::vector<QVector<double>> xs(valuesPerStep()), ys(valuesPerStep());
    const qint64 start = clock_.nsecsElapsed();
    for (qint64 i = 0; i < steps; ++i) {
        for (int v = 0; v < valuesPerStep(); ++v) {
            xs[v].append(0.001 * i);
            ys[v].append(i * 0.5 + v);
        }
    }
    const double us = (clock_.nsecsElapsed() - start) / 1e3;
    volatile double sink = xs[0].last() + ys.back().last();
    (void)sink;
    return us / steps;
}

// The samples a chart's series s shows: x and y.
struct Source {
    const QVector<double> *xs = nullptr;
    const QVector<double> *ys = nullptr;
};

// Draws each series of `frame` alone and reads its pixels back: a (series,
// column) pair counts as faithful when the column's drawn pixels (one column
// of tolerance either side) reach the rows of the stored minimum and maximum
// (one row of tolerance).
std::pair<qint64, qint64> faithfulColumns(
    const KvcPlotRenderer::Frame &shown, const std::vector<Source> &sources)
{
    qint64 faithful = 0;
    qint64 pairs = 0;
    const int width = shown.pixels.width();
    const int height = shown.pixels.height();
    const double xScale = width / (shown.xMax - shown.xMin);
    const double ySpan = shown.yMax - shown.yMin;
    for (int s = 0; s < shown.series.size() && s < int(sources.size()); ++s) {
        KvcPlotRenderer::Frame alone = shown;
        alone.devicePixelRatio = 1.0;
        alone.series = {shown.series.at(s)};
        alone.series[0].color = Qt::black;
        const QImage image = KvcPlotRenderer::render(alone);
        std::vector<double> lows(width, std::numeric_limits<double>::infinity());
        std::vector<double> highs(width, -std::numeric_limits<double>::infinity());
        const QVector<double> &xs = *sources[s].xs;
        const QVector<double> &ys = *sources[s].ys;
        for (int i = 0; i < std::min(xs.size(), ys.size()); ++i) {
            const double c = (xs[i] - shown.xMin) * xScale;
            if (c >= 0 && c < width && !std::isnan(ys[i])) {
                lows[int(c)] = std::min(lows[int(c)], ys[i]);
                highs[int(c)] = std::max(highs[int(c)], ys[i]);
            }
        }
        const auto row = [&](double y) {
            if (!(ySpan > 0))
                return height / 2;
            return std::clamp(int((shown.yMax - y) / ySpan * height), 0, height - 1);
        };
        const auto painted = [&](int c, int r) {
            for (int x = std::max(0, c - 1); x <= std::min(width - 1, c + 1); ++x)
                for (int y = std::max(0, r - 1); y <= std::min(height - 1, r + 1); ++y)
                    if (qAlpha(image.pixel(x, y)) > 0)
                        return true;
            return false;
        };
        for (int c = 0; c < width; ++c) {
            if (lows[c] > highs[c])
                continue;
            ++pairs;
            if (painted(c, row(highs[c])) && painted(c, row(lows[c])))
                ++faithful;
        }
    }
    return {faithful, pairs};
}

KvcPlotLayer *layerOf(QChartView *view)
{
    for (QGraphicsItem *item : view->scene()->items())
        if (auto *layer = qobject_cast<KvcPlotLayer *>(item->toGraphicsObject()))
            return layer;
    return nullptr;
}

// The newest x a chart shows: in its picture when the layer draws it, else
// in its first series.
double newestShown(QChartView *view, KvcPlotLayer *layer)
{
    const auto series = qobject_cast<QXYSeries *>(view->chart()->series().value(0));
    if (series && series->count())
        return series->at(series->count() - 1).x();
    double newest = -1;
    if (layer && !layer->shownFrame().series.isEmpty()) {
        const KvcPlotRenderer::Series &first = layer->shownFrame().series.first();
        if (first.after.valid)
            return std::numeric_limits<double>::max();
        for (const KvcPlotColumns::Column &column : first.columns)
            if (column.count)
                newest = std::max(newest, column.lastX);
    }
    return newest;
}

} // namespace

int main(int argc, char **argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    BenchApp app(argc, argv);
    clock_.start();

    QStringList args = app.arguments().mid(1);
    const bool noise = args.removeAll(QStringLiteral("--noise")) > 0;
    const bool hover = args.removeAll(QStringLiteral("--hover")) > 0;
    double logLinesPerSecond = 0.0;
    const int logAt = args.indexOf(QStringLiteral("--log"));
    if (logAt >= 0 && logAt + 1 < args.size()) {
        logLinesPerSecond = args.at(logAt + 1).toDouble();
        args.erase(args.begin() + logAt, args.begin() + logAt + 2);
    }
    const int seriesAt = args.indexOf(QStringLiteral("--series"));
    if (seriesAt >= 0 && seriesAt + 1 < args.size()) {
        seriesCount = std::max(1, args.at(seriesAt + 1).toInt());
        args.erase(args.begin() + seriesAt, args.begin() + seriesAt + 2);
    }
    const double seconds = args.isEmpty() ? 3.0 : args.takeFirst().toDouble();
    QVector<qint64> levels {10000, 100000, 1000000};
    if (!args.isEmpty()) {
        levels.clear();
        for (const QString &a : args)
            levels.append(a.toLongLong());
    }

    QAction run;
    KvcActionManager manager(&run, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr);
    Feeder feeder;
    feeder.noise = noise;
    feeder.store = QSharedPointer<KvCommClientData>::create();
    auto data = QSharedPointer<KvcResultsData>::create();
    data->setSimulationData(feeder.store);

    KvcResultsWidget view(&manager, KvcActionManager::Running, data);
    view.show();
    if (!QTest::qWaitForWindowExposed(&view)) {
        std::fprintf(stderr, "the view was not exposed\n");
        return 1;
    }

    QVector<KvCommClientTrackedRuleInfo> rules(1);
    QVector<KvCommClientTrackedRuleDataInfo> infos;
    for (const char *name : {"P", "time", "fem.iteration", "fem.error"}) {
        KvCommClientTrackedRuleDataInfo info;
        info.id = infos.size();
        info.ruleId = 0;
        info.name = QString::fromLatin1(name);
        if (info.id == P)
            info.numRows = seriesCount;
        infos.append(info);
    }
    rules[0].name = QStringLiteral("R");
    rules[0].numTrackedData = infos.size();
    if (!feeder.store->setRuleData(rules, infos)) {
        std::fprintf(stderr, "rule data refused\n");
        return 1;
    }

    for (QTimer *timer : view.findChildren<QTimer *>()) {
        if (timer->isSingleShot() && timer->interval() < 100)
            app.frameTimer = timer;
    }
    const QList<QChartView *> views = view.findChildren<QChartView *>();
    if (!app.frameTimer || views.size() != 4) {
        std::fprintf(stderr, "the view's frame timer or charts were not found\n");
        return 1;
    }

    QVector<KvcPlotLayer *> layers;
    for (QChartView *v : views)
        layers << layerOf(v);
    if (layers.contains(nullptr)) {
        std::fprintf(stderr, "a chart's data layer was not found\n");
        return 1;
    }

    // Arrival time of every streamed step not yet in the picture of all four
    // charts.
    std::deque<std::pair<qint64, qint64>> pending; // step, arrival ns
    std::vector<double> latencies;
    const auto seen = [&] {
        double shown = std::numeric_limits<double>::max();
        for (int i = 0; i < views.size(); ++i)
            shown = std::min(shown, newestShown(views[i], layers[i]));
        const qint64 now = clock_.nsecsElapsed();
        while (!pending.empty() && feeder.timeOf(pending.front().first) <= shown) {
            latencies.push_back((now - pending.front().second) / 1e6);
            pending.pop_front();
        }
    };
    app.afterFlush = seen;
    QVector<int> pictures(views.size());
    for (int i = 0; i < views.size(); ++i) {
        QObject::connect(layers[i], &KvcPlotLayer::pictureShown, [&, i] {
            if (app.measuring)
                ++pictures[i];
            seen();
        });
    }

    QTimer hoverTimer;
    QChartView *large = view.findChild<QChartView *>(QStringLiteral("ulChart"));
    int hoverStep = 0;
    QObject::connect(&hoverTimer, &QTimer::timeout, [&] {
        const QRect area = large->viewport()->rect();
        const QPoint at(
            area.left() + 60 + (hoverStep++ * 7) % qMax(1, area.width() - 120), area.center().y());
        QMouseEvent move(QEvent::MouseMove, at, Qt::NoButton, Qt::NoButton, Qt::NoModifier);
        QApplication::sendEvent(large->viewport(), &move);
    });
    if (hover)
        hoverTimer.start(5);

    QTimer feedTimer;
    feedTimer.setTimerType(Qt::PreciseTimer);
    feedTimer.setInterval(1);
    app.feedTimer = &feedTimer;
    qint64 streamStart = 0;
    qint64 streamStartStep = 0;
    qint64 logLines = 0;
    QObject::connect(&feedTimer, &QTimer::timeout, [&] {
        const qint64 now = clock_.nsecsElapsed();
        const qint64 due = streamStartStep + qint64((now - streamStart) / 1e9 * stepsPerSecond());
        while (feeder.steps < due) {
            pending.emplace_back(feeder.steps, clock_.nsecsElapsed());
            feeder.step();
        }
        const qint64 linesDue = qint64((now - streamStart) / 1e9 * logLinesPerSecond);
        for (; logLines < linesDue; ++logLines) {
            // Mostly information, an error now and then: colour runs of 99 lines.
            emit manager.logDataReceived(logLines % 100 == 99 ? 4 : 6,
                QStringLiteral("[%1] step %2: residual below tolerance, advancing the solution\n")
                    .arg(logLines)
                    .arg(feeder.steps));
        }
    });

    std::printf("%s values, %.0f log lines/s%s: ", noise ? "noisy" : "smooth", logLinesPerSecond,
        hover ? ", mouse moving over the large chart" : "");
    std::printf("results view, 4 charts, %.0f samples/s (%.0f time steps/s of %d samples), "
                "%.1f s per level, window %dx%d, plot width of the large chart %d px\n",
        samplesPerSecond, stepsPerSecond(), valuesPerStep(), seconds, view.width(), view.height(),
        int(view.findChild<QChartView *>(QStringLiteral("ulChart"))->chart()->plotArea().width()));
    std::printf("%10s %7s | %8s %8s %8s | %8s %8s | %8s %8s | %8s %8s | %8s %8s\n", "history",
        "frames", "frame", "p95", "worst", "flush", "worst", "latency", "worst", "feed", "floor",
        "settled", "fidelity");
    std::printf("%10s %7s | %8s %8s %8s | %8s %8s | %8s %8s | %8s %8s | %8s %8s\n", "(steps)", "",
        "med ms", "ms", "ms", "med ms", "ms", "med ms", "ms", "us/step", "us/step", "ms", "%");

    for (qint64 level : levels) {
        // Fill the history up to the level, then let a frame catch up with it.
        while (feeder.steps < level)
            feeder.step();
        QElapsedTimer settle;
        settle.start();
        while (settle.elapsed() < 500)
            app.processEvents(QEventLoop::AllEvents, 50);

        app.reset();
        latencies.clear();
        pending.clear();
        streamStart = clock_.nsecsElapsed();
        streamStartStep = feeder.steps;
        logLines = 0;
        app.measuring = true;
        feedTimer.start();
        QElapsedTimer span;
        span.start();
        bool resized = false;
        while (span.elapsed() < seconds * 1000) {
            if (!resized && span.elapsed() > seconds * 500) {
                // Halfway, the user widens the window: every chart rebuilds its
                // columns from the whole history (as when an x axis grows).
                view.resize(view.width() + (level % 2 ? -40 : 40), view.height());
                resized = true;
            }
            app.processEvents(QEventLoop::AllEvents, 50);
        }
        feedTimer.stop();
        app.closeFrame();
        app.measuring = false;

        // The data stops: how long until every chart shows its last picture.
        QElapsedTimer settling;
        settling.start();
        const double last = feeder.timeOf(feeder.steps - 1);
        const auto settled = [&] {
            for (int i = 0; i < views.size(); ++i)
                if (layers[i]->isRendering() || newestShown(views[i], layers[i]) < last)
                    return false;
            return true;
        };
        while (!settled() && settling.elapsed() < 5000)
            app.processEvents(QEventLoop::AllEvents, 5);
        const double settleMs = settling.nsecsElapsed() / 1e6;

        const KvcResultsData::TrackedData &rule = data->simTrackedData(P);
        std::vector<std::vector<Source>> sources(views.size());
        for (int i = 0; i < views.size(); ++i) {
            const QString name = views[i]->objectName();
            if (name == QLatin1String("ulChart")) {
                for (const QVector<double> &component : rule.data)
                    sources[i].push_back({&rule.time, &component});
            } else if (name == QLatin1String("urChart")) {
                sources[i].push_back({&data->simTimeData(), &data->simExecTimeData()});
            } else {
                const KvcResultsData::TrackedData &h
                    = data->simTrackedData(name == QLatin1String("mrChart") ? Iteration : Error);
                if (!h.data.isEmpty())
                    sources[i].push_back({&h.time, &h.data.first()});
            }
        }
        qint64 faithful = 0;
        qint64 pairs = 0;
        for (int i = 0; i < views.size(); ++i) {
            const auto counted = faithfulColumns(layers[i]->shownFrame(), sources[i]);
            faithful += counted.first;
            pairs += counted.second;
        }

        const qint64 streamed = feeder.steps - streamStartStep;
        std::printf(
            "%10lld %7zu | %8.2f %8.2f %8.2f | %8.2f %8.2f | %8.2f %8.2f | %8.2f %8.2f | %8.0f "
            "%8.3f\n",
            level, app.frames.size(), percentile(app.frames, 0.5), percentile(app.frames, 0.95),
            percentile(app.frames, 1.0), percentile(app.flushes, 0.5), percentile(app.flushes, 1.0),
            percentile(latencies, 0.5), percentile(latencies, 1.0),
            streamed ? app.feedMs * 1e3 / streamed : 0.0,
            floorMicrosPerStep(std::max<qint64>(streamed, 1)), settleMs,
            pairs ? 100.0 * faithful / pairs : 0.0);
        std::printf("%10s pictures per second:", "");
        for (int i = 0; i < views.size(); ++i)
            std::printf(" %s %.1f", qPrintable(views[i]->objectName()), pictures[i] / seconds);
        std::printf("; %lld of %lld (series, column) pairs faithful\n", faithful, pairs);
        pictures.fill(0);
        std::printf("%10s streamed %lld steps (%.0f samples/s achieved), %zu still pending\n", "",
            streamed, streamed * valuesPerStep() / seconds, pending.size());
        for (auto it = app.byKind.cbegin(); it != app.byKind.cend(); ++it) {
            if (it.value() > 1.0)
                std::printf("%10s   %-40s %8.1f ms %6d\n", "", qPrintable(it.key()), it.value(),
                    app.paints.value(it.key()));
        }
        app.byKind.clear();
        app.paints.clear();
        std::fflush(stdout);
    }
    return 0;
}
