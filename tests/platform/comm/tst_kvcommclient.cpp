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

} // namespace

Q_DECLARE_METATYPE(KvCommClient::State)

class tst_KvCommClient : public QObject
{
    Q_OBJECT

private slots:
    void deliversEverySignalInOrder();
    void receiversConnectedInServerConnectedMissNothing();
    void attemptFailsWithReadableMessage_data();
    void attemptFailsWithReadableMessage();
    void refusedConnectionIsRetriedUntilTheServerListens();
    void unknownHostFails();
    void brokenStreamWhileConnected_data();
    void brokenStreamWhileConnected();
    void killedServerIsABrokenConnection();
    void everythingSentBeforeTheCloseIsDelivered();
    void silentServerIsDeclaredDead();
    void disconnectInsideSignalHandler();
    void endingInsideAnySignal_data();
    void endingInsideAnySignal();
    void disconnectOutsideTheEventLoop();
    void abandonedAttemptEndsWithOneError();
    void deleteLaterInsideServerConnected();
    void deleteInsideADataSignal();
    void floodIsDecodedInSlices();

private:
    static QString target(quint16 port) { return QStringLiteral("127.0.0.1:%1").arg(port); }
};

void tst_KvCommClient::deliversEverySignalInOrder()
{
    KvCommServer server;
    server.setIdentity(QStringLiteral("3.2.1"), QStringLiteral("abc123"));
    server.setControlOptions(KvCommControlLog | KvCommControlCancel);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const QDateTime loading = QDateTime::fromMSecsSinceEpoch(1700000000000, Qt::UTC);
    server.publishStatus(KvCommStatusLoading);
    server.publishSimulationInfo(QStringLiteral("heat"), QStringLiteral("a plate"),
        {QStringLiteral("heat.lua")}, loading, QDateTime());

    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        // Everything the caller reads at this point is already valid.
        QCOMPARE(client.version(), QStringLiteral("3.2.1"));
        QCOMPARE(client.revision(), QStringLiteral("abc123"));
        QCOMPARE(client.simulationStatus(), KvCommStatusLoading);
        QCOMPARE(client.controlOptions(), quint32(KvCommControlLog | KvCommControlCancel));
        QCOMPARE(client.clientData()->simName(), QStringLiteral("heat"));
        QCOMPARE(client.clientData()->simLoadingTime(), loading);
        QCOMPARE(client.state(), KvCommClient::Connected);
        t.watchData(client.clientData().data());
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QCOMPARE(client.state(), KvCommClient::Connecting);
    QCOMPARE(t.connected, 0); // nothing inside the call
    QTRY_COMPARE(t.connected, 1);

    server.publishRuleData(rules(), trackedData());
    server.publishStatus(KvCommStatusRunning);
    server.publishIndexData(1, nodes(), 5);
    server.publishSamples(batch(0), 10);
    server.publishLog(6, QStringLiteral("step 1\n"));
    server.publishLog(3, QStringLiteral("warning\n"));
    KvCommClientTrackedRuleDataInfo update = trackedData().at(2);
    update.unit = QStringLiteral("degC");
    server.publishTrackedDataInfo(update);
    server.publishSamples(batch(1), 20);
    server.publishStatus(KvCommStatusFinished);
    server.closeAllAfterFlush();
    QTRY_COMPARE(t.disconnected, 1);

    const QStringList expected = {
        QStringLiteral("connected"),
        QStringLiteral("info heat"),
        QStringLiteral("rules 2 3"),
        QStringLiteral("status 2"),
        QStringLiteral("index 1 0 n1,n2 t=5"),
        QStringLiteral("samples t=10 0#0=0 1#1=1 2#2=0.1,0.2,0.3,0.4"),
        QStringLiteral("log 6 step 1"),
        QStringLiteral("log 3 warning"),
        QStringLiteral("update 2 degC"),
        QStringLiteral("samples t=20 0#3=1 1#4=0.5 2#5=1.1,1.2,1.3,1.4"),
        QStringLiteral("status 3"),
        QStringLiteral("disconnected"),
    };
    QCOMPARE(t.lines.join('\n'), expected.join('\n'));
    QCOMPARE(client.simulationStatus(), KvCommStatusFinished);
    QCOMPARE(client.state(), KvCommClient::Closed);
    QCOMPARE(client.clientData()->samplesReceived(), 6);
    QCOMPARE(client.clientData()->samplesMissed(), 0);
}

