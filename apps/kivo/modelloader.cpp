#include "modelloader.h"

#include <QFileInfo>
#include <QSet>

#include <lua.hpp>

#include <cmath>
#include <cstring>

namespace {

const char *const declarationsKey = "kivo.declarations";

// Constructor(table) or ProcessScript(function): records the declaration with
// the kind and the line that made it, for the loader to check afterwards.
int declare(lua_State *L)
{
    const char *kind = lua_tostring(L, lua_upvalueindex(1));
    const bool isScript = std::strcmp(kind, "ProcessScript") == 0;
    if (!lua_istable(L, 1) && !(isScript && lua_isfunction(L, 1)))
        return luaL_error(L, "%s expects a table%s, got %s", kind, isScript ? " or a function" : "",
            luaL_typename(L, 1));
    lua_Debug ar;
    int line = 0;
    if (lua_getstack(L, 1, &ar) && lua_getinfo(L, "l", &ar))
        line = ar.currentline;
    lua_getfield(L, LUA_REGISTRYINDEX, declarationsKey);
    lua_createtable(L, 0, 3);
    lua_pushstring(L, kind);
    lua_setfield(L, -2, "kind");
    lua_pushinteger(L, line);
    lua_setfield(L, -2, "line");
    lua_pushvalue(L, 1);
    lua_setfield(L, -2, "body");
    lua_seti(L, -2, luaL_len(L, -2) + 1);
    lua_settop(L, 1);
    return 1;
}

int sharedCodeMarker(lua_State *) { return 0; }

// expandPath("$OUTPUT/x.csv"): the macros as the simulator expands them.
int expandPath(lua_State *L)
{
    const auto *loader = static_cast<const ModelLoader *>(lua_touserdata(L, lua_upvalueindex(1)));
    const QString text = QString::fromUtf8(luaL_checkstring(L, 1));
    lua_pushstring(L, loader->expand(text).toUtf8().constData());
    return 1;
}

// Reads the fields of the table on top of the stack, with the declaration's
// kind and line in every message.
class Fields
{
public:
    Fields(lua_State *L, const QString &where)
        : L(L)
        , where(where)
    { }

    QString error;

    bool allowOnly(const QStringList &names)
    {
        lua_pushnil(L);
        while (lua_next(L, -2)) {
            lua_pop(L, 1);
            if (lua_type(L, -1) == LUA_TNUMBER)
                continue; // positional entries are read by the caller
            const QString key = SimulatorLuaState::describe(L, -1);
            if (!names.contains(key)) {
                lua_pop(L, 1);
                return fail(QStringLiteral("unknown field '%1' (known: %2)")
                                .arg(key, names.join(QStringLiteral(", "))));
            }
        }
        return true;
    }

    bool number(const char *key, double &out, bool required = false)
    {
        lua_getfield(L, -1, key);
        const int t = lua_type(L, -1);
        bool ok = true;
        if (t == LUA_TNUMBER)
            out = lua_tonumber(L, -1);
        else if (t != LUA_TNIL || required)
            ok = fail(QStringLiteral("%1 must be a number, not %2")
                          .arg(QLatin1String(key), SimulatorLuaState::describe(L, -1)));
        lua_pop(L, 1);
        if (ok && !std::isfinite(out))
            ok = fail(QStringLiteral("%1 must be a finite number").arg(QLatin1String(key)));
        return ok;
    }

    bool positive(const char *key, double &out, bool required = true)
    {
        if (!number(key, out, required))
            return false;
        if (out <= 0)
            return fail(
                QStringLiteral("%1 must be positive, not %2").arg(QLatin1String(key)).arg(out));
        return true;
    }

    bool integer(const char *key, int &out, int min, bool required = false)
    {
        double d = out;
        if (!number(key, d, required))
            return false;
        if (d != std::floor(d) || d < min || d > 1e8)
            return fail(QStringLiteral("%1 must be a whole number of at least %2, not %3")
                            .arg(QLatin1String(key))
                            .arg(min)
                            .arg(d));
        out = int(d);
        return true;
    }

