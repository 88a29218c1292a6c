#pragma once

#include "luatable.h"
#include "scriptutilsexport.h"

#include <QString>
#include <QVariant>

#include <memory>

class LuaSandbox;

/// A sandboxed Lua environment for small configuration scripts that may
/// come from anywhere (connection files, for instance).
///
/// What a script can reach: the base library without dofile, loadfile, load,
/// collectgarbage and print; table; math; and a pattern-free part of string
/// (byte, char, format, len, lower, rep, reverse, sub, upper). No io, os,
/// package, require, debug or coroutine. Only text chunks are run.
///
/// Limits, each ending the script with an error text from runScript():
/// - about one second of running time per runScript() call ("script ran
///   longer than 1 s"), checked by an instruction-count hook, so a script
///   that catches the error with pcall still ends;
/// - 16 MiB of memory for the whole environment ("script exceeded 16 MiB of
///   memory");
/// - 4 MiB of script text;
/// - C loops the hook cannot see are refused: table.move, table.insert and
///   table.remove over more elements than the memory limit could hold.
///
/// The environment is created by AutoLuaEnv, which owns it; LuaEnv carries
/// the operations. Not copyable; use from one thread at a time.
class SCRIPTUTILS_EXPORT LuaEnv
{
public:
    /// What getGlobal() does with the Lua stack.
    enum StackOption {
        /// The value read stays pushed on the environment's stack (for a
        /// caller that reads several values and drops them together with
        /// popValues()); stackSize() grows by one per call.
        KeepOnStack = 1,
        /// The value is converted and removed at once: the stack is left as
        /// it was. This is what callers normally want.
        PopFromStack = 2
    };

    /// Libraries that AutoLuaEnv opens, as bits of its constructor argument.
    /// The base library is always opened; the other bits add the libraries
    /// named. Bits beyond these are ignored, so 255 (AllLibraries) means
    /// "everything the sandbox allows".
    enum Library {
        BaseLibrary = 0x01,
        TableLibrary = 0x02,
        MathLibrary = 0x04,
        StringLibrary = 0x08, ///< the pattern-free part only
        AllLibraries = 0xff
    };

#ifdef SCRIPTUTILS_FUZZ_LIMITS
    // Fuzzing builds only: the same checks at smaller limits, so that the
    // inputs that reach them stay cheap.
    static constexpr int timeLimitMs = 20;
    static constexpr size_t memoryLimit = 1024 * 1024;
#else
    static constexpr int timeLimitMs = 1000;
    static constexpr size_t memoryLimit = 16 * 1024 * 1024;
#endif
    static constexpr qint64 scriptSizeLimit = 4 * 1024 * 1024;

    LuaEnv(const LuaEnv &) = delete;
    LuaEnv &operator=(const LuaEnv &) = delete;
    virtual ~LuaEnv();

    /// Runs the script file `fileName` in this environment; globals it sets
    /// stay for getGlobal(). `args` is handed to the script as its single
    /// argument (`...` inside the chunk, a string); an empty `args` runs it
    /// without arguments. Returns false with a readable `error` (file,
    /// syntax, runtime or limit) on failure; `error` is untouched on success.
    bool runScript(QString fileName, QString args, QString &error);

    /// The value of global `name`, read without running any script code
    /// (metamethods are not called): nil as an invalid QVariant, a boolean
    /// as bool, an integer as qlonglong, a float as double, a string as
    /// QString (UTF-8), a table as LuaTable (nested tables too, at most 32
    /// levels, 100000 values and 16 MiB of text in all; what lies beyond is
    /// left out), anything else (functions, userdata) as an invalid QVariant.
    QVariant getGlobal(const char *name, StackOption option);

    /// Values kept on the stack by KeepOnStack reads; runScript() drops them.
    int stackSize() const;
    /// Drops the `count` topmost kept values (at most stackSize()).
    void popValues(int count);

    /// Whether the environment was created (false only when even the empty
    /// environment did not fit; every operation then fails cleanly).
    bool isValid() const;

protected:
    explicit LuaEnv(int libraries);

private:
    std::unique_ptr<LuaSandbox> d;
};
