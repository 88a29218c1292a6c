// Soak: a long monitored run (one simulated hour of examples/soak-hour.lua,
// accelerated to a few minutes of wall time) watched by the whole client
// chain: the real simulator `kivo` with its server, a KvCommClient, a
// KvcResultsData and a shown KvcResultsWidget (offscreen), the server's log
// routed to the view. The question is whether memory grows only with the data
// that the results model keeps by design, and stays flat otherwise.
//
// Every few seconds a row: wall time, simulated time, samples and component
// values stored, the bytes the results model's vectors use and have
// allocated, our VmRSS and VmHWM, kivo's VmRSS, the points held by the
// charts' series, the log's lines and the worst event-loop stall of the
// interval. After the final status the run idles a little more (nothing
// arrives then, so nothing should grow).
//
// Verdict (exit code 0 only if every check holds):
// - our RSS against stored values, least squares over the rows once the
//   warm-up is over (the first 10 % of the values by default: the charts
//   fill up to their point bound, Qt builds its caches): slope = bytes per
//   stored value, intercept = fixed overhead. The slope must not exceed by
//   more than 25 % the slope, over the same rows, of what the results
//   model's vectors have allocated (RSS follows their capacities in steps).
//   At a steady pace values grow in proportion to wall time, so a leak per
//   frame or per event would show up as a steeper slope, not as a bad fit;
// - the largest residual of that fit stays below max(8 MiB, 10 % of the
//   growth): growth that the data does not explain;
// - our RSS while idle after the run grows by at most 1 MiB;
// - kivo's RSS grows by no more than its server's replay history: it keeps
//   every encoded sample frame for clients that join later, up to a limit
//   (16 Mi values by default, beyond which it drops the oldest). A kept frame
//   costs its allocation (the byte array's capacity, its header and malloc's
//   own) and its queue entry, about 72 bytes besides the capacity; kivo's
//   slope per value must stay within 1.25 x that;
// - the charts' series hold at most 4 points per pixel column (+ the two
//   virtual columns outside the x range) however long the history.
// The log's line count is reported, not judged.
//
// Usage: bench_soak [--hours H] [--step S] [--pace S] [--log-every S]
//                   [--interval S] [--idle S] [--warmup F] [model.lua]
// --hours, --step, --pace and --log-every go to the model as kivo's -u
// parameters (see examples/soak-hour.lua); --interval is the seconds between
// rows (default 5), --idle the seconds watched after the final status
// (default 10), --warmup the fraction of the values left out of the fits
// (default 0.1).

#include "kvcresultswidget.h"

#include "benchsupport.h"
#include "kvcactionmanager.h"
#include "kvcresultsdata.h"

#include <kvcommclient.h>
#include <kvcommclientdata.h>
#include <kvcommframewriter.h>

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QXYSeries>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

struct Fit {
    double slope = 0; // bytes per value
    double intercept = 0; // bytes
    double worstResidual = 0; // bytes, absolute
};

Fit leastSquares(const std::vector<double> &x, const std::vector<double> &y)
{
    Fit fit;
    const size_t n = x.size();
    if (n < 2)
        return fit;
    double mx = 0, my = 0;
    for (size_t i = 0; i < n; ++i)
        mx += x[i], my += y[i];
    mx /= double(n);
    my /= double(n);
    double sxy = 0, sxx = 0;
    for (size_t i = 0; i < n; ++i) {
        sxy += (x[i] - mx) * (y[i] - my);
        sxx += (x[i] - mx) * (x[i] - mx);
    }
    fit.slope = sxx > 0 ? sxy / sxx : 0;
    fit.intercept = my - fit.slope * mx;
    for (size_t i = 0; i < n; ++i)
        fit.worstResidual
            = std::max(fit.worstResidual, std::abs(y[i] - (fit.intercept + fit.slope * x[i])));
    return fit;
}

struct Row {
    double wallS = 0;
    double simTimeS = 0;
    qint64 samples = 0;
    qint64 values = 0;
    qint64 storeSizeBytes = 0; // what the model's vectors hold
    qint64 storeCapacityBytes = 0; // what they have allocated
    qint64 rssKb = 0;
    qint64 hwmKb = 0;
    qint64 kivoRssKb = -1;
    qint64 seriesPoints = 0;
    qint64 seriesBound = 0;
    int logLines = 0;
    double worstGapMs = 0;
    bool idle = false; // after the final status
};

