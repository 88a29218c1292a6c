#include "kvcresultsdata.h"

#include "ruledatafixture.h"

#include <QtTest>

#include <cmath>
#include <limits>

using namespace RuleDataFixture;

namespace {

// Results data following a store.
struct Followed {
    Followed() { model.setSimulationData(store); }

    QSharedPointer<KvCommClientData> store = QSharedPointer<KvCommClientData>::create();
    KvcResultsData model;
};

// One thing that happens to the store. "Raw" steps emit the store's signal
// directly, bypassing its validation, to reach the model's own defences.
struct Step {
    enum Kind { Index, Batch, RawIndex, RawBatch } kind = Batch;
    int rule = 0;
    int type = 0;
    QStringList lines;
    QList<KvCommClientTrackedData> batch;
    qint64 elapsed = 0;
};

using Steps = QVector<Step>;

KvCommClientTrackedData sample(int id, QVector<double> values)
{
    return KvCommClientTrackedData(id, std::move(values));
}

Step batch(qint64 elapsed, QList<KvCommClientTrackedData> samples, Step::Kind kind = Step::Batch)
{
    return Step {kind, 0, 0, {}, std::move(samples), elapsed};
}

Step rawBatch(qint64 elapsed, QList<KvCommClientTrackedData> samples)
{
    return batch(elapsed, std::move(samples), Step::RawBatch);
}

Step idx(int rule, int type, QStringList lines, Step::Kind kind = Step::Index)
{
    return Step {kind, rule, type, std::move(lines), {}, 0};
}

bool runStep(KvCommClientData &store, const Step &step, QString *error)
{
    const KvCommClientTrackedIndexData record(
        static_cast<KvCommClientTrackedIndexData::IndexType>(step.type), step.lines);
    switch (step.kind) {
    case Step::Index:
        return store.addTrackedIndexData(step.rule, record, step.elapsed, error);
    case Step::Batch:
        return store.addTrackedData(step.batch, step.elapsed, error);
    case Step::RawIndex:
        emit store.trackedIndexDataAvailable(step.rule, record, step.elapsed);
        return true;
    case Step::RawBatch:
        emit store.trackedDataReceived(step.batch, step.elapsed);
        return true;
    }
    return false;
}

QString num(double v)
{
    if (v == std::numeric_limits<double>::max())
        return QStringLiteral("DBL_MAX");
    if (v == std::numeric_limits<double>::lowest())
        return QStringLiteral("-DBL_MAX");
    if (std::isnan(v))
        return QStringLiteral("nan");
    if (v == 0.0)
        return std::signbit(v) ? QStringLiteral("-0") : QStringLiteral("0");
    return QString::number(v, 'g', 17);
}

QString nums(const QVector<double> &values)
{
    QStringList parts;
    for (double v : values)
        parts << num(v);
    return QLatin1Char('[') + parts.join(QLatin1Char(',')) + QLatin1Char(']');
}

QString quoted(const QStringList &names)
{
    return QLatin1Char('[') + names.join(QStringLiteral(", ")) + QLatin1Char(']');
}

// A rule graphic shows the tracked value of its own number after the special
// graphics, against the simulated time: only a deviation is printed.
QStringList dumpGraphics(const KvcResultsData &model)
{
    QStringList lines;
    for (int g = 0; g < model.graphics().size(); ++g) {
        const KvcResultsData::GraphicsData *d = model.graphics()[g];
        QString line = QStringLiteral("g%1 rule=%2 '%3'").arg(g).arg(d->ruleId).arg(d->title);
        if (d->ruleId < 0 || d->trackId != g - model.numSpecialGraphics())
            line += QStringLiteral(" track=%1").arg(d->trackId);
        if (d->ruleId < 0 || d->xTitle != QLatin1String("Time (s)"))
            line += QStringLiteral(" x='%1'").arg(d->xTitle);
        lines << line + QStringLiteral(" y='%1' series=%2").arg(d->yTitle, quoted(d->series));
    }
    return lines;
}

QStringList dumpSeries(const KvcResultsData &model)
{
    QStringList lines;
    for (int g = model.numSpecialGraphics(); g < model.graphics().size(); ++g)
        lines << QStringLiteral("g%1 series=%2").arg(g).arg(quoted(model.graphics()[g]->series));
    return lines;
}

// Histories still as sized by the rule data (no vectors, nothing stored) are
// left out, so that a table row lists what its samples did.
QStringList dumpHistories(const KvcResultsData &model, int count)
{
    QStringList lines;
    for (int i = 0; i < count; ++i) {
        const KvcResultsData::TrackedData &h = model.simTrackedData(i);
        if (h.id == i && h.time.isEmpty() && h.data.isEmpty()
            && h.min == std::numeric_limits<double>::max()
            && h.max == std::numeric_limits<double>::lowest())
            continue;
        QStringList data;
        for (const QVector<double> &component : h.data)
            data << nums(component);
        lines << QStringLiteral("h%1 id=%2 time=%3 data=[%4] min=%5 max=%6")
                     .arg(i)
                     .arg(h.id)
                     .arg(nums(h.time), data.join(QLatin1Char(',')), num(h.min), num(h.max));
    }
    return lines;
}

// The lines of `after` that are not in `before`, and "<key> gone" for each
// line of `before` whose key (its first word: "h3", "g8") `after` lacks.
QStringList changes(const QStringList &before, const QStringList &after)
{
    const auto key = [](const QString &line) { return line.section(QLatin1Char(' '), 0, 0); };
    QStringList lines;
    QStringList keys;
    for (const QString &line : after) {
        keys << key(line);
        if (!before.contains(line))
            lines << line;
    }
    for (const QString &line : before) {
        if (!keys.contains(key(line)))
            lines << key(line) + QStringLiteral(" gone");
    }
    return lines;
}

// Compares line by line, but prints both texts whole first, so that a failure
// shows every difference at once.
#define COMPARE_TEXT(actual, expected)                                                             \
    do {                                                                                           \
        const QStringList a_ = (actual);                                                           \
        const QStringList e_ = (expected);                                                         \
        if (a_ != e_)                                                                              \
            qWarning().noquote() << "\nactual:\n  " + a_.join(QStringLiteral("\n  "))              \
                    + "\nexpected:\n  " + e_.join(QStringLiteral("\n  "));                         \
        QCOMPARE(a_, e_);                                                                          \
    } while (false)

const QStringList specialGraphics {
    "g0 rule=-1 'Execution x Simulation time' track=-1 x='Time' y='Execution time (s)' series=[]",
    "g1 rule=-1 'Number of iterations' track=-2 x='Time' y='Number of iterations' "
    "series=[fem.iteration]",
    "g2 rule=-1 'Iteration error' track=-3 x='Iteration' y='Error' series=[fem.error]",
};

QStringList withSpecial(int iteration, int error, const QStringList &ruleGraphics)
{
    QStringList lines = specialGraphics;
    lines[1].replace(QLatin1String("track=-2"), QStringLiteral("track=%1").arg(iteration));
    lines[2].replace(QLatin1String("track=-3"), QStringLiteral("track=%1").arg(error));
    return lines + ruleGraphics;
}

// time 0, fem.iteration 1, fem.error 2, P 3, u 4, q 5 (indexed 1 x 2 by rule 2's type 0)
const Rules monitorRules {
    {"monitor", {{"time"}, {"fem.iteration"}, {"fem.error"}}},
    {"R", {{"P", 0, 1, 1, "m"}, {"u", 0, 3, 1}}},
    {"I", {{"q", 1, 1, 2}}},
};

// P 0, u 1: no time track
const Rules plainRules {{"R", {{"P"}, {"u", 0, 3, 1}}}};

} // namespace

