#pragma once

#include "luaenv.h"
#include "scriptutilsexport.h"

/// A scoped script environment: creates a fresh sandboxed Lua state on
/// construction and closes it on destruction, so nothing that a script set
/// survives the object.
///
/// `libraries` is a bit mask of LuaEnv::Library values; 255
/// (LuaEnv::AllLibraries) opens everything the sandbox allows: base, table,
/// math and the pattern-free string functions. The base library is always
/// opened.
class SCRIPTUTILS_EXPORT AutoLuaEnv : public LuaEnv
{
public:
    explicit AutoLuaEnv(int libraries = AllLibraries);
    ~AutoLuaEnv() override;
};
