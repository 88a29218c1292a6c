// The simulator's embedded monitoring server, seen through the real client.
#include "kvcommclient.h"
#include "kvcresultsdata.h"
#include "scriptfile.h"

#include <QProcess>
#include <QtTest>

namespace {

const QString kivo = QStringLiteral(KVC_BIN_DIR "/kivo");
const QString examples = QStringLiteral(KVC_EXAMPLES_DIR);

// A simulator whose server listens on a port of the system's choosing, which
// it reports in its connection file.
struct Simulator {
    ScriptFiles files; // the connection file, and models
    QProcess process;
    quint16 port = 0;

    bool start(const QStringList &switches, const QString &model)
    {
        const QString connection = files.filePath("connection.lua");
        process.start(kivo, QStringList {"-local", "0", "-s", connection} + switches << model);
        if (!process.waitForStarted())
            return false;
        if (!QTest::qWaitFor([&] { return QFile::exists(connection); }, 10000))
            return false;
        QFile file(connection);
        file.open(QIODevice::ReadOnly);
        const QString text = QString::fromUtf8(file.readAll());
        const QRegularExpressionMatch match = QRegularExpression("port = (\\d+)").match(text);
        port = quint16(match.captured(1).toUInt());
        return port != 0 && text.contains("addresses = { \"127.0.0.1\" }");
    }
};

// What one client saw.
struct Watcher {
    KvCommClient client;
    KvcResultsData results; // what a results view draws from
    QList<int> statuses;
    QList<int> levels;
    QString log;
    int samples = 0;
    int ruleData = 0;
    bool connected = false;
    bool disconnected = false;
    QString error;

    Watcher()
    {
        QObject::connect(&client, &KvCommClient::serverConnected, [this] {
            connected = true;
            QSharedPointer<KvCommClientData> data = client.clientData();
            results.setSimulationData(data);
            QObject::connect(data.data(), &KvCommClientData::simulationRuleDataAvailable,
                [this] { ++ruleData; });
            QObject::connect(data.data(), &KvCommClientData::trackedDataReceived,
                [this](const QList<KvCommClientTrackedData> &batch, qint64) {
                    samples += batch.size();
                });
        });
        QObject::connect(
            &client, &KvCommClient::serverError, [this](const QString &msg) { error = msg; });
        QObject::connect(
            &client, &KvCommClient::serverDisconnected, [this] { disconnected = true; });
        QObject::connect(&client, &KvCommClient::simulationStatusChanged,
            [this](KvCommSimulationStatus status, const QDateTime &) { statuses << status; });
        QObject::connect(
            &client, &KvCommClient::logDataReceived, [this](int level, const QString &text) {
                levels << level;
                log += text;
            });
    }
};

} // namespace