Q_DECLARE_METATYPE(Rules)
Q_DECLARE_METATYPE(Steps)

class KvcResultsDataTest : public QObject
{
    Q_OBJECT

private slots:
    void constructorBuildsOnlyTheSpecialGraphics()
    {
        KvcResultsData model;
        COMPARE_TEXT(dumpGraphics(model), specialGraphics);
        QCOMPARE(model.numSpecialGraphics(), 3);
        QVERIFY(model.simulationData().isNull());
    }

    void ruleData_data()
    {
        QTest::addColumn<Rules>("rules");
        QTest::addColumn<int>("timeTrack");
        QTest::addColumn<QStringList>("graphics");

        QTest::newRow("no rules: special graphics only, nothing found")
            << Rules() << -1 << specialGraphics;
        QTest::newRow("special values found, each also gets a rule graphic")
            << monitorRules << 0
            << withSpecial(1, 2,
                   {"g3 rule=0 'monitor (time)' y='time' series=[time]",
                       "g4 rule=0 'monitor (fem.iteration)' y='fem.iteration' "
                       "series=[fem.iteration]",
                       "g5 rule=0 'monitor (fem.error)' y='fem.error' series=[fem.error]",
                       "g6 rule=1 'R (P)' y='P (m)' series=[P]",
                       "g7 rule=1 'R (u)' y='u' series=[u [1], u [2], u [3]]",
                       "g8 rule=2 'I (q)' y='q' series=[]"});
        QTest::newRow("fem.error before fem.iteration: both found")
            << Rules {{"a", {{"fem.error"}}}, {"b", {{"fem.iteration"}}}} << -1
            << withSpecial(1, 0,
                   {"g3 rule=0 'a (fem.error)' y='fem.error' series=[fem.error]",
                       "g4 rule=1 'b (fem.iteration)' y='fem.iteration' series=[fem.iteration]"});
        QTest::newRow("first of each name wins, later ones are ordinary")
            << Rules {{"a", {{"fem.iteration"}, {"time"}, {"fem.error"}}},
                   {"b", {{"fem.error"}, {"time"}, {"fem.iteration"}}}}
            << 1
            << withSpecial(0, 2,
                   {"g3 rule=0 'a (fem.iteration)' y='fem.iteration' series=[fem.iteration]",
                       "g4 rule=0 'a (time)' y='time' series=[time]",
                       "g5 rule=0 'a (fem.error)' y='fem.error' series=[fem.error]",
                       "g6 rule=1 'b (fem.error)' y='fem.error' series=[fem.error]",
                       "g7 rule=1 'b (time)' y='time' series=[time]",
                       "g8 rule=1 'b (fem.iteration)' y='fem.iteration' series=[fem.iteration]"});
        QTest::newRow("indexed values never take a special role")
            << Rules {{"a", {{"time", 1}, {"fem.iteration", 2}, {"fem.error", 3}, {"time"}}}} << 3
            << withSpecial(-2, -3,
                   {"g3 rule=0 'a (time)' y='time' series=[]",
                       "g4 rule=0 'a (fem.iteration)' y='fem.iteration' series=[]",
                       "g5 rule=0 'a (fem.error)' y='fem.error' series=[]",
                       "g6 rule=0 'a (time)' y='time' series=[time]"});
        QTest::newRow("names match exactly and case-sensitively")
            << Rules {{"a", {{"Time"}, {"time "}, {"FEM.ITERATION"}, {"fem.error2"}}}} << -1
            << withSpecial(-2, -3,
                   {"g3 rule=0 'a (Time)' y='Time' series=[Time]",
                       "g4 rule=0 'a (time )' y='time ' series=[time ]",
                       "g5 rule=0 'a (FEM.ITERATION)' y='FEM.ITERATION' series=[FEM.ITERATION]",
                       "g6 rule=0 'a (fem.error2)' y='fem.error2' series=[fem.error2]"});
        QTest::newRow("rule without values keeps the pairing of later rules")
            << Rules {{"first", {{"a"}}}, {"empty", {}}, {"third", {{"b"}, {"c"}}}} << -1
            << withSpecial(-2, -3,
                   {"g3 rule=0 'first (a)' y='a' series=[a]",
                       "g4 rule=2 'third (b)' y='b' series=[b]",
                       "g5 rule=2 'third (c)' y='c' series=[c]"});
        QTest::newRow("title built by two successive replacements, %1 in a name included")
            << Rules {{"R%2", {{"P", 0, 1, 1, "%1"}}}, {"%1", {{"x%1"}}}} << -1
            << withSpecial(-2, -3,
                   {"g3 rule=0 'RP (P)' y='P (%1)' series=[P]",
                       "g4 rule=1 'x%1 (%2)' y='x%1' series=[x%1]"});
        QTest::newRow("shapes: 2 x 2 numbered from 1, empty value without series")
            << Rules {{"S", {{"M", 0, 2, 2, "Pa"}, {"Z", 0, 0, 3}, {"row", 0, 1, 2}}}} << -1
            << withSpecial(-2, -3,
                   {"g3 rule=0 'S (M)' y='M (Pa)' series=[M [1], M [2], M [3], M [4]]",
                       "g4 rule=0 'S (Z)' y='Z' series=[]",
                       "g5 rule=0 'S (row)' y='row' series=[row [1], row [2]]"});
    }