    bool text(const char *key, QString &out, bool required = false)
    {
        lua_getfield(L, -1, key);
        const int t = lua_type(L, -1);
        bool ok = true;
        if (t == LUA_TSTRING)
            out = QString::fromUtf8(lua_tostring(L, -1));
        else if (t != LUA_TNIL || required)
            ok = fail(QStringLiteral("%1 must be a text, not %2")
                          .arg(QLatin1String(key), SimulatorLuaState::describe(L, -1)));
        lua_pop(L, 1);
        return ok;
    }

    // A number, or a function kept in the registry.
    bool numberOrFunction(const char *key, double &value, int &ref, bool required)
    {
        lua_getfield(L, -1, key);
        if (lua_isfunction(L, -1)) {
            ref = luaL_ref(L, LUA_REGISTRYINDEX);
            return true;
        }
        lua_pop(L, 1);
        return number(key, value, required);
    }

    bool side(const char *key, Model::Side &out, bool twoD)
    {
        QString name;
        if (!text(key, name, true))
            return false;
        const QStringList names
            = twoD ? QStringList {"left", "right", "bottom", "top"} : QStringList {"left", "right"};
        const int i = names.indexOf(name);
        if (i < 0)
            return fail(QStringLiteral("%1 must be one of %2, not '%3'")
                            .arg(QLatin1String(key), names.join(QStringLiteral(", ")), name));
        out = Model::Side(i);
        return true;
    }

    lua_State *state() const { return L; }

