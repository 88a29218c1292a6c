#include "luaenv.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

#include <lua.hpp>

#include <cstdlib>
#include <cstring>

namespace {

// Instructions between two looks at the clock: cheap enough to be invisible,
// frequent enough to stop a tight loop within a few milliseconds.
constexpr int hookInterval = 10000;
constexpr int maxDepth = 32;
#ifdef SCRIPTUTILS_FUZZ_LIMITS
constexpr int maxValues = 2000;
#else
constexpr int maxValues = 100000;
#endif
// Bytes of text that one getGlobal() copies out: a string may be referenced
// any number of times, and each reference becomes a copy of its own.
constexpr qint64 maxTextBytes = qint64(LuaEnv::memoryLimit);
// More elements than the memory limit could ever hold (16 bytes each): a
// table function asked to walk further would loop in C, out of the hook's
// reach.
constexpr lua_Integer maxElements = lua_Integer(LuaEnv::memoryLimit / 16);

constexpr size_t maxErrorBytes = 1000;

#ifdef SCRIPTUTILS_FUZZ_LIMITS
const char timeLimitText[] = "script ran longer than 20 ms";
const char memoryLimitText[] = "script exceeded 1 MiB of memory";
#else
const char timeLimitText[] = "script ran longer than 1 s";
const char memoryLimitText[] = "script exceeded 16 MiB of memory";
#endif

} // namespace

/// The Lua state with the bookkeeping of its limits; the state's allocator
/// and hook reach it through the allocator's user data.
class LuaSandbox
{
public:
    lua_State *L = nullptr;
    size_t used = 0;
    bool memoryRefused = false;
    bool timedOut = false;
    QElapsedTimer clock;

    static void *allocate(void *ud, void *ptr, size_t osize, size_t nsize);
    static void hook(lua_State *L, lua_Debug *ar);
    static LuaSandbox *of(lua_State *L);

    void startClock();
    /// Raises the time-limit error once the time is up; for C functions whose
    /// loops the instruction hook does not see.
    static void checkClock(lua_State *L);
};

void *LuaSandbox::allocate(void *ud, void *ptr, size_t osize, size_t nsize)
{
    auto *box = static_cast<LuaSandbox *>(ud);
    // For a new block `osize` names the kind of object, not a size.
    const size_t oldSize = ptr ? osize : 0;
    if (nsize == 0) {
        std::free(ptr);
        box->used -= oldSize;
        return nullptr;
    }
    if (nsize > oldSize && nsize - oldSize > LuaEnv::memoryLimit - box->used) {
        box->memoryRefused = true;
        return nullptr;
    }
    void *block = std::realloc(ptr, nsize);
    if (!block) {
        box->memoryRefused = true;
        return nullptr;
    }
    box->used = box->used - oldSize + nsize;
    return block;
}

LuaSandbox *LuaSandbox::of(lua_State *L)
{
    void *ud = nullptr;
    lua_getallocf(L, &ud);
    return static_cast<LuaSandbox *>(ud);
}

void LuaSandbox::hook(lua_State *L, lua_Debug *)
{
    LuaSandbox *box = of(L);
    if (!box->timedOut && box->clock.isValid() && box->clock.elapsed() > LuaEnv::timeLimitMs) {
        box->timedOut = true;
        // From now on every instruction fails, so a pcall inside the script
        // cannot swallow the error and carry on.
        lua_sethook(L, &LuaSandbox::hook, LUA_MASKCOUNT, 1);
    }
    if (box->timedOut)
        luaL_error(L, timeLimitText);
}

void LuaSandbox::checkClock(lua_State *L)
{
    LuaSandbox *box = of(L);
    if (box->timedOut || (box->clock.isValid() && box->clock.elapsed() > LuaEnv::timeLimitMs)) {
        box->timedOut = true;
        lua_sethook(L, &LuaSandbox::hook, LUA_MASKCOUNT, 1);
        luaL_error(L, timeLimitText);
    }
}

void LuaSandbox::startClock()
{
    timedOut = false;
    clock.start();
    lua_sethook(L, &LuaSandbox::hook, LUA_MASKCOUNT, hookInterval);
}