    void ruleData()
    {
        QFETCH(Rules, rules);
        QFETCH(int, timeTrack);
        QFETCH(QStringList, graphics);

        Followed f;
        KvcResultsData &model = f.model;
        const QSharedPointer<KvCommClientData> &store = f.store;
        QCOMPARE(model.simulationData(), store);

        int graphicsAtSignal = -1;
        int historiesAtSignal = -1;
        int emitted = 0;
        connect(&model, &KvcResultsData::simulationRuleDataAvailable, this, [&] {
            ++emitted;
            graphicsAtSignal = model.graphics().size();
            historiesAtSignal = store->simNumTrackedData() > 0
                ? model.simTrackedData(store->simNumTrackedData() - 1).id + 1
                : 0;
        });

        QString error;
        QVERIFY2(setRules(*store, rules, &error), qPrintable(error));

        QCOMPARE(emitted, 1);
        QCOMPARE(graphicsAtSignal, graphics.size());
        QCOMPARE(historiesAtSignal, store->simNumTrackedData());
        COMPARE_TEXT(dumpGraphics(model), graphics);
        QCOMPARE(model.timeTrackId(), timeTrack);

        // Every history knows its id and is empty; only the time track has a
        // (single, empty) data vector.
        QStringList expected;
        if (timeTrack >= 0)
            expected << QStringLiteral("h%1 id=%1 time=[] data=[[]] min=DBL_MAX max=-DBL_MAX")
                            .arg(timeTrack);
        COMPARE_TEXT(dumpHistories(model, store->simNumTrackedData()), expected);
    }

