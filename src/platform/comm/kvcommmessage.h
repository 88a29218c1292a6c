#pragma once

#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"
#include "kvcommexport.h"
#include "kvcommprotocol.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtNumeric>

#include <vector>

/// One message of the monitoring protocol, as KvCommSchema describes it:
/// the schema of its type names the members that its keys fill, the others
/// are meaningless. A reader reuses one message for a whole stream, so
/// members keep their capacity between frames.
struct KVCOMM_EXPORT KvCommMessage {
    KvCommProtocol::MessageType type = KvCommProtocol::Unknown;
    quint64 rawType = 0; ///< the type number as received, also when unknown

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
    // SimulationInfo; name and description also TrackedDataInfo
    QString name;
    QString description;
    QStringList files;
    QDateTime loadingTime;
    QDateTime runningTime;
    double plannedEndTime = qQNaN(); ///< simulated time; NaN unknown
    int plannedSteps = 0; ///< 0 unknown
    // RuleData (ids and first values follow from the positions)
    QVector<KvCommClientTrackedRuleInfo> rules;
    QVector<KvCommClientTrackedRuleDataInfo> trackedData;
    // TrackedDataInfo
    int trackedId = 0;
    QString unit;
    // IndexData
    int ruleId = 0;
    int indexType = 0;
    QStringList indexLines;
    // IndexData, Samples
    qint64 elapsedTime = 0;
    // Samples: the arrays as sent, and the samples made of them
    qint64 firstSequence = 0;
    std::vector<int> sampleIds;
    std::vector<int> sampleSizes;
    std::vector<char> sampleValues;
    QList<KvCommClientTrackedData> samples;
    // HistoryBegin
    qint64 droppedSamples = 0;
    qint64 historySamples = 0;
};
