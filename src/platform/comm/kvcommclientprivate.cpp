#include "kvcommclientprivate.h"

#include "kvcommclient.h"
#include "kvcommframewriter.h"

#include <QHostAddress>
#include <QPointer>
#include <QTcpSocket>

#include <utility>

namespace {

// Bytes decoded ahead of the event loop; beyond this the socket's own buffer
// (bounded too) fills and TCP slows the server down, so a client that cannot
// keep up costs memory on neither side beyond the server's send limit.
constexpr qint64 MaxBuffered = 4 * 1024 * 1024;
// A slice of decoding before the event loop gets its turn again.
constexpr qint64 SliceMs = 5;
constexpr int SliceFrames = 2000;
// A simulator just started may not listen yet: a refused attempt is retried
// this often until the time limit.
constexpr int RetryMs = 100;

} // namespace

KvCommClientPrivate::KvCommClientPrivate(KvCommClient *q)
    : q(q)
{
    attemptTimer.setSingleShot(true);
    retryTimer.setSingleShot(true);
    processTimer.setSingleShot(true);
    processTimer.setInterval(0);
    QObject::connect(&attemptTimer, &QTimer::timeout, q, [this] { onAttemptTimeout(); });
    QObject::connect(&retryTimer, &QTimer::timeout, q, [this] { connectSocket(); });
    QObject::connect(&heartbeatTimer, &QTimer::timeout, q, [this] { onHeartbeat(); });
    QObject::connect(&processTimer, &QTimer::timeout, q, [this] { process(); });
}

KvCommClientPrivate::~KvCommClientPrivate() { dropSocket(); }

QString KvCommClientPrivate::where() const
{
    return QStringLiteral("%1:%2").arg(q->m_host).arg(q->m_port);
}

QString KvCommClientPrivate::seconds(qint64 ms) const
{
    return QStringLiteral("%1 s").arg(double(ms) / 1000.0, 0, 'g', 4);
}

void KvCommClientPrivate::dropSocket()
{
    if (!socket)
        return;
    // Signals off first: closing must not call back into a client that is
    // going away.
    socket->disconnect();
    socket->abort();
    delete socket;
    socket = nullptr;
}

void KvCommClientPrivate::start()
{
    if (q->m_state != KvCommClient::Connecting)
        return;
    socket = new QTcpSocket;
    socket->setReadBufferSize(MaxBuffered);
    QObject::connect(socket, &QTcpSocket::connected, q, [this] { onConnected(); });
    QObject::connect(socket, &QTcpSocket::errorOccurred, q,
        [this](QAbstractSocket::SocketError e) { onError(e); });
    QObject::connect(socket, &QTcpSocket::disconnected, q, [this] { onDisconnected(); });
    QObject::connect(socket, &QTcpSocket::readyRead, q, [this] { onReadyRead(); });
    if (q->m_timeout > 0)
        attemptTimer.start(int(qMin<quint32>(q->m_timeout, 0x7fffffff)));
    connectSocket();
}

void KvCommClientPrivate::connectSocket()
{
    if (q->m_state != KvCommClient::Connecting || !socket)
        return;
    socket->abort();
    socket->connectToHost(q->m_host, q->m_port);
}

void KvCommClientPrivate::onConnected()
{
    tcpConnected = true;
    lastRefused = false;
    lastReceived.start();
    sendFrame(KvCommFrameWriter::hello(KvCommProtocol::Version));
    heartbeatTimer.start(heartbeatInterval);
}

