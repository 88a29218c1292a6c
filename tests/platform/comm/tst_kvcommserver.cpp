#include "kvcommserver.h"

#include "commtestsupport.h"
#include "kvcommframereader.h"
#include "kvcommframewriter.h"

#include <QThread>
#include <QtEndian>
#include <QtTest>

#include <algorithm>
#include <atomic>

using namespace CommTest;

class tst_KvCommServer : public QObject
{
    Q_OBJECT

private slots:
    void aTakenPortIsAnError();
    void lateJoinerGetsHistoryMinusWhatTheLimitDropped();
    void answersWhatAClientSends_data();
    void answersWhatAClientSends();
    void stalledClientIsDroppedWhileThePublisherGoesOn();
    void silentClientIsDroppedByTheHeartbeat();
    void closeAllAfterFlushDeliversTheFinalStatus();
    void closeAllAfterFlushWithoutClients();
};

void tst_KvCommServer::aTakenPortIsAnError()
{
    QTcpServer taken;
    QVERIFY(taken.listen(QHostAddress::LocalHost, 0));
    KvCommServer server;
    QVERIFY(!server.listen(QHostAddress::LocalHost, taken.serverPort()));
    QVERIFY(!server.isListening());
    QVERIFY(!server.errorString().isEmpty());
}

void tst_KvCommServer::lateJoinerGetsHistoryMinusWhatTheLimitDropped()
{
    KvCommServer server;
    server.setHistoryLimit(6 * 2); // 6 values per batch: two batches kept
    server.setControlOptions(KvCommControlLog);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishSimulationInfo(QStringLiteral("early"), {}, {}, {}, {});
    // Clients would refuse samples before the rules: the server never sends
    // them, nor numbers them, nor a second set of rules.
    QCOMPARE(server.publishSamples(batch(0), 0), qint64(-1));
    server.publishIndexData(1, nodes(), 99);
    server.publishRuleData(rules(), trackedData());
    server.publishRuleData({rule("again", 0)}, {});
    server.publishIndexData(1, nodes(), 0);
    QCOMPARE(server.publishSamples({}, 0), qint64(-1));
    for (int k = 0; k < 4; ++k) {
        QCOMPARE(server.publishSamples(batch(k), k), qint64(3 * k));
        server.publishLog(2, QStringLiteral("step %1\n").arg(k)); // not history
    }
    QTRY_COMPARE(server.historyDropped(), 6);

    // All of it waits in the client's socket together with the greeting, yet
    // receivers connected in serverConnected() miss nothing.
    KvCommClient client;
    Transcript t(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.lines.size(), 7);
    server.publishSamples(batch(4), 4);
    QTRY_COMPARE(t.lines.size(), 8);
    // The index data older than every kept sample still comes first; what
    // the limit dropped is reported, not missed.
    QCOMPARE(t.lines,
        QStringList({"connected", "info early", "rules 2 3",
            "log 4 The server dropped the oldest 6 samples of its history to bound its memory",
            "index 1 0 n1,n2 t=0", "samples t=2 0#6h=2 1#7h=0.333333 2#8h=2.1,2.2,2.3,2.4",
            "samples t=3 0#9h=3 1#10h=0.25 2#11h=3.1,3.2,3.3,3.4",
            "samples t=4 0#12=4 1#13=0.2 2#14=4.1,4.2,4.3,4.4"}));
    QCOMPARE(client.clientData()->samplesMissed(), 0);
}

