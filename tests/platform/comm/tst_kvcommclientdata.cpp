#include "kvcommclientdata.h"

#include "commtestsupport.h"

#include <QtTest>

#include <functional>

using namespace CommTest;

namespace {

using Feed = std::function<bool(KvCommClientData &, QString *)>;

enum Fed { Nothing, Rules, RulesAndIndex };

// What receivers can see of a store, to tell that a refusal changed nothing.
QString stateOf(KvCommClientData &d)
{
    return QStringLiteral("%1 rules, %2 values, index %3, unit %4, %5 received, %6 missed")
        .arg(d.simNumRules())
        .arg(d.simNumTrackedData())
        .arg(d.indexData(1, KvCommClientTrackedIndexData::Nodes).lines().join(','))
        .arg(d.simTrackedDataInfo(2).unit)
        .arg(d.samplesReceived())
        .arg(d.samplesMissed());
}

} // namespace

Q_DECLARE_METATYPE(Feed)
Q_DECLARE_METATYPE(Fed)

class tst_KvCommClientData : public QObject
{
    Q_OBJECT

private slots:
    void refusesWhatBreaksItsInvariants_data();
    void refusesWhatBreaksItsInvariants();
    void samplesMissedCountsGapsAfterTheFirstSample_data();
    void samplesMissedCountsGapsAfterTheFirstSample();
};

void tst_KvCommClientData::refusesWhatBreaksItsInvariants_data()
{
    QTest::addColumn<Fed>("fed");
    QTest::addColumn<Feed>("feed");
    QTest::addColumn<QString>("error");

    using Values = QVector<KvCommClientTrackedRuleDataInfo>;
    const auto row = [](const char *name, Fed fed, const Feed &feed, const char *error) {
        QTest::newRow(name) << fed << feed << QString::fromLatin1(error);
    };
    const auto withRules = [](const QVector<KvCommClientTrackedRuleInfo> &r, const Values &v) {
        return [r, v](KvCommClientData &d, QString *e) { return d.setRuleData(r, v, e); };
    };
    // Tracked value i with one member changed.
    const auto withValue = [withRules](int i, int KvCommClientTrackedRuleDataInfo::*member, int v) {
        Values values = trackedData();
        values[i].*member = v;
        return withRules(rules(), values);
    };
    const auto samples = [](const QList<KvCommClientTrackedData> &batch) {
        return [batch](KvCommClientData &d, QString *e) { return d.addTrackedData(batch, 0, e); };
    };
    const auto update = [](int id) {
        return [id](KvCommClientData &d, QString *e) {
            return d.updateTrackedDataInfo(value(id, 0, "x"), e);
        };
    };
    const auto index = [](int rule, int type) {
        const KvCommClientTrackedIndexData data(
            KvCommClientTrackedIndexData::IndexType(type), {"x"});
        return [rule, data](KvCommClientData &d, QString *e) {
            return d.addTrackedIndexData(rule, data, 0, e);
        };
    };
    auto tooMany = rules();
    tooMany[1].numTrackedData = 2;
    auto negative = rules();
    negative[0].numTrackedData = -1;
    using V = KvCommClientTrackedRuleDataInfo;

    row("rule data twice", Rules, withRules(rules(), trackedData()), "rule data received twice");
    row("a rule declares more values than there are", Nothing, withRules(tooMany, trackedData()),
        "rule 1 declares 2 tracked values, more than described");
    row("a rule declares a negative count", Nothing, withRules(negative, trackedData()),
        "rule 0 declares -1 tracked values, more than described");
    row("values not numbered in order", Nothing, withValue(1, &V::id, 2),
        "tracked value 1 is out of order");
    row("a value's rule number is not its rule", Nothing, withValue(2, &V::ruleId, 0),
        "tracked value 2 is out of order");
    row("a value of 2^20 + 1 components", Nothing, withValue(0, &V::numRows, (1 << 20) + 1),
        "tracked value 0 has an invalid size 1048577 x 1");
    row("a value of negative columns", Nothing, withValue(0, &V::numCols, -1),
        "tracked value 0 has an invalid size 1 x -1");
    row("an index type that does not exist", Nothing, withValue(2, &V::indexedBy, 4),
        "tracked value 2 has an invalid index type 4");
    row("more values than the rules declare", Nothing,
        withRules(rules(), trackedData() + Values {trackedData().at(2)}),
        "4 tracked values described, 3 declared by the rules");
    row("update of a value not described", Rules, update(3), "update of unknown tracked value 3");
    row("index data before the rule data", Nothing, index(1, 0), "index data before the rule data");
    row("index data of a rule that does not exist", Rules, index(2, 0),
        "index data for unknown rule 2");
    row("index data of a type that does not exist", Rules, index(1, 3),
        "index data of invalid type 3");
    row("samples before the rule data", Nothing, samples(batch(0)), "samples before the rule data");
    row("a sample of a value not described", RulesAndIndex,
        samples({KvCommClientTrackedData(3, {1.0})}),
        "sample of unknown or unindexed tracked value 3");
    row("an indexed sample before its index data", Rules,
        samples({KvCommClientTrackedData(2, {1, 2, 3, 4})}),
        "sample of unknown or unindexed tracked value 2");
    row("one sample short of components refuses the whole batch", RulesAndIndex,
        samples({KvCommClientTrackedData(0, {1.0}), KvCommClientTrackedData(2, {1, 2, 3})}),
        "sample of tracked value 2 has 3 components, 4 expected");
}