void KvCommClientPrivate::onError(QAbstractSocket::SocketError error)
{
    if (q->m_state == KvCommClient::Connecting && !tcpConnected) {
        switch (error) {
        case QAbstractSocket::ConnectionRefusedError:
            // A simulator just started may not listen yet: retry until the limit.
            lastRefused = true;
            if (q->m_timeout > 0) {
                retryTimer.start(RetryMs);
                return;
            }
            fail(QStringLiteral("Connection refused by %1").arg(where()));
            return;
        case QAbstractSocket::HostNotFoundError:
            fail(QStringLiteral("Host name lookup for %1 failed: %2")
                     .arg(q->m_host, socket->errorString()));
            return;
        case QAbstractSocket::SocketTimeoutError:
        case QAbstractSocket::NetworkError:
            fail(QStringLiteral("No answer from %1: %2").arg(where(), socket->errorString()));
            return;
        default:
            fail(QStringLiteral("Cannot connect to %1: %2").arg(where(), socket->errorString()));
            return;
        }
    }
    if (error == QAbstractSocket::RemoteHostClosedError)
        return; // disconnected() follows; the frames still buffered count
    if (q->m_state == KvCommClient::Connecting || q->m_state == KvCommClient::Connected) {
        closeReason
            = QStringLiteral("Connection to %1 broken: %2").arg(where(), socket->errorString());
        onDisconnected();
    }
}

void KvCommClientPrivate::onDisconnected()
{
    if (peerClosed)
        return;
    peerClosed = true;
    heartbeatTimer.stop();
    scheduleProcess();
}

void KvCommClientPrivate::onReadyRead()
{
    if (lastReceived.isValid())
        lastReceived.restart();
    scheduleProcess();
}

void KvCommClientPrivate::onAttemptTimeout()
{
    if (q->m_state != KvCommClient::Connecting)
        return;
    if (lastRefused && !tcpConnected)
        fail(QStringLiteral("Connection refused by %1 (retried for %2)")
                 .arg(where(), seconds(q->m_timeout)));
    else if (tcpConnected)
        fail(QStringLiteral("No answer from %1 within %2: the connection was accepted, but the "
                            "server did not greet")
                 .arg(where(), seconds(q->m_timeout)));
    else
        fail(QStringLiteral("No answer from %1 within %2").arg(where(), seconds(q->m_timeout)));
}

void KvCommClientPrivate::onHeartbeat()
{
    if (lastReceived.isValid() && lastReceived.elapsed() > deadAfter) {
        const QString msg
            = QStringLiteral("No data from %1 for %2: the connection is considered lost")
                  .arg(where(), seconds(lastReceived.elapsed()));
        if (q->m_state == KvCommClient::Connecting)
            fail(msg);
        else
            protocolError(msg);
        return;
    }
    sendFrame(KvCommFrameWriter::heartbeat());
}

void KvCommClientPrivate::sendFrame(const QByteArray &frame)
{
    if (socket && socket->state() == QAbstractSocket::ConnectedState)
        socket->write(frame);
}

void KvCommClientPrivate::scheduleProcess()
{
    if (!processTimer.isActive())
        processTimer.start();
}

void KvCommClientPrivate::pull()
{
    if (!socket)
        return;
    const qint64 want = qMax<qint64>(MaxBuffered, reader.bufferedBytes() + reader.bytesMissing())
        - reader.bufferedBytes();
    if (want > 0)
        reader.readFrom(socket, want);
}

void KvCommClientPrivate::process()
{
    QPointer<KvCommClient> self(q);
    if (announceInfo && q->m_state == KvCommClient::Connected) {
        announceInfo = false;
        const QSharedPointer<KvCommClientData> store = q->m_clientData;
        emit store->simulationInfoAvailable();
        if (!self)
            return;
    }
    QElapsedTimer slice;
    slice.start();
    int frames = 0;
    for (;;) {
        if (q->m_state != KvCommClient::Connecting && q->m_state != KvCommClient::Connected)
            return;
        pull();
        if (!reader.readNext(message)) {
            if (reader.hasError()) {
                // Before the greeting, garbage means another kind of server
                // (or a proxy) answered: say so rather than how it failed.
                protocolError(greeted ? QStringLiteral("Invalid data from %1: %2")
                                            .arg(where(), reader.errorString())
                                      : QStringLiteral("%1 is not a Kivo monitoring server (%2)")
                                            .arg(where(), reader.errorString()));
                return;
            }
            if (peerClosed && (!socket || socket->bytesAvailable() == 0))
                endOfStream();
            return; // wait for more data
        }
        if (!handle(message))
            return;
        if (!self)
            return;
        if (++frames >= SliceFrames || slice.elapsed() >= SliceMs) {
            // Let the event loop (and the GUI) breathe, then go on.
            scheduleProcess();
            return;
        }
    }
}