    bool fail(const QString &what)
    {
        if (error.isEmpty())
            error = where + what;
        return false;
    }

private:
    lua_State *L;
    QString where;
};

// One reader per constructor: each checks its table (on top of the stack)
// and adds to the model; the first broken rule ends up in f.error.
void readSimulation(Fields &f, Model &m)
{
    f.allowOnly({"name", "description", "endTime", "timeStep", "wallTimePerStep", "sampleEvery"})
        && f.text("name", m.name, true) && f.text("description", m.description)
        && f.positive("endTime", m.endTime) && f.positive("timeStep", m.timeStep)
        && f.number("wallTimePerStep", m.wallTimePerStep)
        && f.integer("sampleEvery", m.sampleEvery, 1);
    if (f.error.isEmpty() && (m.wallTimePerStep < 0 || m.wallTimePerStep > 60))
        f.fail(QStringLiteral("wallTimePerStep must be 0 to 60 seconds"));
    if (f.error.isEmpty() && m.endTime / m.timeStep > 1e7)
        f.fail(QStringLiteral("endTime / timeStep gives more than 10 million steps"));
}

void readMesh(Fields &f, Model &m)
{
    QString type = QStringLiteral("line");
    f.allowOnly({"name", "type", "length", "cells", "width", "height", "cellsX", "cellsY"})
        && f.text("name", m.mesh.name) && f.text("type", type);
    if (f.error.isEmpty() && type == QLatin1String("line")) {
        m.mesh.dim = 1;
        f.positive("length", m.mesh.lengthX) && f.integer("cells", m.mesh.cellsX, 1, true);
    } else if (f.error.isEmpty() && type == QLatin1String("rectangle")) {
        m.mesh.dim = 2;
        f.positive("width", m.mesh.lengthX) && f.positive("height", m.mesh.lengthY)
            && f.integer("cellsX", m.mesh.cellsX, 1, true)
            && f.integer("cellsY", m.mesh.cellsY, 1, true);
    } else if (f.error.isEmpty()) {
        f.fail(QStringLiteral("type must be \"line\" or \"rectangle\", not '%1'").arg(type));
    }
    if (f.error.isEmpty() && double(m.mesh.cellsX + 1) * (m.mesh.cellsY + 1) > 4e6)
        f.fail(QStringLiteral("more than 4 million nodes"));
}

void readStateVar(Fields &f, Model &m)
{
    f.allowOnly({"name", "unit", "initial"}) && f.text("name", m.var.name)
        && f.text("unit", m.var.unit)
        && f.numberOrFunction("initial", m.var.initial, m.var.initialRef, false);
}

void readPropertySet(Fields &f, Model &m)
{
    f.allowOnly({"name", "conductivity", "density", "heatCapacity", "heatSource"})
        && f.text("name", m.material.name) && f.positive("conductivity", m.material.conductivity)
        && f.positive("density", m.material.density)
        && f.positive("heatCapacity", m.material.heatCapacity)
        && f.number("heatSource", m.material.heatSource);
}

void readBoundaryCondition(Fields &f, Model &m, bool twoD)
{
    Model::Boundary b;
    QString type;
    if (f.allowOnly({"side", "type", "value", "h", "ambient"}) && f.side("side", b.side, twoD)
        && f.text("type", type, true)) {
        if (type == QLatin1String("temperature")) {
            b.type = Model::BcType::Temperature;
            f.numberOrFunction("value", b.value, b.valueRef, true);
        } else if (type == QLatin1String("flux")) {
            b.type = Model::BcType::Flux;
            f.numberOrFunction("value", b.value, b.valueRef, true);
        } else if (type == QLatin1String("convection")) {
            b.type = Model::BcType::Convection;
            f.positive("h", b.h) && f.numberOrFunction("ambient", b.ambient, b.valueRef, true);
        } else {
            f.fail(QStringLiteral("type must be \"temperature\", \"flux\" or "
                                  "\"convection\", not '%1'")
                       .arg(type));
        }
    }
    for (const auto &other : qAsConst(m.boundaries))
        if (f.error.isEmpty() && other.side == b.side)
            f.fail(QStringLiteral("side %1 has a condition already").arg(Model::sideName(b.side)));
    m.boundaries << b;
}

void readNumericalSolver(Fields &f, Model &m)
{
    f.allowOnly({"method", "tolerance", "maxIterations"}) && f.text("method", m.solver.method)
        && f.positive("tolerance", m.solver.tolerance, false)
        && f.integer("maxIterations", m.solver.maxIterations, 1);
    if (f.error.isEmpty() && m.solver.method != QLatin1String("cg")
        && m.solver.method != QLatin1String("gaussSeidel"))
        f.fail(QStringLiteral("method must be \"cg\" or \"gaussSeidel\", not '%1'")
                   .arg(m.solver.method));
}

void readPhysicalMethod(Fields &f, Model &)
{
    QString type = QStringLiteral("heatConduction"), scheme = QStringLiteral("implicitEuler");
    f.allowOnly({"type", "timeScheme"}) && f.text("type", type) && f.text("timeScheme", scheme);
    if (f.error.isEmpty() && type != QLatin1String("heatConduction"))
        f.fail(QStringLiteral("only type \"heatConduction\" is available, not '%1'").arg(type));
    if (f.error.isEmpty() && scheme != QLatin1String("implicitEuler"))
        f.fail(
            QStringLiteral("only timeScheme \"implicitEuler\" is available, not '%1'").arg(scheme));
}

void readSpatialIndex(Fields &f, Model &m)
{
    lua_State *L = f.state();
    Model::Index index;
    if (f.allowOnly({"name", "indexType", "points"}) && f.text("name", index.name, true)
        && f.integer("indexType", index.type, 0)) {
        if (index.type > 2)
            f.fail(QStringLiteral("indexType must be 0, 1 or 2"));
        lua_getfield(L, -1, "points");
        if (f.error.isEmpty() && !lua_istable(L, -1))
            f.fail(QStringLiteral("points must be a list of { label, x = ..., y = ... }"));
        const int n = f.error.isEmpty() ? int(luaL_len(L, -1)) : 0;
        for (int k = 1; k <= n && f.error.isEmpty(); ++k) {
            lua_geti(L, -1, k);
            Model::Probe probe;
            if (!lua_istable(L, -1)) {
                f.fail(QStringLiteral("point %1 must be a table").arg(k));
            } else {
                lua_geti(L, -1, 1);
                probe.label = lua_isstring(L, -1) ? QString::fromUtf8(lua_tostring(L, -1))
                                                  : QStringLiteral("point %1").arg(k);
                lua_pop(L, 1);
                f.number("x", probe.x, true) && f.number("y", probe.y);
            }
            lua_pop(L, 1);
            index.points << probe;
        }
        lua_pop(L, 1);
        if (f.error.isEmpty() && index.points.isEmpty())
            f.fail(QStringLiteral("points is empty"));
    }
    m.indexes << index;
}

void readMonitorRule(Fields &f, Model &m, bool twoD)
{
    lua_State *L = f.state();
    Model::Rule rule;
    QString indexName;
    if (f.allowOnly({"name", "index", "track"}) && f.text("name", rule.name, true)
        && f.text("index", indexName)) {
        if (!indexName.isEmpty()) {
            for (int k = 0; k < m.indexes.size(); ++k)
                if (m.indexes[k].name == indexName)
                    rule.index = k;
            if (rule.index < 0)
                f.fail(QStringLiteral("no SpatialIndex named '%1' is declared before it")
                           .arg(indexName));
        }
        lua_getfield(L, -1, "track");
        if (f.error.isEmpty() && !lua_istable(L, -1))
            f.fail(QStringLiteral("track must be a list of { name = ..., quantity = ... }"));
        const int n = f.error.isEmpty() ? int(luaL_len(L, -1)) : 0;
        for (int k = 1; k <= n && f.error.isEmpty(); ++k) {
            lua_geti(L, -1, k);
            Model::Tracked t;
            if (!lua_istable(L, -1)) {
                f.fail(QStringLiteral("track entry %1 must be a table").arg(k));
            } else if (f.allowOnly({"name", "quantity", "unit", "side", "rows", "cols"})
                && f.text("name", t.name, true) && f.text("quantity", t.quantity, true)
                && f.text("unit", t.unit)) {
                const QStringList known {
                    "max", "min", "mean", "minMeanMax", "probes", "heatFlux", "script"};
                // Clients find the solver's values by name, taking the first.
                const QStringList reserved {"time", "fem.iteration", "fem.error"};
                if (reserved.contains(t.name))
                    f.fail(QStringLiteral("name '%1' is reserved: the simulator reports a value "
                                          "of that name itself (rule 'solver')")
                               .arg(t.name));
                else if (!known.contains(t.quantity))
                    f.fail(QStringLiteral("quantity of '%1' must be one of %2, not '%3'")
                               .arg(t.name, known.join(QStringLiteral(", ")), t.quantity));
                else if (t.quantity == QLatin1String("heatFlux"))
                    f.side("side", t.side, twoD);
                else if (t.quantity == QLatin1String("probes") && rule.index < 0)
                    f.fail(
                        QStringLiteral("'%1' tracks probes but the rule has no index").arg(t.name));
                else if (t.quantity == QLatin1String("script"))
                    f.integer("rows", t.rows, 1) && f.integer("cols", t.cols, 1);
                if (t.quantity == QLatin1String("minMeanMax"))
                    t.rows = 3;
                if (t.unit.isEmpty() && t.quantity == QLatin1String("heatFlux"))
                    t.unit = QStringLiteral("W/m2");
            }
            lua_pop(L, 1);
            rule.values << t;
        }
        lua_pop(L, 1);
    }
    m.rules << rule;
}

void readProcessScript(Fields &f, Model &m, int line)
{
    lua_State *L = f.state();
    Model::Script script;
    script.line = line;
    if (lua_isfunction(L, -1)) {
        lua_pushvalue(L, -1);
        script.funcRef = luaL_ref(L, LUA_REGISTRYINDEX);
    } else if (f.allowOnly({"every", "run"}) && f.integer("every", script.every, 1)) {
        lua_getfield(L, -1, "run");
        if (lua_isfunction(L, -1))
            script.funcRef = luaL_ref(L, LUA_REGISTRYINDEX);
        else {
            lua_pop(L, 1);
            f.fail(QStringLiteral("run must be a function"));
        }
    }
    m.scripts << script;
}

void readSaveRule(Fields &f, Model &m, const ModelLoader &loader)
{
    Model::Save save;
    QString var = m.var.name;
    f.allowOnly({"var", "every", "file"}) && f.text("var", var) && f.integer("every", save.every, 1)
        && f.text("file", save.file, true);
    if (f.error.isEmpty() && var != m.var.name)
        f.fail(
            QStringLiteral("var must be the state variable '%1', not '%2'").arg(m.var.name, var));
    save.file = loader.expand(save.file);
    m.saves << save;
}

} // namespace

