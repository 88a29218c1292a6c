#pragma once

#include "kvcexport.h"

#include <kvcommclientdata.h>
#include <kvcommclienttrackeddata.h>
#include <kvcommclienttrackedindexdata.h>
#include <kvcommclienttrackedruledatainfo.h>

#include <QList>
#include <QObject>
#include <QSharedPointer>
#include <QString>
#include <QStringList>
#include <QVector>

#include <limits>
#include <memory>

class KvcMinMaxIndex;

/// The results of one monitored execution: the history of every tracked value
/// that the simulation data store reports, and one plottable graphic per
/// tracked value besides three special graphics (execution time against
/// simulated time, iteration count, iteration error).
///
/// Lifecycle: constructed with the three special graphics only; follows a store
/// after setSimulationData(); sizes its history and builds the rule graphics
/// when the store's rule data arrive; from then on appends every sample and
/// stores every index record as they arrive. Nothing is ever trimmed.
///
/// Ownership: the object owns its GraphicsData objects (deleted in the
/// destructor) and holds a shared reference to the store. It is shared itself
/// as QSharedPointer<KvcResultsData>; a view that keeps a copy keeps the
/// execution's data alive.
///
/// Signals are emitted synchronously from within the store's signals, so a
/// receiver sees the model in the state the signal describes:
/// - simulationInfoAvailable(), simulationTrackedDataInfoUpdated(int): forwarded
///   from the store as they come;
/// - simulationRuleDataAvailable(): once the history is sized and every graphic
///   exists;
/// - trackedDataReceived(int): once per stored sample, right after it is stored,
///   in batch order; never for a sample that was skipped;
/// - trackedIndexDataAvailable(int, int): after an index record is stored.
///
/// Storage: a sample's x is the latest simulated time received before it (a
/// time sample earlier in the same batch counts), 0.0 before the first time
/// sample. min and max move only on strictly smaller or larger values, so NaN
/// moves neither. A history gets its component vectors at its value's first
/// sample (indexed values: lines of the rule's index data at that moment).
/// Appending is amortised constant time; readers get const references. The
/// vectors of a value fill up together, so a long vector that is nearly full
/// is doubled ahead of time, at most one per batch, rather than all of them
/// in the same batch (a copy of the whole history at once).
///
/// Samples and records that break the store's guarantees are skipped, never
/// stored outside a vector; each skip writes a debug message that says which
/// (logging category "kvc.results") and emits nothing:
/// - a time sample with a component count other than one;
/// - a sample whose id is not a tracked value (including id -1 when there is
///   no time track);
/// - a sample whose component count differs from the number of component
///   vectors of its history (fixed at the value's first sample, e.g. from index
///   data that later changed its line count; a sample of an indexed value whose
///   index has not arrived finds no vectors, and the next sample tries again):
///   taking fewer would leave some vectors shorter than `time`, taking more
///   would have nowhere to go, so every vector of a history always stays as
///   long as its `time`;
/// - index data for a rule outside 0..number of rules - 1, or of an index type
///   outside 0..2.
/// Slots reached after setSimulationData(nullptr) (from a store followed
/// before) do nothing.
///
/// Accessors outside their preconditions answer empty data instead of reading
/// outside a vector: simTrackedData() with a bad id a static empty history,
/// simTimeData()/simExecTimeData() without a time track a static empty vector,
/// simRuleIndexData() with a bad rule number or index type the static default
/// record.
class KVC_EXPORT KvcResultsData : public QObject
{
    Q_OBJECT

public:
    /// The stored history of one tracked value. Every vector of `data` is as
    /// long as `time`. For the time track `time` holds the simulated times and
    /// the only `data` vector the execution times in seconds.
    struct TrackedData {
        int id = -1;
        QVector<QVector<double>> data; ///< one vector per component (line series)
        QVector<double> time; ///< x of every sample: the simulated time
        double min = std::numeric_limits<double>::max();
        double max = std::numeric_limits<double>::lowest();
    };

