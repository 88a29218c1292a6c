// The whole monitoring chain at full speed: the real simulator `kivo` runs a
// model without pacing (examples/bench-flood.lua by default) and streams its
// samples to a KvCommClient here; the client's store feeds a KvcResultsData,
// which a shown KvcResultsWidget (offscreen) draws. Reports, in one run:
// - samples and component values per second received and stored, over the
//   time from the first to the last batch stored;
// - latency: from a batch leaving the simulator to its samples being stored.
//   The simulator stamps each batch with the milliseconds since its start,
//   and its clock starts right before it reports Loading; ours starts when the
//   Loading status arrives. Latency = our clock at storage - the stamp; it
//   reads low by the Loading status's own transit (well under a millisecond on
//   an idle loopback) and carries the stamp's millisecond truncation (0..1 ms
//   high);
// - the GUI's event-loop stalls: a 1 ms precise timer records the gaps
//   between its ticks while the run lasts (worst and p99);
// - peak memory (VmHWM) and its growth over the run per stored value, and the
//   store's own bytes per value (vector capacities);
// - lost or reordered samples: the store counts missed sequence numbers;
// - the floors, measured in the same run afterwards: raw loopback TCP with the
//   same number of bytes as the sample frames, and appending the same number of
//   doubles to a plain std::vector.
//
// Usage: bench_endtoend [--no-antialias] [model.lua]

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
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
#include <QtCharts/QChartView>
#include <QtCharts/QXYSeries>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <ctime>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace {

double percentile(std::vector<double> v, double p)
{
    if (v.empty())
        return 0.0;
    std::sort(v.begin(), v.end());
    return v[std::min(v.size() - 1, size_t(p * double(v.size() - 1) + 0.5))];
}

// Plain sockets, a writer thread and a reader: the most the loopback carries.
double loopbackBytesPerSecond(qint64 bytes)
{
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t len = sizeof addr;
    if (listener < 0 || ::bind(listener, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0
        || ::listen(listener, 1) != 0
        || ::getsockname(listener, reinterpret_cast<sockaddr *>(&addr), &len) != 0) {
        if (listener >= 0)
            ::close(listener);
        return -1;
    }
    std::thread writer([addr, bytes] {
        const int s = ::socket(AF_INET, SOCK_STREAM, 0);
        if (::connect(s, reinterpret_cast<const sockaddr *>(&addr), sizeof addr) == 0) {
            std::vector<char> chunk(64 * 1024, 'x');
            qint64 left = bytes;
            while (left > 0) {
                const ssize_t n = ::write(
                    s, chunk.data(), size_t(std::min<qint64>(left, qint64(chunk.size()))));
                if (n <= 0)
                    break;
                left -= n;
            }
        }
        ::close(s);
    });
    const int r = ::accept(listener, nullptr, nullptr);
    QElapsedTimer clock;
    clock.start();
    std::vector<char> buffer(64 * 1024);
    qint64 got = 0;
    while (r >= 0 && got < bytes) {
        const ssize_t n = ::read(r, buffer.data(), buffer.size());
        if (n <= 0)
            break;
        got += n;
    }
    const double s = clock.nsecsElapsed() / 1e9;
    writer.join();
    if (r >= 0)
        ::close(r);
    ::close(listener);
    return got == bytes ? double(bytes) / s : -1;
}

double vectorAppendValuesPerSecond(qint64 values)
{
    QElapsedTimer clock;
    clock.start();
    std::vector<double> v;
    for (qint64 i = 0; i < values; ++i)
        v.push_back(double(i) * 1e-3);
    const double s = clock.nsecsElapsed() / 1e9;
    // Keep the loop from being optimised away.
    volatile double sink = v.empty() ? 0.0 : v.back();
    (void)sink;
    return double(values) / s;
}

// Which event blocked the loop longest: the top-level dispatches, timed by the
// receiver's class and the event type, so that a stall has a name.
class BenchApp : public QApplication
{
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        if (depth > 0)
            return QApplication::notify(receiver, event);
        // Named before: the receiver may delete itself while handling the event.
        // A timer is named by its owner too: the view, the client and this
        // benchmark all have timers.
        QString key = QString::fromLatin1(receiver->metaObject()->className());
        if (receiver->parent() && qobject_cast<QTimer *>(receiver))
            key += QLatin1Char('<') + receiver->parent()->metaObject()->className()
                + QLatin1Char('>');
        key += QLatin1Char(' ') + QString::number(int(event->type()));
        ++depth;
        QElapsedTimer t;
        t.start();
        const double cpuStart = threadCpuMs();
        const bool result = QApplication::notify(receiver, event);
        const double ms = t.nsecsElapsed() / 1e6;
        const double cpu = threadCpuMs() - cpuStart;
        --depth;
        Cost &c = costs[key];
        c.total += ms;
        c.worst = std::max(c.worst, ms);
        c.worstCpu = std::max(c.worstCpu, cpu);
        ++c.count;
        return result;
    }

    // The GUI thread's own CPU time: on a busy machine an event's wall time
    // includes the time the thread waited for a core.
    static double threadCpuMs()
    {
        timespec ts {};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
        return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
    }

    struct Cost {
        double total = 0;
        double worst = 0;
        double worstCpu = 0;
        qint64 count = 0;
    };
    QHash<QString, Cost> costs;
    int depth = 0;
};

} // namespace

