#include "kvcommframereader.h"

#include <QCborStreamReader>
#include <QIODevice>
#include <QtEndian>

#include <cstring>
#include <limits>

namespace {

constexpr qint64 MaxTime = qint64(1) << 53;

class BodyDecoder
{
public:
    BodyDecoder(const char *data, qsizetype size)
        : r(data, size)
        , m_size(size)
    { }

    QCborStreamReader r;
    QString error;

    bool fail(const QString &message)
    {
        if (error.isEmpty())
            error = message;
        return false;
    }

    bool cborOk()
    {
        const QCborError e = r.lastError();
        if (e.c != QCborError::NoError)
            return fail(QStringLiteral("malformed CBOR (%1) at byte %2")
                            .arg(e.toString())
                            .arg(r.currentOffset()));
        return error.isEmpty();
    }

    qsizetype remaining() const { return m_size - qsizetype(r.currentOffset()); }

    // Skips one item of any type. Not QCborStreamReader::next(): it reads
    // strings whole, allocating whatever their header claims.
    bool skip(int depth = 0)
    {
        if (depth > 16)
            return fail(QStringLiteral("item nested too deeply"));
        if (r.isString() || r.isByteArray())
            return readChunks(m_text, "skipped string");
        if (r.isContainer()) {
            if (!r.enterContainer())
                return cborOk() && fail(QStringLiteral("malformed container"));
            while (cborOk() && r.hasNext()) {
                if (!skip(depth + 1))
                    return false;
            }
            return cborOk() && leave();
        }
        if (!r.next())
            return cborOk() && fail(QStringLiteral("malformed item"));
        return cborOk();
    }

    bool readInt(qint64 &out, const char *what, qint64 min, qint64 max)
    {
        if (r.isUnsignedInteger()) {
            const quint64 u = r.toUnsignedInteger();
            if (u > quint64(max))
                return fail(QStringLiteral("%1 out of range: %2").arg(QLatin1String(what)).arg(u));
            out = qint64(u);
        } else if (r.isNegativeInteger()) {
            // Qt gives the absolute value (0 when it is 2^64, out of any range).
            const quint64 abs = quint64(r.toNegativeInteger());
            if (min >= 0 || abs == 0 || abs - 1 > quint64(-(min + 1)))
                return fail(QStringLiteral("%1 out of range").arg(QLatin1String(what)));
            out = -qint64(abs - 1) - 1;
        } else {
            return fail(QStringLiteral("%1 is not an integer").arg(QLatin1String(what)));
        }
        r.next();
        return cborOk();
    }

    template<typename T> bool readIntT(T &out, const char *what, qint64 min, qint64 max)
    {
        qint64 v = 0;
        if (!readInt(v, what, min, max))
            return false;
        out = T(v);
        return true;
    }

    bool readText(QString &out, const char *what)
    {
        if (!r.isString())
            return fail(QStringLiteral("%1 is not a text string").arg(QLatin1String(what)));
        if (!readChunks(m_text, what))
            return false;
        out = QString::fromUtf8(m_text.data(), int(m_text.size()));
        return true;
    }

    // Reads a text or byte string chunk by chunk into `out`. Every announced
    // chunk size is checked against the rest of the frame first: Qt's own
    // readString() allocates whatever a string header claims.
    bool readChunks(std::vector<char> &out, const char *what)
    {
        size_t used = 0;
        for (;;) {
            qsizetype chunk = r.currentStringChunkSize();
            if (chunk < 0)
                chunk = 0;
            if (chunk > remaining())
                return fail(QStringLiteral("%1 is longer than the frame").arg(QLatin1String(what)));
            out.resize(used + size_t(chunk));
            const auto res = r.readStringChunk(out.data() + used, chunk);
            if (res.status == QCborStreamReader::EndOfString)
                break;
            if (res.status == QCborStreamReader::Error)
                return cborOk()
                    && fail(QStringLiteral("%1: invalid string").arg(QLatin1String(what)));
            used += size_t(res.data);
        }
        out.resize(used);
        return cborOk();
    }

