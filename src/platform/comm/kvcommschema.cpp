#include "kvcommschema.h"

#include "kvcommmessage.h"
#include "kvcommschemadecoder.h"
#include "kvcommschemaencoder.h"

#include <QtEndian>
#include <QtNumeric>

#include <cstring>
#include <limits>
#include <type_traits>

namespace KvCommSchema {

namespace {

// How a member of each C++ type is encoded. A new type of field is a new
// codec here; a new field of a known type is one line in the tables below.
template<typename T, typename = void> struct Codec;

template<typename T> struct Codec<T, std::enable_if_t<std::is_integral_v<T>>> {
    static constexpr Encoding encoding = Encoding::Integer;
    static bool read(Decoder &d, T &v, const Field &f)
    {
        qint64 x = 0;
        if (!d.readInt(x, f.name, f.range.min, f.range.max))
            return false;
        v = T(x);
        return true;
    }
    static void write(Encoder &e, const T &v, const Field &)
    {
        if constexpr (std::is_signed_v<T>)
            e.w.append(qint64(v));
        else
            e.w.append(quint64(v));
    }
    static void reset(T &v, const Field &f) { v = T(f.defaultValue); }
    static bool present(const T &) { return true; }
};

template<> struct Codec<QString> {
    static constexpr Encoding encoding = Encoding::Text;
    static bool read(Decoder &d, QString &v, const Field &f) { return d.readText(v, f.name); }
    static void write(Encoder &e, const QString &v, const Field &) { e.w.append(v); }
    static void reset(QString &v, const Field &) { v.clear(); }
    static bool present(const QString &) { return true; }
};

template<> struct Codec<QStringList> {
    static constexpr Encoding encoding = Encoding::TextList;
    static bool read(Decoder &d, QStringList &v, const Field &f)
    {
        return d.readTextList(v, f.name, f.maxItems);
    }
    static void write(Encoder &e, const QStringList &v, const Field &)
    {
        e.w.startArray(quint64(v.size()));
        for (const QString &s : v)
            e.w.append(s);
        e.w.endArray();
    }
    static void reset(QStringList &v, const Field &) { v.clear(); }
    static bool present(const QStringList &) { return true; }
};

template<> struct Codec<QDateTime> {
    static constexpr Encoding encoding = Encoding::Time;
    static bool read(Decoder &d, QDateTime &v, const Field &f) { return d.readTime(v, f.name); }
    static void write(Encoder &e, const QDateTime &v, const Field &)
    {
        e.w.append(qint64(v.toMSecsSinceEpoch()));
    }
    static void reset(QDateTime &v, const Field &) { v = QDateTime(); }
    static bool present(const QDateTime &v) { return v.isValid(); } // unknown: left out
};

template<> struct Codec<double> {
    static constexpr Encoding encoding = Encoding::Float;
    static bool read(Decoder &d, double &v, const Field &f) { return d.readFloat(v, f.name); }
    static void write(Encoder &e, const double &v, const Field &) { e.w.append(v); }
    static void reset(double &v, const Field &) { v = qQNaN(); }
    static bool present(const double &v) { return !qIsNaN(v); } // unknown: left out
};

// The values of a batch: kept as the bytes that came, checked against the
// sizes once the whole message is read.
template<> struct Codec<std::vector<char>> {
    static constexpr Encoding encoding = Encoding::Float64LE;
    static bool read(Decoder &d, std::vector<char> &v, const Field &f)
    {
        return d.readByteValues(v, f.name);
    }
    static void write(Encoder &e, const std::vector<char> &v, const Field &)
    {
        e.w.append(QCborTag(KvCommProtocol::TagFloat64LE));
        e.w.appendByteString(v.data(), qsizetype(v.size()));
    }
    static void reset(std::vector<char> &v, const Field &) { v.clear(); }
    static bool present(const std::vector<char> &) { return true; }
};

template<typename T> struct Codec<std::vector<T>, std::enable_if_t<std::is_integral_v<T>>> {
    static constexpr Encoding encoding = Encoding::IntegerList;
    static bool read(Decoder &d, std::vector<T> &v, const Field &f)
    {
        if (!d.enterArray(f.name, f.maxItems))
            return false;
        v.clear();
        while (d.r.hasNext()) {
            if (qint64(v.size()) >= f.maxItems) // an array of unknown length
                return d.tooMany(f.name, f.maxItems);
            qint64 x = 0;
            if (!d.readInt(x, f.name, f.range.min, f.range.max))
                return false;
            v.push_back(T(x));
        }
        return d.cborOk() && d.leave();
    }
    static void write(Encoder &e, const std::vector<T> &v, const Field &)
    {
        e.w.startArray(quint64(v.size()));
        for (T x : v)
            e.w.append(qint64(x));
        e.w.endArray();
    }
    static void reset(std::vector<T> &v, const Field &) { v.clear(); }
    static bool present(const std::vector<T> &) { return true; }
};

// An array of maps, each described by the field's own schema.
template<typename R> struct Codec<QVector<R>, std::enable_if_t<std::is_class_v<R>>> {
    static constexpr Encoding encoding = Encoding::RecordList;
    static bool read(Decoder &d, QVector<R> &v, const Field &f)
    {
        if (!d.enterArray(f.name, f.maxItems))
            return false;
        v.clear();
        while (d.r.hasNext()) {
            if (v.size() >= f.maxItems)
                return d.tooMany(f.name, f.maxItems);
            R record;
            if (!d.decodeRecord(*f.records, &record))
                return false;
            v.append(record);
        }
        return d.cborOk() && d.leave();
    }
    static void write(Encoder &e, const QVector<R> &v, const Field &f)
    {
        e.w.startArray(quint64(v.size()));
        for (const R &record : v)
            e.writeMap(*f.records, &record);
        e.w.endArray();
    }
    static void reset(QVector<R> &v, const Field &) { v.clear(); }
    static bool present(const QVector<R> &) { return true; }
};

template<typename> struct MemberOf;
template<typename R, typename T> struct MemberOf<T R::*> {
    using Record = R;
    using Type = T;
};

// The codec of a member, behind the record's type.
template<auto Member> struct Bound {
    using R = typename MemberOf<decltype(Member)>::Record;
    using C = Codec<typename MemberOf<decltype(Member)>::Type>;
    static bool read(Decoder &d, void *r, const Field &f)
    {
        return C::read(d, static_cast<R *>(r)->*Member, f);
    }
    static void write(Encoder &e, const void *r, const Field &f)
    {
        C::write(e, static_cast<const R *>(r)->*Member, f);
    }
    static void reset(void *r, const Field &f) { C::reset(static_cast<R *>(r)->*Member, f); }
    static bool present(const void *r) { return C::present(static_cast<const R *>(r)->*Member); }
};

constexpr void apply(Field &f, Range range) { f.range = range; }
constexpr void apply(Field &f, Items items) { f.maxItems = items.max; }
constexpr void apply(Field &f, Default value) { f.defaultValue = value.value; }
constexpr void apply(Field &f, const Schema *records) { f.records = records; }

template<auto Member, typename... Options>
constexpr Field field(bool required, quint64 key, const char *name, Options... options)
{
    using B = Bound<Member>;
    constexpr Encoding e = B::C::encoding;
    constexpr bool integers = e == Encoding::Integer || e == Encoding::IntegerList;
    constexpr bool list
        = e == Encoding::TextList || e == Encoding::IntegerList || e == Encoding::RecordList;
    static_assert(!integers || (std::is_same_v<Options, Range> || ...), "integers need a range");
    static_assert(!list || (std::is_same_v<Options, Items> || ...), "lists need a length limit");
    static_assert(e != Encoding::RecordList || (std::is_same_v<Options, const Schema *> || ...),
        "a record list needs the schema of its maps");
    Field f;
    f.key = key;
    f.name = name;
    f.encoding = e;
    f.required = required;
    f.read = &B::read;
    f.write = &B::write;
    f.reset = &B::reset;
    f.present = &B::present;
    (apply(f, options), ...);
    return f;
}

template<auto Member, typename... Options>
constexpr Field required(quint64 key, const char *name, Options... options)
{
    return field<Member>(true, key, name, options...);
}

template<auto Member, typename... Options>
constexpr Field optional(quint64 key, const char *name, Options... options)
{
    return field<Member>(false, key, name, options...);
}

template<int N>
constexpr Schema schema(const char *name, quint64 type, const Field (&fields)[N],
    bool (*complete)(void *, QString *) = nullptr)
{
    static_assert(N <= 64, "the decoder marks the keys seen in 64 bits");
    quint64 required = 0;
    for (int i = 0; i < N; ++i)
        required |= fields[i].required ? quint64(1) << i : 0;
    return Schema {name, type, fields, N, required, complete};
}

constexpr Schema schema(const char *name, quint64 type) { return Schema {name, type}; }

constexpr Range U32 {0, std::numeric_limits<quint32>::max()};
constexpr Range Int32 {std::numeric_limits<qint32>::min(), std::numeric_limits<qint32>::max()};
constexpr Range IntPlus {0, std::numeric_limits<int>::max()};
constexpr Range Ms {-(qint64(1) << 53), qint64(1) << 53};
constexpr Range Count {0, qint64(1) << 62};

using namespace KvCommProtocol;
using M = KvCommMessage;
using Rule = KvCommClientTrackedRuleInfo;
using Value = KvCommClientTrackedRuleDataInfo;

// Tracked values and rules are numbered by their places.
bool completeRuleData(void *record, QString *)
{
    auto &m = *static_cast<M *>(record);
    qint64 first = 0;
    for (int i = 0; i < m.rules.size(); ++i) {
        m.rules[i].id = i;
        m.rules[i].firstTrackedData = int(qMin<qint64>(first, std::numeric_limits<int>::max()));
        first += m.rules[i].numTrackedData;
    }
    for (int i = 0; i < m.trackedData.size(); ++i)
        m.trackedData[i].id = i;
    return true;
}

// An end that is not ahead of the start says nothing about the run's length.
bool completeSimulationInfo(void *record, QString *)
{
    auto &m = *static_cast<M *>(record);
    if (!(m.plannedEndTime > 0.0))
        m.plannedEndTime = qQNaN();
    return true;
}

bool completeSamples(void *record, QString *error)
{
    auto &m = *static_cast<M *>(record);
    if (m.sampleIds.size() != m.sampleSizes.size()) {
        *error = QStringLiteral("%1 sample ids but %2 sample sizes")
                     .arg(m.sampleIds.size())
                     .arg(m.sampleSizes.size());
        return false;
    }
    qint64 total = 0;
    for (int c : m.sampleSizes)
        total += c; // each below 2^31, at most 2^16 of them: no overflow
    if (total * qint64(sizeof(double)) != qint64(m.sampleValues.size())) {
        *error = QStringLiteral("the samples declare %1 values but carry %2 bytes")
                     .arg(total)
                     .arg(m.sampleValues.size());
        return false;
    }
    m.samples = QList<KvCommClientTrackedData>();
    m.samples.reserve(int(m.sampleIds.size()));
    const char *in = m.sampleValues.data();
    for (size_t i = 0; i < m.sampleIds.size(); ++i) {
        const int n = m.sampleSizes[i];
        QVector<double> values(n);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
        if (n)
            std::memcpy(values.data(), in, size_t(n) * sizeof(double));
#else
        for (int k = 0; k < n; ++k)
            values[k] = qFromLittleEndian<double>(in + k * sizeof(double));
#endif
        in += size_t(n) * sizeof(double);
        m.samples.append(KvCommClientTrackedData(
            m.sampleIds[i], std::move(values), m.firstSequence + qint64(i)));
    }
    return true;
}

// The protocol, message by message: docs/protocol.md's tables follow these.
constexpr Field ruleFields[] = {
    optional<&Rule::name>(1, "rule name"),
    optional<&Rule::description>(2, "rule description"),
    optional<&Rule::indexTypes>(3, "rule index types", U32),
    optional<&Rule::numTrackedData>(4, "rule value count", IntPlus),
};
constexpr Schema ruleMap = schema("Rule", 0, ruleFields);

constexpr Field valueFields[] = {
    required<&Value::ruleId>(1, "rule of a tracked value", IntPlus),
    optional<&Value::name>(2, "tracked value name"),
    optional<&Value::description>(3, "tracked value description"),
    optional<&Value::indexedBy>(4, "tracked value index", IntPlus),
    optional<&Value::position>(5, "tracked value position", IntPlus),
    optional<&Value::unit>(6, "tracked value unit"),
    optional<&Value::numRows>(7, "tracked value rows", IntPlus, Default {1}),
    optional<&Value::numCols>(8, "tracked value columns", IntPlus, Default {1}),
};
constexpr Schema valueMap = schema("Value", 0, valueFields);

constexpr Field helloFields[] = {
    required<&M::magic>(1, "magic"),
    required<&M::protocolVersion>(2, "protocol version", U32),
};
constexpr Field errorFields[] = {
    optional<&M::text>(1, "error text"),
};
constexpr Field identityFields[] = {
    optional<&M::version>(1, "version"),
    optional<&M::revision>(2, "revision"),
};
constexpr Field controlOptionsFields[] = {
    required<&M::options>(1, "control options", U32),
};
constexpr Field statusFields[] = {
    required<&M::status>(1, "status", Int32),
    optional<&M::time>(2, "status time"),
};
constexpr Field simulationInfoFields[] = {
    optional<&M::name>(1, "simulation name"),
    optional<&M::description>(2, "simulation description"),
    optional<&M::files>(3, "simulation files", Items {MaxFiles}),
    optional<&M::loadingTime>(4, "loading time"),
    optional<&M::runningTime>(5, "running time"),
    optional<&M::plannedEndTime>(6, "planned end time"),
    optional<&M::plannedSteps>(7, "planned steps", IntPlus),
};
constexpr Field ruleDataFields[] = {
    required<&M::rules>(1, "rules", Items {MaxRules}, &ruleMap),
    required<&M::trackedData>(2, "tracked values", Items {MaxTrackedValues}, &valueMap),
};
constexpr Field trackedDataInfoFields[] = {
    required<&M::trackedId>(1, "tracked value id", IntPlus),
    optional<&M::name>(2, "tracked value name"),
    optional<&M::description>(3, "tracked value description"),
    optional<&M::unit>(4, "tracked value unit"),
};
constexpr Field indexDataFields[] = {
    required<&M::ruleId>(1, "rule of index data", IntPlus),
    required<&M::indexType>(2, "index type", Range {0, 2}),
    required<&M::indexLines>(3, "index lines", Items {MaxIndexLines}),
    optional<&M::elapsedTime>(4, "elapsed time", Ms),
};
constexpr Field samplesFields[] = {
    required<&M::elapsedTime>(1, "elapsed time", Ms),
    required<&M::firstSequence>(2, "first sequence number", Count),
    required<&M::sampleIds>(3, "sample ids", IntPlus, Items {MaxSamplesPerBatch}),
    required<&M::sampleSizes>(4, "sample sizes", IntPlus, Items {MaxSamplesPerBatch}),
    required<&M::sampleValues>(5, "sample values"),
};
constexpr Field historyBeginFields[] = {
    optional<&M::droppedSamples>(1, "dropped samples", Count),
    optional<&M::historySamples>(2, "history samples", Count),
};
constexpr Field logFields[] = {
    required<&M::level>(1, "log level", Range {0, 7}),
    required<&M::text>(2, "log text"),
};
constexpr Field controlRequestFields[] = {
    required<&M::options>(1, "control request", U32),
};

constexpr Schema messageSchemas[] = {
    schema("Hello", Hello, helloFields),
    schema("Error", Error, errorFields),
    schema("Identity", Identity, identityFields),
    schema("ControlOptions", ControlOptions, controlOptionsFields),
    schema("Status", Status, statusFields),
    schema("SimulationInfo", SimulationInfo, simulationInfoFields, &completeSimulationInfo),
    schema("Ready", Ready),
    schema("RuleData", RuleData, ruleDataFields, &completeRuleData),
    schema("TrackedDataInfo", TrackedDataInfo, trackedDataInfoFields),
    schema("IndexData", IndexData, indexDataFields),
    schema("Samples", Samples, samplesFields, &completeSamples),
    schema("HistoryBegin", HistoryBegin, historyBeginFields),
    schema("HistoryEnd", HistoryEnd),
    schema("Log", Log, logFields),
    schema("ControlRequest", ControlRequest, controlRequestFields),
    schema("Heartbeat", Heartbeat),
};
constexpr int MessageCount = int(std::size(messageSchemas));

constexpr bool numberedByType()
{
    for (int i = 0; i < MessageCount; ++i) {
        if (messageSchemas[i].type != quint64(i + 1))
            return false;
    }
    return true;
}
static_assert(numberedByType(), "message() finds a schema by its place");

QString bound(qint64 v)
{
    // Powers of two as the document writes them.
    if (v >= 65536 && (v & (v - 1)) == 0)
        return QStringLiteral("2^%1").arg(qCountTrailingZeroBits(quint64(v)));
    return QString::number(v);
}

QString rangeNotation(const Range &r)
{
    const auto is = [&r](const Range &other) { return r.min == other.min && r.max == other.max; };
    if (is(U32))
        return QStringLiteral("u32");
    if (is(Int32))
        return QStringLiteral("int32");
    if (is(IntPlus))
        return QStringLiteral("int+");
    if (is(Ms))
        return QStringLiteral("ms");
    return QStringLiteral("%1 %2..%3")
        .arg(
            r.min < 0 ? QStringLiteral("int") : QStringLiteral("uint"), bound(r.min), bound(r.max));
}

} // namespace

const Schema *message(quint64 type)
{
    return type >= 1 && type <= quint64(MessageCount) ? &messageSchemas[type - 1] : nullptr;
}

QVector<const Schema *> messages()
{
    QVector<const Schema *> all;
    for (const Schema &s : messageSchemas)
        all.append(&s);
    return all;
}

QString typeNotation(const Field &field)
{
    switch (field.encoding) {
    case Encoding::Integer:
        return rangeNotation(field.range);
    case Encoding::Text:
        return QStringLiteral("text");
    case Encoding::TextList:
        return QStringLiteral("text[]");
    case Encoding::Time:
        return QStringLiteral("time");
    case Encoding::IntegerList:
        return QStringLiteral("array of ") + rangeNotation(field.range);
    case Encoding::RecordList:
        return QStringLiteral("array of %1 maps")
            .arg(QString::fromLatin1(field.records->name).toLower());
    case Encoding::Float64LE:
        return QStringLiteral("f64le");
    case Encoding::Float:
        return QStringLiteral("float");
    }
    return QString();
}

QString defaultNotation(const Field &field)
{
    if (field.required)
        return QString();
    switch (field.encoding) {
    case Encoding::Integer:
        return QString::number(field.defaultValue);
    case Encoding::Time:
    case Encoding::Float:
        return QStringLiteral("unknown");
    default:
        return QStringLiteral("empty");
    }
}

} // namespace KvCommSchema
