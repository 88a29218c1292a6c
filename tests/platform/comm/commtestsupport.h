#pragma once

// Shared fixtures of the communication tests: a small simulation to publish,
// a transcript of what a client and its store emit, a raw peer that says
// exactly the bytes a test gives it, a client that stops reading, and a port
// that refuses connections.

#include "kvcommclient.h"
#include "kvcommclientdata.h"
#include "kvcommframereader.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"

#include <QPointer>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

namespace CommTest {

inline KvCommClientTrackedRuleInfo rule(const char *name, int values, quint32 indexTypes = 0)
{
    KvCommClientTrackedRuleInfo r;
    r.name = QString::fromLatin1(name);
    r.numTrackedData = values;
    r.indexTypes = indexTypes;
    return r;
}

inline KvCommClientTrackedRuleDataInfo value(int id, int rule, const char *name,
    const char *unit = "", int position = 0, int indexedBy = 0, int rows = 1)
{
    KvCommClientTrackedRuleDataInfo v;
    v.id = id;
    v.ruleId = rule;
    v.name = QString::fromLatin1(name);
    v.unit = QString::fromLatin1(unit);
    v.position = position;
    v.indexedBy = indexedBy;
    v.numRows = rows;
    return v;
}

// Rule 0 "clock": time (scalar), fem.error (scalar). Rule 1 "probe": T,
// indexed by the rule's node index, 2 x 1 components per line.
inline QVector<KvCommClientTrackedRuleInfo> rules()
{
    return {rule("clock", 2), rule("probe", 1, 1)};
}

inline QVector<KvCommClientTrackedRuleDataInfo> trackedData()
{
    return {
        value(0, 0, "time", "s"), value(1, 0, "fem.error", "", 1), value(2, 1, "T", "K", 0, 1, 2)};
}

inline KvCommClientTrackedIndexData nodes()
{
    return KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"n1", "n2"});
}

// Batch k: time k, error 1/(k+1), T with 2 lines x 2 rows.
inline QList<KvCommClientTrackedData> batch(int k)
{
    return {KvCommClientTrackedData(0, {double(k)}), KvCommClientTrackedData(1, {1.0 / (k + 1)}),
        KvCommClientTrackedData(2, {k + 0.1, k + 0.2, k + 0.3, k + 0.4})};
}

// One tracked value of 8192 components: a sample of it is a 64 KiB frame.
inline void publishWideValue(KvCommServer &server)
{
    server.publishRuleData({rule("wide", 1)}, {value(0, 0, "field", "", 0, 0, 8192)});
}

inline QList<KvCommClientTrackedData> wideBatch(double v = 0.5)
{
    return {KvCommClientTrackedData(0, QVector<double>(8192, v))};
}

inline QByteArray handshake()
{
    return KvCommFrameWriter::hello(1) + KvCommFrameWriter::identity("1.0", "r1")
        + KvCommFrameWriter::controlOptions(0) + KvCommFrameWriter::ready();
}

// The messages in a stream of frames; stops at the first error.
inline QVector<KvCommMessage> messagesOf(const QByteArray &bytes, QString *error = nullptr)
{
    KvCommFrameReader reader;
    reader.addData(bytes);
    QVector<KvCommMessage> out;
    KvCommMessage m;
    while (reader.readNext(m))
        out.append(std::exchange(m, KvCommMessage()));
    if (error)
        *error = reader.errorString();
    return out;
}

// Records, as text lines, every signal of a client and, once it is
// connected, of its store; counts the samples.
class Transcript : public QObject
{
public:
    QStringList lines;
    int connected = 0;
    int errors = 0;
    int disconnected = 0;
    qint64 samples = 0;
    bool withSamples = true; // their lines too

