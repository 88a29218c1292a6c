#pragma once

#include <QString>

class CommandLine;
class Configuration;

// How the monitoring server is to run, from the configuration and the
// switches -monitor, -nomonitor, -local [port], -s, -wait, -server, -noserver.
struct MonitorSettings {
    bool serverEnabled = false;
    bool localOnly = false; // listen on localhost only (-local)
    int port = 6174; // 0: any free port
    QString connectFile; // where to export the server address; empty: none
    int waitMs = -1; // wait for a client before loading: -1 no, 0 no limit
    bool logsThroughServer = true;

    static MonitorSettings resolve(const CommandLine &cmd, const Configuration &config);
};
