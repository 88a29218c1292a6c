#include "kvcommserver.h"

#include <QProcess>
#include <QTcpServer>
#include <QTemporaryDir>
#include <QtTest>

// kivo-monitor run as a child process against an in-process server.
class tst_KivoMonitor : public QObject
{
    Q_OBJECT

private slots:
    void followsASimulationToItsEnd_data();
    void followsASimulationToItsEnd();
    void failsOnUnreachableServerAndBadArguments_data();
    void failsOnUnreachableServerAndBadArguments();

private:
    static QString program() { return QStringLiteral(KVC_BIN_DIR "/kivo-monitor"); }
};

void tst_KivoMonitor::followsASimulationToItsEnd_data()
{
    QTest::addColumn<bool>("samples");
    QTest::addColumn<int>("finalStatus");
    QTest::addColumn<int>("exitCode");

    QTest::newRow("finished, samples printed") << true << int(KvCommStatusFinished) << 0;
    QTest::newRow("finished, samples counted") << false << int(KvCommStatusFinished) << 0;
    QTest::newRow("aborted is not success") << true << int(KvCommStatusAborted) << 1;
}

void tst_KivoMonitor::followsASimulationToItsEnd()
{
    QFETCH(bool, samples);
    QFETCH(int, finalStatus);
    QFETCH(int, exitCode);

    KvCommServer server;
    server.setIdentity(QStringLiteral("4.5.6"), QStringLiteral("rev7"));
    server.setControlOptions(KvCommControlLog | KvCommControlTerminate);
    QVERIFY(server.listen(QHostAddress::LocalHost));
    const quint16 port = server.serverPort();
    server.publishStatus(KvCommStatusRunning);
    server.publishSimulationInfo(QStringLiteral("plate"), QStringLiteral("a hot plate"),
        {QStringLiteral("plate.lua")}, QDateTime(), QDateTime(), 2.0, 8);
    KvCommClientTrackedRuleInfo rule;
    rule.name = QStringLiteral("probe");
    rule.numTrackedData = 2;
    KvCommClientTrackedRuleDataInfo time, temp;
    time.id = 0;
    time.ruleId = 0;
    time.name = QStringLiteral("time");
    time.unit = QStringLiteral("s");
    temp.id = 1;
    temp.ruleId = 0;
    temp.name = QStringLiteral("T");
    temp.unit = QStringLiteral("K");
    temp.indexedBy = 1;
    server.publishRuleData({rule}, {time, temp});
    server.publishIndexData(
        0, KvCommClientTrackedIndexData(KvCommClientTrackedIndexData::Nodes, {"left", "right"}), 0);
    server.publishSamples(
        {KvCommClientTrackedData(0, {0.25}), KvCommClientTrackedData(1, {300, 301})}, 12);

    QTemporaryDir dir;
    const QString recording = dir.filePath(QStringLiteral("run.kivorun"));
    QProcess monitor;
    QStringList args {QStringLiteral("--record"), recording};
    if (samples)
        args << QStringLiteral("--samples");
    args << QStringLiteral("--timeout") << QStringLiteral("10") << QStringLiteral("127.0.0.1")
         << QString::number(port);
    QSignalSpy joined(&server, &KvCommServer::clientConnected);
    monitor.start(program(), args);
    QVERIFY(monitor.waitForStarted(10000));
    QTRY_COMPARE_WITH_TIMEOUT(joined.count(), 1, 10000);
    server.publishLog(3, QStringLiteral("low on memory\n"));
    server.publishSamples(
        {KvCommClientTrackedData(0, {0.5}), KvCommClientTrackedData(1, {302, 303})}, 24);
    server.publishStatus(KvCommSimulationStatus(finalStatus));
    server.closeAllAfterFlush();
    QTRY_COMPARE_WITH_TIMEOUT(monitor.state(), QProcess::NotRunning, 20000);
    const QString out = QString::fromUtf8(monitor.readAllStandardOutput());
    const QString err = QString::fromUtf8(monitor.readAllStandardError());
    QCOMPARE(monitor.exitStatus(), QProcess::NormalExit);
    QVERIFY2(monitor.exitCode() == exitCode, qPrintable(out + err));

    QStringList expected = {
        QStringLiteral("Connected to 127.0.0.1:%1: simulator 4.5.6 (revision rev7)").arg(port),
        QStringLiteral("Status: Running; accepted requests: log, terminate"),
        QStringLiteral("Simulation: plate"),
        QStringLiteral("  description: a hot plate"),
        QStringLiteral("  file: plate.lua"),
        QStringLiteral("Rule 0 probe: 2 tracked values"),
        QStringLiteral("  value 0 time [s] 1 x 1"),
        QStringLiteral("  value 1 T [K] 1 x 1, indexed by type 0"),
        QStringLiteral("Index data of rule 0, type 0, 2 lines at 0 ms: left, right"),
        QStringLiteral("[3] low on memory"),
        QStringLiteral("  planned end: 2, planned steps: 8"),
        QStringLiteral("Disconnected: 4 samples received, 0 missed"),
        QStringLiteral("; reached 25.0 % of the planned end after 0 s"),
    };
    if (samples) {
        expected << QStringLiteral("t=12 ms #0 value 0 (history) = 0.25")
                 << QStringLiteral("t=12 ms #1 value 1 (history) = 300 301")
                 << QStringLiteral("t=24 ms #2 value 0 = 0.5")
                 << QStringLiteral("t=24 ms #3 value 1 = 302 303");
    } else {
        expected << QStringLiteral("; progress 25.0 % (t = 0.5 of 2), estimating...");
    }
    for (const QString &line : expected)
        QVERIFY2(out.contains(line),
            qPrintable(QStringLiteral("missing \"%1\" in:\n%2").arg(line, out)));
    QVERIFY(
        out.indexOf(QStringLiteral("Rule 0 probe")) < out.indexOf(QStringLiteral("Index data")));

    // The recording replays what was followed, with the same exit code.
    QProcess replay;
    replay.start(program(), {QStringLiteral("--replay"), recording});
    QVERIFY(replay.waitForFinished(20000));
    const QString replayed = QString::fromUtf8(replay.readAllStandardOutput());
    QVERIFY2(replay.exitCode() == exitCode, qPrintable(replayed + replay.readAllStandardError()));
    for (const QString &line :
        {QStringLiteral("simulator 4.5.6 (revision rev7)"), QStringLiteral("Simulation: plate"),
            QStringLiteral("value 1 T [K] of rule probe: 2 samples of 2 components, min 300, "
                           "max 303"),
            QStringLiteral("[3] low on memory")})
        QVERIFY2(replayed.contains(line), qPrintable(replayed));
}

