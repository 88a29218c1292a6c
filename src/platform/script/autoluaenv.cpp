#include "autoluaenv.h"

AutoLuaEnv::AutoLuaEnv(int libraries)
    : LuaEnv(libraries)
{ }

AutoLuaEnv::~AutoLuaEnv() = default;