void tst_KvCommClient::receiversConnectedInServerConnectedMissNothing()
{
    // The whole simulation is published before the client connects, so rules,
    // index data and samples sit in the client's socket together with the
    // greeting: none may reach the store before serverConnected() returned.
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishSimulationInfo(QStringLiteral("early"), QString(), {}, QDateTime(), QDateTime());
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 1);
    for (int k = 0; k < 3; ++k)
        server.publishSamples(batch(k), k);
    QTRY_COMPARE(server.samplesPublished(), 9);

    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    connect(&client, &KvCommClient::serverConnected, this,
        [&] { t.watchData(client.clientData().data()); });
    client.connectToServer(QStringLiteral("localhost"), server.serverPort(), 5000);
    QTRY_COMPARE(t.lines.size(), 7);
    const QStringList expected = {
        QStringLiteral("connected"),
        QStringLiteral("info early"),
        QStringLiteral("rules 2 3"),
        QStringLiteral("index 1 0 n1,n2 t=1"),
        QStringLiteral("samples t=0 0#0h=0 1#1h=1 2#2h=0.1,0.2,0.3,0.4"),
        QStringLiteral("samples t=1 0#3h=1 1#4h=0.5 2#5h=1.1,1.2,1.3,1.4"),
        QStringLiteral("samples t=2 0#6h=2 1#7h=0.333333 2#8h=2.1,2.2,2.3,2.4"),
    };
    QCOMPARE(t.lines.join('\n'), expected.join('\n'));
    // Live samples after the history carry no history flag.
    server.publishSamples(batch(3), 3);
    QTRY_COMPARE(t.lines.size(), 8);
    QVERIFY(t.lines.at(7).startsWith(QStringLiteral("samples t=3 0#9=3 ")));
}

void tst_KvCommClient::attemptFailsWithReadableMessage_data()
{
    QTest::addColumn<QByteArray>("greeting");
    QTest::addColumn<bool>("closeAfter");
    QTest::addColumn<int>("timeout");
    QTest::addColumn<QString>("expected");

    QByteArray badMagic = KvCommFrameWriter::hello(1);
    badMagic.replace("KIVO-MONITOR", "NOT-A-KIVO!!");
    QByteArray oversize(4, '\0');
    qToBigEndian<quint32>(64u * 1024u * 1024u, oversize.data());
    QByteArray halfHello = KvCommFrameWriter::hello(1).left(7);

    QTest::newRow("server accepts and never greets: fails at the time limit")
        << QByteArray() << false << 300 << "No answer from %1 within 0.3 s";
    QTest::newRow("wrong magic") << badMagic << false << 5000
                                 << "%1 is not a Kivo monitoring server (wrong greeting)";
    QTest::newRow("newer protocol version") << KvCommFrameWriter::hello(
        3) << false << 5000 << "The server at %1 speaks protocol version 3; this client speaks 1";
    QTest::newRow("something else than a greeting first")
        << KvCommFrameWriter::heartbeat() << false << 5000 << "%1 is not a Kivo monitoring server";
    QTest::newRow("oversize frame instead of a greeting")
        << oversize << false << 5000
        << "%1 is not a Kivo monitoring server (a frame of 67108864 bytes";
    QTest::newRow("garbage") << QByteArray("HTTP/1.1 400 Bad Request\r\n\r\n") << false << 5000
                             << "%1 is not a Kivo monitoring server";
    QTest::newRow("server closes in the middle of the greeting")
        << halfHello << true << 5000
        << "The server at %1 closed the connection before it was ready";
    QTest::newRow("server refuses with an error message")
        << KvCommFrameWriter::hello(1) + KvCommFrameWriter::error("too many clients") << true
        << 5000 << "The server at %1 reported an error: too many clients";
    QTest::newRow("simulation data before ready")
        << KvCommFrameWriter::hello(1) + KvCommFrameWriter::log(1, "x") << false << 5000
        << "The server at %1 sent simulation data before it was ready";
}

void tst_KvCommClient::attemptFailsWithReadableMessage()
{
    QFETCH(QByteArray, greeting);
    QFETCH(bool, closeAfter);
    QFETCH(int, timeout);
    QFETCH(QString, expected);

    RawServer raw;
    raw.toSend = greeting;
    raw.closeAfterSend = closeAfter;
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), unsigned(timeout));
    QTRY_COMPARE_WITH_TIMEOUT(t.errors, 1, 10000);
    QCOMPARE(t.lines.size(), 1);
    QVERIFY2(
        t.lines.first().startsWith(QStringLiteral("error ") + expected.arg(target(raw.port()))),
        qPrintable(t.lines.first()));
    // Nothing else follows an attempt that failed.
    drainEvents();
    QCOMPARE(t.lines.size(), 1);
    QCOMPARE(client.state(), KvCommClient::Closed);
}