void tst_KvCommServer::answersWhatAClientSends_data()
{
    QTest::addColumn<quint32>("announced");
    QTest::addColumn<QByteArray>("sent");
    QTest::addColumn<bool>("thenClose");
    QTest::addColumn<QStringList>("expected"); // what the server emits and tells, "P" the peer
    const auto row = [](const char *name, quint32 announced, const QByteArray &sent, bool thenClose,
                         const QStringList &expected) {
        QTest::newRow(name) << announced << sent << thenClose << expected;
    };
    const QByteArray hello = KvCommFrameWriter::hello(1);
    const quint32 all = KvCommControlLog | KvCommControlCancel | KvCommControlTerminate;
    const auto request = [&hello](quint32 r) -> QByteArray {
        return hello + KvCommFrameWriter::controlRequest(r);
    };
    // A message of a type to come, as large as a frame may be.
    QByteArray largest = QByteArray::fromHex("00000000 a2 00 1863 01 5a00000000");
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize, largest.data());
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize - 10, largest.data() + 10);
    largest.append(int(KvCommProtocol::MaxFrameSize - 10), 'x');

    row("cancel announced", KvCommControlCancel, request(KvCommControlCancel), false, {"cancel"});
    row("terminate announced", all, request(KvCommControlTerminate), false, {"terminate"});
    row("cancel not announced", KvCommControlTerminate, request(KvCommControlCancel), false,
        {"ignored 2: Request 2 from P ignored: not announced by this simulation"});
    row("terminate not announced", KvCommControlLog, request(KvCommControlTerminate), false,
        {"ignored 4: Request 4 from P ignored: not announced by this simulation"});
    row("log is no request", all, request(KvCommControlLog), false,
        {"ignored 1: Request 1 from P ignored: not a control request"});
    row("a request is a value, not a set of flags", all, request(6), false,
        {"ignored 6: Request 6 from P ignored: not a control request"});
    row("a frame of the largest size, then a request", all,
        hello + largest + KvCommFrameWriter::controlRequest(KvCommControlCancel), false,
        {"cancel"});
    row("request before the greeting", all, KvCommFrameWriter::controlRequest(2), false,
        {"dropped: Client P dropped: it is not a Kivo monitoring client", "disconnected"});
    row("other protocol version", all, KvCommFrameWriter::hello(2), false,
        {"dropped: Client P dropped: it speaks protocol version 2",
            "told: this server speaks protocol version 1, the client 2", "disconnected"});
    row("garbage", all, "GET / HTTP/1.1\r\n\r\n", false,
        {"dropped: Client P dropped: a frame of 1195725856 bytes exceeds the limit of 16777216 "
         "bytes",
            "disconnected"});
    row("close in the middle of a message", all,
        hello + KvCommFrameWriter::controlRequest(2).left(6), true,
        {"dropped: Client P dropped: it closed the connection in the middle of a message",
            "disconnected"});
}

void tst_KvCommServer::answersWhatAClientSends()
{
    QFETCH(quint32, announced);
    QFETCH(QByteArray, sent);
    QFETCH(bool, thenClose);
    QFETCH(QStringList, expected);

    KvCommServer server;
    server.setControlOptions(announced);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QStringList seen;
    QString peer;
    QByteArray got;
    QTcpSocket raw; // after what its signals touch: its destructor may emit
    // Peers by their IPv4 address and port, also on a dual-stack socket.
    connect(&server, &KvCommServer::clientConnected, this, [&](const QString &p) { peer = p; });
    connect(&server, &KvCommServer::cancelRequested, this, [&] { seen << "cancel"; });
    connect(&server, &KvCommServer::terminateRequested, this, [&] { seen << "terminate"; });
    connect(&server, &KvCommServer::controlRequestIgnored, this, [&](quint32 r, QString why) {
        seen << QStringLiteral("ignored %1: ").arg(r) + why.replace(peer, "P");
    });
    connect(&server, &KvCommServer::clientDropped, this,
        [&](const QString &, QString why) { seen << "dropped: " + why.replace(peer, "P"); });
    connect(&server, &KvCommServer::clientDisconnected, this, [&] { seen << "disconnected"; });
    connect(&raw, &QTcpSocket::readyRead, this, [&] { got += raw.readAll(); });
    connect(&raw, &QTcpSocket::disconnected, this, [&] {
        const QVector<KvCommMessage> messages = messagesOf(got);
        if (!messages.isEmpty() && messages.last().type == KvCommProtocol::Error)
            seen << "told: " + messages.last().text;
    });
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QTRY_VERIFY(peer.startsWith(QStringLiteral("127.0.0.1:")));
    raw.write(sent);
    if (thenClose)
        raw.disconnectFromHost();
    QTRY_COMPARE_WITH_TIMEOUT(seen.size(), expected.size(), 30000);
    QCOMPARE(seen, expected);
    QCOMPARE(server.clientCount(), expected.contains("disconnected") ? 0 : 1);
    if (expected.contains("disconnected"))
        QTRY_COMPARE(raw.state(), QAbstractSocket::UnconnectedState);
}

