#pragma once

#include "monitorsettings.h"
#include "monitorsink.h"

#include <condition_variable>
#include <mutex>

class KvCommServer;

// The sink of a simulation monitored through the embedded server. The server
// lives on the main thread; the worker publishes through it (its publishing
// calls are thread-safe) and waits here for the first client.
class ServerMonitorSink : public MonitorSink
{
public:
    // `server` must be configured and listening; it outlives the sink's use.
    explicit ServerMonitorSink(KvCommServer *server);

    // Writes the connection file: a Lua script setting `port` and `addresses`,
    // the addresses at which the server can be reached.
    static bool writeConnectionFile(
        const QString &file, quint16 port, bool localOnly, QString &error);

    void setControl(SimulationControl *control) override;
    bool waitForClient(int timeoutMs) override;
    void statusChanged(Status status, const QDateTime &when) override;
    void simulationInfo(const SimulationInfo &info) override;
    void ruleInfo(
        const QVector<RuleInfo> &rules, const QVector<TrackedValueInfo> &trackedValues) override;
    void indexData(int ruleId, int indexType, const QStringList &lineLabels) override;
    void samples(const QVector<Sample> &batch, qint64 elapsedMs) override;
    void logMessage(int level, const QString &text) override;

private:
    KvCommServer *server;
    SimulationControl *control = nullptr;
    std::mutex mutex;
    std::condition_variable clientArrived;
    bool hasClient = false;
};
