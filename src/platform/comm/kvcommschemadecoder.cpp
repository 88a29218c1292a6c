#include "kvcommschemadecoder.h"

#include "kvcommprotocol.h"

#include <QtNumeric>

namespace KvCommSchema {

namespace {

constexpr qint64 MaxTime = qint64(1) << 53;

const Field *find(const Schema &schema, quint64 key)
{
    // Keys are mostly 1..n in order: try the direct place first.
    if (schema.count > 0) {
        const quint64 at = key - schema.fields[0].key;
        if (at < quint64(schema.count) && schema.fields[at].key == key)
            return &schema.fields[at];
    }
    for (int i = 0; i < schema.count; ++i) {
        if (schema.fields[i].key == key)
            return &schema.fields[i];
    }
    return nullptr;
}

} // namespace

Decoder::Decoder(const char *data, qsizetype size)
    : r(data, size)
    , m_size(size)
{ }

bool Decoder::cborFailed()
{
    return fail(QStringLiteral("malformed CBOR (%1) at byte %2")
                    .arg(r.lastError().toString())
                    .arg(r.currentOffset()));
}

bool Decoder::outOfRange(const char *what, const QString &value)
{
    return fail(value.isEmpty()
            ? QStringLiteral("%1 out of range").arg(QLatin1String(what))
            : QStringLiteral("%1 out of range: %2").arg(QLatin1String(what), value));
}

bool Decoder::notAnInteger(const char *what)
{
    return fail(QStringLiteral("%1 is not an integer").arg(QLatin1String(what)));
}

// Not QCborStreamReader::next(): it reads strings whole, allocating whatever
// their header claims. A tag and its item are one item: skipping the tag's
// head alone would read the tagged item as the next key.
bool Decoder::skip(int depth)
{
    if (r.isString() || r.isByteArray())
        return readChunks(m_text, "skipped string");
    if (!r.isContainer() && !r.isTag()) {
        if (!r.next())
            return cborOk() && fail(QStringLiteral("malformed item"));
        return cborOk();
    }
    if (depth >= MaxSkipDepth)
        return fail(QStringLiteral("a skipped value nests more than %1 arrays, maps and tags")
                        .arg(MaxSkipDepth));
    if (r.isTag()) {
        if (!r.next() || !cborOk())
            return cborOk() && fail(QStringLiteral("malformed tag"));
        return skip(depth + 1);
    }
    if (!r.enterContainer())
        return cborOk() && fail(QStringLiteral("malformed container"));
    while (cborOk() && r.hasNext()) {
        if (!skip(depth + 1))
            return false;
    }
    return cborOk() && leave();
}

bool Decoder::readKey(quint64 &key, bool &skipped)
{
    skipped = !r.isUnsignedInteger();
    if (skipped) {
        if (!skip())
            return false;
    } else {
        key = r.toUnsignedInteger();
        r.next();
        if (!cborOk())
            return false;
    }
    if (!r.hasNext())
        return fail(QStringLiteral("map key without value"));
    return !skipped || skip();
}

bool Decoder::decodeEntries(const Schema *schema, void *record)
{
    // A required field is set whenever the message is complete.
    if (schema) {
        for (int i = 0; i < schema->count; ++i) {
            if (!schema->fields[i].required)
                schema->fields[i].reset(record, schema->fields[i]);
        }
    }
    quint64 seen = 0;
    while (r.hasNext()) {
        quint64 key = 0;
        bool skipped = false;
        if (!readKey(key, skipped))
            return false;
        if (skipped)
            continue;
        const Field *field = schema ? find(*schema, key) : nullptr;
        if (!field) {
            if (!skip())
                return false;
            continue;
        }
        if (!field->read(*this, record, *field))
            return fail(QStringLiteral("invalid key %1").arg(key));
        seen |= quint64(1) << (field - schema->fields);
    }
    if (!cborOk() || !schema)
        return cborOk();
    for (int i = 0; (seen & schema->required) != schema->required && i < schema->count; ++i) {
        const Field &field = schema->fields[i];
        if (field.required && !(seen & (quint64(1) << i)))
            return fail(
                QStringLiteral("%1 lacks its required key %2 (%3)")
                    .arg(schema->type
                            ? QStringLiteral("the %1 message").arg(QLatin1String(schema->name))
                            : QStringLiteral("a %1 map")
                                  .arg(QString::fromLatin1(schema->name).toLower()))
                    .arg(field.key)
                    .arg(QLatin1String(field.name)));
    }
    return !schema->complete || schema->complete(record, &error);
}

bool Decoder::decodeRecord(const Schema &schema, void *record)
{
    if (!r.isMap())
        return fail(
            QStringLiteral("a %1 is not a map").arg(QString::fromLatin1(schema.name).toLower()));
    if (!r.enterContainer())
        return cborOk() && fail(QStringLiteral("malformed map"));
    return decodeEntries(&schema, record) && leave();
}

bool Decoder::readText(QString &out, const char *what)
{
    if (!r.isString())
        return fail(QStringLiteral("%1 is not a text string").arg(QLatin1String(what)));
    if (!readChunks(m_text, what))
        return false;
    out = QString::fromUtf8(m_text.data(), int(m_text.size()));
    return true;
}

bool Decoder::readTime(QDateTime &out, const char *what)
{
    qint64 ms = 0;
    if (!readInt(ms, what, -MaxTime, MaxTime))
        return false;
    out = QDateTime::fromMSecsSinceEpoch(ms, Qt::UTC);
    return true;
}

bool Decoder::readFloat(double &out, const char *what)
{
    double v = 0.0;
    if (r.isDouble())
        v = r.toDouble();
    else if (r.isFloat())
        v = double(r.toFloat());
    else if (r.isFloat16())
        v = double(float(r.toFloat16()));
    else if (r.isUnsignedInteger())
        v = double(r.toUnsignedInteger());
    else if (r.isNegativeInteger())
        v = -double(quint64(r.toNegativeInteger())) - 1.0;
    else
        return fail(QStringLiteral("%1 is not a number").arg(QLatin1String(what)));
    if (!qIsFinite(v))
        return outOfRange(what, QString::number(v));
    out = v;
    r.next();
    return cborOk();
}

bool Decoder::readTextList(QStringList &out, const char *what, qint64 maxItems)
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

bool Decoder::readByteValues(std::vector<char> &out, const char *what)
{
    if (!r.isTag() || quint64(r.toTag()) != KvCommProtocol::TagFloat64LE)
        return fail(
            QStringLiteral("%1 are not a tagged float64 byte string").arg(QLatin1String(what)));
    r.next();
    if (!cborOk())
        return false;
    if (!r.isByteArray())
        return fail(QStringLiteral("%1 are not a byte string").arg(QLatin1String(what)));
    return readChunks(out, what);
}

// Every announced chunk size is checked against the rest of the frame first:
// Qt's own readString() allocates whatever a string header claims.
bool Decoder::readChunks(std::vector<char> &out, const char *what)
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
            return cborOk() && fail(QStringLiteral("%1: invalid string").arg(QLatin1String(what)));
        used += size_t(res.data);
    }
    out.resize(used);
    return cborOk();
}

// Every item takes at least one byte: an announced length that the rest of
// the frame cannot hold is refused before anything is reserved for it.
bool Decoder::enterArray(const char *what, qint64 maxItems, qsizetype *length)
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

bool Decoder::tooMany(const char *what, qint64 maxItems)
{
    return fail(QStringLiteral("more than %1 %2").arg(maxItems).arg(QLatin1String(what)));
}

bool Decoder::leave()
{
    if (!r.leaveContainer())
        return cborOk() && fail(QStringLiteral("container not closed"));
    return cborOk();
}

} // namespace KvCommSchema