bool takeOption(QStringList &args, const QString &name, double &value)
{
    const int i = args.indexOf(name);
    if (i < 0)
        return true;
    bool ok = false;
    value = args.value(i + 1).toDouble(&ok);
    if (!ok || value < 0) {
        std::fprintf(stderr, "%s needs a non-negative number, got '%s'\n", qPrintable(name),
            qPrintable(args.value(i + 1)));
        return false;
    }
    args.erase(args.begin() + i, args.begin() + std::min(i + 2, int(args.size())));
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QStringList args = app.arguments();
    double hours = -1, step = -1, pace = -1, logEvery = -1, intervalS = 5, idleS = 10, warmup = 0.1;
    if (!takeOption(args, QStringLiteral("--hours"), hours)
        || !takeOption(args, QStringLiteral("--step"), step)
        || !takeOption(args, QStringLiteral("--pace"), pace)
        || !takeOption(args, QStringLiteral("--log-every"), logEvery)
        || !takeOption(args, QStringLiteral("--interval"), intervalS)
        || !takeOption(args, QStringLiteral("--idle"), idleS)
        || !takeOption(args, QStringLiteral("--warmup"), warmup))
        return 2;
    intervalS = std::max(0.2, intervalS);
    QStringList userParams;
    const std::array<std::pair<const char *, double>, 4> forwarded {
        {{"hours", hours}, {"step", step}, {"pace", pace}, {"logEvery", logEvery}}};
    for (const auto &p : forwarded)
        if (p.second >= 0)
            userParams << QStringLiteral("%1=%2").arg(QLatin1String(p.first)).arg(p.second);
    const QString model
        = args.size() > 1 ? args.at(1) : QStringLiteral(KVC_EXAMPLES_DIR "/soak-hour.lua");
    const QString kivo
        = QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("kivo"));
    if (!QFileInfo(kivo).isExecutable()) {
        std::fprintf(stderr, "no simulator at %s: build the target kivo\n", qPrintable(kivo));
        return 2;
    }
    QTemporaryDir tmp;
    if (!tmp.isValid()) {
        std::fprintf(stderr, "no temporary directory: %s\n", qPrintable(tmp.errorString()));
        return 2;
    }
    const QString connFile = tmp.filePath(QStringLiteral("conn.lua"));

    QAction run, cancel, terminate, config, monitor, serverInfo, disconnect;
    KvcActionManager manager(
        &run, &cancel, &terminate, &config, &monitor, &serverInfo, &disconnect);
    KvCommClient client;
    auto results = QSharedPointer<KvcResultsData>::create();
    results->setSimulationData(client.clientData());
    KvcResultsWidget view(&manager, KvcActionManager::Running, results);
    view.resize(1200, 800);
    view.show();
    // The view takes its log from the manager: hand it the server's log, as a
    // manager that monitors does.
    QObject::connect(
        &client, &KvCommClient::logDataReceived, &manager, &KvcActionManager::logDataReceived);
    auto *logEdit = view.findChild<QTextEdit *>(QStringLiteral("logTed"));
    const QList<QtCharts::QChartView *> chartViews = view.findChildren<QtCharts::QChartView *>();

    const QString self = QStringLiteral("self");
    const qint64 baselineKb = procStatusKb(self, "VmRSS");

    // Nothing here may grow with the run, or it would be measured too: the
    // stall timer keeps the interval's worst gap and a fixed histogram.
    QElapsedTimer wall;
    wall.start();
    qint64 lastTick = -1;
    double intervalWorstMs = 0;
    std::array<qint64, 1001> gapHistogram {}; // 1 ms bins, the last one open
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = wall.nsecsElapsed();
        if (lastTick >= 0) {
            const double ms = (now - lastTick) / 1e6;
            intervalWorstMs = std::max(intervalWorstMs, ms);
            ++gapHistogram[std::min<size_t>(gapHistogram.size() - 1, size_t(ms))];
        }
        lastTick = now;
    });
    ticker.start();

    qint64 samples = 0, values = 0, batches = 0, frameBytes = 0, frameCapacity = 0;
    int frameValues = 0;
    QObject::connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, &app,
        [&](const QList<KvCommClientTrackedData> &list, qint64 elapsedMs) {
            ++batches;
            samples += list.size();
            qint64 n = 0;
            for (const KvCommClientTrackedData &s : list)
                n += s.values.size();
            values += n;
            // Every batch of a run has the same shape: one encoding gives the
            // bytes per value that the server keeps in its history.
            if (frameBytes == 0) {
                const QByteArray frame = KvCommFrameWriter::samples(list, elapsedMs, samples);
                frameBytes = frame.size();
                frameCapacity = frame.capacity();
                frameValues = int(n);
            }
        });

    QProcess sim;
    std::vector<Row> rows;
    rows.reserve(4096);
    bool finished = false;
    auto takeRow = [&] {
        Row r;
        r.wallS = wall.nsecsElapsed() / 1e9;
        r.simTimeS = results->currentTime();
        r.samples = samples;
        r.values = values;
        for (int id = 0; id < client.clientData()->simNumTrackedData(); ++id) {
            const KvcResultsData::TrackedData &t = results->simTrackedData(id);
            r.storeSizeBytes += qint64(t.time.size()) * qint64(sizeof(double));
            r.storeCapacityBytes += qint64(t.time.capacity()) * qint64(sizeof(double));
            for (const QVector<double> &c : t.data) {
                r.storeSizeBytes += qint64(c.size()) * qint64(sizeof(double));
                r.storeCapacityBytes += qint64(c.capacity()) * qint64(sizeof(double));
            }
        }
        r.rssKb = procStatusKb(self, "VmRSS");
        r.hwmKb = procStatusKb(self, "VmHWM");
        if (sim.state() != QProcess::NotRunning)
            r.kivoRssKb = procStatusKb(QString::number(sim.processId()), "VmRSS");
        for (QtCharts::QChartView *chartView : chartViews) {
            // The view's feeders keep at most 4 points per pixel column of
            // the x range, plus the columns left and right of it.
            const qint64 columns = qint64(std::ceil(chartView->chart()->plotArea().width())) + 2;
            for (QtCharts::QAbstractSeries *s : chartView->chart()->series())
                if (auto *xy = qobject_cast<QtCharts::QXYSeries *>(s)) {
                    r.seriesPoints += xy->count();
                    r.seriesBound += 4 * columns;
                }
        }
        r.logLines = logEdit ? logEdit->document()->blockCount() : -1;
        r.worstGapMs = intervalWorstMs;
        r.idle = finished;
        intervalWorstMs = 0;
        rows.push_back(r);
        const QByteArray kivoMb
            = r.kivoRssKb < 0 ? QByteArray("-") : QByteArray::number(r.kivoRssKb / 1024.0, 'f', 1);
        std::printf("%7.1f %8.1f %9lld %10lld %8.1f %8.1f %8.1f %8.1f %8s %8lld %6d %8.1f%s\n",
            r.wallS, r.simTimeS, r.samples, r.values, r.storeSizeBytes / 1048576.0,
            r.storeCapacityBytes / 1048576.0, r.rssKb / 1024.0, r.hwmKb / 1024.0,
            kivoMb.constData(), r.seriesPoints, r.logLines, r.worstGapMs, r.idle ? "  idle" : "");
        std::fflush(stdout);
    };
    std::printf("model %s, parameters \"%s\", baseline VmRSS %.1f MB\n",
        qPrintable(QFileInfo(model).fileName()), qPrintable(userParams.join(QLatin1Char(';'))),
        baselineKb / 1024.0);
    std::printf("%7s %8s %9s %10s %8s %8s %8s %8s %8s %8s %6s %8s\n", "wall s", "sim s", "samples",
        "values", "used MB", "alloc MB", "RSS MB", "HWM MB", "kivo MB", "points", "log",
        "stall ms");
    std::fflush(stdout);

    QTimer sampler;
    sampler.setInterval(int(intervalS * 1000));
    QObject::connect(&sampler, &QTimer::timeout, &app, takeRow);

    QString failure;
    int exitCode = -1;
    double finishedAtS = -1;
    QObject::connect(&client, &KvCommClient::simulationStatusChanged, &app,
        [&](KvCommSimulationStatus status, const QDateTime &) {
            if (status < KvCommStatusFinished || finished)
                return;
            if (status != KvCommStatusFinished)
                failure = QStringLiteral("the simulation ended with status %1").arg(int(status));
            // The row at the end of the data, then the idle tail on the same clock.
            finishedAtS = wall.nsecsElapsed() / 1e9;
            QTimer::singleShot(1000, &app, [&] {
                takeRow();
                finished = true;
                QTimer::singleShot(int(idleS * 1000), &app, [&] {
                    takeRow();
                    app.quit();
                });
            });
        });
    QObject::connect(&client, &KvCommClient::serverError, &app, [&](const QString &msg) {
        if (!finished && failure.isEmpty())
            failure = QStringLiteral("client: ") + msg;
    });

    sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sim.setStandardOutputFile(QProcess::nullDevice());
    QObject::connect(&sim, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &app,
        [&](int code, QProcess::ExitStatus) { exitCode = code; });
    QStringList kivoArgs {model, QStringLiteral("-local"), QStringLiteral("0"),
        QStringLiteral("-s"), connFile, QStringLiteral("-wait"), QStringLiteral("0"),
        QStringLiteral("-noconsole")};
    if (!userParams.isEmpty())
        kivoArgs << QStringLiteral("-u") << userParams.join(QLatin1Char(';'));
    sim.start(kivo, kivoArgs);
    if (!sim.waitForStarted(10000)) {
        std::fprintf(stderr, "kivo did not start: %s\n", qPrintable(sim.errorString()));
        return 2;
    }

    QTimer poll;
    whenListening(
        poll, connFile, sim,
        [&](quint16 port) {
            client.connectToServer(QStringLiteral("127.0.0.1"), port, 5000);
            takeRow();
            sampler.start();
        },
        [&] {
            failure = QStringLiteral("no connection file from kivo");
            app.quit();
        });
    // A stream that stops without a final status must not hang the soak.
    QObject::connect(
        &sim, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &app, [&] {
            QTimer::singleShot(5000 + int(idleS * 1000), &app, [&] {
                if (finishedAtS < 0) {
                    if (failure.isEmpty())
                        failure = QStringLiteral("kivo ended without a final status");
                    app.quit();
                }
            });
        });

    app.exec();
    sampler.stop();
    ticker.stop();
    if (!sim.waitForFinished(10000)) {
        sim.kill();
        sim.waitForFinished(2000);
    }
    if (!failure.isEmpty())
        std::fprintf(stderr, "error: %s\n", qPrintable(failure));

    // The fit: rows while data flows after the warm-up, and the row at its end
    // (not the idle tail).
    const double fitFrom = std::max(1.0, warmup * double(values));
    std::vector<double> x, y, cy, kx, ky;
    const Row *warmRow = nullptr;
    for (const Row &r : rows) {
        if (double(r.values) < fitFrom || r.idle)
            continue;
        if (!warmRow)
            warmRow = &r;
        x.push_back(double(r.values));
        y.push_back(r.rssKb * 1024.0);
        cy.push_back(double(r.storeCapacityBytes));
        if (r.kivoRssKb > 0) {
            kx.push_back(double(r.values));
            ky.push_back(r.kivoRssKb * 1024.0);
        }
    }
    const Fit ours = leastSquares(x, y);
    const Fit theirs = leastSquares(kx, ky);
    const Fit allocated = leastSquares(x, cy);
    const Row last = rows.empty() ? Row() : rows.back();
    const Row *endOfData = nullptr;
    for (const Row &r : rows)
        if (!r.idle)
            endOfData = &r;
    const double storePerValue
        = last.values ? double(last.storeCapacityBytes) / double(last.values) : 0;
    const double storeSizePerValue
        = last.values ? double(last.storeSizeBytes) / double(last.values) : 0;
    const double framePerValue = frameValues ? double(frameBytes) / frameValues : 0;
    // Byte array header (24) and malloc's chunk header and rounding (up to 24),
    // the queue entry (frame, samples, values: 24).
    const double keptPerValue = frameValues ? double(frameCapacity + 72) / frameValues : 0;
    const double growth = y.empty() ? 0 : y.back() - ours.intercept;
    const double residualBound = std::max(8.0 * 1048576, 0.10 * growth);
    const double idleGrowthKb = endOfData ? double(last.rssKb - endOfData->rssKb) : 0;
    qint64 worstPoints = 0, boundAtWorst = 0;
    for (const Row &r : rows)
        if (r.seriesPoints > worstPoints)
            worstPoints = r.seriesPoints, boundAtWorst = r.seriesBound;
    qint64 ticks = 0;
    for (qint64 c : gapHistogram)
        ticks += c;
    auto gapPercentile = [&](double p) {
        qint64 seen = 0;
        for (size_t i = 0; i < gapHistogram.size(); ++i)
            if ((seen += gapHistogram[i]) >= qint64(p * double(ticks)))
                return double(i + 1);
        return double(gapHistogram.size());
    };
    double worstGap = 0;
    for (const Row &r : rows)
        worstGap = std::max(worstGap, r.worstGapMs);

    std::printf("\nkivo exit code %d; %lld batches, %lld samples, %lld component values stored; "
                "simulated %.1f s in %.1f s of wall time\n",
        exitCode, batches, samples, values, endOfData ? endOfData->simTimeS : 0.0, finishedAtS);
    std::printf("results model: %.1f bytes per value allocated at the end, %.1f used; its "
                "allocation grew by %.1f bytes per value over the fitted rows\n",
        storePerValue, storeSizePerValue, allocated.slope);
    if (warmRow)
        std::printf("warm-up: the first %.0f values (%.0f %%), RSS %.1f -> %.1f MB, chart points "
                    "%lld\n",
            double(warmRow->values), 100.0 * double(warmRow->values) / double(values),
            baselineKb / 1024.0, warmRow->rssKb / 1024.0, warmRow->seriesPoints);
    std::printf("our RSS = %.1f MB + %.1f bytes x values (%zu rows); worst residual %.2f MB "
                "(bound %.1f MB); growth %.1f MB\n",
        ours.intercept / 1048576, ours.slope, x.size(), ours.worstResidual / 1048576,
        residualBound / 1048576, growth / 1048576);
    std::printf("our RSS while idle for %.0f s after the run: %+.2f MB; VmHWM %.1f MB\n", idleS,
        idleGrowthKb / 1024, last.hwmKb / 1024.0);
    std::printf("kivo RSS = %.1f MB + %.1f bytes x values; worst residual %.2f MB; its history "
                "frames are %.1f bytes per value on the wire, %.1f kept\n",
        theirs.intercept / 1048576, theirs.slope, theirs.worstResidual / 1048576, framePerValue,
        keptPerValue);
    std::printf("chart series: %lld points at the end (at most %lld over the run; bound %lld)\n",
        last.seriesPoints, worstPoints, boundAtWorst);
    std::printf("log: %d lines held at the end\n", last.logLines);
    std::printf("GUI event loop (1 ms timer): worst gap %.1f ms, p99 below %.0f ms, %lld ticks\n",
        worstGap, gapPercentile(0.99), ticks);

    struct Check {
        const char *what;
        bool ok;
    };
    const std::array<Check, 6> checks {{
        {"the run finished and was followed to its end", failure.isEmpty() && exitCode == 0},
        {"our RSS grows no faster than the stored data (slope <= 1.25 x the model's allocation)",
            x.size() >= 3 && ours.slope <= 1.25 * allocated.slope},
        {"our RSS growth is explained by the data (worst residual within the bound)",
            x.size() >= 3 && ours.worstResidual <= residualBound},
        {"our RSS flat while idle (at most +1 MB)", idleGrowthKb <= 1024},
        {"kivo's RSS grows only with its replay history (slope <= 1.25 x kept frame bytes)",
            kx.size() >= 3 && theirs.slope <= 1.25 * keptPerValue},
        {"chart series bounded by the pixel columns", worstPoints <= boundAtWorst},
    }};
    bool allOk = true;
    for (const Check &c : checks) {
        std::printf("%s: %s\n", c.ok ? "ok  " : "FAIL", c.what);
        allOk = allOk && c.ok;
    }
    std::printf("%s\n", allOk ? "memory grew only with stored data" : "memory check failed");
    return allOk ? 0 : 1;
}