    void samples_data()
    {
        QTest::addColumn<Rules>("rules");
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QStringList>("announced");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("messages");

        QTest::newRow("before any time sample x is 0.0 and the times are 0.0")
            << monitorRules
            << Steps {batch(1000, {sample(3, {5}), sample(4, {1, 2, 3}), sample(1, {7})})}
            << QStringList {"3:1", "4:1", "1:1"}
            << QStringList {"time=0 exec=0", "h1 id=1 time=[0] data=[[7]] min=7 max=7",
                   "h3 id=3 time=[0] data=[[5]] min=5 max=5",
                   "h4 id=4 time=[0] data=[[1],[2],[3]] min=1 max=3"}
            << QStringList {};
        QTest::newRow("time samples set the x of later samples, in batch order")
            << monitorRules
            << Steps {batch(2500, {sample(3, {1}), sample(0, {0.5}), sample(3, {2})}),
                   batch(4000, {sample(0, {1.25}), sample(3, {3}), sample(0, {2})}),
                   batch(4500, {sample(3, {4})})}
            << QStringList {"3:1", "0:1", "3:2", "0:2", "3:3", "0:3", "3:4"}
            << QStringList {"time=2 exec=4",
                   "h0 id=0 time=[0.5,1.25,2] data=[[2.5,4,4]] min=2.5 max=4",
                   "h3 id=3 time=[0,0.5,1.25,2] data=[[1,2,3,4]] min=1 max=4"}
            << QStringList {};
        QTest::newRow("execution times: strict min and max, not order of arrival")
            << Rules {{"m", {{"time"}}}}
            << Steps {batch(3000, {sample(0, {1})}), batch(1000, {sample(0, {2})}),
                   batch(1000, {sample(0, {3})}), batch(7, {sample(0, {4})})}
            << QStringList {"0:1", "0:2", "0:3", "0:4"}
            << QStringList {"time=4 exec=0.0070000000000000001",
                   "h0 id=0 time=[1,2,3,4] data=[[3,1,1,0.0070000000000000001]] "
                   "min=0.0070000000000000001 max=3"}
            << QStringList {};
        QTest::newRow("malformed time samples are dropped and announce nothing")
            << monitorRules
            << Steps {batch(1000, {sample(0, {0.5})}),
                   rawBatch(
                       2000, {sample(0, {}), sample(3, {1}), sample(0, {9, 9}), sample(3, {2})})}
            << QStringList {"0:1", "3:1", "3:2"}
            << QStringList {"time=0.5 exec=1", "h0 id=0 time=[0.5] data=[[1]] min=1 max=1",
                   "h3 id=3 time=[0.5,0.5] data=[[1,2]] min=1 max=2"}
            << QStringList {"time sample with 0 components dropped",
                   "time sample with 2 components dropped"};
        QTest::newRow("time declared 2 x 1: the store passes its samples, the model drops them")
            << Rules {{"m", {{"time", 0, 2, 1}, {"P"}}}}
            << Steps {batch(1000, {sample(0, {1, 2}), sample(1, {3})})} << QStringList {"1:1"}
            << QStringList {"time=0 exec=0", "h1 id=1 time=[0] data=[[3]] min=3 max=3"}
            << QStringList {"time sample with 2 components dropped"};
        QTest::newRow("strict comparisons: NaN, and -0 after +0, move neither min nor max")
            << plainRules
            << Steps {batch(0,
                   {sample(0, {std::nan("")}), sample(0, {0.0}), sample(0, {-0.0}),
                       sample(0, {std::nan("")})})}
            << QStringList {"0:1", "0:2", "0:3", "0:4"}
            << QStringList {"time=0 exec=0",
                   "h0 id=0 time=[0,0,0,0] data=[[nan,0,-0,nan]] min=0 max=0"}
            << QStringList {};
        QTest::newRow("indexed value: series and vectors from its index at the first sample")
            << monitorRules
            << Steps {idx(2, 0, {"A", "B"}), batch(1000, {sample(0, {0.5})}),
                   batch(2000, {sample(5, {1, 2, 3, 4})}), batch(3000, {sample(5, {5, 6, 7, 8})})}
            << QStringList {"0:1", "5:1", "5:2"}
            << QStringList {"time=0.5 exec=1", "h0 id=0 time=[0.5] data=[[1]] min=1 max=1",
                   "h5 id=5 time=[0.5,0.5] data=[[1,5],[2,6],[3,7],[4,8]] min=1 max=8",
                   "g8 series=[A [1], A [2], B [1], B [2]]"}
            << QStringList {};
        QTest::newRow("index changing its line count later: samples of another size skipped")
            << monitorRules
            << Steps {idx(2, 0, {"A", "B"}), batch(0, {sample(5, {1, 2, 3, 4})}),
                   idx(2, 0, {"A", "B", "C"}), batch(0, {sample(5, {1, 2, 3, 4, 5, 6})}),
                   idx(2, 0, {"A"}), batch(0, {sample(5, {9, 9}), sample(3, {1})})}
            << QStringList {"5:1", "3:1"}
            << QStringList {"time=0 exec=0", "h3 id=3 time=[0] data=[[1]] min=1 max=1",
                   "h5 id=5 time=[0] data=[[1],[2],[3],[4]] min=1 max=4",
                   "g8 series=[A [1], A [2], B [1], B [2]]"}
            << QStringList {
                   "sample of tracked value 5 with 6 components skipped, its history has 4",
                   "sample of tracked value 5 with 2 components skipped, its history has 4"};
        QTest::newRow("sample before its index is skipped; the index still applies later")
            << monitorRules
            << Steps {rawBatch(0, {sample(5, {1, 2})}), idx(2, 0, {"L"}),
                   batch(0, {sample(5, {3, 4})})}
            << QStringList {"5:1"}
            << QStringList {"time=0 exec=0", "h5 id=5 time=[0] data=[[3],[4]] min=3 max=4",
                   "g8 series=[L [1], L [2]]"}
            << QStringList {
                   "sample of tracked value 5 with 2 components skipped, its history has 0"};
        QTest::newRow("index of another type or rule does not size the value")
            << monitorRules
            << Steps {idx(2, 1, {"X", "Y", "Z"}), idx(0, 0, {"X", "Y", "Z"}), idx(2, 0, {"A"}),
                   batch(0, {sample(5, {1, 2})})}
            << QStringList {"5:1"}
            << QStringList {"time=0 exec=0", "h5 id=5 time=[0] data=[[1],[2]] min=1 max=2",
                   "g8 series=[A [1], A [2]]"}
            << QStringList {};
        QTest::newRow("wrong component counts and unknown ids skipped, the rest kept in order")
            << plainRules
            << Steps {rawBatch(1000,
                   {sample(-1, {1}), sample(1, {1, 2}), sample(2, {1}), sample(0, {1}),
                       sample(1, {1, 2, 3, 4}), sample(1000000, {1}), sample(1, {4, 5, 6})})}
            << QStringList {"0:1", "1:1"}
            << QStringList {"time=0 exec=0", "h0 id=0 time=[0] data=[[1]] min=1 max=1",
                   "h1 id=1 time=[0] data=[[4],[5],[6]] min=4 max=6"}
            << QStringList {"sample of unknown tracked value -1 skipped",
                   "sample of tracked value 1 with 2 components skipped, its history has 3",
                   "sample of unknown tracked value 2 skipped",
                   "sample of tracked value 1 with 4 components skipped, its history has 3",
                   "sample of unknown tracked value 1000000 skipped"};
        QTest::newRow("indexed 'time' is an ordinary value, the plain one is the time track")
            << Rules {{"I", {{"time", 1}}}, {"m", {{"time"}}}}
            << Steps {idx(0, 0, {"L1", "L2"}),
                   batch(2000, {sample(0, {1, 2}), sample(1, {0.25}), sample(0, {3, 4})})}
            << QStringList {"0:1", "1:1", "0:2"}
            << QStringList {"time=0.25 exec=2",
                   "h0 id=0 time=[0,0.25] data=[[1,3],[2,4]] min=1 max=4",
                   "h1 id=1 time=[0.25] data=[[2]] min=2 max=2", "g3 series=[L1, L2]"}
            << QStringList {};
        QTest::newRow("value of no components: x stored, sample announced")
            << Rules {{"R", {{"Z", 0, 0, 1}, {"P"}}}}
            << Steps {batch(0, {sample(0, {}), sample(1, {1}), sample(0, {})})}
            << QStringList {"0:1", "1:1", "0:2"}
            << QStringList {"time=0 exec=0", "h0 id=0 time=[0,0] data=[] min=DBL_MAX max=-DBL_MAX",
                   "h1 id=1 time=[0] data=[[1]] min=1 max=1"}
            << QStringList {};
    }