ModelLoader::ModelLoader(std::size_t memoryLimitBytes)
    : luaState(std::make_unique<SimulatorLuaState>(memoryLimitBytes))
{ }

QString ModelLoader::expand(const QString &text) const
{
    QString s = text;
    s.replace(QLatin1String("$LOG"), paths.log);
    s.replace(QLatin1String("$INPUT"), paths.input);
    s.replace(QLatin1String("$OUTPUT"), paths.output);
    return s;
}

void ModelLoader::installConstructors(const QString &userParams)
{
    lua_State *L = luaState->state();
    lua_newtable(L);
    lua_setfield(L, LUA_REGISTRYINDEX, declarationsKey);
    for (const char *kind : {"Simulation", "Mesh", "StateVar", "PropertySet", "BoundaryCondition",
             "NumericalSolver", "PhysicalMethod", "SpatialIndex", "MonitorRule", "ProcessScript",
             "SaveRule", "NodeFunction", "CellFunction"}) {
        lua_pushstring(L, kind);
        lua_pushcclosure(L, &declare, 1);
        lua_setglobal(L, kind);
    }
    lua_pushcfunction(L, &sharedCodeMarker);
    lua_setglobal(L, "SharedCodeBegin");
    lua_pushcfunction(L, &sharedCodeMarker);
    lua_setglobal(L, "SharedCodeEnd");

    // userParams: the raw -u text; params: its key=value pairs, numbers converted.
    lua_pushstring(L, userParams.toUtf8().constData());
    lua_setglobal(L, "userParams");
    lua_newtable(L);
    const auto pairs = userParams.split(QLatin1Char(';'), Qt::SkipEmptyParts);
    for (const QString &pair : pairs) {
        const int eq = pair.indexOf(QLatin1Char('='));
        if (eq <= 0)
            continue;
        const QString key = pair.left(eq).trimmed();
        const QString value = pair.mid(eq + 1).trimmed();
        bool isNumber = false;
        const double d = value.toDouble(&isNumber);
        if (isNumber)
            lua_pushnumber(L, d);
        else
            lua_pushstring(L, value.toUtf8().constData());
        lua_setfield(L, -2, key.toUtf8().constData());
    }
    lua_setglobal(L, "params");

    lua_createtable(L, 0, 3);
    lua_pushstring(L, paths.log.toUtf8().constData());
    lua_setfield(L, -2, "log");
    lua_pushstring(L, paths.input.toUtf8().constData());
    lua_setfield(L, -2, "input");
    lua_pushstring(L, paths.output.toUtf8().constData());
    lua_setfield(L, -2, "output");
    lua_setglobal(L, "paths");
    lua_pushlightuserdata(L, this);
    lua_pushcclosure(L, &expandPath, 1);
    lua_setglobal(L, "expandPath");
}

