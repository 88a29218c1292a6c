#include "kvcommschemaencoder.h"

#include "kvcommprotocol.h"

#include <QtEndian>

namespace KvCommSchema {

Encoder::Encoder()
    : w(&bytes)
{
    // The writer's buffer device starts at position 0: skip the prefix.
    bytes.resize(4);
    w.device()->seek(4);
}

QByteArray Encoder::frame(const Schema &schema, const void *record)
{
    Encoder e;
    e.writeMap(schema, record);
    qToBigEndian<quint32>(quint32(e.bytes.size() - 4), e.bytes.data());
    return std::move(e.bytes);
}

void Encoder::writeMap(const Schema &schema, const void *record)
{
    // A message's type is its map's first entry; the maps inside have none.
    quint64 entries = schema.type ? 1 : 0;
    for (int i = 0; i < schema.count; ++i)
        entries += schema.fields[i].present(record) ? 1 : 0;
    w.startMap(entries);
    if (schema.type) {
        w.append(KvCommProtocol::KeyType);
        w.append(schema.type);
    }
    for (int i = 0; i < schema.count; ++i) {
        const Field &field = schema.fields[i];
        if (!field.present(record))
            continue;
        w.append(field.key);
        field.write(*this, record, field);
    }
    w.endMap();
}

} // namespace KvCommSchema
