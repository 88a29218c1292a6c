#pragma once

#include "kvcommschema.h"

#include <QCborStreamReader>
#include <QDateTime>
#include <QStringList>

#include <vector>

namespace KvCommSchema {

/// Reads the CBOR items of one frame body by a schema. Defensive: no length
/// that a peer announces is trusted before the rest of the frame can hold it,
/// and the first failure is kept as the error.
class Decoder
{
public:
    /// Arrays, maps and tags that a skipped value may nest in one another.
    static constexpr int MaxSkipDepth = 16;

    Decoder(const char *data, qsizetype size);

    QCborStreamReader r;
    QString error;

    bool fail(const QString &message)
    {
        if (error.isEmpty())
            error = message;
        return false;
    }
    /// False once the CBOR stream or a check failed.
    bool cborOk()
    {
        return r.lastError().c == QCborError::NoError ? error.isEmpty() : cborFailed();
    }
    qsizetype remaining() const { return m_size - qsizetype(r.currentOffset()); }

    /// Skips one well-formed item whole, tags and containers included.
    bool skip(int depth = 0);
    /// The entries of the map the reader is at, into `record` by `schema`:
    /// unknown keys are skipped, required ones checked, then completed.
    bool decodeRecord(const Schema &schema, void *record);
    /// The entries after the message type, up to the end of the map.
    bool decodeEntries(const Schema *schema, void *record);

    // Inline with the other hot paths: one call per integer of a frame.
    bool readInt(qint64 &out, const char *what, qint64 min, qint64 max)
    {
        if (r.isUnsignedInteger()) {
            const quint64 u = r.toUnsignedInteger();
            if (u > quint64(max) || qint64(u) < min)
                return outOfRange(what, QString::number(u));
            out = qint64(u);
        } else if (r.isNegativeInteger()) {
            // Qt gives the absolute value (0 when it is 2^64, out of any range).
            const quint64 abs = quint64(r.toNegativeInteger());
            if (min >= 0 || abs == 0 || abs - 1 > quint64(-(min + 1)))
                return outOfRange(what, QString());
            out = -qint64(abs - 1) - 1;
        } else {
            return notAnInteger(what);
        }
        r.next();
        return cborOk();
    }
    bool readText(QString &out, const char *what);
    bool readTime(QDateTime &out, const char *what);
    /// Any CBOR float or integer; NaN and infinities are out of range.
    bool readFloat(double &out, const char *what);
    bool readTextList(QStringList &out, const char *what, qint64 maxItems);
    bool readByteValues(std::vector<char> &out, const char *what);
    /// Enters an array that the rest of the frame can hold and that has at
    /// most `maxItems` items (checked again per item when not announced).
    bool enterArray(const char *what, qint64 maxItems, qsizetype *length = nullptr);
    bool leave();
    bool tooMany(const char *what, qint64 maxItems);

private:
    bool cborFailed();
    bool outOfRange(const char *what, const QString &value);
    bool notAnInteger(const char *what);
    bool readChunks(std::vector<char> &out, const char *what);
    // Reads the key of a map entry; `skipped` when it was not an unsigned
    // integer and the whole entry has been skipped.
    bool readKey(quint64 &key, bool &skipped);

    qsizetype m_size = 0;
    std::vector<char> m_text;
};

} // namespace KvCommSchema
