#include "simulationdriver.h"

#include "logger.h"
#include "simulationcontrol.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <chrono>
#include <cmath>

namespace {

QString number(double v) { return QString::number(v, 'g', 6); }

// The simulator's own rule, "solver": time, fem.iteration and fem.error.
constexpr int solverValues = 3;

// Whole steps up to endTime; the last may end past it.
int stepCount(const Model &m) { return int(std::ceil(m.endTime / m.timeStep - 1e-9)); }

} // namespace

SimulationDriver::SimulationDriver(
    const Settings &s, Logger &logger, MonitorSink &monitorSink, SimulationControl &simControl)
    : settings(s)
    , log(logger)
    , sink(monitorSink)
    , control(simControl)
    , loader(s.luaMemoryBytes)
{
    loader.lua().setControl(&control);
    loader.lua().setPrinter([this](const QString &text) { log.log(Logger::Info, text); });
}

int SimulationDriver::run()
{
    if (settings.waitMs >= 0) {
        log.log(Logger::Info,
            settings.waitMs == 0 ? QStringLiteral("Waiting for a monitoring client.")
                                 : QStringLiteral("Waiting up to %1 ms for a monitoring client.")
                                       .arg(settings.waitMs));
        if (!sink.waitForClient(settings.waitMs))
            log.log(Logger::Info, QStringLiteral("No monitoring client connected; going on."));
    }
    if (control.stopRequested())
        return stopped();

    sinceStart.start();
    info.loadingTime = QDateTime::currentDateTime();
    sink.statusChanged(MonitorSink::Status::Loading, info.loadingTime);
    log.log(Logger::Notice, QStringLiteral("Loading model %1").arg(settings.modelFile));
    QElapsedTimer loadTimer;
    loadTimer.start();
    QString error;
    if (!load(error)) {
        // A stop request breaks into a running script with a Lua error of its own.
        return control.stopRequested() ? stopped()
                                       : finish(MonitorSink::Status::Aborted, ModelError, error);
    }
    log.log(Logger::Time, QStringLiteral("Model loaded in %1 ms").arg(loadTimer.elapsed()));
    log.log(Logger::Memory,
        QStringLiteral("Lua memory after loading: %1 KiB; solver: %2 KiB")
            .arg(loader.lua().memoryUsed() / 1024)
            .arg(solver.memoryBytes() / 1024));

    info.runningTime = QDateTime::currentDateTime();
    sink.simulationInfo(info);
    sink.statusChanged(MonitorSink::Status::Running, info.runningTime);
    const int code = runSteps();

    log.log(Logger::Memory,
        QStringLiteral("Lua memory peak: %1 KiB; solver: %2 KiB")
            .arg(loader.lua().memoryPeak() / 1024)
            .arg(solver.memoryBytes() / 1024));
    return code;
}