    /// One plottable graphic. `ruleId` -1 marks a special graphic; special
    /// graphic 0 draws the time track (`trackId` -1), graphics 1 and 2 carry -2
    /// and -3 until "fem.iteration" and "fem.error" are found.
    struct GraphicsData {
        QString title;
        QString xTitle;
        QString yTitle;
        QStringList series; ///< one name per line series, in component order
        int trackId = -1;
        int ruleId = -1;
    };

    KvcResultsData();
    ~KvcResultsData() override;

    /// Follows `data`: forwards its information signals and collects its rule
    /// data, samples and index data. Connections to a store followed before are
    /// kept. A null pointer only drops the reference.
    void setSimulationData(QSharedPointer<KvCommClientData> data);
    QSharedPointer<KvCommClientData> simulationData();

    QString name();
    void setResultName(QString name);

    int timeTrackId() const;
    int numSpecialGraphics() const;
    const QVector<GraphicsData *> &graphics() const;

    /// History of tracked value `trackId` (0 <= trackId < number of tracked values).
    const TrackedData &simTrackedData(int trackId) const;
    /// Simulated times received (the time track's `time`).
    const QVector<double> &simTimeData() const;
    /// Execution times in seconds of the time samples (the time track's data).
    const QVector<double> &simExecTimeData() const;
    /// Index data of a rule for an index type; a default record when none has
    /// arrived for that type.
    const KvCommClientTrackedIndexData &simRuleIndexData(int ruleId, int indexType) const;

    /// The extremes of component `component` of tracked value `trackId`'s
    /// history (of the execution times for the time track), indexed as the
    /// samples are stored, so that a chart shows any part of a long history
    /// without scanning it; null for no such component. Valid until the
    /// next sample or rule data.
    const KvcMinMaxIndex *simTrackedExtremes(int trackId, int component) const;

    /// Stores x.size() samples of tracked value `trackId` at once, as the
    /// same samples in batches would be stored, for a reader that has them
    /// column by column (KvcRunFile): sample p at time x[p] with component c
    /// at values[c * x.size() + p] (for the time track: x the simulated times,
    /// values the execution times in seconds). Emits trackedDataReceived()
    /// once, after the last. Stores nothing and returns false when a batch
    /// would skip them: an unknown value, or a component count that does not
    /// fit its history.
    bool appendSamples(int trackId, const QVector<double> &x, const QVector<double> &values);

    /// Last simulated time received; 0.0 before the first time sample.
    double currentTime() const;
    /// Execution time of the last time sample in seconds; 0.0 before it.
    double currentExecutionTime() const;

signals:
    void simulationInfoAvailable();
    void simulationTrackedDataInfoUpdated(int trackId);
    void simulationRuleDataAvailable();
    void trackedDataReceived(int trackId);
    void trackedIndexDataAvailable(int ruleId, int indexType);

private slots:
    void ruleDataAvailable();
    void newTrackedData(const QList<KvCommClientTrackedData> &data, qint64 elapsedTime);
    void newTrackedIndexData(
        int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime);

private:
    void addGraphic(QString ruleName, const KvCommClientTrackedRuleDataInfo &info);
    void addGraphicSeries(GraphicsData *graphic, const KvCommClientTrackedIndexData *index);
    void adjustTrackedDataSize(TrackedData &history);
    void firstSample(TrackedData &history);
    void growAhead();
    void indexExtremes(int trackId, const TrackedData &history);

    QString m_name;
    QSharedPointer<KvCommClientData> m_simData;
    QVector<KvCommClientTrackedIndexData>
        m_ruleIndexData[KvCommClientTrackedIndexData::NumIndexTypes];
    QVector<TrackedData> m_trackedData;
    int m_timeTrackId = -1;
    int m_iterationTrackId = -1;
    int m_errorTrackId = -1;
    QVector<GraphicsData *> m_graphics;
    int m_numSpecialGraphics = 3;
    // growAhead()'s turn: a tracked value and one of its vectors (-1: time).
    int m_growTrack = 0;
    int m_growVector = -1;
    struct Extremes;
    std::unique_ptr<Extremes> m_extremes;
};