namespace {

void removeFields(lua_State *L, const char *const *names)
{
    for (; *names; ++names) {
        lua_pushnil(L);
        lua_setfield(L, -2, *names);
    }
}

// Lua runs finalizers with hooks switched off, so a __gc that loops would
// hang us beyond any time limit: metatables with one are refused.
int safeSetMetatable(lua_State *L)
{
    if (lua_type(L, 2) == LUA_TTABLE) {
        lua_pushliteral(L, "__gc");
        if (lua_rawget(L, 2) != LUA_TNIL)
            return luaL_error(L, "finalizers (__gc) are not allowed");
        lua_pop(L, 1);
    }
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

// Calls the function kept as upvalue 1 with the arguments as they are.
int callOriginal(lua_State *L)
{
    lua_pushvalue(L, lua_upvalueindex(1));
    lua_insert(L, 1);
    lua_call(L, lua_gettop(L) - 1, LUA_MULTRET);
    return lua_gettop(L);
}

// string.rep of empty texts loops n times in C without producing anything
// that the memory limit would catch.
int safeStringRep(lua_State *L)
{
    LuaSandbox::checkClock(L);
    if (lua_type(L, 1) == LUA_TSTRING && lua_rawlen(L, 1) == 0
        && (lua_isnoneornil(L, 3) || (lua_type(L, 3) == LUA_TSTRING && lua_rawlen(L, 3) == 0))) {
        luaL_checkinteger(L, 2);
        lua_pushliteral(L, "");
        return 1;
    }
    return callOriginal(L);
}

// table.move walks its whole range in C, even over nothing.
int safeTableMove(lua_State *L)
{
    LuaSandbox::checkClock(L);
    const lua_Integer first = luaL_checkinteger(L, 2);
    const lua_Integer last = luaL_checkinteger(L, 3);
    if (last >= first && (first < 0 ? last >= maxElements + first : last - first >= maxElements))
        return luaL_error(L, "table.move: range too large");
    return callOriginal(L);
}

// table.insert and table.remove shift elements up to the table's length in
// C, and __len can make that length anything.
int safeTableShift(lua_State *L)
{
    LuaSandbox::checkClock(L);
    luaL_checktype(L, 1, LUA_TTABLE);
    if (luaL_len(L, 1) > maxElements)
        return luaL_error(L, "table too long to shift");
    return callOriginal(L);
}

void wrapField(lua_State *L, const char *name, lua_CFunction wrapper)
{
    lua_getfield(L, -1, name);
    lua_pushcclosure(L, wrapper, 1);
    lua_setfield(L, -2, name);
}

// Runs in protected mode: every allocation below may fail.
int openLibraries(lua_State *L)
{
    const int libraries = static_cast<int>(lua_tointeger(L, 1));

    luaL_requiref(L, LUA_GNAME, luaopen_base, 1);
    static const char *const unsafeBase[]
        = {"dofile", "loadfile", "load", "collectgarbage", "print", "require", nullptr};
    removeFields(L, unsafeBase);
    lua_getfield(L, -1, "setmetatable");
    lua_pushcclosure(L, safeSetMetatable, 1);
    lua_setfield(L, -2, "setmetatable");
    lua_pop(L, 1);

    if (libraries & LuaEnv::TableLibrary) {
        luaL_requiref(L, LUA_TABLIBNAME, luaopen_table, 1);
        wrapField(L, "move", safeTableMove);
        wrapField(L, "insert", safeTableShift);
        wrapField(L, "remove", safeTableShift);
        lua_pop(L, 1);
    }
    if (libraries & LuaEnv::MathLibrary) {
        luaL_requiref(L, LUA_MATHLIBNAME, luaopen_math, 1);
        lua_pop(L, 1);
    }
    if (libraries & LuaEnv::StringLibrary) {
        // Patterns are matched in C without passing the hook, so a crafted
        // pattern could stall us; dump would produce binary chunks.
        luaL_requiref(L, LUA_STRLIBNAME, luaopen_string, 1);
        static const char *const unsafeString[]
            = {"find", "match", "gmatch", "gsub", "dump", "pack", "packsize", "unpack", nullptr};
        removeFields(L, unsafeString);
        wrapField(L, "rep", safeStringRep);
        lua_pop(L, 1);
    }
    return 0;
}

struct ChunkCall {
    const char *text = nullptr;
    size_t size = 0;
    const char *chunkName = nullptr;
    const char *args = nullptr;
    size_t argsSize = 0;
    bool hasArgs = false;
    int loadStatus = LUA_OK;
};

// Runs in protected mode; no object with a destructor lives in this frame,
// since a Lua error leaves it with a long jump.
int runChunk(lua_State *L)
{
    auto *call = static_cast<ChunkCall *>(lua_touserdata(L, 1));
    call->loadStatus = luaL_loadbufferx(L, call->text, call->size, call->chunkName, "t");
    if (call->loadStatus != LUA_OK)
        return lua_error(L);
    if (call->hasArgs)
        lua_pushlstring(L, call->args, call->argsSize);
    lua_call(L, call->hasArgs ? 1 : 0, 0);
    return 0;
}

int readGlobal(lua_State *L)
{
    const char *name = static_cast<const char *>(lua_touserdata(L, 1));
    lua_pushglobaltable(L);
    lua_pushstring(L, name);
    lua_rawget(L, -2);
    return 1;
}

// What one conversion may still copy out.
struct Budget {
    int values = maxValues;
    qint64 textBytes = maxTextBytes;
};

QVariant toVariant(lua_State *L, int index, int depth, Budget &budget);

LuaTable toTable(lua_State *L, int index, int depth, Budget &budget)
{
    LuaTable table = LuaTable::emptyTable();
    index = lua_absindex(L, index);
    if (depth >= maxDepth || !lua_checkstack(L, 3))
        return table;
    const lua_Integer length = static_cast<lua_Integer>(lua_rawlen(L, index));
    for (lua_Integer i = 1; i <= length && budget.values > 0; ++i) {
        lua_rawgeti(L, index, i);
        table.appendSequence(toVariant(L, -1, depth + 1, budget));
        lua_pop(L, 1);
    }
    lua_pushnil(L);
    while (lua_next(L, index) != 0) {
        if (budget.values <= 0) {
            lua_pop(L, 2);
            break;
        }
        const bool inSequence
            = lua_isinteger(L, -2) && lua_tointeger(L, -2) >= 1 && lua_tointeger(L, -2) <= length;
        if (!inSequence) {
            const QVariant key = toVariant(L, -2, depth + 1, budget);
            table.insert(key, toVariant(L, -1, depth + 1, budget));
        }
        lua_pop(L, 1);
    }
    return table;
}

// Uses no call that can raise an error or run script code.
QVariant toVariant(lua_State *L, int index, int depth, Budget &budget)
{
    if (--budget.values < 0)
        return QVariant();
    switch (lua_type(L, index)) {
    case LUA_TBOOLEAN:
        return QVariant(lua_toboolean(L, index) != 0);
    case LUA_TNUMBER:
        if (lua_isinteger(L, index))
            return QVariant(static_cast<qlonglong>(lua_tointeger(L, index)));
        return QVariant(static_cast<double>(lua_tonumber(L, index)));
    case LUA_TSTRING: {
        size_t size = 0;
        const char *text = lua_tolstring(L, index, &size);
        if (qint64(size) > budget.textBytes) {
            budget.values = 0; // everything from here on is left out
            return QVariant();
        }
        budget.textBytes -= qint64(size);
        return QVariant(QString::fromUtf8(text, static_cast<int>(qMin<size_t>(size, INT_MAX))));
    }
    case LUA_TTABLE:
        return QVariant::fromValue(toTable(L, index, depth, budget));
    default:
        return QVariant();
    }
}

QString errorText(lua_State *L, int status)
{
    // A script may raise any value; only strings are read, so no __tostring
    // metamethod runs here.
    if (lua_type(L, -1) == LUA_TSTRING) {
        // The text ends up in a message box: a script must not fill it with
        // megabytes.
        size_t size = 0;
        const char *text = lua_tolstring(L, -1, &size);
        if (size > maxErrorBytes)
            return QString::fromUtf8(text, int(maxErrorBytes)) + QStringLiteral("...");
        return QString::fromUtf8(text, int(size));
    }
    if (status == LUA_ERRMEM)
        return QString();
    return QStringLiteral("script raised an error that is not a text (a %1 value)")
        .arg(QString::fromUtf8(lua_typename(L, lua_type(L, -1))));
}

// What a script file holds, as Lua is to read it; false with the reason in
// `error` for a file that cannot be read, is too large or is not text.
bool readScriptText(const QString &fileName, QByteArray &text, QString &error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        error = QStringLiteral("cannot open %1: %2").arg(fileName, file.errorString());
        return false;
    }
    const QString tooLarge = QStringLiteral("%1 is larger than 4 MiB").arg(fileName);
    if (file.size() > LuaEnv::scriptSizeLimit) {
        error = tooLarge;
        return false;
    }
    // In pieces: read(n) reserves all n bytes first, and most scripts are a
    // few lines. Files without a size (pipes) are read the same way.
    text.clear();
    while (text.size() <= LuaEnv::scriptSizeLimit) {
        const qint64 wanted = qMin<qint64>(64 * 1024, LuaEnv::scriptSizeLimit + 1 - text.size());
        const QByteArray piece = file.read(wanted);
        if (piece.isEmpty())
            break;
        text += piece;
    }
    if (text.size() > LuaEnv::scriptSizeLimit) {
        error = tooLarge;
        return false;
    }
    if (text.startsWith(LUA_SIGNATURE)) {
        error = QStringLiteral("binary chunks are not accepted");
        return false;
    }
    // Skip a "#!" first line as the stand-alone interpreter does, keeping the
    // line count right for error messages.
    if (text.startsWith('#')) {
        const int end = text.indexOf('\n');
        text = end < 0 ? QByteArray() : QByteArray("\n") + text.mid(end + 1);
    }
    return true;
}

// The limits are told apart by the sandbox's own flags: the message Lua
// gives for them is a generic one, or the script's if it caught the first.
QString failureText(const LuaSandbox &box, int status, int loadStatus, const QString &message)
{
    if (box.timedOut)
        return QString::fromLatin1(timeLimitText);
    if (status == LUA_ERRMEM
        || (box.memoryRefused && message.contains(QLatin1String("not enough memory"))))
        return QString::fromLatin1(memoryLimitText);
    if (loadStatus == LUA_ERRSYNTAX)
        return QStringLiteral("syntax error: %1").arg(message);
    if (message.isEmpty())
        return QStringLiteral("script raised an empty error");
    return message;
}

// Loads and runs `call` with a fresh time budget; leaves the stack empty.
bool runWithinLimits(LuaSandbox &box, ChunkCall &call, QString &error)
{
    lua_State *L = box.L;
    lua_settop(L, 0);
    box.memoryRefused = false;
    box.startClock();
    lua_pushcfunction(L, runChunk);
    lua_pushlightuserdata(L, &call);
    const int status = lua_pcall(L, 1, 0, 0);
    if (status == LUA_OK) {
        lua_settop(L, 0);
        return true;
    }
    const QString message = errorText(L, status);
    lua_settop(L, 0);
    error = failureText(box, status, call.loadStatus, message);
    return false;
}

} // namespace

