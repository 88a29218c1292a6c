#pragma once

#include "heatsolver.h"
#include "modelloader.h"
#include "monitorsink.h"

#include <QElapsedTimer>
#include <QSet>

class Logger;
class SimulationControl;

// Loads a model and runs it step by step, reporting status, tracked values
// and log lines. run() is meant for a worker thread; everything it touches
// (model, Lua state, solver) belongs to that thread while it runs.
class SimulationDriver
{
public:
    enum ExitCode { Success = 0, UsageError = 1, ModelError = 2, Terminated = 3, FileError = 4 };

    struct Settings {
        QString modelFile;
        QString userParams;
        ModelLoader::Paths paths;
        std::size_t luaMemoryBytes = std::size_t(512) << 20;
        int waitMs = -1;
    };

    SimulationDriver(
        const Settings &settings, Logger &logger, MonitorSink &sink, SimulationControl &control);

    // Returns the process exit code.
    int run();

private:
    struct TrackedEntry {
        MonitorSink::TrackedValueInfo info;
        QString quantity;
        Model::Side side = Model::Side::Left;
        int index = -1; // model index for probes
    };

    bool load(QString &error);
    int runSteps();
    int stopped();
    void describeRules();
    bool initialValues(QString &error);
    bool updateBoundaries(double t, QString &error);
    bool runScripts(int step, QString &error);
    bool saveFields(int step, QString &error);
    bool sample(int step, const HeatSolver::StepResult &r, QString &error);
    int finish(MonitorSink::Status status, int code, const QString &error = QString());

    Settings settings;
    Logger &log;
    MonitorSink &sink;
    SimulationControl &control;
    ModelLoader loader;
    HeatSolver solver;
    QVector<TrackedEntry> tracked;
    QHash<QString, QVector<double>> scriptValues;
    QSet<QString> unknownScriptValues;
    MonitorSink::SimulationInfo info;
    QElapsedTimer sinceStart;
    double time = 0;
    int notConverged = 0;
};
