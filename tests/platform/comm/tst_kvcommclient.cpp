#include "kvcommclient.h"

#include "commtestsupport.h"
#include "kvcommframereader.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"

#include <QtEndian>
#include <QtTest>

using namespace CommTest;

namespace {

// Runs what is already queued, without waiting: what a client would still
// emit by itself has been posted by now.
void drainEvents()
{
    for (int i = 0; i < 10; ++i)
        QCoreApplication::processEvents();
}

QString target(quint16 port) { return QStringLiteral("127.0.0.1:%1").arg(port); }

} // namespace

class tst_KvCommClient : public QObject
{
    Q_OBJECT

private slots:
    void deliversEverySignalInOrder();
    void endsWithOneReadableMessage_data();
    void endsWithOneReadableMessage();
    void refusedConnectionIsRetriedUntilTheServerListens();
    void silentServerIsDeclaredDead();
    void endingInsideAnySignal_data();
    void endingInsideAnySignal();
    void abandonedAttemptEndsWithOneError();
    void floodIsDecodedInSlices();
};

void tst_KvCommClient::deliversEverySignalInOrder()
{
    KvCommServer server;
    server.setIdentity(QStringLiteral("3.2.1"), QStringLiteral("abc123"));
    server.setControlOptions(KvCommControlLog | KvCommControlCancel);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const QDateTime loading = QDateTime::fromMSecsSinceEpoch(1700000000000, Qt::UTC);
    // Only the latest status and information are state; a log line is not.
    server.publishStatus(KvCommStatusLoading);
    server.publishStatus(KvCommStatusRunning);
    server.publishSimulationInfo(QStringLiteral("old"), {}, {}, {}, {});
    server.publishSimulationInfo(QStringLiteral("heat"), QStringLiteral("a plate"),
        {QStringLiteral("heat.lua")}, loading, QDateTime());
    server.publishLog(2, QStringLiteral("before\n"));

    KvCommClient client;
    Transcript t(&client);
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        // Everything the caller reads at this point is already valid.
        QCOMPARE(client.version(), QStringLiteral("3.2.1"));
        QCOMPARE(client.revision(), QStringLiteral("abc123"));
        QCOMPARE(client.simulationStatus(), KvCommStatusRunning);
        QCOMPARE(client.controlOptions(), quint32(KvCommControlLog | KvCommControlCancel));
        QCOMPARE(client.clientData()->simName(), QStringLiteral("heat"));
        QCOMPARE(client.clientData()->simLoadingTime(), loading);
        QCOMPARE(client.state(), KvCommClient::Connected);
    });
    QDateTime finished; // published without a time: the server's now
    connect(&client, &KvCommClient::simulationStatusChanged, this,
        [&](KvCommSimulationStatus, const QDateTime &time) { finished = time; });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QCOMPARE(client.state(), KvCommClient::Connecting);
    QCOMPARE(t.connected, 0); // nothing inside the call
    QTRY_COMPARE(t.connected, 1);

    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 5);
    server.publishSamples(batch(0), 10);
    server.publishLog(6, QStringLiteral("step 1\n"));
    KvCommClientTrackedRuleDataInfo update = trackedData().at(2);
    update.unit = QStringLiteral("degC");
    server.publishTrackedDataInfo(update);
    server.publishSamples(batch(1), 20);
    server.publishStatus(KvCommStatusFinished);
    server.closeAllAfterFlush();
    QTRY_COMPARE(t.disconnected, 1);

    QCOMPARE(t.lines,
        QStringList({"connected", "info heat", "rules 2 3", "index 1 0 n1,n2 t=5",
            "samples t=10 0#0=0 1#1=1 2#2=0.1,0.2,0.3,0.4", "log 6 step 1", "update 2 degC",
            "samples t=20 0#3=1 1#4=0.5 2#5=1.1,1.2,1.3,1.4", "status 3", "disconnected"}));
    QCOMPARE(client.state(), KvCommClient::Closed);
    QVERIFY(finished.isValid());
}