void KvCommClientPrivate::endOfStream()
{
    if (q->m_state == KvCommClient::Connecting) {
        fail(closeReason.isEmpty()
                ? QStringLiteral("The server at %1 closed the connection before it was ready")
                      .arg(where())
                : closeReason);
        return;
    }
    if (reader.bufferedBytes() > 0) {
        protocolError(QStringLiteral("The server at %1 closed the connection in the middle of a "
                                     "message")
                          .arg(where()));
        return;
    }
    if (!closeReason.isEmpty()) {
        protocolError(closeReason);
        return;
    }
    shutDown(true);
    emit q->serverDisconnected();
}

void KvCommClientPrivate::shutDown(bool graceful)
{
    q->m_state = KvCommClient::Closed;
    attemptTimer.stop();
    retryTimer.stop();
    heartbeatTimer.stop();
    processTimer.stop();
    if (!socket)
        return;
    socket->disconnect();
    if (graceful)
        socket->disconnectFromHost(); // a control request just written still goes out
    else
        socket->abort();
}

void KvCommClientPrivate::fail(const QString &msg)
{
    // The attempt ends: exactly one serverError, nothing after it.
    shutDown(false);
    emit q->serverError(msg);
}

void KvCommClientPrivate::protocolError(const QString &msg)
{
    if (q->m_state == KvCommClient::Connecting) {
        fail(msg);
        return;
    }
    if (q->m_state != KvCommClient::Connected)
        return;
    shutDown(false);
    QPointer<KvCommClient> self(q);
    emit q->serverError(msg);
    if (self)
        emit q->serverDisconnected();
}

void KvCommClientPrivate::abandon()
{
    shutDown(false);
    const QString msg = QStringLiteral("Connection attempt to %1 abandoned").arg(where());
    KvCommClient *client = q;
    QTimer::singleShot(0, q, [client, msg] { emit client->serverError(msg); });
}

void KvCommClientPrivate::disconnectNow()
{
    shutDown(true);
    KvCommClient *client = q;
    QTimer::singleShot(0, q, [client] { emit client->serverDisconnected(); });
}

bool KvCommClientPrivate::handle(KvCommMessage &m)
{
    using namespace KvCommProtocol;
    if (!greeted && m.type != Hello && m.type != Error) {
        protocolError(
            QStringLiteral("%1 is not a Kivo monitoring server (it did not greet)").arg(where()));
        return false;
    }
    QPointer<KvCommClient> self(q);
    const bool connected = q->m_state == KvCommClient::Connected;
    switch (m.type) {
    case Unknown:
    case Heartbeat:
    case ControlRequest:
        return true;
    case Error:
        protocolError(
            QStringLiteral("The server at %1 reported an error: %2").arg(where(), m.text));
        return false;
    case Hello:
        return greet(m);
    case Identity:
        q->m_version = m.version;
        q->m_revision = m.revision;
        return true;
    case ControlOptions:
        q->m_controlOptions = m.options;
        return true;
    case Status: {
        q->m_simulationStatus = KvCommSimulationStatus(m.status);
        if (!connected)
            return true;
        // Through a local: a receiver may delete the client, and `m` with it.
        const QDateTime time = m.time;
        emit q->simulationStatusChanged(KvCommSimulationStatus(m.status), time);
        return self && q->m_state == KvCommClient::Connected;
    }
    case SimulationInfo: {
        infoKnown = true;
        const QSharedPointer<KvCommClientData> store = q->m_clientData;
        const QString name = m.name, description = m.description;
        const QStringList files = m.files;
        const QDateTime loading = m.loadingTime, running = m.runningTime;
        store->setSimulationInfo(
            name, description, files, loading, running, m.plannedEndTime, m.plannedSteps);
        return self && (q->m_state == KvCommClient::Connected || !connected);
    }
    default:
        return connected ? handleData(m) : handleHandshake(m);
    }
}

