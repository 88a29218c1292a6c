// Throughput of the monitoring stream on loopback: a KvCommServer on its own
// thread, fed by a publisher thread, streams batches to a KvCommClient on the
// main thread; prints the component values per second that the client
// delivered, and the decoder's own speed without sockets.
//
// bench_comm_throughput [batches] [samples per batch] [values per sample]

#include "kvcommclient.h"
#include "kvcommclientdata.h"
#include "kvcommframereader.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QThread>

#include <atomic>
#include <cstdio>

namespace {

QList<KvCommClientTrackedData> makeBatch(int samples, int values)
{
    QList<KvCommClientTrackedData> batch;
    for (int s = 0; s < samples; ++s) {
        QVector<double> v(values);
        for (int i = 0; i < values; ++i)
            v[i] = s + i * 1e-3;
        batch.append(KvCommClientTrackedData(s, v));
    }
    return batch;
}

void decoderOnly(const QList<KvCommClientTrackedData> &batch, int batches, qint64 valuesPerBatch)
{
    QByteArray stream;
    const int n = qMin(batches, 2000);
    for (int k = 0; k < n; ++k)
        stream += KvCommFrameWriter::samples(batch, k, qint64(k) * batch.size());
    KvCommFrameReader reader;
    KvCommMessage m;
    QElapsedTimer clock;
    clock.start();
    qint64 values = 0;
    int rounds = 0;
    while (clock.elapsed() < 1000) {
        reader.addData(stream);
        while (reader.readNext(m))
            values += valuesPerBatch;
        ++rounds;
    }
    const double s = clock.nsecsElapsed() / 1e9;
    std::printf("decoder alone: %.3g values/s (%d passes over %d frames, %.1f MB/s)\n", values / s,
        rounds, n, rounds * double(stream.size()) / s / 1e6);
}

// The client alone: everything is published before it connects, so the
// server hands it the whole stream as history at once and the figure is the
// client's reading, decoding and delivering.
void historyReplay(const QVector<KvCommClientTrackedRuleInfo> &rules,
    const QVector<KvCommClientTrackedRuleDataInfo> &tracked,
    const QList<KvCommClientTrackedData> &batch, int batches, qint64 valuesPerBatch)
{
    std::atomic<KvCommServer *> server {nullptr};
    QEventLoop *serverLoop = nullptr;
    QThread *serverThread = QThread::create([&] {
        KvCommServer s;
        s.setMaxSendBuffer(qint64(1) << 30);
        s.setHistoryLimit(qint64(batches) * valuesPerBatch);
        s.listen(QHostAddress::LocalHost, 0);
        s.publishRuleData(rules, tracked);
        for (int k = 0; k < batches; ++k)
            s.publishSamples(batch, k);
        QEventLoop loop;
        serverLoop = &loop;
        server = &s;
        loop.exec();
        server = nullptr;
    });
    serverThread->start();
    while (!server.load())
        QThread::yieldCurrentThread();
    // Let the server take its queue into the history before anyone joins.
    QMetaObject::invokeMethod(
        server.load(), [] {}, Qt::BlockingQueuedConnection);

    KvCommClient client;
    qint64 received = 0;
    const qint64 total = qint64(batches) * batch.size();
    QElapsedTimer clock;
    QEventLoop loop;
    QObject::connect(&client, &KvCommClient::serverError, &loop, [&](const QString &msg) {
        std::fprintf(stderr, "error: %s\n", qPrintable(msg));
        loop.quit();
    });
    QObject::connect(&client, &KvCommClient::serverConnected, &loop, [&] {
        clock.start();
        QObject::connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, &loop,
            [&](const QList<KvCommClientTrackedData> &list) {
                received += list.size();
                if (received == total)
                    loop.quit();
            });
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.load()->serverPort(), 5000);
    loop.exec();
    const double s = clock.nsecsElapsed() / 1e9;
    QMetaObject::invokeMethod(server.load(), [&] { serverLoop->quit(); });
    serverThread->wait();
    delete serverThread;
    if (received == total)
        std::printf("client alone (history replay): %.3g values/s, %.3g batches/s\n",
            double(batches) * valuesPerBatch / s, batches / s);
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments();
    const int batches = args.size() > 1 ? args.at(1).toInt() : 20000;
    const int samplesPerBatch = args.size() > 2 ? args.at(2).toInt() : 10;
    const int valuesPerSample = args.size() > 3 ? args.at(3).toInt() : 100;
    if (batches <= 0 || samplesPerBatch <= 0 || valuesPerSample <= 0) {
        std::fprintf(stderr, "usage: bench_comm_throughput [batches] [samples] [values]\n");
        return 2;
    }
    const qint64 valuesPerBatch = qint64(samplesPerBatch) * valuesPerSample;
    const QList<KvCommClientTrackedData> batch = makeBatch(samplesPerBatch, valuesPerSample);

    QVector<KvCommClientTrackedRuleInfo> rules(1);
    rules[0].name = QStringLiteral("bench");
    rules[0].numTrackedData = samplesPerBatch;
    QVector<KvCommClientTrackedRuleDataInfo> tracked(samplesPerBatch);
    for (int s = 0; s < samplesPerBatch; ++s) {
        tracked[s].id = s;
        tracked[s].ruleId = 0;
        tracked[s].name = QStringLiteral("v%1").arg(s);
        tracked[s].numRows = valuesPerSample;
    }

    // The server on a thread of its own, like the simulator's main thread.
    std::atomic<KvCommServer *> server {nullptr};
    QEventLoop *serverLoop = nullptr;
    QThread *serverThread = QThread::create([&] {
        KvCommServer s;
        s.setMaxSendBuffer(qint64(1) << 30);
        s.setHistoryLimit(0);
        s.listen(QHostAddress::LocalHost, 0);
        s.publishRuleData(rules, tracked);
        QEventLoop loop;
        serverLoop = &loop;
        server = &s;
        loop.exec();
        server = nullptr;
    });
    serverThread->start();
    while (!server.load())
        QThread::yieldCurrentThread();

    std::atomic<qint64> received {0};
    QElapsedTimer clock;
    QThread *publisher = nullptr;
    KvCommClient client;
    QObject::connect(&client, &KvCommClient::serverError, &app, [](const QString &msg) {
        std::fprintf(stderr, "error: %s\n", qPrintable(msg));
        QCoreApplication::exit(1);
    });
    QObject::connect(&client, &KvCommClient::serverConnected, &app, [&] {
        QObject::connect(client.clientData().data(), &KvCommClientData::trackedDataReceived, &app,
            [&](const QList<KvCommClientTrackedData> &list) {
                received += list.size();
                if (received == qint64(batches) * samplesPerBatch)
                    QCoreApplication::exit(0);
            });
        clock.start();
        publisher = QThread::create([&] {
            for (int k = 0; k < batches; ++k) {
                // Keep at most 256 batches in flight: memory stays bounded.
                while (qint64(k) * samplesPerBatch - received.load() > 256 * samplesPerBatch)
                    QThread::yieldCurrentThread();
                server.load()->publishSamples(batch, k);
            }
        });
        publisher->start();
    });
    client.connectToServer(QStringLiteral("127.0.0.1"), server.load()->serverPort(), 5000);
    const int rc = app.exec();
    const double s = clock.nsecsElapsed() / 1e9;
    if (publisher) {
        publisher->wait();
        delete publisher;
    }
    QMetaObject::invokeMethod(server.load(), [&] { serverLoop->quit(); });
    serverThread->wait();
    delete serverThread;
    if (rc != 0)
        return rc;

    const double values = double(batches) * valuesPerBatch;
    std::printf("loopback: %d batches of %d samples x %d values in %.3f s: %.3g values/s, "
                "%.3g samples/s, %.1f MB/s of values\n",
        batches, samplesPerBatch, valuesPerSample, s, values / s,
        double(batches) * samplesPerBatch / s, values * 8 / s / 1e6);
    historyReplay(rules, tracked, batch, batches, valuesPerBatch);
    decoderOnly(batch, batches, valuesPerBatch);
    return 0;
}