void tst_KvCommClient::endsWithOneReadableMessage_data()
{
    QTest::addColumn<QString>("peer"); // "raw": a RawServer; "none": a refusing port; or a host
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<int>("then");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<QStringList>("expected"); // a line ending in "..." is its start
    const auto row = [](const char *name, const char *peer, const QByteArray &sent,
                         RawServer::Then then, int timeout, const QStringList &expected) {
        QTest::newRow(name) << peer << sent << int(then) << timeout << expected;
    };
    const auto broken = [](const char *error, const QStringList &before = {}) {
        return QStringList {"connected"} + before
            + QStringList {QStringLiteral("error ") + error, "disconnected"};
    };
    const QByteArray rulesFrame = KvCommFrameWriter::ruleData(rules(), trackedData());
    QByteArray badMagic = KvCommFrameWriter::hello(1);
    badMagic.replace("KIVO-MONITOR", "NOT-A-KIVO!!");
    QByteArray oversize(4, '\0');
    qToBigEndian<quint32>(64u * 1024u * 1024u, oversize.data());
    const auto raw = RawServer::Stay, close = RawServer::Close, reset = RawServer::Reset;

    // The attempt fails: exactly one error.
    row("nobody listens, one try", "none", {}, raw, 0, {"error Connection refused by %1"});
    row("nobody listens until the time limit", "none", {}, raw, 250,
        {"error Connection refused by %1 (retried for 0.25 s)"});
    row("unknown host", "no-such-host.invalid", {}, raw, 5000,
        {"error Host name lookup for no-such-host.invalid failed..."});
    row("server accepts and never greets", "raw", {}, raw, 300,
        {"error No answer from %1 within 0.3 s: the connection was accepted, but the server did "
         "not greet"});
    row("wrong magic", "raw", badMagic, raw, 5000,
        {"error %1 is not a Kivo monitoring server (wrong greeting)"});
    row("newer protocol version", "raw", KvCommFrameWriter::hello(3), raw, 5000,
        {"error The server at %1 speaks protocol version 3; this client speaks 1"});
    row("something else than a greeting first", "raw", KvCommFrameWriter::heartbeat(), raw, 5000,
        {"error %1 is not a Kivo monitoring server (it did not greet)"});
    row("oversize frame instead of a greeting", "raw", oversize, raw, 5000,
        {"error %1 is not a Kivo monitoring server (a frame of 67108864 bytes exceeds..."});
    row("garbage", "raw", "HTTP/1.1 400 Bad Request\r\n\r\n", raw, 5000,
        {"error %1 is not a Kivo monitoring server (..."});
    row("server closes in the middle of the greeting", "raw", KvCommFrameWriter::hello(1).left(7),
        close, 5000, {"error The server at %1 closed the connection before it was ready"});
    row("server refuses with an error message", "raw",
        KvCommFrameWriter::hello(1) + KvCommFrameWriter::error("too many clients"), close, 5000,
        {"error The server at %1 reported an error: too many clients"});
    row("simulation data before ready", "raw",
        KvCommFrameWriter::hello(1) + KvCommFrameWriter::log(1, "x"), raw, 5000,
        {"error The server at %1 sent simulation data before it was ready"});

    // Connected, then the end: one error at most, one disconnection.
    row("clean close after the final status", "raw",
        handshake() + KvCommFrameWriter::status(KvCommStatusFinished, QDateTime()), close, 5000,
        {"connected", "status 3", "disconnected"});
    row("server closes in the middle of a frame", "raw",
        handshake() + rulesFrame + KvCommFrameWriter::samples(batch(0), 0, 0).left(20), close, 5000,
        broken("The server at %1 closed the connection in the middle of a message", {"rules 2 3"}));
    // The system reports a reset like an orderly close.
    row("server killed in the middle of a frame", "raw",
        handshake() + rulesFrame + KvCommFrameWriter::samples(batch(0), 0, 0).left(30), reset, 5000,
        broken("The server at %1 closed the connection in the middle of a message", {"rules 2 3"}));
    row("oversize frame", "raw", handshake() + oversize, close, 5000,
        broken("Invalid data from %1: a frame of 67108864 bytes exceeds..."));
    row("data its store refuses", "raw", handshake() + KvCommFrameWriter::samples(batch(0), 0, 0),
        close, 5000, broken("Invalid data from %1: samples before the rule data"));
    row("greeting twice", "raw", handshake() + KvCommFrameWriter::hello(1), close, 5000,
        broken("The server at %1 greeted twice"));
    row("ready twice", "raw", handshake() + KvCommFrameWriter::ready(), close, 5000,
        broken("The server at %1 announced itself twice"));
}

