#pragma once

#include "kvcommclienttrackeddata.h"
#include "kvcommclienttrackedindexdata.h"
#include "kvcommclienttrackedruledatainfo.h"
#include "kvcommclienttrackedruleinfo.h"
#include "kvcommexport.h"
#include "kvcommglobal.h"

#include <QDateTime>
#include <QHostAddress>
#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVector>
#include <QtNumeric>

class KvCommServerPrivate;

/// Monitoring server that a simulator embeds: it listens for KvCommClient
/// connections and streams the simulation to every client.
///
/// Threads: the server object lives on a thread with an event loop (the
/// simulator's main thread). The publish functions may be called from any
/// thread (typically the numerical loop's worker thread): they encode the
/// message on the caller's thread, queue it and return at once; the server's
/// thread sends it. Everything else, configuration included, is called on the
/// server's thread. Publishers must have stopped before the server is deleted.
///
/// What a client receives on connecting: the greeting, the identity, the
/// control options, the latest status and simulation information, then a
/// ready mark; if rule data was published, the rule data, the tracked-value
/// updates and the history (index data and every sample so far, minus what
/// the history limit dropped), then the live stream.
///
/// Signals are always emitted from the event loop (queued), never inside a
/// publish or a configuration call, so a receiver may publish, close or
/// delete the server (with deleteLater) from any of them.
///
/// Typical use in a simulator:
/// \code
///   KvCommServer server;                        // main thread
///   server.setIdentity(version, revision);
///   server.setControlOptions(KvCommControlLog | KvCommControlCancel | KvCommControlTerminate);
///   if (!server.listen(QHostAddress::Any, port))
///       fail(server.errorString());
///   connect(&server, &KvCommServer::clientDropped, log, ...);     // reason in the log
///   connect(&server, &KvCommServer::terminateRequested, solver, ...);
///   // to wait for a first client: clientConnected(), or clientCount() > 0
///   server.publishStatus(KvCommStatusLoading);  // from any thread from here on
///   server.publishSimulationInfo(...);
///   server.publishRuleData(rules, values);      // worker thread
///   server.publishSamples(batch, elapsedMs);    // worker thread, per step
///   server.publishStatus(KvCommStatusFinished);
///   server.closeAllAfterFlush();                // then wait for allClosed() and quit
/// \endcode
class KVCOMM_EXPORT KvCommServer : public QObject
{
    Q_OBJECT

public:
    explicit KvCommServer(QObject *parent = nullptr);
    ~KvCommServer() override;

    // Configuration, before listen().
    void setIdentity(const QString &version, const QString &revision);
    /// KvCommControlOptions flags: KvCommControlLog if the simulator publishes
    /// its log, KvCommControlCancel / KvCommControlTerminate if it honours
    /// those requests. Requests that are not announced are ignored.
    void setControlOptions(quint32 options);
    quint32 controlOptions() const;
    /// Component values of samples kept for clients that join later (default
    /// 16 Mi values, 128 MiB); beyond it the oldest samples are dropped and
    /// later clients are told how many.
    void setHistoryLimit(qint64 componentValues);
    qint64 historyLimit() const;
    /// Bytes that may wait to be sent to one client (default 64 MiB) on top of
    /// the history it received on joining; a client further behind is dropped.
    void setMaxSendBuffer(qint64 bytes);
    qint64 maxSendBuffer() const;
    /// Heartbeat period and the silence after which a client counts as dead
    /// (defaults 5000 and 20000 ms).
    void setHeartbeat(int intervalMs, int deadAfterMs);

    /// Starts listening; port 0 lets the system choose (see serverPort()).
    bool listen(const QHostAddress &address = QHostAddress::Any, quint16 port = 0);
    bool isListening() const;
    quint16 serverPort() const;
    QString errorString() const;
    /// Clients connected now (a dropped client that is still being told why
    /// no longer counts).
    int clientCount() const;
    /// Samples published so far (the next sample's sequence number).
    qint64 samplesPublished() const;
    /// Samples dropped from the history so far.
    qint64 historyDropped() const;

    // Publishing, from any thread. A null time means now.
    void publishStatus(KvCommSimulationStatus status, const QDateTime &time = QDateTime());
    /// `plannedEndTime`: the simulated time at which the run ends, NaN when
    /// not known; `plannedSteps`: its step or iteration limit, 0 when none.
    void publishSimulationInfo(const QString &name, const QString &description,
        const QStringList &files, const QDateTime &loadingTime, const QDateTime &runningTime,
        double plannedEndTime = qQNaN(), int plannedSteps = 0);
    /// Once per simulation, before any index data or sample: rule i's values
    /// are trackedData[first..first + rules[i].numTrackedData), ids in order.
    void publishRuleData(const QVector<KvCommClientTrackedRuleInfo> &rules,
        const QVector<KvCommClientTrackedRuleDataInfo> &trackedData);
    /// New name, description or unit of a tracked value.
    void publishTrackedDataInfo(const KvCommClientTrackedRuleDataInfo &info);
    void publishIndexData(int ruleId, const KvCommClientTrackedIndexData &data, qint64 elapsedTime);
    /// One batch; the server numbers the samples (returns the first number).
    /// Index data and samples published before the rule data are discarded.
    qint64 publishSamples(const QList<KvCommClientTrackedData> &samples, qint64 elapsedTime);
    /// A log line with its level 0..7; the text carries its own line end.
    void publishLog(int level, const QString &text);

    /// Sends everything published so far, stops listening and closes every
    /// connection once its data is out (aborting those still not flushed after
    /// `timeoutMs`); allClosed() follows, also when there was no client.
    void closeAllAfterFlush(int timeoutMs = 10000);

signals:
    void clientConnected(const QString &peer);
    /// A client left, for any reason (after clientDropped() if dropped).
    void clientDisconnected(const QString &peer);
    /// The server dropped a client: too slow, silent, speaking nonsense, or
    /// gone in the middle of a message.
    void clientDropped(const QString &peer, const QString &reason);
    /// A client asked to cancel / terminate, and the option is announced.
    void cancelRequested();
    void terminateRequested();
    /// A client sent a request that the server does not honour.
    void controlRequestIgnored(quint32 request, const QString &reason);
    /// closeAllAfterFlush() is done.
    void allClosed();

private:
    friend class KvCommServerPrivate;
    KvCommServerPrivate *d = nullptr;
};