int SimulationDriver::runSteps()
{
    const Model &m = loader.model();
    const int steps = stepCount(m);
    log.log(Logger::Notice,
        QStringLiteral("Running '%1': %2 steps of %3 s on %4 nodes")
            .arg(m.name)
            .arg(steps)
            .arg(number(m.timeStep))
            .arg(solver.numNodes()));

    const auto pace = std::chrono::duration_cast<std::chrono::steady_clock::duration>(
        std::chrono::duration<double>(m.wallTimePerStep));
    double solveMs = 0;
    QString error;
    HeatSolver::StepResult result;
    if (!runScripts(0, error) || !sample(0, result, error))
        return control.stopRequested() ? stopped()
                                       : finish(MonitorSink::Status::Aborted, ModelError, error);
    for (int step = 1; step <= steps && !control.stopRequested(); ++step) {
        const auto stepStart = std::chrono::steady_clock::now();
        // Every step is a full time step: the last one may end past endTime.
        const double next = step * m.timeStep;
        if (!updateBoundaries(next, error))
            return control.stopRequested()
                ? stopped()
                : finish(MonitorSink::Status::Aborted, ModelError, error);
        QElapsedTimer solveTimer;
        solveTimer.start();
        result = solver.step();
        solveMs += solveTimer.nsecsElapsed() / 1e6;
        time = next;
        if (!result.converged && ++notConverged <= 5)
            log.log(Logger::Warning,
                QStringLiteral("Step %1: the linear solver stopped after %2 iterations with "
                               "residual %3 (tolerance %4)%5")
                    .arg(step)
                    .arg(result.iterations)
                    .arg(result.residual, 0, 'g', 3)
                    .arg(m.solver.tolerance, 0, 'g', 3)
                    .arg(notConverged == 5 ? QStringLiteral("; further such warnings are not shown")
                                           : QString()));
        log.log(Logger::Debug,
            QStringLiteral("Step %1: %2 iterations, residual %3")
                .arg(step)
                .arg(result.iterations)
                .arg(result.residual, 0, 'g', 3));
        if (!runScripts(step, error))
            return control.stopRequested()
                ? stopped()
                : finish(MonitorSink::Status::Aborted, ModelError, error);
        if ((step % m.sampleEvery == 0 || step == steps) && !sample(step, result, error))
            return finish(MonitorSink::Status::Aborted, ModelError, error);
        if (!saveFields(step, error))
            return finish(MonitorSink::Status::Aborted, FileError, error);
        log.log(Logger::Detail,
            QStringLiteral("Step %1/%2, t = %3 s: %4 min %5, mean %6, max %7")
                .arg(step)
                .arg(steps)
                .arg(number(time), m.var.name, number(solver.min()), number(solver.mean()),
                    number(solver.max())));
        if (steps >= 10 && step % (steps / 10) == 0) {
            log.log(Logger::Info,
                QStringLiteral("%1 % done: t = %2 s, %3 mean %4 %5")
                    .arg(step * 100 / steps)
                    .arg(number(time), m.var.name, number(solver.mean()), m.var.unit));
            log.log(Logger::Time,
                QStringLiteral("Solver time so far: %1 ms (%2 ms per step)")
                    .arg(solveMs, 0, 'f', 1)
                    .arg(solveMs / step, 0, 'f', 3));
        }
        if (m.wallTimePerStep > 0 && !control.stopRequested())
            control.pace(stepStart + pace - std::chrono::steady_clock::now());
    }

    log.log(Logger::Time,
        QStringLiteral("Solver time: %1 ms; wall time: %2 ms")
            .arg(solveMs, 0, 'f', 1)
            .arg(sinceStart.elapsed()));
    if (control.stopRequested())
        return stopped();
    log.log(Logger::Notice,
        QStringLiteral("Simulation finished at t = %1 s: %2 min %3, mean %4, max %5 %6")
            .arg(number(time), m.var.name, number(solver.min()), number(solver.mean()),
                number(solver.max()), m.var.unit));
    return finish(MonitorSink::Status::Finished, Success);
}

// Cancel ends like a finished run (exit code 0), terminate as a failure.
int SimulationDriver::stopped()
{
    if (control.request() == SimulationControl::Cancel) {
        log.log(
            Logger::Notice, QStringLiteral("Simulation canceled at t = %1 s.").arg(number(time)));
        return finish(MonitorSink::Status::Canceled, Success);
    }
    return finish(MonitorSink::Status::Aborted, Terminated,
        QStringLiteral("Simulation terminated at t = %1 s.").arg(number(time)));
}

int SimulationDriver::finish(MonitorSink::Status status, int code, const QString &error)
{
    if (!error.isEmpty())
        log.fatal(error);
    sink.statusChanged(status, QDateTime::currentDateTime());
    return code;
}

bool SimulationDriver::load(QString &error)
{
    if (!loader.load(settings.modelFile, settings.userParams, settings.paths, error))
        return false;
    const Model &m = loader.model();
    info.name = m.name;
    info.description = m.description;
    info.files = QStringList {QFileInfo(settings.modelFile).absoluteFilePath()};
    info.plannedEndTime = m.endTime;
    info.plannedSteps = stepCount(m);
    if (!initialValues(error))
        return false;
    describeRules();
    return true;
}