void tst_KvCommClient::endsWithOneReadableMessage()
{
    QFETCH(QString, peer);
    QFETCH(QByteArray, sent);
    QFETCH(int, then);
    QFETCH(int, timeout);
    QFETCH(QStringList, expected);

    RawServer raw;
    raw.toSend = sent;
    raw.then = RawServer::Then(then);
    RefusingPort refusing;
    const quint16 port = peer == QLatin1String("none") ? refusing.port() : raw.port();
    const bool local = peer == QLatin1String("raw") || peer == QLatin1String("none");
    KvCommClient client;
    Transcript t(&client);
    // As the action manager does: an error is answered with a disconnect,
    // which must not add a second end.
    connect(&client, &KvCommClient::serverError, &client, &KvCommClient::disconnectFromServer);
    client.connectToServer(local ? QStringLiteral("127.0.0.1") : peer, port, unsigned(timeout));
    QTRY_VERIFY_WITH_TIMEOUT(t.disconnected == 1 || (t.errors == 1 && !t.connected), 30000);
    drainEvents();
    QCOMPARE(client.state(), KvCommClient::Closed);
    QCOMPARE(t.lines.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i) {
        const QString line = expected.at(i).contains(QLatin1String("%1"))
            ? expected.at(i).arg(target(port))
            : expected.at(i);
        if (line.endsWith(QLatin1String("...")))
            QVERIFY2(t.lines.at(i).startsWith(line.chopped(3)), qPrintable(t.lines.at(i)));
        else
            QCOMPARE(t.lines.at(i), line);
    }
}

void tst_KvCommClient::refusedConnectionIsRetriedUntilTheServerListens()
{
    RefusingPort refusing;
    KvCommClient client;
    Transcript t(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), refusing.port(), 10000);
    KvCommServer server;
    QTimer::singleShot(
        300, &server, [&] { QVERIFY(server.listen(QHostAddress::LocalHost, refusing.port())); });
    QTRY_COMPARE_WITH_TIMEOUT(t.lines, QStringList {"connected"}, 10000);
}

void tst_KvCommClient::silentServerIsDeclaredDead()
{
    RawServer raw;
    raw.toSend = handshake();
    KvCommClient client;
    client.setHeartbeat(20, 200);
    Transcript t(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(t.disconnected, 1);
    QCOMPARE(t.errors, 1);
    QVERIFY2(t.lines.at(1).startsWith(
                 QStringLiteral("error No data from %1 for").arg(target(raw.port()))),
        qPrintable(t.lines.at(1)));
    // The client's own heartbeats went out meanwhile.
    int beats = 0;
    for (const KvCommMessage &m : messagesOf(raw.received))
        beats += m.type == KvCommProtocol::Heartbeat;
    QVERIFY(beats >= 2);
}

void tst_KvCommClient::endingInsideAnySignal_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("action");
    for (const char *sig :
        {"connected", "info", "rules", "index", "samples", "status", "log", "no signal"}) {
        for (const char *action : {"disconnect", "deleteLater", "delete"}) {
            if (sig == QLatin1String("connected") && action == QLatin1String("delete"))
                continue; // the one signal whose receivers must use deleteLater
            QTest::newRow(qPrintable(QStringLiteral("%1 in %2").arg(action, sig))) << sig << action;
        }
    }
}

