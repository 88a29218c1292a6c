#include "kvcommserver.h"

#include "commtestsupport.h"
#include "kvcommframereader.h"
#include "kvcommframewriter.h"

#include <QThread>
#include <QtEndian>
#include <QtTest>

#include <atomic>

using namespace CommTest;

namespace {

// Reads what a raw socket received into messages.
QVector<KvCommMessage> messagesOf(const QByteArray &bytes, QString *error = nullptr)
{
    KvCommFrameReader reader;
    reader.addData(bytes);
    QVector<KvCommMessage> out;
    KvCommMessage m;
    while (reader.readNext(m)) {
        out.append(m);
        m = KvCommMessage();
    }
    if (error)
        *error = reader.errorString();
    return out;
}

// One tracked value of 8192 components: a sample of it is a 64 KiB frame.
void publishWideValue(KvCommServer &server)
{
    KvCommClientTrackedRuleInfo rule;
    rule.numTrackedData = 1;
    KvCommClientTrackedRuleDataInfo field;
    field.id = 0;
    field.ruleId = 0;
    field.numRows = 8192;
    server.publishRuleData({rule}, {field});
}

} // namespace

class tst_KvCommServer : public QObject
{
    Q_OBJECT

private slots:
    void portZeroChoosesAPortAndReportsClients();
    void newClientGetsTheCurrentStateInOrder();
    void lateJoinerGetsHistoryMinusWhatTheLimitDropped();
    void dataBeforeTheRuleDataIsDiscarded();
    void controlRequestsHonouredOnlyWhenAnnounced_data();
    void controlRequestsHonouredOnlyWhenAnnounced();
    void stalledClientIsDroppedWhileThePublisherGoesOn();
    void droppedClientReadsWholeFramesThenWhy();
    void misbehavingClientIsDropped_data();
    void misbehavingClientIsDropped();
    void aClientFrameOfTheLargestSizeIsRead();
    void aClientGoneInsideAFrameIsReported();
    void silentClientIsDroppedByTheHeartbeat();
    void closeAllAfterFlushDeliversTheFinalStatus();
    void closeAllAfterFlushWithoutClients();
    void closeAllAfterFlushWaitsForASlowReader();
};

void tst_KvCommServer::portZeroChoosesAPortAndReportsClients()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost, 0));
    QVERIFY(server.isListening());
    QVERIFY(server.serverPort() != 0);
    QSignalSpy joined(&server, &KvCommServer::clientConnected);
    KvCommClient a, b;
    a.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    b.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(joined.count(), 2);
    QCOMPARE(server.clientCount(), 2);
    QVERIFY(joined.at(0).at(0).toString().startsWith(QStringLiteral("127.0.0.1:")));

    KvCommServer second;
    QVERIFY(!second.listen(QHostAddress::LocalHost, server.serverPort()));
    QVERIFY(!second.errorString().isEmpty());
}

void tst_KvCommServer::newClientGetsTheCurrentStateInOrder()
{
    KvCommServer server;
    server.setIdentity(QStringLiteral("9.9"), QStringLiteral("rev"));
    server.setControlOptions(KvCommControlTerminate);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishStatus(KvCommStatusLoading);
    server.publishStatus(KvCommStatusRunning); // only the latest is state
    server.publishSimulationInfo(QStringLiteral("old"), QString(), {}, QDateTime(), QDateTime());
    server.publishSimulationInfo(QStringLiteral("new"), QString(), {}, QDateTime(), QDateTime());
    server.publishLog(5, QStringLiteral("not history\n"));
    QTRY_COMPARE(server.samplesPublished(), 0); // the queue is drained by now

    QTcpSocket raw;
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QByteArray got;
    connect(&raw, &QTcpSocket::readyRead, this, [&] { got += raw.readAll(); });
    QVector<KvCommMessage> msgs;
    QTRY_VERIFY((msgs = messagesOf(got)).size() >= 6);
    QCOMPARE(msgs.size(), 6);
    QCOMPARE(msgs[0].type, KvCommProtocol::Hello);
    QCOMPARE(msgs[0].protocolVersion, 1u);
    QCOMPARE(msgs[1].type, KvCommProtocol::Identity);
    QCOMPARE(msgs[1].version, QStringLiteral("9.9"));
    QCOMPARE(msgs[2].options, quint32(KvCommControlTerminate));
    QCOMPARE(msgs[3].type, KvCommProtocol::Status);
    QCOMPARE(msgs[3].status, qint32(KvCommStatusRunning));
    QVERIFY(msgs[3].time.isValid());
    QCOMPARE(msgs[4].name, QStringLiteral("new"));
    QCOMPARE(msgs[5].type, KvCommProtocol::Ready);
}

