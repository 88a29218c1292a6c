// Drives simulations with a recording monitoring sink: what a monitoring
// server will see, in the order it will see it.

#include "logger.h"
#include "monitorsink.h"
#include "scriptfile.h"
#include "simulationcontrol.h"
#include "simulationdriver.h"

#include <QtTest>

#include <functional>

namespace {

const QString fastModel = QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua");

// A rod of two cells at 1 K, insulated, for `endTime` steps of 1 s; a model
// adds its rules and scripts.
QByteArray rod(int endTime)
{
    return "Simulation{ name = 's', endTime = " + QByteArray::number(endTime)
        + ", timeStep = 1 }\n"
          "Mesh{ type = 'line', length = 1, cells = 2 }\n"
          "StateVar{ unit = 'K', initial = 1 }\n"
          "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n";
}

// The driver runs on the test's own thread here, so the sink needs no lock.
class RecordingSink : public MonitorSink
{
public:
    QStringList events; // one word per call, in call order
    QVector<Status> statuses;
    SimulationInfo info;
    QVector<RuleInfo> rules;
    QVector<TrackedValueInfo> values;
    QHash<int, QStringList> labelsByRule;
    QHash<int, int> indexTypeByRule;
    QVector<QVector<Sample>> batches;
    QVector<qint64> elapsed;
    QVector<QPair<int, QString>> logs;
    SimulationControl *control = nullptr;
    int waitedFor = -2;
    std::function<void(RecordingSink &)> onBatch;
    std::function<void(RecordingSink &)> onRules;

    void setControl(SimulationControl *c) override { control = c; }
    bool waitForClient(int timeoutMs) override
    {
        events << QStringLiteral("wait");
        waitedFor = timeoutMs;
        return true;
    }
    void statusChanged(Status status, const QDateTime &when) override
    {
        events << QStringLiteral("status%1").arg(int(status));
        statuses << status;
        QVERIFY(when.isValid());
    }
    void simulationInfo(const SimulationInfo &i) override
    {
        events << QStringLiteral("info");
        info = i;
    }
    void ruleInfo(const QVector<RuleInfo> &r, const QVector<TrackedValueInfo> &v) override
    {
        events << QStringLiteral("rules");
        rules = r;
        values = v;
        if (onRules)
            onRules(*this);
    }
    void indexData(int ruleId, int indexType, const QStringList &labels) override
    {
        events << QStringLiteral("index");
        labelsByRule.insert(ruleId, labels);
        indexTypeByRule.insert(ruleId, indexType);
    }
    void samples(const QVector<Sample> &batch, qint64 ms) override
    {
        if (events.isEmpty() || events.last() != QLatin1String("samples"))
            events << QStringLiteral("samples");
        batches << batch;
        elapsed << ms;
        if (onBatch)
            onBatch(*this);
    }
    void logMessage(int level, const QString &text) override { logs << qMakePair(level, text); }
};

} // namespace

class SimulationDriverTest : public QObject
{
    Q_OBJECT

private:
    ScriptFiles files;

    int run(const QString &model, RecordingSink &sink, int waitMs = -1)
    {
        Logger logger;
        Logger::Settings quietConsole;
        quietConsole.console = false;
        QString error;
        if (!logger.open(quietConsole, error))
            return -1;
        SimulationControl control;
        sink.setControl(&control);
        logger.setSink(&sink, true);
        SimulationDriver::Settings settings;
        settings.modelFile = model;
        settings.paths = {files.path(), files.path(), files.path()};
        settings.waitMs = waitMs;
        SimulationDriver driver(settings, logger, sink, control);
        return driver.run();
    }

private slots:
    void reportsInTheOrderAClientExpects()
    {
        RecordingSink sink;
        QCOMPARE(run(fastModel, sink), 0);
        QCOMPARE(sink.events,
            QStringList({"status1", "rules", "index", "info", "status2", "samples", "status3"}));
        QCOMPARE(sink.statuses,
            QVector<MonitorSink::Status>({MonitorSink::Status::Loading,
                MonitorSink::Status::Running, MonitorSink::Status::Finished}));
        QCOMPARE(sink.waitedFor, -2); // no -wait: never asked
        QCOMPARE(sink.info.name, QStringLiteral("Fast rod"));
        QCOMPARE(sink.info.files.size(), 1);
        QVERIFY(sink.info.files.first().endsWith(QLatin1String("heat1d-fast.lua")));
        QVERIFY(sink.info.loadingTime <= sink.info.runningTime);
    }