bool ModelLoader::load(
    const QString &file, const QString &userParams, const Paths &p, QString &error)
{
    paths = p;
    m = Model();
    m.file = file;
    if (!QFileInfo(file).isFile()) {
        error = QStringLiteral("Model file %1 does not exist.").arg(file);
        return false;
    }
    installConstructors(userParams);
    if (!luaState->runFile(file, error))
        return false;
    return readDeclarations(error);
}

bool ModelLoader::readDeclarations(QString &error)
{
    lua_State *L = luaState->state();
    lua_getfield(L, LUA_REGISTRYINDEX, declarationsKey);
    const int count = int(luaL_len(L, -1));
    QSet<QString> seen;
    const QString fileName = QFileInfo(m.file).fileName();
    const bool twoDWanted = [&] {
        // The mesh decides which sides exist; look for it first.
        for (int i = 1; i <= count; ++i) {
            lua_geti(L, -1, i);
            lua_getfield(L, -1, "kind");
            const bool isMesh = QString::fromUtf8(lua_tostring(L, -1)) == QLatin1String("Mesh");
            lua_pop(L, 1);
            if (isMesh) {
                lua_getfield(L, -1, "body");
                lua_getfield(L, -1, "type");
                const bool rect
                    = QString::fromUtf8(lua_tostring(L, -1)) == QLatin1String("rectangle");
                lua_pop(L, 3);
                return rect;
            }
            lua_pop(L, 1);
        }
        return false;
    }();

    for (int i = 1; i <= count; ++i) {
        lua_geti(L, -1, i);
        lua_getfield(L, -1, "kind");
        const QString kind = QString::fromUtf8(lua_tostring(L, -1));
        lua_getfield(L, -2, "line");
        const int line = int(lua_tointeger(L, -1));
        lua_getfield(L, -3, "body");
        Fields f(L, QStringLiteral("%1:%2: %3: ").arg(fileName).arg(line).arg(kind));
        const bool once = kind == QLatin1String("Simulation") || kind == QLatin1String("Mesh")
            || kind == QLatin1String("StateVar") || kind == QLatin1String("PropertySet")
            || kind == QLatin1String("NumericalSolver") || kind == QLatin1String("PhysicalMethod");
        if (once && seen.contains(kind))
            f.fail(QStringLiteral("declared twice; this simulator runs one of each"));
        seen.insert(kind);

        if (!f.error.isEmpty()) {
            // declared twice: nothing more to read
        } else if (kind == QLatin1String("Simulation")) {
            readSimulation(f, m);
        } else if (kind == QLatin1String("Mesh")) {
            readMesh(f, m);
        } else if (kind == QLatin1String("StateVar")) {
            readStateVar(f, m);
        } else if (kind == QLatin1String("PropertySet")) {
            readPropertySet(f, m);
        } else if (kind == QLatin1String("BoundaryCondition")) {
            readBoundaryCondition(f, m, twoDWanted);
        } else if (kind == QLatin1String("NumericalSolver")) {
            readNumericalSolver(f, m);
        } else if (kind == QLatin1String("PhysicalMethod")) {
            readPhysicalMethod(f, m);
        } else if (kind == QLatin1String("SpatialIndex")) {
            readSpatialIndex(f, m);
        } else if (kind == QLatin1String("MonitorRule")) {
            readMonitorRule(f, m, twoDWanted);
        } else if (kind == QLatin1String("ProcessScript")) {
            readProcessScript(f, m, line);
        } else if (kind == QLatin1String("SaveRule")) {
            readSaveRule(f, m, *this);
        } else {
            f.fail(QStringLiteral("not available in this simulator"));
        }
        lua_pop(L, 4);
        if (!f.error.isEmpty()) {
            lua_pop(L, 1);
            error = f.error;
            return false;
        }
    }
    lua_pop(L, 1);

    for (const char *required : {"Simulation", "Mesh", "StateVar", "PropertySet"}) {
        if (!seen.contains(QLatin1String(required))) {
            error = QStringLiteral("%1: the model declares no %2{...}.")
                        .arg(fileName, QLatin1String(required));
            return false;
        }
    }
    // Checks that depend on declarations that may come in any order.
    for (const auto &index : qAsConst(m.indexes))
        for (const auto &probe : index.points)
            if (probe.x < 0 || probe.x > m.mesh.lengthX || probe.y < 0
                || (m.mesh.dim == 2 && probe.y > m.mesh.lengthY)) {
                error = QStringLiteral("%1: SpatialIndex %2: point '%3' lies outside the mesh.")
                            .arg(fileName, index.name, probe.label);
                return false;
            }
    for (auto &rule : m.rules)
        for (auto &t : rule.values)
            if (t.unit.isEmpty() && t.quantity != QLatin1String("script"))
                t.unit = m.var.unit;
    return true;
}