void tst_KvCommServer::lateJoinerGetsHistoryMinusWhatTheLimitDropped()
{
    KvCommServer server;
    server.setHistoryLimit(6 * 5); // 6 values per batch: five batches kept
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 0);
    for (int k = 0; k < 8; ++k)
        QCOMPARE(server.publishSamples(batch(k), k), qint64(3 * k));
    QTRY_COMPARE(server.historyDropped(), 9);

    KvCommClient client;
    Transcript t;
    t.withSamples = false;
    QList<qint64> sequences;
    QList<bool> fromHistory;
    t.watchClient(&client);
    connect(&client, &KvCommClient::serverConnected, this, [&] {
        t.watchData(client.clientData().data());
        connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, this,
            [&](const QList<KvCommClientTrackedData> &list) {
                for (const KvCommClientTrackedData &s : list) {
                    sequences << s.sequence;
                    fromHistory << bool(s.flags & KvCommClientTrackedData::FromHistory);
                }
            });
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(sequences.size(), 15);
    // The index data older than every kept sample still comes first.
    QCOMPARE(t.lines,
        QStringList({"connected", "rules 2 3",
            "log 4 The server dropped the oldest 9 samples of its history to "
            "bound its memory",
            "index 1 0 n1,n2 t=0"}));
    QCOMPARE(sequences.first(), 9);
    QCOMPARE(sequences.last(), 23);
    QVERIFY(!fromHistory.contains(false));
    QCOMPARE(client.clientData()->samplesMissed(), 0);

    server.publishSamples(batch(8), 8);
    QTRY_COMPARE(sequences.size(), 18);
    QCOMPARE(sequences.at(15), 24);
    QCOMPARE(fromHistory.at(15), false);
}

void tst_KvCommServer::dataBeforeTheRuleDataIsDiscarded()
{
    // Clients would refuse samples before the rules: the server never sends
    // them, nor numbers them, nor a second set of rules.
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QCOMPARE(server.publishSamples(batch(0), 0), qint64(-1));
    server.publishIndexData(1, nodes(), 0);
    server.publishRuleData(rules(), trackedData());
    server.publishRuleData(rules(), trackedData());
    server.publishIndexData(1, nodes(), 1);
    QCOMPARE(server.publishSamples(batch(1), 1), qint64(0));
    QCOMPARE(server.publishSamples({}, 2), qint64(-1));

    KvCommClient client;
    Transcript t;
    t.watchClient(&client);
    connect(&client, &KvCommClient::serverConnected, this,
        [&] { t.watchData(client.clientData().data()); });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(t.lines.size(), 4);
    QCOMPARE(t.lines,
        QStringList({"connected", "rules 2 3", "index 1 0 n1,n2 t=1",
            "samples t=1 0#0h=1 1#1h=0.5 2#2h=1.1,1.2,1.3,1.4"}));
    QCOMPARE(t.errors, 0);
}

void tst_KvCommServer::controlRequestsHonouredOnlyWhenAnnounced_data()
{
    QTest::addColumn<quint32>("announced");
    QTest::addColumn<quint32>("request");
    QTest::addColumn<QString>("expected");

    QTest::newRow("cancel announced")
        << quint32(KvCommControlCancel) << quint32(KvCommControlCancel) << "cancel";
    QTest::newRow("terminate announced") << quint32(KvCommControlCancel | KvCommControlTerminate)
                                         << quint32(KvCommControlTerminate) << "terminate";
    QTest::newRow("cancel not announced")
        << quint32(KvCommControlTerminate) << quint32(KvCommControlCancel) << "ignored";
    QTest::newRow("terminate not announced")
        << quint32(KvCommControlLog) << quint32(KvCommControlTerminate) << "ignored";
    QTest::newRow("log is no request")
        << quint32(KvCommControlLog) << quint32(KvCommControlLog) << "ignored";
}

