#pragma once

#include "monitorsink.h"

// The sink used when no monitoring server runs: drops everything and never
// waits, so that -wait cannot hang a simulation without a server.
class NullMonitorSink : public MonitorSink
{
public:
    void setControl(SimulationControl *control) override;
    bool waitForClient(int timeoutMs) override;
    void statusChanged(Status status, const QDateTime &when) override;
    void simulationInfo(const SimulationInfo &info) override;
    void ruleInfo(
        const QVector<RuleInfo> &rules, const QVector<TrackedValueInfo> &trackedValues) override;
    void indexData(int ruleId, int indexType, const QStringList &lineLabels) override;
    void samples(const QVector<Sample> &batch, qint64 elapsedMs) override;
    void logMessage(int level, const QString &text) override;
};