bool ModelLoader::callNumber(int ref, const QVector<double> &args, double &result, QString &error)
{
    lua_State *L = luaState->state();
    lua_rawgeti(L, LUA_REGISTRYINDEX, ref);
    for (double a : args)
        lua_pushnumber(L, a);
    if (!luaState->call(int(args.size()), 1, error))
        return false;
    int isNum = 0;
    result = lua_tonumberx(L, -1, &isNum);
    if (!isNum)
        error = QStringLiteral("a model function returned %1 instead of a number")
                    .arg(SimulatorLuaState::describe(L, -1));
    lua_pop(L, 1);
    return isNum;
}

bool ModelLoader::runScript(const Model::Script &script, double time, int step,
    const std::vector<double> &values, const std::vector<double> &x,
    QHash<QString, QVector<double>> &results, QString &error)
{
    lua_State *L = luaState->state();
    lua_rawgeti(L, LUA_REGISTRYINDEX, script.funcRef);
    lua_createtable(L, 0, 5);
    lua_pushnumber(L, time);
    lua_setfield(L, -2, "time");
    lua_pushinteger(L, step);
    lua_setfield(L, -2, "step");
    auto pushArray = [L](const std::vector<double> &v, const char *name) {
        lua_createtable(L, int(v.size()), 0);
        for (size_t k = 0; k < v.size(); ++k) {
            lua_pushnumber(L, v[k]);
            lua_rawseti(L, -2, lua_Integer(k + 1));
        }
        lua_setfield(L, -2, name);
    };
    pushArray(values, m.var.name.toUtf8().constData());
    pushArray(values, "values");
    pushArray(x, "x");
    const QString where = QStringLiteral("ProcessScript at line %1: ").arg(script.line);
    if (!luaState->call(1, 1, error)) {
        error = where + error;
        return false;
    }
    if (lua_istable(L, -1)) {
        lua_pushnil(L);
        while (lua_next(L, -2)) {
            const QString name = SimulatorLuaState::describe(L, -2);
            QVector<double> v;
            if (lua_isnumber(L, -1)) {
                v << lua_tonumber(L, -1);
            } else if (lua_istable(L, -1)) {
                const int n = int(luaL_len(L, -1));
                for (int k = 1; k <= n; ++k) {
                    lua_geti(L, -1, k);
                    v << lua_tonumber(L, -1);
                    lua_pop(L, 1);
                }
            } else {
                error = where
                    + QStringLiteral("value '%1' is %2, not a number or a list")
                          .arg(name, SimulatorLuaState::describe(L, -1));
                lua_pop(L, 3);
                return false;
            }
            results.insert(name, v);
            lua_pop(L, 1);
        }
    } else if (!lua_isnil(L, -1)) {
        error = where
            + QStringLiteral("must return a table of values or nothing, not %1")
                  .arg(SimulatorLuaState::describe(L, -1));
        lua_pop(L, 1);
        return false;
    }
    lua_pop(L, 1);
    return true;
}
