#pragma once

#include "kvcommexport.h"

#include <QMetaType>
#include <QStringList>

class KvCommClientTrackedIndexDataPrivate;

/// Index data of one monitor rule for one index type: the labels of the lines
/// of the rule's indexed tracked values. Implicitly shared, one pointer wide;
/// a default record is all zero and has no lines.
class KVCOMM_EXPORT KvCommClientTrackedIndexData
{
public:
    /// What the lines of an index stand for; also used as an array index (0..2).
    enum IndexType { Nodes = 0, Cells = 1, Probes = 2 };
    static constexpr int NumIndexTypes = 3;

    KvCommClientTrackedIndexData() = default;
    KvCommClientTrackedIndexData(IndexType type, const QStringList &lines);
    KvCommClientTrackedIndexData(const KvCommClientTrackedIndexData &other);
    KvCommClientTrackedIndexData &operator=(const KvCommClientTrackedIndexData &other);
    ~KvCommClientTrackedIndexData();

    int numLines() const;
    /// Label of line `line`; empty outside 0 <= line < numLines().
    QString lineStr(int line) const;
    IndexType indexType() const;
    QStringList lines() const;

private:
    // Reference-counted by hand so that the inline default constructor needs
    // nothing of the private class: a default record is one null pointer.
    KvCommClientTrackedIndexDataPrivate *d = nullptr;
};

Q_DECLARE_METATYPE(KvCommClientTrackedIndexData)
