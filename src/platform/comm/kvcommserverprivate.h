#pragma once

#include "kvcommframereader.h"
#include "kvcommmessage.h"

#include <QByteArray>
#include <QElapsedTimer>
#include <QMutex>
#include <QTcpServer>
#include <QTimer>
#include <QVector>

#include <deque>
#include <functional>
#include <vector>

class KvCommServer;
class QTcpSocket;

/// The workings of KvCommServer: the connections, the current state and
/// history, and the queue through which publishers hand over frames.
class KvCommServerPrivate
{
public:
    enum Kind { Status, Info, Rules, InfoUpdate, Index, Samples, Log };

    struct Pending {
        Kind kind = Log;
        QByteArray frame;
        qint64 samples = 0;
        qint64 values = 0;
    };

    struct HistoryEntry {
        QByteArray frame;
        qint64 samples = 0; // 0 for index data
        qint64 values = 0;
    };

    struct Connection {
        QTcpSocket *socket = nullptr;
        KvCommFrameReader reader;
        KvCommMessage message;
        QString peer;
        QElapsedTimer lastReceived;
        qint64 sendLimit = 0;
        // Frames not yet handed to the socket: the socket gets about
        // SocketChunk at a time, so that a dropped client's backlog can be
        // thrown away at a frame boundary.
        std::deque<QByteArray> queue;
        qint64 queued = 0;
        bool greeted = false;
        bool refused = false; // told why and being closed
        // Closed once everything is out: then half closed (our side), and
        // gone when the client closes its side.
        bool closeWhenFlushed = false;
        bool halfClosed = false;
        bool dead = false;
    };

    explicit KvCommServerPrivate(KvCommServer *q);
    ~KvCommServerPrivate();

    void enqueue(Pending &&item);
    void drain();
    void apply(Pending &item);
    void trimHistory();
    void broadcast(const QByteArray &frame);
    void send(Connection *c, const QByteArray &frame);
    void refill(Connection *c);
    // Closes after the data sent so far. QAbstractSocket::disconnectFromHost()
    // stops reading, and closing a socket with unread data (the client's
    // heartbeats) resets the connection: the client would lose whatever it
    // had not read yet, its last samples and the final status among them.
    void closeAfterFlush(Connection *c);
    void halfCloseIfFlushed(Connection *c);
    qint64 backlog(const Connection *c) const;

    void onNewConnection();
    void onReadyRead(Connection *c);
    // Decodes the frames that the socket holds; drops the client on an error.
    void readFrames(Connection *c);
    void handleMessage(Connection *c, const KvCommMessage &message);
    void onDisconnected(Connection *c);
    void onHeartbeat();
    void drop(Connection *c, const QString &reason);
    // Tells the client `told` in an Error frame, reports `reason` and closes
    // once the queued data is out.
    void refuse(Connection *c, const QString &told, const QString &reason);
    void finish(Connection *c);
    void removeDead();
    void checkAllClosed();
    void post(std::function<void()> f);
    // Connections not yet closed, and those of them not being refused.
    int liveCount() const;
    int clientCount() const;

    KvCommServer *q = nullptr;
    QTcpServer tcp;
    std::vector<Connection *> connections;

    // Configuration.
    QByteArray identityFrame;
    quint32 options = 0;
    qint64 historyLimit = 16 * 1024 * 1024;
    qint64 maxSendBuffer = 64 * 1024 * 1024;
    int heartbeatInterval = KvCommProtocol::DefaultHeartbeatInterval;
    int deadAfter = KvCommProtocol::DefaultDeadAfter;

    // State, on the server's thread.
    QByteArray statusFrame;
    QByteArray infoFrame;
    QByteArray ruleFrame;
    QVector<QByteArray> infoUpdates;
    std::deque<HistoryEntry> history;
    QVector<QByteArray> pinnedIndex; // index data older than every kept sample
    qint64 historyValues = 0;
    qint64 historySamples = 0;
    qint64 droppedSamples = 0;
    bool draining = false;
    bool closing = false;
    bool closedEmitted = false;
    QTimer heartbeatTimer;
    QTimer closeTimer;

    // Shared with the publishers.
    mutable QMutex mutex;
    QVector<Pending> pending;
    bool posted = false;
    bool rulesPublished = false;
    qint64 nextSequence = 0;
};
