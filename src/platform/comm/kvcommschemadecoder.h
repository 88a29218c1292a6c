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

    bool fail(const QString &message);
    /// False once the CBOR stream or a check failed.
    bool cborOk();
    qsizetype remaining() const { return m_size - qsizetype(r.currentOffset()); }

    /// Skips one well-formed item whole, tags and containers included.
    bool skip(int depth = 0);
    /// The entries of the map the reader is at, into `record` by `schema`:
    /// unknown keys are skipped, required ones checked, then completed.
    bool decodeRecord(const Schema &schema, void *record);
    /// The entries after the message type, up to the end of the map.
    bool decodeEntries(const Schema *schema, void *record);

    bool readInt(qint64 &out, const char *what, qint64 min, qint64 max);
    bool readText(QString &out, const char *what);
    bool readTime(QDateTime &out, const char *what);
    bool readTextList(QStringList &out, const char *what, qint64 maxItems);
    bool readByteValues(std::vector<char> &out, const char *what);
    /// Enters an array that the rest of the frame can hold and that has at
    /// most `maxItems` items (checked again per item when not announced).
    bool enterArray(const char *what, qint64 maxItems, qsizetype *length = nullptr);
    bool leave();
    bool tooMany(const char *what, qint64 maxItems);

private:
    bool readChunks(std::vector<char> &out, const char *what);
    // Reads the key of a map entry; `skipped` when it was not an unsigned
    // integer and the whole entry has been skipped.
    bool readKey(quint64 &key, bool &skipped);

    qsizetype m_size = 0;
    std::vector<char> m_text;
};

} // namespace KvCommSchema