void tst_KvCommServer::controlRequestsHonouredOnlyWhenAnnounced()
{
    QFETCH(quint32, announced);
    QFETCH(quint32, request);
    QFETCH(QString, expected);

    KvCommServer server;
    server.setControlOptions(announced);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QStringList seen;
    connect(&server, &KvCommServer::cancelRequested, this, [&] { seen << "cancel"; });
    connect(&server, &KvCommServer::terminateRequested, this, [&] { seen << "terminate"; });
    connect(
        &server, &KvCommServer::controlRequestIgnored, this, [&](quint32 r, const QString &reason) {
            QCOMPARE(r, request);
            QVERIFY(reason.contains(QStringLiteral("ignored")));
            seen << "ignored";
        });
    KvCommClient client;
    QSignalSpy connected(&client, &KvCommClient::serverConnected);
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(connected.count(), 1);
    QCOMPARE(client.controlOptions(), announced);
    client.sendControlRequest(KvCommControlOptions(request));
    QTRY_COMPARE(seen.size(), 1);
    QCOMPARE(seen.first(), expected);
}

void tst_KvCommServer::stalledClientIsDroppedWhileThePublisherGoesOn()
{
    KvCommServer server;
    server.setMaxSendBuffer(8 * 1024 * 1024);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    publishWideValue(server);

    // A client that greets and then never reads.
    QTcpSocket stalled;
    stalled.setReadBufferSize(1);
    stalled.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(stalled.waitForConnected(5000));
    stalled.write(KvCommFrameWriter::hello(1));
    // A healthy client alongside.
    KvCommClient healthy;
    std::atomic<qint64> received {0};
    std::atomic<bool> healthyGone {false};
    connect(&healthy, &KvCommClient::serverError, this, [&] { healthyGone = true; });
    connect(&healthy, &KvCommClient::serverDisconnected, this, [&] { healthyGone = true; });
    connect(&healthy, &KvCommClient::serverConnected, this, [&] {
        connect(healthy.clientData().data(), &KvCommClientData::trackedDataReceived, this,
            [&](const QList<KvCommClientTrackedData> &list) { received += list.size(); });
    });
    QSignalSpy healthyUp(&healthy, &KvCommClient::serverConnected);
    healthy.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(healthyUp.count(), 1);
    QTRY_COMPARE(server.clientCount(), 2);

    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    // The simulation's worker thread publishes 64 MiB in 64 KiB batches, at
    // the pace of the healthy client (at most 2 MiB ahead of it), so only the
    // stalled one falls behind.
    const int batches = 1024;
    QThread *worker = QThread::create([&server, &received, &healthyGone] {
        const QList<KvCommClientTrackedData> big
            = {KvCommClientTrackedData(0, QVector<double>(8192, 0.5))};
        for (int k = 0; k < batches; ++k) {
            while (k - received.load() > 32 && !healthyGone)
                QThread::yieldCurrentThread();
            server.publishSamples(big, k);
        }
    });
    worker->start();
    QTRY_VERIFY_WITH_TIMEOUT(worker->isFinished(), 60000);
    delete worker;
    QCOMPARE(server.samplesPublished(), batches);
    QTRY_COMPARE(dropped.count(), 1);
    const QString reason = dropped.first().at(1).toString();
    QVERIFY2(reason.contains(QStringLiteral("does not keep up")), qPrintable(reason));
    QTRY_COMPARE_WITH_TIMEOUT(received.load(), qint64(batches), 60000);
    QCOMPARE(server.clientCount(), 1);
    QCOMPARE(healthy.state(), KvCommClient::Connected);
}

