// The action manager and its results view under floods and slow peers: a
// simulator that prints as fast as it can, a server that sends log messages
// as fast as the client takes them, a client that never reads from the real
// simulator's server, and a server that trickles its stream byte by byte.
//
// Responsiveness is shown by a GUI-thread timer that must go on ticking, and
// by actions triggered mid-flood that take effect; memory by the log's
// structural bounds, sampled on every tick. KVC_FLOOD_SECONDS sets how long
// a flood lasts (default 3; run it with 60 for the full minute).
#include "kvcactionmanager.h"

#include "fakekivoinstall.h"
#include "kvclogbuffer.h"
#include "kvcommframewriter.h"
#include "kvcommserver.h"
#include "kvcresultswidget.h"
#include "managerhost.h"
#include "modalanswerer.h"

#include <QAction>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLineEdit>
#include <QPushButton>
#include <QRegularExpression>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTemporaryDir>
#include <QTextBlock>
#include <QTextEdit>
#include <QThread>
#include <QtTest>

#include <atomic>
#include <memory>

using Status = KvcActionManager::ExecutionStatus;

namespace {

const QString floodModel = QStringLiteral(KVC_EXAMPLES_DIR "/bench-flood.lua");

int floodSeconds()
{
    const int seconds = qEnvironmentVariableIntValue("KVC_FLOOD_SECONDS");
    return seconds > 0 ? seconds : 3;
}

// A generous limit for anything that waits for a flood to end.
int floodTimeoutMs() { return floodSeconds() * 4000 + 120000; }

bool isLive(Status status)
{
    return status == KvcActionManager::Loading || status == KvcActionManager::Running;
}

// The process's peak resident memory, for the record.
QString peakMemory()
{
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly))
        return QStringLiteral("unknown");
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return QString::fromLatin1(line.mid(6).trimmed());
    }
    return QStringLiteral("unknown");
}

// Counts the turns of the GUI thread's event loop through a fast timer (a
// blocked loop does not tick) and samples the view's log on every tick.
struct Ticker {
    QTimer timer;
    QElapsedTimer clock;
    int ticks = 0;
    qint64 last = 0;
    qint64 longestGapMs = 0;
    QPointer<QTextEdit> log;
    int maxBlocks = 0;
    int maxChars = 0;

    explicit Ticker(int intervalMs = 10)
    {
        timer.setInterval(intervalMs);
        QObject::connect(&timer, &QTimer::timeout, [this] {
            ++ticks;
            const qint64 now = clock.elapsed();
            longestGapMs = qMax(longestGapMs, now - last);
            last = now;
            if (log) {
                maxBlocks = qMax(maxBlocks, log->document()->blockCount());
                maxChars = qMax(maxChars, log->document()->characterCount());
            }
        });
        clock.start();
        timer.start();
    }
    ~Ticker()
    {
        // A measurement for the record, not a pass mark.
        qInfo("GUI timer: %d ticks in %lld ms, longest gap %lld ms; log at most %d lines, "
              "%d characters; peak memory of the process so far %s",
            ticks, clock.elapsed(), longestGapMs, maxBlocks, maxChars, qPrintable(peakMemory()));
    }
};

// The manager's host with a results view built on the first live status, as
// a host does; the log kept only at its end (a flood is far too big to keep).
struct Host : ManagerHost {
    std::unique_ptr<KvcResultsWidget> view;

    Host()
    {
        keepLog = 1 << 20;
        QObject::connect(&manager, &KvcActionManager::executionStatusChanged,
            [this](Status status, QSharedPointer<KvcResultsData> &data) {
                if (!view && isLive(status)) {
                    view.reset(new KvcResultsWidget(&manager, status, data));
                    view->resize(900, 700);
                    view->show();
                }
            });
    }

    QTextEdit *logEdit() const { return view ? view->findChild<QTextEdit *>("logTed") : nullptr; }
};

// What the view's log shows: its kept beginning, the count of its notice (0
// without one) and the lines after it, without the empty one after the last
// line end.
struct ShownLog {
    QStringList head;
    qint64 dropped = 0;
    QStringList lines;
};

