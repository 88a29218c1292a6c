#include "kvcommserverprivate.h"

#include "kvcommframewriter.h"
#include "kvcommglobal.h"
#include "kvcommserver.h"

#include <QMutexLocker>
#include <QPointer>
#include <QTcpSocket>

#include <algorithm>

#ifdef Q_OS_WIN
#include <winsock2.h>
#else
#include <sys/socket.h>
#endif

namespace {

// What is read from a client at a time.
constexpr qint64 ReadChunk = 64 * 1024;
// What a socket is given at a time; the rest waits in the connection's queue.
constexpr qint64 SocketChunk = 1024 * 1024;

QString peerName(const QTcpSocket *socket)
{
    QHostAddress address = socket->peerAddress();
    bool ok = false;
    const quint32 v4 = address.toIPv4Address(&ok);
    if (ok)
        address = QHostAddress(v4);
    return QStringLiteral("%1:%2").arg(address.toString()).arg(socket->peerPort());
}

QString mib(qint64 bytes)
{
    return QStringLiteral("%1 MiB").arg(double(bytes) / (1024.0 * 1024.0), 0, 'g', 4);
}

} // namespace

KvCommServerPrivate::KvCommServerPrivate(KvCommServer *q)
    : q(q)
{
    QObject::connect(&tcp, &QTcpServer::newConnection, q, [this] { onNewConnection(); });
    QObject::connect(&heartbeatTimer, &QTimer::timeout, q, [this] { onHeartbeat(); });
    closeTimer.setSingleShot(true);
    QObject::connect(&closeTimer, &QTimer::timeout, q, [this] {
        for (Connection *c : connections) {
            if (!c->dead && c->refused)
                finish(c); // reported when it was refused
            else if (!c->dead)
                drop(c,
                    QStringLiteral("Client %1 dropped: its data could not be sent before "
                                   "the server closed")
                        .arg(c->peer));
        }
        removeDead();
        checkAllClosed();
    });
}

KvCommServerPrivate::~KvCommServerPrivate()
{
    for (Connection *c : connections) {
        if (c->socket) {
            c->socket->disconnect();
            c->socket->abort();
            delete c->socket;
        }
        delete c;
    }
}

void KvCommServerPrivate::post(std::function<void()> f)
{
    QMetaObject::invokeMethod(q, std::move(f), Qt::QueuedConnection);
}

int KvCommServerPrivate::liveCount() const
{
    return int(std::count_if(
        connections.begin(), connections.end(), [](const Connection *c) { return !c->dead; }));
}

int KvCommServerPrivate::clientCount() const
{
    return int(std::count_if(connections.begin(), connections.end(),
        [](const Connection *c) { return !c->dead && !c->refused; }));
}

void KvCommServerPrivate::enqueue(Pending &&item)
{
    QMutexLocker lock(&mutex);
    pending.append(std::move(item));
    if (!posted) {
        posted = true;
        post([this] { drain(); });
    }
}

void KvCommServerPrivate::drain()
{
    if (draining)
        return;
    draining = true;
    for (;;) {
        QVector<Pending> items;
        {
            QMutexLocker lock(&mutex);
            items.swap(pending);
            posted = false;
        }
        if (items.isEmpty())
            break;
        for (Pending &item : items)
            apply(item);
    }
    draining = false;
    removeDead();
}

void KvCommServerPrivate::apply(Pending &item)
{
    if (closing)
        return;
    switch (item.kind) {
    case Status:
        statusFrame = item.frame;
        break;
    case Info:
        infoFrame = item.frame;
        break;
    case Rules:
        ruleFrame = item.frame;
        break;
    case InfoUpdate:
        infoUpdates.append(item.frame);
        break;
    case Index:
        history.push_back({item.frame, 0, 0});
        break;
    case Samples:
        history.push_back({item.frame, item.samples, item.values});
        historyValues += item.values;
        historySamples += item.samples;
        trimHistory();
        break;
    case Log:
        break;
    }
    broadcast(item.frame);
}

void KvCommServerPrivate::trimHistory()
{
    while (historyValues > historyLimit && !history.empty()) {
        HistoryEntry &front = history.front();
        if (front.samples == 0) {
            pinnedIndex.append(front.frame);
        } else {
            historyValues -= front.values;
            historySamples -= front.samples;
            droppedSamples += front.samples;
        }
        history.pop_front();
    }
}

void KvCommServerPrivate::broadcast(const QByteArray &frame)
{
    for (Connection *c : connections)
        send(c, frame);
}