void tst_KvCommServer::droppedClientReadsWholeFramesThenWhy()
{
    KvCommServer server;
    server.setMaxSendBuffer(1024 * 1024);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    publishWideValue(server);

    QTcpSocket slow;
    slow.setReadBufferSize(1);
    slow.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(slow.waitForConnected(5000));
    slow.write(KvCommFrameWriter::hello(1));
    QTRY_COMPARE(server.clientCount(), 1);

    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    const QList<KvCommClientTrackedData> big
        = {KvCommClientTrackedData(0, QVector<double>(8192, 0.5))};
    for (int k = 0; dropped.isEmpty() && k < 100000; ++k) {
        server.publishSamples(big, k);
        QCoreApplication::processEvents();
    }
    QCOMPARE(dropped.count(), 1);
    QCOMPARE(server.clientCount(), 0);

    // The client still talks (a heartbeat the server no longer reads) and
    // only now reads: a close that left it unread would reset the connection
    // and take the unread frames and the reason with it.
    slow.write(KvCommFrameWriter::heartbeat());
    QByteArray bytes;
    connect(&slow, &QTcpSocket::readyRead, this, [&] { bytes += slow.readAll(); });
    slow.setReadBufferSize(0);
    bytes += slow.readAll();
    QTRY_COMPARE_WITH_TIMEOUT(slow.state(), QAbstractSocket::UnconnectedState, 30000);
    bytes += slow.readAll();

    QString error;
    const QVector<KvCommMessage> messages = messagesOf(bytes, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    QVERIFY(messages.size() > 3);
    QCOMPARE(messages.last().type, KvCommProtocol::Error);
    QVERIFY2(messages.last().text.contains(QStringLiteral("does not keep up")),
        qPrintable(messages.last().text));
    // What it was given before the reason is a bounded part of the backlog.
    QVERIFY(bytes.size() < 8 * 1024 * 1024);
}

void tst_KvCommServer::misbehavingClientIsDropped_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    QTest::addColumn<bool>("toldWhy");

    QByteArray notHello = KvCommFrameWriter::controlRequest(2);
    QTest::newRow("request before the greeting")
        << notHello << "not a Kivo monitoring client" << false;
    QTest::newRow("other protocol version")
        << KvCommFrameWriter::hello(2) << "speaks protocol version 2" << true;
    QTest::newRow("garbage") << QByteArray("GET / HTTP/1.1\r\n\r\n") << "dropped:" << false;
}

void tst_KvCommServer::misbehavingClientIsDropped()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    QFETCH(bool, toldWhy);

    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    QSignalSpy left(&server, &KvCommServer::clientDisconnected);
    QTcpSocket raw;
    QByteArray got;
    connect(&raw, &QTcpSocket::readyRead, this, [&] { got += raw.readAll(); });
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(raw.waitForConnected(5000));
    raw.write(bytes);
    QTRY_COMPARE(dropped.count(), 1);
    QVERIFY2(dropped.first().at(1).toString().contains(reason),
        qPrintable(dropped.first().at(1).toString()));
    QTRY_COMPARE(left.count(), 1);
    QTRY_COMPARE(raw.state(), QAbstractSocket::UnconnectedState);
    const QVector<KvCommMessage> msgs = messagesOf(got);
    QCOMPARE(!msgs.isEmpty() && msgs.last().type == KvCommProtocol::Error, toldWhy);
}

void tst_KvCommServer::aClientFrameOfTheLargestSizeIsRead()
{
    KvCommServer server;
    server.setControlOptions(KvCommControlCancel);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    QSignalSpy canceled(&server, &KvCommServer::cancelRequested);
    // A message of a type to come, as large as a frame may be, then a request.
    QByteArray big = QByteArray::fromHex("00000000 a2 00 1863 01 5a00000000");
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize, big.data());
    qToBigEndian<quint32>(KvCommProtocol::MaxFrameSize - 10, big.data() + 10);
    big.append(int(KvCommProtocol::MaxFrameSize - 10), 'x');
    QTcpSocket raw;
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(raw.waitForConnected(5000));
    raw.write(KvCommFrameWriter::hello(1) + big + KvCommFrameWriter::controlRequest(2));
    QTRY_COMPARE_WITH_TIMEOUT(canceled.count(), 1, 30000);
    QCOMPARE(dropped.count(), 0);
    QCOMPARE(server.clientCount(), 1);
}

void tst_KvCommServer::aClientGoneInsideAFrameIsReported()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QSignalSpy dropped(&server, &KvCommServer::clientDropped);
    QSignalSpy left(&server, &KvCommServer::clientDisconnected);
    QTcpSocket raw;
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(raw.waitForConnected(5000));
    raw.write(KvCommFrameWriter::hello(1) + KvCommFrameWriter::controlRequest(2).left(6));
    raw.disconnectFromHost();
    QTRY_COMPARE(left.count(), 1);
    QCOMPARE(dropped.count(), 1);
    QCOMPARE(dropped.first().at(1).toString(),
        QStringLiteral("Client %1 dropped: it closed the connection in the middle of a message")
            .arg(dropped.first().at(0).toString()));
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
    QSignalSpy up(&client, &KvCommClient::serverConnected);
    QSignalSpy down(&client, &KvCommClient::serverDisconnected);
    client.connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
    QTRY_COMPARE(up.count(), 1);
    // ...a raw one greets and falls silent.
    QTcpSocket raw;
    raw.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(raw.waitForConnected(5000));
    raw.write(KvCommFrameWriter::hello(1));
    QTRY_COMPARE(dropped.count(), 1);
    QVERIFY(dropped.first().at(1).toString().contains(QStringLiteral("no data for")));
    QTRY_COMPARE(raw.state(), QAbstractSocket::UnconnectedState);
    // The real client lived through the same dead time and more.
    QCOMPARE(down.count(), 0);
    QCOMPARE(server.clientCount(), 1);
}

