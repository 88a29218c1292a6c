#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVector>

class SimulationControl;

// What a simulation tells its monitoring server, and how the server talks back.
//
// Threading: every method is called from the simulation's worker thread, never
// from the main thread where a server's sockets live; an implementation must be
// thread-safe and hand the data over to its own thread (queued invocation or a
// locked queue). None of the calls may block for long except waitForClient().
// Control requests go the other way through the SimulationControl given to
// setControl(); its methods may be called from any thread.
class MonitorSink
{
public:
    enum class Status { Loading = 1, Running = 2, Finished = 3, Canceled = 4, Aborted = 5 };

    struct SimulationInfo {
        QString name;
        QString description;
        QStringList files;
        QDateTime loadingTime;
        QDateTime runningTime;
        double plannedEndTime = 0; // simulated time; 0: not known
        int plannedSteps = 0; // 0: not known
    };

    struct RuleInfo {
        int id = 0;
        QString name;
        int numTrackedData = 0;
        QVector<int> indexTypes; // the index types for which the rule has index data
    };

    struct TrackedValueInfo {
        int id = 0;
        int ruleId = 0;
        QString name;
        QString unit;
        int indexedBy = 0; // 0: plain value; k >= 1: indexed by the rule's index type k - 1
        int numRows = 1;
        int numCols = 1;
    };

    struct Sample {
        int id = 0;
        QVector<double> values;
    };

    virtual ~MonitorSink() = default;

    // Called once, before anything else, with the object that takes cancel and
    // terminate requests; it outlives the sink's use by the simulation.
    virtual void setControl(SimulationControl *control) = 0;
    // Blocks until a client is connected or timeoutMs elapsed (0 = no limit);
    // true when a client is connected. Must return early once a stop is requested.
    virtual bool waitForClient(int timeoutMs) = 0;
    virtual void statusChanged(Status status, const QDateTime &when) = 0;
    virtual void simulationInfo(const SimulationInfo &info) = 0;
    // Once, after loading: every rule and every tracked value, ids consecutive
    // over the rules in rule order.
    virtual void ruleInfo(
        const QVector<RuleInfo> &rules, const QVector<TrackedValueInfo> &trackedValues)
        = 0;
    // Before the first sample of any value indexed by this rule and index type.
    virtual void indexData(int ruleId, int indexType, const QStringList &lineLabels) = 0;
    // One batch per sampled step; elapsedMs counts from the start of loading.
    virtual void samples(const QVector<Sample> &batch, qint64 elapsedMs) = 0;
    // A log line of the given level (0..7); text ends with its line feed.
    virtual void logMessage(int level, const QString &text) = 0;
};