void KvCommServerPrivate::send(Connection *c, const QByteArray &frame)
{
    if (c->dead || c->closeWhenFlushed)
        return;
    if (c->queue.empty() && c->socket->bytesToWrite() < SocketChunk) {
        c->socket->write(frame);
    } else {
        c->queue.push_back(frame);
        c->queued += frame.size();
    }
    if (backlog(c) > c->sendLimit) {
        // Whole frames are queued, so an Error frame after them is read as
        // one: a client that is only slow learns why its stream ends.
        refuse(c,
            QStringLiteral("this client does not keep up (more than %1 waiting to be sent); "
                           "the server dropped it")
                .arg(mib(c->sendLimit)),
            QStringLiteral("Client %1 dropped: it does not keep up (more than %2 waiting to "
                           "be sent)")
                .arg(c->peer, mib(c->sendLimit)));
    }
}

void KvCommServerPrivate::closeAfterFlush(Connection *c)
{
    for (const QByteArray &frame : c->queue)
        c->socket->write(frame);
    c->queue.clear();
    c->queued = 0;
    c->closeWhenFlushed = true;
    halfCloseIfFlushed(c);
}

void KvCommServerPrivate::halfCloseIfFlushed(Connection *c)
{
    if (c->halfClosed || c->socket->bytesToWrite() > 0)
        return;
    c->halfClosed = true;
#ifdef Q_OS_WIN
    ::shutdown(SOCKET(c->socket->socketDescriptor()), SD_SEND);
#else
    ::shutdown(int(c->socket->socketDescriptor()), SHUT_WR);
#endif
}

qint64 KvCommServerPrivate::backlog(const Connection *c) const
{
    return c->socket->bytesToWrite() + c->queued;
}

void KvCommServerPrivate::refill(Connection *c)
{
    while (!c->queue.empty() && c->socket->bytesToWrite() < SocketChunk) {
        c->socket->write(c->queue.front());
        c->queued -= c->queue.front().size();
        c->queue.pop_front();
    }
}

void KvCommServerPrivate::refuse(Connection *c, const QString &told, const QString &reason)
{
    // The socket holds whole frames only: the reason follows them at once,
    // and the backlog that was not handed over yet is let go.
    c->queue.clear();
    c->queued = 0;
    c->socket->write(KvCommFrameWriter::error(told));
    // Closed once everything is out, or by the heartbeat check if the client
    // has not read it all within the time a silent client is given.
    c->refused = true;
    c->lastReceived.restart();
    closeAfterFlush(c);
    const QString peer = c->peer;
    post([this, peer, reason] { emit q->clientDropped(peer, reason); });
}

void KvCommServerPrivate::onNewConnection()
{
    while (QTcpSocket *socket = tcp.nextPendingConnection()) {
        if (closing) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        auto *c = new Connection;
        c->socket = socket;
        c->peer = peerName(socket);
        c->lastReceived.start();
        c->sendLimit = maxSendBuffer;
        connections.push_back(c);
        QObject::connect(socket, &QTcpSocket::readyRead, q, [this, c] { onReadyRead(c); });
        QObject::connect(socket, &QTcpSocket::disconnected, q, [this, c] { onDisconnected(c); });
        QObject::connect(socket, &QTcpSocket::bytesWritten, q, [this, c] {
            if (c->dead)
                return;
            // Once the backlog of joining is out, the ordinary limit applies.
            if (c->sendLimit > maxSendBuffer && backlog(c) < maxSendBuffer)
                c->sendLimit = maxSendBuffer;
            if (c->closeWhenFlushed)
                halfCloseIfFlushed(c);
            else
                refill(c);
        });

        // Everything published up to now, in the order a client needs it.
        QByteArray head = KvCommFrameWriter::hello(KvCommProtocol::Version);
        head += identityFrame;
        head += KvCommFrameWriter::controlOptions(options);
        head += statusFrame;
        head += infoFrame;
        head += KvCommFrameWriter::ready();
        socket->write(head);
        if (!ruleFrame.isEmpty()) {
            socket->write(ruleFrame);
            for (const QByteArray &f : qAsConst(infoUpdates))
                socket->write(f);
            socket->write(KvCommFrameWriter::historyBegin(droppedSamples, historySamples));
            for (const QByteArray &f : qAsConst(pinnedIndex))
                socket->write(f);
            for (const HistoryEntry &e : history)
                socket->write(e.frame);
            socket->write(KvCommFrameWriter::historyEnd());
        }
        c->sendLimit = socket->bytesToWrite() + maxSendBuffer;
        const QString peer = c->peer;
        post([this, peer] { emit q->clientConnected(peer); });
    }
}

void KvCommServerPrivate::onReadyRead(Connection *c)
{
    if (c->dead)
        return;
    if (c->closeWhenFlushed) {
        // Read and ignored, so that the close is not a reset.
        c->socket->readAll();
        return;
    }
    c->lastReceived.restart();
    readFrames(c);
    removeDead();
}

