#pragma once

#include <QString>

// Defaults of the simulator, read from a Lua script (config/defaultConfig.lua
// beside the executable, or the file given with -c, which replaces it).
class Configuration
{
public:
    // The standard file: <directory of the executable>/config/defaultConfig.lua.
    static QString defaultFile();
    // Reads the file. A missing file is an error only when required (-c);
    // otherwise the built-in values below stay.
    bool load(const QString &file, bool required, QString &error);

    QString sourceFile; // the file the values came from; empty: built-in values

    int logLevel = 2; // lowest of the levels 0..5 shown
    bool logTime = false;
    bool logMemory = false;
    bool logConsole = true;
    QString logFile;

    QString logPath;
    QString inputPath;
    QString outputPath;

    bool monitorServer = false;
    int monitorPort = 6174;
    bool monitorLocalOnly = false;
    bool logsThroughServer = true;
    int monitorWait = -1;
    QString connectFile;

    int luaMemoryMB = 512;
};
