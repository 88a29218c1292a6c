#pragma once

#include "kvcommframereader.h"
#include "kvcommmessage.h"

#include <QAbstractSocket>
#include <QElapsedTimer>
#include <QString>
#include <QTimer>

class KvCommClient;
class QTcpSocket;

/// The workings of KvCommClient: the socket, the attempt with its retries
/// and time limit, the sliced decoding of frames and the heartbeat.
class KvCommClientPrivate
{
public:
    explicit KvCommClientPrivate(KvCommClient *q);
    ~KvCommClientPrivate();

    void start();
    void connectSocket();
    void abandon();
    void disconnectNow();
    void sendFrame(const QByteArray &frame);

    void onConnected();
    void onError(QAbstractSocket::SocketError error);
    void onDisconnected();
    void onReadyRead();
    void onAttemptTimeout();
    void onHeartbeat();

    void scheduleProcess();
    void process();
    void pull();
    // These return false when the caller must stop touching this object: the
    // client was deleted, or the connection ended.
    bool handle(KvCommMessage &message);
    // Ready, and what may not come before it.
    bool handleHandshake(const KvCommMessage &message);
    // The simulation's data, once connected.
    bool handleData(KvCommMessage &message);
    // Rule data, value updates, index data and samples into the store;
    // false, with the store's reason, when it refuses them.
    bool feedStore(KvCommMessage &message, QString &error);
    bool greet(const KvCommMessage &message);
    void fail(const QString &message);
    void protocolError(const QString &message);
    void endOfStream();
    // The one way out: the state becomes Closed, every timer stops and the
    // socket says nothing more (closed gracefully or aborted).
    void shutDown(bool graceful);
    void dropSocket();

    QString where() const;
    QString seconds(qint64 ms) const;

    KvCommClient *q = nullptr;
    QTcpSocket *socket = nullptr;
    KvCommFrameReader reader;
    KvCommMessage message;
    QTimer attemptTimer;
    QTimer retryTimer;
    QTimer heartbeatTimer;
    QTimer processTimer;
    QElapsedTimer lastReceived;
    bool tcpConnected = false;
    bool lastRefused = false;
    bool greeted = false;
    bool peerClosed = false;
    bool inHistory = false;
    bool infoKnown = false;
    bool announceInfo = false;
    QString closeReason;
    int heartbeatInterval = KvCommProtocol::DefaultHeartbeatInterval;
    int deadAfter = KvCommProtocol::DefaultDeadAfter;
};
