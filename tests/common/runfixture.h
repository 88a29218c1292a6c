#pragma once

#include "kvcminmaxindex.h"
#include "kvcresultsdata.h"
#include "kvcrunfile.h"
#include "ruledatafixture.h"

#include <QSharedPointer>
#include <QStringList>

#include <cmath>
#include <cstring>

// A small run of every kind of value, fed through a store as a connection
// would: a value sampled before the first time sample, scalars, a 3 x 1
// vector with a unit, a value indexed by three nodes, NaN and infinities,
// and a log of every level.
namespace RunFixture {

struct Run {
    QSharedPointer<KvCommClientData> store = QSharedPointer<KvCommClientData>::create();
    QSharedPointer<KvcResultsData> data = QSharedPointer<KvcResultsData>::create();
    KvcRunView view;
};

inline void fill(Run &run, int steps = 20, int logLines = 50)
{
    using namespace RuleDataFixture;
    run.data->setSimulationData(run.store);
    run.data->setResultName(QStringLiteral("plate, run 1"));
    const QDateTime t0 = QDateTime::fromMSecsSinceEpoch(1700000000123, Qt::UTC);
    run.store->setSimulationInfo(QStringLiteral("heat"), QStringLiteral("a plate"),
        {QStringLiteral("plate.lua")}, t0, t0.addMSecs(250));
    setRules(*run.store,
        {{QStringLiteral("sim"), {{"time"}, {"fem.iteration"}, {"fem.error"}}},
            {QStringLiteral("probe, A"), {{"P", 0, 1, 1, "Pa"}, {"u", 0, 3, 1, "m"}, {"T", 1}}}});
    run.store->addTrackedIndexData(1,
        KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"n1", "n,2", "n\"3"}),
        0);
    run.store->addTrackedData({KvCommClientTrackedData(3, {101325.0})}, 0);
    for (int k = 0; k < steps; ++k) {
        const double t = 0.1 * (k + 1);
        QList<KvCommClientTrackedData> batch {KvCommClientTrackedData(0, {t}),
            KvCommClientTrackedData(1, {double(k % 7)}),
            KvCommClientTrackedData(2, {std::pow(10.0, -k)}),
            KvCommClientTrackedData(4, {t, -t, k == 3 ? NAN : 1.0 / 3.0}),
            KvCommClientTrackedData(5, {t * t, k == 5 ? INFINITY : 2.0, -1e-300})};
        if (k % 2 == 0)
            batch.append(KvCommClientTrackedData(3, {101325.0 + k}));
        run.store->addTrackedData(batch, 40 * (k + 1) + 7);
    }
    for (int i = 0; i < logLines; ++i)
        run.view.log.append({i % 9 - 1, QStringLiteral("line %1 of the log, ü\n").arg(i)});
    run.view.status = KvcActionManager::Finished;
    run.view.statusTime = t0.addSecs(60);
    run.view.chartGraphics = {0, 1, 2, 8};
}

// Everything a results view shows of a results data, as text: a difference
// shows where two models part.
inline QStringList dump(KvcResultsData &data)
{
    const auto bits = [](double v) {
        quint64 u;
        std::memcpy(&u, &v, sizeof v);
        return QString::number(u, 16);
    };
    QStringList out;
    out << data.name() << QString::number(data.timeTrackId());
    if (const QSharedPointer<KvCommClientData> store = data.simulationData()) {
        out << store->simName() << store->simDescription() << store->simFiles().join('|')
            << store->simLoadingTime().toString(Qt::ISODateWithMs)
            << store->simRunningTime().toString(Qt::ISODateWithMs);
        for (int r = 0; r < store->simNumRules(); ++r) {
            for (int t = 0; t < 3; ++t)
                out << QStringLiteral("index %1 %2: ").arg(r).arg(t)
                        + data.simRuleIndexData(r, t).lines().join('|');
        }
    }
    for (const KvcResultsData::GraphicsData *g : data.graphics())
        out << QStringList {g->title, g->xTitle, g->yTitle, g->series.join('|'),
            QString::number(g->trackId), QString::number(g->ruleId)}
                   .join(';');
    for (int id = 0; data.simTrackedData(id).id >= 0; ++id) {
        const KvcResultsData::TrackedData &h = data.simTrackedData(id);
        QStringList line {QString::number(id), bits(h.min), bits(h.max)};
        for (int c = 0; c < h.data.size(); ++c) {
            const KvcMinMaxIndex *index = data.simTrackedExtremes(id, c);
            const KvcMinMaxIndex::Extent e
                = index ? index->extent(h.data.at(c), 0, h.time.size()) : KvcMinMaxIndex::Extent();
            line << QStringLiteral("extent %1 %2 %3")
                        .arg(index ? index->size() : -1)
                        .arg(bits(e.min), bits(e.max));
        }
        for (int p = 0; p < h.time.size(); ++p) {
            line << bits(h.time.at(p));
            for (const QVector<double> &c : h.data)
                line << bits(c.at(p));
        }
        out << line.join(' ');
    }
    return out;
}

} // namespace RunFixture
