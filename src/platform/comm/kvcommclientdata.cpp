#include "kvcommclientdata.h"

#include "kvcommmessage.h"

#include <cstddef>
#include <utility>

namespace {

template<typename T> bool fail(QString *error, const T &message)
{
    if (error)
        *error = message;
    return false;
}

} // namespace

KvCommClientData::KvCommClientData(QObject *parent)
    : QObject(parent)
{ }

KvCommClientData::~KvCommClientData() = default;

void KvCommClientData::checkLayout()
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
    static_assert(offsetof(KvCommClientData, m_files) == 48);
    static_assert(offsetof(KvCommClientData, m_loadingTime) == 56);
    static_assert(offsetof(KvCommClientData, m_runningTime) == 64);
#pragma GCC diagnostic pop
}

QString KvCommClientData::simName() const { return m_name; }

QString KvCommClientData::simDescription() const { return m_description; }

int KvCommClientData::simNumRules() const { return m_rules.size(); }

const KvCommClientTrackedRuleInfo &KvCommClientData::simRuleInfo(int rule)
{
    static const KvCommClientTrackedRuleInfo none;
    if (rule < 0 || rule >= m_rules.size())
        return none;
    return m_rules.at(rule);
}

int KvCommClientData::simNumTrackedData() const { return m_trackedInfo.size(); }

const KvCommClientTrackedRuleDataInfo &KvCommClientData::simTrackedDataInfo(int id)
{
    static const KvCommClientTrackedRuleDataInfo none;
    if (id < 0 || id >= m_trackedInfo.size())
        return none;
    return m_trackedInfo.at(id);
}

bool KvCommClientData::hasRuleData() const { return m_hasRuleData; }

KvCommClientTrackedIndexData KvCommClientData::indexData(int rule, int indexType) const
{
    if (indexType < 0 || indexType >= KvCommClientTrackedIndexData::NumIndexTypes)
        return {};
    const auto &perRule = m_indexData[indexType];
    if (rule < 0 || rule >= perRule.size())
        return {};
    return perRule.at(rule);
}

int KvCommClientData::expectedComponents(int id) const
{
    if (id < 0 || id >= m_trackedInfo.size())
        return -1;
    const KvCommClientTrackedRuleDataInfo &info = m_trackedInfo.at(id);
    const int perLine = info.numRows * info.numCols;
    if (info.indexedBy == 0)
        return perLine;
    const KvCommClientTrackedIndexData index = indexData(info.ruleId, info.indexedBy - 1);
    if (index.numLines() == 0)
        return -1;
    return perLine * index.numLines();
}

double KvCommClientData::simPlannedEndTime() const { return m_plannedEndTime; }

int KvCommClientData::simPlannedSteps() const { return m_plannedSteps; }

qint64 KvCommClientData::samplesReceived() const { return m_samplesReceived; }

qint64 KvCommClientData::samplesMissed() const { return m_samplesMissed; }

void KvCommClientData::setSimulationInfo(const QString &name, const QString &description,
    const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
    double plannedEndTime, int plannedSteps)
{
    m_plannedEndTime = plannedEndTime > 0.0 && qIsFinite(plannedEndTime) ? plannedEndTime : qQNaN();
    m_plannedSteps = qMax(0, plannedSteps);
    m_name = name;
    m_description = description;
    m_files = files;
    m_loadingTime = loadingTime;
    m_runningTime = runningTime;
    emit simulationInfoAvailable();
}

bool KvCommClientData::setRuleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
    const QVector<KvCommClientTrackedRuleDataInfo> &trackedData, QString *error)
{
    if (m_hasRuleData)
        return fail(error, QStringLiteral("rule data received twice"));
    // Receivers pair each tracked value with its rule by counting, so the
    // numbering must be consecutive over the rules in rule order.
    int next = 0;
    for (int r = 0; r < rules.size(); ++r) {
        const KvCommClientTrackedRuleInfo &rule = rules.at(r);
        if (rule.numTrackedData < 0 || rule.numTrackedData > trackedData.size() - next)
            return fail(error,
                QStringLiteral("rule %1 declares %2 tracked values, more than described")
                    .arg(r)
                    .arg(rule.numTrackedData));
        for (int k = 0; k < rule.numTrackedData; ++k, ++next) {
            const KvCommClientTrackedRuleDataInfo &info = trackedData.at(next);
            if (info.id != next || info.ruleId != r)
                return fail(error, QStringLiteral("tracked value %1 is out of order").arg(next));
            if (info.numRows < 0 || info.numCols < 0
                || qint64(info.numRows) * info.numCols > 1 << 20)
                return fail(error,
                    QStringLiteral("tracked value %1 has an invalid size %2 x %3")
                        .arg(next)
                        .arg(info.numRows)
                        .arg(info.numCols));
            if (info.indexedBy < 0 || info.indexedBy > KvCommClientTrackedIndexData::NumIndexTypes)
                return fail(error,
                    QStringLiteral("tracked value %1 has an invalid index type %2")
                        .arg(next)
                        .arg(info.indexedBy));
        }
    }
    if (next != trackedData.size())
        return fail(error,
            QStringLiteral("%1 tracked values described, %2 declared by the rules")
                .arg(trackedData.size())
                .arg(next));
    m_rules = rules;
    for (int r = 0; r < m_rules.size(); ++r)
        m_rules[r].id = r;
    m_trackedInfo = trackedData;
    m_hasRuleData = true;
    emit simulationRuleDataAvailable();
    return true;
}

