#include "kvcommserver.h"

#include "kvcommframewriter.h"
#include "kvcommserverprivate.h"

#include <QMutexLocker>
#include <QTcpSocket>

KvCommServer::KvCommServer(QObject *parent)
    : QObject(parent)
    , d(new KvCommServerPrivate(this))
{
    d->identityFrame = KvCommFrameWriter::identity(QString(), QString());
}

KvCommServer::~KvCommServer() { delete d; }

void KvCommServer::setIdentity(const QString &version, const QString &revision)
{
    d->identityFrame = KvCommFrameWriter::identity(version, revision);
}

void KvCommServer::setControlOptions(quint32 options) { d->options = options; }

quint32 KvCommServer::controlOptions() const { return d->options; }

void KvCommServer::setHistoryLimit(qint64 componentValues)
{
    d->historyLimit = qMax<qint64>(0, componentValues);
    d->trimHistory();
}

qint64 KvCommServer::historyLimit() const { return d->historyLimit; }

void KvCommServer::setMaxSendBuffer(qint64 bytes) { d->maxSendBuffer = qMax<qint64>(1, bytes); }

qint64 KvCommServer::maxSendBuffer() const { return d->maxSendBuffer; }

void KvCommServer::setHeartbeat(int intervalMs, int deadAfterMs)
{
    d->heartbeatInterval = qMax(1, intervalMs);
    d->deadAfter = qMax(1, deadAfterMs);
    if (d->heartbeatTimer.isActive())
        d->heartbeatTimer.start(d->heartbeatInterval);
}

bool KvCommServer::listen(const QHostAddress &address, quint16 port)
{
    if (!d->tcp.listen(address, port))
        return false;
    d->heartbeatTimer.start(d->heartbeatInterval);
    return true;
}

bool KvCommServer::isListening() const { return d->tcp.isListening(); }

quint16 KvCommServer::serverPort() const { return d->tcp.serverPort(); }

QString KvCommServer::errorString() const { return d->tcp.errorString(); }

int KvCommServer::clientCount() const { return d->clientCount(); }

qint64 KvCommServer::samplesPublished() const
{
    QMutexLocker lock(&d->mutex);
    return d->nextSequence;
}

qint64 KvCommServer::historyDropped() const { return d->droppedSamples; }

void KvCommServer::publishStatus(KvCommSimulationStatus status, const QDateTime &time)
{
    const QDateTime when = time.isValid() ? time : QDateTime::currentDateTimeUtc();
    d->enqueue({KvCommServerPrivate::Status, KvCommFrameWriter::status(status, when), 0, 0});
}

void KvCommServer::publishSimulationInfo(const QString &name, const QString &description,
    const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
    double plannedEndTime, int plannedSteps)
{
    d->enqueue({KvCommServerPrivate::Info,
        KvCommFrameWriter::simulationInfo(
            name, description, files, loadingTime, runningTime, plannedEndTime, plannedSteps),
        0, 0});
}

void KvCommServer::publishRuleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
    const QVector<KvCommClientTrackedRuleDataInfo> &trackedData)
{
    QByteArray frame = KvCommFrameWriter::ruleData(rules, trackedData);
    {
        QMutexLocker lock(&d->mutex);
        if (d->rulesPublished)
            return; // once per simulation: clients would refuse a second one
        d->rulesPublished = true;
    }
    d->enqueue({KvCommServerPrivate::Rules, std::move(frame), 0, 0});
}

void KvCommServer::publishTrackedDataInfo(const KvCommClientTrackedRuleDataInfo &info)
{
    d->enqueue({KvCommServerPrivate::InfoUpdate, KvCommFrameWriter::trackedDataInfo(info), 0, 0});
}

void KvCommServer::publishIndexData(
    int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime)
{
    {
        QMutexLocker lock(&d->mutex);
        if (!d->rulesPublished)
            return;
    }
    d->enqueue({KvCommServerPrivate::Index, KvCommFrameWriter::indexData(ruleId, data, elapsedTime),
        0, 0});
}

qint64 KvCommServer::publishSamples(
    const QList<KvCommClientTrackedData> &samples, qint64 elapsedTime)
{
    qint64 values = 0;
    for (const KvCommClientTrackedData &s : samples)
        values += s.values.size();
    QMutexLocker lock(&d->mutex);
    if (!d->rulesPublished || samples.isEmpty())
        return -1;
    const qint64 first = d->nextSequence;
    d->nextSequence += samples.size();
    // Encoded under the lock so that numbers and queue order agree when
    // several threads publish.
    KvCommServerPrivate::Pending item {KvCommServerPrivate::Samples,
        KvCommFrameWriter::samples(samples, elapsedTime, first), samples.size(), values};
    d->pending.append(std::move(item));
    if (!d->posted) {
        d->posted = true;
        d->post([this] { d->drain(); });
    }
    return first;
}

void KvCommServer::publishLog(int level, const QString &text)
{
    d->enqueue({KvCommServerPrivate::Log, KvCommFrameWriter::log(qBound(0, level, 7), text), 0, 0});
}

void KvCommServer::closeAllAfterFlush(int timeoutMs)
{
    d->drain();
    d->closing = true;
    d->tcp.close();
    for (KvCommServerPrivate::Connection *c : d->connections) {
        if (!c->dead)
            d->closeAfterFlush(c); // disconnected() follows once the client closes
    }
    d->removeDead();
    if (d->liveCount() > 0)
        d->closeTimer.start(qMax(0, timeoutMs));
    d->checkAllClosed();
}