void tst_KvCommClient::endingInsideAnySignal()
{
    QFETCH(QString, signal);
    QFETCH(QString, action);

    KvCommServer server;
    server.setControlOptions(KvCommControlLog);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishSimulationInfo(QStringLiteral("sim"), QString(), {}, QDateTime(), QDateTime());
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 0);
    server.publishSamples(batch(0), 0);

    QPointer<KvCommClient> client = new KvCommClient;
    Transcript t(client);
    bool ended = false;
    int signalsAfterEnd = 0;
    auto hook = [&](const QString &name) {
        if (ended) {
            signalsAfterEnd += name != QLatin1String("disconnected");
        } else if (name == signal) {
            ended = true;
            if (action == QLatin1String("disconnect")) {
                client->disconnectFromServer();
                QCOMPARE(client->state(), KvCommClient::Closed);
                client->disconnectFromServer(); // twice: still one end
            } else if (action == QLatin1String("deleteLater")) {
                client->deleteLater();
            } else {
                delete client.data();
            }
        }
    };
    connect(client, &KvCommClient::serverDisconnected, this, [&] { hook("disconnected"); });
    connect(client, &KvCommClient::simulationStatusChanged, this, [&] { hook("status"); });
    connect(client, &KvCommClient::logDataReceived, this, [&] { hook("log"); });
    connect(client, &KvCommClient::serverConnected, this, [&] {
        KvCommClientData *data = client->clientData().data();
        connect(data, &KvCommClientData::simulationInfoAvailable, this, [&] { hook("info"); });
        connect(data, &KvCommClientData::simulationRuleDataAvailable, this, [&] { hook("rules"); });
        connect(data, &KvCommClientData::trackedIndexDataAvailable, this, [&] { hook("index"); });
        connect(data, &KvCommClientData::trackedDataReceived, this, [&] { hook("samples"); });
        hook("connected");
    });
    client->connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.connected, 1);
    if (signal == QLatin1String("no signal")) {
        QTRY_COMPARE(t.samples, qint64(3)); // idle, then ended from here
        hook(signal);
    }
    server.publishStatus(KvCommStatusRunning);
    server.publishLog(6, QStringLiteral("x\n"));
    server.publishSamples(batch(1), 1);
    QTRY_VERIFY(ended);
    if (action == QLatin1String("disconnect"))
        QTRY_COMPARE(t.lines.last(), QStringLiteral("disconnected"));
    else
        QTRY_VERIFY(client.isNull()); // and nothing emitted from its destructor
    QTRY_COMPARE(server.clientCount(), 0);
    drainEvents();
    // After deleteLater() the rest of a decoding slice may still be delivered
    // (the client lives until the event loop deletes it), except after
    // serverConnected(), whose receivers typically hand the client over.
    if (action != QLatin1String("deleteLater") || signal == QLatin1String("connected"))
        QCOMPARE(signalsAfterEnd, 0);
    QCOMPARE(t.errors, 0);
    QCOMPARE(t.disconnected, action == QLatin1String("disconnect") ? 1 : 0);
    delete client.data();
}

void tst_KvCommClient::abandonedAttemptEndsWithOneError()
{
    RawServer raw; // accepts, never greets
    KvCommClient client;
    Transcript t(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(raw.sockets.size(), 1);
    client.disconnectFromServer();
    QTRY_COMPARE(t.errors, 1);
    drainEvents();
    QCOMPARE(t.lines,
        QStringList {
            QStringLiteral("error Connection attempt to %1 abandoned").arg(target(raw.port()))});
}

void tst_KvCommClient::floodIsDecodedInSlices()
{
    // Many frames waiting at once: the event loop gets turns in between, so a
    // timer queued in serverConnected() runs long before the last batch.
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    const int total = 20000;
    for (int k = 0; k < total; ++k)
        server.publishSamples({KvCommClientTrackedData(0, {double(k)})}, k);
    QTRY_COMPARE(server.samplesPublished(), total);

    KvCommClient client;
    int batches = 0;
    int batchesWhenTimerRan = -1;
    bool ordered = true;
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, this,
            [&](const QList<KvCommClientTrackedData> &list, qint64 elapsed) {
                ordered = ordered && list.size() == 1 && list[0].sequence == batches
                    && elapsed == batches;
                ++batches;
            });
        QTimer::singleShot(0, this, [&] { batchesWhenTimerRan = batches; });
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE_WITH_TIMEOUT(batches, total, 30000);
    QVERIFY(ordered);
    QVERIFY(batchesWhenTimerRan >= 0);
    QVERIFY2(batchesWhenTimerRan < total, qPrintable(QString::number(batchesWhenTimerRan)));
}

QTEST_GUILESS_MAIN(tst_KvCommClient)
#include "tst_kvcommclient.moc"