ShownLog shownLog(const QTextEdit *edit)
{
    static const QRegularExpression notice(
        QStringLiteral("^\\[(\\d+) earlier lines of the log were dropped\\]$"));
    ShownLog shown;
    if (!edit)
        return shown;
    shown.lines = edit->toPlainText().split(QLatin1Char('\n'));
    if (!shown.lines.isEmpty() && shown.lines.last().isEmpty())
        shown.lines.removeLast();
    for (int i = 0; i < shown.lines.size(); ++i) {
        const QRegularExpressionMatch match = notice.match(shown.lines.at(i));
        if (match.hasMatch()) {
            shown.dropped = match.captured(1).toLongLong();
            shown.head = shown.lines.mid(0, i);
            shown.lines = shown.lines.mid(i + 1);
            break;
        }
    }
    return shown;
}

qint64 droppedShown(const Host &host) { return shownLog(host.logEdit()).dropped; }

QString lastLine(const Host &host)
{
    const QStringList lines = shownLog(host.logEdit()).lines;
    return lines.isEmpty() ? QString() : lines.last();
}

// The final line of a flood, "... done after N lines", as N (-1 if absent).
qint64 doneCount(const QString &line)
{
    static const QRegularExpression done(QStringLiteral("done after (\\d+) lines$"));
    const QRegularExpressionMatch match = done.match(line);
    return match.hasMatch() ? match.captured(1).toLongLong() : -1;
}

// A monitoring server on a thread of its own, as in a simulator's process.
class ThreadedServer
{
public:
    explicit ThreadedServer(quint32 options)
    {
        context.moveToThread(&thread);
        thread.start();
        QMetaObject::invokeMethod(
            &context,
            [this, options] {
                server = new KvCommServer;
                server->setIdentity(QStringLiteral("3.1.0"), QStringLiteral("flood"));
                server->setControlOptions(options);
                server->listen(QHostAddress::LocalHost, 0);
                port = server->serverPort();
            },
            Qt::BlockingQueuedConnection);
    }
    ~ThreadedServer()
    {
        QMetaObject::invokeMethod(
            &context, [this] { delete server; }, Qt::BlockingQueuedConnection);
        thread.quit();
        thread.wait();
    }

    KvCommServer *server = nullptr;
    quint16 port = 0;

private:
    QThread thread;
    QObject context;
};

// A peer that replays a recorded stream to each connection, `chunk` bytes
// (0: all) per turn of the event loop, and closes after the last byte.
class TrickleServer : public QObject
{
public:
    TrickleServer(const QByteArray &bytes, int bytesPerTurn)
        : stream(bytes)
        , chunk(bytesPerTurn)
    {
        server.listen(QHostAddress::LocalHost, 0);
        timer.setInterval(0);
        connect(&server, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket *s = server.nextPendingConnection()) {
                if (socket) {
                    s->abort();
                    continue;
                }
                socket = s;
                // Each byte on the wire by itself.
                s->setSocketOption(QAbstractSocket::LowDelayOption, 1);
                connect(s, &QTcpSocket::readyRead, s, [s] { s->readAll(); });
                timer.start();
            }
        });
        connect(&timer, &QTimer::timeout, this, [this] {
            if (!socket) {
                timer.stop();
                return;
            }
            const int n = chunk > 0 ? chunk : stream.size();
            socket->write(stream.mid(sent, n));
            socket->flush();
            sent += qMin(n, stream.size() - sent);
            ++writes;
            if (sent >= stream.size()) {
                timer.stop();
                socket->disconnectFromHost();
            }
        });
    }

    quint16 port() const { return server.serverPort(); }

    QTcpServer server;
    QTimer timer;
    QPointer<QTcpSocket> socket;
    QByteArray stream;
    int chunk = 0;
    int sent = 0;
    int writes = 0;
};

// The small simulation that the trickle replays: rule "solver" with time,
// fem.iteration and fem.error, rule "bar" with T.max.
QVector<KvCommClientTrackedRuleInfo> trickleRules()
{
    QVector<KvCommClientTrackedRuleInfo> rules(2);
    rules[0].id = 0;
    rules[0].name = QStringLiteral("solver");
    rules[0].numTrackedData = 3;
    rules[1].id = 1;
    rules[1].firstTrackedData = 3;
    rules[1].name = QStringLiteral("bar");
    rules[1].numTrackedData = 1;
    return rules;
}