bool SimulationDriver::initialValues(QString &error)
{
    const Model &m = loader.model();
    const auto xs = HeatSolver::nodeCoordinates(m.mesh, false);
    const auto ys = HeatSolver::nodeCoordinates(m.mesh, true);
    std::vector<double> initial(xs.size(), m.var.initial);
    if (m.var.initialRef >= 0) {
        for (size_t i = 0; i < xs.size(); ++i) {
            if (!loader.callNumber(m.var.initialRef, {xs[i], ys[i]}, initial[i], error)) {
                error = QStringLiteral("StateVar %1: initial value: %2").arg(m.var.name, error);
                return false;
            }
        }
    }
    solver.setup(m, initial);
    return updateBoundaries(0, error);
}

bool SimulationDriver::updateBoundaries(double t, QString &error)
{
    const Model &m = loader.model();
    for (int i = 0; i < m.boundaries.size(); ++i) {
        const auto &b = m.boundaries[i];
        if (b.valueRef < 0)
            continue;
        double v = 0;
        if (!loader.callNumber(b.valueRef, {t}, v, error)) {
            error = QStringLiteral("BoundaryCondition %1 at t = %2: %3")
                        .arg(Model::sideName(b.side), number(t), error);
            return false;
        }
        solver.setBoundaryValue(i, v);
    }
    return true;
}

// The model's rules come first, in declaration order, and the simulator's own
// rule (time and the linear solver's effort) last: a view puts the first rule
// graphic into its large chart, and the time track's graphic never grows.
void SimulationDriver::describeRules()
{
    const Model &m = loader.model();
    QVector<MonitorSink::RuleInfo> rules;
    tracked.clear();
    auto addValue = [this](int rule, const QString &name, const QString &unit,
                        const QString &quantity) -> TrackedEntry & {
        TrackedEntry e;
        e.info.id = tracked.size();
        e.info.ruleId = rule;
        e.info.name = name;
        e.info.unit = unit;
        e.quantity = quantity;
        tracked << e;
        return tracked.last();
    };
    for (int r = 0; r < m.rules.size(); ++r) {
        const Model::Rule &rule = m.rules[r];
        MonitorSink::RuleInfo ri {r, rule.name, rule.values.size(), {}};
        if (rule.index >= 0)
            ri.indexTypes << m.indexes[rule.index].type;
        for (const Model::Tracked &t : rule.values) {
            TrackedEntry &e = addValue(r, t.name, t.unit, t.quantity);
            e.info.numRows = t.rows;
            e.info.numCols = t.cols;
            e.side = t.side;
            if (t.quantity == QLatin1String("probes")) {
                e.index = rule.index;
                e.info.indexedBy = 1 + m.indexes[rule.index].type;
            }
        }
        rules << ri;
    }
    const int solverRule = rules.size();
    rules << MonitorSink::RuleInfo {solverRule, QStringLiteral("solver"), solverValues, {}};
    addValue(solverRule, QStringLiteral("time"), QStringLiteral("s"), QStringLiteral("time"));
    addValue(
        solverRule, QStringLiteral("fem.iteration"), QString(), QStringLiteral("fem.iteration"));
    addValue(solverRule, QStringLiteral("fem.error"), QString(), QStringLiteral("fem.error"));
    QVector<MonitorSink::TrackedValueInfo> infos;
    for (const auto &e : qAsConst(tracked))
        infos << e.info;
    sink.ruleInfo(rules, infos);
    for (int r = 0; r < m.rules.size(); ++r) {
        if (m.rules[r].index < 0)
            continue;
        const Model::Index &index = m.indexes[m.rules[r].index];
        QStringList labels;
        for (const auto &p : index.points)
            labels << p.label;
        sink.indexData(r, index.type, labels);
    }
    for (const auto &e : qAsConst(tracked))
        log.log(Logger::Detail,
            QStringLiteral("Tracked value %1: %2 [%3] of rule %4, %5 x %6%7")
                .arg(e.info.id)
                .arg(e.info.name, e.info.unit)
                .arg(rules[e.info.ruleId].name)
                .arg(e.info.numRows)
                .arg(e.info.numCols)
                .arg(e.info.indexedBy ? QStringLiteral(", indexed") : QString()));
}

bool SimulationDriver::runScripts(int step, QString &error)
{
    for (const auto &script : loader.model().scripts) {
        if (step % script.every != 0)
            continue;
        QHash<QString, QVector<double>> results;
        if (!loader.runScript(script, time, step, solver.values(), solver.xs(), results, error))
            return false;
        for (auto it = results.cbegin(); it != results.cend(); ++it)
            scriptValues.insert(it.key(), it.value());
    }
    return true;
}

