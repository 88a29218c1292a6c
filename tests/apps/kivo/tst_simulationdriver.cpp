// Drives simulations with a recording monitoring sink: what a monitoring
// server will see, in the order it will see it.

#include "logger.h"
#include "monitorsink.h"
#include "simulationcontrol.h"
#include "simulationdriver.h"

#include <QTemporaryDir>
#include <QtTest>

#include <functional>
#include <mutex>

namespace {

class RecordingSink : public MonitorSink
{
public:
    std::mutex mutex;
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
        std::lock_guard<std::mutex> lock(mutex);
        events << QStringLiteral("wait");
        waitedFor = timeoutMs;
        return true;
    }
    void statusChanged(Status status, const QDateTime &when) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        events << QStringLiteral("status%1").arg(int(status));
        statuses << status;
        QVERIFY(when.isValid());
    }
    void simulationInfo(const SimulationInfo &i) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        events << QStringLiteral("info");
        info = i;
    }
    void ruleInfo(const QVector<RuleInfo> &r, const QVector<TrackedValueInfo> &v) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        events << QStringLiteral("rules");
        rules = r;
        values = v;
        if (onRules)
            onRules(*this);
    }
    void indexData(int ruleId, int indexType, const QStringList &labels) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        events << QStringLiteral("index");
        labelsByRule.insert(ruleId, labels);
        indexTypeByRule.insert(ruleId, indexType);
    }
    void samples(const QVector<Sample> &batch, qint64 ms) override
    {
        {
            std::lock_guard<std::mutex> lock(mutex);
            if (events.isEmpty() || events.last() != QLatin1String("samples"))
                events << QStringLiteral("samples");
            batches << batch;
            elapsed << ms;
        }
        if (onBatch)
            onBatch(*this);
    }
    void logMessage(int level, const QString &text) override
    {
        std::lock_guard<std::mutex> lock(mutex);
        logs << qMakePair(level, text);
    }
};

} // namespace

class SimulationDriverTest : public QObject
{
    Q_OBJECT

private:
    QTemporaryDir dir;

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
        settings.paths = {dir.path(), dir.path(), dir.path()};
        settings.waitMs = waitMs;
        SimulationDriver driver(settings, logger, sink, control);
        return driver.run();
    }

    QString write(const QString &name, const QByteArray &text)
    {
        QFile f(dir.filePath(name));
        if (!f.open(QIODevice::WriteOnly))
            return QString();
        f.write(text);
        return f.fileName();
    }