int main(int argc, char *argv[])
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    BenchApp app(argc, argv);
    QStringList args = app.arguments();
    // Diagnosis: the charts without antialiasing, to see what the wide
    // antialiased lines cost.
    const bool noAntialias = args.removeAll(QStringLiteral("--no-antialias")) > 0;
    const QString model
        = args.size() > 1 ? args.at(1) : QStringLiteral(KVC_EXAMPLES_DIR "/bench-flood.lua");
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
    if (noAntialias)
        for (QtCharts::QChartView *chartView : view.findChildren<QtCharts::QChartView *>())
            chartView->setRenderHint(QPainter::Antialiasing, false);
    view.show();

    const qint64 baselineKb = procStatusKb(QStringLiteral("self"), "VmRSS");

    // Stalls of the event loop, from the connection to the final status.
    QElapsedTimer wall;
    wall.start();
    std::vector<double> gaps;
    gaps.reserve(1 << 20);
    qint64 lastTick = -1;
    bool measuring = false;
    QTimer ticker;
    ticker.setTimerType(Qt::PreciseTimer);
    ticker.setInterval(1);
    QObject::connect(&ticker, &QTimer::timeout, [&] {
        const qint64 now = wall.nsecsElapsed();
        if (measuring && lastTick >= 0)
            gaps.push_back((now - lastTick) / 1e6);
        lastTick = now;
    });
    ticker.start();

    QElapsedTimer sinceLoading;
    qint64 samples = 0, values = 0, batches = 0;
    double firstStoredMs = -1, lastStoredMs = 0;
    std::vector<double> latencies;
    latencies.reserve(1 << 18);
    QByteArray oneBatchFrame;
    qint64 frameBytes = 0;
    // Connected after the results model's connection: runs once the batch is stored.
    QObject::connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, &app,
        [&](const QList<KvCommClientTrackedData> &list, qint64 elapsedMs) {
            const double now = sinceLoading.isValid() ? sinceLoading.nsecsElapsed() / 1e6 : 0.0;
            if (firstStoredMs < 0)
                firstStoredMs = now;
            lastStoredMs = now;
            ++batches;
            samples += list.size();
            qint64 n = 0;
            for (const KvCommClientTrackedData &s : list)
                n += s.values.size();
            values += n;
            latencies.push_back(now - double(elapsedMs));
            // Every batch of a run has the same shape: one encoding gives the wire size.
            if (oneBatchFrame.isEmpty())
                oneBatchFrame = KvCommFrameWriter::samples(list, elapsedMs, samples);
            frameBytes += oneBatchFrame.size();
        });

    int exitCode = 0;
    double runningMs = 0, finishedMs = 0;
    QString failure;
    QObject::connect(&client, &KvCommClient::simulationStatusChanged, &app,
        [&](KvCommSimulationStatus status, const QDateTime &) {
            if (status == KvCommStatusLoading) {
                sinceLoading.start();
                measuring = true;
            } else if (status == KvCommStatusRunning) {
                runningMs = sinceLoading.nsecsElapsed() / 1e6;
            } else if (status >= KvCommStatusFinished) {
                finishedMs = sinceLoading.nsecsElapsed() / 1e6;
                measuring = false;
                if (status != KvCommStatusFinished)
                    failure
                        = QStringLiteral("the simulation ended with status %1").arg(int(status));
                // A last frame or two of the view before stopping.
                QTimer::singleShot(200, &app, &QCoreApplication::quit);
            }
        });
    QObject::connect(&client, &KvCommClient::serverError, &app, [&](const QString &msg) {
        failure = QStringLiteral("client: ") + msg;
        app.quit();
    });

    QProcess sim;
    sim.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    sim.setStandardOutputFile(QProcess::nullDevice());
    QObject::connect(&sim, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), &app,
        [&](int code, QProcess::ExitStatus) { exitCode = code; });
    sim.start(kivo,
        {model, QStringLiteral("-local"), QStringLiteral("0"), QStringLiteral("-s"), connFile,
            QStringLiteral("-wait"), QStringLiteral("0"), QStringLiteral("-noserver"),
            QStringLiteral("-noconsole")});
    if (!sim.waitForStarted(10000)) {
        std::fprintf(stderr, "kivo did not start: %s\n", qPrintable(sim.errorString()));
        return 2;
    }

    QTimer poll;
    whenListening(
        poll, connFile, sim,
        [&](quint16 port) { client.connectToServer(QStringLiteral("127.0.0.1"), port, 5000); },
        [&] {
            failure = QStringLiteral("no connection file from kivo");
            app.quit();
        });

    app.exec();
    ticker.stop();
    const qint64 peakKb = procStatusKb(QStringLiteral("self"), "VmHWM");
    if (!sim.waitForFinished(10000)) {
        sim.kill();
        sim.waitForFinished(2000);
    }
    // On a failure the figures so far still say how far the chain got.
    if (!failure.isEmpty())
        std::fprintf(stderr, "error: %s\n", qPrintable(failure));

    // What the results model holds: every component vector and its x vector.
    qint64 storeBytes = 0;
    for (int id = 0; id < client.clientData()->simNumTrackedData(); ++id) {
        const KvcResultsData::TrackedData &t = results->simTrackedData(id);
        storeBytes += qint64(t.time.capacity()) * qint64(sizeof(double));
        for (const QVector<double> &c : t.data)
            storeBytes += qint64(c.capacity()) * qint64(sizeof(double));
    }

    const double seconds = (lastStoredMs - firstStoredMs) / 1000.0;
    const qint64 missed = client.clientData()->samplesMissed();
    std::printf("model %s, kivo exit code %d\n", qPrintable(QFileInfo(model).fileName()), exitCode);
    std::printf("stored: %lld batches, %lld samples, %lld component values in %.3f s\n", batches,
        samples, values, seconds);
    std::printf("Running status at %.1f ms, final status at %.1f ms after Loading\n", runningMs,
        finishedMs);
    std::printf("throughput: %.3g samples/s, %.3g values/s, %.3g batches/s\n", samples / seconds,
        values / seconds, batches / seconds);
    std::printf("latency server -> stored: median %.2f ms, p99 %.2f ms, max %.2f ms\n",
        percentile(latencies, 0.5), percentile(latencies, 0.99), percentile(latencies, 1.0));
    std::printf("GUI event loop (1 ms timer): worst gap %.1f ms, p99 %.2f ms, %zu ticks\n",
        percentile(gaps, 1.0), percentile(gaps, 0.99), gaps.size());
    std::printf("memory: VmRSS before %.1f MB, VmHWM %.1f MB: %.1f bytes per stored value over "
                "the run; the results model holds %.1f bytes per value\n",
        baselineKb / 1024.0, peakKb / 1024.0,
        values ? (peakKb - baselineKb) * 1024.0 / double(values) : 0.0,
        values ? double(storeBytes) / double(values) : 0.0);
    std::printf("samples missed or out of order: %lld (received %lld)\n", missed,
        client.clientData()->samplesReceived());

    // Where the GUI thread's time went, and the picture it drew.
    QVector<QPair<double, QString>> byTotal;
    for (auto it = app.costs.cbegin(); it != app.costs.cend(); ++it)
        byTotal.append({it.value().total, it.key()});
    std::sort(byTotal.begin(), byTotal.end(), std::greater<>());
    for (int i = 0; i < std::min(6, int(byTotal.size())); ++i) {
        const BenchApp::Cost &c = app.costs[byTotal[i].second];
        std::printf("  GUI time in %-36s %8.0f ms, %7lld events, worst %.1f ms (%.1f ms of CPU)\n",
            qPrintable(byTotal[i].second), c.total, c.count, c.worst, c.worstCpu);
    }
    for (QtCharts::QChartView *chartView : view.findChildren<QtCharts::QChartView *>()) {
        int series = 0, points = 0;
        for (QtCharts::QAbstractSeries *s : chartView->chart()->series()) {
            ++series;
            if (auto *xy = qobject_cast<QtCharts::QXYSeries *>(s))
                points += xy->count();
        }
        std::printf("  chart \"%s\": %d series, %d points drawn\n",
            qPrintable(chartView->chart()->title()), series, points);
    }

    const double loopback = loopbackBytesPerSecond(frameBytes);
    const double vectorRate = vectorAppendValuesPerSecond(values);
    std::printf("floor, loopback TCP: %lld bytes (the sample frames) at %.1f MB/s = %.3g values/s; "
                "end to end carried %.1f MB/s (%.1f %%)\n",
        frameBytes, loopback / 1e6, loopback / double(frameBytes) * double(values),
        frameBytes / seconds / 1e6, 100.0 * (frameBytes / seconds) / loopback);
    std::printf("floor, std::vector append of %lld doubles: %.3g values/s\n", values, vectorRate);
    return failure.isEmpty() ? 0 : 1;
}
