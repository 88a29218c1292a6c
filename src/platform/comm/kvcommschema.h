#pragma once

#include "kvcommexport.h"

#include <QString>
#include <QVector>

/// The one description of the monitoring protocol's messages: per message
/// type its keys with their encodings, ranges, defaults and whether they are
/// required. KvCommFrameWriter encodes and KvCommFrameReader decodes by it,
/// and the tables of docs/protocol.md are checked against it.
///
/// A field names the member of the record it fills (a KvCommMessage for a
/// message, a rule or tracked-value record for the maps of RuleData), so a
/// new optional field is one line in kvcommschema.cpp and the member it
/// fills.
namespace KvCommSchema {

class Decoder;
class Encoder;
struct Schema;

enum class Encoding : quint8 {
    Integer, ///< unsigned or negative integer within [min, max]
    Text, ///< text string (UTF-8)
    TextList, ///< array of at most maxItems text strings
    Time, ///< integer milliseconds since 1970 UTC; the key is absent when unknown
    IntegerList, ///< array of at most maxItems integers within [min, max]
    RecordList, ///< array of at most maxItems maps described by `records`
    Float64LE, ///< tag 86 and a byte string of little-endian binary64 values
    Float ///< a finite floating-point number (any precision) or an integer; NaN when absent
};

struct Range {
    qint64 min = 0;
    qint64 max = 0;
};
/// The longest a list may be.
struct Items {
    qint64 max = 0;
};
/// The value of an optional integer whose key is absent (otherwise 0).
struct Default {
    qint64 value = 0;
};

struct Field {
    quint64 key = 0;
    const char *name = nullptr; ///< for error messages
    Encoding encoding = Encoding::Integer;
    bool required = false;
    Range range; ///< of the integer, or of each item of an integer list
    qint64 maxItems = 0; ///< of a list
    qint64 defaultValue = 0;
    const Schema *records = nullptr; ///< the maps of a record list

    // The field's member in a record of its schema's type, behind the types.
    bool (*read)(Decoder &, void *record, const Field &) = nullptr;
    void (*write)(Encoder &, const void *record, const Field &) = nullptr;
    void (*reset)(void *record, const Field &) = nullptr;
    bool (*present)(const void *record) = nullptr; ///< false: the writer leaves the key out
};

struct Schema {
    const char *name = nullptr; ///< as docs/protocol.md names it ("Samples", "Rule")
    quint64 type = 0; ///< message type; 0 for a map inside a message
    const Field *fields = nullptr;
    int count = 0;
    quint64 required = 0; ///< bit i: fields[i] is required
    /// Checks across fields once all are decoded, and fills derived members.
    bool (*complete)(void *record, QString *error) = nullptr;
};

/// The schema of a message type; null for a type this side does not know.
KVCOMM_EXPORT const Schema *message(quint64 type);
/// Every message schema, by type.
KVCOMM_EXPORT QVector<const Schema *> messages();
/// The field's type in the notation of docs/protocol.md ("u32", "uint 0..7",
/// "array of rule maps").
KVCOMM_EXPORT QString typeNotation(const Field &field);
/// What an absent optional key stands for, as docs/protocol.md writes it
/// ("empty", "unknown", "0"); empty for a required key.
KVCOMM_EXPORT QString defaultNotation(const Field &field);

} // namespace KvCommSchema