private slots:
    void reportsInTheOrderAClientExpects()
    {
        RecordingSink sink;
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink), 0);
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

    void trackedValuesAreNumberedOverTheRules()
    {
        RecordingSink sink;
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink), 0);
        QStringList names;
        int id = 0;
        for (const auto &rule : qAsConst(sink.rules)) {
            QCOMPARE(rule.id, int(&rule - sink.rules.constData()));
            for (int k = 0; k < rule.numTrackedData; ++k, ++id) {
                const auto &v = sink.values.at(id);
                QCOMPARE(v.id, id);
                QCOMPARE(v.ruleId, rule.id);
                names << v.name;
            }
        }
        QCOMPARE(id, sink.values.size());
        QCOMPARE(names,
            QStringList(
                {"time", "fem.iteration", "fem.error", "T.max", "T.range", "q.left", "T.probe"}));
        const auto &range = sink.values.at(4);
        QCOMPARE(range.numRows * range.numCols, 3);
        QCOMPARE(range.unit, QStringLiteral("degC"));
        const auto &probe = sink.values.at(6);
        QCOMPARE(probe.indexedBy, 1);
        QCOMPARE(sink.rules.at(probe.ruleId).indexTypes, QVector<int> {0});
        QCOMPARE(sink.labelsByRule.value(probe.ruleId), QStringList({"left", "right"}));
    }

    void everyBatchCarriesEveryValueWhole()
    {
        RecordingSink sink;
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink), 0);
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
            QCOMPARE(batch.first().values.first(), 5.0 * b); // time
            QVERIFY(sink.elapsed[b] >= lastMs);
            lastMs = sink.elapsed[b];
        }
    }

    void indexTypeSetsIndexedBy()
    {
        const QString model = write("index2.lua",
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
        QCOMPARE(sink.rules[1].numTrackedData, 0); // an empty rule keeps the numbering
        QCOMPARE(sink.values.last().id, 3);
        QCOMPARE(sink.values.last().ruleId, 2);
        QCOMPARE(sink.values.last().indexedBy, 3);
        QCOMPARE(sink.indexTypeByRule.value(2), 2);
        // Insulated square: the probe starts at the bilinear initial value 0.5 + 5.
        QCOMPARE(sink.batches.first().last().values, QVector<double> {5.5});
    }

    void cancelStopsAtTheEndOfTheStep()
    {
        RecordingSink sink;
        sink.onBatch = [](RecordingSink &s) {
            if (s.batches.size() == 5)
                s.control->requestCancel();
        };
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink), 0);
        QCOMPARE(sink.batches.size(), 5);
        QCOMPARE(sink.statuses.last(), MonitorSink::Status::Canceled);
    }

    void terminateAbortsWithTheTerminatedCode()
    {
        RecordingSink sink;
        sink.onBatch = [](RecordingSink &s) {
            if (s.batches.size() == 3)
                s.control->requestTerminate();
        };
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink),
            int(SimulationDriver::Terminated));
        QCOMPARE(sink.batches.size(), 3);
        QCOMPARE(sink.statuses.last(), MonitorSink::Status::Aborted);
    }

    // The request is there before the endless script starts: the instruction
    // hook has to break into it.
    void cancelBreaksIntoARunawayScript()
    {
        const QString model = write("endless.lua",
            "Simulation{ name = 'e', endTime = 3, timeStep = 1 }\n"
            "Mesh{ type = 'line', length = 1, cells = 2 }\n"
            "StateVar{ initial = 1 }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n"
            "ProcessScript(function(s) while true do end end)\n");
        RecordingSink sink;
        sink.onRules = [](RecordingSink &s) { s.control->requestCancel(); };
        QCOMPARE(run(model, sink), 0);
        QCOMPARE(sink.statuses.last(), MonitorSink::Status::Canceled);
        QVERIFY(sink.batches.isEmpty());
    }

    void waitsForAClientBeforeLoading()
    {
        RecordingSink sink;
        QCOMPARE(run(QStringLiteral(KVC_EXAMPLES_DIR "/heat1d-fast.lua"), sink, 0), 0);
        QCOMPARE(sink.waitedFor, 0);
        QCOMPARE(sink.events.first(), QStringLiteral("wait"));
    }

    void modelErrorIsReportedToTheSink()
    {
        const QString model
            = write("broken.lua", "Simulation{ name = 'b' }\nerror('no mesh here')\n");
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
        const QString model = write("stray.lua",
            "Simulation{ name = 's', endTime = 3, timeStep = 1 }\n"
            "Mesh{ type = 'line', length = 1, cells = 2 }\n"
            "StateVar{ initial = 1 }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n"
            "ProcessScript(function(s) return { 7, stray = 2 } end)\n");
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
        const QString model = write("script.lua",
            "Simulation{ name = 's', endTime = 4, timeStep = 1 }\n"
            "Mesh{ type = 'line', length = 1, cells = 2 }\n"
            "StateVar{ initial = 1 }\n"
            "PropertySet{ conductivity = 1, density = 1, heatCapacity = 1 }\n"
            "MonitorRule{ name = 'r', track = { { name = 'v', quantity = 'script', rows = 2 } } }\n"
            "ProcessScript{ every = 2, run = function(s) return { v = { s.step, #s.T } } end }\n");
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