void tst_KvCommClient::refusedConnectionIsRetriedUntilTheServerListens()
{
    quint16 port = 0;
    {
        QTcpServer probe;
        QVERIFY(probe.listen(QHostAddress::LocalHost, 0));
        port = probe.serverPort();
    }
    // Nobody listens: a single try is refused at once, a limit is waited out.
    {
        KvCommClient client;
        Transcript t;
        t.watchClient(&client);
        client.connectToServer(QStringLiteral("127.0.0.1"), port, 0);
        QTRY_COMPARE(t.errors, 1);
        QCOMPARE(t.lines.first(), QStringLiteral("error Connection refused by ") + target(port));
    }
    {
        KvCommClient client;
        Transcript t;
        t.watchClient(&client);
        client.connectToServer(QStringLiteral("127.0.0.1"), port, 250);
        QTRY_COMPARE(t.errors, 1);
        QCOMPARE(t.lines.first(),
            QStringLiteral("error Connection refused by %1 (retried for 0.25 s)")
                .arg(target(port)));
    }
    // A server that starts listening while the client retries is reached.
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), port, 10000);
    KvCommServer server;
    QTimer::singleShot(300, &server, [&] { server.listen(QHostAddress::LocalHost, port); });
    QTRY_COMPARE_WITH_TIMEOUT(t.connected, 1, 10000);
    QCOMPARE(t.errors, 0);
}

void tst_KvCommClient::unknownHostFails()
{
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("no-such-host.invalid"), 6174, 5000);
    QTRY_COMPARE_WITH_TIMEOUT(t.errors, 1, 30000);
    QVERIFY2(t.lines.first().startsWith(
                 QStringLiteral("error Host name lookup for no-such-host.invalid failed")),
        qPrintable(t.lines.first()));
    QCOMPARE(t.lines.size(), 1);
}

void tst_KvCommClient::brokenStreamWhileConnected_data()
{
    QTest::addColumn<QByteArray>("stream");
    QTest::addColumn<QString>("error"); // empty: a clean end without error

    const QByteArray rulesFrame = KvCommFrameWriter::ruleData(rules(), trackedData());
    QByteArray oversize(4, '\0');
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize + 1, oversize.data());

    QTest::newRow("clean close after the final status")
        << KvCommFrameWriter::status(KvCommStatusFinished, QDateTime::currentDateTimeUtc())
        << QString();
    QTest::newRow("server closes in the middle of a frame")
        << rulesFrame + KvCommFrameWriter::samples(batch(0), 0, 0).left(20)
        << "The server at %1 closed the connection in the middle of a message";
    QTest::newRow("oversize frame") << oversize << "Invalid data from %1: a frame of";
    QTest::newRow("samples before the rule data") << KvCommFrameWriter::samples(
        batch(0), 0, 0) << "Invalid data from %1: samples before the rule data";
    QTest::newRow("sample of an unknown tracked value")
        << rulesFrame + KvCommFrameWriter::samples({KvCommClientTrackedData(9, {1.0})}, 0, 0)
        << "Invalid data from %1: sample of unknown";
    QTest::newRow("indexed sample before its index data")
        << rulesFrame + KvCommFrameWriter::samples({KvCommClientTrackedData(2, {1.0, 2.0})}, 0, 0)
        << "Invalid data from %1: sample of unknown or unindexed";
    QTest::newRow("rule data twice")
        << rulesFrame + rulesFrame << "Invalid data from %1: rule data received twice";
    QTest::newRow("greeting twice")
        << KvCommFrameWriter::hello(1) << "The server at %1 greeted twice";
}