void tst_KvCommServer::stalledClientIsDroppedWhileThePublisherGoesOn()
{
    KvCommServer server;
    server.setMaxSendBuffer(8 * 1024 * 1024);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    publishWideValue(server);
    StalledReader stalled(server.serverPort());
    KvCommClient healthy;
    Transcript t(&healthy);
    t.withSamples = false;
    healthy.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.connected, 1);
    QTRY_COMPARE(server.clientCount(), 2);

    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    // The simulation's worker thread publishes 64 MiB in 64 KiB batches, at
    // the pace of the healthy client (at most 2 MiB ahead of it), so only the
    // stalled one falls behind.
    const int batches = 1024;
    std::atomic<qint64> received {0};
    connect(healthy.clientData().data(), &KvCommClientData::trackedDataReceived, this,
        [&] { received = t.samples; });
    // Should it go, the worker must not wait for it.
    connect(&healthy, &KvCommClient::serverDisconnected, this, [&] { received = batches; });
    QThread *worker = QThread::create([&] {
        for (int k = 0; k < batches; ++k) {
            while (k - received.load() > 32)
                QThread::yieldCurrentThread();
            server.publishSamples(wideBatch(), k);
        }
    });
    worker->start();
    QTRY_VERIFY_WITH_TIMEOUT(worker->isFinished(), 60000);
    delete worker;
    QCOMPARE(server.samplesPublished(), batches);
    QTRY_COMPARE(dropped.count(), 1);
    QTRY_COMPARE_WITH_TIMEOUT(received.load(), qint64(batches), 60000);
    QCOMPARE(server.clientCount(), 1);
    QCOMPARE(t.lines, QStringList({"connected", "rules 1 1"}));
    QCOMPARE(dropped.first().at(1).toString(),
        QStringLiteral(
            "Client %1 dropped: it does not keep up (more than 8 MiB waiting to be sent)")
            .arg(dropped.first().at(0).toString()));

    // The stalled client gets whole frames, then why; of the backlog, only
    // what had been handed to its socket. A close that left its heartbeat
    // unread would reset the connection and take the reason with it.
    const QByteArray bytes = stalled.readToEnd();
    QString error;
    const QVector<KvCommMessage> messages = messagesOf(bytes, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(messages.last().text,
        QStringLiteral("this client does not keep up (more than 8 MiB waiting to be sent); the "
                       "server dropped it"));
    QVERIFY2(bytes.size() < 32 * 1024 * 1024, qPrintable(QString::number(bytes.size())));
}

void tst_KvCommServer::silentClientIsDroppedByTheHeartbeat()
{
    KvCommServer server;
    server.setHeartbeat(20, 200);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    // A real client answers the heartbeats...
    KvCommClient client;
    client.setHeartbeat(20, 200);
    Transcript t(&client);
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.connected, 1);
    // ...a raw one greets and falls silent.
    QTcpSocket raw;
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(raw.waitForConnected(5000));
    raw.write(KvCommFrameWriter::hello(1));
    QTRY_COMPARE(dropped.count(), 1);
    QVERIFY(dropped.first().at(1).toString().contains(QStringLiteral("no data for")));
    QTRY_COMPARE(raw.state(), QAbstractSocket::UnconnectedState);
    // The real client lived through the same dead time and more.
    QCOMPARE(t.disconnected, 0);
    QCOMPARE(server.clientCount(), 1);
}

void tst_KvCommServer::closeAllAfterFlushDeliversTheFinalStatus()
{
    // 10 MiB of samples, the final status and the close leave the server at
    // once, published from another thread right before closing; the clients
    // decode far behind their sockets, one does not read at all until after
    // the close, yet all get all of it and the clients end cleanly.
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    publishWideValue(server);
    KvCommClient clients[3];
    Transcript t0(&clients[0]), t1(&clients[1]), t2(&clients[2]);
    Transcript *const transcripts[] = {&t0, &t1, &t2};
    for (int i = 0; i < 3; ++i) {
        transcripts[i]->withSamples = false;
        clients[i].connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    }
    StalledReader slow(server.serverPort());
    QTRY_COMPARE(server.clientCount(), 4);
    for (const Transcript *t : transcripts)
        QTRY_COMPARE(t->connected, 1);
    QVERIFY(server.isListening());
    QSignalSpy closed(&server, &KvCommServer::allClosed);
    const int batches = 160;
    QThread *worker = QThread::create([&server] {
        for (int k = 0; k < batches; ++k)
            server.publishSamples(wideBatch(k), k);
        server.publishStatus(KvCommStatusFinished);
    });
    worker->start();
    worker->wait();
    delete worker;
    server.closeAllAfterFlush(30000);
    QVERIFY(!server.isListening());
    QString error;
    const QVector<KvCommMessage> messages = messagesOf(slow.readToEnd(), &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QCOMPARE(std::count_if(messages.begin(), messages.end(),
                 [](const KvCommMessage &m) { return m.type == KvCommProtocol::Samples; }),
        batches);
    QCOMPARE(messages.last().type, KvCommProtocol::Status);
    QTRY_COMPARE_WITH_TIMEOUT(closed.count(), 1, 60000);
    for (const Transcript *t : transcripts) {
        QTRY_COMPARE(t->disconnected, 1);
        QCOMPARE(t->lines, QStringList({"connected", "rules 1 1", "status 3", "disconnected"}));
        QCOMPARE(t->samples, qint64(batches));
    }
}

void tst_KvCommServer::closeAllAfterFlushWithoutClients()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy closed(&server, &KvCommServer::allClosed);
    server.closeAllAfterFlush();
    QCOMPARE(closed.count(), 0); // never inside the call
    QTRY_COMPARE(closed.count(), 1);
}

QTEST_GUILESS_MAIN(tst_KvCommServer)
#include "tst_kvcommserver.moc"