    bool readTime(QDateTime &out, const char *what)
    {
        qint64 ms = 0;
        if (!readInt(ms, what, -MaxTime, MaxTime))
            return false;
        out = QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
        return true;
    }

    // Enters an array; an announced length that the rest of the frame cannot
    // hold (every item takes at least one byte) is refused before anything
    // is reserved for it.
    bool enterArray(const char *what, qsizetype maxItems, qsizetype *length = nullptr)
    {
        if (!r.isArray())
            return fail(QStringLiteral("%1 is not an array").arg(QLatin1String(what)));
        qsizetype n = -1;
        if (r.isLengthKnown()) {
            const quint64 len = r.length();
            if (len > quint64(remaining()))
                return fail(QStringLiteral("%1 announces %2 items, more than the frame holds")
                                .arg(QLatin1String(what))
                                .arg(len));
            if (len > quint64(maxItems))
                return tooMany(what, maxItems);
            n = qsizetype(len);
        }
        if (length)
            *length = n;
        if (!r.enterContainer())
            return cborOk() && fail(QStringLiteral("%1: cannot enter").arg(QLatin1String(what)));
        return cborOk();
    }

    bool tooMany(const char *what, qsizetype maxItems)
    {
        return fail(QStringLiteral("more than %1 %2").arg(maxItems).arg(QLatin1String(what)));
    }

    bool leave()
    {
        if (!r.leaveContainer())
            return cborOk() && fail(QStringLiteral("container not closed"));
        return cborOk();
    }

    bool readTextArray(QStringList &out, const char *what, qsizetype maxItems)
    {
        qsizetype n = 0;
        if (!enterArray(what, maxItems, &n))
            return false;
        out.clear();
        if (n > 0)
            out.reserve(int(n));
        while (r.hasNext()) {
            if (out.size() >= maxItems) // an array of unknown length
                return tooMany(what, maxItems);
            QString s;
            if (!readText(s, what))
                return false;
            out.append(s);
        }
        return cborOk() && leave();
    }

    // Reads the key of a map entry; false with an empty error when the key is
    // not an unsigned integer and the entry has been skipped.
    bool readKey(quint64 &key, bool &skipped)
    {
        skipped = false;
        if (r.isUnsignedInteger()) {
            key = r.toUnsignedInteger();
            r.next();
            if (!cborOk())
                return false;
            if (!r.hasNext())
                return fail(QStringLiteral("map key without value"));
            return true;
        }
        skipped = true;
        if (!skip())
            return false;
        if (!r.hasNext())
            return fail(QStringLiteral("map key without value"));
        return skip();
    }

