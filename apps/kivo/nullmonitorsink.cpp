#include "nullmonitorsink.h"

void NullMonitorSink::setControl(SimulationControl *) { }

bool NullMonitorSink::waitForClient(int) { return false; }

void NullMonitorSink::statusChanged(Status, const QDateTime &) { }
void NullMonitorSink::simulationInfo(const SimulationInfo &) { }
void NullMonitorSink::ruleInfo(const QVector<RuleInfo> &, const QVector<TrackedValueInfo> &) { }
void NullMonitorSink::indexData(int, int, const QStringList &) { }
void NullMonitorSink::samples(const QVector<Sample> &, qint64) { }
void NullMonitorSink::logMessage(int, const QString &) { }