    // A view puts the first rule graphic into its large chart: with the
    // model's rules first, that is one of the model's values, not the time.
    void rulesAreNumberedModelFirst_data()
    {
        QTest::addColumn<QString>("model");
        QTest::addColumn<QStringList>("rules");
        QTest::addColumn<QStringList>("values"); // name [unit] rows x cols, indexed by type

        const QByteArray head = rod(2);
        const QStringList solver {"time [s] 1x1", "fem.iteration [] 1x1", "fem.error [] 1x1"};

        QTest::newRow("example with an index")
            << fastModel << QStringList {"rod", "probes", "solver"}
            << (QStringList {"T.max [degC] 1x1", "T.range [degC] 3x1", "q.left [W/m2] 1x1",
                    "T.probe [degC] 1x1 by 0"}
                   << solver);
        QTest::newRow("scalar values only")
            << files.write(head
                   + "MonitorRule{ name = 'bar', track = { { name = 'hot', quantity = 'max' }, "
                     "{ name = 'v', quantity = 'script', cols = 2, unit = 'm' } } }\n"
                     "MonitorRule{ name = 'cold', track = { { name = 'lo', quantity = 'min' } "
                     "} }\n")
            << QStringList {"bar", "cold", "solver"}
            << (QStringList {"hot [K] 1x1", "v [m] 1x2", "lo [K] 1x1"} << solver);
        QTest::newRow("no rule of its own")
            << files.write(head) << QStringList {"solver"} << solver;
    }

    void rulesAreNumberedModelFirst()
    {
        QFETCH(QString, model);
        RecordingSink sink;
        QCOMPARE(run(model, sink), 0);
        QStringList rules;
        QStringList values;
        int id = 0;
        for (const auto &rule : qAsConst(sink.rules)) {
            QCOMPARE(rule.id, int(rules.size()));
            rules << rule.name;
            for (int k = 0; k < rule.numTrackedData; ++k, ++id) {
                const auto &v = sink.values.at(id);
                QCOMPARE(v.id, id);
                QCOMPARE(v.ruleId, rule.id);
                values << QStringLiteral("%1 [%2] %3x%4%5")
                              .arg(v.name, v.unit)
                              .arg(v.numRows)
                              .arg(v.numCols)
                              .arg(v.indexedBy ? QStringLiteral(" by %1").arg(v.indexedBy - 1)
                                               : QString());
                // Index data comes under the number of the value's own rule.
                if (v.indexedBy) {
                    QCOMPARE(sink.rules.at(v.ruleId).indexTypes, QVector<int> {v.indexedBy - 1});
                    QCOMPARE(sink.indexTypeByRule.value(v.ruleId, -1), v.indexedBy - 1);
                    QVERIFY(!sink.labelsByRule.value(v.ruleId).isEmpty());
                }
            }
        }
        QCOMPARE(id, sink.values.size());
        QTEST(rules, "rules");
        QTEST(values, "values");
    }

    void everyBatchCarriesEveryValueWhole()
    {
        RecordingSink sink;
        QCOMPARE(run(fastModel, sink), 0);
        QCOMPARE(sink.batches.size(), 41);
        qint64 lastMs = 0;
        for (int b = 0; b < sink.batches.size(); ++b) {
            const auto &batch = sink.batches[b];
            QCOMPARE(batch.size(), sink.values.size());
            for (const auto &s : batch) {
                const auto &v = sink.values.at(s.id);
                const int lines = v.indexedBy ? sink.labelsByRule.value(v.ruleId).size() : 1;
                QCOMPARE(s.values.size(), lines * v.numRows * v.numCols);
            }
            // Time leads the batch: a client dates every sample by the
            // latest time before it.
            QCOMPARE(sink.values.at(batch.first().id).name, QStringLiteral("time"));
            QCOMPARE(batch.first().values.first(), 5.0 * b);
            QVERIFY(sink.elapsed[b] >= lastMs);
            lastMs = sink.elapsed[b];
        }
    }

    void indexTypeSetsIndexedBy()
    {
        const QString model = files.write(
            "Simulation{ name = 'i', endTime = 2, timeStep = 1 }\n"
            "Mesh{ type = 'rectangle', width = 1, height = 1, cellsX = 2, cellsY = 2 }\n"
            "StateVar{ initial = function(x, y) return x + 10 * y end }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n"
            "SpatialIndex{ name = 'p', indexType = 2, points = { { 'a', x = 0.5, y = 0.5 } } }\n"
            "MonitorRule{ name = 'none', track = {} }\n"
            "MonitorRule{ name = 'r', index = 'p', track = { { name = 'P', quantity = 'probes' } } "
            "}\n");
        RecordingSink sink;
        QCOMPARE(run(model, sink), 0);
        QCOMPARE(sink.rules.size(), 3);
        QCOMPARE(sink.rules[0].numTrackedData, 0); // an empty rule keeps the numbering
        QCOMPARE(sink.values.first().ruleId, 1);
        QCOMPARE(sink.values.first().indexedBy, 3);
        QCOMPARE(sink.indexTypeByRule.value(1), 2);
        QCOMPARE(sink.labelsByRule.value(1), QStringList {"a"});
        // Insulated square: the probe starts at the bilinear initial value 0.5 + 5.
        QCOMPARE(sink.batches.first().last().values, QVector<double> {5.5});
    }

