#pragma once

#include <QString>
#include <QVector>

// What a model script declares, checked and with defaults filled in.
// Lua functions (time-dependent values, process scripts) are kept as
// registry references into the model's Lua state; -1 means none.
struct Model {
    enum class Side { Left, Right, Bottom, Top };
    enum class BcType { Temperature, Flux, Convection };

    struct Mesh {
        QString name;
        int dim = 1;
        double lengthX = 1;
        double lengthY = 1;
        int cellsX = 10;
        int cellsY = 1;
    };
    struct StateVar {
        QString name = QStringLiteral("T");
        QString unit;
        double initial = 0;
        int initialRef = -1; // function(x, y) giving the initial value
    };
    struct Material {
        QString name;
        double conductivity = 0;
        double density = 0;
        double heatCapacity = 0;
        double heatSource = 0; // W/m^3
    };
    struct Boundary {
        Side side = Side::Left;
        BcType type = BcType::Flux;
        double value = 0; // temperature, or heat flux into the body (W/m^2)
        int valueRef = -1; // function(t) giving value
        double h = 0; // convection coefficient (W/m^2 K)
        double ambient = 0;
    };
    struct Solver {
        QString method = QStringLiteral("cg"); // "cg" or "gaussSeidel"
        double tolerance = 1e-10;
        int maxIterations = 2000;
    };
    struct Probe {
        QString label;
        double x = 0;
        double y = 0;
    };
    struct Index {
        QString name;
        int type = 0;
        QVector<Probe> points;
    };
    struct Tracked {
        QString name;
        QString quantity; // max min mean minMeanMax probes heatFlux script
        QString unit;
        Side side = Side::Left;
        int rows = 1;
        int cols = 1;
    };
    struct Rule {
        QString name;
        int index = -1; // position in indexes
        QVector<Tracked> values;
    };
    struct Script {
        int every = 1;
        int funcRef = -1;
        int line = 0;
    };
    struct Save {
        int every = 1;
        QString file; // path pattern, macros expanded; %d: the step number
    };

    QString file;
    QString name;
    QString description;
    double endTime = 0;
    double timeStep = 0;
    double wallTimePerStep = 0;
    int sampleEvery = 1;
    Mesh mesh;
    StateVar var;
    Material material;
    QVector<Boundary> boundaries;
    Solver solver;
    QVector<Index> indexes;
    QVector<Rule> rules;
    QVector<Script> scripts;
    QVector<Save> saves;

    static QString sideName(Side side)
    {
        static const char *const names[] = {"left", "right", "bottom", "top"};
        return QLatin1String(names[int(side)]);
    }
};