void tst_KvCommServer::closeAllAfterFlushDeliversTheFinalStatus()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    server.publishRuleData(rules(), trackedData());
    QList<KvCommClient *> clients;
    QList<Transcript *> transcripts;
    for (int i = 0; i < 3; ++i) {
        auto *c = new KvCommClient(this);
        auto *t = new Transcript;
        t->setParent(c);
        t->withSamples = false;
        t->watchClient(c);
        c->connectToServer(QStringLiteral("127.0.0.1"), server.serverPort(), 5000);
        clients << c;
        transcripts << t;
    }
    QTRY_COMPARE(server.clientCount(), 3);
    QTRY_VERIFY(
        transcripts[0]->connected && transcripts[1]->connected && transcripts[2]->connected);
    QSignalSpy closed(&server, &KvCommServer::allClosed);
    // Published from another thread right before closing: still delivered.
    QThread *worker = QThread::create([&server] {
        for (int k = 0; k < 100; ++k)
            server.publishSamples({KvCommClientTrackedData(0, {double(k)})}, k);
        server.publishStatus(KvCommStatusFinished);
    });
    worker->start();
    worker->wait();
    delete worker;
    server.closeAllAfterFlush();
    QVERIFY(!server.isListening());
    QTRY_COMPARE(closed.count(), 1);
    for (Transcript *t : transcripts) {
        QTRY_COMPARE(t->disconnected, 1);
        QCOMPARE(t->lines, QStringList({"connected", "status 3", "disconnected"}));
    }
    for (KvCommClient *c : clients) {
        QCOMPARE(c->clientData()->samplesReceived(), 100);
        QCOMPARE(c->simulationStatus(), KvCommStatusFinished);
    }
    qDeleteAll(clients);
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
void tst_KvCommServer::closeAllAfterFlushWaitsForASlowReader()
{
    KvCommServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    publishWideValue(server);
    QTcpSocket slow;
    slow.setReadBufferSize(1);
    slow.connectToHost(QHostAddress::LocalHost, server.serverPort());
    QVERIFY(slow.waitForConnected(5000));
    slow.write(KvCommFrameWriter::hello(1));
    QTRY_COMPARE(server.clientCount(), 1);

    // 16 MiB behind at the end of the run, and still sending heartbeats.
    const int batches = 256;
    const QList<KvCommClientTrackedData> big
        = {KvCommClientTrackedData(0, QVector<double>(8192, 0.5))};
    for (int k = 0; k < batches; ++k)
        server.publishSamples(big, k);
    server.publishStatus(KvCommStatusFinished);
    QSignalSpy closed(&server, &KvCommServer::allClosed);
    server.closeAllAfterFlush(30000);
    slow.write(KvCommFrameWriter::heartbeat());

    QByteArray bytes;
    connect(&slow, &QTcpSocket::readyRead, this, [&] { bytes += slow.readAll(); });
    slow.setReadBufferSize(0);
    bytes += slow.readAll();
    QTRY_COMPARE_WITH_TIMEOUT(slow.state(), QAbstractSocket::UnconnectedState, 30000);
    bytes += slow.readAll();
    QTRY_COMPARE(closed.count(), 1);

    QString error;
    const QVector<KvCommMessage> messages = messagesOf(bytes, &error);
    QVERIFY2(error.isEmpty(), qPrintable(error));
    int samples = 0;
    for (const KvCommMessage &m : messages)
        samples += m.type == KvCommProtocol::Samples;
    QCOMPARE(samples, batches);
    QCOMPARE(messages.last().type, KvCommProtocol::Status);
}

#include "tst_kvcommserver.moc"
