#pragma once

#include "model.h"
#include "simulatorluastate.h"

#include <QHash>
#include <QVector>

#include <memory>

// Runs a model script in a sandbox and turns its declarations (Simulation{},
// Mesh{}, ...) into a checked Model. Keeps the Lua state alive afterwards for
// the model's functions: boundary values of time, initial values, process
// scripts. Used by one thread at a time.
class ModelLoader
{
public:
    struct Paths {
        QString log;
        QString input;
        QString output;
    };

    explicit ModelLoader(std::size_t memoryLimitBytes);

    SimulatorLuaState &lua() { return *luaState; }
    const Model &model() const { return m; }

    // error names the file, line and declaration at fault.
    bool load(const QString &file, const QString &userParams, const Paths &paths, QString &error);
    // $LOG, $INPUT and $OUTPUT replaced by their values.
    QString expand(const QString &text) const;

    // f(args...) -> number
    bool callNumber(int ref, const QVector<double> &args, double &result, QString &error);
    // Runs a process script; results maps tracked-value names to values.
    bool runScript(const Model::Script &script, double time, int step,
        const std::vector<double> &values, const std::vector<double> &x,
        QHash<QString, QVector<double>> &results, QString &error);

private:
    void installConstructors(const QString &userParams);
    bool readDeclarations(QString &error);

    std::unique_ptr<SimulatorLuaState> luaState;
    Paths paths;
    Model m;
};