bool SimulationDriver::sample(int step, const HeatSolver::StepResult &r, QString &error)
{
    const Model &m = loader.model();
    QVector<MonitorSink::Sample> batch;
    batch.reserve(tracked.size());
    QStringList regression;
    // The solver's values are declared last but sampled first: a client takes
    // the simulated time of a sample from the latest time before it.
    const int count = tracked.size();
    for (int k = 0; k < count; ++k) {
        const TrackedEntry &e = tracked.at((count - solverValues + k) % count);
        QVector<double> v;
        const QString &q = e.quantity;
        if (q == QLatin1String("time"))
            v << time;
        else if (q == QLatin1String("fem.iteration"))
            v << r.iterations;
        else if (q == QLatin1String("fem.error"))
            v << r.residual;
        else if (q == QLatin1String("max"))
            v << solver.max();
        else if (q == QLatin1String("min"))
            v << solver.min();
        else if (q == QLatin1String("mean"))
            v << solver.mean();
        else if (q == QLatin1String("minMeanMax"))
            v << solver.min() << solver.mean() << solver.max();
        else if (q == QLatin1String("heatFlux"))
            v << solver.heatFlux(e.side);
        else if (q == QLatin1String("probes"))
            for (const auto &p : m.indexes[e.index].points)
                v << solver.valueAt(p.x, p.y);
        else if (q == QLatin1String("script")) {
            const int size = e.info.numRows * e.info.numCols;
            v = scriptValues.value(e.info.name, QVector<double>(size, 0.0));
            if (v.size() != size) {
                error = QStringLiteral("ProcessScript value '%1' has %2 components; its "
                                       "MonitorRule declares %3 x %4")
                            .arg(e.info.name)
                            .arg(v.size())
                            .arg(e.info.numRows)
                            .arg(e.info.numCols);
                return false;
            }
        }
        QStringList parts;
        for (double d : qAsConst(v))
            parts << QString::number(d, 'g', 15);
        regression << e.info.name + QLatin1Char('=') + parts.join(QLatin1Char(','));
        batch << MonitorSink::Sample {e.info.id, v};
    }
    for (auto it = scriptValues.cbegin(); it != scriptValues.cend(); ++it) {
        const bool known
            = std::any_of(tracked.cbegin(), tracked.cend(), [&](const TrackedEntry &e) {
                  return e.quantity == QLatin1String("script") && e.info.name == it.key();
              });
        if (!known && !unknownScriptValues.contains(it.key())) {
            unknownScriptValues.insert(it.key());
            log.log(Logger::Warning,
                QStringLiteral("ProcessScript returns '%1', which no "
                               "MonitorRule tracks (quantity = \"script\").")
                    .arg(it.key()));
        }
    }
    sink.samples(batch, sinceStart.elapsed());
    log.regression(QStringLiteral("step %1 %2").arg(step).arg(regression.join(QLatin1Char(' '))));
    return true;
}

bool SimulationDriver::saveFields(int step, QString &error)
{
    const Model &m = loader.model();
    for (const auto &save : m.saves) {
        if (step == 0 || step % save.every != 0)
            continue;
        QString path = save.file;
        if (path.contains(QLatin1String("%d")))
            path.replace(QLatin1String("%d"), QString::number(step));
        QDir().mkpath(QFileInfo(path).absolutePath());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
            error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
            return false;
        }
        const bool twoD = m.mesh.dim == 2;
        QByteArray out = (twoD ? "x,y," : "x,") + m.var.name.toUtf8() + '\n';
        const auto &T = solver.values();
        for (size_t i = 0; i < T.size(); ++i) {
            out += QByteArray::number(solver.xs()[i], 'g', 10) + ',';
            if (twoD)
                out += QByteArray::number(solver.ys()[i], 'g', 10) + ',';
            out += QByteArray::number(T[i], 'g', 12) + '\n';
        }
        if (file.write(out) != out.size()) {
            error = QStringLiteral("Cannot write %1: %2").arg(path, file.errorString());
            return false;
        }
        log.log(Logger::Detail, QStringLiteral("Saved %1").arg(path));
    }
    return true;
}