void tst_KvCommClient::brokenStreamWhileConnected()
{
    QFETCH(QByteArray, stream);
    QFETCH(QString, error);

    RawServer raw;
    raw.toSend = handshake() + stream;
    raw.closeAfterSend = true;
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    // As the action manager does: a communication error is answered with a
    // disconnect, which must not add a second end.
    connect(&client, &KvCommClient::serverError, &client, &KvCommClient::disconnectFromServer);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(t.disconnected, 1);
    drainEvents();
    QCOMPARE(t.connected, 1);
    QCOMPARE(t.disconnected, 1);
    if (error.isEmpty()) {
        QCOMPARE(t.errors, 0);
        QCOMPARE(client.simulationStatus(), KvCommStatusFinished);
    } else {
        QCOMPARE(t.errors, 1);
        const QString line = t.lines.at(t.lines.size() - 2);
        QVERIFY2(line.startsWith(QStringLiteral("error ") + error.arg(target(raw.port()))),
            qPrintable(line));
    }
    QCOMPARE(t.lines.last(), QStringLiteral("disconnected"));
}

void tst_KvCommClient::killedServerIsABrokenConnection()
{
    RawServer raw;
    raw.toSend = handshake() + KvCommFrameWriter::ruleData(rules(), trackedData())
        + KvCommFrameWriter::samples(batch(0), 0, 0).left(30);
    raw.abortAfterSend = true;
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(t.disconnected, 1);
    drainEvents();
    QCOMPARE(t.connected, 1);
    QCOMPARE(t.errors, 1);
    QCOMPARE(t.disconnected, 1);
    // The system reports a reset like an orderly close; inside a frame it is
    // an error all the same.
    QCOMPARE(t.lines.at(1),
        QStringLiteral("error The server at %1 closed the connection in "
                       "the middle of a message")
            .arg(target(raw.port())));
}

void tst_KvCommClient::everythingSentBeforeTheCloseIsDelivered()
{
    // 25 MiB of samples, the final status and the close leave the server at
    // once; the client decodes far behind the socket, yet gets all of it and
    // ends without an error.
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    KvCommClientTrackedRuleInfo rule;
    rule.numTrackedData = 1;
    KvCommClientTrackedRuleDataInfo field;
    field.id = 0;
    field.ruleId = 0;
    field.numRows = 8192;
    server.publishRuleData({rule}, {field});
    KvCommClient client;
    Transcript t;
    t.withSamples = false;
    t.watchClient(&client);
    qint64 received = 0;
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, this,
            [&](const QList<KvCommClientTrackedData> &list) { received += list.size(); });
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.connected, 1);
    const int batches = 400;
    for (int k = 0; k < batches; ++k)
        server.publishSamples({KvCommClientTrackedData(0, QVector<double>(8192, k))}, k);
    server.publishStatus(KvCommStatusFinished);
    server.closeAllAfterFlush();
    QTRY_COMPARE_WITH_TIMEOUT(t.disconnected, 1, 60000);
    QCOMPARE(received, qint64(batches));
    QCOMPARE(t.lines, QStringList({"connected", "status 3", "disconnected"}));
}

void tst_KvCommClient::silentServerIsDeclaredDead()
{
    RawServer raw;
    raw.toSend = handshake();
    KvCommClient client;
    client.setHeartbeat(20, 200);
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(t.disconnected, 1);
    QCOMPARE(t.errors, 1);
    QVERIFY2(t.lines.at(1).startsWith(
                 QStringLiteral("error No data from %1 for").arg(target(raw.port()))),
        qPrintable(t.lines.at(1)));
    // The client's own heartbeats went out meanwhile.
    KvCommFrameReader reader;
    reader.addData(raw.received);
    KvCommMessage m;
    int beats = 0;
    while (reader.readNext(m))
        beats += m.type == KvCommProtocol::Heartbeat;
    QVERIFY(beats >= 2);
}

void tst_KvCommClient::disconnectInsideSignalHandler()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 0);
    for (int k = 0; k < 5; ++k)
        server.publishSamples(batch(k), k);

    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    int batches = 0;
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, this, [&] {
            ++batches;
            client.disconnectFromServer();
            client.disconnectFromServer(); // twice: still one end
        });
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.disconnected, 1);
    QTRY_COMPARE(server.clientCount(), 0);
    drainEvents();
    QCOMPARE(batches, 1);
    QCOMPARE(t.disconnected, 1);
    QCOMPARE(t.errors, 0);
}

