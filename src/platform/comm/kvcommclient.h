#pragma once

#include "kvcommclientdata.h"
#include "kvcommexport.h"
#include "kvcommglobal.h"

#include <QDateTime>
#include <QObject>
#include <QSharedPointer>
#include <QString>

class KvCommClientPrivate;

/// Client side of a monitoring connection to a simulator's server.
///
/// One client makes one connection attempt and is then used until the
/// connection ends; it is never reconnected.
///
/// The attempt: connectToServer() returns at once, and exactly one of
/// serverConnected() or serverError() follows, a time-out included.
/// - A refused connection is retried every 100 ms until the time limit (a
///   simulator that has just been started may not be listening yet); only then
///   is it reported. A time limit of 0 means one single try without retries,
///   bounded by the system's own connect time-out (and, for a server that
///   accepts but never greets, by the 20 s of silence after which a peer
///   counts as dead).
/// - serverConnected() is emitted once the server has greeted the client and
///   sent its identity, status, control options and simulation information:
///   version(), revision(), simulationStatus(), controlOptions() and
///   clientData() are valid from then on.
/// - The simulation's rules, index data and samples (a late joiner's history
///   included) reach clientData()'s signals only after serverConnected() has
///   returned, so receivers connected inside a serverConnected() handler miss
///   nothing.
///
/// The end: after disconnectFromServer(), the server closing, a broken
/// connection, a silent peer (no heartbeat within 20 s) or a protocol error,
/// serverDisconnected() is emitted exactly once. A protocol error or broken
/// connection while connected is first reported with serverError().
///
/// Everything is emitted on the client's thread, from the event loop or from
/// within the calls named above. Delete the client with deleteLater() when
/// one of its signals may be on the stack.
class KVCOMM_EXPORT KvCommClient : public QObject
{
    Q_OBJECT

public:
    enum State { Unconnected, Connecting, Connected, Closed };

    explicit KvCommClient(QObject *parent = nullptr);
    ~KvCommClient() override;

    /// Starts the attempt; `timeout` in milliseconds (0: a single try).
    void connectToServer(QString host, quint16 port, unsigned int timeout);
    /// Closes the connection or abandons the attempt; serverDisconnected()
    /// follows (inside this call or later) when a connection had been made.
    void disconnectFromServer();
    /// Sends KvCommControlCancel or KvCommControlTerminate to the simulation.
    void sendControlRequest(KvCommControlOptions request);
    /// Heartbeat period and the silence after which the server counts as
    /// dead (defaults 5000 and 20000 ms); call before connectToServer().
    void setHeartbeat(int intervalMs, int deadAfterMs);

    /// The simulation data of the connection; never null.
    QSharedPointer<KvCommClientData> clientData() const;
    QString version() const;
    QString revision() const;

    /// Last simulation status the server reported; KvCommStatusNone until then.
    KvCommSimulationStatus simulationStatus() const { return m_simulationStatus; }
    /// KvCommControlOptions flags that the server announced.
    quint32 controlOptions() const { return m_controlOptions; }

    State state() const;
    QString host() const;
    quint16 port() const;

signals:
    void serverConnected();
    void serverError(QString msg);
    void serverDisconnected();
    void simulationStatusChanged(KvCommSimulationStatus status, QDateTime time);
    /// A log message with its level (0..7); the text carries its own line ends.
    void logDataReceived(int level, const QString &msg);

private:
    friend class KvCommClientPrivate;
    static void checkLayout();

    // Callers allocate the client and read the two inline accessors compiled
    // into their own code, so the object's size (104) and the offsets of
    // m_simulationStatus (72) and m_controlOptions (96) are fixed; the
    // reserved members hold the places.
    KvCommClientPrivate *d = nullptr;
    QSharedPointer<KvCommClientData> m_clientData;
    QString m_version;
    QString m_revision;
    QString m_host;
    quint16 m_port = 0;
    quint16 m_reserved16 = 0;
    quint32 m_timeout = 0;
    KvCommSimulationStatus m_simulationStatus = KvCommStatusNone;
    qint32 m_state = Unconnected;
    qint64 m_reserved64[2] = {};
    quint32 m_controlOptions = 0;
    quint32 m_reserved = 0;
};
