#pragma once

#include <QString>

#include <cstdio>
#include <mutex>

class MonitorSink;

// The simulator's log, levels 0..7: 0 debug, 1 detail, 2 info, 3 notice,
// 4 warning, 5 error, 6 time, 7 memory. Writes to the console (stdout, errors
// to stderr), to an optional file and to the monitoring sink. Thread-safe.
class Logger
{
public:
    enum Level { Debug = 0, Detail, Info, Notice, Warning, Error, Time, Memory };

    struct Settings {
        int minLevel = Info; // lowest of the levels 0..5 shown
        bool time = false;
        bool memory = false;
        bool quiet = false; // only warnings and errors
        bool verbose = false; // everything
        bool console = true;
        QString file;
        bool regression = false;
    };

    Logger() = default;
    ~Logger();
    Logger(const Logger &) = delete;
    Logger &operator=(const Logger &) = delete;

    bool open(const Settings &settings, QString &error);
    // Messages also go to the sink when forward is true; without it only to
    // the sink's absence.
    void setSink(MonitorSink *sink, bool forward);
    bool enabled(int level) const;
    void log(int level, const QString &text);
    // A line for the log file only, tagged so that numbers can be compared
    // between runs; written only with -regression.
    void regression(const QString &text);
    // Fatal errors reach stderr whatever the console setting.
    void fatal(const QString &text);
    bool consoleAlive() const;

    static const char *tag(int level);

private:
    void writeConsole(int fd, const QByteArray &bytes);

    Settings settings;
    mutable std::mutex mutex;
    std::FILE *file = nullptr;
    MonitorSink *sink = nullptr;
    bool consoleOk = true;
};
