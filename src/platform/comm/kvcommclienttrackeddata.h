#pragma once

#include "kvcommexport.h"

#include <QList>
#include <QMetaType>
#include <QVector>

/// One sample of one tracked value. For an indexed value the components run
/// line by line, the numRows x numCols components of a line together.
/// Layout (64-bit): id at 0, values at 16, 24 bytes in all.
struct KVCOMM_EXPORT KvCommClientTrackedData {
    /// Set on samples that a server replays from its history to a client that
    /// joined a running simulation.
    enum Flag : quint32 { FromHistory = 1 };

    KvCommClientTrackedData() = default;
    KvCommClientTrackedData(int id, QVector<double> values, qint64 sequence = -1);
    KvCommClientTrackedData(const KvCommClientTrackedData &other);
    KvCommClientTrackedData(KvCommClientTrackedData &&other) noexcept;
    KvCommClientTrackedData &operator=(const KvCommClientTrackedData &other);
    KvCommClientTrackedData &operator=(KvCommClientTrackedData &&other) noexcept;
    ~KvCommClientTrackedData();

    int id = -1; ///< identifier of the tracked value
    quint32 flags = 0; ///< Flag bits
    qint64 sequence = -1; ///< number of the sample in the server's stream, from 0, -1 if unknown
    QVector<double> values;
};

Q_DECLARE_TYPEINFO(KvCommClientTrackedData, Q_MOVABLE_TYPE);
Q_DECLARE_METATYPE(KvCommClientTrackedData)
Q_DECLARE_METATYPE(QList<KvCommClientTrackedData>)
