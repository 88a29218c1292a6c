// Storage speed and memory of KvcResultsData against plain vectors.
//
// Feeds batches of a realistic mix (time, fem.iteration, fem.error, 20 scalars,
// a 3 x 1 vector, an indexed value of 10 lines: 25 samples, 36 component values
// per batch) and reports component values stored per second and heap bytes per
// stored value, next to the floor of appending the same doubles (value and its
// x) to plain std::vector and QVector, measured in the same run.
//
// Usage: bench_resultsdata [batches]   (default 200000)

#include "kvcresultsdata.h"

#include <kvcommclientdata.h>

#include <QCoreApplication>
#include <QVector>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <malloc.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int numScalars = 20;
constexpr int vectorSize = 3;
constexpr int indexLines = 10;
constexpr int ringSize = 1024;

// Heap in use: small blocks plus mmap'ed large ones (big vectors end up there).
size_t heapInUse()
{
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

void setRules(KvCommClientData &store)
{
    QVector<KvCommClientTrackedRuleInfo> rules(3);
    QVector<KvCommClientTrackedRuleDataInfo> infos;
    auto add = [&](int rule, const QString &name, int rows, int indexedBy) {
        KvCommClientTrackedRuleDataInfo info;
        info.id = infos.size();
        info.ruleId = rule;
        info.name = name;
        info.numRows = rows;
        info.indexedBy = indexedBy;
        infos.append(info);
        ++rules[rule].numTrackedData;
    };
    rules[0].name = QStringLiteral("monitor");
    add(0, QStringLiteral("time"), 1, 0);
    add(0, QStringLiteral("fem.iteration"), 1, 0);
    add(0, QStringLiteral("fem.error"), 1, 0);
    rules[1].name = QStringLiteral("probes");
    for (int i = 0; i < numScalars; ++i)
        add(1, QStringLiteral("s%1").arg(i), 1, 0);
    add(1, QStringLiteral("v"), vectorSize, 0);
    rules[2].name = QStringLiteral("field");
    add(2, QStringLiteral("f"), 1, 1);
    QString error;
    if (!store.setRuleData(rules, infos, &error)) {
        std::fprintf(stderr, "rule data refused: %s\n", qPrintable(error));
        std::exit(1);
    }
    QStringList lines;
    for (int l = 0; l < indexLines; ++l)
        lines << QStringLiteral("N%1").arg(l);
    if (!store.addTrackedIndexData(2,
            KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, lines), 0, &error)) {
        std::fprintf(stderr, "index data refused: %s\n", qPrintable(error));
        std::exit(1);
    }
}

QList<KvCommClientTrackedData> makeEmptyBatch()
{
    QList<KvCommClientTrackedData> batch;
    int id = 0;
    for (int i = 0; i < 3 + numScalars; ++i)
        batch.append(KvCommClientTrackedData(id++, QVector<double>(1)));
    batch.append(KvCommClientTrackedData(id++, QVector<double>(vectorSize)));
    batch.append(KvCommClientTrackedData(id++, QVector<double>(indexLines)));
    return batch;
}

void fill(QList<KvCommClientTrackedData> &batch, int b)
{
    const double t = b * 1e-3;
    batch[0].values[0] = t;
    for (int s = 1; s < batch.size(); ++s) {
        QVector<double> &values = batch[s].values;
        for (int i = 0; i < values.size(); ++i)
            values[i] = t * (s + 1) + i;
    }
}

// Batches are prepared before the clock starts and fed in turn, so that the
// figures hold storage only (values repeat after ringSize batches, which does
// not change what storing costs).
QVector<QList<KvCommClientTrackedData>> makeRing()
{
    QVector<QList<KvCommClientTrackedData>> ring;
    for (int b = 0; b < ringSize; ++b) {
        ring.append(makeEmptyBatch());
        fill(ring.last(), b);
    }
    return ring;
}

int componentsPerBatch(const QList<KvCommClientTrackedData> &batch)
{
    int n = 0;
    for (const KvCommClientTrackedData &s : batch)
        n += s.values.size();
    return n;
}

