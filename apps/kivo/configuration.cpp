#include "configuration.h"

#include "simulatorluastate.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <lua.hpp>

namespace {

// Reads table.key (table on top of the stack) into value when present; false
// with error set when it has the wrong type.
bool readField(lua_State *L, const char *table, const char *key, int type, QString &error,
    const std::function<void()> &store)
{
    lua_getfield(L, -1, key);
    bool ok = true;
    if (!lua_isnil(L, -1)) {
        if (lua_type(L, -1) != type) {
            error = QStringLiteral("%1.%2 must be a %3, not %4")
                        .arg(QLatin1String(table), QLatin1String(key),
                            QLatin1String(lua_typename(L, type)),
                            QLatin1String(luaL_typename(L, -1)));
            ok = false;
        } else {
            store();
        }
    }
    lua_pop(L, 1);
    return ok;
}

} // namespace

QString Configuration::defaultFile()
{
    return QCoreApplication::applicationDirPath() + QStringLiteral("/config/defaultConfig.lua");
}

bool Configuration::load(const QString &file, bool required, QString &error)
{
    if (!QFileInfo::exists(file)) {
        if (!required)
            return true;
        error = QStringLiteral("Configuration file %1 does not exist.").arg(file);
        return false;
    }
    SimulatorLuaState lua(std::size_t(64) << 20);
    QString luaError;
    if (!lua.runFile(file, luaError)) {
        error = QStringLiteral("Error in configuration file: %1").arg(luaError);
        return false;
    }
    lua_State *L = lua.state();
    QString fieldError;
    auto str = [L](QString &target) {
        return [L, &target] { target = QString::fromUtf8(lua_tostring(L, -1)); };
    };
    auto boolean = [L](bool &target) { return [L, &target] { target = lua_toboolean(L, -1); }; };
    auto integer
        = [L](int &target) { return [L, &target] { target = int(lua_tointeger(L, -1)); }; };
    bool ok = true;
    auto table = [&](const char *name, const std::function<void()> &fields) {
        lua_getglobal(L, name);
        if (lua_istable(L, -1))
            fields();
        else if (!lua_isnil(L, -1) && ok) {
            fieldError = QStringLiteral("%1 must be a table").arg(QLatin1String(name));
            ok = false;
        }
        lua_pop(L, 1);
    };
    auto field = [&](const char *t, const char *k, int type, const std::function<void()> &store) {
        if (ok)
            ok = readField(L, t, k, type, fieldError, store);
    };
    table("log", [&] {
        field("log", "level", LUA_TNUMBER, integer(logLevel));
        field("log", "time", LUA_TBOOLEAN, boolean(logTime));
        field("log", "memory", LUA_TBOOLEAN, boolean(logMemory));
        field("log", "console", LUA_TBOOLEAN, boolean(logConsole));
        field("log", "file", LUA_TSTRING, str(logFile));
    });
    table("paths", [&] {
        field("paths", "log", LUA_TSTRING, str(logPath));
        field("paths", "input", LUA_TSTRING, str(inputPath));
        field("paths", "output", LUA_TSTRING, str(outputPath));
    });
    table("monitor", [&] {
        field("monitor", "server", LUA_TBOOLEAN, boolean(monitorServer));
        field("monitor", "port", LUA_TNUMBER, integer(monitorPort));
        field("monitor", "localOnly", LUA_TBOOLEAN, boolean(monitorLocalOnly));
        field("monitor", "logsThroughServer", LUA_TBOOLEAN, boolean(logsThroughServer));
        field("monitor", "wait", LUA_TNUMBER, integer(monitorWait));
        field("monitor", "connectFile", LUA_TSTRING, str(connectFile));
    });
    table("limits", [&] { field("limits", "luaMemoryMB", LUA_TNUMBER, integer(luaMemoryMB)); });

    if (ok && (logLevel < 0 || logLevel > 5))
        fieldError = QStringLiteral("log.level must be 0 to 5, not %1").arg(logLevel), ok = false;
    if (ok && (monitorPort < 0 || monitorPort > 65535))
        fieldError = QStringLiteral("monitor.port must be 0 to 65535, not %1").arg(monitorPort),
        ok = false;
    if (ok && luaMemoryMB < 1)
        fieldError = QStringLiteral("limits.luaMemoryMB must be positive"), ok = false;
    if (!ok) {
        error = QStringLiteral("Error in configuration file %1: %2").arg(file, fieldError);
        return false;
    }
    sourceFile = file;
    return true;
}