    // Both take effect at the end of the step under way.
    void controlRequestsEndTheRun_data()
    {
        QTest::addColumn<bool>("terminate");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<int>("finalStatus");
        QTest::newRow("cancel ends Canceled with the success code")
            << false << int(SimulationDriver::Success) << int(MonitorSink::Status::Canceled);
        QTest::newRow("terminate ends Aborted with the terminated code")
            << true << int(SimulationDriver::Terminated) << int(MonitorSink::Status::Aborted);
    }

    void controlRequestsEndTheRun()
    {
        QFETCH(bool, terminate);
        RecordingSink sink;
        sink.onBatch = [terminate](RecordingSink &s) {
            if (s.batches.size() == 3)
                terminate ? s.control->requestTerminate() : s.control->requestCancel();
        };
        QTEST(run(fastModel, sink), "exitCode");
        QCOMPARE(sink.batches.size(), 3);
        QTEST(int(sink.statuses.last()), "finalStatus");
    }

    // The request is there before the endless script starts: the instruction
    // hook has to break into it.
    void cancelBreaksIntoARunawayScript()
    {
        const QString model
            = files.write(rod(3) + "ProcessScript(function(s) while true do end end)\n");
        RecordingSink sink;
        sink.onRules = [](RecordingSink &s) { s.control->requestCancel(); };
        QCOMPARE(run(model, sink), 0);
        QCOMPARE(sink.statuses.last(), MonitorSink::Status::Canceled);
        QVERIFY(sink.batches.isEmpty());
    }

    void waitsForAClientBeforeLoading()
    {
        RecordingSink sink;
        QCOMPARE(run(fastModel, sink, 0), 0);
        QCOMPARE(sink.waitedFor, 0);
        QCOMPARE(sink.events.first(), QStringLiteral("wait"));
    }

    void modelErrorIsReportedToTheSink()
    {
        const QString model
            = files.write("broken.lua", "Simulation{ name = 'b' }\nerror('no mesh here')\n");
        RecordingSink sink;
        QCOMPARE(run(model, sink), int(SimulationDriver::ModelError));
        QCOMPARE(sink.statuses.last(), MonitorSink::Status::Aborted);
        QVERIFY(sink.rules.isEmpty());
        const auto error = std::find_if(sink.logs.cbegin(), sink.logs.cend(),
            [](const QPair<int, QString> &l) { return l.first == 5; });
        QVERIFY(error != sink.logs.cend());
        QVERIFY(error->second.contains(QLatin1String("broken.lua:2: no mesh here")));
        QVERIFY(error->second.endsWith(QLatin1Char('\n')));
        for (const auto &l : qAsConst(sink.logs))
            QVERIFY(l.first >= 0 && l.first <= 7);
    }

    void untrackedScriptResultsAreWarnedAboutOnce()
    {
        const QString model
            = files.write(rod(3) + "ProcessScript(function(s) return { 7, stray = 2 } end)\n");
        RecordingSink sink;
        QCOMPARE(run(model, sink), 0);
        QStringList warnings;
        for (const auto &l : qAsConst(sink.logs))
            if (l.first == 4)
                warnings << l.second;
        QCOMPARE(warnings.size(), 2);
        QVERIFY(warnings.join(QString()).contains(QLatin1String("'stray'")));
        QVERIFY(warnings.join(QString()).contains(QLatin1String("'1'")));
    }

    void processScriptValuesAreTracked()
    {
        const QString model = files.write(rod(4)
            + "MonitorRule{ name = 'r', track = { { name = 'v', quantity = 'script', rows = 2 } } "
              "}\n"
              "ProcessScript{ every = 2, run = function(s) return { v = { s.step, #s.T } } end "
              "}\n");
        RecordingSink sink;
        QCOMPARE(run(model, sink), 0);
        QVector<QVector<double>> v;
        for (const auto &batch : qAsConst(sink.batches))
            v << batch.last().values;
        // Run at steps 0, 2, 4; between runs the last value holds.
        QCOMPARE(v, (QVector<QVector<double>> {{0, 3}, {0, 3}, {2, 3}, {2, 3}, {4, 3}}));
    }
};

QTEST_GUILESS_MAIN(SimulationDriverTest)
#include "tst_simulationdriver.moc"