    void samples()
    {
        QFETCH(Rules, rules);
        QFETCH(Steps, steps);
        QFETCH(QStringList, announced);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, messages);
        // Every skip says which; a missing message fails the row.
        for (const QString &message : messages)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(message));

        Followed f;
        QString error;
        QVERIFY2(setRules(*f.store, rules, &error), qPrintable(error));
        const int count = f.store->simNumTrackedData();
        const auto dump = [&] { return dumpHistories(f.model, count) + dumpSeries(f.model); };
        const QStringList before = dump();

        // Each announcement records how many samples its history holds by then:
        // the sample must already be stored.
        QStringList actualAnnounced;
        connect(&f.model, &KvcResultsData::trackedDataReceived, this, [&](int id) {
            actualAnnounced << QStringLiteral("%1:%2").arg(id).arg(
                f.model.simTrackedData(id).time.size());
        });
        for (int i = 0; i < steps.size(); ++i)
            QVERIFY2(runStep(*f.store, steps[i], &error),
                qPrintable(QStringLiteral("step %1: %2").arg(i).arg(error)));

        QCOMPARE(actualAnnounced, announced);
        const QStringList actual = QStringList {QStringLiteral("time=%1 exec=%2")
                                                    .arg(num(f.model.currentTime()),
                                                        num(f.model.currentExecutionTime()))}
            + changes(before, dump());
        COMPARE_TEXT(actual, expected);

        // The time accessors read the time track, and nothing outside it.
        const int timeTrack = f.model.timeTrackId();
        if (timeTrack >= 0) {
            QCOMPARE(&f.model.simTimeData(), &f.model.simTrackedData(timeTrack).time);
            QCOMPARE(&f.model.simExecTimeData(), &f.model.simTrackedData(timeTrack).data.at(0));
        } else {
            QVERIFY(f.model.simTimeData().isEmpty());
            QVERIFY(f.model.simExecTimeData().isEmpty());
        }
    }

    void indexData_data()
    {
        QTest::addColumn<Steps>("steps");
        QTest::addColumn<QStringList>("announced");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QStringList>("messages");

        // The records that are not the default one, of rules 0..2 and the
        // out-of-range rules -1 and 3, index types 0..2 and the invalid 3 and -1.
        QTest::newRow("nothing arrived: default records everywhere")
            << Steps() << QStringList() << QStringList() << QStringList();
        QTest::newRow("one rule's record leaves the other rules and types default")
            << Steps {idx(1, 0, {"A", "B"})} << QStringList {"1:0"} << QStringList {"r1 t0: 0[A,B]"}
            << QStringList();
        QTest::newRow("several rules and types kept apart")
            << Steps {idx(2, 2, {"p1"}), idx(0, 1, {"c1", "c2"}), idx(2, 0, {"n1"}),
                   idx(0, 2, {"p2", "p3"})}
            << QStringList {"2:2", "0:1", "2:0", "0:2"}
            << QStringList {"r0 t1: 1[c1,c2]", "r0 t2: 2[p2,p3]", "r2 t0: 0[n1]", "r2 t2: 2[p1]"}
            << QStringList();
        QTest::newRow("index data arriving again replaces the record")
            << Steps {idx(1, 1, {"old"}), idx(1, 1, {"new1", "new2"}), idx(1, 1, {})}
            << QStringList {"1:1", "1:1", "1:1"} << QStringList {"r1 t1: 1[]"} << QStringList();
        QTest::newRow("unknown rules and an invalid type skipped, announce nothing")
            << Steps {idx(3, 0, {"x"}, Step::RawIndex), idx(-1, 1, {"x"}, Step::RawIndex),
                   idx(0, 3, {"x"}, Step::RawIndex), idx(1, 2, {"ok"}, Step::RawIndex)}
            << QStringList {"1:2"} << QStringList {"r1 t2: 2[ok]"}
            << QStringList {"index data of unknown rule 3 skipped",
                   "index data of unknown rule -1 skipped",
                   "index data of rule 0 with invalid index type 3 skipped"};
    }

    void indexData()
    {
        QFETCH(Steps, steps);
        QFETCH(QStringList, announced);
        QFETCH(QStringList, expected);
        QFETCH(QStringList, messages);
        for (const QString &message : messages)
            QTest::ignoreMessage(QtDebugMsg, qPrintable(message));

        Followed f;
        QString error;
        QVERIFY2(setRules(*f.store, Rules {{"a", {{"x"}}}, {"b", {{"y"}}}, {"c", {}}}, &error),
            qPrintable(error));
        QStringList actualAnnounced;
        connect(
            &f.model, &KvcResultsData::trackedIndexDataAvailable, this, [&](int rule, int type) {
                // Stored before it is announced.
                QCOMPARE(f.model.simRuleIndexData(rule, type).indexType(), type);
                actualAnnounced << QStringLiteral("%1:%2").arg(rule).arg(type);
            });
        for (int i = 0; i < steps.size(); ++i)
            QVERIFY2(runStep(*f.store, steps[i], &error),
                qPrintable(QStringLiteral("step %1: %2").arg(i).arg(error)));
        QCOMPARE(actualAnnounced, announced);

        const KvCommClientTrackedIndexData *none = &f.model.simRuleIndexData(-1, -1);
        QCOMPARE(none->numLines(), 0);
        QStringList actual;
        for (int rule : {-1, 0, 1, 2, 3}) {
            for (int type : {0, 1, 2, 3, -1}) {
                const KvCommClientTrackedIndexData &record = f.model.simRuleIndexData(rule, type);
                // The default record: no lines, type 0.
                if (record.lines().isEmpty() && record.indexType() == 0)
                    continue;
                actual << QStringLiteral("r%1 t%2: %3[%4]")
                              .arg(rule)
                              .arg(type)
                              .arg(record.indexType())
                              .arg(record.lines().join(QLatin1Char(',')));
            }
        }
        COMPARE_TEXT(actual, expected);
        // Every answer outside the stored vectors is the one static record.
        QCOMPARE(&f.model.simRuleIndexData(3, 0), none);
        QCOMPARE(&f.model.simRuleIndexData(0, 3), none);
    }

    void forwardsTheStoresInformationSignals()
    {
        Followed f;
        QSignalSpy info(&f.model, &KvcResultsData::simulationInfoAvailable);
        QSignalSpy updated(&f.model, &KvcResultsData::simulationTrackedDataInfoUpdated);

        f.store->setSimulationInfo("sim", "desc", {}, {}, {});
        QCOMPARE(info.count(), 1);
        // The result's name is the host's, not the simulation's.
        QCOMPARE(f.model.name(), QString());
        f.model.setResultName("run 3");
        QCOMPARE(f.model.name(), QStringLiteral("run 3"));

        QString error;
        QVERIFY2(setRules(*f.store, plainRules, &error), qPrintable(error));
        KvCommClientTrackedRuleDataInfo changed = f.store->simTrackedDataInfo(1);
        changed.unit = "m/s";
        QVERIFY2(f.store->updateTrackedDataInfo(changed, &error), qPrintable(error));
        QCOMPARE(updated.count(), 1);
        QCOMPARE(updated.at(0).at(0).toInt(), 1);
        QCOMPARE(info.count(), 1);
    }

    void longVectorsGrowOneAtATime()
    {
        // 40 vectors that gain an element with every batch: without care they
        // all fill up, and are copied, in the same batch.
        Followed f;
        KvcResultsData &model = f.model;
        QString error;
        QVERIFY2(setRules(*f.store, {{"r", {{"time"}, {"v", 0, 39}}}}, &error), qPrintable(error));
        auto capacities = [&] {
            QVector<int> c;
            for (int id = 0; id < 2; ++id) {
                const KvcResultsData::TrackedData &h = model.simTrackedData(id);
                c.append(h.time.capacity());
                for (const QVector<double> &v : h.data)
                    c.append(v.capacity());
            }
            return c;
        };
        const QVector<double> values(39, 1.0);
        QVector<int> before = capacities();
        int worstBatch = 0;
        for (int k = 0; k < 100000; ++k) {
            QVERIFY(
                f.store->addTrackedData({sample(0, {double(k)}), sample(1, values)}, k, &error));
            const QVector<int> after = capacities();
            int grown = 0;
            // The component vectors appear with the first sample.
            for (int i = 0; i < after.size() && i < before.size(); ++i)
                grown += after[i] != before[i] && before[i] >= 4096;
            worstBatch = qMax(worstBatch, grown);
            before = after;
        }
        QCOMPARE(model.simTrackedData(1).time.size(), 100000);
        QCOMPARE(worstBatch, 1);
    }

    void accessorsOutsideTheirPreconditionsAnswerEmptyData_data()
    {
        QTest::addColumn<bool>("withRules");
        QTest::newRow("no rule data yet") << false;
        QTest::newRow("rule data without a time track, a sample") << true;
    }

    void accessorsOutsideTheirPreconditionsAnswerEmptyData()
    {
        QFETCH(bool, withRules);
        Followed f;
        if (withRules) {
            QVERIFY(setRules(*f.store, plainRules));
            QVERIFY(f.store->addTrackedData({sample(0, {1})}, 0));
        }
        for (int id : {-1, f.store->simNumTrackedData(), 1000}) {
            const KvcResultsData::TrackedData &h = f.model.simTrackedData(id);
            QCOMPARE(h.id, -1);
            QVERIFY(h.data.isEmpty());
            QVERIFY(h.time.isEmpty());
        }
        QCOMPARE(f.model.timeTrackId(), -1);
        QVERIFY(f.model.simTimeData().isEmpty());
        QVERIFY(f.model.simExecTimeData().isEmpty());
        QCOMPARE(f.model.currentTime(), 0.0);
        QCOMPARE(f.model.currentExecutionTime(), 0.0);
    }

    void storeDroppedByNullDoesNothingOnLateSignals()
    {
        Followed f;
        const QSharedPointer<KvCommClientData> store = f.store;
        KvcResultsData &model = f.model;
        model.setSimulationData({});
        QVERIFY(model.simulationData().isNull());
        QSignalSpy samples(&model, &KvcResultsData::trackedDataReceived);
        QSignalSpy rules(&model, &KvcResultsData::simulationRuleDataAvailable);

        QString error;
        QVERIFY2(setRules(*store, monitorRules, &error), qPrintable(error));
        QVERIFY(store->addTrackedIndexData(2, KvCommClientTrackedIndexData({}, {"A"}), 0, &error));
        QVERIFY(store->addTrackedData({sample(0, {1}), sample(3, {2})}, 0, &error));

        QCOMPARE(rules.count(), 0);
        QCOMPARE(samples.count(), 0);
        QCOMPARE(model.timeTrackId(), -1);
        COMPARE_TEXT(dumpGraphics(model), specialGraphics);
    }
};

QTEST_GUILESS_MAIN(KvcResultsDataTest)
#include "tst_kvcresultsdata.moc"
