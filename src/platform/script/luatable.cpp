#include "luatable.h"

namespace {

// Registered when the library loads, so that QVariant::fromValue and
// connections by name know the type before any script is read.
const int luaTableTypeId = qRegisterMetaType<LuaTable>("LuaTable");

bool isIntegerKey(const QVariant &key, qlonglong *index)
{
    switch (static_cast<int>(key.type())) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
        *index = key.toLongLong();
        return true;
    case QMetaType::Double: {
        // Lua normalises float keys with an integral value to integers.
        const double d = key.toDouble();
        if (d >= -9.0e15 && d <= 9.0e15 && d == static_cast<double>(static_cast<qlonglong>(d))) {
            *index = static_cast<qlonglong>(d);
            return true;
        }
        return false;
    }
    default:
        return false;
    }
}

bool sameKey(const QVariant &a, const QVariant &b)
{
    qlonglong ia = 0;
    qlonglong ib = 0;
    const bool aInt = isIntegerKey(a, &ia);
    const bool bInt = isIntegerKey(b, &ib);
    if (aInt || bInt)
        return aInt && bInt && ia == ib;
    if (a.type() == QVariant::String && b.type() == QVariant::String)
        return a.toString() == b.toString();
    if (a.type() == QVariant::Bool && b.type() == QVariant::Bool)
        return a.toBool() == b.toBool();
    if (a.type() == QVariant::Double && b.type() == QVariant::Double)
        return a.toDouble() == b.toDouble();
    return false;
}

} // namespace

LuaTable LuaTable::emptyTable()
{
    LuaTable table;
    table.m_null = false;
    return table;
}

QVariant LuaTable::value(const QVariant &key) const
{
    Q_UNUSED(luaTableTypeId)
    qlonglong index = 0;
    if (isIntegerKey(key, &index) && index >= 1 && index <= m_sequence.size())
        return m_sequence.at(static_cast<int>(index - 1));
    for (const Entry &entry : m_entries)
        if (sameKey(entry.first, key))
            return entry.second;
    return QVariant();
}

QStringList LuaTable::toStringList() const
{
    QStringList list;
    for (const QVariant &v : m_sequence) {
        switch (static_cast<int>(v.type())) {
        case QMetaType::QString:
            list << v.toString();
            break;
        case QMetaType::LongLong:
            list << QString::number(v.toLongLong());
            break;
        case QMetaType::Double:
            list << QString::number(v.toDouble(), 'g', 14);
            break;
        default:
            break;
        }
    }
    return list;
}

void LuaTable::appendSequence(const QVariant &value)
{
    m_null = false;
    m_sequence << value;
}

void LuaTable::insert(const QVariant &key, const QVariant &value)
{
    m_null = false;
    m_entries << Entry(key, value);
}
