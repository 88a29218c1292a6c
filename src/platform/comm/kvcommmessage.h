#pragma once

#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedindexdata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"
#include "kvcommexport.h"
#include "kvcommprotocol.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>

/// One decoded message of the monitoring protocol. Only the fields of its
/// type are meaningful; a reader reuses one message for a whole stream, so
/// fields keep their capacity between frames.
struct KVCOMM_EXPORT KvCommMessage {
    KvCommProtocol::MessageType type = KvCommProtocol::Unknown;
    quint32 rawType = 0; ///< the type number as received, also when unknown

    // Hello
    QString magic;
    quint32 protocolVersion = 0;
    // Error, Log
    QString text;
    int level = 0;
    // Identity
    QString version;
    QString revision;
    // ControlOptions, ControlRequest
    quint32 options = 0;
    // Status
    qint32 status = 0;
    QDateTime time;
    // SimulationInfo
    QString name;
    QString description;
    QStringList files;
    QDateTime loadingTime;
    QDateTime runningTime;
    // RuleData; TrackedDataInfo uses trackedInfo
    QVector<KvCommClientTrackedRuleInfo> rules;
    QVector<KvCommClientTrackedRuleDataInfo> trackedData;
    KvCommClientTrackedRuleDataInfo trackedInfo;
    // IndexData
    int ruleId = -1;
    KvCommClientTrackedIndexData indexData;
    // IndexData, Samples
    qint64 elapsedTime = 0;
    // Samples
    qint64 firstSequence = 0;
    QList<KvCommClientTrackedData> samples;
    // HistoryBegin
    qint64 droppedSamples = 0;
    qint64 historySamples = 0;
};