struct Figures {
    double seconds = 0;
    size_t heap = 0;
    size_t capacityBytes = 0;
    qint64 values = 0;
};

size_t capacityOf(const KvcResultsData &model, int numTracked)
{
    // 24 bytes of QArrayData header per allocated vector.
    size_t bytes = 0;
    for (int id = 0; id < numTracked; ++id) {
        const KvcResultsData::TrackedData &h = model.simTrackedData(id);
        bytes += size_t(h.time.capacity()) * sizeof(double) + 24;
        bytes += size_t(h.data.capacity()) * sizeof(QVector<double>) + 24;
        for (const QVector<double> &c : h.data)
            bytes += size_t(c.capacity()) * sizeof(double) + 24;
    }
    return bytes;
}

enum class Feed { ThroughStore, SignalOnly, SignalWithReceiver };

Figures runModel(int batches, Feed feed)
{
    Figures f;
    auto store = QSharedPointer<KvCommClientData>::create();
    const auto ring = makeRing();
    const QList<KvCommClientTrackedData> &batch = ring.first();
    const int perBatch = componentsPerBatch(batch);
    qint64 received = 0;
    size_t before = 0;
    {
        KvcResultsData model;
        model.setSimulationData(store);
        if (feed == Feed::SignalWithReceiver)
            QObject::connect(
                &model, &KvcResultsData::trackedDataReceived, [&received](int) { ++received; });
        setRules(*store);
        before = heapInUse();
        const auto t0 = Clock::now();
        for (int b = 0; b < batches; ++b) {
            if (feed == Feed::ThroughStore)
                store->addTrackedData(ring[b % ringSize], b);
            else
                emit store->trackedDataReceived(ring[b % ringSize], b);
        }
        f.seconds = std::chrono::duration<double>(Clock::now() - t0).count();
        f.heap = heapInUse() - before;
        f.capacityBytes = capacityOf(model, store->simNumTrackedData());
        f.values = qint64(batches) * perBatch;
        if (model.simTrackedData(batch.last().id).time.size() != batches) {
            std::fprintf(stderr, "model stored %d samples of %d\n",
                int(model.simTrackedData(batch.last().id).time.size()), batches);
            std::exit(1);
        }
    }
    if (feed == Feed::SignalWithReceiver && received != qint64(batches) * batch.size()) {
        std::fprintf(stderr, "announced %lld samples\n", received);
        std::exit(1);
    }
    return f;
}

// The floor: every component value appended with its x to its own pair of
// plain vectors, what any per-series store must at least do.
template<typename Vec> Figures runFloor(int batches)
{
    Figures f;
    const auto ring = makeRing();
    const int perBatch = componentsPerBatch(ring.first());
    const size_t before = heapInUse();
    {
        std::vector<Vec> xs(perBatch), ys(perBatch);
        const auto t0 = Clock::now();
        for (int b = 0; b < batches; ++b) {
            const QList<KvCommClientTrackedData> &batch = ring[b % ringSize];
            const double x = batch.first().values.first();
            int k = 0;
            for (const KvCommClientTrackedData &s : batch) {
                for (double v : s.values) {
                    xs[k].push_back(x);
                    ys[k].push_back(v);
                    ++k;
                }
            }
        }
        f.seconds = std::chrono::duration<double>(Clock::now() - t0).count();
        f.heap = heapInUse() - before;
        for (int k = 0; k < perBatch; ++k)
            f.capacityBytes
                += (size_t(xs[k].capacity()) + size_t(ys[k].capacity())) * sizeof(double);
        f.values = qint64(batches) * perBatch;
    }
    return f;
}

// The two overheads that the model has over the floor, measured alone: the
// store's validation of a batch (no model attached), and one emission of
// trackedDataReceived(int) per sample.
Figures runStoreOnly(int batches)
{
    Figures f;
    const auto ring = makeRing();
    KvCommClientData store;
    setRules(store);
    const auto t0 = Clock::now();
    for (int b = 0; b < batches; ++b)
        store.addTrackedData(ring[b % ringSize], b);
    f.seconds = std::chrono::duration<double>(Clock::now() - t0).count();
    f.values = qint64(batches) * componentsPerBatch(ring.first());
    return f;
}