    bool readByteValues(std::vector<char> &out)
    {
        if (!r.isTag() || quint64(r.toTag()) != KvCommProtocol::TagFloat64LE)
            return fail(QStringLiteral("sample values are not a tagged float64 byte string"));
        r.next();
        if (!cborOk())
            return false;
        if (!r.isByteArray())
            return fail(QStringLiteral("sample values are not a byte string"));
        return readChunks(out, "sample values");
    }

private:
    qsizetype m_size = 0;
    std::vector<char> m_text;
};

constexpr qint64 IntMax = std::numeric_limits<int>::max();
constexpr qint64 UInt32Max = std::numeric_limits<quint32>::max();

bool isKnownType(quint64 type)
{
    return type >= KvCommProtocol::Hello && type <= KvCommProtocol::Heartbeat;
}

// Keys that a message must carry, as a bit mask.
quint32 requiredKeys(KvCommProtocol::MessageType type)
{
    switch (type) {
    case KvCommProtocol::Hello:
        return 0b110;
    case KvCommProtocol::ControlOptions:
    case KvCommProtocol::ControlRequest:
    case KvCommProtocol::Status:
    case KvCommProtocol::TrackedDataInfo:
        return 0b10;
    case KvCommProtocol::Log:
        return 0b110;
    case KvCommProtocol::IndexData:
        return 0b1110;
    case KvCommProtocol::Samples:
        return 0b111110;
    case KvCommProtocol::RuleData:
        return 0b110;
    default:
        return 0;
    }
}

void resetFor(KvCommMessage &m, KvCommProtocol::MessageType type)
{
    switch (type) {
    case KvCommProtocol::Hello:
        m.magic.clear();
        m.protocolVersion = 0;
        break;
    case KvCommProtocol::Error:
    case KvCommProtocol::Log:
        m.text.clear();
        m.level = 0;
        break;
    case KvCommProtocol::Identity:
        m.version.clear();
        m.revision.clear();
        break;
    case KvCommProtocol::Status:
        m.time = QDateTime();
        break;
    case KvCommProtocol::SimulationInfo:
        m.name.clear();
        m.description.clear();
        m.files.clear();
        m.loadingTime = QDateTime();
        m.runningTime = QDateTime();
        break;
    case KvCommProtocol::RuleData:
        m.rules.clear();
        m.trackedData.clear();
        break;
    case KvCommProtocol::TrackedDataInfo:
        m.trackedInfo = KvCommClientTrackedRuleDataInfo();
        break;
    case KvCommProtocol::IndexData:
        m.elapsedTime = 0;
        break;
    case KvCommProtocol::Samples:
        m.samples = QList<KvCommClientTrackedData>();
        break;
    case KvCommProtocol::HistoryBegin:
        m.droppedSamples = 0;
        m.historySamples = 0;
        break;
    default:
        break;
    }
}

bool decodeRule(BodyDecoder &d, KvCommClientTrackedRuleInfo &rule)
{
    if (!d.r.isMap())
        return d.fail(QStringLiteral("a rule is not a map"));
    if (!d.r.enterContainer())
        return d.cborOk() && d.fail(QStringLiteral("rule: cannot enter"));
    while (d.r.hasNext()) {
        quint64 key = 0;
        bool skipped = false;
        if (!d.readKey(key, skipped))
            return false;
        if (skipped)
            continue;
        bool ok = true;
        switch (key) {
        case 1:
            ok = d.readText(rule.name, "rule name");
            break;
        case 2:
            ok = d.readText(rule.description, "rule description");
            break;
        case 3:
            ok = d.readIntT(rule.indexTypes, "rule index types", 0, UInt32Max);
            break;
        case 4:
            ok = d.readIntT(rule.numTrackedData, "rule value count", 0, IntMax);
            break;
        default:
            ok = d.skip();
        }
        if (!ok)
            return false;
    }
    return d.cborOk() && d.leave();
}

bool decodeTrackedInfo(BodyDecoder &d, KvCommClientTrackedRuleDataInfo &info)
{
    if (!d.r.isMap())
        return d.fail(QStringLiteral("a tracked value is not a map"));
    if (!d.r.enterContainer())
        return d.cborOk() && d.fail(QStringLiteral("tracked value: cannot enter"));
    while (d.r.hasNext()) {
        quint64 key = 0;
        bool skipped = false;
        if (!d.readKey(key, skipped))
            return false;
        if (skipped)
            continue;
        bool ok = true;
        switch (key) {
        case 1:
            ok = d.readIntT(info.ruleId, "rule of a tracked value", 0, IntMax);
            break;
        case 2:
            ok = d.readText(info.name, "tracked value name");
            break;
        case 3:
            ok = d.readText(info.description, "tracked value description");
            break;
        case 4:
            ok = d.readIntT(info.indexedBy, "tracked value index", 0, IntMax);
            break;
        case 5:
            ok = d.readIntT(info.position, "tracked value position", 0, IntMax);
            break;
        case 6:
            ok = d.readText(info.unit, "tracked value unit");
            break;
        case 7:
            ok = d.readIntT(info.numRows, "tracked value rows", 0, IntMax);
            break;
        case 8:
            ok = d.readIntT(info.numCols, "tracked value columns", 0, IntMax);
            break;
        default:
            ok = d.skip();
        }
        if (!ok)
            return false;
    }
    return d.cborOk() && d.leave();
}

} // namespace

KvCommFrameReader::KvCommFrameReader() = default;
KvCommFrameReader::~KvCommFrameReader() = default;