QVector<KvCommClientTrackedRuleDataInfo> trickleValues()
{
    QVector<KvCommClientTrackedRuleDataInfo> values(4);
    const char *names[] = {"time", "fem.iteration", "fem.error", "T.max"};
    for (int i = 0; i < 4; ++i) {
        values[i].id = i;
        values[i].ruleId = i < 3 ? 0 : 1;
        values[i].position = i < 3 ? i : 0;
        values[i].name = QString::fromLatin1(names[i]);
    }
    values[3].unit = QStringLiteral("degC");
    return values;
}

QList<KvCommClientTrackedData> trickleBatch(int k)
{
    return {KvCommClientTrackedData(0, {0.5 * k}), KvCommClientTrackedData(1, {double(k + 1)}),
        KvCommClientTrackedData(2, {1.0 / (k + 1)}), KvCommClientTrackedData(3, {20.0 + k})};
}

// Two-byte and three-byte characters, so that bytes of one character arrive
// apart.
QString trickleLogLine(int k)
{
    return QStringLiteral("step %1: Wärme fließt, ΔT = %2 °C\n").arg(k).arg(k * 0.25);
}

// The view's log stayed within its bounds all along, though the flood went
// well beyond them, while the GUI kept turning.
void checkBoundedThroughout(const Host &host, const Ticker &ticker)
{
    QVERIFY(ticker.ticks >= 20);
    QVERIFY2(host.lines > KvcLogBuffer::DefaultMaxLines, qPrintable(QString::number(host.lines)));
    QVERIFY(ticker.maxBlocks <= KvcLogBuffer::DefaultMaxLines + 2);
    QVERIFY(ticker.maxChars <= KvcLogBuffer::DefaultMaxChars + 100);
}

// At its end the log shows the flood's newest lines, each "<prefix> <n>: ...",
// and a notice that counts the rest: `total` in all.
void checkEveryLineShownOrCounted(const Host &host, qint64 total, const QString &prefix)
{
    QCOMPARE(host.lines.load(), total);
    // The view shows what arrived at its next frame.
    QTRY_VERIFY(doneCount(lastLine(host)) > 0);
    const ShownLog shown = shownLog(host.logEdit());
    QCOMPARE(doneCount(shown.lines.last()), total);
    QVERIFY(shown.dropped > 0);
    QVERIFY(shown.head.size() + shown.lines.size() <= KvcLogBuffer::DefaultMaxLines);
    QCOMPARE(shown.head.size(), KvcLogBuffer::DefaultHeadLines);
    QCOMPARE(shown.head.size() + shown.dropped + shown.lines.size(), total);
    // The beginning is kept: the first lines, then the newest after the gap.
    const auto line = [&prefix](qint64 n) {
        return QStringLiteral("%1 %2: the simulator has a lot to say").arg(prefix).arg(n);
    };
    QCOMPARE(shown.head.first(), line(0));
    QCOMPARE(shown.lines.first(), line(shown.head.size() + shown.dropped));
    qInfo("%lld lines, %lld of them dropped", total, shown.dropped);
}

// A server on a thread of its own that sends log messages and accepts
// cancel, and the host connected to it, with its view.
struct LogFloodSetup {
    std::atomic<bool> canceled {false}; // outlives the server that sets it
    ThreadedServer threaded {KvCommControlLog | KvCommControlCancel};
    Host host;

    bool connect()
    {
        KvCommServer *server = threaded.server;
        if (!threaded.port)
            return false;
        QObject::connect(
            server, &KvCommServer::cancelRequested, server, [this] { canceled = true; });
        server->publishStatus(KvCommStatusRunning);
        server->publishSimulationInfo(
            QStringLiteral("Log flood"), QString(), {}, QDateTime(), QDateTime::currentDateTime());
        host.connectThroughDialog(threaded.port);
        return host.manager.isRemote() && host.logEdit();
    }
};

