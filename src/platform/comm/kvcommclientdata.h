#pragma once

#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedindexdata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"
#include "kvcommexport.h"

struct KvCommMessage;

#include <QDateTime>
#include <QList>
#include <QObject>
#include <QStringList>
#include <QVector>
#include <QtNumeric>

/// The simulation data of one monitoring connection: what the server said
/// about the simulation (information, rules, tracked values) and, as signals,
/// the index data and the stream of samples. The store keeps the descriptions
/// but not the samples: receivers keep what they need.
///
/// The client fills it through the feeding operations below; tests may do the
/// same. Every feeding operation validates what it is given and returns false,
/// changing nothing and emitting nothing, when it would break the order or the
/// invariants that receivers rely on:
/// - rule data is set once, before any index data or sample;
/// - tracked values are numbered 0..n-1 consecutively over the rules;
/// - a sample names an existing tracked value and carries its full component
///   count (for an indexed value: the lines of its rule's index data times
///   numRows x numCols);
/// - index data names an existing rule.
///
/// Signals are emitted synchronously from within the feeding operations.
class KVCOMM_EXPORT KvCommClientData : public QObject
{
    Q_OBJECT

public:
    explicit KvCommClientData(QObject *parent = nullptr);
    ~KvCommClientData() override;

    QString simName() const;
    QString simDescription() const;
    int simNumRules() const;
    /// Description of rule `rule`; an empty record outside 0..simNumRules()-1.
    const KvCommClientTrackedRuleInfo &simRuleInfo(int rule);
    int simNumTrackedData() const;
    /// Description of tracked value `id`; an empty record (id -1) when out of range.
    const KvCommClientTrackedRuleDataInfo &simTrackedDataInfo(int id);
    const QStringList &simFiles() const { return m_files; }
    const QDateTime &simLoadingTime() const { return m_loadingTime; }
    const QDateTime &simRunningTime() const { return m_runningTime; }
    /// The simulated time at which the run is planned to end; NaN while
    /// unknown (a server that does not say, or before its information).
    double simPlannedEndTime() const;
    /// The run's step or iteration limit; 0 while unknown or when it has none.
    int simPlannedSteps() const;

    bool hasRuleData() const;
    /// Latest index data of a rule for an index type; a default record if none.
    KvCommClientTrackedIndexData indexData(int rule, int indexType) const;
    /// Components that one sample of tracked value `id` carries, with the index
    /// data known now; -1 when the value does not exist or its index is missing.
    int expectedComponents(int id) const;

    /// Samples accepted so far, and samples that the server's sequence numbers
    /// show were never received (a gap in the stream).
    qint64 samplesReceived() const;
    qint64 samplesMissed() const;

    // Feeding operations (see the class comment).
    void setSimulationInfo(const QString &name, const QString &description,
        const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
        double plannedEndTime = qQNaN(), int plannedSteps = 0);
    bool setRuleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
        const QVector<KvCommClientTrackedRuleDataInfo> &trackedData, QString *error = nullptr);
    bool updateTrackedDataInfo(
        const KvCommClientTrackedRuleDataInfo &info, QString *error = nullptr);
    bool addTrackedIndexData(int ruleId, const KvCommClientTrackedIndexData &data,
        qint64 elapsedTime, QString *error = nullptr);
    bool addTrackedData(
        const QList<KvCommClientTrackedData> &data, qint64 elapsedTime, QString *error = nullptr);
    /// Feeds a decoded RuleData, TrackedDataInfo, IndexData or Samples
    /// message through the operation above that takes it (any other type is
    /// ignored and accepted), as a live connection does and a recorded one
    /// replays. Moves the rules and samples out of `message`, and reads it
    /// before any signal: a receiver may destroy it.
    bool feed(KvCommMessage &message, QString *error = nullptr);

signals:
    /// Name, description, files or times are (newly) available.
    void simulationInfoAvailable();
    /// The description of tracked value `trackId` changed (unit, description).
    void simulationTrackedDataInfoUpdated(int trackId);
    /// Rules and tracked-value descriptions are complete; once per connection.
    void simulationRuleDataAvailable();
    /// A batch of samples; `elapsedTime` in ms since the simulation started.
    void trackedDataReceived(const QList<KvCommClientTrackedData> &data, qint64 elapsedTime);
    /// Index data for rule `ruleId`.
    void trackedIndexDataAvailable(
        int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime);

private:
    static void checkLayout();

    // The three accessors above are inline, so these members sit at fixed
    // offsets: files 48, loading time 56, running time 64.
    QString m_name;
    QString m_description;
    QVector<KvCommClientTrackedRuleInfo> m_rules;
    QVector<KvCommClientTrackedRuleDataInfo> m_trackedInfo;
    QStringList m_files;
    QDateTime m_loadingTime;
    QDateTime m_runningTime;
    // One vector per index type, element r for rule r.
    QVector<KvCommClientTrackedIndexData> m_indexData[KvCommClientTrackedIndexData::NumIndexTypes];
    bool m_hasRuleData = false;
    qint64 m_samplesReceived = 0;
    qint64 m_samplesMissed = 0;
    qint64 m_nextSequence = -1;
    double m_plannedEndTime = qQNaN();
    int m_plannedSteps = 0;
};