void KvCommFrameReader::addData(const char *data, qsizetype size)
{
    if (size <= 0)
        return;
    m_buffer.append(data, int(size));
}

qint64 KvCommFrameReader::readFrom(QIODevice *device, qint64 maxBytes)
{
    const qint64 n = qMin(device->bytesAvailable(), maxBytes);
    if (n <= 0)
        return 0;
    const int old = m_buffer.size();
    m_buffer.resize(old + int(n));
    const qint64 got = device->read(m_buffer.data() + old, n);
    m_buffer.resize(old + int(qMax<qint64>(got, 0)));
    return got;
}

qsizetype KvCommFrameReader::bytesMissing() const
{
    const qsizetype avail = bufferedBytes();
    if (avail < 4)
        return 4 - avail;
    const quint32 len = qFromBigEndian<quint32>(m_buffer.constData() + m_offset);
    const qsizetype need = 4 + qsizetype(qMin(len, KvCommProtocol::MaxFrameSize));
    return avail >= need ? 0 : need - avail;
}

void KvCommFrameReader::clear()
{
    m_buffer.clear();
    m_offset = 0;
    m_error.clear();
}

bool KvCommFrameReader::readNext(KvCommMessage &message)
{
    if (hasError())
        return false;
    const qsizetype avail = bufferedBytes();
    if (avail < 4)
        return false;
    const quint32 len = qFromBigEndian<quint32>(m_buffer.constData() + m_offset);
    if (len > KvCommProtocol::MaxFrameSize) {
        m_error = QStringLiteral("a frame of %1 bytes exceeds the limit of %2 bytes")
                      .arg(len)
                      .arg(KvCommProtocol::MaxFrameSize);
        return false;
    }
    if (len == 0) {
        m_error = QStringLiteral("empty frame");
        return false;
    }
    if (avail < 4 + qsizetype(len))
        return false;
    QString error;
    const bool ok = decodeBody(m_buffer.constData() + m_offset + 4, len, message, &error);
    m_offset += 4 + qsizetype(len);
    if (m_offset == m_buffer.size()) {
        m_buffer.resize(0); // keeps the capacity
        m_offset = 0;
    } else if (m_offset > 65536 && m_offset * 2 > m_buffer.size()) {
        const qsizetype rest = m_buffer.size() - m_offset;
        std::memmove(m_buffer.data(), m_buffer.constData() + m_offset, size_t(rest));
        m_buffer.resize(int(rest));
        m_offset = 0;
    }
    if (!ok) {
        m_error = error;
        return false;
    }
    return true;
}

