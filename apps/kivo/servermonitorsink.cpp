#include "servermonitorsink.h"

#include "simulationcontrol.h"

#include "kvcommserver.h"

#include <QFile>
#include <QNetworkInterface>
#include <QSaveFile>

#include <chrono>

ServerMonitorSink::ServerMonitorSink(KvCommServer *server)
    : server(server)
{
    // clientConnected() arrives on the server's thread; the worker may be
    // blocked in waitForClient().
    QObject::connect(server, &KvCommServer::clientConnected, server, [this](const QString &) {
        std::lock_guard<std::mutex> lock(mutex);
        hasClient = true;
        clientArrived.notify_all();
    });
}

bool ServerMonitorSink::writeConnectionFile(
    const QString &file, quint16 port, bool localOnly, QString &error)
{
    QStringList addresses;
    if (!localOnly) {
        for (const QHostAddress &address : QNetworkInterface::allAddresses())
            if (address.protocol() == QAbstractSocket::IPv4Protocol && !address.isLoopback())
                addresses << address.toString();
    }
    addresses << QStringLiteral("127.0.0.1");

    QString script = QStringLiteral("-- Written by kivo: where its monitoring server listens.\n"
                                    "port = %1\naddresses = {")
                         .arg(port);
    for (int i = 0; i < addresses.size(); ++i)
        script += (i ? QStringLiteral(", \"") : QStringLiteral(" \"")) + addresses[i]
            + QLatin1Char('"');
    script += QStringLiteral(" }\n");

    QSaveFile out(file);
    if (!out.open(QIODevice::WriteOnly | QIODevice::Text) || out.write(script.toUtf8()) < 0
        || !out.commit()) {
        error = QStringLiteral("cannot write the connection file %1: %2")
                    .arg(file, out.errorString());
        return false;
    }
    return true;
}

void ServerMonitorSink::setControl(SimulationControl *control)
{
    this->control = control;
    QObject::connect(
        server, &KvCommServer::cancelRequested, server, [control] { control->requestCancel(); });
    QObject::connect(server, &KvCommServer::terminateRequested, server,
        [control] { control->requestTerminate(); });
}

bool ServerMonitorSink::waitForClient(int timeoutMs)
{
    using namespace std::chrono;
    const auto deadline = steady_clock::now() + milliseconds(timeoutMs);
    std::unique_lock<std::mutex> lock(mutex);
    // Wake up now and then to notice a stop request.
    while (!hasClient && !(control && control->stopRequested())) {
        if (timeoutMs > 0 && steady_clock::now() >= deadline)
            break;
        clientArrived.wait_for(lock, milliseconds(50));
    }
    return hasClient;
}

void ServerMonitorSink::statusChanged(Status status, const QDateTime &when)
{
    server->publishStatus(KvCommSimulationStatus(int(status)), when);
}

void ServerMonitorSink::simulationInfo(const SimulationInfo &info)
{
    server->publishSimulationInfo(info.name, info.description, info.files, info.loadingTime,
        info.runningTime, info.plannedEndTime > 0 ? info.plannedEndTime : qQNaN(),
        info.plannedSteps);
}

void ServerMonitorSink::ruleInfo(
    const QVector<RuleInfo> &rules, const QVector<TrackedValueInfo> &trackedValues)
{
    QVector<KvCommClientTrackedRuleInfo> ruleRecords;
    ruleRecords.reserve(rules.size());
    int first = 0;
    for (const RuleInfo &rule : rules) {
        KvCommClientTrackedRuleInfo record;
        record.id = rule.id;
        record.firstTrackedData = first;
        record.name = rule.name;
        record.numTrackedData = rule.numTrackedData;
        for (int type : rule.indexTypes)
            if (type >= 0 && type < KvCommClientTrackedIndexData::NumIndexTypes)
                record.indexTypes |= 1u << type;
        first += rule.numTrackedData;
        ruleRecords << record;
    }
    QVector<KvCommClientTrackedRuleDataInfo> valueRecords;
    valueRecords.reserve(trackedValues.size());
    for (const TrackedValueInfo &value : trackedValues) {
        KvCommClientTrackedRuleDataInfo record;
        record.id = value.id;
        record.ruleId = value.ruleId;
        record.name = value.name;
        record.unit = value.unit;
        record.indexedBy = value.indexedBy;
        record.numRows = value.numRows;
        record.numCols = value.numCols;
        if (!ruleRecords.isEmpty() && value.ruleId >= 0 && value.ruleId < ruleRecords.size())
            record.position = value.id - ruleRecords[value.ruleId].firstTrackedData;
        valueRecords << record;
    }
    server->publishRuleData(ruleRecords, valueRecords);
}

void ServerMonitorSink::indexData(int ruleId, int indexType, const QStringList &lineLabels)
{
    server->publishIndexData(ruleId,
        KvCommClientTrackedIndexData(
            KvCommClientTrackedIndexData::IndexType(indexType), lineLabels),
        0);
}

void ServerMonitorSink::samples(const QVector<Sample> &batch, qint64 elapsedMs)
{
    QList<KvCommClientTrackedData> records;
    records.reserve(batch.size());
    for (const Sample &sample : batch)
        records.append(KvCommClientTrackedData(sample.id, sample.values));
    server->publishSamples(records, elapsedMs);
}

void ServerMonitorSink::logMessage(int level, const QString &text)
{
    server->publishLog(level, text);
}