bool KvCommClientPrivate::greet(const KvCommMessage &m)
{
    if (greeted) {
        protocolError(QStringLiteral("The server at %1 greeted twice").arg(where()));
        return false;
    }
    if (m.magic != QLatin1String(KvCommProtocol::Magic)) {
        protocolError(
            QStringLiteral("%1 is not a Kivo monitoring server (wrong greeting)").arg(where()));
        return false;
    }
    if (m.protocolVersion != KvCommProtocol::Version) {
        protocolError(QStringLiteral("The server at %1 speaks protocol version %2; this "
                                     "client speaks %3")
                          .arg(where())
                          .arg(m.protocolVersion)
                          .arg(KvCommProtocol::Version));
        return false;
    }
    greeted = true;
    return true;
}

bool KvCommClientPrivate::handleHandshake(const KvCommMessage &m)
{
    if (m.type != KvCommProtocol::Ready) {
        protocolError(QStringLiteral("The server at %1 sent simulation data before it was ready")
                          .arg(where()));
        return false;
    }
    q->m_state = KvCommClient::Connected;
    attemptTimer.stop();
    retryTimer.stop();
    if (!heartbeatTimer.isActive())
        heartbeatTimer.start(heartbeatInterval);
    QPointer<KvCommClient> self(q);
    emit q->serverConnected();
    if (!self || q->m_state != KvCommClient::Connected)
        return false;
    // The rest waits for the next turn of the event loop: a receiver that
    // called deleteLater() in serverConnected() gets no more. Then receivers
    // connected inside serverConnected() learn the info too.
    announceInfo = infoKnown;
    scheduleProcess();
    return false;
}

bool KvCommClientPrivate::handleData(KvCommMessage &m)
{
    using namespace KvCommProtocol;
    // A receiver may delete the client (and with it this object and `m`) in
    // any signal: `self` tells.
    QPointer<KvCommClient> self(q);
    QString err;
    bool ok = true;
    switch (m.type) {
    case Ready:
        protocolError(QStringLiteral("The server at %1 announced itself twice").arg(where()));
        return false;
    case RuleData:
    case TrackedDataInfo:
    case IndexData:
    case Samples:
        ok = feedStore(m, err);
        break;
    case HistoryBegin:
        inHistory = true;
        if (m.droppedSamples > 0) {
            emit q->logDataReceived(4,
                QStringLiteral("The server dropped the oldest %1 samples of "
                               "its history to bound its memory\n")
                    .arg(m.droppedSamples));
        }
        break;
    case HistoryEnd:
        inHistory = false;
        break;
    case Log: {
        const QString text = m.text;
        emit q->logDataReceived(m.level, text);
        break;
    }
    default:
        break;
    }
    if (!self)
        return false;
    if (!ok) {
        protocolError(QStringLiteral("Invalid data from %1: %2").arg(where(), err));
        return false;
    }
    return q->m_state == KvCommClient::Connected;
}

bool KvCommClientPrivate::feedStore(KvCommMessage &m, QString &err)
{
    // The store reads `m` before it emits: its receivers may delete the client.
    const QSharedPointer<KvCommClientData> store = q->m_clientData;
    if (inHistory && m.type == KvCommProtocol::Samples) {
        for (KvCommClientTrackedData &s : m.samples)
            s.flags |= KvCommClientTrackedData::FromHistory;
    }
    return store->feed(m, &err);
}