// Publishes log lines from a thread of its own, as a simulator's server does,
// until canceled or, past a minimum, for `limitMs`; `paced`, at most 20 000
// lines ahead of the host, so that the server does not drop it for falling
// behind. Then the final status, and the server closes.
class LogPublisher
{
public:
    LogPublisher(LogFloodSetup &setup, qint64 limitMs, bool paced)
        : thread(QThread::create([this, &setup, limitMs, paced] {
            KvCommServer *server = setup.threaded.server;
            QElapsedTimer clock;
            clock.start();
            qint64 n = 0;
            // However slow the machine, well beyond what the log keeps.
            const qint64 minLines = 3 * KvcLogBuffer::DefaultMaxLines;
            while (!stop && !setup.canceled && (n < minLines || clock.elapsed() < limitMs)) {
                if (paced && n - setup.host.lines.load() > 20000) {
                    QThread::yieldCurrentThread();
                    continue;
                }
                server->publishLog(n % 1000 == 999 ? 4 : 2,
                    QStringLiteral("server line %1: the simulator has a lot to say\n").arg(n));
                published = ++n;
            }
            server->publishLog(2, QStringLiteral("server flood done after %1 lines\n").arg(n + 1));
            published = n + 1;
            server->publishStatus(setup.canceled ? KvCommStatusCanceled : KvCommStatusFinished);
            QMetaObject::invokeMethod(
                server, [server] { server->closeAllAfterFlush(); }, Qt::QueuedConnection);
        }))
    {
        thread->start();
    }
    // A failing check returns early: the thread must not outlive its data.
    ~LogPublisher()
    {
        stop = true;
        thread->wait();
    }

    std::atomic<bool> stop {false};
    std::atomic<qint64> published {0};
    std::unique_ptr<QThread> thread;
};

constexpr int historyBatches = 20;
constexpr int liveBatches = 20;

} // namespace

class KvcActionManagerFloodsTest : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase()
    {
        QStandardPaths::setTestModeEnabled(true);
        QCoreApplication::setOrganizationName("kivoClientLibTests");
        QCoreApplication::setApplicationName("tst_kvcactionmanagerfloods");
        QVERIFY2(QFile::exists(kivoPath), qPrintable(kivoPath));
        qInfo("flood length: %d s (KVC_FLOOD_SECONDS)", floodSeconds());
    }

    void cleanup()
    {
        qunsetenv("FAKE_KIVO_RUN");
        qunsetenv("FAKE_KIVO_FLOOD_SECONDS");
        qunsetenv("FAKE_KIVO_FLOOD_LINES");
        QTRY_COMPARE(visibleTopLevelWidgets(), 0);
    }

    void localOutputFlood_data();
    void localOutputFlood();
    void serverLogFlood_data();
    void serverLogFlood();
    void clientThatNeverReadsIsDroppedAndTheRunFinishes();
    void tricklingServerStreamIsAssembledWhole_data();
    void tricklingServerStreamIsAssembledWhole();
};

void KvcActionManagerFloodsTest::localOutputFlood_data()
{
    QTest::addColumn<bool>("terminate");
    QTest::newRow("flood runs out: Finished, every line shown or counted") << false;
    QTest::newRow("terminate mid-flood: taken at once, Aborted") << true;
}

void KvcActionManagerFloodsTest::localOutputFlood()
{
    QFETCH(bool, terminate);
    ModalAnswerer boxes;
    QTemporaryDir dir;
    Host host;
    QVERIFY(host.interrogate(installFakeKivo(dir), "model.lua"));
    host.editOptions(localRun());
    qputenv("FAKE_KIVO_RUN", "flood");
    qputenv("FAKE_KIVO_FLOOD_SECONDS", QByteArray::number(terminate ? 3600 : floodSeconds()));
    // However slow the machine, well beyond what the log keeps.
    qputenv("FAKE_KIVO_FLOOD_LINES", QByteArray::number(3 * KvcLogBuffer::DefaultMaxLines));

    Ticker ticker;
    host.run.trigger();
    QCOMPARE(host.names(), QStringList {"Running"});
    QVERIFY(host.logEdit());
    ticker.log = host.logEdit();

    if (terminate) {
        // Well into the flood: the log was trimmed, and the GUI kept turning.
        QTRY_VERIFY_WITH_TIMEOUT(droppedShown(host) > 0 && ticker.ticks >= 20, floodTimeoutMs());
        host.terminate.trigger();
    }
    QTRY_COMPARE_WITH_TIMEOUT(host.statuses.size(), 2, floodTimeoutMs());
    QCOMPARE(host.names(1), QStringList {terminate ? "Aborted" : "Finished"});
    QCOMPARE(boxes.count(), terminate ? 1 : 0);
    checkBoundedThroughout(host, ticker);
    // The flood's last line says how many it printed.
    if (!terminate && !QTest::currentTestFailed())
        checkEveryLineShownOrCounted(host, doneCount(host.log.trimmed()), "flood line");
}

