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
// - latency: from a sample's arrival at the store to its point being in the
//   series of every chart that shows it;
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
// Usage: bench_resultswidget [--noise] [--log lines/s] [seconds per level]
//                            [history lengths...]
//        (default: 3 s, 10000 100000 1000000)

#include "kvcresultswidget.h"

#include "kvcactionmanager.h"
#include "kvcresultsdata.h"

#include <kvcommclientdata.h>

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QMap>
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

constexpr int valuesPerStep = 4; // time, P, fem.iteration, fem.error
constexpr double samplesPerSecond = 50000.0;
constexpr double stepsPerSecond = samplesPerSecond / valuesPerStep;
enum Track { P = 0, Time, Iteration, Error };

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
        double p;
        double error;
        if (noise) {
            // Every pixel column spans the whole plot height at any history
            // length: the most expensive picture to paint.
            p = random.bounded(200.0) - 100.0;
            error = random.bounded(1.0) * 1e-3;
        } else {
            // A slow oscillation with a little noise, like most monitored values.
            p = 100.0 * std::sin(steps * 2e-5) + random.bounded(2.0);
            error = 1e-3 / (1 + steps % 1000) * (1.0 + random.bounded(0.1));
        }
        const QList<KvCommClientTrackedData> batch {KvCommClientTrackedData(Time, {t}),
            KvCommClientTrackedData(P, {p}),
            KvCommClientTrackedData(Iteration, {double(steps % 17)}),
            KvCommClientTrackedData(Error, {error})};
        store->addTrackedData(batch, elapsedMs);
        ++steps;
    }
    double timeOf(qint64 step) const { return 0.001 * (step + 1); }
};

// Appending the same doubles to plain vectors: what storing alone costs.
double floorMicrosPerStep(qint64 steps)
{
    QVector<double> xs[valuesPerStep], ys[valuesPerStep];
    const qint64 start = clock_.nsecsElapsed();
    for (qint64 i = 0; i < steps; ++i) {
        for (int v = 0; v < valuesPerStep; ++v) {
            xs[v].append(0.001 * i);
            ys[v].append(i * 0.5 + v);
        }
    }
    const double us = (clock_.nsecsElapsed() - start) / 1e3;
    volatile double sink = xs[0].last() + ys[3].last();
    (void)sink;
    return us / steps;
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
    double logLinesPerSecond = 0.0;
    const int logAt = args.indexOf(QStringLiteral("--log"));
    if (logAt >= 0 && logAt + 1 < args.size()) {
        logLinesPerSecond = args.at(logAt + 1).toDouble();
        args.erase(args.begin() + logAt, args.begin() + logAt + 2);
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

    // Arrival time of every streamed step not yet in all four series.
    std::deque<std::pair<qint64, qint64>> pending; // step, arrival ns
    std::vector<double> latencies;
    app.afterFlush = [&] {
        double shown = std::numeric_limits<double>::max();
        for (QChartView *v : views) {
            const auto series = qobject_cast<QXYSeries *>(v->chart()->series().value(0));
            const double last
                = series && series->count() ? series->at(series->count() - 1).x() : -1;
            shown = std::min(shown, last);
        }
        const qint64 now = clock_.nsecsElapsed();
        while (!pending.empty() && feeder.timeOf(pending.front().first) <= shown) {
            latencies.push_back((now - pending.front().second) / 1e6);
            pending.pop_front();
        }
    };

    QTimer feedTimer;
    feedTimer.setTimerType(Qt::PreciseTimer);
    feedTimer.setInterval(1);
    app.feedTimer = &feedTimer;
    qint64 streamStart = 0;
    qint64 streamStartStep = 0;
    qint64 logLines = 0;
    QObject::connect(&feedTimer, &QTimer::timeout, [&] {
        const qint64 now = clock_.nsecsElapsed();
        const qint64 due = streamStartStep + qint64((now - streamStart) / 1e9 * stepsPerSecond);
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

    std::printf("%s values, %.0f log lines/s: ", noise ? "noisy" : "smooth", logLinesPerSecond);
    std::printf("results view, 4 charts, %.0f samples/s (%.0f time steps/s of %d samples), "
                "%.1f s per level, window %dx%d, plot width of the large chart %d px\n",
        samplesPerSecond, stepsPerSecond, valuesPerStep, seconds, view.width(), view.height(),
        int(view.findChild<QChartView *>(QStringLiteral("ulChart"))->chart()->plotArea().width()));
    std::printf("%10s %7s | %8s %8s %8s | %8s %8s | %8s %8s | %8s %8s | %8s\n", "history", "frames",
        "frame", "p95", "worst", "flush", "worst", "latency", "worst", "feed", "floor", "points");
    std::printf("%10s %7s | %8s %8s %8s | %8s %8s | %8s %8s | %8s %8s | %8s\n", "(steps)", "",
        "med ms", "ms", "ms", "med ms", "ms", "med ms", "ms", "us/step", "us/step", "in chart");

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

        const qint64 streamed = feeder.steps - streamStartStep;
        int points = 0;
        for (QChartView *v : views) {
            if (auto s = qobject_cast<QXYSeries *>(v->chart()->series().value(0)))
                points = std::max(points, s->count());
        }
        std::printf(
            "%10lld %7zu | %8.2f %8.2f %8.2f | %8.2f %8.2f | %8.2f %8.2f | %8.2f %8.2f | %8d\n",
            level, app.frames.size(), percentile(app.frames, 0.5), percentile(app.frames, 0.95),
            percentile(app.frames, 1.0), percentile(app.flushes, 0.5), percentile(app.flushes, 1.0),
            percentile(latencies, 0.5), percentile(latencies, 1.0),
            streamed ? app.feedMs * 1e3 / streamed : 0.0,
            floorMicrosPerStep(std::max<qint64>(streamed, 1)), points);
        std::printf("%10s streamed %lld steps (%.0f samples/s achieved), %zu still pending\n", "",
            streamed, streamed * valuesPerStep / seconds, pending.size());
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
