#pragma once

#include "scriptutilsexport.h"

#include <QMetaType>
#include <QPair>
#include <QStringList>
#include <QVariant>
#include <QVector>

/// A snapshot of a Lua table, taken by LuaEnv::getGlobal(): it holds copies
/// of the values, not a reference into the script environment, so it stays
/// valid after the environment is gone.
///
/// The sequence part (keys 1..n, n being the table's border) is kept in
/// order; every other entry is kept as a key/value pair. Values convert as in
/// LuaEnv::getGlobal(): nested tables become LuaTables themselves.
///
/// A default-constructed table is null; a table read from a script is never
/// null, even when it is empty. Copies are cheap (implicitly shared).
class SCRIPTUTILS_EXPORT LuaTable
{
public:
    using Entry = QPair<QVariant, QVariant>;

    LuaTable() = default;
    /// An empty table that is not null, as read from `{}`.
    static LuaTable emptyTable();

    bool isNull() const { return m_null; }
    /// Number of entries: sequence and other keys together.
    int count() const { return m_sequence.size() + m_entries.size(); }
    bool isEmpty() const { return count() == 0; }

    /// Values at keys 1..n, in order.
    const QVariantList &sequence() const { return m_sequence; }
    /// The entries whose keys are not part of the sequence, in the order in
    /// which the table yielded them.
    const QVector<Entry> &entries() const { return m_entries; }
    /// Value under `key` (an integer or a string, as in Lua); invalid when
    /// the table has no such key.
    QVariant value(const QVariant &key) const;

    /// The sequence's strings in order, numbers written as Lua writes them;
    /// other values (booleans, tables) are skipped.
    QStringList toStringList() const;

    // Filling, used by LuaEnv; keeps the table non-null.
    void appendSequence(const QVariant &value);
    void insert(const QVariant &key, const QVariant &value);

private:
    bool m_null = true;
    QVariantList m_sequence;
    QVector<Entry> m_entries;
};

Q_DECLARE_METATYPE(LuaTable)