void KvCommServerPrivate::readFrames(Connection *c)
{
    // A chunk at a time, but a frame that is larger is taken whole: the
    // reader itself refuses frames beyond the protocol's limit.
    for (;;) {
        const qint64 got
            = c->reader.readFrom(c->socket, qMax<qint64>(ReadChunk, c->reader.bytesMissing()));
        while (!c->dead && !c->closeWhenFlushed && c->reader.readNext(c->message))
            handleMessage(c, c->message);
        if (c->dead || c->closeWhenFlushed)
            return;
        if (c->reader.hasError()) {
            drop(c, QStringLiteral("Client %1 dropped: %2").arg(c->peer, c->reader.errorString()));
            return;
        }
        if (got <= 0)
            return;
    }
}

void KvCommServerPrivate::handleMessage(Connection *c, const KvCommMessage &m)
{
    if (!c->greeted) {
        if (m.type != KvCommProtocol::Hello || m.magic != QLatin1String(KvCommProtocol::Magic)) {
            drop(c,
                QStringLiteral("Client %1 dropped: it is not a Kivo monitoring client")
                    .arg(c->peer));
        } else if (m.protocolVersion != KvCommProtocol::Version) {
            // Tell it why before closing, so its user reads a reason.
            refuse(c,
                QStringLiteral("this server speaks protocol version %1, the client %2")
                    .arg(KvCommProtocol::Version)
                    .arg(m.protocolVersion),
                QStringLiteral("Client %1 dropped: it speaks protocol version %2")
                    .arg(c->peer)
                    .arg(m.protocolVersion));
        } else {
            c->greeted = true;
        }
        return;
    }
    // Heartbeats only refresh lastReceived; unknown messages are skipped.
    if (m.type != KvCommProtocol::ControlRequest)
        return;
    // A request is one option, never a combination of them.
    const quint32 request = m.options;
    const bool single = request == KvCommControlCancel || request == KvCommControlTerminate;
    if (single && (options & request)) {
        if (request == KvCommControlCancel)
            post([this] { emit q->cancelRequested(); });
        else
            post([this] { emit q->terminateRequested(); });
        return;
    }
    const QString reason = single
        ? QStringLiteral("Request %1 from %2 ignored: not announced by this simulation")
              .arg(request)
              .arg(c->peer)
        : QStringLiteral("Request %1 from %2 ignored: not a control request")
              .arg(request)
              .arg(c->peer);
    post([this, request, reason] { emit q->controlRequestIgnored(request, reason); });
}

void KvCommServerPrivate::onDisconnected(Connection *c)
{
    if (c->dead)
        return;
    if (!c->closeWhenFlushed) {
        // What came with the close counts; a frame left unfinished is a fault.
        readFrames(c);
        if (!c->dead && c->reader.bufferedBytes() > 0)
            drop(c,
                QStringLiteral("Client %1 dropped: it closed the connection in the middle of a "
                               "message")
                    .arg(c->peer));
    }
    if (!c->dead)
        finish(c);
    removeDead();
    checkAllClosed();
}

void KvCommServerPrivate::finish(Connection *c)
{
    c->dead = true;
    c->socket->disconnect();
    c->socket->abort();
    c->socket->deleteLater();
    c->socket = nullptr;
    const QString peer = c->peer;
    post([this, peer] { emit q->clientDisconnected(peer); });
}

void KvCommServerPrivate::drop(Connection *c, const QString &reason)
{
    if (c->dead)
        return;
    const QString peer = c->peer;
    post([this, peer, reason] { emit q->clientDropped(peer, reason); });
    finish(c);
}

void KvCommServerPrivate::removeDead()
{
    if (draining)
        return;
    auto it = std::remove_if(connections.begin(), connections.end(), [](Connection *c) {
        if (!c->dead)
            return false;
        delete c;
        return true;
    });
    connections.erase(it, connections.end());
}

void KvCommServerPrivate::checkAllClosed()
{
    if (closing && !closedEmitted && liveCount() == 0) {
        closedEmitted = true;
        closeTimer.stop();
        heartbeatTimer.stop();
        post([this] { emit q->allClosed(); });
    }
}

void KvCommServerPrivate::onHeartbeat()
{
    const QByteArray beat = KvCommFrameWriter::heartbeat();
    for (Connection *c : connections) {
        if (c->dead)
            continue;
        if (c->refused) {
            // Already reported as dropped; it is only being closed.
            if (c->lastReceived.elapsed() > deadAfter)
                finish(c);
            continue;
        }
        if (c->lastReceived.elapsed() > deadAfter) {
            drop(c,
                QStringLiteral("Client %1 dropped: no data for %2 s")
                    .arg(c->peer)
                    .arg(c->lastReceived.elapsed() / 1000.0, 0, 'g', 3));
            continue;
        }
        if (!closing)
            send(c, beat);
    }
    removeDead();
    checkAllClosed();
}