void tst_KvCommClientData::refusesWhatBreaksItsInvariants()
{
    QFETCH(Fed, fed);
    QFETCH(Feed, feed);
    QFETCH(QString, error);

    KvCommClientData data;
    if (fed != Nothing)
        QVERIFY(data.setRuleData(rules(), trackedData()));
    if (fed == RulesAndIndex)
        QVERIFY(data.addTrackedIndexData(1, nodes(), 0));
    if (fed == RulesAndIndex)
        QVERIFY(data.addTrackedData(batch(0), 0));
    const QString before = stateOf(data);
    int emitted = 0;
    const auto count = [&emitted] { ++emitted; };
    connect(&data, &KvCommClientData::simulationInfoAvailable, this, count);
    connect(&data, &KvCommClientData::simulationTrackedDataInfoUpdated, this, count);
    connect(&data, &KvCommClientData::simulationRuleDataAvailable, this, count);
    connect(&data, &KvCommClientData::trackedDataReceived, this, count);
    connect(&data, &KvCommClientData::trackedIndexDataAvailable, this, count);
    QString got;
    QVERIFY(!feed(data, &got));
    QCOMPARE(got, error);
    QCOMPARE(stateOf(data), before);
    QCOMPARE(emitted, 0);
}

void tst_KvCommClientData::samplesMissedCountsGapsAfterTheFirstSample_data()
{
    QTest::addColumn<QString>("batches"); // sequence numbers, batches split by '|'
    QTest::addColumn<int>("missed");

    QTest::newRow("no gap") << "0 1 2 | 3 4" << 0;
    QTest::newRow("a gap between batches") << "0 1 | 4 5" << 2;
    QTest::newRow("a gap inside a batch") << "0 1 5" << 3;
    QTest::newRow("gaps add up") << "0 | 2 | 5 6 | 10" << 6;
    QTest::newRow("a late joiner's first sample (dropped history) is no gap") << "9 10 | 11" << 0;
    QTest::newRow("a late joiner's later gap is") << "9 | 12" << 2;
    QTest::newRow("unnumbered samples make no gap") << "-1 | 5 | -1 6" << 0;
}

void tst_KvCommClientData::samplesMissedCountsGapsAfterTheFirstSample()
{
    QFETCH(QString, batches);
    QFETCH(int, missed);

    KvCommClientData data;
    QVERIFY(data.setRuleData(rules(), trackedData()));
    int received = 0;
    for (const QString &b : batches.split(QLatin1Char('|'))) {
        QList<KvCommClientTrackedData> list;
        for (const QString &n : b.split(QLatin1Char(' '), Qt::SkipEmptyParts))
            list << KvCommClientTrackedData(0, {1.0}, n.toLongLong());
        QVERIFY(data.addTrackedData(list, 0));
        received += list.size();
    }
    QCOMPARE(data.samplesReceived(), qint64(received));
    QCOMPARE(data.samplesMissed(), qint64(missed));
}

QTEST_GUILESS_MAIN(tst_KvCommClientData)
#include "tst_kvcommclientdata.moc"
