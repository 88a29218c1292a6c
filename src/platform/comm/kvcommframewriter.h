#pragma once

#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedindexdata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"
#include "kvcommexport.h"

#include <QByteArray>
#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtNumeric>

/// Encodes the messages of the monitoring protocol. Every function returns
/// one complete frame (length prefix included), ready to be written to a
/// socket. The functions are reentrant: publishers call them on their own
/// threads.
class KVCOMM_EXPORT KvCommFrameWriter
{
public:
    static QByteArray hello(quint32 protocolVersion = 1);
    static QByteArray error(const QString &text);
    static QByteArray identity(const QString &version, const QString &revision);
    static QByteArray controlOptions(quint32 options);
    static QByteArray status(qint32 status, const QDateTime &time);
    /// A NaN planned end time (unknown) is left out; 0 planned steps is unknown.
    static QByteArray simulationInfo(const QString &name, const QString &description,
        const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
        double plannedEndTime = qQNaN(), int plannedSteps = 0);
    static QByteArray ready();
    /// Rule and tracked-value ids are implied by their positions.
    static QByteArray ruleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
        const QVector<KvCommClientTrackedRuleDataInfo> &trackedData);
    static QByteArray trackedDataInfo(const KvCommClientTrackedRuleDataInfo &info);
    static QByteArray indexData(
        int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime);
    /// The samples get the sequence numbers firstSequence, firstSequence + 1, ...
    static QByteArray samples(
        const QList<KvCommClientTrackedData> &samples, qint64 elapsedTime, qint64 firstSequence);
    static QByteArray historyBegin(qint64 droppedSamples, qint64 historySamples);
    static QByteArray historyEnd();
    static QByteArray log(int level, const QString &text);
    static QByteArray controlRequest(quint32 request);
    static QByteArray heartbeat();

    /// Wraps an already encoded CBOR body into a frame (for tests and tools).
    static QByteArray frame(const QByteArray &body);
};