    explicit Transcript(KvCommClient *client)
    {
        connect(client, &KvCommClient::serverConnected, this, [this, client] {
            ++connected;
            lines << QStringLiteral("connected");
            watchData(client->clientData().data());
        });
        connect(client, &KvCommClient::serverError, this, [this](const QString &msg) {
            ++errors;
            lines << QStringLiteral("error ") + msg;
        });
        connect(client, &KvCommClient::serverDisconnected, this, [this] {
            ++disconnected;
            lines << QStringLiteral("disconnected");
        });
        connect(client, &KvCommClient::simulationStatusChanged, this,
            [this](KvCommSimulationStatus s) { lines << QStringLiteral("status %1").arg(int(s)); });
        connect(client, &KvCommClient::logDataReceived, this, [this](int level, const QString &t) {
            lines << QStringLiteral("log %1 %2").arg(level).arg(t.trimmed());
        });
    }

private:
    void watchData(KvCommClientData *data)
    {
        connect(data, &KvCommClientData::simulationInfoAvailable, this,
            [this, data] { lines << QStringLiteral("info ") + data->simName(); });
        connect(data, &KvCommClientData::simulationRuleDataAvailable, this, [this, data] {
            lines << QStringLiteral("rules %1 %2")
                         .arg(data->simNumRules())
                         .arg(data->simNumTrackedData());
        });
        connect(
            data, &KvCommClientData::simulationTrackedDataInfoUpdated, this, [this, data](int id) {
                lines << QStringLiteral("update %1 %2")
                             .arg(id)
                             .arg(data->simTrackedDataInfo(id).unit);
            });
        connect(data, &KvCommClientData::trackedIndexDataAvailable, this,
            [this](int rule, const KvCommClientTrackedIndexData &d, qint64 t) {
                lines << QStringLiteral("index %1 %2 %3 t=%4")
                             .arg(rule)
                             .arg(int(d.indexType()))
                             .arg(d.lines().join(','))
                             .arg(t);
            });
        connect(data, &KvCommClientData::trackedDataReceived, this,
            [this](const QList<KvCommClientTrackedData> &list, qint64 t) {
                samples += list.size();
                if (!withSamples)
                    return;
                QStringList parts;
                for (const KvCommClientTrackedData &s : list) {
                    QStringList v;
                    for (double x : s.values)
                        v << QString::number(x);
                    parts << QStringLiteral("%1#%2%3=%4")
                                 .arg(s.id)
                                 .arg(s.sequence)
                                 .arg(s.flags & KvCommClientTrackedData::FromHistory ? "h" : "")
                                 .arg(v.join(','));
                }
                lines << QStringLiteral("samples t=%1 ").arg(t) + parts.join(' ');
            });
    }
};

// A peer that writes the given bytes to every connection, then closes it,
// resets it or stays silent, as the test says.
class RawServer : public QObject
{
public:
    enum Then { Stay, Close, Reset };
    QTcpServer server;
    QByteArray toSend;
    Then then = Stay;
    QList<QPointer<QTcpSocket>> sockets;
    QByteArray received;

    RawServer()
    {
        server.listen(QHostAddress::LocalHost, 0);
        connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = server.nextPendingConnection()) {
                sockets << s;
                // Closing with the client's greeting unread makes the system
                // send a reset instead of an orderly close.
                connect(s, &QTcpSocket::readyRead, this, [this, s] {
                    if (then == Reset)
                        s->abort();
                    else
                        received += s->readAll();
                });
                s->write(toSend);
                if (then == Reset)
                    s->flush();
                if (then == Close)
                    s->disconnectFromHost();
            }
        });
    }
    quint16 port() const { return server.serverPort(); }
};

// A client that greets a server and then reads nothing until readToEnd().
class StalledReader : public QTcpSocket
{
public:
    explicit StalledReader(quint16 port)
    {
        setReadBufferSize(1);
        connectToHost(QHostAddress::LocalHost, port);
        if (waitForConnected(5000))
            write(KvCommFrameWriter::hello(1));
    }

    // Says one more thing (a heartbeat the server may no longer read), then
    // reads everything until the server closes.
    QByteArray readToEnd()
    {
        write(KvCommFrameWriter::heartbeat());
        QByteArray bytes;
        connect(this, &QTcpSocket::readyRead, this, [this, &bytes] { bytes += readAll(); });
        setReadBufferSize(0);
        bytes += readAll();
        [&] { QTRY_COMPARE_WITH_TIMEOUT(state(), UnconnectedState, 30000); }();
        disconnect(this, &QTcpSocket::readyRead, this, nullptr);
        return bytes + readAll();
    }
};

// A port that nobody listens on while the object lives: bound, not
// listening, so connections are refused and no one else takes it (a port
// closed and reused later might be). A server may still listen on it.
class RefusingPort
{
public:
    RefusingPort() { holder.bind(QHostAddress::LocalHost, 0, QAbstractSocket::ReuseAddressHint); }
    quint16 port() const { return holder.localPort(); }

private:
    QTcpSocket holder;
};

} // namespace CommTest