class KivoServerTest : public QObject
{
    Q_OBJECT

private slots:
    void waitingSimulationIsFollowedToItsEnd()
    {
        Simulator simulator;
        QVERIFY(simulator.start({"-wait", "0", "-server"}, examples + "/heat1d-fast.lua"));
        Watcher watcher;
        watcher.client.connectToServer("localhost", simulator.port, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(watcher.connected, 10000);
        QCOMPARE(watcher.client.version(), QString("3.1.0"));
        QCOMPARE(watcher.client.revision(), QString("5012"));
        QCOMPARE(watcher.client.controlOptions(),
            quint32(KvCommControlLog | KvCommControlCancel | KvCommControlTerminate));

        QTRY_VERIFY_WITH_TIMEOUT(watcher.disconnected, 20000);
        QVERIFY2(watcher.error.isEmpty(), qPrintable(watcher.error));
        QCOMPARE(watcher.statuses.first(), int(KvCommStatusLoading));
        QCOMPARE(watcher.statuses.last(), int(KvCommStatusFinished));
        QVERIFY(watcher.statuses.contains(KvCommStatusRunning));
        QCOMPARE(watcher.ruleData, 1);
        QVERIFY(watcher.samples > 0);
        QCOMPARE(watcher.client.clientData()->samplesMissed(), 0);
        QVERIFY(watcher.log.contains("Simulation finished"));
        for (int level : watcher.levels)
            QVERIFY(level >= 0 && level <= 7);
        QCOMPARE(watcher.client.clientData()->simName(), QString("Fast rod"));

        QTRY_COMPARE_WITH_TIMEOUT(simulator.process.state(), QProcess::NotRunning, 10000);
        QCOMPARE(simulator.process.exitCode(), 0);
    }

    // A view puts the first rule graphic into its large chart; with nothing
    // indexed to prefer, it has to be a graphic that samples extend.
    void firstRuleGraphicGrowsWithScalarValuesOnly()
    {
        Simulator simulator;
        const QString model = simulator.files.write(
            "Simulation{ name = 'scalar', endTime = 10, timeStep = 1 }\n"
            "Mesh{ type = 'line', length = 1, cells = 4 }\n"
            "StateVar{ initial = 0 }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n"
            "BoundaryCondition{ side = 'left', type = 'temperature', value = 1 }\n"
            "MonitorRule{ name = 'bar', track = { { name = 'hot', quantity = 'max' } } }\n");
        QVERIFY(simulator.start({"-wait", "0"}, model));
        Watcher watcher;
        watcher.client.connectToServer("localhost", simulator.port, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(watcher.disconnected, 20000);
        QCOMPARE(watcher.statuses.last(), int(KvCommStatusFinished));

        const KvcResultsData &results = watcher.results;
        QCOMPARE(results.graphics().size(), results.numSpecialGraphics() + 4);
        const KvcResultsData::GraphicsData *first
            = results.graphics().at(results.numSpecialGraphics());
        QCOMPARE(first->title, QString("bar (hot)"));
        const KvcResultsData::TrackedData &history = results.simTrackedData(first->trackId);
        // Step 0 and ten steps, each dated by the time of its own batch.
        QCOMPARE(results.simTimeData(), (QVector<double> {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
        QCOMPARE(history.time, results.simTimeData());
        QVERIFY(history.max > 0);
    }

    void noserverKeepsTheLogOnTheConsole()
    {
        Simulator simulator;
        QVERIFY(simulator.start({"-wait", "0", "-noserver"}, examples + "/heat1d-fast.lua"));
        Watcher watcher;
        watcher.client.connectToServer("localhost", simulator.port, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(watcher.disconnected, 20000);
        QCOMPARE(
            watcher.client.controlOptions(), quint32(KvCommControlCancel | KvCommControlTerminate));
        QVERIFY(watcher.log.isEmpty());
        QTRY_COMPARE_WITH_TIMEOUT(simulator.process.state(), QProcess::NotRunning, 10000);
        QVERIFY(simulator.process.readAllStandardOutput().contains("Simulation finished"));
    }

    void controlRequests_data()
    {
        QTest::addColumn<int>("request");
        QTest::addColumn<int>("finalStatus");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("cancel ends Canceled with code 0")
            << int(KvCommControlCancel) << int(KvCommStatusCanceled) << 0;
        QTest::newRow("terminate ends Aborted with code 3")
            << int(KvCommControlTerminate) << int(KvCommStatusAborted) << 3;
    }

    void controlRequests()
    {
        QFETCH(int, request);
        Simulator simulator;
        QVERIFY(simulator.start({"-wait", "0"}, examples + "/heat1d-long.lua"));
        Watcher watcher;
        watcher.client.connectToServer("localhost", simulator.port, 5000);
        QTRY_VERIFY_WITH_TIMEOUT(watcher.statuses.contains(KvCommStatusRunning), 20000);
        QTRY_VERIFY(watcher.samples > 0);
        watcher.client.sendControlRequest(KvCommControlOptions(request));
        QTRY_VERIFY_WITH_TIMEOUT(watcher.disconnected, 20000);
        QTEST(watcher.statuses.last(), "finalStatus");
        QTRY_COMPARE_WITH_TIMEOUT(simulator.process.state(), QProcess::NotRunning, 10000);
        QTEST(simulator.process.exitCode(), "exitCode");
    }

    void portInUseIsAClearError()
    {
        Simulator first;
        QVERIFY(first.start({"-wait", "0"}, examples + "/heat1d-fast.lua"));
        QProcess second;
        second.start(kivo, {"-local", QString::number(first.port), examples + "/heat1d-fast.lua"});
        QVERIFY(second.waitForFinished(10000));
        QCOMPARE(second.exitCode(), 4);
        QVERIFY(
            second.readAllStandardError().contains(QString("port %1").arg(first.port).toUtf8()));
        first.process.kill();
        first.process.waitForFinished();
    }
};

QTEST_GUILESS_MAIN(KivoServerTest)
#include "tst_kivoserver.moc"
