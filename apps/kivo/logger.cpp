#include "logger.h"

#include "monitorsink.h"

#include <QDateTime>

#include <cerrno>
#include <cstring>
#include <unistd.h>

Logger::~Logger()
{
    if (file)
        std::fclose(file);
}

bool Logger::open(const Settings &s, QString &error)
{
    settings = s;
    consoleOk = s.console;
    if (!s.file.isEmpty()) {
        file = std::fopen(s.file.toLocal8Bit().constData(), "w");
        if (!file) {
            error = QStringLiteral("Cannot open the log file %1: %2")
                        .arg(s.file, QString::fromLocal8Bit(std::strerror(errno)));
            return false;
        }
    }
    return true;
}

void Logger::setSink(MonitorSink *s, bool forward)
{
    std::lock_guard<std::mutex> lock(mutex);
    sink = forward ? s : nullptr;
}

bool Logger::enabled(int level) const
{
    if (settings.verbose)
        return true;
    if (settings.quiet)
        return level == Warning || level == Error;
    if (level == Time)
        return settings.time;
    if (level == Memory)
        return settings.memory;
    return level >= settings.minLevel && level <= Error;
}

const char *Logger::tag(int level)
{
    static const char *const tags[]
        = {"DEBUG", "DETAIL", "INFO", "NOTICE", "WARN", "ERROR", "TIME", "MEMORY"};
    return level >= 0 && level <= Memory ? tags[level] : "?";
}

void Logger::log(int level, const QString &text)
{
    if (!enabled(level))
        return;
    const QString line = text.endsWith(QLatin1Char('\n')) ? text : text + QLatin1Char('\n');
    MonitorSink *target = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex);
        target = sink;
        const QByteArray tagged = QByteArray("[") + tag(level) + "] " + line.toUtf8();
        if (consoleOk)
            writeConsole(level == Error ? STDERR_FILENO : STDOUT_FILENO, tagged);
        if (file) {
            const QByteArray stamp = settings.regression
                ? QByteArray()
                : QDateTime::currentDateTime().toString(Qt::ISODateWithMs).toUtf8() + ' ';
            std::fputs(QByteArray(stamp + tagged).constData(), file);
            std::fflush(file);
        }
    }
    // Outside the lock: a sink may log itself.
    if (target)
        target->logMessage(level, line);
}

void Logger::regression(const QString &text)
{
    std::lock_guard<std::mutex> lock(mutex);
    if (!file || !settings.regression)
        return;
    std::fputs(("[REGR] " + text + QLatin1Char('\n')).toUtf8().constData(), file);
    std::fflush(file);
}

void Logger::fatal(const QString &text)
{
    MonitorSink *target = nullptr;
    {
        std::lock_guard<std::mutex> lock(mutex);
        target = sink;
        const QByteArray bytes = "kivo: error: " + text.toUtf8() + '\n';
        if (::write(STDERR_FILENO, bytes.constData(), size_t(bytes.size())) < 0) {
            // Nobody reads stderr any more; nothing left to tell.
        }
        if (file) {
            std::fputs(("[ERROR] " + text + QLatin1Char('\n')).toUtf8().constData(), file);
            std::fflush(file);
        }
    }
    if (target)
        target->logMessage(Error, text + QLatin1Char('\n'));
}

bool Logger::consoleAlive() const
{
    std::lock_guard<std::mutex> lock(mutex);
    return consoleOk;
}

// The reader may close the pipe at any time (the GUI stops reading once logs
// come through the monitoring server): from then on the console stays quiet.
void Logger::writeConsole(int fd, const QByteArray &bytes)
{
    const char *p = bytes.constData();
    size_t left = size_t(bytes.size());
    while (left > 0) {
        const ssize_t n = ::write(fd, p, left);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            consoleOk = false;
            return;
        }
        p += n;
        left -= size_t(n);
    }
}
