#pragma once

#include "kvcommschema.h"

#include <QByteArray>
#include <QCborStreamWriter>

namespace KvCommSchema {

/// Writes one frame by a schema: the length prefix, then the body map.
class Encoder
{
public:
    Encoder();

    /// The whole frame of a message, its type first.
    static QByteArray frame(const Schema &schema, const void *record);
    /// A map of the record's fields that are present, in key order.
    void writeMap(const Schema &schema, const void *record);

    QByteArray bytes;
    QCborStreamWriter w;
};

} // namespace KvCommSchema