LuaEnv::LuaEnv(int libraries)
    : d(new LuaSandbox)
{
    d->L = lua_newstate(&LuaSandbox::allocate, d.get());
    if (!d->L)
        return;
    lua_pushcfunction(d->L, openLibraries);
    lua_pushinteger(d->L, libraries);
    if (lua_pcall(d->L, 1, 0, 0) != LUA_OK) {
        lua_close(d->L);
        d->L = nullptr;
    }
}

LuaEnv::~LuaEnv()
{
    if (d->L) {
        lua_close(d->L);
    }
}

bool LuaEnv::isValid() const { return d->L != nullptr; }

bool LuaEnv::runScript(QString fileName, QString args, QString &error)
{
    if (!d->L) {
        error = QStringLiteral("the script environment could not be created");
        return false;
    }
    QByteArray text;
    if (!readScriptText(fileName, text, error))
        return false;

    const QByteArray chunkName = '@' + QFileInfo(fileName).fileName().toUtf8();
    const QByteArray argBytes = args.toUtf8();
    ChunkCall call;
    call.text = text.constData();
    call.size = static_cast<size_t>(text.size());
    call.chunkName = chunkName.constData();
    call.hasArgs = !args.isEmpty();
    call.args = argBytes.constData();
    call.argsSize = static_cast<size_t>(argBytes.size());
    return runWithinLimits(*d, call, error);
}

QVariant LuaEnv::getGlobal(const char *name, StackOption option)
{
    lua_State *L = d->L;
    if (!L || !name || !lua_checkstack(L, 4))
        return QVariant();
    // Reading allocates the key, and an allocation may run finalizers that a
    // script set: they get the same time limit as the script.
    d->startClock();
    lua_pushcfunction(L, readGlobal);
    lua_pushlightuserdata(L, const_cast<char *>(name));
    if (lua_pcall(L, 1, 1, 0) != LUA_OK) {
        lua_pop(L, 1);
        return QVariant();
    }
    Budget budget;
    const QVariant value = toVariant(L, -1, 0, budget);
    if (option != KeepOnStack)
        lua_pop(L, 1);
    return value;
}

int LuaEnv::stackSize() const { return d->L ? lua_gettop(d->L) : 0; }

void LuaEnv::popValues(int count)
{
    if (!d->L)
        return;
    lua_pop(d->L, qBound(0, count, lua_gettop(d->L)));
}