// Unpaced, the client may fall 64 MiB behind and be dropped by the server,
// which the GUI then reports as a broken connection. Either way it kept
// turning and the log stayed bounded.
void KvcActionManagerFloodsTest::serverLogFlood_data()
{
    QTest::addColumn<bool>("cancel");
    QTest::addColumn<bool>("paced");
    QTest::newRow("flood runs out: Finished, every line shown or counted") << false << true;
    QTest::newRow("cancel mid-flood: taken at once, Canceled") << true << true;
    QTest::newRow("unpaced: finished, or dropped and reported; the GUI kept turning")
        << false << false;
}

void KvcActionManagerFloodsTest::serverLogFlood()
{
    QFETCH(bool, cancel);
    QFETCH(bool, paced);
    ModalAnswerer boxes;
    LogFloodSetup setup;
    Host &host = setup.host;
    QVERIFY(setup.connect());
    Ticker ticker;
    ticker.log = host.logEdit();
    LogPublisher publisher(setup, cancel ? 3600 * 1000 : floodSeconds() * 1000, paced);

    if (cancel) {
        QTRY_VERIFY_WITH_TIMEOUT(droppedShown(host) > 0 && ticker.ticks >= 20, floodTimeoutMs());
        QVERIFY(host.cancel.isEnabled());
        host.cancel.trigger();
    }
    QTRY_VERIFY_WITH_TIMEOUT(publisher.thread->isFinished(), floodTimeoutMs());
    QTRY_VERIFY_WITH_TIMEOUT(!host.manager.isRemote(), floodTimeoutMs());
    checkBoundedThroughout(host, ticker);
    if (!paced && boxes.count() > 0) {
        QCOMPARE(boxes.count(), 1);
        QCOMPARE(boxes.last().title, QString("Communication error..."));
        // The server says why, after the frames it had queued.
        QVERIFY2(boxes.last().text.contains(QStringLiteral("does not keep up")),
            qPrintable(boxes.last().text));
        QCOMPARE(host.names().last(), QString("Unknown"));
        QVERIFY(host.lines < publisher.published);
        QVERIFY(droppedShown(host) > 0);
        return;
    }
    QCOMPARE(host.names().last(), QString(cancel ? "Canceled" : "Finished"));
    QCOMPARE(boxes.count(), 0);
    if (!QTest::currentTestFailed())
        checkEveryLineShownOrCounted(host, publisher.published, "server line");
}

void KvcActionManagerFloodsTest::clientThatNeverReadsIsDroppedAndTheRunFinishes()
{
    ModalAnswerer boxes;
    Host host;
    QVERIFY(host.interrogate(kivoPath, floodModel));
    host.editOptions(localRun(true));
    Ticker ticker;
    host.run.trigger();
    QCOMPARE(host.names(), QStringList {"Running"});

    QTRY_VERIFY_WITH_TIMEOUT(listeningPort(host.log), 30000);
    const quint16 port = listeningPort(host.log);

    // Greets, then never reads: once its one byte of buffer is full, the
    // socket leaves everything in the system's buffers.
    QTcpSocket stalled;
    stalled.setReadBufferSize(1);
    stalled.connectToHost(QHostAddress::LocalHost, port);
    QVERIFY(stalled.waitForConnected(5000));
    stalled.write(KvCommFrameWriter::hello(1));
    const QString peer = QStringLiteral("127.0.0.1:%1").arg(stalled.localPort());

    QTRY_COMPARE_WITH_TIMEOUT(host.statuses.size(), 2, 300000);
    QCOMPARE(host.names(1), QStringList {"Finished"}); // exit code 0
    QCOMPARE(boxes.count(), 0);
    const QRegularExpression dropped(
        QStringLiteral("Client %1 dropped: ([^\n]*)").arg(QRegularExpression::escape(peer)));
    const QRegularExpressionMatch match = dropped.match(host.log);
    QVERIFY2(match.hasMatch(), qPrintable(host.log.right(2000)));
    qInfo("the simulator's reason: %s", qPrintable(match.captured(1)));
    QVERIFY(ticker.ticks >= 20);
}

