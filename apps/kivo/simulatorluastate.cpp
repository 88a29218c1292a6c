#include "simulatorluastate.h"

#include "simulationcontrol.h"

#include <QFile>

#include <lua.hpp>

#include <cstdlib>
#include <cstring>

namespace {

const char *const prelude = R"lua(
local rawload = load
-- Text chunks only: a binary chunk can crash the interpreter.
load = function(chunk, name, mode, env) return rawload(chunk, name, "t", env) end
dofile = nil
loadfile = nil
)lua";

SimulatorLuaState *stateOf(lua_State *L)
{
    return *static_cast<SimulatorLuaState **>(lua_getextraspace(L));
}

} // namespace

SimulatorLuaState::SimulatorLuaState(std::size_t memoryLimitBytes)
    : limit(memoryLimitBytes)
{
    L = lua_newstate(&SimulatorLuaState::allocate, this);
    *static_cast<SimulatorLuaState **>(lua_getextraspace(L)) = this;

    luaL_requiref(L, LUA_GNAME, luaopen_base, 1);
    luaL_requiref(L, LUA_TABLIBNAME, luaopen_table, 1);
    luaL_requiref(L, LUA_STRLIBNAME, luaopen_string, 1);
    luaL_requiref(L, LUA_MATHLIBNAME, luaopen_math, 1);
    luaL_requiref(L, LUA_UTF8LIBNAME, luaopen_utf8, 1);
    luaL_requiref(L, LUA_COLIBNAME, luaopen_coroutine, 1);
    lua_settop(L, 0);

    // os: only the clock and the calendar.
    luaL_requiref(L, LUA_OSLIBNAME, luaopen_os, 0);
    lua_newtable(L);
    for (const char *name : {"clock", "time", "date", "difftime"}) {
        lua_getfield(L, -2, name);
        lua_setfield(L, -2, name);
    }
    lua_setglobal(L, "os");
    lua_settop(L, 0);

    lua_pushcfunction(L, &SimulatorLuaState::print);
    lua_setglobal(L, "print");

    luaL_loadbufferx(L, prelude, std::strlen(prelude), "=prelude", "t");
    lua_call(L, 0, 0);

    lua_sethook(L, &SimulatorLuaState::hook, LUA_MASKCOUNT, 10000);
}

SimulatorLuaState::~SimulatorLuaState() { lua_close(L); }

void SimulatorLuaState::setPrinter(std::function<void(const QString &)> p)
{
    printer = std::move(p);
}

void SimulatorLuaState::setControl(const SimulationControl *c) { control = c; }

bool SimulatorLuaState::runFile(const QString &path, QString &error)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("Cannot read %1: %2").arg(path, file.errorString());
        return false;
    }
    const QByteArray code = file.readAll();
    const QByteArray chunkName = "@" + path.toUtf8();
    if (luaL_loadbufferx(L, code.constData(), size_t(code.size()), chunkName.constData(), "t")
        != LUA_OK) {
        error = describe(L, -1);
        lua_pop(L, 1);
        return false;
    }
    return call(0, 0, error);
}

bool SimulatorLuaState::call(int nargs, int nresults, QString &error)
{
    if (lua_pcall(L, nargs, nresults, 0) != LUA_OK) {
        error = describe(L, -1);
        lua_pop(L, 1);
        return false;
    }
    return true;
}

QString SimulatorLuaState::describe(lua_State *L, int idx)
{
    switch (lua_type(L, idx)) {
    case LUA_TSTRING:
    case LUA_TNUMBER: {
        // On a copy: converting a number in place would confuse lua_next.
        lua_pushvalue(L, idx);
        size_t len = 0;
        const char *s = lua_tolstring(L, -1, &len);
        const QString text = QString::fromUtf8(s, int(len));
        lua_pop(L, 1);
        return text;
    }
    case LUA_TBOOLEAN:
        return lua_toboolean(L, idx) ? QStringLiteral("true") : QStringLiteral("false");
    case LUA_TNIL:
        return QStringLiteral("nil");
    default:
        return QString::fromUtf8(luaL_typename(L, idx));
    }
}

void *SimulatorLuaState::allocate(void *ud, void *ptr, std::size_t osize, std::size_t nsize)
{
    auto *self = static_cast<SimulatorLuaState *>(ud);
    const std::size_t old = ptr ? osize : 0;
    if (nsize == 0) {
        std::free(ptr);
        self->used -= old;
        return nullptr;
    }
    if (nsize > old && self->used - old + nsize > self->limit)
        return nullptr; // Lua turns this into a "not enough memory" error
    void *p = std::realloc(ptr, nsize);
    if (p) {
        self->used = self->used - old + nsize;
        if (self->used > self->peak)
            self->peak = self->used;
    }
    return p;
}

int SimulatorLuaState::print(lua_State *L)
{
    SimulatorLuaState *self = stateOf(L);
    QStringList parts;
    const int n = lua_gettop(L);
    for (int i = 1; i <= n; ++i)
        parts << QString::fromUtf8(luaL_tolstring(L, i, nullptr));
    if (self->printer)
        self->printer(parts.join(QLatin1Char('\t')));
    return 0;
}

void SimulatorLuaState::hook(lua_State *L, lua_Debug *)
{
    SimulatorLuaState *self = stateOf(L);
    if (self->control && self->control->stopRequested())
        luaL_error(L, "script stopped: the simulation was asked to stop");
}