void tst_KvCommClient::endingInsideAnySignal_data()
{
    QTest::addColumn<QString>("signal");
    QTest::addColumn<QString>("action");
    const QStringList signalNames
        = {"connected", "info", "rules", "index", "samples", "status", "log"};
    for (const QString &sig : signalNames) {
        for (const char *action : {"disconnect", "deleteLater", "delete"}) {
            if (sig == QLatin1String("connected") && action == QLatin1String("delete"))
                continue; // the one signal whose receivers must use deleteLater
            QTest::newRow(qPrintable(QLatin1String(action) + QStringLiteral(" in ") + sig))
                << sig << QString::fromLatin1(action);
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
    Transcript t;
    t.watchClient(client);
    bool ended = false;
    int signalsAfterEnd = 0;
    auto end = [&] {
        if (ended)
            return;
        ended = true;
        t.lines << QStringLiteral("end");
        if (action == QLatin1String("disconnect"))
            client->disconnectFromServer();
        else if (action == QLatin1String("deleteLater"))
            client->deleteLater();
        else
            delete client.data();
    };
    auto hook = [&](const QString &name) {
        if (ended) {
            if (name != QLatin1String("disconnected"))
                ++signalsAfterEnd;
            return;
        }
        if (name == signal)
            end();
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
    server.publishStatus(KvCommStatusRunning);
    server.publishLog(6, QStringLiteral("x\n"));
    server.publishSamples(batch(1), 1);
    QTRY_VERIFY(ended);
    if (action == QLatin1String("disconnect")) {
        QTRY_COMPARE(t.disconnected, 1);
        QCOMPARE(t.lines.last(), QStringLiteral("disconnected"));
    } else {
        QTRY_VERIFY(client.isNull());
    }
    QTRY_COMPARE(server.clientCount(), 0);
    drainEvents();
    // After deleteLater() the rest of a decoding slice may still be delivered
    // (the client lives until the event loop deletes it), except after
    // serverConnected(), whose receivers typically hand the client over.
    if (action != QLatin1String("deleteLater") || signal == QLatin1String("connected"))
        QCOMPARE(signalsAfterEnd, 0);
    QCOMPARE(t.errors, 0);
    QVERIFY(t.disconnected <= 1);
    delete client.data();
}

void tst_KvCommClient::disconnectOutsideTheEventLoop()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy left(&server, &KvCommServer::clientDisconnected);
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.connected, 1);
    client.disconnectFromServer();
    QCOMPARE(client.state(), KvCommClient::Closed);
    QTRY_COMPARE(t.disconnected, 1);
    QTRY_COMPARE(left.count(), 1);
    server.publishStatus(KvCommStatusRunning);
    drainEvents();
    QCOMPARE(t.lines, QStringList({"connected", "disconnected"}));
}

void tst_KvCommClient::abandonedAttemptEndsWithOneError()
{
    RawServer raw; // accepts, never greets
    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), raw.port(), 5000);
    QTRY_COMPARE(raw.sockets.size(), 1);
    client.disconnectFromServer();
    QTRY_COMPARE(t.errors, 1);
    drainEvents();
    QCOMPARE(t.lines,
        QStringList(
            {QStringLiteral("error Connection attempt to %1 abandoned").arg(target(raw.port()))}));
}

void tst_KvCommClient::deleteLaterInsideServerConnected()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    server.publishSamples({KvCommClientTrackedData(0, {1.0})}, 0);
    QPointer<KvCommClient> client = new KvCommClient;
    Transcript t;
    t.watchClient(client);
    connect(client, &KvCommClient::serverConnected, client, &QObject::deleteLater);
    client->connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_VERIFY(client.isNull());
    QTRY_COMPARE(server.clientCount(), 0);
    // Deleted, never emitted anything from its destructor.
    QCOMPARE(t.lines, QStringList({"connected"}));
}

void tst_KvCommClient::deleteInsideADataSignal()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 0);
    for (int k = 0; k < 20; ++k)
        server.publishSamples(batch(k), k);
    QPointer<KvCommClient> client = new KvCommClient;
    int batches = 0;
    connect(client, &KvCommClient::serverConnected, this, [&] {
        connect(client->clientData().data(), &KvCommClientData::trackedDataReceived, this, [&] {
            ++batches;
            delete client.data(); // a rude receiver: plain delete inside the signal
        });
    });
    client->connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_VERIFY(client.isNull());
    QTRY_COMPARE(server.clientCount(), 0);
    QCOMPARE(batches, 1);
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
    qint64 lastSequence = -1;
    bool ordered = true;
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, this,
            [&](const QList<KvCommClientTrackedData> &list, qint64 elapsed) {
                ++batches;
                ordered = ordered && list.size() == 1 && list[0].sequence == lastSequence + 1
                    && elapsed == list[0].sequence;
                lastSequence = list[0].sequence;
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
