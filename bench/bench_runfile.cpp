// Saving and reopening a run of 10 M values: time to save, bytes per value
// on disk, values read back per second (docs/performance.md).
//
// Three shapes: "field", a step of time, iteration, error, two scalars and a
// value indexed by 100 nodes (105 values a step, like kivo's heat models with
// a probe line); "scalars", a step of time and four scalars (5 values a step:
// the frame overhead of a batch is paid for few values); "sparse", the same
// with two of the scalars sampled every other step only (each sample of those
// is written with its time step).

#include "kvcresultsdata.h"
#include "kvcrunfile.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

void runShape(const char *shape, int lines, int scalars, qint64 targetValues, const QString &dir,
    bool sparse = false)
{
    auto store = QSharedPointer<KvCommClientData>::create();
    KvcResultsData data;
    data.setSimulationData(store);
    KvCommClientTrackedRuleInfo sim, probe;
    sim.name = QStringLiteral("sim");
    sim.numTrackedData = 1 + scalars;
    probe.name = QStringLiteral("probe");
    probe.numTrackedData = lines > 0 ? 1 : 0;
    QVector<KvCommClientTrackedRuleDataInfo> values;
    for (int i = 0; i < sim.numTrackedData + probe.numTrackedData; ++i) {
        KvCommClientTrackedRuleDataInfo info;
        info.id = i;
        info.ruleId = i < sim.numTrackedData ? 0 : 1;
        info.name = i == 0 ? QStringLiteral("time") : QStringLiteral("v%1").arg(i);
        info.indexedBy = info.ruleId == 1 ? 1 : 0;
        values.append(info);
    }
    store->setRuleData({sim, probe}, values);
    if (lines > 0) {
        QStringList labels;
        for (int l = 0; l < lines; ++l)
            labels << QStringLiteral("node %1").arg(l);
        store->addTrackedIndexData(
            1, KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, labels), 0);
    }
    // A sparse run's odd scalars are half of its scalars, in half its steps.
    const double perStep = 1 + scalars + lines - (sparse ? scalars / 4.0 : 0.0);
    const qint64 steps = qint64(double(targetValues) / perStep);
    QList<KvCommClientTrackedData> batch;
    for (int i = 0; i < values.size(); ++i)
        batch.append(KvCommClientTrackedData(i, QVector<double>(i == 1 + scalars ? lines : 1)));
    const QList<KvCommClientTrackedData> full = batch;
    for (qint64 k = 0; k < steps; ++k) {
        const double t = 1e-3 * double(k + 1);
        batch = full;
        // Every other step of a sparse run lacks the odd scalars.
        if (sparse && k % 2 == 1)
            batch.erase(std::remove_if(batch.begin(), batch.end(),
                            [scalars](const KvCommClientTrackedData &s) {
                                return s.id % 2 == 1 && s.id <= scalars;
                            }),
                batch.end());
        for (KvCommClientTrackedData &s : batch) {
            for (int c = 0; c < s.values.size(); ++c)
                s.values[c] = s.id == 0 ? t : std::sin(t * (s.id + c)) * 300.0;
        }
        store->addTrackedData(batch, 5 * k);
    }
    qint64 total = 0;
    for (int i = 0; i < values.size(); ++i)
        total += data.simTrackedData(i).time.size() * qMax(1, data.simTrackedData(i).data.size());

    const QString file = dir + QStringLiteral("/run.kivorun");
    KvcRunView view;
    view.status = KvcActionManager::Finished;
    QElapsedTimer clock;
    clock.start();
    QString error;
    if (!KvcRunFile::save(file, data, view, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return;
    }
    const qint64 saveMs = clock.elapsed();
    const qint64 size = QFileInfo(file).size();
    clock.restart();
    KvcRunFile::Run run;
    KvcRunFile::open(file, run);
    const qint64 openMs = clock.elapsed();
    std::printf("%-8s %lld values (%.1f a step): save %lld ms, %lld bytes = %.2f bytes/value, "
                "open %lld ms = %.1f M values/s%s\n",
        shape, total, double(total) / double(qMax<qint64>(steps, 1)), saveMs, size,
        double(size) / double(total), openMs, double(total) / 1e3 / double(qMax<qint64>(openMs, 1)),
        run.complete && run.data->simTimeData().size() == steps ? "" : " (NOT COMPLETE)");
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const qint64 values = argc > 1 ? QByteArray(argv[1]).toLongLong() : 10000000;
    runShape("field", 100, 4, values, dir.path());
    runShape("scalars", 0, 4, values, dir.path());
    runShape("sparse", 0, 4, values, dir.path(), true);
    return 0;
}
