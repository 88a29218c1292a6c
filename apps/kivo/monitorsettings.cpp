#include "monitorsettings.h"

#include "commandline.h"
#include "configuration.h"

MonitorSettings MonitorSettings::resolve(const CommandLine &cmd, const Configuration &config)
{
    MonitorSettings s;
    s.serverEnabled = config.monitorServer;
    s.localOnly = config.monitorLocalOnly;
    s.port = config.monitorPort;
    s.connectFile = config.connectFile;
    s.waitMs = config.monitorWait;
    s.logsThroughServer = config.logsThroughServer;

    if (cmd.monitor)
        s.serverEnabled = true;
    if (cmd.nomonitor)
        s.serverEnabled = false;
    if (cmd.local) {
        s.serverEnabled = true;
        s.localOnly = true;
        s.port = cmd.localPort == -1 ? 0 : cmd.localPort;
    }
    if (!cmd.connectFile.trimmed().isEmpty())
        s.connectFile = cmd.connectFile.trimmed();
    if (cmd.wait != -1)
        s.waitMs = cmd.wait;
    if (cmd.server)
        s.logsThroughServer = true;
    if (cmd.noserver)
        s.logsThroughServer = false;
    return s;
}