bool KvCommFrameReader::decodeBody(
    const char *data, qsizetype size, KvCommMessage &m, QString *error)
{
    using namespace KvCommProtocol;
    BodyDecoder d(data, size);
    auto failed = [&](const QString &fallback) {
        if (error)
            *error = d.error.isEmpty() ? fallback : d.error;
        return false;
    };

    if (!d.r.isMap())
        return failed(QStringLiteral("the frame body is not a CBOR map"));
    if (!d.r.enterContainer() || !d.cborOk())
        return failed(QStringLiteral("the frame body is not a valid map"));
    if (!d.r.hasNext() || !d.r.isUnsignedInteger() || d.r.toUnsignedInteger() != KeyType)
        return failed(QStringLiteral("the frame body does not start with the message type"));
    d.r.next();
    qint64 rawType = 0;
    if (!d.cborOk() || !d.r.hasNext() || !d.readInt(rawType, "message type", 0, UInt32Max))
        return failed(QStringLiteral("the message type is missing"));
    m.rawType = quint32(rawType);
    m.type = isKnownType(quint64(rawType)) ? MessageType(rawType) : Unknown;
    resetFor(m, m.type);

    quint32 seen = 0;
    qint64 firstSequence = 0;
    bool haveValues = false;
    m_ids.clear();
    m_counts.clear();
    while (d.r.hasNext()) {
        quint64 key = 0;
        bool skipped = false;
        if (!d.readKey(key, skipped))
            return failed(QString());
        if (skipped)
            continue;
        if (key < 32)
            seen |= 1u << key;
        bool ok = true;
        switch (m.type) {
        case Hello:
            if (key == 1)
                ok = d.readText(m.magic, "magic");
            else if (key == 2)
                ok = d.readIntT(m.protocolVersion, "protocol version", 0, UInt32Max);
            else
                ok = d.skip();
            break;
        case Error:
            ok = key == 1 ? d.readText(m.text, "error text") : d.skip();
            break;
        case Identity:
            if (key == 1)
                ok = d.readText(m.version, "version");
            else if (key == 2)
                ok = d.readText(m.revision, "revision");
            else
                ok = d.skip();
            break;
        case ControlOptions:
        case ControlRequest:
            ok = key == 1 ? d.readIntT(m.options, "control options", 0, UInt32Max) : d.skip();
            break;
        case Status:
            if (key == 1)
                ok = d.readIntT(m.status, "status", std::numeric_limits<qint32>::min(), IntMax);
            else if (key == 2)
                ok = d.readTime(m.time, "status time");
            else
                ok = d.skip();
            break;
        case SimulationInfo:
            if (key == 1)
                ok = d.readText(m.name, "simulation name");
            else if (key == 2)
                ok = d.readText(m.description, "simulation description");
            else if (key == 3)
                ok = d.readTextArray(m.files, "simulation files", MaxFiles);
            else if (key == 4)
                ok = d.readTime(m.loadingTime, "loading time");
            else if (key == 5)
                ok = d.readTime(m.runningTime, "running time");
            else
                ok = d.skip();
            break;
        case RuleData:
            if (key == 1 || key == 2) {
                qsizetype n = 0;
                const char *what = key == 1 ? "rules" : "tracked values";
                const int max = key == 1 ? MaxRules : MaxTrackedValues;
                ok = d.enterArray(what, max, &n);
                if (key == 1)
                    m.rules.clear();
                else
                    m.trackedData.clear();
                while (ok && d.r.hasNext()) {
                    if ((key == 1 ? m.rules.size() : m.trackedData.size()) >= max) {
                        ok = d.tooMany(what, max);
                    } else if (key == 1) {
                        KvCommClientTrackedRuleInfo rule;
                        ok = decodeRule(d, rule);
                        m.rules.append(rule);
                    } else {
                        KvCommClientTrackedRuleDataInfo info;
                        ok = decodeTrackedInfo(d, info);
                        m.trackedData.append(info);
                    }
                }
                ok = ok && d.cborOk() && d.leave();
            } else {
                ok = d.skip();
            }
            break;
        case TrackedDataInfo:
            if (key == 1)
                ok = d.readIntT(m.trackedInfo.id, "tracked value id", 0, IntMax);
            else if (key == 2)
                ok = d.readText(m.trackedInfo.name, "tracked value name");
            else if (key == 3)
                ok = d.readText(m.trackedInfo.description, "tracked value description");
            else if (key == 4)
                ok = d.readText(m.trackedInfo.unit, "tracked value unit");
            else
                ok = d.skip();
            break;
        case IndexData:
            if (key == 1) {
                ok = d.readIntT(m.ruleId, "rule of index data", 0, IntMax);
            } else if (key == 2) {
                int type = 0;
                ok = d.readIntT(
                    type, "index type", 0, KvCommClientTrackedIndexData::NumIndexTypes - 1);
                if (ok)
                    m.indexData = KvCommClientTrackedIndexData(
                        KvCommClientTrackedIndexData::IndexType(type), m.indexData.lines());
            } else if (key == 3) {
                QStringList lines;
                ok = d.readTextArray(lines, "index lines", MaxIndexLines);
                if (ok)
                    m.indexData = KvCommClientTrackedIndexData(m.indexData.indexType(), lines);
            } else if (key == 4) {
                ok = d.readInt(m.elapsedTime, "elapsed time", -MaxTime, MaxTime);
            } else {
                ok = d.skip();
            }
            break;
        case Samples:
            if (key == 1) {
                ok = d.readInt(m.elapsedTime, "elapsed time", -MaxTime, MaxTime);
            } else if (key == 2) {
                ok = d.readInt(firstSequence, "first sequence number", 0, qint64(1) << 62);
            } else if (key == 3 || key == 4) {
                const char *what = key == 3 ? "sample ids" : "sample sizes";
                ok = d.enterArray(what, MaxSamplesPerBatch);
                if (key == 3)
                    m_ids.clear();
                else
                    m_counts.clear();
                while (ok && d.r.hasNext()) {
                    if (m_ids.size() >= size_t(MaxSamplesPerBatch)
                        || m_counts.size() >= size_t(MaxSamplesPerBatch)) {
                        ok = d.tooMany(what, MaxSamplesPerBatch);
                        break;
                    }
                    qint64 v = 0;
                    ok = d.readInt(v, key == 3 ? "sample id" : "sample size", 0, IntMax);
                    if (key == 3)
                        m_ids.push_back(int(v));
                    else
                        m_counts.push_back(v);
                }
                ok = ok && d.cborOk() && d.leave();
            } else if (key == 5) {
                ok = d.readByteValues(m_values);
                haveValues = ok;
            } else {
                ok = d.skip();
            }
            break;
        case HistoryBegin:
            if (key == 1)
                ok = d.readInt(m.droppedSamples, "dropped samples", 0, qint64(1) << 62);
            else if (key == 2)
                ok = d.readInt(m.historySamples, "history samples", 0, qint64(1) << 62);
            else
                ok = d.skip();
            break;
        case Log:
            if (key == 1)
                ok = d.readIntT(m.level, "log level", 0, 7);
            else if (key == 2)
                ok = d.readText(m.text, "log text");
            else
                ok = d.skip();
            break;
        default:
            ok = d.skip();
        }
        if (!ok)
            return failed(QStringLiteral("invalid field %1").arg(key));
    }
    if (!d.cborOk() || !d.leave())
        return failed(QStringLiteral("the frame body is truncated"));
    if (d.remaining() != 0)
        return failed(QStringLiteral("%1 bytes after the end of the message").arg(d.remaining()));

    const quint32 required = requiredKeys(m.type);
    if ((seen & required) != required)
        return failed(QStringLiteral("message of type %1 lacks a required field").arg(m.rawType));

    if (m.type == RuleData) {
        int first = 0;
        for (int i = 0; i < m.rules.size(); ++i) {
            m.rules[i].id = i;
            m.rules[i].firstTrackedData = first;
            first += m.rules[i].numTrackedData;
        }
        for (int i = 0; i < m.trackedData.size(); ++i)
            m.trackedData[i].id = i;
    } else if (m.type == Samples) {
        if (!haveValues)
            return failed(QStringLiteral("samples without values"));
        if (m_ids.size() != m_counts.size())
            return failed(QStringLiteral("%1 sample ids but %2 sample sizes")
                              .arg(m_ids.size())
                              .arg(m_counts.size()));
        qint64 total = 0;
        for (qint64 c : m_counts)
            total += c; // each count <= INT_MAX, at most 16 Mi counts: no overflow
        if (total * qint64(sizeof(double)) != qint64(m_values.size()))
            return failed(QStringLiteral("the samples declare %1 values but carry %2 bytes")
                              .arg(total)
                              .arg(m_values.size()));
        m.firstSequence = firstSequence;
        m.samples.reserve(int(m_ids.size()));
        const char *in = m_values.data();
        for (size_t i = 0; i < m_ids.size(); ++i) {
            const int n = int(m_counts[i]);
            QVector<double> values(n);
#if Q_BYTE_ORDER == Q_LITTLE_ENDIAN
            if (n)
                std::memcpy(values.data(), in, size_t(n) * sizeof(double));
#else
            for (int k = 0; k < n; ++k)
                values[k] = qFromLittleEndian<double>(in + k * sizeof(double));
#endif
            in += size_t(n) * sizeof(double);
            m.samples.append(
                KvCommClientTrackedData(m_ids[i], std::move(values), firstSequence + qint64(i)));
        }
    }
    return true;
}
