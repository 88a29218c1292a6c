#pragma once

// Shared fixtures of the communication tests: a small simulation to publish,
// a transcript of what a client's store emits, and a raw peer that says
// exactly the bytes a test gives it.

#include "kvcommclient.h"
#include "kvcommclientdata.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"

#include <QPointer>
#include <QStringList>
#include <QTcpServer>
#include <QTcpSocket>

namespace CommTest {

// Rule 0 "clock": time (scalar), fem.error (scalar). Rule 1 "probe": T,
// indexed by the rule's node index, 2 x 1 components per line.
inline QVector<KvCommClientTrackedRuleInfo> rules()
{
    KvCommClientTrackedRuleInfo clock, probe;
    clock.name = QStringLiteral("clock");
    clock.numTrackedData = 2;
    probe.name = QStringLiteral("probe");
    probe.numTrackedData = 1;
    probe.indexTypes = 1;
    return {clock, probe};
}

inline QVector<KvCommClientTrackedRuleDataInfo> trackedData()
{
    KvCommClientTrackedRuleDataInfo time, error, temp;
    time.id = 0;
    time.ruleId = 0;
    time.name = QStringLiteral("time");
    time.unit = QStringLiteral("s");
    error.id = 1;
    error.ruleId = 0;
    error.name = QStringLiteral("fem.error");
    error.position = 1;
    temp.id = 2;
    temp.ruleId = 1;
    temp.name = QStringLiteral("T");
    temp.unit = QStringLiteral("K");
    temp.indexedBy = 1;
    temp.numRows = 2;
    return {time, error, temp};
}

inline KvCommClientTrackedIndexData nodes()
{
    return KvCommClientTrackedIndexData(
        KvCommClientTrackedIndexData::Nodes, {QStringLiteral("n1"), QStringLiteral("n2")});
}

// Batch k: time k, error 1/(k+1), T with 2 lines x 2 rows.
inline QList<KvCommClientTrackedData> batch(int k)
{
    return {KvCommClientTrackedData(0, {double(k)}), KvCommClientTrackedData(1, {1.0 / (k + 1)}),
        KvCommClientTrackedData(2, {k + 0.1, k + 0.2, k + 0.3, k + 0.4})};
}

inline QByteArray handshake(quint32 options = 0)
{
    return KvCommFrameWriter::hello(1) + KvCommFrameWriter::identity("1.0", "r1")
        + KvCommFrameWriter::controlOptions(options) + KvCommFrameWriter::ready();
}

// Records, as text lines, every signal of a client and of its store.
class Transcript : public QObject
{
public:
    QStringList lines;
    int connected = 0;
    int errors = 0;
    int disconnected = 0;
    bool withSamples = true;

    void watchClient(KvCommClient *client)
    {
        connect(client, &KvCommClient::serverConnected, this, [this] {
            ++connected;
            lines << QStringLiteral("connected");
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
            [this](KvCommSimulationStatus s, const QDateTime &) {
                lines << QStringLiteral("status %1").arg(int(s));
            });
        connect(client, &KvCommClient::logDataReceived, this, [this](int level, const QString &t) {
            lines << QStringLiteral("log %1 %2").arg(level).arg(t.trimmed());
        });
    }

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

// A peer that writes the given bytes to every connection and then closes it,
// or stays silent, as the test says.
class RawServer : public QObject
{
public:
    QTcpServer server;
    QByteArray toSend;
    bool closeAfterSend = false;
    bool abortAfterSend = false; // a reset, as when the simulator is killed
    QList<QPointer<QTcpSocket>> sockets;
    QByteArray received;

    RawServer()
    {
        server.listen(QHostAddress::LocalHost, 0);
        connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = server.nextPendingConnection()) {
                sockets << s;
                if (abortAfterSend) {
                    // Closing with the client's greeting unread makes the
                    // system send a reset instead of an orderly close.
                    connect(s, &QTcpSocket::readyRead, this, [s] { s->abort(); });
                } else {
                    connect(
                        s, &QTcpSocket::readyRead, this, [this, s] { received += s->readAll(); });
                }
                s->write(toSend);
                if (abortAfterSend)
                    s->flush();
                if (closeAfterSend)
                    s->disconnectFromHost();
            }
        });
    }
    quint16 port() const { return server.serverPort(); }
};

} // namespace CommTest