void KvcActionManagerFloodsTest::tricklingServerStreamIsAssembledWhole_data()
{
    QTest::addColumn<int>("chunk");
    QTest::newRow("whole stream at once (the reference)") << 0;
    QTest::newRow("one byte per turn of the event loop") << 1;
    QTest::newRow("seven bytes per turn: frames and characters cut anywhere") << 7;
}

void KvcActionManagerFloodsTest::tricklingServerStreamIsAssembledWhole()
{
    QFETCH(int, chunk);

    // A stream as a real server sends it: the history of a running
    // simulation, then live samples and log lines, its end and the close.
    QByteArray stream;
    {
        KvCommServer server;
        server.setIdentity(QStringLiteral("3.1.0"), QStringLiteral("trickle"));
        server.setControlOptions(KvCommControlLog | KvCommControlCancel);
        QVERIFY(server.listen(QHostAddress::LocalHost, 0));
        server.publishStatus(KvCommStatusRunning);
        server.publishSimulationInfo(QStringLiteral("Trickle"), QStringLiteral("byte by byte"),
            {QStringLiteral("model.lua")}, QDateTime::currentDateTime(),
            QDateTime::currentDateTime());
        server.publishRuleData(trickleRules(), trickleValues());
        for (int k = 0; k < historyBatches; ++k)
            server.publishSamples(trickleBatch(k), 10 * k);

        QTcpSocket recorder;
        QObject::connect(&recorder, &QTcpSocket::readyRead, [&] { stream += recorder.readAll(); });
        recorder.connectToHost(QHostAddress::LocalHost, server.serverPort());
        QVERIFY(recorder.waitForConnected(5000));
        recorder.write(KvCommFrameWriter::hello(1));
        QTRY_COMPARE(server.clientCount(), 1);
        for (int k = historyBatches; k < historyBatches + liveBatches; ++k) {
            server.publishLog(k % 8, trickleLogLine(k));
            server.publishSamples(trickleBatch(k), 10 * k);
        }
        server.publishStatus(KvCommStatusFinished);
        server.closeAllAfterFlush();
        QTRY_COMPARE(recorder.state(), QAbstractSocket::UnconnectedState);
        stream += recorder.readAll();
    }
    QVERIFY(stream.size() > 1000);

    ModalAnswerer boxes;
    TrickleServer trickle(stream, chunk);
    Host host;
    Ticker ticker(1);
    host.connectThroughDialog(trickle.port());
    QVERIFY(host.manager.isRemote());
    QVERIFY(host.view);
    QTRY_VERIFY_WITH_TIMEOUT(!host.manager.isRemote(), 120000);
    QCOMPARE(boxes.count(), 0);
    QCOMPARE(host.names().last(), QString("Finished"));
    QCOMPARE(trickle.sent, stream.size());
    if (chunk > 0) {
        // One write per turn: the loop turned that often while the client
        // assembled the frames, and the GUI timer went on ticking.
        QCOMPARE(trickle.writes, (stream.size() + chunk - 1) / chunk);
        QVERIFY2(ticker.ticks >= 5, qPrintable(QString::number(ticker.ticks)));
    }

    // Everything arrived exactly as published.
    QString expectedLog;
    QVector<double> times, execTimes, errors;
    for (int k = 0; k < historyBatches + liveBatches; ++k) {
        times << 0.5 * k;
        execTimes << 10 * k / 1000.0;
        errors << 1.0 / (k + 1);
        if (k >= historyBatches)
            expectedLog += trickleLogLine(k);
    }
    QCOMPARE(host.log, expectedLog);
    const QSharedPointer<KvcResultsData> data = host.view->resultData();
    QCOMPARE(data->simTimeData(), times);
    QCOMPARE(data->simExecTimeData(), execTimes);
    const int errorId = data->graphics().at(2)->trackId;
    QCOMPARE(errorId, 2);
    QCOMPARE(data->simTrackedData(errorId).data.value(0), errors);
    QCOMPARE(data->simTrackedData(3).data.value(0).size(), times.size());
    QTRY_COMPARE(host.logEdit()->toPlainText(), expectedLog);
}

QTEST_MAIN(KvcActionManagerFloodsTest)
#include "tst_kvcactionmanagerfloods.moc"
