#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedindexdata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"

#include <QSharedData>

#include <cstddef>

// The records are read by code compiled against their layout; keep it fixed.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Winvalid-offsetof"
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, id) == 0);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, ruleId) == 4);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, name) == 8);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, indexedBy) == 24);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, unit) == 32);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, numRows) == 40);
static_assert(offsetof(KvCommClientTrackedRuleDataInfo, numCols) == 44);
static_assert(offsetof(KvCommClientTrackedRuleInfo, name) == 8);
static_assert(offsetof(KvCommClientTrackedRuleInfo, numTrackedData) == 32);
static_assert(offsetof(KvCommClientTrackedData, id) == 0);
static_assert(offsetof(KvCommClientTrackedData, values) == 16);
static_assert(sizeof(KvCommClientTrackedData) == 24);
static_assert(sizeof(KvCommClientTrackedIndexData) == 8);
#pragma GCC diagnostic pop

KvCommClientTrackedData::KvCommClientTrackedData(int id, QVector<double> values, qint64 sequence)
    : id(id)
    , sequence(sequence)
    , values(std::move(values))
{ }

KvCommClientTrackedData::KvCommClientTrackedData(const KvCommClientTrackedData &other) = default;
KvCommClientTrackedData::KvCommClientTrackedData(
    KvCommClientTrackedData &&other) noexcept = default;
KvCommClientTrackedData &KvCommClientTrackedData::operator=(const KvCommClientTrackedData &other)
    = default;
KvCommClientTrackedData &KvCommClientTrackedData::operator=(
    KvCommClientTrackedData &&other) noexcept = default;
KvCommClientTrackedData::~KvCommClientTrackedData() = default;

class KvCommClientTrackedIndexDataPrivate : public QSharedData
{
public:
    KvCommClientTrackedIndexData::IndexType type = KvCommClientTrackedIndexData::Nodes;
    QStringList lines;
};

KvCommClientTrackedIndexData::KvCommClientTrackedIndexData(IndexType type, const QStringList &lines)
    : d(new KvCommClientTrackedIndexDataPrivate)
{
    d->ref.ref();
    d->type = type;
    d->lines = lines;
}

KvCommClientTrackedIndexData::KvCommClientTrackedIndexData(
    const KvCommClientTrackedIndexData &other)
    : d(other.d)
{
    if (d)
        d->ref.ref();
}

KvCommClientTrackedIndexData &KvCommClientTrackedIndexData::operator=(
    const KvCommClientTrackedIndexData &other)
{
    if (other.d != d) {
        if (other.d)
            other.d->ref.ref();
        if (d && !d->ref.deref())
            delete d;
        d = other.d;
    }
    return *this;
}

KvCommClientTrackedIndexData::~KvCommClientTrackedIndexData()
{
    if (d && !d->ref.deref())
        delete d;
}

int KvCommClientTrackedIndexData::numLines() const { return d ? d->lines.size() : 0; }

QString KvCommClientTrackedIndexData::lineStr(int line) const
{
    if (!d || line < 0 || line >= d->lines.size())
        return QString();
    return d->lines.at(line);
}

KvCommClientTrackedIndexData::IndexType KvCommClientTrackedIndexData::indexType() const
{
    return d ? d->type : Nodes;
}

QStringList KvCommClientTrackedIndexData::lines() const { return d ? d->lines : QStringList(); }