Figures runEmitOnly(int batches)
{
    Figures f;
    KvcResultsData model;
    const int samples = makeEmptyBatch().size();
    const auto t0 = Clock::now();
    for (int b = 0; b < batches; ++b)
        for (int s = 0; s < samples; ++s)
            emit model.trackedDataReceived(s);
    f.seconds = std::chrono::duration<double>(Clock::now() - t0).count();
    f.values = qint64(batches) * componentsPerBatch(makeEmptyBatch());
    return f;
}

void print(const char *what, const Figures &f, bool memory = true)
{
    if (memory)
        std::printf("%-34s %8.2f M values/s %7.2f ns/value %7.2f B/value (heap) %7.2f B/value "
                    "(capacity)\n",
            what, f.values / f.seconds / 1e6, f.seconds * 1e9 / f.values, double(f.heap) / f.values,
            double(f.capacityBytes) / f.values);
    else
        std::printf("%-34s %8.2f M values/s %7.2f ns/value\n", what, f.values / f.seconds / 1e6,
            f.seconds * 1e9 / f.values);
}

void keepBest(Figures &best, const Figures &run)
{
    if (best.values == 0 || run.seconds < best.seconds)
        best = run;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    const int batches = argc > 1 ? std::atoi(argv[1]) : 200000;
    const int rounds = argc > 2 ? std::atoi(argv[2]) : 5;
    std::printf("%d batches of 25 samples, 36 component values each: %lld values; best of %d "
                "rounds\n",
        batches, qint64(batches) * 36, rounds);
    std::printf("heap: growth of mallinfo2() uordblks + hblkhd over the run; capacity: sum of "
                "the vectors' capacities (+ 24 B header each for QVector)\n\n");

    // Warm the allocator and the code once, then measure in rounds, every
    // variant once per round, so that load from other processes on the machine
    // spreads over all of them; the best round of each counts.
    runModel(batches / 10, Feed::ThroughStore);
    runFloor<std::vector<double>>(batches / 10);

    Figures store, signal, receiver, stdFloor, qtFloor, storeOnly, emitOnly;
    for (int r = 0; r < rounds; ++r) {
        keepBest(store, runModel(batches, Feed::ThroughStore));
        keepBest(signal, runModel(batches, Feed::SignalOnly));
        keepBest(receiver, runModel(batches, Feed::SignalWithReceiver));
        keepBest(stdFloor, runFloor<std::vector<double>>(batches));
        keepBest(qtFloor, runFloor<QVector<double>>(batches));
        keepBest(storeOnly, runStoreOnly(batches));
        keepBest(emitOnly, runEmitOnly(batches));
    }

    print("model, fed through the store", store);
    print("model, store signal only", signal);
    print("model, signal + 1 receiver", receiver);
    print("floor std::vector (value + x)", stdFloor);
    print("floor QVector (value + x)", qtFloor);
    print("part: store validation alone", storeOnly, false);
    print("part: 25 emissions per batch alone", emitOnly, false);

    const double rate = store.values / store.seconds;
    const double floorRate = stdFloor.values / stdFloor.seconds;
    const double qtFloorRate = qtFloor.values / qtFloor.seconds;
    std::printf("\ngoal: >= 10 M values/s: %s (%.1f M/s through the store)\n",
        rate >= 1e7 ? "met" : "MISSED", rate / 1e6);
    std::printf("goal: within 2x of the std::vector floor: %s (%.2fx; %.2fx of the QVector "
                "floor; model alone %.2fx)\n",
        floorRate / rate <= 2.0 ? "met" : "MISSED", floorRate / rate, qtFloorRate / rate,
        floorRate * signal.seconds / signal.values);
    const double bytes = double(store.heap) / store.values;
    std::printf("goal: memory within 2x of 16 B/value: %s (%.2f B/value)\n",
        bytes <= 32.0 ? "met" : "MISSED", bytes);
    return 0;
}