bool KvCommClientData::updateTrackedDataInfo(
    const KvCommClientTrackedRuleDataInfo &info, QString *error)
{
    if (info.id < 0 || info.id >= m_trackedInfo.size())
        return fail(error, QStringLiteral("update of unknown tracked value %1").arg(info.id));
    KvCommClientTrackedRuleDataInfo &stored = m_trackedInfo[info.id];
    // The shape and place of a value are fixed once described; only its texts change.
    stored.name = info.name;
    stored.description = info.description;
    stored.unit = info.unit;
    emit simulationTrackedDataInfoUpdated(info.id);
    return true;
}

bool KvCommClientData::addTrackedIndexData(
    int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime, QString *error)
{
    if (!m_hasRuleData)
        return fail(error, QStringLiteral("index data before the rule data"));
    if (ruleId < 0 || ruleId >= m_rules.size())
        return fail(error, QStringLiteral("index data for unknown rule %1").arg(ruleId));
    const int type = data.indexType();
    if (type < 0 || type >= KvCommClientTrackedIndexData::NumIndexTypes)
        return fail(error, QStringLiteral("index data of invalid type %1").arg(type));
    auto &perRule = m_indexData[type];
    if (perRule.isEmpty())
        perRule.resize(m_rules.size());
    perRule[ruleId] = data;
    emit trackedIndexDataAvailable(ruleId, data, elapsedTime);
    return true;
}

bool KvCommClientData::addTrackedData(
    const QList<KvCommClientTrackedData> &data, qint64 elapsedTime, QString *error)
{
    if (!m_hasRuleData)
        return fail(error, QStringLiteral("samples before the rule data"));
    for (const KvCommClientTrackedData &sample : data) {
        const int expected = expectedComponents(sample.id);
        if (expected < 0)
            return fail(error,
                QStringLiteral("sample of unknown or unindexed tracked value %1").arg(sample.id));
        if (sample.values.size() != expected)
            return fail(error,
                QStringLiteral("sample of tracked value %1 has %2 components, %3 expected")
                    .arg(sample.id)
                    .arg(sample.values.size())
                    .arg(expected));
    }
    for (const KvCommClientTrackedData &sample : data) {
        if (sample.sequence >= 0) {
            if (m_nextSequence >= 0 && sample.sequence > m_nextSequence)
                m_samplesMissed += sample.sequence - m_nextSequence;
            m_nextSequence = sample.sequence + 1;
        }
    }
    m_samplesReceived += data.size();
    emit trackedDataReceived(data, elapsedTime);
    return true;
}

bool KvCommClientData::feed(KvCommMessage &m, QString *error)
{
    switch (m.type) {
    case KvCommProtocol::RuleData: {
        const QVector<KvCommClientTrackedRuleInfo> rules = std::exchange(m.rules, {});
        const QVector<KvCommClientTrackedRuleDataInfo> tracked = std::exchange(m.trackedData, {});
        return setRuleData(rules, tracked, error);
    }
    case KvCommProtocol::TrackedDataInfo: {
        KvCommClientTrackedRuleDataInfo info;
        info.id = m.trackedId;
        info.name = m.name;
        info.description = m.description;
        info.unit = m.unit;
        return updateTrackedDataInfo(info, error);
    }
    case KvCommProtocol::IndexData: {
        const KvCommClientTrackedIndexData data(
            KvCommClientTrackedIndexData::IndexType(m.indexType), m.indexLines);
        return addTrackedIndexData(m.ruleId, data, m.elapsedTime, error);
    }
    case KvCommProtocol::Samples: {
        const QList<KvCommClientTrackedData> batch = std::exchange(m.samples, {});
        return addTrackedData(batch, m.elapsedTime, error);
    }
    default:
        return true;
    }
}