void tst_KivoMonitor::failsOnUnreachableServerAndBadArguments_data()
{
    QTest::addColumn<QStringList>("args");
    QTest::addColumn<QString>("error");

    quint16 freePort = 0;
    {
        QTcpServer probe;
        probe.listen(QHostAddress::LocalHost, 0);
        freePort = probe.serverPort();
    }
    QTest::newRow("refused")
        << QStringList({"--timeout", "0", "127.0.0.1", QString::number(freePort)})
        << QStringLiteral("Error: Connection refused by 127.0.0.1:%1").arg(freePort);
    QTest::newRow("port missing") << QStringList({"127.0.0.1"})
                                  << QStringLiteral("expected a host and a port");
    QTest::newRow("port not a number")
        << QStringList({"127.0.0.1", "http"}) << QStringLiteral("expected a host and a port");
    QTest::newRow("negative time limit") << QStringList({"--timeout", "-1", "127.0.0.1", "6174"})
                                         << QStringLiteral("invalid time limit");
}

void tst_KivoMonitor::failsOnUnreachableServerAndBadArguments()
{
    QFETCH(QStringList, args);
    QFETCH(QString, error);
    QProcess monitor;
    monitor.start(program(), args);
    QVERIFY(monitor.waitForFinished(20000));
    QCOMPARE(monitor.exitCode(), 2);
    const QString err = QString::fromUtf8(monitor.readAllStandardError());
    QVERIFY2(err.contains(error), qPrintable(err));
}

QTEST_GUILESS_MAIN(tst_KivoMonitor)
#include "tst_kivomonitor.moc"
