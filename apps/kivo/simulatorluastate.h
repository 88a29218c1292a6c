#pragma once

#include <QString>

#include <cstddef>
#include <functional>

struct lua_State;
class SimulationControl;

// A Lua 5.4 state for model and configuration scripts: no io, os.execute,
// io.popen, package loading or binary chunks, a memory cap, and an instruction
// hook that stops a runaway script once a stop is requested.
//
// Not the client library's LuaEnv, although both cap memory in the allocator
// and watch from a hook: LuaEnv reads a few values out of connection files of
// unknown origin, so it allows one second, 16 MiB, no string patterns and no
// access to the state. A model is the user's own program: it runs for hours
// under a limit of its configuration's choosing, uses the whole string
// library, coroutines and os.clock, is driven through the Lua API by
// ModelLoader, and ends when the run is stopped, not when a clock says so.
// The simulator also stands on the other side of the wire from the client
// and links none of its libraries.
class SimulatorLuaState
{
public:
    explicit SimulatorLuaState(std::size_t memoryLimitBytes = std::size_t(512) << 20);
    ~SimulatorLuaState();
    SimulatorLuaState(const SimulatorLuaState &) = delete;
    SimulatorLuaState &operator=(const SimulatorLuaState &) = delete;

    lua_State *state() const { return L; }
    // Where print() goes; by default nowhere.
    void setPrinter(std::function<void(const QString &)> printer);
    // The hook raises a Lua error in a running script once control asks to stop.
    void setControl(const SimulationControl *control);

    // Runs a script file as text. On failure error holds Lua's message with
    // the file and line.
    bool runFile(const QString &path, QString &error);
    // Calls the function on top of the stack with nargs arguments below it,
    // leaving nresults results; error set on failure (stack cleaned).
    bool call(int nargs, int nresults, QString &error);

    std::size_t memoryUsed() const { return used; }
    std::size_t memoryPeak() const { return peak; }

    // Converts the value at idx for messages: strings, numbers, booleans, nil.
    static QString describe(lua_State *L, int idx);

private:
    static void *allocate(void *ud, void *ptr, std::size_t osize, std::size_t nsize);
    static int print(lua_State *L);
    static void hook(lua_State *L, struct lua_Debug *ar);

    lua_State *L = nullptr;
    std::size_t limit = 0;
    std::size_t used = 0;
    std::size_t peak = 0;
    std::function<void(const QString &)> printer;
    const SimulationControl *control = nullptr;
};
